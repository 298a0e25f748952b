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

std::vector<unsigned char> parse_hex_text(std::span<const unsigned char> text) {
    std::vector<unsigned char> bytes;
    bytes.reserve(text.size() / 2);
    size_t line = 1, column = 0;
    int high = -1;  // the first digit of a pair, once seen
    size_t high_line = 0, high_column = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        const unsigned char c = text[i];
        ++column;
        if (c == '\n') {
            ++line;
            column = 0;
            continue;
        }
        if (is_space(c)) continue;
        if (c == '#') {  // a comment runs to the end of the line
            while (i + 1 < text.size() && text[i + 1] != '\n') ++i;
            continue;
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
