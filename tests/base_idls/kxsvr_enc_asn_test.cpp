// tests/base_idls/kxsvr_enc_asn_test.cpp - the administration-service and
// local-authorization-server records. What is particular to them: their
// octets written out (each row goes both ways in both forms, support/
// record_cases.h), the 32-bit integer edges, refused messages, type names,
// and the allocation failures that name this group's source file. The round
// trips every record shares run from the reflection table in
// records_generic_test.cpp and records_direct_test.cpp.
//
// This executable replaces malloc for the whole process (support/
// failing_malloc.h) so that the sweeps at the end can fail a chosen
// allocation; everything else runs with every allocation granted.

#include "support/failing_malloc.h"  // first: the sweeps of support/record_test.h

#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

#include "base_idls/kxsvr_enc_asn.h"
#include "support/record_test.h"

namespace {

using qb_test::expect_known_answer, qb_test::expect_refused, qb_test::names_of, qb_test::text;

class KxsvrEncRecords : public qb_test::LeakChecked {};

// ---- the records and their octets ----

// name "svc", texts "a" and "bc":
// SEQUENCE { UTF8String "svc", SEQUENCE OF { UTF8String "a", UTF8String "bc" } }
#define SERVICE ENVELOPE "30 0E 0C 03 73 76 63   30 07 0C 01 61 0C 02 62 63"

// texts "a" "b" "c" "d", integers 1, 128, 0, -1, one service ("s" with the
// text "t") and an attribute list with one attribute "n" holding the value
// (5, "v", 01).
#define SERVER_MEMBERS                                                        \
    " 0C 01 61 0C 01 62 0C 01 63 0C 01 64"                                    \
    " 02 01 01 02 02 00 80 02 01 00 02 01 FF"                                 \
    " 30 0A 30 08 0C 01 73 30 03 0C 01 74"                                    \
    " 30 14 30 12 30 10 0C 01 6E 30 0B 30 09 02 01 05 0C 01 76 04 01 01"
#define SERVER ENVELOPE "30 3B" SERVER_MEMBERS

// Four empty texts, then the integers; no services and an empty attribute list.
#define FOUR_EMPTY_TEXTS " 0C 00 0C 00 0C 00 0C 00 "

struct kxsvr_records {
    char* a_bc[2] = {text("a"), text("bc")};
    aznadmsvc_s_t service{text("svc"), 2, a_bc};

    char* t[1] = {text("t")};
    aznadmsvc_s_t services[1] = {{text("s"), 1, t}};
    unsigned char one[1] = {0x01};
    value_s_t v_value[1] = {{5, text("v"), 1, one}};
    attr_s_t n_attr[1] = {{text("n"), 1, v_value}};
    aznlocal_svr_s_t server{text("a"), text("b"), text("c"), text("d"), 1, 128, 0, -1, 1, services, {1, n_attr}};
};

// ---- both ways, both forms ----

TEST_F(KxsvrEncRecords, known_answers) {
    kxsvr_records f;
    expect_known_answer<asn_aznadmsvc_t>("name and texts", f.service, SERVICE);
    expect_known_answer<asn_aznadmsvc_t>("an empty text list keeps the name", {text("svc"), 0, nullptr},
                                         ENVELOPE "30 07 0C 03 73 76 63 30 00");
    // A null pointer gives the same octets as an empty string.
    char* null_then_x[2] = {nullptr, text("x")};
    expect_known_answer<asn_aznadmsvc_t>("null name and null text", {nullptr, 2, null_then_x},
                                         ENVELOPE "30 09 0C 00 30 05 0C 00 0C 01 78");
    char* empty_then_x[2] = {text(""), text("x")};
    expect_known_answer<asn_aznadmsvc_t>("empty name and empty text", {text(""), 2, empty_then_x},
                                         ENVELOPE "30 09 0C 00 30 05 0C 00 0C 01 78");
    expect_known_answer<asn_aznlocal_svr_t>("every member in order", f.server, SERVER);
    expect_known_answer<asn_aznlocal_svr_t>(
        "null texts, zero integers, no services, empty attribute list",
        {nullptr, nullptr, nullptr, nullptr, 0, 0, 0, 0, 0, nullptr, {0, nullptr}},
        ENVELOPE "30 1A" FOUR_EMPTY_TEXTS "02 01 00 02 01 00 02 01 00 02 01 00 30 00 30 02 30 00");
    aznadmsvc_s_t bare_services[2] = {{text("adm"), 0, nullptr}, {nullptr, 0, nullptr}};
    expect_known_answer<asn_aznlocal_svr_t>(
        "a service with an empty text list keeps its name",
        {nullptr, nullptr, nullptr, nullptr, 7, 0, 0, 0, 2, bare_services, {0, nullptr}},
        ENVELOPE "30 29" FOUR_EMPTY_TEXTS "02 01 07 02 01 00 02 01 00 02 01 00"
                 " 30 0F 30 07 0C 03 61 64 6D 30 00 30 04 0C 00 30 00 30 02 30 00");
    expect_known_answer<asn_aznlocal_svr_t>(
        "integer edges travel as 32-bit values",
        {nullptr, nullptr, nullptr, nullptr, 127, 0x7FFFFFFF, static_cast<int>(0x80000000U), 256, 0, nullptr,
         {0, nullptr}},
        ENVELOPE "30 21" FOUR_EMPTY_TEXTS "02 01 7F 02 04 7F FF FF FF 02 04 80 00 00 00 02 02 01 00 30 00 30 02 30 00");
}

TEST_F(KxsvrEncRecords, refused_messages) {
    // Another envelope version never reaches get_value.
    expect_refused<asn_aznadmsvc_t>("envelope version 3", "04 03 AC DC 30 07 0C 03 73 76 63 30 00", 0x10652196U, true,
                                    0x5A);
    expect_refused<asn_aznlocal_svr_t>("envelope version 1", "04 01 AC DC 30 3B" SERVER_MEMBERS, 0x10652196U, true,
                                       0x5A);
    // The null-record encoding with one more INTEGER at the end of the
    // SEQUENCE: a surplus member; the record stays freeable.
    expect_refused<asn_aznlocal_svr_t>(
        "a surplus member",
        ENVELOPE "30 1D" FOUR_EMPTY_TEXTS "02 01 00 02 01 00 02 01 00 02 01 00 30 00 30 02 30 00 02 01 00",
        0x106521A5U);
}

// ---- type names and reflection ----

TEST_F(KxsvrEncRecords, type_names_and_reflection) {
    qb_test::expect_type_names({
        names_of<asn_aznadmsvc_t>("aznadmsvc_t", "aznadmsvc_t", "aznadmsvc_s_t",
                                  {"aznadmsvc_t", "  qbUTF8string", "  SEQUENCEOF"}),
        names_of<asn_aznlocal_svr_t>("aznlocal_svr_t", "aznlocal_svr_t", "aznlocal_svr_s_t",
                                     {"aznlocal_svr_t", "  qbUTF8string", "  qbUTF8string", "  qbUTF8string",
                                      "  qbUTF8string", "  INTEGER", "  INTEGER", "  INTEGER", "  INTEGER",
                                      "  SEQUENCEOF", "  attrlist_t", "    SEQUENCEOF"}),
    });
    qb_test::expect_fields(asn_aznadmsvc_t::reflect(),
                           {{"name", qb_field_text, offsetof(aznadmsvc_s_t, name)},
                            {"texts", qb_field_text_list, offsetof(aznadmsvc_s_t, count),
                             offsetof(aznadmsvc_s_t, texts)}});
    qb_test::expect_fields(
        asn_aznlocal_svr_t::reflect(),
        {{"text1", qb_field_text}, {"text2", qb_field_text}, {"text3", qb_field_text}, {"text4", qb_field_text},
         {"number1", qb_field_int}, {"number2", qb_field_int}, {"number3", qb_field_int}, {"number4", qb_field_int},
         {"services", qb_field_record_list, offsetof(aznlocal_svr_s_t, service_count),
          offsetof(aznlocal_svr_s_t, services), &asn_aznadmsvc_t::reflect()},
         {"attrs", qb_field_record, offsetof(aznlocal_svr_s_t, attrs), qb_test::kAny, &asn_attrlist_t::reflect()}});
}

// ---- allocation failures ----

// Element creation in set_value (the services and the texts) and the flat
// arrays and texts of get_value name this group; a partly filled record is
// freeable (support/record_test.h).
TEST_F(KxsvrEncRecords, allocation_failures_name_this_group) {
    kxsvr_records f;
    const std::vector<const char*> group = {" in base_idls/kxsvr_enc_asn at line "};
    qb_test::expect_sweep<asn_aznlocal_svr_t>("server", f.server, SERVER, qb_test::sweep_way::both, 2000, group);
    qb_test::expect_sweep<asn_aznadmsvc_t>("service", f.service, SERVICE, qb_test::sweep_way::both, 2000, group);
}

}  // namespace
