// base_idls/aznserver_asn.cpp - replica-database fetch, authorization-server
// start-up and administration, credential fetching, password handling and the
// extended decision call.
//
// The 16-character type-name field cuts several record names to the same text;
// the type name is for dumps only, never on the wire.
// Deliberate: records whose cut names coincide (the four "aznadmin_getobje") keep sharing them.
#include "base_idls/aznserver_asn.h"

#include "asn1/internal/record.h"

QB_RECORD_SOURCE("base_idls/aznserver_asn")

// dbr_get_db_in_t: SEQUENCE { INTEGER }
QB_RECORD(asn_dbr_get_db_in_t, dbr_get_db_in_s_t, "dbr_get_db_in_t",
          QB_INT(number))

// dbr_get_db_out_t: SEQUENCE { INTEGER, INTEGER, INTEGER }
QB_RECORD(asn_dbr_get_db_out_t, dbr_get_db_out_s_t, "dbr_get_db_out_t",
          QB_INT(number1),
          QB_INT(number2),
          QB_INT(number3))

// aznserver_init_t: SEQUENCE { UTF8String, 4 x INTEGER, SEQUENCE OF aznadmsvc_t, attrlist_t }
QB_RECORD(asn_aznserver_init_t, aznserver_init_s_t, "aznserver_init_t",
          QB_TEXT(text),
          QB_INT(number1),
          QB_INT(number2),
          QB_INT(number3),
          QB_INT(number4),
          QB_LIST(service_count, services),
          QB_RECORD_MEMBER(attrs))

// aznadmin_getobject_in_t: SEQUENCE { kxprincipal_chain_t, 3 x UTF8String, attrlist_t }
QB_RECORD(asn_aznadmin_getobject_in_t, aznadmin_getobject_in_s_t, "aznadmin_getobject_in_t",
          QB_RECORD_MEMBER(caller),
          QB_TEXT(text1),
          QB_TEXT(text2),
          QB_TEXT(text3),
          QB_RECORD_MEMBER(attrs))

// aznadmin_getobject_out_t: SEQUENCE { attrlist_t, INTEGER }
QB_RECORD(asn_aznadmin_getobject_out_t, aznadmin_getobject_out_s_t, "aznadmin_getobject_out_t",
          QB_RECORD_MEMBER(attrs),
          QB_INT(status))

// aznadmin_getobjectlist_in_t: SEQUENCE { kxprincipal_chain_t, 3 x UTF8String, attrlist_t }
QB_RECORD(asn_aznadmin_getobjectlist_in_t, aznadmin_getobjectlist_in_s_t, "aznadmin_getobjectlist_in_t",
          QB_RECORD_MEMBER(caller),
          QB_TEXT(text1),
          QB_TEXT(text2),
          QB_TEXT(text3),
          QB_RECORD_MEMBER(attrs))

// aznadmin_getobjectlist_out_t: SEQUENCE { attrlist_t, INTEGER }
QB_RECORD(asn_aznadmin_getobjectlist_out_t, aznadmin_getobjectlist_out_s_t, "aznadmin_getobjectlist_out_t",
          QB_RECORD_MEMBER(attrs),
          QB_INT(status))

// aznadmin_performtask_in_t: SEQUENCE { kxprincipal_chain_t, 2 x UTF8String, attrlist_t }
QB_RECORD(asn_aznadmin_performtask_in_t, aznadmin_performtask_in_s_t, "aznadmin_performtask_in_t",
          QB_RECORD_MEMBER(caller),
          QB_TEXT(text1),
          QB_TEXT(text2),
          QB_RECORD_MEMBER(attrs))

// aznadmin_performtask_out_t: SEQUENCE { attrlist_t, INTEGER }
QB_RECORD(asn_aznadmin_performtask_out_t, aznadmin_performtask_out_s_t, "aznadmin_performtask_out_t",
          QB_RECORD_MEMBER(attrs),
          QB_INT(status))

// aznadmin_gettasklist_in_t: SEQUENCE { kxprincipal_chain_t, UTF8String, attrlist_t }
QB_RECORD(asn_aznadmin_gettasklist_in_t, aznadmin_gettasklist_in_s_t, "aznadmin_gettasklist_in_t",
          QB_RECORD_MEMBER(caller),
          QB_TEXT(text),
          QB_RECORD_MEMBER(attrs))

// aznadmin_gettasklist_out_t: SEQUENCE { attrlist_t, INTEGER }
QB_RECORD(asn_aznadmin_gettasklist_out_t, aznadmin_gettasklist_out_s_t, "aznadmin_gettasklist_out_t",
          QB_RECORD_MEMBER(attrs),
          QB_INT(status))

// azn_id_get_creds_in_t: SEQUENCE { UTF8String, UTF8String, attrlist_t }
QB_RECORD(asn_azn_id_get_creds_in_t, azn_id_get_creds_in_s_t, "azn_id_get_creds_in_t",
          QB_TEXT(text1),
          QB_TEXT(text2),
          QB_RECORD_MEMBER(attrs))

// azn_id_get_creds_out_t: SEQUENCE { kxprincipal_chain_t, INTEGER }
QB_RECORD(asn_azn_id_get_creds_out_t, azn_id_get_creds_out_s_t, "azn_id_get_creds_out_t",
          QB_RECORD_MEMBER(creds),
          QB_INT(number))

// azn_util_password_in_t: SEQUENCE { UTF8String, UTF8String }
QB_RECORD(asn_azn_util_password_in_t, azn_util_password_in_s_t, "azn_util_password_in_t",
          QB_TEXT(text1),
          QB_TEXT(text2))

// azn_util_password_out_t: SEQUENCE { UTF8String, attrlist_t, INTEGER }
QB_RECORD(asn_azn_util_password_out_t, azn_util_password_out_s_t, "azn_util_password_out_t",
          QB_TEXT(text),
          QB_RECORD_MEMBER(attrs),
          QB_INT(number))

// azn_decision_ext_in_t: SEQUENCE { kxprincipal_chain_t, 2 x UTF8String, attrlist_t, attrlist_t }
QB_RECORD(asn_azn_decision_ext_in_t, azn_decision_ext_in_s_t, "azn_decision_ext_in_t",
          QB_RECORD_MEMBER(caller),
          QB_TEXT(text1),
          QB_TEXT(text2),
          QB_RECORD_MEMBER(attrs1),
          QB_RECORD_MEMBER(attrs2))

// azn_decision_ext_out_t: SEQUENCE { INTEGER, attrlist_t, INTEGER }
QB_RECORD(asn_azn_decision_ext_out_t, azn_decision_ext_out_s_t, "azn_decision_ext_out_t",
          QB_INT(number1),
          QB_RECORD_MEMBER(attrs),
          QB_INT(number2))
