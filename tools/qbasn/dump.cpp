// tools/qbasn/dump.cpp - the BER walker behind `qbasn dump`.
//
// The walker reads identifier and length octets itself (content_checks.h)
// and checks every count against what is left of the input (or of the
// enclosing frame) before it touches an octet, so any input - truncated,
// random, hostile - ends in findings naming the offset, never in a read
// outside the bytes. Output goes out line by line as the frames are met; a
// malformed frame is shown as far as it goes and the walk carries on where
// the frames can still be told apart.
#include "tools/qbasn/dump.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include <openssl/objects.h>

#include "tools/qbasn/common.h"
#include "tools/qbasn/content_checks.h"
#include "tools/qbasn/text.h"
#include "tools/qbasn/types.h"

namespace qbtool {

namespace {

using header = ber_header;

// Octets of an OCTET STRING shown as characters beside the hex.
constexpr size_t kPreviewOctets = 32;

// ANSI colours of the parts of a line (with dump_options::color).
constexpr const char* kColorFrame = "\033[2m";      // offset, depth, form, length: dim
constexpr const char* kColorTag = "\033[1;36m";     // universal tag names: bold cyan
constexpr const char* kColorOtherTag = "\033[35m";  // other classes: magenta
constexpr const char* kColorValue = "\033[33m";     // numbers, OIDs, hex: yellow
constexpr const char* kColorText = "\033[32m";      // texts: green
constexpr const char* kColorLabel = "\033[34m";     // record fields: blue
constexpr const char* kColorError = "\033[1;31m";   // error lines: bold red
constexpr const char* kColorWarning = "\033[1;33m"; // warning lines: bold yellow
constexpr const char* kColorReset = "\033[0m";

// The envelope: header length, version, signature AC DC.
constexpr size_t kEnvelopeSize = 4;
constexpr unsigned char kSignature0 = 0xAC;
constexpr unsigned char kSignature1 = 0xDC;

// The blank offset and depth columns of a line that is not a frame's.
constexpr const char* kBlankColumns = "           ";

bool is_text_tag(std::uint64_t tag) {
    switch (tag) {
        case 7: case 12: case 18: case 19: case 20: case 21: case 22:
        case 23: case 24: case 25: case 26: case 27:
            return true;
        default:
            return false;
    }
}

bool is_universal(const header& h, std::uint64_t tag) {
    return h.cls == kClassUniversal && !h.tag_too_large && h.tag == tag;
}

bool is_sequence(const header& h) { return is_universal(h, utag::sequence) && h.constructed; }

bool is_eoc(std::span<const unsigned char> b, size_t pos, size_t end) {
    return end - pos >= 2 && b[pos] == 0 && b[pos + 1] == 0;
}

bool has_error(const findings& f) {
    return std::any_of(f.begin(), f.end(), [](const finding& x) { return x.kind == finding_kind::error; });
}

// announced_end: content + length, at most UINT64_MAX.
std::uint64_t announced_end(const header& h) {
    return h.length > UINT64_MAX - h.content ? UINT64_MAX : h.content + h.length;
}

// skip_frame: the offset after the frame at `pos` (before `end`), following
// indefinite lengths to their end-of-contents at any depth without recursion
// (definite frames are stepped over, so only indefinite ones are entered and
// a count of them is all the state); false for a frame that cannot be read
// or does not end before `end`.
bool skip_frame(std::span<const unsigned char> b, size_t pos, size_t end, size_t& after) {
    size_t open = 0;
    size_t p = pos;
    do {
        if (p >= end) return false;
        if (open > 0 && is_eoc(b, p, end)) {
            p += 2;
            --open;
            continue;
        }
        header h;
        std::string why;
        if (!read_ber_header(b, p, end, h, why)) return false;
        if (!h.definite) {
            if (!h.constructed) return false;
            ++open;
            p = h.content;
            continue;
        }
        if (h.length > end - h.content) return false;
        p = h.content + static_cast<size_t>(h.length);
    } while (open > 0);
    after = p;
    return true;
}

bool is_bit_string_parent(const header* parent) {
    return parent != nullptr && is_universal(*parent, utag::bit_string) && parent->constructed;
}

// clean_frame: the frame at `pos` and every frame inside it read without an
// error finding, nesting no deeper than the walker goes; `after` is the
// offset after it. (skip_frame only steps over definite content; this walks
// into it, as the dump would.) A segment of a BIT STRING with unused bits
// is checked here against the segment that follows it, so that no frame is
// read twice.
bool clean_frame(std::span<const unsigned char> b, size_t pos, size_t end, int depth, const header* parent, size_t& after) {
    if (depth > kMaxDumpDepth) return false;
    header h;
    std::string why;
    if (!read_ber_header(b, pos, end, h, why)) return false;
    if (h.definite && (h.length > UINT32_MAX || h.length > end - h.content)) return false;
    if (!h.definite && !h.constructed) return false;
    const size_t stop = h.definite ? h.content + static_cast<size_t>(h.length) : end;
    const std::span<const unsigned char> content =
        h.constructed ? std::span<const unsigned char>() : b.subspan(h.content, stop - h.content);
    findings f;
    header_findings(h, parent, true, content, f);
    if (!h.constructed && h.cls == kClassUniversal && !h.tag_too_large) check_primitive(h.tag, content, f);
    if (has_error(f)) return false;
    if (!h.constructed) {
        after = stop;
        return true;
    }
    const bool segments = is_bit_string_parent(&h);
    bool unused_before = false;  // the previous segment had unused bits
    size_t p = h.content;
    for (;;) {
        if (h.definite && p >= stop) {
            after = stop;
            return true;
        }
        if (!h.definite) {
            if (p >= end) return false;
            if (is_eoc(b, p, end)) {
                after = p + 2;
                return true;
            }
        }
        if (unused_before) return false;  // a segment follows one with unused bits
        const size_t child = p;
        if (!clean_frame(b, p, stop, depth + 1, &h, p)) return false;
        if (segments) {
            header c;  // read cleanly just now
            unused_before = read_ber_header(b, child, stop, c, why) && !c.constructed && c.length > 0 && b[c.content] != 0;
        }
    }
}

// ---- labels: which member of a record a frame carries ----

struct child_key {
    unsigned cls;
    std::uint64_t tag;
    bool constructed;
    bool too_large;
};

bool key_is(const child_key& c, std::uint64_t tag) { return c.cls == kClassUniversal && !c.too_large && c.tag == tag; }

enum class role {
    none,     // nothing known
    leaf,     // a scalar member or list element
    record,   // a record: its children are its members
    list,     // a SEQUENCE OF: children are elements
    slots,    // an array of slots: children are NULL or a record
};

// want: the frame a label needs (for the findings when it does not fit).
enum class want { any, sequence, integer, utf8, null_or_sequence };

struct label {
    role what = role::none;
    std::string path;                         // "attrs[0].name"; empty for the outermost frame
    const qb_record_info* info = nullptr;     // the record (record) or the element record (list, slots)
    const qb_field_info* field = nullptr;     // the member (leaf, list, slots)
    std::string owner;                        // the record (or object type) the frame belongs to
    want expect = want::any;                  // what the frame must be (lists' elements, the outermost frame)
    bool root = false;                        // the outermost frame
};

std::string child_path(const std::string& parent, const char* name) {
    return parent.empty() ? std::string(name) : parent + "." + name;
}

std::string element_path(const std::string& parent, size_t i) { return parent + "[" + std::to_string(i) + "]"; }

// The label of the frame that carries member `f` of the record `owner` at `parent`.
label member_label(const qb_field_info& f, const std::string& parent, const char* owner) {
    label l;
    l.path = child_path(parent, f.name);
    l.field = &f;
    l.owner = owner;
    const qb_record_info* element = f.element != nullptr ? f.element() : nullptr;
    switch (f.kind) {
        case qb_field_record:
        case qb_field_optional_record:
            l.what = element != nullptr ? role::record : role::leaf;
            l.info = element;
            break;
        case qb_field_record_list:
        case qb_field_record_ptr_list:
        case qb_field_text_list:
        case qb_field_int_list:
            l.what = role::list;
            l.info = element;
            break;
        case qb_field_record_slots:
            l.what = role::slots;
            l.info = element;
            break;
        default:
            l.what = role::leaf;
    }
    return l;
}

// The frame a member travels in: its universal tag, the type named in
// findings, and whether its frame must be primitive or constructed.
struct member_frame {
    std::uint64_t tag;
    const char* type;
    bool primitive_only;
    bool constructed_only;
};

member_frame frame_of_member(const qb_field_info& f) {
    switch (f.kind) {
        case qb_field_int:
        case qb_field_uint:
        case qb_field_long:
        case qb_field_ushort:
        case qb_field_uchar:
            return {utag::integer, "INTEGER", true, false};
        case qb_field_text:
            return {utag::utf8_string, "UTF8String", false, false};
        case qb_field_octets:
        case qb_field_fixed_octets:
        case qb_field_text_octets:
            return {utag::octet_string, "OCTET STRING", false, false};  // segmented (constructed) input too
        default:
            return {utag::sequence, "SEQUENCE", false, true};
    }
}

// Whether a frame's identifier is the one the member travels in.
bool member_accepts(const qb_field_info& f, const child_key& c) {
    const member_frame m = frame_of_member(f);
    return key_is(c, m.tag) && !(m.primitive_only && c.constructed) && !(m.constructed_only && !c.constructed);
}

// Whether a member holds text or octets (its frame is a string).
bool is_string_field(const qb_field_info& f) {
    const std::uint64_t tag = frame_of_member(f).tag;
    return tag == utag::utf8_string || tag == utag::octet_string;
}

// A member that could come where the members stopped fitting.
struct candidate {
    std::string type;  // "INTEGER"; empty: the end of the record
    std::string path;
};

// record_fit: how the children of a frame fit a record's members.
struct record_fit {
    std::vector<label> labels;          // per child; none from the first child that does not fit
    bool whole = false;                 // every child has a member and every mandatory member a child
    size_t fitted = 0;                  // the children that fit, a prefix of them
    std::vector<candidate> expected;    // when not whole: what could have come at child `fitted`
};

// member_fit: assigns children in order to the record's members, skipping
// optional members that are absent (backtracking over the few optional
// ones, each state of member and child tried once). When no assignment
// takes every child, the labels are those of the longest prefix of children
// that fits, and `expected` names what could have come next. Records with a
// leading version (an INTEGER that has no flat field) take it first.
record_fit member_fit(const qb_record_info& info, const std::string& path, const std::vector<child_key>& children) {
    record_fit fit;
    const size_t n = children.size(), fields = info.field_count;
    fit.labels.resize(n);
    size_t first = 0;
    if (info.leading_version != 0) {
        if (n == 0 || !key_is(children[0], utag::integer) || children[0].constructed) {
            fit.expected.push_back({"INTEGER", child_path(path, "version")});
            return fit;
        }
        fit.labels[0].what = role::leaf;
        fit.labels[0].path = child_path(path, "version");
        fit.labels[0].owner = info.flat_name;
        first = 1;
    }
    // Every step takes a member, so at most `fields` children past `first` are reached.
    const size_t reach = std::min(n, first + fields);
    std::vector<char> seen((fields + 1) * (reach + 1), 0);
    std::vector<const qb_field_info*> assigned(n, nullptr), best_assigned;
    size_t best = first;
    const auto visit = [&](auto& self, size_t fi, size_t ci) -> bool {
        char& state = seen[fi * (reach + 1) + ci];
        if (state != 0) return false;  // tried before, and it failed
        state = 1;
        if (ci > best || best_assigned.empty()) {
            best = std::max(best, ci);
            best_assigned = assigned;
        }
        if (fi == fields) return ci == n;
        const qb_field_info& f = info.fields[fi];
        if (ci < n && member_accepts(f, children[ci])) {
            assigned[ci] = &f;
            if (self(self, fi + 1, ci + 1)) return true;
            assigned[ci] = nullptr;
        }
        return f.optional != 0 && self(self, fi + 1, ci);
    };
    if (visit(visit, 0, first)) {
        fit.whole = true;
        fit.fitted = n;
        best_assigned = assigned;
    } else {
        fit.fitted = best;
        for (size_t fi = 0; fi <= fields; ++fi) {
            if (seen[fi * (reach + 1) + best] == 0) continue;
            // From this member on: each optional one, up to the first mandatory.
            size_t g = fi;
            for (; g < fields; ++g) {
                const qb_field_info& f = info.fields[g];
                candidate c{frame_of_member(f).type, child_path(path, f.name)};
                if (std::none_of(fit.expected.begin(), fit.expected.end(), [&](const candidate& x) { return x.path == c.path; }))
                    fit.expected.push_back(c);
                if (f.optional == 0) break;
            }
            if (g == fields && std::none_of(fit.expected.begin(), fit.expected.end(), [](const candidate& x) { return x.type.empty(); }))
                fit.expected.push_back({"", path});
        }
    }
    for (size_t i = first; i < fit.fitted; ++i)
        if (best_assigned[i] != nullptr) fit.labels[i] = member_label(*best_assigned[i], path, info.flat_name);
    return fit;
}

std::string key_name(const child_key& c) {
    header h;
    h.cls = c.cls;
    h.tag = c.tag;
    h.tag_too_large = c.too_large;
    h.constructed = c.constructed;
    return tag_name(h);
}

// found_name: the tag of what came, with its form when the expected type
// has the same tag (a primitive SEQUENCE, a constructed INTEGER).
std::string found_name(const child_key& c, const std::vector<std::string>& expected_types) {
    const std::string name = key_name(c);
    for (const std::string& t : expected_types)
        if (t == name) return std::string(c.constructed ? "constructed " : "primitive ") + name;
    return name;
}

std::string expected_text(const std::vector<candidate>& expected) {
    std::string text;
    for (size_t i = 0; i < expected.size(); ++i) {
        if (i != 0) text += " or ";
        text += expected[i].type.empty() ? std::string("no more members") : expected[i].type + " (" + expected[i].path + ")";
    }
    return text;
}

std::vector<std::string> expected_types(const std::vector<candidate>& expected) {
    std::vector<std::string> types;
    for (const candidate& c : expected) types.push_back(c.type);
    return types;
}

const char* want_name(want w) {
    switch (w) {
        case want::sequence: return "SEQUENCE";
        case want::integer: return "INTEGER";
        case want::utf8: return "UTF8String";
        case want::null_or_sequence: return "NULL or SEQUENCE";
        default: return "";
    }
}

bool fits(want w, const header& h) {
    switch (w) {
        case want::sequence: return is_sequence(h);
        case want::integer: return is_universal(h, utag::integer) && !h.constructed;
        case want::utf8: return is_universal(h, utag::utf8_string);
        case want::null_or_sequence: return (is_universal(h, utag::null) && !h.constructed) || is_sequence(h);
        default: return true;
    }
}

// ---- the walker ----

enum class level { error, warning, not_der, note };

class walker {
public:
    // out: where the lines go, or null for none. locate: stop at the first
    // error or frame that does not fit the record, and keep it in located().
    walker(std::span<const unsigned char> bytes, const dump_options& options, FILE* out, bool locate)
        : b_(bytes), options_(options), out_(out), locate_(locate) {}

    // run: the envelope and every frame (the first only when locating).
    void run() {
        if (b_.empty()) {
            FILE* const out = out_;
            out_ = nullptr;  // nothing to show: the error alone
            report(level::error, 0, -1, "the input is empty", "");
            out_ = out;
            return;
        }
        size_t start = 0;
        if (!options_.no_envelope && b_.size() > kEnvelopeSize && b_[2] == kSignature0 && b_[3] == kSignature1 &&
            b_[0] != 0) {
            // The library's envelope rule: more than 4 octets, AC DC at offset 2,
            // and a nonzero header length, which is where the record starts.
            start = b_[0];
            if (out_ != nullptr) {
                std::fprintf(out_, "envelope: header length %u, version %u, signature AC DC", b_[0], b_[1]);
                if (start != kEnvelopeSize) std::fprintf(out_, " (the record starts at offset %zu)", start);
                std::fputc('\n', out_);
            }
            if (start >= b_.size()) {
                report(level::error, 0, -1,
                       "header length " + std::to_string(start) + " leaves no record in the " + std::to_string(b_.size()) +
                           " octets of the input",
                       "");
                return;
            }
        } else if (out_ != nullptr) {
            std::fputs("no envelope\n", out_);
        }
        label root = root_label();
        const range input{b_.size(), b_.size()};
        for (size_t pos = start; pos < b_.size() && !stopped_;) {
            frame_ctx ctx;
            ctx.lab = root;
            pos = frame(pos, input, 0, ctx);
            if (locate_) break;     // what follows the record is not the record's
            root = label{};         // frames after the first are not labelled
        }
    }

    // print_counts: "1 error, 2 warnings" when there was a finding but notes.
    void print_counts() {
        if (out_ == nullptr || (errors_ == 0 && warnings_ == 0)) return;
        std::string text;
        if (errors_ != 0) text = std::to_string(errors_) + (errors_ == 1 ? " error" : " errors");
        if (warnings_ != 0) {
            if (!text.empty()) text += ", ";
            text += std::to_string(warnings_) + (warnings_ == 1 ? " warning" : " warnings");
        }
        std::fprintf(out_, "%s%s%s\n", paint(errors_ != 0 ? kColorError : kColorWarning), text.c_str(), reset());
    }

    dump_summary summary() const {
        dump_summary s;
        s.errors = errors_;
        s.warnings = warnings_;
        s.not_der = not_der_;
        s.first_problem = !first_error_.empty() ? first_error_ : first_warning_;
        s.first_not_der = first_not_der_;
        return s;
    }

    const std::optional<std::string>& located() const { return located_; }

private:
    // range: where the frames of one level may lie: up to `end` (what is
    // present), announced up to `announced` (beyond `end` when the
    // enclosing frame is cut off).
    struct range {
        size_t end;
        std::uint64_t announced;
    };

    struct frame_ctx {
        label lab;
        const header* parent = nullptr;  // the enclosing frame; null at the top of the input or of encapsulated BER
        bool last = true;                // the parent's last child, as far as known
        bool parent_overran = false;     // the parent's length runs past the end of its own enclosing frame
        std::string where;               // the path of the nearest labelled frame above (for locate_mismatch)
        std::string misfit_dump;         // the finding when the members stop fitting at this frame
        std::string misfit_locate;
    };

    label root_label() const {
        label root;
        const qb_record_info* info = options_.type;
        if (info == nullptr && (options_.object_type == kCertRequestType || options_.object_type == kUpdateListType))
            info = &untyped_record(options_.object_type);
        if (info != nullptr) {
            root.what = role::record;
            root.info = info;
            root.owner = info->flat_name;
            root.expect = want::sequence;
            root.root = true;
        } else if (options_.object_type == kIntegerType) {
            root.what = role::leaf;
            root.path = "value";
            root.owner = "object type " + std::to_string(kIntegerType) + " (a bare INTEGER)";
            root.expect = want::integer;
            root.root = true;
        }
        return root;
    }

    // frame: prints the frame at `pos` (in range `r`) and everything inside
    // it; returns the offset after it (the end of the range when its end
    // cannot be known).
    size_t frame(size_t pos, const range& r, int depth, const frame_ctx& ctx) {
        if (stopped_) return r.end;
        std::string where = ctx.where;
        if (!ctx.lab.path.empty())
            where = ctx.lab.path;
        else if (ctx.lab.root && ctx.lab.info != nullptr)
            where = ctx.lab.info->flat_name;

        header h;
        std::string why;
        if (!read_ber_header(b_, pos, r.end, h, why)) {
            // Octets that run into the end of a frame already cut off are
            // that cut's doing: a note. Anything else is an error.
            if (h.cut_off && r.announced > r.end)
                report(level::note, pos, depth, why + ", cut off with the enclosing frame", where);
            else
                report(level::error, pos, depth, why, where);
            print_rest(pos, r.end, depth);
            lost_ = true;
            return r.end;
        }
        if (depth > kMaxDumpDepth) {
            print_line(h, depth, label{}, shown::header_only);
            report(level::error, pos, depth,
                   "nesting deeper than " + std::to_string(kMaxDumpDepth) + " levels (the content is not shown)", where);
            size_t after = 0;
            lost_ = !skip_frame(b_, pos, r.end, after);
            return lost_ ? r.end : after;
        }

        const std::uint64_t room = r.announced - h.content;  // to the announced end of the enclosing frame
        const size_t avail = r.end - h.content;               // to the end of what is present
        const bool too_long = h.definite && h.length > UINT32_MAX;
        const bool overrun = h.definite && h.length > room;
        const bool cut = h.definite && h.length > avail;
        const size_t stop = !h.definite ? r.end : cut ? r.end : h.content + static_cast<size_t>(h.length);
        const bool universal = h.cls == kClassUniversal && !h.tag_too_large;

        // Whether the frame is what its label needs.
        label lab = ctx.lab;
        std::string misfit_dump = ctx.misfit_dump, misfit_locate = ctx.misfit_locate;
        if (lab.what != role::none && !fits(lab.expect, h)) {
            const std::string found = tag_name(h) == want_name(lab.expect)
                                          ? std::string(h.constructed ? "constructed " : "primitive ") + tag_name(h)
                                          : tag_name(h);
            if (lab.root)
                misfit_dump = "from here the message does not fit " + lab.owner + ": expected " + want_name(lab.expect) +
                              ", found " + found;
            else
                misfit_dump = "from here the members do not fit " + lab.owner + ": expected " + want_name(lab.expect) + " (" +
                              lab.path + "), found " + found;
            misfit_locate = "offset " + std::to_string(pos) + ", " + where + ": expected " + want_name(lab.expect) +
                            ", found " + found;
            lab = label{};
        } else if (locate_ && lab.what == role::leaf && h.constructed &&
                   ((lab.field != nullptr && is_string_field(*lab.field)) || lab.expect == want::utf8)) {
            misfit_locate = "offset " + std::to_string(pos) + ", " + where + ": expected a primitive " + tag_name(h) +
                            ", found a constructed one";
        }

        const std::span<const unsigned char> present = b_.subspan(h.content, stop - h.content);
        findings f;
        header_findings(h, ctx.parent, ctx.last, h.constructed ? std::span<const unsigned char>() : present, f);

        // The frame's own findings, in order: its extent, its identifier and
        // length, its content, its fit to the record.
        const auto report_frame = [&](const findings& more) {
            if (too_long)
                report(level::error, pos, depth, "length larger than 32 bits (" + std::to_string(h.length) + ")", where);
            else if (overrun)
                report(level::error, pos, depth,
                       "length " + std::to_string(h.length) + " runs past the end of the " +
                           (depth == 0 ? "input" : "enclosing frame") + " (" + std::to_string(room) + " octets left)",
                       where);
            else if (cut)
                report(level::note, pos, depth,
                       "cut off with the enclosing frame: " + std::to_string(avail) + " of " + std::to_string(h.length) +
                           " content octets present",
                       where);
            for (const finding& x : f) report_finding(x, pos, depth, where);
            for (const finding& x : more) report_finding(x, pos, depth, where);
            if (!misfit_dump.empty() || !misfit_locate.empty()) report_misfit(pos, depth, misfit_dump, misfit_locate);
        };

        if (!h.definite && !h.constructed) {
            print_line(h, depth, lab, shown::header_only);
            report(level::error, pos, depth, "indefinite length on a primitive frame", where);
            report_frame({});
            print_rest(h.content, r.end, depth);
            lost_ = true;
            return r.end;
        }

        if (!h.constructed) {
            findings content_findings;
            if (!cut && universal) check_primitive(h.tag, present, content_findings);
            const size_t inner = !cut && !has_error(f) && !has_error(content_findings) ? encapsulated(h, depth) : 0;
            print_line(h, depth, lab, cut ? shown::hex : inner != 0 ? shown::encapsulates : shown::value, stop);
            report_frame(content_findings);
            if (inner != 0) {
                const range content{stop, stop};
                frame_ctx c;
                c.where = where;
                for (size_t p = inner; p < stop && !stopped_;) p = frame(p, content, depth + 1, c);
            }
            lost_ = cut;
            return stop;
        }

        print_line(h, depth, lab, shown::header_only);
        if (ctx.parent_overran && (overrun || too_long)) {
            // Two lengths in a row that do not fit: what follows is not BER
            // (or not where the lengths say), and is shown as octets.
            report_frame({});
            print_rest(h.content, stop, depth);
            lost_ = true;
            return stop;
        }
        const range inner{stop, h.definite ? announced_end(h) : r.announced};

        // The children's identifiers and extents, where they matter: the
        // members of a record, the segments of a BIT STRING, a SET's order.
        const bool is_record = lab.what == role::record && lab.info != nullptr && is_sequence(h);
        const bool bit_segments = universal && h.tag == utag::bit_string;
        const bool set_order = options_.der && universal && h.tag == utag::set && !cut;
        std::vector<kid> kids;
        bool all_read = false;
        if (is_record || bit_segments || set_order) all_read = scan_children(h, stop, kids);
        record_fit fit;
        if (is_record) {
            std::vector<child_key> keys;
            for (const kid& k : kids) keys.push_back(k.key);
            fit = member_fit(*lab.info, lab.path, keys);
        }
        findings more;
        if (set_order && all_read) check_set_order(kids, more);
        report_frame(more);

        size_t p = h.content;
        bool closed = false;
        for (size_t i = 0; !stopped_; ++i) {
            if (p >= stop) break;
            if (!h.definite && is_eoc(b_, p, stop)) {
                print_eoc(p, depth + 1);
                p += 2;
                closed = true;
                break;
            }
            frame_ctx c;
            c.parent = &h;
            c.last = !(bit_segments && i + 1 < kids.size());
            c.parent_overran = overrun || too_long;
            c.where = where;
            c.lab = child_label(lab, fit, i, p, stop);
            if (is_record && !fit.whole && i == fit.fitted && i < kids.size()) {
                const std::string found = found_name(kids[i].key, expected_types(fit.expected));
                c.misfit_dump = "from here the members do not fit " + std::string(lab.info->flat_name) + ": expected " +
                                expected_text(fit.expected) + ", found " + found;
                c.misfit_locate = locate_text(p, where, fit.expected, found);
            }
            p = frame(p, inner, depth + 1, c);
        }
        if (stopped_) return stop;
        if (!h.definite && !closed) {
            // Quiet when the walk lost its way before, or the enclosing frame
            // is cut off: that finding explains the missing end too.
            if (!lost_ && inner.announced == inner.end)
                report(level::error, pos, depth, "end-of-contents missing for the indefinite length of this frame", where);
            lost_ = true;
            return stop;
        }
        if (is_record && !fit.whole && fit.fitted == kids.size() && all_read && !cut) {
            // Every child fits, but members are missing: where the frame ends.
            const size_t at = closed ? p - 2 : p;
            report_misfit(at, depth,
                          "from here the members do not fit " + std::string(lab.info->flat_name) + ": expected " +
                              expected_text(fit.expected) + ", found the end of the frame",
                          locate_text(at, where, fit.expected, "the end of the frame"));
        }
        lost_ = cut;
        return h.definite ? stop : p;
    }

    static std::string locate_text(size_t at, const std::string& where, const std::vector<candidate>& expected,
                                   const std::string& found) {
        if (expected.size() == 1 && !expected[0].type.empty())
            return "offset " + std::to_string(at) + ", " + expected[0].path + ": expected " + expected[0].type + ", found " + found;
        return "offset " + std::to_string(at) + ", " + where + ": expected " + expected_text(expected) + ", found " + found;
    }

    // ---- findings ----

    void report_finding(const finding& x, size_t offset, int depth, const std::string& where) {
        const level l = x.kind == finding_kind::error ? level::error : x.kind == finding_kind::warning ? level::warning : level::not_der;
        report(l, offset, depth, x.text, where, l == level::warning && !x.der_ok);
    }

    // report: counts a finding and prints its line; `departs_der` counts a
    // warning among the DER departures too (with der).
    void report(level l, size_t offset, int depth, const std::string& text, const std::string& where, bool departs_der = false) {
        if (stopped_) return;
        if (l == level::not_der && !options_.der) return;
        const std::string shown_text = (l == level::not_der ? "not DER: " : "") + text;
        const std::string full = "offset " + std::to_string(offset) + ": " + shown_text;
        switch (l) {
            case level::error:
                ++errors_;
                if (first_error_.empty()) first_error_ = full;
                break;
            case level::warning:
            case level::not_der:
                ++warnings_;
                if (first_warning_.empty()) first_warning_ = full;
                if (options_.der && (l == level::not_der || departs_der)) {
                    ++not_der_;
                    if (first_not_der_.empty()) first_not_der_ = "offset " + std::to_string(offset) + ": " + text;
                }
                break;
            case level::note:
                break;
        }
        print_finding(l, depth, full);
        if (locate_ && l == level::error) {
            located_ = "offset " + std::to_string(offset) + (where.empty() ? "" : ", " + where) + ": " + text;
            stopped_ = true;
        }
    }

    // report_misfit: the frame at `offset` is where the message stops fitting
    // the record (a warning in the dump; where locate_mismatch stops).
    void report_misfit(size_t offset, int depth, const std::string& dump_text, const std::string& locate_text) {
        if (stopped_) return;
        if (!dump_text.empty()) {
            const std::string full = "offset " + std::to_string(offset) + ": " + dump_text;
            ++warnings_;
            if (first_warning_.empty()) first_warning_ = full;
            print_finding(level::warning, depth, full);
        }
        if (locate_ && !locate_text.empty()) {
            located_ = locate_text;
            stopped_ = true;
        }
    }

    void print_finding(level l, int depth, const std::string& text) {
        if (out_ == nullptr) return;
        std::fputs(kBlankColumns, out_);
        indent(depth + 1);
        const char* color = l == level::error ? kColorError : l == level::note ? kColorFrame : kColorWarning;
        const char* word = l == level::error ? "error: " : l == level::note ? "note: " : "warning: ";
        std::fprintf(out_, "%s%s%s%s\n", paint(color), word, text.c_str(), reset());
    }

    // ---- children ----

    struct kid {
        size_t offset;
        size_t after;  // the end of what is present when it could not be read to its end
        child_key key;
    };

    // scan_children: the identifiers and extents of a constructed frame's
    // children (content up to `stop`); true when they were all read to the
    // frame's end (its end-of-contents when indefinite). A child whose
    // header reads but whose extent does not is the last one listed.
    bool scan_children(const header& h, size_t stop, std::vector<kid>& kids) const {
        size_t p = h.content;
        for (;;) {
            if (p >= stop) return h.definite;
            if (!h.definite && is_eoc(b_, p, stop)) return true;
            header c;
            std::string why;
            if (!read_ber_header(b_, p, stop, c, why)) return false;
            size_t after = 0;
            const bool read = skip_frame(b_, p, stop, after);
            kids.push_back({p, read ? after : stop, {c.cls, c.tag, c.constructed, c.tag_too_large}});
            if (!read) return false;
            p = after;
        }
    }

    // check_set_order: DER sorts a SET OF by the encodings of its elements
    // (the shorter one padded with zero octets), a SET by the tags of its
    // members; children of one tag are taken as a SET OF, of several tags
    // as either.
    void check_set_order(const std::vector<kid>& kids, findings& out) const {
        bool one_tag = true;
        for (const kid& k : kids)
            one_tag = one_tag && k.key.cls == kids[0].key.cls && k.key.tag == kids[0].key.tag && !k.key.too_large;
        for (size_t i = 1; i < kids.size(); ++i) {
            const int by_encoding = compare_encodings(kids[i - 1], kids[i]);
            const child_key &a = kids[i - 1].key, &b = kids[i].key;
            const bool tags_ascend = a.cls < b.cls || (a.cls == b.cls && a.tag <= b.tag);
            if (one_tag ? by_encoding > 0 : (by_encoding > 0 && !tags_ascend)) {
                out.push_back({finding_kind::not_der,
                               std::string(one_tag ? "the elements of the SET OF are not sorted by their encodings"
                                                   : "the members of the SET are not in the order of their tags") +
                                   " (offset " + std::to_string(kids[i].offset) + " comes after offset " +
                                   std::to_string(kids[i - 1].offset) + ")",
                               false});
                return;
            }
        }
    }

    int compare_encodings(const kid& a, const kid& b) const {
        const std::span<const unsigned char> x = b_.subspan(a.offset, a.after - a.offset);
        const std::span<const unsigned char> y = b_.subspan(b.offset, b.after - b.offset);
        const size_t common = std::min(x.size(), y.size());
        for (size_t i = 0; i < common; ++i)
            if (x[i] != y[i]) return x[i] < y[i] ? -1 : 1;
        const std::span<const unsigned char> rest = x.size() > y.size() ? x.subspan(common) : y.subspan(common);
        const bool zeros = std::all_of(rest.begin(), rest.end(), [](unsigned char o) { return o == 0; });
        if (zeros) return 0;
        return x.size() > y.size() ? 1 : -1;
    }

    // child_label: the label of child i of a frame labelled `parent`.
    label child_label(const label& parent, const record_fit& fit, size_t i, size_t pos, size_t limit) const {
        switch (parent.what) {
            case role::record:
                return i < fit.fitted && i < fit.labels.size() ? fit.labels[i] : label{};
            case role::list: {
                label l;
                l.path = element_path(parent.path, i);
                l.owner = parent.owner;
                l.what = parent.info != nullptr ? role::record : role::leaf;
                l.info = parent.info;
                if (parent.field != nullptr) {
                    if (parent.field->kind == qb_field_text_list)
                        l.expect = want::utf8;
                    else if (parent.field->kind == qb_field_int_list)
                        l.expect = want::integer;
                    else
                        l.expect = want::sequence;
                }
                return l;
            }
            case role::slots: {
                // A slot is NULL (empty) or the element record.
                label l;
                l.path = element_path(parent.path, i);
                l.owner = parent.owner;
                l.expect = want::null_or_sequence;
                header c;
                std::string why;
                const bool record = read_ber_header(b_, pos, limit, c, why) && is_sequence(c) && parent.info != nullptr;
                l.what = record ? role::record : role::leaf;
                l.info = record ? parent.info : nullptr;
                return l;
            }
            default:
                return label{};
        }
    }

    // encapsulated: where the BER inside a primitive OCTET STRING or BIT
    // STRING (after its unused-bits octet, which must be 0) starts, when that
    // BER is at least 3 octets of universal-class frames without errors that
    // end exactly with the content and nest no deeper than the walker goes;
    // 0 otherwise (or when nested BER is not shown). Two octets that happen
    // to parse as an empty frame (05 00, 04 00) stay hex.
    size_t encapsulated(const header& h, int depth) const {
        if (!options_.nested || h.cls != kClassUniversal || h.tag_too_large || h.length == 0) return 0;
        size_t start = h.content;
        if (h.tag == utag::bit_string) {
            if (b_[h.content] != 0) return 0;
            start = h.content + 1;
        } else if (h.tag != utag::octet_string) {
            return 0;
        }
        const size_t end = h.content + static_cast<size_t>(h.length);
        if (end - start < 3) return 0;
        for (size_t p = start; p < end;) {
            if ((b_[p] >> 6) != kClassUniversal || b_[p] == 0) return 0;  // not universal, or end-of-contents
            if (!clean_frame(b_, p, end, depth + 1, nullptr, p)) return 0;
        }
        return start;
    }

    // ---- lines ----

    enum class shown { header_only, value, hex, encapsulates };

    const char* paint(const char* color) const { return options_.color ? color : ""; }
    const char* reset() const { return options_.color ? kColorReset : ""; }

    void print_prefix(size_t offset, int depth) {
        std::fprintf(out_, "%s%6zu %3d%s ", paint(kColorFrame), offset, depth, reset());
        indent(depth);
    }

    void indent(int depth) {
        for (int i = 0; i < depth; ++i) std::fputs("  ", out_);
    }

    void print_eoc(size_t offset, int depth) {
        if (out_ == nullptr) return;
        print_prefix(offset, depth);
        std::fprintf(out_, "%sEOC%s%s prim len=0%s\n", paint(kColorTag), reset(), paint(kColorFrame), reset());
    }

    // print_rest: the octets of a range the walk cannot read as frames, in hex.
    void print_rest(size_t from, size_t to, int depth) {
        if (out_ != nullptr && from < to) print_wrapped(from, to, depth + 1);
    }

    // print_line: the frame's line; the content of a primitive frame as its
    // value, in hex (a frame cut off: what is present), or "encapsulates"
    // when the BER inside it follows as frames. Content too long for the
    // line follows it.
    void print_line(const header& h, int depth, const label& lab, shown how, size_t present_end = 0) {
        if (out_ == nullptr) return;
        print_prefix(h.offset, depth);
        const bool named = h.cls == kClassUniversal && !h.tag_too_large && universal_name(h.tag) != nullptr;
        std::fprintf(out_, "%s%s%s", paint(named ? kColorTag : kColorOtherTag), tag_name(h).c_str(), reset());
        std::fputs(paint(kColorFrame), out_);
        std::fputs(h.constructed ? " cons" : " prim", out_);
        if (h.definite)
            std::fprintf(out_, " len=%llu", static_cast<unsigned long long>(h.length));
        else
            std::fputs(" len=indef", out_);
        std::fputs(reset(), out_);
        size_t below = 0, below_end = 0;  // content shown below the line
        switch (how) {
            case shown::encapsulates:
                if (h.tag == utag::bit_string) std::fputs("  unused=0", out_);
                std::fputs(" encapsulates", out_);
                break;
            case shown::value:
                below = print_content(h);
                below_end = h.content + static_cast<size_t>(h.length);
                break;
            case shown::hex: {
                const std::span<const unsigned char> present = b_.subspan(h.content, present_end - h.content);
                below_end = present_end;
                if (present.size() > kHexOnLine)
                    below = h.content;
                else if (!present.empty())
                    print_octets(present);
                break;
            }
            case shown::header_only:
                break;
        }
        print_label(lab);
        std::fputc('\n', out_);
        if (below != 0) print_wrapped(below, below_end, depth + 1);
    }

    void print_label(const label& lab) {
        if (lab.what == role::none) return;
        std::fputs(paint(kColorLabel), out_);
        if (lab.what == role::record && lab.info != nullptr) {
            if (lab.path.empty())
                std::fprintf(out_, "  (%s)", lab.info->flat_name);
            else
                std::fprintf(out_, "  (%s: %s)", lab.path.c_str(), lab.info->flat_name);
        } else {
            std::fprintf(out_, "  (%s)", lab.path.c_str());
        }
        std::fputs(reset(), out_);
    }

    void print_octets(std::span<const unsigned char> c) {
        std::fprintf(out_, "  %s", paint(kColorValue));
        print_hex(c);
        std::fputs(reset(), out_);
        print_preview(c);
    }

    // print_content: the content of a primitive frame on its line; returns
    // the offset of octets to be shown below the line instead (more than
    // kHexOnLine of them), or 0.
    size_t print_content(const header& h) {
        const std::span<const unsigned char> c = b_.subspan(h.content, static_cast<size_t>(h.length));
        if (h.cls == kClassUniversal && !h.tag_too_large) {
            switch (h.tag) {
                case utag::boolean:
                    if (c.size() == 1) {
                        std::fprintf(out_, "  %s%s%s", paint(kColorValue), c[0] != 0 ? "TRUE" : "FALSE", reset());
                        return 0;
                    }
                    break;
                case utag::integer:
                case utag::enumerated:
                    if (!c.empty() && c.size() <= 8) {
                        std::int64_t v = (c[0] & 0x80) != 0 ? -1 : 0;  // sign from the first octet
                        for (unsigned char o : c) v = static_cast<std::int64_t>(static_cast<std::uint64_t>(v) << 8 | o);
                        std::fprintf(out_, "  %s%lld%s", paint(kColorValue), static_cast<long long>(v), reset());
                        return 0;
                    }
                    break;
                case utag::null:
                    if (c.empty()) return 0;
                    break;
                case utag::oid:
                case utag::relative_oid:
                    if (print_oid(c, h.tag == utag::oid)) return 0;
                    break;
                case utag::real: {
                    findings ignored;  // reported by the checks
                    const std::optional<std::string> value = real_text(c, ignored);
                    if (value) {
                        std::fprintf(out_, "  %s%s%s", paint(kColorValue), value->c_str(), reset());
                        return 0;
                    }
                    break;
                }
                case utag::bit_string:
                    if (!c.empty()) {
                        std::fprintf(out_, "  unused=%u", c[0]);
                        if (c.size() - 1 > kHexOnLine) return h.content + 1;
                        if (c.size() > 1) {
                            std::fprintf(out_, "  %s", paint(kColorValue));
                            print_hex(c.subspan(1));
                            std::fputs(reset(), out_);
                        }
                        return 0;
                    }
                    break;
                case utag::bmp_string:
                case utag::universal_string:
                    if (print_wide_text(c, h.tag == utag::bmp_string ? 2 : 4)) return 0;
                    break;
                default:
                    if (is_text_tag(h.tag)) {
                        std::fprintf(out_, "  %s", paint(kColorText));
                        write_quoted(out_, c, SIZE_MAX);
                        std::fputs(reset(), out_);
                        return 0;
                    }
            }
        }
        if (c.empty()) return 0;
        if (c.size() > kHexOnLine) return h.content;
        // OCTET STRING and everything else: the octets and a printable preview.
        print_octets(c);
        return 0;
    }

    // print_wrapped: the octets from `from` to `to`, kHexOnLine a line, each
    // line with the offset of its first octet, in the offset column.
    void print_wrapped(size_t from, size_t to, int depth) {
        for (size_t p = from; p < to; p += kHexOnLine) {
            const std::span<const unsigned char> c = b_.subspan(p, std::min(kHexOnLine, to - p));
            std::fprintf(out_, "%s%6zu    %s ", paint(kColorFrame), p, reset());
            indent(depth);
            std::fputs(paint(kColorValue), out_);
            print_hex(c);
            std::fputs(reset(), out_);
            for (size_t i = c.size(); i < kHexOnLine; ++i) std::fputs("   ", out_);  // keeps the previews aligned
            print_preview(c);
            std::fputc('\n', out_);
        }
    }

    // print_preview: "  |...|": printable ASCII as it is, other octets as '.'.
    void print_preview(std::span<const unsigned char> c) {
        std::fputs("  |", out_);
        for (size_t i = 0; i < c.size() && i < kPreviewOctets; ++i)
            std::fputc(c[i] >= 0x20 && c[i] < 0x7F ? c[i] : '.', out_);
        std::fputs(c.size() > kPreviewOctets ? "|..." : "|", out_);
    }

    void print_hex(std::span<const unsigned char> c) {
        static const char digits[] = "0123456789ABCDEF";
        for (size_t i = 0; i < c.size(); ++i) {
            if (i != 0) std::fputc(' ', out_);
            std::fputc(digits[c[i] >> 4], out_);
            std::fputc(digits[c[i] & 0x0F], out_);
        }
    }

    // print_oid: dotted arcs (and the name of an absolute one); false when
    // the content is not an OID.
    bool print_oid(std::span<const unsigned char> c, bool absolute) {
        const std::optional<std::string> dotted = oid_text(c, absolute);
        if (!dotted) return false;
        std::fprintf(out_, "  %s%s%s", paint(kColorValue), dotted->c_str(), reset());
        if (absolute && dotted->find('x') == std::string::npos) {
            const std::string name = oid_name(*dotted);
            if (!name.empty()) std::fprintf(out_, " (%s)", name.c_str());
        }
        return true;
    }

    // oid_name: the name the OpenSSL object database gives an OID (its long
    // name), or "" for one it does not know.
    static std::string oid_name(const std::string& dotted) {
        ASN1_OBJECT* object = OBJ_txt2obj(dotted.c_str(), 1);  // 1: the dotted form only, never a name
        if (object == nullptr) return std::string();
        const int nid = OBJ_obj2nid(object);
        ASN1_OBJECT_free(object);
        const char* name = nid != NID_undef ? OBJ_nid2ln(nid) : nullptr;
        return name != nullptr ? std::string(name) : std::string();
    }

    // print_wide_text: a BMPString (2 octets per character) or
    // UniversalString (4) as quoted UTF-8; false when the length does not fit.
    bool print_wide_text(std::span<const unsigned char> c, size_t unit) {
        if (c.size() % unit != 0) return false;
        std::vector<unsigned char> utf8;
        utf8.reserve(c.size());
        for (size_t i = 0; i < c.size(); i += unit) {
            std::uint32_t cp = 0;
            for (size_t k = 0; k < unit; ++k) cp = cp << 8 | c[i + k];
            if ((cp >= 0xD800 && cp <= 0xDFFF) || cp > 0x10FFFF) cp = 0xFFFD;  // shown as the replacement character
            if (cp < 0x80) {
                utf8.push_back(static_cast<unsigned char>(cp));
            } else if (cp < 0x800) {
                utf8.push_back(static_cast<unsigned char>(0xC0 | cp >> 6));
                utf8.push_back(static_cast<unsigned char>(0x80 | (cp & 0x3F)));
            } else if (cp < 0x10000) {
                utf8.push_back(static_cast<unsigned char>(0xE0 | cp >> 12));
                utf8.push_back(static_cast<unsigned char>(0x80 | (cp >> 6 & 0x3F)));
                utf8.push_back(static_cast<unsigned char>(0x80 | (cp & 0x3F)));
            } else {
                utf8.push_back(static_cast<unsigned char>(0xF0 | cp >> 18));
                utf8.push_back(static_cast<unsigned char>(0x80 | (cp >> 12 & 0x3F)));
                utf8.push_back(static_cast<unsigned char>(0x80 | (cp >> 6 & 0x3F)));
                utf8.push_back(static_cast<unsigned char>(0x80 | (cp & 0x3F)));
            }
        }
        std::fprintf(out_, "  %s", paint(kColorText));
        write_quoted(out_, utf8, SIZE_MAX);
        std::fputs(reset(), out_);
        return true;
    }

    std::span<const unsigned char> b_;
    const dump_options& options_;
    FILE* out_;
    const bool locate_;
    bool lost_ = false;     // the walk consumed the rest of a range without knowing its frames' ends
    bool stopped_ = false;  // locating: the first problem is found
    size_t errors_ = 0, warnings_ = 0, not_der_ = 0;
    std::string first_error_, first_warning_, first_not_der_;
    std::optional<std::string> located_;
};

}  // namespace

dump_summary dump_message(std::span<const unsigned char> bytes, const dump_options& options, FILE* out) {
    walker w(bytes, options, out, false);
    w.run();
    if (!bytes.empty()) w.print_counts();  // the empty input is an error without lines
    const dump_summary summary = w.summary();
    if (options.fail_on_error && summary.errors > 0) {
        std::fflush(out);
        input_error(summary.first_problem);
    }
    return summary;
}

dump_summary check_message(std::span<const unsigned char> bytes, const dump_options& options) {
    walker w(bytes, options, nullptr, false);
    w.run();
    return w.summary();
}

std::optional<size_t> message_end(std::span<const unsigned char> bytes) {
    // The library's envelope rule, as the dump reads it: more than 4 octets,
    // AC DC at offset 2, a nonzero header length where the record starts.
    size_t start = 0;
    if (bytes.size() > kEnvelopeSize && bytes[2] == kSignature0 && bytes[3] == kSignature1 && bytes[0] != 0) start = bytes[0];
    size_t after = 0;
    if (start >= bytes.size() || !skip_frame(bytes, start, bytes.size(), after)) return std::nullopt;
    return after;
}

std::optional<std::string> locate_mismatch(std::span<const unsigned char> bytes, const qb_record_info& info) {
    dump_options options;
    options.type = &info;
    options.nested = false;  // what an OCTET STRING holds is the member's value, not the record's
    walker w(bytes, options, nullptr, true);
    w.run();
    return w.located();
}

}  // namespace qbtool
