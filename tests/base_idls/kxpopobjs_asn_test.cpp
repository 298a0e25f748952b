// tests/base_idls/kxpopobjs_asn_test.cpp - protected-object policies, their
// access times and ipauth entries, and the maps between protected objects and
// policies: exact bytes, round trips, empty lists, NULL texts and type names.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

#include "asn1/asn1.h"
#include "base_idls/kxpopobjs_asn.h"
#include "support/hex.h"
#include "support/record_test.h"

namespace {

using qb_test::decode;
using qb_test::encode;
using qb_test::expect_attrs_empty;
using qb_test::expect_one_attr;
using qb_test::one_attr;
using qb_test::to_hex;

}  // namespace

// ---- kxtod_range_t ----

TEST(KxtodRangeRecord, EncodesThreeIntegersAndDecodesBack) {
    kxtod_range_s_t in{0x7F, 0, 86399};
    const auto expected = hex("04 02 AC DC 30 0B 02 01 7F 02 01 00 02 03 01 51 7F");
    EXPECT_EQ(to_hex(encode(in)), to_hex(expected));
    EXPECT_EQ(to_hex(encode(in, true)), to_hex(expected));

    kxtod_range_s_t out;
    std::memset(&out, 0, sizeof out);
    ASSERT_EQ(decode(expected, out), 0x00000000U);
    EXPECT_EQ(out.days, 0x7F);
    EXPECT_EQ(out.start_time, 0);
    EXPECT_EQ(out.end_time, 86399);
    qbAsnFreeObj(out);  // owns nothing: a no-op
    EXPECT_EQ(out.end_time, 86399);
}

TEST(KxtodRangeRecord, ThirtyTwoBitEdges) {
    kxtod_range_s_t in{-1, static_cast<int>(0x80000000U), 0x7FFFFFFF};
    const auto expected = hex("04 02 AC DC 30 0F 02 01 FF 02 04 80 00 00 00 02 04 7F FF FF FF");
    EXPECT_EQ(to_hex(encode(in)), to_hex(expected));
    kxtod_range_s_t out;
    std::memset(&out, 0, sizeof out);
    ASSERT_EQ(decode(expected, out), 0x00000000U);
    EXPECT_EQ(out.days, -1);
    EXPECT_EQ(out.start_time, static_cast<int>(0x80000000U));
    EXPECT_EQ(out.end_time, 0x7FFFFFFF);
}

// ---- kxaccess_times_t ----

TEST(KxaccessTimesRecord, EmbedsTheRangeByValue) {
    kxaccess_times_s_t in{1, {0x7F, 0, 86399}};
    const auto expected = hex("04 02 AC DC 30 10 02 01 01 30 0B 02 01 7F 02 01 00 02 03 01 51 7F");
    EXPECT_EQ(to_hex(encode(in)), to_hex(expected));
    EXPECT_EQ(to_hex(encode(in, true)), to_hex(expected));

    kxaccess_times_s_t out;
    std::memset(&out, 0, sizeof out);
    ASSERT_EQ(decode(expected, out, true), 0x00000000U);
    EXPECT_EQ(out.time_zone, 1);
    EXPECT_EQ(out.range.days, 0x7F);
    EXPECT_EQ(out.range.start_time, 0);
    EXPECT_EQ(out.range.end_time, 86399);
    qbAsnFreeObj(out);
}

// ---- kxpop_ipauth_t ----

TEST(KxpopIpauthRecord, EncodesThreeIntegersAndDecodesBack) {
    kxpop_ipauth_s_t in{0x0A000000, static_cast<int>(0xFF000000U), 3};
    const auto expected = hex("04 02 AC DC 30 0F 02 04 0A 00 00 00 02 04 FF 00 00 00 02 01 03");
    EXPECT_EQ(to_hex(encode(in)), to_hex(expected));
    EXPECT_EQ(to_hex(encode(in, true)), to_hex(expected));

    kxpop_ipauth_s_t out;
    std::memset(&out, 0, sizeof out);
    ASSERT_EQ(decode(expected, out), 0x00000000U);
    EXPECT_EQ(out.network, 0x0A000000);
    EXPECT_EQ(out.netmask, static_cast<int>(0xFF000000U));
    EXPECT_EQ(out.auth_level, 3);
    qbAsnFreeObj(out);
}

// ---- kxpop_t ----

TEST(KxpopRecord, EncodesEveryMemberInOrderAndDecodesBack) {
    kxpop_ipauth_s_t entries[2] = {{1, 2, 3}, {4, 5, 6}};
    kxpop_s_t in{const_cast<char*>("p"), {0, {1, 2, 3}}, 1, 2, 3, 2, entries, {0, nullptr}};
    const auto expected = hex(
        "04 02 AC DC 30 38"
        " 0C 01 70"
        " 30 0E 02 01 00 30 09 02 01 01 02 01 02 02 01 03"
        " 02 01 01 02 01 02 02 01 03"
        " 30 16 30 09 02 01 01 02 01 02 02 01 03 30 09 02 01 04 02 01 05 02 01 06"
        " 30 02 30 00");
    EXPECT_EQ(to_hex(encode(in)), to_hex(expected));

    kxpop_s_t out;
    std::memset(&out, 0, sizeof out);
    ASSERT_EQ(decode(expected, out), 0x00000000U);
    EXPECT_STREQ(out.name, "p");
    EXPECT_EQ(out.access_times.time_zone, 0);
    EXPECT_EQ(out.access_times.range.days, 1);
    EXPECT_EQ(out.access_times.range.start_time, 2);
    EXPECT_EQ(out.access_times.range.end_time, 3);
    EXPECT_EQ(out.warning_mode, 1);
    EXPECT_EQ(out.audit_level, 2);
    EXPECT_EQ(out.qop, 3);
    ASSERT_EQ(out.ipauth_count, 2U);
    ASSERT_NE(out.ipauth, nullptr);
    EXPECT_EQ(out.ipauth[0].network, 1);
    EXPECT_EQ(out.ipauth[0].netmask, 2);
    EXPECT_EQ(out.ipauth[0].auth_level, 3);
    EXPECT_EQ(out.ipauth[1].network, 4);
    EXPECT_EQ(out.ipauth[1].netmask, 5);
    EXPECT_EQ(out.ipauth[1].auth_level, 6);
    expect_attrs_empty(out.attrlist);
    EXPECT_EQ(to_hex(encode(out)), to_hex(expected));
    qbAsnFreeObj(out);
}

TEST(KxpopRecord, LcsFormGivesTheSameBytesForAscii) {
    kxpop_ipauth_s_t entry{10, 20, 30};
    one_attr attrs;
    kxpop_s_t in{const_cast<char*>("policy"), {4, {5, 6, 7}}, 8, 9, 10, 1, &entry, attrs.list};
    const auto plain = encode(in);
    EXPECT_EQ(to_hex(encode(in, true)), to_hex(plain));

    kxpop_s_t out;
    std::memset(&out, 0, sizeof out);
    ASSERT_EQ(decode(plain, out, true), 0x00000000U);
    EXPECT_STREQ(out.name, "policy");
    EXPECT_EQ(out.access_times.time_zone, 4);
    EXPECT_EQ(out.access_times.range.days, 5);
    EXPECT_EQ(out.access_times.range.start_time, 6);
    EXPECT_EQ(out.access_times.range.end_time, 7);
    EXPECT_EQ(out.warning_mode, 8);
    EXPECT_EQ(out.audit_level, 9);
    EXPECT_EQ(out.qop, 10);
    ASSERT_EQ(out.ipauth_count, 1U);
    ASSERT_NE(out.ipauth, nullptr);
    EXPECT_EQ(out.ipauth[0].network, 10);
    EXPECT_EQ(out.ipauth[0].netmask, 20);
    EXPECT_EQ(out.ipauth[0].auth_level, 30);
    expect_one_attr(out.attrlist);
    qbAsnFreeObj(out);
}

TEST(KxpopRecord, NoIpauthEntriesEncodesAnEmptyListAndDecodesToCountZeroAndNull) {
    kxpop_s_t in{};  // NULL name, all zeros, no entries, no attributes
    const auto expected = hex(
        "04 02 AC DC 30 21"
        " 0C 00"
        " 30 0E 02 01 00 30 09 02 01 00 02 01 00 02 01 00"
        " 02 01 00 02 01 00 02 01 00"
        " 30 00"
        " 30 02 30 00");
    EXPECT_EQ(to_hex(encode(in)), to_hex(expected));

    kxpop_s_t out;
    std::memset(&out, 0x5A, sizeof out);  // get_value clears the record itself
    ASSERT_EQ(decode(expected, out), 0x00000000U);
    ASSERT_NE(out.name, nullptr);
    EXPECT_STREQ(out.name, "");
    EXPECT_EQ(out.access_times.range.end_time, 0);
    EXPECT_EQ(out.qop, 0);
    EXPECT_EQ(out.ipauth_count, 0U);
    EXPECT_EQ(out.ipauth, nullptr);
    expect_attrs_empty(out.attrlist);
    qbAsnFreeObj(out);
}

TEST(KxpopRecord, TruncatedIpauthEntryFailsBeforeTheRecordIsTouched) {
    // The second ipauth entry lacks its third INTEGER.
    const auto input = hex(
        "04 02 AC DC 30 35"
        " 0C 01 70"
        " 30 0E 02 01 00 30 09 02 01 01 02 01 02 02 01 03"
        " 02 01 01 02 01 02 02 01 03"
        " 30 13 30 09 02 01 01 02 01 02 02 01 03 30 06 02 01 04 02 01 05"
        " 30 02 30 00");
    kxpop_s_t out;
    std::memset(&out, 0, sizeof out);
    // The entry's reader finds no octets left for its mandatory third member.
    EXPECT_EQ(decode(input, out), 0x10652198U);
    // The read failed before get_value: the record is as the caller zeroed it.
    EXPECT_EQ(out.name, nullptr);
    EXPECT_EQ(out.ipauth_count, 0U);
    EXPECT_EQ(out.ipauth, nullptr);
    qbAsnFreeObj(out);
}

TEST(KxpopRecord, TypeNamesAndReflection) {
    asn_kxpop_t rec(security_off);
    EXPECT_STREQ(rec.get_type_name(), "kxpop_t");
    EXPECT_STREQ(rec.name.get_type_name(), "qbUTF8string");
    EXPECT_STREQ(rec.access_times.get_type_name(), "kxaccess_times_t");  // exactly 16 characters
    EXPECT_STREQ(rec.access_times.range.get_type_name(), "kxtod_range_t");
    EXPECT_STREQ(rec.qop.get_type_name(), "INTEGER");
    EXPECT_STREQ(rec.ipauth.get_type_name(), "SEQUENCEOF");
    EXPECT_STREQ(rec.attrlist.get_type_name(), "attrlist_t");
    EXPECT_EQ(rec.get_child_count(), 7U);
    asn_kxpop_ipauth_t entry(security_off);
    EXPECT_STREQ(entry.get_type_name(), "kxpop_ipauth_t");

    const qb_record_info& info = asn_kxpop_t::reflect();
    EXPECT_STREQ(info.name, "kxpop_t");
    EXPECT_STREQ(info.flat_name, "kxpop_s_t");
    EXPECT_EQ(info.flat_size, sizeof(kxpop_s_t));
    ASSERT_EQ(info.field_count, 7U);
    const char* names[] = {"name", "access_times", "warning_mode", "audit_level", "qop", "ipauth", "attrlist"};
    const qb_field_kind kinds[] = {qb_field_text, qb_field_record, qb_field_int, qb_field_int,
                                   qb_field_int, qb_field_record_list, qb_field_record};
    for (size_t i = 0; i < 7; ++i) {
        SCOPED_TRACE(names[i]);
        EXPECT_STREQ(info.fields[i].name, names[i]);
        EXPECT_EQ(info.fields[i].kind, kinds[i]);
    }
    EXPECT_EQ(info.fields[5].offset, offsetof(kxpop_s_t, ipauth_count));
    EXPECT_EQ(info.fields[5].offset2, offsetof(kxpop_s_t, ipauth));
    ASSERT_NE(info.fields[5].element, nullptr);
    EXPECT_STREQ(info.fields[5].element()->name, "kxpop_ipauth_t");
    EXPECT_STREQ(asn_kxaccess_times_t::reflect().name, "kxaccess_times_t");
    EXPECT_STREQ(asn_kxtod_range_t::reflect().name, "kxtod_range_t");
}

// ---- kxmap_pobj_to_pop_t / kxmap_pop_to_pobj_t ----

TEST(KxmapPobjToPopRecord, NullStringTravelsAsEmptyTextAndDecodesAsEmptyString) {
    char* names[3] = {const_cast<char*>("/a"), nullptr, const_cast<char*>("b")};
    one_attr attrs;
    kxmap_pobj_to_pop_s_t in{3, names, attrs.list};
    const auto expected = hex(
        "04 02 AC DC 30 21"
        " 30 09 0C 02 2F 61 0C 00 0C 01 62"
        " 30 14 30 12 30 10 0C 01 61 30 0B 30 09 02 01 01 0C 01 78 04 01 01");
    EXPECT_EQ(to_hex(encode(in)), to_hex(expected));
    EXPECT_EQ(to_hex(encode(in, true)), to_hex(expected));

    kxmap_pobj_to_pop_s_t out;
    std::memset(&out, 0, sizeof out);
    ASSERT_EQ(decode(expected, out), 0x00000000U);
    ASSERT_EQ(out.count, 3U);
    ASSERT_NE(out.names, nullptr);
    EXPECT_STREQ(out.names[0], "/a");
    ASSERT_NE(out.names[1], nullptr);
    EXPECT_STREQ(out.names[1], "");
    EXPECT_STREQ(out.names[2], "b");
    expect_one_attr(out.attrlist);
    qbAsnFreeObj(out);
}

TEST(KxmapPobjToPopRecord, EmptyListDecodesToCountZeroAndNull) {
    kxmap_pobj_to_pop_s_t in{0, nullptr, {0, nullptr}};
    const auto expected = hex("04 02 AC DC 30 06 30 00 30 02 30 00");
    EXPECT_EQ(to_hex(encode(in)), to_hex(expected));

    kxmap_pobj_to_pop_s_t out;
    std::memset(&out, 0, sizeof out);
    ASSERT_EQ(decode(expected, out, true), 0x00000000U);
    EXPECT_EQ(out.count, 0U);
    EXPECT_EQ(out.names, nullptr);
    expect_attrs_empty(out.attrlist);
    qbAsnFreeObj(out);
}

TEST(KxmapPobjToPopRecord, TypeNameIsHeldCutTo16Characters_quirk) {
    asn_kxmap_pobj_to_pop_t rec(security_off);
    EXPECT_STREQ(rec.get_type_name(), "kxmap_pobj_to_po");
    EXPECT_STREQ(rec.names.get_type_name(), "SEQUENCEOF");
    EXPECT_STREQ(rec.attrlist.get_type_name(), "attrlist_t");
    EXPECT_STREQ(asn_kxmap_pobj_to_pop_t::reflect().name, "kxmap_pobj_to_pop_t");
    EXPECT_STREQ(asn_kxmap_pobj_to_pop_t::reflect().flat_name, "kxmap_pobj_to_pop_s_t");
    ASSERT_EQ(asn_kxmap_pobj_to_pop_t::reflect().field_count, 2U);
    EXPECT_EQ(asn_kxmap_pobj_to_pop_t::reflect().fields[0].kind, qb_field_text_list);
    EXPECT_STREQ(asn_kxmap_pobj_to_pop_t::reflect().fields[0].name, "names");
}

TEST(KxmapPopToPobjRecord, SameLayoutAsTheOtherMap) {
    char* names[1] = {const_cast<char*>("x")};
    kxmap_pop_to_pobj_s_t in{1, names, {0, nullptr}};
    const auto expected = hex("04 02 AC DC 30 09 30 03 0C 01 78 30 02 30 00");
    EXPECT_EQ(to_hex(encode(in)), to_hex(expected));
    EXPECT_EQ(to_hex(encode(in, true)), to_hex(expected));

    kxmap_pop_to_pobj_s_t out;
    std::memset(&out, 0, sizeof out);
    ASSERT_EQ(decode(expected, out), 0x00000000U);
    ASSERT_EQ(out.count, 1U);
    ASSERT_NE(out.names, nullptr);
    EXPECT_STREQ(out.names[0], "x");
    expect_attrs_empty(out.attrlist);
    qbAsnFreeObj(out);

    // The other map reads the same bytes into the same fields.
    kxmap_pobj_to_pop_s_t other;
    std::memset(&other, 0, sizeof other);
    ASSERT_EQ(decode(expected, other), 0x00000000U);
    ASSERT_EQ(other.count, 1U);
    EXPECT_STREQ(other.names[0], "x");
    qbAsnFreeObj(other);
}

TEST(KxmapPopToPobjRecord, NullStringTravelsAsEmptyText) {
    char* names[2] = {nullptr, const_cast<char*>("")};
    kxmap_pop_to_pobj_s_t in{2, names, {0, nullptr}};
    const auto expected = hex("04 02 AC DC 30 0A 30 04 0C 00 0C 00 30 02 30 00");
    EXPECT_EQ(to_hex(encode(in)), to_hex(expected));

    kxmap_pop_to_pobj_s_t out;
    std::memset(&out, 0, sizeof out);
    ASSERT_EQ(decode(expected, out), 0x00000000U);
    ASSERT_EQ(out.count, 2U);
    ASSERT_NE(out.names[0], nullptr);
    ASSERT_NE(out.names[1], nullptr);
    EXPECT_STREQ(out.names[0], "");
    EXPECT_STREQ(out.names[1], "");
    qbAsnFreeObj(out);
}

TEST(KxmapPopToPobjRecord, TypeNameIsHeldCutTo16Characters_quirk) {
    asn_kxmap_pop_to_pobj_t rec(security_off);
    EXPECT_STREQ(rec.get_type_name(), "kxmap_pop_to_pob");
    EXPECT_STREQ(asn_kxmap_pop_to_pobj_t::reflect().name, "kxmap_pop_to_pobj_t");
    EXPECT_STREQ(asn_kxmap_pop_to_pobj_t::reflect().flat_name, "kxmap_pop_to_pobj_s_t");
    EXPECT_EQ(asn_kxmap_pop_to_pobj_t::reflect().flat_size, sizeof(kxmap_pop_to_pobj_s_t));
}
