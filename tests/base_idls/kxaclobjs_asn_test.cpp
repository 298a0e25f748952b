// tests/base_idls/kxaclobjs_asn_test.cpp - text attributes, extended
// attributes, external authorization and the authorization database header:
// exact bytes, round trips, empty lists, NULL texts and type names.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

#include "asn1/asn1.h"
#include "base_idls/kxaclobjs_asn.h"
#include "support/hex.h"
#include "support/record_test.h"

namespace {

using qb_test::decode;
using qb_test::encode;
using qb_test::expect_attrs_empty;
using qb_test::expect_one_attr;
using qb_test::one_attr;
using qb_test::to_hex;

}  // namespace

// ---- kxattr_t ----

TEST(KxattrRecord, EncodesNameAndTextValuesAndDecodesBack) {
    char* values[2] = {const_cast<char*>("v1"), const_cast<char*>("v2")};
    kxattr_s_t in{const_cast<char*>("n"), 2, values};
    const auto expected = hex("04 02 AC DC 30 0D 0C 01 6E 30 08 0C 02 76 31 0C 02 76 32");
    EXPECT_EQ(to_hex(encode(in)), to_hex(expected));
    EXPECT_EQ(to_hex(encode(in, true)), to_hex(expected));

    kxattr_s_t out;
    std::memset(&out, 0, sizeof out);
    ASSERT_EQ(decode(expected, out), 0x00000000U);
    EXPECT_STREQ(out.name, "n");
    ASSERT_EQ(out.count, 2U);
    ASSERT_NE(out.values, nullptr);
    EXPECT_STREQ(out.values[0], "v1");
    EXPECT_STREQ(out.values[1], "v2");
    EXPECT_EQ(to_hex(encode(out)), to_hex(expected));
    qbAsnFreeObj(out);

    kxattr_s_t lcs_out;
    std::memset(&lcs_out, 0, sizeof lcs_out);
    ASSERT_EQ(decode(expected, lcs_out, true), 0x00000000U);
    EXPECT_STREQ(lcs_out.name, "n");
    ASSERT_EQ(lcs_out.count, 2U);
    EXPECT_STREQ(lcs_out.values[1], "v2");
    qbAsnFreeObj(lcs_out);
}

TEST(KxattrRecord, NoValuesEncodesAnEmptyListAndDecodesToCountZeroAndNull) {
    kxattr_s_t in{const_cast<char*>("n"), 0, nullptr};
    const auto expected = hex("04 02 AC DC 30 05 0C 01 6E 30 00");
    EXPECT_EQ(to_hex(encode(in)), to_hex(expected));

    kxattr_s_t out;
    std::memset(&out, 0x5A, sizeof out);  // get_value clears the record itself
    ASSERT_EQ(decode(expected, out), 0x00000000U);
    EXPECT_STREQ(out.name, "n");
    EXPECT_EQ(out.count, 0U);
    EXPECT_EQ(out.values, nullptr);
    qbAsnFreeObj(out);
}

TEST(KxattrRecord, NullNameAndNullValueTravelAsEmptyTexts) {
    char* values[1] = {nullptr};
    kxattr_s_t in{nullptr, 1, values};
    const auto expected = hex("04 02 AC DC 30 06 0C 00 30 02 0C 00");
    EXPECT_EQ(to_hex(encode(in)), to_hex(expected));

    kxattr_s_t out;
    std::memset(&out, 0, sizeof out);
    ASSERT_EQ(decode(expected, out), 0x00000000U);
    ASSERT_NE(out.name, nullptr);
    EXPECT_STREQ(out.name, "");
    ASSERT_EQ(out.count, 1U);
    ASSERT_NE(out.values[0], nullptr);
    EXPECT_STREQ(out.values[0], "");
    qbAsnFreeObj(out);
}

TEST(KxattrRecord, TypeNamesAndReflection) {
    asn_kxattr_t rec(security_off);
    EXPECT_STREQ(rec.get_type_name(), "kxattr_t");
    EXPECT_STREQ(rec.name.get_type_name(), "qbUTF8string");
    EXPECT_STREQ(rec.values.get_type_name(), "SEQUENCEOF");
    const qb_record_info& info = asn_kxattr_t::reflect();
    EXPECT_STREQ(info.name, "kxattr_t");
    EXPECT_STREQ(info.flat_name, "kxattr_s_t");
    EXPECT_EQ(info.flat_size, sizeof(kxattr_s_t));
    ASSERT_EQ(info.field_count, 2U);
    EXPECT_EQ(info.fields[0].kind, qb_field_text);
    EXPECT_EQ(info.fields[1].kind, qb_field_text_list);
    EXPECT_STREQ(info.fields[1].name, "values");
    EXPECT_EQ(info.fields[1].offset, offsetof(kxattr_s_t, count));
    EXPECT_EQ(info.fields[1].offset2, offsetof(kxattr_s_t, values));
}

// ---- kxextattr_t ----

TEST(KxextattrRecord, EncodesTheAttributesThenTheAttributeList) {
    char* values[2] = {const_cast<char*>("v1"), const_cast<char*>("v2")};
    kxattr_s_t attrs[2] = {{const_cast<char*>("n"), 2, values}, {nullptr, 0, nullptr}};
    kxextattr_s_t in{2, attrs, {0, nullptr}};
    const auto expected = hex(
        "04 02 AC DC 30 1B"
        " 30 15"
        "   30 0D 0C 01 6E 30 08 0C 02 76 31 0C 02 76 32"
        "   30 04 0C 00 30 00"
        " 30 02 30 00");
    EXPECT_EQ(to_hex(encode(in)), to_hex(expected));
    EXPECT_EQ(to_hex(encode(in, true)), to_hex(expected));

    kxextattr_s_t out;
    std::memset(&out, 0, sizeof out);
    ASSERT_EQ(decode(expected, out), 0x00000000U);
    ASSERT_EQ(out.count, 2U);
    ASSERT_NE(out.attrs, nullptr);
    EXPECT_STREQ(out.attrs[0].name, "n");
    ASSERT_EQ(out.attrs[0].count, 2U);
    EXPECT_STREQ(out.attrs[0].values[0], "v1");
    EXPECT_STREQ(out.attrs[0].values[1], "v2");
    EXPECT_STREQ(out.attrs[1].name, "");
    EXPECT_EQ(out.attrs[1].count, 0U);
    EXPECT_EQ(out.attrs[1].values, nullptr);
    expect_attrs_empty(out.attrlist);
    EXPECT_EQ(to_hex(encode(out)), to_hex(expected));
    qbAsnFreeObj(out);
}

TEST(KxextattrRecord, EmptyListsAndAnAttributeList) {
    one_attr attrs;
    kxextattr_s_t in{0, nullptr, attrs.list};
    const auto expected = hex(
        "04 02 AC DC 30 18 30 00"
        " 30 14 30 12 30 10 0C 01 61 30 0B 30 09 02 01 01 0C 01 78 04 01 01");
    EXPECT_EQ(to_hex(encode(in)), to_hex(expected));

    kxextattr_s_t out;
    std::memset(&out, 0, sizeof out);
    ASSERT_EQ(decode(expected, out, true), 0x00000000U);
    EXPECT_EQ(out.count, 0U);
    EXPECT_EQ(out.attrs, nullptr);
    expect_one_attr(out.attrlist);
    qbAsnFreeObj(out);
}

TEST(KxextattrRecord, TypeNamesAndReflection) {
    asn_kxextattr_t rec(security_off);
    EXPECT_STREQ(rec.get_type_name(), "kxextattr_t");
    EXPECT_STREQ(rec.attrs.get_type_name(), "SEQUENCEOF");
    EXPECT_STREQ(rec.attrlist.get_type_name(), "attrlist_t");
    const qb_record_info& info = asn_kxextattr_t::reflect();
    EXPECT_STREQ(info.flat_name, "kxextattr_s_t");
    ASSERT_EQ(info.field_count, 2U);
    EXPECT_EQ(info.fields[0].kind, qb_field_record_list);
    ASSERT_NE(info.fields[0].element, nullptr);
    EXPECT_STREQ(info.fields[0].element()->name, "kxattr_t");
    EXPECT_EQ(info.fields[1].kind, qb_field_record);
}

// ---- kxextern_auth_t ----

TEST(KxexternAuthRecord, EncodesFourTextsAndDecodesBack) {
    kxextern_auth_s_t in{const_cast<char*>("ext"), const_cast<char*>("libext.so"), const_cast<char*>("authorize"),
                         const_cast<char*>("-v")};
    const auto expected = hex(
        "04 02 AC DC 30 1F"
        " 0C 03 65 78 74"
        " 0C 09 6C 69 62 65 78 74 2E 73 6F"
        " 0C 09 61 75 74 68 6F 72 69 7A 65"
        " 0C 02 2D 76");
    EXPECT_EQ(to_hex(encode(in)), to_hex(expected));
    EXPECT_EQ(to_hex(encode(in, true)), to_hex(expected));

    kxextern_auth_s_t out;
    std::memset(&out, 0, sizeof out);
    ASSERT_EQ(decode(expected, out), 0x00000000U);
    EXPECT_STREQ(out.name, "ext");
    EXPECT_STREQ(out.library, "libext.so");
    EXPECT_STREQ(out.entry_point, "authorize");
    EXPECT_STREQ(out.arguments, "-v");
    qbAsnFreeObj(out);
}

TEST(KxexternAuthRecord, FourNullStringsEncodeFourEmptyTextsAndDecodeToEmptyStrings) {
    kxextern_auth_s_t in{nullptr, nullptr, nullptr, nullptr};
    const auto expected = hex("04 02 AC DC 30 08 0C 00 0C 00 0C 00 0C 00");
    EXPECT_EQ(to_hex(encode(in)), to_hex(expected));
    EXPECT_EQ(to_hex(encode(in, true)), to_hex(expected));

    kxextern_auth_s_t out;
    std::memset(&out, 0, sizeof out);
    ASSERT_EQ(decode(expected, out, true), 0x00000000U);
    const char* texts[] = {out.name, out.library, out.entry_point, out.arguments};
    for (const char* t : texts) {
        ASSERT_NE(t, nullptr);
        EXPECT_STREQ(t, "");
    }
    qbAsnFreeObj(out);
}

TEST(KxexternAuthRecord, TypeNames) {
    asn_kxextern_auth_t rec(security_off);
    EXPECT_STREQ(rec.get_type_name(), "kxextern_auth_t");
    EXPECT_STREQ(rec.arguments.get_type_name(), "qbUTF8string");
    EXPECT_EQ(rec.get_child_count(), 4U);
    EXPECT_STREQ(asn_kxextern_auth_t::reflect().flat_name, "kxextern_auth_s_t");
    EXPECT_EQ(asn_kxextern_auth_t::reflect().field_count, 4U);
}

// ---- kxauthzn_db_t ----

TEST(KxauthznDbRecord, EncodesThreeIntegersAndTheAttributeList) {
    one_attr attrs;
    kxauthzn_db_s_t in{1, 2, 0x7FFFFFFF, attrs.list};
    const auto expected = hex(
        "04 02 AC DC 30 22"
        " 02 01 01 02 01 02 02 04 7F FF FF FF"
        " 30 14 30 12 30 10 0C 01 61 30 0B 30 09 02 01 01 0C 01 78 04 01 01");
    EXPECT_EQ(to_hex(encode(in)), to_hex(expected));
    EXPECT_EQ(to_hex(encode(in, true)), to_hex(expected));

    kxauthzn_db_s_t out;
    std::memset(&out, 0, sizeof out);
    ASSERT_EQ(decode(expected, out), 0x00000000U);
    EXPECT_EQ(out.version, 1);
    EXPECT_EQ(out.revision, 2);
    EXPECT_EQ(out.flags, 0x7FFFFFFF);
    expect_one_attr(out.attrlist);
    qbAsnFreeObj(out);
}

TEST(KxauthznDbRecord, EmptyAttributeList) {
    kxauthzn_db_s_t in{0, -1, 128, {0, nullptr}};
    const auto expected = hex("04 02 AC DC 30 0E 02 01 00 02 01 FF 02 02 00 80 30 02 30 00");
    EXPECT_EQ(to_hex(encode(in)), to_hex(expected));

    kxauthzn_db_s_t out;
    std::memset(&out, 0, sizeof out);
    ASSERT_EQ(decode(expected, out), 0x00000000U);
    EXPECT_EQ(out.version, 0);
    EXPECT_EQ(out.revision, -1);
    EXPECT_EQ(out.flags, 128);
    expect_attrs_empty(out.attrlist);
    qbAsnFreeObj(out);
}

TEST(KxauthznDbRecord, OtherEnvelopeVersionIsRefused) {
    const auto bytes = hex("04 01 AC DC 30 0E 02 01 00 02 01 FF 02 02 00 80 30 02 30 00");
    kxauthzn_db_s_t out;
    std::memset(&out, 0, sizeof out);
    EXPECT_EQ(decode(bytes, out), 0x10652196U);
    EXPECT_EQ(out.revision, 0);
}

TEST(KxauthznDbRecord, TypeNames) {
    asn_kxauthzn_db_t rec(security_off);
    EXPECT_STREQ(rec.get_type_name(), "kxauthzn_db_t");
    EXPECT_STREQ(rec.version.get_type_name(), "INTEGER");
    EXPECT_STREQ(rec.attrlist.get_type_name(), "attrlist_t");
    const qb_record_info& info = asn_kxauthzn_db_t::reflect();
    EXPECT_STREQ(info.name, "kxauthzn_db_t");
    EXPECT_STREQ(info.flat_name, "kxauthzn_db_s_t");
    EXPECT_EQ(info.flat_size, sizeof(kxauthzn_db_s_t));
    ASSERT_EQ(info.field_count, 4U);
    EXPECT_STREQ(info.fields[3].name, "attrlist");
}
