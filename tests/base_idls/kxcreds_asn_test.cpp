// tests/base_idls/kxcreds_asn_test.cpp - credential modification and
// entitlements requests and replies (attribute lists and principal chains
// embedded by value). What is particular to them: their octets written out
// (each row goes both ways in both forms, support/record_cases.h; the two
// requests share theirs), rich chains, a missing status, type names and the
// failures a decode of a rich request meets. The round trips every record
// shares run from the reflection table in records_generic_test.cpp and
// records_direct_test.cpp.
#include "support/failing_malloc.h"  // first: the sweeps of support/record_test.h

#include <gtest/gtest.h>

#include <cstddef>

#include "base_idls/kxcreds_asn.h"
#include "support/record_test.h"

namespace {

using qb_test::expect_fields, qb_test::expect_known_answer, qb_test::expect_names, qb_test::text;

// The small members of the written-out octets:
//   attribute list: one attribute "g" with one value {1, "t", AA}
//   chain "ch" of one principal {5, no identity, 6, no attributes}
#define SMALL_ATTRS "30 14  30 12  30 10  0C 01 67  30 0B  30 09  02 01 01  0C 01 74  04 01 AA "
#define SMALL_CHAIN "30 0E  0C 02 63 68  30 08  30 06  02 01 05  02 01 06 "
// A request: the text "svc", then SMALL_ATTRS and SMALL_CHAIN.
#define SMALL_REQUEST ENVELOPE "30 2B  0C 03 73 76 63 " SMALL_ATTRS SMALL_CHAIN

struct small_fixture {
    unsigned char aa[1] = {0xAA};
    value_s_t values[1] = {{1, text("t"), 1, aa}};
    attr_s_t attrs[1] = {{text("g"), 1, values}};
    attrlist_s_t attrlist{1, attrs};
    kxprincipal_s_t principal{5, nullptr, 6, nullptr};
    kxprincipal_s_t* principals[1] = {&principal};
    kxprincipal_chain_s_t chain{text("ch"), 1, principals};
};

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

class KxcredsRecords : public qb_test::LeakChecked {};

TEST_F(KxcredsRecords, known_answers) {
    small_fixture f;
    rich_fixture rich;
    expect_known_answer<asn_azn_creds_mod_in_t>("text, attributes, chain", {text("svc"), f.attrlist, f.chain},
                                                SMALL_REQUEST);
    expect_known_answer<asn_azn_creds_mod_in_t>("a rich chain", {text("svc"), rich.attrlist, rich.chain}, nullptr);
    expect_known_answer<asn_azn_creds_mod_in_t>("a rich chain and a longer text",
                                                {text("service"), rich.attrlist, rich.chain}, nullptr);
    expect_known_answer<asn_azn_creds_mod_in_t>("empty lists and null texts", azn_creds_mod_in_s_t{},
                                                ENVELOPE "30 0C  0C 00  30 02 30 00  30 04 0C 00 30 00");
    expect_known_answer<asn_azn_creds_mod_out_t>("chain, then status", {f.chain, 7},
                                                 ENVELOPE "30 13 " SMALL_CHAIN "02 01 07");
    expect_known_answer<asn_azn_creds_mod_out_t>("an empty chain", {{nullptr, 0, nullptr}, -2},
                                                 ENVELOPE "30 09  30 04 0C 00 30 00  02 01 FE");
    expect_known_answer<asn_azn_creds_mod_out_t>("a rich chain", {rich.chain, 0}, nullptr);
    // The same members as the credential-modification request: the same octets.
    expect_known_answer<asn_azn_get_entitlements_in_t>("text, attributes, chain", {text("svc"), f.attrlist, f.chain},
                                                       SMALL_REQUEST);
    expect_known_answer<asn_azn_get_entitlements_in_t>("a rich chain and a null text",
                                                       {nullptr, rich.attrlist, rich.chain}, nullptr);
    expect_known_answer<asn_azn_get_entitlements_in_t>("empty record", azn_get_entitlements_in_s_t{},
                                                       ENVELOPE "30 0C  0C 00  30 02 30 00  30 04 0C 00 30 00");
    expect_known_answer<asn_azn_get_entitlements_out_t>("attributes, then status", {f.attrlist, 7},
                                                        ENVELOPE "30 19 " SMALL_ATTRS "02 01 07");
    expect_known_answer<asn_azn_get_entitlements_out_t>("an empty list", {{0, nullptr}, 0},
                                                        ENVELOPE "30 07  30 02 30 00  02 01 00");
    qb_test::expect_refused<asn_azn_get_entitlements_out_t>("the status is missing", ENVELOPE "30 04  30 02 30 00",
                                                            0x10652198U, true);
}

// The 16-character type-name field keeps the first 16 characters; the
// reflection table keeps the full names.
TEST_F(KxcredsRecords, type_names_are_cut_to_16_characters) {
    expect_names<asn_azn_creds_mod_in_t>("azn_creds_mod_in", "azn_creds_mod_in_t", "azn_creds_mod_in_s_t",
                                         {"azn_creds_mod_in", "  qbUTF8string", "  attrlist_t", "    SEQUENCEOF",
                                          "  kxprincipal_chai", "    qbUTF8string", "    SEQUENCEOF"});
    expect_fields(asn_azn_creds_mod_in_t::reflect(),
                  {{"service_id", qb_field_text},
                   {"attributes", qb_field_record, offsetof(azn_creds_mod_in_s_t, attributes), qb_test::kAny,
                    &asn_attrlist_t::reflect()},
                   {"creds", qb_field_record, offsetof(azn_creds_mod_in_s_t, creds), qb_test::kAny,
                    &asn_kxprincipal_chain_t::reflect()}});
    expect_names<asn_azn_creds_mod_out_t>(
        "azn_creds_mod_ou", "azn_creds_mod_out_t", "azn_creds_mod_out_s_t",
        {"azn_creds_mod_ou", "  kxprincipal_chai", "    qbUTF8string", "    SEQUENCEOF", "  INTEGER"});
    expect_names<asn_azn_get_entitlements_in_t>("azn_get_entitlem", "azn_get_entitlements_in_t",
                                                "azn_get_entitlements_in_s_t");
    expect_fields(asn_azn_get_entitlements_in_t::reflect(),
                  {{"service_id", qb_field_text}, {"attributes", qb_field_record}, {"creds", qb_field_record}});
    expect_names<asn_azn_get_entitlements_out_t>("azn_get_entitlem", "azn_get_entitlements_out_t",
                                                 "azn_get_entitlements_out_s_t",
                                                 {"azn_get_entitlem", "  attrlist_t", "    SEQUENCEOF", "  INTEGER"});
    expect_fields(asn_azn_get_entitlements_out_t::reflect(),
                  {{"entitlements", qb_field_record},
                   {"status", qb_field_int, offsetof(azn_get_entitlements_out_s_t, status)}});
}

// Decoding the rich request with the 1st, 2nd, ... allocation failed meets
// at least 20 failures before it completes; each leaves a freeable record.
TEST_F(KxcredsRecords, allocation_failure_at_every_step_of_a_decode_leaks_nothing) {
    rich_fixture rich;
    qb_test::expect_sweep<asn_azn_creds_mod_in_t>("rich request", {text("svc"), rich.attrlist, rich.chain}, nullptr,
                                                  qb_test::sweep_way::decode, 1000, {}, 20);
}

}  // namespace
