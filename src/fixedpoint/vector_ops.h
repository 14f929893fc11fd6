/* Fixed-point vector routines: window multiply, multiply-accumulate,
 * saturating add, copy and clear.
 *
 * m(x, w) below is the truncating 32x16 product (x * w) >> 16 (see
 * fxaac::mul_32x16); "+" into y wraps modulo 2^32 unless marked saturating.
 *
 * Pairs: the routines marked so process elements two at a time, that is
 * n rounded down to an even count; an odd last element is left untouched and
 * n < 2 does nothing.
 *
 * The unrolled set (my_vmult1, my_vmult2, my_vmadd, my_vmult2_short, vadd,
 * vcopy, vzero) gives the same results as the plain set but works in steps of
 * eight elements (vzero: sixteen) and requires n to be a positive multiple of
 * the step. Other counts are handled like the pairs rule: n is rounded down to
 * a multiple of the step, so nothing past element n is ever touched.
 */
#ifndef FXAAC_FIXEDPOINT_VECTOR_OPS_H
#define FXAAC_FIXEDPOINT_VECTOR_OPS_H

#include <cstdint>

#include "fxaac/fxaac_export.h"

FXAAC_EXTERN_C_BEGIN

/* y[i] = m(x[i], w[i]); pairs; y may be x. */
/* y[i] = m(x[i], w[-i]), w pointing at the last coefficient; pairs; y may be x. */
/* y[i] += m(x[i], w[i]), wrapping; pairs. */
/* y[i] += m(x[i], w[-i]), wrapping; pairs. */
/* z[i] = x[i] + y[i], saturating; pairs; z may be x or y. */
/* Copies n words; the ranges must not overlap. */
/* Clears the n words p[-(n - 1)] .. p[0]: p points at the last word. */
/* Copy n 16-bit cells (n <= 0: nothing). */
/* Copies n words (n <= 0: nothing). */
/* Clears the n words p[0] .. p[n - 1] (n <= 0: nothing). */
/* Smallest of x[0] .. x[n - 1]; x[0] when n <= 1. */

/* Unrolled set: steps of 8 (vzero: 16). */

FXAAC_EXTERN_C_END

namespace fxaac {
void vmult1(const int32_t *x, const int16_t *w, int32_t *y, int n);
void vmult2(const int32_t *x, const int16_t *w, int32_t *y, int n);
void vmadd(const int32_t *x, const int16_t *w, int32_t *y, int n);
void vmult2_short(const int32_t *x, const int16_t *w, int32_t *y, int n);
void my_vqadd(const int32_t *x, const int32_t *y, int32_t *z, int n);
void my_vcopy(const int32_t *src, int32_t *dst, int n);
void my_vzero(int32_t *p, int n);
void memcopy16_16(const int16_t *src, int16_t *dst, int n);
void memcopy16_16_y_m(const int16_t *src, int16_t *dst, int n);
void memcopy16_16_m_y(const int16_t *src, int16_t *dst, int n);
void memcopy32_32(const int32_t *src, int32_t *dst, int n);
void setzero32(int32_t *p, int n);
int16_t findMin(const int16_t *x, int n);
void my_vmult1(const int32_t *x, const int16_t *w, int32_t *y, int n);
void my_vmult2(const int32_t *x, const int16_t *w, int32_t *y, int n);
void my_vmadd(const int32_t *x, const int16_t *w, int32_t *y, int n);
void my_vmult2_short(const int32_t *x, const int16_t *w, int32_t *y, int n);
void vadd(const int32_t *x, const int32_t *y, int32_t *z, int n);
void vcopy(const int32_t *src, int32_t *dst, int n);
void vzero(int32_t *p, int n);
}  // namespace fxaac

#endif /* FXAAC_FIXEDPOINT_VECTOR_OPS_H */
