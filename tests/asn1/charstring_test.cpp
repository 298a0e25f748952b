// tests/asn1/charstring_test.cpp - the string objects keyed by code set.
//
// Covers construction (type names, tags, code sets), the accepted and
// preferred code sets of every class for every number 0..40, relabelling
// through set_codeset/set_tag, every typed setter and getter, the
// uninterpreted setter, set_value_C/set_value_IA5 with their search order,
// get_value_C with its substitution octet, the routing table of the
// in-place and constant conversions cell by cell (with the deliberate
// asymmetries), the directory string's check_type, set_preferred_codeset and
// normalize, encoding and decoding with tag = code set, and parents losing
// their cached encoding when a string changes.
#include <gtest/gtest.h>

#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "asn1/asnstrng.h"
#include "support/buffers.h"
#include "support/failing_malloc.h"
#include "support/frames.h"
#include "support/hex.h"
#include "support/probes.h"
#include "support/reencode.h"

namespace {

using Bytes = std::vector<unsigned char>;
using qb_test::bytes_of, qb_test::expect_change_reencodes, qb_test::read_frame, qb_test::register_all, qb_test::value_of, qb_test::write_bytes,
      qb_test::write_frame;

// Stores raw octets and labels them with a code set (the directory string
// accepts all seven, so it can hold a value of any code set).
void hold(qb_asn_charstring& s, unsigned int cs, const char* hex_text) {
    Bytes b = hex(hex_text);
    ASSERT_EQ(s.set_value_uninterpreted(b.data(), static_cast<unsigned int>(b.size())), 0u);
    ASSERT_EQ(s.set_codeset(cs), 0u);
}

// Directory: a directory string holding the octets `hex_text` under code set `cs`.
struct Directory : qb_asn_directoryString {
    Directory(unsigned int cs, const char* hex_text) : qb_asn_directoryString(security_off) { hold(*this, cs, hex_text); }
};

// expect_holds: `s` holds the octets `hex_text` under code set `cs`.
void expect_holds(const qb_asn_charstring& s, unsigned int cs, const char* hex_text) {
    EXPECT_EQ(s.get_codeset(), cs);
    EXPECT_EQ(value_of(s), hex(hex_text));
}

// Rows of the tables below: an input (text, or a frame in hex) with the code
// set it ends up under and the octets held then; octets under a code set.
struct InputCase {
    const char* input;
    unsigned int cs;
    const char* octets;
};

struct CodedOctets {
    unsigned int cs;
    const char* octets;
};

// EveryClass: a fresh object of each string class, security off.
struct EveryClass {
    qb_asn_charstring bare{security_off};
    qb_asn_ia5String ia5{security_off};
    qb_asn_printableString printable{security_off};
    qb_asn_visibleString visible{security_off};
    qb_asn_teletexString teletex{security_off};
    qb_asn_bmpString bmp{security_off};
    qb_asn_universalString universal{security_off};
    qb_asn_UTF8String utf8{security_off};
    qb_asn_directoryString dir{security_off};
};

// expect_empty_value: `s` holds a present, empty value under code set `cs`
// and writes the frame `frame_hex`.
void expect_empty_value(const qb_asn_charstring& s, unsigned int cs, const char* frame_hex) {
    EXPECT_EQ(value_of(s), Bytes{});
    EXPECT_EQ(s.get_codeset(), cs);
    EXPECT_EQ(s.is_present(), 1);
    EXPECT_EQ(write_bytes(s), hex(frame_hex));
}

// expect_refused_keeps: `change` fails with 0x106521AB on a directory string
// holding `hex_text` under code set `cs`, which still holds it afterwards.
template <class Change>
void expect_refused_keeps(unsigned int cs, const char* hex_text, Change change) {
    Directory s(cs, hex_text);
    EXPECT_EQ(change(s), 0x106521ABu);
    expect_holds(s, cs, hex_text);
}

// A string class whose accepted and preferred code sets a test chooses.
class ChosenSets : public qb_asn_charstring {
public:
    ChosenSets(std::initializer_list<unsigned int> accepted, std::initializer_list<unsigned int> preferred)
        : qb_asn_charstring(security_off) {
        for (unsigned int cs : accepted) accepted_ |= 1ull << cs;
        for (unsigned int cs : preferred) preferred_ |= 1ull << cs;
    }
    int check_accepted_codeset(unsigned int cs) const override { return cs < 64 && ((accepted_ >> cs) & 1); }
    int check_preferred_codeset(unsigned int cs) const override { return cs < 64 && ((preferred_ >> cs) & 1); }

private:
    unsigned long long accepted_ = 0;
    unsigned long long preferred_ = 0;
};

constexpr unsigned int kAbsent = 0x106521A0;
constexpr unsigned int kOk = 0;
constexpr unsigned int kConv = 0x106521AB;
constexpr unsigned int kRejected = 0x106521AC;
constexpr unsigned int kNoElement = 0x1065219C;

// ---- construction ----

TEST(Charstring, constructors_set_name_tag_class_and_codeset) {
    // Every class starts absent, its tag equal to its code set; the bare class
    // and the directory string start without a code set, under the tag of
    // the octet string they derive from.
    const EveryClass o;
    struct Case {
        const qb_asn_charstring* s;
        const char* name;
        unsigned int cs, tag;
        int polymorphic;
    };
    const Case cases[] = {
        {&o.ia5, "IA5String", 22, 22, 0},         {&o.printable, "PrintableString", 19, 19, 0},
        {&o.visible, "VisibleString", 26, 26, 0}, {&o.teletex, "TeletexString", 20, 20, 0},
        {&o.bmp, "BMPString", 30, 30, 0},         {&o.universal, "UniversalString", 28, 28, 0},
        {&o.utf8, "UTF8string", 12, 12, 0},       {&o.bare, "CharacterString", 0, 4, 1},
        {&o.dir, "DirectoryString", 0, 4, 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_STREQ(c.s->get_type_name(), c.name);
        EXPECT_EQ(c.s->get_codeset(), c.cs);
        EXPECT_EQ(c.s->codeset, c.cs);
        EXPECT_EQ(c.s->get_tag(), c.tag);
        EXPECT_EQ(c.s->get_class(), 0);
        EXPECT_EQ(c.s->preferred_codeset, 0u);
        EXPECT_EQ(c.s->is_polymorphic(), c.polymorphic);
        EXPECT_EQ(c.s->is_present(), 0);
    }
}

TEST(Charstring, accepted_and_preferred_codesets_of_every_class) {
    const EveryClass o;
    struct Case {
        const char* name;
        const qb_asn_charstring* s;
        std::vector<unsigned int> accepted;
        std::vector<unsigned int> preferred;
    };
    const Case cases[] = {
        {"charstring", &o.bare, {}, {}},
        {"ia5", &o.ia5, {22}, {22}},
        {"printable", &o.printable, {19}, {19}},
        {"visible", &o.visible, {26}, {26}},
        {"teletex", &o.teletex, {20}, {20}},
        {"bmp", &o.bmp, {30}, {30}},
        {"universal", &o.universal, {28}, {28}},
        {"utf8", &o.utf8, {12}, {12}},
        {"directory", &o.dir, {12, 19, 20, 22, 26, 28, 30}, {12, 19, 20, 28}},
    };
    for (const Case& c : cases) {
        for (unsigned int cs = 0; cs <= 40; ++cs) {
            SCOPED_TRACE(std::string(c.name) + " code set " + std::to_string(cs));
            bool acc = false;
            for (unsigned int a : c.accepted) acc = acc || a == cs;
            bool pref = false;
            for (unsigned int p : c.preferred) pref = pref || p == cs;
            EXPECT_EQ(c.s->check_accepted_codeset(cs) != 0, acc);
            EXPECT_EQ(c.s->check_preferred_codeset(cs) != 0, pref);
        }
    }
}

TEST(Charstring, bare_charstring_preferred_follows_accepted) {
    // The base's preference asks the (virtual) acceptance test.
    ChosenSets s({19, 30}, {});
    EXPECT_EQ(s.qb_asn_charstring::check_preferred_codeset(19), 1);
    EXPECT_EQ(s.qb_asn_charstring::check_preferred_codeset(30), 1);
    EXPECT_EQ(s.qb_asn_charstring::check_preferred_codeset(22), 0);
}

// ---- set_codeset / set_tag ----

TEST(Charstring, set_codeset_relabels_without_converting) {
    Directory dir(22, "61 E9");
    EXPECT_EQ(dir.set_codeset(30), 0u);
    EXPECT_EQ(dir.get_codeset(), 30u);
    EXPECT_EQ(dir.get_tag(), 30u);
    EXPECT_EQ(dir.get_class(), 0);
    EXPECT_EQ(value_of(dir), hex("61 E9"));
    EXPECT_EQ(write_bytes(dir), hex("1E 02 61 E9"));
}

TEST(Charstring, set_codeset_refused_changes_nothing) {
    qb_asn_printableString p(security_off);
    ASSERT_EQ(p.set_value_printable("ab"), 0u);
    ASSERT_EQ(write_frame(p).rc, 0u);
    ASSERT_EQ(p.is_encoding_valid(), 1);
    EXPECT_EQ(p.set_codeset(22), kRejected);
    EXPECT_EQ(p.get_codeset(), 19u);
    EXPECT_EQ(p.get_tag(), 19u);
    EXPECT_EQ(p.is_encoding_valid(), 1);
    EXPECT_EQ(value_of(p), hex("61 62"));
}

TEST(Charstring, set_codeset_invalidates_up_to_the_root) {
    qb_test::nested<qb_asn_directoryString> tree;
    ASSERT_EQ(tree.leaf.set_value_printable("ab"), 0u);
    expect_change_reencodes(tree.outer, "30 06 30 04 13 02 61 62", [&] { return tree.leaf.set_codeset(22); },
                            "30 06 30 04 16 02 61 62", {&tree.inner});
}

TEST(Charstring, set_tag_goes_through_set_codeset) {
    qb_asn_printableString p(security_off);
    EXPECT_EQ(p.set_tag(22), kRejected);
    EXPECT_EQ(p.get_tag(), 19u);
    EXPECT_EQ(p.set_tag(19), 0u);

    qb_asn_directoryString dir(security_off);
    EXPECT_EQ(dir.set_tag(26), 0u);
    EXPECT_EQ(dir.get_codeset(), 26u);
    EXPECT_EQ(dir.get_tag(), 26u);
    EXPECT_EQ(dir.set_tag(4), kRejected);
    EXPECT_EQ(dir.get_tag(), 26u);

    qb_asn_charstring bare(security_off);
    EXPECT_EQ(bare.set_tag(12), kRejected);
    EXPECT_EQ(bare.get_codeset(), 0u);
}

TEST(DirectoryString, set_codeset_visible_is_accepted) {
    qb_asn_directoryString dir(security_off);
    EXPECT_EQ(dir.set_codeset(26), 0u);
    EXPECT_EQ(dir.get_codeset(), 26u);
    EXPECT_EQ(dir.get_tag(), 26u);
}

// ---- typed setters ----

enum class Setter { printable, visible, t61, utf8, bmp, univ, printable_r, visible_r, t61_r, utf8_r, bmp_r, univ_r };

// A typed setter in its two forms: from text or units, storing `stored`,
// and from a view, storing the view's octets unchecked.
struct SetterCase {
    const char* name;
    Setter text_form, view_form;
    unsigned int cs;
    const char* stored;  // hex of the octets the text form stores from the inputs below
};

// Inputs: the text "a=b" for the char* forms, units {0x0061, 0x20AC} for
// set_value_BMP, the view "00 00 00 61" for the view forms.
const SetterCase kSetters[] = {
    {"printable", Setter::printable, Setter::printable_r, 19, "61 3D 62"},
    {"visible", Setter::visible, Setter::visible_r, 26, "61 3D 62"},
    {"T61", Setter::t61, Setter::t61_r, 20, "61 3D 62"},
    {"UTF8", Setter::utf8, Setter::utf8_r, 12, "61 3D 62"},
    {"BMP", Setter::bmp, Setter::bmp_r, 30, "00 61 20 AC"},
    {"Univ", Setter::univ, Setter::univ_r, 28, ""},
};

// One form of a setter, with what it stores.
struct SetterForm {
    std::string name;
    Setter setter;
    unsigned int cs;
    const char* stored;
};

// every_setter_form: both forms of every setter of kSetters.
std::vector<SetterForm> every_setter_form() {
    std::vector<SetterForm> forms;
    for (const SetterCase& c : kSetters) {
        forms.push_back({c.name, c.text_form, c.cs, c.stored});
        forms.push_back({std::string(c.name) + " view", c.view_form, c.cs, "00 00 00 61"});
    }
    return forms;
}

unsigned int apply(qb_asn_charstring& s, Setter which) {
    static const unsigned short units[] = {0x0061, 0x20AC, 0};
    static const unsigned int chars[] = {0x61, 0x20AC, 0};
    unsigned char view_octets[] = {0x00, 0x00, 0x00, 0x61};
    qb_r_buffer_t v(view_octets, 4);
    switch (which) {
        case Setter::printable: return s.set_value_printable("a=b");
        case Setter::visible: return s.set_value_visible("a=b");
        case Setter::t61: return s.set_value_T61("a=b");
        case Setter::utf8: return s.set_value_UTF8("a=b");
        case Setter::bmp: return s.set_value_BMP(units);
        case Setter::univ: return s.set_value_Univ(chars);
        case Setter::printable_r: return s.set_value_printable(v);
        case Setter::visible_r: return s.set_value_visible(v);
        case Setter::t61_r: return s.set_value_T61(v);
        case Setter::utf8_r: return s.set_value_UTF8(v);
        case Setter::bmp_r: return s.set_value_BMP(v);
        case Setter::univ_r: return s.set_value_Univ(v);
    }
    return 0;
}

TEST(Charstring, typed_setters_on_every_class) {
    for (const SetterForm& c : every_setter_form()) {
        EveryClass o;
        qb_asn_charstring* all[] = {&o.bare, &o.ia5,       &o.printable, &o.visible, &o.teletex,
                                    &o.bmp,  &o.universal, &o.utf8,      &o.dir};
        for (qb_asn_charstring* s : all) {
            SCOPED_TRACE(c.name + " on " + s->get_type_name());
            // A value held before, to see that a refused setter keeps it.
            Bytes before = hex("7A 7A");
            ASSERT_EQ(s->set_value_uninterpreted(before.data(), 2), 0u);
            const unsigned int cs_before = s->get_codeset();
            const unsigned int rc = apply(*s, c.setter);
            if (s->check_accepted_codeset(c.cs)) {
                EXPECT_EQ(rc, 0u);
                EXPECT_EQ(value_of(*s), hex(c.stored));
                EXPECT_EQ(s->get_codeset(), c.cs);
                EXPECT_EQ(s->get_tag(), c.cs);
                EXPECT_EQ(s->is_present(), 1);
            } else {
                EXPECT_EQ(rc, kRejected);
                EXPECT_EQ(value_of(*s), before);
                EXPECT_EQ(s->get_codeset(), cs_before);
            }
        }
    }
}

TEST(Charstring, every_typed_setter_on_bare_charstring_is_refused) {
    for (const SetterForm& c : every_setter_form()) {
        SCOPED_TRACE(c.name);
        qb_asn_charstring bare(security_off);
        EXPECT_EQ(apply(bare, c.setter), kRejected);
        EXPECT_EQ(bare.is_present(), 0);
        EXPECT_EQ(bare.get_codeset(), 0u);
    }
}

TEST(Charstring, typed_setter_stores_octets_unchecked) {
    qb_asn_printableString p(security_off);
    EXPECT_EQ(p.set_value_printable("x_=\xE9"), 0u);  // none of these is Printable
    EXPECT_EQ(value_of(p), hex("78 5F 3D E9"));
    qb_asn_visibleString v(security_off);
    EXPECT_EQ(v.set_value_visible(""), 0u);
    EXPECT_EQ(value_of(v), Bytes{});
    EXPECT_EQ(v.is_present(), 1);
}

TEST(Charstring, set_value_BMP_stores_units_big_endian) {
    qb_asn_bmpString s(security_off);
    const unsigned short units[] = {0x0041, 0x20AC, 0xFFFE, 0x0100, 0};
    EXPECT_EQ(s.set_value_BMP(units), 0u);
    EXPECT_EQ(value_of(s), hex("00 41 20 AC FF FE 01 00"));
    EXPECT_EQ(write_bytes(s), hex("1E 08 00 41 20 AC FF FE 01 00"));
}

TEST(Charstring, set_value_BMP_first_unit_zero_stores_empty) {
    Directory s(22, "61");
    const unsigned short units[] = {0, 0x0041, 0};
    EXPECT_EQ(s.set_value_BMP(units), 0u);
    expect_empty_value(s, 30u, "1E 00");
}

TEST(Charstring, set_value_Univ_stores_empty_quirk) {
    Directory s(22, "61 62");
    const unsigned int chars[] = {0x41, 0x20AC, 0};
    EXPECT_EQ(s.set_value_Univ(chars), 0u);
    expect_empty_value(s, 28u, "1C 00");

    qb_asn_universalString u(security_off);
    EXPECT_EQ(u.set_value_Univ(static_cast<const unsigned int*>(nullptr)), 0u);
    EXPECT_EQ(value_of(u), Bytes{});
    EXPECT_EQ(u.is_present(), 1);
}

TEST(Charstring, typed_setter_with_null_text) {
    qb_asn_UTF8String s(security_off);
    ASSERT_EQ(s.set_value_UTF8("ab"), 0u);
    EXPECT_EQ(s.set_value_UTF8(static_cast<const char*>(nullptr)), kNoElement);
    EXPECT_EQ(value_of(s), hex("61 62"));
    qb_asn_bmpString b(security_off);
    EXPECT_EQ(b.set_value_BMP(static_cast<const unsigned short*>(nullptr)), kNoElement);
    EXPECT_EQ(b.is_present(), 0);
    // Acceptance is asked first.
    qb_asn_charstring bare(security_off);
    EXPECT_EQ(bare.set_value_printable(static_cast<const char*>(nullptr)), kRejected);
}

TEST(Charstring, typed_setters_invalidate_up_to_the_root) {
    qb_test::nested<qb_asn_teletexString> tree;
    ASSERT_EQ(tree.leaf.set_value_T61("a"), 0u);
    expect_change_reencodes(tree.outer, "30 05 30 03 14 01 61", [&] { return tree.leaf.set_value_T61("bc"); },
                            "30 06 30 04 14 02 62 63", {&tree.inner});
}

// ---- set_value_uninterpreted ----

TEST(Charstring, set_value_uninterpreted_keeps_the_codeset) {
    qb_asn_ia5String s(security_off);
    Bytes b = hex("00 FF 80");
    EXPECT_EQ(s.set_value_uninterpreted(b.data(), 3), 0u);
    EXPECT_EQ(value_of(s), b);
    EXPECT_EQ(s.get_codeset(), 22u);
    EXPECT_EQ(s.is_present(), 1);
    EXPECT_EQ(s.is_encoding_valid(), 0);
    Bytes c = hex("41 42");
    qb_r_buffer_t v(c.data(), 2);
    EXPECT_EQ(s.set_value_uninterpreted(v), 0u);
    EXPECT_EQ(value_of(s), c);
    EXPECT_EQ(v.remaining, 2u);  // the view is not consumed

    // The bare class accepts no code set but still takes raw octets.
    qb_asn_charstring bare(security_off);
    EXPECT_EQ(bare.set_value_uninterpreted(c.data(), 2), 0u);
    EXPECT_EQ(value_of(bare), c);
    EXPECT_EQ(bare.get_codeset(), 0u);
}

TEST(Charstring, set_value_uninterpreted_null_with_length_is_refused) {
    qb_asn_ia5String s(security_off);
    Bytes c = hex("41");
    ASSERT_EQ(s.set_value_uninterpreted(c.data(), 1), 0u);
    EXPECT_EQ(s.set_value_uninterpreted(nullptr, 3), kNoElement);
    EXPECT_EQ(value_of(s), c);
    EXPECT_EQ(s.set_value_uninterpreted(nullptr, 0), 0u);
    EXPECT_EQ(value_of(s), Bytes{});
    EXPECT_EQ(s.is_present(), 1);
}

TEST(Charstring, set_value_uninterpreted_from_its_own_octets) {
    // A wiping object zeroes its block when it clears it; octets taken from
    // the object's own value must survive that.
    qb_asn_ia5String s(security_on);
    Bytes c = hex("41 42 43 44");
    ASSERT_EQ(s.set_value_uninterpreted(c.data(), 4), 0u);
    unsigned char* p = nullptr;
    unsigned int n = 0;
    ASSERT_EQ(s.get_value(p, n), 0u);
    EXPECT_EQ(s.set_value_uninterpreted(p + 1, 2), 0u);
    EXPECT_EQ(value_of(s), hex("42 43"));
}

TEST(Charstring, set_value_uninterpreted_out_of_memory_leaves_value_cleared) {
    qb_asn_ia5String s(security_off);  // no block yet: the append must allocate
    Bytes c = hex("41 42 43");
    bool thrown = false;
    try {
        qb_test::fail_after guard(0);
        (void)s.set_value_uninterpreted(c.data(), 3);
    } catch (const qb_asn_memexception& e) {
        thrown = true;
        EXPECT_EQ(e.code, 0x10652065u);
    }
    EXPECT_TRUE(thrown);
    EXPECT_EQ(s.is_present(), 0);
    EXPECT_EQ(s.encoding.length(), 0u);
    EXPECT_EQ(s.get_codeset(), 22u);
}

// ---- set_value_C / set_value_IA5 ----

TEST(Charstring, set_value_C_refuses_octets_without_IA5_value) {
    Directory s(19, "7A");
    EXPECT_EQ(s.set_value_C("a\xE9"), kConv);
    expect_holds(s, 19, "7A");
    EXPECT_EQ(s.set_value_C("\x80"), kConv);
    EXPECT_EQ(s.set_value_C("\xFF"), kConv);
    EXPECT_EQ(value_of(s), hex("7A"));
}

TEST(Charstring, set_value_C_on_bare_charstring_fails) {
    qb_asn_charstring bare(security_off);
    EXPECT_EQ(bare.set_value_C("abc"), kConv);
    EXPECT_EQ(bare.is_present(), 0);
}

TEST(Charstring, set_value_C_null_text) {
    qb_asn_ia5String s(security_off);
    EXPECT_EQ(s.set_value_C(nullptr), kNoElement);
    EXPECT_EQ(s.is_present(), 0);
}

TEST(Charstring, set_value_C_on_single_codeset_classes) {
    struct Case {
        const char* name;
        qb_asn_charstring* s;
        const char* text;
        unsigned int rc;
        const char* stored;
    };
    qb_asn_ia5String ia5(security_off);
    qb_asn_printableString printable(security_off), printable2(security_off);
    qb_asn_visibleString visible(security_off), visible2(security_off);
    qb_asn_teletexString teletex(security_off), teletex2(security_off);
    qb_asn_bmpString bmp(security_off);
    qb_asn_universalString universal(security_off);
    qb_asn_UTF8String utf8(security_off);
    const Case cases[] = {
        {"ia5 takes any 7-bit text", &ia5, "a=_\x7F", 0, "61 3D 5F 7F"},
        {"printable", &printable, "Hi, 1.", 0, "48 69 2C 20 31 2E"},
        {"printable refuses =", &printable2, "a=b", kConv, nullptr},
        {"visible", &visible, "ab", 0, "61 62"},
        {"visible refuses _", &visible2, "a_b", kConv, nullptr},
        {"teletex maps # and $", &teletex, "#$a", 0, "A6 A4 61"},
        {"teletex refuses DEL", &teletex2, "\x7F", kConv, nullptr},
        {"bmp", &bmp, "ab", 0, "00 61 00 62"},
        {"universal", &universal, "a", 0, "00 00 00 61"},
        {"utf8", &utf8, "a\x7F", 0, "61 7F"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const unsigned int cs = c.s->get_codeset();
        EXPECT_EQ(c.s->set_value_C(c.text), c.rc);
        if (c.rc == 0) {
            EXPECT_EQ(value_of(*c.s), hex(c.stored));
            EXPECT_EQ(c.s->is_present(), 1);
        } else {
            EXPECT_EQ(c.s->is_present(), 0);
        }
        EXPECT_EQ(c.s->get_codeset(), cs);
    }
}

TEST(Charstring, set_value_C_on_directory_string) {
    const InputCase cases[] = {
        {"abc", 19, "61 62 63"},          // Printable first
        {"", 19, ""},                     // the empty text is Printable
        {"a=b", 20, "61 3D 62"},          // not Printable: TeletexString
        {"a#b", 20, "61 A6 62"},          // converted to T.61
        {"a\x7F", 12, "61 7F"},           // no T.61 form: UTF8String before UniversalString
    };
    for (const InputCase& c : cases) {
        SCOPED_TRACE(c.input);
        qb_asn_directoryString s(security_off);
        EXPECT_EQ(s.set_value_C(c.input), 0u);
        EXPECT_EQ(s.get_codeset(), c.cs);
        EXPECT_EQ(s.get_tag(), c.cs);
        EXPECT_EQ(value_of(s), hex(c.octets));
        EXPECT_EQ(s.is_present(), 1);
    }
}

TEST(Charstring, set_value_C_tries_preferred_codesets_in_order) {
    struct Case {
        std::initializer_list<unsigned int> sets;
        const char* text;
        unsigned int cs;
        const char* stored;
    };
    // Each class accepts and prefers the same two code sets; the earlier one
    // in the order 19, 20, 26, 22, 30, 12, 28 that converts wins.
    const Case cases[] = {
        {{20, 19}, "abc", 19, "61 62 63"},
        {{20, 19}, "a=b", 20, "61 3D 62"},
        {{26, 20}, "abc", 20, "61 62 63"},
        {{22, 26}, "abc", 26, "61 62 63"},
        {{22, 26}, "a=b", 22, "61 3D 62"},
        {{30, 22}, "ab", 22, "61 62"},
        {{12, 30}, "ab", 30, "00 61 00 62"},
        {{28, 12}, "ab", 12, "61 62"},
        {{28}, "ab", 28, "00 00 00 61 00 00 00 62"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.text) + " -> " + std::to_string(c.cs));
        ChosenSets s(c.sets, c.sets);
        EXPECT_EQ(s.set_value_C(c.text), 0u);
        EXPECT_EQ(s.get_codeset(), c.cs);
        EXPECT_EQ(value_of(s), hex(c.stored));
    }
}

TEST(Charstring, set_value_C_prefers_before_it_accepts) {
    // 19 comes first in the order, but only 28 is preferred.
    ChosenSets s({19, 28}, {28});
    EXPECT_EQ(s.set_value_C("a"), 0u);
    expect_holds(s, 28, "00 00 00 61");
}

TEST(Charstring, set_value_C_falls_back_to_accepted_in_order) {
    struct Case {
        std::initializer_list<unsigned int> accepted;
        std::initializer_list<unsigned int> preferred;
        const char* text;
        unsigned int cs;
        const char* stored;
    };
    const Case cases[] = {
        {{22, 26}, {}, "abc", 26, "61 62 63"},
        {{19, 22, 26}, {19}, "a=b", 22, "61 3D 62"},   // 19 fails twice, 26 fails, 22 takes it
        {{30, 22}, {}, "a", 22, "61"},
        {{12, 30}, {}, "a", 30, "00 61"},
        {{28, 12}, {}, "a", 12, "61"},
    };
    for (size_t i = 0; i < sizeof cases / sizeof cases[0]; ++i) {
        const Case& c = cases[i];
        SCOPED_TRACE(i);
        ChosenSets s(c.accepted, c.preferred);
        EXPECT_EQ(s.set_value_C(c.text), 0u);
        EXPECT_EQ(s.get_codeset(), c.cs);
        EXPECT_EQ(value_of(s), hex(c.stored));
    }
}

TEST(Charstring, set_value_C_never_stores_an_unaccepted_codeset) {
    // The class prefers 19 without accepting it: the text is never stored as
    // PrintableString; the accepted 28 takes it.
    ChosenSets s({28}, {19});
    EXPECT_EQ(s.set_value_C("a"), 0u);
    expect_holds(s, 28, "00 00 00 61");
}

TEST(Charstring, set_value_C_tries_preferred_codeset_field_first) {
    qb_asn_directoryString s(security_off);
    s.preferred_codeset = 30;
    EXPECT_EQ(s.set_value_C("ab"), 0u);
    expect_holds(s, 30, "00 61 00 62");

    // A preferred code set that does not take the text is passed over.
    qb_asn_directoryString t(security_off);
    t.preferred_codeset = 19;
    EXPECT_EQ(t.set_value_C("a=b"), 0u);
    EXPECT_EQ(t.get_codeset(), 20u);

    // One the class does not accept is never stored.
    ChosenSets u({22}, {22});
    u.preferred_codeset = 30;
    EXPECT_EQ(u.set_value_C("ab"), 0u);
    expect_holds(u, 22, "61 62");
}

TEST(Charstring, set_value_C_replaces_and_invalidates) {
    qb_test::in_sequence<qb_asn_directoryString> tree;
    auto& [seq, s] = tree;
    ASSERT_EQ(s.set_value_C("ab"), 0u);
    expect_change_reencodes(seq, "30 04 13 02 61 62", [&] { return s.set_value_C("a=b"); }, "30 05 14 03 61 3D 62");
}

TEST(Charstring, set_value_IA5_searches_like_set_value_C) {
    // IA5 text may hold octets above 0x7F (Latin-1): no local-table step.
    qb_asn_directoryString s(security_off);
    EXPECT_EQ(s.set_value_IA5("\xE9", 0), 0u);
    expect_holds(s, 20, "C2 65");

    qb_asn_directoryString t(security_off);
    EXPECT_EQ(t.set_value_IA5("abc", 1), 0u);
    EXPECT_EQ(t.get_codeset(), 19u);

    qb_asn_ia5String i(security_off);
    EXPECT_EQ(i.set_value_IA5("\xE9=", 7), 0u);
    EXPECT_EQ(value_of(i), hex("E9 3D"));

    qb_asn_printableString p(security_off);
    EXPECT_EQ(p.set_value_IA5("a=b", 0), kConv);
    EXPECT_EQ(p.is_present(), 0);

    qb_asn_charstring bare(security_off);
    EXPECT_EQ(bare.set_value_IA5("a", 0), kConv);

    EXPECT_EQ(i.set_value_IA5(static_cast<const char*>(nullptr), 0), kNoElement);
    EXPECT_EQ(value_of(i), hex("E9 3D"));
}

TEST(Charstring, set_value_IA5_view_form_and_flag_unused) {
    Bytes text = hex("61 3D 7F");
    for (int flag : {0, 1, -1, 12345}) {
        SCOPED_TRACE(flag);
        qb_asn_directoryString s(security_off);
        qb_r_buffer_t v(text.data(), 3);
        EXPECT_EQ(s.set_value_IA5(v, flag), 0u);
        expect_holds(s, 12, "61 3D 7F");
    }
    // The view may be the object's own value.
    qb_asn_directoryString s(security_on);
    hold(s, 22, "61 62");
    unsigned char* p = nullptr;
    unsigned int n = 0;
    ASSERT_EQ(s.get_value(p, n), 0u);
    qb_r_buffer_t own(p, n);
    EXPECT_EQ(s.set_value_IA5(own, 0), 0u);
    expect_holds(s, 19, "61 62");
}

// ---- get_value_C ----

TEST(Charstring, get_value_C_substitutes_or_fails) {
    qb_asn_ia5String s(security_off);
    Bytes v = hex("41 E9 42");
    ASSERT_EQ(s.set_value_uninterpreted(v.data(), 3), 0u);

    qb_buffer_t out(security_off);
    EXPECT_EQ(s.get_value_C(out, 0), kConv);
    EXPECT_EQ(out.length(), 0u);

    qb_buffer_t out2(security_off);
    EXPECT_EQ(s.get_value_C(out2, 0x3F), 0u);
    EXPECT_EQ(bytes_of(out2), hex("41 3F 42"));
    EXPECT_EQ(value_of(s), v);  // the object is not changed
}

TEST(Charstring, get_value_C_converts_to_IA5_first) {
    Directory s(12, "C3 A9 41");
    qb_buffer_t out(security_off);
    EXPECT_EQ(s.get_value_C(out, '*'), 0u);
    EXPECT_EQ(bytes_of(out), hex("2A 41"));

    hold(s, 30, "00 61 00 62");
    qb_buffer_t out2(security_off);
    EXPECT_EQ(s.get_value_C(out2, 0), 0u);
    EXPECT_EQ(bytes_of(out2), hex("61 62"));

    // A conversion error is passed on as it is.
    hold(s, 30, "20 AC");
    qb_buffer_t out3(security_off);
    EXPECT_EQ(s.get_value_C(out3, '?'), kConv);

    qb_asn_ia5String absent(security_off);
    qb_buffer_t out4(security_off);
    EXPECT_EQ(absent.get_value_C(out4, '?'), kAbsent);
}

TEST(Charstring, get_value_C_of_visible_value_fails_quirk) {
    qb_asn_visibleString s(security_off);
    ASSERT_EQ(s.set_value_visible("abc"), 0u);
    qb_buffer_t out(security_off);
    EXPECT_EQ(s.get_value_C(out, '?'), kConv);
}

TEST(Charstring, get_value_C_appends_and_a_failure_empties_the_buffer) {
    qb_asn_ia5String s(security_off);
    ASSERT_EQ(s.set_value_C("cd"), 0u);
    qb_buffer_t out(security_off);
    out.append("ab");
    EXPECT_EQ(s.get_value_C(out, 0), 0u);
    EXPECT_EQ(bytes_of(out), hex("61 62 63 64"));

    Bytes v = hex("E9");
    ASSERT_EQ(s.set_value_uninterpreted(v.data(), 1), 0u);
    qb_buffer_t out2(security_off);
    out2.append("ab");
    EXPECT_EQ(s.get_value_C(out2, 0), kConv);
    EXPECT_EQ(out2.length(), 0u);
}

// ---- routing table ----

struct RouteCase {
    unsigned int from, to;
    const char* in;
    unsigned int rc;
    const char* out;  // the converted value (on failure: what the constant form's out holds)
};

// Every cell of the routing table except the VisibleString column and the
// Printable-to-Visible cell (the deliberate asymmetries, tested below).
const RouteCase kRoutes[] = {
    // to IA5
    {12, 22, "C3 A9 41", kOk, "E9 41"},
    {12, 22, "E2 82 AC", kConv, ""},
    {19, 22, "61 3D", kOk, "61 3D"},  // no check: a copy (constant) or a relabel (in place)
    {20, 22, "C2 65 41", kOk, "E9 41"},
    {20, 22, "C5 41", kConv, ""},   // A with macron has no IA5 form
    {22, 22, "E9 7F", kOk, "E9 7F"},
    {28, 22, "00 00 00 E9 00 00 00 41", kOk, "E9 41"},
    {28, 22, "00 00 00 41 00 00 01 00", kConv, ""},
    {30, 22, "00 E9 00 41", kOk, "E9 41"},
    {30, 22, "00 41 01 00", kConv, ""},
    // to Printable
    {12, 19, "48 69", kOk, "48 69"},
    {12, 19, "61 3D 62", kConv, ""},
    {19, 19, "61 3D", kOk, "61 3D"},  // unchanged, no check
    {20, 19, "41 20 62", kOk, "41 20 62"},
    {20, 19, "C2 65", kConv, ""},
    {22, 19, "48 69 2E", kOk, "48 69 2E"},
    {22, 19, "61 3D 62", kConv, ""},
    {28, 19, "00 00 00 41", kOk, "41"},
    {28, 19, "00 00 00 3D", kConv, ""},
    {28, 19, "00 00 01 41", kConv, ""},
    {30, 19, "00 41", kOk, "41"},
    {30, 19, "00 3D", kConv, ""},
    {30, 19, "01 41", kConv, ""},
    // to Visible
    {12, 26, "41", kOk, "41"},
    {12, 26, "5F", kConv, ""},
    {20, 26, "61", kOk, "61"},
    {20, 26, "C2 65", kConv, ""},
    {22, 26, "61 62", kOk, "61 62"},
    {22, 26, "61 5F 62", kConv, ""},
    {26, 26, "5F", kOk, "5F"},
    {28, 26, "00 00 00 61", kOk, "61"},
    {28, 26, "00 00 00 5F", kConv, ""},
    {30, 26, "00 61", kOk, "61"},
    {30, 26, "00 5F", kConv, ""},
    // to T61
    {12, 20, "C3 A9 24", kOk, "C2 65 A4"},
    {12, 20, "E2 82 AC", kConv, ""},
    {12, 20, "7F", kConv, ""},
    {19, 20, "23 24 41", kOk, "23 24 41"},  // a copy: not put through the T.61 table
    {20, 20, "C2 65", kOk, "C2 65"},
    {22, 20, "23 24 E9", kOk, "A6 A4 C2 65"},
    {22, 20, "7F", kConv, ""},
    {28, 20, "00 00 00 E9", kOk, "C2 65"},
    {28, 20, "00 00 01 00", kConv, ""},
    {28, 20, "00 00 00 7F", kConv, ""},
    {30, 20, "00 E9", kOk, "C2 65"},
    {30, 20, "01 00", kConv, ""},
    {30, 20, "00 7F", kConv, ""},
    // to BMP
    {12, 30, "C3 A9 E2 82 AC", kOk, "00 E9 20 AC"},
    {12, 30, "F0 9F 98 80", kConv, ""},
    {12, 30, "80", kConv, ""},
    {19, 30, "41", kOk, "00 41"},
    {20, 30, "C2 65 41", kOk, "00 E9 00 41"},
    {22, 30, "E9", kOk, "00 E9"},
    {28, 30, "00 00 20 AC", kOk, "20 AC"},
    {28, 30, "00 01 F6 00", kConv, ""},
    {30, 30, "20 AC", kOk, "20 AC"},
    // to Universal
    {12, 28, "E2 82 AC", kOk, "00 00 20 AC"},
    {12, 28, "80", kConv, ""},
    {19, 28, "41", kOk, "00 00 00 41"},
    {20, 28, "C2 65", kOk, "00 00 00 E9"},
    {22, 28, "E9", kOk, "00 00 00 E9"},
    {28, 28, "00 01 F6 00", kOk, "00 01 F6 00"},
    {30, 28, "20 AC", kOk, "00 00 20 AC"},
    // to UTF8
    {12, 12, "E9", kOk, "E9"},  // unchanged, even when not valid UTF-8
    {19, 12, "41 E9", kOk, "41 E9"},  // a copy: not put through IA52UTF8
    {20, 12, "C2 65", kOk, "C3 A9"},
    {22, 12, "E9", kOk, "C3 A9"},
    {28, 12, "00 00 20 AC", kOk, "E2 82 AC"},
    {30, 12, "20 AC", kOk, "E2 82 AC"},
};

// The conversions to each code set: into a buffer (constant), in place, and
// the typed getter (which is the constant conversion).
using ToBuffer = unsigned int (qb_asn_charstring::*)(qb_buffer_t&) const;
using InPlace = unsigned int (qb_asn_charstring::*)();
struct Conversions {
    unsigned int cs;
    ToBuffer to_buffer;
    InPlace in_place;
    ToBuffer typed_get;
};
const Conversions kConversions[] = {
    {12, &qb_asn_charstring::convert2UTF8, &qb_asn_charstring::convert2UTF8, &qb_asn_charstring::get_value_UTF8},
    {19, &qb_asn_charstring::convert2printable, &qb_asn_charstring::convert2printable,
     &qb_asn_charstring::get_value_printable},
    {20, &qb_asn_charstring::convert2T61, &qb_asn_charstring::convert2T61, &qb_asn_charstring::get_value_T61},
    {22, &qb_asn_charstring::convert2IA5, &qb_asn_charstring::convert2IA5, &qb_asn_charstring::get_value_IA5},
    {26, &qb_asn_charstring::convert2visible, &qb_asn_charstring::convert2visible,
     &qb_asn_charstring::get_value_visible},
    {28, &qb_asn_charstring::convert2Univ, &qb_asn_charstring::convert2Univ, &qb_asn_charstring::get_value_Univ},
    {30, &qb_asn_charstring::convert2BMP, &qb_asn_charstring::convert2BMP, &qb_asn_charstring::get_value_BMP},
};

const Conversions& conversions_to(unsigned int to) {
    for (const Conversions& c : kConversions)
        if (c.cs == to) return c;
    ADD_FAILURE() << "no code set " << to;
    return kConversions[0];
}

unsigned int convert_const(const qb_asn_charstring& s, unsigned int to, qb_buffer_t& out) {
    return (s.*conversions_to(to).to_buffer)(out);
}

unsigned int convert_in_place(qb_asn_charstring& s, unsigned int to) { return (s.*conversions_to(to).in_place)(); }

unsigned int typed_get(const qb_asn_charstring& s, unsigned int to, qb_buffer_t& out) {
    return (s.*conversions_to(to).typed_get)(out);
}

std::string cell_name(const RouteCase& c) {
    return std::to_string(c.from) + " -> " + std::to_string(c.to) + " of " + c.in;
}

// expect_constant_routes: `convert(s, to, out)` over every cell gives the
// cell's status and octets and never changes the object.
template <class Convert>
void expect_constant_routes(Convert convert) {
    for (const RouteCase& c : kRoutes) {
        SCOPED_TRACE(cell_name(c));
        qb_asn_directoryString s(security_off);
        hold(s, c.from, c.in);
        qb_buffer_t out(security_off);
        EXPECT_EQ(convert(s, c.to, out), c.rc);
        EXPECT_EQ(bytes_of(out), hex(c.out));
        // The object never changes.
        EXPECT_EQ(value_of(s), hex(c.in));
        EXPECT_EQ(s.get_codeset(), c.from);
    }
}

TEST(CharstringRouting, constant_conversions_cell_by_cell) { expect_constant_routes(convert_const); }

TEST(CharstringRouting, typed_getters_are_the_constant_conversions) { expect_constant_routes(typed_get); }

TEST(CharstringRouting, in_place_conversions_cell_by_cell) {
    for (const RouteCase& c : kRoutes) {
        SCOPED_TRACE(cell_name(c));
        qb_asn_directoryString s(security_off);
        hold(s, c.from, c.in);
        EXPECT_EQ(convert_in_place(s, c.to), c.rc);
        if (c.rc == 0) {
            EXPECT_EQ(value_of(s), hex(c.out));
            EXPECT_EQ(s.get_codeset(), c.to);
            EXPECT_EQ(s.get_tag(), c.to);
        } else {
            // A failed conversion keeps the old value and code set.
            EXPECT_EQ(value_of(s), hex(c.in));
            EXPECT_EQ(s.get_codeset(), c.from);
            EXPECT_EQ(s.get_tag(), c.from);
        }
        EXPECT_EQ(s.is_present(), 1);
    }
}

TEST(CharstringRouting, visible_value_converts_to_nothing_quirk) {
    for (unsigned int to : {12u, 19u, 20u, 22u, 28u, 30u}) {
        SCOPED_TRACE(to);
        Directory s(26, "61 62");
        qb_buffer_t out(security_off);
        EXPECT_EQ(convert_const(s, to, out), kConv);
        EXPECT_EQ(out.length(), 0u);
        if (to != 22) {
            EXPECT_EQ(convert_in_place(s, to), kConv);
            expect_holds(s, 26, "61 62");
        }
    }
}

TEST(CharstringRouting, visible_to_IA5_in_place_only_relabels_quirk) {
    Directory s(26, "5F 3D E9");  // octets no check would pass
    qb_buffer_t out(security_off);
    EXPECT_EQ(s.convert2IA5(out), kConv);
    EXPECT_EQ(s.convert2IA5(), 0u);
    EXPECT_EQ(s.get_codeset(), 22u);
    EXPECT_EQ(s.get_tag(), 22u);
    EXPECT_EQ(value_of(s), hex("5F 3D E9"));
}

TEST(CharstringRouting, printable_to_IA5_in_place_only_relabels_quirk) {
    Directory s(19, "5F E9");
    EXPECT_EQ(s.convert2IA5(), 0u);
    expect_holds(s, 22, "5F E9");
}

TEST(CharstringRouting, printable_to_visible_refused_quirk) {
    Directory s(19, "61 62");  // text both tables allow
    qb_buffer_t out(security_off);
    EXPECT_EQ(s.convert2visible(out), kConv);
    EXPECT_EQ(out.length(), 0u);
    EXPECT_EQ(s.get_value_visible(out), kConv);
    EXPECT_EQ(s.convert2visible(), kConv);
    EXPECT_EQ(s.get_codeset(), 19u);
}

TEST(CharstringRouting, utf8_checks_look_at_raw_octets_quirk) {
    // C1 81 is an overlong A: decoding takes it (IA5 gives 41), the
    // Printable and Visible checks of the raw octets do not.
    Directory s(12, "C1 81");
    qb_buffer_t ia5(security_off);
    EXPECT_EQ(s.convert2IA5(ia5), 0u);
    EXPECT_EQ(bytes_of(ia5), hex("41"));
    qb_buffer_t out(security_off);
    EXPECT_EQ(s.convert2printable(out), kConv);
    EXPECT_EQ(s.convert2visible(out), kConv);
    EXPECT_EQ(s.convert2printable(), kConv);
    EXPECT_EQ(s.convert2visible(), kConv);
    EXPECT_EQ(s.get_codeset(), 12u);
}

TEST(CharstringRouting, equals_sign_is_not_printable) {
    expect_refused_keeps(22, "61 3D 62", [](Directory& s) { return s.convert2printable(); });
}

TEST(CharstringRouting, no_codeset_has_no_route) {
    // Octets set through the octet string's own setter carry no code set.
    qb_asn_directoryString s(security_off);
    Bytes v = hex("61");
    ASSERT_EQ(s.qb_asn_octetstring::set_value(v.data(), 1), 0u);
    ASSERT_EQ(s.get_codeset(), 0u);
    for (unsigned int to : {12u, 19u, 20u, 22u, 26u, 28u, 30u}) {
        SCOPED_TRACE(to);
        qb_buffer_t out(security_off);
        EXPECT_EQ(convert_const(s, to, out), kConv);
        EXPECT_EQ(convert_in_place(s, to), kConv);
        EXPECT_EQ(s.get_codeset(), 0u);
    }
}

TEST(CharstringRouting, absent_value_has_nothing_to_convert) {
    for (unsigned int to : {12u, 19u, 20u, 22u, 26u, 28u, 30u}) {
        SCOPED_TRACE(to);
        qb_asn_directoryString s(security_off);
        qb_buffer_t out(security_off);
        EXPECT_EQ(convert_const(s, to, out), kAbsent);
        EXPECT_EQ(convert_in_place(s, to), kAbsent);
        EXPECT_EQ(typed_get(s, to, out), kAbsent);
    }
    // The presence test comes before the acceptance test.
    qb_asn_ia5String i(security_off);
    EXPECT_EQ(i.convert2printable(), kAbsent);
}

TEST(CharstringRouting, in_place_target_must_be_accepted) {
    qb_asn_ia5String s(security_off);
    ASSERT_EQ(s.set_value_C("ab"), 0u);
    EXPECT_EQ(s.convert2printable(), kRejected);
    EXPECT_EQ(s.convert2UTF8(), kRejected);
    EXPECT_EQ(s.convert2BMP(), kRejected);
    EXPECT_EQ(s.get_codeset(), 22u);
    EXPECT_EQ(s.convert2IA5(), 0u);  // its own code set: nothing to do
    // The constant form makes no such test.
    qb_buffer_t out(security_off);
    EXPECT_EQ(s.convert2printable(out), 0u);
    EXPECT_EQ(bytes_of(out), hex("61 62"));
    qb_buffer_t out2(security_off);
    EXPECT_EQ(s.convert2BMP(out2), 0u);
    EXPECT_EQ(bytes_of(out2), hex("00 61 00 62"));
}

TEST(CharstringRouting, in_place_to_own_codeset_changes_nothing) {
    qb_test::in_sequence<qb_asn_printableString> tree;
    auto& [seq, p] = tree;
    ASSERT_EQ(p.set_value_printable("a=b"), 0u);
    ASSERT_EQ(write_frame(seq).rc, 0u);
    ASSERT_EQ(seq.is_encoding_valid(), 1);
    EXPECT_EQ(p.convert2printable(), 0u);
    EXPECT_EQ(seq.is_encoding_valid(), 1);
    EXPECT_EQ(value_of(p), hex("61 3D 62"));
}

TEST(CharstringRouting, in_place_conversion_invalidates_up_to_the_root) {
    qb_test::in_sequence<qb_asn_directoryString> tree;
    auto& [seq, s] = tree;
    ASSERT_EQ(s.set_value_C("ab"), 0u);
    expect_change_reencodes(seq, "30 04 13 02 61 62", [&] { return s.convert2BMP(); }, "30 06 1E 04 00 61 00 62");
}

TEST(CharstringRouting, in_place_conversion_of_wiping_object) {
    qb_asn_directoryString s(security_on);
    hold(s, 22, "23 E9");
    EXPECT_EQ(s.convert2T61(), 0u);
    EXPECT_EQ(value_of(s), hex("A6 C2 65"));
    EXPECT_EQ(s.convert2UTF8(), 0u);
    EXPECT_EQ(value_of(s), hex("23 C3 A9"));
}

TEST(CharstringRouting, constant_conversion_appends) {
    Directory s(22, "41");
    struct Case {
        unsigned int to;
        const char* out;
    };
    const Case cases[] = {
        {22, "5A 5A 41"},           // copy
        {19, "5A 5A 41"},           // check: appended, not replacing
        {26, "5A 5A 41"},           // check
        {30, "5A 5A 00 41"},
        {28, "5A 5A 00 00 00 41"},
        {12, "5A 5A 41"},
        {20, "5A 5A 41"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.to);
        qb_buffer_t out(security_off);
        out.append("ZZ");
        EXPECT_EQ(convert_const(s, c.to, out), 0u);
        EXPECT_EQ(bytes_of(out), hex(c.out));
    }
}

TEST(CharstringRouting, constant_failure_leaves_what_the_converter_left) {
    qb_asn_directoryString s(security_off);
    // UTF-8 to IA5 keeps what it appended before the failing character.
    hold(s, 12, "41 E2 82 AC");
    qb_buffer_t out(security_off);
    out.append("Z");
    EXPECT_EQ(s.convert2IA5(out), kConv);
    EXPECT_EQ(bytes_of(out), hex("5A 41"));
    // Universal to IA5 restores its destination.
    hold(s, 28, "00 00 00 41 00 00 01 00");
    qb_buffer_t out2(security_off);
    out2.append("Z");
    EXPECT_EQ(s.convert2IA5(out2), kConv);
    EXPECT_EQ(bytes_of(out2), hex("5A"));
    // A failed check leaves it untouched.
    hold(s, 22, "3D");
    qb_buffer_t out3(security_off);
    out3.append("Z");
    EXPECT_EQ(s.convert2printable(out3), kConv);
    EXPECT_EQ(bytes_of(out3), hex("5A"));
}

TEST(CharstringRouting, converts_defaultable_absent_value_from_its_default) {
    qb_asn_printableString p(security_off);
    // The default is owned here until the string takes it.
    auto d = std::make_unique<qb_asn_printableString>(security_off);
    ASSERT_EQ(d->set_value_printable("ab"), 0u);
    ASSERT_EQ(p.set_default_value(d.release()), 0u);
    ASSERT_EQ(p.is_present(), 0);
    qb_buffer_t out(security_off);
    EXPECT_EQ(p.convert2BMP(out), 0u);
    EXPECT_EQ(bytes_of(out), hex("00 61 00 62"));
}

// ---- qb_asn_directoryString ----

TEST(DirectoryString, check_type_refuses_visible_tag_quirk) {
    qb_asn_directoryString dir(security_off);
    for (unsigned int t = 0; t <= 40; ++t) {
        SCOPED_TRACE(t);
        const bool want = t == 12 || t == 19 || t == 20 || t == 22 || t == 28 || t == 30;
        EXPECT_EQ(dir.check_type(t, 0) != 0, want);
        EXPECT_EQ(dir.check_type(t, 2), 0);
    }
    // 26 is accepted as a code set all the same.
    EXPECT_EQ(dir.check_accepted_codeset(26), 1);
}

TEST(DirectoryString, decoding_visible_tag_is_refused_quirk) {
    qb_asn_directoryString dir(security_off);
    EXPECT_EQ(read_frame(dir, hex("1A 03 61 62 63")), 0x106521A4u);
    EXPECT_EQ(dir.is_present(), 0);
    qb_asn_directoryString opt(security_off);
    opt.set_optional(1);
    EXPECT_EQ(read_frame(opt, hex("1A 03 61 62 63")), 0u);
    EXPECT_EQ(opt.is_present(), 0);
}

TEST(DirectoryString, decoding_takes_the_tag_as_codeset) {
    const InputCase cases[] = {
        {"0C 02 C3 A9", 12, "C3 A9"}, {"13 02 61 62", 19, "61 62"}, {"14 02 C2 65", 20, "C2 65"},
        {"16 01 E9", 22, "E9"},      {"1C 04 00 00 20 AC", 28, "00 00 20 AC"},
        {"1E 02 20 AC", 30, "20 AC"},
    };
    for (const InputCase& c : cases) {
        SCOPED_TRACE(c.input);
        qb_asn_directoryString dir(security_off);
        EXPECT_EQ(read_frame(dir, hex(c.input)), 0u);
        EXPECT_EQ(dir.get_codeset(), c.cs);
        EXPECT_EQ(dir.get_tag(), c.cs);
        EXPECT_EQ(value_of(dir), hex(c.octets));
        EXPECT_EQ(write_frame(dir).bytes, hex(c.input));
    }
}

TEST(DirectoryString, set_preferred_codeset_printable_wins_quirk) {
    Directory dir(22, "61 62 63");
    EXPECT_EQ(dir.set_preferred_codeset(30), 0u);
    EXPECT_EQ(dir.get_codeset(), 19u);
    EXPECT_EQ(dir.preferred_codeset, 0u);
    EXPECT_EQ(value_of(dir), hex("61 62 63"));
    // Even an unsupported code set succeeds when the value is printable.
    EXPECT_EQ(dir.set_preferred_codeset(7), 0u);
    EXPECT_EQ(dir.preferred_codeset, 0u);
}

TEST(DirectoryString, set_preferred_codeset_converts_and_remembers) {
    const CodedOctets cases[] = {
        {12, "61 3D 62"},
        {20, "61 3D 62"},
        {28, "00 00 00 61 00 00 00 3D 00 00 00 62"},
        {30, "00 61 00 3D 00 62"},
    };
    for (const CodedOctets& c : cases) {
        SCOPED_TRACE(c.cs);
        Directory dir(22, "61 3D 62");  // not printable
        EXPECT_EQ(dir.set_preferred_codeset(c.cs), 0u);
        EXPECT_EQ(dir.get_codeset(), c.cs);
        EXPECT_EQ(dir.preferred_codeset, c.cs);
        EXPECT_EQ(value_of(dir), hex(c.octets));
    }
}

TEST(DirectoryString, set_preferred_codeset_other_codesets_give_minus_one) {
    for (unsigned int cs : {0u, 19u, 22u, 26u, 4u, 31u}) {
        SCOPED_TRACE(cs);
        Directory dir(22, "61 3D 62");
        EXPECT_EQ(dir.set_preferred_codeset(cs), 0xFFFFFFFFu);
        EXPECT_EQ(dir.get_codeset(), 22u);
        EXPECT_EQ(dir.preferred_codeset, 0u);
        EXPECT_EQ(value_of(dir), hex("61 3D 62"));
    }
}

TEST(DirectoryString, set_preferred_codeset_failed_conversion) {
    Directory dir(12, "E2 82 AC");
    EXPECT_EQ(dir.set_preferred_codeset(20), kConv);
    EXPECT_EQ(dir.preferred_codeset, 0u);
    expect_holds(dir, 12, "E2 82 AC");

    qb_asn_directoryString absent(security_off);
    EXPECT_EQ(absent.set_preferred_codeset(12), kAbsent);
    EXPECT_EQ(absent.preferred_codeset, 0u);
}

TEST(DirectoryString, normalize_chooses_printable_teletex_utf8) {
    struct Case {
        const char* name;
        unsigned int from;
        const char* in;
        unsigned int cs;
        const char* out;
    };
    const Case cases[] = {
        {"utf8 e acute", 12, "C3 A9", 20, "C2 65"},
        {"ia5 printable text", 22, "61 62 63", 19, "61 62 63"},
        {"ia5 with equals sign", 22, "61 3D 62", 20, "61 3D 62"},
        {"ia5 with DEL", 22, "61 7F", 12, "61 7F"},
        {"utf8 euro stays", 12, "E2 82 AC", 12, "E2 82 AC"},
        {"bmp euro", 30, "20 AC", 12, "E2 82 AC"},
        {"bmp printable", 30, "00 61", 19, "61"},
        {"universal beyond bmp", 28, "00 01 F6 00", 12, "F0 9F 98 80"},
        {"teletex printable", 20, "61", 19, "61"},
        {"teletex stays", 20, "C2 65", 20, "C2 65"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        qb_asn_directoryString dir(security_off);
        hold(dir, c.from, c.in);
        EXPECT_EQ(dir.normalize(), 0u);
        EXPECT_EQ(dir.get_codeset(), c.cs);
        EXPECT_EQ(value_of(dir), hex(c.out));
    }
}

TEST(DirectoryString, normalize_follows_preferred_codeset_first) {
    Directory dir(22, "61 62");
    dir.preferred_codeset = 30;
    EXPECT_EQ(dir.normalize(), 0u);
    expect_holds(dir, 30, "00 61 00 62");

    // Even a code set that normalization never picks by itself.
    Directory vis(22, "61 62");
    vis.preferred_codeset = 26;
    EXPECT_EQ(vis.normalize(), 0u);
    EXPECT_EQ(vis.get_codeset(), 26u);

    // A preferred code set that does not take the value is passed over.
    Directory t(12, "E2 82 AC");
    t.preferred_codeset = 20;
    EXPECT_EQ(t.normalize(), 0u);
    EXPECT_EQ(t.get_codeset(), 12u);

    // A value outside the seven is ignored.
    Directory u(22, "61");
    u.preferred_codeset = 4;
    EXPECT_EQ(u.normalize(), 0u);
    EXPECT_EQ(u.get_codeset(), 19u);
}

TEST(DirectoryString, normalize_after_set_preferred_codeset) {
    Directory dir(22, "61 3D 62");
    ASSERT_EQ(dir.set_preferred_codeset(28), 0u);
    EXPECT_EQ(dir.normalize(), 0u);
    EXPECT_EQ(dir.get_codeset(), 28u);
}

TEST(DirectoryString, normalize_of_visible_value_fails_quirk) {
    expect_refused_keeps(26, "61 62", [](Directory& dir) { return dir.normalize(); });
}

TEST(DirectoryString, normalize_of_absent_value) {
    qb_asn_directoryString dir(security_off);
    EXPECT_EQ(dir.normalize(), kAbsent);
}

TEST(DirectoryString, normalize_is_reached_through_the_tree) {
    qb_test::in_sequence<qb_asn_directoryString> tree;
    auto& [seq, dir] = tree;
    hold(dir, 12, "C3 A9");
    EXPECT_EQ(seq.normalize(), 0u);
    EXPECT_EQ(dir.get_codeset(), 20u);
    EXPECT_EQ(write_bytes(seq), hex("30 04 14 02 C2 65"));
}

TEST(DirectoryString, other_classes_do_not_normalize) {
    qb_asn_UTF8String u(security_off);
    ASSERT_EQ(u.set_value_UTF8("abc"), 0u);
    EXPECT_EQ(u.normalize(), 0u);
    EXPECT_EQ(u.get_codeset(), 12u);
}

// ---- encoding and decoding ----

TEST(CharstringEncoding, round_trips_with_tag_equal_to_codeset) {
    // Each class writes with one object and reads back with another.
    EveryClass w, r;
    struct Pair {
        qb_asn_charstring* writer;
        qb_asn_charstring* reader;
        Setter setter;
        const char* frame;
    };
    const Pair pairs[] = {
        {&w.printable, &r.printable, Setter::printable, "13 03 61 3D 62"},
        {&w.visible, &r.visible, Setter::visible, "1A 03 61 3D 62"},
        {&w.teletex, &r.teletex, Setter::t61, "14 03 61 3D 62"},
        {&w.utf8, &r.utf8, Setter::utf8, "0C 03 61 3D 62"},
        {&w.bmp, &r.bmp, Setter::bmp, "1E 04 00 61 20 AC"},
        {&w.universal, &r.universal, Setter::univ_r, "1C 04 00 00 00 61"},
    };
    for (const Pair& p : pairs) {
        SCOPED_TRACE(p.writer->get_type_name());
        ASSERT_EQ(apply(*p.writer, p.setter), 0u);
        auto w = write_frame(*p.writer);
        EXPECT_EQ(w.rc, 0u);
        EXPECT_EQ(w.bytes, hex(p.frame));
        EXPECT_EQ(read_frame(*p.reader, w.bytes), 0u);
        EXPECT_EQ(p.reader->get_codeset(), p.writer->get_codeset());
        EXPECT_EQ(p.reader->get_tag(), p.writer->get_codeset());
        EXPECT_EQ(value_of(*p.reader), value_of(*p.writer));
        EXPECT_EQ(write_frame(*p.reader).bytes, hex(p.frame));
    }
}

TEST(CharstringEncoding, ia5_round_trip) {
    qb_asn_ia5String w(security_off);
    ASSERT_EQ(w.set_value_C("a_b"), 0u);
    EXPECT_EQ(write_bytes(w), hex("16 03 61 5F 62"));
    qb_asn_ia5String r(security_off);
    EXPECT_EQ(read_frame(r, hex("16 03 61 5F 62")), 0u);
    qb_buffer_t out(security_off);
    EXPECT_EQ(r.get_value_IA5(out), 0u);
    EXPECT_EQ(bytes_of(out), hex("61 5F 62"));
}

TEST(CharstringEncoding, decoding_another_tag_is_refused) {
    qb_asn_printableString p(security_off);
    EXPECT_EQ(read_frame(p, hex("16 01 61")), 0x106521A4u);
    EXPECT_EQ(p.get_codeset(), 19u);
    EXPECT_EQ(p.get_tag(), 19u);
    qb_asn_UTF8String u(security_off);
    EXPECT_EQ(read_frame(u, hex("04 01 61")), 0x106521A4u);
    EXPECT_EQ(read_frame(u, hex("0C 01 61")), 0u);
}

TEST(CharstringEncoding, present_string_writes_back_its_value) {
    qb_asn_printableString p(security_off);
    ASSERT_EQ(p.set_value_printable("abc"), 0u);
    EXPECT_EQ(p.is_encoding_valid(), 0);
    EXPECT_EQ(write_bytes(p), hex("13 03 61 62 63"));
    EXPECT_EQ(p.is_encoding_valid(), 1);
    EXPECT_EQ(write_bytes(p), hex("13 03 61 62 63"));
    // An invalidation that leaves it present keeps the octets.
    p.invalidate_encoding();
    EXPECT_EQ(write_bytes(p), hex("13 03 61 62 63"));
    EXPECT_EQ(p.set_optional(1), 0u);
    EXPECT_EQ(write_bytes(p), hex("13 03 61 62 63"));
}

TEST(CharstringEncoding, decoded_string_writes_back_after_relabel) {
    qb_asn_directoryString dir(security_off);
    ASSERT_EQ(read_frame(dir, hex("13 02 61 62")), 0u);
    ASSERT_EQ(dir.set_codeset(22), 0u);
    EXPECT_EQ(write_bytes(dir), hex("16 02 61 62"));
}

TEST(CharstringEncoding, absent_strings_write_by_their_flags) {
    qb_asn_printableString p(security_off);
    EXPECT_EQ(write_frame(p).rc, 0x106521A0u);
    p.set_optional(1);
    EXPECT_EQ(write_bytes(p), Bytes{});
}

TEST(CharstringEncoding, strings_in_a_sequence) {
    qb_asn_sequence seq(security_off);
    qb_asn_printableString a(security_off);
    qb_asn_bmpString b(security_off);
    register_all(seq, {&a, &b});
    ASSERT_EQ(a.set_value_printable("x"), 0u);
    const unsigned short units[] = {0x00E9, 0};
    ASSERT_EQ(b.set_value_BMP(units), 0u);
    auto w = write_frame(seq);
    EXPECT_EQ(w.bytes, hex("30 07 13 01 78 1E 02 00 E9"));

    qb_asn_sequence seq2(security_off);
    qb_asn_printableString a2(security_off);
    qb_asn_bmpString b2(security_off);
    register_all(seq2, {&a2, &b2});
    EXPECT_EQ(read_frame(seq2, w.bytes), 0u);
    qb_buffer_t out(security_off);
    EXPECT_EQ(b2.get_value_UTF8(out), 0u);
    EXPECT_EQ(bytes_of(out), hex("C3 A9"));
    EXPECT_EQ(value_of(a2), hex("78"));
}

}  // namespace
