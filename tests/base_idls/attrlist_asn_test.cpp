// tests/base_idls/attrlist_asn_test.cpp - UUIDs, values, attributes and
// attribute lists. What is particular to them: their octets written out (each
// row goes both ways in both forms, support/record_cases.h), the integer and
// length edges, the envelope version of the record methods, the 32-bit rules
// of the UUID words, type names and dumps, an OPTIONAL nested record (through
// a record made for this test, since no attribute record has one) and the
// line printed for an exception that reaches an entry point. The round trips
// every record shares run from the reflection table in
// records_generic_test.cpp and records_direct_test.cpp.

#include <gtest/gtest.h>
#include <langinfo.h>

#include <climits>
#include <cstring>
#include <string>
#include <vector>

#include "asn1/asn1.h"
#include "asn1/asnbase.h"
#include "asn1/internal/record.h"
#include "base_idls/attrlist_asn.h"
#include "support/record_test.h"
#include "support/stderr_tap.h"

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

using bytes_t = qb_test::bytes_t;
using qb_test::bytes_of, qb_test::decode_zeroed, qb_test::expect_known_answer, qb_test::expect_read,
    qb_test::expect_refused, qb_test::text;

static_assert(sizeof(uuid_t) == 16, "uuid_t is the packed 16-byte DCE layout");

class AttrlistRecords : public qb_test::LeakChecked {};

unsigned char* octets(const char* s) { return reinterpret_cast<unsigned char*>(const_cast<char*>(s)); }

// "color" with {1, "red", 01 02} and {-1, NULL, no bytes}.
#define ATTR_COLOR                                                                                   \
    "30 20 0C 05 63 6F 6C 6F 72 30 17 30 0C 02 01 01 0C 03 72 65 64 04 02 01 02 30 07 02 01 FF 0C 00 " \
    "04 00"
#define ATTRLIST_TWO "30 2B 30 29 30 05 0C 01 61 30 00 " ATTR_COLOR

value_s_t g_color_values[2] = {{1, text("red"), 2, octets("\x01\x02")}, {-1, nullptr, 0, nullptr}};

// ---- value_t, attr_t, attrlist_t ----

TEST_F(AttrlistRecords, known_answers) {
    expect_known_answer<asn_value_t>("integer, text and octets", {5, text("a"), 1, octets("\x01")},
                                     ENVELOPE "30 09 02 01 05 0C 01 61 04 01 01");
    expect_known_answer<asn_value_t>(
        "ASCII text", {-2, text("plain ascii text"), 3, octets("\x00\x7F\xFF")},
        ENVELOPE "30 1A 02 01 FE 0C 10 70 6C 61 69 6E 20 61 73 63 69 69 20 74 65 78 74 04 03 00 7F FF");
    // A null text encodes like the empty text, and comes back allocated.
    expect_known_answer<asn_value_t>("a null text", {0, nullptr, 0, nullptr}, ENVELOPE "30 07 02 01 00 0C 00 04 00");
    expect_known_answer<asn_value_t>("the empty text", {0, text(""), 0, nullptr},
                                     ENVELOPE "30 07 02 01 00 0C 00 04 00");
    expect_known_answer<asn_attr_t>("name and value list", {text("color"), 2, g_color_values}, ENVELOPE ATTR_COLOR);
    expect_known_answer<asn_attr_t>("count zero is an empty SEQUENCE OF", {text("n"), 0, nullptr},
                                    ENVELOPE "30 05 0C 01 6E 30 00");
    expect_known_answer<asn_attr_t>("null name and no values", {nullptr, 0, nullptr}, ENVELOPE "30 04 0C 00 30 00");
    expect_known_answer<asn_attrlist_t>("count zero", {0, nullptr}, ENVELOPE "30 02 30 00");
    attr_s_t two[2] = {{text("a"), 0, nullptr}, {text("color"), 2, g_color_values}};
    expect_known_answer<asn_attrlist_t>("two attributes", {2, two}, ENVELOPE ATTRLIST_TWO);
}

TEST_F(AttrlistRecords, integer_edges_travel_as_twos_complement) {
    struct Case {
        const char* name;
        int number;
        const char* hex;
    };
    const Case cases[] = {
        {"0", 0, ENVELOPE "30 07 02 01 00 0C 00 04 00"},
        {"127", 127, ENVELOPE "30 07 02 01 7F 0C 00 04 00"},
        {"128", 128, ENVELOPE "30 08 02 02 00 80 0C 00 04 00"},
        {"255", 255, ENVELOPE "30 08 02 02 00 FF 0C 00 04 00"},
        {"256", 256, ENVELOPE "30 08 02 02 01 00 0C 00 04 00"},
        {"0x8000", 0x8000, ENVELOPE "30 09 02 03 00 80 00 0C 00 04 00"},
        {"-1", -1, ENVELOPE "30 07 02 01 FF 0C 00 04 00"},
        {"-128", -128, ENVELOPE "30 07 02 01 80 0C 00 04 00"},
        {"-129", -129, ENVELOPE "30 08 02 02 FF 7F 0C 00 04 00"},
        {"0x7FFFFFFF", 0x7FFFFFFF, ENVELOPE "30 0A 02 04 7F FF FF FF 0C 00 04 00"},
        {"INT_MIN", INT_MIN, ENVELOPE "30 0A 02 04 80 00 00 00 0C 00 04 00"},
    };
    for (const Case& c : cases) expect_known_answer<asn_value_t>(c.name, {c.number, nullptr, 0, nullptr}, c.hex);
}

TEST_F(AttrlistRecords, long_text_and_octets_use_long_form_lengths) {
    std::string long_text(200, 'x');
    unsigned char data[300];
    for (unsigned i = 0; i < 300; ++i) data[i] = static_cast<unsigned char>(i);
    // 3 + (3 + 200) + (4 + 300) = 510 content octets.
    const std::string expected = qb_test::to_hex(qb_test::concat({hex("04 02 AC DC 30 82 01 FE 02 01 00 0C 81 C8"),
                                                                  bytes_t(200, 0x78), hex("04 82 01 2C"),
                                                                  bytes_t(data, data + 300)}));
    expect_known_answer<asn_value_t>("200 text octets, 300 data octets", {0, long_text.data(), 300, data},
                                     expected.c_str());
}

// Other forms read, and messages refused before the record is touched
// (get_value, which zeroes the record first, is not reached: a record filled
// with A5 octets keeps them).
TEST_F(AttrlistRecords, other_forms_and_refused_messages) {
    // The record, the list and the attribute in indefinite form; written back definite.
    attr_s_t a[1] = {{text("a"), 0, nullptr}};
    expect_read<asn_attrlist_t>("indefinite lengths", ENVELOPE "30 80 30 80 30 80 0C 01 61 30 00 00 00 00 00 00 00",
                                {1, a}, ENVELOPE "30 09 30 07 30 05 0C 01 61 30 00");
    for (const char* version : {"00", "01", "03", "FF"}) {
        const std::string other = std::string("04 ") + version + " AC DC 30 09 02 01 05 0C 01 61 04 01 01";
        expect_refused<asn_value_t>("another envelope version", other.c_str(), 0x10652196U, true, 0xA5);
    }
    expect_refused<asn_value_t>("no envelope", "30 09 02 01 05 0C 01 61 04 01 01", 0x10652196U, true);
    expect_refused<asn_value_t>("no octets", "", 0x10652196U, true);
    expect_refused<asn_value_t>("the envelope alone", "04 02 AC DC", 0x10652196U, true);
}

TEST_F(AttrlistRecords, record_methods_take_the_envelope_version) {
    value_s_t v{5, text("a"), 1, octets("\x01")};
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
        std::string where;
        EXPECT_TRUE(qb_test::records_equal(asn_value_t::reflect(), &v, &back, &where)) << where;
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

// ---- uuid_t ----

// The 32-bit word 0xFFFFFFFF is INTEGER -1; the narrow words hold positive
// values (65535, 255) that need a leading 00 octet. Decoding overwrites every
// member (the target is filled with 5A octets first).
TEST_F(AttrlistRecords, uuid_words_follow_their_32_bit_rules) {
    expect_known_answer<asn_uuid_t>(
        "all zeros: five zero integers and six zero octets", uuid_t{},
        ENVELOPE "30 17 02 01 00 02 01 00 02 01 00 02 01 00 02 01 00 04 06 00 00 00 00 00 00", 0x5A);
    uuid_t ones;
    std::memset(&ones, 0xFF, sizeof ones);
    expect_known_answer<asn_uuid_t>(
        "all ones", ones,
        ENVELOPE "30 1D 02 01 FF 02 03 00 FF FF 02 03 00 FF FF 02 02 00 FF 02 02 00 FF 04 06 FF FF FF FF FF FF");
    // 12345678-9abc-def0-8123-456789abcdef
    expect_known_answer<asn_uuid_t>(
        "a typical UUID", {0x12345678U, 0x9ABC, 0xDEF0, 0x81, 0x23, {0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF}},
        ENVELOPE "30 1F 02 04 12 34 56 78 02 03 00 9A BC 02 03 00 DE F0 02 02 00 81 02 01 23 04 06 45 67 89 AB CD EF",
        0x5A);
    expect_known_answer<asn_uuid_t>(
        "the sign boundaries of each word", {0x80000000U, 0x7FFF, 0x8000, 0x7F, 0x80, {0, 1, 2, 3, 4, 5}},
        ENVELOPE "30 1E 02 04 80 00 00 00 02 02 7F FF 02 03 00 80 00 02 01 7F 02 02 00 80 04 06 00 01 02 03 04 05");
    expect_read<asn_uuid_t>("-1 reads back as the unsigned patterns",
                            ENVELOPE "30 17 02 01 FF 02 01 FF 02 01 FF 02 01 FF 02 01 FF 04 06 01 02 03 04 05 06",
                            {0xFFFFFFFFU, 0xFFFF, 0xFFFF, 0xFF, 0xFF, {1, 2, 3, 4, 5, 6}});
    // 0x012345 into 16 bits, 0x1FF into 8 bits.
    expect_read<asn_uuid_t>(
        "wide values are cut to the narrow words",
        ENVELOPE "30 1D 02 01 01 02 03 01 23 45 02 03 01 23 45 02 02 01 FF 02 02 01 FF 04 06 00 00 00 00 00 00",
        {1U, 0x2345, 0x2345, 0xFF, 0xFF, {0, 0, 0, 0, 0, 0}});
    // The node: a short one leaves zeros after it, a longer one gives its first six octets.
    expect_read<asn_uuid_t>("a short node",
                            ENVELOPE "30 14 02 01 01 02 01 02 02 01 03 02 01 04 02 01 05 04 03 AA BB CC",
                            {1U, 2, 3, 4, 5, {0xAA, 0xBB, 0xCC, 0, 0, 0}}, nullptr, 0x5A);
    expect_read<asn_uuid_t>("an empty node", ENVELOPE "30 11 02 01 01 02 01 02 02 01 03 02 01 04 02 01 05 04 00",
                            {1U, 2, 3, 4, 5, {0, 0, 0, 0, 0, 0}}, nullptr, 0x5A);
    expect_read<asn_uuid_t>("a longer node",
                            ENVELOPE "30 19 02 01 01 02 01 02 02 01 03 02 01 04 02 01 05 04 08 11 22 33 44 55 66 77 88",
                            {1U, 2, 3, 4, 5, {0x11, 0x22, 0x33, 0x44, 0x55, 0x66}}, nullptr, 0x5A);
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

TEST_F(AttrlistRecords, each_record_carries_its_name) {
    qb_test::expect_names<asn_uuid_t>("uuid_t", "uuid_t", "uuid_t");
    qb_test::expect_names<asn_value_t>("value_t", "value_t", "value_s_t");
    qb_test::expect_names<asn_attr_t>("attr_t", "attr_t", "attr_s_t");
    qb_test::expect_names<asn_attrlist_t>("attrlist_t", "attrlist_t", "attrlist_s_t");
    EXPECT_STREQ(asn_value_t(security_lcs).get_type_name(), "value_t");
}

TEST_F(AttrlistRecords, dump_of_a_filled_attribute_list) {
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

TEST_F(AttrlistRecords, dump_of_a_uuid) {
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

// A null pointer is an absent member (an attribute list is valid while its
// list is empty: a null pointer to one must still leave it out); a present
// one is written, and decoded into a new record.
TEST_F(AttrlistRecords, optional_record_members) {
    expect_known_answer<asn_holder_t>("null pointers are absent on the wire", {5, nullptr, 7, nullptr},
                                      ENVELOPE "30 06 02 01 05 02 01 07");
    expect_known_answer<asn_holder_t>("a null optional attribute list is absent", {1, nullptr, 2, nullptr},
                                      ENVELOPE "30 06 02 01 01 02 01 02");
    value_s_t value{1, text("b"), 0, nullptr};
    attrlist_s_t empty_list{0, nullptr};
    expect_known_answer<asn_holder_t>("both present", {5, &value, 7, &empty_list},
                                      ENVELOPE "30 14 02 01 05 30 08 02 01 01 0C 01 62 04 00 02 01 07 30 02 30 00");
    attr_s_t k{text("k"), 0, nullptr};
    attrlist_s_t list{1, &k};
    expect_known_answer<asn_holder_t>("only the second present", {5, nullptr, 7, &list},
                                      ENVELOPE "30 11 02 01 05 02 01 07 30 09 30 07 30 05 0C 01 6B 30 00");
}

// ---- exceptions at the entry points ----

class RecordBoundary : public qb_test::LeakChecked {
protected:
    void SetUp() override {
        // The library never sets the locale: the process runs in the C locale,
        // whose code set is ASCII, so octets above 7F do not convert.
        ASSERT_STREQ(nl_langinfo(CODESET), "ANSI_X3.4-1968");
    }
};

// decode_printing: qbAsnDecodeObjLCS of `wire` into `r`; what it printed goes to *printed.
template <class Flat>
unsigned int decode_printing(const bytes_t& wire, Flat& r, std::string* printed) {
    testing::internal::CaptureStderr();
    const unsigned int rc = decode_zeroed(wire, r, true);
    *printed = testing::internal::GetCapturedStderr();
    return rc;
}

TEST_F(RecordBoundary, EncodeReportsAConversionFailureOnOneLine) {
    const std::vector<int> at =
        qb_test::source_lines("asn1/asnstrng.cpp", "\"Text not convertible from the local code set to UTF-8\"");
    ASSERT_EQ(at.size(), 1U);
    value_s_t v{5, text("caf\xE9"), 0, nullptr};
    qb_asn_buffer_t out{};
    testing::internal::CaptureStderr();
    const unsigned int rc = qbAsnEncodeObjLCS(out, v);
    const std::string err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(rc, 0x106521ABU);
    EXPECT_EQ(err, "Exception: Text not convertible from the local code set to UTF-8 [106521ab] in asn1/asnstrng at line " +
                       std::to_string(at[0]) + "\n");
    EXPECT_EQ(err, qb_test::exception_line("Text not convertible from the local code set to UTF-8", 0x106521AB, "asn1/asnstrng", at[0]));
    EXPECT_EQ(out.length, 0U);
    EXPECT_EQ(out.data, nullptr);
    // The plain form passes the octets through.
    EXPECT_EQ(qb_test::encode(v), hex("04 02 AC DC 30 0B 02 01 05 0C 04 63 61 66 E9 04 00"));
}

TEST_F(RecordBoundary, DecodeLeavesAPartlyFilledRecordThatFreesCleanly) {
    const std::vector<int> at =
        qb_test::source_lines("asn1/asnstrng.cpp", "\"UTF-8 text not convertible to the local code set\"");
    ASSERT_EQ(at.size(), 1U);
    // "é" in UTF-8 has no place in ASCII.
    const char* const wire = ENVELOPE "30 0A 02 01 05 0C 02 C3 A9 04 01 01";
    value_s_t v;
    std::string err;
    EXPECT_EQ(decode_printing(hex(wire), v, &err), 0x106521ABU);
    EXPECT_EQ(err, "Exception: UTF-8 text not convertible to the local code set [106521ab] in asn1/asnstrng at line " +
                       std::to_string(at[0]) + "\n");
    EXPECT_EQ(v.number, 5);   // filled before the text
    EXPECT_EQ(v.text, nullptr);
    EXPECT_EQ(v.length, 0U);  // not reached
    EXPECT_EQ(v.bytes, nullptr);
    qbAsnFreeObj(v);
    // The plain form hands the octets over as they are.
    value_s_t plain{5, text("\xC3\xA9"), 1, octets("\x01")};
    value_s_t got;
    ASSERT_EQ(decode_zeroed(hex(wire), got), 0x00000000U);
    std::string where;
    EXPECT_TRUE(qb_test::records_equal(asn_value_t::reflect(), &plain, &got, &where)) << where;
    qbAsnFreeObj(got);
}

TEST_F(RecordBoundary, FailingSecondValueLeavesCountOne) {
    // "color" with {1, "red", 01 02} and {2, "é" in UTF-8, no bytes}.
    const bytes_t wire = hex(ENVELOPE
        "30 22 0C 05 63 6F 6C 6F 72 30 19 30 0C 02 01 01 0C 03 72 65 64 04 02 01 02 30 09 02 01 02 0C 02 "
        "C3 A9 04 00");
    attr_s_t a;
    std::string err;
    EXPECT_EQ(decode_printing(wire, a, &err), 0x106521ABU);
    EXPECT_NE(err.find("Exception: UTF-8 text not convertible to the local code set [106521ab] in asn1/asnstrng at line "),
              std::string::npos);
    EXPECT_STREQ(a.name, "color");
    ASSERT_EQ(a.count, 1U) << "the count tells how many values were filled";
    ASSERT_NE(a.values, nullptr);
    std::string where;
    EXPECT_TRUE(qb_test::records_equal(asn_value_t::reflect(), &g_color_values[0], &a.values[0], &where)) << where;
    // The element that failed was released and cleared.
    EXPECT_EQ(a.values[1].text, nullptr);
    EXPECT_EQ(a.values[1].bytes, nullptr);
    qbAsnFreeObj(a);
}

}  // namespace
