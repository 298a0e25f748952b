// tools/qbasn/json_record.h - flat records to JSON and back, through the
// library's reflection table (asn1/asnrecord.h), for any record.
//
// JSON shape of a record: an object with one member per field, in wire order,
// named after the flat field:
//   int, unsigned, long, short, char words  numbers in the word's range
//   texts                                   strings (UTF-8), or null for a null
//                                           pointer, or {"hex": "..."} for octets
//                                           that are not UTF-8 (local code sets)
//   octet strings                           hex strings ("DEADBEEF"); an absent
//                                           optional one is null
//   fixed octet strings                     hex strings of exactly their size
//   nested records                          objects; an absent optional one is null
//   lists                                   arrays (the count is the array length)
//   slots                                   arrays of up to `size` entries, each
//                                           null (empty slot) or an object
// Every field must be given; unknown fields are refused.
#ifndef QBASN_TOOLS_JSON_RECORD_H
#define QBASN_TOOLS_JSON_RECORD_H

#include <cstdio>
#include <span>

#include "asn1/asnrecord.h"

namespace qbtool {

// json_to_record: fills the zeroed flat record `flat` of type `info` from
// JSON text. Everything it hangs into the record comes from malloc/calloc,
// so the record's own free function releases it, also after a failure.
// Fails with input_error "JSON line N: <field path>: <reason>".
void json_to_record(std::span<const unsigned char> text, const qb_record_info& info, void* flat);

// json_to_int: a JSON text holding one signed 32-bit integer.
int json_to_int(std::span<const unsigned char> text);

// write_record_json: the record as pretty-printed JSON (two-space indent)
// followed by a newline, written to `out` as it is walked.
void write_record_json(FILE* out, const qb_record_info& info, const void* flat);

// write_json_shape: the JSON shape of a record for `qbasn types`: each field
// with the kind of value it takes.
void write_json_shape(FILE* out, const qb_record_info& info);

}  // namespace qbtool

#endif
