// base_idls/actionidl_asn.h - actions, action groups and sets of action groups.
#ifndef QBASN_BASE_IDLS_ACTIONIDL_ASN_H
#define QBASN_BASE_IDLS_ACTIONIDL_ASN_H

#include "asn1/asnrecord.h"
#include "base_idls/attrlist_asn.h"

// ---- flat records ----

// kxaction_s_t: one action an access control list can grant.
struct kxaction_s_t {
    int bit;              // the action's bit number
    char* letter;         // the letter that stands for the action
    char* name;
    char* description;
    int type;
    int flags;
    attrlist_s_t attrlist;
};

// kxaction_group_s_t: a named group of up to 32 actions; a NULL slot is empty.
struct kxaction_group_s_t {
    char* name;
    kxaction_s_t* actions[32];
    attrlist_s_t attrlist;
};

// kxaction_groups_s_t: a set of up to 32 action groups; a NULL slot is empty.
struct kxaction_groups_s_t {
    kxaction_group_s_t* groups[32];
    attrlist_s_t attrlist;
};

// ---- record classes ----

class QBASN_API asn_kxaction_t : public qb_asnbase {
public:
    qbasn_integer bit{security};
    qbasnUTF8String letter{security};
    qbasnUTF8String name{security};
    qbasnUTF8String description{security};
    qbasn_integer type{security};
    qbasn_integer flags{security};
    asn_attrlist_t attrlist{security};
    QB_RECORD_CLASS(asn_kxaction_t, kxaction_s_t)
};

class QBASN_API asn_kxaction_group_t : public qb_asnbase {
public:
    qbasnUTF8String name{security};
    qb_asn_arrayof<asn_kxaction_t> actions{security};
    asn_attrlist_t attrlist{security};
    QB_RECORD_CLASS(asn_kxaction_group_t, kxaction_group_s_t)
};

class QBASN_API asn_kxaction_groups_t : public qb_asnbase {
public:
    qb_asn_arrayof<asn_kxaction_group_t> groups{security};
    asn_attrlist_t attrlist{security};
    QB_RECORD_CLASS(asn_kxaction_groups_t, kxaction_groups_s_t)
};

QB_RECORD_FUNCTIONS(kxaction_s_t)
QB_RECORD_FUNCTIONS(kxaction_group_s_t)
QB_RECORD_FUNCTIONS(kxaction_groups_s_t)

#endif
