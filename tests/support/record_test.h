// tests/support/record_test.h - helpers shared by the record tests
// (tests/base_idls/*_test.cpp).
//
// Header-only (inline functions and templates in namespace qb_test); a test
// source takes what it uses with using-declarations. It gives:
//   - wire vectors many groups embed (the envelope, the attribute list
//     ATTRS_K, UUIDs and security identities), written out as hex text;
//   - encode / decode / decode_zeroed / round_trip: the entry points
//     qbAsnEncodeObj / qbAsnDecodeObj (and the LCS forms) to and from
//     std::vector, with their status checked where it must be 0;
//   - small builders and checks: text, text_of, block_of, expect_text, to_hex,
//     ber_length / frame / concat, dump_names, the ATTRS_K and one-attribute
//     lists, uuid_1 / expect_uuid;
//   - qb_test::LeakChecked and qb_test::leak_found (support/leak_check.h);
//   - sweep_encode / sweep_decode: encode or decode with the 1st, 2nd, 3rd
//     ... allocation failed until the call completes, checking every run.
//     They fail allocations through support/failing_malloc.h, which must
//     then be included BEFORE this header (in the one source of the
//     executable that includes it); failing_malloc.h refuses to come after
//     this header, and without it a call of a sweep does not compile.
#ifndef QBASN_TESTS_SUPPORT_RECORD_TEST_H
#define QBASN_TESTS_SUPPORT_RECORD_TEST_H

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "asn1/asn1.h"
#include "asn1/asnbase.h"
#include "base_idls/attrlist_asn.h"
#include "support/hex.h"
#include "support/leak_check.h"

// ---- wire vectors, written out ----

// The envelope in front of every record: OCTET STRING AC DC (version 2).
#define ENVELOPE "04 02 AC DC "
// attrlist_t { attr "k" { value 1, "v", 01 } } (attrs_k() below)
#define ATTRS_K "30 14 30 12 30 10 0C 01 6B 30 0B 30 09 02 01 01 0C 01 76 04 01 01"
// attrlist_t with no attributes
#define ATTRS_EMPTY "30 02 30 00"
// uuid_t with every member 0
#define ZERO_UUID "30 17 02 01 00 02 01 00 02 01 00 02 01 00 02 01 00 04 06 00 00 00 00 00 00"
// uuid_t 11223344-5566-7788-99 0A-AABBCCDDEEFF (uuid_1() below; 0x99 needs a
// leading 00 octet).
#define UUID_1 "30 1D 02 04 11 22 33 44 02 02 55 66 02 02 77 88 02 02 00 99 02 01 0A 04 06 AA BB CC DD EE FF"
// sec_id_t { UUID, name }
#define SEC_ALICE "30 26 " UUID_1 " 0C 05 61 6C 69 63 65"  // UUID_1, "alice"
#define SEC_G1 "30 1D " ZERO_UUID " 0C 02 67 31"          // zero UUID, "g1"
#define SEC_G2 "30 1D " ZERO_UUID " 0C 02 67 32"          // zero UUID, "g2"
#define SEC_EMPTY "30 1B " ZERO_UUID " 0C 00"             // zero UUID, empty name

namespace qb_test {

using bytes_t = std::vector<unsigned char>;

// ---- texts and blocks ----

// text: a string literal as the char* a flat record holds (the encoders only read it).
inline char* text(const char* s) { return const_cast<char*>(s); }

// text_of: the text, with null read as "".
inline std::string text_of(const char* s) { return s == nullptr ? std::string() : std::string(s); }

// block_of: the `n` octets at `p` (none when n is 0, whatever p is).
inline bytes_t block_of(const unsigned char* p, unsigned int n) { return n == 0 ? bytes_t() : bytes_t(p, p + n); }

// expect_text: a decoded text is never null: null and "" both come back as "".
inline void expect_text(const char* want, const char* got) {
    ASSERT_NE(got, nullptr);
    EXPECT_EQ(text_of(want), std::string(got));
}

// to_hex: the octets as "30 03 ..." text, so a mismatch prints readably.
inline std::string to_hex(const bytes_t& bytes) {
    std::string s;
    char pair[4];
    for (unsigned char b : bytes) {
        std::snprintf(pair, sizeof pair, "%02X ", b);
        s += pair;
    }
    return s;
}

// ---- building BER by hand ----

// ber_length: the length octets (short form below 128, else long form).
inline bytes_t ber_length(std::size_t n) {
    if (n < 128) return {static_cast<unsigned char>(n)};
    bytes_t digits;
    for (std::size_t v = n; v != 0; v >>= 8) digits.insert(digits.begin(), static_cast<unsigned char>(v & 0xFF));
    bytes_t out{static_cast<unsigned char>(0x80 | digits.size())};
    out.insert(out.end(), digits.begin(), digits.end());
    return out;
}

// frame: a frame with tag `tag` around `content`.
inline bytes_t frame(unsigned char tag, const bytes_t& content) {
    bytes_t out{tag};
    const bytes_t len = ber_length(content.size());
    out.insert(out.end(), len.begin(), len.end());
    out.insert(out.end(), content.begin(), content.end());
    return out;
}

// concat: the parts one after the other.
inline bytes_t concat(std::initializer_list<bytes_t> parts) {
    bytes_t out;
    for (const bytes_t& p : parts) out.insert(out.end(), p.begin(), p.end());
    return out;
}

// ---- the entry points ----

// encode: the bytes of qbAsnEncodeObj (or the LCS form); the status must be
// 0; the buffer is freed.
template <class Flat>
bytes_t encode(Flat& r, bool lcs = false) {
    qb_asn_buffer_t out{0, nullptr};
    const unsigned int rc = lcs ? qbAsnEncodeObjLCS(out, r) : qbAsnEncodeObj(out, r);
    EXPECT_EQ(rc, 0x00000000U);
    bytes_t b;
    if (out.data != nullptr) b.assign(out.data, out.data + out.length);
    qb_asn_buffer_free(out);
    return b;
}

// decode: qbAsnDecodeObj (or the LCS form) of a copy of `b` into `r` as the
// caller left it (a test may fill it first to see what decoding clears).
template <class Flat>
unsigned int decode(const bytes_t& b, Flat& r, bool lcs = false) {
    bytes_t copy = b;
    qb_asn_buffer_t in{static_cast<unsigned int>(copy.size()), copy.data()};
    return lcs ? qbAsnDecodeObjLCS(in, r) : qbAsnDecodeObj(in, r);
}

// decode_zeroed: decode into `r` after zeroing it.
template <class Flat>
unsigned int decode_zeroed(const bytes_t& b, Flat& r, bool lcs = false) {
    std::memset(&r, 0, sizeof r);
    return decode(b, r, lcs);
}

// round_trip: `r` encodes to `expected` in both forms; decoding those bytes in
// both forms gives a record that `check` accepts and that encodes to the same
// bytes again; every decoded record is freed.
template <class Flat, class Check>
void round_trip(Flat& r, const char* expected, Check check) {
    const bytes_t want = hex(expected);
    EXPECT_EQ(encode(r), want);
    EXPECT_EQ(encode(r, true), want);
    for (bool lcs : {false, true}) {
        SCOPED_TRACE(lcs ? "LCS form" : "plain form");
        Flat out;
        ASSERT_EQ(decode_zeroed(want, out, lcs), 0x00000000U);
        check(out);
        EXPECT_EQ(encode(out, lcs), want);
        qbAsnFreeObj(out);
    }
}

// dump_names: the type name at the start of each line of display_state_flags,
// with its indentation kept ("  INTEGER").
inline std::vector<std::string> dump_names(const qb_asn_object& o) {
    qb_buffer_t b(security_off);
    o.display_state_flags(b, 0);
    const std::string dump(reinterpret_cast<const char*>(b.data), b.length());
    std::vector<std::string> names;
    std::size_t start = 0;
    while (start < dump.size()) {
        std::size_t end = dump.find('\n', start);
        if (end == std::string::npos) end = dump.size();
        const std::string line = dump.substr(start, end - start);
        names.push_back(line.substr(0, line.find('(')));
        start = end + 1;
    }
    return names;
}

// ---- attribute lists ----

// attrs_k: the ATTRS_K list to encode (static storage: the encoders only read it).
inline attrlist_s_t& attrs_k() {
    static unsigned char one[1] = {0x01};
    static value_s_t value{1, text("v"), 1, one};
    static attr_s_t attr{text("k"), 1, &value};
    static attrlist_s_t list{1, &attr};
    return list;
}

// expect_attrs_k: the decoded list is ATTRS_K.
inline void expect_attrs_k(const attrlist_s_t& l) {
    ASSERT_EQ(l.count, 1U);
    ASSERT_NE(l.attrs, nullptr);
    EXPECT_STREQ(l.attrs[0].name, "k");
    ASSERT_EQ(l.attrs[0].count, 1U);
    ASSERT_NE(l.attrs[0].values, nullptr);
    const value_s_t& v = l.attrs[0].values[0];
    EXPECT_EQ(v.number, 1);
    EXPECT_STREQ(v.text, "v");
    ASSERT_EQ(v.length, 1U);
    ASSERT_NE(v.bytes, nullptr);
    EXPECT_EQ(v.bytes[0], 0x01);
}

// expect_attrs_empty: the decoded list has no attributes (and no array).
inline void expect_attrs_empty(const attrlist_s_t& l) {
    EXPECT_EQ(l.count, 0U);
    EXPECT_EQ(l.attrs, nullptr);
}

// One attribute "a" holding the value {1, "x", 01}; 22 bytes on the wire:
// 30 14 30 12 30 10 0C 01 61 30 0B 30 09 02 01 01 0C 01 78 04 01 01
struct one_attr {
    unsigned char byte = 0x01;
    value_s_t value{1, const_cast<char*>("x"), 1, &byte};
    attr_s_t attr{const_cast<char*>("a"), 1, &value};
    attrlist_s_t list{1, &attr};
};

// expect_one_attr: the decoded list is one_attr's.
inline void expect_one_attr(const attrlist_s_t& l) {
    ASSERT_EQ(l.count, 1U);
    ASSERT_NE(l.attrs, nullptr);
    EXPECT_STREQ(l.attrs[0].name, "a");
    ASSERT_EQ(l.attrs[0].count, 1U);
    ASSERT_NE(l.attrs[0].values, nullptr);
    EXPECT_EQ(l.attrs[0].values[0].number, 1);
    EXPECT_STREQ(l.attrs[0].values[0].text, "x");
    ASSERT_EQ(l.attrs[0].values[0].length, 1U);
    EXPECT_EQ(l.attrs[0].values[0].bytes[0], 0x01);
}

// ---- UUIDs ----

// uuid_1: the UUID of UUID_1.
inline uuid_t uuid_1() {
    uuid_t u{};
    u.time_low = 0x11223344U;
    u.time_mid = 0x5566;
    u.time_hi_and_version = 0x7788;
    u.clock_seq_hi_and_reserved = 0x99;
    u.clock_seq_low = 0x0A;
    const unsigned char node[6] = {0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF};
    std::memcpy(u.node, node, 6);
    return u;
}

// expect_uuid: every member of `u` equals `want`'s.
inline void expect_uuid(const uuid_t& u, const uuid_t& want) {
    EXPECT_EQ(u.time_low, want.time_low);
    EXPECT_EQ(u.time_mid, want.time_mid);
    EXPECT_EQ(u.time_hi_and_version, want.time_hi_and_version);
    EXPECT_EQ(u.clock_seq_hi_and_reserved, want.clock_seq_hi_and_reserved);
    EXPECT_EQ(u.clock_seq_low, want.clock_seq_low);
    EXPECT_EQ(std::memcmp(u.node, want.node, 6), 0);
}

// ---- allocation-failure sweeps ----

#if defined(QBASN_TESTS_SUPPORT_FAILING_MALLOC_H)

// sweep_result: what the runs of a sweep that took the failure left behind.
struct sweep_result {
    long failures = 0;                 // how many runs took the failure
    std::vector<std::string> printed;  // what each of them printed to standard error

    // some_run_printed: true when one run's output contains `needle`.
    bool some_run_printed(const std::string& needle) const {
        for (const std::string& p : printed)
            if (p.find(needle) != std::string::npos) return true;
        return false;
    }
    // names: true when some failure was reported from the source `file`
    // ("base_idls/kxobj_asn").
    bool names(const char* file) const { return some_run_printed(std::string(" in ") + file + " at line "); }
};

// sweep_encode: encodes `r` (qbAsnEncodeObj) with the 1st, 2nd, ... allocation
// failed until the encoding completes, which must happen after at least one
// and fewer than `limit` failing runs. Each run that takes the failure
// returns 0x10652065, hands out no buffer and prints an exception line with
// the code ("Exception: ... [10652065] in ..."); the run that completes
// returns 0 and gives `want`.
template <class Flat>
sweep_result sweep_encode(Flat& r, const bytes_t& want, long limit) {
    sweep_result result;
    long n = 0;
    for (; n < limit; ++n) {
        SCOPED_TRACE(::testing::Message() << "allocation #" << n + 1 << " failed");
        qb_asn_buffer_t out{0, nullptr};
        unsigned int rc;
        bool injected;
        ::testing::internal::CaptureStderr();
        {
            fail_after guard(n);
            rc = qbAsnEncodeObj(out, r);
            injected = !fail_after::armed();
        }
        std::string err = ::testing::internal::GetCapturedStderr();
        if (!injected) {
            EXPECT_EQ(rc, 0x00000000U);
            EXPECT_EQ(out.data != nullptr ? bytes_t(out.data, out.data + out.length) : bytes_t{}, want);
            qb_asn_buffer_free(out);
            break;
        }
        EXPECT_EQ(rc, 0x10652065U);
        EXPECT_EQ(out.data, nullptr);
        EXPECT_NE(err.find("Exception: "), std::string::npos) << err;
        EXPECT_NE(err.find(" [10652065] in "), std::string::npos) << err;
        qb_asn_buffer_free(out);
        result.printed.push_back(std::move(err));
    }
    result.failures = n;
    EXPECT_GT(n, 0);
    EXPECT_LT(n, limit);
    return result;
}

// sweep_decode: decodes `b` (qbAsnDecodeObj) into a zeroed Flat with the 1st,
// 2nd, ... allocation failed until the decoding completes, which must happen
// after at least one and fewer than `limit` failing runs. Each run that takes
// the failure returns 0x10652065 and prints an exception line with the code,
// and its partly filled record is freed (it must be freeable; the sanitizer
// build checks for leaks). The run that completes returns 0, its record is
// handed to `check` and must encode to `b` again.
template <class Flat, class Check>
sweep_result sweep_decode(const bytes_t& b, long limit, Check check) {
    sweep_result result;
    long n = 0;
    for (; n < limit; ++n) {
        SCOPED_TRACE(::testing::Message() << "allocation #" << n + 1 << " failed");
        Flat r;
        std::memset(&r, 0, sizeof r);
        bytes_t copy = b;
        qb_asn_buffer_t in{static_cast<unsigned int>(copy.size()), copy.data()};
        unsigned int rc;
        bool injected;
        ::testing::internal::CaptureStderr();
        {
            fail_after guard(n);
            rc = qbAsnDecodeObj(in, r);
            injected = !fail_after::armed();
        }
        std::string err = ::testing::internal::GetCapturedStderr();
        if (!injected) {
            EXPECT_EQ(rc, 0x00000000U);
            check(static_cast<const Flat&>(r));
            EXPECT_EQ(encode(r), b);
            qbAsnFreeObj(r);
            break;
        }
        EXPECT_EQ(rc, 0x10652065U);
        EXPECT_NE(err.find("Exception: "), std::string::npos) << err;
        EXPECT_NE(err.find(" [10652065] in "), std::string::npos) << err;
        qbAsnFreeObj(r);  // partly filled: must be freeable
        result.printed.push_back(std::move(err));
    }
    result.failures = n;
    EXPECT_GT(n, 0);
    EXPECT_LT(n, limit);
    return result;
}

// sweep_decode without a check of the fields: the completed record must
// still encode to `b` again.
template <class Flat>
sweep_result sweep_decode(const bytes_t& b, long limit) {
    return sweep_decode<Flat>(b, limit, [](const Flat&) {});
}

#else

// Without support/failing_malloc.h (included before this header) no
// allocation can be failed: a sweep does not compile.
template <class...>
inline constexpr bool failing_malloc_included = false;

template <class Flat, class... Args>
void sweep_encode(Flat&, Args&&...) {
    static_assert(failing_malloc_included<Flat>,
                  "sweep_encode needs support/failing_malloc.h, included before support/record_test.h");
}

template <class Flat, class... Args>
void sweep_decode(Args&&...) {
    static_assert(failing_malloc_included<Flat>,
                  "sweep_decode needs support/failing_malloc.h, included before support/record_test.h");
}

#endif

}  // namespace qb_test

#endif
