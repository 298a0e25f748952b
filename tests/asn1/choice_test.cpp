// tests/asn1/choice_test.cpp - qb_asn_choice, qb_asn_any and qb_asn_nothing:
// selection, reading by trying the alternatives in order, writing the
// selected alternative's frame, the presence rules, dumps and read hooks;
// the ANY's raw and syntax modes and its hooks; the placeholder object;
// round trips through fresh trees and hostile input.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <initializer_list>
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

using qb_test::appends, qb_test::bool_value, qb_test::bytes_of, qb_test::expect_bare_text,
      qb_test::expect_null_refused, qb_test::expect_unsupported, qb_test::int_value, qb_test::put,
      qb_test::read_case, qb_test::read_hostile, qb_test::reads, qb_test::register_all, qb_test::state_flags,
      qb_test::value_of, qb_test::view_at, qb_test::view_of, qb_test::write_bytes;

std::string hexs(unsigned int v) {
    char text[16];
    std::snprintf(text, sizeof text, "%X", v);
    return text;
}

std::vector<unsigned char> any_value(const qb_asn_any& a) {
    unsigned char* p = nullptr;
    unsigned int n = 0;
    EXPECT_EQ(a.get_value(p, n), 0u);
    if (p == nullptr || n == 0) return {};
    return std::vector<unsigned char>(p, p + n);
}

// ---- hook recording ----

// Every hook below appends an event ("preread", "postread:<status in hex>",
// "preparse", "preencode") and the arguments it was given.
struct ReadHookLog {
    std::vector<std::string> events;
    std::vector<qb_asn_object*> objects;  // preread and postread, in call order
    std::vector<qb_r_buffer_t*> views;    // preread and postread, in call order
    std::vector<unsigned char*> cursors;  // the view's cursor at each call
    std::vector<qb_asn_any*> any_args;    // preparse and preencode, in call order
    int parse_result = 0;
    int encode_result = 0;
};

ReadHookLog g_log;

void reset_log() { g_log = ReadHookLog(); }

void log_preread(qb_asn_object* o, qb_r_buffer_t& r) {
    g_log.events.push_back("preread");
    g_log.objects.push_back(o);
    g_log.views.push_back(&r);
    g_log.cursors.push_back(r.cursor);
}

void log_postread(qb_asn_object* o, qb_r_buffer_t& r, int status) {
    g_log.events.push_back("postread:" + hexs(static_cast<unsigned int>(status)));
    g_log.objects.push_back(o);
    g_log.views.push_back(&r);
    g_log.cursors.push_back(r.cursor);
}

int log_preparse(qb_asn_any* a) {
    g_log.events.push_back("preparse");
    g_log.any_args.push_back(a);
    return g_log.parse_result;
}

int log_preencode(qb_asn_any* a) {
    g_log.events.push_back("preencode");
    g_log.any_args.push_back(a);
    return g_log.encode_result;
}

// hook_reads: `o`'s read hooks (and, for an ANY, its pre-parse hook) note
// their calls in g_log, which starts empty.
void hook_reads(qb_asn_object& o) {
    o.set_preread(log_preread);
    o.set_postread(log_postread);
    reset_log();
}

void hook_reads(qb_asn_any& a) {
    a.set_preparse(log_preparse);
    hook_reads(static_cast<qb_asn_object&>(a));
}

std::vector<std::string> events(std::initializer_list<const char*> list) {
    std::vector<std::string> out;
    for (const char* e : list) out.emplace_back(e);
    return out;
}

// ---- test objects ----

// TwoWay: a choice of (INTEGER, BOOLEAN).
struct TwoWay {
    qb_asn_choice pick{security_off};
    qb_asn_integer i{security_off};
    qb_asn_boolean b{security_off};
    TwoWay() {
        register_all(pick, {&i, &b});
    }
    TwoWay(const TwoWay&) = delete;
    TwoWay& operator=(const TwoWay&) = delete;
};

// ---- qb_asn_choice: construction and selection ----

TEST(QbAsnChoice, ConstructorLeavesItAbsentWithoutSelection) {
    qb_asn_choice c(security_off);
    EXPECT_STREQ(c.get_type_name(), "CHOICE");
    EXPECT_EQ(c.selected(), -1);
    EXPECT_EQ(c.is_present(), 0);
    EXPECT_EQ(c.is_polymorphic(), 1);
    EXPECT_EQ(c.is_encoding_valid(), 0);

    // Registering alternatives, even present ones, selects nothing.
    qb_asn_integer i(security_off);
    i.set_value(5L);
    c.register_child(&i);
    EXPECT_EQ(c.get_child_count(), 1u);
    EXPECT_EQ(c.selected(), -1);
    EXPECT_EQ(c.is_present(), 0);
    EXPECT_EQ(i.get_parent(), &c);
}

TEST(QbAsnChoice, IsPolymorphicThroughTheBase) {
    qb_asn_choice c(security_off);
    const qb_asn_object& base = c;
    EXPECT_EQ(base.is_polymorphic(), 1);
    qb_asn_sequence s(security_off);
    EXPECT_EQ(s.is_polymorphic(), 0);
}

TEST(QbAsnChoice, SelectOutOfRange) {
    TwoWay t;
    EXPECT_EQ(t.pick.select(5), 0x106521A7u);
    EXPECT_EQ(t.pick.select(2), 0x106521A7u);
    EXPECT_EQ(t.pick.select(-1), 0x106521A7u);
    EXPECT_EQ(t.pick.selected(), -1);
    EXPECT_EQ(t.pick.select(1), 0u);
    EXPECT_EQ(t.pick.selected(), 1);
    EXPECT_EQ(t.pick.select(2), 0x106521A7u);
    EXPECT_EQ(t.pick.select(-7), 0x106521A7u);
    EXPECT_EQ(t.pick.selected(), 1);
}

TEST(QbAsnChoice, SelectMakesPresentOnlyWhenTheAlternativeIsValid) {
    TwoWay t;
    t.i.set_value(5L);
    // A valid alternative that is not selected changes nothing.
    EXPECT_EQ(t.pick.is_present(), 0);
    EXPECT_EQ(t.pick.select(1), 0u);  // BOOLEAN, absent
    EXPECT_EQ(t.pick.is_present(), 0);
    EXPECT_EQ(t.pick.select(0), 0u);  // INTEGER, present
    EXPECT_EQ(t.pick.selected(), 0);
    EXPECT_EQ(t.pick.is_present(), 1);
    EXPECT_EQ(t.pick.select(1), 0u);  // back to the absent one
    EXPECT_EQ(t.pick.is_present(), 0);
}

TEST(QbAsnChoice, SelectOfTheSelectedIndexKeepsTheCachedEncoding) {
    qb_asn_sequence outer(security_off);
    TwoWay t;
    outer.register_child(&t.pick);
    t.i.set_value(5L);
    ASSERT_EQ(t.pick.select(0), 0u);
    EXPECT_EQ(write_bytes(outer), hex("30 03 02 01 05"));
    ASSERT_EQ(outer.is_encoding_valid(), 1);
    EXPECT_EQ(t.pick.is_encoding_valid(), 1);

    EXPECT_EQ(t.pick.select(0), 0u);
    EXPECT_EQ(outer.is_encoding_valid(), 1);
    EXPECT_EQ(t.pick.is_encoding_valid(), 1);

    // Another index invalidates the cached encodings up to the root.
    t.b.set_value(1);
    ASSERT_EQ(write_bytes(outer), hex("30 03 02 01 05"));
    ASSERT_EQ(outer.is_encoding_valid(), 1);
    EXPECT_EQ(t.pick.select(1), 0u);
    EXPECT_EQ(outer.is_encoding_valid(), 0);
    EXPECT_EQ(write_bytes(outer), hex("30 03 01 01 FF"));
}

// ---- qb_asn_choice: tag, content coding, simple queries ----

TEST(QbAsnChoice, SetTagThrowsTheBareText) {
    TwoWay t;
    const unsigned int before = t.pick.get_tag();
    const char* text = "Attempt to change tag of ASN.1 CHOICE object";
    expect_bare_text([&] { t.pick.set_tag(7); }, text);
    expect_bare_text([&] { static_cast<qb_asn_object&>(t.pick).set_tag(7); }, text);  // through the base slot
    EXPECT_EQ(t.pick.get_tag(), before);
}

TEST(QbAsnChoice, SetTagUncheckedChangesTheTag) {
    TwoWay t;
    t.pick.set_tag_unchecked(7);
    EXPECT_EQ(t.pick.get_tag(), 7u);
    t.pick.set_tag_unchecked(300);
    EXPECT_EQ(t.pick.get_tag(), 300u);
}

TEST(QbAsnChoice, DecodeValueThrowsUnsupported) {
    TwoWay t;
    auto in = hex("02 01 05");
    qb_r_buffer_t r = view_of(in);
    expect_unsupported([&] { (void)t.pick.decode_value(r, 3); }, "Error: asn_choice::decode_value called");
    EXPECT_TRUE(view_at(r, in, 0));
}

TEST(QbAsnChoice, EncodeValueThrowsUnsupported) {
    TwoWay t;
    t.i.set_value(5L);
    t.pick.select(0);
    qb_buffer_t out(security_off);
    put(out, hex("AA"));
    expect_unsupported([&] { (void)t.pick.encode_value(out); }, "Error: asn_choice::encode_value called");
    EXPECT_EQ(bytes_of(out), hex("AA"));
}

TEST(QbAsnChoice, IsEncodingValidFollowsTheSelectedAlternative) {
    TwoWay t;
    t.i.set_value(5L);
    ASSERT_EQ(t.i.is_encoding_valid(), 1);
    EXPECT_EQ(t.pick.is_encoding_valid(), 0);  // nothing selected
    t.pick.select(0);
    EXPECT_EQ(t.pick.is_encoding_valid(), 1);
    t.pick.select(1);
    ASSERT_EQ(t.b.is_encoding_valid(), 0);
    EXPECT_EQ(t.pick.is_encoding_valid(), 0);
    t.b.set_value(1);
    EXPECT_EQ(write_bytes(t.b), hex("01 01 FF"));  // builds the BOOLEAN's cache
    EXPECT_EQ(t.pick.is_encoding_valid(), 1);
    t.b.set_value(0);
    EXPECT_EQ(t.pick.is_encoding_valid(), 0);
}

TEST(QbAsnChoice, NormalizeCallsOnlyTheSelectedAlternative) {
    std::vector<int> log;
    qb_test::logged_step a(log, 1, 0x11, 0, false);
    qb_test::logged_step b(log, 2, 0x22, 0, false);
    qb_asn_choice c(security_off);
    register_all(c, {&a, &b});
    EXPECT_EQ(c.normalize(), 0u);
    EXPECT_TRUE(log.empty());
    c.select(1);
    EXPECT_EQ(c.normalize(), 0x22u);
    EXPECT_EQ(log, std::vector<int>({2}));
    c.select(0);
    EXPECT_EQ(c.normalize(), 0x11u);
    EXPECT_EQ(log, std::vector<int>({2, 1}));
}

TEST(QbAsnChoice, CheckEncodeFlags) {
    qb_asn_choice c(security_off);
    qb_asn_integer i(security_off);
    qb_test::in_sequence<qb_asn_integer> tree;
    auto& [s, si] = tree;
    register_all(c, {&i, &s});

    // Nothing selected: the encoding is not valid, which answers 1 first.
    EXPECT_EQ(c.check_encode_flags(), 1);
    EXPECT_EQ(c.check_encode_flags(0), 1);
    EXPECT_EQ(c.check_encode_flags(1), 0);

    // A selected alternative with a valid cache.
    i.set_value(5L);
    c.select(0);
    ASSERT_EQ(c.is_encoding_valid(), 1);
    EXPECT_EQ(c.check_encode_flags(), 1);
    EXPECT_EQ(c.check_encode_flags(1), 1);
    EXPECT_EQ(c.check_encode_flags(0), 0);

    // A selected SEQUENCE whose valid cache is not backed by its child's.
    si.set_value(6L);
    c.select(1);
    EXPECT_EQ(write_bytes(c), hex("30 03 02 01 06"));
    ASSERT_EQ(s.is_encoding_valid(), 1);
    EXPECT_EQ(c.check_encode_flags(), 1);
    si.encoding_valid = 0;  // stale below a valid cache
    EXPECT_EQ(c.check_encode_flags(), 0);
    EXPECT_EQ(c.check_encode_flags(1), 0);

    // A selected alternative with a stale cache: not valid, so 1.
    si.set_value(7L);
    ASSERT_EQ(s.is_encoding_valid(), 0);
    EXPECT_EQ(c.check_encode_flags(), 1);
    EXPECT_EQ(c.check_encode_flags(0), 1);
    EXPECT_EQ(c.check_encode_flags(1), 0);
}

// ---- qb_asn_choice: the presence rule ----

TEST(QbAsnChoice, PresenceFollowsTheSelectedAlternative) {
    qb_asn_sequence outer(security_off);
    TwoWay t;
    outer.register_child(&t.pick);
    EXPECT_EQ(outer.is_present(), 0);  // the mandatory choice is absent

    t.pick.select(0);
    EXPECT_EQ(t.pick.is_present(), 0);
    EXPECT_EQ(outer.is_present(), 0);

    // The selected alternative becomes valid: choice and sequence present.
    t.i.set_value(5L);
    EXPECT_EQ(t.pick.is_present(), 1);
    EXPECT_EQ(outer.is_present(), 1);

    // An alternative that is not selected changes nothing.
    t.b.set_value(1);
    t.b.empty();
    EXPECT_EQ(t.pick.is_present(), 1);
    EXPECT_EQ(outer.is_present(), 1);

    // The selected alternative becomes invalid: both absent again.
    t.i.empty();
    EXPECT_EQ(t.i.is_present(), 0);
    EXPECT_EQ(t.pick.is_present(), 0);
    EXPECT_EQ(outer.is_present(), 0);
    EXPECT_EQ(write_bytes(outer, 0x106521A0), hex(""));

    t.i.set_value(9L);
    EXPECT_EQ(outer.is_present(), 1);
    EXPECT_EQ(write_bytes(outer), hex("30 03 02 01 09"));
}

TEST(QbAsnChoice, OptionalChoiceKeepsTheSequencePresent) {
    qb_asn_sequence outer(security_off);
    TwoWay t;
    t.pick.set_optional(1);
    outer.register_child(&t.pick);
    EXPECT_EQ(outer.is_present(), 1);
    EXPECT_EQ(write_bytes(outer), hex("30 00"));
}

// ---- qb_asn_choice: writing ----

TEST(QbAsnChoice, WritesTheSelectedAlternativesOwnFrame) {
    TwoWay t;
    t.i.set_value(300L);
    t.b.set_value(1);
    t.pick.select(0);
    EXPECT_EQ(write_bytes(t.pick), hex("02 02 01 2C"));
    t.pick.select(1);
    EXPECT_EQ(write_bytes(t.pick), hex("01 01 FF"));

    // Appended after what the buffer holds, nothing around it.
    EXPECT_TRUE(appends("AA", [&](qb_buffer_t& out) { return t.pick.asnwrite(out); }, 0u, "AA 01 01 FF"));
}

TEST(QbAsnChoice, WriteWithNothingSelected) {
    TwoWay t;
    t.i.set_value(5L);
    EXPECT_TRUE(appends("AA BB", [&](qb_buffer_t& out) { return t.pick.asnwrite(out); }, 0x106521A8u, "AA BB"));
}

TEST(QbAsnChoice, OptionalAbsentChoiceWritesNothing) {
    TwoWay t;
    t.pick.set_optional(1);
    qb_buffer_t out(security_off);
    put(out, hex("AA"));
    EXPECT_EQ(t.pick.asnwrite(out), 0u);  // nothing selected, but optional and absent
    EXPECT_EQ(bytes_of(out), hex("AA"));
    t.pick.select(1);  // selected alternative absent: still absent
    EXPECT_EQ(t.pick.asnwrite(out), 0u);
    EXPECT_EQ(bytes_of(out), hex("AA"));
}

TEST(QbAsnChoice, WriteOfAnAbsentMandatoryAlternativeReturnsItsError) {
    TwoWay t;
    t.pick.select(1);
    EXPECT_TRUE(appends("AA", [&](qb_buffer_t& out) { return t.pick.asnwrite(out); }, 0x106521A0u, "AA"));
}

TEST(QbAsnChoice, AbsentDefaultableChoiceWritesNothing) {
    TwoWay t;
    t.pick.set_default_value(new qb_asn_integer(security_off));
    ASSERT_EQ(t.pick.is_defaultable(), 1);
    qb_buffer_t out(security_off);
    EXPECT_EQ(t.pick.asnwrite(out), 0u);
    EXPECT_EQ(out.length(), 0u);
}

// ---- qb_asn_choice: reading ----

TEST(QbAsnChoice, ReadSelectsTheMatchingAlternative) {
    TwoWay t;
    EXPECT_TRUE(reads(t.pick, "01 01 FF 02 01 05", 0u, 3));
    EXPECT_EQ(t.pick.selected(), 1);
    EXPECT_EQ(t.pick.is_present(), 1);
    int v = 0;
    EXPECT_EQ(t.b.get_value(v), 0u);
    EXPECT_NE(v, 0);
    EXPECT_EQ(t.i.is_present(), 0);
    EXPECT_EQ(write_bytes(t.pick), hex("01 01 FF"));
}

// expect_choice_refuses: each row's input, read into a TwoWay whose first
// alternative was selected and present, gives the row's status and leaves the
// choice unselected and every object absent.
void expect_choice_refuses(std::initializer_list<read_case> rows) {
    for (const read_case& c : rows) {
        SCOPED_TRACE(c.name);
        TwoWay t;
        t.i.set_value(5L);
        t.pick.select(0);
        ASSERT_EQ(t.pick.is_present(), 1);
        EXPECT_TRUE(reads(t.pick, c.hex, c.status, 0));
        EXPECT_EQ(t.pick.selected(), -1);
        EXPECT_EQ(t.pick.is_present(), 0);
        EXPECT_EQ(t.i.is_present(), 0);
        EXPECT_EQ(t.b.is_present(), 0);
    }
}

TEST(QbAsnChoice, MandatoryChoiceWithoutMatch) {
    expect_choice_refuses({
        {"other identifier", "04 00", 0x106521A4u},
        {"empty view", "", 0x106521A4u},
        {"matching identifier, cut content", "02 03 01", 0x106521A4u},
        {"matching identifier, bad length", "01 81", 0x106521A4u},
        {"boolean of two octets", "01 02 FF FF", 0x106521A4u},
        {"constructed integer", "22 03 02 01 05", 0x106521A4u},
    });
}

TEST(QbAsnChoice, OptionalChoiceWithoutMatchIsAbsent) {
    for (const char* text : {"04 00", "", "02 03 01"}) {
        SCOPED_TRACE(text);
        TwoWay t;
        t.pick.set_optional(1);
        EXPECT_TRUE(reads(t.pick, text, 0u, 0));
        EXPECT_EQ(t.pick.selected(), -1);
        EXPECT_EQ(t.pick.is_present(), 0);
        EXPECT_EQ(write_bytes(t.pick), hex(""));
    }
}

TEST(QbAsnChoice, DefaultableChoiceWithoutMatchIsAbsent) {
    TwoWay t;
    t.pick.set_default_value(new qb_asn_integer(security_off));
    EXPECT_TRUE(reads(t.pick, "04 00", 0u, 0));
    EXPECT_EQ(t.pick.selected(), -1);
    EXPECT_EQ(t.pick.is_present(), 0);
}

TEST(QbAsnChoice, AlternativesAreTriedInOrderFromTheSameView) {
    // OCTET STRING, SEQUENCE { BOOLEAN }, SEQUENCE { INTEGER }, INTEGER:
    // the first two fail (another identifier; a matching identifier whose
    // content does not fit), the third matches, the fourth is never tried.
    qb_asn_choice c(security_off);
    qb_asn_octetstring os(security_off);
    qb_asn_sequence sb(security_off);
    qb_asn_boolean sbb(security_off);
    qb_asn_sequence si(security_off);
    qb_asn_integer sii(security_off), late(security_off);
    sb.register_child(&sbb);
    si.register_child(&sii);
    register_all(c, {&os, &sb, &si, &late});
    for (qb_asn_object* alt : {static_cast<qb_asn_object*>(&os), static_cast<qb_asn_object*>(&sb),
                               static_cast<qb_asn_object*>(&si), static_cast<qb_asn_object*>(&late)})
        alt->set_preread(log_preread);

    reset_log();
    auto in = hex("30 03 02 01 05 AA");
    qb_r_buffer_t r = view_of(in);
    EXPECT_EQ(c.asnread(r), 0u);
    EXPECT_EQ(c.selected(), 2);
    EXPECT_TRUE(view_at(r, in, 5));
    EXPECT_EQ(int_value(sii), 5);
    EXPECT_EQ(sb.is_present(), 0);
    EXPECT_EQ(os.is_present(), 0);
    EXPECT_EQ(late.is_present(), 0);
    ASSERT_EQ(g_log.objects.size(), 3u);
    EXPECT_EQ(g_log.objects[0], &os);
    EXPECT_EQ(g_log.objects[1], &sb);
    EXPECT_EQ(g_log.objects[2], &si);
    for (unsigned char* cur : g_log.cursors) EXPECT_EQ(cur, in.data());
    for (qb_r_buffer_t* v : g_log.views) EXPECT_EQ(v, &r);
}

TEST(QbAsnChoice, FirstMatchingIdentifierWins) {
    qb_asn_choice c(security_off);
    qb_asn_integer first(security_off), second(security_off);
    register_all(c, {&first, &second});
    second.set_preread(log_preread);
    reset_log();
    auto in = hex("02 01 05");
    qb_r_buffer_t r = view_of(in);
    EXPECT_EQ(c.asnread(r), 0u);
    EXPECT_EQ(c.selected(), 0);
    EXPECT_EQ(int_value(first), 5);
    EXPECT_EQ(second.is_present(), 0);
    EXPECT_TRUE(g_log.events.empty());
}

TEST(QbAsnChoice, OptionalFirstAlternativeWinsWithoutConsuming) {
    // An optional alternative answers 0 without consuming on a mismatch, so
    // it is chosen: alternatives must be mandatory for the choice to mean anything.
    TwoWay t;
    t.i.set_optional(1);
    auto in = hex("01 01 FF");
    EXPECT_TRUE(reads(t.pick, in, 0u, 0));
    EXPECT_EQ(t.pick.selected(), 0);
    EXPECT_EQ(t.i.is_present(), 0);
    EXPECT_EQ(t.b.is_present(), 0);
    EXPECT_EQ(t.pick.is_present(), 1);
}

TEST(QbAsnChoice, ReadingAgainReplacesTheSelection) {
    TwoWay t;
    auto in = hex("02 01 05 01 01 00");
    qb_r_buffer_t r = view_of(in);
    ASSERT_EQ(t.pick.asnread(r), 0u);
    EXPECT_EQ(t.pick.selected(), 0);
    ASSERT_EQ(t.pick.asnread(r), 0u);
    EXPECT_EQ(t.pick.selected(), 1);
    EXPECT_TRUE(view_at(r, in, 6));
    EXPECT_EQ(t.i.is_present(), 0);  // the former selection was invalidated
    EXPECT_EQ(bool_value(t.b), 0);
    EXPECT_EQ(write_bytes(t.pick), hex("01 01 00"));
}

TEST(QbAsnChoice, ReadInsideASequence) {
    qb_asn_sequence outer(security_off);
    qb_asn_integer head(security_off);
    TwoWay t;
    qb_asn_boolean tail(security_off);
    outer.register_child(&head);
    outer.register_child(&t.pick);
    outer.register_child(&tail);

    EXPECT_TRUE(reads(outer, "30 09 02 01 01 02 01 05 01 01 FF", 0u, 11));
    EXPECT_EQ(t.pick.selected(), 0);
    EXPECT_EQ(int_value(t.i), 5);
    EXPECT_EQ(outer.is_present(), 1);

    // The mandatory choice sees an OCTET STRING: the sequence fails with its code.
    EXPECT_TRUE(reads(outer, "30 08 02 01 01 04 00 01 01 FF", 0x106521A4u, 0));
    EXPECT_EQ(outer.is_present(), 0);
}

// ---- qb_asn_choice: hooks ----

// HookedTwoWay: a TwoWay whose choice has its read hooks on, and a view over
// the input it is read from.
struct HookedTwoWay {
    TwoWay t;
    std::vector<unsigned char> in;
    qb_r_buffer_t r;
    explicit HookedTwoWay(const char* input) : in(hex(input)), r(view_of(in)) { hook_reads(t.pick); }
};

TEST(QbAsnChoice, ReadHooksOnMatch) {
    HookedTwoWay h("01 01 FF 05 00");
    EXPECT_EQ(h.t.pick.asnread(h.r), 0u);
    EXPECT_EQ(g_log.events, events({"preread", "postread:0"}));
    ASSERT_EQ(g_log.objects.size(), 2u);
    EXPECT_EQ(g_log.objects[0], &h.t.pick);
    EXPECT_EQ(g_log.objects[1], &h.t.pick);
    EXPECT_EQ(g_log.views[0], &h.r);
    EXPECT_EQ(g_log.views[1], &h.r);
    EXPECT_EQ(g_log.cursors[0], h.in.data());
    EXPECT_EQ(g_log.cursors[1], h.in.data() + 3);
}

TEST(QbAsnChoice, ReadHooksWithoutMatch) {
    HookedTwoWay h("04 00");
    EXPECT_EQ(h.t.pick.asnread(h.r), 0x106521A4u);
    EXPECT_EQ(g_log.events, events({"preread", "postread:106521A4"}));
    ASSERT_EQ(g_log.cursors.size(), 2u);
    EXPECT_EQ(g_log.cursors[1], h.in.data());

    // Optional: the postread hook gets the result 0.
    h.t.pick.set_optional(1);
    reset_log();
    qb_r_buffer_t r2 = view_of(h.in);
    EXPECT_EQ(h.t.pick.asnread(r2), 0u);
    EXPECT_EQ(g_log.events, events({"preread", "postread:0"}));
    ASSERT_EQ(g_log.views.size(), 2u);
    EXPECT_EQ(g_log.views[1], &r2);
}

// ---- qb_asn_choice: dumps ----

// The state flags of `t`'s choice, at `indent`, after selecting `alternative`.
std::string flags_selecting(TwoWay& t, int alternative, int indent) {
    t.pick.select(alternative);
    return state_flags(t.pick, indent);
}

TEST(QbAsnChoice, DisplayStateFlagsMarksTheSelectedAlternative) {
    TwoWay t;
    t.i.set_value(5L);
    EXPECT_EQ(flags_selecting(t, 0, 2),
              "  CHOICE(valid=Y, present=Y, optional=N, defaultable=N, enc_valid=Y)\n"
              "   SELECTED:\n"
              "    INTEGER(valid=Y, present=Y, optional=N, defaultable=N, enc_valid=Y)\n"
              "    BOOLEAN(valid=N, present=N, optional=N, defaultable=N, enc_valid=N)\n");

    EXPECT_EQ(flags_selecting(t, 1, 0),
              "CHOICE(valid=N, present=N, optional=N, defaultable=N, enc_valid=N)\n"
              "  INTEGER(valid=Y, present=Y, optional=N, defaultable=N, enc_valid=Y)\n"
              " SELECTED:\n"
              "  BOOLEAN(valid=N, present=N, optional=N, defaultable=N, enc_valid=N)\n");
}

TEST(QbAsnChoice, DisplayStateFlagsWithoutMarkerBelowZeroIndent) {
    TwoWay t;
    t.i.set_value(5L);
    t.pick.select(0);
    EXPECT_EQ(state_flags(t.pick, -1),
              "CHOICE(valid=Y, present=Y, optional=N, defaultable=N, enc_valid=Y)\n"
              " INTEGER(valid=Y, present=Y, optional=N, defaultable=N, enc_valid=Y)\n"
              " BOOLEAN(valid=N, present=N, optional=N, defaultable=N, enc_valid=N)\n");

    EXPECT_EQ(state_flags(t.pick, -3),
              "CHOICE(valid=Y, present=Y, optional=N, defaultable=N, enc_valid=Y)\n"
              "INTEGER(valid=Y, present=Y, optional=N, defaultable=N, enc_valid=Y)\n"
              "BOOLEAN(valid=N, present=N, optional=N, defaultable=N, enc_valid=N)\n");
}

TEST(QbAsnChoice, DisplayStateFlagsWithNothingSelected) {
    TwoWay t;
    t.pick.set_optional(1);
    EXPECT_EQ(state_flags(t.pick, 0),
              "CHOICE(valid=Y, present=N, optional=Y, defaultable=N, enc_valid=N)\n"
              "  INTEGER(valid=N, present=N, optional=N, defaultable=N, enc_valid=N)\n"
              "  BOOLEAN(valid=N, present=N, optional=N, defaultable=N, enc_valid=N)\n");
}

TEST(QbAsnChoice, DisplayStateFlagsInsideASequence) {
    qb_asn_sequence outer(security_off);
    TwoWay t;
    outer.register_child(&t.pick);
    t.b.set_value(0);
    t.pick.select(1);
    EXPECT_EQ(write_bytes(outer), hex("30 03 01 01 00"));
    EXPECT_EQ(state_flags(outer, 0),
              "SEQUENCE(valid=Y, present=Y, optional=N, defaultable=N, enc_valid=Y)\n"
              "  CHOICE(valid=Y, present=Y, optional=N, defaultable=N, enc_valid=Y)\n"
              "    INTEGER(valid=N, present=N, optional=N, defaultable=N, enc_valid=N)\n"
              "   SELECTED:\n"
              "    BOOLEAN(valid=Y, present=Y, optional=N, defaultable=N, enc_valid=Y)\n");
}

// ---- qb_asn_any: construction and raw values ----

TEST(QbAsnAny, Constructor) {
    qb_asn_any a(security_on);
    EXPECT_STREQ(a.get_type_name(), "ANY");
    EXPECT_EQ(a.encoding_primitive_permitted(), 1);
    EXPECT_EQ(a.encoding_constructed_permitted(), 1);
    EXPECT_EQ(a.encoding_indefinite_permitted(), 0);
    EXPECT_EQ(a.syntax, nullptr);
    EXPECT_EQ(a.preparse, nullptr);
    EXPECT_EQ(a.preencode, nullptr);
    EXPECT_EQ(a.raw_value.security, security_on);
    EXPECT_EQ(a.is_present(), 0);
}

TEST(QbAsnAny, CheckTypeAcceptsEveryIdentifier) {
    qb_asn_any a(security_off);
    EXPECT_EQ(a.check_type(0, 0), 1);
    EXPECT_EQ(a.check_type(16, 0), 1);
    EXPECT_EQ(a.check_type(5, 1), 1);
    EXPECT_EQ(a.check_type(128, 2), 1);
    EXPECT_EQ(a.check_type(0xFFFFFFFFu, 3), 1);
}

TEST(QbAsnAny, GetValueOfAbsentAny) {
    qb_asn_any a(security_off);
    unsigned char* p = nullptr;
    unsigned int n = 77;
    EXPECT_EQ(a.get_value(p, n), 0x106521A0u);
    EXPECT_EQ(p, nullptr);
    EXPECT_EQ(n, 77u);
}

TEST(QbAsnAny, SetValueAndGetValue) {
    qb_asn_any a(security_off);
    const unsigned char octets[] = {0xAA, 0xBB, 0xCC};
    EXPECT_EQ(a.set_value(octets, 3), 0u);
    EXPECT_EQ(a.is_present(), 1);
    EXPECT_EQ(any_value(a), hex("AA BB CC"));
    // The getter hands out the object's own copy.
    unsigned char* p = nullptr;
    unsigned int n = 0;
    EXPECT_EQ(a.get_value(p, n), 0u);
    EXPECT_NE(p, octets);
    EXPECT_EQ(p, a.raw_value.data);

    // Written under the tag and class set.
    a.set_tag(4);
    a.set_class(0);
    EXPECT_EQ(write_bytes(a), hex("04 03 AA BB CC"));
    a.set_tag(5);
    a.set_class(2);
    EXPECT_EQ(write_bytes(a), hex("85 03 AA BB CC"));

    // A new value replaces the old one in what is written.
    const unsigned char other[] = {0x01};
    EXPECT_EQ(a.set_value(other, 1), 0u);
    EXPECT_EQ(write_bytes(a), hex("85 01 01"));
}

TEST(QbAsnAny, SetValueNullWithLength) {
    expect_null_refused<qb_asn_any>(2);
}

TEST(QbAsnAny, InvalidateValueClearsTheRawFlag) {
    qb_asn_any a(security_off);
    const unsigned char octets[] = {0xAA};
    a.set_value(octets, 1);
    a.raw = 1;
    a.invalidate_value(invalidate_local);
    EXPECT_EQ(a.raw, 0);
    EXPECT_EQ(a.is_present(), 0);
    a.raw = 1;
    a.invalidate_value(invalidate_full);
    EXPECT_EQ(a.raw, 0);
}

TEST(QbAsnAny, DecodeAndEncodeValueWithoutSyntax) {
    qb_asn_any a(security_off);
    auto in = hex("AA BB CC DD");
    qb_r_buffer_t r = view_of(in);
    EXPECT_EQ(a.decode_value(r, 3), 0u);
    EXPECT_TRUE(view_at(r, in, 3));
    EXPECT_EQ(bytes_of(a.raw_value), hex("AA BB CC"));
    EXPECT_TRUE(appends("01", [&](qb_buffer_t& out) { return a.encode_value(out); }, 0u, "01 AA BB CC"));
}

// ---- qb_asn_any: reading and writing raw frames ----

TEST(QbAsnAny, ReadsAndWritesBackAConstructedSequence) {
    qb_asn_any a(security_off);
    EXPECT_TRUE(reads(a, "30 03 02 01 05", 0u, 5));
    EXPECT_EQ(a.get_tag(), 16u);
    EXPECT_EQ(a.get_class(), 0);
    EXPECT_EQ(a.is_constructed(), 1);
    EXPECT_EQ(a.should_generate_constructed(), 1);
    EXPECT_EQ(a.is_present(), 1);
    EXPECT_EQ(any_value(a), hex("02 01 05"));
    EXPECT_EQ(write_bytes(a), hex("30 03 02 01 05"));
}

TEST(QbAsnAny, AcceptsEveryIdentifierAndKeepsItsForm) {
    struct Case {
        const char *name, *in;
        unsigned int tag;
        int cls, constructed;
        const char *content, *out;
    };
    const Case cases[] = {
        {"universal primitive", "02 01 05", 2, 0, 0, "05", "02 01 05"},
        {"empty octet string", "04 00", 4, 0, 0, "", "04 00"},
        {"universal 16 primitive", "10 02 01 02", 16, 0, 0, "01 02", "10 02 01 02"},
        {"application primitive", "45 01 00", 5, 1, 0, "00", "45 01 00"},
        {"context constructed", "A3 03 02 01 05", 3, 2, 1, "02 01 05", "A3 03 02 01 05"},
        {"private constructed", "E0 03 01 01 FF", 0, 3, 1, "01 01 FF", "E0 03 01 01 FF"},
        {"private tag 31", "DF 1F 00", 31, 3, 0, "", "DF 1F 00"},
        {"context tag 128", "9F 81 00 01 AA", 128, 2, 0, "AA", "9F 81 00 01 AA"},
        {"context constructed tag 31", "BF 1F 03 02 01 05", 31, 2, 1, "02 01 05",
         "BF 1F 03 02 01 05"},
        {"application constructed tag 16384", "7F 81 80 00 00", 16384, 1, 1, "",
         "7F 81 80 00 00"},
        {"long-form length", "04 81 03 AA BB CC", 4, 0, 0, "AA BB CC", "04 03 AA BB CC"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        qb_asn_any a(security_off);
        auto in = hex(c.in);
        in.push_back(0x77);  // data after the frame stays in the view
        EXPECT_TRUE(reads(a, in, 0u, in.size() - 1));
        EXPECT_EQ(a.get_tag(), c.tag);
        EXPECT_EQ(a.get_class(), c.cls);
        EXPECT_EQ(a.should_generate_constructed(), c.constructed);
        EXPECT_EQ(any_value(a), hex(c.content));
        EXPECT_EQ(write_bytes(a), hex(c.out));
    }
}

TEST(QbAsnAny, FormFollowsTheLastRead) {
    qb_asn_any a(security_off);
    auto in = hex("30 00 04 00 A1 00");
    qb_r_buffer_t r = view_of(in);
    ASSERT_EQ(a.asnread(r), 0u);
    EXPECT_EQ(write_bytes(a), hex("30 00"));
    ASSERT_EQ(a.asnread(r), 0u);
    EXPECT_EQ(a.should_generate_constructed(), 0);
    EXPECT_EQ(write_bytes(a), hex("04 00"));
    ASSERT_EQ(a.asnread(r), 0u);
    EXPECT_EQ(a.should_generate_constructed(), 1);
    EXPECT_EQ(write_bytes(a), hex("A1 00"));
}

TEST(QbAsnAny, IndefiniteLengthIsRefused) {
    for (const char* text : {"30 80 02 01 05 00 00", "A0 80 00 00", "24 80 04 01 AA 00 00"}) {
        SCOPED_TRACE(text);
        qb_asn_any a(security_off);
        EXPECT_TRUE(reads(a, text, 0x1065219Du, 0));
        EXPECT_EQ(a.is_present(), 0);
        unsigned char* p = nullptr;
        unsigned int n = 0;
        EXPECT_EQ(a.get_value(p, n), 0x106521A0u);
    }
}

TEST(QbAsnAny, ShortInput) {
    // Each input ends before a whole frame (empty, identifier only, cut high
    // tag, length past the data, cut long-form length): cut off
    // (0x10652198), the view put back, the ANY absent.
    for (const char* text : {"", "30", "9F 81", "04 03 AA BB", "04 82 00"}) {
        SCOPED_TRACE(text);
        qb_asn_any a(security_off);
        EXPECT_TRUE(reads(a, text, 0x10652198u, 0));
        EXPECT_EQ(a.is_present(), 0);
    }
    // Optional: absent, status 0, where the identifier could not be read.
    qb_asn_any o(security_off);
    o.set_optional(1);
    EXPECT_TRUE(reads(o, "", 0u, 0));
    EXPECT_EQ(o.is_present(), 0);
    EXPECT_EQ(write_bytes(o), hex(""));
}

// ---- qb_asn_any: syntax objects ----

TEST(QbAsnAny, SyntaxObjectReadsAndWrites) {
    qb_asn_any a(security_off);
    qb_test::in_sequence<qb_asn_integer> tree;
    auto& [s, si] = tree;
    EXPECT_EQ(a.set_syntax(&s), 0u);
    EXPECT_EQ(a.syntax, &s);
    EXPECT_EQ(s.get_parent(), &a);

    EXPECT_TRUE(reads(a, "30 03 02 01 05 01", 0u, 5));
    EXPECT_EQ(int_value(si), 5);
    EXPECT_EQ(write_bytes(a), hex("30 03 02 01 05"));

    si.set_value(-2L);
    EXPECT_EQ(write_bytes(a), hex("30 03 02 01 FE"));

    // A read the syntax object refuses returns its code.
    EXPECT_TRUE(reads(a, "04 00", 0x106521A4u, 0));
    // The indefinite form is the syntax object's business (a SEQUENCE takes it).
    auto indefinite = hex("30 80 02 01 07 00 00");
    qb_r_buffer_t r3 = view_of(indefinite);
    EXPECT_EQ(a.asnread(r3), 0u);
    EXPECT_EQ(int_value(si), 7);
}

TEST(QbAsnAny, RawAccessRefusedWithSyntax) {
    qb_asn_any a(security_off);
    const unsigned char octets[] = {0xAA, 0xBB};
    ASSERT_EQ(a.set_value(octets, 2), 0u);
    qb_asn_integer si(security_off);
    ASSERT_EQ(a.set_syntax(&si), 0u);

    unsigned char* p = nullptr;
    unsigned int n = 55;
    EXPECT_EQ(a.get_value(p, n), 0x106521A9u);
    EXPECT_EQ(p, nullptr);
    EXPECT_EQ(n, 55u);
    EXPECT_EQ(a.set_value(octets, 1), 0x106521A9u);
    EXPECT_EQ(bytes_of(a.raw_value), hex("AA BB"));  // unchanged

    auto in = hex("01 02 03");
    qb_r_buffer_t r = view_of(in);
    EXPECT_EQ(a.decode_value(r, 2), 0x106521A9u);
    EXPECT_TRUE(view_at(r, in, 0));

    EXPECT_TRUE(appends("EE", [&](qb_buffer_t& out) { return a.encode_value(out); }, 0x106521A9u, "EE"));
}

TEST(QbAsnAny, SetSyntaxNull) {
    qb_asn_any a(security_off);
    EXPECT_EQ(a.set_syntax(nullptr), 0x1065219Cu);
    EXPECT_EQ(a.syntax, nullptr);
    qb_asn_integer si(security_off);
    ASSERT_EQ(a.set_syntax(&si), 0u);
    EXPECT_EQ(a.set_syntax(nullptr), 0x1065219Cu);
    EXPECT_EQ(a.syntax, &si);
    EXPECT_EQ(si.get_parent(), &a);
}

TEST(QbAsnAny, SetSyntaxReplacesThePreviousObject) {
    // Both syntax objects live on the heap, owned here: the ANY must neither
    // delete the one it lets go nor the one it holds at its end.
    auto first = std::make_unique<qb_asn_sequence>(security_off);
    auto first_int = std::make_unique<qb_asn_integer>(security_off);
    first->register_child(first_int.get());
    auto second = std::make_unique<qb_asn_integer>(security_off);
    {
        qb_asn_any a(security_off);
        ASSERT_EQ(a.set_syntax(first.get()), 0u);
        first_int->set_value(5L);
        ASSERT_EQ(first->is_present(), 1);

        EXPECT_EQ(a.set_syntax(second.get()), 0u);
        EXPECT_EQ(a.syntax, second.get());
        EXPECT_EQ(second->get_parent(), &a);
        // The previous one: detached, invalidated through its descendants, alive.
        EXPECT_EQ(first->get_parent(), nullptr);
        EXPECT_EQ(first->is_present(), 0);
        EXPECT_EQ(first_int->is_present(), 0);
        EXPECT_STREQ(first->get_type_name(), "SEQUENCE");

        // Reads now go to the new one only.
        auto in = hex("02 01 09");
        qb_r_buffer_t r = view_of(in);
        EXPECT_EQ(a.asnread(r), 0u);
        EXPECT_EQ(int_value(*second), 9);
        EXPECT_EQ(first_int->is_present(), 0);
        EXPECT_EQ(write_bytes(a), hex("02 01 09"));
    }
    // Still usable after the ANY is gone (the one it held keeps a stale
    // parent link, which the owner clears before using it alone).
    first_int->set_value(3L);
    EXPECT_EQ(write_bytes(*first), hex("30 03 02 01 03"));
    second->set_parent(nullptr);
    second->set_value(4L);
    EXPECT_EQ(write_bytes(*second), hex("02 01 04"));
}

TEST(QbAsnAny, CheckValidFollowsTheInvertedRule_quirk) {
    // Without a syntax object nothing changes.
    qb_asn_any raw(security_off);
    raw.check_valid(0);
    EXPECT_EQ(raw.is_present(), 0);

    qb_asn_any a(security_off);
    qb_asn_integer si(security_off);
    // An absent syntax object makes the ANY present...
    ASSERT_EQ(a.set_syntax(&si), 0u);
    EXPECT_EQ(a.is_present(), 1);
    // ...and a valid one makes it absent.
    si.set_value(5L);
    EXPECT_EQ(a.is_present(), 0);
    EXPECT_EQ(write_bytes(a), hex("02 01 05"));  // writing goes through the syntax object anyway
    si.empty();
    EXPECT_EQ(a.is_present(), 1);

    // Attaching a syntax object that is already valid leaves the ANY absent.
    qb_asn_any b(security_off);
    qb_asn_integer valued(security_off);
    valued.set_value(1L);
    ASSERT_EQ(b.set_syntax(&valued), 0u);
    EXPECT_EQ(b.is_present(), 0);

    // In a sequence the absent mandatory ANY takes the sequence down with it.
    qb_asn_sequence outer(security_off);
    qb_asn_any c(security_off);
    qb_asn_integer ci(security_off);
    outer.register_child(&c);
    ASSERT_EQ(c.set_syntax(&ci), 0u);
    EXPECT_EQ(c.is_present(), 1);
    EXPECT_EQ(outer.is_present(), 1);
    ci.set_value(4L);
    EXPECT_EQ(c.is_present(), 0);
    EXPECT_EQ(outer.is_present(), 0);
}

TEST(QbAsnAny, SetSecureReachesTheSyntaxObject) {
    // set_secure on an ANY that holds a syntax object: only the value 1 is
    // handed on.
    struct Case {
        const char* name;
        security_t any_security, set_to, syntax_after;
    };
    const Case cases[] = {
        {"secure", security_off, security_on, security_on},
        {"local code set", security_lcs, security_lcs, security_off},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        qb_asn_any a(c.any_security);
        qb_asn_integer si(security_off);
        a.set_syntax(&si);
        EXPECT_EQ(si.security, security_off);
        a.set_secure(c.set_to);
        EXPECT_EQ(a.security, c.set_to);
        EXPECT_EQ(si.security, c.syntax_after);
        EXPECT_EQ(si.encoding.security, c.syntax_after);
    }
    {
        // A secure ANY makes every syntax object it is given secure.
        qb_asn_any a(security_off);
        a.set_secure(security_on);
        qb_asn_integer si(security_off);
        a.set_syntax(&si);
        EXPECT_EQ(si.security, security_on);
        EXPECT_EQ(si.encoding.security, security_on);
    }
    {
        // Registered in a secure sequence.
        qb_asn_sequence outer(security_on);
        qb_asn_any a(security_off);
        qb_asn_integer si(security_off);
        a.set_syntax(&si);
        outer.register_child(&a);
        EXPECT_EQ(a.security, security_on);
        EXPECT_EQ(si.security, security_on);
    }
}

// ---- qb_asn_any: hooks ----

TEST(QbAsnAny, RawReadCallsTheReadHooksTwice_quirk) {
    qb_asn_any a(security_off);
    hook_reads(a);
    auto in = hex("04 01 AA");
    qb_r_buffer_t r = view_of(in);
    EXPECT_EQ(a.asnread(r), 0u);
    EXPECT_EQ(g_log.events,
              events({"preread", "preparse", "preread", "postread:0", "postread:0"}));
    ASSERT_EQ(g_log.objects.size(), 4u);
    for (qb_asn_object* o : g_log.objects) EXPECT_EQ(o, &a);
    for (qb_r_buffer_t* v : g_log.views) EXPECT_EQ(v, &r);
    EXPECT_EQ(g_log.cursors[0], in.data());
    EXPECT_EQ(g_log.cursors[1], in.data());
    EXPECT_EQ(g_log.cursors[2], in.data() + 3);
    EXPECT_EQ(g_log.cursors[3], in.data() + 3);
    ASSERT_EQ(g_log.any_args.size(), 1u);
    EXPECT_EQ(g_log.any_args[0], &a);

    // A failing raw read reports its status twice as well.
    reset_log();
    auto bad = hex("30 80 00 00");
    qb_r_buffer_t r2 = view_of(bad);
    EXPECT_EQ(a.asnread(r2), 0x1065219Du);
    EXPECT_EQ(g_log.events, events({"preread", "preparse", "preread", "postread:1065219D",
                                    "postread:1065219D"}));
}

TEST(QbAsnAny, SyntaxReadCallsTheReadHooksOnce) {
    qb_asn_any a(security_off);
    qb_asn_integer si(security_off);
    a.set_syntax(&si);
    hook_reads(a);
    auto in = hex("02 01 05");
    qb_r_buffer_t r = view_of(in);
    EXPECT_EQ(a.asnread(r), 0u);
    EXPECT_EQ(g_log.events, events({"preread", "preparse", "postread:0"}));
    ASSERT_EQ(g_log.objects.size(), 2u);
    EXPECT_EQ(g_log.objects[0], &a);
    EXPECT_EQ(g_log.objects[1], &a);
    EXPECT_EQ(g_log.views[1], &r);
    EXPECT_EQ(g_log.cursors[1], in.data() + 3);

    reset_log();
    auto bad = hex("04 00");
    qb_r_buffer_t r2 = view_of(bad);
    EXPECT_EQ(a.asnread(r2), 0x106521A4u);
    EXPECT_EQ(g_log.events, events({"preread", "preparse", "postread:106521A4"}));
}

TEST(QbAsnAny, PreparseFailureReturnsAtOnce) {
    for (int with_syntax = 0; with_syntax < 2; ++with_syntax) {
        SCOPED_TRACE(with_syntax);
        qb_asn_any a(security_off);
        qb_asn_integer si(security_off);
        auto first = hex("02 01 05");
        qb_r_buffer_t r0 = view_of(first);
        if (with_syntax) a.set_syntax(&si);
        ASSERT_EQ(a.asnread(r0), 0u);  // a value read before the hooks are set

        hook_reads(a);
        g_log.parse_result = 0x1234;
        EXPECT_TRUE(reads(a, "01 01 FF", 0x1234u, 0));
        EXPECT_EQ(g_log.events, events({"preread", "preparse"}));  // no postread
        // Nothing was read or invalidated.
        if (with_syntax) {
            EXPECT_EQ(int_value(si), 5);
        } else {
            EXPECT_EQ(a.is_present(), 1);
            EXPECT_EQ(any_value(a), hex("05"));
            EXPECT_EQ(a.get_tag(), 2u);
        }
    }
}

TEST(QbAsnAny, PreencodeHook) {
    for (int with_syntax = 0; with_syntax < 2; ++with_syntax) {
        SCOPED_TRACE(with_syntax);
        qb_asn_any a(security_off);
        qb_asn_integer si(security_off);
        if (with_syntax) {
            a.set_syntax(&si);
            si.set_value(5L);
        } else {
            const unsigned char five[] = {0x05};
            a.set_tag(2);
            a.set_class(0);
            a.set_value(five, 1);
        }
        a.set_preencode(log_preencode);

        reset_log();
        EXPECT_EQ(write_bytes(a), hex("02 01 05"));
        EXPECT_EQ(g_log.events, events({"preencode"}));
        ASSERT_EQ(g_log.any_args.size(), 1u);
        EXPECT_EQ(g_log.any_args[0], &a);

        reset_log();
        g_log.encode_result = 0x4321;
        EXPECT_TRUE(appends("AA", [&](qb_buffer_t& out) { return a.asnwrite(out); }, 0x4321u, "AA"));
        EXPECT_EQ(g_log.events, events({"preencode"}));
    }
}

// ---- qb_asn_nothing ----

TEST(QbAsnNothing, AlwaysPresentAndValid) {
    qb_asn_nothing n(security_off);
    EXPECT_STREQ(n.get_type_name(), "NOTHING");
    EXPECT_EQ(n.is_present(), 1);
    EXPECT_EQ(n.is_valid(0), 1);
    n.invalidate_value(invalidate_full);
    EXPECT_EQ(n.is_present(), 1);
    EXPECT_EQ(n.is_valid(1), 1);
    n.empty();
    EXPECT_EQ(n.is_present(), 1);
    EXPECT_EQ(state_flags(n, 1), " NOTHING(valid=Y, present=Y, optional=N, defaultable=N, enc_valid=N)\n");
}

TEST(QbAsnNothing, ReadsAndWritesNothing) {
    qb_asn_nothing n(security_off);
    for (const char* text : {"02 01 05", "", "FF"}) {
        SCOPED_TRACE(text);
        auto in = hex(text);
        EXPECT_TRUE(reads(n, in, 0u, 0));
        qb_r_buffer_t r2 = view_of(in);
        EXPECT_EQ(n.decode_value(r2, static_cast<unsigned int>(in.size())), 0u);
        EXPECT_TRUE(view_at(r2, in, 0));
    }
    qb_buffer_t out(security_off);
    put(out, hex("AA"));
    EXPECT_EQ(n.asnwrite(out), 0u);
    EXPECT_EQ(n.encode_value(out), 0u);
    EXPECT_EQ(bytes_of(out), hex("AA"));
}

TEST(QbAsnNothing, InsideASequence) {
    qb_asn_sequence outer(security_off);
    qb_asn_integer a(security_off);
    qb_asn_nothing n(security_off);
    qb_asn_boolean b(security_off);
    register_all(outer, {&a, &n, &b});

    EXPECT_TRUE(reads(outer, "30 06 02 01 05 01 01 FF", 0u, 8));
    EXPECT_EQ(int_value(a), 5);
    EXPECT_EQ(outer.is_present(), 1);
    EXPECT_EQ(write_bytes(outer), hex("30 06 02 01 05 01 01 FF"));

    // Invalidating the placeholder never makes the sequence invalid.
    n.invalidate_value(invalidate_full);
    EXPECT_EQ(outer.is_present(), 1);
    n.empty();
    EXPECT_EQ(outer.is_present(), 1);
    EXPECT_EQ(write_bytes(outer), hex("30 06 02 01 05 01 01 FF"));
}

TEST(QbAsnNothing, MakesASequenceWithoutOtherChildrenPresent) {
    qb_test::in_sequence<qb_asn_nothing> tree;
    auto& [outer, n] = tree;
    outer.set_empty_permitted(0);
    EXPECT_EQ(outer.is_present(), 1);
    EXPECT_EQ(write_bytes(outer), hex("30 00"));
    EXPECT_TRUE(reads(outer, "30 00", 0u, 2));
    // Content left over is not the placeholder's: the sequence refuses it.
    auto surplus = hex("30 02 05 00");
    qb_r_buffer_t r2 = view_of(surplus);
    EXPECT_EQ(outer.asnread(r2), 0x106521A5u);
}

// ---- round trips ----

// ChoiceTree: SEQUENCE { INTEGER,
//   CHOICE { INTEGER, BOOLEAN, OCTET STRING, SEQUENCE { INTEGER, OCTET STRING } },
//   ANY OPTIONAL }
struct ChoiceTree {
    qb_asn_sequence outer{security_off};
    qb_asn_integer version{security_off};
    qb_asn_choice pick{security_off};
    qb_asn_integer ci{security_off};
    qb_asn_boolean cb{security_off};
    qb_asn_octetstring co{security_off};
    qb_asn_sequence cs{security_off};
    qb_asn_integer csi{security_off};
    qb_asn_octetstring cso{security_off};
    qb_asn_any tail{security_off};

    ChoiceTree() {
        register_all(cs, {&csi, &cso});
        register_all(pick, {&ci, &cb, &co, &cs});
        tail.set_optional(1);
        register_all(outer, {&version, &pick, &tail});
    }
    ChoiceTree(const ChoiceTree&) = delete;
    ChoiceTree& operator=(const ChoiceTree&) = delete;
};

struct ChoiceCase {
    const char* name;
    int index;
    void (*fill)(ChoiceTree&);
    void (*check)(const ChoiceTree&);
    const char* bytes;
};

const ChoiceCase kChoiceCases[] = {
    {"INTEGER", 0, [](ChoiceTree& t) { t.ci.set_value(300L); },
     [](const ChoiceTree& t) { EXPECT_EQ(int_value(t.ci), 300); }, "30 07 02 01 01 02 02 01 2C"},
    {"BOOLEAN", 1, [](ChoiceTree& t) { t.cb.set_value(1); },
     [](const ChoiceTree& t) {
         int v = 0;
         EXPECT_EQ(t.cb.get_value(v), 0u);
         EXPECT_NE(v, 0);
     },
     "30 06 02 01 01 01 01 FF"},
    {"OCTET STRING", 2,
     [](ChoiceTree& t) {
         const unsigned char hi[] = {0x68, 0x69};
         t.co.set_value(hi, 2);
     },
     [](const ChoiceTree& t) { EXPECT_EQ(value_of(t.co), hex("68 69")); },
     "30 07 02 01 01 04 02 68 69"},
    {"SEQUENCE", 3,
     [](ChoiceTree& t) {
         t.csi.set_value(-1L);
         t.cso.set_value(nullptr, 0);
     },
     [](const ChoiceTree& t) {
         EXPECT_EQ(t.cs.is_present(), 1);
         EXPECT_EQ(int_value(t.csi), -1);
         EXPECT_EQ(value_of(t.cso), hex(""));
     },
     "30 0A 02 01 01 30 05 02 01 FF 04 00"},
};

void expect_choice_tree(const ChoiceTree& t, const ChoiceCase& c) {
    EXPECT_EQ(t.outer.is_present(), 1);
    EXPECT_EQ(int_value(t.version), 1);
    EXPECT_EQ(t.pick.is_present(), 1);
    EXPECT_EQ(t.pick.selected(), c.index);
    const qb_asn_object* alternatives[] = {&t.ci, &t.cb, &t.co, &t.cs};
    for (int k = 0; k < 4; ++k)
        if (k != c.index) {
            EXPECT_EQ(alternatives[k]->is_present(), 0) << k;
        }
    c.check(t);
    EXPECT_EQ(t.tail.is_present(), 0);
}

TEST(QbAsnChoice, RoundTripEachAlternative) {
    for (const ChoiceCase& c : kChoiceCases) {
        SCOPED_TRACE(c.name);
        ChoiceTree src;
        src.version.set_value(1L);
        c.fill(src);
        ASSERT_EQ(src.pick.select(c.index), 0u);
        expect_choice_tree(src, c);
        const auto bytes = write_bytes(src.outer);
        EXPECT_EQ(bytes, hex(c.bytes));

        auto in = bytes;
        ChoiceTree dst;
        ASSERT_TRUE(reads(dst.outer, in, 0u, in.size()));
        expect_choice_tree(dst, c);
        EXPECT_EQ(write_bytes(dst.outer), bytes);
    }
}

TEST(QbAsnChoice, RoundTripAfterIndefiniteInput) {
    // Definite outer length around an indefinite alternative.
    ChoiceTree t;
    auto in = hex("30 0C 02 01 01 30 80 02 01 FF 04 00 00 00");
    ASSERT_TRUE(reads(t.outer, in, 0u, in.size()));
    expect_choice_tree(t, kChoiceCases[3]);
    EXPECT_EQ(write_bytes(t.outer), hex(kChoiceCases[3].bytes));

    // Indefinite outer length, with the trailing ANY present.
    ChoiceTree u;
    auto in2 = hex("30 80 02 01 01 30 80 02 01 FF 04 00 00 00 04 01 AA 00 00");
    ASSERT_TRUE(reads(u.outer, in2, 0u, in2.size()));
    EXPECT_EQ(u.pick.selected(), 3);
    EXPECT_EQ(any_value(u.tail), hex("AA"));
    EXPECT_EQ(write_bytes(u.outer), hex("30 0D 02 01 01 30 05 02 01 FF 04 00 04 01 AA"));
}

TEST(QbAsnAny, AbsentTrailingAnyReadsTheEndOfContentsOctets) {
    // An ANY accepts every identifier, 00 included, so an optional ANY at the
    // end of an indefinite-length sequence reads the end-of-contents octets
    // as an empty frame of tag 0, and the sequence then misses them.
    ChoiceTree t;
    auto in = hex("30 80 02 01 01 30 80 02 01 FF 04 00 00 00 00 00");
    EXPECT_TRUE(reads(t.outer, in, 0x1065219Bu, in.size()));
    EXPECT_EQ(t.outer.is_present(), 0);
    // The missing end-of-contents case leaves the view past what was read.
}

// AnyTree: SEQUENCE { INTEGER, ANY, ANY }
struct AnyTree {
    qb_asn_sequence outer{security_off};
    qb_asn_integer version{security_off};
    qb_asn_any first{security_off};
    qb_asn_any second{security_off};
    AnyTree() {
        register_all(outer, {&version, &first, &second});
    }
    AnyTree(const AnyTree&) = delete;
    AnyTree& operator=(const AnyTree&) = delete;
};

struct AnyCase {
    const char *name, *bytes;
    unsigned int tag1;
    int cls1, cons1;
    const char* content1;
    unsigned int tag2;
    int cls2, cons2;
    const char* content2;
};

const AnyCase kAnyCases[] = {
    {"constructed then primitive", "30 0D 02 01 07 30 03 02 01 05 04 03 AA BB CC", 16, 0, 1,
     "02 01 05", 4, 0, 0, "AA BB CC"},
    {"high tags", "30 10 02 01 07 BF 1F 03 02 01 05 9F 81 00 03 AA BB CC", 31, 2, 1, "02 01 05",
     128, 2, 0, "AA BB CC"},
    {"primitive then constructed", "30 08 02 01 07 C0 01 AA 61 00", 0, 3, 0, "AA", 1, 1, 1, ""},
};

void expect_any_tree(const AnyTree& t, const AnyCase& c) {
    EXPECT_EQ(t.outer.is_present(), 1);
    EXPECT_EQ(int_value(t.version), 7);
    EXPECT_EQ(t.first.get_tag(), c.tag1);
    EXPECT_EQ(t.first.get_class(), c.cls1);
    EXPECT_EQ(t.first.should_generate_constructed(), c.cons1);
    EXPECT_EQ(any_value(t.first), hex(c.content1));
    EXPECT_EQ(t.second.get_tag(), c.tag2);
    EXPECT_EQ(t.second.get_class(), c.cls2);
    EXPECT_EQ(t.second.should_generate_constructed(), c.cons2);
    EXPECT_EQ(any_value(t.second), hex(c.content2));
}

TEST(QbAsnAny, RoundTripConstructedAndPrimitiveFrames) {
    for (const AnyCase& c : kAnyCases) {
        SCOPED_TRACE(c.name);
        AnyTree src;
        auto in = hex(c.bytes);
        ASSERT_TRUE(reads(src.outer, in, 0u, in.size()));
        expect_any_tree(src, c);
        const auto bytes = write_bytes(src.outer);
        EXPECT_EQ(bytes, hex(c.bytes));

        auto again = bytes;
        AnyTree dst;
        qb_r_buffer_t r2 = view_of(again);
        ASSERT_EQ(dst.outer.asnread(r2), 0u);
        expect_any_tree(dst, c);
        EXPECT_EQ(write_bytes(dst.outer), bytes);
    }
}

TEST(QbAsnAny, RoundTripFromSetters) {
    AnyTree src;
    src.version.set_value(7L);
    const unsigned char five[] = {0x05};
    const unsigned char aa[] = {0xAA};
    src.first.set_tag(2);
    src.first.set_class(0);
    src.first.set_value(five, 1);
    src.second.set_tag(0);
    src.second.set_class(3);
    src.second.set_value(aa, 1);
    const auto bytes = write_bytes(src.outer);
    EXPECT_EQ(bytes, hex("30 09 02 01 07 02 01 05 C0 01 AA"));

    auto in = bytes;
    AnyTree dst;
    qb_r_buffer_t r = view_of(in);
    ASSERT_EQ(dst.outer.asnread(r), 0u);
    const AnyCase expected = {"", "", 2, 0, 0, "05", 0, 3, 0, "AA"};
    expect_any_tree(dst, expected);
    EXPECT_EQ(write_bytes(dst.outer), bytes);
}

TEST(QbAsnChoice, AnyAsTheLastAlternativeCatchesEverythingElse) {
    qb_asn_choice c(security_off);
    qb_asn_boolean b(security_off);
    qb_asn_any a(security_off);
    register_all(c, {&b, &a});
    auto in = hex("01 01 00 A3 02 05 00");
    qb_r_buffer_t r = view_of(in);
    ASSERT_EQ(c.asnread(r), 0u);
    EXPECT_EQ(c.selected(), 0);
    ASSERT_EQ(c.asnread(r), 0u);
    EXPECT_EQ(c.selected(), 1);
    EXPECT_TRUE(view_at(r, in, 7));
    EXPECT_EQ(any_value(a), hex("05 00"));
    EXPECT_EQ(write_bytes(c), hex("A3 02 05 00"));
}

// ---- hostile input ----

// CatchAllTree: SEQUENCE { CHOICE { BOOLEAN, ANY }, ANY with an INTEGER syntax object }
struct CatchAllTree {
    qb_asn_sequence outer{security_off};
    qb_asn_choice pick{security_off};
    qb_asn_boolean b{security_off};
    qb_asn_any a{security_off};
    qb_asn_any s{security_off};
    qb_asn_integer si{security_off};
    CatchAllTree() {
        register_all(pick, {&b, &a});
        s.set_syntax(&si);
        register_all(outer, {&pick, &s});
    }
    CatchAllTree(const CatchAllTree&) = delete;
    CatchAllTree& operator=(const CatchAllTree&) = delete;
};

// Valid encodings for ChoiceTree.
const char* const kChoiceVectors[] = {
    "30 0A 02 01 01 30 05 02 01 FF 04 00",
    "30 0F 02 01 01 01 01 FF A1 07 30 05 02 01 FF 04 00",
    "30 80 02 01 01 30 80 02 01 FF 04 00 00 00 9F 81 00 02 AA BB 00 00",
    "30 0B 02 01 01 04 02 68 69 5F 1F 01 00",
    "30 81 0B 02 01 01 02 82 00 02 01 2C 04 00",
};

// Valid encodings for CatchAllTree.
const char* const kCatchAllVectors[] = {
    "30 08 01 01 00 02 03 01 00 01",
    "30 09 A3 02 05 00 02 03 01 00 01",
    "30 09 7F 81 80 00 01 AA 02 01 80",
};

template <class Tree>
unsigned int read_tree(Tree& t, const std::vector<unsigned char>& bytes) {
    return qb_test::read_into(t.outer, bytes).rc;
}

// hostile_vectors: every truncation and single-octet change of each valid
// vector, read into a fresh tree: besides what holds for every read, an
// accepted input has its choice made, and writes bytes that read back and
// write the same again.
template <class Tree>
void hostile_vectors(const char* const* vectors, size_t count) {
    for (size_t v = 0; v < count; ++v) {
        const char* text = vectors[v];
        SCOPED_TRACE(text);
        const auto good = hex(text);
        {
            Tree t;
            ASSERT_EQ(read_tree(t, good), 0u);  // the starting point is valid
        }
        qb_test::for_each_damaged(
            good, {0x01u, 0x02u, 0x04u, 0x08u, 0x10u, 0x20u, 0x40u, 0x80u, 0xFFu},
            {0x00u, 0x7Fu, 0x80u, 0x81u, 0x84u, 0xFFu},
            [](const std::vector<unsigned char>& bad, const std::string& what) {
                SCOPED_TRACE(what);
                Tree t;
                if (read_hostile(t.outer, bad) != 0) return;
                EXPECT_EQ(t.pick.is_present(), 1);
                EXPECT_GE(t.pick.selected(), 0);
                const auto first = write_bytes(t.outer);
                Tree again;
                ASSERT_EQ(read_tree(again, first), 0u);
                EXPECT_EQ(write_bytes(again.outer), first);
            });
    }
}

TEST(QbAsnChoice, HostileInputNeverEscapesTheDocumentedStatuses) {
    hostile_vectors<ChoiceTree>(kChoiceVectors, sizeof kChoiceVectors / sizeof kChoiceVectors[0]);
}

TEST(QbAsnAny, HostileInputNeverEscapesTheDocumentedStatuses) {
    hostile_vectors<CatchAllTree>(kCatchAllVectors,
                                  sizeof kCatchAllVectors / sizeof kCatchAllVectors[0]);
}

TEST(QbAsnChoice, HostileVectorsReadAsExpected) {
    {
        ChoiceTree t;
        ASSERT_EQ(read_tree(t, hex(kChoiceVectors[1])), 0u);
        EXPECT_EQ(t.pick.selected(), 1);
        EXPECT_EQ(t.tail.get_tag(), 1u);
        EXPECT_EQ(t.tail.get_class(), 2);
        EXPECT_EQ(any_value(t.tail), hex("30 05 02 01 FF 04 00"));
        EXPECT_EQ(write_bytes(t.outer), hex(kChoiceVectors[1]));
    }
    {
        ChoiceTree t;
        ASSERT_EQ(read_tree(t, hex(kChoiceVectors[2])), 0u);
        EXPECT_EQ(t.pick.selected(), 3);
        EXPECT_EQ(t.tail.get_tag(), 128u);
        EXPECT_EQ(write_bytes(t.outer), hex("30 10 02 01 01 30 05 02 01 FF 04 00 9F 81 00 02 AA BB"));
    }
    {
        ChoiceTree t;
        ASSERT_EQ(read_tree(t, hex(kChoiceVectors[3])), 0u);
        EXPECT_EQ(t.pick.selected(), 2);
        EXPECT_EQ(t.tail.get_tag(), 31u);
        EXPECT_EQ(t.tail.get_class(), 1);
        EXPECT_EQ(write_bytes(t.outer), hex(kChoiceVectors[3]));
    }
    {
        ChoiceTree t;
        ASSERT_EQ(read_tree(t, hex(kChoiceVectors[4])), 0u);
        EXPECT_EQ(t.pick.selected(), 0);
        EXPECT_EQ(int_value(t.ci), 300);
        EXPECT_EQ(write_bytes(t.outer), hex("30 09 02 01 01 02 02 01 2C 04 00"));
    }
    {
        CatchAllTree t;
        ASSERT_EQ(read_tree(t, hex(kCatchAllVectors[1])), 0u);
        EXPECT_EQ(t.pick.selected(), 1);
        EXPECT_EQ(int_value(t.si), 65537);
        EXPECT_EQ(write_bytes(t.outer), hex(kCatchAllVectors[1]));
    }
    {
        CatchAllTree t;
        ASSERT_EQ(read_tree(t, hex(kCatchAllVectors[2])), 0u);
        EXPECT_EQ(t.a.get_tag(), 16384u);
        EXPECT_EQ(int_value(t.si), -128);
        EXPECT_EQ(write_bytes(t.outer), hex(kCatchAllVectors[2]));
    }
}

}  // namespace
