// The matrix rows walked through the registered table: every row keeps the
// calling rules and answers an absent reference as documented, and the
// regular products agree with a product written here.
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

class Matrix : public ::testing::Test {
public:
    static void SetUpTestSuite() {
        std::string error;
        module = Module::load(KAV_MODULE_PATH, &error);
        ASSERT_NE(module, nullptr) << error;
    }
    static void TearDownTestSuite() { module.reset(); }

    static CallResult call(const Row &row, std::vector<Arg> args) {
        CallResult r = module->call(row, args);
        EXPECT_TRUE(r.violations.empty()) << row.signature << ": " << r.violations.front();
        return r;
    }
};

bool is_matrix_row(const Row &row) {
    return row.name.rfind("mat", 0) == 0 && row.name.rfind("mathlib", 0) != 0;
}

// Each absent reference in turn, the others present: mat_null and
// mat_identity answer 0, mat_eq and mat_ne 0, everything else zeros.
TEST_F(Matrix, AbsentReferencesGiveZerosOrZero) {
    int rows = 0, refs = 0;
    for (const Row &row : module->rows()) {
        if (!is_matrix_row(row)) continue;
        ++rows;
        for (std::size_t absent = 0; absent < row.args.size(); ++absent) {
            if (row.args[absent].kind != Code::Kind::StructRef) continue;
            ++refs;
            std::vector<Value> vars(row.args.size());
            std::vector<Arg> args;
            for (std::size_t j = 0; j < row.args.size(); ++j) {
                const Code &c = row.args[j];
                if (c.kind == Code::Kind::StructRef) {
                    vars[j] = Value::of_struct(c.type, std::vector<unsigned char>(c.type->size, 0x41));
                    args.push_back(j == absent ? Arg::null() : Arg::ref(vars[j]));
                } else {
                    args.push_back(Arg::of(c.kind == Code::Kind::Int      ? Value::of_int(3)
                                           : c.kind == Code::Kind::Float ? Value::of_float(3)
                                                                         : Value::of_double(3)));
                }
            }
            const CallResult r = call(row, args);
            if (row.ret.kind == Code::Kind::Int) {
                EXPECT_EQ(r.result.as_int(), 0) << row.signature;
            } else {
                EXPECT_EQ(r.result.bytes, std::vector<unsigned char>(row.ret.type->size, 0))
                    << row.signature << " with argument " << absent + 1 << " absent";
            }
            for (std::size_t j = 0; j < vars.size(); ++j) {
                if (j != absent && row.args[j].kind == Code::Kind::StructRef) {
                    EXPECT_EQ(vars[j].bytes, std::vector<unsigned char>(vars[j].bytes.size(), 0x41))
                        << row.signature << " wrote through argument " << j + 1;
                }
            }
        }
    }
    EXPECT_EQ(rows, 405);
    // One per constructor group, 27 mat_null, 9 mat_identity; two per
    // element-wise, eq, ne and matrix product; one per neg, transpose and scalar product.
    EXPECT_EQ(refs, 9 + 27 + 9 + 2 * 27 * 5 + 2 * 81 + 27 * 3);
}

// Shape PxQ of a matrix type: "dmat2x3" -> {2, 3}, "mat4" -> {4, 4}.
std::pair<int, int> shape(const Type &t) {
    const std::string s = t.name.substr(t.name.find("mat") + 3);
    return {s[0] - '0', s.back() - '0'};
}

template <class T>
T draw(std::mt19937 &g) {
    if constexpr (std::is_same_v<T, int32_t>) {
        return static_cast<int32_t>(g());
    } else {
        // Mixed signs and magnitudes, so that sums lose bits when rounded early.
        const T mantissa = std::uniform_real_distribution<T>(-1, 1)(g);
        return std::ldexp(mantissa, std::uniform_int_distribution<int>(-30, 30)(g));
    }
}

// r[i*R + j] = sum over k of a[i*Q + k] * b[k*R + j], added in increasing k;
// float sums in long double, int sums wrapping.
template <class T>
std::vector<T> product(const std::vector<T> &a, const std::vector<T> &b, int P, int Q, int R) {
    using W = std::conditional_t<std::is_same_v<T, float>, long double,
                                 std::conditional_t<std::is_same_v<T, double>, double, uint32_t>>;
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
void check_product(const Row &row, std::mt19937 &g) {
    const auto [P, Q] = shape(*row.args[0].type);
    const int R = shape(*row.args[1].type).second;
    std::vector<T> a(P * Q), b(Q * R);
    for (T &x : a) x = draw<T>(g);
    for (T &x : b) x = draw<T>(g);
    auto bytes = [](const std::vector<T> &v) {
        std::vector<unsigned char> out(v.size() * sizeof(T));
        std::memcpy(out.data(), v.data(), out.size());
        return out;
    };
    Value va = Value::of_struct(row.args[0].type, bytes(a));
    Value vb = Value::of_struct(row.args[1].type, bytes(b));
    const CallResult r = Matrix::call(row, {Arg::ref(va), Arg::ref(vb)});
    EXPECT_EQ(r.result.bytes, bytes(product(a, b, P, Q, R))) << row.signature;
}

TEST_F(Matrix, RegularProductsAddRowsOfTheFirstByColumnsOfTheSecond) {
    // The six products with rules of their own, in each element type.
    const std::set<std::string> own_rule = {"2,2", "3,3", "4,4", "2x3,3x2", "3x4,4x3", "4x2,2x3"};
    std::mt19937 g(7);
    int regular = 0;
    for (const Row &row : module->rows()) {
        if (row.name != "mat_mul" || row.args[1].kind != Code::Kind::StructRef) continue;
        const std::string &first = row.args[0].type->name, &second = row.args[1].type->name;
        const auto tail = [](const std::string &n) { return n.substr(n.find("mat") + 3); };
        if (own_rule.count(tail(first) + "," + tail(second))) continue;
        ++regular;
        for (int trial = 0; trial < 20; ++trial) {
            switch (row.args[0].type->elements[0].kind) {
            case Scalar::Int: check_product<int32_t>(row, g); break;
            case Scalar::Float: check_product<float>(row, g); break;
            case Scalar::Double: check_product<double>(row, g); break;
            }
        }
    }
    EXPECT_EQ(regular, 3 * 21);
}

}  // namespace
