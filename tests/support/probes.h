// tests/support/probes.h - small objects that note what the library asks of
// them (a SEQUENCE counting its presence re-checks, a primitive noting its
// emptyi and normalize calls), and small trees of sequences.
//
// Header-only (classes in namespace qb_test); it may be included by any
// number of sources of an executable.
#ifndef QBASN_TESTS_SUPPORT_PROBES_H
#define QBASN_TESTS_SUPPORT_PROBES_H

#include <vector>

#include "asn1/asnbase.h"

namespace qb_test {

// spy_sequence: a SEQUENCE that counts the presence re-checks (check_valid)
// it is asked for and keeps the last argument.
class spy_sequence : public qb_asn_sequence {
public:
    explicit spy_sequence(security_t s = security_off) : qb_asn_sequence(s) {}
    int checks = 0;
    int last_arg = -1;
    void check_valid(int arg) override {
        ++checks;
        last_arg = arg;
        qb_asn_sequence::check_valid(arg);
    }
};

// logged_step: a primitive (tag 5, primitive form) whose emptyi notes `id`
// in `log` and whose normalize notes `normalize_mark + id`; both return
// `status`. It reads and writes no content; `optional` marks it optional.
class logged_step : public qb_asn_primitive {
public:
    logged_step(std::vector<int>& log, int id, unsigned int status, int normalize_mark = 100, bool optional = true)
        : qb_asn_primitive(security_off), log_(log), id_(id), status_(status), normalize_mark_(normalize_mark) {
        tag = 5;
        primitive_permitted = 1;
        if (optional) set_optional(1);
    }
    unsigned int decode_value(qb_r_buffer_t&, unsigned int) override { return 0; }
    unsigned int encode_value(qb_buffer_t&) const override { return 0; }
    unsigned int emptyi() override {
        log_.push_back(id_);
        return status_;
    }
    unsigned int normalize() override {
        log_.push_back(normalize_mark_ + id_);
        return status_;
    }

private:
    std::vector<int>& log_;
    int id_;
    unsigned int status_;
    int normalize_mark_;
};

// in_sequence: SEQUENCE { Child }, security off; take its parts with
// `auto& [seq, child] = tree;`.
template <class Child>
struct in_sequence {
    qb_asn_sequence seq{security_off};
    Child child{security_off};
    in_sequence() { seq.register_child(&child); }
};

// nested: SEQUENCE { SEQUENCE { Leaf } }, outer, inner and leaf, security off.
template <class Leaf>
struct nested {
    qb_asn_sequence outer{security_off};
    qb_asn_sequence inner{security_off};
    Leaf leaf{security_off};
    nested() {
        inner.register_child(&leaf);
        outer.register_child(&inner);
    }
};

}  // namespace qb_test

#endif
