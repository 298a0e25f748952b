// tests/tool/tool_fixture.h - running the qbasn tool as a process in a
// directory of the test's own, and reading what it did: the tool's tests
// share these (QBASN_TOOL_PATH names the built tool).
#ifndef QBASN_TESTS_TOOL_TOOL_FIXTURE_H
#define QBASN_TESTS_TOOL_TOOL_FIXTURE_H

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "support/text_lines.h"

#ifndef QBASN_TOOL_PATH
#error "QBASN_TOOL_PATH must name the built qbasn tool"
#endif
#ifndef QBASN_EXAMPLES_DIR
#error "QBASN_EXAMPLES_DIR must name the repository's examples directory"
#endif

namespace qb_tool_test {

namespace fs = std::filesystem;
using bytes = std::vector<unsigned char>;

// ---- running the tool ----

struct run_result {
    int code = -1;  // exit status; negative: killed by that signal
    std::string out;
    std::string err;
};

inline std::string quote(const std::string& s) {
    std::string q = "'";
    for (char c : s) {
        if (c == '\'')
            q += "'\\''";
        else
            q += c;
    }
    return q + "'";
}

inline std::string read_file(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline bytes read_file_octets(const fs::path& p) {
    const std::string s = read_file(p);
    return bytes(s.begin(), s.end());
}

inline void write_file(const fs::path& p, const std::string& text) {
    std::ofstream out(p, std::ios::binary);
    out << text;
}

inline void write_file_octets(const fs::path& p, const bytes& b) {
    std::ofstream out(p, std::ios::binary);
    out.write(reinterpret_cast<const char*>(b.data()), static_cast<std::streamsize>(b.size()));
}

using qb_test::lines_of;

// example_path: a file of the repository's examples/ ("attrlist_s_t.json");
// example_message: one of its messages, examples/messages/<name>.
inline std::string example_path(const std::string& name) { return std::string(QBASN_EXAMPLES_DIR) + "/" + name; }
inline std::string example_message(const std::string& name) { return example_path("messages/" + name); }

inline std::string hex_of(const bytes& b) {
    std::string s;
    char two[4];
    for (unsigned char c : b) {
        std::snprintf(two, sizeof two, "%02X", c);
        s += two;
    }
    return s;
}

// Each test works in a directory of its own (tests may run in parallel).
class ToolTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::string templ = (fs::temp_directory_path() / "qbasn-tool-test.XXXXXX").string();
        ASSERT_NE(mkdtemp(templ.data()), nullptr);
        dir_ = templ;
    }
    void TearDown() override {
        std::error_code ec;
        fs::remove_all(dir_, ec);
    }

    fs::path path(const std::string& name) const { return dir_ / name; }

    // run: the tool with `args`, standard input from `input`, the variables
    // in `env` ("NAME=value ...") set.
    run_result run(const std::vector<std::string>& args, const std::string& input = "", const std::string& env = "") {
        const fs::path in = path("stdin"), out = path("stdout"), err = path("stderr");
        write_file(in, input);
        std::string cmd = env.empty() ? std::string() : "env " + env + " ";
        cmd += quote(QBASN_TOOL_PATH);
        for (const std::string& a : args) cmd += " " + quote(a);
        cmd += " <" + quote(in.string()) + " >" + quote(out.string()) + " 2>" + quote(err.string());
        const int status = std::system(cmd.c_str());
        run_result r;
        if (status != -1 && WIFEXITED(status))
            r.code = WEXITSTATUS(status);
        else if (status != -1 && WIFSIGNALED(status))
            r.code = -WTERMSIG(status);
        r.out = read_file(out);
        r.err = read_file(err);
        return r;
    }

    fs::path dir_;
};

// A successful run prints nothing on standard error (no sanitizer report either).
#define EXPECT_SUCCESS(r)                                                                            \
    do {                                                                                             \
        EXPECT_EQ((r).code, 0) << "stderr: " << (r).err;                                             \
        EXPECT_EQ((r).err, "");                                                                      \
    } while (0)

// expect_clean: the run exited with 0, printed nothing on standard error and
// exactly `out` on standard output.
inline void expect_clean(const run_result& r, const std::string& out) {
    EXPECT_SUCCESS(r);
    EXPECT_EQ(r.out, out);
}

// A failed run exits with `status` and prints exactly one line, "error: ...",
// that contains `needle`.
inline void expect_error(const run_result& r, int status, const std::string& needle) {
    EXPECT_EQ(r.code, status) << "stderr: " << r.err;
    const std::vector<std::string> lines = lines_of(r.err);
    ASSERT_EQ(lines.size(), 1u) << "stderr: " << r.err;
    EXPECT_EQ(lines[0].rfind("error: ", 0), 0u) << lines[0];
    EXPECT_NE(lines[0].find(needle), std::string::npos) << "looked for '" << needle << "' in: " << lines[0];
    EXPECT_EQ(r.err.back(), '\n');
}

}  // namespace qb_tool_test

#endif
