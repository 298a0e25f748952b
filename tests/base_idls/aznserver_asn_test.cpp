// tests/base_idls/aznserver_asn_test.cpp - the replica, authorization-server,
// administration, credential, password and extended-decision records. What
// is particular to them: their octets written out (each row goes both ways in
// both forms, support/record_cases.h; the four administration replies share
// theirs), the two attribute lists of the decision request, type names
// (several cut to the same 16 characters), what freeing releases, and the
// allocation failures that name this group's source file or the files of the
// records it embeds. The round trips every record shares run from the
// reflection table in records_generic_test.cpp and records_direct_test.cpp.
//
// This executable replaces malloc for the whole process (support/
// failing_malloc.h) so that the sweeps can fail a chosen allocation and the
// free tests can watch what is released; everything else runs with every
// allocation granted.

#include "support/failing_malloc.h"  // first: the sweeps of support/record_test.h

#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

#include "base_idls/aznserver_asn.h"
#include "support/record_test.h"

namespace {

using qb_test::attrs_k, qb_test::expect_known_answer, qb_test::text;

class AznserverRecords : public qb_test::LeakChecked {};

// ---- the records and their octets ----
// (ENVELOPE, ATTRS_K and ATTRS_EMPTY: support/record_test.h)

// attrlist_t { attr "z" { } }
#define ATTRS_Z "30 09 30 07 30 05 0C 01 7A 30 00"
// kxprincipal_chain_t "ch" with no principals
#define CHAIN_EMPTY "30 06 0C 02 63 68 30 00"
// kxprincipal_chain_t "ch" with the principal { 7, -, -1, - }
#define CHAIN_ONE "30 0E 0C 02 63 68 30 08 30 06 02 01 07 02 01 FF"
// The administration replies: an attribute list, then a status.
#define OUT_EMPTY_0 ENVELOPE "30 07 " ATTRS_EMPTY " 02 01 00"
#define OUT_K_MINUS5 ENVELOPE "30 19 " ATTRS_K " 02 01 FB"
// The extended decision request: a chain, two texts, two attribute lists.
#define DECISION_IN ENVELOPE "30 2F " CHAIN_EMPTY " 0C 01 6F 0C 01 72 " ATTRS_K " " ATTRS_Z

// Lists and chains to encode (static storage: the encoders only read them).
attrlist_s_t attrs_z() {
    static attr_s_t attr{text("z"), 0, nullptr};
    return attrlist_s_t{1, &attr};
}

constexpr attrlist_s_t kNoAttrs{0, nullptr};

kxprincipal_chain_s_t chain_empty() { return kxprincipal_chain_s_t{text("ch"), 0, nullptr}; }

kxprincipal_chain_s_t chain_one() {
    static kxprincipal_s_t p{7, nullptr, -1, nullptr};
    static kxprincipal_s_t* ps[1] = {&p};
    return kxprincipal_chain_s_t{text("ch"), 1, ps};
}

// ---- both ways, both forms ----

// expect_reply_answers<Rec>: an administration reply: an attribute list, then
// a status. An empty list and status 0 give the same octets whichever reply
// it is.
template <class Rec>
void expect_reply_answers() {
    expect_known_answer<Rec>("attributes, status -5", {attrs_k(), -5}, OUT_K_MINUS5);
    expect_known_answer<Rec>("nothing", {kNoAttrs, 0}, OUT_EMPTY_0);
}

TEST_F(AznserverRecords, known_answers) {
    expect_known_answer<asn_dbr_get_db_in_t>("one integer", {5}, ENVELOPE "30 03 02 01 05");
    expect_known_answer<asn_dbr_get_db_out_t>("three integers", {1, -1, 256},
                                              ENVELOPE "30 0A 02 01 01 02 01 FF 02 02 01 00");
    char* t1[1] = {text("t1")};
    aznadmsvc_s_t svc[1] = {{text("adm"), 1, t1}};
    expect_known_answer<asn_aznserver_init_t>("text, integers, services, attributes",
                                              {text("srv"), 1, 2, 3, 4, 1, svc, kNoAttrs},
                                              ENVELOPE "30 24 0C 03 73 72 76 02 01 01 02 01 02 02 01 03 02 01 04 "
                                                       "30 0D 30 0B 0C 03 61 64 6D 30 04 0C 02 74 31 " ATTRS_EMPTY);
    expect_known_answer<asn_aznserver_init_t>(
        "no services", {nullptr, 0, -1, 0x7FFFFFFF, 128, 0, nullptr, attrs_k()},
        ENVELOPE "30 2A 0C 00 02 01 00 02 01 FF 02 04 7F FF FF FF 02 02 00 80 30 00 " ATTRS_K);
    expect_known_answer<asn_aznadmin_getobject_in_t>(
        "chain, three texts, attributes", {chain_empty(), text("a"), text("b"), text("c"), kNoAttrs},
        ENVELOPE "30 15 " CHAIN_EMPTY " 0C 01 61 0C 01 62 0C 01 63 " ATTRS_EMPTY);
    expect_known_answer<asn_aznadmin_getobjectlist_in_t>(
        "chain with a principal and a null text", {chain_one(), text("x"), nullptr, text("z"), attrs_k()},
        ENVELOPE "30 2E " CHAIN_ONE " 0C 01 78 0C 00 0C 01 7A " ATTRS_K);
    expect_known_answer<asn_aznadmin_performtask_in_t>(
        "null chain name, two texts", {kxprincipal_chain_s_t{nullptr, 0, nullptr}, text("t"), text("u"), kNoAttrs},
        ENVELOPE "30 10 30 04 0C 00 30 00 0C 01 74 0C 01 75 " ATTRS_EMPTY);
    expect_known_answer<asn_aznadmin_gettasklist_in_t>("chain, text, attributes", {chain_empty(), text("s"), kNoAttrs},
                                                       ENVELOPE "30 0F " CHAIN_EMPTY " 0C 01 73 " ATTRS_EMPTY);
    expect_reply_answers<asn_aznadmin_getobject_out_t>();
    expect_reply_answers<asn_aznadmin_getobjectlist_out_t>();
    expect_reply_answers<asn_aznadmin_performtask_out_t>();
    expect_reply_answers<asn_aznadmin_gettasklist_out_t>();
    expect_known_answer<asn_azn_id_get_creds_in_t>("two texts, attributes", {text("m"), text("id"), kNoAttrs},
                                                   ENVELOPE "30 0B 0C 01 6D 0C 02 69 64 " ATTRS_EMPTY);
    expect_known_answer<asn_azn_id_get_creds_out_t>("chain then integer", {chain_one(), 3},
                                                    ENVELOPE "30 13 " CHAIN_ONE " 02 01 03");
    expect_known_answer<asn_azn_util_password_in_t>("two texts", {text("u"), text("pw")},
                                                    ENVELOPE "30 07 0C 01 75 0C 02 70 77");
    expect_known_answer<asn_azn_util_password_in_t>("null texts", {nullptr, nullptr}, ENVELOPE "30 04 0C 00 0C 00");
    expect_known_answer<asn_azn_util_password_out_t>("text, attributes, integer", {text("ok"), kNoAttrs, 0},
                                                     ENVELOPE "30 0B 0C 02 6F 6B " ATTRS_EMPTY " 02 01 00");
    // Two different attribute lists come back in order: the first into words
    // 6 and 7 (attrs1), the second into words 8 and 9 (attrs2); swapped, they
    // give other octets and come back swapped.
    expect_known_answer<asn_azn_decision_ext_in_t>("two attribute lists in order",
                                                   {chain_empty(), text("o"), text("r"), attrs_k(), attrs_z()},
                                                   DECISION_IN);
    expect_known_answer<asn_azn_decision_ext_in_t>(
        "the lists swapped", {chain_empty(), text("o"), text("r"), attrs_z(), attrs_k()},
        ENVELOPE "30 2F " CHAIN_EMPTY " 0C 01 6F 0C 01 72 " ATTRS_Z " " ATTRS_K);
    expect_known_answer<asn_azn_decision_ext_out_t>("integer, attributes, integer", {1, kNoAttrs, 2},
                                                    ENVELOPE "30 0A 02 01 01 " ATTRS_EMPTY " 02 01 02");
}

// ---- freeing ----

// The record holds no pointers: freeing it touches nothing.
TEST_F(AznserverRecords, free_of_dbr_get_db_in_does_nothing) {
    dbr_get_db_in_s_t r{-7};
    EXPECT_TRUE(qb_test::blocks_freed_by(r).empty());
    EXPECT_EQ(r.number, -7);
}

// Freeing: the chain first, then the texts in order, then each attribute list in order.
TEST_F(AznserverRecords, free_of_a_decision_request_releases_chain_texts_then_lists) {
    azn_decision_ext_in_s_t o;
    ASSERT_EQ(qb_test::decode_zeroed(hex(DECISION_IN), o), 0x00000000U);
    std::vector<void*> want = {o.caller.name, o.text1, o.text2};
    for (const attrlist_s_t* l : {&o.attrs1, &o.attrs2})
        for (void* p : qb_test::attrlist_blocks(*l)) want.push_back(p);
    EXPECT_EQ(qb_test::blocks_freed_by(o), want);
}

// ---- type names and reflection ----

// The 16-character type-name field keeps the first 16 characters: several
// records share what it holds; the reflection table keeps the full names.
TEST_F(AznserverRecords, shared_cut_type_names_quirk) {
    const qb_test::class_names got = qb_test::class_names_of<
        asn_dbr_get_db_in_t, asn_dbr_get_db_out_t, asn_aznserver_init_t, asn_aznadmin_getobject_in_t,
        asn_aznadmin_getobject_out_t, asn_aznadmin_getobjectlist_in_t, asn_aznadmin_getobjectlist_out_t,
        asn_aznadmin_performtask_in_t, asn_aznadmin_performtask_out_t, asn_aznadmin_gettasklist_in_t,
        asn_aznadmin_gettasklist_out_t, asn_azn_id_get_creds_in_t, asn_azn_id_get_creds_out_t,
        asn_azn_util_password_in_t, asn_azn_util_password_out_t, asn_azn_decision_ext_in_t,
        asn_azn_decision_ext_out_t>();
    EXPECT_EQ(got.held, (std::vector<std::string>{
                            "dbr_get_db_in_t", "dbr_get_db_out_t", "aznserver_init_t",
                            "aznadmin_getobje", "aznadmin_getobje", "aznadmin_getobje", "aznadmin_getobje",
                            "aznadmin_perform", "aznadmin_perform", "aznadmin_gettask", "aznadmin_gettask",
                            "azn_id_get_creds", "azn_id_get_creds", "azn_util_passwor", "azn_util_passwor",
                            "azn_decision_ext", "azn_decision_ext"}));
    EXPECT_EQ(got.full, (std::vector<std::string>{
                            "dbr_get_db_in_t", "dbr_get_db_out_t", "aznserver_init_t", "aznadmin_getobject_in_t",
                            "aznadmin_getobject_out_t", "aznadmin_getobjectlist_in_t", "aznadmin_getobjectlist_out_t",
                            "aznadmin_performtask_in_t", "aznadmin_performtask_out_t", "aznadmin_gettasklist_in_t",
                            "aznadmin_gettasklist_out_t", "azn_id_get_creds_in_t", "azn_id_get_creds_out_t",
                            "azn_util_password_in_t", "azn_util_password_out_t", "azn_decision_ext_in_t",
                            "azn_decision_ext_out_t"}));
    EXPECT_EQ(got.flat, (std::vector<std::string>{
                            "dbr_get_db_in_s_t", "dbr_get_db_out_s_t", "aznserver_init_s_t",
                            "aznadmin_getobject_in_s_t", "aznadmin_getobject_out_s_t",
                            "aznadmin_getobjectlist_in_s_t", "aznadmin_getobjectlist_out_s_t",
                            "aznadmin_performtask_in_s_t", "aznadmin_performtask_out_s_t",
                            "aznadmin_gettasklist_in_s_t", "aznadmin_gettasklist_out_s_t", "azn_id_get_creds_in_s_t",
                            "azn_id_get_creds_out_s_t", "azn_util_password_in_s_t", "azn_util_password_out_s_t",
                            "azn_decision_ext_in_s_t", "azn_decision_ext_out_s_t"}));
    EXPECT_TRUE(got.sizes_match);
    qb_test::expect_names<asn_aznserver_init_t>("aznserver_init_t", "aznserver_init_t", "aznserver_init_s_t",
                                                {"aznserver_init_t", "  qbUTF8string", "  INTEGER", "  INTEGER",
                                                 "  INTEGER", "  INTEGER", "  SEQUENCEOF", "  attrlist_t",
                                                 "    SEQUENCEOF"});
}

TEST_F(AznserverRecords, member_type_names_and_order) {
    asn_azn_decision_ext_in_t r(security_off);
    EXPECT_STREQ(r.caller.get_type_name(), "kxprincipal_chai");
    EXPECT_STREQ(r.text1.get_type_name(), "qbUTF8string");
    EXPECT_STREQ(r.attrs1.get_type_name(), "attrlist_t");
    qb_test::expect_child_list(r, {&r.caller, &r.text1, &r.text2, &r.attrs1, &r.attrs2});

    asn_aznserver_init_t init(security_lcs);
    EXPECT_STREQ(init.services.get_type_name(), "SEQUENCEOF");
    EXPECT_STREQ(init.number1.get_type_name(), "INTEGER");
    qb_test::expect_child_list(init, {&init.text, &init.number1, &init.number2, &init.number3, &init.number4,
                                      &init.services, &init.attrs});
}

TEST_F(AznserverRecords, reflection_kinds_and_offsets) {
    qb_test::expect_fields(
        asn_aznserver_init_t::reflect(),
        {{"text", qb_field_text}, {"number1", qb_field_int}, {"number2", qb_field_int}, {"number3", qb_field_int},
         {"number4", qb_field_int},
         {"services", qb_field_record_list, offsetof(aznserver_init_s_t, service_count),
          offsetof(aznserver_init_s_t, services), &asn_aznadmsvc_t::reflect()},
         {"attrs", qb_field_record, qb_test::kAny, qb_test::kAny, &asn_attrlist_t::reflect()}});
    qb_test::expect_fields(
        asn_azn_decision_ext_in_t::reflect(),
        {{"caller", qb_field_record, qb_test::kAny, qb_test::kAny, &asn_kxprincipal_chain_t::reflect()},
         {"text1", qb_field_text},
         {"text2", qb_field_text},
         {"attrs1", qb_field_record, offsetof(azn_decision_ext_in_s_t, attrs1)},
         {"attrs2", qb_field_record, offsetof(azn_decision_ext_in_s_t, attrs2)}});
}

// ---- allocation failures ----

// The service array is this group's own: its failures name
// base_idls/aznserver_asn. Failures inside the embedded chain and attribute
// lists name their own source files. A partly filled record is freeable.
TEST_F(AznserverRecords, decoding_names_the_failing_records_source) {
    char* t1[1] = {text("t1")};
    aznadmsvc_s_t svc[2] = {{text("adm"), 1, t1}, {text("b"), 0, nullptr}};
    const auto decoding = qb_test::sweep_way::decode;
    qb_test::expect_sweep<asn_aznserver_init_t>("server init", {text("srv"), 1, 2, 3, 4, 2, svc, attrs_k()}, nullptr,
                                                decoding, 4000,
                                                {"Exception: ASN: Memory error [10652065] in base_idls/aznserver_asn"});
    qb_test::expect_sweep<asn_azn_decision_ext_in_t>(
        "decision request", {chain_one(), text("o"), text("r"), attrs_k(), attrs_z()}, nullptr, decoding, 4000,
        {"Exception: ASN: Memory error [10652065] in base_idls/principal_asn",
         "Exception: ASN: Memory error [10652065] in base_idls/attrlist_asn"});
}

}  // namespace
