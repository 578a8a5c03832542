// SPDX-License-Identifier: MIT
// read_station FILE: binds a document of another schema with classes that the generator made.
#include "tide.h"

#include <iostream>

int main(int count, char** arguments) {
    if (count != 2)
        return 2;
    lmx::elmx_error error;
    const tide::c_station station(arguments[1], error, [](const lmx::s_error& each) {
        std::cerr << each.message() << "\n";
        return each.code;
    });
    if (error != lmx::elmx_error::ok)
        return 1;
    std::cout << station.get_call_sign() << ", " << station.size_values() << " values\n";
}
