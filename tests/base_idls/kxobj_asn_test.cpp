// tests/base_idls/kxobj_asn_test.cpp - the object-database records: one
// object, object and name lists with attributes, and the database header.
// What is particular to them: their octets written out (each known answer goes
// both ways in both forms, support/record_cases.h), the refused messages, the
// 16-character type names, the texts a header record makes through its list,
// and that allocation failures during encoding and decoding name this
// group's source file. The round trips every record shares (random records,
// the zeroed record, the envelope, a failure at every allocation) run from
// the reflection table in records_generic_test.cpp and records_direct_test.cpp.
//
// This executable replaces malloc for the whole process (support/
// failing_malloc.h) so that the sweeps at the end can fail a chosen
// allocation; everything else runs with every allocation granted.

#include "support/failing_malloc.h"  // first: the sweeps of support/record_test.h

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <vector>

#include "base_idls/kxobj_asn.h"
#include "support/record_test.h"

namespace {

using qb_test::expect_known_answer, qb_test::expect_refused, qb_test::names_of, qb_test::sweep_way, qb_test::text;

// In the sanitizer build every test ends with a leak check (support/leak_check.h).
class KxobjRecords : public qb_test::LeakChecked {};

// ---- the records and their octets ----

// name "obj", integers 1 and -2, value DE AD:
// SEQUENCE { UTF8String "obj", INTEGER 1, INTEGER -2, OCTET STRING DE AD }
#define OBJECT ENVELOPE "30 0F   0C 03 6F 62 6A   02 01 01   02 01 FE   04 02 DE AD"

// Two objects ("a", 0, 256, no bytes) and (null, 0x7FFFFFFF, -1, 01 02 03),
// and an attribute list holding one attribute "k" without values.
#define OBJECT_LIST                                             \
    "04 02 AC DC"                                               \
    " 30 2D"                                                    \
    "   30 20"                                                  \
    "     30 0C 0C 01 61 02 01 00 02 02 01 00 04 00"            \
    "     30 10 0C 00 02 04 7F FF FF FF 02 01 FF 04 03 01 02 03" \
    "   30 09 30 07 30 05 0C 01 6B 30 00"

// names "x" and "yz", empty attribute list.
#define NAME_LIST "04 02 AC DC 30 0D   30 07 0C 01 78 0C 02 79 7A   30 02 30 00"

// integer 3, the text "t1", and an attribute list with one attribute "a"
// holding the value (0, "", no bytes).
#define HEADER                                                         \
    "04 02 AC DC"                                                      \
    " 30 1D"                                                           \
    "   02 01 03"                                                      \
    "   30 04 0C 02 74 31"                                             \
    "   30 12 30 10 30 0E 0C 01 61 30 09 30 07 02 01 00 0C 00 04 00"

// The flat records behind the octets above (the encoders only read them).
struct kxobj_records {
    unsigned char dead[2] = {0xDE, 0xAD};
    kxobj_t object{text("obj"), 1, -2, 2, dead};

    unsigned char bytes[3] = {0x01, 0x02, 0x03};
    kxobj_t objects[2] = {{text("a"), 0, 256, 0, nullptr}, {nullptr, 0x7FFFFFFF, -1, 3, bytes}};
    attr_s_t k_attr[1] = {{text("k"), 0, nullptr}};
    kxobj_list_s_t object_list{2, objects, {1, k_attr}};

    char* x_yz[2] = {text("x"), text("yz")};
    kxobj_name_list_s_t name_list{2, x_yz, {0, nullptr}};

    char* t1[1] = {text("t1")};
    value_s_t empty_value[1] = {{0, nullptr, 0, nullptr}};
    attr_s_t a_attr[1] = {{text("a"), 1, empty_value}};
    kxobj_db_header_s_t header{3, 1, t1, {1, a_attr}};
};

// ---- both ways, both forms ----

TEST_F(KxobjRecords, known_answers) {
    kxobj_records f;
    expect_known_answer<asn_kxobj_t>("name, integers and value", f.object, OBJECT);
    expect_known_answer<asn_kxobj_t>("null name and empty value", {nullptr, 0, 0, 0, nullptr},
                                     ENVELOPE "30 0A 0C 00 02 01 00 02 01 00 04 00");
    expect_known_answer<asn_kxobj_list_t>("objects then attributes", f.object_list, OBJECT_LIST);
    expect_known_answer<asn_kxobj_list_t>("empty lists", {0, nullptr, {0, nullptr}},
                                          ENVELOPE "30 06 30 00 30 02 30 00");
    expect_known_answer<asn_kxobj_name_list_t>("names then attributes", f.name_list, NAME_LIST);
    // A SEQUENCE holding an empty SEQUENCE OF and an attribute list that
    // itself holds an empty SEQUENCE OF.
    expect_known_answer<asn_kxobj_name_list_t>("count zero and empty attribute list", {0, nullptr, {0, nullptr}},
                                               ENVELOPE "30 06 30 00 30 02 30 00");
    char* null_first[2] = {nullptr, text("x")};
    expect_known_answer<asn_kxobj_name_list_t>("a null entry travels as an empty text", {2, null_first, {0, nullptr}},
                                               ENVELOPE "30 0B 30 05 0C 00 0C 01 78 30 02 30 00");
    expect_known_answer<asn_kxobj_db_header_t>("integer, texts and attributes", f.header, HEADER);
    char* two_null[2] = {nullptr, nullptr};
    expect_known_answer<asn_kxobj_db_header_t>("null texts", {-1, 2, two_null, {0, nullptr}},
                                               ENVELOPE "30 0D 02 01 FF 30 04 0C 00 0C 00 30 02 30 00");
    expect_known_answer<asn_kxobj_db_header_t>("empty lists", {0, 0, nullptr, {0, nullptr}},
                                               ENVELOPE "30 09 02 01 00 30 00 30 02 30 00");
}

TEST_F(KxobjRecords, refused_messages) {
    // A buffer that is not an envelope of version 2 never reaches get_value.
    expect_refused<asn_kxobj_t>("envelope version 0", "04 00 AC DC 30 0F 0C 03 6F 62 6A 02 01 01 02 01 FE 04 02 DE AD",
                                0x10652196U, true, 0x5A);
    // The second object lacks its OCTET STRING: its mandatory last member
    // finds no input left (input exhausted); the record stays freeable.
    expect_refused<asn_kxobj_list_t>(
        "an object element of the wrong shape",
        ENVELOPE "30 19   30 13 30 0A 0C 00 02 01 00 02 01 00 04 00 30 05 0C 00 02 01 00   30 02 30 00", 0x10652198U);
}

// ---- type names and reflection ----

// The 16-character type-name field keeps the first 16 characters of the
// longer names; the reflection table keeps the full ones.
TEST_F(KxobjRecords, type_names_and_reflection) {
    qb_test::expect_type_names({
        names_of<asn_kxobj_t>("kxobj_t", "kxobj_t", "kxobj_t",
                              {"kxobj_t", "  qbUTF8string", "  INTEGER", "  INTEGER", "  OCTETSTRING"}),
        names_of<asn_kxobj_list_t>("kxobj_list_t", "kxobj_list_t", "kxobj_list_s_t",
                                   {"kxobj_list_t", "  SEQUENCEOF", "  attrlist_t", "    SEQUENCEOF"}),
        names_of<asn_kxobj_name_list_t>("kxobj_name_list_", "kxobj_name_list_t", "kxobj_name_list_s_t",
                                        {"kxobj_name_list_", "  SEQUENCEOF", "  attrlist_t", "    SEQUENCEOF"}),
        names_of<asn_kxobj_db_header_t>(
            "kxobj_db_header_", "kxobj_db_header_t", "kxobj_db_header_s_t",
            {"kxobj_db_header_", "  INTEGER", "  SEQUENCEOF", "  attrlist_t", "    SEQUENCEOF"}),
    });
    qb_test::expect_fields(asn_kxobj_t::reflect(),
                           {{"name", qb_field_text},
                            {"number1", qb_field_int},
                            {"number2", qb_field_int},
                            {"value", qb_field_octets, offsetof(kxobj_t, value_length), offsetof(kxobj_t, value)}});
    qb_test::expect_fields(asn_kxobj_list_t::reflect(),
                           {{"objects", qb_field_record_list, offsetof(kxobj_list_s_t, count),
                             offsetof(kxobj_list_s_t, objects), &asn_kxobj_t::reflect()},
                            {"attrs", qb_field_record, offsetof(kxobj_list_s_t, attrs)}});
    qb_test::expect_fields(asn_kxobj_name_list_t::reflect(),
                           {{"names", qb_field_text_list, offsetof(kxobj_name_list_s_t, count),
                             offsetof(kxobj_name_list_s_t, names)},
                            {"attrs", qb_field_record, offsetof(kxobj_name_list_s_t, attrs)}});
    qb_test::expect_fields(asn_kxobj_db_header_t::reflect(),
                           {{"number", qb_field_int},
                            {"texts", qb_field_text_list, offsetof(kxobj_db_header_s_t, count),
                             offsetof(kxobj_db_header_s_t, texts)},
                            {"attrs", qb_field_record, offsetof(kxobj_db_header_s_t, attrs)}});
}

// ---- particular behaviour ----

TEST_F(KxobjRecords, texts_set_through_the_record_are_elements_of_its_list) {
    kxobj_records f;
    asn_kxobj_db_header_t rec(security_lcs);
    ASSERT_EQ(rec.set_value(f.header), 0);
    ASSERT_EQ(rec.texts.get_child_count(), 1U);
    qbasnUTF8String* t = rec.texts.get_element(0);
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(t->get_parent(), &rec.texts);
    EXPECT_EQ(t->security, security_lcs);  // made with the list's security word
    char* got = nullptr;
    ASSERT_EQ(t->get_value(got), 0U);
    EXPECT_STREQ(got, "t1");
    std::free(got);
}

// ---- allocation failures ----

// Element creation in set_value (new + register_child for the objects, the
// list's add_child for the header's texts) and the flat arrays of get_value
// name this group; a partly filled record is freeable (support/record_test.h).
TEST_F(KxobjRecords, allocation_failures_name_this_group) {
    kxobj_records f;
    const std::vector<const char*> group = {" in base_idls/kxobj_asn at line "};
    qb_test::expect_sweep<asn_kxobj_list_t>("object list", f.object_list, OBJECT_LIST, sweep_way::both, 2000, group);
    qb_test::expect_sweep<asn_kxobj_name_list_t>("name list", f.name_list, NAME_LIST, sweep_way::both, 2000, group);
    qb_test::expect_sweep<asn_kxobj_db_header_t>("header", f.header, HEADER, sweep_way::both, 2000, group);
}

}  // namespace
