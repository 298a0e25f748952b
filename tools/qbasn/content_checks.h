// tools/qbasn/content_checks.h - the X.690 rules the dump checks frames
// against: reading identifier and length octets (and how they were written),
// the checks on a frame's identifier, length and content, and the value of a
// REAL. Nothing here reads outside the octets it is given.
#ifndef QBASN_TOOLS_CONTENT_CHECKS_H
#define QBASN_TOOLS_CONTENT_CHECKS_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace qbtool {

// ---- findings ----

// finding_kind: how bad a finding is.
//   error    the octets cannot be read as a value of their type, or the frame
//            structure is broken (no valid BER has them);
//   warning  they read unambiguously, but X.690 asks for another form or a
//            careful encoder would not write them (a needless leading octet,
//            a long-form length below 128, ...); such forms depart from DER
//            too, except those marked der_ok (a tag number beyond 32 bits,
//            characters outside a string type's set, a time not of its
//            type's form: rules of values, not of encodings);
//   not_der  valid BER that DER forbids (indefinite lengths, constructed
//            strings, BOOLEAN TRUE not FF, ...); shown only when the dump
//            checks DER, and then counted as a warning.
enum class finding_kind { error, warning, not_der };

struct finding {
    finding_kind kind;
    std::string text;     // e.g. "INTEGER has a needless leading 00 octet"
    bool der_ok = false;  // a warning about something DER allows as well
};

using findings = std::vector<finding>;

// ---- identifier and length octets ----

// Universal tag numbers the checks know by name.
namespace utag {
constexpr std::uint64_t eoc = 0, boolean = 1, integer = 2, bit_string = 3, octet_string = 4, null = 5, oid = 6,
                        object_descriptor = 7, external = 8, real = 9, enumerated = 10, embedded_pdv = 11,
                        utf8_string = 12, relative_oid = 13, time = 14, sequence = 16, set = 17, numeric_string = 18,
                        printable_string = 19, t61_string = 20, videotex_string = 21, ia5_string = 22, utc_time = 23,
                        generalized_time = 24, graphic_string = 25, visible_string = 26, general_string = 27,
                        universal_string = 28, character_string = 29, bmp_string = 30;
}  // namespace utag

constexpr unsigned kClassUniversal = 0;

// ber_header: the identifier and length octets of one frame, and how they
// were written.
struct ber_header {
    std::size_t offset = 0;          // of the first identifier octet
    unsigned cls = 0;                // 0 universal, 1 application, 2 context, 3 private
    bool constructed = false;
    std::uint64_t tag = 0;           // the tag number (meaningless when tag_too_large)
    std::size_t tag_octets = 0;      // identifier octets after the first (high-tag-number form); 0: one octet
    bool tag_too_large = false;      // the tag number needs more than 64 bits
    bool tag_padded = false;         // its first subsequent octet is 80 (a needless leading 0 digit)
    bool definite = true;
    std::uint64_t length = 0;        // content octets announced, when definite
    std::size_t length_octets = 0;   // long form: the octets after the first length octet; 0: short form or indefinite
    std::size_t length_zeros = 0;    // long form: leading zero octets among them
    std::size_t content = 0;         // offset of the first content octet
    bool cut_off = false;            // (unread header) the identifier or length octets ran into the end
};

// read_ber_header: the header of the frame at `pos`, which lies before `end`.
// Reads nothing at or after `end`. Returns false with `why` set when the
// header cannot be read: identifier or length octets cut off by `end`, the
// reserved length octet FF, a length of more than 64 bits (`cut_off` tells
// the first two from the others). A length beyond
// `end`, or beyond 32 bits, is read and left to the caller.
bool read_ber_header(std::span<const unsigned char> b, std::size_t pos, std::size_t end, ber_header& h, std::string& why);

// tag_name: "INTEGER", "[CONTEXT 3]", "[APPLICATION 0x1FFFFFFFFF]" (tag
// numbers beyond 32 bits in hexadecimal), "[PRIVATE >64 bits]".
std::string tag_name(const ber_header& h);
// universal_name: the name of a universal tag number, or nullptr.
const char* universal_name(std::uint64_t tag);
// is_string_type: universal types that may be written constructed, in
// segments (BIT STRING, OCTET STRING, the character strings and times).
bool is_string_type(std::uint64_t tag);

// header_findings: the checks on the identifier and length octets of a frame
// (their form, the tag number, the primitive or constructed form its
// universal type must have, the length's size). `parent` is the enclosing
// frame, or null at the top of the input (or of encapsulated content);
// `last` says whether the frame is its parent's last child (as far as the
// walk could read); `content` is the frame's content as far as present.
void header_findings(const ber_header& h, const ber_header* parent, bool last, std::span<const unsigned char> content,
                     findings& out);

// ---- content ----

// check_primitive: the checks on the content of a primitive universal frame:
// BOOLEAN, NULL, INTEGER, ENUMERATED, BIT STRING, OBJECT IDENTIFIER,
// RELATIVE-OID, REAL, the character strings and the times.
void check_primitive(std::uint64_t tag, std::span<const unsigned char> content, findings& out);

// real_text: the value of a REAL's content as the dump shows it, or nullopt
// when the content is malformed (`out` then says why; it also receives the
// warnings and DER findings of a readable REAL).
//   empty content          0
//   one-octet values       PLUS-INFINITY, MINUS-INFINITY, NOT-A-NUMBER, -0
//   decimal (NR1/2/3)      the ISO 6093 text as written, leading spaces dropped
//   binary (base 2, 8, 16) the exact value S * N * 2^F * B^E:
//     an integer written out in decimal when the exponent of 2 is 0, or the
//       value is an integer below 2^64;
//     otherwise, when the value is exactly a double, the shortest text that
//       reads back as that double (std::to_chars: "3.25", "1e-300");
//     otherwise "M * 2^e" with M odd (decimal; "0x..." hex beyond 64 octets):
//       "1 * 2^1024", "-18446744073709551617 * 2^-3".
std::optional<std::string> real_text(std::span<const unsigned char> content, findings& out);

// oid_text: the dotted arcs of an OBJECT IDENTIFIER (absolute) or
// RELATIVE-OID content, arcs of any size in decimal (arcs of more than 64
// octets in hex, "0x..."); nullopt when the content is empty or ends inside
// a sub-identifier. A needless leading 80 octet does not stop the reading.
std::optional<std::string> oid_text(std::span<const unsigned char> content, bool absolute);

// decimal_text: the unsigned big-endian number in decimal ("0" for none).
std::string decimal_text(std::span<const unsigned char> big_endian);

}  // namespace qbtool

#endif
