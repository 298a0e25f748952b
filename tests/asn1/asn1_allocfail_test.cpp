// tests/asn1/asn1_allocfail_test.cpp - the scanners and qb_asn_buffer_copy
// when malloc fails.
//
// This executable replaces malloc for the whole process (support/
// failing_malloc.h), so a chosen allocation of the library returns null.
// Each failing call must report 0x10652065, leave the cursor, the count and
// the input alone, and write only the outputs it documents. A second group
// checks which blocks the scanners request and release.

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "asn1/asn1.h"
#include "support/failing_malloc.h"
#include "support/hex.h"
#include "support/scanners.h"

namespace {

using qb_test::byte_reader, qb_test::bytes_t, qb_test::kUntouched, qb_test::marked_block, qb_test::scan_input,
      qb_test::scan_integer_bytes;

// Calls through a volatile pointer, so the compiler cannot fold or drop a
// malloc the test makes itself.
void* (*volatile g_malloc)(std::size_t) = std::malloc;
void* (*volatile g_calloc)(std::size_t, std::size_t) = std::calloc;
void* (*volatile g_realloc)(void*, std::size_t) = std::realloc;

// ---- the interposer itself ----

TEST(FailingMalloc, FailsTheChosenAllocationOnly) {
    void* before = g_malloc(16);
    EXPECT_NE(before, nullptr);
    void* first = nullptr;
    void* second = nullptr;
    void* third = nullptr;
    {
        qb_test::fail_after guard(1);
        first = g_malloc(16);   // allowed
        second = g_malloc(16);  // fails
        third = g_malloc(16);   // disarmed again
    }
    EXPECT_NE(first, nullptr);
    EXPECT_EQ(second, nullptr);
    EXPECT_NE(third, nullptr);
    std::free(before);
    std::free(first);
    std::free(third);
}

TEST(FailingMalloc, FailsCallocAndRealloc) {
    void* c = nullptr;
    {
        qb_test::fail_after guard(0);
        c = g_calloc(4, 4);
    }
    EXPECT_EQ(c, nullptr);

    void* block = g_malloc(8);
    ASSERT_NE(block, nullptr);
    void* grown = nullptr;
    {
        qb_test::fail_after guard(0);
        grown = g_realloc(block, 64);
    }
    EXPECT_EQ(grown, nullptr);
    std::free(block);  // a failed realloc leaves the block in place
}

TEST(FailingMalloc, ReachesTheLibrary) {
    // The library's own malloc call sees the failure too.
    const bytes_t b = hex("68 69");
    const qb_asn_buffer_t src{2, const_cast<unsigned char*>(b.data())};
    qb_asn_buffer_t dst{0, nullptr};
    unsigned int status = kUntouched;
    {
        qb_test::fail_after guard(0);
        qb_asn_buffer_copy(src, dst, status);
        EXPECT_FALSE(qb_test::fail_after::armed());  // the library took the failure
    }
    EXPECT_EQ(status, 0x10652065U);
}

// ---- allocation failure of each scanner ----

// scan_out_of_memory: runs `scan` over `in` with the first allocation
// failing; it must report 0x10652065 and leave the cursor and the count.
template <class Scan>
void scan_out_of_memory(scan_input& in, Scan scan) {
    unsigned int status = 0;
    {
        qb_test::fail_after guard(0);
        status = scan();
    }
    EXPECT_EQ(status, 0x10652065U);
    EXPECT_TRUE(in.moved(0));
}

TEST(ScannersOutOfMemory, IntegerBytes) {
    for (const byte_reader r : qb_test::kByteReaders) {
        SCOPED_TRACE(qb_test::reader_name(r));
        scan_input in("01 02 03");
        marked_block out;
        scan_out_of_memory(in, [&] { return scan_integer_bytes(r, &in.cur, &in.rem, 3, &out.p, &out.n); });
        EXPECT_TRUE(out.untouched());
    }
}

TEST(ScannersOutOfMemory, BitStringStoresNullResult) {
    scan_input in("03 FF");
    marked_block out;
    scan_out_of_memory(in, [&] { return qbAsnGetBitstringValue(&in.cur, &in.rem, 2, &out.p, &out.n); });
    EXPECT_EQ(out.p, nullptr);  // the null allocation result is already stored
    EXPECT_EQ(out.n, kUntouched);
    EXPECT_EQ(in.bytes(), hex("03 FF"));  // the unused bits are not cleared
}

TEST(ScannersOutOfMemory, EmptyBitStringStillAllocates) {
    // Even a bit string without octets requests a block, so its failure is seen.
    scan_input in("00");
    marked_block out;
    scan_out_of_memory(in, [&] { return qbAsnGetBitstringValue(&in.cur, &in.rem, 1, &out.p, &out.n); });
    EXPECT_EQ(out.p, nullptr);
    EXPECT_EQ(out.n, kUntouched);
}

TEST(ScannersOutOfMemory, ObjectIdentifier) {
    scan_input in("2A 86 48");
    marked_block out;
    qb_asn_buffer_t block{out.n, out.p};
    scan_out_of_memory(in, [&] { return qbAsnGetOIDValue(&in.cur, &in.rem, 3, &block); });
    EXPECT_EQ(block.length, kUntouched);
    EXPECT_EQ(block.data, &out.marker);
}

TEST(ScannersOutOfMemory, OctetString) {
    scan_input in("68 69 6A");
    marked_block out;
    scan_out_of_memory(in, [&] { return qbAsnGetOctetstringValue(&in.cur, &in.rem, 2, &out.p, &out.n); });
    EXPECT_TRUE(out.untouched());
}

TEST(ScannersOutOfMemory, CharacterStringLeavesInputUnterminated) {
    scan_input in("61 62 63 41");
    scan_out_of_memory(in, [&] { return qbAsnGetCharstringValue(&in.cur, &in.rem, 3, nullptr); });
    EXPECT_EQ(in.bytes(), hex("61 62 63 41"));
}

TEST(QbAsnBufferCopyOutOfMemory, KeepsLengthAndReportsStatus) {
    const bytes_t b = hex("01 02 03 04 05");
    const qb_asn_buffer_t src{5, const_cast<unsigned char*>(b.data())};
    unsigned char marker = 0;
    qb_asn_buffer_t dst{kUntouched, &marker};
    unsigned int status = kUntouched;
    {
        qb_test::fail_after guard(0);
        qb_asn_buffer_copy(src, dst, status);
    }
    EXPECT_EQ(status, 0x10652065U);
    EXPECT_EQ(dst.data, nullptr);
    EXPECT_EQ(dst.length, 5U);  // set before the allocation; callers test status
}

// ---- the blocks the scanners request and release ----

TEST(ScannerAllocations, CharacterStringCopyIsReleased) {
    scan_input in("61 62 63 41");
    qb_test::record_allocations rec;
    const unsigned int status = qbAsnGetCharstringValue(&in.cur, &in.rem, 3, nullptr);
    rec.stop();
    const std::vector<std::size_t> sizes = rec.sizes();
    const std::vector<void*> results = rec.results();
    const std::vector<void*> freed = rec.freed();
    EXPECT_EQ(status, 0U);
    EXPECT_EQ(sizes, (std::vector<std::size_t>{4}));  // len + 1
    ASSERT_EQ(results.size(), 1U);
    EXPECT_NE(results[0], nullptr);
    EXPECT_EQ(freed, results);  // and given back before returning
}

// handed_out: a block pointer and count a scanner writes; the block (which
// starts `back` octets before the pointer) is freed on leaving the scope.
struct handed_out {
    unsigned int back;
    unsigned char* p = nullptr;
    unsigned int n = 0;
    ~handed_out() {
        if (p != nullptr) std::free(p - back);
    }
};

TEST(ScannerAllocations, SizesRequested) {
    struct Case {
        const char* name;
        std::size_t expected;
        unsigned int (*call)(unsigned char**, unsigned int*);
    };
    // Each call reads the content 01 02 03 04 (len 4); what it got is freed
    // when the call ends (a bit string's block starts len - 1 octets before
    // the pointer it hands out).
    const Case cases[] = {
        {"integer bytes", 4,
         [](unsigned char** p, unsigned int* r) {
             handed_out out{0};
             return scan_integer_bytes(byte_reader::direct_big, p, r, 4, &out.p, &out.n);
         }},
        {"bit string", 3,
         [](unsigned char** p, unsigned int* r) {
             handed_out out{3};
             return qbAsnGetBitstringValue(p, r, 4, &out.p, &out.n);
         }},
        {"object identifier", 4,
         [](unsigned char** p, unsigned int* r) {
             qb_asn_buffer_t out{0, nullptr};
             const unsigned int s = qbAsnGetOIDValue(p, r, 4, &out);
             qb_asn_buffer_free(out);
             return s;
         }},
        {"octet string", 4,
         [](unsigned char** p, unsigned int* r) {
             handed_out out{0};
             return qbAsnGetOctetstringValue(p, r, 4, &out.p, &out.n);
         }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        scan_input in("00 02 03 04");
        qb_test::record_allocations rec;
        const unsigned int status = c.call(&in.cur, &in.rem);
        const std::vector<std::size_t> sizes = rec.sizes();
        EXPECT_EQ(status, 0U);
        ASSERT_EQ(sizes.size(), 1U);
        EXPECT_EQ(sizes[0], c.expected);
    }
}

TEST(ScannerAllocations, EmptyBitStringRequestsOneOctet) {
    // No octet to copy, yet a real block is requested: malloc(0) may return
    // null on success, which would read as a failure.
    scan_input in("00");
    unsigned char* bits = nullptr;
    unsigned int nbits = kUntouched;
    qb_test::record_allocations rec;
    const unsigned int status = qbAsnGetBitstringValue(&in.cur, &in.rem, 1, &bits, &nbits);
    const std::vector<std::size_t> sizes = rec.sizes();
    const std::vector<void*> results = rec.results();
    EXPECT_EQ(status, 0U);
    EXPECT_EQ(nbits, 0U);
    EXPECT_EQ(sizes, (std::vector<std::size_t>{1}));
    ASSERT_EQ(results.size(), 1U);
    EXPECT_EQ(bits, results[0]);  // no octet copied: *bits still at the block's start
    std::free(bits);
}

TEST(ScannerAllocations, ScannersWithoutResultsAllocateNothing) {
    bytes_t in = hex("1F 85 03 82 01 00 02 01 05");
    unsigned char* slots[2] = {in.data(), nullptr};
    unsigned int rem = static_cast<unsigned int>(in.size());
    unsigned int tag = 0, constructed = 0, cls = 0, definite = 0, len = 0;
    long value = 0;
    unsigned int status[4] = {1, 1, 1, 1};
    qb_test::record_allocations rec;
    status[0] = qbAsnGetType(slots, &rem, &tag, &constructed, &cls);
    slots[0] = slots[1];  // the multi-octet form reports its cursor in the second slot
    status[1] = qbAsnGetLength(slots, &rem, &definite, &len);
    status[2] = qbAsnGetIntegerValue(slots, &rem, 1, &value);
    status[3] = qbAsnGetNullValue(slots, &rem, 0);
    const std::vector<std::size_t> sizes = rec.sizes();
    EXPECT_TRUE(sizes.empty());
    for (const unsigned int s : status) EXPECT_EQ(s, 0U);
    EXPECT_EQ(tag, 3973U);
    EXPECT_EQ(len, 3U);  // the final tag octet 03, left unconsumed, is read as the length
    EXPECT_EQ(value, -126);
}

}  // namespace
