// Vector routines. The window products and the saturating add are kernels
// (src/dsp/kernels.h): their portable versions are here, and the plain
// (pairs) and unrolled forms run the selected versions, the unrolled forms
// on count rounded down to a multiple of their step.
#include "fixedpoint/vector_ops.h"

#include <cstring>

#include "dsp/kernels.h"
#include "fixedpoint/basic_ops.h"

namespace {

constexpr int kPair = 2;
constexpr int kUnroll = 8;
constexpr int kUnrollZero = 16;

// n rounded down to a multiple of step; 0 for n < step.
constexpr int whole_steps(int n, int step) { return n < step ? 0 : n - n % step; }

// y[i] = m(x[i], w[dir * i]) (+ y[i] when Accumulate, wrapping, or
// saturating when Saturate), i < whole_steps(n).
template <int Step, int Dir, bool Accumulate, bool Saturate = false>
void mult_kernel(const int32_t *x, const int16_t *w, int32_t *y, int n)
{
    const int count = whole_steps(n, Step);
    for (int i = 0; i < count; i += Step) {
        for (int j = 0; j < Step; ++j) {
            const int32_t p = fxaac::mul_32x16(w[Dir * (i + j)], x[i + j]);
            y[i + j] = !Accumulate ? p
                       : Saturate  ? fxaac::add_sat(y[i + j], p)
                                   : fxaac::add_wrap(y[i + j], p);
        }
    }
}

template <int Step>
void qadd_kernel(const int32_t *x, const int32_t *y, int32_t *z, int n)
{
    const int count = whole_steps(n, Step);
    for (int i = 0; i < count; i += Step) {
        for (int j = 0; j < Step; ++j)
            z[i + j] = fxaac::add_sat(x[i + j], y[i + j]);
    }
}

template <typename T>
void copy_cells(const T *src, T *dst, int n)
{
    if (n > 0)
        std::memmove(dst, src, static_cast<size_t>(n) * sizeof(T));
}

void zero_up(int32_t *first, int n)
{
    if (n > 0)
        std::memset(first, 0, static_cast<size_t>(n) * sizeof(int32_t));
}

// Clears whole_steps(n, step) words ending at last.
void zero_down(int32_t *last, int n, int step)
{
    const int count = whole_steps(n, step);
    if (count > 0)
        zero_up(last - (count - 1), count);
}

}  // namespace

namespace fxaac {

// The portable kernels (src/dsp/kernels.h).
void window_rise_c(const int32_t *x, const int16_t *w, int32_t *y, int n)
{
    mult_kernel<kPair, 1, false>(x, w, y, n);
}
void window_fall_c(const int32_t *x, const int16_t *w, int32_t *y, int n)
{
    mult_kernel<kPair, -1, false>(x, w, y, n);
}
void window_rise_add_c(const int32_t *x, const int16_t *w, int32_t *y, int n)
{
    mult_kernel<kPair, 1, true>(x, w, y, n);
}
void window_fall_add_c(const int32_t *x, const int16_t *w, int32_t *y, int n)
{
    mult_kernel<kPair, -1, true>(x, w, y, n);
}
void window_rise_overlap_c(const int32_t *x, const int16_t *w, int32_t *y, int n)
{
    mult_kernel<kPair, 1, true, true>(x, w, y, n);
}
void add_saturate_c(const int32_t *x, const int32_t *y, int32_t *z, int n)
{
    qadd_kernel<kPair>(x, y, z, n);
}

}  // namespace fxaac

// The exported routines run the selected kernels; the unrolled set is the
// same kernels on whole steps of eight.
void fxaac::vmult1(const int32_t *x, const int16_t *w, int32_t *y, int n)
{
    fxaac::window_rise(x, w, y, n);
}
void fxaac::vmult2(const int32_t *x, const int16_t *w, int32_t *y, int n)
{
    fxaac::window_fall(x, w, y, n);
}
void fxaac::vmadd(const int32_t *x, const int16_t *w, int32_t *y, int n)
{
    fxaac::window_rise_add(x, w, y, n);
}
void fxaac::vmult2_short(const int32_t *x, const int16_t *w, int32_t *y, int n)
{
    fxaac::window_fall_add(x, w, y, n);
}
void fxaac::my_vqadd(const int32_t *x, const int32_t *y, int32_t *z, int n)
{
    fxaac::add_saturate(x, y, z, n);
}
void fxaac::my_vcopy(const int32_t *src, int32_t *dst, int n) { copy_cells(src, dst, n); }
void fxaac::my_vzero(int32_t *p, int n) { zero_down(p, n, 1); }
void fxaac::memcopy16_16(const int16_t *src, int16_t *dst, int n) { copy_cells(src, dst, n); }
void fxaac::memcopy16_16_y_m(const int16_t *src, int16_t *dst, int n) { copy_cells(src, dst, n); }
void fxaac::memcopy16_16_m_y(const int16_t *src, int16_t *dst, int n) { copy_cells(src, dst, n); }
void fxaac::memcopy32_32(const int32_t *src, int32_t *dst, int n) { copy_cells(src, dst, n); }
void fxaac::setzero32(int32_t *p, int n) { zero_up(p, n); }

int16_t fxaac::findMin(const int16_t *x, int n)
{
    int16_t m = x[0];
    for (int i = 1; i < n; ++i)
        m = x[i] < m ? x[i] : m;
    return m;
}

void fxaac::my_vmult1(const int32_t *x, const int16_t *w, int32_t *y, int n)
{
    fxaac::window_rise(x, w, y, whole_steps(n, kUnroll));
}
void fxaac::my_vmult2(const int32_t *x, const int16_t *w, int32_t *y, int n)
{
    fxaac::window_fall(x, w, y, whole_steps(n, kUnroll));
}
void fxaac::my_vmadd(const int32_t *x, const int16_t *w, int32_t *y, int n)
{
    fxaac::window_rise_add(x, w, y, whole_steps(n, kUnroll));
}
void fxaac::my_vmult2_short(const int32_t *x, const int16_t *w, int32_t *y, int n)
{
    fxaac::window_fall_add(x, w, y, whole_steps(n, kUnroll));
}
void fxaac::vadd(const int32_t *x, const int32_t *y, int32_t *z, int n)
{
    fxaac::add_saturate(x, y, z, whole_steps(n, kUnroll));
}
void fxaac::vcopy(const int32_t *src, int32_t *dst, int n)
{
    copy_cells(src, dst, whole_steps(n, kUnroll));
}
void fxaac::vzero(int32_t *p, int n) { zero_down(p, n, kUnrollZero); }
