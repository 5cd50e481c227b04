// corpus.h: a deterministic corpus of calls for every row of a module.
//
// The arguments of call k of a row depend only on the seed, the row's
// signature and k, so two builds (two targets, two versions) that register the
// same signature get the same calls, whatever else they register. The values
// mix typical ones (small numbers, milli-degree angles, fixed-point bit
// counts), boundaries and extremes (the int limits, the largest and smallest
// floats, subnormals, signed zeros), NaNs (quiet and signalling, both signs),
// infinities and random bit patterns; struct references are now and then
// absent; calls alternate between the two angle units.
#ifndef KAV_HOST_CORPUS_H
#define KAV_HOST_CORPUS_H

#include <cstdint>
#include <string>
#include <vector>

#include "kavhost.h"

namespace kav::host {

struct CorpusCall {
    std::vector<Value> values;  // one per argument: the value, or the referenced variable
    std::vector<bool> absent;   // a TP argument passed as null
    int32_t angle_unit = 0;     // set through mathlib_set_angleunit before the call
    int32_t seed = 0;           // set through rand_seed before the call

    // The arguments of Module::call; references point into values.
    std::vector<Arg> args(const Row &row);
};

CorpusCall corpus_call(const Row &row, uint64_t seed, uint64_t index);

// Whether the module must fault on this call (the integer remainder by zero,
// or of the int minimum by -1): such calls are not made.
bool faults_by_design(const Row &row, const std::vector<Value> &values);

// Runs one corpus call: the angle unit and the random seed first, then the
// row. Returns false, without calling, for a call that faults by design.
bool run_corpus_call(Module &module, const Row &row, CorpusCall &call, CallResult *out);

// A call as the fuzzer's bytes: the row's index (2 bytes, little-endian,
// taken modulo the row count), a flags byte (bit 0 the angle unit, bit 1 + i
// an absent TP argument i), then each argument's bytes in order, as many as
// its storage holds; missing bytes are zeros, extra ones are ignored.
std::vector<unsigned char> encode_call(std::size_t row_index, const CorpusCall &call);
// The row and the call that bytes stand for; null when the module has no rows.
const Row *decode_call(const Module &module, const unsigned char *data, std::size_t size,
                       CorpusCall *call);

// The bits of a value as typed hex tokens, "i:0000001e f:3f800000
// d:3ff0000000000000", elements in order; "-" for no value.
std::string value_bits(const Value &v);

}  // namespace kav::host

#endif  // KAV_HOST_CORPUS_H
