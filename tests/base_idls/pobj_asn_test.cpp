// tests/base_idls/pobj_asn_test.cpp - protected objects, protected-object
// spaces and the internal form of a protected object: wire bytes, round trips
// in the plain and local-code-set forms, null texts, empty lists, the nested
// record, the 16-character type name, and allocation failures during encoding
// and decoding.
//
// This executable replaces malloc for the whole process (support/
// failing_malloc.h) so that the sweeps at the end can fail a chosen
// allocation; everything else runs with every allocation granted.

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "asn1/asn1.h"
#include "asn1/asnbase.h"
#include "base_idls/pobj_asn.h"
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

class AsnPobj : public LeakChecked {};
class AsnPobjspace : public LeakChecked {};
class AsnAznInternalPobj : public LeakChecked {};
class PobjOutOfMemory : public LeakChecked {};

// ---- asn_pobj_t ----

// integers 7 and -7, name "po", an attribute list with one attribute "z"
// holding the value (1, "w", FF).
constexpr const char* kPobj =
    "04 02 AC DC"
    " 30 20"
    "   02 01 07 02 01 F9"
    "   0C 02 70 6F"
    "   30 14 30 12 30 10 0C 01 7A 30 0B 30 09 02 01 01 0C 01 77 04 01 FF";

struct pobj_fixture {
    char name[3] = "po", z[2] = "z", w[2] = "w";
    unsigned char ff[1] = {0xFF};
    value_s_t values[1] = {{1, w, 1, ff}};
    attr_s_t attrs[1] = {{z, 1, values}};
    pobj_s_t rec{7, -7, name, {1, attrs}};
};

void expect_pobj_fields(const pobj_s_t& r) {
    EXPECT_EQ(r.number1, 7);
    EXPECT_EQ(r.number2, -7);
    EXPECT_STREQ(r.name, "po");
    ASSERT_EQ(r.attrs.count, 1U);
    ASSERT_NE(r.attrs.attrs, nullptr);
    EXPECT_STREQ(r.attrs.attrs[0].name, "z");
    ASSERT_EQ(r.attrs.attrs[0].count, 1U);
    const value_s_t& v = r.attrs.attrs[0].values[0];
    EXPECT_EQ(v.number, 1);
    EXPECT_STREQ(v.text, "w");
    ASSERT_EQ(v.length, 1U);
    EXPECT_EQ(v.bytes[0], 0xFF);
}

TEST_F(AsnPobj, encodes_integers_name_and_attributes) {
    pobj_fixture f;
    EXPECT_EQ(encode(f.rec), hex(kPobj));
}

TEST_F(AsnPobj, decodes_integers_name_and_attributes) {
    pobj_s_t r;
    ASSERT_EQ(decode_zeroed(hex(kPobj), r), 0x00000000U);
    expect_pobj_fields(r);
    qbAsnFreeObj(r);
}

TEST_F(AsnPobj, lcs_form_gives_the_same_bytes_and_fields) {
    pobj_fixture f;
    EXPECT_EQ(encode(f.rec, true), hex(kPobj));
    pobj_s_t r;
    ASSERT_EQ(decode_zeroed(hex(kPobj), r, true), 0x00000000U);
    expect_pobj_fields(r);
    qbAsnFreeObj(r);
}

TEST_F(AsnPobj, decoded_record_encodes_to_the_same_bytes) {
    pobj_s_t r;
    ASSERT_EQ(decode_zeroed(hex(kPobj), r), 0x00000000U);
    EXPECT_EQ(encode(r), hex(kPobj));
    qbAsnFreeObj(r);
}

TEST_F(AsnPobj, null_name_and_empty_attribute_list) {
    pobj_s_t r{0, 0, nullptr, {0, nullptr}};
    const bytes_t expected = hex("04 02 AC DC 30 0C 02 01 00 02 01 00 0C 00 30 02 30 00");
    EXPECT_EQ(encode(r), expected);
    pobj_s_t d;
    ASSERT_EQ(decode_zeroed(expected, d), 0x00000000U);
    EXPECT_EQ(d.number1, 0);
    EXPECT_EQ(d.number2, 0);
    ASSERT_NE(d.name, nullptr);  // an allocated empty name
    EXPECT_STREQ(d.name, "");
    EXPECT_EQ(d.attrs.count, 0U);
    EXPECT_EQ(d.attrs.attrs, nullptr);
    qbAsnFreeObj(d);
}

TEST_F(AsnPobj, no_envelope_or_other_version_is_refused_before_get_value) {
    pobj_s_t r{kSentinel, 0, nullptr, {0, nullptr}};
    bytes_t b = hex(kPobj);
    b[2] = 0xAD;  // not the envelope's AC DC signature
    qb_asn_buffer_t in{static_cast<unsigned int>(b.size()), b.data()};
    EXPECT_EQ(qbAsnDecodeObj(in, r), 0x10652196U);
    b = hex(kPobj);
    b[1] = 0x03;
    in = {static_cast<unsigned int>(b.size()), b.data()};
    EXPECT_EQ(qbAsnDecodeObj(in, r), 0x10652196U);
    EXPECT_EQ(r.number1, kSentinel);
    EXPECT_EQ(r.name, nullptr);
}

TEST_F(AsnPobj, type_names) {
    asn_pobj_t rec(security_off);
    EXPECT_STREQ(rec.get_type_name(), "pobj_t");
    const std::vector<std::string> expected = {"pobj_t", "  INTEGER", "  INTEGER", "  qbUTF8string", "  attrlist_t",
                                               "    SEQUENCEOF"};
    EXPECT_EQ(dump_names(rec), expected);
    EXPECT_STREQ(asn_pobj_t::reflect().name, "pobj_t");
    EXPECT_STREQ(asn_pobj_t::reflect().flat_name, "pobj_s_t");
}

TEST_F(AsnPobj, reflection_lists_the_fields_in_wire_order) {
    const qb_record_info& info = asn_pobj_t::reflect();
    EXPECT_EQ(info.flat_size, sizeof(pobj_s_t));
    ASSERT_EQ(info.field_count, 4U);
    EXPECT_EQ(info.fields[0].kind, qb_field_int);
    EXPECT_EQ(info.fields[0].offset, offsetof(pobj_s_t, number1));
    EXPECT_EQ(info.fields[1].kind, qb_field_int);
    EXPECT_EQ(info.fields[1].offset, offsetof(pobj_s_t, number2));
    EXPECT_EQ(info.fields[2].kind, qb_field_text);
    EXPECT_STREQ(info.fields[2].name, "name");
    EXPECT_EQ(info.fields[3].kind, qb_field_record);
    EXPECT_EQ(info.fields[3].offset, offsetof(pobj_s_t, attrs));
    ASSERT_NE(info.fields[3].element, nullptr);
    EXPECT_EQ(info.fields[3].element(), &asn_attrlist_t::reflect());
}

// ---- asn_pobjspace_t ----

// names "/a" and "/b/c", empty attribute list.
constexpr const char* kSpace =
    "04 02 AC DC"
    " 30 10"
    "   30 0A 0C 02 2F 61 0C 04 2F 62 2F 63"
    "   30 02 30 00";

TEST_F(AsnPobjspace, encodes_names_then_attributes) {
    char a[] = "/a", bc[] = "/b/c";
    char* names[] = {a, bc};
    pobjspace_s_t r{2, names, {0, nullptr}};
    EXPECT_EQ(encode(r), hex(kSpace));
    EXPECT_EQ(encode(r, true), hex(kSpace));
}

TEST_F(AsnPobjspace, decodes_names_then_attributes) {
    for (bool lcs : {false, true}) {
        SCOPED_TRACE(lcs ? "LCS form" : "plain form");
        pobjspace_s_t r;
        ASSERT_EQ(decode_zeroed(hex(kSpace), r, lcs), 0x00000000U);
        ASSERT_EQ(r.count, 2U);
        ASSERT_NE(r.names, nullptr);
        EXPECT_STREQ(r.names[0], "/a");
        EXPECT_STREQ(r.names[1], "/b/c");
        EXPECT_EQ(r.attrs.count, 0U);
        EXPECT_EQ(r.attrs.attrs, nullptr);
        EXPECT_EQ(encode(r), hex(kSpace));
        qbAsnFreeObj(r);
    }
}

TEST_F(AsnPobjspace, count_zero_decodes_to_count_zero_and_null_array) {
    pobjspace_s_t r{0, nullptr, {0, nullptr}};
    const bytes_t expected = hex("04 02 AC DC 30 06 30 00 30 02 30 00");
    EXPECT_EQ(encode(r), expected);
    pobjspace_s_t d;
    ASSERT_EQ(decode_zeroed(expected, d), 0x00000000U);
    EXPECT_EQ(d.count, 0U);
    EXPECT_EQ(d.names, nullptr);
    EXPECT_EQ(d.attrs.count, 0U);
    EXPECT_EQ(d.attrs.attrs, nullptr);
    qbAsnFreeObj(d);
}

TEST_F(AsnPobjspace, null_name_travels_as_an_empty_text) {
    char* names[] = {nullptr};
    pobjspace_s_t r{1, names, {0, nullptr}};
    const bytes_t expected = hex("04 02 AC DC 30 08 30 02 0C 00 30 02 30 00");
    EXPECT_EQ(encode(r), expected);
    pobjspace_s_t d;
    ASSERT_EQ(decode_zeroed(expected, d), 0x00000000U);
    ASSERT_EQ(d.count, 1U);
    ASSERT_NE(d.names[0], nullptr);
    EXPECT_STREQ(d.names[0], "");
    qbAsnFreeObj(d);
}

TEST_F(AsnPobjspace, indefinite_length_list_is_read) {
    // The names list with an indefinite length (30 80 ... 00 00).
    const bytes_t b = hex("04 02 AC DC 30 0C 30 80 0C 02 2F 61 00 00 30 02 30 00");
    pobjspace_s_t d;
    ASSERT_EQ(decode_zeroed(b, d), 0x00000000U);
    ASSERT_EQ(d.count, 1U);
    EXPECT_STREQ(d.names[0], "/a");
    qbAsnFreeObj(d);
}

TEST_F(AsnPobjspace, type_names) {
    asn_pobjspace_t rec(security_off);
    EXPECT_STREQ(rec.get_type_name(), "pobjspace_t");
    const std::vector<std::string> expected = {"pobjspace_t", "  SEQUENCEOF", "  attrlist_t", "    SEQUENCEOF"};
    EXPECT_EQ(dump_names(rec), expected);
    EXPECT_STREQ(asn_pobjspace_t::reflect().name, "pobjspace_t");
    EXPECT_STREQ(asn_pobjspace_t::reflect().flat_name, "pobjspace_s_t");
}

TEST_F(AsnPobjspace, reflection_lists_the_fields_in_wire_order) {
    const qb_record_info& info = asn_pobjspace_t::reflect();
    EXPECT_EQ(info.flat_size, sizeof(pobjspace_s_t));
    ASSERT_EQ(info.field_count, 2U);
    EXPECT_EQ(info.fields[0].kind, qb_field_text_list);
    EXPECT_STREQ(info.fields[0].name, "names");
    EXPECT_EQ(info.fields[0].offset, offsetof(pobjspace_s_t, count));
    EXPECT_EQ(info.fields[0].offset2, offsetof(pobjspace_s_t, names));
    EXPECT_EQ(info.fields[1].kind, qb_field_record);
    EXPECT_EQ(info.fields[1].offset, offsetof(pobjspace_s_t, attrs));
}

// ---- asn_azn_internal_pobj_t ----

// The protected object of kPobj as its own SEQUENCE, then the text "ext".
constexpr const char* kInternal =
    "04 02 AC DC"
    " 30 27"
    "   30 20"
    "     02 01 07 02 01 F9"
    "     0C 02 70 6F"
    "     30 14 30 12 30 10 0C 01 7A 30 0B 30 09 02 01 01 0C 01 77 04 01 FF"
    "   0C 03 65 78 74";

struct internal_fixture {
    pobj_fixture p;
    char ext[4] = "ext";
    azn_internal_pobj_s_t rec{p.rec, ext};
};

TEST_F(AsnAznInternalPobj, encodes_nested_pobj_then_text) {
    internal_fixture f;
    EXPECT_EQ(encode(f.rec), hex(kInternal));
    EXPECT_EQ(encode(f.rec, true), hex(kInternal));
}

TEST_F(AsnAznInternalPobj, decodes_nested_pobj_then_text) {
    for (bool lcs : {false, true}) {
        SCOPED_TRACE(lcs ? "LCS form" : "plain form");
        azn_internal_pobj_s_t r;
        ASSERT_EQ(decode_zeroed(hex(kInternal), r, lcs), 0x00000000U);
        expect_pobj_fields(r.pobj);
        EXPECT_STREQ(r.text, "ext");
        EXPECT_EQ(encode(r), hex(kInternal));
        qbAsnFreeObj(r);
    }
}

TEST_F(AsnAznInternalPobj, first_words_equal_the_nested_part_decoded_alone) {
    azn_internal_pobj_s_t whole;
    ASSERT_EQ(decode_zeroed(hex(kInternal), whole), 0x00000000U);
    pobj_s_t alone;
    ASSERT_EQ(decode_zeroed(hex(kPobj), alone), 0x00000000U);

    // The record begins with its pobj_s_t: a pointer to it serves as one.
    EXPECT_EQ(offsetof(azn_internal_pobj_s_t, pobj), 0U);
    const pobj_s_t& head = *reinterpret_cast<const pobj_s_t*>(&whole);
    EXPECT_EQ(head.number1, alone.number1);
    EXPECT_EQ(head.number2, alone.number2);
    EXPECT_STREQ(head.name, alone.name);
    ASSERT_EQ(head.attrs.count, alone.attrs.count);
    for (unsigned int i = 0; i < alone.attrs.count; ++i) {
        const attr_s_t& x = head.attrs.attrs[i];
        const attr_s_t& y = alone.attrs.attrs[i];
        EXPECT_STREQ(x.name, y.name);
        ASSERT_EQ(x.count, y.count);
        for (unsigned int k = 0; k < y.count; ++k) {
            EXPECT_EQ(x.values[k].number, y.values[k].number);
            EXPECT_STREQ(x.values[k].text, y.values[k].text);
            ASSERT_EQ(x.values[k].length, y.values[k].length);
            EXPECT_EQ(std::memcmp(x.values[k].bytes, y.values[k].bytes, y.values[k].length), 0);
        }
    }
    qbAsnFreeObj(alone);
    qbAsnFreeObj(whole);
}

TEST_F(AsnAznInternalPobj, null_texts_and_empty_attribute_list) {
    azn_internal_pobj_s_t r{{0, 0, nullptr, {0, nullptr}}, nullptr};
    const bytes_t expected = hex("04 02 AC DC 30 10 30 0C 02 01 00 02 01 00 0C 00 30 02 30 00 0C 00");
    EXPECT_EQ(encode(r), expected);
    azn_internal_pobj_s_t d;
    ASSERT_EQ(decode_zeroed(expected, d), 0x00000000U);
    ASSERT_NE(d.pobj.name, nullptr);
    EXPECT_STREQ(d.pobj.name, "");
    EXPECT_EQ(d.pobj.attrs.count, 0U);
    EXPECT_EQ(d.pobj.attrs.attrs, nullptr);
    ASSERT_NE(d.text, nullptr);
    EXPECT_STREQ(d.text, "");
    qbAsnFreeObj(d);
}

TEST_F(AsnAznInternalPobj, pobj_members_without_their_own_sequence_are_refused) {
    // The pobj_t members written straight into the outer SEQUENCE: the
    // nested SEQUENCE finds an INTEGER identifier (0x106521A4).
    const bytes_t b = hex("04 02 AC DC 30 0E 02 01 00 02 01 00 0C 00 30 02 30 00 0C 00");
    azn_internal_pobj_s_t d;
    EXPECT_EQ(decode_zeroed(b, d), 0x106521A4U);
    qbAsnFreeObj(d);
}

TEST_F(AsnAznInternalPobj, type_name_is_cut_to_16_characters) {
    asn_azn_internal_pobj_t rec(security_off);
    EXPECT_STREQ(rec.get_type_name(), "azn_internal_pob");
    const std::vector<std::string> expected = {
        "azn_internal_pob", "  pobj_t",       "    INTEGER",       "    INTEGER",
        "    qbUTF8string", "    attrlist_t", "      SEQUENCEOF", "  qbUTF8string"};
    EXPECT_EQ(dump_names(rec), expected);
    EXPECT_STREQ(asn_azn_internal_pobj_t::reflect().name, "azn_internal_pobj_t");
    EXPECT_STREQ(asn_azn_internal_pobj_t::reflect().flat_name, "azn_internal_pobj_s_t");
}

TEST_F(AsnAznInternalPobj, reflection_lists_the_fields_in_wire_order) {
    const qb_record_info& info = asn_azn_internal_pobj_t::reflect();
    EXPECT_EQ(info.flat_size, sizeof(azn_internal_pobj_s_t));
    ASSERT_EQ(info.field_count, 2U);
    EXPECT_EQ(info.fields[0].kind, qb_field_record);
    EXPECT_EQ(info.fields[0].offset, 0U);
    ASSERT_NE(info.fields[0].element, nullptr);
    EXPECT_EQ(info.fields[0].element(), &asn_pobj_t::reflect());
    EXPECT_EQ(info.fields[1].kind, qb_field_text);
    EXPECT_EQ(info.fields[1].offset, offsetof(azn_internal_pobj_s_t, text));
}

// ---- allocation failures ----

// A sweep that has not completed after this many failing runs is broken.
constexpr long kSweepLimit = 2000;

// The sweeps: support/record_test.h.

// Element creation in set_value (the names) names this group.
TEST_F(PobjOutOfMemory, encode_space_reports_memory_status) {
    char a[] = "/a", bc[] = "/b/c";
    char* names[] = {a, bc};
    pobjspace_s_t r{2, names, {0, nullptr}};
    EXPECT_TRUE(sweep_encode(r, hex(kSpace), kSweepLimit).names("base_idls/pobj_asn"));
}

// Records without a list of their own fail only in the runtime and in the
// attribute list; each failure still reports 0x10652065 and leaks nothing.
TEST_F(PobjOutOfMemory, encode_pobj_and_internal_form_report_memory_status) {
    internal_fixture f;
    sweep_encode(f.p.rec, hex(kPobj), kSweepLimit);
    sweep_encode(f.rec, hex(kInternal), kSweepLimit);
}

// The flat name array of get_value names this group; a partly filled record is freeable.
TEST_F(PobjOutOfMemory, decode_space_reports_memory_status_and_stays_freeable) {
    EXPECT_TRUE(sweep_decode<pobjspace_s_t>(hex(kSpace), kSweepLimit, [](const pobjspace_s_t& r) {
                    ASSERT_EQ(r.count, 2U);
                    EXPECT_STREQ(r.names[1], "/b/c");
                }).names("base_idls/pobj_asn"));
}

// A text that cannot be allocated is reported by this group ("ASN: Out of memory").
TEST_F(PobjOutOfMemory, decode_internal_form_reports_memory_status_and_stays_freeable) {
    EXPECT_TRUE(sweep_decode<azn_internal_pobj_s_t>(hex(kInternal), kSweepLimit, [](const azn_internal_pobj_s_t& r) {
                    expect_pobj_fields(r.pobj);
                    EXPECT_STREQ(r.text, "ext");
                }).names("base_idls/pobj_asn"));
}

}  // namespace
