// tools/qbasn/commands.cpp - `qbasn guess`, `qbasn diff` and `qbasn template`.
//
// guess tries every record type of the reflection table and every object type
// of the untyped entry point on the message, keeps those that give back the
// very octets when the decoded record is encoded again, and ranks them by how
// much of the message their fields name. diff walks both decoded records into
// trees of values and compares them member by member. template writes a JSON
// record with every field filled, read back through the tool's own JSON
// reader and written by its JSON writer, so it is exactly what decode prints.
#include "tools/qbasn/commands.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <utility>

#include "qbasn.h"
#include "qbasn/cxx.h"
#include "tools/flat/record_tree.h"
#include "tools/qbasn/common.h"
#include "tools/qbasn/hex.h"
#include "tools/qbasn/json_record.h"
#include "tools/qbasn/text.h"
#include "tools/qbasn/types.h"

namespace qbtool {

namespace {

constexpr int kTypedEnvelopeVersion = 2;       // the typed entry points write and read version 2
constexpr unsigned char kPayloadOffset = 0x04;  // what the library writes as the envelope's first octet
constexpr unsigned kObjectTypes[] = {kCertRequestType, kUpdateListType, kIntegerType};

// has_envelope: the octets start with what the library reads as an envelope:
// a nonzero payload offset, a version octet, AC DC, and something after it.
bool has_envelope(std::span<const unsigned char> m) {
    return m.size() > 4 && m[0] != 0 && m[2] == 0xAC && m[3] == 0xDC;
}

// The record behind object type 259 or 260, or null when the library does
// not describe it (then that object type is not tried).
const qb_record_info* object_record(unsigned object_type) {
    return qb_record_find(object_type == kCertRequestType ? "cert_request_in" : "kxobj_update_list_s_t");
}

qb_asn_buffer_t view_of(std::vector<unsigned char>& bytes) {
    return qb_asn_buffer_t{static_cast<unsigned int>(bytes.size()), bytes.empty() ? nullptr : bytes.data()};
}

bool same_octets(std::span<const unsigned char> a, std::span<const unsigned char> b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin());
}

std::string plural(std::size_t n, const char* one, const char* many) {
    return std::to_string(n) + " " + (n == 1 ? one : many);
}

// ---- guess ----

// fit_counter: walks a decoded record and counts the frames its fields name
// and the members it leaves empty or absent (see guess_candidate).
class fit_counter final : public qbflat::tree_builder {
public:
    std::size_t named = 0;
    std::size_t empty = 0;

    void begin_record(const qb_record_info&) override {
        value();
        open_.push_back({false, 0});
    }
    void member(const qb_field_info&) override {}
    void end_record() override { open_.pop_back(); }
    void begin_list(std::size_t) override {
        value();
        open_.push_back({true, 0});
    }
    void end_list() override {
        if (open_.back().used == 0) ++empty;  // an empty list, or slots none of which is used
        open_.pop_back();
    }
    void integer(long long) override { value(); }
    void text(std::span<const unsigned char>) override { value(); }
    void octets(std::span<const unsigned char>) override { value(); }
    void null() override {
        // A member that is null is absent on the wire; a null list element
        // is an empty slot (a NULL no field names, or nothing at all).
        if (!open_.empty() && !open_.back().list) ++empty;
    }

private:
    struct level {
        bool list;
        std::size_t used;
    };

    void value() {
        ++named;
        if (!open_.empty() && open_.back().list) ++open_.back().used;
    }

    std::vector<level> open_;
};

guess_candidate counted(const qb_record_info* info, unsigned object_type, int version, const void* flat) {
    guess_candidate c;
    c.info = info;
    c.object_type = object_type;
    c.envelope_version = version;
    if (info != nullptr) {
        fit_counter counter;
        qbflat::walk_record(*info, flat, counter);
        c.named_frames = counter.named;
        c.empty_members = counter.empty;
    } else {
        c.named_frames = 1;  // the bare INTEGER
    }
    return c;
}

// trial: one way of reading the message. Each decode gets a copy of the
// message, so nothing a decode might do to its input affects the comparison.
struct trial {
    std::span<const unsigned char> message;
    std::vector<guess_candidate> fits;
    std::vector<std::string> decode_only;  // decode, but re-encode other octets

    void typed(const qb_record_info& info) {
        std::vector<unsigned char> copy(message.begin(), message.end());
        qbasn::result<qbasn::any_record> r = qbasn::decode_any(info, copy);
        if (!r) return;
        qbasn::result<qbasn::buffer> e = qbasn::encode_any(r.value());
        if (!e || !same_octets(e.value().bytes(), message)) {
            decode_only.emplace_back(info.flat_name);
            return;
        }
        fits.push_back(counted(&info, 0, kTypedEnvelopeVersion, r.value().flat()));
    }

    void untyped(unsigned object_type, int version) {
        const std::string name = "object type " + std::to_string(object_type);
        std::vector<unsigned char> copy(message.begin(), message.end());
        qb_asn_buffer_t in = view_of(copy);
        if (object_type == kIntegerType) {
            int value = 0;
            if (qbasn_decode_obj(version, in, object_type, &value) != 0) return;
            qb_asn_buffer_t raw{};
            const int rc = qbasn_encode_obj(version, &value, object_type, raw);
            qbasn::buffer out(rc == 0 ? raw : qb_asn_buffer_t{});
            if (rc != 0 || !same_octets(out.bytes(), message)) {
                decode_only.push_back(name);
                return;
            }
            fits.push_back(counted(nullptr, object_type, version, nullptr));
            return;
        }
        const qb_record_info* info = object_record(object_type);
        if (info == nullptr) return;
        qbasn::any_record record(*info);  // released through the record's free function, whatever happens
        if (qbasn_decode_obj(version, in, object_type, record.flat()) != 0) return;
        qb_asn_buffer_t raw{};
        const int rc = qbasn_encode_obj(version, record.flat(), object_type, raw);
        qbasn::buffer out(rc == 0 ? raw : qb_asn_buffer_t{});
        if (rc != 0 || !same_octets(out.bytes(), message)) {
            decode_only.push_back(name);
            return;
        }
        fits.push_back(counted(info, object_type, version, record.flat()));
    }
};

// other_names: the names `--type` finds a record by besides its flat name.
std::string other_names(const qb_record_info& info) {
    std::vector<std::string> parts;
    const std::string flat = info.flat_name;
    const std::string type = info.name;
    const std::string brief = qbflat::short_form(info.flat_name);
    if (type != flat) parts.push_back("type " + type);
    if (brief != flat && brief != type) parts.push_back("short form " + brief);
    std::string text;
    for (const std::string& p : parts) text += (text.empty() ? "" : ", ") + p;
    return text.empty() ? text : " (" + text + ")";
}

std::string label(const guess_candidate& c) {
    if (c.object_type == 0) return std::string(c.info->flat_name) + other_names(*c.info);
    return "object type " + std::to_string(c.object_type) + ", envelope version " + std::to_string(c.envelope_version) +
           " (" + (c.info != nullptr ? c.info->flat_name : "a bare INTEGER") + ")";
}

std::string no_fit_reason(std::span<const unsigned char> m, const std::vector<std::string>& decode_only) {
    std::string why = "envelope version " + std::to_string(m[1]);
    if (m[1] != kTypedEnvelopeVersion) why += ", which only object types 259, 260 and 262 read";
    if (m[0] != kPayloadOffset)
        why += "; payload offset " + std::to_string(m[0]) + " where the library writes " + std::to_string(kPayloadOffset);
    if (decode_only.empty()) return why + "; no type decodes it";
    constexpr std::size_t kShown = 4;
    std::string names;
    for (std::size_t i = 0; i < decode_only.size() && i < kShown; ++i) names += (i == 0 ? "" : ", ") + decode_only[i];
    if (decode_only.size() > kShown) names += " and " + std::to_string(decode_only.size() - kShown) + " more";
    return why + "; " + names + (decode_only.size() == 1 ? " decodes" : " decode") + " it but re-encode" +
           (decode_only.size() == 1 ? "s" : "") + " other octets";
}

struct guess_result {
    std::vector<guess_candidate> fits;
    std::vector<std::string> decode_only;
};

guess_result run_guess(std::span<const unsigned char> message) {
    if (message.empty()) input_error("the message is empty");
    if (!has_envelope(message))
        input_error("not a qbasn message: it does not start with the envelope (04, a version octet, AC DC); "
                    "qbasn dump shows its frames");
    trial t{message, {}, {}};
    {
        // Failed trial decodes are expected; what the library says about
        // them on standard error is not the user's concern.
        stderr_capture quiet;
        std::size_t n = 0;
        const qb_record_info* const* records = qb_record_list(&n);
        for (std::size_t i = 0; i < n; ++i) t.typed(*records[i]);
        for (unsigned object_type : kObjectTypes) t.untyped(object_type, message[1]);
        (void)quiet.take();
    }
    // Stable: equal ranks keep the order they were tried in.
    std::stable_sort(t.fits.begin(), t.fits.end(), [](const guess_candidate& x, const guess_candidate& y) {
        if (x.named_frames != y.named_frames) return x.named_frames > y.named_frames;
        return x.empty_members < y.empty_members;
    });
    return {std::move(t.fits), std::move(t.decode_only)};
}

// ---- diff ----

// value_node: one value of a decoded record, as the tool's JSON shows it.
struct value_node {
    enum class kind { null, integer, text, octets, record, list };
    kind k = kind::null;
    long long integer = 0;
    std::vector<unsigned char> bytes;                          // text, octets
    std::vector<std::pair<std::string, value_node>> members;  // record, in wire order
    std::vector<value_node> items;                             // list

    bool operator==(const value_node&) const = default;
};

// tree_maker: builds the value tree of a walked record.
class tree_maker final : public qbflat::tree_builder {
public:
    value_node root;

    void begin_record(const qb_record_info&) override { open(value_node::kind::record); }
    void member(const qb_field_info& f) override { pending_ = f.name; }
    void end_record() override { open_.pop_back(); }
    void begin_list(std::size_t) override { open(value_node::kind::list); }
    void end_list() override { open_.pop_back(); }
    void integer(long long v) override {
        value_node& n = place();
        n.k = value_node::kind::integer;
        n.integer = v;
    }
    void text(std::span<const unsigned char> bytes) override {
        value_node& n = place();
        n.k = value_node::kind::text;
        n.bytes.assign(bytes.begin(), bytes.end());
    }
    void octets(std::span<const unsigned char> bytes) override {
        value_node& n = place();
        n.k = value_node::kind::octets;
        n.bytes.assign(bytes.begin(), bytes.end());
    }
    void null() override { place(); }

private:
    // place: a new value in the open record or list (or the root). Children
    // are only added to the innermost open value, so the pointers to the
    // enclosing ones stay valid.
    value_node& place() {
        if (open_.empty()) return root;
        value_node& top = *open_.back();
        if (top.k == value_node::kind::list) return top.items.emplace_back();
        return top.members.emplace_back(pending_, value_node()).second;
    }
    void open(value_node::kind k) {
        value_node& n = place();
        n.k = k;
        open_.push_back(&n);
    }

    std::vector<value_node*> open_;
    std::string pending_;
};

// write_value: a value on one line, as `qbasn decode` writes it: texts as
// JSON strings ({"hex": "..."} when not UTF-8), octets as hex strings.
void write_value(FILE* out, const value_node& v) {
    switch (v.k) {
        case value_node::kind::null: std::fputs("null", out); return;
        case value_node::kind::integer: std::fprintf(out, "%lld", v.integer); return;
        case value_node::kind::text:
            if (valid_utf8(v.bytes)) {
                write_json_string(out, v.bytes);
            } else {
                std::fprintf(out, "{\"hex\": \"%s\"}", hex_digits(v.bytes).c_str());
            }
            return;
        case value_node::kind::octets: std::fprintf(out, "\"%s\"", hex_digits(v.bytes).c_str()); return;
        case value_node::kind::record:
            std::fputc('{', out);
            for (std::size_t i = 0; i < v.members.size(); ++i) {
                if (i != 0) std::fputs(", ", out);
                const std::string& name = v.members[i].first;
                write_json_string(out, std::span(reinterpret_cast<const unsigned char*>(name.data()), name.size()));
                std::fputs(": ", out);
                write_value(out, v.members[i].second);
            }
            std::fputc('}', out);
            return;
        case value_node::kind::list:
            std::fputc('[', out);
            for (std::size_t i = 0; i < v.items.size(); ++i) {
                if (i != 0) std::fputs(", ", out);
                write_value(out, v.items[i]);
            }
            std::fputc(']', out);
            return;
    }
}

class differ {
public:
    differ(FILE* out, std::string name_a, std::string name_b) : out_(out), name_a_(std::move(name_a)), name_b_(std::move(name_b)) {}

    std::size_t differences() const { return count_; }

    void compare(const value_node& a, const value_node& b, const std::string& path) {
        using k = value_node::kind;
        if (a.k == k::record && b.k == k::record && a.members.size() == b.members.size()) {
            for (std::size_t i = 0; i < a.members.size(); ++i)
                compare(a.members[i].second, b.members[i].second, qbflat::member_path(path, a.members[i].first));
            return;
        }
        if (a.k == k::list && b.k == k::list) {
            const std::size_t na = a.items.size(), nb = b.items.size();
            if (na != nb) {
                start(path);
                std::fprintf(out_, "%s -> %s\n", plural(na, "element", "elements").c_str(), plural(nb, "element", "elements").c_str());
            }
            for (std::size_t i = 0; i < std::min(na, nb); ++i) compare(a.items[i], b.items[i], qbflat::index_path(path, i));
            for (std::size_t i = nb; i < na; ++i) only_in(name_a_, a.items[i], qbflat::index_path(path, i));
            for (std::size_t i = na; i < nb; ++i) only_in(name_b_, b.items[i], qbflat::index_path(path, i));
            return;
        }
        if (a == b) return;
        start(path);
        write_value(out_, a);
        std::fputs(" -> ", out_);
        write_value(out_, b);
        std::fputc('\n', out_);
    }

private:
    void start(const std::string& path) {
        ++count_;
        std::fprintf(out_, "%s: ", path.empty() ? "value" : path.c_str());
    }

    void only_in(const std::string& name, const value_node& v, const std::string& path) {
        start(path);
        std::fprintf(out_, "only in %s: ", name.c_str());
        write_value(out_, v);
        std::fputc('\n', out_);
    }

    FILE* out_;
    std::string name_a_;
    std::string name_b_;
    std::size_t count_ = 0;
};

// call_quietly: runs `call` (a library status) with what the library prints
// on standard error kept aside; a nonzero status ends the command with one
// error line that carries the library's words too.
template <class Call>
void call_quietly(const std::string& context, Call call) {
    stderr_capture library;
    const unsigned int status = call();
    const std::string note = library.take();
    if (status != 0) status_error(status, with_library_note(context, note));
    if (!note.empty()) std::fprintf(stderr, "%s\n", note.c_str());
}

value_node typed_tree(const qb_record_info& info, std::span<const unsigned char> message, const std::string& path) {
    std::vector<unsigned char> copy(message.begin(), message.end());
    std::optional<qbasn::result<qbasn::any_record>> r;
    call_quietly("decoding " + describe_input(path) + " as " + info.flat_name, [&] {
        r.emplace(qbasn::decode_any(info, copy));
        return r->status();
    });
    tree_maker maker;
    qbflat::walk_record(info, r->value().flat(), maker);
    return std::move(maker.root);
}

value_node untyped_tree(unsigned object_type, int version, std::span<const unsigned char> message, const std::string& path) {
    std::vector<unsigned char> copy(message.begin(), message.end());
    qb_asn_buffer_t in = view_of(copy);
    const std::string context = "decoding " + describe_input(path) + " as object type " + std::to_string(object_type) +
                                ", envelope version " + std::to_string(version);
    if (object_type == kIntegerType) {
        int value = 0;
        call_quietly(context, [&] { return static_cast<unsigned>(qbasn_decode_obj(version, in, object_type, &value)); });
        value_node n;
        n.k = value_node::kind::integer;
        n.integer = value;
        return n;
    }
    const qb_record_info& info = untyped_record(object_type);
    qbasn::any_record record(info);
    call_quietly(context, [&] { return static_cast<unsigned>(qbasn_decode_obj(version, in, object_type, record.flat())); });
    tree_maker maker;
    qbflat::walk_record(info, record.flat(), maker);
    return std::move(maker.root);
}

int report(const value_node& a, const value_node& b, const std::string& path_a, const std::string& path_b, FILE* out) {
    differ d(out, describe_input(path_a), describe_input(path_b));
    d.compare(a, b, "");
    if (d.differences() == 0) {
        std::fputs("no differences\n", out);
        return kExitOk;
    }
    return 1;
}

// ---- template ----

// template_json: the JSON text of a filled record. `enclosing` holds the
// records the value sits in; a record already enclosing it twice gets no
// further copy (its lists of itself stay empty, its optional self null).
class template_json {
public:
    std::string text;

    void record(const qb_record_info& info) {
        if (enclosing_.size() > qbflat::kMaxTreeDepth)
            input_error(std::string("record ") + info.flat_name + " holds itself without end; no template can be written");
        enclosing_.push_back(&info);
        text += '{';
        for (std::size_t i = 0; i < info.field_count; ++i) {
            if (i != 0) text += ", ";
            text += '"';
            text += info.fields[i].name;
            text += "\": ";
            field(info.fields[i]);
        }
        text += '}';
        enclosing_.pop_back();
    }

private:
    bool room_for(const qb_record_info* e) const {
        return e != nullptr && std::count(enclosing_.begin(), enclosing_.end(), e) < 2;
    }

    void placeholder(const char* name) {
        text += "\"<";
        text += name;
        text += ">\"";
    }

    void field(const qb_field_info& f) {
        const qb_record_info* e = f.element != nullptr ? f.element() : nullptr;
        switch (f.kind) {
            case qb_field_int:
            case qb_field_uint:
            case qb_field_long:
            case qb_field_ushort:
            case qb_field_uchar: text += '0'; return;
            case qb_field_text:
            case qb_field_text_octets: placeholder(f.name); return;
            case qb_field_octets: text += "\"00\""; return;
            case qb_field_fixed_octets:
                text += '"';
                for (std::size_t i = 0; i < f.size; ++i) text += "00";
                text += '"';
                return;
            case qb_field_record:
                if (e == nullptr) break;
                record(*e);
                return;
            case qb_field_optional_record:
                if (room_for(e))
                    record(*e);
                else
                    text += "null";
                return;
            case qb_field_record_list:
            case qb_field_record_ptr_list:
            case qb_field_record_slots:
                // Slots: the first used; the others stay empty (null in the JSON written).
                text += '[';
                if (room_for(e) && (f.kind != qb_field_record_slots || f.size > 0)) record(*e);
                text += ']';
                return;
            case qb_field_text_list:
                text += '[';
                placeholder(f.name);
                text += ']';
                return;
            case qb_field_int_list: text += "[0]"; return;
        }
        input_error(std::string("field ") + f.name + " is of a kind the template does not know");
    }

    std::vector<const qb_record_info*> enclosing_;
};

}  // namespace

std::vector<guess_candidate> guess_candidates(std::span<const unsigned char> message) {
    return run_guess(message).fits;
}

void guess_types(std::span<const unsigned char> message, FILE* out) {
    const guess_result r = run_guess(message);
    if (r.fits.empty())
        throw tool_error(kExitStatus, "no record type decodes and re-encodes this message (" + no_fit_reason(message, r.decode_only) + ")");
    for (const guess_candidate& c : r.fits) {
        const std::string empty =
            c.empty_members == 0 ? std::string("every member present") : plural(c.empty_members, "member", "members") + " empty or absent";
        std::fprintf(out, "%s  %s named, %s\n", label(c).c_str(), plural(c.named_frames, "frame", "frames").c_str(), empty.c_str());
    }
}

int diff_messages(const qb_record_info& info, std::span<const unsigned char> a, std::span<const unsigned char> b,
                  const std::string& path_a, const std::string& path_b, FILE* out) {
    const value_node ta = typed_tree(info, a, path_a);
    const value_node tb = typed_tree(info, b, path_b);
    return report(ta, tb, path_a, path_b, out);
}

int diff_objects(unsigned object_type, int envelope_version, std::span<const unsigned char> a,
                 std::span<const unsigned char> b, const std::string& path_a, const std::string& path_b, FILE* out) {
    if (object_type != kCertRequestType && object_type != kUpdateListType && object_type != kIntegerType)
        input_error("object type " + std::to_string(object_type) + " is none of 259, 260 and 262");
    const value_node ta = untyped_tree(object_type, envelope_version, a, path_a);
    const value_node tb = untyped_tree(object_type, envelope_version, b, path_b);
    return report(ta, tb, path_a, path_b, out);
}

void write_template(FILE* out, const qb_record_info& info) {
    template_json t;
    t.record(info);
    // Through the tool's own reader and writer: the template is a record the
    // encoder takes, written exactly as decode writes one.
    qbasn::any_record record(info);
    json_to_record(std::span(reinterpret_cast<const unsigned char*>(t.text.data()), t.text.size()), info, record.flat());
    write_record_json(out, info, record.flat());
}

void write_object_template(FILE* out, unsigned object_type) {
    if (object_type == kIntegerType) {
        std::fputs("0\n", out);
        return;
    }
    if (object_type != kCertRequestType && object_type != kUpdateListType)
        input_error("object type " + std::to_string(object_type) + " is none of 259, 260 and 262");
    write_template(out, untyped_record(object_type));
}

}  // namespace qbtool
