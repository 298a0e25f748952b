// tools/qbasn/types.cpp - `qbasn types`.
#include "tools/qbasn/types.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

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

namespace {

std::string lower(std::string s) {
    for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

// The three names a record answers to.
std::vector<std::string> names_of(const qb_record_info& info) {
    return {info.flat_name, info.name, qbflat::short_form(info.flat_name)};
}

// distance: the edit distance of two names (insertions, deletions,
// substitutions), for suggestions.
size_t distance(const std::string& a, const std::string& b) {
    std::vector<size_t> row(b.size() + 1);
    for (size_t j = 0; j <= b.size(); ++j) row[j] = j;
    for (size_t i = 1; i <= a.size(); ++i) {
        size_t diagonal = row[0];
        row[0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            const size_t up = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, diagonal + (a[i - 1] == b[j - 1] ? 0 : 1)});
            diagonal = up;
        }
    }
    return row[b.size()];
}

}  // namespace

const qb_record_info* lookup_record(const std::string& name) {
    if (name.find('\0') != std::string::npos) return nullptr;  // the C lookup would cut it short
    if (const qb_record_info* exact = qb_record_find(name.c_str())) return exact;
    // Names differ only in case nowhere in the table, so a name in another
    // case names at most one record.
    size_t n = 0;
    const qb_record_info* const* records = qb_record_list(&n);
    const std::string wanted = lower(name);
    for (size_t i = 0; i < n; ++i)
        for (const std::string& candidate : names_of(*records[i]))
            if (lower(candidate) == wanted) return records[i];
    return nullptr;
}

std::string suggest_record(const std::string& name) {
    size_t n = 0;
    const qb_record_info* const* records = qb_record_list(&n);
    const std::string wanted = lower(name);
    std::string best;
    size_t best_distance = SIZE_MAX;
    for (size_t i = 0; i < n; ++i) {
        for (const std::string& candidate : names_of(*records[i])) {
            const std::string c = lower(candidate);
            // Close by spelling (at most a third of the name wrong), or the
            // name is the start of a record's name.
            size_t d = distance(wanted, c);
            if (d * 3 > std::max(wanted.size(), c.size()) && c.rfind(wanted, 0) != 0) continue;
            if (c.rfind(wanted, 0) == 0) d = std::min(d, c.size() - wanted.size());
            if (d < best_distance) {
                best_distance = d;
                best = qbflat::short_form(records[i]->flat_name);
            }
        }
    }
    return best;
}

const qb_record_info& find_record(const std::string& name) {
    const qb_record_info* info = lookup_record(name);
    if (info == nullptr) {
        const std::string near = suggest_record(name);
        input_error("unknown record type '" + name + "' (" + (near.empty() ? std::string() : "did you mean " + near + "? ") +
                    "qbasn types lists them)");
    }
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
    std::fprintf(out, "%-32s %-28s %s\n", "FLAT NAME", "TYPE NAME", "SHORT FORM");
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
