// bench/baseline_codec.h - a small hand-written DER codec for the records the
// typed benchmark uses (value_s_t, attr_s_t, attrlist_s_t and the three audit
// records), serving as the yardstick the library's typed entry points are
// measured against. It is not part of the library.
//
// Encoding measures the whole block first (content lengths of the constructed
// frames are kept on a per-thread tape, so nothing is measured twice), makes
// one malloc of exactly that size and writes it front to back: the envelope
// 04 02 AC DC, then the record's SEQUENCE in DER (minimal lengths, minimal
// two's-complement integers, null texts as empty UTF8String).
//
// Decoding reads DER straight into the flat record: each text, octet string
// and array is malloc'ed (arrays calloc'ed) once at its final size, arrays
// after counting their elements. The reader never steps outside the input;
// it accepts definite lengths only (up to four length octets), expects the
// exact identifiers the records use, and follows elements nested inside
// elements to kMaxDepth levels. A failed decode leaves the record safe to
// release().
#ifndef QBASN_BENCH_BASELINE_CODEC_H
#define QBASN_BENCH_BASELINE_CODEC_H

#include <cstddef>

#include "asn1/asnbase.h"
#include "base_idls/attrlist_asn.h"
#include "base_idls/vqauditidl_asn.h"

namespace baseline {

// Deepest element-inside-element nesting decode() follows.
constexpr int kMaxDepth = 64;

// encode: the record behind the envelope into out (a fresh malloc'ed block of
// exactly out.length octets). false when the block would not fit 32 bits or
// memory runs out; out is untouched then.
bool encode(qb_asn_buffer_t& out, const value_s_t& r);
bool encode(qb_asn_buffer_t& out, const attr_s_t& r);
bool encode(qb_asn_buffer_t& out, const attrlist_s_t& r);
bool encode(qb_asn_buffer_t& out, const vqauditattribute_s_t& r);
bool encode(qb_asn_buffer_t& out, const vqauditelement_s_t& r);
bool encode(qb_asn_buffer_t& out, const vqauditevent_s_t& r);

// decode: n octets at p (envelope and one record) into r, which is zeroed
// first. false on malformed input or when memory runs out; r may be partly
// filled then and must still be passed to release().
bool decode(const unsigned char* p, std::size_t n, value_s_t& r);
bool decode(const unsigned char* p, std::size_t n, attr_s_t& r);
bool decode(const unsigned char* p, std::size_t n, attrlist_s_t& r);
bool decode(const unsigned char* p, std::size_t n, vqauditattribute_s_t& r);
bool decode(const unsigned char* p, std::size_t n, vqauditelement_s_t& r);
bool decode(const unsigned char* p, std::size_t n, vqauditevent_s_t& r);

// release: frees every text, octet string and array the record holds (all
// malloc'ed) and zeroes it.
void release(value_s_t& r);
void release(attr_s_t& r);
void release(attrlist_s_t& r);
void release(vqauditattribute_s_t& r);
void release(vqauditelement_s_t& r);
void release(vqauditevent_s_t& r);

}  // namespace baseline

#endif
