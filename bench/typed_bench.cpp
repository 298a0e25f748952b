// bench/typed_bench.cpp - the typed entry points (qbAsnEncodeObj,
// qbAsnDecodeObj and their LCS forms) against the hand-written DER codec of
// baseline_codec.h, on the four messages of typed_messages.h.
//
// Benchmarks are named <message>/<direction>/<codec>:
//   message    M1 .. M4
//   direction  encode: the flat record into a fresh block, then the block freed
//              decode: the block into a zeroed flat record, then the record
//                      released (baseline::release or qbAsnFreeObj)
//   codec      baseline, qbasn (qbAsnEncodeObj/qbAsnDecodeObj) or lcs
//              (qbAsnEncodeObjLCS/qbAsnDecodeObjLCS)
// Time is the CPU time of the benchmark's thread (the framework's default).
// Counters per benchmark:
//   octets          size of the encoded block, envelope included
//   bytes_per_second  octets times operations per CPU second
//   allocs_per_op   blocks allocated by one operation (malloc, calloc,
//                   realloc, operator new, ...), counted on one extra
//                   operation after the timed ones
//   reallocs_per_op of those, the ones made by realloc
//   frees_per_op    blocks released by that operation through free
//   peak_heap       highest live heap octets during it, above what was live
//                   before it (usable sizes of the blocks)
//   net_heap        live heap octets after it minus before (0: nothing kept)
//   record_heap     heap octets a decoded flat record holds (measured on a
//                   baseline decode right after, same way as peak_heap)
//   record_blocks   texts, octet strings and arrays of the flat record
// bench/run_typed_bench.sh runs this program and turns its JSON output into
// the ratios of docs/performance.md.
//
// Before anything is timed, every message is checked: the baseline's block
// must equal qbAsnEncodeObj's and qbAsnEncodeObjLCS's octet for octet, and
// the baseline, qbAsnDecodeObj and qbAsnDecodeObjLCS must all read that block
// back into a record equal to the original. The program stops with a message
// (exit status 1) when one of them does not hold.
//
// The LCS forms convert texts from and to the code set of the environment's
// locale (setlocale(LC_ALL, "") at start; the code set is in the output's
// context as local_code_set). The texts are ASCII.
#include <benchmark/benchmark.h>

#include <langinfo.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "bench/alloc_counter.h"
#include "bench/baseline_codec.h"
#include "bench/typed_messages.h"
#include "qbasn.h"

namespace {

enum class codec { baseline, qbasn, lcs };

const char* codec_name(codec c) {
    switch (c) {
        case codec::baseline:
            return "baseline";
        case codec::qbasn:
            return "qbasn";
        case codec::lcs:
            return "lcs";
    }
    return "?";
}

template <class T>
struct message {
    const char* name = "";
    T record{};
    qb_asn_buffer_t wire{0, nullptr};  // qbAsnEncodeObj's block
    double record_blocks = 0;
};

// ---- one operation per codec ----

template <codec C, class T>
bool encode_with(qb_asn_buffer_t& out, T& r) {
    if constexpr (C == codec::baseline) {
        return baseline::encode(out, r);
    } else if constexpr (C == codec::qbasn) {
        return qbAsnEncodeObj(out, r) == 0;
    } else {
        return qbAsnEncodeObjLCS(out, r) == 0;
    }
}

template <codec C, class T>
bool decode_with(qb_asn_buffer_t& in, T& r) {
    if constexpr (C == codec::baseline) {
        return baseline::decode(in.data, in.length, r);
    } else if constexpr (C == codec::qbasn) {
        return qbAsnDecodeObj(in, r) == 0;
    } else {
        return qbAsnDecodeObjLCS(in, r) == 0;
    }
}

template <codec C, class T>
void release_with(T& r) {
    if constexpr (C == codec::baseline) {
        baseline::release(r);
    } else {
        qbAsnFreeObj(r);
    }
}

// encode_once: one encode, its block released.
template <codec C, class T>
bool encode_once(T& r) {
    qb_asn_buffer_t out{0, nullptr};
    const bool ok = encode_with<C>(out, r);
    benchmark::DoNotOptimize(out.data);
    benchmark::ClobberMemory();
    std::free(out.data);
    return ok;
}

// decode_once: one decode into a zeroed record, the record released.
template <codec C, class T>
bool decode_once(const qb_asn_buffer_t& wire) {
    qb_asn_buffer_t in = wire;
    T r{};
    const bool ok = decode_with<C>(in, r);
    benchmark::DoNotOptimize(&r);
    benchmark::ClobberMemory();
    release_with<C>(r);
    return ok;
}

// ---- benchmarks ----

// record_heap: heap octets the baseline's decode of m holds in the record, in
// the same units and heap state as the figures of the operation just measured.
template <class T>
double record_heap(const message<T>& m) {
    T r{};
    alloc_counter::start();
    baseline::decode(m.wire.data, m.wire.length, r);
    const alloc_counter::totals t = alloc_counter::stop();
    baseline::release(r);
    return static_cast<double>(t.net);
}

template <class T, class Op>
void report(benchmark::State& state, const message<T>& m, Op op) {
    alloc_counter::start();
    op();
    const alloc_counter::totals t = alloc_counter::stop();
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(m.wire.length));
    state.counters["octets"] = static_cast<double>(m.wire.length);
    state.counters["allocs_per_op"] = static_cast<double>(t.allocations);
    state.counters["reallocs_per_op"] = static_cast<double>(t.reallocs);
    state.counters["frees_per_op"] = static_cast<double>(t.frees);
    state.counters["peak_heap"] = static_cast<double>(t.peak);
    state.counters["net_heap"] = static_cast<double>(t.net);
    state.counters["record_heap"] = record_heap(m);
    state.counters["record_blocks"] = m.record_blocks;
}

template <codec C, class T>
void bm_encode(benchmark::State& state, message<T>* m) {
    for (auto _ : state) {
        if (!encode_once<C>(m->record)) {
            state.SkipWithError("encode failed");
            return;
        }
    }
    report(state, *m, [m] { encode_once<C>(m->record); });
}

template <codec C, class T>
void bm_decode(benchmark::State& state, message<T>* m) {
    for (auto _ : state) {
        if (!decode_once<C, T>(m->wire)) {
            state.SkipWithError("decode failed");
            return;
        }
    }
    report(state, *m, [m] { decode_once<C, T>(m->wire); });
}

template <codec C, class T>
void register_codec(message<T>& m) {
    const std::string base = std::string(m.name) + "/";
    benchmark::RegisterBenchmark((base + "encode/" + codec_name(C)).c_str(), bm_encode<C, T>, &m);
    benchmark::RegisterBenchmark((base + "decode/" + codec_name(C)).c_str(), bm_decode<C, T>, &m);
}

template <class T>
void register_message(message<T>& m) {
    register_codec<codec::baseline>(m);
    register_codec<codec::qbasn>(m);
    register_codec<codec::lcs>(m);
}

// ---- start-up checks ----

bool same_block(const qb_asn_buffer_t& a, const qb_asn_buffer_t& b, const char* what, const char* name) {
    if (a.length == b.length && (a.length == 0 || std::memcmp(a.data, b.data, a.length) == 0)) return true;
    unsigned int at = 0;
    while (at < a.length && at < b.length && a.data[at] == b.data[at]) ++at;
    std::fprintf(stderr, "typed_bench: %s: %s differs from qbAsnEncodeObj (%u vs %u octets, first difference at offset %u)\n",
                 name, what, b.length, a.length, at);
    return false;
}

template <class T>
bool decodes_back(const message<T>& m, const qb_asn_buffer_t& wire) {
    bool ok = true;
    {
        T r{};
        if (!baseline::decode(wire.data, wire.length, r) || !typed_bench::same(r, m.record)) {
            std::fprintf(stderr, "typed_bench: %s: the baseline does not decode qbasn's block into the original record\n",
                         m.name);
            ok = false;
        }
        baseline::release(r);
    }
    {
        T r{};
        qb_asn_buffer_t in = wire;
        const unsigned int rc = qbAsnDecodeObj(in, r);
        if (rc != 0 || !typed_bench::same(r, m.record)) {
            std::fprintf(stderr, "typed_bench: %s: qbAsnDecodeObj gives 0x%08X or a different record\n", m.name, rc);
            ok = false;
        }
        qbAsnFreeObj(r);
    }
    {
        T r{};
        qb_asn_buffer_t in = wire;
        const unsigned int rc = qbAsnDecodeObjLCS(in, r);
        if (rc != 0 || !typed_bench::same(r, m.record)) {
            std::fprintf(stderr, "typed_bench: %s: qbAsnDecodeObjLCS gives 0x%08X or a different record\n", m.name, rc);
            ok = false;
        }
        qbAsnFreeObj(r);
    }
    return ok;
}

// prepare: m.wire from qbAsnEncodeObj and the checks above.
template <class T>
bool prepare(message<T>& m) {
    const unsigned int rc = qbAsnEncodeObj(m.wire, m.record);
    if (rc != 0) {
        std::fprintf(stderr, "typed_bench: %s: qbAsnEncodeObj failed with 0x%08X\n", m.name, rc);
        m.wire = qb_asn_buffer_t{0, nullptr};
        return false;
    }
    bool ok = true;
    qb_asn_buffer_t mine{0, nullptr};
    if (!baseline::encode(mine, m.record)) {
        std::fprintf(stderr, "typed_bench: %s: the baseline encode failed\n", m.name);
        ok = false;
    } else {
        ok = same_block(mine, m.wire, "the baseline's block", m.name) && ok;
    }
    std::free(mine.data);

    qb_asn_buffer_t lcs{0, nullptr};
    const unsigned int lrc = qbAsnEncodeObjLCS(lcs, m.record);
    if (lrc != 0) {
        std::fprintf(stderr, "typed_bench: %s: qbAsnEncodeObjLCS failed with 0x%08X\n", m.name, lrc);
        ok = false;
    } else {
        ok = same_block(lcs, m.wire, "qbAsnEncodeObjLCS's block", m.name) && ok;
    }
    std::free(lcs.data);

    ok = decodes_back(m, m.wire) && ok;

    m.record_blocks = static_cast<double>(typed_bench::record_blocks(m.record));
    return ok;
}

template <class T>
void add_context(const message<T>& m) {
    benchmark::AddCustomContext(std::string(m.name) + "_octets", std::to_string(m.wire.length));
}

template <class T>
void discard(message<T>& m) {
    baseline::release(m.record);
    std::free(m.wire.data);
    m.wire = qb_asn_buffer_t{0, nullptr};
}

}  // namespace

int main(int argc, char** argv) {
    // The LCS forms convert between UTF-8 and the code set of this locale.
    std::setlocale(LC_ALL, "");
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;

    message<value_s_t> m1;
    message<attrlist_s_t> m2;
    message<attrlist_s_t> m3;
    message<vqauditevent_s_t> m4;
    m1.name = "M1";
    m1.record = typed_bench::make_m1();
    m2.name = "M2";
    m2.record = typed_bench::make_attrlist(20, 4);
    m3.name = "M3";
    m3.record = typed_bench::make_attrlist(2000, 4);
    m4.name = "M4";
    m4.record = typed_bench::make_m4();

    bool ok = prepare(m1);
    ok = prepare(m2) && ok;
    ok = prepare(m3) && ok;
    ok = prepare(m4) && ok;
    if (!ok) {
        std::fprintf(stderr, "typed_bench: the start-up checks failed; nothing was measured\n");
        discard(m1);
        discard(m2);
        discard(m3);
        discard(m4);
        return 1;
    }

    const char* code_set = nl_langinfo(CODESET);
    benchmark::AddCustomContext("local_code_set", code_set != nullptr ? code_set : "");
    add_context(m1);
    add_context(m2);
    add_context(m3);
    add_context(m4);

    register_message(m1);
    register_message(m2);
    register_message(m3);
    register_message(m4);

    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();

    discard(m1);
    discard(m2);
    discard(m3);
    discard(m4);
    return 0;
}
