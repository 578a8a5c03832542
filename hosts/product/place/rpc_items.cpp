#include "product/place/rpc_items.h"

#include <charconv>

namespace product {
namespace {

/// The shortest text that reads back to the same number.
std::string numberText(double value) {
    char text[32];
    const auto end = std::to_chars(std::begin(text), std::end(text), value).ptr;
    return {text, end};
}

std::string numbersText(const std::array<double, 20>& values) {
    std::string text;
    for (const double value : values)
        text += (text.empty() ? "" : " ") + numberText(value);
    return text;
}

} // namespace

RpcItems rpcItems(const sarm::Rpc& rpc) {
    return {{"LINE_OFF", numberText(rpc.lineOffset)},
            {"SAMP_OFF", numberText(rpc.sampleOffset)},
            {"LAT_OFF", numberText(rpc.latOffsetDeg)},
            {"LONG_OFF", numberText(rpc.lonOffsetDeg)},
            {"HEIGHT_OFF", numberText(rpc.heightOffsetM)},
            {"LINE_SCALE", numberText(rpc.lineScale)},
            {"SAMP_SCALE", numberText(rpc.sampleScale)},
            {"LAT_SCALE", numberText(rpc.latScaleDeg)},
            {"LONG_SCALE", numberText(rpc.lonScaleDeg)},
            {"HEIGHT_SCALE", numberText(rpc.heightScaleM)},
            {"LINE_NUM_COEFF", numbersText(rpc.lineNumerator)},
            {"LINE_DEN_COEFF", numbersText(rpc.lineDenominator)},
            {"SAMP_NUM_COEFF", numbersText(rpc.sampleNumerator)},
            {"SAMP_DEN_COEFF", numbersText(rpc.sampleDenominator)}};
}

} // namespace product
