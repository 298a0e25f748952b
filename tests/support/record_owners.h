// tests/support/record_owners.h - owners of the flat records a test handles
// through the reflection table (asn1/asnrecord.h), and the encode call to a
// byte vector.
//
//   - built_record: a zeroed flat record filled by fill_random
//     (support/record_random.h); released with free_built, since the test
//     allocated what hangs in it;
//   - decoded_record: a zeroed flat record the library decoded into (from an
//     exactly sized copy of the input, support/buffers.h);
//     released with the library's freer (info.free_obj), also after a failed
//     decode that left it partly filled, so the leak check judges the
//     library's freer;
//   - encode_record: the status and octets of info.encode.
//
// Header-only; the owners hold nothing shared, so each thread may use its own.
#ifndef QBASN_TESTS_SUPPORT_RECORD_OWNERS_H
#define QBASN_TESTS_SUPPORT_RECORD_OWNERS_H

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

#include "asn1/asn1.h"
#include "asn1/asnrecord.h"
#include "support/buffers.h"
#include "support/record_random.h"

namespace qb_test {

// built_record: the random record of `info` that `seed` names under `opt`.
class built_record {
public:
    built_record(const qb_record_info& info, std::uint64_t seed, const random_options& opt) : info_(info) {
        flat_ = std::calloc(1, info.flat_size);
        if (flat_ == nullptr) throw std::bad_alloc();
        random_source rnd(seed);
        fill_random(info, flat_, rnd, opt);
    }
    ~built_record() {
        free_built(info_, flat_);
        std::free(flat_);
    }
    built_record(const built_record&) = delete;
    built_record& operator=(const built_record&) = delete;
    void* flat() const { return flat_; }

private:
    const qb_record_info& info_;
    void* flat_;
};

// decoded_record: the first `n` octets at `p` decoded into a zeroed record
// (through the local-code-set form when `lcs` is nonzero). The decoder reads
// an exactly sized copy, so a read past the input is caught by the sanitizer.
class decoded_record {
public:
    decoded_record(const qb_record_info& info, const unsigned char* p, std::size_t n, int lcs) : info_(info) {
        flat_ = std::calloc(1, info.flat_size);
        if (flat_ == nullptr) throw std::bad_alloc();
        const exact_block copy(p, n);
        qb_asn_buffer_t in{copy.size(), n != 0 ? copy.data() : nullptr};
        status_ = info.decode(in, flat_, lcs);
    }
    decoded_record(const qb_record_info& info, const std::vector<unsigned char>& b, int lcs)
        : decoded_record(info, b.data(), b.size(), lcs) {}
    ~decoded_record() {
        info_.free_obj(flat_);
        std::free(flat_);
    }
    decoded_record(const decoded_record&) = delete;
    decoded_record& operator=(const decoded_record&) = delete;
    unsigned int status() const { return status_; }
    void* flat() const { return flat_; }

private:
    const qb_record_info& info_;
    void* flat_;
    unsigned int status_;
};

// encode_record: info.encode of `flat` (the local-code-set form when `lcs`
// is nonzero); the octets go to *out (empty when the status is not 0).
inline unsigned int encode_record(const qb_record_info& info, void* flat, int lcs, std::vector<unsigned char>* out) {
    qb_asn_buffer_t b{};
    const unsigned int rc = info.encode(b, flat, lcs);
    *out = rc == 0 ? bytes_of(b) : bytes_t();
    qb_asn_buffer_free(b);
    return rc;
}

}  // namespace qb_test

#endif
