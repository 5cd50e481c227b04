// The classification tests over F and D, answering an int.
#include <cfloat>
#include <cmath>

#include "forms.h"

namespace {

// Finite: the magnitude, widened to double, is at most the largest double.
struct IsFinite {
    bool operator()(double x) const { return std::fabs(x) <= DBL_MAX; }
};

// 1 for +inf, -1 for -inf, 0 otherwise: the sign-reporting test. The -1 is
// intended.
struct IsInfinite {
    template <class T>
    int32_t operator()(T x) const {
        if (!std::isinf(x))
            return 0;
        return std::signbit(x) ? -1 : 1;
    }
};

struct IsNan {
    bool operator()(double x) const { return std::isnan(x); }
};

}  // namespace

KAV_ROUTINE(KAV_isfiniteF) { kav::predicate<float>(IsFinite{}); }
KAV_ROUTINE(KAV_isfinite) { kav::predicate<double>(IsFinite{}); }
KAV_ROUTINE(KAV_isinfiniteF) { kav::predicate<float>(IsInfinite{}); }
KAV_ROUTINE(KAV_isinfinite) { kav::predicate<double>(IsInfinite{}); }
KAV_ROUTINE(KAV_isnanF) { kav::predicate<float>(IsNan{}); }
KAV_ROUTINE(KAV_isnan) { kav::predicate<double>(IsNan{}); }
