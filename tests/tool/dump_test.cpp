// tests/tool/dump_test.cpp - `qbasn dump` on real BER beside `openssl
// asn1parse`, and the parts of the dump that make that useful: nested BER,
// wrapped hex, OBJECT IDENTIFIER names, input formats and colour.
//
// The samples (tests/tool/samples/) were made once with the openssl command:
// an RSA certificate (PEM, DER, base64), an EC certificate and its PKCS#8 key
// (PEM and DER), and a CMS signature written with indefinite lengths
// (`openssl cms -sign -stream -outform DER`).
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <regex>
#include <string>
#include <tuple>
#include <vector>

#include "tool/tool_fixture.h"

#ifndef QBASN_OPENSSL_PATH
#error "QBASN_OPENSSL_PATH must name the openssl program"
#endif
#ifndef QBASN_SAMPLES_DIR
#error "QBASN_SAMPLES_DIR must name tests/tool/samples"
#endif

namespace {

using namespace qb_tool_test;

// ---- frames as the two tools print them ----

// frame: what both tools say of one frame.
struct frame {
    std::size_t offset;
    int depth;
    bool constructed;
    std::string length;  // decimal, or "inf" for an indefinite length
    bool encapsulates;   // qbasn: the BER inside follows
    bool operator==(const frame& o) const {
        return std::tie(offset, depth, constructed, length) == std::tie(o.offset, o.depth, o.constructed, o.length);
    }
};

std::ostream& operator<<(std::ostream& os, const frame& f) {
    return os << f.offset << ":d=" << f.depth << (f.constructed ? " cons" : " prim") << " l=" << f.length;
}

// Frame lines of qbasn dump: "offset depth <indent>TAG prim|cons len=N|indef ...".
std::vector<frame> qbasn_frames(const std::string& dump) {
    static const std::regex line(R"(^ *([0-9]+) +([0-9]+) .*? (prim|cons) len=([0-9]+|indef)( .*)?$)");
    std::vector<frame> frames;
    for (const std::string& l : lines_of(dump)) {
        std::smatch m;
        if (!std::regex_match(l, m, line)) continue;  // the envelope line, hex below a frame
        const std::string len = m[4] == "indef" ? std::string("inf") : std::string(m[4]);
        const bool encapsulates = m[5].matched && std::string(m[5]).rfind(" encapsulates", 0) != std::string::npos;
        frames.push_back({std::stoul(m[1]), std::stoi(m[2]), m[3] == "cons", len, encapsulates});
    }
    return frames;
}

// Frame lines of openssl asn1parse -i: "  offset:d=D  hl=H l=  N cons: ...".
std::vector<frame> openssl_frames(const std::string& out) {
    static const std::regex line(R"(^ *([0-9]+):d=([0-9]+) +hl= *[0-9]+ +l= *([0-9]+|inf) +(prim|cons):.*$)");
    std::vector<frame> frames;
    for (std::string l : lines_of(out)) {
        std::erase(l, '\r');  // texts it prints may hold carriage returns
        std::smatch m;
        if (std::regex_match(l, m, line)) frames.push_back({std::stoul(m[1]), std::stoi(m[2]), m[4] == "cons", m[3], false});
    }
    return frames;
}

struct sample {
    const char* file;
    const char* openssl_form;  // -inform of openssl asn1parse
};

const sample kSamples[] = {
    {"rsa-cert.der", "DER"}, {"rsa-cert.pem", "PEM"}, {"ec-cert.pem", "PEM"},
    {"ec-key.pem", "PEM"},   {"ec-key.p8.der", "DER"}, {"signed.cms.der", "DER"},
};

std::string sample_path(const char* file) { return std::string(QBASN_SAMPLES_DIR) + "/" + file; }

class DumpTest : public ToolTest {
protected:
    // openssl: `openssl asn1parse -i` of a sample, with more options.
    std::vector<frame> openssl(const sample& s, const std::vector<std::string>& more = {}) {
        const std::string command = std::string(QBASN_OPENSSL_PATH) + " asn1parse -i -inform " + s.openssl_form + " -in " +
                                    quote(sample_path(s.file));
        std::string args;
        for (const std::string& a : more) args += " " + quote(a);
        const std::string out = path("openssl.out").string();
        EXPECT_EQ(std::system((command + args + " >" + quote(out) + " 2>&1").c_str()), 0) << read_file(out);
        return openssl_frames(read_file(out));
    }
};

TEST_F(DumpTest, every_sample_has_the_frames_openssl_asn1parse_finds) {
    for (const sample& s : kSamples) {
        SCOPED_TRACE(s.file);
        const run_result r = run({"dump", "--no-nested", "--no-envelope", sample_path(s.file)});
        EXPECT_SUCCESS(r);
        const std::vector<frame> ours = qbasn_frames(r.out);
        const std::vector<frame> theirs = openssl(s);
        ASSERT_GT(theirs.size(), 5u);
        EXPECT_EQ(ours, theirs) << r.out;
    }
}

TEST_F(DumpTest, the_signature_with_indefinite_lengths_is_read_to_its_end_of_contents) {
    const run_result r = run({"dump", "--no-nested", "--no-envelope", sample_path("signed.cms.der")});
    EXPECT_SUCCESS(r);
    const std::vector<frame> frames = qbasn_frames(r.out);
    ASSERT_FALSE(frames.empty());
    EXPECT_EQ(frames[0], (frame{0, 0, true, "inf", false}));
    EXPECT_NE(r.out.find("     2   1   OBJECT IDENTIFIER prim len=9  1.2.840.113549.1.7.2 (pkcs7-signedData)\n"),
              std::string::npos)
        << r.out;
    const std::string last = "   945   1   EOC prim len=0\n";
    ASSERT_GE(r.out.size(), last.size());
    EXPECT_EQ(r.out.substr(r.out.size() - last.size()), last);
}

// Every "encapsulates" frame holds what `openssl asn1parse -strparse OFFSET`
// finds in that frame's content (its offsets counted from the content).
TEST_F(DumpTest, encapsulated_frames_are_what_openssl_strparse_finds) {
    size_t compared = 0;
    for (const sample& s : kSamples) {
        SCOPED_TRACE(s.file);
        const run_result r = run({"dump", "--no-envelope", sample_path(s.file)});
        EXPECT_SUCCESS(r);
        const std::vector<frame> frames = qbasn_frames(r.out);
        for (size_t i = 0; i < frames.size(); ++i) {
            if (!frames[i].encapsulates) continue;
            SCOPED_TRACE("encapsulated at " + std::to_string(frames[i].offset));
            ASSERT_LT(i + 1, frames.size());
            const size_t inner = frames[i + 1].offset;
            const int depth = frames[i].depth + 1;
            // The frames inside, one level down, without what their own
            // encapsulations hold (strparse does not look inside those).
            std::vector<frame> ours;
            int skip_below = -1;
            for (size_t k = i + 1; k < frames.size() && frames[k].depth >= depth; ++k) {
                if (skip_below >= 0 && frames[k].depth > skip_below) continue;
                skip_below = frames[k].encapsulates ? frames[k].depth : -1;
                ours.push_back({frames[k].offset - inner, frames[k].depth - depth, frames[k].constructed, frames[k].length, false});
            }
            EXPECT_EQ(ours, openssl(s, {"-strparse", std::to_string(frames[i].offset)}));
            ++compared;
        }
    }
    EXPECT_GE(compared, 8u);  // public keys, extensions, the signed attributes' digests
}

TEST_F(DumpTest, a_pem_certificate_its_der_and_its_base64_give_one_dump) {
    const run_result der = run({"dump", sample_path("rsa-cert.der")});
    EXPECT_SUCCESS(der);
    EXPECT_EQ(der.out.rfind("no envelope\n     0   0 SEQUENCE cons len=906\n", 0), 0u) << der.out;
    for (const char* other : {"rsa-cert.pem", "rsa-cert.b64"}) {
        const run_result r = run({"dump", sample_path(other)});
        EXPECT_SUCCESS(r);
        EXPECT_EQ(r.out, der.out) << other;
    }
    EXPECT_EQ(run({"dump", "--in", "pem", sample_path("rsa-cert.pem")}).out, der.out);
    EXPECT_EQ(run({"dump", "--in", "base64"}, read_file(sample_path("rsa-cert.b64"))).out, der.out);
    EXPECT_EQ(run({"dump", "--in", "raw", sample_path("rsa-cert.der")}).out, der.out);
}

TEST_F(DumpTest, decode_reads_every_input_format) {
    const std::string message = example_message("value_s_t.bin");
    const run_result raw = run({"decode", "--type", "value", message});
    EXPECT_SUCCESS(raw);
    const bytes octets = read_file_octets(message);
    write_file(path("m.hex"), hex_of(octets));
    std::string b64 = "-----BEGIN QBASN MESSAGE-----\n";
    {
        static const char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
        std::string body;
        for (size_t i = 0; i < octets.size(); i += 3) {
            const unsigned v = octets[i] << 16 | (i + 1 < octets.size() ? octets[i + 1] << 8 : 0) |
                               (i + 2 < octets.size() ? octets[i + 2] : 0);
            body += alphabet[v >> 18 & 63];
            body += alphabet[v >> 12 & 63];
            body += i + 1 < octets.size() ? alphabet[v >> 6 & 63] : '=';
            body += i + 2 < octets.size() ? alphabet[v & 63] : '=';
        }
        write_file(path("m.b64"), body + "\n");
        b64 += body + "\n-----END QBASN MESSAGE-----\n";
    }
    write_file(path("m.pem"), b64);
    for (const char* file : {"m.hex", "m.b64", "m.pem"}) {
        const run_result r = run({"decode", "--type", "value", path(file).string()});
        EXPECT_SUCCESS(r);
        EXPECT_EQ(r.out, raw.out) << file;
    }
}

TEST_F(DumpTest, malformed_input_of_every_format_gives_one_line) {
    struct bad {
        std::vector<std::string> args;
        std::string input;
        std::string needle;
    };
    const bad cases[] = {
        {{"dump"}, "-----BEGIN CERTIFICATE-----\nMIIB\n", "pem: no '-----END CERTIFICATE-----' line"},
        {{"dump"}, "-----BEGIN A-----\nMIIB\n-----END B-----\n", "does not match"},
        {{"dump", "--in", "base64"}, "MII*", "base64: line 1, column 4: '*' is not a base64 character"},
        {{"dump", "--in", "hex"}, "30 0", "odd"},
        {{"dump"}, "this is not a message\n", "neither hex, base64 nor PEM"},
        {{"dump", "--in", "raw"}, "this is not a message\n", "offset 0:"},
        {{"dump", "--hex"}, "30 05 02 01", "offset 0: length 5 runs past the end of the input"},
        {{"decode", "--type", "value"}, "-----BEGIN X-----\n!!\n-----END X-----\n", "pem: line 2"},
        {{"dump", "--in", "pem"}, "30 03 02 01 05", "pem: no '-----BEGIN"},
        {{"dump", "--in", "xml"}, "30 03 02 01 05", "--in"},
    };
    for (const bad& b : cases) {
        SCOPED_TRACE(b.input);
        expect_error(run(b.args, b.input), 2, b.needle);
    }
}

// ---- the parts of a line ----

TEST_F(DumpTest, content_longer_than_sixteen_octets_is_wrapped_with_its_offsets) {
    std::string input = "04 14";
    for (int i = 0; i < 20; ++i) input += " " + hex_of({static_cast<unsigned char>(0x41 + i)});
    const run_result r = run({"dump", "--hex"}, input);
    EXPECT_SUCCESS(r);
    EXPECT_EQ(r.out,
              "no envelope\n"
              "     0   0 OCTET STRING prim len=20\n"
              "     2       41 42 43 44 45 46 47 48 49 4A 4B 4C 4D 4E 4F 50  |ABCDEFGHIJKLMNOP|\n"
              "    18       51 52 53 54                                      |QRST|\n");
    // Sixteen octets still fit the frame's line.
    const run_result s = run({"dump", "--hex"}, "04 10 00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F");
    EXPECT_SUCCESS(s);
    EXPECT_EQ(s.out, "no envelope\n     0   0 OCTET STRING prim len=16  00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F  |................|\n");
}

TEST_F(DumpTest, ber_inside_octet_and_bit_strings_is_shown_as_frames) {
    // SEQUENCE { OCTET STRING 05 00, OCTET STRING { SEQUENCE { INTEGER 7 } },
    //            BIT STRING unused=0 { INTEGER 5 }, BIT STRING unused=1 02 01 05 }
    const std::string input = "30 17 04 02 05 00 04 05 30 03 02 01 07 03 04 00 02 01 05 03 04 01 02 01 05";
    const run_result r = run({"dump", "--hex"}, input);
    EXPECT_SUCCESS(r);
    EXPECT_EQ(r.out,
              "no envelope\n"
              "     0   0 SEQUENCE cons len=23\n"
              "     2   1   OCTET STRING prim len=2  05 00  |..|\n"
              "     6   1   OCTET STRING prim len=5 encapsulates\n"
              "     8   2     SEQUENCE cons len=3\n"
              "    10   3       INTEGER prim len=1  7\n"
              "    13   1   BIT STRING prim len=4  unused=0 encapsulates\n"
              "    16   2     INTEGER prim len=1  5\n"
              "    19   1   BIT STRING prim len=4  unused=1  02 01 05\n");
    const run_result flat = run({"dump", "--hex", "--no-nested"}, input);
    EXPECT_SUCCESS(flat);
    EXPECT_NE(flat.out.find("     6   1   OCTET STRING prim len=5  30 03 02 01 07  |0....|\n"), std::string::npos) << flat.out;
    EXPECT_NE(flat.out.find("    13   1   BIT STRING prim len=4  unused=0  02 01 05\n"), std::string::npos) << flat.out;
    EXPECT_EQ(flat.out.find("encapsulates"), std::string::npos);
}

TEST_F(DumpTest, content_that_is_not_wholly_ber_stays_hex) {
    // OCTET STRINGs holding: a frame followed by a stray octet; a
    // context-class frame; a SEQUENCE whose own length fits but whose member
    // runs past it.
    const run_result r = run({"dump", "--hex"}, "30 13 04 04 02 01 05 FF 04 04 80 02 01 05 04 05 30 03 04 05 00");
    EXPECT_SUCCESS(r);
    EXPECT_EQ(r.out,
              "no envelope\n"
              "     0   0 SEQUENCE cons len=19\n"
              "     2   1   OCTET STRING prim len=4  02 01 05 FF  |....|\n"
              "     8   1   OCTET STRING prim len=4  80 02 01 05  |....|\n"
              "    14   1   OCTET STRING prim len=5  30 03 04 05 00  |0....|\n");
}

TEST_F(DumpTest, object_identifiers_carry_their_names) {
    const run_result r = run({"dump", "--hex"}, "30 17 06 09 2A 86 48 86 F7 0D 01 01 0B 06 03 55 04 03 06 05 2A 03 04 05 06");
    EXPECT_SUCCESS(r);
    EXPECT_EQ(r.out,
              "no envelope\n"
              "     0   0 SEQUENCE cons len=23\n"
              "     2   1   OBJECT IDENTIFIER prim len=9  1.2.840.113549.1.1.11 (sha256WithRSAEncryption)\n"
              "    13   1   OBJECT IDENTIFIER prim len=3  2.5.4.3 (commonName)\n"
              "    18   1   OBJECT IDENTIFIER prim len=5  1.2.3.4.5.6\n");
}

// ---- colour ----

// on_terminal: the tool's standard output (and error) on a pseudo-terminal;
// `env` holds "NAME=value" settings, "NAME=" removes NAME.
std::string on_terminal(const std::vector<std::string>& args, const std::vector<std::string>& env) {
    int master = -1;
    const pid_t pid = forkpty(&master, nullptr, nullptr, nullptr);
    if (pid == 0) {
        for (const std::string& e : env) {
            const size_t eq = e.find('=');
            if (eq + 1 == e.size())
                unsetenv(e.substr(0, eq).c_str());
            else
                setenv(e.substr(0, eq).c_str(), e.substr(eq + 1).c_str(), 1);
        }
        std::vector<char*> argv;
        std::string tool = QBASN_TOOL_PATH;
        argv.push_back(tool.data());
        std::vector<std::string> copies(args);
        for (std::string& a : copies) argv.push_back(a.data());
        argv.push_back(nullptr);
        execv(tool.c_str(), argv.data());
        _exit(127);
    }
    std::string out;
    if (pid < 0) return out;
    char buffer[4096];
    for (;;) {
        const ssize_t n = read(master, buffer, sizeof buffer);
        if (n > 0) {
            out.append(buffer, static_cast<size_t>(n));
            continue;
        }
        if (n < 0 && errno == EINTR) continue;
        break;  // EOF, or EIO once the child has closed the terminal
    }
    close(master);
    int status = 0;
    waitpid(pid, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << out;
    return out;
}

TEST_F(DumpTest, colour_only_on_a_terminal_and_never_with_no_color) {
    const std::string message = example_message("attrlist_s_t.bin");
    const std::string coloured = on_terminal({"dump", "--type", "attrlist", message}, {"NO_COLOR="});
    EXPECT_NE(coloured.find("\033[1;36mSEQUENCE\033[0m"), std::string::npos) << coloured;
    EXPECT_NE(coloured.find("\033[32m\"department\"\033[0m"), std::string::npos) << coloured;
    EXPECT_NE(coloured.find("\033[34m  (attrs)\033[0m"), std::string::npos) << coloured;
    for (const std::string& plain : {on_terminal({"dump", message}, {"NO_COLOR=1"}),
                                     on_terminal({"dump", "--no-color", message}, {"NO_COLOR="})}) {
        EXPECT_EQ(plain.find('\033'), std::string::npos) << plain;
        EXPECT_NE(plain.find("SEQUENCE cons len=80"), std::string::npos) << plain;
    }
    const run_result piped = run({"dump", message}, "", "-u NO_COLOR");
    EXPECT_SUCCESS(piped);
    EXPECT_EQ(piped.out.find('\033'), std::string::npos);
}

}  // namespace
