// Two builds of the module on one corpus, compared call by call by bits.
#include "compare.h"

#include <unistd.h>

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <regex>
#include <set>
#include <sstream>
#include <utility>

namespace kav::host {

std::string corpus_line(Module &module, const Row &row, uint64_t seed, uint64_t index, CallResult *result) {
    CorpusCall call = corpus_call(row, seed, index);
    std::string line = row.signature + '\t' + std::to_string(index) + '\t';
    for (const Value &v : call.values) line += value_bits(v) + ";";
    for (bool a : call.absent) line += a ? 'N' : '-';
    line += '\t';
    CallResult r = run_corpus_call(module, row, call);
    if (r.fault) {
        line += describe_fault(r.fault);
    } else {
        line += value_bits(r.result) + '\t' + format_raised(r.errors) + '\t';
        for (const Value &v : call.values) line += value_bits(v) + ";";
    }
    if (result) *result = std::move(r);
    return line;
}

std::vector<std::string> split_tabs(const std::string &line) {
    std::vector<std::string> out;
    std::size_t start = 0;
    for (std::size_t tab; (tab = line.find('\t', start)) != std::string::npos; start = tab + 1)
        out.push_back(line.substr(start, tab - start));
    out.push_back(line.substr(start));
    return out;
}

namespace {

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

// Two value fields ("f:3f800000 i:00000002;..."), token by token.
Verdict compare_values(std::string a, std::string b, const Bound *bound, int64_t *worst, bool *nan_number) {
    if (a == b) return Verdict::Same;
    for (char &c : a) if (c == ';') c = ' ';
    for (char &c : b) if (c == ';') c = ' ';
    std::istringstream sa(a), sb(b);
    std::string ta, tb;
    Verdict v = Verdict::Same;
    while (sa >> ta && sb >> tb) {
        if (ta == tb) continue;
        if (ta.size() < 3 || ta[0] != tb[0] || ta.size() != tb.size()) return Verdict::Differs;
        const char kind = ta[0];
        const uint64_t x = std::strtoull(ta.c_str() + 2, nullptr, 16);
        const uint64_t y = std::strtoull(tb.c_str() + 2, nullptr, 16);
        const bool nx = is_nan(kind, x), ny = is_nan(kind, y);
        if (nx && ny) {
            v = std::max(v, Verdict::NanNoise);
        } else if (nx != ny) {
            *nan_number = true;
            if (!bound || !bound->nan) return Verdict::Differs;
            v = Verdict::WithinBound;
        } else {
            const int64_t d = std::llabs(ordered(kind, x) - ordered(kind, y));
            *worst = std::max(*worst, d);
            if (!bound || d > bound->units) return Verdict::Differs;
            v = Verdict::WithinBound;
        }
    }
    return (sa >> ta || sb >> tb) ? Verdict::Differs : v;
}

}  // namespace

Verdict compare_calls(const std::vector<std::string> &a, const std::vector<std::string> &b, const Bound *bound,
                      int64_t *worst, bool *nan_number) {
    if (a.size() != b.size()) return Verdict::Differs;  // a fault against a result
    Verdict v = Verdict::Same;
    for (std::size_t i = 3; i < a.size() && v != Verdict::Differs; ++i) {
        if (i == 4 || a.size() == 4) {  // raised errors and faults: exactly alike
            if (a[i] != b[i]) v = Verdict::Differs;
            continue;
        }
        v = std::max(v, compare_values(a[i], b[i], bound, worst, nan_number));
    }
    return v;
}

namespace {

struct Options {
    std::string lib, other, rows = "", json;
    uint64_t calls = 1000, seed = 1, examples = 3;
    int64_t ulps = -1;  // -1: not given
    bool ok = true;
};

Options parse(int argc, char **argv, const std::string &default_library) {
    Options o;
    o.lib = default_library;
    for (int i = 1; i < argc && o.ok; ++i) {
        const std::string a = argv[i];
        auto value = [&]() -> std::string {
            if (i + 1 >= argc) {
                std::fprintf(stderr, "kavmath: %s needs a value\n", a.c_str());
                o.ok = false;
                return "";
            }
            return argv[++i];
        };
        auto number = [&]() -> uint64_t {
            const std::string s = value();
            char *end = nullptr;
            const uint64_t n = std::strtoull(s.c_str(), &end, 0);
            if (o.ok && (s.empty() || *end)) {
                std::fprintf(stderr, "kavmath: %s needs a number\n", a.c_str());
                o.ok = false;
            }
            return n;
        };
        if (a == "--compare" || a == "--corpus-stream") continue;
        if (a == "--lib") o.lib = value();
        else if (a == "--rows") o.rows = value();
        else if (a == "--calls") o.calls = number();
        else if (a == "--seed") o.seed = number();
        else if (a == "--json") o.json = value();
        else if (a == "--examples") o.examples = number();
        else if (a == "--ulps") o.ulps = static_cast<int64_t>(number() & 0x7fffffffffffffff);
        else if (a.rfind("--", 0) == 0 || !o.other.empty()) {
            std::fprintf(stderr, "kavmath: --compare does not take %s (try --help)\n", a.c_str());
            o.ok = false;
        } else o.other = a;
    }
    return o;
}

// The side of a comparison that a source of call lines stands for: a module
// in this process, or a kavmath of the other target streaming its lines.
struct Side {
    virtual ~Side() = default;
    virtual bool next_row(std::string *signature) = 0;
    virtual std::string line(uint64_t index) = 0;  // the row's calls, in order
};

struct LocalSide : Side {
    Module &module;
    const std::vector<const Row *> &rows;
    std::size_t at = 0;
    uint64_t seed;
    LocalSide(Module &m, const std::vector<const Row *> &r, uint64_t s) : module(m), rows(r), seed(s) {}
    bool next_row(std::string *signature) override {
        if (at >= rows.size()) return false;
        *signature = rows[at++]->signature;
        return true;
    }
    std::string line(uint64_t index) override { return corpus_line(module, *rows[at - 1], seed, index); }
};

struct StreamSide : Side {
    FILE *pipe;
    explicit StreamSide(FILE *p) : pipe(p) {}
    std::string read() {
        std::string s;
        for (int c; (c = std::fgetc(pipe)) != EOF && c != '\n';) s += static_cast<char>(c);
        return s;
    }
    bool next_row(std::string *signature) override {
        const std::string s = read();
        if (s.rfind("row\t", 0) != 0) return false;
        *signature = s.substr(4);
        return true;
    }
    std::string line(uint64_t) override { return read(); }
};

std::vector<const Row *> selected(const Module &m, const std::regex &pattern) {
    std::vector<const Row *> out;
    for (const Row &r : m.rows())
        if (std::regex_search(r.signature, pattern)) out.push_back(&r);
    return out;
}

const std::map<std::string, std::string> &by_design() {
    static const std::map<std::string, std::string> list{
#define KAV_BY_DESIGN(signature, why) {signature, why},
#include "by_design.def"
#undef KAV_BY_DESIGN
    };
    return list;
}

// The ELF class of a file: 1 (32-bit), 2 (64-bit), 0 unreadable.
int elf_class(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    char head[5] = {};
    if (!in.read(head, 5) || std::memcmp(head, "\x7f" "ELF", 4) != 0) return 0;
    return head[4];
}

std::string quoted(const std::string &s) {
    std::string out = "'";
    for (char c : s) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return out + "'";
}

// A kavmath of the other target: next to OTHER in a build tree (src/ and
// host/) or installed (lib/ and bin/); qemu-i386 runs a 32-bit one where this
// machine cannot.
std::string other_kavmath(const std::string &other, int klass) {
    const std::string dir = other.find('/') == std::string::npos ? "./" : other.substr(0, other.rfind('/') + 1);
    for (const char *rel : {"../host/kavmath", "../bin/kavmath", "../../bin/kavmath", "kavmath"}) {
        const std::string path = dir + rel;
        if (access(path.c_str(), X_OK) != 0 || elf_class(path) != klass) continue;
        if (klass == 1 && std::system((quoted(path) + " --version >/dev/null 2>&1").c_str()) != 0)
            return "qemu-i386 -L / " + quoted(path);
        return quoted(path);
    }
    return "";
}

std::string element_text(const Value &v, std::size_t i) {
    char buf[40];
    const unsigned char *p = v.element(i);
    switch (v.element_kind(i)) {
    case Scalar::Int: {
        int32_t x;
        std::memcpy(&x, p, 4);
        std::snprintf(buf, sizeof buf, "%" PRId32, x);
        break;
    }
    case Scalar::Float: {
        uint32_t x;
        std::memcpy(&x, p, 4);
        std::snprintf(buf, sizeof buf, "f32(0x%08" PRIx32 ")", x);
        break;
    }
    case Scalar::Double: {
        uint64_t x;
        std::memcpy(&x, p, 8);
        std::snprintf(buf, sizeof buf, "f64(0x%016" PRIx64 ")", x);
        break;
    }
    }
    return buf;
}

std::string value_text(const Value &v) {
    if (v.kind != Value::Kind::Struct) return element_text(v, 0);
    std::string s = v.type->name + "(";
    for (std::size_t i = 0; i < v.element_count(); ++i) s += (i ? ", " : "") + element_text(v, i);
    return s + ")";
}

// The call as a kavmath command line that reproduces it.
std::string example_line(const std::string &lib, const Row &row, uint64_t seed, uint64_t index) {
    const CorpusCall call = corpus_call(row, seed, index);
    std::string line = "kavmath --bits --lib " + quoted(lib) + " " +
                       quoted("mathlib_set_angleunit(" + std::to_string(call.angle_unit) + ")") + " " +
                       quoted("rand_seed(" + std::to_string(call.seed) + ")");
    std::string args, after;
    for (std::size_t i = 0; i < row.args.size(); ++i) {
        std::string name = "a";
        name += std::to_string(i);
        if (i) args += ", ";
        switch (row.args[i].kind) {
        case Code::Kind::Int: case Code::Kind::Float: case Code::Kind::Double:
            args += value_text(call.values[i]);
            continue;
        case Code::Kind::Struct:
            args += name;
            break;
        default:
            if (call.absent[i]) {
                args += "null";
                continue;
            }
            args += '&';
            args += name;
        }
        line += ' ';
        line += quoted(name + " = " + value_text(call.values[i]));
        after += ' ';
        after += name;
    }
    return line + " " + quoted(row.name + "(" + args + ")") + after;
}

struct Tally {
    std::string signature;
    char in = 'b';  // b: both builds, t: this one only, o: the other only
    uint64_t calls = 0, same = 0, differ = 0, nan_noise = 0, within = 0, faults_this = 0, faults_other = 0;
    int64_t worst = 0;
    bool nan_number = false;
    std::vector<std::pair<std::string, std::pair<std::string, std::string>>> examples;
};

std::string json_string(const std::string &s) {
    std::string out = "\"";
    for (char c : s) {
        if (c == '"' || c == '\\') out += '\\';
        if (c == '\t') { out += "\\t"; continue; }
        out += c;
    }
    return out + "\"";
}

// The result part of a line: the fault, or result, errors and written-back
// arguments.
std::string outcome(const std::vector<std::string> &f) {
    if (f.size() == 4) return "fault " + f[3];
    if (f.size() < 6) return "?";
    return f[3] + f[4] + (f[5].empty() ? "" : "  args " + f[5]);
}

// A build loaded and initialised, or null after saying why on stderr.
std::unique_ptr<Module> load_initialised(const std::string &path) {
    std::string error;
    auto module = Module::load(path, &error);
    if (!module) {
        std::fprintf(stderr, "kavmath: %s\n", error.c_str());
        return nullptr;
    }
    module->run_init();
    return module;
}

// The other build: in this process when it is of this target, else a kavmath
// of its own target streaming its calls.
struct Other {
    std::unique_ptr<Module> module;
    std::vector<const Row *> rows;
    std::unique_ptr<Side> side;
    FILE *pipe = nullptr;
    // Ends the stream; false if the other kavmath failed.
    bool close() { return !pipe || pclose(std::exchange(pipe, nullptr)) == 0; }
    ~Other() { close(); }
};

// Checks the options and compiles --rows; false after saying why.
bool check_options(Options *o, std::regex *pattern) {
    if (o->ok && o->other.empty()) {
        std::fprintf(stderr, "kavmath: --compare needs the other build\n");
        o->ok = false;
    }
    try {
        *pattern = std::regex(o->rows);
    } catch (const std::regex_error &) {
        std::fprintf(stderr, "kavmath: --rows: not a regular expression: %s\n", o->rows.c_str());
        return false;
    }
    return o->ok;
}

bool open_other(const Options &o, const std::regex &pattern, Other *other) {
    const int klass = elf_class(o.other);
    if (klass == 0) {
        std::fprintf(stderr, "kavmath: cannot load %s: not a shared object\n", o.other.c_str());
        return false;
    }
    if (klass == (sizeof(void *) == 8 ? 2 : 1)) {
        other->module = load_initialised(o.other);
        if (!other->module) return false;
        other->rows = selected(*other->module, pattern);
        other->side = std::make_unique<LocalSide>(*other->module, other->rows, o.seed);
        return true;
    }
    const std::string runner = other_kavmath(o.other, klass);
    if (runner.empty()) {
        std::fprintf(stderr, "kavmath: no kavmath of %s's target next to it\n", o.other.c_str());
        return false;
    }
    const std::string command = runner + " --corpus-stream --lib " + quoted(o.other) + " --rows " +
                                quoted(o.rows) + " --calls " + std::to_string(o.calls) + " --seed " +
                                std::to_string(o.seed);
    other->pipe = popen(command.c_str(), "r");
    if (!other->pipe) {
        std::fprintf(stderr, "kavmath: cannot run %s\n", command.c_str());
        return false;
    }
    other->side = std::make_unique<StreamSide>(other->pipe);
    return true;
}

// One row's calls on both sides, counted into *t; false if the other side's
// calls are not the same calls.
bool compare_row(Module &mine, const Row &row, Side &side, const Options &o, Tally *t) {
    const Bound bound{o.ulps < 0 ? 0 : o.ulps, false};
    for (uint64_t k = 0; k < o.calls; ++k) {
        const std::string la = corpus_line(mine, row, o.seed, k), lb = side.line(k);
        const auto fa = split_tabs(la), fb = split_tabs(lb);
        if (fb.size() < 4 || fa[1] != fb[1] || fa[2] != fb[2]) {
            std::fprintf(stderr, "kavmath: the other build's calls of %s do not match: %s\n",
                         row.signature.c_str(), lb.c_str());
            return false;
        }
        ++t->calls;
        t->faults_this += fa.size() == 4;
        t->faults_other += fb.size() == 4;
        switch (compare_calls(fa, fb, o.ulps < 0 ? nullptr : &bound, &t->worst, &t->nan_number)) {
        case Verdict::Same: ++t->same; break;
        case Verdict::NanNoise: ++t->nan_noise; break;
        case Verdict::WithinBound: ++t->within; break;
        case Verdict::Differs:
            ++t->differ;
            if (t->examples.size() < o.examples)
                t->examples.push_back({example_line(o.lib, row, o.seed, k), {outcome(fa), outcome(fb)}});
        }
    }
    return true;
}

// Every row the other side offers, compared or marked as the other's only,
// then this build's rows that it did not offer. False if the other side
// broke off.
bool compare_rows(Module &mine, Other &other, const Options &o, const std::regex &pattern,
                  std::vector<Tally> *tallies) {
    std::set<std::string> seen;
    bool complete = true;
    for (std::string sig; complete && other.side->next_row(&sig);) {
        seen.insert(sig);
        Tally t;
        t.signature = sig;
        const Row *row = mine.find(sig);
        if (!row || !std::regex_search(sig, pattern)) {
            t.in = 'o';
            for (uint64_t k = 0; k < o.calls && other.pipe; ++k) other.side->line(k);
        } else {
            complete = compare_row(mine, *row, *other.side, o, &t);
        }
        tallies->push_back(std::move(t));
    }
    if (!other.close() || !complete) {
        std::fprintf(stderr, "kavmath: the other build's run ended early\n");
        return false;
    }
    for (const Row *row : selected(mine, pattern))
        if (!seen.count(row->signature)) {
            Tally t;
            t.signature = row->signature;
            t.in = 't';
            tallies->push_back(std::move(t));
        }
    return true;
}

struct Counts {
    uint64_t identical = 0, differ = 0, only = 0, designed = 0, nan_rows = 0;
};

void print_tally(FILE *out, const Tally &t, const Options &o) {
    std::fprintf(out, "%s: %" PRIu64 " calls, %" PRIu64 " identical, %" PRIu64 " differ", t.signature.c_str(),
                 t.calls, t.same, t.differ);
    if (t.nan_noise) std::fprintf(out, ", %" PRIu64 " NaN sign or payload only", t.nan_noise);
    if (t.within) std::fprintf(out, ", %" PRIu64 " within %" PRId64 " ulps", t.within, o.ulps);
    if (t.faults_this || t.faults_other)
        std::fprintf(out, ", faults: %" PRIu64 " here, %" PRIu64 " in the other", t.faults_this, t.faults_other);
    if (t.worst) std::fprintf(out, ", worst %" PRId64 " ulps or units", t.worst);
    if (t.nan_number) std::fprintf(out, ", NaN against a number");
    std::fprintf(out, "\n");
    for (const auto &[line, results] : t.examples)
        std::fprintf(out, "  %s\n    this:  %s\n    other: %s\n", line.c_str(), results.first.c_str(),
                     results.second.c_str());
}

// The report: rows that are not identical, the by-design group apart, and
// the counts.
Counts print_report(FILE *out, const std::vector<Tally> &tallies, const Options &o) {
    Counts c;
    for (const Tally &t : tallies) {
        if (t.in != 'b') {
            ++c.only;
            std::fprintf(out, "%s: only in %s\n", t.signature.c_str(), t.in == 't' ? "this build" : "the other");
        } else if (t.differ && by_design().count(t.signature)) {
            ++c.designed;
        } else if (t.differ || t.faults_this != t.faults_other) {
            ++c.differ;
            print_tally(out, t, o);
        } else {
            ++c.identical;
            if (t.nan_noise || t.within || t.faults_this) {
                c.nan_rows += t.nan_noise != 0;
                print_tally(out, t, o);
            }
        }
    }
    if (c.designed) {
        std::fprintf(out, "may differ by design:\n");
        for (const Tally &t : tallies)
            if (t.in == 'b' && t.differ && by_design().count(t.signature)) {
                std::fprintf(out, "(%s) ", by_design().at(t.signature).c_str());
                print_tally(out, t, o);
            }
    }
    if (o.ulps >= 0) std::fprintf(out, "floating results within %" PRId64 " ulps count as identical (--ulps)\n", o.ulps);
    if (c.nan_rows) std::fprintf(out, "%" PRIu64 " identical rows differ in NaN sign or payload only\n", c.nan_rows);
    if (c.designed) std::fprintf(out, "%" PRIu64 " rows differ where the module may by design\n", c.designed);
    std::fprintf(out, "%" PRIu64 " rows identical, %" PRIu64 " differ, %" PRIu64 " only in one\n", c.identical,
                 c.differ, c.only);
    return c;
}

bool write_json(const Options &o, const std::vector<Tally> &tallies, const Counts &c) {
    std::ofstream json(o.json);
    json << "{\"this\": " << json_string(o.lib) << ", \"other\": " << json_string(o.other)
         << ", \"calls\": " << o.calls << ", \"seed\": " << o.seed << ", \"ulps\": ";
    if (o.ulps < 0) json << "null"; else json << o.ulps;
    json << ", \"identical\": " << c.identical << ", \"differ\": " << c.differ << ", \"only_in_one\": " << c.only
         << ", \"by_design\": " << c.designed << ",\n \"rows\": [";
    for (std::size_t i = 0; i < tallies.size(); ++i) {
        const Tally &t = tallies[i];
        json << (i ? ",\n  " : "\n  ") << "{\"signature\": " << json_string(t.signature) << ", \"in\": \""
             << (t.in == 'b' ? "both" : t.in == 't' ? "this" : "other") << "\", \"calls\": " << t.calls
             << ", \"identical\": " << t.same << ", \"differ\": " << t.differ << ", \"nan_only\": " << t.nan_noise
             << ", \"within_ulps\": " << t.within << ", \"faults_this\": " << t.faults_this
             << ", \"faults_other\": " << t.faults_other << ", \"worst\": " << t.worst
             << ", \"by_design\": " << (by_design().count(t.signature) ? "true" : "false") << ", \"examples\": [";
        for (std::size_t e = 0; e < t.examples.size(); ++e)
            json << (e ? ", " : "") << "{\"line\": " << json_string(t.examples[e].first)
                 << ", \"this\": " << json_string(t.examples[e].second.first)
                 << ", \"other\": " << json_string(t.examples[e].second.second) << "}";
        json << "]}";
    }
    json << "\n]}\n";
    if (!json) std::fprintf(stderr, "kavmath: cannot write %s\n", o.json.c_str());
    return static_cast<bool>(json);
}

}  // namespace

int corpus_stream(int argc, char **argv, const std::string &default_library) {
    const Options o = parse(argc, argv, default_library);
    if (!o.ok) return 2;
    auto module = load_initialised(o.lib);
    if (!module) return 2;
    for (const Row *row : selected(*module, std::regex(o.rows))) {
        std::printf("row\t%s\n", row->signature.c_str());
        for (uint64_t k = 0; k < o.calls; ++k) std::printf("%s\n", corpus_line(*module, *row, o.seed, k).c_str());
    }
    std::printf("end\n");
    return 0;
}

int compare_command(int argc, char **argv, const std::string &default_library, FILE *out) {
    Options o = parse(argc, argv, default_library);
    std::regex pattern;
    if (!check_options(&o, &pattern)) return 2;
    auto mine = load_initialised(o.lib);
    Other other;
    if (!mine || !open_other(o, pattern, &other)) return 2;
    std::vector<Tally> tallies;
    if (!compare_rows(*mine, other, o, pattern, &tallies)) return 2;
    const Counts counts = print_report(out, tallies, o);
    if (!o.json.empty() && !write_json(o, tallies, counts)) return 2;
    return counts.differ || counts.only ? 1 : 0;
}

}  // namespace kav::host
