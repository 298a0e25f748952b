// base_idls/aznserver_asn.h - replica-database fetch, authorization-server
// start-up and administration, credential fetching, password handling and the
// extended decision call: request (_in) and reply (_out) records.
//
// The schema names most of their integers and texts only by kind; where it
// gives no meaning they are numbered in wire order.
#ifndef QBASN_BASE_IDLS_AZNSERVER_ASN_H
#define QBASN_BASE_IDLS_AZNSERVER_ASN_H

#include "asn1/asnrecord.h"
#include "base_idls/attrlist_asn.h"
#include "base_idls/kxsvr_enc_asn.h"
#include "base_idls/principal_asn.h"

// ---- flat records ----

// dbr_get_db_in_s_t: a replica's request for the database.
struct dbr_get_db_in_s_t {
    int number;
};

// dbr_get_db_out_s_t: the reply to a replica's request.
struct dbr_get_db_out_s_t {
    int number1;
    int number2;
    int number3;
};

// aznserver_init_s_t: an authorization server's start-up.
struct aznserver_init_s_t {
    char* text;
    int number1;
    int number2;
    int number3;
    int number4;
    unsigned int service_count;
    aznadmsvc_s_t* services;  // `service_count` contiguous services
    attrlist_s_t attrs;
};

// aznadmin_getobject_in_s_t: the caller's chain, three texts, attributes.
struct aznadmin_getobject_in_s_t {
    kxprincipal_chain_s_t caller;
    char* text1;
    char* text2;
    char* text3;
    attrlist_s_t attrs;
};

// aznadmin_getobject_out_s_t: attributes and a status.
struct aznadmin_getobject_out_s_t {
    attrlist_s_t attrs;
    int status;
};

// aznadmin_getobjectlist_in_s_t: the caller's chain, three texts, attributes.
struct aznadmin_getobjectlist_in_s_t {
    kxprincipal_chain_s_t caller;
    char* text1;
    char* text2;
    char* text3;
    attrlist_s_t attrs;
};

// aznadmin_getobjectlist_out_s_t: attributes and a status.
struct aznadmin_getobjectlist_out_s_t {
    attrlist_s_t attrs;
    int status;
};

// aznadmin_performtask_in_s_t: the caller's chain, two texts, attributes.
struct aznadmin_performtask_in_s_t {
    kxprincipal_chain_s_t caller;
    char* text1;
    char* text2;
    attrlist_s_t attrs;
};

// aznadmin_performtask_out_s_t: attributes and a status.
struct aznadmin_performtask_out_s_t {
    attrlist_s_t attrs;
    int status;
};

// aznadmin_gettasklist_in_s_t: the caller's chain, a text, attributes.
struct aznadmin_gettasklist_in_s_t {
    kxprincipal_chain_s_t caller;
    char* text;
    attrlist_s_t attrs;
};

// aznadmin_gettasklist_out_s_t: attributes and a status.
struct aznadmin_gettasklist_out_s_t {
    attrlist_s_t attrs;
    int status;
};

// azn_id_get_creds_in_s_t: a request for credentials: two texts, attributes.
struct azn_id_get_creds_in_s_t {
    char* text1;
    char* text2;
    attrlist_s_t attrs;
};

// azn_id_get_creds_out_s_t: the credentials as a principal chain, an integer.
struct azn_id_get_creds_out_s_t {
    kxprincipal_chain_s_t creds;
    int number;
};

// azn_util_password_in_s_t: a password request, two texts.
struct azn_util_password_in_s_t {
    char* text1;
    char* text2;
};

// azn_util_password_out_s_t: the reply: a text, attributes, an integer.
struct azn_util_password_out_s_t {
    char* text;
    attrlist_s_t attrs;
    int number;
};

// azn_decision_ext_in_s_t: the caller's chain, two texts, two attribute lists.
struct azn_decision_ext_in_s_t {
    kxprincipal_chain_s_t caller;
    char* text1;
    char* text2;
    attrlist_s_t attrs1;
    attrlist_s_t attrs2;
};

// azn_decision_ext_out_s_t: an integer, attributes, an integer.
struct azn_decision_ext_out_s_t {
    int number1;
    attrlist_s_t attrs;
    int number2;
};

// ---- record classes ----

class QBASN_API asn_dbr_get_db_in_t : public qb_asnbase {
public:
    qbasn_integer number{security};
    QB_RECORD_CLASS(asn_dbr_get_db_in_t, dbr_get_db_in_s_t)
};

class QBASN_API asn_dbr_get_db_out_t : public qb_asnbase {
public:
    qbasn_integer number1{security};
    qbasn_integer number2{security};
    qbasn_integer number3{security};
    QB_RECORD_CLASS(asn_dbr_get_db_out_t, dbr_get_db_out_s_t)
};

class QBASN_API asn_aznserver_init_t : public qb_asnbase {
public:
    qbasnUTF8String text{security};
    qbasn_integer number1{security};
    qbasn_integer number2{security};
    qbasn_integer number3{security};
    qbasn_integer number4{security};
    qb_asn_sequenceof<asn_aznadmsvc_t> services{security};
    asn_attrlist_t attrs{security};
    QB_RECORD_CLASS(asn_aznserver_init_t, aznserver_init_s_t)
};

class QBASN_API asn_aznadmin_getobject_in_t : public qb_asnbase {
public:
    asn_kxprincipal_chain_t caller{security};
    qbasnUTF8String text1{security};
    qbasnUTF8String text2{security};
    qbasnUTF8String text3{security};
    asn_attrlist_t attrs{security};
    QB_RECORD_CLASS(asn_aznadmin_getobject_in_t, aznadmin_getobject_in_s_t)
};

class QBASN_API asn_aznadmin_getobject_out_t : public qb_asnbase {
public:
    asn_attrlist_t attrs{security};
    qbasn_integer status{security};
    QB_RECORD_CLASS(asn_aznadmin_getobject_out_t, aznadmin_getobject_out_s_t)
};

class QBASN_API asn_aznadmin_getobjectlist_in_t : public qb_asnbase {
public:
    asn_kxprincipal_chain_t caller{security};
    qbasnUTF8String text1{security};
    qbasnUTF8String text2{security};
    qbasnUTF8String text3{security};
    asn_attrlist_t attrs{security};
    QB_RECORD_CLASS(asn_aznadmin_getobjectlist_in_t, aznadmin_getobjectlist_in_s_t)
};

class QBASN_API asn_aznadmin_getobjectlist_out_t : public qb_asnbase {
public:
    asn_attrlist_t attrs{security};
    qbasn_integer status{security};
    QB_RECORD_CLASS(asn_aznadmin_getobjectlist_out_t, aznadmin_getobjectlist_out_s_t)
};

class QBASN_API asn_aznadmin_performtask_in_t : public qb_asnbase {
public:
    asn_kxprincipal_chain_t caller{security};
    qbasnUTF8String text1{security};
    qbasnUTF8String text2{security};
    asn_attrlist_t attrs{security};
    QB_RECORD_CLASS(asn_aznadmin_performtask_in_t, aznadmin_performtask_in_s_t)
};

class QBASN_API asn_aznadmin_performtask_out_t : public qb_asnbase {
public:
    asn_attrlist_t attrs{security};
    qbasn_integer status{security};
    QB_RECORD_CLASS(asn_aznadmin_performtask_out_t, aznadmin_performtask_out_s_t)
};

class QBASN_API asn_aznadmin_gettasklist_in_t : public qb_asnbase {
public:
    asn_kxprincipal_chain_t caller{security};
    qbasnUTF8String text{security};
    asn_attrlist_t attrs{security};
    QB_RECORD_CLASS(asn_aznadmin_gettasklist_in_t, aznadmin_gettasklist_in_s_t)
};

class QBASN_API asn_aznadmin_gettasklist_out_t : public qb_asnbase {
public:
    asn_attrlist_t attrs{security};
    qbasn_integer status{security};
    QB_RECORD_CLASS(asn_aznadmin_gettasklist_out_t, aznadmin_gettasklist_out_s_t)
};

class QBASN_API asn_azn_id_get_creds_in_t : public qb_asnbase {
public:
    qbasnUTF8String text1{security};
    qbasnUTF8String text2{security};
    asn_attrlist_t attrs{security};
    QB_RECORD_CLASS(asn_azn_id_get_creds_in_t, azn_id_get_creds_in_s_t)
};

class QBASN_API asn_azn_id_get_creds_out_t : public qb_asnbase {
public:
    asn_kxprincipal_chain_t creds{security};
    qbasn_integer number{security};
    QB_RECORD_CLASS(asn_azn_id_get_creds_out_t, azn_id_get_creds_out_s_t)
};

class QBASN_API asn_azn_util_password_in_t : public qb_asnbase {
public:
    qbasnUTF8String text1{security};
    qbasnUTF8String text2{security};
    QB_RECORD_CLASS(asn_azn_util_password_in_t, azn_util_password_in_s_t)
};

class QBASN_API asn_azn_util_password_out_t : public qb_asnbase {
public:
    qbasnUTF8String text{security};
    asn_attrlist_t attrs{security};
    qbasn_integer number{security};
    QB_RECORD_CLASS(asn_azn_util_password_out_t, azn_util_password_out_s_t)
};

class QBASN_API asn_azn_decision_ext_in_t : public qb_asnbase {
public:
    asn_kxprincipal_chain_t caller{security};
    qbasnUTF8String text1{security};
    qbasnUTF8String text2{security};
    asn_attrlist_t attrs1{security};
    asn_attrlist_t attrs2{security};
    QB_RECORD_CLASS(asn_azn_decision_ext_in_t, azn_decision_ext_in_s_t)
};

class QBASN_API asn_azn_decision_ext_out_t : public qb_asnbase {
public:
    qbasn_integer number1{security};
    asn_attrlist_t attrs{security};
    qbasn_integer number2{security};
    QB_RECORD_CLASS(asn_azn_decision_ext_out_t, azn_decision_ext_out_s_t)
};

QB_RECORD_FUNCTIONS(dbr_get_db_in_s_t)
QB_RECORD_FUNCTIONS(dbr_get_db_out_s_t)
QB_RECORD_FUNCTIONS(aznserver_init_s_t)
QB_RECORD_FUNCTIONS(aznadmin_getobject_in_s_t)
QB_RECORD_FUNCTIONS(aznadmin_getobject_out_s_t)
QB_RECORD_FUNCTIONS(aznadmin_getobjectlist_in_s_t)
QB_RECORD_FUNCTIONS(aznadmin_getobjectlist_out_s_t)
QB_RECORD_FUNCTIONS(aznadmin_performtask_in_s_t)
QB_RECORD_FUNCTIONS(aznadmin_performtask_out_s_t)
QB_RECORD_FUNCTIONS(aznadmin_gettasklist_in_s_t)
QB_RECORD_FUNCTIONS(aznadmin_gettasklist_out_s_t)
QB_RECORD_FUNCTIONS(azn_id_get_creds_in_s_t)
QB_RECORD_FUNCTIONS(azn_id_get_creds_out_s_t)
QB_RECORD_FUNCTIONS(azn_util_password_in_s_t)
QB_RECORD_FUNCTIONS(azn_util_password_out_s_t)
QB_RECORD_FUNCTIONS(azn_decision_ext_in_s_t)
QB_RECORD_FUNCTIONS(azn_decision_ext_out_s_t)

#endif
