// base_idls/kxsvr_enc_asn.cpp - administration services and local authorization servers.
#include "base_idls/kxsvr_enc_asn.h"

#include "asn1/internal/record.h"

QB_RECORD_SOURCE("base_idls/kxsvr_enc_asn")

// aznadmsvc_t: SEQUENCE { UTF8String, SEQUENCE OF UTF8String }
QB_RECORD(asn_aznadmsvc_t, aznadmsvc_s_t, "aznadmsvc_t",
          QB_TEXT(name),
          QB_TEXT_LIST(count, texts))

// aznlocal_svr_t: SEQUENCE { 4 x UTF8String, 4 x INTEGER, SEQUENCE OF aznadmsvc_t, attrlist_t }
QB_RECORD(asn_aznlocal_svr_t, aznlocal_svr_s_t, "aznlocal_svr_t",
          QB_TEXT(text1),
          QB_TEXT(text2),
          QB_TEXT(text3),
          QB_TEXT(text4),
          QB_INT(number1),
          QB_INT(number2),
          QB_INT(number3),
          QB_INT(number4),
          QB_LIST(service_count, services),
          QB_RECORD_MEMBER(attrs))
