// The deterministic call corpus: argument values per row and call index.
#include "corpus.h"

#include <bit>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>

namespace kav::host {

namespace {

// splitmix64: a stateless mix, so every value depends only on its inputs.
uint64_t mix(uint64_t x) {
    x += 0x9E3779B97F4A7C15u;
    x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9u;
    x = (x ^ (x >> 27)) * 0x94D049BB133111EBu;
    return x ^ (x >> 31);
}

uint64_t hash(const std::string &s) {
    uint64_t h = 0xCBF29CE484222325u;  // FNV-1a
    for (unsigned char c : s) h = (h ^ c) * 0x100000001B3u;
    return h;
}

class Draw {
public:
    explicit Draw(uint64_t state) : state_(state) {}
    uint64_t next() { return state_ = mix(state_); }
    uint64_t below(uint64_t n) { return next() % n; }
    double unit() { return static_cast<double>(next() >> 11) * 0x1p-53; }  // [0, 1)
    double between(double lo, double hi) { return lo + (hi - lo) * unit(); }

private:
    uint64_t state_;
};

const int32_t int_specials[] = {
    0, 1, -1, 2, -2, 3, 7, 8, 16, 24, 31, 32, 255, 256, 1000, -1000, 1001, -1001, 30000,
    45000, 45999, 46000, 46340, 46341, 60000, 90000, -90000, 180000, -180000, 270000, 360000,
    65535, 65536, 16777215, 2147303649, -2147303649, INT_MAX, INT_MAX - 1, INT_MIN, INT_MIN + 1};

template <class T>
struct FloatSpecials {
    static constexpr T values[] = {
        T(0), -T(0), T(1), -T(1), T(0.5), -T(0.5), T(2), T(3), T(2.5), T(10), T(100), T(1000),
        T(90000), T(180000), T(3.14159265358979323846), T(1.57079632679489661923), T(1e-3),
        std::numeric_limits<T>::denorm_min(), std::numeric_limits<T>::min() / T(3),
        std::numeric_limits<T>::min(), std::numeric_limits<T>::max(), -std::numeric_limits<T>::max(),
        std::numeric_limits<T>::infinity(), -std::numeric_limits<T>::infinity(),
        std::numeric_limits<T>::quiet_NaN(), -std::numeric_limits<T>::quiet_NaN(),
        std::numeric_limits<T>::signaling_NaN(), T(16777216), T(2147483648.0), T(-2147483649.0),
        T(0.49999997), T(-0.49999997)};
};

// The family of values one argument is drawn from.
enum class Family { Special, Small, Unit, Angle, Wide, Bits, Count };

int32_t draw_int(Draw &d, Family f) {
    switch (f) {
    case Family::Special: return int_specials[d.below(std::size(int_specials))];
    case Family::Small: return static_cast<int32_t>(d.below(21)) - 10;
    case Family::Unit: return static_cast<int32_t>(d.below(2201)) - 1100;
    case Family::Angle: return static_cast<int32_t>(d.below(800001)) - 400000;
    default: return static_cast<int32_t>(static_cast<uint32_t>(d.next()));
    }
}

template <class T, class Bits>
T draw_floating(Draw &d, Family f) {
    switch (f) {
    case Family::Special: {
        const auto &v = FloatSpecials<T>::values;
        return v[d.below(std::size(v))];
    }
    case Family::Small: return static_cast<T>(static_cast<double>(d.below(129)) / 16 - 4);
    case Family::Unit: return static_cast<T>(d.between(-1.5, 1.5));
    case Family::Angle:
        return static_cast<T>(d.below(2) ? d.between(-400000, 400000) : d.between(-7, 7));
    case Family::Wide:
        return static_cast<T>((d.below(2) ? 1 : -1) * std::ldexp(1 + d.unit(), static_cast<int>(d.below(61)) - 30));
    default: return std::bit_cast<T>(static_cast<Bits>(d.next()));
    }
}

void fill(Value &v, Draw &d) {
    const Family f = static_cast<Family>(d.below(static_cast<uint64_t>(Family::Count)));
    for (std::size_t i = 0; i < v.element_count(); ++i) {
        unsigned char *p = v.element(i);
        switch (v.element_kind(i)) {
        case Scalar::Int: {
            const int32_t x = draw_int(d, f);
            std::memcpy(p, &x, sizeof x);
            break;
        }
        case Scalar::Float: {
            const float x = draw_floating<float, uint32_t>(d, f);
            std::memcpy(p, &x, sizeof x);
            break;
        }
        case Scalar::Double: {
            const double x = draw_floating<double, uint64_t>(d, f);
            std::memcpy(p, &x, sizeof x);
            break;
        }
        }
    }
}

Value empty_value(const Code &c) {
    switch (c.kind) {
    case Code::Kind::Int: case Code::Kind::IntRef: return Value::of_int(0);
    case Code::Kind::Float: case Code::Kind::FloatRef: return Value::of_float(0);
    case Code::Kind::Double: case Code::Kind::DoubleRef: return Value::of_double(0);
    default: return Value::of_struct(c.type, {});
    }
}

}  // namespace

CorpusCall corpus_call(const Row &row, uint64_t seed, uint64_t index) {
    Draw d(mix(seed ^ mix(hash(row.signature) ^ mix(index))));
    CorpusCall call;
    for (const Code &c : row.args) {
        call.values.push_back(empty_value(c));
        fill(call.values.back(), d);
        call.absent.push_back(c.kind == Code::Kind::StructRef && d.below(16) == 0);
    }
    call.angle_unit = static_cast<int32_t>(index & 1);
    call.seed = static_cast<int32_t>(static_cast<uint32_t>(d.next()));
    return call;
}

std::vector<Arg> CorpusCall::args(const Row &row) {
    std::vector<Arg> out;
    for (std::size_t i = 0; i < row.args.size(); ++i) {
        switch (row.args[i].kind) {
        case Code::Kind::Int: case Code::Kind::Float: case Code::Kind::Double:
            out.push_back(Arg::of(values[i]));
            break;
        case Code::Kind::Struct:  // written-back fields land in the value
            out.push_back(Arg::from_variable(values[i]));
            break;
        default:
            out.push_back(absent[i] ? Arg::null() : Arg::ref(values[i]));
        }
    }
    return out;
}

bool faults_by_design(const Row &row, const std::vector<Value> &values) {
    if (row.name != "imod" || values.size() != 2 || values[1].kind != Value::Kind::Int)
        return false;
    const int32_t a = values[0].as_int(), b = values[1].as_int();
    return b == 0 || (a == INT_MIN && b == -1);
}

bool run_corpus_call(Module &module, const Row &row, CorpusCall &call, CallResult *out) {
    if (faults_by_design(row, call.values))
        return false;
    for (auto [signature, value] : {std::pair{"mathlib_set_angleunit(I)", call.angle_unit},
                                    std::pair{"rand_seed(I)", call.seed}}) {
        if (const Row *set = module.find(signature)) {
            std::vector<Arg> a{Arg::of(Value::of_int(value))};
            module.call(*set, a);
        }
    }
    std::vector<Arg> args = call.args(row);
    *out = module.call(row, args);
    return true;
}

std::vector<unsigned char> encode_call(std::size_t row_index, const CorpusCall &call) {
    std::vector<unsigned char> out{static_cast<unsigned char>(row_index),
                                   static_cast<unsigned char>(row_index >> 8),
                                   static_cast<unsigned char>(call.angle_unit & 1)};
    for (std::size_t i = 0; i < call.absent.size() && i < 7; ++i)
        if (call.absent[i]) out[2] |= static_cast<unsigned char>(2u << i);
    for (const Value &v : call.values) out.insert(out.end(), v.bytes.begin(), v.bytes.end());
    return out;
}

const Row *decode_call(const Module &module, const unsigned char *data, std::size_t size,
                       CorpusCall *call) {
    const auto &rows = module.rows();
    if (rows.empty())
        return nullptr;
    auto byte = [&](std::size_t i) -> unsigned char { return i < size ? data[i] : 0; };
    const Row &row = rows[(byte(0) | byte(1) << 8) % rows.size()];
    const unsigned char flags = byte(2);
    *call = CorpusCall{};
    call->angle_unit = flags & 1;
    std::size_t at = 3;
    for (std::size_t i = 0; i < row.args.size(); ++i) {
        Value v = empty_value(row.args[i]);
        for (unsigned char &b : v.bytes) b = byte(at++);
        call->values.push_back(std::move(v));
        call->absent.push_back(row.args[i].kind == Code::Kind::StructRef && i < 7 &&
                               (flags >> (i + 1) & 1));
    }
    return &row;
}

std::string value_bits(const Value &v) {
    if (v.kind == Value::Kind::None)
        return "-";
    std::string out;
    char buf[24];
    for (std::size_t i = 0; i < v.element_count(); ++i) {
        const unsigned char *p = v.element(i);
        if (v.element_kind(i) == Scalar::Double) {
            uint64_t x;
            std::memcpy(&x, p, sizeof x);
            std::snprintf(buf, sizeof buf, "d:%016llx", static_cast<unsigned long long>(x));
        } else {
            uint32_t x;
            std::memcpy(&x, p, sizeof x);
            std::snprintf(buf, sizeof buf, "%c:%08x", v.element_kind(i) == Scalar::Int ? 'i' : 'f', x);
        }
        if (!out.empty()) out += ' ';
        out += buf;
    }
    return out;
}

}  // namespace kav::host
