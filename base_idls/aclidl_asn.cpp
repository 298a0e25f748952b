// base_idls/aclidl_asn.cpp - ACL records: the mappings between protected
// objects and an ACL, permission sets, ACL entries and extended ACLs.
#include "base_idls/aclidl_asn.h"

#include "asn1/internal/record.h"

QB_RECORD_SOURCE("base_idls/aclidl_asn")

// map_pobj_to_acl_t: SEQUENCE { SEQUENCE OF UTF8String, attrlist_t }
// Its names are made with new and register_child.
QB_RECORD(asn_map_pobj_to_acl_t, map_pobj_to_acl_s_t, "map_pobj_to_acl_t",
          QB_TEXT_LIST(count, names),
          QB_RECORD_MEMBER(attrs))

// map_acl_to_pobj_t: SEQUENCE { SEQUENCE OF UTF8String, attrlist_t }
// Deliberate: its names are made by the list itself (add_child), unlike its twin; the bytes are the same.
QB_RECORD(asn_map_acl_to_pobj_t, map_acl_to_pobj_s_t, "map_acl_to_pobj_t",
          QB_ADD_CHILD(QB_TEXT_LIST(count, names)),
          QB_RECORD_MEMBER(attrs))

// acl_permset_t: SEQUENCE { SEQUENCE OF INTEGER }
QB_RECORD(asn_acl_permset_t, acl_permset_s_t, "acl_permset_t",
          QB_INT_LIST(count, permissions))

// acl_entry_t: SEQUENCE { acl_permset_t, INTEGER, sec_id_t }
QB_RECORD(asn_acl_entry_t, acl_entry_s_t, "acl_entry_t",
          QB_RECORD_MEMBER(permset),
          QB_INT(number),
          QB_RECORD_MEMBER(identity))

// acl_ext_t: SEQUENCE { UTF8String, SEQUENCE OF acl_entry_t, attrlist_t }
QB_RECORD(asn_acl_ext_t, acl_ext_s_t, "acl_ext_t",
          QB_TEXT(name),
          QB_LIST(count, entries),
          QB_RECORD_MEMBER(attrs))
