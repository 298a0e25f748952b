// tools/qbasn/dump.h - `qbasn dump`: the envelope and the BER frames of a
// message, one line per frame, read by a walker of the tool's own that never
// looks outside the input.
#ifndef QBASN_TOOLS_DUMP_H
#define QBASN_TOOLS_DUMP_H

#include <cstdio>
#include <span>
#include <string>

#include "asn1/asnrecord.h"

namespace qbtool {

// The deepest nesting the walker follows (the library's own bound); a frame
// nested deeper is refused.
constexpr int kMaxDumpDepth = 256;

// The most content octets shown in hex on a frame's own line; longer content
// is shown below it, 16 octets a line, each line with its offset.
constexpr size_t kHexOnLine = 16;

struct dump_options {
    bool no_envelope = false;             // read BER from offset 0 even when AC DC is at offset 2
    const qb_record_info* type = nullptr; // label the first frame's members with this record's fields
    bool nested = true;                   // show BER held in a BIT STRING or OCTET STRING as frames
    bool color = false;                   // ANSI colours (the caller decides: a terminal, no NO_COLOR)
    bool der = false;                     // flag every departure from DER (--der)
};

// dump_summary: what the dump found besides the frames.
struct dump_summary {
    size_t errors = 0;          // content no valid BER has
    size_t warnings = 0;        // valid BER a careful encoder would not write (and, with der, DER violations)
    std::string first_problem;  // "offset N: ..." of the first error or warning, "" when none
};

// dump_message: writes the envelope line, then one line per frame:
//   offset depth <indent>tag form len=N|len=indef [content] [(label)]
// Content: BOOLEAN, INTEGER and ENUMERATED values, OBJECT IDENTIFIERs dotted
// with the name the OpenSSL object database gives them, texts quoted, other
// octets in hex with a printable preview; more than kHexOnLine octets go on
// lines of their own below the frame:
//   offset      <indent>  XX XX ... XX  |preview|
// A primitive OCTET STRING, or BIT STRING without unused bits, whose content
// is wholly BER (3 octets or more of universal-class frames that end exactly
// with the content) is marked "encapsulates" and its frames follow, one
// level deeper, with their offsets in the input (unless `nested` is off).
// Fails with input_error ("offset N: reason") at the first malformed frame,
// after the lines of the frames before it have been written.
dump_summary dump_message(std::span<const unsigned char> bytes, const dump_options& options, FILE* out);

}  // namespace qbtool

#endif
