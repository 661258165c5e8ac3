// tlvutl: shows and drives what the library does, from a shell.
#include "command.h"

#include <tlvutl/folders.h>
#include <tlvutl/frame.h>

#include <cctype>
#include <cstring>
#include <iostream>

namespace tlvtool {

const std::vector<Command>& Commands() {
    static const std::vector<Command> commands = {
        {"tour", "walk through the library's families on the installed defaults", "", RunTour},
        {"strings", "print localised strings by number", "ID...", RunStrings},
        {"guidmap", "build or query an engine/application GUID map file",
         "build PAIRS.csv OUT\n  guidmap lookup FILE GUID", RunGuidmap},
        {"eval", "evaluate an expression as a numeric field does",
         "[--unit UNIT] [--degrees] [--] EXPRESSION\n\n"
         "  numbers: 12, 1.5, .5 and fractions 3/4, 3 1/2 (no sign, no exponent: not 1e3)\n"
         "  operators: + - * / ^ (power), brackets ( ) [ ] { }\n"
         "  unary signs bind tightest: -2^2 is 4\n"
         "  functions, as prefixes (sin 30 or sin(30)): sin cos tan csc sec cot, asin acos\n"
         "    atan acsc asec acot (radians unless --degrees), sinh cosh tanh, sqrt, log (base\n"
         "    10), ln\n"
         "  no constants (write 3.14159265358979 for pi)\n"
         "  --unit UNIT: numbers may carry units (2in + 5mm) and the value is in UNIT",
         RunEval},
        {"folders", "every folder getter and its path", "", RunFolders},
        {"ini", "read and change ini files",
         "get FILE SECTION KEY | set FILE SECTION KEY VALUE | delete FILE SECTION [KEY] |\n"
         "  sections FILE | keys FILE SECTION",
         RunIni},
        {"units", "list, convert and format measurement units",
         "list | convert VALUE FROM TO | format VALUE UNIT [FORM]\n\n"
         "  FORM is how the unit is named after the value: 0 not at all, 1 singular name\n"
         "  (inch), 2 plural name (inches), 3 abbreviation (in, the default), 4 symbol (\")",
         RunUnits},
        {"reg", "query, change, export and import the registry store",
         "query KEY [NAME]\n  reg set KEY NAME DATA [REG_SZ|REG_EXPAND_SZ|REG_MULTI_SZ|REG_DWORD|"
         "REG_QWORD|REG_BINARY]\n  reg delete KEY [NAME]\n  reg export [--regedit4] KEY FILE.reg\n"
         "  reg import FILE.reg\n  reg check [ROOT...]",
         RunReg},
        {"xml", "read or change a settings file by XPath",
         "get FILE PATH\n  xml set FILE PATH VALUE\n  xml ensure FILE PATH\n"
         "  xml delete FILE PATH\n  xml validate FILE SCHEMA.xsd\n"
         "  xml transform FILE STYLESHEET [OUT]",
         RunXml},
        {"xmp", "write an XMP metadata packet, or show how it is cut into chunks",
         "[--title T] [--author A]... [--keyword K]... [--rating N] [--comment C]\n"
         "  [--copyright C] [--date YYYY-MM-DD[Thh:mm[:ss[.fff]]][Z|+hh:mm]]\n"
         "  [--chunks] [--out FILE]",
         RunXmp},
        {"timer", "run timers on the message loop and show their ticks' period and jitter",
         "--interval MS --count N [--timers K]", RunTimer},
        {"paper", "list, find, add and delete papers of the user's paper catalogue",
         "list [--system metric|imperial]\n  paper find WIDTH HEIGHT in|mm|px\n"
         "  paper add NAME WIDTH HEIGHT in|mm|px\n  paper delete NAME",
         RunPaper},
        {"watch", "print a line each time a folder changes, until interrupted",
         "[--subtree] [--filter NAME,...] FOLDER...\n"
         "  NAME: file-name, dir-name, attributes, size, last-write, security, all (default)",
         RunWatch},
    };
    return commands;
}

const Command& CommandNamed(std::string_view name) {
    for (const Command& c : Commands())
        if (name == c.name)
            return c;
    return Commands().front();
}

namespace {
std::size_t g_operandsFrom = static_cast<std::size_t>(-1);
} // namespace

void SetOperandsFrom(std::size_t index) {
    g_operandsFrom = index;
}

std::size_t OperandsFrom() {
    return g_operandsFrom;
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

// Commands whose first word names what to do, before any option.
bool HasSubcommands(std::string_view command) {
    for (const char* name : {"guidmap", "ini", "units", "reg", "xml", "paper"})
        if (command == name)
            return true;
    return false;
}

bool TakesValue(std::string_view option) {
    for (const char* name :
         {"--unit", "--title", "--author", "--keyword", "--rating", "--comment", "--copyright",
          "--date", "--out", "--interval", "--count", "--timers", "--system"})
        if (option == name)
            return true;
    return false;
}

// "-x" or "--word"; "-5" and "-.5" are numbers.
bool LooksLikeOption(std::string_view a) {
    return a.size() > 1 && a[0] == '-' &&
           !(std::isdigit(static_cast<unsigned char>(a[1])) || a[1] == '.');
}

// Looks for help where an option can stand: among the leading options (an option's value is
// not one), after the subcommand word of commands that have one. A "--" there ends the
// options and is taken out; everything after it, or after the first operand, is an operand,
// so that `tlvutl reg set KEY note --help` stores "--help".
bool OptionsAsk(std::string_view command, tlvtool::Args& args, std::string_view help,
                std::string_view shortHelp) {
    bool subcommandSeen = !HasSubcommands(command);
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        if (a == "--") {
            args.erase(args.begin() + static_cast<std::ptrdiff_t>(i));
            tlvtool::SetOperandsFrom(i);
            return false;
        }
        if (a == help || a == shortHelp)
            return true;
        if (LooksLikeOption(a)) {
            i += TakesValue(a) ? 1 : 0;
            continue;
        }
        if (!subcommandSeen) {
            subcommandSeen = true;
            continue;
        }
        return false;
    }
    return false;
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
        if (OptionsAsk(c.name, args, "--help", "-h")) {
            std::cout << "usage: tlvutl " << c.name << " " << c.usage << "\n\n"
                      << c.summary << "\n";
            return tlvtool::kOk;
        }
        // A first run on a machine without an installation records the bundled one, as an
        // installer would. Strings need the resource module; a missing GUID map is reported
        // by the commands that use it, not here.
        TlvUtl::RegisterDefaultInstallation();
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
