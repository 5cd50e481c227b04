// The Mersenne Twister's C entry points, which no script row reaches, against
// the reference output of MT19937.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace {

// A loaded module and the exported names the tests reach by dlsym.
struct Module {
    void *handle;

    explicit Module(const std::string &path) : handle(dlopen(path.c_str(), RTLD_NOW)) {
        if (!handle)
            ADD_FAILURE() << path << ": " << dlerror();
    }
    ~Module() {
        if (handle)
            dlclose(handle);
    }

    template <class T>
    T *symbol(const char *name) const {
        return reinterpret_cast<T *>(dlsym(handle, name));
    }
};

const Module &module() {
    static const Module m(KAV_MODULE_PATH);
    return m;
}

// The Twister's entry points, as C callers declare them.
struct Twister {
    void (*init_genrand)(uint32_t);
    void (*init_by_array)(const uint32_t *, int32_t);
    uint32_t (*int32)();
    int32_t (*int31)();
    double (*real1)(), (*real2)(), (*real3)(), (*res53)();

    explicit Twister(const Module &m)
        : init_genrand(m.symbol<void(uint32_t)>("init_genrand")),
          init_by_array(m.symbol<void(const uint32_t *, int32_t)>("init_by_array")),
          int32(m.symbol<uint32_t()>("genrand_int32")),
          int31(m.symbol<int32_t()>("genrand_int31")),
          real1(m.symbol<double()>("genrand_real1")),
          real2(m.symbol<double()>("genrand_real2")),
          real3(m.symbol<double()>("genrand_real3")),
          res53(m.symbol<double()>("genrand_res53")) {}
};

const uint32_t reference_key[] = {0x123, 0x234, 0x345, 0x456};

TEST(Twister, ReproducesTheReferenceOutputOfItsArrayKey) {
    const Twister mt(module());
    mt.init_by_array(reference_key, 4);
    std::vector<uint32_t> out;
    for (int i = 0; i < 1000; ++i)
        out.push_back(mt.int32());
    EXPECT_EQ(out[0], 1067595299u);
    EXPECT_EQ(out[1], 955945823u);
    EXPECT_EQ(out[2], 477289528u);
    EXPECT_EQ(out[3], 4107218783u);
    EXPECT_EQ(out[4], 4228976476u);
    EXPECT_EQ(out[999], 3460025646u);
}

TEST(Twister, DefaultSeedGivesItsStandardFirstOutput) {
    const Twister mt(module());
    mt.init_genrand(5489);
    EXPECT_EQ(mt.int32(), 3499211612u);
}

// A fresh copy of the module has its own never-seeded Twister.
TEST(Twister, NeverSeededSeedsItselfWith5489) {
    const auto copy = std::filesystem::temp_directory_path() /
                      ("kav_unseeded_" + std::to_string(getpid()) + ".so");
    std::filesystem::copy_file(KAV_MODULE_PATH, copy);
    {
        const Module fresh(copy.string());
        EXPECT_EQ(Twister(fresh).int32(), 3499211612u);
    }
    std::filesystem::remove(copy);
}

// The other outputs are the reference scalings of the same word stream.
TEST(Twister, DerivedOutputsScaleTheWordStream) {
    const Twister mt(module());
    mt.init_by_array(reference_key, 4);
    uint32_t w[6];
    for (uint32_t &word : w)
        word = mt.int32();
    mt.init_by_array(reference_key, 4);
    EXPECT_EQ(mt.int31(), static_cast<int32_t>(w[0] >> 1));
    EXPECT_EQ(mt.real1(), w[1] * (1.0 / 4294967295.0));
    EXPECT_EQ(mt.real2(), w[2] * 0x1p-32);
    EXPECT_EQ(mt.real3(), (w[3] + 0.5) * 0x1p-32);
    // The first word gives the high 27 bits, the second the low 26.
    EXPECT_EQ(mt.res53(), ((w[4] >> 5) * 67108864.0 + (w[5] >> 6)) * 0x1p-53);
}

TEST(Twister, EmptyKeyReadsAsOneZeroWord) {
    const Twister mt(module());
    const uint32_t zero = 0;
    mt.init_by_array(&zero, 1);
    const uint32_t first = mt.int32();
    mt.init_by_array(nullptr, 0);
    EXPECT_EQ(mt.int32(), first);
}

}  // namespace
