// tests/tool/commands_test.cpp - qbasn guess, diff and template, run as a
// process:
//   qbasn guess FILE                                  which types read a message back to its octets
//   qbasn diff --type T A B                           how two messages of one type differ
//   qbasn diff --object-type N --envelope-version V A B
//   qbasn template T                                  a complete record of a type, as JSON
//   qbasn template --object-type N
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "qbasn.h"
#include "support/hex.h"
#include "support/record_cases.h"
#include "tool/tool_fixture.h"

namespace {

using namespace qb_tool_test;

// rank_of: what a guess line says after its name: "20 frames named, ...".
std::string rank_of(const std::string& line) {
    const size_t at = line.find("  ");
    return at == std::string::npos ? std::string() : line.substr(at + 2);
}

// first_word: the flat name a guess line starts with.
std::string first_word(const std::string& line) { return line.substr(0, line.find(' ')); }

class CommandsTest : public ToolTest {
protected:
    // encode_json: the message `qbasn encode` makes of a JSON record.
    std::string encode_json(const std::string& type, const std::string& json, const std::string& name) {
        write_file(path(name + ".json"), json);
        const std::string message = path(name + ".bin").string();
        const run_result r = run({"encode", "--type", type, path(name + ".json").string(), "-o", message});
        EXPECT_SUCCESS(r);
        return message;
    }

    std::string message_file(const std::string& name, const bytes& octets) {
        write_file_octets(path(name), octets);
        return path(name).string();
    }

    // expect_differences: what diff says when the messages differ: exit
    // status 1, nothing on standard error, exactly `out`.
    static void expect_differences(const run_result& r, const std::string& out) {
        EXPECT_EQ(r.code, 1);
        EXPECT_EQ(r.err, "");
        EXPECT_EQ(r.out, out);
    }
};

// ---- guess ----

TEST_F(CommandsTest, GuessNamesTheTypeOfEveryExampleMessageFirst) {
    size_t seen = 0;
    for (const auto& entry : fs::directory_iterator(example_path("messages"))) {
        if (entry.path().extension() != ".bin") continue;
        ++seen;
        const std::string stem = entry.path().stem().string();
        SCOPED_TRACE(stem);
        const run_result r = run({"guess", entry.path().string()});
        EXPECT_SUCCESS(r);
        const std::vector<std::string> lines = lines_of(r.out);
        ASSERT_FALSE(lines.empty());
        unsigned object_type = 0;
        int version = 0;
        if (std::sscanf(stem.c_str(), "object_%u_v%d", &object_type, &version) == 2) {
            // Untyped messages: the object type with the envelope's version octet.
            const std::string expected = "object type " + std::to_string(object_type) + ", envelope version " + std::to_string(version) + " (";
            EXPECT_EQ(lines[0].rfind(expected, 0), 0u) << lines[0];
        } else {
            EXPECT_EQ(first_word(lines[0]), stem) << lines[0];
        }
    }
    EXPECT_EQ(seen, 10u);
}

TEST_F(CommandsTest, GuessWritesOneLinePerCandidate) {
    // The example messages fit one type each; the counts are the message's
    // frames (examples/messages/*.bin, as qbasn dump lists them).
    struct guess_row {
        const char* message;
        const char* line;  // all guess prints
    };
    const guess_row rows[] = {
        {"attrlist_s_t.bin", "attrlist_s_t (type attrlist_t, short form attrlist)  20 frames named, every member present"},
        // Two empty attribute lists and one action whose attrlist is empty; the
        // NULL of the empty slot is named by no field.
        {"kxaction_group_s_t.bin",
         "kxaction_group_s_t (type kxaction_group_t, short form kxaction_group)  23 frames named, 3 members empty or absent"},
        {"uuid_t.bin", "uuid_t (short form uuid)  7 frames named, every member present"},
        {"remote_log_request.bin", "remote_log_request (type RemoteLogRequest)  6 frames named, every member present"},
        // The leading version INTEGER of the update list and its items is named by no field.
        {"object_260_v3.bin", "object type 260, envelope version 3 (kxobj_update_list_s_t)  10 frames named, every member present"},
        {"object_262_v7.bin", "object type 262, envelope version 7 (a bare INTEGER)  1 frame named, every member present"},
    };
    for (const guess_row& row : rows) {
        SCOPED_TRACE(row.message);
        expect_clean(run({"guess", example_message(row.message)}), std::string(row.line) + "\n");
    }
}

TEST_F(CommandsTest, GuessCountsAbsentOptionalMembers) {
    // kxprincipal_s_t with neither identity nor attrs: SEQUENCE { 3, 0 }.
    const std::string m = message_file("principal.bin", hex("04 02 AC DC 30 06 02 01 03 02 01 00"));
    expect_clean(run({"guess", m}),
                 "kxprincipal_s_t (type kxprincipal_t, short form kxprincipal)  3 frames named, 2 members empty or absent\n");
}

TEST_F(CommandsTest, GuessListsStructurallyIdenticalRecordsInLibraryOrder) {
    // SEQUENCE { 0, 0, 0 }: three records of three INTEGERs each, equally good.
    const std::string m = message_file("three.bin", hex("04 02 AC DC 30 09 02 01 00 02 01 00 02 01 00"));
    expect_clean(run({"guess", m}),
                 "dbr_get_db_out_s_t (type dbr_get_db_out_t, short form dbr_get_db_out)  4 frames named, every member present\n"
                 "kxtod_range_s_t (type kxtod_range_t, short form kxtod_range)  4 frames named, every member present\n"
                 "kxpop_ipauth_s_t (type kxpop_ipauth_t, short form kxpop_ipauth)  4 frames named, every member present\n");
}

TEST_F(CommandsTest, GuessListsTheRecordTypeAndTheObjectTypeForVersionTwo) {
    // cert_request_in with envelope version 2 reads through both entry points:
    // SEQUENCE { 1, "a\0", "b\0", 00 }.
    const std::string m = message_file("request.bin", hex("04 02 AC DC 30 0E 02 01 01 04 02 61 00 04 02 62 00 04 01 00"));
    expect_clean(run({"guess", m}),
                 "cert_request_in  4 frames named, every member present\n"
                 "object type 259, envelope version 2 (cert_request_in)  4 frames named, every member present\n");
}

TEST_F(CommandsTest, GuessReadsHexText) {
    expect_clean(run({"guess", "-"}, "04 02 AC DC 30 0F 02 01 2A 0C 04 72 65 61 64 04 04 DE AD BE EF\n"),
                 "value_s_t (type value_t, short form value)  4 frames named, every member present\n");
}

TEST_F(CommandsTest, GuessFailsWithOneLineWhenNothingFits) {
    // Not a qbasn message at all.
    run_result r = run({"guess", message_file("garbage.bin", hex("00 FF 13 37 C0 DE 01 02"))});
    expect_error(r, 2, "not a qbasn message: it does not start with the envelope");
    EXPECT_EQ(r.out, "");

    // An envelope around something no record is: SEQUENCE { BOOLEAN TRUE }.
    r = run({"guess", message_file("boolean.bin", hex("04 02 AC DC 30 03 01 01 FF"))});
    expect_error(r, 1, "no record type decodes and re-encodes this message (envelope version 2; no type decodes it)");
    EXPECT_EQ(r.out, "");

    // SEQUENCE { 5 } with a long-form length: dbr_get_db_in_s_t reads it,
    // but the library writes the short form.
    r = run({"guess", message_file("long_form.bin", hex("04 02 AC DC 30 81 03 02 01 05"))});
    expect_error(r, 1, "(envelope version 2; dbr_get_db_in_s_t decodes it but re-encodes other octets)");
    EXPECT_EQ(r.out, "");

    // Typed records travel with version 2 only.
    r = run({"guess", message_file("version5.bin", hex("04 05 AC DC 30 03 02 01 05"))});
    expect_error(r, 1, "envelope version 5, which only object types 259, 260 and 262 read");

    r = run({"guess", message_file("empty.bin", bytes{})});
    expect_error(r, 2, "the message is empty");

    r = run({"guess", path("missing.bin").string()});
    expect_error(r, 2, "cannot open");
}

// ---- template ----

TEST_F(CommandsTest, TemplateOfEveryRecordTypeEncodesAndDecodesToItself) {
    for (const qb_record_info* info : qb_test::listed_records()) {
        const std::string type = info->flat_name;
        SCOPED_TRACE(type);
        const run_result t = run({"template", type});
        EXPECT_SUCCESS(t);
        ASSERT_FALSE(t.out.empty());
        const std::string message = encode_json(type, t.out, "template");
        expect_clean(run({"decode", "--type", type, message}), t.out);

        // guess names the type among the best candidates: records of the same
        // structure tie with it, and nothing ranks above it.
        const run_result g = run({"guess", message});
        EXPECT_SUCCESS(g);
        const std::vector<std::string> lines = lines_of(g.out);
        ASSERT_FALSE(lines.empty());
        const auto own = std::find_if(lines.begin(), lines.end(), [&](const std::string& l) { return first_word(l) == type; });
        ASSERT_NE(own, lines.end()) << g.out;
        EXPECT_EQ(rank_of(*own), rank_of(lines[0])) << g.out;
        // The only empty members of a template are the lists of itself in
        // the copy a recursive record holds.
        size_t empty = 0;
        for (size_t at = t.out.find("[]"); at != std::string::npos; at = t.out.find("[]", at + 1)) ++empty;
        const std::string members = empty == 0   ? std::string("every member present")
                                    : empty == 1 ? std::string("1 member empty or absent")
                                                 : std::to_string(empty) + " members empty or absent";
        EXPECT_NE(own->find(" frames named, " + members), std::string::npos) << *own;
    }
}

TEST_F(CommandsTest, TemplateFillsEveryField) {
    expect_clean(run({"template", "attrlist"}),
                 "{\n"
                 "  \"attrs\": [\n"
                 "    {\n"
                 "      \"name\": \"<name>\",\n"
                 "      \"values\": [\n"
                 "        {\n"
                 "          \"number\": 0,\n"
                 "          \"text\": \"<text>\",\n"
                 "          \"bytes\": \"00\"\n"
                 "        }\n"
                 "      ]\n"
                 "    }\n"
                 "  ]\n"
                 "}\n");

    // Optional members present, fixed octets at their size.
    const run_result p = run({"template", "kxprincipal_s_t"});
    EXPECT_SUCCESS(p);
    EXPECT_EQ(p.out.find("null"), std::string::npos) << p.out;
    EXPECT_NE(p.out.find("\"node\": \"000000000000\""), std::string::npos) << p.out;
    EXPECT_NE(p.out.find("\"attrs\": {"), std::string::npos) << p.out;
}

TEST_F(CommandsTest, TemplateNestsARecursiveRecordOneLevel) {
    expect_clean(run({"template", "namevalue_t"}),
                 "{\n"
                 "  \"name\": \"<name>\",\n"
                 "  \"values\": [\n"
                 "    \"<values>\"\n"
                 "  ],\n"
                 "  \"child_nodes\": [\n"
                 "    {\n"
                 "      \"name\": \"<name>\",\n"
                 "      \"values\": [\n"
                 "        \"<values>\"\n"
                 "      ],\n"
                 "      \"child_nodes\": []\n"
                 "    }\n"
                 "  ]\n"
                 "}\n");
}

TEST_F(CommandsTest, TemplateUsesTheFirstSlot) {
    const run_result r = run({"template", "kxaction_group"});
    EXPECT_SUCCESS(r);
    const std::string used = "  \"actions\": [\n    {\n      \"bit\": 0,\n      \"letter\": \"<letter>\",";
    EXPECT_NE(r.out.find(used), std::string::npos) << r.out;
    // The other 31 of its 32 slots are empty.
    size_t nulls = 0;
    for (size_t at = r.out.find("null"); at != std::string::npos; at = r.out.find("null", at + 1)) ++nulls;
    EXPECT_EQ(nulls, 31u);
}

TEST_F(CommandsTest, TemplateOfTheObjectTypes) {
    for (const char* object_type : {"259", "260"}) {
        SCOPED_TRACE(object_type);
        const run_result t = run({"template", "--object-type", object_type});
        EXPECT_SUCCESS(t);
        write_file(path("object.json"), t.out);
        EXPECT_SUCCESS(run({"encode", "--object-type", object_type, "--envelope-version", "9", path("object.json").string(), "-o",
                            path("object.bin").string()}));
        expect_clean(run({"decode", "--object-type", object_type, "--envelope-version", "9", path("object.bin").string()}),
                     t.out);
    }
    const run_result r = run({"template", "--object-type", "259"});
    EXPECT_EQ(r.out, "{\n  \"text_a\": \"<text_a>\",\n  \"text_b\": \"<text_b>\",\n  \"body\": \"00\"\n}\n");

    expect_clean(run({"template", "--object-type", "262"}), "0\n");
}

TEST_F(CommandsTest, TemplateOfAnUnknownTypeFails) {
    const run_result r = run({"template", "no_such_record_t"});
    expect_error(r, 2, "unknown record type 'no_such_record_t'");
    EXPECT_EQ(r.out, "");
}

// ---- diff ----

// value_s_t { 42, "read", DEADBEEF } (examples/messages/value_s_t.bin).
const char* const kValue = "04 02 AC DC 30 0F 02 01 2A 0C 04 72 65 61 64 04 04 DE AD BE EF";

TEST_F(CommandsTest, DiffOfEqualMessages) {
    const std::string a = message_file("a.bin", hex(kValue));
    expect_clean(run({"diff", "--type", "value", a, example_message("value_s_t.bin")}), "no differences\n");
}

TEST_F(CommandsTest, DiffOfANumberATextAndOctets) {
    const std::string a = message_file("a.bin", hex(kValue));
    // { 43, "reed", DEADBEEE }
    const std::string b = message_file("b.bin", hex("04 02 AC DC 30 0F 02 01 2B 0C 04 72 65 65 64 04 04 DE AD BE EE"));
    expect_differences(run({"diff", "--type", "value_s_t", a, b}),
                       "number: 42 -> 43\n"
                       "text: \"read\" -> \"reed\"\n"
                       "bytes: \"DEADBEEF\" -> \"DEADBEEE\"\n");
}

TEST_F(CommandsTest, DiffNamesNestedPaths) {
    std::string json = read_file(example_path("attrlist_s_t.json"));
    const std::string a = encode_json("attrlist", json, "a");
    json.replace(json.find("\"blue\""), 6, "\"green\"");
    const std::string b = encode_json("attrlist", json, "b");
    expect_differences(run({"diff", "--type", "attrlist", a, b}), "attrs[1].values[0].text: \"blue\" -> \"green\"\n");
}

TEST_F(CommandsTest, DiffOfListLengths) {
    const std::string a = encode_json("attrlist",
                                      R"({"attrs": [{"name": "badge", "values": [{"number": 7, "text": "blue", "bytes": "0A0B"},
                                                                           {"number": -1, "text": "expired", "bytes": ""}]}]})",
                                      "a");
    const std::string b = encode_json("attrlist",
                                      R"({"attrs": [{"name": "badge", "values": [{"number": 7, "text": "blue", "bytes": "0A0B"}]},
                                                    {"name": "room", "values": []}]})",
                                      "b");
    expect_differences(run({"diff", "--type", "attrlist", a, b}),
                       "attrs: 1 element -> 2 elements\n"
                       "attrs[0].values: 2 elements -> 1 element\n"
                       "attrs[0].values[1]: only in '" + a + "': {\"number\": -1, \"text\": \"expired\", \"bytes\": \"\"}\n"
                       "attrs[1]: only in '" + b + "': {\"name\": \"room\", \"values\": []}\n");
}

TEST_F(CommandsTest, DiffOfAnOptionalMember) {
    // kxprincipal_s_t { 3, -, 0, - } and { 3, -, 0, { attrs [] } }.
    const std::string a = message_file("a.bin", hex("04 02 AC DC 30 06 02 01 03 02 01 00"));
    const std::string b = message_file("b.bin", hex("04 02 AC DC 30 0A 02 01 03 02 01 00 30 02 30 00"));
    expect_differences(run({"diff", "--type", "kxprincipal", a, b}), "attrs: null -> {\"attrs\": []}\n");
    expect_differences(run({"diff", "--type", "kxprincipal", b, a}), "attrs: {\"attrs\": []} -> null\n");
}

TEST_F(CommandsTest, DiffOfASlot) {
    std::string json = read_file(example_path("kxaction_group_s_t.json"));
    const std::string a = encode_json("kxaction_group", json, "a");
    // The second slot, empty in the example, gets an action.
    const std::string slot = "    null,\n";
    json.replace(json.find(slot), slot.size(),
                 R"({"bit": 1, "letter": "x", "name": "run", "description": "", "type": 0, "flags": 0, "attrlist": {"attrs": []}},)"
                 "\n");
    const std::string b = encode_json("kxaction_group", json, "b");
    expect_differences(run({"diff", "--type", "kxaction_group", a, b}),
                       "actions[1]: null -> {\"bit\": 1, \"letter\": \"x\", \"name\": \"run\", \"description\": \"\", \"type\": 0, "
                       "\"flags\": 0, \"attrlist\": {\"attrs\": []}}\n");
}

TEST_F(CommandsTest, DiffWithTheWrongTypeNamesTheFile) {
    const std::string a = message_file("a.bin", hex(kValue));
    run_result r = run({"diff", "--type", "attrlist", a, example_message("attrlist_s_t.bin")});
    expect_error(r, 1, "(decoding '" + a + "' as attrlist_s_t");
    EXPECT_EQ(r.out, "");

    // The second message is the one that does not decode.
    r = run({"diff", "--type", "value", a, example_message("attrlist_s_t.bin")});
    expect_error(r, 1, "(decoding '" + example_message("attrlist_s_t.bin") + "' as value_s_t");
    EXPECT_EQ(r.out, "");

    r = run({"diff", "--type", "no_such_record_t", a, a});
    expect_error(r, 2, "unknown record type 'no_such_record_t'");
}

TEST_F(CommandsTest, DiffOfObjectTypes) {
    // object type 262 with envelope version 7: 1234 (examples/messages/object_262_v7.bin) and 1235.
    const std::string b = message_file("b.bin", hex("04 07 AC DC 02 02 04 D3"));
    expect_differences(run({"diff", "--object-type", "262", "--envelope-version", "7", example_message("object_262_v7.bin"), b}),
                       "value: 1234 -> 1235\n");
    expect_clean(run({"diff", "--object-type", "260", "--envelope-version", "3", example_message("object_260_v3.bin"),
                      example_message("object_260_v3.bin")}),
                 "no differences\n");

    // The envelope's version octet must be the one given.
    expect_error(run({"diff", "--object-type", "262", "--envelope-version", "2", example_message("object_262_v7.bin"), b}), 1,
                 "as object type 262, envelope version 2");
}

}  // namespace
