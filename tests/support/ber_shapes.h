// tests/support/ber_shapes.h - rewriting well-formed BER for hostile-input
// tests: the same message with every constructed frame in the indefinite
// form, and the offsets at which its frames start.
//
// The input must be well-formed BER (as the library writes it); on anything
// else the functions stop where the input stops making sense and report it
// through their result, never reading outside the input.
#ifndef QBASN_TESTS_SUPPORT_BER_SHAPES_H
#define QBASN_TESTS_SUPPORT_BER_SHAPES_H

#include <cstddef>
#include <vector>

namespace qb_test {

// ber_frame_walk: identifier and length of the frame at `pos`; false when
// they do not fit in `end`. A definite frame's content is [content, content
// + length); an indefinite one has definite = false.
struct ber_header {
    size_t identifier_len = 0;
    size_t content = 0;
    size_t length = 0;
    bool constructed = false;
    bool definite = true;
};

inline bool read_ber_header(const std::vector<unsigned char>& b, size_t pos, size_t end, ber_header& h) {
    if (pos >= end) return false;
    size_t p = pos;
    h.constructed = (b[p] & 0x20) != 0;
    if ((b[p++] & 0x1F) == 0x1F) {
        while (p < end && (b[p] & 0x80) != 0) ++p;
        if (p++ >= end) return false;
    }
    h.identifier_len = p - pos;
    if (p >= end) return false;
    const unsigned char first = b[p++];
    h.definite = first != 0x80;
    h.length = 0;
    if (first > 0x80) {
        const size_t n = first & 0x7F;
        if (n > 4 || n > end - p) return false;
        for (size_t i = 0; i < n; ++i) h.length = h.length * 256 + b[p++];
    } else if (first < 0x80) {
        h.length = first;
    }
    h.content = p;
    return !h.definite || h.length <= end - p;
}

namespace detail {

// Appends the frames of b[pos, end) to `out` in the indefinite form; false on
// malformed input. Each frame's start offset in `out` goes to `starts`.
inline bool indefinite_frames(const std::vector<unsigned char>& b, size_t pos, size_t end,
                              std::vector<unsigned char>& out, std::vector<size_t>& starts) {
    while (pos < end) {
        ber_header h;
        if (!read_ber_header(b, pos, end, h) || !h.definite) return false;
        starts.push_back(out.size());
        out.insert(out.end(), b.begin() + static_cast<std::ptrdiff_t>(pos),
                   b.begin() + static_cast<std::ptrdiff_t>(pos + h.identifier_len));
        if (h.constructed) {
            out.push_back(0x80);
            if (!indefinite_frames(b, h.content, h.content + h.length, out, starts)) return false;
            out.push_back(0x00);
            out.push_back(0x00);
        } else {
            out.insert(out.end(), b.begin() + static_cast<std::ptrdiff_t>(pos + h.identifier_len),
                       b.begin() + static_cast<std::ptrdiff_t>(h.content + h.length));
        }
        pos = h.content + h.length;
    }
    return true;
}

}  // namespace detail

// indefinite_form: the frames of `ber` from offset `from` on, rewritten with
// every constructed frame in the indefinite form (octets before `from`, such
// as an envelope, are copied as they are). *starts (when given) receives the
// offset of every frame in the result, outer frames before their content.
// Returns an empty vector when the input is not well-formed definite BER.
inline std::vector<unsigned char> indefinite_form(const std::vector<unsigned char>& ber, size_t from,
                                                  std::vector<size_t>* starts = nullptr) {
    std::vector<unsigned char> out(ber.begin(), ber.begin() + static_cast<std::ptrdiff_t>(from));
    std::vector<size_t> at;
    if (!detail::indefinite_frames(ber, from, ber.size(), out, at)) return {};
    if (starts != nullptr) *starts = at;
    return out;
}

}  // namespace qb_test

#endif
