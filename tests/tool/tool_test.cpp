// tests/tool/tool_test.cpp - the qbasn command-line tool, run as a process.
//
// Every record type the library lists gets sample messages built by the
// library itself from random flat records; the tool must turn each into JSON
// and back into the very same octets, and its dump must show every frame the
// record holds. Malformed input of every kind must end with exit status 1 or
// 2 and exactly one "error: ..." line on standard error - never a crash, a
// sanitizer report or a leak (the sanitizer build runs the tool instrumented).
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "qbasn.h"
#include "qbasn/cxx.h"
#include "support/flat_fields.h"
#include "support/hex.h"
#include "support/record_cases.h"
#include "support/record_random.h"
#include "tool/tool_fixture.h"

namespace {

using namespace qb_tool_test;

// ---- samples built by the library ----

using qb_test::count_of;
using qb_test::word;

std::vector<std::string> record_names() {
    std::vector<std::string> names;
    for (const qb_record_info* info : qb_test::listed_records()) names.push_back(info->flat_name);
    return names;
}

// Records of the later message set begin with an INTEGER version member that
// has no flat field.
bool has_leading_version(const qb_record_info& info) {
    static const std::set<std::string> names = {"kxobj_update_s_t", "kxobj_update_list_s_t", "cert_request_in"};
    return names.count(info.flat_name) != 0;
}

// frames: how many BER frames the record's message holds (its SEQUENCE and
// everything inside), counted from the flat record the message was made of.
size_t frames(const qb_record_info& info, const void* flat);

size_t zero_record_frames(const qb_record_info& info) {
    void* zero = std::calloc(1, info.flat_size);
    const size_t n = frames(info, zero);
    std::free(zero);
    return n;
}

size_t frames(const qb_record_info& info, const void* flat) {
    size_t n = 1 + (has_leading_version(info) ? 1 : 0);
    for (size_t k = 0; k < info.field_count; ++k) {
        const qb_field_info& f = info.fields[k];
        const qb_record_info* e = f.element != nullptr ? f.element() : nullptr;
        const char* base = static_cast<const char*>(flat);
        switch (f.kind) {
            case qb_field_octets:
                n += f.optional && word<unsigned>(flat, f.offset) == 0 ? 0 : 1;  // an empty optional one is absent
                break;
            case qb_field_record:
                n += frames(*e, base + f.offset);
                break;
            case qb_field_optional_record: {
                const void* p = word<const void*>(flat, f.offset);
                n += p != nullptr ? frames(*e, p) : 0;
                break;
            }
            case qb_field_record_list: {
                const char* array = word<const char*>(flat, f.offset2);
                n += 1;
                for (size_t i = 0; i < count_of(f, flat); ++i) n += frames(*e, array + i * e->flat_size);
                break;
            }
            case qb_field_record_ptr_list: {
                const auto* array = word<const void* const*>(flat, f.offset2);
                n += 1;
                for (size_t i = 0; i < count_of(f, flat); ++i)
                    n += array[i] != nullptr ? frames(*e, array[i]) : zero_record_frames(*e);
                break;
            }
            case qb_field_text_list:
            case qb_field_int_list:
                n += 1 + count_of(f, flat);
                break;
            case qb_field_record_slots: {
                const auto* slots = reinterpret_cast<const void* const*>(base + f.offset);
                size_t used = 0;  // slots up to the last used one travel, holes as NULL
                for (size_t i = 0; i < f.size; ++i)
                    if (slots[i] != nullptr) used = i + 1;
                n += 1;
                for (size_t i = 0; i < used; ++i) n += slots[i] != nullptr ? frames(*e, slots[i]) : 1;
                break;
            }
            default:
                n += 1;  // one primitive frame
        }
    }
    return n;
}

struct sample {
    bytes message;
    size_t frames = 0;
};

// The three shapes of sample per record: random, minimal, and rich.
qb_test::random_options sample_options(int shape) {
    qb_test::random_options opt;
    if (shape == 1) {
        opt.max_list = 0;
        opt.max_text = 0;
        opt.max_bytes = 1;
        opt.slot_use = 0;
    } else if (shape == 2) {
        opt.min_list = 1;
        opt.max_list = 3;
        opt.allow_absent = false;
        opt.allow_null_text = false;
        opt.slot_use = 50;
    }
    return opt;
}

// make_sample: a random flat record of type `info`, and the message the
// library encodes from it (typed entry point, or the untyped one when
// object_type is not 0).
sample make_sample(const qb_record_info& info, std::uint64_t seed, int shape, unsigned object_type = 0, int version = 0) {
    sample s;
    void* flat = std::calloc(1, info.flat_size);
    qb_test::random_source rnd(seed);
    qb_test::fill_random(info, flat, rnd, sample_options(shape));
    s.frames = frames(info, flat);
    qb_asn_buffer_t out{};
    const unsigned status = object_type == 0 ? info.encode(out, flat, 0)
                                             : static_cast<unsigned>(qbasn_encode_obj(version, flat, object_type, out));
    qbasn::buffer owned(out);
    EXPECT_EQ(status, 0u) << info.flat_name << " seed " << seed << ": " << qb_test::describe(info, flat);
    s.message.assign(owned.bytes().begin(), owned.bytes().end());
    qb_test::free_built(info, flat);
    std::free(flat);
    return s;
}

// accepted_names: the names a user may give a record: flat name, type name,
// short form.
std::vector<std::string> accepted_names(const qb_record_info& info) {
    std::vector<std::string> names = {info.flat_name, info.name};
    std::string flat = info.flat_name;
    for (const char* suffix : {"_s_t", "_t"}) {
        const size_t n = std::strlen(suffix);
        if (flat.size() > n && flat.compare(flat.size() - n, n, suffix) == 0) {
            names.push_back(flat.substr(0, flat.size() - n));
            break;
        }
    }
    return names;
}

const std::regex kFrameLine(R"(^ *[0-9]+ +[0-9]+ .*(prim|cons) len=([0-9]+|indef).*$)");

// A line of content shown below its frame: the offset, no depth, hex octets
// (up to 16) and their preview.
const std::regex kHexLine(R"(^ *[0-9]+     +([0-9A-F]{2} ?)+ *  \|.*\|$)");

// frame_lines: the frame lines of a dump (every line after the envelope line
// but the lines of hex below a frame).
std::vector<std::string> frame_lines(const std::string& dump) {
    std::vector<std::string> lines = lines_of(dump);
    if (!lines.empty()) lines.erase(lines.begin());
    std::erase_if(lines, [](const std::string& line) { return std::regex_match(line, kHexLine); });
    return lines;
}

// hex_lines: the lines of hex below the frames of a dump.
size_t hex_lines(const std::string& dump) {
    size_t n = 0;
    for (const std::string& line : lines_of(dump)) n += std::regex_match(line, kHexLine) ? 1 : 0;
    return n;
}

// ---- every record type, through JSON and back ----

class RecordRoundTrip : public ToolTest, public ::testing::WithParamInterface<std::string> {};

TEST_P(RecordRoundTrip, encode_of_decode_gives_the_message_and_dump_shows_every_frame) {
    const qb_record_info* info = qb_record_find(GetParam().c_str());
    ASSERT_NE(info, nullptr);
    const std::vector<std::string> names = accepted_names(*info);
    for (int shape = 0; shape < 3; ++shape) {
        for (std::uint64_t seed = 1; seed <= 2; ++seed) {
            SCOPED_TRACE("shape " + std::to_string(shape) + " seed " + std::to_string(seed));
            const sample s = make_sample(*info, seed * 7919 + static_cast<std::uint64_t>(shape), shape);
            ASSERT_FALSE(s.message.empty());
            // Every name form finds the record (the short form only where it is unambiguous).
            std::string name = names[static_cast<size_t>(shape) % names.size()];
            if (qb_record_find(name.c_str()) != info) name = info->flat_name;
            SCOPED_TRACE("--type " + name);
            const bool as_hex = seed == 2;  // the second sample travels as hex text
            const fs::path msg = path("message.bin"), json = path("record.json"), back = path("back.bin");
            if (as_hex)
                write_file(msg, hex_of(s.message));
            else
                write_file_octets(msg, s.message);

            std::vector<std::string> decode = {"decode", "--type", name, msg.string()};
            if (as_hex) decode.push_back("--hex");
            const run_result d = run(decode);
            EXPECT_SUCCESS(d);
            ASSERT_EQ(d.code, 0);
            ASSERT_FALSE(d.out.empty());
            EXPECT_EQ(d.out.front(), '{');
            EXPECT_EQ(d.out.back(), '\n');
            write_file(json, d.out);

            std::vector<std::string> encode = {"encode", "--type", name, json.string()};
            if (as_hex) {
                encode.push_back("--hex");
            } else {
                encode.push_back("-o");
                encode.push_back(back.string());
            }
            const run_result e = run(encode);
            EXPECT_SUCCESS(e);
            const bytes again = as_hex ? hex(e.out.c_str()) : read_file_octets(back);
            EXPECT_EQ(hex_of(again), hex_of(s.message)) << "JSON was:\n" << d.out;

            // The dump: the envelope line, then exactly one line per frame.
            std::vector<std::string> dump = {"dump", "--type", name, msg.string()};
            if (as_hex) dump.push_back("--hex");
            const run_result u = run(dump);
            EXPECT_SUCCESS(u);
            const std::vector<std::string> all = lines_of(u.out);
            ASSERT_FALSE(all.empty());
            EXPECT_EQ(all[0], "envelope: header length 4, version 2, signature AC DC");
            const std::vector<std::string> lines = frame_lines(u.out);
            EXPECT_EQ(lines.size(), s.frames) << u.out;
            for (const std::string& line : lines) EXPECT_TRUE(std::regex_match(line, kFrameLine)) << line;
            ASSERT_FALSE(lines.empty());
            const std::string top = "     4   0 SEQUENCE cons len=";
            EXPECT_EQ(lines[0].rfind(top, 0), 0u) << lines[0];
            EXPECT_NE(lines[0].find(std::string("  (") + info->flat_name + ")"), std::string::npos) << lines[0];

            // Without --type the same frames, unlabelled.
            std::vector<std::string> plain = {"dump", msg.string()};
            if (as_hex) plain.push_back("--hex");
            const run_result p = run(plain);
            EXPECT_SUCCESS(p);
            EXPECT_EQ(frame_lines(p.out).size(), s.frames);
            EXPECT_EQ(p.out.find("  ("), std::string::npos) << p.out;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(EveryRecord, RecordRoundTrip, ::testing::ValuesIn(record_names()),
                         [](const ::testing::TestParamInfo<std::string>& i) { return i.param; });

// ---- the record list ----

TEST_F(ToolTest, types_lists_every_record_of_the_library_in_its_order) {
    const run_result r = run({"types"});
    EXPECT_SUCCESS(r);
    std::vector<std::string> lines = lines_of(r.out);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines[0].rfind("FLAT NAME ", 0), 0u) << lines[0];  // the header
    std::vector<std::string> listed;
    for (size_t i = 1; i < lines.size(); ++i) listed.push_back(lines[i].substr(0, lines[i].find(' ')));
    EXPECT_EQ(listed, record_names());
}

TEST_F(ToolTest, types_shows_the_definition_and_json_shape_of_one_record) {
    const run_result r = run({"types", "attr"});
    EXPECT_SUCCESS(r);
    EXPECT_NE(r.out.find("attr_t ::= SEQUENCE {\n    name UTF8String,\n    values SEQUENCE OF value_t\n}"), std::string::npos)
        << r.out;
    EXPECT_NE(r.out.find("\"values\": <array of objects: value_s_t>"), std::string::npos) << r.out;
    expect_error(run({"types", "no_such_record"}), 2, "unknown record type 'no_such_record'");
}

TEST_F(ToolTest, record_names_take_flat_type_and_short_forms) {
    // value_s_t {5, "a", 01}.
    const bytes message = hex("04 02 AC DC 30 09 02 01 05 0C 01 61 04 01 01");
    write_file_octets(path("m.bin"), message);
    for (const char* name : {"value_s_t", "value_t", "value"}) {
        SCOPED_TRACE(name);
        expect_clean(run({"decode", "--type", name, path("m.bin").string()}),
                     "{\n  \"number\": 5,\n  \"text\": \"a\",\n  \"bytes\": \"01\"\n}\n");
    }
    // uuid_t by its flat name (which ends in _t) and its short form.
    const run_result u = run({"encode", "--type", "uuid", "--hex"},
                             R"({"time_low": 4294967295, "time_mid": 65535, "time_hi_and_version": 1,
                                 "clock_seq_hi_and_reserved": 255, "clock_seq_low": 0, "node": "0102030405FF"})");
    EXPECT_SUCCESS(u);
    // 0xFFFFFFFF travels as INTEGER -1 (32-bit two's complement), 65535 as 00 FF FF.
    EXPECT_EQ(u.out, "04 02 AC DC 30 1A 02 01 FF 02 03 00 FF FF 02 01\n01 02 02 00 FF 02 01 00 04 06 01 02 03 04 05 FF\n");
}

// ---- exact output ----

TEST_F(ToolTest, dump_of_a_record_names_its_fields) {
    write_file_octets(path("m.bin"), hex("04 02 AC DC 30 09 02 01 05 0C 01 61 04 01 01"));
    expect_clean(run({"dump", "--type", "value", path("m.bin").string()}),
                 "envelope: header length 4, version 2, signature AC DC\n"
                 "     4   0 SEQUENCE cons len=9  (value_s_t)\n"
                 "     6   1   INTEGER prim len=1  5  (number)\n"
                 "     9   1   UTF8String prim len=1  \"a\"  (text)\n"
                 "    12   1   OCTET STRING prim len=1  01  |.|  (bytes)\n");
}

TEST_F(ToolTest, dump_reads_any_ber_without_envelope) {
    // Indefinite length, a context tag, BOOLEAN, NULL, OID, BIT STRING,
    // BMPString, a high tag number and the end-of-contents.
    const std::string input =
        "30 80  A1 03 02 01 07  01 01 FF  05 00  06 03 2A 86 48  03 02 04 F0\n"
        "1E 04 00 68 00 69  9F 81 00 01 AA  00 00  # the end-of-contents\n";
    expect_clean(run({"dump", "--hex"}, input),
                 "no envelope\n"
                 "     0   0 SEQUENCE cons len=indef\n"
                 "     2   1   [CONTEXT 1] cons len=3\n"
                 "     4   2     INTEGER prim len=1  7\n"
                 "     7   1   BOOLEAN prim len=1  TRUE\n"
                 "    10   1   NULL prim len=0\n"
                 "    12   1   OBJECT IDENTIFIER prim len=3  1.2.840 (ISO US Member Body)\n"
                 "    17   1   BIT STRING prim len=2  unused=4  F0\n"
                 "    21   1   BMPString prim len=4  \"hi\"\n"
                 "    27   1   [CONTEXT 128] prim len=1  AA  |.|\n"
                 "    32   1   EOC prim len=0\n");
}

TEST_F(ToolTest, dump_escapes_control_characters_in_texts) {
    // A UTF8String holding ESC [ 2 J and a lone FF octet: nothing reaches the terminal raw.
    expect_clean(run({"dump", "--hex"}, "0C 05 1B 5B 32 4A FF"),
                 "no envelope\n     0   0 UTF8String prim len=5  \"\\x1B[2J\\xFF\"\n");
}

TEST_F(ToolTest, dump_no_envelope_reads_from_offset_zero) {
    expect_clean(run({"dump", "--hex", "--no-envelope"}, "04 02 AC DC"),
                 "no envelope\n     0   0 OCTET STRING prim len=2  AC DC  |..|\n");
}

TEST_F(ToolTest, decode_prints_absent_optionals_and_empty_lists) {
    // attr_s_t {"size", no values}.
    write_file_octets(path("m.bin"), hex("04 02 AC DC 30 08 0C 04 73 69 7A 65 30 00"));
    expect_clean(run({"decode", "--type", "attr", path("m.bin").string()}), "{\n  \"name\": \"size\",\n  \"values\": []\n}\n");
}

// ---- the untyped entry points ----

TEST_F(ToolTest, object_type_262_is_a_bare_integer_behind_the_callers_version) {
    expect_clean(run({"encode", "--object-type", "262", "--envelope-version", "7", "--hex"}, "0"), "04 07 AC DC 02 01 00\n");
    expect_clean(run({"encode", "--object-type", "262", "--envelope-version", "7", "--hex"}, "-129"),
                 "04 07 AC DC 02 02 FF 7F\n");

    for (int v : {0, 1, -1, 127, 128, -128, -129, 2147483647, -2147483647 - 1}) {
        SCOPED_TRACE(v);
        const run_result enc = run({"encode", "--object-type", "262", "--envelope-version", "200", "-o",
                                    path("i.bin").string()},
                                   std::to_string(v));
        EXPECT_SUCCESS(enc);
        expect_clean(run({"decode", "--object-type", "262", "--envelope-version", "200", path("i.bin").string()}),
                     std::to_string(v) + "\n");
    }
    // Another version is refused by the library: 0x10652196.
    const run_result wrong = run({"decode", "--object-type", "262", "--envelope-version", "6", "--hex"}, "04 07 AC DC 02 01 00");
    expect_error(wrong, 1, "0x10652196");
    expect_error(run({"encode", "--object-type", "262", "--envelope-version", "7"}, "2147483648"), 2,
                 "out of range for a signed 32-bit integer");
}

TEST_F(ToolTest, object_types_259_and_260_round_trip_through_json) {
    struct untyped {
        unsigned type;
        const char* flat_name;
    };
    for (const untyped u : {untyped{259, "cert_request_in"}, untyped{260, "kxobj_update_list_s_t"}}) {
        SCOPED_TRACE(u.flat_name);
        const qb_record_info* info = qb_record_find(u.flat_name);
        ASSERT_NE(info, nullptr) << "the library does not describe " << u.flat_name;
        for (int shape = 0; shape < 3; ++shape) {
            SCOPED_TRACE(shape);
            const sample s = make_sample(*info, 40 + static_cast<std::uint64_t>(shape), shape, u.type, 5);
            write_file_octets(path("m.bin"), s.message);
            const std::string type = std::to_string(u.type);
            const run_result d = run({"decode", "--object-type", type, "--envelope-version", "5", path("m.bin").string()});
            EXPECT_SUCCESS(d);
            write_file(path("r.json"), d.out);
            const run_result e = run({"encode", "--object-type", type, "--envelope-version", "5", "-o",
                                      path("back.bin").string(), path("r.json").string()});
            EXPECT_SUCCESS(e);
            EXPECT_EQ(hex_of(read_file_octets(path("back.bin"))), hex_of(s.message)) << d.out;
            const run_result p = run({"dump", "--type", u.flat_name, path("m.bin").string()});
            EXPECT_SUCCESS(p);
            EXPECT_EQ(frame_lines(p.out).size(), s.frames) << p.out;
            EXPECT_NE(p.out.find("(version)"), std::string::npos) << p.out;
        }
    }
    // The certificate request of the record description: texts carry their zero octet.
    expect_clean(run({"encode", "--object-type", "259", "--envelope-version", "1", "--hex"},
                     R"({"text_a": "x", "text_b": null, "body": null})"),
                 "04 01 AC DC 30 0A 02 01 01 04 02 78 00 04 01 00\n");
}

// ---- the examples in examples/ ----

TEST_F(ToolTest, examples_encode_to_their_messages_and_decode_to_their_json) {
    const fs::path examples = QBASN_EXAMPLES_DIR;
    size_t checked = 0;
    for (const fs::directory_entry& entry : fs::directory_iterator(examples)) {
        if (entry.path().extension() != ".json") continue;
        const std::string stem = entry.path().stem().string();
        SCOPED_TRACE(stem);
        const fs::path message = examples / "messages" / (stem + ".bin");
        ASSERT_TRUE(fs::exists(message)) << message;
        // object_<type>_v<version>: the untyped entry point; anything else names the record.
        std::vector<std::string> how;
        std::smatch m;
        static const std::regex untyped(R"(object_([0-9]+)_v([0-9]+))");
        if (std::regex_match(stem, m, untyped))
            how = {"--object-type", m[1].str(), "--envelope-version", m[2].str()};
        else
            how = {"--type", stem};

        std::vector<std::string> encode = {"encode", entry.path().string(), "-o", path("out.bin").string()};
        encode.insert(encode.end(), how.begin(), how.end());
        const run_result e = run(encode);
        EXPECT_SUCCESS(e);
        EXPECT_EQ(hex_of(read_file_octets(path("out.bin"))), hex_of(read_file_octets(message)));

        std::vector<std::string> decode = {"decode", message.string()};
        decode.insert(decode.end(), how.begin(), how.end());
        expect_clean(run(decode), read_file(entry.path()));
        ++checked;
    }
    EXPECT_GE(checked, 5u);
}

// ---- malformed input: one clear line, a nonzero exit, no crash ----

TEST_F(ToolTest, empty_input_is_refused) {
    write_file_octets(path("empty.bin"), {});
    expect_error(run({"dump", path("empty.bin").string()}), 2, "offset 0: the input is empty");
    expect_error(run({"decode", "--type", "attrlist", path("empty.bin").string()}), 1, "0x10652196");
    expect_error(run({"encode", "--type", "attrlist", path("empty.bin").string()}), 2, "JSON parse error at line 1");
    expect_error(run({"dump", "--hex"}, "  # nothing but a comment\n"), 2, "offset 0: the input is empty");
}

TEST_F(ToolTest, truncated_messages_are_refused) {
    const qb_record_info* info = qb_record_find("attrlist_s_t");
    ASSERT_NE(info, nullptr);
    const sample s = make_sample(*info, 99, 2);
    ASSERT_GT(s.message.size(), 40u);
    // Every cut in the first 40 octets (envelope, outer frames, first
    // members), then every ninth, and the last octet missing.
    std::vector<size_t> cuts;
    for (size_t n = 5; n < 40; ++n) cuts.push_back(n);
    for (size_t n = 40; n < s.message.size(); n += 9) cuts.push_back(n);
    cuts.push_back(s.message.size() - 1);
    for (size_t n : cuts) {
        SCOPED_TRACE(n);
        write_file_octets(path("cut.bin"), bytes(s.message.begin(), s.message.begin() + static_cast<std::ptrdiff_t>(n)));
        expect_error(run({"dump", path("cut.bin").string()}), 2, "offset ");
        expect_error(run({"decode", "--type", "attrlist", path("cut.bin").string()}), 1, "error: 0x");
    }
    // Cut inside the identifier and the length octets.
    expect_error(run({"dump", "--hex"}, "1F 81"), 2, "offset 0: identifier octets cut off");
    expect_error(run({"dump", "--hex"}, "30"), 2, "offset 0: length octets missing");
    expect_error(run({"dump", "--hex"}, "30 82 01"), 2, "offset 0: length octets cut off");
    expect_error(run({"dump", "--hex"}, "30 80 02 01 05"), 2, "offset 0: end-of-contents missing");
    expect_error(run({"dump", "--hex"}, "04 80 00 00"), 2, "offset 0: indefinite length on a primitive frame");
    expect_error(run({"dump", "--hex"}, "04 85 01 00 00 00 00"), 2, "offset 0: length larger than 32 bits");
    expect_error(run({"dump", "--hex"}, "30 04 02 03 01 02"), 2, "offset 2: length 3 runs past the end of the enclosing frame");
    expect_error(run({"dump", "--hex"}, "09 02 AC DC 30"), 2, "offset 0: header length 9 leaves no record");
}

// Lengths that do not fit 32 bits: dump and decode both refuse them (the
// library with 0x10652198), and both accept leading zero length octets.
TEST_F(ToolTest, dump_and_decode_agree_on_lengths_beyond_32_bits) {
    const std::string tail = "02 01 2A 0C 04 72 65 61 64 04 04 DE AD BE EF";
    std::string length126 = "FE 01";
    for (int i = 0; i < 121; ++i) length126 += " 00";
    length126 += " 00 00 00 0F ";
    const std::vector<std::string> refused = {
        "04 02 AC DC 30 85 01 00 00 00 0F " + tail,
        "04 02 AC DC 30 " + length126 + tail,
        "04 02 AC DC 30 14 02 85 01 00 00 00 01 2A 0C 04 72 65 61 64 04 04 DE AD BE EF",
    };
    for (const std::string& msg : refused) {
        SCOPED_TRACE(msg);
        expect_error(run({"dump", "--hex"}, msg), 2, "length larger than 32 bits");
        expect_error(run({"decode", "--type", "value", "--hex"}, msg), 1, "error: 0x10652198");
    }
    const std::string zeros = "04 02 AC DC 30 85 00 00 00 00 0F " + tail;
    EXPECT_SUCCESS(run({"dump", "--hex"}, zeros));
    const run_result decoded = run({"decode", "--type", "value", "--hex"}, zeros);
    EXPECT_SUCCESS(decoded);
    EXPECT_NE(decoded.out.find("\"read\""), std::string::npos) << decoded.out;
}

TEST_F(ToolTest, deep_nesting_is_refused_beyond_256_levels) {
    auto nested = [](int levels) {
        std::string s;
        for (int i = 0; i < levels; ++i) s += "30 80 ";
        for (int i = 0; i < levels; ++i) s += "00 00 ";
        return s;
    };
    const run_result ok = run({"dump", "--hex"}, nested(257));
    EXPECT_SUCCESS(ok);
    EXPECT_EQ(frame_lines(ok.out).size(), 2u * 257u);  // each frame and its end-of-contents
    expect_error(run({"dump", "--hex"}, nested(258)), 2, "offset 514: nesting deeper than 256 levels");
    expect_error(run({"dump", "--hex"}, nested(100000)), 2, "nesting deeper than 256 levels");
    expect_error(run({"decode", "--type", "attrlist", "--hex"}, "04 02 AC DC " + nested(5000)), 1, "error: 0x");
}

TEST_F(ToolTest, random_bytes_never_crash_the_tool) {
    const std::vector<const qb_record_info*> records = qb_test::listed_records();
    ASSERT_FALSE(records.empty());
    qb_test::random_source rnd(2024);
    for (int i = 0; i < 60; ++i) {
        SCOPED_TRACE(i);
        bytes b(rnd.below(200));
        for (unsigned char& c : b) c = static_cast<unsigned char>(rnd.next());
        if (i % 2 == 0 && b.size() > 5) {  // half of them behind a valid envelope
            b[0] = 0x04;
            b[1] = 0x02;
            b[2] = 0xAC;
            b[3] = 0xDC;
            b[4] = 0x30;
        }
        write_file_octets(path("rnd.bin"), b);
        const run_result d = run({"dump", path("rnd.bin").string()});
        if (d.code != 0) expect_error(d, 2, "offset ");
        else EXPECT_EQ(d.err, "");
        const char* type = records[rnd.below(static_cast<std::uint32_t>(records.size()))]->flat_name;
        const run_result c = run({"decode", "--type", type, path("rnd.bin").string()});
        if (c.code != 0) expect_error(c, 1, "error: 0x");
        else EXPECT_EQ(c.err, "");
    }
}

TEST_F(ToolTest, a_message_decoded_as_the_wrong_type_is_refused) {
    // value_s_t {5, "a", 01} read as a uuid_t: the second member is no INTEGER.
    write_file_octets(path("m.bin"), hex("04 02 AC DC 30 09 02 01 05 0C 01 61 04 01 01"));
    expect_error(run({"decode", "--type", "uuid_t", path("m.bin").string()}), 1,
                 "error: 0x106521A4 identifier does not match the expected tag and class (decoding uuid_t; offset 9, time_mid: expected INTEGER, found UTF8String)");
    expect_error(run({"decode", "--type", "nosuch", path("m.bin").string()}), 2, "unknown record type 'nosuch'");
    expect_error(run({"dump", "--type", "nosuch", path("m.bin").string()}), 2, "unknown record type 'nosuch'");
}

TEST_F(ToolTest, bad_hex_input_names_line_and_column) {
    expect_error(run({"dump", "--hex"}, "30 00\n0G"), 2, "hex input, line 2, column 2: 'G' is not a hex digit");
    expect_error(run({"dump", "--hex"}, "30 00 0"), 2, "hex input, line 1, column 7: odd number of hex digits");
    expect_error(run({"decode", "--type", "value", "--hex"}, "04 02 AC DC 30 x"), 2, "'x' is not a hex digit");
}

// A value_s_t in JSON, on several lines, for the tests of JSON errors.
std::string value_json(const std::string& number, const std::string& text, const std::string& bytes_field) {
    return "{\n  \"number\": " + number + ",\n  \"text\": " + text + ",\n  \"bytes\": " + bytes_field + "\n}\n";
}

TEST_F(ToolTest, bad_json_names_the_line) {
    expect_error(run({"encode", "--type", "value"}, "{\n  \"number\": 5,\n  \"text\": \"a\"\n  \"bytes\": \"\"\n}"), 2,
                 "JSON parse error at line 4, column 9");
    expect_error(run({"encode", "--type", "value"}, "{\"number\": 5, "), 2, "JSON parse error at line 1");
    expect_error(run({"encode", "--type", "value"}, "[1, 2]"), 2, "JSON line 1: top level: expected an object (value_s_t), got an array");
    expect_error(run({"encode", "--type", "value"}, "{\"number\": 1, \"number\": 2, \"text\": \"\", \"bytes\": \"\"}"), 2,
                 "number: field given twice");
    // Comments are allowed in hand-written messages.
    expect_clean(run({"encode", "--type", "value", "--hex"},
                     "// a value\n{\"number\": 5, /* five */ \"text\": \"a\", \"bytes\": \"01\"}"),
                 "04 02 AC DC 30 09 02 01 05 0C 01 61 04 01 01\n");
}

TEST_F(ToolTest, deeply_nested_json_is_refused) {
    const std::string deep = std::string(100000, '[') + std::string(100000, ']');
    expect_error(run({"encode", "--type", "value"}, deep), 2, "JSON line 1: nested deeper than 256 levels");
    const std::string inside = "{\"number\": 1, \"text\": \"\", \"bytes\": \"\",\n \"x\": " + std::string(300, '[') +
                               std::string(300, ']') + "}";
    expect_error(run({"encode", "--type", "value"}, inside), 2, "JSON line 2: nested deeper than 256 levels");
}

TEST_F(ToolTest, wrong_json_types_name_the_field_and_line) {
    // value_s_t {"number": 5, "text": "a", "bytes": ""} (one member a line,
    // from line 2 on) with one member wrong: the message names the member
    // and its line.
    struct wrong {
        const char* value;  // the member's JSON
        const char* why;    // the message after "JSON line <n>: <member>"
    };
    const auto expect_refused = [this](const std::string& json, const std::string& message) {
        SCOPED_TRACE(json);
        expect_error(run({"encode", "--type", "value_s_t"}, json), 2, message);
    };
    for (const wrong& w : {wrong{"\"5\"", ": expected an integer (a signed 32-bit integer), got a string"},
                           wrong{"5.5", ": expected an integer (a signed 32-bit integer), got a fractional number"},
                           wrong{"true", ": expected an integer (a signed 32-bit integer), got a boolean"},
                           wrong{"2147483648", ": 2147483648 is out of range for a signed 32-bit integer"},
                           wrong{"-2147483649", ": -2147483649 is out of range"}})
        expect_refused(value_json(w.value, "\"a\"", "\"\""), std::string("JSON line 2: number") + w.why);
    for (const wrong& w : {wrong{"7", ": expected a string, null or {\"hex\": \"...\"}, got a number"},
                           wrong{"\"a\\u0000b\"", ": a text cannot hold a zero character"},
                           wrong{"{\"hex\": \"ZZ\"}", ".hex: not a hex string: character 1 is not a hex digit"}})
        expect_refused(value_json("5", w.value, "\"\""), std::string("JSON line 3: text") + w.why);
    for (const wrong& w : {wrong{"null", ": expected a hex string, got null"},
                           wrong{"\"0G\"", ": not a hex string: character 2 is not a hex digit"},
                           wrong{"\"ABC\"", ": not a hex string: odd number of hex digits"},
                           wrong{"[1]", ": expected a hex string, got an array"}})
        expect_refused(value_json("5", "\"a\"", w.value), std::string("JSON line 4: bytes") + w.why);
    // Nested: the path of the field inside lists and records.
    const std::string attrlist =
        "{\n  \"attrs\": [\n    {\"name\": \"a\", \"values\": []},\n    {\"name\": \"b\",\n     \"values\": [\n"
        "       {\"number\": 1, \"text\": \"\", \"bytes\": \"\"},\n       {\"number\": 1, \"text\": [], \"bytes\": \"\"}\n"
        "     ]}\n  ]\n}\n";
    expect_error(run({"encode", "--type", "attrlist"}, attrlist), 2, "JSON line 7: attrs[1].values[1].text: expected a string");
    expect_error(run({"encode", "--type", "attrlist"}, "{\"attrs\": {}}"), 2, "attrs: expected an array (attr_s_t), got an object");
    // Fixed octets take exactly their size; narrow words their range.
    const std::string uuid = R"({"time_low": 1, "time_mid": 2, "time_hi_and_version": 3,
 "clock_seq_hi_and_reserved": 4, "clock_seq_low": 5, "node": "0102"})";
    expect_error(run({"encode", "--type", "uuid"}, uuid), 2, "JSON line 2: node: expected exactly 6 octets (12 hex digits), got 2");
    const std::string uuid_wide = R"({"time_low": -1, "time_mid": 65536, "time_hi_and_version": 3,
 "clock_seq_hi_and_reserved": 4, "clock_seq_low": 5, "node": "010203040506"})";
    expect_error(run({"encode", "--type", "uuid"}, uuid_wide), 2, "time_low: -1 is out of range for an unsigned 32-bit integer");
    const std::string uuid_short = R"({"time_low": 1, "time_mid": 65536, "time_hi_and_version": 3,
 "clock_seq_hi_and_reserved": 256, "clock_seq_low": 5, "node": "010203040506"})";
    expect_error(run({"encode", "--type", "uuid"}, uuid_short), 2, "time_mid: 65536 is out of range for an unsigned 16-bit integer (0..65535)");
}

TEST_F(ToolTest, missing_and_unknown_fields_are_named) {
    expect_error(run({"encode", "--type", "value"}, "{\n  \"number\": 5,\n  \"text\": \"a\"\n}"), 2,
                 "JSON line 1: top level: missing field \"bytes\" (value_s_t has number, text, bytes)");
    expect_error(run({"encode", "--type", "value"}, "{\"number\": 5, \"text\": \"a\", \"bytes\": \"\",\n \"colour\": 1}"), 2,
                 "JSON line 2: colour: unknown field (value_s_t has number, text, bytes)");
    expect_error(run({"encode", "--type", "attrlist"}, "{\"attrs\": [\n {\"name\": \"a\"}\n]}"), 2,
                 "JSON line 2: attrs[0]: missing field \"values\"");
}

TEST_F(ToolTest, a_failed_encode_leaves_no_output_file) {
    const fs::path out = path("out.bin");
    expect_error(run({"encode", "--type", "value", "-o", out.string()}, "{\"number\": 5}"), 2, "missing field");
    EXPECT_FALSE(fs::exists(out));
    size_t files = 0;
    for (const auto& e : fs::directory_iterator(dir_)) files += e.path().filename().string().rfind("out.bin", 0) == 0 ? 1 : 0;
    EXPECT_EQ(files, 0u) << "a temporary file was left behind";
    expect_error(run({"encode", "--type", "value", "-o", (dir_ / "no" / "such" / "dir.bin").string()},
                     value_json("5", "\"a\"", "\"\"")),
                 2, "cannot create");
}

TEST_F(ToolTest, binary_output_to_a_terminal_is_refused) {
    // script(1) gives the tool a terminal as its standard output.
    write_file(path("v.json"), value_json("5", "\"a\"", "\"01\""));
    const std::string cmd = "script -qec " + quote(quote(QBASN_TOOL_PATH) + " encode --type value " + quote(path("v.json").string())) +
                            " /dev/null </dev/null >" + quote(path("tty.out").string()) + " 2>&1";
    const int status = std::system(cmd.c_str());
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 2);
    EXPECT_NE(read_file(path("tty.out")).find("error: refusing to write binary octets to a terminal; use -o FILE or --hex"),
              std::string::npos);
}

// ---- the local code set ----

TEST_F(ToolTest, lcs_texts_in_a_latin1_locale_travel_as_hex) {
    // value_s_t {1, "héllo" in UTF-8, no bytes}.
    const bytes message = hex("04 02 AC DC 30 0D 02 01 01 0C 06 68 C3 A9 6C 6C 6F 04 00");
    write_file_octets(path("m.bin"), message);
    const run_result latin = run({"decode", "--type", "value", "--lcs", path("m.bin").string()}, "", "LC_ALL=en_US.ISO-8859-1");
    EXPECT_SUCCESS(latin);
    // In ISO-8859-1 the text is 68 E9 6C 6C 6F, which is not UTF-8: kept as hex.
    EXPECT_EQ(latin.out, "{\n  \"number\": 1,\n  \"text\": {\"hex\": \"68E96C6C6F\"},\n  \"bytes\": \"\"\n}\n");
    write_file(path("r.json"), latin.out);
    expect_clean(run({"encode", "--type", "value", "--lcs", "--hex", path("r.json").string()}, "",
                     "LC_ALL=en_US.ISO-8859-1"),
                 "04 02 AC DC 30 0D 02 01 01 0C 06 68 C3 A9 6C 6C\n6F 04 00\n");
    // Without --lcs the UTF-8 text is a JSON string, whatever the locale.
    const run_result plain = run({"decode", "--type", "value", path("m.bin").string()}, "", "LC_ALL=en_US.ISO-8859-1");
    EXPECT_SUCCESS(plain);
    EXPECT_NE(plain.out.find("\"text\": \"h\xC3\xA9llo\""), std::string::npos) << plain.out;
    // In the C locale the text cannot be converted: the library's status,
    // with the library's own exception line folded into the one error line.
    const run_result c = run({"decode", "--type", "value", "--lcs", path("m.bin").string()}, "", "LC_ALL=C");
    expect_error(c, 1, "error: 0x106521AB code-set conversion failed (decoding value_s_t; library: Exception: ");
}

// ---- usage ----

TEST_F(ToolTest, usage_errors_exit_2_with_one_line) {
    expect_error(run({}), 2, "A subcommand is required");
    expect_error(run({"frobnicate"}), 2, "unknown command 'frobnicate'");
    expect_error(run({"decode", "--bogus"}), 2, "--bogus");
    expect_error(run({"decode", "x.bin"}), 2, "decode needs --type NAME or --object-type");
    expect_error(run({"encode", "--object-type", "261", "--envelope-version", "1"}), 2, "261");
    expect_error(run({"encode", "--object-type", "260"}), 2, "--envelope-version");
    expect_error(run({"decode", "--type", "value", "--envelope-version", "3"}), 2, "--object-type");
    expect_error(run({"decode", "--object-type", "262", "--envelope-version", "256"}), 2, "256");
    expect_error(run({"decode", "--type", "value", "--object-type", "262", "--envelope-version", "1"}), 2, "excludes");
    expect_error(run({"decode", "--type", "value", path("missing.bin").string()}), 2, "cannot open");
}

TEST_F(ToolTest, help_on_every_subcommand_and_version) {
    for (const char* cmd : {"dump", "decode", "encode", "types", "status"}) {
        SCOPED_TRACE(cmd);
        const run_result r = run({cmd, "--help"});
        EXPECT_SUCCESS(r);
        EXPECT_NE(r.out.find(std::string("Usage: qbasn ") + cmd), std::string::npos) << r.out;
    }
    const run_result top = run({"--help"});
    EXPECT_SUCCESS(top);
    for (const char* cmd : {"dump", "decode", "encode", "types", "status"}) EXPECT_NE(top.out.find(cmd), std::string::npos);
    const run_result v = run({"--version"});
    EXPECT_SUCCESS(v);
    EXPECT_EQ(v.out.rfind("qbasn ", 0), 0u) << v.out;
}

TEST_F(ToolTest, status_prints_every_code_with_its_meaning) {
    const run_result all = run({"status"});
    EXPECT_SUCCESS(all);
    size_t n = 0;
    const qb_status_info* table = qbAsnStatusTable(&n);
    const std::vector<std::string> lines = lines_of(all.out);
    ASSERT_EQ(lines.size(), n);
    for (size_t i = 0; i < n; ++i) {
        char code[16];
        std::snprintf(code, sizeof code, "0x%08X", table[i].code);
        EXPECT_EQ(lines[i], std::string(code) + "  " + table[i].text);
    }
    expect_clean(run({"status", "0x10652198"}), std::string("0x10652198  ") + qbAsnStatusText(0x10652198) + "\n");
    const run_result minus = run({"status", "-1"});
    EXPECT_SUCCESS(minus);
    EXPECT_EQ(minus.out.rfind("0xFFFFFFFF  ", 0), 0u);
    expect_error(run({"status", "0x12345678"}), 2, "0x12345678 is not a status code of the library");
    expect_error(run({"status", "banana"}), 2, "'banana' is not a status code");
}

// ---- large input ----

TEST_F(ToolTest, large_messages_stream_through) {
    // A value_s_t whose octet string holds 1 MiB.
    const size_t big = 1u << 20;
    value_s_t v{};
    v.number = 7;
    v.text = nullptr;
    v.length = static_cast<unsigned>(big);
    std::vector<unsigned char> block(big);
    for (size_t i = 0; i < big; ++i) block[i] = static_cast<unsigned char>(i * 31u);
    v.bytes = block.data();
    qbasn::result<qbasn::buffer> msg = qbasn::encode(v);
    ASSERT_TRUE(msg.ok());
    const bytes message(msg.value().bytes().begin(), msg.value().bytes().end());
    write_file_octets(path("big.bin"), message);
    const run_result d = run({"decode", "--type", "value", path("big.bin").string()});
    EXPECT_SUCCESS(d);
    EXPECT_GT(d.out.size(), 2 * big);
    write_file(path("big.json"), d.out);
    const run_result e = run({"encode", "--type", "value", path("big.json").string(), "-o", path("back.bin").string()});
    EXPECT_SUCCESS(e);
    EXPECT_TRUE(read_file_octets(path("back.bin")) == message);
    const run_result u = run({"dump", path("big.bin").string()});
    EXPECT_SUCCESS(u);
    EXPECT_EQ(frame_lines(u.out).size(), 4u);
    EXPECT_EQ(hex_lines(u.out), big / 16);  // the octet string, 16 octets a line
}

}  // namespace
