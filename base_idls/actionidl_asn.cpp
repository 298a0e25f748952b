// base_idls/actionidl_asn.cpp - actions, action groups and sets of action groups.
#include "base_idls/actionidl_asn.h"

#include "asn1/internal/record.h"

QB_RECORD_SOURCE("base_idls/actionidl_asn")

// kxaction_t: SEQUENCE { INTEGER, UTF8String, UTF8String, UTF8String, INTEGER, INTEGER, attrlist_t }
QB_RECORD(asn_kxaction_t, kxaction_s_t, "kxaction_t",
          QB_INT(bit),
          QB_TEXT(letter),
          QB_TEXT(name),
          QB_TEXT(description),
          QB_INT(type),
          QB_INT(flags),
          QB_RECORD_MEMBER(attrlist))

// kxaction_group_t: SEQUENCE { UTF8String, SEQUENCE OF CHOICE { NULL, kxaction_t }, attrlist_t }
QB_RECORD(asn_kxaction_group_t, kxaction_group_s_t, "kxaction_group_t",
          QB_TEXT(name),
          QB_SLOTS(actions),
          QB_RECORD_MEMBER(attrlist))

// kxaction_groups_t: SEQUENCE { SEQUENCE OF CHOICE { NULL, kxaction_group_t }, attrlist_t }
// Deliberate: the 17-character type name is held cut to its first 16 characters, "kxaction_groups_".
QB_RECORD(asn_kxaction_groups_t, kxaction_groups_s_t, "kxaction_groups_t",
          QB_SLOTS(groups),
          QB_RECORD_MEMBER(attrlist))
