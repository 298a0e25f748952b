// tests/support/hex.h - hex text to bytes for test vectors.
//
// hex("30 03 02 01 05") gives the five octets 30 03 02 01 05. Pairs of hex
// digits may be separated by any whitespace; a digit pair may not be split.
// Malformed text (an odd digit count, a non-hex character) throws
// std::invalid_argument, so a typo in a vector fails its test loudly.
#ifndef QBASN_TESTS_SUPPORT_HEX_H
#define QBASN_TESTS_SUPPORT_HEX_H

#include <stdexcept>
#include <string>
#include <vector>

namespace qb_test::detail {

// hex_digit: the value of one hex digit, or -1.
inline int hex_digit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

inline bool is_space(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

}  // namespace qb_test::detail

// hex: the octets written in `text` (see the file comment).
inline std::vector<unsigned char> hex(const char* text) {
    std::vector<unsigned char> out;
    const char* s = text;
    while (*s != '\0') {
        if (qb_test::detail::is_space(*s)) {
            ++s;
            continue;
        }
        const int hi = qb_test::detail::hex_digit(s[0]);
        const int lo = hi < 0 ? -1 : qb_test::detail::hex_digit(s[1]);
        if (hi < 0 || lo < 0) throw std::invalid_argument(std::string("bad hex text: ") + text);
        out.push_back(static_cast<unsigned char>(hi * 16 + lo));
        s += 2;
    }
    return out;
}

#endif
