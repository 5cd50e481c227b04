// kavmath's interactive prompt: libedit's emacs line editing, a history file,
// Tab completion of the session's names, and the prompt's own commands.
#include "prompt.h"

#include <fnmatch.h>
#include <histedit.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "plot.h"
#include "reference.h"

namespace kav::host {

bool name_matches(const std::string &pattern, const std::string &text) {
    if (pattern.find_first_of("*?[") != std::string::npos)
        return fnmatch(pattern.c_str(), text.c_str(), FNM_CASEFOLD) == 0;
    auto lower = [](std::string t) {
        for (char &c : t)
            c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        return t;
    };
    return lower(text).find(lower(pattern)) != std::string::npos;
}

namespace {

const char kBanner[] =
    "kavmath %s: type an expression, 'help' for help, 'quit' or Ctrl-D to leave\n";
const char kHelp[] =
    "  EXPR              evaluate, e.g. sin(30000) or v = vec2(1, 0.5f)\n"
    "  help NAME         what a function does, its signatures and an example\n"
    "  plot EXPR[, EXPR...] [FROM:TO]\n"
    "                    draw EXPR against x from FROM to TO, whose kind x\n"
    "                    takes (0:360000 ints, -0.5:1.5 doubles, 0.0f:1.0f floats)\n"
    "  vars              the variables set so far\n"
    "  consts [PATTERN]  the module's constants and their values\n"
    "  types [PATTERN]   the struct types and their fields\n"
    "  quit, exit        leave (or Ctrl-D)\n"
    "Tab completes a name, the up arrow recalls earlier lines (kept in\n"
    "$KAVMATH_HISTORY, else ~/.kavmath_history), Ctrl-C drops the line.\n"
    KAV_UNITS_TEXT;

const char *const kCommands[] = {"help", "plot", "vars", "consts", "types", "quit", "exit"};
constexpr int kHistorySize = 1000;

// What libedit's callbacks reach through EL_CLIENTDATA.
struct State {
    Session &session;
    bool interrupted = false;  // Ctrl-C dropped the line
};

State &state(EditLine *el) {
    void *data = nullptr;
    el_get(el, EL_CLIENTDATA, &data);
    return *static_cast<State *>(data);
}

const char *prompt_text(EditLine *) { return "kav> "; }

// Ctrl-C: shows ^C after the line, ends it, and the loop drops it.
unsigned char interrupt(EditLine *el, int) {
    const LineInfo *li = el_line(el);
    el_cursor(el, static_cast<int>(li->lastchar - li->cursor));
    el_insertstr(el, "^C");
    el_push(el, "\n");
    state(el).interrupted = true;
    return CC_REFRESH;
}

// What Tab may complete word to, after head (the line before the word): the
// commands at the start of a line, function names after "help", otherwise
// every name an expression can use, callables with their "(".
std::vector<std::string> candidates(const Session &s, const std::string &head,
                                    const std::string &word) {
    std::set<std::string> all;
    bool help = head == "help";
    if (head.empty())
        all.insert(std::begin(kCommands), std::end(kCommands));
    for (const Row &r : s.module().rows())
        all.insert(help ? r.name : r.name + "(");
    if (!help) {
        for (const TypePtr &t : s.module().types())
            all.insert(t->name + "(");
        for (const Constant &c : s.module().constants())
            all.insert(c.name);
        for (const auto &entry : s.variables)
            all.insert(entry.first);
        all.insert({"f32(", "f64(", "null"});  // the expression language's own words
    }
    std::vector<std::string> out;
    for (const std::string &c : all)
        if (c.compare(0, word.size(), word) == 0)
            out.push_back(c);
    return out;
}

// Lists completions in columns across the terminal.
void list_columns(const std::vector<std::string> &names) {
    std::size_t width = 0;
    for (const std::string &n : names)
        width = std::max(width, n.size() + 2);
    winsize ws{};
    std::size_t screen = ioctl(STDOUT_FILENO, TIOCGWINSZ, &ws) == 0 && ws.ws_col ? ws.ws_col : 80;
    std::size_t per_line = std::max<std::size_t>(1, screen / width);
    std::fputs("\n", stdout);
    for (std::size_t i = 0; i < names.size(); ++i) {
        if ((i + 1) % per_line == 0 || i + 1 == names.size())
            std::printf("%s\n", names[i].c_str());
        else
            std::printf("%-*s", static_cast<int>(width), names[i].c_str());
    }
    std::fflush(stdout);
}

// Tab: inserts a unique completion or the candidates' common prefix, else
// lists the candidates.
unsigned char complete(EditLine *el, int) {
    const LineInfo *li = el_line(el);
    std::string before(li->buffer, li->cursor);
    std::size_t start = before.size();
    auto name_char = [](unsigned char c) { return std::isalnum(c) || c == '_'; };
    while (start > 0 && name_char(static_cast<unsigned char>(before[start - 1])))
        --start;
    std::string word = before.substr(start);
    // A number has no completion; nor has nothing, which would list every name.
    if (word.empty() || std::isdigit(static_cast<unsigned char>(word[0])))
        return CC_REFRESH_BEEP;
    std::string head = before.substr(0, start);
    head.erase(0, head.find_first_not_of(" \t"));
    head.erase(head.find_last_not_of(" \t") + 1);
    std::vector<std::string> names = candidates(state(el).session, head, word);
    if (names.empty())
        return CC_REFRESH_BEEP;
    std::string common = names.front();
    for (const std::string &n : names)
        common.erase(std::mismatch(common.begin(), common.end(), n.begin(), n.end()).first,
                     common.end());
    if (common.size() > word.size()) {
        el_insertstr(el, common.substr(word.size()).c_str());
        return CC_REFRESH;
    }
    list_columns(names);
    return CC_REDISPLAY;
}

// The history file: $KAVMATH_HISTORY, else ~/.kavmath_history; "" for none.
std::string history_path() {
    if (const char *env = std::getenv("KAVMATH_HISTORY"); env && *env)
        return env;
    if (const char *home = std::getenv("HOME"); home && *home)
        return std::string(home) + "/.kavmath_history";
    return "";
}

// Prints matching constants ("NAME = VALUE") or types ("NAME(FIELDS)").
void list_named(const Session &s, bool types, const std::string &pattern) {
    int shown = 0;
    if (types) {
        for (const TypePtr &t : s.module().types()) {
            if (!name_matches(pattern, t->name))
                continue;
            std::string fields;
            for (const Field &f : t->fields)
                fields += (fields.empty() ? "" : ", ") + field_text(f);
            std::printf("%s(%s)\n", t->name.c_str(), fields.c_str());
            ++shown;
        }
    } else {
        for (const Constant &c : s.module().constants())
            if (name_matches(pattern, c.name)) {
                std::printf("%s = %s\n", c.name.c_str(), format_value(c.value, false).c_str());
                ++shown;
            }
    }
    if (!shown)
        std::printf("no %s matches '%s'\n", types ? "type" : "constant",
                    printable(pattern).c_str());
}

// plot EXPR[, EXPR...] [FROM:TO]: the expressions split at the commas outside
// parentheses; a last word with a ':' is the range.
void plot_line(Session &s, const std::string &rest) {
    PlotRequest r;
    std::string exprs = rest;
    const std::size_t blank = rest.find_last_of(" \t");
    if (rest.find(':', blank == std::string::npos ? 0 : blank) != std::string::npos) {
        r.x_range = blank == std::string::npos ? rest : rest.substr(blank + 1);
        exprs = blank == std::string::npos ? "" : rest.substr(0, blank);
    }
    int depth = 0;
    std::string expr;
    for (char c : exprs + ",") {
        depth += c == '(' ? 1 : c == ')' ? -1 : 0;
        if (c != ',' || depth != 0) {
            expr += c;
            continue;
        }
        expr.erase(0, expr.find_first_not_of(" \t"));
        if (!expr.empty())
            r.exprs.push_back(expr);
        expr.clear();
    }
    plot_command(s, r, stdout, stderr);
}

// The prompt's own words; true if line was one. A word followed by '=' is an
// assignment to a variable of that name.
bool command(Session &s, const std::string &line) {
    std::size_t end = line.find_first_of(" \t");
    std::string word = line.substr(0, end);
    std::string rest = end == std::string::npos ? "" : line.substr(end);
    rest.erase(0, rest.find_first_not_of(" \t"));
    if (!rest.empty() && rest[0] == '=')
        return false;
    if (word == "help" && rest.empty()) {
        std::fputs(kHelp, stdout);
    } else if (word == "help") {
        if (!print_help(s, rest))
            std::printf("no function %s (kavmath --list %s shows close names)\n",
                        printable(rest).c_str(), printable(rest).c_str());
    } else if (word == "plot") {
        plot_line(s, rest);
    } else if (word == "vars" && rest.empty()) {
        for (const auto &[name, value] : s.variables)
            std::printf("%s = %s\n", name.c_str(), format_value(value, false).c_str());
    } else if (word == "consts" || word == "types") {
        list_named(s, word == "types", rest);
    } else {
        return false;
    }
    return true;
}

volatile sig_atomic_t g_resized = 0;

}  // namespace

int prompt(Session &s, const std::function<void(const std::string &)> &evaluate) {
    std::setlocale(LC_CTYPE, "");  // libedit reads and shows UTF-8 by the locale
    State st{s};
    EditLine *el = el_init("kavmath", stdin, stdout, stderr);
    History *hist = history_init();
    if (!el || !hist) {
        std::fprintf(stderr, "kavmath: cannot set up line editing\n");
        return 1;
    }
    HistEvent ev;
    history(hist, &ev, H_SETSIZE, kHistorySize);
    history(hist, &ev, H_SETUNIQUE, 1);
    el_set(el, EL_CLIENTDATA, &st);
    el_set(el, EL_EDITOR, "emacs");
    el_set(el, EL_PROMPT, prompt_text);
    el_set(el, EL_HIST, history, hist);
    // Ctrl-C reaches the editor as a key rather than as SIGINT, which would
    // end kavmath; between lines SIGINT is ignored.
    el_set(el, EL_SETTY, "-d", "-isig", nullptr);
    el_set(el, EL_ADDFN, "kav-interrupt", "drop the line", interrupt);
    el_set(el, EL_BIND, "^C", "kav-interrupt", nullptr);
    el_set(el, EL_BIND, "^W", "ed-delete-prev-word", nullptr);  // as in a shell
    el_set(el, EL_ADDFN, "kav-complete", "complete a name", complete);
    el_set(el, EL_BIND, "^I", "kav-complete", nullptr);
    el_source(el, nullptr);  // ~/.editrc, as other libedit programs do
    auto previous_sigint = signal(SIGINT, SIG_IGN);
    struct sigaction winch {};
    winch.sa_handler = [](int) { g_resized = 1; };
    winch.sa_flags = SA_RESTART;
    sigaction(SIGWINCH, &winch, nullptr);

    // A file that exists but does not load is left alone rather than overwritten.
    std::string path = history_path();
    struct stat info {};
    if (!path.empty() && stat(path.c_str(), &info) == 0 &&
        history(hist, &ev, H_LOAD, path.c_str()) < 0) {
        std::fprintf(stderr, "kavmath: cannot read the history file %s; history is not kept\n",
                     printable(path).c_str());
        path.clear();
    }

    std::printf(kBanner, KAVMATH_VERSION);
    for (;;) {
        if (g_resized) {
            g_resized = 0;
            el_resize(el);
        }
        int count = 0;
        const char *got = el_gets(el, &count);
        if (st.interrupted) {
            st.interrupted = false;
            continue;
        }
        if (!got) {
            if (count < 0 && errno == EINTR)
                continue;
            std::printf("\n");  // Ctrl-D
            break;
        }
        std::string line = got;
        std::size_t first = line.find_first_not_of(" \t\r\n");
        if (first == std::string::npos)
            continue;
        line = line.substr(first, line.find_last_not_of(" \t\r\n") + 1 - first);
        history(hist, &ev, H_ENTER, line.c_str());
        if (!path.empty() && history(hist, &ev, H_SAVE, path.c_str()) < 0) {
            std::fprintf(stderr, "kavmath: cannot write the history file %s: %s\n",
                         printable(path).c_str(), std::strerror(errno));
            path.clear();  // said once
        }
        if (line[0] == '#')
            continue;
        if (line == "quit" || line == "exit" || line == ":quit")
            break;
        if (!command(s, line))
            evaluate(line);
    }
    el_end(el);
    history_end(hist);
    signal(SIGINT, previous_sigint);
    return 0;
}

}  // namespace kav::host
