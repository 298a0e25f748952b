// base_idls/aclidl_asn.h - ACL records: the mappings between protected objects
// and an ACL, permission sets, ACL entries and extended ACLs.
#ifndef QBASN_BASE_IDLS_ACLIDL_ASN_H
#define QBASN_BASE_IDLS_ACLIDL_ASN_H

#include "asn1/asnrecord.h"
#include "base_idls/attrlist_asn.h"
#include "base_idls/principal_asn.h"

// ---- flat records ----

// map_pobj_to_acl_s_t: `count` names with an attribute list.
struct map_pobj_to_acl_s_t {
    unsigned int count;
    char** names;
    attrlist_s_t attrs;
};

// map_acl_to_pobj_s_t: the same shape as map_pobj_to_acl_s_t.
struct map_acl_to_pobj_s_t {
    unsigned int count;
    char** names;
    attrlist_s_t attrs;
};

// acl_permset_s_t: `count` permission values.
struct acl_permset_s_t {
    unsigned int count;
    int* permissions;
};

// acl_entry_s_t: a permission set, an integer and a security identity.
struct acl_entry_s_t {
    acl_permset_s_t permset;
    int number;
    sec_id_t identity;
};

// acl_ext_s_t: a named ACL with `count` contiguous entries and an attribute list.
struct acl_ext_s_t {
    char* name;
    unsigned int count;
    acl_entry_s_t* entries;
    attrlist_s_t attrs;
};

// ---- record classes ----

class QBASN_API asn_map_pobj_to_acl_t : public qb_asnbase {
public:
    qb_asn_sequenceof<qbasnUTF8String> names{security};
    asn_attrlist_t attrs{security};
    QB_RECORD_CLASS(asn_map_pobj_to_acl_t, map_pobj_to_acl_s_t)
};

class QBASN_API asn_map_acl_to_pobj_t : public qb_asnbase {
public:
    qb_asn_sequenceof<qbasnUTF8String> names{security};
    asn_attrlist_t attrs{security};
    QB_RECORD_CLASS(asn_map_acl_to_pobj_t, map_acl_to_pobj_s_t)
};

class QBASN_API asn_acl_permset_t : public qb_asnbase {
public:
    qb_asn_sequenceof<qbasn_integer> permissions{security};
    QB_RECORD_CLASS(asn_acl_permset_t, acl_permset_s_t)
};

class QBASN_API asn_acl_entry_t : public qb_asnbase {
public:
    asn_acl_permset_t permset{security};
    qbasn_integer number{security};
    asn_sec_id_t identity{security};
    QB_RECORD_CLASS(asn_acl_entry_t, acl_entry_s_t)
};

class QBASN_API asn_acl_ext_t : public qb_asnbase {
public:
    qbasnUTF8String name{security};
    qb_asn_sequenceof<asn_acl_entry_t> entries{security};
    asn_attrlist_t attrs{security};
    QB_RECORD_CLASS(asn_acl_ext_t, acl_ext_s_t)
};

QB_RECORD_FUNCTIONS(map_pobj_to_acl_s_t)
QB_RECORD_FUNCTIONS(map_acl_to_pobj_s_t)
QB_RECORD_FUNCTIONS(acl_permset_s_t)
QB_RECORD_FUNCTIONS(acl_entry_s_t)
QB_RECORD_FUNCTIONS(acl_ext_s_t)

#endif
