// base_idls/kxpopobjs_asn.h - protected-object policies and the maps between
// protected objects and policies.
#ifndef QBASN_BASE_IDLS_KXPOPOBJS_ASN_H
#define QBASN_BASE_IDLS_KXPOPOBJS_ASN_H

#include "asn1/asnrecord.h"
#include "base_idls/attrlist_asn.h"

// ---- flat records ----

// kxmap_pobj_to_pop_s_t: `count` protected-object names mapped to a policy.
struct kxmap_pobj_to_pop_s_t {
    unsigned int count;
    char** names;
    attrlist_s_t attrlist;
};

// kxtod_range_s_t: a time-of-day range on chosen days.
struct kxtod_range_s_t {
    int days;        // the days the range applies to
    int start_time;  // start of the range
    int end_time;    // end of the range
};

// kxaccess_times_s_t: when access is allowed.
struct kxaccess_times_s_t {
    int time_zone;  // how the range's times are to be read
    kxtod_range_s_t range;
};

// kxpop_ipauth_s_t: one network entry of a policy's ipauth list.
struct kxpop_ipauth_s_t {
    int network;
    int netmask;
    int auth_level;
};

// kxpop_s_t: a protected-object policy.
struct kxpop_s_t {
    char* name;
    kxaccess_times_s_t access_times;
    int warning_mode;
    int audit_level;
    int qop;  // quality of protection
    unsigned int ipauth_count;
    kxpop_ipauth_s_t* ipauth;
    attrlist_s_t attrlist;
};

// kxmap_pop_to_pobj_s_t: `count` policy names mapped to a protected object.
struct kxmap_pop_to_pobj_s_t {
    unsigned int count;
    char** names;
    attrlist_s_t attrlist;
};

// ---- record classes ----

class QBASN_API asn_kxmap_pobj_to_pop_t : public qb_asnbase {
public:
    qb_asn_sequenceof<qbasnUTF8String> names{security};
    asn_attrlist_t attrlist{security};
    QB_RECORD_CLASS(asn_kxmap_pobj_to_pop_t, kxmap_pobj_to_pop_s_t)
};

class QBASN_API asn_kxtod_range_t : public qb_asnbase {
public:
    qbasn_integer days{security};
    qbasn_integer start_time{security};
    qbasn_integer end_time{security};
    QB_RECORD_CLASS(asn_kxtod_range_t, kxtod_range_s_t)
};

class QBASN_API asn_kxaccess_times_t : public qb_asnbase {
public:
    qbasn_integer time_zone{security};
    asn_kxtod_range_t range{security};
    QB_RECORD_CLASS(asn_kxaccess_times_t, kxaccess_times_s_t)
};

class QBASN_API asn_kxpop_ipauth_t : public qb_asnbase {
public:
    qbasn_integer network{security};
    qbasn_integer netmask{security};
    qbasn_integer auth_level{security};
    QB_RECORD_CLASS(asn_kxpop_ipauth_t, kxpop_ipauth_s_t)
};

class QBASN_API asn_kxpop_t : public qb_asnbase {
public:
    qbasnUTF8String name{security};
    asn_kxaccess_times_t access_times{security};
    qbasn_integer warning_mode{security};
    qbasn_integer audit_level{security};
    qbasn_integer qop{security};
    qb_asn_sequenceof<asn_kxpop_ipauth_t> ipauth{security};
    asn_attrlist_t attrlist{security};
    QB_RECORD_CLASS(asn_kxpop_t, kxpop_s_t)
};

class QBASN_API asn_kxmap_pop_to_pobj_t : public qb_asnbase {
public:
    qb_asn_sequenceof<qbasnUTF8String> names{security};
    asn_attrlist_t attrlist{security};
    QB_RECORD_CLASS(asn_kxmap_pop_to_pobj_t, kxmap_pop_to_pobj_s_t)
};

QB_RECORD_FUNCTIONS(kxmap_pobj_to_pop_s_t)
QB_RECORD_FUNCTIONS(kxtod_range_s_t)
QB_RECORD_FUNCTIONS(kxaccess_times_s_t)
QB_RECORD_FUNCTIONS(kxpop_ipauth_s_t)
QB_RECORD_FUNCTIONS(kxpop_s_t)
QB_RECORD_FUNCTIONS(kxmap_pop_to_pobj_s_t)

#endif
