// tests/asn1/kxobjs_allocfail_test.cpp - the untyped entry points and the
// object-update and certificate-request records when an allocation fails.
//
// This executable replaces malloc for the whole process (support/
// failing_malloc.h), so a chosen allocation made by the library returns
// null. Sweeps fail the 1st, 2nd, 3rd ... allocation of an encode or a
// decode through the untyped path of the object tree (as qbasn_encode_obj /
// qbasn_decode_obj once ran it, see "the untyped path through the object
// tree" below) until the call
// completes with every allocation granted. Each failing call must return
// 0x10652065, print exactly one "Exception: ..." line to standard error when
// an exception carried the failure (and nothing otherwise), leave the output
// buffer untouched, and, after qbasn_obj_free, leak nothing (the sanitizer
// build checks for leaks after every test).
//
// The expected line is built from the exception that the same steps throw
// when run by hand on the record class with the same allocation failed, so
// the test pins message, code, source file and line exactly.

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <regex>
#include <string>
#include <vector>

#include "asn1/asn1.h"
#include "asn1/asn_kxobjs.h"
#include "asn1/asnbase.h"
#include "support/buffers.h"
#include "support/failing_malloc.h"
#include "support/hex.h"
#include "support/kxobjs_vectors.h"
#include "support/leak_check.h"
#include "support/stderr_tap.h"

namespace {

using bytes_t = std::vector<unsigned char>;
using qb_test::LeakChecked, qb_test::expect_cert_v3, qb_test::expect_list_v5, qb_test::kCert, qb_test::kCertV3,
      qb_test::kInt, qb_test::kList, qb_test::kListV5, qb_test::malloc_text;


// A sweep that has not completed after this many failing runs is broken.
constexpr long kSweepLimit = 2000;

// ---- leak check per test ----


class QbasnEncodeObjOutOfMemory : public LeakChecked {};
class QbasnDecodeObjOutOfMemory : public LeakChecked {};
class QbAsnKxobjUpdateListTOutOfMemory : public LeakChecked {};
class QbasnObjFreeBlocks : public LeakChecked {};
class QbAsnBufferCopyBlocks : public LeakChecked {};

// ---- running a call with one allocation failed ----

// reference: what the record class does by hand with the (n+1)-th allocation failed.
struct reference {
    bool injected = false;
    bool threw = false;
    int rc = 0;
    std::string line;  // the line a boundary prints for the exception, when one came
};

template <class F>
reference run_reference(long n, F&& f) {
    reference r;
    try {
        qb_test::fail_nth(n, r.injected, [&] { r.rc = f(); });
    } catch (const qb_asn_exception& e) {
        r.threw = true;
        r.rc = static_cast<int>(e.code);
        r.line = qb_test::exception_line(e.message, e.code, e.file, e.line);
    }
    return r;
}

// actual: the entry point with the (n+1)-th allocation failed, its stderr captured.
struct actual {
    bool injected = false;
    int rc = 0;
    std::string err;
};

template <class F>
actual run_entry(long n, F&& f) {
    actual a;
    testing::internal::CaptureStderr();
    qb_test::fail_nth(n, a.injected, [&] { a.rc = f(); });
    a.err = testing::internal::GetCapturedStderr();
    return a;
}

// The lines a memory failure on these paths may print.
const std::regex kMemoryLine(
    "Exception: (Out of memory in buffer_t::extend|Out of memory in asn_composite::register_child|"
    "Out of memory in asn_sequenceof:decode_value|Out of memory get_strvalue\\(\\)|"
    "Out of memory get_obj_body\\(\\)|ASN: Out of memory) "
    "\\[10652065\\] in (asn1/asnbase|asn1/asnutils|asn1/asn_kxobjs) at line [1-9][0-9]*\n");

// compare: the entry point behaved like the record class, as a boundary must.
void compare(const reference& ref, const actual& act) {
    EXPECT_EQ(act.injected, ref.injected) << "the entry point and the record class allocate differently";
    if (!act.injected) return;
    EXPECT_EQ(act.rc, 0x10652065) << "an allocation failure must give 0x10652065";
    EXPECT_EQ(act.rc, ref.rc);
    if (ref.threw) {
        EXPECT_EQ(act.err, ref.line);
        EXPECT_TRUE(std::regex_match(act.err, kMemoryLine)) << act.err;
    } else {
        EXPECT_EQ(act.err, "") << "a status without an exception prints nothing";
    }
}

// ---- the untyped path through the object tree ----
//
// The untyped entry points encode and decode without the object tree; these
// sweeps pin the allocations of the record classes themselves, so they run
// the tree the way the entry points once did: the record class (or a bare
// qb_asn_integer for type 262) on the stack, set_value and saveEncoding, or
// loadObject and get_value, with the boundary's report of an exception.
// (tests/base_idls/records_direct_test.cpp sweeps the direct path.)

template <class F>
int tree_boundary(F&& f) {
    try {
        return f();
    } catch (const qb_asn_exception& e) {
        std::fputs(qb_test::exception_line(e.message, e.code, e.file, e.line).c_str(), stderr);
        return static_cast<int>(e.code);
    }
}

template <class Rec, class Flat>
int tree_record(bool encode, int version, Flat& flat, qb_asn_buffer_t& buf) {
    Rec rec(security_off);
    if (encode) {
        const int rc = rec.set_value(flat);
        if (rc != 0) return rc;
        return static_cast<int>(qb_asnbase::saveEncoding(rec, version, buf));
    }
    const unsigned int rc = qb_asnbase::loadObject(rec, version, buf);
    if (rc != 0) return static_cast<int>(rc);
    return rec.get_value(flat);
}

int tree_obj(bool encode, int version, void* record, unsigned int type, qb_asn_buffer_t& buf) {
    return tree_boundary([&]() -> int {
        if (type == kCert) return tree_record<qb_asn_cert_request_in>(encode, version, *static_cast<cert_request_in*>(record), buf);
        if (type == kList)
            return tree_record<qb_asn_kxobj_update_list_t>(encode, version, *static_cast<kxobj_update_list_s_t*>(record), buf);
        int& value = *static_cast<int*>(record);
        qb_asn_integer number(security_off);
        if (encode) {
            (void)number.set_value(static_cast<long>(value));
            return static_cast<int>(qb_asnbase::saveEncoding(number, version, buf));
        }
        const unsigned int rc = qb_asnbase::loadObject(number, version, buf);
        if (rc != 0) return static_cast<int>(rc);
        long read = 0;
        const unsigned int got = number.get_value(read);
        if (got == 0) value = static_cast<int>(read);
        return static_cast<int>(got);
    });
}

int tree_encode_obj(int version, void* record, unsigned int type, qb_asn_buffer_t& out) {
    return tree_obj(true, version, record, type, out);
}

int tree_decode_obj(int version, qb_asn_buffer_t& in, unsigned int type, void* record) {
    return tree_obj(false, version, record, type, in);
}

// ---- the sweeps ----

// sweep_encode: fails each allocation of tree_encode_obj(version, flat,
// type) in turn; the completed call must give `expected`. Returns the number
// of failing runs.
template <class Rec, class Flat>
long sweep_encode(unsigned int type, int version, Flat& flat, const char* expected) {
    for (long n = 0; n < kSweepLimit; ++n) {
        SCOPED_TRACE(::testing::Message() << "allocation #" << n + 1 << " failed");
        const reference ref = run_reference(n, [&] {
            Rec rec(security_off);
            int rc = rec.set_value(flat);
            if (rc != 0) return rc;
            qb_asn_buffer_t out = {0, nullptr};
            rc = static_cast<int>(qb_asnbase::saveEncoding(rec, version, out));
            qb_asn_buffer_free(out);
            return rc;
        });
        qb_asn_buffer_t out = {0, nullptr};
        const actual act = run_entry(n, [&] { return tree_encode_obj(version, &flat, type, out); });
        compare(ref, act);
        if (!act.injected) {
            EXPECT_EQ(act.rc, 0);
            EXPECT_EQ(act.err, "");
            if (act.rc == 0) {
                EXPECT_EQ(bytes_t(out.data, out.data + out.length), hex(expected));
            }
            qb_asn_buffer_free(out);
            return n;
        }
        EXPECT_EQ(out.length, 0U) << "a failed encode leaves out untouched";
        EXPECT_EQ(out.data, nullptr);
        if (::testing::Test::HasFailure()) return n;
    }
    ADD_FAILURE() << "the call never completed";
    return kSweepLimit;
}

// sweep_decode: fails each allocation of tree_decode_obj(version, bytes,
// type) in turn; every record, whatever the status, goes through
// qbasn_obj_free (the leak check follows). `check` inspects the record of the
// completed call. Returns the number of failing runs.
template <class Rec, class Flat, class Check>
long sweep_decode(unsigned int type, int version, const char* bytes, Check check) {
    const bytes_t block = hex(bytes);
    for (long n = 0; n < kSweepLimit; ++n) {
        SCOPED_TRACE(::testing::Message() << "allocation #" << n + 1 << " failed");
        Flat by_hand{};
        bytes_t by_hand_copy = block;  // made before the guard: the test's own allocations must not fail
        qb_asn_buffer_t by_hand_in = {static_cast<unsigned int>(by_hand_copy.size()), by_hand_copy.data()};
        const reference ref = run_reference(n, [&] {
            Rec rec(security_off);
            const int rc = static_cast<int>(qb_asnbase::loadObject(rec, version, by_hand_in));
            if (rc != 0) return rc;
            return rec.get_value(by_hand);
        });
        Rec::free_obj(by_hand);

        Flat r{};
        bytes_t copy = block;
        qb_asn_buffer_t in = {static_cast<unsigned int>(copy.size()), copy.data()};
        const actual act = run_entry(n, [&] { return tree_decode_obj(version, in, type, &r); });
        compare(ref, act);
        if (!act.injected) {
            EXPECT_EQ(act.rc, 0);
            EXPECT_EQ(act.err, "");
            if (act.rc == 0) check(r);
        }
        EXPECT_EQ(qbasn_obj_free(version, type, &r), 0);
        if (!act.injected) return n;
        if (::testing::Test::HasFailure()) return n;
    }
    ADD_FAILURE() << "the call never completed";
    return kSweepLimit;
}

// ---- vectors ----

// The same list, segmented and with indefinite lengths.
constexpr const char* kSegmentedListV5 =
    "04 05 AC DC 30 80  02 01 01  30 80"
    "  30 80 02 01 01 02 01 05 24 80 04 01 78 04 01 00 00 00 02 01 FF 00 00"
    "  30 0D 02 01 01 02 02 00 80 04 01 00 02 01 00"
    "  00 00  00 00";

// ==== encode ====

TEST_F(QbasnEncodeObjOutOfMemory, update_list_every_allocation) {
    kxobj_update_s_t items[2] = {{5, const_cast<char*>("x"), -1}, {128, nullptr, 0}};
    kxobj_update_list_s_t flat = {2, items};
    const long runs = sweep_encode<qb_asn_kxobj_update_list_t>(kList, 5, flat, kListV5);
    EXPECT_GT(runs, 2);  // elements, member values and the output buffer all allocate
}

TEST_F(QbasnEncodeObjOutOfMemory, cert_request_every_allocation) {
    unsigned char body[2] = {0x01, 0x02};
    cert_request_in flat = {const_cast<char*>("a"), const_cast<char*>("bc"), 2, body};
    EXPECT_GT((sweep_encode<qb_asn_cert_request_in>(kCert, 3, flat, kCertV3)), 0);
}

TEST_F(QbasnEncodeObjOutOfMemory, integer_every_allocation) {
    int x = 0;
    long runs = 0;
    for (long n = 0; n < kSweepLimit; ++n, ++runs) {
        SCOPED_TRACE(::testing::Message() << "allocation #" << n + 1 << " failed");
        const reference ref = run_reference(n, [&] {
            qb_asn_integer number(security_off);
            number.set_value(0L);
            qb_asn_buffer_t out = {0, nullptr};
            const int rc = static_cast<int>(qb_asnbase::saveEncoding(number, 7, out));
            qb_asn_buffer_free(out);
            return rc;
        });
        qb_asn_buffer_t out = {0, nullptr};
        const actual act = run_entry(n, [&] { return tree_encode_obj(7, &x, kInt, out); });
        compare(ref, act);
        if (!act.injected) {
            EXPECT_EQ(act.rc, 0);
            EXPECT_EQ(bytes_t(out.data, out.data + out.length), hex("04 07 AC DC 02 01 00"));
            qb_asn_buffer_free(out);
            break;
        }
        EXPECT_EQ(out.data, nullptr);
        if (HasFailure()) break;
    }
    EXPECT_GT(runs, 0);
}

TEST_F(QbasnEncodeObjOutOfMemory, output_growth_failure_prints_the_extend_line) {
    // Find the encode's failure that hits the growth of a byte buffer and
    // check its line in full: message, code as eight hex digits, file, line.
    kxobj_update_s_t items[1] = {{1, const_cast<char*>("a"), 2}};
    kxobj_update_list_s_t flat = {1, items};
    bool seen = false;
    for (long n = 0; n < kSweepLimit && !seen; ++n) {
        qb_asn_buffer_t out = {0, nullptr};
        const actual act = run_entry(n, [&] { return tree_encode_obj(2, &flat, kList, out); });
        if (!act.injected) {
            qb_asn_buffer_free(out);
            break;
        }
        if (act.err.find("buffer_t::extend") != std::string::npos) {
            seen = true;
            EXPECT_EQ(act.rc, 0x10652065);
            EXPECT_TRUE(std::regex_match(
                act.err, std::regex("Exception: Out of memory in buffer_t::extend \\[10652065\\] in asn1/asnbase "
                                    "at line [1-9][0-9]*\n")))
                << act.err;
            EXPECT_EQ(out.data, nullptr);
        }
    }
    EXPECT_TRUE(seen);
}

TEST_F(QbasnEncodeObjOutOfMemory, element_append_failure_prints_nothing) {
    // A list element that cannot be created or appended is a status of
    // set_value: the call returns 0x10652065 without an exception line.
    kxobj_update_s_t items[2] = {{1, const_cast<char*>("a"), 2}, {3, const_cast<char*>("b"), 4}};
    kxobj_update_list_s_t flat = {2, items};
    long silent = 0;
    for (long n = 0; n < kSweepLimit; ++n) {
        qb_asn_buffer_t out = {0, nullptr};
        const actual act = run_entry(n, [&] { return tree_encode_obj(2, &flat, kList, out); });
        if (!act.injected) {
            qb_asn_buffer_free(out);
            break;
        }
        EXPECT_EQ(act.rc, 0x10652065);
        if (act.err.empty()) ++silent;
    }
    // Three allocations fail silently: the two element objects and the
    // list's child array that the first append grows.
    EXPECT_EQ(silent, 3);
}

// ==== decode ====

TEST_F(QbasnDecodeObjOutOfMemory, update_list_every_allocation) {
    const long runs = sweep_decode<qb_asn_kxobj_update_list_t, kxobj_update_list_s_t>(kList, 5, kListV5, expect_list_v5);
    EXPECT_GT(runs, 4);  // elements, texts and the item array all allocate
}

TEST_F(QbasnDecodeObjOutOfMemory, segmented_update_list_every_allocation) {
    EXPECT_GT((sweep_decode<qb_asn_kxobj_update_list_t, kxobj_update_list_s_t>(kList, 5, kSegmentedListV5, expect_list_v5)),
              4);
}

TEST_F(QbasnDecodeObjOutOfMemory, cert_request_every_allocation) {
    EXPECT_GT((sweep_decode<qb_asn_cert_request_in, cert_request_in>(kCert, 3, kCertV3, expect_cert_v3)), 2);
}

TEST_F(QbasnDecodeObjOutOfMemory, integer_every_allocation) {
    long runs = 0;
    for (long n = 0; n < kSweepLimit; ++n, ++runs) {
        SCOPED_TRACE(::testing::Message() << "allocation #" << n + 1 << " failed");
        bytes_t block = hex("04 07 AC DC 02 02 01 00");
        qb_asn_buffer_t in = {static_cast<unsigned int>(block.size()), block.data()};
        const reference ref = run_reference(n, [&] {
            qb_asn_integer number(security_off);
            return static_cast<int>(qb_asnbase::loadObject(number, 7, in));
        });
        int y = 99;
        const actual act = run_entry(n, [&] { return tree_decode_obj(7, in, kInt, &y); });
        compare(ref, act);
        if (!act.injected) {
            EXPECT_EQ(act.rc, 0);
            EXPECT_EQ(y, 256);
            break;
        }
        EXPECT_EQ(y, 99) << "a failed decode leaves the int alone";
        if (HasFailure()) break;
    }
    EXPECT_GT(runs, 0);
}

// expect_site_failure: fails the allocations of decoding `block_hex` as
// `type` under `version` one by one, into a zeroed Flat, until a failure's
// standard-error line names `site`; that failure must give 0x10652065, its
// line must match `line_pattern`, and `check` must pass on the record as
// far as it was read. Every record goes back through qbasn_obj_free.
template <class Flat, class Check>
void expect_site_failure(int version, unsigned int type, const char* block_hex, const char* site,
                         const char* line_pattern, Check check) {
    bool seen = false;
    for (long n = 0; n < kSweepLimit && !seen; ++n) {
        Flat r = {};
        bytes_t block = hex(block_hex);
        qb_asn_buffer_t in = {static_cast<unsigned int>(block.size()), block.data()};
        const actual act = run_entry(n, [&] { return tree_decode_obj(version, in, type, &r); });
        if (!act.injected) break;
        if (act.err.find(site) != std::string::npos) {
            seen = true;
            EXPECT_EQ(act.rc, 0x10652065);
            EXPECT_TRUE(std::regex_match(act.err, std::regex(line_pattern))) << act.err;
            check(r);
        }
        EXPECT_EQ(qbasn_obj_free(version, type, &r), 0);
    }
    EXPECT_TRUE(seen) << "no failure named " << site;
}

TEST_F(QbasnDecodeObjOutOfMemory, text_failure_prints_the_strvalue_line) {
    // Find the decode's first allocation made while copying a text out, and
    // fail exactly that one: the line names qb_get_strvalue's file.
    expect_site_failure<kxobj_update_list_s_t>(
        5, kList, kListV5, "get_strvalue",
        "Exception: Out of memory get_strvalue\\(\\) \\[10652065\\] in asn1/asnutils at line [1-9][0-9]*\n",
        [](const kxobj_update_list_s_t& r) {
            // The list was counted and allocated before its elements were read.
            EXPECT_EQ(r.count, 2U);
            EXPECT_NE(r.items, nullptr);
        });
}

TEST_F(QbasnDecodeObjOutOfMemory, body_failure_prints_the_obj_body_line) {
    expect_site_failure<cert_request_in>(
        3, kCert, kCertV3, "get_obj_body",
        "Exception: Out of memory get_obj_body\\(\\) \\[10652065\\] in asn1/asn_kxobjs at line [1-9][0-9]*\n",
        [](const cert_request_in& r) {
            // Both texts were read before the body; the body stays null with length 0.
            EXPECT_STREQ(r.text_a, "a");
            EXPECT_STREQ(r.text_b, "bc");
            EXPECT_EQ(r.body, nullptr);
            EXPECT_EQ(r.body_len, 0U);
        });
}

// ==== the record classes ====

TEST_F(QbAsnKxobjUpdateListTOutOfMemory, count_is_set_before_the_item_array_quirk) {
    kxobj_update_s_t items[2] = {{1, const_cast<char*>("a"), 2}, {3, const_cast<char*>("b"), 4}};
    kxobj_update_list_s_t in = {2, items};
    qb_asn_kxobj_update_list_t rec(security_off);
    ASSERT_EQ(rec.set_value(in), 0);

    kxobj_update_list_s_t r = {};
    int rc = 0;
    bool injected = false;
    // get_value's first allocation: the item array
    qb_test::fail_nth(0, injected, [&] { rc = rec.get_value(r); });
    EXPECT_TRUE(injected);
    EXPECT_EQ(rc, 0x10652065);  // returned, not thrown
    EXPECT_EQ(r.count, 2U);     // the number of elements, although none was read
    EXPECT_EQ(r.items, nullptr);
    qb_asn_kxobj_update_list_t::free_obj(r);  // skips the null array
}

TEST_F(QbAsnKxobjUpdateListTOutOfMemory, append_failure_returns_status_and_destroys_the_element) {
    kxobj_update_s_t items[2] = {{1, const_cast<char*>("a"), 2}, {3, const_cast<char*>("b"), 4}};
    kxobj_update_list_s_t in = {2, items};
    qb_asn_kxobj_update_list_t rec(security_off);
    int rc = 0;
    bool injected = false;
    // set_value's first allocation: the first element
    qb_test::fail_nth(0, injected, [&] { rc = rec.set_value(in); });
    EXPECT_TRUE(injected);
    EXPECT_EQ(rc, 0x10652065);
    EXPECT_EQ(rec.items.get_child_count(), 0U);
}

TEST_F(QbAsnKxobjUpdateListTOutOfMemory, set_value_every_allocation_returns_or_throws_memory) {
    kxobj_update_s_t items[3] = {{1, const_cast<char*>("a"), 2}, {3, nullptr, 4}, {5, const_cast<char*>("cc"), 6}};
    kxobj_update_list_s_t in = {3, items};
    for (long n = 0; n < kSweepLimit; ++n) {
        SCOPED_TRACE(::testing::Message() << "allocation #" << n + 1 << " failed");
        qb_asn_kxobj_update_list_t rec(security_off);
        const reference ref = run_reference(n, [&] { return rec.set_value(in); });
        if (!ref.injected) {
            EXPECT_EQ(ref.rc, 0);
            EXPECT_EQ(rec.items.get_child_count(), 3U);
            break;
        }
        EXPECT_EQ(ref.rc, 0x10652065);
        EXPECT_LE(rec.items.get_child_count(), 3U);
        if (HasFailure()) break;
    }
}

// ==== what the free functions release ====

TEST_F(QbasnObjFreeBlocks, cert_request_frees_body_by_length_not_pointer_quirk) {
    char* a = malloc_text("a");
    char* b = malloc_text("b");
    auto* body = static_cast<unsigned char*>(std::malloc(4));
    cert_request_in r = {a, b, 0, body};
    std::vector<void*> freed;
    {
        qb_test::record_allocations log;
        EXPECT_EQ(qbasn_obj_free(2, kCert, &r), 0);
        freed = log.freed();
    }
    EXPECT_EQ(freed, (std::vector<void*>{a, b}));  // body_len 0: the body is left alone
    std::free(body);

    a = malloc_text("a");
    b = malloc_text("b");
    body = static_cast<unsigned char*>(std::malloc(4));
    r = {a, b, 4, body};
    {
        qb_test::record_allocations log;
        EXPECT_EQ(qbasn_obj_free(2, kCert, &r), 0);
        freed = log.freed();
    }
    EXPECT_EQ(freed, (std::vector<void*>{a, b, body}));
}

TEST_F(QbasnObjFreeBlocks, update_list_frees_texts_then_the_array) {
    auto* items = static_cast<kxobj_update_s_t*>(std::malloc(3 * sizeof(kxobj_update_s_t)));
    char* t0 = malloc_text("x");
    char* t2 = malloc_text("yz");
    items[0] = {1, t0, 2};
    items[1] = {3, nullptr, 4};
    items[2] = {5, t2, 6};
    kxobj_update_list_s_t r = {3, items};
    std::vector<void*> freed;
    {
        qb_test::record_allocations log;
        EXPECT_EQ(qbasn_obj_free(2, kList, &r), 0);
        freed = log.freed();
    }
    EXPECT_EQ(freed, (std::vector<void*>{t0, t2, items}));
}

TEST_F(QbasnObjFreeBlocks, integer_frees_nothing) {
    int x = 5;
    std::vector<void*> freed;
    std::vector<std::size_t> sizes;
    {
        qb_test::record_allocations log;
        EXPECT_EQ(qbasn_obj_free(2, kInt, &x), 0);
        freed = log.freed();
        sizes = log.sizes();
    }
    EXPECT_TRUE(freed.empty());
    EXPECT_TRUE(sizes.empty());
}

TEST_F(QbAsnBufferCopyBlocks, empty_buffer_copies_without_allocating) {
    unsigned char byte = 1;
    const qb_asn_buffer_t empties[] = {{0, &byte}, {0, nullptr}, {5, nullptr}};
    for (const qb_asn_buffer_t& from : empties) {
        qb_asn_buffer_t to = {9, &byte};
        unsigned int status = 77;
        std::vector<std::size_t> sizes;
        {
            qb_test::record_allocations log;
            qb_asn_buffer_copy(from, to, status);
            sizes = log.sizes();
        }
        EXPECT_TRUE(sizes.empty());
        EXPECT_EQ(to.length, 0U);
        EXPECT_EQ(to.data, nullptr);
        EXPECT_EQ(status, 0U);
    }
}

}  // namespace
