// tests/base_idls/remotelog_asn_test.cpp - the remote log request.
#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "asn1/asn1.h"
#include "base_idls/remotelog_asn.h"
#include "support/failing_malloc.h"
#include "support/hex.h"
#include "support/record_test.h"

namespace {

using bytes = qb_test::bytes_t;
using qb_test::block_of;
using qb_test::decode;
using qb_test::encode;
using qb_test::sweep_decode;
using qb_test::sweep_result;
using qb_test::text;
using qb_test::text_of;

// ---- helpers ----

// Field by field; a decoded text is never null (null and "" both come back as "").
void expect_request(const remote_log_request& want, const remote_log_request& got) {
    ASSERT_NE(got.category, nullptr);
    ASSERT_NE(got.sender, nullptr);
    EXPECT_EQ(text_of(want.category), std::string(got.category));
    EXPECT_EQ(text_of(want.sender), std::string(got.sender));
    EXPECT_EQ(want.severity, got.severity);
    EXPECT_EQ(want.sequence, got.sequence);
    ASSERT_EQ(want.length, got.length);
    EXPECT_EQ(block_of(want.payload, want.length), block_of(got.payload, got.length));
}

unsigned char kData[] = {0xDE, 0xAD, 0xBE, 0xEF};

// ---- remote_log_request ----

TEST(RemoteLogRequest, RoundTripMatchesExpectedBytes) {
    remote_log_request r{text("auth"), text("srv1"), 3, 256, 4, kData};
    const bytes want = hex("04 02 AC DC  30 19"
                           "  0C 04 61 75 74 68"
                           "  0C 04 73 72 76 31"
                           "  02 01 03"
                           "  02 02 01 00"
                           "  04 04 DE AD BE EF");
    EXPECT_EQ(encode(r), want);
    remote_log_request got{};
    ASSERT_EQ(decode(want, got), 0u);
    expect_request(r, got);
    EXPECT_NE(got.payload, kData);  // a copy of its own
    qbAsnFreeObj(got);
}

TEST(RemoteLogRequest, LcsFormGivesTheSameBytesForAscii) {
    remote_log_request r{text("auth"), text("srv1"), 3, 256, 4, kData};
    EXPECT_EQ(encode(r, true), encode(r));
    remote_log_request got{};
    ASSERT_EQ(decode(encode(r, true), got, true), 0u);
    expect_request(r, got);
    qbAsnFreeObj(got);
}

TEST(RemoteLogRequest, ZeroLengthDataEncodesAnEmptyOctetString) {
    remote_log_request r{text("a"), text("b"), 0, 0, 0, nullptr};
    EXPECT_EQ(encode(r), hex("04 02 AC DC  30 0E  0C 01 61  0C 01 62  02 01 00  02 01 00  04 00"));
    remote_log_request got{};
    ASSERT_EQ(decode(encode(r), got), 0u);
    expect_request(r, got);
    EXPECT_EQ(got.length, 0u);
    qbAsnFreeObj(got);
}

TEST(RemoteLogRequest, NullTextsEncodeLikeEmptyTextsAndDecodeAllocated) {
    remote_log_request null_texts{nullptr, nullptr, 0, -1, 0, nullptr};
    remote_log_request empty_texts{text(""), text(""), 0, -1, 0, nullptr};
    const bytes want = hex("04 02 AC DC  30 0C  0C 00  0C 00  02 01 00  02 01 FF  04 00");
    EXPECT_EQ(encode(null_texts), want);
    EXPECT_EQ(encode(empty_texts), want);
    remote_log_request got{};
    ASSERT_EQ(decode(want, got), 0u);
    ASSERT_NE(got.category, nullptr);
    ASSERT_NE(got.sender, nullptr);
    EXPECT_EQ(got.category[0], '\0');
    EXPECT_EQ(got.sender[0], '\0');
    EXPECT_EQ(got.sequence, -1);
    qbAsnFreeObj(got);
}

TEST(RemoteLogRequest, IntegersKeepTheir32BitEdges) {
    remote_log_request r{text("c"), text("s"), INT_MAX, INT_MIN, 1, kData};
    const bytes want = hex("04 02 AC DC  30 15  0C 01 63  0C 01 73"
                           "  02 04 7F FF FF FF  02 04 80 00 00 00  04 01 DE");
    EXPECT_EQ(encode(r), want);
    remote_log_request got{};
    ASSERT_EQ(decode(want, got), 0u);
    EXPECT_EQ(got.severity, INT_MAX);
    EXPECT_EQ(got.sequence, INT_MIN);
    qbAsnFreeObj(got);
}

TEST(RemoteLogRequest, MembersAreReadInWireOrder) {
    // The texts swapped with each other and the integers read back in order:
    // a decoder that mixed up members would misplace them.
    remote_log_request got{};
    ASSERT_EQ(decode(hex("04 02 AC DC  30 0F  0C 01 78  0C 01 79  02 01 01  02 01 02  04 01 33"), got), 0u);
    EXPECT_STREQ(got.category, "x");
    EXPECT_STREQ(got.sender, "y");
    EXPECT_EQ(got.severity, 1);
    EXPECT_EQ(got.sequence, 2);
    ASSERT_EQ(got.length, 1u);
    EXPECT_EQ(got.payload[0], 0x33);
    qbAsnFreeObj(got);
}

TEST(RemoteLogRequest, MissingPayloadIsRefused) {
    remote_log_request got{};
    EXPECT_EQ(decode(hex("04 02 AC DC  30 0C  0C 01 61  0C 01 62  02 01 00  02 01 00"), got), 0x10652198u);
    EXPECT_EQ(got.category, nullptr);  // get_value never ran
    qbAsnFreeObj(got);
}

TEST(RemoteLogRequest, TypeNameAndReflection) {
    asn_RemoteLogRequest rec(security_off);
    EXPECT_STREQ(rec.get_type_name(), "RemoteLogRequest");  // exactly 16 characters
    EXPECT_STREQ(rec.category.get_type_name(), "qbUTF8string");
    EXPECT_STREQ(rec.sender.get_type_name(), "qbUTF8string");
    EXPECT_STREQ(rec.severity.get_type_name(), "INTEGER");
    EXPECT_STREQ(rec.sequence.get_type_name(), "INTEGER");
    EXPECT_STREQ(rec.payload.get_type_name(), "OCTETSTRING");
    const qb_record_info& info = asn_RemoteLogRequest::reflect();
    EXPECT_STREQ(info.name, "RemoteLogRequest");
    EXPECT_STREQ(info.flat_name, "remote_log_request");
    EXPECT_EQ(info.flat_size, sizeof(remote_log_request));
    ASSERT_EQ(info.field_count, 5u);
    EXPECT_EQ(info.fields[0].kind, qb_field_text);
    EXPECT_EQ(info.fields[1].kind, qb_field_text);
    EXPECT_EQ(info.fields[2].kind, qb_field_int);
    EXPECT_EQ(info.fields[3].kind, qb_field_int);
    EXPECT_EQ(info.fields[4].kind, qb_field_octets);
    EXPECT_EQ(info.fields[4].offset, offsetof(remote_log_request, length));
    EXPECT_EQ(info.fields[4].offset2, offsetof(remote_log_request, payload));
}

TEST(RemoteLogRequest, AllocationFailureAtEveryStepOfADecodeLeaksNothing) {
    remote_log_request r{text("auth"), text("srv1"), 3, 256, 4, kData};
    const bytes input = encode(r);
    const sweep_result decoded =
        sweep_decode<remote_log_request>(input, 200, [&](const remote_log_request& got) { expect_request(r, got); });
    EXPECT_GE(decoded.failures, 3);  // the two texts and the data block at least
}

}  // namespace
