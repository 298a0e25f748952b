// bench/sequenceof_bench.cpp - encoding and decoding a SEQUENCE OF INTEGER
// of 1 000, 10 000 and 100 000 elements.
//
// Each benchmark reports the time per iteration and, as "ns_per_element",
// the CPU time per element of the measured part; the latter stays flat when
// the work grows linearly with the number of elements.
//
//   encode         every element's value is set again (which rebuilds its
//                  content octets and drops the cached encodings up to the
//                  list), then the list is written: a full encode.
//   encode_frames  only the list's own cache is dropped: the list is written
//                  again from its elements' cached content octets.
//   decode         the encoding is read into a freshly built list.
#include <benchmark/benchmark.h>

#include <time.h>

#include <cstdint>
#include <vector>

#include "asn1/asnbase.h"

namespace {

using IntList = qb_asn_sequenceof<qb_asn_integer>;

long value_at(long i) { return i * 7 - 3; }

// fill: n elements holding value_at(0) .. value_at(n - 1).
bool fill(IntList& list, long n) {
    for (long i = 0; i < n; ++i) {
        qb_asn_integer* e = list.add_child();
        if (e == nullptr || e->set_value(value_at(i)) != 0) return false;
    }
    return true;
}

// CPU time of this thread, in nanoseconds.
int64_t thread_cpu_ns() {
    timespec ts{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return static_cast<int64_t>(ts.tv_sec) * 1000000000 + ts.tv_nsec;
}

// report: items processed and the CPU time per element of the measured part
// of the iterations (measured_ns), in nanoseconds.
void report(benchmark::State& state, long n, int64_t measured_ns) {
    const int64_t items = static_cast<int64_t>(state.iterations()) * n;
    state.SetItemsProcessed(items);
    if (items > 0) state.counters["ns_per_element"] = static_cast<double>(measured_ns) / static_cast<double>(items);
}

void BM_SequenceOfEncode(benchmark::State& state) {
    const long n = static_cast<long>(state.range(0));
    IntList list(security_off);
    if (!fill(list, n)) {
        state.SkipWithError("could not fill the list");
        return;
    }
    qb_buffer_t out(security_off);
    int64_t measured = 0;
    for (auto _ : state) {
        const int64_t t0 = thread_cpu_ns();
        for (long i = 0; i < n; ++i) list.get_element(static_cast<unsigned int>(i))->set_value(value_at(i));
        out.clear();
        const unsigned int rc = list.asnwrite(out);
        benchmark::DoNotOptimize(rc);
        benchmark::DoNotOptimize(out.data);
        measured += thread_cpu_ns() - t0;
        if (rc != 0) {
            state.SkipWithError("asnwrite failed");
            break;
        }
    }
    state.counters["bytes"] = static_cast<double>(out.length());
    report(state, n, measured);
}

void BM_SequenceOfEncodeFrames(benchmark::State& state) {
    const long n = static_cast<long>(state.range(0));
    IntList list(security_off);
    if (!fill(list, n)) {
        state.SkipWithError("could not fill the list");
        return;
    }
    qb_buffer_t out(security_off);
    int64_t measured = 0;
    for (auto _ : state) {
        const int64_t t0 = thread_cpu_ns();
        list.invalidate_encoding();
        out.clear();
        const unsigned int rc = list.asnwrite(out);
        benchmark::DoNotOptimize(rc);
        benchmark::DoNotOptimize(out.data);
        measured += thread_cpu_ns() - t0;
        if (rc != 0) {
            state.SkipWithError("asnwrite failed");
            break;
        }
    }
    report(state, n, measured);
}

void BM_SequenceOfDecode(benchmark::State& state) {
    const long n = static_cast<long>(state.range(0));
    std::vector<unsigned char> wire;
    {
        IntList src(security_off);
        qb_buffer_t out(security_off);
        if (!fill(src, n) || src.asnwrite(out) != 0) {
            state.SkipWithError("could not build the encoding");
            return;
        }
        wire.assign(out.data, out.data + out.length());
    }
    IntList* list = new IntList(security_off);
    int64_t measured = 0;
    for (auto _ : state) {
        // A fresh list each time; building it and freeing the last result is not measured.
        state.PauseTiming();
        delete list;
        list = new IntList(security_off);
        state.ResumeTiming();
        const int64_t t0 = thread_cpu_ns();
        qb_r_buffer_t r(wire.data(), static_cast<unsigned int>(wire.size()));
        const unsigned int rc = list->asnread(r);
        benchmark::DoNotOptimize(rc);
        measured += thread_cpu_ns() - t0;
        if (rc != 0 || r.remaining != 0) {
            state.SkipWithError("asnread failed");
            break;
        }
    }
    if (list->get_child_count() != static_cast<unsigned int>(n)) state.SkipWithError("wrong element count");
    delete list;
    report(state, n, measured);
}

}  // namespace

BENCHMARK(BM_SequenceOfEncode)->ArgName("elements")->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_SequenceOfEncodeFrames)->ArgName("elements")->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_SequenceOfDecode)->ArgName("elements")->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMicrosecond);
