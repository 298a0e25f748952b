// tests/base_idls/aclidl_asn_test.cpp - the ACL records (the two mappings
// between protected objects and an ACL, permission sets, ACL entries and
// extended ACLs): wire bytes, round trips in the plain and local-code-set
// forms, null texts, empty lists, type names, what freeing releases, and
// allocation failures during encoding and decoding.
//
// This executable replaces malloc for the whole process (support/
// failing_malloc.h) so that the sweeps can fail a chosen allocation and the
// free test can watch what is released; everything else runs with every
// allocation granted.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "asn1/asn1.h"
#include "asn1/asnbase.h"
#include "base_idls/aclidl_asn.h"
#include "support/failing_malloc.h"
#include "support/hex.h"
#include "support/record_test.h"

namespace {

using qb_test::attrs_k;
using qb_test::bytes_t;
using qb_test::decode_zeroed;
using qb_test::encode;
using qb_test::expect_attrs_empty;
using qb_test::expect_attrs_k;
using qb_test::expect_uuid;
using qb_test::round_trip;
using qb_test::sweep_decode;
using qb_test::sweep_encode;
using qb_test::text;
using qb_test::uuid_1;

// ---- expected bytes, written out ----
// (ENVELOPE, UUIDs, SEC_*, ATTRS_K and ATTRS_EMPTY: support/record_test.h)

// acl_permset_t { 1, 2, 4 }
#define PERMS_124 "30 0B 30 09 02 01 01 02 01 02 02 01 04"
// map_*_t { "a", "bc" } with ATTRS_K
#define MAP_A_BC ENVELOPE "30 1F 30 07 0C 01 61 0C 02 62 63 " ATTRS_K

// ---- helpers ----

void expect_sec_id(const sec_id_t& s, const uuid_t& want, const char* name) {
    expect_uuid(s.uuid, want);
    ASSERT_NE(s.name, nullptr);
    EXPECT_STREQ(s.name, name);
}

void expect_perms(const acl_permset_s_t& p, const std::vector<int>& want) {
    ASSERT_EQ(p.count, want.size());
    if (want.empty()) {
        EXPECT_EQ(p.permissions, nullptr);
        return;
    }
    ASSERT_NE(p.permissions, nullptr);
    EXPECT_EQ(std::vector<int>(p.permissions, p.permissions + p.count), want);
}

// ---- map_pobj_to_acl_s_t / map_acl_to_pobj_s_t ----

template <class Map>
void check_map_a_bc(const Map& o) {
    ASSERT_EQ(o.count, 2U);
    ASSERT_NE(o.names, nullptr);
    EXPECT_STREQ(o.names[0], "a");
    EXPECT_STREQ(o.names[1], "bc");
    expect_attrs_k(o.attrs);
}

TEST(MapPobjToAcl, names_then_attribute_list) {
    char* names[2] = {text("a"), text("bc")};
    map_pobj_to_acl_s_t r{2, names, attrs_k()};
    round_trip(r, MAP_A_BC, [](const map_pobj_to_acl_s_t& o) { check_map_a_bc(o); });
}

TEST(MapAclToPobj, names_then_attribute_list) {
    char* names[2] = {text("a"), text("bc")};
    map_acl_to_pobj_s_t r{2, names, attrs_k()};
    round_trip(r, MAP_A_BC, [](const map_acl_to_pobj_s_t& o) { check_map_a_bc(o); });
}

// The two mappings make their elements differently; the bytes are the same.
TEST(MapAclToPobj, equal_contents_encode_like_map_pobj_to_acl_quirk) {
    char* names[3] = {text("/a"), nullptr, text("xyz")};
    map_pobj_to_acl_s_t forward{3, names, attrlist_s_t{0, nullptr}};
    map_acl_to_pobj_s_t back{3, names, attrlist_s_t{0, nullptr}};
    const bytes_t want = hex(ENVELOPE "30 11 30 0B 0C 02 2F 61 0C 00 0C 03 78 79 7A " ATTRS_EMPTY);
    EXPECT_EQ(encode(forward), want);
    EXPECT_EQ(encode(back), want);
    EXPECT_EQ(encode(forward, true), want);
    EXPECT_EQ(encode(back, true), want);
}

TEST(MapPobjToAcl, no_names_and_empty_attribute_list) {
    map_pobj_to_acl_s_t r{0, nullptr, attrlist_s_t{0, nullptr}};
    round_trip(r, ENVELOPE "30 06 30 00 " ATTRS_EMPTY, [](const map_pobj_to_acl_s_t& o) {
        EXPECT_EQ(o.count, 0U);
        EXPECT_EQ(o.names, nullptr);
        expect_attrs_empty(o.attrs);
    });
}

TEST(MapAclToPobj, no_names_and_empty_attribute_list) {
    map_acl_to_pobj_s_t r{0, nullptr, attrlist_s_t{0, nullptr}};
    round_trip(r, ENVELOPE "30 06 30 00 " ATTRS_EMPTY, [](const map_acl_to_pobj_s_t& o) {
        EXPECT_EQ(o.count, 0U);
        EXPECT_EQ(o.names, nullptr);
        expect_attrs_empty(o.attrs);
    });
}

// A null name travels as the empty text and comes back allocated.
TEST(MapAclToPobj, null_name_decodes_as_allocated_empty_text) {
    char* names[1] = {nullptr};
    map_acl_to_pobj_s_t r{1, names, attrlist_s_t{0, nullptr}};
    round_trip(r, ENVELOPE "30 08 30 02 0C 00 " ATTRS_EMPTY, [](const map_acl_to_pobj_s_t& o) {
        ASSERT_EQ(o.count, 1U);
        ASSERT_NE(o.names, nullptr);
        ASSERT_NE(o.names[0], nullptr);
        EXPECT_STREQ(o.names[0], "");
    });
}

TEST(MapPobjToAcl, null_name_decodes_as_allocated_empty_text) {
    char* names[1] = {nullptr};
    map_pobj_to_acl_s_t r{1, names, attrlist_s_t{0, nullptr}};
    round_trip(r, ENVELOPE "30 08 30 02 0C 00 " ATTRS_EMPTY, [](const map_pobj_to_acl_s_t& o) {
        ASSERT_EQ(o.count, 1U);
        ASSERT_NE(o.names, nullptr);
        ASSERT_NE(o.names[0], nullptr);
        EXPECT_STREQ(o.names[0], "");
    });
}

// ---- acl_permset_s_t ----

TEST(AclPermset, count_zero_is_an_empty_list_and_decodes_to_null_array) {
    acl_permset_s_t r{0, nullptr};
    round_trip(r, ENVELOPE "30 02 30 00", [](const acl_permset_s_t& o) { expect_perms(o, {}); });
}

TEST(AclPermset, values_1_2_4_come_back_in_order) {
    int v[3] = {1, 2, 4};
    acl_permset_s_t r{3, v};
    round_trip(r, ENVELOPE PERMS_124, [](const acl_permset_s_t& o) { expect_perms(o, {1, 2, 4}); });
}

TEST(AclPermset, thirty_two_bit_edges) {
    int v[4] = {-1, 128, 0x7FFFFFFF, -2147483647 - 1};
    acl_permset_s_t r{4, v};
    round_trip(r, ENVELOPE "30 15 30 13 02 01 FF 02 02 00 80 02 04 7F FF FF FF 02 04 80 00 00 00",
               [](const acl_permset_s_t& o) { expect_perms(o, {-1, 128, 0x7FFFFFFF, -2147483647 - 1}); });
}

// ---- acl_entry_s_t ----

TEST(AclEntry, permission_set_integer_identity) {
    int v[3] = {1, 2, 4};
    acl_entry_s_t r{{3, v}, 5, {uuid_1(), text("alice")}};
    round_trip(r, ENVELOPE "30 38 " PERMS_124 " 02 01 05 " SEC_ALICE, [](const acl_entry_s_t& o) {
        expect_perms(o.permset, {1, 2, 4});
        EXPECT_EQ(o.number, 5);
        expect_sec_id(o.identity, uuid_1(), "alice");
    });
}

TEST(AclEntry, empty_permission_set_and_null_name) {
    acl_entry_s_t r{{0, nullptr}, -1, {uuid_t{}, nullptr}};
    round_trip(r, ENVELOPE "30 24 30 02 30 00 02 01 FF " SEC_EMPTY, [](const acl_entry_s_t& o) {
        expect_perms(o.permset, {});
        EXPECT_EQ(o.number, -1);
        expect_sec_id(o.identity, uuid_t{}, "");
    });
}

// ---- acl_ext_s_t ----

// entry { {1}, 0, g1 } and entry { {2, 4}, -2, g2 }
#define ENTRY_1 "30 29 30 05 30 03 02 01 01 02 01 00 " SEC_G1
#define ENTRY_2 "30 2C 30 08 30 06 02 01 02 02 01 04 02 01 FE " SEC_G2
#define EXT_TWO ENVELOPE "30 76 0C 03 61 63 6C 30 59 " ENTRY_1 " " ENTRY_2 " " ATTRS_K

struct ext_fixture {
    int p1[1] = {1};
    int p2[2] = {2, 4};
    acl_entry_s_t entries[2] = {{{1, p1}, 0, {uuid_t{}, text("g1")}}, {{2, p2}, -2, {uuid_t{}, text("g2")}}};
    acl_ext_s_t rec{text("acl"), 2, entries, attrs_k()};
};

TEST(AclExt, two_entries_decode_to_a_contiguous_entry_array) {
    ext_fixture f;
    round_trip(f.rec, EXT_TWO, [](const acl_ext_s_t& o) {
        EXPECT_STREQ(o.name, "acl");
        ASSERT_EQ(o.count, 2U);
        ASSERT_NE(o.entries, nullptr);
        expect_perms(o.entries[0].permset, {1});
        EXPECT_EQ(o.entries[0].number, 0);
        expect_sec_id(o.entries[0].identity, uuid_t{}, "g1");
        expect_perms(o.entries[1].permset, {2, 4});
        EXPECT_EQ(o.entries[1].number, -2);
        expect_sec_id(o.entries[1].identity, uuid_t{}, "g2");
        // Each entry owns its own permission array and identity name.
        EXPECT_NE(o.entries[0].permset.permissions, o.entries[1].permset.permissions);
        EXPECT_NE(o.entries[0].identity.name, o.entries[1].identity.name);
        expect_attrs_k(o.attrs);
    });
}

// Freeing an extended ACL releases the name, each entry's permission array and
// identity name, the entry array, and everything of the attribute list.
TEST(AclExt, free_releases_every_block) {
    acl_ext_s_t o;
    ASSERT_EQ(decode_zeroed(hex(EXT_TWO), o), 0x00000000U);
    ASSERT_EQ(o.count, 2U);
    ASSERT_EQ(o.attrs.count, 1U);
    const std::vector<void*> want = {
        o.name,
        o.entries[0].permset.permissions,
        o.entries[0].identity.name,
        o.entries[1].permset.permissions,
        o.entries[1].identity.name,
        o.entries,
        o.attrs.attrs[0].name,
        o.attrs.attrs[0].values[0].text,
        o.attrs.attrs[0].values[0].bytes,
        o.attrs.attrs[0].values,
        o.attrs.attrs,
    };
    std::vector<void*> freed;
    {
        qb_test::record_allocations log;
        qbAsnFreeObj(o);
        freed = log.freed();
    }
    EXPECT_EQ(freed, want);
}

TEST(AclExt, null_name_no_entries_empty_attribute_list) {
    acl_ext_s_t r{nullptr, 0, nullptr, attrlist_s_t{0, nullptr}};
    round_trip(r, ENVELOPE "30 08 0C 00 30 00 " ATTRS_EMPTY, [](const acl_ext_s_t& o) {
        ASSERT_NE(o.name, nullptr);
        EXPECT_STREQ(o.name, "");
        EXPECT_EQ(o.count, 0U);
        EXPECT_EQ(o.entries, nullptr);
        expect_attrs_empty(o.attrs);
    });
}

// ---- type names and reflection ----

TEST(AclTypeNames, record_and_member_type_names) {
    // The 16-character field keeps the first 16 characters of the mappings' names.
    asn_map_pobj_to_acl_t forward(security_off);
    EXPECT_STREQ(forward.get_type_name(), "map_pobj_to_acl_");
    EXPECT_STREQ(forward.names.get_type_name(), "SEQUENCEOF");
    EXPECT_STREQ(forward.attrs.get_type_name(), "attrlist_t");
    asn_map_acl_to_pobj_t back(security_lcs);
    EXPECT_STREQ(back.get_type_name(), "map_acl_to_pobj_");

    asn_acl_permset_t perms(security_off);
    EXPECT_STREQ(perms.get_type_name(), "acl_permset_t");
    EXPECT_STREQ(perms.permissions.get_type_name(), "SEQUENCEOF");

    asn_acl_entry_t entry(security_off);
    EXPECT_STREQ(entry.get_type_name(), "acl_entry_t");
    EXPECT_STREQ(entry.permset.get_type_name(), "acl_permset_t");
    EXPECT_STREQ(entry.number.get_type_name(), "INTEGER");
    EXPECT_STREQ(entry.identity.get_type_name(), "sec_id_t");

    asn_acl_ext_t ext(security_off);
    EXPECT_STREQ(ext.get_type_name(), "acl_ext_t");
    EXPECT_STREQ(ext.name.get_type_name(), "qbUTF8string");
    EXPECT_STREQ(ext.entries.get_type_name(), "SEQUENCEOF");
    ASSERT_EQ(ext.get_child_count(), 3U);
    EXPECT_EQ(ext.get_child(0), &ext.name);
    EXPECT_EQ(ext.get_child(1), &ext.entries);
    EXPECT_EQ(ext.get_child(2), &ext.attrs);
}

TEST(AclReflection, full_names_and_kinds) {
    const qb_record_info& forward = asn_map_pobj_to_acl_t::reflect();
    EXPECT_STREQ(forward.name, "map_pobj_to_acl_t");
    EXPECT_STREQ(forward.flat_name, "map_pobj_to_acl_s_t");
    ASSERT_EQ(forward.field_count, 2U);
    EXPECT_EQ(forward.fields[0].kind, qb_field_text_list);
    EXPECT_EQ(forward.fields[0].offset, offsetof(map_pobj_to_acl_s_t, count));
    EXPECT_EQ(forward.fields[0].offset2, offsetof(map_pobj_to_acl_s_t, names));
    EXPECT_EQ(forward.fields[1].kind, qb_field_record);
    EXPECT_EQ(forward.fields[1].element(), &asn_attrlist_t::reflect());
    EXPECT_STREQ(asn_map_acl_to_pobj_t::reflect().name, "map_acl_to_pobj_t");

    const qb_record_info& perms = asn_acl_permset_t::reflect();
    EXPECT_STREQ(perms.name, "acl_permset_t");
    ASSERT_EQ(perms.field_count, 1U);
    EXPECT_EQ(perms.fields[0].kind, qb_field_int_list);

    const qb_record_info& entry = asn_acl_entry_t::reflect();
    EXPECT_EQ(entry.flat_size, sizeof(acl_entry_s_t));
    ASSERT_EQ(entry.field_count, 3U);
    EXPECT_EQ(entry.fields[0].element(), &asn_acl_permset_t::reflect());
    EXPECT_EQ(entry.fields[1].kind, qb_field_int);
    EXPECT_EQ(entry.fields[2].element(), &asn_sec_id_t::reflect());

    const qb_record_info& ext = asn_acl_ext_t::reflect();
    ASSERT_EQ(ext.field_count, 3U);
    EXPECT_EQ(ext.fields[1].kind, qb_field_record_list);
    EXPECT_EQ(ext.fields[1].element(), &asn_acl_entry_t::reflect());
}

// ---- allocation failures ----

constexpr long kSweepLimit = 4000;

// The sweeps (support/record_test.h): every run that takes the failure
// reports 0x10652065 (and a decoded record stays freeable); the run that takes
// none gives `want`. Some decoding run must report "ASN: Memory error" from
// this group's file.
constexpr const char* kGroupMemoryError = "Exception: ASN: Memory error [10652065] in base_idls/aclidl_asn";

TEST(AclOutOfMemory, extended_acl) {
    ext_fixture f;
    const bytes_t want = hex(EXT_TWO);
    sweep_encode(f.rec, want, kSweepLimit);
    EXPECT_TRUE(sweep_decode<acl_ext_s_t>(want, kSweepLimit).some_run_printed(kGroupMemoryError));
}

TEST(AclOutOfMemory, mappings) {
    char* names[2] = {text("a"), text("bc")};
    map_pobj_to_acl_s_t forward{2, names, attrs_k()};
    map_acl_to_pobj_s_t back{2, names, attrs_k()};
    const bytes_t want = hex(MAP_A_BC);
    sweep_encode(forward, want, kSweepLimit);
    sweep_encode(back, want, kSweepLimit);
    EXPECT_TRUE(sweep_decode<map_pobj_to_acl_s_t>(want, kSweepLimit).some_run_printed(kGroupMemoryError));
    EXPECT_TRUE(sweep_decode<map_acl_to_pobj_s_t>(want, kSweepLimit).some_run_printed(kGroupMemoryError));
}

}  // namespace
