// tests/tool/usage_test.cpp - the qbasn tool as a new user meets it: record
// definitions with their leading version, status codes copied from logs,
// names in any case and near misses, hex in the layouts people paste, what a
// failed decode says about the envelope and where the message went wrong,
// trailing octets, and help texts that speak of their own command.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tool/tool_fixture.h"

namespace {

using namespace qb_tool_test;

const std::string kValueMessage = "04 02 AC DC 30 09 02 01 05 0C 01 61 04 01 01";  // value_s_t {5, "a", 01}
const std::string kValueJson = "{\n  \"number\": 5,\n  \"text\": \"a\",\n  \"bytes\": \"01\"\n}\n";

class UsageTest : public ToolTest {};

TEST_F(UsageTest, types_shows_the_leading_version_of_the_records_that_carry_one) {
    const run_result r = run({"types", "cert_request_in"});
    EXPECT_SUCCESS(r);
    EXPECT_NE(r.out.find("cert_request_in ::= SEQUENCE {\n"
                         "    version INTEGER,\n"
                         "    text_a OCTET STRING,\n"
                         "    text_b OCTET STRING,\n"
                         "    body OCTET STRING OPTIONAL\n"
                         "}\n"),
              std::string::npos)
        << r.out;
    for (const char* name : {"kxobj_update", "kxobj_update_list"}) {
        const run_result u = run({"types", name});
        EXPECT_SUCCESS(u);
        EXPECT_NE(u.out.find(" ::= SEQUENCE {\n    version INTEGER,\n"), std::string::npos) << u.out;
    }
    // Records without one do not get it.
    const run_result v = run({"types", "value"});
    EXPECT_NE(v.out.find("value_t ::= SEQUENCE {\n    number INTEGER,\n"), std::string::npos) << v.out;
}

TEST_F(UsageTest, status_codes_are_read_as_the_library_writes_them) {
    for (const char* code : {"10652065", "0x10652065", "0X10652065", "[10652065]", "[0x10652065]"}) {
        const run_result r = run({"status", code});
        EXPECT_SUCCESS(r);
        EXPECT_EQ(r.out, "0x10652065  out of memory\n") << code;
    }
    for (const char* code : {"106521ab", "106521AB", "[106521ab]"}) {
        const run_result r = run({"status", code});
        EXPECT_SUCCESS(r);
        EXPECT_EQ(r.out, "0x106521AB  code-set conversion failed\n") << code;
    }
    // Decimal is not a form the library writes: 275063192 is 0x10652198 in
    // decimal, and as hexadecimal it does not fit 32 bits.
    expect_error(run({"status", "275063192"}), 2, "'275063192' is not a status code (codes are hexadecimal");
    expect_error(run({"status", "[1065219"}), 2, "is not a status code");
    expect_error(run({"status", "0x"}), 2, "'0x' is not a status code");
}

TEST_F(UsageTest, record_names_in_any_case_and_near_misses) {
    const run_result upper = run({"decode", "--type", "VALUE_S_T", "--hex"}, kValueMessage);
    EXPECT_SUCCESS(upper);
    EXPECT_EQ(upper.out, kValueJson);
    EXPECT_SUCCESS(run({"types", "Attrlist"}));
    expect_error(run({"types", "atrlist"}), 2, "unknown record type 'atrlist' (did you mean attrlist? qbasn types lists them)");
    expect_error(run({"decode", "--type", "kxprinc", "--hex"}, kValueMessage), 2, "did you mean kxprincipal?");
    expect_error(run({"types", "zzzzzzzzzz"}), 2, "unknown record type 'zzzzzzzzzz' (qbasn types lists them)");
}

TEST_F(UsageTest, types_lists_under_a_header) {
    const run_result r = run({"types"});
    EXPECT_SUCCESS(r);
    const std::vector<std::string> lines = lines_of(r.out);
    ASSERT_GT(lines.size(), 60u);
    EXPECT_EQ(lines[0], "FLAT NAME                        TYPE NAME                    SHORT FORM");
    EXPECT_EQ(lines[1], "uuid_t                           uuid_t                       uuid");
}

TEST_F(UsageTest, json_integers_beyond_64_bits_are_out_of_range_not_fractional) {
    expect_error(run({"encode", "--type", "value"}, R"({"number": 99999999999999999999999, "text": "a", "bytes": ""})"), 2,
                 "JSON line 1: number: 99999999999999999999999 is out of range for a signed 32-bit integer "
                 "(-2147483648..2147483647)");
    expect_error(run({"encode", "--type", "value"}, R"({"number": -99999999999999999999999, "text": "a", "bytes": ""})"), 2,
                 "number: -99999999999999999999999 is out of range");
    expect_error(run({"encode", "--type", "value"}, R"({"number": 1.5, "text": "a", "bytes": ""})"), 2,
                 "number: expected an integer (a signed 32-bit integer), got a fractional number");
    expect_error(run({"encode", "--type", "value"}, R"({"number": 1e3, "text": "a", "bytes": ""})"), 2, "got a fractional number");
}

TEST_F(UsageTest, a_missing_envelope_says_what_was_found) {
    write_file(path("empty"), "");
    expect_error(run({"decode", "--type", "value", path("empty").string()}), 1,
                 "0x10652196 no envelope, or an envelope of another version (decoding value_s_t; the input is empty)");
    expect_error(run({"decode", "--type", "value", "--hex"}, "04 03 AC DC 30 09 02 01 05 0C 01 61 04 01 01"), 1,
                 "(decoding value_s_t; an envelope of version 3, not 2)");
    expect_error(run({"decode", "--type", "value", "--hex"}, "30 09 02 01 05 0C 01 61 04 01 01"), 1,
                 "(decoding value_s_t; no envelope (the message starts 30 09 02 01, not 04 02 AC DC))");
    expect_error(run({"decode", "--object-type", "262", "--envelope-version", "7", "--hex"}, "04 02 AC DC 02 01 05"), 1,
                 "(decoding object type 262, a bare INTEGER; an envelope of version 2, not 7)");
}

TEST_F(UsageTest, hex_in_the_layouts_people_paste) {
    const std::vector<std::string> layouts = {
        "04:02:AC:DC:30:09:02:01:05:0C:01:61:04:01:01",
        "0x04, 0x02, 0xAC, 0xDC, 0x30, 0x09, 0x02, 0x01,\n0x05, 0x0C, 0x01, 0x61, 0x04, 0x01, 0x01\n",
        // xxd, its text column included
        "00000000: 0402 acdc 3009 0201 050c 0161 0401 01    ....0......a...\n",
        "0402ACDC300902010 50C0161040101",
    };
    for (const std::string& text : layouts) {
        SCOPED_TRACE(text);
        // Recognised as hex without --hex, and read the same with it.
        const run_result r = run({"decode", "--type", "value"}, text);
        EXPECT_SUCCESS(r);
        EXPECT_EQ(r.out, kValueJson);
        const run_result h = run({"decode", "--type", "value", "--hex"}, text);
        EXPECT_SUCCESS(h);
        EXPECT_EQ(h.out, kValueJson);
    }
    // A separator inside an octet is still an error.
    expect_error(run({"decode", "--type", "value", "--hex"}, "04:02:A:CDC"), 2, "hex input, line 1, column 8: ':' is not a hex digit");
}

TEST_F(UsageTest, octets_after_the_message_are_a_warning_or_with_strict_an_error) {
    const std::string joined = kValueMessage + " " + kValueMessage;  // two messages joined
    const run_result r = run({"decode", "--type", "value", "--hex"}, joined);
    EXPECT_EQ(r.code, 0);
    EXPECT_EQ(r.out, kValueJson);
    EXPECT_EQ(r.err, "warning: 15 octets after the message (from offset 15), which the library ignores; --strict refuses them\n");
    expect_error(run({"decode", "--type", "value", "--hex", "--strict"}, kValueMessage + " 00"), 2,
                 "1 octet after the message (from offset 15) (--strict)");
    // Exactly one message: no word.
    const run_result one = run({"decode", "--type", "value", "--hex", "--strict"}, kValueMessage);
    EXPECT_SUCCESS(one);
    // The untyped path too.
    const run_result u = run({"decode", "--object-type", "262", "--envelope-version", "7", "--hex"}, "04 07 AC DC 02 01 05 30 00");
    EXPECT_EQ(u.code, 0);
    EXPECT_EQ(u.out, "5\n");
    EXPECT_EQ(u.err, "warning: 2 octets after the message (from offset 7), which the library ignores; --strict refuses them\n");
}

TEST_F(UsageTest, help_texts_speak_of_their_own_command) {
    const struct {
        const char* command;
        const char* own;
    } cases[] = {
        {"dump", "qbasn dump certificate.pem"},
        {"decode", "qbasn decode --object-type 260"},
        {"encode", "qbasn encode --type value --hex value.json"},
        {"types", "qbasn types attrlist"},
        {"schema", "qbasn schema > qbasn-wire.asn"},
        {"status", "qbasn status [106521ab]"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.command);
        const run_result r = run({c.command, "--help"});
        EXPECT_SUCCESS(r);
        EXPECT_NE(r.out.find(c.own), std::string::npos) << r.out;
        // No other command's examples.
        for (const auto& other : cases) {
            if (other.own != c.own) {
                EXPECT_EQ(r.out.find(other.own), std::string::npos) << other.own;
            }
        }
    }
    const run_result top = run({"--help"});
    EXPECT_NE(top.out.find("Exit status: 0 success"), std::string::npos) << top.out;
}

}  // namespace
