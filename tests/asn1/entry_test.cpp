// tests/asn1/entry_test.cpp - the untyped entry points: qbasn_encode_obj,
// qbasn_decode_obj, qbasn_obj_free and qbasn_version over object types 259
// (certificate request), 260 (update list) and 262 (bare INTEGER), the
// refusal of every other type, version handling, segmented input, and
// hostile input (every truncation and every single-octet change of a valid
// message decodes to a status or a record that frees cleanly; the sanitizer
// build checks memory and leaks).
//
// Failures of allocation (and the standard-error line they produce) are
// tested in kxobjs_allocfail_test.cpp.
#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "asn1/asn1.h"
#include "asn1/asn_kxobjs.h"
#include "asn1/asnbase.h"
#include "support/buffers.h"
#include "support/hex.h"
#include "support/kxobjs_vectors.h"

namespace {

using bytes_t = std::vector<unsigned char>;
using qb_test::bytes_of, qb_test::expect_cert_v3, qb_test::expect_list_v5, qb_test::kCert, qb_test::kCertV3,
      qb_test::kInt, qb_test::kList, qb_test::kListV5;


// ---- helpers ----

// encode_obj: the bytes of qbasn_encode_obj, with its status.
bytes_t encode_obj(int version, void* record, unsigned int type, int* status) {
    qb_asn_buffer_t out = {0, nullptr};
    *status = qbasn_encode_obj(version, record, type, out);
    bytes_t b;
    if (*status == 0) b.assign(out.data, out.data + out.length);
    qb_asn_buffer_free(out);
    return b;
}

// decode_obj: qbasn_decode_obj over a copy of bytes.
int decode_obj(int version, bytes_t bytes, unsigned int type, void* record) {
    qb_asn_buffer_t in = {static_cast<unsigned int>(bytes.size()), bytes.data()};
    return qbasn_decode_obj(version, in, type, record);
}

// A byte pattern for records that must stay untouched.
template <class T>
void fill_pattern(T& r) {
    std::memset(&r, 0xA5, sizeof r);
}

template <class T>
bool has_pattern(const T& r) {
    T expected;
    fill_pattern(expected);
    return std::memcmp(&r, &expected, sizeof r) == 0;
}

// expect_decode_leaves: decoding `hex_text` as `type` under `version` into a
// Flat filled with the pattern gives `status` and leaves the pattern.
template <class Flat>
void expect_decode_leaves(int version, const char* hex_text, unsigned int type, int status) {
    Flat r;
    fill_pattern(r);
    EXPECT_EQ(decode_obj(version, hex(hex_text), type, &r), status);
    EXPECT_TRUE(has_pattern(r));
}

// round_trip_obj: qbasn_encode_obj of `in` as `type` under `version` gives
// `want_hex`; qbasn_decode_obj reads those octets back into `out` (zeroed
// first), which the caller checks and frees.
template <class Flat>
void round_trip_obj(int version, Flat& in, unsigned int type, const char* want_hex, Flat& out) {
    out = {};
    int rc = -2;
    const bytes_t b = encode_obj(version, &in, type, &rc);
    ASSERT_EQ(rc, 0);
    EXPECT_EQ(b, hex(want_hex));
    ASSERT_EQ(decode_obj(version, b, type, &out), 0);
}

// is_documented_status: 0 or a member of the library's status family.
bool is_documented_status(int rc) {
    const auto u = static_cast<unsigned int>(rc);
    return rc == 0 || (u >= 0x10652065U && u <= 0x106521ACU);
}

// ---- the vectors ----

// kListSegmented: the update list {7, "ab", 8}, {9, "cde", 10}, version 5;
// the list and its first element with indefinite lengths, the first text in
// three segments (one nested), the second text constructed with a definite
// length.
constexpr const char* kListSegmented =
    "04 05 AC DC 30 80  02 01 01  30 80"
    "  30 80 02 01 01 02 01 07 24 80 04 01 61 24 80 04 01 62 00 00 04 01 00 00 00 02 01 08 00 00"
    "  30 13 02 01 01 02 01 09 24 08 04 02 63 64 04 02 65 00 02 01 0A"
    "  00 00  00 00";

// kCertSegmented: the certificate request {"key-1", "z", AA BB CC DD},
// version 3; the record with an indefinite length, text_a constructed
// (definite), text_b constructed (indefinite), the body constructed
// (indefinite, with a nested definite segment).
constexpr const char* kCertSegmented =
    "04 03 AC DC 30 80  02 01 01"
    "  24 0A 04 03 6B 65 79 04 03 2D 31 00"
    "  24 80 04 01 7A 04 01 00 00 00"
    "  24 80 24 06 04 01 AA 04 01 BB 04 02 CC DD 00 00"
    "  00 00";

// ==== type 262: a bare INTEGER ====

TEST(QbasnDecodeObj, integer_with_another_version_leaves_the_record) {
    expect_decode_leaves<int>(6, "04 07 AC DC 02 01 00", kInt, 0x10652196);
}

// A bare INTEGER travels in the envelope of the version it is given; its
// edges round-trip.
TEST(QbasnEncodeObj, integer_edges_round_trip) {
    struct IntCase {
        const char* name;
        int version;
        int value;
        const char* hex;
    };
    const IntCase cases[] = {
        {"zero with version seven", 7, 0, "04 07 AC DC 02 01 00"},
        {"zero", 1, 0, "04 01 AC DC 02 01 00"},
        {"largest of one octet", 1, 127, "04 01 AC DC 02 01 7F"},
        {"smallest of two octets", 1, 128, "04 01 AC DC 02 02 00 80"},
        {"255 needs a leading zero", 1, 255, "04 01 AC DC 02 02 00 FF"},
        {"256", 1, 256, "04 01 AC DC 02 02 01 00"},
        {"minus one", 1, -1, "04 01 AC DC 02 01 FF"},
        {"INT_MAX", 1, INT_MAX, "04 01 AC DC 02 04 7F FF FF FF"},
        {"INT_MIN", 1, INT_MIN, "04 01 AC DC 02 04 80 00 00 00"},
    };
    for (const IntCase& c : cases) {
        SCOPED_TRACE(c.name);
        int x = c.value;
        int rc = -2;
        EXPECT_EQ(encode_obj(c.version, &x, kInt, &rc), hex(c.hex));
        EXPECT_EQ(rc, 0);
        int y = 12345;
        EXPECT_EQ(decode_obj(c.version, hex(c.hex), kInt, &y), 0);
        EXPECT_EQ(y, c.value);
    }
}

TEST(QbasnDecodeObj, integer_wider_than_32_bits_leaves_the_record) {
    expect_decode_leaves<int>(7, "04 07 AC DC 02 05 01 02 03 04 05", kInt, 0x10652199);
}

TEST(QbasnDecodeObj, integer_with_another_identifier_is_refused) {
    expect_decode_leaves<int>(7, "04 07 AC DC 04 01 00", kInt, 0x106521A4);
}

TEST(QbasnObjFree, integer_frees_nothing_and_never_reads_the_record) {
    // An invalid address: reading it would crash.
    EXPECT_EQ(qbasn_obj_free(7, kInt, reinterpret_cast<void*>(1)), 0);
    EXPECT_EQ(qbasn_obj_free(7, kInt, nullptr), 0);
}

// ==== unknown types ====

TEST(QbasnEncodeObj, unknown_types_are_refused) {
    for (unsigned int type : {261U, 0U, 1U, 258U, 263U, 0x10652065U, 0xFFFFFFFFU}) {
        SCOPED_TRACE(type);
        int x = 5;
        unsigned char sentinel = 0;
        qb_asn_buffer_t out = {77, &sentinel};
        EXPECT_EQ(qbasn_encode_obj(2, &x, type, out), -1);
        EXPECT_EQ(out.length, 77U);  // untouched
        EXPECT_EQ(out.data, &sentinel);
        // Refused before anything is built or read: a null record is never looked at.
        EXPECT_EQ(qbasn_encode_obj(2, nullptr, type, out), -1);
    }
}

TEST(QbasnDecodeObj, unknown_types_are_refused) {
    const bytes_t valid = hex("04 02 AC DC 02 01 05");
    for (unsigned int type : {261U, 0U, 1U, 258U, 263U, 0xFFFFFFFFU}) {
        SCOPED_TRACE(type);
        int y = 99;
        EXPECT_EQ(decode_obj(2, valid, type, &y), -1);
        EXPECT_EQ(y, 99);
        EXPECT_EQ(decode_obj(2, valid, type, reinterpret_cast<void*>(1)), -1);
    }
}

TEST(QbasnObjFree, unknown_types_are_refused) {
    for (unsigned int type : {261U, 0U, 1U, 258U, 263U, 0xFFFFFFFFU}) {
        SCOPED_TRACE(type);
        EXPECT_EQ(qbasn_obj_free(2, type, reinterpret_cast<void*>(1)), -1);
    }
}

TEST(QbasnEncodeObj, refusals_print_nothing) {
    int x = 0;
    qb_asn_buffer_t out = {0, nullptr};
    testing::internal::CaptureStderr();
    EXPECT_EQ(qbasn_encode_obj(2, &x, 261, out), -1);
    EXPECT_EQ(decode_obj(6, hex("04 07 AC DC 02 01 00"), kInt, &x), 0x10652196);
    kxobj_update_list_s_t list = {};
    EXPECT_EQ(decode_obj(2, hex("04 02 AC DC 30 00"), kList, &list), 0x10652198);  // content ends before the version
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(list.count, 0U);
    EXPECT_EQ(list.items, nullptr);
}

// ==== null records ====

TEST(QbasnEncodeObj, null_record_is_refused) {
    for (unsigned int type : {kCert, kList, kInt}) {
        SCOPED_TRACE(type);
        qb_asn_buffer_t out = {0, nullptr};
        EXPECT_EQ(qbasn_encode_obj(2, nullptr, type, out), 0x1065219C);
        EXPECT_EQ(out.data, nullptr);
        EXPECT_EQ(decode_obj(2, hex("04 02 AC DC 02 01 05"), type, nullptr), 0x1065219C);
    }
    EXPECT_EQ(qbasn_obj_free(2, kCert, nullptr), 0x1065219C);
    EXPECT_EQ(qbasn_obj_free(2, kList, nullptr), 0x1065219C);
}

// ==== type 260: the update list ====

TEST(QbasnEncodeObj, update_list_round_trip) {
    kxobj_update_s_t items[2] = {{5, const_cast<char*>("x"), -1}, {128, nullptr, 0}};
    kxobj_update_list_s_t in = {2, items};
    kxobj_update_list_s_t out;
    round_trip_obj(5, in, kList, kListV5, out);
    expect_list_v5(out);  // a null text comes back as an allocated empty text
    EXPECT_EQ(qbasn_obj_free(5, kList, &out), 0);
}

TEST(QbasnEncodeObj, update_list_encodes_twice_the_same) {
    kxobj_update_s_t items[1] = {{1, const_cast<char*>("abc"), 2}};
    kxobj_update_list_s_t in = {1, items};
    int rc1 = -2;
    int rc2 = -2;
    const bytes_t first = encode_obj(2, &in, kList, &rc1);
    const bytes_t second = encode_obj(2, &in, kList, &rc2);
    EXPECT_EQ(rc1, 0);
    EXPECT_EQ(rc2, 0);
    EXPECT_EQ(first, hex("04 02 AC DC 30 16  02 01 01  30 11  30 0F 02 01 01 02 01 01 04 04 61 62 63 00 02 01 02"));
    EXPECT_EQ(first, second);
}

TEST(QbasnEncodeObj, empty_update_list) {
    kxobj_update_list_s_t in = {0, nullptr};
    int rc = -2;
    EXPECT_EQ(encode_obj(4, &in, kList, &rc), hex("04 04 AC DC 30 05  02 01 01  30 00"));
    EXPECT_EQ(rc, 0);

    kxobj_update_list_s_t out = {};
    ASSERT_EQ(decode_obj(4, hex("04 04 AC DC 30 05  02 01 01  30 00"), kList, &out), 0);
    EXPECT_EQ(out.count, 0U);
    EXPECT_EQ(out.items, nullptr);
    EXPECT_EQ(qbasn_obj_free(4, kList, &out), 0);
}

TEST(QbasnEncodeObj, update_list_count_without_items_encodes_nothing) {
    kxobj_update_list_s_t in = {2, nullptr};
    qb_asn_buffer_t out = {0, nullptr};
    EXPECT_EQ(qbasn_encode_obj(2, &in, kList, out), 0x1065219C);
    EXPECT_EQ(out.length, 0U);
    EXPECT_EQ(out.data, nullptr);
}

TEST(QbasnEncodeObj, version_keeps_its_low_eight_bits) {
    kxobj_update_list_s_t in = {0, nullptr};
    int rc = -2;
    EXPECT_EQ(encode_obj(0x1FF, &in, kList, &rc), hex("04 FF AC DC 30 05  02 01 01  30 00"));
    EXPECT_EQ(rc, 0);
    EXPECT_EQ(encode_obj(258, &in, kList, &rc), hex("04 02 AC DC 30 05  02 01 01  30 00"));
    kxobj_update_list_s_t out = {};
    EXPECT_EQ(decode_obj(2, hex("04 02 AC DC 30 05  02 01 01  30 00"), kList, &out), 0);
    EXPECT_EQ(decode_obj(258, hex("04 02 AC DC 30 05  02 01 01  30 00"), kList, &out), 0);
}

TEST(QbasnDecodeObj, update_list_with_another_version_leaves_the_record) {
    expect_decode_leaves<kxobj_update_list_s_t>(6, kListV5, kList, 0x10652196);
}

TEST(QbasnDecodeObj, no_envelope_leaves_the_record) {
    const char* const blocks[] = {
        "",                      // empty
        "04 05 AC DC",           // header only: exactly four octets
        "04 05 AD DC 30 00",     // wrong signature
        "04 05 AC DD 30 00",     // wrong signature
        "00 05 AC DC 30 00",     // payload offset 0
    };
    for (const char* block : blocks) {
        SCOPED_TRACE(block);
        kxobj_update_list_s_t r;
        fill_pattern(r);
        EXPECT_EQ(decode_obj(5, hex(block), kList, &r), 0x10652196);
        EXPECT_TRUE(has_pattern(r));
    }
    qb_asn_buffer_t null_block = {10, nullptr};
    kxobj_update_list_s_t r;
    fill_pattern(r);
    EXPECT_EQ(qbasn_decode_obj(5, null_block, kList, &r), 0x10652196);
    EXPECT_TRUE(has_pattern(r));
}

TEST(QbasnDecodeObj, update_list_of_another_shape_leaves_the_record) {
    // A SET where the SEQUENCE belongs: the read fails before get_value.
    expect_decode_leaves<kxobj_update_list_s_t>(5, "04 05 AC DC 31 05  02 01 01  30 00", kList, 0x106521A4);
}

TEST(QbasnDecodeObj, update_list_read_from_segmented_and_indefinite_input) {
    const bytes_t b = hex(kListSegmented);
    kxobj_update_list_s_t r = {};
    ASSERT_EQ(decode_obj(5, b, kList, &r), 0);
    ASSERT_EQ(r.count, 2U);
    EXPECT_EQ(r.items[0].value_a, 7);
    EXPECT_STREQ(r.items[0].text, "ab");
    EXPECT_EQ(r.items[0].value_b, 8);
    EXPECT_EQ(r.items[1].value_a, 9);
    EXPECT_STREQ(r.items[1].text, "cde");
    EXPECT_EQ(r.items[1].value_b, 10);
    EXPECT_EQ(qbasn_obj_free(5, kList, &r), 0);
}

TEST(QbasnDecodeObj, octets_after_the_record_are_ignored) {
    kxobj_update_list_s_t r = {};
    EXPECT_EQ(decode_obj(4, hex("04 04 AC DC 30 05  02 01 01  30 00  FF FF"), kList, &r), 0);
    EXPECT_EQ(r.count, 0U);
    EXPECT_EQ(qbasn_obj_free(4, kList, &r), 0);
}

TEST(QbasnDecodeObj, record_content_starts_with_integer_one) {
    // Every record's content begins 02 01 01, the version member.
    kxobj_update_list_s_t list = {0, nullptr};
    cert_request_in req = {nullptr, nullptr, 0, nullptr};
    int rc = -2;
    const bytes_t a = encode_obj(2, &list, kList, &rc);
    ASSERT_EQ(rc, 0);
    const bytes_t b = encode_obj(2, &req, kCert, &rc);
    ASSERT_EQ(rc, 0);
    ASSERT_GE(a.size(), 9U);
    ASSERT_GE(b.size(), 9U);
    EXPECT_EQ(bytes_t(a.begin() + 4, a.begin() + 9), hex("30 05 02 01 01"));
    EXPECT_EQ(bytes_t(b.begin() + 4, b.begin() + 9), hex("30 09 02 01 01"));
}

// ==== type 259: the certificate request ====

TEST(QbasnEncodeObj, cert_request_round_trip) {
    unsigned char body[2] = {0x01, 0x02};
    cert_request_in in = {const_cast<char*>("a"), const_cast<char*>("bc"), 2, body};
    cert_request_in out;
    round_trip_obj(3, in, kCert, kCertV3, out);
    expect_cert_v3(out);
    EXPECT_NE(out.body, body);
    EXPECT_EQ(qbasn_obj_free(3, kCert, &out), 0);
}

TEST(QbasnEncodeObj, cert_request_without_body) {
    cert_request_in in = {const_cast<char*>("a"), const_cast<char*>("bc"), 0, nullptr};
    cert_request_in out;
    // The version and the two texts; no body.
    round_trip_obj(3, in, kCert, "04 03 AC DC 30 0C  02 01 01  04 02 61 00  04 03 62 63 00", out);
    EXPECT_EQ(out.body_len, 0U);
    EXPECT_EQ(out.body, nullptr);
    EXPECT_STREQ(out.text_a, "a");
    EXPECT_EQ(qbasn_obj_free(3, kCert, &out), 0);
}

TEST(QbasnEncodeObj, cert_request_with_null_texts) {
    cert_request_in in = {nullptr, const_cast<char*>("b"), 0, nullptr};
    cert_request_in out;
    round_trip_obj(3, in, kCert, "04 03 AC DC 30 0A  02 01 01  04 01 00  04 02 62 00", out);
    ASSERT_NE(out.text_a, nullptr);
    EXPECT_STREQ(out.text_a, "");
    EXPECT_STREQ(out.text_b, "b");
    EXPECT_EQ(qbasn_obj_free(3, kCert, &out), 0);
}

TEST(QbasnEncodeObj, cert_request_body_without_octets_encodes_nothing) {
    cert_request_in in = {const_cast<char*>("a"), const_cast<char*>("b"), 4, nullptr};
    qb_asn_buffer_t out = {0, nullptr};
    EXPECT_EQ(qbasn_encode_obj(3, &in, kCert, out), 0x1065219C);
    EXPECT_EQ(out.data, nullptr);
}

TEST(QbasnDecodeObj, cert_request_with_another_version_leaves_the_record) {
    expect_decode_leaves<cert_request_in>(2, kCertV3, kCert, 0x10652196);
}

TEST(QbasnDecodeObj, cert_request_read_from_segmented_and_indefinite_input) {
    const bytes_t b = hex(kCertSegmented);
    cert_request_in r = {};
    ASSERT_EQ(decode_obj(3, b, kCert, &r), 0);
    EXPECT_STREQ(r.text_a, "key-1");
    EXPECT_STREQ(r.text_b, "z");
    ASSERT_EQ(r.body_len, 4U);
    EXPECT_EQ(bytes_of(r.body, r.body_len), hex("AA BB CC DD"));
    EXPECT_EQ(qbasn_obj_free(3, kCert, &r), 0);
}

TEST(QbasnDecodeObj, cert_request_text_members_refuse_other_identifiers) {
    // A UTF8String where the first text belongs.
    expect_decode_leaves<cert_request_in>(3, "04 03 AC DC 30 09  02 01 01  0C 01 00  04 01 00", kCert, 0x106521A4);
}

// ==== qbasn_version ====

TEST(QbasnVersion, envelope_gives_zero_and_stores_zero_quirk) {
    bytes_t b = hex("04 05 AC DC 30");
    qb_asn_buffer_t in = {static_cast<unsigned int>(b.size()), b.data()};
    unsigned int flag = 77;
    EXPECT_EQ(qbasn_version(in, flag), 0);
    EXPECT_EQ(flag, 0U);  // not the version octet 5
}

TEST(QbasnVersion, missing_envelope_fails_and_stores_one_quirk) {
    const char* const blocks[] = {"04 00 AC DC 30", "04 05 AC DC", "04 05 AC DD 30", ""};
    for (const char* block : blocks) {
        SCOPED_TRACE(block);
        bytes_t b = hex(block);
        qb_asn_buffer_t in = {static_cast<unsigned int>(b.size()), b.data()};
        unsigned int flag = 77;
        EXPECT_EQ(qbasn_version(in, flag), 0x10652196);
        EXPECT_EQ(flag, 1U);
    }
}

TEST(QbasnVersion, encoded_block_carries_an_envelope) {
    int x = 3;
    qb_asn_buffer_t out = {0, nullptr};
    ASSERT_EQ(qbasn_encode_obj(9, &x, kInt, out), 0);
    unsigned int flag = 77;
    EXPECT_EQ(qbasn_version(out, flag), 0);
    EXPECT_EQ(flag, 0U);
    qb_asn_buffer_free(out);
}

// ==== qb_asn_buffer_copy ====

// A block with null data (whatever its length) and a block of length 0 both
// copy to an empty block: length 0, null data, status 0.
TEST(QbAsnBufferCopy, null_data_or_empty_buffer_gives_an_empty_copy) {
    static unsigned char byte = 1;
    struct EmptyCase {
        const char* name;
        qb_asn_buffer_t from;
    };
    const EmptyCase cases[] = {
        {"null data with a length", {5, nullptr}},
        {"empty buffer", {0, &byte}},
    };
    for (const EmptyCase& c : cases) {
        SCOPED_TRACE(c.name);
        unsigned char sentinel = 0;
        qb_asn_buffer_t to = {9, &sentinel};
        unsigned int status = 77;
        qb_asn_buffer_copy(c.from, to, status);
        EXPECT_EQ(to.length, 0U);
        EXPECT_EQ(to.data, nullptr);
        EXPECT_EQ(status, 0U);
    }
}

TEST(QbAsnBufferCopy, copies_an_encoded_block) {
    kxobj_update_list_s_t in = {0, nullptr};
    qb_asn_buffer_t out = {0, nullptr};
    ASSERT_EQ(qbasn_encode_obj(4, &in, kList, out), 0);
    qb_asn_buffer_t copy = {0, nullptr};
    unsigned int status = 77;
    qb_asn_buffer_copy(out, copy, status);
    EXPECT_EQ(status, 0U);
    ASSERT_EQ(copy.length, out.length);
    EXPECT_NE(copy.data, out.data);
    EXPECT_EQ(bytes_t(copy.data, copy.data + copy.length), hex("04 04 AC DC 30 05  02 01 01  30 00"));
    qb_asn_buffer_free(out);
    kxobj_update_list_s_t r = {};
    EXPECT_EQ(qbasn_decode_obj(4, copy, kList, &r), 0);  // the copy stands on its own
    EXPECT_EQ(qbasn_obj_free(4, kList, &r), 0);
    qb_asn_buffer_free(copy);
}

// ==== hostile input ====

// check_decoded: a decode that reports success left a complete record;
// whatever it reported, the record goes back through qbasn_obj_free.
void check_and_free(unsigned int type, int version, int rc, void* record) {
    EXPECT_TRUE(is_documented_status(rc)) << std::hex << rc;
    if (rc == 0) {
        if (type == kList) {
            const auto& r = *static_cast<kxobj_update_list_s_t*>(record);
            EXPECT_EQ(r.count == 0, r.items == nullptr);
            for (unsigned int i = 0; i < r.count && r.items != nullptr; ++i) EXPECT_NE(r.items[i].text, nullptr);
        } else if (type == kCert) {
            const auto& r = *static_cast<cert_request_in*>(record);
            EXPECT_NE(r.text_a, nullptr);
            EXPECT_NE(r.text_b, nullptr);
            EXPECT_EQ(r.body_len == 0, r.body == nullptr);
        }
    }
    EXPECT_EQ(qbasn_obj_free(version, type, record), 0);
}

// decode_hostile: decodes `bytes` (copied into a block of exactly their
// size, so the sanitizer sees any read past it) into a zeroed record.
void decode_hostile(unsigned int type, int version, const bytes_t& bytes) {
    auto* block = static_cast<unsigned char*>(std::malloc(bytes.empty() ? 1 : bytes.size()));
    ASSERT_NE(block, nullptr);
    if (!bytes.empty()) std::memcpy(block, bytes.data(), bytes.size());
    qb_asn_buffer_t in = {static_cast<unsigned int>(bytes.size()), block};
    if (type == kList) {
        kxobj_update_list_s_t r = {};
        check_and_free(type, version, qbasn_decode_obj(version, in, type, &r), &r);
    } else if (type == kCert) {
        cert_request_in r = {};
        check_and_free(type, version, qbasn_decode_obj(version, in, type, &r), &r);
    } else {
        int r = 0;
        check_and_free(type, version, qbasn_decode_obj(version, in, type, &r), &r);
    }
    std::free(block);
}

struct HostileCase {
    const char* name;
    unsigned int type;
    int version;
    const char* hex;
};

constexpr HostileCase kHostileCases[] = {
    {"update list", kList, 5, kListV5},
    {"empty update list", kList, 4, "04 04 AC DC 30 05  02 01 01  30 00"},
    {"segmented update list", kList, 5, kListSegmented},
    {"cert request", kCert, 3, kCertV3},
    {"segmented cert request", kCert, 3, kCertSegmented},
    {"integer", kInt, 7, "04 07 AC DC 02 04 80 00 00 01"},
};

TEST(QbasnDecodeObj, every_truncation_decodes_to_a_status_or_a_record) {
    for (const HostileCase& c : kHostileCases) {
        SCOPED_TRACE(c.name);
        const bytes_t full = hex(c.hex);
        for (size_t n = 0; n <= full.size(); ++n) {
            SCOPED_TRACE(n);
            decode_hostile(c.type, c.version, bytes_t(full.begin(), full.begin() + static_cast<long>(n)));
            if (testing::Test::HasFailure()) return;
        }
    }
}

TEST(QbasnDecodeObj, every_single_octet_change_decodes_to_a_status_or_a_record) {
    testing::internal::CaptureStderr();
    for (const HostileCase& c : kHostileCases) {
        SCOPED_TRACE(c.name);
        const bytes_t full = hex(c.hex);
        for (size_t i = 0; i < full.size(); ++i) {
            for (unsigned int v = 0; v < 256; ++v) {
                if (v == full[i]) continue;
                bytes_t changed = full;
                changed[i] = static_cast<unsigned char>(v);
                decode_hostile(c.type, c.version, changed);
                if (testing::Test::HasFailure()) {
                    ADD_FAILURE() << "at octet " << i << " changed to " << v;
                    testing::internal::GetCapturedStderr();
                    return;
                }
            }
        }
    }
    // Hostile input is reported through statuses; only exceptions print.
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

}  // namespace
