// tests/base_idls/aclidl_asn_test.cpp - the ACL records (the two mappings
// between protected objects and an ACL, permission sets, ACL entries and
// extended ACLs). What is particular to them: their octets written out (each
// row goes both ways in both forms, support/record_cases.h), the two mappings
// that give the same octets, type names, what freeing releases, and the
// allocation failures that name this group's source file. The round trips
// every record shares run from the reflection table in
// records_generic_test.cpp and records_direct_test.cpp.
//
// This executable replaces malloc for the whole process (support/
// failing_malloc.h) so that the sweeps can fail a chosen allocation and the
// free test can watch what is released; everything else runs with every
// allocation granted.

#include "support/failing_malloc.h"  // first: the sweeps of support/record_test.h

#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

#include "base_idls/aclidl_asn.h"
#include "support/record_test.h"

namespace {

using qb_test::attrs_k, qb_test::expect_known_answer, qb_test::names_of, qb_test::text, qb_test::uuid_1;

class AclRecords : public qb_test::LeakChecked {};

// ---- the records and their octets ----
// (ENVELOPE, UUIDs, SEC_*, ATTRS_K and ATTRS_EMPTY: support/record_test.h)

// acl_permset_t { 1, 2, 4 }
#define PERMS_124 "30 0B 30 09 02 01 01 02 01 02 02 01 04"
// map_*_t { "a", "bc" } with ATTRS_K
#define MAP_A_BC ENVELOPE "30 1F 30 07 0C 01 61 0C 02 62 63 " ATTRS_K
// entry { {1}, 0, g1 } and entry { {2, 4}, -2, g2 }
#define ENTRY_1 "30 29 30 05 30 03 02 01 01 02 01 00 " SEC_G1
#define ENTRY_2 "30 2C 30 08 30 06 02 01 02 02 01 04 02 01 FE " SEC_G2
#define EXT_TWO ENVELOPE "30 76 0C 03 61 63 6C 30 59 " ENTRY_1 " " ENTRY_2 " " ATTRS_K

struct acl_records {
    char* a_bc[2] = {text("a"), text("bc")};
    map_pobj_to_acl_s_t forward{2, a_bc, attrs_k()};
    map_acl_to_pobj_s_t back{2, a_bc, attrs_k()};

    int p1[1] = {1};
    int p2[2] = {2, 4};
    acl_entry_s_t entries[2] = {{{1, p1}, 0, {uuid_t{}, text("g1")}}, {{2, p2}, -2, {uuid_t{}, text("g2")}}};
    acl_ext_s_t ext{text("acl"), 2, entries, attrs_k()};
};

// ---- both ways, both forms ----

TEST_F(AclRecords, known_answers) {
    acl_records f;
    expect_known_answer<asn_map_pobj_to_acl_t>("names then attribute list", f.forward, MAP_A_BC);
    expect_known_answer<asn_map_acl_to_pobj_t>("names then attribute list", f.back, MAP_A_BC);
    expect_known_answer<asn_map_pobj_to_acl_t>("no names and an empty attribute list", {0, nullptr, {0, nullptr}},
                                               ENVELOPE "30 06 30 00 " ATTRS_EMPTY);
    expect_known_answer<asn_map_acl_to_pobj_t>("no names and an empty attribute list", {0, nullptr, {0, nullptr}},
                                               ENVELOPE "30 06 30 00 " ATTRS_EMPTY);
    // A null name travels as the empty text and comes back allocated.
    char* null_name[1] = {nullptr};
    expect_known_answer<asn_map_pobj_to_acl_t>("a null name", {1, null_name, attrlist_s_t{0, nullptr}},
                                               ENVELOPE "30 08 30 02 0C 00 " ATTRS_EMPTY);
    expect_known_answer<asn_map_acl_to_pobj_t>("a null name", {1, null_name, attrlist_s_t{0, nullptr}},
                                               ENVELOPE "30 08 30 02 0C 00 " ATTRS_EMPTY);
    expect_known_answer<asn_acl_permset_t>("count zero is an empty list", {0, nullptr}, ENVELOPE "30 02 30 00");
    int v124[3] = {1, 2, 4};
    expect_known_answer<asn_acl_permset_t>("values 1, 2, 4 in order", {3, v124}, ENVELOPE PERMS_124);
    int edges[4] = {-1, 128, 0x7FFFFFFF, -2147483647 - 1};
    expect_known_answer<asn_acl_permset_t>(
        "32-bit edges", {4, edges}, ENVELOPE "30 15 30 13 02 01 FF 02 02 00 80 02 04 7F FF FF FF 02 04 80 00 00 00");
    expect_known_answer<asn_acl_entry_t>("permission set, integer, identity", {{3, v124}, 5, {uuid_1(), text("alice")}},
                                         ENVELOPE "30 38 " PERMS_124 " 02 01 05 " SEC_ALICE);
    expect_known_answer<asn_acl_entry_t>("empty permission set and null name", {{0, nullptr}, -1, {uuid_t{}, nullptr}},
                                         ENVELOPE "30 24 30 02 30 00 02 01 FF " SEC_EMPTY);
    expect_known_answer<asn_acl_ext_t>("two entries in a contiguous array", f.ext, EXT_TWO);
    expect_known_answer<asn_acl_ext_t>("null name, no entries, empty attribute list",
                                       {nullptr, 0, nullptr, attrlist_s_t{0, nullptr}},
                                       ENVELOPE "30 08 0C 00 30 00 " ATTRS_EMPTY);
}

// The two mappings make their elements differently; the octets are the same.
TEST_F(AclRecords, equal_contents_encode_like_map_pobj_to_acl_quirk) {
    char* names[3] = {text("/a"), nullptr, text("xyz")};
    const char* const both = ENVELOPE "30 11 30 0B 0C 02 2F 61 0C 00 0C 03 78 79 7A " ATTRS_EMPTY;
    expect_known_answer<asn_map_pobj_to_acl_t>("three names", {3, names, attrlist_s_t{0, nullptr}}, both);
    expect_known_answer<asn_map_acl_to_pobj_t>("three names", {3, names, attrlist_s_t{0, nullptr}}, both);
}

// ---- freeing ----

// Each entry of a decoded extended ACL owns its own permission array and
// identity name. Freeing releases the name, each entry's permission array and
// identity name, the entry array, and everything of the attribute list.
TEST_F(AclRecords, free_of_an_extended_acl_releases_every_block) {
    acl_ext_s_t o;
    ASSERT_EQ(qb_test::decode_zeroed(hex(EXT_TWO), o), 0x00000000U);
    ASSERT_EQ(o.count, 2U);
    ASSERT_EQ(o.attrs.count, 1U);
    EXPECT_NE(o.entries[0].permset.permissions, o.entries[1].permset.permissions);
    EXPECT_NE(o.entries[0].identity.name, o.entries[1].identity.name);
    std::vector<void*> want = {o.name,
                               o.entries[0].permset.permissions,
                               o.entries[0].identity.name,
                               o.entries[1].permset.permissions,
                               o.entries[1].identity.name,
                               o.entries};
    for (void* p : qb_test::attrlist_blocks(o.attrs)) want.push_back(p);
    EXPECT_EQ(qb_test::blocks_freed_by(o), want);
}

// ---- type names and reflection ----

// The 16-character field keeps the first 16 characters of the mappings' names.
TEST_F(AclRecords, type_names_and_reflection) {
    qb_test::expect_type_names({
        names_of<asn_map_pobj_to_acl_t>("map_pobj_to_acl_", "map_pobj_to_acl_t", "map_pobj_to_acl_s_t",
                                        {"map_pobj_to_acl_", "  SEQUENCEOF", "  attrlist_t", "    SEQUENCEOF"}),
        names_of<asn_map_acl_to_pobj_t>("map_acl_to_pobj_", "map_acl_to_pobj_t", "map_acl_to_pobj_s_t"),
        names_of<asn_acl_permset_t>("acl_permset_t", "acl_permset_t", "acl_permset_s_t",
                                    {"acl_permset_t", "  SEQUENCEOF"}),
        names_of<asn_acl_entry_t>("acl_entry_t", "acl_entry_t", "acl_entry_s_t",
                                  {"acl_entry_t", "  acl_permset_t", "    SEQUENCEOF", "  INTEGER", "  sec_id_t",
                                   "    uuid_t", "      INTEGER", "      INTEGER", "      INTEGER", "      INTEGER",
                                   "      INTEGER", "      OCTETSTRING", "    qbUTF8string"}),
        names_of<asn_acl_ext_t>("acl_ext_t", "acl_ext_t", "acl_ext_s_t",
                                {"acl_ext_t", "  qbUTF8string", "  SEQUENCEOF", "  attrlist_t", "    SEQUENCEOF"}),
    });
    asn_acl_ext_t ext(security_off);
    ASSERT_EQ(ext.get_child_count(), 3U);
    EXPECT_EQ(ext.get_child(0), &ext.name);
    EXPECT_EQ(ext.get_child(1), &ext.entries);
    EXPECT_EQ(ext.get_child(2), &ext.attrs);

    qb_test::expect_fields(asn_map_pobj_to_acl_t::reflect(),
                           {{"names", qb_field_text_list, offsetof(map_pobj_to_acl_s_t, count),
                             offsetof(map_pobj_to_acl_s_t, names)},
                            {"attrs", qb_field_record, qb_test::kAny, qb_test::kAny, &asn_attrlist_t::reflect()}});
    qb_test::expect_fields(asn_acl_permset_t::reflect(), {{"permissions", qb_field_int_list}});
    qb_test::expect_fields(asn_acl_entry_t::reflect(),
                           {{"permset", qb_field_record, qb_test::kAny, qb_test::kAny, &asn_acl_permset_t::reflect()},
                            {"number", qb_field_int},
                            {"identity", qb_field_record, qb_test::kAny, qb_test::kAny, &asn_sec_id_t::reflect()}});
    qb_test::expect_fields(asn_acl_ext_t::reflect(),
                           {{"name", qb_field_text},
                            {"entries", qb_field_record_list, qb_test::kAny, qb_test::kAny,
                             &asn_acl_entry_t::reflect()},
                            {"attrs", qb_field_record}});
}

// ---- allocation failures ----

// Some decoding run must report "ASN: Memory error" from this group's file;
// a partly filled record is freeable (support/record_test.h).
TEST_F(AclRecords, decoding_reports_this_groups_memory_error) {
    acl_records f;
    const std::vector<const char*> group = {"Exception: ASN: Memory error [10652065] in base_idls/aclidl_asn"};
    const auto decoding = qb_test::sweep_way::decode;
    qb_test::expect_sweep<asn_acl_ext_t>("extended ACL", f.ext, EXT_TWO, decoding, 4000, group);
    qb_test::expect_sweep<asn_map_pobj_to_acl_t>("mapping", f.forward, MAP_A_BC, decoding, 4000, group);
    qb_test::expect_sweep<asn_map_acl_to_pobj_t>("mapping", f.back, MAP_A_BC, decoding, 4000, group);
}

}  // namespace
