// tools/qbasn/types.h - `qbasn types`: the record list, and one record's
// ASN.1 definition, flat record and JSON shape, from the reflection table.
#ifndef QBASN_TOOLS_TYPES_H
#define QBASN_TOOLS_TYPES_H

#include <cstdio>
#include <string>

#include "asn1/asnrecord.h"

namespace qbtool {

// Object types of the untyped entry points (qbasn_encode_obj/qbasn_decode_obj).
constexpr unsigned kCertRequestType = 259;  // cert_request_in
constexpr unsigned kUpdateListType = 260;   // kxobj_update_list_s_t
constexpr unsigned kIntegerType = 262;      // a bare INTEGER (no record)

// untyped_record: the flat record type behind an object type (259, 260);
// fails with input_error when the library does not describe it.
const qb_record_info& untyped_record(unsigned object_type);

// lookup_record: the record named `name` (flat name, type name or short
// form, in any case), or null.
const qb_record_info* lookup_record(const std::string& name);

// suggest_record: the short form of the record whose name is nearest to
// `name` (a near miss in spelling, or the start of a name), or "".
std::string suggest_record(const std::string& name);

// find_record: lookup_record, or input_error naming the unknown type and the
// nearest one ("did you mean attrlist?").
const qb_record_info& find_record(const std::string& name);

// list_types: a header line, then one line per record: flat name, type
// name, short form.
void list_types(FILE* out);

// describe_type: the ASN.1 definition, the flat record and the JSON shape.
void describe_type(FILE* out, const qb_record_info& info);

}  // namespace qbtool

#endif
