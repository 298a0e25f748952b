// tools/qbasn/schema.cpp - `qbasn schema`: one ASN.1 module with every record
// the library describes, written from the reflection table.
//
// The module is for other programs' ASN.1 compilers: with it they read and
// write the payload that follows the four-octet envelope. Names come from
// tools/flat/record_tree.h (module_reference, module_identifier,
// module_type_of); this file orders the types, checks that no two names
// collide and writes the text.
#include "tools/qbasn/schema.h"

#include <cstddef>
#include <cstring>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "asn1/asnrecord.h"
#include "tools/flat/record_tree.h"

namespace qbtool {

namespace {

constexpr const char* kModuleName = "QbasnWire";

// The module's header comment; the rules it states are those of
// module_reference, module_identifier and module_type_of. @VERSIONED@ stands
// for the list of the records with a leading version.
constexpr const char* kHeader =
    "-- qbasn-wire.asn: every record type of the qbasn library as it travels,\n"
    "-- in one ASN.1 module. Written by `qbasn schema` from the library's\n"
    "-- reflection table (the table the library encodes and decodes with);\n"
    "-- regenerate it rather than edit it.\n"
    "--\n"
    "-- A message is a four-octet envelope (04, a version octet, AC DC)\n"
    "-- followed by the BER encoding of one of these types: the module\n"
    "-- describes the octets after the envelope. The library writes definite\n"
    "-- lengths and minimal integers, so what it writes is also DER.\n"
    "--\n"
    "-- Tags: every member travels with the universal tag of its type. No\n"
    "-- member is tagged, so the tagging default has no effect; the header\n"
    "-- names EXPLICIT TAGS, the default of a module that names none, for the\n"
    "-- parsers that require one.\n"
    "--\n"
    "-- Names:\n"
    "--   type reference     the record's type name with its first letter\n"
    "--                      upper-cased and every '_' turned into '-'\n"
    "--                      (kxprincipal_t: Kxprincipal-t); the comment above\n"
    "--                      each type names the flat record (kxprincipal_s_t).\n"
    "--   member identifier  the flat record's field name with its first letter\n"
    "--                      lower-cased and every '_' turned into '-'\n"
    "--                      (time_low: time-low). C names hold no '-', so a\n"
    "--                      member names exactly one field; no record has two\n"
    "--                      fields, or a field and its version, that map to one\n"
    "--                      identifier (the generator checks).\n"
    "--   version            the first member of the records whose SEQUENCE\n"
    "--                      starts with an INTEGER version, always 1, that no\n"
    "--                      field of the flat record holds:\n"
    "@VERSIONED@"
    "--\n"
    "-- Values:\n"
    "--   INTEGER            every integer field (int, unsigned, long, short and\n"
    "--                      char words). The wire carries the field's 32-bit\n"
    "--                      value as a signed INTEGER: an unsigned 4294967295\n"
    "--                      travels as -1 and a long keeps its low 32 bits, so\n"
    "--                      no range is given.\n"
    "--   UTF8String         texts; a null text travels as the empty text.\n"
    "--   OCTET STRING       byte strings, and the texts that travel with their\n"
    "--                      terminating zero octet; an OPTIONAL one is absent\n"
    "--                      when the flat record holds no octets (length 0).\n"
    "--                      A fixed-size byte array carries its SIZE.\n"
    "--   SEQUENCE OF        lists, one element per entry of the flat record's\n"
    "--                      array.\n"
    "--   slot arrays        an array of record pointers with holes travels as\n"
    "--                      one entry per slot up to the last used one: a CHOICE\n"
    "--                      of 'empty' (NULL, an empty slot) and the record of\n"
    "--                      a used slot, named after the record's short form\n"
    "--                      ('kxaction' for Kxaction-t). The names say what a\n"
    "--                      decoded slot holds, and 'empty' reads as the null\n"
    "--                      pointer the flat record keeps there.\n"
    "--\n"
    "-- Order: every type comes after the types it refers to, in the library's\n"
    "-- order otherwise; a record that holds itself refers to its own type.\n"
    "\n";

std::string qualified(const qb_record_info& info, const qb_field_info& f) { return std::string(info.flat_name) + "." + f.name; }

// member_identifiers: the record's member identifiers in wire order, the
// leading version first; fails when two of them are the same.
std::vector<std::string> member_identifiers(const qb_record_info& info) {
    std::vector<std::string> ids;
    std::map<std::string, std::string> owner;  // identifier -> what it came from
    const auto add = [&](const std::string& id, const std::string& from) {
        const auto [it, fresh] = owner.emplace(id, from);
        if (!fresh)
            throw std::invalid_argument("schema: " + from + " and " + it->second + " both map to the member identifier '" + id + "'");
        ids.push_back(id);
    };
    if (info.leading_version != 0) add("version", std::string(info.flat_name) + "'s leading version");
    for (std::size_t i = 0; i < info.field_count; ++i) {
        const qb_field_info& f = info.fields[i];
        try {
            add(qbflat::module_identifier(f.name), qualified(info, f));
        } catch (const std::invalid_argument& e) {
            throw std::invalid_argument("schema: field " + qualified(info, f) + ": " + e.what());
        }
    }
    return ids;
}

// assignment: one type assignment, its flat record named in a comment above.
std::string assignment(const qb_record_info& info) {
    const std::vector<std::string> ids = member_identifiers(info);
    std::vector<std::string> members;
    if (info.leading_version != 0) members.push_back("version INTEGER");
    for (std::size_t i = 0; i < info.field_count; ++i) {
        const qb_field_info& f = info.fields[i];
        std::string type;
        try {
            type = qbflat::module_type_of(f);
        } catch (const std::invalid_argument& e) {
            throw std::invalid_argument("schema: field " + qualified(info, f) + ": " + e.what());
        }
        members.push_back(ids[members.size()] + " " + type + (f.optional != 0 ? " OPTIONAL" : ""));
    }
    std::string text = "-- " + std::string(info.flat_name) + "\n" + qbflat::module_reference(info) + " ::= SEQUENCE {";
    if (members.empty()) return text + "}\n";
    text += "\n";
    for (std::size_t i = 0; i < members.size(); ++i) text += "    " + members[i] + (i + 1 < members.size() ? ",\n" : "\n");
    return text + "}\n";
}

// dependency_order: the records in the library's order, except that a record
// the library lists after one that refers to it moves up to just before the
// first record that does (the records a record refers to come first, in the
// order of its fields). A cycle (a record that holds itself, directly or
// through others) is broken where the walk meets it again. For the current
// library this is its own order: every record is listed after those it holds.
class dependency_order {
public:
    explicit dependency_order(const std::vector<const qb_record_info*>& records) {
        for (const qb_record_info* info : records) visit(*info);
    }
    const std::vector<const qb_record_info*>& records() const { return order_; }

private:
    void visit(const qb_record_info& info) {
        if (!entered_.insert(&info).second) return;  // placed, or on the walk's path (a cycle)
        for (std::size_t i = 0; i < info.field_count; ++i) {
            const qb_field_info& f = info.fields[i];
            const qb_record_info* e = f.element != nullptr ? f.element() : nullptr;
            if (e != nullptr) visit(*e);
        }
        order_.push_back(&info);
    }

    std::set<const qb_record_info*> entered_;
    std::vector<const qb_record_info*> order_;
};

}  // namespace

void write_schema(FILE* out) {
    std::size_t n = 0;
    const qb_record_info* const* list = qb_record_list(&n);
    const std::vector<const qb_record_info*> records(list, list + n);

    // Type references must be distinct; a record reached only as an element
    // of another and missing from the list would still have to be written.
    std::map<std::string, const qb_record_info*> references;
    const dependency_order order(records);
    for (const qb_record_info* info : order.records()) {
        std::string ref;
        try {
            ref = qbflat::module_reference(*info);
        } catch (const std::invalid_argument& e) {
            throw std::invalid_argument(std::string("schema: record ") + info->flat_name + ": " + e.what());
        }
        const auto [it, fresh] = references.emplace(ref, info);
        if (!fresh)
            throw std::invalid_argument(std::string("schema: records ") + info->flat_name + " and " + it->second->flat_name +
                                        " both map to the type reference '" + ref + "'");
    }

    // The header, with the records that have a leading version listed, a few
    // flat names a line.
    std::string versioned;
    std::string line;
    for (const qb_record_info* info : order.records()) {
        if (info->leading_version == 0) continue;
        const std::string name = info->flat_name;
        if (!line.empty() && line.size() + 1 + name.size() > 72) {
            versioned += line + "\n";
            line.clear();
        }
        line += (line.empty() ? "--                      " : " ") + name;
    }
    if (!line.empty()) versioned += line + "\n";
    std::string text = kHeader;
    const std::size_t at = text.find("@VERSIONED@");
    text.replace(at, std::strlen("@VERSIONED@"), versioned);
    text += std::string(kModuleName) + " DEFINITIONS EXPLICIT TAGS ::= BEGIN\n";
    // Appended piece by piece: g++ 12 at -O3 warns (-Wrestrict, a false
    // positive) on "literal" + std::string&& here.
    for (const qb_record_info* info : order.records()) {
        text += '\n';
        text += assignment(*info);
    }
    text += "\nEND\n";
    std::fputs(text.c_str(), out);
}

}  // namespace qbtool
