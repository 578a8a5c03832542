// SPDX-License-Identifier: MIT
#include "kxfr/kxfr.h"

#include "kerr/reported.h"
#include "kmif/kmif_node.h"
#include "kmsc/host_array.h"
#include "kstr/host_list.h"
#include "ktxt/ktxt.h"
#include "kxfr/part.h"

namespace kxfr {
namespace {

/// makeX for the numbers that a node holds.
template <class Data, PartPtr (*make)(const Data&)>
PartPtr fromNode(const void* data) {
    return make(*static_cast<const Data*>(data));
}

constexpr Kind kinds[] = {
    {"LongitudeTurn", longitudeTurnDesign, fromNode<LongitudeTurnData, makeLongitudeTurn>},
    {"TouchingPlane", touchingPlaneDesign, fromNode<TouchingPlaneData, makeTouchingPlane>},
    {"Affine", affineDesign, fromNode<AffineData, makeAffine>},
    {"Polynomial", polynomialDesign, fromNode<PolynomialData, makePolynomial>},
    {"RangeDoppler", rangeDopplerDesign, fromNode<sarm::ModelParameters, makeRangeDoppler>},
    {"PolarFormat", polarFormatDesign, fromNode<sarm::PolarFormatParameters, makePolarFormat>},
};

using kmif::DesignPtr;
using kmif::DictionaryPtr;

using Designs = kmsc::HostArray<KmifDesign, kmif_DesignDestroy>;

void append(HostList& list, std::string_view text) {
    if (!list.append(ktxt::widen(text)))
        throw std::bad_alloc();
}

PartPtr decodePart(const KxfrPartTexts& texts) {
    const Kind* kind = findKind(ktxt::narrow(texts.designName));
    if (!kind)
        throw std::runtime_error("its design is not known");
    kerr::Slot slot;
    const DictionaryPtr dictionary(kmif_DictionaryDecodeFromString(texts.dictionary, slot));
    const DesignPtr design(kind->makeDesign(slot));
    KmifNode node;
    // Adding the design fails if the dictionary has a different one of that name.
    if (!dictionary || !design || !kmif_DictionaryFindDesign(dictionary.get(), kind->designName) ||
        !kmif_DictionaryAddDesign(dictionary.get(), design.get(), slot) ||
        !kmif_NodeFromJson(design.get(), ktxt::narrow(texts.data), &node, slot))
        throw std::runtime_error(slot ? kerr_Text(slot.get())
                                      : "the dictionary does not hold its design");
    return kind->make(node.data()); // cppcheck-suppress returnDanglingLifetime ; it makes its own copy
}

} // namespace

const Kind* findKind(std::string_view designName) {
    for (const Kind& kind : kinds)
        if (designName == kind.designName)
            return &kind;
    return nullptr;
}

} // namespace kxfr

bool kxfr_XFormConvertToMIF(const KxfrXForm* transform, std::uint32_t* count, char16_t*** from,
                            char16_t*** to, char16_t*** data, KmifDesign*** designs,
                            KERR_REPORT** slot) {
    *count = 0;
    *from = *to = *data = nullptr;
    *designs = nullptr;
    return kerr::reported(__func__, slot, [&] {
        if (!transform)
            throw std::runtime_error("there is no transform to convert");
        const auto& parts = transform->parts();
        HostList sources(parts.size()), targets(parts.size()), numbers(parts.size());
        kxfr::Designs made(parts.size());
        std::string_view frame = "map";
        for (std::size_t i = 0; i < parts.size(); ++i) {
            KmifNode node;
            if (!made.take(kxfr::findKind(parts[i]->designName())->makeDesign(slot)))
                throw std::bad_alloc();
            if (!kmif_NodeCreate(parts[i]->data(), made[i], &node, slot))
                return false;
            kxfr::append(sources, frame);
            frame = parts[i]->to();
            kxfr::append(targets, frame);
            kxfr::append(numbers, kmif_NodeToJson(node));
        }
        *count = static_cast<std::uint32_t>(parts.size());
        *from = sources.release();
        *to = targets.release();
        *data = numbers.release();
        *designs = made.release();
        return true;
    });
}

KxfrXForm* kxfr_XFormFromTexts(std::span<const KxfrPartTexts> texts, KERR_REPORT** slot) {
    return kerr::reported(__func__, slot, [&] {
        std::vector<kxfr::PartPtr> parts;
        std::string frame = "map";
        for (const KxfrPartTexts& part : texts) {
            const std::string name = ktxt::narrow(part.designName);
            try {
                parts.push_back(kxfr::decodePart(part));
            } catch (const std::exception& error) {
                throw std::runtime_error("part \"" + name + "\": " + error.what());
            }
            if (ktxt::narrow(part.from) != frame || ktxt::narrow(part.to) != parts.back()->to())
                throw std::runtime_error("part \"" + name + "\" does not fit the one before it");
            frame = parts.back()->to();
        }
        if (frame != "pixels")
            throw std::runtime_error("the parts do not lead to pixels");
        return new KxfrXForm(std::move(parts));
    });
}
