// Conformance vectors: .kvt files of "EXPR => EXPECTED" cases and steps.
#include <sys/stat.h>

#include <cerrno>
#include <cmath>
#include <cstring>
#include <fstream>

#include "internal.h"
#include "script.h"

namespace kav::host {

namespace {

// Distance in representable values; +0 and -0 are one place.
template <class Bits>
Bits ulp_distance(Bits a, Bits b) {
    constexpr Bits sign = Bits(1) << (sizeof(Bits) * 8 - 1);
    Bits ma = a & ~sign, mb = b & ~sign;
    if ((a ^ b) & sign)
        return ma + mb;
    return ma > mb ? ma - mb : mb - ma;
}

template <class T, class Bits>
bool close_enough(const unsigned char *want, const unsigned char *got, const Expectation &e) {
    T a, b;
    Bits ua, ub;
    std::memcpy(&a, want, sizeof a);
    std::memcpy(&b, got, sizeof b);
    std::memcpy(&ua, want, sizeof ua);
    std::memcpy(&ub, got, sizeof ub);
    if (std::isnan(a) || std::isnan(b))
        return std::isnan(a) && std::isnan(b);
    switch (e.tolerance) {
    case Expectation::Tolerance::Exact:
        return ua == ub;
    case Expectation::Tolerance::Ulp:
        return static_cast<double>(ulp_distance(ua, ub)) <= e.within;
    case Expectation::Tolerance::Absolute:
        return a == b || std::fabs(static_cast<double>(a) - static_cast<double>(b)) <= e.within;
    }
    return false;
}

std::string_view trim(std::string_view s) {
    while (!s.empty() && std::strchr(" \t\r\n", s.front()))
        s.remove_prefix(1);
    while (!s.empty() && std::strchr(" \t\r\n", s.back()))
        s.remove_suffix(1);
    return s;
}

// Names a kind mismatch, or the distance in ulps of a one-number near miss.
std::string mismatch_note(const Value &want, const Value &got) {
    if (want.kind != got.kind || want.bytes.size() != got.bytes.size() ||
        (want.kind == Value::Kind::Struct && want.type->name != got.type->name))
        return " (a different kind of value)";
    if (want.element_count() != 1 || want.element_kind(0) == Scalar::Int)
        return "";
    uint64_t d;
    if (want.element_kind(0) == Scalar::Float) {
        uint32_t a, b;
        std::memcpy(&a, want.element(0), 4);
        std::memcpy(&b, got.element(0), 4);
        d = ulp_distance(a, b);
    } else {
        uint64_t a, b;
        std::memcpy(&a, want.element(0), 8);
        std::memcpy(&b, got.element(0), 8);
        d = ulp_distance(a, b);
    }
    return d != 0 && d < 1000000 ? " (" + std::to_string(d) + " ulp away)" : "";
}

}  // namespace

bool matches(const Expectation &expected, const Value &got,
             const std::vector<RaisedError> &raised) {
    const Value &want = expected.value;
    if (raised != expected.raised || want.kind != got.kind || want.bytes.size() != got.bytes.size())
        return false;
    if (want.kind == Value::Kind::Struct && want.type->name != got.type->name)
        return false;
    for (std::size_t i = 0; i < want.element_count(); ++i) {
        const unsigned char *a = want.element(i), *b = got.element(i);
        bool ok = false;
        switch (want.element_kind(i)) {
        case Scalar::Int: ok = std::memcmp(a, b, 4) == 0; break;
        case Scalar::Float: ok = close_enough<float, uint32_t>(a, b, expected); break;
        case Scalar::Double: ok = close_enough<double, uint64_t>(a, b, expected); break;
        }
        if (!ok)
            return false;
    }
    return true;
}

void check_file(Module &module, const std::string &path, bool bits, CheckReport *report) {
    auto fail = [&](const std::string &where, const std::string &what) {
        ++report->failed;
        report->failures.push_back(printable(where + ": " + what));  // a file's control bytes too
    };
    struct stat st {};
    if (stat(path.c_str(), &st) != 0) {
        fail(path, std::string("cannot open: ") + std::strerror(errno));
        return;
    }
    if (S_ISDIR(st.st_mode)) {
        fail(path, "is a directory");
        return;
    }
    std::ifstream in(path);
    if (!in) {
        fail(path, std::string("cannot open: ") + std::strerror(errno));
        return;
    }
    int cases = 0;
    // Every file starts afresh: no variables, the module's init run again.
    Session session(module);
    CallResult init = session.reset();
    for (const std::string &v : init.violations)
        fail(path, "init: " + v);

    std::string text;
    for (int number = 1; std::getline(in, text); ++number) {
        std::string_view line = trim(text);
        if (line.empty() || line.front() == '#')
            continue;
        std::size_t arrow = line.find("=>");
        std::string expr(trim(line.substr(0, arrow)));
        std::string where = path + ":" + std::to_string(number) + ": " + expr;
        ++cases;

        Outcome got = session.eval(expr);
        if (!got.error.empty()) {
            fail(where, got.error);
            continue;
        }
        if (!got.violations.empty()) {
            std::string all;
            for (const std::string &v : got.violations)
                all += (all.empty() ? "" : "; ") + v;
            fail(where, all);
            continue;
        }
        if (arrow != std::string_view::npos) {
            std::string_view expected_text = trim(line.substr(arrow + 2));
            Expectation expected;
            std::string error;
            if (!session.parse_expectation(expected_text, &expected, &error)) {
                fail(where, "bad expectation: " + error);
                continue;
            }
            if (!matches(expected, got.value, got.raised)) {
                fail(where, "expected " + std::string(expected_text) + ", got " +
                                format_value(got.value, bits) + format_raised(got.raised) +
                                mismatch_note(expected.value, got.value));
                continue;
            }
        }
        ++report->passed;
    }
    if (cases == 0)
        fail(path, "no cases (empty file?)");
}

}  // namespace kav::host
