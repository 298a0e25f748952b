// tests/base_idls/attrlist_asn_test.cpp - UUIDs, values, attributes and
// attribute lists: wire bytes written out, decoding into zeroed records
// compared field by field, the local-code-set forms, null texts, empty lists,
// the envelope version, the 32-bit rules of the UUID words, type names, an
// OPTIONAL nested record (through a record made for this test, since no
// attribute record has one) and the line printed for an exception that
// reaches an entry point.

#include <gtest/gtest.h>
#include <langinfo.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "asn1/asn1.h"
#include "asn1/asnbase.h"
#include "asn1/internal/record.h"
#include "base_idls/attrlist_asn.h"
#include "support/hex.h"

// ---- a record with OPTIONAL nested records, made for this test ----
//
// holder_t: SEQUENCE { INTEGER, value_t OPTIONAL, INTEGER, attrlist_t OPTIONAL }.
// An INTEGER follows the first optional member, so its absence is seen by
// position; the second one is an attribute list, a record that is valid while
// its list is empty.

struct holder_s_t {
    int first;
    value_s_t* value;
    int second;
    attrlist_s_t* attrs;
};

class asn_holder_t : public qb_asnbase {
public:
    qbasn_integer first{security};
    asn_value_t value{security};
    qbasn_integer second{security};
    asn_attrlist_t attrs{security};
    QB_RECORD_CLASS(asn_holder_t, holder_s_t)
};
QB_RECORD_FUNCTIONS(holder_s_t)

QB_RECORD_SOURCE("tests/base_idls/attrlist_asn_test")
QB_RECORD(asn_holder_t, holder_s_t, "holder_t",
          QB_INT(first),
          QB_OPTIONAL_RECORD(value),
          QB_INT(second),
          QB_OPTIONAL_RECORD(attrs))

namespace {

using bytes_t = std::vector<unsigned char>;

static_assert(sizeof(uuid_t) == 16, "uuid_t is the packed 16-byte DCE layout");

char* text(const char* s) { return const_cast<char*>(s); }
unsigned char* octets(const unsigned char* p) { return const_cast<unsigned char*>(p); }

bytes_t bytes_of(const qb_asn_buffer_t& b) {
    return b.data != nullptr ? bytes_t(b.data, b.data + b.length) : bytes_t();
}

// repeat: `n` copies of the hex pair `pair`, as hex text.
std::string repeat(const char* pair, unsigned n) {
    std::string s;
    for (unsigned i = 0; i < n; ++i) {
        s += pair;
        s += ' ';
    }
    return s;
}

// encode: the bytes of qbAsnEncodeObj (or the LCS form); the call must
// succeed and print nothing.
template <class Flat>
bytes_t encode(Flat& r, bool lcs = false) {
    qb_asn_buffer_t out{};
    testing::internal::CaptureStderr();
    const unsigned int rc = lcs ? qbAsnEncodeObjLCS(out, r) : qbAsnEncodeObj(out, r);
    const std::string err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(rc, 0x00000000U);
    EXPECT_EQ(err, "");
    bytes_t b = bytes_of(out);
    qb_asn_buffer_free(out);
    return b;
}

// decode: qbAsnDecodeObj (or the LCS form) of `b` into r, from an exactly
// sized copy; what it printed goes to *err (or must be nothing).
template <class Flat>
unsigned int decode(const bytes_t& b, Flat& r, bool lcs = false, std::string* err = nullptr) {
    unsigned char* copy = static_cast<unsigned char*>(std::malloc(b.empty() ? 1 : b.size()));
    if (!b.empty()) std::memcpy(copy, b.data(), b.size());
    qb_asn_buffer_t in{static_cast<unsigned int>(b.size()), b.empty() ? nullptr : copy};
    testing::internal::CaptureStderr();
    const unsigned int rc = lcs ? qbAsnDecodeObjLCS(in, r) : qbAsnDecodeObj(in, r);
    const std::string printed = testing::internal::GetCapturedStderr();
    std::free(copy);
    if (err != nullptr)
        *err = printed;
    else
        EXPECT_EQ(printed, "");
    return rc;
}

// The repository root, found from this file's path.
std::filesystem::path repo_root() {
    return std::filesystem::path(__FILE__).parent_path().parent_path().parent_path();
}

// lines_with: the numbers of the lines of a repository source that contain `needle`.
std::vector<int> lines_with(const char* source, const char* needle) {
    std::ifstream in(repo_root() / source);
    EXPECT_TRUE(in.good()) << "cannot read " << (repo_root() / source);
    std::vector<int> found;
    std::string line;
    for (int n = 1; std::getline(in, line); ++n)
        if (line.find(needle) != std::string::npos) found.push_back(n);
    return found;
}

// expect_value: a decoded value_s_t holds exactly these fields, in fresh blocks.
void expect_value(const value_s_t& v, int number, const char* txt, const bytes_t& data) {
    EXPECT_EQ(v.number, number);
    ASSERT_NE(v.text, nullptr) << "a decoded text is never null";
    EXPECT_STREQ(v.text, txt);
    EXPECT_EQ(v.length, data.size());
    if (!data.empty()) {
        ASSERT_NE(v.bytes, nullptr);
        EXPECT_EQ(bytes_t(v.bytes, v.bytes + v.length), data);
    }
}

// ---- value_t ----

TEST(ValueRecord, EncodesIntegerTextAndBytes) {
    const unsigned char one[1] = {0x01};
    value_s_t v{5, text("a"), 1, octets(one)};
    EXPECT_EQ(encode(v), hex("04 02 AC DC 30 09 02 01 05 0C 01 61 04 01 01"));
}

TEST(ValueRecord, DecodesIntoNewlyAllocatedTextAndBytes) {
    const bytes_t wire = hex("04 02 AC DC 30 09 02 01 05 0C 01 61 04 01 01");
    value_s_t v{};
    ASSERT_EQ(decode(wire, v), 0x00000000U);
    expect_value(v, 5, "a", hex("01"));
    // Zero-terminated text and a block of exactly one octet, both the caller's.
    EXPECT_EQ(v.text[1], '\0');
    qbAsnFreeObj(v);
}

TEST(ValueRecord, LcsFormGivesTheSameBytesForAsciiText) {
    const unsigned char data[3] = {0x00, 0x7F, 0xFF};
    value_s_t v{-2, text("plain ascii text"), 3, octets(data)};
    const bytes_t expected = hex("04 02 AC DC 30 1A 02 01 FE 0C 10 70 6C 61 69 6E 20 61 73 63 69 69 20 74 65 78 74 "
                                 "04 03 00 7F FF");
    EXPECT_EQ(encode(v), expected);
    EXPECT_EQ(encode(v, true), expected);
    value_s_t back{};
    ASSERT_EQ(decode(expected, back, true), 0x00000000U);
    expect_value(back, -2, "plain ascii text", hex("00 7F FF"));
    qbAsnFreeObj(back);
}

TEST(ValueRecord, NullTextEncodesLikeTheEmptyText) {
    value_s_t with_null{0, nullptr, 0, nullptr};
    value_s_t with_empty{0, text(""), 0, nullptr};
    const bytes_t expected = hex("04 02 AC DC 30 07 02 01 00 0C 00 04 00");
    EXPECT_EQ(encode(with_null), expected);
    EXPECT_EQ(encode(with_empty), expected);
    EXPECT_EQ(encode(with_null, true), expected);
}

TEST(ValueRecord, EmptyTextDecodesAsAnAllocatedEmptyString) {
    for (const bool lcs : {false, true}) {
        SCOPED_TRACE(lcs ? "LCS" : "plain");
        value_s_t v{};
        ASSERT_EQ(decode(hex("04 02 AC DC 30 07 02 01 00 0C 00 04 00"), v, lcs), 0x00000000U);
        ASSERT_NE(v.text, nullptr);
        EXPECT_EQ(v.text[0], '\0');
        EXPECT_EQ(v.number, 0);
        EXPECT_EQ(v.length, 0U);
        qbAsnFreeObj(v);
    }
}

TEST(ValueRecord, IntegerEdgesTravelAsTwosComplement) {
    struct Case {
        const char* name;
        int number;
        const char* hex;
    };
    const Case cases[] = {
        {"0", 0, "04 02 AC DC 30 07 02 01 00 0C 00 04 00"},
        {"127", 127, "04 02 AC DC 30 07 02 01 7F 0C 00 04 00"},
        {"128", 128, "04 02 AC DC 30 08 02 02 00 80 0C 00 04 00"},
        {"255", 255, "04 02 AC DC 30 08 02 02 00 FF 0C 00 04 00"},
        {"256", 256, "04 02 AC DC 30 08 02 02 01 00 0C 00 04 00"},
        {"0x8000", 0x8000, "04 02 AC DC 30 09 02 03 00 80 00 0C 00 04 00"},
        {"-1", -1, "04 02 AC DC 30 07 02 01 FF 0C 00 04 00"},
        {"-128", -128, "04 02 AC DC 30 07 02 01 80 0C 00 04 00"},
        {"-129", -129, "04 02 AC DC 30 08 02 02 FF 7F 0C 00 04 00"},
        {"0x7FFFFFFF", 0x7FFFFFFF, "04 02 AC DC 30 0A 02 04 7F FF FF FF 0C 00 04 00"},
        {"INT_MIN", INT_MIN, "04 02 AC DC 30 0A 02 04 80 00 00 00 0C 00 04 00"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        value_s_t v{c.number, nullptr, 0, nullptr};
        EXPECT_EQ(encode(v), hex(c.hex));
        value_s_t back{};
        ASSERT_EQ(decode(hex(c.hex), back), 0x00000000U);
        EXPECT_EQ(back.number, c.number);
        qbAsnFreeObj(back);
    }
}

TEST(ValueRecord, LongTextAndBytesUseLongFormLengths) {
    std::string long_text(200, 'x');
    unsigned char data[300];
    std::string data_hex;
    for (unsigned i = 0; i < 300; ++i) {
        data[i] = static_cast<unsigned char>(i);
        char pair[4];
        std::snprintf(pair, sizeof pair, "%02X ", i & 0xFF);
        data_hex += pair;
    }
    value_s_t v{0, long_text.data(), 300, data};
    // 3 + (3 + 200) + (4 + 300) = 510 content octets.
    const std::string expected = "04 02 AC DC 30 82 01 FE 02 01 00 0C 81 C8 " + repeat("78", 200) + "04 82 01 2C " + data_hex;
    EXPECT_EQ(encode(v), hex(expected.c_str()));
    value_s_t back{};
    ASSERT_EQ(decode(hex(expected.c_str()), back), 0x00000000U);
    expect_value(back, 0, long_text.c_str(), bytes_t(data, data + 300));
    qbAsnFreeObj(back);
}

// ---- the envelope ----

TEST(ValueRecord, AnotherEnvelopeVersionIsRefusedBeforeTheRecordIsTouched) {
    for (const unsigned char version : {0x00, 0x01, 0x03, 0xFF}) {
        SCOPED_TRACE(static_cast<int>(version));
        bytes_t wire = hex("04 02 AC DC 30 09 02 01 05 0C 01 61 04 01 01");
        wire[1] = version;
        value_s_t zeroed{};
        EXPECT_EQ(decode(wire, zeroed), 0x10652196U);
        EXPECT_EQ(zeroed.number, 0);
        EXPECT_EQ(zeroed.text, nullptr);
        EXPECT_EQ(zeroed.length, 0U);
        EXPECT_EQ(zeroed.bytes, nullptr);
        // get_value, which zeroes the record first, is not reached.
        value_s_t marked;
        std::memset(&marked, 0xA5, sizeof marked);
        EXPECT_EQ(decode(wire, marked, true), 0x10652196U);
        unsigned char pattern[sizeof marked];
        std::memset(pattern, 0xA5, sizeof pattern);
        EXPECT_EQ(std::memcmp(&marked, pattern, sizeof marked), 0);
    }
}

TEST(ValueRecord, BytesWithoutAnEnvelopeAreRefused) {
    value_s_t v{};
    EXPECT_EQ(decode(hex("30 09 02 01 05 0C 01 61 04 01 01"), v), 0x10652196U);
    EXPECT_EQ(decode(bytes_t(), v), 0x10652196U);
    EXPECT_EQ(decode(hex("04 02 AC DC"), v), 0x10652196U);
    EXPECT_EQ(v.text, nullptr);
}

TEST(ValueRecord, RecordMethodsTakeTheEnvelopeVersion) {
    const unsigned char one[1] = {0x01};
    value_s_t v{5, text("a"), 1, octets(one)};
    qb_asn_buffer_t out{};
    {
        asn_value_t rec(security_off);
        ASSERT_EQ(rec.encode_obj(v, out, 7), 0);
    }
    EXPECT_EQ(bytes_of(out), hex("04 07 AC DC 30 09 02 01 05 0C 01 61 04 01 01"));
    {
        // The typed entry points read version 2 only.
        value_s_t back{};
        EXPECT_EQ(qbAsnDecodeObj(out, back), 0x10652196U);
        EXPECT_EQ(back.text, nullptr);
    }
    {
        asn_value_t rec(security_off);
        value_s_t back{};
        ASSERT_EQ(rec.decode_obj(back, out, 7), 0);
        expect_value(back, 5, "a", hex("01"));
        asn_value_t::free_obj(back);
    }
    {
        asn_value_t rec(security_off);
        value_s_t back{};
        EXPECT_EQ(rec.decode_obj(back, out, 2), 0x10652196);
        EXPECT_EQ(back.text, nullptr);
    }
    qb_asn_buffer_free(out);
}

// ---- attr_t ----

// "color" with {1, "red", 01 02} and {-1, NULL, no bytes}.
#define ATTR_COLOR                                                                                   \
    "30 20 0C 05 63 6F 6C 6F 72 30 17 30 0C 02 01 01 0C 03 72 65 64 04 02 01 02 30 07 02 01 FF 0C 00 " \
    "04 00"

value_s_t g_color_values[2] = {
    {1, const_cast<char*>("red"), 2, const_cast<unsigned char*>(reinterpret_cast<const unsigned char*>("\x01\x02"))},
    {-1, nullptr, 0, nullptr},
};

TEST(AttrRecord, EncodesNameAndValueList) {
    attr_s_t a{text("color"), 2, g_color_values};
    EXPECT_EQ(encode(a), hex("04 02 AC DC " ATTR_COLOR));
    EXPECT_EQ(encode(a, true), hex("04 02 AC DC " ATTR_COLOR));
}

TEST(AttrRecord, DecodesEveryValueIntoOneArray) {
    for (const bool lcs : {false, true}) {
        SCOPED_TRACE(lcs ? "LCS" : "plain");
        attr_s_t a{};
        ASSERT_EQ(decode(hex("04 02 AC DC " ATTR_COLOR), a, lcs), 0x00000000U);
        ASSERT_NE(a.name, nullptr);
        EXPECT_STREQ(a.name, "color");
        ASSERT_EQ(a.count, 2U);
        ASSERT_NE(a.values, nullptr);
        expect_value(a.values[0], 1, "red", hex("01 02"));
        expect_value(a.values[1], -1, "", bytes_t());
        qbAsnFreeObj(a);
    }
}

TEST(AttrRecord, CountZeroEncodesAnEmptySequenceOf) {
    attr_s_t a{text("n"), 0, nullptr};
    EXPECT_EQ(encode(a), hex("04 02 AC DC 30 05 0C 01 6E 30 00"));
    attr_s_t back{};
    ASSERT_EQ(decode(hex("04 02 AC DC 30 05 0C 01 6E 30 00"), back), 0x00000000U);
    EXPECT_STREQ(back.name, "n");
    EXPECT_EQ(back.count, 0U);
    EXPECT_EQ(back.values, nullptr);
    qbAsnFreeObj(back);
}

TEST(AttrRecord, NullNameAndNoValues) {
    attr_s_t a{nullptr, 0, nullptr};
    EXPECT_EQ(encode(a), hex("04 02 AC DC 30 04 0C 00 30 00"));
    attr_s_t back{};
    ASSERT_EQ(decode(hex("04 02 AC DC 30 04 0C 00 30 00"), back), 0x00000000U);
    ASSERT_NE(back.name, nullptr);
    EXPECT_STREQ(back.name, "");
    EXPECT_EQ(back.count, 0U);
    EXPECT_EQ(back.values, nullptr);
    qbAsnFreeObj(back);
}

TEST(AttrRecord, DecodeReencodeRepeatsTheBytes) {
    attr_s_t back{};
    ASSERT_EQ(decode(hex("04 02 AC DC " ATTR_COLOR), back), 0x00000000U);
    EXPECT_EQ(encode(back), hex("04 02 AC DC " ATTR_COLOR));
    qbAsnFreeObj(back);
}

// ---- attrlist_t ----

TEST(AttrlistRecord, CountZeroIsASequenceHoldingAnEmptySequenceOf) {
    attrlist_s_t l{0, nullptr};
    EXPECT_EQ(encode(l), hex("04 02 AC DC 30 02 30 00"));
    EXPECT_EQ(encode(l, true), hex("04 02 AC DC 30 02 30 00"));
    attrlist_s_t back{};
    ASSERT_EQ(decode(hex("04 02 AC DC 30 02 30 00"), back), 0x00000000U);
    EXPECT_EQ(back.count, 0U);
    EXPECT_EQ(back.attrs, nullptr);
    qbAsnFreeObj(back);
}

#define ATTRLIST_TWO "30 2B 30 29 30 05 0C 01 61 30 00 " ATTR_COLOR

TEST(AttrlistRecord, TwoAttributesRoundTrip) {
    attr_s_t attrs[2] = {{text("a"), 0, nullptr}, {text("color"), 2, g_color_values}};
    attrlist_s_t l{2, attrs};
    EXPECT_EQ(encode(l), hex("04 02 AC DC " ATTRLIST_TWO));
    EXPECT_EQ(encode(l, true), hex("04 02 AC DC " ATTRLIST_TWO));
    for (const bool lcs : {false, true}) {
        SCOPED_TRACE(lcs ? "LCS" : "plain");
        attrlist_s_t back{};
        ASSERT_EQ(decode(hex("04 02 AC DC " ATTRLIST_TWO), back, lcs), 0x00000000U);
        ASSERT_EQ(back.count, 2U);
        ASSERT_NE(back.attrs, nullptr);
        EXPECT_STREQ(back.attrs[0].name, "a");
        EXPECT_EQ(back.attrs[0].count, 0U);
        EXPECT_EQ(back.attrs[0].values, nullptr);
        EXPECT_STREQ(back.attrs[1].name, "color");
        ASSERT_EQ(back.attrs[1].count, 2U);
        expect_value(back.attrs[1].values[0], 1, "red", hex("01 02"));
        expect_value(back.attrs[1].values[1], -1, "", bytes_t());
        EXPECT_EQ(encode(back), hex("04 02 AC DC " ATTRLIST_TWO));
        // Frees every name, text, byte block, value array and the attribute
        // array (the sanitizer build checks that nothing is left).
        qbAsnFreeObj(back);
    }
}

TEST(AttrlistRecord, IndefiniteLengthsAreReadAndWrittenBackDefinite) {
    // The record, the list and the attribute in indefinite form.
    const bytes_t wire = hex("04 02 AC DC 30 80 30 80 30 80 0C 01 61 30 00 00 00 00 00 00 00");
    attrlist_s_t back{};
    ASSERT_EQ(decode(wire, back), 0x00000000U);
    ASSERT_EQ(back.count, 1U);
    EXPECT_STREQ(back.attrs[0].name, "a");
    EXPECT_EQ(back.attrs[0].count, 0U);
    EXPECT_EQ(encode(back), hex("04 02 AC DC 30 09 30 07 30 05 0C 01 61 30 00"));
    qbAsnFreeObj(back);
}

// ---- uuid_t ----

void expect_uuid(const uuid_t& u, unsigned int low, unsigned short mid, unsigned short hi, unsigned char seq_hi,
                 unsigned char seq_low, const bytes_t& node) {
    EXPECT_EQ(u.time_low, low);
    EXPECT_EQ(u.time_mid, mid);
    EXPECT_EQ(u.time_hi_and_version, hi);
    EXPECT_EQ(u.clock_seq_hi_and_reserved, seq_hi);
    EXPECT_EQ(u.clock_seq_low, seq_low);
    EXPECT_EQ(bytes_t(u.node, u.node + 6), node);
}

uuid_t marked_uuid() {
    uuid_t u;
    std::memset(&u, 0x5A, sizeof u);
    return u;
}

TEST(UuidRecord, AllZerosAreFiveZeroIntegersAndSixZeroOctets) {
    uuid_t u{};
    const char* expected = "04 02 AC DC 30 17 02 01 00 02 01 00 02 01 00 02 01 00 02 01 00 04 06 00 00 00 00 00 00";
    EXPECT_EQ(encode(u), hex(expected));
    EXPECT_EQ(encode(u, true), hex(expected));
    uuid_t back = marked_uuid();
    ASSERT_EQ(decode(hex(expected), back), 0x00000000U);
    const unsigned char zeros[16] = {};
    EXPECT_EQ(std::memcmp(&back, zeros, 16), 0);
}

TEST(UuidRecord, AllOnesTravelAsTheirThirtyTwoBitValues) {
    // The 32-bit word 0xFFFFFFFF is INTEGER -1; the narrow words are positive
    // values (65535, 255) and need a leading 00 octet.
    uuid_t u;
    std::memset(&u, 0xFF, sizeof u);
    const char* expected =
        "04 02 AC DC 30 1D 02 01 FF 02 03 00 FF FF 02 03 00 FF FF 02 02 00 FF 02 02 00 FF 04 06 FF FF FF FF FF FF";
    EXPECT_EQ(encode(u), hex(expected));
    uuid_t back{};
    ASSERT_EQ(decode(hex(expected), back), 0x00000000U);
    expect_uuid(back, 0xFFFFFFFFU, 0xFFFF, 0xFFFF, 0xFF, 0xFF, hex("FF FF FF FF FF FF"));
}

TEST(UuidRecord, TypicalUuidRoundTrips) {
    // 12345678-9abc-def0-8123-456789abcdef
    uuid_t u{0x12345678U, 0x9ABC, 0xDEF0, 0x81, 0x23, {0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF}};
    const char* expected =
        "04 02 AC DC 30 1F 02 04 12 34 56 78 02 03 00 9A BC 02 03 00 DE F0 02 02 00 81 02 01 23 04 06 45 67 89 AB CD EF";
    EXPECT_EQ(encode(u), hex(expected));
    uuid_t back = marked_uuid();
    ASSERT_EQ(decode(hex(expected), back, true), 0x00000000U);
    expect_uuid(back, 0x12345678U, 0x9ABC, 0xDEF0, 0x81, 0x23, hex("45 67 89 AB CD EF"));
}

TEST(UuidRecord, SignBoundariesOfEachWord) {
    uuid_t u{0x80000000U, 0x7FFF, 0x8000, 0x7F, 0x80, {0, 1, 2, 3, 4, 5}};
    const char* expected =
        "04 02 AC DC 30 1E 02 04 80 00 00 00 02 02 7F FF 02 03 00 80 00 02 01 7F 02 02 00 80 04 06 00 01 02 03 04 05";
    EXPECT_EQ(encode(u), hex(expected));
    uuid_t back{};
    ASSERT_EQ(decode(hex(expected), back), 0x00000000U);
    expect_uuid(back, 0x80000000U, 0x7FFF, 0x8000, 0x7F, 0x80, hex("00 01 02 03 04 05"));
}

TEST(UuidRecord, MinusOneReadsBackAsTheUnsignedPatterns) {
    const bytes_t wire =
        hex("04 02 AC DC 30 17 02 01 FF 02 01 FF 02 01 FF 02 01 FF 02 01 FF 04 06 01 02 03 04 05 06");
    uuid_t back{};
    ASSERT_EQ(decode(wire, back), 0x00000000U);
    expect_uuid(back, 0xFFFFFFFFU, 0xFFFF, 0xFFFF, 0xFF, 0xFF, hex("01 02 03 04 05 06"));
}

TEST(UuidRecord, WideValuesAreCutToTheNarrowWords) {
    // 0x012345 into 16 bits, 0x1FF into 8 bits.
    const bytes_t wire =
        hex("04 02 AC DC 30 1D 02 01 01 02 03 01 23 45 02 03 01 23 45 02 02 01 FF 02 02 01 FF 04 06 00 00 00 00 00 00");
    uuid_t back{};
    ASSERT_EQ(decode(wire, back), 0x00000000U);
    expect_uuid(back, 1U, 0x2345, 0x2345, 0xFF, 0xFF, hex("00 00 00 00 00 00"));
}

TEST(UuidRecord, ShortNodeLeavesZerosAfterIt) {
    const bytes_t wire = hex("04 02 AC DC 30 14 02 01 01 02 01 02 02 01 03 02 01 04 02 01 05 04 03 AA BB CC");
    uuid_t back = marked_uuid();
    ASSERT_EQ(decode(wire, back), 0x00000000U);
    expect_uuid(back, 1U, 2, 3, 4, 5, hex("AA BB CC 00 00 00"));
}

TEST(UuidRecord, EmptyNodeLeavesSixZeros) {
    const bytes_t wire = hex("04 02 AC DC 30 11 02 01 01 02 01 02 02 01 03 02 01 04 02 01 05 04 00");
    uuid_t back = marked_uuid();
    ASSERT_EQ(decode(wire, back), 0x00000000U);
    expect_uuid(back, 1U, 2, 3, 4, 5, hex("00 00 00 00 00 00"));
}

TEST(UuidRecord, LongerNodeGivesItsFirstSixOctets) {
    const bytes_t wire =
        hex("04 02 AC DC 30 19 02 01 01 02 01 02 02 01 03 02 01 04 02 01 05 04 08 11 22 33 44 55 66 77 88");
    uuid_t back = marked_uuid();
    ASSERT_EQ(decode(wire, back), 0x00000000U);
    expect_uuid(back, 1U, 2, 3, 4, 5, hex("11 22 33 44 55 66"));
}

TEST(UuidRecord, FreeTouchesNothing) {
    uuid_t u = marked_uuid();
    qbAsnFreeObj(u);
    const uuid_t same = marked_uuid();
    EXPECT_EQ(std::memcmp(&u, &same, sizeof u), 0);
}

// ---- type names ----

// names: (indent, type name) of every line of a display_state_flags dump.
std::vector<std::pair<int, std::string>> names(const qb_asn_object& o, bool* all_present) {
    qb_buffer_t out(security_off);
    o.display_state_flags(out, 0);
    const std::string dump(reinterpret_cast<const char*>(out.data), out.length());
    std::vector<std::pair<int, std::string>> found;
    *all_present = true;
    size_t start = 0;
    while (start < dump.size()) {
        size_t end = dump.find('\n', start);
        if (end == std::string::npos) end = dump.size();
        const std::string line = dump.substr(start, end - start);
        const size_t indent = line.find_first_not_of(' ');
        const size_t paren = line.find('(');
        if (indent != std::string::npos && paren != std::string::npos)
            found.emplace_back(static_cast<int>(indent), line.substr(indent, paren - indent));
        if (line.find("present=Y") == std::string::npos) *all_present = false;
        start = end + 1;
    }
    return found;
}

TEST(RecordTypeNames, EachRecordCarriesItsName) {
    EXPECT_STREQ(asn_uuid_t(security_off).get_type_name(), "uuid_t");
    EXPECT_STREQ(asn_value_t(security_off).get_type_name(), "value_t");
    EXPECT_STREQ(asn_attr_t(security_off).get_type_name(), "attr_t");
    EXPECT_STREQ(asn_attrlist_t(security_off).get_type_name(), "attrlist_t");
    EXPECT_STREQ(asn_value_t(security_lcs).get_type_name(), "value_t");
}

TEST(RecordTypeNames, DumpOfAFilledAttributeList) {
    value_s_t value{7, text("v"), 0, nullptr};
    attr_s_t attr{text("k"), 1, &value};
    attrlist_s_t list{1, &attr};
    asn_attrlist_t rec(security_off);
    ASSERT_EQ(rec.set_value(list), 0);
    bool all_present = false;
    const std::vector<std::pair<int, std::string>> expected = {
        {0, "attrlist_t"}, {2, "SEQUENCEOF"}, {4, "attr_t"},        {6, "qbUTF8string"}, {6, "SEQUENCEOF"},
        {8, "value_t"},    {10, "INTEGER"},   {10, "qbUTF8string"}, {10, "OCTETSTRING"},
    };
    EXPECT_EQ(names(rec, &all_present), expected);
    EXPECT_TRUE(all_present);
}

TEST(RecordTypeNames, DumpOfAUuid) {
    uuid_t u{1, 2, 3, 4, 5, {6, 7, 8, 9, 10, 11}};
    asn_uuid_t rec(security_off);
    ASSERT_EQ(rec.set_value(u), 0);
    bool all_present = false;
    const std::vector<std::pair<int, std::string>> expected = {
        {0, "uuid_t"}, {2, "INTEGER"}, {2, "INTEGER"}, {2, "INTEGER"}, {2, "INTEGER"}, {2, "INTEGER"}, {2, "OCTETSTRING"},
    };
    EXPECT_EQ(names(rec, &all_present), expected);
    EXPECT_TRUE(all_present);
}

// ---- OPTIONAL nested records ----

TEST(OptionalRecordMember, NullPointersAreAbsentOnTheWire) {
    holder_s_t h{5, nullptr, 7, nullptr};
    EXPECT_EQ(encode(h), hex("04 02 AC DC 30 06 02 01 05 02 01 07"));
    EXPECT_EQ(encode(h, true), hex("04 02 AC DC 30 06 02 01 05 02 01 07"));
    holder_s_t back{};
    ASSERT_EQ(decode(hex("04 02 AC DC 30 06 02 01 05 02 01 07"), back), 0x00000000U);
    EXPECT_EQ(back.first, 5);
    EXPECT_EQ(back.value, nullptr);
    EXPECT_EQ(back.second, 7);
    EXPECT_EQ(back.attrs, nullptr);
    qbAsnFreeObj(back);
}

// An attribute list is valid while its list is empty; a null pointer to one
// must still leave it out.
TEST(OptionalRecordMember, null_optional_attrlist_is_absent) {
    holder_s_t h{1, nullptr, 2, nullptr};
    EXPECT_EQ(encode(h), hex("04 02 AC DC 30 06 02 01 01 02 01 02"));
}

TEST(OptionalRecordMember, PresentRecordsAreWrittenAndDecodedIntoNewRecords) {
    value_s_t value{1, text("b"), 0, nullptr};
    attrlist_s_t empty_list{0, nullptr};
    holder_s_t h{5, &value, 7, &empty_list};
    const char* expected = "04 02 AC DC 30 14 02 01 05 30 08 02 01 01 0C 01 62 04 00 02 01 07 30 02 30 00";
    EXPECT_EQ(encode(h), hex(expected));
    holder_s_t back{};
    ASSERT_EQ(decode(hex(expected), back), 0x00000000U);
    EXPECT_EQ(back.first, 5);
    ASSERT_NE(back.value, nullptr);
    EXPECT_NE(back.value, &value);
    expect_value(*back.value, 1, "b", bytes_t());
    EXPECT_EQ(back.second, 7);
    ASSERT_NE(back.attrs, nullptr);
    EXPECT_EQ(back.attrs->count, 0U);
    EXPECT_EQ(back.attrs->attrs, nullptr);
    qbAsnFreeObj(back);
}

TEST(OptionalRecordMember, OnlyTheSecondPresent) {
    attr_s_t attr{text("k"), 0, nullptr};
    attrlist_s_t list{1, &attr};
    holder_s_t h{5, nullptr, 7, &list};
    const char* expected = "04 02 AC DC 30 11 02 01 05 02 01 07 30 09 30 07 30 05 0C 01 6B 30 00";
    EXPECT_EQ(encode(h), hex(expected));
    holder_s_t back{};
    ASSERT_EQ(decode(hex(expected), back), 0x00000000U);
    EXPECT_EQ(back.value, nullptr);
    ASSERT_NE(back.attrs, nullptr);
    ASSERT_EQ(back.attrs->count, 1U);
    EXPECT_STREQ(back.attrs->attrs[0].name, "k");
    qbAsnFreeObj(back);
}

// ---- exceptions at the entry points ----

class RecordBoundary : public ::testing::Test {
protected:
    void SetUp() override {
        // The library never sets the locale: the process runs in the C locale,
        // whose code set is ASCII, so octets above 7F do not convert.
        ASSERT_STREQ(nl_langinfo(CODESET), "ANSI_X3.4-1968");
    }
};

std::string exception_line(const char* message, unsigned int code, const char* file, int line) {
    char buf[512];
    std::snprintf(buf, sizeof buf, "Exception: %s [%8.8x] in %s at line %d\n", message, code, file, line);
    return buf;
}

TEST_F(RecordBoundary, EncodeReportsAConversionFailureOnOneLine) {
    const std::vector<int> at = lines_with("asn1/asnstrng.cpp", "\"Text not convertible from the local code set to UTF-8\"");
    ASSERT_EQ(at.size(), 1U);
    value_s_t v{5, text("caf\xE9"), 0, nullptr};
    qb_asn_buffer_t out{};
    testing::internal::CaptureStderr();
    const unsigned int rc = qbAsnEncodeObjLCS(out, v);
    const std::string err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(rc, 0x106521ABU);
    EXPECT_EQ(err, "Exception: Text not convertible from the local code set to UTF-8 [106521ab] in asn1/asnstrng at line " +
                       std::to_string(at[0]) + "\n");
    EXPECT_EQ(err, exception_line("Text not convertible from the local code set to UTF-8", 0x106521AB, "asn1/asnstrng", at[0]));
    EXPECT_EQ(out.length, 0U);
    EXPECT_EQ(out.data, nullptr);
    // The plain form passes the octets through.
    EXPECT_EQ(encode(v), hex("04 02 AC DC 30 0B 02 01 05 0C 04 63 61 66 E9 04 00"));
}

TEST_F(RecordBoundary, DecodeLeavesAPartlyFilledRecordThatFreesCleanly) {
    const std::vector<int> at = lines_with("asn1/asnstrng.cpp", "\"UTF-8 text not convertible to the local code set\"");
    ASSERT_EQ(at.size(), 1U);
    // "é" in UTF-8 has no place in ASCII.
    const bytes_t wire = hex("04 02 AC DC 30 0A 02 01 05 0C 02 C3 A9 04 01 01");
    value_s_t v{};
    std::string err;
    EXPECT_EQ(decode(wire, v, true, &err), 0x106521ABU);
    EXPECT_EQ(err, "Exception: UTF-8 text not convertible to the local code set [106521ab] in asn1/asnstrng at line " +
                       std::to_string(at[0]) + "\n");
    EXPECT_EQ(v.number, 5);   // filled before the text
    EXPECT_EQ(v.text, nullptr);
    EXPECT_EQ(v.length, 0U);  // not reached
    EXPECT_EQ(v.bytes, nullptr);
    qbAsnFreeObj(v);
    // The plain form hands the octets over as they are.
    value_s_t plain{};
    ASSERT_EQ(decode(wire, plain), 0x00000000U);
    expect_value(plain, 5, "\xC3\xA9", hex("01"));
    qbAsnFreeObj(plain);
}

TEST_F(RecordBoundary, FailingSecondValueLeavesCountOne) {
    // "color" with {1, "red", 01 02} and {2, "é" in UTF-8, no bytes}.
    const bytes_t wire = hex(
        "04 02 AC DC 30 22 0C 05 63 6F 6C 6F 72 30 19 30 0C 02 01 01 0C 03 72 65 64 04 02 01 02 30 09 02 01 02 0C 02 "
        "C3 A9 04 00");
    attr_s_t a{};
    std::string err;
    EXPECT_EQ(decode(wire, a, true, &err), 0x106521ABU);
    EXPECT_NE(err.find("Exception: UTF-8 text not convertible to the local code set [106521ab] in asn1/asnstrng at line "),
              std::string::npos);
    EXPECT_STREQ(a.name, "color");
    ASSERT_EQ(a.count, 1U) << "the count tells how many values were filled";
    ASSERT_NE(a.values, nullptr);
    expect_value(a.values[0], 1, "red", hex("01 02"));
    // The element that failed was released and cleared.
    EXPECT_EQ(a.values[1].text, nullptr);
    EXPECT_EQ(a.values[1].bytes, nullptr);
    qbAsnFreeObj(a);
}

}  // namespace
