// The Mersenne Twister MT19937 (Matsumoto and Nishimura), exported with its
// usual C entry points. No script function reaches it.
#ifndef KAV_RANDOM_MT19937_H
#define KAV_RANDOM_MT19937_H

#include <cstdint>

#include "frame.h"

extern "C" {
KAV_EXPORT void init_genrand(uint32_t seed);
KAV_EXPORT void init_by_array(const uint32_t *key, int32_t key_length);
KAV_EXPORT uint32_t genrand_int32(void);
KAV_EXPORT int32_t genrand_int31(void);    // [0, 2^31)
KAV_EXPORT double genrand_real1(void);     // [0, 1]
KAV_EXPORT double genrand_real2(void);     // [0, 1)
KAV_EXPORT double genrand_real3(void);     // (0, 1)
KAV_EXPORT double genrand_res53(void);     // [0, 1), 53 bits
}

#endif  // KAV_RANDOM_MT19937_H
