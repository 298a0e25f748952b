// base_idls/vqauditidl_asn.cpp - audit events: attributes, trees of elements, events.
#include "base_idls/vqauditidl_asn.h"

#include "asn1/internal/record.h"

QB_RECORD_SOURCE("base_idls/vqauditidl_asn")

// vqauditattribute_t: SEQUENCE { UTF8String, OCTET STRING }
QB_RECORD(asn_vqauditattribute_t, vqauditattribute_s_t, "vqauditattribute_t",
          QB_TEXT(name),
          QB_OCTETS(length, value))

// vqauditelement_t: SEQUENCE { UTF8String, OCTET STRING, SEQUENCE OF vqauditattribute_t,
//                              SEQUENCE OF vqauditelement_t }
QB_RECORD(asn_vqauditelement_t, vqauditelement_s_t, "vqauditelement_t",
          QB_TEXT(name),
          QB_OCTETS(length, value),
          QB_LIST(attribute_count, attributes),
          QB_LIST(element_count, elements))

// vqauditevent_t: SEQUENCE { INTEGER, UTF8String, INTEGER, SEQUENCE OF vqauditelement_t }
QB_RECORD(asn_vqauditevent_t, vqauditevent_s_t, "vqauditevent_t",
          QB_INT(event_type),
          QB_TEXT(event_name),
          QB_INT(outcome),
          QB_LIST(count, elements))
