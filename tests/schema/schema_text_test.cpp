// tests/schema/schema_text_test.cpp - the text of `qbasn schema`'s module:
// its header, the type assignments of known records member by member, the
// naming rules, the order of the types, and that every record is there once.
// The tools that read the module are run by check_schema.sh.
#include <gtest/gtest.h>

#include <cstdio>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "asn1/asnrecord.h"
#include "support/record_cases.h"
#include "support/text_lines.h"
#include "tools/flat/record_tree.h"
#include "tools/qbasn/schema.h"

namespace {

std::string schema_text() {
    FILE* f = std::tmpfile();
    if (f == nullptr) throw std::runtime_error("tmpfile failed");
    qbtool::write_schema(f);
    std::string text;
    std::rewind(f);
    char buf[4096];
    std::size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, f)) > 0) text.append(buf, n);
    std::fclose(f);
    return text;
}

using qb_test::lines_of;
using qb_test::listed_records;

// assignment_of: the type assignment of `reference` (with the comment line
// above it), "" when the module has none.
std::string assignment_of(const std::string& text, const std::string& reference) {
    const std::size_t start = text.find("\n" + reference + " ::= ");
    if (start == std::string::npos) return "";
    const std::size_t comment = text.rfind("\n", start - 1);
    const std::size_t end = text.find("\n}\n", start);
    if (comment == std::string::npos || end == std::string::npos) return "";
    return text.substr(comment + 1, end + 3 - (comment + 1));
}

const std::regex kIdentifier("[a-z][A-Za-z0-9]*(-[A-Za-z0-9]+)*");
const std::regex kReference("[A-Z][A-Za-z0-9]*(-[A-Za-z0-9]+)*");

TEST(SchemaText, KxprincipalHasItsMembersAndFlatName) {
    EXPECT_EQ(assignment_of(schema_text(), "Kxprincipal-t"),
              "-- kxprincipal_s_t\n"
              "Kxprincipal-t ::= SEQUENCE {\n"
              "    number1 INTEGER,\n"
              "    identity Sec-id-pa-t OPTIONAL,\n"
              "    number2 INTEGER,\n"
              "    attrs Attrlist-t OPTIONAL\n"
              "}\n");
}

TEST(SchemaText, FieldNamesBecomeIdentifiersAndFixedOctetsKeepTheirSize) {
    EXPECT_EQ(assignment_of(schema_text(), "Uuid-t"),
              "-- uuid_t\n"
              "Uuid-t ::= SEQUENCE {\n"
              "    time-low INTEGER,\n"
              "    time-mid INTEGER,\n"
              "    time-hi-and-version INTEGER,\n"
              "    clock-seq-hi-and-reserved INTEGER,\n"
              "    clock-seq-low INTEGER,\n"
              "    node OCTET STRING (SIZE (6))\n"
              "}\n");
}

TEST(SchemaText, SlotsAreAChoiceOfEmptyAndTheElement) {
    EXPECT_EQ(assignment_of(schema_text(), "Kxaction-group-t"),
              "-- kxaction_group_s_t\n"
              "Kxaction-group-t ::= SEQUENCE {\n"
              "    name UTF8String,\n"
              "    actions SEQUENCE OF CHOICE { empty NULL, kxaction Kxaction-t },\n"
              "    attrlist Attrlist-t\n"
              "}\n");
}

TEST(SchemaText, LeadingVersionComesFirstAndTextOctetsAreOctetStrings) {
    EXPECT_EQ(assignment_of(schema_text(), "Cert-request-in"),
              "-- cert_request_in\n"
              "Cert-request-in ::= SEQUENCE {\n"
              "    version INTEGER,\n"
              "    text-a OCTET STRING,\n"
              "    text-b OCTET STRING,\n"
              "    body OCTET STRING OPTIONAL\n"
              "}\n");
    EXPECT_EQ(assignment_of(schema_text(), "Update-list"),
              "-- kxobj_update_list_s_t\n"
              "Update-list ::= SEQUENCE {\n"
              "    version INTEGER,\n"
              "    items SEQUENCE OF Kxobj-update\n"
              "}\n");
}

// One member per field, after the version of the records that have one (a
// field may be named "version" too: kxauthzn_db_s_t's is).
TEST(SchemaText, OneMemberPerFieldAfterTheLeadingVersion) {
    const std::string text = schema_text();
    unsigned with_version = 0;
    for (const qb_record_info* info : listed_records()) {
        const std::string a = assignment_of(text, qbflat::module_reference(*info));
        ASSERT_FALSE(a.empty()) << info->flat_name;
        std::vector<std::string> members;
        for (const std::string& line : lines_of(a))
            if (line.rfind("    ", 0) == 0) members.push_back(line.substr(4));
        const std::size_t first_field = info->leading_version != 0 ? 1 : 0;
        ASSERT_EQ(members.size(), info->field_count + first_field) << info->flat_name;
        if (info->leading_version != 0) {
            EXPECT_EQ(members[0], info->field_count != 0 ? "version INTEGER," : "version INTEGER") << info->flat_name;
        }
        for (std::size_t i = 0; i < info->field_count; ++i) {
            EXPECT_EQ(members[first_field + i].rfind(qbflat::module_identifier(info->fields[i].name) + " ", 0), 0u)
                << info->flat_name << ": " << members[first_field + i];
        }
        with_version += info->leading_version != 0 ? 1u : 0u;
    }
    EXPECT_EQ(with_version, 3u);  // the update, the update list, the certificate request
}

TEST(SchemaText, RecursiveRecordRefersToItself) {
    EXPECT_EQ(assignment_of(schema_text(), "Namevalue-t"),
              "-- namevalue_s_t\n"
              "Namevalue-t ::= SEQUENCE {\n"
              "    name UTF8String,\n"
              "    values SEQUENCE OF UTF8String,\n"
              "    child-nodes SEQUENCE OF Namevalue-t\n"
              "}\n");
}

TEST(SchemaText, HeaderAndEnd) {
    const std::string text = schema_text();
    const std::vector<std::string> lines = lines_of(text);
    std::size_t i = 0;
    while (i < lines.size() && (lines[i].rfind("--", 0) == 0 || lines[i].empty())) ++i;
    ASSERT_LT(i, lines.size());
    EXPECT_GT(i, 10u);  // the header comment explains the names and values
    EXPECT_EQ(lines[i], "QbasnWire DEFINITIONS EXPLICIT TAGS ::= BEGIN");
    EXPECT_EQ(lines.back(), "END");
    EXPECT_EQ(text.find("BEGIN"), text.rfind("BEGIN"));
    // The header documents the naming rules.
    EXPECT_NE(text.find("(time_low: time-low)"), std::string::npos);
    EXPECT_NE(text.find("(kxprincipal_t: Kxprincipal-t)"), std::string::npos);
    // No tagging, no ranges.
    EXPECT_EQ(text.find('['), std::string::npos);
    EXPECT_EQ(text.find("INTEGER ("), std::string::npos);
}

TEST(SchemaText, EveryRecordOnceWithItsFlatName) {
    const std::string text = schema_text();
    const std::vector<const qb_record_info*> all = listed_records();
    ASSERT_EQ(all.size(), 65u);
    std::set<std::string> references;
    for (const qb_record_info* info : all) {
        const std::string ref = qbflat::module_reference(*info);
        EXPECT_TRUE(references.insert(ref).second) << ref;
        const std::string head = "\n-- " + std::string(info->flat_name) + "\n" + ref + " ::= SEQUENCE {";
        const std::size_t at = text.find(head);
        EXPECT_NE(at, std::string::npos) << info->flat_name;
        EXPECT_EQ(text.find("\n" + ref + " ::= "), text.rfind("\n" + ref + " ::= ")) << ref;
    }
    std::size_t assignments = 0;
    for (const std::string& line : lines_of(text))
        if (line.find(" ::= SEQUENCE") != std::string::npos) ++assignments;
    EXPECT_EQ(assignments, all.size());
}

// Every member line: an identifier, a type, and only references the module
// defines before it (a record may refer to itself).
TEST(SchemaText, MembersAreIdentifiersAndTypesAreDefinedFirst) {
    const std::vector<std::string> lines = lines_of(schema_text());
    std::set<std::string> all_refs;
    for (const qb_record_info* info : listed_records()) all_refs.insert(qbflat::module_reference(*info));
    std::size_t members_expected = 0;
    for (const qb_record_info* info : listed_records()) members_expected += info->field_count + (info->leading_version != 0 ? 1 : 0);
    std::set<std::string> defined;
    std::string current;
    std::set<std::string> members;
    unsigned member_lines = 0;
    for (const std::string& line : lines) {
        if (line.rfind("--", 0) == 0) continue;
        std::smatch m;
        if (std::regex_match(line, m, std::regex("([A-Za-z0-9-]+) ::= SEQUENCE \\{\\}?"))) {
            current = m[1];
            EXPECT_TRUE(std::regex_match(current, kReference)) << current;
            members.clear();
            continue;
        }
        if (line == "}") {
            defined.insert(current);
            current.clear();
            continue;
        }
        if (current.empty() || line.rfind("    ", 0) != 0) continue;
        ++member_lines;
        std::istringstream words(line);
        std::string identifier;
        words >> identifier;
        EXPECT_TRUE(std::regex_match(identifier, kIdentifier)) << current << ": " << line;
        EXPECT_TRUE(members.insert(identifier).second) << current << ": " << identifier << " twice";
        EXPECT_EQ(line.find('_'), std::string::npos) << line;
        for (std::string word; words >> word;) {
            while (!word.empty() && (word.back() == ',')) word.pop_back();
            if (all_refs.count(word) != 0) {
                EXPECT_TRUE(defined.count(word) != 0 || word == current) << current << " refers to " << word << " before its definition";
            }
        }
    }
    EXPECT_EQ(defined.size(), all_refs.size());
    EXPECT_EQ(member_lines, members_expected);
}

TEST(SchemaText, SameOutputEveryTime) { EXPECT_EQ(schema_text(), schema_text()); }

TEST(SchemaNames, IdentifierMapping) {
    EXPECT_EQ(qbflat::module_identifier("time_low"), "time-low");
    EXPECT_EQ(qbflat::module_identifier("clock_seq_hi_and_reserved"), "clock-seq-hi-and-reserved");
    EXPECT_EQ(qbflat::module_identifier("Name"), "name");
    EXPECT_EQ(qbflat::module_identifier("attrs2"), "attrs2");
    for (const char* bad : {"a__b", "a_", "_a", "9a", "", "a$b"})
        EXPECT_THROW(qbflat::module_identifier(bad), std::invalid_argument) << bad;
}

TEST(SchemaNames, ReferenceMapping) {
    const auto reference = [](const char* name) {
        qb_record_info info{};
        info.name = name;
        return qbflat::module_reference(info);
    };
    EXPECT_EQ(reference("kxprincipal_t"), "Kxprincipal-t");
    EXPECT_EQ(reference("namevalueList_t"), "NamevalueList-t");
    EXPECT_EQ(reference("RemoteLogRequest"), "RemoteLogRequest");
    EXPECT_EQ(reference("update_list"), "Update-list");
    for (const char* bad : {"x__t", "x_", "_x", "1x", ""}) EXPECT_THROW(reference(bad), std::invalid_argument) << bad;
}

// The per-record definition of `qbasn types` keeps its own spelling.
TEST(SchemaNames, RecordDefinitionUnchanged) {
    const qb_record_info* group = qb_record_find("kxaction_group");
    ASSERT_NE(group, nullptr);
    EXPECT_EQ(qbflat::definition_of(*group),
              "kxaction_group_t ::= SEQUENCE {\n"
              "    name UTF8String,\n"
              "    actions SEQUENCE OF CHOICE { NULL, kxaction_t },\n"
              "    attrlist attrlist_t\n"
              "}\n");
}

}  // namespace
