// The noise substitution generator: the linear congruential generator of
// Numerical Recipes (full period 2^32), state' = state * kNoiseMultiplier +
// kNoiseIncrement, each value the new state as a signed word; and its jump
// of four steps, for SIMD kernels that run four lanes one step apart.
// Constants only: SIMD files may include it.
#ifndef FXAAC_TOOLS_NOISE_GENERATOR_H
#define FXAAC_TOOLS_NOISE_GENERATOR_H

#include <cstdint>

namespace fxaac {

constexpr uint32_t kNoiseMultiplier = 1664525u;
constexpr uint32_t kNoiseIncrement = 1013904223u;

// Four steps at once: state'''' = state * a^4 + c (a^3 + a^2 + a + 1), mod 2^32.
constexpr uint32_t kNoiseMultiplier4 = kNoiseMultiplier * kNoiseMultiplier * kNoiseMultiplier *
                                       kNoiseMultiplier;
constexpr uint32_t kNoiseIncrement4 = kNoiseIncrement *
                                      (kNoiseMultiplier * kNoiseMultiplier * kNoiseMultiplier +
                                       kNoiseMultiplier * kNoiseMultiplier + kNoiseMultiplier + 1u);

constexpr uint32_t noise_step(uint32_t state) { return state * kNoiseMultiplier + kNoiseIncrement; }
static_assert(noise_step(noise_step(noise_step(noise_step(7u)))) ==
                  7u * kNoiseMultiplier4 + kNoiseIncrement4,
              "the four-step jump");

}  // namespace fxaac

#endif  // FXAAC_TOOLS_NOISE_GENERATOR_H
