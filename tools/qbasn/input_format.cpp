// tools/qbasn/input_format.cpp - raw, hex, base64 and PEM input, and telling
// them apart. See input_format.h for what each format accepts.
#include "tools/qbasn/input_format.h"

#include <cstdint>
#include <cstdio>
#include <string_view>

#include "tools/qbasn/common.h"
#include "tools/qbasn/hex.h"

namespace qbtool {

namespace {

using octets = std::span<const unsigned char>;

bool is_hex_digit(unsigned char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

// White space as parse_hex_text skips it.
bool is_hex_space(unsigned char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v'; }

// How a character is shown in a message: itself when printable, else \xNN,
// so that a message stays on one line.
std::string shown(unsigned char c) {
    char text[8];
    if (c >= 0x21 && c <= 0x7E)
        std::snprintf(text, sizeof text, "'%c'", static_cast<char>(c));
    else if (c == ' ')
        std::snprintf(text, sizeof text, "' '");
    else
        std::snprintf(text, sizeof text, "\\x%02X", c);
    return text;
}

// A piece of a line shown in a message: printable ASCII as it is, other
// octets as \xNN, and no more than 60 characters of it.
std::string shown_text(std::string_view text) {
    constexpr size_t kMax = 60;
    std::string out;
    for (size_t i = 0; i < text.size() && i < kMax; ++i) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        if (c >= 0x20 && c <= 0x7E) {
            out += static_cast<char>(c);
        } else {
            char esc[8];
            std::snprintf(esc, sizeof esc, "\\x%02X", c);
            out += esc;
        }
    }
    if (text.size() > kMax) out += "...";
    return out;
}

std::string where(size_t line, size_t column) {
    return "line " + std::to_string(line) + ", column " + std::to_string(column);
}

// The input without a UTF-8 byte order mark at its start.
octets without_bom(octets input) {
    if (input.size() >= 3 && input[0] == 0xEF && input[1] == 0xBB && input[2] == 0xBF) return input.subspan(3);
    return input;
}

std::string_view as_view(octets text) {
    return std::string_view(reinterpret_cast<const char*>(text.data()), text.size());
}

// ---- text ----

// The length of the well-formed UTF-8 sequence of a non-ASCII character at
// text[i], or 0 (no overlong forms, no surrogates, nothing past U+10FFFF).
size_t utf8_length(octets text, size_t i) {
    const unsigned char c = text[i];
    size_t n = 0;
    unsigned char lo = 0x80, hi = 0xBF;  // the range of the second octet
    if (c >= 0xC2 && c <= 0xDF) {
        n = 2;
    } else if (c >= 0xE0 && c <= 0xEF) {
        n = 3;
        if (c == 0xE0) lo = 0xA0;
        if (c == 0xED) hi = 0x9F;
    } else if (c >= 0xF0 && c <= 0xF4) {
        n = 4;
        if (c == 0xF0) lo = 0x90;
        if (c == 0xF4) hi = 0x8F;
    } else {
        return 0;
    }
    if (text.size() - i < n) return 0;
    if (text[i + 1] < lo || text[i + 1] > hi) return 0;
    for (size_t k = 2; k < n; ++k)
        if (text[i + k] < 0x80 || text[i + k] > 0xBF) return 0;
    return n;
}

// is_text: printable ASCII, tab, CR, LF and well-formed UTF-8 beyond ASCII.
bool is_text(octets input) {
    size_t i = 0;
    while (i < input.size()) {
        const unsigned char c = input[i];
        if (c == '\t' || c == '\n' || c == '\r' || (c >= 0x20 && c <= 0x7E)) {
            ++i;
            continue;
        }
        if (c < 0x80) return false;  // another control octet, or DEL
        const size_t n = utf8_length(input, i);
        if (n == 0) return false;
        i += n;
    }
    return true;
}

// ---- base64 ----

struct base64_rules {
    bool url_safe = true;             // '-' and '_' in place of '+' and '/'
    bool spaces_inside_lines = true;  // a space or tab between two characters
    size_t first_line = 1;            // the line number of text[0]
};

int base64_value(unsigned char c) {
    if (c >= 'A' && c <= 'Z') return c - 'A';
    if (c >= 'a' && c <= 'z') return c - 'a' + 26;
    if (c >= '0' && c <= '9') return c - '0' + 52;
    if (c == '+' || c == '-') return 62;
    if (c == '/' || c == '_') return 63;
    return -1;
}

// decode_base64: true with the octets in `out`, or false with `why` set to
// "line L, column C: <what is wrong>".
bool decode_base64(octets text, const base64_rules& rules, std::vector<unsigned char>& out, std::string& why) {
    out.clear();
    out.reserve(text.size() / 4 * 3 + 3);
    size_t line = rules.first_line, column = 0;
    std::uint32_t bits = 0;  // the characters of the group so far, 6 bits each
    int group = 0;           // characters in the current group of four
    int padding = 0;         // '=' seen
    size_t pad_line = 0, pad_column = 0;
    unsigned char last = 0;  // the last character of the data, for the leftover bits
    size_t last_line = 0, last_column = 0;
    size_t standard_line = 0, standard_column = 0;  // the first '+' or '/'
    size_t url_line = 0, url_column = 0;            // the first '-' or '_'
    bool data_on_line = false;  // a character seen on this line
    bool gap = false;           // then a space or tab
    size_t gap_column = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        const unsigned char c = text[i];
        ++column;
        if (c == '\n') {
            ++line;
            column = 0;
            data_on_line = false;
            gap = false;
            continue;
        }
        if (c == ' ' || c == '\t' || c == '\r') {
            if (data_on_line && !gap) {
                gap = true;
                gap_column = column;
            }
            continue;
        }
        if (gap && !rules.spaces_inside_lines) {
            why = where(line, gap_column) + ": space inside a line";
            return false;
        }
        data_on_line = true;
        gap = false;
        if (c == '=') {
            if (padding == 0 && group < 2) {
                why = where(line, column) + ": misplaced '=' (padding follows 2 or 3 characters of a group of four)";
                return false;
            }
            if (group + padding == 4) {
                why = where(line, column) + ": too much '=' padding";
                return false;
            }
            ++padding;
            pad_line = line;
            pad_column = column;
            continue;
        }
        const int v = base64_value(c);
        const bool url_char = c == '-' || c == '_';
        if (v < 0 || (url_char && !rules.url_safe)) {
            why = where(line, column) + ": " + shown(c) + " is not a base64 character";
            return false;
        }
        if (padding > 0) {
            why = where(line, column) + ": " + shown(c) + " after the '=' padding";
            return false;
        }
        if (url_char) {
            if (standard_line != 0) {
                why = where(line, column) + ": " + shown(c) + " of the URL-safe alphabet mixed with '+' or '/' of the standard one (" +
                      where(standard_line, standard_column) + ")";
                return false;
            }
            if (url_line == 0) {
                url_line = line;
                url_column = column;
            }
        } else if (c == '+' || c == '/') {
            if (url_line != 0) {
                why = where(line, column) + ": " + shown(c) + " of the standard alphabet mixed with '-' or '_' of the URL-safe one (" +
                      where(url_line, url_column) + ")";
                return false;
            }
            if (standard_line == 0) {
                standard_line = line;
                standard_column = column;
            }
        }
        bits = (bits << 6) | static_cast<std::uint32_t>(v);
        last = c;
        last_line = line;
        last_column = column;
        if (++group == 4) {
            out.push_back(static_cast<unsigned char>(bits >> 16));
            out.push_back(static_cast<unsigned char>(bits >> 8));
            out.push_back(static_cast<unsigned char>(bits));
            bits = 0;
            group = 0;
        }
    }
    if (padding > 0 && group + padding != 4) {
        why = where(pad_line, pad_column) + ": incomplete '=' padding (the last group needs " + std::to_string(4 - group) + ")";
        return false;
    }
    if (group == 1) {
        why = where(last_line, last_column) + ": the last group of four has a single character, not a whole octet (cut off?)";
        return false;
    }
    // Two characters carry one octet and 4 bits more, three carry two octets
    // and 2 bits; an encoder leaves those bits zero.
    const std::uint32_t leftover = group == 2 ? (bits & 0x0F) : group == 3 ? (bits & 0x03) : 0;
    if (leftover != 0) {
        why = where(last_line, last_column) + ": " + shown(last) +
              " leaves nonzero bits after the last octet (cut off or altered?)";
        return false;
    }
    if (group == 2) {
        out.push_back(static_cast<unsigned char>(bits >> 4));
    } else if (group == 3) {
        out.push_back(static_cast<unsigned char>(bits >> 10));
        out.push_back(static_cast<unsigned char>(bits >> 2));
    }
    return true;
}

std::vector<unsigned char> read_base64(octets text) {
    std::vector<unsigned char> out;
    std::string why;
    if (!decode_base64(text, base64_rules{}, out, why)) input_error("base64: " + why);
    if (out.empty()) input_error("base64: no octets");
    return out;
}

// ---- PEM ----

// The lines of a text one by one: each without its LF, with its number and
// the offset of its first octet.
struct line_cursor {
    std::string_view text;
    size_t pos = 0;
    size_t number = 0;

    bool next(std::string_view& line, size_t& start) {
        if (pos >= text.size()) return false;
        start = pos;
        size_t end = text.find('\n', pos);
        if (end == std::string_view::npos) end = text.size();
        line = text.substr(pos, end - pos);
        pos = end < text.size() ? end + 1 : end;
        ++number;
        return true;
    }
};

// A line without the spaces and tabs before it and the spaces, tabs and CR
// after it.
std::string_view trimmed(std::string_view line) {
    size_t b = 0, e = line.size();
    while (b < e && (line[b] == ' ' || line[b] == '\t')) ++b;
    while (e > b && (line[e - 1] == ' ' || line[e - 1] == '\t' || line[e - 1] == '\r')) --e;
    return line.substr(b, e - b);
}

constexpr std::string_view kBegin = "-----BEGIN ";
constexpr std::string_view kEnd = "-----END ";
constexpr std::string_view kDashes = "-----";

bool has_begin_line(std::string_view text) {
    line_cursor lines{text};
    std::string_view line;
    size_t start = 0;
    while (lines.next(line, start))
        if (trimmed(line).starts_with(kBegin)) return true;
    return false;
}

// Whether a header line says the block is encrypted (Proc-Type: 4,ENCRYPTED).
bool says_encrypted(std::string_view header) {
    constexpr std::string_view kProcType = "proc-type:";
    if (header.size() < kProcType.size()) return false;
    for (size_t i = 0; i < kProcType.size(); ++i) {
        char c = header[i];
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
        if (c != kProcType[i]) return false;
    }
    return header.find("ENCRYPTED") != std::string_view::npos;
}

std::vector<unsigned char> read_pem(octets input) {
    const std::string_view text = as_view(input);
    line_cursor lines{text};
    std::string_view line;
    size_t start = 0;

    // The BEGIN line; whatever comes before it is explanatory text.
    std::string_view label;
    bool found = false;
    while (lines.next(line, start)) {
        const std::string_view t = trimmed(line);
        if (!t.starts_with(kBegin)) continue;
        const size_t dashes = t.find(kDashes, kBegin.size());
        if (dashes == std::string_view::npos)
            input_error("pem: line " + std::to_string(lines.number) + ": the '-----BEGIN' line does not end in '-----'");
        label = t.substr(kBegin.size(), dashes - kBegin.size());
        if (dashes + kDashes.size() != t.size())
            input_error("pem: line " + std::to_string(lines.number) + ": text after '-----BEGIN " + shown_text(label) +
                        "-----' on its line");
        found = true;
        break;
    }
    if (!found) input_error("pem: no '-----BEGIN <label>-----' line");
    const size_t begin_number = lines.number;
    const std::string begin_shown = "'-----BEGIN " + shown_text(label) + "-----' (line " + std::to_string(begin_number) + ")";

    // Legacy header lines, the base64 lines, the END line.
    enum class part { first, headers, body } at = part::first;
    size_t header_number = 0;  // the first header line
    size_t body_start = std::string_view::npos, body_end = 0, body_number = 0;
    bool ended = false;
    while (lines.next(line, start)) {
        const std::string_view t = trimmed(line);
        if (t.starts_with(kBegin))
            input_error("pem: line " + std::to_string(lines.number) + ": another '-----BEGIN' line before the '-----END' line of " +
                        begin_shown);
        if (t.starts_with(kEnd)) {
            if (at == part::headers)
                input_error("pem: line " + std::to_string(header_number) +
                            ": header lines after the '-----BEGIN' line do not end with a blank line");
            const bool same = t.size() == kEnd.size() + label.size() + kDashes.size() &&
                              t.substr(kEnd.size(), label.size()) == label && t.ends_with(kDashes);
            if (!same)
                input_error("pem: line " + std::to_string(lines.number) + ": '" + shown_text(t) + "' does not match " +
                            begin_shown);
            body_end = start;
            ended = true;
            break;
        }
        if (at == part::first) {
            // Base64 has no ':', so a line with one right after the BEGIN
            // line starts the headers of the older form.
            if (t.find(':') != std::string_view::npos) {
                at = part::headers;
                header_number = lines.number;
            } else {
                at = part::body;
                body_start = start;
                body_number = lines.number;
            }
        }
        if (at == part::headers) {
            if (says_encrypted(t))
                input_error("pem: line " + std::to_string(lines.number) + ": the block is encrypted (" + shown_text(t) +
                            "); decrypt it first");
            if (t.empty()) {  // the blank line: the base64 follows
                at = part::body;
                body_start = lines.pos;
                body_number = lines.number + 1;
            }
        }
    }
    if (!ended)
        input_error("pem: no '-----END " + shown_text(label) + "-----' line after " + begin_shown);

    std::vector<unsigned char> out;
    if (body_start != std::string_view::npos && body_start < body_end) {
        base64_rules rules;
        rules.url_safe = false;
        rules.first_line = body_number;
        std::string why;
        if (!decode_base64(input.subspan(body_start, body_end - body_start), rules, out, why)) input_error("pem: " + why);
    }
    if (out.empty()) input_error("pem: no base64 between " + begin_shown + " and its '-----END' line");
    return out;
}

// ---- recognising ----

// Every octet a hex digit or white space.
bool only_hex_digits(octets text) {
    for (unsigned char c : text)
        if (!is_hex_digit(c) && !is_hex_space(c)) return false;
    return true;
}

// The message of parse_hex_text without its "hex input, " prefix.
std::string hex_reason(const std::string& message) {
    constexpr std::string_view kPrefix = "hex input, ";
    if (message.starts_with(kPrefix)) return message.substr(kPrefix.size());
    return message;
}

}  // namespace

std::optional<input_format> parse_input_format(const std::string& name) {
    if (name == "auto") return input_format::automatic;
    if (name == "raw") return input_format::raw;
    if (name == "hex") return input_format::hex;
    if (name == "base64") return input_format::base64;
    if (name == "pem") return input_format::pem;
    return std::nullopt;
}

input_format recognise_input_format(std::span<const unsigned char> input) {
    if (input.empty() || !is_text(input)) return input_format::raw;
    const octets text = without_bom(input);
    if (has_begin_line(as_view(text))) return input_format::pem;
    std::string hex_why;
    try {
        parse_hex_text(text);
        return input_format::hex;
    } catch (const tool_error& e) {
        hex_why = hex_reason(e.what());
    }
    if (only_hex_digits(text)) return input_format::hex;
    base64_rules rules;
    rules.spaces_inside_lines = false;
    std::vector<unsigned char> decoded;
    std::string base64_why;
    if (decode_base64(text, rules, decoded, base64_why)) return input_format::base64;
    input_error("the input is text but neither hex, base64 nor PEM (hex: " + hex_why + "; base64: " + base64_why +
                "; PEM: no '-----BEGIN' line); use --in raw to read it as octets");
}

std::vector<unsigned char> message_octets(std::span<const unsigned char> input, input_format format) {
    if (format == input_format::automatic) format = recognise_input_format(input);
    switch (format) {
        case input_format::hex:
            return parse_hex_text(without_bom(input));
        case input_format::base64:
            return read_base64(without_bom(input));
        case input_format::pem:
            return read_pem(without_bom(input));
        case input_format::raw:
        case input_format::automatic:
            break;
    }
    return std::vector<unsigned char>(input.begin(), input.end());
}

}  // namespace qbtool
