// Floating trigonometry (F, D, vec, dvec): the circular functions in the
// module's angle unit, the hyperbolic functions and hypot.
//
// In the radian unit angles are radians; in any other unit they are
// milli-degrees, the scale of the integer angles. Conversions between the two
// are carried at extended precision and rounded once.
#include <cmath>
#include <type_traits>

#include "frame/componentwise.h"

namespace {

using namespace kav;

enum class Unit { Millidegree, Radian };

// Only the radian unit is special: every other value means milli-degrees.
Unit angle_unit() { return math_angle_unit == RADIAN_UNIT ? Unit::Radian : Unit::Millidegree; }

constexpr long double PI = 3.141592653589793;  // pi as a double, widened
constexpr long double HALF_TURN = 180000.0L;

// Both conversions stay at extended precision: neither step is exact in
// double (a double times 180000 = 2^5 * 5625 needs up to 66 bits, times pi
// up to 106), so double steps round elsewhere and change results: asin(D)
// of 0.82329471587356862 gives 55415.980573647939 milli-degrees this way and
// 55415.980573647932 in double; the radians of -217763.01410876354
// milli-degrees are -3.8006815852647891, in double -3.8006815852647886.

// Value times pi, then divided by the half turn: in this order.
double to_radians(long double millidegrees) {
    return static_cast<double>(millidegrees * PI / HALF_TURN);
}

// Times the half turn, then divided by pi: in this order. Rounded once, to
// the component type, when the result is set.
long double to_millidegrees(double radians) { return radians * HALF_TURN / PI; }

// The library routines of one function: the single-precision one for F and
// vec components, the double one for D and dvec components. Template
// arguments, so each family's routines call them directly.
template <float (*Single)(float), double (*Twin)(double)>  // Twin: its double-precision twin
struct Library {
    static double in_double(double x) { return strict(Twin(x)); }

    template <class T>
    T operator()(T x) const {
        if constexpr (std::is_same_v<T, float>)
            return Single(x);
        else
            return in_double(x);
    }
};

// A single-precision slot served by the double routine: widen, call, round.
template <double (*F)(double)>
float through_double(float x) {
    return static_cast<float>(strict(F(x)));
}

// Each rule of a circular function has a form per unit: in_radians and
// in_millidegrees.

// sin, cos, tan. The milli-degree path uses the double routine for every
// type, F and vec included.
template <class Library>
struct Forward {
    template <class T>
    T in_radians(T x) const {
        return Library{}(x);
    }
    // A float is widened in its SSE register (strict), so that it need not
    // wait in memory for the x87 (the radian path then reloaded it); a
    // double goes to the x87 straight from where the host holds it.
    double in_millidegrees(float x) const { return Library::in_double(to_radians(strict(double{x}))); }
    double in_millidegrees(double x) const { return Library::in_double(to_radians(x)); }
};

// asin, acos, atan. No domain check: outside [-1, 1] the library's NaN comes
// back, scaled, and nothing is raised (unlike the integer forms). Intended.
template <class Library>
struct Inverse {
    template <class T>
    T in_radians(T x) const {
        return Library{}(x);
    }
    long double in_millidegrees(double x) const { return to_millidegrees(Library::in_double(x)); }
};

// atan2(y, x) uses the double routine for every type and unit: there is no
// single-precision path, unlike the other inverse functions. Intended.
struct Arctangent2 {
    static double radians(double y, double x) { return strict(std::atan2(y, x)); }
    double in_radians(double y, double x) const { return radians(y, x); }
    long double in_millidegrees(double y, double x) const { return to_millidegrees(radians(y, x)); }
};

constexpr Forward<Library<::sinf, ::sin>> SIN{};
constexpr Forward<Library<::cosf, ::cos>> COS{};
constexpr Forward<Library<::tanf, ::tan>> TAN{};
constexpr Inverse<Library<::asinf, ::asin>> ASIN{};
constexpr Inverse<Library<::acosf, ::acos>> ACOS{};
constexpr Inverse<Library<::atanf, ::atan>> ATAN{};

// sinh and cosh use the double routine for every type, while tanh has the
// single-precision one for F and vec. The asymmetry is intended.
constexpr Library<through_double<::sinh>, ::sinh> SINH{};
constexpr Library<through_double<::cosh>, ::cosh> COSH{};
constexpr Library<::tanhf, ::tanh> TANH{};

// hypot uses the double routine for every type; the result is rounded to
// the argument's type when it is set.
struct Hypot {
    double operator()(double a, double b) const { return std::hypot(a, b); }
};

// The unit is read once per call, after the arguments have been taken; the
// components go through the rule's form for it.
template <class V, class Rule>
void unary_in_unit(const Rule &rule) {
    const auto x = take<V>();
    if (angle_unit() == Unit::Radian)
        ret(each(x, [&](auto c) { return rule.in_radians(c); }));
    else
        ret(each<true>(x, [&](auto c) { return rule.in_millidegrees(c); }));
}

template <class V, class Rule>
void binary_in_unit(const Rule &rule) {
    const auto b = take<V>();
    const auto a = take<V>();
    if (angle_unit() == Unit::Radian)
        ret(each(a, b, [&](auto p, auto q) { return rule.in_radians(p, q); }));
    else
        ret(each<true>(a, b, [&](auto p, auto q) { return rule.in_millidegrees(p, q); }));
}

}  // namespace

KAV_FLOATING_ROUTINES(sin, unary_in_unit, SIN)
KAV_FLOATING_ROUTINES(cos, unary_in_unit, COS)
KAV_FLOATING_ROUTINES(tan, unary_in_unit, TAN)
KAV_FLOATING_ROUTINES(asin, unary_in_unit, ASIN)
KAV_FLOATING_ROUTINES(acos, unary_in_unit, ACOS)
KAV_FLOATING_ROUTINES(atan, unary_in_unit, ATAN)
KAV_FLOATING_ROUTINES(atan2, binary_in_unit, Arctangent2{})
KAV_FLOATING_ROUTINES(sinh, unary, SINH)
KAV_FLOATING_ROUTINES(cosh, unary, COSH)
KAV_FLOATING_ROUTINES(tanh, unary, TANH)
KAV_FLOATING_ROUTINES(hypot, binary, Hypot{})

// hypot(T(vecN),F): every component against the one scalar.
KAV_VECTOR_SCALAR_ROUTINES(hypot, binary, Hypot{})
