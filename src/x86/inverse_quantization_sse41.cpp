// Dequantisation with SSE4.1 (src/tools/inverse_quantization.cpp), eight
// lines per step (four at a band's end). |q|^(4/3) of magnitudes up to 15
// comes from the first 16 entries of pow_table split into byte planes,
// looked up with PSHUFB and put back together by unpacking; a step with a
// larger magnitude, rare, and lines past the last whole four take the
// portable kernel. The gains give the portable kernel's values: mul_32x16
// and the upper word of x k are the high words of 64-bit products
// (x86/simd.h's mulhi), followed by the form's shift. In place (q in the
// upper half of out's memory) each step reads its values before it writes,
// and its writes reach no value of a later step.
#include "dsp/kernels.h"
#include "tools/dequant_tables.h"
#include "x86/simd.h"

namespace fxaac {
namespace {

enum Form { kUp = 0, kUpper = 1, kUpperShift = 2, kNone = 3, kSilent = 4 };

struct Planes {
    __m128i p[4];
};

// Byte b of entries 0..15 in plane b: the bytes grouped per group of four
// entries, then the groups' words transposed.
FXAAC_SIMD_INLINE Planes planes()
{
    const __m128i group = _mm_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15);
    __m128i t[4];
    for (int g = 0; g < 4; g++)
        t[g] = _mm_shuffle_epi8(V128::load(pow_table + 4 * g), group);
    const __m128i t01 = _mm_unpacklo_epi32(t[0], t[1]), t23 = _mm_unpacklo_epi32(t[2], t[3]);
    const __m128i u01 = _mm_unpackhi_epi32(t[0], t[1]), u23 = _mm_unpackhi_epi32(t[2], t[3]);
    return {{_mm_unpacklo_epi64(t01, t23), _mm_unpackhi_epi64(t01, t23),
             _mm_unpacklo_epi64(u01, u23), _mm_unpackhi_epi64(u01, u23)}};
}

template <int F>
struct Gain {
    __m128i factor, factor_odd, count;
    Gain(int32_t k, int32_t shift)
        : factor(V128::set1(F == kUp ? static_cast<int32_t>(static_cast<uint32_t>(k) << 16) : k)),
          factor_odd(V128::odd(factor)), count(shift_count(static_cast<uint32_t>(shift)))
    {}
    FXAAC_SIMD_INLINE __m128i operator()(__m128i x) const
    {
        if constexpr (F == kNone)
            return x;
        const __m128i h = mulhi<V128>(x, V128::odd(x), factor, factor_odd);
        if constexpr (F == kUp)
            return V128::sll(h, count);
        else if constexpr (F == kUpperShift)
            return V128::sra(h, count);
        else
            return h;
    }
};

// sign(v) |v|^(4/3) of eight values, all of magnitude 15 or less.
FXAAC_SIMD_INLINE void power(const Planes &t, __m128i v, __m128i &m0, __m128i &m1)
{
    const __m128i index = _mm_packus_epi16(_mm_abs_epi16(v), _mm_abs_epi16(v));
    const __m128i low = _mm_unpacklo_epi8(_mm_shuffle_epi8(t.p[0], index),
                                          _mm_shuffle_epi8(t.p[1], index));
    const __m128i high = _mm_unpacklo_epi8(_mm_shuffle_epi8(t.p[2], index),
                                           _mm_shuffle_epi8(t.p[3], index));
    const __m128i sign = _mm_srai_epi16(v, 15);
    const __m128i s0 = _mm_cvtepi16_epi32(sign), s1 = _mm_cvtepi16_epi32(_mm_srli_si128(sign, 8));
    m0 = V128::sub(V128::bit_xor(_mm_unpacklo_epi16(low, high), s0), s0);
    m1 = V128::sub(V128::bit_xor(_mm_unpackhi_epi16(low, high), s1), s1);
}

// Whether any of the values has a magnitude above 15 (-32768 counts).
FXAAC_SIMD_INLINE bool large(__m128i v)
{
    return !_mm_testz_si128(_mm_abs_epi16(v), _mm_set1_epi16(static_cast<int16_t>(0xFFF0)));
}

template <int F>
void run(const Planes &t, const int16_t *q, int32_t *out, int32_t n, const int32_t *desc)
{
    const Gain<F> gain(desc[3], desc[4]);
    int32_t i = 0;
    __m128i m0, m1;
    for (; i + 8 <= n; i += 8) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(q + i));
        if (_mm_testz_si128(v, v)) {
            V128::store(out + i, V128::zero());
            V128::store(out + i + 4, V128::zero());
            continue;
        }
        if (large(v)) {
            const int32_t one[5] = {i, i + 8, desc[2], desc[3], desc[4]};
            dequantize_bands_c(q, out, one, 1);
            continue;
        }
        power(t, v, m0, m1);
        V128::store(out + i, gain(m0));
        V128::store(out + i + 4, gain(m1));
    }
    if (i + 4 <= n) {
        const __m128i v = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(q + i));
        if (!large(v)) {
            power(t, v, m0, m1);
            V128::store(out + i, gain(m0));
            i += 4;
        }
    }
    if (i < n) {
        const int32_t rest[5] = {i, n, desc[2], desc[3], desc[4]};
        dequantize_bands_c(q, out, rest, 1);
    }
}

}  // namespace

void dequantize_bands_sse41(const int16_t *q, int32_t *out, const int32_t *runs, int32_t count)
{
    const Planes t = planes();
    for (int32_t r = 0; r < count; r++, runs += 5) {
        const int32_t from = runs[0], n = runs[1] - runs[0];
        switch (runs[2]) {
        case kUp: run<kUp>(t, q + from, out + from, n, runs); break;
        case kUpper: run<kUpper>(t, q + from, out + from, n, runs); break;
        case kUpperShift: run<kUpperShift>(t, q + from, out + from, n, runs); break;
        case kNone: run<kNone>(t, q + from, out + from, n, runs); break;
        default: dequantize_bands_c(q, out, runs, 1); break;
        }
    }
}

}  // namespace fxaac
