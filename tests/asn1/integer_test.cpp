// tests/asn1/integer_test.cpp - INTEGER, BOOLEAN and NULL objects.
//
// Covers construction settings, the minimal two's-complement writer, the
// content reader with its sign and length rules, the presence and default
// rules of the getters, the defaults built by set_default_value, the value
// octets surviving a re-framing (set_tag / set_class), BOOLEAN and NULL
// framing, and parents losing their cached encoding when a value changes.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <vector>

#include "asn1/asnbase.h"
#include "support/frames.h"
#include "support/hex.h"
#include "support/probes.h"

namespace {

using Bytes = std::vector<unsigned char>;
using qb_test::append_to, qb_test::decode_content, qb_test::expect_absent_getter,
      qb_test::expect_default_octets, qb_test::expect_null_refused, qb_test::expect_refused_reads,
      qb_test::expect_secure, qb_test::expect_security, qb_test::int_value, qb_test::integer_octets,
      qb_test::read_frame, qb_test::reads, qb_test::register_all, qb_test::set_default_hex, qb_test::set_hex,
      qb_test::state_summary, qb_test::type_summary, qb_test::write_bytes, qb_test::write_frame;

// expect_long_refused: the long getter gives `status` and leaves its output.
void expect_long_refused(const qb_asn_integer& i, unsigned int status) {
    long out = 0x5A5A;
    EXPECT_EQ(i.get_value(out), status);
    EXPECT_EQ(out, 0x5A5A);
}

// expect_integer: `i` is present and holds the content octets `content`;
// when `int_valid`, its long value is `value`, else the long getter refuses
// it as too long.
void expect_integer(const qb_asn_integer& i, const Bytes& content, int int_valid, long value) {
    EXPECT_EQ(i.is_present(), 1);
    EXPECT_EQ(i.int_valid, int_valid);
    EXPECT_EQ(integer_octets(i), content);
    if (int_valid) {
        EXPECT_EQ(int_value(i), value);
    } else {
        expect_long_refused(i, 0x10652199u);
    }
}

// read_oversized: `i` reads the five content octets 01 00 00 00 00, which it
// keeps although no long holds them (int_valid 0).
void read_oversized(qb_asn_integer& i) {
    ASSERT_EQ(read_frame(i, hex("02 05 01 00 00 00 00")), 0u);
    EXPECT_EQ(i.int_valid, 0);
}

}  // namespace

// ---------------------------------------------------------------- INTEGER

TEST(QbAsnInteger, constructor_settings) {
    qb_asn_integer i(security_off);
    EXPECT_EQ(type_summary(i), "INTEGER 2/0 P--");
    EXPECT_EQ(i.int_valid, 0);
    EXPECT_EQ(i.secure, security_off);
    EXPECT_EQ(state_summary(i), "present 0, optional 0, defaultable 0, cached 0");
    EXPECT_EQ(i.get_parent(), nullptr);
    EXPECT_EQ(i.get_default_value(), nullptr);
}

TEST(QbAsnInteger, constructor_keeps_security_setting) {
    qb_asn_integer i(security_on);
    expect_secure(i, security_on);
}

TEST(QbAsnInteger, set_secure_stores_own_copy_and_passes_on) {
    qb_asn_integer i(security_off);
    i.set_secure(security_on);
    expect_security(i, security_on);
    i.set_secure(security_off);
    expect_security(i, security_off);
}

TEST(QbAsnInteger, refuses_constructed_and_indefinite_forms) {
    {
        qb_asn_integer i(security_off);
        EXPECT_TRUE(reads(i, hex("22 03 02 01 05"), 0x1065219Eu, 0u));
        EXPECT_EQ(i.is_present(), 0);
    }
    {
        qb_asn_integer i(security_off);
        EXPECT_TRUE(reads(i, hex("02 80 05 00 00"), 0x1065219Du, 0u));
        EXPECT_EQ(i.is_present(), 0);
    }
}

struct EncodeCase {
    const char* name;
    long value;
    const char* content;
    long read_back;
};

// Values are 32-bit: a long keeps its low 32 bits and reads back sign-extended.
const EncodeCase kEncodeCases[] = {
    {"zero", 0L, "00", 0L},
    {"127", 127L, "7F", 127L},
    {"128", 128L, "00 80", 128L},
    {"255", 255L, "00 FF", 255L},
    {"256", 256L, "01 00", 256L},
    {"minus one", -1L, "FF", -1L},
    {"minus 128", -128L, "80", -128L},
    {"minus 129", -129L, "FF 7F", -129L},
    {"minus 256", -256L, "FF 00", -256L},
    {"32767", 32767L, "7F FF", 32767L},
    {"32768", 32768L, "00 80 00", 32768L},
    {"minus 32768", -32768L, "80 00", -32768L},
    {"minus 32769", -32769L, "FF 7F FF", -32769L},
    {"0x00800000", 0x00800000L, "00 80 00 00", 0x00800000L},
    {"minus 0x00800001", -0x00800001L, "FF 7F FF FF", -0x00800001L},
    {"0x12345678", 0x12345678L, "12 34 56 78", 0x12345678L},
    {"0x7FFFFFFF", 0x7FFFFFFFL, "7F FF FF FF", 0x7FFFFFFFL},
    {"INT_MIN", static_cast<long>(INT_MIN), "80 00 00 00", static_cast<long>(INT_MIN)},
    {"0x80000000 as long", 0x80000000L, "80 00 00 00", static_cast<long>(INT_MIN)},
    {"0xFFFFFFFF as long", 0xFFFFFFFFL, "FF", -1L},
    {"0xFFFFFF80 as long", 0xFFFFFF80L, "80", -128L},
    {"64-bit 0x100000005 keeps low 32 bits", 0x100000005L, "05", 5L},
    {"64-bit 0x1FFFFFFFF keeps low 32 bits", 0x1FFFFFFFFL, "FF", -1L},
};

TEST(QbAsnInteger, set_value_long_writes_minimal_twos_complement) {
    for (const EncodeCase& c : kEncodeCases) {
        SCOPED_TRACE(c.name);
        qb_asn_integer i(security_off);
        EXPECT_EQ(i.set_value(c.value), 0u);
        EXPECT_EQ(i.is_present(), 1);
        EXPECT_EQ(i.int_valid, 1);
        EXPECT_EQ(i.is_encoding_valid(), 1);
        EXPECT_EQ(integer_octets(i), hex(c.content));
        EXPECT_EQ(int_value(i), c.read_back);

        // The frame carries exactly those content octets.
        Bytes frame = hex("02");
        const Bytes content = hex(c.content);
        frame.push_back(static_cast<unsigned char>(content.size()));
        frame.insert(frame.end(), content.begin(), content.end());
        EXPECT_EQ(write_bytes(i), frame);
    }
}

TEST(QbAsnInteger, set_value_long_replaces_previous_octets) {
    qb_asn_integer i(security_off);
    i.set_value(0x7FFFFFFFL);
    i.set_value(5L);
    EXPECT_EQ(integer_octets(i), hex("05"));
    EXPECT_EQ(write_bytes(i), hex("02 01 05"));
}

TEST(QbAsnInteger, set_value_long_sets_int_valid_after_oversized_decode) {
    qb_asn_integer i(security_off);
    ASSERT_NO_FATAL_FAILURE(read_oversized(i));
    i.set_value(-2L);
    EXPECT_EQ(i.int_valid, 1);
    EXPECT_EQ(int_value(i), -2L);
    EXPECT_EQ(integer_octets(i), hex("FE"));
}

struct DecodeCase {
    const char *name, *content;
    int int_valid;
    long value;  // meaningful when int_valid
};

const DecodeCase kDecodeCases[] = {
    {"empty content is zero", "", 1, 0L},
    {"00", "00", 1, 0L},
    {"7F", "7F", 1, 127L},
    {"80 is -128", "80", 1, -128L},
    {"FF is -1", "FF", 1, -1L},
    {"FF 7F is -129", "FF 7F", 1, -129L},
    {"00 FF is 255", "00 FF", 1, 255L},
    {"01 00 is 256", "01 00", 1, 256L},
    {"80 00 sign-extends", "80 00", 1, -32768L},
    {"80 00 00 sign-extends", "80 00 00", 1, -8388608L},
    {"00 80 00 stays positive", "00 80 00", 1, 32768L},
    {"non-minimal 00 00 05", "00 00 05", 1, 5L},
    {"non-minimal FF FF", "FF FF", 1, -1L},
    {"four octets 7F FF FF FF", "7F FF FF FF", 1, 0x7FFFFFFFL},
    {"four octets 80 00 00 00", "80 00 00 00", 1, static_cast<long>(INT_MIN)},
    {"four octets FF FF FF FF", "FF FF FF FF", 1, -1L},
    {"four octets FF 00 00 00", "FF 00 00 00", 1, -16777216L},
    {"four octets 00 80 00 00", "00 80 00 00", 1, 0x00800000L},
    {"five octets 00 00 00 00 80", "00 00 00 00 80", 1, 0x80L},
    {"five octets 00 80 00 00 00 (32-bit pattern)", "00 80 00 00 00", 1, static_cast<long>(INT_MIN)},
    {"five octets 00 FF FF FF FF (32-bit pattern)", "00 FF FF FF FF", 1, -1L},
    {"five octets 01 00 00 00 00 do not fit", "01 00 00 00 00", 0, 0L},
    {"five octets FF FF FF FF FF do not fit", "FF FF FF FF FF", 0, 0L},
    {"five octets 80 00 00 00 00 do not fit", "80 00 00 00 00", 0, 0L},
    {"nine octets 12 ... do not fit", "12 00 00 00 00 00 00 00 01", 0, 0L},
};

TEST(QbAsnInteger, decode_table) {
    for (const DecodeCase& c : kDecodeCases) {
        SCOPED_TRACE(c.name);
        const Bytes content = hex(c.content);
        Bytes frame = hex("02");
        frame.push_back(static_cast<unsigned char>(content.size()));
        frame.insert(frame.end(), content.begin(), content.end());
        frame.push_back(0xAA);  // data after the frame stays in the view

        qb_asn_integer i(security_off);
        EXPECT_TRUE(reads(i, frame, 0u, frame.size() - 1));  // no length is rejected
        expect_integer(i, content, c.int_valid, c.value);
    }
}

TEST(QbAsnInteger, set_value_bytes_reads_the_same_way) {
    for (const DecodeCase& c : kDecodeCases) {
        SCOPED_TRACE(c.name);
        const Bytes content = hex(c.content);
        qb_asn_integer i(security_off);
        EXPECT_EQ(i.set_value(content.data(), static_cast<unsigned int>(content.size())), 0u);
        expect_integer(i, content, c.int_valid, c.value);
    }
}

TEST(QbAsnInteger, long_content_with_leading_zero_keeps_last_four_octets_quirk) {
    // Deliberate: octets between the leading 00 and the last four are dropped without error.
    struct Case {
        const char *name, *frame;
        long value;
    } const cases[] = {
        {"six octets", "02 06 00 12 34 56 78 9A", 0x3456789AL},
        {"seven octets", "02 07 00 FF EE 12 34 56 78", 0x12345678L},
        {"eight octets", "02 08 00 11 22 33 44 55 66 77", 0x44556677L},
        {"nine octets", "02 09 00 11 22 33 44 55 66 77 88", 0x55667788L},
        {"twelve octets", "02 0C 00 99 99 99 99 99 99 99 01 02 03 04", 0x01020304L},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        qb_asn_integer i(security_off);
        ASSERT_EQ(read_frame(i, hex(c.frame)), 0u);
        EXPECT_EQ(i.int_valid, 1);
        EXPECT_EQ(int_value(i), c.value);
    }
}

TEST(QbAsnInteger, oversized_content_keeps_bytes_and_refuses_long) {
    qb_asn_integer i(security_off);
    ASSERT_EQ(i.set_value(42L), 0u);
    ASSERT_NO_FATAL_FAILURE(read_oversized(i));
    EXPECT_EQ(i.value, 42L);  // update_int_val leaves `value` alone when it stops early
    expect_long_refused(i, 0x10652199u);
    EXPECT_EQ(integer_octets(i), hex("01 00 00 00 00"));
    // The octets still travel.
    EXPECT_EQ(write_bytes(i), hex("02 05 01 00 00 00 00"));
}

TEST(QbAsnInteger, decode_clears_int_valid_and_recomputes) {
    qb_asn_integer i(security_off);
    ASSERT_NO_FATAL_FAILURE(read_oversized(i));
    ASSERT_EQ(read_frame(i, hex("02 01 07")), 0u);
    EXPECT_EQ(i.int_valid, 1);
    EXPECT_EQ(int_value(i), 7L);
    EXPECT_EQ(integer_octets(i), hex("07"));
}

TEST(QbAsnInteger, zero_length_content_decodes_to_zero_and_writes_back_empty) {
    qb_asn_integer i(security_off);
    ASSERT_EQ(i.set_value(99L), 0u);
    ASSERT_EQ(read_frame(i, hex("02 00")), 0u);
    EXPECT_EQ(i.int_valid, 1);
    EXPECT_EQ(int_value(i), 0L);
    EXPECT_EQ(integer_octets(i), Bytes{});
    EXPECT_EQ(write_bytes(i), hex("02 00"));
}

TEST(QbAsnInteger, decoded_value_is_written_back) {
    qb_asn_integer i(security_off);
    ASSERT_EQ(read_frame(i, hex("02 02 00 80")), 0u);
    EXPECT_EQ(write_bytes(i), hex("02 02 00 80"));
}

TEST(QbAsnInteger, decode_value_called_directly) {
    qb_asn_integer i(security_off);
    const auto res = decode_content(i, hex("12 34 56"), 2);
    EXPECT_EQ(res.rc, 0u);
    EXPECT_EQ(res.consumed, 2u);
    EXPECT_EQ(res.remaining, 1u);
    EXPECT_EQ(i.is_present(), 1);
    EXPECT_EQ(i.is_encoding_valid(), 1);
    EXPECT_EQ(i.int_valid, 1);
    EXPECT_EQ(int_value(i), 0x1234L);
}

TEST(QbAsnInteger, encode_value_writes_nothing) {
    qb_asn_integer i(security_off);
    i.set_value(0x1234L);
    qb_buffer_t out(security_off);
    EXPECT_EQ(i.encode_value(out), 0u);
    EXPECT_EQ(out.length(), 0u);
}

TEST(QbAsnInteger, set_value_bytes_keeps_octets_as_given) {
    qb_asn_integer i(security_off);
    ASSERT_EQ(set_hex(i, "00 00 05", 3), 0u);
    EXPECT_EQ(i.is_encoding_valid(), 1);
    EXPECT_EQ(integer_octets(i), hex("00 00 05"));
    EXPECT_EQ(write_bytes(i), hex("02 03 00 00 05"));
    EXPECT_EQ(int_value(i), 5L);
}

TEST(QbAsnInteger, set_value_bytes_resets_value_first) {
    qb_asn_integer i(security_off);
    ASSERT_EQ(i.set_value(42L), 0u);
    ASSERT_EQ(set_hex(i, "01 00 00 00 00", 5), 0u);
    EXPECT_EQ(i.int_valid, 0);
    EXPECT_EQ(i.value, 0L);
    expect_long_refused(i, 0x10652199u);
}

TEST(QbAsnInteger, set_value_bytes_empty_and_null) {
    qb_asn_integer i(security_off);
    EXPECT_EQ(i.set_value(nullptr, 0), 0u);
    EXPECT_EQ(i.is_present(), 1);
    EXPECT_EQ(i.int_valid, 1);
    EXPECT_EQ(int_value(i), 0L);
    EXPECT_EQ(write_bytes(i), hex("02 00"));

    expect_null_refused<qb_asn_integer>(3);
}

TEST(QbAsnInteger, get_value_absent_without_default) {
    qb_asn_integer i(security_off);
    expect_long_refused(i, 0x106521A0u);
    expect_absent_getter(i);
}

TEST(QbAsnInteger, optional_absent_is_still_refused_by_get_value) {
    qb_asn_integer i(security_off);
    i.set_optional(1);
    expect_long_refused(i, 0x106521A0u);
}

TEST(QbAsnInteger, absent_member_with_default_answers_with_default) {
    qb_asn_integer i(security_off);
    ASSERT_EQ(i.set_default_value(7L), 0u);
    EXPECT_EQ(i.is_defaultable(), 1);
    EXPECT_EQ(i.is_present(), 0);
    EXPECT_EQ(int_value(i), 7L);
    // The octets are the default's own storage.
    expect_default_octets(i, i.get_default_value(), "07");
}

TEST(QbAsnInteger, absent_member_passes_on_the_defaults_refusal) {
    qb_asn_integer i(security_off);
    ASSERT_EQ(set_default_hex(i, "01 00 00 00 00", 5), 0u);
    expect_long_refused(i, 0x10652199u);
    EXPECT_EQ(integer_octets(i), hex("01 00 00 00 00"));
}

TEST(QbAsnInteger, present_value_wins_over_default) {
    qb_asn_integer i(security_off);
    ASSERT_EQ(i.set_default_value(7L), 0u);
    ASSERT_EQ(i.set_value(-3L), 0u);
    EXPECT_EQ(int_value(i), -3L);
    EXPECT_EQ(integer_octets(i), hex("FD"));
}

TEST(QbAsnInteger, set_default_value_long_uses_current_tag_and_class) {
    qb_asn_integer i(security_on);
    i.set_tag(9);
    i.set_class(2);
    ASSERT_EQ(i.set_default_value(300L), 0u);
    auto* d = dynamic_cast<qb_asn_integer*>(i.get_default_value());
    ASSERT_NE(d, nullptr);
    EXPECT_EQ(d->get_tag(), 9u);
    EXPECT_EQ(d->get_class(), 2);
    EXPECT_EQ(d->get_parent(), &i);
    EXPECT_EQ(d->secure, security_off);  // the default is not secure
    EXPECT_EQ(d->is_present(), 1);
    long out = 0;
    EXPECT_EQ(d->get_value(out), 0u);
    EXPECT_EQ(out, 300L);
    EXPECT_EQ(integer_octets(*d), hex("01 2C"));
}

TEST(QbAsnInteger, set_default_value_bytes_uses_current_tag_and_class) {
    qb_asn_integer i(security_off);
    i.set_tag(31);
    i.set_class(1);
    ASSERT_EQ(set_default_hex(i, "00 00 7F", 3), 0u);
    auto* d = dynamic_cast<qb_asn_integer*>(i.get_default_value());
    ASSERT_NE(d, nullptr);
    EXPECT_EQ(d->get_tag(), 31u);
    EXPECT_EQ(d->get_class(), 1);
    EXPECT_EQ(d->get_parent(), &i);
    EXPECT_EQ(integer_octets(*d), hex("00 00 7F"));  // kept as given
    EXPECT_EQ(int_value(i), 127L);
}

TEST(QbAsnInteger, set_default_value_object_and_replacement) {
    qb_asn_integer i(security_off);
    auto* first = new qb_asn_integer(security_off);
    first->set_value(1L);
    ASSERT_EQ(i.set_default_value(first), 0u);  // takes ownership
    EXPECT_EQ(i.get_default_value(), first);
    EXPECT_EQ(first->get_parent(), &i);
    EXPECT_EQ(i.is_defaultable(), 1);
    ASSERT_EQ(i.set_default_value(2L), 0u);  // the first default is released
    long out = 0;
    EXPECT_EQ(int_value(i), 2L);
    ASSERT_EQ(i.set_default_value(static_cast<qb_asn_object*>(nullptr)), 0u);
    EXPECT_EQ(i.is_defaultable(), 0);
    EXPECT_EQ(i.get_default_value(), nullptr);
    EXPECT_EQ(i.get_value(out), 0x106521A0u);
}

TEST(QbAsnInteger, value_equal_to_default_is_not_written) {
    qb_asn_integer i(security_off);
    ASSERT_EQ(i.set_default_value(5L), 0u);
    auto w = write_frame(i);  // absent and defaultable
    EXPECT_EQ(w.rc, 0u);
    EXPECT_TRUE(w.bytes.empty());
    i.set_value(5L);
    w = write_frame(i);
    EXPECT_EQ(w.rc, 0u);
    EXPECT_TRUE(w.bytes.empty());
    i.set_value(6L);
    EXPECT_EQ(write_bytes(i), hex("02 01 06"));
    // Equality is on content octets: 00 05 is not the default's 05.
    set_hex(i, "00 05", 2);
    EXPECT_EQ(write_bytes(i), hex("02 02 00 05"));
}

TEST(QbAsnInteger, absent_mandatory_write_fails_and_leaves_output) {
    qb_asn_integer i(security_off);
    const auto w = append_to("EE", [&](qb_buffer_t& out) { return i.asnwrite(out); });
    EXPECT_EQ(w.rc, 0x106521A0u);
    EXPECT_EQ(w.bytes, hex("EE"));
}

TEST(QbAsnInteger, set_tag_and_class_keep_the_value_octets) {
    qb_asn_integer i(security_off);
    ASSERT_EQ(i.set_value(5L), 0u);
    ASSERT_EQ(write_bytes(i), hex("02 01 05"));
    ASSERT_EQ(i.is_encoding_valid(), 1);
    i.set_tag(7);
    EXPECT_EQ(i.is_encoding_valid(), 0);
    i.set_class(2);
    EXPECT_EQ(write_bytes(i), hex("87 01 05"));
    EXPECT_EQ(i.is_encoding_valid(), 1);
    EXPECT_EQ(int_value(i), 5L);
}

TEST(QbAsnInteger, decoded_value_survives_set_tag) {
    qb_asn_integer i(security_off);
    ASSERT_EQ(read_frame(i, hex("02 02 FF 7F")), 0u);
    i.set_tag(3);
    i.set_class(2);
    EXPECT_EQ(write_bytes(i), hex("83 02 FF 7F"));
    i.set_optional(1);  // also an invalidation that leaves it present
    EXPECT_EQ(write_bytes(i), hex("83 02 FF 7F"));
}

TEST(QbAsnInteger, setters_invalidate_parent_encoding) {
    qb_asn_sequence seq(security_off);
    qb_asn_integer i(security_off);
    ASSERT_EQ(seq.register_child(&i), 0u);
    ASSERT_EQ(i.set_value(1L), 0u);
    ASSERT_EQ(write_bytes(seq), hex("30 03 02 01 01"));
    ASSERT_EQ(seq.is_encoding_valid(), 1);

    ASSERT_EQ(i.set_value(0x80L), 0u);
    EXPECT_EQ(seq.is_encoding_valid(), 0);
    EXPECT_EQ(write_bytes(seq), hex("30 04 02 02 00 80"));

    ASSERT_EQ(seq.is_encoding_valid(), 1);
    ASSERT_EQ(set_hex(i, "FF FF", 2), 0u);
    EXPECT_EQ(seq.is_encoding_valid(), 0);
    EXPECT_EQ(write_bytes(seq), hex("30 04 02 02 FF FF"));
}

TEST(QbAsnInteger, decode_inside_sequence) {
    qb_asn_sequence seq(security_off);
    qb_asn_integer a(security_off), b(security_off);
    register_all(seq, {&a, &b});
    ASSERT_EQ(read_frame(seq, hex("30 07 02 01 80 02 02 01 00")), 0u);
    long out = 0;
    EXPECT_EQ(int_value(a), -128L);
    EXPECT_EQ(b.get_value(out), 0u);
    EXPECT_EQ(out, 256L);
    EXPECT_EQ(write_bytes(seq), hex("30 07 02 01 80 02 02 01 00"));
}

// ---------------------------------------------------------------- BOOLEAN

TEST(QbAsnBoolean, constructor_settings) {
    qb_asn_boolean b(security_off);
    EXPECT_EQ(type_summary(b), "BOOLEAN 1/0 P--");
    EXPECT_EQ(b.is_present(), 0);
    EXPECT_EQ(b.is_defaultable(), 0);
}

TEST(QbAsnBoolean, refuses_constructed_and_indefinite_forms) {
    qb_asn_boolean b(security_off);
    EXPECT_TRUE(reads(b, hex("21 03 01 01 FF"), 0x1065219Eu, 0u));
    EXPECT_TRUE(reads(b, hex("01 80 FF 00 00"), 0x1065219Du, 0u));
    EXPECT_EQ(b.is_present(), 0);
}

TEST(QbAsnBoolean, decode_table) {
    struct Case {
        const char *name, *frame;
        unsigned int status;
        int value;
    } const cases[] = {
        {"01 is TRUE", "01 01 01", 0x00000000, 1},
        {"7F is TRUE", "01 01 7F", 0x00000000, 1},
        {"FF is TRUE", "01 01 FF", 0x00000000, 1},
        {"80 is TRUE", "01 01 80", 0x00000000, 1},
        {"00 is FALSE", "01 01 00", 0x00000000, 0},
        {"two octets", "01 02 FF FF", 0x1065219B, 0},
        {"two zero octets", "01 02 00 00", 0x1065219B, 0},
        {"empty content", "01 00", 0x1065219B, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        qb_asn_boolean b(security_off);
        b.set_value(1);  // a failed read leaves the object absent
        Bytes frame = hex(c.frame);
        frame.push_back(0xAA);
        unsigned int left = 0, consumed = 0;
        EXPECT_EQ(read_frame(b, frame, left, consumed), c.status);
        if (c.status == 0) {
            EXPECT_EQ(b.is_present(), 1);
            EXPECT_EQ(left, 1u);
            int out = 0x5A;
            EXPECT_EQ(b.get_value(out), 0u);
            EXPECT_EQ(out, c.value);
        } else {
            EXPECT_EQ(b.is_present(), 0);
            EXPECT_EQ(consumed, 0u);
            EXPECT_EQ(left, frame.size());
            int out = 0x5A;
            EXPECT_EQ(b.get_value(out), 0x106521A0u);
            EXPECT_EQ(out, 0x5A);
        }
    }
}

TEST(QbAsnBoolean, decode_value_checks_length_before_consuming) {
    qb_asn_boolean b(security_off);
    b.set_value(1);
    Bytes in = hex("FF FF");
    qb_r_buffer_t r(in.data(), 2);
    EXPECT_EQ(b.decode_value(r, 2), 0x1065219Bu);
    EXPECT_EQ(r.remaining, 2u);
    EXPECT_EQ(r.cursor, in.data());
    EXPECT_EQ(b.is_present(), 0);  // invalidated before the check
    EXPECT_EQ(b.decode_value(r, 1), 0u);
    EXPECT_EQ(r.remaining, 1u);
    EXPECT_EQ(b.is_present(), 1);
}

TEST(QbAsnBoolean, encode_table) {
    struct Case {
        const char* name;
        int value;
        const char* frame;
        int read_back;
    } const cases[] = {
        {"TRUE", 1, "01 01 FF", 1},
        {"FALSE", 0, "01 01 00", 0},
        {"5 is TRUE", 5, "01 01 FF", 5},
        {"-1 is TRUE", -1, "01 01 FF", -1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        qb_asn_boolean b(security_off);
        EXPECT_EQ(b.set_value(c.value), 0u);
        EXPECT_EQ(b.is_present(), 1);
        EXPECT_EQ(write_bytes(b), hex(c.frame));
        int out = 0x5A;
        EXPECT_EQ(b.get_value(out), 0u);
        EXPECT_EQ(out, c.read_back);  // stored as given
    }
}

TEST(QbAsnBoolean, encode_value_appends_one_octet) {
    qb_asn_boolean b(security_off);
    b.set_value(3);
    const auto w = append_to("11", [&](qb_buffer_t& out) { return b.encode_value(out); });
    EXPECT_EQ(w.rc, 0u);
    EXPECT_EQ(w.bytes, hex("11 FF"));
}

TEST(QbAsnBoolean, get_value_absent_and_default) {
    qb_asn_boolean b(security_off);
    int out = 0x5A;
    EXPECT_EQ(b.get_value(out), 0x106521A0u);
    EXPECT_EQ(out, 0x5A);

    b.set_tag(4);
    b.set_class(2);
    ASSERT_EQ(b.set_default_value(1), 0u);
    EXPECT_EQ(b.is_defaultable(), 1);
    auto* d = dynamic_cast<qb_asn_boolean*>(b.get_default_value());
    ASSERT_NE(d, nullptr);
    EXPECT_EQ(d->get_tag(), 4u);
    EXPECT_EQ(d->get_class(), 2);
    EXPECT_EQ(d->get_parent(), &b);
    EXPECT_EQ(b.get_value(out), 0u);
    EXPECT_EQ(out, 1);

    b.set_value(0);
    EXPECT_EQ(b.get_value(out), 0u);
    EXPECT_EQ(out, 0);
}

TEST(QbAsnBoolean, set_default_value_object_and_null) {
    qb_asn_boolean b(security_off);
    auto* d = new qb_asn_boolean(security_off);
    d->set_value(0);
    ASSERT_EQ(b.set_default_value(d), 0u);
    EXPECT_EQ(b.get_default_value(), d);
    int out = 0x5A;
    EXPECT_EQ(b.get_value(out), 0u);
    EXPECT_EQ(out, 0);
    ASSERT_EQ(b.set_default_value(static_cast<qb_asn_object*>(nullptr)), 0u);
    EXPECT_EQ(b.is_defaultable(), 0);
    out = 0x5A;
    EXPECT_EQ(b.get_value(out), 0x106521A0u);
    EXPECT_EQ(out, 0x5A);
}

TEST(QbAsnBoolean, value_equal_to_default_is_not_written) {
    qb_asn_boolean b(security_off);
    ASSERT_EQ(b.set_default_value(1), 0u);
    EXPECT_TRUE(write_frame(b).bytes.empty());
    b.set_value(5);  // written as FF, the default's octet too
    auto w = write_frame(b);
    EXPECT_EQ(w.rc, 0u);
    EXPECT_TRUE(w.bytes.empty());
    b.set_value(0);
    EXPECT_EQ(write_bytes(b), hex("01 01 00"));
}

TEST(QbAsnBoolean, set_value_invalidates_parent_encoding) {
    qb_test::in_sequence<qb_asn_boolean> tree;
    auto& [seq, b] = tree;
    b.set_value(0);
    ASSERT_EQ(write_bytes(seq), hex("30 03 01 01 00"));
    ASSERT_EQ(seq.is_encoding_valid(), 1);
    b.set_value(1);
    EXPECT_EQ(seq.is_encoding_valid(), 0);
    EXPECT_EQ(b.is_encoding_valid(), 0);
    EXPECT_EQ(write_bytes(seq), hex("30 03 01 01 FF"));
}

// ---------------------------------------------------------------- NULL

TEST(QbAsnNull, constructor_settings) {
    qb_asn_null n(security_off);
    EXPECT_EQ(type_summary(n), "NULL 5/0 P--");
    EXPECT_EQ(n.is_present(), 1);
    EXPECT_EQ(n.is_valid(0), 1);
}

TEST(QbAsnNull, always_present_and_valid) {
    qb_asn_null n(security_off);
    n.empty();
    EXPECT_EQ(n.is_present(), 1);
    EXPECT_EQ(n.is_valid(0), 1);
    n.invalidate_value(invalidate_full);
    EXPECT_EQ(n.is_present(), 1);
    EXPECT_EQ(n.is_valid(1), 1);
    // A failed read does not make it absent either.
    EXPECT_EQ(read_frame(n, hex("05 01 00")), 0x1065219Bu);
    EXPECT_EQ(n.is_present(), 1);
}

TEST(QbAsnNull, writes_05_00) {
    qb_asn_null n(security_off);
    auto w = write_frame(n);
    EXPECT_EQ(w.rc, 0u);
    EXPECT_EQ(w.bytes, hex("05 00"));
    n.set_optional(1);  // optional yet present: still written
    EXPECT_EQ(write_bytes(n), hex("05 00"));
}

TEST(QbAsnNull, decode_table) {
    // Each input ends with AA after the frame: refused, the view has not
    // moved; read, the view stands on the AA.
    expect_refused_reads<qb_asn_null>({
        {"one octet", "05 01 00 AA", 0x1065219B},
        {"two octets", "05 02 00 00 AA", 0x1065219B},
        {"constructed", "25 00 AA", 0x1065219E},
        {"other tag", "04 00 AA", 0x106521A4},
    });
    qb_asn_null empty(security_off);
    EXPECT_TRUE(reads(empty, "05 00 AA", 0x00000000, 2));
    EXPECT_EQ(empty.is_present(), 1);
}

TEST(QbAsnNull, decode_value_consumes_nothing) {
    qb_asn_null n(security_off);
    for (const auto& [len, status] : {std::pair<unsigned int, unsigned int>{0, 0}, {1, 0x1065219B}}) {
        SCOPED_TRACE(len);
        const auto res = decode_content(n, hex("00 AA"), len);
        EXPECT_EQ(res.rc, status);
        EXPECT_EQ(res.remaining, 2u);
    }
    qb_buffer_t out(security_off);
    EXPECT_EQ(n.encode_value(out), 0u);
    EXPECT_EQ(out.length(), 0u);
}

TEST(QbAsnNull, inside_a_sequence) {
    qb_test::int_then<qb_asn_null> pair;
    auto& [seq, i, n] = pair;
    i.set_value(1L);
    EXPECT_EQ(write_bytes(seq), hex("30 05 02 01 01 05 00"));

    qb_test::in_sequence<qb_asn_null> tree;
    auto& [only, m] = tree;
    EXPECT_EQ(only.is_present(), 1);
    EXPECT_EQ(write_bytes(only), hex("30 02 05 00"));
    EXPECT_EQ(read_frame(only, hex("30 02 05 00")), 0u);
    EXPECT_EQ(only.is_present(), 1);
    EXPECT_TRUE(reads(only, hex("30 03 05 01 00"), 0x1065219Bu, 0u));
}
