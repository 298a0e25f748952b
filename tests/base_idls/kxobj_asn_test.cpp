// tests/base_idls/kxobj_asn_test.cpp - the object-database records: one
// object, object and name lists with attributes, and the database header:
// wire bytes, round trips in the plain and local-code-set forms, null texts,
// empty lists, the 16-character type names, and allocation failures during
// encoding and decoding.
//
// This executable replaces malloc for the whole process (support/
// failing_malloc.h) so that the sweeps at the end can fail a chosen
// allocation; everything else runs with every allocation granted.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "asn1/asn1.h"
#include "asn1/asnbase.h"
#include "base_idls/kxobj_asn.h"
#include "support/failing_malloc.h"
#include "support/hex.h"
#include "support/record_test.h"

namespace {

using qb_test::bytes_t;
using qb_test::decode_zeroed;
using qb_test::dump_names;
using qb_test::encode;
using qb_test::LeakChecked;
using qb_test::sweep_decode;
using qb_test::sweep_encode;

// A buffer that is not an envelope of version 2 never reaches get_value.
constexpr int kSentinel = 0x5A5A5A5A;

// ---- leak check per test ----

// In the sanitizer build every test ends with a leak check, so a leak is
// charged to the test that made it (support/leak_check.h).

class AsnKxobj : public LeakChecked {};
class AsnKxobjList : public LeakChecked {};
class AsnKxobjNameList : public LeakChecked {};
class AsnKxobjDbHeader : public LeakChecked {};
class KxobjOutOfMemory : public LeakChecked {};

// ---- asn_kxobj_t ----

// name "obj", integers 1 and -2, value DE AD:
// SEQUENCE { UTF8String, INTEGER, INTEGER, OCTET STRING }
constexpr const char* kObject =
    "04 02 AC DC"
    " 30 0F"
    "   0C 03 6F 62 6A"
    "   02 01 01 02 01 FE"
    "   04 02 DE AD";

struct object_fixture {
    char name[4] = "obj";
    unsigned char value[2] = {0xDE, 0xAD};
    kxobj_t rec{name, 1, -2, 2, value};
};

void expect_object_fields(const kxobj_t& r) {
    EXPECT_STREQ(r.name, "obj");
    EXPECT_EQ(r.number1, 1);
    EXPECT_EQ(r.number2, -2);
    ASSERT_EQ(r.value_length, 2U);
    ASSERT_NE(r.value, nullptr);
    EXPECT_EQ(r.value[0], 0xDE);
    EXPECT_EQ(r.value[1], 0xAD);
}

TEST_F(AsnKxobj, encodes_name_integers_and_value) {
    object_fixture f;
    EXPECT_EQ(encode(f.rec), hex(kObject));
}

TEST_F(AsnKxobj, decodes_name_integers_and_value) {
    kxobj_t r;
    ASSERT_EQ(decode_zeroed(hex(kObject), r), 0x00000000U);
    expect_object_fields(r);
    qbAsnFreeObj(r);
}

TEST_F(AsnKxobj, lcs_form_gives_the_same_bytes_and_fields) {
    object_fixture f;
    EXPECT_EQ(encode(f.rec, true), hex(kObject));
    kxobj_t r;
    ASSERT_EQ(decode_zeroed(hex(kObject), r, true), 0x00000000U);
    expect_object_fields(r);
    qbAsnFreeObj(r);
}

TEST_F(AsnKxobj, decoded_record_encodes_to_the_same_bytes) {
    kxobj_t r;
    ASSERT_EQ(decode_zeroed(hex(kObject), r), 0x00000000U);
    EXPECT_EQ(encode(r), hex(kObject));
    qbAsnFreeObj(r);
}

TEST_F(AsnKxobj, null_name_and_empty_value) {
    kxobj_t r{nullptr, 0, 0, 0, nullptr};
    const bytes_t expected = hex("04 02 AC DC 30 0A 0C 00 02 01 00 02 01 00 04 00");
    EXPECT_EQ(encode(r), expected);

    kxobj_t d;
    ASSERT_EQ(decode_zeroed(expected, d), 0x00000000U);
    ASSERT_NE(d.name, nullptr);
    EXPECT_STREQ(d.name, "");
    EXPECT_EQ(d.number1, 0);
    EXPECT_EQ(d.number2, 0);
    EXPECT_EQ(d.value_length, 0U);
    qbAsnFreeObj(d);
}

TEST_F(AsnKxobj, other_envelope_version_is_refused_before_get_value) {
    kxobj_t r{nullptr, kSentinel, 0, 0, nullptr};
    bytes_t b = hex(kObject);
    b[1] = 0x00;
    qb_asn_buffer_t in{static_cast<unsigned int>(b.size()), b.data()};
    EXPECT_EQ(qbAsnDecodeObj(in, r), 0x10652196U);
    EXPECT_EQ(r.number1, kSentinel);
    EXPECT_EQ(r.name, nullptr);
}

TEST_F(AsnKxobj, type_names) {
    asn_kxobj_t rec(security_off);
    EXPECT_STREQ(rec.get_type_name(), "kxobj_t");
    const std::vector<std::string> expected = {"kxobj_t", "  qbUTF8string", "  INTEGER", "  INTEGER",
                                               "  OCTETSTRING"};
    EXPECT_EQ(dump_names(rec), expected);
    EXPECT_STREQ(asn_kxobj_t::reflect().name, "kxobj_t");
    EXPECT_STREQ(asn_kxobj_t::reflect().flat_name, "kxobj_t");
}

TEST_F(AsnKxobj, reflection_lists_the_fields_in_wire_order) {
    const qb_record_info& info = asn_kxobj_t::reflect();
    EXPECT_EQ(info.flat_size, sizeof(kxobj_t));
    ASSERT_EQ(info.field_count, 4U);
    EXPECT_EQ(info.fields[0].kind, qb_field_text);
    EXPECT_EQ(info.fields[1].kind, qb_field_int);
    EXPECT_EQ(info.fields[2].kind, qb_field_int);
    EXPECT_EQ(info.fields[3].kind, qb_field_octets);
    EXPECT_STREQ(info.fields[3].name, "value");
    EXPECT_EQ(info.fields[3].offset, offsetof(kxobj_t, value_length));
    EXPECT_EQ(info.fields[3].offset2, offsetof(kxobj_t, value));
}

// ---- asn_kxobj_list_t ----

// Two objects ("a", 0, 256, no bytes) and (null, 0x7FFFFFFF, -1, 01 02 03),
// and an attribute list holding one attribute "k" without values.
constexpr const char* kObjectList =
    "04 02 AC DC"
    " 30 2D"
    "   30 20"
    "     30 0C 0C 01 61 02 01 00 02 02 01 00 04 00"
    "     30 10 0C 00 02 04 7F FF FF FF 02 01 FF 04 03 01 02 03"
    "   30 09 30 07 30 05 0C 01 6B 30 00";

struct object_list_fixture {
    char a[2] = "a", k[2] = "k";
    unsigned char bytes[3] = {0x01, 0x02, 0x03};
    kxobj_t objects[2] = {{a, 0, 256, 0, nullptr}, {nullptr, 0x7FFFFFFF, -1, 3, bytes}};
    attr_s_t attrs[1] = {{k, 0, nullptr}};
    kxobj_list_s_t rec{2, objects, {1, attrs}};
};

void expect_object_list_fields(const kxobj_list_s_t& r) {
    ASSERT_EQ(r.count, 2U);
    ASSERT_NE(r.objects, nullptr);
    EXPECT_STREQ(r.objects[0].name, "a");
    EXPECT_EQ(r.objects[0].number1, 0);
    EXPECT_EQ(r.objects[0].number2, 256);
    EXPECT_EQ(r.objects[0].value_length, 0U);
    EXPECT_STREQ(r.objects[1].name, "");
    EXPECT_EQ(r.objects[1].number1, 0x7FFFFFFF);
    EXPECT_EQ(r.objects[1].number2, -1);
    ASSERT_EQ(r.objects[1].value_length, 3U);
    EXPECT_EQ(bytes_t(r.objects[1].value, r.objects[1].value + 3), hex("01 02 03"));
    ASSERT_EQ(r.attrs.count, 1U);
    EXPECT_STREQ(r.attrs.attrs[0].name, "k");
    EXPECT_EQ(r.attrs.attrs[0].count, 0U);
    EXPECT_EQ(r.attrs.attrs[0].values, nullptr);
}

TEST_F(AsnKxobjList, encodes_objects_then_attributes) {
    object_list_fixture f;
    EXPECT_EQ(encode(f.rec), hex(kObjectList));
}

TEST_F(AsnKxobjList, decodes_objects_then_attributes) {
    kxobj_list_s_t r;
    ASSERT_EQ(decode_zeroed(hex(kObjectList), r), 0x00000000U);
    expect_object_list_fields(r);
    qbAsnFreeObj(r);
}

TEST_F(AsnKxobjList, lcs_form_gives_the_same_bytes_and_fields) {
    object_list_fixture f;
    EXPECT_EQ(encode(f.rec, true), hex(kObjectList));
    kxobj_list_s_t r;
    ASSERT_EQ(decode_zeroed(hex(kObjectList), r, true), 0x00000000U);
    expect_object_list_fields(r);
    qbAsnFreeObj(r);
}

TEST_F(AsnKxobjList, decoded_record_encodes_to_the_same_bytes) {
    kxobj_list_s_t r;
    ASSERT_EQ(decode_zeroed(hex(kObjectList), r), 0x00000000U);
    EXPECT_EQ(encode(r), hex(kObjectList));
    qbAsnFreeObj(r);
}

TEST_F(AsnKxobjList, empty_lists) {
    kxobj_list_s_t r{0, nullptr, {0, nullptr}};
    const bytes_t expected = hex("04 02 AC DC 30 06 30 00 30 02 30 00");
    EXPECT_EQ(encode(r), expected);
    kxobj_list_s_t d;
    ASSERT_EQ(decode_zeroed(expected, d), 0x00000000U);
    EXPECT_EQ(d.count, 0U);
    EXPECT_EQ(d.objects, nullptr);
    EXPECT_EQ(d.attrs.count, 0U);
    EXPECT_EQ(d.attrs.attrs, nullptr);
    qbAsnFreeObj(d);
}

TEST_F(AsnKxobjList, object_element_of_wrong_shape_is_refused_and_record_stays_freeable) {
    // The second object lacks its OCTET STRING: its mandatory last member
    // finds no input left (0x10652198, input exhausted).
    const bytes_t b = hex(
        "04 02 AC DC 30 19"
        " 30 13"
        "   30 0A 0C 00 02 01 00 02 01 00 04 00"
        "   30 05 0C 00 02 01 00"
        " 30 02 30 00");
    kxobj_list_s_t d;
    EXPECT_EQ(decode_zeroed(b, d), 0x10652198U);
    qbAsnFreeObj(d);
}

TEST_F(AsnKxobjList, type_names) {
    asn_kxobj_list_t rec(security_off);
    EXPECT_STREQ(rec.get_type_name(), "kxobj_list_t");
    const std::vector<std::string> expected = {"kxobj_list_t", "  SEQUENCEOF", "  attrlist_t", "    SEQUENCEOF"};
    EXPECT_EQ(dump_names(rec), expected);
    EXPECT_STREQ(asn_kxobj_list_t::reflect().name, "kxobj_list_t");
    EXPECT_STREQ(asn_kxobj_list_t::reflect().flat_name, "kxobj_list_s_t");
}

TEST_F(AsnKxobjList, reflection_lists_the_fields_in_wire_order) {
    const qb_record_info& info = asn_kxobj_list_t::reflect();
    EXPECT_EQ(info.flat_size, sizeof(kxobj_list_s_t));
    ASSERT_EQ(info.field_count, 2U);
    EXPECT_EQ(info.fields[0].kind, qb_field_record_list);
    EXPECT_STREQ(info.fields[0].name, "objects");
    EXPECT_EQ(info.fields[0].offset, offsetof(kxobj_list_s_t, count));
    EXPECT_EQ(info.fields[0].offset2, offsetof(kxobj_list_s_t, objects));
    ASSERT_NE(info.fields[0].element, nullptr);
    EXPECT_EQ(info.fields[0].element(), &asn_kxobj_t::reflect());
    EXPECT_EQ(info.fields[1].kind, qb_field_record);
    EXPECT_EQ(info.fields[1].offset, offsetof(kxobj_list_s_t, attrs));
}

// ---- asn_kxobj_name_list_t ----

// names "x" and "yz", empty attribute list.
constexpr const char* kNameList =
    "04 02 AC DC"
    " 30 0D"
    "   30 07 0C 01 78 0C 02 79 7A"
    "   30 02 30 00";

TEST_F(AsnKxobjNameList, encodes_names_then_attributes) {
    char x[] = "x", yz[] = "yz";
    char* names[] = {x, yz};
    kxobj_name_list_s_t r{2, names, {0, nullptr}};
    EXPECT_EQ(encode(r), hex(kNameList));
    EXPECT_EQ(encode(r, true), hex(kNameList));
}

TEST_F(AsnKxobjNameList, decodes_names_then_attributes) {
    for (bool lcs : {false, true}) {
        SCOPED_TRACE(lcs ? "LCS form" : "plain form");
        kxobj_name_list_s_t r;
        ASSERT_EQ(decode_zeroed(hex(kNameList), r, lcs), 0x00000000U);
        ASSERT_EQ(r.count, 2U);
        ASSERT_NE(r.names, nullptr);
        EXPECT_STREQ(r.names[0], "x");
        EXPECT_STREQ(r.names[1], "yz");
        EXPECT_EQ(r.attrs.count, 0U);
        EXPECT_EQ(r.attrs.attrs, nullptr);
        EXPECT_EQ(encode(r), hex(kNameList));
        qbAsnFreeObj(r);
    }
}

TEST_F(AsnKxobjNameList, count_zero_and_empty_attribute_list) {
    kxobj_name_list_s_t r{0, nullptr, {0, nullptr}};
    // A SEQUENCE holding an empty SEQUENCE OF and an attribute list that
    // itself holds an empty SEQUENCE OF.
    const bytes_t expected = hex("04 02 AC DC 30 06 30 00 30 02 30 00");
    EXPECT_EQ(encode(r), expected);
    kxobj_name_list_s_t d;
    ASSERT_EQ(decode_zeroed(expected, d), 0x00000000U);
    EXPECT_EQ(d.count, 0U);
    EXPECT_EQ(d.names, nullptr);
    EXPECT_EQ(d.attrs.count, 0U);
    EXPECT_EQ(d.attrs.attrs, nullptr);
    qbAsnFreeObj(d);
}

TEST_F(AsnKxobjNameList, null_entry_travels_as_an_empty_text) {
    char x[] = "x";
    char* names[] = {nullptr, x};
    kxobj_name_list_s_t r{2, names, {0, nullptr}};
    const bytes_t expected = hex("04 02 AC DC 30 0B 30 05 0C 00 0C 01 78 30 02 30 00");
    EXPECT_EQ(encode(r), expected);
    kxobj_name_list_s_t d;
    ASSERT_EQ(decode_zeroed(expected, d), 0x00000000U);
    ASSERT_EQ(d.count, 2U);
    ASSERT_NE(d.names[0], nullptr);  // an allocated empty string
    EXPECT_STREQ(d.names[0], "");
    EXPECT_STREQ(d.names[1], "x");
    qbAsnFreeObj(d);
}

TEST_F(AsnKxobjNameList, type_name_is_cut_to_16_characters) {
    asn_kxobj_name_list_t rec(security_off);
    EXPECT_STREQ(rec.get_type_name(), "kxobj_name_list_");
    const std::vector<std::string> expected = {"kxobj_name_list_", "  SEQUENCEOF", "  attrlist_t", "    SEQUENCEOF"};
    EXPECT_EQ(dump_names(rec), expected);
    // The reflection table keeps the full name.
    EXPECT_STREQ(asn_kxobj_name_list_t::reflect().name, "kxobj_name_list_t");
    EXPECT_STREQ(asn_kxobj_name_list_t::reflect().flat_name, "kxobj_name_list_s_t");
}

TEST_F(AsnKxobjNameList, reflection_lists_the_fields_in_wire_order) {
    const qb_record_info& info = asn_kxobj_name_list_t::reflect();
    EXPECT_EQ(info.flat_size, sizeof(kxobj_name_list_s_t));
    ASSERT_EQ(info.field_count, 2U);
    EXPECT_EQ(info.fields[0].kind, qb_field_text_list);
    EXPECT_STREQ(info.fields[0].name, "names");
    EXPECT_EQ(info.fields[0].offset, offsetof(kxobj_name_list_s_t, count));
    EXPECT_EQ(info.fields[0].offset2, offsetof(kxobj_name_list_s_t, names));
    EXPECT_EQ(info.fields[1].kind, qb_field_record);
    EXPECT_EQ(info.fields[1].offset, offsetof(kxobj_name_list_s_t, attrs));
}

// ---- asn_kxobj_db_header_t ----

// integer 3, the text "t1", and an attribute list with one attribute "a"
// holding the value (0, "", no bytes).
constexpr const char* kHeader =
    "04 02 AC DC"
    " 30 1D"
    "   02 01 03"
    "   30 04 0C 02 74 31"
    "   30 12 30 10 30 0E 0C 01 61 30 09 30 07 02 01 00 0C 00 04 00";

struct header_fixture {
    char t1[3] = "t1", a[2] = "a";
    char* texts[1] = {t1};
    value_s_t values[1] = {{0, nullptr, 0, nullptr}};
    attr_s_t attrs[1] = {{a, 1, values}};
    kxobj_db_header_s_t rec{3, 1, texts, {1, attrs}};
};

void expect_header_fields(const kxobj_db_header_s_t& r) {
    EXPECT_EQ(r.number, 3);
    ASSERT_EQ(r.count, 1U);
    ASSERT_NE(r.texts, nullptr);
    EXPECT_STREQ(r.texts[0], "t1");
    ASSERT_EQ(r.attrs.count, 1U);
    EXPECT_STREQ(r.attrs.attrs[0].name, "a");
    ASSERT_EQ(r.attrs.attrs[0].count, 1U);
    const value_s_t& v = r.attrs.attrs[0].values[0];
    EXPECT_EQ(v.number, 0);
    ASSERT_NE(v.text, nullptr);
    EXPECT_STREQ(v.text, "");
    EXPECT_EQ(v.length, 0U);
}

TEST_F(AsnKxobjDbHeader, encodes_integer_texts_and_attributes) {
    header_fixture f;
    EXPECT_EQ(encode(f.rec), hex(kHeader));
}

TEST_F(AsnKxobjDbHeader, decodes_integer_texts_and_attributes) {
    kxobj_db_header_s_t r;
    ASSERT_EQ(decode_zeroed(hex(kHeader), r), 0x00000000U);
    expect_header_fields(r);
    qbAsnFreeObj(r);
}

TEST_F(AsnKxobjDbHeader, lcs_form_gives_the_same_bytes_and_fields) {
    header_fixture f;
    EXPECT_EQ(encode(f.rec, true), hex(kHeader));
    kxobj_db_header_s_t r;
    ASSERT_EQ(decode_zeroed(hex(kHeader), r, true), 0x00000000U);
    expect_header_fields(r);
    qbAsnFreeObj(r);
}

TEST_F(AsnKxobjDbHeader, decoded_record_encodes_to_the_same_bytes) {
    kxobj_db_header_s_t r;
    ASSERT_EQ(decode_zeroed(hex(kHeader), r), 0x00000000U);
    EXPECT_EQ(encode(r), hex(kHeader));
    qbAsnFreeObj(r);
}

TEST_F(AsnKxobjDbHeader, null_texts_and_empty_lists) {
    char* texts[] = {nullptr, nullptr};
    kxobj_db_header_s_t r{-1, 2, texts, {0, nullptr}};
    const bytes_t expected = hex("04 02 AC DC 30 0D 02 01 FF 30 04 0C 00 0C 00 30 02 30 00");
    EXPECT_EQ(encode(r), expected);
    kxobj_db_header_s_t d;
    ASSERT_EQ(decode_zeroed(expected, d), 0x00000000U);
    EXPECT_EQ(d.number, -1);
    ASSERT_EQ(d.count, 2U);
    EXPECT_STREQ(d.texts[0], "");
    EXPECT_STREQ(d.texts[1], "");
    EXPECT_EQ(d.attrs.count, 0U);
    qbAsnFreeObj(d);

    kxobj_db_header_s_t e{0, 0, nullptr, {0, nullptr}};
    const bytes_t empty = hex("04 02 AC DC 30 09 02 01 00 30 00 30 02 30 00");
    EXPECT_EQ(encode(e), empty);
    ASSERT_EQ(decode_zeroed(empty, d), 0x00000000U);
    EXPECT_EQ(d.count, 0U);
    EXPECT_EQ(d.texts, nullptr);
    EXPECT_EQ(d.attrs.attrs, nullptr);
    qbAsnFreeObj(d);
}

TEST_F(AsnKxobjDbHeader, type_name_is_cut_to_16_characters) {
    asn_kxobj_db_header_t rec(security_off);
    EXPECT_STREQ(rec.get_type_name(), "kxobj_db_header_");
    const std::vector<std::string> expected = {"kxobj_db_header_", "  INTEGER", "  SEQUENCEOF", "  attrlist_t",
                                               "    SEQUENCEOF"};
    EXPECT_EQ(dump_names(rec), expected);
    EXPECT_STREQ(asn_kxobj_db_header_t::reflect().name, "kxobj_db_header_t");
    EXPECT_STREQ(asn_kxobj_db_header_t::reflect().flat_name, "kxobj_db_header_s_t");
}

TEST_F(AsnKxobjDbHeader, texts_set_through_the_record_are_elements_of_its_list) {
    header_fixture f;
    asn_kxobj_db_header_t rec(security_lcs);
    ASSERT_EQ(rec.set_value(f.rec), 0);
    ASSERT_EQ(rec.texts.get_child_count(), 1U);
    qbasnUTF8String* t = rec.texts.get_element(0);
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(t->get_parent(), &rec.texts);
    EXPECT_EQ(t->security, security_lcs);  // made with the list's security word
    char* text = nullptr;
    ASSERT_EQ(t->get_value(text), 0U);
    EXPECT_STREQ(text, "t1");
    std::free(text);
}

TEST_F(AsnKxobjDbHeader, reflection_lists_the_fields_in_wire_order) {
    const qb_record_info& info = asn_kxobj_db_header_t::reflect();
    EXPECT_EQ(info.flat_size, sizeof(kxobj_db_header_s_t));
    ASSERT_EQ(info.field_count, 3U);
    EXPECT_EQ(info.fields[0].kind, qb_field_int);
    EXPECT_EQ(info.fields[1].kind, qb_field_text_list);
    EXPECT_EQ(info.fields[1].offset, offsetof(kxobj_db_header_s_t, count));
    EXPECT_EQ(info.fields[1].offset2, offsetof(kxobj_db_header_s_t, texts));
    EXPECT_EQ(info.fields[2].kind, qb_field_record);
    EXPECT_EQ(info.fields[2].offset, offsetof(kxobj_db_header_s_t, attrs));
}

// ---- allocation failures ----

// A sweep that has not completed after this many failing runs is broken.
constexpr long kSweepLimit = 2000;

// The sweeps: support/record_test.h.

// Element creation in set_value (new + register_child for the objects,
// the list's add_child for the header's texts) names this group.
TEST_F(KxobjOutOfMemory, encode_object_list_reports_memory_status) {
    object_list_fixture f;
    EXPECT_TRUE(sweep_encode(f.rec, hex(kObjectList), kSweepLimit).names("base_idls/kxobj_asn"));
}

TEST_F(KxobjOutOfMemory, encode_name_list_reports_memory_status) {
    char x[] = "x", yz[] = "yz";
    char* names[] = {x, yz};
    kxobj_name_list_s_t r{2, names, {0, nullptr}};
    EXPECT_TRUE(sweep_encode(r, hex(kNameList), kSweepLimit).names("base_idls/kxobj_asn"));
}

TEST_F(KxobjOutOfMemory, encode_header_reports_memory_status) {
    header_fixture f;
    EXPECT_TRUE(sweep_encode(f.rec, hex(kHeader), kSweepLimit).names("base_idls/kxobj_asn"));
}

TEST_F(KxobjOutOfMemory, encode_object_reports_memory_status) {
    object_fixture f;
    sweep_encode(f.rec, hex(kObject), kSweepLimit);  // no list: the runtime's own failures only
}

// The flat arrays of get_value name this group; a partly filled record is freeable.
TEST_F(KxobjOutOfMemory, decode_object_list_reports_memory_status_and_stays_freeable) {
    EXPECT_TRUE(sweep_decode<kxobj_list_s_t>(hex(kObjectList), kSweepLimit, [](const kxobj_list_s_t& r) {
                    expect_object_list_fields(r);
                }).names("base_idls/kxobj_asn"));
}

TEST_F(KxobjOutOfMemory, decode_name_list_reports_memory_status_and_stays_freeable) {
    EXPECT_TRUE(sweep_decode<kxobj_name_list_s_t>(hex(kNameList), kSweepLimit, [](const kxobj_name_list_s_t& r) {
                    ASSERT_EQ(r.count, 2U);
                    EXPECT_STREQ(r.names[1], "yz");
                }).names("base_idls/kxobj_asn"));
}

TEST_F(KxobjOutOfMemory, decode_header_reports_memory_status_and_stays_freeable) {
    EXPECT_TRUE(sweep_decode<kxobj_db_header_s_t>(hex(kHeader), kSweepLimit, [](const kxobj_db_header_s_t& r) {
                    expect_header_fields(r);
                }).names("base_idls/kxobj_asn"));
}

TEST_F(KxobjOutOfMemory, decode_object_reports_memory_status_and_stays_freeable) {
    sweep_decode<kxobj_t>(hex(kObject), kSweepLimit, [](const kxobj_t& r) { expect_object_fields(r); });
}

}  // namespace
