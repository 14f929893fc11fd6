#include "tools/tns.h"
#include "tools/tns_tables.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

namespace {

using namespace fxaac;
using Lines = std::vector<int32_t>;

int32_t wrap32(int64_t v) { return static_cast<int32_t>(static_cast<uint32_t>(v)); }

// Independent int64 model of the Q18 conversion: a[i] += 2 * floor(a[m-i] *
// (k >> 3) / 2^16), saturated; norm keeps the OR of all |a[i]| below 2^31.
int ref_lpc(const Lines &k, int16_t *lpc)
{
    const int order = int(k.size());
    std::vector<int64_t> a(order + 1, 0), b(order + 1);
    a[0] = 1 << 18;
    for (int m = 1; m <= order; m++) {
        for (int i = 1; i < m; i++) {
            const int64_t s = a[i] + 2 * ((a[m - i] * int16_t(k[m - 1] >> 3)) >> 16);
            b[i] = std::clamp<int64_t>(s, INT32_MIN, INT32_MAX);
        }
        std::copy(b.begin() + 1, b.begin() + m, a.begin() + 1), a[m] = k[m - 1];
    }
    int64_t bits = 0;
    for (int64_t v : a)
        bits |= std::min<int64_t>(std::abs(v), INT32_MAX);
    int norm = 0;
    while ((bits << (norm + 1)) <= INT32_MAX)
        norm++;
    lpc[0] = 32767;
    for (int i = 1; i <= order; i++)
        lpc[i] = int16_t((a[i] << norm) >> 16);
    return norm;
}

// Reference filter over x[n * step]: y[n] -= 2 * ((h[n-j] * lpc[j]) >> 16)
// with h = y << (13 - norm), all wrapping.
void ref_filter(int32_t *x, int size, int step, const Lines &k)
{
    int16_t lpc[21];
    const int norm = ref_lpc(k, lpc), order = int(k.size());
    Lines h;
    for (int n = 0; n < size; n++) {
        int32_t y = x[n * step];
        for (int j = 1; j <= std::min(n, order); j++)
            y = wrap32(y - 2 * ((int64_t{h[n - j]} * lpc[j]) >> 16));
        x[n * step] = y;
        h.push_back(wrap32(int64_t{y} << (13 - norm)));
    }
}

// One long window, 49 synthetic bands of 20 lines.
ChannelStream long_stream()
{
    ChannelStream s{};
    s.num_windows = 1, s.num_swb = 49, s.max_sfb = 49, s.tns_data_present = 1;
    for (int b = 0; b < 52; b++)
        s.swb_offset[b] = int16_t(20 * b);
    return s;
}

Lines random_lines(std::mt19937 &rng, int range)
{
    Lines x(1024);
    for (auto &v : x)
        v = std::uniform_int_distribution<int32_t>(-range, range)(rng);
    return x;
}

// Random upward and downward filters with |k| <= 0.41 over bands 9..41:
// bit-exact against the reference filter, and near the double all-pole
// filter y[n] = x[n] - sum A[j] y[n-j] with A from the exact reflection
// coefficients (the error comes mostly from rounding A to 16 bits).
TEST(Tns, FilterMatchesFloatingPoint)
{
    std::mt19937 rng(3);
    double total[2] = {}, worst = 1e9;
    for (int trial = 0; trial < 200; trial++) {
        ChannelStream s = long_stream();
        const int order = 1 + trial % 12, dir = trial & 1, step = dir ? -1 : 1;
        s.tns.n_filt[0] = 1, s.tns.coef_res[0] = 1, s.tns.length[0][0] = 40;
        s.tns.order[0][0] = uint8_t(order), s.tns.direction[0][0] = uint8_t(dir);
        Lines k(order);
        std::vector<double> A{1.0};
        for (int m = 1; m <= order; m++) {  // Levinson step with the exact k
            const int v = int(rng() % 5) - 2;
            s.tns.coef[0][m - 1] = uint8_t(v & 15), k[m - 1] = tns_coef_res4[v & 15];
            const double km = std::sin(v * M_PI / 2 / (v >= 0 ? 7.5 : 8.5));
            std::vector<double> B = A;
            for (int i = 1; i < m; i++)
                B[i] += km * A[m - i];
            B.push_back(km), A = B;
        }
        const Lines x = random_lines(rng, 1 << 22);
        Lines y = x, want = x, scratch(1024);
        tns_decode_frame(&s, &s.tns, 4, 1, y.data(), scratch.data());
        const int first = dir ? 20 * 42 - 1 : 20 * 9;
        ref_filter(&want[first], 20 * 33, step, k);
        ASSERT_EQ(y, want) << trial;
        double e[2] = {}, r[20 * 33];
        for (int n = 0, line = first; n < 20 * 33; n++, line += step) {
            r[n] = x[line];
            for (int j = 1; j <= std::min(n, order); j++)
                r[n] -= A[j] * r[n - j];
            e[0] += r[n] * r[n], e[1] += (y[line] - r[n]) * (y[line] - r[n]);
        }
        total[0] += e[0], total[1] += e[1], worst = std::min(worst, 10 * std::log10(e[0] / e[1]));
    }
    const double snr = 10 * std::log10(total[0] / total[1]);
    std::printf("TNS vs double all-pole filter: SNR %.1f dB, worst filter %.1f dB\n", snr, worst);
    EXPECT_GT(snr, 60);
    EXPECT_GT(worst, 45);
}

// Order caps, empty and skipped filters, rates and object types without TNS.
TEST(Tns, OrderCapsEmptyRangesAndGuards)
{
    std::mt19937 rng(4);
    const Lines x = random_lines(rng, 1 << 20);
    auto run = [&](ChannelStream s, int sf, int ot) {
        Lines y = x, scratch(1024);
        tns_decode_frame(&s, &s.tns, sf, int16_t(ot), y.data(), scratch.data());
        return y;
    };
    Lines k12;
    for (int i = 0; i < 12; i++)
        k12.push_back(tns_coef_res3[i % 8]);

    // Filter 0 is empty (bottom = top = 49), filter 1 has order 0 and skips
    // bands 47..48, filter 2 covers bands 44..46 with order field 31, which
    // LC applies with order 12 from the filter's own slots.
    ChannelStream s = long_stream();
    TnsInfo &t = s.tns;
    t.n_filt[0] = 3, t.length[0][1] = 2, t.length[0][2] = 3, t.order[0][2] = 31;
    for (int i = 0; i < 24; i++)
        t.coef[0][24 + i] = uint8_t(i % 8);
    Lines want = x;
    ref_filter(&want[20 * 44], 20 * 3, 1, k12);
    EXPECT_EQ(run(s, 5, 1), want);  // 32 kHz: 51 TNS bands
    for (int ot : {5, 16, 24, -1})
        EXPECT_EQ(run(s, 5, ot), x) << ot;  // no long-window TNS
    for (int sf : {3, 12, -1})
        EXPECT_EQ(run(s, sf, 1), x) << sf;  // 48 kHz: 40 TNS bands

    // Eight short windows at 96 kHz (9 TNS bands, lines 0..55): window 3
    // only, downward, order 12 applied as 7 whatever the object type.
    ChannelStream sh{};
    const int16_t offsets[15] = {0, 4, 8, 12, 16, 20, 28, 36, 44, 56, 68, 80, 96, 112, 128};
    std::copy(offsets, offsets + 15, sh.swb_offset);
    sh.num_windows = 8, sh.window_sequence = 2, sh.num_swb = 14, sh.max_sfb = 14;
    sh.tns_data_present = 1, sh.tns.n_filt[3] = 1, sh.tns.length[3][0] = 14;
    sh.tns.order[3][0] = 12, sh.tns.direction[3][0] = 1;
    std::copy(t.coef[0] + 24, t.coef[0] + 36, sh.tns.coef[3]);
    want = x;
    ref_filter(&want[3 * 128 + 55], 56, -1, Lines(k12.begin(), k12.begin() + 7));
    for (int ot : {1, 5})
        EXPECT_EQ(run(sh, 0, ot), want) << ot;
}

}  // namespace
