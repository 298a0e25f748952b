// asn1/asnrecord.cpp - the table of every record the library knows.
#include "asn1/asnrecord.h"

#include <cstring>

#include "base_idls/attrlist_asn.h"

namespace {

// The records in the library's order (that of the typed entry points).
const qb_record_info* const* all_records(size_t& count) {
    static const qb_record_info* const records[] = {
        &asn_uuid_t::reflect(),
        &asn_value_t::reflect(),
        &asn_attr_t::reflect(),
        &asn_attrlist_t::reflect(),
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
