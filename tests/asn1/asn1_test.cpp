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

#include "support/hex.h"

namespace {

using bytes_t = std::vector<unsigned char>;

// Sentinels for outputs that must stay untouched.
constexpr unsigned int kUntouched = 0xA5A5A5A5U;
constexpr long kUntouchedLong = 0x5A5A5A5AL;

// Input: an exact-size heap copy of some octets (new[] of 0 octets still
// yields a distinct block, so even an empty input has a valid, unreadable
// address).
class Input {
public:
    explicit Input(const bytes_t& b) : size_(static_cast<unsigned int>(b.size())),
                                       data_(new unsigned char[b.size()]) {
        if (!b.empty()) std::memcpy(data_, b.data(), b.size());
    }
    explicit Input(const char* hex_text) : Input(hex(hex_text)) {}
    ~Input() { delete[] data_; }
    Input(const Input&) = delete;
    Input& operator=(const Input&) = delete;

    unsigned char* data() const { return data_; }
    unsigned int size() const { return size_; }
    bytes_t bytes() const { return bytes_t(data_, data_ + size_); }

private:
    unsigned int size_;
    unsigned char* data_;
};

bytes_t block_bytes(const unsigned char* p, unsigned int n) { return bytes_t(p, p + n); }

// ---- qbAsnGetType ----

struct TypeCase {
    const char* name;
    const char* hex;
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
        Input in(c.hex);
        unsigned char* slots[2] = {in.data(), nullptr};
        unsigned int rem = in.size();
        unsigned int tag = kUntouched, constructed = kUntouched, cls = kUntouched;
        EXPECT_EQ(qbAsnGetType(slots, &rem, &tag, &constructed, &cls), c.status);
        EXPECT_EQ(tag, c.tag);
        EXPECT_EQ(constructed, c.constructed);
        EXPECT_EQ(cls, c.cls);
        EXPECT_EQ(slots[0], in.data() + c.used);
        EXPECT_EQ(rem, in.size() - c.used);
        EXPECT_EQ(slots[1], nullptr);  // only the multi-octet form writes the second slot
    }
}

TEST(QbAsnGetType, ZeroRemainingReadsNothing) {
    // Octets exist but the caller vouches for none of them.
    Input in("30 03");
    unsigned char* slots[2] = {in.data(), nullptr};
    unsigned int rem = 0;
    unsigned int tag = kUntouched, constructed = kUntouched, cls = kUntouched;
    EXPECT_EQ(qbAsnGetType(slots, &rem, &tag, &constructed, &cls), 0x10652198U);
    EXPECT_EQ(tag, kUntouched);
    EXPECT_EQ(constructed, kUntouched);
    EXPECT_EQ(cls, kUntouched);
    EXPECT_EQ(slots[0], in.data());
    EXPECT_EQ(rem, 0U);
}

struct HighTagCase {
    const char* name;
    const char* hex;
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
        Input in(c.hex);
        unsigned char marker = 0;
        unsigned char* slots[2] = {in.data(), &marker};
        unsigned int rem = in.size();
        unsigned int tag = kUntouched, constructed = kUntouched, cls = kUntouched;
        EXPECT_EQ(qbAsnGetType(slots, &rem, &tag, &constructed, &cls), c.status);
        EXPECT_EQ(tag, c.tag);
        EXPECT_EQ(constructed, c.constructed);
        EXPECT_EQ(cls, c.cls);
        EXPECT_EQ(rem, c.rem_after);
        EXPECT_EQ(slots[0], in.data());  // the caller's own cursor never moves here
        if (c.status == 0) {
            EXPECT_EQ(slots[1], in.data() + c.advance);
        } else {
            EXPECT_EQ(slots[1], &marker);
        }
        EXPECT_EQ(in.bytes(), hex(c.hex));  // the input is only read
    }
}

TEST(QbAsnGetType, MultiOctetKeepsWithinRemaining) {
    // The octets 1F 85 03 are present, but only two are vouched for: the
    // scanner may not look at the third.
    Input in("1F 85 03");
    unsigned char marker = 0;
    unsigned char* slots[2] = {in.data(), &marker};
    unsigned int rem = 2;
    unsigned int tag = kUntouched, constructed = kUntouched, cls = kUntouched;
    EXPECT_EQ(qbAsnGetType(slots, &rem, &tag, &constructed, &cls), 0x10652198U);
    EXPECT_EQ(tag, 31U);
    EXPECT_EQ(rem, 2U);
    EXPECT_EQ(slots[0], in.data());
    EXPECT_EQ(slots[1], &marker);
}

// ---- qbAsnGetLength ----

struct LengthCase {
    const char* name;
    const char* hex;
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
        Input in(c.hex);
        unsigned char* cur = in.data();
        unsigned int rem = in.size();
        unsigned int definite = kUntouched, len = kUntouched;
        EXPECT_EQ(qbAsnGetLength(&cur, &rem, &definite, &len), c.status);
        EXPECT_EQ(definite, c.definite);
        EXPECT_EQ(len, c.len);
        EXPECT_EQ(cur, in.data() + c.used);
        EXPECT_EQ(rem, in.size() - c.used);
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
    Input in(b);
    unsigned char* cur = in.data();
    unsigned int rem = in.size();
    unsigned int definite = kUntouched, len = kUntouched;
    EXPECT_EQ(qbAsnGetLength(&cur, &rem, &definite, &len), 0U);
    EXPECT_EQ(definite, 1U);
    EXPECT_EQ(len, 0x12345678U);
    EXPECT_EQ(cur, in.data() + 128);
    EXPECT_EQ(rem, 0U);
}

TEST(QbAsnGetLength, KeepsWithinRemaining) {
    // 82 01 00 is present, but only two octets are vouched for.
    Input in("82 01 00");
    unsigned char* cur = in.data();
    unsigned int rem = 2;
    unsigned int definite = kUntouched, len = kUntouched;
    EXPECT_EQ(qbAsnGetLength(&cur, &rem, &definite, &len), 0x10652198U);
    EXPECT_EQ(definite, 1U);
    EXPECT_EQ(len, 1U);
    EXPECT_EQ(cur, in.data());
    EXPECT_EQ(rem, 2U);
}

// ---- qbAsnGetIntegerValue, long form ----

struct IntCase {
    const char* name;
    const char* hex;
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

TEST(QbAsnGetIntegerValueLong, Table) {
    for (const auto& c : kIntCases) {
        SCOPED_TRACE(c.name);
        Input in(c.hex);
        unsigned char* cur = in.data();
        unsigned int rem = in.size();
        long value = kUntouchedLong;
        EXPECT_EQ(qbAsnGetIntegerValue(&cur, &rem, c.len, &value), c.status);
        EXPECT_EQ(value, c.value);
        EXPECT_EQ(cur, in.data() + c.used);
        EXPECT_EQ(rem, in.size() - c.used);
    }
}

TEST(QbAsnGetIntegerValueLong, EmptyContentTakesSignOfNextOctet_quirk) {
    struct Case { const char* hex; long value; };
    const Case cases[] = {{"80", -1}, {"FF 00", -1}, {"7F", 0}, {"00", 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.hex);
        Input in(c.hex);
        unsigned char* cur = in.data();
        unsigned int rem = in.size();
        long value = kUntouchedLong;
        EXPECT_EQ(qbAsnGetIntegerValue(&cur, &rem, 0, &value), 0U);
        EXPECT_EQ(value, c.value);
        EXPECT_EQ(cur, in.data());  // nothing consumed
        EXPECT_EQ(rem, in.size());
    }
}

TEST(QbAsnGetIntegerValueLong, EmptyContentAtEndOfInputIsZero) {
    // With nothing left there is no octet to take a sign from.
    Input in("");
    unsigned char* cur = in.data();
    unsigned int rem = 0;
    long value = kUntouchedLong;
    EXPECT_EQ(qbAsnGetIntegerValue(&cur, &rem, 0, &value), 0U);
    EXPECT_EQ(value, 0);
    EXPECT_EQ(cur, in.data());
    EXPECT_EQ(rem, 0U);
}

// ---- qbAsnGetIntegerValue, byte form, and the two "long" readers ----

enum class ByteReader { direct_big, direct_little, big_endian, little_endian };

unsigned int read_bytes(ByteReader r, unsigned char** p, unsigned int* rem, unsigned int len,
                        unsigned char** bytes, unsigned int* count) {
    switch (r) {
        case ByteReader::direct_big: return qbAsnGetIntegerValue(p, rem, len, bytes, count, 0);
        case ByteReader::direct_little: return qbAsnGetIntegerValue(p, rem, len, bytes, count, 1);
        case ByteReader::big_endian: return qbAsnGetLongIntegerValueBigEndian(p, rem, len, bytes, count);
        case ByteReader::little_endian:
            return qbAsnGetLongIntegerValueLittleEndian(p, rem, len, bytes, count);
    }
    return 0xFFFFFFFFU;
}

bool is_little(ByteReader r) {
    return r == ByteReader::direct_little || r == ByteReader::little_endian;
}

constexpr ByteReader kByteReaders[] = {ByteReader::direct_big, ByteReader::direct_little,
                                       ByteReader::big_endian, ByteReader::little_endian};

struct ByteCase {
    const char* name;
    const char* hex;
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
    for (const ByteReader r : kByteReaders) {
        for (const auto& c : kByteCases) {
            SCOPED_TRACE(std::string(c.name) + " reader " + std::to_string(static_cast<int>(r)));
            Input in(c.hex);
            unsigned char* cur = in.data();
            unsigned int rem = in.size();
            unsigned char* bytes = nullptr;
            unsigned int count = kUntouched;
            ASSERT_EQ(read_bytes(r, &cur, &rem, c.len, &bytes, &count), 0U);
            ASSERT_NE(bytes, nullptr);
            EXPECT_EQ(count, c.len);
            EXPECT_EQ(block_bytes(bytes, count), hex(is_little(r) ? c.little : c.big));
            EXPECT_EQ(cur, in.data() + c.used);
            EXPECT_EQ(rem, in.size() - c.used);
            EXPECT_EQ(in.bytes(), hex(c.hex));  // the input is only read
            std::free(bytes);
        }
    }
}

TEST(QbAsnGetIntegerValueBytes, LittleEndianOf010203) {
    Input in("01 02 03");
    unsigned char* cur = in.data();
    unsigned int rem = in.size();
    unsigned char* bytes = nullptr;
    unsigned int count = 0;
    ASSERT_EQ(qbAsnGetLongIntegerValueLittleEndian(&cur, &rem, 3, &bytes, &count), 0U);
    EXPECT_EQ(block_bytes(bytes, count), hex("03 02 01"));
    std::free(bytes);
}

struct ByteFailCase {
    const char* name;
    const char* hex;
    unsigned int len, status;
};

constexpr ByteFailCase kByteFailCases[] = {
    {"len 5 is too long", "01 02 03 04 05", 5, 0x10652199},
    {"too long wins over exhausted", "", 5, 0x10652199},
    {"len 0", "01", 0, 0x1065219A},
    {"zero length wins over exhausted", "", 0, 0x1065219A},
    {"len 3 over two octets", "01 02", 3, 0x10652198},
};

TEST(QbAsnGetIntegerValueBytes, Failures) {
    for (const ByteReader r : kByteReaders) {
        for (const auto& c : kByteFailCases) {
            SCOPED_TRACE(std::string(c.name) + " reader " + std::to_string(static_cast<int>(r)));
            Input in(c.hex);
            unsigned char* cur = in.data();
            unsigned int rem = in.size();
            unsigned char marker = 0;
            unsigned char* bytes = &marker;
            unsigned int count = kUntouched;
            EXPECT_EQ(read_bytes(r, &cur, &rem, c.len, &bytes, &count), c.status);
            EXPECT_EQ(bytes, &marker);
            EXPECT_EQ(count, kUntouched);
            EXPECT_EQ(cur, in.data());
            EXPECT_EQ(rem, in.size());
        }
    }
}

TEST(QbAsnGetIntegerValueBytes, LongReadersRefuseFiveOctets_quirk) {
    // Named "long", they still take at most four content octets.
    Input in("01 02 03 04 05 06 07 08");
    for (const ByteReader r : {ByteReader::big_endian, ByteReader::little_endian}) {
        unsigned char* cur = in.data();
        unsigned int rem = in.size();
        unsigned char marker = 0;
        unsigned char* bytes = &marker;
        unsigned int count = kUntouched;
        EXPECT_EQ(read_bytes(r, &cur, &rem, 8, &bytes, &count), 0x10652199U);
        EXPECT_EQ(read_bytes(r, &cur, &rem, 5, &bytes, &count), 0x10652199U);
        EXPECT_EQ(bytes, &marker);
        EXPECT_EQ(count, kUntouched);
        EXPECT_EQ(cur, in.data());
        EXPECT_EQ(rem, in.size());
    }
}

// ---- qbAsnGetNullValue ----

TEST(QbAsnGetNullValue, ChecksAndConsumesNothing_quirk) {
    Input in("05 00");
    unsigned char* cur = in.data();
    unsigned int rem = in.size();
    EXPECT_EQ(qbAsnGetNullValue(&cur, &rem, 0), 0U);
    EXPECT_EQ(qbAsnGetNullValue(&cur, &rem, 7), 0U);           // len beyond the input
    EXPECT_EQ(qbAsnGetNullValue(&cur, &rem, 0xFFFFFFFFU), 0U);
    EXPECT_EQ(cur, in.data());
    EXPECT_EQ(rem, in.size());
    unsigned int zero = 0;
    EXPECT_EQ(qbAsnGetNullValue(&cur, &zero, 3), 0U);  // nothing left at all
    EXPECT_EQ(zero, 0U);
    EXPECT_EQ(qbAsnGetNullValue(nullptr, nullptr, 1), 0U);  // not even the cursor is looked at
}

// ---- qbAsnGetBitstringValue ----

struct BitCase {
    const char* name;
    const char* hex;
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
        Input in(c.hex);
        unsigned char* cur = in.data();
        unsigned int rem = in.size();
        unsigned char* bits = nullptr;
        unsigned int nbits = kUntouched;
        ASSERT_EQ(qbAsnGetBitstringValue(&cur, &rem, c.len, &bits, &nbits), 0U);
        ASSERT_NE(bits, nullptr);
        EXPECT_EQ(nbits, c.nbits);
        // *bits stands just past the copy; the block starts len - 1 octets earlier.
        unsigned char* start = bits - (c.len - 1);
        EXPECT_EQ(block_bytes(start, c.len - 1), hex(c.copy));
        EXPECT_EQ(in.bytes(), hex(c.input));
        EXPECT_EQ(cur, in.data() + c.len);
        EXPECT_EQ(rem, in.size() - c.len);
        std::free(start);
    }
}

struct BitFailCase {
    const char* name;
    const char* hex;
    unsigned int len, status;
};

constexpr BitFailCase kBitFailCases[] = {
    {"len 5 is too long", "00 01 02 03 04", 5, 0x10652199},
    {"too long wins over bad unused bits", "08 01 02 03 04", 5, 0x10652199},
    {"len 0", "00", 0, 0x1065219A},
    {"zero length wins over exhausted", "", 0, 0x1065219A},
    {"len 3 over two octets", "03 FF", 3, 0x10652198},
    {"exhausted wins over bad unused bits", "09", 2, 0x10652198},
    {"8 unused bits", "08 FF", 2, 0x1065219B},
    {"FF unused bits", "FF 00 00", 3, 0x1065219B},
    {"unused bits without octets", "01", 1, 0x1065219B},
    {"7 unused bits without octets", "07 FF", 1, 0x1065219B},
};

TEST(QbAsnGetBitstringValue, Failures) {
    for (const auto& c : kBitFailCases) {
        SCOPED_TRACE(c.name);
        Input in(c.hex);
        unsigned char* cur = in.data();
        unsigned int rem = in.size();
        unsigned char marker = 0;
        unsigned char* bits = &marker;
        unsigned int nbits = kUntouched;
        EXPECT_EQ(qbAsnGetBitstringValue(&cur, &rem, c.len, &bits, &nbits), c.status);
        EXPECT_EQ(bits, &marker);
        EXPECT_EQ(nbits, kUntouched);
        EXPECT_EQ(in.bytes(), hex(c.hex));
        EXPECT_EQ(cur, in.data());
        EXPECT_EQ(rem, in.size());
    }
}

// ---- qbAsnGetOIDValue ----

TEST(QbAsnGetOIDValue, CopiesContentUnchanged) {
    Input in("2A 86 48 86 F7 0D 05 00");
    unsigned char* cur = in.data();
    unsigned int rem = in.size();
    qb_asn_buffer_t out{kUntouched, nullptr};
    ASSERT_EQ(qbAsnGetOIDValue(&cur, &rem, 6, &out), 0U);
    EXPECT_EQ(out.length, 6U);
    ASSERT_NE(out.data, nullptr);
    EXPECT_EQ(block_bytes(out.data, out.length), hex("2A 86 48 86 F7 0D"));
    EXPECT_EQ(cur, in.data() + 6);
    EXPECT_EQ(rem, 2U);
    std::free(out.data);
}

TEST(QbAsnGetOIDValue, NoLengthLimit) {
    bytes_t b(300);
    for (std::size_t i = 0; i < b.size(); ++i) b[i] = static_cast<unsigned char>(i * 7);
    Input in(b);
    unsigned char* cur = in.data();
    unsigned int rem = in.size();
    qb_asn_buffer_t out{0, nullptr};
    ASSERT_EQ(qbAsnGetOIDValue(&cur, &rem, 300, &out), 0U);
    EXPECT_EQ(out.length, 300U);
    EXPECT_EQ(block_bytes(out.data, out.length), b);
    EXPECT_EQ(rem, 0U);
    std::free(out.data);
}

struct OidFailCase {
    const char* name;
    const char* hex;
    unsigned int len, status;
    bool null_out;
};

constexpr OidFailCase kOidFailCases[] = {
    {"null out", "2A 03", 2, 0x1065219C, true},
    {"null out wins over zero length", "2A", 0, 0x1065219C, true},
    {"null out wins over exhausted", "", 5, 0x1065219C, true},
    {"len 0", "2A", 0, 0x1065219A, false},
    {"zero length wins over exhausted", "", 0, 0x1065219A, false},
    {"len 3 over two octets", "2A 03", 3, 0x10652198, false},
};

TEST(QbAsnGetOIDValue, Failures) {
    for (const auto& c : kOidFailCases) {
        SCOPED_TRACE(c.name);
        Input in(c.hex);
        unsigned char* cur = in.data();
        unsigned int rem = in.size();
        unsigned char marker = 0;
        qb_asn_buffer_t out{kUntouched, &marker};
        EXPECT_EQ(qbAsnGetOIDValue(&cur, &rem, c.len, c.null_out ? nullptr : &out), c.status);
        EXPECT_EQ(out.length, kUntouched);
        EXPECT_EQ(out.data, &marker);
        EXPECT_EQ(cur, in.data());
        EXPECT_EQ(rem, in.size());
    }
}

// ---- qbAsnGetOctetstringValue ----

TEST(QbAsnGetOctetstringValue, CopiesContent) {
    Input in("68 69 04 00");
    unsigned char* cur = in.data();
    unsigned int rem = in.size();
    unsigned char* data = nullptr;
    unsigned int count = kUntouched;
    ASSERT_EQ(qbAsnGetOctetstringValue(&cur, &rem, 2, &data, &count), 0U);
    EXPECT_EQ(count, 2U);
    EXPECT_EQ(block_bytes(data, count), hex("68 69"));
    EXPECT_EQ(cur, in.data() + 2);
    EXPECT_EQ(rem, 2U);
    EXPECT_EQ(in.bytes(), hex("68 69 04 00"));
    std::free(data);
}

TEST(QbAsnGetOctetstringValue, LongContent) {
    // 04 82 01 00 and 256 content octets, read through the length scanner.
    bytes_t b = hex("04 82 01 00");
    for (int i = 0; i < 256; ++i) b.push_back(static_cast<unsigned char>(255 - i));
    Input in(b);
    unsigned char* slots[2] = {in.data(), nullptr};
    unsigned int rem = in.size();
    unsigned int tag = 0, constructed = 0, cls = 0, definite = 0, len = 0;
    ASSERT_EQ(qbAsnGetType(slots, &rem, &tag, &constructed, &cls), 0U);
    EXPECT_EQ(tag, 4U);
    ASSERT_EQ(qbAsnGetLength(slots, &rem, &definite, &len), 0U);
    EXPECT_EQ(len, 256U);
    EXPECT_EQ(rem, 256U);
    unsigned char* data = nullptr;
    unsigned int count = 0;
    ASSERT_EQ(qbAsnGetOctetstringValue(slots, &rem, len, &data, &count), 0U);
    EXPECT_EQ(count, 256U);
    EXPECT_EQ(block_bytes(data, count), bytes_t(b.begin() + 4, b.end()));
    EXPECT_EQ(slots[0], in.data() + in.size());
    EXPECT_EQ(rem, 0U);
    std::free(data);
}

struct OctetFailCase {
    const char* name;
    const char* hex;
    unsigned int len, status;
};

constexpr OctetFailCase kOctetFailCases[] = {
    {"len 0", "68", 0, 0x1065219A},
    {"zero length wins over exhausted", "", 0, 0x1065219A},
    {"len 3 over two octets", "68 69", 3, 0x10652198},
    {"len 0xFFFFFFFF", "68 69", 0xFFFFFFFFU, 0x10652198},
};

TEST(QbAsnGetOctetstringValue, Failures) {
    for (const auto& c : kOctetFailCases) {
        SCOPED_TRACE(c.name);
        Input in(c.hex);
        unsigned char* cur = in.data();
        unsigned int rem = in.size();
        unsigned char marker = 0;
        unsigned char* data = &marker;
        unsigned int count = kUntouched;
        EXPECT_EQ(qbAsnGetOctetstringValue(&cur, &rem, c.len, &data, &count), c.status);
        EXPECT_EQ(data, &marker);
        EXPECT_EQ(count, kUntouched);
        EXPECT_EQ(cur, in.data());
        EXPECT_EQ(rem, in.size());
    }
}

// ---- qbAsnGetCharstringValue ----

TEST(QbAsnGetCharstringValue, TerminatesInputAfterContent_quirk) {
    Input in("61 62 63 41 42");
    unsigned char* cur = in.data();
    unsigned int rem = in.size();
    char text[4] = {'x', 'y', 'z', 'w'};
    ASSERT_EQ(qbAsnGetCharstringValue(&cur, &rem, 3, text), 0U);
    EXPECT_EQ(in.bytes(), hex("61 62 63 00 42"));
    EXPECT_STREQ(reinterpret_cast<const char*>(in.data()), "abc");
    EXPECT_EQ(cur, in.data() + 3);  // the cursor stands on the new 00
    EXPECT_EQ(*cur, 0x00);
    EXPECT_EQ(rem, 2U);
    // The fourth argument is not written.
    EXPECT_EQ(std::string(text, 4), "xyzw");
}

TEST(QbAsnGetCharstringValue, ContentToEndOfInputWritesNothing) {
    // No octet follows within *rem: nothing is written (an exact-size block,
    // so a write past it would be reported).
    Input in("61 62 63");
    unsigned char* cur = in.data();
    unsigned int rem = in.size();
    ASSERT_EQ(qbAsnGetCharstringValue(&cur, &rem, 3, nullptr), 0U);
    EXPECT_EQ(in.bytes(), hex("61 62 63"));
    EXPECT_EQ(cur, in.data() + 3);
    EXPECT_EQ(rem, 0U);
}

TEST(QbAsnGetCharstringValue, TerminatorStaysWithinRemaining) {
    // Octets follow in memory, but the caller vouches only for the content.
    Input in("61 62 63 41");
    unsigned char* cur = in.data();
    unsigned int rem = 3;
    ASSERT_EQ(qbAsnGetCharstringValue(&cur, &rem, 3, nullptr), 0U);
    EXPECT_EQ(in.bytes(), hex("61 62 63 41"));
    EXPECT_EQ(cur, in.data() + 3);
    EXPECT_EQ(rem, 0U);
}

TEST(QbAsnGetCharstringValue, ContentWithZeroOctet) {
    // The internal copy stops at the 00; the input and cursor are as usual.
    Input in("61 00 63 41");
    unsigned char* cur = in.data();
    unsigned int rem = in.size();
    ASSERT_EQ(qbAsnGetCharstringValue(&cur, &rem, 3, nullptr), 0U);
    EXPECT_EQ(in.bytes(), hex("61 00 63 00"));
    EXPECT_EQ(cur, in.data() + 3);
    EXPECT_EQ(rem, 1U);
}

struct CharFailCase {
    const char* name;
    const char* hex;
    unsigned int len, status;
};

constexpr CharFailCase kCharFailCases[] = {
    {"len 0", "61 62", 0, 0x1065219A},
    {"zero length wins over exhausted", "", 0, 0x1065219A},
    {"len 3 over two octets", "61 62", 3, 0x10652198},
    {"len 0xFFFFFFFF", "61 62", 0xFFFFFFFFU, 0x10652198},
};

TEST(QbAsnGetCharstringValue, Failures) {
    for (const auto& c : kCharFailCases) {
        SCOPED_TRACE(c.name);
        Input in(c.hex);
        unsigned char* cur = in.data();
        unsigned int rem = in.size();
        EXPECT_EQ(qbAsnGetCharstringValue(&cur, &rem, c.len, nullptr), c.status);
        EXPECT_EQ(in.bytes(), hex(c.hex));
        EXPECT_EQ(cur, in.data());
        EXPECT_EQ(rem, in.size());
    }
}

// ---- a record read item by item ----

TEST(Scanners, ReadSequenceOfIntegerAndString) {
    // SEQUENCE { INTEGER -129, UTF8String "hi", NULL }
    Input in("30 0A 02 02 FF 7F 0C 02 68 69 05 00");
    unsigned char* slots[2] = {in.data(), nullptr};
    unsigned int rem = in.size();
    unsigned int tag = 0, constructed = 0, cls = 0, definite = 0, len = 0;

    ASSERT_EQ(qbAsnGetType(slots, &rem, &tag, &constructed, &cls), 0U);
    EXPECT_EQ(tag, 16U);
    EXPECT_EQ(constructed, 1U);
    ASSERT_EQ(qbAsnGetLength(slots, &rem, &definite, &len), 0U);
    EXPECT_EQ(len, 10U);
    EXPECT_EQ(rem, 10U);

    ASSERT_EQ(qbAsnGetType(slots, &rem, &tag, &constructed, &cls), 0U);
    EXPECT_EQ(tag, 2U);
    ASSERT_EQ(qbAsnGetLength(slots, &rem, &definite, &len), 0U);
    long value = 0;
    ASSERT_EQ(qbAsnGetIntegerValue(slots, &rem, len, &value), 0U);
    EXPECT_EQ(value, -129);

    ASSERT_EQ(qbAsnGetType(slots, &rem, &tag, &constructed, &cls), 0U);
    EXPECT_EQ(tag, 12U);
    ASSERT_EQ(qbAsnGetLength(slots, &rem, &definite, &len), 0U);
    unsigned char* text = slots[0];
    ASSERT_EQ(qbAsnGetCharstringValue(slots, &rem, len, nullptr), 0U);
    EXPECT_STREQ(reinterpret_cast<const char*>(text), "hi");  // 05 became 00

    // The NULL's identifier was overwritten by the terminator.
    ASSERT_EQ(qbAsnGetType(slots, &rem, &tag, &constructed, &cls), 0U);
    EXPECT_EQ(tag, 0U);
    ASSERT_EQ(qbAsnGetLength(slots, &rem, &definite, &len), 0U);
    EXPECT_EQ(len, 0U);
    EXPECT_EQ(qbAsnGetNullValue(slots, &rem, len), 0U);
    EXPECT_EQ(rem, 0U);
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
    Input src_bytes("01 02 03");
    const qb_asn_buffer_t src{3, src_bytes.data()};
    unsigned char marker = 0;
    qb_asn_buffer_t dst{kUntouched, &marker};
    unsigned int status = kUntouched;
    qb_asn_buffer_copy(src, dst, status);
    EXPECT_EQ(status, 0U);
    EXPECT_EQ(dst.length, 3U);
    ASSERT_NE(dst.data, nullptr);
    EXPECT_NE(dst.data, src.data);
    EXPECT_NE(dst.data, &marker);
    EXPECT_EQ(block_bytes(dst.data, dst.length), hex("01 02 03"));
    EXPECT_EQ(src.length, 3U);
    qb_asn_buffer_free(dst);
}

TEST(QbAsnBufferCopy, EmptySourcesGiveEmptyDestination) {
    Input some("AA BB");
    struct Case { const char* name; qb_asn_buffer_t src; };
    const Case cases[] = {
        {"length 0 with data", {0, some.data()}},
        {"length 5 with null data", {5, nullptr}},
        {"length 0 with null data", {0, nullptr}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        unsigned char marker = 0;
        qb_asn_buffer_t dst{kUntouched, &marker};
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
    EXPECT_EQ(block_bytes(b.data, 2), hex("12 34"));
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

// Runs every content reader at `offset` of `image` with count `rem` and content length `len`.
void run_content_readers(Walker& w, const bytes_t& image, unsigned int offset, unsigned int rem,
                         unsigned int len) {
    const std::string at = " at offset " + std::to_string(offset) + " len " + std::to_string(len);
    // A reader that fails must leave the cursor alone; one that succeeds
    // consumes exactly len.
    auto moved_ok = [&](Input& in, unsigned char* cur, unsigned int r, unsigned int status,
                        unsigned int consumed) {
        const unsigned int want = status == 0 ? consumed : 0;
        return cur == in.data() + offset + want && r == rem - want;
    };

    {  // INTEGER as a number
        Input in(image);
        unsigned char* cur = in.data() + offset;
        unsigned int r = rem;
        long value = 0;
        const unsigned int s = qbAsnGetIntegerValue(&cur, &r, len, &value);
        w.expect(s == expected_number_status(len, rem, false), "integer status" + at);
        w.expect(moved_ok(in, cur, r, s, len), "integer cursor" + at);
        w.expect(s != 0 || (value >= -2147483647L - 1 && value <= 2147483647L), "integer range" + at);
    }
    for (const ByteReader reader : kByteReaders) {  // INTEGER as octets
        Input in(image);
        unsigned char* cur = in.data() + offset;
        unsigned int r = rem;
        unsigned char* bytes = nullptr;
        unsigned int count = 0;
        const unsigned int s = read_bytes(reader, &cur, &r, len, &bytes, &count);
        w.expect(s == expected_number_status(len, rem, true), "integer bytes status" + at);
        w.expect(moved_ok(in, cur, r, s, len), "integer bytes cursor" + at);
        if (s == 0) {
            w.expect(count == len, "integer bytes count" + at);
            for (unsigned int i = 0; i < len && i < count; ++i) {
                const unsigned char want = is_little(reader) ? image[offset + len - 1 - i]
                                                             : image[offset + i];
                w.expect(bytes[i] == want, "integer bytes content" + at);
            }
            std::free(bytes);
        }
    }
    {  // NULL
        Input in(image);
        unsigned char* cur = in.data() + offset;
        unsigned int r = rem;
        w.expect(qbAsnGetNullValue(&cur, &r, len) == 0, "null status" + at);
        w.expect(cur == in.data() + offset && r == rem, "null cursor" + at);
    }
    {  // BIT STRING
        Input in(image);
        unsigned char* cur = in.data() + offset;
        unsigned int r = rem;
        unsigned char* bits = nullptr;
        unsigned int nbits = 0;
        const unsigned int want = (len > 0 && len <= rem) ? expected_bit_status(len, rem, cur)
                                                          : expected_number_status(len, rem, true);
        const unsigned int s = qbAsnGetBitstringValue(&cur, &r, len, &bits, &nbits);
        w.expect(s == want, "bit string status" + at);
        w.expect(moved_ok(in, cur, r, s, len), "bit string cursor" + at);
        if (s == 0) {
            w.expect(nbits == (len - 1) * 8 - image[offset], "bit string nbits" + at);
            std::free(bits - (len - 1));
        }
    }
    {  // OBJECT IDENTIFIER
        Input in(image);
        unsigned char* cur = in.data() + offset;
        unsigned int r = rem;
        qb_asn_buffer_t out{0, nullptr};
        const unsigned int s = qbAsnGetOIDValue(&cur, &r, len, &out);
        w.expect(s == expected_copy_status(len, rem), "oid status" + at);
        w.expect(moved_ok(in, cur, r, s, len), "oid cursor" + at);
        if (s == 0) {
            w.expect(out.length == len &&
                         std::memcmp(out.data, image.data() + offset, len) == 0,
                     "oid content" + at);
            std::free(out.data);
        }
    }
    {  // OCTET STRING
        Input in(image);
        unsigned char* cur = in.data() + offset;
        unsigned int r = rem;
        unsigned char* data = nullptr;
        unsigned int count = 0;
        const unsigned int s = qbAsnGetOctetstringValue(&cur, &r, len, &data, &count);
        w.expect(s == expected_copy_status(len, rem), "octet string status" + at);
        w.expect(moved_ok(in, cur, r, s, len), "octet string cursor" + at);
        if (s == 0) {
            w.expect(count == len && std::memcmp(data, image.data() + offset, len) == 0,
                     "octet string content" + at);
            std::free(data);
        }
    }
    {  // character string
        Input in(image);
        unsigned char* cur = in.data() + offset;
        unsigned int r = rem;
        const unsigned int s = qbAsnGetCharstringValue(&cur, &r, len, nullptr);
        w.expect(s == expected_copy_status(len, rem), "char string status" + at);
        w.expect(moved_ok(in, cur, r, s, len), "char string cursor" + at);
        if (s == 0 && len < rem) w.expect(in.data()[offset + len] == 0, "char string terminator" + at);
    }
}

// Walks `image` item by item; returns the first broken expectation or "".
std::string walk(const bytes_t& image) {
    Walker w;
    Input in(image);
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

        unsigned int tag = 0, constructed = 0, cls = 0;
        slots[1] = nullptr;
        unsigned int s = qbAsnGetType(slots, &rem, &tag, &constructed, &cls);
        w.expect(s == 0 || s == 0x10652198, "type status" + at);
        if (s != 0) {
            w.expect(slots[0] == before && rem == rem_before && slots[1] == nullptr,
                     "failed type moved" + at);
            break;
        }
        w.expect(rem < rem_before, "type kept rem" + at);
        w.expect(constructed == ((before[0] >> 5) & 1U) && cls == (before[0] >> 6U),
                 "type bits" + at);
        if (high_tag) {
            // The multi-octet form leaves *p and reports its cursor in the second slot.
            w.expect(slots[0] == before && slots[1] != nullptr, "type second slot" + at);
            if (slots[1] == nullptr) break;
            slots[0] = slots[1];
        } else {
            w.expect(slots[0] == before + 1 && rem == rem_before - 1 && tag == (before[0] & 0x1FU)
                         && slots[1] == nullptr,
                     "low tag" + at);
        }
        w.expect(inside(), "type cursor outside input" + at);
        if (!w.failure.empty()) break;

        unsigned char* const len_at = slots[0];
        const unsigned int rem_len = rem;
        unsigned int definite = 0, len = 0;
        s = qbAsnGetLength(slots, &rem, &definite, &len);
        w.expect(s == 0 || s == 0x10652198, "length status" + at);
        if (s != 0) {
            w.expect(slots[0] == len_at && rem == rem_len, "failed length moved" + at);
            break;
        }
        w.expect(rem < rem_len && static_cast<unsigned int>(slots[0] - len_at) == rem_len - rem,
                 "length consumed" + at);
        w.expect(inside(), "length cursor outside input" + at);
        if (!w.failure.empty()) break;

        if (definite == 0 || constructed == 1) continue;  // read the content as further items

        const unsigned int offset = static_cast<unsigned int>(slots[0] - in.data());
        bytes_t current = in.bytes();
        // The decoded length, and lengths around the limits and the input's end.
        for (unsigned int l : {len, 0U, 1U, 4U, 5U, rem, rem + 1, 0xFFFFFFFFU}) {
            run_content_readers(w, current, offset, rem, l);
        }
        if (len > rem) break;
        slots[0] += len;
        rem -= len;
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
    const unsigned char xors[] = {0x01, 0x80, 0xFF};
    const unsigned char values[] = {0x00, 0x1F, 0x7F, 0x80, 0x81, 0x84, 0xFF};

    std::size_t walks = 0;
    for (const bytes_t& v : valid) {
        SCOPED_TRACE(testing::PrintToString(v));
        ASSERT_EQ(walk(v), "");
        ++walks;
        for (std::size_t k = 0; k < v.size(); ++k) {
            SCOPED_TRACE("truncated to " + std::to_string(k));
            ASSERT_EQ(walk(bytes_t(v.begin(), v.begin() + static_cast<std::ptrdiff_t>(k))), "");
            ++walks;
        }
        for (std::size_t pos = 0; pos < v.size(); ++pos) {
            for (const unsigned char x : xors) {
                bytes_t m = v;
                m[pos] ^= x;
                SCOPED_TRACE("octet " + std::to_string(pos) + " xor " + std::to_string(x));
                ASSERT_EQ(walk(m), "");
                ++walks;
            }
            for (const unsigned char value : values) {
                if (v[pos] == value) continue;
                bytes_t m = v;
                m[pos] = value;
                SCOPED_TRACE("octet " + std::to_string(pos) + " = " + std::to_string(value));
                ASSERT_EQ(walk(m), "");
                ++walks;
            }
        }
    }
    EXPECT_GT(walks, 3000U);
}

}  // namespace
