// bench/baseline_codec.cpp - the hand-written DER codec of baseline_codec.h.
#include "bench/baseline_codec.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace baseline {

namespace {

constexpr unsigned char kEnvelope[4] = {0x04, 0x02, 0xAC, 0xDC};
constexpr unsigned char kInteger = 0x02;
constexpr unsigned char kOctetString = 0x04;
constexpr unsigned char kUtf8String = 0x0C;
constexpr unsigned char kSequence = 0x30;
constexpr std::size_t kMax32 = 0xFFFFFFFFu;

// ---- sizes ----

// length_size: octets of the DER length field for n content octets.
std::size_t length_size(std::size_t n) {
    if (n < 0x80) return 1;
    if (n < 0x100) return 2;
    if (n < 0x10000) return 3;
    if (n < 0x1000000) return 4;
    return 5;
}

std::size_t frame_size(std::size_t content) { return 1 + length_size(content) + content; }

// integer_size: content octets of the minimal two's-complement form of v:
// an octet is dropped from the front while the nine top bits of what is left
// are all equal.
std::size_t integer_size(int v) {
    const std::uint32_t u = static_cast<std::uint32_t>(v);
    std::size_t n = 4;
    while (n > 1) {
        const std::uint32_t top9 = (u >> (8 * n - 9)) & 0x1FFu;
        if (top9 != 0 && top9 != 0x1FFu) break;
        --n;
    }
    return n;
}

// The content lengths of the constructed frames and the lengths of the texts,
// in the order the writer meets them. Kept per thread and reused, so that in
// steady state an encode makes exactly one allocation (the block).
thread_local std::vector<std::uint32_t> t_tape;

// sizer: the measuring pass. Every constructed frame reserves its tape slot
// before its members are measured, so the tape is in writing order.
class sizer {
public:
    explicit sizer(std::vector<std::uint32_t>& tape) : tape_(tape) {}
    bool ok() const { return ok_; }

    std::size_t measure(const value_s_t& r) {
        const std::size_t slot = reserve();
        const std::size_t c = integer(r.number) + text(r.text) + octets(r.length);
        return close(slot, c);
    }
    std::size_t measure(const attr_s_t& r) {
        const std::size_t slot = reserve();
        std::size_t c = text(r.name);
        c += list(r.count, r.values);
        return close(slot, c);
    }
    std::size_t measure(const attrlist_s_t& r) {
        const std::size_t slot = reserve();
        return close(slot, list(r.count, r.attrs));
    }
    std::size_t measure(const vqauditattribute_s_t& r) {
        const std::size_t slot = reserve();
        return close(slot, text(r.name) + octets(r.length));
    }
    std::size_t measure(const vqauditelement_s_t& r) {
        const std::size_t slot = reserve();
        std::size_t c = text(r.name) + octets(r.length);
        c += list(r.attribute_count, r.attributes);
        c += list(r.element_count, r.elements);
        return close(slot, c);
    }
    std::size_t measure(const vqauditevent_s_t& r) {
        const std::size_t slot = reserve();
        std::size_t c = frame_size(integer_size(r.event_type)) + text(r.event_name) +
                        frame_size(integer_size(r.outcome));
        c += list(r.count, r.elements);
        return close(slot, c);
    }

private:
    std::size_t reserve() {
        tape_.push_back(0);
        return tape_.size() - 1;
    }
    std::size_t close(std::size_t slot, std::size_t content) {
        if (content > kMax32) {
            ok_ = false;
            return 0;
        }
        tape_[slot] = static_cast<std::uint32_t>(content);
        return frame_size(content);
    }
    static std::size_t integer(int v) { return frame_size(integer_size(v)); }
    static std::size_t octets(unsigned int n) { return frame_size(n); }
    std::size_t text(const char* s) {
        const std::size_t n = s != nullptr ? std::strlen(s) : 0;
        if (n > kMax32) {
            ok_ = false;
            return 0;
        }
        tape_.push_back(static_cast<std::uint32_t>(n));
        return frame_size(n);
    }
    template <class T>
    std::size_t list(unsigned int count, const T* items) {
        const std::size_t slot = reserve();
        std::size_t c = 0;
        if (items != nullptr) {
            for (unsigned int i = 0; i < count; ++i) c += measure(items[i]);
        }
        return close(slot, c);
    }

    std::vector<std::uint32_t>& tape_;
    bool ok_ = true;
};

// writer: the writing pass, reading the tape in the order sizer filled it.
class writer {
public:
    writer(unsigned char* out, const std::uint32_t* tape) : p_(out), tape_(tape) {}
    unsigned char* end() const { return p_; }

    void put(const unsigned char* data, std::size_t n) {
        if (n != 0) std::memcpy(p_, data, n);
        p_ += n;
    }

    void write(const value_s_t& r) {
        header(kSequence, *tape_++);
        integer(r.number);
        text(r.text);
        octets(r.length, r.bytes);
    }
    void write(const attr_s_t& r) {
        header(kSequence, *tape_++);
        text(r.name);
        list(r.count, r.values);
    }
    void write(const attrlist_s_t& r) {
        header(kSequence, *tape_++);
        list(r.count, r.attrs);
    }
    void write(const vqauditattribute_s_t& r) {
        header(kSequence, *tape_++);
        text(r.name);
        octets(r.length, r.value);
    }
    void write(const vqauditelement_s_t& r) {
        header(kSequence, *tape_++);
        text(r.name);
        octets(r.length, r.value);
        list(r.attribute_count, r.attributes);
        list(r.element_count, r.elements);
    }
    void write(const vqauditevent_s_t& r) {
        header(kSequence, *tape_++);
        integer(r.event_type);
        text(r.event_name);
        integer(r.outcome);
        list(r.count, r.elements);
    }

private:
    void header(unsigned char tag, std::size_t n) {
        *p_++ = tag;
        if (n < 0x80) {
            *p_++ = static_cast<unsigned char>(n);
            return;
        }
        const std::size_t k = length_size(n) - 1;
        *p_++ = static_cast<unsigned char>(0x80 | k);
        for (std::size_t i = k; i > 0; --i) *p_++ = static_cast<unsigned char>(n >> (8 * (i - 1)));
    }
    void integer(int v) {
        const std::size_t n = integer_size(v);
        header(kInteger, n);
        const std::uint32_t u = static_cast<std::uint32_t>(v);
        for (std::size_t i = n; i > 0; --i) *p_++ = static_cast<unsigned char>(u >> (8 * (i - 1)));
    }
    void text(const char* s) {
        const std::size_t n = *tape_++;
        header(kUtf8String, n);
        put(reinterpret_cast<const unsigned char*>(s), n);
    }
    void octets(unsigned int n, const unsigned char* data) {
        header(kOctetString, n);
        put(data, data != nullptr ? n : 0);
    }
    template <class T>
    void list(unsigned int count, const T* items) {
        header(kSequence, *tape_++);
        if (items == nullptr) return;
        for (unsigned int i = 0; i < count; ++i) write(items[i]);
    }

    unsigned char* p_;
    const std::uint32_t* tape_;
};

template <class T>
bool encode_record(qb_asn_buffer_t& out, const T& r) {
    std::vector<std::uint32_t>& tape = t_tape;
    tape.clear();
    sizer s(tape);
    const std::size_t total = sizeof kEnvelope + s.measure(r);
    if (!s.ok() || total > kMax32) return false;
    auto* block = static_cast<unsigned char*>(std::malloc(total));
    if (block == nullptr) return false;
    writer w(block, tape.data());
    w.put(kEnvelope, sizeof kEnvelope);
    w.write(r);
    out.length = static_cast<unsigned int>(total);
    out.data = block;
    return true;
}

// ---- reading ----

// reader: the octets [p, end) not read yet.
struct reader {
    const unsigned char* p;
    const unsigned char* end;
    std::size_t left() const { return static_cast<std::size_t>(end - p); }
};

// frame: one frame with identifier `tag` and a definite length; its content
// goes to `content` and r moves past it.
bool frame(reader& r, unsigned char tag, reader& content) {
    if (r.left() < 2 || r.p[0] != tag) return false;
    const unsigned char first = r.p[1];
    r.p += 2;
    std::size_t n = first;
    if (first >= 0x80) {
        const std::size_t k = first & 0x7Fu;
        if (k == 0 || k > 4 || r.left() < k) return false;
        n = 0;
        for (std::size_t i = 0; i < k; ++i) n = (n << 8) | *r.p++;
    }
    if (r.left() < n) return false;
    content = reader{r.p, r.p + n};
    r.p += n;
    return true;
}

bool read_integer(reader& r, int& v) {
    reader c{};
    if (!frame(r, kInteger, c)) return false;
    const std::size_t n = c.left();
    if (n < 1 || n > 4) return false;
    std::uint32_t u = (c.p[0] & 0x80u) != 0 ? 0xFFFFFFFFu : 0u;
    for (std::size_t i = 0; i < n; ++i) u = (u << 8) | c.p[i];
    v = static_cast<int>(u);
    return true;
}

bool read_text(reader& r, char*& out) {
    reader c{};
    if (!frame(r, kUtf8String, c)) return false;
    const std::size_t n = c.left();
    auto* s = static_cast<char*>(std::malloc(n + 1));
    if (s == nullptr) return false;
    if (n != 0) std::memcpy(s, c.p, n);
    s[n] = '\0';
    out = s;
    return true;
}

bool read_octets(reader& r, unsigned int& length, unsigned char*& out) {
    reader c{};
    if (!frame(r, kOctetString, c)) return false;
    const std::size_t n = c.left();
    if (n != 0) {
        auto* b = static_cast<unsigned char*>(std::malloc(n));
        if (b == nullptr) return false;
        std::memcpy(b, c.p, n);
        out = b;
    }
    length = static_cast<unsigned int>(n);
    return true;
}

bool read(reader& r, value_s_t& v, int depth);
bool read(reader& r, attr_s_t& v, int depth);
bool read(reader& r, attrlist_s_t& v, int depth);
bool read(reader& r, vqauditattribute_s_t& v, int depth);
bool read(reader& r, vqauditelement_s_t& v, int depth);
bool read(reader& r, vqauditevent_s_t& v, int depth);

// read_list: a SEQUENCE OF records: its elements are counted first (each a
// SEQUENCE frame), then the array is calloc'ed at that size and filled.
template <class T>
bool read_list(reader& r, unsigned int& count, T*& items, int depth) {
    reader c{};
    if (!frame(r, kSequence, c)) return false;
    std::size_t n = 0;
    for (reader scan = c; scan.left() != 0; ++n) {
        reader skipped{};
        if (!frame(scan, kSequence, skipped)) return false;
    }
    if (n == 0) return true;
    auto* array = static_cast<T*>(std::calloc(n, sizeof(T)));
    if (array == nullptr) return false;
    items = array;
    count = static_cast<unsigned int>(n);
    for (std::size_t i = 0; i < n; ++i) {
        if (!read(c, array[i], depth)) return false;
    }
    return true;
}

bool read(reader& r, value_s_t& v, int) {
    reader c{};
    return frame(r, kSequence, c) && read_integer(c, v.number) && read_text(c, v.text) &&
           read_octets(c, v.length, v.bytes) && c.left() == 0;
}

bool read(reader& r, attr_s_t& v, int depth) {
    reader c{};
    return frame(r, kSequence, c) && read_text(c, v.name) && read_list(c, v.count, v.values, depth) &&
           c.left() == 0;
}

bool read(reader& r, attrlist_s_t& v, int depth) {
    reader c{};
    return frame(r, kSequence, c) && read_list(c, v.count, v.attrs, depth) && c.left() == 0;
}

bool read(reader& r, vqauditattribute_s_t& v, int) {
    reader c{};
    return frame(r, kSequence, c) && read_text(c, v.name) && read_octets(c, v.length, v.value) &&
           c.left() == 0;
}

bool read(reader& r, vqauditelement_s_t& v, int depth) {
    if (depth > kMaxDepth) return false;
    reader c{};
    return frame(r, kSequence, c) && read_text(c, v.name) && read_octets(c, v.length, v.value) &&
           read_list(c, v.attribute_count, v.attributes, depth) &&
           read_list(c, v.element_count, v.elements, depth + 1) && c.left() == 0;
}

bool read(reader& r, vqauditevent_s_t& v, int depth) {
    reader c{};
    return frame(r, kSequence, c) && read_integer(c, v.event_type) && read_text(c, v.event_name) &&
           read_integer(c, v.outcome) && read_list(c, v.count, v.elements, depth) && c.left() == 0;
}

template <class T>
bool decode_record(const unsigned char* p, std::size_t n, T& r) {
    r = T{};
    if (p == nullptr || n < sizeof kEnvelope || std::memcmp(p, kEnvelope, sizeof kEnvelope) != 0) return false;
    reader in{p + sizeof kEnvelope, p + n};
    return read(in, r, 0) && in.left() == 0;
}

template <class T>
void release_list(unsigned int count, T*& items) {
    if (items != nullptr) {
        for (unsigned int i = 0; i < count; ++i) release(items[i]);
    }
    std::free(items);
    items = nullptr;
}

}  // namespace

bool encode(qb_asn_buffer_t& out, const value_s_t& r) { return encode_record(out, r); }
bool encode(qb_asn_buffer_t& out, const attr_s_t& r) { return encode_record(out, r); }
bool encode(qb_asn_buffer_t& out, const attrlist_s_t& r) { return encode_record(out, r); }
bool encode(qb_asn_buffer_t& out, const vqauditattribute_s_t& r) { return encode_record(out, r); }
bool encode(qb_asn_buffer_t& out, const vqauditelement_s_t& r) { return encode_record(out, r); }
bool encode(qb_asn_buffer_t& out, const vqauditevent_s_t& r) { return encode_record(out, r); }

bool decode(const unsigned char* p, std::size_t n, value_s_t& r) { return decode_record(p, n, r); }
bool decode(const unsigned char* p, std::size_t n, attr_s_t& r) { return decode_record(p, n, r); }
bool decode(const unsigned char* p, std::size_t n, attrlist_s_t& r) { return decode_record(p, n, r); }
bool decode(const unsigned char* p, std::size_t n, vqauditattribute_s_t& r) { return decode_record(p, n, r); }
bool decode(const unsigned char* p, std::size_t n, vqauditelement_s_t& r) { return decode_record(p, n, r); }
bool decode(const unsigned char* p, std::size_t n, vqauditevent_s_t& r) { return decode_record(p, n, r); }

void release(value_s_t& r) {
    std::free(r.text);
    std::free(r.bytes);
    r = value_s_t{};
}

void release(attr_s_t& r) {
    std::free(r.name);
    release_list(r.count, r.values);
    r = attr_s_t{};
}

void release(attrlist_s_t& r) {
    release_list(r.count, r.attrs);
    r = attrlist_s_t{};
}

void release(vqauditattribute_s_t& r) {
    std::free(r.name);
    std::free(r.value);
    r = vqauditattribute_s_t{};
}

void release(vqauditelement_s_t& r) {
    std::free(r.name);
    std::free(r.value);
    release_list(r.attribute_count, r.attributes);
    release_list(r.element_count, r.elements);
    r = vqauditelement_s_t{};
}

void release(vqauditevent_s_t& r) {
    std::free(r.event_name);
    release_list(r.count, r.elements);
    r = vqauditevent_s_t{};
}

}  // namespace baseline
