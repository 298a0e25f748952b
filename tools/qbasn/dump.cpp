// tools/qbasn/dump.cpp - the BER walker behind `qbasn dump`.
//
// The walker reads identifier and length octets itself and checks every
// count against what is left of the input (or of the enclosing frame)
// before it touches an octet, so any input - truncated, random, hostile -
// ends in a message naming the offset, never in a read outside the bytes.
// Output goes out line by line as the frames are met.
#include "tools/qbasn/dump.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include <openssl/objects.h>

#include "tools/qbasn/common.h"
#include "tools/qbasn/hex.h"
#include "tools/qbasn/text.h"

namespace qbtool {

namespace {

// ---- BER octets ----

constexpr unsigned char kConstructedBit = 0x20;
constexpr unsigned char kHighTagNumber = 0x1F;
constexpr unsigned char kIndefiniteLength = 0x80;
constexpr unsigned char kReservedLength = 0xFF;

constexpr unsigned kUniversal = 0;
constexpr std::uint32_t kTagBoolean = 1;
constexpr std::uint32_t kTagInteger = 2;
constexpr std::uint32_t kTagBitString = 3;
constexpr std::uint32_t kTagOctetString = 4;
constexpr std::uint32_t kTagNull = 5;
constexpr std::uint32_t kTagOid = 6;
constexpr std::uint32_t kTagEnumerated = 10;
constexpr std::uint32_t kTagUtf8String = 12;
constexpr std::uint32_t kTagRelativeOid = 13;
constexpr std::uint32_t kTagSequence = 16;
constexpr std::uint32_t kTagUniversalString = 28;
constexpr std::uint32_t kTagBmpString = 30;

// Octets of an OCTET STRING shown as characters beside the hex.
constexpr size_t kPreviewOctets = 32;

// ANSI colours of the parts of a line (with dump_options::color).
constexpr const char* kColorFrame = "\033[2m";      // offset, depth, form, length: dim
constexpr const char* kColorTag = "\033[1;36m";     // universal tag names: bold cyan
constexpr const char* kColorOtherTag = "\033[35m";  // other classes: magenta
constexpr const char* kColorValue = "\033[33m";     // numbers, OIDs, hex: yellow
constexpr const char* kColorText = "\033[32m";      // texts: green
constexpr const char* kColorLabel = "\033[34m";     // record fields: blue
constexpr const char* kColorReset = "\033[0m";

// The envelope: header length, version, signature AC DC.
constexpr size_t kEnvelopeSize = 4;
constexpr unsigned char kSignature0 = 0xAC;
constexpr unsigned char kSignature1 = 0xDC;

const char* universal_name(std::uint32_t tag) {
    static const char* const names[] = {
        "EOC",             "BOOLEAN",        "INTEGER",         "BIT STRING",     "OCTET STRING",
        "NULL",            "OBJECT IDENTIFIER", "ObjectDescriptor", "EXTERNAL",   "REAL",
        "ENUMERATED",      "EMBEDDED PDV",   "UTF8String",      "RELATIVE-OID",   "TIME",
        nullptr,           "SEQUENCE",       "SET",             "NumericString",  "PrintableString",
        "T61String",       "VideotexString", "IA5String",       "UTCTime",        "GeneralizedTime",
        "GraphicString",   "VisibleString",  "GeneralString",   "UniversalString", "CHARACTER STRING",
        "BMPString",
    };
    return tag < sizeof names / sizeof names[0] ? names[tag] : nullptr;
}

bool is_text_tag(std::uint32_t tag) {
    switch (tag) {
        case 7: case 12: case 18: case 19: case 20: case 21: case 22:
        case 23: case 24: case 25: case 26: case 27:
            return true;
        default:
            return false;
    }
}

// header: the identifier and length of one frame.
struct header {
    size_t offset = 0;         // of the first identifier octet
    unsigned cls = 0;          // 0 universal, 1 application, 2 context, 3 private
    bool constructed = false;
    std::uint32_t tag = 0;
    bool definite = true;
    std::uint32_t length = 0;  // content octets, when definite
    size_t content = 0;        // offset of the first content octet
};

// read_header: the header of the frame at `pos`, which must lie before
// `end` (the end of the input, or of the enclosing frame when `nested`). On
// failure returns false with `why` set; nothing is read at or after `end`.
bool read_header(std::span<const unsigned char> b, size_t pos, size_t end, bool nested, header& h, std::string& why) {
    h = header{};
    h.offset = pos;
    const unsigned char first = b[pos++];
    h.cls = first >> 6;
    h.constructed = (first & kConstructedBit) != 0;
    if ((first & kHighTagNumber) != kHighTagNumber) {
        h.tag = first & kHighTagNumber;
    } else {
        // High tag number: base-128 octets, the last without bit 8.
        std::uint64_t tag = 0;
        for (;;) {
            if (pos >= end) {
                why = "identifier octets cut off (high tag number without its last octet)";
                return false;
            }
            const unsigned char c = b[pos++];
            tag = tag * 128 + (c & 0x7F);
            if (tag > UINT32_MAX) {
                why = "tag number larger than 32 bits";
                return false;
            }
            if ((c & 0x80) == 0) break;
        }
        h.tag = static_cast<std::uint32_t>(tag);
    }
    if (pos >= end) {
        why = "length octets missing";
        return false;
    }
    const unsigned char len0 = b[pos++];
    if (len0 == kIndefiniteLength) {
        if (!h.constructed) {
            why = "indefinite length on a primitive frame";
            return false;
        }
        h.definite = false;
    } else if (len0 == kReservedLength) {
        why = "length octet FF is reserved";
        return false;
    } else if (len0 < 0x80) {
        h.length = len0;  // short form: lengths below 128 take one octet
    } else {
        const size_t n = len0 & 0x7F;
        if (n > end - pos) {
            why = "length octets cut off (" + std::to_string(n) + " announced, " + std::to_string(end - pos) + " left)";
            return false;
        }
        std::uint64_t len = 0;
        for (size_t i = 0; i < n; ++i) {
            len = len * 256 + b[pos++];
            if (len > UINT32_MAX) {
                why = "length larger than 32 bits";
                return false;
            }
        }
        h.length = static_cast<std::uint32_t>(len);
    }
    h.content = pos;
    if (h.definite && h.length > end - pos) {
        why = "length " + std::to_string(h.length) + " runs past the end of the " +
              (nested ? "enclosing frame" : "input") + " (" + std::to_string(end - pos) + " octets left)";
        return false;
    }
    return true;
}

bool is_eoc(std::span<const unsigned char> b, size_t pos, size_t end) {
    return end - pos >= 2 && b[pos] == 0 && b[pos + 1] == 0;
}

// skip_frame: the offset after the frame at `pos` (following indefinite
// lengths to their end-of-contents), or false for a malformed frame.
bool skip_frame(std::span<const unsigned char> b, size_t pos, size_t end, int depth, size_t& after) {
    if (depth > kMaxDumpDepth) return false;
    header h;
    std::string why;
    if (!read_header(b, pos, end, depth > 0, h, why)) return false;
    if (h.definite) {
        after = h.content + h.length;
        return true;
    }
    size_t p = h.content;
    for (;;) {
        if (p >= end) return false;
        if (is_eoc(b, p, end)) {
            after = p + 2;
            return true;
        }
        if (!skip_frame(b, p, end, depth + 1, p)) return false;
    }
}

// well_formed: the frame at `pos` and every frame inside it read without a
// fault; `after` is the offset after it. (skip_frame only steps over the
// content of a definite length; the dump walks into it.)
bool well_formed(std::span<const unsigned char> b, size_t pos, size_t end, int depth, size_t& after) {
    if (depth > kMaxDumpDepth) return false;
    header h;
    std::string why;
    if (!read_header(b, pos, end, depth > 0, h, why)) return false;
    if (!h.constructed) {
        after = h.content + h.length;
        return true;
    }
    const size_t limit = h.definite ? h.content + h.length : end;
    size_t p = h.content;
    for (;;) {
        if (h.definite && p >= limit) {
            after = limit;
            return true;
        }
        if (!h.definite) {
            if (p >= limit) return false;
            if (is_eoc(b, p, limit)) {
                after = p + 2;
                return true;
            }
        }
        if (!well_formed(b, p, limit, depth + 1, p)) return false;
    }
}

// ---- labels: which member of a record a frame carries ----

struct child_key {
    unsigned cls;
    std::uint32_t tag;
    bool constructed;
};

enum class role {
    none,     // nothing known
    leaf,     // a scalar member or list element
    record,   // a record: its children are its members
    list,     // a SEQUENCE OF: children are elements
    slots,    // an array of slots: children are NULL or a record
};

struct label {
    role what = role::none;
    std::string path;                         // "attrs[0].name"; empty for the outermost record
    const qb_record_info* info = nullptr;     // the record (record) or the element record (list, slots)
    const qb_field_info* field = nullptr;     // the member (leaf, list, slots)
};

std::string child_path(const std::string& parent, const char* name) {
    return parent.empty() ? std::string(name) : parent + "." + name;
}

std::string element_path(const std::string& parent, size_t i) { return parent + "[" + std::to_string(i) + "]"; }

// The label of the frame that carries member `f` of a record at `path`.
label member_label(const qb_field_info& f, const std::string& parent) {
    label l;
    l.path = child_path(parent, f.name);
    l.field = &f;
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

// The identifier a member's frame carries (every member is universal).
bool member_accepts(const qb_field_info& f, const child_key& c) {
    if (c.cls != kUniversal) return false;
    switch (f.kind) {
        case qb_field_int:
        case qb_field_uint:
        case qb_field_long:
        case qb_field_ushort:
        case qb_field_uchar:
            return c.tag == kTagInteger && !c.constructed;
        case qb_field_text:
            return c.tag == kTagUtf8String;
        case qb_field_octets:
        case qb_field_fixed_octets:
        case qb_field_text_octets:
            return c.tag == kTagOctetString;  // segmented (constructed) input too
        default:
            return c.tag == kTagSequence && c.constructed;
    }
}

// match: assigns children[ci..] to fields[fi..] in order, skipping optional
// members that are absent; true when every child has a member and every
// mandatory member a child. Backtracks over the (few) optional members.
bool match(const qb_record_info& info, size_t fi, const std::vector<child_key>& children, size_t ci,
           std::vector<const qb_field_info*>& assigned) {
    if (fi == info.field_count) return ci == children.size();
    const qb_field_info& f = info.fields[fi];
    if (ci < children.size() && member_accepts(f, children[ci])) {
        assigned[ci] = &f;
        if (match(info, fi + 1, children, ci + 1, assigned)) return true;
        assigned[ci] = nullptr;
    }
    return f.optional != 0 && match(info, fi + 1, children, ci, assigned);
}

// member_labels: the labels of a record's children. Records of the later
// message set begin with an INTEGER version that has no flat field; when the
// members do not fit from the first child, they are tried from the second
// with the first taken as that version.
std::vector<label> member_labels(const qb_record_info& info, const std::string& path,
                                 const std::vector<child_key>& children) {
    std::vector<label> labels(children.size());
    std::vector<const qb_field_info*> assigned(children.size(), nullptr);
    size_t first = 0;
    if (!match(info, 0, children, 0, assigned)) {
        std::fill(assigned.begin(), assigned.end(), nullptr);
        const bool version_first = !children.empty() && children[0].cls == kUniversal &&
                                   children[0].tag == kTagInteger && !children[0].constructed;
        if (!version_first || !match(info, 0, children, 1, assigned)) return labels;  // no labels: no fit
        labels[0].what = role::leaf;
        labels[0].path = child_path(path, "version");
        first = 1;
    }
    for (size_t i = first; i < children.size(); ++i)
        if (assigned[i] != nullptr) labels[i] = member_label(*assigned[i], path);
    return labels;
}

// ---- the walker ----

class walker {
public:
    walker(std::span<const unsigned char> bytes, const dump_options& options, FILE* out)
        : b_(bytes), options_(options), out_(out) {}

    // frame: prints the frame at `pos` (before `end`) and everything inside
    // it; returns the offset after it.
    size_t frame(size_t pos, size_t end, int depth, const label& here) {
        if (depth > kMaxDumpDepth) fail(pos, "nesting deeper than " + std::to_string(kMaxDumpDepth) + " levels");
        header h;
        std::string why;
        if (!read_header(b_, pos, end, depth > 0, h, why)) fail(pos, why);
        if (!h.constructed) {
            const size_t after = h.content + h.length;
            const size_t inner = encapsulated(h, depth);
            print_line(h, depth, here, inner != 0);
            if (inner != 0)
                for (size_t p = inner; p < after;) p = frame(p, after, depth + 1, label{});
            return after;
        }
        print_line(h, depth, here, false);

        const size_t limit = h.definite ? h.content + h.length : end;
        std::vector<label> labels;
        if (here.what == role::record && here.info != nullptr && is_sequence(h)) {
            std::vector<child_key> keys;
            if (scan_children(h, limit, depth, keys)) labels = member_labels(*here.info, here.path, keys);
        }
        size_t p = h.content;
        for (size_t i = 0;; ++i) {
            if (h.definite) {
                if (p >= limit) return limit;
            } else {
                if (p >= limit) fail(h.offset, "end-of-contents missing for the indefinite length of this frame");
                if (is_eoc(b_, p, limit)) {
                    print_eoc(p, depth + 1);
                    return p + 2;
                }
            }
            p = frame(p, limit, depth + 1, child_label(here, labels, i, p, limit));
        }
    }

private:
    [[noreturn]] void fail(size_t offset, const std::string& why) {
        std::fflush(out_);
        input_error("offset " + std::to_string(offset) + ": " + why);
    }

    static bool is_sequence(const header& h) { return h.cls == kUniversal && h.tag == kTagSequence && h.constructed; }

    // encapsulated: where the BER inside a primitive OCTET STRING or BIT
    // STRING (after its unused-bits octet, which must be 0) starts, when that
    // BER is at least 3 octets of universal-class frames that end exactly
    // with the content and nest no deeper than the walker goes; 0 otherwise
    // (or when nested BER is not shown). Two octets that happen to parse as
    // an empty frame (05 00, 04 00) stay hex.
    size_t encapsulated(const header& h, int depth) const {
        if (!options_.nested || h.cls != kUniversal || h.length == 0) return 0;
        size_t start = h.content;
        if (h.tag == kTagBitString) {
            if (b_[h.content] != 0) return 0;
            start = h.content + 1;
        } else if (h.tag != kTagOctetString) {
            return 0;
        }
        const size_t end = h.content + h.length;
        if (end - start < 3) return 0;
        for (size_t p = start; p < end;) {
            if ((b_[p] >> 6) != kUniversal || b_[p] == 0) return 0;  // not universal, or end-of-contents
            if (!well_formed(b_, p, end, depth + 1, p)) return 0;
        }
        return start;
    }

    const char* paint(const char* color) const { return options_.color ? color : ""; }
    const char* reset() const { return options_.color ? kColorReset : ""; }

    // scan_children: the identifiers of the direct children of a constructed
    // frame, or false when they cannot be read (the walk reports why).
    bool scan_children(const header& h, size_t limit, int depth, std::vector<child_key>& keys) const {
        size_t p = h.content;
        for (;;) {
            if (p >= limit) return h.definite;
            if (!h.definite && is_eoc(b_, p, limit)) return true;
            header c;
            std::string why;
            if (!read_header(b_, p, limit, true, c, why)) return false;
            keys.push_back({c.cls, c.tag, c.constructed});
            if (!skip_frame(b_, p, limit, depth + 1, p)) return false;
        }
    }

    // child_label: the label of child i of a frame labelled `parent`.
    label child_label(const label& parent, const std::vector<label>& labels, size_t i, size_t pos, size_t limit) const {
        switch (parent.what) {
            case role::record:
                return i < labels.size() ? labels[i] : label{};
            case role::list: {
                label l;
                l.path = element_path(parent.path, i);
                l.what = parent.info != nullptr ? role::record : role::leaf;
                l.info = parent.info;
                return l;
            }
            case role::slots: {
                // A slot is NULL (empty) or the element record.
                label l;
                l.path = element_path(parent.path, i);
                header c;
                std::string why;
                const bool record = read_header(b_, pos, limit, true, c, why) && is_sequence(c) && parent.info != nullptr;
                l.what = record ? role::record : role::leaf;
                l.info = record ? parent.info : nullptr;
                return l;
            }
            default:
                return label{};
        }
    }

    void print_prefix(size_t offset, int depth) {
        std::fprintf(out_, "%s%6zu %3d%s ", paint(kColorFrame), offset, depth, reset());
        indent(depth);
    }

    void indent(int depth) {
        for (int i = 0; i < depth; ++i) std::fputs("  ", out_);
    }

    void print_eoc(size_t offset, int depth) {
        print_prefix(offset, depth);
        std::fprintf(out_, "%sEOC%s%s prim len=0%s\n", paint(kColorTag), reset(), paint(kColorFrame), reset());
    }

    // print_line: the frame's line; `encapsulates` when the BER inside its
    // content follows as frames. Content too long for the line follows it.
    void print_line(const header& h, int depth, const label& lab, bool encapsulates) {
        print_prefix(h.offset, depth);
        print_tag(h);
        std::fputs(paint(kColorFrame), out_);
        std::fputs(h.constructed ? " cons" : " prim", out_);
        if (h.definite)
            std::fprintf(out_, " len=%u", h.length);
        else
            std::fputs(" len=indef", out_);
        std::fputs(reset(), out_);
        size_t below = 0;  // offset of content shown below the line
        if (encapsulates) {
            if (h.tag == kTagBitString) std::fputs("  unused=0", out_);
            std::fputs(" encapsulates", out_);
        } else if (!h.constructed) {
            below = print_content(h);
        }
        print_label(lab);
        std::fputc('\n', out_);
        if (below != 0) print_wrapped(below, h.content + h.length, depth + 1);
    }

    void print_tag(const header& h) {
        static const char* const classes[] = {"UNIVERSAL", "APPLICATION", "CONTEXT", "PRIVATE"};
        const char* name = h.cls == kUniversal ? universal_name(h.tag) : nullptr;
        if (name != nullptr)
            std::fprintf(out_, "%s%s%s", paint(kColorTag), name, reset());
        else
            std::fprintf(out_, "%s[%s %u]%s", paint(kColorOtherTag), classes[h.cls], h.tag, reset());
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

    // print_content: the content of a primitive frame on its line; returns
    // the offset of octets to be shown below the line instead (more than
    // kHexOnLine of them), or 0.
    size_t print_content(const header& h) {
        const std::span<const unsigned char> c = b_.subspan(h.content, h.length);
        if (h.cls == kUniversal) {
            switch (h.tag) {
                case kTagBoolean:
                    if (c.size() == 1) {
                        std::fprintf(out_, "  %s%s%s", paint(kColorValue), c[0] != 0 ? "TRUE" : "FALSE", reset());
                        return 0;
                    }
                    break;
                case kTagInteger:
                case kTagEnumerated:
                    if (!c.empty() && c.size() <= 8) {
                        std::int64_t v = (c[0] & 0x80) != 0 ? -1 : 0;  // sign from the first octet
                        for (unsigned char o : c) v = static_cast<std::int64_t>(static_cast<std::uint64_t>(v) << 8 | o);
                        std::fprintf(out_, "  %s%lld%s", paint(kColorValue), static_cast<long long>(v), reset());
                        return 0;
                    }
                    break;
                case kTagNull:
                    if (c.empty()) return 0;
                    break;
                case kTagOid:
                case kTagRelativeOid:
                    if (print_oid(c, h.tag == kTagOid)) return 0;
                    break;
                case kTagBitString:
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
                case kTagBmpString:
                case kTagUniversalString:
                    if (print_wide_text(c, h.tag == kTagBmpString ? 2 : 4)) return 0;
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
        std::fprintf(out_, "  %s", paint(kColorValue));
        print_hex(c);
        std::fputs(reset(), out_);
        print_preview(c);
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

    // print_oid: dotted arcs; false when the content is not a well-formed OID.
    bool print_oid(std::span<const unsigned char> c, bool absolute) {
        std::vector<std::uint64_t> arcs;
        std::uint64_t v = 0;
        bool in_arc = false;
        for (unsigned char o : c) {
            if (!in_arc && o == 0x80) return false;  // arcs are minimal
            if (v > (UINT64_MAX >> 7)) return false;
            v = v << 7 | (o & 0x7F);
            in_arc = (o & 0x80) != 0;
            if (!in_arc) {
                arcs.push_back(v);
                v = 0;
            }
        }
        if (in_arc || arcs.empty()) return false;
        std::string dotted;
        if (absolute) {
            const std::uint64_t first = arcs[0] < 40 ? 0 : arcs[0] < 80 ? 1 : 2;
            dotted = std::to_string(first) + "." + std::to_string(arcs[0] - first * 40);
        } else {
            dotted = std::to_string(arcs[0]);
        }
        for (size_t i = 1; i < arcs.size(); ++i) dotted += "." + std::to_string(arcs[i]);
        std::fprintf(out_, "  %s%s%s", paint(kColorValue), dotted.c_str(), reset());
        if (absolute) {
            const std::string name = oid_name(dotted);
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
};

}  // namespace

dump_summary dump_message(std::span<const unsigned char> bytes, const dump_options& options, FILE* out) {
    if (bytes.empty()) input_error("offset 0: the input is empty");
    size_t start = 0;
    if (!options.no_envelope && bytes.size() > kEnvelopeSize && bytes[2] == kSignature0 && bytes[3] == kSignature1 &&
        bytes[0] != 0) {
        // The library's envelope rule: more than 4 octets, AC DC at offset 2,
        // and a nonzero header length, which is where the record starts.
        start = bytes[0];
        std::fprintf(out, "envelope: header length %u, version %u, signature AC DC", bytes[0], bytes[1]);
        if (start != kEnvelopeSize) std::fprintf(out, " (the record starts at offset %zu)", start);
        std::fputc('\n', out);
        if (start >= bytes.size()) {
            std::fflush(out);
            input_error("offset 0: header length " + std::to_string(start) + " leaves no record in the " +
                        std::to_string(bytes.size()) + " octets of the input");
        }
    } else {
        std::fputs("no envelope\n", out);
    }
    walker w(bytes, options, out);
    label root;
    if (options.type != nullptr) {
        root.what = role::record;
        root.info = options.type;
    }
    for (size_t pos = start; pos < bytes.size();) {
        pos = w.frame(pos, bytes.size(), 0, root);
        root = label{};  // frames after the first are not labelled
    }
    return dump_summary{};
}

}  // namespace qbtool
