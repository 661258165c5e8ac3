// Arbitrary bytes as a .reg file: the reader must accept or refuse them, naming a line, without
// crashing, hanging or reading out of bounds.
#include "environment/reg_file.h"

#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    std::map<int, std::vector<tlv::platform::RegChange>> changes;
    std::wstring error;
    const bool ok = tlv::environment::ParseRegFile(bytes, changes, error);
    if (!ok && error.compare(0, 5, L"line ") != 0)
        std::abort();
    for (const auto& [root, list] : changes)
        if (root < 0 || root > 5)
            std::abort();
    return 0;
}
