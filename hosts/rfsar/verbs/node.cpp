// SPDX-License-Identifier: MIT
#include "output/console.h"
#include "product/bursts/burst_record.h"
#include "product/checks/checks.h"
#include "verbs/verbs.h"

#include <ostream>

void addNode(CLI::App& app) {
    auto* verb = app.add_subcommand("node", "print one of a product's records as JSON");
    verb->footer("Examples:\n"
                 "  rfsar node product.xml :SAR_Metadata\n"
                 "  rfsar node product.xml :Doppler");
    auto file = std::make_shared<std::string>();
    auto name = std::make_shared<std::string>();
    verb->add_option("FILE", *file, "product")->required();
    verb->add_option("NAME", *name,
                     "the node's name, as info lists it: \":SAR_Metadata\"; for one burst "
                     "\":SAR_Metadata@beam/burst\"")
        ->required();
    verb->callback([file, name] {
        const auto opened = product::openProduct(*file);
        std::string remarks;
        const KmifNode node = [&] {
            if (product::isBurstRecord(*name))
                return product::burstRecord(*opened, *name);
            try {
                return opened->product.node(*name, remarks);
            } catch (const loader::Error&) {
                const std::string remark = product::modelRemark(opened->stated().facts());
                if (remark.empty() || *name != ":SAR_Metadata")
                    throw;
                throw loader::Error(opened->name() + ": has no node \"" + *name + "\": " + remark);
            }
        }();
        console::out() << kmif_NodeToJson(node) << '\n';
        if (!remarks.empty())
            console::warning(remarks);
    });
}
