// The script's random numbers: rand(I,I) from the module's multiply-with-carry
// words m_z and m_w; rand(F,F) and rand(D,D) from the system generator;
// rand_seed(I) reseeding all three.
#include <algorithm>
#include <cstdlib>

#include "frame.h"

namespace {

// One multiply-with-carry step of both words; returns the raw 32-bit value.
// Both words are read before either is written: they are exported, so the
// compiler cannot tell that a store to one leaves the other as it was.
uint32_t step() {
    const uint32_t z = 36969u * (m_z & 0xFFFFu) + (m_z >> 16);
    const uint32_t w = 18000u * (m_w & 0xFFFFu) + (m_w >> 16);
    m_z = z;
    m_w = w;
    return (z << 16) + w;
}

// A raw value brought into the limits a and b, in either order.
int32_t within_limits(uint32_t raw, int32_t a, int32_t b) {
    const int32_t lo = std::min(a, b);
    const int32_t hi = std::max(a, b);
    // Limits this wide give the raw value itself, which keeps the span below
    // from wrapping to zero. The cut-off at 2147483640 is intended.
    if (hi > 2147483640 && lo < -2147483640)
        return kav::wrap(raw);
    // The modulo bias of wide spans is accepted.
    const uint32_t span = uint32_t(hi) - uint32_t(lo) + 1u;
    return kav::add(lo, kav::wrap(raw % span));
}

// An int between a and b: the words step on every call, before the limits
// are looked at.
int32_t between(int32_t a, int32_t b) { return within_limits(step(), a, b); }

// The system generator's value scaled by 2^-31 (a single-precision constant)
// into [0, 1), carried at extended precision, to run from a toward b. The
// limits are not ordered.
template <class T>
T between(T a, T b) {
    constexpr float RAND_SCALE = 0x1p-31f;
    const long double unit = static_cast<long double>(std::rand()) * RAND_SCALE;
    const long double from = a;
    return static_cast<T>(from + (static_cast<long double>(b) - from) * unit);
}

template <class T>
void rand_routine() {
    const T b = kav::pop<T>();
    const T a = kav::pop<T>();
    kav::ret(between(a, b));
}

// The signed remainder n % s of a never-negative n. By this module's choice a
// zero divisor leaves n itself (n mod 0 = n) instead of faulting.
int32_t seed_remainder(int32_t n, int32_t s) { return s == 0 ? n : n % s; }

// One seed fixes the sequences of all three rand forms.
int32_t reseed(int32_t s) {
    std::srand(static_cast<unsigned>(s));
    m_z = static_cast<uint32_t>(s);
    m_w = static_cast<uint32_t>(seed_remainder(std::rand(), s));
    return 1;
}

}  // namespace

KAV_ROUTINE(KAV_rand) { rand_routine<int32_t>(); }
KAV_ROUTINE(KAV_randF) { rand_routine<float>(); }
KAV_ROUTINE(KAV_randD) { rand_routine<double>(); }
KAV_ROUTINE(KAV_rand_seed) { kav::ret(reseed(kav::pop<int32_t>())); }
