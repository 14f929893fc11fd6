// The portable kernels of the scaled FFTs (fft_precise.h) and the walk of
// their stages.
#include "precise/fft_precise.h"

#include "dsp/kernels.h"
#include "filterbank/fft_parts.h"
#include "filterbank/transform_tables.h"
#include "precise/precise_tables.h"

namespace fxaac {
namespace {

constexpr int32_t kGroupWords = 24;  // twiddle words of four butterflies
constexpr int32_t kLanes = 4;

using namespace fft;

// round(u c / 2^31), the low word (VQRDMULH for c > -2^31).
int32_t mul_q31(int32_t u, int32_t c)
{
    return static_cast<int32_t>(static_cast<uint32_t>((int64_t{u} * c + (int64_t{1} << 30)) >> 31));
}

// u (c - j s) with quarter coefficients (Q29): each product rounded, the
// pairs summed with wrapping.
Complex rotate_quarter(Complex u, int32_t c, int32_t s)
{
    return {add_wrap(mul_q31(u.re, c), mul_q31(u.im, s)),
            sub_wrap(mul_q31(u.im, c), mul_q31(u.re, s))};
}

// (v + 2) >> 2 in each part.
Complex quarter(Complex v) { return {add_wrap(v.re, 2) >> 2, add_wrap(v.im, 2) >> 2}; }

// One butterfly at x, legs `step` complex values apart, with lane `lane` of
// the twiddle group at w.
void butterfly(int32_t *x, int32_t step, const int32_t *w, int lane)
{
    Complex p[4];
    for (int q = 0; q < 4; ++q)
        p[q] = load(x + 2 * q * step);
    radix4_sums(p);
    store(x, quarter(p[0]));
    for (int q = 1; q < 4; ++q) {
        const int32_t *leg = w + 8 * (q - 1);
        store(x + 2 * q * step, rotate_quarter(p[q], leg[lane], leg[kLanes + lane]));
    }
}

// Last radix-2 stage, one group of four values: two butterflies whose bins
// lie N/8 apart, each difference N/2 bins above its sum (filterbank/fft.cpp).
void radix2_group(const int32_t *x, int32_t *bin, int32_t N)
{
    const Complex x0 = load(x), x1 = load(x + 2), x2 = load(x + 4), x3 = load(x + 6);
    const auto half = [](Complex v) {
        return Complex{add_wrap(v.re, 1) >> 1, add_wrap(v.im, 1) >> 1};
    };
    store(bin, half(add(x0, x1)));
    store(bin + 2 * (N / 8), half(add(x2, x3)));
    store(bin + 2 * (N / 2), half(sub(x0, x1)));
    store(bin + 2 * (N / 2 + N / 8), half(sub(x2, x3)));
}

// Last radix-4 stage, one group of four consecutive values; bins N/4 apart.
void radix4_group(const int32_t *x, int32_t *bin, int32_t N)
{
    Complex p[4];
    for (int q = 0; q < 4; ++q)
        p[q] = load(x + 2 * q);
    radix4_sums(p);
    for (int q = 0; q < 4; ++q)
        store(bin + 2 * q * (N / 4), quarter(p[q]));
}

}  // namespace

// The portable kernels (src/dsp/kernels.h). A stage of block length n has
// n/4 butterflies per block; butterfly m takes lane m % 4 of group m / 4,
// which for the packed n = 8 group is lane m of its first two.
void radix4_stage_q29_c(const int32_t *w, int32_t *x, int32_t N, int32_t n)
{
    const int32_t step = n / 4;
    for (int32_t block = 0; block < N; block += n) {
        for (int32_t m = 0; m < step; ++m)
            butterfly(x + 2 * (block + m), step, w + kGroupWords * (m / kLanes), m % kLanes);
    }
}

void post_radix2_q_c(int32_t *out, const int32_t *x, const int32_t *digRev, int32_t N)
{
    last_stage_walk(out, x, digRev, N, radix2_group);
}

void post_radix4_q_c(int32_t *out, const int32_t *x, const int32_t *digRev, int32_t N)
{
    last_stage_walk(out, x, digRev, N, radix4_group);
}

void fft_precise(int32_t *in, int32_t *out, int32_t n)
{
    if (n == 512) {
        const int32_t *w = fft512_q29;
        for (int32_t block = 512; block >= 8; block /= 4) {
            radix4_stage_q29(w, in, n, block);
            w += 6 * block / 4;
        }
        post_radix2_q(out, in, digRevTable2, n);
    } else if (n == 64) {
        const int32_t *w = fft64_q29;
        for (int32_t block = 64; block >= 16; block /= 4) {
            radix4_stage_q29(w, in, n, block);
            w += 6 * block / 4;
        }
        post_radix4_q(out, in, digRevTable4, n);
    }
}

}  // namespace fxaac
