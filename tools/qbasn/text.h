// tools/qbasn/text.h - checking and quoting texts for JSON and for the dump.
#ifndef QBASN_TOOLS_TEXT_H
#define QBASN_TOOLS_TEXT_H

#include <cstdio>
#include <span>
#include <string>

namespace qbtool {

// valid_utf8: the octets are well-formed UTF-8 (no overlong forms, no
// surrogates, nothing above U+10FFFF) - exactly what a JSON reader accepts.
bool valid_utf8(std::span<const unsigned char> bytes);

// write_json_string: the octets (valid UTF-8) as a JSON string literal, with
// quotes, backslashes and control characters escaped.
void write_json_string(FILE* out, std::span<const unsigned char> bytes);

// write_quoted: the octets between double quotes for a terminal: well-formed
// UTF-8 and printable ASCII as they are; control characters, quotes,
// backslashes and octets outside UTF-8 as escapes (\n, \", \\, \xNN).
// At most `limit` octets are shown, then "..." after the closing quote.
void write_quoted(FILE* out, std::span<const unsigned char> bytes, size_t limit);

// one_line: a message made safe for a single line of standard error
// (control characters shown as \xNN).
std::string one_line(const std::string& text);

}  // namespace qbtool

#endif
