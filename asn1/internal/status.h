// asn1/internal/status.h - the library's status codes, each named once.
//
// Not installed: callers compare with the documented numbers. Inside the
// library every failure site uses one of these names.
#ifndef QBASN_INTERNAL_STATUS_H
#define QBASN_INTERNAL_STATUS_H

namespace qb::detail {

inline constexpr unsigned int kOk = 0;
inline constexpr unsigned int kOutOfMemory = 0x10652065;          // allocation failed
inline constexpr unsigned int kNoEnvelope = 0x10652196;           // no envelope, or another version
inline constexpr unsigned int kUnsupported = 0x10652197;          // operation not supported
inline constexpr unsigned int kInputExhausted = 0x10652198;       // not enough octets left
inline constexpr unsigned int kTooLong = 0x10652199;              // value or content too long
inline constexpr unsigned int kZeroLength = 0x1065219A;           // zero content length
inline constexpr unsigned int kMalformed = 0x1065219B;            // malformed content / wrong length
inline constexpr unsigned int kNoSuchElement = 0x1065219C;        // no such element / null output
inline constexpr unsigned int kIndefiniteForbidden = 0x1065219D;  // indefinite length not permitted
inline constexpr unsigned int kConstructedForbidden = 0x1065219E; // constructed form not permitted
inline constexpr unsigned int kPrimitiveForbidden = 0x1065219F;   // primitive form not permitted
inline constexpr unsigned int kValueAbsent = 0x106521A0;          // mandatory value absent
inline constexpr unsigned int kBadBitString = 0x106521A2;         // bad BIT STRING content
inline constexpr unsigned int kBadBitSegment = 0x106521A3;        // bad BIT STRING segment
inline constexpr unsigned int kTagMismatch = 0x106521A4;          // identifier mismatch
inline constexpr unsigned int kSurplusContent = 0x106521A5;       // surplus content in a SEQUENCE
inline constexpr unsigned int kChoiceRange = 0x106521A7;          // CHOICE index out of range
inline constexpr unsigned int kChoiceUnselected = 0x106521A8;     // CHOICE without a selection
inline constexpr unsigned int kAnyHasSyntax = 0x106521A9;         // raw access to an ANY with syntax
inline constexpr unsigned int kDecimalRange = 0x106521AA;         // number too large for a decimal field
inline constexpr unsigned int kConversionFailed = 0x106521AB;     // code-set conversion failed
inline constexpr unsigned int kCodesetRejected = 0x106521AC;      // code set not accepted

// Identifier and length octets.
inline constexpr unsigned char kConstructedBit = 0x20;
inline constexpr unsigned char kHighTagNumber = 0x1F;
inline constexpr unsigned char kIndefiniteLength = 0x80;

}  // namespace qb::detail

#endif
