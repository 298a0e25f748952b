// asn1/internal/deep.h - decoding deeply nested input off the caller's stack.
//
// Two records are recursive (name-value trees and audit elements): their
// messages nest as deep as the sender makes them, up to the bound of
// QBASN_MAX_NESTING frames, and reading 256 levels takes more stack than a
// small worker thread has (about 67 KB in a release build, over 200 KB with
// AddressSanitizer). Every other record's schema bounds its nesting far below
// that. So before decoding a record whose schema can nest deeper than
// kCallerStackFrames, the decoder measures how deep the message's frames
// actually nest (an iterative walk, no recursion) and, when that is deeper,
// reads it on a thread of its own with a large stack while the caller waits:
// the caller's stack use stays bounded whatever the input.
//
// Not installed: used by the library's sources only.
#ifndef QBASN_INTERNAL_DEEP_H
#define QBASN_INTERNAL_DEEP_H

#include <cstddef>

#include "asn1/asnrecord.h"
#include "asn1/internal/direct.h"
#include "asn1/qbasn_export.h"

namespace qb::direct {

// The deepest frame nesting a decode reads on the caller's own stack.
inline constexpr unsigned int kCallerStackFrames = 32;

// The stack of the thread that reads deeper input.
inline constexpr size_t kDeepStackSize = 2 * 1024 * 1024;

// schema_nests_deeper: a record of `info` can hold frames nested deeper than
// `frames` levels (a recursive record always can). Follows the reflection
// table; the answer for a record never changes.
QBASN_API bool schema_nests_deeper(const qb_record_info& info, unsigned int frames);

// nests_deeper: the frames of `payload` nest deeper than `frames` levels, as
// far as they can be read (where they stop making sense, so does every
// reader, and the depth reached before that point counts). No recursion.
QBASN_API bool nests_deeper(const view& payload, unsigned int frames);

// deep_work: a decode to run on the large stack; run() must not throw
// anything but qb_asn_exception.
class deep_work {
public:
    virtual unsigned int run() = 0;

protected:
    ~deep_work() = default;
};

// run_on_large_stack: runs work.run() on a new thread with a stack of
// kDeepStackSize octets under the caller's locale (so the local code set is
// the caller's) and returns its result; a qb_asn_exception it throws is
// thrown again here, in the caller's thread. When no thread can be started,
// throws qb_asn_memexception (0x10652065).
QBASN_API unsigned int run_on_large_stack(deep_work& work, const char* file, int line);

}  // namespace qb::direct

#endif
