// tlvutl xmp: writes an XMP packet for the metadata given as options, the packet an image
// writer embeds.
//
// The packet writer takes values as they are, so the store filled from the options escapes
// "&", "<" and ">" first: every packet this command writes is well-formed XML whatever the
// text. --date takes "YYYY-MM-DD[Thh:mm[:ss[.fff]]]" in local time, or with "Z" or "+hh:mm"
// for another zone. Exit status: 0 done, 1 the packet or the file failed, 2 bad usage.
#include "command.h"

#include <tlvutl/encoding.h>
#include <tlvutl/property_store.h>
#include <tlvutl/stream.h>
#include <tlvutl/xmp.h>

#include <cstdio>
#include <ctime>
#include <iostream>
#include <memory>

namespace tlvtool {
namespace {

const Command& Self() {
    return CommandNamed("xmp");
}

std::wstring EscapeMarkup(const std::wstring& text) {
    std::wstring out;
    out.reserve(text.size());
    for (wchar_t c : text) {
        switch (c) {
        case L'&':
            out += L"&amp;";
            break;
        case L'<':
            out += L"&lt;";
            break;
        case L'>':
            out += L"&gt;";
            break;
        default:
            out += c;
        }
    }
    return out;
}

// A store whose text values are escaped on the way in, so what the writer copies into the
// packet is already markup-safe.
class EscapingStore : public MemoryPropertyStore {
public:
    HRESULT SetValue(REFPROPERTYKEY key, REFPROPVARIANT in) override {
        const PropVariant value(in); // COM hands a plain PROPVARIANT on Windows
        std::wstring text;
        std::vector<std::wstring> items;
        if (value.Type() == VT_LPWSTR && SUCCEEDED(value.ToString(text)))
            return MemoryPropertyStore::SetValue(key, PropVariant::FromString(EscapeMarkup(text)));
        if (value.Type() == (VT_VECTOR | VT_LPWSTR) && SUCCEEDED(value.ToStringVector(items))) {
            for (auto& item : items)
                item = EscapeMarkup(item);
            return MemoryPropertyStore::SetValue(key, PropVariant::FromStringVector(items));
        }
        return MemoryPropertyStore::SetValue(key, value);
    }
};

bool ReadNumber(const std::string& s, std::size_t& pos, int digits, int& value) {
    value = 0;
    for (int i = 0; i < digits; ++i, ++pos) {
        if (pos >= s.size() || s[pos] < '0' || s[pos] > '9')
            return false;
        value = value * 10 + (s[pos] - '0');
    }
    return true;
}

bool Expect(const std::string& s, std::size_t& pos, char c) {
    if (pos < s.size() && s[pos] == c) {
        ++pos;
        return true;
    }
    return false;
}

// Days since 1970-01-01 of a proleptic Gregorian date.
long long DaysFromCivil(long long y, int m, int d) {
    y -= m <= 2;
    const long long era = (y >= 0 ? y : y - 399) / 400;
    const long long yoe = y - era * 400;
    const long long doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
    return era * 146097 + yoe * 365 + yoe / 4 - yoe / 100 + doy - 719468;
}

// "YYYY-MM-DD[Thh:mm[:ss[.fff]]][Z|(+|-)hh:mm]" as a file time; local time without a zone.
bool ParseDate(const std::string& s, FILETIME& out) {
    std::size_t pos = 0;
    int y = 0, mo = 0, d = 0, h = 0, mi = 0, sec = 0, ms = 0;
    if (!ReadNumber(s, pos, 4, y) || !Expect(s, pos, '-') || !ReadNumber(s, pos, 2, mo) ||
        !Expect(s, pos, '-') || !ReadNumber(s, pos, 2, d))
        return false;
    if (Expect(s, pos, 'T')) {
        if (!ReadNumber(s, pos, 2, h) || !Expect(s, pos, ':') || !ReadNumber(s, pos, 2, mi))
            return false;
        if (Expect(s, pos, ':') && !ReadNumber(s, pos, 2, sec))
            return false;
        if (Expect(s, pos, '.') && !ReadNumber(s, pos, 3, ms))
            return false;
    }
    if (y < 1601 || mo < 1 || mo > 12 || d < 1 || d > 31 || h > 23 || mi > 59 || sec > 59)
        return false;
    long long seconds = 0;
    if (pos == s.size()) {
        std::tm tm{};
        tm.tm_year = y - 1900, tm.tm_mon = mo - 1, tm.tm_mday = d;
        tm.tm_hour = h, tm.tm_min = mi, tm.tm_sec = sec, tm.tm_isdst = -1;
        const std::time_t t = std::mktime(&tm);
        if (t == static_cast<std::time_t>(-1) || tm.tm_mday != d)
            return false; // no such day, or a time mktime cannot place
        seconds = t;
    } else {
        int offset = 0;
        if (!Expect(s, pos, 'Z')) {
            const int sign = Expect(s, pos, '+') ? 1 : Expect(s, pos, '-') ? -1 : 0;
            int oh = 0, om = 0;
            if (!sign || !ReadNumber(s, pos, 2, oh) || !Expect(s, pos, ':') ||
                !ReadNumber(s, pos, 2, om))
                return false;
            offset = sign * (oh * 60 + om) * 60;
        }
        if (pos != s.size())
            return false;
        seconds = DaysFromCivil(y, mo, d) * 86400 + h * 3600 + mi * 60 + sec - offset;
    }
    const long long ticks = (seconds + 11644473600LL) * 10000000LL + ms * 10000LL;
    if (ticks < 0)
        return false;
    out.dwLowDateTime = static_cast<DWORD>(static_cast<unsigned long long>(ticks));
    out.dwHighDateTime = static_cast<DWORD>(static_cast<unsigned long long>(ticks) >> 32);
    return true;
}

std::wstring Wide(const std::string& s) {
    return TlvUtils::FromUtf8(s);
}

} // namespace

int RunXmp(const Args& args) {
    auto store = std::make_shared<EscapingStore>();
    std::vector<std::wstring> authors, keywords;
    std::string out;
    bool chunks = false;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        if (a == "--chunks") {
            chunks = true;
            continue;
        }
        if (i + 1 >= args.size())
            return UsageError(Self(), a.rfind("--", 0) == 0 ? a + " needs a value"
                                                            : "unexpected argument '" + a + "'");
        const std::string& v = args[++i];
        if (a == "--title")
            store->SetValue(PKEY_Title, PropVariant::FromString(Wide(v)));
        else if (a == "--comment")
            store->SetValue(PKEY_Comment, PropVariant::FromString(Wide(v)));
        else if (a == "--copyright")
            store->SetValue(PKEY_Copyright, PropVariant::FromString(Wide(v)));
        else if (a == "--author")
            authors.push_back(Wide(v));
        else if (a == "--keyword")
            keywords.push_back(Wide(v));
        else if (a == "--out")
            out = v;
        else if (a == "--rating") {
            char* end = nullptr;
            const long r = std::strtol(v.c_str(), &end, 10);
            if (v.empty() || *end || r < 0 || r > 32767)
                return UsageError(Self(), "--rating takes a number from 0 to 32767");
            store->SetValue(PKEY_Rating, PropVariant::FromUInt16(static_cast<uint16_t>(r)));
        } else if (a == "--date") {
            FILETIME t{};
            if (!ParseDate(v, t))
                return UsageError(Self(), "--date takes YYYY-MM-DD[Thh:mm[:ss[.fff]]][Z|+hh:mm]");
            store->SetValue(PKEY_Photo_DateTaken, PropVariant::FromFileTime(t));
        } else {
            return UsageError(Self(), "unknown option '" + a + "'");
        }
    }
    if (!authors.empty())
        store->SetValue(PKEY_Author, PropVariant::FromStringVector(authors));
    if (!keywords.empty())
        store->SetValue(PKEY_Keywords, PropVariant::FromStringVector(keywords));

    WXmpDoc doc(store);
    if (doc.CreateFromPropertyStore() != 0) {
        std::cerr << "tlvutl xmp: the packet could not be written (error " << doc.GetError()
                  << ")\n";
        return kFailed;
    }
    std::string packet;
    std::vector<char> chunk;
    for (int i = 0; i < doc.GetNumberOfChunks(); ++i) {
        if (doc.GetDataToVector(chunk, i) != doc.GetChunkSize(i)) {
            std::cerr << "tlvutl xmp: chunk " << i << " could not be read back\n";
            return kFailed;
        }
        packet.append(chunk.data(), chunk.size());
    }
    if (chunks) {
        std::cout << "packet: " << doc.GetDataSize() << " bytes in " << doc.GetNumberOfChunks()
                  << " chunks of at most " << WXmpDoc::kMaxChunkSize << "\nchunk\toffset\tsize\n";
        long long offset = 0;
        for (int i = 0; i < doc.GetNumberOfChunks(); ++i) {
            std::cout << i << "\t" << offset << "\t" << doc.GetChunkSize(i) << "\n";
            offset += doc.GetChunkSize(i);
        }
    }
    if (!out.empty()) {
        HRESULT hr = S_OK;
        auto file = TlvUtils::FileStream::Open(Wide(out), TlvUtils::FileStream::Mode::kWrite, &hr);
        if (!file ||
            FAILED(file->Write(packet.data(), static_cast<ULONG>(packet.size()), nullptr)) ||
            !file->Flush()) {
            std::cerr << "tlvutl xmp: cannot write " << out << "\n";
            return kFailed;
        }
    } else if (!chunks) {
        std::cout.write(packet.data(), static_cast<std::streamsize>(packet.size()));
        std::cout.flush();
    }
    return kOk;
}

} // namespace tlvtool
