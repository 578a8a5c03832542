// SPDX-License-Identifier: MIT
// edit_product IN OUT: binds a RADARSAT-2 product.xml, sets who processed it, and writes it without
// prefixes. Exit 1 with a sentence when IN does not match the schema, or OUT would not.
#include <rf_sar/rs2prod.h>

#include <fstream>
#include <iostream>

int main(int count, char** arguments) {
    if (count != 3)
        return 2;
    std::string why;
    const auto handler = [&](const lmx::s_error& each) {
        why = each.message();
        return each.code;
    };
    const auto failed = [&](lmx::elmx_error error) {
        std::cerr << (why.empty() ? lmx::get_error_description(error) : why) << "\n";
        return 1;
    };
    lmx::elmx_error error;
    rs2prod::c_product product(arguments[1], error, handler);
    if (error != lmx::elmx_error::ok)
        return failed(error);
    std::cout << "was processed by "
              << std::as_const(product)
                     .get_imageGenerationParameters()
                     .get_generalProcessingInformation()
                     .get_processingFacility()
              << "\n";
    auto& general = product.get_imageGenerationParameters().get_generalProcessingInformation();
    if (general.set_processingFacility("not allowed: !") != lmx::elmx_error::patternMismatch)
        return 3;
    general.set_processingFacility("another house");

    lmx::c_xml_writer writer(lmx::c_xml_writer::e_style::pretty, handler);
    writer.set_namespace({"", rs2prod::c_product::ns_map.uri});
    error = product.marshal(writer, "product");
    if (error != lmx::elmx_error::ok)
        return failed(error);
    const auto& text = writer.document();
    const rs2prod::c_product again(text.data(), text.size(), error, handler);
    if (error != lmx::elmx_error::ok)
        return failed(error);
    return std::ofstream(arguments[2], std::ios::binary) << text ? 0 : 1;
}
