// qbasn/cxx.h - a C++ layer over the flat API that cannot forget a free.
//
//   qbasn::buffer       owns a qb_asn_buffer_t (released with qb_asn_buffer_free)
//   qbasn::record<T>    owns a decoded flat record T (released with qbAsnFreeObj)
//   qbasn::any_record   owns a decoded record of a type known only at run time
//   qbasn::result<T>    a value or the status that prevented it
//   qbasn::encode(r)    -> result<buffer>
//   qbasn::decode<T>(b) -> result<record<T>>
//
// Every owner is move-only. Header-only: it uses nothing but the library's
// exported functions.
#ifndef QBASN_CXX_H
#define QBASN_CXX_H

#include <cstdlib>
#include <cstring>
#include <new>
#include <span>
#include <utility>

#include "qbasn.h"

namespace qbasn {

// result<T>: a value, or the nonzero status code that prevented it.
template <class T>
class result {
public:
    result(T value) : status_(0), value_(std::move(value)) {}
    static result failure(unsigned int status) { return result(status); }

    bool ok() const { return status_ == 0; }
    explicit operator bool() const { return ok(); }
    unsigned int status() const { return status_; }
    // value: only meaningful when ok().
    T& value() & { return value_; }
    const T& value() const& { return value_; }
    T&& value() && { return std::move(value_); }

private:
    explicit result(unsigned int status) : status_(status), value_() {}
    unsigned int status_;
    T value_;
};

// status_text: what a status code means ("unknown status" for others).
inline const char* status_text(unsigned int status) {
    const char* text = qbAsnStatusText(status);
    return text != nullptr ? text : "unknown status";
}

// buffer: owns the bytes of one encoded message.
class buffer {
public:
    buffer() = default;
    // Takes ownership of a block the library filled.
    explicit buffer(qb_asn_buffer_t b) : b_(b) {}
    buffer(const buffer&) = delete;
    buffer& operator=(const buffer&) = delete;
    buffer(buffer&& o) noexcept : b_(std::exchange(o.b_, qb_asn_buffer_t{})) {}
    buffer& operator=(buffer&& o) noexcept {
        if (this != &o) {
            reset();
            b_ = std::exchange(o.b_, qb_asn_buffer_t{});
        }
        return *this;
    }
    ~buffer() { reset(); }

    // copy_of: a buffer owning a copy of bytes (decode() needs none: it reads
    // the caller's bytes in place).
    static result<buffer> copy_of(std::span<const unsigned char> bytes) {
        qb_asn_buffer_t src{static_cast<unsigned int>(bytes.size()), const_cast<unsigned char*>(bytes.data())};
        qb_asn_buffer_t dst{};
        unsigned int status = 0;
        qb_asn_buffer_copy(src, dst, status);
        if (status != 0) return result<buffer>::failure(status);
        return buffer(dst);
    }

    const unsigned char* data() const { return b_.data; }
    size_t size() const { return b_.data != nullptr ? b_.length : 0; }
    std::span<const unsigned char> bytes() const { return {data(), size()}; }
    qb_asn_buffer_t& get() { return b_; }

    void reset() {
        qb_asn_buffer_free(b_);
        b_ = qb_asn_buffer_t{};
    }

private:
    qb_asn_buffer_t b_{};
};

// record<T>: owns a decoded flat record; its texts and arrays are released
// with qbAsnFreeObj when the owner goes.
template <class T>
class record {
public:
    record() { std::memset(&r_, 0, sizeof r_); }
    record(const record&) = delete;
    record& operator=(const record&) = delete;
    record(record&& o) noexcept : r_(o.r_), owned_(std::exchange(o.owned_, false)) {
        std::memset(&o.r_, 0, sizeof o.r_);
    }
    record& operator=(record&& o) noexcept {
        if (this != &o) {
            reset();
            r_ = o.r_;
            owned_ = std::exchange(o.owned_, false);
            std::memset(&o.r_, 0, sizeof o.r_);
        }
        return *this;
    }
    ~record() { reset(); }

    T& operator*() { return r_; }
    const T& operator*() const { return r_; }
    T* operator->() { return &r_; }
    const T* operator->() const { return &r_; }
    T& get() { return r_; }

    void reset() {
        if (owned_) qbAsnFreeObj(r_);
        owned_ = false;
        std::memset(&r_, 0, sizeof r_);
    }

    // adopt: the record now owns what the library hung into r_ (also after a
    // failed decode, which may leave a partly filled record behind).
    void adopt() { owned_ = true; }

private:
    T r_;
    bool owned_ = false;
};

// encode: the message for a flat record (plain or local-code-set texts).
template <class T>
result<buffer> encode(const T& r, bool lcs = false) {
    qb_asn_buffer_t out{};
    T& in = const_cast<T&>(r);  // the library reads the record only
    const unsigned int status = lcs ? qbAsnEncodeObjLCS(out, in) : qbAsnEncodeObj(out, in);
    if (status != 0) return result<buffer>::failure(status);
    return buffer(out);
}

// decode: a record owner for a message; the bytes are only read.
template <class T>
result<record<T>> decode(std::span<const unsigned char> bytes, bool lcs = false) {
    qb_asn_buffer_t in{static_cast<unsigned int>(bytes.size()), const_cast<unsigned char*>(bytes.data())};
    record<T> out;
    out.adopt();  // whatever the decode fills is released by the owner, success or not
    const unsigned int status = lcs ? qbAsnDecodeObjLCS(in, out.get()) : qbAsnDecodeObj(in, out.get());
    if (status != 0) return result<record<T>>::failure(status);
    return result<record<T>>(std::move(out));
}

// any_record: a flat record of a type chosen at run time through the
// reflection table (qb_record_find); its storage and contents are released
// together.
class any_record {
public:
    any_record() = default;
    explicit any_record(const qb_record_info& info)
        : info_(&info), flat_(std::calloc(1, info.flat_size)) {
        if (flat_ == nullptr) throw std::bad_alloc();
    }
    any_record(const any_record&) = delete;
    any_record& operator=(const any_record&) = delete;
    any_record(any_record&& o) noexcept : info_(o.info_), flat_(std::exchange(o.flat_, nullptr)) {}
    any_record& operator=(any_record&& o) noexcept {
        if (this != &o) {
            reset();
            info_ = o.info_;
            flat_ = std::exchange(o.flat_, nullptr);
        }
        return *this;
    }
    ~any_record() { reset(); }

    const qb_record_info* info() const { return info_; }
    void* flat() { return flat_; }
    const void* flat() const { return flat_; }

    // Every pointer inside must come from malloc (as the library's own are).
    void reset() {
        if (flat_ != nullptr) {
            info_->free_obj(flat_);
            std::free(flat_);
            flat_ = nullptr;
        }
    }

private:
    const qb_record_info* info_ = nullptr;
    void* flat_ = nullptr;
};

// encode_any / decode_any: the same through the reflection table.
inline result<buffer> encode_any(const any_record& r, bool lcs = false) {
    // An empty owner (default-built, moved from or reset) has no record to
    // encode: 0x1065219C, a null argument.
    if (r.info() == nullptr || r.flat() == nullptr) return result<buffer>::failure(0x1065219C);
    qb_asn_buffer_t out{};
    const unsigned int status = r.info()->encode(out, const_cast<void*>(r.flat()), lcs ? 1 : 0);
    if (status != 0) return result<buffer>::failure(status);
    return buffer(out);
}

inline result<any_record> decode_any(const qb_record_info& info, std::span<const unsigned char> bytes,
                                     bool lcs = false) {
    any_record out(info);
    qb_asn_buffer_t in{static_cast<unsigned int>(bytes.size()), const_cast<unsigned char*>(bytes.data())};
    const unsigned int status = info.decode(in, out.flat(), lcs ? 1 : 0);
    if (status != 0) return result<any_record>::failure(status);
    return result<any_record>(std::move(out));
}

}  // namespace qbasn

#endif
