// tests/asn1/object_test.cpp - qb_asn_object: construction, refusal of copies,
// identifier and length octets, frame writing and reading, invalidation,
// default values, comparison, dumps and the nesting bound of the reader.
#include <gtest/gtest.h>
#include <pthread.h>

#include <cstring>
#include <functional>
#include <memory>
#include <utility>
#include <string>
#include <vector>

#include "asn1/asnbase.h"
#include "support/buffers.h"
#include "support/frames.h"
#include "support/hex.h"
#include "support/probes.h"

namespace {

// ---- helpers ----

using qb_test::append_to, qb_test::appends, qb_test::bytes_of, qb_test::display_text, qb_test::expect_bare_text,
      qb_test::expect_unsupported, qb_test::frame_of, qb_test::int_value, qb_test::put, qb_test::reads,
      qb_test::form_summary, qb_test::register_all, qb_test::state_summary, qb_test::text_of, qb_test::view_at,
      qb_test::view_of;

// ---- test objects ----

// Probe: a primitive with scripted content hooks. Nothing is set by its
// constructor, so it shows the base's defaults; configure() gives it an
// identifier and permits the primitive form.
class Probe : public qb_asn_primitive {
public:
    explicit Probe(security_t s = security_off) : qb_asn_primitive(s) {}
    // Probe(t, cls): identifier (t, cls), the primitive form permitted.
    Probe(unsigned int t, int cls) : qb_asn_primitive(security_off) { configure(t, cls); }
    // as_optional: marks the probe optional.
    Probe& as_optional() {
        set_optional(1);
        return *this;
    }
    // Probe(t, cls, c): the same, holding `c` as a valid value.
    Probe(unsigned int t, int cls, std::vector<unsigned char> c) : Probe(t, cls) {
        content = std::move(c);
        set_value_valid();
    }

    void configure(unsigned int t, int cls) {
        tag = t;
        asn_class = cls;
        primitive_permitted = 1;
    }

    std::vector<unsigned char> content;  // what encode_value writes
    unsigned int encode_status = 0;      // what encode_value returns (after writing)
    unsigned int decode_status = 0;      // what decode_value returns (after consuming)
    unsigned int indefinite_take = 0;    // octets decode_value consumes for an indefinite length
    unsigned int emptyi_status = 0;
    mutable int encode_calls = 0;
    int decode_calls = 0;
    int emptyi_calls = 0;
    unsigned int last_length = 0xFFFFFFFFu;
    std::vector<unsigned char> decoded;

    unsigned int decode_value(qb_r_buffer_t& r, unsigned int length) override {
        ++decode_calls;
        last_length = length;
        const unsigned int n = is_indefinite_length() ? indefinite_take : length;
        if (n > r.remaining) return 0x10652198;
        decoded.assign(r.cursor, r.cursor + n);
        r.cursor += n;
        r.remaining -= n;
        return decode_status;
    }

    unsigned int encode_value(qb_buffer_t& out) const override {
        ++encode_calls;
        put(out, content);
        return encode_status;
    }

    unsigned int emptyi() override {
        ++emptyi_calls;
        return emptyi_status;
    }
};

// expect_probe_refused: reading `in` into `p` gives `status` with the view left at
// the start, `p` absent and its content hook never called.
void expect_probe_refused(Probe& p, const std::vector<unsigned char>& in, unsigned int status) {
    EXPECT_TRUE(reads(p, in, status, 0));
    EXPECT_EQ(p.is_present(), 0);
    EXPECT_EQ(p.decode_calls, 0);
}

// AnyTag: accepts every identifier, the way a CHOICE or ANY does.
class AnyTag : public Probe {
public:
    AnyTag() { primitive_permitted = 1; }
    int check_type(unsigned int, int) const override { return 1; }
};

// Counted: records its id when destroyed.
class Counted : public Probe {
public:
    static std::vector<int> destroyed;
    explicit Counted(int id) : id_(id) { configure(2, 0); }
    ~Counted() override { destroyed.push_back(id_); }

private:
    int id_;
};
std::vector<int> Counted::destroyed;

// ---- construction, copy, assignment ----

TEST(QbAsnObject, ConstructionDefaults) {
    Probe p(security_off);
    EXPECT_STREQ(p.get_type_name(), "OBJECT");
    EXPECT_EQ(p.get_parent(), nullptr);
    EXPECT_EQ(p.get_default_value(), nullptr);
    EXPECT_EQ(state_summary(p), "present 0, optional 0, defaultable 0, cached 0");
    EXPECT_EQ(form_summary(p), "constructed 0, indefinite 0, generates constructed 0, permits ---");
    EXPECT_EQ(p.is_polymorphic(), 0);
    EXPECT_EQ(p.preread, nullptr);
    EXPECT_EQ(p.postread, nullptr);
    EXPECT_EQ(p.is_valid(0), 0);
    EXPECT_EQ(p.normalize(), 0u);
    EXPECT_EQ(p.set_empty_permitted(0), 0u);
    EXPECT_EQ(p.check_encode_flags(), 1);
    EXPECT_EQ(p.encoding.length(), 0u);
}

TEST(QbAsnObject, ConstructionGivesTheCacheTheSecuritySetting) {
    Probe on(security_on);
    EXPECT_EQ(on.encoding.security, security_on);
    Probe lcs(security_lcs);
    EXPECT_EQ(lcs.encoding.security, security_lcs);
    Probe off(security_off);
    EXPECT_EQ(off.encoding.security, security_off);
}

TEST(QbAsnObject, BaseEmptyiReturnsZero) {
    qb_asn_integer i(security_off);  // the integer keeps the base's emptyi
    EXPECT_EQ(i.emptyi(), 0u);
}

TEST(QbAsnObject, CopyConstructionThrowsUnsupported) {
    Probe a(2, 0);
    expect_unsupported([&] { Probe b(a); }, "Can't copy asn_objects");
}

TEST(QbAsnObject, AssignmentThrowsUnsupported) {
    Probe a;
    Probe b;
    expect_unsupported([&] { b = a; }, "Can't assign asn_objects");

    // Through base references as well.
    qb_asn_integer x(security_off), y(security_off);
    qb_asn_object& rx = x;
    const qb_asn_object& ry = y;
    EXPECT_THROW(rx = ry, qb_asn_unsupportederror);
}

TEST(QbAsnObject, GetChildCountOnPrimitiveThrowsBareText) {
    qb_asn_integer i(security_off);
    expect_bare_text([&] { (void)i.get_child_count(); }, "get_child_count() invoked on non-composite object");
    Probe p;
    EXPECT_THROW((void)p.get_child_count(), const char*);
}

TEST(QbAsnObject, CheckTypeNeedsTagAndClass) {
    Probe p(5, 2);
    EXPECT_TRUE(p.check_type(5, 2));
    EXPECT_FALSE(p.check_type(5, 0));
    EXPECT_FALSE(p.check_type(4, 2));
    EXPECT_FALSE(p.check_type(4, 0));
    EXPECT_EQ(p.get_tag(), 5u);
    EXPECT_EQ(p.get_class(), 2);
}

// ---- identifier octets ----

struct TypeCase {
    const char* name;
    unsigned int tag;
    int cls, constructed;
    const char* hex;
};

constexpr TypeCase kTypeCases[] = {
    {"universal 0", 0, 0, 0, "00"},
    {"universal 2", 2, 0, 0, "02"},
    {"application 5", 5, 1, 0, "45"},
    {"context 30, last one-octet tag", 30, 2, 0, "9E"},
    {"private 1", 1, 3, 0, "C1"},
    {"constructed universal 16", 16, 0, 1, "30"},
    {"constructed context 0", 0, 2, 1, "A0"},
    {"constructed private 30", 30, 3, 1, "FE"},
    {"universal 31", 31, 0, 0, "1F 1F"},
    {"context 31, first high tag", 31, 2, 0, "9F 1F"},
    {"context 127, one group", 127, 2, 0, "9F 7F"},
    {"context 128, two groups", 128, 2, 0, "9F 81 00"},
    {"context 16383", 16383, 2, 0, "9F FF 7F"},
    {"context 16384, three groups", 16384, 2, 0, "9F 81 80 00"},
    {"context 2097151", 2097151, 2, 0, "9F FF FF 7F"},
    {"context 2097152, four groups", 2097152, 2, 0, "9F 81 80 80 00"},
    {"context 268435455", 268435455, 2, 0, "9F FF FF FF 7F"},
    {"context 268435456, five groups", 268435456, 2, 0, "9F 81 80 80 80 00"},
    {"context 0xFFFFFFFF", 0xFFFFFFFFu, 2, 0, "9F 8F FF FF FF 7F"},
    {"constructed application 200", 200, 1, 1, "7F 81 48"},
    {"constructed private 31", 31, 3, 1, "FF 1F"},
};

// aa_then: AA followed by the octets `hex_text` writes out.
std::vector<unsigned char> aa_then(const char* hex_text) { return hex(("AA " + std::string(hex_text)).c_str()); }

TEST(QbAsnObject, WriteTypeIdentifierOctets) {
    for (const TypeCase& c : kTypeCases) {
        SCOPED_TRACE(c.name);
        Probe p(c.tag, c.cls);
        p.generate_constructed = c.constructed;
        // Written after what is there.
        EXPECT_EQ(append_to("AA", [&](qb_buffer_t& out) { return p.write_type(out); }).bytes, aa_then(c.hex));
    }
}

TEST(QbAsnObject, WriteTypeUsesGenerateConstructedNotTheDecodedForm) {
    Probe p(4, 0);
    p.constructed = 1;  // the last decoded form does not decide the written form
    qb_buffer_t out(security_off);
    EXPECT_EQ(p.write_type(out), 0u);
    EXPECT_EQ(bytes_of(out), hex("04"));
}

// ---- length octets ----

struct LengthCase {
    const char* name;
    unsigned int size;
    const char* hex;
};

constexpr LengthCase kLengthCases[] = {
    {"empty", 0, "00"},
    {"one", 1, "01"},
    {"127, last short form", 127, "7F"},
    {"128, first long form", 128, "81 80"},
    {"255", 255, "81 FF"},
    {"256, two octets", 256, "82 01 00"},
    {"65535", 65535, "82 FF FF"},
    {"65536, three octets", 65536, "83 01 00 00"},
};

TEST(QbAsnObject, WriteLengthMinimalForms) {
    for (const LengthCase& c : kLengthCases) {
        SCOPED_TRACE(c.name);
        Probe p(4, 0, std::vector<unsigned char>(c.size, 0x5A));
        ASSERT_EQ(p.get_encoding(), 0u);
        EXPECT_EQ(append_to("AA", [&](qb_buffer_t& out) { return p.write_length(out); }).bytes, aa_then(c.hex));
    }
}

TEST(QbAsnObject, WriteLengthThreeAndFourOctetForms) {
    for (const auto& [size, want] : {std::pair<unsigned int, const char*>{16777215, "83 FF FF FF"},
                                     std::pair<unsigned int, const char*>{16777216, "84 01 00 00 00"}}) {
        SCOPED_TRACE(size);
        Probe p(4, 0, std::vector<unsigned char>(size, 0x01));
        ASSERT_EQ(p.get_encoding(), 0u);
        EXPECT_EQ(append_to("AA", [&](qb_buffer_t& out) { return p.write_length(out); }).bytes, aa_then(want));
    }
}

TEST(QbAsnObject, WriteLengthRefusesAStaleEncoding) {
    Probe p(4, 0, hex("01 02"));
    qb_buffer_t out(security_off);
    out.append(static_cast<unsigned char>(0xAA));
    // Never built.
    EXPECT_EQ(p.write_length(out), 0x1065219Bu);
    EXPECT_EQ(bytes_of(out), hex("AA"));
    // Built, then made stale.
    ASSERT_EQ(p.get_encoding(), 0u);
    EXPECT_EQ(p.write_length(out), 0u);
    EXPECT_EQ(bytes_of(out), hex("AA 02"));
    p.set_tag(5);
    EXPECT_EQ(p.write_length(out), 0x1065219Bu);
    EXPECT_EQ(bytes_of(out), hex("AA 02"));
}

// ---- cached encoding ----

TEST(QbAsnObject, GetEncodingBuildsTheCacheOnce) {
    Probe p(4, 0, hex("01 02 03"));
    EXPECT_EQ(p.get_encoding(), 0u);
    EXPECT_EQ(p.is_encoding_valid(), 1);
    EXPECT_EQ(p.encode_calls, 1);
    EXPECT_EQ(bytes_of(p.encoding), hex("01 02 03"));
    // A valid cache is not rebuilt.
    EXPECT_EQ(p.get_encoding(), 0u);
    EXPECT_EQ(p.encode_calls, 1);
    qb_buffer_t out(security_off);
    out.append(static_cast<unsigned char>(0xAA));
    EXPECT_EQ(p.get_encoding(out), 0u);
    EXPECT_EQ(p.encode_calls, 1);
    EXPECT_EQ(bytes_of(out), hex("AA 01 02 03"));
    // Invalidated: cleared and rebuilt, not appended to.
    p.invalidate_encoding();
    EXPECT_EQ(p.get_encoding(), 0u);
    EXPECT_EQ(p.encode_calls, 2);
    EXPECT_EQ(bytes_of(p.encoding), hex("01 02 03"));
}

TEST(QbAsnObject, GetEncodingFailureKeepsTheCacheInvalid) {
    Probe p(4, 0, hex("01"));
    p.encode_status = 0x1065219B;
    EXPECT_EQ(p.get_encoding(), 0x1065219Bu);
    EXPECT_EQ(p.is_encoding_valid(), 0);
    qb_buffer_t out(security_off);
    EXPECT_EQ(p.get_encoding(out), 0x1065219Bu);
    EXPECT_EQ(out.length(), 0u);
}

TEST(QbAsnObject, GetEncodingOfAnAbsentObjectUsesItsDefault) {
    qb_asn_integer i(security_off);
    ASSERT_EQ(i.set_default_value(7L), 0u);
    ASSERT_EQ(i.is_present(), 0);
    EXPECT_EQ(i.get_encoding(), 0u);
    EXPECT_EQ(i.is_encoding_valid(), 1);
    EXPECT_EQ(bytes_of(i.encoding), hex("07"));
}

TEST(QbAsnObject, GetEncodingOfAnAbsentObjectWithoutDefault) {
    Probe p(4, 0);
    p.content = hex("01");
    EXPECT_EQ(p.get_encoding(), 0x106521A0u);
    EXPECT_EQ(p.is_encoding_valid(), 0);
    EXPECT_EQ(p.encode_calls, 0);
}

// ---- writing a frame ----

TEST(QbAsnObject, AsnwriteWritesIdentifierLengthContent) {
    Probe p(2, 0, hex("05"));
    EXPECT_EQ(append_to("AA", [&](qb_buffer_t& out) { return p.asnwrite(out); }).bytes, hex("AA 02 01 05"));
    EXPECT_EQ(p.is_encoding_valid(), 1);
}

TEST(QbAsnObject, AsnwriteHighTagAndLongLength) {
    Probe p(31, 2, std::vector<unsigned char>(200, 0x11));
    qb_buffer_t out(security_off);
    EXPECT_EQ(p.asnwrite(out), 0u);
    std::vector<unsigned char> want = hex("9F 1F 81 C8");
    want.insert(want.end(), 200, 0x11);
    EXPECT_EQ(bytes_of(out), want);
}

TEST(QbAsnObject, AsnwriteOptionalAbsentWritesNothing) {
    qb_asn_integer i(security_off);
    i.set_optional(1);
    EXPECT_TRUE(appends("AA", [&](qb_buffer_t& out) { return i.asnwrite(out); }, 0u, "AA"));
}

TEST(QbAsnObject, AsnwriteMandatoryAbsentLeavesOutputUntouched) {
    qb_asn_integer i(security_off);
    qb_buffer_t out(security_off);
    put(out, hex("AA BB"));
    unsigned char* const block = out.data;
    EXPECT_EQ(i.asnwrite(out), 0x106521A0u);
    EXPECT_EQ(bytes_of(out), hex("AA BB"));
    EXPECT_EQ(out.data, block);
}

TEST(QbAsnObject, AsnwriteOmitsValueEqualToDefault) {
    qb_asn_integer i(security_off);
    ASSERT_EQ(i.set_default_value(5L), 0u);
    qb_buffer_t out(security_off);
    // Absent defaultable: nothing.
    EXPECT_EQ(i.asnwrite(out), 0u);
    EXPECT_EQ(out.length(), 0u);
    // Equal content octets: nothing.
    i.set_value(5L);
    EXPECT_EQ(i.asnwrite(out), 0u);
    EXPECT_EQ(out.length(), 0u);
    // Another value: written.
    i.set_value(6L);
    EXPECT_EQ(i.asnwrite(out), 0u);
    EXPECT_EQ(bytes_of(out), hex("02 01 06"));
    // Same number, other octets: written (the content octets decide).
    out.clear();
    const unsigned char padded[] = {0x00, 0x05};
    i.set_value(padded, 2);
    EXPECT_EQ(i.asnwrite(out), 0u);
    EXPECT_EQ(bytes_of(out), hex("02 02 00 05"));
}

TEST(QbAsnObject, AsnwriteFailureCutsOutputBack) {
    Probe p(2, 0, hex("01 02"));
    p.encode_status = 0x1065219B;
    EXPECT_TRUE(appends("AA BB", [&](qb_buffer_t& out) { return p.asnwrite(out); }, 0x1065219Bu, "AA BB"));
    EXPECT_EQ(p.is_encoding_valid(), 0);
}

TEST(QbAsnObject, AsnwriteFailureInsideASequenceCutsOutputBack) {
    qb_test::int_then<qb_asn_boolean> pair;
    auto& [seq, a, b] = pair;
    a.set_value(5L);
    b.set_value(1);
    ASSERT_EQ(seq.is_present(), 1);
    {
        qb_buffer_t out(security_off);
        EXPECT_EQ(seq.asnwrite(out), 0u);
        EXPECT_EQ(bytes_of(out), hex("30 06 02 01 05 01 01 FF"));
    }
    // The second child loses its value without the sequence re-checking:
    // the sequence is still present and starts writing, then fails.
    b.invalidate_value(invalidate_local);
    ASSERT_EQ(seq.is_present(), 1);
    ASSERT_EQ(b.is_present(), 0);
    EXPECT_TRUE(appends("AA BB", [&](qb_buffer_t& out) { return seq.asnwrite(out); }, 0x106521A0u, "AA BB"));
}

// ---- reading a frame ----

TEST(QbAsnObject, AsnreadReadsOneFrame) {
    Probe p(2, 0);
    auto in = hex("02 01 05 AA BB");
    EXPECT_TRUE(reads(p, in, 0u, 3)); // data after the frame is left in the view
    EXPECT_EQ(p.is_present(), 1);
    EXPECT_EQ(p.decode_calls, 1);
    EXPECT_EQ(p.last_length, 1u);
    EXPECT_EQ(p.decoded, hex("05"));
    EXPECT_EQ(p.is_constructed(), 0);
    EXPECT_EQ(p.is_indefinite_length(), 0);
}

TEST(QbAsnObject, AsnreadZeroLengthAndExactLength) {
    Probe p(2, 0);
    EXPECT_TRUE(reads(p, "02 00", 0u, 2));
    EXPECT_EQ(p.last_length, 0u);

    EXPECT_TRUE(reads(p, "02 03 01 02 03", 0u, 5));
    EXPECT_EQ(p.decoded, hex("01 02 03"));
}

TEST(QbAsnObject, AsnreadEmptyViewMandatory) {
    Probe p(2, 0);
    std::vector<unsigned char> in = hex("AA");
    qb_r_buffer_t r(in.data(), 0);
    EXPECT_EQ(p.asnread(r), 0x10652198u);
    EXPECT_EQ(r.cursor, in.data());
    EXPECT_EQ(r.remaining, 0u);
    EXPECT_EQ(p.is_present(), 0);
    EXPECT_EQ(p.decode_calls, 0);
}

TEST(QbAsnObject, AsnreadEmptyViewOptionalOrDefaultable) {
    std::vector<unsigned char> in = hex("AA");
    {
        Probe p(2, 0);
        p.set_optional(1);
        qb_r_buffer_t r(in.data(), 0);
        EXPECT_EQ(p.asnread(r), 0u);
        EXPECT_EQ(r.cursor, in.data());
        EXPECT_EQ(r.remaining, 0u);
        EXPECT_EQ(p.is_present(), 0);
    }
    {
        qb_asn_integer i(security_off);
        i.set_default_value(9L);
        qb_r_buffer_t r(in.data(), 0);
        EXPECT_EQ(i.asnread(r), 0u);
        EXPECT_EQ(r.cursor, in.data());
        EXPECT_EQ(i.is_present(), 0);
        EXPECT_EQ(int_value(i), 9);
    }
}

TEST(QbAsnObject, AsnreadIdentifierCutOff) {
    for (const char* text : {"1F", "9F 81", "9F 81 80"}) {
        SCOPED_TRACE(text);
        auto in = hex(text);
        Probe p(128, 2);
        EXPECT_TRUE(reads(p, in, 0x10652198u, 0));
        Probe q(128, 2);
        q.set_optional(1);
        EXPECT_TRUE(reads(q, in, 0u, 0));
        EXPECT_EQ(q.is_present(), 0);
    }
}

TEST(QbAsnObject, AsnreadTagMismatch) {
    // Another tag, another class, the context class, another high tag.
    for (const char* text : {"04 01 05", "42 01 05", "82 01 05", "1F 22 01 05"}) {
        SCOPED_TRACE(text);
        auto in = hex(text);
        Probe p(2, 0);
        expect_probe_refused(p, in, 0x106521A4u);

        Probe opt(2, 0);
        opt.set_optional(1);
        EXPECT_TRUE(reads(opt, in, 0u, 0));
        EXPECT_EQ(opt.is_present(), 0);

        qb_asn_integer dflt(security_off);
        dflt.set_default_value(1L);
        EXPECT_TRUE(reads(dflt, in, 0u, 0));
        EXPECT_EQ(dflt.is_present(), 0);
    }
}

TEST(QbAsnObject, AsnreadHighTagIdentifier) {
    struct Case {
        unsigned int tag;
        const char* hex;
    };
    const Case cases[] = {
        {31, "9F 1F 01 05"},
        {128, "9F 81 00 01 05"},
        {16384, "9F 81 80 00 01 05"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.tag);
        auto in = hex(c.hex);
        Probe p(c.tag, 2);
        EXPECT_TRUE(reads(p, in, 0u, in.size()));
        EXPECT_EQ(p.decoded, hex("05"));
        // What is read is what is written.
        qb_buffer_t out(security_off);
        p.content = hex("05");
        EXPECT_EQ(p.asnwrite(out), 0u);
        EXPECT_EQ(bytes_of(out), in);
    }
}

TEST(QbAsnObject, AsnreadTakesOnTheIdentifierReadWhenTheTypeAcceptsAny) {
    AnyTag p;
    p.tag = 9;
    p.asn_class = 0;
    auto in = hex("45 01 05");
    qb_r_buffer_t r = view_of(in);
    EXPECT_EQ(p.asnread(r), 0u);
    EXPECT_EQ(p.get_tag(), 5u);
    EXPECT_EQ(p.get_class(), 1);
}

TEST(QbAsnObject, AsnreadRecordsTheConstructedBit) {
    Probe p(2, 0);
    p.constructed_permitted = 1;
    auto in = hex("22 01 05");
    qb_r_buffer_t r = view_of(in);
    EXPECT_EQ(p.asnread(r), 0u);
    EXPECT_EQ(p.is_constructed(), 1);
    auto in2 = hex("02 01 05");
    qb_r_buffer_t r2 = view_of(in2);
    EXPECT_EQ(p.asnread(r2), 0u);
    EXPECT_EQ(p.is_constructed(), 0);
}

TEST(QbAsnObject, AsnreadConstructedNotPermitted) {
    Probe p(2, 0);
    auto in = hex("22 01 05");
    expect_probe_refused(p, in, 0x1065219Eu);
    // Optional does not turn a form error into absence.
    EXPECT_TRUE(reads(Probe(2, 0).as_optional(), in, 0x1065219Eu, 0));
}

TEST(QbAsnObject, AsnreadPrimitiveNotPermitted) {
    Probe p;
    p.tag = 2;
    p.asn_class = 0;
    p.constructed_permitted = 1;  // constructed only
    auto in = hex("02 01 05");
    expect_probe_refused(p, in, 0x1065219Fu);
    // The base object permits neither form.
    Probe bare;
    bare.tag = 2;
    EXPECT_TRUE(reads(bare, in, 0x1065219Fu, 0));
}

TEST(QbAsnObject, AsnreadIndefiniteNotPermitted) {
    Probe p(2, 0);
    p.constructed_permitted = 1;
    for (const char* text : {"02 80 05 00 00", "22 80 05 00 00"}) {
        SCOPED_TRACE(text);
        expect_probe_refused(p, hex(text), 0x1065219Du);
    }
}

// expect_cut_off: each input, read into a fresh Probe(2, 0), is refused as
// cut off (0x10652198); with `optional_too`, by an optional probe as well.
void expect_cut_off(std::initializer_list<const char*> inputs, bool optional_too) {
    for (const char* text : inputs) {
        SCOPED_TRACE(text);
        Probe p(2, 0);
        expect_probe_refused(p, hex(text), 0x10652198u);
        if (optional_too) {
            EXPECT_TRUE(reads(Probe(2, 0).as_optional(), hex(text), 0x10652198u, 0));
        }
    }
}

TEST(QbAsnObject, AsnreadLengthCutOff) {
    // Optional: still an error, the identifier matched.
    expect_cut_off({"02", "02 81", "02 82 01", "02 84 00 00 00"}, true);
}

TEST(QbAsnObject, AsnreadDeclaredLengthTooLong) {
    expect_cut_off({"02 03 05 06", "02 01", "02 81 02 05", "02 82 01 00 05"}, false);
}

TEST(QbAsnObject, AsnreadLongFormLengthsOfAnySize) {
    const char* const cases[][2] = {
        {"one length octet", "02 81 05 01 02 03 04 05"},
        {"two length octets", "02 82 00 05 01 02 03 04 05"},
        {"four length octets", "02 84 00 00 00 05 01 02 03 04 05"},
        {"five length octets", "02 85 00 00 00 00 05 01 02 03 04 05"},
    };
    for (const auto& [name, text] : cases) {
        SCOPED_TRACE(name);
        auto in = hex(text);
        in.push_back(0xEE);  // trailing octet stays in the view
        Probe p(2, 0);
        EXPECT_TRUE(reads(p, in, 0u, in.size() - 1));
        EXPECT_EQ(p.last_length, 5u);
        EXPECT_EQ(p.decoded, hex("01 02 03 04 05"));
        EXPECT_EQ(p.is_present(), 1);
    }
    // A non-minimal long form of a zero length is taken as it is.
    auto zero = hex("02 81 00");
    Probe p(2, 0);
    EXPECT_TRUE(reads(p, zero, 0u, 3));
    EXPECT_EQ(p.last_length, 0u);
}

TEST(QbAsnObject, AsnreadIndefiniteLength) {
    Probe p(2, 0);
    p.indefinite_permitted = 1;
    p.indefinite_take = 2;
    auto in = hex("02 80 05 06 00 00 AA");
    EXPECT_TRUE(reads(p, in, 0u, 6)); // past the end-of-contents octets
    EXPECT_EQ(p.last_length, 0u);    // the content hook is given length 0
    EXPECT_EQ(p.decoded, hex("05 06"));
    EXPECT_EQ(p.is_indefinite_length(), 1);
    EXPECT_EQ(p.is_present(), 1);
}

TEST(QbAsnObject, AsnreadMissingEndOfContentsLeavesTheViewMoved_quirk) {
    struct NamedInput {
        const char *name, *hex;
    };
    const NamedInput cases[] = {
        {"one octet left", "02 80 05 06 07"},
        {"nothing left", "02 80 05 06"},
        {"00 then another octet", "02 80 05 06 00 07"},
        {"another octet then 00", "02 80 05 06 07 00"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Probe p(2, 0);
        p.indefinite_permitted = 1;
        p.indefinite_take = 2;
        auto in = hex(c.hex);
        EXPECT_TRUE(reads(p, in, 0x1065219Bu, 4));
        // The view stays just past the content: it is not put back.
        EXPECT_EQ(p.is_present(), 0);
    }
}

TEST(QbAsnObject, AsnreadContentFailureRestoresTheView) {
    Probe p(2, 0);
    p.decode_status = 0x1065219B;  // consumes its content, then fails
    EXPECT_TRUE(reads(p, "02 02 05 06 AA", 0x1065219Bu, 0));
    EXPECT_EQ(p.decode_calls, 1);
    EXPECT_EQ(p.is_present(), 0);

    Probe q(2, 0);
    q.decode_status = 0x106521A2;
    q.indefinite_permitted = 1;
    q.indefinite_take = 1;
    EXPECT_TRUE(reads(q, "02 80 05 00 00", 0x106521A2u, 0));
}

TEST(QbAsnObject, AsnreadFailureLeavesAPresentObjectAbsent) {
    qb_asn_integer i(security_off);
    i.set_value(3L);
    ASSERT_EQ(i.is_present(), 1);
    EXPECT_TRUE(reads(i, "04 01 05", 0x106521A4u, 0));
    EXPECT_EQ(i.is_present(), 0);
    EXPECT_EQ(i.is_encoding_valid(), 0);
}

TEST(QbAsnObject, AsnreadResetsTheFormFlagsFirst) {
    Probe p(2, 0);
    p.constructed_permitted = 1;
    p.indefinite_permitted = 1;
    p.indefinite_take = 1;
    auto in = hex("22 80 05 00 00");
    qb_r_buffer_t r = view_of(in);
    ASSERT_EQ(p.asnread(r), 0u);
    ASSERT_EQ(p.is_constructed(), 1);
    ASSERT_EQ(p.is_indefinite_length(), 1);
    std::vector<unsigned char> none = hex("AA");
    qb_r_buffer_t empty(none.data(), 0);
    EXPECT_EQ(p.asnread(empty), 0x10652198u);
    EXPECT_EQ(p.is_constructed(), 0);
    EXPECT_EQ(p.is_indefinite_length(), 0);
}

TEST(QbAsnObject, AsnreadSuccessAndFailureNotifyTheParent) {
    qb_test::spy_sequence parent;
    Probe p(2, 0);
    parent.register_child(&p);
    parent.checks = 0;
    auto in = hex("02 01 05");
    qb_r_buffer_t r = view_of(in);
    EXPECT_EQ(p.asnread(r), 0u);
    EXPECT_GE(parent.checks, 1);
    EXPECT_EQ(parent.last_arg, 0);
    EXPECT_EQ(parent.is_present(), 1);

    // A failed read leaves the child absent and the parent re-checked.
    auto bad = hex("04 01 05");
    qb_r_buffer_t r2 = view_of(bad);
    parent.checks = 0;
    EXPECT_EQ(p.asnread(r2), 0x106521A4u);
    EXPECT_GE(parent.checks, 1);
    EXPECT_EQ(parent.is_present(), 0);
}

// Hook recording (hooks are plain functions): what each of the two hooks saw.
struct HookSide {
    int calls = 0;
    qb_asn_object* obj = nullptr;
    qb_r_buffer_t* view = nullptr;
    unsigned char* cursor = nullptr;
    unsigned int remaining = 0;
    int present = -1;

    void note(qb_asn_object* o, qb_r_buffer_t& r) {
        ++calls;
        obj = o;
        view = &r;
        cursor = r.cursor;
        remaining = r.remaining;
        present = o->is_present();
    }
};
struct HookLog {
    HookSide pre, post;
    int post_status = -1;
};
HookLog g_hooks;

void pre_hook(qb_asn_object* o, qb_r_buffer_t& r) { g_hooks.pre.note(o, r); }

void post_hook(qb_asn_object* o, qb_r_buffer_t& r, int status) {
    g_hooks.post.note(o, r);
    g_hooks.post_status = status;
}

TEST(QbAsnObject, AsnreadHooksSeeTheCallersViewAndTheFinalStatus) {
    Probe p(2, 0);
    p.indefinite_permitted = 1;
    p.indefinite_take = 1;
    EXPECT_EQ(p.set_preread(pre_hook), 0u);
    EXPECT_EQ(p.set_postread(post_hook), 0u);
    p.content = hex("01");
    p.set_value_valid();  // present before the read: the read starts by invalidating

    // Each read: both hooks run once on the probe and the caller's view, the
    // pre-read hook before anything is consumed (the read starts by
    // invalidating), the post-read hook with the final status and view.
    struct HookCase {
        const char *name, *hex;
        bool optional;        // the probe is optional from this read on
        unsigned int status;  // asnread's status, as the post-read hook sees it
        unsigned int post_at; // the view's offset the post-read hook sees
        int post_present;
    };
    const HookCase cases[] = {
        {"success", "02 01 05 AA", false, 0, 3, 1},
        {"identifier mismatch: the restored view and the code", "04 01 05", false, 0x106521A4, 0, 0},
        {"length cut off", "02 82 01", false, 0x10652198, 0, 0},
        {"missing end-of-contents: the view left past the content", "02 80 05 07", false, 0x1065219B, 3, 0},
        {"optional element found absent: status 0", "04 01 05", true, 0, 0, 0},
    };
    for (const HookCase& c : cases) {
        SCOPED_TRACE(c.name);
        if (c.optional) p.set_optional(1);
        g_hooks = HookLog();
        auto in = hex(c.hex);
        qb_r_buffer_t r = view_of(in);
        EXPECT_EQ(p.asnread(r), c.status);
        EXPECT_EQ(g_hooks.pre.calls, 1);
        EXPECT_EQ(g_hooks.post.calls, 1);
        EXPECT_EQ(g_hooks.pre.obj, &p);
        EXPECT_EQ(g_hooks.post.obj, &p);
        EXPECT_EQ(g_hooks.pre.view, &r);
        EXPECT_EQ(g_hooks.post.view, &r);
        EXPECT_EQ(g_hooks.pre.cursor, in.data());
        EXPECT_EQ(g_hooks.pre.remaining, in.size());
        EXPECT_EQ(g_hooks.pre.present, 0);
        EXPECT_EQ(g_hooks.post.cursor, in.data() + c.post_at);
        EXPECT_EQ(g_hooks.post.remaining, in.size() - c.post_at);
        EXPECT_EQ(g_hooks.post.present, c.post_present);
        EXPECT_EQ(g_hooks.post_status, static_cast<int>(c.status));
    }
}

TEST(QbAsnObject, AsnreadWithTheConcretePrimitives) {
    {
        qb_asn_integer i(security_off);
        auto in = hex("02 01 05");
        qb_r_buffer_t r = view_of(in);
        EXPECT_EQ(i.asnread(r), 0u);
        EXPECT_EQ(int_value(i), 5);
    }
    {
        qb_asn_integer i(security_off);
        auto in = hex("22 03 02 01 05");  // INTEGER permits only the primitive form
        EXPECT_TRUE(reads(i, in, 0x1065219Eu, 0));
    }
    {
        qb_asn_integer i(security_off);
        EXPECT_TRUE(reads(i, "02 80 05 00 00", 0x1065219Du, 0));
    }
    {
        qb_asn_boolean b(security_off);
        auto in = hex("01 02 FF FF");  // content of two octets
        EXPECT_TRUE(reads(b, in, 0x1065219Bu, 0));
        EXPECT_EQ(b.is_present(), 0);
    }
    {
        qb_asn_octetstring os(security_off);
        EXPECT_TRUE(reads(os, "24 03 04 01 AA", 0x1065219Eu, 0));
    }
    {
        qb_asn_null n(security_off);
        EXPECT_TRUE(reads(n, "05 01 00", 0x1065219Bu, 0));
    }
}

// ---- invalidation ----

// A three-level tree: root { mid { i, b, os, bs, nb } }.
struct Tree3 {
    qb_asn_sequence root{security_off};
    qb_asn_sequence mid{security_off};
    qb_asn_integer i{security_off};
    qb_asn_boolean b{security_off};
    qb_asn_octetstring os{security_off};
    qb_asn_bitstring bs{security_off};
    qb_asn_namedbits nb{security_off};
    Tree3() {
        register_all(mid, {&i, &b, &os, &bs, &nb});
        root.register_child(&mid);
        i.set_value(5L);
        b.set_value(1);
        const unsigned char aa = 0xAA;
        os.set_value(&aa, 1);
        const unsigned char f0 = 0xF0;
        bs.set_value(&f0, 8);
        nb.set_bit(0, 1);
    }
    std::vector<unsigned char> write() {
        qb_buffer_t out(security_off);
        EXPECT_EQ(root.asnwrite(out), 0u);
        return bytes_of(out);
    }
    // cached: which encodings are valid, as "root mid i b" flags.
    std::string cached() const {
        std::string flags;
        for (const qb_asn_object* o : {static_cast<const qb_asn_object*>(&root), static_cast<const qb_asn_object*>(&mid),
                                       static_cast<const qb_asn_object*>(&i), static_cast<const qb_asn_object*>(&b)})
            flags += o->is_encoding_valid() ? '1' : '0';
        return flags;
    }
};

TEST(QbAsnObject, InvalidateEncodingWalksToTheRoot) {
    Tree3 t;
    EXPECT_EQ(t.write(), hex("30 13 30 11 02 01 05 01 01 FF 04 01 AA 03 02 00 F0 03 02 07 80"));
    ASSERT_EQ(t.cached(), "1111");
    t.i.invalidate_encoding();
    // root, mid and i stale; the sibling b is not touched.
    EXPECT_EQ(t.cached(), "0001");
    // Rebuilding gives the same bytes.
    EXPECT_EQ(t.write(), hex("30 13 30 11 02 01 05 01 01 FF 04 01 AA 03 02 00 F0 03 02 07 80"));
}

TEST(QbAsnObject, InvalidateEncodingDoesNotWalkDown) {
    Tree3 t;
    t.write();
    t.mid.invalidate_encoding();
    EXPECT_EQ(t.cached(), "0011");
}

TEST(QbAsnObject, TypedSettersInvalidateUpToTheRoot) {
    Tree3 t;
    const unsigned char bb = 0xBB;
    const unsigned char zero = 0x0F;
    const std::pair<const char*, std::function<void()>> setters[] = {
        {"INTEGER", [&] { t.i.set_value(6L); }},
        {"BOOLEAN", [&] { t.b.set_value(0); }},
        {"OCTET STRING", [&] { t.os.set_value(&bb, 1); }},
        {"BIT STRING", [&] { t.bs.set_value(&zero, 8); }},
        {"named bits", [&] { t.nb.set_bit(1, 1); }},
    };
    for (const auto& [name, set] : setters) {
        SCOPED_TRACE(name);
        t.write();
        set();
        EXPECT_EQ(t.mid.is_encoding_valid(), 0);
        EXPECT_EQ(t.root.is_encoding_valid(), 0);
    }
    // The parent re-encodes every change.
    EXPECT_EQ(t.write(), hex("30 13 30 11 02 01 06 01 01 00 04 01 BB 03 02 00 0F 03 02 06 C0"));
}

TEST(QbAsnObject, SetTagAndClassInvalidateOnlyAValidEncoding) {
    Tree3 t;
    t.write();
    t.i.set_tag(2);
    EXPECT_EQ(t.root.is_encoding_valid(), 0);
    t.write();
    t.i.set_class(0);
    EXPECT_EQ(t.root.is_encoding_valid(), 0);
    t.write();
    // The child's own cache already stale: nothing is walked.
    t.b.encoding_valid = 0;
    t.b.set_tag(1);
    EXPECT_EQ(t.root.is_encoding_valid(), 1);
    t.b.set_class(0);
    EXPECT_EQ(t.root.is_encoding_valid(), 1);
    EXPECT_EQ(t.b.get_tag(), 1u);
}

TEST(QbAsnObject, InvalidateValueKinds) {
    qb_test::spy_sequence root;
    qb_test::spy_sequence parent;
    Probe p(2, 0);
    p.content = hex("05");
    parent.register_child(&p);
    root.register_child(&parent);

    auto prepare = [&] {
        p.set_value_valid();
        qb_buffer_t out(security_off);
        ASSERT_EQ(root.asnwrite(out), 0u);
        ASSERT_EQ(root.is_encoding_valid(), 1);
        parent.checks = 0;
        root.checks = 0;
    };

    // Every kind leaves the probe absent and the encodings up to the root
    // stale; only the local kind spares the parent a re-check.
    for (const invalidate_t kind : {invalidate_local, invalidate_upward, invalidate_full}) {
        SCOPED_TRACE(static_cast<int>(kind));
        prepare();
        p.invalidate_value(kind);
        EXPECT_EQ(p.is_present(), 0);
        EXPECT_EQ(p.is_encoding_valid(), 0);
        EXPECT_EQ(parent.is_encoding_valid(), 0);
        EXPECT_EQ(root.is_encoding_valid(), 0);
        if (kind == invalidate_local) {
            EXPECT_EQ(parent.checks, 0);
        } else {
            EXPECT_GE(parent.checks, 1);
            EXPECT_EQ(parent.last_arg, 0);
        }
    }
}

TEST(QbAsnObject, SetValueValidAsksTheParent) {
    qb_test::spy_sequence parent;
    Probe p(2, 0);
    parent.register_child(&p);
    ASSERT_EQ(parent.is_present(), 0);
    parent.checks = 0;
    p.set_value_valid();
    EXPECT_EQ(p.is_present(), 1);
    EXPECT_GE(parent.checks, 1);
    EXPECT_EQ(parent.last_arg, 0);
    EXPECT_EQ(parent.is_present(), 1);
}

TEST(QbAsnObject, EmptyClearsTheValueAndAsksTheParent) {
    qb_test::spy_sequence parent;
    Probe p(2, 0);
    parent.register_child(&p);
    p.set_value_valid();
    ASSERT_EQ(parent.is_present(), 1);
    parent.checks = 0;
    EXPECT_EQ(p.empty(), 0u);
    EXPECT_EQ(p.emptyi_calls, 1);
    EXPECT_EQ(p.is_present(), 0);
    EXPECT_GE(parent.checks, 1);
    EXPECT_EQ(parent.is_present(), 0);

    qb_asn_integer i(security_off);
    i.set_value(4L);
    EXPECT_EQ(i.empty(), 0u);
    EXPECT_EQ(i.is_present(), 0);
    long v = 0;
    EXPECT_EQ(i.get_value(v), 0x106521A0u);
}

// ---- default values ----

TEST(QbAsnObject, SetDefaultValueTakesOwnership) {
    Counted::destroyed.clear();
    {
        Probe obj(2, 0);
        auto* d1 = new Counted(1);
        auto* d2 = new Counted(2);
        EXPECT_EQ(obj.set_default_value(d1), 0u);
        EXPECT_EQ(obj.get_default_value(), d1);
        EXPECT_EQ(d1->get_parent(), &obj);
        EXPECT_EQ(obj.is_defaultable(), 1);
        EXPECT_TRUE(Counted::destroyed.empty());
        // Replacing deletes the previous default.
        EXPECT_EQ(obj.set_default_value(d2), 0u);
        EXPECT_EQ(Counted::destroyed, std::vector<int>{1});
        EXPECT_EQ(obj.get_default_value(), d2);
        EXPECT_EQ(d2->get_parent(), &obj);
        EXPECT_EQ(obj.is_defaultable(), 1);
    }
    // The object deletes its default with itself.
    EXPECT_EQ(Counted::destroyed, (std::vector<int>{1, 2}));

    // The typed forms replace their own defaults too (a leak shows under LeakSanitizer).
    qb_asn_integer i(security_off);
    i.set_default_value(1L);
    i.set_default_value(2L);
    EXPECT_EQ(int_value(i), 2);
}

TEST(QbAsnObject, SetDefaultValueNullLeavesNotDefaultable) {
    Counted::destroyed.clear();
    Probe obj(2, 0);
    obj.set_default_value(new Counted(7));
    ASSERT_EQ(obj.is_defaultable(), 1);
    EXPECT_EQ(obj.set_default_value(nullptr), 0u);
    EXPECT_EQ(Counted::destroyed, std::vector<int>{7});
    EXPECT_EQ(obj.is_defaultable(), 0);
    EXPECT_EQ(obj.get_default_value(), nullptr);
    EXPECT_EQ(obj.is_valid(0), 0);
}

TEST(QbAsnObject, SetDefaultValueInvalidatesTheEncoding) {
    qb_test::in_sequence<qb_asn_integer> tree;
    auto& [seq, i] = tree;
    i.set_value(3L);
    qb_buffer_t out(security_off);
    ASSERT_EQ(seq.asnwrite(out), 0u);
    ASSERT_EQ(seq.is_encoding_valid(), 1);
    i.set_default_value(3L);
    EXPECT_EQ(i.is_encoding_valid(), 0);
    EXPECT_EQ(seq.is_encoding_valid(), 0);
    // Now equal to its default: left out.
    out.clear();
    EXPECT_EQ(seq.asnwrite(out), 0u);
    EXPECT_EQ(bytes_of(out), hex("30 00"));
}

TEST(QbAsnObject, IsDefaultValue) {
    qb_asn_integer plain(security_off);
    plain.set_value(7L);
    EXPECT_EQ(plain.is_default_value(), 0);  // not defaultable

    qb_asn_integer i(security_off);
    i.set_default_value(7L);
    EXPECT_EQ(i.is_default_value(), 1);  // absent
    i.set_value(7L);
    EXPECT_EQ(i.is_default_value(), 1);
    i.set_value(8L);
    EXPECT_EQ(i.is_default_value(), 0);
    const unsigned char padded[] = {0x00, 0x07};
    i.set_value(padded, 2);
    EXPECT_EQ(i.is_default_value(), 0);  // the content octets are compared

    // Own encoding failing: the answer is 0.
    Probe p(2, 0);
    auto* d = new Probe;
    d->configure(2, 0);
    d->content = hex("05");
    d->set_value_valid();
    p.set_default_value(d);
    p.content = hex("05");
    p.set_value_valid();
    EXPECT_EQ(p.is_default_value(), 1);
    p.encode_status = 0x1065219B;
    p.invalidate_encoding();
    EXPECT_EQ(p.is_default_value(), 0);
}

// ---- comparison ----

TEST(QbAsnObject, OperatorEqualsComparesFrames) {
    qb_asn_integer a(security_off), b(security_off);
    a.set_value(5L);
    b.set_value(5L);
    EXPECT_TRUE(a == b);
    b.set_value(6L);
    EXPECT_FALSE(a == b);

    Probe p;  // another class writing the same frame
    p.configure(2, 0);
    p.content = hex("05");
    p.set_value_valid();
    EXPECT_TRUE(a == p);
    EXPECT_TRUE(p == a);

    qb_asn_octetstring os(security_off);
    const unsigned char five = 0x05;
    os.set_value(&five, 1);
    EXPECT_FALSE(a == os);  // other identifier

    // Write failures are not reported: both write nothing, so they compare equal.
    qb_asn_integer absent1(security_off), absent2(security_off);
    absent2.set_optional(1);
    EXPECT_TRUE(absent1 == absent2);
    EXPECT_FALSE(absent1 == a);
}

// ---- dumps ----

TEST(QbAsnObject, DisplayPresent) {
    Probe p(2, 0);
    p.set_value_valid();
    qb_buffer_t out(security_off);
    out.append("x");
    EXPECT_EQ(p.display(out), 0u);
    EXPECT_EQ(text_of(out), "xOBJECT(tag=2, class=0)");

    Probe q(16384, 2);
    q.set_value_valid();
    EXPECT_EQ(display_text(q), "OBJECT(tag=16384, class=2)");

    qb_asn_integer i(security_off);
    i.set_value(1L);
    EXPECT_EQ(display_text(i), "OBJECT(tag=2, class=0)");
}

TEST(QbAsnObject, DisplayAbsentDefaultable) {
    qb_asn_integer i(security_off);
    i.set_tag(3);
    i.set_class(2);
    i.set_default_value(7L);
    EXPECT_EQ(display_text(i), "Default:OBJECT(tag=3, class=2)");

    // The default's own answer is returned.
    Probe p(2, 0);
    auto* d = new Probe;  // absent, no default of its own
    d->configure(2, 0);
    p.set_default_value(d);
    EXPECT_EQ(display_text(p, 0x106521A0u), "Default:");
}

TEST(QbAsnObject, DisplayAbsentMandatory) {
    Probe p(2, 0);
    qb_buffer_t out(security_off);
    out.append("x");
    EXPECT_EQ(p.display(out), 0x106521A0u);
    EXPECT_EQ(text_of(out), "x");
}

TEST(QbAsnObject, DisplayStateFlagsIndents) {
    Probe p;
    {
        qb_buffer_t out(security_off);
        EXPECT_EQ(p.display_state_flags(out, 2), 0u);
        EXPECT_EQ(text_of(out),
                  "  OBJECT(valid=N, present=N, optional=N, defaultable=N, enc_valid=N)\n");
    }
    {
        qb_buffer_t out(security_off);
        EXPECT_EQ(p.display_state_flags(out, 0), 0u);
        EXPECT_EQ(text_of(out),
                  "OBJECT(valid=N, present=N, optional=N, defaultable=N, enc_valid=N)\n");
    }
    {
        qb_buffer_t out(security_off);
        EXPECT_EQ(p.display_state_flags(out, -1), 0u);
        EXPECT_EQ(text_of(out),
                  "OBJECT(valid=N, present=N, optional=N, defaultable=N, enc_valid=N)\n");
    }
    {
        qb_buffer_t out(security_off);
        out.append("x");
        EXPECT_EQ(p.display_state_flags(out, 5), 0u);
        EXPECT_EQ(text_of(out),
                  "x     OBJECT(valid=N, present=N, optional=N, defaultable=N, enc_valid=N)\n");
    }
}

TEST(QbAsnObject, DisplayStateFlagsReflectTheState) {
    qb_asn_integer i(security_off);
    i.set_value(5L);
    qb_buffer_t out(security_off);
    EXPECT_EQ(i.display_state_flags(out, 0), 0u);
    EXPECT_EQ(text_of(out),
              "INTEGER(valid=Y, present=Y, optional=N, defaultable=N, enc_valid=Y)\n");

    qb_asn_boolean b(security_off);
    b.set_optional(1);
    out.clear();
    b.display_state_flags(out, 1);
    EXPECT_EQ(text_of(out),
              " BOOLEAN(valid=Y, present=N, optional=Y, defaultable=N, enc_valid=N)\n");

    qb_asn_integer d(security_off);
    d.set_default_value(1L);
    out.clear();
    d.display_state_flags(out, 0);
    EXPECT_EQ(text_of(out),
              "INTEGER(valid=Y, present=N, optional=N, defaultable=Y, enc_valid=N)\n");
}

// ---- setters ----

TEST(QbAsnObject, SetOptionalInvalidates) {
    qb_asn_sequence root(security_off), mid(security_off);
    qb_asn_integer i(security_off);
    mid.register_child(&i);
    root.register_child(&mid);
    i.set_value(5L);
    qb_buffer_t out(security_off);
    ASSERT_EQ(root.asnwrite(out), 0u);
    ASSERT_EQ(root.is_encoding_valid(), 1);
    EXPECT_EQ(i.set_optional(1), 0u);
    EXPECT_EQ(i.is_optional(), 1);
    EXPECT_EQ(i.is_present(), 1);  // the value stays
    EXPECT_EQ(i.is_encoding_valid(), 0);
    EXPECT_EQ(mid.is_encoding_valid(), 0);
    EXPECT_EQ(root.is_encoding_valid(), 0);
    out.clear();
    ASSERT_EQ(root.asnwrite(out), 0u);
    EXPECT_EQ(bytes_of(out), hex("30 05 30 03 02 01 05"));
    // Setting the same value again still invalidates.
    EXPECT_EQ(i.set_optional(1), 0u);
    EXPECT_EQ(root.is_encoding_valid(), 0);
    EXPECT_EQ(i.set_optional(0), 0u);
    EXPECT_EQ(i.is_optional(), 0);
}

TEST(QbAsnObject, SetSecureReachesTheCacheBuffer) {
    Probe p(security_off);
    p.set_secure(security_on);
    EXPECT_EQ(p.security, security_on);
    EXPECT_EQ(p.encoding.security, security_on);
    p.set_secure(security_lcs);
    EXPECT_EQ(p.security, security_lcs);
    EXPECT_EQ(p.encoding.security, security_lcs);
    p.set_secure(security_off);
    EXPECT_EQ(p.encoding.security, security_off);

    qb_asn_integer i(security_off);
    i.set_secure(security_on);
    EXPECT_EQ(i.encoding.security, security_on);
    EXPECT_EQ(i.secure, security_on);
}

TEST(QbAsnObject, IsValidRule) {
    Probe p(2, 0);
    EXPECT_EQ(p.is_valid(0), 0);
    EXPECT_EQ(p.is_valid(1), 0);
    p.set_optional(1);
    EXPECT_NE(p.is_valid(0), 0);
    p.set_optional(0);
    p.set_value_valid();
    EXPECT_NE(p.is_valid(0), 0);
    p.invalidate_value(invalidate_local);
    EXPECT_EQ(p.is_valid(0), 0);
    qb_asn_integer i(security_off);
    i.set_default_value(1L);
    EXPECT_NE(i.is_valid(0), 0);
}

TEST(QbAsnObject, CheckEncodeFlagsBase) {
    Probe p(2, 0, hex("05"));
    EXPECT_EQ(p.check_encode_flags(0), 1);
    EXPECT_EQ(p.check_encode_flags(1), 0);
    ASSERT_EQ(p.get_encoding(), 0u);
    EXPECT_EQ(p.check_encode_flags(1), 1);
    EXPECT_EQ(p.check_encode_flags(0), 0);
    EXPECT_EQ(p.check_encode_flags(), 1);
}

// ---- nesting bound ----

// A chain of sequences, each holding the next as an optional child.
struct SequenceChain {
    std::vector<std::unique_ptr<qb_asn_sequence>> links;
    explicit SequenceChain(unsigned int depth) {
        for (unsigned int k = 0; k < depth; ++k)
            links.push_back(std::make_unique<qb_asn_sequence>(security_off));
        for (unsigned int k = 1; k < depth; ++k) {
            links[k]->set_optional(1);
            links[k - 1]->register_child(links[k].get());
        }
    }
    ~SequenceChain() {
        while (!links.empty()) links.pop_back();  // innermost first
    }
    SequenceChain(const SequenceChain&) = delete;
    SequenceChain& operator=(const SequenceChain&) = delete;
};

// `levels` empty sequences, each inside the previous: 30 .. 30 .. 30 00.
std::vector<unsigned char> nested_sequences(unsigned int levels) {
    std::vector<unsigned char> v = hex("30 00");
    for (unsigned int k = 1; k < levels; ++k) v = frame_of(0x30, v);
    return v;
}

TEST(QbAsnObject, NestingOf256SequencesIsRead) {
    SequenceChain chain(260);
    auto in = nested_sequences(256);
    qb_r_buffer_t r = view_of(in);
    EXPECT_EQ(chain.links[0]->asnread(r), 0u);
    EXPECT_TRUE(view_at(r, in, in.size()));
    EXPECT_EQ(chain.links[0]->is_present(), 1);
    EXPECT_EQ(chain.links[255]->is_present(), 1);
    EXPECT_EQ(chain.links[256]->is_present(), 0);
    // Written back, the same 256 levels.
    qb_buffer_t out(security_off);
    EXPECT_EQ(chain.links[0]->asnwrite(out), 0u);
    EXPECT_EQ(bytes_of(out), in);
}

TEST(QbAsnObject, NestingOf257SequencesIsRefused) {
    SequenceChain chain(260);
    auto in = nested_sequences(257);
    qb_r_buffer_t r = view_of(in);
    EXPECT_EQ(chain.links[0]->asnread(r), 0x1065219Bu);
    EXPECT_TRUE(view_at(r, in, 0));
    EXPECT_EQ(chain.links[0]->is_present(), 0);
    // The bound is per read: the next read of 256 levels succeeds.
    auto ok = nested_sequences(256);
    qb_r_buffer_t r2 = view_of(ok);
    EXPECT_EQ(chain.links[0]->asnread(r2), 0u);
    EXPECT_TRUE(view_at(r2, ok, ok.size()));
    // And deeper input is refused as well.
    auto deeper = nested_sequences(300);
    SequenceChain long_chain(310);
    qb_r_buffer_t r3 = view_of(deeper);
    EXPECT_EQ(long_chain.links[0]->asnread(r3), 0x1065219Bu);
    EXPECT_TRUE(view_at(r3, deeper, 0));
}

// Reads 256 and then 257 nested levels on a thread with a 512 KiB stack: the
// bounded reader stays well inside it.
struct SmallStackRun {
    unsigned int status256 = 1;
    unsigned int status257 = 1;
};

void* read_nested_on_small_stack(void* arg) {
    auto* run = static_cast<SmallStackRun*>(arg);
    SequenceChain chain(260);
    auto ok = nested_sequences(256);
    qb_r_buffer_t r = view_of(ok);
    run->status256 = chain.links[0]->asnread(r);
    auto deep = nested_sequences(257);
    qb_r_buffer_t r2 = view_of(deep);
    run->status257 = chain.links[0]->asnread(r2);
    return nullptr;
}

TEST(QbAsnObject, NestingBoundHoldsOnASmallStack) {
    SmallStackRun run;
    pthread_attr_t attr;
    ASSERT_EQ(pthread_attr_init(&attr), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attr, 512 * 1024), 0);
    pthread_t thread;
    ASSERT_EQ(pthread_create(&thread, &attr, read_nested_on_small_stack, &run), 0);
    ASSERT_EQ(pthread_join(thread, nullptr), 0);
    pthread_attr_destroy(&attr);
    EXPECT_EQ(run.status256, 0u);
    EXPECT_EQ(run.status257, 0x1065219Bu);
}

}  // namespace
