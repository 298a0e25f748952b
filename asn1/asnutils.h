// asn1/asnutils.h - text and byte helpers for the record member types.
#ifndef QBASN_ASNUTILS_H
#define QBASN_ASNUTILS_H

#include "asn1/asnbase.h"
#include "asn1/qbasn_export.h"

// qb_set_strvalue: stores s with its terminating zero (strlen(s) + 1 octets);
// a null s stores the empty text, the single octet 00. Returns set_value's status.
QBASN_API unsigned int qb_set_strvalue(qb_asn_octetstring& o, const unsigned char* s);
QBASN_API unsigned int qb_set_strvalue(qb_asn_octetstring& o, const char* s);

// qb_get_strvalue: s = a malloc'ed copy of the stored octets when there are
// more than one, else a malloc'ed one-octet text 00. The caller frees s.
// The copy is always followed by one extra 00 octet, so a stored value that
// lacks its own terminator still yields a terminated text. Returns 0; throws
// qb_asn_memexception ("Out of memory get_strvalue()") when allocation fails,
// with s left null.
QBASN_API unsigned int qb_get_strvalue(const qb_asn_octetstring& o, unsigned char*& s);
QBASN_API unsigned int qb_get_strvalue(const qb_asn_octetstring& o, char*& s);

// qb_intvalue: the integer's value, or 0 when it cannot be read.
QBASN_API long qb_intvalue(const qb_asn_integer& i);

// qb_free_strings: frees the first n strings of v (none when n <= 0), then v.
QBASN_API void qb_free_strings(int n, char** v);

// get_obj_body: len = the stored length; data = a malloc'ed copy of the
// octets, or null when the length is 0. The caller frees data. Throws
// qb_asn_memexception ("Out of memory get_obj_body()") when allocation fails.
QBASN_API unsigned int get_obj_body(const qb_asn_octetstring& o, unsigned long& len,
                                    unsigned char*& data);

#endif
