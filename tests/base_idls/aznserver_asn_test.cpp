// tests/base_idls/aznserver_asn_test.cpp - the replica, authorization-server,
// administration, credential, password and extended-decision records: wire
// bytes, round trips in the plain and local-code-set forms, null texts, empty
// lists, type names (several cut to the same 16 characters), what freeing
// releases, and allocation failures during encoding and decoding.
//
// This executable replaces malloc for the whole process (support/
// failing_malloc.h) so that the sweeps can fail a chosen allocation and the
// free tests can watch what is released; everything else runs with every
// allocation granted.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "asn1/asn1.h"
#include "asn1/asnbase.h"
#include "base_idls/aznserver_asn.h"
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
using qb_test::round_trip;
using qb_test::sweep_decode;
using qb_test::sweep_encode;
using qb_test::sweep_result;
using qb_test::text;

// ---- expected bytes, written out ----
// (ENVELOPE, ATTRS_K and ATTRS_EMPTY: support/record_test.h)

// attrlist_t { attr "z" { } }
#define ATTRS_Z "30 09 30 07 30 05 0C 01 7A 30 00"
// kxprincipal_chain_t "ch" with no principals
#define CHAIN_EMPTY "30 06 0C 02 63 68 30 00"
// kxprincipal_chain_t "ch" with the principal { 7, -, -1, - }
#define CHAIN_ONE "30 0E 0C 02 63 68 30 08 30 06 02 01 07 02 01 FF"

// ---- helpers ----

// expect_attrs_z: the decoded list is ATTRS_Z.
void expect_attrs_z(const attrlist_s_t& l) {
    ASSERT_EQ(l.count, 1U);
    ASSERT_NE(l.attrs, nullptr);
    EXPECT_STREQ(l.attrs[0].name, "z");
    EXPECT_EQ(l.attrs[0].count, 0U);
    EXPECT_EQ(l.attrs[0].values, nullptr);
}

void expect_chain_empty(const kxprincipal_chain_s_t& c) {
    EXPECT_STREQ(c.name, "ch");
    EXPECT_EQ(c.count, 0U);
    EXPECT_EQ(c.principals, nullptr);
}

void expect_chain_one(const kxprincipal_chain_s_t& c) {
    EXPECT_STREQ(c.name, "ch");
    ASSERT_EQ(c.count, 1U);
    ASSERT_NE(c.principals, nullptr);
    ASSERT_NE(c.principals[0], nullptr);
    EXPECT_EQ(c.principals[0]->number1, 7);
    EXPECT_EQ(c.principals[0]->identity, nullptr);
    EXPECT_EQ(c.principals[0]->number2, -1);
    EXPECT_EQ(c.principals[0]->attrs, nullptr);
}

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

// ---- dbr_get_db_in_s_t / dbr_get_db_out_s_t ----

TEST(DbrGetDbIn, one_integer) {
    dbr_get_db_in_s_t r{5};
    round_trip(r, ENVELOPE "30 03 02 01 05", [](const dbr_get_db_in_s_t& o) { EXPECT_EQ(o.number, 5); });
}

// The record holds no pointers: freeing it touches nothing.
TEST(DbrGetDbIn, free_does_nothing) {
    dbr_get_db_in_s_t r{-7};
    std::vector<void*> freed;
    {
        qb_test::record_allocations log;
        qbAsnFreeObj(r);
        freed = log.freed();
    }
    EXPECT_TRUE(freed.empty());
    EXPECT_EQ(r.number, -7);
}

TEST(DbrGetDbOut, three_integers) {
    dbr_get_db_out_s_t r{1, -1, 256};
    round_trip(r, ENVELOPE "30 0A 02 01 01 02 01 FF 02 02 01 00", [](const dbr_get_db_out_s_t& o) {
        EXPECT_EQ(o.number1, 1);
        EXPECT_EQ(o.number2, -1);
        EXPECT_EQ(o.number3, 256);
    });
}

// ---- aznserver_init_s_t ----

TEST(AznserverInit, text_integers_services_attributes) {
    char* texts[1] = {text("t1")};
    aznadmsvc_s_t svc[1] = {{text("adm"), 1, texts}};
    aznserver_init_s_t r{text("srv"), 1, 2, 3, 4, 1, svc, kNoAttrs};
    round_trip(r,
               ENVELOPE "30 24 0C 03 73 72 76 02 01 01 02 01 02 02 01 03 02 01 04 "
                        "30 0D 30 0B 0C 03 61 64 6D 30 04 0C 02 74 31 " ATTRS_EMPTY,
               [](const aznserver_init_s_t& o) {
                   EXPECT_STREQ(o.text, "srv");
                   EXPECT_EQ(o.number1, 1);
                   EXPECT_EQ(o.number2, 2);
                   EXPECT_EQ(o.number3, 3);
                   EXPECT_EQ(o.number4, 4);
                   ASSERT_EQ(o.service_count, 1U);
                   ASSERT_NE(o.services, nullptr);
                   EXPECT_STREQ(o.services[0].name, "adm");
                   ASSERT_EQ(o.services[0].count, 1U);
                   EXPECT_STREQ(o.services[0].texts[0], "t1");
                   expect_attrs_empty(o.attrs);
               });
}

TEST(AznserverInit, no_services_decodes_to_count_zero_and_null_array) {
    aznserver_init_s_t r{nullptr, 0, -1, 0x7FFFFFFF, 128, 0, nullptr, attrs_k()};
    round_trip(r,
               ENVELOPE "30 2A 0C 00 02 01 00 02 01 FF 02 04 7F FF FF FF 02 02 00 80 30 00 " ATTRS_K,
               [](const aznserver_init_s_t& o) {
                   ASSERT_NE(o.text, nullptr);
                   EXPECT_STREQ(o.text, "");
                   EXPECT_EQ(o.number1, 0);
                   EXPECT_EQ(o.number2, -1);
                   EXPECT_EQ(o.number3, 0x7FFFFFFF);
                   EXPECT_EQ(o.number4, 128);
                   EXPECT_EQ(o.service_count, 0U);
                   EXPECT_EQ(o.services, nullptr);
                   expect_attrs_k(o.attrs);
               });
}

// ---- the administration requests ----

TEST(AznadminGetobjectIn, chain_three_texts_attributes) {
    aznadmin_getobject_in_s_t r{chain_empty(), text("a"), text("b"), text("c"), kNoAttrs};
    round_trip(r, ENVELOPE "30 15 " CHAIN_EMPTY " 0C 01 61 0C 01 62 0C 01 63 " ATTRS_EMPTY,
               [](const aznadmin_getobject_in_s_t& o) {
                   expect_chain_empty(o.caller);
                   EXPECT_STREQ(o.text1, "a");
                   EXPECT_STREQ(o.text2, "b");
                   EXPECT_STREQ(o.text3, "c");
                   expect_attrs_empty(o.attrs);
               });
}

TEST(AznadminGetobjectlistIn, chain_with_principal_and_null_text) {
    aznadmin_getobjectlist_in_s_t r{chain_one(), text("x"), nullptr, text("z"), attrs_k()};
    round_trip(r, ENVELOPE "30 2E " CHAIN_ONE " 0C 01 78 0C 00 0C 01 7A " ATTRS_K,
               [](const aznadmin_getobjectlist_in_s_t& o) {
                   expect_chain_one(o.caller);
                   EXPECT_STREQ(o.text1, "x");
                   ASSERT_NE(o.text2, nullptr);
                   EXPECT_STREQ(o.text2, "");
                   EXPECT_STREQ(o.text3, "z");
                   expect_attrs_k(o.attrs);
               });
}

TEST(AznadminPerformtaskIn, null_chain_name_two_texts) {
    aznadmin_performtask_in_s_t r{kxprincipal_chain_s_t{nullptr, 0, nullptr}, text("t"), text("u"), kNoAttrs};
    round_trip(r, ENVELOPE "30 10 30 04 0C 00 30 00 0C 01 74 0C 01 75 " ATTRS_EMPTY,
               [](const aznadmin_performtask_in_s_t& o) {
                   ASSERT_NE(o.caller.name, nullptr);
                   EXPECT_STREQ(o.caller.name, "");
                   EXPECT_EQ(o.caller.count, 0U);
                   EXPECT_EQ(o.caller.principals, nullptr);
                   EXPECT_STREQ(o.text1, "t");
                   EXPECT_STREQ(o.text2, "u");
                   expect_attrs_empty(o.attrs);
               });
}

TEST(AznadminGettasklistIn, chain_text_attributes) {
    aznadmin_gettasklist_in_s_t r{chain_empty(), text("s"), kNoAttrs};
    round_trip(r, ENVELOPE "30 0F " CHAIN_EMPTY " 0C 01 73 " ATTRS_EMPTY, [](const aznadmin_gettasklist_in_s_t& o) {
        expect_chain_empty(o.caller);
        EXPECT_STREQ(o.text, "s");
        expect_attrs_empty(o.attrs);
    });
}

// ---- the administration replies ----

#define OUT_EMPTY_0 ENVELOPE "30 07 " ATTRS_EMPTY " 02 01 00"
#define OUT_K_MINUS5 ENVELOPE "30 19 " ATTRS_K " 02 01 FB"

// An empty attribute list and status 0 give the same bytes whichever reply it is.
TEST(AznadminOut, four_replies_give_the_same_bytes) {
    aznadmin_getobject_out_s_t a{kNoAttrs, 0};
    aznadmin_getobjectlist_out_s_t b{kNoAttrs, 0};
    aznadmin_performtask_out_s_t c{kNoAttrs, 0};
    aznadmin_gettasklist_out_s_t d{kNoAttrs, 0};
    const bytes_t want = hex(OUT_EMPTY_0);
    EXPECT_EQ(encode(a), want);
    EXPECT_EQ(encode(b), want);
    EXPECT_EQ(encode(c), want);
    EXPECT_EQ(encode(d), want);
    EXPECT_EQ(encode(a, true), want);
    EXPECT_EQ(encode(b, true), want);
    EXPECT_EQ(encode(c, true), want);
    EXPECT_EQ(encode(d, true), want);
}

template <class Out>
void check_out_k(const Out& o) {
    expect_attrs_k(o.attrs);
    EXPECT_EQ(o.status, -5);
}

template <class Out>
void check_out_empty(const Out& o) {
    expect_attrs_empty(o.attrs);
    EXPECT_EQ(o.status, 0);
}

TEST(AznadminGetobjectOut, attributes_then_status) {
    aznadmin_getobject_out_s_t r{attrs_k(), -5};
    round_trip(r, OUT_K_MINUS5, check_out_k<aznadmin_getobject_out_s_t>);
    aznadmin_getobject_out_s_t e{kNoAttrs, 0};
    round_trip(e, OUT_EMPTY_0, check_out_empty<aznadmin_getobject_out_s_t>);
}

TEST(AznadminGetobjectlistOut, attributes_then_status) {
    aznadmin_getobjectlist_out_s_t r{attrs_k(), -5};
    round_trip(r, OUT_K_MINUS5, check_out_k<aznadmin_getobjectlist_out_s_t>);
    aznadmin_getobjectlist_out_s_t e{kNoAttrs, 0};
    round_trip(e, OUT_EMPTY_0, check_out_empty<aznadmin_getobjectlist_out_s_t>);
}

TEST(AznadminPerformtaskOut, attributes_then_status) {
    aznadmin_performtask_out_s_t r{attrs_k(), -5};
    round_trip(r, OUT_K_MINUS5, check_out_k<aznadmin_performtask_out_s_t>);
    aznadmin_performtask_out_s_t e{kNoAttrs, 0};
    round_trip(e, OUT_EMPTY_0, check_out_empty<aznadmin_performtask_out_s_t>);
}

TEST(AznadminGettasklistOut, attributes_then_status) {
    aznadmin_gettasklist_out_s_t r{attrs_k(), -5};
    round_trip(r, OUT_K_MINUS5, check_out_k<aznadmin_gettasklist_out_s_t>);
    aznadmin_gettasklist_out_s_t e{kNoAttrs, 0};
    round_trip(e, OUT_EMPTY_0, check_out_empty<aznadmin_gettasklist_out_s_t>);
}

// ---- credentials ----

TEST(AznIdGetCredsIn, two_texts_attributes) {
    azn_id_get_creds_in_s_t r{text("m"), text("id"), kNoAttrs};
    round_trip(r, ENVELOPE "30 0B 0C 01 6D 0C 02 69 64 " ATTRS_EMPTY, [](const azn_id_get_creds_in_s_t& o) {
        EXPECT_STREQ(o.text1, "m");
        EXPECT_STREQ(o.text2, "id");
        expect_attrs_empty(o.attrs);
    });
}

TEST(AznIdGetCredsOut, chain_then_integer) {
    azn_id_get_creds_out_s_t r{chain_one(), 3};
    round_trip(r, ENVELOPE "30 13 " CHAIN_ONE " 02 01 03", [](const azn_id_get_creds_out_s_t& o) {
        expect_chain_one(o.creds);
        EXPECT_EQ(o.number, 3);
    });
}

// ---- passwords ----

TEST(AznUtilPasswordIn, two_texts) {
    azn_util_password_in_s_t r{text("u"), text("pw")};
    round_trip(r, ENVELOPE "30 07 0C 01 75 0C 02 70 77", [](const azn_util_password_in_s_t& o) {
        EXPECT_STREQ(o.text1, "u");
        EXPECT_STREQ(o.text2, "pw");
    });
}

TEST(AznUtilPasswordIn, null_texts) {
    azn_util_password_in_s_t r{nullptr, nullptr};
    round_trip(r, ENVELOPE "30 04 0C 00 0C 00", [](const azn_util_password_in_s_t& o) {
        ASSERT_NE(o.text1, nullptr);
        ASSERT_NE(o.text2, nullptr);
        EXPECT_STREQ(o.text1, "");
        EXPECT_STREQ(o.text2, "");
    });
}

TEST(AznUtilPasswordOut, text_attributes_integer) {
    azn_util_password_out_s_t r{text("ok"), kNoAttrs, 0};
    round_trip(r, ENVELOPE "30 0B 0C 02 6F 6B " ATTRS_EMPTY " 02 01 00", [](const azn_util_password_out_s_t& o) {
        EXPECT_STREQ(o.text, "ok");
        expect_attrs_empty(o.attrs);
        EXPECT_EQ(o.number, 0);
    });
}

// ---- the extended decision ----

#define DECISION_IN ENVELOPE "30 2F " CHAIN_EMPTY " 0C 01 6F 0C 01 72 " ATTRS_K " " ATTRS_Z

// Two different attribute lists come back in order: the first into words 6
// and 7 (attrs1), the second into words 8 and 9 (attrs2).
TEST(AznDecisionExtIn, two_attribute_lists_in_order) {
    azn_decision_ext_in_s_t r{chain_empty(), text("o"), text("r"), attrs_k(), attrs_z()};
    round_trip(r, DECISION_IN, [](const azn_decision_ext_in_s_t& o) {
        expect_chain_empty(o.caller);
        EXPECT_STREQ(o.text1, "o");
        EXPECT_STREQ(o.text2, "r");
        expect_attrs_k(o.attrs1);
        expect_attrs_z(o.attrs2);
    });
    // Swapped lists give other bytes and come back swapped.
    azn_decision_ext_in_s_t swapped{chain_empty(), text("o"), text("r"), attrs_z(), attrs_k()};
    azn_decision_ext_in_s_t out;
    ASSERT_EQ(decode_zeroed(encode(swapped), out), 0x00000000U);
    expect_attrs_z(out.attrs1);
    expect_attrs_k(out.attrs2);
    qbAsnFreeObj(out);
}

// Freeing: the chain first, then the texts in order, then each attribute list in order.
TEST(AznDecisionExtIn, free_releases_chain_texts_then_lists) {
    azn_decision_ext_in_s_t o;
    ASSERT_EQ(decode_zeroed(hex(DECISION_IN), o), 0x00000000U);
    const std::vector<void*> want = {
        o.caller.name,
        o.text1,
        o.text2,
        o.attrs1.attrs[0].name,
        o.attrs1.attrs[0].values[0].text,
        o.attrs1.attrs[0].values[0].bytes,
        o.attrs1.attrs[0].values,
        o.attrs1.attrs,
        o.attrs2.attrs[0].name,
        o.attrs2.attrs,
    };
    std::vector<void*> freed;
    {
        qb_test::record_allocations log;
        qbAsnFreeObj(o);
        freed = log.freed();
    }
    EXPECT_EQ(freed, want);
}

TEST(AznDecisionExtOut, integer_attributes_integer) {
    azn_decision_ext_out_s_t r{1, kNoAttrs, 2};
    round_trip(r, ENVELOPE "30 0A 02 01 01 " ATTRS_EMPTY " 02 01 02", [](const azn_decision_ext_out_s_t& o) {
        EXPECT_EQ(o.number1, 1);
        expect_attrs_empty(o.attrs);
        EXPECT_EQ(o.number2, 2);
    });
}

// ---- type names and reflection ----

struct type_name_case {
    const char* full;        // the record's name, kept by the reflection table
    const char* cut;         // what the 16-character type-name field holds
    const char* flat;        // the flat record's name
    const qb_record_info& (*info)();
    const char* (*constructed)();  // the type name of a freshly built record object
};

template <class Rec>
const char* type_name_of() {
    static char name[17];
    Rec rec(security_off);
    std::strncpy(name, rec.get_type_name(), 16);
    name[16] = '\0';
    return name;
}

TEST(AznserverTypeNames, shared_cut_type_names_quirk) {
    const type_name_case cases[] = {
        {"dbr_get_db_in_t", "dbr_get_db_in_t", "dbr_get_db_in_s_t", &asn_dbr_get_db_in_t::reflect,
         &type_name_of<asn_dbr_get_db_in_t>},
        {"dbr_get_db_out_t", "dbr_get_db_out_t", "dbr_get_db_out_s_t", &asn_dbr_get_db_out_t::reflect,
         &type_name_of<asn_dbr_get_db_out_t>},
        {"aznserver_init_t", "aznserver_init_t", "aznserver_init_s_t", &asn_aznserver_init_t::reflect,
         &type_name_of<asn_aznserver_init_t>},
        {"aznadmin_getobject_in_t", "aznadmin_getobje", "aznadmin_getobject_in_s_t",
         &asn_aznadmin_getobject_in_t::reflect, &type_name_of<asn_aznadmin_getobject_in_t>},
        {"aznadmin_getobject_out_t", "aznadmin_getobje", "aznadmin_getobject_out_s_t",
         &asn_aznadmin_getobject_out_t::reflect, &type_name_of<asn_aznadmin_getobject_out_t>},
        {"aznadmin_getobjectlist_in_t", "aznadmin_getobje", "aznadmin_getobjectlist_in_s_t",
         &asn_aznadmin_getobjectlist_in_t::reflect, &type_name_of<asn_aznadmin_getobjectlist_in_t>},
        {"aznadmin_getobjectlist_out_t", "aznadmin_getobje", "aznadmin_getobjectlist_out_s_t",
         &asn_aznadmin_getobjectlist_out_t::reflect, &type_name_of<asn_aznadmin_getobjectlist_out_t>},
        {"aznadmin_performtask_in_t", "aznadmin_perform", "aznadmin_performtask_in_s_t",
         &asn_aznadmin_performtask_in_t::reflect, &type_name_of<asn_aznadmin_performtask_in_t>},
        {"aznadmin_performtask_out_t", "aznadmin_perform", "aznadmin_performtask_out_s_t",
         &asn_aznadmin_performtask_out_t::reflect, &type_name_of<asn_aznadmin_performtask_out_t>},
        {"aznadmin_gettasklist_in_t", "aznadmin_gettask", "aznadmin_gettasklist_in_s_t",
         &asn_aznadmin_gettasklist_in_t::reflect, &type_name_of<asn_aznadmin_gettasklist_in_t>},
        {"aznadmin_gettasklist_out_t", "aznadmin_gettask", "aznadmin_gettasklist_out_s_t",
         &asn_aznadmin_gettasklist_out_t::reflect, &type_name_of<asn_aznadmin_gettasklist_out_t>},
        {"azn_id_get_creds_in_t", "azn_id_get_creds", "azn_id_get_creds_in_s_t", &asn_azn_id_get_creds_in_t::reflect,
         &type_name_of<asn_azn_id_get_creds_in_t>},
        {"azn_id_get_creds_out_t", "azn_id_get_creds", "azn_id_get_creds_out_s_t",
         &asn_azn_id_get_creds_out_t::reflect, &type_name_of<asn_azn_id_get_creds_out_t>},
        {"azn_util_password_in_t", "azn_util_passwor", "azn_util_password_in_s_t",
         &asn_azn_util_password_in_t::reflect, &type_name_of<asn_azn_util_password_in_t>},
        {"azn_util_password_out_t", "azn_util_passwor", "azn_util_password_out_s_t",
         &asn_azn_util_password_out_t::reflect, &type_name_of<asn_azn_util_password_out_t>},
        {"azn_decision_ext_in_t", "azn_decision_ext", "azn_decision_ext_in_s_t", &asn_azn_decision_ext_in_t::reflect,
         &type_name_of<asn_azn_decision_ext_in_t>},
        {"azn_decision_ext_out_t", "azn_decision_ext", "azn_decision_ext_out_s_t",
         &asn_azn_decision_ext_out_t::reflect, &type_name_of<asn_azn_decision_ext_out_t>},
    };
    for (const type_name_case& c : cases) {
        SCOPED_TRACE(c.full);
        EXPECT_STREQ(c.constructed(), c.cut);
        EXPECT_STREQ(c.info().name, c.full);
        EXPECT_STREQ(c.info().flat_name, c.flat);
    }
}

TEST(AznserverTypeNames, member_type_names_and_order) {
    asn_azn_decision_ext_in_t r(security_off);
    EXPECT_STREQ(r.caller.get_type_name(), "kxprincipal_chai");
    EXPECT_STREQ(r.text1.get_type_name(), "qbUTF8string");
    EXPECT_STREQ(r.attrs1.get_type_name(), "attrlist_t");
    ASSERT_EQ(r.get_child_count(), 5U);
    EXPECT_EQ(r.get_child(0), &r.caller);
    EXPECT_EQ(r.get_child(1), &r.text1);
    EXPECT_EQ(r.get_child(2), &r.text2);
    EXPECT_EQ(r.get_child(3), &r.attrs1);
    EXPECT_EQ(r.get_child(4), &r.attrs2);

    asn_aznserver_init_t init(security_lcs);
    EXPECT_STREQ(init.services.get_type_name(), "SEQUENCEOF");
    EXPECT_STREQ(init.number1.get_type_name(), "INTEGER");
    ASSERT_EQ(init.get_child_count(), 7U);
    EXPECT_EQ(init.get_child(5), &init.services);
    EXPECT_EQ(init.get_child(6), &init.attrs);
}

TEST(AznserverReflection, kinds_and_offsets) {
    const qb_record_info& init = asn_aznserver_init_t::reflect();
    EXPECT_EQ(init.flat_size, sizeof(aznserver_init_s_t));
    ASSERT_EQ(init.field_count, 7U);
    const qb_field_kind kinds[] = {qb_field_text, qb_field_int, qb_field_int, qb_field_int,
                                   qb_field_int,  qb_field_record_list, qb_field_record};
    for (size_t i = 0; i < 7; ++i) EXPECT_EQ(init.fields[i].kind, kinds[i]) << "field " << i;
    EXPECT_EQ(init.fields[5].offset, offsetof(aznserver_init_s_t, service_count));
    EXPECT_EQ(init.fields[5].offset2, offsetof(aznserver_init_s_t, services));
    EXPECT_EQ(init.fields[5].element(), &asn_aznadmsvc_t::reflect());
    EXPECT_EQ(init.fields[6].element(), &asn_attrlist_t::reflect());

    const qb_record_info& dec = asn_azn_decision_ext_in_t::reflect();
    ASSERT_EQ(dec.field_count, 5U);
    EXPECT_EQ(dec.fields[0].kind, qb_field_record);
    EXPECT_EQ(dec.fields[0].element(), &asn_kxprincipal_chain_t::reflect());
    EXPECT_EQ(dec.fields[3].offset, offsetof(azn_decision_ext_in_s_t, attrs1));
    EXPECT_EQ(dec.fields[4].offset, offsetof(azn_decision_ext_in_s_t, attrs2));
}

// ---- allocation failures ----

constexpr long kSweepLimit = 4000;

// The sweeps: support/record_test.h.

// The service array is this group's own: its failures name base_idls/aznserver_asn.
TEST(AznserverOutOfMemory, server_init) {
    char* texts[1] = {text("t1")};
    aznadmsvc_s_t svc[2] = {{text("adm"), 1, texts}, {text("b"), 0, nullptr}};
    aznserver_init_s_t r{text("srv"), 1, 2, 3, 4, 2, svc, attrs_k()};
    const bytes_t want = encode(r);
    sweep_encode(r, want, kSweepLimit);
    const sweep_result decoded = sweep_decode<aznserver_init_s_t>(want, kSweepLimit);
    EXPECT_TRUE(decoded.some_run_printed("Exception: ASN: Memory error [10652065] in base_idls/aznserver_asn"));
}

// Failures inside the embedded chain name the chain's own source file.
TEST(AznserverOutOfMemory, decision_request) {
    azn_decision_ext_in_s_t r{chain_one(), text("o"), text("r"), attrs_k(), attrs_z()};
    const bytes_t want = encode(r);
    sweep_encode(r, want, kSweepLimit);
    const sweep_result decoded = sweep_decode<azn_decision_ext_in_s_t>(want, kSweepLimit);
    EXPECT_TRUE(decoded.some_run_printed("Exception: ASN: Memory error [10652065] in base_idls/principal_asn"));
    EXPECT_TRUE(decoded.some_run_printed("Exception: ASN: Memory error [10652065] in base_idls/attrlist_asn"));
}

}  // namespace
