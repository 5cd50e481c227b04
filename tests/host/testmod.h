// The test module, loaded once for all host tests.
#ifndef KAV_TESTS_HOST_TESTMOD_H
#define KAV_TESTS_HOST_TESTMOD_H

#include <memory>
#include <stdexcept>
#include <string>

#include "kavhost.h"

inline kav::host::Module &testmod() {
    static std::unique_ptr<kav::host::Module> m = [] {
        std::string error;
        auto loaded = kav::host::Module::load(KAV_TESTMOD, &error);
        if (!loaded)
            throw std::runtime_error(error);
        return loaded;
    }();
    return *m;
}

#endif
