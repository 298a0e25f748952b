// tools/record_docs.cpp - writes docs/record-types.md from the reflection table.
//
// Every record's ASN.1 definition and flat record come from the same table
// the library encodes with, so the document cannot drift from the code. A
// test compares the checked-in file with this program's output; regenerate
// with scripts/gen-docs.sh.
#include <cstdio>
#include <string>

#include "qbasn.h"

namespace {

std::string asn1_type(const qb_field_info& f) {
    const char* element = f.element != nullptr ? f.element()->name : "";
    switch (f.kind) {
        case qb_field_int:
        case qb_field_uint:
        case qb_field_long:
        case qb_field_ushort:
        case qb_field_uchar:
            return "INTEGER";
        case qb_field_text:
            return "UTF8String";
        case qb_field_octets:
        case qb_field_text_octets:
            return "OCTET STRING";
        case qb_field_fixed_octets:
            return "OCTET STRING (SIZE (" + std::to_string(f.size) + "))";
        case qb_field_record:
            return element;
        case qb_field_optional_record:
            return std::string(element);
        case qb_field_record_list:
        case qb_field_record_ptr_list:
            return std::string("SEQUENCE OF ") + element;
        case qb_field_text_list:
            return "SEQUENCE OF UTF8String";
        case qb_field_int_list:
            return "SEQUENCE OF INTEGER";
        case qb_field_record_slots:
            return std::string("SEQUENCE OF CHOICE { NULL, ") + element + " }";
    }
    return "?";
}

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
            std::printf("    %s %s%s%s\n", f.name, asn1_type(f).c_str(), f.optional ? " OPTIONAL" : "",
                        k + 1 < r.field_count ? "," : "");
        }
        std::printf("}\n\nstruct %s {\n", r.flat_name);
        for (size_t k = 0; k < r.field_count; ++k) std::printf("    %s\n", c_field(r.fields[k]).c_str());
        std::printf("};\n```\n\n");
    }
    return 0;
}
