// Integer trigonometry: angles in milli-degrees (a half turn is 180000),
// sines, cosines, tangents and the arguments of the inverse functions in
// thousandths. The angle unit plays no part here.
//
// sin, cos, asin and acos are a reduction and one table read; tan, atan and
// atan2 call the library and scale.
#include <cmath>

#include "frame/componentwise.h"

namespace {

using namespace kav;

constexpr int32_t QUARTER_TURN = KAV_QUARTER_TURN;
constexpr int32_t HALF_TURN = 2 * QUARTER_TURN;
constexpr int32_t FULL_TURN = 4 * QUARTER_TURN;

// a modulo a full turn, into the turn that starts at `lowest`: what stepping
// by whole turns gives, in one step and without overflow.
int32_t wrap_turn(int32_t a, int32_t lowest) {
    int64_t r = (int64_t{a} - lowest) % FULL_TURN;
    if (r < 0) r += FULL_TURN;
    return static_cast<int32_t>(r + lowest);
}

// sin and cos reduce into 0..359999.
int32_t turn_angle(int32_t a) { return wrap_turn(a, 0); }

// tan reduces into -179999..180000, so both half turns end as +180000.
int32_t tangent_angle(int32_t a) { return wrap_turn(a, 1 - HALF_TURN); }

// A double library result rounded to single first, then scaled and
// truncated. The rounding to single moves some results by one and is
// intended. The rule forms the product at extended precision; the double
// product truncates to the same int for every value that reaches here, so
// the routines take it: times 1000 (tan) a float's product is exact in both
// (24 + 7 significant bits), and times MILLIDEG_PER_RAD (atan, atan2, whose
// results are floats of magnitude at most (float)pi) each of those
// 2,157,060,024 floats was checked, in the round-to-nearest mode the module
// runs in.
int32_t via_single(double x, double scale) {
    return to_int(static_cast<double>(static_cast<float>(strict(x))) * scale);
}

// The vector sin, cos and tan store the reduced angles back into the
// caller's argument, so the caller's variable holds them afterwards. Intended.
// One component at a time: reduced, stored back, evaluated (whole-vector
// copies of freshly stored components stall the loads that read them).
template <class V, int32_t (*Reduce)(int32_t), class Value>
V reduce_in_place(const Value &value) {
    const Place<V> arg = pop_place<V>();
    V result;
    for (int i = 0; i < components<V>::count; ++i) {
        const Place<int32_t> c{static_cast<char *>(arg.p) + i * sizeof(int32_t)};
        const int32_t reduced = Reduce(c.load());
        c.store(reduced);
        components<V>::at(result, i) = value(reduced);
    }
    return result;
}

// ---- sin, cos -------------------------------------------------------------

// A quarter-wave table unfolded over the turn. The table and signs are
// template arguments, so each family's routines have them as constants.
template <const int32_t (&Table)[KAV_SIN_TAB_SIZE], int32_t SecondSign>
struct Wave {
    // SecondSign: sine +1, cosine -1; the fourth quadrant has the other
    // sign, the third is always negative
    int32_t operator()(int32_t r) const {
        if (r <= QUARTER_TURN) return Table[r];
        if (r <= HALF_TURN) return SecondSign * Table[HALF_TURN - r];
        if (r <= HALF_TURN + QUARTER_TURN) return -Table[r - HALF_TURN];
        return -SecondSign * Table[FULL_TURN - r];
    }
};
constexpr Wave<sin_tab, 1> SINE{};
constexpr Wave<cos_tab, -1> COSINE{};

template <class V, class W>
void wave_form(const W &value) {
    if constexpr (is_scalar<V>) {
        ret(value(turn_angle(pop<int32_t>())));
    } else {
        // Each vector component keeps the last of its quadrant tests: the
        // third-quadrant value up to 270000, the fourth above. From 180000 on
        // that is the scalar value; below 180000 it would read before the
        // table, and there the component takes the scalar value instead. Our
        // choice: vector and scalar forms agree at every angle.
        ret(reduce_in_place<V, turn_angle>(value));
    }
}

// ---- tan ------------------------------------------------------------------

// The tangent scaled by 1000 at a reduced angle; -90 degrees gives the int
// minimum without a library call. Inline, so that the routines keep it in
// line rather than calling it.
inline int32_t tangent_at(int32_t r) {
    if (r == -QUARTER_TURN) return INT_INDEFINITE;
    // The quotient stays extended: in double, 102 of the reduced angles
    // would round to another double.
    const double x = static_cast<double>(static_cast<long double>(r) / MILLIDEG_PER_RAD);
    return via_single(std::tan(x), 1000.0);
}

template <class V>
void tangent_form() {
    if constexpr (is_scalar<V>) {
        const int32_t r = tangent_angle(pop<int32_t>());
        // The scalar form saturates +90 degrees to the int maximum.
        ret(r == QUARTER_TURN ? INT32_MAX : tangent_at(r));
    } else {
        // The vector forms compute the tangent at +90 degrees as well (about
        // -1.18e10, scaled out of the int range), so it gives -2147483648
        // like -90 degrees. Intended.
        ret(reduce_in_place<V, tangent_angle>(tangent_at));
    }
}

// ---- asin, acos -----------------------------------------------------------

// The table is a template argument, as for the waves.
template <const int32_t (&Table)[KAV_ASIN_TAB_SIZE]>
struct Arc {
    const char *name;  // as the script user sees it in the error
    int32_t at(int32_t s) const { return Table[s + 1000]; }
};
constexpr Arc<asin_tab> ARCSINE{"ASIN"};
constexpr Arc<acos_tab> ARCCOSINE{"ACOS"};

// -1000..1000, tested as one unsigned comparison.
bool is_sine_value(int32_t s) { return uint32_t(s) + 1000u <= 2000u; }

// The first component outside -1000..1000 raises error 171 once and ends the
// call: a scalar answers -2147483648, a vector all zeros.
template <class V, class A>
void arc_form(const A &arc) {
    V x = pop<V>();
    for (int i = 0; i < components<V>::count; ++i) {
        int32_t &c = components<V>::at(x, i);
        if (!is_sine_value(c)) {
            raise_domain_error(arc.name, c);
            if constexpr (is_scalar<V>)
                ret(INT_INDEFINITE);
            else
                ret(V{});
            return;
        }
        c = arc.at(c);
    }
    ret(x);
}

// ---- atan, atan2 ----------------------------------------------------------

// The tangent in thousandths to milli-degrees; inline, as tangent_at.
inline int32_t arctangent(int32_t t) {
    // The rule's quotient is extended, rounded to double; for every int the
    // double quotient is that same double (each of the 2^32 checked).
    const double x = double(t) / 1000.0;
    return via_single(std::atan(x), MILLIDEG_PER_RAD);
}

// Only the ratio and the signs of a and b matter; atan2(0, 0) is 0.
int32_t arctangent2(int32_t a, int32_t b) {
    return via_single(std::atan2(double(a), double(b)), MILLIDEG_PER_RAD);
}

}  // namespace

KAV_INT_ROUTINES(KAV_sin, sin, wave_form, SINE)
KAV_INT_ROUTINES(KAV_cos, cos, wave_form, COSINE)
KAV_INT_ROUTINES(KAV_tan, tan, tangent_form)
KAV_INT_ROUTINES(KAV_asin, asin, arc_form, ARCSINE)
KAV_INT_ROUTINES(KAV_acos, acos, arc_form, ARCCOSINE)
KAV_INT_ROUTINES(KAV_atan, atan, unary, arctangent)
KAV_INT_ROUTINES(KAV_atan2, atan2, binary, arctangent2)
