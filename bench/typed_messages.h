// bench/typed_messages.h - the flat records the typed benchmark encodes and
// decodes, built deterministically, and comparisons between flat records.
//
//   M1  value_s_t {5, "a", 01}
//   M2  attrlist_s_t, 20 attributes of 4 values each
//   M3  attrlist_s_t, 2000 attributes of 4 values each
//   M4  vqauditevent_s_t, 8 top-level elements; every element has 3
//       attributes and, on the first two levels, 4 sub-elements (so 8 + 32 +
//       128 elements in three levels, 504 attributes)
//
// Texts are 16 characters in values and in the event name, 12 in attribute
// and element names; octet strings are 16 octets (32 in audit attributes);
// integers cycle through values of 1 to 4 content octets of both signs.
// Every text, octet string and array is malloc'ed, so baseline::release()
// frees a built record.
#ifndef QBASN_BENCH_TYPED_MESSAGES_H
#define QBASN_BENCH_TYPED_MESSAGES_H

#include <cstddef>

#include "base_idls/attrlist_asn.h"
#include "base_idls/vqauditidl_asn.h"

namespace typed_bench {

value_s_t make_m1();
attrlist_s_t make_attrlist(unsigned int attributes, unsigned int values_per_attribute);
vqauditevent_s_t make_m4();

// same: equal contents (null and "" texts are equal; octet strings compare
// by length and octets, whatever the pointer of an empty one).
bool same(const value_s_t& a, const value_s_t& b);
bool same(const attrlist_s_t& a, const attrlist_s_t& b);
bool same(const vqauditevent_s_t& a, const vqauditevent_s_t& b);

// record_blocks: the texts, non-empty octet strings and non-empty arrays of a
// flat record, i.e. the heap blocks a decode has to hand out for it.
std::size_t record_blocks(const value_s_t& r);
std::size_t record_blocks(const attrlist_s_t& r);
std::size_t record_blocks(const vqauditevent_s_t& r);

}  // namespace typed_bench

#endif
