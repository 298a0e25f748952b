// tests/base_idls/kxpopobjs_asn_test.cpp - protected-object policies, their
// access times and ipauth entries, and the maps between protected objects and
// policies. What is particular to them: their octets written out (each row
// goes both ways in both forms, support/record_cases.h; the two maps share
// theirs), a truncated entry refused before the record is touched, and their
// type names and reflection entries. The round trips every record shares run
// from the reflection table in records_generic_test.cpp.
#include <gtest/gtest.h>

#include <cstddef>

#include "base_idls/kxpopobjs_asn.h"
#include "support/record_test.h"

namespace {

// A policy named "p" with access times {0, {1, 2, 3}}, integers 1 2 3: the
// members before its ipauth list.
#define POLICY_HEAD " 0C 01 70 30 0E 02 01 00 30 09 02 01 01 02 01 02 02 01 03 02 01 01 02 01 02 02 01 03"

using qb_test::expect_known_answer, qb_test::expect_names, qb_test::one_attr, qb_test::text;

class KxpopobjsRecords : public qb_test::LeakChecked {};

TEST_F(KxpopobjsRecords, known_answers) {
    expect_known_answer<asn_kxtod_range_t>("three integers", {0x7F, 0, 86399},
                                           ENVELOPE "30 0B 02 01 7F 02 01 00 02 03 01 51 7F");
    expect_known_answer<asn_kxtod_range_t>("32-bit edges", {-1, static_cast<int>(0x80000000U), 0x7FFFFFFF},
                                           ENVELOPE "30 0F 02 01 FF 02 04 80 00 00 00 02 04 7F FF FF FF");
    expect_known_answer<asn_kxaccess_times_t>("the range embedded by value", {1, {0x7F, 0, 86399}},
                                              ENVELOPE "30 10 02 01 01 30 0B 02 01 7F 02 01 00 02 03 01 51 7F");
    expect_known_answer<asn_kxpop_ipauth_t>("three integers", {0x0A000000, static_cast<int>(0xFF000000U), 3},
                                            ENVELOPE "30 0F 02 04 0A 00 00 00 02 04 FF 00 00 00 02 01 03");
    kxpop_ipauth_s_t entries[2] = {{1, 2, 3}, {4, 5, 6}};
    expect_known_answer<asn_kxpop_t>(
        "every member in order", {text("p"), {0, {1, 2, 3}}, 1, 2, 3, 2, entries, {0, nullptr}},
        ENVELOPE "30 38" POLICY_HEAD " 30 16 30 09 02 01 01 02 01 02 02 01 03 30 09 02 01 04 02 01 05 02 01 06 "
                 ATTRS_EMPTY);
    one_attr attrs;
    kxpop_ipauth_s_t entry{10, 20, 30};
    expect_known_answer<asn_kxpop_t>("one entry and an attribute list",
                                     {text("policy"), {4, {5, 6, 7}}, 8, 9, 10, 1, &entry, attrs.list}, nullptr);
    // The decoder clears the record itself: decoded into 5A octets.
    expect_known_answer<asn_kxpop_t>(
        "no ipauth entries", kxpop_s_t{},
        ENVELOPE "30 21 0C 00 30 0E 02 01 00 30 09 02 01 00 02 01 00 02 01 00 02 01 00 02 01 00 02 01 00 30 00 "
                 ATTRS_EMPTY,
        0x5A);
    char* names[3] = {text("/a"), nullptr, text("b")};
    expect_known_answer<asn_kxmap_pobj_to_pop_t>("a null string travels as an empty text", {3, names, attrs.list},
                                                 ENVELOPE "30 21 30 09 0C 02 2F 61 0C 00 0C 01 62 " ATTRS_A);
    expect_known_answer<asn_kxmap_pobj_to_pop_t>("an empty list", {0, nullptr, {0, nullptr}},
                                                 ENVELOPE "30 06 30 00 30 02 30 00");
    // The two maps read the same octets into the same fields.
    char* x[1] = {text("x")};
    const char* const one_name = ENVELOPE "30 09 30 03 0C 01 78 30 02 30 00";
    expect_known_answer<asn_kxmap_pop_to_pobj_t>("one name", {1, x, {0, nullptr}}, one_name);
    expect_known_answer<asn_kxmap_pobj_to_pop_t>("one name", {1, x, {0, nullptr}}, one_name);
    char* null_and_empty[2] = {nullptr, text("")};
    expect_known_answer<asn_kxmap_pop_to_pobj_t>("null and empty strings", {2, null_and_empty, {0, nullptr}},
                                                 ENVELOPE "30 0A 30 04 0C 00 0C 00 30 02 30 00");
    // The second ipauth entry lacks its third INTEGER: its reader finds no
    // octets left for that mandatory member, before get_value touches the record.
    qb_test::expect_refused<asn_kxpop_t>(
        "a truncated ipauth entry",
        ENVELOPE "30 35" POLICY_HEAD " 30 13 30 09 02 01 01 02 01 02 02 01 03 30 06 02 01 04 02 01 05 " ATTRS_EMPTY,
        0x10652198U, true);
}

TEST_F(KxpopobjsRecords, type_names_and_reflection) {
    // kxaccess_times_t: exactly 16 characters
    expect_names<asn_kxpop_t>("kxpop_t", "kxpop_t", "kxpop_s_t",
                              {"kxpop_t", "  qbUTF8string", "  kxaccess_times_t", "    INTEGER", "    kxtod_range_t",
                               "      INTEGER", "      INTEGER", "      INTEGER", "  INTEGER", "  INTEGER", "  INTEGER",
                               "  SEQUENCEOF", "  attrlist_t", "    SEQUENCEOF"});
    qb_test::expect_fields(asn_kxpop_t::reflect(),
                           {{"name", qb_field_text},
                            {"access_times", qb_field_record},
                            {"warning_mode", qb_field_int},
                            {"audit_level", qb_field_int},
                            {"qop", qb_field_int},
                            {"ipauth", qb_field_record_list, offsetof(kxpop_s_t, ipauth_count),
                             offsetof(kxpop_s_t, ipauth), &asn_kxpop_ipauth_t::reflect()},
                            {"attrlist", qb_field_record}});
    expect_names<asn_kxpop_ipauth_t>("kxpop_ipauth_t", "kxpop_ipauth_t", "kxpop_ipauth_s_t");
    expect_names<asn_kxaccess_times_t>("kxaccess_times_t", "kxaccess_times_t", "kxaccess_times_s_t");
    expect_names<asn_kxtod_range_t>("kxtod_range_t", "kxtod_range_t", "kxtod_range_s_t");
}

// The 16-character type-name field keeps the first 16 characters of the maps'
// names; the reflection table keeps the full ones.
TEST_F(KxpopobjsRecords, map_type_names_are_held_cut_to_16_characters_quirk) {
    expect_names<asn_kxmap_pobj_to_pop_t>("kxmap_pobj_to_po", "kxmap_pobj_to_pop_t", "kxmap_pobj_to_pop_s_t",
                                          {"kxmap_pobj_to_po", "  SEQUENCEOF", "  attrlist_t", "    SEQUENCEOF"});
    qb_test::expect_fields(asn_kxmap_pobj_to_pop_t::reflect(),
                           {{"names", qb_field_text_list}, {"attrlist", qb_field_record}});
    expect_names<asn_kxmap_pop_to_pobj_t>("kxmap_pop_to_pob", "kxmap_pop_to_pobj_t", "kxmap_pop_to_pobj_s_t");
}

}  // namespace
