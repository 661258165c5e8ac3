// The tlvutl command-line tool: one entry per subcommand.
#ifndef TLVUTL_TOOL_COMMAND_H
#define TLVUTL_TOOL_COMMAND_H

#include <ostream>
#include <string>
#include <string_view>
#include <vector>

class CPaperTypeMgr;

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
// Where "--" ended the options (it is taken out of the arguments): arguments from that index
// on are operands even when they start with "-". Past the end when there was none.
void SetOperandsFrom(std::size_t index);
std::size_t OperandsFrom();
// A few words for a Win32 error the library reported ("no such folder").
std::string DescribeWin32Error(unsigned long code);
// The bytes of a file; false with the reason in why.
bool ReadFileBytes(const std::string& path, std::string& bytes, std::string& why);
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
int RunXmp(const Args& args);
int RunTimer(const Args& args);
// Runs timers of that interval on this thread until the first has ticked count times,
// printing each of its ticks with the measured period and jitter.
void ShowTimerTicks(std::ostream& out, unsigned intervalMs, long count, long timers);
int RunPaper(const Args& args);
// The paper catalogue in its display order, at most limit papers unless limit is negative.
void PrintPapers(std::ostream& out, const CPaperTypeMgr& mgr, int limit);
int RunWatch(const Args& args);
// The tour's stop: one change reported by the directory tracker.
void TourDirectoryTracker();

} // namespace tlvtool

#endif
