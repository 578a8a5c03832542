// SPDX-License-Identifier: MIT
#include "sarm_georef/sarm_georef.h"

#include "kerr/reported.h"
#include "kmsc/kmsc.h"
#include "kstr/kstr.h"
#include "ktxt/ktxt.h"

#include <stdexcept>

KxfrXForm* sarm_CalibrateGetXform(int, const SarMetadataRecord* record, KERR_REPORT** slot) {
    return kerr::reported(__func__, slot, [&]() -> KxfrXForm* {
        if (!record)
            throw std::runtime_error("there is no SAR metadata record");
        sarm::Refusal refusal = sarm::Refusal::none;
        const std::optional<sarm::Model> model = sarm::Model::fromRecord(*record, &refusal);
        if (!model)
            throw std::runtime_error(sarm::sentence(refusal));
        return kxfr_XFormFromSarModel(*model, slot);
    });
}

KPRJ_PROJECTION* sarm_CalibrateGetMapProjection(const KxfrXForm* transform, char16_t** name,
                                                char16_t** units, KERR_REPORT** slot) {
    for (char16_t** text : {name, units})
        if (text)
            *text = nullptr;
    return kerr::reported(__func__, slot, [&]() -> KPRJ_PROJECTION* {
        if (!transform)
            return nullptr;
        KprjProjectionPtr projection(kprj_GeographicWgs84(slot));
        if (!projection)
            return nullptr;
        const auto copied = [](char16_t** wanted, const std::string& text) {
            kmsc::HeapPtr<char16_t> copy(wanted ? kstr_Duplicate(ktxt::widen(text)) : nullptr);
            if (wanted && !copy)
                throw std::bad_alloc();
            return copy;
        };
        auto nameCopy = copied(name, projection->name),
             unitsCopy = copied(units, projection->units);
        if (name)
            *name = nameCopy.release();
        if (units)
            *units = unitsCopy.release();
        return projection.release();
    });
}
