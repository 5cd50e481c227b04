// Taking a floating value apart and putting it together: modf, frexp, ldexp.
// The float forms call the double library routines.
#include <cmath>
#include <type_traits>

#include "forms.h"

namespace {

// The FP or DP reference, by the value's type.
template <class T>
void *pop_variable() {
    if constexpr (std::is_same_v<T, float>)
        return kav::pop_float_ref().p;
    else
        return kav::pop_double_ref().p;
}

// The fraction is the result; the integral part goes to the referenced
// variable as a double, also in the float form: there the 8-byte store
// reaches past the float variable. Intended.
template <class T>
void modf_form() {
    const kav::Place<double> whole{pop_variable<T>()};
    const double x = kav::pop<T>();
    double integral;
    const double fraction = std::modf(x, &integral);
    whole.store(integral);
    kav::ret(static_cast<T>(fraction));
}

// The mantissa in [0.5, 1) is the result; the exponent goes to the int
// variable.
template <class T>
void frexp_form() {
    const kav::Place<int32_t> exponent = kav::pop_int_ref();
    const T x = kav::pop<T>();
    int e;
    const double mantissa = std::frexp(double{x}, &e);
    exponent.store(e);
    kav::ret(static_cast<T>(kav::strict(mantissa)));
}

struct Ldexp {
    double operator()(double x, int32_t n) const { return std::ldexp(x, n); }
};

}  // namespace

KAV_ROUTINE(KAV_modfF) { modf_form<float>(); }
KAV_ROUTINE(KAV_modfD) { modf_form<double>(); }
KAV_ROUTINE(KAV_frexpF) { frexp_form<float>(); }
KAV_ROUTINE(KAV_frexpD) { frexp_form<double>(); }
KAV_ROUTINE(KAV_ldexpF) { kav::binary<float, int32_t>(Ldexp{}); }
KAV_ROUTINE(KAV_ldexpD) { kav::binary<double, int32_t>(Ldexp{}); }
