// The tlvutl command-line tool: one entry per subcommand.
#ifndef TLVUTL_TOOL_COMMAND_H
#define TLVUTL_TOOL_COMMAND_H

#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace tlvtool {

using Args = std::vector<std::string>;

struct Command {
    const char* name;
    const char* summary;
    const char* usage; // shown by --help; the lines after the command's name
    int (*run)(const Args& args);
};

// Exit codes: 0 success, 1 the operation failed, 2 bad usage.
constexpr int kOk = 0;
constexpr int kFailed = 1;
constexpr int kUsage = 2;

int UsageError(const Command& c, const std::string& message);
const std::vector<Command>& Commands();
// The command of that name (the table holds every name the tool's own code asks for).
const Command& CommandNamed(std::string_view name);

int RunTour(const Args& args);
int RunStrings(const Args& args);
int RunGuidmap(const Args& args);
int RunIni(const Args& args);
int RunFolders(const Args& args);
int RunEval(const Args& args);
int RunUnits(const Args& args);
// A unit display by number or by any of its names ("mm", "inches", "°").
bool ParseUnitArgument(const std::string& text, int& unit);
// The folder getters and their paths (the first few unless all).
void PrintFolders(std::ostream& out, bool all);
int RunReg(const Args& args);
int RunXml(const Args& args);
int RunWatch(const Args& args);
// The tour's stop: one change reported by the directory tracker.
void TourDirectoryTracker();

} // namespace tlvtool

#endif
