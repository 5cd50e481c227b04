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

#include "corpus.h"

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
    std::string line;
    for (const Row &row : module->rows()) {
        for (uint64_t k = 0; k < calls; ++k) {
            CorpusCall call = corpus_call(row, seed, k);
            std::string args;
            for (const Value &v : call.values) args += value_bits(v) + ";";
            for (bool a : call.absent) args += a ? 'N' : '-';
            CallResult r;
            line = row.signature + '\t' + std::to_string(k) + '\t' + args + '\t';
            if (!run_corpus_call(*module, row, call, &r)) {
                if (print) std::cout << line << "fault\n";
                continue;
            }
            for (const std::string &v : r.violations) {
                ++violations;
                std::fprintf(stderr, "%s call %" PRIu64 ": %s\n", row.signature.c_str(), k, v.c_str());
            }
            line += value_bits(r.result) + '\t' + format_raised(r.errors) + '\t';
            for (const Value &v : call.values) line += value_bits(v) + ";";
            if (print) std::cout << line << '\n';
        }
    }
    std::cout.flush();
    return violations ? 1 : 0;
}

struct Bound {
    int64_t units = 0;
    bool nan = false;
};

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

// A position on the line of all values of the kind: ulps between two floats,
// units between two ints.
int64_t ordered(char kind, uint64_t bits) {
    if (kind == 'i') return static_cast<int32_t>(bits);
    const uint64_t sign = kind == 'f' ? 0x80000000u : 0x8000000000000000u;
    const int64_t magnitude = static_cast<int64_t>(bits & (sign - 1));
    return bits & sign ? -magnitude : magnitude;
}

bool is_nan(char kind, uint64_t bits) {
    if (kind == 'f') return (bits & 0x7FFFFFFFu) > 0x7F800000u;
    if (kind == 'd') return (bits & 0x7FFFFFFFFFFFFFFFu) > 0x7FF0000000000000u;
    return false;
}

enum Verdict { Same, NanNoise, WithinLibrary, Differs };

// Compares two value fields token by token; worst collects the largest
// distance seen.
Verdict compare_fields(const std::string &a, const std::string &b, const Bound *bound, int64_t *worst,
                       bool *nan_number) {
    if (a == b) return Same;
    std::istringstream sa(a), sb(b);
    std::string ta, tb;
    Verdict v = Same;
    while (sa >> ta && sb >> tb) {
        if (ta == tb) continue;
        if (ta.size() < 3 || ta[0] != tb[0] || ta.size() != tb.size()) return Differs;
        const char kind = ta[0];
        const uint64_t x = std::strtoull(ta.c_str() + 2, nullptr, 16);
        const uint64_t y = std::strtoull(tb.c_str() + 2, nullptr, 16);
        const bool nx = is_nan(kind, x), ny = is_nan(kind, y);
        if (nx && ny) {
            v = std::max(v, NanNoise);
        } else if (nx != ny) {
            *nan_number = true;
            if (!bound || !bound->nan) return Differs;
            v = WithinLibrary;
        } else {
            const int64_t d = std::llabs(ordered(kind, x) - ordered(kind, y));
            *worst = std::max(*worst, d);
            if (!bound || d > bound->units) return Differs;
            v = WithinLibrary;
        }
    }
    return (sa >> ta || sb >> tb) ? Differs : v;
}

std::vector<std::string> split(const std::string &line) {
    std::vector<std::string> out;
    std::size_t start = 0;
    for (std::size_t tab; (tab = line.find('\t', start)) != std::string::npos; start = tab + 1)
        out.push_back(line.substr(start, tab - start));
    out.push_back(line.substr(start));
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
        const auto fa = split(ga ? la : ""), fb = split(gb ? lb : "");
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
        Verdict v = Same;
        for (std::size_t i = 3; i < fa.size() && v != Differs; ++i) {
            if (i == 4) {  // raised errors: exactly alike
                if (fa[i] != fb[i]) v = Differs;
                continue;
            }
            // The written-back values: one field per argument.
            std::string x = fa[i], y = fb[i];
            for (char &c : x) if (c == ';') c = ' ';
            for (char &c : y) if (c == ';') c = ' ';
            v = std::max(v, compare_fields(x, y, bound, &t.worst, &t.nan_number));
        }
        switch (v) {
        case Same: ++same; break;
        case NanNoise: ++nan_noise, ++t.nan_noise; break;
        case WithinLibrary: ++library, ++t.library; break;
        case Differs:
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
    for (const Row &row : module->rows())
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
