// SPDX-License-Identifier: MIT
// Texts: conversions, file names, and the values that documents write as text.
#include "fuzz/require.h"
#include "kerr/kerr.h"
#include "kfnp/kfnp.h"
#include "kmsc/kmsc.h"
#include "kstr/kstr.h"
#include "ktxt/ktxt.h"
#include "lmx/lmx.h"
#include "referenced_file.h"
#include "radartime/time_stamp.h"

#include <cmath>
#include <cstring>

namespace {

using fuzz::require;

void convertUtf8(std::string_view text) {
    require(!ktxt::narrow(ktxt::widenLossy(text)).empty() || text.empty(), "lossy text is valid");
    try {
        const std::u16string wide = ktxt::widen(text);
        require(ktxt::narrow(wide) == text, "UTF-8 comes back");
        require(wide == ktxt::widenLossy(text), "valid text is not changed");
    } catch (const TolvanLog::Exception&) {
    }
}

void handleWide(const std::u16string& text) {
    try {
        require(ktxt::widen(ktxt::narrow(text)) == text, "UTF-16 comes back");
        const kmsc::HeapPtr<char16_t> expanded(kstr_PathExpand(text));
        require(expanded != nullptr, "a name can be expanded");
    } catch (const TolvanLog::Exception&) {
    }
    require(kstr_Eqic(text, text), "a text equals itself");
    static_cast<void>(ktxt_Text_atol(text));
    const std::u16string_view half = std::u16string_view(text).substr(text.size() / 2);
    static_cast<void>(kstr_Eqnic(text, half, text.size() / 3));
    static_cast<void>(kstr::format(text, {half, 42L}));
    std::u16string rest = text;
    kstr_RemoveChars(rest, half.substr(0, 2));
    const auto path = kfnp_FileNameGetPathPart(text), base = kfnp_FileNameGetBasePart(text),
               extension = kfnp_FileNameGetExtPart(text);
    require(path + base + extension == text, "a name is the sum of its parts");
}

void handleName(const std::string& name) {
    const std::string clean = kfnp::clean(name);
    require(kfnp::clean(clean) == clean, "a clean name stays as it is");
    static_cast<void>(kfnp::absolute(name));
    static_cast<void>(kfnp::lastComponent(name));
    try {
        refuseNamesOutsideProduct(name);
        require(kfnp::classifyReference(name) != kfnp::Reference::climbs, "no name climbs out");
    } catch (const TolvanLog::Exception&) {
    }
}

template <class T>
void readValue(std::string_view text) {
    T value{}, again{};
    const lmx::s_simple_type type;
    if (lmx::parse_value(text, type, value) != lmx::elmx_error::ok)
        return;
    const std::string written = lmx::format_value(value);
    require(lmx::parse_value(written, type, again) == lmx::elmx_error::ok &&
                lmx::format_value(again) == written,
            "a written value reads back");
}

void readValues(std::string_view text) {
    readValue<bool>(text);
    readValue<double>(text);
    readValue<std::uint8_t>(text);
    readValue<std::uint64_t>(text);
    readValue<std::string>(text);
    readValue<lmx::c_datetime>(text);
    readValue<lmx::c_big_int>(text);
    for (const auto& time : {parseTimeStamp(text), parseTimeStampWithZone(text)})
        if (time)
            require(time->secondsOfDay() >= 0 && time->secondsOfDay() < 86401 &&
                        time->dayOfYear() >= 1 && time->dayOfYear() <= 366 &&
                        std::isfinite(time->gpsSeconds()),
                    "a time that is read is one");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(bytes), size);
    std::u16string wide(size / 2, u'\0');
    std::memcpy(wide.data(), bytes, size / 2 * 2);
    convertUtf8(text);
    handleWide(wide);
    handleWide(ktxt::widenLossy(text));
    handleName(std::string(text));
    readValues(text);
    return 0;
}
