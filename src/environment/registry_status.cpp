#include <tlvutl/registry.h>

namespace TlvUtl {

std::wstring DescribeRegistryStatus(LONG status) {
    switch (status) {
    case ERROR_SUCCESS:
        return L"success";
    case ERROR_FILE_NOT_FOUND:
        return L"the key or value does not exist";
    case ERROR_ACCESS_DENIED:
        return L"access denied";
    case ERROR_INVALID_HANDLE:
        return L"the key handle is not open";
    case ERROR_OUTOFMEMORY:
        return L"out of memory";
    case ERROR_INVALID_PARAMETER:
        return L"invalid argument";
    case ERROR_OPEN_FAILED:
        return L"unknown root key name";
    case ERROR_DISK_FULL:
        return L"the disk is full";
    case ERROR_BAD_PATHNAME:
        return L"malformed key path";
    case ERROR_BUSY:
        return L"the registry store stayed locked by another process";
    case ERROR_MORE_DATA:
        return L"the buffer is too small";
    case ERROR_NO_MORE_ITEMS:
        return L"no more items";
    case ERROR_BADDB:
        return L"the registry database is damaged or is not a registry database";
    case ERROR_REGISTRY_IO_FAILED:
        return L"the registry store could not be read or written";
    case ERROR_KEY_DELETED:
        return L"the key has been deleted";
    case -1:
        return L"no path given or no key open";
    default:
        return L"error " + std::to_wstring(status);
    }
}

} // namespace TlvUtl
