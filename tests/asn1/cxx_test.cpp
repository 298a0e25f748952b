// tests/asn1/cxx_test.cpp - the C++ convenience layer (qbasn/cxx.h): owners
// are move-only, release exactly what they own exactly once (on destruction,
// on reset, on move assignment), and never what they merely hold; encode and
// decode report the library's status and leak nothing when they fail, also
// when a decode stops half way through filling a record; records of a type
// chosen at run time round-trip through the reflection table; status texts.
//
// This executable replaces malloc for the whole process (support/
// failing_malloc.h): the ownership tests watch which blocks are released, and
// the allocation sweep fails a chosen allocation inside a decode. Everything
// else runs with every allocation granted. Build it once more with
// AddressSanitizer: its leak check at exit proves that no test leaks, and its
// double-free check that no owner releases a block twice.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "qbasn/cxx.h"
#include "support/failing_malloc.h"
#include "support/hex.h"
#include "support/record_test.h"

#if defined(QB_TEST_SANITIZER_MALLOC)
// The sanitizer runtime's count of bytes handed out and not yet released (not
// every compiler ships the header that declares it).
extern "C" std::size_t __sanitizer_get_current_allocated_bytes();
#endif

// ---- the owners are move-only ----

static_assert(!std::is_copy_constructible_v<qbasn::buffer>);
static_assert(!std::is_copy_assignable_v<qbasn::buffer>);
static_assert(std::is_nothrow_move_constructible_v<qbasn::buffer>);
static_assert(std::is_nothrow_move_assignable_v<qbasn::buffer>);

static_assert(!std::is_copy_constructible_v<qbasn::record<value_s_t>>);
static_assert(!std::is_copy_assignable_v<qbasn::record<value_s_t>>);
static_assert(std::is_nothrow_move_constructible_v<qbasn::record<value_s_t>>);
static_assert(std::is_nothrow_move_assignable_v<qbasn::record<value_s_t>>);
static_assert(!std::is_copy_constructible_v<qbasn::record<attrlist_s_t>>);
static_assert(std::is_nothrow_move_constructible_v<qbasn::record<attrlist_s_t>>);

static_assert(!std::is_copy_constructible_v<qbasn::any_record>);
static_assert(!std::is_copy_assignable_v<qbasn::any_record>);
static_assert(std::is_nothrow_move_constructible_v<qbasn::any_record>);
static_assert(std::is_nothrow_move_assignable_v<qbasn::any_record>);

// A result carries its owner, so it cannot be copied either.
static_assert(!std::is_copy_constructible_v<qbasn::result<qbasn::buffer>>);
static_assert(std::is_move_constructible_v<qbasn::result<qbasn::buffer>>);
static_assert(!std::is_copy_constructible_v<qbasn::result<qbasn::record<value_s_t>>>);
static_assert(std::is_move_constructible_v<qbasn::result<qbasn::record<value_s_t>>>);

// ---- the README example, verbatim (below its two #include lines) ----

// Encodes a value record, decodes it into an owner and prints it; every block
// is released by its owner, also on the early returns.
int round_trip_example() {
    char text[] = "hello";
    unsigned char bytes[] = {0xDE, 0xAD};
    value_s_t v{42, text, sizeof bytes, bytes};  // the caller's storage: never freed by qbasn

    qbasn::result<qbasn::buffer> msg = qbasn::encode(v);
    if (!msg) {
        std::fprintf(stderr, "encode: %s\n", qbasn::status_text(msg.status()));
        return 1;
    }
    qbasn::result<qbasn::record<value_s_t>> back = qbasn::decode<value_s_t>(msg.value().bytes());
    if (!back) {
        std::fprintf(stderr, "decode: %s\n", qbasn::status_text(back.status()));
        return 1;
    }
    const qbasn::record<value_s_t>& r = back.value();
    std::printf("%zu octets -> %d \"%s\", %u bytes\n", msg.value().size(), r->number, r->text, r->length);
    return 0;
}  // msg frees the encoded block, back frees the decoded text and bytes

namespace {

using bytes_t = std::vector<unsigned char>;
using blocks_t = std::vector<void*>;

// ---- expected bytes, written out ----

// value_t { 5, "a", 01 }
#define VALUE_5 "30 09 02 01 05 0C 01 61 04 01 01"
// value_t { 1, "x", AA }
#define VALUE_1 "30 09 02 01 01 0C 01 78 04 01 AA"
// value_t { 2, "", empty }
#define VALUE_2 "30 07 02 01 02 0C 00 04 00"
// attr_t { "n1", { VALUE_1, VALUE_2 } }
#define ATTR_N1 "30 1A 0C 02 6E 31 30 14 " VALUE_1 " " VALUE_2
// attr_t { "n2", { } }
#define ATTR_N2 "30 06 0C 02 6E 32 30 00"
// ATTR_N2 whose name claims 5 octets where its frame holds 4.
#define ATTR_N2_SHORT_NAME "30 06 0C 05 6E 32 30 00"
// attrlist_t { { ATTR_N1, ATTR_N2 } }
#define NESTED "30 26 30 24 " ATTR_N1 " " ATTR_N2
#define NESTED_TRUNCATED_SECOND "30 26 30 24 " ATTR_N1 " " ATTR_N2_SHORT_NAME

using qb_test::text;

bytes_t to_vector(std::span<const unsigned char> s) { return bytes_t(s.begin(), s.end()); }

// nested_list: the attribute list NESTED describes, in the caller's storage.
struct nested_list {
    unsigned char aa[1] = {0xAA};
    value_s_t values[2] = {{1, text("x"), 1, aa}, {2, text(""), 0, nullptr}};
    attr_s_t attrs[2] = {{text("n1"), 2, values}, {text("n2"), 0, nullptr}};
    attrlist_s_t list{2, attrs};
};

// expect_nested: r holds what NESTED describes.
void expect_nested(const attrlist_s_t& r) {
    ASSERT_EQ(r.count, 2u);
    ASSERT_NE(r.attrs, nullptr);
    EXPECT_STREQ(r.attrs[0].name, "n1");
    ASSERT_EQ(r.attrs[0].count, 2u);
    ASSERT_NE(r.attrs[0].values, nullptr);
    const value_s_t& v1 = r.attrs[0].values[0];
    EXPECT_EQ(v1.number, 1);
    EXPECT_STREQ(v1.text, "x");
    ASSERT_EQ(v1.length, 1u);
    ASSERT_NE(v1.bytes, nullptr);
    EXPECT_EQ(v1.bytes[0], 0xAA);
    const value_s_t& v2 = r.attrs[0].values[1];
    EXPECT_EQ(v2.number, 2);
    ASSERT_NE(v2.text, nullptr);  // an empty text decodes as an allocated ""
    EXPECT_STREQ(v2.text, "");
    EXPECT_EQ(v2.length, 0u);
    EXPECT_STREQ(r.attrs[1].name, "n2");
    EXPECT_EQ(r.attrs[1].count, 0u);
    EXPECT_EQ(r.attrs[1].values, nullptr);
}

// owned_buffer: a buffer owning a malloc'ed copy of `hex_text`.
qbasn::buffer owned_buffer(const char* hex_text) {
    const bytes_t b = hex(hex_text);
    auto* data = static_cast<unsigned char*>(std::malloc(b.size()));
    if (data == nullptr) throw std::bad_alloc();
    std::memcpy(data, b.data(), b.size());
    return qbasn::buffer(qb_asn_buffer_t{static_cast<unsigned int>(b.size()), data});
}

// decoded_value: an owner of the value record VALUE_5.
qbasn::record<value_s_t> decoded_value() {
    auto r = qbasn::decode<value_s_t>(hex(ENVELOPE VALUE_5));
    if (!r) throw std::runtime_error("decoding VALUE_5 failed");
    return std::move(r).value();
}

// ---- result ----

TEST(CxxResult, FailureCarriesTheStatusAndAnEmptyValue) {
    auto r = qbasn::result<qbasn::buffer>::failure(0x10652198);
    EXPECT_FALSE(r.ok());
    EXPECT_FALSE(static_cast<bool>(r));
    EXPECT_EQ(r.status(), 0x10652198u);
    EXPECT_EQ(r.value().data(), nullptr);
    EXPECT_EQ(r.value().size(), 0u);
}

TEST(CxxResult, ValueIsOkWithStatusZero) {
    qbasn::result<qbasn::buffer> r = owned_buffer("01 02 03");
    EXPECT_TRUE(r.ok());
    EXPECT_TRUE(static_cast<bool>(r));
    EXPECT_EQ(r.status(), 0u);
    EXPECT_EQ(to_vector(r.value().bytes()), hex("01 02 03"));
}

// ---- buffer ----

TEST(CxxBuffer, DefaultIsEmpty) {
    qbasn::buffer b;
    EXPECT_EQ(b.data(), nullptr);
    EXPECT_EQ(b.size(), 0u);
    EXPECT_TRUE(b.bytes().empty());
}

TEST(CxxBuffer, DestructionFreesTheBlockOnce) {
    std::optional<qbasn::buffer> b(owned_buffer("0A 0B 0C"));
    void* block = const_cast<unsigned char*>(b->data());
    ASSERT_NE(block, nullptr);
    blocks_t freed;
    freed = qb_test::freed_during([&] { b.reset(); });  // destroys the owner
    EXPECT_EQ(freed, blocks_t{block});
}

TEST(CxxBuffer, ResetFreesTheBlockAndEmpties) {
    qbasn::buffer b = owned_buffer("0A 0B 0C");
    void* block = const_cast<unsigned char*>(b.data());
    blocks_t first, second;
    first = qb_test::freed_during([&] { b.reset(); });
    EXPECT_EQ(first, blocks_t{block});
    EXPECT_EQ(b.data(), nullptr);
    EXPECT_EQ(b.size(), 0u);
    second = qb_test::freed_during([&] { b.reset(); });  // nothing left to free
    EXPECT_TRUE(second.empty());
}

TEST(CxxBuffer, MovedFromIsEmptyAndFreesNothing) {
    std::optional<qbasn::buffer> a(owned_buffer("0A 0B 0C"));
    const unsigned char* block = a->data();
    blocks_t freed_by_move, freed_by_source;
    std::optional<qbasn::buffer> b;
    {
        qb_test::record_allocations log;
        b.emplace(std::move(*a));
        freed_by_move = log.freed();
    }
    EXPECT_TRUE(freed_by_move.empty());
    EXPECT_EQ(a->data(), nullptr);  // the moved-from state is the point
    EXPECT_EQ(a->size(), 0u);
    EXPECT_EQ(b->data(), block);
    EXPECT_EQ(to_vector(b->bytes()), hex("0A 0B 0C"));
    freed_by_source = qb_test::freed_during([&] { a.reset(); });  // destroys the moved-from owner
    EXPECT_TRUE(freed_by_source.empty());
    // b frees the block when the test ends; a second free would stop the
    // AddressSanitizer build.
}

TEST(CxxBuffer, MoveAssignmentFreesTheOldBlock) {
    qbasn::buffer target = owned_buffer("01");
    qbasn::buffer source = owned_buffer("02 03");
    void* old_block = const_cast<unsigned char*>(target.data());
    const unsigned char* new_block = source.data();
    blocks_t freed;
    {
        qb_test::record_allocations log;
        target = std::move(source);
        freed = log.freed();
    }
    EXPECT_EQ(freed, blocks_t{old_block});
    EXPECT_EQ(target.data(), new_block);
    EXPECT_EQ(to_vector(target.bytes()), hex("02 03"));
    EXPECT_EQ(source.data(), nullptr);  // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(source.size(), 0u);
}

TEST(CxxBuffer, SelfMoveAssignmentKeepsTheBlock) {
    qbasn::buffer b = owned_buffer("07 08");
    const unsigned char* block = b.data();
    qbasn::buffer& same = b;
    b = std::move(same);
    EXPECT_EQ(b.data(), block);
    EXPECT_EQ(to_vector(b.bytes()), hex("07 08"));
}

TEST(CxxBuffer, CopyOfCopiesTheBytes) {
    bytes_t source = hex("04 02 AC DC 30 00");
    auto r = qbasn::buffer::copy_of(source);
    ASSERT_TRUE(r.ok());
    const qbasn::buffer& b = r.value();
    ASSERT_NE(b.data(), nullptr);
    EXPECT_NE(b.data(), source.data());
    EXPECT_EQ(to_vector(b.bytes()), hex("04 02 AC DC 30 00"));
    source[0] = 0xFF;  // the copy does not follow its source
    EXPECT_EQ(b.data()[0], 0x04);
}

TEST(CxxBuffer, CopyOfNothingIsEmpty) {
    auto r = qbasn::buffer::copy_of({});
    ASSERT_TRUE(r.ok());
    EXPECT_EQ(r.value().data(), nullptr);
    EXPECT_EQ(r.value().size(), 0u);
}

TEST(CxxBuffer, CopyOfReportsAllocationFailure) {
    const bytes_t source = hex("01 02 03");
    unsigned int status = 0;
    bool has_data = true;
    {
        qb_test::fail_after guard(0);
        auto r = qbasn::buffer::copy_of(source);
        status = r.status();
        has_data = r.value().data() != nullptr;
    }
    EXPECT_EQ(status, 0x10652065u);
    EXPECT_FALSE(has_data);
}

// ---- encode ----

TEST(CxxEncode, ValueRecordGivesEnvelopeAndSequence) {
    unsigned char one[] = {0x01};
    value_s_t v{5, text("a"), 1, one};
    auto r = qbasn::encode(v);
    ASSERT_TRUE(r.ok()) << std::hex << r.status();
    EXPECT_EQ(to_vector(r.value().bytes()), hex(ENVELOPE VALUE_5));
    // The caller's record is only read.
    EXPECT_EQ(v.number, 5);
    EXPECT_STREQ(v.text, "a");
    EXPECT_EQ(v.bytes, one);
}

TEST(CxxEncode, NullOctetsWithNonzeroLengthReturnsTheStatus) {
    value_s_t v{5, text("a"), 3, nullptr};
    auto r = qbasn::encode(v);
    EXPECT_FALSE(r.ok());
    EXPECT_EQ(r.status(), 0x1065219Cu);
    EXPECT_EQ(r.value().data(), nullptr);
    auto lcs = qbasn::encode(v, true);
    EXPECT_EQ(lcs.status(), 0x1065219Cu);
}

TEST(CxxEncode, NullOctetsInsideANestedListReturnsTheStatus) {
    nested_list n;
    n.values[1].length = 4;  // second value: 4 bytes at a null pointer
    auto r = qbasn::encode(n.list);
    EXPECT_EQ(r.status(), 0x1065219Cu);
    EXPECT_EQ(r.value().data(), nullptr);
}

TEST(CxxEncode, LocalCodeSetEqualsPlainForAscii) {
    nested_list n;
    auto plain = qbasn::encode(n.list);
    auto lcs = qbasn::encode(n.list, true);
    ASSERT_TRUE(plain.ok());
    ASSERT_TRUE(lcs.ok());
    EXPECT_EQ(to_vector(plain.value().bytes()), hex(ENVELOPE NESTED));
    EXPECT_EQ(to_vector(lcs.value().bytes()), hex(ENVELOPE NESTED));
}

// ---- decode and record ----

TEST(CxxDecode, ValueRecordIsFilledWithFreshAllocations) {
    const bytes_t in = hex(ENVELOPE VALUE_5);
    auto r = qbasn::decode<value_s_t>(in);
    ASSERT_TRUE(r.ok()) << std::hex << r.status();
    const qbasn::record<value_s_t>& v = r.value();
    EXPECT_EQ(v->number, 5);
    EXPECT_STREQ(v->text, "a");
    ASSERT_EQ(v->length, 1u);
    ASSERT_NE(v->bytes, nullptr);
    EXPECT_EQ(v->bytes[0], 0x01);
    // The copies live outside the input.
    const auto* first = in.data();
    const auto* last = in.data() + in.size();
    EXPECT_FALSE(v->bytes >= first && v->bytes < last);
    EXPECT_FALSE(reinterpret_cast<unsigned char*>(v->text) >= first &&
                 reinterpret_cast<unsigned char*>(v->text) < last);
}

TEST(CxxRecord, DefaultIsZeroed) {
    qbasn::record<value_s_t> r;
    EXPECT_EQ(r->number, 0);
    EXPECT_EQ(r->text, nullptr);
    EXPECT_EQ(r->length, 0u);
    EXPECT_EQ(r->bytes, nullptr);
}

TEST(CxxRecord, DestructionFreesTextAndBytes) {
    std::optional<qbasn::record<value_s_t>> r(decoded_value());
    blocks_t expected{(*r)->text, (*r)->bytes};
    blocks_t freed;
    freed = qb_test::freed_during([&] { r.reset(); });  // destroys the owner
    EXPECT_EQ(freed, expected);  // the text, then the bytes, each once
}

TEST(CxxRecord, ResetFreesAndZeroes) {
    qbasn::record<value_s_t> r = decoded_value();
    blocks_t expected{r->text, r->bytes};
    blocks_t first, second;
    first = qb_test::freed_during([&] { r.reset(); });
    EXPECT_EQ(first, expected);
    EXPECT_EQ(r->text, nullptr);
    EXPECT_EQ(r->bytes, nullptr);
    EXPECT_EQ(r->length, 0u);
    second = qb_test::freed_during([&] { r.reset(); });
    EXPECT_TRUE(second.empty());
}

TEST(CxxRecord, MovedFromIsZeroedAndFreesNothing) {
    std::optional<qbasn::record<value_s_t>> a(decoded_value());
    char* t = (*a)->text;
    unsigned char* b = (*a)->bytes;
    std::optional<qbasn::record<value_s_t>> moved;
    blocks_t freed_by_move, freed_by_source;
    {
        qb_test::record_allocations log;
        moved.emplace(std::move(*a));
        freed_by_move = log.freed();
    }
    EXPECT_TRUE(freed_by_move.empty());
    EXPECT_EQ((*a)->text, nullptr);
    EXPECT_EQ((*a)->bytes, nullptr);
    EXPECT_EQ((*a)->length, 0u);
    EXPECT_EQ((*moved)->text, t);
    EXPECT_EQ((*moved)->bytes, b);
    freed_by_source = qb_test::freed_during([&] { a.reset(); });  // destroys the moved-from owner
    EXPECT_TRUE(freed_by_source.empty());
    blocks_t freed_by_target;
    freed_by_target = qb_test::freed_during([&] { moved.reset(); });
    EXPECT_EQ(freed_by_target, (blocks_t{t, b}));
}

TEST(CxxRecord, MoveAssignmentFreesTheOldContents) {
    qbasn::record<value_s_t> target = decoded_value();
    qbasn::record<value_s_t> source = decoded_value();
    blocks_t old_blocks{target->text, target->bytes};
    char* new_text = source->text;
    blocks_t freed;
    {
        qb_test::record_allocations log;
        target = std::move(source);
        freed = log.freed();
    }
    EXPECT_EQ(freed, old_blocks);
    EXPECT_EQ(target->text, new_text);
    EXPECT_EQ(source->text, nullptr);  // NOLINT(bugprone-use-after-move)
    // Assigning the moved-from owner back frees the contents once.
    blocks_t freed_again;
    {
        qb_test::record_allocations log;
        target = std::move(source);
        freed_again = log.freed();
    }
    ASSERT_EQ(freed_again.size(), 2u);
    EXPECT_EQ(freed_again[0], new_text);
    EXPECT_EQ(target->text, nullptr);
}

TEST(CxxRecord, CallerFilledRecordIsNotFreed) {
    // A record the caller fills to encode holds the caller's pointers (here
    // into the stack); releasing them would be an invalid free.
    char name[] = "stack";
    blocks_t freed;
    {
        std::optional<qbasn::record<value_s_t>> r(std::in_place);
        (*r)->number = 9;
        (*r)->text = name;
        auto e = qbasn::encode(**r);
        ASSERT_TRUE(e.ok());
        EXPECT_EQ(to_vector(e.value().bytes()), hex(ENVELOPE "30 0C 02 01 09 0C 05 73 74 61 63 6B 04 00"));
        qb_test::record_allocations log;
        r.reset();  // destroys the owner
        freed = log.freed();
    }
    EXPECT_TRUE(freed.empty());
}

TEST(CxxRecord, AdoptTakesOwnershipOfCallerAllocations) {
    auto* t = static_cast<char*>(std::malloc(3));
    auto* b = static_cast<unsigned char*>(std::malloc(2));
    ASSERT_NE(t, nullptr);
    ASSERT_NE(b, nullptr);
    std::memcpy(t, "hi", 3);
    b[0] = 1;
    b[1] = 2;
    blocks_t freed;
    {
        qbasn::record<value_s_t> r;
        r->text = t;
        r->length = 2;
        r->bytes = b;
        r.adopt();
        qb_test::record_allocations log;
        r.reset();
        freed = log.freed();
    }
    EXPECT_EQ(freed, (blocks_t{t, b}));
}

TEST(CxxDecode, NestedListRoundTrip) {
    nested_list n;
    auto e = qbasn::encode(n.list);
    ASSERT_TRUE(e.ok()) << std::hex << e.status();
    EXPECT_EQ(to_vector(e.value().bytes()), hex(ENVELOPE NESTED));
    auto d = qbasn::decode<attrlist_s_t>(e.value().bytes());
    ASSERT_TRUE(d.ok()) << std::hex << d.status();
    expect_nested(*d.value());
    // The decoded record encodes back to the same bytes, in both forms.
    auto again = qbasn::encode(*d.value());
    ASSERT_TRUE(again.ok());
    EXPECT_EQ(to_vector(again.value().bytes()), hex(ENVELOPE NESTED));
    auto lcs = qbasn::decode<attrlist_s_t>(e.value().bytes(), true);
    ASSERT_TRUE(lcs.ok()) << std::hex << lcs.status();
    expect_nested(*lcs.value());
}

TEST(CxxDecode, EmptyListDecodesToCountZero) {
    auto d = qbasn::decode<attrlist_s_t>(hex(ENVELOPE "30 02 30 00"));
    ASSERT_TRUE(d.ok()) << std::hex << d.status();
    EXPECT_EQ(d.value()->count, 0u);
    EXPECT_EQ(d.value()->attrs, nullptr);
}

TEST(CxxDecode, OtherEnvelopeVersionIsRefused) {
    auto d = qbasn::decode<value_s_t>(hex("04 03 AC DC " VALUE_5));
    EXPECT_FALSE(d.ok());
    EXPECT_EQ(d.status(), 0x10652196u);
    EXPECT_EQ(d.value()->text, nullptr);
}

TEST(CxxDecode, HeaderOnlyIsRefused) {
    EXPECT_EQ(qbasn::decode<value_s_t>(hex("04 02 AC DC")).status(), 0x10652196u);
    EXPECT_EQ(qbasn::decode<value_s_t>(bytes_t{}).status(), 0x10652196u);
}

TEST(CxxDecode, GarbageWithoutSignatureIsRefused) {
    EXPECT_EQ(qbasn::decode<attrlist_s_t>(hex("DE AD BE EF 01 02 03 04")).status(), 0x10652196u);
}

TEST(CxxDecode, WrongIdentifierAfterTheEnvelope) {
    // An INTEGER where the record's SEQUENCE belongs.
    EXPECT_EQ(qbasn::decode<value_s_t>(hex(ENVELOPE "02 01 05")).status(), 0x106521A4u);
}

TEST(CxxDecode, TruncatedValueRunsOut) {
    // VALUE_5 without its last octet: the SEQUENCE claims 9 octets, 8 follow.
    EXPECT_EQ(qbasn::decode<value_s_t>(hex(ENVELOPE "30 09 02 01 05 0C 01 61 04 01")).status(),
              0x10652198u);
}

TEST(CxxDecode, TruncatedListRunsOut) {
    // NESTED cut inside its second attribute.
    const bytes_t full = hex(ENVELOPE NESTED);
    const std::span<const unsigned char> cut(full.data(), full.size() - 3);
    auto d = qbasn::decode<attrlist_s_t>(cut);
    EXPECT_EQ(d.status(), 0x10652198u);
    EXPECT_EQ(d.value()->attrs, nullptr);
}

TEST(CxxDecode, TruncatedSecondAttributeLeaksNothing) {
    // The first attribute (with its two values) is read completely before the
    // second one's name runs out; the AddressSanitizer build proves that none
    // of it stays behind.
    for (bool lcs : {false, true}) {
        auto d = qbasn::decode<attrlist_s_t>(hex(ENVELOPE NESTED_TRUNCATED_SECOND), lcs);
        EXPECT_EQ(d.status(), 0x10652198u) << "lcs " << lcs;
        EXPECT_EQ(d.value()->count, 0u);
        EXPECT_EQ(d.value()->attrs, nullptr);
    }
}

// ---- allocation failures during a decode ----

// attrlist_t { { attr_t { "a", { } }, attr_t { "b", { } } } }: small enough
// for the allocation log, and with two attributes, so that a failure while
// filling the second leaves the first one in the record.
#define TWO_ATTRS "30 10 30 0E 30 05 0C 01 61 30 00 30 05 0C 01 62 30 00"

// What failing allocation n of a raw decode of `in` does.
struct raw_failure {
    unsigned int status;
    bool partly_filled;     // the record holds something after the call
    std::size_t freed_in;   // blocks the library released during the call
    std::size_t freed_after;  // blocks qbAsnFreeObj released afterwards
};

raw_failure fail_raw_decode(const bytes_t& in, long n) {
    raw_failure f{};
    attrlist_s_t raw{};
    qb_asn_buffer_t buf{static_cast<unsigned int>(in.size()), const_cast<unsigned char*>(in.data())};
    testing::internal::CaptureStderr();  // the library prints the exception it reports
    {
        qb_test::record_allocations log;
        {
            qb_test::fail_after guard(n);
            f.status = qbAsnDecodeObj(buf, raw);
        }
        f.freed_in = log.freed().size();
    }
    testing::internal::GetCapturedStderr();
    f.partly_filled = raw.count > 0 || raw.attrs != nullptr;
    {
        qb_test::record_allocations log;
        qbAsnFreeObj(raw);  // what the caller of the raw entry point must do
        f.freed_after = log.freed().size();
    }
    return f;
}

// Fails each allocation of a decode in turn. Where the library stops after it
// has begun filling the record (the raw entry point leaves a partly filled
// record that its caller must still pass to qbAsnFreeObj), the owner inside
// qbasn::decode must release that part itself: the call releases exactly the
// blocks the library releases plus those qbAsnFreeObj would.
TEST(CxxDecode, PartlyFilledRecordIsReleasedOnFailure) {
    const bytes_t in = hex(ENVELOPE TWO_ATTRS);
    int partly_filled = 0;
    long n = 0;
    for (;; ++n) {
        ASSERT_LT(n, 2000) << "the decode never succeeded";
        const raw_failure raw = fail_raw_decode(in, n);
        if (raw.status == 0) break;  // past the decode's last allocation
        ASSERT_EQ(raw.status, 0x10652065u) << "allocation " << n;
        if (raw.partly_filled) {
            ++partly_filled;
            EXPECT_GT(raw.freed_after, 0u) << "allocation " << n;
        }

        unsigned int status = 0;
        std::size_t freed = 0;
        testing::internal::CaptureStderr();
        {
            qb_test::record_allocations log;
            {
                qb_test::fail_after guard(n);
                auto d = qbasn::decode<attrlist_s_t>(in);
                status = d.status();
                EXPECT_EQ(d.value()->count, 0u);  // the failed result holds an empty record
                EXPECT_EQ(d.value()->attrs, nullptr);
            }
            freed = log.freed().size();
        }
        testing::internal::GetCapturedStderr();
        EXPECT_EQ(status, 0x10652065u) << "allocation " << n;
        ASSERT_LT(raw.freed_in + raw.freed_after, qb_test::detail::kLogSlots) << "log too small at " << n;
        EXPECT_EQ(freed, raw.freed_in + raw.freed_after) << "allocation " << n;
    }
    // The decode allocates once per block of the record and nothing else: the
    // attribute array and the two names.
    EXPECT_EQ(n, 3);
    // Failures in the fill of the second attribute, of the attribute array or
    // of the first name leave something behind in the raw record.
    EXPECT_GT(partly_filled, 0);
}

// current_heap_bytes: bytes allocated and not yet released, where the
// allocator can tell exactly (the sanitizers' allocator); 0 elsewhere.
std::size_t current_heap_bytes() {
#if defined(QB_TEST_SANITIZER_MALLOC)
    return __sanitizer_get_current_allocated_bytes();
#else
    return 0;
#endif
}

// The same sweep over the nested list, for every status and, in the
// AddressSanitizer build, for the heap balance of each failed call: nothing
// the read built (element objects, their buffers) or the fill allocated may
// stay behind. The leak check at exit of that build covers every test.
TEST(CxxDecode, AllocationFailureLeaksNothing) {
    const bytes_t in = hex(ENVELOPE NESTED);
    long n = 0;
    for (;; ++n) {
        ASSERT_LT(n, 5000) << "the decode never succeeded";
        unsigned int status = 0;
        // A first run with this failure point warms up whatever the runtime
        // allocates once (exception support); the second is measured.
        for (int run = 0; run < 2; ++run) {
            testing::internal::CaptureStderr();
            const std::size_t before = current_heap_bytes();
            {
                qb_test::fail_after guard(n);
                auto d = qbasn::decode<attrlist_s_t>(in);
                status = d.status();
            }
            const std::size_t after = current_heap_bytes();
            testing::internal::GetCapturedStderr();
            if (run == 1) {
                EXPECT_EQ(after, before) << "allocation " << n << " leaves " << (after - before) << " bytes";
            }
        }
        if (status == 0) break;
        ASSERT_EQ(status, 0x10652065u) << "allocation " << n;
    }
    // One allocation per block of the record: the attribute array; "n1", its
    // value array, two texts and two octet strings (an empty one still gets
    // one octet); "n2" (its empty value list has no array).
    EXPECT_EQ(n, 8);
}

// ---- any_record ----

TEST(CxxAnyRecord, FindsAttrlistByShortName) {
    const qb_record_info* info = qb_record_find("attrlist");
    ASSERT_NE(info, nullptr);
    EXPECT_STREQ(info->flat_name, "attrlist_s_t");
    EXPECT_STREQ(info->name, "attrlist_t");
    EXPECT_EQ(info->flat_size, sizeof(attrlist_s_t));
}

TEST(CxxAnyRecord, DecodeAnyEncodeAnyRoundTrip) {
    const qb_record_info* info = qb_record_find("attrlist");
    ASSERT_NE(info, nullptr);
    const bytes_t in = hex(ENVELOPE NESTED);
    for (bool lcs : {false, true}) {
        auto d = qbasn::decode_any(*info, in, lcs);
        ASSERT_TRUE(d.ok()) << std::hex << d.status();
        const qbasn::any_record& a = d.value();
        EXPECT_EQ(a.info(), info);
        ASSERT_NE(a.flat(), nullptr);
        expect_nested(*static_cast<const attrlist_s_t*>(a.flat()));
        auto e = qbasn::encode_any(a, lcs);
        ASSERT_TRUE(e.ok()) << std::hex << e.status();
        EXPECT_EQ(to_vector(e.value().bytes()), hex(ENVELOPE NESTED));
    }
}

TEST(CxxAnyRecord, FreshRecordIsZeroedAndEncodesEmptyList) {
    const qb_record_info* info = qb_record_find("attrlist");
    ASSERT_NE(info, nullptr);
    qbasn::any_record a(*info);
    ASSERT_NE(a.flat(), nullptr);
    const auto* r = static_cast<const attrlist_s_t*>(a.flat());
    EXPECT_EQ(r->count, 0u);
    EXPECT_EQ(r->attrs, nullptr);
    auto e = qbasn::encode_any(a);
    ASSERT_TRUE(e.ok());
    EXPECT_EQ(to_vector(e.value().bytes()), hex(ENVELOPE "30 02 30 00"));
}

TEST(CxxAnyRecord, FailedDecodeReturnsTheStatus) {
    const qb_record_info* info = qb_record_find("attrlist");
    ASSERT_NE(info, nullptr);
    auto d = qbasn::decode_any(*info, hex(ENVELOPE NESTED_TRUNCATED_SECOND));
    EXPECT_EQ(d.status(), 0x10652198u);
    EXPECT_EQ(d.value().flat(), nullptr);
    EXPECT_EQ(qbasn::decode_any(*info, hex("04 01 AC DC 30 02 30 00")).status(), 0x10652196u);
}

TEST(CxxAnyRecord, MovedFromIsEmptyAndFreesNothing) {
    const qb_record_info* info = qb_record_find("attrlist");
    ASSERT_NE(info, nullptr);
    auto d = qbasn::decode_any(*info, hex(ENVELOPE NESTED));
    ASSERT_TRUE(d.ok());
    std::optional<qbasn::any_record> a(std::move(d).value());
    void* storage = a->flat();
    // What releasing the record must free, in order: per attribute its name,
    // each value's text and bytes, its value array; then the attribute array;
    // last the flat storage itself (null pointers are not passed to free).
    blocks_t expected;
    const auto* list = static_cast<const attrlist_s_t*>(storage);
    for (unsigned int i = 0; i < list->count; ++i) {
        const attr_s_t& at = list->attrs[i];
        expected.push_back(at.name);
        for (unsigned int j = 0; j < at.count; ++j) {
            expected.push_back(at.values[j].text);
            expected.push_back(at.values[j].bytes);
        }
        expected.push_back(at.values);
    }
    expected.push_back(list->attrs);
    expected.push_back(storage);
    std::erase(expected, nullptr);
    ASSERT_GE(expected.size(), 8u);  // 2 names, 3 texts, 1 byte block, 1 value array, storage

    std::optional<qbasn::any_record> b;
    blocks_t freed_by_move, freed_by_source;
    {
        qb_test::record_allocations log;
        b.emplace(std::move(*a));
        freed_by_move = log.freed();
    }
    EXPECT_TRUE(freed_by_move.empty());
    EXPECT_EQ(a->flat(), nullptr);
    EXPECT_EQ(b->flat(), storage);
    freed_by_source = qb_test::freed_during([&] { a.reset(); });  // destroys the moved-from owner
    EXPECT_TRUE(freed_by_source.empty());
    blocks_t freed_by_target;
    freed_by_target = qb_test::freed_during([&] { b.reset(); });
    EXPECT_EQ(freed_by_target, expected);
}

TEST(CxxAnyRecord, EmptyOwnerDoesNotEncode) {
    qbasn::any_record none;
    auto e = qbasn::encode_any(none);
    EXPECT_EQ(e.status(), 0x1065219Cu);
    EXPECT_EQ(e.value().data(), nullptr);

    const qb_record_info* info = qb_record_find("attrlist");
    ASSERT_NE(info, nullptr);
    qbasn::any_record a(*info);
    qbasn::any_record b = std::move(a);
    EXPECT_EQ(qbasn::encode_any(a).status(), 0x1065219Cu);  // NOLINT(bugprone-use-after-move)
    EXPECT_TRUE(qbasn::encode_any(b).ok());
}

// ---- status_text ----

TEST(CxxStatusText, KnownCodes) {
    EXPECT_STREQ(qbasn::status_text(0), "success");
    EXPECT_STREQ(qbasn::status_text(0x10652065), "out of memory");
    EXPECT_STREQ(qbasn::status_text(0x106521A4), "identifier does not match the expected tag and class");
}

TEST(CxxStatusText, UnknownCode) {
    EXPECT_STREQ(qbasn::status_text(0x10652000), "unknown status");
    EXPECT_STREQ(qbasn::status_text(0x12345678), "unknown status");
}

// ---- the README example ----

TEST(CxxReadme, ExampleRoundTrips) {
    testing::internal::CaptureStdout();
    const int rc = round_trip_example();
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(rc, 0);
    // 4 envelope octets + 30 0F + INTEGER 42 (3) + "hello" (7) + DE AD (4) = 20 octets.
    EXPECT_EQ(out, "20 octets -> 42 \"hello\", 2 bytes\n");
}

}  // namespace
