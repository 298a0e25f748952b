// bench/typed_messages.cpp - building and comparing the benchmark's records.
#include "bench/typed_messages.h"

#include <cstdlib>
#include <cstring>
#include <new>

namespace typed_bench {

// The element comparisons, used by same_list before their definitions.
bool same(const attr_s_t& a, const attr_s_t& b);
bool same(const vqauditattribute_s_t& a, const vqauditattribute_s_t& b);
bool same(const vqauditelement_s_t& a, const vqauditelement_s_t& b);

namespace {

constexpr unsigned int kValueText = 16;
constexpr unsigned int kEventText = 16;
constexpr unsigned int kNameText = 12;
constexpr unsigned int kValueOctets = 16;
constexpr unsigned int kElementOctets = 16;
constexpr unsigned int kAuditAttributeOctets = 32;

constexpr unsigned int kTopElements = 8;
constexpr unsigned int kAttributesPerElement = 3;
constexpr unsigned int kSubElements = 4;
constexpr unsigned int kSubLevels = 2;

// Integers of 1, 1, 2, 3, 4, 1, 2, 2, 3 and 4 content octets, both signs.
constexpr int kIntegers[] = {5, -100, 30000, -2000000, 100000000, -7, 200, -30000, 2000000, -100000000};

// generator: deterministic contents; every call moves on, so neighbouring
// fields differ.
class generator {
public:
    int integer() { return kIntegers[int_index_++ % (sizeof kIntegers / sizeof kIntegers[0])]; }

    char* text(unsigned int n) {
        static constexpr char kAlphabet[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
        char* s = static_cast<char*>(checked(std::malloc(n + 1)));
        for (unsigned int i = 0; i < n; ++i) s[i] = kAlphabet[(seed_ + 7 * i) % (sizeof kAlphabet - 1)];
        s[n] = '\0';
        ++seed_;
        return s;
    }

    unsigned char* octets(unsigned int n) {
        auto* b = static_cast<unsigned char*>(checked(std::malloc(n)));
        for (unsigned int i = 0; i < n; ++i) b[i] = static_cast<unsigned char>(seed_ * 37 + 13 * i + 1);
        ++seed_;
        return b;
    }

    template <class T>
    T* array(unsigned int n) {
        return static_cast<T*>(checked(std::calloc(n, sizeof(T))));
    }

private:
    static void* checked(void* p) {
        if (p == nullptr) throw std::bad_alloc();
        return p;
    }
    unsigned int int_index_ = 0;
    unsigned int seed_ = 0;
};

void fill_element(generator& g, vqauditelement_s_t& e, unsigned int levels_below) {
    e.name = g.text(kNameText);
    e.length = kElementOctets;
    e.value = g.octets(kElementOctets);
    e.attributes = g.array<vqauditattribute_s_t>(kAttributesPerElement);
    e.attribute_count = kAttributesPerElement;
    for (unsigned int i = 0; i < kAttributesPerElement; ++i) {
        e.attributes[i].name = g.text(kNameText);
        e.attributes[i].length = kAuditAttributeOctets;
        e.attributes[i].value = g.octets(kAuditAttributeOctets);
    }
    if (levels_below == 0) return;
    e.elements = g.array<vqauditelement_s_t>(kSubElements);
    e.element_count = kSubElements;
    for (unsigned int i = 0; i < kSubElements; ++i) fill_element(g, e.elements[i], levels_below - 1);
}

bool same_text(const char* a, const char* b) {
    return std::strcmp(a != nullptr ? a : "", b != nullptr ? b : "") == 0;
}

bool same_octets(unsigned int na, const unsigned char* a, unsigned int nb, const unsigned char* b) {
    if (na != nb) return false;
    if (na == 0) return true;
    return a != nullptr && b != nullptr && std::memcmp(a, b, na) == 0;
}

template <class T>
bool same_list(unsigned int na, const T* a, unsigned int nb, const T* b) {
    if (na != nb) return false;
    if (na == 0) return true;
    if (a == nullptr || b == nullptr) return false;
    for (unsigned int i = 0; i < na; ++i) {
        if (!same(a[i], b[i])) return false;
    }
    return true;
}

}  // namespace

bool same(const value_s_t& a, const value_s_t& b) {
    return a.number == b.number && same_text(a.text, b.text) && same_octets(a.length, a.bytes, b.length, b.bytes);
}

bool same(const attr_s_t& a, const attr_s_t& b) {
    return same_text(a.name, b.name) && same_list(a.count, a.values, b.count, b.values);
}

bool same(const attrlist_s_t& a, const attrlist_s_t& b) { return same_list(a.count, a.attrs, b.count, b.attrs); }

bool same(const vqauditattribute_s_t& a, const vqauditattribute_s_t& b) {
    return same_text(a.name, b.name) && same_octets(a.length, a.value, b.length, b.value);
}

bool same(const vqauditelement_s_t& a, const vqauditelement_s_t& b) {
    return same_text(a.name, b.name) && same_octets(a.length, a.value, b.length, b.value) &&
           same_list(a.attribute_count, a.attributes, b.attribute_count, b.attributes) &&
           same_list(a.element_count, a.elements, b.element_count, b.elements);
}

bool same(const vqauditevent_s_t& a, const vqauditevent_s_t& b) {
    return a.event_type == b.event_type && same_text(a.event_name, b.event_name) && a.outcome == b.outcome &&
           same_list(a.count, a.elements, b.count, b.elements);
}

value_s_t make_m1() {
    generator g;
    value_s_t v{};
    v.number = 5;
    v.text = g.text(1);
    v.text[0] = 'a';
    v.bytes = g.octets(1);
    v.bytes[0] = 0x01;
    v.length = 1;
    return v;
}

attrlist_s_t make_attrlist(unsigned int attributes, unsigned int values_per_attribute) {
    generator g;
    attrlist_s_t list{};
    list.attrs = g.array<attr_s_t>(attributes);
    list.count = attributes;
    for (unsigned int i = 0; i < attributes; ++i) {
        attr_s_t& a = list.attrs[i];
        a.name = g.text(kNameText);
        a.values = g.array<value_s_t>(values_per_attribute);
        a.count = values_per_attribute;
        for (unsigned int j = 0; j < values_per_attribute; ++j) {
            value_s_t& v = a.values[j];
            v.number = g.integer();
            v.text = g.text(kValueText);
            v.bytes = g.octets(kValueOctets);
            v.length = kValueOctets;
        }
    }
    return list;
}

vqauditevent_s_t make_m4() {
    generator g;
    vqauditevent_s_t ev{};
    ev.event_type = g.integer();
    ev.event_name = g.text(kEventText);
    ev.outcome = g.integer();
    ev.elements = g.array<vqauditelement_s_t>(kTopElements);
    ev.count = kTopElements;
    for (unsigned int i = 0; i < kTopElements; ++i) fill_element(g, ev.elements[i], kSubLevels);
    return ev;
}

// ---- blocks ----

namespace {

std::size_t blocks_of_text(const char* s) { return s != nullptr ? 1 : 0; }
std::size_t blocks_of_octets(unsigned int n) { return n != 0 ? 1 : 0; }

std::size_t blocks(const value_s_t& v) { return blocks_of_text(v.text) + blocks_of_octets(v.length); }

std::size_t blocks(const attr_s_t& a) {
    std::size_t n = blocks_of_text(a.name) + (a.count != 0 ? 1 : 0);
    for (unsigned int i = 0; i < a.count; ++i) n += blocks(a.values[i]);
    return n;
}

std::size_t blocks(const vqauditelement_s_t& e) {
    std::size_t n = blocks_of_text(e.name) + blocks_of_octets(e.length);
    n += e.attribute_count != 0 ? 1 : 0;
    for (unsigned int i = 0; i < e.attribute_count; ++i) {
        n += blocks_of_text(e.attributes[i].name) + blocks_of_octets(e.attributes[i].length);
    }
    n += e.element_count != 0 ? 1 : 0;
    for (unsigned int i = 0; i < e.element_count; ++i) n += blocks(e.elements[i]);
    return n;
}

}  // namespace

std::size_t record_blocks(const value_s_t& r) { return blocks(r); }

std::size_t record_blocks(const attrlist_s_t& r) {
    std::size_t n = r.count != 0 ? 1 : 0;
    for (unsigned int i = 0; i < r.count; ++i) n += blocks(r.attrs[i]);
    return n;
}

std::size_t record_blocks(const vqauditevent_s_t& r) {
    std::size_t n = blocks_of_text(r.event_name) + (r.count != 0 ? 1 : 0);
    for (unsigned int i = 0; i < r.count; ++i) n += blocks(r.elements[i]);
    return n;
}

}  // namespace typed_bench
