// tlvutl: shows and drives what the library does, from a shell.
#include "command.h"

#include <tlvutl/frame.h>

#include <cstring>
#include <iostream>

namespace tlvtool {

const std::vector<Command>& Commands() {
    static const std::vector<Command> commands = {
        {"tour", "walk through the library's families on the installed defaults", "", RunTour},
        {"strings", "print localised strings by number", "ID...", RunStrings},
        {"guidmap", "build or query an engine/application GUID map file",
         "build PAIRS.csv OUT\n  guidmap lookup FILE GUID", RunGuidmap},
        {"xml", "read or change a settings file by XPath",
         "get FILE PATH\n  xml set FILE PATH VALUE\n  xml ensure FILE PATH\n"
         "  xml delete FILE PATH\n  xml validate FILE SCHEMA.xsd\n"
         "  xml transform FILE STYLESHEET [OUT]",
         RunXml},
    };
    return commands;
}

int UsageError(const Command& c, const std::string& message) {
    std::cerr << "tlvutl " << c.name << ": " << message << "\nusage: tlvutl " << c.name << " "
              << c.usage << "\n";
    return kUsage;
}

} // namespace tlvtool

namespace {

void PrintHelp(std::ostream& out) {
    out << "usage: tlvutl COMMAND [ARGS...]\n\ncommands:\n";
    for (const auto& c : tlvtool::Commands())
        out << "  " << c.name
            << std::string(10 - std::min<std::size_t>(9, std::strlen(c.name)), ' ') << c.summary
            << "\n";
    out << "\n'tlvutl COMMAND --help' describes one command.\n";
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        PrintHelp(std::cerr);
        return tlvtool::kUsage;
    }
    const std::string name = argv[1];
    if (name == "--help" || name == "-h" || name == "help") {
        PrintHelp(std::cout);
        return tlvtool::kOk;
    }
    for (const auto& c : tlvtool::Commands()) {
        if (name != c.name)
            continue;
        tlvtool::Args args(argv + 2, argv + argc);
        for (const auto& a : args) {
            if (a == "--help" || a == "-h") {
                std::cout << "usage: tlvutl " << c.name << " " << c.usage << "\n\n"
                          << c.summary << "\n";
                return tlvtool::kOk;
            }
        }
        // Strings need the resource module; a missing GUID map is reported by the commands
        // that use it, not here.
        InitModule();
        try {
            return c.run(args);
        } catch (const std::exception& e) {
            std::cerr << "tlvutl " << c.name << ": " << e.what() << "\n";
            return tlvtool::kFailed;
        }
    }
    std::cerr << "tlvutl: unknown command '" << name << "'\n";
    PrintHelp(std::cerr);
    return tlvtool::kUsage;
}
