// Plain readings of the trigonometry: integer, floating, angle conversions.
#include "plain.h"

// Radians as the library gives them, or milli-degrees: times 180000, then
// divided by pi (the double 3.141592653589793), at extended precision,
// rounded once.
PLAIN("atan(D)") {
    const double x = pop_double();
    const double a = atan(x);
    if (*plain_angle_unit == 1)
        ret_double(a);
    else
        ret_double((double)((long double)a * 180000.0L / 3.141592653589793));
}
