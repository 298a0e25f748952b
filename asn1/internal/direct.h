// asn1/internal/direct.h - the building blocks of the direct record codec:
// reading frames straight from the input and writing them straight into the
// output block, without building the object tree.
//
// The typed entry points encode and decode through these, driven by each
// record's description (asn1/internal/record.h). Every rule here is the
// object tree's rule for the same octets (asnread and read_header in
// asn1/asnbase.cpp, the INTEGER value of qb_asn_integer), so both paths give
// the same status for every input; where the two share a computation, the
// tree calls the function defined here.
//
// Not installed: used by the library's sources only.
#ifndef QBASN_INTERNAL_DIRECT_H
#define QBASN_INTERNAL_DIRECT_H

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "asn1/asnbase.h"
#include "asn1/internal/status.h"
#include "asn1/internal/utf8text.h"

namespace qb::direct {

using namespace qb::detail;

// ---- INTEGER values (shared with qb_asn_integer) ----

// integer_value: the 32-bit value of n INTEGER content octets. Octets more
// than four from the end contribute nothing; more than four octets are
// valid only when the first is 00 (otherwise `valid` is false and the
// value 0). One to three octets are sign-extended; none is the value 0.
inline int32_t integer_value(const unsigned char* c, unsigned int n, bool& valid) {
    if (n > 4 && c[0] != 0x00) {
        valid = false;
        return 0;
    }
    valid = true;
    uint32_t w = 0;
    for (unsigned int i = 0; i < n; ++i) {
        // Deliberate: octets more than four from the end contribute nothing.
        const unsigned int distance = n - 1 - i;
        if (distance < 4) w += static_cast<uint32_t>(c[i]) << (8 * distance);
    }
    if (n >= 1 && n <= 3 && (c[0] & 0x80)) w |= 0xFFFFFFFFu << (8 * n);
    return static_cast<int32_t>(w);
}

// integer_octets: the minimal two's-complement content octets of a 32-bit
// value (one to five octets) into out; returns their count.
inline unsigned int integer_octets(uint32_t w, unsigned char out[5]) {
    const bool negative = (w & 0x80000000u) != 0;
    unsigned int n = 0;
    for (int i = 3; i >= 0; --i) {
        const unsigned char o = static_cast<unsigned char>(w >> (8 * i));
        if (n == 0) {
            if (o == (negative ? 0xFF : 0x00)) continue;
            if (negative && o < 0x80) out[n++] = 0xFF;
            if (!negative && o >= 0x80) out[n++] = 0x00;
        }
        out[n++] = o;
    }
    if (n == 0) out[n++] = negative ? 0xFF : 0x00;
    return n;
}

// ---- reading ----

// view: the octets not read yet, and the nesting level of the frames in
// them (0 for the record's own frame). Nothing outside [p, p + n) is touched.
struct view {
    const unsigned char* p;
    unsigned int n;
    unsigned int level = 0;
};

inline void skip(view& v, unsigned int k) {
    v.p += k;
    v.n -= k;
}

// at_eoc: an end-of-contents mark (00 00) stands next.
inline bool at_eoc(const view& v) { return v.n >= 2 && v.p[0] == 0 && v.p[1] == 0; }

// Forms an object accepts: primitive, constructed, indefinite length.
enum form_flags : unsigned int { prim_ok = 1, cons_ok = 2, indef_ok = 4 };

// frame: what open() found. `content` is the content of a definite frame,
// or everything after the length octets of an indefinite one.
struct frame {
    view content;
    unsigned int length;
    bool absent;
    bool constructed;
    bool indefinite;
};

// length_beyond_32_bits: the length octets at v are a long form whose value
// does not fit 32 bits (the frame reader's rule, see asnbase.cpp).
inline bool length_beyond_32_bits(const view& v) {
    if (v.n == 0 || (v.p[0] & 0x80) == 0) return false;
    const unsigned int k = v.p[0] & 0x7F;
    if (k <= 4) return false;
    const unsigned int high_end = (k - 4 < v.n - 1) ? k - 4 : v.n - 1;
    for (unsigned int i = 1; i <= high_end; ++i)
        if (v.p[i] != 0) return true;
    return false;
}

// open: reads the identifier and length of the frame at v the way the
// object tree reads it for an object of universal class and number `tag`
// that accepts `forms`. An optional object takes an identifier that cannot
// be read or does not match as its absence (status 0, f.absent). On success
// v is past the length octets; on failure and absence v is unchanged.
[[nodiscard]] inline unsigned int open(view& v, unsigned int tag, unsigned int forms, bool optional, frame& f) {
    f.absent = false;
    const auto not_here = [&](unsigned int rc) {
        if (!optional) return rc;
        f.absent = true;
        return kOk;
    };
    if (v.n == 0) return not_here(kInputExhausted);
    const unsigned char first = v.p[0];
    unsigned int i = 1;
    uint32_t t = first & kHighTagNumber;
    if (t == kHighTagNumber) {
        t = 0;
        for (;;) {
            if (i >= v.n) return not_here(kInputExhausted);
            const unsigned char o = v.p[i++];
            if (t > (UINT32_MAX >> 7)) return not_here(kMalformed);
            t = (t << 7) | (o & 0x7F);
            if ((o & 0x80) == 0) break;
        }
    }
    if (t != tag || (first >> 6) != 0) return not_here(kTagMismatch);
    f.constructed = (first & kConstructedBit) != 0;
    if (f.constructed && !(forms & cons_ok)) return kConstructedForbidden;
    if (!f.constructed && !(forms & prim_ok)) return kPrimitiveForbidden;
    view rest{v.p + i, v.n - i, v.level};
    if (length_beyond_32_bits(rest)) return kInputExhausted;
    if (rest.n == 0) return kInputExhausted;
    unsigned int length = 0;
    const unsigned char l0 = rest.p[0];
    if (l0 == kIndefiniteLength) {
        f.indefinite = true;
        skip(rest, 1);
    } else if (l0 & 0x80) {
        // Long form: any number of octets, the low 32 bits kept (the higher
        // ones are zero here).
        const unsigned int k = l0 & 0x7F;
        for (unsigned int j = 1; j <= k; ++j) {
            if (j >= rest.n) return kInputExhausted;
            length = (length << 8) + rest.p[j];
        }
        f.indefinite = false;
        skip(rest, 1 + k);
    } else {
        length = l0;
        f.indefinite = false;
        skip(rest, 1);
    }
    if (f.indefinite && !(forms & indef_ok)) return kIndefiniteForbidden;
    if (length > rest.n) return kInputExhausted;
    // Bounded nesting: the object tree reads no frame QBASN_MAX_NESTING or
    // more levels deep.
    if (v.level >= QBASN_MAX_NESTING) return kMalformed;
    f.length = length;
    f.content = f.indefinite ? rest : view{rest.p, length, 0};
    f.content.level = v.level + 1;
    v.p = rest.p;
    v.n = rest.n;
    return kOk;
}

// close: after the content of `f` has been read from `inner` (a copy of
// f.content), moves v past the frame: a definite frame by its length, an
// indefinite one past the end-of-contents mark that must follow (0x1065219B
// when it does not).
[[nodiscard]] inline unsigned int close(view& v, const frame& f, const view& inner) {
    if (!f.indefinite) {
        skip(v, f.length);
        return kOk;
    }
    if (!at_eoc(inner)) return kMalformed;
    v.p = inner.p;
    v.n = inner.n;
    skip(v, 2);
    return kOk;
}

// after_primitive: what follows the content of a primitive frame (for an
// indefinite one, whose content is empty, where its end-of-contents must be).
inline view after_primitive(const frame& f) {
    return view{f.content.p + f.length, f.content.n - f.length, f.content.level};
}

// integer_of: the value of an INTEGER frame's content as the records' integer
// getters give it: the 32-bit value, or 0 when it cannot be read.
inline long integer_of(const frame& f) {
    bool valid = false;
    const int32_t v = integer_value(f.content.p, f.length, valid);
    return valid ? v : 0;
}

// null_here: a NULL reads at v (identifier 05, primitive, definite, empty);
// then v moves past it. Otherwise v is unchanged.
inline bool null_here(view& v) {
    view t = v;
    frame f;
    if (open(t, 5, prim_ok, false, f) != kOk || f.length != 0) return false;
    v = t;
    return true;
}

// The envelope: payload offset, version, signature AC DC.
inline constexpr size_t kEnvelopeLength = 4;
inline constexpr unsigned char kSignature0 = 0xAC;
inline constexpr unsigned char kSignature1 = 0xDC;

// envelope_payload: the payload of `in` when it carries the envelope with
// this version and a nonzero payload offset (0x10652196 otherwise). The
// offset is taken as it stands; one past the block leaves nothing to read.
[[nodiscard]] inline unsigned int envelope_payload(const qb_asn_buffer_t& in, int version, view& payload) {
    if (!(in.length > 4 && in.data != nullptr && in.data[2] == kSignature0 && in.data[3] == kSignature1))
        return kNoEnvelope;
    if (in.data[1] != static_cast<unsigned char>(version & 0xFF)) return kNoEnvelope;
    const unsigned int offset = in.data[0];
    if (offset == 0) return kNoEnvelope;
    const unsigned int start = offset < in.length ? offset : in.length;
    payload = view{in.data + start, in.length - start, 0};
    return kOk;
}

// skip_frame: moves v past one frame of input that has been read once
// already (so it is well-formed): the second pass of a decode uses it to
// count list elements.
inline void skip_frame(view& v) {
    unsigned int i = 1;
    if ((v.p[0] & kHighTagNumber) == kHighTagNumber)
        while (v.p[i++] & 0x80) {
        }
    const unsigned char l0 = v.p[i];
    if (l0 == kIndefiniteLength) {
        skip(v, i + 1);
        while (!at_eoc(v)) skip_frame(v);
        skip(v, 2);
        return;
    }
    unsigned int length = 0;
    if (l0 & 0x80) {
        const unsigned int k = l0 & 0x7F;
        for (unsigned int j = 1; j <= k; ++j) length = (length << 8) + v.p[i + j];
        i += 1 + k;
    } else {
        length = l0;
        i += 1;
    }
    skip(v, i + length);
}

// count_frames: the frames of a list's content, read once already.
inline unsigned int count_frames(const frame& f) {
    view v = f.content;
    unsigned int n = 0;
    while (f.indefinite ? !at_eoc(v) : v.n != 0) {
        skip_frame(v);
        ++n;
    }
    return n;
}

// ---- writing ----

// text_mode: how an encode stores the caller's texts, decided once per call:
// as they are (plain), converted from the local code set (lcs), or the same
// with ASCII texts taken as they are because the thread's code set keeps
// ASCII unchanged (lcs_ascii_kept; see utf8_octets_of).
enum class text_mode : unsigned char { plain, lcs, lcs_ascii_kept };

inline text_mode text_mode_of(bool lcs) {
    if (!lcs) return text_mode::plain;
    return lcs_keeps_ascii_to_utf8() ? text_mode::lcs_ascii_kept : text_mode::lcs;
}

// text_octets: the octets the text field stores for s under `mode`: s itself
// (with its length) where it needs no conversion, else its UTF-8 form in hold.
inline void text_octets(const char* s, text_mode mode, text_block& hold, const unsigned char*& p, size_t& n) {
    if (mode != text_mode::lcs) {
        p = reinterpret_cast<const unsigned char*>(s);
        n = s == nullptr ? 0 : std::strlen(s);
        if (mode == text_mode::plain || n == 0) return;
        unsigned char high = 0;  // every octet's top bit, gathered
        for (size_t i = 0; i < n; ++i) high |= p[i];
        if (high < 0x80) return;
    }
    utf8_octets_of(s, true, hold, p, n);
}
//
// The encoder sizes the whole message first, allocates it once and then
// writes it from the end towards the front, so that each frame's length is
// known (it is what the content wrote) when its identifier and length octets
// are written in front of it.

// length_size: the octets of a DER length (short form below 128).
inline size_t length_size(size_t n) {
    if (n < 0x80) return 1;
    size_t k = 1;
    while (n > 0xFF) {
        n >>= 8;
        ++k;
    }
    return 1 + k;
}

// frame_size: a frame with a one-octet identifier around `content` octets.
inline size_t frame_size(size_t content) { return 1 + length_size(content) + content; }

// writer: fills [begin, cur) backwards; `cur` is the first octet written.
struct writer {
    unsigned char* begin;
    unsigned char* cur;

    void put(const void* p, size_t n) {
        unsigned char* c = cur - n;
        if (n != 0) std::memcpy(c, p, n);
        cur = c;
    }
    // header: identifier and length in front of `content` octets already
    // written (gathered first, so the writer's position moves once).
    void header(unsigned char identifier, size_t content) {
        unsigned char h[2 + sizeof(size_t)];
        unsigned int k = 2;
        h[0] = identifier;
        if (content < 0x80) {
            h[1] = static_cast<unsigned char>(content);
        } else {
            unsigned int n = 0;
            for (size_t v = content; v != 0; v >>= 8) ++n;
            h[1] = static_cast<unsigned char>(0x80 | n);
            for (unsigned int i = 0; i < n; ++i) h[2 + i] = static_cast<unsigned char>(content >> (8 * (n - 1 - i)));
            k = 2 + n;
        }
        put(h, k);
    }
    // integer: a whole INTEGER frame.
    void integer(uint32_t w) {
        unsigned char f[7];
        const unsigned int n = integer_octets(w, f + 2);
        f[0] = 0x02;
        f[1] = static_cast<unsigned char>(n);
        put(f, 2 + n);
    }
    // text: a whole UTF8String frame of the caller's text (see utf8_octets_of).
    void text(const char* s, text_mode mode) {
        if (mode == text_mode::plain) {
            const size_t n = s == nullptr ? 0 : std::strlen(s);
            put(s, n);
            header(0x0C, n);
            return;
        }
        text_block hold;
        const unsigned char* p = nullptr;
        size_t n = 0;
        text_octets(s, mode, hold, p, n);
        put(p, n);
        header(0x0C, n);
    }
    // envelope: the four header octets, in front of everything.
    void envelope(int version) {
        const unsigned char header[kEnvelopeLength] = {static_cast<unsigned char>(kEnvelopeLength),
                                                       static_cast<unsigned char>(version & 0xFF), kSignature0,
                                                       kSignature1};
        put(header, kEnvelopeLength);
    }
};

inline size_t integer_frame_size(uint32_t w) {
    unsigned char octets[5];
    return 2 + integer_octets(w, octets);
}

// text_frame_size: the UTF8String frame of the caller's text.
inline size_t text_frame_size(const char* s, text_mode mode) {
    if (mode == text_mode::plain) return frame_size(s == nullptr ? 0 : std::strlen(s));
    text_block hold;
    const unsigned char* p = nullptr;
    size_t n = 0;
    text_octets(s, mode, hold, p, n);
    return frame_size(n);
}

// block_guard: frees a malloc'ed block unless released (an encode that
// throws half way leaves nothing behind).
class block_guard {
public:
    explicit block_guard(unsigned char* p) : p_(p) {}
    ~block_guard() { std::free(p_); }
    block_guard(const block_guard&) = delete;
    block_guard& operator=(const block_guard&) = delete;
    unsigned char* release() {
        unsigned char* p = p_;
        p_ = nullptr;
        return p;
    }

private:
    unsigned char* p_;
};

// encode_block: the message of an encode: `payload_size()` gives the octets
// of the payload frame (or a status in `rc`), one block of exactly envelope +
// payload is allocated, `write_payload(writer)` writes the frame backwards,
// then the envelope goes in front. On failure out is untouched; a block that
// cannot be allocated throws qb_asn_memexception naming file and line.
template <class Size, class Write>
unsigned int encode_block(qb_asn_buffer_t& out, int version, Size payload_size, Write write_payload, const char* file,
                          int line) {
    unsigned int rc = kOk;
    const size_t payload = payload_size(rc);
    if (rc != kOk) return rc;
    const size_t total = kEnvelopeLength + payload;
    if (total > UINT32_MAX) throw qb_asn_memexception(file, line, "ASN: Out of memory");
    auto* block = static_cast<unsigned char*>(std::malloc(total));
    if (block == nullptr) throw qb_asn_memexception(file, line, "ASN: Out of memory");
    block_guard guard(block);
    writer w{block, block + total};
    write_payload(w);
    w.envelope(version);
    out.length = static_cast<unsigned int>(total);
    out.data = guard.release();
    return kOk;
}

// segmented_octets: an OCTET STRING frame at v that may also come
// constructed (a series of segments, each an OCTET STRING frame itself) or
// with an indefinite length, read as the runtime's octet string reads one
// whose constructed and indefinite forms are permitted: segments are followed
// to QBASN_MAX_SEGMENT_NESTING constructed levels (0x1065219B beyond). The
// content length is added to `total`; with `out`, the octets are copied to
// out + the old total. `constructed_levels` is 0 for the member's own frame.
[[nodiscard]] inline unsigned int segmented_octets(view& v, unsigned int constructed_levels, size_t& total,
                                                   unsigned char* out) {
    frame f;
    if (unsigned int rc = open(v, 4, prim_ok | cons_ok | indef_ok, false, f); rc != kOk) return rc;
    if (!f.constructed) {
        if (out != nullptr && f.length != 0) std::memcpy(out + total, f.content.p, f.length);
        total += f.length;
        return close(v, f, after_primitive(f));
    }
    if (constructed_levels >= QBASN_MAX_SEGMENT_NESTING) return kMalformed;
    view in = f.content;
    while (f.indefinite ? !at_eoc(in) : in.n != 0)
        if (unsigned int rc = segmented_octets(in, constructed_levels + 1, total, out); rc != kOk) return rc;
    return close(v, f, in);
}

}  // namespace qb::direct

#endif
