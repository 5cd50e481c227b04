// Coverage-guided fuzzing of every row of the module, and of every exported
// routine that no row binds, through the reference host: the input picks the row, the angle unit, absent references and the
// argument bits (see encode_call). Struct arguments live in storage of exactly
// their size plus the documented extra bytes, so AddressSanitizer sees any
// access past them; UndefinedBehaviorSanitizer stops at the first finding. A
// call that breaks the calling rules is a finding too, and so is a fault
// anywhere but the integer remainder's required division fault.
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "callables.h"
#include "corpus.h"

namespace {
std::unique_ptr<kav::host::Module> module;
std::vector<kav::host::Row> rows;  // and the exported routines no row binds
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
    rows = callables(*module);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, std::size_t size) {
    kav::host::CorpusCall call;
    const kav::host::Row *row = kav::host::decode_call(rows, data, size, &call);
    if (!row)
        return 0;
    const kav::host::CallResult r = kav::host::run_corpus_call(*module, *row, call);
    // The integer remainder must fault where it is required, and nothing
    // else may.
    if ((r.fault != 0) != kav::host::faults_by_design(*row, call.values)) {
        std::fprintf(stderr, "fuzz_rows: %s: %s\n", row->signature.c_str(),
                     r.fault ? kav::host::describe_fault(r.fault).c_str() : "no fault where one is required");
        std::abort();
    }
    if (!r.violations.empty()) {
        std::fprintf(stderr, "fuzz_rows: %s: %s\n", row->signature.c_str(), r.violations[0].c_str());
        std::abort();
    }
    return 0;
}
