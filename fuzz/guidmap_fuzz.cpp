// Arbitrary bytes as "guidmap.dat": the loader must accept or refuse them without crashing,
// reading out of bounds or allocating beyond what the file can hold.
#include <tlvutl/frame.h>

#include <cstdint>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // In memory when the system offers a RAM folder: the loader takes a path, and a disk
    // write per input would be most of the time spent.
    static const std::string path = [] {
        struct stat st {};
        const std::string folder =
            ::stat("/dev/shm", &st) == 0 && S_ISDIR(st.st_mode) ? "/dev/shm" : "/tmp";
        return folder + "/tlvutl-fuzz-guidmap-" + std::to_string(getpid()) + ".dat";
    }();
    {
        std::ofstream out(path, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    }
    TlvUtl::GuidMapFile map;
    if (map.Load(std::wstring(path.begin(), path.end()))) {
        GUID key{}, out{};
        if (size >= 16)
            std::copy(data, data + 16, reinterpret_cast<uint8_t*>(&key));
        map.EngineToApp(key, out);
        map.AppToEngine(key, out);
    }
    return 0;
}
