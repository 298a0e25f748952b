// tools/flat/record_tree.cpp - flat records to and from a generic tree of
// values through the reflection table.
#include "tools/flat/record_tree.h"

#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

namespace qbflat {

namespace {

// ---- access to flat-record fields through their offsets ----

template <class T>
T load(const void* flat, std::size_t offset) {
    T v;
    std::memcpy(&v, static_cast<const char*>(flat) + offset, sizeof v);
    return v;
}

template <class T>
void store(void* flat, std::size_t offset, T v) {
    std::memcpy(static_cast<char*>(flat) + offset, &v, sizeof v);
}

void* at(void* flat, std::size_t offset) { return static_cast<char*>(flat) + offset; }
const void* at(const void* flat, std::size_t offset) { return static_cast<const char*>(flat) + offset; }

// The number of elements of a list, as the library reads it (a negative
// signed count is none).
std::size_t count_of(const qb_field_info& f, const void* flat) {
    if (f.signed_count) {
        const int c = load<int>(flat, f.offset);
        return c < 0 ? 0 : static_cast<std::size_t>(c);
    }
    return load<unsigned int>(flat, f.offset);
}

const qb_record_info* element_of(const qb_field_info& f) { return f.element != nullptr ? f.element() : nullptr; }

// Allocations hung into a flat record: the library frees them with free().
void* checked_calloc(std::size_t n, std::size_t size) {
    void* p = std::calloc(n, size);
    if (p == nullptr) throw std::bad_alloc();
    return p;
}

std::span<const unsigned char> bytes_of(const char* s) {
    return {reinterpret_cast<const unsigned char*>(s), std::strlen(s)};
}

// ---- flat record -> tree ----

class walker {
public:
    explicit walker(tree_builder& out) : out_(out) {}

    void record(const qb_record_info& info, const void* flat) {
        out_.begin_record(info);
        for (std::size_t i = 0; i < info.field_count; ++i) {
            out_.member(info.fields[i]);
            field(info.fields[i], flat);
        }
        out_.end_record();
    }

private:
    void text(const char* s) {
        if (s == nullptr)
            out_.null();
        else
            out_.text(bytes_of(s));
    }

    void record_or_null(const qb_record_info* e, const void* sub) {
        if (sub == nullptr || e == nullptr)
            out_.null();
        else
            record(*e, sub);
    }

    template <class Each>
    void list(std::size_t n, Each each) {
        out_.begin_list(n);
        for (std::size_t i = 0; i < n; ++i) each(i);
        out_.end_list();
    }

    void field(const qb_field_info& f, const void* flat) {
        const qb_record_info* e = element_of(f);
        switch (f.kind) {
            case qb_field_int: out_.integer(load<int>(flat, f.offset)); return;
            case qb_field_uint: out_.integer(load<unsigned int>(flat, f.offset)); return;
            case qb_field_long: out_.integer(load<long>(flat, f.offset)); return;
            case qb_field_ushort: out_.integer(load<unsigned short>(flat, f.offset)); return;
            case qb_field_uchar: out_.integer(load<unsigned char>(flat, f.offset)); return;
            case qb_field_text:
            case qb_field_text_octets: text(load<const char*>(flat, f.offset)); return;
            case qb_field_octets: {
                const auto n = load<unsigned int>(flat, f.offset);
                const auto* data = load<const unsigned char*>(flat, f.offset2);
                if (f.optional && n == 0)
                    out_.null();  // absent on the wire
                else
                    out_.octets(data != nullptr ? std::span(data, n) : std::span<const unsigned char>());
                return;
            }
            case qb_field_fixed_octets:
                out_.octets(std::span(static_cast<const unsigned char*>(at(flat, f.offset)), f.size));
                return;
            case qb_field_record: record_or_null(e, at(flat, f.offset)); return;
            case qb_field_optional_record: record_or_null(e, load<const void*>(flat, f.offset)); return;
            case qb_field_record_list: {
                const char* elements = load<const char*>(flat, f.offset2);
                const std::size_t n = elements != nullptr && e != nullptr ? count_of(f, flat) : 0;
                list(n, [&](std::size_t i) { record(*e, elements + i * e->flat_size); });
                return;
            }
            case qb_field_record_ptr_list: {
                const auto* elements = load<const void* const*>(flat, f.offset2);
                const std::size_t n = elements != nullptr ? count_of(f, flat) : 0;
                list(n, [&](std::size_t i) { record_or_null(e, elements[i]); });
                return;
            }
            case qb_field_text_list: {
                const auto* elements = load<const char* const*>(flat, f.offset2);
                const std::size_t n = elements != nullptr ? count_of(f, flat) : 0;
                list(n, [&](std::size_t i) { text(elements[i]); });
                return;
            }
            case qb_field_int_list: {
                const auto* elements = load<const int*>(flat, f.offset2);
                const std::size_t n = elements != nullptr ? count_of(f, flat) : 0;
                list(n, [&](std::size_t i) { out_.integer(elements[i]); });
                return;
            }
            case qb_field_record_slots: {
                const auto* slots = static_cast<const void* const*>(at(flat, f.offset));
                list(f.size, [&](std::size_t i) { record_or_null(e, slots[i]); });
                return;
            }
        }
        out_.null();  // a field kind this walker does not know
    }

    tree_builder& out_;
};

// ---- tree -> flat record ----

using node = tree_reader::node;
using value_kind = tree_reader::value_kind;

class filler {
public:
    explicit filler(const tree_reader& tree) : tree_(tree) {}

    void record(const qb_record_info& info, void* flat, node j, const value_path& path) {
        const depth_guard guard(*this, path);
        if (tree_.kind(j) != value_kind::record)
            type_error(path, "expected " + std::string(tree_.record_word()) + " (" + info.flat_name + "), got " + tree_.kind_name(j));
        // A member the record does not have is reported before a field it
        // lacks; a record with as many members as fields, all found, has none.
        if (tree_.member_count(j) != info.field_count) refuse_unknown(info, j, path);
        for (std::size_t i = 0; i < info.field_count; ++i) {
            const qb_field_info& f = info.fields[i];
            const node value = tree_.find_member(j, f.name);
            if (value == nullptr) {
                refuse_unknown(info, j, path);
                throw fill_error(fill_error::kind::missing, path.str(),
                                 std::string("missing field \"") + f.name + "\" (" + info.flat_name + " has " + field_names(info) + ")");
            }
            field(f, flat, value, value_path(path, f.name));
        }
    }

    long long integer(node j, const value_path& path, long long lo, long long hi, const char* what) {
        if (tree_.kind(j) != value_kind::integer)
            type_error(path, "expected " + std::string(tree_.integer_word()) + " (" + what + "), got " + tree_.kind_name(j));
        const std::optional<long long> v = tree_.integer(j);
        if (!v || *v < lo || *v > hi)
            throw fill_error(fill_error::kind::value, path.str(),
                             tree_.integer_text(j) + " is out of range for " + what + " (" + std::to_string(lo) + ".." + std::to_string(hi) + ")");
        return *v;
    }

private:
    // refuse_unknown: fails naming the first member that is not a field.
    void refuse_unknown(const qb_record_info& info, node j, const value_path& path) {
        for (const std::string& name : tree_.member_names(j, path)) {
            bool known = false;
            for (std::size_t i = 0; i < info.field_count && !known; ++i) known = name == info.fields[i].name;
            if (!known)
                throw fill_error(fill_error::kind::value, member_path(path.str(), name),
                                 std::string("unknown field (") + info.flat_name + " has " + field_names(info) + ")");
        }
    }

    // depth_guard: counts the maps and arrays entered; a tree nested deeper
    // than kMaxTreeDepth (or one that contains itself) is refused.
    class depth_guard {
    public:
        depth_guard(filler& f, const value_path& path) : f_(f) {
            if (++f_.depth_ > kMaxTreeDepth) {
                --f_.depth_;
                throw fill_error(fill_error::kind::value, path.str(), "nested deeper than " + std::to_string(kMaxTreeDepth) + " levels");
            }
        }
        depth_guard(const depth_guard&) = delete;
        depth_guard& operator=(const depth_guard&) = delete;
        ~depth_guard() { --f_.depth_; }

    private:
        filler& f_;
    };

    [[noreturn]] static void type_error(const value_path& path, const std::string& why) {
        throw fill_error(fill_error::kind::type, path.str(), why);
    }

    static std::string field_names(const qb_record_info& info) {
        std::string names;
        for (std::size_t i = 0; i < info.field_count; ++i) {
            if (i != 0) names += ", ";
            names += info.fields[i].name;
        }
        return names.empty() ? std::string("no fields") : names;
    }

    // text: a malloc'ed copy of a text value (null for null).
    char* text(node j, const value_path& path) {
        const std::optional<std::string_view> bytes = tree_.text(j, path);
        if (!bytes) return nullptr;
        if (bytes->find('\0') != std::string_view::npos)
            throw fill_error(fill_error::kind::value, path.str(), "a text cannot hold a zero character (the flat record ends texts with it)");
        char* copy = static_cast<char*>(std::malloc(bytes->size() + 1));
        if (copy == nullptr) throw std::bad_alloc();
        if (!bytes->empty()) std::memcpy(copy, bytes->data(), bytes->size());
        copy[bytes->size()] = '\0';
        return copy;
    }

    std::size_t list_size(node j, const value_path& path, const char* what) {
        if (tree_.kind(j) != value_kind::list)
            type_error(path, "expected " + std::string(tree_.list_word()) + " (" + what + "), got " + tree_.kind_name(j));
        return tree_.list_size(j);
    }

    // start_list: allocates the zeroed element array of a list and sets its
    // pointer and count, so the record is freeable whatever comes next.
    void* start_list(const qb_field_info& f, void* flat, std::size_t n, std::size_t element_size, const value_path& path) {
        const std::size_t max = f.signed_count ? static_cast<std::size_t>(INT32_MAX) : static_cast<std::size_t>(UINT32_MAX);
        if (n > max) throw fill_error(fill_error::kind::value, path.str(), "too many elements (" + std::to_string(n) + ")");
        if (n == 0) return nullptr;
        void* elements = checked_calloc(n, element_size);
        store<void*>(flat, f.offset2, elements);
        if (f.signed_count)
            store<int>(flat, f.offset, static_cast<int>(n));
        else
            store<unsigned int>(flat, f.offset, static_cast<unsigned int>(n));
        return elements;
    }

    const qb_record_info& element(const qb_field_info& f, const value_path& path) {
        const qb_record_info* e = element_of(f);
        if (e == nullptr) throw fill_error(fill_error::kind::value, path.str(), "the library describes this field without its element record");
        return *e;
    }

    // sub_record: a record held through the pointer at `offset` in `holder`
    // (optional records, pointer lists, slots): allocated, hung into place so
    // the record stays freeable, then filled.
    void sub_record(const qb_record_info& e, void* holder, std::size_t offset, node j, const value_path& path, bool null_allowed) {
        if (tree_.kind(j) != value_kind::record)
            type_error(path, "expected " + std::string(tree_.record_word()) + " (" + e.flat_name + ")" + (null_allowed ? " or null" : "") +
                                 ", got " + tree_.kind_name(j));
        void* sub = checked_calloc(1, e.flat_size);
        store<void*>(holder, offset, sub);
        record(e, sub, j, path);
    }

    void field(const qb_field_info& f, void* flat, node j, const value_path& path) {
        switch (f.kind) {
            case qb_field_int:
                store<int>(flat, f.offset, static_cast<int>(integer(j, path, INT32_MIN, INT32_MAX, "a signed 32-bit integer")));
                return;
            case qb_field_uint:
                store<unsigned int>(flat, f.offset, static_cast<unsigned int>(integer(j, path, 0, UINT32_MAX, "an unsigned 32-bit integer")));
                return;
            case qb_field_long:
                store<long>(flat, f.offset, static_cast<long>(integer(j, path, INT32_MIN, INT32_MAX, "a signed 32-bit integer")));
                return;
            case qb_field_ushort:
                store<unsigned short>(flat, f.offset, static_cast<unsigned short>(integer(j, path, 0, UINT16_MAX, "an unsigned 16-bit integer")));
                return;
            case qb_field_uchar:
                store<unsigned char>(flat, f.offset, static_cast<unsigned char>(integer(j, path, 0, UINT8_MAX, "an unsigned 8-bit integer")));
                return;
            case qb_field_text:
            case qb_field_text_octets: store<char*>(flat, f.offset, text(j, path)); return;
            case qb_field_octets: {
                if (f.optional && tree_.kind(j) == value_kind::null) return;  // absent: length 0, no data
                const std::string_view bytes = tree_.octets(j, path);
                if (bytes.size() > UINT32_MAX) throw fill_error(fill_error::kind::value, path.str(), "too many octets");
                if (bytes.empty()) return;
                void* data = std::malloc(bytes.size());
                if (data == nullptr) throw std::bad_alloc();
                std::memcpy(data, bytes.data(), bytes.size());
                store<void*>(flat, f.offset2, data);
                store<unsigned int>(flat, f.offset, static_cast<unsigned int>(bytes.size()));
                return;
            }
            case qb_field_fixed_octets: {
                const std::string_view bytes = tree_.octets(j, path);
                if (bytes.size() != f.size)
                    throw fill_error(fill_error::kind::value, path.str(),
                                     "expected exactly " + std::to_string(f.size) + " octets (" + std::to_string(2 * f.size) +
                                         " hex digits), got " + std::to_string(bytes.size()));
                std::memcpy(at(flat, f.offset), bytes.data(), f.size);
                return;
            }
            case qb_field_record: record(element(f, path), at(flat, f.offset), j, path); return;
            case qb_field_optional_record: {
                if (tree_.kind(j) == value_kind::null) return;  // absent
                sub_record(element(f, path), flat, f.offset, j, path, true);
                return;
            }
            case qb_field_record_list: {
                const qb_record_info& e = element(f, path);
                const depth_guard guard(*this, path);
                const std::size_t n = list_size(j, path, e.flat_name);
                char* elements = static_cast<char*>(start_list(f, flat, n, e.flat_size, path));
                for (std::size_t i = 0; i < n; ++i) record(e, elements + i * e.flat_size, tree_.list_item(j, i), value_path(path, i));
                return;
            }
            case qb_field_record_ptr_list: {
                const qb_record_info& e = element(f, path);
                const depth_guard guard(*this, path);
                const std::size_t n = list_size(j, path, e.flat_name);
                void** elements = static_cast<void**>(start_list(f, flat, n, sizeof(void*), path));
                for (std::size_t i = 0; i < n; ++i) sub_record(e, elements, i * sizeof(void*), tree_.list_item(j, i), value_path(path, i), false);
                return;
            }
            case qb_field_text_list: {
                const depth_guard guard(*this, path);
                const std::size_t n = list_size(j, path, "texts");
                char** elements = static_cast<char**>(start_list(f, flat, n, sizeof(char*), path));
                for (std::size_t i = 0; i < n; ++i) elements[i] = text(tree_.list_item(j, i), value_path(path, i));
                return;
            }
            case qb_field_int_list: {
                const depth_guard guard(*this, path);
                const std::size_t n = list_size(j, path, "integers");
                int* elements = static_cast<int*>(start_list(f, flat, n, sizeof(int), path));
                for (std::size_t i = 0; i < n; ++i)
                    elements[i] = static_cast<int>(integer(tree_.list_item(j, i), value_path(path, i), INT32_MIN, INT32_MAX, "a signed 32-bit integer"));
                return;
            }
            case qb_field_record_slots: {
                const qb_record_info& e = element(f, path);
                const depth_guard guard(*this, path);
                const std::size_t n = list_size(j, path, "slots");
                if (n > f.size)
                    throw fill_error(fill_error::kind::value, path.str(), "at most " + std::to_string(f.size) + " slots, got " + std::to_string(n));
                for (std::size_t i = 0; i < n; ++i) {
                    const node item = tree_.list_item(j, i);
                    if (tree_.kind(item) == value_kind::null) continue;  // an empty slot
                    sub_record(e, flat, f.offset + i * sizeof(void*), item, value_path(path, i), true);
                }
                return;
            }
        }
        throw fill_error(fill_error::kind::value, path.str(), "field kind " + std::to_string(static_cast<int>(f.kind)) + " is not known here");
    }

    const tree_reader& tree_;
    std::size_t depth_ = 0;
};

std::string element_name(const qb_field_info& f, bool flat) {
    const qb_record_info* e = element_of(f);
    if (e == nullptr) return "?";
    return flat ? e->flat_name : e->name;
}

}  // namespace

fill_error::fill_error(kind k, std::string path, const std::string& why)
    : std::runtime_error((path.empty() ? std::string("top level") : path) + ": " + why), kind_(k), path_(std::move(path)), why_(why) {}

std::string member_path(const std::string& parent, const std::string& name) {
    return parent.empty() ? name : parent + "." + name;
}

std::string index_path(const std::string& parent, std::size_t i) { return parent + "[" + std::to_string(i) + "]"; }

std::string value_path::str() const {
    if (parent_ == nullptr) return std::string();
    return member_ != nullptr ? member_path(parent_->str(), member_) : index_path(parent_->str(), index_);
}

void walk_record(const qb_record_info& info, const void* flat, tree_builder& out) { walker(out).record(info, flat); }

void fill_record(const tree_reader& tree, tree_reader::node root, const qb_record_info& info, void* flat) {
    filler(tree).record(info, flat, root, value_path());
}

int fill_int32(const tree_reader& tree, tree_reader::node n) {
    return static_cast<int>(filler(tree).integer(n, value_path(), INT32_MIN, INT32_MAX, "a signed 32-bit integer"));
}

std::string shape_of(const qb_field_info& f, const value_words& words) {
    const std::string element = element_name(f, true);
    const std::string integer = words.integer;
    const std::string records = std::string(words.list) + " of " + words.record + "s: " + element;
    switch (f.kind) {
        case qb_field_int:
        case qb_field_long: return integer + ", -2147483648..2147483647";
        case qb_field_uint: return integer + ", 0..4294967295";
        case qb_field_ushort: return integer + ", 0..65535";
        case qb_field_uchar: return integer + ", 0..255";
        case qb_field_text:
        case qb_field_text_octets: return words.text;
        case qb_field_octets:
            return f.optional ? std::string(words.octets) + ", or " + words.null + " when absent"
                              : std::string(words.octets) + " (its octet count goes into " +
                                    std::string(f.count_name != nullptr ? f.count_name : "the length") + ")";
        case qb_field_fixed_octets: return std::string(words.octets) + " of exactly " + std::to_string(f.size) + " octets";
        case qb_field_record: return std::string(words.record) + ": " + element;
        case qb_field_optional_record: return std::string(words.record) + ": " + element + ", or " + words.null + " when absent";
        case qb_field_record_list:
        case qb_field_record_ptr_list: return records;
        case qb_field_text_list: return words.text_list;
        case qb_field_int_list: return std::string(words.list) + " of " + words.integer + "s, -2147483648..2147483647";
        case qb_field_record_slots:
            return std::string(words.list) + " of up to " + std::to_string(f.size) + " slots, each " + words.null + " (empty) or " +
                   (std::strchr("aeiou", words.record[0]) != nullptr ? "an " : "a ") + words.record + ": " + element;
    }
    return "?";
}

namespace {

// type_of: the ASN.1 type of a field, with its nested and element records
// named by `reference` and a slot array's CHOICE body given by `slot_choice`
// (the per-record definition and the wire module differ only there).
template <class Reference, class SlotChoice>
std::string type_of(const qb_field_info& f, Reference reference, SlotChoice slot_choice) {
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
        case qb_field_optional_record: return reference(f);
        case qb_field_record_list:
        case qb_field_record_ptr_list: return "SEQUENCE OF " + reference(f);
        case qb_field_text_list: return "SEQUENCE OF UTF8String";
        case qb_field_int_list: return "SEQUENCE OF INTEGER";
        case qb_field_record_slots: return "SEQUENCE OF CHOICE { " + slot_choice(f) + " }";
    }
    return "?";
}

// is_identifier_tail: the characters after the first of an ASN.1 identifier
// or type reference: letters, digits and single hyphens, not ending in one.
bool is_identifier_tail(std::string_view s) {
    char previous = 'a';
    for (const char c : s) {
        const bool alnum = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
        if (!alnum && !(c == '-' && previous != '-')) return false;
        previous = c;
    }
    return previous != '-';
}

// module_name: `name` with its first letter in the wanted case and every '_'
// turned into '-'; fails when the result is not a valid ASN.1 name.
std::string module_name(const char* name, bool upper, const char* what) {
    std::string s = name != nullptr ? name : "";
    for (char& c : s)
        if (c == '_') c = '-';
    if (!s.empty()) {
        const auto first = static_cast<unsigned char>(s[0]);
        s[0] = static_cast<char>(upper ? std::toupper(first) : std::tolower(first));
    }
    const bool first_ok = !s.empty() && (upper ? (s[0] >= 'A' && s[0] <= 'Z') : (s[0] >= 'a' && s[0] <= 'z'));
    if (!first_ok || !is_identifier_tail(std::string_view(s).substr(1)))
        throw std::invalid_argument(std::string(what) + " '" + (name != nullptr ? name : "") +
                                    "' does not map to a valid ASN.1 name ('" + s + "')");
    return s;
}

}  // namespace

std::string asn1_type_of(const qb_field_info& f) {
    return type_of(
        f, [](const qb_field_info& g) { return element_name(g, false); },
        [](const qb_field_info& g) { return "NULL, " + element_name(g, false); });
}

std::string module_reference(const qb_record_info& info) { return module_name(info.name, true, "type name"); }

std::string module_identifier(const char* name) { return module_name(name, false, "name"); }

std::string slot_alternative(const qb_record_info& element) { return module_identifier(short_form(element.flat_name).c_str()); }

std::string module_type_of(const qb_field_info& f) {
    const auto element = [](const qb_field_info& g) -> const qb_record_info& {
        const qb_record_info* e = element_of(g);
        if (e == nullptr) throw std::invalid_argument(std::string("field '") + g.name + "' has no element record");
        return *e;
    };
    return type_of(
        f, [&](const qb_field_info& g) { return module_reference(element(g)); },
        [&](const qb_field_info& g) {
            const qb_record_info& e = element(g);
            const std::string alternative = slot_alternative(e);
            if (alternative == kEmptySlotAlternative)
                throw std::invalid_argument(std::string("the used-slot alternative of field '") + g.name + "' would be named '" +
                                            kEmptySlotAlternative + "' too");
            return std::string(kEmptySlotAlternative) + " NULL, " + alternative + " " + module_reference(e);
        });
}

std::string definition_of(const qb_record_info& info) {
    std::string text = std::string(info.name) + " ::= SEQUENCE {\n";
    // The records whose SEQUENCE starts with an INTEGER version (always 1)
    // that no field holds show it as their first member, as it travels.
    if (info.leading_version) text += std::string("    version INTEGER") + (info.field_count > 0 ? "," : "") + "\n";
    for (std::size_t i = 0; i < info.field_count; ++i) {
        const qb_field_info& f = info.fields[i];
        text += "    " + std::string(f.name) + " " + asn1_type_of(f) + (f.optional ? " OPTIONAL" : "") +
                (i + 1 < info.field_count ? "," : "") + "\n";
    }
    return text + "}\n";
}

std::string short_form(const char* flat_name) {
    std::string s = flat_name;
    for (const char* suffix : {"_s_t", "_t"}) {
        const std::size_t n = std::strlen(suffix);
        if (s.size() > n && s.compare(s.size() - n, n, suffix) == 0) return s.substr(0, s.size() - n);
    }
    return s;
}

}  // namespace qbflat
