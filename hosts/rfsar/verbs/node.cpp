#include "output/console.h"
#include "product/bursts/burst_record.h"
#include "verbs/verbs.h"

#include <ostream>

void addNode(CLI::App& app) {
    auto* verb = app.add_subcommand("node", "print one of a product's records as JSON");
    auto file = std::make_shared<std::string>();
    auto name = std::make_shared<std::string>();
    verb->add_option("FILE", *file, "product")->required();
    verb->add_option("NAME", *name,
                     "the node's name, as info lists it: \":SAR_Metadata\"; of one burst "
                     "\":SAR_Metadata@beam/burst\"")
        ->required();
    verb->callback([file, name] {
        const auto opened = product::openProduct(*file);
        std::string remarks;
        const KmifNode node = product::isBurstRecord(*name) ? product::burstRecord(*opened, *name)
                                                            : opened->product.node(*name, remarks);
        console::out() << kmif_NodeToJson(node) << '\n';
        if (!remarks.empty())
            console::warning(remarks);
    });
}
