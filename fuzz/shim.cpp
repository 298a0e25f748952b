// fuzz/shim.cpp - the entry point libFuzzer (or the replay program) calls,
// and the helpers of shim.h.
#include "shim.h"

#include <cstdio>

namespace qb_fuzz {

void fail(const char* file, int line, const char* what) {
    std::fprintf(stderr, "fuzz property broken at %s:%d: %s\n", file, line, what);
    std::fflush(stderr);
    std::abort();
}

std::FILE* null_sink() {
    static std::FILE* out = std::fopen("/dev/null", "w");
    if (out == nullptr) fail(__FILE__, __LINE__, "cannot open /dev/null");
    return out;
}

heap_copy::heap_copy(std::span<const unsigned char> bytes)
    : data_(new unsigned char[bytes.size()]), size_(static_cast<unsigned int>(bytes.size())) {
    if (!bytes.empty()) std::memcpy(data_, bytes.data(), bytes.size());
}

}  // namespace qb_fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size > qb_fuzz::kMaxInput) size = qb_fuzz::kMaxInput;
    fuzz_one(std::span<const unsigned char>(data, size));
    return 0;
}
