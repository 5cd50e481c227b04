// imod's zero divisor and -2147483648 / -1 raise the processor's division
// fault, SIGFPE; the reference host ends only that call and goes on.
#include <gtest/gtest.h>

#include <csignal>
#include <utility>

#include "kavhost.h"

namespace {

using namespace kav::host;

TEST(Imod, DivisionFaultEndsOnlyTheCall) {
    std::string error;
    auto module = Module::load(KAV_MODULE_PATH, &error);
    ASSERT_NE(module, nullptr) << error;
    const Row *imod = module->find("imod(I,I)");
    ASSERT_NE(imod, nullptr);
    for (auto [a, b] : {std::pair{7, 0}, {INT32_MIN, -1}}) {
        std::vector<Arg> args{Arg::of(Value::of_int(a)), Arg::of(Value::of_int(b))};
        const CallResult r = module->call(*imod, args);
        EXPECT_EQ(r.fault, SIGFPE) << a << " / " << b;
        EXPECT_EQ(r.result.kind, Value::Kind::None);
    }
    Session session(*module);
    EXPECT_EQ(session.eval("imod(7, 0)").error,
              "imod(7, 0): " + describe_fault(SIGFPE) + " in imod(I,I)");
    EXPECT_EQ(session.eval("imod(-7, 3)").value.as_int(), -1);
}

}  // namespace
