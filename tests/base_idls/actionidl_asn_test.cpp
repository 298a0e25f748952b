// tests/base_idls/actionidl_asn_test.cpp - actions, action groups and sets of
// action groups. What is particular to them: their octets written out (each
// row goes both ways in both forms, support/record_cases.h), the 32-slot
// arrays with holes (NULL elements, elements past the 32nd, elements of
// neither alternative), type names, and the allocation failures that name
// this group's source file. The round trips every record shares run from the
// reflection table in records_generic_test.cpp and records_direct_test.cpp.
#include "support/failing_malloc.h"  // first: the sweeps of support/record_test.h

#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

#include "base_idls/actionidl_asn.h"
#include "support/record_test.h"

namespace {

using qb_test::expect_known_answer, qb_test::one_attr, qb_test::text;

class ActionRecords : public qb_test::LeakChecked {};

// An action with only its bit number set: {bit, NULL, NULL, NULL, 0, 0, no attributes}.
kxaction_s_t bare_action(int bit) { return kxaction_s_t{bit, nullptr, nullptr, nullptr, 0, 0, {0, nullptr}}; }

// The frame of bare_action(1), bare_action(2), bare_action(3): 21 octets each.
#define BARE_ACTION(b) "30 13 02 01 " b " 0C 00 0C 00 0C 00 02 01 00 02 01 00 30 02 30 00 "
// Ten empty slots (NULL elements).
#define TEN_NULLS "05 00 05 00 05 00 05 00 05 00 05 00 05 00 05 00 05 00 05 00 "

// ---- both ways, both forms ----

TEST_F(ActionRecords, known_answers) {
    one_attr attrs;
    expect_known_answer<asn_kxaction_t>(
        "every member in order", {5, text("r"), text("read"), text("Read"), 1, 0x80, attrs.list},
        ENVELOPE "30 2F 02 01 05 0C 01 72 0C 04 72 65 61 64 0C 04 52 65 61 64 02 01 01 02 02 00 80 " ATTRS_A);
    expect_known_answer<asn_kxaction_t>("null and empty texts come back empty",
                                        {0, nullptr, nullptr, text(""), -1, 0, {0, nullptr}},
                                        ENVELOPE "30 13 02 01 00 0C 00 0C 00 0C 00 02 01 FF 02 01 00 30 02 30 00");

    kxaction_s_t x_action{7, text("x"), nullptr, nullptr, 0, 0, {0, nullptr}};
    kxaction_group_s_t group{};
    group.name = text("g");
    group.actions[5] = &x_action;
    expect_known_answer<asn_kxaction_group_t>(
        "only slot 5 used encodes six elements", group,
        ENVELOPE "30 29 0C 01 67 30 20 05 00 05 00 05 00 05 00 05 00"
                 " 30 14 02 01 07 0C 01 78 0C 00 0C 00 02 01 00 02 01 00 30 02 30 00 30 02 30 00");
    // NULL name, every slot NULL, no attributes. The decoder clears the whole
    // record itself: decoded into A5 octets.
    expect_known_answer<asn_kxaction_group_t>("no actions is an empty array and 32 null slots",
                                              kxaction_group_s_t{}, ENVELOPE "30 08 0C 00 30 00 30 02 30 00", 0xA5);
    kxaction_s_t first = bare_action(1), last = bare_action(2);
    group = kxaction_group_s_t{};
    group.actions[0] = &first;
    group.actions[31] = &last;
    group.attrlist = attrs.list;
    expect_known_answer<asn_kxaction_group_t>(
        "first and last slot keep thirty holes between them", group,
        ENVELOPE "30 81 80 0C 00 30 66 " BARE_ACTION("01") TEN_NULLS TEN_NULLS TEN_NULLS BARE_ACTION("02") ATTRS_A);
    group = kxaction_group_s_t{};  // NULL, action, NULL, action: nothing after slot 3
    group.name = text("g");
    group.actions[1] = &first;
    group.actions[3] = &last;
    expect_known_answer<asn_kxaction_group_t>(
        "two used slots fill only the holes before each", group,
        ENVELOPE "30 37 0C 01 67 30 2E 05 00 " BARE_ACTION("01") "05 00 " BARE_ACTION("02") ATTRS_EMPTY);
    kxaction_s_t execute{7, text("x"), text("execute"), nullptr, 2, 0, {0, nullptr}};
    group = kxaction_group_s_t{};
    group.name = text("group");
    group.actions[2] = &execute;
    expect_known_answer<asn_kxaction_group_t>("an action in slot 2", group, nullptr);

    group = kxaction_group_s_t{};
    group.name = text("g");
    group.actions[0] = &first;
    kxaction_groups_s_t groups{};
    groups.groups[1] = &group;
    expect_known_answer<asn_kxaction_groups_t>(
        "a group in slot 1 holding an action in slot 0", groups,
        ENVELOPE "30 28 30 22 05 00 30 1E 0C 01 67 30 15 " BARE_ACTION("01") ATTRS_EMPTY " " ATTRS_EMPTY);
    groups = kxaction_groups_s_t{};
    groups.attrlist = attrs.list;
    expect_known_answer<asn_kxaction_groups_t>("no groups is an empty array and 32 null slots", groups,
                                               ENVELOPE "30 18 30 00 " ATTRS_A);
}

TEST_F(ActionRecords, slot_arrays_read_from_other_octets) {
    kxaction_s_t first = bare_action(1), last = bare_action(2);
    kxaction_group_s_t first_and_last{};
    first_and_last.actions[0] = &first;
    first_and_last.actions[31] = &last;
    // 34 elements: an action, 30 NULLs, an action (slot 31), an action and a
    // NULL past the end, which are dropped (the dropped action is never
    // allocated: the leak check sees to it).
    qb_test::expect_read<asn_kxaction_group_t>("more than 32 elements",
                                               ENVELOPE "30 81 85 0C 00 30 7D " BARE_ACTION("01") TEN_NULLS TEN_NULLS
                                                   TEN_NULLS BARE_ACTION("02") BARE_ACTION("03") "05 00 " ATTRS_EMPTY,
                                               first_and_last);
    // Three NULL elements and nothing else: every slot stays NULL.
    qb_test::expect_read<asn_kxaction_group_t>("NULL elements leave their slots null",
                                               ENVELOPE "30 0E 0C 00 30 06 05 00 05 00 05 00 30 02 30 00",
                                               kxaction_group_s_t{});
    // 32 NULL elements, then a group that has no slot to go to.
    qb_test::expect_read<asn_kxaction_groups_t>(
        "a 33rd group is dropped",
        ENVELOPE "30 50 30 4A " TEN_NULLS TEN_NULLS TEN_NULLS "05 00 05 00 30 08 0C 00 30 00 30 02 30 00 " ATTRS_EMPTY,
        kxaction_groups_s_t{});
    // The second element is an INTEGER: neither alternative accepts it.
    qb_test::expect_refused<asn_kxaction_group_t>("an element that is neither NULL nor an action",
                                                  ENVELOPE "30 0D 0C 00 30 05 05 00 02 01 01 30 02 30 00", 0x106521A4U);
    qb_test::expect_refused<asn_kxaction_t>(
        "envelope version 3", "04 03 AC DC 30 13 02 01 00 0C 00 0C 00 0C 00 02 01 FF 02 01 00 30 02 30 00", 0x10652196U,
        true, 0x5A);
}

// ---- type names and reflection ----

TEST_F(ActionRecords, type_names_and_reflection) {
    qb_test::expect_names<asn_kxaction_t>("kxaction_t", "kxaction_t", "kxaction_s_t",
                                          {"kxaction_t", "  INTEGER", "  qbUTF8string", "  qbUTF8string",
                                           "  qbUTF8string", "  INTEGER", "  INTEGER", "  attrlist_t",
                                           "    SEQUENCEOF"});
    // Every member mandatory.
    qb_test::expect_fields(asn_kxaction_t::reflect(),
                           {{"bit", qb_field_int, qb_test::kAny, qb_test::kAny, nullptr, 0},
                            {"letter", qb_field_text, qb_test::kAny, qb_test::kAny, nullptr, 0},
                            {"name", qb_field_text, qb_test::kAny, qb_test::kAny, nullptr, 0},
                            {"description", qb_field_text, qb_test::kAny, qb_test::kAny, nullptr, 0},
                            {"type", qb_field_int, qb_test::kAny, qb_test::kAny, nullptr, 0},
                            {"flags", qb_field_int, qb_test::kAny, qb_test::kAny, nullptr, 0},
                            {"attrlist", qb_field_record, offsetof(kxaction_s_t, attrlist), qb_test::kAny,
                             &asn_attrlist_t::reflect(), 0}});
    // exactly 16 characters: kept whole
    qb_test::expect_names<asn_kxaction_group_t>("kxaction_group_t", "kxaction_group_t", "kxaction_group_s_t");
    qb_test::expect_fields(asn_kxaction_group_t::reflect(),
                           {{"name", qb_field_text},
                            {"actions", qb_field_record_slots, offsetof(kxaction_group_s_t, actions), qb_test::kAny,
                             &asn_kxaction_t::reflect(), -1, -1, 32},
                            {"attrlist", qb_field_record}});
}

// The slot array of a group is an array of CHOICEs between NULL and an action.
TEST_F(ActionRecords, type_names_of_the_group_and_its_array) {
    asn_kxaction_group_t rec(security_off);
    EXPECT_STREQ(rec.name.get_type_name(), "qbUTF8string");
    EXPECT_STREQ(rec.actions.get_type_name(), "SARRAYOF");
    EXPECT_STREQ(rec.actions.list.get_type_name(), "SEQUENCEOF");
    EXPECT_STREQ(rec.attrlist.get_type_name(), "attrlist_t");
    auto* slot = rec.actions.add_empty_slot();
    ASSERT_NE(slot, nullptr);
    EXPECT_STREQ(slot->get_type_name(), "CHOICE");
    EXPECT_STREQ(slot->null_value.get_type_name(), "NULL");
    EXPECT_STREQ(slot->value.get_type_name(), "kxaction_t");
}

TEST_F(ActionRecords, groups_type_name_is_held_cut_to_16_characters_quirk) {
    // The reflection table keeps the full name.
    qb_test::expect_names<asn_kxaction_groups_t>("kxaction_groups_", "kxaction_groups_t", "kxaction_groups_s_t");
    asn_kxaction_groups_t rec(security_off);
    EXPECT_STREQ(rec.groups.get_type_name(), "SARRAYOF");
    EXPECT_STREQ(rec.attrlist.get_type_name(), "attrlist_t");
    auto* slot = rec.groups.add_empty_slot();
    ASSERT_NE(slot, nullptr);
    EXPECT_STREQ(slot->value.get_type_name(), "kxaction_group_t");
    qb_test::expect_fields(asn_kxaction_groups_t::reflect(),
                           {{"groups", qb_field_record_slots, qb_test::kAny, qb_test::kAny, nullptr, -1, -1, 32},
                            {"attrlist", qb_field_record}});
}

// ---- allocation failures ----

// Every allocation of a decode fails once in turn (support/record_test.h):
// each run that takes the failure returns the memory code and leaves a record
// the library's freer releases, and the slot walker's own failures name this
// group's source file.
TEST_F(ActionRecords, allocation_failures_report_the_memory_code_and_leak_nothing) {
    kxaction_s_t a = bare_action(1);
    kxaction_s_t b{2, text("b"), text("bee"), nullptr, 0, 0, {0, nullptr}};
    kxaction_group_s_t in{};
    in.name = text("g");
    in.actions[1] = &a;
    in.actions[4] = &b;
    qb_test::expect_sweep<asn_kxaction_group_t>(
        "decode", in, nullptr, qb_test::sweep_way::decode, 100000,
        {"Exception: ASN: Memory error [10652065] in base_idls/actionidl_asn at line "});
}

}  // namespace
