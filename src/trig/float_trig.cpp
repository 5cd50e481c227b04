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

// Value times pi, then divided by the half turn: in this order.
double to_radians(long double millidegrees) {
    return static_cast<double>(millidegrees * PI / HALF_TURN);
}

// Times the half turn, then divided by pi: in this order.
template <class T>
T to_millidegrees(double radians) {
    return static_cast<T>(radians * HALF_TURN / PI);
}

// The library routines of one function: the single-precision one for F and
// vec components, the double one for D and dvec components.
struct Library {
    float (*single)(float);
    double (*twin)(double);  // its double-precision twin

    double in_double(double x) const { return strict(twin(x)); }

    template <class T>
    T operator()(T x) const {
        if constexpr (std::is_same_v<T, float>)
            return single(x);
        else
            return in_double(x);
    }
};

// A single-precision slot served by the double routine: widen, call, round.
template <double (*F)(double)>
float through_double(float x) {
    return static_cast<float>(strict(F(x)));
}

// sin, cos, tan. The milli-degree path uses the double routine for every
// type, F and vec included.
struct Forward {
    Library library;
    template <class T>
    T operator()(T x, Unit unit) const {
        if (unit == Unit::Radian) return library(x);
        return static_cast<T>(library.in_double(to_radians(x)));
    }
};

// asin, acos, atan. No domain check: outside [-1, 1] the library's NaN comes
// back, scaled, and nothing is raised (unlike the integer forms). Intended.
struct Inverse {
    Library library;
    template <class T>
    T operator()(T x, Unit unit) const {
        if (unit == Unit::Radian) return library(x);
        return to_millidegrees<T>(library.in_double(x));
    }
};

// atan2(y, x) uses the double routine for every type and unit: there is no
// single-precision path, unlike the other inverse functions. Intended.
struct Arctangent2 {
    template <class T>
    T operator()(T y, T x, Unit unit) const {
        const double a = strict(std::atan2(double(y), double(x)));
        return unit == Unit::Radian ? static_cast<T>(a) : to_millidegrees<T>(a);
    }
};

const Forward SIN{{::sinf, ::sin}};
const Forward COS{{::cosf, ::cos}};
const Forward TAN{{::tanf, ::tan}};
const Inverse ASIN{{::asinf, ::asin}};
const Inverse ACOS{{::acosf, ::acos}};
const Inverse ATAN{{::atanf, ::atan}};

// sinh and cosh use the double routine for every type, while tanh has the
// single-precision one for F and vec. The asymmetry is intended.
const Library SINH{through_double<::sinh>, ::sinh};
const Library COSH{through_double<::cosh>, ::cosh};
const Library TANH{::tanhf, ::tanh};

// hypot uses the double routine for every type; the result is rounded to
// the argument's type when it is set.
struct Hypot {
    double operator()(double a, double b) const { return std::hypot(a, b); }
};

// The unit is read once per call, after the arguments have been taken.
template <class V, class Rule>
void unary_in_unit(const Rule &rule) {
    const V x = pop<V>();
    const Unit unit = angle_unit();
    ret(each(x, [&](auto c) { return rule(c, unit); }));
}

template <class V, class Rule>
void binary_in_unit(const Rule &rule) {
    const V b = pop<V>();
    const V a = pop<V>();
    const Unit unit = angle_unit();
    ret(each(a, b, [&](auto p, auto q) { return rule(p, q, unit); }));
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
