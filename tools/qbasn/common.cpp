// tools/qbasn/common.cpp - errors, input and output of the qbasn tool.
#include "tools/qbasn/common.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "qbasn/cxx.h"
#include "tools/qbasn/text.h"

namespace qbtool {

void input_error(const std::string& message) { throw tool_error(kExitInput, message); }

std::string hex32(unsigned int value) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", value);
    return text;
}

void status_error(unsigned int status, const std::string& context) {
    std::string message = hex32(status) + " " + qbasn::status_text(status);
    if (!context.empty()) message += " (" + context + ")";
    throw tool_error(kExitStatus, message);
}

std::string describe_input(const std::string& path) {
    return path.empty() || path == "-" ? std::string("standard input") : "'" + path + "'";
}

namespace {

// The largest message a qb_asn_buffer_t can describe.
constexpr std::uint64_t kMaxInput = UINT32_MAX;

// The reason of the last failed call, as a short text.
std::string last_error() { return std::strerror(errno); }

}  // namespace

std::vector<unsigned char> read_input(const std::string& path) {
    const bool from_stdin = path.empty() || path == "-";
    FILE* in = from_stdin ? stdin : std::fopen(path.c_str(), "rb");
    if (in == nullptr) input_error("cannot open " + describe_input(path) + ": " + last_error());
    std::vector<unsigned char> bytes;
    unsigned char chunk[65536];
    bool too_big = false;
    for (;;) {
        const size_t n = std::fread(chunk, 1, sizeof chunk, in);
        if (n == 0) break;
        if (bytes.size() + n > kMaxInput) {
            too_big = true;
            break;
        }
        bytes.insert(bytes.end(), chunk, chunk + n);
    }
    const bool failed = std::ferror(in) != 0;
    const std::string reason = failed ? last_error() : std::string();
    if (!from_stdin) std::fclose(in);
    if (failed) input_error("cannot read " + describe_input(path) + ": " + reason);
    if (too_big) input_error(describe_input(path) + " is larger than 4 GiB - 1 octets");
    return bytes;
}

stderr_capture::stderr_capture() {
    std::fflush(stderr);
    temp_ = std::tmpfile();
    if (temp_ == nullptr) return;
    saved_ = dup(STDERR_FILENO);
    if (saved_ < 0 || dup2(fileno(temp_), STDERR_FILENO) < 0) {
        if (saved_ >= 0) close(saved_);
        saved_ = -1;
        std::fclose(temp_);
        temp_ = nullptr;
    }
}

stderr_capture::~stderr_capture() {
    if (temp_ == nullptr) return;
    const std::string text = take();
    if (!text.empty()) std::fprintf(stderr, "%s\n", text.c_str());
}

std::string stderr_capture::take() {
    if (temp_ == nullptr) return std::string();
    std::fflush(stderr);
    dup2(saved_, STDERR_FILENO);
    close(saved_);
    saved_ = -1;
    std::string text;
    std::rewind(temp_);
    char chunk[4096];
    size_t n = 0;
    while ((n = std::fread(chunk, 1, sizeof chunk, temp_)) > 0) text.append(chunk, n);
    std::fclose(temp_);
    temp_ = nullptr;
    // One line: the captured lines joined, control characters escaped.
    std::string joined;
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos) end = text.size();
        const std::string line = text.substr(start, end - start);
        if (!line.empty()) joined += (joined.empty() ? "" : "; ") + line;
        start = end + 1;
    }
    return one_line(joined);
}

std::string with_library_note(const std::string& context, const std::string& note) {
    return note.empty() ? context : context + "; library: " + note;
}

output::output(const std::string& path, bool binary) : path_(path == "-" ? std::string() : path) {
    if (path_.empty()) {
        if (binary && isatty(STDOUT_FILENO) != 0)
            input_error("refusing to write binary octets to a terminal; use -o FILE or --hex");
        stream_ = stdout;
        return;
    }
    // Written beside the target and renamed at the end, so a failure never
    // leaves a truncated message under the name the user gave.
    temp_path_ = path_ + ".XXXXXX";
    std::vector<char> name(temp_path_.begin(), temp_path_.end());
    name.push_back('\0');
    const int fd = mkstemp(name.data());
    if (fd < 0) input_error("cannot create '" + path_ + "': " + last_error());
    temp_path_.assign(name.data());
    // mkstemp creates the file for its owner only; give it the usual mode.
    const mode_t mask = umask(0);
    umask(mask);
    (void)fchmod(fd, 0666 & ~mask);
    stream_ = fdopen(fd, binary ? "wb" : "w");
    if (stream_ == nullptr) {
        const std::string reason = last_error();
        close(fd);
        unlink(temp_path_.c_str());
        input_error("cannot create '" + path_ + "': " + reason);
    }
}

output::~output() {
    if (stream_ != nullptr && stream_ != stdout) {
        std::fclose(stream_);
        if (!finished_) unlink(temp_path_.c_str());
    }
}

void output::write(std::span<const unsigned char> bytes) {
    if (!bytes.empty()) std::fwrite(bytes.data(), 1, bytes.size(), stream_);
}

void output::finish() {
    const std::string where = path_.empty() ? std::string("standard output") : "'" + path_ + "'";
    if (std::fflush(stream_) != 0 || std::ferror(stream_) != 0) input_error("cannot write " + where + ": " + last_error());
    if (stream_ == stdout) return;
    const int rc = std::fclose(stream_);
    stream_ = nullptr;
    if (rc != 0) {
        const std::string reason = last_error();
        unlink(temp_path_.c_str());
        input_error("cannot write " + where + ": " + reason);
    }
    if (std::rename(temp_path_.c_str(), path_.c_str()) != 0) {
        const std::string reason = last_error();
        unlink(temp_path_.c_str());
        input_error("cannot write " + where + ": " + reason);
    }
    finished_ = true;
}

}  // namespace qbtool
