// base_idls/kxobj_asn.cpp - objects of the object database, object and name
// lists with attributes, and the database header.
#include "base_idls/kxobj_asn.h"

#include "asn1/internal/record.h"

QB_RECORD_SOURCE("base_idls/kxobj_asn")

// kxobj_t: SEQUENCE { UTF8String, INTEGER, INTEGER, OCTET STRING }
QB_RECORD(asn_kxobj_t, kxobj_t, "kxobj_t",
          QB_TEXT(name),
          QB_INT(number1),
          QB_INT(number2),
          QB_OCTETS(value_length, value))

// kxobj_list_t: SEQUENCE { SEQUENCE OF kxobj_t, attrlist_t }
QB_RECORD(asn_kxobj_list_t, kxobj_list_s_t, "kxobj_list_t",
          QB_LIST(count, objects),
          QB_RECORD_MEMBER(attrs))

// kxobj_name_list_t: SEQUENCE { SEQUENCE OF UTF8String, attrlist_t }
// (type name cut to "kxobj_name_list_" by the 16-character field)
QB_RECORD(asn_kxobj_name_list_t, kxobj_name_list_s_t, "kxobj_name_list_t",
          QB_TEXT_LIST(count, names),
          QB_RECORD_MEMBER(attrs))

// kxobj_db_header_t: SEQUENCE { INTEGER, SEQUENCE OF UTF8String, attrlist_t }
// (type name cut to "kxobj_db_header_"). Its texts are made by the list itself.
QB_RECORD(asn_kxobj_db_header_t, kxobj_db_header_s_t, "kxobj_db_header_t",
          QB_INT(number),
          QB_ADD_CHILD(QB_TEXT_LIST(count, texts)),
          QB_RECORD_MEMBER(attrs))
