// log (natural and to a given base), log2 and log10 over floats, doubles and
// their vectors.
#include <cmath>

#include "frame/componentwise.h"
#include "ln2.h"

namespace {

using kav::LN2_DOUBLE;
using kav::LN2_SINGLE;

// The natural logarithm: float forms in single precision (logf), unlike exp.
struct Log {
    float operator()(float x) const { return kav::strict(logf(x)); }
    double operator()(double x) const { return std::log(x); }
};

// log10: float forms in single precision (log10f).
struct Log10 {
    float operator()(float x) const { return kav::strict(log10f(x)); }
    double operator()(double x) const { return std::log10(x); }
};

// log2: the double natural logarithm over ln 2 of the argument's precision
// class.
struct Log2 {
    double operator()(float x) const { return std::log(double{x}) / double{LN2_SINGLE}; }
    double operator()(double x) const { return std::log(x) / LN2_DOUBLE; }
};

// log(x) / log_base for a base whose logarithm is already taken.
auto to_base_with_log(double log_base) {
    return [log_base](double x) { return std::log(x) / log_base; };
}

// log of x to a base: log(x) / log(base), both in double.
struct LogBase {
    double operator()(double x, double base) const { return std::log(x) / std::log(base); }

    // A vector to one base takes the base's logarithm once. For float vectors
    // that logarithm is the single-precision logf, rounded to float, while
    // each component's is double: intended.
    static auto with(float base) { return to_base_with_log(kav::strict(logf(base))); }
    static auto with(double base) { return to_base_with_log(std::log(base)); }
};

}  // namespace

KAV_FLOATING_ROUTINES(log, kav::unary, Log{})
KAV_FLOATING_ROUTINES(logb, kav::binary, LogBase{})
KAV_VECTOR_SCALAR_ROUTINES(logb, kav::binary, LogBase{})
KAV_FLOATING_ROUTINES(log2, kav::unary, Log2{})
KAV_FLOATING_ROUTINES(log10, kav::unary, Log10{})
