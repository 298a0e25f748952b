// tests/base_idls/principal_asn_test.cpp - security identities, identities
// with privilege attributes, principals and principal chains. What is
// particular to them: their octets written out (each row goes both ways in
// both forms, support/record_cases.h), the signed count, absent optional
// members, separate principal records, type names and optional flags, the
// order in which a chain is freed, and the allocation failures that name
// this group's source file. The round trips every record shares run from the
// reflection table in records_generic_test.cpp and records_direct_test.cpp.
//
// This executable replaces malloc for the whole process (support/
// failing_malloc.h) so that the sweeps can fail a chosen allocation and the
// free-order test can watch what is released; everything else runs with
// every allocation granted.

#include "support/failing_malloc.h"  // first: the sweeps of support/record_test.h

#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

#include "base_idls/principal_asn.h"
#include "support/record_test.h"

namespace {

using qb_test::attrs_k, qb_test::decode_zeroed, qb_test::expect_known_answer, qb_test::names_of, qb_test::text,
    qb_test::uuid_1;

class PrincipalRecords : public qb_test::LeakChecked {};

// ---- the records and their octets ----
// (ENVELOPE, UUIDs, SEC_*, ATTRS_K and ATTRS_EMPTY: support/record_test.h)

// sec_id_pa_t: SEC_EMPTY with no further identities.
#define PA_EMPTY "30 1F " SEC_EMPTY " 30 00"
// kxprincipal_t { 7, -, -1, - }
#define KXP_BARE "30 06 02 01 07 02 01 FF"
// kxprincipal_t { 1, -, 2, ATTRS_K }
#define KXP_ATTRS "30 1C 02 01 01 02 01 02 " ATTRS_K
// kxprincipal_t { 1, PA_EMPTY, 2, - }
#define KXP_IDENTITY "30 27 02 01 01 " PA_EMPTY " 02 01 02"
// kxprincipal_t { 0, PA_EMPTY, 128, ATTRS_EMPTY }
#define KXP_FULL "30 2C 02 01 00 " PA_EMPTY " 02 02 00 80 " ATTRS_EMPTY
// kxprincipal_chain_t "ch" { KXP_BARE, KXP_ATTRS }
#define CHAIN_TWO ENVELOPE "30 2C 0C 02 63 68 30 26 " KXP_BARE " " KXP_ATTRS

// The principals of CHAIN_TWO.
struct two_principals {
    kxprincipal_s_t bare{7, nullptr, -1, nullptr};
    kxprincipal_s_t with_attrs{1, nullptr, 2, &attrs_k()};
    kxprincipal_s_t* ps[2] = {&bare, &with_attrs};
    kxprincipal_chain_s_t chain{text("ch"), 2, ps};
};

// ---- both ways, both forms ----

TEST_F(PrincipalRecords, known_answers) {
    expect_known_answer<asn_sec_id_t>("UUID then name", {uuid_1(), text("alice")}, ENVELOPE SEC_ALICE);
    expect_known_answer<asn_sec_id_t>("a null name travels as an empty text", {uuid_t{}, nullptr}, ENVELOPE SEC_EMPTY);
    expect_known_answer<asn_sec_id_t>("an empty name", {uuid_t{}, text("")}, ENVELOPE SEC_EMPTY);
    sec_id_t groups[2] = {{uuid_t{}, text("g1")}, {uuid_t{}, text("g2")}};
    expect_known_answer<asn_sec_id_pa_t>("identity and two further identities", {{uuid_1(), text("alice")}, 2, groups},
                                         ENVELOPE "30 68 " SEC_ALICE " 30 3E " SEC_G1 " " SEC_G2);
    sec_id_pa_t empty_pa{{uuid_t{}, nullptr}, 0, nullptr};
    expect_known_answer<asn_sec_id_pa_t>("count zero is an empty list", empty_pa, ENVELOPE PA_EMPTY);
    two_principals two;
    expect_known_answer<asn_kxprincipal_t>("both pointers null is two integers", two.bare, ENVELOPE KXP_BARE);
    // The attribute list follows the second INTEGER: it must not be taken
    // for the identity.
    expect_known_answer<asn_kxprincipal_t>("only the attribute list", two.with_attrs, ENVELOPE KXP_ATTRS);
    expect_known_answer<asn_kxprincipal_t>("only the identity", {1, &empty_pa, 2, nullptr}, ENVELOPE KXP_IDENTITY);
    attrlist_s_t none{0, nullptr};
    expect_known_answer<asn_kxprincipal_t>("both present with empty lists", {0, &empty_pa, 128, &none},
                                           ENVELOPE KXP_FULL);
    expect_known_answer<asn_kxprincipal_chain_t>("count zero", {text("c"), 0, nullptr},
                                                 ENVELOPE "30 05 0C 01 63 30 00");
    expect_known_answer<asn_kxprincipal_chain_t>("a null name travels as an empty text", {nullptr, 0, nullptr},
                                                 ENVELOPE "30 04 0C 00 30 00");
    qb_test::expect_refused<asn_sec_id_t>("envelope version 3", "04 03 AC DC " SEC_ALICE, 0x10652196U, true, 0x5A);
}

// The count is signed: a negative count adds no element (the array is not read).
TEST_F(PrincipalRecords, negative_count_adds_no_element_quirk) {
    expect_known_answer<asn_sec_id_pa_t>("count -3", {{uuid_t{}, nullptr}, -3, nullptr}, ENVELOPE PA_EMPTY);
    expect_known_answer<asn_sec_id_pa_t>("count INT_MIN", {{uuid_t{}, nullptr}, -2147483647 - 1, nullptr},
                                         ENVELOPE PA_EMPTY);
}

TEST_F(PrincipalRecords, two_principals_decode_to_two_separate_records_quirk) {
    two_principals two;
    expect_known_answer<asn_kxprincipal_chain_t>("chain of two", two.chain, CHAIN_TWO);
    kxprincipal_chain_s_t o;
    ASSERT_EQ(decode_zeroed(hex(CHAIN_TWO), o), 0x00000000U);
    ASSERT_EQ(o.count, 2U);
    EXPECT_NE(o.principals[0], o.principals[1]);
    qbAsnFreeObj(o);
}

// Freeing a chain frees the name first, then each principal (what it holds,
// then the record itself), then the pointer array.
TEST_F(PrincipalRecords, free_of_a_chain_releases_name_then_each_record_then_array_quirk) {
    kxprincipal_chain_s_t o;
    ASSERT_EQ(decode_zeroed(hex(CHAIN_TWO), o), 0x00000000U);
    ASSERT_EQ(o.count, 2U);
    ASSERT_NE(o.principals[1]->attrs, nullptr);
    const attrlist_s_t* l = o.principals[1]->attrs;
    ASSERT_EQ(l->count, 1U);
    std::vector<void*> want = {o.name, o.principals[0]};
    for (void* p : qb_test::attrlist_blocks(*l)) want.push_back(p);
    want.insert(want.end(), {o.principals[1]->attrs, o.principals[1], o.principals});
    EXPECT_EQ(qb_test::blocks_freed_by(o), want);
}

// ---- type names and reflection ----

// The 16-character field keeps the first 16 characters of "kxprincipal_chain_t";
// the reflection keeps the full name.
TEST_F(PrincipalRecords, type_names_and_reflection) {
    const std::vector<std::string> sec_id = {"sec_id_t", "  uuid_t",  "    INTEGER",     "    INTEGER", "    INTEGER",
                                             "    INTEGER", "    INTEGER", "    OCTETSTRING", "  qbUTF8string"};
    std::vector<std::string> pa = {"sec_id_pa_t"};
    for (const std::string& line : sec_id) pa.push_back("  " + line);
    pa.push_back("  SEQUENCEOF");
    std::vector<std::string> principal = {"kxprincipal_t", "  INTEGER"};
    for (const std::string& line : pa) principal.push_back("  " + line);
    principal.insert(principal.end(), {"  INTEGER", "  attrlist_t", "    SEQUENCEOF"});
    qb_test::expect_type_names({
        names_of<asn_sec_id_t>("sec_id_t", "sec_id_t", "sec_id_t", sec_id),
        names_of<asn_sec_id_pa_t>("sec_id_pa_t", "sec_id_pa_t", "sec_id_pa_t", pa),
        names_of<asn_kxprincipal_t>("kxprincipal_t", "kxprincipal_t", "kxprincipal_s_t", principal),
        names_of<asn_kxprincipal_chain_t>("kxprincipal_chai", "kxprincipal_chain_t", "kxprincipal_chain_s_t",
                                          {"kxprincipal_chai", "  qbUTF8string", "  SEQUENCEOF"}),
    });
    qb_test::expect_fields(asn_sec_id_t::reflect(),
                           {{"uuid", qb_field_record, qb_test::kAny, qb_test::kAny, &asn_uuid_t::reflect()},
                            {"name", qb_field_text, offsetof(sec_id_t, name)}});
    qb_test::expect_fields(asn_sec_id_pa_t::reflect(),
                           {{"identity", qb_field_record},
                            {"identities", qb_field_record_list, offsetof(sec_id_pa_t, count),
                             offsetof(sec_id_pa_t, identities), &asn_sec_id_t::reflect(), -1, 1}});
    qb_test::expect_fields(asn_kxprincipal_t::reflect(),
                           {{"number1", qb_field_int, qb_test::kAny, qb_test::kAny, nullptr, 0},
                            {"identity", qb_field_optional_record, qb_test::kAny, qb_test::kAny,
                             &asn_sec_id_pa_t::reflect(), 1},
                            {"number2", qb_field_int, qb_test::kAny, qb_test::kAny, nullptr, 0},
                            {"attrs", qb_field_optional_record, qb_test::kAny, qb_test::kAny,
                             &asn_attrlist_t::reflect(), 1}});
    qb_test::expect_fields(asn_kxprincipal_chain_t::reflect(),
                           {{"name", qb_field_text},
                            {"principals", qb_field_record_ptr_list, qb_test::kAny, qb_test::kAny,
                             &asn_kxprincipal_t::reflect(), -1, 0}});
}

TEST_F(PrincipalRecords, members_registered_in_schema_order_with_optional_flags) {
    asn_kxprincipal_t p(security_off);
    qb_test::expect_child_list(p, {&p.number1, &p.identity, &p.number2, &p.attrs});
    EXPECT_FALSE(p.number1.is_optional() || p.number2.is_optional());
    EXPECT_TRUE(p.identity.is_optional() && p.attrs.is_optional());
    asn_kxprincipal_chain_t c(security_off);
    qb_test::expect_child_list(c, {&c.name, &c.principals});
}

// ---- allocation failures ----

// Decoding a chain holding a principal with both optional members (the
// identity carrying one further identity) with the 1st, 2nd, ... allocation
// failed: among the runs, the optional sub-records report "ASN: Out of
// memory" and the pointer array or a principal "ASN: Memory error", both
// naming this group's source file; a partly filled record is freeable.
TEST_F(PrincipalRecords, decode_reports_memory_status_and_stays_freeable) {
    sec_id_t groups[1] = {{uuid_t{}, text("g1")}};
    sec_id_pa_t pa{{uuid_1(), text("alice")}, 1, groups};
    kxprincipal_s_t p1{3, &pa, 4, &attrs_k()};
    kxprincipal_s_t p2{7, nullptr, -1, nullptr};
    kxprincipal_s_t* ps[2] = {&p1, &p2};
    qb_test::expect_sweep<asn_kxprincipal_chain_t>(
        "chain", {text("ch"), 2, ps}, nullptr, qb_test::sweep_way::decode, 4000,
        {"Exception: ASN: Out of memory [10652065] in base_idls/principal_asn",
         "Exception: ASN: Memory error [10652065] in base_idls/principal_asn"});
}

}  // namespace
