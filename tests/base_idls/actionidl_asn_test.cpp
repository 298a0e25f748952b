// tests/base_idls/actionidl_asn_test.cpp - actions, action groups and sets of
// action groups: exact bytes, round trips, the 32-slot arrays with holes, type
// names and allocation failures.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "asn1/asn1.h"
#include "base_idls/actionidl_asn.h"
#include "support/failing_malloc.h"
#include "support/hex.h"
#include "support/record_test.h"

namespace {

using qb_test::decode;
using qb_test::encode;
using qb_test::expect_attrs_empty;
using qb_test::expect_one_attr;
using qb_test::one_attr;
using qb_test::sweep_decode;
using qb_test::sweep_encode;
using qb_test::sweep_result;
using qb_test::to_hex;

// An action with only its bit number set: {bit, NULL, NULL, NULL, 0, 0, no attributes}.
kxaction_s_t bare_action(int bit) { return kxaction_s_t{bit, nullptr, nullptr, nullptr, 0, 0, {0, nullptr}}; }

void expect_bare_action(const kxaction_s_t* a, int bit) {
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(a->bit, bit);
    ASSERT_NE(a->letter, nullptr);
    EXPECT_STREQ(a->letter, "");
    ASSERT_NE(a->name, nullptr);
    EXPECT_STREQ(a->name, "");
    ASSERT_NE(a->description, nullptr);
    EXPECT_STREQ(a->description, "");
    EXPECT_EQ(a->type, 0);
    EXPECT_EQ(a->flags, 0);
    expect_attrs_empty(a->attrlist);
}

// The frame of bare_action(1), bare_action(2), bare_action(3): 21 bytes each.
#define BARE_ACTION(b) "30 13 02 01 " b " 0C 00 0C 00 0C 00 02 01 00 02 01 00 30 02 30 00 "

}  // namespace

// ---- kxaction_t ----

TEST(KxactionRecord, EncodesEveryMemberInOrderAndDecodesBack) {
    one_attr attrs;
    kxaction_s_t in{5, const_cast<char*>("r"), const_cast<char*>("read"), const_cast<char*>("Read"), 1, 0x80,
                    attrs.list};
    const auto expected = hex(
        "04 02 AC DC 30 2F"
        " 02 01 05"
        " 0C 01 72"
        " 0C 04 72 65 61 64"
        " 0C 04 52 65 61 64"
        " 02 01 01"
        " 02 02 00 80"
        " 30 14 30 12 30 10 0C 01 61 30 0B 30 09 02 01 01 0C 01 78 04 01 01");
    const auto bytes = encode(in);
    EXPECT_EQ(to_hex(bytes), to_hex(expected));

    kxaction_s_t out;
    std::memset(&out, 0, sizeof out);
    ASSERT_EQ(decode(expected, out), 0x00000000U);
    EXPECT_EQ(out.bit, 5);
    EXPECT_STREQ(out.letter, "r");
    EXPECT_STREQ(out.name, "read");
    EXPECT_STREQ(out.description, "Read");
    EXPECT_EQ(out.type, 1);
    EXPECT_EQ(out.flags, 0x80);
    expect_one_attr(out.attrlist);
    // The decoded record encodes to the same bytes again.
    EXPECT_EQ(to_hex(encode(out)), to_hex(expected));
    qbAsnFreeObj(out);
}

TEST(KxactionRecord, LcsFormGivesTheSameBytesForAscii) {
    one_attr attrs;
    kxaction_s_t in{5, const_cast<char*>("r"), const_cast<char*>("read"), const_cast<char*>("Read"), 1, 0x80,
                    attrs.list};
    const auto plain = encode(in);
    const auto lcs = encode(in, true);
    EXPECT_EQ(to_hex(lcs), to_hex(plain));
    EXPECT_EQ(lcs.size(), 53U);

    kxaction_s_t out;
    std::memset(&out, 0, sizeof out);
    ASSERT_EQ(decode(lcs, out, true), 0x00000000U);
    EXPECT_EQ(out.bit, 5);
    EXPECT_STREQ(out.letter, "r");
    EXPECT_STREQ(out.name, "read");
    EXPECT_STREQ(out.description, "Read");
    EXPECT_EQ(out.type, 1);
    EXPECT_EQ(out.flags, 0x80);
    expect_one_attr(out.attrlist);
    qbAsnFreeObj(out);
}

TEST(KxactionRecord, NullAndEmptyStringsComeBackAsEmptyStrings) {
    kxaction_s_t in{0, nullptr, nullptr, const_cast<char*>(""), -1, 0, {0, nullptr}};
    const auto expected = hex(
        "04 02 AC DC 30 13 02 01 00 0C 00 0C 00 0C 00 02 01 FF 02 01 00 30 02 30 00");
    EXPECT_EQ(to_hex(encode(in)), to_hex(expected));

    kxaction_s_t out;
    std::memset(&out, 0, sizeof out);
    ASSERT_EQ(decode(expected, out), 0x00000000U);
    EXPECT_EQ(out.bit, 0);
    ASSERT_NE(out.letter, nullptr);
    EXPECT_STREQ(out.letter, "");
    ASSERT_NE(out.name, nullptr);
    EXPECT_STREQ(out.name, "");
    ASSERT_NE(out.description, nullptr);
    EXPECT_STREQ(out.description, "");
    EXPECT_EQ(out.type, -1);
    EXPECT_EQ(out.flags, 0);
    expect_attrs_empty(out.attrlist);
    qbAsnFreeObj(out);
}

TEST(KxactionRecord, OtherEnvelopeVersionIsRefused) {
    const auto bytes = hex("04 03 AC DC 30 13 02 01 00 0C 00 0C 00 0C 00 02 01 FF 02 01 00 30 02 30 00");
    kxaction_s_t out;
    std::memset(&out, 0, sizeof out);
    EXPECT_EQ(decode(bytes, out), 0x10652196U);
    EXPECT_EQ(out.letter, nullptr);
    EXPECT_EQ(out.type, 0);
}

TEST(KxactionRecord, TypeNames) {
    asn_kxaction_t rec(security_off);
    EXPECT_STREQ(rec.get_type_name(), "kxaction_t");
    EXPECT_STREQ(rec.bit.get_type_name(), "INTEGER");
    EXPECT_STREQ(rec.letter.get_type_name(), "qbUTF8string");
    EXPECT_STREQ(rec.description.get_type_name(), "qbUTF8string");
    EXPECT_STREQ(rec.flags.get_type_name(), "INTEGER");
    EXPECT_STREQ(rec.attrlist.get_type_name(), "attrlist_t");
    EXPECT_EQ(rec.get_child_count(), 7U);
}

TEST(KxactionRecord, ReflectionListsTheMembersInWireOrder) {
    const qb_record_info& info = asn_kxaction_t::reflect();
    EXPECT_STREQ(info.name, "kxaction_t");
    EXPECT_STREQ(info.flat_name, "kxaction_s_t");
    EXPECT_EQ(info.flat_size, sizeof(kxaction_s_t));
    ASSERT_EQ(info.field_count, 7U);
    const char* names[] = {"bit", "letter", "name", "description", "type", "flags", "attrlist"};
    const qb_field_kind kinds[] = {qb_field_int, qb_field_text, qb_field_text, qb_field_text,
                                   qb_field_int, qb_field_int, qb_field_record};
    for (size_t i = 0; i < 7; ++i) {
        SCOPED_TRACE(names[i]);
        EXPECT_STREQ(info.fields[i].name, names[i]);
        EXPECT_EQ(info.fields[i].kind, kinds[i]);
        EXPECT_EQ(info.fields[i].optional, 0);
    }
    EXPECT_EQ(info.fields[6].offset, offsetof(kxaction_s_t, attrlist));
    ASSERT_NE(info.fields[6].element, nullptr);
    EXPECT_STREQ(info.fields[6].element()->name, "attrlist_t");
}

// ---- kxaction_group_t ----

TEST(KxactionGroupRecord, OnlyActionInSlotFiveEncodesSixElements) {
    kxaction_s_t action{7, const_cast<char*>("x"), nullptr, nullptr, 0, 0, {0, nullptr}};
    kxaction_group_s_t in{};
    in.name = const_cast<char*>("g");
    in.actions[5] = &action;
    const auto expected = hex(
        "04 02 AC DC 30 29"
        " 0C 01 67"
        " 30 20 05 00 05 00 05 00 05 00 05 00"
        "       30 14 02 01 07 0C 01 78 0C 00 0C 00 02 01 00 02 01 00 30 02 30 00"
        " 30 02 30 00");
    EXPECT_EQ(to_hex(encode(in)), to_hex(expected));

    kxaction_group_s_t out;
    std::memset(&out, 0, sizeof out);
    ASSERT_EQ(decode(expected, out), 0x00000000U);
    EXPECT_STREQ(out.name, "g");
    for (int i = 0; i < 32; ++i) {
        if (i == 5) continue;
        EXPECT_EQ(out.actions[i], nullptr) << "slot " << i;
    }
    ASSERT_NE(out.actions[5], nullptr);
    EXPECT_EQ(out.actions[5]->bit, 7);
    EXPECT_STREQ(out.actions[5]->letter, "x");
    EXPECT_STREQ(out.actions[5]->name, "");
    EXPECT_STREQ(out.actions[5]->description, "");
    EXPECT_EQ(out.actions[5]->type, 0);
    EXPECT_EQ(out.actions[5]->flags, 0);
    expect_attrs_empty(out.actions[5]->attrlist);
    expect_attrs_empty(out.attrlist);
    EXPECT_EQ(to_hex(encode(out)), to_hex(expected));
    qbAsnFreeObj(out);
}

TEST(KxactionGroupRecord, NoActionsEncodesAnEmptyArrayAndDecodesTo32NullSlots) {
    kxaction_group_s_t in{};  // NULL name, every slot NULL, no attributes
    const auto expected = hex("04 02 AC DC 30 08 0C 00 30 00 30 02 30 00");
    EXPECT_EQ(to_hex(encode(in)), to_hex(expected));

    kxaction_group_s_t out;
    std::memset(&out, 0xA5, sizeof out);  // get_value clears the whole record itself
    ASSERT_EQ(decode(expected, out), 0x00000000U);
    ASSERT_NE(out.name, nullptr);
    EXPECT_STREQ(out.name, "");
    for (int i = 0; i < 32; ++i) EXPECT_EQ(out.actions[i], nullptr) << "slot " << i;
    expect_attrs_empty(out.attrlist);
    qbAsnFreeObj(out);
}

TEST(KxactionGroupRecord, FirstAndLastSlotKeepThirtyHolesBetweenThem) {
    kxaction_s_t first = bare_action(1);
    kxaction_s_t last = bare_action(2);
    kxaction_group_s_t in{};
    in.actions[0] = &first;
    in.actions[31] = &last;
    one_attr attrs;
    in.attrlist = attrs.list;
    const auto expected = hex(
        "04 02 AC DC 30 81 80"
        " 0C 00"
        " 30 66 " BARE_ACTION("01")
        "   05 00 05 00 05 00 05 00 05 00 05 00 05 00 05 00 05 00 05 00"
        "   05 00 05 00 05 00 05 00 05 00 05 00 05 00 05 00 05 00 05 00"
        "   05 00 05 00 05 00 05 00 05 00 05 00 05 00 05 00 05 00 05 00 "
        BARE_ACTION("02")
        " 30 14 30 12 30 10 0C 01 61 30 0B 30 09 02 01 01 0C 01 78 04 01 01");
    EXPECT_EQ(to_hex(encode(in)), to_hex(expected));

    kxaction_group_s_t out;
    std::memset(&out, 0, sizeof out);
    ASSERT_EQ(decode(expected, out), 0x00000000U);
    EXPECT_STREQ(out.name, "");
    expect_bare_action(out.actions[0], 1);
    for (int i = 1; i < 31; ++i) EXPECT_EQ(out.actions[i], nullptr) << "slot " << i;
    expect_bare_action(out.actions[31], 2);
    expect_one_attr(out.attrlist);
    qbAsnFreeObj(out);
}

TEST(KxactionGroupRecord, TwoUsedSlotsFillOnlyTheHolesBeforeEach) {
    kxaction_s_t a = bare_action(1);
    kxaction_s_t b = bare_action(2);
    kxaction_group_s_t in{};
    in.name = const_cast<char*>("g");
    in.actions[1] = &a;
    in.actions[3] = &b;
    // NULL, action, NULL, action: nothing after slot 3.
    const auto expected = hex(
        "04 02 AC DC 30 37 0C 01 67"
        " 30 2E 05 00 " BARE_ACTION("01") "05 00 " BARE_ACTION("02")
        " 30 02 30 00");
    EXPECT_EQ(to_hex(encode(in)), to_hex(expected));
}

TEST(KxactionGroupRecord, MoreThan32ElementsFillSlots0To31AndDropTheRest) {
    // 34 elements: an action, 30 NULLs, an action (slot 31), an action and a NULL past the end.
    const auto input = hex(
        "04 02 AC DC 30 81 85"
        " 0C 00"
        " 30 7D " BARE_ACTION("01")
        "   05 00 05 00 05 00 05 00 05 00 05 00 05 00 05 00 05 00 05 00"
        "   05 00 05 00 05 00 05 00 05 00 05 00 05 00 05 00 05 00 05 00"
        "   05 00 05 00 05 00 05 00 05 00 05 00 05 00 05 00 05 00 05 00 "
        BARE_ACTION("02") BARE_ACTION("03")
        "   05 00"
        " 30 02 30 00");
    kxaction_group_s_t out;
    std::memset(&out, 0, sizeof out);
    ASSERT_EQ(decode(input, out), 0x00000000U);
    expect_bare_action(out.actions[0], 1);
    for (int i = 1; i < 31; ++i) EXPECT_EQ(out.actions[i], nullptr) << "slot " << i;
    expect_bare_action(out.actions[31], 2);
    expect_attrs_empty(out.attrlist);
    qbAsnFreeObj(out);  // the dropped action was never allocated (the leak check sees to it)
}

TEST(KxactionGroupRecord, NullElementsLeaveTheirSlotsNull) {
    // Three NULL elements and nothing else: every slot stays NULL, no error.
    const auto input = hex("04 02 AC DC 30 0E 0C 00 30 06 05 00 05 00 05 00 30 02 30 00");
    kxaction_group_s_t out;
    std::memset(&out, 0, sizeof out);
    ASSERT_EQ(decode(input, out), 0x00000000U);
    for (int i = 0; i < 32; ++i) EXPECT_EQ(out.actions[i], nullptr) << "slot " << i;
    qbAsnFreeObj(out);
}

TEST(KxactionGroupRecord, AnElementThatIsNeitherNullNorAnActionFailsTheDecode) {
    // The second element is an INTEGER: neither alternative accepts it.
    const auto input = hex("04 02 AC DC 30 0D 0C 00 30 05 05 00 02 01 01 30 02 30 00");
    kxaction_group_s_t out;
    std::memset(&out, 0, sizeof out);
    EXPECT_EQ(decode(input, out), 0x106521A4U);
    qbAsnFreeObj(out);
}

TEST(KxactionGroupRecord, LcsFormGivesTheSameBytesForAscii) {
    kxaction_s_t action{7, const_cast<char*>("x"), const_cast<char*>("execute"), nullptr, 2, 0, {0, nullptr}};
    kxaction_group_s_t in{};
    in.name = const_cast<char*>("group");
    in.actions[2] = &action;
    const auto plain = encode(in);
    EXPECT_EQ(to_hex(encode(in, true)), to_hex(plain));

    kxaction_group_s_t out;
    std::memset(&out, 0, sizeof out);
    ASSERT_EQ(decode(plain, out, true), 0x00000000U);
    EXPECT_STREQ(out.name, "group");
    EXPECT_EQ(out.actions[0], nullptr);
    EXPECT_EQ(out.actions[1], nullptr);
    ASSERT_NE(out.actions[2], nullptr);
    EXPECT_EQ(out.actions[2]->bit, 7);
    EXPECT_STREQ(out.actions[2]->letter, "x");
    EXPECT_STREQ(out.actions[2]->name, "execute");
    EXPECT_STREQ(out.actions[2]->description, "");
    EXPECT_EQ(out.actions[2]->type, 2);
    for (int i = 3; i < 32; ++i) EXPECT_EQ(out.actions[i], nullptr) << "slot " << i;
    qbAsnFreeObj(out);
}

TEST(KxactionGroupRecord, TypeNamesOfTheGroupAndItsArray) {
    asn_kxaction_group_t rec(security_off);
    EXPECT_STREQ(rec.get_type_name(), "kxaction_group_t");  // exactly 16 characters: kept whole
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

TEST(KxactionGroupRecord, ReflectionShowsThe32Slots) {
    const qb_record_info& info = asn_kxaction_group_t::reflect();
    EXPECT_STREQ(info.name, "kxaction_group_t");
    EXPECT_STREQ(info.flat_name, "kxaction_group_s_t");
    EXPECT_EQ(info.flat_size, sizeof(kxaction_group_s_t));
    ASSERT_EQ(info.field_count, 3U);
    EXPECT_STREQ(info.fields[0].name, "name");
    EXPECT_EQ(info.fields[0].kind, qb_field_text);
    EXPECT_STREQ(info.fields[1].name, "actions");
    EXPECT_EQ(info.fields[1].kind, qb_field_record_slots);
    EXPECT_EQ(info.fields[1].size, 32U);
    EXPECT_EQ(info.fields[1].offset, offsetof(kxaction_group_s_t, actions));
    ASSERT_NE(info.fields[1].element, nullptr);
    EXPECT_STREQ(info.fields[1].element()->name, "kxaction_t");
    EXPECT_STREQ(info.fields[2].name, "attrlist");
    EXPECT_EQ(info.fields[2].kind, qb_field_record);
}

// Every allocation of an encode and of a decode fails once in turn (the
// sweeps of support/record_test.h): each run that takes the failure returns
// the memory code, a failed decode leaves a record qbAsnFreeObj can release,
// and the slot walker's own failures name this group's source file.
TEST(KxactionGroupRecord, AllocationFailuresReportTheMemoryCodeAndLeakNothing) {
    kxaction_s_t a = bare_action(1);
    kxaction_s_t b{2, const_cast<char*>("b"), const_cast<char*>("bee"), nullptr, 0, 0, {0, nullptr}};
    kxaction_group_s_t in{};
    in.name = const_cast<char*>("g");
    in.actions[1] = &a;
    in.actions[4] = &b;
    const auto good = encode(in);
    ASSERT_FALSE(good.empty());

    constexpr long kSweepLimit = 100000;
    const sweep_result encoded = sweep_encode(in, good, kSweepLimit);
    const sweep_result decoded = sweep_decode<kxaction_group_s_t>(good, kSweepLimit, [](const kxaction_group_s_t& out) {
        EXPECT_STREQ(out.name, "g");
        expect_bare_action(out.actions[1], 1);
        ASSERT_NE(out.actions[4], nullptr);
        EXPECT_STREQ(out.actions[4]->name, "bee");
    });
    const char* const group_error = "Exception: ASN: Memory error [10652065] in base_idls/actionidl_asn at line ";
    EXPECT_TRUE(encoded.some_run_printed(group_error) || decoded.some_run_printed(group_error));
}

// ---- kxaction_groups_t ----

TEST(KxactionGroupsRecord, GroupInSlotOneHoldingAnActionInSlotZero) {
    kxaction_s_t action = bare_action(1);
    kxaction_group_s_t group{};
    group.name = const_cast<char*>("g");
    group.actions[0] = &action;
    kxaction_groups_s_t in{};
    in.groups[1] = &group;
    const auto expected = hex(
        "04 02 AC DC 30 28"
        " 30 22 05 00"
        "   30 1E 0C 01 67 30 15 " BARE_ACTION("01") "30 02 30 00"
        " 30 02 30 00");
    EXPECT_EQ(to_hex(encode(in)), to_hex(expected));
    EXPECT_EQ(to_hex(encode(in, true)), to_hex(expected));

    kxaction_groups_s_t out;
    std::memset(&out, 0, sizeof out);
    ASSERT_EQ(decode(expected, out), 0x00000000U);
    EXPECT_EQ(out.groups[0], nullptr);
    ASSERT_NE(out.groups[1], nullptr);
    EXPECT_STREQ(out.groups[1]->name, "g");
    expect_bare_action(out.groups[1]->actions[0], 1);
    for (int i = 1; i < 32; ++i) EXPECT_EQ(out.groups[1]->actions[i], nullptr) << "action slot " << i;
    expect_attrs_empty(out.groups[1]->attrlist);
    for (int i = 2; i < 32; ++i) EXPECT_EQ(out.groups[i], nullptr) << "group slot " << i;
    expect_attrs_empty(out.attrlist);
    qbAsnFreeObj(out);

    kxaction_groups_s_t lcs_out;
    std::memset(&lcs_out, 0, sizeof lcs_out);
    ASSERT_EQ(decode(expected, lcs_out, true), 0x00000000U);
    ASSERT_NE(lcs_out.groups[1], nullptr);
    EXPECT_STREQ(lcs_out.groups[1]->name, "g");
    expect_bare_action(lcs_out.groups[1]->actions[0], 1);
    qbAsnFreeObj(lcs_out);
}

TEST(KxactionGroupsRecord, NoGroupsEncodesAnEmptyArrayAndDecodesTo32NullSlots) {
    kxaction_groups_s_t in{};
    one_attr attrs;
    in.attrlist = attrs.list;
    const auto expected = hex(
        "04 02 AC DC 30 18 30 00"
        " 30 14 30 12 30 10 0C 01 61 30 0B 30 09 02 01 01 0C 01 78 04 01 01");
    EXPECT_EQ(to_hex(encode(in)), to_hex(expected));

    kxaction_groups_s_t out;
    std::memset(&out, 0, sizeof out);
    ASSERT_EQ(decode(expected, out), 0x00000000U);
    for (int i = 0; i < 32; ++i) EXPECT_EQ(out.groups[i], nullptr) << "slot " << i;
    expect_one_attr(out.attrlist);
    qbAsnFreeObj(out);
}

TEST(KxactionGroupsRecord, A33rdGroupIsDropped) {
    // 32 NULL elements, then a group that has no slot to go to.
    const auto input = hex(
        "04 02 AC DC 30 50"
        " 30 4A"
        "   05 00 05 00 05 00 05 00 05 00 05 00 05 00 05 00 05 00 05 00"
        "   05 00 05 00 05 00 05 00 05 00 05 00 05 00 05 00 05 00 05 00"
        "   05 00 05 00 05 00 05 00 05 00 05 00 05 00 05 00 05 00 05 00"
        "   05 00 05 00"
        "   30 08 0C 00 30 00 30 02 30 00"
        " 30 02 30 00");
    kxaction_groups_s_t out;
    std::memset(&out, 0, sizeof out);
    ASSERT_EQ(decode(input, out), 0x00000000U);
    for (int i = 0; i < 32; ++i) EXPECT_EQ(out.groups[i], nullptr) << "slot " << i;
    qbAsnFreeObj(out);
}

TEST(KxactionGroupsRecord, TypeNameIsHeldCutTo16Characters_quirk) {
    asn_kxaction_groups_t rec(security_off);
    EXPECT_STREQ(rec.get_type_name(), "kxaction_groups_");
    EXPECT_STREQ(rec.groups.get_type_name(), "SARRAYOF");
    EXPECT_STREQ(rec.attrlist.get_type_name(), "attrlist_t");
    auto* slot = rec.groups.add_empty_slot();
    ASSERT_NE(slot, nullptr);
    EXPECT_STREQ(slot->value.get_type_name(), "kxaction_group_t");
    // The reflection table keeps the full name.
    EXPECT_STREQ(asn_kxaction_groups_t::reflect().name, "kxaction_groups_t");
    EXPECT_STREQ(asn_kxaction_groups_t::reflect().flat_name, "kxaction_groups_s_t");
    EXPECT_EQ(asn_kxaction_groups_t::reflect().flat_size, sizeof(kxaction_groups_s_t));
    ASSERT_EQ(asn_kxaction_groups_t::reflect().field_count, 2U);
    EXPECT_EQ(asn_kxaction_groups_t::reflect().fields[0].kind, qb_field_record_slots);
    EXPECT_EQ(asn_kxaction_groups_t::reflect().fields[0].size, 32U);
}
