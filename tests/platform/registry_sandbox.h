// Gives one test a registry of its own to write in: a fresh key, the base, that the test
// addresses everything below and that is deleted with all it holds afterwards.
//
// On POSIX systems the test also gets a store of its own, a fresh folder under
// $TLV_REGISTRY_DIR (which the test environment points inside the build tree), removed
// afterwards; the base key lies in it. On Windows the store is the system's registry and the
// base is HKEY_CURRENT_USER\Software\tlvutl-tests\<pid>-<n>. Tests that need a second root
// (imports across roots) use the other base, a key of its own below a different predefined
// root: HKEY_LOCAL_MACHINE on POSIX systems, the user's own hive reached through HKEY_USERS on
// Windows (writable without privileges).
#ifndef TLVUTL_TESTS_REGISTRY_SANDBOX_H
#define TLVUTL_TESTS_REGISTRY_SANDBOX_H

#include <tlvutl/registry.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <string>

#ifdef _WIN32
#include <sddl.h>
#include <windows.h>
#else
#include <unistd.h>
#endif

namespace registry_sandbox {

inline int ProcessId() {
#ifdef _WIN32
    return static_cast<int>(::GetCurrentProcessId());
#else
    return static_cast<int>(::getpid());
#endif
}

// Deletes everything below key (sub-keys and values), leaving the key itself, through the
// public functions only, so that it works the same on every store.
inline void EmptyKey(HKEY key) {
    for (;;) {
        wchar_t name[256];
        DWORD length = 256;
        if (TlvUtl::RegEnumKeyExW(key, 0, name, &length, nullptr, nullptr, nullptr, nullptr) !=
            ERROR_SUCCESS)
            break;
        HKEY child = nullptr;
        if (TlvUtl::RegOpenKeyExW(key, name, 0, KEY_ALL_ACCESS, &child) != ERROR_SUCCESS)
            break;
        EmptyKey(child);
        TlvUtl::RegCloseKey(child);
        if (TlvUtl::RegDeleteKeyW(key, name) != ERROR_SUCCESS)
            break;
    }
    for (;;) {
        std::wstring name(16384, L'\0');
        DWORD length = 16384;
        if (TlvUtl::RegEnumValueW(key, 0, name.data(), &length, nullptr, nullptr, nullptr,
                                  nullptr) != ERROR_SUCCESS ||
            TlvUtl::RegDeleteValueW(key, name.c_str()) != ERROR_SUCCESS)
            break;
    }
}

#ifdef _WIN32
// The current user's SID as text, the name of the user's hive below HKEY_USERS.
inline std::wstring UserSid() {
    HANDLE token = nullptr;
    if (!::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, &token))
        return {};
    DWORD size = 0;
    ::GetTokenInformation(token, TokenUser, nullptr, 0, &size);
    std::string buffer(size, '\0');
    std::wstring text;
    if (size && ::GetTokenInformation(token, TokenUser, buffer.data(), size, &size)) {
        wchar_t* sid = nullptr;
        if (::ConvertSidToStringSidW(reinterpret_cast<TOKEN_USER*>(buffer.data())->User.Sid,
                                     &sid)) {
            text = sid;
            ::LocalFree(sid);
        }
    }
    ::CloseHandle(token);
    return text;
}
#endif

} // namespace registry_sandbox

#ifndef _WIN32
// Run by hand rather than by ctest, a test binary would otherwise fall back to the user's own
// store whenever no sandbox is active.
inline const bool kRegistryTestFolderSet = [] {
    const auto folder = std::filesystem::temp_directory_path() / "tlvutl-test-registry";
    return ::setenv("TLV_REGISTRY_DIR", folder.c_str(), 0) == 0;
}();
#endif

class RegistrySandbox {
public:
    RegistrySandbox() {
        static std::atomic<int> counter{0};
        const std::string id =
            std::to_string(registry_sandbox::ProcessId()) + "-" + std::to_string(counter++);
        const std::wstring wideId(id.begin(), id.end());
        const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
#ifdef _WIN32
        (void)info;
        otherRoot_ = HKEY_USERS;
        otherSubKey_ = registry_sandbox::UserSid() + L"\\Software\\tlvutl-tests\\" + wideId + L"-2";
        otherPath_ = L"HKEY_USERS\\" + otherSubKey_;
#else
        const char* base = std::getenv("TLV_REGISTRY_DIR");
        dir_ =
            std::filesystem::path(base && *base ? base : std::filesystem::temp_directory_path()) /
            ("sandbox-" + id + "-" + (info ? info->name() : "x"));
        std::filesystem::remove_all(dir_);
        std::filesystem::create_directories(dir_);
        TlvUtl::SetRegistryDirectory(dir_.wstring());
        otherRoot_ = HKEY_LOCAL_MACHINE;
        otherSubKey_ = L"Software\\tlvutl-tests\\" + wideId;
        otherPath_ = L"HKEY_LOCAL_MACHINE\\" + otherSubKey_;
#endif
        subKey_ = L"Software\\tlvutl-tests\\" + wideId;
        path_ = L"HKEY_CURRENT_USER\\" + subKey_;
        // The bases are made on first use: a test of the store's files damages them before
        // the store is first opened.
    }
    ~RegistrySandbox() {
        CloseBases();
#ifdef _WIN32
        ::RegDeleteTreeW(HKEY_CURRENT_USER, subKey_.c_str());
        ::RegDeleteTreeW(otherRoot_, otherSubKey_.c_str());
        ::RegDeleteKeyW(HKEY_CURRENT_USER, L"Software\\tlvutl-tests"); // when it is empty
#else
        TlvUtl::SetRegistryDirectory(L"");
        std::error_code ec;
        std::filesystem::remove_all(dir_, ec);
#endif
    }
    RegistrySandbox(const RegistrySandbox&) = delete;
    RegistrySandbox& operator=(const RegistrySandbox&) = delete;

    // The base key, open with every right, below HKEY_CURRENT_USER.
    HKEY Base() const {
        return Made(HKEY_CURRENT_USER, subKey_, base_);
    }
    // Its sub-key below HKEY_CURRENT_USER and its full path ("HKEY_CURRENT_USER\...").
    const std::wstring& SubKey() const {
        return subKey_;
    }
    const std::wstring& Path() const {
        return path_;
    }
    std::wstring SubKey(const std::wstring& below) const {
        return subKey_ + L"\\" + below;
    }
    std::wstring Path(const std::wstring& below) const {
        return path_ + L"\\" + below;
    }

    // The other base, below another predefined root.
    HKEY OtherRoot() const {
        return otherRoot_;
    }
    HKEY OtherBase() const {
        return Made(otherRoot_, otherSubKey_, otherBase_);
    }
    const std::wstring& OtherSubKey() const {
        return otherSubKey_;
    }
    const std::wstring& OtherPath() const {
        return otherPath_;
    }

    // Deletes everything below both bases, as if the test had just begun.
    void Empty() const {
        registry_sandbox::EmptyKey(Base());
        registry_sandbox::EmptyKey(OtherBase());
    }

    // The store's folder and a root's database file (POSIX systems; empty on Windows).
    const std::filesystem::path& Dir() const {
        return dir_;
    }
    std::filesystem::path File(const char* root) const {
        return dir_.empty() ? dir_ : dir_ / (std::string(root) + ".db");
    }
    // Closes every connection of this process, as a restart would; handles become invalid
    // and the bases are opened again. Nothing to close on Windows.
    void Reopen() {
#ifndef _WIN32
        TlvUtl::SetRegistryDirectory(dir_.wstring());
        base_ = otherBase_ = nullptr; // closed with the connections
#endif
    }

private:
    static HKEY Made(HKEY root, const std::wstring& subKey, HKEY& key) {
        if (!key) {
            EXPECT_EQ(TlvUtl::RegCreateKeyExW(root, subKey.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS,
                                              nullptr, &key, nullptr),
                      ERROR_SUCCESS);
        }
        return key;
    }
    void CloseBases() {
        if (base_)
            TlvUtl::RegCloseKey(base_);
        if (otherBase_)
            TlvUtl::RegCloseKey(otherBase_);
    }

    std::filesystem::path dir_;
    std::wstring subKey_, path_, otherSubKey_, otherPath_;
    HKEY otherRoot_ = nullptr;
    mutable HKEY base_ = nullptr, otherBase_ = nullptr;
};

#endif
