// tests/asn1/asn1_test.cpp - the BER scanners (qbAsnGet*) and the flat-API
// buffer functions (qb_asn_buffer_copy, qb_asn_buffer_free).
//
// Every input lives in a heap block of exactly its own size, so
// AddressSanitizer reports any octet a scanner touches beyond it. Failing
// vectors check that the cursor and the count did not move and which outputs
// were (partly) written; outputs a call must not write start as sentinels.
// Allocation failures are covered in asn1_allocfail_test.cpp.

#include "asn1/asn1.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

#include "support/buffers.h"
#include "support/frames.h"
#include "support/hex.h"
#include "support/hostile.h"
#include "support/scanners.h"

namespace {

using qb_test::byte_reader, qb_test::bytes_of, qb_test::bytes_t, qb_test::exact_block, qb_test::kByteReaders,
      qb_test::kUntouched, qb_test::marked_block, qb_test::reader_name, qb_test::scan_input,
      qb_test::scan_integer_bytes;

constexpr long kUntouchedLong = 0x5A5A5A5AL;

// TypeOut: the identifier outputs of qbAsnGetType, preset to kUntouched.
struct TypeOut {
    unsigned int tag = kUntouched, constructed = kUntouched, cls = kUntouched;
};

// get_type: qbAsnGetType over the two cursor slots.
unsigned int get_type(unsigned char** slots, unsigned int* rem, TypeOut& t) {
    return qbAsnGetType(slots, rem, &t.tag, &t.constructed, &t.cls);
}

// LengthOut: the outputs of qbAsnGetLength, preset to kUntouched.
struct LengthOut {
    unsigned int definite = kUntouched, len = kUntouched;
};

unsigned int get_length(unsigned char** cur, unsigned int* rem, LengthOut& l) {
    return qbAsnGetLength(cur, rem, &l.definite, &l.len);
}

// ---- qbAsnGetType ----

struct TypeCase {
    const char *name, *hex;
    unsigned int status, tag, constructed, cls, used;
};

// Low-tag-number identifiers (one octet) and the empty input.
constexpr TypeCase kTypeCases[] = {
    {"SEQUENCE 30", "30", 0, 16, 1, 0, 1},
    {"context [1] constructed A1", "A1", 0, 1, 1, 2, 1},
    {"INTEGER 02, more follows", "02 01 05", 0, 2, 0, 0, 1},
    {"tag 0", "00", 0, 0, 0, 0, 1},
    {"application primitive 30", "5E", 0, 30, 0, 1, 1},
    {"private primitive 5", "C5", 0, 5, 0, 3, 1},
    {"private constructed 30", "FE", 0, 30, 1, 3, 1},
    {"empty input", "", 0x10652198, kUntouched, kUntouched, kUntouched, 0},
};

TEST(QbAsnGetType, LowTagNumberTable) {
    for (const auto& c : kTypeCases) {
        SCOPED_TRACE(c.name);
        scan_input in(c.hex);
        unsigned char* slots[2] = {in.cur, nullptr};
        TypeOut t;
        EXPECT_EQ(get_type(slots, &in.rem, t), c.status);
        in.cur = slots[0];
        EXPECT_EQ(t.tag, c.tag);
        EXPECT_EQ(t.constructed, c.constructed);
        EXPECT_EQ(t.cls, c.cls);
        EXPECT_TRUE(in.moved(c.used));
        EXPECT_EQ(slots[1], nullptr);  // only the multi-octet form writes the second slot
    }
}

TEST(QbAsnGetType, ZeroRemainingReadsNothing) {
    // Octets exist but the caller vouches for none of them.
    scan_input in("30 03", 0);
    TypeOut t;
    EXPECT_EQ(get_type(&in.cur, &in.rem, t), 0x10652198U);
    EXPECT_EQ(t.tag, kUntouched);
    EXPECT_EQ(t.constructed, kUntouched);
    EXPECT_EQ(t.cls, kUntouched);
    EXPECT_TRUE(in.moved(0));
}

struct HighTagCase {
    const char *name, *hex;
    unsigned int status, tag, constructed, cls;
    unsigned int advance;   // where p[1] points afterwards, from the start (success only)
    unsigned int rem_after; // *rem afterwards
};

// Multi-octet identifiers. The tag starts with the first octet & 0x7F; the
// final tag octet is not added and not passed by the cursor, yet counted off.
constexpr HighTagCase kHighTagCases[] = {
    {"1F 05", "1F 05", 0, 31, 0, 0, 1, 0},
    {"1F 85 03", "1F 85 03", 0, 3973, 0, 0, 2, 0},
    {"1F 05 with two more octets", "1F 05 AA BB", 0, 31, 0, 0, 1, 2},
    {"constructed bit enters the tag", "3F 05", 0, 63, 1, 0, 1, 0},
    {"context constructed, one more octet", "BF 85 03 00", 0, 8069, 1, 2, 2, 1},
    {"private, three octets added", "DF 81 80 01", 0, 1556608, 0, 3, 3, 0},
    {"tag wraps to 32 bits", "1F FF FF FF FF 7F", 0, 0xFFFFFFFFU, 0, 0, 5, 0},
    // Failures: constructed, cls and a partial tag are written; rem is kept.
    {"1F alone", "1F", 0x10652198, 0, 0, 0, 0, 1},
    {"BF alone", "BF", 0x10652198, 0, 1, 2, 0, 1},
    {"1F 85 cut off", "1F 85", 0x10652198, 31, 0, 0, 0, 2},
    {"1F 85 83 cut off", "1F 85 83", 0x10652198, 3973, 0, 0, 0, 3},
    {"1F 81 82 83 84 cut off", "1F 81 82 83 84", 0x10652198, 65028355, 0, 0, 0, 5},
};

TEST(QbAsnGetType, MultiOctetWritesSecondSlot_quirk) {
    for (const auto& c : kHighTagCases) {
        SCOPED_TRACE(c.name);
        scan_input in(c.hex);
        unsigned char marker = 0;
        unsigned char* slots[2] = {in.cur, &marker};
        TypeOut t;
        EXPECT_EQ(get_type(slots, &in.rem, t), c.status);
        EXPECT_EQ(t.tag, c.tag);
        EXPECT_EQ(t.constructed, c.constructed);
        EXPECT_EQ(t.cls, c.cls);
        EXPECT_EQ(in.rem, c.rem_after);
        EXPECT_EQ(slots[0], in.data());  // the caller's own cursor never moves here
        EXPECT_EQ(slots[1], c.status == 0 ? in.data() + c.advance : &marker);
        EXPECT_EQ(in.bytes(), hex(c.hex));  // the input is only read
    }
}

TEST(QbAsnGetType, MultiOctetKeepsWithinRemaining) {
    // The octets 1F 85 03 are present, but only two are vouched for: the
    // scanner may not look at the third.
    scan_input in("1F 85 03", 2);
    unsigned char marker = 0;
    unsigned char* slots[2] = {in.cur, &marker};
    TypeOut t;
    EXPECT_EQ(get_type(slots, &in.rem, t), 0x10652198U);
    EXPECT_EQ(t.tag, 31U);
    EXPECT_TRUE(in.moved(0));
    EXPECT_EQ(slots[0], in.data());
    EXPECT_EQ(slots[1], &marker);
}

// ---- qbAsnGetLength ----

struct LengthCase {
    const char *name, *hex;
    unsigned int status, definite, len, used;
};

constexpr LengthCase kLengthCases[] = {
    {"short 0", "00", 0, 1, 0, 1},
    {"short 5, more follows", "05 AA", 0, 1, 5, 1},
    {"short 127", "7F", 0, 1, 127, 1},
    {"indefinite", "80", 0, 0, 0, 1},
    {"indefinite, more follows", "80 02 01", 0, 0, 0, 1},
    {"long 128", "81 80", 0, 1, 128, 2},
    {"long 255", "81 FF", 0, 1, 255, 2},
    {"long form of a short length", "81 05", 0, 1, 5, 2},
    {"long zero", "81 00", 0, 1, 0, 2},
    {"long 256", "82 01 00", 0, 1, 256, 3},
    {"long 256, more follows", "82 01 00 AA", 0, 1, 256, 3},
    {"long 0x7FFFFFFF", "84 7F FF FF FF", 0, 1, 0x7FFFFFFFU, 5},
    {"long 0x80000000", "84 80 00 00 00", 0, 1, 0x80000000U, 5},
    {"long 0xFFFFFFFF", "84 FF FF FF FF", 0, 1, 0xFFFFFFFFU, 5},
    {"five octets keep the low 32 bits", "85 01 23 45 67 89", 0, 1, 0x23456789U, 6},
    {"eight octets keep the low 32 bits", "88 FF FF FF FF 00 00 00 2A", 0, 1, 42, 9},
    // Failures: definite = 1 and the partial length are written.
    {"empty input", "", 0x10652198, kUntouched, kUntouched, 0},
    {"81 with nothing after it", "81", 0x10652198, 1, 0, 0},
    {"82 cut after one octet", "82 01", 0x10652198, 1, 1, 0},
    {"84 cut after three octets", "84 FF FF FF", 0x10652198, 1, 0xFFFFFF, 0},
};

TEST(QbAsnGetLength, Table) {
    for (const auto& c : kLengthCases) {
        SCOPED_TRACE(c.name);
        scan_input in(c.hex);
        LengthOut l;
        EXPECT_EQ(get_length(&in.cur, &in.rem, l), c.status);
        EXPECT_EQ(l.definite, c.definite);
        EXPECT_EQ(l.len, c.len);
        EXPECT_TRUE(in.moved(c.used));
    }
}

TEST(QbAsnGetLength, LongFormWithHundredTwentySevenOctets) {
    // FF announces 127 length octets; only the last four survive.
    bytes_t b(128, 0xEE);
    b[0] = 0xFF;
    b[124] = 0x12;
    b[125] = 0x34;
    b[126] = 0x56;
    b[127] = 0x78;
    scan_input in(b);
    LengthOut l;
    EXPECT_EQ(get_length(&in.cur, &in.rem, l), 0U);
    EXPECT_EQ(l.definite, 1U);
    EXPECT_EQ(l.len, 0x12345678U);
    EXPECT_TRUE(in.moved(128));
    EXPECT_EQ(in.rem, 0U);
}

TEST(QbAsnGetLength, KeepsWithinRemaining) {
    // 82 01 00 is present, but only two octets are vouched for.
    scan_input in("82 01 00", 2);
    LengthOut l;
    EXPECT_EQ(get_length(&in.cur, &in.rem, l), 0x10652198U);
    EXPECT_EQ(l.definite, 1U);
    EXPECT_EQ(l.len, 1U);
    EXPECT_TRUE(in.moved(0));
}

// ---- qbAsnGetIntegerValue, long form ----

struct IntCase {
    const char *name, *hex;
    unsigned int len, status;
    long value;
    unsigned int used;
};

constexpr IntCase kIntCases[] = {
    {"5", "05", 1, 0, 5, 1},
    {"0", "00", 1, 0, 0, 1},
    {"127", "7F", 1, 0, 127, 1},
    {"128", "00 80", 2, 0, 128, 2},
    {"-128", "80", 1, 0, -128, 1},
    {"-1", "FF", 1, 0, -1, 1},
    {"FF 7F is -129", "FF 7F", 2, 0, -129, 2},
    {"255", "00 FF", 2, 0, 255, 2},
    {"256", "01 00", 2, 0, 256, 2},
    {"0x7FFFFFFF", "7F FF FF FF", 4, 0, 2147483647L, 4},
    {"0x80000000", "80 00 00 00", 4, 0, -2147483647L - 1, 4},
    {"-1 in four octets", "FF FF FF FF", 4, 0, -1, 4},
    {"0x00FFFFFF", "00 FF FF FF", 4, 0, 16777215L, 4},
    {"non-minimal 5", "00 00 00 05", 4, 0, 5, 4},
    {"reads only len octets", "05 AA BB", 1, 0, 5, 1},
    {"FF 7F with len 5 is too long", "FF 7F", 5, 0x10652199, kUntouchedLong, 0},
    {"len 5 with five octets present", "01 00 00 00 00", 5, 0x10652199, kUntouchedLong, 0},
    {"len 3 over two octets", "02 01", 3, 0x10652198, kUntouchedLong, 0},
    {"len 1 over nothing", "", 1, 0x10652198, kUntouchedLong, 0},
};

// expect_int: qbAsnGetIntegerValue with `len` over `in` gives `status` and
// `value` (kUntouchedLong: not written) and consumes `used` octets.
void expect_int(scan_input& in, unsigned int len, unsigned int status, long value, unsigned int used) {
    long got = kUntouchedLong;
    EXPECT_EQ(qbAsnGetIntegerValue(&in.cur, &in.rem, len, &got), status);
    EXPECT_EQ(got, value);
    EXPECT_TRUE(in.moved(used));
}

TEST(QbAsnGetIntegerValueLong, Table) {
    for (const auto& c : kIntCases) {
        SCOPED_TRACE(c.name);
        scan_input in(c.hex);
        expect_int(in, c.len, c.status, c.value, c.used);
    }
}

TEST(QbAsnGetIntegerValueLong, EmptyContentTakesSignOfNextOctet_quirk) {
    struct Case { const char* hex; long value; };
    const Case cases[] = {{"80", -1}, {"FF 00", -1}, {"7F", 0}, {"00", 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.hex);
        scan_input in(c.hex);
        expect_int(in, 0, 0, c.value, 0);  // nothing consumed
    }
}

TEST(QbAsnGetIntegerValueLong, EmptyContentAtEndOfInputIsZero) {
    // With nothing left there is no octet to take a sign from.
    scan_input in("");
    expect_int(in, 0, 0, 0, 0);
    EXPECT_EQ(in.rem, 0U);
}

// ---- qbAsnGetIntegerValue, byte form, and the two "long" readers ----

struct ByteCase {
    const char *name, *hex;
    unsigned int len;
    const char* big;     // expected copy, in order
    const char* little;  // expected copy, reversed
    unsigned int used;
};

constexpr ByteCase kByteCases[] = {
    {"one octet", "05", 1, "05", "05", 1},
    {"01 02 03", "01 02 03", 3, "01 02 03", "03 02 01", 3},
    {"four octets", "80 00 00 01", 4, "80 00 00 01", "01 00 00 80", 4},
    {"two of three octets", "0A 0B 0C", 2, "0A 0B", "0B 0A", 2},
};

TEST(QbAsnGetIntegerValueBytes, Table) {
    for (const byte_reader r : kByteReaders) {
        for (const auto& c : kByteCases) {
            SCOPED_TRACE(std::string(c.name) + ", " + reader_name(r));
            scan_input in(c.hex);
            unsigned char* bytes = nullptr;
            unsigned int count = kUntouched;
            ASSERT_EQ(scan_integer_bytes(r, &in.cur, &in.rem, c.len, &bytes, &count), 0U);
            ASSERT_NE(bytes, nullptr);
            EXPECT_EQ(count, c.len);
            EXPECT_EQ(bytes_of(bytes, count), hex(qb_test::is_little(r) ? c.little : c.big));
            EXPECT_TRUE(in.moved(c.used));
            EXPECT_EQ(in.bytes(), hex(c.hex));  // the input is only read
            std::free(bytes);
        }
    }
}

TEST(QbAsnGetIntegerValueBytes, LittleEndianOf010203) {
    scan_input in("01 02 03");
    unsigned char* bytes = nullptr;
    unsigned int count = 0;
    ASSERT_EQ(qbAsnGetLongIntegerValueLittleEndian(&in.cur, &in.rem, 3, &bytes, &count), 0U);
    EXPECT_EQ(bytes_of(bytes, count), hex("03 02 01"));
    std::free(bytes);
}

// ---- failures of the content readers ----

// FailCase: content of `len` octets over `hex` that a reader refuses with
// `status`; with null_out the output argument is null.
struct FailCase {
    const char *name, *hex;
    unsigned int len, status;
    bool null_out = false;
};

// expect_failures: for every case, scan(in, case, out) returns the case's
// status and leaves the cursor, the count, the input octets and `out` as
// they were.
template <class Scan>
void expect_failures(const std::vector<FailCase>& cases, Scan scan) {
    for (const FailCase& c : cases) {
        SCOPED_TRACE(c.name);
        scan_input in(c.hex);
        marked_block out;
        EXPECT_EQ(scan(in, c, out), c.status);
        EXPECT_TRUE(out.untouched());
        EXPECT_TRUE(in.moved(0));
        EXPECT_EQ(in.bytes(), hex(c.hex));
    }
}

// with_length_failures: `own`, then the failures every scanner of
// content octets shares, over its own input: a length of 0 (also on empty
// input, where zero length wins over exhaustion), and a length of 3 over
// `two_octets`.
std::vector<FailCase> with_length_failures(const char* one_octet, const char* two_octets,
                                           std::vector<FailCase> own) {
    own.push_back({"len 0", one_octet, 0, 0x1065219A});
    own.push_back({"zero length wins over exhausted", "", 0, 0x1065219A});
    own.push_back({"len 3 over two octets", two_octets, 3, 0x10652198});
    return own;
}

TEST(QbAsnGetIntegerValueBytes, Failures) {
    for (const byte_reader r : kByteReaders) {
        SCOPED_TRACE(reader_name(r));
        expect_failures(
            with_length_failures("01", "01 02",
                                 {
                                     {"len 5 is too long", "01 02 03 04 05", 5, 0x10652199},
                                     {"too long wins over exhausted", "", 5, 0x10652199},
                                 }),
            [r](scan_input& in, const FailCase& c, marked_block& out) {
                return scan_integer_bytes(r, &in.cur, &in.rem, c.len, &out.p, &out.n);
            });
    }
}

TEST(QbAsnGetIntegerValueBytes, LongReadersRefuseFiveOctets_quirk) {
    // Named "long", they still take at most four content octets.
    scan_input in("01 02 03 04 05 06 07 08");
    for (const byte_reader r : {byte_reader::big_endian, byte_reader::little_endian}) {
        SCOPED_TRACE(reader_name(r));
        marked_block out;
        EXPECT_EQ(scan_integer_bytes(r, &in.cur, &in.rem, 8, &out.p, &out.n), 0x10652199U);
        EXPECT_EQ(scan_integer_bytes(r, &in.cur, &in.rem, 5, &out.p, &out.n), 0x10652199U);
        EXPECT_TRUE(out.untouched());
        EXPECT_TRUE(in.moved(0));
    }
}

// ---- qbAsnGetNullValue ----

TEST(QbAsnGetNullValue, ChecksAndConsumesNothing_quirk) {
    scan_input in("05 00");
    EXPECT_EQ(qbAsnGetNullValue(&in.cur, &in.rem, 0), 0U);
    EXPECT_EQ(qbAsnGetNullValue(&in.cur, &in.rem, 7), 0U);           // len beyond the input
    EXPECT_EQ(qbAsnGetNullValue(&in.cur, &in.rem, 0xFFFFFFFFU), 0U);
    EXPECT_TRUE(in.moved(0));
    unsigned int zero = 0;
    EXPECT_EQ(qbAsnGetNullValue(&in.cur, &zero, 3), 0U);  // nothing left at all
    EXPECT_EQ(zero, 0U);
    EXPECT_EQ(qbAsnGetNullValue(nullptr, nullptr, 1), 0U);  // not even the cursor is looked at
}

// ---- qbAsnGetBitstringValue ----

struct BitCase {
    const char *name, *hex;
    unsigned int len, nbits;
    const char* copy;   // the octets copied out
    const char* input;  // the caller's input afterwards
};

constexpr BitCase kBitCases[] = {
    {"03 FF", "03 FF", 2, 5, "FF", "03 F8"},
    {"empty bit string", "00", 1, 0, "", "00"},
    {"no unused bits", "00 AA BB CC", 4, 24, "AA BB CC", "00 AA BB CC"},
    {"one unused bit", "01 FF FF FF", 4, 23, "FF FF FF", "01 FF FF FE"},
    {"seven unused bits", "07 FF", 2, 1, "FF", "07 80"},
    {"seven unused bits already clear", "07 80", 2, 1, "80", "07 80"},
    {"reads only len octets", "02 0F 0F 0F", 2, 6, "0F", "02 0C 0F 0F"},
};

TEST(QbAsnGetBitstringValue, ClearsInputAndLeavesPointerPastCopy_quirk) {
    for (const auto& c : kBitCases) {
        SCOPED_TRACE(c.name);
        scan_input in(c.hex);
        unsigned char* bits = nullptr;
        unsigned int nbits = kUntouched;
        ASSERT_EQ(qbAsnGetBitstringValue(&in.cur, &in.rem, c.len, &bits, &nbits), 0U);
        ASSERT_NE(bits, nullptr);
        EXPECT_EQ(nbits, c.nbits);
        // *bits stands just past the copy; the block starts len - 1 octets earlier.
        unsigned char* start = bits - (c.len - 1);
        EXPECT_EQ(bytes_of(start, c.len - 1), hex(c.copy));
        EXPECT_EQ(in.bytes(), hex(c.input));
        EXPECT_TRUE(in.moved(c.len));
        std::free(start);
    }
}

TEST(QbAsnGetBitstringValue, Failures) {
    expect_failures(
        with_length_failures("00", "03 FF",
                             {
            {"len 5 is too long", "00 01 02 03 04", 5, 0x10652199},
            {"too long wins over bad unused bits", "08 01 02 03 04", 5, 0x10652199},
            {"exhausted wins over bad unused bits", "09", 2, 0x10652198},
            {"8 unused bits", "08 FF", 2, 0x1065219B},
            {"FF unused bits", "FF 00 00", 3, 0x1065219B},
            {"unused bits without octets", "01", 1, 0x1065219B},
            {"7 unused bits without octets", "07 FF", 1, 0x1065219B},
                             }),
        [](scan_input& in, const FailCase& c, marked_block& out) {
            return qbAsnGetBitstringValue(&in.cur, &in.rem, c.len, &out.p, &out.n);
        });
}

// ---- qbAsnGetOIDValue ----

// get_oid: qbAsnGetOIDValue of `len` octets of `in` into a fresh block.
bytes_t get_oid(scan_input& in, unsigned int len) {
    qb_asn_buffer_t out{kUntouched, nullptr};
    EXPECT_EQ(qbAsnGetOIDValue(&in.cur, &in.rem, len, &out), 0U);
    EXPECT_EQ(out.length, len);
    EXPECT_NE(out.data, nullptr);
    bytes_t b = bytes_of(out);
    std::free(out.data);
    return b;
}

TEST(QbAsnGetOIDValue, CopiesContentUnchanged) {
    scan_input in("2A 86 48 86 F7 0D 05 00");
    EXPECT_EQ(get_oid(in, 6), hex("2A 86 48 86 F7 0D"));
    EXPECT_TRUE(in.moved(6));
    EXPECT_EQ(in.rem, 2U);
}

TEST(QbAsnGetOIDValue, NoLengthLimit) {
    bytes_t b(300);
    for (std::size_t i = 0; i < b.size(); ++i) b[i] = static_cast<unsigned char>(i * 7);
    scan_input in(b);
    EXPECT_EQ(get_oid(in, 300), b);
    EXPECT_EQ(in.rem, 0U);
}

TEST(QbAsnGetOIDValue, Failures) {
    expect_failures(
        with_length_failures("2A", "2A 03",
                             {
            {"null out", "2A 03", 2, 0x1065219C, true},
            {"null out wins over zero length", "2A", 0, 0x1065219C, true},
            {"null out wins over exhausted", "", 5, 0x1065219C, true},
        }),
        [](scan_input& in, const FailCase& c, marked_block& out) {
            qb_asn_buffer_t block{out.n, out.p};
            const unsigned int status = qbAsnGetOIDValue(&in.cur, &in.rem, c.len, c.null_out ? nullptr : &block);
            out.n = block.length;
            out.p = block.data;
            return status;
        });
}

// ---- qbAsnGetOctetstringValue ----

TEST(QbAsnGetOctetstringValue, CopiesContent) {
    scan_input in("68 69 04 00");
    unsigned char* data = nullptr;
    unsigned int count = kUntouched;
    ASSERT_EQ(qbAsnGetOctetstringValue(&in.cur, &in.rem, 2, &data, &count), 0U);
    EXPECT_EQ(count, 2U);
    EXPECT_EQ(bytes_of(data, count), hex("68 69"));
    EXPECT_TRUE(in.moved(2));
    EXPECT_EQ(in.bytes(), hex("68 69 04 00"));
    std::free(data);
}

TEST(QbAsnGetOctetstringValue, LongContent) {
    // 04 82 01 00 and 256 content octets, read through the length scanner.
    bytes_t b = hex("04 82 01 00");
    for (int i = 0; i < 256; ++i) b.push_back(static_cast<unsigned char>(255 - i));
    scan_input in(b);
    TypeOut t;
    LengthOut l;
    unsigned char* slots[2] = {in.cur, nullptr};
    ASSERT_EQ(get_type(slots, &in.rem, t), 0U);
    EXPECT_EQ(t.tag, 4U);
    ASSERT_EQ(get_length(slots, &in.rem, l), 0U);
    EXPECT_EQ(l.len, 256U);
    EXPECT_EQ(in.rem, 256U);
    unsigned char* data = nullptr;
    unsigned int count = 0;
    ASSERT_EQ(qbAsnGetOctetstringValue(slots, &in.rem, l.len, &data, &count), 0U);
    EXPECT_EQ(count, 256U);
    EXPECT_EQ(bytes_of(data, count), bytes_t(b.begin() + 4, b.end()));
    in.cur = slots[0];
    EXPECT_TRUE(in.moved(in.size()));
    std::free(data);
}

TEST(QbAsnGetOctetstringValue, Failures) {
    expect_failures(with_length_failures("68", "68 69", {{"len 0xFFFFFFFF", "68 69", 0xFFFFFFFFU, 0x10652198}}),
        [](scan_input& in, const FailCase& c, marked_block& out) {
            return qbAsnGetOctetstringValue(&in.cur, &in.rem, c.len, &out.p, &out.n);
        });
}

// ---- qbAsnGetCharstringValue ----

// expect_charstring: qbAsnGetCharstringValue of `len` octets of `in`
// succeeds, leaves the input as `after` and consumes `len` octets.
void expect_charstring(scan_input& in, unsigned int len, const char* after) {
    ASSERT_EQ(qbAsnGetCharstringValue(&in.cur, &in.rem, len, nullptr), 0U);
    EXPECT_EQ(in.bytes(), hex(after));
    EXPECT_TRUE(in.moved(len));
}

TEST(QbAsnGetCharstringValue, TerminatesInputAfterContent_quirk) {
    scan_input in("61 62 63 41 42");
    char text[4] = {'x', 'y', 'z', 'w'};
    ASSERT_EQ(qbAsnGetCharstringValue(&in.cur, &in.rem, 3, text), 0U);
    EXPECT_EQ(in.bytes(), hex("61 62 63 00 42"));
    EXPECT_STREQ(reinterpret_cast<const char*>(in.data()), "abc");
    EXPECT_TRUE(in.moved(3));  // the cursor stands on the new 00
    EXPECT_EQ(*in.cur, 0x00);
    EXPECT_EQ(in.rem, 2U);
    // The fourth argument is not written.
    EXPECT_EQ(std::string(text, 4), "xyzw");
}

TEST(QbAsnGetCharstringValue, ContentToEndOfInputWritesNothing) {
    // No octet follows within *rem: nothing is written (an exact-size block,
    // so a write past it would be reported).
    scan_input in("61 62 63");
    expect_charstring(in, 3, "61 62 63");
    EXPECT_EQ(in.rem, 0U);
}

TEST(QbAsnGetCharstringValue, TerminatorStaysWithinRemaining) {
    // Octets follow in memory, but the caller vouches only for the content.
    scan_input in("61 62 63 41", 3);
    expect_charstring(in, 3, "61 62 63 41");
    EXPECT_EQ(in.rem, 0U);
}

TEST(QbAsnGetCharstringValue, ContentWithZeroOctet) {
    // The internal copy stops at the 00; the input and cursor are as usual.
    scan_input in("61 00 63 41");
    expect_charstring(in, 3, "61 00 63 00");
    EXPECT_EQ(in.rem, 1U);
}

TEST(QbAsnGetCharstringValue, Failures) {
    expect_failures(with_length_failures("61 62", "61 62", {{"len 0xFFFFFFFF", "61 62", 0xFFFFFFFFU, 0x10652198}}),
        [](scan_input& in, const FailCase& c, marked_block&) {
            return qbAsnGetCharstringValue(&in.cur, &in.rem, c.len, nullptr);
        });
}

// ---- a record read item by item ----

TEST(Scanners, ReadSequenceOfIntegerAndString) {
    // SEQUENCE { INTEGER -129, UTF8String "hi", NULL }
    scan_input in("30 0A 02 02 FF 7F 0C 02 68 69 05 00");
    unsigned char* slots[2] = {in.cur, nullptr};
    TypeOut t;
    LengthOut l;
    // Each item: its identifier (tag `tag`) and its length.
    auto item = [&](unsigned int tag) {
        ASSERT_EQ(get_type(slots, &in.rem, t), 0U);
        EXPECT_EQ(t.tag, tag);
        ASSERT_EQ(get_length(slots, &in.rem, l), 0U);
    };

    ASSERT_NO_FATAL_FAILURE(item(16));
    EXPECT_EQ(t.constructed, 1U);
    EXPECT_EQ(l.len, 10U);
    EXPECT_EQ(in.rem, 10U);

    ASSERT_NO_FATAL_FAILURE(item(2));
    long value = 0;
    ASSERT_EQ(qbAsnGetIntegerValue(slots, &in.rem, l.len, &value), 0U);
    EXPECT_EQ(value, -129);

    ASSERT_NO_FATAL_FAILURE(item(12));
    unsigned char* text = slots[0];
    ASSERT_EQ(qbAsnGetCharstringValue(slots, &in.rem, l.len, nullptr), 0U);
    EXPECT_STREQ(reinterpret_cast<const char*>(text), "hi");  // 05 became 00

    // The NULL's identifier was overwritten by the terminator.
    ASSERT_NO_FATAL_FAILURE(item(0));
    EXPECT_EQ(l.len, 0U);
    EXPECT_EQ(qbAsnGetNullValue(slots, &in.rem, l.len), 0U);
    EXPECT_EQ(in.rem, 0U);
    EXPECT_EQ(slots[0], in.data() + in.size());
}

// ---- qb_asn_buffer_free / qb_asn_buffer_copy ----

TEST(QbAsnBufferFree, FreesDataAndKeepsFields) {
    qb_asn_buffer_t b{3, static_cast<unsigned char*>(std::malloc(3))};
    ASSERT_NE(b.data, nullptr);
    const auto before = reinterpret_cast<std::uintptr_t>(b.data);
    qb_asn_buffer_free(b);  // a leak here is reported by LeakSanitizer
    EXPECT_EQ(b.length, 3U);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(b.data), before);
}

TEST(QbAsnBufferFree, NullDataIsFine) {
    qb_asn_buffer_t b{7, nullptr};
    qb_asn_buffer_free(b);
    EXPECT_EQ(b.length, 7U);
    EXPECT_EQ(b.data, nullptr);
}

TEST(QbAsnBufferCopy, CopiesIntoFreshBlock) {
    const exact_block src_bytes(hex("01 02 03"));
    const qb_asn_buffer_t src{3, src_bytes.data()};
    marked_block out;
    qb_asn_buffer_t dst{out.n, out.p};
    unsigned int status = kUntouched;
    qb_asn_buffer_copy(src, dst, status);
    EXPECT_EQ(status, 0U);
    EXPECT_NE(dst.data, src.data);
    EXPECT_NE(dst.data, &out.marker);
    EXPECT_EQ(bytes_of(dst), hex("01 02 03"));
    EXPECT_EQ(src.length, 3U);
    qb_asn_buffer_free(dst);
}

TEST(QbAsnBufferCopy, EmptySourcesGiveEmptyDestination) {
    const exact_block some(hex("AA BB"));
    struct Case { const char* name; qb_asn_buffer_t src; };
    const Case cases[] = {
        {"length 0 with data", {0, some.data()}},
        {"length 5 with null data", {5, nullptr}},
        {"length 0 with null data", {0, nullptr}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        marked_block out;
        qb_asn_buffer_t dst{out.n, out.p};
        unsigned int status = kUntouched;
        qb_asn_buffer_copy(c.src, dst, status);
        EXPECT_EQ(status, 0U);
        EXPECT_EQ(dst.length, 0U);
        EXPECT_EQ(dst.data, nullptr);
    }
}

TEST(QbAsnBufferCopy, CopyOntoItself) {
    qb_asn_buffer_t b{2, static_cast<unsigned char*>(std::malloc(2))};
    ASSERT_NE(b.data, nullptr);
    b.data[0] = 0x12;
    b.data[1] = 0x34;
    unsigned char* original = b.data;
    unsigned int status = kUntouched;
    qb_asn_buffer_copy(b, b, status);
    EXPECT_EQ(status, 0U);
    EXPECT_EQ(b.length, 2U);
    ASSERT_NE(b.data, nullptr);
    EXPECT_EQ(bytes_of(b.data, 2), hex("12 34"));
    std::free(original);
    qb_asn_buffer_free(b);
}

// ---- hostile input ----
//
// Valid encodings, every truncation and many single-octet changes of them,
// each read item by item the way a caller walks BER: identifier, length, and
// then (for a primitive definite item) every content reader over the content,
// each on its own exact-size copy of the input. Each result must be the one
// the documented checks give, a failing reader must leave cursor and count
// alone, and the cursor plus the count must never reach beyond the input.

struct Walker {
    std::string failure;  // first broken expectation, empty when all held

    void expect(bool ok, const std::string& what) {
        if (!ok && failure.empty()) failure = what;
    }
};

// Oracle for the content readers: the status their checks give.
unsigned int expected_number_status(unsigned int len, unsigned int rem, bool zero_is_error) {
    if (len > 4) return 0x10652199;
    if (zero_is_error && len == 0) return 0x1065219A;
    if (rem < len) return 0x10652198;
    return 0;
}

unsigned int expected_copy_status(unsigned int len, unsigned int rem) {
    if (len == 0) return 0x1065219A;
    if (rem < len) return 0x10652198;
    return 0;
}

unsigned int expected_bit_status(unsigned int len, unsigned int rem, const unsigned char* cur) {
    const unsigned int s = expected_number_status(len, rem, true);
    if (s != 0) return s;
    if (cur[0] > 7) return 0x1065219B;
    if (len == 1 && cur[0] != 0) return 0x1065219B;
    return 0;
}

// Content: the content octets a reader was given (`len` of them at the
// cursor of `in`); `ok` is cleared when a successful read gave other output.
struct Content {
    scan_input& in;
    unsigned int len;
    const unsigned char* octets;  // the content in the walked image
    bool ok = true;
};

// ContentReader: one content reader, the status its checks give for the
// content, and whether a successful read consumes the content.
struct ContentReader {
    const char* name;
    unsigned int (*expected)(const Content& c);
    unsigned int (*read)(Content& c);
    bool consumes;
};

template <byte_reader R>
unsigned int read_integer_octets(Content& c) {
    unsigned char* bytes = nullptr;
    unsigned int count = 0;
    const unsigned int s = scan_integer_bytes(R, &c.in.cur, &c.in.rem, c.len, &bytes, &count);
    if (s != 0) return s;
    c.ok = count == c.len;
    for (unsigned int i = 0; i < c.len && i < count; ++i)
        c.ok = c.ok && bytes[i] == (qb_test::is_little(R) ? c.octets[c.len - 1 - i] : c.octets[i]);
    std::free(bytes);
    return s;
}

unsigned int integer_octets_status(const Content& c) { return expected_number_status(c.len, c.in.rem, true); }
unsigned int copy_status(const Content& c) { return expected_copy_status(c.len, c.in.rem); }

const ContentReader kContentReaders[] = {
    {"integer",
     [](const Content& c) { return expected_number_status(c.len, c.in.rem, false); },
     [](Content& c) {
         long value = 0;
         const unsigned int s = qbAsnGetIntegerValue(&c.in.cur, &c.in.rem, c.len, &value);
         c.ok = s != 0 || (value >= -2147483647L - 1 && value <= 2147483647L);
         return s;
     },
     true},
    {"integer octets, direct, in order", integer_octets_status, read_integer_octets<byte_reader::direct_big>, true},
    {"integer octets, direct, reversed", integer_octets_status, read_integer_octets<byte_reader::direct_little>,
     true},
    {"integer octets, long, big-endian", integer_octets_status, read_integer_octets<byte_reader::big_endian>, true},
    {"integer octets, long, little-endian", integer_octets_status, read_integer_octets<byte_reader::little_endian>,
     true},
    {"null", [](const Content&) { return 0u; },
     [](Content& c) { return qbAsnGetNullValue(&c.in.cur, &c.in.rem, c.len); }, false},
    {"bit string",
     [](const Content& c) {
         return (c.len > 0 && c.len <= c.in.rem) ? expected_bit_status(c.len, c.in.rem, c.in.cur)
                                                 : expected_number_status(c.len, c.in.rem, true);
     },
     [](Content& c) {
         unsigned char* bits = nullptr;
         unsigned int nbits = 0;
         const unsigned int s = qbAsnGetBitstringValue(&c.in.cur, &c.in.rem, c.len, &bits, &nbits);
         if (s == 0) {
             c.ok = nbits == (c.len - 1) * 8 - c.octets[0];
             std::free(bits - (c.len - 1));
         }
         return s;
     },
     true},
    {"oid", copy_status,
     [](Content& c) {
         qb_asn_buffer_t out{0, nullptr};
         const unsigned int s = qbAsnGetOIDValue(&c.in.cur, &c.in.rem, c.len, &out);
         if (s == 0) {
             c.ok = out.length == c.len && std::memcmp(out.data, c.octets, c.len) == 0;
             std::free(out.data);
         }
         return s;
     },
     true},
    {"octet string", copy_status,
     [](Content& c) {
         unsigned char* data = nullptr;
         unsigned int count = 0;
         const unsigned int s = qbAsnGetOctetstringValue(&c.in.cur, &c.in.rem, c.len, &data, &count);
         if (s == 0) {
             c.ok = count == c.len && std::memcmp(data, c.octets, c.len) == 0;
             std::free(data);
         }
         return s;
     },
     true},
    {"char string", copy_status,
     [](Content& c) {
         const bool room = c.len < c.in.rem;  // an octet follows the content
         unsigned char* const after = room ? c.in.cur + c.len : nullptr;
         const unsigned int s = qbAsnGetCharstringValue(&c.in.cur, &c.in.rem, c.len, nullptr);
         if (s == 0 && room) c.ok = *after == 0;  // the terminator
         return s;
     },
     true},
};

// Runs every content reader at `offset` of `image` with count `rem` and
// content length `len`, each on its own exact-size copy of the image. A
// reader that fails must leave the cursor alone; one that succeeds consumes
// exactly len (NULL consumes nothing).
void run_content_readers(Walker& w, const bytes_t& image, unsigned int offset, unsigned int rem,
                         unsigned int len) {
    const std::string at = " at offset " + std::to_string(offset) + " len " + std::to_string(len);
    for (const ContentReader& reader : kContentReaders) {
        scan_input in(image, offset, rem);
        Content c{in, len, image.data() + offset};
        const unsigned int want = reader.expected(c);
        const unsigned int s = reader.read(c);
        const std::string what = std::string(reader.name) + at;
        w.expect(s == want, what + ": status");
        w.expect(static_cast<bool>(in.moved(s == 0 && reader.consumes ? len : 0)), what + ": cursor");
        w.expect(c.ok, what + ": output");
    }
}

// Walks `image` item by item; returns the first broken expectation or "".
std::string walk(const bytes_t& image) {
    Walker w;
    const exact_block in(image);
    const unsigned int n = in.size();
    unsigned char* slots[2] = {in.data(), nullptr};
    unsigned int rem = n;
    auto inside = [&]() {
        return slots[0] >= in.data() && slots[0] <= in.data() + n &&
               static_cast<unsigned int>(slots[0] - in.data()) + static_cast<unsigned long long>(rem) <= n;
    };

    for (int step = 0; step < 64 && rem > 0 && w.failure.empty(); ++step) {
        const std::string at = " at step " + std::to_string(step);
        unsigned char* const before = slots[0];
        const unsigned int rem_before = rem;
        const bool high_tag = (before[0] & 0x1F) == 0x1F;  // rem > 0: the octet is there

        TypeOut t;
        slots[1] = nullptr;
        unsigned int s = get_type(slots, &rem, t);
        w.expect(s == 0 || s == 0x10652198, "type status" + at);
        if (s != 0) {
            w.expect(slots[0] == before && rem == rem_before && slots[1] == nullptr,
                     "failed type moved" + at);
            break;
        }
        w.expect(rem < rem_before, "type kept rem" + at);
        w.expect(t.constructed == ((before[0] >> 5) & 1U) && t.cls == (before[0] >> 6U),
                 "type bits" + at);
        if (high_tag) {
            // The multi-octet form leaves *p and reports its cursor in the second slot.
            w.expect(slots[0] == before && slots[1] != nullptr, "type second slot" + at);
            if (slots[1] == nullptr) break;
            slots[0] = slots[1];
        } else {
            w.expect(slots[0] == before + 1 && rem == rem_before - 1 && t.tag == (before[0] & 0x1FU)
                         && slots[1] == nullptr,
                     "low tag" + at);
        }
        w.expect(inside(), "type cursor outside input" + at);
        if (!w.failure.empty()) break;

        unsigned char* const len_at = slots[0];
        const unsigned int rem_len = rem;
        LengthOut l;
        s = get_length(slots, &rem, l);
        w.expect(s == 0 || s == 0x10652198, "length status" + at);
        if (s != 0) {
            w.expect(slots[0] == len_at && rem == rem_len, "failed length moved" + at);
            break;
        }
        w.expect(rem < rem_len && static_cast<unsigned int>(slots[0] - len_at) == rem_len - rem,
                 "length consumed" + at);
        w.expect(inside(), "length cursor outside input" + at);
        if (!w.failure.empty()) break;

        if (l.definite == 0 || t.constructed == 1) continue;  // read the content as further items

        const unsigned int offset = static_cast<unsigned int>(slots[0] - in.data());
        const bytes_t current = in.bytes();
        // The decoded length, and lengths around the limits and the input's end.
        for (unsigned int len : {l.len, 0U, 1U, 4U, 5U, rem, rem + 1, 0xFFFFFFFFU}) {
            run_content_readers(w, current, offset, rem, len);
        }
        if (l.len > rem) break;
        slots[0] += l.len;
        rem -= l.len;
    }
    return w.failure;
}

TEST(ScannersHostileInput, TruncationsAndSingleOctetChanges) {
    bytes_t long_octets = hex("04 82 01 00");
    for (int i = 0; i < 256; ++i) long_octets.push_back(static_cast<unsigned char>(i));

    const bytes_t valid[] = {
        hex("30 03 02 01 05"),
        long_octets,
        hex("03 02 03 FF"),
        hex("1F 85 03 02 41 42"),
        hex("30 80 02 01 05 00 00"),
        hex("02 04 80 00 00 00"),
        hex("02 05 01 00 00 00 00"),
        hex("06 06 2A 86 48 86 F7 0D"),
        hex("30 0A 02 02 FF 7F 0C 02 68 69 05 00"),
        hex("31 06 03 01 00 01 01 FF"),
        hex("04 84 FF FF FF FF 00"),
        hex("A0 85 00 00 00 00 03 02 01 05"),
    };

    std::size_t walks = 0;
    for (const bytes_t& v : valid) {
        SCOPED_TRACE(testing::PrintToString(v));
        ASSERT_EQ(walk(v), "");
        ++walks;
        qb_test::for_each_damaged(
            v, {0x01, 0x80, 0xFF}, {0x00, 0x1F, 0x7F, 0x80, 0x81, 0x84, 0xFF},
            [&](const bytes_t& m, const std::string& what) {
                SCOPED_TRACE(what);
                EXPECT_EQ(walk(m), "");
                ++walks;
            },
            true);
    }
    EXPECT_GT(walks, 3000U);
}

}  // namespace
