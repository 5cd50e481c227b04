#include "cases.h"

namespace kav::bench {

const std::vector<Case> &cases() {
    // Vector angles are already reduced: the routines write the reduced
    // angles back, and every call should see the same input.
    static const std::vector<Case> list = {
        {"sin(I)", "", {I(30000)}, 0, 0, true},
        {"sin(T(ivec4))", "", {T({30000, 120000, 200000, 300000})}, 0, 0, true},
        {"sin(F)", "millidegree", {F(30000.0f)}, 0, 0, true},
        {"sin(F)", "radian", {F(0.5f)}, 1, 0, false},
        {"sin(D)", "", {D(30000.0)}, 0, 0, false},
        {"acos(I)", "in_range", {I(500)}, 0, 0, false},
        {"acos(I)", "error", {I(1001)}, 0, 1, true},
        {"tan(T(ivec4))", "", {T({30000, -45000, 60000, 170000})}, 0, 0, false},
        {"atan2(T(dvec4),T(dvec4))", "",
         {T({1.0, -1.0, 0.5, -2.0}), T({2.0, -1.0, -0.5, 3.0})}, 0, 0, true},
        {"pow(I,I)", "10", {I(3), I(10)}, 0, 0, true},
        {"pow(I,I)", "2147483647", {I(3), I(2147483647)}, 0, 0, false},
        {"pow(T(vec4),T(vec4))", "",
         {T({1.5f, 2.0f, 0.5f, 3.0f}), T({2.0f, 0.5f, 3.0f, -1.0f})}, 0, 0, false},
        {"log(T(vec4),F)", "", {T({8.0f, 100.0f, 0.5f, 3.0f}), F(2.0f)}, 0, 0, false},
        {"sqrt(I)", "", {I(2000000)}, 0, 0, false},
        {"rand(I,I)", "", {I(1), I(6)}, 0, 0, false},
        {"rand(F,F)", "", {F(0.0f), F(1.0f)}, 0, 0, false},
        {"exp(T(dvec4))", "", {T({0.5, 1.0, -2.0, 3.0})}, 0, 0, false},
        {"mathlib_get_angleunit()", "", {}, 0, 0, true},
    };
    return list;
}

}  // namespace kav::bench
