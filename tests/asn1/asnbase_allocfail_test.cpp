// tests/asn1/asnbase_allocfail_test.cpp - the object runtime when an
// allocation fails.
//
// This executable replaces malloc for the whole process (support/
// failing_malloc.h), so a chosen allocation made by the runtime returns null.
// Every such failure must surface as qb_asn_memexception with code 0x10652065
// and the documented message and source file, leave the object or buffer in
// its documented state, and leak nothing. The AddressSanitizer build checks
// for leaks after every test (and again at exit).
//
// Sweeps fail the 1st, 2nd, 3rd ... allocation of a piece of work until the
// work completes with every allocation granted, so each allocation site on
// the path is failed once.

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

#include "asn1/asn1.h"
#include "asn1/asnbase.h"
#include "asn1/asnutils.h"
#include "support/buffers.h"
#include "support/failing_malloc.h"
#include "support/frames.h"
#include "support/hex.h"
#include "support/leak_check.h"

namespace {

using bytes_t = std::vector<unsigned char>;

constexpr unsigned int kUntouched = 0xA5A5A5A5U;

// A sweep that has not completed after this many failing runs is broken.
constexpr long kSweepLimit = 2000;

// ---- running a call with one allocation failed ----

// outcome: how a call ended, and what it threw.
struct outcome {
    enum kind_t { completed, memory, other_asn, bare_text, unknown };
    kind_t kind = completed;
    bool injected = false;  // the chosen allocation was failed during the call
    const char* file = nullptr;
    int line = 0;
    const char* message = nullptr;
    unsigned int code = 0;
};

// note_thrown: `o` records the exception `e` of kind `kind`.
template <class E>
void note_thrown(outcome& o, outcome::kind_t kind, const E& e) {
    o.kind = kind;
    o.file = e.file;
    o.line = e.line;
    o.message = e.message;
    o.code = e.code;
}

// call_failing: runs f with the (n+1)-th allocation failed.
template <class F>
outcome call_failing(long n, F&& f) {
    outcome o;
    try {
        qb_test::fail_nth(n, o.injected, f);
    } catch (const qb_asn_memexception& e) {
        note_thrown(o, outcome::memory, e);
    } catch (const qb_asn_exception& e) {
        note_thrown(o, outcome::other_asn, e);
    } catch (const char*) {
        o.kind = outcome::bare_text;
    } catch (...) {
        o.kind = outcome::unknown;
    }
    return o;
}

// expect_memory: the call took the failure and threw qb_asn_memexception
// with exactly this message and source file.
void expect_memory(const outcome& o, const char* message, const char* file) {
    EXPECT_TRUE(o.injected) << "the failed allocation was not requested by the call";
    ASSERT_EQ(o.kind, outcome::memory) << "expected qb_asn_memexception";
    EXPECT_EQ(o.code, 0x10652065U);
    EXPECT_STREQ(o.message, message);
    EXPECT_STREQ(o.file, file);
    EXPECT_GT(o.line, 0);
}

// sweep: fails the 1st, 2nd, ... allocation of `call` until it completes
// with every allocation granted. A failing run must throw
// qb_asn_memexception 0x10652065 from asn1/asnbase and satisfy `unchanged`.
// Returns the number of failing runs.
template <class Call, class Unchanged>
long sweep(Call call, Unchanged unchanged) {
    for (long n = 0; n < kSweepLimit; ++n) {
        SCOPED_TRACE(::testing::Message() << "allocation #" << n + 1 << " failed");
        const outcome o = call_failing(n, call);
        if (!o.injected) {
            EXPECT_EQ(o.kind, outcome::completed);
            return n;
        }
        EXPECT_EQ(o.kind, outcome::memory) << "an allocation failure must surface as qb_asn_memexception";
        EXPECT_EQ(o.code, 0x10652065U);
        EXPECT_STREQ(o.file, "asn1/asnbase");
        unchanged();
        if (::testing::Test::HasFatalFailure()) return n;
    }
    ADD_FAILURE() << "the call never completed";
    return kSweepLimit;
}

// ---- leak check per test ----

// In the sanitizer build every test ends with a leak check, so a leak is
// charged to the test that made it (support/leak_check.h).
using qb_test::LeakChecked, qb_test::bytes_of, qb_test::value_of;

class TestAllocator : public LeakChecked {};
class QbBufferOutOfMemory : public LeakChecked {};
class QbAsnCompositeOutOfMemory : public LeakChecked {};
class QbAsnSequenceOutOfMemory : public LeakChecked {};
class QbAsnbaseOutOfMemory : public LeakChecked {};
class QbGetStrvalueOutOfMemory : public LeakChecked {};
class GetObjBodyOutOfMemory : public LeakChecked {};
class QbasnOctetstringOutOfMemory : public LeakChecked {};
class QbAsnIntegerOutOfMemory : public LeakChecked {};
class QbAsnBooleanOutOfMemory : public LeakChecked {};
class QbAsnOctetstringOutOfMemory : public LeakChecked {};
class QbAsnBitstringOutOfMemory : public LeakChecked {};
class QbasnIntegerOutOfMemory : public LeakChecked {};
class ObjectTreeOutOfMemory : public LeakChecked {};

// ---- small helpers ----

// A composite built on the preset-capacity constructor; content is empty.
class probe_composite : public qb_asn_composite {
public:
    probe_composite(unsigned int n, security_t s) : qb_asn_composite(n, s) {}
    unsigned int decode_value(qb_r_buffer_t&, unsigned int) override { return 0; }
    unsigned int encode_value(qb_buffer_t&) const override { return 0; }
};

bytes_t pattern(unsigned int n, unsigned char first) {
    bytes_t b(n);
    for (unsigned int i = 0; i < n; ++i) b[i] = static_cast<unsigned char>(first + i);
    return b;
}

bytes_t append_octets(bytes_t a, const bytes_t& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

// ---- the test allocator itself ----

TEST_F(TestAllocator, NothrowNewSeesTheFailure) {
    int sentinel = 0;
    int* p = &sentinel;
    {
        qb_test::fail_after guard(0);
        p = new (std::nothrow) int(5);
        EXPECT_FALSE(qb_test::fail_after::armed());
    }
    EXPECT_EQ(p, nullptr);
    int* q = new (std::nothrow) int(6);
    ASSERT_NE(q, nullptr);
    EXPECT_EQ(*q, 6);
    delete q;
}

// ---- qb_buffer_t ----

// expect_buffer_state: `b` holds `length` octets in the block `block` of
// `capacity` octets, which is also its origin, read from the start.
void expect_buffer_state(const qb_buffer_t& b, const unsigned char* block, unsigned int capacity, unsigned int length) {
    EXPECT_EQ(b.data, block);
    EXPECT_EQ(b.capacity, capacity);
    EXPECT_EQ(b.length(), length);
    EXPECT_EQ(b.origin, block);
    EXPECT_EQ(b.origin_length, capacity);
    EXPECT_EQ(b.cursor, block);
}

TEST_F(QbBufferOutOfMemory, FirstAppendOnAnEmptyBuffer) {
    qb_buffer_t b(security_off);
    const outcome o = call_failing(0, [&] { b.append(static_cast<unsigned char>(0x41)); });
    expect_memory(o, "Out of memory in buffer_t::extend", "asn1/asnbase");
    expect_buffer_state(b, nullptr, 0U, 0U);
    // Still usable.
    b.append(static_cast<unsigned char>(0x41));
    EXPECT_EQ(bytes_of(b), hex("41"));
}

// A buffer of capacity 64 holding 60 bytes; growth fails, nothing changes.
void check_growth_failure_leaves_buffer(security_t s) {
    qb_buffer_t b(s);
    b.extend(0);  // one block of 64
    ASSERT_EQ(b.capacity, 64U);
    const bytes_t held = pattern(60, 0x10);
    b.append(held.data(), 60);
    unsigned char* const block = b.data;
    const bytes_t more = pattern(10, 0x80);
    const outcome o = call_failing(0, [&] { b.append(more.data(), 10); });
    expect_memory(o, "Out of memory in buffer_t::extend", "asn1/asnbase");
    expect_buffer_state(b, block, 64U, 60U);
    EXPECT_EQ(bytes_of(b), held);
    // The next growth succeeds and keeps the bytes.
    b.append(more.data(), 10);
    EXPECT_EQ(bytes_of(b), append_octets(held, more));
}

TEST_F(QbBufferOutOfMemory, ReallocGrowthFailureLeavesTheBuffer) {
    check_growth_failure_leaves_buffer(security_off);
}

TEST_F(QbBufferOutOfMemory, WipingGrowthFailureLeavesTheBuffer) {
    check_growth_failure_leaves_buffer(security_on);
}

TEST_F(QbBufferOutOfMemory, EveryAppendFormReportsTheFailure) {
    struct Case {
        const char* name;
        void (*call)(qb_buffer_t&);
    };
    static const unsigned char three[3] = {1, 2, 3};
    const Case cases[] = {
        {"append(byte)", [](qb_buffer_t& b) { b.append(static_cast<unsigned char>(0x55)); }},
        {"append(bytes)", [](qb_buffer_t& b) { b.append(three, 3); }},
        {"append(text)", [](qb_buffer_t& b) { b.append("text"); }},
        {"append_int", [](qb_buffer_t& b) { b.append_int(-12345); }},
        {"append(view)",
         [](qb_buffer_t& b) {
             qb_r_buffer_t r(const_cast<unsigned char*>(three), 3);
             b.append(r);
         }},
        {"extend", [](qb_buffer_t& b) { b.extend(1); }},
        {"write1d", [](qb_buffer_t& b) { (void)write1d(b, 7); }},
        {"write2d", [](qb_buffer_t& b) { (void)write2d(b, 42); }},
        {"write4d", [](qb_buffer_t& b) { (void)write4d(b, 2024); }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        for (const security_t s : {security_off, security_on}) {
            SCOPED_TRACE(static_cast<int>(s));
            qb_buffer_t b(s);
            b.extend(0);
            const bytes_t full = pattern(64, 0x20);
            b.append(full.data(), 64);  // exactly full: any further octet needs growth
            ASSERT_EQ(b.capacity, 64U);
            unsigned char* const block = b.data;
            const outcome o = call_failing(0, [&] { c.call(b); });
            expect_memory(o, "Out of memory in buffer_t::extend", "asn1/asnbase");
            EXPECT_EQ(b.data, block);
            EXPECT_EQ(b.capacity, 64U);
            EXPECT_EQ(bytes_of(b), full);
        }
    }
}

TEST_F(QbBufferOutOfMemory, SizedConstructors) {
    // qb_memory_funcs_t{} (all zeros) is the standard allocator.
    struct constructor_case {
        const char* name;
        void (*construct)();
    };
    const constructor_case cases[] = {
        {"size", [] { qb_buffer_t b(100, security_off); }},
        {"size, security on", [] { qb_buffer_t b(100, security_on); }},
        {"size, allocator", [] { qb_buffer_t b(100, qb_memory_funcs_t{}); }},
        {"size, allocator, security on", [] { qb_buffer_t b(100, qb_memory_funcs_t{}, security_on); }},
    };
    for (const constructor_case& c : cases) {
        SCOPED_TRACE(c.name);
        const outcome o = call_failing(0, c.construct);
        expect_memory(o, "Out of memory in buffer_t::extend", "asn1/asnbase");
    }
}

// ---- qb_asn_composite: the child array ----

// registration_case: one way of registering a child; `recovers` marks the
// way whose retry, once memory is there again, the tests check as well.
struct registration_case {
    const char* name;
    unsigned int (qb_asn_composite::*reg)(qb_asn_object*);
    bool recovers;
};

const registration_case kRegistrations[] = {
    {"register_child", &qb_asn_composite::register_child, true},
    {"register_child_before", &qb_asn_composite::register_child_before, false},
};

// The first registration into an empty array fails: the array stays empty.
TEST_F(QbAsnCompositeOutOfMemory, FirstRegistrationLeavesTheArray) {
    for (const registration_case& c : kRegistrations) {
        SCOPED_TRACE(c.name);
        qb_asn_sequence seq(security_off);
        qb_asn_integer child(security_off);
        const outcome o = call_failing(0, [&] { (void)(seq.*c.reg)(&child); });
        expect_memory(o, "Out of memory in asn_composite::register_child", "asn1/asnbase");
        EXPECT_EQ(seq.count, 0U);
        EXPECT_EQ(seq.capacity, 0U);
        EXPECT_EQ(seq.children, nullptr);
        if (!c.recovers) continue;
        // A later registration works.
        EXPECT_EQ(seq.register_child(&child), 0U);
        EXPECT_EQ(seq.count, 1U);
        EXPECT_EQ(seq.get_child(0), &child);
    }
}

// The 33rd registration needs a larger array and fails: the full array stays
// as it was (in particular register_child_before has not overwritten the
// first child).
TEST_F(QbAsnCompositeOutOfMemory, ThirtyThirdRegistrationLeavesTheArray) {
    for (const registration_case& c : kRegistrations) {
        SCOPED_TRACE(c.name);
        qb_asn_sequence seq(security_off);
        std::vector<qb_asn_integer*> kids;
        for (int i = 0; i < 33; ++i) kids.push_back(new qb_asn_integer(security_off));
        for (int i = 0; i < 32; ++i) ASSERT_EQ(seq.register_child(kids[i]), 0U);
        ASSERT_EQ(seq.capacity, 32U);
        qb_asn_object** const array = seq.children;
        const outcome o = call_failing(0, [&] { (void)(seq.*c.reg)(kids[32]); });
        expect_memory(o, "Out of memory in asn_composite::register_child", "asn1/asnbase");
        EXPECT_EQ(seq.count, 32U);
        EXPECT_EQ(seq.capacity, 32U);
        EXPECT_EQ(seq.children, array);
        for (unsigned int i = 0; i < 32; ++i) EXPECT_EQ(seq.children[i], kids[i]) << i;
        if (c.recovers) {
            // The registration succeeds once memory is there again.
            EXPECT_EQ(seq.register_child(kids[32]), 0U);
            EXPECT_EQ(seq.count, 33U);
            EXPECT_EQ(seq.capacity, 544U);
            EXPECT_EQ(seq.get_child(32), kids[32]);
        }
        for (qb_asn_integer* k : kids) delete k;
    }
}

TEST_F(QbAsnCompositeOutOfMemory, PresetCapacityConstructor) {
    const outcome o = call_failing(0, [] { probe_composite c(8, security_off); });
    expect_memory(o, "Out of memory in asn_composite::asn_composite", "asn1/asnbase");
}

TEST_F(QbAsnSequenceOutOfMemory, PresetCapacityConstructor) {
    const outcome o = call_failing(0, [] { qb_asn_sequence s(8, security_off); });
    expect_memory(o, "Out of memory in asn_composite::asn_composite", "asn1/asnbase");
    const outcome wiping = call_failing(0, [] { qb_asn_sequence s(40, security_on); });
    expect_memory(wiping, "Out of memory in asn_composite::asn_composite", "asn1/asnbase");
}

// ---- qb_asn_sequence::asnwrite into a buffer that cannot grow ----

// number_and_octets: a Root (a SEQUENCE or a record) holding INTEGER 300 and
// an OCTET STRING of `count` octets counting up from `first`.
template <class Root>
struct number_and_octets {
    Root top;
    qb_asn_integer number;
    qb_asn_octetstring bytes;
    number_and_octets(security_t s, unsigned int count, unsigned char first) : top(s), number(s), bytes(s) {
        (void)top.register_child(&number);
        (void)top.register_child(&bytes);
        (void)number.set_value(300L);
        const bytes_t b = pattern(count, first);
        (void)bytes.set_value(b.data(), count);
    }
};

// SEQUENCE { INTEGER 300, OCTET STRING 00..13 }.
struct small_record : number_and_octets<qb_asn_sequence> {
    explicit small_record(security_t s) : number_and_octets(s, 20, 0x00) {}
};

const bytes_t& small_record_frame() {
    static const bytes_t frame = append_octets(hex("30 1A 02 02 01 2C 04 14"), pattern(20, 0x00));
    return frame;
}

TEST_F(QbAsnSequenceOutOfMemory, AsnwriteCutsTheOutputBack) {
    small_record rec(security_off);
    {
        qb_buffer_t warm(security_off);  // fill the content caches first
        ASSERT_EQ(rec.top.asnwrite(warm), 0U);
        ASSERT_EQ(bytes_of(warm), small_record_frame());
    }
    qb_buffer_t out(security_off);
    out.extend(0);
    const bytes_t held = pattern(60, 0xC0);
    out.append(held.data(), 60);  // the frame does not fit behind these
    ASSERT_EQ(out.capacity, 64U);
    unsigned char* const block = out.data;
    const outcome o = call_failing(0, [&] { (void)rec.top.asnwrite(out); });
    expect_memory(o, "Out of memory in buffer_t::extend", "asn1/asnbase");
    EXPECT_EQ(out.length(), 60U);
    EXPECT_EQ(out.data, block);
    EXPECT_EQ(out.capacity, 64U);
    EXPECT_EQ(bytes_of(out), held);
    // The same write succeeds once memory is there again.
    EXPECT_EQ(rec.top.asnwrite(out), 0U);
    EXPECT_EQ(bytes_of(out), append_octets(held, small_record_frame()));
}

TEST_F(QbAsnSequenceOutOfMemory, AsnwriteSweep) {
    // A fresh record per run (its caches not built yet), so every run meets
    // the same allocations; a failed run must leave the output as it was and
    // the record able to write its frame.
    for (const security_t s : {security_off, security_on}) {
        SCOPED_TRACE(static_cast<int>(s));
        const bytes_t held = pattern(60, 0xC0);
        long failures = 0;
        for (long n = 0; n < kSweepLimit; ++n) {
            SCOPED_TRACE(::testing::Message() << "allocation #" << n + 1 << " failed");
            small_record rec(s);
            qb_buffer_t out(s);
            out.extend(0);
            out.append(held.data(), 60);  // the frame does not fit behind these
            unsigned int rc = kUntouched;
            const outcome o = call_failing(n, [&] { rc = rec.top.asnwrite(out); });
            if (!o.injected) {
                EXPECT_EQ(o.kind, outcome::completed);
                EXPECT_EQ(rc, 0U);
                EXPECT_EQ(bytes_of(out), append_octets(held, small_record_frame()));
                break;
            }
            ++failures;
            EXPECT_EQ(o.kind, outcome::memory);
            EXPECT_EQ(o.code, 0x10652065U);
            EXPECT_STREQ(o.message, "Out of memory in buffer_t::extend");
            EXPECT_STREQ(o.file, "asn1/asnbase");
            EXPECT_EQ(out.length(), 60U);
            EXPECT_EQ(bytes_of(out), held);
            // Writing is a const operation: the failed write changed no value.
            qb_buffer_t check(security_off);
            EXPECT_EQ(rec.top.asnwrite(check), 0U);
            EXPECT_EQ(bytes_of(check), small_record_frame());
            ASSERT_LT(n + 1, kSweepLimit) << "the write never completed";
        }
        EXPECT_GE(failures, 2);  // at least the sequence's cache and the output
    }
}

// ---- qb_asnbase::saveEncoding ----

// A record: INTEGER 300 and an OCTET STRING of 100 octets (the frame is longer
// than the buffer's first block).
struct envelope_record : number_and_octets<qb_asnbase> {
    explicit envelope_record(security_t s) : number_and_octets(s, 100, 0x01) {}
};

const bytes_t& envelope_block() {
    static const bytes_t block = append_octets(hex("04 05 AC DC 30 6A 02 02 01 2C 04 64"), pattern(100, 0x01));
    return block;
}

void expect_untouched(const qb_asn_buffer_t& out, const unsigned char* marker) {
    EXPECT_EQ(out.length, kUntouched);
    EXPECT_EQ(out.data, marker);
}

TEST_F(QbAsnbaseOutOfMemory, SaveEncodingHeaderCannotBeWritten) {
    envelope_record r(security_off);
    unsigned char marker = 0;
    qb_asn_buffer_t out{kUntouched, &marker};
    const outcome o = call_failing(0, [&] { (void)qb_asnbase::saveEncoding(r.top, 5, out); });
    expect_memory(o, "Out of memory in buffer_t::extend", "asn1/asnbase");
    expect_untouched(out, &marker);
}

TEST_F(QbAsnbaseOutOfMemory, SaveEncodingBufferCannotGrow) {
    envelope_record r(security_off);
    {
        qb_buffer_t warm(security_off);  // fill the content caches first
        ASSERT_EQ(r.top.asnwrite(warm), 0U);
    }
    unsigned char marker = 0;
    qb_asn_buffer_t out{kUntouched, &marker};
    // Allocation 1: the header's block; allocation 2: growth for the frame.
    const outcome o = call_failing(1, [&] { (void)qb_asnbase::saveEncoding(r.top, 5, out); });
    expect_memory(o, "Out of memory in buffer_t::extend", "asn1/asnbase");
    expect_untouched(out, &marker);
    // With memory, the same call gives the block.
    ASSERT_EQ(qb_asnbase::saveEncoding(r.top, 5, out), 0U);
    EXPECT_EQ(bytes_t(out.data, out.data + out.length), envelope_block());
    qb_asn_buffer_free(out);
}

TEST_F(QbAsnbaseOutOfMemory, SaveEncodingSweep) {
    envelope_record r(security_off);
    unsigned char marker = 0;
    qb_asn_buffer_t out{kUntouched, &marker};
    unsigned int rc = kUntouched;
    const long failures = sweep([&] { rc = qb_asnbase::saveEncoding(r.top, 5, out); },
                                [&] { expect_untouched(out, &marker); });
    EXPECT_GE(failures, 2);  // at least the header's block and the record's cache
    ASSERT_EQ(rc, 0U);
    ASSERT_NE(out.data, &marker);
    EXPECT_EQ(bytes_t(out.data, out.data + out.length), envelope_block());
    qb_asn_buffer_free(out);
}

// ---- qb_get_strvalue / get_obj_body ----

// expect_text_copy_fails: `read(o, s)`, a reader that hands out a copy of
// o's text in `s` (Ch*), with its allocation failed, throws the text
// copier's qb_asn_memexception and leaves `s` null.
template <class Ch, class Read>
void expect_text_copy_fails(qbasn_octetstring& o, Read read) {
    Ch marker = 0;
    Ch* s = &marker;
    const outcome out = call_failing(0, [&] { (void)read(o, s); });
    expect_memory(out, "Out of memory get_strvalue()", "asn1/asnutils");
    EXPECT_EQ(s, nullptr);
}

TEST_F(QbGetStrvalueOutOfMemory, UnsignedFormLeavesNull) {
    qbasn_octetstring o(security_off);
    ASSERT_EQ(o.set_value("hello"), 0U);
    expect_text_copy_fails<unsigned char>(o, [](qbasn_octetstring& x, unsigned char*& s) { return qb_get_strvalue(x, s); });
}

TEST_F(QbGetStrvalueOutOfMemory, CharFormLeavesNull) {
    qbasn_octetstring o(security_off);
    ASSERT_EQ(o.set_value("hello"), 0U);
    expect_text_copy_fails<char>(o, [](qbasn_octetstring& x, char*& s) { return qb_get_strvalue(x, s); });
}

TEST_F(QbGetStrvalueOutOfMemory, EmptyTextLeavesNull) {
    // The one-octet text 00 is allocated too, so its failure is seen.
    qbasn_octetstring o(security_off);
    ASSERT_EQ(o.set_value(static_cast<const char*>(nullptr)), 0U);
    expect_text_copy_fails<unsigned char>(o, [](qbasn_octetstring& x, unsigned char*& s) { return qb_get_strvalue(x, s); });
}

TEST_F(QbGetStrvalueOutOfMemory, MemberGetValueForwards) {
    qbasn_octetstring o(security_off);
    ASSERT_EQ(o.set_value("abc"), 0U);
    expect_text_copy_fails<char>(o, [](qbasn_octetstring& x, char*& s) { return x.get_value(s); });
}

TEST_F(GetObjBodyOutOfMemory, LeavesDataNull) {
    qb_asn_octetstring o(security_off);
    const bytes_t b = hex("DE AD BE EF 01");
    ASSERT_EQ(o.set_value(b.data(), 5), 0U);
    unsigned long len = kUntouched;
    unsigned char marker = 0;
    unsigned char* data = &marker;
    const outcome out = call_failing(0, [&] { (void)get_obj_body(o, len, data); });
    expect_memory(out, "Out of memory get_obj_body()", "asn1/asn_kxobjs");
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(len, 5UL);  // set before the allocation
}

// ---- qbasn_octetstring::get_value(data, len) ----

// The copy get_value(data, len) hands out is allocated even for an empty
// value, so its failure is seen in both cases.
TEST_F(QbasnOctetstringOutOfMemory, GetValueCopyThrows) {
    struct fill_case {
        const char* name;
        unsigned int (*fill)(qbasn_octetstring&);
    };
    const fill_case cases[] = {
        {"three octets",
         [](qbasn_octetstring& o) {
             const bytes_t b = hex("01 02 03");
             return o.set_value(b.data(), 3);
         }},
        {"empty value",
         [](qbasn_octetstring& o) { return o.set_value(static_cast<const unsigned char*>(nullptr), 0U); }},
    };
    for (const fill_case& c : cases) {
        SCOPED_TRACE(c.name);
        qbasn_octetstring o(security_off);
        ASSERT_EQ(c.fill(o), 0U);
        unsigned char* data = nullptr;
        unsigned long len = 0;
        const outcome out = call_failing(0, [&] { (void)o.get_value(data, len); });
        expect_memory(out, "ASN: Out of memory", "asn1/asnbase");
    }
}

// ---- set_default_value ----
//
// Each case sweeps the setter's allocations on an object that holds a value
// and a previous default, then on one without a default: a failing call
// throws and the object keeps its state; the completing call installs the new
// default.

struct default_state {
    int present, defaultable, encoding_valid;
    qb_asn_object* default_value;
};

default_state state_of(const qb_asn_object& o) {
    return {o.present, o.defaultable, o.encoding_valid, o.default_value};
}

void expect_state(const qb_asn_object& o, const default_state& s) {
    EXPECT_EQ(o.present, s.present);
    EXPECT_EQ(o.defaultable, s.defaultable);
    EXPECT_EQ(o.encoding_valid, s.encoding_valid);
    EXPECT_EQ(o.default_value, s.default_value);
}

long integer_value(const qb_asn_integer& i) {
    long v = 0x7EEEEEEE;
    EXPECT_EQ(i.get_value(v), 0U);
    return v;
}

// sweep_default: sweeps `set`, a default setter of `o`: a failing run leaves
// o's state as it was and `still` (further checks of what o still holds)
// passes; at least one allocation is failed.
template <class Set, class Still>
void sweep_default(const qb_asn_object& o, Set set, Still still) {
    const default_state before = state_of(o);
    const long failures = sweep(set, [&] {
        expect_state(o, before);
        still();
    });
    EXPECT_GE(failures, 1);
}

void nothing_more() {}

TEST_F(QbAsnIntegerOutOfMemory, SetDefaultValueLong) {
    qb_asn_integer i(security_off);
    ASSERT_EQ(i.set_value(7L), 0U);
    ASSERT_EQ(i.set_default_value(3L), 0U);
    sweep_default(i, [&] { (void)i.set_default_value(9L); },
                  [&] {
                      ASSERT_NE(i.default_value, nullptr);
                      EXPECT_EQ(integer_value(*static_cast<qb_asn_integer*>(i.default_value)), 3);
                      EXPECT_EQ(integer_value(i), 7);
                  });
    ASSERT_NE(i.default_value, nullptr);
    EXPECT_EQ(integer_value(*static_cast<qb_asn_integer*>(i.default_value)), 9);
}

TEST_F(QbAsnIntegerOutOfMemory, SetDefaultValueLongWithoutPreviousDefault) {
    qb_asn_integer i(security_off);
    sweep_default(i, [&] { (void)i.set_default_value(-2L); },
                  [&] {
                      long v = kUntouched;
                      EXPECT_EQ(i.get_value(v), 0x106521A0U);  // still no value to give
                  });
    EXPECT_EQ(i.is_defaultable(), 1);
    EXPECT_EQ(integer_value(i), -2);
}

TEST_F(QbAsnIntegerOutOfMemory, SetDefaultValueBytes) {
    qb_asn_integer i(security_off);
    ASSERT_EQ(i.set_default_value(3L), 0U);  // absent, defaulting to 3
    const bytes_t b = hex("01 00");
    sweep_default(i, [&] { (void)i.set_default_value(b.data(), 2); }, [&] { EXPECT_EQ(integer_value(i), 3); });
    EXPECT_EQ(integer_value(i), 256);
}

// boolean_value: what b reads as (7 where get_value leaves it alone).
int boolean_value(const qb_asn_boolean& b) {
    int v = 7;
    EXPECT_EQ(b.get_value(v), 0U);
    return v;
}

TEST_F(QbAsnBooleanOutOfMemory, SetDefaultValueInt) {
    qb_asn_boolean b(security_off);
    ASSERT_EQ(b.set_default_value(1), 0U);  // absent, defaulting to TRUE
    sweep_default(b, [&] { (void)b.set_default_value(0); }, [&] { EXPECT_EQ(boolean_value(b), 1); });
    EXPECT_EQ(boolean_value(b), 0);
}

TEST_F(QbAsnBooleanOutOfMemory, SetDefaultValueIntWithoutPreviousDefault) {
    qb_asn_boolean b(security_off);
    sweep_default(b, [&] { (void)b.set_default_value(1); }, nothing_more);
    EXPECT_EQ(b.is_defaultable(), 1);
}

TEST_F(QbAsnOctetstringOutOfMemory, SetDefaultValueBytes) {
    qb_asn_octetstring o(security_off);
    const bytes_t value = hex("76 61 6C");
    ASSERT_EQ(o.set_value(value.data(), 3), 0U);
    const bytes_t old_default = hex("6F 6C 64");
    ASSERT_EQ(o.set_default_value(old_default.data(), 3), 0U);
    const bytes_t fresh = hex("6E 65 77 21");
    sweep_default(o, [&] { (void)o.set_default_value(fresh.data(), 4); },
                  [&] {
                      ASSERT_NE(o.default_value, nullptr);
                      EXPECT_EQ(value_of(*static_cast<qb_asn_octetstring*>(o.default_value)), old_default);
                      EXPECT_EQ(value_of(o), value);
                  });
    ASSERT_NE(o.default_value, nullptr);
    EXPECT_EQ(value_of(*static_cast<qb_asn_octetstring*>(o.default_value)), fresh);
}

// read_bits: the bits b reads as, `nbits` long.
bytes_t read_bits(const qb_asn_bitstring& b, unsigned int nbits) {
    unsigned char* p = nullptr;
    unsigned int got = 0;
    EXPECT_EQ(b.get_value(p, got), 0U);
    EXPECT_EQ(got, nbits);
    if (p == nullptr || got != nbits) return {};
    return bytes_t(p, p + (nbits + 7) / 8);
}

TEST_F(QbAsnBitstringOutOfMemory, SetDefaultValueBytes) {
    qb_asn_bitstring b(security_off);
    const bytes_t old_default = hex("F0");
    ASSERT_EQ(b.set_default_value(old_default.data(), 4), 0U);  // absent, defaulting to 1111
    const bytes_t fresh = hex("AB C0");
    sweep_default(b, [&] { (void)b.set_default_value(fresh.data(), 12); },
                  [&] { EXPECT_EQ(read_bits(b, 4), hex("F0")); });
    EXPECT_EQ(read_bits(b, 12), hex("AB C0"));
}

TEST_F(QbAsnbaseOutOfMemory, SetDefaultValue) {
    qb_asnbase rec(security_off);
    ASSERT_EQ(rec.set_default_value(), 0U);
    ASSERT_NE(rec.default_value, nullptr);
    sweep_default(rec, [&] { (void)rec.set_default_value(); }, nothing_more);
    EXPECT_NE(rec.default_value, nullptr);
    EXPECT_EQ(rec.is_defaultable(), 1);
}

TEST_F(QbAsnbaseOutOfMemory, SetDefaultValueWithoutPreviousDefault) {
    qb_asnbase rec(security_off);
    sweep_default(rec, [&] { (void)rec.set_default_value(); }, nothing_more);
    EXPECT_EQ(rec.is_defaultable(), 1);
}

TEST_F(QbasnIntegerOutOfMemory, SetDefaultValue) {
    qbasn_integer i(security_off);
    ASSERT_EQ(i.qb_asn_integer::set_default_value(4L), 0U);
    sweep_default(i, [&] { (void)i.set_default_value(); }, [&] { EXPECT_EQ(integer_value(i), 4); });
    EXPECT_EQ(integer_value(i), 0);
}

TEST_F(QbasnOctetstringOutOfMemory, SetDefaultValue) {
    qbasn_octetstring o(security_off);
    const bytes_t old_default = hex("41 00");
    ASSERT_EQ(o.qb_asn_octetstring::set_default_value(old_default.data(), 2), 0U);
    sweep_default(o, [&] { (void)o.set_default_value(); }, [&] { EXPECT_EQ(value_of(o), old_default); });
    EXPECT_EQ(value_of(o), hex("00"));
}

// ---- decoding ----

// expect_asnread_fails: `o` reading `in` needs to grow its cache, and that
// allocation fails.
void expect_asnread_fails(qb_asn_object& o, bytes_t in) {
    qb_r_buffer_t r(in.data(), static_cast<unsigned int>(in.size()));
    const outcome out = call_failing(0, [&] { (void)o.asnread(r); });
    expect_memory(out, "Out of memory in buffer_t::extend", "asn1/asnbase");
}

TEST_F(QbAsnOctetstringOutOfMemory, AsnreadCacheCannotGrow) {
    qb_asn_octetstring o(security_off);
    expect_asnread_fails(o, hex("04 05 68 65 6C 6C 6F"));
}

TEST_F(QbAsnOctetstringOutOfMemory, AsnreadOverAHeldValue) {
    // The held value fits the first block; the decoded one needs growth.
    qb_asn_octetstring o(security_on);
    const bytes_t held = hex("01 02 03");
    ASSERT_EQ(o.set_value(held.data(), 3), 0U);
    expect_asnread_fails(o, append_octets(hex("04 64"), pattern(100, 0x30)));
}

TEST_F(QbAsnIntegerOutOfMemory, AsnreadCacheCannotGrow) {
    qb_asn_integer i(security_off);
    expect_asnread_fails(i, hex("02 02 01 2C"));
}

// ---- a whole tree: build, read, write ----
//
// SEQUENCE {
//   a INTEGER, b BOOLEAN, c NULL, d OCTET STRING, e BIT STRING,
//   inner SEQUENCE { f INTEGER, g OCTET STRING },
//   h INTEGER DEFAULT 5
// }

struct inner_tree {
    qb_asn_sequence seq;
    qb_asn_integer f;
    qb_asn_octetstring g;
    explicit inner_tree(security_t s) : seq(s), f(s), g(s) {
        (void)seq.register_child(&f);
        (void)seq.register_child(&g);
    }
};

struct tree {
    qb_asn_sequence seq;
    qb_asn_integer a;
    qb_asn_boolean b;
    qb_asn_null c;
    qb_asn_octetstring d;
    qb_asn_bitstring e;
    inner_tree inner;
    qb_asn_integer h;
    tree(security_t s, bool segmented)
        : seq(s), a(s), b(s), c(s), d(s), e(s), inner(s), h(s) {
        if (segmented) {
            d.constructed_permitted = 1;
            d.indefinite_permitted = 1;
        }
        (void)seq.register_child(&a);
        (void)seq.register_child(&b);
        (void)seq.register_child(&c);
        (void)seq.register_child(&d);
        (void)seq.register_child(&e);
        (void)seq.register_child(&inner.seq);
        (void)seq.register_child(&h);
        (void)h.set_default_value(5L);
    }
};

// Definite lengths, primitive forms: written back unchanged.
const char* const kTreeDefinite =
    "30 20"
    "  02 02 01 2C"
    "  01 01 FF"
    "  05 00"
    "  04 05 68 65 6C 6C 6F"
    "  03 02 07 80"
    "  30 07 02 01 05 04 02 61 62"
    "  02 01 07";

// The same values with indefinite lengths and a segmented OCTET STRING.
const char* const kTreeIndefinite =
    "30 80"
    "  02 02 01 2C"
    "  01 01 FF"
    "  05 00"
    "  24 80 04 02 68 65 04 03 6C 6C 6F 00 00"
    "  03 02 07 80"
    "  30 80 02 01 05 04 02 61 62 00 00"
    "  02 01 07"
    "00 00";

void sweep_tree(security_t s, const char* input, bool segmented) {
    // The run allocates nothing of its own inside the guard: it reads from a
    // buffer made beforehand and compares without copying.
    bytes_t in = hex(input);
    const bytes_t expected = hex(kTreeDefinite);
    unsigned int read_rc = kUntouched;
    unsigned int write_rc = kUntouched;
    bool same = false;
    auto work = [&] {
        read_rc = kUntouched;
        write_rc = kUntouched;
        same = false;
        tree t(s, segmented);
        qb_r_buffer_t r(in.data(), static_cast<unsigned int>(in.size()));
        read_rc = t.seq.asnread(r);
        if (read_rc != 0) return;
        qb_buffer_t out(s);
        write_rc = t.seq.asnwrite(out);
        same = out.length() == expected.size() &&
               std::memcmp(out.data, expected.data(), expected.size()) == 0;
    };
    long failures = 0;
    for (long n = 0; n < kSweepLimit; ++n) {
        SCOPED_TRACE(::testing::Message() << "allocation #" << n + 1 << " failed");
        const outcome o = call_failing(n, work);
        if (o.kind == outcome::completed) {
            // A run that completes has read and written the tree correctly.
            EXPECT_EQ(read_rc, 0U);
            EXPECT_EQ(write_rc, 0U);
            EXPECT_TRUE(same);
            if (!o.injected) break;
            continue;
        }
        ++failures;
        EXPECT_TRUE(o.injected);
        EXPECT_EQ(o.kind, outcome::memory) << "only qb_asn_memexception may come out";
        EXPECT_EQ(o.code, 0x10652065U);
        EXPECT_STREQ(o.file, "asn1/asnbase");
        ASSERT_LT(n + 1, kSweepLimit) << "the run never completed";
    }
    EXPECT_GE(failures, 8);  // at least: two child arrays, the default, five decoded values
}

TEST_F(ObjectTreeOutOfMemory, BuildReadWriteSweep) { sweep_tree(security_off, kTreeDefinite, false); }

TEST_F(ObjectTreeOutOfMemory, BuildReadWriteSweepWiping) { sweep_tree(security_on, kTreeDefinite, false); }

TEST_F(ObjectTreeOutOfMemory, BuildReadWriteSweepIndefiniteAndSegmented) {
    sweep_tree(security_off, kTreeIndefinite, true);
}

TEST_F(ObjectTreeOutOfMemory, TreeReadsAndWritesWithoutFailures) {
    // The sweep's reference run, on its own: the input is read and written back as DER.
    for (const char* input : {kTreeDefinite, kTreeIndefinite}) {
        SCOPED_TRACE(input);
        bytes_t in = hex(input);
        tree t(security_off, input == kTreeIndefinite);
        qb_r_buffer_t r(in.data(), static_cast<unsigned int>(in.size()));
        ASSERT_EQ(t.seq.asnread(r), 0U);
        EXPECT_EQ(r.remaining, 0U);
        qb_buffer_t out(security_off);
        ASSERT_EQ(t.seq.asnwrite(out), 0U);
        EXPECT_EQ(bytes_of(out), hex(kTreeDefinite));
    }
}

}  // namespace
