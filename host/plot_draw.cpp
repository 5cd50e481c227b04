// Drawing a sampled plot: the figure in data units (curves or bars, axes
// with their ticks, error marks, notes), then text or SVG. Only exact
// arithmetic and fixed formats, so that every target draws the same bytes.
#include <langinfo.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "plot.h"

namespace kav::host {

namespace {

struct Tick {
    double at;
    std::string label;
};

struct Axis {
    double from = 0, to = 1;
    std::vector<Tick> ticks;
};

// A component of an expression's values, or a series of bars; NaN where
// nothing is drawn.
struct Curve {
    std::string label;
    bool steps = false;  // int values, held until the next x
    std::vector<double> y;
};

struct Figure {
    std::string title;
    std::string x_name;  // the x axis's name, "x (int)"
    std::string x_kind;  // "int", "float", "double"; empty for bars
    Axis x, y;
    double x_lo = 0, x_hi = 1, y_lo = 0, y_hi = 1;  // what the axes must show
    bool y_fixed = false;  // --y: exactly that range
    bool whole_x = false;  // ticks on whole numbers only
    std::vector<double> xs;     // curves: each sample's x; bars: each bin's start
    double bin = 0;             // bars: a bin's width; 0 for curves
    std::vector<Curve> curves;  // bars: counts per bin
    std::vector<double> marks;  // x where a call raised an error or failed
    std::vector<std::string> notes;
};

double number(const Value &v, std::size_t i) {
    const Value e = element_value(v, i);
    switch (e.kind) {
    case Value::Kind::Int: return e.as_int();
    case Value::Kind::Float: return e.as_float();
    default: return e.as_double();
    }
}

// n * 10^e written exactly: "-0.25", "360000", "2.5e-9".
std::string decimal(int64_t n, int e) {
    if (n == 0)
        return "0";
    const std::string sign = n < 0 ? "-" : "";
    std::string digits = std::to_string(n < 0 ? -n : n);
    for (; digits.size() > 1 && digits.back() == '0'; ++e)
        digits.pop_back();
    const int len = static_cast<int>(digits.size()), whole = len + e;
    if (e >= 0 && whole <= 7)
        return sign + digits + std::string(static_cast<std::size_t>(e), '0');
    if (e < 0 && whole > 0)
        return sign + digits.substr(0, static_cast<std::size_t>(whole)) + "." +
               digits.substr(static_cast<std::size_t>(whole));
    if (e < 0 && whole > -5)
        return sign + "0." + std::string(static_cast<std::size_t>(-whole), '0') + digits;
    return sign + digits.substr(0, 1) + (len > 1 ? "." + digits.substr(1) : "") + "e" +
           std::to_string(whole - 1);
}

// Ticks at multiples of 1, 2 or 5 times a power of ten, about `target` of
// them from lo to hi; with extend the axis grows to the ticks around it.
Axis make_axis(double lo, double hi, int target, bool extend) {
    if (!(hi > lo)) {
        const double d = lo == 0 ? 1 : std::fabs(lo) / 10;
        lo -= d, hi += d;
    }
    Axis a{lo, hi, {}};
    const double raw = hi / target - lo / target;
    double p = 1;
    int e = 0;
    for (int i = 0; i < 700 && p * 10 <= raw; ++i)
        p *= 10, ++e;
    for (int i = 0; i < 700 && p > raw; ++i)
        p /= 10, --e;
    const double r = raw / p;
    int m = r < 1.5 ? 1 : r < 3 ? 2 : r < 7 ? 5 : 10;
    if (m == 10)
        m = 1, p *= 10, ++e;
    const double step = m * p, qlo = lo / step, qhi = hi / step;
    if (!(raw > 0) || !std::isfinite(step) || !(step > 0) || std::fabs(qlo) > 1e15 ||
        std::fabs(qhi) > 1e15) {
        a.ticks = {{lo, format_value(Value::of_double(lo))}, {hi, format_value(Value::of_double(hi))}};
        return a;
    }
    const auto klo = static_cast<int64_t>(extend ? std::floor(qlo + 1e-9) : std::ceil(qlo - 1e-9));
    const auto khi = static_cast<int64_t>(extend ? std::ceil(qhi - 1e-9) : std::floor(qhi + 1e-9));
    if (extend)
        a.from = std::min(lo, static_cast<double>(klo) * step),
        a.to = std::max(hi, static_cast<double>(khi) * step);
    for (int64_t k = klo; k <= khi; ++k)
        a.ticks.push_back({static_cast<double>(k) * step, decimal(k * m, e)});
    return a;
}

// Runs of sample indices, "A to B" each, at most three.
std::string where(const std::vector<Value> &xs, const std::vector<bool> &at) {
    std::string out;
    std::size_t runs = 0, count = 0;
    for (std::size_t i = 0; i < at.size(); ++i) {
        if (!at[i])
            continue;
        std::size_t j = i;
        while (j + 1 < at.size() && at[j + 1])
            ++j;
        count += j - i + 1;
        if (++runs <= 3)
            out += (runs > 1 ? ", " : "") + format_value(xs[i]) + (j > i ? " to " + format_value(xs[j]) : "");
        i = j;
    }
    if (runs > 3)
        out += ", ...";
    return " at " + std::to_string(count) + (count == 1 ? " x: " : " x of " + std::to_string(at.size()) + ": ") + out;
}

// The gaps of one expression's curves, and the errors its calls met.
void note_gaps(const PlotData &d, std::size_t e, Figure *f) {
    const std::vector<PlotPoint> &ys = d.ys[e];
    std::vector<bool> nan(ys.size()), inf(ys.size()), raised(ys.size()), failed(ys.size());
    const PlotPoint *first_raised = nullptr, *first_failed = nullptr;
    for (std::size_t i = 0; i < ys.size(); ++i) {
        const PlotPoint &p = ys[i];
        failed[i] = !p.error.empty();
        raised[i] = !failed[i] && !p.raised.empty();
        first_failed = first_failed ? first_failed : failed[i] ? &p : nullptr;
        first_raised = first_raised ? first_raised : raised[i] ? &p : nullptr;
        for (std::size_t c = 0; !failed[i] && c < p.value.element_count(); ++c) {
            nan[i] = nan[i] || std::isnan(number(p.value, c));
            inf[i] = inf[i] || std::isinf(number(p.value, c));
        }
        if (failed[i] || raised[i])
            f->marks.push_back(number(d.xs[i], 0));
    }
    const std::string &label = d.labels[e];
    if (first_failed)
        f->notes.push_back(label + ": " + first_failed->error + where(d.xs, failed));
    if (first_raised)
        f->notes.push_back(label + format_raised({first_raised->raised.front()}) + where(d.xs, raised) +
                           " (not drawn)");
    if (std::count(nan.begin(), nan.end(), true))
        f->notes.push_back(label + ": NaN" + where(d.xs, nan));
    if (std::count(inf.begin(), inf.end(), true))
        f->notes.push_back(label + ": infinite" + where(d.xs, inf));
}

std::string kind_name(const Value &v) {
    return v.kind == Value::Kind::Int ? "int" : v.kind == Value::Kind::Float ? "float" : "double";
}

std::string joined(const std::vector<std::string> &labels) {
    std::string out;
    for (const std::string &l : labels)
        out += (out.empty() ? "" : ", ") + l;
    return out;
}

const PlotPoint &first_value(const std::vector<PlotPoint> &ys) {
    return *std::find_if(ys.begin(), ys.end(), [](const PlotPoint &p) { return p.value.kind != Value::Kind::None; });
}

// "EXPR", or "EXPR.x" for a component of a struct.
std::string component_label(const PlotData &d, std::size_t e, std::size_t c) {
    const Value &v = first_value(d.ys[e]).value;
    return d.labels[e] + (v.kind == Value::Kind::Struct ? "." + element_name(*v.type, c) : "");
}

// Every component of every expression as a curve over x.
Figure curves(const PlotData &d) {
    Figure f;
    f.title = joined(d.labels);
    f.x_kind = kind_name(d.xs.front());
    f.x_name = "x (" + f.x_kind + ")";
    f.whole_x = d.xs.front().kind == Value::Kind::Int;
    for (const Value &x : d.xs)
        f.xs.push_back(number(x, 0));
    double lo = INFINITY, hi = -INFINITY;
    for (std::size_t e = 0; e < d.labels.size(); ++e) {
        const std::vector<PlotPoint> &ys = d.ys[e];
        for (std::size_t c = 0; c < components(ys); ++c) {
            Curve curve;
            curve.label = component_label(d, e, c);
            curve.steps = first_value(ys).value.element_kind(c) == Scalar::Int;
            for (const PlotPoint &p : ys) {
                const bool drawn = p.value.kind != Value::Kind::None && p.raised.empty();
                const double y = drawn ? number(p.value, c) : NAN;
                curve.y.push_back(std::isfinite(y) ? y : NAN);
                if (std::isfinite(y))
                    lo = std::min(lo, y), hi = std::max(hi, y);
            }
            f.curves.push_back(std::move(curve));
        }
        note_gaps(d, e, &f);
    }
    f.x_lo = f.xs.front(), f.x_hi = f.xs.back();
    f.y_fixed = d.y_given;
    f.y_lo = d.y_given ? d.y_from : lo <= hi ? lo : -1;
    f.y_hi = d.y_given ? d.y_to : lo <= hi ? hi : 1;
    return f;
}

// Counts of the values in bins: one per int where the int values span at
// most 64, else 20 of equal width.
Figure bars(const PlotData &d) {
    Figure f;
    f.title = "histogram of " + joined(d.labels) + ", " + std::to_string(d.xs.size()) + " samples";
    f.x_name = "value";
    std::vector<std::vector<double>> values;
    double lo = INFINITY, hi = -INFINITY;
    bool ints = true;
    for (std::size_t e = 0; e < d.labels.size(); ++e) {
        std::size_t left_out = 0;
        for (std::size_t c = 0; c < components(d.ys[e]); ++c) {
            std::vector<double> v;
            for (const PlotPoint &p : d.ys[e]) {
                const double y = p.value.kind == Value::Kind::None ? NAN : number(p.value, c);
                if (!std::isfinite(y) || !p.raised.empty()) {
                    ++left_out;
                    continue;
                }
                ints = ints && p.value.element_kind(c) == Scalar::Int;
                lo = std::min(lo, y), hi = std::max(hi, y);
                v.push_back(y);
            }
            values.push_back(std::move(v));
            f.curves.push_back({component_label(d, e, c), false, {}});
        }
        if (left_out)
            f.notes.push_back(d.labels[e] + ": " + std::to_string(left_out) +
                              " values not counted (NaN, infinite, errors)");
    }
    if (!(lo <= hi))
        lo = hi = 0;
    std::size_t bins = 20;
    if (ints && hi - lo < 64) {
        bins = static_cast<std::size_t>(hi - lo) + 1;
        f.bin = 1, lo -= 0.5, f.whole_x = true;
    } else if (hi > lo) {
        f.bin = hi / 20 - lo / 20;
    } else {
        bins = 1, f.bin = 1, lo -= 0.5;
    }
    f.y_hi = 1;
    for (std::size_t k = 0; k < values.size(); ++k) {
        f.curves[k].y.assign(bins, 0);
        for (double v : values[k]) {
            const double q = (v / 2 - lo / 2) / (f.bin / 2);  // in 0..bins, checked before the cast
            f.curves[k].y[q < static_cast<double>(bins - 1) ? static_cast<std::size_t>(q) : bins - 1] += 1;
        }
        f.y_hi = std::max(f.y_hi, *std::max_element(f.curves[k].y.begin(), f.curves[k].y.end()));
    }
    for (std::size_t b = 0; b < bins; ++b)
        f.xs.push_back(lo + f.bin * static_cast<double>(b));
    f.x_lo = lo, f.x_hi = lo + f.bin * static_cast<double>(bins);
    return f;
}

Figure figure(const PlotData &d) { return d.histogram ? bars(d) : curves(d); }

void set_y_axis(Figure *f, int target) { f->y = make_axis(f->y_lo, f->y_hi, target, !f->y_fixed); }

// The x axis with the most ticks whose labels fit `room` characters with
// two blanks between them.
void set_x_axis(Figure *f, double room) {
    for (int target = std::max(2, static_cast<int>(room / 8));; --target) {
        f->x = make_axis(f->x_lo, f->x_hi, target, false);
        if (f->whole_x)
            std::erase_if(f->x.ticks, [](const Tick &t) { return t.at != std::floor(t.at); });
        std::size_t widest = 0;
        for (const Tick &t : f->x.ticks)
            widest = std::max(widest, t.label.size());
        const double n = static_cast<double>(f->x.ticks.size());
        if (target <= 2 || n < 2 || room / (n - 1) >= static_cast<double>(widest) + 2)
            return;
    }
}

// A position on an axis from 0 at `from` to `size` at `to` (flipped for y),
// kept within four axis lengths so that a far value stays drawable.
double place(const Axis &a, double v, double size, bool flip) {
    const double half = a.to / 2 - a.from / 2;  // halves: the widest ranges stay finite
    v = std::min(std::max(v, a.from - 8 * half), a.to + 8 * half);
    const double t = (v / 2 - a.from / 2) / half;
    return (flip ? 1 - t : t) * size;
}

// Draws through plain callbacks: a line, a dot, a bar.
template <class Line, class Dot, class Bar>
void draw(const Figure &f, double width, double height, Line line, Dot dot, Bar bar) {
    for (std::size_t k = 0; k < f.curves.size(); ++k) {
        const Curve &c = f.curves[k];
        if (f.bin > 0) {
            const double share = f.bin / static_cast<double>(f.curves.size());
            for (std::size_t b = 0; b < c.y.size(); ++b) {
                const double x0 = f.xs[b] + share * static_cast<double>(k);
                if (c.y[b] > 0)
                    bar(k, place(f.x, x0, width, false), place(f.x, x0 + share, width, false),
                        place(f.y, c.y[b], height, true), place(f.y, 0, height, true));
            }
            continue;
        }
        bool open = false;
        double px = 0, py = 0;
        for (std::size_t i = 0; i < c.y.size(); ++i) {
            if (std::isnan(c.y[i])) {
                open = false;
                continue;
            }
            const double x = place(f.x, f.xs[i], width, false), y = place(f.y, c.y[i], height, true);
            const bool alone = (i + 1 == c.y.size() || std::isnan(c.y[i + 1]));
            if (open && c.steps)
                line(k, px, py, x, py), line(k, x, py, x, y);
            else if (open)
                line(k, px, py, x, y);
            else if (alone)
                dot(k, x, y);
            open = true;
            px = x, py = y;
        }
    }
}

std::vector<std::string> wrap(const std::string &text, std::size_t width) {
    std::vector<std::string> out;
    std::string line;
    std::size_t start = 0;
    while (start < text.size()) {
        std::size_t end = text.find(' ', start);
        if (end == std::string::npos)
            end = text.size();
        const std::string word = text.substr(start, end - start);
        if (!line.empty() && line.size() + 1 + word.size() > width)
            out.push_back(line), line = "  ";
        line += (line.empty() || line == "  " ? "" : " ") + word;
        start = end + 1;
    }
    out.push_back(line);
    return out;
}

// ---- Text -----------------------------------------------------------------------

const char *const kAnsi[] = {"34", "31", "32", "35", "33", "36"};
const char kMarks[] = "*+o#x%@&";

class Canvas {
public:
    Canvas(int cols, int rows, bool braille)
        : cols_(cols), rows_(rows), sx_(braille ? 2 : 1), sy_(braille ? 4 : 1),
          bits_(static_cast<std::size_t>(cols * rows)), owner_(bits_.size(), -1) {}
    double width() const { return cols_ * sx_ - 1; }
    double height() const { return rows_ * sy_ - 1; }

    void dot(std::size_t curve, double x, double y) {
        const long dx = std::lround(x), dy = std::lround(y);
        if (dx < 0 || dy < 0 || dx > width() || dy > height())
            return;
        static const unsigned char kBit[2][4] = {{0x01, 0x02, 0x04, 0x40}, {0x08, 0x10, 0x20, 0x80}};
        const std::size_t cell = static_cast<std::size_t>(dy / sy_ * cols_ + dx / sx_);
        bits_[cell] |= sx_ == 2 ? kBit[dx % 2][dy % 4] : 1;
        owner_[cell] = static_cast<int>(curve);
    }
    void line(std::size_t curve, double x0, double y0, double x1, double y1) {
        const long n = std::lround(std::max(std::fabs(x1 - x0), std::fabs(y1 - y0)));
        for (long i = 0; i <= n; ++i) {
            const double t = n ? static_cast<double>(i) / static_cast<double>(n) : 0;
            dot(curve, x0 + (x1 - x0) * t, y0 + (y1 - y0) * t);
        }
    }
    void bar(std::size_t curve, double x0, double x1, double top, double bottom) {
        for (double x = std::round(x0); x <= std::max(std::round(x0), std::round(x1) - 1); ++x)
            line(curve, x, top, x, bottom);
    }
    // Cell (col, row) as text: a braille pattern or the curve's mark.
    std::string cell(int col, int row, bool colour) const {
        const std::size_t i = static_cast<std::size_t>(row * cols_ + col);
        if (!bits_[i])
            return " ";
        std::string glyph(1, kMarks[owner_[i] % 8]);
        if (sx_ == 2) {
            const unsigned b = bits_[i];
            glyph = {'\xe2', static_cast<char>(0xa0 | b >> 6), static_cast<char>(0x80 | (b & 0x3f))};
        }
        if (!colour)
            return glyph;
        return std::string("\x1b[") + kAnsi[owner_[i] % 6] + "m" + glyph + "\x1b[0m";
    }

private:
    int cols_, rows_, sx_, sy_;
    std::vector<unsigned char> bits_;
    std::vector<int> owner_;
};

std::string trimmed(std::string s) {
    s.erase(s.find_last_not_of(' ') + 1);
    return s + "\n";
}

}  // namespace

TextStyle terminal_style(int fd) {
    TextStyle style;
    std::setlocale(LC_CTYPE, "");
    style.utf8 = std::strcmp(nl_langinfo(CODESET), "UTF-8") == 0;
    const char *term = std::getenv("TERM");
    const char *no_colour = std::getenv("NO_COLOR");
    style.colour = isatty(fd) && !(term && std::strcmp(term, "dumb") == 0) && !(no_colour && *no_colour);
    return style;
}

void terminal_size(int fd, int *cols, int *rows) {
    winsize ws{};
    const bool known = isatty(fd) && ioctl(fd, TIOCGWINSZ, &ws) == 0 && ws.ws_col && ws.ws_row;
    *cols = known ? ws.ws_col : 80;
    *rows = known ? ws.ws_row - 1 : 24;  // a line left for the prompt
}

std::string plot_text(const PlotData &d, int cols, int rows, TextStyle style) {
    cols = std::max(cols, 30);
    Figure f = figure(d);
    const bool u = style.utf8;
    std::vector<std::string> below;
    if (f.curves.size() > 1) {
        std::string line;
        std::size_t used = 0;
        for (std::size_t k = 0; k < f.curves.size(); ++k) {
            std::string key = u ? "\xe2\xa0\xa4\xe2\xa0\xa4" : std::string(2, kMarks[k % 8]);
            if (style.colour)
                key = std::string("\x1b[") + kAnsi[k % 6] + "m" + key + "\x1b[0m";
            const std::size_t width = 3 + f.curves[k].label.size() + 2;
            if (used && used + width > static_cast<std::size_t>(cols))
                below.push_back(line), line.clear(), used = 0;
            line += key + " " + f.curves[k].label + "  ";
            used += width;
        }
        below.push_back(line);
    }
    for (const std::string &note : f.notes)
        for (const std::string &l : wrap(note, static_cast<std::size_t>(cols)))
            below.push_back(l);

    const int plot_rows = std::max(3, rows - 3 - static_cast<int>(below.size()));
    set_y_axis(&f, std::max(2, plot_rows / 4));
    std::size_t left = 0;
    for (const Tick &t : f.y.ticks)
        left = std::max(left, t.label.size());
    const int plot_cols = std::max(10, cols - static_cast<int>(left) - 3);
    set_x_axis(&f, plot_cols);

    Canvas canvas(plot_cols, plot_rows, u);
    draw(f, canvas.width(), canvas.height(),
         [&](std::size_t k, double x0, double y0, double x1, double y1) { canvas.line(k, x0, y0, x1, y1); },
         [&](std::size_t k, double x, double y) { canvas.dot(k, x, y); },
         [&](std::size_t k, double x0, double x1, double top, double bottom) { canvas.bar(k, x0, x1, top, bottom); });
    const int cell_h = u ? 4 : 1, cell_w = u ? 2 : 1;
    std::vector<std::string> y_labels(static_cast<std::size_t>(plot_rows));
    for (const Tick &t : f.y.ticks) {
        const auto row = static_cast<std::size_t>(std::lround(place(f.y, t.at, canvas.height(), true)) / cell_h);
        if (row < y_labels.size() && y_labels[row].empty())
            y_labels[row] = t.label;
    }

    const std::string title = f.x_kind.empty() ? f.title : f.title + "    x: " + f.x_kind;
    std::string out = trimmed(title.size() > static_cast<std::size_t>(cols) ? f.title.substr(0, static_cast<std::size_t>(cols)) : title);
    for (int r = 0; r < plot_rows; ++r) {
        const std::string &label = y_labels[static_cast<std::size_t>(r)];
        std::string line = std::string(left - label.size(), ' ') + label + " " +
                           (label.empty() ? (u ? "\xe2\x94\x82" : "|") : (u ? "\xe2\x94\xa4" : "+"));
        for (int c = 0; c < plot_cols; ++c)
            line += canvas.cell(c, r, style.colour);
        out += trimmed(line);
    }
    // The x axis: ticks, and the marks of errors over them.
    std::vector<std::string> axis(static_cast<std::size_t>(plot_cols), u ? "\xe2\x94\x80" : "-");
    std::string labels(static_cast<std::size_t>(cols), ' ');
    long last_end = -1;
    for (const Tick &t : f.x.ticks) {
        const long dot = std::lround(place(f.x, t.at, canvas.width(), false));
        const long col = dot / cell_w;
        if (col < 0 || col >= plot_cols)
            continue;
        axis[static_cast<std::size_t>(col)] = u ? "\xe2\x94\xac" : "+";
        const long len = static_cast<long>(t.label.size());
        const long start = std::min(std::max(0L, static_cast<long>(left) + 2 + col - len / 2), static_cast<long>(cols) - len);
        if (start > last_end) {
            labels.replace(static_cast<std::size_t>(start), static_cast<std::size_t>(len), t.label);
            last_end = start + len;
        }
    }
    for (double m : f.marks) {
        const long col = std::lround(place(f.x, m, canvas.width(), false)) / cell_w;
        if (col >= 0 && col < plot_cols)
            axis[static_cast<std::size_t>(col)] =
                style.colour ? std::string("\x1b[1;31m") + (u ? "\xc3\x97" : "x") + "\x1b[0m" : u ? "\xc3\x97" : "x";
    }
    std::string line = std::string(left + 1, ' ') + (u ? "\xe2\x94\x94" : "+");
    for (const std::string &a : axis)
        line += a;
    out += trimmed(line) + trimmed(labels);
    for (const std::string &b : below)
        out += trimmed(b);
    return out;
}

// ---- SVG ------------------------------------------------------------------------

namespace {

const char *const kColours[] = {"#0072b2", "#d55e00", "#009e73", "#cc79a7", "#e69f00", "#56b4e9", "#000000"};

// A coordinate to a tenth of a pixel, written without locale or "-0".
std::string px(double v) {
    const long long t = std::llround(v * 10);
    const long long a = t < 0 ? -t : t;
    return (t < 0 ? "-" : "") + std::to_string(a / 10) + (a % 10 ? "." + std::to_string(a % 10) : "");
}

std::string xml(const std::string &text) {
    std::string out;
    for (char c : text) {
        switch (c) {
        case '&': out += "&amp;"; break;
        case '<': out += "&lt;"; break;
        case '>': out += "&gt;"; break;
        case '"': out += "&quot;"; break;
        default: out += static_cast<unsigned char>(c) < 0x20 ? ' ' : c;
        }
    }
    return out;
}

std::string text_at(double x, double y, const char *anchor, const std::string &text,
                    const std::string &extra = "") {
    return "<text x=\"" + px(x) + "\" y=\"" + px(y) + "\"" +
           (*anchor ? std::string(" text-anchor=\"") + anchor + "\"" : "") + extra + ">" + xml(text) +
           "</text>\n";
}

}  // namespace

std::string plot_svg(const PlotData &d, int width, int height) {
    const double W = width, H = height;
    Figure f = figure(d);
    // Below the plot: tick labels and the axis name, the legend, the notes.
    std::vector<std::vector<std::size_t>> legend(1);
    double used = 0;
    if (f.curves.size() > 1)
        for (std::size_t k = 0; k < f.curves.size(); ++k) {
            const double w = 34 + 7 * static_cast<double>(f.curves[k].label.size());
            if (used > 0 && used + w > W - 20)
                legend.emplace_back(), used = 0;
            legend.back().push_back(k);
            used += w;
        }
    std::vector<std::string> notes;
    for (const std::string &n : f.notes)
        for (const std::string &l : wrap(n, static_cast<std::size_t>(std::max(20.0, (W - 20) / 6.2))))
            notes.push_back(l);
    const double bottom = 44 + (f.curves.size() > 1 ? 18 * static_cast<double>(legend.size()) : 0) +
                          15 * static_cast<double>(notes.size());
    const double top = 32, B = std::max(top + 40, H - bottom);
    set_y_axis(&f, std::max(2, static_cast<int>((B - top) / 45)));
    std::size_t widest = 0;
    for (const Tick &t : f.y.ticks)
        widest = std::max(widest, t.label.size());
    const double L = 14 + 7.2 * static_cast<double>(widest), R = W - 18;
    set_x_axis(&f, (R - L) / 7.2);
    auto X = [&](double v) { return L + place(f.x, v, R - L, false); };
    auto Y = [&](double v) { return top + place(f.y, v, B - top, true); };

    std::string s = "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + std::to_string(width) +
                    "\" height=\"" + std::to_string(height) + "\" viewBox=\"0 0 " + std::to_string(width) +
                    " " + std::to_string(height) +
                    "\" font-family=\"DejaVu Sans, Verdana, Arial, sans-serif\" font-size=\"12\">\n";
    s += "<title>" + xml(f.title) + "</title>\n";
    s += "<rect width=\"" + std::to_string(width) + "\" height=\"" + std::to_string(height) + "\" fill=\"#ffffff\"/>\n";
    const std::string area = "x=\"" + px(L) + "\" y=\"" + px(top) + "\" width=\"" + px(R - L) + "\" height=\"" + px(B - top) + "\"";
    s += "<defs><clipPath id=\"area\"><rect " + area + "/></clipPath></defs>\n";
    const double title_size = std::min(14.0, (W - 20) / (0.64 * static_cast<double>(f.title.size())));  // fits
    s += text_at(W / 2, 20, "middle", f.title, " font-size=\"" + px(title_size) + "\" font-weight=\"bold\"");
    std::string grid, labels;
    for (const Tick &t : f.x.ticks) {
        grid += "M" + px(X(t.at)) + " " + px(top) + "V" + px(B);
        const double half = 3.6 * static_cast<double>(t.label.size());  // kept on the picture
        labels += X(t.at) + half > W - 2 ? text_at(W - 2, B + 16, "end", t.label)
                  : X(t.at) - half < 2   ? text_at(2, B + 16, "", t.label)
                                         : text_at(X(t.at), B + 16, "middle", t.label);
    }
    for (const Tick &t : f.y.ticks) {
        grid += "M" + px(L) + " " + px(Y(t.at)) + "H" + px(R);
        labels += text_at(L - 6, Y(t.at) + 4, "end", t.label);
    }
    s += "<path stroke=\"#e4e4e4\" d=\"" + grid + "\"/>\n";
    if (f.y.from < 0 && f.y.to > 0)
        s += "<path stroke=\"#b0b0b0\" d=\"M" + px(L) + " " + px(Y(0)) + "H" + px(R) + "\"/>\n";
    s += "<rect " + area + " fill=\"none\" stroke=\"#808080\"/>\n";
    s += "<g fill=\"#333333\">\n" + labels + text_at((L + R) / 2, B + 33, "middle", f.x_name) + "</g>\n";

    std::vector<std::string> paths(f.curves.size()), extras(f.curves.size());
    draw(f, R - L, B - top,
         [&](std::size_t k, double x0, double y0, double x1, double y1) {
             std::string &p = paths[k];
             const std::string from = px(L + x0) + " " + px(top + y0), to = px(L + x1) + " " + px(top + y1);
             if (p.size() < from.size() || p.compare(p.size() - from.size(), from.size(), from) != 0)
                 p += "M" + from;
             if (to != from)
                 p += "L" + to;
         },
         [&](std::size_t k, double x, double y) {
             extras[k] += "<circle cx=\"" + px(L + x) + "\" cy=\"" + px(top + y) + "\" r=\"1.6\"/>";
         },
         [&](std::size_t k, double x0, double x1, double y0, double y1) {
             extras[k] += "<rect x=\"" + px(L + x0 + 0.5) + "\" y=\"" + px(top + y0) + "\" width=\"" +
                          px(std::max(1.0, x1 - x0 - 1)) + "\" height=\"" + px(y1 - y0) + "\"/>";
         });
    s += "<g clip-path=\"url(#area)\" fill=\"none\" stroke-width=\"1.6\" stroke-linejoin=\"round\" stroke-linecap=\"round\">\n";
    for (std::size_t k = 0; k < f.curves.size(); ++k) {
        const char *colour = kColours[k % 7];
        if (!paths[k].empty())
            s += std::string("<path stroke=\"") + colour + "\" d=\"" + paths[k] + "\"/>\n";
        if (!extras[k].empty())
            s += std::string("<g fill=\"") + colour + "\" stroke=\"none\">" + extras[k] + "</g>\n";
    }
    s += "</g>\n";
    if (!f.marks.empty()) {
        std::string m;
        std::vector<double> at;
        for (double x : f.marks)
            at.push_back(X(x));
        std::sort(at.begin(), at.end());
        double last = -INFINITY;
        for (double x : at)  // a row of crosses, not a red bar
            if (x - last >= 9)
                m += "M" + px(x - 3.5) + " " + px(B - 3.5) + "l7 7m0 -7l-7 7", last = x;
        s += "<path stroke=\"#c00000\" stroke-width=\"1.5\" d=\"" + m + "\"/>\n";
    }
    double y = B + 52;
    if (f.curves.size() > 1)
        for (const std::vector<std::size_t> &row : legend) {
            double x = 10;
            for (std::size_t k : row) {
                s += std::string("<path stroke=\"") + kColours[k % 7] + "\" stroke-width=\"2.5\" d=\"M" + px(x) +
                     " " + px(y - 4) + "h20\"/>\n" + text_at(x + 26, y, "", f.curves[k].label);
                x += 34 + 7 * static_cast<double>(f.curves[k].label.size());
            }
            y += 18;
        }
    for (const std::string &n : notes) {
        s += text_at(10, y, "", n, " font-size=\"11\" fill=\"#555555\"");
        y += 15;
    }
    return s + "</svg>\n";
}

}  // namespace kav::host
