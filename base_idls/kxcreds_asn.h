// base_idls/kxcreds_asn.h - credential modification and entitlements queries:
// requests carrying a service, an attribute list and a principal chain, and
// their replies.
#ifndef QBASN_BASE_IDLS_KXCREDS_ASN_H
#define QBASN_BASE_IDLS_KXCREDS_ASN_H

#include "asn1/asnrecord.h"
#include "base_idls/attrlist_asn.h"
#include "base_idls/principal_asn.h"

// ---- flat records ----

// azn_creds_mod_in_s_t: a request to modify the credentials in `creds`: the
// service asking, and the attributes describing the modification.
struct azn_creds_mod_in_s_t {
    char* service_id;
    attrlist_s_t attributes;
    kxprincipal_chain_s_t creds;
};

// azn_creds_mod_out_s_t: the modified credentials and the request's status.
struct azn_creds_mod_out_s_t {
    kxprincipal_chain_s_t creds;
    int status;
};

// azn_get_entitlements_in_s_t: a query for the entitlements that `creds`
// holds at the service, with the attributes of the query.
struct azn_get_entitlements_in_s_t {
    char* service_id;
    attrlist_s_t attributes;
    kxprincipal_chain_s_t creds;
};

// azn_get_entitlements_out_s_t: the entitlements found and the query's status.
struct azn_get_entitlements_out_s_t {
    attrlist_s_t entitlements;
    int status;
};

// ---- record classes ----

class QBASN_API asn_azn_creds_mod_in_t : public qb_asnbase {
public:
    qbasnUTF8String service_id{security};
    asn_attrlist_t attributes{security};
    asn_kxprincipal_chain_t creds{security};
    QB_RECORD_CLASS(asn_azn_creds_mod_in_t, azn_creds_mod_in_s_t)
};

class QBASN_API asn_azn_creds_mod_out_t : public qb_asnbase {
public:
    asn_kxprincipal_chain_t creds{security};
    qbasn_integer status{security};
    QB_RECORD_CLASS(asn_azn_creds_mod_out_t, azn_creds_mod_out_s_t)
};

class QBASN_API asn_azn_get_entitlements_in_t : public qb_asnbase {
public:
    qbasnUTF8String service_id{security};
    asn_attrlist_t attributes{security};
    asn_kxprincipal_chain_t creds{security};
    QB_RECORD_CLASS(asn_azn_get_entitlements_in_t, azn_get_entitlements_in_s_t)
};

class QBASN_API asn_azn_get_entitlements_out_t : public qb_asnbase {
public:
    asn_attrlist_t entitlements{security};
    qbasn_integer status{security};
    QB_RECORD_CLASS(asn_azn_get_entitlements_out_t, azn_get_entitlements_out_s_t)
};

QB_RECORD_FUNCTIONS(azn_creds_mod_in_s_t)
QB_RECORD_FUNCTIONS(azn_creds_mod_out_s_t)
QB_RECORD_FUNCTIONS(azn_get_entitlements_in_s_t)
QB_RECORD_FUNCTIONS(azn_get_entitlements_out_s_t)

#endif
