// tools/qbasn/commands.h - `qbasn guess`, `qbasn diff` and `qbasn template`:
// which record type a message is, how two messages of one type differ, and a
// complete record to start a message from.
#ifndef QBASN_TOOLS_COMMANDS_H
#define QBASN_TOOLS_COMMANDS_H

#include <cstddef>
#include <cstdio>
#include <span>
#include <string>
#include <vector>

#include "asn1/asnrecord.h"

namespace qbtool {

// ---- guess ----

// guess_candidate: a way to read a message that gives back its very octets.
struct guess_candidate {
    // The record type (typed entry points, envelope version 2), or null for
    // the untyped entry point's bare INTEGER.
    const qb_record_info* info = nullptr;
    // 0 for a record type; 259, 260 or 262 for the untyped entry point.
    unsigned object_type = 0;
    // The envelope's version octet (2 for a record type).
    int envelope_version = 2;
    // Frames of the message that a field of the record names: every record,
    // list, integer, text and octet string, the outermost SEQUENCE included;
    // not the fixed INTEGER version some records start with, nor the NULL of
    // an empty slot.
    std::size_t named_frames = 0;
    // Members of the records in the message that it leaves empty or absent:
    // empty lists, slot arrays without a used slot, absent optional members.
    std::size_t empty_members = 0;
};

// guess_candidates: every record type, and every object type of the untyped
// entry point (259, 260, 262, with the envelope's version octet), under which
// the message decodes and re-encodes to the same octets; best first:
//   1. more named frames (the record explains more of the message);
//   2. fewer empty or absent members (the record fits the message tightly);
//   3. the library's order of the record types, then object types 259, 260,
//      262 (structurally identical records tie, and all are listed).
// What the library prints on standard error during the trial decodes is
// discarded. Fails with input_error when the message is empty or does not
// start with the envelope (a nonzero payload offset, a version octet, AC DC).
std::vector<guess_candidate> guess_candidates(std::span<const unsigned char> message);

// guess_types: the candidates, one line each, best first: the flat name
// (followed by the other names --type takes, when they differ from it) or the
// object type, two spaces, and the rank:
//   attrlist_s_t (type attrlist_t, short form attrlist)  20 frames named, every member present
//   cert_request_in  4 frames named, 1 member empty or absent
//   object type 259, envelope version 1 (cert_request_in)  4 frames named, every member present
//   object type 262, envelope version 7 (a bare INTEGER)  1 frame named, every member present
// When none fits: a tool_error with exit code 1,
// "no record type decodes and re-encodes this message (...)", naming the
// envelope version and the types that decode it but re-encode other octets.
void guess_types(std::span<const unsigned char> message, FILE* out);

// ---- diff ----

// diff_messages: decodes `a` and `b` (the octets of the files `path_a` and
// `path_b`) as `info` and writes one line per difference, in wire order,
// values written as `qbasn decode` writes them but on one line:
//   attrs[1].values[0].text: "blue" -> "green"            a value changed
//   identity: null -> {"identity": {...}, ...}            an optional member present in b only
//   attrs: 2 elements -> 3 elements                       a list's length changed, then
//   attrs[2]: only in 'b.bin': {"name": "x", "values": []}  each element of one side only
// Elements are compared by position. Equal messages give the line
// "no differences". Returns 0 when equal, 1 when they differ. A message that
// does not decode fails with status_error naming its file.
int diff_messages(const qb_record_info& info, std::span<const unsigned char> a, std::span<const unsigned char> b,
                  const std::string& path_a, const std::string& path_b, FILE* out);

// diff_objects: the same through the untyped entry point (object type 259,
// 260 or 262, both messages with envelope version `envelope_version`); a bare
// INTEGER differs as "value: 1234 -> 1235".
int diff_objects(unsigned object_type, int envelope_version, std::span<const unsigned char> a,
                 std::span<const unsigned char> b, const std::string& path_a, const std::string& path_b, FILE* out);

// ---- template ----

// write_template: a complete record of type `info` as JSON, exactly as
// `qbasn decode` writes it, every field filled so it can be edited and
// encoded: texts "<field name>", integers 0, octet strings "00" (fixed ones
// their size in 00s), one element in every list, optional members present,
// slot arrays with the first slot used and the others null. A record that
// holds itself (namevalue_s_t, vqauditelement_s_t) is nested one level: the
// copy inside has its lists of itself empty. `qbasn encode --type` of it
// succeeds, and decoding the message gives the same text.
void write_template(FILE* out, const qb_record_info& info);

// write_object_template: the same for an object type of the untyped entry
// point: the records of 259 and 260, and "0" for the bare INTEGER of 262.
// Fails with input_error for another object type.
void write_object_template(FILE* out, unsigned object_type);

}  // namespace qbtool

#endif
