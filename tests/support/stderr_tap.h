// tests/support/stderr_tap.h - what the process writes to standard error,
// collected in a temporary file, also while several threads write.
//
// qb_test::stderr_tap points file descriptor 2 at an anonymous temporary
// file (opened for appending, so lines written by concurrent threads follow
// each other) and puts the real standard error back when it goes out of
// scope. take() returns what was written since the previous take().
// Unlike testing::internal::CaptureStderr, a test may take the text piece by
// piece (one piece per call of the library) without a new file each time.
//
// Sanitizer builds: a sanitizer writes its report to descriptor 2 as well.
// While a tap is open, a death callback copies the text not yet taken to the
// real standard error before a sanitizer ends the process, so no report
// vanishes into the temporary file.
//
// One tap at a time per process. Header-only.
#ifndef QBASN_TESTS_SUPPORT_STDERR_TAP_H
#define QBASN_TESTS_SUPPORT_STDERR_TAP_H

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define QB_TEST_SANITIZER_DEATH_CALLBACK 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define QB_TEST_SANITIZER_DEATH_CALLBACK 1
#endif
#endif

#if defined(QB_TEST_SANITIZER_DEATH_CALLBACK)
#include <sanitizer/common_interface_defs.h>
#endif

namespace qb_test {

namespace detail {

// The open tap's descriptors, for the death callback (which may run on any thread).
struct tap_fds {
    int file = -1;   // the temporary file
    int saved = -1;  // the real standard error
    off_t taken = 0; // the length of the text take() has returned
};
inline tap_fds open_tap{};

// copy_tap_to_saved: the text not yet taken to the real standard error, with
// system calls only (it runs while a sanitizer ends the process).
inline void copy_tap_to_saved() {
    const tap_fds t = open_tap;
    if (t.file < 0 || t.saved < 0) return;
    char block[4096];
    off_t at = t.taken;
    for (;;) {
        const ssize_t n = pread(t.file, block, sizeof block, at);
        if (n <= 0) break;
        ssize_t done = 0;
        while (done < n) {
            const ssize_t w = write(t.saved, block + done, static_cast<size_t>(n - done));
            if (w <= 0) return;
            done += w;
        }
        at += n;
    }
}

}  // namespace detail

class stderr_tap {
public:
    stderr_tap() {
        std::fflush(stderr);
        file_ = std::tmpfile();
        if (file_ == nullptr) return;
        const int fd = fileno(file_);
        const int flags = fcntl(fd, F_GETFL);
        saved_ = dup(2);
        if (flags < 0 || fcntl(fd, F_SETFL, flags | O_APPEND) != 0 || saved_ < 0 || dup2(fd, 2) < 0) {
            if (saved_ >= 0) close(saved_);
            saved_ = -1;
            std::fclose(file_);
            file_ = nullptr;
            return;
        }
        detail::open_tap = {fd, saved_, 0};
#if defined(QB_TEST_SANITIZER_DEATH_CALLBACK)
        __sanitizer_set_death_callback(&detail::copy_tap_to_saved);
#endif
    }
    ~stderr_tap() {
        if (file_ == nullptr) return;
        std::fflush(stderr);
#if defined(QB_TEST_SANITIZER_DEATH_CALLBACK)
        __sanitizer_set_death_callback(nullptr);
#endif
        dup2(saved_, 2);
        detail::open_tap = {};
        close(saved_);
        std::fclose(file_);
    }
    stderr_tap(const stderr_tap&) = delete;
    stderr_tap& operator=(const stderr_tap&) = delete;

    // ok: standard error goes to the tap (false when the file could not be made).
    bool ok() const { return file_ != nullptr; }

    // take: the text written since the previous take ("" when the tap is not ok).
    std::string take() {
        std::string text;
        if (file_ == nullptr) return text;
        std::fflush(stderr);
        const int fd = fileno(file_);
        char block[4096];
        for (;;) {
            const ssize_t n = pread(fd, block, sizeof block, read_);
            if (n <= 0) break;
            text.append(block, static_cast<size_t>(n));
            read_ += n;
        }
        detail::open_tap.taken = read_;
        return text;
    }

private:
    std::FILE* file_ = nullptr;
    int saved_ = -1;
    off_t read_ = 0;
};

// exception_line: the one line a boundary prints on standard error for an
// exception with `message`, `code`, `file` and `line`.
inline std::string exception_line(const char* message, unsigned int code, const char* file, int line) {
    char text[512];
    std::snprintf(text, sizeof text, "Exception: %s [%8.8x] in %s at line %d\n", message, code, file, line);
    return text;
}

}  // namespace qb_test

#endif
