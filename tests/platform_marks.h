// Marks for tests whose subject exists on one platform only, or whose result under Wine
// differs from Windows' documented behaviour. A marked test is skipped with its reason, so
// the reason shows in every run.
#ifndef TLVUTL_TESTS_PLATFORM_MARKS_H
#define TLVUTL_TESTS_PLATFORM_MARKS_H

#include <gtest/gtest.h>

#ifdef _WIN32
#include <windows.h>

namespace platform_marks {
// Wine's ntdll exports its version; Windows' does not.
inline bool UnderWine() {
    const HMODULE ntdll = ::GetModuleHandleW(L"ntdll.dll");
    return ntdll && ::GetProcAddress(ntdll, "wine_get_version");
}
} // namespace platform_marks

// The test checks something only the POSIX build has.
#define TLVUTL_POSIX_ONLY(reason) GTEST_SKIP() << "POSIX only: " << reason
// The test asserts Windows' documented behaviour, which Wine does not give.
#define TLVUTL_KNOWN_WINE_DIFFERENCE(reason)                                                       \
    if (platform_marks::UnderWine())                                                               \
    GTEST_SKIP() << "known Wine difference: " << reason
// A defect of the Windows build that is known and not yet fixed: skipped there with its
// description, so it shows in every run until it is fixed.
#define TLVUTL_OPEN_WINDOWS_DEFECT(reason)                                                         \
    GTEST_SKIP() << "open defect of the Windows build: " << reason
#else
#define TLVUTL_OPEN_WINDOWS_DEFECT(reason) static_cast<void>(0)
#define TLVUTL_POSIX_ONLY(reason) static_cast<void>(0)
#define TLVUTL_KNOWN_WINE_DIFFERENCE(reason) static_cast<void>(0)
#endif

#endif
