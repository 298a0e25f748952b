// tools/qbasn/dump.h - `qbasn dump`: the envelope and the BER frames of a
// message, one line per frame, read by a walker of the tool's own that never
// looks outside the input, with what X.690 finds wrong in them.
#ifndef QBASN_TOOLS_DUMP_H
#define QBASN_TOOLS_DUMP_H

#include <cstdio>
#include <optional>
#include <span>
#include <string>

#include "asn1/asnrecord.h"

namespace qbtool {

// The deepest nesting the walker follows (the library's own bound); a frame
// nested deeper is shown without its content, and is an error.
constexpr int kMaxDumpDepth = 256;

// The most content octets shown in hex on a frame's own line; longer content
// is shown below it, 16 octets a line, each line with its offset.
constexpr size_t kHexOnLine = 16;

struct dump_options {
    bool no_envelope = false;             // read BER from offset 0 even when AC DC is at offset 2
    const qb_record_info* type = nullptr; // label the first frame's members with this record's fields
    unsigned object_type = 0;             // without `type`: label by the untyped entry point's object type:
                                          // 259 cert_request_in, 260 kxobj_update_list_s_t, 262 a bare INTEGER ("(value)")
    bool nested = true;                   // show BER held in a BIT STRING or OCTET STRING as frames
    bool color = false;                   // ANSI colours (the caller decides: a terminal, no NO_COLOR)
    bool der = false;                     // also flag every departure from DER, as warnings ("not DER: ...")
    bool fail_on_error = true;            // after the tree and the count line, fail with input_error naming the
                                          // first error when there was one; false: return the summary
};

// dump_summary: what the dump found besides the frames.
struct dump_summary {
    size_t errors = 0;          // content no valid BER has, frames cut off or unreadable
    size_t warnings = 0;        // valid BER a careful encoder would not write, members that do not fit the
                                // record of `type`; with der also the departures from DER
    size_t not_der = 0;         // with der: how many of the warnings depart from DER (0 without der)
    std::string first_problem;  // "offset N: ..." of the first error, or when there is none of the first
                                // warning; "" when none
    std::string first_not_der;  // "offset N: ..." of the first departure from DER (with der; without the
                                // "not DER: " of its line), "" when none
};

// dump_message: writes the envelope line, then one line per frame:
//   offset depth <indent>tag form len=N|len=indef [content] [(label)]
// Content: BOOLEAN, INTEGER and ENUMERATED values, REALs (see real_text in
// content_checks.h), OBJECT IDENTIFIERs dotted with the name the OpenSSL
// object database gives them, texts quoted, other octets in hex with a
// printable preview; more than kHexOnLine octets go on lines of their own
// below the frame:
//   offset      <indent>  XX XX ... XX  |preview|
// A primitive OCTET STRING, or BIT STRING without unused bits, whose content
// is wholly BER without errors (3 octets or more of universal-class frames
// that end exactly with the content) is marked "encapsulates" and its frames
// follow, one level deeper, with their offsets in the input (unless `nested`
// is off).
//
// Findings: right after a frame's line (and the hex below it), one line per
// finding, the offset and depth columns blank, indented one level deeper
// than the frame (where its content goes):
//               error: offset N: <what>
//               warning: offset N: <what>
//               warning: offset N: not DER: <what>      (with der)
//               note: offset N: <what>                  (not counted)
// N is the offset of the frame the finding is about (a line that names no
// frame, such as a header cut off, sits where that frame's line would be).
// These lines never start with a digit, so they read as neither frame
// lines nor hex lines. Errors are content no valid BER has and broken
// structure; warnings are forms X.690 or a careful encoder avoids but a
// reader still understands, and the members that stop fitting the record of
// `type`: "from here the members do not fit uuid_t: expected INTEGER
// (time_low), found SEQUENCE".
//
// Partial trees: a malformed frame does not end the dump. A frame whose
// length runs past the end of its enclosing frame (or of the input) is shown
// with what is present of it: a primitive's octets in hex, a constructed
// frame's children as far as they go; frames inside it that the same cut
// shortens get a note, not another error. A constructed frame that runs past
// an enclosing frame which itself ran past its own is not walked into (two
// lengths in a row that do not fit: the octets are not BER there); its
// content follows in hex. When the walk cannot tell where a
// frame ends (identifier or length octets cut off, the length octet FF, a
// length beyond 64 bits, an indefinite length on a primitive frame) the
// rest of the enclosing frame follows in hex. An indefinite length whose
// end-of-contents never comes is an error after its children; a frame
// nested deeper than kMaxDumpDepth is shown without its content, which is
// stepped over. After the tree, when there was any finding but notes, one
// line counts them: "1 error", "2 warnings", "1 error, 3 warnings".
//
// The input empty, or an envelope whose header length leaves no record, are
// errors too. With fail_on_error (the default) the dump then fails with
// input_error(first error) after writing everything; warnings alone never
// fail it.
dump_summary dump_message(std::span<const unsigned char> bytes, const dump_options& options, FILE* out);

// check_message: the walk of dump_message without its lines: the counts and
// the first problems. Never fails on malformed input (its errors are counted).
dump_summary check_message(std::span<const unsigned char> bytes, const dump_options& options);

// message_end: the offset after the record of a message (its first frame,
// after the envelope when there is one), or nullopt when that frame cannot
// be read to its end. What follows it the library ignores.
std::optional<size_t> message_end(std::span<const unsigned char> bytes);

// locate_mismatch: where a message (envelope and record, as decode reads it)
// stops matching the record `info` or stops being BER: the first error, or
// the first frame that does not fit the record, as
//   "offset 26, attrs[0].values[0].number: expected INTEGER, found UTF8String"
//   "offset 40, attrs[1]: length 113 runs past the end of the enclosing frame (38 octets left)"
//   "offset 30, uuid_t: expected no more members, found INTEGER"
//   "offset 13, bytes: expected a primitive OCTET STRING, found a constructed one"
// (the path is that of the member, or of the record, the list or the
// element the frame belongs to; the record's own name for its outer frame).
// A constructed string counts as a mismatch because the library reads texts
// and octet strings only in the primitive form. nullopt when the first frame
// fits the record wholly (what follows it is not looked at).
std::optional<std::string> locate_mismatch(std::span<const unsigned char> bytes, const qb_record_info& info);

}  // namespace qbtool

#endif
