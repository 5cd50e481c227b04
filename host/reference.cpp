// The function reference: the descriptions of reference.def joined with the
// rows the module registers, and each example run through a fresh session.
#include "reference.h"

#include <sys/stat.h>

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "plot.h"

namespace kav::host {

namespace {

// A topic (name null) or the entry of one script name.
struct Item {
    const char *name;
    const char *what;  // a topic's title
    const char *units; // a topic's introduction
    const char *odd;
    const char *example;
};

constexpr Item kItems[] = {
#define KAV_TOPIC(title, intro) {nullptr, title, intro, "", ""},
#define KAV_REF(name, what, units, odd, example) {#name, what, units, odd, example},
#define KAV_PLOT(name, file, caption, words)
#include "reference.def"
#undef KAV_TOPIC
#undef KAV_REF
#undef KAV_PLOT
};

// A picture of an entry: kavmath --plot's words, drawn as doc/plots/FILE.svg
// and by help NAME in the terminal.
struct Picture {
    std::string_view name;
    const char *file;
    const char *caption;
    const char *words;
};

constexpr Picture kPictures[] = {
#define KAV_TOPIC(title, intro)
#define KAV_REF(name, what, units, odd, example)
#define KAV_PLOT(name, file, caption, words) {#name, file, caption, words},
#include "reference.def"
#undef KAV_TOPIC
#undef KAV_REF
#undef KAV_PLOT
};

constexpr std::string_view kRowNames[] = {
#define KAV_GROUP(name, rows) #name,
#define KAV_ROW(signature, ret, routine)
#include "rows.def"
#undef KAV_GROUP
#undef KAV_ROW
};

constexpr int entries_named(std::string_view name) {
    int n = 0;
    for (const Item &i : kItems)
        n += i.name && i.name == name;
    return n;
}

constexpr bool is_row_name(std::string_view name) {
    for (std::string_view n : kRowNames)
        if (n == name)
            return true;
    return false;
}

// Every script name has exactly one entry, and every entry names a script
// function.
#define KAV_GROUP(name, rows) \
    static_assert(entries_named(#name) == 1, "reference.def needs one entry for " #name);
#define KAV_ROW(signature, ret, routine)
#include "rows.def"
#undef KAV_GROUP
#undef KAV_ROW
#define KAV_TOPIC(title, intro)
#define KAV_REF(name, ...) \
    static_assert(is_row_name(#name), "reference.def: " #name " names no script function");
#define KAV_PLOT(name, ...) static_assert(entries_named(#name) == 1, "reference.def: a picture of " #name " needs its entry");
#include "reference.def"
#undef KAV_TOPIC
#undef KAV_REF
#undef KAV_PLOT

// NAME's entry, and the topic it stands under in *topic.
const Item *entry(std::string_view name, const Item **topic = nullptr) {
    for (const Item &i : kItems) {
        if (!i.name && topic)
            *topic = &i;
        if (i.name && i.name == name)
            return &i;
    }
    return nullptr;
}

// text wrapped at 78 columns, every line starting with indent.
std::string wrap(std::string_view text, const std::string &indent) {
    std::string out, line = indent;
    while (!text.empty()) {
        std::size_t end = text.find(' ');
        std::string_view word = text.substr(0, end);
        if (line.size() > indent.size() && line.size() + 1 + word.size() > 78) {
            out += line + "\n";
            line = indent;
        }
        if (line.size() > indent.size())
            line += ' ';
        line += word;
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    return out + line + "\n";
}

// Runs what(fresh) in a session of its own, with the default angle unit:
// the caller's variables stay untouched, and its unit comes back after.
template <class What>
bool in_fresh_session(Session &s, What what) {
    Session fresh(s.module());
    Outcome unit = fresh.eval("mathlib_get_angleunit()");
    if (unit.ok())
        fresh.eval("mathlib_set_angleunit(0)");
    const bool ok = what(fresh);
    if (unit.ok())
        fresh.eval("mathlib_set_angleunit(" + std::to_string(unit.value.as_int()) + ")");
    return ok;
}

// The example's lines ("; " between them) as kavmath --echo prints them,
// each line indented; false if a line failed.
bool run_example(Session &s, std::string_view example, const std::string &indent,
                 std::string *out) {
    return in_fresh_session(s, [&](Session &fresh) {
        bool ok = true;
        while (!example.empty()) {
            std::size_t end = example.find("; ");
            std::string line(example.substr(0, end));
            example.remove_prefix(end == std::string_view::npos ? example.size() : end + 2);
            *out += indent + "kav> " + line + "\n";
            Outcome o = fresh.eval(line);
            if (o.value.kind != Value::Kind::None)
                *out += indent + format_value(o.value) + format_raised(o.raised) + "\n";
            for (const std::string &v : o.violations)
                *out += indent + "violation: " + v + "\n";
            if (!o.error.empty())
                *out += indent + "error: " + o.error + "\n";
            ok = ok && o.ok();
        }
        return ok;
    });
}

// A picture's plot, sampled in a fresh session; false with *error.
bool sample_picture(Session &s, const Picture &p, PlotData *d, std::string *error) {
    PlotRequest r;
    return parse_plot_words(p.words, &r, error) &&
           in_fresh_session(s, [&](Session &fresh) { return sample_plot(fresh, r, d, error); });
}

// How an entry shows its pictures: not at all, drawn in the terminal (help),
// or as links to the SVG files beside the Markdown, whose texts go to *svgs.
struct Pictures {
    enum class Form : uint8_t { None, Terminal, Markdown } form = Form::None;
    std::vector<std::pair<std::string, std::string>> *svgs = nullptr;  // file, SVG
};

constexpr int kHelpColumns = 72, kHelpRows = 14;  // help's small plot
constexpr int kSvgWidth = 560, kSvgHeight = 300;  // the reference's pictures

bool pictures_text(Session &s, std::string_view name, const std::string &indent,
                   const Pictures &how, std::string *out) {
    bool ok = true;
    for (const Picture &p : kPictures) {
        if (p.name != name || how.form == Pictures::Form::None)
            continue;
        PlotData d;
        std::string error;
        if (!sample_picture(s, p, &d, &error)) {
            *out += "\n" + indent + "error: " + error + "\n";
            ok = false;
            continue;
        }
        const std::string command = std::string("kavmath --plot ") + p.words;
        if (how.form == Pictures::Form::Markdown) {
            *out += std::string("\n![") + p.caption + "](plots/" + p.file + ".svg)\n\n" +
                    wrap(std::string(p.caption) + ": `" + command + "`", "");
            how.svgs->push_back({p.file, plot_svg(d, kSvgWidth, kSvgHeight)});
            continue;
        }
        int cols = 0, rows = 0;
        terminal_size(fileno(stdout), &cols, &rows);
        out->append("\n").append(wrap(std::string(p.caption) + ":", indent));
        out->append(wrap(command, indent + "    ")).append("\n");
        std::string plot = plot_text(d, std::min(cols - static_cast<int>(indent.size()), kHelpColumns), kHelpRows, terminal_style(fileno(stdout)));
        for (std::size_t at = 0; at < plot.size();) {
            const std::size_t end = plot.find('\n', at);
            *out += (end == at ? "" : indent) + plot.substr(at, end + 1 - at);
            at = end + 1;
        }
    }
    return ok;
}

std::string signatures(const Module &m, const std::string &name, const std::string &indent) {
    std::string out;
    for (const Row *r : m.rows_named(name))
        out += indent + r->signature + " -> " + r->return_text + "\n";
    return out;
}

// An entry as help and the reference show it: prose indented by indent,
// signatures and the example's lines by four more blanks, then the
// pictures. False if the example or a picture failed.
bool entry_text(Session &s, const Item &e, const std::string &indent, const Pictures &how,
                std::string *out) {
    *out += wrap(e.what, indent);
    if (*e.units)
        out->append("\n").append(wrap(std::string("Units: ") + e.units, indent));
    if (*e.odd)
        out->append("\n").append(wrap(std::string("Note: ") + e.odd, indent));
    out->append("\n").append(signatures(s.module(), e.name, indent + "    "));
    out->append("\n").append(indent).append("Example:\n\n");
    const bool ok = run_example(s, e.example, indent + "    ", out);
    return pictures_text(s, e.name, indent, how, out) && ok;
}

// A heading's anchor as Markdown renderers make it: "sin", "the-angle-unit".
std::string anchor(std::string_view title) {
    std::string out;
    for (char c : title)
        if (c == ' ' || c == '-' || c == '_')
            out += c == ' ' ? '-' : c;
        else if (std::isalnum(static_cast<unsigned char>(c)))
            out += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return out;
}

const char kIntroduction[] =
    "Every script function of the module, by topic: what it does, its units, what it does on "
    "purpose that you might not expect, its signatures with their return types, and an "
    "example with the results kavmath computes for it. At kavmath's prompt, `help NAME` "
    "shows one entry, and so does `kavmath --reference NAME`.";

const char kCodes[] =
    "A signature is the function's name and the codes of its arguments; the return type "
    "follows `->`. `kavmath --list` prints the same, with the module's routine for each row.";

const char kCodeTable[] =
    "| code | argument | write it as |\n"
    "| --- | --- | --- |\n"
    "| `I` | a 32-bit int | `3`, `-1`, `0x10` |\n"
    "| `F` | a float | `1.5f`, `nanf`, `inff`, `f32(0x3fc00000)` |\n"
    "| `D` | a double | `1.5`, `nan`, `inf`, `f64(0x3ff8000000000000)` |\n"
    "| `IP`, `FP`, `DP` | a reference to an int, float or double variable, which the "
    "function writes | `&v` after `v = 0` |\n"
    "| `T(type)` | a value of a struct type | `vec2(1, 2)`, `ibbox(0, 0, 10, 10)` |\n"
    "| `TP(type)` | a reference to a struct variable, or none | `&m` after "
    "`m = mat2(1, 2, 3, 4)`; `null` |\n";

const char kCodeNotes[] =
    "An int literal fits an `F` or `D` argument too, when no signature fits the call as "
    "written. "
    "Overloads differ only in their codes: the types of the call's arguments choose the row. "
    "A return type is `I`, `F`, `D` or `T(type)`. The module also exports routines that no "
    "row binds (the Mersenne Twister routines and the int and double twins of some rows); "
    "scripts cannot call them, so they are not listed here.";

}  // namespace

bool print_help(Session &s, const std::string &name) {
    const Module &m = s.module();
    if (m.rows_named(name).empty())
        return false;
    const Item *topic = nullptr;
    const Item *e = entry(name, &topic);
    std::string out = name + (e ? " (" + std::string(topic->what) + ")" : "") + "\n\n";
    if (e)
        entry_text(s, *e, "  ", {Pictures::Form::Terminal}, &out);
    else
        out += signatures(m, name, "    ");
    std::fputs(out.c_str(), stdout);
    return true;
}

namespace {

// The whole reference as Markdown; the pictures' SVG texts go to *svgs.
bool reference_text(Session &s, std::string *text,
                    std::vector<std::pair<std::string, std::string>> *svgs) {
    const Module &m = s.module();
    bool ok = true;
    std::string out =
        "# kavmath function reference\n\n"
        "<!-- Generated by kavmath --reference from host/reference.def and the module's rows; "
        "regenerate with its pictures: build/default/host/kavmath --reference --out doc -->\n\n";
    out += wrap(kIntroduction, "") + "\n## Units\n\n" + KAV_UNITS_TEXT + "\n## Signatures\n\n";
    out += wrap(kCodes, "") + "\n" + kCodeTable + "\n" + wrap(kCodeNotes, "");
    out += "\n## Types and constants\n\n";
    for (const TypePtr &t : m.types()) {
        out += "- `" + t->name + "`:";
        for (const Field &f : t->fields)
            out.append(" ").append(field_text(f)).append(";");
        out.back() = '\n';
    }
    out += "\n";
    for (const Constant &c : m.constants())
        out += "- `" + c.name + "` = `" + format_value(c.value, true) + "`\n";

    std::string contents, body;
    for (const Item &i : kItems) {
        if (!i.name) {
            contents += std::string(contents.empty() ? "" : "\n") + "- [" + i.what + "](#" +
                        anchor(i.what) + "):";
            body += std::string("\n## ") + i.what + "\n\n" + wrap(i.units, "");
            continue;
        }
        contents += std::string(" [") + i.name + "](#" + anchor(i.name) + ")";
        body += std::string("\n### ") + i.name + "\n\n";
        ok = entry_text(s, i, "", {Pictures::Form::Markdown, svgs}, &body) && ok;
    }
    out += "\n## Contents\n\n" + contents + "\n" + body;
    std::string last;
    for (const Row &r : m.rows())
        if (r.name != last && !entry(last = r.name)) {
            std::fprintf(stderr, "kavmath: %s has no reference entry\n", r.name.c_str());
            ok = false;
        }
    *text = std::move(out);
    return ok;
}

}  // namespace

bool print_reference(Session &s) {
    std::string text;
    std::vector<std::pair<std::string, std::string>> svgs;
    const bool ok = reference_text(s, &text, &svgs);
    std::fputs(text.c_str(), stdout);
    return ok;
}

bool write_reference(Session &s, const std::string &dir) {
    std::string text, error;
    std::vector<std::pair<std::string, std::string>> svgs;
    if (!reference_text(s, &text, &svgs))
        return false;
    const std::string plots = dir + "/plots";
    mkdir(dir.c_str(), 0777);  // an existing folder is fine; a failure shows below
    if (mkdir(plots.c_str(), 0777) != 0 && errno != EEXIST) {
        std::fprintf(stderr, "kavmath: cannot make %s: %s\n", plots.c_str(), std::strerror(errno));
        return false;
    }
    bool ok = true;
    for (const auto &[file, svg] : svgs)
        ok = (write_file(plots + "/" + file + ".svg", svg, &error) ||
              std::fprintf(stderr, "kavmath: %s\n", error.c_str()) < 0) && ok;
    if (!write_file(dir + "/reference.md", text, &error)) {
        std::fprintf(stderr, "kavmath: %s\n", error.c_str());
        return false;
    }
    return ok;
}

}  // namespace kav::host
