// The remainders: fmod over F and D, imod over I.
#include <cmath>
#include <csignal>

#include "forms.h"

namespace {

// The library's double fmod; the float form widens both and rounds once.
struct Fmod {
    double operator()(double x, double y) const { return std::fmod(x, y); }
};

// The truncating remainder, by the processor's own division: a zero divisor
// and -2147483648 / -1 raise its division fault (SIGFPE), as they must. The
// division is done in assembly so that the fault is the machine's and never
// undefined behaviour of the language.
int32_t remainder_by_division(int32_t a, int32_t b) {
#if defined(__i386__) || defined(__x86_64__)
    int32_t remainder;
    __asm__ volatile("cltd\n\tidivl %2" : "+a"(a), "=&d"(remainder) : "rm"(b) : "cc");
    return remainder;
#else
    if (b == 0 || (a == INT32_MIN && b == -1)) {
        std::raise(SIGFPE);
        return 0;
    }
    return a % b;
#endif
}

}  // namespace

KAV_ROUTINE(KAV_fmodF) { kav::binary<float>(Fmod{}); }
KAV_ROUTINE(KAV_fmod) { kav::binary<double>(Fmod{}); }

KAV_ROUTINE(KAV_imod) {
    const int32_t b = kav::pop<int32_t>();
    const int32_t a = kav::pop<int32_t>();
    kav::ret(remainder_by_division(a, b));
}
