// Conversions between ints or floating values and 32-bit fixed point with 8,
// 16 or 24 fraction bits: itofix, fixtoi, ftofix, fixtof, dtofix, fixtod.
#include "forms.h"

namespace {

// The accepted fraction bit counts.
bool accepted(int32_t bits) { return bits == 8 || bits == 16 || bits == 24; }

// The floating conversions scale by the all-ones fraction, 2^n - 1, not by
// 2^n: ftofix(1.0, 8) = 255 while itofix(1, 8) = 256. Intended.
float scale(int32_t bits) {
    switch (bits) {
    case 8: return 255.0f;
    case 16: return 65535.0f;
    default: return 16777215.0f;
    }
}

// Every conversion pops the bit count, then the value; a bit count other than
// 8, 16 or 24 answers the int 0, also from fixtof and fixtod, whose results
// are otherwise floating. Intended.
template <class T, class Convert>
void fixed_form(const Convert &convert) {
    const int32_t bits = kav::pop<int32_t>();
    const T value = kav::pop<T>();
    if (!accepted(bits))
        return kav::ret(int32_t{0});
    kav::ret(convert(value, bits));
}

// The conversions are function objects, so that each routine has its one in
// line (through a function pointer every call made a second, indirect one).

// Shifts in 32 bits: bits shifted out are lost (itofix), the sign is
// extended (fixtoi rounds toward minus infinity).
struct IntToFixed {
    int32_t operator()(int32_t i, int32_t bits) const { return kav::wrap(uint32_t(i) << bits); }
};
struct FixedToInt {
    int32_t operator()(int32_t v, int32_t bits) const { return v >> bits; }
};

// The product at extended precision, truncated by the one conversion.
struct FloatingToFixed {
    template <class T>
    int32_t operator()(T x, int32_t bits) const {
        return kav::to_int(static_cast<long double>(x) * scale(bits));
    }
};

// The quotient in double, rounded once to the result type.
template <class T>
struct FixedToFloating {
    T operator()(int32_t v, int32_t bits) const {
        return static_cast<T>(static_cast<double>(v) / scale(bits));
    }
};

}  // namespace

KAV_ROUTINE(KAV_itofix) { fixed_form<int32_t>(IntToFixed{}); }
KAV_ROUTINE(KAV_fixtoi) { fixed_form<int32_t>(FixedToInt{}); }
KAV_ROUTINE(KAV_ftofix) { fixed_form<float>(FloatingToFixed{}); }
KAV_ROUTINE(KAV_fixtof) { fixed_form<int32_t>(FixedToFloating<float>{}); }
KAV_ROUTINE(KAV_dtofix) { fixed_form<double>(FloatingToFixed{}); }
KAV_ROUTINE(KAV_fixtod) { fixed_form<int32_t>(FixedToFloating<double>{}); }
