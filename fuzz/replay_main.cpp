// fuzz/replay_main.cpp - the main of a fuzz target built without libFuzzer:
// feeds every file named on the command line, and every regular file of
// every directory named there (in name order), to LLVMFuzzerTestOneInput
// once. ctest runs each target this way over its corpus (fuzz/corpus/<target>/),
// so the targets and their properties are exercised by every test run; a
// crash file found by fuzzing is reproduced the same way:
//     build/fuzz-replay/fuzz/fuzz_typed_decode_replay crash-<sha1>
// Exits 0 after running at least one input, 1 when there was none to run (a
// missing or empty corpus is an error, not a pass), 2 on a usage or read
// error. A broken property aborts the program.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

namespace fs = std::filesystem;

// read_file: the octets of `path`; false when it cannot be read.
bool read_file(const fs::path& path, std::vector<unsigned char>& out) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    out.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    return !in.bad();
}

// inputs_of: `arg` itself, or the regular files of the directory `arg` in name order.
bool inputs_of(const fs::path& arg, std::vector<fs::path>& out) {
    std::error_code ec;
    if (fs::is_regular_file(arg, ec)) {
        out.push_back(arg);
        return true;
    }
    if (!fs::is_directory(arg, ec)) {
        std::fprintf(stderr, "replay: %s is neither a file nor a directory\n", arg.string().c_str());
        return false;
    }
    std::vector<fs::path> files;
    for (fs::directory_iterator it(arg, ec), end; !ec && it != end; it.increment(ec))
        if (it->is_regular_file(ec)) files.push_back(it->path());
    if (ec) {
        std::fprintf(stderr, "replay: cannot list %s: %s\n", arg.string().c_str(), ec.message().c_str());
        return false;
    }
    std::sort(files.begin(), files.end());
    out.insert(out.end(), files.begin(), files.end());
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s CORPUS_DIR|FILE...\n", argv[0]);
        return 2;
    }
    std::vector<fs::path> inputs;
    for (int i = 1; i < argc; ++i)
        if (!inputs_of(argv[i], inputs)) return 2;
    if (inputs.empty()) {
        std::fprintf(stderr, "replay: no inputs found (is the corpus directory empty?)\n");
        return 1;
    }
    std::vector<unsigned char> bytes;
    for (const fs::path& p : inputs) {
        if (!read_file(p, bytes)) {
            std::fprintf(stderr, "replay: cannot read %s\n", p.string().c_str());
            return 2;
        }
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    }
    std::printf("replay: ran %zu inputs\n", inputs.size());
    return 0;
}
