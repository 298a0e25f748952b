// tests/asn1/sequenceof_test.cpp - the SEQUENCE OF template qb_asn_sequenceof<T>
// and the array with holes qb_asn_arrayof<T>.
//
// Covers the list operations (add_child, add_child_before with the front
// insertion into a full list, delete_child, emptyi), presence (optional lists
// with no elements are absent, mandatory ones are written as 30 00, element
// validity is not consulted), reading definite and indefinite lists (old
// elements discarded, a failing element ending the read with its code),
// element types (INTEGER, OCTET STRING, a record, SEQUENCE OF SEQUENCE OF),
// the array-of slots and delegation, 100 000 elements, the nesting bound
// (also in a thread with a 256 KiB stack), and hostile input.
#include <gtest/gtest.h>
#include <pthread.h>

#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "asn1/asnbase.h"
#include "support/buffers.h"
#include "support/frames.h"
#include "support/hex.h"
#include "support/hostile.h"

namespace {

using Bytes = std::vector<unsigned char>;

// ---- helpers ----

using qb_test::appends, qb_test::bool_value, qb_test::expect_bare_text, qb_test::int_value,
      qb_test::read_frame, qb_test::read_into, qb_test::reads, qb_test::register_all, qb_test::type_summary,
      qb_test::value_of, qb_test::write_bytes, qb_test::write_frame;

using IntList = qb_asn_sequenceof<qb_asn_integer>;
using OctetList = qb_asn_sequenceof<qb_asn_octetstring>;
using IntListList = qb_asn_sequenceof<IntList>;
using IntArray = qb_asn_arrayof<qb_asn_integer>;

// Appends one INTEGER element per value.
void fill(IntList& list, std::initializer_list<long> values) {
    for (long v : values) {
        qb_asn_integer* e = list.add_child();
        ASSERT_NE(e, nullptr);
        ASSERT_EQ(e->set_value(v), 0u);
    }
}

// The values of the elements in slot order; a null slot gives -999999.
std::vector<long> values_of(const IntList& list) {
    std::vector<long> out;
    for (unsigned int i = 0; i < list.get_child_count(); ++i) {
        const qb_asn_integer* e = list.get_element(i);
        if (e == nullptr) {
            out.push_back(-999999);
            continue;
        }
        long v = -1;
        EXPECT_EQ(e->get_value(v), 0u) << "element " << i;
        out.push_back(v);
    }
    return out;
}

// ---- element types ----

// CountedInt: an INTEGER that counts its live instances, so deletions by
// the list can be checked without the leak checker.
class CountedInt : public qb_asn_integer {
public:
    static inline int live = 0;
    explicit CountedInt(security_t s) : qb_asn_integer(s) { ++live; }
    ~CountedInt() override { --live; }
};
using CountedList = qb_asn_sequenceof<CountedInt>;

// FlakyInt: an INTEGER whose allocation fails on demand. `allow` >= 0 lets
// that many allocations succeed and fails the next one (then disarms); -1
// never fails.
class FlakyInt : public qb_asn_integer {
public:
    static inline int allow = -1;
    explicit FlakyInt(security_t s) : qb_asn_integer(s) {}
    static void* operator new(std::size_t n, const std::nothrow_t&) noexcept {
        if (allow == 0) {
            allow = -1;
            return nullptr;
        }
        if (allow > 0) --allow;
        return ::operator new(n, std::nothrow);
    }
    static void operator delete(void* p) noexcept { ::operator delete(p); }
    static void operator delete(void* p, const std::nothrow_t&) noexcept { ::operator delete(p); }
};
using FlakyList = qb_asn_sequenceof<FlakyInt>;

// Person: a record type as the generated records build them: a SEQUENCE
// whose members are registered in declaration order by its constructor.
class Person : public qb_asn_sequence {
public:
    qb_asn_integer id;
    qb_asn_octetstring name;
    qb_asn_boolean admin;  // OPTIONAL

    explicit Person(security_t s) : qb_asn_sequence(s), id(s), name(s), admin(s) {
        set_type_name("Person");
        admin.set_optional(1);
        register_child(&id);
        register_child(&name);
        register_child(&admin);
    }
    ~Person() override = default;

    void set(long i, const char* n) {
        id.set_value(i);
        name.set_value(reinterpret_cast<const unsigned char*>(n),
                       static_cast<unsigned int>(std::strlen(n)));
    }
};
using PersonList = qb_asn_sequenceof<Person>;

// nest: SEQUENCE OF itself, so input chooses the depth of the tree.
struct nest : qb_asn_sequenceof<nest> {
    explicit nest(security_t s) : qb_asn_sequenceof<nest>(s) {}
};

// SpyParent: a sequence that counts the invalidations that reach it.
class SpyParent : public qb_asn_sequence {
public:
    explicit SpyParent(security_t s = security_off) : qb_asn_sequence(s) {}
    mutable int invalidations = 0;
    void invalidate_encoding() const override {
        ++invalidations;
        qb_asn_sequence::invalidate_encoding();
    }
};

// ---- construction ----

TEST(QbAsnSequenceOf, ConstructionSettings) {
    IntList list(security_off);
    EXPECT_EQ(type_summary(list), "SEQUENCEOF 16/0 -CI");
    EXPECT_EQ(list.get_child_count(), 0u);
    EXPECT_EQ(list.get_empty_permitted(), 1);
    EXPECT_EQ(list.is_optional(), 0);
    EXPECT_EQ(list.is_present(), 1);  // empty permitted: present with no elements
    EXPECT_EQ(list.should_generate_constructed(), 1);
    EXPECT_EQ(list.get_element(0), nullptr);
}

TEST(QbAsnSequenceOf, MandatoryEmptyListWritesAnEmptySequence) {
    IntList list(security_off);
    EXPECT_EQ(write_bytes(list), hex("30 00"));
}

TEST(QbAsnSequenceOf, OptionalEmptyListIsAbsentAndWritesNothing) {
    IntList list(security_off);
    EXPECT_EQ(list.set_optional(1), 0u);
    EXPECT_EQ(list.get_empty_permitted(), 0);
    EXPECT_EQ(list.is_optional(), 1);
    EXPECT_EQ(list.is_present(), 0);
    EXPECT_TRUE(appends("EE", [&](qb_buffer_t& out) { return list.asnwrite(out); }, 0u, "EE"));
}

TEST(QbAsnSequenceOf, OptionalListInsideARecordIsLeftOut) {
    qb_asn_sequence rec(security_off);
    qb_asn_integer first(security_off);
    IntList list(security_off);
    qb_asn_integer last(security_off);
    list.set_optional(1);
    register_all(rec, {&first, &list, &last});
    first.set_value(1);
    last.set_value(2);
    EXPECT_EQ(write_bytes(rec), hex("30 06 02 01 01 02 01 02"));

    fill(list, {5});
    EXPECT_EQ(write_bytes(rec), hex("30 0B 02 01 01 30 03 02 01 05 02 01 02"));
}

TEST(QbAsnSequenceOf, OptionalListWithElementsIsPresent) {
    IntList list(security_off);
    fill(list, {7});
    list.set_optional(1);
    EXPECT_EQ(list.is_present(), 1);
    EXPECT_EQ(write_bytes(list), hex("30 03 02 01 07"));
}

TEST(QbAsnSequenceOf, ElementValidityIsNotConsulted) {
    // An element that was never given a value does not make the list absent;
    // writing reports the element's own error and leaves the output as it was.
    IntList list(security_off);
    ASSERT_NE(list.add_child(), nullptr);
    EXPECT_EQ(list.is_present(), 1);
    EXPECT_TRUE(appends("EE", [&](qb_buffer_t& out) { return list.asnwrite(out); }, 0x106521A0u, "EE"));
}

// ---- add_child / add_child_before ----

TEST(QbAsnSequenceOf, AddChildAppendsOwnedElements) {
    IntList list(security_off);
    qb_asn_integer* a = list.add_child();
    qb_asn_integer* b = list.add_child();
    ASSERT_TRUE(a != nullptr && b != nullptr);
    EXPECT_NE(a, b);
    EXPECT_EQ(list.get_child_count(), 2u);
    EXPECT_EQ(list.get_child(0), a);
    EXPECT_EQ(list.get_element(1), b);
    EXPECT_EQ(a->get_parent(), &list);
    EXPECT_EQ(b->get_parent(), &list);
    EXPECT_EQ(a->is_present(), 0);  // the caller fills it
    a->set_value(-1);
    b->set_value(256);
    EXPECT_EQ(write_bytes(list), hex("30 07 02 01 FF 02 02 01 00"));
}

TEST(QbAsnSequenceOf, AddingAnElementThatIsAlreadyPresentReachesTheEncoding) {
    // An empty inner list is present as soon as it is built, so no setter
    // will tell the outer list later: adding it must drop the outer cache.
    IntListList outer(security_off);
    ASSERT_EQ(write_bytes(outer), hex("30 00"));
    ASSERT_EQ(outer.is_encoding_valid(), 1);
    ASSERT_NE(outer.add_child(), nullptr);
    EXPECT_EQ(outer.is_encoding_valid(), 0);
    EXPECT_EQ(write_bytes(outer), hex("30 02 30 00"));
    ASSERT_NE(outer.add_child_before(), nullptr);
    EXPECT_EQ(outer.is_encoding_valid(), 0);
    EXPECT_EQ(write_bytes(outer), hex("30 04 30 00 30 00"));
}

TEST(QbAsnSequenceOf, AddChildHandsOnTheSecuritySetting) {
    for (security_t s : {security_off, security_on, security_lcs}) {
        SCOPED_TRACE(static_cast<int>(s));
        IntList list(s);
        qb_asn_integer* e = list.add_child();
        ASSERT_NE(e, nullptr);
        EXPECT_EQ(e->security, s);
        EXPECT_EQ(e->encoding.security, s);
        qb_asn_integer* f = list.add_child_before();
        ASSERT_NE(f, nullptr);
        EXPECT_EQ(f->security, s);
        EXPECT_EQ(f->encoding.security, s);
    }
}

TEST(QbAsnSequenceOf, DecodedElementsGetTheSecuritySetting) {
    IntList list(security_on);
    ASSERT_EQ(read_into(list, hex("30 06 02 01 01 02 01 02")).rc, 0u);
    ASSERT_EQ(list.get_child_count(), 2u);
    for (unsigned int i = 0; i < 2; ++i) {
        EXPECT_EQ(list.get_element(i)->security, security_on);
        EXPECT_EQ(list.get_element(i)->encoding.security, security_on);
    }
}

TEST(QbAsnSequenceOf, AddChildBeforeInsertsFirst) {
    IntList list(security_off);
    fill(list, {1, 2, 3});
    qb_asn_integer* front = list.add_child_before();
    ASSERT_NE(front, nullptr);
    EXPECT_EQ(front->get_parent(), &list);
    front->set_value(0);
    EXPECT_EQ(list.get_child_count(), 4u);
    EXPECT_EQ(list.get_element(0), front);
    EXPECT_EQ(values_of(list), (std::vector<long>{0, 1, 2, 3}));
    EXPECT_EQ(write_bytes(list), hex("30 0C 02 01 00 02 01 01 02 01 02 02 01 03"));
}

TEST(QbAsnSequenceOf, AddChildBeforeIntoAnEmptyList) {
    IntList list(security_off);
    qb_asn_integer* e = list.add_child_before();
    ASSERT_NE(e, nullptr);
    EXPECT_EQ(list.get_child_count(), 1u);
    EXPECT_EQ(list.capacity, 512u);
    EXPECT_EQ(list.get_element(0), e);
    e->set_value(9);
    EXPECT_EQ(write_bytes(list), hex("30 03 02 01 09"));
}

TEST(QbAsnSequenceOf, AddChildBeforeIntoAFullListDeletesTheOverwrittenElement_quirk) {
    const int live0 = CountedInt::live;
    {
        CountedList list(security_off);
        for (long i = 0; i < 32; ++i) {
            CountedInt* e = list.add_child();
            ASSERT_NE(e, nullptr);
            e->set_value(i);
        }
        ASSERT_EQ(list.capacity, 32u);
        EXPECT_EQ(CountedInt::live, live0 + 32);
        qb_asn_object* former_second = list.get_child(1);

        CountedInt* front = list.add_child_before();
        ASSERT_NE(front, nullptr);
        front->set_value(100);
        // The former first element was overwritten and deleted; nothing moved.
        EXPECT_EQ(CountedInt::live, live0 + 32);
        EXPECT_EQ(list.get_child_count(), 33u);
        EXPECT_EQ(list.capacity, 544u);
        EXPECT_EQ(list.get_child(0), front);
        EXPECT_EQ(list.get_child(1), former_second);
        EXPECT_EQ(list.get_child(32), nullptr);  // the new last slot stays empty
        for (unsigned int i = 1; i < 32; ++i) {
            long v = -1;
            ASSERT_NE(list.get_element(i), nullptr);
            EXPECT_EQ(list.get_element(i)->get_value(v), 0u);
            EXPECT_EQ(v, static_cast<long>(i));
        }
        // Writing skips the empty slot.
        const auto w = write_frame(list);
        EXPECT_EQ(w.rc, 0u);
        EXPECT_EQ(w.bytes,
                  hex("30 60 02 01 64 02 01 01 02 01 02 02 01 03 02 01 04 02 01 05 02 01 06 02 "
                      "01 07 02 01 08 02 01 09 02 01 0A 02 01 0B 02 01 0C 02 01 0D 02 01 0E 02 "
                      "01 0F 02 01 10 02 01 11 02 01 12 02 01 13 02 01 14 02 01 15 02 01 16 02 "
                      "01 17 02 01 18 02 01 19 02 01 1A 02 01 1B 02 01 1C 02 01 1D 02 01 1E 02 "
                      "01 1F "));
        // The list keeps working with the empty slot inside.
        EXPECT_EQ(list.delete_child(32), 0u);
        EXPECT_EQ(list.get_child_count(), 32u);
        EXPECT_EQ(CountedInt::live, live0 + 32);
        EXPECT_EQ(write_frame(list).bytes.size(), 98u);
    }
    EXPECT_EQ(CountedInt::live, live0);
}

TEST(QbAsnSequenceOf, EmptySlotAfterFrontInsertionIsSkippedByEveryWalk) {
    const int live0 = CountedInt::live;
    CountedList list(security_off);
    for (long i = 0; i < 32; ++i) list.add_child()->set_value(i);
    ASSERT_NE(list.add_child_before(), nullptr);
    list.get_element(0)->set_value(100);
    ASSERT_EQ(list.get_child(32), nullptr);
    qb_buffer_t shown(security_off);
    EXPECT_EQ(list.display(shown), 0u);
    EXPECT_EQ(list.display_state_flags(shown, 0), 0u);
    EXPECT_EQ(list.normalize(), 0u);
    EXPECT_EQ(list.is_valid(1), 1);
    EXPECT_EQ(list.emptyi(), 0u);
    EXPECT_EQ(list.get_child_count(), 0u);
    EXPECT_EQ(CountedInt::live, live0);
}

// ---- delete_child ----

TEST(QbAsnSequenceOf, DeleteChildShiftsTheLaterElements) {
    const int live0 = CountedInt::live;
    SpyParent parent;
    CountedList list(security_off);
    parent.register_child(&list);
    for (long v : {10, 20, 30, 40}) list.add_child()->set_value(v);
    ASSERT_EQ(write_bytes(parent), hex("30 0E 30 0C 02 01 0A 02 01 14 02 01 1E 02 01 28"));
    ASSERT_EQ(list.is_encoding_valid(), 1);
    ASSERT_EQ(parent.is_encoding_valid(), 1);
    qb_asn_object* third = list.get_child(2);
    qb_asn_object* fourth = list.get_child(3);
    const int seen = parent.invalidations;

    EXPECT_EQ(list.delete_child(1), 0u);
    EXPECT_EQ(list.get_child_count(), 3u);
    EXPECT_EQ(CountedInt::live, live0 + 3);
    EXPECT_EQ(list.get_child(1), third);
    EXPECT_EQ(list.get_child(2), fourth);
    EXPECT_EQ(list.children[3], nullptr);  // the freed last slot is cleared
    EXPECT_EQ(list.is_encoding_valid(), 0);
    EXPECT_EQ(parent.is_encoding_valid(), 0);
    EXPECT_GT(parent.invalidations, seen);
    EXPECT_EQ(write_bytes(parent), hex("30 0B 30 09 02 01 0A 02 01 1E 02 01 28"));

    EXPECT_EQ(list.delete_child(2), 0u);  // the last one
    EXPECT_EQ(list.get_child_count(), 2u);
    EXPECT_EQ(list.children[2], nullptr);
    EXPECT_EQ(write_bytes(list), hex("30 06 02 01 0A 02 01 1E"));

    EXPECT_EQ(list.delete_child(0), 0u);  // the first one
    EXPECT_EQ(list.get_child_count(), 1u);
    EXPECT_EQ(write_bytes(list), hex("30 03 02 01 1E"));
    EXPECT_EQ(CountedInt::live, live0 + 1);
}

TEST(QbAsnSequenceOf, DeleteChildOutOfRange) {
    IntList empty(security_off);
    EXPECT_EQ(empty.delete_child(0), 0x1065219Cu);
    EXPECT_EQ(empty.get_child_count(), 0u);

    IntList list(security_off);
    fill(list, {1, 2});
    ASSERT_EQ(write_frame(list).rc, 0u);
    EXPECT_EQ(list.delete_child(2), 0x1065219Cu);
    EXPECT_EQ(list.delete_child(0xFFFFFFFFu), 0x1065219Cu);
    EXPECT_EQ(list.get_child_count(), 2u);
    EXPECT_EQ(list.is_encoding_valid(), 1);  // a refused deletion changes nothing
    EXPECT_EQ(values_of(list), (std::vector<long>{1, 2}));
}

TEST(QbAsnSequenceOf, DeleteChildDoesNotRederivePresence) {
    IntList list(security_off);
    list.set_optional(1);
    fill(list, {3});
    ASSERT_EQ(list.is_present(), 1);
    EXPECT_EQ(list.delete_child(0), 0u);
    EXPECT_EQ(list.get_child_count(), 0u);
    EXPECT_EQ(list.is_present(), 1);  // still present although optional and empty
    EXPECT_EQ(write_bytes(list), hex("30 00"));
    // empty() re-derives it: an optional list with no elements is absent.
    EXPECT_EQ(list.empty(), 0u);
    EXPECT_EQ(list.is_present(), 0);
    EXPECT_EQ(write_frame(list).bytes, Bytes{});
}

// ---- emptyi / empty / destructor ----

TEST(QbAsnSequenceOf, EmptyiDeletesEveryElement) {
    const int live0 = CountedInt::live;
    SpyParent parent;
    CountedList list(security_off);
    parent.register_child(&list);
    for (long v : {1, 2, 3}) list.add_child()->set_value(v);
    ASSERT_EQ(write_frame(parent).rc, 0u);
    ASSERT_EQ(CountedInt::live, live0 + 3);
    const unsigned int capacity = list.capacity;

    EXPECT_EQ(list.emptyi(), 0u);
    EXPECT_EQ(list.get_child_count(), 0u);
    EXPECT_EQ(CountedInt::live, live0);
    EXPECT_EQ(list.capacity, capacity);
    for (unsigned int i = 0; i < 3; ++i) EXPECT_EQ(list.children[i], nullptr);
    EXPECT_EQ(list.is_encoding_valid(), 0);
    EXPECT_EQ(parent.is_encoding_valid(), 0);
    EXPECT_EQ(write_bytes(parent), hex("30 02 30 00"));

    // The list keeps working.
    list.add_child()->set_value(4);
    EXPECT_EQ(write_bytes(list), hex("30 03 02 01 04"));
}

TEST(QbAsnSequenceOf, EmptyRederivesPresence) {
    IntList mandatory(security_off);
    fill(mandatory, {1, 2});
    EXPECT_EQ(mandatory.empty(), 0u);
    EXPECT_EQ(mandatory.get_child_count(), 0u);
    EXPECT_EQ(mandatory.is_present(), 1);
    EXPECT_EQ(write_bytes(mandatory), hex("30 00"));

    IntList optional(security_off);
    optional.set_optional(1);
    fill(optional, {1, 2});
    ASSERT_EQ(optional.is_present(), 1);
    EXPECT_EQ(optional.empty(), 0u);
    EXPECT_EQ(optional.get_child_count(), 0u);
    EXPECT_EQ(optional.is_present(), 0);
    EXPECT_EQ(write_frame(optional).bytes, Bytes{});
}

TEST(QbAsnSequenceOf, DestructorDeletesTheElements) {
    const int live0 = CountedInt::live;
    {
        CountedList list(security_off);
        for (long v : {1, 2, 3, 4, 5}) list.add_child()->set_value(v);
        EXPECT_EQ(CountedInt::live, live0 + 5);
    }
    EXPECT_EQ(CountedInt::live, live0);
}

TEST(QbAsnSequenceOf, DestructorDoesNotWalkUpTheTree) {
    SpyParent parent;
    auto* list = new IntList(security_off);
    parent.register_child(list);
    fill(*list, {1, 2, 3});
    ASSERT_EQ(write_frame(parent).rc, 0u);
    ASSERT_EQ(parent.is_encoding_valid(), 1);
    const int seen = parent.invalidations;
    delete list;
    EXPECT_EQ(parent.invalidations, seen);
    EXPECT_EQ(parent.is_encoding_valid(), 1);

    // The parent may be gone before a list that still points at it.
    auto* gone = new qb_asn_sequence(security_off);
    auto* orphan = new IntList(security_off);
    gone->register_child(orphan);
    fill(*orphan, {1});
    delete gone;
    delete orphan;  // must not touch the deleted parent (checked by the sanitizer build)
}

// ---- reading ----

TEST(QbAsnSequenceOf, ReadEmptyDefiniteList) {
    IntList list(security_off);
    EXPECT_TRUE(reads(list, hex("30 00"), 0u, 2u));
    EXPECT_EQ(list.get_child_count(), 0u);
    EXPECT_EQ(list.is_present(), 1);
}

TEST(QbAsnSequenceOf, ReadIndefiniteList) {
    IntList list(security_off);
    EXPECT_TRUE(reads(list, hex("30 80 02 01 01 02 01 02 00 00"), 0u, 10u));
    EXPECT_EQ(values_of(list), (std::vector<long>{1, 2}));
    EXPECT_EQ(list.is_present(), 1);
    EXPECT_EQ(list.is_indefinite_length(), 1);
    // Written back with a definite length.
    EXPECT_EQ(write_bytes(list), hex("30 06 02 01 01 02 01 02"));
}

TEST(QbAsnSequenceOf, ReadEmptyIndefiniteList) {
    IntList list(security_off);
    EXPECT_TRUE(reads(list, hex("30 80 00 00 02 01 05"), 0u, 4u));
    EXPECT_EQ(list.get_child_count(), 0u);
}

TEST(QbAsnSequenceOf, ReadDefiniteListLeavesWhatFollows) {
    IntList list(security_off);
    EXPECT_TRUE(reads(list, hex("30 06 02 01 01 02 01 02 02 01 03"), 0u, 8u));
    EXPECT_EQ(values_of(list), (std::vector<long>{1, 2}));
    EXPECT_EQ(list.is_indefinite_length(), 0);
}

TEST(QbAsnSequenceOf, ReadLongFormLengths) {
    for (const char* text : {"30 81 06 02 01 01 02 01 02", "30 82 00 06 02 01 01 02 01 02",
                             "30 84 00 00 00 07 02 81 01 01 02 01 02"}) {
        SCOPED_TRACE(text);
        IntList list(security_off);
        const Bytes in = hex(text);
        EXPECT_TRUE(reads(list, in, 0u, in.size()));
        EXPECT_EQ(values_of(list), (std::vector<long>{1, 2}));
    }
}

TEST(QbAsnSequenceOf, AFailingElementEndsTheReadAndTheEarlierOnesStay) {
    IntList list(security_off);
    EXPECT_TRUE(reads(list, hex("30 06 02 01 01 04 01 00"), 0x106521A4u, 0u));  // the view is put back
    ASSERT_EQ(list.get_child_count(), 1u);
    ASSERT_NE(list.get_element(0), nullptr);
    // The failed read's full invalidation made the kept element absent.
    EXPECT_EQ(list.get_element(0)->is_present(), 0);
    EXPECT_EQ(list.is_present(), 0);
    unsigned char* p = nullptr;
    unsigned int n = 0;
    EXPECT_EQ(list.get_element(0)->get_value(p, n), 0x106521A0u);
}

TEST(QbAsnSequenceOf, AFailingElementEndsAnIndefiniteRead) {
    IntList list(security_off);
    EXPECT_TRUE(reads(list, hex("30 80 02 01 01 02 01 02 01 01 FF 00 00"), 0x106521A4u, 0u));
    EXPECT_EQ(list.get_child_count(), 2u);
    EXPECT_EQ(list.is_present(), 0);
}

// KeptCase: an input a list refuses with `status`, keeping `kept` elements.
struct KeptCase {
    const char *name, *hex;
    unsigned int status, kept;
};

// expect_kept_on_error: each input, read into a fresh L, gives its status
// with the view put back, the list absent and `kept` elements left in it.
template <class L>
void expect_kept_on_error(std::initializer_list<KeptCase> cases) {
    for (const KeptCase& c : cases) {
        SCOPED_TRACE(c.name);
        L list(security_off);
        EXPECT_TRUE(reads(list, c.hex, c.status, 0));
        EXPECT_EQ(list.get_child_count(), c.kept);
        EXPECT_EQ(list.is_present(), 0);
    }
}

TEST(QbAsnSequenceOf, ReadErrors) {
    // The frame refused: nothing read.
    expect_kept_on_error<IntList>({
        {"empty input", "", 0x10652198, 0},
        {"SET instead of SEQUENCE", "31 03 02 01 01", 0x106521A4, 0},
        {"primitive form", "10 03 02 01 01", 0x1065219F, 0},
        {"length cut off", "30 82 00", 0x10652198, 0},
        {"declared length too long", "30 07 02 01 01 02 01 02", 0x10652198, 0},
        // An element refused: its status is passed up.
        {"element cut off", "30 05 02 01 01 02 02", 0x10652198, 1},
        {"element longer than the list", "30 04 02 01 01 02 02 05", 0x10652198, 1},
        {"constructed INTEGER", "30 03 22 01 00", 0x1065219E, 0},
        {"indefinite INTEGER", "30 80 02 80 00 00 00 00", 0x1065219D, 0},
        {"no end-of-contents before the data ends", "30 80 02 01 01", 0x10652198, 1},
    });
}

TEST(QbAsnSequenceOf, ElementsThatReadNothingAreMalformed) {
    qb_asn_sequenceof<qb_asn_nothing> list(security_off);
    EXPECT_TRUE(reads(list, "30 03 02 01 01", 0x1065219Bu, 0));
    EXPECT_EQ(list.get_child_count(), 0u);
    EXPECT_TRUE(reads(list, "30 80 05 00 00 00", 0x1065219Bu, 0));
    // Nothing to read is fine.
    EXPECT_TRUE(reads(list, "30 00", 0u, 2));
    EXPECT_TRUE(reads(list, "30 80 00 00", 0u, 4));
}

TEST(QbAsnSequenceOf, ReadingDiscardsTheOldElements) {
    const int live0 = CountedInt::live;
    CountedList list(security_off);
    for (long v : {1, 2, 3, 4, 5}) list.add_child()->set_value(v);
    ASSERT_EQ(read_into(list, hex("30 03 02 01 07")).rc, 0u);
    EXPECT_EQ(list.get_child_count(), 1u);
    EXPECT_EQ(CountedInt::live, live0 + 1);
    long v = 0;
    EXPECT_EQ(list.get_element(0)->get_value(v), 0u);
    EXPECT_EQ(v, 7);
    EXPECT_EQ(write_bytes(list), hex("30 03 02 01 07"));

    // Also when the new content fails part-way.
    for (long w : {8, 9}) list.add_child()->set_value(w);
    EXPECT_EQ(read_into(list, hex("30 06 02 01 0B 04 01 00")).rc, 0x106521A4u);
    EXPECT_EQ(list.get_child_count(), 1u);
    EXPECT_EQ(CountedInt::live, live0 + 1);

    // An empty list read empties it.
    ASSERT_EQ(read_into(list, hex("30 00")).rc, 0u);
    EXPECT_EQ(list.get_child_count(), 0u);
    EXPECT_EQ(CountedInt::live, live0);
}

TEST(QbAsnSequenceOf, AllocationFailureWhileReading) {
    FlakyList list(security_off);
    FlakyInt::allow = 1;  // the second element cannot be created
    bool thrown = false;
    try {
        (void)read_into(list, hex("30 09 02 01 01 02 01 02 02 01 03"));
    } catch (const qb_asn_memexception& e) {
        thrown = true;
        EXPECT_EQ(e.code, 0x10652065u);
        EXPECT_STREQ(e.message, "Out of memory in asn_sequenceof:decode_value");
        EXPECT_STREQ(e.file, "asn1/asnbase");
        EXPECT_GT(e.line, 0);
    }
    FlakyInt::allow = -1;
    EXPECT_TRUE(thrown);
    EXPECT_EQ(list.get_child_count(), 1u);
    // The next read works, and the nesting count of this thread was given back.
    ASSERT_EQ(read_into(list, hex("30 06 02 01 05 02 01 06")).rc, 0u);
    EXPECT_EQ(list.get_child_count(), 2u);
}

TEST(QbAsnSequenceOf, AllocationFailureInAddChild) {
    FlakyList list(security_off);
    list.add_child()->set_value(1);
    FlakyInt::allow = 0;
    EXPECT_EQ(list.add_child(), nullptr);
    EXPECT_EQ(list.get_child_count(), 1u);
    FlakyInt::allow = 0;
    EXPECT_EQ(list.add_child_before(), nullptr);
    EXPECT_EQ(list.get_child_count(), 1u);
    FlakyInt::allow = -1;
    EXPECT_EQ(write_bytes(list), hex("30 03 02 01 01"));
}

// ---- element types ----

// expect_list_round_trip: `src` writes `wire`; a fresh L reads it, passes `check` and
// writes the same octets again.
template <class L, class Check>
void expect_list_round_trip(const L& src, const char* wire, Check check) {
    const Bytes bytes = write_bytes(src);
    EXPECT_EQ(bytes, hex(wire));
    L dst(security_off);
    ASSERT_EQ(read_into(dst, bytes).rc, 0u);
    check(dst);
    EXPECT_EQ(write_bytes(dst), hex(wire));
}

TEST(QbAsnSequenceOf, IntegerRoundTrip) {
    IntList src(security_off);
    fill(src, {0, 127, 128, -128, -129, 0x7FFFFFFF, -2147483647L - 1});
    const char* kWire =
        "30 1D 02 01 00 02 01 7F 02 02 00 80 02 01 80 02 02 FF 7F 02 04 7F FF FF FF "
        "02 04 80 00 00 00";
    expect_list_round_trip(src, kWire, [&](const IntList& dst) {
        EXPECT_EQ(values_of(dst), values_of(src));
        EXPECT_TRUE(src == dst);
    });
}

TEST(QbAsnSequenceOf, OctetStringRoundTrip) {
    OctetList src(security_off);
    const Bytes values[] = {{}, {0x00, 0xFF}, {'h', 'e', 'l', 'l', 'o'}};
    for (const Bytes& v : values) {
        qb_asn_octetstring* e = src.add_child();
        ASSERT_NE(e, nullptr);
        ASSERT_EQ(e->set_value(v.data(), static_cast<unsigned int>(v.size())), 0u);
    }
    const char* kWire = "30 0D 04 00 04 02 00 FF 04 05 68 65 6C 6C 6F";
    expect_list_round_trip(src, kWire, [&](const OctetList& dst) {
        ASSERT_EQ(dst.get_child_count(), 3u);
        for (unsigned int i = 0; i < 3; ++i) EXPECT_EQ(value_of(*dst.get_element(i)), values[i]);
    });
}

TEST(QbAsnSequenceOf, RecordElementsRoundTrip) {
    PersonList src(security_off);
    Person* a = src.add_child();
    Person* b = src.add_child();
    ASSERT_TRUE(a != nullptr && b != nullptr);
    EXPECT_STREQ(a->get_type_name(), "Person");
    a->set(7, "ab");
    b->set(300, "");
    b->admin.set_value(1);
    const char* kWire = "30 14 30 07 02 01 07 04 02 61 62 30 09 02 02 01 2C 04 00 01 01 FF";
    expect_list_round_trip(src, kWire, [](const PersonList& dst) {
        ASSERT_EQ(dst.get_child_count(), 2u);
        EXPECT_EQ(int_value(dst.get_element(0)->id), 7);
        EXPECT_EQ(value_of(dst.get_element(0)->name), (Bytes{'a', 'b'}));
        EXPECT_EQ(dst.get_element(0)->admin.is_present(), 0);
        EXPECT_EQ(int_value(dst.get_element(1)->id), 300);
        EXPECT_EQ(value_of(dst.get_element(1)->name), Bytes{});
        EXPECT_NE(bool_value(dst.get_element(1)->admin), 0);
    });
}

TEST(QbAsnSequenceOf, RecordElementErrorsArePassedUp) {
    PersonList list(security_off);
    // The second record has an extra member: surplus content.
    EXPECT_TRUE(reads(list, "30 12 30 07 02 01 07 04 02 61 62 30 07 02 01 01 04 00 05 00", 0x106521A5u, 0));
    EXPECT_EQ(list.get_child_count(), 1u);
    // A record whose mandatory name is missing.
    EXPECT_EQ(read_frame(list, hex("30 05 30 03 02 01 07")), 0x10652198u);
    EXPECT_EQ(list.get_child_count(), 0u);
}

TEST(QbAsnSequenceOf, NestedSequenceOfRoundTrip) {
    IntListList src(security_off);
    IntList* a = src.add_child();
    IntList* b = src.add_child();
    IntList* c = src.add_child();
    ASSERT_TRUE(a != nullptr && b != nullptr && c != nullptr);
    EXPECT_STREQ(a->get_type_name(), "SEQUENCEOF");
    fill(*a, {1, 2});
    fill(*c, {3});
    const char* kWire = "30 0F 30 06 02 01 01 02 01 02 30 00 30 03 02 01 03";
    expect_list_round_trip(src, kWire, [](const IntListList& dst) {
        ASSERT_EQ(dst.get_child_count(), 3u);
        EXPECT_EQ(values_of(*dst.get_element(0)), (std::vector<long>{1, 2}));
        EXPECT_EQ(values_of(*dst.get_element(1)), std::vector<long>{});
        EXPECT_EQ(values_of(*dst.get_element(2)), (std::vector<long>{3}));
    });

    // The same value read from indefinite lengths at both levels.
    IntListList mixed(security_off);
    const Bytes in = hex("30 80 30 80 02 01 01 02 01 02 00 00 30 80 00 00 30 03 02 01 03 00 00");
    const auto rr = read_into(mixed, in);
    ASSERT_EQ(rr.rc, 0u);
    EXPECT_EQ(rr.consumed, in.size());
    EXPECT_EQ(write_frame(mixed).bytes, hex(kWire));
}

TEST(QbAsnSequenceOf, NestedChangesReachTheOuterEncoding) {
    IntListList outer(security_off);
    IntList* inner = outer.add_child();
    fill(*inner, {1});
    ASSERT_EQ(write_bytes(outer), hex("30 05 30 03 02 01 01"));
    inner->get_element(0)->set_value(2);
    EXPECT_EQ(outer.is_encoding_valid(), 0);
    EXPECT_EQ(write_bytes(outer), hex("30 05 30 03 02 01 02"));
    EXPECT_EQ(inner->delete_child(0), 0u);
    EXPECT_EQ(write_bytes(outer), hex("30 02 30 00"));
}

// ---- many elements ----

TEST(QbAsnSequenceOf, OneHundredThousandIntegers) {
    constexpr long kCount = 100000;
    IntList src(security_off);
    for (long i = 0; i < kCount; ++i) {
        qb_asn_integer* e = src.add_child();
        ASSERT_NE(e, nullptr);
        ASSERT_EQ(e->set_value(i * 7 - 3), 0u);
    }
    ASSERT_EQ(src.get_child_count(), 100000u);
    const auto w = write_frame(src);
    ASSERT_EQ(w.rc, 0u);
    // 19 one-octet, 4663 two-octet and 95318 three-octet values:
    // 57 + 18652 + 476590 = 495299 = 0x078EC3 content octets.
    ASSERT_EQ(w.bytes.size(), 495304u);
    EXPECT_EQ(Bytes(w.bytes.begin(), w.bytes.begin() + 11), hex("30 83 07 8E C3 02 01 FD 02 01 04"));
    // i = 19 is the first value that needs two octets (130).
    EXPECT_EQ(Bytes(w.bytes.begin() + 5 + 19 * 3, w.bytes.begin() + 5 + 19 * 3 + 4), hex("02 02 00 82"));
    EXPECT_EQ(Bytes(w.bytes.end() - 5, w.bytes.end()), hex("02 03 0A AE 56"));  // 699990

    IntList dst(security_off);
    const auto rr = read_into(dst, w.bytes);
    ASSERT_EQ(rr.rc, 0u);
    EXPECT_EQ(rr.consumed, w.bytes.size());
    ASSERT_EQ(dst.get_child_count(), 100000u);
    for (unsigned int i : {0u, 1u, 18u, 19u, 4681u, 4682u, 50000u, 99998u, 99999u}) {
        long v = 0;
        ASSERT_EQ(dst.get_element(i)->get_value(v), 0u);
        EXPECT_EQ(v, static_cast<long>(i) * 7 - 3) << "element " << i;
    }
    for (unsigned int i = 0; i < 100000u; i += 997) {
        long v = 0;
        ASSERT_EQ(dst.get_element(i)->get_value(v), 0u);
        ASSERT_EQ(v, static_cast<long>(i) * 7 - 3) << "element " << i;
    }
    const auto again = write_frame(dst);
    EXPECT_EQ(again.rc, 0u);
    EXPECT_TRUE(again.bytes == w.bytes);
}

// ---- array-of ----

TEST(QbAsnArrayOf, ConstructionSettings) {
    IntArray arr(security_off);
    EXPECT_STREQ(arr.get_type_name(), "SARRAYOF");
    EXPECT_STREQ(arr.list.get_type_name(), "SEQUENCEOF");
    EXPECT_EQ(arr.list.get_tag(), 16u);
    EXPECT_EQ(arr.list.get_class(), 0);
    // The list is the array-of's only registered child.
    EXPECT_EQ(arr.count, 1u);
    EXPECT_EQ(arr.get_child(0), &arr.list);
    EXPECT_EQ(arr.list.get_parent(), &arr);
    EXPECT_EQ(arr.get_child_count(), 0u);  // the number of slots
    EXPECT_EQ(arr.is_polymorphic(), 0);
    EXPECT_EQ(arr.is_present(), 1);
    EXPECT_EQ(write_bytes(arr), hex("30 00"));
}

TEST(QbAsnArrayOf, SlotIsAChoiceOfNullAndT) {
    IntArray::cherce slot(security_off);
    EXPECT_STREQ(slot.get_type_name(), "CHOICE");
    EXPECT_EQ(slot.selected(), -1);
    EXPECT_EQ(slot.is_present(), 0);
    EXPECT_EQ(slot.get_child_count(), 2u);
    EXPECT_EQ(slot.get_child(0), &slot.null_value);
    EXPECT_EQ(slot.get_child(1), &slot.value);
    EXPECT_STREQ(slot.null_value.get_type_name(), "NULL");
    EXPECT_EQ(slot.null_value.get_tag(), 5u);
    EXPECT_EQ(slot.null_value.get_class(), 0);
    EXPECT_EQ(slot.null_value.present, 1);
    EXPECT_EQ(slot.null_value.encoding_primitive_permitted(), 1);
    EXPECT_STREQ(slot.value.get_type_name(), "INTEGER");
    EXPECT_EQ(slot.select(2), 0x106521A7u);
}

TEST(QbAsnArrayOf, SlotHelpers) {
    IntArray arr(security_off);
    IntArray::cherce* empty = arr.add_empty_slot();
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(empty->selected(), 0);
    qb_asn_integer* filled = arr.add_filled_slot();
    ASSERT_NE(filled, nullptr);
    filled->set_value(5);
    EXPECT_EQ(arr.get_child_count(), 2u);
    EXPECT_EQ(arr.get_slot(0), empty);
    ASSERT_NE(arr.get_slot(1), nullptr);
    EXPECT_EQ(arr.get_slot(1)->selected(), 1);
    EXPECT_EQ(&arr.get_slot(1)->value, filled);
    EXPECT_EQ(arr.get_slot(2), nullptr);
    EXPECT_EQ(write_bytes(arr), hex("30 05 05 00 02 01 05"));
}

TEST(QbAsnArrayOf, ListAddChildCreatesAnUnselectedSlot) {
    IntArray arr(security_off);
    auto* list = static_cast<qb_asn_sequenceof<IntArray::cherce>*>(arr.get_child(0));
    IntArray::cherce* slot = list->add_child();
    ASSERT_NE(slot, nullptr);
    EXPECT_EQ(slot->selected(), -1);
    EXPECT_EQ(arr.get_child_count(), 1u);
    EXPECT_TRUE(appends("EE", [&](qb_buffer_t& out) { return arr.asnwrite(out); }, 0x106521A8u, "EE"));
    // The caller selects and fills it.
    ASSERT_EQ(slot->select(1), 0u);
    slot->value.set_value(-2);
    EXPECT_EQ(write_bytes(arr), hex("30 03 02 01 FE"));
    ASSERT_EQ(slot->select(0), 0u);
    EXPECT_EQ(write_bytes(arr), hex("30 02 05 00"));
}

TEST(QbAsnArrayOf, MiddleSlotEmpty) {
    IntArray arr(security_off);
    arr.add_filled_slot()->set_value(1);
    arr.add_empty_slot();
    arr.add_filled_slot()->set_value(3);
    EXPECT_EQ(write_bytes(arr), hex("30 08 02 01 01 05 00 02 01 03"));
}

TEST(QbAsnArrayOf, RoundTripsWithHoles) {
    // slots: a negative number is a hole, else the value of a filled slot.
    struct Case {
        const char* name;
        std::vector<long> slots;
        const char* hex;
    };
    const Case kCases[] = {
        {"hole first", {-1, 2, 3}, "30 08 05 00 02 01 02 02 01 03"},
        {"hole in the middle", {1, -1, 3}, "30 08 02 01 01 05 00 02 01 03"},
        {"hole last", {1, 2, -1}, "30 08 02 01 01 02 01 02 05 00"},
        {"only holes", {-1, -1}, "30 04 05 00 05 00"},
        {"no holes", {1000, 0}, "30 07 02 02 03 E8 02 01 00"},
        {"no slots", {}, "30 00"},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.name);
        IntArray src(security_off);
        for (long v : c.slots) {
            if (v < 0) {
                ASSERT_NE(src.add_empty_slot(), nullptr);
            } else {
                qb_asn_integer* e = src.add_filled_slot();
                ASSERT_NE(e, nullptr);
                e->set_value(v);
            }
        }
        const auto w = write_frame(src);
        ASSERT_EQ(w.rc, 0u);
        EXPECT_EQ(w.bytes, hex(c.hex));

        IntArray dst(security_off);
        const auto rr = read_into(dst, w.bytes);
        ASSERT_EQ(rr.rc, 0u);
        EXPECT_EQ(rr.consumed, w.bytes.size());
        ASSERT_EQ(dst.get_child_count(), c.slots.size());
        for (unsigned int i = 0; i < c.slots.size(); ++i) {
            SCOPED_TRACE(i);
            const IntArray::cherce* slot = dst.get_slot(i);
            ASSERT_NE(slot, nullptr);
            if (c.slots[i] < 0) {
                EXPECT_EQ(slot->selected(), 0);
            } else {
                ASSERT_EQ(slot->selected(), 1);
                long v = -1;
                EXPECT_EQ(slot->value.get_value(v), 0u);
                EXPECT_EQ(v, c.slots[i]);
            }
        }
        EXPECT_EQ(write_frame(dst).bytes, hex(c.hex));
    }
}

TEST(QbAsnArrayOf, ReadIndefiniteAndDiscardOldSlots) {
    IntArray arr(security_off);
    for (int i = 0; i < 4; ++i) arr.add_filled_slot()->set_value(i);
    const Bytes in = hex("30 80 05 00 02 01 07 00 00 05");
    const auto rr = read_into(arr, in);
    ASSERT_EQ(rr.rc, 0u);
    EXPECT_EQ(rr.consumed, 9u);
    EXPECT_EQ(arr.get_child_count(), 2u);
    EXPECT_EQ(arr.is_indefinite_length(), 1);
    EXPECT_EQ(arr.indefinite, 0);  // the array-of's own flag is not used
    EXPECT_EQ(arr.is_constructed(), 1);
    EXPECT_EQ(arr.get_slot(0)->selected(), 0);
    EXPECT_EQ(arr.get_slot(1)->selected(), 1);
    EXPECT_EQ(write_bytes(arr), hex("30 05 05 00 02 01 07"));
}

TEST(QbAsnArrayOf, ReadErrors) {
    expect_kept_on_error<IntArray>({
        {"slot neither NULL nor INTEGER", "30 05 05 00 01 01 FF", 0x106521A4, 1},
        {"NULL with content", "30 03 05 01 00", 0x106521A4, 0},
        // A slot that neither alternative reads is a mismatch, whatever the reason.
        {"slot cut off", "30 03 05 00 02", 0x106521A4, 1},
        {"not a SEQUENCE", "31 02 05 00", 0x106521A4, 0},
    });
}

TEST(QbAsnArrayOf, SetTagThrowsTheBareText) {
    IntArray arr(security_off);
    expect_bare_text([&] { arr.set_tag(17); }, "Attempt to change tag of ASN.1 CHOICE object");
    EXPECT_EQ(arr.list.get_tag(), 16u);
    EXPECT_EQ(write_bytes(arr), hex("30 00"));
}

TEST(QbAsnArrayOf, SetOptionalReachesTheList) {
    IntArray arr(security_off);
    EXPECT_EQ(arr.set_optional(1), 0u);
    EXPECT_EQ(arr.optional, 1);
    EXPECT_EQ(arr.list.is_optional(), 1);
    EXPECT_EQ(arr.list.get_empty_permitted(), 0);
    EXPECT_EQ(arr.is_optional(), 1);
    EXPECT_EQ(arr.is_present(), 0);
    qb_buffer_t out(security_off);
    EXPECT_EQ(arr.asnwrite(out), 0u);
    EXPECT_EQ(out.length(), 0u);

    arr.add_empty_slot();
    EXPECT_EQ(arr.is_present(), 1);
    EXPECT_EQ(write_bytes(arr), hex("30 02 05 00"));

    EXPECT_EQ(arr.set_optional(0), 0u);
    EXPECT_EQ(arr.optional, 0);
    EXPECT_EQ(arr.list.is_optional(), 0);
    EXPECT_EQ(arr.is_optional(), 0);
}

TEST(QbAsnArrayOf, SetEmptyPermittedReachesTheList) {
    IntArray arr(security_off);
    EXPECT_EQ(arr.set_empty_permitted(0), 0u);
    EXPECT_EQ(arr.get_empty_permitted(), 0);
    EXPECT_EQ(arr.list.get_empty_permitted(), 0);
    EXPECT_EQ(arr.is_present(), 0);
    qb_buffer_t out(security_off);
    EXPECT_EQ(arr.asnwrite(out), 0x106521A0u);
    EXPECT_EQ(out.length(), 0u);

    arr.add_filled_slot()->set_value(1);
    EXPECT_EQ(arr.is_present(), 1);
    EXPECT_EQ(write_bytes(arr), hex("30 03 02 01 01"));

    EXPECT_EQ(arr.set_empty_permitted(1), 0u);
    EXPECT_EQ(arr.get_empty_permitted(), 1);
    EXPECT_EQ(arr.list.get_empty_permitted(), 1);
}

TEST(QbAsnArrayOf, OperationsAreTheLists) {
    IntArray arr(security_off);
    // is_optional answers for the list, not for the array-of's own flag.
    arr.list.set_optional(1);
    EXPECT_EQ(arr.optional, 0);
    EXPECT_EQ(arr.is_optional(), 1);
    EXPECT_EQ(arr.is_present(), arr.list.is_present());
    arr.list.set_optional(0);
    arr.list.set_empty_permitted(1);

    for (int i = 0; i < 3; ++i) arr.add_empty_slot();
    EXPECT_EQ(arr.count, 1u);              // its own children: the list
    EXPECT_EQ(arr.get_child_count(), 3u);  // the slots
    EXPECT_EQ(arr.is_present(), 1);
    EXPECT_EQ(arr.is_present(), arr.list.is_present());

    // asnwrite writes the list's frame (the array-of's own tag is 0).
    EXPECT_EQ(arr.get_tag(), 0u);
    EXPECT_EQ(write_bytes(arr), hex("30 06 05 00 05 00 05 00"));
    EXPECT_EQ(arr.is_encoding_valid(), 1);
    EXPECT_EQ(arr.encoding_valid, 0);  // the array-of never caches anything itself
    EXPECT_EQ(arr.check_encode_flags(1), arr.list.check_encode_flags(1));
    EXPECT_EQ(arr.should_generate_constructed(), 1);
    EXPECT_EQ(arr.encoding_primitive_permitted(), 0);
    EXPECT_EQ(arr.encoding_constructed_permitted(), 1);
    EXPECT_EQ(arr.encoding_indefinite_permitted(), 1);
    EXPECT_EQ(arr.is_defaultable(), 0);
    EXPECT_EQ(arr.get_default_value(), nullptr);
    EXPECT_EQ(arr.is_default_value(), 0);

    // asnread reads a SEQUENCE frame although the array-of's own tag is 0.
    EXPECT_TRUE(reads(arr, hex("30 03 02 01 05"), 0u, 5u));
    EXPECT_EQ(arr.get_child_count(), 1u);
    EXPECT_EQ(arr.is_present(), 1);
}

// ---- nesting bound ----

// `30 80` k times, then `00 00` k times: k nested indefinite lists.
Bytes indefinite_nest(unsigned int k) {
    Bytes v;
    v.reserve(4 * static_cast<size_t>(k));
    for (unsigned int i = 0; i < k; ++i) {
        v.push_back(0x30);
        v.push_back(0x80);
    }
    for (unsigned int i = 0; i < k; ++i) {
        v.push_back(0x00);
        v.push_back(0x00);
    }
    return v;
}

// k nested lists, each with the two-octet long-form length 30 82 hi lo.
Bytes definite_nest(unsigned int k) {
    Bytes v;
    for (unsigned int i = 0; i < k; ++i) {
        const size_t n = v.size();
        Bytes outer = {0x30, 0x82, static_cast<unsigned char>(n >> 8), static_cast<unsigned char>(n)};
        outer.insert(outer.end(), v.begin(), v.end());
        v.swap(outer);
    }
    return v;
}

// The minimal definite form of k nested empty-or-single lists.
Bytes minimal_nest(unsigned int k) {
    Bytes v;
    for (unsigned int i = 0; i < k; ++i) {
        const size_t n = v.size();
        Bytes outer = {0x30};
        if (n < 0x80) {
            outer.push_back(static_cast<unsigned char>(n));
        } else if (n < 0x100) {
            outer.push_back(0x81);
            outer.push_back(static_cast<unsigned char>(n));
        } else {
            outer.push_back(0x82);
            outer.push_back(static_cast<unsigned char>(n >> 8));
            outer.push_back(static_cast<unsigned char>(n));
        }
        outer.insert(outer.end(), v.begin(), v.end());
        v.swap(outer);
    }
    return v;
}

// depth_of: levels of a chain of single-element lists (the root is 1), or 0
// when some level holds more than one element.
unsigned int depth_of(const nest& root) {
    const nest* p = &root;
    unsigned int depth = 1;
    while (p->get_child_count() != 0) {
        if (p->get_child_count() != 1 || p->get_element(0) == nullptr) return 0;
        p = p->get_element(0);
        ++depth;
    }
    return depth;
}

// One read of a nest, as done inside a thread.
struct NestRead {
    const Bytes* input = nullptr;
    bool finished = false;
    bool threw = false;
    unsigned int rc = 0xFFFFFFFFu;
    size_t consumed = 0;
    unsigned int remaining = 0;
    unsigned int depth = 0;
    int present = -1;
};

void read_nest(NestRead& run) {
    try {
        auto root = std::make_unique<nest>(security_off);
        const auto rr = read_into(*root, *run.input);
        run.rc = rr.rc;
        run.consumed = rr.consumed;
        run.remaining = rr.remaining;
        run.depth = depth_of(*root);
        run.present = root->is_present();
    } catch (...) {
        run.threw = true;
    }
    run.finished = true;
}

void* read_nest_thread(void* arg) {
    read_nest(*static_cast<NestRead*>(arg));
    return nullptr;
}

// Runs the read in a thread whose stack is 256 KiB.
void read_nest_on_small_stack(NestRead& run) {
    pthread_attr_t attr;
    ASSERT_EQ(pthread_attr_init(&attr), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attr, 256 * 1024), 0);
    pthread_t thread;
    const int created = pthread_create(&thread, &attr, read_nest_thread, &run);
    pthread_attr_destroy(&attr);
    ASSERT_EQ(created, 0);
    ASSERT_EQ(pthread_join(thread, nullptr), 0);
}

// nested_read: reads `in` into a fresh nest (on a 256 KiB stack when
// `small_stack`); the read must finish without throwing. Its outcome as
// "status S, consumed C, remaining R, present P[, depth D]" (the depth only
// after a successful read).
std::string nested_read(const Bytes& in, bool small_stack) {
    NestRead run;
    run.input = &in;
    if (small_stack) {
        read_nest_on_small_stack(run);
    } else {
        read_nest(run);
    }
    EXPECT_TRUE(run.finished);
    EXPECT_FALSE(run.threw);
    std::string s = "status " + qb_test::hex32(run.rc) + ", consumed " + std::to_string(run.consumed) +
                    ", remaining " + std::to_string(run.remaining) + ", present " + std::to_string(run.present);
    if (run.rc == 0) s += ", depth " + std::to_string(run.depth);
    return s;
}

TEST(QbAsnSequenceOf, NestingOf256LevelsIsRead) {
    EXPECT_EQ(nested_read(indefinite_nest(256), false),
              "status 0x00000000, consumed 1024, remaining 0, present 1, depth 256");
}

TEST(QbAsnSequenceOf, NestingOf257LevelsIsRefused) {
    // The view is unmoved.
    EXPECT_EQ(nested_read(indefinite_nest(257), false), "status 0x1065219B, consumed 0, remaining 1028, present 0");
}

TEST(QbAsnSequenceOf, DefiniteNestingBound) {
    {
        const Bytes in = definite_nest(256);
        ASSERT_EQ(in.size(), 1024u);
        nest root(security_off);
        const auto rr = read_into(root, in);
        EXPECT_EQ(rr.rc, 0u);
        EXPECT_EQ(rr.consumed, 1024u);
        EXPECT_EQ(depth_of(root), 256u);
        // Written back in the minimal definite form.
        EXPECT_TRUE(write_bytes(root) == minimal_nest(256));
    }
    {
        const Bytes in = definite_nest(257);
        nest root(security_off);
        EXPECT_TRUE(reads(root, in, 0x1065219Bu, 0u));
        EXPECT_EQ(root.is_present(), 0);
    }
}

TEST(QbAsnSequenceOf, NestingBoundCountsFromEachRead) {
    // A refused read gives its nesting back: the next read on the thread
    // again gets the full depth.
    const Bytes deep = indefinite_nest(300);
    const Bytes ok = indefinite_nest(256);
    for (int round = 0; round < 3; ++round) {
        SCOPED_TRACE(round);
        nest a(security_off);
        EXPECT_EQ(read_into(a, deep).rc, 0x1065219Bu);
        nest b(security_off);
        EXPECT_EQ(read_into(b, ok).rc, 0u);
        EXPECT_EQ(depth_of(b), 256u);
    }
    // A list inside a record still counts the record's level.
    qb_asn_sequence rec(security_off);
    nest inner(security_off);
    rec.register_child(&inner);
    // The record: 30 80, then k nested lists, then 00 00.
    auto in_record = [](unsigned int k) {
        Bytes framed = {0x30, 0x80};
        const Bytes body = indefinite_nest(k);
        framed.insert(framed.end(), body.begin(), body.end());
        framed.insert(framed.end(), {0x00, 0x00});
        return framed;
    };
    EXPECT_EQ(read_into(rec, in_record(255)).rc, 0u);
    EXPECT_EQ(read_into(rec, in_record(256)).rc, 0x1065219Bu);
}

TEST(QbAsnSequenceOf, NestingOf256LevelsOnA256KiBStack) {
    EXPECT_EQ(nested_read(indefinite_nest(256), true),
              "status 0x00000000, consumed 1024, remaining 0, present 1, depth 256");
    EXPECT_EQ(nested_read(definite_nest(256), true),
              "status 0x00000000, consumed 1024, remaining 0, present 1, depth 256");
}

TEST(QbAsnSequenceOf, HostileMebibyteOfNestingOnA256KiBStack) {
    // `30 80` 524288 times and no end-of-contents: 1 MiB.
    Bytes in;
    in.reserve(1u << 20);
    for (unsigned int i = 0; i < (1u << 19); ++i) {
        in.push_back(0x30);
        in.push_back(0x80);
    }
    ASSERT_EQ(in.size(), 1048576u);
    EXPECT_EQ(nested_read(in, true), "status 0x1065219B, consumed 0, remaining 1048576, present 0");
    EXPECT_EQ(nested_read(definite_nest(257), true), "status 0x1065219B, consumed 0, remaining 1028, present 0");
}

// ---- hostile input ----

// hostile_sweep: every truncation and single-octet change of each valid
// encoding, read into a fresh list of type L.
template <class L>
void hostile_sweep(std::initializer_list<const char*> texts) {
    for (const char* text : texts) {
        SCOPED_TRACE(text);
        const Bytes good = hex(text);
        {
            // The encoding itself is read.
            L list(security_off);
            ASSERT_EQ(read_into(list, good).rc, 0u);
        }
        qb_test::for_each_damaged(good, {0x01, 0x02, 0x20, 0x40, 0x7F, 0x80, 0xFF}, {},
                                  [](const Bytes& bad, const std::string& what) {
                                      SCOPED_TRACE(what);
                                      L list(security_off);
                                      (void)qb_test::read_hostile(list, bad);
                                  });
    }
}

TEST(QbAsnSequenceOf, HostileIntegerLists) {
    hostile_sweep<IntList>(
        {"30 0A 02 01 01 02 02 00 80 02 01 FF", "30 80 02 01 01 02 02 00 80 02 01 FF 00 00", "30 81 03 02 01 01"});
}

TEST(QbAsnSequenceOf, HostileNestedAndRecordLists) {
    hostile_sweep<IntListList>({"30 80 30 80 02 01 01 00 00 30 03 02 01 02 30 00 00 00",
                                "30 0F 30 06 02 01 01 02 01 02 30 00 30 03 02 01 03"});
    hostile_sweep<PersonList>({"30 14 30 07 02 01 07 04 02 61 62 30 09 02 02 01 2C 04 00 01 01 FF"});
    hostile_sweep<OctetList>({"30 0D 04 00 04 02 00 FF 04 05 68 65 6C 6C 6F"});
    hostile_sweep<nest>({"30 80 30 80 30 00 00 00 30 02 30 00 00 00"});
}

TEST(QbAsnArrayOf, HostileArrays) {
    hostile_sweep<IntArray>(
        {"30 0A 05 00 02 01 02 05 00 02 01 04", "30 80 05 00 02 01 02 05 00 00 00", "30 08 02 01 01 02 01 02 05 00"});
}

}  // namespace
