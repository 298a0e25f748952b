// asn1/asnrecord.cpp - the table of every record the library knows.
#include "asn1/asnrecord.h"

#include <cstring>

#include "asn1/asn_kxobjs.h"
#include "base_idls/aclidl_asn.h"
#include "base_idls/actionidl_asn.h"
#include "base_idls/attrlist_asn.h"
#include "base_idls/aznserver_asn.h"
#include "base_idls/kxaclobjs_asn.h"
#include "base_idls/kxcreds_asn.h"
#include "base_idls/kxobj_asn.h"
#include "base_idls/kxpopobjs_asn.h"
#include "base_idls/kxsvr_enc_asn.h"
#include "base_idls/namevalue_asn.h"
#include "base_idls/pobj_asn.h"
#include "base_idls/principal_asn.h"
#include "base_idls/remotelog_asn.h"
#include "base_idls/vqauditidl_asn.h"

namespace {

// The records in the library's order (that of the typed entry points).
const qb_record_info* const* all_records(size_t& count) {
    static const qb_record_info* const records[] = {
        &asn_uuid_t::reflect(),
        &asn_value_t::reflect(),
        &asn_attr_t::reflect(),
        &asn_attrlist_t::reflect(),
        &asn_kxobj_t::reflect(),
        &asn_kxobj_list_t::reflect(),
        &asn_kxobj_name_list_t::reflect(),
        &asn_kxobj_db_header_t::reflect(),
        &asn_aznadmsvc_t::reflect(),
        &asn_aznlocal_svr_t::reflect(),
        &asn_pobj_t::reflect(),
        &asn_pobjspace_t::reflect(),
        &asn_azn_internal_pobj_t::reflect(),
        &asn_sec_id_t::reflect(),
        &asn_sec_id_pa_t::reflect(),
        &asn_kxprincipal_t::reflect(),
        &asn_kxprincipal_chain_t::reflect(),
        &asn_dbr_get_db_in_t::reflect(),
        &asn_dbr_get_db_out_t::reflect(),
        &asn_aznserver_init_t::reflect(),
        &asn_aznadmin_getobject_in_t::reflect(),
        &asn_aznadmin_getobject_out_t::reflect(),
        &asn_aznadmin_getobjectlist_in_t::reflect(),
        &asn_aznadmin_getobjectlist_out_t::reflect(),
        &asn_aznadmin_performtask_in_t::reflect(),
        &asn_aznadmin_performtask_out_t::reflect(),
        &asn_aznadmin_gettasklist_in_t::reflect(),
        &asn_aznadmin_gettasklist_out_t::reflect(),
        &asn_azn_id_get_creds_in_t::reflect(),
        &asn_azn_id_get_creds_out_t::reflect(),
        &asn_azn_util_password_in_t::reflect(),
        &asn_azn_util_password_out_t::reflect(),
        &asn_azn_decision_ext_in_t::reflect(),
        &asn_azn_decision_ext_out_t::reflect(),
        &asn_map_pobj_to_acl_t::reflect(),
        &asn_map_acl_to_pobj_t::reflect(),
        &asn_acl_permset_t::reflect(),
        &asn_acl_entry_t::reflect(),
        &asn_acl_ext_t::reflect(),
        &asn_kxaction_t::reflect(),
        &asn_kxaction_group_t::reflect(),
        &asn_kxaction_groups_t::reflect(),
        &asn_kxmap_pobj_to_pop_t::reflect(),
        &asn_kxtod_range_t::reflect(),
        &asn_kxaccess_times_t::reflect(),
        &asn_kxpop_ipauth_t::reflect(),
        &asn_kxpop_t::reflect(),
        &asn_kxmap_pop_to_pobj_t::reflect(),
        &asn_kxattr_t::reflect(),
        &asn_kxextattr_t::reflect(),
        &asn_kxextern_auth_t::reflect(),
        &asn_kxauthzn_db_t::reflect(),
        &asn_azn_creds_mod_in_t::reflect(),
        &asn_azn_creds_mod_out_t::reflect(),
        &asn_namevalue_t::reflect(),
        &asn_namevalueList_t::reflect(),
        &asn_RemoteLogRequest::reflect(),
        &asn_azn_get_entitlements_in_t::reflect(),
        &asn_azn_get_entitlements_out_t::reflect(),
        &asn_vqauditattribute_t::reflect(),
        &asn_vqauditelement_t::reflect(),
        &asn_vqauditevent_t::reflect(),
        // The object updates and certificate requests, served by the untyped entry points.
        &qb_asn_kxobj_update_t::reflect(),
        &qb_asn_kxobj_update_list_t::reflect(),
        &qb_asn_cert_request_in::reflect(),
    };
    count = sizeof records / sizeof records[0];
    return records;
}

}  // namespace

const qb_record_info* const* qb_record_list(size_t* count) {
    size_t n = 0;
    const qb_record_info* const* records = all_records(n);
    if (count != nullptr) *count = n;
    return records;
}

namespace {

// True when `flat` is `name` followed by one of the flat-record suffixes
// "_s_t" or "_t" (the short form of a record's name: "attrlist", "uuid").
bool is_short_form(const char* flat, const char* name) {
    const size_t n = std::strlen(name);
    if (n == 0 || std::strncmp(flat, name, n) != 0) return false;
    return std::strcmp(flat + n, "_s_t") == 0 || std::strcmp(flat + n, "_t") == 0;
}

}  // namespace

const qb_record_info* qb_record_find(const char* name) {
    if (name == nullptr) return nullptr;
    size_t n = 0;
    const qb_record_info* const* records = all_records(n);
    // Exact flat-record names first, then record type names, then short forms.
    for (size_t i = 0; i < n; ++i)
        if (std::strcmp(records[i]->flat_name, name) == 0) return records[i];
    for (size_t i = 0; i < n; ++i)
        if (std::strcmp(records[i]->name, name) == 0) return records[i];
    for (size_t i = 0; i < n; ++i)
        if (is_short_form(records[i]->flat_name, name)) return records[i];
    return nullptr;
}
