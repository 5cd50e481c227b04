// "near_angle(I,I,I)" against its two adjusting loops run literally in
// wrapping 32-bit arithmetic. A loop's values repeat after 2^26 turns, so one
// that has not ended by then never ends; the module answers target there.
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "kavhost.h"

namespace {

using namespace kav::host;

int32_t module_near_angle(int32_t current, int32_t target, int32_t step) {
    static const std::unique_ptr<Module> m = [] {
        std::string error;
        auto loaded = Module::load(KAV_MODULE_PATH, &error);
        EXPECT_TRUE(loaded) << error;
        return loaded;
    }();
    std::vector<Arg> args{Arg::of(Value::of_int(current)), Arg::of(Value::of_int(target)),
                          Arg::of(Value::of_int(step))};
    return m->call(*m->find("near_angle(I,I,I)"), args).result.as_int();
}

int32_t w(int64_t v) { return static_cast<int32_t>(static_cast<uint32_t>(v)); }

// current after both loops, or nothing when one never ends.
std::optional<int32_t> adjusted(int32_t c, int32_t target) {
    constexpr uint32_t period = 1u << 26;
    const int32_t low = w(int64_t(target) - 180000), high = w(int64_t(target) + 180000);
    uint32_t n = 0;
    for (; c < low; c = w(int64_t(c) + 360000))
        if (++n > period) return {};
    for (n = 0; c > high; c = w(int64_t(c) - 360000))
        if (++n > period) return {};
    return c;
}

int32_t expected(std::optional<int32_t> c, int32_t target, int32_t step) {
    if (!c) return target;
    const int64_t s = w(step < 0 ? -int64_t(step) : step);
    const int32_t next = w(target > *c ? *c + s : *c - s);
    return target > *c ? (next > target ? target : next) : (next < target ? target : next);
}

void check(int32_t current, int32_t target, const std::vector<int32_t> &steps) {
    const std::optional<int32_t> c = adjusted(current, target);
    for (int32_t step : steps)
        ASSERT_EQ(module_near_angle(current, target, step), expected(c, target, step))
            << "near_angle(" << current << ", " << target << ", " << step << ")";
}

const std::vector<int32_t> steps = {0, 1, -1, 5000, 180000, INT32_MAX, INT32_MIN};

TEST(NearAngle, MatchesTheLiteralLoopsAtTheIntLimits) {
    std::vector<int32_t> targets = {0, 180000, -180000, INT32_MIN, INT32_MAX};
    for (int32_t d : {0, 1, 63, 64, 65, 179999, 180000, 180001, 359999}) {
        targets.push_back(w(int64_t(INT32_MIN) + 180000 - d));
        targets.push_back(w(int64_t(INT32_MAX) - 180000 + d));
    }
    const std::vector<int32_t> currents = {INT32_MIN, INT32_MIN + 1, -360001, -1, 0, 1, 359999,
                                           INT32_MAX - 63, INT32_MAX};
    for (int32_t t : targets)
        for (int32_t c : currents) check(c, t, steps);
}

TEST(NearAngle, MatchesTheLiteralLoopsOnARandomSample) {
    std::mt19937 random(20261123);
    std::uniform_int_distribution<int32_t> any(INT32_MIN, INT32_MAX), near(-200000, 200000);
    for (int i = 0; i < 20000; ++i) check(any(random), any(random), {any(random)});
    for (int i = 0; i < 2000; ++i)
        check(any(random), w(int64_t(i % 2 ? INT32_MAX : INT32_MIN) + near(random)), {any(random)});
}

}  // namespace
