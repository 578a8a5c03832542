#include "output/console.h"
#include "product/opened_product.h"
#include "verbs/verbs.h"

#include <iostream>

void addNode(CLI::App& app) {
    auto* verb = app.add_subcommand("node", "print one of a product's records as JSON");
    auto file = std::make_shared<std::string>();
    auto name = std::make_shared<std::string>();
    verb->add_option("FILE", *file, "product")->required();
    verb->add_option("NAME", *name, "the node's name, as info lists it: \":SAR_Metadata\"")
        ->required();
    verb->callback([file, name] {
        const auto opened = product::openProduct(*file);
        std::string remarks;
        std::cout << kmif_NodeToJson(opened->product.node(*name, remarks)) << '\n';
        if (!remarks.empty())
            console::warning(remarks);
    });
}
