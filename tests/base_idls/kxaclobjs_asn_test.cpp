// tests/base_idls/kxaclobjs_asn_test.cpp - text attributes, extended
// attributes, external authorization and the authorization database header.
// What is particular to them: their octets written out (each known answer goes
// both ways in both forms, support/record_cases.h), a refused envelope, and their
// type names and reflection entries. The round trips every record shares run
// from the reflection table in records_generic_test.cpp.
#include <gtest/gtest.h>

#include <cstddef>

#include "base_idls/kxaclobjs_asn.h"
#include "support/record_test.h"

namespace {

using qb_test::expect_fields, qb_test::expect_known_answer, qb_test::expect_names, qb_test::one_attr, qb_test::text;

class KxaclobjsRecords : public qb_test::LeakChecked {};

TEST_F(KxaclobjsRecords, known_answers) {
    char* v1_v2[2] = {text("v1"), text("v2")};
    expect_known_answer<asn_kxattr_t>("name and text values", {text("n"), 2, v1_v2},
                                      ENVELOPE "30 0D 0C 01 6E 30 08 0C 02 76 31 0C 02 76 32");
    // The decoder clears the record itself: decoded into 5A octets.
    expect_known_answer<asn_kxattr_t>("no values is an empty list", {text("n"), 0, nullptr},
                                      ENVELOPE "30 05 0C 01 6E 30 00", 0x5A);
    char* null_value[1] = {nullptr};
    expect_known_answer<asn_kxattr_t>("null name and null value travel as empty texts", {nullptr, 1, null_value},
                                      ENVELOPE "30 06 0C 00 30 02 0C 00");
    kxattr_s_t two_attrs[2] = {{text("n"), 2, v1_v2}, {nullptr, 0, nullptr}};
    expect_known_answer<asn_kxextattr_t>(
        "the attributes, then the attribute list", {2, two_attrs, {0, nullptr}},
        ENVELOPE "30 1B 30 15 30 0D 0C 01 6E 30 08 0C 02 76 31 0C 02 76 32 30 04 0C 00 30 00 " ATTRS_EMPTY);
    one_attr attrs;
    expect_known_answer<asn_kxextattr_t>("no attributes and an attribute list", {0, nullptr, attrs.list},
                                         ENVELOPE "30 18 30 00 " ATTRS_A);
    expect_known_answer<asn_kxextern_auth_t>(
        "four texts", {text("ext"), text("libext.so"), text("authorize"), text("-v")},
        ENVELOPE "30 1F 0C 03 65 78 74 0C 09 6C 69 62 65 78 74 2E 73 6F 0C 09 61 75 74 68 6F 72 69 7A 65 0C 02 2D 76");
    expect_known_answer<asn_kxextern_auth_t>("four null texts", {nullptr, nullptr, nullptr, nullptr},
                                             ENVELOPE "30 08 0C 00 0C 00 0C 00 0C 00");
    expect_known_answer<asn_kxauthzn_db_t>("three integers and the attribute list", {1, 2, 0x7FFFFFFF, attrs.list},
                                           ENVELOPE "30 22 02 01 01 02 01 02 02 04 7F FF FF FF " ATTRS_A);
    expect_known_answer<asn_kxauthzn_db_t>("an empty attribute list", {0, -1, 128, {0, nullptr}},
                                           ENVELOPE "30 0E 02 01 00 02 01 FF 02 02 00 80 30 02 30 00");
    qb_test::expect_refused<asn_kxauthzn_db_t>("envelope version 1",
                                               "04 01 AC DC 30 0E 02 01 00 02 01 FF 02 02 00 80 30 02 30 00",
                                               0x10652196U, true, 0x5A);
}

TEST_F(KxaclobjsRecords, type_names_and_reflection) {
    expect_names<asn_kxattr_t>("kxattr_t", "kxattr_t", "kxattr_s_t", {"kxattr_t", "  qbUTF8string", "  SEQUENCEOF"});
    expect_fields(asn_kxattr_t::reflect(),
                  {{"name", qb_field_text},
                   {"values", qb_field_text_list, offsetof(kxattr_s_t, count), offsetof(kxattr_s_t, values)}});
    expect_names<asn_kxextattr_t>("kxextattr_t", "kxextattr_t", "kxextattr_s_t",
                                  {"kxextattr_t", "  SEQUENCEOF", "  attrlist_t", "    SEQUENCEOF"});
    expect_fields(asn_kxextattr_t::reflect(),
                  {{"attrs", qb_field_record_list, qb_test::kAny, qb_test::kAny, &asn_kxattr_t::reflect()},
                   {"attrlist", qb_field_record}});
    const std::string text_member = "  qbUTF8string";
    expect_names<asn_kxextern_auth_t>("kxextern_auth_t", "kxextern_auth_t", "kxextern_auth_s_t",
                                      {"kxextern_auth_t", text_member, text_member, text_member, text_member});
    expect_fields(asn_kxextern_auth_t::reflect(), {{"name", qb_field_text}, {"library", qb_field_text},
                                                   {"entry_point", qb_field_text}, {"arguments", qb_field_text}});
    expect_names<asn_kxauthzn_db_t>(
        "kxauthzn_db_t", "kxauthzn_db_t", "kxauthzn_db_s_t",
        {"kxauthzn_db_t", "  INTEGER", "  INTEGER", "  INTEGER", "  attrlist_t", "    SEQUENCEOF"});
    expect_fields(asn_kxauthzn_db_t::reflect(), {{"version", qb_field_int}, {"revision", qb_field_int},
                                                 {"flags", qb_field_int}, {"attrlist", qb_field_record}});
}

}  // namespace
