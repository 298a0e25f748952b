// tools/qbasn/hex.cpp - hex text in and out.
#include "tools/qbasn/hex.h"

#include "tools/qbasn/common.h"

namespace qbtool {

namespace {

constexpr char kDigits[] = "0123456789ABCDEF";

// The value of a hex digit, or -1.
int digit_value(unsigned char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

bool is_space(unsigned char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v'; }

// How a character is shown in a message: itself when printable, else \xNN.
std::string shown(unsigned char c) {
    char text[8];
    if (c >= 0x21 && c <= 0x7E)
        std::snprintf(text, sizeof text, "'%c'", static_cast<char>(c));
    else
        std::snprintf(text, sizeof text, "\\x%02X", c);
    return text;
}

}  // namespace

namespace {

// xxd_offset: when the line starting at `i` is an xxd line ("00000010: 3082
// 0123 ...  0..#"), the length of its offset and ": " to skip; else 0. An
// offset is 7 or more hex digits, a colon and a space.
size_t xxd_offset(std::span<const unsigned char> text, size_t i) {
    size_t p = i;
    while (p < text.size() && (text[p] == ' ' || text[p] == '\t')) ++p;
    const size_t digits_start = p;
    while (p < text.size() && digit_value(text[p]) >= 0) ++p;
    if (p - digits_start < 7 || p + 1 >= text.size() || text[p] != ':' || text[p + 1] != ' ') return 0;
    return p + 2 - i;
}

}  // namespace

std::vector<unsigned char> parse_hex_text(std::span<const unsigned char> text) {
    std::vector<unsigned char> bytes;
    bytes.reserve(text.size() / 2);
    size_t line = 1, column = 0;
    int high = -1;  // the first digit of a pair, once seen
    size_t high_line = 0, high_column = 0;
    bool xxd_line = false;  // in an xxd line, two spaces end the hex (its text column follows)
    for (size_t i = 0; i < text.size(); ++i) {
        if (column == 0) {
            const size_t skip = xxd_offset(text, i);
            xxd_line = skip != 0;
            if (skip != 0) {
                i += skip - 1;
                column = skip;
                continue;
            }
        }
        const unsigned char c = text[i];
        ++column;
        if (c == '\n') {
            ++line;
            column = 0;
            continue;
        }
        if (xxd_line && c == ' ' && i + 1 < text.size() && text[i + 1] == ' ' && high < 0) {
            while (i + 1 < text.size() && text[i + 1] != '\n') ++i;  // the text column
            continue;
        }
        if (is_space(c)) continue;
        if (c == '#') {  // a comment runs to the end of the line
            while (i + 1 < text.size() && text[i + 1] != '\n') ++i;
            continue;
        }
        if (high < 0) {
            // Between octets: ':' and ',' separate them ("30:0F", "0x30, 0x0F"),
            // and "0x" may lead one.
            if (c == ':' || c == ',') continue;
            if (c == '0' && i + 1 < text.size() && (text[i + 1] == 'x' || text[i + 1] == 'X')) {
                ++i;
                ++column;
                continue;
            }
        }
        const int v = digit_value(c);
        if (v < 0)
            input_error("hex input, line " + std::to_string(line) + ", column " + std::to_string(column) + ": " +
                        shown(c) + " is not a hex digit");
        if (high < 0) {
            high = v;
            high_line = line;
            high_column = column;
        } else {
            bytes.push_back(static_cast<unsigned char>(high * 16 + v));
            high = -1;
        }
    }
    if (high >= 0)
        input_error("hex input, line " + std::to_string(high_line) + ", column " + std::to_string(high_column) +
                    ": odd number of hex digits (the last octet has one digit)");
    return bytes;
}

std::optional<std::vector<unsigned char>> parse_hex_string(std::string_view text, std::string& why) {
    std::vector<unsigned char> bytes;
    bytes.reserve(text.size() / 2);
    size_t i = 0;
    while (i < text.size()) {
        if (text[i] == ' ') {
            ++i;
            continue;
        }
        const int hi = digit_value(static_cast<unsigned char>(text[i]));
        if (hi < 0) {
            why = "character " + std::to_string(i + 1) + " is not a hex digit";
            return std::nullopt;
        }
        if (i + 1 == text.size() || text[i + 1] == ' ') {
            why = "odd number of hex digits (character " + std::to_string(i + 1) + " has no partner)";
            return std::nullopt;
        }
        const int lo = digit_value(static_cast<unsigned char>(text[i + 1]));
        if (lo < 0) {
            why = "character " + std::to_string(i + 2) + " is not a hex digit";
            return std::nullopt;
        }
        bytes.push_back(static_cast<unsigned char>(hi * 16 + lo));
        i += 2;
    }
    return bytes;
}

std::string hex_digits(std::span<const unsigned char> bytes) {
    std::string text;
    text.reserve(bytes.size() * 2);
    for (unsigned char b : bytes) {
        text += kDigits[b >> 4];
        text += kDigits[b & 0x0F];
    }
    return text;
}

void write_hex_lines(FILE* out, std::span<const unsigned char> bytes) {
    for (size_t i = 0; i < bytes.size(); ++i) {
        std::fputc(kDigits[bytes[i] >> 4], out);
        std::fputc(kDigits[bytes[i] & 0x0F], out);
        std::fputc(i % 16 == 15 || i + 1 == bytes.size() ? '\n' : ' ', out);
    }
}

}  // namespace qbtool
