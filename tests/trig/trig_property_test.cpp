// The component-wise families walked through the registered table: every
// vector form gives, component by component, what its scalar form gives,
// except where the vector forms are defined otherwise (the integer tan at +90
// degrees, the integer asin/acos error path). Trigonometry and the common
// functions.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "kavhost.h"

namespace {

using namespace kav::host;

const std::set<std::string> trig_groups = {
    "acos", "asin", "atan", "atan2", "cos", "cosh", "degtomil", "degtorad",
    "hypot", "miltodeg", "radtodeg", "sin", "sinh", "tan", "tanh"};

// Their forms that pair a vector with vectors or with scalars. The box and
// length clamps, the 2-D lerpconst and slerp are not component-wise.
const std::set<std::string> common_groups = {
    "abs", "ceil", "clamp", "floor", "fract", "lerp", "max", "mid", "min",
    "normalstep", "round", "roundeven", "smoothstep", "trunc"};

// Their floating forms read the angle unit.
const std::set<std::string> circular_groups = {"acos", "asin", "atan", "atan2",
                                               "cos",  "sin",  "tan"};

// Quadrant and turn boundaries, the sine-value and conversion ranges, the
// ends of the int range; NaN, infinities, zeros of both signs.
const std::vector<int32_t> ints = {
    0, 1, -1, 999, 1000, 1001, -1000, -1001, 1999, -1999, 360, 361, -361, 45000,
    89999, 90000, -90000, 90001, 179999, 180000, -180000, 180001, 270000, -270000,
    270001, 359999, 360000, -360000, 360001, 450000, 123456789, INT32_MAX, INT32_MIN};
const std::vector<double> reals = {
    0.0, -0.0, 0.5, -0.5, 1.0, -1.0, 1.0000001, 2.0, -3.0, 0.7853981633974483,
    1.5707963267948966, 359.5, 360.0, 360.5, -360.5, 1500.0, 45000.0, 90000.0,
    -90000.0, 180000.0, 360000.0, 360000.5, 4.9e-324, 1e10, -1e300, HUGE_VAL,
    -HUGE_VAL, NAN, 3.4e38};

Value pool_value(Scalar kind, std::size_t i) {
    const double r = reals[i % reals.size()];
    switch (kind) {
    case Scalar::Int: return Value::of_int(ints[i % ints.size()]);
    case Scalar::Float: return Value::of_float(static_cast<float>(r));
    default: return Value::of_double(r);
    }
}

Value component(const Value &v, std::size_t i) {
    Value out = pool_value(v.element_kind(i), 0);
    std::memcpy(out.bytes.data(), v.element(i), out.bytes.size());
    return out;
}

Scalar scalar_kind(const Code &code) {
    switch (code.kind) {
    case Code::Kind::Int: return Scalar::Int;
    case Code::Kind::Float: return Scalar::Float;
    case Code::Kind::Double: return Scalar::Double;
    default: return code.type->elements.at(0).kind;
    }
}

// The arguments of a trial: every component drawn from another place of the
// pool, so that one vector mixes edge values.
std::vector<Value> arguments(const Row &row, std::size_t trial) {
    std::vector<Value> args;
    for (std::size_t j = 0; j < row.args.size(); ++j) {
        const Code &code = row.args[j];
        if (code.kind != Code::Kind::Struct) {
            args.push_back(pool_value(scalar_kind(code), trial + 7 * j));
            continue;
        }
        Value v = Value::of_struct(code.type, {});
        for (std::size_t c = 0; c < v.element_count(); ++c) {
            const Value s = pool_value(v.element_kind(c), trial * (c + 1) + 7 * j + 3 * c);
            std::memcpy(v.element(c), s.bytes.data(), s.bytes.size());
        }
        args.push_back(v);
    }
    return args;
}

// "hypot(T(vec2),F)" -> "hypot(F,F)".
std::string scalar_signature(const Row &row) {
    static const char *const codes[] = {"I", "F", "D"};
    std::string s = row.name + "(";
    for (std::size_t j = 0; j < row.args.size(); ++j)
        s += (j ? "," : "") + std::string(codes[static_cast<int>(scalar_kind(row.args[j]))]);
    return s + ")";
}

std::string describe(const Row &row, const std::vector<Value> &args) {
    std::string s = row.signature + " of";
    for (const Value &v : args)
        s += " " + format_value(v, true);
    return s;
}

class Trig : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        std::string error;
        module = Module::load(KAV_MODULE_PATH, &error);
        ASSERT_NE(module, nullptr) << error;
        module->run_init();
    }
    static void TearDownTestSuite() { module.reset(); }

    static CallResult call(const Row &row, const std::vector<Value> &values) {
        std::vector<Arg> args;
        for (const Value &v : values)
            args.push_back(Arg::of(v));
        CallResult r = module->call(row, args);
        EXPECT_TRUE(r.violations.empty()) << row.signature << ": " << r.violations.front();
        return r;
    }

    static void set_unit(int32_t unit) {
        const Row *row = module->find("mathlib_set_angleunit(I)");
        EXPECT_EQ(call(*row, {Value::of_int(unit)}).result.as_int(), 1);
    }

    static void check_against_scalar(const Row &row, const Row &scalar, std::size_t trial);
    static int walk(const std::set<std::string> &groups);

    static inline std::unique_ptr<Module> module;
};

void Trig::check_against_scalar(const Row &row, const Row &scalar, std::size_t trial) {
    const std::vector<Value> args = arguments(row, trial);
    const CallResult whole = call(row, args);
    ASSERT_EQ(whole.result.kind, Value::Kind::Struct) << row.signature;
    std::vector<CallResult> parts;
    for (std::size_t c = 0; c < whole.result.element_count(); ++c) {
        std::vector<Value> scalar_args;
        for (const Value &a : args)
            scalar_args.push_back(a.kind == Value::Kind::Struct ? component(a, c) : a);
        parts.push_back(call(scalar, scalar_args));
    }

    // asin and acos: one error, for the first component out of range, and zeros.
    for (const CallResult &part : parts) {
        if (part.errors.empty())
            continue;
        EXPECT_EQ(whole.errors, part.errors) << describe(row, args);
        const std::vector<unsigned char> zeros(whole.result.bytes.size());
        EXPECT_EQ(whole.result.bytes, zeros) << describe(row, args);
        return;
    }
    EXPECT_TRUE(whole.errors.empty()) << describe(row, args);

    const bool int_tan = row.name == "tan" && scalar_kind(row.args[0]) == Scalar::Int;
    for (std::size_t c = 0; c < parts.size(); ++c) {
        Value want = parts[c].result;
        // +90 degrees: the scalar saturates, the vector gives the int minimum.
        if (int_tan && want.as_int() == INT32_MAX)
            want = Value::of_int(INT32_MIN);
        EXPECT_EQ(format_value(component(whole.result, c), true), format_value(want, true))
            << describe(row, args) << ", component " << c;
    }
}

// The vector rows of the groups that have a scalar form, each checked against it.
int Trig::walk(const std::set<std::string> &groups) {
    int vector_rows = 0;
    for (const Row &row : module->rows()) {
        if (!groups.count(row.name) || row.ret.kind != Code::Kind::Struct)
            continue;
        const Row *scalar = module->find(scalar_signature(row));
        if (!scalar)
            continue;
        ++vector_rows;
        const bool in_unit =
            circular_groups.count(row.name) && scalar_kind(row.args[0]) != Scalar::Int;
        for (int32_t unit : {1, 0}) {
            if (unit == 1 && !in_unit)
                continue;
            set_unit(unit);
            for (std::size_t trial = 0; trial < 3 * ints.size(); ++trial)
                check_against_scalar(row, *scalar, trial);
        }
    }
    return vector_rows;
}

TEST_F(Trig, VectorFormsAgreeWithScalarForms) {
    // Nine families of 12 rows, five of 8 and hypot: their vector rows.
    EXPECT_EQ(walk(trig_groups), 9 * 9 + 5 * 6 + 12);
}

TEST_F(Trig, CommonVectorFormsAgreeWithScalarForms) {
    // abs 9, six roundings of 6, min and max 27 each, mid 9, clamp 9, lerp 6,
    // the two steps 12 each.
    EXPECT_EQ(walk(common_groups), 9 + 6 * 6 + 2 * 27 + 9 + 9 + 6 + 2 * 12);
}

// Scripts can set only 0 and 1, but any unit value other than 1 means
// milli-degrees.
TEST_F(Trig, EveryUnitButRadianMeansMillidegrees) {
    void *handle = dlopen(KAV_MODULE_PATH, RTLD_NOW | RTLD_NOLOAD);
    ASSERT_NE(handle, nullptr);
    auto *unit = static_cast<int32_t *>(dlsym(handle, "math_angle_unit"));
    ASSERT_NE(unit, nullptr);
    for (const Row &row : module->rows()) {
        if (!circular_groups.count(row.name) || scalar_kind(row.args.at(0)) == Scalar::Int)
            continue;
        for (std::size_t trial = 0; trial < reals.size(); ++trial) {
            const std::vector<Value> args = arguments(row, trial);
            *unit = 0;
            const std::string want = format_value(call(row, args).result, true);
            for (int32_t odd : {2, -1, INT32_MIN}) {
                *unit = odd;
                EXPECT_EQ(format_value(call(row, args).result, true), want)
                    << describe(row, args) << " in unit " << odd;
            }
        }
    }
    *unit = 0;
    dlclose(handle);
}

}  // namespace
