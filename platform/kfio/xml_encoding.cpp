// SPDX-License-Identifier: MIT
#include "kfio/xml_encoding.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <iconv.h>
#include <memory>
#include <new>
#include <string_view>

namespace kfio {

namespace {

constexpr int bad = -1, incomplete = -2;
constexpr std::size_t longestSequence = 4;
/// More than any charset with four-byte characters needs.
constexpr int maxProbes = 200000;

class Converter {
public:
    explicit Converter(const char* name) : handle_(iconv_open("UTF-32LE", name)) {}
    ~Converter() {
        if (isOpen())
            iconv_close(handle_);
    }
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;

    bool isOpen() const { return handle_ != reinterpret_cast<iconv_t>(-1); }

    /// @return the character of the bytes, `bad`, or `incomplete`.
    int decode(const char* bytes, std::size_t size) {
        iconv(handle_, nullptr, nullptr, nullptr, nullptr);
        char out[16];
        char* in = const_cast<char*>(bytes); // iconv does not write there
        char* end = out;
        std::size_t room = sizeof out;
        errno = 0;
        if (iconv(handle_, &in, &size, &end, &room) != 0)
            return errno == EINVAL ? incomplete : bad;
        iconv(handle_, nullptr, nullptr, &end, &room); // some converters keep a character back
        if (end != out + 4)
            return bad;
        unsigned code = 0;
        for (int i = 3; i >= 0; --i)
            code = code << 8 | static_cast<unsigned char>(out[i]);
        return code <= 0xFFFF ? static_cast<int>(code) : bad;
    }

    /// @return the fewest bytes of a character that begins with this byte; 0 when there is none.
    std::size_t lengthOf(char lead) {
        char bytes[longestSequence] = {lead};
        for (std::size_t length = 2; length <= longestSequence; ++length)
            if (isCharacter(bytes, 1, length))
                return length;
        return 0;
    }

    std::array<unsigned char, 256> lengths{}; ///< of the sequences, by their first byte

private:
    bool isCharacter(char* bytes, std::size_t known, std::size_t length) {
        for (int next = 1; next < 256 && probes_ < maxProbes; ++next) {
            bytes[known] = static_cast<char>(next);
            ++probes_;
            const int code = decode(bytes, known + 1);
            if (known + 1 == length ? code >= 0
                                    : code == incomplete && isCharacter(bytes, known + 1, length))
                return true;
        }
        return false;
    }

    iconv_t handle_;
    int probes_ = 0;
};

int convert(void* data, const char* bytes) {
    auto& converter = *static_cast<Converter*>(data);
    return converter.decode(bytes, converter.lengths[static_cast<unsigned char>(*bytes)]);
}

void release(void* data) {
    delete static_cast<Converter*>(data);
}

/// Without this condition the parser would refuse the encoding anyway, after a long probe.
bool keepsAscii(const int (&map)[256]) {
    constexpr std::string_view needed = "<>&'\"=/?! \t\r\nAZaz09";
    return std::ranges::all_of(needed,
                               [&](char c) { return map[static_cast<unsigned char>(c)] == c; });
}

} // namespace

int teachEncoding(void*, const char* name, XML_Encoding* taught) noexcept {
    auto converter = std::unique_ptr<Converter>(new (std::nothrow) Converter(name));
    if (!converter || !converter->isOpen())
        return XML_STATUS_ERROR;
    for (int byte = 0; byte < 256; ++byte) {
        const char lead = static_cast<char>(byte);
        taught->map[byte] = converter->decode(&lead, 1);
    }
    if (!keepsAscii(taught->map))
        return XML_STATUS_ERROR;
    for (int byte = 0; byte < 256; ++byte) {
        if (taught->map[byte] != incomplete)
            continue;
        const auto length = byte < 0x80 ? 0 : converter->lengthOf(static_cast<char>(byte));
        converter->lengths[static_cast<std::size_t>(byte)] = static_cast<unsigned char>(length);
        taught->map[byte] = length == 0 ? bad : -static_cast<int>(length);
    }
    taught->data = converter.release();
    taught->convert = convert;
    taught->release = release;
    return XML_STATUS_OK;
}

} // namespace kfio
