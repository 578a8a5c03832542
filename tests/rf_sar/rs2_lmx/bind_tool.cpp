// SPDX-License-Identifier: MIT
// Binds files for the comparison with a schema validator: one line "code message" a file, in order.
// bind_tool [--lut] FILE...           bind each
// bind_tool [--lut] --write IN OUT    bind and write
// Exit 0 when all could be tried; the codes tell how it went.
#include "rs2_lmx/source/rs2prod.h"
#include "rs2_lmx/source/rs2prod_lut.h"

#include <cstdio>
#include <fstream>
#include <iostream>
#include <string>

namespace {

template <class Root>
lmx::elmx_error bindAndReport(const std::string& file, Root& bound) {
    std::string message;
    auto code = lmx::elmx_error::ok;
    Root read(file.c_str(), code, [&](const lmx::s_error& error) {
        message = error.message();
        return error.code;
    });
    bound.swap(read);
    std::cout << static_cast<int>(code) << " " << message << "\n";
    return code;
}

template <class Root>
int run(const char* name, int count, char** arguments) {
    Root bound;
    if (count == 3 && std::string(arguments[0]) == "--write") {
        bindAndReport(arguments[1], bound);
        lmx::c_xml_writer writer;
        const auto code = bound.marshal(writer, name);
        std::cout << static_cast<int>(code) << "\n";
        return std::ofstream(arguments[2], std::ios::binary) << writer.document() ? 0 : 1;
    }
    for (int i = 0; i < count; ++i)
        bindAndReport(arguments[i], bound);
    return 0;
}

} // namespace

int main(int count, char** arguments) {
    const bool lut = count > 1 && std::string(arguments[1]) == "--lut";
    const int used = lut ? 2 : 1;
    return lut ? run<rs2prod_lut::c_lut>("lut", count - used, arguments + used)
               : run<rs2prod::c_product>("product", count - used, arguments + used);
}
