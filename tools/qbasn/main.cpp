// tools/qbasn/main.cpp - the qbasn command-line tool: look inside messages
// (dump), turn them into JSON (decode) and back (encode), list the record
// types (types) and the status codes (status).
//
// Exit codes: 0 success; 1 the library returned a status (printed as
// "error: 0x10652198 <meaning>"); 2 a usage error or input the tool cannot
// use. Every failure prints exactly one "error: ..." line on standard error;
// what the library prints there itself ("Exception: ...") is folded into it.
#include <cctype>
#include <cerrno>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include <unistd.h>

#include <CLI/CLI.hpp>

#include "qbasn.h"
#include "qbasn/cxx.h"
#include "tools/qbasn/commands.h"
#include "tools/qbasn/common.h"
#include "tools/qbasn/dump.h"
#include "tools/qbasn/hex.h"
#include "tools/qbasn/input_format.h"
#include "tools/qbasn/json_record.h"
#include "tools/qbasn/schema.h"
#include "tools/qbasn/text.h"
#include "tools/qbasn/types.h"

#ifndef QBASN_TOOL_VERSION
#define QBASN_TOOL_VERSION "unknown"
#endif

namespace qbtool {

namespace {

struct settings {
    std::string file = "-";
    std::string out = "-";
    std::string type;
    unsigned object_type = 0;
    int envelope_version = -1;
    bool lcs = false;
    bool hex = false;
    std::string in = "auto";
    bool no_envelope = false;
    bool no_nested = false;
    bool no_color = false;
    bool der = false;
    bool strict = false;
    std::string code;
    std::string second_file;  // diff: the second message
};

// load_message: the octets of the message in the input: raw bytes, hex
// text, base64 or PEM, recognised or named by --in (--hex: --in hex).
std::vector<unsigned char> load_message(const settings& s, const std::string& file) {
    const std::vector<unsigned char> raw = read_input(file);
    std::optional<input_format> format = parse_input_format(s.in);
    if (!format) input_error("--in " + s.in + ": not an input format (raw, hex, base64, pem or auto)");
    if (s.hex) {
        if (*format != input_format::automatic && *format != input_format::hex)
            input_error("--hex and --in " + s.in + " contradict each other");
        format = input_format::hex;
    }
    return message_octets(raw, *format);
}

std::vector<unsigned char> load_message(const settings& s) { return load_message(s, s.file); }

// use_local_code_set: --lcs converts texts between UTF-8 and the code set of
// the caller's locale, which the tool takes from the environment.
void use_local_code_set() { std::setlocale(LC_CTYPE, ""); }

qb_asn_buffer_t view_of(std::vector<unsigned char>& bytes) {
    return qb_asn_buffer_t{static_cast<unsigned int>(bytes.size()), bytes.empty() ? nullptr : bytes.data()};
}

void write_message(const settings& s, std::span<const unsigned char> bytes) {
    output out(s.out, !s.hex);
    if (s.hex)
        write_hex_lines(out.stream(), bytes);
    else
        out.write(bytes);
    out.finish();
}

// ---- commands ----

// use_color: colours only on a terminal, never with --no-color or a
// non-empty NO_COLOR in the environment.
bool use_color(const settings& s, FILE* out) {
    const char* no_color = std::getenv("NO_COLOR");
    return !s.no_color && (no_color == nullptr || no_color[0] == '\0') && isatty(fileno(out)) != 0;
}

int run_dump(const settings& s) {
    dump_options options;
    options.no_envelope = s.no_envelope;
    options.nested = !s.no_nested;
    options.der = s.der;
    options.object_type = s.object_type;
    if (!s.type.empty()) options.type = &find_record(s.type);
    const std::vector<unsigned char> bytes = load_message(s);
    output out("-", false);
    options.color = use_color(s, out.stream());
    dump_message(bytes, options, out.stream());
    out.finish();
    return kExitOk;
}

// call_library: runs `call`, which returns a library status, with what the
// library prints on standard error kept aside; a nonzero status ends the
// command with one error line that carries the library's words too.
// `explain`, when given, adds what the tool can tell about a failure.
template <class Call>
void call_library(const std::string& context, Call call, const std::function<std::string(unsigned int)>& explain = {}) {
    stderr_capture library;
    const unsigned int status = call();
    const std::string note = library.take();
    if (status != 0) {
        const std::string more = explain ? explain(status) : std::string();
        status_error(status, with_library_note(more.empty() ? context : context + "; " + more, note));
    }
    if (!note.empty()) std::fprintf(stderr, "%s\n", note.c_str());
}

// trailing_octets: the library reads a message's record and ignores what
// follows it (a second message joined on, padding); decode says so. Returns
// "N octets after the message (from offset M)", or "" when nothing follows.
std::string trailing_octets(std::span<const unsigned char> bytes) {
    const std::optional<size_t> end = message_end(bytes);
    if (!end || *end >= bytes.size()) return "";
    const size_t n = bytes.size() - *end;
    return std::to_string(n) + " octet" + (n == 1 ? "" : "s") + " after the message (from offset " + std::to_string(*end) + ")";
}

// Status of a message without the envelope the entry point expects.
constexpr unsigned int kNoEnvelope = 0x10652196;

// envelope_note: what the message's first octets are, when the library found
// no envelope of the version it expects: "the input is empty", "no envelope
// (the message starts 30 0C 02 01, not 04 02 AC DC)", "an envelope of
// version 3, not 2".
std::string envelope_note(std::span<const unsigned char> bytes, int expected_version) {
    if (bytes.empty()) return "the input is empty";
    char expected[32];
    std::snprintf(expected, sizeof expected, "04 %02X AC DC", static_cast<unsigned>(expected_version) & 0xFFu);
    if (bytes.size() < 4 || bytes[2] != 0xAC || bytes[3] != 0xDC) {
        std::string start;
        for (size_t i = 0; i < bytes.size() && i < 4; ++i) start += (i != 0 ? " " : "") + hex_digits(bytes.subspan(i, 1));
        return "no envelope (the message starts " + start + ", not " + expected + ")";
    }
    if (bytes[1] != (static_cast<unsigned>(expected_version) & 0xFFu))
        return "an envelope of version " + std::to_string(bytes[1]) + ", not " + std::to_string(expected_version);
    return "";
}

std::string untyped_context(const char* verb, unsigned object_type, const char* what) {
    return std::string(verb) + " object type " + std::to_string(object_type) + ", " + what;
}

int run_decode(const settings& s) {
    if (s.type.empty() && s.object_type == 0) input_error("decode needs --type NAME or --object-type 259|260|262");
    std::vector<unsigned char> bytes = load_message(s);
    if (s.der) {
        dump_options check;
        check.der = true;
        const dump_summary found = check_message(bytes, check);
        if (found.errors == 0 && found.not_der > 0) input_error("not DER: " + found.first_not_der);
    }
    // Octets after the message: an error with --strict, else a warning once
    // the message has decoded.
    const std::string trailing = trailing_octets(bytes);
    if (s.strict && !trailing.empty()) input_error(trailing + " (--strict)");
    output out("-", false);
    if (!s.type.empty()) {
        const qb_record_info& info = find_record(s.type);
        if (s.lcs) use_local_code_set();
        std::optional<qbasn::result<qbasn::any_record>> r;
        call_library(
            std::string("decoding ") + info.flat_name,
            [&] {
                r.emplace(qbasn::decode_any(info, bytes, s.lcs));
                return r->status();
            },
            [&](unsigned int status) { return status == kNoEnvelope ? envelope_note(bytes, 2) : locate_mismatch(bytes, info).value_or(""); });
        write_record_json(out.stream(), info, r->value().flat());
    } else if (s.object_type == kIntegerType) {
        int value = 0;
        qb_asn_buffer_t in = view_of(bytes);
        call_library(
            untyped_context("decoding", kIntegerType, "a bare INTEGER"),
            [&] { return static_cast<unsigned>(qbasn_decode_obj(s.envelope_version, in, kIntegerType, &value)); },
            [&](unsigned int status) { return status == kNoEnvelope ? envelope_note(bytes, s.envelope_version) : std::string(); });
        std::fprintf(out.stream(), "%d\n", value);
    } else {
        const qb_record_info& info = untyped_record(s.object_type);
        qbasn::any_record record(info);  // released through the record's free function, whatever happens
        qb_asn_buffer_t in = view_of(bytes);
        call_library(
            untyped_context("decoding", s.object_type, info.flat_name),
            [&] { return static_cast<unsigned>(qbasn_decode_obj(s.envelope_version, in, s.object_type, record.flat())); },
            [&](unsigned int status) {
                return status == kNoEnvelope ? envelope_note(bytes, s.envelope_version) : locate_mismatch(bytes, info).value_or("");
            });
        write_record_json(out.stream(), info, record.flat());
    }
    if (!trailing.empty()) std::fprintf(stderr, "warning: %s, which the library ignores; --strict refuses them\n", trailing.c_str());
    out.finish();
    return kExitOk;
}

int run_encode(const settings& s) {
    if (s.type.empty() && s.object_type == 0) input_error("encode needs --type NAME or --object-type 259|260|262");
    const std::vector<unsigned char> json = read_input(s.file);
    qbasn::buffer message;
    if (!s.type.empty()) {
        const qb_record_info& info = find_record(s.type);
        qbasn::any_record record(info);
        json_to_record(json, info, record.flat());
        if (s.lcs) use_local_code_set();
        call_library(std::string("encoding ") + info.flat_name, [&] {
            qbasn::result<qbasn::buffer> r = qbasn::encode_any(record, s.lcs);
            if (r) message = std::move(r.value());
            return r.status();
        });
    } else if (s.object_type == kIntegerType) {
        int value = json_to_int(json);
        call_library(untyped_context("encoding", kIntegerType, "a bare INTEGER"), [&] {
            qb_asn_buffer_t raw{};
            const int rc = qbasn_encode_obj(s.envelope_version, &value, kIntegerType, raw);
            if (rc == 0) message = qbasn::buffer(raw);
            return static_cast<unsigned>(rc);
        });
    } else {
        const qb_record_info& info = untyped_record(s.object_type);
        qbasn::any_record record(info);
        json_to_record(json, info, record.flat());
        call_library(untyped_context("encoding", s.object_type, info.flat_name), [&] {
            qb_asn_buffer_t raw{};
            const int rc = qbasn_encode_obj(s.envelope_version, record.flat(), s.object_type, raw);
            if (rc == 0) message = qbasn::buffer(raw);
            return static_cast<unsigned>(rc);
        });
    }
    write_message(s, message.bytes());
    return kExitOk;
}

int run_guess(const settings& s) {
    const std::vector<unsigned char> bytes = load_message(s);
    output out("-", false);
    guess_types(bytes, out.stream());
    out.finish();
    return kExitOk;
}

int run_diff(const settings& s) {
    if (s.type.empty() && s.object_type == 0) input_error("diff needs --type NAME or --object-type 259|260|262");
    if (s.file == "-" && s.second_file == "-") input_error("diff reads at most one of its two messages from standard input");
    const std::vector<unsigned char> a = load_message(s, s.file);
    const std::vector<unsigned char> b = load_message(s, s.second_file);
    output out("-", false);
    const int status = s.type.empty() ? diff_objects(s.object_type, s.envelope_version, a, b, s.file, s.second_file, out.stream())
                                      : diff_messages(find_record(s.type), a, b, s.file, s.second_file, out.stream());
    out.finish();
    return status;
}

int run_template(const settings& s) {
    if (s.type.empty() && s.object_type == 0) input_error("template needs a record type (or --object-type 259|260|262)");
    output out("-", false);
    if (s.type.empty())
        write_object_template(out.stream(), s.object_type);
    else
        write_template(out.stream(), find_record(s.type));
    out.finish();
    return kExitOk;
}

int run_schema() {
    output out("-", false);
    write_schema(out.stream());
    out.finish();
    return kExitOk;
}

int run_types(const settings& s) {
    output out("-", false);
    if (s.type.empty())
        list_types(out.stream());
    else
        describe_type(out.stream(), find_record(s.type));
    out.finish();
    return kExitOk;
}

// parse_code: a status code as the library writes it: hexadecimal, with or
// without 0x, with or without the brackets of its standard-error lines
// ("[106521ab]"), in either case; or -1.
unsigned int parse_code(const std::string& text) {
    std::string code = text;
    if (code.size() >= 2 && code.front() == '[' && code.back() == ']') code = code.substr(1, code.size() - 2);
    if (code == "-1") return 0xFFFFFFFFu;
    if (code.size() > 2 && code[0] == '0' && (code[1] == 'x' || code[1] == 'X')) code = code.substr(2);
    char* end = nullptr;
    errno = 0;
    const unsigned long long v = std::strtoull(code.c_str(), &end, 16);
    if (code.empty() || !std::isxdigit(static_cast<unsigned char>(code[0])) || end == nullptr || *end != '\0' || errno != 0 ||
        v > 0xFFFFFFFFull)
        input_error("'" + text + "' is not a status code (codes are hexadecimal: 10652198, 0x10652198, [10652198], or -1)");
    return static_cast<unsigned int>(v);
}

int run_status(const settings& s) {
    output out("-", false);
    if (s.code.empty()) {
        size_t n = 0;
        const qb_status_info* table = qbAsnStatusTable(&n);
        for (size_t i = 0; i < n; ++i) std::fprintf(out.stream(), "%s  %s\n", hex32(table[i].code).c_str(), table[i].text);
    } else {
        const unsigned int code = parse_code(s.code);
        const char* text = qbAsnStatusText(code);
        if (text == nullptr) input_error(hex32(code) + " is not a status code of the library");
        std::fprintf(out.stream(), "%s  %s\n", hex32(code).c_str(), text);
    }
    out.finish();
    return kExitOk;
}

// ---- command line ----

void add_input_option(CLI::App& cmd, settings& s) {
    cmd.add_option("--in", s.in,
                   "how the message is written: raw (BER octets), hex (text), base64, pem, or auto "
                   "(recognised from the input; the default)")
        ->check(CLI::IsMember({"auto", "raw", "hex", "base64", "pem"}))
        ->capture_default_str();
}

void add_record_options(CLI::App& cmd, settings& s) {
    CLI::Option* type = cmd.add_option("--type,-t", s.type,
                                       "record type: flat name (attrlist_s_t, uuid_t, remote_log_request), "
                                       "type name (attrlist_t) or short form (attrlist)");
    CLI::Option* lcs = cmd.add_flag("--lcs", s.lcs,
                                    "texts in the local code set of the locale (LC_ALL/LC_CTYPE/LANG) instead of UTF-8");
    CLI::Option* object_type = cmd.add_option("--object-type", s.object_type,
                                              "untyped entry point instead of --type: 259 cert_request_in, "
                                              "260 kxobj_update_list_s_t, 262 a bare INTEGER (JSON: a number)")
                                   ->check(CLI::IsMember({kCertRequestType, kUpdateListType, kIntegerType}));
    CLI::Option* version = cmd.add_option("--envelope-version", s.envelope_version,
                                          "envelope version of the untyped entry point, 0..255 (the typed path always uses 2)")
                               ->check(CLI::Range(0, 255));
    type->excludes(object_type);
    lcs->excludes(object_type);
    object_type->needs(version);
    version->needs(object_type);
}

}  // namespace

int run(int argc, char** argv) {
    settings s;
    CLI::App app{"qbasn - look inside qbasn messages, turn them into JSON and back", "qbasn"};
    app.set_version_flag("--version", std::string("qbasn ") + QBASN_TOOL_VERSION);
    app.require_subcommand(1);

    CLI::App* dump = app.add_subcommand("dump", "show the envelope and every BER frame of a message, one line per frame");
    dump->add_option("file", s.file, "message file, or - for standard input")->capture_default_str();
    dump->add_flag("--hex", s.hex, "the input is hex text (pairs of hex digits, white space, # comments); --in hex");
    add_input_option(*dump, s);
    dump->add_option("--type,-t", s.type, "label the members with this record's field names");
    dump->add_flag("--no-envelope", s.no_envelope, "read BER from offset 0 even when the octets look like an envelope");
    dump->add_flag("--no-nested", s.no_nested,
                   "show the content of a BIT STRING or OCTET STRING in hex even when it is BER itself");
    dump->add_flag("--no-color", s.no_color, "no colours (they are used only on a terminal, and never with NO_COLOR set)");
    dump->add_flag("--der", s.der, "also flag every departure from DER, as warnings (\"not DER: ...\")");
    {
        CLI::Option* object_type = dump->add_option("--object-type", s.object_type,
                                                    "label the members as the untyped entry point's object type: 259 cert_request_in, "
                                                    "260 kxobj_update_list_s_t, 262 a bare INTEGER")
                                       ->check(CLI::IsMember({kCertRequestType, kUpdateListType, kIntegerType}));
        dump->get_option("--type")->excludes(object_type);
    }
    dump->footer(
        "Each line: offset, depth, tag (universal tags by name, others as [CLASS n]), prim or cons,\n"
        "len=N or len=indef, the content of a primitive frame, and with --type the field it carries.\n"
        "Content longer than 16 octets follows in hex, 16 octets a line with their offsets; OBJECT\n"
        "IDENTIFIERs carry their names; BER inside a BIT STRING or OCTET STRING follows as frames\n"
        "(\"encapsulates\"). The input may be raw octets, hex text, base64 or PEM (--in).\n"
        "What X.690 finds wrong follows the frame it is about, on a line of its own: \"error: offset N:\n"
        "...\" (no valid BER has it), \"warning: offset N: ...\" (a form careful encoders avoid; with\n"
        "--type, members that do not fit the record; with --der, \"not DER: ...\"). A malformed message\n"
        "is shown as far as it goes; a last line counts the errors and warnings. Exit status 2 when\n"
        "there was an error (the first is also the error line on standard error), 0 otherwise.\n"
        "Examples:\n"
        "  qbasn dump --type attrlist examples/messages/attrlist_s_t.bin\n"
        "  qbasn dump certificate.pem");

    CLI::App* decode = app.add_subcommand("decode", "decode a message and print the record as JSON");
    decode->add_option("file", s.file, "message file, or - for standard input")->capture_default_str();
    decode->add_flag("--hex", s.hex, "the input is hex text; --in hex");
    add_input_option(*decode, s);
    add_record_options(*decode, s);
    decode->add_flag("--der", s.der, "refuse a message that is BER but not DER, naming its first departure from DER");
    decode->add_flag("--strict", s.strict, "octets after the message are an error, not a warning");
    decode->footer(
        "Examples:\n"
        "  qbasn decode --type attrlist examples/messages/attrlist_s_t.bin > attrlist.json\n"
        "  qbasn decode --object-type 260 --envelope-version 3 examples/messages/object_260_v3.bin");

    CLI::App* encode = app.add_subcommand("encode", "build a message from a record given as JSON");
    encode->add_option("json", s.file, "JSON file, or - for standard input")->capture_default_str();
    encode->add_option("-o,--output", s.out, "message file to write (default: standard output)");
    encode->add_flag("--hex", s.hex, "write hex text instead of binary octets");
    add_record_options(*encode, s);
    encode->footer(
        "Examples:\n"
        "  qbasn encode --type attrlist attrlist.json -o attrlist.bin\n"
        "  qbasn encode --type value --hex value.json");

    CLI::App* types = app.add_subcommand("types", "list the record types, or show one's ASN.1 definition and JSON shape");
    types->add_option("name", s.type, "record type (flat name, type name or short form, in any case)");
    types->footer(
        "Without a name: one line per record type (flat name, type name, short form), under a header.\n"
        "Examples:\n"
        "  qbasn types\n"
        "  qbasn types attrlist");

    CLI::App* guess = app.add_subcommand("guess", "name the record types a message of unknown type decodes as, best first");
    guess->add_option("file", s.file, "message file, or - for standard input")->capture_default_str();
    guess->add_flag("--hex", s.hex, "the input is hex text; --in hex");
    add_input_option(*guess, s);
    guess->footer(
        "Each line: a type (or object type and envelope version) under which the message decodes and\n"
        "re-encodes to the same octets, how many of its frames the type's fields name, and how many\n"
        "members it leaves empty or absent. Best first: more frames named, then fewer members empty;\n"
        "types of the same structure tie and follow the library's order. Exit status 1 when no type\n"
        "fits, 2 when the input is not a qbasn message.\n"
        "Example:\n"
        "  qbasn guess examples/messages/attrlist_s_t.bin");

    CLI::App* diff = app.add_subcommand("diff", "compare two messages of one type field by field");
    diff->add_option("a", s.file, "first message file (or - for standard input)")->required();
    diff->add_option("b", s.second_file, "second message file (or - for standard input)")->required();
    add_input_option(*diff, s);
    {
        CLI::Option* type = diff->add_option("--type,-t", s.type, "record type of both messages");
        CLI::Option* object_type = diff->add_option("--object-type", s.object_type, "untyped entry point instead of --type: 259, 260 or 262")
                                       ->check(CLI::IsMember({kCertRequestType, kUpdateListType, kIntegerType}));
        CLI::Option* version = diff->add_option("--envelope-version", s.envelope_version, "envelope version of the untyped entry point, 0..255")
                                   ->check(CLI::Range(0, 255));
        type->excludes(object_type);
        object_type->needs(version);
        version->needs(object_type);
    }
    diff->footer(
        "One line per difference, by path: attrs[1].values[0].text: \"blue\" -> \"green\"; list lengths as\n"
        "attrs: 2 elements -> 3 elements, then each element of one side only; an optional member missing\n"
        "on one side shows as null. Elements are compared by position. Exit status 0 equal (\"no\n"
        "differences\"), 1 they differ or a message does not decode (with an error line), 2 usage error.\n"
        "Examples:\n"
        "  qbasn diff --type attrlist old.bin new.bin\n"
        "  qbasn diff --object-type 260 --envelope-version 3 a.bin b.bin");

    CLI::App* templ = app.add_subcommand("template", "print a complete JSON record of a type, every field filled, to edit and encode");
    {
        CLI::Option* type = templ->add_option("type", s.type, "record type (flat name, type name or short form)");
        CLI::Option* object_type = templ->add_option("--object-type", s.object_type, "the record of an untyped entry point: 259, 260 or 262")
                                       ->check(CLI::IsMember({kCertRequestType, kUpdateListType, kIntegerType}));
        type->excludes(object_type);
    }
    templ->footer(
        "Texts \"<field name>\", integers 0, octets 00, one element in each list, optional members present,\n"
        "the first slot of a slot array used; a record that holds itself is nested one level.\n"
        "Examples:\n"
        "  qbasn template attrlist > attrlist.json\n"
        "  qbasn template --object-type 259 > request.json");

    CLI::App* schema = app.add_subcommand("schema", "print every record type as one ASN.1 module, for the compilers of other languages");
    schema->footer("Example:\n  qbasn schema > qbasn-wire.asn");

    CLI::App* status = app.add_subcommand("status", "list the library's status codes and their meanings, or explain one");
    status->add_option("code", s.code, "status code, hexadecimal as the library writes it: 10652198, 0x10652198, [106521ab], or -1");
    status->footer(
        "Examples:\n"
        "  qbasn status\n"
        "  qbasn status 10652198\n"
        "  qbasn status [106521ab]");

    // Set last: a subcommand takes the footer its parent has when it is made.
    app.footer(
        "Exit status: 0 success, 1 the library returned a status code, 2 usage error or unusable input.\n"
        "Examples:\n"
        "  qbasn dump --type attrlist examples/messages/attrlist_s_t.bin\n"
        "  qbasn decode --type attrlist examples/messages/attrlist_s_t.bin > attrlist.json\n"
        "  qbasn encode --type attrlist attrlist.json -o attrlist.bin");

    // An unknown command would otherwise read as a missing one.
    if (argc > 1 && argv[1][0] != '-') {
        bool known = false;
        for (const CLI::App* cmd : app.get_subcommands({})) known = known || cmd->get_name() == argv[1];
        if (!known)
            input_error(std::string("unknown command '") + argv[1] + "' (commands: dump, decode, encode, guess, diff, template, types, schema, status)");
    }

    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp& e) {
        return app.exit(e);
    } catch (const CLI::CallForAllHelp& e) {
        return app.exit(e);
    } catch (const CLI::CallForVersion& e) {
        return app.exit(e);
    } catch (const CLI::ParseError& e) {
        std::fprintf(stderr, "error: %s (see qbasn --help)\n", one_line(e.what()).c_str());
        return kExitInput;
    }

    if (dump->parsed()) return run_dump(s);
    if (decode->parsed()) return run_decode(s);
    if (encode->parsed()) return run_encode(s);
    if (types->parsed()) return run_types(s);
    if (guess->parsed()) return run_guess(s);
    if (diff->parsed()) return run_diff(s);
    if (templ->parsed()) return run_template(s);
    if (app.got_subcommand("schema")) return run_schema();
    return run_status(s);
}

}  // namespace qbtool

int main(int argc, char** argv) {
    try {
        return qbtool::run(argc, argv);
    } catch (const qbtool::tool_error& e) {
        std::fflush(stdout);
        std::fprintf(stderr, "error: %s\n", e.what());
        return e.exit_code();
    } catch (const std::bad_alloc&) {
        std::fflush(stdout);
        std::fprintf(stderr, "error: out of memory\n");
        return qbtool::kExitStatus;
    } catch (const std::exception& e) {
        std::fflush(stdout);
        std::fprintf(stderr, "error: %s\n", qbtool::one_line(e.what()).c_str());
        return qbtool::kExitInput;
    }
}
