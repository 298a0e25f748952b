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
#include <deque>
#include <iterator>
#include <limits>
#include <map>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "tools/flat/record_tree.h"
#include "tools/qbasn/common.h"
#include "tools/qbasn/hex.h"
#include "tools/qbasn/text.h"

namespace qbtool {

namespace {

using ojson = nlohmann::ordered_json;

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

using qbflat::index_path;
using qbflat::member_path;

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
    bool number_float(ojson::number_float_t v, const std::string& text) {
        // An integer too large for 64 bits arrives here as a float; it is
        // kept as its digits (in a binary value, which JSON text never
        // yields) so it is reported as the integer out of range it is.
        if (text.find_first_of(".eE") == std::string::npos) return add(ojson::binary(ojson::binary_t::container_type(text.begin(), text.end()))) != nullptr;
        return add(ojson(v)) != nullptr;
    }
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

// ---- the document as a tree of the flat-record conversion ----

// json_tree: a parsed document read by qbflat::fill_record. Texts are
// strings or {"hex": "..."}; octet strings are hex strings.
class json_tree final : public qbflat::tree_reader {
public:
    static const ojson& of(node n) { return *static_cast<const ojson*>(n); }

    value_kind kind(node n) const override {
        const ojson& j = of(n);
        if (j.is_binary()) return value_kind::integer;  // an integer beyond 64 bits (see builder::number_float)
        if (j.is_null()) return value_kind::null;
        if (j.is_boolean()) return value_kind::boolean;
        if (j.is_number_float()) return value_kind::fractional;
        if (j.is_number()) return value_kind::integer;
        if (j.is_string()) return value_kind::text;
        if (j.is_array()) return value_kind::list;
        if (j.is_object()) return value_kind::record;
        return value_kind::other;
    }
    std::string kind_name(node n) const override {
        const ojson& j = of(n);
        if (j.is_number_float()) return "a fractional number";
        if (j.is_number() || j.is_binary()) return "a number";
        if (j.is_null()) return "null";
        if (j.is_boolean()) return "a boolean";
        if (j.is_string()) return "a string";
        if (j.is_array()) return "an array";
        return "an object";
    }
    const char* record_word() const override { return "an object"; }
    const char* list_word() const override { return "an array"; }
    const char* integer_word() const override { return "an integer"; }

    std::optional<long long> integer(node n) const override {
        const ojson& j = of(n);
        if (j.is_binary()) return std::nullopt;
        if (j.is_number_unsigned()) {
            const auto u = j.get<std::uint64_t>();
            if (u > static_cast<std::uint64_t>(std::numeric_limits<long long>::max())) return std::nullopt;
            return static_cast<long long>(u);
        }
        return j.get<std::int64_t>();
    }
    std::string integer_text(node n) const override {
        const ojson& j = of(n);
        if (j.is_binary()) return std::string(j.get_binary().begin(), j.get_binary().end());
        return j.is_number_unsigned() ? std::to_string(j.get<std::uint64_t>()) : std::to_string(j.get<std::int64_t>());
    }
    std::size_t list_size(node n) const override { return of(n).size(); }
    node list_item(node n, std::size_t i) const override { return &of(n)[i]; }
    std::size_t member_count(node n) const override { return of(n).size(); }
    std::vector<std::string> member_names(node n, const qbflat::value_path&) const override {
        std::vector<std::string> names;
        for (const auto& item : of(n).items()) names.push_back(item.key());
        return names;
    }
    node find_member(node n, const char* name) const override {
        const ojson& j = of(n);
        const auto it = j.find(name);
        return it == j.end() ? nullptr : &*it;
    }
    std::optional<std::string_view> text(node n, const qbflat::value_path& path) const override {
        const ojson& j = of(n);
        if (j.is_null()) return std::nullopt;
        if (j.is_string()) return std::string_view(j.get_ref<const std::string&>());
        if (j.is_object() && j.size() == 1 && j.contains("hex")) return octets(&j["hex"], qbflat::value_path(path, "hex"));
        throw qbflat::fill_error(qbflat::fill_error::kind::type, path.str(),
                                 "expected a string, null or {\"hex\": \"...\"}, got " + kind_name(n));
    }
    std::string_view octets(node n, const qbflat::value_path& path) const override {
        const ojson& j = of(n);
        if (!j.is_string()) throw qbflat::fill_error(qbflat::fill_error::kind::type, path.str(), "expected a hex string, got " + kind_name(n));
        std::string why;
        const auto bytes = parse_hex_string(j.get_ref<const std::string&>(), why);
        if (!bytes) throw qbflat::fill_error(qbflat::fill_error::kind::value, path.str(), "not a hex string: " + why);
        return converted_.emplace_back(bytes->begin(), bytes->end());
    }

private:
    mutable std::deque<std::string> converted_;  // octets parsed from hex, kept while the fill runs
};

// fill: runs a conversion from the document; a value that cannot go into the
// flat record ends the command naming its line: "JSON line N: path: why".
template <class Convert>
auto fill(const document& doc, Convert convert) {
    try {
        return convert(json_tree(), static_cast<qbflat::tree_reader::node>(&doc.root));
    } catch (const qbflat::fill_error& e) {
        const auto it = doc.lines.find(e.path());
        const std::string line = it != doc.lines.end() ? "JSON line " + std::to_string(it->second) : std::string("JSON");
        input_error(one_line(line + ": " + e.what()));
    }
}

// ---- flat record to JSON ----

// json_writer: writes the walked record as pretty-printed JSON (two-space
// indent), straight to the stream. Texts that are not UTF-8 (a local code
// set, or a peer's mistake) keep their exact octets as {"hex": "..."}.
class json_writer final : public qbflat::tree_builder {
public:
    explicit json_writer(FILE* out) : out_(out) {}

    void begin_record(const qb_record_info&) override { open('{'); }
    void member(const qb_field_info& f) override {
        next_line();
        write_json_string(out_, std::span(reinterpret_cast<const unsigned char*>(f.name), std::strlen(f.name)));
        std::fputs(": ", out_);
    }
    void end_record() override { close('}'); }
    void begin_list(std::size_t) override {
        element();
        open('[');
    }
    void end_list() override { close(']'); }
    void integer(long long v) override {
        element();
        std::fprintf(out_, "%lld", v);
    }
    void text(std::span<const unsigned char> bytes) override {
        element();
        if (valid_utf8(bytes)) {
            write_json_string(out_, bytes);
        } else {
            std::fputs("{\"hex\": ", out_);
            quoted_hex(bytes);
            std::fputc('}', out_);
        }
    }
    void octets(std::span<const unsigned char> bytes) override {
        element();
        quoted_hex(bytes);
    }
    void null() override {
        element();
        std::fputs("null", out_);
    }

private:
    struct level {
        bool list;
        std::size_t items;
    };

    void indent(std::size_t depth) {
        for (std::size_t i = 0; i < depth; ++i) std::fputs("  ", out_);
    }

    // next_line: the separator and indent before a member or an element.
    void next_line() {
        level& top = open_.back();
        std::fputs(top.items++ == 0 ? "\n" : ",\n", out_);
        indent(open_.size());
    }

    // element: a value that starts a list element (a record's member was
    // announced by member()); a record opens on the member's own line.
    void element() {
        if (!open_.empty() && open_.back().list) next_line();
    }

    void open(char bracket) {
        if (bracket == '{') element();
        std::fputc(bracket, out_);
        open_.push_back({bracket == '[', 0});
    }

    // close: "{}" and "[]" when empty, else the bracket on a line of its own.
    void close(char bracket) {
        const bool empty = open_.back().items == 0;
        open_.pop_back();
        if (!empty) {
            std::fputc('\n', out_);
            indent(open_.size());
        }
        std::fputc(bracket, out_);
    }

    void quoted_hex(std::span<const unsigned char> bytes) {
        std::fputc('"', out_);
        std::fputs(hex_digits(bytes).c_str(), out_);
        std::fputc('"', out_);
    }

    FILE* out_;
    std::vector<level> open_;
};

constexpr qbflat::value_words kJsonWords{
    "integer", "string, null (sent as \"\") or {\"hex\": \"...\"}", "array of strings", "hex string", "object", "array", "null"};

}  // namespace

void json_to_record(std::span<const unsigned char> text, const qb_record_info& info, void* flat) {
    const line_index lines(text);
    const document doc = parse_document(text, lines);
    fill(doc, [&](const json_tree& tree, qbflat::tree_reader::node root) {
        qbflat::fill_record(tree, root, info, flat);
        return 0;
    });
}

int json_to_int(std::span<const unsigned char> text) {
    const line_index lines(text);
    const document doc = parse_document(text, lines);
    return fill(doc, [](const json_tree& tree, qbflat::tree_reader::node root) { return qbflat::fill_int32(tree, root); });
}

void write_record_json(FILE* out, const qb_record_info& info, const void* flat) {
    json_writer writer(out);
    qbflat::walk_record(info, flat, writer);
    std::fputc('\n', out);
}

void write_json_shape(FILE* out, const qb_record_info& info) {
    std::fputs("{\n", out);
    for (size_t i = 0; i < info.field_count; ++i) {
        const qb_field_info& f = info.fields[i];
        std::fprintf(out, "  \"%s\": <%s>%s\n", f.name, qbflat::shape_of(f, kJsonWords).c_str(), i + 1 < info.field_count ? "," : "");
    }
    std::fputs("}\n", out);
}

}  // namespace qbtool
