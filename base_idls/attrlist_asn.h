// base_idls/attrlist_asn.h - UUIDs, typed values, attributes and attribute lists.
#ifndef QBASN_BASE_IDLS_ATTRLIST_ASN_H
#define QBASN_BASE_IDLS_ATTRLIST_ASN_H

#include "asn1/asnrecord.h"

// ---- flat records ----

// uuid_t: the DCE layout of a UUID, 16 bytes packed.
struct uuid_t {
    unsigned int time_low;
    unsigned short time_mid;
    unsigned short time_hi_and_version;
    unsigned char clock_seq_hi_and_reserved;
    unsigned char clock_seq_low;
    unsigned char node[6];
};

// value_s_t: an integer, a text and a byte string side by side.
struct value_s_t {
    int number;
    char* text;
    unsigned int length;
    unsigned char* bytes;
};

// attr_s_t: a named attribute with `count` contiguous values.
struct attr_s_t {
    char* name;
    unsigned int count;
    value_s_t* values;
};

// attrlist_s_t: `count` contiguous attributes.
struct attrlist_s_t {
    unsigned int count;
    attr_s_t* attrs;
};

// ---- record classes ----

class QBASN_API asn_uuid_t : public qb_asnbase {
public:
    qbasn_integer time_low{security};
    qbasn_integer time_mid{security};
    qbasn_integer time_hi_and_version{security};
    qbasn_integer clock_seq_hi_and_reserved{security};
    qbasn_integer clock_seq_low{security};
    qbasn_octetstring node{security};
    QB_RECORD_CLASS(asn_uuid_t, uuid_t)
};

class QBASN_API asn_value_t : public qb_asnbase {
public:
    qbasn_integer number{security};
    qbasnUTF8String text{security};
    qbasn_octetstring bytes{security};
    QB_RECORD_CLASS(asn_value_t, value_s_t)
};

class QBASN_API asn_attr_t : public qb_asnbase {
public:
    qbasnUTF8String name{security};
    qb_asn_sequenceof<asn_value_t> values{security};
    QB_RECORD_CLASS(asn_attr_t, attr_s_t)
};

class QBASN_API asn_attrlist_t : public qb_asnbase {
public:
    qb_asn_sequenceof<asn_attr_t> attrs{security};
    QB_RECORD_CLASS(asn_attrlist_t, attrlist_s_t)
};

QB_RECORD_FUNCTIONS(uuid_t)
QB_RECORD_FUNCTIONS(value_s_t)
QB_RECORD_FUNCTIONS(attr_s_t)
QB_RECORD_FUNCTIONS(attrlist_s_t)

#endif
