// tests/asn1/buffer_test.cpp - allocator hooks, read views, the growable write
// buffer, the decimal writers, check_EOC and the flat-API byte buffer.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

#include "asn1/asn1.h"
#include "asn1/asnbase.h"
#include "support/buffers.h"
#include "support/frames.h"
#include "support/hex.h"

namespace {

// ---- hook fixtures ----

// What the hooks saw. Reset by every test that uses them.
struct AllocatorLog {
    int malloc_calls = 0;
    int free_calls = 0;
    int realloc_calls = 0;
    int calloc_calls = 0;
    int ctx_malloc_calls = 0;
    int ctx_free_calls = 0;
    int ctx_realloc_calls = 0;
    int ctx_calloc_calls = 0;
    void* last_ctx = nullptr;
    void* last_ptr = nullptr;
    size_t last_size = 0;
    size_t last_count = 0;
    std::vector<void*> realloc_inputs;
    std::vector<void*> freed;
    // Failure injection: allocation hooks return null while set.
    bool fail = false;
    // When nonzero, the free hooks check that this many bytes of the block
    // being released are all zero (the wipe before release).
    size_t wipe_check = 0;
    int wipe_checked = 0;
    int wipe_dirty = 0;
};

AllocatorLog g_log;

void check_wiped(void* p) {
    if (g_log.wipe_check == 0 || p == nullptr) return;
    ++g_log.wipe_checked;
    const auto* b = static_cast<const unsigned char*>(p);
    for (size_t i = 0; i < g_log.wipe_check; ++i)
        if (b[i] != 0) {
            ++g_log.wipe_dirty;
            return;
        }
}

// Counting hooks that delegate to the standard functions.
void* plain_malloc(size_t n) {
    ++g_log.malloc_calls;
    g_log.last_size = n;
    return g_log.fail ? nullptr : std::malloc(n);
}
void plain_free(void* p) {
    ++g_log.free_calls;
    g_log.last_ptr = p;
    g_log.freed.push_back(p);
    check_wiped(p);
    std::free(p);
}
void* plain_realloc(void* p, size_t n) {
    ++g_log.realloc_calls;
    g_log.last_size = n;
    g_log.realloc_inputs.push_back(p);
    return g_log.fail ? nullptr : std::realloc(p, n);
}
void* plain_calloc(size_t c, size_t n) {
    ++g_log.calloc_calls;
    g_log.last_count = c;
    g_log.last_size = n;
    return g_log.fail ? nullptr : std::calloc(c, n);
}
void* ctx_malloc(void* ctx, size_t n) {
    ++g_log.ctx_malloc_calls;
    g_log.last_ctx = ctx;
    g_log.last_size = n;
    return g_log.fail ? nullptr : std::malloc(n);
}
void ctx_free(void* ctx, void* p) {
    ++g_log.ctx_free_calls;
    g_log.last_ctx = ctx;
    g_log.last_ptr = p;
    g_log.freed.push_back(p);
    check_wiped(p);
    std::free(p);
}
void* ctx_realloc(void* ctx, void* p, size_t n) {
    ++g_log.ctx_realloc_calls;
    g_log.last_ctx = ctx;
    g_log.last_size = n;
    g_log.realloc_inputs.push_back(p);
    return g_log.fail ? nullptr : std::realloc(p, n);
}
void* ctx_calloc(void* ctx, size_t c, size_t n) {
    ++g_log.ctx_calloc_calls;
    g_log.last_ctx = ctx;
    g_log.last_count = c;
    g_log.last_size = n;
    return g_log.fail ? nullptr : std::calloc(c, n);
}

// Hooks that allocate nothing and hand back a fixed address, to see that
// results pass through unchanged.
unsigned char g_fixed_block[8];
void* fixed_malloc(size_t n) {
    ++g_log.malloc_calls;
    g_log.last_size = n;
    return g_fixed_block;
}
void fixed_free(void* p) {
    ++g_log.free_calls;
    g_log.last_ptr = p;
}
void* fixed_realloc(void* p, size_t n) {
    ++g_log.realloc_calls;
    g_log.last_ptr = p;
    g_log.last_size = n;
    return g_fixed_block + 1;
}
void* fixed_calloc(size_t c, size_t n) {
    ++g_log.calloc_calls;
    g_log.last_count = c;
    g_log.last_size = n;
    return g_fixed_block + 2;
}
void* null_malloc(size_t) { return nullptr; }

qb_memory_funcs_t plain_hooks() {
    return qb_test::with_plain_hooks(plain_malloc, plain_free, plain_realloc, plain_calloc);
}

qb_memory_funcs_t context_hooks(void* ctx) {
    return {.use_plain_hooks = 0, .malloc_hook = nullptr, .free_hook = nullptr, .realloc_hook = nullptr,
            .calloc_hook = nullptr, .use_context_hooks = 1, .ctx_malloc_hook = ctx_malloc,
            .ctx_free_hook = ctx_free, .ctx_realloc_hook = ctx_realloc, .ctx_calloc_hook = ctx_calloc,
            .hook_context = ctx};
}

qb_memory_funcs_t both_hooks(void* ctx) {
    return qb_test::with_plain_hooks(plain_malloc, plain_free, plain_realloc, plain_calloc, context_hooks(ctx));
}

int total_plain_calls() {
    return g_log.malloc_calls + g_log.free_calls + g_log.realloc_calls + g_log.calloc_calls;
}
int total_ctx_calls() {
    return g_log.ctx_malloc_calls + g_log.ctx_free_calls + g_log.ctx_realloc_calls +
           g_log.ctx_calloc_calls;
}

bool same_funcs(const qb_memory_funcs_t& a, const qb_memory_funcs_t& b) {
    return a.use_plain_hooks == b.use_plain_hooks && a.malloc_hook == b.malloc_hook &&
           a.free_hook == b.free_hook && a.realloc_hook == b.realloc_hook &&
           a.calloc_hook == b.calloc_hook && a.use_context_hooks == b.use_context_hooks &&
           a.ctx_malloc_hook == b.ctx_malloc_hook && a.ctx_free_hook == b.ctx_free_hook &&
           a.ctx_realloc_hook == b.ctx_realloc_hook && a.ctx_calloc_hook == b.ctx_calloc_hook &&
           a.hook_context == b.hook_context;
}

bool all_zero_funcs(const qb_memory_funcs_t& a) {
    qb_memory_funcs_t z{};
    return same_funcs(a, z);
}

// rest_of: the bytes a buffer or view holds from its cursor.
using qb_test::rest_of;

// A buffer keeps its inherited view fields in step with its block.
void expect_view_in_step(const qb_buffer_t& b, unsigned int used) {
    EXPECT_EQ(b.data, b.origin);
    EXPECT_EQ(b.capacity, b.origin_length);
    EXPECT_EQ(b.data, b.cursor);
    EXPECT_EQ(used, b.remaining);
}

// Calls each of f's four functions: malloc, realloc, free, calloc, free.
void call_each_function(const qb_memory_funcs_t& f, size_t calloc_count, size_t calloc_size) {
    void* p = f.malloc(8);
    ASSERT_NE(nullptr, p);
    p = f.realloc(p, 16);
    ASSERT_NE(nullptr, p);
    f.free(p);
    void* q = f.calloc(calloc_count, calloc_size);
    ASSERT_NE(nullptr, q);
    f.free(q);
}

// One block was released through the free hook and checked for the wipe;
// `dirty` of them (0 or 1) were not all zero.
void expect_one_checked_release(int dirty) {
    EXPECT_EQ(1, g_log.free_calls);
    EXPECT_EQ(1, g_log.wipe_checked);
    EXPECT_EQ(dirty, g_log.wipe_dirty);
}

// A view that stands at the start of the `len` octets at `p` with the given filler.
void expect_fresh_view(const qb_r_buffer_t& r, const unsigned char* p, unsigned int len, unsigned char filler) {
    EXPECT_EQ(p, r.origin);
    EXPECT_EQ(len, r.origin_length);
    EXPECT_EQ(p, r.cursor);
    EXPECT_EQ(len, r.remaining);
    EXPECT_EQ(filler, r.filler);
}

// A buffer built with a size: its block of `capacity` octets, nothing written yet.
void expect_sized_buffer(const qb_buffer_t& b, unsigned int capacity, security_t security,
                         const qb_memory_funcs_t& funcs) {
    EXPECT_EQ(capacity, b.capacity);
    EXPECT_EQ(security, b.security);
    EXPECT_TRUE(same_funcs(funcs, b.memory));
    expect_view_in_step(b, 0);
}

// Runs f, which must throw the buffer's out-of-memory exception.
template <class F>
void expect_extend_oom(F f) {
    try {
        f();
        ADD_FAILURE() << "no exception thrown";
    } catch (const qb_asn_memexception& e) {
        EXPECT_EQ(0x10652065u, e.code);
        EXPECT_STREQ("Out of memory in buffer_t::extend", e.message);
        EXPECT_STREQ("asn1/asnbase", e.file);
        EXPECT_GT(e.line, 0);
    }
}

class HookTest : public ::testing::Test {
protected:
    void SetUp() override { g_log = AllocatorLog(); }
    void TearDown() override { g_log = AllocatorLog(); }
};

// A snapshot of a buffer's state, to show that a failed operation left it alone.
struct Snapshot {
    unsigned char* data;
    unsigned int capacity;
    unsigned char* origin;
    unsigned int origin_length;
    unsigned char* cursor;
    unsigned int remaining;
    std::vector<unsigned char> bytes;
    explicit Snapshot(const qb_buffer_t& b)
        : data(b.data),
          capacity(b.capacity),
          origin(b.origin),
          origin_length(b.origin_length),
          cursor(b.cursor),
          remaining(b.remaining),
          bytes(rest_of(b)) {}
    void expect_same(const qb_buffer_t& b) const {
        EXPECT_EQ(data, b.data);
        EXPECT_EQ(capacity, b.capacity);
        EXPECT_EQ(origin, b.origin);
        EXPECT_EQ(origin_length, b.origin_length);
        EXPECT_EQ(cursor, b.cursor);
        EXPECT_EQ(remaining, b.remaining);
        EXPECT_EQ(bytes, rest_of(b));
    }
};

}  // namespace

// ---- qb_memory_funcs_t ----

using MemoryFuncs = HookTest;

TEST_F(MemoryFuncs, all_zero_uses_standard_functions) {
    const qb_memory_funcs_t f{};
    auto* p = static_cast<unsigned char*>(f.malloc(16));
    ASSERT_NE(nullptr, p);
    std::memset(p, 0xAB, 16);
    p = static_cast<unsigned char*>(f.realloc(p, 64));
    ASSERT_NE(nullptr, p);
    EXPECT_EQ(0xAB, p[15]);
    f.free(p);
    auto* z = static_cast<unsigned char*>(f.calloc(4, 8));
    ASSERT_NE(nullptr, z);
    for (int i = 0; i < 32; ++i) EXPECT_EQ(0, z[i]);
    f.free(z);
    EXPECT_EQ(0, total_plain_calls());
    EXPECT_EQ(0, total_ctx_calls());
}

TEST_F(MemoryFuncs, plain_hooks_receive_arguments_and_results_pass_unchanged) {
    const qb_memory_funcs_t f = qb_test::with_plain_hooks(fixed_malloc, fixed_free, fixed_realloc, fixed_calloc);

    EXPECT_EQ(static_cast<void*>(g_fixed_block), f.malloc(33));
    EXPECT_EQ(1, g_log.malloc_calls);
    EXPECT_EQ(33u, g_log.last_size);

    EXPECT_EQ(static_cast<void*>(g_fixed_block + 1), f.realloc(g_fixed_block + 3, 77));
    EXPECT_EQ(1, g_log.realloc_calls);
    EXPECT_EQ(static_cast<void*>(g_fixed_block + 3), g_log.last_ptr);
    EXPECT_EQ(77u, g_log.last_size);

    EXPECT_EQ(static_cast<void*>(g_fixed_block + 2), f.calloc(5, 9));
    EXPECT_EQ(1, g_log.calloc_calls);
    EXPECT_EQ(5u, g_log.last_count);
    EXPECT_EQ(9u, g_log.last_size);

    f.free(g_fixed_block + 4);
    EXPECT_EQ(1, g_log.free_calls);
    EXPECT_EQ(static_cast<void*>(g_fixed_block + 4), g_log.last_ptr);
}

TEST_F(MemoryFuncs, null_from_hook_is_passed_back) {
    qb_memory_funcs_t f{};
    f.use_plain_hooks = 1;
    f.malloc_hook = null_malloc;
    EXPECT_EQ(nullptr, f.malloc(10));
}

TEST_F(MemoryFuncs, plain_hooks_take_priority_over_context_hooks) {
    int ctx = 0;
    const qb_memory_funcs_t f = both_hooks(&ctx);
    call_each_function(f, 2, 3);
    EXPECT_EQ(1, g_log.malloc_calls);
    EXPECT_EQ(1, g_log.realloc_calls);
    EXPECT_EQ(1, g_log.calloc_calls);
    EXPECT_EQ(2, g_log.free_calls);
    EXPECT_EQ(0, total_ctx_calls());
}

TEST_F(MemoryFuncs, context_hooks_get_the_context_first) {
    int ctx = 0;
    const qb_memory_funcs_t f = context_hooks(&ctx);

    void* p = f.malloc(8);
    ASSERT_NE(nullptr, p);
    EXPECT_EQ(1, g_log.ctx_malloc_calls);
    EXPECT_EQ(static_cast<void*>(&ctx), g_log.last_ctx);
    EXPECT_EQ(8u, g_log.last_size);

    g_log.last_ctx = nullptr;
    p = f.realloc(p, 40);
    ASSERT_NE(nullptr, p);
    EXPECT_EQ(1, g_log.ctx_realloc_calls);
    EXPECT_EQ(static_cast<void*>(&ctx), g_log.last_ctx);
    EXPECT_EQ(40u, g_log.last_size);

    g_log.last_ctx = nullptr;
    f.free(p);
    EXPECT_EQ(1, g_log.ctx_free_calls);
    EXPECT_EQ(static_cast<void*>(&ctx), g_log.last_ctx);
    EXPECT_EQ(p, g_log.last_ptr);

    g_log.last_ctx = nullptr;
    auto* z = static_cast<unsigned char*>(f.calloc(3, 4));
    ASSERT_NE(nullptr, z);
    EXPECT_EQ(1, g_log.ctx_calloc_calls);
    EXPECT_EQ(static_cast<void*>(&ctx), g_log.last_ctx);
    EXPECT_EQ(3u, g_log.last_count);
    EXPECT_EQ(4u, g_log.last_size);
    for (int i = 0; i < 12; ++i) EXPECT_EQ(0, z[i]);
    f.free(z);

    EXPECT_EQ(0, total_plain_calls());
}

TEST_F(MemoryFuncs, hooks_without_their_flag_are_not_called) {
    int ctx = 0;
    qb_memory_funcs_t f = both_hooks(&ctx);
    f.use_plain_hooks = 0;
    f.use_context_hooks = 0;
    call_each_function(f, 1, 1);
    EXPECT_EQ(0, total_plain_calls());
    EXPECT_EQ(0, total_ctx_calls());
}

TEST_F(MemoryFuncs, any_nonzero_flag_selects_hooks) {
    int ctx = 0;
    qb_memory_funcs_t f = both_hooks(&ctx);
    f.use_plain_hooks = 0;
    f.use_context_hooks = -7;
    f.free(f.malloc(4));
    EXPECT_EQ(1, g_log.ctx_malloc_calls);
    EXPECT_EQ(1, g_log.ctx_free_calls);

    f.use_plain_hooks = 2;
    f.free(f.malloc(4));
    EXPECT_EQ(1, g_log.malloc_calls);
    EXPECT_EQ(1, g_log.free_calls);
    EXPECT_EQ(1, g_log.ctx_malloc_calls);
}

// ---- qb_r_buffer_t ----

TEST(RBuffer, default_constructor_is_all_zero) {
    qb_r_buffer_t r;
    expect_fresh_view(r, nullptr, 0, 0);
}

TEST(RBuffer, pointer_constructor_sets_origin_and_cursor) {
    unsigned char bytes[5] = {1, 2, 3, 4, 5};
    qb_r_buffer_t r(bytes, 5);
    expect_fresh_view(r, bytes, 5, 0);
}

TEST(RBuffer, set_assigns_four_fields_and_keeps_filler) {
    unsigned char a[3] = {1, 2, 3};
    unsigned char b[7] = {9, 8, 7, 6, 5, 4, 3};
    qb_r_buffer_t r(a, 3);
    r.filler = 0x5A;
    r.cursor += 2;
    r.remaining -= 2;
    r.set(b, 7);
    expect_fresh_view(r, b, 7, 0x5A);
}

TEST(RBuffer, set_on_default_view) {
    unsigned char b[2] = {0x11, 0x22};
    qb_r_buffer_t r;
    r.set(b, 2);
    expect_fresh_view(r, b, 2, 0);
}

TEST(RBuffer, reset_returns_to_origin) {
    unsigned char a[6] = {1, 2, 3, 4, 5, 6};
    qb_r_buffer_t r(a, 6);
    r.cursor += 4;
    r.remaining -= 4;
    r.reset();
    EXPECT_EQ(a, r.cursor);
    EXPECT_EQ(6u, r.remaining);
    EXPECT_EQ(a, r.origin);
    EXPECT_EQ(6u, r.origin_length);
}

TEST(RBuffer, reset_after_set_goes_to_new_origin) {
    unsigned char a[4] = {1, 2, 3, 4};
    unsigned char b[2] = {7, 8};
    qb_r_buffer_t r(a, 4);
    r.set(b, 2);
    r.cursor += 1;
    r.remaining -= 1;
    r.reset();
    EXPECT_EQ(b, r.cursor);
    EXPECT_EQ(2u, r.remaining);
}

TEST(RBuffer, index_reads_from_cursor) {
    unsigned char a[5] = {0x10, 0x20, 0x30, 0x40, 0x50};
    qb_r_buffer_t r(a, 5);
    EXPECT_EQ(0x10, r[0]);
    EXPECT_EQ(0x50, r[4]);
    r.cursor += 2;
    r.remaining -= 2;
    EXPECT_EQ(0x30, r[0]);
    EXPECT_EQ(0x50, r[2]);
}

TEST(RBuffer, index_past_end_gives_zero_filler) {
    unsigned char a[4] = {0x10, 0x20, 0x30, 0x40};
    qb_r_buffer_t r(a, 2);  // the view ends before the array does
    EXPECT_EQ(0x20, r[1]);
    EXPECT_EQ(0x00, r[2]);
    EXPECT_EQ(0x00, r[3]);
    EXPECT_EQ(0x00, r[1000000]);
}

TEST(RBuffer, index_past_end_gives_set_filler) {
    unsigned char a[4] = {0x10, 0x20, 0x30, 0x40};
    qb_r_buffer_t r(a, 2);
    r.filler = 0x5A;
    EXPECT_EQ(0x10, r[0]);
    EXPECT_EQ(0x5A, r[2]);
    EXPECT_EQ(0x5A, r[3]);
    EXPECT_EQ(0x5A, r[0xFFFFFFFFu]);
    qb_r_buffer_t empty;
    empty.filler = 0x5A;
    EXPECT_EQ(0x5A, empty[0]);
}

TEST(RBuffer, copy_construction_keeps_filler) {
    unsigned char a[2] = {1, 2};
    qb_r_buffer_t r(a, 2);
    r.filler = 0x5A;
    const qb_r_buffer_t copy(r);
    EXPECT_EQ(0x5A, copy.filler);
    EXPECT_EQ(0x5A, copy[2]);
    EXPECT_EQ(a, copy.cursor);
    EXPECT_EQ(2u, copy.remaining);
}

TEST(RBuffer, assignment_copies_origin_length_cursor_remaining) {
    unsigned char a[6] = {1, 2, 3, 4, 5, 6};
    unsigned char b[3] = {0xAA, 0xBB, 0xCC};
    qb_r_buffer_t src(a, 6);
    src.cursor += 2;
    src.remaining -= 2;
    qb_r_buffer_t dst(b, 3);
    dst = src;
    EXPECT_EQ(a, dst.origin);
    EXPECT_EQ(6u, dst.origin_length);
    EXPECT_EQ(a + 2, dst.cursor);
    EXPECT_EQ(4u, dst.remaining);
    // Never the bytes: the array the target used to view is unchanged.
    EXPECT_EQ(hex("AA BB CC"), std::vector<unsigned char>(b, b + 3));
    EXPECT_EQ(hex("01 02 03 04 05 06"), std::vector<unsigned char>(a, a + 6));
}

TEST(RBuffer, equal_bytes_at_different_addresses_compare_equal) {
    unsigned char a[3] = {0x30, 0x01, 0x05};
    unsigned char b[3] = {0x30, 0x01, 0x05};
    const qb_r_buffer_t ra(a, 3);
    const qb_r_buffer_t rb(b, 3);
    EXPECT_TRUE(ra == rb);
    EXPECT_TRUE(rb == ra);
}

TEST(RBuffer, equality_compares_from_cursors_not_origins) {
    unsigned char a[5] = {0xEE, 0xEE, 0x01, 0x02, 0x03};
    unsigned char b[3] = {0x01, 0x02, 0x03};
    qb_r_buffer_t ra(a, 5);
    const qb_r_buffer_t rb(b, 3);
    EXPECT_FALSE(ra == rb);
    ra.cursor += 2;
    ra.remaining -= 2;
    EXPECT_TRUE(ra == rb);
}

TEST(RBuffer, different_lengths_or_bytes_compare_unequal) {
    unsigned char a[3] = {0x01, 0x02, 0x03};
    unsigned char b[3] = {0x01, 0x02, 0x04};
    EXPECT_FALSE(qb_r_buffer_t(a, 3) == qb_r_buffer_t(b, 3));
    EXPECT_FALSE(qb_r_buffer_t(a, 3) == qb_r_buffer_t(a, 2));
    EXPECT_TRUE(qb_r_buffer_t(a, 2) == qb_r_buffer_t(b, 2));
}

TEST(RBuffer, empty_views_compare_equal) {
    unsigned char a[1] = {7};
    const qb_r_buffer_t e1;
    const qb_r_buffer_t e2(a, 0);
    EXPECT_TRUE(e1 == e2);
}

// ---- qb_buffer_t: constructors ----

using Buffer = HookTest;

TEST_F(Buffer, constructor_funcs) {
    int ctx = 0;
    const qb_memory_funcs_t f = context_hooks(&ctx);
    qb_buffer_t b(f);
    EXPECT_EQ(nullptr, b.data);
    EXPECT_EQ(0u, b.capacity);
    EXPECT_EQ(security_off, b.security);
    EXPECT_TRUE(same_funcs(f, b.memory));
    EXPECT_EQ(0, b.filler);
    expect_view_in_step(b, 0);
    EXPECT_EQ(0, total_ctx_calls());
}

TEST_F(Buffer, constructor_security) {
    qb_buffer_t on(security_on);
    EXPECT_EQ(nullptr, on.data);
    EXPECT_EQ(0u, on.capacity);
    EXPECT_EQ(security_on, on.security);
    EXPECT_TRUE(all_zero_funcs(on.memory));
    EXPECT_EQ(0, on.filler);
    expect_view_in_step(on, 0);

    qb_buffer_t lcs(security_lcs);
    EXPECT_EQ(security_lcs, lcs.security);
    EXPECT_EQ(nullptr, lcs.data);
}

TEST_F(Buffer, constructor_funcs_security) {
    const qb_memory_funcs_t f = plain_hooks();
    qb_buffer_t b(f, security_on);
    EXPECT_EQ(nullptr, b.data);
    EXPECT_EQ(0u, b.capacity);
    EXPECT_EQ(security_on, b.security);
    EXPECT_TRUE(same_funcs(f, b.memory));
    expect_view_in_step(b, 0);
    EXPECT_EQ(0, total_plain_calls());
}

TEST_F(Buffer, constructor_size_security) {
    qb_buffer_t b(100u, security_on);
    ASSERT_NE(nullptr, b.data);
    expect_sized_buffer(b, 1024u, security_on, qb_memory_funcs_t{});  // chunk(0 + 100)
}

TEST_F(Buffer, constructor_size_funcs) {
    const qb_memory_funcs_t f = plain_hooks();
    qb_buffer_t b(10u, f);
    ASSERT_NE(nullptr, b.data);
    expect_sized_buffer(b, 64u, security_off, f);
    // A non-wiping buffer grows through realloc, starting from a null block.
    EXPECT_EQ(1, g_log.realloc_calls);
    ASSERT_EQ(1u, g_log.realloc_inputs.size());
    EXPECT_EQ(nullptr, g_log.realloc_inputs[0]);
    EXPECT_EQ(64u, g_log.last_size);
    EXPECT_EQ(0, g_log.malloc_calls);
}

TEST_F(Buffer, constructor_size_funcs_security) {
    const qb_memory_funcs_t f = plain_hooks();
    qb_buffer_t b(64u, f, security_on);
    ASSERT_NE(nullptr, b.data);
    expect_sized_buffer(b, 128u, security_on, f);
    // A wiping buffer allocates with malloc, never realloc.
    EXPECT_EQ(1, g_log.malloc_calls);
    EXPECT_EQ(128u, g_log.last_size);
    EXPECT_EQ(0, g_log.realloc_calls);
}

TEST_F(Buffer, constructor_size_funcs_security_off) {
    const qb_memory_funcs_t f = plain_hooks();
    qb_buffer_t b(65u, f, security_off);
    EXPECT_EQ(1024u, b.capacity);
    EXPECT_EQ(security_off, b.security);
    EXPECT_EQ(1, g_log.realloc_calls);
    EXPECT_EQ(0, g_log.malloc_calls);
}

TEST_F(Buffer, initial_size_zero_owns_64_byte_block) {
    qb_buffer_t b(0u, security_off);
    ASSERT_NE(nullptr, b.data);
    EXPECT_EQ(64u, b.capacity);
    expect_view_in_step(b, 0);
}

TEST_F(Buffer, hooks_are_copied_by_value) {
    qb_memory_funcs_t f = plain_hooks();
    {
        qb_buffer_t b(f);
        f.use_plain_hooks = 0;  // the buffer holds its own copy
        f.realloc_hook = nullptr;
        b.append(static_cast<unsigned char>(1));
        EXPECT_EQ(1, g_log.realloc_calls);
    }
    EXPECT_EQ(1, g_log.free_calls);
}

TEST_F(Buffer, context_hooks_used_for_growth_and_release) {
    int ctx = 0;
    {
        qb_buffer_t b(context_hooks(&ctx));
        b.append("abc");
        EXPECT_EQ(1, g_log.ctx_realloc_calls);
        EXPECT_EQ(static_cast<void*>(&ctx), g_log.last_ctx);
        g_log.last_ctx = nullptr;
    }
    EXPECT_EQ(1, g_log.ctx_free_calls);
    EXPECT_EQ(static_cast<void*>(&ctx), g_log.last_ctx);
    EXPECT_EQ(0, total_plain_calls());
}

TEST_F(Buffer, plain_hooks_win_inside_a_buffer) {
    int ctx = 0;
    {
        qb_buffer_t b(both_hooks(&ctx), security_on);
        b.append("abc");
        EXPECT_EQ(1, g_log.malloc_calls);
    }
    EXPECT_EQ(1, g_log.free_calls);
    EXPECT_EQ(0, total_ctx_calls());
}

// ---- qb_buffer_t: growth ----

TEST(BufferChunk, documented_values) {
    struct ChunkCase {
        unsigned int wanted, chunk;
    };
    constexpr ChunkCase kCases[] = {
        {0, 64u},      {1, 64u},      {63, 64u},     {64, 128u},    {65, 1024u},    {127, 1024u},
        {128, 1088u},  {1000, 1920u}, {1023, 1920u}, {1024, 1984u}, {1088, 2048u},
    };
    for (const ChunkCase& c : kCases) {
        SCOPED_TRACE(c.wanted);
        EXPECT_EQ(c.chunk, chunk(c.wanted));
    }
}

TEST(BufferChunk, jump_between_64_and_65_quirk) {
    EXPECT_EQ(128u, chunk(64));
    EXPECT_EQ(1024u, chunk(65));
}

TEST_F(Buffer, extend_follows_chunk_schedule) {
    // Each step grows the block by chunk(capacity + wanted).
    struct Step {
        unsigned int wanted, capacity;
    };
    constexpr Step kSteps[] = {{10, 64u}, {0, 128u}, {1, 1088u}, {1000, 3008u}};
    qb_buffer_t b(plain_hooks());
    for (const Step& s : kSteps) {
        SCOPED_TRACE(s.wanted);
        EXPECT_EQ(0u, b.extend(s.wanted));
        EXPECT_EQ(s.capacity, b.capacity);
        expect_view_in_step(b, 0);
    }
    EXPECT_EQ(4, g_log.realloc_calls);
    EXPECT_EQ(3008u, g_log.last_size);
}

TEST_F(Buffer, extend_keeps_written_bytes) {
    qb_buffer_t b(security_off);
    b.append("hello");
    EXPECT_EQ(0u, b.extend(5000));
    EXPECT_EQ(6016u, b.capacity);  // chunk(64 + 5000)
    EXPECT_EQ(hex("68 65 6C 6C 6F"), rest_of(b));
    expect_view_in_step(b, 5);
}

TEST_F(Buffer, extend_keeps_cursor_offset) {
    qb_buffer_t b(security_off);
    b.append("0123456789");
    b.cursor += 3;  // a reader consumed three bytes
    b.remaining -= 3;
    b.extend(4000);
    EXPECT_EQ(b.data + 3, b.cursor);
    EXPECT_EQ(7u, b.remaining);
    EXPECT_EQ(b.data, b.origin);
    EXPECT_EQ(b.capacity, b.origin_length);
    EXPECT_EQ(hex("33 34 35 36 37 38 39"), rest_of(b));
}

TEST_F(Buffer, wiping_extend_keeps_cursor_offset) {
    qb_buffer_t b(security_on);
    b.append("0123456789");
    b.cursor += 4;
    b.remaining -= 4;
    b.extend(4000);
    EXPECT_EQ(b.data + 4, b.cursor);
    EXPECT_EQ(hex("34 35 36 37 38 39"), rest_of(b));
}

TEST_F(Buffer, append_one_byte_to_empty_gives_128) {
    qb_buffer_t b(security_off);
    EXPECT_EQ(0u, b.append(static_cast<unsigned char>(0x41)));
    EXPECT_EQ(128u, b.capacity);
    EXPECT_EQ(hex("41"), rest_of(b));
    expect_view_in_step(b, 1);
}

TEST_F(Buffer, append_100_bytes_to_empty_gives_1024) {
    qb_buffer_t b(security_off);
    unsigned char src[100];
    for (int i = 0; i < 100; ++i) src[i] = static_cast<unsigned char>(i);
    EXPECT_EQ(0u, b.append(src, 100));
    EXPECT_EQ(1024u, b.capacity);
    EXPECT_EQ(std::vector<unsigned char>(src, src + 100), rest_of(b));
    expect_view_in_step(b, 100);
}

TEST_F(Buffer, append_byte_grows_only_when_full) {
    qb_buffer_t b(0u, plain_hooks());
    ASSERT_EQ(64u, b.capacity);
    g_log = AllocatorLog();
    for (int i = 0; i < 64; ++i) b.append(static_cast<unsigned char>(i));
    EXPECT_EQ(64u, b.capacity);
    EXPECT_EQ(0, g_log.realloc_calls);
    b.append(static_cast<unsigned char>(0xFF));
    EXPECT_EQ(1088u, b.capacity);  // chunk(64 + 64)
    EXPECT_EQ(1, g_log.realloc_calls);
    ASSERT_EQ(65u, b.remaining);
    EXPECT_EQ(0x3F, b.data[63]);
    EXPECT_EQ(0xFF, b.data[64]);
    expect_view_in_step(b, 65);
}

TEST_F(Buffer, append_bytes_fills_exactly_then_grows_by_n) {
    qb_buffer_t b(0u, plain_hooks());
    unsigned char src[64];
    std::memset(src, 0x11, sizeof src);
    b.append(src, 60);
    b.append(src, 4);
    EXPECT_EQ(64u, b.capacity);  // used + n equal to capacity: no growth
    b.append(src, 10);
    EXPECT_EQ(1024u, b.capacity);  // chunk(64 + 10)
    EXPECT_EQ(74u, b.remaining);
    expect_view_in_step(b, 74);
}

TEST_F(Buffer, append_zero_bytes_changes_nothing) {
    qb_buffer_t b(security_off);
    unsigned char x = 1;
    EXPECT_EQ(0u, b.append(&x, 0));
    EXPECT_EQ(0u, b.remaining);
    b.append("ab");
    EXPECT_EQ(0u, b.append(&x, 0));
    EXPECT_EQ(hex("61 62"), rest_of(b));
}

TEST_F(Buffer, append_text_writes_no_terminator) {
    qb_buffer_t b(security_off);
    EXPECT_EQ(0u, b.append("abc"));
    EXPECT_EQ(hex("61 62 63"), rest_of(b));
    EXPECT_EQ(0u, b.append(""));
    EXPECT_EQ(3u, b.remaining);
    b.append("de");
    EXPECT_EQ(hex("61 62 63 64 65"), rest_of(b));
}

TEST_F(Buffer, append_int_minus_five) {
    qb_buffer_t b(security_off);
    EXPECT_EQ(0u, b.append_int(-5));
    EXPECT_EQ(hex("2D 35"), rest_of(b));
}

TEST_F(Buffer, append_int_values) {
    struct Case {
        long v;
        const char* text;
    };
    const Case cases[] = {
        {0, "0"},
        {7, "7"},
        {-1, "-1"},
        {1234567, "1234567"},
        {2147483647L, "2147483647"},
        {-2147483647L - 1, "-2147483648"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        qb_buffer_t b(security_off);
        b.append_int(c.v);
        EXPECT_EQ(std::string(c.text), std::string(b.cursor, b.cursor + b.remaining));
    }
}

TEST_F(Buffer, append_int_prints_low_32_bits_signed) {
    qb_buffer_t b(security_off);
    b.append_int(static_cast<long>(0xFFFFFFFFul));
    b.append(",");
    b.append_int(static_cast<long>(0x100000005ull));
    b.append(",");
    b.append_int(static_cast<long>(0x80000000ul));
    EXPECT_EQ(std::string("-1,5,-2147483648"), std::string(b.cursor, b.cursor + b.remaining));
}

TEST_F(Buffer, append_view_appends_remaining_bytes_from_cursor) {
    unsigned char src[6] = {0x78, 0x79, 0x7A, 0x31, 0x32, 0x33};
    qb_r_buffer_t r(src, 6);
    r.cursor += 3;
    r.remaining -= 3;
    qb_buffer_t b(security_off);
    b.append("A");
    EXPECT_EQ(0u, b.append(r));
    EXPECT_EQ(hex("41 31 32 33"), rest_of(b));
}

TEST_F(Buffer, append_view_of_another_buffer) {
    qb_buffer_t a(security_off);
    a.append("xyz");
    qb_buffer_t b(security_off);
    b.append("1");
    b.append(a);
    EXPECT_EQ(hex("31 78 79 7A"), rest_of(b));
    EXPECT_EQ(hex("78 79 7A"), rest_of(a));
}

TEST_F(Buffer, append_empty_view) {
    qb_buffer_t b(security_off);
    b.append("q");
    const qb_r_buffer_t empty;
    EXPECT_EQ(0u, b.append(empty));
    EXPECT_EQ(hex("71"), rest_of(b));
}

TEST_F(Buffer, buffer_reads_back_as_a_view) {
    qb_buffer_t b(security_off);
    b.append(hex("02 01 05").data(), 3);
    unsigned char expected[3] = {0x02, 0x01, 0x05};
    EXPECT_TRUE(b == qb_r_buffer_t(expected, 3));
    const qb_r_buffer_t copy(b);
    EXPECT_EQ(b.data, copy.cursor);
    EXPECT_EQ(3u, copy.remaining);
    // Indexing stops at the used length even though the block is larger.
    b.data[3] = 0x77;
    EXPECT_EQ(0x05, b[2]);
    EXPECT_EQ(0x00, b[3]);
    // A reader handed the buffer reads exactly the bytes written.
    qb_asn_integer i(security_off);
    qb_r_buffer_t reader(b);
    EXPECT_EQ(0u, i.asnread(reader));
    EXPECT_EQ(0u, reader.remaining);
    long v = 0;
    EXPECT_EQ(0u, i.get_value(v));
    EXPECT_EQ(5, v);
}

// ---- qb_buffer_t: clear / detach / destructor ----

TEST_F(Buffer, clear_keeps_block) {
    qb_buffer_t b(plain_hooks());
    b.append("hello");
    unsigned char* const block = b.data;
    const unsigned int cap = b.capacity;
    b.cursor += 2;
    b.remaining -= 2;
    g_log = AllocatorLog();
    b.clear();
    EXPECT_EQ(block, b.data);
    EXPECT_EQ(cap, b.capacity);
    expect_view_in_step(b, 0);
    EXPECT_EQ(0, total_plain_calls());
    b.append("XY");
    EXPECT_EQ(block, b.data);
    EXPECT_EQ(hex("58 59"), rest_of(b));
}

TEST_F(Buffer, clear_without_wiping_leaves_bytes) {
    qb_buffer_t off(security_off);
    off.append("abc");
    off.clear();
    EXPECT_EQ(0x61, off.data[0]);
    EXPECT_EQ(0x63, off.data[2]);

    // Only security_on wipes: security_lcs behaves like security_off here.
    qb_buffer_t lcs(security_lcs);
    lcs.append("abc");
    lcs.clear();
    EXPECT_EQ(0x61, lcs.data[0]);
    EXPECT_EQ(0x63, lcs.data[2]);
}

TEST_F(Buffer, wiping_clear_zeroes_whole_capacity) {
    qb_buffer_t b(security_on);
    b.append("abc");
    // Bytes beyond the used length but inside the block are wiped too.
    std::memset(b.data + 3, 0xEE, b.capacity - 3);
    b.clear();
    expect_view_in_step(b, 0);
    ASSERT_EQ(64u, b.capacity);
    for (unsigned int i = 0; i < b.capacity; ++i) {
        ASSERT_EQ(0, b.data[i]) << "at " << i;
    }
}

TEST_F(Buffer, wiping_extend_never_reallocs) {
    {
        qb_buffer_t b(plain_hooks(), security_on);
        b.append(static_cast<unsigned char>(1));
        b.extend(200);
        unsigned char big[3000];
        std::memset(big, 2, sizeof big);
        b.append(big, sizeof big);
        EXPECT_EQ(0, g_log.realloc_calls);
        EXPECT_EQ(3, g_log.malloc_calls);
        EXPECT_EQ(2, g_log.free_calls);  // each old block, after the copy
    }
    EXPECT_EQ(0, g_log.realloc_calls);
    EXPECT_EQ(3, g_log.free_calls);
}

TEST_F(Buffer, lcs_buffer_grows_with_realloc) {
    qb_buffer_t b(plain_hooks(), security_lcs);
    b.append("abc");
    b.extend(500);
    EXPECT_EQ(2, g_log.realloc_calls);
    EXPECT_EQ(0, g_log.malloc_calls);
}

TEST_F(Buffer, wiping_extend_copies_whole_block_and_wipes_old_one) {
    qb_buffer_t b(plain_hooks(), security_on);
    b.append("abc");
    ASSERT_EQ(64u, b.capacity);
    // Fill the unused part of the block: the whole old block is copied.
    for (unsigned int i = 3; i < 64; ++i) b.data[i] = static_cast<unsigned char>(0x80 + i);
    const std::vector<unsigned char> old_block(b.data, b.data + 64);
    void* const old_data = b.data;
    g_log = AllocatorLog();
    g_log.wipe_check = 64;
    b.extend(10);
    EXPECT_EQ(1024u, b.capacity);  // chunk(64 + 10)
    EXPECT_EQ(1, g_log.malloc_calls);
    EXPECT_EQ(1024u, g_log.last_size);
    ASSERT_EQ(1, g_log.free_calls);
    EXPECT_EQ(old_data, g_log.freed[0]);
    EXPECT_EQ(1, g_log.wipe_checked);
    EXPECT_EQ(0, g_log.wipe_dirty);
    EXPECT_NE(old_data, static_cast<void*>(b.data));
    EXPECT_EQ(old_block, std::vector<unsigned char>(b.data, b.data + 64));
    expect_view_in_step(b, 3);
    g_log.wipe_check = 0;
}

TEST_F(Buffer, destructor_releases_through_hooks) {
    void* block = nullptr;
    {
        qb_buffer_t b(plain_hooks());
        b.append("abc");
        block = b.data;
        g_log = AllocatorLog();
    }
    ASSERT_EQ(1, g_log.free_calls);
    EXPECT_EQ(block, g_log.freed[0]);
}

TEST_F(Buffer, destructor_of_empty_buffer_releases_nothing) {
    { qb_buffer_t b(plain_hooks()); }
    EXPECT_EQ(0, g_log.free_calls);
}

TEST_F(Buffer, wiping_destructor_zeroes_block_before_release) {
    {
        qb_buffer_t b(plain_hooks(), security_on);
        b.append("secret");
        ASSERT_EQ(64u, b.capacity);
        std::memset(b.data + 6, 0xEE, b.capacity - 6);
        g_log = AllocatorLog();
        g_log.wipe_check = 64;
    }
    expect_one_checked_release(0);
}

TEST_F(Buffer, non_wiping_destructor_does_not_zero) {
    {
        qb_buffer_t b(plain_hooks(), security_off);
        b.append("secret");
        g_log = AllocatorLog();
        g_log.wipe_check = 6;
    }
    expect_one_checked_release(1);
}

TEST_F(Buffer, detach_on_empty_buffer) {
    qb_buffer_t b(plain_hooks());
    unsigned char* p = reinterpret_cast<unsigned char*>(&b);
    unsigned int n = 99;
    b.detach(p, n);
    EXPECT_EQ(nullptr, p);
    EXPECT_EQ(0u, n);
    EXPECT_EQ(nullptr, b.data);
    EXPECT_EQ(0u, b.capacity);
    expect_view_in_step(b, 0);
    EXPECT_EQ(0, total_plain_calls());
}

TEST_F(Buffer, detach_hands_over_block) {
    const qb_memory_funcs_t f = plain_hooks();
    unsigned char* p = nullptr;
    unsigned int n = 0;
    void* block = nullptr;
    {
        qb_buffer_t b(f);
        b.append("hello");
        block = b.data;
        b.detach(p, n);
        EXPECT_EQ(block, static_cast<void*>(p));
        EXPECT_EQ(5u, n);
        EXPECT_EQ(nullptr, b.data);
        EXPECT_EQ(0u, b.capacity);
        EXPECT_EQ(nullptr, b.origin);
        EXPECT_EQ(0u, b.origin_length);
        EXPECT_EQ(nullptr, b.cursor);
        EXPECT_EQ(0u, b.remaining);
        g_log = AllocatorLog();
    }
    // The buffer no longer owns the block.
    EXPECT_EQ(0, g_log.free_calls);
    ASSERT_NE(nullptr, p);
    EXPECT_EQ(hex("68 65 6C 6C 6F"), std::vector<unsigned char>(p, p + n));
    f.free(p);
    EXPECT_EQ(1, g_log.free_calls);
}

TEST_F(Buffer, detach_from_wiping_buffer_keeps_bytes) {
    unsigned char* p = nullptr;
    unsigned int n = 0;
    {
        qb_buffer_t b(security_on);
        b.append("key");
        b.detach(p, n);
    }
    ASSERT_NE(nullptr, p);
    ASSERT_EQ(3u, n);
    EXPECT_EQ(hex("6B 65 79"), std::vector<unsigned char>(p, p + n));
    std::free(p);
}

TEST_F(Buffer, buffer_is_reusable_after_detach) {
    qb_buffer_t b(security_off);
    b.append("abc");
    unsigned char* p = nullptr;
    unsigned int n = 0;
    b.detach(p, n);
    std::free(p);
    b.append(static_cast<unsigned char>(0x42));
    EXPECT_EQ(128u, b.capacity);
    EXPECT_EQ(hex("42"), rest_of(b));
    expect_view_in_step(b, 1);
}

// ---- qb_buffer_t: out of memory ----

TEST_F(Buffer, extend_out_of_memory_leaves_buffer_unchanged) {
    qb_buffer_t b(plain_hooks());
    b.append("abcdef");
    const Snapshot before(b);
    g_log.fail = true;
    expect_extend_oom([&] { b.extend(5000); });
    g_log.fail = false;
    before.expect_same(b);
}

TEST_F(Buffer, extend_out_of_memory_on_empty_buffer) {
    qb_buffer_t b(plain_hooks());
    g_log.fail = true;
    expect_extend_oom([&] { b.extend(1); });
    g_log.fail = false;
    EXPECT_EQ(nullptr, b.data);
    EXPECT_EQ(0u, b.capacity);
    expect_view_in_step(b, 0);
}

TEST_F(Buffer, wiping_extend_out_of_memory_leaves_buffer_unchanged) {
    qb_buffer_t b(plain_hooks(), security_on);
    b.append("abcdef");
    const Snapshot before(b);
    g_log = AllocatorLog();
    g_log.fail = true;
    expect_extend_oom([&] { b.extend(5000); });
    g_log.fail = false;
    before.expect_same(b);
    EXPECT_EQ(0, g_log.free_calls);  // the old block is kept, not released
}

TEST_F(Buffer, appends_out_of_memory_leave_buffer_unchanged) {
    int ctx = 0;
    qb_buffer_t b(0u, context_hooks(&ctx));
    unsigned char fill[64];
    std::memset(fill, 0x24, sizeof fill);
    b.append(fill, 64);
    ASSERT_EQ(64u, b.capacity);
    const Snapshot before(b);
    unsigned char other[6] = {1, 2, 3, 4, 5, 6};
    const qb_r_buffer_t view(other, 6);
    g_log.fail = true;
    expect_extend_oom([&] { b.append(static_cast<unsigned char>(7)); });
    before.expect_same(b);
    expect_extend_oom([&] { b.append(other, 6); });
    before.expect_same(b);
    expect_extend_oom([&] { b.append("text"); });
    before.expect_same(b);
    expect_extend_oom([&] { b.append_int(-5); });
    before.expect_same(b);
    expect_extend_oom([&] { b.append(view); });
    before.expect_same(b);
    g_log.fail = false;
}

TEST_F(Buffer, wiping_append_out_of_memory_leaves_buffer_unchanged) {
    qb_buffer_t b(plain_hooks(), security_on);
    g_log.fail = true;
    expect_extend_oom([&] { b.append(static_cast<unsigned char>(7)); });
    g_log.fail = false;
    EXPECT_EQ(nullptr, b.data);
    EXPECT_EQ(0u, b.capacity);
    expect_view_in_step(b, 0);
}

TEST_F(Buffer, sized_constructors_out_of_memory_throw) {
    g_log.fail = true;
    expect_extend_oom([] { qb_buffer_t b(10u, plain_hooks()); });
    expect_extend_oom([] { qb_buffer_t b(10u, plain_hooks(), security_on); });
    expect_extend_oom([] { qb_buffer_t b(10u, plain_hooks(), security_off); });
    g_log.fail = false;
    EXPECT_EQ(0, g_log.free_calls);
}

// ---- decimal writers ----

namespace {

// What `write` puts into a fresh buffer for each of `values` in turn; every
// call must return 0.
std::vector<unsigned char> written_by(unsigned int (*write)(qb_buffer_t&, unsigned int),
                                      std::initializer_list<unsigned int> values) {
    qb_buffer_t b(security_off);
    for (const unsigned int v : values) EXPECT_EQ(0u, write(b, v)) << "value " << v;
    return rest_of(b);
}

}  // namespace

TEST(BufferDecimal, write1d) {
    EXPECT_EQ(hex("30 39 34"), written_by(write1d, {0, 9, 4}));
}

TEST(BufferDecimal, write2d_keeps_leading_zero) {
    EXPECT_EQ(hex("30 37"), written_by(write2d, {7}));
    EXPECT_EQ(hex("30 37 30 30 39 39 31 30"), written_by(write2d, {7, 0, 99, 10}));
}

TEST(BufferDecimal, write4d_keeps_leading_zeros) {
    EXPECT_EQ(std::string("00000042999920240305"),
              qb_test::text_of(written_by(write4d, {0, 42, 9999, 2024, 305})));
}

TEST(BufferDecimal, too_large_values_write_nothing) {
    struct Case {
        const char* name;
        unsigned int (*fn)(qb_buffer_t&, unsigned int);
        unsigned int v;
    };
    const Case cases[] = {
        {"write1d 10", write1d, 10},
        {"write1d max", write1d, 0xFFFFFFFFu},
        {"write2d 100", write2d, 100},
        {"write2d max", write2d, 0xFFFFFFFFu},
        {"write4d 10000", write4d, 10000},
        {"write4d max", write4d, 0xFFFFFFFFu},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        qb_buffer_t empty(security_off);
        EXPECT_EQ(0x106521AAu, c.fn(empty, c.v));
        EXPECT_EQ(nullptr, empty.data);
        EXPECT_EQ(0u, empty.capacity);
        EXPECT_EQ(0u, empty.remaining);

        qb_buffer_t used(security_off);
        used.append("ab");
        EXPECT_EQ(0x106521AAu, c.fn(used, c.v));
        EXPECT_EQ(hex("61 62"), rest_of(used));
    }
}

// ---- check_EOC ----

TEST(CheckEoc, vectors) {
    struct Case {
        const char *name, *hex;
        unsigned int view_len;
        bool expected;
    };
    const Case cases[] = {
        {"two zeros", "00 00", 2, true},
        {"two zeros then more", "00 00 05", 3, true},
        {"one remaining zero", "00", 1, false},
        {"two zeros but view of one", "00 00", 1, false},
        {"zero then one", "00 01", 2, false},
        {"one then zero", "01 00", 2, false},
        {"other bytes", "30 03", 2, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<unsigned char> bytes = hex(c.hex);
        qb_r_buffer_t r(bytes.data(), c.view_len);
        EXPECT_EQ(c.expected, check_EOC(r));
    }
}

TEST(CheckEoc, empty_view_is_false) {
    const qb_r_buffer_t empty;
    EXPECT_FALSE(check_EOC(empty));
}

TEST(CheckEoc, looks_from_cursor) {
    unsigned char bytes[4] = {0x05, 0x00, 0x00, 0x07};
    qb_r_buffer_t r(bytes, 4);
    EXPECT_FALSE(check_EOC(r));
    r.cursor += 1;
    r.remaining -= 1;
    EXPECT_TRUE(check_EOC(r));
}

TEST(CheckEoc, on_a_write_buffer) {
    qb_buffer_t b(security_off);
    b.append(static_cast<unsigned char>(0));
    EXPECT_FALSE(check_EOC(b));
    b.append(static_cast<unsigned char>(0));
    EXPECT_TRUE(check_EOC(b));
}

// ---- qb_asn_buffer_t ----

namespace {

// qb_asn_buffer_copy of `src` into `dst` with the status preset to a
// marker; returns the status the copy left.
unsigned int asn_buffer_copy_status(const qb_asn_buffer_t& src, qb_asn_buffer_t& dst) {
    unsigned int status = 0xDEADBEEF;
    qb_asn_buffer_copy(src, dst, status);
    return status;
}

// A copy of `src` into a destination holding a stale length and address
// succeeds with an empty result.
void expect_empty_copy(const qb_asn_buffer_t& src) {
    qb_asn_buffer_t dst{9, reinterpret_cast<unsigned char*>(&dst)};
    EXPECT_EQ(0u, asn_buffer_copy_status(src, dst));
    EXPECT_EQ(0u, dst.length);
    EXPECT_EQ(nullptr, dst.data);
}

}  // namespace

TEST(AsnBuffer, copy_makes_independent_malloc_copy) {
    unsigned char src_bytes[5] = {0x68, 0x65, 0x6C, 0x6C, 0x6F};
    const qb_asn_buffer_t src{5, src_bytes};
    qb_asn_buffer_t dst{77, reinterpret_cast<unsigned char*>(&dst)};
    EXPECT_EQ(0u, asn_buffer_copy_status(src, dst));
    EXPECT_EQ(5u, dst.length);
    ASSERT_NE(nullptr, dst.data);
    EXPECT_NE(src_bytes, dst.data);
    EXPECT_EQ(hex("68 65 6C 6C 6F"), std::vector<unsigned char>(dst.data, dst.data + dst.length));
    src_bytes[0] = 0;
    EXPECT_EQ(0x68, dst.data[0]);
    // The source is not changed.
    EXPECT_EQ(5u, src.length);
    EXPECT_EQ(src_bytes, src.data);
    qb_asn_buffer_free(dst);
}

TEST(AsnBuffer, copy_of_zero_length_gives_empty) {
    unsigned char src_bytes[3] = {1, 2, 3};
    expect_empty_copy(qb_asn_buffer_t{0, src_bytes});
}

TEST(AsnBuffer, copy_of_length_five_with_null_data_gives_empty) {
    expect_empty_copy(qb_asn_buffer_t{5, nullptr});
}

TEST(AsnBuffer, copy_single_octet) {
    unsigned char one = 0x00;
    const qb_asn_buffer_t src{1, &one};
    qb_asn_buffer_t dst{0, nullptr};
    unsigned int status = 1;
    qb_asn_buffer_copy(src, dst, status);
    EXPECT_EQ(0u, status);
    ASSERT_EQ(1u, dst.length);
    ASSERT_NE(nullptr, dst.data);
    EXPECT_EQ(0x00, dst.data[0]);
    qb_asn_buffer_free(dst);
}

TEST(AsnBuffer, free_releases_data_and_leaves_fields) {
    qb_asn_buffer_t b{4, static_cast<unsigned char*>(std::malloc(4))};
    ASSERT_NE(nullptr, b.data);
    const auto address = reinterpret_cast<std::uintptr_t>(b.data);
    qb_asn_buffer_free(b);
    // The fields are not reset (the leak checker confirms the release).
    EXPECT_EQ(4u, b.length);
    EXPECT_EQ(address, reinterpret_cast<std::uintptr_t>(b.data));
}

TEST(AsnBuffer, free_of_null_data_does_nothing) {
    qb_asn_buffer_t b{12, nullptr};
    qb_asn_buffer_free(b);
    EXPECT_EQ(12u, b.length);
    EXPECT_EQ(nullptr, b.data);
}
