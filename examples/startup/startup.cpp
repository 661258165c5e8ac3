// Start-up and shut-down as a host does them: hooks registered by the host's modules run in
// priority order once everything is loaded, and in the reverse order on the way out.
#include <tlvutl/folders.h>
#include <tlvutl/frame.h>
#include <tlvutl/hooks.h>

#include <cstdio>
#include <string>

namespace {

std::string trace;

// A module that opens its caches early and closes them late.
bool OpenCaches() {
    return trace += "caches+ ", true;
}
bool CloseCaches() {
    return trace += "caches- ", true;
}
InitHook caches(&OpenCaches, &CloseCaches, DelayInitRegistrar::PriorityEarly);

// A module that needs the caches: starts after them, stops before them.
class Palette : public DelayInitBase {
public:
    Palette() : DelayInitBase(DelayInitRegistrar::PriorityLate) {}
    bool Startup() override { return trace += "palette+ ", true; }
    bool Shutdown() override { return trace += "palette- ", true; }
} palette;

} // namespace

int main() {
    // A machine without an installer run: record the installed default installation, so
    // that InitModule finds "guidmap.dat".
    TlvUtl::RegisterDefaultInstallation();
    if (InitModule() != 1) {
        std::fprintf(stderr, "InitModule failed: no resource module or no guidmap.dat\n");
        return 1;
    }
    UTLInitialize();
    std::printf("string 24175: %s\n", UTLLoadStringEx(24175).ToUtf8().c_str());

    DelayInitRegistrar* hooks = DelayInitRegistrar::GetInst();
    hooks->RunStartupHooks(false);
    // ... the host's life ...
    hooks->RunShutdownHooks(false);
    std::printf("hooks ran: %s\n", trace.c_str());

    UTLUninitialize();
    TLVUTLShutdownModule();
    return trace == "caches+ palette+ palette- caches- " ? 0 : 1;
}
