// Plots: the request, sampling through Session::eval, CSV and the command.
#include "plot.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <optional>

#include "script.h"

namespace kav::host {

namespace {

bool parse_count(const std::string &text, long lo, long hi, long *out) {
    char *end = nullptr;
    errno = 0;
    long n = std::strtol(text.c_str(), &end, 10);
    if (text.empty() || *end || errno == ERANGE || n < lo || n > hi)
        return false;
    *out = n;
    return true;
}

bool parse_size(const std::string &text, PlotRequest *r) {
    std::size_t at = text.find('x');
    long w, h;
    if (at == std::string::npos || !parse_count(text.substr(0, at), 10, 10000, &w) ||
        !parse_count(text.substr(at + 1), 5, 10000, &h))
        return false;
    r->width = static_cast<int>(w);
    r->height = static_cast<int>(h);
    return true;
}

std::string trim(std::string_view s) {
    std::size_t a = s.find_first_not_of(" \t"), b = s.find_last_not_of(" \t");
    return a == std::string_view::npos ? "" : std::string(s.substr(a, b + 1 - a));
}

// "SETUP; ...; EXPR" as its lines.
std::vector<std::string> lines_of(const std::string &expr) {
    std::vector<std::string> out;
    std::size_t start = 0;
    for (std::size_t semi; (semi = expr.find(';', start)) != std::string::npos; start = semi + 1)
        out.push_back(trim(std::string_view(expr).substr(start, semi - start)));
    out.push_back(trim(std::string_view(expr).substr(start)));
    return out;
}

// A range's end: any expression giving a number.
bool range_end(Session &s, const std::string &text, const char *what, Value *out,
               std::string *error) {
    Outcome o = s.eval(text);
    if (!o.error.empty()) {
        *error = std::string(what) + ": " + text + ": " + o.error;
        return false;
    }
    if (o.value.kind == Value::Kind::Struct || o.value.kind == Value::Kind::None) {
        *error = std::string(what) + ": " + text + " is not a number";
        return false;
    }
    *out = o.value;
    return true;
}

double to_double(const Value &v) {
    switch (v.kind) {
    case Value::Kind::Int: return v.as_int();
    case Value::Kind::Float: return v.as_float();
    case Value::Kind::Double: return v.as_double();
    default: return std::nan("");
    }
}

// "FROM:TO" read in the session: both ends finite, FROM below TO. An int
// end takes the other end's kind, as an int literal does in a call.
bool parse_range(Session &s, const std::string &text, const char *what, Value *from, Value *to,
                 std::string *error) {
    std::size_t colon = text.find(':');
    if (colon == std::string::npos || text.find(':', colon + 1) != std::string::npos) {
        *error = std::string(what) + " needs FROM:TO, as 0:360000 or -0.5:1.5, not '" + text + "'";
        return false;
    }
    if (!range_end(s, text.substr(0, colon), what, from, error) ||
        !range_end(s, text.substr(colon + 1), what, to, error))
        return false;
    using K = Value::Kind;
    auto widen = [](Value *v, K kind) {
        if (v->kind == K::Int && kind == K::Float)
            *v = Value::of_float(static_cast<float>(v->as_int()));
        else if (v->kind == K::Int && kind == K::Double)
            *v = Value::of_double(v->as_int());
    };
    widen(from, to->kind);
    widen(to, from->kind);
    if (from->kind != to->kind) {
        *error = std::string(what) + ": " + text + " mixes a float and a double; write both alike";
        return false;
    }
    const double a = to_double(*from), b = to_double(*to);
    if (!std::isfinite(a) || !std::isfinite(b) || !(a < b)) {
        *error = std::string(what) + ": " + text + ": the ends must be finite and FROM below TO";
        return false;
    }
    return true;
}

// n evenly spaced values from `from` to `to`, of their kind; an int range
// gives each int at most once.
std::vector<Value> spaced(const Value &from, const Value &to, long n) {
    std::vector<Value> xs;
    if (from.kind == Value::Kind::Int) {
        const int64_t a = from.as_int(), span = static_cast<int64_t>(to.as_int()) - a;
        n = static_cast<long>(std::min<int64_t>(n, span + 1));
        for (long i = 0; i < n; ++i)
            xs.push_back(Value::of_int(static_cast<int32_t>(a + span * i / (n - 1))));
        return xs;
    }
    const double a = to_double(from), b = to_double(to), steps = static_cast<double>(n - 1);
    for (long i = 0; i < n; ++i) {
        // One rounding where the weighted sum is exact: -1:4 in 400 steps
        // meets -0.01 rather than -0.012499999999999956.
        const double k = static_cast<double>(i);
        double x = (a * (steps - k) + b * k) / steps;
        if (!std::isfinite(x))
            x = a + (b / 2 - a / 2) * (2 * k / steps);
        x = i == n - 1 ? b : std::min(std::max(x, a), b);
        xs.push_back(from.kind == Value::Kind::Float ? Value::of_float(static_cast<float>(x))
                                                     : Value::of_double(x));
    }
    return xs;
}

bool run_lines(Session &s, const std::vector<std::string> &lines, std::string *error) {
    for (std::size_t i = 0; i + 1 < lines.size(); ++i) {
        Outcome o = s.eval(lines[i]);
        if (!o.ok()) {
            *error = lines[i] + ": " + (o.error.empty() ? o.violations.front() : o.error);
            return false;
        }
    }
    return true;
}

PlotPoint evaluate_at(Session &s, const std::string &expr, const Value &x) {
    s.variables["x"] = x;
    Outcome o = s.eval(expr);
    PlotPoint p{std::move(o.value), std::move(o.raised), std::move(o.error)};
    if (p.error.empty() && !o.violations.empty())
        p.error = o.violations.front();
    if (!p.error.empty())
        p.value = Value{};
    return p;
}

// The default range of each kind: a turn of milli-degrees for ints, -1..1
// for floating x.
void default_range(Value::Kind kind, Value *from, Value *to) {
    if (kind == Value::Kind::Int) {
        *from = Value::of_int(0), *to = Value::of_int(360000);
    } else if (kind == Value::Kind::Float) {
        *from = Value::of_float(-1), *to = Value::of_float(1);
    } else {
        *from = Value::of_double(-1), *to = Value::of_double(1);
    }
}

// Without --x: the first kind of int, double, float that the first
// expression takes, tried at the start and the middle of its default range.
bool infer_range(Session &s, const std::string &expr, Value *from, Value *to, std::string *error) {
    const std::vector<std::string> lines = lines_of(expr);
    std::string first_error;
    for (Value::Kind kind : {Value::Kind::Int, Value::Kind::Double, Value::Kind::Float}) {
        default_range(kind, from, to);
        if (!run_lines(s, lines, error))
            return false;
        for (const Value &x : {*from, spaced(*from, *to, 3)[1]}) {
            PlotPoint p = evaluate_at(s, lines.back(), x);
            if (p.value.kind != Value::Kind::None)
                return true;
            if (first_error.empty())
                first_error = p.error;
        }
    }
    const bool kind = first_error.find("signature") != std::string::npos;  // not a typo or a fault
    *error = lines.back() + ": " + first_error +
             (kind ? " (with x an int, a double or a float; --x FROM:TO sets its kind)" : "");
    return false;
}

// Every expression at every x; false if one gives no value at all.
bool sample_all(Session &s, const PlotRequest &r, PlotData *d, std::string *error) {
    for (const std::string &expr : r.exprs) {
        const std::vector<std::string> lines = lines_of(expr);
        if (!run_lines(s, lines, error))
            return false;
        std::vector<PlotPoint> ys;
        for (const Value &x : d->xs)
            ys.push_back(evaluate_at(s, lines.back(), x));
        const std::size_t n = components(ys);
        if (n == 0) {
            *error = lines.back() + ": " + ys.front().error;
            return false;
        }
        // A row may answer another kind for some arguments (fixtof's int 0): a
        // value of another shape is no point of this curve.
        const Value first = std::find_if(ys.begin(), ys.end(), [](const PlotPoint &p) {
                                return p.value.kind != Value::Kind::None;
                            })->value;
        const TypePtr type = first.type;
        for (PlotPoint &p : ys)
            if (p.value.kind != Value::Kind::None &&
                (p.value.element_count() != n || p.value.kind != first.kind || p.value.type != type)) {
                p.error = "gives " + format_value(p.value) + ", another type";
                p.value = Value{};
            }
        d->labels.push_back(trim(expr));
        d->ys.push_back(std::move(ys));
    }
    return true;
}

std::string csv_field(const std::string &text) {
    if (text.find_first_of(",\"\n") == std::string::npos)
        return text;
    std::string out = "\"";
    for (char c : text)
        out += c == '"' ? std::string("\"\"") : std::string(1, c);
    return out + "\"";
}

}  // namespace

std::string element_name(const Type &t, std::size_t i) {
    for (const Field &f : t.fields) {
        if (i < static_cast<std::size_t>(f.count))
            return f.count == 1 ? f.name : f.name + "[" + std::to_string(i) + "]";
        i -= static_cast<std::size_t>(f.count);
    }
    return "?";
}

Value element_value(const Value &v, std::size_t i) {
    Value e;
    e.kind = v.element_kind(i) == Scalar::Int     ? Value::Kind::Int
             : v.element_kind(i) == Scalar::Float ? Value::Kind::Float
                                                  : Value::Kind::Double;
    e.bytes.assign(v.element(i), v.element(i) + scalar_size(v.element_kind(i)));
    return e;
}

std::size_t components(const std::vector<PlotPoint> &ys) {
    for (const PlotPoint &p : ys)
        if (p.value.kind != Value::Kind::None)
            return p.value.element_count();
    return 0;
}

bool is_plot_option(const std::string &option, bool *takes_value) {
    *takes_value = option != "--histogram";
    for (const char *o : {"--x", "--y", "--samples", "--size", "--svg", "--csv", "--histogram"})
        if (option == o)
            return true;
    return false;
}

bool plot_option(const std::string &option, const std::string &value, PlotRequest *r,
                 std::string *error) {
    if (option == "--x") {
        r->x_range = value;
    } else if (option == "--y") {
        r->y_range = value;
    } else if (option == "--svg") {
        r->svg = value;
    } else if (option == "--csv") {
        r->csv = value;
    } else if (option == "--histogram") {
        r->histogram = true;
    } else if (option == "--samples") {
        if (!parse_count(value, 2, kPlotMaxSamples, &r->samples)) {
            *error = "--samples takes a count from 2 to " + std::to_string(kPlotMaxSamples) +
                     ", not '" + value + "'";
            return false;
        }
    } else if (option == "--size") {
        if (!parse_size(value, r)) {
            *error = "--size takes WIDTHxHEIGHT (characters, or pixels with --svg), not '" +
                     value + "'";
            return false;
        }
    } else {
        *error = "--plot does not take " + option;
        return false;
    }
    return true;
}

bool parse_plot_words(std::string_view text, PlotRequest *r, std::string *error) {
    std::vector<std::string> words;
    for (std::size_t i = 0; i < text.size();) {
        if (text[i] == ' ') {
            ++i;
            continue;
        }
        std::string word;
        for (; i < text.size() && text[i] != ' '; ++i) {
            if (text[i] != '\'') {
                word += text[i];
                continue;
            }
            std::size_t close = text.find('\'', i + 1);
            if (close == std::string_view::npos) {
                *error = "unterminated quote";
                return false;
            }
            word += text.substr(i + 1, close - i - 1);
            i = close;
        }
        words.push_back(word);
    }
    for (std::size_t i = 0; i < words.size(); ++i) {
        bool takes_value = false;
        if (!is_plot_option(words[i], &takes_value)) {
            r->exprs.push_back(words[i]);
            continue;
        }
        if (takes_value && i + 1 == words.size()) {
            *error = words[i] + " needs a value";
            return false;
        }
        if (!plot_option(words[i], takes_value ? words[i + 1] : "", r, error))
            return false;
        i += takes_value;
    }
    return true;
}

bool sample_plot(Session &s, const PlotRequest &r, PlotData *out, std::string *error) {
    if (r.exprs.empty()) {
        *error = "--plot needs an expression of x";
        return false;
    }
    std::optional<Value> saved;  // the session's own x, back when done
    if (auto it = s.variables.find("x"); it != s.variables.end())
        saved = it->second;
    PlotData d;
    d.histogram = r.histogram;
    Value from, to, y_from, y_to;
    bool ok = r.x_range.empty() ? infer_range(s, r.exprs.front(), &from, &to, error)
                                : parse_range(s, r.x_range, "--x", &from, &to, error);
    if (ok && !r.y_range.empty()) {
        ok = parse_range(s, r.y_range, "--y", &y_from, &y_to, error);
        d.y_given = true;
        d.y_from = to_double(y_from);
        d.y_to = to_double(y_to);
    }
    if (ok) {
        d.xs = spaced(from, to, r.samples ? r.samples : kPlotSamples);
        ok = sample_all(s, r, &d, error);
    }
    if (saved)
        s.variables["x"] = *saved;
    else
        s.variables.erase("x");
    if (ok)
        *out = std::move(d);
    return ok;
}

std::string plot_csv(const PlotData &d) {
    std::string out = "x";
    for (std::size_t e = 0; e < d.labels.size(); ++e) {
        const std::size_t n = components(d.ys[e]);
        for (std::size_t c = 0; c < n; ++c) {
            const Value *v = nullptr;
            for (const PlotPoint &p : d.ys[e])
                v = v ? v : p.value.kind == Value::Kind::None ? nullptr : &p.value;
            const bool named = v->kind == Value::Kind::Struct;
            std::string label = d.labels[e];
            if (named)
                label.append(".").append(element_name(*v->type, c));
            out.append(",").append(csv_field(label));
        }
    }
    out += ",note\n";
    for (std::size_t i = 0; i < d.xs.size(); ++i) {
        out += format_value(d.xs[i]);
        std::string note;
        for (std::size_t e = 0; e < d.labels.size(); ++e) {
            const PlotPoint &p = d.ys[e][i];
            const std::size_t n = components(d.ys[e]);
            for (std::size_t c = 0; c < n; ++c) {
                out += ',';
                if (p.value.kind != Value::Kind::None)
                    out += format_value(element_value(p.value, c));
            }
            if (!p.raised.empty() || !p.error.empty())
                note += (note.empty() ? "" : "; ") + d.labels[e] +
                        (p.error.empty() ? format_raised(p.raised) : ": " + p.error);
        }
        out += "," + csv_field(printable(note)) + "\n";
    }
    return out;
}

bool write_file(const std::string &path, const std::string &text, std::string *error) {
    const std::string temporary = path + ".tmp" + std::to_string(getpid());
    std::FILE *f = std::fopen(temporary.c_str(), "wb");
    bool ok = f && std::fwrite(text.data(), 1, text.size(), f) == text.size();
    ok = f && std::fclose(f) == 0 && ok;
    if (ok && std::rename(temporary.c_str(), path.c_str()) == 0)
        return true;
    *error = "cannot write " + path + ": " + std::strerror(errno);
    std::remove(temporary.c_str());
    return false;
}

int plot_command(Session &s, const PlotRequest &r, std::FILE *out, std::FILE *err) {
    PlotData d;
    std::string error;
    if (!sample_plot(s, r, &d, &error)) {
        std::fprintf(err, "kavmath: %s\n", printable(error).c_str());
        return 1;
    }
    if (r.svg.empty() && r.csv.empty()) {
        int cols = r.width, rows = r.height;
        if (!cols)
            terminal_size(fileno(out), &cols, &rows);
        std::fputs(plot_text(d, cols, rows, terminal_style(fileno(out))).c_str(), out);
        return 0;
    }
    // Both made before either is written: an error leaves neither.
    const std::string svg = r.svg.empty() ? "" : plot_svg(d, r.width ? r.width : 640, r.width ? r.height : 400);
    const std::string csv = r.csv.empty() ? "" : plot_csv(d);
    if ((!r.svg.empty() && !write_file(r.svg, svg, &error)) ||
        (!r.csv.empty() && !write_file(r.csv, csv, &error))) {
        std::fprintf(err, "kavmath: %s\n", printable(error).c_str());
        return 1;
    }
    return 0;
}

}  // namespace kav::host
