// The type script, the expression language and the print format.
#include <gtest/gtest.h>

#include <cstring>

#include "testmod.h"

namespace {

using namespace kav::host;

TEST(TypeScript, SizesAndLayout) {
    std::vector<TypePtr> types;
    std::string error;
    ASSERT_TRUE(parse_type_script(
        "type vec3 float x;float y;float z;end type dmat2 double m[4];end\n"
        "type mix int i;double d[2];float f;end ",
        &types, &error))
        << error;
    ASSERT_EQ(types.size(), 3u);
    EXPECT_EQ(types[0]->size, 12u);
    EXPECT_EQ(types[1]->size, 32u);
    EXPECT_EQ(types[1]->elements.size(), 4u);
    const Type &mix = *types[2];
    EXPECT_EQ(mix.size, 24u);  // packed: no padding before the doubles
    ASSERT_EQ(mix.elements.size(), 4u);
    EXPECT_EQ(mix.elements[1].offset, 4u);
    EXPECT_EQ(mix.elements[3].kind, Scalar::Float);
    EXPECT_EQ(mix.elements[3].offset, 20u);
}

TEST(TypeScript, RejectsMalformedScripts) {
    for (const char *bad : {"type v float x end ", "type v end ", "type v float x[0];end ",
                            "type v long x;end ", "type v float x;", "type 1v int x;end ",
                            "type v int x;end type v int y;end "}) {
        std::vector<TypePtr> types;
        std::string error;
        EXPECT_FALSE(parse_type_script(bad, &types, &error)) << bad;
        EXPECT_NE(error.find("type script"), std::string::npos);
    }
}

std::string eval(Session &s, const char *expr) {
    Outcome o = s.eval(expr);
    return o.error.empty() ? format_value(o.value) : "error: " + o.error;
}

TEST(Overloads, ExactThenLiteralPromotion) {
    Session s(testmod());
    EXPECT_EQ(eval(s, "sub(1, 2)"), "-1");
    EXPECT_EQ(eval(s, "sub(1.5f, 2)"), "-0.5f");
    EXPECT_EQ(eval(s, "sub(2, 1.5)"), "0.5");
    EXPECT_EQ(eval(s, "sub(-2147483648, 1)"), "2147483647");  // wraps in the module
    EXPECT_EQ(eval(s, "scale(2)"),
              "error: ambiguous call scale(I); candidates: scale(F), scale(D)");
    // Only a literal stands for a float: not a constant, not a call result.
    EXPECT_EQ(eval(s, "scale(ONE)"),
              "error: no signature matches scale(I); candidates: scale(F), scale(D)");
    EXPECT_EQ(eval(s, "sub(vec2(1, 2), 1)"),
              "error: no signature matches sub(T(vec2),I); "
              "candidates: sub(I,I), sub(F,F), sub(D,D)");
    EXPECT_EQ(eval(s, "sup(1, 2)"), "error: unknown function 'sup' (did you mean sub?)");
    EXPECT_EQ(eval(s, "halvexx(1)"), "error: unknown function 'halvexx' (did you mean halve?)");
    EXPECT_EQ(eval(s, "halvexxx(1)"), "error: unknown function 'halvexxx'");
    s.variables["name_1"] = Value::of_int(1);
    EXPECT_EQ(eval(s, "name_2"), "error: unknown name 'name_2' (did you mean name_1?)");
    for (int i = 0; i < 1000; ++i)  // none among too many variables
        s.variables["n" + std::to_string(i)] = Value::of_int(i);
    EXPECT_EQ(eval(s, "name_2"), "error: unknown name 'name_2'");
    EXPECT_EQ(eval(s, "swap(v)"), "error: unknown name 'v'");
    EXPECT_EQ(eval(s, "swap(&v)"), "error: unknown variable 'v': assign it first; swap takes TP(vec2) there");
}

// What people type: a struct value for TP(type) goes through a temporary, and
// &e for IP, FP or DP creates e once the row is known.
TEST(Overloads, TemporariesAndCreatedReferences) {
    Session s(testmod());
    EXPECT_EQ(eval(s, "swap(vec2(1, 2))"), "1");
    EXPECT_EQ(eval(s, "v = vec2(1, 2)"), "vec2(1.0, 2.0)");
    EXPECT_EQ(eval(s, "swap(v)"), "1");
    EXPECT_EQ(eval(s, "v"), "vec2(1.0, 2.0)");  // only &v is written
    EXPECT_EQ(eval(s, "frexp(8.0f, &e)"), "0.5f");
    EXPECT_EQ(eval(s, "e"), "4");
    EXPECT_EQ(eval(s, "frexp(v, &n)"),
              "error: unknown variable 'n': assign it first (no frexp row fits these arguments)");
    EXPECT_EQ(eval(s, "n"), "error: unknown name 'n' (did you mean e, v?)");
}

TEST(Expressions, LiteralsConstantsAndStructs) {
    Session s(testmod());
    EXPECT_EQ(eval(s, "-2147483648"), "-2147483648");
    EXPECT_EQ(eval(s, "0xffffffff"), "-1");
    EXPECT_EQ(eval(s, "2147483648"), "error: column 1: int literal out of range");
    EXPECT_EQ(eval(s, "1e39f"), "error: column 1: float literal out of range");
    EXPECT_EQ(eval(s, "-HALF"), "-0.5");
    EXPECT_EQ(eval(s, "f32(0x40490FD8)"), "3.141592f");
    EXPECT_EQ(eval(s, "f64(0x400921FB54442D18)"), "3.141592653589793");
    // Decimal digits are read at the field's precision, not through a double.
    EXPECT_EQ(format_value(s.eval("vec2(0.1, 2)").value, true),
              "vec2(0.1 [0x3dcccccd], 2.0 [0x40000000])");
    EXPECT_EQ(eval(s, "dvec2(0.1f, 1)"), "dvec2(0.1, 1.0)");
    EXPECT_EQ(eval(s, "box(-3, HALF_F, HALF)"), "box(-3, 0.5, 0.5)");
    EXPECT_EQ(eval(s, "ivec2(0.5, 1)"), "error: ivec2 element 1 is int: D does not fit");
    EXPECT_EQ(eval(s, "vec2(1)"), "error: vec2 takes 2 elements, not 1");
    EXPECT_EQ(eval(s, "sub(1,,2)"), "error: column 7: expected a value, found ','");
    EXPECT_EQ(eval(s, "sub(1, 2"), "error: column 9: expected ',' or ')' at the end");
    EXPECT_EQ(eval(s, "ONE = 2"), "error: cannot assign to ONE");
    // A variable never holds null (an FP argument once met one that did).
    EXPECT_EQ(eval(s, "n = null"), "error: null is only an argument, for an absent TP(type) reference");
    EXPECT_EQ(eval(s, "x = sub(4, 1)"), "3");
    EXPECT_EQ(eval(s, "sub(x, x)"), "0");
}

TEST(Printing, Format) {
    struct Case {
        Value v;
        const char *plain, *bits;
    } cases[] = {
        {Value::of_int(INT32_MIN), "-2147483648", "-2147483648"},
        {Value::of_float(0.5f), "0.5f", "0.5f [0x3f000000]"},
        {Value::of_float(1.0f), "1.0f", "1.0f [0x3f800000]"},
        {Value::of_float(-0.0f), "-0.0f", "-0.0f [0x80000000]"},
        {Value::of_float(3.4028235e38f), "3.4028235e+38f", "3.4028235e+38f [0x7f7fffff]"},
        {Value::of_float(-__builtin_inff()), "-inff", "-inff [0xff800000]"},
        {Value::of_double(0.1), "0.1", "0.1 [0x3fb999999999999a]"},
        {Value::of_double(1e300), "1e+300", "1e+300 [0x7e37e43c8800759c]"},
        {Value::of_double(-__builtin_nan("5")), "-nan", "-nan [0xfff8000000000005]"},
    };
    for (const Case &c : cases) {
        EXPECT_EQ(format_value(c.v), c.plain);
        EXPECT_EQ(format_value(c.v, true), c.bits);
    }
    EXPECT_EQ(format_raised({{171, "A\"B", 0, 1, -5}}), " raises 171 \"A\\\"B\" 0 1 -5");
}

// Printing then reading back gives the same bits (any NaN for a NaN).
TEST(Printing, RoundTripsEveryKindOfFloat) {
    Session s(testmod());
    std::vector<uint32_t> floats = {0,          0x80000000, 1,          0x807fffff, 0x00800000,
                                    0x7f7fffff, 0x7f800000, 0xff800000, 0x3dcccccd, 0x7fc00001};
    std::vector<uint64_t> doubles = {0, 0x8000000000000000, 1, 0x000fffffffffffff,
                                     0x7fefffffffffffff, 0xfff0000000000000, 0x3fb999999999999a};
    uint64_t x = 0x9E3779B97F4A7C15;
    for (int i = 0; i < 2000; ++i) {
        x = x * 6364136223846793005u + 1442695040888963407u;
        floats.push_back(static_cast<uint32_t>(x >> 32));
        doubles.push_back(x ^ (x >> 29));
    }
    auto check = [&](Value v) {
        std::string text = format_value(v);
        Outcome back = s.eval(text);
        ASSERT_TRUE(back.ok()) << text << ": " << back.error;
        bool nan = text.find("nan") != std::string::npos;
        if (nan)
            EXPECT_EQ(back.value.bytes.back() & 0x80, v.bytes.back() & 0x80) << text;
        else
            EXPECT_EQ(back.value.bytes, v.bytes) << text;
        EXPECT_EQ(format_value(back.value), text);
    };
    for (uint32_t u : floats) {
        float f;
        std::memcpy(&f, &u, sizeof f);
        check(Value::of_float(f));
        std::vector<unsigned char> b(8);
        std::memcpy(b.data(), &u, 4);
        std::memcpy(b.data() + 4, &u, 4);
        check(Value::of_struct(testmod().type("vec2"), b));
    }
    for (uint64_t u : doubles) {
        double d;
        std::memcpy(&d, &u, sizeof d);
        check(Value::of_double(d));
    }
}

}  // namespace

namespace {

// 255 levels around a value, as documented; what people type at large is
// fuzzed (tests/fuzz/fuzz_input.cpp).
TEST(Expressions, NestingIsBounded) {
    Session s(testmod());
    s.eval("x = 1");
    EXPECT_EQ(eval(s, (std::string(255, '-') + "x").c_str()), "-1");
    EXPECT_EQ(eval(s, (std::string(256, '-') + "x").c_str()), "error: nested too deeply");
    std::string deep;
    for (int i = 0; i < 10000; ++i)
        deep += "sub(1, ";
    EXPECT_EQ(s.eval(deep).error, "nested too deeply");
}

}  // namespace
