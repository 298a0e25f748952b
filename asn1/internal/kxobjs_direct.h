// asn1/internal/kxobjs_direct.h - the direct path of the object-update and
// certificate-request records (asn1/asn_kxobjs.cpp), behind the untyped entry
// points and the records' reflection entries.
//
// Each function gives exactly what the record class does through the object
// tree (octets, statuses, the record left after a failure) and may throw
// qb_asn_exception like it; the caller reports it. Not installed.
#ifndef QBASN_INTERNAL_KXOBJS_DIRECT_H
#define QBASN_INTERNAL_KXOBJS_DIRECT_H

#include "asn1/asn_kxobjs.h"

namespace qb::direct {

unsigned int encode_update(const kxobj_update_s_t& r, int version, qb_asn_buffer_t& out);
unsigned int decode_update(qb_asn_buffer_t& in, int version, kxobj_update_s_t& r);
unsigned int encode_update_list(const kxobj_update_list_s_t& r, int version, qb_asn_buffer_t& out);
unsigned int decode_update_list(qb_asn_buffer_t& in, int version, kxobj_update_list_s_t& r);
unsigned int encode_cert_request(const cert_request_in& r, int version, qb_asn_buffer_t& out);
unsigned int decode_cert_request(qb_asn_buffer_t& in, int version, cert_request_in& r);
// The bare INTEGER of object type 262.
unsigned int encode_integer(int value, int version, qb_asn_buffer_t& out);
unsigned int decode_integer(qb_asn_buffer_t& in, int version, int& value);

}  // namespace qb::direct

#endif
