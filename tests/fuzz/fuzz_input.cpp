// Coverage-guided fuzzing of what people type, through the code kavmath runs
// for it, against the real module. The first byte picks the way in: its two
// low bits 0 a script (FILE:LINE reports), 1 command-line operands (one a
// line, the first error ends them, as in kavmath), 2 a .kvt file, 3 the same
// with --bits; bits 2, 3 and 4 give the first two --bits, --echo and --stop.
// Findings, beyond the sanitizers' and libFuzzer's own (time, memory): a call
// that breaks the calling rules, a fault other than the integer remainder's
// required one, a message that carries a raw control byte, and the host's
// internal error.
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <string_view>

#include "corpus.h"
#include "script.h"

namespace {
using namespace kav::host;

std::unique_ptr<Module> module;
std::FILE *out;            // what kavmath prints: discarded
std::FILE *err;            // its messages: kept in memory, checked
char *err_text = nullptr;  // err's buffer
std::size_t err_size = 0;
int kvt_file = -1;  // the .kvt input, a file in memory
bool must_fault = false;

[[noreturn]] void finding(const std::string &what) {
    std::fprintf(stderr, "fuzz_input: %s\n", what.c_str());
    std::abort();
}

// A message escapes control bytes; and no input reaches the host's
// catch-all, which would start a line of kavmath's stderr with "kavmath:
// internal error" or "FILE:LINE:COLUMN: internal error" (the messages quote
// what was typed only after such a start, or indented).
void check_message(std::string_view text, bool stderr_line) {
    for (unsigned char c : text)
        if (c < 0x20 || c == 0x7f)
            finding("raw control byte in a message: " + printable(std::string(text)));
    const std::size_t colon = text.find(": ");
    if (stderr_line && colon != text.npos && text.substr(0, colon).find(' ') == text.npos &&
        text.substr(colon + 2).starts_with("internal error"))
        finding(std::string(text));
}
}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    std::string error;
    const char *path = std::getenv("KAV_FUZZ_MODULE");
    module = Module::load(path ? path : KAV_MODULE_PATH, &error);
    if (module && !module->run_init().violations.empty())
        finding("init broke the calling rules");
    out = std::fopen("/dev/null", "w");
    err = open_memstream(&err_text, &err_size);
    kvt_file = memfd_create("fuzz.kvt", 0);
    if (!module || !out || !err || kvt_file < 0)
        finding("cannot start: " + error);
    module->on_call = [](const Row &row, const std::vector<Arg> &args) {
        std::vector<Value> values;
        for (const Arg &a : args)
            values.push_back(a.variable ? *a.variable : a.value);
        must_fault = faults_by_design(row, values);
    };
    module->on_return = [](const Row &row, const CallResult &r) {
        if (r.fault != (must_fault ? SIGFPE : 0))
            finding(row.signature + ": " +
                    (r.fault ? describe_fault(r.fault) : "no fault where one is required"));
        if (!r.violations.empty())
            finding(row.signature + ": " + r.violations[0]);
    };
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, std::size_t size) {
    if (size == 0)
        return 0;
    const unsigned mode = data[0] & 3, flags = data[0] >> 2;
    const std::string text(reinterpret_cast<const char *>(data) + 1, size - 1);
    if (mode >= 2) {
        if (ftruncate(kvt_file, 0) != 0 || pwrite(kvt_file, text.data(), text.size(), 0) < 0)
            finding("cannot write the .kvt input");
        CheckReport report;
        check_file(*module, "/proc/self/fd/" + std::to_string(kvt_file), mode == 3, &report);
        for (const std::string &f : report.failures)
            check_message(f, false);
        return 0;
    }
    const LineOptions o{.bits = (flags & 1) != 0, .echo = (flags & 2) != 0,
                        .stop = (flags & 4) != 0, .out = out, .err = err};
    // As kavmath starts, but the module's init (a .kvt file's every time)
    // once: the angle unit and the random state are set instead.
    Session session(*module);
    session.eval("mathlib_set_angleunit(0)");
    session.eval("rand_seed(1)");
    std::istringstream in(text);
    if (mode == 0) {
        run_script(session, "fuzz.kav", in, o);
    } else {
        for (std::string line; std::getline(in, line);)
            if (!evaluate_line(session, line, o).error.empty())
                break;
    }
    std::fflush(err);
    const std::string_view messages(err_text, err_size);
    for (std::size_t start = 0, end; start < messages.size(); start = end + 1) {
        end = std::min(messages.find('\n', start), messages.size());
        check_message(messages.substr(start, end - start), true);
    }
    std::rewind(err);
    return 0;
}
