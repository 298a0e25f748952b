// tests/tool/dump_checks_test.cpp - what `qbasn dump` finds wrong in BER
// (X.690 errors and warnings, with --der the departures from DER), REAL
// values, the partial tree of a malformed message, and where a message stops
// matching a record (dump --type, dump --object-type, decode).
//
// Inputs and expected lines are written out in full; each finding sits on a
// line of its own under the frame it is about:
//   <11 blanks><two blanks per level, one level deeper than the frame>error: offset N: ...
#include <gtest/gtest.h>

#include <random>
#include <regex>
#include <string>
#include <vector>

#include "tool/tool_fixture.h"

namespace {

using namespace qb_tool_test;

// The line forms other readers of the dump rely on (tool_test.cpp,
// dump_test.cpp): a finding line must match none of the first three.
const std::regex kFrameLine(R"(^ *[0-9]+ +[0-9]+ .*(prim|cons) len=([0-9]+|indef).*$)");
const std::regex kHexLine(R"(^ *[0-9]+     +([0-9A-F]{2} ?)+ *  \|.*\|$)");
const std::regex kQbasnFrame(R"(^ *([0-9]+) +([0-9]+) .*? (prim|cons) len=([0-9]+|indef)( .*)?$)");
const std::regex kFindingLine(R"(^ {11}(  )*(error|warning|note): offset [0-9]+: .+$)");
const std::regex kCountLine(R"(^([0-9]+ errors?(, [0-9]+ warnings?)?|[0-9]+ warnings?)$)");

// last_line: the last line of a text, "" for none.
std::string last_line(const std::string& text) {
    const std::vector<std::string> lines = lines_of(text);
    return lines.empty() ? std::string() : lines.back();
}

class DumpChecks : public ToolTest {
protected:
    // dump: `qbasn dump --hex` of `hex_input`, with more options.
    run_result dump(const std::string& hex_input, const std::vector<std::string>& more = {}) {
        std::vector<std::string> args = {"dump", "--hex"};
        args.insert(args.end(), more.begin(), more.end());
        return run(args, hex_input);
    }

    // expect_clean (tool_fixture.h): exit status 0, nothing on standard
    // error, exactly `out`.

    // expect_failed: exit status 2, the whole tree `out` on standard output
    // and the one line "error: <first>" on standard error.
    static void expect_failed(const run_result& r, const std::string& out, const std::string& first) {
        EXPECT_EQ(r.code, 2) << r.err;
        EXPECT_EQ(r.out, out);
        EXPECT_EQ(r.err, "error: " + first + "\n");
    }
};

// ---- the finding lines ----

TEST_F(DumpChecks, findings_sit_under_their_frame_on_lines_no_frame_reader_takes_for_a_frame) {
    // SEQUENCE { INTEGER 00 05, NULL 00, SEQUENCE { BOOLEAN FF } }, then a
    // SEQUENCE cut off: a warning at depth 1, errors at depths 1 and 0, a
    // note at depth 1.
    const run_result r = dump("30 0C 02 02 00 05 05 01 00 30 03 01 01 FF  30 05 02 01");
    expect_failed(r,
                  "no envelope\n"
                  "     0   0 SEQUENCE cons len=12\n"
                  "     2   1   INTEGER prim len=2  5\n"
                  "               warning: offset 2: INTEGER has a needless leading 00 octet\n"
                  "     6   1   NULL prim len=1  00  |.|\n"
                  "               error: offset 6: NULL with 1 content octet (it has none)\n"
                  "     9   1   SEQUENCE cons len=3\n"
                  "    11   2     BOOLEAN prim len=1  TRUE\n"
                  "    14   0 SEQUENCE cons len=5\n"
                  "             error: offset 14: length 5 runs past the end of the input (2 octets left)\n"
                  "    16   1   INTEGER prim len=1\n"
                  "               note: offset 16: cut off with the enclosing frame: 0 of 1 content octets present\n"
                  "2 errors, 1 warning\n",
                  "offset 6: NULL with 1 content octet (it has none)");
    size_t findings = 0;
    for (const std::string& line : lines_of(r.out)) {
        if (line.find(": offset ") == std::string::npos) continue;
        ++findings;
        EXPECT_TRUE(std::regex_match(line, kFindingLine)) << line;
        EXPECT_FALSE(std::regex_match(line, kFrameLine)) << line;
        EXPECT_FALSE(std::regex_match(line, kHexLine)) << line;
        EXPECT_FALSE(std::regex_match(line, kQbasnFrame)) << line;
    }
    EXPECT_EQ(findings, 4u);
    EXPECT_FALSE(std::regex_match(std::string("2 errors, 1 warning"), kFrameLine));
    EXPECT_FALSE(std::regex_match(std::string("2 errors, 1 warning"), kQbasnFrame));
}

TEST_F(DumpChecks, warnings_alone_leave_the_exit_status_zero_and_are_counted) {
    expect_clean(dump("30 07 02 02 00 05 02 01 07"),
                 "no envelope\n"
                 "     0   0 SEQUENCE cons len=7\n"
                 "     2   1   INTEGER prim len=2  5\n"
                 "               warning: offset 2: INTEGER has a needless leading 00 octet\n"
                 "     6   1   INTEGER prim len=1  7\n"
                 "1 warning\n");
    // The first error is the error line, even after a warning.
    const run_result r = dump("30 07 02 02 00 05 05 01 00");
    EXPECT_EQ(r.code, 2);
    EXPECT_EQ(r.err, "error: offset 6: NULL with 1 content octet (it has none)\n");
    EXPECT_EQ(last_line(r.out), "1 error, 1 warning");
}

// ---- content no valid BER has: errors ----

TEST_F(DumpChecks, a_single_frame_with_malformed_content_is_one_error_under_it) {
    // The whole input is one frame: its line, the error one level deeper,
    // the count; exit status 2 and the error on standard error.
    struct bad {
        const char* message;  // hex
        const char* line;     // the frame's line
        const char* error;
    };
    const bad cases[] = {
        // BIT STRING: unused bits out of range or without data.
        {"03 02 0F 00", "BIT STRING prim len=2  unused=15  00", "unused-bits octet 15 is more than 7"},
        {"03 01 03", "BIT STRING prim len=1  unused=3", "3 unused bits in a BIT STRING without data octets"},
        {"03 00", "BIT STRING prim len=0", "BIT STRING without its unused-bits octet"},
        {"00 00", "EOC prim len=0", "end-of-contents outside an indefinite length"},
        // A primitive frame cut off shows the octets that are there.
        {"04 08 41 42 43", "OCTET STRING prim len=8  41 42 43  |ABC|", "length 8 runs past the end of the input (3 octets left)"},
        // REAL content.
        {"09 01 44", "REAL prim len=1  44  |D|", "REAL value 44 is reserved (40 to 43 are the infinities, NOT-A-NUMBER and minus zero)"},
        {"09 02 40 00", "REAL prim len=2  40 00  |@.|", "REAL value 40 followed by 1 octet (it is one octet alone)"},
        {"09 01 80", "REAL prim len=1  80  |.|", "REAL exponent cut off (1 octet announced, 0 present)"},
        {"09 02 80 01", "REAL prim len=2  80 01  |..|", "REAL without mantissa octets"},
        {"09 03 B0 01 01", "REAL prim len=3  B0 01 01  |...|", "REAL base code 11 is reserved (only bases 2, 8 and 16 exist)"},
        {"09 02 83 00", "REAL prim len=2  83 00  |..|", "REAL exponent of 0 octets"},
        {"09 03 AF FF 03", "REAL prim len=3  AF FF 03  |...|", "REAL exponent cut off (255 octets announced, 1 present)"},
        {"09 03 04 31 32", "REAL prim len=3  04 31 32  |.12|", "decimal REAL in form 4 (only NR1, NR2 and NR3 exist)"},
        {"09 04 02 31 2E 78", "REAL prim len=4  02 31 2E 78  |.1.x|", "decimal REAL \"1.x\" is not a number in the NR2 form"},
        {"09 02 02 2E", "REAL prim len=2  02 2E  |..|", "decimal REAL \".\" is not a number in the NR2 form"},
        {"09 03 03 31 45", "REAL prim len=3  03 31 45  |.1E|", "decimal REAL \"1E\" is not a number in the NR3 form"},
    };
    for (const bad& b : cases) {
        SCOPED_TRACE(b.message);
        expect_failed(dump(b.message),
                      std::string("no envelope\n     0   0 ") + b.line + "\n             error: offset 0: " + b.error + "\n1 error\n",
                      std::string("offset 0: ") + b.error);
    }
    // A constructed REAL: the error, then the frame inside it.
    expect_failed(dump("29 03 09 01 40"),
                  "no envelope\n"
                  "     0   0 REAL cons len=3\n"
                  "             error: offset 0: REAL must be primitive\n"
                  "     2   1   REAL prim len=1  PLUS-INFINITY\n"
                  "1 error\n",
                  "offset 0: REAL must be primitive");
}

TEST_F(DumpChecks, bit_strings_with_seven_unused_bits_or_none_and_no_data_are_fine) {
    expect_clean(dump("30 07 03 02 07 80 03 01 00"),
                 "no envelope\n"
                 "     0   0 SEQUENCE cons len=7\n"
                 "     2   1   BIT STRING prim len=2  unused=7  80\n"
                 "     6   1   BIT STRING prim len=1  unused=0\n");
}

TEST_F(DumpChecks, constructed_bit_string_segments_are_bit_strings_with_unused_bits_only_in_the_last) {
    // Unused bits in the last segment: fine.
    expect_clean(dump("23 09 03 02 00 F0 03 03 01 AB CC"),
                 "no envelope\n"
                 "     0   0 BIT STRING cons len=9\n"
                 "     2   1   BIT STRING prim len=2  unused=0  F0\n"
                 "     6   1   BIT STRING prim len=3  unused=1  AB CC\n");
    // In the first of two: an error at that segment.
    expect_failed(dump("23 09 03 02 01 F0 03 03 00 AB CD"),
                  "no envelope\n"
                  "     0   0 BIT STRING cons len=9\n"
                  "     2   1   BIT STRING prim len=2  unused=1  F0\n"
                  "               error: offset 2: unused bits (1) in a segment of a BIT STRING that is not its last\n"
                  "     6   1   BIT STRING prim len=3  unused=0  AB CD\n"
                  "1 error\n",
                  "offset 2: unused bits (1) in a segment of a BIT STRING that is not its last");
    // A segment of another type.
    expect_failed(dump("23 07 03 02 00 F0 04 01 AB"),
                  "no envelope\n"
                  "     0   0 BIT STRING cons len=7\n"
                  "     2   1   BIT STRING prim len=2  unused=0  F0\n"
                  "     6   1   OCTET STRING prim len=1  AB  |.|\n"
                  "               error: offset 6: a segment of a constructed BIT STRING must be a BIT STRING, not OCTET STRING\n"
                  "1 error\n",
                  "offset 6: a segment of a constructed BIT STRING must be a BIT STRING, not OCTET STRING");
}

TEST_F(DumpChecks, constructed_strings_are_made_of_octet_string_segments) {
    expect_failed(dump("24 08 04 02 AB CD 0C 02 61 62"),
                  "no envelope\n"
                  "     0   0 OCTET STRING cons len=8\n"
                  "     2   1   OCTET STRING prim len=2  AB CD  |..|\n"
                  "     6   1   UTF8String prim len=2  \"ab\"\n"
                  "               error: offset 6: a segment of a constructed OCTET STRING must be an OCTET STRING, not UTF8String\n"
                  "1 error\n",
                  "offset 6: a segment of a constructed OCTET STRING must be an OCTET STRING, not UTF8String");
    // A character string travels as an OCTET STRING with the string's tag:
    // its segments are OCTET STRINGs, not strings of its own type.
    expect_clean(dump("2C 08 04 02 61 62 04 02 63 64"),
                 "no envelope\n"
                 "     0   0 UTF8String cons len=8\n"
                 "     2   1   OCTET STRING prim len=2  61 62  |ab|\n"
                 "     6   1   OCTET STRING prim len=2  63 64  |cd|\n");
    expect_failed(dump("2C 08 04 02 61 62 0C 02 63 64"),
                  "no envelope\n"
                  "     0   0 UTF8String cons len=8\n"
                  "     2   1   OCTET STRING prim len=2  61 62  |ab|\n"
                  "     6   1   UTF8String prim len=2  \"cd\"\n"
                  "               error: offset 6: a segment of a constructed UTF8String must be an OCTET STRING, not UTF8String\n"
                  "1 error\n",
                  "offset 6: a segment of a constructed UTF8String must be an OCTET STRING, not UTF8String");
}

TEST_F(DumpChecks, end_of_contents_belongs_in_an_indefinite_length_only_and_has_no_content) {
    expect_failed(dump("30 05 02 01 05 00 00"),
                  "no envelope\n"
                  "     0   0 SEQUENCE cons len=5\n"
                  "     2   1   INTEGER prim len=1  5\n"
                  "     5   1   EOC prim len=0\n"
                  "               error: offset 5: end-of-contents inside a definite length\n"
                  "1 error\n",
                  "offset 5: end-of-contents inside a definite length");
    // Outside an indefinite length: a_single_frame_with_malformed_content_is_one_error_under_it.
    // 00 01 AA is no end-of-contents: the SEQUENCE ends at the 00 00 after it.
    expect_failed(dump("30 80 00 01 AA 00 00"),
                  "no envelope\n"
                  "     0   0 SEQUENCE cons len=indef\n"
                  "     2   1   EOC prim len=1  AA  |.|\n"
                  "               error: offset 2: end-of-contents with length 1 (it is the two octets 00 00)\n"
                  "     5   1   EOC prim len=0\n"
                  "1 error\n",
                  "offset 2: end-of-contents with length 1 (it is the two octets 00 00)");
}

TEST_F(DumpChecks, boolean_null_integer_and_their_forms_have_fixed_content_lengths) {
    expect_failed(dump("30 07 01 02 00 FF 05 01 00"),
                  "no envelope\n"
                  "     0   0 SEQUENCE cons len=7\n"
                  "     2   1   BOOLEAN prim len=2  00 FF  |..|\n"
                  "               error: offset 2: BOOLEAN content must be one octet, not 2\n"
                  "     6   1   NULL prim len=1  00  |.|\n"
                  "               error: offset 6: NULL with 1 content octet (it has none)\n"
                  "2 errors\n",
                  "offset 2: BOOLEAN content must be one octet, not 2");
    expect_failed(dump("30 04 02 00 0A 00"),
                  "no envelope\n"
                  "     0   0 SEQUENCE cons len=4\n"
                  "     2   1   INTEGER prim len=0\n"
                  "               error: offset 2: INTEGER with no content octets\n"
                  "     4   1   ENUMERATED prim len=0\n"
                  "               error: offset 4: ENUMERATED with no content octets\n"
                  "2 errors\n",
                  "offset 2: INTEGER with no content octets");
    // A constructed INTEGER, a primitive SEQUENCE.
    expect_failed(dump("30 07 22 03 02 01 05 10 00"),
                  "no envelope\n"
                  "     0   0 SEQUENCE cons len=7\n"
                  "     2   1   INTEGER cons len=3\n"
                  "               error: offset 2: INTEGER must be primitive\n"
                  "     4   2     INTEGER prim len=1  5\n"
                  "     7   1   SEQUENCE prim len=0\n"
                  "               error: offset 7: SEQUENCE must be constructed\n"
                  "2 errors\n",
                  "offset 2: INTEGER must be primitive");
}

TEST_F(DumpChecks, object_identifiers_must_end_their_last_sub_identifier) {
    expect_failed(dump("30 0C 06 00 06 02 2A 86 06 04 2A 80 86 48"),
                  "no envelope\n"
                  "     0   0 SEQUENCE cons len=12\n"
                  "     2   1   OBJECT IDENTIFIER prim len=0\n"
                  "               error: offset 2: OBJECT IDENTIFIER with no content octets\n"
                  "     4   1   OBJECT IDENTIFIER prim len=2  2A 86  |*.|\n"
                  "               error: offset 4: OBJECT IDENTIFIER ends inside a sub-identifier (its last octet has bit 8 set)\n"
                  "     8   1   OBJECT IDENTIFIER prim len=4  1.2.840 (ISO US Member Body)\n"
                  "               warning: offset 8: sub-identifier 2 of the OBJECT IDENTIFIER has a needless leading 80 octet\n"
                  "2 errors, 1 warning\n",
                  "offset 2: OBJECT IDENTIFIER with no content octets");
    // Arcs beyond 64 bits (a UUID arc under 2.25; here 2 * 128^10 = 2^71)
    // are read in full; a first sub-identifier from 80 up is 2.(X - 80).
    expect_clean(dump("06 03 88 37 01  06 0C 69 82 80 80 80 80 80 80 80 80 80 00"),
                 "no envelope\n"
                 "     0   0 OBJECT IDENTIFIER prim len=3  2.999.1\n"
                 "     5   0 OBJECT IDENTIFIER prim len=12  2.25.2361183241434822606848\n");
}

// ---- valid BER a careful encoder would not write: warnings ----

TEST_F(DumpChecks, integers_with_a_needless_leading_octet_are_warned_about_and_still_read) {
    expect_clean(dump("30 0C 02 02 00 05 02 02 FF 85 0A 02 00 7F"),
                 "no envelope\n"
                 "     0   0 SEQUENCE cons len=12\n"
                 "     2   1   INTEGER prim len=2  5\n"
                 "               warning: offset 2: INTEGER has a needless leading 00 octet\n"
                 "     6   1   INTEGER prim len=2  -123\n"
                 "               warning: offset 6: INTEGER has a needless leading FF octet\n"
                 "    10   1   ENUMERATED prim len=2  127\n"
                 "               warning: offset 10: ENUMERATED has a needless leading 00 octet\n"
                 "3 warnings\n");
    // 00 80 and FF 7F need both octets.
    expect_clean(dump("30 08 02 02 00 80 02 02 FF 7F"),
                 "no envelope\n"
                 "     0   0 SEQUENCE cons len=8\n"
                 "     2   1   INTEGER prim len=2  128\n"
                 "     6   1   INTEGER prim len=2  -129\n");
}

TEST_F(DumpChecks, long_form_lengths_that_need_not_be_are_warned_about) {
    expect_clean(dump("30 81 03 02 01 05"),
                 "no envelope\n"
                 "     0   0 SEQUENCE cons len=3\n"
                 "             warning: offset 0: length 3 in the long form (2 octets), where the short form (one octet) does\n"
                 "     3   1   INTEGER prim len=1  5\n"
                 "1 warning\n");
    expect_clean(dump("05 84 00 00 00 00"),
                 "no envelope\n"
                 "     0   0 NULL prim len=0\n"
                 "             warning: offset 0: length 0 in the long form (5 octets), where the short form (one octet) does\n"
                 "1 warning\n");
    // 200 needs the long form, but one length octet, not three.
    std::string input = "04 83 00 00 C8";
    for (int i = 0; i < 200; ++i) input += " 41";
    const run_result r = dump(input);
    EXPECT_SUCCESS(r);
    const std::vector<std::string> lines = lines_of(r.out);
    ASSERT_EQ(lines.size(), 2u + 13u + 2u) << r.out;  // envelope, frame, 13 hex lines, finding, count
    EXPECT_EQ(lines[1], "     0   0 OCTET STRING prim len=200");
    EXPECT_TRUE(std::regex_match(lines[14], kHexLine)) << lines[14];
    EXPECT_EQ(lines[15], "             warning: offset 0: length 200 with 2 leading zero octets");
    EXPECT_EQ(lines[16], "1 warning");
    // The minimal long form is no finding.
    EXPECT_EQ(dump("04 81 80" + input.substr(14, 128 * 3)).out.find("warning"), std::string::npos);
}

TEST_F(DumpChecks, tag_numbers_of_any_size_in_any_form_are_read) {
    // The high-tag-number form for a number below 31; a leading 80 digit.
    expect_clean(dump("1F 02 01 AA  9F 80 21 01 BB"),
                 "no envelope\n"
                 "     0   0 INTEGER prim len=1  -86\n"
                 "             warning: offset 0: tag number 2 in the high-tag-number form, which only numbers from 31 need\n"
                 "     4   0 [CONTEXT 33] prim len=1  BB  |.|\n"
                 "             warning: offset 4: tag number with a needless leading 80 octet\n"
                 "2 warnings\n");
    // Beyond 32 bits: shown in hex, up to 2^64 - 1.
    expect_clean(dump("DF 81 80 80 80 80 00 01 AA"),
                 "no envelope\n"
                 "     0   0 [PRIVATE 0x800000000] prim len=1  AA  |.|\n"
                 "             warning: offset 0: tag number beyond 32 bits (few decoders read it)\n"
                 "1 warning\n");
    expect_clean(dump("9F 81 FF FF FF FF FF FF FF FF 7F 01 AA"),
                 "no envelope\n"
                 "     0   0 [CONTEXT 0xFFFFFFFFFFFFFFFF] prim len=1  AA  |.|\n"
                 "             warning: offset 0: tag number beyond 32 bits (few decoders read it)\n"
                 "1 warning\n");
    // 2^64: an error, and the frame after it is still read.
    expect_failed(dump("9F 82 80 80 80 80 80 80 80 80 00 01 AA 05 00"),
                  "no envelope\n"
                  "     0   0 [CONTEXT >64 bits] prim len=1  AA  |.|\n"
                  "             error: offset 0: tag number larger than 64 bits (10 octets after the first)\n"
                  "    13   0 NULL prim len=0\n"
                  "1 error\n",
                  "offset 0: tag number larger than 64 bits (10 octets after the first)");
}

TEST_F(DumpChecks, ber_inside_an_octet_string_is_shown_only_when_it_has_no_errors) {
    // 01 02 00 FF would be a BOOLEAN of two octets: the octets stay hex.
    expect_clean(dump("04 04 01 02 00 FF"), "no envelope\n     0   0 OCTET STRING prim len=4  01 02 00 FF  |....|\n");
    // Warnings inside are shown there, with the offsets in the input.
    expect_clean(dump("04 04 02 02 00 05"),
                 "no envelope\n"
                 "     0   0 OCTET STRING prim len=4 encapsulates\n"
                 "     2   1   INTEGER prim len=2  5\n"
                 "               warning: offset 2: INTEGER has a needless leading 00 octet\n"
                 "1 warning\n");
}

// ---- REAL ----

TEST_F(DumpChecks, real_values_are_shown_as_numbers) {
    struct real {
        const char* content;  // hex, without identifier and length
        const char* shown;
    };
    const real values[] = {
        {"", "0"},
        {"40", "PLUS-INFINITY"},
        {"41", "MINUS-INFINITY"},
        {"42", "NOT-A-NUMBER"},
        {"43", "-0"},
        // Binary: 80 = base 2, F 0, one exponent octet. 13 * 2^-2.
        {"80 FE 0D", "3.25"},
        {"C0 FE 0D", "-3.25"},                                  // sign bit
        {"90 FF 1A", "3.25"},                                   // base 8: 26 * 8^-1
        {"A4 FF 0D", "1.625"},                                  // base 16, F 1: 13 * 2 * 16^-1
        {"AC FE 03", "0.09375"},                                // base 16, F 3: 3 * 8 * 16^-2
        {"80 00 05", "5"},
        {"80 02 03", "12"},                                     // 3 * 2^2
        {"81 FF C8 19 99 99 99 99 99 9A", "0.1"},               // 2-octet exponent: the double nearest 0.1
        {"81 FB CE 01", "5e-324"},                              // 2^-1074, the smallest double
        {"81 04 00 01", "1 * 2^1024"},                          // beyond the doubles: exact
        {"82 FF FF FF 03", "1.5"},                              // 3-octet exponent
        {"83 01 FB 05", "0.15625"},                             // long form, X = 1: 5 * 2^-5
        {"83 09 01 00 00 00 00 00 00 00 00 01", "1 * 2^18446744073709551616"},
        {"80 00 01 00 00 00 00 00 00 00 01", "18446744073709551617"},       // a 65-bit mantissa
        {"80 FF 01 00 00 00 00 00 00 00 01", "18446744073709551617 * 2^-1"},
        // Decimal: NR1, NR2 (either decimal mark), NR3; leading spaces dropped.
        {"01 20 31 32 33", "123"},
        {"01 2D 35", "-5"},
        {"02 33 2E 32 35", "3.25"},
        {"02 33 2C 32 35", "3,25"},
        {"03 33 32 35 2E 45 2D 32", "325.E-2"},
        {"03 31 2E 35 65 2B 33", "1.5e+3"},
    };
    for (const real& v : values) {
        SCOPED_TRACE(v.content);
        const std::string content = v.content;
        const size_t length = (content.size() + 1) / 3;
        char header[32];
        std::snprintf(header, sizeof header, "09 %02zX ", length);
        expect_clean(dump(header + content),
                     "no envelope\n     0   0 REAL prim len=" + std::to_string(length) + "  " + v.shown + "\n");
    }
}

// Malformed REAL content: a_single_frame_with_malformed_content_is_one_error_under_it.

TEST_F(DumpChecks, readable_reals_in_a_form_the_rules_avoid_are_warnings) {
    expect_clean(dump("09 03 C0 00 00"),
                 "no envelope\n"
                 "     0   0 REAL prim len=3  -0\n"
                 "             warning: offset 0: zero written as a binary REAL (zero is written with no content octets)\n"
                 "1 warning\n");
    expect_clean(dump("09 05 83 02 00 01 01"),
                 "no envelope\n"
                 "     0   0 REAL prim len=5  2\n"
                 "             warning: offset 0: REAL exponent has a needless leading 00 octet\n"
                 "1 warning\n");
    expect_clean(dump("09 04 01 31 2E 35"),
                 "no envelope\n"
                 "     0   0 REAL prim len=4  1.5\n"
                 "             warning: offset 0: decimal REAL \"1.5\" is marked NR1 but has a decimal mark or exponent\n"
                 "1 warning\n");
}

// ---- partial trees ----

TEST_F(DumpChecks, a_truncated_message_shows_its_frames_as_far_as_they_go) {
    // The first 45 of the 86 octets of the attrlist example: the outer
    // frames are cut, the first attribute is whole, the second has only its
    // identifier octet.
    const bytes message = read_file_octets(example_message("attrlist_s_t.bin"));
    ASSERT_EQ(message.size(), 86u);
    write_file_octets(path("cut.bin"), bytes(message.begin(), message.begin() + 45));
    const run_result r = run({"dump", "--type", "attrlist", path("cut.bin").string()});
    expect_failed(r,
                  "envelope: header length 4, version 2, signature AC DC\n"
                  "     4   0 SEQUENCE cons len=80  (attrlist_s_t)\n"
                  "             error: offset 4: length 80 runs past the end of the input (39 octets left)\n"
                  "     6   1   SEQUENCE cons len=78  (attrs)\n"
                  "               note: offset 6: cut off with the enclosing frame: 37 of 78 content octets present\n"
                  "     8   2     SEQUENCE cons len=34  (attrs[0]: attr_s_t)\n"
                  "    10   3       UTF8String prim len=10  \"department\"  (attrs[0].name)\n"
                  "    22   3       SEQUENCE cons len=20  (attrs[0].values)\n"
                  "    24   4         SEQUENCE cons len=18  (attrs[0].values[0]: value_s_t)\n"
                  "    26   5           INTEGER prim len=1  1  (attrs[0].values[0].number)\n"
                  "    29   5           UTF8String prim len=11  \"engineering\"  (attrs[0].values[0].text)\n"
                  "    42   5           OCTET STRING prim len=0  (attrs[0].values[0].bytes)\n"
                  "                 note: offset 44: length octets missing, cut off with the enclosing frame\n"
                  "    44           30                                               |0|\n"
                  "1 error\n",
                  "offset 4: length 80 runs past the end of the input (39 octets left)");
    // A primitive frame cut off alone: a_single_frame_with_malformed_content_is_one_error_under_it.
}

TEST_F(DumpChecks, a_frame_longer_than_its_enclosing_frame_ends_with_it_and_the_walk_goes_on) {
    expect_failed(dump("30 04 02 03 01 02 05 00"),
                  "no envelope\n"
                  "     0   0 SEQUENCE cons len=4\n"
                  "     2   1   INTEGER prim len=3  01 02  |..|\n"
                  "               error: offset 2: length 3 runs past the end of the enclosing frame (2 octets left)\n"
                  "     6   0 NULL prim len=0\n"
                  "1 error\n",
                  "offset 2: length 3 runs past the end of the enclosing frame (2 octets left)");
}

TEST_F(DumpChecks, octets_whose_frames_cannot_be_told_apart_follow_in_hex) {
    // The reserved length octet FF: the rest of the SEQUENCE in hex, then
    // the frame after the SEQUENCE.
    expect_failed(dump("30 06 02 01 05 04 FF 00 05 00"),
                  "no envelope\n"
                  "     0   0 SEQUENCE cons len=6\n"
                  "     2   1   INTEGER prim len=1  5\n"
                  "               error: offset 5: length octet FF is reserved\n"
                  "     5         04 FF 00                                         |...|\n"
                  "     8   0 NULL prim len=0\n"
                  "1 error\n",
                  "offset 5: length octet FF is reserved");
    // An indefinite length on a primitive frame: where it ends is unknown,
    // and so is the end-of-contents of the SEQUENCE (no second error).
    expect_failed(dump("30 80 04 80 41 42 00 00 00 00"),
                  "no envelope\n"
                  "     0   0 SEQUENCE cons len=indef\n"
                  "     2   1   OCTET STRING prim len=indef\n"
                  "               error: offset 2: indefinite length on a primitive frame\n"
                  "     4         41 42 00 00 00 00                                |AB....|\n"
                  "1 error\n",
                  "offset 2: indefinite length on a primitive frame");
    // Identifier and length octets cut off by the end of the input.
    expect_failed(dump("05 00 1F 81"),
                  "no envelope\n"
                  "     0   0 NULL prim len=0\n"
                  "             error: offset 2: identifier octets cut off (high tag number without its last octet)\n"
                  "     2       1F 81                                            |..|\n"
                  "1 error\n",
                  "offset 2: identifier octets cut off (high tag number without its last octet)");
    expect_failed(dump("30 82 01"),
                  "no envelope\n"
                  "             error: offset 0: length octets cut off (2 announced, 1 left)\n"
                  "     0       30 82 01                                         |0..|\n"
                  "1 error\n",
                  "offset 0: length octets cut off (2 announced, 1 left)");
}

TEST_F(DumpChecks, a_missing_end_of_contents_is_one_error_after_the_frames_inside) {
    expect_failed(dump("30 80 30 80 02 01 05"),
                  "no envelope\n"
                  "     0   0 SEQUENCE cons len=indef\n"
                  "     2   1   SEQUENCE cons len=indef\n"
                  "     4   2     INTEGER prim len=1  5\n"
                  "               error: offset 2: end-of-contents missing for the indefinite length of this frame\n"
                  "1 error\n",
                  "offset 2: end-of-contents missing for the indefinite length of this frame");
}

TEST_F(DumpChecks, a_frame_nested_too_deep_is_stepped_over_and_the_frames_after_it_are_read) {
    // 258 indefinite SEQUENCEs, their 258 end-of-contents, then NULL: the
    // 258th (depth 257, offset 514) is shown without its content.
    std::string input;
    for (int i = 0; i < 258; ++i) input += "30 80 ";
    for (int i = 0; i < 258; ++i) input += "00 00 ";
    input += "05 00";
    const run_result r = dump(input);
    EXPECT_EQ(r.code, 2);
    EXPECT_EQ(r.err, "error: offset 514: nesting deeper than 256 levels (the content is not shown)\n");
    const std::vector<std::string> lines = lines_of(r.out);
    // The envelope line, 258 frames, the error, 257 end-of-contents, NULL, the count.
    ASSERT_EQ(lines.size(), 1u + 258u + 1u + 257u + 1u + 1u);
    EXPECT_EQ(lines[258], "   514 257 " + std::string(2 * 257, ' ') + "SEQUENCE cons len=indef");
    EXPECT_EQ(lines[259], std::string(11 + 2 * 258, ' ') + "error: offset 514: nesting deeper than 256 levels (the content is not shown)");
    EXPECT_EQ(lines[260], "   518 257 " + std::string(2 * 257, ' ') + "EOC prim len=0");
    EXPECT_EQ(lines[516], "  1030   1   EOC prim len=0");
    EXPECT_EQ(lines[517], "  1032   0 NULL prim len=0");
    EXPECT_EQ(lines[518], "1 error");
}

// Text read as BER: the first frame runs past the input, and the frame
// inside it past that frame too; from there the octets are shown as they are.
TEST_F(DumpChecks, text_read_as_ber_is_walked_only_to_the_second_length_that_does_not_fit) {
    // 74 68: [APPLICATION 20] constructed, length 104; 69 73: [APPLICATION 9], 115.
    const run_result r = run({"dump", "--in", "raw"}, "this is not a message\n");
    expect_failed(r,
                  "no envelope\n"
                  "     0   0 [APPLICATION 20] cons len=104\n"
                  "             error: offset 0: length 104 runs past the end of the input (20 octets left)\n"
                  "     2   1   [APPLICATION 9] cons len=115\n"
                  "               error: offset 2: length 115 runs past the end of the enclosing frame (102 octets left)\n"
                  "     4         20 69 73 20 6E 6F 74 20 61 20 6D 65 73 73 61 67  | is not a messag|\n"
                  "    20         65 0A                                            |e.|\n"
                  "2 errors\n",
                  "offset 0: length 104 runs past the end of the input (20 octets left)");
}

// Random octets: every line is a frame, hex, finding or count line; the
// error line on standard error is the first error line of the tree, and the
// count line counts the finding lines.
TEST_F(DumpChecks, random_octets_give_a_consistent_tree_findings_and_counts) {
    std::mt19937 random(20240611);
    const std::vector<std::vector<std::string>> option_sets = {{}, {"--type", "attrlist"}, {"--no-nested"}};
    for (int i = 0; i < 120; ++i) {
        SCOPED_TRACE(i);
        bytes b(random() % 120 + 1);
        for (unsigned char& c : b) c = static_cast<unsigned char>(random());
        // Many with a plausible start: a SEQUENCE behind an envelope, or a constructed frame.
        if (i % 3 == 0 && b.size() > 6) {
            b[0] = 0x04, b[1] = 0x02, b[2] = 0xAC, b[3] = 0xDC, b[4] = 0x30;
            b[5] = static_cast<unsigned char>(b.size() - 6 + random() % 5);
        } else if (i % 3 == 1) {
            b[0] = static_cast<unsigned char>(0x20 | b[0]);
        }
        write_file_octets(path("r.bin"), b);
        std::vector<std::string> args = {"dump", "--in", "raw", path("r.bin").string()};
        const std::vector<std::string>& more = option_sets[static_cast<size_t>(i) % option_sets.size()];
        args.insert(args.end(), more.begin(), more.end());
        const run_result r = run(args);
        ASSERT_TRUE(r.code == 0 || r.code == 2) << r.code << r.err;
        const std::vector<std::string> lines = lines_of(r.out);
        ASSERT_FALSE(lines.empty());
        EXPECT_TRUE(lines[0] == "no envelope" || lines[0].rfind("envelope: ", 0) == 0) << lines[0];
        size_t errors = 0, warnings = 0;
        std::string first_error, count;
        for (size_t k = 1; k < lines.size(); ++k) {
            const std::string& line = lines[k];
            std::smatch m;
            if (std::regex_match(line, m, kFindingLine)) {
                const size_t at = line.find(m[2].str() + ": offset ");
                if (m[2] == "error") {
                    ++errors;
                    if (first_error.empty()) first_error = line.substr(at);
                } else if (m[2] == "warning") {
                    ++warnings;
                }
            } else if (std::regex_match(line, kCountLine)) {
                EXPECT_EQ(k, lines.size() - 1) << "the count line comes last";
                count = line;
            } else {
                EXPECT_TRUE(std::regex_match(line, kQbasnFrame) || std::regex_match(line, kHexLine)) << line;
            }
        }
        std::string expected_count;
        if (errors != 0) expected_count = std::to_string(errors) + (errors == 1 ? " error" : " errors");
        if (warnings != 0)
            expected_count += (expected_count.empty() ? "" : ", ") + std::to_string(warnings) + (warnings == 1 ? " warning" : " warnings");
        EXPECT_EQ(count, expected_count) << r.out;
        if (errors == 0) {
            EXPECT_EQ(r.code, 0);
            EXPECT_EQ(r.err, "");
        } else {
            EXPECT_EQ(r.code, 2);
            EXPECT_EQ(r.err, first_error + "\n") << r.out;
        }
    }
}

// ---- where a message stops fitting a record (--type) ----

TEST_F(DumpChecks, dump_type_says_where_the_members_stop_fitting_the_record) {
    const run_result r = run({"dump", "--type", "uuid", example_message("attrlist_s_t.bin")});
    EXPECT_SUCCESS(r);
    const std::vector<std::string> lines = lines_of(r.out);
    ASSERT_GE(lines.size(), 6u);
    EXPECT_EQ(lines[1], "     4   0 SEQUENCE cons len=80  (uuid_t)");
    EXPECT_EQ(lines[2], "     6   1   SEQUENCE cons len=78");
    EXPECT_EQ(lines[3], "               warning: offset 6: from here the members do not fit uuid_t: expected INTEGER (time_low), found SEQUENCE");
    EXPECT_EQ(lines[4], "     8   2     SEQUENCE cons len=34");
    EXPECT_EQ(lines.back(), "1 warning");
    EXPECT_EQ(r.out.find("  ("), r.out.find("  (uuid_t)")) << "no other labels";

    // value_s_t {5, "a", 01} read as a uuid_t: the first member fits.
    expect_clean(dump("04 02 AC DC 30 09 02 01 05 0C 01 61 04 01 01", {"--type", "uuid"}),
                 "envelope: header length 4, version 2, signature AC DC\n"
                 "     4   0 SEQUENCE cons len=9  (uuid_t)\n"
                 "     6   1   INTEGER prim len=1  5  (time_low)\n"
                 "     9   1   UTF8String prim len=1  \"a\"\n"
                 "               warning: offset 9: from here the members do not fit uuid_t: expected INTEGER (time_mid), found UTF8String\n"
                 "    12   1   OCTET STRING prim len=1  01  |.|\n"
                 "1 warning\n");
}

TEST_F(DumpChecks, missing_extra_and_misplaced_members_are_each_named) {
    // A member missing at the end.
    expect_clean(dump("04 02 AC DC 30 06 02 01 05 0C 01 61", {"--type", "value"}),
                 "envelope: header length 4, version 2, signature AC DC\n"
                 "     4   0 SEQUENCE cons len=6  (value_s_t)\n"
                 "     6   1   INTEGER prim len=1  5  (number)\n"
                 "     9   1   UTF8String prim len=1  \"a\"  (text)\n"
                 "             warning: offset 12: from here the members do not fit value_s_t: expected OCTET STRING (bytes), found the end of the frame\n"
                 "1 warning\n");
    // One member too many.
    expect_clean(dump("04 02 AC DC 30 0C 02 01 05 0C 01 61 04 01 01 02 01 07", {"--type", "value"}),
                 "envelope: header length 4, version 2, signature AC DC\n"
                 "     4   0 SEQUENCE cons len=12  (value_s_t)\n"
                 "     6   1   INTEGER prim len=1  5  (number)\n"
                 "     9   1   UTF8String prim len=1  \"a\"  (text)\n"
                 "    12   1   OCTET STRING prim len=1  01  |.|  (bytes)\n"
                 "    15   1   INTEGER prim len=1  7\n"
                 "               warning: offset 15: from here the members do not fit value_s_t: expected no more members, found INTEGER\n"
                 "1 warning\n");
    // A list element that is no record, and an empty record after it.
    expect_clean(dump("04 02 AC DC 30 07 30 05 02 01 05 30 00", {"--type", "attrlist"}),
                 "envelope: header length 4, version 2, signature AC DC\n"
                 "     4   0 SEQUENCE cons len=7  (attrlist_s_t)\n"
                 "     6   1   SEQUENCE cons len=5  (attrs)\n"
                 "     8   2     INTEGER prim len=1  5\n"
                 "                 warning: offset 8: from here the members do not fit attrlist_s_t: expected SEQUENCE (attrs[0]), found INTEGER\n"
                 "    11   2     SEQUENCE cons len=0  (attrs[1]: attr_s_t)\n"
                 "                 warning: offset 13: from here the members do not fit attr_s_t: expected UTF8String (attrs[1].name), found the end of the frame\n"
                 "2 warnings\n");
    // The outermost frame is no SEQUENCE.
    expect_clean(dump("04 02 AC DC 02 01 05", {"--type", "value"}),
                 "envelope: header length 4, version 2, signature AC DC\n"
                 "     4   0 INTEGER prim len=1  5\n"
                 "             warning: offset 4: from here the message does not fit value_s_t: expected SEQUENCE, found INTEGER\n"
                 "1 warning\n");
}

// ---- --object-type (dump) ----

TEST_F(DumpChecks, dump_object_type_labels_an_untyped_message_by_its_record) {
    const run_result c = run({"dump", "--object-type", "259", example_message("object_259_v1.bin")});
    EXPECT_SUCCESS(c);
    EXPECT_NE(c.out.find("     4   0 SEQUENCE cons len=41  (cert_request_in)\n"
                         "     6   1   INTEGER prim len=1  1  (version)\n"),
              std::string::npos)
        << c.out;
    const run_result u = run({"dump", "--object-type", "260", example_message("object_260_v3.bin")});
    EXPECT_SUCCESS(u);
    EXPECT_NE(u.out.find("     4   0 SEQUENCE cons len=57  (kxobj_update_list_s_t)\n"
                         "     6   1   INTEGER prim len=1  1  (version)\n"
                         "     9   1   SEQUENCE cons len=52  (items)\n"
                         "    11   2     SEQUENCE cons len=24  (items[0]: kxobj_update_s_t)\n"),
              std::string::npos)
        << u.out;
    expect_clean(dump("04 07 AC DC 02 02 04 D2", {"--object-type", "262"}),
                 "envelope: header length 4, version 7, signature AC DC\n"
                 "     4   0 INTEGER prim len=2  1234  (value)\n");
    expect_clean(dump("04 07 AC DC 30 03 02 01 05", {"--object-type", "262"}),
                 "envelope: header length 4, version 7, signature AC DC\n"
                 "     4   0 SEQUENCE cons len=3\n"
                 "             warning: offset 4: from here the message does not fit object type 262 (a bare INTEGER): expected INTEGER, found SEQUENCE\n"
                 "     6   1   INTEGER prim len=1  5\n"
                 "1 warning\n");
}

// ---- --der ----

TEST_F(DumpChecks, der_flags_what_ber_allows_and_der_does_not) {
    // SEQUENCE (indefinite) { BOOLEAN 01, OCTET STRING in segments,
    // BIT STRING with a one in its unused bits, UTCTime without seconds }.
    const std::string input =
        "30 80 01 01 01  24 80 04 01 AB 00 00  03 02 03 F5  17 0B 39 39 31 32 33 31 32 33 35 39 5A  00 00";
    // Without --der: valid BER, nothing to say.
    expect_clean(dump(input),
                 "no envelope\n"
                 "     0   0 SEQUENCE cons len=indef\n"
                 "     2   1   BOOLEAN prim len=1  TRUE\n"
                 "     5   1   OCTET STRING cons len=indef\n"
                 "     7   2     OCTET STRING prim len=1  AB  |.|\n"
                 "    10   2     EOC prim len=0\n"
                 "    12   1   BIT STRING prim len=2  unused=3  F5\n"
                 "    16   1   UTCTime prim len=11  \"9912312359Z\"\n"
                 "    29   1   EOC prim len=0\n");
    expect_clean(dump(input, {"--der"}),
                 "no envelope\n"
                 "     0   0 SEQUENCE cons len=indef\n"
                 "             warning: offset 0: not DER: indefinite length\n"
                 "     2   1   BOOLEAN prim len=1  TRUE\n"
                 "               warning: offset 2: not DER: BOOLEAN TRUE written as 01 (DER writes FF)\n"
                 "     5   1   OCTET STRING cons len=indef\n"
                 "               warning: offset 5: not DER: indefinite length\n"
                 "               warning: offset 5: not DER: constructed OCTET STRING (DER writes strings primitive)\n"
                 "     7   2     OCTET STRING prim len=1  AB  |.|\n"
                 "    10   2     EOC prim len=0\n"
                 "    12   1   BIT STRING prim len=2  unused=3  F5\n"
                 "               warning: offset 12: not DER: the 3 unused bits of the last octet are not zero\n"
                 "    16   1   UTCTime prim len=11  \"9912312359Z\"\n"
                 "               warning: offset 16: not DER: UTCTime \"9912312359Z\" is not of the form YYMMDDhhmmssZ DER writes\n"
                 "    29   1   EOC prim len=0\n"
                 "6 warnings\n");
}

TEST_F(DumpChecks, der_wants_sets_sorted_and_reals_in_base_two_with_an_odd_mantissa) {
    expect_clean(dump("31 06 02 01 02 02 01 01", {"--der"}),
                 "no envelope\n"
                 "     0   0 SET cons len=6\n"
                 "             warning: offset 0: not DER: the elements of the SET OF are not sorted by their encodings "
                 "(offset 5 comes after offset 2)\n"
                 "     2   1   INTEGER prim len=1  2\n"
                 "     5   1   INTEGER prim len=1  1\n"
                 "1 warning\n");
    expect_clean(dump("31 06 81 01 00 80 01 00", {"--der"}),
                 "no envelope\n"
                 "     0   0 SET cons len=6\n"
                 "             warning: offset 0: not DER: the members of the SET are not in the order of their tags "
                 "(offset 5 comes after offset 2)\n"
                 "     2   1   [CONTEXT 1] prim len=1  00  |.|\n"
                 "     5   1   [CONTEXT 0] prim len=1  00  |.|\n"
                 "1 warning\n");
    // Sorted: no finding (by encoding, 02 01 7F comes before 02 02 00 80).
    expect_clean(dump("31 07 02 01 7F 02 02 00 80", {"--der"}),
                 "no envelope\n"
                 "     0   0 SET cons len=7\n"
                 "     2   1   INTEGER prim len=1  127\n"
                 "     5   1   INTEGER prim len=2  128\n");
    expect_clean(dump("09 03 90 FF 1A", {"--der"}),
                 "no envelope\n"
                 "     0   0 REAL prim len=3  3.25\n"
                 "             warning: offset 0: not DER: REAL in base 8 (DER uses base 2)\n"
                 "             warning: offset 0: not DER: REAL with an even mantissa (DER makes it odd)\n"
                 "2 warnings\n");
    expect_clean(dump("09 03 80 FE 0D", {"--der"}), "no envelope\n     0   0 REAL prim len=3  3.25\n");
    expect_clean(dump("09 08 03 33 32 35 2E 45 2D 32", {"--der"}), "no envelope\n     0   0 REAL prim len=8  325.E-2\n");
    expect_clean(dump("09 05 02 33 2E 32 35", {"--der"}),
                 "no envelope\n"
                 "     0   0 REAL prim len=5  3.25\n"
                 "             warning: offset 0: not DER: decimal REAL \"3.25\" is not in the NR3 form DER writes (such as \"314.E-2\")\n"
                 "1 warning\n");
}

TEST_F(DumpChecks, the_library_writes_der) {
    size_t checked = 0;
    for (const char* file : {"attrlist_s_t.bin", "kxaction_group_s_t.bin", "kxprincipal_s_t.bin", "namevalueList_s_t.bin",
                             "object_259_v1.bin", "object_260_v3.bin", "object_262_v7.bin", "remote_log_request.bin",
                             "uuid_t.bin", "value_s_t.bin"}) {
        SCOPED_TRACE(file);
        const run_result r = run({"dump", "--der", example_message(file)});
        EXPECT_SUCCESS(r);
        EXPECT_EQ(r.out.find("warning:"), std::string::npos) << r.out;
        EXPECT_GT(lines_of(r.out).size(), 1u);
        ++checked;
    }
    EXPECT_EQ(checked, 10u);
}

// The samples of dump_test.cpp: certificates and a key written by openssl
// in DER, and a CMS signature it streamed with indefinite lengths.
TEST_F(DumpChecks, certificates_are_der_and_a_streamed_signature_is_not) {
    const std::string samples = QBASN_SAMPLES_DIR;
    for (const char* file : {"rsa-cert.der", "ec-cert.pem", "ec-key.p8.der"}) {
        SCOPED_TRACE(file);
        const run_result r = run({"dump", "--der", samples + "/" + file});
        EXPECT_SUCCESS(r);
        EXPECT_EQ(r.out.find("warning:"), std::string::npos) << r.out;
    }
    const run_result cms = run({"dump", "--der", samples + "/signed.cms.der"});
    EXPECT_SUCCESS(cms);
    std::vector<std::string> findings;
    for (const std::string& line : lines_of(cms.out))
        if (std::regex_match(line, kFindingLine)) findings.push_back(line.substr(line.find("warning: ")));
    const std::vector<std::string> expected = {
        "warning: offset 0: not DER: indefinite length",
        "warning: offset 13: not DER: indefinite length",
        "warning: offset 15: not DER: indefinite length",
        "warning: offset 35: not DER: indefinite length",
        "warning: offset 48: not DER: indefinite length",
        "warning: offset 50: not DER: indefinite length",
        "warning: offset 50: not DER: constructed OCTET STRING (DER writes strings primitive)",
    };
    EXPECT_EQ(findings, expected) << cms.out;
    EXPECT_EQ(last_line(cms.out), "7 warnings");
    // Without --der the signature is simply BER.
    EXPECT_EQ(run({"dump", samples + "/signed.cms.der"}).out.find("warning:"), std::string::npos);
}

// ---- decode: where the message stops matching the record ----

TEST_F(DumpChecks, decode_names_the_frame_where_the_message_stops_matching_the_record) {
    expect_error(run({"decode", "--type", "uuid", "--hex"}, "04 02 AC DC 30 09 02 01 05 0C 01 61 04 01 01"), 1,
                 "(decoding uuid_t; offset 9, time_mid: expected INTEGER, found UTF8String)");
    // Cut off: the frame whose length runs past the end.
    const bytes message = read_file_octets(example_message("attrlist_s_t.bin"));
    write_file_octets(path("cut.bin"), bytes(message.begin(), message.begin() + 60));
    expect_error(run({"decode", "--type", "attrlist", path("cut.bin").string()}), 1,
                 "offset 4, attrlist_s_t: length 80 runs past the end of the input (54 octets left)");
    // The library reads strings in the primitive form only.
    expect_error(run({"decode", "--type", "value", "--hex"}, "04 02 AC DC 30 0B 02 01 05 0C 01 61 24 80 04 01 01 00 00"), 1,
                 "offset 12, bytes: expected a primitive OCTET STRING, found a constructed one");
}

TEST_F(DumpChecks, decode_der_refuses_a_message_that_is_ber_but_not_der) {
    const std::string indefinite = "04 02 AC DC 30 80 02 01 05 0C 01 61 04 01 01 00 00";
    const run_result ber = run({"decode", "--type", "value", "--hex"}, indefinite);
    EXPECT_SUCCESS(ber);
    EXPECT_EQ(ber.out, "{\n  \"number\": 5,\n  \"text\": \"a\",\n  \"bytes\": \"01\"\n}\n");
    const run_result der = run({"decode", "--type", "value", "--hex", "--der"}, indefinite);
    expect_error(der, 2, "not DER: offset 4: indefinite length");
    EXPECT_EQ(der.out, "");
    expect_error(run({"decode", "--type", "value", "--hex", "--der"}, "04 02 AC DC 30 0A 02 02 00 05 0C 01 61 04 01 01"), 2,
                 "not DER: offset 6: INTEGER has a needless leading 00 octet");
    const run_result ok = run({"decode", "--type", "value", "--der", example_message("value_s_t.bin")});
    EXPECT_SUCCESS(ok);
    EXPECT_EQ(ok.out.substr(0, 2), "{\n");
}

}  // namespace
