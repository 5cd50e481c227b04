// kavmath: evaluate expressions against libKAV_mod_math.so.1, list its rows,
// run conformance vectors.
#include <dlfcn.h>
#include <fnmatch.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

#include "compare.h"
#include "kavhost.h"

namespace {

using namespace kav::host;

constexpr const char *kLibName = "libKAV_mod_math.so.1";

const char kUsage[] =
    "usage: kavmath [--lib PATH] [--bits] [--echo] EXPR...   evaluate, one line each\n"
    "       kavmath [--lib PATH] [--bits]           read expressions from stdin\n"
    "       kavmath [--lib PATH] --list [PATTERN]   list rows (substring or glob)\n"
    "       kavmath [--lib PATH] [--bits] --check FILE...   run .kvt vectors\n"
    "       kavmath [--lib PATH] --compare OTHER [--rows REGEX] [--calls N] [--seed S]\n"
    "               [--ulps K] [--examples K] [--json FILE]   compare two builds\n"
    "\n"
    "  EXPR      sin(30000), v = vec2(1, 0.5f), modf(2.75f, &v), f32(0x40490fd8)\n"
    "  --bits    show the raw bits of floating values\n"
    "  --echo    print each expression, as 'kav> EXPR', before its value\n"
    "  --lib     the module to load; default $KAVMATH_LIB, then next to kavmath,\n"
    "            ../src, the installed library folder, then the library\n"
    "            search path\n";

int fail_usage(const std::string &what) {
    std::fprintf(stderr, "kavmath: %s (try --help)\n", what.c_str());
    return 2;
}

std::string default_library() {
    if (const char *env = std::getenv("KAVMATH_LIB"); env && *env)
        return env;
    std::vector<char> buf(4096);
    ssize_t n = readlink("/proc/self/exe", buf.data(), buf.size() - 1);
    if (n > 0) {
        std::string self(buf.data(), static_cast<std::size_t>(n));
        std::string dir = self.substr(0, self.rfind('/') + 1);
        // KAVMATH_LIBDIR: the installed library folder relative to kavmath's.
        for (const char *rel : {"", "../src/", KAVMATH_LIBDIR}) {
            std::string path = dir + rel + kLibName;
            if (access(path.c_str(), F_OK) == 0)
                return path;
        }
    }
    return kLibName;  // the dynamic linker's search
}

// Prints what the module did wrong; true if anything.
bool report_violations(const std::string &where, const std::vector<std::string> &violations) {
    for (const std::string &v : violations)
        std::fprintf(stderr, "kavmath: %s%s\n", where.c_str(), v.c_str());
    return !violations.empty();
}

int list_rows(const Module &m, const std::string &pattern) {
    bool glob = pattern.find_first_of("*?[") != std::string::npos;
    int shown = 0;
    for (const Row &r : m.rows()) {
        if (glob ? fnmatch(pattern.c_str(), r.signature.c_str(), 0) != 0
                 : r.signature.find(pattern) == std::string::npos)
            continue;
        Dl_info info{};
        const char *routine = "?";
        if (dladdr(reinterpret_cast<void *>(r.routine), &info) && info.dli_sname)
            routine = info.dli_sname;
        std::printf("%s -> %s  %s\n", r.signature.c_str(), r.return_text.c_str(), routine);
        ++shown;
    }
    return shown ? 0 : 1;
}

// Evaluates one line and prints its value, violations and error.
Outcome evaluate(Session &s, const std::string &line, bool bits, bool echo) {
    if (echo)
        std::printf("kav> %s\n", line.c_str());
    Outcome o = s.eval(line);
    if (o.value.kind != Value::Kind::None)
        std::printf("%s%s\n", format_value(o.value, bits).c_str(), format_raised(o.raised).c_str());
    std::fflush(stdout);
    report_violations("", o.violations);
    if (!o.error.empty())
        std::fprintf(stderr, "kavmath: %s\n", o.error.c_str());
    return o;
}

int interactive(Session &s, bool bits, bool echo) {
    bool tty = isatty(STDIN_FILENO);
    bool all_ok = true;
    std::string line;
    for (;;) {
        if (tty) {
            std::printf("kav> ");
            std::fflush(stdout);
        }
        if (!std::getline(std::cin, line))
            break;
        std::size_t first = line.find_first_not_of(" \t\r");
        if (first == std::string::npos || line[first] == '#')
            continue;
        line = line.substr(first);
        if (line.rfind(":quit", 0) == 0)
            break;
        all_ok = evaluate(s, line, bits, echo && !tty).ok() && all_ok;
    }
    if (tty && std::cin.eof())
        std::printf("\n");
    return all_ok ? 0 : 1;
}

int run(int argc, char **argv) {
    for (int i = 1; i < argc; ++i) {  // compare.cpp reads its own options
        if (std::string(argv[i]) == "--compare") return compare_command(argc, argv, default_library());
        if (std::string(argv[i]) == "--corpus-stream") return corpus_stream(argc, argv, default_library());
    }
    bool bits = false, echo = false, list = false, check = false, options = true;
    std::string lib;
    std::vector<std::string> operands;
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        if (!options || a.rfind("--", 0) != 0) {
            operands.push_back(a);
        } else if (a == "--") {
            options = false;
        } else if (a == "--bits") {
            bits = true;
        } else if (a == "--echo") {
            echo = true;
        } else if (a == "--list") {
            list = true;
        } else if (a == "--check") {
            check = true;
        } else if (a == "--lib" || a.rfind("--lib=", 0) == 0) {
            if (a == "--lib" && i + 1 >= argc)
                return fail_usage("--lib needs a path");
            lib = a == "--lib" ? argv[++i] : a.substr(6);
        } else if (a == "--help") {
            std::fputs(kUsage, stdout);
            return 0;
        } else if (a == "--version") {
            std::printf("kavmath %s\n", KAVMATH_VERSION);
            return 0;
        } else {
            return fail_usage("unknown option " + a);
        }
    }
    if (list && check)
        return fail_usage("--list and --check do not go together");
    if (list && operands.size() > 1)
        return fail_usage("--list takes one pattern");
    if (check && operands.empty())
        return fail_usage("--check needs a file");

    std::string error;
    auto module = Module::load(lib.empty() ? default_library() : lib, &error);
    if (!module) {
        std::fprintf(stderr, "kavmath: %s\n", error.c_str());
        return 2;
    }
    bool faulty = report_violations("registration: ", module->problems());

    if (list)
        return list_rows(*module, operands.empty() ? "" : operands[0]) != 0 || faulty ? 1 : 0;

    if (check) {
        CheckReport report;
        for (const std::string &file : operands)
            check_file(*module, file, bits, &report);
        for (const std::string &f : report.failures)
            std::printf("%s\n", f.c_str());
        std::printf("%d passed, %d failed\n", report.passed, report.failed);
        return report.failed == 0 && !faulty ? 0 : 1;
    }

    Session session(*module);
    faulty = report_violations("init: ", session.reset().violations) || faulty;
    if (operands.empty())
        return interactive(session, bits, echo) != 0 || faulty ? 1 : 0;
    // Later expressions may need what an erroneous one would have assigned.
    for (const std::string &expr : operands) {
        Outcome o = evaluate(session, expr, bits, echo);
        if (!o.error.empty())
            return 1;
        faulty = faulty || !o.violations.empty();
    }
    return faulty ? 1 : 0;
}

}  // namespace

int main(int argc, char **argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception &e) {
        std::fprintf(stderr, "kavmath: %s\n", e.what());
    } catch (...) {
        std::fprintf(stderr, "kavmath: unexpected failure\n");
    }
    return 2;
}
