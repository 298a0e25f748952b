// base_idls/kxobj_asn.h - objects of the object database, object and name
// lists with attributes, and the database header.
#ifndef QBASN_BASE_IDLS_KXOBJ_ASN_H
#define QBASN_BASE_IDLS_KXOBJ_ASN_H

#include "asn1/asnrecord.h"
#include "base_idls/attrlist_asn.h"

// ---- flat records ----

// kxobj_t: one object: a name, two integers and an opaque value.
struct kxobj_t {
    char* name;
    int number1;
    int number2;
    unsigned int value_length;
    unsigned char* value;
};

// kxobj_list_s_t: `count` contiguous objects and an attribute list.
struct kxobj_list_s_t {
    unsigned int count;
    kxobj_t* objects;
    attrlist_s_t attrs;
};

// kxobj_name_list_s_t: `count` object names and an attribute list.
struct kxobj_name_list_s_t {
    unsigned int count;
    char** names;
    attrlist_s_t attrs;
};

// kxobj_db_header_s_t: the database header: an integer, `count` texts and an
// attribute list.
struct kxobj_db_header_s_t {
    int number;
    unsigned int count;
    char** texts;
    attrlist_s_t attrs;
};

// ---- record classes ----

class QBASN_API asn_kxobj_t : public qb_asnbase {
public:
    qbasnUTF8String name{security};
    qbasn_integer number1{security};
    qbasn_integer number2{security};
    qbasn_octetstring value{security};
    QB_RECORD_CLASS(asn_kxobj_t, kxobj_t)
};

class QBASN_API asn_kxobj_list_t : public qb_asnbase {
public:
    qb_asn_sequenceof<asn_kxobj_t> objects{security};
    asn_attrlist_t attrs{security};
    QB_RECORD_CLASS(asn_kxobj_list_t, kxobj_list_s_t)
};

class QBASN_API asn_kxobj_name_list_t : public qb_asnbase {
public:
    qb_asn_sequenceof<qbasnUTF8String> names{security};
    asn_attrlist_t attrs{security};
    QB_RECORD_CLASS(asn_kxobj_name_list_t, kxobj_name_list_s_t)
};

class QBASN_API asn_kxobj_db_header_t : public qb_asnbase {
public:
    qbasn_integer number{security};
    qb_asn_sequenceof<qbasnUTF8String> texts{security};
    asn_attrlist_t attrs{security};
    QB_RECORD_CLASS(asn_kxobj_db_header_t, kxobj_db_header_s_t)
};

QB_RECORD_FUNCTIONS(kxobj_t)
QB_RECORD_FUNCTIONS(kxobj_list_s_t)
QB_RECORD_FUNCTIONS(kxobj_name_list_s_t)
QB_RECORD_FUNCTIONS(kxobj_db_header_s_t)

#endif
