// tools/qbasn/types.cpp - `qbasn types`.
#include "tools/qbasn/types.h"

#include <cstring>

#include "tools/qbasn/common.h"
#include "tools/qbasn/json_record.h"

namespace qbtool {

namespace {

// short_form: the flat name without "_s_t" or "_t".
std::string short_form(const char* flat_name) {
    std::string s = flat_name;
    for (const char* suffix : {"_s_t", "_t"}) {
        const size_t n = std::strlen(suffix);
        if (s.size() > n && s.compare(s.size() - n, n, suffix) == 0) return s.substr(0, s.size() - n);
    }
    return s;
}

std::string element_name(const qb_field_info& f, bool flat) {
    const qb_record_info* e = f.element != nullptr ? f.element() : nullptr;
    if (e == nullptr) return "?";
    return flat ? e->flat_name : e->name;
}

std::string asn1_type(const qb_field_info& f) {
    switch (f.kind) {
        case qb_field_int:
        case qb_field_uint:
        case qb_field_long:
        case qb_field_ushort:
        case qb_field_uchar: return "INTEGER";
        case qb_field_text: return "UTF8String";
        case qb_field_octets:
        case qb_field_text_octets: return "OCTET STRING";
        case qb_field_fixed_octets: return "OCTET STRING (SIZE (" + std::to_string(f.size) + "))";
        case qb_field_record:
        case qb_field_optional_record: return element_name(f, false);
        case qb_field_record_list:
        case qb_field_record_ptr_list: return "SEQUENCE OF " + element_name(f, false);
        case qb_field_text_list: return "SEQUENCE OF UTF8String";
        case qb_field_int_list: return "SEQUENCE OF INTEGER";
        case qb_field_record_slots: return "SEQUENCE OF CHOICE { NULL, " + element_name(f, false) + " }";
    }
    return "?";
}

std::string count_decl(const qb_field_info& f) {
    return std::string(f.signed_count ? "int " : "unsigned int ") + (f.count_name != nullptr ? f.count_name : "count") + "; ";
}

std::string c_field(const qb_field_info& f) {
    const std::string name = f.name;
    switch (f.kind) {
        case qb_field_int: return "int " + name + ";";
        case qb_field_uint: return "unsigned int " + name + ";";
        case qb_field_long: return "long " + name + ";";
        case qb_field_ushort: return "unsigned short " + name + ";";
        case qb_field_uchar: return "unsigned char " + name + ";";
        case qb_field_text:
        case qb_field_text_octets: return "char* " + name + ";";
        case qb_field_octets:
            return std::string("unsigned int ") + (f.count_name != nullptr ? f.count_name : "length") + "; unsigned char* " + name + ";";
        case qb_field_fixed_octets: return "unsigned char " + name + "[" + std::to_string(f.size) + "];";
        case qb_field_record: return element_name(f, true) + " " + name + ";";
        case qb_field_optional_record: return element_name(f, true) + "* " + name + ";";
        case qb_field_record_list: return count_decl(f) + element_name(f, true) + "* " + name + ";";
        case qb_field_record_ptr_list: return count_decl(f) + element_name(f, true) + "** " + name + ";";
        case qb_field_text_list: return count_decl(f) + "char** " + name + ";";
        case qb_field_int_list: return count_decl(f) + "int* " + name + ";";
        case qb_field_record_slots: return element_name(f, true) + "* " + name + "[" + std::to_string(f.size) + "];";
    }
    return "?";
}

}  // namespace

const qb_record_info& find_record(const std::string& name) {
    const qb_record_info* info = qb_record_find(name.c_str());
    if (info == nullptr) input_error("unknown record type '" + name + "' (qbasn types lists them)");
    return *info;
}

void list_types(FILE* out) {
    size_t n = 0;
    const qb_record_info* const* records = qb_record_list(&n);
    for (size_t i = 0; i < n; ++i)
        std::fprintf(out, "%-32s %-28s %s\n", records[i]->flat_name, records[i]->name, short_form(records[i]->flat_name).c_str());
}

void describe_type(FILE* out, const qb_record_info& info) {
    std::fprintf(out, "%s (type name %s, short form %s)\n\n", info.flat_name, info.name, short_form(info.flat_name).c_str());
    std::fprintf(out, "%s ::= SEQUENCE {\n", info.name);
    for (size_t i = 0; i < info.field_count; ++i) {
        const qb_field_info& f = info.fields[i];
        std::fprintf(out, "    %s %s%s%s\n", f.name, asn1_type(f).c_str(), f.optional ? " OPTIONAL" : "",
                     i + 1 < info.field_count ? "," : "");
    }
    std::fprintf(out, "}\n\nstruct %s {\n", info.flat_name);
    for (size_t i = 0; i < info.field_count; ++i) std::fprintf(out, "    %s\n", c_field(info.fields[i]).c_str());
    std::fputs("};\n\nJSON:\n", out);
    write_json_shape(out, info);
}

}  // namespace qbtool
