// Every routine the corpus and the fuzzer call: the module's rows in table
// order, then the exported routines that no row binds, each as its own
// signature says.
#ifndef KAV_TESTS_CALLABLES_H
#define KAV_TESTS_CALLABLES_H

#include <cstdio>
#include <cstdlib>
#include <vector>

#include "kavhost.h"

inline std::vector<kav::host::Row> callables(const kav::host::Module &module) {
    std::vector<kav::host::Row> out = module.rows();
    std::string error;
    auto add = [&](const char *routine, const char *signature, const char *return_type) {
        auto row = module.exported_row(routine, signature, return_type, &error);
        if (!row) {
            std::fprintf(stderr, "%s\n", error.c_str());
            std::exit(2);
        }
        row->index = out.size();
        out.push_back(std::move(*row));
    };
#define KAV_UNBOUND(fn, signature, return_type) add(#fn, signature, return_type);
#define KAV_ENTRY(fn)
#define KAV_DATA(name)
#include "exports.def"
#undef KAV_UNBOUND
#undef KAV_ENTRY
#undef KAV_DATA
    return out;
}

#endif  // KAV_TESTS_CALLABLES_H
