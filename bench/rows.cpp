// kav_rows: every row that has a plain reading (bench/plain/*.cpp) timed next
// to that reading, in one run, through the minimal runtime of stub.h.
//
//   kav_rows [REGEX] [--lib PATH] [--radians] [--limit X] [--calls N] [--args]
//
// Rows whose signature matches REGEX (all by default). Each row gets one
// fixed call: the first call of the module's call corpus (seed 1) whose
// arguments are typical (ints within +-400000; floats and doubles 0 or normal
// with 1e-3 <= |x| <= 4e5; no absent reference) and whose result, through
// the reference host, is typical too (no error, no NaN, infinity or
// subnormal, no int -2147483648), in the milli-degree unit (--radians: the
// radian unit). The module's routine and the plain reading each answer that
// call once, and must pop, answer and write back the same; then each side is
// timed over runs of N calls (100,000 by default) from each of 8 copies of
// the timing loop, placed 8 bytes apart in a 64-byte line, 2 runs a copy,
// interleaved (module first, then plain first), each run at another stack
// depth. A side's cost is the median over the copies of its least run from
// each. Rows above the limit are measured so again after the others, up to
// four more passes. The program runs itself without address randomisation,
// so that one build lays out alike each run.
//
// Prints a line per row, per family (script name) and a last summary line;
// exits 0 when no covered row costs more than X (1.10) times its plain
// reading and every reading agrees with the module, 1 otherwise, 2 on a
// usage or load error.
#include <sys/personality.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <regex>
#include <string>
#include <vector>

#include "corpus.h"
#include "plain/plain.h"
#include "stub.h"

namespace kav::bench {

namespace {

struct Options {
    std::string regex;
    std::string lib = KAV_MODULE_PATH;
    int32_t unit = 0;
    double limit = 1.10;
    long calls = 100000;
    bool args = false;
};

constexpr int kPlacements = 8, kRunsPerPlacement = 2;

// ---- Choosing the call -----------------------------------------------------

bool typical_element(host::Scalar kind, const unsigned char *p, bool result) {
    switch (kind) {
    case host::Scalar::Int: {
        int32_t x;
        std::memcpy(&x, p, sizeof x);
        return result ? x != INT32_MIN : x >= -400000 && x <= 400000;
    }
    case host::Scalar::Float: {
        float x;
        std::memcpy(&x, p, sizeof x);
        if (x == 0) return true;
        return std::isnormal(x) && (result || (std::fabs(x) >= 1e-3f && std::fabs(x) <= 4e5f));
    }
    case host::Scalar::Double: {
        double x;
        std::memcpy(&x, p, sizeof x);
        if (x == 0) return true;
        return std::isnormal(x) && (result || (std::fabs(x) >= 1e-3 && std::fabs(x) <= 4e5));
    }
    }
    return false;
}

bool typical(const host::Value &v, bool result) {
    for (std::size_t i = 0; i < v.element_count(); ++i)
        if (!typical_element(v.element_kind(i), v.element(i), result)) return false;
    return true;
}

struct Chosen {
    uint64_t index = 0;
    bool typical = false;  // false: no corpus call qualified, call 0 is used
    std::vector<host::Value> values;
};

Chosen choose_call(host::Module &module, const host::Row &row, int32_t unit) {
    auto call_at = [&](uint64_t k) {
        host::CorpusCall c = host::corpus_call(row, 1, k);
        c.angle_unit = unit;
        return c;
    };
    for (uint64_t k = 0; k < 1000; ++k) {
        host::CorpusCall c = call_at(k);
        if (host::faults_by_design(row, c.values)) continue;
        if (std::find(c.absent.begin(), c.absent.end(), true) != c.absent.end()) continue;
        if (!std::all_of(c.values.begin(), c.values.end(), [](const host::Value &v) { return typical(v, false); }))
            continue;
        const host::CallResult r = host::run_corpus_call(module, row, c);
        if (r.fault || !r.errors.empty() || !r.violations.empty() || !typical(r.result, true)) continue;
        return {k, true, call_at(k).values};
    }
    return {0, false, call_at(0).values};
}

// ---- One row ---------------------------------------------------------------------

struct Outcome {
    Tally tally;
    Sinks sinks;
    std::vector<Preload> args;
};

struct Row {
    const host::Row *row;
    plain_reading plain;
    Chosen call;
    std::vector<Preload> args;
    double module_best[kPlacements], plain_best[kPlacements];  // least run from each copy
    double module_ns = 0, plain_ns = 0;                          // their medians
    std::string disagreement;  // how the reading's answer differs, if it does
    double ratio() const { return module_ns / plain_ns; }
};

// The module's globals that a call may read or change.
int32_t *angle_unit = nullptr;
uint32_t *m_z = nullptr, *m_w = nullptr;

// The module state a call may read or change, as it was before the first.
struct State {
    int32_t unit;
    uint32_t z, w;
};

void restore(const State &s) {
    *angle_unit = s.unit;
    *m_z = s.z;
    *m_w = s.w;
    std::srand(1);  // the library's generator, which the float rand rows draw from
}

Outcome answer(KavProc fn, const std::vector<Preload> &args, const State &s) {
    restore(s);
    Stub::load(args);
    Stub::clear_sinks();
    Stub::reset_tally();
    Stub::call(fn);
    return {Stub::tally(), Stub::sinks(), Stub::preloads()};
}

std::string compare(const Outcome &m, const Outcome &p) {
    const Tally &a = m.tally, &b = p.tally;
    if (a.pops_left != b.pops_left || a.overpops != b.overpops || a.results != b.results ||
        a.raised != b.raised || a.stray != b.stray)
        return "uses the runtime differently";
    if (std::memcmp(&m.sinks, &p.sinks, sizeof m.sinks) != 0) return "answers differently";
    for (std::size_t i = 0; i < m.args.size(); ++i)
        if (std::memcmp(&m.args[i], &p.args[i], sizeof(Preload)) != 0)
            return "writes argument " + std::to_string(i + 1) + " differently";
    return {};
}

// The timing loop, Place x 8 bytes into a 64-byte line. Where the loop's
// call lies against the routine's own branches moves a routine of a few ns
// by a cycle either way (abs(I): identical instructions on both sides, from
// 1.00x to 1.19x as the loop moved), so each side is timed from every place.
template <int Place>
[[gnu::noinline]] double time_ns(KavProc fn, long calls) {
    const auto t0 = std::chrono::steady_clock::now();
    asm volatile(".p2align 6");
    if constexpr (Place > 0) asm volatile(".skip %c0, 0x90" ::"i"(Place * 8));
    for (long i = 0; i < calls; ++i) Stub::call(fn);
    const auto t1 = std::chrono::steady_clock::now();
    return std::chrono::duration<double, std::nano>(t1 - t0).count() / static_cast<double>(calls);
}

// The same from copy `place`, with the stack pushed `depth` bytes further down.
[[gnu::noinline]] double time_ns_at(KavProc fn, long calls, int place, std::size_t depth) {
    static double (*const copies[kPlacements])(KavProc, long) = {
        time_ns<0>, time_ns<1>, time_ns<2>, time_ns<3>, time_ns<4>, time_ns<5>, time_ns<6>, time_ns<7>};
    volatile unsigned char *pad = static_cast<unsigned char *>(__builtin_alloca(depth + 1));
    pad[0] = 0;
    return copies[place](fn, calls);
}

// The row's reading checked against the module on the fixed call.
void check(Row &r, const Options &o) {
    const State s{o.unit, *m_z, *m_w};
    r.disagreement = compare(answer(r.row->routine, r.args, s), answer(r.plain, r.args, s));
    restore(s);
}

double median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    const std::size_t n = v.size();
    return n % 2 ? v[n / 2] : (v[n / 2 - 1] + v[n / 2]) / 2;
}

// 2 runs a side from each copy of the timing loop, interleaved; each side
// keeps its least run from each copy, and its cost is their median. Each
// run of a pass pushes the stack down by a different amount, the same for
// both sides: where a routine's stack slots fall against the arguments and
// results, 4 KiB apart, stalls its loads on a false dependence (up to twice
// the cost), which says where the harness put them, not what the routine
// costs.
void measure(Row &r, const Options &o, int pass) {
    const State s{o.unit, *m_z, *m_w};
    for (int place = 0; place < kPlacements; ++place)
        for (int run = 0; run < kRunsPerPlacement; ++run)
            for (int side = 0; side < 2; ++side) {
                const bool module_side = (side == 0) == (run == 0);
                restore(s);
                Stub::load(r.args);
                double &best = (module_side ? r.module_best : r.plain_best)[place];
                // 400 is 25 steps of 16 bytes: the depths k * 400 % 4096 run
                // through 256 different ones before any comes again.
                const int k = (pass * kPlacements + place) * kRunsPerPlacement + run;
                const std::size_t depth = static_cast<std::size_t>(k) * 400 % 4096;
                best = std::min(best, time_ns_at(module_side ? r.row->routine : r.plain, o.calls, place, depth));
            }
    restore(s);
    r.module_ns = median({r.module_best, r.module_best + kPlacements});
    r.plain_ns = median({r.plain_best, r.plain_best + kPlacements});
}

// Every row once, then the rows still above the limit again, up to four
// more passes. On a shared machine a row of a few ns can run a cycle slow
// on either side for as long as a whole measurement takes, so a second look
// comes after the other rows, not at once. Both sides keep their least runs
// of all, so a real cost stays.
// Returns how many rows the first pass left above the limit.
int measure_all(std::vector<Row> &rows, const Options &o) {
    for (Row &r : rows) {
        check(r, o);
        std::fill_n(r.module_best, kPlacements, 1e300);
        std::fill_n(r.plain_best, kPlacements, 1e300);
    }
    int first_pass_above = 0;
    for (int pass = 0; pass < 5; ++pass) {
        for (Row &r : rows)
            if (pass == 0 || r.ratio() > o.limit) measure(r, o, pass);
        if (pass == 0)
            for (const Row &r : rows) first_pass_above += r.ratio() > o.limit;
    }
    return first_pass_above;
}

// ---- Report ----------------------------------------------------------------------

std::string arguments(const Chosen &c) {
    std::string out;
    for (const host::Value &v : c.values) out += (out.empty() ? "" : ", ") + host::format_value(v);
    return out;
}

int usage(const char *why) {
    std::fprintf(stderr,
                 "kav_rows: %s\nusage: kav_rows [REGEX] [--lib PATH] [--radians] [--limit X] "
                 "[--calls N] [--args]\n",
                 why);
    return 2;
}

int run(int argc, char **argv) {
    Options o;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        const bool has_value = i + 1 < argc;
        if (a == "--lib" && has_value) o.lib = argv[++i];
        else if (a == "--radians") o.unit = 1;
        else if (a == "--limit" && has_value) o.limit = std::atof(argv[++i]);
        else if (a == "--calls" && has_value) o.calls = std::atol(argv[++i]);
        else if (a == "--args") o.args = true;
        else if (a.rfind("--", 0) == 0 || !o.regex.empty()) return usage(("unexpected " + a).c_str());
        else o.regex = a;
    }
    if (o.calls <= 0 || !(o.limit > 0)) return usage("--calls and --limit take positive numbers");
    std::regex filter;
    try {
        filter = std::regex(o.regex);
    } catch (const std::regex_error &) {
        return usage(("bad regex " + o.regex).c_str());
    }

    Stub::use_module(o.lib);
    Stub &stub = Stub::get();  // opens, registers and initialises the module
    std::string error;
    const std::unique_ptr<host::Module> module = host::Module::load(o.lib, &error);
    if (!module) return usage(error.c_str());

    std::map<std::string, plain_reading> readings;
    for (int i = 0; i < plain_count(); ++i) {
        const std::string signature = plain_signature(i);
        if (!module->find(signature))
            return usage(("a plain reading of " + signature + ", which is no row").c_str());
        if (!readings.emplace(signature, plain_function(i)).second)
            return usage(("two plain readings of " + signature).c_str());
    }

    // The calls are chosen through the reference host, before the minimal
    // runtime takes the module back.
    std::vector<Row> rows;
    std::vector<const host::Row *> missing;
    std::size_t selected = 0;
    for (const host::Row &row : module->rows()) {
        if (!std::regex_search(row.signature, filter)) continue;
        ++selected;
        const auto found = readings.find(row.signature);
        if (found == readings.end()) {
            missing.push_back(&row);
            continue;
        }
        Row r{&row, found->second, choose_call(*module, row, o.unit), {}, {}, {}, 0, 0, {}};
        for (const host::Value &v : r.call.values) r.args.push_back(preload(v));
        rows.push_back(std::move(r));
    }

    stub.claim();
    const auto symbol = [&](const char *name) { return static_cast<int32_t *>(stub.symbol(name)); };
    angle_unit = symbol("math_angle_unit");
    m_z = static_cast<uint32_t *>(stub.symbol("m_z"));
    m_w = static_cast<uint32_t *>(stub.symbol("m_w"));
    const plain_module bound{*static_cast<RuntimeInterface **>(stub.symbol("kavre")), angle_unit,
                             symbol("sin_tab"), symbol("cos_tab"), symbol("asin_tab"),
                             symbol("acos_tab"), m_z, m_w};
    plain_bind(&bound);

    std::printf("kav_rows: %s, %s unit; %ld calls a run; a side's cost: the median over %d places of "
                "the timing loop of the least of %d runs from each\n",
                o.lib.c_str(), o.unit ? "radian" : "milli-degree", o.calls, kPlacements, kRunsPerPlacement);
    std::printf("%-44s %10s %10s %7s\n", "row", "module ns", "plain ns", "ratio");
    std::fflush(stdout);  // the rows print once every pass is done
    const int first_pass_above = measure_all(rows, o);
    int disagreements = 0;
    for (Row &r : rows) {
        std::printf("%-44s %10.2f %10.2f %6.2fx%s%s%s", r.row->signature.c_str(), r.module_ns,
                    r.plain_ns, r.ratio(), r.ratio() > o.limit ? "  ABOVE" : "",
                    r.call.typical ? "" : "  (no typical corpus call: call 0)",
                    r.disagreement.empty() ? "" : ("  PLAIN READING " + r.disagreement).c_str());
        if (o.args) std::printf("  call %llu: %s", static_cast<unsigned long long>(r.call.index),
                                arguments(r.call).c_str());
        std::printf("\n");
        std::fflush(stdout);
        disagreements += !r.disagreement.empty();
    }

    // Per family, in table order.
    std::printf("\n%-24s %5s %8s  %s\n", "family", "rows", "median", "worst row");
    std::vector<std::string> order;
    std::map<std::string, std::vector<const Row *>> families;
    for (const Row &r : rows) {
        auto &f = families[r.row->name];
        if (f.empty()) order.push_back(r.row->name);
        f.push_back(&r);
    }
    for (const std::string &name : order) {
        const auto &f = families[name];
        std::vector<double> ratios;
        for (const Row *r : f) ratios.push_back(r->ratio());
        const Row *worst = *std::max_element(f.begin(), f.end(), [](const Row *a, const Row *b) { return a->ratio() < b->ratio(); });
        std::printf("%-24s %5zu %7.2fx  %s %.2fx\n", name.c_str(), f.size(), median(ratios),
                    worst->row->signature.c_str(), worst->ratio());
    }

    if (!missing.empty()) {
        std::printf("\nwithout a plain reading: %zu rows\n", missing.size());
        for (std::size_t i = 0; i < missing.size();) {
            const std::string &name = missing[i]->name;
            std::string line = "  " + name + ":";
            for (; i < missing.size() && missing[i]->name == name; ++i) line += " " + missing[i]->signature;
            std::printf("%s\n", line.c_str());
        }
    }

    std::vector<double> ratios;
    const Row *worst = nullptr;
    int above = 0;
    for (const Row &r : rows) {
        ratios.push_back(r.ratio());
        above += r.ratio() > o.limit;
        if (!worst || r.ratio() > worst->ratio()) worst = &r;
    }
    std::printf("\nsummary: %zu of %zu rows covered (%zu in the table)", rows.size(), selected,
                module->rows().size());
    if (worst)
        std::printf(", median %.2fx, %d above %.2fx (%d after the first pass), worst %s %.2fx",
                    median(ratios), above, o.limit, first_pass_above, worst->row->signature.c_str(),
                    worst->ratio());
    if (disagreements) std::printf(", %d plain readings disagree", disagreements);
    std::printf("\n");
    return above || disagreements ? 1 : 0;
}

}  // namespace

}  // namespace kav::bench

int main(int argc, char **argv) {
    // Where the stack, the module and this program land decides a cycle or two
    // of the smallest rows (4 KiB aliasing between their stores and loads);
    // without address randomisation two runs of one build time alike.
    const int persona = personality(0xffffffff);
    if (persona != -1 && !(persona & ADDR_NO_RANDOMIZE) &&
        personality(persona | ADDR_NO_RANDOMIZE) != -1)
        execv("/proc/self/exe", argv);  // returns only on failure: go on as we are
    try {
        return kav::bench::run(argc, argv);
    } catch (const std::exception &e) {
        std::fprintf(stderr, "kav_rows: %s\n", e.what());
        return 2;
    }
}
