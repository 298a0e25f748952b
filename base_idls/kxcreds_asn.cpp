// base_idls/kxcreds_asn.cpp - credential modification and entitlements queries.
#include "base_idls/kxcreds_asn.h"

#include "asn1/internal/record.h"

QB_RECORD_SOURCE("base_idls/kxcreds_asn")

// azn_creds_mod_in_t: SEQUENCE { UTF8String, attrlist_t, kxprincipal_chain_t }
QB_RECORD(asn_azn_creds_mod_in_t, azn_creds_mod_in_s_t, "azn_creds_mod_in_t",
          QB_TEXT(service_id),
          QB_RECORD_MEMBER(attributes),
          QB_RECORD_MEMBER(creds))

// azn_creds_mod_out_t: SEQUENCE { kxprincipal_chain_t, INTEGER }
QB_RECORD(asn_azn_creds_mod_out_t, azn_creds_mod_out_s_t, "azn_creds_mod_out_t",
          QB_RECORD_MEMBER(creds),
          QB_INT(status))

// azn_get_entitlements_in_t: SEQUENCE { UTF8String, attrlist_t, kxprincipal_chain_t }
QB_RECORD(asn_azn_get_entitlements_in_t, azn_get_entitlements_in_s_t, "azn_get_entitlements_in_t",
          QB_TEXT(service_id),
          QB_RECORD_MEMBER(attributes),
          QB_RECORD_MEMBER(creds))

// azn_get_entitlements_out_t: SEQUENCE { attrlist_t, INTEGER }
QB_RECORD(asn_azn_get_entitlements_out_t, azn_get_entitlements_out_s_t, "azn_get_entitlements_out_t",
          QB_RECORD_MEMBER(entitlements),
          QB_INT(status))
