// tests/base_idls/kxsvr_enc_asn_test.cpp - the administration-service and
// local-authorization-server records: wire bytes, round trips in the plain and
// local-code-set forms, null texts, empty lists, type names, and allocation
// failures during encoding and decoding.
//
// This executable replaces malloc for the whole process (support/
// failing_malloc.h) so that the sweeps at the end can fail a chosen
// allocation; everything else runs with every allocation granted.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "asn1/asn1.h"
#include "asn1/asnbase.h"
#include "base_idls/kxsvr_enc_asn.h"
#include "support/failing_malloc.h"
#include "support/hex.h"
#include "support/record_test.h"

namespace {

using qb_test::bytes_t;
using qb_test::decode_zeroed;
using qb_test::dump_names;
using qb_test::encode;
using qb_test::LeakChecked;
using qb_test::sweep_decode;
using qb_test::sweep_encode;

// A buffer that is not an envelope of version 2 never reaches get_value.
constexpr int kSentinel = 0x5A5A5A5A;

// ---- leak check per test ----

// In the sanitizer build every test ends with a leak check, so a leak is
// charged to the test that made it (support/leak_check.h).

class AsnAznadmsvc : public LeakChecked {};
class AsnAznlocalSvr : public LeakChecked {};
class KxsvrEncOutOfMemory : public LeakChecked {};

// ---- asn_aznadmsvc_t ----

// name "svc", texts "a" and "bc":
// SEQUENCE { UTF8String "svc", SEQUENCE OF { UTF8String "a", UTF8String "bc" } }
constexpr const char* kService =
    "04 02 AC DC"
    " 30 0E"
    "   0C 03 73 76 63"
    "   30 07 0C 01 61 0C 02 62 63";

TEST_F(AsnAznadmsvc, encodes_name_and_texts) {
    char name[] = "svc";
    char a[] = "a";
    char bc[] = "bc";
    char* texts[] = {a, bc};
    aznadmsvc_s_t r{name, 2, texts};
    EXPECT_EQ(encode(r), hex(kService));
}

TEST_F(AsnAznadmsvc, decodes_name_and_texts) {
    aznadmsvc_s_t r;
    ASSERT_EQ(decode_zeroed(hex(kService), r), 0x00000000U);
    EXPECT_STREQ(r.name, "svc");
    ASSERT_EQ(r.count, 2U);
    ASSERT_NE(r.texts, nullptr);
    EXPECT_STREQ(r.texts[0], "a");
    EXPECT_STREQ(r.texts[1], "bc");
    qbAsnFreeObj(r);
}

TEST_F(AsnAznadmsvc, lcs_form_gives_the_same_bytes_and_fields) {
    char name[] = "svc";
    char a[] = "a";
    char bc[] = "bc";
    char* texts[] = {a, bc};
    aznadmsvc_s_t r{name, 2, texts};
    EXPECT_EQ(encode(r, true), hex(kService));

    aznadmsvc_s_t d;
    ASSERT_EQ(decode_zeroed(hex(kService), d, true), 0x00000000U);
    EXPECT_STREQ(d.name, "svc");
    ASSERT_EQ(d.count, 2U);
    EXPECT_STREQ(d.texts[0], "a");
    EXPECT_STREQ(d.texts[1], "bc");
    qbAsnFreeObj(d);
}

TEST_F(AsnAznadmsvc, decoded_record_encodes_to_the_same_bytes) {
    aznadmsvc_s_t d;
    ASSERT_EQ(decode_zeroed(hex(kService), d), 0x00000000U);
    EXPECT_EQ(encode(d), hex(kService));
    qbAsnFreeObj(d);
}

TEST_F(AsnAznadmsvc, empty_text_list_keeps_the_name_and_decodes_to_count_zero_and_null_array) {
    char name[] = "svc";
    aznadmsvc_s_t r{name, 0, nullptr};
    const bytes_t expected = hex("04 02 AC DC 30 07 0C 03 73 76 63 30 00");
    EXPECT_EQ(encode(r), expected);

    aznadmsvc_s_t d;
    ASSERT_EQ(decode_zeroed(expected, d), 0x00000000U);
    EXPECT_STREQ(d.name, "svc");
    EXPECT_EQ(d.count, 0U);
    EXPECT_EQ(d.texts, nullptr);
    qbAsnFreeObj(d);
}

TEST_F(AsnAznadmsvc, null_name_and_null_text_travel_as_empty_texts) {
    char x[] = "x";
    char* texts[] = {nullptr, x};
    aznadmsvc_s_t r{nullptr, 2, texts};
    const bytes_t expected = hex("04 02 AC DC 30 09 0C 00 30 05 0C 00 0C 01 78");
    EXPECT_EQ(encode(r), expected);

    // A null pointer gives the same bytes as an empty string.
    char empty1[] = "";
    char empty2[] = "";
    char* texts2[] = {empty1, x};
    aznadmsvc_s_t r2{empty2, 2, texts2};
    EXPECT_EQ(encode(r2), expected);

    aznadmsvc_s_t d;
    ASSERT_EQ(decode_zeroed(expected, d), 0x00000000U);
    ASSERT_NE(d.name, nullptr);
    EXPECT_STREQ(d.name, "");
    ASSERT_EQ(d.count, 2U);
    ASSERT_NE(d.texts[0], nullptr);
    EXPECT_STREQ(d.texts[0], "");
    EXPECT_STREQ(d.texts[1], "x");
    qbAsnFreeObj(d);
}

TEST_F(AsnAznadmsvc, other_envelope_version_is_refused_before_get_value) {
    aznadmsvc_s_t r{nullptr, static_cast<unsigned int>(kSentinel), nullptr};
    bytes_t b = hex("04 03 AC DC 30 07 0C 03 73 76 63 30 00");
    qb_asn_buffer_t in{static_cast<unsigned int>(b.size()), b.data()};
    EXPECT_EQ(qbAsnDecodeObj(in, r), 0x10652196U);
    EXPECT_EQ(r.count, static_cast<unsigned int>(kSentinel));  // not zeroed: get_value not reached
    EXPECT_EQ(r.name, nullptr);
    EXPECT_EQ(r.texts, nullptr);
}

TEST_F(AsnAznadmsvc, type_names) {
    asn_aznadmsvc_t rec(security_off);
    EXPECT_STREQ(rec.get_type_name(), "aznadmsvc_t");
    const std::vector<std::string> expected = {"aznadmsvc_t", "  qbUTF8string", "  SEQUENCEOF"};
    EXPECT_EQ(dump_names(rec), expected);
    EXPECT_STREQ(asn_aznadmsvc_t::reflect().name, "aznadmsvc_t");
    EXPECT_STREQ(asn_aznadmsvc_t::reflect().flat_name, "aznadmsvc_s_t");
}

TEST_F(AsnAznadmsvc, reflection_lists_the_fields_in_wire_order) {
    const qb_record_info& info = asn_aznadmsvc_t::reflect();
    EXPECT_EQ(info.flat_size, sizeof(aznadmsvc_s_t));
    ASSERT_EQ(info.field_count, 2U);
    EXPECT_STREQ(info.fields[0].name, "name");
    EXPECT_EQ(info.fields[0].kind, qb_field_text);
    EXPECT_EQ(info.fields[0].offset, offsetof(aznadmsvc_s_t, name));
    EXPECT_STREQ(info.fields[1].name, "texts");
    EXPECT_EQ(info.fields[1].kind, qb_field_text_list);
    EXPECT_EQ(info.fields[1].offset, offsetof(aznadmsvc_s_t, count));
    EXPECT_EQ(info.fields[1].offset2, offsetof(aznadmsvc_s_t, texts));
}

// ---- asn_aznlocal_svr_t ----

// texts "a" "b" "c" "d", integers 1, 128, 0, -1, one service ("s" with the
// text "t") and an attribute list with one attribute "n" holding the value
// (5, "v", 01).
constexpr const char* kServer =
    "04 02 AC DC"
    " 30 3B"
    "   0C 01 61 0C 01 62 0C 01 63 0C 01 64"
    "   02 01 01 02 02 00 80 02 01 00 02 01 FF"
    "   30 0A 30 08 0C 01 73 30 03 0C 01 74"
    "   30 14 30 12 30 10 0C 01 6E 30 0B 30 09 02 01 05 0C 01 76 04 01 01";

// server_fixture: the flat record behind kServer, with its storage.
struct server_fixture {
    char a[2] = "a", b[2] = "b", c[2] = "c", d[2] = "d";
    char s[2] = "s", t[2] = "t", n[2] = "n", v[2] = "v";
    unsigned char one[1] = {0x01};
    char* service_texts[1] = {t};
    aznadmsvc_s_t services[1] = {{s, 1, service_texts}};
    value_s_t values[1] = {{5, v, 1, one}};
    attr_s_t attrs[1] = {{n, 1, values}};
    aznlocal_svr_s_t rec{a, b, c, d, 1, 128, 0, -1, 1, services, {1, attrs}};
};

void expect_server_fields(const aznlocal_svr_s_t& r) {
    EXPECT_STREQ(r.text1, "a");
    EXPECT_STREQ(r.text2, "b");
    EXPECT_STREQ(r.text3, "c");
    EXPECT_STREQ(r.text4, "d");
    EXPECT_EQ(r.number1, 1);
    EXPECT_EQ(r.number2, 128);
    EXPECT_EQ(r.number3, 0);
    EXPECT_EQ(r.number4, -1);
    ASSERT_EQ(r.service_count, 1U);
    ASSERT_NE(r.services, nullptr);
    EXPECT_STREQ(r.services[0].name, "s");
    ASSERT_EQ(r.services[0].count, 1U);
    EXPECT_STREQ(r.services[0].texts[0], "t");
    ASSERT_EQ(r.attrs.count, 1U);
    ASSERT_NE(r.attrs.attrs, nullptr);
    EXPECT_STREQ(r.attrs.attrs[0].name, "n");
    ASSERT_EQ(r.attrs.attrs[0].count, 1U);
    const value_s_t& v = r.attrs.attrs[0].values[0];
    EXPECT_EQ(v.number, 5);
    EXPECT_STREQ(v.text, "v");
    ASSERT_EQ(v.length, 1U);
    EXPECT_EQ(v.bytes[0], 0x01);
}

TEST_F(AsnAznlocalSvr, encodes_every_member_in_order) {
    server_fixture f;
    EXPECT_EQ(encode(f.rec), hex(kServer));
}

TEST_F(AsnAznlocalSvr, decodes_every_member) {
    aznlocal_svr_s_t r;
    ASSERT_EQ(decode_zeroed(hex(kServer), r), 0x00000000U);
    expect_server_fields(r);
    qbAsnFreeObj(r);
}

TEST_F(AsnAznlocalSvr, lcs_form_gives_the_same_bytes_and_fields) {
    server_fixture f;
    EXPECT_EQ(encode(f.rec, true), hex(kServer));
    aznlocal_svr_s_t r;
    ASSERT_EQ(decode_zeroed(hex(kServer), r, true), 0x00000000U);
    expect_server_fields(r);
    qbAsnFreeObj(r);
}

TEST_F(AsnAznlocalSvr, decoded_record_encodes_to_the_same_bytes) {
    aznlocal_svr_s_t r;
    ASSERT_EQ(decode_zeroed(hex(kServer), r), 0x00000000U);
    EXPECT_EQ(encode(r), hex(kServer));
    qbAsnFreeObj(r);
}

TEST_F(AsnAznlocalSvr, null_texts_zero_integers_no_services_and_empty_attrlist) {
    aznlocal_svr_s_t r{nullptr, nullptr, nullptr, nullptr, 0, 0, 0, 0, 0, nullptr, {0, nullptr}};
    const bytes_t expected = hex(
        "04 02 AC DC 30 1A"
        " 0C 00 0C 00 0C 00 0C 00"
        " 02 01 00 02 01 00 02 01 00 02 01 00"
        " 30 00"
        " 30 02 30 00");
    EXPECT_EQ(encode(r), expected);

    aznlocal_svr_s_t d;
    ASSERT_EQ(decode_zeroed(expected, d), 0x00000000U);
    for (char* t : {d.text1, d.text2, d.text3, d.text4}) {
        ASSERT_NE(t, nullptr);  // an allocated empty string, never null
        EXPECT_STREQ(t, "");
    }
    EXPECT_EQ(d.number1, 0);
    EXPECT_EQ(d.number2, 0);
    EXPECT_EQ(d.number3, 0);
    EXPECT_EQ(d.number4, 0);
    EXPECT_EQ(d.service_count, 0U);
    EXPECT_EQ(d.services, nullptr);
    EXPECT_EQ(d.attrs.count, 0U);
    EXPECT_EQ(d.attrs.attrs, nullptr);
    qbAsnFreeObj(d);
}

TEST_F(AsnAznlocalSvr, service_with_empty_text_list_keeps_its_name) {
    char name[] = "adm";
    aznadmsvc_s_t services[2] = {{name, 0, nullptr}, {nullptr, 0, nullptr}};
    aznlocal_svr_s_t r{nullptr, nullptr, nullptr, nullptr, 7, 0, 0, 0, 2, services, {0, nullptr}};
    const bytes_t expected = hex(
        "04 02 AC DC 30 29"
        " 0C 00 0C 00 0C 00 0C 00"
        " 02 01 07 02 01 00 02 01 00 02 01 00"
        " 30 0F 30 07 0C 03 61 64 6D 30 00 30 04 0C 00 30 00"
        " 30 02 30 00");
    EXPECT_EQ(encode(r), expected);

    aznlocal_svr_s_t d;
    ASSERT_EQ(decode_zeroed(expected, d), 0x00000000U);
    EXPECT_EQ(d.number1, 7);
    ASSERT_EQ(d.service_count, 2U);
    EXPECT_STREQ(d.services[0].name, "adm");
    EXPECT_EQ(d.services[0].count, 0U);
    EXPECT_EQ(d.services[0].texts, nullptr);
    EXPECT_STREQ(d.services[1].name, "");
    EXPECT_EQ(d.services[1].count, 0U);
    EXPECT_EQ(d.services[1].texts, nullptr);
    qbAsnFreeObj(d);
}

TEST_F(AsnAznlocalSvr, integer_edges_travel_as_32_bit_values) {
    aznlocal_svr_s_t r{nullptr, nullptr, nullptr, nullptr, 127, 0x7FFFFFFF, static_cast<int>(0x80000000U), 256,
                       0, nullptr, {0, nullptr}};
    const bytes_t expected = hex(
        "04 02 AC DC 30 21"
        " 0C 00 0C 00 0C 00 0C 00"
        " 02 01 7F 02 04 7F FF FF FF 02 04 80 00 00 00 02 02 01 00"
        " 30 00"
        " 30 02 30 00");
    EXPECT_EQ(encode(r), expected);
    aznlocal_svr_s_t d;
    ASSERT_EQ(decode_zeroed(expected, d), 0x00000000U);
    EXPECT_EQ(d.number1, 127);
    EXPECT_EQ(d.number2, 0x7FFFFFFF);
    EXPECT_EQ(d.number3, static_cast<int>(0x80000000U));
    EXPECT_EQ(d.number4, 256);
    qbAsnFreeObj(d);
}

TEST_F(AsnAznlocalSvr, other_envelope_version_is_refused_before_get_value) {
    aznlocal_svr_s_t r{};
    r.number1 = kSentinel;
    bytes_t b = hex(kServer);
    b[1] = 0x01;
    qb_asn_buffer_t in{static_cast<unsigned int>(b.size()), b.data()};
    EXPECT_EQ(qbAsnDecodeObj(in, r), 0x10652196U);
    EXPECT_EQ(r.number1, kSentinel);
    EXPECT_EQ(r.text1, nullptr);
    EXPECT_EQ(r.services, nullptr);
}

TEST_F(AsnAznlocalSvr, surplus_member_is_refused_and_record_stays_freeable) {
    // The null-record encoding with one more INTEGER at the end of the SEQUENCE.
    const bytes_t b = hex(
        "04 02 AC DC 30 1D"
        " 0C 00 0C 00 0C 00 0C 00"
        " 02 01 00 02 01 00 02 01 00 02 01 00"
        " 30 00"
        " 30 02 30 00"
        " 02 01 00");
    aznlocal_svr_s_t d;
    EXPECT_EQ(decode_zeroed(b, d), 0x106521A5U);
    qbAsnFreeObj(d);
}

TEST_F(AsnAznlocalSvr, type_names) {
    asn_aznlocal_svr_t rec(security_off);
    EXPECT_STREQ(rec.get_type_name(), "aznlocal_svr_t");
    const std::vector<std::string> expected = {
        "aznlocal_svr_t", "  qbUTF8string", "  qbUTF8string", "  qbUTF8string", "  qbUTF8string",
        "  INTEGER",      "  INTEGER",      "  INTEGER",      "  INTEGER",      "  SEQUENCEOF",
        "  attrlist_t",   "    SEQUENCEOF"};
    EXPECT_EQ(dump_names(rec), expected);
    EXPECT_STREQ(asn_aznlocal_svr_t::reflect().name, "aznlocal_svr_t");
    EXPECT_STREQ(asn_aznlocal_svr_t::reflect().flat_name, "aznlocal_svr_s_t");
}

TEST_F(AsnAznlocalSvr, reflection_lists_the_fields_in_wire_order) {
    const qb_record_info& info = asn_aznlocal_svr_t::reflect();
    EXPECT_EQ(info.flat_size, sizeof(aznlocal_svr_s_t));
    ASSERT_EQ(info.field_count, 10U);
    const qb_field_kind kinds[] = {qb_field_text, qb_field_text, qb_field_text, qb_field_text,
                                   qb_field_int,  qb_field_int,  qb_field_int,  qb_field_int,
                                   qb_field_record_list, qb_field_record};
    for (size_t i = 0; i < 10; ++i) EXPECT_EQ(info.fields[i].kind, kinds[i]) << "field " << i;
    EXPECT_STREQ(info.fields[8].name, "services");
    EXPECT_EQ(info.fields[8].offset, offsetof(aznlocal_svr_s_t, service_count));
    EXPECT_EQ(info.fields[8].offset2, offsetof(aznlocal_svr_s_t, services));
    ASSERT_NE(info.fields[8].element, nullptr);
    EXPECT_EQ(info.fields[8].element(), &asn_aznadmsvc_t::reflect());
    ASSERT_NE(info.fields[9].element, nullptr);
    EXPECT_EQ(info.fields[9].element(), &asn_attrlist_t::reflect());
    EXPECT_EQ(info.fields[9].offset, offsetof(aznlocal_svr_s_t, attrs));
}

// ---- allocation failures ----

// A sweep that has not completed after this many failing runs is broken.
constexpr long kSweepLimit = 2000;

// The sweeps: support/record_test.h.

// Element creation in set_value (the services and the texts) names this group.
TEST_F(KxsvrEncOutOfMemory, encode_server_reports_memory_status) {
    server_fixture f;
    EXPECT_TRUE(sweep_encode(f.rec, hex(kServer), kSweepLimit).names("base_idls/kxsvr_enc_asn"));
}

TEST_F(KxsvrEncOutOfMemory, encode_service_reports_memory_status) {
    char name[] = "svc";
    char a[] = "a";
    char bc[] = "bc";
    char* texts[] = {a, bc};
    aznadmsvc_s_t r{name, 2, texts};
    EXPECT_TRUE(sweep_encode(r, hex(kService), kSweepLimit).names("base_idls/kxsvr_enc_asn"));
}

// The flat arrays and texts of get_value name this group; a partly filled
// record is freeable.
TEST_F(KxsvrEncOutOfMemory, decode_server_reports_memory_status_and_stays_freeable) {
    EXPECT_TRUE(sweep_decode<aznlocal_svr_s_t>(hex(kServer), kSweepLimit, [](const aznlocal_svr_s_t& r) {
                    expect_server_fields(r);
                }).names("base_idls/kxsvr_enc_asn"));
}

TEST_F(KxsvrEncOutOfMemory, decode_service_reports_memory_status_and_stays_freeable) {
    EXPECT_TRUE(sweep_decode<aznadmsvc_s_t>(hex(kService), kSweepLimit, [](const aznadmsvc_s_t& r) {
                    EXPECT_STREQ(r.name, "svc");
                    ASSERT_EQ(r.count, 2U);
                    EXPECT_STREQ(r.texts[1], "bc");
                }).names("base_idls/kxsvr_enc_asn"));
}

}  // namespace
