// Arbitrary bytes as an ini file: reading must accept anything without crashing, reading
// out of bounds or leaking; what is read must answer look-ups and take edits.
//
// Stricter checks, off by default: TLVUTL_FUZZ_INI_STRICT=1 requires that written text
// reads back with the same sections, keys and values, =2 also that an unedited document
// writes back its exact bytes (a UTF-16 file with an odd byte count loses its half
// character, so =2 stops there).
#include "environment/profile_document.h"

#include <cstdint>
#include <cstdlib>
#include <string>

using tlv::environment::ProfileDocument;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    ProfileDocument doc = ProfileDocument::Parse(bytes);
    const std::vector<std::wstring> sections = doc.SectionNames();
    for (const std::wstring& section : sections) {
        for (const std::wstring& key : doc.KeyNames(section))
            doc.Value(section, key);
        doc.SectionLines(section);
    }
    static const int strict = [] {
        const char* v = std::getenv("TLVUTL_FUZZ_INI_STRICT");
        return v ? std::atoi(v) : 0;
    }();
    if (strict >= 2 && doc.Serialize() != bytes)
        std::abort();
    auto readsBackTheSame = [](const ProfileDocument& d) {
        const ProfileDocument again = ProfileDocument::Parse(d.Serialize());
        if (again.SectionNames() != d.SectionNames())
            return false;
        for (const std::wstring& section : d.SectionNames())
            for (const std::wstring& key : d.KeyNames(section))
                if (again.Value(section, key) != d.Value(section, key))
                    return false;
        return true;
    };
    if (strict >= 1 && !readsBackTheSame(doc))
        std::abort();
    if (!sections.empty()) {
        doc.SetValue(sections.front(), L"fuzz key", L"a value");
        doc.DeleteKey(sections.back(), L"x");
        if (sections.size() > 1)
            doc.DeleteSection(sections[1]);
    } else {
        doc.SetValue(L"new", L"k", L"v");
    }
    if (strict >= 1 && !readsBackTheSame(doc))
        std::abort();
    doc.Serialize();
    return 0;
}
