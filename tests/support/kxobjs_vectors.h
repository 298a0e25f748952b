// tests/support/kxobjs_vectors.h - the object-update list and certificate
// request messages the untyped entry points are tested with (types 259,
// 260 and 262), written out as hex, and the checks of the flat records they
// decode to.
//
// Header-only (namespace qb_test); it may be included by any number of
// sources of an executable.
#ifndef QBASN_TESTS_SUPPORT_KXOBJS_VECTORS_H
#define QBASN_TESTS_SUPPORT_KXOBJS_VECTORS_H

#include <gtest/gtest.h>

#include "asn1/asn_kxobjs.h"
#include "support/buffers.h"
#include "support/hex.h"

namespace qb_test {

// The types of the untyped entry points, written out: 259 certificate
// request, 260 update list, 262 bare INTEGER.
inline constexpr unsigned int kCert = 259;
inline constexpr unsigned int kList = 260;
inline constexpr unsigned int kInt = 262;

// kListV5: the update list {5, "x", -1}, {128, null text, 0}, version 5.
inline constexpr const char* kListV5 =
    "04 05 AC DC 30 23  02 01 01  30 1E"
    "  30 0D 02 01 01 02 01 05 04 02 78 00 02 01 FF"
    "  30 0D 02 01 01 02 02 00 80 04 01 00 02 01 00";

// kCertV3: the certificate request {"a", "bc", 01 02}, version 3.
inline constexpr const char* kCertV3 = "04 03 AC DC 30 10  02 01 01  04 02 61 00  04 03 62 63 00  04 02 01 02";

// expect_list_v5: `r` holds what kListV5 describes; the null text comes back
// as an allocated empty text.
inline void expect_list_v5(const kxobj_update_list_s_t& r) {
    ASSERT_EQ(r.count, 2U);
    ASSERT_NE(r.items, nullptr);
    EXPECT_EQ(r.items[0].value_a, 5);
    EXPECT_STREQ(r.items[0].text, "x");
    EXPECT_EQ(r.items[0].value_b, -1);
    EXPECT_EQ(r.items[1].value_a, 128);
    ASSERT_NE(r.items[1].text, nullptr);
    EXPECT_STREQ(r.items[1].text, "");
    EXPECT_EQ(r.items[1].value_b, 0);
}

// expect_cert_v3: `r` holds what kCertV3 describes.
inline void expect_cert_v3(const cert_request_in& r) {
    EXPECT_STREQ(r.text_a, "a");
    EXPECT_STREQ(r.text_b, "bc");
    ASSERT_EQ(r.body_len, 2U);
    EXPECT_EQ(bytes_of(r.body, r.body_len), hex("01 02"));
}

}  // namespace qb_test

#endif
