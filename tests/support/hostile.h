// tests/support/hostile.h - damaged copies of a valid encoding (every
// truncation, single-octet changes) and the checks every object read of
// hostile input must pass.
//
// Header-only (inline functions in namespace qb_test); a test source takes
// what it uses with using-declarations. It may be included by any number of
// sources of an executable.
#ifndef QBASN_TESTS_SUPPORT_HOSTILE_H
#define QBASN_TESTS_SUPPORT_HOSTILE_H

#include <gtest/gtest.h>

#include <cstddef>
#include <initializer_list>
#include <ios>
#include <string>
#include <vector>

#include "asn1/asnbase.h"
#include "support/buffers.h"

namespace qb_test {

// for_each_damaged: calls f(input, what) for every truncation of `good` (to
// 0 .. size - 1 octets), then for every octet position with the octet
// changed by each mask of `xors` and set to each of `values`; `what`
// describes the change. A replacement equal to the octet already there is
// skipped when `skip_unchanged` is set.
template <class F>
void for_each_damaged(const bytes_t& good, std::initializer_list<unsigned int> xors,
                      std::initializer_list<unsigned int> values, F&& f, bool skip_unchanged = false) {
    for (size_t n = 0; n < good.size(); ++n)
        f(bytes_t(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(n)), "cut to " + std::to_string(n));
    for (size_t pos = 0; pos < good.size(); ++pos) {
        const std::string at = "octet " + std::to_string(pos);
        for (unsigned int mask : xors) {
            bytes_t bad = good;
            bad[pos] = static_cast<unsigned char>(bad[pos] ^ mask);
            f(bad, at + " ^ " + std::to_string(mask));
        }
        for (unsigned int value : values) {
            if (skip_unchanged && good[pos] == value) continue;
            bytes_t bad = good;
            bad[pos] = static_cast<unsigned char>(value);
            f(bad, at + " = " + std::to_string(value));
        }
    }
}

// documented_read_status: whether `rc` is a status an object's read may
// give for any input: 0, cut off 0x10652198, malformed 0x1065219B, forms
// refused (indefinite 0x1065219D, constructed 0x1065219E, primitive
// 0x1065219F), identifier refused 0x106521A4, surplus content 0x106521A5,
// or one of `extra`.
inline bool documented_read_status(unsigned int rc, std::initializer_list<unsigned int> extra = {}) {
    for (unsigned int s : {0u, 0x10652198u, 0x1065219Bu, 0x1065219Du, 0x1065219Eu, 0x1065219Fu, 0x106521A4u,
                           0x106521A5u})
        if (rc == s) return true;
    for (unsigned int s : extra)
        if (rc == s) return true;
    return false;
}

// read_hostile: reads `in` (an exact-size heap copy) into `o` and checks
// what holds for any input: a documented status (or one of `extra`), a view
// still inside the input, `o` present exactly when the read succeeded, and
// a failed read's cursor back at the start (except after 0x1065219B, which
// leaves it where the damage was found). Both dumps run on what was read; a
// read that succeeded must also write. Returns the status.
inline unsigned int read_hostile(qb_asn_object& o, const bytes_t& in, std::initializer_list<unsigned int> extra = {}) {
    const exact_block block(in);
    qb_r_buffer_t r = block.view();
    const unsigned int rc = o.asnread(r);
    EXPECT_TRUE(documented_read_status(rc, extra)) << std::hex << rc;
    EXPECT_TRUE(view_in(r, block.data(), in.size()));
    EXPECT_EQ(o.is_present(), rc == 0 ? 1 : 0);
    if (rc != 0 && rc != 0x1065219B) {
        EXPECT_EQ(r.cursor, block.data());  // restored
    }
    qb_buffer_t shown(security_off);
    (void)o.display_state_flags(shown, 0);
    if (rc == 0) {
        (void)o.display(shown);
        qb_buffer_t out(security_off);
        EXPECT_EQ(o.asnwrite(out), 0u);
    }
    return rc;
}

}  // namespace qb_test

#endif
