// Plots of any call over a range of x: sampled through Session::eval, like
// every other call, and drawn in the terminal (braille or ASCII), as SVG, or
// written as CSV. kavmath --plot, the prompt's plot command and the
// reference's pictures all go through here.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "kavhost.h"

namespace kav::host {

// What to plot and how to show it.
struct PlotRequest {
    std::vector<std::string> exprs;  // "EXPR", or "SETUP; ...; EXPR": setup runs once first
    std::string x_range, y_range;    // "FROM:TO"; empty for the default
    long samples = 0;                // 0: kPlotSamples
    bool histogram = false;          // counts of the values instead of curves
    std::string svg, csv;            // files to write instead of drawing in the terminal
    int width = 0, height = 0;       // --size: characters, or the SVG's pixels; 0: default
};

constexpr long kPlotSamples = 401;
constexpr long kPlotMaxSamples = 100000;

// Reads one option of --plot (--x, --y, --samples, --size, --svg, --csv take
// a value; --histogram none) into *r. False with *error for a bad value.
bool plot_option(const std::string &option, const std::string &value, PlotRequest *r,
                 std::string *error);
// Whether option is one of --plot's, and whether it takes a value.
bool is_plot_option(const std::string &option, bool *takes_value);
// Expressions and options as words ("'sin(x)' 'cos(x)' --x 0:360000":
// blanks separate words, '...' quotes); false with *error.
bool parse_plot_words(std::string_view words, PlotRequest *r, std::string *error);

// One evaluation: its value (Kind::None on an error), raised errors, and the
// error or violations that stopped it.
struct PlotPoint {
    Value value;
    std::vector<RaisedError> raised;
    std::string error;
};

struct PlotData {
    std::vector<std::string> labels;         // the sampled expressions
    std::vector<Value> xs;                   // the values x took, in order
    std::vector<std::vector<PlotPoint>> ys;  // per expression, per x
    bool y_given = false;                    // --y
    double y_from = 0, y_to = 0;
    bool histogram = false;
};

// Evaluates every expression at every x; x is the session's variable while
// it runs and gets its old value (or none) back. False with *error, nothing
// sampled, for a bad range, an expression that gives no value at any x, ...
bool sample_plot(Session &s, const PlotRequest &r, PlotData *out, std::string *error);

// A flattened element's name: "x" of a vec2, "m[3]" of a mat2.
std::string element_name(const Type &t, std::size_t i);
// Element i of v as a scalar value.
Value element_value(const Value &v, std::size_t i);
// The components of a curve's values: those of its first value.
std::size_t components(const std::vector<PlotPoint> &ys);

// The sampled points: x, then each expression's components, in kavmath's
// print format (exact), and the errors raised or met at that x.
std::string plot_csv(const PlotData &d);

struct TextStyle {
    bool utf8 = false;    // braille and box drawing, else ASCII
    bool colour = false;  // ANSI colours per curve
};
// UTF-8 when the locale's character set is (LC_ALL, LC_CTYPE, LANG);
// colours when fd is a terminal, TERM is not dumb and NO_COLOR is unset.
TextStyle terminal_style(int fd);
// The terminal's columns and rows, or 80 x 24 when fd is not a terminal.
void terminal_size(int fd, int *cols, int *rows);

// The plot in cols x rows characters (a few more if that is too small).
std::string plot_text(const PlotData &d, int cols, int rows, TextStyle style);
// A standalone SVG document of width x height pixels.
std::string plot_svg(const PlotData &d, int width, int height);

// Writes text to path through a temporary file renamed into place, so that
// a failure leaves nothing half-written; false with *error.
bool write_file(const std::string &path, const std::string &text, std::string *error);

// Samples, then draws on out or writes the files. Errors go to err as
// "kavmath: ..."; returns 0, or 1 after an error.
int plot_command(Session &s, const PlotRequest &r, std::FILE *out, std::FILE *err);

}  // namespace kav::host
