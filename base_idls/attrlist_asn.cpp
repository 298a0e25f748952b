// base_idls/attrlist_asn.cpp - UUIDs, typed values, attributes and attribute lists.
#include "base_idls/attrlist_asn.h"

#include "asn1/internal/record.h"

QB_RECORD_SOURCE("base_idls/attrlist_asn")

// uuid_t: SEQUENCE { INTEGER, INTEGER, INTEGER, INTEGER, INTEGER, OCTET STRING (6) }
QB_RECORD(asn_uuid_t, uuid_t, "uuid_t",
          QB_INT(time_low),
          QB_INT(time_mid),
          QB_INT(time_hi_and_version),
          QB_INT(clock_seq_hi_and_reserved),
          QB_INT(clock_seq_low),
          QB_FIXED_OCTETS(node))

// value_t: SEQUENCE { INTEGER, UTF8String, OCTET STRING }
QB_RECORD(asn_value_t, value_s_t, "value_t",
          QB_INT(number),
          QB_TEXT(text),
          QB_OCTETS(length, bytes))

// attr_t: SEQUENCE { UTF8String, SEQUENCE OF value_t }
// Its list failures are reported at lines 187 (set_value), 206 and 212 (get_value).
QB_RECORD(asn_attr_t, attr_s_t, "attr_t",
          QB_TEXT(name),
          QB_AT(QB_LIST(count, values), 187, 206, 212))

// attrlist_t: SEQUENCE { SEQUENCE OF attr_t }
QB_RECORD(asn_attrlist_t, attrlist_s_t, "attrlist_t",
          QB_LIST(count, attrs))
