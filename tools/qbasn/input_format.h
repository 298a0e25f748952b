// tools/qbasn/input_format.h - the octets of a message given as raw bytes,
// hex text, base64 or PEM, recognised from the input or named by --in.
#ifndef QBASN_TOOLS_INPUT_FORMAT_H
#define QBASN_TOOLS_INPUT_FORMAT_H

#include <optional>
#include <span>
#include <string>
#include <vector>

namespace qbtool {

// How a message is written:
//
// raw     the BER octets as they are.
//
// hex     pairs of hex digits, white space, '#' comments (parse_hex_text in
//         hex.h). Errors: "hex input, line L, column C: ...".
//
// base64  the standard alphabet (A-Z a-z 0-9 + /) or the URL-safe one
//         (A-Z a-z 0-9 - _), not both in one input. Spaces, tabs, CR and LF
//         are ignored anywhere, so wrapped lines copied from a log work. The
//         '=' padding is optional; when present it must complete the last
//         group of four, and nothing but white space may follow it (one
//         message, not several joined). A last group of a single character,
//         or bits left over after the last octet that are not zero, mean the
//         text was cut off or altered and are refused. No octets at all is an
//         error. Errors: "base64: line L, column C: ...", or
//         "base64: no octets".
//
// pem     a textual encoding block: any explanatory text, then a line
//         "-----BEGIN <label>-----", base64 lines (standard alphabet; white
//         space ignored as above), and "-----END <label>-----" with the same
//         label. The boundary lines may be indented and may end in white
//         space or CR. Legacy header lines ("Proc-Type: ...", "DEK-Info: ...")
//         right after the BEGIN line, ended by a blank line, are skipped; an
//         encrypted block (Proc-Type with ENCRYPTED) is refused, since its
//         body is no BER. Only the first block is read; whatever follows its
//         END line is ignored. Errors: "pem: line L[, column C]: ..." with
//         line numbers of the whole input, or "pem: no ... line".
//
// automatic  see recognise_input_format.
//
// A UTF-8 byte order mark at the start is skipped for hex, base64 and pem.
enum class input_format { automatic, raw, hex, base64, pem };

// parse_input_format: "raw", "hex", "base64", "pem" or "auto"; nullopt otherwise.
std::optional<input_format> parse_input_format(const std::string& name);

// message_octets: the message in `input`, read in `format` (automatic:
// recognised from the input). Fails with input_error, one line naming the
// format and where it went wrong. Empty input read as automatic or raw gives
// no octets, and the caller reports that.
std::vector<unsigned char> message_octets(std::span<const unsigned char> input, input_format format);

// recognise_input_format: the format `automatic` reads `input` in, by these
// rules, in order:
//  1. No octets: raw (there is nothing to read).
//  2. The input is not text: raw. Text is printable ASCII, tab, CR and LF,
//     and well-formed UTF-8 characters beyond ASCII (explanatory text or
//     comments may hold names); any other control octet or a malformed UTF-8
//     sequence means raw octets. Every message with the envelope is raw
//     here, as its first octet is 04.
//  3. A line that starts (after spaces or tabs) with "-----BEGIN ": pem.
//  4. It reads as hex text: hex. Hex digits are also base64 characters, and
//     hex wins; --in base64 reads such text as base64.
//  5. Every character is a hex digit or white space, but the text is no
//     valid hex (an odd digit count): hex, so the hex error is reported
//     rather than the text silently read as base64.
//  6. It reads as base64 with no space or tab between two characters of a
//     line: base64. Base64 encoders write unbroken lines, while hex listings
//     separate octets by spaces, so a hex listing with a typo is not taken
//     for base64. (--in base64 accepts spaces inside lines.)
//  7. Otherwise input_error: "the input is text but neither hex, base64 nor
//     PEM (hex: <why>; base64: <why>; PEM: <why>); use --in raw to read it as
//     octets".
input_format recognise_input_format(std::span<const unsigned char> input);

}  // namespace qbtool

#endif
