// The names of the siblings a file is written to before they are renamed over it: the file's
// name, a dot and six random letters and digits. Both backends make them with
// TemporarySuffix and recognise a killed writer's leftovers with IsTemporaryName, so what
// one makes the other's clean-up removes and nothing else.
#ifndef TLVUTL_PLATFORM_TEMPORARY_NAME_H
#define TLVUTL_PLATFORM_TEMPORARY_NAME_H

#include <cstdint>
#include <random>
#include <string>
#include <string_view>

namespace tlv::platform {

// Six random letters and digits. processId seeds each thread's generator with the clock's
// entropy, so processes started together do not draw the same names.
template <class Char> std::basic_string<Char> TemporarySuffix(std::uint64_t processId) {
    static constexpr char kAlphabet[] =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
    static thread_local std::mt19937_64 random{std::random_device{}() ^ processId};
    std::basic_string<Char> s;
    for (int i = 0; i < 6; ++i)
        s += static_cast<Char>(kAlphabet[random() % (sizeof kAlphabet - 1)]);
    return s;
}

// True when name is base + "." + six letters and digits that a suffix could be. Six letters
// of one case alone ("backup") are taken as the user's own name, not a temporary.
template <class Char>
bool IsTemporaryName(std::basic_string_view<Char> base, std::basic_string_view<Char> name) {
    if (name.size() != base.size() + 7 || name.compare(0, base.size(), base) != 0 ||
        name[base.size()] != Char('.'))
        return false;
    bool lower = false, upper = false, digit = false;
    for (const Char c : name.substr(base.size() + 1)) {
        const bool l = c >= Char('a') && c <= Char('z');
        const bool u = c >= Char('A') && c <= Char('Z');
        const bool d = c >= Char('0') && c <= Char('9');
        if (!l && !u && !d)
            return false;
        lower |= l;
        upper |= u;
        digit |= d;
    }
    return digit || lower == upper;
}

} // namespace tlv::platform

#endif
