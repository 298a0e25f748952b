// fuzz/fuzz_scanners.cpp - the BER scanners qbAsnGet* of asn1/asn1.h.
//
// Input: the first octet picks the scanner (modulo 14, see kScanners); the
// second gives the content length `len` handed to the content readers, or,
// when it is FF, the next four octets do (big-endian, so lengths near 2^32
// are tried too). The rest is the caller's input, copied into a heap block of
// exactly its size, so AddressSanitizer reports any octet read or written
// outside it. Scanner 13 walks the whole input as a BER reader would
// (identifier, length, then the content reader its tag calls for, or into
// the content of a constructed frame), checking every call the same way.
//
// Each call is checked against what asn1.h documents:
// - on failure (nonzero status) the cursor and the count stay where they
//   were, the input octets are unchanged and no output is written, except
//   the outputs the header names as partly written:
//     qbAsnGetType, multi-octet form, input cut off: constructed and class
//       are stored and the tag holds a partial value;
//     qbAsnGetLength, long form whose octets run out: definite = 1 and a
//       partial length are stored;
//     an allocation failure of qbAsnGetBitstringValue stores null in *bits;
// - on success the cursor moves by exactly the octets consumed and the count
//   drops by as much, except the multi-octet identifier form, which leaves
//   *p alone, stores the advanced cursor in p[1] and counts the final tag
//   octet off *rem without passing it (so callers pass two pointer slots);
// - the status and the results equal those of a small model of each scanner
//   written here from the header's description, precedence of the failures
//   included (too long before zero length before input exhausted).
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "asn1/asn1.h"
#include "shim.h"

namespace {

constexpr unsigned int kOk = 0;
constexpr unsigned int kInputExhausted = 0x10652198;
constexpr unsigned int kTooLong = 0x10652199;
constexpr unsigned int kZeroLength = 0x1065219A;
constexpr unsigned int kMalformed = 0x1065219B;
constexpr unsigned int kNullOutput = 0x1065219C;
constexpr unsigned int kOutOfMemory = 0x10652065;

// Sentinels for outputs a call must leave alone.
constexpr unsigned int kUntouched = 0xA5A5A5A5U;
constexpr long kUntouchedLong = 0x5A5A5A5AL;

using bytes_t = std::vector<unsigned char>;

// view: the caller's cursor and count before a call, and the octets the count
// covers, to compare with afterwards.
struct view {
    unsigned char* start;
    unsigned int rem;
    bytes_t octets;

    view(unsigned char* p, unsigned int r) : start(p), rem(r), octets(p, p + r) {}
    bool unchanged() const { return rem == 0 || std::memcmp(start, octets.data(), rem) == 0; }
    // unchanged_but: unchanged except octet i, which now holds v.
    bool unchanged_but(unsigned int i, unsigned char v) const {
        for (unsigned int k = 0; k < rem; ++k)
            if (start[k] != (k == i ? v : octets[k])) return false;
        return true;
    }
};

// at_rest: the cursor and count as they were (what every failure leaves).
bool at_rest(const view& before, unsigned char* const* p, const unsigned int* rem) {
    return *p == before.start && *rem == before.rem;
}

// moved_by: the cursor advanced n octets and the count dropped by n.
bool moved_by(const view& before, unsigned char* const* p, const unsigned int* rem, unsigned int n) {
    return n <= before.rem && *p == before.start + n && *rem == before.rem - n;
}

// ---- qbAsnGetType ----

struct identifier {
    unsigned int tag = kUntouched, constructed = kUntouched, cls = kUntouched;
    bool multi_octet = false;
};

// check_type: slots[0] is the cursor, slots[1] the second slot the
// multi-octet form writes.
unsigned int check_type(unsigned char** slots, unsigned int* rem, identifier& id) {
    const view before(slots[0], *rem);
    unsigned char marker = 0;
    slots[1] = &marker;
    id = identifier{};
    const unsigned int rc = qbAsnGetType(slots, rem, &id.tag, &id.constructed, &id.cls);
    FUZZ_CHECK(before.unchanged());  // the input is only read
    if (before.rem == 0) {
        FUZZ_CHECK(rc == kInputExhausted);
        FUZZ_CHECK(id.tag == kUntouched && id.constructed == kUntouched && id.cls == kUntouched);
        FUZZ_CHECK(at_rest(before, slots, rem) && slots[1] == &marker);
        return rc;
    }
    const unsigned char first = before.octets[0];
    FUZZ_CHECK(id.constructed == ((first & 0x20) != 0 ? 1U : 0U));
    FUZZ_CHECK(id.cls == static_cast<unsigned int>(first >> 6));
    if ((first & 0x1F) != 0x1F) {
        FUZZ_CHECK(rc == kOk);
        FUZZ_CHECK(id.tag == (first & 0x1FU));
        FUZZ_CHECK(moved_by(before, slots, rem, 1));
        FUZZ_CHECK(slots[1] == &marker);
        return rc;
    }
    // Multi-octet form: the tag gathers the low seven bits of the octets
    // before the first later octet without bit 0x80 (index k), which must lie
    // within the input.
    id.multi_octet = true;
    unsigned int k = 1;
    while (k < before.rem && (before.octets[k] & 0x80) != 0) ++k;
    if (k >= before.rem) {
        FUZZ_CHECK(rc == kInputExhausted);
        FUZZ_CHECK(at_rest(before, slots, rem) && slots[1] == &marker);  // partial tag: any value
        return rc;
    }
    std::uint32_t tag = 0;
    for (unsigned int i = 0; i < k; ++i) tag = (tag << 7) + (before.octets[i] & 0x7FU);
    FUZZ_CHECK(rc == kOk);
    FUZZ_CHECK(id.tag == tag);
    FUZZ_CHECK(slots[0] == before.start);      // the caller's own cursor stays
    FUZZ_CHECK(slots[1] == before.start + k);  // the advanced one goes to the second slot
    FUZZ_CHECK(*rem == before.rem - k - 1);    // the final tag octet is counted off too
    return rc;
}

// ---- qbAsnGetLength ----

unsigned int check_length(unsigned char** p, unsigned int* rem, unsigned int& definite, unsigned int& length) {
    const view before(*p, *rem);
    definite = kUntouched;
    length = kUntouched;
    const unsigned int rc = qbAsnGetLength(p, rem, &definite, &length);
    FUZZ_CHECK(before.unchanged());
    if (before.rem == 0) {
        FUZZ_CHECK(rc == kInputExhausted && definite == kUntouched && length == kUntouched);
        FUZZ_CHECK(at_rest(before, p, rem));
        return rc;
    }
    const unsigned char first = before.octets[0];
    if (first == 0x80) {
        FUZZ_CHECK(rc == kOk && definite == 0 && length == 0 && moved_by(before, p, rem, 1));
    } else if ((first & 0x80) != 0) {
        const unsigned int n = first & 0x7FU;
        if (n >= before.rem) {
            FUZZ_CHECK(rc == kInputExhausted && definite == 1);  // partial length: any value
            FUZZ_CHECK(at_rest(before, p, rem));
        } else {
            std::uint32_t v = 0;  // only the low 32 bits of a longer length survive
            for (unsigned int i = 1; i <= n; ++i) v = (v << 8) | before.octets[i];
            FUZZ_CHECK(rc == kOk && definite == 1 && length == v && moved_by(before, p, rem, 1 + n));
        }
    } else {
        FUZZ_CHECK(rc == kOk && definite == 1 && length == first && moved_by(before, p, rem, 1));
    }
    return rc;
}

// ---- INTEGER content ----

unsigned int check_integer(unsigned char** p, unsigned int* rem, unsigned int len) {
    const view before(*p, *rem);
    long value = kUntouchedLong;
    const unsigned int rc = qbAsnGetIntegerValue(p, rem, len, &value);
    FUZZ_CHECK(before.unchanged());
    const unsigned int want = len > 4 ? kTooLong : before.rem < len ? kInputExhausted : kOk;
    FUZZ_CHECK(rc == want);
    if (rc != kOk) {
        FUZZ_CHECK(value == kUntouchedLong && at_rest(before, p, rem));
        return rc;
    }
    // The sign comes from the octet at the cursor, even for empty content.
    std::uint32_t v = (before.rem > 0 && (before.octets[0] & 0x80) != 0) ? 0xFFFFFFFFU : 0U;
    for (unsigned int i = 0; i < len; ++i) v = (v << 8) | before.octets[i];
    FUZZ_CHECK(value == static_cast<long>(static_cast<std::int32_t>(v)));
    FUZZ_CHECK(moved_by(before, p, rem, len));
    return rc;
}

enum class byte_reader { big, little, long_big, long_little };

unsigned int check_integer_bytes(unsigned char** p, unsigned int* rem, unsigned int len, byte_reader r,
                                 int little_flag) {
    const view before(*p, *rem);
    unsigned char marker = 0;
    unsigned char* bytes = &marker;
    unsigned int count = kUntouched;
    unsigned int rc = 0;
    bool little = false;
    switch (r) {
        case byte_reader::big: rc = qbAsnGetIntegerValue(p, rem, len, &bytes, &count, 0); break;
        case byte_reader::little:
            rc = qbAsnGetIntegerValue(p, rem, len, &bytes, &count, little_flag);
            little = little_flag != 0;
            break;
        case byte_reader::long_big: rc = qbAsnGetLongIntegerValueBigEndian(p, rem, len, &bytes, &count); break;
        case byte_reader::long_little:
            rc = qbAsnGetLongIntegerValueLittleEndian(p, rem, len, &bytes, &count);
            little = true;
            break;
    }
    FUZZ_CHECK(before.unchanged());
    const unsigned int want = len > 4 ? kTooLong : len == 0 ? kZeroLength : before.rem < len ? kInputExhausted : kOk;
    if (rc != kOk) {
        FUZZ_CHECK(rc == want || (want == kOk && rc == kOutOfMemory));
        FUZZ_CHECK(bytes == &marker && count == kUntouched && at_rest(before, p, rem));
        return rc;
    }
    FUZZ_CHECK(want == kOk);
    FUZZ_CHECK(bytes != nullptr && bytes != &marker && count == len);
    for (unsigned int i = 0; i < len; ++i)
        FUZZ_CHECK(bytes[i] == (little ? before.octets[len - 1 - i] : before.octets[i]));
    std::free(bytes);
    FUZZ_CHECK(moved_by(before, p, rem, len));
    return rc;
}

// ---- NULL ----

unsigned int check_null(unsigned char** p, unsigned int* rem, unsigned int len) {
    const view before(*p, *rem);
    const unsigned int rc = qbAsnGetNullValue(p, rem, len);
    // Succeeds at once; checks and consumes nothing.
    FUZZ_CHECK(rc == kOk && before.unchanged() && at_rest(before, p, rem));
    return rc;
}

// ---- BIT STRING ----

unsigned int check_bitstring(unsigned char** p, unsigned int* rem, unsigned int len) {
    const view before(*p, *rem);
    unsigned char marker = 0;
    unsigned char* bits = &marker;
    unsigned int nbits = kUntouched;
    const unsigned int rc = qbAsnGetBitstringValue(p, rem, len, &bits, &nbits);
    unsigned int want = len > 4 ? kTooLong : len == 0 ? kZeroLength : before.rem < len ? kInputExhausted : kOk;
    const unsigned int unused = want == kOk ? before.octets[0] : 0;
    if (want == kOk && (unused > 7 || (len == 1 && unused != 0))) want = kMalformed;
    if (rc != kOk) {
        FUZZ_CHECK(before.unchanged() && at_rest(before, p, rem) && nbits == kUntouched);
        if (rc == kOutOfMemory && want == kOk) {
            FUZZ_CHECK(bits == nullptr);  // the null result is stored
        } else {
            FUZZ_CHECK(rc == want && bits == &marker);
        }
        return rc;
    }
    FUZZ_CHECK(want == kOk);
    FUZZ_CHECK(nbits == (len - 1) * 8 - unused);
    // *bits stands just past the copy; the block starts len - 1 octets earlier.
    FUZZ_CHECK(bits != &marker && bits != nullptr);
    unsigned char* block = bits - (len - 1);
    for (unsigned int i = 1; i < len; ++i) FUZZ_CHECK(block[i - 1] == before.octets[i]);
    std::free(block);
    // The unused bits are cleared in the caller's input, nowhere else.
    const unsigned char last = before.octets[len - 1];
    const unsigned char cleared = unused > 0 ? static_cast<unsigned char>(last & (0xFFU << unused)) : last;
    FUZZ_CHECK(before.unchanged_but(len - 1, cleared));
    FUZZ_CHECK(moved_by(before, p, rem, len));
    return rc;
}

// ---- OBJECT IDENTIFIER, OCTET STRING ----

unsigned int check_oid(unsigned char** p, unsigned int* rem, unsigned int len, bool null_out) {
    const view before(*p, *rem);
    unsigned char marker = 0;
    qb_asn_buffer_t out{kUntouched, &marker};
    const unsigned int rc = qbAsnGetOIDValue(p, rem, len, null_out ? nullptr : &out);
    FUZZ_CHECK(before.unchanged());
    const unsigned int want = null_out ? kNullOutput : len == 0 ? kZeroLength : before.rem < len ? kInputExhausted : kOk;
    if (rc != kOk) {
        FUZZ_CHECK(rc == want || (want == kOk && rc == kOutOfMemory));
        FUZZ_CHECK(out.length == kUntouched && out.data == &marker && at_rest(before, p, rem));
        return rc;
    }
    FUZZ_CHECK(want == kOk && out.length == len && out.data != &marker && out.data != nullptr);
    FUZZ_CHECK(std::memcmp(out.data, before.octets.data(), len) == 0);
    std::free(out.data);
    FUZZ_CHECK(moved_by(before, p, rem, len));
    return rc;
}

unsigned int check_octetstring(unsigned char** p, unsigned int* rem, unsigned int len) {
    const view before(*p, *rem);
    unsigned char marker = 0;
    unsigned char* data = &marker;
    unsigned int count = kUntouched;
    const unsigned int rc = qbAsnGetOctetstringValue(p, rem, len, &data, &count);
    FUZZ_CHECK(before.unchanged());
    const unsigned int want = len == 0 ? kZeroLength : before.rem < len ? kInputExhausted : kOk;
    if (rc != kOk) {
        FUZZ_CHECK(rc == want || (want == kOk && rc == kOutOfMemory));
        FUZZ_CHECK(data == &marker && count == kUntouched && at_rest(before, p, rem));
        return rc;
    }
    FUZZ_CHECK(want == kOk && count == len && data != &marker && data != nullptr);
    FUZZ_CHECK(std::memcmp(data, before.octets.data(), len) == 0);
    std::free(data);
    FUZZ_CHECK(moved_by(before, p, rem, len));
    return rc;
}

// ---- character strings ----

unsigned int check_charstring(unsigned char** p, unsigned int* rem, unsigned int len) {
    const view before(*p, *rem);
    char text[4] = {'x', 'y', 'z', 'w'};  // never written
    const unsigned int rc = qbAsnGetCharstringValue(p, rem, len, text);
    FUZZ_CHECK(std::memcmp(text, "xyzw", 4) == 0);
    const unsigned int want = len == 0 ? kZeroLength : before.rem < len ? kInputExhausted : kOk;
    if (rc != kOk) {
        FUZZ_CHECK(rc == want || (want == kOk && rc == kOutOfMemory));
        FUZZ_CHECK(before.unchanged() && at_rest(before, p, rem));
        return rc;
    }
    FUZZ_CHECK(want == kOk);
    // The text is terminated in the input, over the octet after the content,
    // only when that octet lies within the count.
    if (len < before.rem) {
        FUZZ_CHECK(before.unchanged_but(len, 0x00));
    } else {
        FUZZ_CHECK(before.unchanged());
    }
    FUZZ_CHECK(moved_by(before, p, rem, len));
    return rc;
}

// ---- a BER reader made of the scanners ----

// skip: passes n content octets a reader did not consume; false when fewer are left.
bool skip(unsigned char** p, unsigned int* rem, unsigned int n) {
    if (n > *rem) return false;
    *p += n;
    *rem -= n;
    return true;
}

void walk(unsigned char* data, unsigned int size) {
    unsigned char* slots[2] = {data, nullptr};
    unsigned int rem = size;
    constexpr int kMaxSteps = 64;
    for (int step = 0; step < kMaxSteps && rem > 0; ++step) {
        identifier id;
        if (check_type(slots, &rem, id) != kOk) return;
        if (id.multi_octet) slots[0] = slots[1];  // continue from the advanced cursor
        unsigned int definite = 0, len = 0;
        if (check_length(slots, &rem, definite, len) != kOk) return;
        if (id.constructed == 1 || definite == 0) continue;  // read on into the content
        unsigned char* const content = slots[0];
        const unsigned int rem_at_content = rem;
        unsigned int rc = kOk;
        switch (id.cls == 0 ? id.tag : 0xFFFFFFFFU) {
            case 1:  // BOOLEAN: as a one-octet integer
            case 2:  // INTEGER: the four readers in turn
            case 10:
                switch (step % 4) {
                    case 0: rc = check_integer(slots, &rem, len); break;
                    case 1: rc = check_integer_bytes(slots, &rem, len, byte_reader::little, 1); break;
                    case 2: rc = check_integer_bytes(slots, &rem, len, byte_reader::long_big, 0); break;
                    default: rc = check_integer_bytes(slots, &rem, len, byte_reader::long_little, 0); break;
                }
                break;
            case 3: rc = check_bitstring(slots, &rem, len); break;
            case 5: rc = check_null(slots, &rem, len); break;
            case 6: rc = check_oid(slots, &rem, len, false); break;
            case 12: case 18: case 19: case 20: case 22: case 26: case 27: case 28: case 30:
                rc = check_charstring(slots, &rem, len);
                break;
            default: rc = check_octetstring(slots, &rem, len); break;
        }
        // A reader that consumed nothing (NULL, a refused length) leaves the
        // content to be passed by hand, as a BER reader would.
        if (rc != kOk || slots[0] == content) {
            slots[0] = content;
            rem = rem_at_content;
            if (!skip(slots, &rem, len)) return;
        }
    }
}

}  // namespace

void fuzz_one(std::span<const unsigned char> input) {
    if (input.size() < 2) return;
    const unsigned int selector = input[0] % 14U;
    unsigned int len = input[1];
    std::span<const unsigned char> rest = input.subspan(2);
    if (len == 0xFF) {
        if (rest.size() < 4) return;
        len = (unsigned{rest[0]} << 24) | (unsigned{rest[1]} << 16) | (unsigned{rest[2]} << 8) | unsigned{rest[3]};
        rest = rest.subspan(4);
    }
    qb_fuzz::heap_copy copy(rest);
    unsigned char* slots[2] = {copy.data(), nullptr};
    unsigned int rem = copy.size();
    identifier id;
    unsigned int definite = 0, length = 0;
    switch (selector) {
        case 0: check_type(slots, &rem, id); break;
        case 1: check_length(slots, &rem, definite, length); break;
        case 2: check_integer(slots, &rem, len); break;
        case 3: check_integer_bytes(slots, &rem, len, byte_reader::big, 0); break;
        case 4: check_integer_bytes(slots, &rem, len, byte_reader::little, input[0]); break;
        case 5: check_integer_bytes(slots, &rem, len, byte_reader::long_big, 0); break;
        case 6: check_integer_bytes(slots, &rem, len, byte_reader::long_little, 0); break;
        case 7: check_null(slots, &rem, len); break;
        case 8: check_bitstring(slots, &rem, len); break;
        case 9: check_oid(slots, &rem, len, false); break;
        case 10: check_oid(slots, &rem, len, true); break;
        case 11: check_octetstring(slots, &rem, len); break;
        case 12: check_charstring(slots, &rem, len); break;
        default: walk(copy.data(), copy.size()); break;
    }
}
