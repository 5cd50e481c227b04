// The module seen from the host's side of the ABI, without the reference host:
// a recording host plays both entry points and checks every record.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "kav/abi.h"

#ifndef KAV_SANITIZE
#define KAV_SANITIZE 0
#endif

namespace {

// ---- What the row lists say -------------------------------------------------

struct ListedRow {
    const char *signature, *return_type, *routine;
};
const ListedRow listed_rows[] = {
#define KAV_GROUP(name, rows)
#define KAV_ROW(sig, ret, fn) {sig, ret, #fn},
#include "rows.def"
#undef KAV_GROUP
#undef KAV_ROW
};

struct ListedGroup {
    const char *name;
    int rows;
};
const ListedGroup listed_groups[] = {
#define KAV_GROUP(name, rows) {#name, rows},
#define KAV_ROW(sig, ret, fn)
#include "rows.def"
#undef KAV_GROUP
#undef KAV_ROW
};

std::set<std::string> listed_exports() {
    std::set<std::string> names;
    for (const ListedRow &r : listed_rows) names.insert(r.routine);
#define KAV_UNBOUND(fn, ...) names.insert(#fn);
#define KAV_ENTRY(fn) names.insert(#fn);
#define KAV_DATA(name) names.insert(#name);
#include "exports.def"
#undef KAV_UNBOUND
#undef KAV_ENTRY
#undef KAV_DATA
    return names;
}

// ---- A recording host -------------------------------------------------------

struct Recorded {
    std::vector<std::pair<int, uint32_t>> properties;  // slot, value
    std::vector<int> registration;                    // slots in call order
    std::vector<std::pair<std::string, int32_t>> ints;
    std::vector<std::pair<std::string, uint32_t>> floats;  // bits
    std::vector<std::pair<std::string, uint64_t>> doubles;
    std::string type_script;
    std::vector<FunctionEntry> rows;  // without the terminator
    FunctionEntry terminator{};
    std::vector<CallbackEntry> callbacks;
    RuntimeInterface runtime{};
};
Recorded rec;

template <int N>
void property(uint32_t v) { rec.properties.push_back({N, v}); }

void int_constants(const IntConstant *c) {
    rec.registration.push_back(KAV_REG_INT_CONSTANTS);
    // Records are packed: copy fields out rather than bind references to them.
    for (; c->name; ++c) rec.ints.push_back({std::string(c->name), int32_t{c->value}});
    EXPECT_EQ(c->value, 0);
}
void float_constants(const FloatConstant *c) {
    rec.registration.push_back(KAV_REG_FLOAT_CONSTANTS);
    uint32_t bits;
    for (; c->name; ++c) {
        std::memcpy(&bits, &c->value, 4);
        rec.floats.push_back({std::string(c->name), bits});
    }
    std::memcpy(&bits, &c->value, 4);
    EXPECT_EQ(bits, 0u);
}
void double_constants(const DoubleConstant *c) {
    rec.registration.push_back(KAV_REG_DOUBLE_CONSTANTS);
    uint64_t bits;
    for (; c->name; ++c) {
        std::memcpy(&bits, &c->value, 8);
        rec.doubles.push_back({std::string(c->name), bits});
    }
    std::memcpy(&bits, &c->value, 8);
    EXPECT_EQ(bits, 0u);
}
void declare_types(const char *script) {
    rec.registration.push_back(KAV_REG_DECLARE_TYPES);
    rec.type_script = script;
}
void functions(const FunctionEntry *t) {
    rec.registration.push_back(KAV_REG_FUNCTIONS);
    for (; t->signature; ++t) rec.rows.push_back(*t);  // copied: the table is the module's local
    rec.terminator = *t;
}
void callbacks(const CallbackEntry *c) {
    rec.registration.push_back(KAV_REG_CALLBACKS);
    for (;; ++c) {
        rec.callbacks.push_back(*c);
        if (c->event == 0) break;
    }
}
RuntimeInterface *get_runtime() {
    rec.registration.push_back(KAV_REG_GET_RUNTIME);
    return &rec.runtime;
}
void unused_slot() { ADD_FAILURE() << "the module called a registration slot it does not use"; }

struct Module {
    void *handle = nullptr;
    int32_t properties_result = 0, exports_result = 0;
    std::vector<int32_t> sin_before_init;  // a sample of the tables at load

    template <class T>
    T *sym(const char *name) const { return reinterpret_cast<T *>(dlsym(handle, name)); }
};
Module *mod;

class ModuleTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        if (mod) return;
        mod = new Module;
        mod->handle = dlopen(KAV_MODULE_PATH, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(mod->handle, nullptr) << dlerror();
        const int32_t *sin_tab = mod->sym<int32_t>("sin_tab");
        for (int i : {0, 30000, 90000}) mod->sin_before_init.push_back(sin_tab[i]);

        PropertiesTable props{{property<0>, property<1>, property<2>}};
        RegistrationTable reg{};
        reg.slot[0] = reinterpret_cast<KavProc>(int_constants);
        reg.slot[1] = reinterpret_cast<KavProc>(float_constants);
        reg.slot[2] = reinterpret_cast<KavProc>(double_constants);
        reg.slot[3] = reinterpret_cast<KavProc>(declare_types);
        reg.slot[4] = reg.slot[5] = unused_slot;
        reg.slot[6] = reinterpret_cast<KavProc>(functions);
        reg.slot[7] = reinterpret_cast<KavProc>(callbacks);
        reg.slot[8] = reinterpret_cast<KavProc>(get_runtime);
        mod->properties_result =
            reinterpret_cast<KavPropertiesEntry>(dlsym(mod->handle, KAV_PROPERTIES_ENTRY))(&props);
        mod->exports_result =
            reinterpret_cast<KavExportsEntry>(dlsym(mod->handle, KAV_EXPORTS_ENTRY))(&reg);
    }
};

std::string run(const std::string &cmd) {
    std::string out;
    std::unique_ptr<FILE, int (*)(FILE *)> p(popen(cmd.c_str(), "r"), pclose);
    char buf[4096];
    while (p && fgets(buf, sizeof buf, p.get())) out += buf;
    return out;
}

// ---- Entry points -----------------------------------------------------------

TEST_F(ModuleTest, EntryPointsCallTheHostInOrderAndReturnOne) {
    EXPECT_EQ(mod->properties_result, 1);
    EXPECT_EQ(mod->exports_result, 1);
    const std::vector<std::pair<int, uint32_t>> props{{0, 0}, {1, 0}, {2, 0xC000}};
    EXPECT_EQ(rec.properties, props);
    const std::vector<int> order{0, 1, 2, 3, 6, 7, 8};
    EXPECT_EQ(rec.registration, order);
    // kavre keeps the runtime interface that get_runtime handed out.
    EXPECT_EQ(*mod->sym<RuntimeInterface *>("kavre"), &rec.runtime);
}

TEST_F(ModuleTest, ConstantsHaveTheirExactBits) {
    const std::vector<std::pair<std::string, int32_t>> ints{
        {"PI", 180000}, {"FIX_8", 8}, {"FIX_16", 16}, {"FIX_24", 24},
        {"math_degree_unit", 0}, {"math_radian_unit", 1}};
    EXPECT_EQ(rec.ints, ints);
    // The float e and pi are the singles nearest 2.718281 and 3.141592.
    const std::vector<std::pair<std::string, uint32_t>> floats{
        {"M_E_F", 0x402DF851}, {"M_PI_F", 0x40490FD8}, {"INFINITY", 0x7F800000}};
    EXPECT_EQ(rec.floats, floats);
    const std::vector<std::pair<std::string, uint64_t>> doubles{
        {"M_E", 0x4005BF0A8B145769}, {"M_PI", 0x400921FB54442D18}};
    EXPECT_EQ(rec.doubles, doubles);
}

TEST_F(ModuleTest, TypeScriptDeclaresThirtyNineTypesInTheHostGrammar) {
    const std::string &s = rec.type_script;
    EXPECT_EQ(s.size(), 1204u);
    const std::regex decl(R"(type (\w+) ((?:(?:int|float|double) \w+(?:\[\d+\])?;)+)end )");
    std::map<std::string, size_t> sizes;
    size_t at = 0;
    for (std::sregex_iterator it(s.begin(), s.end(), decl), end; it != end; ++it) {
        ASSERT_EQ(static_cast<size_t>(it->position()), at) << "unparsed text at " << at;
        at += it->length();
        size_t bytes = 0;
        const std::string fields = (*it)[2];
        const std::regex field(R"((int|float|double) \w+(?:\[(\d+)\])?;)");
        for (std::sregex_iterator f(fields.begin(), fields.end(), field); f != end; ++f)
            bytes += ((*f)[1] == "double" ? 8 : 4) * ((*f)[2].matched ? std::stoul((*f)[2]) : 1);
        sizes[(*it)[1]] = bytes;
    }
    EXPECT_EQ(at, s.size());
    EXPECT_EQ(sizes.size(), 39u);
    EXPECT_EQ(sizes["dbbox"], 32u);
    EXPECT_EQ(sizes["mat2x3"], 24u);
    EXPECT_EQ(sizes["dmat4"], 128u);
    EXPECT_EQ(sizes["ivec3"], 12u);
    EXPECT_EQ(sizes["dvec3"], 24u);
}

// ---- Function table ---------------------------------------------------------

TEST_F(ModuleTest, TableIsTheRowListAndEndsWithAZeroRow) {
    ASSERT_EQ(rec.rows.size(), std::size(listed_rows));
    for (size_t i = 0; i < rec.rows.size(); ++i) {
        const FunctionEntry &row = rec.rows[i];
        EXPECT_STREQ(row.signature, listed_rows[i].signature);
        EXPECT_STREQ(row.return_type, listed_rows[i].return_type);
        EXPECT_EQ(row.reserved, 0);
        EXPECT_EQ(reinterpret_cast<void *>(row.routine), dlsym(mod->handle, listed_rows[i].routine))
            << listed_rows[i].routine;
    }
    const FunctionEntry zero{};
    EXPECT_EQ(std::memcmp(&rec.terminator, &zero, sizeof zero), 0);
}

TEST_F(ModuleTest, RowsStandInTheirGroupsInTableOrder) {
    EXPECT_EQ(std::size(listed_groups), 122u);
    int total = 0;
    for (const ListedGroup &g : listed_groups) total += g.rows;
    EXPECT_EQ(total, KAV_FUNCTION_COUNT);

    // Each row's script name is its group's; groups appear in order, full.
    size_t g = 0;
    std::map<std::string, int> filled;
    for (const FunctionEntry &row : rec.rows) {
        const std::string name = std::string(row.signature).substr(0, std::strcspn(row.signature, "("));
        while (g < std::size(listed_groups) && name != listed_groups[g].name) ++g;
        ASSERT_LT(g, std::size(listed_groups)) << row.signature << " is out of group order";
        ++filled[name];
    }
    for (const ListedGroup &lg : listed_groups) EXPECT_EQ(filled[lg.name], lg.rows) << lg.name;
}

// The host keys rows by signature.
TEST_F(ModuleTest, SignaturesAreUnique) {
    std::set<std::string> seen;
    for (const FunctionEntry &row : rec.rows)
        EXPECT_TRUE(seen.insert(row.signature).second) << "duplicate " << row.signature;
}

TEST_F(ModuleTest, CallbackBlockRegistersInitForTheInitEvent) {
    ASSERT_EQ(rec.callbacks.size(), 2u);
    EXPECT_EQ(rec.callbacks[0].event, KAV_EVENT_INIT);
    EXPECT_EQ(reinterpret_cast<void *>(rec.callbacks[0].routine), dlsym(mod->handle, "KAV_mod_math_init"));
    EXPECT_EQ(rec.callbacks[1].event, 0);
    EXPECT_EQ(rec.callbacks[1].routine, nullptr);
}

TEST(Records, FieldsLieWhereTheHostExpectsThem) {
    // Packed to 4: a double follows a pointer directly, also on x86-64.
    EXPECT_EQ(offsetof(DoubleConstant, value), sizeof(void *));
    EXPECT_EQ(offsetof(FunctionEntry, reserved), 2 * sizeof(void *));
    EXPECT_EQ(offsetof(FunctionEntry, routine), 2 * sizeof(void *) + 4);
    EXPECT_EQ(offsetof(CallbackEntry, routine), 4u);
    EXPECT_EQ(sizeof(RuntimeInterface), KAV_RT_SLOT_COUNT * sizeof(void *));
    if (sizeof(void *) == 4) {
        EXPECT_EQ(sizeof(FunctionEntry) * (KAV_FUNCTION_COUNT + 1), 18288u);
        EXPECT_EQ(sizeof(CallbackEntry) * 2, 16u);  // 1, init, 0, 0
    }
}

// ---- The shared object ------------------------------------------------------

TEST(SharedObject, ExportsExactlyTheModulesNames) {
    std::set<std::string> exported;
    std::istringstream nm(run("nm -D --defined-only " KAV_MODULE_PATH));
    for (std::string line; std::getline(nm, line);) {
        const std::string name = line.substr(line.rfind(' ') + 1);
        exported.insert(name.substr(0, name.find('@')));
    }
    EXPECT_EQ(exported, listed_exports());
}

TEST(SharedObject, NeedsLibcAndLibmOnlyAndHasItsSoname) {
    const std::string dyn = run("readelf -d " KAV_MODULE_PATH);
    std::set<std::string> needed;
    const std::regex entry(R"(\(NEEDED\)\s+Shared library: \[([^\]]+)\])");
    for (std::sregex_iterator it(dyn.begin(), dyn.end(), entry), end; it != end; ++it) {
        const std::string lib = (*it)[1];
        if (KAV_SANITIZE && (lib.find("asan") != std::string::npos || lib.find("ubsan") != std::string::npos ||
                             lib.find("libstdc++") != std::string::npos || lib.find("libgcc_s") != std::string::npos))
            continue;  // the sanitizer runtimes bring their own
        needed.insert(lib);
    }
    EXPECT_EQ(needed, (std::set<std::string>{"libc.so.6", "libm.so.6"}));
    EXPECT_NE(dyn.find("Library soname: [libKAV_mod_math.so.1]"), std::string::npos);
}

TEST(SharedObject, IsHardened) {
    const std::string dyn = run("readelf -d " KAV_MODULE_PATH);
    const std::string segments = run("readelf -lW " KAV_MODULE_PATH);
    EXPECT_NE(segments.find("GNU_RELRO"), std::string::npos);  // with BIND_NOW: full RELRO
    EXPECT_NE(dyn.find("BIND_NOW"), std::string::npos);
    EXPECT_EQ(dyn.find("TEXTREL"), std::string::npos);
    EXPECT_NE(run("nm -D --undefined-only " KAV_MODULE_PATH).find("__stack_chk_fail"), std::string::npos);
}

// ---- Initialisation ---------------------------------------------------------

// Until init runs, the tables hold zeros; what init writes: the next test.
TEST_F(ModuleTest, TablesHoldZerosUntilInit) {
    EXPECT_EQ(mod->sin_before_init, (std::vector<int32_t>{0, 0, 0}));
}

// Every entry as the formula gives it, call by call, with this machine's library.
int32_t truncated(long double x) { return static_cast<int32_t>(x); }

TEST_F(ModuleTest, EveryTableEntryIsTheDirectFormulaAlsoAfterASecondInit) {
    const int32_t *tab[] = {mod->sym<int32_t>("sin_tab"), mod->sym<int32_t>("cos_tab"),
                            mod->sym<int32_t>("asin_tab"), mod->sym<int32_t>("acos_tab")};
    std::vector<int32_t> want[4];
    for (int i = 0; i < 90000; ++i) {
        double s = 0, c = 1;
        if (i > 0) sincos(static_cast<double>(static_cast<long double>(i) / 57295.77951), &s, &c);
        want[0].push_back(truncated(s * 1000.0L));
        want[1].push_back(truncated(c * 1000.0L));
    }
    want[0].push_back(1000);
    want[1].push_back(0);
    for (int x = -1000; x <= 1000; ++x) {
        want[2].push_back(truncated(static_cast<float>(std::asin(x / 1000.0)) * 57295.77951L));
        want[3].push_back(truncated(static_cast<float>(std::acos(x / 1000.0)) * 57295.77951L));
    }
    for (int run = 0; run < 2; ++run) {
        mod->sym<void()>("KAV_mod_math_init")();
        for (int t = 0; t < 4; ++t)
            for (size_t i = 0; i < want[t].size(); ++i)
                ASSERT_EQ(tab[t][i], want[t][i]) << "table " << t << " entry " << i << " init " << run;
    }
}

TEST_F(ModuleTest, InitSeedsTheRandomWordsAndResetsTheUnit) {
    int32_t *unit = mod->sym<int32_t>("math_angle_unit");
    uint32_t *m_z = mod->sym<uint32_t>("m_z"), *m_w = mod->sym<uint32_t>("m_w");
    *unit = 1;
    *m_z = *m_w = 0xFFFFFFFF;
    mod->sym<void()>("KAV_mod_math_init")();
    EXPECT_EQ(*unit, 0);
    EXPECT_LT(*m_z, 2147483647u);
    EXPECT_LT(*m_w, 2147483647u);
}

}  // namespace
