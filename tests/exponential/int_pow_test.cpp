// "pow(I,I)" against independent computations: a plain loop of wrapping
// multiplications for small exponents, the group structure of the odd
// numbers modulo 2^32 for huge ones.
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "kavhost.h"

namespace {

int32_t module_pow(int32_t base, int32_t exponent) {
    static const std::unique_ptr<kav::host::Module> m = [] {
        std::string error;
        auto loaded = kav::host::Module::load(KAV_MODULE_PATH, &error);
        EXPECT_TRUE(loaded) << error;
        return loaded;
    }();
    std::vector<kav::host::Arg> args{kav::host::Arg::of(kav::host::Value::of_int(base)),
                                     kav::host::Arg::of(kav::host::Value::of_int(exponent))};
    const kav::host::CallResult r = m->call(*m->find("pow(I,I)"), args);
    EXPECT_TRUE(r.violations.empty());
    return r.result.as_int();
}

// base multiplied into itself e - 1 times, modulo 2^32.
uint32_t repeated_product(uint32_t base, uint32_t e) {
    uint32_t p = base;
    for (uint32_t i = 1; i < e; ++i)
        p *= base;
    return p;
}

const int32_t bases[] = {0, 1, -1, 2, -2, 3, -3, 7, 10, 255, -65536, 65537, 123456789,
                         INT32_MAX, INT32_MIN};

TEST(IntPow, MatchesRepeatedMultiplicationForSmallExponents) {
    for (int32_t b : bases)
        for (int32_t e = 1; e <= 70; ++e)
            EXPECT_EQ(static_cast<uint32_t>(module_pow(b, e)), repeated_product(b, e))
                << b << "^" << e;
}

TEST(IntPow, ZeroAndNegativeExponents) {
    for (int32_t b : bases) {
        EXPECT_EQ(module_pow(b, 0), 1) << b;
        for (int32_t e : {-1, -2, -31, INT32_MIN})
            EXPECT_EQ(module_pow(b, e), 0) << b << "^" << e;
    }
}

// Odd numbers modulo 2^32 form a group of exponent 2^30, so an odd base's
// power depends only on the exponent modulo 2^30; the answer arrives at once
// even for the largest exponents.
TEST(IntPow, HugeExponentsOfOddBasesRepeatWithPeriod2To30) {
    for (int32_t b : bases) {
        if (b % 2 == 0)
            continue;
        for (int32_t r = 1; r <= 20; ++r)
            EXPECT_EQ(static_cast<uint32_t>(module_pow(b, (1 << 30) + r)), repeated_product(b, r))
                << b << "^(2^30+" << r << ")";
        // b^(2^31 - 1) is b's inverse.
        EXPECT_EQ(static_cast<uint32_t>(module_pow(b, INT32_MAX)) * static_cast<uint32_t>(b), 1u)
            << b;
    }
    EXPECT_EQ(module_pow(3, INT32_MAX), -1431655765);
}

// An even base has 32 factors of two by the 32nd power.
TEST(IntPow, EvenBasesVanishFromThe32ndPower) {
    for (int32_t b : bases) {
        if (b % 2 != 0)
            continue;
        for (int32_t e : {32, 33, 1000, INT32_MAX})
            EXPECT_EQ(module_pow(b, e), 0) << b << "^" << e;
    }
}

}  // namespace
