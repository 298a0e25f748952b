// tests/base_idls/principal_asn_test.cpp - security identities, identities with
// privilege attributes, principals and principal chains: wire bytes, round
// trips in the plain and local-code-set forms, null texts, empty lists, the
// signed count, absent optional members, type names, the order in which a
// chain is freed, and allocation failures during encoding and decoding.
//
// This executable replaces malloc for the whole process (support/
// failing_malloc.h) so that the sweeps can fail a chosen allocation and the
// free-order test can watch what is released; everything else runs with
// every allocation granted.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "asn1/asn1.h"
#include "asn1/asnbase.h"
#include "base_idls/principal_asn.h"
#include "support/failing_malloc.h"
#include "support/hex.h"
#include "support/record_test.h"

namespace {

using qb_test::attrs_k;
using qb_test::bytes_t;
using qb_test::decode_zeroed;
using qb_test::encode;
using qb_test::expect_attrs_k;
using qb_test::expect_uuid;
using qb_test::round_trip;
using qb_test::sweep_decode;
using qb_test::sweep_encode;
using qb_test::sweep_result;
using qb_test::text;
using qb_test::uuid_1;

// ---- expected bytes, written out ----
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

// ---- helpers ----

// expect_sec_id: the decoded identity has `want`'s UUID and the name `name`
// as a newly allocated string (never null).
void expect_sec_id(const sec_id_t& s, const uuid_t& want, const char* name) {
    expect_uuid(s.uuid, want);
    ASSERT_NE(s.name, nullptr);
    EXPECT_STREQ(s.name, name);
}

// ---- sec_id_t ----

TEST(SecId, encodes_uuid_then_name_and_round_trips) {
    sec_id_t r{uuid_1(), text("alice")};
    round_trip(r, ENVELOPE SEC_ALICE, [](const sec_id_t& o) { expect_sec_id(o, uuid_1(), "alice"); });
}

TEST(SecId, null_name_encodes_as_empty_text_and_decodes_allocated) {
    sec_id_t null_name{uuid_t{}, nullptr};
    sec_id_t empty_name{uuid_t{}, text("")};
    EXPECT_EQ(encode(null_name), hex(ENVELOPE SEC_EMPTY));
    EXPECT_EQ(encode(empty_name), hex(ENVELOPE SEC_EMPTY));
    round_trip(null_name, ENVELOPE SEC_EMPTY, [](const sec_id_t& o) { expect_sec_id(o, uuid_t{}, ""); });
}

TEST(SecId, envelope_of_another_version_is_refused) {
    const bytes_t b = hex("04 03 AC DC " SEC_ALICE);
    sec_id_t r;
    EXPECT_EQ(decode_zeroed(b, r), 0x10652196U);
    EXPECT_EQ(r.name, nullptr);  // get_value not reached
}

// ---- sec_id_pa_t ----

TEST(SecIdPa, identity_and_two_further_identities) {
    sec_id_t groups[2] = {{uuid_t{}, text("g1")}, {uuid_t{}, text("g2")}};
    sec_id_pa_t r{{uuid_1(), text("alice")}, 2, groups};
    round_trip(r, ENVELOPE "30 68 " SEC_ALICE " 30 3E " SEC_G1 " " SEC_G2, [](const sec_id_pa_t& o) {
        expect_sec_id(o.identity, uuid_1(), "alice");
        ASSERT_EQ(o.count, 2);
        ASSERT_NE(o.identities, nullptr);
        expect_sec_id(o.identities[0], uuid_t{}, "g1");
        expect_sec_id(o.identities[1], uuid_t{}, "g2");
    });
}

TEST(SecIdPa, count_zero_is_an_empty_list_and_decodes_to_null_array) {
    sec_id_pa_t r{{uuid_t{}, nullptr}, 0, nullptr};
    round_trip(r, ENVELOPE PA_EMPTY, [](const sec_id_pa_t& o) {
        expect_sec_id(o.identity, uuid_t{}, "");
        EXPECT_EQ(o.count, 0);
        EXPECT_EQ(o.identities, nullptr);
    });
}

// The count is signed: a negative count adds no element (the array is not read).
TEST(SecIdPa, negative_count_adds_no_element_quirk) {
    sec_id_pa_t r{{uuid_t{}, nullptr}, -3, nullptr};
    EXPECT_EQ(encode(r), hex(ENVELOPE PA_EMPTY));
    EXPECT_EQ(encode(r, true), hex(ENVELOPE PA_EMPTY));
    sec_id_pa_t min_count{{uuid_t{}, nullptr}, -2147483647 - 1, nullptr};
    EXPECT_EQ(encode(min_count), hex(ENVELOPE PA_EMPTY));
}

// ---- kxprincipal_s_t ----

TEST(KxPrincipal, both_pointers_null_is_two_integers) {
    kxprincipal_s_t r{7, nullptr, -1, nullptr};
    round_trip(r, ENVELOPE KXP_BARE, [](const kxprincipal_s_t& o) {
        EXPECT_EQ(o.number1, 7);
        EXPECT_EQ(o.identity, nullptr);
        EXPECT_EQ(o.number2, -1);
        EXPECT_EQ(o.attrs, nullptr);
    });
}

// The attribute list follows the second INTEGER: it must not be taken for the identity.
TEST(KxPrincipal, only_attribute_list_decodes_with_null_identity) {
    kxprincipal_s_t r{1, nullptr, 2, &attrs_k()};
    round_trip(r, ENVELOPE KXP_ATTRS, [](const kxprincipal_s_t& o) {
        EXPECT_EQ(o.number1, 1);
        EXPECT_EQ(o.identity, nullptr);
        EXPECT_EQ(o.number2, 2);
        ASSERT_NE(o.attrs, nullptr);
        expect_attrs_k(*o.attrs);
    });
}

TEST(KxPrincipal, only_identity_decodes_with_null_attribute_list) {
    sec_id_pa_t pa{{uuid_t{}, nullptr}, 0, nullptr};
    kxprincipal_s_t r{1, &pa, 2, nullptr};
    round_trip(r, ENVELOPE KXP_IDENTITY, [](const kxprincipal_s_t& o) {
        EXPECT_EQ(o.number1, 1);
        ASSERT_NE(o.identity, nullptr);
        expect_sec_id(o.identity->identity, uuid_t{}, "");
        EXPECT_EQ(o.identity->count, 0);
        EXPECT_EQ(o.identity->identities, nullptr);
        EXPECT_EQ(o.number2, 2);
        EXPECT_EQ(o.attrs, nullptr);
    });
}

TEST(KxPrincipal, both_present_with_empty_lists) {
    sec_id_pa_t pa{{uuid_t{}, nullptr}, 0, nullptr};
    attrlist_s_t none{0, nullptr};
    kxprincipal_s_t r{0, &pa, 128, &none};
    round_trip(r, ENVELOPE KXP_FULL, [](const kxprincipal_s_t& o) {
        EXPECT_EQ(o.number1, 0);
        ASSERT_NE(o.identity, nullptr);
        expect_sec_id(o.identity->identity, uuid_t{}, "");
        EXPECT_EQ(o.number2, 128);
        ASSERT_NE(o.attrs, nullptr);
        EXPECT_EQ(o.attrs->count, 0U);
        EXPECT_EQ(o.attrs->attrs, nullptr);
    });
}

// ---- kxprincipal_chain_s_t ----

TEST(KxPrincipalChain, count_zero_decodes_to_null_pointer_array) {
    kxprincipal_chain_s_t r{text("c"), 0, nullptr};
    round_trip(r, ENVELOPE "30 05 0C 01 63 30 00", [](const kxprincipal_chain_s_t& o) {
        EXPECT_STREQ(o.name, "c");
        EXPECT_EQ(o.count, 0U);
        EXPECT_EQ(o.principals, nullptr);
    });
}

TEST(KxPrincipalChain, null_name_encodes_as_empty_text) {
    kxprincipal_chain_s_t r{nullptr, 0, nullptr};
    round_trip(r, ENVELOPE "30 04 0C 00 30 00", [](const kxprincipal_chain_s_t& o) {
        ASSERT_NE(o.name, nullptr);
        EXPECT_STREQ(o.name, "");
        EXPECT_EQ(o.count, 0U);
        EXPECT_EQ(o.principals, nullptr);
    });
}

#define CHAIN_TWO ENVELOPE "30 2C 0C 02 63 68 30 26 " KXP_BARE " " KXP_ATTRS

TEST(KxPrincipalChain, two_principals_decode_to_two_separate_records_quirk) {
    kxprincipal_s_t p1{7, nullptr, -1, nullptr};
    kxprincipal_s_t p2{1, nullptr, 2, &attrs_k()};
    kxprincipal_s_t* ps[2] = {&p1, &p2};
    kxprincipal_chain_s_t r{text("ch"), 2, ps};
    round_trip(r, CHAIN_TWO, [](const kxprincipal_chain_s_t& o) {
        EXPECT_STREQ(o.name, "ch");
        ASSERT_EQ(o.count, 2U);
        ASSERT_NE(o.principals, nullptr);
        ASSERT_NE(o.principals[0], nullptr);
        ASSERT_NE(o.principals[1], nullptr);
        EXPECT_NE(o.principals[0], o.principals[1]);
        EXPECT_EQ(o.principals[0]->number1, 7);
        EXPECT_EQ(o.principals[0]->identity, nullptr);
        EXPECT_EQ(o.principals[0]->number2, -1);
        EXPECT_EQ(o.principals[0]->attrs, nullptr);
        EXPECT_EQ(o.principals[1]->number1, 1);
        EXPECT_EQ(o.principals[1]->identity, nullptr);
        EXPECT_EQ(o.principals[1]->number2, 2);
        ASSERT_NE(o.principals[1]->attrs, nullptr);
        expect_attrs_k(*o.principals[1]->attrs);
    });
}

// Freeing a chain frees the name first, then each principal (what it holds,
// then the record itself), then the pointer array.
TEST(KxPrincipalChain, free_releases_name_then_each_record_then_array_quirk) {
    kxprincipal_chain_s_t o;
    ASSERT_EQ(decode_zeroed(hex(CHAIN_TWO), o), 0x00000000U);
    ASSERT_EQ(o.count, 2U);
    ASSERT_NE(o.principals[1]->attrs, nullptr);
    const attrlist_s_t* l = o.principals[1]->attrs;
    ASSERT_EQ(l->count, 1U);
    const std::vector<void*> want = {
        o.name,
        o.principals[0],
        l->attrs[0].name,
        l->attrs[0].values[0].text,
        l->attrs[0].values[0].bytes,
        l->attrs[0].values,
        l->attrs,
        o.principals[1]->attrs,
        o.principals[1],
        o.principals,
    };
    std::vector<void*> freed;
    {
        qb_test::record_allocations log;
        qbAsnFreeObj(o);
        freed = log.freed();
    }
    EXPECT_EQ(freed, want);
}

// ---- type names and reflection ----

TEST(PrincipalTypeNames, record_and_member_type_names) {
    asn_sec_id_t sec(security_off);
    EXPECT_STREQ(sec.get_type_name(), "sec_id_t");
    EXPECT_STREQ(sec.uuid.get_type_name(), "uuid_t");
    EXPECT_STREQ(sec.name.get_type_name(), "qbUTF8string");

    asn_sec_id_pa_t pa(security_off);
    EXPECT_STREQ(pa.get_type_name(), "sec_id_pa_t");
    EXPECT_STREQ(pa.identity.get_type_name(), "sec_id_t");
    EXPECT_STREQ(pa.identities.get_type_name(), "SEQUENCEOF");

    asn_kxprincipal_t p(security_off);
    EXPECT_STREQ(p.get_type_name(), "kxprincipal_t");
    EXPECT_STREQ(p.number1.get_type_name(), "INTEGER");
    EXPECT_STREQ(p.identity.get_type_name(), "sec_id_pa_t");
    EXPECT_STREQ(p.attrs.get_type_name(), "attrlist_t");

    // The 16-character field keeps the first 16 characters of "kxprincipal_chain_t".
    asn_kxprincipal_chain_t c(security_lcs);
    EXPECT_STREQ(c.get_type_name(), "kxprincipal_chai");
    EXPECT_STREQ(c.principals.get_type_name(), "SEQUENCEOF");
}

TEST(PrincipalTypeNames, members_registered_in_schema_order_with_optional_flags) {
    asn_kxprincipal_t p(security_off);
    ASSERT_EQ(p.get_child_count(), 4U);
    EXPECT_EQ(p.get_child(0), &p.number1);
    EXPECT_EQ(p.get_child(1), &p.identity);
    EXPECT_EQ(p.get_child(2), &p.number2);
    EXPECT_EQ(p.get_child(3), &p.attrs);
    EXPECT_FALSE(p.number1.is_optional());
    EXPECT_TRUE(p.identity.is_optional());
    EXPECT_FALSE(p.number2.is_optional());
    EXPECT_TRUE(p.attrs.is_optional());

    asn_kxprincipal_chain_t c(security_off);
    ASSERT_EQ(c.get_child_count(), 2U);
    EXPECT_EQ(c.get_child(0), &c.name);
    EXPECT_EQ(c.get_child(1), &c.principals);
}

TEST(PrincipalReflection, full_names_kinds_and_signed_count) {
    const qb_record_info& sec = asn_sec_id_t::reflect();
    EXPECT_STREQ(sec.name, "sec_id_t");
    EXPECT_STREQ(sec.flat_name, "sec_id_t");
    EXPECT_EQ(sec.flat_size, sizeof(sec_id_t));
    ASSERT_EQ(sec.field_count, 2U);
    EXPECT_EQ(sec.fields[0].kind, qb_field_record);
    EXPECT_EQ(sec.fields[0].element(), &asn_uuid_t::reflect());
    EXPECT_EQ(sec.fields[1].kind, qb_field_text);
    EXPECT_EQ(sec.fields[1].offset, offsetof(sec_id_t, name));

    const qb_record_info& pa = asn_sec_id_pa_t::reflect();
    EXPECT_STREQ(pa.name, "sec_id_pa_t");
    ASSERT_EQ(pa.field_count, 2U);
    EXPECT_EQ(pa.fields[1].kind, qb_field_record_list);
    EXPECT_EQ(pa.fields[1].signed_count, 1);
    EXPECT_EQ(pa.fields[1].offset, offsetof(sec_id_pa_t, count));
    EXPECT_EQ(pa.fields[1].offset2, offsetof(sec_id_pa_t, identities));
    EXPECT_EQ(pa.fields[1].element(), &asn_sec_id_t::reflect());

    const qb_record_info& p = asn_kxprincipal_t::reflect();
    EXPECT_STREQ(p.name, "kxprincipal_t");
    EXPECT_STREQ(p.flat_name, "kxprincipal_s_t");
    ASSERT_EQ(p.field_count, 4U);
    const qb_field_kind kinds[] = {qb_field_int, qb_field_optional_record, qb_field_int,
                                   qb_field_optional_record};
    const int optional[] = {0, 1, 0, 1};
    for (size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(p.fields[i].kind, kinds[i]) << "field " << i;
        EXPECT_EQ(p.fields[i].optional, optional[i]) << "field " << i;
    }
    EXPECT_EQ(p.fields[1].element(), &asn_sec_id_pa_t::reflect());
    EXPECT_EQ(p.fields[3].element(), &asn_attrlist_t::reflect());

    // The reflection keeps the full name; only the type-name field is cut.
    const qb_record_info& c = asn_kxprincipal_chain_t::reflect();
    EXPECT_STREQ(c.name, "kxprincipal_chain_t");
    EXPECT_STREQ(c.flat_name, "kxprincipal_chain_s_t");
    ASSERT_EQ(c.field_count, 2U);
    EXPECT_EQ(c.fields[1].kind, qb_field_record_ptr_list);
    EXPECT_EQ(c.fields[1].signed_count, 0);
    EXPECT_EQ(c.fields[1].element(), &asn_kxprincipal_t::reflect());
}

// ---- allocation failures ----

// A sweep that has not completed after this many failing runs is broken.
constexpr long kSweepLimit = 4000;

// fill_full_chain: a chain holding a principal with both optional members,
// the identity carrying one further identity.
struct chain_fixture {
    sec_id_t groups[1] = {{uuid_t{}, text("g1")}};
    sec_id_pa_t pa{{uuid_1(), text("alice")}, 1, groups};
    kxprincipal_s_t p1{3, &pa, 4, &attrs_k()};
    kxprincipal_s_t p2{7, nullptr, -1, nullptr};
    kxprincipal_s_t* ps[2] = {&p1, &p2};
    kxprincipal_chain_s_t rec{text("ch"), 2, ps};
};

TEST(PrincipalOutOfMemory, encode_reports_memory_status) {
    chain_fixture f;
    const bytes_t want = encode(f.rec);
    sweep_encode(f.rec, want, kSweepLimit);
}

// Decoding with the 1st, 2nd, ... allocation failed: each run reports
// 0x10652065 and leaves a freeable record. Among the runs, the optional
// sub-records report "ASN: Out of memory" and the pointer array or a
// principal "ASN: Memory error", both naming this group's source file.
TEST(PrincipalOutOfMemory, decode_reports_memory_status_and_stays_freeable) {
    chain_fixture f;
    const bytes_t b = encode(f.rec);
    const sweep_result decoded = sweep_decode<kxprincipal_chain_s_t>(b, kSweepLimit);
    EXPECT_TRUE(decoded.some_run_printed("Exception: ASN: Out of memory [10652065] in base_idls/principal_asn"));
    EXPECT_TRUE(decoded.some_run_printed("Exception: ASN: Memory error [10652065] in base_idls/principal_asn"));
}

}  // namespace
