// base_idls/principal_asn.cpp - security identities, identities with their
// privilege attributes, principals and chains of principals.
#include "base_idls/principal_asn.h"

#include "asn1/internal/record.h"

QB_RECORD_SOURCE("base_idls/principal_asn")

// sec_id_t: SEQUENCE { uuid_t, UTF8String }
QB_RECORD(asn_sec_id_t, sec_id_t, "sec_id_t",
          QB_RECORD_MEMBER(uuid),
          QB_TEXT(name))

// sec_id_pa_t: SEQUENCE { sec_id_t, SEQUENCE OF sec_id_t } (signed count)
QB_RECORD(asn_sec_id_pa_t, sec_id_pa_t, "sec_id_pa_t",
          QB_RECORD_MEMBER(identity),
          QB_LIST(count, identities))

// kxprincipal_t: SEQUENCE { INTEGER, sec_id_pa_t OPTIONAL, INTEGER, attrlist_t OPTIONAL }
// The INTEGER between the two optional SEQUENCEs tells them apart by position.
QB_RECORD(asn_kxprincipal_t, kxprincipal_s_t, "kxprincipal_t",
          QB_INT(number1),
          QB_OPTIONAL_RECORD(identity),
          QB_INT(number2),
          QB_OPTIONAL_RECORD(attrs))

// kxprincipal_chain_t: SEQUENCE { UTF8String, SEQUENCE OF kxprincipal_t }
// The elements travel through an array of pointers, one record each.
QB_RECORD(asn_kxprincipal_chain_t, kxprincipal_chain_s_t, "kxprincipal_chain_t",
          QB_TEXT(name),
          QB_PTR_LIST(count, principals))
