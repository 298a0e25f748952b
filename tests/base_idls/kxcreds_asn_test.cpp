// tests/base_idls/kxcreds_asn_test.cpp - credential modification and
// entitlements requests and replies (attribute lists and principal chains
// embedded by value).
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "asn1/asn1.h"
#include "base_idls/kxcreds_asn.h"
#include "support/failing_malloc.h"
#include "support/hex.h"
#include "support/record_test.h"

namespace {

using bytes = qb_test::bytes_t;
using qb_test::block_of;
using qb_test::concat;
using qb_test::decode;
using qb_test::encode;
using qb_test::expect_text;
using qb_test::sweep_decode;
using qb_test::sweep_result;
using qb_test::text;

// ---- helpers ----

void expect_attrlist(const attrlist_s_t& want, const attrlist_s_t& got) {
    ASSERT_EQ(want.count, got.count);
    if (want.count == 0) {
        EXPECT_EQ(got.attrs, nullptr);
    }
    for (unsigned int i = 0; i < want.count; ++i) {
        const attr_s_t& wa = want.attrs[i];
        const attr_s_t& ga = got.attrs[i];
        expect_text(wa.name, ga.name);
        ASSERT_EQ(wa.count, ga.count);
        for (unsigned int k = 0; k < wa.count; ++k) {
            EXPECT_EQ(wa.values[k].number, ga.values[k].number);
            expect_text(wa.values[k].text, ga.values[k].text);
            ASSERT_EQ(wa.values[k].length, ga.values[k].length);
            EXPECT_EQ(block_of(wa.values[k].bytes, wa.values[k].length),
                      block_of(ga.values[k].bytes, ga.values[k].length));
        }
    }
}

void expect_sec_id(const sec_id_t& want, const sec_id_t& got) {
    EXPECT_EQ(0, std::memcmp(&want.uuid, &got.uuid, sizeof(uuid_t)));
    expect_text(want.name, got.name);
}

void expect_principal(const kxprincipal_s_t& want, const kxprincipal_s_t& got) {
    EXPECT_EQ(want.number1, got.number1);
    EXPECT_EQ(want.number2, got.number2);
    if (want.identity == nullptr) {
        EXPECT_EQ(got.identity, nullptr);
    } else {
        ASSERT_NE(got.identity, nullptr);
        expect_sec_id(want.identity->identity, got.identity->identity);
        ASSERT_EQ(want.identity->count, got.identity->count);
        for (int i = 0; i < want.identity->count; ++i)
            expect_sec_id(want.identity->identities[i], got.identity->identities[i]);
    }
    if (want.attrs == nullptr) {
        EXPECT_EQ(got.attrs, nullptr);
    } else {
        ASSERT_NE(got.attrs, nullptr);
        expect_attrlist(*want.attrs, *got.attrs);
    }
}

void expect_chain(const kxprincipal_chain_s_t& want, const kxprincipal_chain_s_t& got) {
    expect_text(want.name, got.name);
    ASSERT_EQ(want.count, got.count);
    if (want.count == 0) {
        EXPECT_EQ(got.principals, nullptr);
    }
    for (unsigned int i = 0; i < want.count; ++i) {
        SCOPED_TRACE("principal " + std::to_string(i));
        ASSERT_NE(got.principals[i], nullptr);
        expect_principal(*want.principals[i], *got.principals[i]);
    }
}

// The small fixtures of the expected-bytes tests:
//   attribute list: one attribute "g" with one value {1, "t", AA}
//     30 14  30 12  30 10  0C 01 67  30 0B  30 09  02 01 01  0C 01 74  04 01 AA
//   chain "ch" of one principal {5, no identity, 6, no attributes}
//     30 0E  0C 02 63 68  30 08  30 06  02 01 05  02 01 06
struct small_fixture {
    unsigned char aa[1] = {0xAA};
    value_s_t values[1] = {{1, text("t"), 1, aa}};
    attr_s_t attrs[1] = {{text("g"), 1, values}};
    attrlist_s_t attrlist{1, attrs};
    kxprincipal_s_t principal{5, nullptr, 6, nullptr};
    kxprincipal_s_t* principals[1] = {&principal};
    kxprincipal_chain_s_t chain{text("ch"), 1, principals};
};

const char* const kAttrlistHex = "30 14  30 12  30 10  0C 01 67  30 0B  30 09  02 01 01  0C 01 74  04 01 AA";
const char* const kChainHex = "30 0E  0C 02 63 68  30 08  30 06  02 01 05  02 01 06";

// A richer chain: a principal with an identity (holding one further
// identity) and an attribute list, and a second principal with neither.
struct rich_fixture {
    unsigned char bytes1[3] = {0x01, 0x02, 0x03};
    value_s_t values[2] = {{-1, text("first"), 3, bytes1}, {0x7FFFFFFF, nullptr, 0, nullptr}};
    attr_s_t attrs[2] = {{text("a1"), 2, values}, {text("a2"), 0, nullptr}};
    attrlist_s_t attrlist{2, attrs};
    sec_id_t others[1] = {{{0x11223344, 0x5566, 0x7788, 0x99, 0xAA, {1, 2, 3, 4, 5, 6}}, text("other")}};
    sec_id_pa_t identity{
        {{0xFFFFFFFF, 0xFFFF, 0x0001, 0x80, 0x7F, {0xFF, 0, 0xFF, 0, 0xFF, 0}}, text("me")}, 1, others};
    kxprincipal_s_t p1{1, &identity, 2, &attrlist};
    kxprincipal_s_t p2{3, nullptr, 4, nullptr};
    kxprincipal_s_t* principals[2] = {&p1, &p2};
    kxprincipal_chain_s_t chain{text("chain"), 2, principals};
};

// ---- azn_creds_mod_in_s_t ----

TEST(AznCredsModIn, RoundTripMatchesExpectedBytes) {
    small_fixture f;
    azn_creds_mod_in_s_t in{text("svc"), f.attrlist, f.chain};
    const bytes want = concat({hex("04 02 AC DC  30 2B  0C 03 73 76 63"), hex(kAttrlistHex), hex(kChainHex)});
    EXPECT_EQ(encode(in), want);
    azn_creds_mod_in_s_t got{};
    ASSERT_EQ(decode(want, got), 0u);
    expect_text("svc", got.service_id);
    expect_attrlist(in.attributes, got.attributes);
    expect_chain(in.creds, got.creds);
    qbAsnFreeObj(got);
}

TEST(AznCredsModIn, LcsFormGivesTheSameBytesForAscii) {
    rich_fixture f;
    azn_creds_mod_in_s_t in{text("svc"), f.attrlist, f.chain};
    EXPECT_EQ(encode(in, true), encode(in));
    azn_creds_mod_in_s_t got{};
    ASSERT_EQ(decode(encode(in), got, true), 0u);
    expect_text("svc", got.service_id);
    expect_attrlist(in.attributes, got.attributes);
    expect_chain(in.creds, got.creds);
    qbAsnFreeObj(got);
}

TEST(AznCredsModIn, RichChainSurvivesARoundTrip) {
    rich_fixture f;
    azn_creds_mod_in_s_t in{text("service"), f.attrlist, f.chain};
    const bytes first = encode(in);
    azn_creds_mod_in_s_t got{};
    ASSERT_EQ(decode(first, got), 0u);
    expect_text("service", got.service_id);
    expect_attrlist(in.attributes, got.attributes);
    expect_chain(in.creds, got.creds);
    // The identity and the attribute list of the first principal stay apart.
    ASSERT_EQ(got.creds.count, 2u);
    ASSERT_NE(got.creds.principals[0]->identity, nullptr);
    EXPECT_STREQ(got.creds.principals[0]->identity->identity.name, "me");
    EXPECT_EQ(got.creds.principals[0]->identity->identity.uuid.time_low, 0xFFFFFFFFu);
    ASSERT_NE(got.creds.principals[0]->attrs, nullptr);
    EXPECT_EQ(got.creds.principals[0]->attrs->count, 2u);
    EXPECT_EQ(got.creds.principals[1]->identity, nullptr);
    EXPECT_EQ(got.creds.principals[1]->attrs, nullptr);
    // Decode, re-encode: the same bytes.
    EXPECT_EQ(encode(got), first);
    qbAsnFreeObj(got);
}

TEST(AznCredsModIn, EmptyRecordEncodesEmptyListsAndNullTexts) {
    azn_creds_mod_in_s_t in{};
    const bytes want = hex("04 02 AC DC  30 0C  0C 00  30 02 30 00  30 04 0C 00 30 00");
    EXPECT_EQ(encode(in), want);
    azn_creds_mod_in_s_t got{};
    ASSERT_EQ(decode(want, got), 0u);
    expect_text("", got.service_id);
    EXPECT_EQ(got.attributes.count, 0u);
    EXPECT_EQ(got.attributes.attrs, nullptr);
    expect_text("", got.creds.name);
    EXPECT_EQ(got.creds.count, 0u);
    EXPECT_EQ(got.creds.principals, nullptr);
    qbAsnFreeObj(got);
}

TEST(AznCredsModIn, TypeNameIsCutTo16Characters) {
    asn_azn_creds_mod_in_t rec(security_off);
    EXPECT_STREQ(rec.get_type_name(), "azn_creds_mod_in");
    EXPECT_STREQ(rec.service_id.get_type_name(), "qbUTF8string");
    EXPECT_STREQ(rec.attributes.get_type_name(), "attrlist_t");
    EXPECT_STREQ(rec.creds.get_type_name(), "kxprincipal_chai");
    const qb_record_info& info = asn_azn_creds_mod_in_t::reflect();
    EXPECT_STREQ(info.name, "azn_creds_mod_in_t");
    EXPECT_STREQ(info.flat_name, "azn_creds_mod_in_s_t");
    EXPECT_EQ(info.flat_size, sizeof(azn_creds_mod_in_s_t));
    ASSERT_EQ(info.field_count, 3u);
    EXPECT_EQ(info.fields[0].kind, qb_field_text);
    EXPECT_EQ(info.fields[1].kind, qb_field_record);
    EXPECT_EQ(info.fields[1].offset, offsetof(azn_creds_mod_in_s_t, attributes));
    EXPECT_EQ(info.fields[1].element(), &asn_attrlist_t::reflect());
    EXPECT_EQ(info.fields[2].kind, qb_field_record);
    EXPECT_EQ(info.fields[2].offset, offsetof(azn_creds_mod_in_s_t, creds));
    EXPECT_EQ(info.fields[2].element(), &asn_kxprincipal_chain_t::reflect());
}

TEST(AznCredsModIn, AllocationFailureAtEveryStepOfADecodeLeaksNothing) {
    rich_fixture f;
    azn_creds_mod_in_s_t in{text("svc"), f.attrlist, f.chain};
    const bytes input = encode(in);
    const sweep_result decoded = sweep_decode<azn_creds_mod_in_s_t>(
        input, 1000, [&](const azn_creds_mod_in_s_t& got) { expect_chain(in.creds, got.creds); });
    EXPECT_GE(decoded.failures, 20);
}

// ---- azn_creds_mod_out_s_t ----

TEST(AznCredsModOut, RoundTripMatchesExpectedBytes) {
    small_fixture f;
    azn_creds_mod_out_s_t out{f.chain, 7};
    const bytes want = concat({hex("04 02 AC DC  30 13"), hex(kChainHex), hex("02 01 07")});
    EXPECT_EQ(encode(out), want);
    azn_creds_mod_out_s_t got{};
    ASSERT_EQ(decode(want, got), 0u);
    expect_chain(out.creds, got.creds);
    EXPECT_EQ(got.status, 7);
    qbAsnFreeObj(got);
}

TEST(AznCredsModOut, LcsFormAndEmptyChain) {
    azn_creds_mod_out_s_t out{{nullptr, 0, nullptr}, -2};
    const bytes want = hex("04 02 AC DC  30 09  30 04 0C 00 30 00  02 01 FE");
    EXPECT_EQ(encode(out), want);
    EXPECT_EQ(encode(out, true), want);
    azn_creds_mod_out_s_t got{};
    ASSERT_EQ(decode(want, got, true), 0u);
    expect_text("", got.creds.name);
    EXPECT_EQ(got.creds.count, 0u);
    EXPECT_EQ(got.creds.principals, nullptr);
    EXPECT_EQ(got.status, -2);
    qbAsnFreeObj(got);
}

TEST(AznCredsModOut, RichChainSurvivesARoundTrip) {
    rich_fixture f;
    azn_creds_mod_out_s_t out{f.chain, 0};
    azn_creds_mod_out_s_t got{};
    ASSERT_EQ(decode(encode(out), got), 0u);
    expect_chain(out.creds, got.creds);
    qbAsnFreeObj(got);
}

TEST(AznCredsModOut, TypeNameIsCutTo16Characters) {
    asn_azn_creds_mod_out_t rec(security_off);
    EXPECT_STREQ(rec.get_type_name(), "azn_creds_mod_ou");
    EXPECT_STREQ(rec.creds.get_type_name(), "kxprincipal_chai");
    EXPECT_STREQ(rec.status.get_type_name(), "INTEGER");
    EXPECT_STREQ(asn_azn_creds_mod_out_t::reflect().name, "azn_creds_mod_out_t");
    EXPECT_STREQ(asn_azn_creds_mod_out_t::reflect().flat_name, "azn_creds_mod_out_s_t");
}

// ---- azn_get_entitlements_in_s_t ----

TEST(AznGetEntitlementsIn, RoundTripMatchesExpectedBytes) {
    small_fixture f;
    azn_get_entitlements_in_s_t in{text("svc"), f.attrlist, f.chain};
    // The same members as the credential-modification request: the same bytes.
    const bytes want = concat({hex("04 02 AC DC  30 2B  0C 03 73 76 63"), hex(kAttrlistHex), hex(kChainHex)});
    EXPECT_EQ(encode(in), want);
    EXPECT_EQ(encode(in, true), want);
    azn_get_entitlements_in_s_t got{};
    ASSERT_EQ(decode(want, got), 0u);
    expect_text("svc", got.service_id);
    expect_attrlist(in.attributes, got.attributes);
    expect_chain(in.creds, got.creds);
    qbAsnFreeObj(got);
}

TEST(AznGetEntitlementsIn, RichChainSurvivesAnLcsRoundTrip) {
    rich_fixture f;
    azn_get_entitlements_in_s_t in{nullptr, f.attrlist, f.chain};
    azn_get_entitlements_in_s_t got{};
    ASSERT_EQ(decode(encode(in, true), got, true), 0u);
    expect_text("", got.service_id);
    expect_attrlist(in.attributes, got.attributes);
    expect_chain(in.creds, got.creds);
    qbAsnFreeObj(got);
}

TEST(AznGetEntitlementsIn, EmptyRecord) {
    azn_get_entitlements_in_s_t in{};
    const bytes want = hex("04 02 AC DC  30 0C  0C 00  30 02 30 00  30 04 0C 00 30 00");
    EXPECT_EQ(encode(in), want);
    azn_get_entitlements_in_s_t got{};
    ASSERT_EQ(decode(want, got), 0u);
    EXPECT_EQ(got.attributes.attrs, nullptr);
    EXPECT_EQ(got.creds.principals, nullptr);
    qbAsnFreeObj(got);
}

TEST(AznGetEntitlementsIn, TypeNameIsCutTo16Characters) {
    asn_azn_get_entitlements_in_t rec(security_off);
    EXPECT_STREQ(rec.get_type_name(), "azn_get_entitlem");
    const qb_record_info& info = asn_azn_get_entitlements_in_t::reflect();
    EXPECT_STREQ(info.name, "azn_get_entitlements_in_t");  // the full name
    EXPECT_STREQ(info.flat_name, "azn_get_entitlements_in_s_t");
    EXPECT_EQ(info.flat_size, sizeof(azn_get_entitlements_in_s_t));
    ASSERT_EQ(info.field_count, 3u);
}

// ---- azn_get_entitlements_out_s_t ----

TEST(AznGetEntitlementsOut, RoundTripMatchesExpectedBytes) {
    small_fixture f;
    azn_get_entitlements_out_s_t out{f.attrlist, 7};
    const bytes want = concat({hex("04 02 AC DC  30 19"), hex(kAttrlistHex), hex("02 01 07")});
    EXPECT_EQ(encode(out), want);
    EXPECT_EQ(encode(out, true), want);
    azn_get_entitlements_out_s_t got{};
    ASSERT_EQ(decode(want, got), 0u);
    expect_attrlist(out.entitlements, got.entitlements);
    EXPECT_EQ(got.status, 7);
    qbAsnFreeObj(got);
}

TEST(AznGetEntitlementsOut, EmptyListAndLcsDecode) {
    azn_get_entitlements_out_s_t out{{0, nullptr}, 0};
    const bytes want = hex("04 02 AC DC  30 07  30 02 30 00  02 01 00");
    EXPECT_EQ(encode(out), want);
    azn_get_entitlements_out_s_t got{};
    ASSERT_EQ(decode(want, got, true), 0u);
    EXPECT_EQ(got.entitlements.count, 0u);
    EXPECT_EQ(got.entitlements.attrs, nullptr);
    EXPECT_EQ(got.status, 0);
    qbAsnFreeObj(got);
}

TEST(AznGetEntitlementsOut, MissingStatusIsRefused) {
    azn_get_entitlements_out_s_t got{};
    EXPECT_EQ(decode(hex("04 02 AC DC  30 04  30 02 30 00"), got), 0x10652198u);
    EXPECT_EQ(got.entitlements.attrs, nullptr);  // get_value never ran
    qbAsnFreeObj(got);
}

TEST(AznGetEntitlementsOut, TypeNameIsCutTo16Characters) {
    asn_azn_get_entitlements_out_t rec(security_off);
    EXPECT_STREQ(rec.get_type_name(), "azn_get_entitlem");
    EXPECT_STREQ(rec.entitlements.get_type_name(), "attrlist_t");
    const qb_record_info& info = asn_azn_get_entitlements_out_t::reflect();
    EXPECT_STREQ(info.name, "azn_get_entitlements_out_t");
    EXPECT_STREQ(info.flat_name, "azn_get_entitlements_out_s_t");
    ASSERT_EQ(info.field_count, 2u);
    EXPECT_EQ(info.fields[0].kind, qb_field_record);
    EXPECT_EQ(info.fields[1].kind, qb_field_int);
    EXPECT_EQ(info.fields[1].offset, offsetof(azn_get_entitlements_out_s_t, status));
}

}  // namespace
