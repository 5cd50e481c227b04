// Loading, registration and the checks of each call, against the test module.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstring>

#include "testmod.h"

namespace {

using namespace kav::host;

template <class Fn>
Fn testmod_symbol(const char *name) {
    testmod();  // loaded
    void *h = dlopen(KAV_TESTMOD, RTLD_NOW | RTLD_NOLOAD);
    Fn fn = h ? reinterpret_cast<Fn>(dlsym(h, name)) : nullptr;
    if (h)
        dlclose(h);
    return fn;
}

TEST(Registration, CopiesEverythingInOrder) {
    Module &m = testmod();
    EXPECT_EQ(m.properties_result(), 1);
    EXPECT_EQ(m.exports_result(), 1);
    EXPECT_TRUE(m.problems().empty());

    using T = SlotCall::Table;
    const std::vector<SlotCall> want = {
        {T::Properties, 0, 0},   {T::Properties, 1, 0},   {T::Properties, 2, 0xC000},
        {T::Registration, 0, 0}, {T::Registration, 1, 0}, {T::Registration, 2, 0},
        {T::Registration, 3, 0}, {T::Registration, 6, 0}, {T::Registration, 7, 0},
        {T::Registration, 8, 0},
    };
    EXPECT_EQ(m.slot_calls(), want);

    // The module scribbled over its buffers after registering them.
    ASSERT_EQ(m.constants().size(), 3u);
    EXPECT_EQ(m.constants()[0].name, "ONE");
    EXPECT_EQ(m.constant("ONE")->value.as_int(), 1);
    EXPECT_EQ(m.constant("HALF_F")->value.as_float(), 0.5f);
    EXPECT_EQ(m.constant("HALF")->value.as_double(), 0.5);
    ASSERT_EQ(m.rows().size(), 24u);
    EXPECT_EQ(m.rows()[0].signature, "sub(I,I)");
    const Row *outer = m.find("mat_outerproduct(T(dvec2),T(dvec2))");
    ASSERT_NE(outer, nullptr);
    EXPECT_EQ(outer->name, "mat_outerproduct");
    EXPECT_EQ(outer->args[1].text(), "T(dvec2)");
    EXPECT_EQ(outer->ret.text(), "T(dmat2)");
    EXPECT_EQ(m.types().size(), 6u);

    auto runtime = testmod_symbol<const RuntimeInterface *(*)()>("testmod_runtime");
    ASSERT_NE(runtime, nullptr);
    EXPECT_EQ(runtime(), m.runtime());
}

TEST(Registration, DeviationsAttachToTheirRows) {
    Module &m = testmod();
    EXPECT_EQ(m.find("modf(F,FP)")->extra_bytes, (std::vector<std::size_t>{0, 4}));
    EXPECT_EQ(m.find("fixtof(I,I)")->alt_result->kind, Code::Kind::Int);
    EXPECT_EQ(m.find("mat_outerproduct(T(dvec2),T(dvec2))")->alt_result->type->name, "mat2");
    EXPECT_FALSE(m.find("sub(I,I)")->alt_result);
}

TEST(Registration, InitRunsEachCallbackOnce) {
    auto calls = testmod_symbol<int (*)()>("testmod_init_calls");
    ASSERT_NE(calls, nullptr);
    int before = calls();
    CallResult r = testmod().run_init();
    EXPECT_EQ(calls(), before + 1);
    EXPECT_TRUE(r.violations.empty());
}

TEST(Load, FailuresAreExplained) {
    std::string error;
    EXPECT_EQ(Module::load("/nonexistent/libKAV_mod_math.so.1", &error), nullptr);
    EXPECT_NE(error.find("cannot load /nonexistent/libKAV_mod_math.so.1: "), std::string::npos)
        << error;
    EXPECT_EQ(Module::load("libm.so.6", &error), nullptr);
    EXPECT_NE(error.find("has no entry point KAV_mod_math_MainLibraryProperties"),
              std::string::npos)
        << error;
}

// Each rule the host enforces, broken by one row of the test module.
TEST(CallChecks, ViolationsAreCaught) {
    struct Case {
        const char *expr, *violation;
    } cases[] = {
        {"bad_kind(1)", "bad_kind(I): pop 1 is pop_float, but argument 1 is I"},
        {"bad_order(1, 2.0f)", "bad_order(I,F): pop 1 is pop_int, but argument 2 is F"},
        {"too_few(1, 2)", "too_few(I,I): popped 1 of 2 arguments"},
        {"too_many(1)", "too_many(I): pop 2 is pop_int, but there is 1 argument"},
        {"no_result(1)", "no_result(I): no result set"},
        {"two_results(1)", "two_results(I): 2 results set (ret_int, ret_int)"},
        {"wrong_result(1)", "wrong_result(I): result is ret_float, but the row returns I"},
        {"short_struct(1)", "short_struct(I): ret_struct of 4 bytes, but vec2 has 8"},
        {"unused_slot()", "unused_slot(): runtime slot 3 called"},
        {"bad_ptr_kind(&v)",
         "bad_ptr_kind(TP(vec2)): pop 1 is pop_int_ptr, but argument 1 is TP(vec2)"},
    };
    std::string seen;  // on_return sees them too
    testmod().on_return = [&](const Row &row, const CallResult &r) {
        seen = r.violations.empty() ? "" : row.signature + ": " + r.violations[0];
    };
    for (const Case &c : cases) {
        Session s(testmod());
        s.eval("v = vec2(1, 2)");
        Outcome o = s.eval(c.expr);
        ASSERT_FALSE(o.violations.empty()) << c.expr;
        EXPECT_EQ(o.violations[0], c.violation);
        EXPECT_EQ(seen, c.violation);
        EXPECT_TRUE(o.error.empty()) << o.error;
        // A mismatched pointer pop wrote into scratch memory, not the variable.
        EXPECT_EQ(format_value(s.variables["v"]), "vec2(1.0, 2.0)");
    }
    testmod().on_return = nullptr;
}

TEST(CallChecks, WellBehavedRowsPass) {
    Session s(testmod());
    Outcome o = s.eval("sub(5, 3)");  // first pop is the last argument
    EXPECT_TRUE(o.ok());
    EXPECT_EQ(o.value.as_int(), 2);

    o = s.eval("raise(1001)");
    EXPECT_TRUE(o.ok());
    EXPECT_EQ(o.value.as_int(), INT32_MIN);
    EXPECT_EQ(o.raised, (std::vector<RaisedError>{{171, "RAISE", 0, 1, 1001}}));
}

TEST(CallChecks, DocumentedDeviationsAreAccepted) {
    Session s(testmod());
    Outcome o = s.eval("fixtof(1, 40)");
    EXPECT_TRUE(o.ok());
    EXPECT_EQ(format_value(o.value), "-2147483648");
    EXPECT_EQ(format_value(s.eval("fixtof(3, 1)").value), "1.5f");

    o = s.eval("mat_outerproduct(dvec2(1, 2), dvec2(3, 4))");
    EXPECT_TRUE(o.ok());
    EXPECT_EQ(format_value(o.value), "mat2(3.0, 4.0, 6.0, 8.0)");

    // modf stores the double 2.0 through a float reference: the variable gets
    // its first four bytes, the other four land in the extra storage.
    s.eval("w = 1.5f");
    o = s.eval("modf(2.75f, &w)");
    EXPECT_TRUE(o.ok());
    EXPECT_EQ(format_value(o.value), "0.75f");
    EXPECT_EQ(format_value(s.variables["w"], true), "0.0f [0x00000000]");
}

TEST(CallChecks, WritesReachTheVariables) {
    Session s(testmod());
    s.eval("v = vec2(1, 2)");
    EXPECT_EQ(s.eval("swap(&v)").value.as_int(), 1);
    EXPECT_EQ(format_value(s.variables["v"]), "vec2(2.0, 1.0)");
    EXPECT_EQ(s.eval("swap(null)").value.as_int(), 0);

    // A bare variable passed by value sees what the routine left in its argument.
    EXPECT_EQ(format_value(s.eval("halve(v)").value), "vec2(1.0, 0.5)");
    EXPECT_EQ(format_value(s.variables["v"]), "vec2(1.0, 0.5)");

    s.eval("e = 0");
    EXPECT_EQ(format_value(s.eval("frexp(8.0f, &e)").value), "0.5f");
    EXPECT_EQ(s.variables["e"].as_int(), 4);

    EXPECT_EQ(format_value(s.eval("box_of(1, 2, 3)").value), "box(1, 2.0, 3.0)");
}

TEST(CallChecks, ArgumentsMustFitTheRow) {
    Module &m = testmod();
    std::vector<Arg> args{Arg::of(Value::of_float(1)), Arg::of(Value::of_int(2))};
    EXPECT_THROW(m.call(*m.find("sub(I,I)"), args), std::invalid_argument);
    args.pop_back();
    EXPECT_THROW(m.call(*m.find("sub(I,I)"), args), std::invalid_argument);
    std::vector<Arg> ok{Arg::of(Value::of_int(7)), Arg::of(Value::of_int(2))};
    EXPECT_EQ(m.call(*m.find("sub(I,I)"), ok).result.as_int(), 5);
}

}  // namespace
