// base_idls/remotelog_asn.h - the remote log request.
#ifndef QBASN_BASE_IDLS_REMOTELOG_ASN_H
#define QBASN_BASE_IDLS_REMOTELOG_ASN_H

#include "asn1/asnrecord.h"

// ---- flat records ----

// remote_log_request: one batch of log data for a remote log: the log's
// category and the sending component, two integers (severity and a sequence
// number; the wire knows them only by position) and the log data itself.
struct remote_log_request {
    char* category;
    char* sender;
    int severity;
    int sequence;
    unsigned int length;
    unsigned char* payload;
};

// ---- record classes ----

class QBASN_API asn_RemoteLogRequest : public qb_asnbase {
public:
    qbasnUTF8String category{security};
    qbasnUTF8String sender{security};
    qbasn_integer severity{security};
    qbasn_integer sequence{security};
    qbasn_octetstring payload{security};
    QB_RECORD_CLASS(asn_RemoteLogRequest, remote_log_request)
};

QB_RECORD_FUNCTIONS(remote_log_request)

#endif
