// asn1/asn1.h - raw BER scanning functions, the flat-API buffer functions and the untyped entry points.
//
// Scanners read one BER item from a caller's byte array without building
// objects. Each takes the address of the caller's cursor (`p`) and of its
// count of octets left (`rem`). On success the cursor moves past what was
// consumed and `*rem` drops by as much; on failure neither changes (see
// qbAsnGetType for its one exception). Content readers take the content
// length `len` from qbAsnGetLength; they read no identifier or length octets.
// Results are allocated with malloc; the caller frees them with free.
//
// Status codes: 0 success; 0x10652198 input exhausted; 0x10652199 content
// longer than 4 octets; 0x1065219A zero content length; 0x1065219B malformed
// content; 0x1065219C null output argument; 0x10652065 out of memory.
// No scanner throws.
#ifndef QBASN_ASN1_H
#define QBASN_ASN1_H

#include "asn1/asnbase.h"
#include "asn1/qbasn_export.h"

// qbAsnGetType: identifier octets -> tag, constructed (0/1), class (0..3).
//
// *** WARNING: the multi-octet (high-tag-number) form writes p[1]. ***
// When the low five bits of the first octet are 31, the advanced cursor is
// stored into the pointer slot that FOLLOWS `p` in the caller's memory
// (p[1]); `*p` itself is left unchanged and `*rem` is lowered. Callers must
// pass `p` pointing at an array of at least two pointers:
//     unsigned char* cur[2] = {data, nullptr};
//     qbAsnGetType(cur, &rem, &tag, &constructed, &cls);
// Deliberate: in that form the first octet's 31 is part of the tag and the
// final tag octet (the first without bit 0x80) is neither added nor consumed,
// so 1F 05 yields tag 31 and 1F 85 03 yields 3973. The library itself never
// reads identifiers through this function.
// On failure of the multi-octet form, constructed, cls and a partial tag
// have already been stored.
QBASN_API unsigned int qbAsnGetType(unsigned char** p, unsigned int* rem, unsigned int* tag,
                                    unsigned int* constructed, unsigned int* cls);

// qbAsnGetLength: length octets. 80 is indefinite (definite 0, length 0);
// long forms of any number of octets keep the low 32 bits. When long-form
// octets run out, definite = 1 and a partial length have been stored.
// Deliberate: a length that does not fit 32 bits is not refused here (its
// low 32 bits are the result); the object runtime's frame reader refuses such
// a length with 0x10652198 before it uses this function's result.
QBASN_API unsigned int qbAsnGetLength(unsigned char** p, unsigned int* rem,
                                      unsigned int* definite, unsigned int* length);

// qbAsnGetIntegerValue: at most 4 content octets as a signed value.
// Deliberate: the sign is taken from the octet at *p even when len is 0.
QBASN_API unsigned int qbAsnGetIntegerValue(unsigned char** p, unsigned int* rem,
                                            unsigned int len, long* value);

// qbAsnGetIntegerValue (byte form): a malloc'ed copy of 1..4 content octets,
// reversed when little_endian is 1.
QBASN_API unsigned int qbAsnGetIntegerValue(unsigned char** p, unsigned int* rem,
                                            unsigned int len, unsigned char** bytes,
                                            unsigned int* count, int little_endian);

// Deliberate: both "long" readers share the 4-octet limit of the byte form.
QBASN_API unsigned int qbAsnGetLongIntegerValueBigEndian(unsigned char** p, unsigned int* rem,
                                                         unsigned int len, unsigned char** bytes,
                                                         unsigned int* count);
QBASN_API unsigned int qbAsnGetLongIntegerValueLittleEndian(unsigned char** p, unsigned int* rem,
                                                            unsigned int len,
                                                            unsigned char** bytes,
                                                            unsigned int* count);

// qbAsnGetNullValue: returns 0; checks and consumes nothing.
QBASN_API unsigned int qbAsnGetNullValue(unsigned char** p, unsigned int* rem, unsigned int len);

// qbAsnGetBitstringValue: content of at most 4 octets. Deliberate: on return
// *bits points just PAST the copied octets (subtract len - 1 for the start,
// which the caller frees), and the unused bits of the last content octet are
// cleared in the caller's input array, not in the copy.
QBASN_API unsigned int qbAsnGetBitstringValue(unsigned char** p, unsigned int* rem,
                                              unsigned int len, unsigned char** bits,
                                              unsigned int* nbits);

// qbAsnGetOIDValue: the content octets copied unchanged into out (malloc'ed).
QBASN_API unsigned int qbAsnGetOIDValue(unsigned char** p, unsigned int* rem, unsigned int len,
                                        qb_asn_buffer_t* out);

// qbAsnGetOctetstringValue: a malloc'ed copy of the content octets.
QBASN_API unsigned int qbAsnGetOctetstringValue(unsigned char** p, unsigned int* rem,
                                                unsigned int len, unsigned char** data,
                                                unsigned int* count);

// qbAsnGetCharstringValue: terminates the text in place. Deliberate: the
// result is the caller's input itself, with 00 written over the octet that
// follows the content; `text` is not written. The 00 is written only when
// such an octet lies within *rem (nothing is written past the input).
QBASN_API unsigned int qbAsnGetCharstringValue(unsigned char** p, unsigned int* rem,
                                               unsigned int len, char* text);

// qb_asn_buffer_free: frees b.data when non-null; the fields are not reset.
QBASN_API void qb_asn_buffer_free(qb_asn_buffer_t& b);

// qb_asn_buffer_copy: dst = a malloc'ed copy of src. status 0x10652065 when
// the allocation fails (dst.data null, dst.length already set).
QBASN_API void qb_asn_buffer_copy(const qb_asn_buffer_t& src, qb_asn_buffer_t& dst,
                                  unsigned int& status);

// ---- untyped entry points ----
//
// A caller names an object type by number and hands over an untyped pointer
// to the matching plain record:
//   259  cert_request_in         (asn1/asn_kxobjs.h)
//   260  kxobj_update_list_s_t   (asn1/asn_kxobjs.h)
//   262  int                     (a bare INTEGER)
// Every other type number gives -1 before anything is built. The version is
// the caller's: it goes into the envelope header on encode and must match it
// on decode (0x10652196 otherwise, the record untouched). These calls never
// throw: a qb_asn_exception is printed to stderr as
// "Exception: %s [%8.8x] in %s at line %d\n" (message, code, file, line) and
// its code returned; any other exception gives 0x10652065, printing nothing.
// A null record gives 0x1065219C (except qbasn_obj_free of type 262, which
// never looks at the record).

// qbasn_encode_obj: the record behind the envelope into out (a fresh malloc'ed
// block the caller releases with qb_asn_buffer_free). On failure out is untouched.
QBASN_API int qbasn_encode_obj(int version, void* record, unsigned int type, qb_asn_buffer_t& out);

// qbasn_decode_obj: in into the record, which the caller has zeroed and later
// passes to qbasn_obj_free with the same type, whatever the status (a failed
// decode may leave it partly filled).
QBASN_API int qbasn_decode_obj(int version, qb_asn_buffer_t& in, unsigned int type, void* record);

// qbasn_obj_free: frees what a decode left in the record; returns 0 (type 262
// has nothing to free). The record's fields are not cleared.
QBASN_API int qbasn_obj_free(int version, unsigned int type, void* record);

// qbasn_version: 0 when in carries an envelope with a nonzero version octet,
// else 0x10652196. Deliberate: `version` receives 0 on success and 1 on
// failure, not the version octet.
QBASN_API int qbasn_version(const qb_asn_buffer_t& in, unsigned int& version);

#endif
