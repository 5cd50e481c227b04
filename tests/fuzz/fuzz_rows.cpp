// Coverage-guided fuzzing of every row of the module through the reference
// host: the input picks the row, the angle unit, absent references and the
// argument bits (see encode_call). Struct arguments live in storage of exactly
// their size plus the documented extra bytes, so AddressSanitizer sees any
// access past them; UndefinedBehaviorSanitizer stops at the first finding. A
// call that breaks the calling rules is a finding too.
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "corpus.h"

namespace {
std::unique_ptr<kav::host::Module> module;
}

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    std::string error;
    const char *path = std::getenv("KAV_FUZZ_MODULE");
    module = kav::host::Module::load(path ? path : KAV_MODULE_PATH, &error);
    if (!module) {
        std::fprintf(stderr, "fuzz_rows: %s\n", error.c_str());
        std::abort();
    }
    module->run_init();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, std::size_t size) {
    kav::host::CorpusCall call;
    const kav::host::Row *row = kav::host::decode_call(*module, data, size, &call);
    kav::host::CallResult r;
    // Calls that must fault are left to the tests that expect the fault.
    if (!row || !kav::host::run_corpus_call(*module, *row, call, &r))
        return 0;
    if (!r.violations.empty()) {
        std::fprintf(stderr, "fuzz_rows: %s: %s\n", row->signature.c_str(), r.violations[0].c_str());
        std::abort();
    }
    return 0;
}
