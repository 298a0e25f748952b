// base_idls/namevalue_asn.cpp - name-value trees and lists of them.
#include "base_idls/namevalue_asn.h"

#include "asn1/internal/record.h"

QB_RECORD_SOURCE("base_idls/namevalue_asn")

// namevalue_t: SEQUENCE { UTF8String, SEQUENCE OF UTF8String, SEQUENCE OF namevalue_t }
// The children travel through an array of pointers, one record each.
QB_RECORD(asn_namevalue_t, namevalue_s_t, "namevalue_t",
          QB_TEXT(name),
          QB_TEXT_LIST(value_count, values),
          QB_PTR_LIST(child_count, child_nodes))

// namevalueList_t: SEQUENCE { SEQUENCE OF namevalue_t } (an array of pointers)
QB_RECORD(asn_namevalueList_t, namevalueList_s_t, "namevalueList_t",
          QB_PTR_LIST(count, namevalues))
