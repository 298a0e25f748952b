// base_idls/pobj_asn.h - protected objects, protected-object spaces and the
// authorization engine's internal form of a protected object.
#ifndef QBASN_BASE_IDLS_POBJ_ASN_H
#define QBASN_BASE_IDLS_POBJ_ASN_H

#include "asn1/asnrecord.h"
#include "base_idls/attrlist_asn.h"

// ---- flat records ----

// pobj_s_t: a protected object: two integers, its name and its attributes.
struct pobj_s_t {
    int number1;
    int number2;
    char* name;
    attrlist_s_t attrs;
};

// pobjspace_s_t: a protected-object space: `count` names and an attribute list.
struct pobjspace_s_t {
    unsigned int count;
    char** names;
    attrlist_s_t attrs;
};

// azn_internal_pobj_s_t: a whole pobj_s_t first (so a pointer to this record
// may be used as a pointer to its pobj_s_t), then one more text.
struct azn_internal_pobj_s_t {
    pobj_s_t pobj;
    char* text;
};

// ---- record classes ----

class QBASN_API asn_pobj_t : public qb_asnbase {
public:
    qbasn_integer number1{security};
    qbasn_integer number2{security};
    qbasnUTF8String name{security};
    asn_attrlist_t attrs{security};
    QB_RECORD_CLASS(asn_pobj_t, pobj_s_t)
};

class QBASN_API asn_pobjspace_t : public qb_asnbase {
public:
    qb_asn_sequenceof<qbasnUTF8String> names{security};
    asn_attrlist_t attrs{security};
    QB_RECORD_CLASS(asn_pobjspace_t, pobjspace_s_t)
};

class QBASN_API asn_azn_internal_pobj_t : public qb_asnbase {
public:
    asn_pobj_t pobj{security};
    qbasnUTF8String text{security};
    QB_RECORD_CLASS(asn_azn_internal_pobj_t, azn_internal_pobj_s_t)
};

QB_RECORD_FUNCTIONS(pobj_s_t)
QB_RECORD_FUNCTIONS(pobjspace_s_t)
QB_RECORD_FUNCTIONS(azn_internal_pobj_s_t)

#endif
