// tests/support/reencode.h - the check that changing a value makes the tree
// above it encode anew.
//
// Header-only (a function template in namespace qb_test); it may be included
// by any number of sources of an executable.
#ifndef QBASN_TESTS_SUPPORT_REENCODE_H
#define QBASN_TESTS_SUPPORT_REENCODE_H

#include <gtest/gtest.h>

#include <initializer_list>

#include "asn1/asnbase.h"
#include "support/frames.h"
#include "support/hex.h"

namespace qb_test {

// expect_change_reencodes(root, before, change, after, also_stale): `root`
// encodes to `before` (which leaves its cached encoding valid); change()
// returns 0 and leaves the cached encoding of `root`, and of every object in
// `also_stale`, invalid; `root` then encodes to `after`.
template <class Change>
void expect_change_reencodes(qb_asn_object& root, const char* before, Change change, const char* after,
                             std::initializer_list<const qb_asn_object*> also_stale = {}) {
    ASSERT_EQ(write_bytes(root), hex(before));
    ASSERT_EQ(root.is_encoding_valid(), 1);
    EXPECT_EQ(change(), 0u);
    EXPECT_EQ(root.is_encoding_valid(), 0);
    for (const qb_asn_object* o : also_stale) EXPECT_EQ(o->is_encoding_valid(), 0);
    EXPECT_EQ(write_bytes(root), hex(after));
}

}  // namespace qb_test

#endif
