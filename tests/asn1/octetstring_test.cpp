// tests/asn1/octetstring_test.cpp - OCTET STRING, BIT STRING and named bits.
//
// Covers construction settings, primitive and constructed (segmented,
// nested, indefinite-length) reads, the terminating zero kept after decoded
// octets, octets surviving a re-framing, the bit-string wire form with its
// significant-bit count and the read side's unused-bit count, constructed
// bit strings, named-bit addressing and trimming, the presence and default
// rules of every getter, and parents losing their cached encoding when a
// value changes.
#include <gtest/gtest.h>

#include <vector>

#include "asn1/asnbase.h"
#include "support/buffers.h"
#include "support/frames.h"
#include "support/hex.h"
#include "support/probes.h"

namespace {

using Bytes = std::vector<unsigned char>;
using qb_test::bytes_of, qb_test::expect_absent_getter, qb_test::expect_default_octets,
      qb_test::expect_null_refused, qb_test::expect_refused_reads, qb_test::expect_secure, qb_test::expect_security,
      qb_test::frame_of, qb_test::read_frame, qb_test::reads, qb_test::register_all, qb_test::set_default_hex,
      qb_test::set_hex, qb_test::type_summary, qb_test::value_of, qb_test::write_bytes, qb_test::write_frame;

// The octets and bit count a bit string reports.
struct Bits {
    Bytes octets;
    unsigned int nbits;
};

Bits bits_of(const qb_asn_bitstring& b) {
    unsigned char* p = nullptr;
    unsigned int n = 0;
    EXPECT_EQ(b.get_value(p, n), 0u);
    return {bytes_of(p, (n + 7) / 8), n};
}

// value_status: the status of the octet (or bit) getter.
template <class T>
unsigned int value_status(const T& o) {
    unsigned char* p = nullptr;
    unsigned int n = 0;
    return o.get_value(p, n);
}

// expect_held: `s` holds the octets `hex_text`, followed in its own storage
// by a 00 octet.
void expect_held(const qb_asn_octetstring& s, const char* hex_text) {
    unsigned char* p = nullptr;
    unsigned int n = 0;
    ASSERT_EQ(s.get_value(p, n), 0u);
    EXPECT_EQ(bytes_of(p, n), hex(hex_text));
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(p[n], 0x00);
}

// ---- the same rules for OCTET STRING and BIT STRING ----
// (counts are octets for the one, bits for the other)

// default_of: after set_tag(tag), set_class(cls) and a default of `hex_text`
// (count n), `o` is defaultable and its default is a T with the same tag
// and class, `o` as its parent and security off.
template <class T>
T* default_of(T& o, unsigned int tag, int cls, const char* hex_text, unsigned int n) {
    o.set_tag(tag);
    o.set_class(cls);
    EXPECT_EQ(set_default_hex(o, hex_text, n), 0u);
    EXPECT_EQ(o.is_defaultable(), 1);
    auto* d = dynamic_cast<T*>(o.get_default_value());
    EXPECT_NE(d, nullptr);
    if (d == nullptr) return nullptr;
    EXPECT_EQ(d->get_tag(), tag);
    EXPECT_EQ(d->get_class(), cls);
    EXPECT_EQ(d->get_parent(), &o);
    EXPECT_EQ(d->secure, security_off);
    return d;
}

// expect_default_dropped: set_default_value(nullptr) leaves `o` without a
// default, so the getter of the absent value fails.
template <class T>
void expect_default_dropped(T& o) {
    ASSERT_EQ(o.set_default_value(static_cast<qb_asn_object*>(nullptr)), 0u);
    EXPECT_EQ(o.is_defaultable(), 0);
    EXPECT_EQ(value_status(o), 0x106521A0u);
}

// expect_default_not_written: with a default of `hex_text` (count n), the
// absent value and a value equal to the default write nothing; the value
// with count `other` writes `frame`.
template <class T>
void expect_default_not_written(const char* hex_text, unsigned int n, unsigned int other, const char* frame) {
    T o(security_off);
    ASSERT_EQ(set_default_hex(o, hex_text, n), 0u);
    EXPECT_TRUE(write_frame(o).bytes.empty());
    set_hex(o, hex_text, n);
    EXPECT_EQ(write_bytes(o), Bytes{});
    set_hex(o, hex_text, other);
    EXPECT_EQ(write_bytes(o), hex(frame));
}

// expect_parent_rewritten: a T in a SEQUENCE holding `hex_text` (count n1)
// writes `first`; a new value (count n2) makes the sequence's encoding stale
// (the T's own cache is then `child_cached`) and it writes `second`.
template <class T>
void expect_parent_rewritten(const char* hex_text, unsigned int n1, const char* first, unsigned int n2,
                             int child_cached, const char* second) {
    qb_asn_sequence seq(security_off);
    T o(security_off);
    seq.register_child(&o);
    set_hex(o, hex_text, n1);
    ASSERT_EQ(write_bytes(seq), hex(first));
    ASSERT_EQ(seq.is_encoding_valid(), 1);
    set_hex(o, hex_text, n2);
    EXPECT_EQ(seq.is_encoding_valid(), 0);
    EXPECT_EQ(o.is_encoding_valid(), child_cached);
    EXPECT_EQ(write_bytes(seq), hex(second));
}

// read_segments: reads `frame` into `o`, which permits the constructed and
// indefinite forms: `status`, all of it consumed and `o` present on
// success; the view put back and `o` absent otherwise. True on success.
template <class T>
bool read_segments(T& o, const char* frame, unsigned int status) {
    o.constructed_permitted = 1;
    o.indefinite_permitted = 1;
    const Bytes in = hex(frame);
    EXPECT_TRUE(reads(o, in, status, status == 0 ? in.size() : 0));
    EXPECT_EQ(o.is_present(), status == 0 ? 1 : 0);
    return status == 0;
}

// bit_at: named bit `i` of `nb` (the getter must give 0).
int bit_at(const qb_asn_namedbits& nb, unsigned int i) {
    int on = -1;
    EXPECT_EQ(nb.get_bit(i, on), 0u);
    return on;
}

// install_default: a new T holding `hex_text` (count n) becomes `o`'s
// default object, with `o` as its parent.
template <class T>
T* install_default(T& o, const char* hex_text, unsigned int n) {
    auto* d = new T(security_off);
    set_hex(*d, hex_text, n);
    EXPECT_EQ(o.set_default_value(d), 0u);
    EXPECT_EQ(o.get_default_value(), d);
    EXPECT_EQ(d->get_parent(), &o);
    return d;
}

// The stored octets of a bit string, whatever its bit count.
Bytes stored_bits(const qb_asn_bitstring& b) { return bytes_of(b.bits.data, b.bits.length()); }

// PresetBits: a bit string that holds AA (8 bits) before anything is read into it.
struct PresetBits : qb_asn_bitstring {
    explicit PresetBits(security_t s) : qb_asn_bitstring(s) { set_hex(*this, "AA", 8); }
};

}  // namespace

// ---------------------------------------------------------------- OCTET STRING

TEST(QbAsnOctetstring, constructor_settings) {
    qb_asn_octetstring s(security_off);
    EXPECT_EQ(type_summary(s), "OCTETSTRING 4/0 P--");
    EXPECT_EQ(s.secure, security_off);
    EXPECT_EQ(s.is_present(), 0);
    EXPECT_EQ(s.is_defaultable(), 0);
    EXPECT_EQ(s.get_default_value(), nullptr);

    qb_asn_octetstring t(security_on);
    expect_secure(t, security_on);
}

TEST(QbAsnOctetstring, set_secure_stores_own_copy_and_passes_on) {
    qb_asn_octetstring s(security_off);
    s.set_secure(security_on);
    expect_security(s, security_on);
}

TEST(QbAsnOctetstring, set_value_and_write) {
    qb_asn_octetstring s(security_off);
    const Bytes v = hex("01 02 03");
    ASSERT_EQ(s.set_value(v.data(), 3), 0u);
    EXPECT_EQ(s.is_present(), 1);
    EXPECT_EQ(s.is_encoding_valid(), 1);
    EXPECT_EQ(value_of(s), hex("01 02 03"));
    // The getter hands out the object's own storage, no copy.
    unsigned char* p = nullptr;
    unsigned int n = 0;
    ASSERT_EQ(s.get_value(p, n), 0u);
    EXPECT_EQ(p, s.encoding.data);
    EXPECT_NE(p, v.data());
    EXPECT_EQ(write_bytes(s), hex("04 03 01 02 03"));

    ASSERT_EQ(s.set_value(v.data(), 1), 0u);  // replaces, not appends
    EXPECT_EQ(write_bytes(s), hex("04 01 01"));
}

TEST(QbAsnOctetstring, empty_value) {
    qb_asn_octetstring s(security_off);
    ASSERT_EQ(s.set_value(nullptr, 0), 0u);
    EXPECT_EQ(s.is_present(), 1);
    unsigned char* p = nullptr;
    unsigned int n = 99;
    EXPECT_EQ(s.get_value(p, n), 0u);
    EXPECT_EQ(n, 0u);
    EXPECT_EQ(write_bytes(s), hex("04 00"));

    expect_null_refused<qb_asn_octetstring>(2);
}

TEST(QbAsnOctetstring, long_value_length_octets) {
    qb_asn_octetstring s(security_off);
    Bytes v(200, 0x5C);
    ASSERT_EQ(s.set_value(v.data(), 200), 0u);
    const auto w = write_frame(s);
    ASSERT_EQ(w.rc, 0u);
    ASSERT_EQ(w.bytes.size(), 203u);
    EXPECT_EQ(bytes_of(w.bytes.data(), 3), hex("04 81 C8"));
    EXPECT_EQ(w.bytes.back(), 0x5C);
}

TEST(QbAsnOctetstring, primitive_decode_keeps_a_terminating_zero) {
    qb_asn_octetstring s(security_off);
    ASSERT_EQ(set_hex(s, "AA BB CC DD EE FF", 6), 0u);  // memory after the new value is not zero
    ASSERT_TRUE(reads(s, hex("04 03 01 02 03 99"), 0u, 5u));
    EXPECT_EQ(s.is_present(), 1);
    EXPECT_EQ(s.is_constructed(), 0);
    expect_held(s, "01 02 03");
}

TEST(QbAsnOctetstring, terminating_zero_for_every_length) {
    // Whatever the buffer's capacity, the zero lands in owned memory just past the octets.
    for (unsigned int len = 0; len <= 1100; ++len) {
        SCOPED_TRACE(len);
        Bytes content(len);
        for (unsigned int k = 0; k < len; ++k) content[k] = static_cast<unsigned char>(0x80 | (k & 0x7F));
        qb_asn_octetstring s(security_off);
        ASSERT_EQ(read_frame(s, frame_of(0x04, content)), 0u);
        unsigned char* p = nullptr;
        unsigned int n = 0;
        ASSERT_EQ(s.get_value(p, n), 0u);
        ASSERT_EQ(n, len);
        ASSERT_NE(p, nullptr);
        ASSERT_EQ(bytes_of(p, n), content);
        ASSERT_EQ(p[n], 0x00);
    }
}

TEST(QbAsnOctetstring, refuses_constructed_and_indefinite_by_default) {
    qb_asn_octetstring s(security_off);
    EXPECT_TRUE(reads(s, hex("24 03 04 01 01"), 0x1065219Eu, 0u));
    EXPECT_EQ(s.is_present(), 0);
    EXPECT_TRUE(reads(s, hex("04 80 01 00 00"), 0x1065219Du, 0u));
    EXPECT_EQ(s.is_present(), 0);
}

TEST(QbAsnOctetstring, constructed_two_segments) {
    qb_asn_octetstring s(security_off);
    s.constructed_permitted = 1;
    ASSERT_EQ(set_hex(s, "AA BB CC DD EE FF", 6), 0u);
    ASSERT_TRUE(reads(s, hex("24 07 04 02 01 02 04 01 03 55"), 0u, 9u));
    EXPECT_EQ(s.is_present(), 1);
    EXPECT_EQ(s.is_constructed(), 1);
    expect_held(s, "01 02 03");
}

TEST(QbAsnOctetstring, constructed_indefinite_length) {
    qb_asn_octetstring s(security_off);
    s.constructed_permitted = 1;
    s.indefinite_permitted = 1;
    ASSERT_TRUE(reads(s, hex("24 80 04 02 01 02 04 01 03 00 00 77"), 0u, 11u));
    EXPECT_EQ(s.is_indefinite_length(), 1);
    expect_held(s, "01 02 03");
}

TEST(QbAsnOctetstring, primitive_indefinite_when_permitted) {
    qb_asn_octetstring s(security_off);
    s.indefinite_permitted = 1;
    ASSERT_TRUE(reads(s, hex("04 80 00 00"), 0u, 4u));
    EXPECT_EQ(value_of(s), Bytes{});
}

TEST(QbAsnOctetstring, constructed_segments_table) {
    struct Case {
        const char *name, *frame;
        unsigned int status;
        const char* value;
    } const cases[] = {
        {"nested constructed segment", "24 0B 04 02 01 02 24 05 04 03 03 04 05", 0x00000000,
         "01 02 03 04 05"},
        {"nested indefinite segment", "24 0B 04 01 01 24 80 04 02 02 03 00 00", 0x00000000,
         "01 02 03"},
        {"indefinite segment in an indefinite string", "24 80 24 80 04 01 0A 00 00 00 00", 0x00000000, "0A"},
        // A third constructed level is refused (QBASN_MAX_SEGMENT_NESTING is 2).
        {"doubly nested", "24 0A 24 08 24 06 04 01 0A 04 01 0B", 0x1065219B, ""},
        {"empty segments", "24 04 04 00 04 00", 0x00000000, ""},
        {"no segment at all", "24 00", 0x00000000, ""},
        {"indefinite, no segment", "24 80 00 00", 0x00000000, ""},
        {"indefinite outer, long-form segment", "24 80 04 81 02 0C 0D 00 00", 0x00000000, "0C 0D"},
        {"segment with another tag", "24 05 04 01 01 02 00", 0x106521A4, ""},
        {"segment of context class", "24 03 84 01 01", 0x106521A4, ""},
        {"segment overruns the outer length", "24 03 04 02 01 02", 0x10652198, ""},
        {"indefinite outer without end mark", "24 80 04 01 01", 0x10652198, ""},
        {"nested segment with another tag", "24 07 24 05 04 01 01 05 00", 0x106521A4, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        qb_asn_octetstring s(security_off);
        if (read_segments(s, c.frame, c.status)) {
            expect_held(s, c.value);  // the terminating zero is always there
        } else {
            EXPECT_EQ(value_status(s), 0x106521A0u);
        }
    }
}

TEST(QbAsnOctetstring, decoded_value_is_written_back) {
    qb_asn_octetstring s(security_off);
    ASSERT_EQ(read_frame(s, hex("04 03 01 02 03")), 0u);
    auto w = write_frame(s);
    EXPECT_EQ(w.rc, 0u);
    EXPECT_EQ(w.bytes, hex("04 03 01 02 03"));

    qb_asn_octetstring c(security_off);
    c.constructed_permitted = 1;
    ASSERT_EQ(read_frame(c, hex("24 07 04 02 01 02 04 01 03")), 0u);
    w = write_frame(c);  // written in primitive form
    EXPECT_EQ(w.rc, 0u);
    EXPECT_EQ(w.bytes, hex("04 03 01 02 03"));
}

TEST(QbAsnOctetstring, set_tag_and_class_keep_the_octets) {
    qb_asn_octetstring s(security_off);
    ASSERT_EQ(read_frame(s, hex("04 02 CA FE")), 0u);
    s.set_tag(1);
    s.set_class(2);
    auto w = write_frame(s);
    EXPECT_EQ(w.rc, 0u);
    EXPECT_EQ(w.bytes, hex("81 02 CA FE"));

    qb_asn_octetstring t(security_off);
    set_hex(t, "01", 1);
    ASSERT_EQ(write_bytes(t), hex("04 01 01"));
    t.set_tag(40);
    t.set_class(3);
    EXPECT_EQ(write_bytes(t), hex("DF 28 01 01"));
    t.set_optional(1);
    EXPECT_EQ(write_bytes(t), hex("DF 28 01 01"));
}

TEST(QbAsnOctetstring, get_value_absent_and_default) {
    qb_asn_octetstring s(security_off);
    expect_absent_getter(s);
    auto* d = default_of(s, 6, 2, "DE AD", 2);
    expect_default_octets(s, d, "DE AD");  // the default's own storage

    set_hex(s, "01", 1);
    EXPECT_EQ(value_of(s), hex("01"));
}

TEST(QbAsnOctetstring, set_default_value_object_and_null) {
    qb_asn_octetstring s(security_off);
    install_default(s, "77", 1);
    EXPECT_EQ(value_of(s), hex("77"));
    // Replacing the default releases the previous one.
    ASSERT_EQ(set_default_hex(s, "78 79", 2), 0u);
    EXPECT_EQ(value_of(s), hex("78 79"));
    expect_default_dropped(s);
}

TEST(QbAsnOctetstring, value_equal_to_default_is_not_written) {
    expect_default_not_written<qb_asn_octetstring>("01 02", 2, 1, "04 01 01");
}

TEST(QbAsnOctetstring, encode_value_writes_nothing) {
    qb_asn_octetstring s(security_off);
    set_hex(s, "01 02", 2);
    qb_buffer_t out(security_off);
    EXPECT_EQ(s.encode_value(out), 0u);
    EXPECT_EQ(out.length(), 0u);
}

TEST(QbAsnOctetstring, set_value_invalidates_parent_encoding) {
    expect_parent_rewritten<qb_asn_octetstring>("01 02", 2, "30 04 04 02 01 02", 1, 1,
                                                 "30 03 04 01 01");
}

TEST(QbAsnOctetstring, decode_inside_sequence_and_write_back) {
    qb_asn_sequence seq(security_off);
    qb_asn_octetstring a(security_off), b(security_off);
    register_all(seq, {&a, &b});
    ASSERT_EQ(read_frame(seq, hex("30 07 04 02 01 02 04 01 03")), 0u);
    EXPECT_EQ(value_of(a), hex("01 02"));
    EXPECT_EQ(value_of(b), hex("03"));
    EXPECT_EQ(write_bytes(seq), hex("30 07 04 02 01 02 04 01 03"));
}

// ---------------------------------------------------------------- BIT STRING

TEST(QbAsnBitstring, constructor_settings) {
    qb_asn_bitstring b(security_off);
    EXPECT_STREQ(b.get_type_name(), "BITSTRING");
    EXPECT_EQ(b.get_tag(), 3u);
    EXPECT_EQ(b.get_class(), 0);
    EXPECT_EQ(b.encoding_primitive_permitted(), 1);
    EXPECT_EQ(b.secure, security_off);
    EXPECT_EQ(b.last_bits, 0);
    EXPECT_EQ(b.is_present(), 0);

    qb_asn_bitstring s(security_on);
    EXPECT_EQ(s.secure, security_on);
    EXPECT_EQ(s.bits.security, security_on);
}

TEST(QbAsnBitstring, set_secure_stores_own_copy_and_passes_on) {
    qb_asn_bitstring b(security_off);
    b.set_secure(security_on);
    expect_security(b, security_on);
}

TEST(QbAsnBitstring, set_value_thirteen_bits) {
    qb_asn_bitstring b(security_off);
    ASSERT_EQ(set_hex(b, "AB FF 77", 13), 0u);
    EXPECT_EQ(b.is_present(), 1);
    EXPECT_EQ(b.last_bits, 5);
    EXPECT_EQ(stored_bits(b), hex("AB F8"));
    const Bits got = bits_of(b);
    EXPECT_EQ(got.nbits, 13u);
    EXPECT_EQ(got.octets, hex("AB F8"));
    EXPECT_EQ(write_bytes(b), hex("03 03 05 AB F8"));
}

TEST(QbAsnBitstring, set_value_sixteen_bits) {
    qb_asn_bitstring b(security_off);
    ASSERT_EQ(set_hex(b, "AB CD", 16), 0u);
    EXPECT_EQ(b.last_bits, 0);
    EXPECT_EQ(bits_of(b).nbits, 16u);
    EXPECT_EQ(write_bytes(b), hex("03 03 00 AB CD"));
}

TEST(QbAsnBitstring, set_value_zero_bits) {
    qb_asn_bitstring b(security_off);
    ASSERT_EQ(b.set_value(nullptr, 0), 0u);
    EXPECT_EQ(b.is_present(), 1);
    EXPECT_EQ(bits_of(b).nbits, 0u);
    EXPECT_EQ(write_bytes(b), hex("03 01 00"));

    expect_null_refused<qb_asn_bitstring>(5);
}

TEST(QbAsnBitstring, set_value_masks_the_partial_octet) {
    struct Case {
        unsigned int nbits;
        const char* frame;
    } const cases[] = {
        {1, "03 02 01 80"},  {2, "03 02 02 C0"},  {3, "03 02 03 E0"},  {4, "03 02 04 F0"},
        {5, "03 02 05 F8"},  {6, "03 02 06 FC"},  {7, "03 02 07 FE"},  {8, "03 02 00 FF"},
        {9, "03 03 01 FF 80"}, {12, "03 03 04 FF F0"}, {15, "03 03 07 FF FE"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.nbits);
        qb_asn_bitstring b(security_off);
        ASSERT_EQ(set_hex(b, "FF FF", c.nbits), 0u);
        EXPECT_EQ(b.last_bits, c.nbits % 8);
        EXPECT_EQ(bits_of(b).nbits, c.nbits);
        EXPECT_EQ(write_frame(b).bytes, hex(c.frame));
    }
}

TEST(QbAsnBitstring, set_value_replaces_previous_value) {
    qb_asn_bitstring b(security_off);
    set_hex(b, "12 34 56", 24);
    set_hex(b, "12 34 56", 4);
    EXPECT_EQ(stored_bits(b), hex("10"));
    EXPECT_EQ(write_bytes(b), hex("03 02 04 10"));
}

TEST(QbAsnBitstring, decode_05_FF_FF) {
    qb_asn_bitstring b(security_off);
    ASSERT_TRUE(reads(b, hex("03 03 05 FF FF 99"), 0u, 5u));
    EXPECT_EQ(b.last_bits, 5);
    const Bits got = bits_of(b);
    EXPECT_EQ(got.nbits, 13u);
    EXPECT_EQ(got.octets, hex("FF E0"));
}

TEST(QbAsnBitstring, decode_clears_unused_bits) {
    struct Case {
        const char *content, *octets;
        unsigned int nbits;
    } const cases[] = {
        {"00 FF", "FF", 8},         {"01 FF", "FE", 1},         {"02 FF", "FC", 2},
        {"03 FF", "F8", 3},         {"04 FF", "F0", 4},         {"05 FF", "E0", 5},
        {"06 FF", "C0", 6},         {"07 FF", "80", 7},         {"00 AB CD", "AB CD", 16},
        {"04 AB CD", "AB C0", 12},  {"01 12 FF", "12 FE", 9},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.content);
        qb_asn_bitstring b(security_off);
        ASSERT_EQ(read_frame(b, frame_of(0x03, hex(c.content))), 0u);
        EXPECT_EQ(stored_bits(b), hex(c.octets));
        EXPECT_EQ(bits_of(b).nbits, c.nbits);
    }
}

TEST(QbAsnBitstring, decode_failures) {
    // The value set beforehand does not survive: a failed read leaves the object absent.
    const auto absent = [](const PresetBits& b) {
        EXPECT_EQ(b.is_present(), 0);
        EXPECT_EQ(value_status(b), 0x106521A0u);
    };
    // The count of unused bits: above 7, or missing.
    expect_refused_reads<PresetBits>(absent, {
        {"first octet 08", "03 02 08 FF", 0x106521A2},
        {"first octet FF", "03 02 FF 00", 0x106521A2},
        {"first octet 08 alone", "03 01 08", 0x106521A2},
        {"empty content", "03 00", 0x106521A2},
    });
    // Forms a bit string is not read in.
    expect_refused_reads<PresetBits>(absent, {
        {"constructed not permitted", "23 04 03 02 00 AA", 0x1065219E},
        {"indefinite not permitted", "03 80 00 AA 00 00", 0x1065219D},
    });
}

TEST(QbAsnBitstring, decode_count_octet_only) {
    qb_asn_bitstring b(security_off);
    ASSERT_EQ(read_frame(b, hex("03 01 00")), 0u);
    EXPECT_EQ(b.is_present(), 1);
    EXPECT_EQ(bits_of(b).nbits, 0u);
    // No octet to hold partial bits: nothing to count.
    qb_asn_bitstring c(security_off);
    ASSERT_EQ(read_frame(c, hex("03 01 05")), 0u);
    EXPECT_EQ(c.last_bits, 5);
    EXPECT_EQ(bits_of(c).nbits, 0u);
}

TEST(QbAsnBitstring, thirteen_bits_round_trip_clears_bits_quirk) {
    // Deliberate: written as 13 significant bits, read back as 5 unused bits.
    qb_asn_bitstring b(security_off);
    ASSERT_EQ(set_hex(b, "AB FF", 13), 0u);
    const auto w = write_frame(b);
    ASSERT_EQ(w.bytes, hex("03 03 05 AB F8"));
    qb_asn_bitstring r(security_off);
    ASSERT_EQ(read_frame(r, w.bytes), 0u);
    const Bits got = bits_of(r);
    EXPECT_EQ(got.nbits, 13u);
    EXPECT_EQ(got.octets, hex("AB E0"));  // F8 with five low bits cleared
    EXPECT_EQ(write_bytes(r), hex("03 03 05 AB E0"));
}

TEST(QbAsnBitstring, one_bit_round_trip_clears_bits_quirk) {
    qb_asn_bitstring b(security_off);
    ASSERT_EQ(set_hex(b, "FF FF", 9), 0u);
    ASSERT_EQ(write_bytes(b), hex("03 03 01 FF 80"));
    qb_asn_bitstring r(security_off);
    ASSERT_EQ(read_frame(r, hex("03 03 01 FF 80")), 0u);
    EXPECT_EQ(stored_bits(r), hex("FF 80"));  // bit 1 cleared: 80 stays
    EXPECT_EQ(bits_of(r).nbits, 9u);
    qb_asn_bitstring q(security_off);
    ASSERT_EQ(set_hex(b, "FF FF", 15), 0u);
    ASSERT_EQ(read_frame(q, write_frame(b).bytes), 0u);
    EXPECT_EQ(stored_bits(q), hex("FF 80"));  // FE with seven low bits cleared
    EXPECT_EQ(bits_of(q).nbits, 15u);
}

TEST(QbAsnBitstring, multiple_of_four_round_trips) {
    for (unsigned int nbits : {4u, 8u, 12u, 16u}) {
        SCOPED_TRACE(nbits);
        qb_asn_bitstring b(security_off);
        ASSERT_EQ(set_hex(b, "A5 5A", nbits), 0u);
        const auto w = write_frame(b);
        qb_asn_bitstring r(security_off);
        ASSERT_EQ(read_frame(r, w.bytes), 0u);
        EXPECT_EQ(bits_of(r).nbits, nbits);
        EXPECT_EQ(stored_bits(r), stored_bits(b));
        EXPECT_EQ(write_frame(r).bytes, w.bytes);
    }
}

TEST(QbAsnBitstring, encode_value_writes_count_then_octets) {
    qb_asn_bitstring b(security_off);
    set_hex(b, "C3 3C", 14);
    qb_buffer_t out(security_off);
    EXPECT_EQ(b.encode_value(out), 0u);
    EXPECT_EQ(bytes_of(out.data, out.length()), hex("06 C3 3C"));
}

TEST(QbAsnBitstring, constructed_segments_table) {
    struct Case {
        const char *name, *frame;
        unsigned int status;
        const char* octets;
        unsigned int nbits;
    } const cases[] = {
        {"two whole segments", "23 08 03 02 00 AB 03 02 00 CD", 0x00000000, "AB CD", 16},
        {"indefinite, two whole segments", "23 80 03 02 00 AB 03 02 00 CD 00 00", 0x00000000,
         "AB CD", 16},
        {"multi-octet segment", "23 09 03 03 00 01 02 03 02 00 03", 0x00000000, "01 02 03", 24},
        {"empty segment then whole", "23 07 03 01 00 03 02 00 EE", 0x00000000, "EE", 8},
        {"segment after a partial one", "23 08 03 02 03 FF 03 02 00 CD", 0x106521A3, "", 0},
        {"partial then indefinite segment", "23 80 03 02 01 FF 03 02 00 CD 00 00", 0x106521A3,
         "", 0},
        {"no segment, definite", "23 00", 0x106521A2, "", 0},
        {"no segment, indefinite", "23 80 00 00", 0x106521A2, "", 0},
        {"segment with another tag", "23 03 04 01 00", 0x106521A4, "", 0},
        {"segment with first octet 09", "23 03 03 01 09", 0x106521A2, "", 0},
        {"segment with empty content", "23 02 03 00", 0x106521A2, "", 0},
        {"segment overruns the outer length", "23 03 03 02 00 AB", 0x10652198, "", 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        qb_asn_bitstring b(security_off);
        if (read_segments(b, c.frame, c.status)) {
            EXPECT_EQ(b.is_constructed(), 1);
            const Bits got = bits_of(b);
            EXPECT_EQ(got.nbits, c.nbits);
            EXPECT_EQ(got.octets, hex(c.octets));
        }
    }
}

TEST(QbAsnBitstring, constructed_final_partial_segment_quirk) {
    // Deliberate: a segment's bit count (its get_value) turns into the outer
    // count of unused bits, which then clears that many low bits.
    struct Case {
        const char *name, *frame, *octets;
        unsigned int last_bits, nbits;
    } const cases[] = {
        // Inner 03 FF keeps F8 and counts 3 bits; outer: 5 unused, F8 -> E0, 13 bits.
        {"whole then count 03", "23 08 03 02 00 AB 03 02 03 FF", "AB E0", 5, 13},
        // Inner 04 FF keeps F0 and counts 4 bits; outer: 4 unused, 4 bits.
        {"count 04 alone", "23 04 03 02 04 FF", "F0", 4, 4},
        // Inner 01 FF keeps FE and counts 1 bit; outer: 7 unused, FE -> 80, 7 bits.
        {"count 01 alone", "23 04 03 02 01 FF", "80", 7, 7},
        // Inner 07 FF keeps 80 and counts 7 bits; outer: 1 unused, 80 stays, 1 bit.
        {"count 07 alone", "23 04 03 02 07 FF", "80", 1, 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        qb_asn_bitstring b(security_off);
        b.constructed_permitted = 1;
        ASSERT_EQ(read_frame(b, hex(c.frame)), 0u);
        EXPECT_EQ(b.last_bits, c.last_bits);
        const Bits got = bits_of(b);
        EXPECT_EQ(got.nbits, c.nbits);
        EXPECT_EQ(stored_bits(b), hex(c.octets));
    }
}

TEST(QbAsnBitstring, primitive_indefinite_without_content) {
    qb_asn_bitstring b(security_off);
    b.indefinite_permitted = 1;
    EXPECT_TRUE(reads(b, hex("03 80 00 00"), 0x106521A2u, 0u));
    EXPECT_EQ(b.is_present(), 0);
}

TEST(QbAsnBitstring, get_value_absent_and_default) {
    qb_asn_bitstring b(security_off);
    expect_absent_getter(b);
    ASSERT_NE(default_of(b, 2, 2, "FF FF", 4), nullptr);
    const Bits got = bits_of(b);
    EXPECT_EQ(got.nbits, 4u);
    EXPECT_EQ(got.octets, hex("F0"));

    set_hex(b, "01", 8);
    EXPECT_EQ(bits_of(b).nbits, 8u);
    EXPECT_EQ(bits_of(b).octets, hex("01"));
}

TEST(QbAsnBitstring, set_default_value_object_and_null) {
    qb_asn_bitstring b(security_off);
    install_default(b, "C0", 2);
    EXPECT_EQ(bits_of(b).nbits, 2u);
    ASSERT_EQ(set_default_hex(b, "C0", 1), 0u);  // replaces and releases
    EXPECT_EQ(bits_of(b).nbits, 1u);
    expect_default_dropped(b);
}

TEST(QbAsnBitstring, value_equal_to_default_is_not_written) {
    expect_default_not_written<qb_asn_bitstring>("AB CD", 12, 16, "03 03 00 AB CD");
}

TEST(QbAsnBitstring, set_value_invalidates_parent_encoding) {
    expect_parent_rewritten<qb_asn_bitstring>("F0", 4, "30 04 03 02 04 F0", 8, 0,
                                               "30 04 03 02 00 F0");
}

// ---------------------------------------------------------------- NAMED BITS

TEST(QbAsnNamedbits, constructor_settings) {
    qb_asn_namedbits nb(security_off);
    EXPECT_EQ(nb.get_tag(), 3u);
    EXPECT_EQ(nb.get_class(), 0);
    EXPECT_EQ(nb.encoding_primitive_permitted(), 1);
    EXPECT_EQ(nb.is_present(), 0);
    EXPECT_EQ(nb.last_bits, 0);
}

TEST(QbAsnNamedbits, write_trims_zero_octets) {
    qb_asn_namedbits nb(security_off);
    ASSERT_EQ(set_hex(nb, "80 40 00 00", 32), 0u);
    EXPECT_EQ(write_bytes(nb), hex("03 03 06 80 40"));
}

TEST(QbAsnNamedbits, write_single_octet_04) {
    qb_asn_namedbits nb(security_off);
    ASSERT_EQ(set_hex(nb, "04", 8), 0u);
    EXPECT_EQ(write_bytes(nb), hex("03 02 01 04"));
}

TEST(QbAsnNamedbits, write_count_from_last_octet) {
    struct Case {
        const char *octets, *frame;
    } const cases[] = {
        {"80", "03 02 07 80"}, {"40", "03 02 06 40"}, {"20", "03 02 05 20"},
        {"10", "03 02 04 10"}, {"08", "03 02 03 08"}, {"C0", "03 02 06 C0"},
        {"FF 01", "03 03 00 FF 01"}, {"81", "03 02 00 81"},
        {"00 00", "03 01 00"},  // everything trimmed
        {"12 00 00", "03 02 01 12"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.octets);
        qb_asn_namedbits nb(security_off);
        const Bytes v = hex(c.octets);
        ASSERT_EQ(nb.set_value(v.data(), static_cast<unsigned int>(v.size() * 8)), 0u);
        EXPECT_EQ(write_bytes(nb), hex(c.frame));
    }
}

TEST(QbAsnNamedbits, count_two_is_never_written_quirk) {
    // Deliberate: an octet ending in binary 100 and one ending in 10 both give 1.
    for (const char* octet : {"04", "02", "0C", "06", "FE", "FC"}) {
        SCOPED_TRACE(octet);
        qb_asn_namedbits nb(security_off);
        const Bytes v = hex(octet);
        ASSERT_EQ(nb.set_value(v.data(), 8), 0u);
        Bytes expected = hex("03 02 01");
        expected.push_back(v[0]);
        EXPECT_EQ(write_frame(nb).bytes, expected);
    }
}

TEST(QbAsnNamedbits, write_trim_changes_the_stored_value) {
    qb_asn_namedbits nb(security_off);
    ASSERT_EQ(set_hex(nb, "80 40 00 00", 32), 0u);
    ASSERT_EQ(write_bytes(nb), hex("03 03 06 80 40"));
    EXPECT_EQ(stored_bits(nb), hex("80 40"));
    EXPECT_EQ(nb.last_bits, 6);
    EXPECT_EQ(write_bytes(nb), hex("03 03 06 80 40"));  // stable
}

TEST(QbAsnNamedbits, set_bit_on_empty_value) {
    qb_asn_namedbits nb(security_off);
    ASSERT_EQ(nb.set_bit(9, 1), 0u);
    EXPECT_EQ(nb.is_present(), 1);
    EXPECT_EQ(stored_bits(nb), hex("00 40"));
    EXPECT_EQ(nb.last_bits, 6);
    EXPECT_EQ(bit_at(nb, 100), 0);
    EXPECT_EQ(bit_at(nb, 9), 1);
    EXPECT_EQ(bit_at(nb, 8), 0);
    EXPECT_EQ(bit_at(nb, 10), 0);
    EXPECT_EQ(bit_at(nb, 1), 0);
    EXPECT_EQ(write_bytes(nb), hex("03 03 06 00 40"));
}

TEST(QbAsnNamedbits, set_bit_addresses_msb_first) {
    qb_asn_namedbits nb(security_off);
    ASSERT_EQ(nb.set_bit(0, 1), 0u);
    EXPECT_EQ(stored_bits(nb), hex("80"));
    EXPECT_EQ(nb.last_bits, 7);
    ASSERT_EQ(nb.set_bit(7, 1), 0u);
    EXPECT_EQ(stored_bits(nb), hex("81"));
    EXPECT_EQ(nb.last_bits, 0);
    ASSERT_EQ(nb.set_bit(23, 1), 0u);
    EXPECT_EQ(stored_bits(nb), hex("81 00 01"));
    EXPECT_EQ(nb.last_bits, 0);
}

TEST(QbAsnNamedbits, set_bit_lowers_last_bits_in_any_octet) {
    qb_asn_namedbits nb(security_off);
    ASSERT_EQ(nb.set_bit(9, 1), 0u);  // 00 40, 6
    ASSERT_EQ(nb.set_bit(3, 1), 0u);  // octet 0 exists; 7 - 3 = 4 < 6
    EXPECT_EQ(stored_bits(nb), hex("10 40"));
    EXPECT_EQ(nb.last_bits, 4);
    ASSERT_EQ(nb.set_bit(8, 1), 0u);  // 7 - 0 = 7 is not lower than 4
    EXPECT_EQ(stored_bits(nb), hex("10 C0"));
    EXPECT_EQ(nb.last_bits, 4);
    ASSERT_EQ(nb.set_bit(14, 1), 0u);  // 7 - 6 = 1
    EXPECT_EQ(stored_bits(nb), hex("10 C2"));
    EXPECT_EQ(nb.last_bits, 1);
}

TEST(QbAsnNamedbits, set_bit_off_clears_without_growth) {
    qb_asn_namedbits nb(security_off);
    ASSERT_EQ(nb.set_bit(3, 1), 0u);
    ASSERT_EQ(stored_bits(nb), hex("10"));
    ASSERT_EQ(nb.last_bits, 4);
    ASSERT_EQ(nb.set_bit(20, 0), 0u);  // beyond the value: nothing grows
    EXPECT_EQ(stored_bits(nb), hex("10"));
    EXPECT_EQ(nb.last_bits, 4);
    EXPECT_EQ(nb.is_present(), 1);
    ASSERT_EQ(nb.set_bit(3, 0), 0u);  // cleared; count unchanged
    EXPECT_EQ(stored_bits(nb), hex("00"));
    EXPECT_EQ(nb.last_bits, 4);
    EXPECT_EQ(bit_at(nb, 3), 0);
}

TEST(QbAsnNamedbits, set_bit_off_on_absent_value) {
    qb_asn_namedbits nb(security_off);
    ASSERT_EQ(nb.set_bit(5, 0), 0u);
    EXPECT_EQ(nb.is_present(), 1);
    EXPECT_EQ(stored_bits(nb), Bytes{});
    EXPECT_EQ(bit_at(nb, 5), 0);
}

TEST(QbAsnNamedbits, set_bit_on_absent_value_starts_empty) {
    qb_asn_namedbits nb(security_off);
    ASSERT_EQ(read_frame(nb, hex("03 03 00 FF FF")), 0u);
    nb.empty();  // absent again; the old octets must not come back
    ASSERT_EQ(nb.is_present(), 0);
    ASSERT_EQ(nb.set_bit(1, 1), 0u);
    EXPECT_EQ(stored_bits(nb), hex("40"));
    EXPECT_EQ(nb.last_bits, 6);
}

TEST(QbAsnNamedbits, set_bit_keeps_a_present_value) {
    qb_asn_namedbits nb(security_off);
    ASSERT_EQ(read_frame(nb, hex("03 02 00 01")), 0u);
    ASSERT_EQ(nb.set_bit(0, 1), 0u);
    EXPECT_EQ(stored_bits(nb), hex("81"));
    EXPECT_EQ(write_bytes(nb), hex("03 02 00 81"));
}

TEST(QbAsnNamedbits, get_bit_absent_and_default) {
    qb_asn_namedbits nb(security_off);
    int on = 9;
    EXPECT_EQ(nb.get_bit(0, on), 0x106521A0u);
    EXPECT_EQ(on, 9);

    auto* d = new qb_asn_namedbits(security_off);
    ASSERT_EQ(d->set_bit(2, 1), 0u);
    ASSERT_EQ(nb.set_default_value(d), 0u);
    EXPECT_EQ(bit_at(nb, 2), 1);
    EXPECT_EQ(bit_at(nb, 3), 0);
    EXPECT_EQ(bit_at(nb, 50), 0);

    ASSERT_EQ(nb.set_bit(3, 1), 0u);  // present now: its own bits answer
    EXPECT_EQ(bit_at(nb, 2), 0);
    EXPECT_EQ(bit_at(nb, 3), 1);
}

TEST(QbAsnNamedbits, get_bit_answers_from_default_built_from_bytes) {
    qb_asn_namedbits nb(security_off);
    ASSERT_EQ(set_default_hex(nb, "20", 8), 0u);
    EXPECT_EQ(nb.is_defaultable(), 1);
    EXPECT_EQ(bit_at(nb, 2), 1);
    EXPECT_EQ(bit_at(nb, 0), 0);
}

TEST(QbAsnNamedbits, get_value_rules_are_the_bit_strings) {
    qb_asn_namedbits nb(security_off);
    unsigned char* p = nullptr;
    unsigned int n = 33;
    EXPECT_EQ(nb.get_value(p, n), 0x106521A0u);
    EXPECT_EQ(n, 33u);
    ASSERT_EQ(set_default_hex(nb, "F0", 4), 0u);
    EXPECT_EQ(nb.get_value(p, n), 0u);
    EXPECT_EQ(n, 4u);
    EXPECT_EQ(bytes_of(p, 1), hex("F0"));
}

TEST(QbAsnNamedbits, write_rules_for_absent_values) {
    {
        qb_asn_namedbits nb(security_off);
        qb_buffer_t out(security_off);
        out.append(static_cast<unsigned char>(0xEE));
        EXPECT_EQ(nb.asnwrite(out), 0x106521A0u);
        EXPECT_EQ(bytes_of(out.data, out.length()), hex("EE"));
    }
    {
        qb_asn_namedbits nb(security_off);
        nb.set_optional(1);
        const auto w = write_frame(nb);
        EXPECT_EQ(w.rc, 0u);
        EXPECT_TRUE(w.bytes.empty());
    }
    {
        qb_asn_namedbits nb(security_off);
        ASSERT_EQ(set_default_hex(nb, "80", 8), 0u);
        auto w = write_frame(nb);  // absent, defaultable
        EXPECT_EQ(w.rc, 0u);
        EXPECT_TRUE(w.bytes.empty());
        ASSERT_EQ(set_hex(nb, "80", 8), 0u);  // equal to the default
        w = write_frame(nb);
        EXPECT_EQ(w.rc, 0u);
        EXPECT_TRUE(w.bytes.empty());
        ASSERT_EQ(nb.set_bit(1, 1), 0u);
        EXPECT_EQ(write_bytes(nb), hex("03 02 06 C0"));
    }
}

TEST(QbAsnNamedbits, set_bit_invalidates_parent_encoding) {
    qb_test::in_sequence<qb_asn_namedbits> tree;
    auto& [seq, nb] = tree;
    ASSERT_EQ(nb.set_bit(0, 1), 0u);
    ASSERT_EQ(write_bytes(seq), hex("30 04 03 02 07 80"));
    ASSERT_EQ(seq.is_encoding_valid(), 1);
    ASSERT_EQ(nb.set_bit(4, 1), 0u);
    EXPECT_EQ(seq.is_encoding_valid(), 0);
    EXPECT_EQ(write_bytes(seq), hex("30 04 03 02 03 88"));
}

TEST(QbAsnNamedbits, decode_then_write_uses_trimmed_count) {
    qb_asn_namedbits nb(security_off);
    ASSERT_EQ(read_frame(nb, hex("03 04 00 A0 00 00")), 0u);
    EXPECT_EQ(bit_at(nb, 0), 1);
    EXPECT_EQ(bit_at(nb, 2), 1);
    EXPECT_EQ(write_bytes(nb), hex("03 02 05 A0"));
}
