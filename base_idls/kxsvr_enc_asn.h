// base_idls/kxsvr_enc_asn.h - administration services and local authorization servers.
#ifndef QBASN_BASE_IDLS_KXSVR_ENC_ASN_H
#define QBASN_BASE_IDLS_KXSVR_ENC_ASN_H

#include "asn1/asnrecord.h"
#include "base_idls/attrlist_asn.h"

// ---- flat records ----

// aznadmsvc_s_t: an administration service, a name with `count` texts.
struct aznadmsvc_s_t {
    char* name;
    unsigned int count;
    char** texts;
};

// aznlocal_svr_s_t: a local authorization server. The schema gives its first
// eight members only as four texts and four integers; they travel in order.
struct aznlocal_svr_s_t {
    char* text1;
    char* text2;
    char* text3;
    char* text4;
    int number1;
    int number2;
    int number3;
    int number4;
    unsigned int service_count;
    aznadmsvc_s_t* services;  // `service_count` contiguous services
    attrlist_s_t attrs;
};

// ---- record classes ----

class QBASN_API asn_aznadmsvc_t : public qb_asnbase {
public:
    qbasnUTF8String name{security};
    qb_asn_sequenceof<qbasnUTF8String> texts{security};
    QB_RECORD_CLASS(asn_aznadmsvc_t, aznadmsvc_s_t)
};

class QBASN_API asn_aznlocal_svr_t : public qb_asnbase {
public:
    qbasnUTF8String text1{security};
    qbasnUTF8String text2{security};
    qbasnUTF8String text3{security};
    qbasnUTF8String text4{security};
    qbasn_integer number1{security};
    qbasn_integer number2{security};
    qbasn_integer number3{security};
    qbasn_integer number4{security};
    qb_asn_sequenceof<asn_aznadmsvc_t> services{security};
    asn_attrlist_t attrs{security};
    QB_RECORD_CLASS(asn_aznlocal_svr_t, aznlocal_svr_s_t)
};

QB_RECORD_FUNCTIONS(aznadmsvc_s_t)
QB_RECORD_FUNCTIONS(aznlocal_svr_s_t)

#endif
