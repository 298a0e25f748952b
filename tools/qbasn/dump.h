// tools/qbasn/dump.h - `qbasn dump`: the envelope and the BER frames of a
// message, one line per frame, read by a walker of the tool's own that never
// looks outside the input.
#ifndef QBASN_TOOLS_DUMP_H
#define QBASN_TOOLS_DUMP_H

#include <cstdio>
#include <span>

#include "asn1/asnrecord.h"

namespace qbtool {

// The deepest nesting the walker follows (the library's own bound); a frame
// nested deeper is refused.
constexpr int kMaxDumpDepth = 256;

struct dump_options {
    bool no_envelope = false;             // read BER from offset 0 even when AC DC is at offset 2
    const qb_record_info* type = nullptr; // label the first frame's members with this record's fields
};

// dump_message: writes the envelope line, then one line per frame:
//   offset depth <indent>tag form len=N|len=indef [content] [(label)]
// Fails with input_error ("offset N: reason") at the first malformed frame,
// after the lines of the frames before it have been written.
void dump_message(std::span<const unsigned char> bytes, const dump_options& options, FILE* out);

}  // namespace qbtool

#endif
