// A host built against an installed tlvutl: brings the library up and uses it.
#include <tlvutl/tlvutl.h>

#include <cstdio>

int main() {
    if (InitModule() != 1) {
        std::puts("InitModule failed");
        return 1;
    }
    CString s;
    s.Format(L"%s %d", UTLLoadStringEx(24175).GetString(), 3);
    std::printf("%s\n", s.ToUtf8().c_str());
    return s == L"sin 3" ? 0 : 1;
}
