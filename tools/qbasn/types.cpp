// tools/qbasn/types.cpp - `qbasn types`.
#include "tools/qbasn/types.h"

#include <cstring>

#include "tools/flat/record_tree.h"
#include "tools/qbasn/common.h"
#include "tools/qbasn/json_record.h"

namespace qbtool {

namespace {

// flat_element: the flat name of a field's nested or element record.
std::string flat_element(const qb_field_info& f) {
    const qb_record_info* e = f.element != nullptr ? f.element() : nullptr;
    return e != nullptr ? e->flat_name : "?";
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
        case qb_field_record: return flat_element(f) + " " + name + ";";
        case qb_field_optional_record: return flat_element(f) + "* " + name + ";";
        case qb_field_record_list: return count_decl(f) + flat_element(f) + "* " + name + ";";
        case qb_field_record_ptr_list: return count_decl(f) + flat_element(f) + "** " + name + ";";
        case qb_field_text_list: return count_decl(f) + "char** " + name + ";";
        case qb_field_int_list: return count_decl(f) + "int* " + name + ";";
        case qb_field_record_slots: return flat_element(f) + "* " + name + "[" + std::to_string(f.size) + "];";
    }
    return "?";
}

}  // namespace

const qb_record_info& find_record(const std::string& name) {
    const qb_record_info* info = qb_record_find(name.c_str());
    if (info == nullptr) input_error("unknown record type '" + name + "' (qbasn types lists them)");
    return *info;
}

const qb_record_info& untyped_record(unsigned object_type) {
    const char* flat_name = object_type == kCertRequestType ? "cert_request_in" : "kxobj_update_list_s_t";
    const qb_record_info* info = qb_record_find(flat_name);
    if (info == nullptr)
        input_error("object type " + std::to_string(object_type) + " (" + flat_name + ") is not described by this library");
    return *info;
}

void list_types(FILE* out) {
    size_t n = 0;
    const qb_record_info* const* records = qb_record_list(&n);
    for (size_t i = 0; i < n; ++i)
        std::fprintf(out, "%-32s %-28s %s\n", records[i]->flat_name, records[i]->name, qbflat::short_form(records[i]->flat_name).c_str());
}

void describe_type(FILE* out, const qb_record_info& info) {
    std::fprintf(out, "%s (type name %s, short form %s)\n\n", info.flat_name, info.name, qbflat::short_form(info.flat_name).c_str());
    std::fputs(qbflat::definition_of(info).c_str(), out);
    std::fprintf(out, "\nstruct %s {\n", info.flat_name);
    for (size_t i = 0; i < info.field_count; ++i) std::fprintf(out, "    %s\n", c_field(info.fields[i]).c_str());
    std::fputs("};\n\nJSON:\n", out);
    write_json_shape(out, info);
}

}  // namespace qbtool
