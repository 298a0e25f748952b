// tests/asn1/envelope_test.cpp - the versioned envelope (saveEncoding,
// loadObject, get_encoded_version), qb_v37_asnbase and records built on
// qb_asnbase with integer, boolean, octet-string and nested record members.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "asn1/asn1.h"
#include "asn1/asnbase.h"
#include "asn1/asnutils.h"
#include "support/frames.h"
#include "support/hex.h"

namespace {

// ---- test records ----

// number INTEGER, flag BOOLEAN, text OCTET STRING (all mandatory).
struct SimpleRecord : qb_asnbase {
    qbasn_integer number;
    qb_asn_boolean flag;
    qbasn_octetstring text;
    explicit SimpleRecord(security_t s) : qb_asnbase(s), number(s), flag(s), text(s) {
        set_type_name("simple_t");
        register_child(&number);
        register_child(&flag);
        register_child(&text);
    }
};

// n INTEGER.
struct OneInt : qb_asnbase {
    qbasn_integer n;
    explicit OneInt(security_t s) : qb_asnbase(s), n(s) { register_child(&n); }
};

// a INTEGER, b OCTET STRING.
struct Inner : qb_asnbase {
    qbasn_integer a;
    qbasn_octetstring b;
    explicit Inner(security_t s) : qb_asnbase(s), a(s), b(s) {
        set_type_name("inner_t");
        register_child(&a);
        register_child(&b);
    }
};

// id INTEGER, inner Inner, flag BOOLEAN, second Inner.
struct Outer : qb_asnbase {
    qbasn_integer id;
    Inner inner;
    qb_asn_boolean flag;
    Inner second;
    explicit Outer(security_t s) : qb_asnbase(s), id(s), inner(s), flag(s), second(s) {
        set_type_name("outer_t");
        register_child(&id);
        register_child(&inner);
        register_child(&flag);
        register_child(&second);
    }
};

// id INTEGER, inner Inner with the empty record as its default.
struct OuterWithDefault : qb_asnbase {
    qbasn_integer id;
    Inner inner;
    explicit OuterWithDefault(security_t s) : qb_asnbase(s), id(s), inner(s) {
        inner.set_default_value();
        register_child(&id);
        register_child(&inner);
    }
};

// n INTEGER, note OCTET STRING OPTIONAL, flag BOOLEAN DEFAULT FALSE.
struct OptRecord : qb_asnbase {
    qbasn_integer n;
    qbasn_octetstring note;
    qb_asn_boolean flag;
    explicit OptRecord(security_t s) : qb_asnbase(s), n(s), note(s), flag(s) {
        note.set_optional(1);
        flag.set_default_value(0);
        register_child(&n);
        register_child(&note);
        register_child(&flag);
    }
};

// A record that starts with INTEGER 1, then n INTEGER.
struct V37Record : qb_v37_asnbase {
    qbasn_integer n;
    explicit V37Record(security_t s) : qb_v37_asnbase(s), n(s) { register_child(&n); }
};

// A present primitive whose content writer fails with a chosen status, or throws.
class FailingValue : public qb_asn_primitive {
public:
    unsigned int status;
    bool throws;
    FailingValue(unsigned int st, bool th) : qb_asn_primitive(security_off), status(st), throws(th) {
        tag = 9;
        primitive_permitted = 1;
    }
    unsigned int decode_value(qb_r_buffer_t&, unsigned int) override { return 0; }
    unsigned int encode_value(qb_buffer_t& out) const override {
        out.append(static_cast<unsigned char>(0x55));
        if (throws) throw qb_asn_memexception("test", 1, "ASN: Out of memory");
        return status;
    }
    void make_present() { set_value_valid(); }
};

// n INTEGER, bad FailingValue.
struct FailingRecord : qb_asnbase {
    qbasn_integer n;
    FailingValue bad;
    FailingRecord(unsigned int st, bool th) : qb_asnbase(security_off), n(security_off), bad(st, th) {
        register_child(&n);
        register_child(&bad);
        n.set_value(1L);
        bad.make_present();
    }
};

// ---- helpers ----

// A caller's block holding hex bytes.
struct Block {
    std::vector<unsigned char> bytes;
    qb_asn_buffer_t buf;
    explicit Block(const char* text) : bytes(hex(text)), buf() {
        buf.length = static_cast<unsigned int>(bytes.size());
        buf.data = bytes.empty() ? nullptr : bytes.data();
    }
    Block(const Block&) = delete;
    Block& operator=(const Block&) = delete;
};

// load_ok: loads the caller's block `text` (hex) into `obj`; loading must
// succeed.
void load_ok(qb_asn_object& obj, int version, const char* text) {
    Block b(text);
    EXPECT_EQ(0u, qb_asnbase::loadObject(obj, version, b.buf));
}

// save_ok: the saved octets; saving must succeed.
std::vector<unsigned char> save_ok(qb_asn_object& obj, int version) {
    unsigned int rc = 1;
    std::vector<unsigned char> v = qb_test::save_encoding(obj, version, &rc);
    EXPECT_EQ(0u, rc);
    return v;
}

long int_of(const qbasn_integer& i) {
    long v = 0x5A5A;
    i.get_value(v);
    return v;
}

// stored_text: the text a member holds ("<null>" for none).
std::string stored_text(const qbasn_octetstring& o) {
    char* s = nullptr;
    o.get_value(s);
    std::string t = s != nullptr ? s : "<null>";
    std::free(s);
    return t;
}

int bool_of(const qb_asn_boolean& b) {
    int v = 0x5A;
    if (b.get_value(v) != 0) return -1;
    return v;
}

void fill_simple(SimpleRecord& r) {
    r.number.set_value(5L);
    r.flag.set_value(1);
    r.text.set_value("hi");
}

void fill_outer(Outer& r) {
    r.id.set_value(1000L);
    r.inner.a.set_value(-129L);
    r.inner.b.set_value("xy");
    r.flag.set_value(1);
    r.second.a.set_value(0L);
    r.second.b.set_value(static_cast<const char*>(nullptr));
}

// LoadCase: a block loaded into a fresh OneInt with `version`: the status,
// and the member's value (none: the member is absent).
struct LoadCase {
    const char *name, *hex;
    int version;
    unsigned int status;
    std::optional<long> n;
};

// expect_load: loading the row's block gives its status and member.
void expect_load(const LoadCase& c) {
    SCOPED_TRACE(c.name);
    Block b(c.hex);
    OneInt r(security_off);
    EXPECT_EQ(c.status, qb_asnbase::loadObject(r, c.version, b.buf));
    if (c.n.has_value())
        EXPECT_EQ(*c.n, int_of(r.n));
    else
        EXPECT_FALSE(r.n.is_present());
}

// expect_outer_filled: `r` holds the values fill_outer sets.
void expect_outer_filled(const Outer& r) {
    EXPECT_EQ(1000, int_of(r.id));
    EXPECT_EQ(-129, int_of(r.inner.a));
    EXPECT_EQ("xy", stored_text(r.inner.b));
    EXPECT_EQ(1, bool_of(r.flag));
    EXPECT_EQ(0, int_of(r.second.a));
    EXPECT_EQ("", stored_text(r.second.b));
}

const char* const kOuterBlock =
    "04 05 AC DC 30 1A 02 02 03 E8 30 09 02 02 FF 7F 04 03 78 79 00 01 01 FF"
    " 30 06 02 01 00 04 01 00";

}  // namespace

// ---- qb_asnbase ----

TEST(Asnbase, is_a_sequence) {
    qb_asnbase r(security_off);
    EXPECT_EQ(16u, r.get_tag());
    EXPECT_EQ(0, r.get_class());
    EXPECT_STREQ("SEQUENCE", r.get_type_name());
    EXPECT_EQ(0u, r.get_child_count());
    EXPECT_TRUE(r.is_present());
    // Empty, it saves as an empty sequence.
    EXPECT_EQ(hex("04 05 AC DC 30 00"), save_ok(r, 5));
}

// ---- saveEncoding ----

TEST(SaveEncoding, record_with_members) {
    SimpleRecord r(security_off);
    fill_simple(r);
    EXPECT_EQ(hex("04 05 AC DC 30 0B 02 01 05 01 01 FF 04 03 68 69 00"), save_ok(r, 5));
}

TEST(SaveEncoding, block_is_malloc_owned_by_caller) {
    SimpleRecord r(security_off);
    fill_simple(r);
    unsigned char* const previous = static_cast<unsigned char*>(std::malloc(3));
    ASSERT_NE(nullptr, previous);
    qb_asn_buffer_t out{3, previous};
    EXPECT_EQ(0u, qb_asnbase::saveEncoding(r, 5, out));
    // A fresh block replaces the fields; the caller's previous block is not freed.
    EXPECT_NE(previous, out.data);
    ASSERT_EQ(17u, out.length);
    ASSERT_NE(nullptr, out.data);
    EXPECT_EQ(hex("04 05 AC DC 30"), std::vector<unsigned char>(out.data, out.data + 5));
    std::free(previous);
    qb_asn_buffer_free(out);
}

TEST(SaveEncoding, writes_low_eight_bits_of_version) {
    struct Case {
        int version;
        const char* expected;
    };
    const Case cases[] = {
        {5, "04 05 AC DC 30 00"},     {0, "04 00 AC DC 30 00"},     {255, "04 FF AC DC 30 00"},
        {256, "04 00 AC DC 30 00"},   {0x1234, "04 34 AC DC 30 00"}, {-1, "04 FF AC DC 30 00"},
        {-255, "04 01 AC DC 30 00"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.version);
        qb_asnbase r(security_off);
        EXPECT_EQ(hex(c.expected), save_ok(r, c.version));
    }
}

TEST(SaveEncoding, any_object_can_be_saved) {
    qbasn_integer i(security_off);
    i.set_value(5L);
    EXPECT_EQ(hex("04 07 AC DC 02 01 05"), save_ok(i, 7));
}

TEST(SaveEncoding, mandatory_member_absent_leaves_out_untouched) {
    unsigned char sentinel[2] = {0x11, 0x22};
    {
        SimpleRecord r(security_off);
        qb_asn_buffer_t out{0x55, sentinel};
        EXPECT_EQ(0x106521A0u, qb_asnbase::saveEncoding(r, 5, out));
        EXPECT_EQ(0x55u, out.length);
        EXPECT_EQ(sentinel, out.data);
    }
    {
        SimpleRecord r(security_off);
        r.number.set_value(5L);
        r.flag.set_value(0);  // text left absent
        qb_asn_buffer_t out{0x55, sentinel};
        EXPECT_EQ(0x106521A0u, qb_asnbase::saveEncoding(r, 5, out));
        EXPECT_EQ(0x55u, out.length);
        EXPECT_EQ(sentinel, out.data);
    }
    {
        Outer r(security_off);
        fill_outer(r);
        r.inner.b.empty();  // a nested member absent
        qb_asn_buffer_t out{0x55, sentinel};
        EXPECT_EQ(0x106521A0u, qb_asnbase::saveEncoding(r, 5, out));
        EXPECT_EQ(0x55u, out.length);
        EXPECT_EQ(sentinel, out.data);
    }
    EXPECT_EQ(0x11, sentinel[0]);
    EXPECT_EQ(0x22, sentinel[1]);
}

TEST(SaveEncoding, write_status_passes_through_and_out_untouched) {
    FailingRecord r(0x1065219Bu, false);
    unsigned char sentinel[1] = {0x33};
    qb_asn_buffer_t out{9, sentinel};
    EXPECT_EQ(0x1065219Bu, qb_asnbase::saveEncoding(r, 5, out));
    EXPECT_EQ(9u, out.length);
    EXPECT_EQ(sentinel, out.data);
}

TEST(SaveEncoding, exception_passes_and_buffer_is_released) {
    FailingRecord r(0, true);
    unsigned char sentinel[1] = {0x33};
    qb_asn_buffer_t out{9, sentinel};
    try {
        qb_asnbase::saveEncoding(r, 5, out);
        ADD_FAILURE() << "no exception";
    } catch (const qb_asn_memexception& e) {
        EXPECT_EQ(0x10652065u, e.code);
        EXPECT_STREQ("test", e.file);
    }
    // Nothing reached the caller; the leak checker confirms the release.
    EXPECT_EQ(9u, out.length);
    EXPECT_EQ(sentinel, out.data);
}

TEST(SaveEncoding, secure_record_saves_the_same_bytes) {
    SimpleRecord r(security_on);
    fill_simple(r);
    EXPECT_EQ(hex("04 05 AC DC 30 0B 02 01 05 01 01 FF 04 03 68 69 00"), save_ok(r, 5));
    SimpleRecord l(security_lcs);
    fill_simple(l);
    EXPECT_EQ(hex("04 05 AC DC 30 0B 02 01 05 01 01 FF 04 03 68 69 00"), save_ok(l, 5));
}

TEST(SaveEncoding, saving_twice_repeats_the_bytes) {
    Outer r(security_off);
    fill_outer(r);
    const std::vector<unsigned char> first = save_ok(r, 5);
    EXPECT_EQ(hex(kOuterBlock), first);
    EXPECT_EQ(first, save_ok(r, 5));
}

TEST(SaveEncoding, member_change_reaches_the_saved_record) {
    Outer r(security_off);
    fill_outer(r);
    EXPECT_EQ(hex(kOuterBlock), save_ok(r, 5));
    r.inner.b.set_value("zz");  // a nested member's setter invalidates up to the root
    EXPECT_EQ(hex("04 05 AC DC 30 1A 02 02 03 E8 30 09 02 02 FF 7F 04 03 7A 7A 00 01 01 FF"
                  " 30 06 02 01 00 04 01 00"),
              save_ok(r, 5));
    r.second.a.set_value(-1L);
    r.flag.set_value(0);
    EXPECT_EQ(hex("04 05 AC DC 30 1A 02 02 03 E8 30 09 02 02 FF 7F 04 03 7A 7A 00 01 01 00"
                  " 30 06 02 01 FF 04 01 00"),
              save_ok(r, 5));
    qb_set_strvalue(r.second.b, "long");
    EXPECT_EQ(hex("04 05 AC DC 30 1E 02 02 03 E8 30 09 02 02 FF 7F 04 03 7A 7A 00 01 01 00"
                  " 30 0A 02 01 FF 04 05 6C 6F 6E 67 00"),
              save_ok(r, 5));
}

TEST(SaveEncoding, optional_and_default_members_left_out) {
    OptRecord r(security_off);
    r.n.set_value(1L);
    EXPECT_EQ(hex("04 05 AC DC 30 03 02 01 01"), save_ok(r, 5));
    r.flag.set_value(0);  // equal to its default
    EXPECT_EQ(hex("04 05 AC DC 30 03 02 01 01"), save_ok(r, 5));
    r.flag.set_value(1);
    r.note.set_value("n");
    EXPECT_EQ(hex("04 05 AC DC 30 0A 02 01 01 04 02 6E 00 01 01 FF"), save_ok(r, 5));
}

// ---- loadObject ----

TEST(LoadObject, reads_record_after_header) {
    SimpleRecord r(security_off);
    load_ok(r, 5, "04 05 AC DC 30 0B 02 01 05 01 01 FF 04 03 68 69 00");
    EXPECT_TRUE(r.is_present());
    EXPECT_EQ(5, int_of(r.number));
    EXPECT_EQ(1, bool_of(r.flag));
    EXPECT_EQ("hi", stored_text(r.text));
}

TEST(LoadObject, saved_block_loads_with_same_version_only) {
    SimpleRecord src(security_off);
    fill_simple(src);
    qb_asn_buffer_t block{0, nullptr};
    ASSERT_EQ(0u, qb_asnbase::saveEncoding(src, 5, block));
    {
        SimpleRecord r(security_off);
        EXPECT_EQ(0u, qb_asnbase::loadObject(r, 5, block));
        EXPECT_EQ(5, int_of(r.number));
    }
    {
        SimpleRecord r(security_off);
        EXPECT_EQ(0x10652196u, qb_asnbase::loadObject(r, 6, block));
        EXPECT_FALSE(r.number.is_present());
    }
    {
        SimpleRecord r(security_off);
        EXPECT_EQ(0x10652196u, qb_asnbase::loadObject(r, 4, block));
    }
    qb_asn_buffer_free(block);
}

TEST(LoadObject, one_member_records) {
    const LoadCase cases[] = {
        // The version is compared on its low eight bits.
        {"version 0x105", "04 05 AC DC 30 03 02 01 07", 0x105, 0x00000000, 7},
        {"version -1", "04 FF AC DC 30 03 02 01 07", -1, 0x00000000, 7},
        {"indefinite length record", "04 05 AC DC 30 80 02 01 07 00 00", 5, 0x00000000, 7},
        {"trailing octets are ignored", "04 05 AC DC 30 03 02 01 07 DE AD BE EF", 5, 0x00000000, 7},
        {"trailing zero octets are ignored", "04 05 AC DC 30 03 02 01 08 00 00", 5, 0x00000000, 8},
        // Five octets pass the header; an offset at or past the end reads an empty view.
        {"five octets", "04 05 AC DC 30", 5, 0x10652198, std::nullopt},
        {"offset at the end", "09 05 AC DC 30 03 02 01 07", 5, 0x10652198, std::nullopt},
        {"offset past the end", "FF 05 AC DC 30 03 02 01 07", 5, 0x10652198, std::nullopt},
        // The record's read status passes through.
        {"surplus content", "04 05 AC DC 30 06 02 01 07 02 01 08", 5, 0x106521A5, std::nullopt},
        {"other identifier", "04 05 AC DC 31 03 02 01 07", 5, 0x106521A4, std::nullopt},
        {"length past the end", "04 05 AC DC 30 04 02 01 07", 5, 0x10652198, std::nullopt},
        {"member missing", "04 05 AC DC 30 00", 5, 0x10652198, std::nullopt},
        {"member of another type", "04 05 AC DC 30 03 01 01 FF", 5, 0x106521A4, std::nullopt},
        {"primitive sequence", "04 05 AC DC 10 03 02 01 07", 5, 0x1065219F, std::nullopt},
    };
    for (const LoadCase& c : cases) expect_load(c);
}

TEST(LoadObject, refusals_read_nothing) {
    // Refused at version 5: the header does not match.
    const char* const refused[][2] = {
        {"other version", "04 06 AC DC 30 03 02 01 07"},
        {"older version", "04 04 AC DC 30 03 02 01 07"},
        {"exactly four octets", "04 05 AC DC"},
        {"three octets", "04 05 AC"},
        {"one octet", "04"},
        {"first signature octet wrong", "04 05 AD DC 30 03 02 01 07"},
        {"second signature octet wrong", "04 05 AC DD 30 03 02 01 07"},
        {"signature swapped", "04 05 DC AC 30 03 02 01 07"},
        {"offset zero", "00 05 AC DC 30 03 02 01 07"},
        {"offset zero, no payload", "00 05 AC DC 00"},
    };
    for (const auto& [name, text] : refused) {
        SCOPED_TRACE(name);
        Block b(text);
        OneInt r(security_off);
        r.n.set_value(3L);
        ASSERT_TRUE(r.is_present());
        EXPECT_EQ(0x10652196u, qb_asnbase::loadObject(r, 5, b.buf));
        // The record keeps its value and presence.
        EXPECT_TRUE(r.is_present());
        EXPECT_TRUE(r.n.is_present());
        EXPECT_EQ(3, int_of(r.n));
        // The caller's block is not changed.
        EXPECT_EQ(hex(text), b.bytes);
        EXPECT_EQ(b.bytes.data(), b.buf.data);
        EXPECT_EQ(b.bytes.size(), b.buf.length);
    }
}

TEST(LoadObject, empty_block_is_refused) {
    qb_asn_buffer_t empty{0, nullptr};
    OneInt r(security_off);
    EXPECT_EQ(0x10652196u, qb_asnbase::loadObject(r, 5, empty));
}

TEST(LoadObject, offset_six_reads_from_octet_six_quirk) {
    expect_load({"offset six", "06 05 AC DC EE EE 30 03 02 01 07", 5, 0x00000000, 7});
}

TEST(LoadObject, offset_one_reads_inside_header_quirk) {
    // From octet 1 the reader finds 05 (a NULL identifier), not a SEQUENCE.
    expect_load({"offset one", "01 05 AC DC 30 03 02 01 07", 5, 0x106521A4, std::nullopt});
}

TEST(LoadObject, any_object_can_be_loaded) {
    qbasn_integer i(security_off);
    load_ok(i, 7, "04 07 AC DC 02 01 05");
    EXPECT_EQ(5, int_of(i));
}

TEST(LoadObject, load_replaces_previous_values) {
    Block b(kOuterBlock);
    Outer r(security_off);
    r.id.set_value(1L);
    r.inner.a.set_value(2L);
    r.inner.b.set_value("old");
    r.flag.set_value(0);
    r.second.a.set_value(3L);
    r.second.b.set_value("older");
    EXPECT_EQ(0u, qb_asnbase::loadObject(r, 5, b.buf));
    expect_outer_filled(r);
}

// ---- round trips ----

TEST(EnvelopeRoundTrip, nested_records) {
    Outer src(security_off);
    fill_outer(src);
    qb_asn_buffer_t block{0, nullptr};
    ASSERT_EQ(0u, qb_asnbase::saveEncoding(src, 5, block));
    ASSERT_NE(nullptr, block.data);
    EXPECT_EQ(hex(kOuterBlock), std::vector<unsigned char>(block.data, block.data + block.length));

    Outer dst(security_off);
    EXPECT_FALSE(dst.is_present());
    EXPECT_EQ(0u, qb_asnbase::loadObject(dst, 5, block));
    EXPECT_TRUE(dst.is_present());
    EXPECT_TRUE(dst.inner.is_present());
    EXPECT_TRUE(dst.second.is_present());
    expect_outer_filled(dst);
    EXPECT_EQ(hex(kOuterBlock), save_ok(dst, 5));
    qb_asn_buffer_free(block);
}

TEST(EnvelopeRoundTrip, secure_records) {
    Outer src(security_on);
    fill_outer(src);
    const std::vector<unsigned char> first = save_ok(src, 9);
    ASSERT_FALSE(first.empty());
    EXPECT_EQ(0x09, first[1]);
    std::vector<unsigned char> copy = first;
    qb_asn_buffer_t in{static_cast<unsigned int>(copy.size()), copy.data()};
    Outer dst(security_on);
    EXPECT_EQ(0u, qb_asnbase::loadObject(dst, 9, in));
    EXPECT_EQ("xy", stored_text(dst.inner.b));
    EXPECT_EQ(first, save_ok(dst, 9));
}

TEST(EnvelopeRoundTrip, optional_and_default_members) {
    OptRecord r(security_off);
    load_ok(r, 5, "04 05 AC DC 30 03 02 01 01");
    EXPECT_EQ(1, int_of(r.n));
    EXPECT_FALSE(r.note.is_present());
    EXPECT_FALSE(r.flag.is_present());
    EXPECT_EQ(0, bool_of(r.flag));  // the default
    EXPECT_EQ(hex("04 05 AC DC 30 03 02 01 01"), save_ok(r, 5));

    OptRecord s(security_off);
    load_ok(s, 5, "04 05 AC DC 30 0A 02 01 01 04 02 6E 00 01 01 FF");
    EXPECT_EQ("n", stored_text(s.note));
    EXPECT_EQ(1, bool_of(s.flag));
    EXPECT_EQ(hex("04 05 AC DC 30 0A 02 01 01 04 02 6E 00 01 01 FF"), save_ok(s, 5));
}

// ---- get_encoded_version ----

TEST(GetEncodedVersion, envelope_gives_zero_and_stores_zero_quirk) {
    Block b("04 05 AC DC 30 00");
    unsigned int version = 77;
    EXPECT_EQ(0u, qb_asnbase::get_encoded_version(b.buf, version));
    EXPECT_EQ(0u, version);  // not the version octet 05
}

TEST(GetEncodedVersion, version_zero_fails_and_stores_one_quirk) {
    Block b("04 00 AC DC 30 00");
    unsigned int version = 77;
    EXPECT_EQ(0x10652196u, qb_asnbase::get_encoded_version(b.buf, version));
    EXPECT_EQ(1u, version);
}

TEST(GetEncodedVersion, vectors) {
    struct Case {
        const char *name, *hex;
        unsigned int status, stored;
    };
    const Case cases[] = {
        {"version 5", "04 05 AC DC 30", 0, 0},
        {"version FF", "04 FF AC DC 30", 0, 0},
        {"version 1", "04 01 AC DC 30 03 02 01 07", 0, 0},
        {"offset octet is not examined", "00 05 AC DC 30", 0, 0},
        {"version 0", "04 00 AC DC 30", 0x10652196, 1},
        {"exactly four octets", "04 05 AC DC", 0x10652196, 1},
        {"two octets", "04 05", 0x10652196, 1},
        {"signature wrong", "04 05 AC DD 30", 0x10652196, 1},
        {"signature swapped", "04 05 DC AC 30", 0x10652196, 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Block b(c.hex);
        unsigned int version = 77;
        EXPECT_EQ(c.status, qb_asnbase::get_encoded_version(b.buf, version));
        EXPECT_EQ(c.stored, version);
    }
}

TEST(GetEncodedVersion, empty_block_fails) {
    const qb_asn_buffer_t empty{0, nullptr};
    unsigned int version = 0;
    EXPECT_EQ(0x10652196u, qb_asnbase::get_encoded_version(empty, version));
    EXPECT_EQ(1u, version);
}

TEST(GetEncodedVersion, saved_block_carries_envelope) {
    SimpleRecord r(security_off);
    fill_simple(r);
    qb_asn_buffer_t block{0, nullptr};
    ASSERT_EQ(0u, qb_asnbase::saveEncoding(r, 3, block));
    unsigned int version = 77;
    EXPECT_EQ(0u, qb_asnbase::get_encoded_version(block, version));
    EXPECT_EQ(0u, version);
    qb_asn_buffer_free(block);
}

// ---- qb_v37_asnbase ----

TEST(V37Asnbase, version_member_is_first_child_set_to_one) {
    qb_v37_asnbase r(security_off);
    EXPECT_EQ(1u, r.get_child_count());
    EXPECT_EQ(&r.version, r.get_child(0));
    EXPECT_EQ(&r, r.version.get_parent());
    EXPECT_EQ(2u, r.version.get_tag());
    EXPECT_EQ(0, r.version.get_class());
    EXPECT_FALSE(r.version.is_optional());
    EXPECT_TRUE(r.version.is_present());
    long v = 0;
    EXPECT_EQ(0u, r.version.get_value(v));
    EXPECT_EQ(1, v);
    EXPECT_EQ(16u, r.get_tag());
    EXPECT_STREQ("SEQUENCE", r.get_type_name());
    EXPECT_TRUE(r.is_present());
}

TEST(V37Asnbase, bare_record_saves_integer_one) {
    qb_v37_asnbase r(security_off);
    EXPECT_EQ(hex("04 05 AC DC 30 03 02 01 01"), save_ok(r, 5));
}

TEST(V37Asnbase, derived_record_content_starts_with_integer_one) {
    V37Record r(security_off);
    EXPECT_EQ(&r.version, r.get_child(0));
    EXPECT_EQ(&r.n, r.get_child(1));
    r.n.set_value(9L);
    EXPECT_EQ(hex("04 05 AC DC 30 06 02 01 01 02 01 09"), save_ok(r, 5));
}

TEST(V37Asnbase, derived_record_needs_its_members) {
    V37Record r(security_off);
    qb_asn_buffer_t out{0, nullptr};
    EXPECT_EQ(0x106521A0u, qb_asnbase::saveEncoding(r, 5, out));
    EXPECT_EQ(0u, out.length);
    EXPECT_EQ(nullptr, out.data);
}

TEST(V37Asnbase, round_trip) {
    V37Record r(security_off);
    load_ok(r, 5, "04 05 AC DC 30 06 02 01 01 02 01 09");
    EXPECT_EQ(9, int_of(r.n));
    long v = 0;
    EXPECT_EQ(0u, r.version.get_value(v));
    EXPECT_EQ(1, v);
    EXPECT_EQ(hex("04 05 AC DC 30 06 02 01 01 02 01 09"), save_ok(r, 5));
}

TEST(V37Asnbase, read_takes_version_integer_as_it_comes) {
    V37Record r(security_off);
    load_ok(r, 5, "04 05 AC DC 30 06 02 01 03 02 01 09");
    long v = 0;
    EXPECT_EQ(0u, r.version.get_value(v));
    EXPECT_EQ(3, v);
    EXPECT_EQ(9, int_of(r.n));
}

TEST(V37Asnbase, secure_record_hands_security_to_version) {
    V37Record r(security_on);
    EXPECT_EQ(security_on, r.version.security);
    EXPECT_EQ(security_on, r.version.secure);
    r.n.set_value(9L);
    EXPECT_EQ(hex("04 05 AC DC 30 06 02 01 01 02 01 09"), save_ok(r, 5));
}

// ---- qb_asnbase::set_default_value ----

TEST(AsnbaseDefault, installs_empty_record) {
    qb_asnbase r(security_on);
    EXPECT_EQ(0u, r.set_default_value());
    EXPECT_TRUE(r.is_defaultable());
    qb_asn_object* d = r.get_default_value();
    ASSERT_NE(nullptr, d);
    auto* base = dynamic_cast<qb_asnbase*>(d);
    ASSERT_NE(nullptr, base);
    EXPECT_EQ(&r, d->get_parent());
    EXPECT_EQ(0u, base->get_child_count());
    EXPECT_EQ(16u, d->get_tag());
    EXPECT_EQ(0, d->get_class());
    EXPECT_STREQ("SEQUENCE", d->get_type_name());
    EXPECT_EQ(security_off, d->security);  // not secure, whatever the record is
    EXPECT_EQ(security_off, d->encoding.security);
}

TEST(AsnbaseDefault, second_call_replaces_default) {
    qb_asnbase r(security_off);
    r.set_default_value();
    qb_asn_object* first = r.get_default_value();
    ASSERT_NE(nullptr, first);
    EXPECT_EQ(0u, r.set_default_value());
    ASSERT_NE(nullptr, r.get_default_value());
    EXPECT_TRUE(r.is_defaultable());
    // The first default is deleted with the replacement (the leak checker watches).
}

TEST(AsnbaseDefault, object_form_passes_on) {
    qb_asnbase r(security_off);
    auto* d = new qb_asnbase(security_off);
    EXPECT_EQ(0u, r.set_default_value(d));
    EXPECT_TRUE(r.is_defaultable());
    EXPECT_EQ(d, r.get_default_value());
    EXPECT_EQ(&r, d->get_parent());
}

TEST(AsnbaseDefault, null_leaves_not_defaultable) {
    qb_asnbase r(security_off);
    r.set_default_value();
    EXPECT_EQ(0u, r.set_default_value(static_cast<qb_asn_object*>(nullptr)));
    EXPECT_FALSE(r.is_defaultable());
    EXPECT_EQ(nullptr, r.get_default_value());
}

TEST(AsnbaseDefault, absent_defaulted_member_is_left_out) {
    OuterWithDefault r(security_off);
    r.id.set_value(7L);
    EXPECT_TRUE(r.is_present());
    EXPECT_FALSE(r.inner.is_present());
    EXPECT_TRUE(r.inner.is_defaultable());
    EXPECT_EQ(hex("04 05 AC DC 30 03 02 01 07"), save_ok(r, 5));
    r.inner.a.set_value(1L);
    r.inner.b.set_value("z");
    EXPECT_TRUE(r.inner.is_present());
    EXPECT_EQ(hex("04 05 AC DC 30 0C 02 01 07 30 07 02 01 01 04 02 7A 00"), save_ok(r, 5));
}

TEST(AsnbaseDefault, defaulted_member_round_trip) {
    {
        OuterWithDefault r(security_off);
        load_ok(r, 5, "04 05 AC DC 30 03 02 01 07");
        EXPECT_EQ(7, int_of(r.id));
        EXPECT_FALSE(r.inner.is_present());
        EXPECT_EQ(hex("04 05 AC DC 30 03 02 01 07"), save_ok(r, 5));
    }
    {
        OuterWithDefault r(security_off);
        load_ok(r, 5, "04 05 AC DC 30 0C 02 01 07 30 07 02 01 01 04 02 7A 00");
        EXPECT_TRUE(r.inner.is_present());
        EXPECT_EQ(1, int_of(r.inner.a));
        EXPECT_EQ("z", stored_text(r.inner.b));
        EXPECT_EQ(hex("04 05 AC DC 30 0C 02 01 07 30 07 02 01 01 04 02 7A 00"), save_ok(r, 5));
    }
}
