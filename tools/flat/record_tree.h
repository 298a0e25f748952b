// tools/flat/record_tree.h - flat records to and from a generic tree of values,
// driven by the library's reflection table (asn1/asnrecord.h).
//
// The tree: a record is a map with one member per field, in wire order, named
// after the flat field; lists and slots are arrays; integers are numbers;
// texts, octet strings, nested records and absent members are the tree's own
// kinds of value:
//   int, unsigned, long, short, char words  integers in the word's range
//   texts                                   a text value, or null for a null pointer
//   octet strings                           octets; an absent optional one is null
//   fixed octet strings                     octets of exactly their size
//   nested records                          maps; an absent optional one is null
//   lists                                   arrays (the count is the array length)
//   slots                                   arrays of exactly `size` entries when
//                                           written, of up to `size` when read;
//                                           each null (empty slot) or a map
//
// Two trees use it: the qbasn tool's JSON (texts are strings, octets are hex
// strings) and the Python module (texts are str, octets are bytes). Each
// supplies a tree_builder (flat record out) and a tree_reader (flat record
// in); the walk over the record and every check on the values live here once.
#ifndef QBASN_TOOLS_FLAT_RECORD_TREE_H
#define QBASN_TOOLS_FLAT_RECORD_TREE_H

#include <cstddef>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "asn1/asnrecord.h"

namespace qbflat {

// The deepest nesting of maps and arrays a tree may have when it is read into
// a flat record (the library's own nesting bound). A deeper tree, or one that
// contains itself, is refused before it can exhaust the stack.
constexpr std::size_t kMaxTreeDepth = 256;

// ---- flat record -> tree ----

// tree_builder: receives a record as it is walked, depth first, in wire order.
// Every value is one call: integer, text, octets, null, or a begin/end pair
// around a record's members (each announced by member()) or a list's elements.
class tree_builder {
public:
    virtual ~tree_builder() = default;
    virtual void begin_record(const qb_record_info& info) = 0;
    virtual void member(const qb_field_info& field) = 0;  // the field whose value follows
    virtual void end_record() = 0;
    virtual void begin_list(std::size_t count) = 0;
    virtual void end_list() = 0;
    virtual void integer(long long value) = 0;
    virtual void text(std::span<const unsigned char> bytes) = 0;  // a text that is not a null pointer
    virtual void octets(std::span<const unsigned char> bytes) = 0;
    virtual void null() = 0;
};

// walk_record: the flat record `flat` of type `info`, value by value. A list
// whose array pointer is null is empty whatever its count; a negative signed
// count is none (as the library reads it).
void walk_record(const qb_record_info& info, const void* flat, tree_builder& out);

// ---- tree -> flat record ----

// fill_error: a value of the tree that cannot go into the flat record.
//   type     the value is of the wrong kind (a text where a number belongs)
//   value    the kind is right but the value is not (out of range, wrong size)
//   missing  a record lacks a field
// `path` names the value: "attrs[2].values[0].text", "" for the tree's root.
class fill_error : public std::runtime_error {
public:
    enum class kind { type, value, missing };
    fill_error(kind k, std::string path, const std::string& why);
    kind error_kind() const { return kind_; }
    const std::string& path() const { return path_; }
    const std::string& why() const { return why_; }

private:
    kind kind_;
    std::string path_;
    std::string why_;
};

// member_path / index_path: the path of a record's member or a list's element.
std::string member_path(const std::string& parent, const std::string& name);
std::string index_path(const std::string& parent, std::size_t i);

// value_path: where a value sits in the tree while it is read: a chain of
// the enclosing members and elements, each on the stack of the reader, that
// is written out (str()) only when a failure names it.
class value_path {
public:
    value_path() = default;  // the tree's root
    value_path(const value_path& parent, const char* member) : parent_(&parent), member_(member) {}
    value_path(const value_path& parent, std::size_t index) : parent_(&parent), index_(index) {}
    std::string str() const;

private:
    const value_path* parent_ = nullptr;
    const char* member_ = nullptr;
    std::size_t index_ = 0;
};

// tree_reader: read access to one tree. A node is the tree's own handle of a
// value, valid while the tree is.
class tree_reader {
public:
    using node = const void*;
    enum class value_kind { null, boolean, integer, fractional, text, octets, list, record, other };

    virtual ~tree_reader() = default;

    virtual value_kind kind(node n) const = 0;
    // kind_name: "a string", "an object", ... for messages.
    virtual std::string kind_name(node n) const = 0;
    // The tree's words for a record, a list and an integer in messages
    // ("an object", "an array", "an integer").
    virtual const char* record_word() const = 0;
    virtual const char* list_word() const = 0;
    virtual const char* integer_word() const = 0;

    // For an integer node: its value when it fits 64 bits, and its decimal text.
    virtual std::optional<long long> integer(node n) const = 0;
    virtual std::string integer_text(node n) const = 0;
    // For a list node.
    virtual std::size_t list_size(node n) const = 0;
    virtual node list_item(node n, std::size_t i) const = 0;
    // For a record node: how many members it has, their names (fails with
    // fill_error for a name the tree cannot give as text), and one member or
    // nullptr.
    virtual std::size_t member_count(node n) const = 0;
    virtual std::vector<std::string> member_names(node n, const value_path& path) const = 0;
    virtual node find_member(node n, const char* name) const = 0;
    // text: the octets of a text value, nullopt for null; fails with
    // fill_error for any other value. octets: the octets of an octet-string
    // value; fails with fill_error for any other value. The octets stay
    // valid while the reader does (a reader keeps what it had to convert).
    virtual std::optional<std::string_view> text(node n, const value_path& path) const = 0;
    virtual std::string_view octets(node n, const value_path& path) const = 0;
};

// fill_record: fills the zeroed flat record `flat` of type `info` from the
// record node `root`. Everything it hangs into the record comes from
// malloc/calloc, so the record's own free function releases it, also after a
// failure (fill_error, or std::bad_alloc).
void fill_record(const tree_reader& tree, tree_reader::node root, const qb_record_info& info, void* flat);

// fill_int32: the signed 32-bit integer of the node (the bare INTEGER of the
// untyped entry point).
int fill_int32(const tree_reader& tree, tree_reader::node n);

// ---- descriptions ----

// value_words: how one tree writes texts and octets in a shape description.
struct value_words {
    const char* integer;    // "integer"
    const char* text;       // "string, null (sent as \"\") or {\"hex\": \"...\"}"
    const char* text_list;  // "array of strings"
    const char* octets;     // "hex string"
    const char* record;     // "object"
    const char* list;       // "array"
    const char* null;       // "null"
};

// shape_of: the kind of value a field takes in that tree, e.g.
// "integer, 0..255" or "array of objects: attr_s_t".
std::string shape_of(const qb_field_info& field, const value_words& words);

// asn1_type_of: the field's ASN.1 type as the record's definition writes it
// ("INTEGER", "SEQUENCE OF attr_t", "OCTET STRING (SIZE (16))").
std::string asn1_type_of(const qb_field_info& field);

// definition_of: the record's ASN.1 definition, "value_t ::= SEQUENCE {...}\n",
// with the leading "version INTEGER" of the records that carry one.
std::string definition_of(const qb_record_info& info);

// short_form: the flat name without "_s_t" or "_t".
std::string short_form(const char* flat_name);

// ---- the wire module (`qbasn schema`) ----
// Names in the module are the table's names made into ASN.1 names; each
// function fails with std::invalid_argument when the result would not be a
// valid one (a name with "__", or ending in '_', say).

// module_reference: a record's type reference: its type name with the first
// letter upper-cased and every '_' turned into '-' ("kxprincipal_t" ->
// "Kxprincipal-t").
std::string module_reference(const qb_record_info& info);

// module_identifier: a member identifier: the field name with the first
// letter lower-cased and every '_' turned into '-' ("time_low" -> "time-low").
std::string module_identifier(const char* name);

// The CHOICE of a slot array has two alternatives: kEmptySlotAlternative
// (NULL, an empty slot) and slot_alternative(element) for a used slot, the
// element record's short form as an identifier ("kxaction").
inline constexpr const char* kEmptySlotAlternative = "empty";
std::string slot_alternative(const qb_record_info& element);

// module_type_of: the field's type in the module: records by their module
// references, slots as "SEQUENCE OF CHOICE { empty NULL, kxaction Kxaction-t }".
std::string module_type_of(const qb_field_info& field);

}  // namespace qbflat

#endif
