// tools/record_docs.cpp - writes docs/record-types.md from the reflection table.
//
// Every record's ASN.1 definition and flat record come from the same table
// the library encodes with (the members' ASN.1 types through the same
// function the tool's definitions use), so the document cannot drift from
// the code. A test compares the checked-in file with this program's output; regenerate
// with scripts/gen-docs.sh.
#include <cstdio>
#include <string>

#include "qbasn.h"
#include "tools/flat/record_tree.h"

namespace {

std::string count_type(const qb_field_info& f) { return f.signed_count ? "int" : "unsigned int"; }

// The flat-record declaration of one field, as C.
std::string c_field(const qb_field_info& f) {
    const char* element = f.element != nullptr ? f.element()->flat_name : "";
    const std::string name = f.name;
    switch (f.kind) {
        case qb_field_int: return "int " + name + ";";
        case qb_field_uint: return "unsigned int " + name + ";";
        case qb_field_long: return "long " + name + ";";
        case qb_field_ushort: return "unsigned short " + name + ";";
        case qb_field_uchar: return "unsigned char " + name + ";";
        case qb_field_text:
        case qb_field_text_octets: return "char* " + name + ";";
        case qb_field_octets: return "unsigned int " + std::string(f.count_name ? f.count_name : "length") + "; unsigned char* " + name + ";";
        case qb_field_fixed_octets: return "unsigned char " + name + "[" + std::to_string(f.size) + "];";
        case qb_field_record: return std::string(element) + " " + name + ";";
        case qb_field_optional_record: return std::string(element) + "* " + name + ";";
        case qb_field_record_list: return count_type(f) + " " + (f.count_name ? f.count_name : "count") + "; " + element + "* " + name + ";";
        case qb_field_record_ptr_list: return count_type(f) + " " + (f.count_name ? f.count_name : "count") + "; " + element + "** " + name + ";";
        case qb_field_text_list: return count_type(f) + " <count>; char** " + name + ";";
        case qb_field_int_list: return count_type(f) + " <count>; int* " + name + ";";
        case qb_field_record_slots:
            return std::string(element) + "* " + name + "[" + std::to_string(f.size) + "];";
    }
    return "?";
}

}  // namespace

int main() {
    size_t n = 0;
    const qb_record_info* const* records = qb_record_list(&n);
    std::printf("# Record types\n\n");
    std::printf("Generated from the library's reflection table by `tools/record_docs.cpp`\n");
    std::printf("(regenerate with `scripts/gen-docs.sh`; a test keeps this file current).\n");
    std::printf("Every record travels as a SEQUENCE behind the envelope 04, version, AC, DC.\n\n");
    for (size_t i = 0; i < n; ++i) {
        const qb_record_info& r = *records[i];
        std::printf("## %s\n\n", r.flat_name);
        std::printf("```\n%s ::= SEQUENCE {\n", r.name);
        if (r.leading_version) std::printf("    version INTEGER (always 1, no flat field),\n");
        for (size_t k = 0; k < r.field_count; ++k) {
            const qb_field_info& f = r.fields[k];
            std::printf("    %s %s%s%s\n", f.name, qbflat::asn1_type_of(f).c_str(), f.optional ? " OPTIONAL" : "",
                        k + 1 < r.field_count ? "," : "");
        }
        std::printf("}\n\nstruct %s {\n", r.flat_name);
        for (size_t k = 0; k < r.field_count; ++k) std::printf("    %s\n", c_field(r.fields[k]).c_str());
        std::printf("};\n```\n\n");
    }
    return 0;
}
