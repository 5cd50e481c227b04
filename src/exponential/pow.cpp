// pow over ints, floats, doubles and their vectors.
#include <cmath>

#include "frame/componentwise.h"

namespace {

// Base to the exponent in double; the float forms widen both.
struct Pow {
    double operator()(double base, double exponent) const { return std::pow(base, exponent); }
};

// Integer power: e - 1 wrapping multiplications of b by itself. Wrapping
// multiplication is associative, so squaring gives the same value in
// log2(e) steps.
struct IntPow {
    int32_t operator()(int32_t b, int32_t e) const {
        // A negative exponent gives 0 for every base, 1 and -1 included:
        // intended.
        if (e < 0)
            return 0;
        int32_t result = 1;
        for (int32_t square = b; e != 0; e >>= 1, square = kav::mul(square, square))
            if (e & 1)
                result = kav::mul(result, square);
        return result;
    }
};

}  // namespace

KAV_ROUTINE(KAV_pow) { kav::binary<int32_t>(IntPow{}); }

// The int exponent converted to double.
KAV_ROUTINE(KAV_powDI) { kav::binary<double, int32_t>(Pow{}); }

// The (dvecN,D) routines are also what the table binds to "pow" of a float
// vector and a double: they read that argument as a dvecN and return one.
// Intended.
KAV_FLOATING_ROUTINES(pow, kav::binary, Pow{})
KAV_VECTOR_SCALAR_ROUTINES(pow, kav::binary, Pow{})
