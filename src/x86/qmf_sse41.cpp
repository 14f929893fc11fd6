#include "dsp/kernels.h"

namespace fxaac {
void qmf_dct4_sse41(const int32_t *in, int32_t *out, int32_t n) { qmf_dct4_c(in, out, n); }
void qmf_analysis_fold_sse41(const int32_t *x, const int32_t *w, int32_t *p, int32_t *q)
{
    qmf_analysis_fold_c(x, w, p, q);
}
void qmf_analysis_rotate_sse41(const int32_t *cr, const int32_t *sr, const int32_t *rotation,
                               int32_t *out)
{
    qmf_analysis_rotate_c(cr, sr, rotation, out);
}
void qmf_synthesis_window_sse41(int32_t *partial, int32_t head, const int32_t *h, const int32_t *w,
                                int32_t n, int32_t shift, int32_t *out)
{
    qmf_synthesis_window_c(partial, head, h, w, n, shift, out);
}
}  // namespace fxaac
