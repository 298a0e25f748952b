// tools/qbasn/content_checks.cpp - the X.690 rules behind the dump's
// findings, and the values of REALs and OBJECT IDENTIFIERs.
//
// Every function here works on a span it is given and checks each count
// against what the span holds before it reads an octet; numbers of any size
// are carried as octets, never in a machine word that could overflow.
#include "tools/qbasn/content_checks.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>

namespace qbtool {

namespace {

constexpr unsigned char kConstructedBit = 0x20;
constexpr unsigned char kHighTagNumber = 0x1F;
constexpr unsigned char kIndefiniteLength = 0x80;
constexpr unsigned char kReservedLength = 0xFF;

// The most octets of a number written out in decimal (the conversion takes
// time quadratic in the length); longer numbers are written in hex.
constexpr std::size_t kMaxDecimalOctets = 64;
// The most characters of content quoted in a finding.
constexpr std::size_t kMaxQuoted = 40;

void add(findings& out, finding_kind kind, std::string text) { out.push_back({kind, std::move(text), false}); }

// add_der_ok: a warning about a rule of values that DER does not add to.
void add_der_ok(findings& out, std::string text) { out.push_back({finding_kind::warning, std::move(text), true}); }

std::string hex2(unsigned value) {
    char s[8];
    std::snprintf(s, sizeof s, "%02X", value & 0xFFu);
    return s;
}

// quoted: the octets between double quotes, printable ASCII as it is and the
// rest as \xNN, at most kMaxQuoted octets and then "...".
std::string quoted(std::span<const unsigned char> c) {
    std::string s = "\"";
    for (std::size_t i = 0; i < c.size() && i < kMaxQuoted; ++i) {
        if (c[i] >= 0x20 && c[i] < 0x7F && c[i] != '"' && c[i] != '\\')
            s += static_cast<char>(c[i]);
        else
            s += "\\x" + hex2(c[i]);
    }
    s += "\"";
    if (c.size() > kMaxQuoted) s += "...";
    return s;
}

std::string plural(std::size_t n, const char* one, const char* many) {
    return std::to_string(n) + " " + (n == 1 ? one : many);
}

// ---- numbers as octets ----

// big: an unsigned number as big-endian octets without leading zeros.
using big = std::vector<unsigned char>;

big trimmed(std::span<const unsigned char> b) {
    std::size_t i = 0;
    while (i < b.size() && b[i] == 0) ++i;
    return big(b.begin() + static_cast<std::ptrdiff_t>(i), b.end());
}

std::string hex_text(const big& n) {
    if (n.empty()) return "0x0";
    static const char digits[] = "0123456789ABCDEF";
    std::string s = "0x";
    for (std::size_t i = 0; i < n.size(); ++i) {
        if (i != 0 || (n[i] >> 4) != 0) s += digits[n[i] >> 4];
        s += digits[n[i] & 0x0F];
    }
    return s;
}

// number_text: decimal up to kMaxDecimalOctets octets, hex beyond.
std::string number_text(const big& n) {
    if (n.size() > kMaxDecimalOctets) return hex_text(n);
    return decimal_text(n);
}

std::size_t bit_length(const big& n) {
    if (n.empty()) return 0;
    std::size_t bits = (n.size() - 1) * 8;
    for (unsigned v = n[0]; v != 0; v >>= 1) ++bits;
    return bits;
}

std::size_t trailing_zero_bits(const big& n) {
    std::size_t bits = 0;
    for (std::size_t i = n.size(); i-- > 0;) {
        if (n[i] == 0) {
            bits += 8;
            continue;
        }
        for (unsigned v = n[i]; (v & 1) == 0; v >>= 1) ++bits;
        break;
    }
    return bits;
}

// shifted_right: n >> bits (bits below the bit length of n).
big shifted_right(const big& n, std::size_t bits) {
    const std::size_t octets = bits / 8, rest = bits % 8;
    big r(n.begin(), n.end() - static_cast<std::ptrdiff_t>(octets));
    if (rest != 0) {
        unsigned carry = 0;
        for (unsigned char& o : r) {
            const unsigned v = o;
            o = static_cast<unsigned char>((v >> rest) | carry);
            carry = (v << (8 - rest)) & 0xFFu;
        }
    }
    return trimmed(r);
}

std::uint64_t low64(const big& n) {
    std::uint64_t v = 0;
    for (unsigned char o : n) v = v << 8 | o;
    return v;
}

// from_base128: the number whose base-128 digits are the low 7 bits of `digits`.
big from_base128(std::span<const unsigned char> digits) {
    big r((digits.size() * 7 + 7) / 8, 0);
    std::size_t bit = r.size() * 8;  // bits are placed from the low end
    for (std::size_t i = digits.size(); i-- > 0;) {
        for (unsigned k = 0; k < 7; ++k) {
            --bit;
            if ((digits[i] >> k & 1) != 0) r[bit / 8] = static_cast<unsigned char>(r[bit / 8] | 1u << (7 - bit % 8));
        }
    }
    return trimmed(r);
}

// minus_small: n - v, for n >= v.
big minus_small(big n, unsigned v) {
    for (std::size_t i = n.size(); i-- > 0 && v != 0;) {
        const unsigned low = v & 0xFF;
        v >>= 8;
        if (n[i] >= low) {
            n[i] = static_cast<unsigned char>(n[i] - low);
        } else {
            n[i] = static_cast<unsigned char>(n[i] + 256 - low);
            ++v;  // borrow
        }
    }
    return trimmed(n);
}

__extension__ typedef __int128 wide;

std::string wide_text(wide v) {
    if (v == 0) return "0";
    const bool negative = v < 0;
    unsigned __int128 u = negative ? static_cast<unsigned __int128>(-(v + 1)) + 1 : static_cast<unsigned __int128>(v);
    std::string s;
    while (u != 0) {
        s += static_cast<char>('0' + static_cast<int>(u % 10));
        u /= 10;
    }
    if (negative) s += '-';
    std::reverse(s.begin(), s.end());
    return s;
}

// needless_leading: the first nine bits of a two's complement number of two
// octets or more are all zeros or all ones (its first octet adds nothing).
bool needless_leading(std::span<const unsigned char> c) {
    return c.size() >= 2 && ((c[0] == 0x00 && (c[1] & 0x80) == 0) || (c[0] == 0xFF && (c[1] & 0x80) != 0));
}

// ---- REAL ----

std::optional<std::string> binary_real(std::span<const unsigned char> c, findings& out) {
    const unsigned char first = c[0];
    const bool negative = (first & 0x40) != 0;
    const unsigned base_code = (first >> 4) & 3;
    if (base_code == 3) {
        add(out, finding_kind::error, "REAL base code 11 is reserved (only bases 2, 8 and 16 exist)");
        return std::nullopt;
    }
    static const unsigned base_of[] = {2, 8, 16};
    static const unsigned log2_of[] = {1, 3, 4};
    const unsigned scale = (first >> 2) & 3;
    const unsigned exponent_form = first & 3;
    std::size_t pos = 1, exponent_octets = exponent_form + 1;
    if (exponent_form == 3) {
        if (c.size() < 2) {
            add(out, finding_kind::error, "REAL exponent length octet missing");
            return std::nullopt;
        }
        exponent_octets = c[1];
        pos = 2;
        if (exponent_octets == 0) {
            add(out, finding_kind::error, "REAL exponent of 0 octets");
            return std::nullopt;
        }
    }
    if (c.size() - pos < exponent_octets) {
        add(out, finding_kind::error,
            "REAL exponent cut off (" + plural(exponent_octets, "octet", "octets") + " announced, " +
                std::to_string(c.size() - pos) + " present)");
        return std::nullopt;
    }
    const std::span<const unsigned char> exponent = c.subspan(pos, exponent_octets);
    const std::span<const unsigned char> mantissa = c.subspan(pos + exponent_octets);
    if (mantissa.empty()) {
        add(out, finding_kind::error, "REAL without mantissa octets");
        return std::nullopt;
    }
    if (needless_leading(exponent)) {
        if (exponent_form == 3)
            add(out, finding_kind::warning, "REAL exponent has a needless leading " + hex2(exponent[0]) + " octet");
        else
            add(out, finding_kind::not_der, "REAL exponent in more octets than it needs (DER writes the fewest)");
    } else if (exponent_form == 3 && exponent_octets <= 3) {
        add(out, finding_kind::not_der, "REAL exponent length in an octet of its own, where the first octet can give it");
    }
    const big n = trimmed(mantissa);
    if (base_code != 0) add(out, finding_kind::not_der, "REAL in base " + std::to_string(base_of[base_code]) + " (DER uses base 2)");
    if (scale != 0) add(out, finding_kind::not_der, "REAL with scaling factor F=" + std::to_string(scale) + " (DER uses F=0)");
    const std::string sign = negative ? "-" : "";
    if (n.empty()) {
        add(out, finding_kind::warning, "zero written as a binary REAL (zero is written with no content octets)");
        return sign + "0";
    }
    if (mantissa[0] == 0) add(out, finding_kind::not_der, "REAL mantissa has a needless leading 00 octet");
    if ((n.back() & 1) == 0) add(out, finding_kind::not_der, "REAL with an even mantissa (DER makes it odd)");

    // The exponent as a signed number, when it fits 64 bits.
    std::size_t skip = 0;
    while (exponent.size() - skip > 1 && needless_leading(exponent.subspan(skip))) ++skip;
    const std::span<const unsigned char> e = exponent.subspan(skip);
    if (e.size() > 8) {
        // Beyond any machine word: S * N * 2^F * B^E, E written out.
        const bool e_negative = (e[0] & 0x80) != 0;
        big magnitude(e.begin(), e.end());
        if (e_negative) {  // two's complement: invert and add one
            for (unsigned char& o : magnitude) o = static_cast<unsigned char>(~o);
            for (std::size_t i = magnitude.size(); i-- > 0;)
                if (++magnitude[i] != 0) break;
        }
        std::string text = sign + number_text(n) + " * " + std::to_string(base_of[base_code]) + "^" +
                           (e_negative ? "-" : "") + number_text(trimmed(magnitude));
        if (scale != 0) text += " * 2^" + std::to_string(scale);
        return text;
    }
    std::int64_t exp = (e[0] & 0x80) != 0 ? -1 : 0;
    for (unsigned char o : e) exp = static_cast<std::int64_t>(static_cast<std::uint64_t>(exp) << 8 | o);

    // S * N * 2^F * B^E = S * M * 2^e2 with M odd.
    const std::size_t zeros = trailing_zero_bits(n);
    const big m = zeros != 0 ? shifted_right(n, zeros) : n;
    const wide e2 = static_cast<wide>(scale) + static_cast<wide>(log2_of[base_code]) * exp + static_cast<wide>(zeros);
    const std::size_t bits = bit_length(m);
    if (e2 == 0) return sign + number_text(m);
    if (e2 > 0 && static_cast<wide>(bits) + e2 <= 64) return sign + std::to_string(low64(m) << static_cast<int>(e2));
    if (bits <= 53 && e2 >= -1074 && static_cast<wide>(bits) + e2 <= 1024) {
        const double value = std::ldexp(static_cast<double>(low64(m)), static_cast<int>(e2));  // exact
        char text[64];
        const std::to_chars_result r = std::to_chars(text, text + sizeof text, value);
        return sign + std::string(text, r.ptr);
    }
    return sign + number_text(m) + " * 2^" + wide_text(e2);
}

bool is_digit(unsigned char c) { return c >= '0' && c <= '9'; }

std::optional<std::string> decimal_real(std::span<const unsigned char> c, findings& out) {
    const unsigned form = c[0] & 0x3F;
    if (form < 1 || form > 3) {
        add(out, finding_kind::error, "decimal REAL in form " + std::to_string(form) + " (only NR1, NR2 and NR3 exist)");
        return std::nullopt;
    }
    const std::span<const unsigned char> t = c.subspan(1);
    // ISO 6093: leading spaces, a sign, digits with a decimal mark ('.' or
    // ','), an exponent after 'E' or 'e'.
    std::size_t i = 0;
    while (i < t.size() && t[i] == ' ') ++i;
    const std::size_t start = i;
    if (i < t.size() && (t[i] == '+' || t[i] == '-')) ++i;
    std::size_t digits = 0;
    bool nonzero = false, mark = false, exponent = false;
    for (; i < t.size() && (is_digit(t[i]) || ((t[i] == '.' || t[i] == ',') && !mark)); ++i) {
        if (t[i] == '.' || t[i] == ',') {
            mark = true;
        } else {
            ++digits;
            nonzero = nonzero || t[i] != '0';
        }
    }
    bool readable = digits > 0;
    if (readable && i < t.size() && (t[i] == 'E' || t[i] == 'e')) {
        exponent = true;
        ++i;
        if (i < t.size() && (t[i] == '+' || t[i] == '-')) ++i;
        const std::size_t exponent_start = i;
        while (i < t.size() && is_digit(t[i])) ++i;
        readable = i > exponent_start;
    }
    readable = readable && i == t.size();
    static const char* const form_names[] = {"", "NR1", "NR2", "NR3"};
    const std::string name = form_names[form];
    if (!readable) {
        add(out, finding_kind::error, "decimal REAL " + quoted(t) + " is not a number in the " + name + " form");
        return std::nullopt;
    }
    if (form == 1 && (mark || exponent))
        add(out, finding_kind::warning, "decimal REAL " + quoted(t) + " is marked NR1 but has a decimal mark or exponent");
    if (form == 2 && (!mark || exponent))
        add(out, finding_kind::warning, "decimal REAL " + quoted(t) + " is marked NR2 but " + (exponent ? "has an exponent" : "has no decimal mark"));
    if (form == 3 && (!mark || !exponent))
        add(out, finding_kind::warning, "decimal REAL " + quoted(t) + " is marked NR3 but has no " + (exponent ? "decimal mark" : "exponent"));
    if (!nonzero) {
        add(out, finding_kind::warning, "zero written as a decimal REAL (zero is written with no content octets)");
    } else {
        // DER: NR3 with no spaces, the mantissa an integer without leading
        // or trailing zeros followed by ".", then "E" and the exponent
        // ("+0", or without "+" and leading zeros): 314.E-2, 1.E+0.
        std::size_t k = 0;
        bool canonical = form == 3;
        if (k < t.size() && t[k] == '-') ++k;
        if (canonical) canonical = k < t.size() && t[k] >= '1' && t[k] <= '9';
        while (canonical && k < t.size() && is_digit(t[k])) ++k;
        canonical = canonical && t[k - 1] != '0' && k + 2 < t.size() && t[k] == '.' && t[k + 1] == 'E';
        if (canonical) {
            const std::span<const unsigned char> x = t.subspan(k + 2);
            if (x.size() == 2 && x[0] == '+' && x[1] == '0') {
                // the exponent zero
            } else {
                std::size_t j = x[0] == '-' ? 1 : 0;
                canonical = j < x.size() && x[j] >= '1' && x[j] <= '9';
                while (canonical && j < x.size()) canonical = is_digit(x[j++]);
            }
        }
        if (!canonical)
            add(out, finding_kind::not_der, "decimal REAL " + quoted(t) + " is not in the NR3 form DER writes (such as \"314.E-2\")");
    }
    return std::string(t.begin() + static_cast<std::ptrdiff_t>(start), t.end());
}

// ---- character strings and times ----

bool printable_char(unsigned char c) {
    if ((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || is_digit(c)) return true;
    switch (c) {
        case ' ': case '\'': case '(': case ')': case '+': case ',': case '-': case '.': case '/': case ':':
        case '=': case '?':
            return true;
        default:
            return false;
    }
}

void check_charset(std::uint64_t tag, std::span<const unsigned char> c, findings& out) {
    for (unsigned char o : c) {
        bool ok = true;
        switch (tag) {
            case utag::numeric_string: ok = is_digit(o) || o == ' '; break;
            case utag::printable_string: ok = printable_char(o); break;
            case utag::ia5_string: ok = o < 0x80; break;
            case utag::visible_string: ok = o >= 0x20 && o < 0x7F; break;
            default: break;
        }
        if (!ok) {
            const unsigned char one[] = {o};
            add_der_ok(out,
                std::string(universal_name(tag)) + " holds " + quoted(one) + " (" + hex2(o) + "), which is not one of its characters");
            return;
        }
    }
}

// two_digits: the number of the two digits at t[i], or -1.
int two_digits(std::span<const unsigned char> t, std::size_t i) {
    if (i + 2 > t.size() || !is_digit(t[i]) || !is_digit(t[i + 1])) return -1;
    return (t[i] - '0') * 10 + (t[i + 1] - '0');
}

// time_fields_ok: month, day, hour, minutes and seconds in their ranges
// (seconds up to 60 for a leap second); -1 for a field that is absent.
bool time_fields_ok(int month, int day, int hour, int minute, int second) {
    return month >= 1 && month <= 12 && day >= 1 && day <= 31 && hour >= 0 && hour <= 23 && minute <= 59 && second <= 60;
}

// zone_ok: "Z", "+hhmm" or "-hhmm" (GeneralizedTime also "+hh") from t[i] to the end.
bool zone_ok(std::span<const unsigned char> t, std::size_t i, bool hours_alone) {
    if (i == t.size()) return false;
    if (t[i] == 'Z') return i + 1 == t.size();
    if (t[i] != '+' && t[i] != '-') return false;
    const int hh = two_digits(t, i + 1);
    if (hh < 0 || hh > 23) return false;
    if (hours_alone && i + 3 == t.size()) return true;
    const int mm = two_digits(t, i + 3);
    return mm >= 0 && mm <= 59 && i + 5 == t.size();
}

void check_utc_time(std::span<const unsigned char> t, findings& out) {
    // YYMMDDhhmm[ss](Z|+hhmm|-hhmm)
    bool ok = t.size() >= 11;
    int second = -1;
    std::size_t zone = 10;
    if (ok) {
        for (std::size_t i = 0; i < 10; ++i) ok = ok && is_digit(t[i]);
        if (ok && t.size() > 12 && is_digit(t[10])) {
            second = two_digits(t, 10);
            ok = second >= 0;
            zone = 12;
        }
        ok = ok && time_fields_ok(two_digits(t, 2), two_digits(t, 4), two_digits(t, 6), two_digits(t, 8), second) &&
             zone_ok(t, zone, false);
    }
    if (!ok) {
        add_der_ok(out, "UTCTime " + quoted(t) + " is not of the form YYMMDDhhmm[ss]Z (or with +hhmm or -hhmm)");
        return;
    }
    if (second < 0 || t[zone] != 'Z')
        add(out, finding_kind::not_der, "UTCTime " + quoted(t) + " is not of the form YYMMDDhhmmssZ DER writes");
}

void check_generalized_time(std::span<const unsigned char> t, findings& out) {
    // YYYYMMDDhh[mm[ss]][(.|,)fraction][Z|+hh[mm]|-hh[mm]]
    bool ok = t.size() >= 10;
    for (std::size_t i = 0; ok && i < 10; ++i) ok = is_digit(t[i]);
    std::size_t i = 10;
    int minute = -1, second = -1;
    if (ok && two_digits(t, i) >= 0) {
        minute = two_digits(t, i);
        i += 2;
        if (two_digits(t, i) >= 0) {
            second = two_digits(t, i);
            i += 2;
        }
    }
    bool fraction = false, dot = true, trailing_zero = false;
    if (ok && i < t.size() && (t[i] == '.' || t[i] == ',')) {
        dot = t[i] == '.';
        const std::size_t from = ++i;
        while (i < t.size() && is_digit(t[i])) ++i;
        ok = i > from;
        fraction = true;
        trailing_zero = ok && t[i - 1] == '0';
    }
    ok = ok && time_fields_ok(two_digits(t, 4), two_digits(t, 6), two_digits(t, 8), minute, second) &&
         (i == t.size() || zone_ok(t, i, true));
    if (!ok) {
        add_der_ok(out,
            "GeneralizedTime " + quoted(t) + " is not of the form YYYYMMDDhh[mm[ss]][.fraction][Z or an offset]");
        return;
    }
    if (second < 0 || i == t.size() || t[i] != 'Z' || (fraction && (!dot || trailing_zero)))
        add(out, finding_kind::not_der,
            "GeneralizedTime " + quoted(t) + " is not of the form YYYYMMDDhhmmss[.fraction]Z DER writes "
            "(seconds, Z, a '.' and no trailing zero in the fraction)");
}

}  // namespace

// ---- identifier and length octets ----

bool read_ber_header(std::span<const unsigned char> b, std::size_t pos, std::size_t end, ber_header& h, std::string& why) {
    h = ber_header{};
    h.offset = pos;
    const unsigned char first = b[pos++];
    h.cls = first >> 6;
    h.constructed = (first & kConstructedBit) != 0;
    if ((first & kHighTagNumber) != kHighTagNumber) {
        h.tag = first & kHighTagNumber;
    } else {
        // High tag number: base-128 digits, the last without bit 8. The
        // identifier is read to its end whatever its size; a number beyond
        // 64 bits is only noted.
        std::uint64_t tag = 0;
        for (;;) {
            if (pos >= end) {
                why = "identifier octets cut off (high tag number without its last octet)";
                h.cut_off = true;
        return false;
            }
            const unsigned char c = b[pos++];
            if (++h.tag_octets == 1 && c == 0x80) h.tag_padded = true;
            if (!h.tag_too_large) {
                if (tag > (UINT64_MAX >> 7))
                    h.tag_too_large = true;
                else
                    tag = tag << 7 | (c & 0x7F);
            }
            if ((c & 0x80) == 0) break;
        }
        h.tag = h.tag_too_large ? 0 : tag;
    }
    if (pos >= end) {
        why = "length octets missing";
        h.cut_off = true;
        return false;
    }
    const unsigned char len0 = b[pos++];
    if (len0 == kIndefiniteLength) {
        h.definite = false;
    } else if (len0 == kReservedLength) {
        why = "length octet FF is reserved";
        return false;
    } else if (len0 < 0x80) {
        h.length = len0;
    } else {
        const std::size_t n = len0 & 0x7F;
        if (n > end - pos) {
            why = "length octets cut off (" + std::to_string(n) + " announced, " + std::to_string(end - pos) + " left)";
            h.cut_off = true;
            return false;
        }
        h.length_octets = n;
        std::size_t i = 0;
        while (i < n && b[pos + i] == 0) ++i;
        h.length_zeros = i;
        if (n - i > 8) {
            why = "length larger than 32 bits (a number of " + std::to_string(n - i) + " octets)";
            return false;
        }
        std::uint64_t len = 0;
        for (; i < n; ++i) len = len << 8 | b[pos + i];
        pos += n;
        h.length = len;
    }
    h.content = pos;
    return true;
}

const char* universal_name(std::uint64_t tag) {
    static const char* const names[] = {
        "EOC",             "BOOLEAN",          "INTEGER",         "BIT STRING",      "OCTET STRING",
        "NULL",            "OBJECT IDENTIFIER", "ObjectDescriptor", "EXTERNAL",      "REAL",
        "ENUMERATED",      "EMBEDDED PDV",     "UTF8String",      "RELATIVE-OID",    "TIME",
        nullptr,           "SEQUENCE",         "SET",             "NumericString",   "PrintableString",
        "T61String",       "VideotexString",   "IA5String",       "UTCTime",         "GeneralizedTime",
        "GraphicString",   "VisibleString",    "GeneralString",   "UniversalString", "CHARACTER STRING",
        "BMPString",       "DATE",             "TIME-OF-DAY",     "DATE-TIME",       "DURATION",
        "OID-IRI",         "RELATIVE-OID-IRI",
    };
    return tag < sizeof names / sizeof names[0] ? names[tag] : nullptr;
}

std::string tag_name(const ber_header& h) {
    static const char* const classes[] = {"UNIVERSAL", "APPLICATION", "CONTEXT", "PRIVATE"};
    const std::string cls = classes[h.cls & 3];
    if (h.tag_too_large) return "[" + cls + " >64 bits]";
    const char* name = h.cls == kClassUniversal ? universal_name(h.tag) : nullptr;
    if (name != nullptr) return name;
    if (h.tag <= UINT32_MAX) return "[" + cls + " " + std::to_string(h.tag) + "]";
    char hex[24];
    std::snprintf(hex, sizeof hex, "0x%llX", static_cast<unsigned long long>(h.tag));
    return "[" + cls + " " + hex + "]";
}

bool is_string_type(std::uint64_t tag) {
    switch (tag) {
        case utag::bit_string: case utag::octet_string: case utag::object_descriptor: case utag::utf8_string:
        case utag::numeric_string: case utag::printable_string: case utag::t61_string: case utag::videotex_string:
        case utag::ia5_string: case utag::utc_time: case utag::generalized_time: case utag::graphic_string:
        case utag::visible_string: case utag::general_string: case utag::universal_string: case utag::bmp_string:
            return true;
        default:
            return false;
    }
}

void header_findings(const ber_header& h, const ber_header* parent, bool last, std::span<const unsigned char> content,
                     findings& out) {
    // The identifier octets.
    if (h.tag_octets > 0) {
        if (h.tag_too_large) {
            add(out, finding_kind::error,
                "tag number larger than 64 bits (" + plural(h.tag_octets, "octet", "octets") + " after the first)");
        } else if (h.tag < 31) {
            add(out, finding_kind::warning,
                "tag number " + std::to_string(h.tag) + " in the high-tag-number form, which only numbers from 31 need");
        } else if (h.tag > UINT32_MAX) {
            add_der_ok(out, "tag number beyond 32 bits (few decoders read it)");
        }
        if (h.tag_padded) add(out, finding_kind::warning, "tag number with a needless leading 80 octet");
    }
    // The length octets.
    if (h.length_octets > 0) {
        if (h.length < 128)
            add(out, finding_kind::warning,
                "length " + std::to_string(h.length) + " in the long form (" + plural(h.length_octets + 1, "octet", "octets") +
                    "), where the short form (one octet) does");
        else if (h.length_zeros > 0)
            add(out, finding_kind::warning,
                "length " + std::to_string(h.length) + " with " + plural(h.length_zeros, "leading zero octet", "leading zero octets"));
    }
    if (!h.definite && h.constructed) add(out, finding_kind::not_der, "indefinite length");

    const bool universal = h.cls == kClassUniversal && !h.tag_too_large;
    if (universal) {
        const char* name = universal_name(h.tag);
        switch (h.tag) {
            case utag::eoc:
                if (h.constructed)
                    add(out, finding_kind::error, "end-of-contents in the constructed form (it is the two octets 00 00)");
                else if (!h.definite)
                    add(out, finding_kind::error, "end-of-contents with an indefinite length (it is the two octets 00 00)");
                else if (h.length != 0)
                    add(out, finding_kind::error,
                        "end-of-contents with length " + std::to_string(h.length) + " (it is the two octets 00 00)");
                else if (h.tag_octets > 0 || h.length_octets > 0)
                    add(out, finding_kind::error, "end-of-contents written in more octets than 00 00");
                else if (parent == nullptr)
                    add(out, finding_kind::error, "end-of-contents outside an indefinite length");
                else if (parent->definite)
                    add(out, finding_kind::error, "end-of-contents inside a definite length");
                break;
            case utag::boolean: case utag::integer: case utag::null: case utag::oid: case utag::real:
            case utag::enumerated: case utag::relative_oid:
                if (h.constructed) add(out, finding_kind::error, std::string(name) + " must be primitive");
                break;
            case utag::sequence: case utag::set: case utag::external: case utag::embedded_pdv: case utag::character_string:
                if (!h.constructed) add(out, finding_kind::error, std::string(name) + " must be constructed");
                break;
            default:
                if (h.constructed && is_string_type(h.tag))
                    add(out, finding_kind::not_der, "constructed " + std::string(name) + " (DER writes strings primitive)");
        }
    }

    // A segment of a constructed string: BIT STRINGs in a BIT STRING,
    // OCTET STRINGs in every other string type (X.690 writes a character
    // string as an OCTET STRING with the string's tag).
    if (parent != nullptr && parent->cls == kClassUniversal && !parent->tag_too_large && parent->constructed &&
        is_string_type(parent->tag) && !(universal && h.tag == utag::eoc)) {
        const bool bits = parent->tag == utag::bit_string;
        const std::uint64_t want = bits ? utag::bit_string : utag::octet_string;
        if (!universal || h.tag != want) {
            add(out, finding_kind::error,
                std::string("a segment of a constructed ") + universal_name(parent->tag) + " must be " +
                    (bits ? "a BIT STRING" : "an OCTET STRING") + ", not " + tag_name(h));
        } else if (bits && !h.constructed && !last && !content.empty() && content[0] != 0 && content[0] <= 7) {
            add(out, finding_kind::error,
                "unused bits (" + std::to_string(content[0]) + ") in a segment of a BIT STRING that is not its last");
        }
    }
}

// ---- content ----

void check_primitive(std::uint64_t tag, std::span<const unsigned char> c, findings& out) {
    switch (tag) {
        case utag::boolean:
            if (c.size() != 1)
                add(out, finding_kind::error, "BOOLEAN content must be one octet, not " + std::to_string(c.size()));
            else if (c[0] != 0x00 && c[0] != 0xFF)
                add(out, finding_kind::not_der, "BOOLEAN TRUE written as " + hex2(c[0]) + " (DER writes FF)");
            break;
        case utag::integer:
        case utag::enumerated:
            if (c.empty())
                add(out, finding_kind::error, std::string(universal_name(tag)) + " with no content octets");
            else if (needless_leading(c))
                add(out, finding_kind::warning, std::string(universal_name(tag)) + " has a needless leading " + hex2(c[0]) + " octet");
            break;
        case utag::null:
            if (!c.empty()) add(out, finding_kind::error, "NULL with " + plural(c.size(), "content octet", "content octets") + " (it has none)");
            break;
        case utag::bit_string:
            if (c.empty())
                add(out, finding_kind::error, "BIT STRING without its unused-bits octet");
            else if (c[0] > 7)
                add(out, finding_kind::error, "unused-bits octet " + std::to_string(c[0]) + " is more than 7");
            else if (c[0] != 0 && c.size() == 1)
                add(out, finding_kind::error, std::to_string(c[0]) + " unused bits in a BIT STRING without data octets");
            else if (c[0] != 0 && (c.back() & ((1u << c[0]) - 1)) != 0)
                add(out, finding_kind::not_der, "the " + plural(c[0], "unused bit", "unused bits") + " of the last octet are not zero");
            break;
        case utag::oid:
        case utag::relative_oid: {
            const std::string name = universal_name(tag);
            if (c.empty()) {
                add(out, finding_kind::error, name + " with no content octets");
                break;
            }
            if ((c.back() & 0x80) != 0) {
                add(out, finding_kind::error, name + " ends inside a sub-identifier (its last octet has bit 8 set)");
                break;
            }
            std::size_t index = 0, padded = 0, first_padded = 0;
            bool starting = true;
            for (unsigned char o : c) {
                if (starting) {
                    ++index;
                    if (o == 0x80 && padded++ == 0) first_padded = index;
                }
                starting = (o & 0x80) == 0;
            }
            if (padded > 0)
                add(out, finding_kind::warning,
                    "sub-identifier " + std::to_string(first_padded) + " of the " + name + " has a needless leading 80 octet" +
                        (padded > 1 ? " (and " + std::to_string(padded - 1) + " more)" : ""));
            break;
        }
        case utag::real:
            (void)real_text(c, out);
            break;
        case utag::numeric_string:
        case utag::printable_string:
        case utag::ia5_string:
        case utag::visible_string:
            check_charset(tag, c, out);
            break;
        case utag::bmp_string:
            if (c.size() % 2 != 0) add(out, finding_kind::error, "BMPString of an odd number of octets (" + std::to_string(c.size()) + ")");
            break;
        case utag::universal_string:
            if (c.size() % 4 != 0)
                add(out, finding_kind::error, "UniversalString of " + std::to_string(c.size()) + " octets, not a multiple of 4");
            break;
        case utag::utc_time:
            check_utc_time(c, out);
            break;
        case utag::generalized_time:
            check_generalized_time(c, out);
            break;
        default:
            break;
    }
}

std::optional<std::string> real_text(std::span<const unsigned char> c, findings& out) {
    if (c.empty()) return std::string("0");
    const unsigned char first = c[0];
    if ((first & 0x80) != 0) return binary_real(c, out);
    if ((first & 0xC0) == 0) return decimal_real(c, out);
    if (c.size() != 1) {
        add(out, finding_kind::error,
            "REAL value " + hex2(first) + " followed by " + plural(c.size() - 1, "octet", "octets") + " (it is one octet alone)");
        return std::nullopt;
    }
    switch (first) {
        case 0x40: return std::string("PLUS-INFINITY");
        case 0x41: return std::string("MINUS-INFINITY");
        case 0x42: return std::string("NOT-A-NUMBER");
        case 0x43: return std::string("-0");
        default:
            add(out, finding_kind::error,
                "REAL value " + hex2(first) + " is reserved (40 to 43 are the infinities, NOT-A-NUMBER and minus zero)");
            return std::nullopt;
    }
}

std::optional<std::string> oid_text(std::span<const unsigned char> c, bool absolute) {
    if (c.empty() || (c.back() & 0x80) != 0) return std::nullopt;
    std::string dotted;
    std::size_t start = 0;
    for (std::size_t i = 0; i < c.size(); ++i) {
        if ((c[i] & 0x80) != 0) continue;
        const big arc = from_base128(c.subspan(start, i + 1 - start));
        if (start == 0 && absolute) {
            // The first sub-identifier holds two arcs: 40 * X + Y (X up to 2).
            if (arc.size() <= 1 && (arc.empty() ? 0u : arc[0]) < 80) {
                const unsigned v = arc.empty() ? 0u : arc[0];
                dotted = std::to_string(v / 40) + "." + std::to_string(v % 40);
            } else {
                dotted = "2." + number_text(minus_small(arc, 80));
            }
        } else {
            if (!dotted.empty()) dotted += '.';
            dotted += number_text(arc);
        }
        start = i + 1;
    }
    return dotted;
}

std::string decimal_text(std::span<const unsigned char> big_endian) {
    // Base 10^9 digits, least significant first.
    std::vector<std::uint32_t> digits;
    for (unsigned char o : big_endian) {
        std::uint64_t carry = o;
        for (std::uint32_t& d : digits) {
            const std::uint64_t v = static_cast<std::uint64_t>(d) * 256 + carry;
            d = static_cast<std::uint32_t>(v % 1000000000u);
            carry = v / 1000000000u;
        }
        while (carry != 0) {
            digits.push_back(static_cast<std::uint32_t>(carry % 1000000000u));
            carry /= 1000000000u;
        }
    }
    if (digits.empty()) return "0";
    std::string s = std::to_string(digits.back());
    for (std::size_t i = digits.size() - 1; i-- > 0;) {
        char nine[16];
        std::snprintf(nine, sizeof nine, "%09u", static_cast<unsigned>(digits[i]));
        s += nine;
    }
    return s;
}

}  // namespace qbtool
