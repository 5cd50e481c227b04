// Initialisation: the random seeds, the integer trigonometry tables and the
// angle unit; and the two script functions that read and set the unit.
#include <cmath>
#include <cstdlib>
#include <ctime>

#include "frame.h"

extern "C" {
int32_t sin_tab[KAV_SIN_TAB_SIZE];
int32_t cos_tab[KAV_SIN_TAB_SIZE];
int32_t asin_tab[KAV_ASIN_TAB_SIZE];
int32_t acos_tab[KAV_ASIN_TAB_SIZE];
int32_t math_angle_unit = kav::DEGREE_UNIT;
uint32_t m_z = 362436069;
uint32_t m_w = 521288629;
}

namespace {

// rand() % 0x7FFFFFFF: a signed remainder of a never-negative value.
uint32_t seed_word() { return static_cast<uint32_t>(std::rand() % 2147483647); }

// Every entry is truncated, so cos_tab holds 1000 only at 0 and sin_tab
// reaches 1000 only at 90000, where it is set explicitly.
void fill_sine_tables() {
    sin_tab[0] = 0;
    cos_tab[0] = 1000;
    for (int32_t i = 1; i < KAV_QUARTER_TURN; ++i) {
        // The quotient is formed at extended precision, then rounded to double.
        const double x = static_cast<double>(static_cast<long double>(i) / kav::MILLIDEG_PER_RAD);
        double s, c;
        sincos(x, &s, &c);
        // A double times 1000 is exact at extended precision: no rounding
        // before the truncation.
        sin_tab[i] = kav::to_int(static_cast<long double>(s) * 1000.0L);
        cos_tab[i] = kav::to_int(static_cast<long double>(c) * 1000.0L);
    }
    sin_tab[KAV_QUARTER_TURN] = 1000;
    cos_tab[KAV_QUARTER_TURN] = 0;
}

// The library result is rounded to single before scaling; that moves some
// entries by one and is part of the tables' values.
int32_t millidegrees_via_single(double radians) {
    return kav::to_int(static_cast<long double>(static_cast<float>(radians)) *
                       kav::MILLIDEG_PER_RAD);
}

void fill_arcsine_tables() {
    for (int32_t x = -1000; x <= 1000; ++x) {
        const double v = x / 1000.0;
        asin_tab[x + 1000] = millidegrees_via_single(std::asin(v));
        acos_tab[x + 1000] = millidegrees_via_single(std::acos(v));
    }
}

}  // namespace

extern "C" void KAV_mod_math_init(void) {
    std::srand(static_cast<unsigned>(std::time(nullptr)));
    m_z = seed_word();
    m_w = seed_word();
    fill_sine_tables();
    fill_arcsine_tables();
    math_angle_unit = kav::DEGREE_UNIT;
}

KAV_ROUTINE(KAV_mathlib_get_angleunit) { kav::ret(math_angle_unit); }

KAV_ROUTINE(KAV_mathlib_set_angleunit) {
    const int32_t unit = kav::pop<int32_t>();
    // One unsigned test: every negative value is rejected too.
    if (static_cast<uint32_t>(unit) <= kav::RADIAN_UNIT) {
        math_angle_unit = unit;
        kav::ret(int32_t{1});
    } else {
        kav::ret(kav::INT_INDEFINITE);
    }
}
