// kavmath: evaluate expressions against libKAV_mod_math.so.1, list its rows,
// run conformance vectors.
#include <dlfcn.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include "compare.h"
#include "kavhost.h"
#include "plot.h"
#include "prompt.h"
#include "reference.h"
#include "script.h"

namespace {

using namespace kav::host;

constexpr const char *kLibName = "libKAV_mod_math.so.1";

const char kUsage[] =
    "usage: kavmath [--lib PATH] [--bits] [--echo] EXPR...   evaluate, one line each\n"
    "       kavmath [--lib PATH] [--bits] [--stop] FILE... | -\n"
    "                 evaluate a script line by line ('#' starts a comment);\n"
    "                 an operand naming a file is a script, '-' standard input\n"
    "       kavmath [--lib PATH] [--bits]           prompt, or read stdin's lines\n"
    "       kavmath [--lib PATH] --list [PATTERN]   list rows, constants and types\n"
    "                                               (substring or glob, any case)\n"
    "       kavmath [--lib PATH] [--bits] --check FILE...   run .kvt vectors\n"
    "       kavmath [--lib PATH] --compare OTHER [--rows REGEX] [--calls N] [--seed S]\n"
    "               [--ulps K] [--examples K] [--json FILE]   compare two builds\n"
    "       kavmath [--lib PATH] --reference [NAME] [--out DIR]   the function reference\n"
    "                 (Markdown), or one function's entry; --out DIR writes\n"
    "                 DIR/reference.md and its pictures, DIR/plots/*.svg\n"
    "       kavmath [--lib PATH] --plot EXPR... [--x FROM:TO] [--y FROM:TO] [--samples N]\n"
    "               [--histogram] [--size WxH] [--svg FILE] [--csv FILE]\n"
    "                 draw EXPR against x: in the terminal, or as SVG or CSV"
    "\n"
    "  EXPR      sin(30000), v = vec2(1, 0.5f), length(v), f32(0x40490fd8)\n"
    "  --bits    show the raw bits of floating values\n"
    "  --echo    print each expression, as 'kav> EXPR', before its value\n"
    "  --stop    stop at the first line that fails\n"
    "  --plot    x takes N (401) evenly spaced values from FROM to TO, whose kind\n"
    "            it takes (0:360000 ints, 0.0:1.0 doubles, 0.0f:1.0f floats);\n"
    "            without --x, x is the first of int, double, float that EXPR\n"
    "            takes, over 0:360000 or -1:1. 'SETUP; EXPR' runs SETUP first.\n"
    "            --y fixes the y range, --size is in characters (pixels for\n"
    "            --svg), --histogram counts the values instead\n"
    "  --lib     the module to load; default $KAVMATH_LIB, then next to kavmath,\n"
    "            ../src, the installed library folder, then the library\n"
    "            search path\n"
    "  -h, --help      this text\n"
    "  -V, --version   kavmath's version\n"
    "  --        what follows is an expression, even if it starts with '-'\n"
    "\n" KAV_UNITS_TEXT;

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

// Rows, then constants ("const NAME = VALUE"), then types ("type NAME").
int list_rows(const Module &m, const std::string &pattern) {
    int shown = 0;
    for (const Row &r : m.rows()) {
        if (!name_matches(pattern, r.signature))
            continue;
        Dl_info info{};
        const char *routine = "?";
        if (dladdr(reinterpret_cast<void *>(r.routine), &info) && info.dli_sname)
            routine = info.dli_sname;
        std::printf("%s -> %s  %s\n", r.signature.c_str(), r.return_text.c_str(), routine);
        ++shown;
    }
    for (const Constant &c : m.constants())
        if (name_matches(pattern, c.name)) {
            std::printf("const %s = %s\n", c.name.c_str(), format_value(c.value, false).c_str());
            ++shown;
        }
    for (const TypePtr &t : m.types())
        if (name_matches(pattern, t->name)) {
            std::printf("type %s\n", t->name.c_str());
            ++shown;
        }
    if (!shown)
        std::fprintf(stderr, "kavmath: no match for '%s'\n", pattern.c_str());
    return shown ? 0 : 1;
}

enum class Mode : uint8_t { Evaluate, List, Check, Reference, Plot };

struct Options {
    Mode mode = Mode::Evaluate;
    LineOptions lines;
    std::string lib;
    std::vector<std::string> operands;
    PlotRequest plot;
    std::string plot_option;  // the first one given, for the usage error without --plot
    std::string out;          // --reference --out DIR
};

// Reads the command line into *o. Returns -1 to go on, else the exit status
// (after --help, --version or a usage error).
int parse_options(int argc, char **argv, Options *o) {
    bool options = true;
    auto mode = [&](Mode m) {
        if (o->mode != Mode::Evaluate && o->mode != m)
            return fail_usage("--list, --check, --reference and --plot do not go together");
        o->mode = m;
        return -1;
    };
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        int status = -1;
        if (!options || a.size() < 2 || a[0] != '-' || (a[1] != '-' && a != "-h" && a != "-V")) {
            o->operands.push_back(a);
        } else if (a == "--") {
            options = false;
        } else if (a == "--bits") {
            o->lines.bits = true;
        } else if (a == "--echo") {
            o->lines.echo = true;
        } else if (a == "--stop") {
            o->lines.stop = true;
        } else if (a == "--list") {
            status = mode(Mode::List);
        } else if (a == "--check") {
            status = mode(Mode::Check);
        } else if (a == "--reference") {
            status = mode(Mode::Reference);
        } else if (a == "--plot") {
            status = mode(Mode::Plot);
        } else if (bool value = false; is_plot_option(a, &value) || a == "--out") {
            if ((value || a == "--out") && i + 1 >= argc)
                return fail_usage(a + " needs a value");
            std::string error;
            if (a == "--out")
                o->out = argv[++i];
            else if (!plot_option(a, value ? argv[++i] : "", &o->plot, &error))
                return fail_usage(error);
            else if (o->plot_option.empty())
                o->plot_option = a;
        } else if (a == "--lib" || a.rfind("--lib=", 0) == 0) {
            if (a == "--lib" && i + 1 >= argc)
                return fail_usage("--lib needs a path");
            o->lib = a == "--lib" ? argv[++i] : a.substr(6);
        } else if (a == "--help" || a == "-h") {
            std::fputs(kUsage, stdout);
            return 0;
        } else if (a == "--version" || a == "-V") {
            std::printf("kavmath %s\n", KAVMATH_VERSION);
            return 0;
        } else {
            return fail_usage("unknown option " + a);
        }
        if (status >= 0)
            return status;
    }
    if (o->mode == Mode::Reference && o->operands.size() > 1)
        return fail_usage("--reference takes one name");
    if (o->mode == Mode::List && o->operands.size() > 1)
        return fail_usage("--list takes one pattern");
    if (o->mode == Mode::Check && o->operands.empty())
        return fail_usage("--check needs a file");
    if (o->mode != Mode::Plot && !o->plot_option.empty())
        return fail_usage(o->plot_option + " goes with --plot");
    if (!o->out.empty() && (o->mode != Mode::Reference || !o->operands.empty()))
        return fail_usage("--out goes with --reference and no NAME");
    if (o->mode == Mode::Plot && o->operands.empty())
        return fail_usage("--plot needs an expression of x");
    o->plot.exprs = o->operands;
    return -1;
}

int check_files(Module &module, const Options &o) {
    CheckReport report;
    for (const std::string &file : o.operands)
        check_file(module, file, o.lines.bits, &report);
    for (const std::string &f : report.failures)
        std::printf("%s\n", f.c_str());
    std::printf("%d passed, %d failed\n", report.passed, report.failed);
    return report.failed == 0 ? 0 : 1;
}

int reference_command(Session &session, const Options &o) {
    if (o.operands.empty() && !o.out.empty())
        return write_reference(session, o.out) ? 0 : 1;
    if (o.operands.empty())
        return print_reference(session) ? 0 : 1;
    if (print_help(session, o.operands[0]))
        return 0;
    std::fprintf(stderr, "kavmath: no function %s\n", printable(o.operands[0]).c_str());
    return 1;
}

// Each operand in turn: a script file, '-' for standard input, or an
// expression. Later expressions may need what an erroneous script line would
// have assigned, so scripts go on; an expression that fails ends the run.
int evaluate_operands(Session &session, const LineOptions &lines,
                      const std::vector<std::string> &operands) {
    bool all_ok = true;
    for (const std::string &operand : operands) {
        struct stat st {};
        bool ok;
        if (operand == "-") {
            ok = run_script(session, "<stdin>", std::cin, lines);
        } else if (stat(operand.c_str(), &st) == 0 && S_ISREG(st.st_mode)) {
            std::ifstream in(operand);
            if (!in) {
                std::fprintf(stderr, "kavmath: %s: %s\n", operand.c_str(), std::strerror(errno));
                return 2;
            }
            ok = run_script(session, operand, in, lines);
        } else {
            Outcome o = evaluate_line(session, operand, lines);
            if (!o.error.empty())
                return 1;
            ok = o.violations.empty();
        }
        all_ok = ok && all_ok;
        if (!all_ok && lines.stop)
            return 1;
    }
    return all_ok ? 0 : 1;
}

// Without operands: the prompt on a terminal, else standard input as a script.
int evaluate_input(Session &session, const LineOptions &lines) {
    if (isatty(STDIN_FILENO)) {
        const LineOptions typed{.bits = lines.bits};
        return prompt(session, [&](const std::string &text) { evaluate_line(session, text, typed); });
    }
    return run_script(session, "<stdin>", std::cin, {.bits = lines.bits, .echo = lines.echo}) ? 0 : 1;
}

int run(int argc, char **argv) {
    for (int i = 1; i < argc; ++i) {  // compare.cpp reads its own options
        if (std::string(argv[i]) == "--compare") return compare_command(argc, argv, default_library());
        if (std::string(argv[i]) == "--corpus-stream") return corpus_stream(argc, argv, default_library());
    }
    Options o;
    if (int status = parse_options(argc, argv, &o); status >= 0)
        return status;

    std::string error;
    auto module = Module::load(o.lib.empty() ? default_library() : o.lib, &error);
    if (!module) {
        std::fprintf(stderr, "kavmath: %s\n", error.c_str());
        return 2;
    }
    // A module that broke the rules makes the run fail, whatever it answered.
    bool faulty = report_violations(stderr, "registration: ", module->problems());
    int status;
    if (o.mode == Mode::List) {
        status = list_rows(*module, o.operands.empty() ? "" : o.operands[0]);
    } else if (o.mode == Mode::Check) {
        status = check_files(*module, o);
    } else {
        Session session(*module);
        faulty = report_violations(stderr, "init: ", session.reset().violations) || faulty;
        if (o.mode == Mode::Reference)
            status = reference_command(session, o);
        else if (o.mode == Mode::Plot)
            status = plot_command(session, o.plot, stdout, stderr);
        else if (o.operands.empty())
            status = evaluate_input(session, o.lines);
        else
            status = evaluate_operands(session, o.lines, o.operands);
    }
    return status == 0 && faulty ? 1 : status;
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
