// Every matrix row given absent references; the regular products and the
// squares against products written here.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "kavhost.h"

namespace {

using namespace kav::host;

std::unique_ptr<Module> module;

CallResult call(const Row &row, std::vector<Arg> args) {
    CallResult r = module->call(row, args);
    EXPECT_TRUE(r.violations.empty()) << row.signature << ": " << r.violations.front();
    return r;
}

class Matrix : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        std::string error;
        module = Module::load(KAV_MODULE_PATH, &error);
        ASSERT_NE(module, nullptr) << error;
    }
    static void TearDownTestSuite() { module.reset(); }
};

// Each reference absent in turn: mat_null, mat_identity, mat_eq and mat_ne
// answer 0, every other row zeros of its full size (+0: the present operands
// are negative, so a product computed with a missing one would give -0).
TEST_F(Matrix, AbsentReferencesGiveZeros) {
    int rows = 0, refs = 0;
    for (const Row &row : module->rows()) {
        if (row.name.rfind("mat", 0) != 0 || row.name.rfind("mathlib", 0) == 0) continue;
        ++rows;
        for (std::size_t absent = 0; absent < row.args.size(); ++absent) {
            if (row.args[absent].kind != Code::Kind::StructRef) continue;
            ++refs;
            std::vector<Value> vars;
            vars.reserve(row.args.size());  // the references point into it
            std::vector<Arg> args;
            for (const Code &c : row.args) {
                if (c.kind == Code::Kind::StructRef)
                    vars.push_back(Value::of_struct(c.type, std::vector<unsigned char>(c.type->size, 0xC1)));
                else  // the scalar of a scalar product: 3 as I, F or D
                    vars.push_back(c.kind == Code::Kind::Int     ? Value::of_int(3)
                                   : c.kind == Code::Kind::Float ? Value::of_float(3)
                                                                 : Value::of_double(3));
                args.push_back(c.kind != Code::Kind::StructRef ? Arg::of(vars.back())
                               : args.size() == absent         ? Arg::null()
                                                               : Arg::ref(vars.back()));
            }
            const CallResult r = call(row, args);
            const std::size_t size = row.ret.kind == Code::Kind::Int ? 4 : row.ret.type->size;
            EXPECT_EQ(r.result.bytes, std::vector<unsigned char>(size, 0))
                << row.signature << " with argument " << absent + 1 << " absent";
        }
    }
    EXPECT_EQ(rows, 405);
    // Copy, null, identity; 2 per add/sub/compmult/eq/ne and product; neg, transpose, scalar.
    EXPECT_EQ(refs, 9 + 27 + 9 + 2 * 27 * 5 + 2 * 81 + 27 * 3);
}

template <class T>
T draw(std::mt19937 &g) {
    if constexpr (std::is_same_v<T, int32_t>)
        return static_cast<int32_t>(g());
    else  // mixed signs and magnitudes, so that sums lose bits when rounded early
        return std::ldexp(std::uniform_real_distribution<T>(-1, 1)(g),
                          std::uniform_int_distribution<int>(-30, 30)(g));
}

// Float sums in double, int sums wrapping.
template <class T>
using working_t = std::conditional_t<std::is_same_v<T, int32_t>, uint32_t, double>;

// r[i*R + j] = sum over k of a[i*Q + k] * b[k*R + j], added in increasing k.
template <class T>
std::vector<T> product(const std::vector<T> &a, const std::vector<T> &b, int P, int Q, int R) {
    using W = working_t<T>;
    std::vector<T> r(P * R);
    for (int i = 0; i < P; ++i)
        for (int j = 0; j < R; ++j) {
            W s = W(a[i * Q]) * W(b[j]);
            for (int k = 1; k < Q; ++k) s += W(a[i * Q + k]) * W(b[k * R + j]);
            r[i * R + j] = static_cast<T>(s);
        }
    return r;
}

// The squares: r[i*N + j] = sum over k of a[k*N + i] * b[j*N + k], added in
// increasing k; stored at r[j*N + i] instead when transposed (mat4).
template <class T>
std::vector<T> square(const std::vector<T> &a, const std::vector<T> &b, int N, bool transposed) {
    using W = working_t<T>;
    std::vector<T> r(N * N);
    for (int i = 0; i < N; ++i)
        for (int j = 0; j < N; ++j) {
            W s = W(a[i]) * W(b[j * N]);
            for (int k = 1; k < N; ++k) s += W(a[k * N + i]) * W(b[j * N + k]);
            r[transposed ? j * N + i : i * N + j] = static_cast<T>(s);
        }
    return r;
}

template <class T>
std::vector<unsigned char> bytes(const std::vector<T> &v) {
    std::vector<unsigned char> out(v.size() * sizeof(T));
    std::memcpy(out.data(), v.data(), out.size());
    return out;
}

// 20 calls of a product row with drawn operands of its element type, each
// against what expected(a, b) gives.
template <class Expected>
void check_products(const Row &row, std::mt19937 &g, const Expected &expected) {
    const auto check = [&]<class T>(T) {
        const auto count = [&](int arg) { return row.args[arg].type->size / sizeof(T); };
        for (int trial = 0; trial < 20; ++trial) {
            std::vector<T> a(count(0)), b(count(1));
            for (T &x : a) x = draw<T>(g);
            for (T &x : b) x = draw<T>(g);
            Value va = Value::of_struct(row.args[0].type, bytes(a));
            Value vb = Value::of_struct(row.args[1].type, bytes(b));
            EXPECT_EQ(call(row, {Arg::ref(va), Arg::ref(vb)}).result.bytes, bytes(expected(a, b)))
                << row.signature;
        }
    };
    switch (row.args[0].type->elements[0].kind) {
    case Scalar::Int: check(int32_t{}); break;
    case Scalar::Float: check(float{}); break;
    case Scalar::Double: check(double{}); break;
    }
}

// "dmat2x3" -> "2x3"
std::string shape(const Code &c) { return c.type->name.substr(c.type->name.find("mat") + 3); }

bool matrix_product(const Row &row) { return row.name == "mat_mul" && row.args[1].kind == Code::Kind::StructRef; }

TEST_F(Matrix, RegularProductsAddRowsOfTheFirstByColumnsOfTheSecond) {
    // The six products with rules of their own, in each element type.
    const std::set<std::string> own_rule = {"2,2", "3,3", "4,4", "2x3,3x2", "3x4,4x3", "4x2,2x3"};
    std::mt19937 g(7);
    int regular = 0;
    for (const Row &row : module->rows()) {
        if (!matrix_product(row)) continue;
        const std::string first = shape(row.args[0]), second = shape(row.args[1]);
        if (own_rule.count(first + "," + second)) continue;
        ++regular;
        const int P = first[0] - '0', Q = second[0] - '0', R = second.back() - '0';
        check_products(row, g, [&](const auto &a, const auto &b) { return product(a, b, P, Q, R); });
    }
    EXPECT_EQ(regular, 3 * 21);
}

// mat2x3 times mat3x2 is the mat2 square of the first four elements of each.
TEST_F(Matrix, SquaresAddColumnsOfTheFirstByRowsOfTheSecond) {
    std::mt19937 g(8);
    int squares = 0;
    for (const Row &row : module->rows()) {
        if (!matrix_product(row)) continue;
        const std::string shapes = shape(row.args[0]) + "," + shape(row.args[1]);
        const int N = shapes == "2x3,3x2" ? 2 : shapes[0] - '0';
        if (shapes != "2x3,3x2" && shapes != "2,2" && shapes != "3,3" && shapes != "4,4") continue;
        ++squares;
        check_products(row, g, [&](const auto &a, const auto &b) { return square(a, b, N, N == 4); });
    }
    EXPECT_EQ(squares, 3 * 4);
}

}  // namespace
