// fuzz/fuzz_untyped_decode.cpp - the untyped entry points qbasn_decode_obj,
// qbasn_encode_obj and qbasn_obj_free.
//
// Input: the first octet picks the object type from its low two bits (0: 259
// cert_request_in, 1: 260 kxobj_update_list_s_t, 2: 262 a bare INTEGER in an
// int, 3: a type number that is not served) and how the version is given:
// with bit 7 clear the next octet is the version (0..255), with bit 7 set the
// next four octets are a signed 32-bit version (big-endian). The rest is the
// message.
//
// The version is the caller's: encode writes its low eight bits into the
// envelope, decode requires the envelope's version octet to equal them
// (0x10652196 otherwise, the record untouched). So a message decoded with
// version V must re-encode with V, decode again with V and encode to the same
// octets as the first encoding, whatever V is (negative and above 255
// included). A type that is not served gives -1 from all three calls.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "asn1/asn1.h"
#include "asn1/asnrecord.h"
#include "round_trip.h"
#include "shim.h"

namespace {

constexpr unsigned int kCertRequestType = 259;
constexpr unsigned int kUpdateListType = 260;
constexpr unsigned int kIntegerType = 262;
constexpr unsigned int kUnservedType = 261;
constexpr unsigned int kNoEnvelope = 0x10652196;

using qb_fuzz::encoded;
using qb_fuzz::heap_copy;
using qb_fuzz::same_bytes;

// The envelope an untyped encode writes: payload offset 4, the version's low
// octet, AC DC, and something after it.
bool has_envelope(const qb_asn_buffer_t& b, int version) {
    return b.length > 4 && b.data != nullptr && b.data[0] == 0x04 &&
           b.data[1] == static_cast<unsigned char>(version & 0xFF) && b.data[2] == 0xAC && b.data[3] == 0xDC;
}

// untyped_record: a zeroed malloc'ed plain record of an object type, released
// with qbasn_obj_free and free whatever happened to it.
class untyped_record {
public:
    untyped_record(unsigned int type, int version, std::size_t size)
        : type_(type), version_(version), size_(size), flat_(std::calloc(1, size)) {
        FUZZ_CHECK(flat_ != nullptr);
    }
    ~untyped_record() {
        FUZZ_CHECK(qbasn_obj_free(version_, type_, flat_) == 0);
        std::free(flat_);
    }
    untyped_record(const untyped_record&) = delete;
    untyped_record& operator=(const untyped_record&) = delete;
    void* get() const { return flat_; }
    bool all_zero() const {
        const auto* p = static_cast<const unsigned char*>(flat_);
        for (std::size_t i = 0; i < size_; ++i)
            if (p[i] != 0) return false;
        return true;
    }

private:
    unsigned int type_;
    int version_;
    std::size_t size_;
    void* flat_;
};

// record_round_trip: types 259 and 260.
void record_round_trip(unsigned int type, int version, std::span<const unsigned char> message) {
    const qb_record_info* info = qb_record_find(type == kCertRequestType ? "cert_request_in" : "kxobj_update_list_s_t");
    FUZZ_CHECK(info != nullptr);
    heap_copy input(message);
    qb_asn_buffer_t in{input.size(), input.data()};
    untyped_record first(type, version, info->flat_size);
    const int rc = qbasn_decode_obj(version, in, type, first.get());
    FUZZ_CHECK(in.length == input.size() && in.data == input.data());
    FUZZ_CHECK(same_bytes(input.data(), input.size(), message.data(), static_cast<unsigned int>(message.size())));
    if (rc == static_cast<int>(kNoEnvelope)) FUZZ_CHECK(first.all_zero());
    if (rc != 0) return;

    encoded once;
    FUZZ_CHECK(qbasn_encode_obj(version, first.get(), type, once.buf) == 0);
    FUZZ_CHECK(has_envelope(once.buf, version));
    untyped_record second(type, version, info->flat_size);
    FUZZ_CHECK(qbasn_decode_obj(version, once.buf, type, second.get()) == 0);
    encoded twice;
    FUZZ_CHECK(qbasn_encode_obj(version, second.get(), type, twice.buf) == 0);
    FUZZ_CHECK(same_bytes(once.buf.data, once.buf.length, twice.buf.data, twice.buf.length));
}

// integer_round_trip: type 262, an int behind the envelope. A failed decode
// leaves the int alone.
void integer_round_trip(int version, std::span<const unsigned char> message) {
    constexpr int kSentinel = 0x5A5A5A5A;
    heap_copy input(message);
    qb_asn_buffer_t in{input.size(), input.data()};
    int first = kSentinel;
    const int rc = qbasn_decode_obj(version, in, kIntegerType, &first);
    FUZZ_CHECK(in.length == input.size() && in.data == input.data());
    FUZZ_CHECK(same_bytes(input.data(), input.size(), message.data(), static_cast<unsigned int>(message.size())));
    if (rc != 0) {
        FUZZ_CHECK(first == kSentinel);
        return;
    }
    encoded once;
    FUZZ_CHECK(qbasn_encode_obj(version, &first, kIntegerType, once.buf) == 0);
    FUZZ_CHECK(has_envelope(once.buf, version));
    int second = ~first;
    FUZZ_CHECK(qbasn_decode_obj(version, once.buf, kIntegerType, &second) == 0);
    FUZZ_CHECK(second == first);
    encoded twice;
    FUZZ_CHECK(qbasn_encode_obj(version, &second, kIntegerType, twice.buf) == 0);
    FUZZ_CHECK(same_bytes(once.buf.data, once.buf.length, twice.buf.data, twice.buf.length));
    FUZZ_CHECK(qbasn_obj_free(version, kIntegerType, &first) == 0);
}

// unserved_type: -1 from every entry point, nothing read or written.
void unserved_type(int version, std::span<const unsigned char> message) {
    heap_copy input(message);
    qb_asn_buffer_t in{input.size(), input.data()};
    unsigned char record[64] = {};
    FUZZ_CHECK(qbasn_decode_obj(version, in, kUnservedType, record) == -1);
    qb_asn_buffer_t out{0, nullptr};
    FUZZ_CHECK(qbasn_encode_obj(version, record, kUnservedType, out) == -1);
    FUZZ_CHECK(out.length == 0 && out.data == nullptr);
    FUZZ_CHECK(qbasn_obj_free(version, kUnservedType, record) == -1);
    for (unsigned char c : record) FUZZ_CHECK(c == 0);
}

}  // namespace

void fuzz_one(std::span<const unsigned char> input) {
    if (input.size() < 2) return;
    const unsigned char selector = input[0];
    int version = 0;
    std::span<const unsigned char> message;
    if ((selector & 0x80) == 0) {
        version = input[1];
        message = input.subspan(2);
    } else {
        if (input.size() < 5) return;
        const std::uint32_t v = (std::uint32_t{input[1]} << 24) | (std::uint32_t{input[2]} << 16) |
                                (std::uint32_t{input[3]} << 8) | std::uint32_t{input[4]};
        version = static_cast<int>(static_cast<std::int32_t>(v));
        message = input.subspan(5);
    }
    switch (selector & 3U) {
        case 0: record_round_trip(kCertRequestType, version, message); break;
        case 1: record_round_trip(kUpdateListType, version, message); break;
        case 2: integer_round_trip(version, message); break;
        default: unserved_type(version, message); break;
    }
}
