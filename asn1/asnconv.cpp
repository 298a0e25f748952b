// asn1/asnconv.cpp - code-set converters and their character tables.
//
// Every converter reads its source through a qb_r_buffer_t and appends to a
// qb_buffer_t. The code sets as these functions see them:
//   Universal  4 octets a character, big-endian (UCS-4);
//   BMP        2 octets a character, big-endian (UCS-2; surrogates are plain
//              values, never paired);
//   UTF-8      the early 1-to-6-octet form (values up to 0x7FFFFFFF);
//   IA5        1 octet a character, read as a Latin-1 code point, so octets
//              0x80-0xFF travel the Universal, BMP and UTF-8 routes as
//              U+0080-U+00FF;
//   T.61       Teletex, an accented letter as a diacritic prefix octet
//              (0xC1-0xCF) followed by its base letter;
//   Printable, Visible  1 octet a character, checked against a table.
//
// Source octets are only ever read through the view's operator[], which
// yields the view's filler octet (0) for an index at or past the end. The
// decoders that read a fixed group of octets for a character (Universal 4,
// BMP 2, UTF-8 1-6 following its lead octet, a T.61 prefix and its letter)
// read the group without first checking that it is all there.
// Deliberate: a short last group is completed with filler octets and converted like any other, not refused.
// This holds for every walk alike, U2BMP, U2IA5 and BMP2IA5 included: they
// walk whole characters in steps of 4, 4 and 2 octets, and a short last group
// counts as a character (so "00 00 41" to BMP gives 41 00, and "00 41" to
// IA5 reads 0x0041_0000 and fails).
//
// Destination on failure, per function:
//   UTF82U, UTF82BMP, UTF82IA5     keep what was appended so far;
//   U2BMP, U2IA5, BMP2IA5,
//   IA52T61, T612BMP               cut back to the length at entry;
//   T612IA5                        unchanged (T612BMP writes to a scratch
//                                  buffer, BMP2IA5 cuts back);
//   IA52P, IA52V                   untouched (checked before anything is
//                                  written; on success cleared, then the
//                                  source appended);
//   P2IA5, V2IA5                   never fail: cleared, then the source
//                                  appended.
// An out-of-memory exception from the buffer propagates; the cut-back
// converters cut back on it too.
//
// A source view that lies inside the destination's own block (a buffer
// converted into itself) is first copied to a scratch buffer, so growing the
// destination never leaves the reader on freed memory.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>

#include "asn1/asnstrng.h"
#include "asn1/internal/status.h"

using qb::detail::kConversionFailed;
using qb::detail::kOk;

// ---- character tables ----

// printableStringCharacterIA5_table / visibleStringCharacterIA5_table: 1 for
// space ' ( ) + , - . / 0-9 : ? A-Z a-z (0x20, 0x27-0x29, 0x2B-0x3A, 0x3F,
// 0x41-0x5A, 0x61-0x7A), 0 for every other octet.
// Deliberate: the two tables are identical, the equals sign is in neither, and Visible is no wider than Printable.
const unsigned int printableStringCharacterIA5_table[256] = {
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // 0x00
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // 0x10
    1, 0, 0, 0, 0, 0, 0, 1, 1, 1, 0, 1, 1, 1, 1, 1,  // 0x20
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 1,  // 0x30
    0, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,  // 0x40
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0,  // 0x50
    0, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,  // 0x60
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0,  // 0x70
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // 0x80
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // 0x90
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // 0xA0
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // 0xB0
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // 0xC0
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // 0xD0
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // 0xE0
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // 0xF0
};

const unsigned int visibleStringCharacterIA5_table[256] = {
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // 0x00
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // 0x10
    1, 0, 0, 0, 0, 0, 0, 1, 1, 1, 0, 1, 1, 1, 1, 1,  // 0x20
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 1,  // 0x30
    0, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,  // 0x40
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0,  // 0x50
    0, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,  // 0x60
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0,  // 0x70
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // 0x80
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // 0x90
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // 0xA0
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // 0xB0
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // 0xC0
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // 0xD0
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // 0xE0
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // 0xF0
};

// Local2IA5_table: indexed by the local octet read as a signed char plus 128,
// so entries 0x00-0x7F stand for the octets 0x80-0xFF (no IA5 value, -1) and
// entries 0x80-0xFF for the octets 0x00-0x7F (themselves).
const int Local2IA5_table[256] = {
    -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1,  // 0x00
    -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1,  // 0x10
    -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1,  // 0x20
    -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1,  // 0x30
    -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1,  // 0x40
    -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1,  // 0x50
    -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1,  // 0x60
    -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1,  // 0x70
    0x00, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08, 0x09, 0x0A, 0x0B, 0x0C, 0x0D, 0x0E, 0x0F,  // 0x80
    0x10, 0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17, 0x18, 0x19, 0x1A, 0x1B, 0x1C, 0x1D, 0x1E, 0x1F,  // 0x90
    0x20, 0x21, 0x22, 0x23, 0x24, 0x25, 0x26, 0x27, 0x28, 0x29, 0x2A, 0x2B, 0x2C, 0x2D, 0x2E, 0x2F,  // 0xA0
    0x30, 0x31, 0x32, 0x33, 0x34, 0x35, 0x36, 0x37, 0x38, 0x39, 0x3A, 0x3B, 0x3C, 0x3D, 0x3E, 0x3F,  // 0xB0
    0x40, 0x41, 0x42, 0x43, 0x44, 0x45, 0x46, 0x47, 0x48, 0x49, 0x4A, 0x4B, 0x4C, 0x4D, 0x4E, 0x4F,  // 0xC0
    0x50, 0x51, 0x52, 0x53, 0x54, 0x55, 0x56, 0x57, 0x58, 0x59, 0x5A, 0x5B, 0x5C, 0x5D, 0x5E, 0x5F,  // 0xD0
    0x60, 0x61, 0x62, 0x63, 0x64, 0x65, 0x66, 0x67, 0x68, 0x69, 0x6A, 0x6B, 0x6C, 0x6D, 0x6E, 0x6F,  // 0xE0
    0x70, 0x71, 0x72, 0x73, 0x74, 0x75, 0x76, 0x77, 0x78, 0x79, 0x7A, 0x7B, 0x7C, 0x7D, 0x7E, 0x7F,  // 0xF0
};

// IA52Local_table: indexed by the IA5 octet as unsigned; 0x00-0x7F map to
// themselves, 0x80-0xFF have no local value (-1).
const int IA52Local_table[256] = {
    0x00, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08, 0x09, 0x0A, 0x0B, 0x0C, 0x0D, 0x0E, 0x0F,  // 0x00
    0x10, 0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17, 0x18, 0x19, 0x1A, 0x1B, 0x1C, 0x1D, 0x1E, 0x1F,  // 0x10
    0x20, 0x21, 0x22, 0x23, 0x24, 0x25, 0x26, 0x27, 0x28, 0x29, 0x2A, 0x2B, 0x2C, 0x2D, 0x2E, 0x2F,  // 0x20
    0x30, 0x31, 0x32, 0x33, 0x34, 0x35, 0x36, 0x37, 0x38, 0x39, 0x3A, 0x3B, 0x3C, 0x3D, 0x3E, 0x3F,  // 0x30
    0x40, 0x41, 0x42, 0x43, 0x44, 0x45, 0x46, 0x47, 0x48, 0x49, 0x4A, 0x4B, 0x4C, 0x4D, 0x4E, 0x4F,  // 0x40
    0x50, 0x51, 0x52, 0x53, 0x54, 0x55, 0x56, 0x57, 0x58, 0x59, 0x5A, 0x5B, 0x5C, 0x5D, 0x5E, 0x5F,  // 0x50
    0x60, 0x61, 0x62, 0x63, 0x64, 0x65, 0x66, 0x67, 0x68, 0x69, 0x6A, 0x6B, 0x6C, 0x6D, 0x6E, 0x6F,  // 0x60
    0x70, 0x71, 0x72, 0x73, 0x74, 0x75, 0x76, 0x77, 0x78, 0x79, 0x7A, 0x7B, 0x7C, 0x7D, 0x7E, 0x7F,  // 0x70
    -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1,  // 0x80
    -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1,  // 0x90
    -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1,  // 0xA0
    -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1,  // 0xB0
    -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1,  // 0xC0
    -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1,  // 0xD0
    -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1,  // 0xE0
    -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1,  // 0xF0
};

namespace {

// ---- T.61 tables ----
//
// IA5 (Latin-1) to T.61, kIA5ToT61, one entry per Latin-1 octet:
//   - 0x08 0x0A 0x0C 0x0D 0x1A and 0x20-0x7E unchanged, except '#' (0x23)
//     to 0xA6 and '$' (0x24) to 0xA4, where T.61 keeps them;
//   - high octets unchanged: 0xA1 0xA2 0xA3 0xA5 0xA7 0xAB 0xB0-0xB3
//     0xB5-0xB7 0xBB 0xBC-0xBF;
//   - single-octet replacements: 0xA4->A8 0xBA->EB 0xC6->E1 0xD0->E2
//     0xD7->B4 0xD8->E9 0xDE->EC 0xDF->FB 0xE6->F1 0xF0->F2 0xF7->B8
//     0xF8->F9 0xFE->FC;
//   - accented letters as a prefix (C1 grave, C2 acute, C3 circumflex,
//     C4 tilde, C8 diaeresis, CA ring, CB cedilla) and the base letter;
//   - no mapping for 0x00-0x1F but the five above, 0x7F-0xA0, 0xA6,
//     0xA8-0xAA, 0xAC-0xAF, 0xB4, 0xB8, 0xB9.
//
// T.61 to BMP, decisions:
//   - Single octets (kT61Single): 0x08 0x0A 0x0C 0x0D 0x1A and 0x20-0x7E
//     pass as themselves ('#' 0x23 included), except 0x24, the currency sign
//     U+00A4. Above 0x7F: the inverse of every single-octet form of
//     kIA5ToT61 (0xA4 '$', 0xA6 '#', 0xA8 U+00A4, the unchanged octets as
//     themselves, the replacements back), plus the other letters of the T.61
//     upper half: E0 U+2126, E3 U+00AA, E4 U+0126, E6 U+0132, E7 U+013F,
//     E8 U+0141, EA U+0152, ED U+0166, EE U+014A, EF U+0149, F0 U+0138,
//     F3 U+0111, F4 U+0127, F5 U+0131, F6 U+0133, F7 U+0140, F8 U+0142,
//     FA U+0153, FD U+0167, FE U+014B. Every other octet has no mapping.
//   - Prefix octets 0xC1-0xCF: 0xC1 grave, C2 acute, C3 circumflex,
//     C4 tilde, C5 macron, C6 breve, C7 dot above, C8 and C9 diaeresis,
//     CA ring, CB cedilla, CC (no composition: every pair with it fails),
//     CD double acute, CE ogonek, CF caron. A prefix and the octet after it
//     become the precomposed BMP character that Unicode defines for that
//     mark on that letter (A-Z, a-z), listed in kT61Compositions; this holds
//     every pair kIA5ToT61 produces. A prefix is never a character by itself.
//   - Whatever is not mapped (an octet, or a prefix with anything but a
//     letter it composes with: a digit, a space, another prefix, a letter
//     without a precomposed form) fails with the conversion error; the
//     parts of an unknown pair are not passed on. The destination is then
//     cut back to its length at entry.
//   - A prefix as the last octet reads its letter as the filler octet (0),
//     which composes with nothing, so it fails.

// T61Form: the T.61 octets of one Latin-1 character: {} no mapping,
// {first} one octet, {prefix, letter} two.
struct T61Form {
    unsigned char first = 0;   // 0: no mapping (0x00 never maps)
    unsigned char second = 0;  // 0: a single octet
};

constexpr T61Form kIA5ToT61[256] = {
    {}, {}, {}, {}, {}, {}, {}, {},  // 0x00
    {0x08}, {}, {0x0A}, {}, {0x0C}, {0x0D}, {}, {},  // 0x08
    {}, {}, {}, {}, {}, {}, {}, {},  // 0x10
    {}, {}, {0x1A}, {}, {}, {}, {}, {},  // 0x18
    {0x20}, {0x21}, {0x22}, {0xA6}, {0xA4}, {0x25}, {0x26}, {0x27},  // 0x20
    {0x28}, {0x29}, {0x2A}, {0x2B}, {0x2C}, {0x2D}, {0x2E}, {0x2F},  // 0x28
    {0x30}, {0x31}, {0x32}, {0x33}, {0x34}, {0x35}, {0x36}, {0x37},  // 0x30
    {0x38}, {0x39}, {0x3A}, {0x3B}, {0x3C}, {0x3D}, {0x3E}, {0x3F},  // 0x38
    {0x40}, {0x41}, {0x42}, {0x43}, {0x44}, {0x45}, {0x46}, {0x47},  // 0x40
    {0x48}, {0x49}, {0x4A}, {0x4B}, {0x4C}, {0x4D}, {0x4E}, {0x4F},  // 0x48
    {0x50}, {0x51}, {0x52}, {0x53}, {0x54}, {0x55}, {0x56}, {0x57},  // 0x50
    {0x58}, {0x59}, {0x5A}, {0x5B}, {0x5C}, {0x5D}, {0x5E}, {0x5F},  // 0x58
    {0x60}, {0x61}, {0x62}, {0x63}, {0x64}, {0x65}, {0x66}, {0x67},  // 0x60
    {0x68}, {0x69}, {0x6A}, {0x6B}, {0x6C}, {0x6D}, {0x6E}, {0x6F},  // 0x68
    {0x70}, {0x71}, {0x72}, {0x73}, {0x74}, {0x75}, {0x76}, {0x77},  // 0x70
    {0x78}, {0x79}, {0x7A}, {0x7B}, {0x7C}, {0x7D}, {0x7E}, {},  // 0x78
    {}, {}, {}, {}, {}, {}, {}, {},  // 0x80
    {}, {}, {}, {}, {}, {}, {}, {},  // 0x88
    {}, {}, {}, {}, {}, {}, {}, {},  // 0x90
    {}, {}, {}, {}, {}, {}, {}, {},  // 0x98
    {}, {0xA1}, {0xA2}, {0xA3}, {0xA8}, {0xA5}, {}, {0xA7},  // 0xA0
    {}, {}, {}, {0xAB}, {}, {}, {}, {},  // 0xA8
    {0xB0}, {0xB1}, {0xB2}, {0xB3}, {}, {0xB5}, {0xB6}, {0xB7},  // 0xB0
    {}, {}, {0xEB}, {0xBB}, {0xBC}, {0xBD}, {0xBE}, {0xBF},  // 0xB8
    {0xC1, 'A'}, {0xC2, 'A'}, {0xC3, 'A'}, {0xC4, 'A'}, {0xC8, 'A'}, {0xCA, 'A'}, {0xE1}, {0xCB, 'C'},  // 0xC0
    {0xC1, 'E'}, {0xC2, 'E'}, {0xC3, 'E'}, {0xC8, 'E'}, {0xC1, 'I'}, {0xC2, 'I'}, {0xC3, 'I'}, {0xC8, 'I'},  // 0xC8
    {0xE2}, {0xC4, 'N'}, {0xC1, 'O'}, {0xC2, 'O'}, {0xC3, 'O'}, {0xC4, 'O'}, {0xC8, 'O'}, {0xB4},  // 0xD0
    {0xE9}, {0xC1, 'U'}, {0xC2, 'U'}, {0xC3, 'U'}, {0xC8, 'U'}, {0xC2, 'Y'}, {0xEC}, {0xFB},  // 0xD8
    {0xC1, 'a'}, {0xC2, 'a'}, {0xC3, 'a'}, {0xC4, 'a'}, {0xC8, 'a'}, {0xCA, 'a'}, {0xF1}, {0xCB, 'c'},  // 0xE0
    {0xC1, 'e'}, {0xC2, 'e'}, {0xC3, 'e'}, {0xC8, 'e'}, {0xC1, 'i'}, {0xC2, 'i'}, {0xC3, 'i'}, {0xC8, 'i'},  // 0xE8
    {0xF2}, {0xC4, 'n'}, {0xC1, 'o'}, {0xC2, 'o'}, {0xC3, 'o'}, {0xC4, 'o'}, {0xC8, 'o'}, {0xB8},  // 0xF0
    {0xF9}, {0xC1, 'u'}, {0xC2, 'u'}, {0xC3, 'u'}, {0xC8, 'u'}, {0xC2, 'y'}, {0xFC}, {0xC8, 'y'},  // 0xF8
};

// kT61Single: the BMP character of a single T.61 octet; 0 for no mapping
// (0x00 does not map, so U+0000 is never a result). The prefix octets
// 0xC1-0xCF are handled through kT61Compositions.
constexpr std::uint16_t kNoCharacter = 0x0000;
constexpr std::uint16_t kT61Single[256] = {
    0x0000, 0x0000, 0x0000, 0x0000, 0x0000, 0x0000, 0x0000, 0x0000,  // 0x00
    0x0008, 0x0000, 0x000A, 0x0000, 0x000C, 0x000D, 0x0000, 0x0000,  // 0x08
    0x0000, 0x0000, 0x0000, 0x0000, 0x0000, 0x0000, 0x0000, 0x0000,  // 0x10
    0x0000, 0x0000, 0x001A, 0x0000, 0x0000, 0x0000, 0x0000, 0x0000,  // 0x18
    0x0020, 0x0021, 0x0022, 0x0023, 0x00A4, 0x0025, 0x0026, 0x0027,  // 0x20
    0x0028, 0x0029, 0x002A, 0x002B, 0x002C, 0x002D, 0x002E, 0x002F,  // 0x28
    0x0030, 0x0031, 0x0032, 0x0033, 0x0034, 0x0035, 0x0036, 0x0037,  // 0x30
    0x0038, 0x0039, 0x003A, 0x003B, 0x003C, 0x003D, 0x003E, 0x003F,  // 0x38
    0x0040, 0x0041, 0x0042, 0x0043, 0x0044, 0x0045, 0x0046, 0x0047,  // 0x40
    0x0048, 0x0049, 0x004A, 0x004B, 0x004C, 0x004D, 0x004E, 0x004F,  // 0x48
    0x0050, 0x0051, 0x0052, 0x0053, 0x0054, 0x0055, 0x0056, 0x0057,  // 0x50
    0x0058, 0x0059, 0x005A, 0x005B, 0x005C, 0x005D, 0x005E, 0x005F,  // 0x58
    0x0060, 0x0061, 0x0062, 0x0063, 0x0064, 0x0065, 0x0066, 0x0067,  // 0x60
    0x0068, 0x0069, 0x006A, 0x006B, 0x006C, 0x006D, 0x006E, 0x006F,  // 0x68
    0x0070, 0x0071, 0x0072, 0x0073, 0x0074, 0x0075, 0x0076, 0x0077,  // 0x70
    0x0078, 0x0079, 0x007A, 0x007B, 0x007C, 0x007D, 0x007E, 0x0000,  // 0x78
    0x0000, 0x0000, 0x0000, 0x0000, 0x0000, 0x0000, 0x0000, 0x0000,  // 0x80
    0x0000, 0x0000, 0x0000, 0x0000, 0x0000, 0x0000, 0x0000, 0x0000,  // 0x88
    0x0000, 0x0000, 0x0000, 0x0000, 0x0000, 0x0000, 0x0000, 0x0000,  // 0x90
    0x0000, 0x0000, 0x0000, 0x0000, 0x0000, 0x0000, 0x0000, 0x0000,  // 0x98
    0x0000, 0x00A1, 0x00A2, 0x00A3, 0x0024, 0x00A5, 0x0023, 0x00A7,  // 0xA0
    0x00A4, 0x0000, 0x0000, 0x00AB, 0x0000, 0x0000, 0x0000, 0x0000,  // 0xA8
    0x00B0, 0x00B1, 0x00B2, 0x00B3, 0x00D7, 0x00B5, 0x00B6, 0x00B7,  // 0xB0
    0x00F7, 0x0000, 0x0000, 0x00BB, 0x00BC, 0x00BD, 0x00BE, 0x00BF,  // 0xB8
    0x0000, 0x0000, 0x0000, 0x0000, 0x0000, 0x0000, 0x0000, 0x0000,  // 0xC0
    0x0000, 0x0000, 0x0000, 0x0000, 0x0000, 0x0000, 0x0000, 0x0000,  // 0xC8
    0x0000, 0x0000, 0x0000, 0x0000, 0x0000, 0x0000, 0x0000, 0x0000,  // 0xD0
    0x0000, 0x0000, 0x0000, 0x0000, 0x0000, 0x0000, 0x0000, 0x0000,  // 0xD8
    0x2126, 0x00C6, 0x00D0, 0x00AA, 0x0126, 0x0000, 0x0132, 0x013F,  // 0xE0
    0x0141, 0x00D8, 0x0152, 0x00BA, 0x00DE, 0x0166, 0x014A, 0x0149,  // 0xE8
    0x0138, 0x00E6, 0x00F0, 0x0111, 0x0127, 0x0131, 0x0133, 0x0140,  // 0xF0
    0x0142, 0x00F8, 0x0153, 0x00DF, 0x00FE, 0x0167, 0x014B, 0x0000,  // 0xF8
};

constexpr unsigned char kFirstPrefix = 0xC1;
constexpr unsigned char kLastPrefix = 0xCF;

// T61Composition: a prefix octet, a base letter and their precomposed
// character.
struct T61Composition {
    unsigned char prefix;
    unsigned char letter;
    std::uint16_t code;
};

// kT61Compositions: every pair T612BMP composes, looked up by binary search.
// Do not edit by hand: regenerate the rows with tools/gen_t61_table.py.
// Generated by tools/gen_t61_table.py from the Unicode 14.0.0 character database
// (NFC of base letter + combining mark); 270 pairs, sorted by prefix, then letter.
constexpr T61Composition kT61Compositions[] = {
    {0xC1, 0x41, 0x00C0},  // LATIN CAPITAL LETTER A WITH GRAVE
    {0xC1, 0x45, 0x00C8},  // LATIN CAPITAL LETTER E WITH GRAVE
    {0xC1, 0x49, 0x00CC},  // LATIN CAPITAL LETTER I WITH GRAVE
    {0xC1, 0x4E, 0x01F8},  // LATIN CAPITAL LETTER N WITH GRAVE
    {0xC1, 0x4F, 0x00D2},  // LATIN CAPITAL LETTER O WITH GRAVE
    {0xC1, 0x55, 0x00D9},  // LATIN CAPITAL LETTER U WITH GRAVE
    {0xC1, 0x57, 0x1E80},  // LATIN CAPITAL LETTER W WITH GRAVE
    {0xC1, 0x59, 0x1EF2},  // LATIN CAPITAL LETTER Y WITH GRAVE
    {0xC1, 0x61, 0x00E0},  // LATIN SMALL LETTER A WITH GRAVE
    {0xC1, 0x65, 0x00E8},  // LATIN SMALL LETTER E WITH GRAVE
    {0xC1, 0x69, 0x00EC},  // LATIN SMALL LETTER I WITH GRAVE
    {0xC1, 0x6E, 0x01F9},  // LATIN SMALL LETTER N WITH GRAVE
    {0xC1, 0x6F, 0x00F2},  // LATIN SMALL LETTER O WITH GRAVE
    {0xC1, 0x75, 0x00F9},  // LATIN SMALL LETTER U WITH GRAVE
    {0xC1, 0x77, 0x1E81},  // LATIN SMALL LETTER W WITH GRAVE
    {0xC1, 0x79, 0x1EF3},  // LATIN SMALL LETTER Y WITH GRAVE
    {0xC2, 0x41, 0x00C1},  // LATIN CAPITAL LETTER A WITH ACUTE
    {0xC2, 0x43, 0x0106},  // LATIN CAPITAL LETTER C WITH ACUTE
    {0xC2, 0x45, 0x00C9},  // LATIN CAPITAL LETTER E WITH ACUTE
    {0xC2, 0x47, 0x01F4},  // LATIN CAPITAL LETTER G WITH ACUTE
    {0xC2, 0x49, 0x00CD},  // LATIN CAPITAL LETTER I WITH ACUTE
    {0xC2, 0x4B, 0x1E30},  // LATIN CAPITAL LETTER K WITH ACUTE
    {0xC2, 0x4C, 0x0139},  // LATIN CAPITAL LETTER L WITH ACUTE
    {0xC2, 0x4D, 0x1E3E},  // LATIN CAPITAL LETTER M WITH ACUTE
    {0xC2, 0x4E, 0x0143},  // LATIN CAPITAL LETTER N WITH ACUTE
    {0xC2, 0x4F, 0x00D3},  // LATIN CAPITAL LETTER O WITH ACUTE
    {0xC2, 0x50, 0x1E54},  // LATIN CAPITAL LETTER P WITH ACUTE
    {0xC2, 0x52, 0x0154},  // LATIN CAPITAL LETTER R WITH ACUTE
    {0xC2, 0x53, 0x015A},  // LATIN CAPITAL LETTER S WITH ACUTE
    {0xC2, 0x55, 0x00DA},  // LATIN CAPITAL LETTER U WITH ACUTE
    {0xC2, 0x57, 0x1E82},  // LATIN CAPITAL LETTER W WITH ACUTE
    {0xC2, 0x59, 0x00DD},  // LATIN CAPITAL LETTER Y WITH ACUTE
    {0xC2, 0x5A, 0x0179},  // LATIN CAPITAL LETTER Z WITH ACUTE
    {0xC2, 0x61, 0x00E1},  // LATIN SMALL LETTER A WITH ACUTE
    {0xC2, 0x63, 0x0107},  // LATIN SMALL LETTER C WITH ACUTE
    {0xC2, 0x65, 0x00E9},  // LATIN SMALL LETTER E WITH ACUTE
    {0xC2, 0x67, 0x01F5},  // LATIN SMALL LETTER G WITH ACUTE
    {0xC2, 0x69, 0x00ED},  // LATIN SMALL LETTER I WITH ACUTE
    {0xC2, 0x6B, 0x1E31},  // LATIN SMALL LETTER K WITH ACUTE
    {0xC2, 0x6C, 0x013A},  // LATIN SMALL LETTER L WITH ACUTE
    {0xC2, 0x6D, 0x1E3F},  // LATIN SMALL LETTER M WITH ACUTE
    {0xC2, 0x6E, 0x0144},  // LATIN SMALL LETTER N WITH ACUTE
    {0xC2, 0x6F, 0x00F3},  // LATIN SMALL LETTER O WITH ACUTE
    {0xC2, 0x70, 0x1E55},  // LATIN SMALL LETTER P WITH ACUTE
    {0xC2, 0x72, 0x0155},  // LATIN SMALL LETTER R WITH ACUTE
    {0xC2, 0x73, 0x015B},  // LATIN SMALL LETTER S WITH ACUTE
    {0xC2, 0x75, 0x00FA},  // LATIN SMALL LETTER U WITH ACUTE
    {0xC2, 0x77, 0x1E83},  // LATIN SMALL LETTER W WITH ACUTE
    {0xC2, 0x79, 0x00FD},  // LATIN SMALL LETTER Y WITH ACUTE
    {0xC2, 0x7A, 0x017A},  // LATIN SMALL LETTER Z WITH ACUTE
    {0xC3, 0x41, 0x00C2},  // LATIN CAPITAL LETTER A WITH CIRCUMFLEX
    {0xC3, 0x43, 0x0108},  // LATIN CAPITAL LETTER C WITH CIRCUMFLEX
    {0xC3, 0x45, 0x00CA},  // LATIN CAPITAL LETTER E WITH CIRCUMFLEX
    {0xC3, 0x47, 0x011C},  // LATIN CAPITAL LETTER G WITH CIRCUMFLEX
    {0xC3, 0x48, 0x0124},  // LATIN CAPITAL LETTER H WITH CIRCUMFLEX
    {0xC3, 0x49, 0x00CE},  // LATIN CAPITAL LETTER I WITH CIRCUMFLEX
    {0xC3, 0x4A, 0x0134},  // LATIN CAPITAL LETTER J WITH CIRCUMFLEX
    {0xC3, 0x4F, 0x00D4},  // LATIN CAPITAL LETTER O WITH CIRCUMFLEX
    {0xC3, 0x53, 0x015C},  // LATIN CAPITAL LETTER S WITH CIRCUMFLEX
    {0xC3, 0x55, 0x00DB},  // LATIN CAPITAL LETTER U WITH CIRCUMFLEX
    {0xC3, 0x57, 0x0174},  // LATIN CAPITAL LETTER W WITH CIRCUMFLEX
    {0xC3, 0x59, 0x0176},  // LATIN CAPITAL LETTER Y WITH CIRCUMFLEX
    {0xC3, 0x5A, 0x1E90},  // LATIN CAPITAL LETTER Z WITH CIRCUMFLEX
    {0xC3, 0x61, 0x00E2},  // LATIN SMALL LETTER A WITH CIRCUMFLEX
    {0xC3, 0x63, 0x0109},  // LATIN SMALL LETTER C WITH CIRCUMFLEX
    {0xC3, 0x65, 0x00EA},  // LATIN SMALL LETTER E WITH CIRCUMFLEX
    {0xC3, 0x67, 0x011D},  // LATIN SMALL LETTER G WITH CIRCUMFLEX
    {0xC3, 0x68, 0x0125},  // LATIN SMALL LETTER H WITH CIRCUMFLEX
    {0xC3, 0x69, 0x00EE},  // LATIN SMALL LETTER I WITH CIRCUMFLEX
    {0xC3, 0x6A, 0x0135},  // LATIN SMALL LETTER J WITH CIRCUMFLEX
    {0xC3, 0x6F, 0x00F4},  // LATIN SMALL LETTER O WITH CIRCUMFLEX
    {0xC3, 0x73, 0x015D},  // LATIN SMALL LETTER S WITH CIRCUMFLEX
    {0xC3, 0x75, 0x00FB},  // LATIN SMALL LETTER U WITH CIRCUMFLEX
    {0xC3, 0x77, 0x0175},  // LATIN SMALL LETTER W WITH CIRCUMFLEX
    {0xC3, 0x79, 0x0177},  // LATIN SMALL LETTER Y WITH CIRCUMFLEX
    {0xC3, 0x7A, 0x1E91},  // LATIN SMALL LETTER Z WITH CIRCUMFLEX
    {0xC4, 0x41, 0x00C3},  // LATIN CAPITAL LETTER A WITH TILDE
    {0xC4, 0x45, 0x1EBC},  // LATIN CAPITAL LETTER E WITH TILDE
    {0xC4, 0x49, 0x0128},  // LATIN CAPITAL LETTER I WITH TILDE
    {0xC4, 0x4E, 0x00D1},  // LATIN CAPITAL LETTER N WITH TILDE
    {0xC4, 0x4F, 0x00D5},  // LATIN CAPITAL LETTER O WITH TILDE
    {0xC4, 0x55, 0x0168},  // LATIN CAPITAL LETTER U WITH TILDE
    {0xC4, 0x56, 0x1E7C},  // LATIN CAPITAL LETTER V WITH TILDE
    {0xC4, 0x59, 0x1EF8},  // LATIN CAPITAL LETTER Y WITH TILDE
    {0xC4, 0x61, 0x00E3},  // LATIN SMALL LETTER A WITH TILDE
    {0xC4, 0x65, 0x1EBD},  // LATIN SMALL LETTER E WITH TILDE
    {0xC4, 0x69, 0x0129},  // LATIN SMALL LETTER I WITH TILDE
    {0xC4, 0x6E, 0x00F1},  // LATIN SMALL LETTER N WITH TILDE
    {0xC4, 0x6F, 0x00F5},  // LATIN SMALL LETTER O WITH TILDE
    {0xC4, 0x75, 0x0169},  // LATIN SMALL LETTER U WITH TILDE
    {0xC4, 0x76, 0x1E7D},  // LATIN SMALL LETTER V WITH TILDE
    {0xC4, 0x79, 0x1EF9},  // LATIN SMALL LETTER Y WITH TILDE
    {0xC5, 0x41, 0x0100},  // LATIN CAPITAL LETTER A WITH MACRON
    {0xC5, 0x45, 0x0112},  // LATIN CAPITAL LETTER E WITH MACRON
    {0xC5, 0x47, 0x1E20},  // LATIN CAPITAL LETTER G WITH MACRON
    {0xC5, 0x49, 0x012A},  // LATIN CAPITAL LETTER I WITH MACRON
    {0xC5, 0x4F, 0x014C},  // LATIN CAPITAL LETTER O WITH MACRON
    {0xC5, 0x55, 0x016A},  // LATIN CAPITAL LETTER U WITH MACRON
    {0xC5, 0x59, 0x0232},  // LATIN CAPITAL LETTER Y WITH MACRON
    {0xC5, 0x61, 0x0101},  // LATIN SMALL LETTER A WITH MACRON
    {0xC5, 0x65, 0x0113},  // LATIN SMALL LETTER E WITH MACRON
    {0xC5, 0x67, 0x1E21},  // LATIN SMALL LETTER G WITH MACRON
    {0xC5, 0x69, 0x012B},  // LATIN SMALL LETTER I WITH MACRON
    {0xC5, 0x6F, 0x014D},  // LATIN SMALL LETTER O WITH MACRON
    {0xC5, 0x75, 0x016B},  // LATIN SMALL LETTER U WITH MACRON
    {0xC5, 0x79, 0x0233},  // LATIN SMALL LETTER Y WITH MACRON
    {0xC6, 0x41, 0x0102},  // LATIN CAPITAL LETTER A WITH BREVE
    {0xC6, 0x45, 0x0114},  // LATIN CAPITAL LETTER E WITH BREVE
    {0xC6, 0x47, 0x011E},  // LATIN CAPITAL LETTER G WITH BREVE
    {0xC6, 0x49, 0x012C},  // LATIN CAPITAL LETTER I WITH BREVE
    {0xC6, 0x4F, 0x014E},  // LATIN CAPITAL LETTER O WITH BREVE
    {0xC6, 0x55, 0x016C},  // LATIN CAPITAL LETTER U WITH BREVE
    {0xC6, 0x61, 0x0103},  // LATIN SMALL LETTER A WITH BREVE
    {0xC6, 0x65, 0x0115},  // LATIN SMALL LETTER E WITH BREVE
    {0xC6, 0x67, 0x011F},  // LATIN SMALL LETTER G WITH BREVE
    {0xC6, 0x69, 0x012D},  // LATIN SMALL LETTER I WITH BREVE
    {0xC6, 0x6F, 0x014F},  // LATIN SMALL LETTER O WITH BREVE
    {0xC6, 0x75, 0x016D},  // LATIN SMALL LETTER U WITH BREVE
    {0xC7, 0x41, 0x0226},  // LATIN CAPITAL LETTER A WITH DOT ABOVE
    {0xC7, 0x42, 0x1E02},  // LATIN CAPITAL LETTER B WITH DOT ABOVE
    {0xC7, 0x43, 0x010A},  // LATIN CAPITAL LETTER C WITH DOT ABOVE
    {0xC7, 0x44, 0x1E0A},  // LATIN CAPITAL LETTER D WITH DOT ABOVE
    {0xC7, 0x45, 0x0116},  // LATIN CAPITAL LETTER E WITH DOT ABOVE
    {0xC7, 0x46, 0x1E1E},  // LATIN CAPITAL LETTER F WITH DOT ABOVE
    {0xC7, 0x47, 0x0120},  // LATIN CAPITAL LETTER G WITH DOT ABOVE
    {0xC7, 0x48, 0x1E22},  // LATIN CAPITAL LETTER H WITH DOT ABOVE
    {0xC7, 0x49, 0x0130},  // LATIN CAPITAL LETTER I WITH DOT ABOVE
    {0xC7, 0x4D, 0x1E40},  // LATIN CAPITAL LETTER M WITH DOT ABOVE
    {0xC7, 0x4E, 0x1E44},  // LATIN CAPITAL LETTER N WITH DOT ABOVE
    {0xC7, 0x4F, 0x022E},  // LATIN CAPITAL LETTER O WITH DOT ABOVE
    {0xC7, 0x50, 0x1E56},  // LATIN CAPITAL LETTER P WITH DOT ABOVE
    {0xC7, 0x52, 0x1E58},  // LATIN CAPITAL LETTER R WITH DOT ABOVE
    {0xC7, 0x53, 0x1E60},  // LATIN CAPITAL LETTER S WITH DOT ABOVE
    {0xC7, 0x54, 0x1E6A},  // LATIN CAPITAL LETTER T WITH DOT ABOVE
    {0xC7, 0x57, 0x1E86},  // LATIN CAPITAL LETTER W WITH DOT ABOVE
    {0xC7, 0x58, 0x1E8A},  // LATIN CAPITAL LETTER X WITH DOT ABOVE
    {0xC7, 0x59, 0x1E8E},  // LATIN CAPITAL LETTER Y WITH DOT ABOVE
    {0xC7, 0x5A, 0x017B},  // LATIN CAPITAL LETTER Z WITH DOT ABOVE
    {0xC7, 0x61, 0x0227},  // LATIN SMALL LETTER A WITH DOT ABOVE
    {0xC7, 0x62, 0x1E03},  // LATIN SMALL LETTER B WITH DOT ABOVE
    {0xC7, 0x63, 0x010B},  // LATIN SMALL LETTER C WITH DOT ABOVE
    {0xC7, 0x64, 0x1E0B},  // LATIN SMALL LETTER D WITH DOT ABOVE
    {0xC7, 0x65, 0x0117},  // LATIN SMALL LETTER E WITH DOT ABOVE
    {0xC7, 0x66, 0x1E1F},  // LATIN SMALL LETTER F WITH DOT ABOVE
    {0xC7, 0x67, 0x0121},  // LATIN SMALL LETTER G WITH DOT ABOVE
    {0xC7, 0x68, 0x1E23},  // LATIN SMALL LETTER H WITH DOT ABOVE
    {0xC7, 0x6D, 0x1E41},  // LATIN SMALL LETTER M WITH DOT ABOVE
    {0xC7, 0x6E, 0x1E45},  // LATIN SMALL LETTER N WITH DOT ABOVE
    {0xC7, 0x6F, 0x022F},  // LATIN SMALL LETTER O WITH DOT ABOVE
    {0xC7, 0x70, 0x1E57},  // LATIN SMALL LETTER P WITH DOT ABOVE
    {0xC7, 0x72, 0x1E59},  // LATIN SMALL LETTER R WITH DOT ABOVE
    {0xC7, 0x73, 0x1E61},  // LATIN SMALL LETTER S WITH DOT ABOVE
    {0xC7, 0x74, 0x1E6B},  // LATIN SMALL LETTER T WITH DOT ABOVE
    {0xC7, 0x77, 0x1E87},  // LATIN SMALL LETTER W WITH DOT ABOVE
    {0xC7, 0x78, 0x1E8B},  // LATIN SMALL LETTER X WITH DOT ABOVE
    {0xC7, 0x79, 0x1E8F},  // LATIN SMALL LETTER Y WITH DOT ABOVE
    {0xC7, 0x7A, 0x017C},  // LATIN SMALL LETTER Z WITH DOT ABOVE
    {0xC8, 0x41, 0x00C4},  // LATIN CAPITAL LETTER A WITH DIAERESIS
    {0xC8, 0x45, 0x00CB},  // LATIN CAPITAL LETTER E WITH DIAERESIS
    {0xC8, 0x48, 0x1E26},  // LATIN CAPITAL LETTER H WITH DIAERESIS
    {0xC8, 0x49, 0x00CF},  // LATIN CAPITAL LETTER I WITH DIAERESIS
    {0xC8, 0x4F, 0x00D6},  // LATIN CAPITAL LETTER O WITH DIAERESIS
    {0xC8, 0x55, 0x00DC},  // LATIN CAPITAL LETTER U WITH DIAERESIS
    {0xC8, 0x57, 0x1E84},  // LATIN CAPITAL LETTER W WITH DIAERESIS
    {0xC8, 0x58, 0x1E8C},  // LATIN CAPITAL LETTER X WITH DIAERESIS
    {0xC8, 0x59, 0x0178},  // LATIN CAPITAL LETTER Y WITH DIAERESIS
    {0xC8, 0x61, 0x00E4},  // LATIN SMALL LETTER A WITH DIAERESIS
    {0xC8, 0x65, 0x00EB},  // LATIN SMALL LETTER E WITH DIAERESIS
    {0xC8, 0x68, 0x1E27},  // LATIN SMALL LETTER H WITH DIAERESIS
    {0xC8, 0x69, 0x00EF},  // LATIN SMALL LETTER I WITH DIAERESIS
    {0xC8, 0x6F, 0x00F6},  // LATIN SMALL LETTER O WITH DIAERESIS
    {0xC8, 0x74, 0x1E97},  // LATIN SMALL LETTER T WITH DIAERESIS
    {0xC8, 0x75, 0x00FC},  // LATIN SMALL LETTER U WITH DIAERESIS
    {0xC8, 0x77, 0x1E85},  // LATIN SMALL LETTER W WITH DIAERESIS
    {0xC8, 0x78, 0x1E8D},  // LATIN SMALL LETTER X WITH DIAERESIS
    {0xC8, 0x79, 0x00FF},  // LATIN SMALL LETTER Y WITH DIAERESIS
    {0xC9, 0x41, 0x00C4},  // LATIN CAPITAL LETTER A WITH DIAERESIS
    {0xC9, 0x45, 0x00CB},  // LATIN CAPITAL LETTER E WITH DIAERESIS
    {0xC9, 0x48, 0x1E26},  // LATIN CAPITAL LETTER H WITH DIAERESIS
    {0xC9, 0x49, 0x00CF},  // LATIN CAPITAL LETTER I WITH DIAERESIS
    {0xC9, 0x4F, 0x00D6},  // LATIN CAPITAL LETTER O WITH DIAERESIS
    {0xC9, 0x55, 0x00DC},  // LATIN CAPITAL LETTER U WITH DIAERESIS
    {0xC9, 0x57, 0x1E84},  // LATIN CAPITAL LETTER W WITH DIAERESIS
    {0xC9, 0x58, 0x1E8C},  // LATIN CAPITAL LETTER X WITH DIAERESIS
    {0xC9, 0x59, 0x0178},  // LATIN CAPITAL LETTER Y WITH DIAERESIS
    {0xC9, 0x61, 0x00E4},  // LATIN SMALL LETTER A WITH DIAERESIS
    {0xC9, 0x65, 0x00EB},  // LATIN SMALL LETTER E WITH DIAERESIS
    {0xC9, 0x68, 0x1E27},  // LATIN SMALL LETTER H WITH DIAERESIS
    {0xC9, 0x69, 0x00EF},  // LATIN SMALL LETTER I WITH DIAERESIS
    {0xC9, 0x6F, 0x00F6},  // LATIN SMALL LETTER O WITH DIAERESIS
    {0xC9, 0x74, 0x1E97},  // LATIN SMALL LETTER T WITH DIAERESIS
    {0xC9, 0x75, 0x00FC},  // LATIN SMALL LETTER U WITH DIAERESIS
    {0xC9, 0x77, 0x1E85},  // LATIN SMALL LETTER W WITH DIAERESIS
    {0xC9, 0x78, 0x1E8D},  // LATIN SMALL LETTER X WITH DIAERESIS
    {0xC9, 0x79, 0x00FF},  // LATIN SMALL LETTER Y WITH DIAERESIS
    {0xCA, 0x41, 0x00C5},  // LATIN CAPITAL LETTER A WITH RING ABOVE
    {0xCA, 0x55, 0x016E},  // LATIN CAPITAL LETTER U WITH RING ABOVE
    {0xCA, 0x61, 0x00E5},  // LATIN SMALL LETTER A WITH RING ABOVE
    {0xCA, 0x75, 0x016F},  // LATIN SMALL LETTER U WITH RING ABOVE
    {0xCA, 0x77, 0x1E98},  // LATIN SMALL LETTER W WITH RING ABOVE
    {0xCA, 0x79, 0x1E99},  // LATIN SMALL LETTER Y WITH RING ABOVE
    {0xCB, 0x43, 0x00C7},  // LATIN CAPITAL LETTER C WITH CEDILLA
    {0xCB, 0x44, 0x1E10},  // LATIN CAPITAL LETTER D WITH CEDILLA
    {0xCB, 0x45, 0x0228},  // LATIN CAPITAL LETTER E WITH CEDILLA
    {0xCB, 0x47, 0x0122},  // LATIN CAPITAL LETTER G WITH CEDILLA
    {0xCB, 0x48, 0x1E28},  // LATIN CAPITAL LETTER H WITH CEDILLA
    {0xCB, 0x4B, 0x0136},  // LATIN CAPITAL LETTER K WITH CEDILLA
    {0xCB, 0x4C, 0x013B},  // LATIN CAPITAL LETTER L WITH CEDILLA
    {0xCB, 0x4E, 0x0145},  // LATIN CAPITAL LETTER N WITH CEDILLA
    {0xCB, 0x52, 0x0156},  // LATIN CAPITAL LETTER R WITH CEDILLA
    {0xCB, 0x53, 0x015E},  // LATIN CAPITAL LETTER S WITH CEDILLA
    {0xCB, 0x54, 0x0162},  // LATIN CAPITAL LETTER T WITH CEDILLA
    {0xCB, 0x63, 0x00E7},  // LATIN SMALL LETTER C WITH CEDILLA
    {0xCB, 0x64, 0x1E11},  // LATIN SMALL LETTER D WITH CEDILLA
    {0xCB, 0x65, 0x0229},  // LATIN SMALL LETTER E WITH CEDILLA
    {0xCB, 0x67, 0x0123},  // LATIN SMALL LETTER G WITH CEDILLA
    {0xCB, 0x68, 0x1E29},  // LATIN SMALL LETTER H WITH CEDILLA
    {0xCB, 0x6B, 0x0137},  // LATIN SMALL LETTER K WITH CEDILLA
    {0xCB, 0x6C, 0x013C},  // LATIN SMALL LETTER L WITH CEDILLA
    {0xCB, 0x6E, 0x0146},  // LATIN SMALL LETTER N WITH CEDILLA
    {0xCB, 0x72, 0x0157},  // LATIN SMALL LETTER R WITH CEDILLA
    {0xCB, 0x73, 0x015F},  // LATIN SMALL LETTER S WITH CEDILLA
    {0xCB, 0x74, 0x0163},  // LATIN SMALL LETTER T WITH CEDILLA
    {0xCD, 0x4F, 0x0150},  // LATIN CAPITAL LETTER O WITH DOUBLE ACUTE
    {0xCD, 0x55, 0x0170},  // LATIN CAPITAL LETTER U WITH DOUBLE ACUTE
    {0xCD, 0x6F, 0x0151},  // LATIN SMALL LETTER O WITH DOUBLE ACUTE
    {0xCD, 0x75, 0x0171},  // LATIN SMALL LETTER U WITH DOUBLE ACUTE
    {0xCE, 0x41, 0x0104},  // LATIN CAPITAL LETTER A WITH OGONEK
    {0xCE, 0x45, 0x0118},  // LATIN CAPITAL LETTER E WITH OGONEK
    {0xCE, 0x49, 0x012E},  // LATIN CAPITAL LETTER I WITH OGONEK
    {0xCE, 0x4F, 0x01EA},  // LATIN CAPITAL LETTER O WITH OGONEK
    {0xCE, 0x55, 0x0172},  // LATIN CAPITAL LETTER U WITH OGONEK
    {0xCE, 0x61, 0x0105},  // LATIN SMALL LETTER A WITH OGONEK
    {0xCE, 0x65, 0x0119},  // LATIN SMALL LETTER E WITH OGONEK
    {0xCE, 0x69, 0x012F},  // LATIN SMALL LETTER I WITH OGONEK
    {0xCE, 0x6F, 0x01EB},  // LATIN SMALL LETTER O WITH OGONEK
    {0xCE, 0x75, 0x0173},  // LATIN SMALL LETTER U WITH OGONEK
    {0xCF, 0x41, 0x01CD},  // LATIN CAPITAL LETTER A WITH CARON
    {0xCF, 0x43, 0x010C},  // LATIN CAPITAL LETTER C WITH CARON
    {0xCF, 0x44, 0x010E},  // LATIN CAPITAL LETTER D WITH CARON
    {0xCF, 0x45, 0x011A},  // LATIN CAPITAL LETTER E WITH CARON
    {0xCF, 0x47, 0x01E6},  // LATIN CAPITAL LETTER G WITH CARON
    {0xCF, 0x48, 0x021E},  // LATIN CAPITAL LETTER H WITH CARON
    {0xCF, 0x49, 0x01CF},  // LATIN CAPITAL LETTER I WITH CARON
    {0xCF, 0x4B, 0x01E8},  // LATIN CAPITAL LETTER K WITH CARON
    {0xCF, 0x4C, 0x013D},  // LATIN CAPITAL LETTER L WITH CARON
    {0xCF, 0x4E, 0x0147},  // LATIN CAPITAL LETTER N WITH CARON
    {0xCF, 0x4F, 0x01D1},  // LATIN CAPITAL LETTER O WITH CARON
    {0xCF, 0x52, 0x0158},  // LATIN CAPITAL LETTER R WITH CARON
    {0xCF, 0x53, 0x0160},  // LATIN CAPITAL LETTER S WITH CARON
    {0xCF, 0x54, 0x0164},  // LATIN CAPITAL LETTER T WITH CARON
    {0xCF, 0x55, 0x01D3},  // LATIN CAPITAL LETTER U WITH CARON
    {0xCF, 0x5A, 0x017D},  // LATIN CAPITAL LETTER Z WITH CARON
    {0xCF, 0x61, 0x01CE},  // LATIN SMALL LETTER A WITH CARON
    {0xCF, 0x63, 0x010D},  // LATIN SMALL LETTER C WITH CARON
    {0xCF, 0x64, 0x010F},  // LATIN SMALL LETTER D WITH CARON
    {0xCF, 0x65, 0x011B},  // LATIN SMALL LETTER E WITH CARON
    {0xCF, 0x67, 0x01E7},  // LATIN SMALL LETTER G WITH CARON
    {0xCF, 0x68, 0x021F},  // LATIN SMALL LETTER H WITH CARON
    {0xCF, 0x69, 0x01D0},  // LATIN SMALL LETTER I WITH CARON
    {0xCF, 0x6A, 0x01F0},  // LATIN SMALL LETTER J WITH CARON
    {0xCF, 0x6B, 0x01E9},  // LATIN SMALL LETTER K WITH CARON
    {0xCF, 0x6C, 0x013E},  // LATIN SMALL LETTER L WITH CARON
    {0xCF, 0x6E, 0x0148},  // LATIN SMALL LETTER N WITH CARON
    {0xCF, 0x6F, 0x01D2},  // LATIN SMALL LETTER O WITH CARON
    {0xCF, 0x72, 0x0159},  // LATIN SMALL LETTER R WITH CARON
    {0xCF, 0x73, 0x0161},  // LATIN SMALL LETTER S WITH CARON
    {0xCF, 0x74, 0x0165},  // LATIN SMALL LETTER T WITH CARON
    {0xCF, 0x75, 0x01D4},  // LATIN SMALL LETTER U WITH CARON
    {0xCF, 0x7A, 0x017E},  // LATIN SMALL LETTER Z WITH CARON
};

constexpr bool compositions_sorted() {
    for (std::size_t i = 1; i < std::size(kT61Compositions); ++i) {
        const T61Composition& a = kT61Compositions[i - 1];
        const T61Composition& b = kT61Compositions[i];
        if (a.prefix > b.prefix || (a.prefix == b.prefix && a.letter >= b.letter)) return false;
    }
    return true;
}
static_assert(compositions_sorted(), "kT61Compositions must be sorted for the binary search");

// ---- helpers ----

// octet_at: the source octet at index i, read through the view's operator[];
// the filler for an index at or past the end. The 64-bit index keeps walks
// from wrapping around a 32-bit length.
unsigned char octet_at(const qb_r_buffer_t& in, std::uint64_t i) {
    return in[i < in.remaining ? static_cast<unsigned int>(i) : in.remaining];
}

// be_value: `width` octets from index i, big-endian.
std::uint32_t be_value(const qb_r_buffer_t& in, std::uint64_t i, unsigned int width) {
    std::uint32_t v = 0;
    for (unsigned int k = 0; k < width; ++k) v = (v << 8) | octet_at(in, i + k);
    return v;
}

void append_be16(qb_buffer_t& out, std::uint32_t v) {
    out.append(static_cast<unsigned char>(v >> 8));
    out.append(static_cast<unsigned char>(v));
}

void append_be32(qb_buffer_t& out, std::uint32_t v) {
    out.append(static_cast<unsigned char>(v >> 24));
    out.append(static_cast<unsigned char>(v >> 16));
    out.append(static_cast<unsigned char>(v >> 8));
    out.append(static_cast<unsigned char>(v));
}

// kUtf8Markers: the lead octet's length marker, by the number of octets
// that follow it (0 to 5).
constexpr unsigned char kUtf8Markers[6] = {0x00, 0xC0, 0xE0, 0xF0, 0xF8, 0xFC};

// append_utf8: v (below 0x80000000) in the 1-to-6-octet form: a lead octet
// carrying the length marker and the top bits, then 0x80 | 6 bits each.
void append_utf8(qb_buffer_t& out, std::uint32_t v) {
    if (v < 0x80) {
        out.append(static_cast<unsigned char>(v));
        return;
    }
    // Octets after the lead and the lead's marker, by the value's size.
    unsigned int follow = 5;
    if (v < 0x800) {
        follow = 1;
    } else if (v < 0x10000) {
        follow = 2;
    } else if (v < 0x200000) {
        follow = 3;
    } else if (v < 0x4000000) {
        follow = 4;
    }
    const unsigned char marker = kUtf8Markers[follow];
    out.append(static_cast<unsigned char>(marker | (v >> (6 * follow))));
    while (follow-- > 0) out.append(static_cast<unsigned char>(0x80 | ((v >> (6 * follow)) & 0x3F)));
}

// LengthGuard: cuts `out` back to its length at construction unless commit()
// was called (a failed conversion or an exception). A wiping buffer also
// zeroes the octets it cuts off.
class LengthGuard {
public:
    explicit LengthGuard(qb_buffer_t& out) : out_(out), mark_(out.length()) {}
    ~LengthGuard() {
        if (done_ || out_.length() <= mark_) return;
        if (out_.security == security_on) std::memset(out_.data + mark_, 0, out_.length() - mark_);
        out_.truncate(mark_);
    }
    void commit() { done_ = true; }
    LengthGuard(const LengthGuard&) = delete;
    LengthGuard& operator=(const LengthGuard&) = delete;

private:
    qb_buffer_t& out_;
    unsigned int mark_;
    bool done_ = false;
};

// overlaps: whether the source octets lie in the destination's block.
bool overlaps(const qb_r_buffer_t& in, const qb_buffer_t& out) {
    if (in.remaining == 0 || out.data == nullptr || in.cursor == nullptr) return false;
    const std::uintptr_t src = reinterpret_cast<std::uintptr_t>(in.cursor);
    const std::uintptr_t dst = reinterpret_cast<std::uintptr_t>(out.data);
    return src < dst + out.capacity && dst < src + in.remaining;
}

// with_own_source: runs body(in, out) on a source that cannot move under it.
// When the source lies inside the destination's block, growing the
// destination would free it, so the body reads a scratch copy (same hooks,
// same wiping, same filler) instead.
template <class Body>
unsigned int with_own_source(const qb_r_buffer_t& in, qb_buffer_t& out, Body body) {
    if (!overlaps(in, out)) return body(in, out);
    qb_buffer_t copy(out.memory, out.security);
    copy.append(in);
    copy.filler = in.filler;
    return body(static_cast<const qb_r_buffer_t&>(copy), out);
}

// ---- UTF-8 decoding ----

// decode_utf8_char: the character whose lead octet is at index i, and the
// number of octets it takes; false for a lead octet that starts none
// (0x80-0xBF, 0xFE, 0xFF).
// Deliberate: overlong forms are accepted and following octets are not checked; each adds (octet - 0x80) modulo 2^32.
// Deliberate: the 5- and 6-octet forms are read; a 6-octet lead contributes (lead - 0xFC) << 30, 0 or 0x40000000.
bool decode_utf8_char(const qb_r_buffer_t& in, std::uint64_t i, std::uint32_t& value, unsigned int& size) {
    const unsigned char b = octet_at(in, i);
    if (b < 0x80) {
        value = b;
        size = 1;
        return true;
    }
    if (b < 0xC0 || b >= 0xFE) return false;
    if (b < 0xE0) {
        size = 2;
    } else if (b < 0xF0) {
        size = 3;
    } else if (b < 0xF8) {
        size = 4;
    } else if (b < 0xFC) {
        size = 5;
    } else {
        size = 6;
    }
    const unsigned char marker = kUtf8Markers[size - 1];
    std::uint32_t v = static_cast<std::uint32_t>(b - marker);
    for (unsigned int k = 1; k < size; ++k)
        v = (v << 6) + (static_cast<std::uint32_t>(octet_at(in, i + k)) - 0x80u);
    value = v;
    return true;
}

// decode_utf8: the whole source, each character no higher than `limit`
// written by `emit`.
// Deliberate: on failure (bad lead octet, character above the limit) the output keeps what was appended so far.
template <class Emit>
unsigned int decode_utf8(const qb_r_buffer_t& in, qb_buffer_t& out, std::uint32_t limit, Emit emit) {
    for (std::uint64_t i = 0; i < in.remaining;) {
        std::uint32_t v = 0;
        unsigned int size = 0;
        if (!decode_utf8_char(in, i, v, size) || v > limit) return kConversionFailed;
        emit(out, v);
        i += size;
    }
    return kOk;
}

// ---- narrowing walks ----

// narrow: walks characters of `width` octets; each keeps its `keep` low
// octets, and one with a nonzero octet above them stops the walk, which cuts
// `out` back to its length at entry and fails.
unsigned int narrow(const qb_r_buffer_t& in, qb_buffer_t& out, unsigned int width, unsigned int keep) {
    LengthGuard guard(out);
    for (std::uint64_t i = 0; i < in.remaining; i += width) {
        for (unsigned int k = 0; k < width - keep; ++k)
            if (octet_at(in, i + k) != 0) return kConversionFailed;
        for (unsigned int k = width - keep; k < width; ++k) out.append(octet_at(in, i + k));
    }
    guard.commit();
    return kOk;
}

// ---- T.61 ----

// t61_compose: the precomposed character of a prefix and a letter, or
// kNoCharacter.
std::uint16_t t61_compose(unsigned char prefix, unsigned char letter) {
    const T61Composition key{prefix, letter, 0};
    const auto less = [](const T61Composition& a, const T61Composition& b) {
        return a.prefix != b.prefix ? a.prefix < b.prefix : a.letter < b.letter;
    };
    const auto* end = std::end(kT61Compositions);
    const auto* it = std::lower_bound(std::begin(kT61Compositions), end, key, less);
    if (it == end || it->prefix != prefix || it->letter != letter) return kNoCharacter;
    return it->code;
}

unsigned int t61_to_bmp(const qb_r_buffer_t& in, qb_buffer_t& out) {
    LengthGuard guard(out);
    for (std::uint64_t i = 0; i < in.remaining;) {
        const unsigned char o = octet_at(in, i);
        std::uint16_t code;
        if (o >= kFirstPrefix && o <= kLastPrefix) {
            code = t61_compose(o, octet_at(in, i + 1));
            i += 2;
        } else {
            code = kT61Single[o];
            i += 1;
        }
        if (code == kNoCharacter) return kConversionFailed;
        append_be16(out, code);
    }
    guard.commit();
    return kOk;
}

unsigned int ia5_to_t61(const qb_r_buffer_t& in, qb_buffer_t& out) {
    LengthGuard guard(out);
    for (std::uint64_t i = 0; i < in.remaining; ++i) {
        const T61Form& form = kIA5ToT61[octet_at(in, i)];
        if (form.first == 0) return kConversionFailed;
        out.append(form.first);
        if (form.second != 0) out.append(form.second);
    }
    guard.commit();
    return kOk;
}

// ---- Printable / Visible ----

// copy_checked: when table is not null, every octet must have a 1 in it, else
// the conversion error with `out` untouched; then `out` is cleared and the
// source appended.
unsigned int copy_checked(const qb_r_buffer_t& in, qb_buffer_t& out, const unsigned int* table) {
    if (table != nullptr)
        for (std::uint64_t i = 0; i < in.remaining; ++i)
            if (table[octet_at(in, i)] != 1) return kConversionFailed;
    out.clear();
    out.append(in);
    return kOk;
}

}  // namespace

// ---- widening to UTF-8 ----

unsigned int U2UTF8(qb_r_buffer_t in, qb_buffer_t& out) {
    return with_own_source(in, out, [](const qb_r_buffer_t& src, qb_buffer_t& dst) {
        for (std::uint64_t i = 0; i < src.remaining; i += 4) {
            const std::uint32_t v = be_value(src, i, 4);
            // Deliberate: a value with bit 31 set is skipped without output and without error.
            if (v & 0x80000000u) continue;
            append_utf8(dst, v);
        }
        return kOk;
    });
}

unsigned int BMP2UTF8(qb_r_buffer_t in, qb_buffer_t& out) {
    return with_own_source(in, out, [](const qb_r_buffer_t& src, qb_buffer_t& dst) {
        // Surrogate values are encoded as they are; no pairs are formed.
        for (std::uint64_t i = 0; i < src.remaining; i += 2) append_utf8(dst, be_value(src, i, 2));
        return kOk;
    });
}

unsigned int IA52UTF8(qb_r_buffer_t in, qb_buffer_t& out) {
    return with_own_source(in, out, [](const qb_r_buffer_t& src, qb_buffer_t& dst) {
        for (std::uint64_t i = 0; i < src.remaining; ++i) append_utf8(dst, octet_at(src, i));
        return kOk;
    });
}

// ---- UTF-8 decoding ----

unsigned int UTF82U(qb_r_buffer_t in, qb_buffer_t& out) {
    return with_own_source(in, out, [](const qb_r_buffer_t& src, qb_buffer_t& dst) {
        return decode_utf8(src, dst, 0xFFFFFFFFu, append_be32);
    });
}

unsigned int UTF82BMP(qb_r_buffer_t in, qb_buffer_t& out) {
    return with_own_source(in, out, [](const qb_r_buffer_t& src, qb_buffer_t& dst) {
        return decode_utf8(src, dst, 0xFFFFu, append_be16);
    });
}

unsigned int UTF82IA5(qb_r_buffer_t in, qb_buffer_t& out) {
    return with_own_source(in, out, [](const qb_r_buffer_t& src, qb_buffer_t& dst) {
        return decode_utf8(src, dst, 0xFFu, [](qb_buffer_t& o, std::uint32_t v) {
            o.append(static_cast<unsigned char>(v));
        });
    });
}

// ---- narrowing ----

unsigned int U2BMP(const qb_r_buffer_t& in, qb_buffer_t& out) {
    return with_own_source(in, out, [](const qb_r_buffer_t& src, qb_buffer_t& dst) {
        return narrow(src, dst, 4, 2);
    });
}

unsigned int U2IA5(const qb_r_buffer_t& in, qb_buffer_t& out) {
    return with_own_source(in, out, [](const qb_r_buffer_t& src, qb_buffer_t& dst) {
        return narrow(src, dst, 4, 1);
    });
}

unsigned int BMP2IA5(const qb_r_buffer_t& in, qb_buffer_t& out) {
    return with_own_source(in, out, [](const qb_r_buffer_t& src, qb_buffer_t& dst) {
        return narrow(src, dst, 2, 1);
    });
}

// ---- widening ----

unsigned int BMP2U(const qb_r_buffer_t& in, qb_buffer_t& out) {
    return with_own_source(in, out, [](const qb_r_buffer_t& src, qb_buffer_t& dst) {
        for (std::uint64_t i = 0; i < src.remaining; i += 2) append_be32(dst, be_value(src, i, 2));
        return kOk;
    });
}

unsigned int IA52BMP(const qb_r_buffer_t& in, qb_buffer_t& out) {
    return with_own_source(in, out, [](const qb_r_buffer_t& src, qb_buffer_t& dst) {
        for (std::uint64_t i = 0; i < src.remaining; ++i) append_be16(dst, octet_at(src, i));
        return kOk;
    });
}

unsigned int IA52U(const qb_r_buffer_t& in, qb_buffer_t& out) {
    return with_own_source(in, out, [](const qb_r_buffer_t& src, qb_buffer_t& dst) {
        for (std::uint64_t i = 0; i < src.remaining; ++i) append_be32(dst, octet_at(src, i));
        return kOk;
    });
}

// ---- T.61 ----

unsigned int T612IA5(const qb_r_buffer_t& in, qb_buffer_t& out) {
    // Through BMP in a scratch buffer (same hooks and wiping as `out`), so
    // `out` is unchanged when either step fails.
    qb_buffer_t bmp(out.memory, out.security);
    if (T612BMP(in, bmp) != kOk) return kConversionFailed;
    return BMP2IA5(bmp, out);
}

unsigned int T612BMP(const qb_r_buffer_t& in, qb_buffer_t& out) {
    return with_own_source(in, out, t61_to_bmp);
}

unsigned int IA52T61(const qb_r_buffer_t& in, qb_buffer_t& out) {
    return with_own_source(in, out, ia5_to_t61);
}

// ---- Printable / Visible ----

// Deliberate: P2IA5 (and V2IA5, the same body) clears `out` and copies the source without any check.
unsigned int P2IA5(const qb_r_buffer_t& in, qb_buffer_t& out) {
    return with_own_source(in, out, [](const qb_r_buffer_t& src, qb_buffer_t& dst) {
        return copy_checked(src, dst, nullptr);
    });
}

unsigned int V2IA5(const qb_r_buffer_t& in, qb_buffer_t& out) { return P2IA5(in, out); }

unsigned int IA52P(const qb_r_buffer_t& in, qb_buffer_t& out) {
    return with_own_source(in, out, [](const qb_r_buffer_t& src, qb_buffer_t& dst) {
        return copy_checked(src, dst, printableStringCharacterIA5_table);
    });
}

unsigned int IA52V(const qb_r_buffer_t& in, qb_buffer_t& out) {
    return with_own_source(in, out, [](const qb_r_buffer_t& src, qb_buffer_t& dst) {
        return copy_checked(src, dst, visibleStringCharacterIA5_table);
    });
}
