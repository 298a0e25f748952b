// base_idls/remotelog_asn.cpp - the remote log request.
#include "base_idls/remotelog_asn.h"

#include "asn1/internal/record.h"

QB_RECORD_SOURCE("base_idls/remotelog_asn")

// RemoteLogRequest: SEQUENCE { UTF8String, UTF8String, INTEGER, INTEGER, OCTET STRING }
QB_RECORD(asn_RemoteLogRequest, remote_log_request, "RemoteLogRequest",
          QB_TEXT(category),
          QB_TEXT(sender),
          QB_INT(severity),
          QB_INT(sequence),
          QB_OCTETS(length, payload))
