// compare.h: two builds of the module run on one corpus and compared by bits.
//
// A call is one tab-separated line: the signature, the call's number, the
// arguments' bits, then either the fault, or the result's bits, the raised
// errors and the written-back arguments' bits. Both sides of a comparison
// produce such lines, in one process or streamed from a kavmath of the other
// target, and compare_calls judges a pair.
#ifndef KAV_HOST_COMPARE_H
#define KAV_HOST_COMPARE_H

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "corpus.h"

namespace kav::host {

// Runs corpus call index of row and returns its line; *result gets the call.
std::string corpus_line(Module &module, const Row &row, uint64_t seed, uint64_t index,
                        CallResult *result = nullptr);

std::vector<std::string> split_tabs(const std::string &line);

// How far apart two calls are. A NaN whose sign or payload alone differs is
// NanNoise; a distance within the accepted units is WithinBound.
enum class Verdict { Same, NanNoise, WithinBound, Differs };

struct Bound {
    int64_t units = 0;  // ulps for floating values, units for ints
    bool nan = false;   // a NaN may stand against a number
};

// Compares two call lines split by split_tabs, from the result on; worst
// collects the largest distance, nan_number whether a NaN met a number.
Verdict compare_calls(const std::vector<std::string> &a, const std::vector<std::string> &b,
                      const Bound *bound, int64_t *worst, bool *nan_number);

// kavmath --compare OTHER [options]: argv from "--compare" on. Returns 0
// when all rows agree, 1 on any difference, 2 on a usage or load error.
int compare_command(int argc, char **argv, const std::string &default_library, FILE *out = stdout);

// kavmath --corpus-stream: the corpus lines of the module's rows on stdout,
// for a comparison run by a kavmath of another target.
int corpus_stream(int argc, char **argv, const std::string &default_library);

}  // namespace kav::host

#endif  // KAV_HOST_COMPARE_H
