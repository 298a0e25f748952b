// base_idls/kxpopobjs_asn.cpp - protected-object policies and the maps between
// protected objects and policies.
#include "base_idls/kxpopobjs_asn.h"

#include "asn1/internal/record.h"

QB_RECORD_SOURCE("base_idls/kxpopobjs_asn")

// kxmap_pobj_to_pop_t: SEQUENCE { SEQUENCE OF UTF8String, attrlist_t }
// Deliberate: the 19-character type name is held cut to its first 16 characters, "kxmap_pobj_to_po".
QB_RECORD(asn_kxmap_pobj_to_pop_t, kxmap_pobj_to_pop_s_t, "kxmap_pobj_to_pop_t",
          QB_TEXT_LIST(count, names),
          QB_RECORD_MEMBER(attrlist))

// kxtod_range_t: SEQUENCE { INTEGER, INTEGER, INTEGER }
QB_RECORD(asn_kxtod_range_t, kxtod_range_s_t, "kxtod_range_t",
          QB_INT(days),
          QB_INT(start_time),
          QB_INT(end_time))

// kxaccess_times_t: SEQUENCE { INTEGER, kxtod_range_t }
QB_RECORD(asn_kxaccess_times_t, kxaccess_times_s_t, "kxaccess_times_t",
          QB_INT(time_zone),
          QB_RECORD_MEMBER(range))

// kxpop_ipauth_t: SEQUENCE { INTEGER, INTEGER, INTEGER }
QB_RECORD(asn_kxpop_ipauth_t, kxpop_ipauth_s_t, "kxpop_ipauth_t",
          QB_INT(network),
          QB_INT(netmask),
          QB_INT(auth_level))

// kxpop_t: SEQUENCE { UTF8String, kxaccess_times_t, INTEGER, INTEGER, INTEGER,
//                     SEQUENCE OF kxpop_ipauth_t, attrlist_t }
QB_RECORD(asn_kxpop_t, kxpop_s_t, "kxpop_t",
          QB_TEXT(name),
          QB_RECORD_MEMBER(access_times),
          QB_INT(warning_mode),
          QB_INT(audit_level),
          QB_INT(qop),
          QB_LIST(ipauth_count, ipauth),
          QB_RECORD_MEMBER(attrlist))

// kxmap_pop_to_pobj_t: SEQUENCE { SEQUENCE OF UTF8String, attrlist_t }
// Deliberate: the 19-character type name is held cut to its first 16 characters, "kxmap_pop_to_pob".
QB_RECORD(asn_kxmap_pop_to_pobj_t, kxmap_pop_to_pobj_s_t, "kxmap_pop_to_pobj_t",
          QB_TEXT_LIST(count, names),
          QB_RECORD_MEMBER(attrlist))
