// The precise arithmetic's kernels, portable versions only for now.
#ifndef FXAAC_PRECISE_PRECISE_KERNELS_H
#define FXAAC_PRECISE_PRECISE_KERNELS_H

#include <cstdint>

namespace fxaac {
void radix4_stage_q30_c(const int32_t *w, int32_t *x, int32_t N, int32_t n);
void post_radix2_q_c(int32_t *out, const int32_t *x, const int32_t *digRev, int32_t N);
void post_radix4_q_c(int32_t *out, const int32_t *x, const int32_t *digRev, int32_t N);
void pre_twiddle_q31_c(const int32_t *in, int32_t *out, const int32_t *cosine, const int32_t *sine,
                       int32_t count);
void post_twiddle_q31_c(int32_t *out, const int32_t *in, const int32_t *cosine, const int32_t *sine,
                        int32_t N, int32_t shift);
void window_rise_q31_c(const int32_t *x, const int32_t *w, int32_t *y, int n);
void window_fall_q31_c(const int32_t *x, const int32_t *w, int32_t *y, int n);
void window_rise_add_q31_c(const int32_t *x, const int32_t *w, int32_t *y, int n);
void window_fall_add_q31_c(const int32_t *x, const int32_t *w, int32_t *y, int n);

inline void radix4_stage_q30(const int32_t *w, int32_t *x, int32_t N, int32_t n)
{
    radix4_stage_q30_c(w, x, N, n);
}
inline void post_radix2_q(int32_t *out, const int32_t *x, const int32_t *digRev, int32_t N)
{
    post_radix2_q_c(out, x, digRev, N);
}
inline void post_radix4_q(int32_t *out, const int32_t *x, const int32_t *digRev, int32_t N)
{
    post_radix4_q_c(out, x, digRev, N);
}
inline void pre_twiddle_q31(const int32_t *in, int32_t *out, const int32_t *cosine,
                            const int32_t *sine, int32_t count)
{
    pre_twiddle_q31_c(in, out, cosine, sine, count);
}
inline void post_twiddle_q31(int32_t *out, const int32_t *in, const int32_t *cosine,
                             const int32_t *sine, int32_t N, int32_t shift)
{
    post_twiddle_q31_c(out, in, cosine, sine, N, shift);
}
inline void window_rise_q31(const int32_t *x, const int32_t *w, int32_t *y, int n)
{
    window_rise_q31_c(x, w, y, n);
}
inline void window_fall_q31(const int32_t *x, const int32_t *w, int32_t *y, int n)
{
    window_fall_q31_c(x, w, y, n);
}
inline void window_rise_add_q31(const int32_t *x, const int32_t *w, int32_t *y, int n)
{
    window_rise_add_q31_c(x, w, y, n);
}
inline void window_fall_add_q31(const int32_t *x, const int32_t *w, int32_t *y, int n)
{
    window_fall_add_q31_c(x, w, y, n);
}
}  // namespace fxaac

#endif
