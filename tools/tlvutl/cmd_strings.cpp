#include "command.h"

#include <tlvutl/frame.h>

#include <iostream>

namespace tlvtool {

int RunStrings(const Args& args) {
    const Command& self = CommandNamed("strings");
    if (args.empty())
        return UsageError(self, "give at least one string number");
    int rc = kOk;
    for (const std::string& a : args) {
        char* end = nullptr;
        const unsigned long id = std::strtoul(a.c_str(), &end, 10);
        if (a.empty() || a[0] < '0' || a[0] > '9' || *end || id > 0xFFFFFFFFul) {
            std::cerr << "tlvutl strings: '" << a << "' is not a string number\n";
            rc = kUsage;
            continue;
        }
        const CString text = UTLLoadStringEx(static_cast<UINT>(id));
        if (text.IsEmpty()) {
            std::cerr << "tlvutl strings: no string has the number " << id << "\n";
            rc = rc == kOk ? kFailed : rc;
            continue;
        }
        std::cout << id << "\t" << text.ToUtf8() << "\n";
    }
    return rc;
}

} // namespace tlvtool
