// tests/support/leak_check.h - leak checks charged to the test (or the run)
// that leaked.
//
// In the AddressSanitizer build (QB_TEST_LSAN is defined there) the leak
// checker normally reports only at exit, naming no test. Here:
//   - qb_test::leak_found() runs a leak check now and tells whether it found
//     a block that is no longer reachable;
//   - qb_test::LeakChecked is a fixture whose TearDown fails the test when
//     such a check finds a leak, so `class X : public qb_test::LeakChecked {};`
//     with TEST_F(X, ...) charges a leak to the test that made it.
// A leaked block stays leaked and would be reported again by every later
// check, so after the first finding leak_found() runs no further check and
// answers false (the check at exit still reports everything, and a run of a
// single test checks that test alone). In other builds leak_found() is
// always false and the fixture checks nothing.
//
// Header-only; it may be included by any number of sources of an executable.
#ifndef QBASN_TESTS_SUPPORT_LEAK_CHECK_H
#define QBASN_TESTS_SUPPORT_LEAK_CHECK_H

#include <gtest/gtest.h>

#if defined(__SANITIZE_ADDRESS__)
#define QB_TEST_LSAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QB_TEST_LSAN 1
#endif
#endif

#if defined(QB_TEST_LSAN)
#include <sanitizer/lsan_interface.h>
#endif

namespace qb_test {

// leak_found: runs a leak check unless one has already found a leak.
inline bool leak_found() {
#if defined(QB_TEST_LSAN)
    static bool leaked_before = false;
    if (leaked_before) return false;
    leaked_before = __lsan_do_recoverable_leak_check() != 0;
    return leaked_before;
#else
    return false;
#endif
}

// LeakChecked: every test of a fixture derived from it ends with a leak check.
class LeakChecked : public ::testing::Test {
protected:
    void TearDown() override { EXPECT_FALSE(leak_found()) << "blocks leaked in this test (report above)"; }
};

}  // namespace qb_test

#endif
