// tests/base_idls/namevalue_asn_test.cpp - name-value trees (recursive, children
// held through an array of pointers) and lists of them.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "asn1/asn1.h"
#include "base_idls/namevalue_asn.h"
#include "support/failing_malloc.h"
#include "support/hex.h"

namespace {

using bytes = std::vector<unsigned char>;

// ---- helpers ----

template <class Flat>
bytes encode(Flat& r, bool lcs = false) {
    qb_asn_buffer_t out{0, nullptr};
    const unsigned int rc = lcs ? qbAsnEncodeObjLCS(out, r) : qbAsnEncodeObj(out, r);
    EXPECT_EQ(rc, 0u);
    bytes v;
    if (out.data != nullptr) v.assign(out.data, out.data + out.length);
    qb_asn_buffer_free(out);
    return v;
}

template <class Flat>
unsigned int decode(bytes in_bytes, Flat& r, bool lcs = false) {
    qb_asn_buffer_t in{static_cast<unsigned int>(in_bytes.size()), in_bytes.data()};
    return lcs ? qbAsnDecodeObjLCS(in, r) : qbAsnDecodeObj(in, r);
}

std::string text_of(const char* s) { return s == nullptr ? std::string() : std::string(s); }

// A decoded text is never null: null and "" both come back as "".
void expect_text(const char* want, const char* got) {
    ASSERT_NE(got, nullptr);
    EXPECT_EQ(text_of(want), std::string(got));
}

// Field by field, children recursively (a null child compares as an empty record).
void expect_node(const namevalue_s_t* want, const namevalue_s_t& got) {
    static const namevalue_s_t empty{};
    if (want == nullptr) want = &empty;
    expect_text(want->name, got.name);
    ASSERT_EQ(want->value_count, got.value_count);
    if (want->value_count == 0) {
        EXPECT_EQ(got.values, nullptr);
    }
    for (unsigned int i = 0; i < want->value_count; ++i) expect_text(want->values[i], got.values[i]);
    ASSERT_EQ(want->child_count, got.child_count);
    if (want->child_count == 0) {
        EXPECT_EQ(got.child_nodes, nullptr);
    }
    for (unsigned int i = 0; i < want->child_count; ++i) {
        SCOPED_TRACE("child " + std::to_string(i) + " of " + text_of(want->name));
        ASSERT_NE(got.child_nodes[i], nullptr);
        expect_node(want->child_nodes[i], *got.child_nodes[i]);
    }
}

// BER length octets (short form below 128, else long form).
bytes ber_length(size_t n) {
    if (n < 128) return {static_cast<unsigned char>(n)};
    bytes digits;
    for (size_t v = n; v != 0; v >>= 8) digits.insert(digits.begin(), static_cast<unsigned char>(v & 0xFF));
    bytes out{static_cast<unsigned char>(0x80 | digits.size())};
    out.insert(out.end(), digits.begin(), digits.end());
    return out;
}

// A frame with tag `tag` around `content`.
bytes frame(unsigned char tag, const bytes& content) {
    bytes out{tag};
    const bytes len = ber_length(content.size());
    out.insert(out.end(), len.begin(), len.end());
    out.insert(out.end(), content.begin(), content.end());
    return out;
}

bytes concat(std::initializer_list<bytes> parts) {
    bytes out;
    for (const bytes& p : parts) out.insert(out.end(), p.begin(), p.end());
    return out;
}

// The BER of a chain of `levels` records, each named "n" with no values and
// the next level as its only child.
bytes nested_nodes(int levels) {
    bytes inner;  // the innermost record's child list is empty
    for (int i = 0; i < levels; ++i) inner = frame(0x30, concat({hex("0C 01 6E 30 00"), frame(0x30, inner)}));
    return inner;
}

const bytes kHeader = hex("04 02 AC DC");

// A chain of flat records, level i's only child being level i+1.
struct chain {
    std::vector<namevalue_s_t> nodes;
    std::vector<namevalue_s_t*> links;
    explicit chain(int levels) : nodes(levels), links(levels) {
        for (int i = 0; i < levels; ++i) {
            nodes[i].name = const_cast<char*>("n");
            links[i] = &nodes[i];
        }
        for (int i = 0; i + 1 < levels; ++i) {
            nodes[i].child_count = 1;
            nodes[i].child_nodes = &links[i + 1];
        }
    }
};

// Levels below a decoded chain, counting the top one.
int depth_of(const namevalue_s_t& top) {
    int levels = 1;
    const namevalue_s_t* n = &top;
    while (n->child_count == 1) {
        n = n->child_nodes[0];
        ++levels;
    }
    return levels;
}

char* v(const char* s) { return const_cast<char*>(s); }

// ---- namevalue_s_t ----

TEST(Namevalue, RoundTripMatchesExpectedBytes) {
    char* values[] = {v("red"), v("blue")};
    namevalue_s_t nv{v("color"), 2, values, 0, nullptr};
    const bytes want = hex("04 02 AC DC  30 16"
                           "  0C 05 63 6F 6C 6F 72"
                           "  30 0B  0C 03 72 65 64  0C 04 62 6C 75 65"
                           "  30 00");
    EXPECT_EQ(encode(nv), want);
    namevalue_s_t got{};
    ASSERT_EQ(decode(want, got), 0u);
    expect_node(&nv, got);
    EXPECT_NE(got.values[0], values[0]);  // copies of its own
    qbAsnFreeObj(got);
}

TEST(Namevalue, LcsFormGivesTheSameBytesForAscii) {
    char* values[] = {v("red")};
    namevalue_s_t child{v("c"), 1, values, 0, nullptr};
    namevalue_s_t* kids[] = {&child};
    namevalue_s_t nv{v("color"), 1, values, 1, kids};
    EXPECT_EQ(encode(nv, true), encode(nv));
    namevalue_s_t got{};
    ASSERT_EQ(decode(encode(nv), got, true), 0u);
    expect_node(&nv, got);
    qbAsnFreeObj(got);
}

TEST(Namevalue, NoValuesAndNoChildrenEncodeTwoEmptyListsAndDecodeToNull) {
    namevalue_s_t nv{v("n"), 0, nullptr, 0, nullptr};
    EXPECT_EQ(encode(nv), hex("04 02 AC DC  30 07  0C 01 6E  30 00  30 00"));
    namevalue_s_t got{};
    ASSERT_EQ(decode(encode(nv), got), 0u);
    expect_text("n", got.name);
    EXPECT_EQ(got.value_count, 0u);
    EXPECT_EQ(got.values, nullptr);
    EXPECT_EQ(got.child_count, 0u);
    EXPECT_EQ(got.child_nodes, nullptr);
    qbAsnFreeObj(got);
}

TEST(Namevalue, NullTextsEncodeLikeEmptyTextsAndDecodeAllocated) {
    char* null_values[] = {nullptr, v("")};
    namevalue_s_t nv{nullptr, 2, null_values, 0, nullptr};
    EXPECT_EQ(encode(nv), hex("04 02 AC DC  30 0A  0C 00  30 04 0C 00 0C 00  30 00"));
    namevalue_s_t got{};
    ASSERT_EQ(decode(encode(nv), got), 0u);
    ASSERT_NE(got.name, nullptr);
    EXPECT_EQ(got.name[0], '\0');
    ASSERT_EQ(got.value_count, 2u);
    for (unsigned int i = 0; i < 2; ++i) {
        ASSERT_NE(got.values[i], nullptr);
        EXPECT_EQ(got.values[i][0], '\0');
    }
    qbAsnFreeObj(got);
}

// root r ["1"] -> { a [] -> { c ["x", "y"] }, b ["2"] }
TEST(Namevalue, ThreeLevelTreeKeepsEveryChildInPlace) {
    char* c_values[] = {v("x"), v("y")};
    namevalue_s_t c{v("c"), 2, c_values, 0, nullptr};
    namevalue_s_t* a_kids[] = {&c};
    namevalue_s_t a{v("a"), 0, nullptr, 1, a_kids};
    char* b_values[] = {v("2")};
    namevalue_s_t b{v("b"), 1, b_values, 0, nullptr};
    namevalue_s_t* r_kids[] = {&a, &b};
    char* r_values[] = {v("1")};
    namevalue_s_t root{v("r"), 1, r_values, 2, r_kids};
    const bytes want = hex("04 02 AC DC  30 2E  0C 01 72  30 03 0C 01 31"
                           "  30 24"
                           "    30 16  0C 01 61  30 00"                        // a
                           "      30 0F"
                           "        30 0D  0C 01 63  30 06 0C 01 78 0C 01 79  30 00"  // c
                           "    30 0A  0C 01 62  30 03 0C 01 32  30 00");      // b
    EXPECT_EQ(encode(root), want);

    namevalue_s_t got{};
    ASSERT_EQ(decode(want, got), 0u);
    expect_node(&root, got);
    // Spelled out at the places the tree puts them.
    ASSERT_EQ(got.child_count, 2u);
    EXPECT_STREQ(got.child_nodes[0]->name, "a");
    EXPECT_STREQ(got.child_nodes[1]->name, "b");
    ASSERT_EQ(got.child_nodes[0]->child_count, 1u);
    const namevalue_s_t* got_c = got.child_nodes[0]->child_nodes[0];
    EXPECT_STREQ(got_c->name, "c");
    ASSERT_EQ(got_c->value_count, 2u);
    EXPECT_STREQ(got_c->values[0], "x");
    EXPECT_STREQ(got_c->values[1], "y");
    EXPECT_EQ(got_c->child_count, 0u);
    EXPECT_EQ(got_c->child_nodes, nullptr);
    ASSERT_EQ(got.child_nodes[1]->value_count, 1u);
    EXPECT_STREQ(got.child_nodes[1]->values[0], "2");
    qbAsnFreeObj(got);

    // Decode, re-encode: the same bytes.
    namevalue_s_t again{};
    ASSERT_EQ(decode(want, again), 0u);
    EXPECT_EQ(encode(again), want);
    qbAsnFreeObj(again);
}

TEST(Namevalue, ChildrenAreSeparateRecordsBehindAPointerArray) {
    namevalue_s_t k1{v("k1"), 0, nullptr, 0, nullptr};
    namevalue_s_t k2{v("k2"), 0, nullptr, 0, nullptr};
    namevalue_s_t k3{v("k3"), 0, nullptr, 0, nullptr};
    namevalue_s_t* kids[] = {&k1, &k2, &k3};
    namevalue_s_t nv{v("p"), 0, nullptr, 3, kids};
    const bytes input = encode(nv);
    namevalue_s_t got{};
    std::vector<size_t> sizes;
    {
        qb_test::record_allocations log;
        ASSERT_EQ(decode(input, got), 0u);
        sizes = log.sizes();
    }
    // One array of three pointers and one record per child.
    size_t arrays = 0, records = 0;
    for (size_t n : sizes) {
        arrays += n == 3 * sizeof(namevalue_s_t*);
        records += n == sizeof(namevalue_s_t);
    }
    EXPECT_EQ(arrays, 1u);
    EXPECT_EQ(records, 3u);
    ASSERT_EQ(got.child_count, 3u);
    EXPECT_STREQ(got.child_nodes[0]->name, "k1");
    EXPECT_STREQ(got.child_nodes[1]->name, "k2");
    EXPECT_STREQ(got.child_nodes[2]->name, "k3");
    qbAsnFreeObj(got);
}

TEST(Namevalue, NullChildPointerTravelsAsAnEmptyRecord) {
    namevalue_s_t k1{v("k"), 0, nullptr, 0, nullptr};
    namevalue_s_t* kids[] = {&k1, nullptr};
    namevalue_s_t nv{v("p"), 0, nullptr, 2, kids};
    EXPECT_EQ(encode(nv), hex("04 02 AC DC  30 18  0C 01 70  30 00"
                              "  30 11  30 07 0C 01 6B 30 00 30 00  30 06 0C 00 30 00 30 00"));
}

TEST(Namevalue, TypeNamesAndReflection) {
    asn_namevalue_t rec(security_off);
    EXPECT_STREQ(rec.get_type_name(), "namevalue_t");
    EXPECT_STREQ(rec.name.get_type_name(), "qbUTF8string");
    EXPECT_STREQ(rec.values.get_type_name(), "SEQUENCEOF");
    EXPECT_STREQ(rec.child_nodes.get_type_name(), "SEQUENCEOF");
    const qb_record_info& info = asn_namevalue_t::reflect();
    EXPECT_STREQ(info.name, "namevalue_t");
    EXPECT_STREQ(info.flat_name, "namevalue_s_t");
    EXPECT_EQ(info.flat_size, sizeof(namevalue_s_t));
    ASSERT_EQ(info.field_count, 3u);
    EXPECT_EQ(info.fields[0].kind, qb_field_text);
    EXPECT_EQ(info.fields[1].kind, qb_field_text_list);
    EXPECT_EQ(info.fields[1].offset, offsetof(namevalue_s_t, value_count));
    EXPECT_EQ(info.fields[1].offset2, offsetof(namevalue_s_t, values));
    EXPECT_EQ(info.fields[2].kind, qb_field_record_ptr_list);
    EXPECT_EQ(info.fields[2].offset, offsetof(namevalue_s_t, child_count));
    EXPECT_EQ(info.fields[2].offset2, offsetof(namevalue_s_t, child_nodes));
    ASSERT_NE(info.fields[2].element, nullptr);
    EXPECT_EQ(info.fields[2].element(), &info);  // recursive: its own record
}

TEST(Namevalue, TreeDeeperThanTheNestingBoundIsRefusedWithoutLeaks) {
    // 300 levels: a record frame and a list frame per level, far past 256 frames.
    namevalue_s_t got{};
    EXPECT_EQ(decode(concat({kHeader, nested_nodes(300)}), got), 0x1065219Bu);
    EXPECT_EQ(got.name, nullptr);  // get_value never ran
    EXPECT_EQ(got.child_nodes, nullptr);
    qbAsnFreeObj(got);
}

TEST(Namevalue, DeepTreeIsWrittenAsBuiltButReadOnlyUpToTheBound) {
    // Writing follows no bound: the library writes exactly the bytes built here.
    chain deep(300);
    EXPECT_EQ(encode(deep.nodes[0]), concat({kHeader, nested_nodes(300)}));

    // Level k (from 0) is a record frame at depth 2k whose members sit at
    // depth 2k+1: 128 levels reach depth 255, the deepest frame read.
    chain at_bound(128);
    const bytes input = encode(at_bound.nodes[0]);
    EXPECT_EQ(input, concat({kHeader, nested_nodes(128)}));
    namevalue_s_t got{};
    ASSERT_EQ(decode(input, got), 0u);
    EXPECT_EQ(depth_of(got), 128);
    qbAsnFreeObj(got);

    namevalue_s_t deeper{};
    EXPECT_EQ(decode(concat({kHeader, nested_nodes(129)}), deeper), 0x1065219Bu);
    qbAsnFreeObj(deeper);
}

TEST(Namevalue, AllocationFailureAtEveryStepOfADecodeLeaksNothing) {
    char* c_values[] = {v("x"), v("y")};
    namevalue_s_t c{v("c"), 2, c_values, 0, nullptr};
    namevalue_s_t* a_kids[] = {&c, &c};
    namevalue_s_t a{v("a"), 1, c_values, 2, a_kids};
    namevalue_s_t* r_kids[] = {&a};
    namevalue_s_t root{v("r"), 0, nullptr, 1, r_kids};
    const bytes input = encode(root);
    bool succeeded = false;
    int failures = 0;
    for (long n = 0; n < 400 && !succeeded; ++n) {
        SCOPED_TRACE(n);
        namevalue_s_t got{};
        bytes copy = input;
        qb_asn_buffer_t in{static_cast<unsigned int>(copy.size()), copy.data()};
        testing::internal::CaptureStderr();
        unsigned int rc;
        {
            qb_test::fail_after guard(n);
            rc = qbAsnDecodeObj(in, got);
        }
        const std::string err = testing::internal::GetCapturedStderr();
        if (rc == 0) {
            succeeded = true;
            expect_node(&root, got);
        } else {
            ++failures;
            EXPECT_EQ(rc, 0x10652065u);
            EXPECT_NE(err.find("[10652065]"), std::string::npos) << err;
        }
        qbAsnFreeObj(got);  // freeable whatever the failure left
    }
    EXPECT_TRUE(succeeded);
    EXPECT_GE(failures, 10);
}

// ---- namevalueList_s_t ----

TEST(NamevalueList, RoundTripMatchesExpectedBytes) {
    char* p_values[] = {v("v")};
    namevalue_s_t p{v("p"), 1, p_values, 0, nullptr};
    namevalue_s_t q{v("q"), 0, nullptr, 0, nullptr};
    namevalue_s_t* items[] = {&p, &q};
    namevalueList_s_t list{2, items};
    const bytes want = hex("04 02 AC DC  30 17  30 15"
                           "  30 0A  0C 01 70  30 03 0C 01 76  30 00"
                           "  30 07  0C 01 71  30 00  30 00");
    EXPECT_EQ(encode(list), want);
    namevalueList_s_t got{};
    ASSERT_EQ(decode(want, got), 0u);
    ASSERT_EQ(got.count, 2u);
    ASSERT_NE(got.namevalues, nullptr);
    ASSERT_NE(got.namevalues[0], nullptr);
    ASSERT_NE(got.namevalues[1], nullptr);
    expect_node(&p, *got.namevalues[0]);
    expect_node(&q, *got.namevalues[1]);
    qbAsnFreeObj(got);
}

TEST(NamevalueList, LcsFormGivesTheSameBytesForAscii) {
    char* p_values[] = {v("v")};
    namevalue_s_t p{v("p"), 1, p_values, 0, nullptr};
    namevalue_s_t* items[] = {&p};
    namevalueList_s_t list{1, items};
    EXPECT_EQ(encode(list, true), encode(list));
    namevalueList_s_t got{};
    ASSERT_EQ(decode(encode(list), got, true), 0u);
    ASSERT_EQ(got.count, 1u);
    expect_node(&p, *got.namevalues[0]);
    qbAsnFreeObj(got);
}

TEST(NamevalueList, EmptyListDecodesToCountZeroAndNull) {
    namevalueList_s_t list{0, nullptr};
    EXPECT_EQ(encode(list), hex("04 02 AC DC  30 02  30 00"));
    namevalueList_s_t got{};
    ASSERT_EQ(decode(encode(list), got), 0u);
    EXPECT_EQ(got.count, 0u);
    EXPECT_EQ(got.namevalues, nullptr);
    qbAsnFreeObj(got);
}

TEST(NamevalueList, ThreeLevelTreesInAListSurvive) {
    char* leaf_values[] = {v("1"), v("2"), v("3")};
    namevalue_s_t leaf{v("leaf"), 3, leaf_values, 0, nullptr};
    namevalue_s_t* mid_kids[] = {&leaf};
    namevalue_s_t mid{v("mid"), 0, nullptr, 1, mid_kids};
    namevalue_s_t* top_kids[] = {&mid, &leaf};
    namevalue_s_t top{v("top"), 0, nullptr, 2, top_kids};
    namevalue_s_t* items[] = {&top, &leaf};
    namevalueList_s_t list{2, items};
    namevalueList_s_t got{};
    ASSERT_EQ(decode(encode(list), got), 0u);
    ASSERT_EQ(got.count, 2u);
    expect_node(&top, *got.namevalues[0]);
    expect_node(&leaf, *got.namevalues[1]);
    EXPECT_STREQ(got.namevalues[0]->child_nodes[0]->child_nodes[0]->values[2], "3");
    qbAsnFreeObj(got);
}

TEST(NamevalueList, DeepTreeInAListIsRefused) {
    const bytes list = concat({kHeader, frame(0x30, frame(0x30, nested_nodes(300)))});
    namevalueList_s_t got{};
    EXPECT_EQ(decode(list, got), 0x1065219Bu);
    EXPECT_EQ(got.count, 0u);
    EXPECT_EQ(got.namevalues, nullptr);
    qbAsnFreeObj(got);
}

TEST(NamevalueList, TypeName) {
    asn_namevalueList_t rec(security_off);
    EXPECT_STREQ(rec.get_type_name(), "namevalueList_t");
    EXPECT_STREQ(rec.namevalues.get_type_name(), "SEQUENCEOF");
    const qb_record_info& info = asn_namevalueList_t::reflect();
    EXPECT_STREQ(info.name, "namevalueList_t");
    EXPECT_STREQ(info.flat_name, "namevalueList_s_t");
    ASSERT_EQ(info.field_count, 1u);
    EXPECT_EQ(info.fields[0].kind, qb_field_record_ptr_list);
    EXPECT_EQ(info.fields[0].element(), &asn_namevalue_t::reflect());
}

}  // namespace
