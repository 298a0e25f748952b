// tests/base_idls/records_threads_test.cpp - every record the library lists
// (qb_record_list), encoded and decoded by eight threads at once, with the
// results of a single-threaded run of the same calls as the answer key.
//
// The library keeps no shared state, so a call gives the same status, octets,
// record and standard-error line whatever other threads do meanwhile. The
// test first runs every call once on the main thread (the reference run),
// then starts eight threads that repeat those calls and compare:
//   - each thread builds the random records itself (support/record_random.h,
//     the same seeds), encodes them in the plain and the local-code-set (LCS)
//     form: the same status and octets as the reference run;
//   - decodes the plain message: status 0 and a record equal to the one it
//     built (records_equal); decodes it and the LCS message through the LCS
//     form: the reference status, and the reference answer to "equal to the
//     built record?";
//   - decodes damaged copies of the message (cut short, one octet changed;
//     half of them through the LCS form): the reference status, and when one
//     decodes, its re-encoding gives the reference status and octets;
//   - everything the threads print on standard error, taken as a whole, is
//     the same set of lines the reference run printed for the same calls.
//
// Locales: four threads run under en_US.UTF-8 and four under
// en_US.ISO-8859-1, each through its own newlocale/uselocale (the process
// locale is never changed); the library converts with iconv in the thread and
// reads the thread's code set through nl_langinfo. Under UTF-8 the texts are
// ASCII or mix in 2- and 3-octet characters; under Latin-1 they are ASCII,
// except in one seed in three, whose UTF-8 texts are taken as Latin-1
// octets on the way out and may be unrepresentable on the way in (0x106521AB,
// as the reference run says).
//
// Bounds: each thread makes at most kMaxPasses passes over its locale's
// cases. Once kWallClockCap has passed and every case of its locale has run
// in some thread, a thread stops early; so the test always ends by itself,
// and always runs every case concurrently with the other threads at least
// once, however slow the build (scripts/tsan.sh runs it under
// ThreadSanitizer).

#include <gtest/gtest.h>
#include <langinfo.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <latch>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "asn1/asnrecord.h"
#include "support/leak_check.h"
#include "support/record_cases.h"
#include "support/record_owners.h"
#include "support/record_random.h"
#include "support/stderr_tap.h"
#include "support/thread_locale.h"

namespace {

using bytes_t = std::vector<unsigned char>;
using qb_test::built_record;
using qb_test::decoded_record;
using qb_test::encode_record;
using qb_test::random_options;

constexpr unsigned kThreads = 8;  // even threads under UTF-8, odd ones under Latin-1
constexpr unsigned kThreadsPerLocale = kThreads / 2;
constexpr unsigned kMaxPasses = 25;  // passes of one thread over its locale's cases
constexpr std::chrono::seconds kWallClockCap{3};
constexpr size_t kFailuresShown = 5;  // per thread; the rest are counted

constexpr unsigned int kConversionFailed = 0x106521ABu;  // text not representable in the code set

// The seeds of one record under one locale: their texts.
enum class texts { ascii, utf8 };

struct locale_plan {
    const char* name;
    const char* codeset;  // what nl_langinfo(CODESET) says under it
    texts seeds[3];
};

const locale_plan kPlans[2] = {
    {qb_test::kUtf8Locale, "UTF-8", {texts::ascii, texts::utf8, texts::utf8}},
    {qb_test::kLatin1Locale, "ISO-8859-1", {texts::ascii, texts::ascii, texts::utf8}},
};

using qb_test::hex32;

// ---- the answer key ----

// damaged_input: one damaged copy of a valid message and what the reference
// run made of it.
struct damaged_input {
    std::string what;  // e.g. "cut at 7", "octet 9 ^ 0x80, LCS"
    bytes_t bytes;
    int lcs = 0;                   // decoded through the LCS form
    unsigned int status = 0;       // the decode
    unsigned int again_status = 0; // status 0 only: re-encoding the decoded record in the same form
    bytes_t again;
    std::string printed;           // standard error of the decode and the re-encoding
};

// record_case: one random record under one locale and what the reference run
// made of it.
struct record_case {
    const qb_record_info* info = nullptr;
    std::uint64_t seed = 0;
    random_options opt;
    bytes_t plain;  // the plain encoding (status 0)
    unsigned int lcs_status = 0;
    bytes_t lcs;                      // the LCS encoding
    unsigned int cross_status = 0;    // the plain octets through the LCS decoder
    bool cross_equal = false;         //   ... give the built record
    unsigned int lcs_back_status = 0; // the LCS octets through the LCS decoder (when lcs_status is 0)
    bool lcs_back_equal = false;
    std::string printed;              // standard error of the calls on the valid messages
    std::vector<damaged_input> damaged;
};

std::string case_name(const record_case& c, const char* locale) {
    return std::string(c.info->flat_name) + " under " + locale + ", seed " + std::to_string(c.seed);
}

// damaged_copies: cuts at fixed and random lengths, and single octets changed
// at the envelope, the record's identifier and length octets and random
// positions; every second one goes through the LCS decoder.
std::vector<damaged_input> damaged_copies(const bytes_t& wire, std::uint64_t seed) {
    const size_t n = wire.size();
    qb_test::random_source rnd(seed ^ 0x9E3779B97F4A7C15ull);
    std::set<size_t> cuts = {0, 1, 4, 5, 6, n / 3, n / 2, n - 2, n - 1};
    for (int k = 0; k < 3; ++k) cuts.insert(rnd.below(static_cast<std::uint32_t>(n)));
    std::set<size_t> positions = {1, 2, 4, 5};
    for (int k = 0; k < 6; ++k) positions.insert(rnd.below(static_cast<std::uint32_t>(n)));
    const unsigned char masks[] = {0x01, 0x80, 0xFF, 0x20};

    std::vector<damaged_input> out;
    for (size_t cut : cuts) {
        if (cut >= n) continue;
        damaged_input d;
        d.what = "cut at " + std::to_string(cut);
        d.bytes.assign(wire.begin(), wire.begin() + static_cast<std::ptrdiff_t>(cut));
        out.push_back(std::move(d));
    }
    unsigned k = 0;
    for (size_t pos : positions) {
        if (pos >= n) continue;
        const unsigned char mask = masks[k++ % (sizeof masks)];
        damaged_input d;
        char mask_text[8];
        std::snprintf(mask_text, sizeof mask_text, "0x%02X", mask);
        d.what = "octet " + std::to_string(pos) + " ^ " + mask_text;
        d.bytes = wire;
        d.bytes[pos] ^= mask;
        out.push_back(std::move(d));
    }
    for (size_t i = 0; i < out.size(); ++i) {
        out[i].lcs = static_cast<int>(i % 2);
        if (out[i].lcs) out[i].what += ", LCS";
    }
    return out;
}

// reference_case: the calls on one record, run on this thread under the
// locale it is in. Returns false (after a gtest failure) when the valid
// messages do not behave as every thread must then see them behave.
bool reference_case(record_case& c, const char* locale, qb_test::stderr_tap& tap) {
    SCOPED_TRACE(case_name(c, locale));
    const qb_record_info& info = *c.info;
    built_record src(info, c.seed, c.opt);
    std::string where;

    const unsigned int plain_status = encode_record(info, src.flat(), 0, &c.plain);
    EXPECT_EQ(plain_status, 0x00000000u);
    if (plain_status != 0 || c.plain.size() <= 4) return false;
    c.lcs_status = encode_record(info, src.flat(), 1, &c.lcs);
    {
        decoded_record back(info, c.plain, 0);
        EXPECT_EQ(back.status(), 0x00000000u);
        if (back.status() != 0) return false;
        EXPECT_TRUE(qb_test::records_equal(info, src.flat(), back.flat(), &where)) << where;
    }
    {
        decoded_record back(info, c.plain, 1);
        c.cross_status = back.status();
        c.cross_equal = c.cross_status == 0 && qb_test::records_equal(info, src.flat(), back.flat());
    }
    if (c.lcs_status == 0) {
        decoded_record back(info, c.lcs, 1);
        c.lcs_back_status = back.status();
        c.lcs_back_equal = c.lcs_back_status == 0 && qb_test::records_equal(info, src.flat(), back.flat());
    }
    c.printed = tap.take();

    // What the locale allows. ASCII, and any text under UTF-8, is the same
    // on the wire in both forms and comes back through either decoder; under
    // Latin-1 every octet is a character, so the LCS form carries UTF-8 octets
    // there and back (as other octets on the wire), while the LCS decoder
    // refuses the plain octets (0x106521AB) when a character is outside Latin-1.
    const bool same_forms = !c.opt.utf8_text || std::string(locale) == qb_test::kUtf8Locale;
    EXPECT_EQ(c.lcs_status, 0x00000000u);
    EXPECT_EQ(c.lcs_back_status, 0x00000000u);
    EXPECT_TRUE(c.lcs_back_equal);
    if (same_forms) {
        EXPECT_EQ(c.lcs, c.plain);
        EXPECT_EQ(c.cross_status, 0x00000000u);
        EXPECT_TRUE(c.cross_equal);
        EXPECT_EQ(c.printed, "") << "a successful call prints nothing";
    } else {
        EXPECT_TRUE(c.cross_status == 0 || c.cross_status == kConversionFailed) << hex32(c.cross_status);
    }

    c.damaged = damaged_copies(c.plain, c.seed);
    for (damaged_input& d : c.damaged) {
        decoded_record back(info, d.bytes, d.lcs);
        d.status = back.status();
        if (d.status == 0) d.again_status = encode_record(info, back.flat(), d.lcs, &d.again);
        d.printed = tap.take();
        // Statuses of the library's family only; a cut message never decodes.
        EXPECT_TRUE(d.status == 0 || (d.status & 0xFFFF0000u) == 0x10650000u) << d.what << ": " << hex32(d.status);
        if (d.what.compare(0, 4, "cut ") == 0) {
            EXPECT_NE(d.status, 0x00000000u) << d.what;
        }
    }
    return true;
}

// ---- the threads ----

// thread_report: what one thread did and what it found.
struct thread_report {
    unsigned long cases = 0;
    unsigned long decodes = 0;
    unsigned long failure_count = 0;
    std::vector<std::string> failures;  // the first kFailuresShown
    std::string expected_printed;       // the reference run's standard error for the same calls
};

void fail(thread_report& rep, const record_case& c, const char* locale, const std::string& what) {
    ++rep.failure_count;
    if (rep.failures.size() < kFailuresShown) rep.failures.push_back(case_name(c, locale) + ": " + what);
}

// run_case: the calls of one case on this thread, checked against the key.
void run_case(const record_case& c, const char* locale, thread_report& rep) {
    const qb_record_info& info = *c.info;
    built_record src(info, c.seed, c.opt);
    std::string where;
    bytes_t wire;

    unsigned int rc = encode_record(info, src.flat(), 0, &wire);
    if (rc != 0 || wire != c.plain)
        fail(rep, c, locale, "plain encode: " + hex32(rc) + " or other octets than the reference");
    rc = encode_record(info, src.flat(), 1, &wire);
    if (rc != c.lcs_status || wire != c.lcs)
        fail(rep, c, locale, "LCS encode: " + hex32(rc) + " (reference " + hex32(c.lcs_status) + ") or other octets");
    {
        decoded_record back(info, c.plain, 0);
        ++rep.decodes;
        if (back.status() != 0)
            fail(rep, c, locale, "plain decode returned " + hex32(back.status()));
        else if (!qb_test::records_equal(info, src.flat(), back.flat(), &where))
            fail(rep, c, locale, "plain decode differs from the built record at " + where);
    }
    {
        decoded_record back(info, c.plain, 1);
        ++rep.decodes;
        const bool equal = back.status() == 0 && qb_test::records_equal(info, src.flat(), back.flat(), &where);
        if (back.status() != c.cross_status || equal != c.cross_equal)
            fail(rep, c, locale, "plain octets through the LCS decoder: " + hex32(back.status()) + ", equal " +
                                     std::to_string(equal) + " (reference " + hex32(c.cross_status) + ", equal " +
                                     std::to_string(c.cross_equal) + ")");
    }
    if (c.lcs_status == 0) {
        decoded_record back(info, c.lcs, 1);
        ++rep.decodes;
        const bool equal = back.status() == 0 && qb_test::records_equal(info, src.flat(), back.flat(), &where);
        if (back.status() != c.lcs_back_status || equal != c.lcs_back_equal)
            fail(rep, c, locale, "LCS round trip: " + hex32(back.status()) + ", equal " + std::to_string(equal) +
                                     " (reference " + hex32(c.lcs_back_status) + ")");
    }
    rep.expected_printed += c.printed;

    for (const damaged_input& d : c.damaged) {
        decoded_record back(info, d.bytes, d.lcs);
        ++rep.decodes;
        if (back.status() != d.status) {
            fail(rep, c, locale,
                 d.what + ": decode returned " + hex32(back.status()) + ", reference " + hex32(d.status));
        } else if (d.status == 0) {
            bytes_t again;
            const unsigned int rc2 = encode_record(info, back.flat(), d.lcs, &again);
            if (rc2 != d.again_status || again != d.again)
                fail(rep, c, locale, d.what + ": re-encoding the decoded record: " + hex32(rc2) + ", reference " +
                                         hex32(d.again_status) + (again != d.again ? ", other octets" : ""));
        }
        rep.expected_printed += d.printed;
    }
    ++rep.cases;
}

// locale_work: the cases of one locale and how often each has run.
struct locale_work {
    const locale_plan* plan = nullptr;
    std::vector<record_case> cases;
    std::unique_ptr<std::atomic<unsigned>[]> visits;
    std::atomic<size_t> covered{0};  // cases that have run at least once
};

// worker: thread number `index` of its locale; starts at its own quarter of
// the cases, so the threads of a locale work on different records while those
// of the other locale run the same ones.
void worker(unsigned index, locale_work& work, std::latch& start, std::chrono::steady_clock::time_point deadline,
            thread_report& rep) {
    qb_test::thread_locale loc(work.plan->name);
    const char* codeset = loc.ok() ? nl_langinfo(CODESET) : "";
    const bool ready = loc.ok() && std::string(codeset) == work.plan->codeset;
    start.arrive_and_wait();
    if (!ready) {
        ++rep.failure_count;
        rep.failures.push_back(std::string("thread under ") + work.plan->name + ": code set \"" + codeset +
                               "\" (" + qb_test::kMissingLocale + ")");
        return;
    }
    const size_t n = work.cases.size();
    const size_t first = index * n / kThreadsPerLocale;
    for (unsigned pass = 0; pass < kMaxPasses; ++pass) {
        for (size_t k = 0; k < n; ++k) {
            const size_t i = (first + k) % n;
            run_case(work.cases[i], work.plan->name, rep);
            if (work.visits[i].fetch_add(1, std::memory_order_relaxed) == 0) work.covered.fetch_add(1);
            if (std::chrono::steady_clock::now() >= deadline && work.covered.load() == n) return;
        }
    }
}

// sorted_lines: the lines of `text`, sorted (threads print in any order).
std::vector<std::string> sorted_lines(const std::string& text) {
    std::vector<std::string> lines;
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        end = end == std::string::npos ? text.size() : end + 1;
        lines.push_back(text.substr(start, end - start));
        start = end;
    }
    std::sort(lines.begin(), lines.end());
    return lines;
}

class RecordThreads : public qb_test::LeakChecked {};

TEST_F(RecordThreads, EveryListedRecordInEightThreadsMatchesTheSingleThreadedRun) {
    size_t count = 0;
    const qb_record_info* const* records = qb_record_list(&count);
    ASSERT_NE(records, nullptr);
    ASSERT_GT(count, 0u);

    // Standard error goes to the tap for the whole test: the reference run
    // takes it call by call, the threads' lines are taken at the end.
    qb_test::stderr_tap tap;
    ASSERT_TRUE(tap.ok());

    // ---- the reference run, on this thread ----
    locale_work work[2];
    std::set<unsigned int> damaged_statuses;
    unsigned long unrepresentable = 0;  // Latin-1 cases whose plain octets the LCS decoder refuses
    for (int p = 0; p < 2; ++p) {
        locale_work& w = work[p];
        w.plan = &kPlans[p];
        qb_test::thread_locale loc(w.plan->name);
        ASSERT_TRUE(loc.ok()) << w.plan->name << ": " << qb_test::kMissingLocale;
        ASSERT_STREQ(nl_langinfo(CODESET), w.plan->codeset);
        for (size_t r = 0; r < count; ++r) {
            for (unsigned s = 0; s < 3; ++s) {
                record_case c;
                c.info = records[r];
                c.seed = 1000003ull * r + 101ull * s + static_cast<std::uint64_t>(p) + 1;
                c.opt.utf8_text = w.plan->seeds[s] == texts::utf8;
                if (!reference_case(c, w.plan->name, tap)) continue;
                for (const damaged_input& d : c.damaged) {
                    if (d.status != 0) damaged_statuses.insert(d.status);
                }
                unrepresentable += c.cross_status == kConversionFailed;
                w.cases.push_back(std::move(c));
            }
        }
        ASSERT_EQ(w.cases.size(), 3 * count) << "records whose valid messages fail cannot be run in threads";
        w.visits = std::make_unique<std::atomic<unsigned>[]>(w.cases.size());
    }
    // The damaged copies are refused for different reasons, and the threads
    // under Latin-1 meet text they cannot hand out.
    EXPECT_GE(damaged_statuses.size(), 3u);
    EXPECT_GT(unrepresentable, 0u);
    ASSERT_EQ(tap.take(), "");

    // ---- the same calls in eight threads ----
    thread_report reports[kThreads];
    std::latch start(kThreads);
    const auto began = std::chrono::steady_clock::now();
    const auto deadline = began + kWallClockCap;
    {
        std::vector<std::thread> threads;
        for (unsigned t = 0; t < kThreads; ++t)
            threads.emplace_back(worker, t / 2, std::ref(work[t % 2]), std::ref(start), deadline, std::ref(reports[t]));
        for (std::thread& th : threads) th.join();
    }
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count();
    const std::string printed = tap.take();

    // ---- what the threads found ----
    std::string expected_printed;
    unsigned long cases = 0, decodes = 0;
    for (unsigned t = 0; t < kThreads; ++t) {
        const thread_report& rep = reports[t];
        SCOPED_TRACE("thread " + std::to_string(t) + " under " + kPlans[t % 2].name);
        for (const std::string& f : rep.failures) ADD_FAILURE() << f;
        EXPECT_EQ(rep.failure_count, 0u) << "mismatches with the reference run (the first "
                                         << kFailuresShown << " above)";
        EXPECT_GT(rep.cases, 0u);
        expected_printed += rep.expected_printed;
        cases += rep.cases;
        decodes += rep.decodes;
    }
    for (const locale_work& w : work) {
        EXPECT_EQ(w.covered.load(), w.cases.size()) << w.plan->name << ": cases that no thread ran";
    }
    // Every line the threads printed is one the reference run printed for
    // the same call: none lost, none added, none mixed with another.
    const std::vector<std::string> got = sorted_lines(printed), want = sorted_lines(expected_printed);
    EXPECT_EQ(got.size(), want.size()) << "lines on standard error";
    EXPECT_TRUE(got == want) << "the threads printed other lines than the reference run";

    std::printf("[ threads  ] %u threads, %lu cases, %lu decodes, %zu lines on standard error, in %.2f s\n", kThreads,
                cases, decodes, got.size(), seconds);
    RecordProperty("cases", static_cast<int>(cases));
    RecordProperty("decodes", static_cast<int>(decodes));
}

}  // namespace
