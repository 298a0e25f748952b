// fuzz/gen_corpus.cpp - writes the seed corpora of the fuzz targets,
// fuzz/corpus/<target>/, from valid encodings of every record type, the JSON
// texts of those records, the example messages and JSON samples, and a few
// hand-made scanner inputs.
//
// Usage: qbasn_fuzz_gen_corpus REPO_ROOT
// Reads REPO_ROOT/examples, writes REPO_ROOT/fuzz/corpus/<target>/<name>
// (the directories must exist; scripts/gen-fuzz-corpus.sh empties and
// creates them first). Records come from fill_random with fixed seeds and
// small shapes, so every run writes the same files with the same octets.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "asn1/asn1.h"
#include "asn1/asnrecord.h"
#include "support/hex.h"
#include "support/record_random.h"
#include "tools/qbasn/json_record.h"

namespace {

namespace fs = std::filesystem;
using bytes_t = std::vector<unsigned char>;

fs::path g_corpus;    // REPO_ROOT/fuzz/corpus
fs::path g_examples;  // REPO_ROOT/examples
int g_written = 0;

[[noreturn]] void die(const std::string& what) {
    std::fprintf(stderr, "gen_corpus: %s\n", what.c_str());
    std::exit(1);
}

// put: writes one corpus file: the selector octets, then the body.
void put(const char* target, const std::string& name, const bytes_t& prefix, const bytes_t& body) {
    const fs::path path = g_corpus / target / name;
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(prefix.data()), static_cast<std::streamsize>(prefix.size()));
    out.write(reinterpret_cast<const char*>(body.data()), static_cast<std::streamsize>(body.size()));
    if (!out) die("cannot write " + path.string());
    ++g_written;
}

bytes_t read_file(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) die("cannot read " + path.string());
    return bytes_t(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::string index_name(std::size_t i) {
    std::string s = std::to_string(i);
    return s.size() < 2 ? "0" + s : s;
}

// ---- records ----

// small: record shapes that keep each seed to a few hundred octets.
qb_test::random_options small(bool utf8) {
    qb_test::random_options opt;
    opt.max_depth = 2;
    opt.max_list = 2;
    opt.deep_max_list = 1;
    opt.max_text = 12;
    opt.max_bytes = 8;
    opt.slot_use = 10;
    opt.utf8_text = utf8;
    return opt;
}

// built: a flat record filled by fill_random; released by free_built.
class built {
public:
    built(const qb_record_info& info, std::uint64_t seed, bool utf8) : info_(info), flat_(std::calloc(1, info.flat_size)) {
        if (flat_ == nullptr) die("out of memory");
        qb_test::random_source rnd(seed);
        qb_test::fill_random(info, flat_, rnd, small(utf8));
    }
    ~built() {
        qb_test::free_built(info_, flat_);
        std::free(flat_);
    }
    built(const built&) = delete;
    built& operator=(const built&) = delete;
    void* get() const { return flat_; }

private:
    const qb_record_info& info_;
    void* flat_;
};

bytes_t take(qb_asn_buffer_t& b) {
    bytes_t out(b.data, b.data + b.length);
    qb_asn_buffer_free(b);
    return out;
}

// encode_typed: the plain-form message of a random record of type `info`.
bytes_t encode_typed(const qb_record_info& info, std::uint64_t seed, bool utf8) {
    built rec(info, seed, utf8);
    qb_asn_buffer_t out{0, nullptr};
    const unsigned int rc = info.encode(out, rec.get(), 0);
    if (rc != 0) die(std::string("encoding ") + info.flat_name + " failed");
    return take(out);
}

std::string json_of(const qb_record_info& info, std::uint64_t seed, bool utf8) {
    built rec(info, seed, utf8);
    char* buf = nullptr;
    std::size_t size = 0;
    FILE* out = open_memstream(&buf, &size);
    if (out == nullptr) die("open_memstream failed");
    qbtool::write_record_json(out, info, rec.get());
    std::fclose(out);
    std::string text(buf, size);
    std::free(buf);
    return text;
}

bytes_t bytes_of(const std::string& s) { return bytes_t(s.begin(), s.end()); }

// The four octets of a 32-bit value, big-endian.
bytes_t be32(std::uint32_t v) {
    return {static_cast<unsigned char>(v >> 24), static_cast<unsigned char>(v >> 16),
            static_cast<unsigned char>(v >> 8), static_cast<unsigned char>(v)};
}

// ---- fuzz_typed_decode, fuzz_lcs_decode, fuzz_tool_dump, fuzz_tool_json ----

void typed_targets(const qb_record_info* const* records, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        const qb_record_info& info = *records[i];
        const std::string name = index_name(i) + "-" + info.flat_name;
        const auto sel = static_cast<unsigned char>(i);

        put("fuzz_typed_decode", name, {sel}, encode_typed(info, 1000 + i, false));
        // Local code set: UTF-8 locale for even records, Latin-1 for odd ones;
        // texts with non-ASCII characters for three records in four.
        const unsigned char locale = static_cast<unsigned char>(i & 1U);
        put("fuzz_lcs_decode", name, {static_cast<unsigned char>((i << 1) | locale)},
            encode_typed(info, 2000 + i, i % 4 != 3));
        // Dump: labelled with the record's own fields; every fifth without
        // the envelope rule.
        const unsigned char no_envelope = i % 5 == 4 ? 1 : 0;
        put("fuzz_tool_dump", name, {static_cast<unsigned char>(((i + 1) << 1) | no_envelope)},
            encode_typed(info, 1000 + i, false));
        put("fuzz_tool_json", name + ".json", {sel}, bytes_of(json_of(info, 3000 + i, i % 2 == 0)));
    }
}

// ---- examples ----

// example_record: the record a file stem names ("attrlist_s_t",
// "object_259_v1"), or null for the bare integer of object type 262.
const qb_record_info* example_record(const std::string& stem, unsigned& object_type, int& version) {
    object_type = 0;
    version = 0;
    if (stem.rfind("object_", 0) == 0) {
        if (std::sscanf(stem.c_str(), "object_%u_v%d", &object_type, &version) != 2) die("bad example name " + stem);
        if (object_type == 262) return nullptr;
        return qb_record_find(object_type == 259 ? "cert_request_in" : "kxobj_update_list_s_t");
    }
    const qb_record_info* info = qb_record_find(stem.c_str());
    if (info == nullptr) die("no record for example " + stem);
    return info;
}

std::size_t index_of(const qb_record_info* info, const qb_record_info* const* records, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        if (records[i] == info) return i;
    die(std::string("record not listed: ") + info->flat_name);
}

std::vector<fs::path> sorted_files(const fs::path& dir, const char* extension) {
    std::vector<fs::path> files;
    for (const auto& e : fs::directory_iterator(dir))
        if (e.is_regular_file() && e.path().extension() == extension) files.push_back(e.path());
    std::sort(files.begin(), files.end());
    return files;
}

void examples(const qb_record_info* const* records, std::size_t count) {
    for (const fs::path& path : sorted_files(g_examples / "messages", ".bin")) {
        const std::string stem = path.stem().string();
        unsigned type = 0;
        int version = 0;
        const qb_record_info* info = example_record(stem, type, version);
        const bytes_t msg = read_file(path);
        const std::string name = "example-" + stem;
        if (type != 0) {
            // Untyped: selector 0/1/2 for 259/260/262, one version octet.
            put("fuzz_untyped_decode", name, {static_cast<unsigned char>(type - 259 - (type == 262 ? 1 : 0)),
                                              static_cast<unsigned char>(version)}, msg);
            continue;
        }
        const std::size_t i = index_of(info, records, count);
        put("fuzz_typed_decode", name, {static_cast<unsigned char>(i)}, msg);
        put("fuzz_tool_dump", name, {0}, msg);  // no labels
    }
    for (const fs::path& path : sorted_files(g_examples, ".json")) {
        const std::string stem = path.stem().string();
        unsigned type = 0;
        int version = 0;
        const qb_record_info* info = example_record(stem, type, version);
        const std::size_t i = info == nullptr ? count : index_of(info, records, count);  // count: json_to_int
        put("fuzz_tool_json", "example-" + stem + ".json", {static_cast<unsigned char>(i)}, read_file(path));
    }
}

// ---- fuzz_untyped_decode ----

void untyped_target() {
    struct record_case {
        unsigned type;
        int version;
        bool wide;  // the version as four octets
        std::uint64_t seed;
    };
    const record_case cases[] = {
        {259, 1, false, 4001}, {259, 2, false, 4002}, {259, 255, false, 4003}, {259, -2, true, 4004},
        {260, 3, false, 4011}, {260, 0, false, 4012}, {260, 7, false, 4013}, {260, 300, true, 4014},
    };
    for (const record_case& c : cases) {
        const qb_record_info* info = qb_record_find(c.type == 259 ? "cert_request_in" : "kxobj_update_list_s_t");
        if (info == nullptr) die("untyped record missing");
        built rec(*info, c.seed, false);
        qb_asn_buffer_t out{0, nullptr};
        if (qbasn_encode_obj(c.version, rec.get(), c.type, out) != 0) die("untyped encode failed");
        const unsigned char sel = static_cast<unsigned char>(c.type - 259);
        bytes_t prefix = c.wide ? bytes_t{static_cast<unsigned char>(sel | 0x80)} : bytes_t{sel};
        const bytes_t v = c.wide ? be32(static_cast<std::uint32_t>(c.version)) : bytes_t{static_cast<unsigned char>(c.version)};
        prefix.insert(prefix.end(), v.begin(), v.end());
        put("fuzz_untyped_decode", std::to_string(c.type) + "-seed" + std::to_string(c.seed), prefix, take(out));
    }
    struct int_case {
        int value;
        int version;
        bool wide;
    };
    const int_case ints[] = {{0, 7, false}, {127, 1, false}, {128, 0, false}, {-1, 255, false},
                             {-2147483647 - 1, 2, false}, {2147483647, -1, true}, {-129, 256, true}};
    int k = 0;
    for (const int_case& c : ints) {
        int value = c.value;
        qb_asn_buffer_t out{0, nullptr};
        if (qbasn_encode_obj(c.version, &value, 262, out) != 0) die("integer encode failed");
        bytes_t prefix = c.wide ? bytes_t{0x82} : bytes_t{0x02};
        const bytes_t v = c.wide ? be32(static_cast<std::uint32_t>(c.version)) : bytes_t{static_cast<unsigned char>(c.version)};
        prefix.insert(prefix.end(), v.begin(), v.end());
        put("fuzz_untyped_decode", "262-" + index_name(k++), prefix, take(out));
    }
    // A type number that is not served, and a version that does not match.
    put("fuzz_untyped_decode", "unserved", {0x03, 0x02}, hex("04 02 AC DC 02 01 05"));
    put("fuzz_untyped_decode", "version-mismatch", {0x02, 0x03}, hex("04 02 AC DC 02 01 05"));
}

// ---- fuzz_scanners ----

void scanners_target(const qb_record_info* const* records, std::size_t count) {
    struct scanner_case {
        const char* name;
        unsigned char selector;
        unsigned int len;  // 0xFF and above: written as FF and four octets
        const char* hex;
    };
    const scanner_case cases[] = {
        {"type-sequence", 0, 0, "30 03"},
        {"type-private-constructed", 0, 0, "FE"},
        {"type-high-tag", 0, 0, "1F 85 03 00"},
        {"type-high-tag-cut", 0, 0, "BF 81 82"},
        {"type-empty", 0, 0, ""},
        {"length-short", 1, 0, "05 AA"},
        {"length-indefinite", 1, 0, "80"},
        {"length-long-256", 1, 0, "82 01 00"},
        {"length-long-five", 1, 0, "85 01 23 45 67 89"},
        {"length-long-cut", 1, 0, "84 FF FF"},
        {"integer-minus-129", 2, 2, "FF 7F"},
        {"integer-empty-content", 2, 0, "80"},
        {"integer-too-long", 2, 5, "01 02 03 04 05"},
        {"integer-exhausted", 2, 3, "02 01"},
        {"integer-bytes", 3, 3, "01 02 03"},
        {"integer-bytes-zero", 3, 0, "01"},
        {"integer-bytes-little", 4, 4, "80 00 00 01"},
        {"long-big", 5, 4, "7F FF FF FF"},
        {"long-big-too-long", 5, 8, "01 02 03 04 05 06 07 08"},
        {"long-little", 6, 2, "0A 0B 0C"},
        {"null", 7, 0, "05 00"},
        {"null-huge-len", 7, 0xFFFFFFFFU, "05 00"},
        {"bitstring", 8, 2, "03 FF"},
        {"bitstring-empty", 8, 1, "00"},
        {"bitstring-bad-unused", 8, 2, "08 FF"},
        {"bitstring-four", 8, 4, "01 FF FF FF 00"},
        {"oid", 9, 6, "2A 86 48 86 F7 0D 05 00"},
        {"oid-zero", 9, 0, "2A"},
        {"oid-null-out", 10, 2, "2A 03"},
        {"octetstring", 11, 2, "68 69 04 00"},
        {"octetstring-huge-len", 11, 0xFFFFFFFFU, "68 69"},
        {"charstring", 12, 3, "61 62 63 41 42"},
        {"charstring-to-end", 12, 3, "61 62 63"},
        {"charstring-cut", 12, 3, "61 62"},
        {"walk-sequence", 13, 0, "30 0A 02 02 FF 7F 0C 02 68 69 05 00"},
        {"walk-indefinite", 13, 0, "30 80 04 02 AA BB 03 02 03 F8 06 03 2A 86 48 00 00"},
        {"walk-high-tag", 13, 0, "BF 85 03 06 02 01 05 1E 02 00 41"},
    };
    for (const scanner_case& c : cases) {
        bytes_t prefix{c.selector};
        if (c.len >= 0xFF) {
            prefix.push_back(0xFF);
            const bytes_t v = be32(c.len);
            prefix.insert(prefix.end(), v.begin(), v.end());
        } else {
            prefix.push_back(static_cast<unsigned char>(c.len));
        }
        put("fuzz_scanners", c.name, prefix, hex(c.hex));
    }
    // Whole messages walked frame by frame: every seventh record.
    for (std::size_t i = 0; i < count; i += 7) {
        const qb_record_info& info = *records[i];
        put("fuzz_scanners", "walk-" + index_name(i) + "-" + info.flat_name, {13, 0},
            encode_typed(info, 5000 + i, true));
    }
}

}  // namespace

// ---- fuzz_tool_input ----

std::string hex_text(const bytes_t& b) {
    static const char digits[] = "0123456789ABCDEF";
    std::string s = "# a message as hex text\n";
    for (std::size_t i = 0; i < b.size(); ++i) {
        s += digits[b[i] >> 4];
        s += digits[b[i] & 0x0F];
        s += (i % 16 == 15 || i + 1 == b.size()) ? '\n' : ' ';
    }
    return s;
}

std::string base64_text(const bytes_t& b, std::size_t width) {
    static const char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string s;
    for (std::size_t i = 0; i < b.size(); i += 3) {
        const unsigned v = static_cast<unsigned>(b[i]) << 16 | (i + 1 < b.size() ? static_cast<unsigned>(b[i + 1]) << 8 : 0U) |
                           (i + 2 < b.size() ? b[i + 2] : 0U);
        s += alphabet[v >> 18 & 63];
        s += alphabet[v >> 12 & 63];
        s += i + 1 < b.size() ? alphabet[v >> 6 & 63] : '=';
        s += i + 2 < b.size() ? alphabet[v & 63] : '=';
    }
    std::string wrapped;
    for (std::size_t i = 0; i < s.size(); i += width) wrapped += s.substr(i, width) + "\n";
    return wrapped;
}

bytes_t text_bytes(const std::string& s) { return bytes_t(s.begin(), s.end()); }

// input_target: the example messages and the dump samples as every format,
// once recognised (format octet 0) and once named (1 raw, 2 hex, 3 base64,
// 4 pem).
void input_target(const fs::path& samples) {
    for (const fs::path& path : sorted_files(g_examples / "messages", ".bin")) {
        const bytes_t msg = read_file(path);
        const std::string stem = path.stem().string();
        const std::string pem = "-----BEGIN QBASN MESSAGE-----\n" + base64_text(msg, 64) + "-----END QBASN MESSAGE-----\n";
        put("fuzz_tool_input", stem + ".raw", {1}, msg);
        put("fuzz_tool_input", stem + ".hex", {0}, text_bytes(hex_text(msg)));
        put("fuzz_tool_input", stem + ".forced.hex", {2}, text_bytes(hex_text(msg)));
        put("fuzz_tool_input", stem + ".b64", {0}, text_bytes(base64_text(msg, 76)));
        put("fuzz_tool_input", stem + ".forced.b64", {3}, text_bytes(base64_text(msg, 64)));
        put("fuzz_tool_input", stem + ".pem", {0}, text_bytes("explanatory text\n" + pem));
        put("fuzz_tool_input", stem + ".forced.pem", {4}, text_bytes(pem));
    }
    for (const char* sample : {"rsa-cert.pem", "rsa-cert.b64", "rsa-cert.der", "ec-key.pem", "signed.cms.der"})
        put("fuzz_tool_input", std::string("sample-") + sample, {0}, read_file(samples / sample));
}

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s REPO_ROOT\n", argv[0]);
        return 2;
    }
    const fs::path root(argv[1]);
    g_corpus = root / "fuzz" / "corpus";
    g_examples = root / "examples";
    std::size_t count = 0;
    const qb_record_info* const* records = qb_record_list(&count);
    if (count == 0 || count > 127) die("unexpected number of records");  // selectors use seven bits
    typed_targets(records, count);
    examples(records, count);
    untyped_target();
    scanners_target(records, count);
    input_target(root / "tests" / "tool" / "samples");
    std::printf("gen_corpus: wrote %d files under %s\n", g_written, g_corpus.string().c_str());
    return 0;
}
