// tests/support/thread_locale.h - a named locale for the calling thread only.
//
// qb_test::thread_locale switches the calling thread to a locale made with
// newlocale and installed with uselocale, and restores the thread's previous
// locale when it goes out of scope. The process locale (setlocale) is never
// touched, so threads running under different locales do not disturb each
// other; nl_langinfo(CODESET), which the local-code-set entry points read,
// follows the thread's locale.
//
// Header-only; it may be included by any number of sources of an executable.
#ifndef QBASN_TESTS_SUPPORT_THREAD_LOCALE_H
#define QBASN_TESTS_SUPPORT_THREAD_LOCALE_H

#include <locale.h>

namespace qb_test {

// The two locales the text-field tests run under; scripts/install-deps.sh generates them.
inline constexpr const char* kUtf8Locale = "en_US.UTF-8";
inline constexpr const char* kLatin1Locale = "en_US.ISO-8859-1";
inline constexpr const char* kMissingLocale = "locale missing: run scripts/install-deps.sh to generate it";

// thread_locale: the calling thread runs under `name` for the life of the
// object; ok() is false (and nothing changed) when the locale does not exist.
// Destroy it on the thread that made it.
class thread_locale {
public:
    explicit thread_locale(const char* name) : loc_(newlocale(LC_ALL_MASK, name, nullptr)) {
        if (loc_ != nullptr) previous_ = uselocale(loc_);
    }
    ~thread_locale() {
        if (loc_ == nullptr) return;
        uselocale(previous_);
        freelocale(loc_);
    }
    thread_locale(const thread_locale&) = delete;
    thread_locale& operator=(const thread_locale&) = delete;
    bool ok() const { return loc_ != nullptr; }

private:
    locale_t loc_;
    locale_t previous_ = nullptr;
};

}  // namespace qb_test

#endif
