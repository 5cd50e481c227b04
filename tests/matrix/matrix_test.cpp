// Every matrix row given absent references; the regular products against a
// product written here.
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

// r[i*R + j] = sum over k of a[i*Q + k] * b[k*R + j], added in increasing k;
// float sums in double, int sums wrapping.
template <class T>
std::vector<T> product(const std::vector<T> &a, const std::vector<T> &b, int P, int Q, int R) {
    using W = std::conditional_t<std::is_same_v<T, int32_t>, uint32_t, double>;
    std::vector<T> r(P * R);
    for (int i = 0; i < P; ++i)
        for (int j = 0; j < R; ++j) {
            W s = W(a[i * Q]) * W(b[j]);
            for (int k = 1; k < Q; ++k) s += W(a[i * Q + k]) * W(b[k * R + j]);
            r[i * R + j] = static_cast<T>(s);
        }
    return r;
}

template <class T>
std::vector<unsigned char> bytes(const std::vector<T> &v) {
    std::vector<unsigned char> out(v.size() * sizeof(T));
    std::memcpy(out.data(), v.data(), out.size());
    return out;
}

template <class T>
void check_product(const Row &row, int P, int Q, int R, std::mt19937 &g) {
    std::vector<T> a(P * Q), b(Q * R);
    for (T &x : a) x = draw<T>(g);
    for (T &x : b) x = draw<T>(g);
    Value va = Value::of_struct(row.args[0].type, bytes(a));
    Value vb = Value::of_struct(row.args[1].type, bytes(b));
    EXPECT_EQ(call(row, {Arg::ref(va), Arg::ref(vb)}).result.bytes, bytes(product(a, b, P, Q, R)))
        << row.signature;
}

TEST_F(Matrix, RegularProductsAddRowsOfTheFirstByColumnsOfTheSecond) {
    // "dmat2x3" -> "2x3"; the six products with rules of their own, in each element type.
    const auto shape = [](const Code &c) { return c.type->name.substr(c.type->name.find("mat") + 3); };
    const std::set<std::string> own_rule = {"2,2", "3,3", "4,4", "2x3,3x2", "3x4,4x3", "4x2,2x3"};
    std::mt19937 g(7);
    int regular = 0;
    for (const Row &row : module->rows()) {
        if (row.name != "mat_mul" || row.args[1].kind != Code::Kind::StructRef) continue;
        const std::string first = shape(row.args[0]), second = shape(row.args[1]);
        if (own_rule.count(first + "," + second)) continue;
        ++regular;
        const int P = first[0] - '0', Q = second[0] - '0', R = second.back() - '0';
        for (int trial = 0; trial < 20; ++trial) {
            switch (row.args[0].type->elements[0].kind) {
            case Scalar::Int: check_product<int32_t>(row, P, Q, R, g); break;
            case Scalar::Float: check_product<float>(row, P, Q, R, g); break;
            case Scalar::Double: check_product<double>(row, P, Q, R, g); break;
            }
        }
    }
    EXPECT_EQ(regular, 3 * 21);
}

}  // namespace
