// Radix-4 decimation-in-frequency FFTs of 512 and 64 points.
//
// Stage of block length n: for every block and butterfly m < n/4, the values
// p0..p3 at block positions m, m + n/4, m + n/2, m + 3n/4 become
//   y0 = p0 + p1 + p2 + p3
//   y1 = ((p0 - p2) - j (p1 - p3)) * W^m
//   y2 = ((p0 + p2) - (p1 + p3))   * W^2m
//   y3 = ((p0 - p2) + j (p1 - p3)) * W^3m,    W = e^(-j 2 pi / n),
// so that after all stages position p holds the bin whose base-4 digits are
// those of p reversed (the last stages write the bins in natural order).
#include "filterbank/fft.h"

#include "dsp/kernels.h"
#include "filterbank/fft_parts.h"
#include "filterbank/transform_tables.h"
#include "fixedpoint/basic_ops.h"

namespace fxaac {
namespace {

using namespace fft;

// Saturating doubling multiply keeping the high word: floor(2 p t / 2^32).
// With t a Q15 coefficient in the high half this is floor(p * c / 2^15);
// only p = t = -2^31 would saturate, which no twiddle table holds.
int32_t mul_twiddle(int32_t p, int32_t t)
{
    const int64_t product = int64_t{p} * t;
    return product == (int64_t{1} << 62) ? kMax32 : static_cast<int32_t>(product >> 31);
}

// u * (wc - j ws); the two products of each part are summed with wrapping.
Complex rotate(Complex u, int32_t ws, int32_t wc)
{
    return {add_wrap(mul_twiddle(u.im, ws), mul_twiddle(u.re, wc)),
            sub_wrap(mul_twiddle(u.im, wc), mul_twiddle(u.re, ws))};
}

// One butterfly at x (position m of its block), legs quarter complex values
// apart, with the twiddles of vector lane `lane` of a 24-word group.
void twiddled_butterfly(int32_t *x, int quarter, const int32_t *group, int lane)
{
    Complex p[4];
    for (int q = 0; q < 4; ++q)
        p[q] = load(x + 2 * q * quarter);
    radix4_sums(p);
    store(x, p[0]);
    for (int leg = 1; leg < 4; ++leg) {
        const int32_t *w = group + 2 * kFftLanes * (leg - 1);  // ws[4], then wc[4]
        store(x + 2 * leg * quarter, rotate(p[leg], w[lane], w[kFftLanes + lane]));
    }
}

// Last radix-2 stage, one group: x0..x3 are two butterflies (x0, x1) and
// (x2, x3); the second sits one digit-3 step (N/8 bins) above the first,
// and each difference N/2 bins above its sum.
void radix2_group(const int32_t *x, int32_t *bin, int32_t N)
{
    const Complex x0 = load(x), x1 = load(x + 2), x2 = load(x + 4), x3 = load(x + 6);
    store(bin, add(x0, x1));
    store(bin + 2 * (N / 8), add(x2, x3));
    store(bin + 2 * (N / 2), sub(x0, x1));
    store(bin + 2 * (N / 2 + N / 8), sub(x2, x3));
}

// Last radix-4 stage, one group: four consecutive values, no twiddles; the
// legs' bins lie N/4 apart.
void radix4_group(const int32_t *x, int32_t *bin, int32_t N)
{
    Complex p[4];
    for (int q = 0; q < 4; ++q)
        p[q] = load(x + 2 * q);
    radix4_sums(p);
    for (int q = 0; q < 4; ++q)
        store(bin + 2 * q * (N / 4), p[q]);
}

}  // namespace

// The portable kernels (src/dsp/kernels.h).

void radix4_stage_c(const int32_t *w, int32_t *x, int32_t N, int32_t n)
{
    const int32_t quarter = n / 4;
    for (int32_t block = 0; block < N; block += n) {
        for (int32_t m = 0; m < quarter; ++m) {
            twiddled_butterfly(x + 2 * (block + m), quarter,
                               w + kTwiddleGroupWords * (m / kFftLanes), m % kFftLanes);
        }
    }
}

// Blocks of 8 have two butterflies; lanes 0, 1 serve m = 0, 1 of one block
// and lanes 2, 3 those of the next.
void radix4_stage8_c(const int32_t *w8, int32_t *x, int32_t N, int32_t n)
{
    const int32_t quarter = n / 4;
    for (int32_t block = 0; block < N; block += 2 * n) {
        for (int lane = 0; lane < kFftLanes; ++lane) {
            const int32_t position = block + n * (lane / quarter) + lane % quarter;
            twiddled_butterfly(x + 2 * position, quarter, w8, lane);
        }
    }
}

void post_radix2_c(int32_t *out, const int32_t *x, const int32_t *digRev, int32_t N)
{
    last_stage_walk(out, x, digRev, N, radix2_group);
}

void post_radix4_c(int32_t *out, const int32_t *x, const int32_t *digRev, int32_t N)
{
    last_stage_walk(out, x, digRev, N, radix4_group);
}

}  // namespace fxaac

using namespace fxaac;

// The exported stages run the selected kernels; postradix2 and postradix4
// are the scalar forms.
void fxaac::radix4Bfly_neon(const int32_t *w, int32_t *x, int32_t N, int32_t n)
{
    radix4_stage(w, x, N, n);
}

void fxaac::radix4Bfly_neon_w8(const int32_t *w8, int32_t *x, int32_t N, int32_t n)
{
    radix4_stage8(w8, x, N, n);
}

void fxaac::postRadixCompute2(int32_t *out, const int32_t *x, const int32_t *digRevTable, int32_t N)
{
    post_radix2(out, x, digRevTable, N);
}

void fxaac::postRadixCompute4(int32_t *out, const int32_t *x, const int32_t *digRevTable, int32_t N)
{
    post_radix4(out, x, digRevTable, N);
}

void fxaac::postradix2(int32_t *out, const int32_t *x, const int32_t *digRevTable, int32_t N)
{
    post_radix2_c(out, x, digRevTable, N);
}

void fxaac::postradix4(int32_t *out, const int32_t *x, const int32_t *digRevTable, int32_t N)
{
    post_radix4_c(out, x, digRevTable, N);
}

// 512 = 4^4 * 2: radix-4 stages n = 512, 128, 32 (each stage's twiddles
// follow the previous stage's 6n/4 words), the packed n = 8 stage, then the
// radix-2 last stage.
void fxaac::iDSP_fft32x32_512(const int32_t *w, const int32_t *w8, int32_t n, int32_t *in,
                              int32_t *out)
{
    int32_t block = n;
    for (; block > 8; block /= 4) {
        radix4_stage(w, in, n, block);
        w += 6 * block / 4;
    }
    radix4_stage8(w8, in, n, block);
    post_radix2(out, in, digRevTable2, n);
}

// 64 = 4^3: radix-4 stages n = 64 and 16, then the radix-4 last stage.
void fxaac::iDSP_fft32x32_64(const int32_t *w, int32_t n, int32_t *in, int32_t *out)
{
    for (int32_t block = n; block > 4; block /= 4) {
        radix4_stage(w, in, n, block);
        w += 6 * block / 4;
    }
    post_radix4(out, in, digRevTable4, n);
}

void fxaac::my_FFT(int32_t *in, int32_t *out, int32_t n)
{
    if (n == 512) {
        iDSP_fft32x32_512(enc_neon_w_512_word32, enc_neon_w_512_8_word32, n, in, out);
    } else if (n == 64) {
        iDSP_fft32x32_64(enc_neon_w_64_word32, n, in, out);
    }
}
