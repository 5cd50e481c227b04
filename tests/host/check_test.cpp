// Conformance vectors: comparisons and a whole .kvt file.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>

#include "testmod.h"

namespace {

using namespace kav::host;

bool meets(const char *expected, const char *expr) {
    Session s(testmod());
    Expectation e;
    std::string error;
    EXPECT_TRUE(s.parse_expectation(expected, &e, &error)) << expected << ": " << error;
    Outcome o = s.eval(expr);
    EXPECT_TRUE(o.ok()) << expr;
    return matches(e, o.value, o.raised);
}

TEST(Expectations, CompareByBitsKindAndTolerance) {
    EXPECT_TRUE(meets("1.0f", "f32(0x3f800000)"));
    EXPECT_FALSE(meets("1.0", "1.0f"));  // kind
    EXPECT_FALSE(meets("1", "1.0f"));
    EXPECT_FALSE(meets("0.0f", "-0.0f"));
    EXPECT_TRUE(meets("nanf", "f32(0xffc00123)"));  // any NaN
    EXPECT_FALSE(meets("nanf", "inff"));
    EXPECT_TRUE(meets("1.0f within 1 ulp", "f32(0x3f800001)"));
    EXPECT_FALSE(meets("1.0f within 1 ulp", "f32(0x3f800002)"));
    EXPECT_TRUE(meets("0.0f within 2 ulp", "f32(0x80000001)"));  // across zero
    EXPECT_TRUE(meets("f32(0x7f7fffff) within 1 ulp", "inff"));
    EXPECT_FALSE(meets("-inff within 1 ulp", "inff"));
    EXPECT_TRUE(meets("1.0 within 0.125", "1.125"));
    EXPECT_FALSE(meets("1.0 within 0.125", "1.2"));
    EXPECT_TRUE(meets("inf within 0.5", "inf"));
    EXPECT_TRUE(meets("vec2(0.1, nan) within 1 ulp", "vec2(f32(0x3dcccccc), -nan)"));
    EXPECT_FALSE(meets("box(1, 2, 3)", "vec2(1, 2)"));
    EXPECT_TRUE(meets("-2147483648 raises 171 \"RAISE\" 0 1 -7", "raise(-7)"));
    EXPECT_FALSE(meets("-2147483648", "raise(-7)"));
    EXPECT_FALSE(meets("-2147483648 raises 171 \"RAISE\" 0 1 7", "raise(-7)"));
}

TEST(Expectations, RejectsWhatIsNotAValue) {
    Session s(testmod());
    s.eval("v = 1");
    Expectation e;
    std::string error;
    for (const char *bad : {"sub(1, 2)", "v", "1 within", "1 raises 171 RAISE 0 1 2", "1 2"})
        EXPECT_FALSE(s.parse_expectation(bad, &e, &error)) << bad;
}

// A temporary .kvt file, removed with the object.
struct TempFile {
    explicit TempFile(const char *text) {
        int fd = mkstemp(path);
        EXPECT_GE(fd, 0);
        close(fd);
        std::ofstream(path) << text;
    }
    ~TempFile() { std::remove(path); }
    char path[32] = "/tmp/kavhost_check_XXXXXX";
};

TEST(CheckFile, CountsAndNamesFailures) {
    TempFile file(
        "# a comment, then a blank line\n"
        "\n"
        "v = vec2(4, 8)\n"                         // 3: step, passes
        "halve(v) => vec2(2, 4)\n"                  // 4: passes
        "v => vec2(2, 4)\n"                         // 5: passes
        "sub(1, 2) => -2\n"                         // 6: wrong value
        "raise(5) => -2147483648\n"                 // 7: unexpected raise
        "too_few(1, 2) => 2\n"                      // 8: violation
        "nosuch(1)\n"                               // 9: error
        "sub(1, 2) => sub(1, 2)\n"                  // 10: bad expectation
        "fixtof(3, 1) => 1.5f raises 1 \"X\" 0 0 0\n"  // 11: missing raise
        "fixtof(3, 1) => 0.375f within 1 ulp\n"    // 12: outside the tolerance
        "sub(1, 2)\x1b\n");                          // 13: escaped in the report
    // The second file must not see the first one's variable.
    TempFile next("v => vec2(2, 4)\n");
    CheckReport report;
    check_file(testmod(), file.path, false, &report);
    check_file(testmod(), next.path, false, &report);

    EXPECT_EQ(report.passed, 3);
    std::string p = file.path;
    const std::vector<std::string> want = {
        p + ":6: sub(1, 2): expected -2, got -1",
        p + ":7: raise(5): expected -2147483648, got -2147483648 raises 171 \"RAISE\" 0 1 5",
        p + ":8: too_few(1, 2): too_few(I,I): popped 1 of 2 arguments",
        p + ":9: nosuch(1): unknown function 'nosuch'",
        p + ":10: sub(1, 2): bad expectation: calls are not allowed in an expected value: sub",
        p + ":11: fixtof(3, 1): expected 1.5f raises 1 \"X\" 0 0 0, got 1.5f",
        p + ":12: fixtof(3, 1): expected 0.375f within 1 ulp, got 1.5f",
        p + ":13: sub(1, 2)\\x1b: column 10: unexpected '\\x1b'",
        std::string(next.path) + ":1: v: unknown name 'v'",
    };
    EXPECT_EQ(report.failures, want);
    EXPECT_EQ(report.failed, static_cast<int>(want.size()));
}

}  // namespace
