// asn1/asnstrng.cpp - the string objects keyed by code set and the UTF-8 text field.
// Follows the order of asn1/asnstrng.h (the converters live in asn1/asnconv.cpp).
#include "asn1/asnstrng.h"

#include <iconv.h>
#include <langinfo.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "asn1/internal/status.h"
#include "asn1/internal/utf8text.h"

using namespace qb::detail;

namespace {

constexpr const char* kFile = "asn1/asnstrng";

// Code sets: the universal tag numbers of the seven string types.
constexpr unsigned int kUTF8 = 12;
constexpr unsigned int kPrintable = 19;
constexpr unsigned int kT61 = 20;
constexpr unsigned int kIA5 = 22;
constexpr unsigned int kVisible = 26;
constexpr unsigned int kUniversal = 28;
constexpr unsigned int kBMP = 30;

// The order in which set_value_C and set_value_IA5 try the code sets, first
// among the preferred ones, then among the accepted ones.
constexpr unsigned int kStoreOrder[] = {kPrintable, kT61, kVisible, kIA5, kBMP, kUTF8, kUniversal};

// The order in which the directory string's normalize tries the code sets
// (UniversalString is tried last, on its own).
constexpr unsigned int kNormalizeOrder[] = {kPrintable, kT61, kVisible, kIA5, kUTF8, kBMP};

// ---- conversion routes ----

// step_t: one conversion step; appends to `out`, 0 or 0x106521AB.
using step_t = unsigned int (*)(const qb_r_buffer_t& in, qb_buffer_t& out);

unsigned int copy_step(const qb_r_buffer_t& in, qb_buffer_t& out) { return out.append(in); }

// The two checks clear their destination when they succeed; the routes
// append their result, so the check runs into a scratch buffer first.
unsigned int check_step(const qb_r_buffer_t& in, qb_buffer_t& out,
                        unsigned int (*check)(const qb_r_buffer_t&, qb_buffer_t&)) {
    qb_buffer_t checked(out.security);
    if (check(in, checked) != 0) return kConversionFailed;
    return out.append(checked);
}
unsigned int check_printable(const qb_r_buffer_t& in, qb_buffer_t& out) { return check_step(in, out, IA52P); }
unsigned int check_visible(const qb_r_buffer_t& in, qb_buffer_t& out) { return check_step(in, out, IA52V); }

// The first six converters take their source by value.
unsigned int utf8_to_ia5(const qb_r_buffer_t& in, qb_buffer_t& out) { return UTF82IA5(in, out); }
unsigned int utf8_to_bmp(const qb_r_buffer_t& in, qb_buffer_t& out) { return UTF82BMP(in, out); }
unsigned int utf8_to_u(const qb_r_buffer_t& in, qb_buffer_t& out) { return UTF82U(in, out); }
unsigned int ia5_to_utf8(const qb_r_buffer_t& in, qb_buffer_t& out) { return IA52UTF8(in, out); }
unsigned int bmp_to_utf8(const qb_r_buffer_t& in, qb_buffer_t& out) { return BMP2UTF8(in, out); }
unsigned int u_to_utf8(const qb_r_buffer_t& in, qb_buffer_t& out) { return U2UTF8(in, out); }

// route_t: at most two steps; no first step means there is no route.
struct route_t {
    step_t first;
    step_t second;
};

constexpr route_t kNoRoute{nullptr, nullptr};

// codeset_index: the column/row of a code set in kRoutes, or -1.
int codeset_index(unsigned int cs) {
    switch (cs) {
        case kUTF8: return 0;
        case kPrintable: return 1;
        case kT61: return 2;
        case kIA5: return 3;
        case kVisible: return 4;
        case kUniversal: return 5;
        case kBMP: return 6;
        default: return -1;
    }
}

// kRoutes[target][source], both in the order 12, 19, 20, 22, 26, 28, 30.
// The diagonal (a copy) serves the constant conversions only: an in-place
// conversion to the code set already held changes nothing. The in-place
// conversion to IA5 of a Printable or Visible value does not use this table:
// it only relabels (see convert_in_place).
// Deliberate: a VisibleString value has no route to any other code set (column 26).
// Deliberate: a PrintableString value has no route to VisibleString.
// Deliberate: the Printable and Visible checks of UTF-8 text look at the raw octets, so any character above 0x7F fails them.
const route_t kRoutes[7][7] = {
    // to UTF8String (12)
    {{copy_step, nullptr}, {copy_step, nullptr}, {T612BMP, bmp_to_utf8}, {ia5_to_utf8, nullptr},
     kNoRoute, {u_to_utf8, nullptr}, {bmp_to_utf8, nullptr}},
    // to PrintableString (19)
    {{check_printable, nullptr}, {copy_step, nullptr}, {T612IA5, check_printable},
     {check_printable, nullptr}, kNoRoute, {U2IA5, check_printable}, {BMP2IA5, check_printable}},
    // to TeletexString (20)
    {{utf8_to_ia5, IA52T61}, {copy_step, nullptr}, {copy_step, nullptr}, {IA52T61, nullptr}, kNoRoute,
     {U2IA5, IA52T61}, {BMP2IA5, IA52T61}},
    // to IA5String (22)
    {{utf8_to_ia5, nullptr}, {copy_step, nullptr}, {T612IA5, nullptr}, {copy_step, nullptr}, kNoRoute,
     {U2IA5, nullptr}, {BMP2IA5, nullptr}},
    // to VisibleString (26)
    {{check_visible, nullptr}, kNoRoute, {T612IA5, check_visible}, {check_visible, nullptr},
     {copy_step, nullptr}, {U2IA5, check_visible}, {BMP2IA5, check_visible}},
    // to UniversalString (28)
    {{utf8_to_u, nullptr}, {IA52U, nullptr}, {T612BMP, BMP2U}, {IA52U, nullptr}, kNoRoute,
     {copy_step, nullptr}, {BMP2U, nullptr}},
    // to BMPString (30)
    {{utf8_to_bmp, nullptr}, {IA52BMP, nullptr}, {T612BMP, nullptr}, {IA52BMP, nullptr}, kNoRoute,
     {U2BMP, nullptr}, {copy_step, nullptr}},
};

route_t route_for(unsigned int target, unsigned int source) {
    const int t = codeset_index(target);
    const int s = codeset_index(source);
    if (t < 0 || s < 0) return kNoRoute;
    return kRoutes[t][s];
}

// run_route: the route's result appended to `out`. A two-step route goes
// through a scratch buffer; `out` then holds what the second step left.
unsigned int run_route(const route_t& route, const qb_r_buffer_t& in, qb_buffer_t& out) {
    if (route.first == nullptr) return kConversionFailed;
    if (route.second == nullptr) return route.first(in, out) == 0 ? kOk : kConversionFailed;
    qb_buffer_t middle(out.security);
    if (route.first(in, middle) != 0) return kConversionFailed;
    return route.second(middle, out) == 0 ? kOk : kConversionFailed;
}

// from_ia5: IA5 text converted into code set cs, as set_value_C stores it.
unsigned int from_ia5(unsigned int cs, const qb_r_buffer_t& text, qb_buffer_t& out) {
    unsigned int rc;
    switch (cs) {
        case kPrintable: rc = IA52P(text, out); break;
        case kT61: rc = IA52T61(text, out); break;
        case kVisible: rc = IA52V(text, out); break;
        case kIA5: rc = out.append(text); break;
        case kBMP: rc = IA52BMP(text, out); break;
        case kUTF8: rc = IA52UTF8(text, out); break;
        case kUniversal: rc = IA52U(text, out); break;
        default: rc = kConversionFailed; break;
    }
    return rc == 0 ? kOk : kConversionFailed;
}

// ---- helpers on the value ----

// value_view: a view of the octets held (the default's when absent);
// 0x106521A0 when there are none.
unsigned int value_view(const qb_asn_charstring& s, qb_r_buffer_t& view) {
    if (!s.is_present() && !s.is_defaultable()) return kValueAbsent;
    unsigned char* p = nullptr;
    unsigned int n = 0;
    const unsigned int rc = s.qb_asn_octetstring::get_value(p, n);
    if (rc != 0) return rc;
    view.set(p, n);
    return kOk;
}

// store_typed: the typed setters' common body.
unsigned int store_typed(qb_asn_charstring& s, unsigned int cs, const unsigned char* p, unsigned int n) {
    if (!s.check_accepted_codeset(cs)) return kCodesetRejected;
    (void)s.set_value_uninterpreted(p, n);
    (void)s.set_codeset(cs);
    return kOk;
}

// text_length: strlen as a 32-bit length; false when it does not fit.
bool text_length(const char* s, unsigned int& len) {
    const size_t n = std::strlen(s);
    if (n > UINT_MAX) return false;
    len = static_cast<unsigned int>(n);
    return true;
}

const unsigned char* octets(const char* s) { return reinterpret_cast<const unsigned char*>(s); }

// store_ia5: stores IA5 text in the first code set it converts into:
// preferred_codeset, then the preferred code sets, then the accepted ones.
unsigned int store_ia5(qb_asn_charstring& s, const qb_r_buffer_t& text) {
    // A code set the class does not accept is never stored, even when preferred.
    const auto try_store = [&s, &text](unsigned int cs) {
        if (!s.check_accepted_codeset(cs)) return false;
        qb_buffer_t converted(s.secure);
        if (from_ia5(cs, text, converted) != 0) return false;
        (void)s.set_value_uninterpreted(converted.data, converted.length());
        (void)s.set_codeset(cs);
        return true;
    };
    if (s.preferred_codeset != 0 && try_store(s.preferred_codeset)) return kOk;
    for (unsigned int cs : kStoreOrder)
        if (s.check_preferred_codeset(cs) && try_store(cs)) return kOk;
    for (unsigned int cs : kStoreOrder)
        if (s.check_accepted_codeset(cs) && try_store(cs)) return kOk;
    return kConversionFailed;
}

// convert_const: the constant conversion into `target`, appended to `out`.
unsigned int convert_const(const qb_asn_charstring& s, unsigned int target, qb_buffer_t& out) {
    qb_r_buffer_t value;
    const unsigned int rc = value_view(s, value);
    if (rc != 0) return rc;
    if (s.get_codeset() == target) return out.append(value);
    return run_route(route_for(target, s.get_codeset()), value, out);
}

// convert_in_place: the held value converted into `target`. The conversion
// runs into a scratch buffer, so a failure leaves value and code set as they were.
unsigned int convert_in_place(qb_asn_charstring& s, unsigned int target) {
    if (!s.is_present() && !s.is_defaultable()) return kValueAbsent;
    const unsigned int source = s.get_codeset();
    if (source == target) return kOk;
    if (!s.check_accepted_codeset(target)) return kCodesetRejected;
    // Deliberate: Printable and Visible values become IA5 by relabelling alone (the Visible one has no other route).
    if (target == kIA5 && (source == kPrintable || source == kVisible)) return s.set_codeset(target);
    qb_r_buffer_t value;
    unsigned int rc = value_view(s, value);
    if (rc != 0) return rc;
    qb_buffer_t converted(s.secure);
    rc = run_route(route_for(target, source), value, converted);
    if (rc != 0) return kConversionFailed;
    // Room first, so that running out of memory leaves the old value in place.
    const unsigned int n = converted.length();
    if (s.encoding.capacity < n) s.encoding.extend(n);
    s.encoding.clear();
    s.encoding.append(converted);
    return s.set_codeset(target);
}

// ---- local code set ----

enum lcs_direction { kToUTF8 = 0, kFromUTF8 = 1 };

iconv_t no_descriptor() { return reinterpret_cast<iconv_t>(static_cast<intptr_t>(-1)); }

iconv_t open_descriptor(lcs_direction dir, const char* local) {
    return dir == kToUTF8 ? iconv_open("UTF-8", local) : iconv_open(local, "UTF-8");
}

// lcs_handle: a descriptor lent by the thread's cache, or one opened for a
// single conversion (closed with the handle).
struct lcs_handle {
    iconv_t cd = no_descriptor();
    bool owned = false;
    lcs_handle() = default;
    lcs_handle(const lcs_handle&) = delete;
    lcs_handle& operator=(const lcs_handle&) = delete;
    ~lcs_handle() {
        if (owned && cd != no_descriptor()) iconv_close(cd);
    }
};

// lcs_cache: per thread, the two descriptors (local -> UTF-8, UTF-8 ->
// local) and the code-set name they were opened for. They are reopened only
// when the thread's LC_CTYPE code set changes, and closed at thread exit.
class lcs_cache {
public:
    lcs_cache() = default;
    lcs_cache(const lcs_cache&) = delete;
    lcs_cache& operator=(const lcs_cache&) = delete;
    ~lcs_cache() { close_all(); }

    // lend: the descriptor for `dir` under the thread's current code set;
    // h.cd stays invalid when it cannot be opened.
    void lend(lcs_direction dir, lcs_handle& h) {
        // nl_langinfo follows the thread's locale (uselocale), not only the process's.
        const char* name = nl_langinfo(CODESET);
        if (name == nullptr) name = "";
        const size_t len = std::strlen(name);
        if (len >= sizeof name_) {
            // A name too long to remember: a descriptor for this conversion only.
            h.cd = open_descriptor(dir, name);
            h.owned = true;
            return;
        }
        if (!named_ || std::strcmp(name_, name) != 0) {
            close_all();
            std::memcpy(name_, name, len + 1);
            named_ = true;
        }
        if (cd_[dir] == no_descriptor()) cd_[dir] = open_descriptor(dir, name_);
        h.cd = cd_[dir];
        h.owned = false;
    }

    // keeps_ascii: converting in direction `dir` under the thread's current
    // code set writes every ASCII character (01 to 7F) as the same single
    // octet, as UTF-8 does, so an ASCII text converts to itself. Found once
    // per code set and direction by converting the 127 characters with the
    // descriptor already open for it, into a buffer on the stack: the probe
    // allocates nothing and opens nothing. Until a conversion has opened the
    // descriptor, the answer is false (the text then goes through iconv).
    bool keeps_ascii(lcs_direction dir);

private:
    void close_all() {
        for (iconv_t& cd : cd_) {
            if (cd != no_descriptor()) iconv_close(cd);
            cd = no_descriptor();
        }
        named_ = false;
        keeps_ascii_[0] = keeps_ascii_[1] = -1;
    }

    char name_[128] = {};
    bool named_ = false;
    int keeps_ascii_[2] = {-1, -1};  // per direction; -1 not known yet for name_
    iconv_t cd_[2] = {no_descriptor(), no_descriptor()};
};

thread_local lcs_cache t_lcs_cache;

using converted_text = qb::detail::text_block;

// lcs_convert: n octets at p converted between the thread's local code set
// and UTF-8. 0x106521AB when the text does not convert exactly (an invalid or
// incomplete sequence, a character without a place in the target, or no
// descriptor), 0x10652065 when memory runs out; `out` is untouched then.
[[nodiscard]] unsigned int lcs_convert(lcs_direction dir, const char* p, size_t n, converted_text& out) {
    lcs_handle h;
    t_lcs_cache.lend(dir, h);
    if (h.cd == no_descriptor()) return kConversionFailed;
    // Back to the initial shift state: a previous failure may have left it elsewhere.
    iconv(h.cd, nullptr, nullptr, nullptr, nullptr);

    if (n > (SIZE_MAX - 16) / 2) return kOutOfMemory;
    size_t capacity = n + n / 2 + 16;
    char* block = static_cast<char*>(std::malloc(capacity));
    if (block == nullptr) return kOutOfMemory;
    char* in = const_cast<char*>(p);  // iconv never writes through it
    size_t in_left = n;
    char* o = block;
    size_t o_left = capacity - 1;  // one octet kept for the terminating 00
    bool flushing = false;
    for (;;) {
        errno = 0;
        const size_t r = flushing ? iconv(h.cd, nullptr, nullptr, &o, &o_left)
                                  : iconv(h.cd, &in, &in_left, &o, &o_left);
        if (r != static_cast<size_t>(-1)) {
            // A nonzero count means characters were replaced: not the caller's text.
            if (r != 0) {
                std::free(block);
                return kConversionFailed;
            }
            if (flushing) break;
            flushing = true;  // all input taken; write any closing shift sequence
            continue;
        }
        if (errno != E2BIG) {
            std::free(block);
            return kConversionFailed;
        }
        const size_t used = static_cast<size_t>(o - block);
        if (capacity > SIZE_MAX / 2) {
            std::free(block);
            return kOutOfMemory;
        }
        const size_t grown = capacity * 2;
        char* bigger = static_cast<char*>(std::realloc(block, grown));
        if (bigger == nullptr) {
            std::free(block);
            return kOutOfMemory;
        }
        block = bigger;
        capacity = grown;
        o = block + used;
        o_left = capacity - 1 - used;
    }
    *o = '\0';
    std::free(out.data);
    out.data = block;
    out.length = static_cast<size_t>(o - block);
    return kOk;
}

[[noreturn]] void throw_conversion(int line, const char* message) {
    throw qb_asn_exception(kFile, line, message, kConversionFailed);
}

bool lcs_cache::keeps_ascii(lcs_direction dir) {
    const char* name = nl_langinfo(CODESET);
    if (name == nullptr) name = "";
    if (!named_ || std::strcmp(name_, name) != 0 || cd_[dir] == no_descriptor()) return false;
    if (keeps_ascii_[dir] < 0) {
        char ascii[127];
        for (int i = 0; i < 127; ++i) ascii[i] = static_cast<char>(i + 1);
        char converted[4 * sizeof ascii];
        char* in = ascii;
        size_t in_left = sizeof ascii;
        char* o = converted;
        size_t o_left = sizeof converted;
        iconv(cd_[dir], nullptr, nullptr, nullptr, nullptr);
        const bool same = iconv(cd_[dir], &in, &in_left, &o, &o_left) == 0 &&
                          iconv(cd_[dir], nullptr, nullptr, &o, &o_left) == 0 && in_left == 0 &&
                          static_cast<size_t>(o - converted) == sizeof ascii &&
                          std::memcmp(converted, ascii, sizeof ascii) == 0;
        keeps_ascii_[dir] = same ? 1 : 0;
    }
    return keeps_ascii_[dir] == 1;
}

// ascii_only: n octets, none above 7F.
bool ascii_only(const char* p, size_t n) {
    unsigned char high = 0;  // every octet's top bit, gathered
    for (size_t i = 0; i < n; ++i) high |= static_cast<unsigned char>(p[i]);
    return high < 0x80;
}

}  // namespace

bool qb::detail::lcs_keeps_ascii_to_utf8() { return t_lcs_cache.keeps_ascii(kToUTF8); }

void qb::detail::utf8_octets_of(const char* s, bool lcs, text_block& hold, const unsigned char*& p, size_t& n) {
    p = reinterpret_cast<const unsigned char*>(s);
    n = 0;
    if (s == nullptr || *s == '\0') return;
    const size_t len = std::strlen(s);
    if (lcs && !(ascii_only(s, len) && t_lcs_cache.keeps_ascii(kToUTF8))) {
        const unsigned int rc = lcs_convert(kToUTF8, s, len, hold);
        if (rc == kOutOfMemory) throw qb_asn_memexception(kFile, __LINE__, "ASN: Out of memory");
        if (rc != 0) throw_conversion(__LINE__, "Text not convertible from the local code set to UTF-8");
        if (hold.length > UINT_MAX) throw qb_asn_memexception(kFile, __LINE__, "ASN: Out of memory");
        p = reinterpret_cast<const unsigned char*>(hold.data);
        n = hold.length;
        return;
    }
    if (len > UINT_MAX) throw qb_asn_memexception(kFile, __LINE__, "ASN: Out of memory");
    n = len;
}

unsigned int qb::detail::utf8_text_copy(const unsigned char* p, unsigned int n, bool lcs, char*& out) {
    out = nullptr;
    if (p == nullptr) n = 0;
    if (n == 0) {
        char* empty_text = static_cast<char*>(std::malloc(1));
        if (empty_text == nullptr) return kOutOfMemory;
        empty_text[0] = '\0';
        out = empty_text;
        return kOk;
    }
    size_t len = n;
    if (lcs) {
        // The text ends at its first 00 octet, and never beyond the stored value.
        const void* nul = std::memchr(p, 0, n);
        len = nul != nullptr ? static_cast<size_t>(static_cast<const unsigned char*>(nul) - p) : n;
        const char* text = reinterpret_cast<const char*>(p);
        if (!(ascii_only(text, len) && t_lcs_cache.keeps_ascii(kFromUTF8))) {
            converted_text local;
            const unsigned int rc = lcs_convert(kFromUTF8, text, len, local);
            if (rc == kOutOfMemory) return kOutOfMemory;
            if (rc != 0) throw_conversion(__LINE__, "UTF-8 text not convertible to the local code set");
            out = local.release();
            return kOk;
        }
    }
    char* copy = static_cast<char*>(std::malloc(len + 1));
    if (copy == nullptr) return kOutOfMemory;
    std::memcpy(copy, p, len);
    copy[len] = '\0';
    out = copy;
    return kOk;
}

// ---- qb_asn_charstring ----

qb_asn_charstring::qb_asn_charstring(security_t s) : qb_asn_octetstring(s), codeset(0), preferred_codeset(0) {
    set_type_name("CharacterString");
    asn_class = 0;
}

qb_asn_charstring::~qb_asn_charstring() = default;

int qb_asn_charstring::is_polymorphic() const { return 1; }

unsigned int qb_asn_charstring::set_tag(unsigned int t) { return set_codeset(t); }

// A bare charstring holds nothing: it is only a base.
int qb_asn_charstring::check_accepted_codeset(unsigned int) const { return 0; }
int qb_asn_charstring::check_preferred_codeset(unsigned int cs) const { return check_accepted_codeset(cs); }

unsigned int qb_asn_charstring::set_codeset(unsigned int cs) {
    if (!check_accepted_codeset(cs)) return kCodesetRejected;
    invalidate_encoding();
    codeset = cs;
    qb_asn_object::set_tag(cs);
    return kOk;
}

unsigned int qb_asn_charstring::get_value_C(qb_buffer_t& out, char subst) const {
    const unsigned int rc = get_value_IA5(out);
    if (rc != 0) return rc;
    // Every octet of `out` goes through the IA5-to-local table.
    for (unsigned int i = 0; i < out.length(); ++i) {
        const int local = IA52Local_table[out.data[i]];
        if (local >= 0) {
            out.data[i] = static_cast<unsigned char>(local);
        } else if (subst != 0) {
            out.data[i] = static_cast<unsigned char>(subst);
        } else {
            out.clear();
            return kConversionFailed;
        }
    }
    return kOk;
}

unsigned int qb_asn_charstring::set_value_C(const char* s) {
    if (s == nullptr) return kNoSuchElement;
    unsigned int len = 0;
    if (!text_length(s, len)) return kTooLong;
    qb_buffer_t ia5(secure);
    for (unsigned int i = 0; i < len; ++i) {
        const int mapped = Local2IA5_table[static_cast<signed char>(s[i]) + 128];
        if (mapped < 0) return kConversionFailed;
        ia5.append(static_cast<unsigned char>(mapped));
    }
    return store_ia5(*this, ia5);
}

unsigned int qb_asn_charstring::get_value_IA5(qb_buffer_t& out) const { return convert2IA5(out); }

unsigned int qb_asn_charstring::set_value_IA5(const char* s, int flag) {
    if (s == nullptr) return kNoSuchElement;
    unsigned int len = 0;
    if (!text_length(s, len)) return kTooLong;
    qb_r_buffer_t v(const_cast<unsigned char*>(octets(s)), len);  // only read
    return set_value_IA5(v, flag);
}

// The flag has no meaning: IA5 text is stored as set_value_C stores it.
unsigned int qb_asn_charstring::set_value_IA5(qb_r_buffer_t& v, int) { return store_ia5(*this, v); }

unsigned int qb_asn_charstring::get_value_printable(qb_buffer_t& out) const { return convert2printable(out); }

unsigned int qb_asn_charstring::set_value_printable(const char* s) {
    if (!check_accepted_codeset(kPrintable)) return kCodesetRejected;
    if (s == nullptr) return kNoSuchElement;
    unsigned int len = 0;
    if (!text_length(s, len)) return kTooLong;
    return store_typed(*this, kPrintable, octets(s), len);
}

unsigned int qb_asn_charstring::set_value_printable(qb_r_buffer_t& v) {
    return store_typed(*this, kPrintable, v.cursor, v.remaining);
}

unsigned int qb_asn_charstring::get_value_visible(qb_buffer_t& out) const { return convert2visible(out); }

unsigned int qb_asn_charstring::set_value_visible(const char* s) {
    if (!check_accepted_codeset(kVisible)) return kCodesetRejected;
    if (s == nullptr) return kNoSuchElement;
    unsigned int len = 0;
    if (!text_length(s, len)) return kTooLong;
    return store_typed(*this, kVisible, octets(s), len);
}

unsigned int qb_asn_charstring::set_value_visible(qb_r_buffer_t& v) {
    return store_typed(*this, kVisible, v.cursor, v.remaining);
}

unsigned int qb_asn_charstring::get_value_T61(qb_buffer_t& out) const { return convert2T61(out); }

unsigned int qb_asn_charstring::set_value_T61(const char* s) {
    if (!check_accepted_codeset(kT61)) return kCodesetRejected;
    if (s == nullptr) return kNoSuchElement;
    unsigned int len = 0;
    if (!text_length(s, len)) return kTooLong;
    return store_typed(*this, kT61, octets(s), len);
}

unsigned int qb_asn_charstring::set_value_T61(qb_r_buffer_t& v) {
    return store_typed(*this, kT61, v.cursor, v.remaining);
}

unsigned int qb_asn_charstring::get_value_BMP(qb_buffer_t& out) const { return convert2BMP(out); }

unsigned int qb_asn_charstring::set_value_BMP(const unsigned short* s) {
    if (!check_accepted_codeset(kBMP)) return kCodesetRejected;
    if (s == nullptr) return kNoSuchElement;
    // Each unit big-endian, whatever the machine's order: BMPString octets.
    qb_buffer_t units(secure);
    for (const unsigned short* u = s; *u != 0; ++u) {
        units.append(static_cast<unsigned char>(*u >> 8));
        units.append(static_cast<unsigned char>(*u & 0xFF));
    }
    return store_typed(*this, kBMP, units.data, units.length());
}

unsigned int qb_asn_charstring::set_value_BMP(qb_r_buffer_t& v) {
    return store_typed(*this, kBMP, v.cursor, v.remaining);
}

unsigned int qb_asn_charstring::get_value_Univ(qb_buffer_t& out) const { return convert2Univ(out); }

unsigned int qb_asn_charstring::set_value_Univ(const unsigned int* s) {
    // Deliberate: the characters are not stored; the value becomes empty with code set 28.
    return store_typed(*this, kUniversal, reinterpret_cast<const unsigned char*>(s), 0);
}

unsigned int qb_asn_charstring::set_value_Univ(qb_r_buffer_t& v) {
    return store_typed(*this, kUniversal, v.cursor, v.remaining);
}

unsigned int qb_asn_charstring::get_value_UTF8(qb_buffer_t& out) const { return convert2UTF8(out); }

unsigned int qb_asn_charstring::set_value_UTF8(const char* s) {
    if (!check_accepted_codeset(kUTF8)) return kCodesetRejected;
    if (s == nullptr) return kNoSuchElement;
    unsigned int len = 0;
    if (!text_length(s, len)) return kTooLong;
    return store_typed(*this, kUTF8, octets(s), len);
}

unsigned int qb_asn_charstring::set_value_UTF8(qb_r_buffer_t& v) {
    return store_typed(*this, kUTF8, v.cursor, v.remaining);
}

unsigned int qb_asn_charstring::get_codeset() const { return codeset; }

unsigned int qb_asn_charstring::set_value_uninterpreted(const unsigned char* p, unsigned int n) {
    if (p == nullptr && n != 0) return kNoSuchElement;
    // Octets that lie in this object's own value are copied out first: the
    // value is cleared (and, when wiping, zeroed) before the append.
    const uintptr_t src = reinterpret_cast<uintptr_t>(p);
    const uintptr_t lo = reinterpret_cast<uintptr_t>(encoding.data);
    if (n != 0 && encoding.data != nullptr && src >= lo && src < lo + encoding.capacity) {
        qb_buffer_t copy(secure);
        copy.append(p, n);
        return set_value_uninterpreted(copy.data, n);
    }
    invalidate_value(invalidate_full);
    encoding.clear();
    encoding.append(p, n);  // out of memory throws; the value stays cleared
    set_value_valid();
    return kOk;
}

unsigned int qb_asn_charstring::set_value_uninterpreted(qb_r_buffer_t& v) {
    return set_value_uninterpreted(v.cursor, v.remaining);
}

unsigned int qb_asn_charstring::convert2IA5() { return convert_in_place(*this, kIA5); }
unsigned int qb_asn_charstring::convert2printable() { return convert_in_place(*this, kPrintable); }
unsigned int qb_asn_charstring::convert2visible() { return convert_in_place(*this, kVisible); }
unsigned int qb_asn_charstring::convert2T61() { return convert_in_place(*this, kT61); }
unsigned int qb_asn_charstring::convert2BMP() { return convert_in_place(*this, kBMP); }
unsigned int qb_asn_charstring::convert2Univ() { return convert_in_place(*this, kUniversal); }
unsigned int qb_asn_charstring::convert2UTF8() { return convert_in_place(*this, kUTF8); }

unsigned int qb_asn_charstring::convert2IA5(qb_buffer_t& out) const { return convert_const(*this, kIA5, out); }
unsigned int qb_asn_charstring::convert2printable(qb_buffer_t& out) const {
    return convert_const(*this, kPrintable, out);
}
unsigned int qb_asn_charstring::convert2visible(qb_buffer_t& out) const { return convert_const(*this, kVisible, out); }
unsigned int qb_asn_charstring::convert2T61(qb_buffer_t& out) const { return convert_const(*this, kT61, out); }
unsigned int qb_asn_charstring::convert2BMP(qb_buffer_t& out) const { return convert_const(*this, kBMP, out); }
unsigned int qb_asn_charstring::convert2Univ(qb_buffer_t& out) const { return convert_const(*this, kUniversal, out); }
unsigned int qb_asn_charstring::convert2UTF8(qb_buffer_t& out) const { return convert_const(*this, kUTF8, out); }

// ---- the single-code-set classes ----

qb_asn_ia5String::qb_asn_ia5String(security_t s) : qb_asn_charstring(s) {
    set_type_name("IA5String");
    asn_class = 0;
    (void)set_codeset(kIA5);
}
qb_asn_ia5String::~qb_asn_ia5String() = default;
int qb_asn_ia5String::is_polymorphic() const { return 0; }
int qb_asn_ia5String::check_accepted_codeset(unsigned int cs) const { return cs == kIA5; }
int qb_asn_ia5String::check_preferred_codeset(unsigned int cs) const { return cs == kIA5; }

qb_asn_printableString::qb_asn_printableString(security_t s) : qb_asn_ia5String(s) {
    set_type_name("PrintableString");
    (void)set_codeset(kPrintable);
}
qb_asn_printableString::~qb_asn_printableString() = default;
int qb_asn_printableString::check_accepted_codeset(unsigned int cs) const { return cs == kPrintable; }
int qb_asn_printableString::check_preferred_codeset(unsigned int cs) const { return cs == kPrintable; }

qb_asn_visibleString::qb_asn_visibleString(security_t s) : qb_asn_ia5String(s) {
    set_type_name("VisibleString");
    (void)set_codeset(kVisible);
}
qb_asn_visibleString::~qb_asn_visibleString() = default;
int qb_asn_visibleString::check_accepted_codeset(unsigned int cs) const { return cs == kVisible; }
int qb_asn_visibleString::check_preferred_codeset(unsigned int cs) const { return cs == kVisible; }

qb_asn_teletexString::qb_asn_teletexString(security_t s) : qb_asn_charstring(s) {
    set_type_name("TeletexString");
    asn_class = 0;
    (void)set_codeset(kT61);
}
qb_asn_teletexString::~qb_asn_teletexString() = default;
int qb_asn_teletexString::is_polymorphic() const { return 0; }
int qb_asn_teletexString::check_accepted_codeset(unsigned int cs) const { return cs == kT61; }
int qb_asn_teletexString::check_preferred_codeset(unsigned int cs) const { return cs == kT61; }

qb_asn_bmpString::qb_asn_bmpString(security_t s) : qb_asn_charstring(s) {
    set_type_name("BMPString");
    asn_class = 0;
    (void)set_codeset(kBMP);
}
qb_asn_bmpString::~qb_asn_bmpString() = default;
int qb_asn_bmpString::is_polymorphic() const { return 0; }
int qb_asn_bmpString::check_accepted_codeset(unsigned int cs) const { return cs == kBMP; }
int qb_asn_bmpString::check_preferred_codeset(unsigned int cs) const { return cs == kBMP; }

qb_asn_universalString::qb_asn_universalString(security_t s) : qb_asn_charstring(s) {
    set_type_name("UniversalString");
    asn_class = 0;
    (void)set_codeset(kUniversal);
}
qb_asn_universalString::~qb_asn_universalString() = default;
int qb_asn_universalString::is_polymorphic() const { return 0; }
int qb_asn_universalString::check_accepted_codeset(unsigned int cs) const { return cs == kUniversal; }
int qb_asn_universalString::check_preferred_codeset(unsigned int cs) const { return cs == kUniversal; }

qb_asn_UTF8String::qb_asn_UTF8String(security_t s) : qb_asn_charstring(s) {
    asn_class = 0;
    set_type_name("UTF8string");
    (void)set_codeset(kUTF8);
}
qb_asn_UTF8String::~qb_asn_UTF8String() = default;
int qb_asn_UTF8String::is_polymorphic() const { return 0; }
int qb_asn_UTF8String::check_accepted_codeset(unsigned int cs) const { return cs == kUTF8; }
int qb_asn_UTF8String::check_preferred_codeset(unsigned int cs) const { return cs == kUTF8; }

// ---- qb_asn_directoryString ----

// The code set (and so the tag) stays unset until a value or a decode sets it.
qb_asn_directoryString::qb_asn_directoryString(security_t s) : qb_asn_charstring(s) {
    set_type_name("DirectoryString");
    asn_class = 0;
}

qb_asn_directoryString::~qb_asn_directoryString() = default;

int qb_asn_directoryString::check_type(unsigned int t, int cls) const {
    if (cls != asn_class) return 0;
    // Deliberate: VisibleString (26) is accepted as a code set but refused as an incoming tag.
    return t == kPrintable || t == kT61 || t == kBMP || t == kUniversal || t == kUTF8 || t == kIA5;
}

unsigned int qb_asn_directoryString::normalize() {
    if (!is_present() && !is_defaultable()) return kValueAbsent;
    if (codeset_index(preferred_codeset) >= 0 && convert_in_place(*this, preferred_codeset) == 0) return kOk;
    for (unsigned int cs : kNormalizeOrder)
        if (check_preferred_codeset(cs) && convert_in_place(*this, cs) == 0) return kOk;
    if (check_preferred_codeset(kUniversal)) return convert2Univ();
    for (unsigned int cs : kNormalizeOrder)
        if (convert_in_place(*this, cs) == 0) return kOk;
    return convert2Univ();
}

int qb_asn_directoryString::check_accepted_codeset(unsigned int cs) const {
    return cs == kPrintable || cs == kVisible || cs == kT61 || cs == kUniversal || cs == kBMP || cs == kIA5 ||
           cs == kUTF8;
}

int qb_asn_directoryString::check_preferred_codeset(unsigned int cs) const {
    return cs == kPrintable || cs == kT61 || cs == kUniversal || cs == kUTF8;
}

unsigned int qb_asn_directoryString::set_preferred_codeset(unsigned int cs) {
    // Deliberate: a value that converts to PrintableString ends there, preferred_codeset untouched, whatever cs asked for.
    if (convert2printable() == 0) return kOk;
    unsigned int rc;
    switch (cs) {
        case kUTF8: rc = convert2UTF8(); break;
        case kT61: rc = convert2T61(); break;
        case kUniversal: rc = convert2Univ(); break;
        case kBMP: rc = convert2BMP(); break;
        default: rc = 0xFFFFFFFFu; break;  // not a code set this call can prefer
    }
    if (rc == 0) preferred_codeset = cs;
    return rc;
}

// ---- qbasnUTF8String ----

qbasnUTF8String::qbasnUTF8String(security_t mode) : qb_asn_UTF8String(mode) { set_type_name("qbUTF8string"); }

qbasnUTF8String::~qbasnUTF8String() = default;

unsigned int qbasnUTF8String::set_default_value(qb_asn_object* d) { return qb_asn_octetstring::set_default_value(d); }

unsigned int qbasnUTF8String::set_value(const char* s) {
    qb::detail::text_block utf8;
    const unsigned char* p = nullptr;
    size_t n = 0;
    qb::detail::utf8_octets_of(s, secure == security_lcs, utf8, p, n);
    (void)qb_asn_octetstring::set_value(p, static_cast<unsigned int>(n));
    return kOk;
}

unsigned int qbasnUTF8String::set_value(const unsigned char* s) {
    return set_value(reinterpret_cast<const char*>(s));
}

unsigned int qbasnUTF8String::get_value(char*& out) const {
    out = nullptr;
    unsigned char* p = nullptr;
    unsigned int n = 0;
    (void)qb_asn_octetstring::get_value(p, n);  // an absent value reads as empty
    return qb::detail::utf8_text_copy(p, n, secure == security_lcs, out);
}

unsigned int qbasnUTF8String::get_value(unsigned char*& out) const {
    char* text = nullptr;
    const unsigned int rc = get_value(text);
    out = reinterpret_cast<unsigned char*>(text);
    return rc;
}

unsigned int qbasnUTF8String::set_default_value() { return set_value_UTF8(""); }
