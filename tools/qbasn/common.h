// tools/qbasn/common.h - what every part of the qbasn tool shares: its error
// type and exit codes, reading the input, writing the output.
#ifndef QBASN_TOOLS_COMMON_H
#define QBASN_TOOLS_COMMON_H

#include <cstdio>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace qbtool {

// Exit codes of the tool.
constexpr int kExitOk = 0;
constexpr int kExitStatus = 1;  // the library returned a nonzero status
constexpr int kExitInput = 2;   // usage error, unreadable or malformed input

// tool_error: a failure that ends the command. main prints "error: <what()>"
// as the one line on standard error and exits with `exit_code`.
class tool_error : public std::runtime_error {
public:
    tool_error(int exit_code, const std::string& message) : std::runtime_error(message), exit_code_(exit_code) {}
    int exit_code() const { return exit_code_; }

private:
    int exit_code_;
};

// input_error: a tool_error with exit code 2.
[[noreturn]] void input_error(const std::string& message);

// status_error: a tool_error with exit code 1 for a library status, worded
// "0x10652198 <meaning from the library's table> (<context>)".
[[noreturn]] void status_error(unsigned int status, const std::string& context);

// hex32: "0x%08X" of a status code.
std::string hex32(unsigned int value);

// read_input: every octet of the file `path`, or of standard input when
// `path` is "-" or empty. Fails with input_error when the file cannot be
// read or holds more than 4 GiB - 1 octets (a message length is 32-bit).
std::vector<unsigned char> read_input(const std::string& path);

// describe_input: "standard input" or the quoted path, for messages.
std::string describe_input(const std::string& path);

// stderr_capture: while it lives, what the library prints on standard error
// (its "Exception: ..." lines) is kept aside, so the tool can fold it into
// its own single error line. If capturing is impossible, nothing is captured.
class stderr_capture {
public:
    stderr_capture();
    stderr_capture(const stderr_capture&) = delete;
    stderr_capture& operator=(const stderr_capture&) = delete;
    // Stops capturing; text never taken goes to standard error after all.
    ~stderr_capture();
    // take: stops capturing and returns the captured lines joined by "; ".
    std::string take();

private:
    FILE* temp_ = nullptr;
    int saved_ = -1;
};

// with_library_note: "<context>" followed by "; library: <note>" when the
// library printed something.
std::string with_library_note(const std::string& context, const std::string& note);

// output: where a command writes its result: standard output, or a file
// that is created when the command succeeds (written to a temporary name
// beside it and renamed, so a failed command leaves no half-written file).
class output {
public:
    // path "-" or empty: standard output. binary: refuse a terminal.
    output(const std::string& path, bool binary);
    output(const output&) = delete;
    output& operator=(const output&) = delete;
    ~output();

    FILE* stream() const { return stream_; }
    void write(std::span<const unsigned char> bytes);
    void put(const char* text) { std::fputs(text, stream_); }
    // finish: flushes and checks every write; renames a file into place.
    // Fails with input_error when the output could not be written.
    void finish();

private:
    std::string path_;
    std::string temp_path_;
    FILE* stream_ = nullptr;
    bool finished_ = false;
};

}  // namespace qbtool

#endif
