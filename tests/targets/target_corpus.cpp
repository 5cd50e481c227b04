// The corpus of every row, run by one build of the module, and two such runs
// compared by bits: the x86-64 and the i386 builds must agree.
//
//   target_corpus run MODULE [CALLS [SEED]]   one line a call on stdout
//   target_corpus check MODULE [CALLS [SEED]] the same calls, printing only
//                                             calls that break the calling rules
//   target_corpus compare LIST A B            A and B: two runs' output
//   target_corpus seeds MODULE DIR FILE...    the fuzzer's seed inputs: every
//                                             call the conformance vectors make,
//                                             and two corpus calls a row
//
// Every row is called, and every exported routine that no row binds.
//
// LIST names the rows whose routines call the system maths library, each
// with the ulps (or, for int results, the units) by which the two targets'
// libraries may differ, and "nan" where a signalling NaN may become a number
// on one of them. Everything else must agree bit for bit. A NaN whose sign or
// payload alone differs is counted apart: user-mode emulation and the i386
// calling convention change NaN bits on their own.
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "callables.h"
#include "compare.h"

namespace {

using namespace kav::host;

int run(const char *path, uint64_t calls, uint64_t seed, bool print) {
    std::string error;
    auto module = Module::load(path, &error);
    if (!module) {
        std::fprintf(stderr, "target_corpus: %s\n", error.c_str());
        return 2;
    }
    module->run_init();
    long violations = 0;
    for (const Row &row : callables(*module)) {
        for (uint64_t k = 0; k < calls; ++k) {
            CallResult r;
            const std::string line = corpus_line(*module, row, seed, k, &r);
            if ((r.fault != 0) != faults_by_design(row, corpus_call(row, seed, k).values))
                r.violations.push_back(r.fault ? describe_fault(r.fault) : "no fault where one is required");
            for (const std::string &v : r.violations) {
                ++violations;
                std::fprintf(stderr, "%s call %" PRIu64 ": %s\n", row.signature.c_str(), k, v.c_str());
            }
            if (print) std::cout << line << '\n';
        }
    }
    std::cout.flush();
    return violations ? 1 : 0;
}

std::map<std::string, Bound> read_list(const char *path) {
    std::map<std::string, Bound> out;
    std::ifstream in(path);
    if (!in) {
        std::fprintf(stderr, "target_corpus: cannot read %s\n", path);
        std::exit(2);
    }
    for (std::string line; std::getline(in, line);) {
        if (line.empty() || line[0] == '#') continue;
        std::istringstream s(line);
        std::string sig, flag;
        Bound b;
        s >> sig >> b.units >> flag;
        b.nan = flag == "nan";
        out[sig] = b;
    }
    return out;
}

int compare(const char *list_path, const char *a_path, const char *b_path) {
    const auto list = read_list(list_path);
    std::ifstream a(a_path), b(b_path);
    if (!a || !b) {
        std::fprintf(stderr, "target_corpus: cannot read the runs\n");
        return 2;
    }
    struct RowTally {
        long calls = 0, nan_noise = 0, library = 0, differ = 0;
        int64_t worst = 0;
        bool nan_number = false;
        std::vector<std::string> examples;
    };
    std::map<std::string, RowTally> rows;
    long calls = 0, same = 0, nan_noise = 0, library = 0, differ = 0;
    std::string la, lb;
    while (true) {
        const bool ga = static_cast<bool>(std::getline(a, la)), gb = static_cast<bool>(std::getline(b, lb));
        if (!ga && !gb) break;
        const auto fa = split_tabs(ga ? la : ""), fb = split_tabs(gb ? lb : "");
        if (!ga || !gb || fa.size() < 4 || fa.size() != fb.size() || fa[0] != fb[0] || fa[1] != fb[1] ||
            fa[2] != fb[2]) {
            std::fprintf(stderr, "target_corpus: the runs do not hold the same calls:\n  %s\n  %s\n",
                         la.c_str(), lb.c_str());
            return 1;
        }
        ++calls;
        RowTally &t = rows[fa[0]];
        ++t.calls;
        const auto it = list.find(fa[0]);
        const Bound *bound = it == list.end() ? nullptr : &it->second;
        switch (compare_calls(fa, fb, bound, &t.worst, &t.nan_number)) {
        case Verdict::Same: ++same; break;
        case Verdict::NanNoise: ++nan_noise, ++t.nan_noise; break;
        case Verdict::WithinBound: ++library, ++t.library; break;
        case Verdict::Differs:
            ++differ, ++t.differ;
            if (t.examples.size() < 3) t.examples.push_back("  " + la + "\n  " + lb);
        }
    }
    for (const auto &[sig, t] : rows) {
        if (!t.nan_noise && !t.library && !t.differ) continue;
        std::printf("%s: %ld calls, %ld within the library bound (worst %" PRId64 "%s), %ld NaN bits only, "
                    "%ld differ\n",
                    sig.c_str(), t.calls, t.library, t.worst, t.nan_number ? ", NaN against a number" : "",
                    t.nan_noise, t.differ);
        for (const std::string &e : t.examples) std::printf("%s\n", e.c_str());
    }
    std::printf("targets: %ld calls, %ld identical, %ld within library bounds, %ld NaN bits only, %ld differ\n",
                calls, same, library, nan_noise, differ);
    return differ ? 1 : 0;
}

// The call an argument list stands for, as the corpus holds it.
CorpusCall call_of(const std::vector<Arg> &args) {
    CorpusCall call;
    for (const Arg &a : args) {
        const bool absent = a.reference && !a.variable;
        call.values.push_back(a.variable ? *a.variable : a.value);
        call.absent.push_back(absent);
    }
    return call;
}

int seeds(const char *path, const std::string &dir, char **files, int count) {
    std::string error;
    auto module = Module::load(path, &error);
    if (!module) {
        std::fprintf(stderr, "target_corpus: %s\n", error.c_str());
        return 2;
    }
    int written = 0;
    auto write = [&](const Row &row, const CorpusCall &call) {
        const auto bytes = encode_call(row.index, call);
        std::ofstream out(dir + "/seed-" + std::to_string(written++), std::ios::binary);
        out.write(reinterpret_cast<const char *>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    };
    module->on_call = [&](const Row &row, const std::vector<Arg> &args) {
        // An absent struct argument has no value to record.
        for (const Arg &a : args)
            if (!a.reference && !a.variable && a.value.kind == Value::Kind::None) return;
        write(row, call_of(args));
    };
    CheckReport report;
    for (int i = 0; i < count; ++i) check_file(*module, files[i], false, &report);
    module->on_call = nullptr;
    for (const Row &row : callables(*module))
        for (uint64_t k = 0; k < 2; ++k) write(row, corpus_call(row, 1, k));
    std::printf("%d seeds\n", written);
    return 0;
}

}  // namespace

int main(int argc, char **argv) {
    const std::string mode = argc > 1 ? argv[1] : "";
    if ((mode == "run" || mode == "check") && argc >= 3 && argc <= 5)
        return run(argv[2], argc > 3 ? std::strtoull(argv[3], nullptr, 10) : 1000,
                   argc > 4 ? std::strtoull(argv[4], nullptr, 10) : 1, mode == "run");
    if (mode == "seeds" && argc >= 4)
        return seeds(argv[2], argv[3], argv + 4, argc - 4);
    if (mode == "compare" && argc == 5)
        return compare(argv[2], argv[3], argv[4]);
    std::fprintf(stderr, "usage: target_corpus run|check MODULE [CALLS [SEED]] | compare LIST A B | seeds MODULE DIR FILE...\n");
    return 2;
}
