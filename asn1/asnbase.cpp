// asn1/asnbase.cpp - byte buffers, the object runtime, primitive values and
// the envelope. Follows the order of asn1/asnbase.h.
#include "asn1/asnbase.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "asn1/asn1.h"
#include "asn1/asnutils.h"
#include "asn1/internal/direct.h"
#include "asn1/internal/status.h"

using namespace qb::detail;

namespace {

constexpr const char* kFile = "asn1/asnbase";

// Zeroes memory in a way the optimiser may not drop (the block is about to
// be released, which would otherwise make the stores dead).
void wipe(void* p, size_t n) {
    if (p == nullptr || n == 0) return;
    volatile unsigned char* v = static_cast<volatile unsigned char*>(p);
    while (n--) *v++ = 0;
}

// Appends an unsigned number in decimal (tags are unsigned 32-bit).
void append_unsigned(qb_buffer_t& out, unsigned long long v) {
    char text[24];
    int n = std::snprintf(text, sizeof text, "%llu", v);
    out.append(reinterpret_cast<const unsigned char*>(text), static_cast<unsigned int>(n));
}

// The depth of nested frames the current thread is reading (see
// QBASN_MAX_NESTING). Per thread, so concurrent readers do not interfere.
thread_local unsigned int t_read_depth = 0;

// The constructed OCTET STRING frames the current thread is reading segments
// of (see QBASN_MAX_SEGMENT_NESTING).
thread_local unsigned int t_segment_depth = 0;

// Counts one level of a per-thread depth for as long as it lives.
class DepthGuard {
public:
    explicit DepthGuard(unsigned int& depth) : depth_(depth) { ++depth_; }
    ~DepthGuard() { --depth_; }
    DepthGuard(const DepthGuard&) = delete;
    DepthGuard& operator=(const DepthGuard&) = delete;

private:
    unsigned int& depth_;
};

// Cuts a buffer back to its length on entry unless commit() was called, so a
// failed or interrupted write leaves nothing partial.
class WriteGuard {
public:
    explicit WriteGuard(qb_buffer_t& out) : out_(out), mark_(out.length()) {}
    ~WriteGuard() {
        if (!done_) out_.truncate(mark_);
    }
    void commit() { done_ = true; }
    WriteGuard(const WriteGuard&) = delete;
    WriteGuard& operator=(const WriteGuard&) = delete;

private:
    qb_buffer_t& out_;
    unsigned int mark_;
    bool done_ = false;
};

void advance(qb_r_buffer_t& r, unsigned int n) {
    r.cursor += n;
    r.remaining -= n;
}

// Reads identifier octets: tag number (base 128 in the high-tag form),
// constructed bit and class; r advances only on success. 0x10652198 when the
// octets run out, 0x1065219B when the tag number does not fit 32 bits.
[[nodiscard]] unsigned int read_identifier(qb_r_buffer_t& r, unsigned int& tag, int& cons,
                                           int& cls) {
    if (r.remaining == 0) return kInputExhausted;
    const unsigned char first = r.cursor[0];
    cons = (first & kConstructedBit) ? 1 : 0;
    cls = first >> 6;
    if ((first & kHighTagNumber) != kHighTagNumber) {
        tag = first & kHighTagNumber;
        advance(r, 1);
        return kOk;
    }
    uint32_t t = 0;
    unsigned int i = 1;
    for (;;) {
        if (i >= r.remaining) return kInputExhausted;
        const unsigned char o = r.cursor[i++];
        if (t > (UINT32_MAX >> 7)) return kMalformed;
        t = (t << 7) | (o & 0x7F);
        if ((o & 0x80) == 0) break;
    }
    tag = t;
    advance(r, i);
    return kOk;
}

const char* yn(int v) { return v ? "Y" : "N"; }

}  // namespace

// ---- qb_memory_funcs_t ----

void* qb_memory_funcs_t::malloc(size_t size) const {
    if (use_plain_hooks) return malloc_hook(size);
    if (use_context_hooks) return ctx_malloc_hook(hook_context, size);
    return std::malloc(size);
}

void qb_memory_funcs_t::free(void* ptr) const {
    if (use_plain_hooks) return free_hook(ptr);
    if (use_context_hooks) return ctx_free_hook(hook_context, ptr);
    std::free(ptr);
}

void* qb_memory_funcs_t::realloc(void* ptr, size_t size) const {
    if (use_plain_hooks) return realloc_hook(ptr, size);
    if (use_context_hooks) return ctx_realloc_hook(hook_context, ptr, size);
    return std::realloc(ptr, size);
}

void* qb_memory_funcs_t::calloc(size_t count, size_t size) const {
    if (use_plain_hooks) return calloc_hook(count, size);
    if (use_context_hooks) return ctx_calloc_hook(hook_context, count, size);
    return std::calloc(count, size);
}

// ---- qb_r_buffer_t ----

qb_r_buffer_t::qb_r_buffer_t()
    : origin(nullptr), origin_length(0), filler(0), cursor(nullptr), remaining(0) {}

qb_r_buffer_t::qb_r_buffer_t(unsigned char* p, unsigned int len)
    : origin(p), origin_length(len), filler(0), cursor(p), remaining(len) {}

void qb_r_buffer_t::set(unsigned char* p, unsigned int len) {
    origin = p;
    origin_length = len;
    cursor = p;
    remaining = len;
}

void qb_r_buffer_t::reset() {
    cursor = origin;
    remaining = origin_length;
}

qb_r_buffer_t& qb_r_buffer_t::operator=(const qb_r_buffer_t& other) {
    origin = other.origin;
    origin_length = other.origin_length;
    cursor = other.cursor;
    remaining = other.remaining;
    return *this;
}

bool qb_r_buffer_t::operator==(const qb_r_buffer_t& other) const {
    if (remaining != other.remaining) return false;
    return remaining == 0 || std::memcmp(cursor, other.cursor, remaining) == 0;
}

// ---- qb_buffer_t ----

void qb_buffer_t::init(const qb_memory_funcs_t* funcs, security_t s) {
    data = nullptr;
    if (funcs != nullptr)
        memory = *funcs;
    else
        std::memset(&memory, 0, sizeof memory);
    capacity = 0;
    security = s;
}

qb_buffer_t::qb_buffer_t(const qb_memory_funcs_t& funcs) { init(&funcs, security_off); }
qb_buffer_t::qb_buffer_t(security_t s) { init(nullptr, s); }
qb_buffer_t::qb_buffer_t(const qb_memory_funcs_t& funcs, security_t s) { init(&funcs, s); }

qb_buffer_t::qb_buffer_t(unsigned int initial, security_t s) {
    init(nullptr, s);
    extend(initial);
}

qb_buffer_t::qb_buffer_t(unsigned int initial, const qb_memory_funcs_t& funcs) {
    init(&funcs, security_off);
    extend(initial);
}

qb_buffer_t::qb_buffer_t(unsigned int initial, const qb_memory_funcs_t& funcs, security_t s) {
    init(&funcs, s);
    extend(initial);
}

qb_buffer_t::~qb_buffer_t() {
    if (data != nullptr) {
        if (security == security_on) wipe(data, capacity);
        memory.free(data);
        data = nullptr;
    }
}

unsigned int chunk(unsigned int n) {
    // Deliberate: up to 64 the step is 64; above it 960, so 64 -> 128 but 65 -> 1024.
    if (n <= 64) return (n & ~63u) + 64;
    return (n & ~63u) + 960;
}

unsigned int qb_buffer_t::extend(unsigned int n) {
    // Sizes that cannot be represented after rounding are out of memory too.
    if (n > UINT32_MAX - 1024 - capacity)
        throw qb_asn_memexception(kFile, __LINE__, "Out of memory in buffer_t::extend");
    const unsigned int new_capacity = chunk(capacity + n);
    const size_t offset = data != nullptr ? static_cast<size_t>(cursor - data) : 0;
    unsigned char* block;
    if (security == security_on) {
        // A wiping buffer never reallocs: copy, wipe the old block, release it.
        block = static_cast<unsigned char*>(memory.malloc(new_capacity));
        if (block == nullptr)
            throw qb_asn_memexception(kFile, __LINE__, "Out of memory in buffer_t::extend");
        if (data != nullptr) {
            std::memcpy(block, data, capacity);
            wipe(data, capacity);
            memory.free(data);
        }
    } else {
        block = static_cast<unsigned char*>(memory.realloc(data, new_capacity));
        if (block == nullptr)
            throw qb_asn_memexception(kFile, __LINE__, "Out of memory in buffer_t::extend");
    }
    data = block;
    capacity = new_capacity;
    origin = block;
    origin_length = new_capacity;
    cursor = block + offset;
    return 0;
}

unsigned int qb_buffer_t::append(unsigned char b) {
    if (capacity <= remaining) extend(64);
    data[remaining++] = b;
    return 0;
}

unsigned int qb_buffer_t::append(const unsigned char* p, unsigned int n) {
    if (n == 0) return 0;
    if (n > UINT32_MAX - remaining)
        throw qb_asn_memexception(kFile, __LINE__, "Out of memory in buffer_t::extend");
    if (remaining + n > capacity) {
        // The source may lie in this very block; find it again after growth.
        const uintptr_t src = reinterpret_cast<uintptr_t>(p);
        const uintptr_t lo = reinterpret_cast<uintptr_t>(data);
        const bool inside = data != nullptr && src >= lo && src < lo + capacity;
        const size_t offset = inside ? src - lo : 0;
        extend(n);
        if (inside) p = data + offset;
    }
    std::memmove(data + remaining, p, n);
    remaining += n;
    return 0;
}

unsigned int qb_buffer_t::append(const char* s) {
    return append(reinterpret_cast<const unsigned char*>(s), static_cast<unsigned int>(std::strlen(s)));
}

unsigned int qb_buffer_t::append_int(long v) {
    // Values are 32-bit: the low 32 bits are printed as a signed number.
    char text[24];
    int n = std::snprintf(text, sizeof text, "%ld", static_cast<long>(static_cast<int32_t>(v)));
    return append(reinterpret_cast<const unsigned char*>(text), static_cast<unsigned int>(n));
}

unsigned int qb_buffer_t::append(const qb_r_buffer_t& r) { return append(r.cursor, r.remaining); }

void qb_buffer_t::clear() {
    remaining = 0;
    cursor = data;
    if (security == security_on) wipe(data, capacity);
}

void qb_buffer_t::detach(unsigned char*& p, unsigned int& n) {
    p = data;
    n = remaining;
    data = nullptr;
    capacity = 0;
    origin = nullptr;
    origin_length = 0;
    clear();
}

void qb_buffer_t::truncate(unsigned int n) {
    if (n < remaining) remaining = n;
}

namespace {

[[nodiscard]] unsigned int write_digits(qb_buffer_t& buf, unsigned int v, unsigned int width,
                                        unsigned int limit) {
    if (v > limit) return kDecimalRange;
    unsigned char digits[4];
    for (unsigned int i = width; i-- > 0;) {
        digits[i] = static_cast<unsigned char>('0' + v % 10);
        v /= 10;
    }
    return buf.append(digits, width);
}

}  // namespace

unsigned int write1d(qb_buffer_t& buf, unsigned int v) { return write_digits(buf, v, 1, 9); }
unsigned int write2d(qb_buffer_t& buf, unsigned int v) { return write_digits(buf, v, 2, 99); }
unsigned int write4d(qb_buffer_t& buf, unsigned int v) { return write_digits(buf, v, 4, 9999); }

bool check_EOC(qb_r_buffer_t r) { return r.remaining >= 2 && r.cursor[0] == 0 && r.cursor[1] == 0; }

// ---- qb_asn_object ----

qb_asn_object::qb_asn_object(security_t s)
    : encoding(s),
      parent(nullptr),
      default_value(nullptr),
      optional(0),
      defaultable(0),
      present(0),
      encoding_valid(0),
      security(security_off),
      constructed(0),
      indefinite(0),
      generate_constructed(0),
      asn_class(0),
      tag(0),
      primitive_permitted(0),
      constructed_permitted(0),
      indefinite_permitted(0),
      preread(nullptr),
      postread(nullptr),
      type_name(),
      value_in_cache(0) {
    set_type_name("OBJECT");
    qb_asn_object::invalidate_value(invalidate_full);
}

qb_asn_object::qb_asn_object(const qb_asn_object&) : encoding(security_off) {
    throw qb_asn_unsupportederror(kFile, __LINE__, "Can't copy asn_objects");
}

qb_asn_object& qb_asn_object::operator=(const qb_asn_object&) {
    throw qb_asn_unsupportederror(kFile, __LINE__, "Can't assign asn_objects");
}

qb_asn_object::~qb_asn_object() {
    delete default_value;
    default_value = nullptr;
    set_type_name("Deleted");
}

void qb_asn_object::set_type_name(const char* name) {
    std::strncpy(type_name, name, 16);
    type_name[16] = '\0';
}

void qb_asn_object::check_valid(int) {}

void qb_asn_object::invalidate_encoding() const {
    encoding_valid = 0;
    if (parent != nullptr) parent->invalidate_encoding();
}

void qb_asn_object::invalidate_value(invalidate_t kind) {
    present = 0;
    invalidate_encoding();
    if (parent != nullptr && kind > invalidate_local) parent->check_valid(0);
}

void qb_asn_object::set_value_valid() {
    present = 1;
    if (parent != nullptr) parent->check_valid(0);
}

int qb_asn_object::check_type(unsigned int t, int cls) const { return t == tag && cls == asn_class; }

unsigned int qb_asn_object::set_default_value(qb_asn_object* d) {
    defaultable = 0;
    invalidate_encoding();
    delete default_value;
    default_value = d;
    if (d != nullptr) {
        d->set_parent(this);
        // A null default would leave nothing to fall back on: not defaultable.
        defaultable = 1;
    }
    return 0;
}

unsigned int qb_asn_object::get_encoding() const {
    if (encoding_valid) return 0;
    // INTEGER and OCTET STRING keep their value in the cache: a present such
    // object rebuilds it by keeping the octets it holds.
    if (!(value_in_cache && is_present())) encoding.clear();
    unsigned int rc;
    if (is_present())
        rc = encode_value(encoding);
    else if (default_value != nullptr)
        rc = default_value->get_encoding(encoding);
    else
        rc = kValueAbsent;  // absent without default: there are no content octets
    if (rc != 0) return rc;
    encoding_valid = 1;
    return 0;
}

unsigned int qb_asn_object::get_encoding(qb_buffer_t& out) const {
    unsigned int rc = get_encoding();
    if (rc != 0) return rc;
    return out.append(encoding);
}

unsigned int qb_asn_object::emptyi() { return 0; }

unsigned int qb_asn_object::get_child_count() const {
    throw "get_child_count() invoked on non-composite object";
}

int qb_asn_object::encoding_primitive_permitted() const { return primitive_permitted; }
int qb_asn_object::encoding_constructed_permitted() const { return constructed_permitted; }
int qb_asn_object::encoding_indefinite_permitted() const { return indefinite_permitted; }
int qb_asn_object::is_constructed() const { return constructed; }
int qb_asn_object::is_indefinite_length() const { return indefinite; }
int qb_asn_object::is_polymorphic() const { return 0; }
int qb_asn_object::should_generate_constructed() const { return generate_constructed; }

unsigned int qb_asn_object::set_class(int c) {
    asn_class = c;
    if (encoding_valid) invalidate_encoding();
    return 0;
}

unsigned int qb_asn_object::set_tag(unsigned int t) {
    tag = t;
    if (encoding_valid) invalidate_encoding();
    return 0;
}

unsigned int qb_asn_object::display(qb_buffer_t& out) const {
    if (!is_present() && !is_defaultable()) return kValueAbsent;
    if (is_present()) {
        out.append("OBJECT(tag=");
        append_unsigned(out, tag);
        out.append(", class=");
        out.append_int(asn_class);
        out.append(")");
        return 0;
    }
    if (default_value == nullptr) return kValueAbsent;
    out.append("Default:");
    return default_value->display(out);
}

unsigned int qb_asn_object::empty() {
    emptyi();
    invalidate_value(invalidate_full);
    check_valid(0);
    return 0;
}

unsigned int qb_asn_object::normalize() { return 0; }
int qb_asn_object::is_optional() const { return optional; }
int qb_asn_object::is_defaultable() const { return defaultable; }
int qb_asn_object::is_encoding_valid() const { return encoding_valid; }
qb_asn_object* qb_asn_object::get_default_value() const { return default_value; }

int qb_asn_object::is_default_value() const {
    if (!is_defaultable()) return 0;
    if (!is_present()) return 1;
    if (get_encoding() != 0 || default_value == nullptr) return 0;
    qb_buffer_t scratch(security_off);
    if (default_value->get_encoding(scratch) != 0) return 0;
    return scratch == encoding ? 1 : 0;
}

int qb_asn_object::is_valid(int) const { return is_present() || is_defaultable() || is_optional(); }
int qb_asn_object::is_present() const { return present; }

void qb_asn_object::set_secure(security_t s) {
    security = s;
    encoding.security = s;
}

namespace {

// What read_header found: a status, or (status 0) either an absent element or
// the content length of a frame ready to decode.
struct header_result {
    unsigned int status;
    bool absent;
    unsigned int length;
};

// length_exceeds_32_bits: true when the length octets at the cursor are a
// long form whose value does not fit 32 bits (a non-zero octet before the
// last four). No input the library can hold is that long, so the frame is
// refused as exhausted input instead of being read with the low 32 bits of
// its length, which would make this reader and any other parser see
// different messages. Leading zero octets are valid BER and stay accepted.
// A length cut short is left to qbAsnGetLength, which refuses it with the
// same status.
bool length_exceeds_32_bits(const qb_r_buffer_t& r) {
    return qb::direct::length_beyond_32_bits(qb::direct::view{r.cursor, r.remaining});
}

// Steps of asnread before the content: identifier, form, length. Kept out of
// asnread (and out of line) so the frames that recurse through nested content
// stay small. On every failure the view is back where it was.
[[gnu::noinline]] header_result read_header(qb_asn_object& o, qb_r_buffer_t& r) {
    unsigned char* const cursor0 = r.cursor;
    const unsigned int remaining0 = r.remaining;
    const bool may_be_absent = o.is_optional() || o.is_defaultable();
    auto fail = [&](unsigned int rc, bool absent_ok) {
        r.cursor = cursor0;
        r.remaining = remaining0;
        if (absent_ok && may_be_absent) return header_result{0, true, 0};
        return header_result{rc, false, 0};
    };
    unsigned int t = 0;
    int cons = 0;
    int cls = 0;
    unsigned int rc = read_identifier(r, t, cons, cls);
    if (rc != 0) return fail(rc, true);
    if (!o.check_type(t, cls)) return fail(kTagMismatch, true);
    o.set_tag(t);  // a no-op for ordinary objects; how a CHOICE or ANY takes on what it read
    o.set_class(cls);
    o.constructed = cons;
    if (cons && !o.encoding_constructed_permitted()) return fail(kConstructedForbidden, false);
    if (!cons && !o.encoding_primitive_permitted()) return fail(kPrimitiveForbidden, false);
    if (length_exceeds_32_bits(r)) return fail(kInputExhausted, false);
    unsigned int definite = 0;
    unsigned int length = 0;
    rc = qbAsnGetLength(&r.cursor, &r.remaining, &definite, &length);
    if (rc != 0) return fail(rc, false);
    o.indefinite = definite ? 0 : 1;
    if (o.indefinite && !o.encoding_indefinite_permitted()) return fail(kIndefiniteForbidden, false);
    if (length > r.remaining) return fail(kInputExhausted, false);
    return header_result{0, false, length};
}

}  // namespace

unsigned int qb_asn_object::asnread(qb_r_buffer_t& r) {
    unsigned char* const cursor0 = r.cursor;
    const unsigned int remaining0 = r.remaining;
    invalidate_value(invalidate_full);
    indefinite = 0;
    constructed = 0;
    if (preread != nullptr) preread(this, r);

    unsigned int result;
    const header_result header = read_header(*this, r);
    if (header.status != 0 || header.absent) {
        result = header.status;
    } else if (t_read_depth >= QBASN_MAX_NESTING) {
        // Bounded nesting: a frame deeper than QBASN_MAX_NESTING is malformed.
        invalidate_value(invalidate_full);
        r.cursor = cursor0;
        r.remaining = remaining0;
        result = kMalformed;
    } else {
        {
            DepthGuard depth(t_read_depth);
            result = decode_value(r, header.length);
        }
        if (result != 0) {
            invalidate_value(invalidate_full);
            r.cursor = cursor0;
            r.remaining = remaining0;
        } else if (indefinite && !check_EOC(r)) {
            // Deliberate: a missing end-of-contents leaves r past the content.
            invalidate_value(invalidate_full);
            result = kMalformed;
        } else {
            if (indefinite) advance(r, 2);
            set_value_valid();
        }
    }
    if (postread != nullptr) postread(this, r, static_cast<int>(result));
    return result;
}

unsigned int qb_asn_object::write_type(qb_buffer_t& out) const {
    unsigned char first = static_cast<unsigned char>((asn_class & 3) << 6);
    if (should_generate_constructed()) first |= kConstructedBit;
    if (tag <= 30) {
        out.append(static_cast<unsigned char>(first | tag));
        return 0;
    }
    unsigned char octets[6];
    unsigned int n = 0;
    octets[n++] = first | kHighTagNumber;
    int groups = tag < (1u << 7) ? 1 : tag < (1u << 14) ? 2 : tag < (1u << 21) ? 3 : tag < (1u << 28) ? 4 : 5;
    for (int g = groups - 1; g >= 0; --g) {
        unsigned char o = static_cast<unsigned char>((tag >> (7 * g)) & 0x7F);
        if (g != 0) o |= 0x80;
        octets[n++] = o;
    }
    out.append(octets, n);
    return 0;
}

unsigned int qb_asn_object::write_length(qb_buffer_t& out) const {
    if (!is_encoding_valid()) return kMalformed;
    const unsigned int len = encoding.length();
    unsigned char octets[5];
    unsigned int n;
    if (len <= 127) {
        octets[0] = static_cast<unsigned char>(len);
        n = 1;
    } else {
        unsigned int k = len <= 0xFF ? 1 : len <= 0xFFFF ? 2 : len <= 0xFFFFFF ? 3 : 4;
        octets[0] = static_cast<unsigned char>(0x80 | k);
        for (unsigned int i = 0; i < k; ++i)
            octets[1 + i] = static_cast<unsigned char>(len >> (8 * (k - 1 - i)));
        n = 1 + k;
    }
    out.append(octets, n);
    return 0;
}

unsigned int qb_asn_object::asnwrite(qb_buffer_t& out) const {
    if (is_optional() && !is_present()) return 0;
    if (is_defaultable() && is_default_value()) return 0;
    if (!is_present() && !is_defaultable()) return kValueAbsent;
    WriteGuard guard(out);
    unsigned int rc = write_type(out);
    if (rc == 0) rc = get_encoding();
    if (rc == 0) rc = write_length(out);
    if (rc == 0) rc = out.append(encoding);
    if (rc == 0) guard.commit();
    return rc;
}

bool qb_asn_object::operator==(const qb_asn_object& other) const {
    qb_buffer_t mine(security_off);
    qb_buffer_t theirs(security_off);
    (void)asnwrite(mine);  // write failures are not reported: what was written is compared
    (void)other.asnwrite(theirs);
    return mine == theirs;
}

unsigned int qb_asn_object::set_optional(int v) {
    optional = v;
    invalidate_encoding();
    return 0;
}

unsigned int qb_asn_object::set_empty_permitted(int) { return 0; }

int qb_asn_object::check_encode_flags(int e) const {
    if (e != is_encoding_valid()) return 0;
    return check_encode_flags();
}

int qb_asn_object::check_encode_flags() const { return 1; }

unsigned int qb_asn_object::display_state_flags(qb_buffer_t& out, int indent) const {
    for (int i = 0; i < indent; ++i) out.append(static_cast<unsigned char>(' '));
    out.append(type_name);
    out.append("(valid=");
    out.append(yn(is_valid(0)));
    out.append(", present=");
    out.append(yn(is_present()));
    out.append(", optional=");
    out.append(yn(is_optional()));
    out.append(", defaultable=");
    out.append(yn(is_defaultable()));
    out.append(", enc_valid=");
    out.append(yn(is_encoding_valid()));
    out.append(")\n");
    return 0;
}

qb_asn_primitive::~qb_asn_primitive() = default;

// ---- qb_asn_composite ----

qb_asn_composite::qb_asn_composite(security_t s)
    : qb_asn_object(s), empty_permitted(1), count(0), capacity(0), children(nullptr) {
    constructed = 1;
    generate_constructed = 1;
    constructed_permitted = 1;
    indefinite_permitted = 1;
    primitive_permitted = 0;
    security = s;
    // With no children yet and empty permitted, the composite is present.
    qb_asn_composite::check_valid(0);
}

qb_asn_composite::qb_asn_composite(unsigned int n, security_t s)
    : qb_asn_object(s), empty_permitted(1), count(0), capacity(0), children(nullptr) {
    constructed_permitted = 1;
    primitive_permitted = 0;
    security = s;
    if (n > 0) {
        children = static_cast<qb_asn_object**>(std::calloc(n, sizeof(qb_asn_object*)));
        if (children == nullptr)
            throw qb_asn_memexception(kFile, __LINE__, "Out of memory in asn_composite::asn_composite");
        capacity = n;
    }
    qb_asn_composite::check_valid(0);
}

qb_asn_composite::~qb_asn_composite() {
    std::free(children);
    children = nullptr;
}

void qb_asn_composite::check_valid(int arg) {
    unsigned int counted = 0;
    for (unsigned int i = 0; i < count; ++i) {
        qb_asn_object* c = children[i];
        if (c == nullptr) continue;
        if (!c->is_valid(arg)) {
            if (is_present()) invalidate_value(invalidate_upward);
            return;
        }
        if (c->is_present() || c->is_defaultable()) ++counted;
    }
    if (counted == 0 && !empty_permitted) {
        invalidate_value(invalidate_upward);
        return;
    }
    if (is_present() && (parent == nullptr || parent->is_present())) return;
    set_value_valid();
}

void qb_asn_composite::invalidate_value(invalidate_t kind) {
    if (kind != invalidate_upward) {
        for (unsigned int i = 0; i < count; ++i)
            if (children[i] != nullptr) children[i]->invalidate_value(invalidate_local);
    }
    qb_asn_object::invalidate_value(invalidate_upward);
}

unsigned int qb_asn_composite::emptyi() {
    for (unsigned int i = 0; i < count; ++i) {
        if (children[i] == nullptr) continue;
        unsigned int rc = children[i]->emptyi();
        if (rc != 0) return rc;
    }
    return 0;
}

unsigned int qb_asn_composite::get_child_count() const { return count; }

unsigned int qb_asn_composite::display(qb_buffer_t& out) const {
    out.append("COMPOSITE-OBJECT(tag=");
    append_unsigned(out, tag);
    out.append(", class=");
    out.append_int(asn_class);
    out.append(") {");
    for (unsigned int i = 0; i < count; ++i) {
        if (children[i] == nullptr) continue;
        unsigned int rc = children[i]->display(out);
        if (rc != 0) return rc;
    }
    return 0;
}

unsigned int qb_asn_composite::normalize() {
    for (unsigned int i = 0; i < count; ++i) {
        if (children[i] == nullptr) continue;
        unsigned int rc = children[i]->normalize();
        if (rc != 0) return rc;
    }
    return 0;
}

int qb_asn_composite::is_valid(int deep) const {
    if (deep) {
        for (unsigned int i = 0; i < count; ++i)
            if (children[i] != nullptr) children[i]->check_valid(deep);
        // Re-deriving presence changes state, though the question is asked of a const object.
        const_cast<qb_asn_composite*>(this)->check_valid(0);
    }
    return qb_asn_object::is_valid(deep);
}

unsigned int qb_asn_composite::set_empty_permitted(int v) {
    empty_permitted = v;
    check_valid(0);
    return 0;
}

int qb_asn_composite::get_empty_permitted() const { return empty_permitted; }

int qb_asn_composite::check_encode_flags(int e) const {
    if (e != is_encoding_valid()) return 0;
    return check_encode_flags();
}

int qb_asn_composite::check_encode_flags() const {
    if (!is_encoding_valid()) return 1;
    for (unsigned int i = 0; i < count; ++i) {
        const qb_asn_object* c = children[i];
        if (c == nullptr || (c->is_optional() && !c->is_present())) continue;
        if (!c->check_encode_flags(1)) return 0;
    }
    return 1;
}

unsigned int qb_asn_composite::display_state_flags(qb_buffer_t& out, int indent) const {
    qb_asn_object::display_state_flags(out, indent);
    for (unsigned int i = 0; i < count; ++i)
        if (children[i] != nullptr) children[i]->display_state_flags(out, indent + 2);
    return 0;
}

unsigned int qb_asn_composite::register_child(qb_asn_object* c) {
    if (c == nullptr) return kNoSuchElement;
    if (count == capacity) {
        unsigned int step;
        if (count == 0) {
            step = 32;
        } else {
            // Deliberate: steps of 512 grow with the count up to 8192 and fall back to 512 after.
            unsigned int k = count / 2048;
            if (k == 0 || k > 16) k = 1;
            step = k * 512;
        }
        const size_t slots = static_cast<size_t>(count) + step;
        auto* grown = static_cast<qb_asn_object**>(std::realloc(children, slots * sizeof(qb_asn_object*)));
        if (grown == nullptr)
            throw qb_asn_memexception(kFile, __LINE__, "Out of memory in asn_composite::register_child");
        std::memset(grown + count, 0, step * sizeof(qb_asn_object*));
        children = grown;
        capacity = count + step;
    }
    children[count++] = c;
    c->set_parent(this);
    if (security != security_off) c->set_secure(security);
    check_valid(0);
    return 0;
}

unsigned int qb_asn_composite::register_child_before(qb_asn_object* c) {
    if (c == nullptr) return kNoSuchElement;
    if (count != 0 && count < capacity) {
        std::memmove(children + 1, children, count * sizeof(qb_asn_object*));
        children[0] = c;
    } else {
        // Deliberate: the array grows by 512 and c overwrites slot 0 without
        // moving the others, so a full array loses its first child; the new
        // slots are zeroed, leaving the new last slot empty.
        const size_t slots = static_cast<size_t>(count) + 512;
        auto* grown = static_cast<qb_asn_object**>(std::realloc(children, slots * sizeof(qb_asn_object*)));
        if (grown == nullptr)
            throw qb_asn_memexception(kFile, __LINE__, "Out of memory in asn_composite::register_child");
        std::memset(grown + count, 0, 512 * sizeof(qb_asn_object*));
        children = grown;
        capacity = count + 512;
        children[0] = c;
    }
    count += 1;
    c->set_parent(this);
    if (security != security_off) c->set_secure(security);
    return 0;
}

// ---- qb_asn_sequence ----

qb_asn_sequence::qb_asn_sequence(security_t s) : qb_asn_composite(s) {
    tag = 16;
    asn_class = 0;
    set_type_name("SEQUENCE");
}

qb_asn_sequence::qb_asn_sequence(unsigned int n, security_t s) : qb_asn_composite(n, s) {
    tag = 16;
    asn_class = 0;
    set_type_name("SEQUENCE");
}

qb_asn_sequence::~qb_asn_sequence() = default;

unsigned int qb_asn_sequence::decode_value(qb_r_buffer_t& r, unsigned int length) {
    const bool definite = !is_indefinite_length();
    if (definite && length > r.remaining) return kInputExhausted;
    qb_r_buffer_t sub = r;
    if (definite) sub.remaining = length;
    for (unsigned int i = 0; i < count; ++i) {
        if (children[i] == nullptr) continue;
        unsigned int rc = children[i]->asnread(sub);
        if (rc != 0) return rc;
    }
    if (definite) {
        if (sub.remaining != 0) return kSurplusContent;
        r.cursor = sub.cursor;
        r.remaining -= length;
    } else {
        r.cursor = sub.cursor;
        r.remaining = sub.remaining;
    }
    return 0;
}

unsigned int qb_asn_sequence::encode_value(qb_buffer_t& out) const {
    for (unsigned int i = 0; i < count; ++i) {
        if (children[i] == nullptr) continue;
        unsigned int rc = children[i]->asnwrite(out);
        if (rc != 0) return rc;
    }
    return 0;
}

// ---- qb_asn_choice ----

qb_asn_choice::qb_asn_choice(security_t s) : qb_asn_composite(s), selected_index(-1) {
    set_type_name("CHOICE");
    // A choice starts absent: only a selected valid alternative makes it present.
    present = 0;
}

qb_asn_choice::~qb_asn_choice() = default;

unsigned int qb_asn_choice::decode_value(qb_r_buffer_t&, unsigned int) {
    throw qb_asn_unsupportederror(kFile, __LINE__, "Error: asn_choice::decode_value called");
}

unsigned int qb_asn_choice::encode_value(qb_buffer_t&) const {
    throw qb_asn_unsupportederror(kFile, __LINE__, "Error: asn_choice::encode_value called");
}

namespace {
// The selected alternative of a choice, or null when none is selected.
qb_asn_object* selected_alternative(const qb_asn_choice& c) {
    return c.selected_index >= 0 ? c.get_child(static_cast<unsigned int>(c.selected_index)) : nullptr;
}
}  // namespace

void qb_asn_choice::check_valid(int arg) {
    qb_asn_object* alt = selected_alternative(*this);
    if (alt == nullptr) return;
    if (alt->is_valid(arg)) {
        if (!is_present()) set_value_valid();
    } else if (is_present()) {
        invalidate_value(invalidate_upward);
    }
}

int qb_asn_choice::is_polymorphic() const { return 1; }

unsigned int qb_asn_choice::set_tag(unsigned int) { throw "Attempt to change tag of ASN.1 CHOICE object"; }

unsigned int qb_asn_choice::set_tag_unchecked(unsigned int t) { return qb_asn_object::set_tag(t); }

unsigned int qb_asn_choice::normalize() {
    qb_asn_object* alt = selected_alternative(*this);
    return alt != nullptr ? alt->normalize() : 0;
}

int qb_asn_choice::is_encoding_valid() const {
    const qb_asn_object* alt = selected_alternative(*this);
    return alt != nullptr ? alt->is_encoding_valid() : 0;
}

unsigned int qb_asn_choice::select(int i) {
    if (i < 0 || static_cast<unsigned int>(i) >= count) return kChoiceRange;
    if (i == selected_index) return 0;
    selected_index = i;
    invalidate_encoding();
    check_valid(1);
    return 0;
}

unsigned int qb_asn_choice::asnread(qb_r_buffer_t& r) {
    if (preread != nullptr) preread(this, r);
    selected_index = -1;
    invalidate_value(invalidate_full);
    unsigned int result = kTagMismatch;
    unsigned char* const cursor0 = r.cursor;
    const unsigned int remaining0 = r.remaining;
    for (unsigned int i = 0; i < count; ++i) {
        if (children[i] == nullptr) continue;
        // Every alternative reads from the same place, even one that failed on
        // a missing end-of-contents (the one failure that leaves the view moved).
        r.cursor = cursor0;
        r.remaining = remaining0;
        if (children[i]->asnread(r) == 0) {
            selected_index = static_cast<int>(i);
            set_value_valid();
            result = 0;
            break;
        }
    }
    if (result != 0) {
        r.cursor = cursor0;
        r.remaining = remaining0;
        if (is_optional() || is_defaultable()) result = 0;
    }
    if (postread != nullptr) postread(this, r, static_cast<int>(result));
    return result;
}

unsigned int qb_asn_choice::asnwrite(qb_buffer_t& out) const {
    if (is_optional() && !is_present()) return 0;
    if (is_defaultable() && is_default_value()) return 0;
    const qb_asn_object* alt = selected_alternative(*this);
    if (alt == nullptr) return kChoiceUnselected;
    return alt->asnwrite(out);
}

int qb_asn_choice::check_encode_flags(int e) const {
    if (e != is_encoding_valid()) return 0;
    return check_encode_flags();
}

int qb_asn_choice::check_encode_flags() const {
    if (!is_encoding_valid()) return 1;
    const qb_asn_object* alt = selected_alternative(*this);
    if (alt == nullptr) return 0;
    return alt->check_encode_flags(1) != 0;
}

unsigned int qb_asn_choice::display_state_flags(qb_buffer_t& out, int indent) const {
    qb_asn_object::display_state_flags(out, indent);
    for (unsigned int i = 0; i < count; ++i) {
        if (children[i] == nullptr) continue;
        if (static_cast<int>(i) == selected_index && indent >= 0) {
            for (int k = 0; k < indent + 1; ++k) out.append(static_cast<unsigned char>(' '));
            out.append("SELECTED:\n");
        }
        children[i]->display_state_flags(out, indent + 2);
    }
    return 0;
}

// ---- qb_asn_any ----

qb_asn_any::qb_asn_any(security_t s)
    : qb_asn_object(s), raw(0), raw_value(s), syntax(nullptr), preparse(nullptr), preencode(nullptr) {
    set_type_name("ANY");
    primitive_permitted = 1;
    constructed_permitted = 1;
    indefinite_permitted = 0;
}

qb_asn_any::~qb_asn_any() = default;

unsigned int qb_asn_any::decode_value(qb_r_buffer_t& r, unsigned int length) {
    if (syntax != nullptr) return kAnyHasSyntax;
    if (length > r.remaining) return kInputExhausted;
    invalidate_value(invalidate_full);
    raw_value.clear();
    raw_value.append(r.cursor, length);
    advance(r, length);
    return 0;
}

unsigned int qb_asn_any::encode_value(qb_buffer_t& out) const {
    if (syntax != nullptr) return kAnyHasSyntax;
    return out.append(raw_value);
}

void qb_asn_any::check_valid(int) {
    if (syntax == nullptr) return;
    // Deliberate: the sense of both tests is the opposite of the choice's rule.
    if (syntax->is_valid(0)) {
        if (is_present()) invalidate_value(invalidate_full);
    } else if (!is_present()) {
        set_value_valid();
    }
}

void qb_asn_any::invalidate_value(invalidate_t kind) {
    raw = 0;
    qb_asn_object::invalidate_value(kind);
}

int qb_asn_any::check_type(unsigned int, int) const { return 1; }

void qb_asn_any::set_secure(security_t s) {
    qb_asn_object::set_secure(s);
    raw_value.security = s;
    if (security == security_on && syntax != nullptr) syntax->set_secure(security_on);
}

unsigned int qb_asn_any::set_syntax(qb_asn_object* obj) {
    if (obj == nullptr) return kNoSuchElement;
    if (syntax != nullptr) {
        syntax->set_parent(nullptr);
        syntax->invalidate_value(invalidate_full);
    }
    syntax = obj;
    obj->set_parent(this);
    check_valid(0);
    if (security == security_on) obj->set_secure(security_on);
    return 0;
}

unsigned int qb_asn_any::get_value(unsigned char*& p, unsigned int& n) const {
    if (syntax != nullptr) return kAnyHasSyntax;
    if (!is_present() && !is_defaultable()) return kValueAbsent;
    p = raw_value.data;
    n = raw_value.length();
    return 0;
}

unsigned int qb_asn_any::set_value(const unsigned char* p, unsigned int n) {
    if (syntax != nullptr) return kAnyHasSyntax;
    if (p == nullptr && n != 0) return kNoSuchElement;
    invalidate_encoding();
    raw_value.clear();
    raw_value.append(p, n);
    set_value_valid();
    return 0;
}

unsigned int qb_asn_any::asnread(qb_r_buffer_t& r) {
    if (preread != nullptr) preread(this, r);
    if (preparse != nullptr) {
        const int rc = preparse(this);
        if (rc != 0) return static_cast<unsigned int>(rc);
    }
    unsigned int result;
    if (syntax != nullptr) {
        result = syntax->asnread(r);
    } else {
        // Deliberate: the base reader calls the preread and postread hooks again.
        result = qb_asn_object::asnread(r);
        if (result == 0) generate_constructed = constructed;  // written back in the form read
    }
    if (postread != nullptr) postread(this, r, static_cast<int>(result));
    return result;
}

unsigned int qb_asn_any::asnwrite(qb_buffer_t& out) const {
    if (preencode != nullptr) {
        const int rc = preencode(const_cast<qb_asn_any*>(this));
        if (rc != 0) return static_cast<unsigned int>(rc);
    }
    if (syntax != nullptr) return syntax->asnwrite(out);
    return qb_asn_object::asnwrite(out);
}

// ---- qb_asn_nothing ----

qb_asn_nothing::qb_asn_nothing(security_t s) : qb_asn_primitive(s) { set_type_name("NOTHING"); }
qb_asn_nothing::~qb_asn_nothing() = default;
unsigned int qb_asn_nothing::decode_value(qb_r_buffer_t&, unsigned int) { return 0; }
unsigned int qb_asn_nothing::encode_value(qb_buffer_t&) const { return 0; }
int qb_asn_nothing::is_valid(int) const { return 1; }
int qb_asn_nothing::is_present() const { return 1; }
unsigned int qb_asn_nothing::asnread(qb_r_buffer_t&) { return 0; }
unsigned int qb_asn_nothing::asnwrite(qb_buffer_t&) const { return 0; }

// ---- qb_asn_sequenceof<T> support ----

void qb::detail::throw_sequenceof_oom(int line) {
    throw qb_asn_memexception(kFile, line, "Out of memory in asn_sequenceof:decode_value");
}

// ---- qb_asn_integer ----

qb_asn_integer::qb_asn_integer(security_t s)
    : qb_asn_primitive(s), value(0), aux(s), secure(s), int_valid(0) {
    primitive_permitted = 1;
    constructed_permitted = 0;
    indefinite_permitted = 0;
    value_in_cache = 1;
    set_type_name("INTEGER");
    tag = 2;
    asn_class = 0;
}

qb_asn_integer::~qb_asn_integer() { value = 0; }

unsigned int qb_asn_integer::decode_value(qb_r_buffer_t& r, unsigned int length) {
    if (length > r.remaining) return kInputExhausted;
    encoding.clear();
    int_valid = 0;
    encoding.append(r.cursor, length);
    advance(r, length);
    update_int_val();
    encoding_valid = 1;
    set_value_valid();
    return 0;
}

unsigned int qb_asn_integer::encode_value(qb_buffer_t&) const { return 0; }

unsigned int qb_asn_integer::set_default_value(qb_asn_object* d) {
    return qb_asn_object::set_default_value(d);
}

void qb_asn_integer::set_secure(security_t s) {
    secure = s;
    aux.security = s;
    qb_asn_object::set_secure(s);
}

unsigned int qb_asn_integer::set_value(long v) {
    invalidate_encoding();  // every cached encoding above this one is stale now
    const uint32_t w = static_cast<uint32_t>(v);  // 32-bit value: the low 32 bits
    value = static_cast<int32_t>(w);
    encoding.clear();
    int_valid = 1;
    unsigned char octets[5];
    const unsigned int n = qb::direct::integer_octets(w, octets);
    encoding.append(octets, n);
    encoding_valid = 1;
    set_value_valid();
    return 0;
}

unsigned int qb_asn_integer::set_value(const unsigned char* bytes, unsigned int len) {
    if (bytes == nullptr && len != 0) return kNoSuchElement;
    invalidate_encoding();
    encoding.clear();
    value = 0;
    encoding.append(bytes, len);
    update_int_val();
    encoding_valid = 1;
    set_value_valid();
    return 0;
}

unsigned int qb_asn_integer::get_value(long& out) const {
    if (!is_present()) {
        if (!is_defaultable()) return kValueAbsent;
        const auto* d = dynamic_cast<const qb_asn_integer*>(default_value);
        return d != nullptr ? d->get_value(out) : kValueAbsent;
    }
    if (!int_valid) return kTooLong;
    out = value;
    return 0;
}

unsigned int qb_asn_integer::get_value(unsigned char*& bytes, unsigned int& len) const {
    if (!is_present()) {
        if (!is_defaultable()) return kValueAbsent;
        const auto* d = dynamic_cast<const qb_asn_integer*>(default_value);
        return d != nullptr ? d->get_value(bytes, len) : kValueAbsent;
    }
    bytes = encoding.data;
    len = encoding.length();
    return 0;
}

unsigned int qb_asn_integer::set_default_value(long v) {
    // Held until installed, so a failing set_value below cannot leak it.
    std::unique_ptr<qb_asn_integer> d(new (std::nothrow) qb_asn_integer(security_off));
    if (d == nullptr) throw qb_asn_memexception(kFile, __LINE__, "ASN: Out of memory");
    d->set_tag(tag);
    d->set_class(asn_class);
    d->set_value(v);
    return qb_asn_object::set_default_value(d.release());
}

unsigned int qb_asn_integer::set_default_value(const unsigned char* bytes, unsigned int len) {
    // Held until installed, so a failing set_value below cannot leak it.
    std::unique_ptr<qb_asn_integer> d(new (std::nothrow) qb_asn_integer(security_off));
    if (d == nullptr) throw qb_asn_memexception(kFile, __LINE__, "ASN: Out of memory");
    d->set_tag(tag);
    d->set_class(asn_class);
    d->set_value(bytes, len);
    return qb_asn_object::set_default_value(d.release());
}

void qb_asn_integer::update_int_val() {
    bool valid = false;
    const int32_t v = qb::direct::integer_value(encoding.data, encoding.length(), valid);
    int_valid = valid ? 1 : 0;
    if (valid) value = v;
}

// ---- qb_asn_boolean ----

qb_asn_boolean::qb_asn_boolean(security_t s) : qb_asn_primitive(s), value(0) {
    primitive_permitted = 1;
    set_type_name("BOOLEAN");
    tag = 1;
    asn_class = 0;
}

qb_asn_boolean::~qb_asn_boolean() = default;

unsigned int qb_asn_boolean::decode_value(qb_r_buffer_t& r, unsigned int length) {
    invalidate_value(invalidate_full);
    if (length != 1) return kMalformed;
    if (r.remaining < 1) return kInputExhausted;
    value = r.cursor[0] != 0 ? 1 : 0;
    advance(r, 1);
    set_value_valid();
    return 0;
}

unsigned int qb_asn_boolean::encode_value(qb_buffer_t& out) const {
    return out.append(static_cast<unsigned char>(value ? 0xFF : 0x00));
}

unsigned int qb_asn_boolean::set_default_value(qb_asn_object* d) {
    return qb_asn_object::set_default_value(d);
}

unsigned int qb_asn_boolean::set_value(int v) {
    invalidate_encoding();
    value = v;
    set_value_valid();
    return 0;
}

unsigned int qb_asn_boolean::get_value(int& out) const {
    if (!is_present()) {
        if (!is_defaultable()) return kValueAbsent;
        const auto* d = dynamic_cast<const qb_asn_boolean*>(default_value);
        return d != nullptr ? d->get_value(out) : kValueAbsent;
    }
    out = value;
    return 0;
}

unsigned int qb_asn_boolean::set_default_value(int v) {
    // Held until installed, so a failing set_value below cannot leak it.
    std::unique_ptr<qb_asn_boolean> d(new (std::nothrow) qb_asn_boolean(security_off));
    if (d == nullptr) throw qb_asn_memexception(kFile, __LINE__, "ASN: Out of memory");
    d->set_tag(tag);
    d->set_class(asn_class);
    d->set_value(v);
    return qb_asn_object::set_default_value(d.release());
}

// ---- qb_asn_null ----

qb_asn_null::qb_asn_null(security_t s) : qb_asn_primitive(s) {
    primitive_permitted = 1;
    set_type_name("NULL");
    tag = 5;
    asn_class = 0;
}

qb_asn_null::~qb_asn_null() = default;

unsigned int qb_asn_null::decode_value(qb_r_buffer_t&, unsigned int length) {
    return length == 0 ? 0 : kMalformed;
}

unsigned int qb_asn_null::encode_value(qb_buffer_t&) const { return 0; }
int qb_asn_null::is_valid(int) const { return 1; }
int qb_asn_null::is_present() const { return 1; }

// ---- qb_asn_octetstring ----

qb_asn_octetstring::qb_asn_octetstring(security_t s) : qb_asn_primitive(s), aux(s), secure(s) {
    primitive_permitted = 1;
    value_in_cache = 1;
    set_type_name("OCTETSTRING");
    tag = 4;
    asn_class = 0;
}

qb_asn_octetstring::~qb_asn_octetstring() = default;

unsigned int qb_asn_octetstring::decode_value(qb_r_buffer_t& r, unsigned int length) {
    const bool definite = !is_indefinite_length();
    if (definite && length > r.remaining) return kInputExhausted;
    encoding.clear();
    if (!is_constructed()) {
        encoding.append(r.cursor, length);
        advance(r, length);
    } else {
        // Segments, each a full OCTET STRING frame (possibly constructed itself).
        // The segments of a constructed segment are followed, but only to
        // QBASN_MAX_SEGMENT_NESTING constructed levels: each level holds a
        // whole octet-string object on the stack, so unbounded segment
        // nesting would let a few hundred input octets exhaust a small
        // thread stack.
        if (t_segment_depth >= QBASN_MAX_SEGMENT_NESTING) return kMalformed;
        DepthGuard segment_level(t_segment_depth);
        qb_asn_octetstring inner(secure);
        inner.constructed_permitted = 1;
        inner.indefinite_permitted = 1;
        qb_r_buffer_t reader = r;
        if (definite) reader.remaining = length;
        for (;;) {
            if (definite ? reader.remaining == 0 : check_EOC(reader)) break;
            unsigned int rc = inner.asnread(reader);
            if (rc != 0) return rc;
            unsigned char* p = nullptr;
            unsigned int n = 0;
            (void)inner.get_value(p, n);
            encoding.append(p, n);
        }
        if (definite) {
            advance(r, length);
        } else {
            r.cursor = reader.cursor;
            r.remaining = reader.remaining;
        }
    }
    // A terminating zero stays in memory just past the value, uncounted.
    const unsigned int used = encoding.length();
    encoding.append(static_cast<unsigned char>(0));
    encoding.truncate(used);
    set_value_valid();
    return 0;
}

unsigned int qb_asn_octetstring::encode_value(qb_buffer_t&) const { return 0; }

unsigned int qb_asn_octetstring::set_default_value(qb_asn_object* d) {
    return qb_asn_object::set_default_value(d);
}

void qb_asn_octetstring::set_secure(security_t s) {
    secure = s;
    aux.security = s;
    qb_asn_object::set_secure(s);
}

unsigned int qb_asn_octetstring::set_value(const unsigned char* p, unsigned int len) {
    if (p == nullptr && len != 0) return kNoSuchElement;
    invalidate_encoding();
    encoding.clear();
    encoding.append(p, len);
    encoding_valid = 1;
    set_value_valid();
    return 0;
}

unsigned int qb_asn_octetstring::get_value(unsigned char*& p, unsigned int& len) const {
    if (!is_present()) {
        if (!is_defaultable()) return kValueAbsent;
        const auto* d = dynamic_cast<const qb_asn_octetstring*>(default_value);
        return d != nullptr ? d->get_value(p, len) : kValueAbsent;
    }
    p = encoding.data;
    len = encoding.length();
    return 0;
}

unsigned int qb_asn_octetstring::set_default_value(const unsigned char* p, unsigned int len) {
    // Held until installed, so a failing set_value below cannot leak it.
    std::unique_ptr<qb_asn_octetstring> d(new (std::nothrow) qb_asn_octetstring(security_off));
    if (d == nullptr) throw qb_asn_memexception(kFile, __LINE__, "ASN: Out of memory");
    d->set_tag(tag);
    d->set_class(asn_class);
    d->set_value(p, len);
    return qb_asn_object::set_default_value(d.release());
}

// ---- qb_asn_bitstring ----

namespace {

// Clears the u lowest bits of an octet (u = 1..7); other u leave it alone.
unsigned char clear_low_bits(unsigned char o, unsigned int u) {
    return (u >= 1 && u <= 7) ? static_cast<unsigned char>(o & (0xFFu << u)) : o;
}

}  // namespace

qb_asn_bitstring::qb_asn_bitstring(security_t s)
    : qb_asn_primitive(s), bits(s), secure(s), last_bits(0) {
    primitive_permitted = 1;
    set_type_name("BITSTRING");
    tag = 3;
    asn_class = 0;
}

qb_asn_bitstring::~qb_asn_bitstring() = default;

unsigned int qb_asn_bitstring::set_value(const unsigned char* p, unsigned int nbits) {
    if (p == nullptr && nbits != 0) return kNoSuchElement;
    invalidate_encoding();
    bits.clear();
    const unsigned int whole = nbits / 8;
    const unsigned int rest = nbits % 8;
    // Deliberate: last_bits counts the significant bits of the last octet.
    last_bits = static_cast<unsigned char>(rest);
    bits.append(p, whole);
    if (rest != 0) bits.append(static_cast<unsigned char>(p[whole] & (0xFF00u >> rest)));
    set_value_valid();
    return 0;
}

unsigned int qb_asn_bitstring::get_value(unsigned char*& p, unsigned int& nbits) const {
    if (!is_present()) {
        if (!is_defaultable()) return kValueAbsent;
        const auto* d = dynamic_cast<const qb_asn_bitstring*>(default_value);
        return d != nullptr ? d->get_value(p, nbits) : kValueAbsent;
    }
    const unsigned int octets = bits.length();
    p = bits.data;
    if (last_bits == 0)
        nbits = octets * 8;
    else if (octets == 0)
        nbits = 0;  // no octet to hold the partial bits: nothing to count
    else
        nbits = octets * 8 + last_bits - 8;
    return 0;
}

unsigned int qb_asn_bitstring::encode_value(qb_buffer_t& out) const {
    out.append(last_bits);
    return out.append(bits);
}

unsigned int qb_asn_bitstring::decode_value(qb_r_buffer_t& r, unsigned int length) {
    invalidate_value(invalidate_full);
    bits.clear();
    if (!is_constructed()) {
        if (length == 0) return kBadBitString;
        if (length > r.remaining) return kInputExhausted;
        last_bits = r.cursor[0];
        if (last_bits > 7) return kBadBitString;
        bits.append(r.cursor + 1, length - 1);
        advance(r, length);
    } else {
        unsigned int rc = decode_segments(r, length);
        if (rc != 0) return rc;
    }
    // Deliberate: on reading, the first content octet is taken as the count of unused bits.
    if (bits.length() != 0)
        bits.data[bits.length() - 1] = clear_low_bits(bits.data[bits.length() - 1], last_bits);
    set_value_valid();
    return 0;
}

unsigned int qb_asn_bitstring::decode_segments(qb_r_buffer_t& r, unsigned int length) {
    const bool definite = !is_indefinite_length();
    if (definite && length > r.remaining) return kInputExhausted;
    qb_asn_bitstring inner(secure);
    qb_r_buffer_t reader = r;
    if (definite) reader.remaining = length;
    bool partial = false;
    unsigned int segments = 0;
    for (;;) {
        if (definite ? reader.remaining == 0 : check_EOC(reader)) break;
        if (partial) return kBadBitSegment;
        unsigned int rc = inner.asnread(reader);
        if (rc != 0) return rc;
        unsigned char* p = nullptr;
        unsigned int b = 0;
        (void)inner.get_value(p, b);
        last_bits = static_cast<unsigned char>((8 - b % 8) % 8);
        partial = last_bits != 0;
        bits.append(p, (b + 7) / 8);
        ++segments;
    }
    if (definite) {
        advance(r, length);
    } else {
        r.cursor = reader.cursor;
        r.remaining = reader.remaining;
    }
    return segments == 0 ? kBadBitString : 0;
}

unsigned int qb_asn_bitstring::set_default_value(qb_asn_object* d) {
    return qb_asn_object::set_default_value(d);
}

unsigned int qb_asn_bitstring::set_default_value(const unsigned char* p, unsigned int nbits) {
    // Held until installed, so a failing set_value below cannot leak it.
    std::unique_ptr<qb_asn_bitstring> d(new (std::nothrow) qb_asn_bitstring(security_off));
    if (d == nullptr) throw qb_asn_memexception(kFile, __LINE__, "ASN: Out of memory");
    d->set_tag(tag);
    d->set_class(asn_class);
    d->set_value(p, nbits);
    return qb_asn_object::set_default_value(d.release());
}

void qb_asn_bitstring::set_secure(security_t s) {
    secure = s;
    bits.security = s;
    qb_asn_object::set_secure(s);
}

// ---- qb_asn_namedbits ----

namespace {
// Bit n of a bit string's octets (0 when octet n / 8 lies beyond them).
int bit_of(const qb_buffer_t& octets, unsigned int n) {
    const unsigned int octet = n / 8;
    return octet < octets.length() ? ((octets.data[octet] & (0x80u >> (n % 8))) != 0) : 0;
}
}  // namespace

qb_asn_namedbits::qb_asn_namedbits(security_t s) : qb_asn_bitstring(s) {}
qb_asn_namedbits::~qb_asn_namedbits() = default;

unsigned int qb_asn_namedbits::set_bit(unsigned int n, int on) {
    if (!is_present()) bits.clear();
    invalidate_value(invalidate_full);
    const unsigned int octet = n / 8;
    const unsigned char mask = static_cast<unsigned char>(0x80u >> (n % 8));
    const unsigned char unused = static_cast<unsigned char>(7 - n % 8);
    if (on) {
        if (bits.length() < octet + 1) {
            while (bits.length() < octet + 1) bits.append(static_cast<unsigned char>(0));
            last_bits = unused;
        } else if (last_bits > unused) {
            last_bits = unused;
        }
        bits.data[octet] |= mask;
    } else if (octet < bits.length()) {
        bits.data[octet] &= static_cast<unsigned char>(~mask);
    }
    set_value_valid();
    return 0;
}

unsigned int qb_asn_namedbits::get_bit(unsigned int n, int& on) const {
    if (!is_present()) {
        if (!is_defaultable()) return kValueAbsent;
        if (const auto* named = dynamic_cast<const qb_asn_namedbits*>(default_value))
            return named->get_bit(n, on);
        // A default built by set_default_value(bytes, nbits) is a plain bit string.
        const auto* plain = dynamic_cast<const qb_asn_bitstring*>(default_value);
        if (plain == nullptr) return kValueAbsent;
        on = bit_of(plain->bits, n);
        return 0;
    }
    on = bit_of(bits, n);
    return 0;
}

unsigned int qb_asn_namedbits::asnwrite(qb_buffer_t& out) const {
    if (is_optional() && !is_present()) return 0;
    if (is_defaultable() && is_default_value()) return 0;
    if (!is_present() && !is_defaultable()) return kValueAbsent;
    const unsigned int before_len = bits.length();
    const unsigned char before_last = last_bits;
    while (bits.length() != 0 && bits.data[bits.length() - 1] == 0) {
        bits.truncate(bits.length() - 1);
        last_bits = 0;
    }
    if (bits.length() != 0) {
        const unsigned char o = bits.data[bits.length() - 1];
        // Deliberate: here last_bits counts unused trailing bits, and 2 is never produced.
        if ((o & 0x7F) == 0)
            last_bits = 7;
        else if ((o & 0x3F) == 0)
            last_bits = 6;
        else if ((o & 0x1F) == 0)
            last_bits = 5;
        else if ((o & 0x0F) == 0)
            last_bits = 4;
        else if ((o & 0x07) == 0)
            last_bits = 3;
        else if ((o & 0x01) == 0)
            last_bits = 1;
    }
    if (bits.length() != before_len || last_bits != before_last) invalidate_encoding();
    return qb_asn_object::asnwrite(out);
}

// ---- qb_asnbase ----

qb_asnbase::qb_asnbase(security_t s) : qb_asn_sequence(s) {}
qb_asnbase::~qb_asnbase() = default;

unsigned int qb_asnbase::set_default_value(qb_asn_object* d) {
    return qb_asn_object::set_default_value(d);
}

unsigned int qb_asnbase::set_default_value() {
    // Held until installed, so a failing set_value below cannot leak it.
    std::unique_ptr<qb_asnbase> d(new (std::nothrow) qb_asnbase(security_off));
    if (d == nullptr) throw qb_asn_memexception(kFile, __LINE__, "ASN: Out of memory");
    return qb_asn_object::set_default_value(d.release());
}

namespace {
constexpr unsigned char kEnvelopeHeaderLength = 0x04;
constexpr unsigned char kSignature0 = 0xAC;
constexpr unsigned char kSignature1 = 0xDC;

bool has_signature(const qb_asn_buffer_t& in) {
    return in.length > 4 && in.data != nullptr && in.data[2] == kSignature0 && in.data[3] == kSignature1;
}
}  // namespace

unsigned int qb_asnbase::saveEncoding(qb_asn_object& obj, int version, qb_asn_buffer_t& out) {
    qb_buffer_t buf(security_off);
    const unsigned char header[4] = {kEnvelopeHeaderLength, static_cast<unsigned char>(version & 0xFF),
                                     kSignature0, kSignature1};
    buf.append(header, 4);
    unsigned int rc = obj.asnwrite(buf);
    if (rc != 0) return rc;
    unsigned char* p = nullptr;
    unsigned int n = 0;
    buf.detach(p, n);  // standard hooks: the block is released with free
    out.length = n;
    out.data = p;
    return 0;
}

unsigned int qb_asnbase::loadObject(qb_asn_object& obj, int version, qb_asn_buffer_t& in) {
    qb::direct::view payload{};
    if (unsigned int rc = qb::direct::envelope_payload(in, version, payload); rc != 0) return rc;
    qb_r_buffer_t r(const_cast<unsigned char*>(payload.p), payload.n);  // only read
    return obj.asnread(r);
}

unsigned int qb_asnbase::get_encoded_version(const qb_asn_buffer_t& in, unsigned int& version) {
    if (has_signature(in) && in.data[1] != 0) {
        version = 0;  // Deliberate: 0 on success, not the version octet
        return 0;
    }
    version = 1;  // Deliberate: 1 on failure
    return kNoEnvelope;
}

// ---- qb_v37_asnbase ----

qb_v37_asnbase::qb_v37_asnbase(security_t s) : qb_asnbase(s), version(s) {
    register_child(&version);
    version.set_value(1L);
}

qb_v37_asnbase::~qb_v37_asnbase() { version.value = 0; }

// ---- qbasn_integer ----

qbasn_integer::~qbasn_integer() = default;

unsigned int qbasn_integer::get_value(unsigned long& out) const {
    out = static_cast<uint32_t>(qb_intvalue(*this));  // a 32-bit unsigned pattern
    return 0;
}

unsigned int qbasn_integer::get_value(long& out) const {
    out = qb_intvalue(*this);
    return 0;
}

unsigned int qbasn_integer::get_value(unsigned short& out) const {
    out = static_cast<unsigned short>(qb_intvalue(*this));
    return 0;
}

unsigned int qbasn_integer::get_value(unsigned char& out) const {
    out = static_cast<unsigned char>(qb_intvalue(*this));
    return 0;
}

unsigned int qbasn_integer::set_default_value(qb_asn_object* d) {
    return qb_asn_integer::set_default_value(d);
}

unsigned int qbasn_integer::set_default_value() { return qb_asn_integer::set_default_value(0L); }

// ---- qbasn_octetstring ----

qbasn_octetstring::~qbasn_octetstring() = default;

unsigned int qbasn_octetstring::set_value(const unsigned char* s) { return qb_set_strvalue(*this, s); }
unsigned int qbasn_octetstring::set_value(const char* s) { return qb_set_strvalue(*this, s); }

unsigned int qbasn_octetstring::set_value(unsigned char c) {
    const unsigned char text[2] = {c, 0};
    return qb_set_strvalue(*this, text);
}

unsigned int qbasn_octetstring::get_value(unsigned char*& s) const { return qb_get_strvalue(*this, s); }
unsigned int qbasn_octetstring::get_value(char*& s) const { return qb_get_strvalue(*this, s); }

unsigned int qbasn_octetstring::get_value(unsigned char*& data, unsigned long& len) const {
    unsigned char* p = nullptr;
    unsigned int n = 0;
    (void)qb_asn_octetstring::get_value(p, n);
    // At least one octet, so that an empty value cannot be mistaken for a failure.
    auto* copy = static_cast<unsigned char*>(std::malloc(n != 0 ? n : 1));
    if (copy == nullptr) throw qb_asn_memexception(kFile, __LINE__, "ASN: Out of memory");
    if (n != 0) std::memcpy(copy, p, n);
    data = copy;
    len = n;
    return 0;
}

unsigned int qbasn_octetstring::get_value(unsigned long n, unsigned char* dest) const {
    unsigned char* p = nullptr;
    unsigned int stored = 0;
    (void)qb_asn_octetstring::get_value(p, stored);
    // Never read past the stored value: copy what is there, zero the rest.
    const unsigned long copied = n < stored ? n : stored;
    if (copied != 0) std::memcpy(dest, p, copied);
    if (n > copied) std::memset(dest + copied, 0, n - copied);
    return 0;
}

unsigned int qbasn_octetstring::get_value(unsigned char& c) const {
    unsigned char* p = nullptr;
    unsigned int n = 0;
    c = 0;
    (void)qb_asn_octetstring::get_value(p, n);
    if (n >= 1) c = p[0];
    return 0;
}

unsigned int qbasn_octetstring::set_default_value(qb_asn_object* d) {
    return qb_asn_octetstring::set_default_value(d);
}

unsigned int qbasn_octetstring::set_default_value() {
    const unsigned char empty_text[1] = {0};
    return qb_asn_octetstring::set_default_value(empty_text, 1);
}
