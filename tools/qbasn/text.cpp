// tools/qbasn/text.cpp - checking and quoting texts for JSON and for the dump.
#include "tools/qbasn/text.h"

namespace qbtool {

namespace {

// utf8_length: the length of the well-formed UTF-8 sequence starting at
// bytes[i], or 0 when none starts there (RFC 3629, table 3-7 of Unicode).
size_t utf8_length(std::span<const unsigned char> bytes, size_t i) {
    const unsigned char c = bytes[i];
    if (c < 0x80) return 1;
    size_t n = 0;
    unsigned char lo = 0x80, hi = 0xBF;  // range of the second octet
    if (c >= 0xC2 && c <= 0xDF) {
        n = 2;
    } else if (c >= 0xE0 && c <= 0xEF) {
        n = 3;
        if (c == 0xE0) lo = 0xA0;  // no overlong forms
        if (c == 0xED) hi = 0x9F;  // no surrogates
    } else if (c >= 0xF0 && c <= 0xF4) {
        n = 4;
        if (c == 0xF0) lo = 0x90;  // no overlong forms
        if (c == 0xF4) hi = 0x8F;  // nothing above U+10FFFF
    } else {
        return 0;
    }
    if (bytes.size() - i < n) return 0;
    if (bytes[i + 1] < lo || bytes[i + 1] > hi) return 0;
    for (size_t k = 2; k < n; ++k)
        if (bytes[i + k] < 0x80 || bytes[i + k] > 0xBF) return 0;
    return n;
}

}  // namespace

bool valid_utf8(std::span<const unsigned char> bytes) {
    for (size_t i = 0; i < bytes.size();) {
        const size_t n = utf8_length(bytes, i);
        if (n == 0) return false;
        i += n;
    }
    return true;
}

void write_json_string(FILE* out, std::span<const unsigned char> bytes) {
    std::fputc('"', out);
    for (unsigned char c : bytes) {
        switch (c) {
            case '"': std::fputs("\\\"", out); break;
            case '\\': std::fputs("\\\\", out); break;
            case '\n': std::fputs("\\n", out); break;
            case '\r': std::fputs("\\r", out); break;
            case '\t': std::fputs("\\t", out); break;
            case '\b': std::fputs("\\b", out); break;
            case '\f': std::fputs("\\f", out); break;
            default:
                if (c < 0x20)
                    std::fprintf(out, "\\u%04x", c);
                else
                    std::fputc(c, out);
        }
    }
    std::fputc('"', out);
}

void write_quoted(FILE* out, std::span<const unsigned char> bytes, size_t limit) {
    std::fputc('"', out);
    size_t i = 0;
    while (i < bytes.size() && i < limit) {
        const unsigned char c = bytes[i];
        const size_t n = utf8_length(bytes, i);
        // A well-formed multi-octet character goes out as it is, except the
        // C1 controls U+0080..U+009F, which some terminals act upon.
        const bool c1_control = n == 2 && c == 0xC2 && bytes[i + 1] < 0xA0;
        if (n > 1 && !c1_control) {
            std::fwrite(&bytes[i], 1, n, out);
            i += n;
            continue;
        }
        switch (c) {
            case '"': std::fputs("\\\"", out); break;
            case '\\': std::fputs("\\\\", out); break;
            case '\n': std::fputs("\\n", out); break;
            case '\r': std::fputs("\\r", out); break;
            case '\t': std::fputs("\\t", out); break;
            default:
                if (c < 0x20 || c >= 0x7F)
                    std::fprintf(out, "\\x%02X", c);
                else
                    std::fputc(c, out);
        }
        ++i;
    }
    std::fputc('"', out);
    if (i < bytes.size()) std::fputs("...", out);
}

std::string one_line(const std::string& text) {
    std::string line;
    line.reserve(text.size());
    for (unsigned char c : text) {
        if (c < 0x20 || c == 0x7F) {
            char hexed[8];
            std::snprintf(hexed, sizeof hexed, "\\x%02X", c);
            line += hexed;
        } else {
            line += static_cast<char>(c);
        }
    }
    return line;
}

}  // namespace qbtool
