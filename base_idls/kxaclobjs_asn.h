// base_idls/kxaclobjs_asn.h - extended attributes, external authorization and
// the authorization database header.
#ifndef QBASN_BASE_IDLS_KXACLOBJS_ASN_H
#define QBASN_BASE_IDLS_KXACLOBJS_ASN_H

#include "asn1/asnrecord.h"
#include "base_idls/attrlist_asn.h"

// ---- flat records ----

// kxattr_s_t: a named attribute with `count` text values.
struct kxattr_s_t {
    char* name;
    unsigned int count;
    char** values;
};

// kxextattr_s_t: `count` contiguous text attributes and an attribute list.
struct kxextattr_s_t {
    unsigned int count;
    kxattr_s_t* attrs;
    attrlist_s_t attrlist;
};

// kxextern_auth_s_t: an external authorization service.
struct kxextern_auth_s_t {
    char* name;
    char* library;      // where the service's code lives
    char* entry_point;  // what to call in it
    char* arguments;    // what to hand it
};

// kxauthzn_db_s_t: the header of the authorization database.
struct kxauthzn_db_s_t {
    int version;
    int revision;
    int flags;
    attrlist_s_t attrlist;
};

// ---- record classes ----

class QBASN_API asn_kxattr_t : public qb_asnbase {
public:
    qbasnUTF8String name{security};
    qb_asn_sequenceof<qbasnUTF8String> values{security};
    QB_RECORD_CLASS(asn_kxattr_t, kxattr_s_t)
};

class QBASN_API asn_kxextattr_t : public qb_asnbase {
public:
    qb_asn_sequenceof<asn_kxattr_t> attrs{security};
    asn_attrlist_t attrlist{security};
    QB_RECORD_CLASS(asn_kxextattr_t, kxextattr_s_t)
};

class QBASN_API asn_kxextern_auth_t : public qb_asnbase {
public:
    qbasnUTF8String name{security};
    qbasnUTF8String library{security};
    qbasnUTF8String entry_point{security};
    qbasnUTF8String arguments{security};
    QB_RECORD_CLASS(asn_kxextern_auth_t, kxextern_auth_s_t)
};

class QBASN_API asn_kxauthzn_db_t : public qb_asnbase {
public:
    qbasn_integer version{security};
    qbasn_integer revision{security};
    qbasn_integer flags{security};
    asn_attrlist_t attrlist{security};
    QB_RECORD_CLASS(asn_kxauthzn_db_t, kxauthzn_db_s_t)
};

QB_RECORD_FUNCTIONS(kxattr_s_t)
QB_RECORD_FUNCTIONS(kxextattr_s_t)
QB_RECORD_FUNCTIONS(kxextern_auth_s_t)
QB_RECORD_FUNCTIONS(kxauthzn_db_s_t)

#endif
