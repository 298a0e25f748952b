// fuzz/round_trip.h - the decode, encode, decode, encode property of the
// typed records, shared by fuzz_typed_decode (plain form) and
// fuzz_lcs_decode (local-code-set form).
//
// Every input is also decoded (and a decoded record encoded) through the
// object tree's entry points, which must agree with the typed entry points.
//
// A decoder accepts BER and the encoder writes one canonical form, so the
// first encoding of a decoded message may differ from the message (long-form
// or indefinite lengths, non-minimal integers, text cut at a zero octet). But
// decoding that first encoding must succeed, and encoding the result again
// must give exactly the same octets.
#ifndef QBASN_FUZZ_ROUND_TRIP_H
#define QBASN_FUZZ_ROUND_TRIP_H

#include <cstdlib>
#include <span>

#include "asn1/asn1.h"
#include "asn1/asnrecord.h"
#include "shim.h"

namespace qb_fuzz {

// flat_record: a zeroed, malloc'ed flat record of one type; the destructor
// releases what a decode hung into it (through the record's own free
// function, whatever the decode returned) and then the record itself.
class flat_record {
public:
    explicit flat_record(const qb_record_info& info) : info_(info), flat_(std::calloc(1, info.flat_size)) {
        FUZZ_CHECK(flat_ != nullptr);
    }
    ~flat_record() {
        info_.free_obj(flat_);
        std::free(flat_);
    }
    flat_record(const flat_record&) = delete;
    flat_record& operator=(const flat_record&) = delete;
    void* get() const { return flat_; }

private:
    const qb_record_info& info_;
    void* flat_;
};

// encoded: a block an encoder handed out, released with qb_asn_buffer_free.
struct encoded {
    qb_asn_buffer_t buf{0, nullptr};
    encoded() = default;
    ~encoded() { qb_asn_buffer_free(buf); }
    encoded(const encoded&) = delete;
    encoded& operator=(const encoded&) = delete;
};

// The envelope every typed entry point writes: payload offset 4, version 2, AC DC.
inline bool has_typed_envelope(const qb_asn_buffer_t& b) {
    return b.length > 4 && b.data != nullptr && b.data[0] == 0x04 && b.data[1] == 0x02 && b.data[2] == 0xAC &&
           b.data[3] == 0xDC;
}

// typed_round_trip: decodes `message` as a record of type `info` (lcs 0: the
// plain form, 1: the local-code-set form); when that succeeds, encodes the
// record, decodes that encoding into a second record and encodes it again:
// every step must succeed and the two encodings must be identical. The
// decoder must leave the caller's view and octets as they were.
inline void typed_round_trip(const qb_record_info& info, std::span<const unsigned char> message, int lcs) {
    heap_copy input(message);
    qb_asn_buffer_t in{input.size(), input.data()};
    flat_record first(info);
    const unsigned int rc = info.decode(in, first.get(), lcs);
    FUZZ_CHECK(in.length == input.size() && in.data == input.data());
    FUZZ_CHECK(same_bytes(input.data(), input.size(), message.data(), static_cast<unsigned int>(message.size())));

    // The object tree, the reference behind the typed entry points, gives the
    // same status, and a record that encodes to the same octets.
    flat_record by_tree(info);
    FUZZ_CHECK(info.tree_decode(in, by_tree.get(), lcs) == rc);
    if (rc != 0) return;

    encoded once;
    FUZZ_CHECK(info.encode(once.buf, first.get(), lcs) == 0);
    FUZZ_CHECK(has_typed_envelope(once.buf));
    encoded through_tree;
    FUZZ_CHECK(info.tree_encode(through_tree.buf, by_tree.get(), lcs) == 0);
    FUZZ_CHECK(same_bytes(once.buf.data, once.buf.length, through_tree.buf.data, through_tree.buf.length));

    flat_record second(info);
    FUZZ_CHECK(info.decode(once.buf, second.get(), lcs) == 0);
    encoded twice;
    FUZZ_CHECK(info.encode(twice.buf, second.get(), lcs) == 0);
    FUZZ_CHECK(same_bytes(once.buf.data, once.buf.length, twice.buf.data, twice.buf.length));
}

}  // namespace qb_fuzz

#endif
