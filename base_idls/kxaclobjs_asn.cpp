// base_idls/kxaclobjs_asn.cpp - extended attributes, external authorization and
// the authorization database header.
#include "base_idls/kxaclobjs_asn.h"

#include "asn1/internal/record.h"

QB_RECORD_SOURCE("base_idls/kxaclobjs_asn")

// kxattr_t: SEQUENCE { UTF8String, SEQUENCE OF UTF8String }
QB_RECORD(asn_kxattr_t, kxattr_s_t, "kxattr_t",
          QB_TEXT(name),
          QB_TEXT_LIST(count, values))

// kxextattr_t: SEQUENCE { SEQUENCE OF kxattr_t, attrlist_t }
QB_RECORD(asn_kxextattr_t, kxextattr_s_t, "kxextattr_t",
          QB_LIST(count, attrs),
          QB_RECORD_MEMBER(attrlist))

// kxextern_auth_t: SEQUENCE { UTF8String, UTF8String, UTF8String, UTF8String }
QB_RECORD(asn_kxextern_auth_t, kxextern_auth_s_t, "kxextern_auth_t",
          QB_TEXT(name),
          QB_TEXT(library),
          QB_TEXT(entry_point),
          QB_TEXT(arguments))

// kxauthzn_db_t: SEQUENCE { INTEGER, INTEGER, INTEGER, attrlist_t }
QB_RECORD(asn_kxauthzn_db_t, kxauthzn_db_s_t, "kxauthzn_db_t",
          QB_INT(version),
          QB_INT(revision),
          QB_INT(flags),
          QB_RECORD_MEMBER(attrlist))
