// The pieces of the portable FFT stages (filterbank/fft.h,
// precise/fft_precise.h) that the default and the precise arithmetic share:
// complex values with wrapping sums, the radix-4 sums, and the walk of the
// last stages.
#ifndef FXAAC_FILTERBANK_FFT_PARTS_H
#define FXAAC_FILTERBANK_FFT_PARTS_H

#include <cstdint>

#include "fixedpoint/basic_ops.h"

namespace fxaac::fft {

struct Complex {
    int32_t re;
    int32_t im;
};

inline Complex load(const int32_t *x) { return {x[0], x[1]}; }

inline void store(int32_t *x, Complex v)
{
    x[0] = v.re;
    x[1] = v.im;
}

constexpr int32_t sub_wrap(int32_t a, int32_t b)
{
    return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}

// All complex sums below wrap modulo 2^32 in each part.
inline Complex add(Complex a, Complex b) { return {add_wrap(a.re, b.re), add_wrap(a.im, b.im)}; }
inline Complex sub(Complex a, Complex b) { return {sub_wrap(a.re, b.re), sub_wrap(a.im, b.im)}; }
// a - j b and a + j b.
inline Complex sub_j(Complex a, Complex b) { return {add_wrap(a.re, b.im), sub_wrap(a.im, b.re)}; }
inline Complex add_j(Complex a, Complex b) { return {sub_wrap(a.re, b.im), add_wrap(a.im, b.re)}; }

// The radix-4 butterfly before twiddling: p0..p3 -> s02 + s13,
// d02 - j d13, s02 - s13, d02 + j d13.
inline void radix4_sums(Complex p[4])
{
    const Complex s02 = add(p[0], p[2]);
    const Complex d02 = sub(p[0], p[2]);
    const Complex s13 = add(p[1], p[3]);
    const Complex d13 = sub(p[1], p[3]);
    p[0] = add(s02, s13);
    p[1] = sub_j(d02, d13);
    p[2] = sub(s02, s13);
    p[3] = add_j(d02, d13);
}

// The last stages: N/8 steps of two groups of four values. Step t reads
// from (N/2) (t div N/16) + 4 (t mod N/16) (group A) and N/4 positions
// further on (group B: the first digit one higher, so its bins are one
// above group A's). digRev[t] / 8 is group A's first bin; group(values,
// bin, N) writes one group's results.
template <typename Group>
inline void last_stage_walk(int32_t *out, const int32_t *x, const int32_t *digRev, int32_t N,
                            Group group)
{
    const int32_t perHalf = N / 16;
    for (int32_t t = 0; t < N / 8; ++t) {
        const int32_t position = N / 2 * (t / perHalf) + 4 * (t % perHalf);
        int32_t *bin = out + 2 * (digRev[t] / 8);
        group(x + 2 * position, bin, N);
        group(x + 2 * (position + N / 4), bin + 2, N);
    }
}

}  // namespace fxaac::fft

#endif  // FXAAC_FILTERBANK_FFT_PARTS_H
