// Plain readings of the frame's own rows: the angle unit.
#include "plain.h"

PLAIN("mathlib_get_angleunit()") { ret_int(*plain_angle_unit); }

// 0 or 1 (an unsigned test, so negatives are refused) is stored and answers
// 1; anything else leaves the unit and answers -2147483648.
PLAIN("mathlib_set_angleunit(I)") {
    const int32_t u = pop_int();
    if ((uint32_t)u <= 1u) {
        *plain_angle_unit = u;
        ret_int(1);
    } else {
        ret_int(INT32_MIN);
    }
}
