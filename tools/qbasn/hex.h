// tools/qbasn/hex.h - hex text in and out.
#ifndef QBASN_TOOLS_HEX_H
#define QBASN_TOOLS_HEX_H

#include <cstdio>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace qbtool {

// parse_hex_text: the octets of a hex listing as an operator writes or
// copies it: pairs of hex digits (either case), whitespace anywhere, and
// comments from '#' to the end of the line; octets may be separated by ':'
// or ',' and led by "0x" ("30:0F", "0x30, 0x0F"); xxd lines ("00000010:
// 3082 0123 ...  0..#") are read without their offset and text column. Fails with input_error naming
// the line and column of the first other character, or an odd digit count.
std::vector<unsigned char> parse_hex_text(std::span<const unsigned char> text);

// parse_hex_string: the octets of a JSON hex string ("DEADBEEF", either
// case, spaces allowed between octets), or nullopt with `why` set.
std::optional<std::vector<unsigned char>> parse_hex_string(std::string_view text, std::string& why);

// hex_digits: "DEADBEEF" (upper case, no separators).
std::string hex_digits(std::span<const unsigned char> bytes);

// write_hex_lines: the octets as spaced upper-case pairs, 16 per line, each
// line ending in a newline (nothing for no octets).
void write_hex_lines(FILE* out, std::span<const unsigned char> bytes);

}  // namespace qbtool

#endif
