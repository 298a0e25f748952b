// tests/base_idls/pobj_asn_test.cpp - protected objects, protected-object
// spaces and the internal form of a protected object. What is particular to
// them: their octets written out (each row goes both ways in both forms,
// support/record_cases.h), an indefinite-length list, refused messages, the
// nested record that begins the internal form, the 16-character type name,
// and the allocation failures that name this group's source file. The round
// trips every record shares run from the reflection table in
// records_generic_test.cpp and records_direct_test.cpp.
//
// This executable replaces malloc for the whole process (support/
// failing_malloc.h) so that the sweeps at the end can fail a chosen
// allocation; everything else runs with every allocation granted.

#include "support/failing_malloc.h"  // first: the sweeps of support/record_test.h

#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

#include "base_idls/pobj_asn.h"
#include "support/record_test.h"

namespace {

using qb_test::expect_known_answer, qb_test::expect_read, qb_test::expect_refused, qb_test::names_of, qb_test::text;

class PobjRecords : public qb_test::LeakChecked {};

// ---- the records and their octets ----

// integers 7 and -7, name "po", an attribute list with one attribute "z"
// holding the value (1, "w", FF).
#define POBJ_CONTENT                                                        \
    "02 01 07 02 01 F9"                                                     \
    " 0C 02 70 6F"                                                          \
    " 30 14 30 12 30 10 0C 01 7A 30 0B 30 09 02 01 01 0C 01 77 04 01 FF"
#define POBJ ENVELOPE "30 20 " POBJ_CONTENT

// names "/a" and "/b/c", empty attribute list.
#define SPACE ENVELOPE "30 10   30 0A 0C 02 2F 61 0C 04 2F 62 2F 63   30 02 30 00"

// The protected object of POBJ as its own SEQUENCE, then the text "ext".
#define INTERNAL ENVELOPE "30 27 30 20 " POBJ_CONTENT " 0C 03 65 78 74"

struct pobj_records {
    unsigned char ff[1] = {0xFF};
    value_s_t w_value[1] = {{1, text("w"), 1, ff}};
    attr_s_t z_attr[1] = {{text("z"), 1, w_value}};
    pobj_s_t pobj{7, -7, text("po"), {1, z_attr}};

    char* names[2] = {text("/a"), text("/b/c")};
    pobjspace_s_t space{2, names, {0, nullptr}};

    azn_internal_pobj_s_t internal{pobj, text("ext")};
};

// ---- both ways, both forms ----

TEST_F(PobjRecords, known_answers) {
    pobj_records f;
    expect_known_answer<asn_pobj_t>("integers, name and attributes", f.pobj, POBJ);
    expect_known_answer<asn_pobj_t>("null name and empty attribute list", {0, 0, nullptr, {0, nullptr}},
                                    ENVELOPE "30 0C 02 01 00 02 01 00 0C 00 30 02 30 00");
    expect_known_answer<asn_pobjspace_t>("names then attributes", f.space, SPACE);
    expect_known_answer<asn_pobjspace_t>("count zero decodes to count zero and a null array",
                                         {0, nullptr, {0, nullptr}}, ENVELOPE "30 06 30 00 30 02 30 00");
    char* null_name[1] = {nullptr};
    expect_known_answer<asn_pobjspace_t>("a null name travels as an empty text", {1, null_name, {0, nullptr}},
                                         ENVELOPE "30 08 30 02 0C 00 30 02 30 00");
    expect_known_answer<asn_azn_internal_pobj_t>("nested pobj_t then text", f.internal, INTERNAL);
    expect_known_answer<asn_azn_internal_pobj_t>("null texts and empty attribute list",
                                                 {{0, 0, nullptr, {0, nullptr}}, nullptr},
                                                 ENVELOPE "30 10 30 0C 02 01 00 02 01 00 0C 00 30 02 30 00 0C 00");
}

TEST_F(PobjRecords, other_forms_and_refused_messages) {
    // The names list with an indefinite length (30 80 ... 00 00) is read,
    // and written back in the definite form.
    char* a[1] = {text("/a")};
    expect_read<asn_pobjspace_t>("indefinite-length list", ENVELOPE "30 0C 30 80 0C 02 2F 61 00 00 30 02 30 00",
                                 {1, a, {0, nullptr}}, ENVELOPE "30 0A 30 04 0C 02 2F 61 30 02 30 00");
    // No envelope (the signature is not AC DC) or another version: refused
    // before get_value touches the record.
    expect_refused<asn_pobj_t>("signature AD DC", "04 02 AD DC 30 20 " POBJ_CONTENT, 0x10652196U, true, 0x5A);
    expect_refused<asn_pobj_t>("envelope version 3", "04 03 AC DC 30 20 " POBJ_CONTENT, 0x10652196U, true, 0x5A);
    // The pobj_t members written straight into the outer SEQUENCE: the
    // nested SEQUENCE finds an INTEGER identifier.
    expect_refused<asn_azn_internal_pobj_t>("pobj_t members without their own SEQUENCE",
                                            ENVELOPE "30 0E 02 01 00 02 01 00 0C 00 30 02 30 00 0C 00", 0x106521A4U);
}

// ---- type names and reflection ----

TEST_F(PobjRecords, type_names_and_reflection) {
    qb_test::expect_type_names({
        names_of<asn_pobj_t>("pobj_t", "pobj_t", "pobj_s_t",
                             {"pobj_t", "  INTEGER", "  INTEGER", "  qbUTF8string", "  attrlist_t", "    SEQUENCEOF"}),
        names_of<asn_pobjspace_t>("pobjspace_t", "pobjspace_t", "pobjspace_s_t",
                                  {"pobjspace_t", "  SEQUENCEOF", "  attrlist_t", "    SEQUENCEOF"}),
        // The 16-character field keeps the first 16 characters of the name.
        names_of<asn_azn_internal_pobj_t>("azn_internal_pob", "azn_internal_pobj_t", "azn_internal_pobj_s_t",
                                          {"azn_internal_pob", "  pobj_t", "    INTEGER", "    INTEGER",
                                           "    qbUTF8string", "    attrlist_t", "      SEQUENCEOF",
                                           "  qbUTF8string"}),
    });
    qb_test::expect_fields(asn_pobj_t::reflect(),
                           {{"number1", qb_field_int, offsetof(pobj_s_t, number1)},
                            {"number2", qb_field_int, offsetof(pobj_s_t, number2)},
                            {"name", qb_field_text},
                            {"attrs", qb_field_record, offsetof(pobj_s_t, attrs), qb_test::kAny,
                             &asn_attrlist_t::reflect()}});
    qb_test::expect_fields(asn_pobjspace_t::reflect(),
                           {{"names", qb_field_text_list, offsetof(pobjspace_s_t, count),
                             offsetof(pobjspace_s_t, names)},
                            {"attrs", qb_field_record, offsetof(pobjspace_s_t, attrs)}});
    qb_test::expect_fields(asn_azn_internal_pobj_t::reflect(),
                           {{"pobj", qb_field_record, 0, qb_test::kAny, &asn_pobj_t::reflect()},
                            {"text", qb_field_text, offsetof(azn_internal_pobj_s_t, text)}});
}

// ---- particular behaviour ----

// The internal form begins with its pobj_s_t: a pointer to the record serves
// as one, and holds what the nested part decoded alone gives.
TEST_F(PobjRecords, first_words_equal_the_nested_part_decoded_alone) {
    azn_internal_pobj_s_t whole;
    ASSERT_EQ(qb_test::decode_zeroed(hex(INTERNAL), whole), 0x00000000U);
    pobj_s_t alone;
    ASSERT_EQ(qb_test::decode_zeroed(hex(POBJ), alone), 0x00000000U);
    EXPECT_EQ(offsetof(azn_internal_pobj_s_t, pobj), 0U);
    std::string where;
    EXPECT_TRUE(qb_test::records_equal(asn_pobj_t::reflect(), &whole, &alone, &where)) << where;
    qbAsnFreeObj(alone);
    qbAsnFreeObj(whole);
}

// ---- allocation failures ----

// Element creation in set_value (the names), the flat name array of
// get_value and a text that cannot be allocated ("ASN: Out of memory") name
// this group; a partly filled record is freeable (support/record_test.h).
TEST_F(PobjRecords, allocation_failures_name_this_group) {
    pobj_records f;
    const std::vector<const char*> group = {" in base_idls/pobj_asn at line "};
    qb_test::expect_sweep<asn_pobjspace_t>("space", f.space, SPACE, qb_test::sweep_way::both, 2000, group);
    qb_test::expect_sweep<asn_azn_internal_pobj_t>("internal form", f.internal, INTERNAL, qb_test::sweep_way::decode,
                                                   2000, group);
}

}  // namespace
