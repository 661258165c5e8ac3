#include "base64.h"

namespace TlvUtl::xml_detail {
namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

int Value(char c) {
    if (c >= 'A' && c <= 'Z')
        return c - 'A';
    if (c >= 'a' && c <= 'z')
        return c - 'a' + 26;
    if (c >= '0' && c <= '9')
        return c - '0' + 52;
    if (c == '+')
        return 62;
    if (c == '/')
        return 63;
    return -1;
}

bool IsSpace(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

} // namespace

std::string EncodeBase64(const unsigned char* data, std::size_t size) {
    std::string out;
    out.reserve((size + 2) / 3 * 4);
    std::size_t i = 0;
    for (; i + 3 <= size; i += 3) {
        const unsigned v = (unsigned(data[i]) << 16) | (unsigned(data[i + 1]) << 8) | data[i + 2];
        out += kAlphabet[v >> 18];
        out += kAlphabet[(v >> 12) & 63];
        out += kAlphabet[(v >> 6) & 63];
        out += kAlphabet[v & 63];
    }
    if (size - i == 1) {
        const unsigned v = unsigned(data[i]) << 16;
        out += kAlphabet[v >> 18];
        out += kAlphabet[(v >> 12) & 63];
        out += "==";
    } else if (size - i == 2) {
        const unsigned v = (unsigned(data[i]) << 16) | (unsigned(data[i + 1]) << 8);
        out += kAlphabet[v >> 18];
        out += kAlphabet[(v >> 12) & 63];
        out += kAlphabet[(v >> 6) & 63];
        out += '=';
    }
    return out;
}

bool DecodeBase64(std::string_view text, std::vector<unsigned char>& out) {
    out.clear();
    out.reserve(text.size() / 4 * 3);
    unsigned group = 0;
    int filled = 0; // sextets in the current group
    int padding = 0;
    for (char c : text) {
        if (IsSpace(c))
            continue;
        if (c == '=') {
            if (filled < 2 || filled + padding >= 4)
                return false;
            ++padding;
            continue;
        }
        const int v = Value(c);
        if (v < 0 || padding > 0)
            return false;
        group = (group << 6) | static_cast<unsigned>(v);
        if (++filled == 4) {
            out.push_back(static_cast<unsigned char>(group >> 16));
            out.push_back(static_cast<unsigned char>(group >> 8));
            out.push_back(static_cast<unsigned char>(group));
            group = 0;
            filled = 0;
        }
    }
    if (filled == 0)
        return padding == 0;
    if (filled + padding != 4)
        return false;
    if (filled == 2) {
        out.push_back(static_cast<unsigned char>(group >> 4));
    } else if (filled == 3) {
        out.push_back(static_cast<unsigned char>(group >> 10));
        out.push_back(static_cast<unsigned char>(group >> 2));
    } else {
        return false;
    }
    return true;
}

} // namespace TlvUtl::xml_detail
