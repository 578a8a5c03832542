#include "kfio/xml_encoding.h"

#include <iconv.h>

#include <cstdint>

namespace kfio {
namespace {

constexpr int noCharacter = -1;

/// @return the character that the byte stands for; noCharacter when it stands for none alone.
int characterOf(iconv_t converter, unsigned char byte) {
    char from = static_cast<char>(byte);
    std::uint32_t to = 0;
    char* in = &from;
    auto* out = reinterpret_cast<char*>(&to);
    std::size_t left = 1, room = sizeof to;
    iconv(converter, nullptr, nullptr, nullptr, nullptr);
    const bool read = iconv(converter, &in, &left, &out, &room) != static_cast<std::size_t>(-1);
    return read && room == 0 && to <= 0xFFFF ? static_cast<int>(to) : noCharacter;
}

} // namespace

int describeEncoding(void*, const char* name, XML_Encoding* encoding) {
    const iconv_t converter = iconv_open("UTF-32LE", name);
    if (converter == reinterpret_cast<iconv_t>(-1))
        return 0;
    int known = 0;
    for (int byte = 0; byte < 256; ++byte) {
        encoding->map[byte] = characterOf(converter, static_cast<unsigned char>(byte));
        known += encoding->map[byte] != noCharacter;
    }
    iconv_close(converter);
    // Where characters have several bytes, half of the bytes mean nothing alone.
    if (known < 192)
        return 0;
    encoding->data = nullptr;
    encoding->convert = nullptr;
    encoding->release = nullptr;
    return 1;
}

} // namespace kfio
