// asn1/deep.cpp - decoding deeply nested input off the caller's stack (see
// asn1/internal/deep.h).
#include "asn1/internal/deep.h"

#include <locale.h>
#include <pthread.h>

#include <cstdint>

#include "asn1/asnbase.h"

namespace qb::direct {

namespace {

// depth_of: the deepest frame nesting of a record of `info`, counting its own
// frame; `limit + 1` when it is deeper than limit (a recursive record, or
// one nested deeper). `path` holds the records being followed, to tell a
// cycle.
unsigned int depth_of(const qb_record_info& info, unsigned int limit, const qb_record_info** path,
                      unsigned int on_path) {
    for (unsigned int i = 0; i < on_path; ++i)
        if (path[i] == &info) return limit + 1;  // recursive
    if (on_path > limit) return limit + 1;
    path[on_path] = &info;
    unsigned int deepest = 1;  // the record's own frame
    for (size_t k = 0; k < info.field_count; ++k) {
        const qb_field_info& f = info.fields[k];
        unsigned int below = 1;  // a primitive member
        switch (f.kind) {
            case qb_field_record:
            case qb_field_optional_record:
                below = depth_of(*f.element(), limit, path, on_path + 1);
                break;
            case qb_field_record_list:
            case qb_field_record_ptr_list:
                below = 1 + depth_of(*f.element(), limit, path, on_path + 1);  // the list's frame
                break;
            case qb_field_record_slots:
                below = 1 + depth_of(*f.element(), limit, path, on_path + 1);  // a CHOICE adds no frame
                break;
            case qb_field_text_list:
            case qb_field_int_list:
                below = 2;
                break;
            default:
                break;
        }
        if (1 + below > deepest) deepest = 1 + below;
        if (deepest > limit) return limit + 1;
    }
    return deepest;
}

struct deep_call {
    deep_work* work;
    locale_t locale;
    unsigned int result = 0;
    bool threw = false;
    qb_asn_exception error{"", 0, "", 0};
};

void* deep_thread(void* arg) {
    auto* call = static_cast<deep_call*>(arg);
    if (call->locale != nullptr) uselocale(call->locale);
    try {
        call->result = call->work->run();
    } catch (const qb_asn_exception& e) {
        call->threw = true;
        call->error = e;
    }
    return nullptr;
}

}  // namespace

bool schema_nests_deeper(const qb_record_info& info, unsigned int frames) {
    const qb_record_info* path[QBASN_MAX_NESTING + 2];
    const unsigned int limit = frames < QBASN_MAX_NESTING ? frames : QBASN_MAX_NESTING;
    return depth_of(info, limit, path, 0) > frames;
}

bool nests_deeper(const view& payload, unsigned int frames) {
    if (frames > QBASN_MAX_NESTING) frames = QBASN_MAX_NESTING;
    // Where each open constructed frame ends: one past its last octet, or
    // null for an indefinite length (closed by its end-of-contents mark).
    const unsigned char* ends[QBASN_MAX_NESTING + 1];
    unsigned int depth = 0;
    bool started = false;
    view v = payload;
    for (;;) {
        // Close the frames that end here.
        while (depth != 0) {
            const unsigned char* end = ends[depth - 1];
            if (end != nullptr) {
                if (v.p < end) break;
                if (v.p > end) return false;  // a frame ran past its enclosing one
            } else {
                if (!at_eoc(v)) break;
                skip(v, 2);
            }
            --depth;
        }
        if (depth == 0 && started) return false;  // the message's frame has ended
        if (v.n == 0) return false;
        // Identifier octets.
        const unsigned char first = v.p[0];
        unsigned int i = 1;
        if ((first & kHighTagNumber) == kHighTagNumber) {
            for (;;) {
                if (i >= v.n) return false;
                if ((v.p[i++] & 0x80) == 0) break;
            }
        }
        if (i >= v.n) return false;
        // Length octets.
        const view rest{v.p + i, v.n - i, 0};
        if (length_beyond_32_bits(rest)) return false;
        const unsigned char l0 = rest.p[0];
        bool indefinite = false;
        unsigned int length = 0;
        unsigned int header = i + 1;
        if (l0 == kIndefiniteLength) {
            indefinite = true;
        } else if (l0 & 0x80) {
            const unsigned int k = l0 & 0x7F;
            if (k >= rest.n) return false;
            for (unsigned int j = 1; j <= k; ++j) length = (length << 8) + rest.p[j];
            header += k;
        } else {
            length = l0;
        }
        skip(v, header);
        if (!indefinite && length > v.n) return false;
        if (!indefinite && depth != 0 && ends[depth - 1] != nullptr &&
            static_cast<size_t>(ends[depth - 1] - v.p) < length)
            return false;  // longer than what encloses it
        started = true;
        if ((first & kConstructedBit) != 0 || indefinite) {
            if (depth + 1 > frames) return true;
            ends[depth++] = indefinite ? nullptr : v.p + length;
        } else {
            skip(v, length);
        }
    }
}

unsigned int run_on_large_stack(deep_work& work, const char* file, int line) {
    deep_call call;
    call.work = &work;
    const locale_t current = uselocale(static_cast<locale_t>(nullptr));
    call.locale = current == LC_GLOBAL_LOCALE ? nullptr : current;
    pthread_attr_t attr;
    if (pthread_attr_init(&attr) != 0) throw qb_asn_memexception(file, line, "ASN: Out of memory");
    pthread_attr_setstacksize(&attr, kDeepStackSize);
    pthread_t thread;
    const int created = pthread_create(&thread, &attr, deep_thread, &call);
    pthread_attr_destroy(&attr);
    if (created != 0) throw qb_asn_memexception(file, line, "ASN: Out of memory");
    pthread_join(thread, nullptr);
    if (call.threw) throw call.error;
    return call.result;
}

}  // namespace qb::direct
