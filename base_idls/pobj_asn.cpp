// base_idls/pobj_asn.cpp - protected objects, protected-object spaces and the
// authorization engine's internal form of a protected object.
#include "base_idls/pobj_asn.h"

#include "asn1/internal/record.h"

QB_RECORD_SOURCE("base_idls/pobj_asn")

// pobj_t: SEQUENCE { INTEGER, INTEGER, UTF8String, attrlist_t }
QB_RECORD(asn_pobj_t, pobj_s_t, "pobj_t",
          QB_INT(number1),
          QB_INT(number2),
          QB_TEXT(name),
          QB_RECORD_MEMBER(attrs))

// pobjspace_t: SEQUENCE { SEQUENCE OF UTF8String, attrlist_t }
QB_RECORD(asn_pobjspace_t, pobjspace_s_t, "pobjspace_t",
          QB_TEXT_LIST(count, names),
          QB_RECORD_MEMBER(attrs))

// azn_internal_pobj_t: SEQUENCE { pobj_t, UTF8String }
// (type name cut to "azn_internal_pob" by the 16-character field)
QB_RECORD(asn_azn_internal_pobj_t, azn_internal_pobj_s_t, "azn_internal_pobj_t",
          QB_RECORD_MEMBER(pobj),
          QB_TEXT(text))
