// Test helper: the inverse MDCT of ISO/IEC 14496-3 4.6.11.3.1 in double
// precision, without its 2/N factor and at the decoder's fixed-point scale
// (gain 1 for the long transform, 8 for the short one).
#ifndef FXAAC_TESTS_IMDCT_REFERENCE_H
#define FXAAC_TESTS_IMDCT_REFERENCE_H

#include <cmath>
#include <cstdint>
#include <numbers>
#include <vector>

namespace fxaac_test {

// out[n] = G sum_k in[k] cos(2 pi (n + n0)(k + 1/2) / N), n0 = (N/2 + 1)/2:
// the angle is 2 pi (2n + N/2 + 1)(2k + 1) / 4N, an exact index into a
// 4N-entry table.
inline std::vector<double> imdct_reference(const int32_t *in, int N)
{
    const double gain = N == 2048 ? 1 : 8;
    std::vector<double> cosine(4 * N), out(N);
    for (int j = 0; j < 4 * N; ++j)
        cosine[j] = gain * std::cos(2 * std::numbers::pi * j / (4 * N));
    for (int n = 0; n < N; ++n)
        for (int k = 0; k < N / 2; ++k)
            out[n] += in[k] * cosine[(2 * n + N / 2 + 1) * (2 * k + 1) % (4 * N)];
    return out;
}

}  // namespace fxaac_test

#endif
