// tests/support/record_test.h - helpers shared by the record tests
// (tests/base_idls/*_test.cpp).
//
// Header-only (inline functions and templates in namespace qb_test); a test
// source takes what it uses with using-declarations. It gives:
//   - wire vectors many groups embed (the envelope, the attribute list
//     ATTRS_K, UUIDs and security identities), written out as hex text, and
//     the flat records behind them (attrs_k, one_attr, uuid_1);
//   - encode / decode_zeroed: the typed entry points qbAsnEncodeObj /
//     qbAsnDecodeObj (and the LCS forms) to and from std::vector, for the
//     record-specific tests that look at one record by its type;
//   - small builders: text, to_hex, concat, nested_records (octets out of
//     the library's buffers, lengths and frames: support/buffers.h and
//     support/frames.h);
//   - the table checks of support/record_cases.h, and qb_test::LeakChecked
//     (support/leak_check.h);
//   - expect_sweeps (expect_sweep for one record): records whose encode or
//     decode runs with the 1st, 2nd, 3rd ... allocation failed until the
//     call completes, checking every run; blocks_freed_by, the blocks a free
//     releases, in order; decode_allocations, the sizes a decode allocates.
//     These watch allocations through support/failing_malloc.h, which must
//     then be included BEFORE this header (in the one source of the
//     executable that includes it); failing_malloc.h refuses to come after
//     this header, and without it a call of any of them does not compile.
#ifndef QBASN_TESTS_SUPPORT_RECORD_TEST_H
#define QBASN_TESTS_SUPPORT_RECORD_TEST_H

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "asn1/asn1.h"
#include "asn1/asnbase.h"
#include "base_idls/attrlist_asn.h"
#include "support/buffers.h"
#include "support/frames.h"
#include "support/hex.h"
#include "support/leak_check.h"
#include "support/record_cases.h"
#include "support/record_owners.h"
#include "support/record_random.h"

// ---- wire vectors, written out ----

// The envelope in front of every record: OCTET STRING AC DC (version 2).
#define ENVELOPE "04 02 AC DC "
// attrlist_t { attr "k" { value 1, "v", 01 } } (attrs_k() below)
#define ATTRS_K "30 14 30 12 30 10 0C 01 6B 30 0B 30 09 02 01 01 0C 01 76 04 01 01"
// attrlist_t { attr "a" { value 1, "x", 01 } } (one_attr below)
#define ATTRS_A "30 14 30 12 30 10 0C 01 61 30 0B 30 09 02 01 01 0C 01 78 04 01 01"
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

// ---- texts and octets ----

// text: a string literal as the char* a flat record holds (the encoders only read it).
inline char* text(const char* s) { return const_cast<char*>(s); }

// to_hex: the octets as "30 03 ..." text, so a mismatch prints readably.
inline std::string to_hex(const bytes_t& bytes) {
    static const char digits[] = "0123456789ABCDEF";
    std::string s(3 * bytes.size(), ' ');
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        s[3 * i] = digits[bytes[i] >> 4];
        s[3 * i + 1] = digits[bytes[i] & 0x0F];
    }
    return s;
}

// concat: the parts one after the other.
inline bytes_t concat(std::initializer_list<bytes_t> parts) {
    bytes_t out;
    for (const bytes_t& p : parts) out.insert(out.end(), p.begin(), p.end());
    return out;
}

// nested_records: a chain of `levels` records of a recursive type, each
// holding `leading_members` and then, as its last member, a list whose only
// element is the next level (the innermost list is empty): every level adds
// two frames.
inline bytes_t nested_records(const bytes_t& leading_members, int levels) {
    bytes_t inner;
    for (int i = 0; i < levels; ++i) inner = frame_of(0x30, concat({leading_members, frame_of(0x30, inner)}));
    return inner;
}

// ---- the typed entry points ----

// encode: the bytes of qbAsnEncodeObj (or the LCS form); the status must be
// 0; the buffer is freed.
template <class Flat>
bytes_t encode(Flat& r, bool lcs = false) {
    qb_asn_buffer_t out{0, nullptr};
    const unsigned int rc = lcs ? qbAsnEncodeObjLCS(out, r) : qbAsnEncodeObj(out, r);
    EXPECT_EQ(rc, 0x00000000U);
    bytes_t b = bytes_of(out);
    qb_asn_buffer_free(out);
    return b;
}

// decode_zeroed: qbAsnDecodeObj (or the LCS form) of a copy of `b` into `r`
// after zeroing it.
template <class Flat>
unsigned int decode_zeroed(const bytes_t& b, Flat& r, bool lcs = false) {
    std::memset(&r, 0, sizeof r);
    const exact_block copy(b);
    qb_asn_buffer_t in{copy.size(), b.empty() ? nullptr : copy.data()};
    return lcs ? qbAsnDecodeObjLCS(in, r) : qbAsnDecodeObj(in, r);
}

// ---- records many groups embed ----

// attrs_k: the ATTRS_K list to encode (static storage: the encoders only read it).
inline attrlist_s_t& attrs_k() {
    static unsigned char one[1] = {0x01};
    static value_s_t value{1, text("v"), 1, one};
    static attr_s_t attr{text("k"), 1, &value};
    static attrlist_s_t list{1, &attr};
    return list;
}

// one_attr: the ATTRS_A list: one attribute "a" holding the value {1, "x", 01}.
struct one_attr {
    unsigned char byte = 0x01;
    value_s_t value{1, const_cast<char*>("x"), 1, &byte};
    attr_s_t attr{const_cast<char*>("a"), 1, &value};
    attrlist_s_t list{1, &attr};
};

// attrlist_blocks: the blocks of a decoded attribute list in the order its
// free releases them: per attribute its name, then per value its text and its
// octets, then the value array; last the attribute array (null pointers, of
// empty octets and lists, are not released).
inline std::vector<void*> attrlist_blocks(const attrlist_s_t& l) {
    std::vector<void*> blocks;
    const auto add = [&blocks](void* p) {
        if (p != nullptr) blocks.push_back(p);
    };
    for (unsigned int i = 0; i < l.count; ++i) {
        add(l.attrs[i].name);
        for (unsigned int k = 0; k < l.attrs[i].count; ++k) {
            add(l.attrs[i].values[k].text);
            add(l.attrs[i].values[k].bytes);
        }
        add(l.attrs[i].values);
    }
    add(l.attrs);
    return blocks;
}

// uuid_1: the UUID of UUID_1.
inline uuid_t uuid_1() { return uuid_t{0x11223344U, 0x5566, 0x7788, 0x99, 0x0A, {0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF}}; }

// ---- allocation failures ----

// sweep_way: which calls of a record a sweep runs (both: one sweep each).
enum class sweep_way { encode, decode, both };

// sweep_case: `flat`, a record of `info`, encoded (sweep_way::encode) or its
// octets decoded (sweep_way::decode, the plain form) with the 1st, 2nd, ...
// allocation of the call failed, until the call completes, which must happen
// after at least `min_failures` and fewer than `limit` failing runs. Each run
// that takes the failure returns 0x10652065 and prints an exception line with
// the code ("Exception: ... [10652065] in ..."); a failed encode hands out no
// buffer, a failed decode leaves a record the library's freer releases (the
// sanitizer build checks for leaks). The run that completes returns 0 and
// gives the octets `hex` (nullptr: the plain encoding of `flat`), or a record
// equal to `flat` that encodes to them again. Each text of `printed` must
// stand in what some failing run printed.
struct sweep_case {
    const char* name;
    const qb_record_info& info;
    void* flat;
    const char* hex;
    sweep_way way;
    long limit;
    std::vector<const char*> printed = {};
    long min_failures = 1;
};

#if defined(QBASN_TESTS_SUPPORT_FAILING_MALLOC_H)

namespace detail {

// sweep_run: one run of a sweep; true when the failure was taken.
inline bool sweep_run(const sweep_case& row, sweep_way way, const bytes_t& want, long n,
                      std::vector<std::string>& printed) {
    unsigned int rc = 0;
    bool injected = false;
    qb_asn_buffer_t out{0, nullptr};
    const exact_block copy(want);
    qb_asn_buffer_t in{copy.size(), copy.data()};
    void* flat = std::calloc(1, row.info.flat_size);
    ::testing::internal::CaptureStderr();
    {
        fail_after guard(n);
        rc = way == sweep_way::encode ? row.info.encode(out, row.flat, 0) : row.info.decode(in, flat, 0);
        injected = !fail_after::armed();
    }
    std::string err = ::testing::internal::GetCapturedStderr();
    if (!injected) {
        EXPECT_EQ(rc, 0x00000000U);
        EXPECT_EQ(err, "");
        if (way == sweep_way::encode) {
            EXPECT_EQ(to_hex(bytes_of(out)), to_hex(want));
        } else {
            std::string where;
            EXPECT_EQ(decoded_shape(row.info, flat), "");
            EXPECT_TRUE(records_equal(row.info, row.flat, flat, &where)) << "differs at " << where;
            bytes_t again;
            EXPECT_EQ(encode_record(row.info, flat, 0, &again), 0x00000000U);
            EXPECT_EQ(to_hex(again), to_hex(want));
        }
    } else {
        EXPECT_EQ(rc, 0x10652065U);
        EXPECT_EQ(out.data, nullptr);
        EXPECT_NE(err.find("Exception: "), std::string::npos) << err;
        EXPECT_NE(err.find(" [10652065] in "), std::string::npos) << err;
        printed.push_back(std::move(err));
    }
    qb_asn_buffer_free(out);
    row.info.free_obj(flat);  // a partly filled record must be freeable
    std::free(flat);
    return injected;
}

}  // namespace detail

// expect_sweeps: every row, as sweep_case says.
inline void expect_sweeps(std::initializer_list<sweep_case> rows) {
    for (const sweep_case& row : rows) {
        SCOPED_TRACE(std::string(row.info.name) + ": " + row.name);
        bytes_t want;
        ASSERT_EQ(encode_record(row.info, row.flat, 0, &want), 0x00000000U);
        ASSERT_EQ(to_hex(want), to_hex(row.hex != nullptr ? hex(row.hex) : want));
        for (const sweep_way way : {sweep_way::encode, sweep_way::decode}) {
            if (row.way != way && row.way != sweep_way::both) continue;
            SCOPED_TRACE(way == sweep_way::encode ? "encoding" : "decoding");
            std::vector<std::string> printed;
            long n = 0;
            while (n < row.limit) {
                SCOPED_TRACE(::testing::Message() << "allocation #" << n + 1 << " failed");
                if (!detail::sweep_run(row, way, want, n, printed)) break;
                ++n;
            }
            EXPECT_GE(n, row.min_failures);
            EXPECT_LT(n, row.limit) << "the call never completed";
            for (const char* text : row.printed) {
                bool seen = false;
                for (const std::string& p : printed) seen = seen || p.find(text) != std::string::npos;
                EXPECT_TRUE(seen) << "no failing run printed \"" << text << "\"";
            }
        }
    }
}

// expect_sweep<Rec>: one row, for a record of the record class Rec given by
// value (what it points to stays the test's).
template <class Rec>
void expect_sweep(const char* name, detail::flat_t<Rec> record, const char* hex, sweep_way way, long limit,
                  std::vector<const char*> printed = {}, long min_failures = 1) {
    expect_sweeps({{name, Rec::reflect(), &record, hex, way, limit, std::move(printed), min_failures}});
}

// decode_allocations: the sizes of the allocations, in order, made while
// `b` is decoded into `r` (zeroed first; the decode must succeed).
template <class Flat>
std::vector<std::size_t> decode_allocations(const bytes_t& b, Flat& r) {
    record_allocations log;
    EXPECT_EQ(decode_zeroed(b, r), 0x00000000U);
    return log.sizes();
}

// blocks_freed_by: the blocks qbAsnFreeObj(r) releases, in order.
template <class Flat>
std::vector<void*> blocks_freed_by(Flat& r) {
    record_allocations log;
    qbAsnFreeObj(r);
    return log.freed();
}

#else

// Without support/failing_malloc.h (included before this header) no
// allocation can be failed or watched: a sweep does not compile.
template <class...>
inline constexpr bool failing_malloc_included = false;

template <class Row = sweep_case>
void expect_sweeps(std::initializer_list<Row>) {
    static_assert(failing_malloc_included<Row>,
                  "expect_sweeps needs support/failing_malloc.h, included before support/record_test.h");
}

template <class Rec, class... Args>
void expect_sweep(Args&&...) {
    static_assert(failing_malloc_included<Rec>,
                  "expect_sweep needs support/failing_malloc.h, included before support/record_test.h");
}

template <class Flat>
void decode_allocations(const bytes_t&, Flat&) {
    static_assert(failing_malloc_included<Flat>,
                  "decode_allocations needs support/failing_malloc.h, included before support/record_test.h");
}

template <class Flat>
void blocks_freed_by(Flat&) {
    static_assert(failing_malloc_included<Flat>,
                  "blocks_freed_by needs support/failing_malloc.h, included before support/record_test.h");
}

#endif

}  // namespace qb_test

#endif
