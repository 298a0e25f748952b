// tests/support/defaults.h - the checks every defaultable object's default
// value must pass: the default installed by set_default_value(), one handed
// in as an object, a null default, the default's tag and class, and a value
// equal to the default left out of the parent's encoding.
//
// Header-only (inline and template functions in namespace qb_test); it may
// be included by any number of sources of an executable. The checks report
// through GoogleTest; a test calls them directly.
#ifndef QBASN_TESTS_SUPPORT_DEFAULTS_H
#define QBASN_TESTS_SUPPORT_DEFAULTS_H

#include <gtest/gtest.h>

#include "asn1/asnbase.h"
#include "support/frames.h"
#include "support/hex.h"

namespace qb_test {

// expect_default_installed: set_default_value() on `o` succeeds and leaves
// it defaultable with a default whose parent is `o`.
template <class T>
void expect_default_installed(T& o) {
    EXPECT_EQ(0u, o.set_default_value());
    EXPECT_TRUE(o.is_defaultable());
    ASSERT_NE(nullptr, o.get_default_value());
    EXPECT_EQ(&o, o.get_default_value()->get_parent());
}

// expect_default_object_taken: set_default_value(d) on `o` succeeds, and `o`
// is defaultable with `d` as its default, owned by `o`.
template <class T>
void expect_default_object_taken(T& o, qb_asn_object* d) {
    EXPECT_EQ(0u, o.set_default_value(d));
    EXPECT_TRUE(o.is_defaultable());
    EXPECT_EQ(d, o.get_default_value());
    EXPECT_EQ(&o, d->get_parent());
}

// expect_null_default_clears: a T with a default, handed a null default
// object, is no longer defaultable and has no default.
template <class T>
void expect_null_default_clears() {
    T o(security_off);
    o.set_default_value();
    ASSERT_TRUE(o.is_defaultable());
    EXPECT_EQ(0u, o.set_default_value(static_cast<qb_asn_object*>(nullptr)));
    EXPECT_FALSE(o.is_defaultable());
    EXPECT_EQ(nullptr, o.get_default_value());
}

// expect_default_takes_tag_and_class: the default that set_default_value()
// installs on a T tagged [cls tag] carries that tag and class.
template <class T>
void expect_default_takes_tag_and_class(unsigned int tag, int cls) {
    T o(security_off);
    o.set_tag(tag);
    o.set_class(cls);
    o.set_default_value();
    ASSERT_NE(nullptr, o.get_default_value());
    EXPECT_EQ(tag, o.get_default_value()->get_tag());
    EXPECT_EQ(cls, o.get_default_value()->get_class());
}

// expect_equal_to_default_left_out: SEQUENCE { T with its installed
// default }: nothing of the member is written while it is absent or after
// `set_equal` gives it the default's value; after `set_other` the SEQUENCE
// is written as `other_hex`.
template <class T, class SetEqual, class SetOther>
void expect_equal_to_default_left_out(SetEqual set_equal, SetOther set_other, const char* other_hex) {
    qb_asn_sequence seq(security_off);
    T o(security_off);
    o.set_default_value();
    seq.register_child(&o);
    EXPECT_EQ(hex("30 00"), write_bytes(seq));
    set_equal(o);
    EXPECT_EQ(hex("30 00"), write_bytes(seq));
    set_other(o);
    EXPECT_EQ(hex(other_hex), write_bytes(seq));
}

}  // namespace qb_test

#endif
