// SPDX-License-Identifier: MIT
// Binds every file on the command line with the classes of one model and prints what they hold.
#include LMXGEN_HEADER

#include <filesystem>
#include <iostream>

namespace {

class Dump {
public:
    void object(const lmx::c_object& object, int depth) {
        for (const auto& member : object.description().members)
            std::visit([&](auto pointer) { print(member, object.*pointer, depth); },
                       member.storage);
    }

private:
    static std::ostream& line(const lmx::s_member& member, int depth) {
        const char* kinds[] = {"@", "text ", "", "choice "};
        return std::cout << std::string(static_cast<std::size_t>(depth) * 2, ' ')
                         << kinds[static_cast<int>(member.kind)] << member.name;
    }
    void print(const lmx::s_member& member, const lmx::child_ptr& child, int depth) {
        line(member, depth) << (child ? "\n" : " -\n");
        if (child)
            object(*child, depth + 1);
    }
    void print(const lmx::s_member& member, const lmx::child_list& children, int depth) {
        line(member, depth) << " x " << children.size() << "\n";
        for (const auto& child : children)
            object(*child, depth + 1);
    }
    template <class T>
    void print(const lmx::s_member& member, const std::vector<T>& list, int depth) {
        line(member, depth) << " x " << list.size() << ":";
        for (const auto& each : list)
            std::cout << " " << lmx::format_value(each);
        std::cout << "\n";
    }
    template <class T>
    void print(const lmx::s_member& member, const T& value, int depth) {
        line(member, depth) << " = " << lmx::format_value(value) << "\n";
    }
};

} // namespace

int main(int count, char** arguments) {
    for (int i = 1; i < count; ++i) {
        lmx::elmx_error error;
        const LMXGEN_ROOT root(arguments[i], error, [](const lmx::s_error& each) {
            std::cout << "  " << static_cast<int>(each.code) << " " << each.element << " ("
                      << each.detail << ")\n";
            return each.code;
        });
        std::cout << std::filesystem::path(arguments[i]).filename().string() << ": "
                  << static_cast<int>(error) << "\n";
        if (error != lmx::elmx_error::ok)
            continue;
        Dump().object(root, 1);
        lmx::c_xml_writer writer(lmx::c_xml_writer::e_style::canonical);
        root.marshal(writer, "note");
        std::cout << "  " << writer.document() << "\n";
    }
}
