// base_idls/principal_asn.h - security identities, identities with their
// privilege attributes, principals and chains of principals.
#ifndef QBASN_BASE_IDLS_PRINCIPAL_ASN_H
#define QBASN_BASE_IDLS_PRINCIPAL_ASN_H

#include "asn1/asnrecord.h"
#include "base_idls/attrlist_asn.h"

// ---- flat records ----

// sec_id_t: a security identity, a UUID with a name.
struct sec_id_t {
    uuid_t uuid;
    char* name;
};

// sec_id_pa_t: an identity with its privilege attributes, `count` further
// identities laid contiguously.
struct sec_id_pa_t {
    sec_id_t identity;
    int count;  // Deliberate: signed, unlike every other count; a negative count holds none.
    sec_id_t* identities;
};

// kxprincipal_s_t: a principal. The schema gives its two integers no further
// meaning; they travel in order. Each nested record is optional (null when absent).
struct kxprincipal_s_t {
    int number1;
    sec_id_pa_t* identity;  // null: no identity on the wire
    int number2;
    attrlist_s_t* attrs;    // null: no attribute list on the wire
};

// kxprincipal_chain_s_t: a named chain of principals.
struct kxprincipal_chain_s_t {
    char* name;
    unsigned int count;
    // Deliberate: `count` pointers, one separately allocated principal each (other lists are contiguous).
    kxprincipal_s_t** principals;
};

// ---- record classes ----

class QBASN_API asn_sec_id_t : public qb_asnbase {
public:
    asn_uuid_t uuid{security};
    qbasnUTF8String name{security};
    QB_RECORD_CLASS(asn_sec_id_t, sec_id_t)
};

class QBASN_API asn_sec_id_pa_t : public qb_asnbase {
public:
    asn_sec_id_t identity{security};
    qb_asn_sequenceof<asn_sec_id_t> identities{security};
    QB_RECORD_CLASS(asn_sec_id_pa_t, sec_id_pa_t)
};

class QBASN_API asn_kxprincipal_t : public qb_asnbase {
public:
    qbasn_integer number1{security};
    asn_sec_id_pa_t identity{security};
    qbasn_integer number2{security};
    asn_attrlist_t attrs{security};
    QB_RECORD_CLASS(asn_kxprincipal_t, kxprincipal_s_t)
};

class QBASN_API asn_kxprincipal_chain_t : public qb_asnbase {
public:
    qbasnUTF8String name{security};
    qb_asn_sequenceof<asn_kxprincipal_t> principals{security};
    QB_RECORD_CLASS(asn_kxprincipal_chain_t, kxprincipal_chain_s_t)
};

QB_RECORD_FUNCTIONS(sec_id_t)
QB_RECORD_FUNCTIONS(sec_id_pa_t)
QB_RECORD_FUNCTIONS(kxprincipal_s_t)
QB_RECORD_FUNCTIONS(kxprincipal_chain_s_t)

#endif
