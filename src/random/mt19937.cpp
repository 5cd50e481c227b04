// MT19937: 624 words of state, regenerated all at once, each output tempered.
#include "mt19937.h"

namespace {

constexpr int N = 624;
constexpr int M = 397;
constexpr uint32_t MATRIX_A = 0x9908B0DFu;
constexpr uint32_t UPPER_MASK = 0x80000000u;
constexpr uint32_t LOWER_MASK = 0x7FFFFFFFu;

// The position N + 1 marks a generator never seeded; its first output seeds
// it with 5489.
constexpr int NEVER_SEEDED = N + 1;
constexpr uint32_t DEFAULT_SEED = 5489u;

uint32_t state[N];
int position = NEVER_SEEDED;

// The seed's scrambling step: f x (w XOR (w >> 30)).
uint32_t spread(uint32_t w, uint32_t f) { return (w ^ (w >> 30)) * f; }

void regenerate() {
    for (int k = 0; k < N; ++k) {
        const uint32_t y = (state[k] & UPPER_MASK) | (state[(k + 1) % N] & LOWER_MASK);
        state[k] = state[(k + M) % N] ^ (y >> 1) ^ ((y & 1u) ? MATRIX_A : 0u);
    }
    position = 0;
}

uint32_t temper(uint32_t y) {
    y ^= y >> 11;
    y ^= (y << 7) & 0x9D2C5680u;
    y ^= (y << 15) & 0xEFC60000u;
    y ^= y >> 18;
    return y;
}

// The next index of the key mixing walk: 1..N-1, word N-1 copied to word 0
// on every wrap.
int next_mixed(int i) {
    if (++i < N)
        return i;
    state[0] = state[N - 1];
    return 1;
}

}  // namespace

extern "C" void init_genrand(uint32_t seed) {
    state[0] = seed;
    for (int i = 1; i < N; ++i)
        state[i] = spread(state[i - 1], 1812433253u) + uint32_t(i);
    position = N;
}

// An empty key (length 0 or less) reads as one zero word, so no key word is
// ever read past its end.
extern "C" void init_by_array(const uint32_t *key, int32_t key_length) {
    init_genrand(19650218u);
    int i = 1;
    int j = 0;
    for (int k = key_length > N ? key_length : N; k > 0; --k) {
        const uint32_t word = key_length > 0 ? key[j] : 0u;
        state[i] = (state[i] ^ spread(state[i - 1], 1664525u)) + word + uint32_t(j);
        i = next_mixed(i);
        if (++j >= key_length)
            j = 0;
    }
    for (int k = N - 1; k > 0; --k) {
        state[i] = (state[i] ^ spread(state[i - 1], 1566083941u)) - uint32_t(i);
        i = next_mixed(i);
    }
    state[0] = 0x80000000u;  // a non-zero initial state is assured
}

extern "C" uint32_t genrand_int32(void) {
    if (position >= N) {
        if (position == NEVER_SEEDED)
            init_genrand(DEFAULT_SEED);
        regenerate();
    }
    return temper(state[position++]);
}

extern "C" int32_t genrand_int31(void) { return static_cast<int32_t>(genrand_int32() >> 1); }

extern "C" double genrand_real1(void) { return genrand_int32() * (1.0 / 4294967295.0); }

extern "C" double genrand_real2(void) { return genrand_int32() * (1.0 / 4294967296.0); }

extern "C" double genrand_real3(void) { return (genrand_int32() + 0.5) * (1.0 / 4294967296.0); }

extern "C" double genrand_res53(void) {
    const uint32_t high = genrand_int32() >> 5;
    const uint32_t low = genrand_int32() >> 6;
    return (high * 67108864.0 + low) * (1.0 / 9007199254740992.0);
}
