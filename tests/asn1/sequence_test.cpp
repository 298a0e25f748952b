// tests/asn1/sequence_test.cpp - qb_asn_composite and qb_asn_sequence:
// constructor flags, the child array (growth, front insertion), the presence
// rule, cache checks, dumps, reading and writing sequences, round trips of
// nested sequences with every primitive type, and hostile input.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "asn1/asnbase.h"
#include "support/buffers.h"
#include "support/frames.h"
#include "support/hex.h"
#include "support/hostile.h"
#include "support/probes.h"

namespace {

// ---- helpers ----

using qb_test::appends, qb_test::bool_value, qb_test::display_text, qb_test::expect_refused_reads,
      qb_test::expect_secure, qb_test::form_summary, qb_test::int_value, qb_test::read_hostile, qb_test::reads,
      qb_test::register_all, qb_test::text_of, qb_test::view_of, qb_test::write_bytes;

// ---- test objects ----

// TestComposite: a composite with trivial content hooks.
class TestComposite : public qb_asn_composite {
public:
    explicit TestComposite(security_t s) : qb_asn_composite(s) {}
    TestComposite(unsigned int n, security_t s) : qb_asn_composite(n, s) {}
    unsigned int decode_value(qb_r_buffer_t& r, unsigned int length) override {
        r.cursor += length;
        r.remaining -= length;
        return 0;
    }
    unsigned int encode_value(qb_buffer_t&) const override { return 0; }
};

// NoCheckComposite: skips the presence rule, so registering many children
// costs nothing per child; register_child (and its growth) is the real one.
class NoCheckComposite : public TestComposite {
public:
    explicit NoCheckComposite(security_t s) : TestComposite(s) {}
    NoCheckComposite(unsigned int n, security_t s) : TestComposite(n, s) {}
    void check_valid(int) override {}
};

// IntSeq: SEQUENCE { INTEGER i }.
struct IntSeq {
    qb_asn_sequence seq{security_off};
    qb_asn_integer i{security_off};
    IntSeq() { seq.register_child(&i); }
};

// IntBoolSeq: SEQUENCE { INTEGER i, BOOLEAN b }, itself the sequence read.
struct IntBoolSeq : qb_asn_sequence {
    qb_asn_integer i{security_off};
    qb_asn_boolean b{security_off};
    explicit IntBoolSeq(security_t s) : qb_asn_sequence(s) { register_all(*this, {&i, &b}); }
};

// ---- constructors ----

TEST(QbAsnComposite, ConstructorFlags) {
    for (security_t s : {security_off, security_on, security_lcs}) {
        SCOPED_TRACE(static_cast<int>(s));
        TestComposite c(s);
        EXPECT_EQ(form_summary(c), "constructed 1, indefinite 0, generates constructed 1, permits -CI");
        EXPECT_EQ(c.get_empty_permitted(), 1);
        EXPECT_EQ(c.security, s);
        EXPECT_EQ(c.encoding.security, s);
        EXPECT_EQ(c.count, 0u);
        EXPECT_EQ(c.capacity, 0u);
        EXPECT_EQ(c.children, nullptr);
        EXPECT_EQ(c.get_child_count(), 0u);
        EXPECT_EQ(c.get_child(0), nullptr);
        // No children and empty permitted: present at once.
        EXPECT_EQ(c.is_present(), 1);
        EXPECT_EQ(c.is_optional(), 0);
        EXPECT_EQ(c.is_defaultable(), 0);
    }
}

TEST(QbAsnComposite, PresetCapacityConstructorFlags) {
    TestComposite c(4, security_lcs);
    EXPECT_EQ(c.capacity, 4u);
    ASSERT_NE(c.children, nullptr);
    for (unsigned int k = 0; k < 4; ++k) EXPECT_EQ(c.children[k], nullptr);
    EXPECT_EQ(c.count, 0u);
    EXPECT_EQ(c.get_child_count(), 0u);
    EXPECT_EQ(c.encoding_constructed_permitted(), 1);
    EXPECT_EQ(c.encoding_primitive_permitted(), 0);
    EXPECT_EQ(c.get_empty_permitted(), 1);
    EXPECT_EQ(c.security, security_lcs);
    EXPECT_EQ(c.is_constructed(), 0);
    EXPECT_EQ(c.should_generate_constructed(), 0);
    EXPECT_EQ(c.encoding_indefinite_permitted(), 0);

    TestComposite none(0, security_off);
    EXPECT_EQ(none.capacity, 0u);
    EXPECT_EQ(none.children, nullptr);
}

TEST(QbAsnSequence, Constructors) {
    qb_asn_sequence s(security_on);
    EXPECT_EQ(s.get_tag(), 16u);
    EXPECT_EQ(s.get_class(), 0);
    EXPECT_STREQ(s.get_type_name(), "SEQUENCE");
    EXPECT_EQ(s.should_generate_constructed(), 1);
    EXPECT_EQ(s.encoding_indefinite_permitted(), 1);
    EXPECT_EQ(s.security, security_on);

    qb_asn_sequence p(3, security_off);
    EXPECT_EQ(p.get_tag(), 16u);
    EXPECT_EQ(p.get_class(), 0);
    EXPECT_STREQ(p.get_type_name(), "SEQUENCE");
    EXPECT_EQ(p.capacity, 3u);
    EXPECT_EQ(p.should_generate_constructed(), 0);
    EXPECT_EQ(p.encoding_indefinite_permitted(), 0);
}

TEST(QbAsnSequence, PresetCapacityWritesNoConstructedBitAndRefusesIndefinite_quirk) {
    qb_asn_sequence seq(4, security_off);
    qb_asn_integer i(security_off);
    seq.register_child(&i);
    i.set_value(5L);
    EXPECT_EQ(write_bytes(seq), hex("10 03 02 01 05"));

    // Reading: the constructed form is accepted, an indefinite length is not,
    // and its own primitive-form output is not read back.
    qb_asn_sequence in_seq(4, security_off);
    qb_asn_integer j(security_off);
    in_seq.register_child(&j);
    EXPECT_TRUE(reads(in_seq, "30 80 02 01 05 00 00", 0x1065219Du, 0));
    auto definite = hex("30 03 02 01 05");
    qb_r_buffer_t r2 = view_of(definite);
    EXPECT_EQ(in_seq.asnread(r2), 0u);
    EXPECT_EQ(int_value(j), 5);
    EXPECT_TRUE(reads(in_seq, "10 03 02 01 05", 0x1065219Fu, 0));
}

// ---- register_child ----

TEST(QbAsnComposite, RegisterChildAppendsAndSetsTheParent) {
    qb_asn_sequence seq(security_off);
    qb_asn_integer a(security_off);
    qb_asn_boolean b(security_off);
    EXPECT_EQ(seq.register_child(&a), 0u);
    EXPECT_EQ(seq.register_child(&b), 0u);
    EXPECT_EQ(seq.get_child_count(), 2u);
    EXPECT_EQ(seq.get_child(0), &a);
    EXPECT_EQ(seq.get_child(1), &b);
    EXPECT_EQ(seq[0], &a);
    EXPECT_EQ(seq[1], &b);
    EXPECT_EQ(a.get_parent(), &seq);
    EXPECT_EQ(b.get_parent(), &seq);
    EXPECT_EQ(seq.capacity, 32u);
}

TEST(QbAsnComposite, RegisterChildRunsThePresenceRule) {
    qb_asn_sequence seq(security_off);
    ASSERT_EQ(seq.is_present(), 1);
    qb_asn_integer mandatory(security_off);
    seq.register_child(&mandatory);
    EXPECT_EQ(seq.is_present(), 0);

    qb_asn_integer set(security_off);
    set.set_value(1L);
    qb_asn_sequence holder(security_off);
    holder.set_empty_permitted(0);
    ASSERT_EQ(holder.is_present(), 0);
    holder.register_child(&set);
    EXPECT_EQ(holder.is_present(), 1);
}

TEST(QbAsnComposite, RegisterChildHandsOnTheSecuritySetting) {
    qb_asn_sequence on(security_on), lcs(security_lcs), off(security_off);
    qb_asn_integer i(security_off), j(security_on);
    qb_asn_octetstring os(security_off);
    register_all(on, {&i});
    EXPECT_EQ(i.security, security_on);
    expect_secure(i, security_on);
    register_all(lcs, {&os});
    expect_secure(os, security_lcs);
    // A composite with security off leaves the child as it was.
    register_all(off, {&j});
    expect_secure(j, security_on);
}

TEST(QbAsnComposite, RegisterChildNullIsRefused) {
    qb_asn_sequence seq(security_off);
    EXPECT_EQ(seq.register_child(nullptr), 0x1065219Cu);
    EXPECT_EQ(seq.get_child_count(), 0u);
    EXPECT_EQ(seq.register_child_before(nullptr), 0x1065219Cu);
    EXPECT_EQ(seq.get_child_count(), 0u);
    EXPECT_EQ(write_bytes(seq), hex("30 00"));
}

TEST(QbAsnComposite, RegisterChildGrowthFirstSteps) {
    qb_asn_sequence seq(security_off);
    std::vector<std::unique_ptr<qb_asn_null>> nulls;
    auto add = [&] {
        nulls.push_back(std::make_unique<qb_asn_null>(security_off));
        ASSERT_EQ(seq.register_child(nulls.back().get()), 0u);
    };
    struct Point {
        unsigned int children, capacity;
    };
    const Point points[] = {{1, 32},    {32, 32},   {33, 544},  {544, 544},
                            {545, 1056}, {1056, 1056}, {1057, 1568}};
    for (const Point& p : points) {
        while (nulls.size() < p.children) add();
        SCOPED_TRACE(p.children);
        EXPECT_EQ(seq.capacity, p.capacity);
        EXPECT_EQ(seq.get_child_count(), p.children);
    }
    // Order kept across every growth.
    for (unsigned int k = 0; k < nulls.size(); ++k) ASSERT_EQ(seq.get_child(k), nulls[k].get());
    EXPECT_EQ(seq.get_child(static_cast<unsigned int>(nulls.size())), nullptr);
}

TEST(QbAsnComposite, RegisterChildGrowthScheduleAtScale) {
    NoCheckComposite c(security_off);
    qb_asn_null n(security_off);
    std::vector<std::pair<unsigned int, unsigned int>> growth;  // (children before, capacity after)
    unsigned int last = c.capacity;
    for (unsigned int k = 0; k < 40480; ++k) {
        const unsigned int before = c.count;
        ASSERT_EQ(c.register_child(&n), 0u);
        if (c.capacity != last) {
            growth.emplace_back(before, c.capacity);
            last = c.capacity;
        }
    }
    const std::vector<std::pair<unsigned int, unsigned int>> want = {
        {0, 32},          {32, 544},        {544, 1056},      {1056, 1568},
        {1568, 2080},     {2080, 2592},     {2592, 3104},     {3104, 3616},
        {3616, 4128},     {4128, 5152},     {5152, 6176},     {6176, 7712},
        {7712, 9248},     {9248, 11296},    {11296, 13856},   {13856, 16928},
        {16928, 21024},   {21024, 26144},   {26144, 32288},   {32288, 39968},
        {39968, 40480},
    };
    EXPECT_EQ(growth, want);
    EXPECT_EQ(c.count, 40480u);
}

TEST(QbAsnComposite, RegisterChildLargestStepAndFallBack) {
    qb_asn_null n(security_off);
    struct Case {
        unsigned int preset, capacity_after;
    };
    const Case cases[] = {
        {32768, 40960},  // 16 x 512
        {34815, 43007},  // still 16 x 512
        {34816, 35328},  // falls back to 512
    };
    for (const Case& cs : cases) {
        SCOPED_TRACE(cs.preset);
        NoCheckComposite c(cs.preset, security_off);
        for (unsigned int k = 0; k < cs.preset; ++k) ASSERT_EQ(c.register_child(&n), 0u);
        EXPECT_EQ(c.capacity, cs.preset);
        ASSERT_EQ(c.register_child(&n), 0u);
        EXPECT_EQ(c.capacity, cs.capacity_after);
        EXPECT_EQ(c.count, cs.preset + 1);
    }
}

// ---- register_child_before ----

TEST(QbAsnComposite, RegisterChildBeforeInsertsFirst) {
    qb_asn_sequence seq(security_off);
    qb_asn_integer a(security_off), b(security_off), c(security_off);
    a.set_value(1L);
    b.set_value(2L);
    c.set_value(3L);
    register_all(seq, {&a, &b});
    EXPECT_EQ(seq.register_child_before(&c), 0u);
    EXPECT_EQ(seq.get_child_count(), 3u);
    EXPECT_EQ(seq.capacity, 32u);
    EXPECT_EQ(seq.get_child(0), &c);
    EXPECT_EQ(seq.get_child(1), &a);
    EXPECT_EQ(seq.get_child(2), &b);
    EXPECT_EQ(c.get_parent(), &seq);
    EXPECT_EQ(write_bytes(seq), hex("30 09 02 01 03 02 01 01 02 01 02"));
}

TEST(QbAsnComposite, RegisterChildBeforeIntoAnEmptyArray) {
    qb_asn_sequence seq(security_off);
    qb_asn_integer a(security_off);
    a.set_value(1L);
    EXPECT_EQ(seq.register_child_before(&a), 0u);
    EXPECT_EQ(seq.get_child_count(), 1u);
    EXPECT_EQ(seq.capacity, 512u);
    EXPECT_EQ(seq.get_child(0), &a);
    EXPECT_EQ(a.get_parent(), &seq);
    EXPECT_EQ(write_bytes(seq), hex("30 03 02 01 01"));

    // A preset array that holds no child yet grows as well.
    TestComposite preset(4, security_off);
    qb_asn_null n(security_off);
    EXPECT_EQ(preset.register_child_before(&n), 0u);
    EXPECT_EQ(preset.capacity, 512u);
    EXPECT_EQ(preset.get_child(0), &n);
}

TEST(QbAsnComposite, RegisterChildBeforeDoesNotRunThePresenceRule) {
    qb_asn_sequence seq(security_off);
    qb_asn_integer mandatory(security_off);
    ASSERT_EQ(seq.is_present(), 1);
    seq.register_child_before(&mandatory);
    EXPECT_EQ(seq.is_present(), 1);
    seq.check_valid(0);
    EXPECT_EQ(seq.is_present(), 0);
}

TEST(QbAsnComposite, RegisterChildBeforeHandsOnTheSecuritySetting) {
    qb_asn_sequence on(security_on), off(security_off);
    qb_asn_integer i(security_off), j(security_lcs);
    on.register_child_before(&i);
    expect_secure(i, security_on);
    off.register_child_before(&j);
    EXPECT_EQ(j.encoding.security, security_lcs);
}

TEST(QbAsnComposite, RegisterChildBeforeIntoAFullArrayOverwritesTheFirstChild_quirk) {
    qb_asn_sequence seq(security_off);
    qb_asn_integer first(security_off);
    first.set_value(1L);
    std::vector<std::unique_ptr<qb_asn_null>> nulls;
    seq.register_child(&first);
    for (int k = 0; k < 31; ++k) {
        nulls.push_back(std::make_unique<qb_asn_null>(security_off));
        seq.register_child(nulls.back().get());
    }
    ASSERT_EQ(seq.get_child_count(), 32u);
    ASSERT_EQ(seq.capacity, 32u);

    qb_asn_integer front(security_off);
    front.set_value(3L);
    EXPECT_EQ(seq.register_child_before(&front), 0u);
    EXPECT_EQ(seq.get_child_count(), 33u);
    EXPECT_EQ(seq.capacity, 544u);
    EXPECT_EQ(seq.get_child(0), &front);  // the former first child is gone
    for (unsigned int k = 1; k < 32; ++k) EXPECT_EQ(seq.get_child(k), nulls[k - 1].get());
    EXPECT_EQ(seq.get_child(32), nullptr);  // the new last slot is not filled

    // Walks skip the empty slot.
    std::vector<unsigned char> want = hex("30 41 02 01 03");
    for (int k = 0; k < 31; ++k) {
        want.push_back(0x05);
        want.push_back(0x00);
    }
    EXPECT_EQ(write_bytes(seq), want);

    qb_buffer_t shown(security_off);
    EXPECT_EQ(seq.display(shown), 0u);
    std::string want_text = "COMPOSITE-OBJECT(tag=16, class=0) {OBJECT(tag=2, class=0)";
    for (int k = 0; k < 31; ++k) want_text += "OBJECT(tag=5, class=0)";
    EXPECT_EQ(text_of(shown), want_text);

    qb_buffer_t flags(security_off);
    EXPECT_EQ(seq.display_state_flags(flags, 0), 0u);
    std::string want_flags =
        "SEQUENCE(valid=Y, present=Y, optional=N, defaultable=N, enc_valid=Y)\n"
        "  INTEGER(valid=Y, present=Y, optional=N, defaultable=N, enc_valid=Y)\n";
    for (int k = 0; k < 31; ++k)
        want_flags += "  NULL(valid=Y, present=Y, optional=N, defaultable=N, enc_valid=Y)\n";
    EXPECT_EQ(text_of(flags), want_flags);

    EXPECT_EQ(seq.check_encode_flags(), 1);
    EXPECT_EQ(seq.emptyi(), 0u);
    EXPECT_EQ(seq.normalize(), 0u);

    // The presence rule still works over the remaining children.
    front.invalidate_value(invalidate_local);
    EXPECT_EQ(seq.is_present(), 1);
    EXPECT_EQ(seq.is_valid(1), 0);
    EXPECT_EQ(seq.is_present(), 0);
    front.set_value(4L);
    EXPECT_EQ(seq.is_present(), 1);
    seq.invalidate_value(invalidate_full);
    EXPECT_EQ(front.is_present(), 0);
    seq.check_valid(0);
    EXPECT_EQ(seq.is_present(), 0);
}

TEST(QbAsnComposite, RegisterChildBeforeIntoAFullPresetArray_quirk) {
    qb_asn_sequence seq(2, security_off);
    qb_asn_integer a(security_off), b(security_off), c(security_off);
    register_all(seq, {&a, &b});
    ASSERT_EQ(seq.capacity, 2u);
    EXPECT_EQ(seq.register_child_before(&c), 0u);
    EXPECT_EQ(seq.capacity, 514u);
    EXPECT_EQ(seq.get_child_count(), 3u);
    EXPECT_EQ(seq.get_child(0), &c);
    EXPECT_EQ(seq.get_child(1), &b);
    EXPECT_EQ(seq.get_child(2), nullptr);
    // Reading walks the remaining children in order, skipping the empty slot.
    auto in = hex("30 06 02 01 09 02 01 0A");
    EXPECT_TRUE(reads(seq, in, 0u, in.size()));
    EXPECT_EQ(int_value(c), 9);
    EXPECT_EQ(int_value(b), 10);
    EXPECT_EQ(write_bytes(seq), hex("10 06 02 01 09 02 01 0A"));
}

TEST(QbAsnComposite, GetChildOutOfRange) {
    qb_test::in_sequence<qb_asn_null> tree;
    auto& [seq, n] = tree;
    EXPECT_EQ(seq.get_child(0), &n);
    EXPECT_EQ(seq.get_child(1), nullptr);
    EXPECT_EQ(seq[1], nullptr);
    EXPECT_EQ(seq.get_child(31), nullptr);    // allocated slot, not registered
    EXPECT_EQ(seq.get_child(0xFFFFFFFFu), nullptr);
    EXPECT_EQ(seq.get_child_count(), 1u);
}

TEST(QbAsnComposite, DestructorLeavesTheChildren) {
    qb_asn_integer a(security_off);
    qb_asn_null n(security_off);
    {
        auto seq = std::make_unique<qb_asn_sequence>(security_off);
        register_all(*seq, {&a, &n});
    }
    a.set_parent(nullptr);
    n.set_parent(nullptr);
    EXPECT_EQ(a.set_value(7L), 0u);
    EXPECT_EQ(int_value(a), 7);
}

// ---- presence rule ----

TEST(QbAsnComposite, PresenceRule) {
    {
        SCOPED_TRACE("no children, empty permitted");
        qb_asn_sequence seq(security_off);
        EXPECT_EQ(seq.is_present(), 1);
        EXPECT_EQ(write_bytes(seq), hex("30 00"));
    }
    {
        SCOPED_TRACE("no children, empty not permitted");
        qb_asn_sequence seq(security_off);
        EXPECT_EQ(seq.set_empty_permitted(0), 0u);
        EXPECT_EQ(seq.get_empty_permitted(), 0);
        EXPECT_EQ(seq.is_present(), 0);
        EXPECT_EQ(write_bytes(seq, 0x106521A0), std::vector<unsigned char>{});
        EXPECT_EQ(seq.set_empty_permitted(1), 0u);
        EXPECT_EQ(seq.is_present(), 1);
    }
    {
        SCOPED_TRACE("only child mandatory and absent");
        qb_test::in_sequence<qb_asn_integer> tree;
        auto& [seq, i] = tree;
        EXPECT_EQ(seq.is_present(), 0);
        EXPECT_TRUE(appends("AA", [&](qb_buffer_t& out) { return seq.asnwrite(out); }, 0x106521A0u, "AA"));
        i.set_value(5L);
        EXPECT_EQ(seq.is_present(), 1);
        EXPECT_EQ(write_bytes(seq), hex("30 03 02 01 05"));
        i.invalidate_value(invalidate_upward);
        EXPECT_EQ(seq.is_present(), 0);
    }
    {
        SCOPED_TRACE("only child optional and absent");
        qb_asn_sequence seq(security_off);
        qb_asn_integer i(security_off);
        i.set_optional(1);
        seq.register_child(&i);
        EXPECT_EQ(seq.is_present(), 1);
        EXPECT_EQ(write_bytes(seq), hex("30 00"));
        seq.set_empty_permitted(0);
        EXPECT_EQ(seq.is_present(), 0);
        i.set_value(2L);
        EXPECT_EQ(seq.is_present(), 1);
    }
    {
        SCOPED_TRACE("only child defaultable and absent, empty not permitted");
        qb_asn_sequence seq(security_off);
        seq.set_empty_permitted(0);
        qb_asn_integer i(security_off);
        i.set_default_value(3L);
        seq.register_child(&i);
        EXPECT_EQ(seq.is_present(), 1);
        EXPECT_EQ(write_bytes(seq), hex("30 00"));
    }
    {
        SCOPED_TRACE("a NULL child always counts");
        qb_asn_sequence seq(security_off);
        seq.set_empty_permitted(0);
        qb_asn_null n(security_off);
        seq.register_child(&n);
        EXPECT_EQ(seq.is_present(), 1);
        EXPECT_EQ(write_bytes(seq), hex("30 02 05 00"));
    }
    {
        SCOPED_TRACE("one mandatory absent child among present ones");
        qb_asn_sequence seq(security_off);
        qb_asn_integer a(security_off), b(security_off), c(security_off);
        register_all(seq, {&a, &b, &c});
        a.set_value(1L);
        c.set_value(3L);
        EXPECT_EQ(seq.is_present(), 0);
        b.set_value(2L);
        EXPECT_EQ(seq.is_present(), 1);
    }
}

TEST(QbAsnComposite, PresenceTravelsUpTheTree) {
    qb_test::nested<qb_asn_integer> tree;
    EXPECT_EQ(tree.inner.is_present(), 0);
    EXPECT_EQ(tree.outer.is_present(), 0);
    tree.leaf.set_value(1L);
    EXPECT_EQ(tree.inner.is_present(), 1);
    EXPECT_EQ(tree.outer.is_present(), 1);
    tree.leaf.invalidate_value(invalidate_full);
    EXPECT_EQ(tree.inner.is_present(), 0);
    EXPECT_EQ(tree.outer.is_present(), 0);
    // An optional absent tree.inner sequence does not hold the tree.outer back.
    tree.inner.set_optional(1);
    tree.outer.check_valid(0);
    EXPECT_EQ(tree.outer.is_present(), 1);
}

TEST(QbAsnComposite, CheckValidAsksTheParentOnlyWhenItIsAbsent) {
    qb_test::spy_sequence parent;
    qb_asn_sequence child(security_off);
    qb_asn_integer mandatory(security_off);
    register_all(parent, {&child, &mandatory});
    ASSERT_EQ(child.is_present(), 1);
    ASSERT_EQ(parent.is_present(), 0);
    parent.checks = 0;
    child.check_valid(0);
    EXPECT_GE(parent.checks, 1);  // present child, absent parent: asked again
    EXPECT_EQ(parent.is_present(), 0);

    mandatory.set_value(1L);
    ASSERT_EQ(parent.is_present(), 1);
    parent.checks = 0;
    child.check_valid(0);
    EXPECT_EQ(parent.checks, 0);  // both present: nothing to do
    EXPECT_EQ(child.is_present(), 1);
}

TEST(QbAsnComposite, InvalidateValueKinds) {
    qb_test::spy_sequence root;
    qb_asn_sequence seq(security_off);
    qb_asn_integer a(security_off);
    qb_asn_boolean b(security_off);
    register_all(seq, {&a, &b});
    root.register_child(&seq);
    auto prepare = [&] {
        a.set_value(1L);
        b.set_value(1);
        qb_buffer_t out(security_off);
        ASSERT_EQ(root.asnwrite(out), 0u);
        ASSERT_EQ(seq.is_present(), 1);
        root.checks = 0;
    };

    // Whether each kind leaves the children present; the sequence is absent
    // after each, both encodings stale, and the root re-checked (a composite
    // always finishes with the upward kind).
    const std::pair<invalidate_t, int> kinds[] = {
        {invalidate_local, 0}, {invalidate_upward, 1}, {invalidate_full, 0}};
    for (const auto& [kind, children_present] : kinds) {
        SCOPED_TRACE(static_cast<int>(kind));
        prepare();
        seq.invalidate_value(kind);
        EXPECT_EQ(a.is_present(), children_present);
        EXPECT_EQ(b.is_present(), children_present);
        EXPECT_EQ(seq.is_present(), 0);
        EXPECT_EQ(seq.is_encoding_valid(), 0);
        EXPECT_EQ(root.is_encoding_valid(), 0);
        EXPECT_GE(root.checks, 1);
        EXPECT_EQ(root.last_arg, 0);
    }
}

TEST(QbAsnComposite, EmptyiWalksTheChildrenAndStopsAtTheFirstFailure) {
    std::vector<int> log;
    qb_test::logged_step x(log, 1, 0);
    qb_test::logged_step y(log, 2, 0x1065219B);
    qb_test::logged_step z(log, 3, 0);
    qb_asn_sequence seq(security_off);
    register_all(seq, {&x, &y, &z});
    EXPECT_EQ(seq.emptyi(), 0x1065219Bu);
    EXPECT_EQ(log, (std::vector<int>{1, 2}));

    log.clear();
    EXPECT_EQ(seq.normalize(), 0x1065219Bu);
    EXPECT_EQ(log, (std::vector<int>{101, 102}));

    std::vector<int> log2;
    qb_test::logged_step p(log2, 1, 0);
    qb_test::logged_step q(log2, 2, 0);
    qb_asn_sequence ok(security_off);
    register_all(ok, {&p, &q});
    EXPECT_EQ(ok.emptyi(), 0u);
    EXPECT_EQ(ok.normalize(), 0u);
    EXPECT_EQ(log2, (std::vector<int>{1, 2, 101, 102}));
}

TEST(QbAsnComposite, EmptyClearsTheChildrenAndRederivesPresence) {
    qb_test::int_then<qb_asn_null> pair;
    auto& [seq, i, n] = pair;
    i.set_value(5L);
    ASSERT_EQ(seq.is_present(), 1);
    EXPECT_EQ(seq.empty(), 0u);
    EXPECT_EQ(i.is_present(), 0);
    EXPECT_EQ(seq.is_present(), 0);

    qb_asn_sequence opt_seq(security_off);
    qb_asn_integer o(security_off);
    o.set_optional(1);
    opt_seq.register_child(&o);
    o.set_value(5L);
    EXPECT_EQ(opt_seq.empty(), 0u);
    EXPECT_EQ(o.is_present(), 0);
    EXPECT_EQ(opt_seq.is_present(), 1);
    EXPECT_EQ(write_bytes(opt_seq), hex("30 00"));
}

TEST(QbAsnComposite, IsValidDeepRechecksTheSubtree) {
    qb_test::nested<qb_asn_integer> tree;
    tree.leaf.set_value(1L);
    ASSERT_EQ(tree.outer.is_present(), 1);
    // The tree.leaf loses its value without telling anyone.
    tree.leaf.invalidate_value(invalidate_local);
    EXPECT_EQ(tree.inner.is_present(), 1);
    EXPECT_NE(tree.outer.is_valid(0), 0);  // not deep: no re-check
    EXPECT_EQ(tree.inner.is_present(), 1);
    EXPECT_EQ(tree.outer.is_valid(1), 0);  // deep: re-derived from the tree.leaf
    EXPECT_EQ(tree.inner.is_present(), 0);
    EXPECT_EQ(tree.outer.is_present(), 0);
    // Optional: valid even when absent.
    tree.outer.set_optional(1);
    EXPECT_NE(tree.outer.is_valid(1), 0);
    EXPECT_EQ(tree.outer.is_present(), 0);
}

// ---- cache checks ----

TEST(QbAsnComposite, CheckEncodeFlags) {
    qb_asn_sequence seq(security_off);
    qb_asn_integer a(security_off), opt(security_off);
    opt.set_optional(1);
    register_all(seq, {&a, &opt});
    a.set_value(5L);
    // Own cache not valid: 1 for the plain form; the flag form compares first.
    ASSERT_EQ(seq.is_encoding_valid(), 0);
    EXPECT_EQ(seq.check_encode_flags(), 1);
    EXPECT_EQ(seq.check_encode_flags(1), 0);
    EXPECT_EQ(seq.check_encode_flags(0), 1);
    // Built: every written child's cache is valid; the absent optional one is skipped.
    EXPECT_EQ(write_bytes(seq), hex("30 03 02 01 05"));
    ASSERT_EQ(opt.is_encoding_valid(), 0);
    EXPECT_EQ(seq.check_encode_flags(), 1);
    EXPECT_EQ(seq.check_encode_flags(1), 1);
    EXPECT_EQ(seq.check_encode_flags(0), 0);
    // A child whose cache went stale without telling the parent.
    a.encoding_valid = 0;
    EXPECT_EQ(seq.check_encode_flags(), 0);
    EXPECT_EQ(seq.check_encode_flags(1), 0);
    a.encoding_valid = 1;
    EXPECT_EQ(seq.check_encode_flags(), 1);
    // Deeper: a grandchild's stale cache is found through the child.
    qb_test::nested<qb_asn_integer> tree;
    tree.leaf.set_value(1L);
    EXPECT_EQ(write_bytes(tree.outer), hex("30 05 30 03 02 01 01"));
    EXPECT_EQ(tree.outer.check_encode_flags(), 1);
    tree.leaf.encoding_valid = 0;
    EXPECT_EQ(tree.outer.check_encode_flags(), 0);
}

TEST(QbAsnComposite, CheckEncodeFlagsDoesNotSkipAnAbsentDefaultableChild) {
    qb_asn_sequence seq(security_off);
    qb_asn_integer d(security_off);
    d.set_default_value(1L);
    seq.register_child(&d);
    EXPECT_EQ(write_bytes(seq), hex("30 00"));
    // Only optional absent children are skipped; the default-valued child
    // was never built, so its cache is not valid.
    ASSERT_EQ(d.is_encoding_valid(), 0);
    EXPECT_EQ(seq.check_encode_flags(), 0);
}

// ---- dumps ----

TEST(QbAsnComposite, DisplayOneChild) {
    IntSeq t;
    t.i.set_value(5L);
    qb_buffer_t out(security_off);
    out.append("x");
    EXPECT_EQ(t.seq.display(out), 0u);
    EXPECT_EQ(text_of(out), "xCOMPOSITE-OBJECT(tag=16, class=0) {OBJECT(tag=2, class=0)");
}

TEST(QbAsnComposite, DisplayNestedAndEmpty) {
    qb_asn_sequence empty(security_off);
    qb_buffer_t out(security_off);
    EXPECT_EQ(empty.display(out), 0u);
    EXPECT_EQ(text_of(out), "COMPOSITE-OBJECT(tag=16, class=0) {");

    qb_asn_sequence outer(security_off), inner(security_off);
    qb_asn_integer i(security_off);
    qb_asn_boolean b(security_off);
    register_all(inner, {&i, &b});
    outer.register_child(&inner);
    outer.set_tag(3);
    outer.set_class(2);
    i.set_value(1L);
    b.set_value(1);
    out.clear();
    EXPECT_EQ(outer.display(out), 0u);
    EXPECT_EQ(text_of(out),
              "COMPOSITE-OBJECT(tag=3, class=2) {COMPOSITE-OBJECT(tag=16, class=0) {"
              "OBJECT(tag=2, class=0)OBJECT(tag=1, class=0)");
}

TEST(QbAsnComposite, DisplayStopsAtTheFirstFailingChild) {
    qb_asn_sequence seq(security_off);
    qb_asn_integer a(security_off);
    qb_asn_boolean b(security_off);  // mandatory, absent
    qb_asn_integer c(security_off);
    register_all(seq, {&a, &b, &c});
    a.set_value(1L);
    c.set_value(3L);
    EXPECT_EQ(display_text(seq, 0x106521A0u), "COMPOSITE-OBJECT(tag=16, class=0) {OBJECT(tag=2, class=0)");
}

TEST(QbAsnComposite, DisplayStateFlagsIndentsTheChildren) {
    qb_asn_sequence seq(security_off);
    qb_asn_integer i(security_off);
    qb_asn_sequence inner(security_off);
    qb_asn_boolean b(security_off);
    b.set_optional(1);
    inner.register_child(&b);
    register_all(seq, {&i, &inner});
    i.set_value(5L);
    {
        qb_buffer_t out(security_off);
        EXPECT_EQ(seq.display_state_flags(out, 0), 0u);
        EXPECT_EQ(text_of(out),
                  "SEQUENCE(valid=Y, present=Y, optional=N, defaultable=N, enc_valid=N)\n"
                  "  INTEGER(valid=Y, present=Y, optional=N, defaultable=N, enc_valid=Y)\n"
                  "  SEQUENCE(valid=Y, present=Y, optional=N, defaultable=N, enc_valid=N)\n"
                  "    BOOLEAN(valid=Y, present=N, optional=Y, defaultable=N, enc_valid=N)\n");
    }
    {
        qb_buffer_t out(security_off);
        EXPECT_EQ(seq.display_state_flags(out, 2), 0u);
        EXPECT_EQ(text_of(out),
                  "  SEQUENCE(valid=Y, present=Y, optional=N, defaultable=N, enc_valid=N)\n"
                  "    INTEGER(valid=Y, present=Y, optional=N, defaultable=N, enc_valid=Y)\n"
                  "    SEQUENCE(valid=Y, present=Y, optional=N, defaultable=N, enc_valid=N)\n"
                  "      BOOLEAN(valid=Y, present=N, optional=Y, defaultable=N, enc_valid=N)\n");
    }
    {
        qb_buffer_t out(security_off);
        EXPECT_EQ(seq.display_state_flags(out, -1), 0u);
        EXPECT_EQ(text_of(out),
                  "SEQUENCE(valid=Y, present=Y, optional=N, defaultable=N, enc_valid=N)\n"
                  " INTEGER(valid=Y, present=Y, optional=N, defaultable=N, enc_valid=Y)\n"
                  " SEQUENCE(valid=Y, present=Y, optional=N, defaultable=N, enc_valid=N)\n"
                  "   BOOLEAN(valid=Y, present=N, optional=Y, defaultable=N, enc_valid=N)\n");
    }
    // After writing, the caches are valid.
    write_bytes(seq);
    qb_buffer_t out(security_off);
    seq.display_state_flags(out, 0);
    EXPECT_EQ(text_of(out),
              "SEQUENCE(valid=Y, present=Y, optional=N, defaultable=N, enc_valid=Y)\n"
              "  INTEGER(valid=Y, present=Y, optional=N, defaultable=N, enc_valid=Y)\n"
              "  SEQUENCE(valid=Y, present=Y, optional=N, defaultable=N, enc_valid=Y)\n"
              "    BOOLEAN(valid=Y, present=N, optional=Y, defaultable=N, enc_valid=N)\n");
}

// ---- reading and writing sequences ----

TEST(QbAsnSequence, EmptySequenceEncodes) {
    qb_asn_sequence seq(security_off);
    EXPECT_EQ(write_bytes(seq), hex("30 00"));
    qb_asn_sequence in(security_off);
    EXPECT_TRUE(reads(in, "30 00", 0u, 2));
    EXPECT_EQ(in.is_present(), 1);
}

TEST(QbAsnSequence, ASuccessfulReadMakesTheSequencePresent) {
    // The read ends by marking the sequence present, whatever the presence
    // rule would say about its (absent, optional) children.
    qb_asn_sequence seq(security_off);
    qb_asn_integer o(security_off);
    o.set_optional(1);
    seq.register_child(&o);
    seq.set_empty_permitted(0);
    ASSERT_EQ(seq.is_present(), 0);
    EXPECT_TRUE(reads(seq, "30 00", 0u, 2));
    EXPECT_EQ(seq.is_present(), 1);
    EXPECT_EQ(o.is_present(), 0);
    EXPECT_EQ(write_bytes(seq), hex("30 00"));
}

TEST(QbAsnSequence, ReadsOneInteger) {
    IntSeq t;
    EXPECT_TRUE(reads(t.seq, "30 03 02 01 05 EE", 0u, 5));
    EXPECT_EQ(t.seq.is_present(), 1);
    EXPECT_EQ(int_value(t.i), 5);
}

TEST(QbAsnSequence, SurplusContentIsRefused) {
    IntSeq t;
    EXPECT_TRUE(reads(t.seq, "30 06 02 01 05 02 01 06", 0x106521A5u, 0));
    EXPECT_EQ(t.seq.is_present(), 0);
    EXPECT_EQ(t.i.is_present(), 0);

    // Surplus octets that are not even a frame.
    EXPECT_TRUE(reads(t.seq, "30 04 02 01 05 FF", 0x106521A5u, 0));

    // From a nested sequence, passed up unchanged.
    qb_test::nested<qb_asn_integer> tree;
    EXPECT_TRUE(reads(tree.outer, "30 08 30 06 02 01 05 02 01 06", 0x106521A5u, 0));
    EXPECT_EQ(tree.outer.is_present(), 0);
}

TEST(QbAsnSequence, OptionalChildSkipped) {
    qb_asn_sequence seq(security_off);
    qb_asn_integer i(security_off);
    qb_asn_boolean b(security_off);
    i.set_optional(1);
    register_all(seq, {&i, &b});
    EXPECT_TRUE(reads(seq, "30 03 01 01 FF", 0u, 5));
    EXPECT_EQ(i.is_present(), 0);
    EXPECT_EQ(bool_value(b), 1);
    EXPECT_EQ(write_bytes(seq), hex("30 03 01 01 FF"));
}

TEST(QbAsnSequence, DefaultableChildSkipped) {
    qb_asn_sequence seq(security_off);
    qb_asn_integer i(security_off);
    qb_asn_boolean b(security_off);
    i.set_default_value(4L);
    register_all(seq, {&i, &b});
    auto in = hex("30 03 01 01 00");
    qb_r_buffer_t r = view_of(in);
    EXPECT_EQ(seq.asnread(r), 0u);
    EXPECT_EQ(i.is_present(), 0);
    EXPECT_EQ(int_value(i), 4);
    // Written with the default (a present value equal to it) left out.
    i.set_value(4L);
    EXPECT_EQ(write_bytes(seq), hex("30 03 01 01 00"));
    i.set_value(5L);
    EXPECT_EQ(write_bytes(seq), hex("30 06 02 01 05 01 01 00"));
}

TEST(QbAsnSequence, ChildrenAreMatchedByPositionOnly) {
    qb_asn_sequence seq(security_off);
    qb_asn_integer i(security_off);
    qb_asn_boolean b(security_off);
    register_all(seq, {&i, &b});
    EXPECT_TRUE(reads(seq, "30 06 01 01 FF 02 01 05", 0x106521A4u, 0));
    EXPECT_EQ(seq.is_present(), 0);
}

TEST(QbAsnSequence, ChildErrorsArePassedUp) {
    const auto absent = [](const IntBoolSeq& seq) { EXPECT_EQ(seq.is_present(), 0); };
    expect_refused_reads<IntBoolSeq>(absent, {
        {"mandatory child finds another identifier", "30 03 01 01 FF", 0x106521A4},
        {"mandatory child missing at the end", "30 03 02 01 05", 0x10652198},
        {"child content malformed", "30 07 02 01 05 01 02 FF FF", 0x1065219B},
        {"child length beyond the sequence", "30 04 02 01 05 01 01 FF", 0x10652198},
        {"child indefinite", "30 08 02 01 05 01 80 FF 00 00", 0x1065219D},
        {"child constructed", "30 06 02 01 05 21 01 FF", 0x1065219E},
    });
}

TEST(QbAsnSequence, ChildReadsOnlyWithinTheSequence) {
    // The integer's declared length runs past the sequence's content, though
    // the caller's view holds more octets: the child sees only the content.
    qb_test::in_sequence<qb_asn_integer> tree;
    auto& [seq, i] = tree;
    EXPECT_TRUE(reads(seq, "30 03 02 02 05 06", 0x10652198u, 0));
    // An optional child after the content does not take octets beyond it.
    qb_asn_sequence seq2(security_off);
    qb_asn_integer a(security_off), opt(security_off);
    opt.set_optional(1);
    register_all(seq2, {&a, &opt});
    EXPECT_TRUE(reads(seq2, "30 03 02 01 05 02 01 06", 0u, 5));
    EXPECT_EQ(opt.is_present(), 0);
}

TEST(QbAsnSequence, WrongIdentifierOrForm) {
    IntSeq t;
    struct Case {
        const char* hex;
        unsigned int status;
    };
    const Case cases[] = {
        {"31 03 02 01 05", 0x106521A4},  // SET
        {"70 03 02 01 05", 0x106521A4},  // application 16
        {"10 03 02 01 05", 0x1065219F},  // primitive form
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.hex);
        EXPECT_TRUE(reads(t.seq, c.hex, c.status, 0));
    }
}

TEST(QbAsnSequence, IndefiniteLength) {
    IntSeq t;
    EXPECT_TRUE(reads(t.seq, "30 80 02 01 05 00 00 EE", 0u, 7));
    EXPECT_EQ(t.seq.is_indefinite_length(), 1);
    EXPECT_EQ(t.seq.is_present(), 1);
    EXPECT_EQ(int_value(t.i), 5);
    // Written back with a definite length.
    EXPECT_EQ(write_bytes(t.seq), hex("30 03 02 01 05"));

    // Nested indefinite lengths.
    qb_test::nested<qb_asn_integer> tree;
    auto nested = hex("30 80 30 80 02 01 07 00 00 00 00");
    EXPECT_TRUE(reads(tree.outer, nested, 0u, nested.size()));
    EXPECT_EQ(int_value(tree.leaf), 7);
    EXPECT_EQ(write_bytes(tree.outer), hex("30 05 30 03 02 01 07"));

    // Only optional children, nothing but the end-of-contents.
    qb_asn_sequence opts(security_off);
    qb_asn_integer o(security_off);
    o.set_optional(1);
    opts.register_child(&o);
    auto eoc = hex("30 80 00 00");
    EXPECT_TRUE(reads(opts, eoc, 0u, 4));
    EXPECT_EQ(o.is_present(), 0);

    // A mandatory child meeting the end-of-contents sees identifier 00.
    EXPECT_TRUE(reads(t.seq, eoc, 0x106521A4u, 0));
}

TEST(QbAsnSequence, IndefiniteLengthWithoutEndOfContents_quirk) {
    IntSeq t;
    // Missing end-of-contents: the view is left just past the children.
    auto in = hex("30 80 02 01 05 EE");
    EXPECT_TRUE(reads(t.seq, in, 0x1065219Bu, 5));
    EXPECT_EQ(t.seq.is_present(), 0);
    EXPECT_EQ(t.i.is_present(), 0);
    // A surplus element in an indefinite-length sequence stands where the
    // end-of-contents should: the same error, not 0x106521A5.
    EXPECT_TRUE(reads(t.seq, "30 80 02 01 05 02 01 06 00 00", 0x1065219Bu, 5));
}

TEST(QbAsnSequence, LongFormLengths) {
    const char* cases[] = {
        "30 81 03 02 01 05",
        "30 82 00 03 02 01 05",
        "30 84 00 00 00 03 02 01 05",
        "30 81 05 02 82 00 01 05",
    };
    for (const char* text : cases) {
        SCOPED_TRACE(text);
        qb_test::in_sequence<qb_asn_integer> tree;
        auto& [seq, i] = tree;
        auto in = hex(text);
        EXPECT_TRUE(reads(seq, in, 0u, in.size()));
        EXPECT_EQ(int_value(i), 5);
        EXPECT_EQ(write_bytes(seq), hex("30 03 02 01 05"));
    }
}

TEST(QbAsnSequence, EncodeFailureOfAChildIsPassedUp) {
    qb_asn_sequence outer(security_off), inner(security_off);
    qb_asn_integer a(security_off), b(security_off);
    register_all(inner, {&a, &b});
    outer.register_child(&inner);
    a.set_value(1L);
    b.set_value(2L);
    EXPECT_EQ(write_bytes(outer), hex("30 08 30 06 02 01 01 02 01 02"));
    b.invalidate_value(invalidate_local);  // absent, nobody re-checks
    EXPECT_TRUE(appends("AA", [&](qb_buffer_t& out) { return outer.asnwrite(out); }, 0x106521A0u, "AA"));
    EXPECT_EQ(outer.is_encoding_valid(), 0);
    EXPECT_EQ(inner.is_encoding_valid(), 0);
}

// ---- round trips with every primitive type ----

// Record: SEQUENCE { INTEGER, BOOLEAN, NULL, OCTET STRING,
//   SEQUENCE { BIT STRING, named bits, INTEGER, BOOLEAN },
//   INTEGER OPTIONAL, INTEGER DEFAULT 7 }
struct Record {
    qb_asn_sequence outer{security_off};
    qb_asn_integer a{security_off};
    qb_asn_boolean b{security_off};
    qb_asn_null n{security_off};
    qb_asn_octetstring os{security_off};
    qb_asn_sequence inner{security_off};
    qb_asn_bitstring bs{security_off};
    qb_asn_namedbits nb{security_off};
    qb_asn_integer c{security_off};
    qb_asn_boolean d{security_off};
    qb_asn_integer opt{security_off};
    qb_asn_integer dflt{security_off};

    Record() {
        opt.set_optional(1);
        dflt.set_default_value(7L);
        register_all(inner, {&bs, &nb, &c, &d});
        register_all(outer, {&a, &b, &n, &os, &inner, &opt, &dflt});
    }
    Record(const Record&) = delete;
    Record& operator=(const Record&) = delete;

    // Values A: optional absent, default-valued member equal to its default.
    void set_a() {
        a.set_value(300L);
        b.set_value(5);
        const unsigned char octets[] = {0x01, 0x02, 0x03};
        os.set_value(octets, 3);
        const unsigned char bits[] = {0xAB, 0xCD};
        bs.set_value(bits, 12);
        nb.set_bit(1, 1);
        nb.set_bit(9, 1);
        c.set_value(-129L);
        d.set_value(0);
        dflt.set_value(7L);
    }

    // Values B: optional present, default-valued member differing, edge values.
    void set_b() {
        a.set_value(-1L);
        b.set_value(0);
        os.set_value(nullptr, 0);
        const unsigned char bits[] = {0x12, 0x34};
        bs.set_value(bits, 16);
        nb.set_bit(4, 1);
        c.set_value(0x7FFFFFFFL);
        d.set_value(1);
        opt.set_value(0L);
        dflt.set_value(8L);
    }
};

const char kCanonicalA[] =
    "30 21 02 02 01 2C 01 01 FF 05 00 04 03 01 02 03"
    " 30 11 03 03 04 AB C0 03 03 06 40 40 02 02 FF 7F 01 01 00";

const char kCanonicalB[] =
    "30 24 02 01 FF 01 01 00 05 00 04 00"
    " 30 12 03 03 00 12 34 03 02 03 08 02 04 7F FF FF FF 01 01 FF"
    " 02 01 00 02 01 08";

// Values A again, with indefinite lengths and long-form lengths everywhere.
const char kIndefiniteA[] =
    "30 80"
    " 02 81 02 01 2C"
    " 01 84 00 00 00 01 FF"
    " 05 81 00"
    " 04 82 00 03 01 02 03"
    " 30 80 03 03 04 AB C0 03 81 03 06 40 40 02 02 FF 7F 01 01 00 00 00"
    " 00 00";

// Values A, a definite long-form outer length around an indefinite inner one.
const char kMixedA[] =
    "30 81 23 02 02 01 2C 01 01 FF 05 00 04 03 01 02 03"
    " 30 80 03 03 04 AB C0 03 03 06 40 40 02 02 FF 7F 01 01 00 00 00";

// Values A with four- and three-octet long-form lengths.
const char kLongFormA[] =
    "30 84 00 00 00 24 02 02 01 2C 01 01 FF 05 00 04 03 01 02 03"
    " 30 83 00 00 11 03 03 04 AB C0 03 03 06 40 40 02 02 FF 7F 01 01 00";

void expect_values_a(const Record& r) {
    EXPECT_EQ(r.outer.is_present(), 1);
    EXPECT_EQ(r.inner.is_present(), 1);
    long v = 0;
    EXPECT_EQ(int_value(r.a), 300);
    EXPECT_NE(bool_value(r.b), 0);
    EXPECT_EQ(r.n.is_present(), 1);
    unsigned char* p = nullptr;
    unsigned int len = 0;
    EXPECT_EQ(r.os.get_value(p, len), 0u);
    ASSERT_EQ(len, 3u);
    EXPECT_EQ(std::vector<unsigned char>(p, p + len), hex("01 02 03"));
    unsigned int nbits = 0;
    EXPECT_EQ(r.bs.get_value(p, nbits), 0u);
    EXPECT_EQ(nbits, 12u);
    EXPECT_EQ(std::vector<unsigned char>(p, p + 2), hex("AB C0"));
    int on = -1;
    for (unsigned int bit : {1u, 9u}) {
        EXPECT_EQ(r.nb.get_bit(bit, on), 0u);
        EXPECT_EQ(on, 1) << bit;
    }
    for (unsigned int bit : {0u, 2u, 8u, 10u, 15u, 100u}) {
        EXPECT_EQ(r.nb.get_bit(bit, on), 0u);
        EXPECT_EQ(on, 0) << bit;
    }
    EXPECT_EQ(int_value(r.c), -129);
    EXPECT_EQ(bool_value(r.d), 0);
    EXPECT_EQ(r.opt.is_present(), 0);
    EXPECT_EQ(r.opt.get_value(v), 0x106521A0u);
    EXPECT_EQ(int_value(r.dflt), 7);
}

void expect_values_b(const Record& r) {
    EXPECT_EQ(r.outer.is_present(), 1);
    EXPECT_EQ(int_value(r.a), -1);
    EXPECT_EQ(bool_value(r.b), 0);
    unsigned char* p = nullptr;
    unsigned int len = 99;
    EXPECT_EQ(r.os.get_value(p, len), 0u);
    EXPECT_EQ(len, 0u);
    unsigned int nbits = 0;
    EXPECT_EQ(r.bs.get_value(p, nbits), 0u);
    EXPECT_EQ(nbits, 16u);
    EXPECT_EQ(std::vector<unsigned char>(p, p + 2), hex("12 34"));
    int on = -1;
    EXPECT_EQ(r.nb.get_bit(4, on), 0u);
    EXPECT_EQ(on, 1);
    EXPECT_EQ(r.nb.get_bit(3, on), 0u);
    EXPECT_EQ(on, 0);
    EXPECT_EQ(int_value(r.c), 0x7FFFFFFF);
    EXPECT_NE(bool_value(r.d), 0);
    EXPECT_EQ(int_value(r.opt), 0);
    EXPECT_EQ(int_value(r.dflt), 8);
}

// expect_record_round_trip: `src` writes `canonical` and holds what `expect_values`
// checks; a fresh record reads those octets, holds the same, writes them
// again and compares equal to `src`.
void expect_record_round_trip(Record& src, const char* canonical, void (*expect_values)(const Record&)) {
    const auto bytes = write_bytes(src.outer);
    EXPECT_EQ(bytes, hex(canonical));
    expect_values(src);

    Record dst;
    EXPECT_TRUE(reads(dst.outer, bytes, 0u, bytes.size()));
    expect_values(dst);
    EXPECT_EQ(write_bytes(dst.outer), hex(canonical));
    EXPECT_TRUE(src.outer == dst.outer);
}

TEST(QbAsnSequence, NestedRoundTripValuesA) {
    Record src;
    src.set_a();
    expect_record_round_trip(src, kCanonicalA, expect_values_a);
}

TEST(QbAsnSequence, NestedRoundTripValuesB) {
    Record src;
    src.set_b();
    expect_record_round_trip(src, kCanonicalB, expect_values_b);
}

TEST(QbAsnSequence, NestedReadFromIndefiniteAndLongFormInput) {
    for (const char* text : {kIndefiniteA, kMixedA, kLongFormA}) {
        SCOPED_TRACE(text);
        Record dst;
        auto in = hex(text);
        EXPECT_TRUE(reads(dst.outer, in, 0u, in.size()));
        expect_values_a(dst);
        EXPECT_EQ(write_bytes(dst.outer), hex(kCanonicalA));
    }
}

TEST(QbAsnSequence, ReadingAgainReplacesTheValues) {
    Record dst;
    auto a = hex(kCanonicalA);
    qb_r_buffer_t r = view_of(a);
    ASSERT_EQ(dst.outer.asnread(r), 0u);
    auto b = hex(kCanonicalB);
    qb_r_buffer_t r2 = view_of(b);
    ASSERT_EQ(dst.outer.asnread(r2), 0u);
    expect_values_b(dst);
    EXPECT_EQ(write_bytes(dst.outer), hex(kCanonicalB));
    qb_r_buffer_t r3 = view_of(a);
    ASSERT_EQ(dst.outer.asnread(r3), 0u);
    expect_values_a(dst);
    EXPECT_EQ(write_bytes(dst.outer), hex(kCanonicalA));
}

// ---- hostile input ----

// The record holds a BIT STRING, so its reads may also report bad bit-string
// content (0x106521A2) or a bad segment (0x106521A3).
TEST(QbAsnSequence, HostileInputNeverEscapesTheDocumentedStatuses) {
    for (const char* text : {kCanonicalA, kCanonicalB, kIndefiniteA, kMixedA, kLongFormA}) {
        SCOPED_TRACE(text);
        qb_test::for_each_damaged(hex(text), {0x01, 0x20, 0x80, 0xFF}, {},
                                  [](const std::vector<unsigned char>& bad, const std::string& what) {
                                      SCOPED_TRACE(what);
                                      Record rec;
                                      (void)read_hostile(rec.outer, bad, {0x106521A2, 0x106521A3});
                                  });
    }
}

TEST(QbAsnSequence, HostileTruncationsAreRefused) {
    // A cut anywhere inside a definite-length frame leaves it short.
    for (const char* text : {kCanonicalA, kCanonicalB, kLongFormA}) {
        const auto good = hex(text);
        for (size_t n = 0; n < good.size(); ++n) {
            SCOPED_TRACE(n);
            Record rec;
            const auto res = qb_test::read_into(rec.outer, {good.begin(), good.begin() + static_cast<std::ptrdiff_t>(n)});
            EXPECT_EQ(res.rc, 0x10652198u);
            EXPECT_EQ(res.consumed, 0u);
            EXPECT_EQ(res.remaining, n);
        }
    }
}

}  // namespace
