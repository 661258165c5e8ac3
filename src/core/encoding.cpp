#include <tlvutl/encoding.h>

namespace TlvUtils {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

// keepSurrogates: WTF-8, where a lone surrogate is written as its three-byte sequence.
void AppendUtf8(std::string& out, char32_t c, bool keepSurrogates = false) {
    if (c > 0x10FFFF || (!keepSurrogates && c >= 0xD800 && c <= 0xDFFF))
        c = kReplacement;
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}

void AppendWide(std::wstring& out, char32_t c) {
    if constexpr (sizeof(wchar_t) == 2) {
        if (c >= 0x10000) {
            c -= 0x10000;
            out += static_cast<wchar_t>(0xD800 + (c >> 10));
            out += static_cast<wchar_t>(0xDC00 + (c & 0x3FF));
            return;
        }
    }
    out += static_cast<wchar_t>(c);
}

// Decodes the wide string into code points (joining surrogate pairs where wchar_t is 16-bit).
template <class F> void ForEachCodePoint(std::wstring_view text, F&& f) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        char32_t c = static_cast<char32_t>(text[i]);
        if constexpr (sizeof(wchar_t) == 2) {
            if (c >= 0xD800 && c <= 0xDBFF && i + 1 < text.size()) {
                char32_t d = static_cast<char32_t>(text[i + 1]);
                if (d >= 0xDC00 && d <= 0xDFFF) {
                    c = 0x10000 + ((c - 0xD800) << 10) + (d - 0xDC00);
                    ++i;
                }
            }
        }
        f(c);
    }
}

} // namespace

std::string ToUtf8(std::wstring_view text) {
    std::string out;
    out.reserve(text.size());
    ForEachCodePoint(text, [&](char32_t c) { AppendUtf8(out, c); });
    return out;
}

namespace {

std::wstring Decode(std::string_view bytes, bool keepSurrogates) {
    std::wstring out;
    out.reserve(bytes.size());
    std::size_t i = 0;
    const std::size_t n = bytes.size();
    while (i < n) {
        const unsigned char b = static_cast<unsigned char>(bytes[i]);
        int extra;
        char32_t c;
        char32_t min;
        if (b < 0x80) {
            out += static_cast<wchar_t>(b);
            ++i;
            continue;
        } else if ((b & 0xE0) == 0xC0) {
            extra = 1, c = b & 0x1F, min = 0x80;
        } else if ((b & 0xF0) == 0xE0) {
            extra = 2, c = b & 0x0F, min = 0x800;
        } else if ((b & 0xF8) == 0xF0) {
            extra = 3, c = b & 0x07, min = 0x10000;
        } else {
            AppendWide(out, kReplacement);
            ++i;
            continue;
        }
        std::size_t j = i + 1;
        bool ok = true;
        for (int k = 0; k < extra; ++k, ++j) {
            if (j >= n || (static_cast<unsigned char>(bytes[j]) & 0xC0) != 0x80) {
                ok = false;
                break;
            }
            c = (c << 6) | (static_cast<unsigned char>(bytes[j]) & 0x3F);
        }
        if (!ok || c < min || c > 0x10FFFF || (!keepSurrogates && c >= 0xD800 && c <= 0xDFFF)) {
            AppendWide(out, kReplacement);
            i = j; // the lead byte and the continuation bytes read so far are one fault
            continue;
        }
        AppendWide(out, c);
        i = j;
    }
    return out;
}

} // namespace

std::wstring FromUtf8(std::string_view bytes) {
    return Decode(bytes, false);
}

std::string ToWtf8(std::wstring_view text) {
    std::string out;
    out.reserve(text.size());
    for (wchar_t c : text)
        AppendUtf8(out, static_cast<char32_t>(c), true);
    return out;
}

std::wstring FromWtf8(std::string_view bytes) {
    return Decode(bytes, true);
}

std::string ToUtf16LE(std::wstring_view text) {
    std::string out;
    out.reserve(text.size() * 2);
    auto unit = [&](char16_t u) {
        out += static_cast<char>(u & 0xFF);
        out += static_cast<char>(u >> 8);
    };
    ForEachCodePoint(text, [&](char32_t c) {
        if (c > 0x10FFFF)
            c = kReplacement;
        if (c >= 0x10000) {
            c -= 0x10000;
            unit(static_cast<char16_t>(0xD800 + (c >> 10)));
            unit(static_cast<char16_t>(0xDC00 + (c & 0x3FF)));
        } else {
            unit(static_cast<char16_t>(c));
        }
    });
    return out;
}

std::wstring FromUtf16LE(const void* bytes, std::size_t size) {
    const unsigned char* p = static_cast<const unsigned char*>(bytes);
    const std::size_t units = size / 2;
    std::wstring out;
    out.reserve(units);
    for (std::size_t i = 0; i < units; ++i) {
        char32_t c = static_cast<char32_t>(p[2 * i] | (p[2 * i + 1] << 8));
        if (c >= 0xD800 && c <= 0xDBFF && i + 1 < units) {
            char32_t d = static_cast<char32_t>(p[2 * i + 2] | (p[2 * i + 3] << 8));
            if (d >= 0xDC00 && d <= 0xDFFF) {
                AppendWide(out, 0x10000 + ((c - 0xD800) << 10) + (d - 0xDC00));
                ++i;
                continue;
            }
        }
        if (c >= 0xD800 && c <= 0xDFFF)
            c = kReplacement;
        AppendWide(out, c);
    }
    return out;
}

} // namespace TlvUtils
