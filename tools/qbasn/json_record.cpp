// tools/qbasn/json_record.cpp - flat records to JSON and back through the
// reflection table.
//
// Reading: the JSON text is parsed by nlohmann's SAX parser into an ordered
// document while the position of every value is noted, so an error found
// later (a missing field, a number out of range) still names its line.
// Writing: the flat record is walked and the JSON text goes straight to the
// output stream; no text of the whole record is built in memory.
#include "tools/qbasn/json_record.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <limits>
#include <map>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "tools/qbasn/common.h"
#include "tools/qbasn/hex.h"
#include "tools/qbasn/text.h"

namespace qbtool {

namespace {

using ojson = nlohmann::ordered_json;

// ---- access to flat-record fields through their offsets ----

template <class T>
T load(const void* flat, size_t offset) {
    T v;
    std::memcpy(&v, static_cast<const char*>(flat) + offset, sizeof v);
    return v;
}

template <class T>
void store(void* flat, size_t offset, T v) {
    std::memcpy(static_cast<char*>(flat) + offset, &v, sizeof v);
}

void* at(void* flat, size_t offset) { return static_cast<char*>(flat) + offset; }
const void* at(const void* flat, size_t offset) { return static_cast<const char*>(flat) + offset; }

// The number of elements of a list, as the library reads it (a negative
// signed count is none).
size_t count_of(const qb_field_info& f, const void* flat) {
    if (f.signed_count) {
        const int c = load<int>(flat, f.offset);
        return c < 0 ? 0 : static_cast<size_t>(c);
    }
    return load<unsigned int>(flat, f.offset);
}

const qb_record_info* element_of(const qb_field_info& f) { return f.element != nullptr ? f.element() : nullptr; }

// Allocations hung into a flat record: the library frees them with free().
void* checked_calloc(size_t n, size_t size) {
    void* p = std::calloc(n, size);
    if (p == nullptr) throw std::bad_alloc();
    return p;
}

// ---- a JSON document with the line of every value ----

// line_index: the line (from 1) of an offset in the text.
class line_index {
public:
    explicit line_index(std::span<const unsigned char> text) : text_(text) {
        for (size_t i = 0; i < text.size(); ++i)
            if (text[i] == '\n') newlines_.push_back(i);
    }
    // line_before: the line of the last character before `consumed` that is
    // not white space (the parser reads one character past a number).
    size_t line_before(size_t consumed) const {
        size_t p = std::min(consumed, text_.size());
        while (p > 0 && (text_[p - 1] == ' ' || text_[p - 1] == '\t' || text_[p - 1] == '\n' || text_[p - 1] == '\r')) --p;
        const size_t offset = p > 0 ? p - 1 : 0;
        return static_cast<size_t>(std::lower_bound(newlines_.begin(), newlines_.end(), offset) - newlines_.begin()) + 1;
    }

private:
    std::span<const unsigned char> text_;
    std::vector<size_t> newlines_;
};

// counting_iterator: walks the text for the parser and notes how far it got.
class counting_iterator {
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    counting_iterator(const char* base, const char* p, size_t* consumed) : base_(base), p_(p), consumed_(consumed) {}
    reference operator*() const { return *p_; }
    counting_iterator& operator++() {
        ++p_;
        *consumed_ = static_cast<size_t>(p_ - base_);
        return *this;
    }
    counting_iterator operator++(int) {
        counting_iterator old = *this;
        ++*this;
        return old;
    }
    bool operator==(const counting_iterator& o) const { return p_ == o.p_; }
    bool operator!=(const counting_iterator& o) const { return p_ != o.p_; }

private:
    const char* base_;
    const char* p_;
    size_t* consumed_;
};

struct document {
    ojson root;
    std::map<std::string, size_t> lines;  // field path -> line of its value
};

std::string member_path(const std::string& parent, const std::string& name) {
    return parent.empty() ? name : parent + "." + name;
}

std::string index_path(const std::string& parent, size_t i) { return parent + "[" + std::to_string(i) + "]"; }

// The deepest nesting of arrays and objects a JSON record may have.
constexpr size_t kMaxJsonDepth = 256;

// builder: the SAX handler that builds the document.
class builder {
public:
    builder(document& doc, const line_index& lines, const size_t& consumed)
        : doc_(doc), index_(lines), consumed_(consumed) {}

    bool null() { return add(ojson(nullptr)) != nullptr; }
    bool boolean(bool v) { return add(ojson(v)) != nullptr; }
    bool number_integer(ojson::number_integer_t v) { return add(ojson(v)) != nullptr; }
    bool number_unsigned(ojson::number_unsigned_t v) { return add(ojson(v)) != nullptr; }
    bool number_float(ojson::number_float_t v, const std::string&) { return add(ojson(v)) != nullptr; }
    bool string(std::string& v) { return add(ojson(std::move(v))) != nullptr; }
    bool binary(ojson::binary_t&) { return add(ojson(nullptr)) != nullptr; }  // never produced by JSON text
    bool start_object(std::size_t) { return open(ojson::object()); }
    bool start_array(std::size_t) { return open(ojson::array()); }
    bool end_object() { return close(); }
    bool end_array() { return close(); }
    bool key(std::string& k) {
        open_value& top = stack_.back();
        if (top.node->contains(k)) {
            error_ = "JSON line " + std::to_string(here()) + ": " + member_path(top.path, k) + ": field given twice";
            return false;
        }
        top.key = k;
        return true;
    }
    bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception& e) {
        // "[json.exception.parse_error.101] parse error at line 2, column 3: ..." without its tag.
        std::string what = e.what();
        const size_t tag_end = what.find("] ");
        if (what.rfind("[json.exception.", 0) == 0 && tag_end != std::string::npos) what.erase(0, tag_end + 2);
        error_ = "JSON " + what;
        return false;
    }

    const std::string& error() const { return error_; }

private:
    struct open_value {
        ojson* node;
        std::string path;
        std::string key;  // of the next member, in an object
    };

    size_t here() const { return index_.line_before(consumed_); }

    // add: places a value in the open object or array (or as the root) and
    // notes its line; returns where it went.
    ojson* add(ojson value) {
        const size_t line = here();
        if (stack_.empty()) {
            doc_.root = std::move(value);
            doc_.lines[""] = line;
            return &doc_.root;
        }
        open_value& top = stack_.back();
        ojson* placed = nullptr;
        std::string path;
        if (top.node->is_array()) {
            path = index_path(top.path, top.node->size());
            top.node->push_back(std::move(value));
            placed = &top.node->back();
        } else {
            path = member_path(top.path, top.key);
            placed = &(*top.node)[top.key];
            *placed = std::move(value);
        }
        doc_.lines[path] = line;
        last_path_ = std::move(path);
        return placed;
    }

    bool open(ojson empty) {
        // Records nest a few levels deep; a deeper document is refused before
        // it can cost memory (every open value keeps its path).
        if (stack_.size() >= kMaxJsonDepth) {
            error_ = "JSON line " + std::to_string(here()) + ": nested deeper than " + std::to_string(kMaxJsonDepth) + " levels";
            return false;
        }
        const bool root = stack_.empty();
        ojson* node = add(std::move(empty));
        stack_.push_back({node, root ? std::string() : last_path_, std::string()});
        return true;
    }

    bool close() {
        stack_.pop_back();
        return true;
    }

    document& doc_;
    const line_index& index_;
    const size_t& consumed_;
    std::vector<open_value> stack_;
    std::string last_path_;
    std::string error_;
};

document parse_document(std::span<const unsigned char> text, const line_index& lines) {
    document doc;
    size_t consumed = 0;
    builder b(doc, lines, consumed);
    const char* base = reinterpret_cast<const char*>(text.data());
    if (base == nullptr) base = "";  // an empty input
    const counting_iterator first(base, base, &consumed);
    const counting_iterator last(base, base + text.size(), &consumed);
    // Comments (// and /* */) are allowed: hand-written messages carry notes.
    const bool ok = ojson::sax_parse(first, last, &b, ojson::input_format_t::json, true, true);
    if (!ok) input_error(one_line(b.error().empty() ? std::string("JSON input could not be read") : b.error()));
    return doc;
}

// ---- JSON to flat record ----

class filler {
public:
    explicit filler(const document& doc) : doc_(doc) {}

    void record(const qb_record_info& info, void* flat, const ojson& j, const std::string& path) {
        if (!j.is_object()) fail(path, std::string("expected an object (") + info.flat_name + "), got " + kind(j));
        for (const auto& item : j.items()) {
            bool known = false;
            for (size_t i = 0; i < info.field_count && !known; ++i) known = item.key() == info.fields[i].name;
            if (!known) fail(member_path(path, item.key()), std::string("unknown field (") + info.flat_name + " has " + field_names(info) + ")");
        }
        for (size_t i = 0; i < info.field_count; ++i) {
            const qb_field_info& f = info.fields[i];
            const auto it = j.find(f.name);
            if (it == j.end())
                fail(path, std::string("missing field \"") + f.name + "\" (" + info.flat_name + " has " + field_names(info) + ")");
            field(f, flat, *it, member_path(path, f.name));
        }
    }

    int integer32(const ojson& j, const std::string& path) {
        return static_cast<int>(integer(j, path, INT32_MIN, INT32_MAX, "a signed 32-bit integer"));
    }

private:
    [[noreturn]] void fail(const std::string& path, const std::string& why) const {
        const auto it = doc_.lines.find(path);
        const std::string line = it != doc_.lines.end() ? "JSON line " + std::to_string(it->second) : std::string("JSON");
        input_error(one_line(line + ": " + (path.empty() ? std::string("top level") : path) + ": " + why));
    }

    static std::string kind(const ojson& j) {
        if (j.is_number_float()) return "a fractional number";
        if (j.is_number()) return "a number";
        if (j.is_null()) return "null";
        if (j.is_boolean()) return "a boolean";
        if (j.is_string()) return "a string";
        if (j.is_array()) return "an array";
        return "an object";
    }

    static std::string field_names(const qb_record_info& info) {
        std::string names;
        for (size_t i = 0; i < info.field_count; ++i) {
            if (i != 0) names += ", ";
            names += info.fields[i].name;
        }
        return names.empty() ? std::string("no fields") : names;
    }

    long long integer(const ojson& j, const std::string& path, long long lo, long long hi, const char* what) {
        if (!j.is_number_integer()) fail(path, std::string("expected an integer (") + what + "), got " + kind(j));
        if (j.is_number_unsigned()) {
            const auto u = j.get<std::uint64_t>();
            if (u > static_cast<std::uint64_t>(hi))
                fail(path, std::to_string(u) + " is out of range for " + what + " (" + std::to_string(lo) + ".." + std::to_string(hi) + ")");
            return static_cast<long long>(u);
        }
        const auto v = j.get<std::int64_t>();
        if (v < lo || v > hi)
            fail(path, std::to_string(v) + " is out of range for " + what + " (" + std::to_string(lo) + ".." + std::to_string(hi) + ")");
        return v;
    }

    std::vector<unsigned char> hex(const ojson& j, const std::string& path) {
        if (!j.is_string()) fail(path, "expected a hex string, got " + kind(j));
        std::string why;
        auto bytes = parse_hex_string(j.get_ref<const std::string&>(), why);
        if (!bytes) fail(path, "not a hex string: " + why);
        return std::move(*bytes);
    }

    // text: a string, null, or {"hex": "..."}; a malloc'ed copy (null for null).
    char* text(const ojson& j, const std::string& path) {
        if (j.is_null()) return nullptr;
        std::vector<unsigned char> bytes;
        if (j.is_string()) {
            const std::string& s = j.get_ref<const std::string&>();
            bytes.assign(s.begin(), s.end());
        } else if (j.is_object() && j.size() == 1 && j.contains("hex")) {
            bytes = hex(j["hex"], member_path(path, "hex"));
        } else {
            fail(path, "expected a string, null or {\"hex\": \"...\"}, got " + kind(j));
        }
        if (std::find(bytes.begin(), bytes.end(), 0) != bytes.end())
            fail(path, "a text cannot hold a zero character (the flat record ends texts with it)");
        char* copy = static_cast<char*>(std::malloc(bytes.size() + 1));
        if (copy == nullptr) throw std::bad_alloc();
        if (!bytes.empty()) std::memcpy(copy, bytes.data(), bytes.size());
        copy[bytes.size()] = '\0';
        return copy;
    }

    const ojson& array(const ojson& j, const std::string& path, const char* what) {
        if (!j.is_array()) fail(path, std::string("expected an array (") + what + "), got " + kind(j));
        return j;
    }

    // start_list: allocates the zeroed element array of a list and sets its
    // pointer and count, so the record is freeable whatever comes next.
    void* start_list(const qb_field_info& f, void* flat, size_t n, size_t element_size, const std::string& path) {
        const size_t max = f.signed_count ? static_cast<size_t>(INT32_MAX) : static_cast<size_t>(UINT32_MAX);
        if (n > max) fail(path, "too many elements (" + std::to_string(n) + ")");
        if (n == 0) return nullptr;
        void* elements = checked_calloc(n, element_size);
        store<void*>(flat, f.offset2, elements);
        if (f.signed_count)
            store<int>(flat, f.offset, static_cast<int>(n));
        else
            store<unsigned int>(flat, f.offset, static_cast<unsigned int>(n));
        return elements;
    }

    const qb_record_info& element(const qb_field_info& f, const std::string& path) {
        const qb_record_info* e = element_of(f);
        if (e == nullptr) fail(path, "the library describes this field without its element record");
        return *e;
    }

    void field(const qb_field_info& f, void* flat, const ojson& j, const std::string& path) {
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
            case qb_field_text_octets:
                store<char*>(flat, f.offset, text(j, path));
                return;
            case qb_field_octets: {
                if (j.is_null() && f.optional) return;  // absent: length 0, no data
                const std::vector<unsigned char> bytes = hex(j, path);
                if (bytes.size() > UINT32_MAX) fail(path, "too many octets");
                if (bytes.empty()) return;
                void* data = std::malloc(bytes.size());
                if (data == nullptr) throw std::bad_alloc();
                std::memcpy(data, bytes.data(), bytes.size());
                store<void*>(flat, f.offset2, data);
                store<unsigned int>(flat, f.offset, static_cast<unsigned int>(bytes.size()));
                return;
            }
            case qb_field_fixed_octets: {
                const std::vector<unsigned char> bytes = hex(j, path);
                if (bytes.size() != f.size)
                    fail(path, "expected exactly " + std::to_string(f.size) + " octets (" + std::to_string(2 * f.size) +
                                   " hex digits), got " + std::to_string(bytes.size()));
                std::memcpy(at(flat, f.offset), bytes.data(), f.size);
                return;
            }
            case qb_field_record:
                record(element(f, path), at(flat, f.offset), j, path);
                return;
            case qb_field_optional_record: {
                if (j.is_null()) return;  // absent
                const qb_record_info& e = element(f, path);
                if (!j.is_object()) fail(path, std::string("expected an object (") + e.flat_name + ") or null, got " + kind(j));
                void* sub = checked_calloc(1, e.flat_size);
                store<void*>(flat, f.offset, sub);
                record(e, sub, j, path);
                return;
            }
            case qb_field_record_list: {
                const qb_record_info& e = element(f, path);
                const ojson& a = array(j, path, e.flat_name);
                char* elements = static_cast<char*>(start_list(f, flat, a.size(), e.flat_size, path));
                for (size_t i = 0; i < a.size(); ++i) record(e, elements + i * e.flat_size, a[i], index_path(path, i));
                return;
            }
            case qb_field_record_ptr_list: {
                const qb_record_info& e = element(f, path);
                const ojson& a = array(j, path, e.flat_name);
                void** elements = static_cast<void**>(start_list(f, flat, a.size(), sizeof(void*), path));
                for (size_t i = 0; i < a.size(); ++i) {
                    const std::string p = index_path(path, i);
                    if (!a[i].is_object()) fail(p, std::string("expected an object (") + e.flat_name + "), got " + kind(a[i]));
                    elements[i] = checked_calloc(1, e.flat_size);
                    record(e, elements[i], a[i], p);
                }
                return;
            }
            case qb_field_text_list: {
                const ojson& a = array(j, path, "texts");
                char** elements = static_cast<char**>(start_list(f, flat, a.size(), sizeof(char*), path));
                for (size_t i = 0; i < a.size(); ++i) elements[i] = text(a[i], index_path(path, i));
                return;
            }
            case qb_field_int_list: {
                const ojson& a = array(j, path, "integers");
                int* elements = static_cast<int*>(start_list(f, flat, a.size(), sizeof(int), path));
                for (size_t i = 0; i < a.size(); ++i)
                    elements[i] = static_cast<int>(integer(a[i], index_path(path, i), INT32_MIN, INT32_MAX, "a signed 32-bit integer"));
                return;
            }
            case qb_field_record_slots: {
                const qb_record_info& e = element(f, path);
                const ojson& a = array(j, path, "slots");
                if (a.size() > f.size)
                    fail(path, "at most " + std::to_string(f.size) + " slots, got " + std::to_string(a.size()));
                void** slots = static_cast<void**>(at(flat, f.offset));
                for (size_t i = 0; i < a.size(); ++i) {
                    const std::string p = index_path(path, i);
                    if (a[i].is_null()) continue;  // an empty slot
                    if (!a[i].is_object()) fail(p, std::string("expected an object (") + e.flat_name + ") or null, got " + kind(a[i]));
                    void* sub = checked_calloc(1, e.flat_size);
                    store<void*>(slots, i * sizeof(void*), sub);
                    record(e, sub, a[i], p);
                }
                return;
            }
        }
        fail(path, "field kind " + std::to_string(static_cast<int>(f.kind)) + " is not known to this tool");
    }

    const document& doc_;
};

// ---- flat record to JSON ----

class writer {
public:
    explicit writer(FILE* out) : out_(out) {}

    void record(const qb_record_info& info, const void* flat, int depth) {
        if (info.field_count == 0) {
            std::fputs("{}", out_);
            return;
        }
        std::fputs("{\n", out_);
        for (size_t i = 0; i < info.field_count; ++i) {
            const qb_field_info& f = info.fields[i];
            indent(depth + 1);
            write_json_string(out_, std::span(reinterpret_cast<const unsigned char*>(f.name), std::strlen(f.name)));
            std::fputs(": ", out_);
            field(f, flat, depth + 1);
            std::fputs(i + 1 < info.field_count ? ",\n" : "\n", out_);
        }
        indent(depth);
        std::fputc('}', out_);
    }

private:
    void indent(int depth) {
        for (int i = 0; i < depth; ++i) std::fputs("  ", out_);
    }

    void text(const char* s) {
        if (s == nullptr) {
            std::fputs("null", out_);
            return;
        }
        const std::span bytes(reinterpret_cast<const unsigned char*>(s), std::strlen(s));
        if (valid_utf8(bytes)) {
            write_json_string(out_, bytes);
        } else {
            // Octets that are not UTF-8 (a local code set, or a peer's
            // mistake) keep their exact value in hex.
            std::fputs("{\"hex\": \"", out_);
            hex(bytes);
            std::fputs("\"}", out_);
        }
    }

    void hex(std::span<const unsigned char> bytes) {
        static const char digits[] = "0123456789ABCDEF";
        for (unsigned char b : bytes) {
            std::fputc(digits[b >> 4], out_);
            std::fputc(digits[b & 0x0F], out_);
        }
    }

    void quoted_hex(std::span<const unsigned char> bytes) {
        std::fputc('"', out_);
        hex(bytes);
        std::fputc('"', out_);
    }

    // list: "[]", or the elements one per line.
    template <class Each>
    void list(size_t n, int depth, Each each) {
        if (n == 0) {
            std::fputs("[]", out_);
            return;
        }
        std::fputs("[\n", out_);
        for (size_t i = 0; i < n; ++i) {
            indent(depth + 1);
            each(i);
            std::fputs(i + 1 < n ? ",\n" : "\n", out_);
        }
        indent(depth);
        std::fputc(']', out_);
    }

    void field(const qb_field_info& f, const void* flat, int depth) {
        const qb_record_info* e = element_of(f);
        switch (f.kind) {
            case qb_field_int: std::fprintf(out_, "%d", load<int>(flat, f.offset)); return;
            case qb_field_uint: std::fprintf(out_, "%u", load<unsigned int>(flat, f.offset)); return;
            case qb_field_long: std::fprintf(out_, "%ld", load<long>(flat, f.offset)); return;
            case qb_field_ushort: std::fprintf(out_, "%u", static_cast<unsigned>(load<unsigned short>(flat, f.offset))); return;
            case qb_field_uchar: std::fprintf(out_, "%u", static_cast<unsigned>(load<unsigned char>(flat, f.offset))); return;
            case qb_field_text:
            case qb_field_text_octets:
                text(load<const char*>(flat, f.offset));
                return;
            case qb_field_octets: {
                const auto n = load<unsigned int>(flat, f.offset);
                const auto* data = load<const unsigned char*>(flat, f.offset2);
                if (f.optional && n == 0) {
                    std::fputs("null", out_);  // absent on the wire
                    return;
                }
                quoted_hex(data != nullptr ? std::span(data, n) : std::span<const unsigned char>());
                return;
            }
            case qb_field_fixed_octets:
                quoted_hex(std::span(static_cast<const unsigned char*>(at(flat, f.offset)), f.size));
                return;
            case qb_field_record:
                if (e != nullptr) record(*e, at(flat, f.offset), depth);
                else std::fputs("null", out_);
                return;
            case qb_field_optional_record: {
                const void* sub = load<const void*>(flat, f.offset);
                if (sub == nullptr || e == nullptr) std::fputs("null", out_);
                else record(*e, sub, depth);
                return;
            }
            case qb_field_record_list: {
                const char* elements = load<const char*>(flat, f.offset2);
                const size_t n = elements != nullptr && e != nullptr ? count_of(f, flat) : 0;
                list(n, depth, [&](size_t i) { record(*e, elements + i * e->flat_size, depth + 1); });
                return;
            }
            case qb_field_record_ptr_list: {
                const auto* elements = load<const void* const*>(flat, f.offset2);
                const size_t n = elements != nullptr && e != nullptr ? count_of(f, flat) : 0;
                list(n, depth, [&](size_t i) {
                    if (elements[i] == nullptr) std::fputs("null", out_);
                    else record(*e, elements[i], depth + 1);
                });
                return;
            }
            case qb_field_text_list: {
                const auto* elements = load<const char* const*>(flat, f.offset2);
                const size_t n = elements != nullptr ? count_of(f, flat) : 0;
                list(n, depth, [&](size_t i) { text(elements[i]); });
                return;
            }
            case qb_field_int_list: {
                const auto* elements = load<const int*>(flat, f.offset2);
                const size_t n = elements != nullptr ? count_of(f, flat) : 0;
                list(n, depth, [&](size_t i) { std::fprintf(out_, "%d", elements[i]); });
                return;
            }
            case qb_field_record_slots: {
                const auto* slots = static_cast<const void* const*>(at(flat, f.offset));
                list(f.size, depth, [&](size_t i) {
                    if (slots[i] == nullptr || e == nullptr) std::fputs("null", out_);
                    else record(*e, slots[i], depth + 1);
                });
                return;
            }
        }
        std::fputs("null", out_);
    }

    FILE* out_;
};

// ---- the shape of a record's JSON ----

std::string shape_of(const qb_field_info& f) {
    const qb_record_info* e = element_of(f);
    const std::string element = e != nullptr ? e->flat_name : "?";
    switch (f.kind) {
        case qb_field_int:
        case qb_field_long: return "integer, -2147483648..2147483647";
        case qb_field_uint: return "integer, 0..4294967295";
        case qb_field_ushort: return "integer, 0..65535";
        case qb_field_uchar: return "integer, 0..255";
        case qb_field_text:
        case qb_field_text_octets: return "string, null (sent as \"\") or {\"hex\": \"...\"}";
        case qb_field_octets:
            return f.optional ? "hex string, or null when absent" : "hex string (its octet count goes into " +
                                                                        std::string(f.count_name != nullptr ? f.count_name : "the length") + ")";
        case qb_field_fixed_octets: return "hex string of exactly " + std::to_string(f.size) + " octets";
        case qb_field_record: return "object: " + element;
        case qb_field_optional_record: return "object: " + element + ", or null when absent";
        case qb_field_record_list:
        case qb_field_record_ptr_list: return "array of objects: " + element;
        case qb_field_text_list: return "array of strings";
        case qb_field_int_list: return "array of integers, -2147483648..2147483647";
        case qb_field_record_slots:
            return "array of up to " + std::to_string(f.size) + " slots, each null (empty) or an object: " + element;
    }
    return "?";
}

}  // namespace

void json_to_record(std::span<const unsigned char> text, const qb_record_info& info, void* flat) {
    const line_index lines(text);
    const document doc = parse_document(text, lines);
    filler(doc).record(info, flat, doc.root, "");
}

int json_to_int(std::span<const unsigned char> text) {
    const line_index lines(text);
    const document doc = parse_document(text, lines);
    return filler(doc).integer32(doc.root, "");
}

void write_record_json(FILE* out, const qb_record_info& info, const void* flat) {
    writer(out).record(info, flat, 0);
    std::fputc('\n', out);
}

void write_json_shape(FILE* out, const qb_record_info& info) {
    std::fputs("{\n", out);
    for (size_t i = 0; i < info.field_count; ++i) {
        const qb_field_info& f = info.fields[i];
        std::fprintf(out, "  \"%s\": <%s>%s\n", f.name, shape_of(f).c_str(), i + 1 < info.field_count ? "," : "");
    }
    std::fputs("}\n", out);
}

}  // namespace qbtool
