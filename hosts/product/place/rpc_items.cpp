// SPDX-License-Identifier: MIT
#include "product/place/rpc_items.h"

#include <charconv>
#include <cmath>
#include <string_view>

namespace product {
namespace {

/// The shortest text that gives the same number when read back.
std::string numberText(double value) {
    char text[32];
    const auto end = std::to_chars(std::begin(text), std::end(text), value).ptr;
    return {text, end};
}

/// Visits every number with its name, in the order of the file format.
template <class AnyRpc, class Visit>
void visit(AnyRpc& rpc, const Visit& each) {
    each("ERR_BIAS", &rpc.biasErrorM, 1);
    each("ERR_RAND", &rpc.randomErrorM, 1);
    each("LINE_OFF", &rpc.lineOffset, 1);
    each("SAMP_OFF", &rpc.sampleOffset, 1);
    each("LAT_OFF", &rpc.latOffsetDeg, 1);
    each("LONG_OFF", &rpc.lonOffsetDeg, 1);
    each("HEIGHT_OFF", &rpc.heightOffsetM, 1);
    each("LINE_SCALE", &rpc.lineScale, 1);
    each("SAMP_SCALE", &rpc.sampleScale, 1);
    each("LAT_SCALE", &rpc.latScaleDeg, 1);
    each("LONG_SCALE", &rpc.lonScaleDeg, 1);
    each("HEIGHT_SCALE", &rpc.heightScaleM, 1);
    each("LINE_NUM_COEFF", rpc.lineNumerator.data(), 20);
    each("LINE_DEN_COEFF", rpc.lineDenominator.data(), 20);
    each("SAMP_NUM_COEFF", rpc.sampleNumerator.data(), 20);
    each("SAMP_DEN_COEFF", rpc.sampleDenominator.data(), 20);
}

/// @return whether the text is that many numbers and nothing else.
bool parse(std::string_view text, double* numbers, int count) {
    constexpr std::string_view blanks = " \t\r\n";
    for (int i = 0; i < count; ++i) {
        text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
        if (text.starts_with('+'))
            text.remove_prefix(1);
        const auto [end, error] =
            std::from_chars(text.data(), text.data() + text.size(), numbers[i]);
        if (error != std::errc() || !std::isfinite(numbers[i]))
            return false;
        text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    }
    return text.find_first_not_of(blanks) == std::string_view::npos;
}

/// The terms of RPC00B, each at its place in RPC00A: 1 L P H LP LH PH LPH L2 P2 H2 L3 L2P L2H LP2
/// P3 P2H LH2 PH2 H3. Source: STDI-0002, App. E.
constexpr std::array<std::size_t, 20> placeInEarlierOrder = {0, 1,  2,  3,  4,  5,  6,  8,  9,  10,
                                                             7, 11, 14, 17, 12, 15, 18, 13, 16, 19};

} // namespace

RpcItems rpcItems(const sarm::Rpc& rpc) {
    RpcItems items;
    visit(rpc, [&](const char* name, const double* numbers, int count) {
        std::string text;
        for (int i = 0; i < count; ++i)
            text += (i == 0 ? "" : " ") + numberText(numbers[i]);
        items.emplace_back(name, std::move(text));
    });
    return items;
}

std::optional<sarm::Rpc> rpcOf(const RpcItems& items) {
    sarm::Rpc rpc;
    bool whole = true;
    visit(rpc, [&](std::string_view name, double* numbers, int count) {
        std::string_view text;
        for (const auto& [key, value] : items)
            if (key == name)
                text = value;
        const bool mayLack = name.starts_with("ERR_");
        whole = whole && (parse(text, numbers, count) || mayLack);
    });
    const bool scaled = rpc.lineScale != 0 && rpc.sampleScale != 0 && rpc.latScaleDeg != 0 &&
                        rpc.lonScaleDeg != 0 && rpc.heightScaleM != 0;
    return whole && scaled ? std::optional(rpc) : std::nullopt;
}

sarm::Rpc fromEarlierOrder(const sarm::Rpc& rpc) {
    sarm::Rpc ordered = rpc;
    for (const auto terms : {&sarm::Rpc::lineNumerator, &sarm::Rpc::lineDenominator,
                             &sarm::Rpc::sampleNumerator, &sarm::Rpc::sampleDenominator})
        for (std::size_t i = 0; i < placeInEarlierOrder.size(); ++i)
            (ordered.*terms)[i] = (rpc.*terms)[placeInEarlierOrder[i]];
    return ordered;
}

} // namespace product
