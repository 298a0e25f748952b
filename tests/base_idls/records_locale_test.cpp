// tests/base_idls/records_locale_test.cpp - every listed record, with texts
// that are not ASCII, between the plain and the local-code-set entry points.
//
// Under a UTF-8 locale the local code set is UTF-8 itself, so a record
// encoded with the plain functions and decoded with the LCS ones (and the
// other way round) carries the same values, and both encodings are the same
// bytes. Under a Latin-1 locale a text outside Latin-1 cannot be given to the
// caller: the LCS decode fails with 0x106521AB and the record still frees.

#include <gtest/gtest.h>
#include <locale.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "asn1/asn1.h"
#include "asn1/asnrecord.h"
#include "base_idls/attrlist_asn.h"
#include "support/record_owners.h"
#include "support/record_random.h"
#include "support/thread_locale.h"

namespace {

using bytes_t = std::vector<unsigned char>;

using qb_test::built_record;
using qb_test::decoded_record;
using qb_test::encode_record;
using qb_test::kMissingLocale;
using qb_test::thread_locale;

// The texts mix ASCII with 2- and 3-octet UTF-8 characters.
qb_test::random_options utf8_texts() {
    qb_test::random_options opt;
    opt.utf8_text = true;
    return opt;
}

TEST(RecordsUnderUtf8Locale, PlainAndLocalCodeSetFormsCarryTheSameValues) {
    thread_locale utf8("en_US.UTF-8");
    ASSERT_TRUE(utf8.ok()) << kMissingLocale;
    size_t n = 0;
    const qb_record_info* const* records = qb_record_list(&n);
    ASSERT_EQ(n, 65u);
    for (size_t r = 0; r < n; ++r) {
        const qb_record_info& info = *records[r];
        SCOPED_TRACE(info.flat_name);
        for (std::uint64_t seed = 1; seed <= 20; ++seed) {
            SCOPED_TRACE(seed);
            built_record src(info, seed * 7919 + r, utf8_texts());
            bytes_t plain, lcs;
            ASSERT_EQ(encode_record(info, src.flat(), 0, &plain), 0u);
            ASSERT_EQ(encode_record(info, src.flat(), 1, &lcs), 0u);
            EXPECT_EQ(plain, lcs);  // UTF-8 texts are UTF-8 on the wire either way

            std::string where;
            decoded_record through_lcs(info, plain, 1);
            ASSERT_EQ(through_lcs.status(), 0u);
            EXPECT_TRUE(qb_test::records_equal(info, src.flat(), through_lcs.flat(), &where)) << where;

            decoded_record through_plain(info, lcs, 0);
            ASSERT_EQ(through_plain.status(), 0u);
            EXPECT_TRUE(qb_test::records_equal(info, src.flat(), through_plain.flat(), &where)) << where;
        }
    }
}

TEST(RecordsUnderLatin1Locale, TextOutsideLatin1CannotBeHandedOut) {
    const qb_record_info* info = qb_record_find("value_s_t");
    ASSERT_NE(info, nullptr);
    // value_t { 5, "e<euro>", 01 } written with the plain form.
    bytes_t message = {0x04, 0x02, 0xAC, 0xDC, 0x30, 0x0C, 0x02, 0x01, 0x05, 0x0C, 0x04,
                       0x65, 0xE2, 0x82, 0xAC, 0x04, 0x01, 0x01};
    thread_locale latin1("en_US.ISO-8859-1");
    ASSERT_TRUE(latin1.ok()) << kMissingLocale;
    testing::internal::CaptureStderr();
    decoded_record back(*info, message, 1);
    const std::string printed = testing::internal::GetCapturedStderr();
    EXPECT_EQ(back.status(), 0x106521ABu);
    qb_test::exception_parts line;
    ASSERT_TRUE(qb_test::parse_exception_line(printed, &line)) << printed;
    EXPECT_EQ(line.code, "106521ab");
    EXPECT_EQ(line.file, "asn1/asnstrng");

    // The same message through the plain form keeps the UTF-8 octets.
    decoded_record plain(*info, message, 0);
    ASSERT_EQ(plain.status(), 0u);
    const auto* value = static_cast<const value_s_t*>(plain.flat());
    EXPECT_STREQ(value->text, "e\xE2\x82\xAC");
}

}  // namespace
