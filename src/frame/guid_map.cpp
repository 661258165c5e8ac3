// The engine-to-application GUID map and its file "guidmap.dat".
//
// Both tables of the file are sorted in the map's own order (the last byte of Data4 is the
// most significant), not in byte order; a file sorted any other way makes look-ups miss.
// Loading validates the header against the file's size before it allocates, so a damaged
// count can never ask for a huge block.
#include <tlvutl/frame.h>

#include "install_data_folder.h"
#include "library_state.h"
#include "platform/file_system.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <cwchar>
#include <cwctype>

namespace {

constexpr std::size_t kGuidBytes = 16;
constexpr std::size_t kRecordBytes = 2 * kGuidBytes;

GUID GuidFromBytes(const unsigned char* b) {
    GUID g;
    g.Data1 = static_cast<uint32_t>(b[0]) | static_cast<uint32_t>(b[1]) << 8 |
              static_cast<uint32_t>(b[2]) << 16 | static_cast<uint32_t>(b[3]) << 24;
    g.Data2 = static_cast<uint16_t>(b[4] | b[5] << 8);
    g.Data3 = static_cast<uint16_t>(b[6] | b[7] << 8);
    std::memcpy(g.Data4, b + 8, 8);
    return g;
}

void GuidToBytes(const GUID& g, unsigned char* b) {
    for (int i = 0; i < 4; ++i)
        b[i] = static_cast<unsigned char>(g.Data1 >> (8 * i));
    b[4] = static_cast<unsigned char>(g.Data2), b[5] = static_cast<unsigned char>(g.Data2 >> 8);
    b[6] = static_cast<unsigned char>(g.Data3), b[7] = static_cast<unsigned char>(g.Data3 >> 8);
    std::memcpy(b + 8, g.Data4, 8);
}

uint32_t ReadU32(const unsigned char* b) {
    return static_cast<uint32_t>(b[0]) | static_cast<uint32_t>(b[1]) << 8 |
           static_cast<uint32_t>(b[2]) << 16 | static_cast<uint32_t>(b[3]) << 24;
}

// Reads one table of `count` records at `offset` into the sorted and the paired array.
bool ReadTable(std::string_view file, uint32_t offset, int32_t count, std::vector<GUID>& sorted,
               std::vector<GUID>& paired) {
    const std::uint64_t need = static_cast<std::uint64_t>(count) * kRecordBytes;
    if (offset > file.size() || need > file.size() - offset)
        return false;
    const auto* bytes = reinterpret_cast<const unsigned char*>(file.data()) + offset;
    sorted.resize(static_cast<std::size_t>(count));
    paired.resize(static_cast<std::size_t>(count));
    for (int32_t i = 0; i < count; ++i) {
        sorted[static_cast<std::size_t>(i)] =
            GuidFromBytes(&bytes[static_cast<std::size_t>(i) * kRecordBytes]);
        paired[static_cast<std::size_t>(i)] =
            GuidFromBytes(&bytes[static_cast<std::size_t>(i) * kRecordBytes + kGuidBytes]);
    }
    return true;
}

// The header against the size: two tables of count records each, after the 12-byte header,
// apart, and nothing else in the file. A damaged count or offset fails here instead of
// reading records from the wrong place.
bool Consistent(std::size_t size, int32_t count, uint32_t offsetA, uint32_t offsetB) {
    const std::uint64_t table = static_cast<std::uint64_t>(count) * kRecordBytes;
    if (size != 12 + 2 * table || offsetA < 12 || offsetB < 12)
        return false;
    const std::uint64_t a = offsetA, b = offsetB;
    return count == 0 || a + table <= b || b + table <= a;
}

// Both tables in the map's order (engines strictly: one application per engine) and each the
// other with its columns swapped. A flipped byte in a record breaks the order or the mirror,
// so damage is reported instead of answering look-ups with a wrong GUID.
bool Mirrored(const std::vector<GUID>& engines, const std::vector<GUID>& appForEngine,
              const std::vector<GUID>& apps, const std::vector<GUID>& engineForApp) {
    for (std::size_t i = 1; i < engines.size(); ++i)
        if (TlvUtl::CompareGuids(engines[i - 1], engines[i]) >= 0 ||
            TlvUtl::CompareGuids(apps[i - 1], apps[i]) > 0)
            return false;
    std::vector<bool> seen(engines.size(), false);
    for (std::size_t i = 0; i < apps.size(); ++i) {
        const auto at = std::lower_bound(
            engines.begin(), engines.end(), engineForApp[i],
            [](const GUID& x, const GUID& y) { return TlvUtl::CompareGuids(x, y) < 0; });
        if (at == engines.end() || TlvUtl::CompareGuids(*at, engineForApp[i]) != 0)
            return false;
        const auto k = static_cast<std::size_t>(at - engines.begin());
        if (seen[k] || TlvUtl::CompareGuids(appForEngine[k], apps[i]) != 0)
            return false;
        seen[k] = true;
    }
    return true;
}

// The binary search of the map: inclusive bounds, middle = low + (high - low) / 2.
bool Search(const std::vector<GUID>& sorted, const std::vector<GUID>& paired, const GUID& key,
            GUID& out) {
    if (sorted.empty())
        return false;
    std::int64_t low = 0, high = static_cast<std::int64_t>(sorted.size()) - 1;
    while (low <= high) {
        const std::int64_t mid = low + (high - low) / 2;
        const int c = TlvUtl::CompareGuids(sorted[static_cast<std::size_t>(mid)], key);
        if (c == 0) {
            out = paired[static_cast<std::size_t>(mid)];
            return true;
        }
        if (c > 0)
            high = mid - 1;
        else
            low = mid + 1;
    }
    return false;
}

// The library's own map (one static instance).
struct CGUIDMap {
    TlvUtl::GuidMapFile map;
    bool loaded = false;
};

CGUIDMap g_map;

// The host's provider, and the default one the folder getters install.
std::atomic<TlvUtl::InstallDataFolderProvider> g_provider{nullptr};
std::atomic<TlvUtl::InstallDataFolderProvider> g_defaultProvider{nullptr};

} // namespace

namespace TlvUtl {

int CompareGuids(const GUID& a, const GUID& b) {
    for (int i = 7; i >= 0; --i)
        if (a.Data4[i] != b.Data4[i])
            return a.Data4[i] < b.Data4[i] ? -1 : 1;
    if (a.Data3 != b.Data3)
        return a.Data3 < b.Data3 ? -1 : 1;
    if (a.Data2 != b.Data2)
        return a.Data2 < b.Data2 ? -1 : 1;
    if (a.Data1 != b.Data1)
        return a.Data1 < b.Data1 ? -1 : 1;
    return 0;
}

bool GuidMapFile::Load(const std::wstring& path) {
    engineSorted_.clear(), appForEngine_.clear(), appSorted_.clear(), engineForApp_.clear();
    std::string file;
    if (tlv::platform::ReadWholeFile(path, file) || file.size() < 12)
        return false;
    const auto* header = reinterpret_cast<const unsigned char*>(file.data());
    const int32_t count = static_cast<int32_t>(ReadU32(header));
    const uint32_t offsetA = ReadU32(header + 4);
    const uint32_t offsetB = ReadU32(header + 8);
    bool ok = count >= 0 && Consistent(file.size(), count, offsetA, offsetB) &&
              ReadTable(file, offsetA, count, engineSorted_, appForEngine_) &&
              ReadTable(file, offsetB, count, appSorted_, engineForApp_) &&
              Mirrored(engineSorted_, appForEngine_, appSorted_, engineForApp_);
    if (!ok) {
        engineSorted_.clear(), appForEngine_.clear(), appSorted_.clear(), engineForApp_.clear();
        return false;
    }
    return true;
}

bool GuidMapFile::EngineToApp(const GUID& engine, GUID& app) const {
    return Search(engineSorted_, appForEngine_, engine, app);
}

bool GuidMapFile::AppToEngine(const GUID& app, GUID& engine) const {
    return Search(appSorted_, engineForApp_, app, engine);
}

bool WriteGuidMapFile(const std::wstring& path, std::vector<std::pair<GUID, GUID>> pairs) {
    if (pairs.size() > 0x7FFFFFF)
        return false;
    auto less = [](const GUID& a, const GUID& b) { return CompareGuids(a, b) < 0; };
    std::vector<std::pair<GUID, GUID>> byApp;
    byApp.reserve(pairs.size());
    for (const auto& [e, a] : pairs)
        byApp.emplace_back(a, e);
    std::stable_sort(pairs.begin(), pairs.end(),
                     [&](auto& x, auto& y) { return less(x.first, y.first); });
    std::stable_sort(byApp.begin(), byApp.end(),
                     [&](auto& x, auto& y) { return less(x.first, y.first); });
    // One engine maps to one application: a second pair for it would make look-ups depend on
    // where the search lands.
    for (std::size_t i = 1; i < pairs.size(); ++i)
        if (CompareGuids(pairs[i - 1].first, pairs[i].first) == 0)
            return false;

    const uint32_t count = static_cast<uint32_t>(pairs.size());
    const uint32_t offsetA = 12;
    const uint32_t offsetB = offsetA + count * static_cast<uint32_t>(kRecordBytes);
    std::string file(12 + 2 * count * kRecordBytes, '\0');
    auto* bytes = reinterpret_cast<unsigned char*>(file.data());
    auto put32 = [&](std::size_t at, uint32_t v) {
        for (int i = 0; i < 4; ++i)
            bytes[at + static_cast<std::size_t>(i)] = static_cast<unsigned char>(v >> (8 * i));
    };
    put32(0, count), put32(4, offsetA), put32(8, offsetB);
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        GuidToBytes(pairs[i].first, &bytes[offsetA + i * kRecordBytes]);
        GuidToBytes(pairs[i].second, &bytes[offsetA + i * kRecordBytes + kGuidBytes]);
        GuidToBytes(byApp[i].first, &bytes[offsetB + i * kRecordBytes]);
        GuidToBytes(byApp[i].second, &bytes[offsetB + i * kRecordBytes + kGuidBytes]);
    }
    // A reader never sees half a map: the file is replaced whole.
    return !tlv::platform::WriteFileAtomically(path, file);
}

bool ParseGuid(const std::wstring& text, GUID& out) {
    std::wstring t = text;
    if (t.size() == 38 && t.front() == L'{' && t.back() == L'}')
        t = t.substr(1, 36);
    if (t.size() != 36 || t[8] != L'-' || t[13] != L'-' || t[18] != L'-' || t[23] != L'-')
        return false;
    std::wstring hex;
    for (std::size_t i = 0; i < t.size(); ++i) {
        if (i == 8 || i == 13 || i == 18 || i == 23)
            continue;
        if (!std::iswxdigit(static_cast<wint_t>(t[i])))
            return false;
        hex += t[i];
    }
    auto value = [&](std::size_t at, std::size_t n) {
        return static_cast<uint32_t>(std::wcstoul(hex.substr(at, n).c_str(), nullptr, 16));
    };
    out.Data1 = value(0, 8);
    out.Data2 = static_cast<uint16_t>(value(8, 4));
    out.Data3 = static_cast<uint16_t>(value(12, 4));
    for (std::size_t i = 0; i < 8; ++i)
        out.Data4[i] = static_cast<uint8_t>(value(16 + 2 * i, 2));
    return true;
}

std::wstring FormatGuid(const GUID& g) {
    CString s;
    s.Format(L"{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}", g.Data1, g.Data2, g.Data3,
             g.Data4[0], g.Data4[1], g.Data4[2], g.Data4[3], g.Data4[4], g.Data4[5], g.Data4[6],
             g.Data4[7]);
    return s.str();
}

void SetInstallDataFolderProvider(InstallDataFolderProvider provider) {
    g_provider = provider;
}

std::wstring GetInstallDataFolder() {
    // The installation's Data folder, from the configuration folder the installer recorded.
    if (const auto provider = g_provider.load())
        return provider();
    const auto fallback = g_defaultProvider.load();
    return fallback ? fallback() : std::wstring();
}

} // namespace TlvUtl

namespace tlv::frame {

void SetDefaultInstallDataFolderProvider(TlvUtl::InstallDataFolderProvider provider) {
    g_defaultProvider = provider;
}

int LoadGuidMap() {
    if (g_map.loaded)
        return 1;
    g_map.loaded = g_map.map.Load(TlvUtl::GetInstallDataFolder() + L"guidmap.dat");
    return g_map.loaded ? 1 : 0;
}

} // namespace tlv::frame

int UTLMapEng2AppGUID(const GUID* engine, GUID* application) {
    if (!g_map.loaded || !engine || !application)
        return 0;
    return g_map.map.EngineToApp(*engine, *application) ? 1 : 0;
}

int UTLMapApp2EngGUID(const GUID* application, GUID* engine) {
    if (!g_map.loaded || !application || !engine)
        return 0;
    return g_map.map.AppToEngine(*application, *engine) ? 1 : 0;
}
