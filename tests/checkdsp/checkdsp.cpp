// checkdsp: every SIMD version of the kernels (src/dsp/kernels.h) that this
// build has and this CPU runs, and the selected versions, against the
// portable ones on the same inputs: seeded random, audio-like and edge words
// (0, +-1, the 32-bit bounds, saturation and clipping thresholds), constant
// full-scale blocks, the decoder's tables and random ones, at the decoder's
// sizes plus odd and short sizes for the pairs rule and the tails.
//
// --seed N replays another set of random inputs (the seed is printed);
// --bench then times each version of every kernel at the decoder's sizes.
// With FXAAC_CPU_LEVEL set it also checks that the selection obeys it.
//
// Each call runs on copies of its buffers flush against an inaccessible page
// before, then after, so any access outside them crashes. Whole buffers are
// compared; the first mismatch is printed and the program exits with 1.
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "dsp/kernel_table.h"
#include "filterbank/transform_tables.h"
#include "filterbank/window_tables.h"
#include "precise/precise_tables.h"
#include "ps/ps_tables.h"
#include "sbr/qmf_tables.h"
#include "sbr/sbr_tables.h"

namespace {

using Words = std::vector<int32_t>;
using Coefs = std::vector<int16_t>;
constexpr int32_t kMin = INT32_MIN, kMax = INT32_MAX;

// ---- The versions under test -------------------------------------------

// One version of every kernel (nullptr where the kernel has none), named.
struct Kernels : fxaac::KernelTable {
    const char *isa;
};

Kernels portable() { return {fxaac::kernel_versions(fxaac::KernelIsa::kPortable), "c"}; }

// The SIMD sets this build has and this CPU runs, and the selected versions.
std::vector<Kernels> under_test()
{
    std::vector<Kernels> all;
    using fxaac::KernelIsa;
#if defined(FXAAC_KERNELS_X86)
    for (const KernelIsa isa : {KernelIsa::kSse41, KernelIsa::kAvx2}) {
        if (isa <= fxaac::cpu_kernel_level()) {
            all.push_back({fxaac::kernel_versions(isa), fxaac::kernel_isa_name(isa)});
        }
    }
#endif
#if defined(FXAAC_KERNELS_NEON) && defined(__ARM_NEON)
    all.push_back({fxaac::kernel_versions(KernelIsa::kNeon), "neon"});
#endif
#define FXAAC_SET_SELECTED(a, x86, ret, name, params, args) k.name = fxaac::name;
    Kernels k{{}, "selected"};
    FXAAC_KERNEL_LIST(FXAAC_SET_SELECTED, )
    all.push_back(k);
    return all;
}

// ---- Buffers between inaccessible pages --------------------------------

char g_running[256];  // what runs, for the crash report

void on_crash(int)
{
    static const char kPrefix[] = "checkdsp: CRASH (access outside the buffers) in ";
    [[maybe_unused]] const bool written = write(1, kPrefix, sizeof kPrefix - 1) > 0 &&
                                          write(1, g_running, strlen(g_running)) > 0 &&
                                          write(1, "\n", 1) > 0;
    _exit(1);
}

// A copy of init flush against an inaccessible page: the one before, or
// (at_end) the one after.
template <class T>
struct Guarded {
    char *base;
    size_t span;
    T *data;
    Guarded(const std::vector<T> &init, bool at_end)
    {
        const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE)),
                     bytes = init.size() * sizeof(T);
        span = (bytes + page - 1) / page * page + 2 * page;
        base = static_cast<char *>(
            mmap(nullptr, span, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        if (base == MAP_FAILED || mprotect(base, page, PROT_NONE) != 0 ||
            mprotect(base + span - page, page, PROT_NONE) != 0) {
            std::perror("checkdsp: mmap");
            std::exit(2);
        }
        data = reinterpret_cast<T *>(at_end ? base + span - page - bytes : base + page);
        if (bytes != 0)
            std::memcpy(data, init.data(), bytes);
    }
    ~Guarded() { munmap(base, span); }
    Guarded(const Guarded &) = delete;
    Guarded &operator=(const Guarded &) = delete;
};

// ---- One call, checked ---------------------------------------------------

// The buffers of a call: words w[0..] and coefficient tables c[0..].
struct Buffers {
    std::vector<Words> w;
    std::vector<Coefs> c;
};
struct Pointers {
    std::vector<int32_t *> w;
    std::vector<int16_t *> c;
};

int g_calls = 0;

[[noreturn]] void mismatch(const char *where, size_t buffer, size_t i, long long want,
                           long long got)
{
    std::printf("checkdsp: MISMATCH %s: %s %zu, index %zu: expected %lld, got %lld\n", g_running,
                where, buffer, i, want, got);
    std::exit(1);
}

template <class T>
void same(const std::vector<T> &expected, const T *got, const char *kind, size_t buffer)
{
    for (size_t i = 0; i < expected.size(); ++i) {
        if (expected[i] != got[i])
            mismatch(kind, buffer, i, expected[i], got[i]);
    }
}

// Runs call(f, pointers) with the portable f = Kernels::*kernel on the
// buffers, then with k's on guarded copies, and compares the results (if
// any) and the buffers; exits on the first mismatch. Does nothing if k has
// no such kernel. CHECK names the kernel after its field.
template <class F, class Call>
void check(const Kernels &k, F fxaac::KernelTable::*kernel, const char *kernel_name,
           const std::string &what, const Buffers &in, Call call)
{
    if (!(k.*kernel))
        return;
    auto result = [&](F f, const Pointers &p) -> long long {
        if constexpr (std::is_void_v<decltype(call(f, p))>) {
            call(f, p);
            return 0;
        } else {
            return call(f, p);
        }
    };
    Buffers expected = in;
    Pointers ref;
    for (auto &v : expected.w)
        ref.w.push_back(v.data());
    for (auto &v : expected.c)
        ref.c.push_back(v.data());
    const long long want = result(portable().*kernel, ref);
    std::snprintf(g_running, sizeof g_running, "kernel %s, isa %s, case %s", kernel_name, k.isa,
                  what.c_str());
    for (bool at_end : {false, true}) {
        std::vector<std::unique_ptr<Guarded<int32_t>>> words;
        std::vector<std::unique_ptr<Guarded<int16_t>>> coefs;
        Pointers p;
        for (auto &v : in.w)
            p.w.push_back(words.emplace_back(new Guarded<int32_t>(v, at_end))->data);
        for (auto &v : in.c)
            p.c.push_back(coefs.emplace_back(new Guarded<int16_t>(v, at_end))->data);
        const long long got = result(k.*kernel, p);
        ++g_calls;
        if (got != want)
            mismatch("result", 0, 0, want, got);
        for (size_t b = 0; b < in.w.size(); ++b)
            same(expected.w[b], p.w[b], "word buffer", b);
        for (size_t b = 0; b < in.c.size(); ++b)
            same(expected.c[b], p.c[b], "coefficient buffer", b);
    }
}
#define CHECK(kernel, ...) check(k, &fxaac::KernelTable::kernel, #kernel, __VA_ARGS__)

// ---- Inputs ----------------------------------------------------------------

// The bounds and the thresholds of saturation, clipping and rounding.
constexpr int32_t kEdgeValues[] = {0,
                                   1,
                                   -1,
                                   2,
                                   -2,
                                   3,
                                   -3,
                                   kMax,
                                   kMin,
                                   kMax - 1,
                                   kMin + 1,
                                   kMax - 255,
                                   kMax - 256,
                                   1 << 30,
                                   -(1 << 30),
                                   (1 << 30) - 1,
                                   -(1 << 30) - 1,
                                   1 << 24,
                                   (1 << 24) - 1,
                                   (1 << 24) - 2,
                                   (1 << 24) - 256,
                                   (1 << 24) - 257,
                                   -(1 << 24),
                                   -(1 << 24) - 1,
                                   -(1 << 24) - 2,
                                   -(1 << 24) - 256,
                                   -(1 << 24) - 257,
                                   255,
                                   256,
                                   -256,
                                   -257,
                                   511,
                                   512,
                                   (1 << 23) - 1,
                                   -(1 << 23),
                                   32767,
                                   -32768,
                                   65535,
                                   65536,
                                   -65536,
                                   1 << 21,
                                   -(1 << 21)};

std::mt19937 g_rng(20240601u);

// The kinds of input word; sparse ones are zeros and bounds, whose sums and
// differences stay bounds.
struct Data {
    const char *name;
    int32_t (*word)();
};
constexpr Data kRandom{"random", [] { return static_cast<int32_t>(g_rng()); }};
constexpr Data kEdges{"edges", [] {
                          return g_rng() % 2 ? kEdgeValues[g_rng() % std::size(kEdgeValues)]
                                             : static_cast<int32_t>(g_rng());
                      }};
constexpr Data kAllData[] = {
    kRandom,
    {"audio", [] { return static_cast<int32_t>(g_rng()) >> (7 + g_rng() % 20); }},
    kEdges,
    {"sparse", [] { return g_rng() % 2 ? 0 : (g_rng() % 2 ? kMin : kMax); }},
    {"zeros", [] { return 0; }},
    {"min", [] { return kMin; }},
    {"max", [] { return kMax; }}};

Words words(size_t n, const Data &d)
{
    Words v(n);
    for (auto &x : v)
        x = d.word();
    return v;
}

// Random coefficients with the extremes mixed in.
Coefs coefs(size_t n)
{
    static const int16_t edges[] = {-32768, 32767, -32767, 0, 1, -1};
    Coefs v(n);
    for (auto &c : v) {
        c = g_rng() % 4 == 0 ? edges[g_rng() % std::size(edges)] : static_cast<int16_t>(g_rng());
    }
    return v;
}

Coefs table(const int16_t *t, size_t n) { return Coefs(t, t + n); }
Words table(const int32_t *t, size_t n) { return Words(t, t + n); }

template <class... Args>
std::string describe(const char *format, Args... args)
{
    char s[160];
    std::snprintf(s, sizeof s, format, args...);
    return s;
}

// ---- The kernels' cases ---------------------------------------------------

// FFT twiddle words: the decoder's; random Q15 values in the high half;
// random words; random words with many -2^31 (the only value whose product,
// with p = -2^31, saturates).
enum class Twiddle { kTable, kHighHalf, kAny, kWithMin };
Words twiddles(const int32_t *t, size_t n, Twiddle kind)
{
    if (kind == Twiddle::kTable)
        return table(t, n);
    Words v(n);
    for (auto &w : v) {
        w = kind == Twiddle::kHighHalf
                ? static_cast<int32_t>(static_cast<uint32_t>(coefs(1)[0]) << 16)
                : kEdges.word();
        if (w == kMin)
            w = kMin + 1;
    }
    if (kind == Twiddle::kWithMin) {
        for (size_t i = 0; i < n; i += 1 + g_rng() % 4)
            v[i] = kMin;
    }
    return v;
}
const char *name(Twiddle t)
{
    static const char *const names[] = {"table", "high-half", "any", "with-min"};
    return names[static_cast<int>(t)];
}

void check_fft(const Kernels &k)
{
    const int32_t *w512 = fxaac::enc_neon_w_512_word32, *w64 = fxaac::enc_neon_w_64_word32;
    // The decoder's stages, and stage counts that leave a block or a pair of
    // blocks over for eight-lane steps.
    const struct {
        int32_t N, n;
        const int32_t *w;
    } stages[] = {{512, 512, w512},   {512, 128, w512 + 768}, {512, 32, w512 + 960}, {64, 64, w64},
                  {64, 16, w64 + 96}, {48, 16, w64 + 96},     {96, 32, w512 + 960}};
    for (const Twiddle tw :
         {Twiddle::kTable, Twiddle::kHighHalf, Twiddle::kAny, Twiddle::kWithMin}) {
        for (const Data &d : kAllData) {
            for (const auto &s : stages) {
                CHECK(radix4_stage,
                      describe("N=%d n=%d data=%s twiddles=%s", s.N, s.n, d.name, name(tw)),
                      {{words(2 * s.N, d), twiddles(s.w, 6 * s.n / 4, tw)}, {}},
                      [&](auto f, const Pointers &p) { f(p.w[1], p.w[0], s.N, s.n); });
            }
            for (const int32_t N : {512, 48, 16}) {
                CHECK(radix4_stage8, describe("N=%d data=%s twiddles=%s", N, d.name, name(tw)),
                      {{words(2 * N, d), twiddles(fxaac::enc_neon_w_512_8_word32, 24, tw)}, {}},
                      [&](auto f, const Pointers &p) { f(p.w[1], p.w[0], N, 8); });
            }
        }
    }
    for (const Data &d : kAllData) {
        CHECK(post_radix2, describe("N=512 data=%s", d.name),
              {{words(1024, d), words(1024, kRandom), table(fxaac::digRevTable2, 64)}, {}},
              [](auto f, const Pointers &p) { f(p.w[1], p.w[0], p.w[2], 512); });
        CHECK(post_radix4, describe("N=64 data=%s", d.name),
              {{words(128, d), words(128, kRandom), table(fxaac::digRevTable4, 8)}, {}},
              [](auto f, const Pointers &p) { f(p.w[1], p.w[0], p.w[2], 64); });
    }
}

void check_imdct(const Kernels &k)
{
    const int16_t *c256 = fxaac::cosine_array_256, *s256 = fxaac::sine_array_256;
    // The two transforms, and sizes that are not whole eight-lane steps.
    const struct {
        int32_t N;
        const int16_t *cosine, *sine;
    } sizes[] = {{2048, fxaac::cosine_array_2048, fxaac::sine_array_2048},
                 {256, c256, s256},
                 {96, c256, s256},
                 {32, c256, s256}};
    for (const auto &s : sizes) {
        const size_t M = static_cast<size_t>(s.N / 4);
        for (const bool own : {false, true}) {
            for (const Data &d : kAllData) {
                const Coefs cs = own ? coefs(M) : table(s.cosine, M),
                            sn = own ? coefs(M) : table(s.sine, M);
                const char *tables = own ? "random" : "decoder";
                CHECK(pre_twiddle, describe("N=%d data=%s tables=%s", s.N, d.name, tables),
                      {{words(s.N / 2, d), words(s.N / 2, kRandom)}, {cs, sn}},
                      [&](auto f, const Pointers &p) {
                          f(p.w[0], p.w[0] + s.N / 2 - 1, p.w[1], p.c[0], p.c[1], s.N / 8);
                      });
                for (const int32_t shift : {-12, -7, -2, -1, 0, 1, 5, 19, 31, 32, 40, 256, 300, -30,
                                            -31, -32, -40, -256, -300}) {
                    CHECK(post_twiddle,
                          describe("N=%d shift=%d data=%s tables=%s", s.N, shift, d.name, tables),
                          {{words(s.N / 2, d), words(s.N, kRandom)}, {cs, sn}},
                          [&](auto f, const Pointers &p) {
                              f(p.w[1], p.w[0], p.c[0], p.c[1], s.N, shift);
                          });
                }
            }
        }
    }
    for (const int32_t n :
         {2048, 1024, 256, 128, 2047, 1023, 255, 127, 34, 17, 16, 15, 3, 2, 1, 0}) {
        for (const Data &d : kAllData) {
            const Buffers in{{words(static_cast<size_t>(n), d)}, {}};
            // Also a single -2^31 (saturated magnitude 2^31 - 1) among the values.
            Buffers one = in;
            if (n >= 2)
                one.w[0][g_rng() % static_cast<uint32_t>(n / 2)] = kMin;
            for (const Buffers *b : {&in, static_cast<const Buffers *>(&one)}) {
                CHECK(block_magnitude,
                      describe("n=%d data=%s%s", n, d.name, b == &in ? "" : " one -2^31"), *b,
                      [&](auto f, const Pointers &p) { return f(p.w[0], n); });
            }
            for (const int32_t shift : {-21, -10, -1, 0, 1, 3, 10, 31, 32, 40, 255, 256, -31, -32,
                                        -40, -256, kMin, kMax}) {
                CHECK(block_shift, describe("n=%d shift=%d data=%s", n, shift, d.name), in,
                      [&](auto f, const Pointers &p) { f(p.w[0], shift, n); });
            }
        }
    }
}

// The window lengths and the pairs rule's odd and short counts.
constexpr int kCounts[] = {1024, 128, 1023, 127, 17, 16, 15, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0};

void check_vectors(const Kernels &k)
{
    for (const int n : kCounts) {
        const size_t size = static_cast<size_t>(n);
        const Coefs window = n == 1024  ? table(fxaac::kbd_long_fixed, 1024)
                             : n == 128 ? table(fxaac::dec_sin_short_fixed, 128)
                                        : coefs(size);
        for (const Data &d : kAllData) {
            const Buffers in{{words(size, d), words(size, kEdges)}, {n == 0 ? coefs(1) : window}};
            for (const bool in_place : {false, true}) {
                const std::string what = describe("n=%d data=%s%s", n, d.name,
                                                  in_place ? " in place" : "");
                // The falling kernels read their coefficients backwards from the last.
                auto call = [&](int first) {
                    return [&, first](auto f, const Pointers &p) {
                        f(p.w[0], p.c[0] + first, in_place ? p.w[0] : p.w[1], n);
                    };
                };
                const int last = n == 0 ? 0 : n - 1;
                CHECK(window_rise, what, in, call(0));
                CHECK(window_fall, what, in, call(last));
                CHECK(window_rise_add, what, in, call(0));
                CHECK(window_fall_add, what, in, call(last));
                if (!in_place)
                    CHECK(window_rise_overlap, what, in, call(0));
            }
            // Sums around the bounds: y close to the distance of x from a bound.
            Words y = words(size, kEdges);
            const Words x = words(size, d);
            for (size_t i = 0; i < size; i += 3) {
                y[i] = static_cast<int32_t>((x[i] < 0 ? int64_t{kMin} : int64_t{kMax}) - x[i] +
                                            static_cast<int32_t>(g_rng() % 5) - 2);
            }
            for (const int out : {2, 1}) {
                CHECK(add_saturate,
                      describe("n=%d data=%s into %s", n, d.name, out == 1 ? "y" : "z"),
                      {{x, y, words(size, kRandom)}, {}},
                      [&](auto f, const Pointers &p) { f(p.w[0], p.w[1], p.w[out], n); });
            }
        }
    }
}

// Q31 or Q30 coefficients within their contracts: the table, or random
// words of magnitude at most `bound` with the bounds mixed in.
Words coefficients(const int32_t *t, size_t n, bool own, int32_t bound)
{
    if (!own)
        return table(t, n);
    Words v(n);
    for (auto &w : v) {
        const uint32_t pick = g_rng() % 8;
        const int32_t r = static_cast<int32_t>(g_rng()) >> (bound == kMax ? 0 : 1);
        w = pick == 0 ? bound : pick == 1 ? -bound : std::max(r, -bound);
    }
    return v;
}

// The precise arithmetic's kernels: the stages of both transforms (and
// sizes with a remainder), the twiddles with every block shift the IMDCT
// passes and the ends of the range, the windows.
void check_precise(const Kernels &k)
{
    const struct {
        int32_t N, n;
        const int32_t *w;
    } stages[] = {{512, 512, fxaac::fft512_q29},      {512, 128, fxaac::fft512_q29 + 768},
                  {512, 32, fxaac::fft512_q29 + 960}, {512, 8, fxaac::fft512_q29 + 1008},
                  {64, 64, fxaac::fft64_q29},         {64, 16, fxaac::fft64_q29 + 96},
                  {48, 16, fxaac::fft64_q29 + 96},    {40, 8, fxaac::fft512_q29 + 1008}};
    for (const bool own : {false, true}) {
        for (const Data &d : kAllData) {
            for (const auto &s : stages) {
                const int32_t words_used = s.n == 8 ? 24 : 6 * s.n / 4;
                Words tw = coefficients(s.w, static_cast<size_t>(words_used), own, 1 << 30);
                if (s.n == 8) {  // the packed group's lanes 2, 3 repeat lanes 0, 1
                    for (size_t g = 0; g < tw.size(); g += 4)
                        tw[g + 2] = tw[g], tw[g + 3] = tw[g + 1];
                }
                CHECK(radix4_stage_q29,
                      describe("N=%d n=%d data=%s twiddles=%s", s.N, s.n, d.name,
                               own ? "random" : "table"),
                      {{words(2 * s.N, d), tw}, {}},
                      [&](auto f, const Pointers &p) { f(p.w[1], p.w[0], s.N, s.n); });
            }
        }
    }
    for (const Data &d : kAllData) {
        CHECK(post_radix2_q, describe("N=512 data=%s", d.name),
              {{words(1024, d), words(1024, kRandom), table(fxaac::digRevTable2, 64)}, {}},
              [](auto f, const Pointers &p) { f(p.w[1], p.w[0], p.w[2], 512); });
        CHECK(post_radix4_q, describe("N=64 data=%s", d.name),
              {{words(128, d), words(128, kRandom), table(fxaac::digRevTable4, 8)}, {}},
              [](auto f, const Pointers &p) { f(p.w[1], p.w[0], p.w[2], 64); });
    }
    const struct {
        int32_t N;
        const int32_t *cosine, *sine;
    } sizes[] = {{2048, fxaac::imdct_cos_2048, fxaac::imdct_sin_2048},
                 {256, fxaac::imdct_cos_256, fxaac::imdct_sin_256},
                 {96, fxaac::imdct_cos_256, fxaac::imdct_sin_256},
                 {40, fxaac::imdct_cos_256, fxaac::imdct_sin_256}};
    for (const auto &s : sizes) {
        const size_t M = static_cast<size_t>(s.N / 4);
        for (const bool own : {false, true}) {
            const Words cs = coefficients(s.cosine, M, own, kMax);
            const Words sn = coefficients(s.sine, M, own, kMax);
            for (const Data &d : kAllData) {
                CHECK(pre_twiddle_q31, describe("N=%d data=%s", s.N, d.name),
                      {{words(s.N / 2, d), words(s.N / 2, kRandom), cs, sn}, {}},
                      [&](auto f, const Pointers &p) {
                          f(p.w[0], p.w[0] + s.N / 2 - 1, p.w[1], p.w[2], p.w[3], s.N / 8);
                      });
                // The FFT's output stays within 2^30.
                Words z = words(s.N / 2, d);
                for (auto &v : z)
                    v >>= 1;
                for (const int32_t shift : {-31, -8, -5, -1, 0, 1, 2, 12, 22, 30, 31}) {
                    CHECK(post_twiddle_q31, describe("N=%d shift=%d data=%s", s.N, shift, d.name),
                          {{z, words(s.N, kRandom), cs, sn}, {}}, [&](auto f, const Pointers &p) {
                              f(p.w[1], p.w[0], p.w[2], p.w[3], s.N, shift);
                          });
                }
            }
        }
    }
    for (const int n : kCounts) {
        const size_t size = static_cast<size_t>(n);
        const Words window = n == 1024 ? table(fxaac::window_kbd_long_q31, 1024)
                             : n == 128
                                 ? table(fxaac::window_sine_short_q31, 128)
                                 : coefficients(nullptr, std::max<size_t>(size, 1), true, kMax);
        for (const Data &d : kAllData) {
            const Buffers in{{words(size, d), words(size, kEdges), window}, {}};
            const int last = n == 0 ? 0 : n - 1;
            CHECK(window_rise_q31, describe("n=%d data=%s", n, d.name), in,
                  [&](auto f, const Pointers &p) { f(p.w[0], p.w[2], p.w[1], n); });
            CHECK(window_fall_q31, describe("n=%d data=%s", n, d.name), in,
                  [&](auto f, const Pointers &p) { f(p.w[0], p.w[2] + last, p.w[1], n); });
            CHECK(window_rise_add_q31, describe("n=%d data=%s", n, d.name), in,
                  [&](auto f, const Pointers &p) { f(p.w[0], p.w[2], p.w[1], n); });
            CHECK(window_fall_add_q31, describe("n=%d data=%s", n, d.name), in,
                  [&](auto f, const Pointers &p) { f(p.w[0], p.w[2] + last, p.w[1], n); });
            CHECK(precise_descale, describe("n=%d data=%s", n, d.name), in,
                  [&](auto f, const Pointers &p) { f(p.w[0], n); });
        }
    }
}

// The noise generator and its scaling: every width of a band and odd ones,
// states, gains (their low 16 bits count) and shifts of the whole range,
// the state after the call compared too.
void check_noise(const Kernels &k)
{
    for (const int32_t n : {96, 64, 32, 16, 12, 9, 8, 7, 5, 4, 3, 1, 0}) {
        for (const int32_t shift : {-31, -20, -1, 0, 1, 2, 7, 18, 30, 31, 32, -32, 40}) {
            const int32_t gain = static_cast<int32_t>(g_rng());
            Words state = {static_cast<int32_t>(g_rng())};
            CHECK(noise_fill, describe("n=%d shift=%d gain=%d", n, shift, gain),
                  {{words(static_cast<size_t>(n), kRandom), state}, {}},
                  [&](auto f, const Pointers &p) {
                      f(p.w[0], n, reinterpret_cast<uint32_t *>(p.w[1]), gain, shift);
                  });
        }
    }
}

// Joint stereo: M/S in place on both channels; intensity on every mantissa
// the decoder uses (both signs) and random ones, and shifts across and
// beyond each version's fast range.
void check_stereo(const Kernels &k)
{
    static const int32_t mantissas[] = {16384, 19484, 23170, 27554};
    for (const int n : kCounts) {
        const size_t size = static_cast<size_t>(n);
        for (const Data &d : kAllData) {
            CHECK(ms_sum_difference, describe("n=%d data=%s", n, d.name),
                  {{words(size, d), words(size, kEdges)}, {}},
                  [&](auto f, const Pointers &p) { f(p.w[0], p.w[1], n); });
            for (const int32_t shift : {-40, -32, -31, -17, -1, 0, 1, 2, 7, 14, 17, 18, 31, 32}) {
                const int32_t pick = static_cast<int32_t>(g_rng() % 6);
                const int32_t m = pick < 4 ? mantissas[pick] * (g_rng() % 2 ? 1 : -1)
                                           : static_cast<int16_t>(g_rng()) / 2;
                CHECK(intensity_scale, describe("n=%d data=%s m=%d shift=%d", n, d.name, m, shift),
                      {{words(size, d), words(size, kRandom)}, {}},
                      [&](auto f, const Pointers &p) { f(p.w[0], p.w[1], m, shift, n); });
            }
        }
    }
}

// The SBR input: the hand-off, the peak and the scaled input on every kind
// of word (the bounds saturate in the hand-off and the bias), at each shift.
void check_sbr_input(const Kernels &k)
{
    for (const int n : kCounts) {
        const size_t size = static_cast<size_t>(n);
        for (const Data &d : kAllData) {
            const Buffers in{{words(size, d), words(size, kRandom)}, {}};
            CHECK(sbr_hand_off, describe("n=%d data=%s", n, d.name), in,
                  [&](auto f, const Pointers &p) { f(p.w[1], p.w[0], n); });
            CHECK(sbr_input_peak, describe("n=%d data=%s", n, d.name), in,
                  [&](auto f, const Pointers &p) { return f(p.w[0], n); });
            for (const int32_t shift : {0, 1, 7, 24, 31}) {
                CHECK(sbr_input_scale, describe("n=%d data=%s shift=%d", n, d.name, shift), in,
                      [&](auto f, const Pointers &p) { f(p.w[0], p.w[1], n, shift); });
                CHECK(sbr_rescale_down, describe("n=%d data=%s shift=%d", n, d.name, shift), in,
                      [&](auto f, const Pointers &p) { f(p.w[0], p.w[1], n, shift); });
            }
        }
    }
}

// Parametric stereo's all-pass chains: both configurations' coefficient
// tables, delay lines and input within the decoder's bound 2^30 (random,
// audio-like and at the bound), every count up to the 34-band one.
void check_ps(const Kernels &k)
{
    const auto bounded = [](size_t n, int kind) {
        Words v(n);
        for (auto &x : v) {
            const int32_t r = static_cast<int32_t>(g_rng()) >> (kind == 0 ? 1 : 1 + g_rng() % 24);
            x = kind == 2 && g_rng() % 2 ? (g_rng() % 2 ? 1 << 30 : -(1 << 30)) : r;
        }
        return v;
    };
    for (const bool b34 : {false, true}) {
        const int bands = b34 ? 50 : 30;
        const size_t size = static_cast<size_t>(bands);
        const Words decorr = b34 ? table(fxaac::ps::kDecorr34[0][0], 8 * size)
                                 : table(fxaac::ps::kDecorr20[0][0], 8 * size);
        const Words gain = b34 ? table(fxaac::ps::kAllpassGain34[0], 3 * size)
                               : table(fxaac::ps::kAllpassGain20[0], 3 * size);
        for (const int n : {bands, 29, 17, 8, 5, 4, 3, 1, 0}) {
            for (int kind = 0; kind < 3; kind++) {
                const Buffers in{{decorr, gain, bounded(2 * size, kind), bounded(2 * size, kind),
                                  bounded(2 * size, kind), bounded(2 * size, kind),
                                  bounded(2 * size, kind), Words(2 * size)},
                                 {}};
                CHECK(ps_allpass, describe("34=%d n=%d kind=%d", b34, n, kind), in,
                      [&](auto f, const Pointers &p) {
                          f(p.w[0], p.w[1], p.w[2], p.w[3], p.w[4], p.w[5], p.w[6], p.w[7], n);
                      });
            }
        }
    }
    // The mixing: matrices of the decoder's range (|h| <= 2^31, Q30) and at
    // the bounds, sums up to 2^62 (the clamp's both sides and beyond int32).
    for (const int n : {91, 61, 29, 8, 3, 2, 1, 0}) {
        const size_t size = static_cast<size_t>(n);
        for (int kind = 0; kind < 3; kind++) {
            Words h(4);
            for (auto &c : h) {
                c = kind == 2 ? (g_rng() % 2 ? kMin : kMax) : static_cast<int32_t>(g_rng()) >> kind;
            }
            CHECK(ps_mix_real, describe("n=%d kind=%d", n, kind),
                  {{bounded(2 * size, kind), bounded(2 * size, kind), Words(2 * size),
                    Words(2 * size), h},
                   {}},
                  [&](auto f, const Pointers &p) { f(p.w[0], p.w[1], p.w[2], p.w[3], p.w[4], n); });
        }
    }
    // The hybrid filters: the decoder's tables over samples within the
    // input bound 2^27 (random, audio-like and at the bound).
    for (int kind = 0; kind < 3; kind++) {
        Words x = bounded(26, kind);
        for (auto &v : x)
            v >>= 3;
        for (const auto &[taps, count] : {std::pair{fxaac::ps::kHybrid20Band0[0][0], 8},
                                          {fxaac::ps::kHybrid34Band0[0][0], 12},
                                          {fxaac::ps::kHybrid34Band2[0][0], 4}}) {
            for (const int n : {count, 1, 0}) {
                CHECK(ps_hybrid_filters, describe("filters=%d kind=%d", n, kind),
                      {{x, table(taps, 26 * static_cast<size_t>(count)), Words(2 * 12)}, {}},
                      [&](auto f, const Pointers &p) { f(p.w[0], p.w[1], p.w[2], n); });
            }
        }
    }
    // The interpolation: matrices of the decoder's range (Q30) and any words
    // (differences that overflow), at the ends and within an envelope.
    for (const int n : {272, 160, 7, 4, 1, 0}) {
        const size_t size = static_cast<size_t>(n);
        for (const int32_t q : {0, 1, 1 << 29, 357913941, (1 << 30) - 1, 1 << 30}) {
            for (const Data &d : kAllData) {
                CHECK(ps_interpolate, describe("n=%d q=%d data=%s", n, q, d.name),
                      {{words(size, d), bounded(size, 0), Words(size)}, {}},
                      [&](auto f, const Pointers &p) { f(p.w[0], p.w[1], p.w[2], q, n); });
            }
        }
    }
}

// SBR HF generation: the work matrix (40 rows of 64 complex samples) within
// the analysis bound 2^27, the covariance sums of every range the decoder can
// ask for and short ones, the prediction of patches of odd and even widths
// over the full and partial rows, coefficients of the whole Q29 range.
void check_hf_generation(const Kernels &k)
{
    constexpr size_t kMatrix = 40 * 128;
    const auto matrix = [](int kind) {
        Words m(kMatrix);
        for (auto &x : m) {
            const int32_t r = static_cast<int32_t>(g_rng()) >> (5 + (kind == 1 ? g_rng() % 20 : 0));
            x = kind == 2 && g_rng() % 3 == 0 ? (g_rng() % 2 ? (1 << 27) - 1 : 1 - (1 << 27)) : r;
        }
        return m;
    };
    for (int kind = 0; kind < 3; kind++) {
        const Words rows = matrix(kind);
        for (const auto &[lo, hi] : {std::pair{0, 32}, {1, 32}, {3, 20}, {5, 6}, {7, 7}, {0, 1}}) {
            CHECK(sbr_covariance_sums, describe("lo=%d hi=%d kind=%d", lo, hi, kind),
                  {{rows, Words(2 * 5 * 32)}, {}}, [&](auto f, const Pointers &p) {
                      f(p.w[0], lo, hi, reinterpret_cast<int64_t *>(p.w[1]));
                  });
        }
        for (const auto &[t, src, n, r0, r1] : {std::array{32, 1, 13, 2, 40},
                                                {20, 0, 12, 9, 35},
                                                {45, 20, 8, 2, 3},
                                                {60, 3, 3, 38, 40},
                                                {33, 2, 1, 2, 40},
                                                {40, 4, 0, 2, 40}}) {
            const Words c0 = words(2 * 32, kRandom), c1 = words(2 * 32, kEdges);
            CHECK(sbr_predict_patch,
                  describe("k=%d p=%d n=%d rows %d-%d kind=%d", t, src, n, r0, r1, kind),
                  {{rows, c0, c1}, {}},
                  [&](auto f, const Pointers &p) { f(p.w[0], t, src, n, p.w[1], p.w[2], r0, r1); });
        }
    }
}

// SBR HF adjustment's rows: a work matrix of any words and of the analysis
// range, gains with shifts 0 to 62 (multipliers up to 2^31 - 1), noise
// levels of every size and none, noise indices that wrap the table.
void check_hf_adjustment(const Kernels &k)
{
    constexpr size_t kMatrix = 40 * 128;
    for (const Data &d : kAllData) {
        const Words rows = words(kMatrix, d);
        for (const auto &[mul, shift, qHi] : {std::array{1 << 30, 30, 0},
                                              {INT32_MAX, 62, 123456789},
                                              {12345, 0, -1},
                                              {987654321, 17, INT32_MAX},
                                              {1 << 20, 45, INT32_MIN},
                                              {2, 1, 65536}}) {
            for (const auto &[r0, n, index, step] :
                 {std::array{2, 38, 0, 1}, {5, 7, 510, 37}, {39, 1, 511, 3}, {3, 0, 7, 9}}) {
                CHECK(sbr_adjust_rows,
                      describe("mul=%d shift=%d q=%d rows %d+%d noise %d+%d data=%s", mul, shift,
                               qHi, r0, n, index, step, d.name),
                      {{rows}, {}}, [&](auto f, const Pointers &p) {
                          f(p.w[0] + 128 * r0 + 2 * 21, n, mul, shift, qHi, index, step);
                      });
            }
        }
    }
}

// Dequantisation: quantised values mostly small (the table lookup), with
// zeros, escapes, magnitudes past 8191 and -32768 mixed in; every gain form
// over its range of factors and shifts; apart and in place (the values in
// the upper half of the output's memory).
void check_dequantize(const Kernels &k)
{
    static const int16_t rare[] = {16, -17, 511, -512, 8191, -8191, 8206, 32767, -32768};
    const auto values = [](size_t n, int kind) {
        Coefs v(n);
        for (auto &x : v) {
            const uint32_t r = g_rng();
            x = kind == 0   ? static_cast<int16_t>(static_cast<int32_t>(r % 31) - 15)
                : kind == 1 ? (r % 5 == 0 ? static_cast<int16_t>(static_cast<int32_t>(r % 7) - 3)
                                          : int16_t{0})
                            : (r % 6 == 0 ? rare[r % std::size(rare)]
                                          : static_cast<int16_t>(static_cast<int32_t>(r % 9) - 4));
        }
        return v;
    };
    // Runs of every gain form over its range of factors and shifts, silent
    // ones, of widths 0 to 20 (the ends of whole steps) and none.
    const auto runs = [](int count, int n) {
        static const int32_t forms[][3] = {
            {0, 16384, 1}, {0, 27554, 27}, {0, 19484, 13}, {1, 23170 << 16, 0}, {1, 27554 << 5, 0},
            {1, 19485, 0}, {2, 16384, 1},  {2, 27554, 15}, {3, 0, 0},           {4, 0, 0}};
        Words r;
        int32_t at = 0;
        for (int i = 0; i < count && at < n; i++) {
            const int32_t width = std::min<int32_t>(static_cast<int32_t>(g_rng() % 21), n - at);
            const int32_t *f = forms[g_rng() % std::size(forms)];
            r.insert(r.end(), {at, at + width, f[0], f[1], f[2]});
            at += width;
        }
        r.insert(r.end(), {at, n, 3, 0, 0});
        return r;
    };
    for (const int n : {1024, 128, 36, 9, 4, 0}) {
        const size_t size = static_cast<size_t>(n);
        for (int kind = 0; kind < 3; kind++) {
            const Coefs q = values(size, kind);
            for (const int count : {200, 40, 1, 0}) {
                const Words r = runs(count, n);
                const auto runs_in = static_cast<int32_t>(r.size() / 5);
                const std::string what = describe("n=%d kind=%d runs=%d", n, kind, runs_in);
                CHECK(dequantize_bands, what, {{Words(size), r}, {q}},
                      [&](auto fn, const Pointers &p) { fn(p.c[0], p.w[0], p.w[1], runs_in); });
                if (n != 1024)
                    continue;
                Words shared(1024);
                std::memcpy(shared.data() + 512, q.data(), sizeof(int16_t) * 1024);
                CHECK(dequantize_bands, what + " in place", {{shared, r}, {}},
                      [&](auto fn, const Pointers &p) {
                          fn(reinterpret_cast<const int16_t *>(p.w[0] + 512), p.w[0], p.w[1],
                             runs_in);
                      });
            }
        }
    }
}

// Output of exactly 2n elements (channel slot 0 or 1); the other channel's
// elements hold values that must survive.
void check_pcm(const Kernels &k)
{
    for (const int n : kCounts) {
        const size_t size = static_cast<size_t>(n);
        for (const Data &d : kAllData) {
            for (const int slot : {0, 1}) {
                Coefs cells(2 * size);
                for (auto &c : cells)
                    c = static_cast<int16_t>(g_rng());
                const Buffers in16{{words(size, d)}, {cells}};
                const Buffers in24{{words(size, d), words(2 * size, kRandom)}, {}};
                if (n == 0 && slot == 1)
                    continue;  // no room for the slot
                const std::string what = describe("n=%d slot=%d data=%s", n, slot, d.name);
                CHECK(pcm16_interleave, what, in16,
                      [&](auto f, const Pointers &p) { f(p.w[0], p.c[0] + slot, n); });
                CHECK(pcm24_interleave, what, in24,
                      [&](auto f, const Pointers &p) { f(p.w[0], p.w[1] + slot, n); });
            }
        }
    }
}

// The SBR QMF banks. Random Q31 tables never hold -2^31 (the synthesis
// window's contract; elsewhere it keeps the sums of two products in range).
Words q31_table(const int32_t *t, size_t n, bool random)
{
    Words v = random ? words(n, kEdges) : table(t, n);
    for (auto &w : v)
        w = w == kMin ? kMin + 1 : w;
    return v;
}

void check_qmf(const Kernels &k)
{
    using fxaac::sbr::kQmfWindow;
    for (const Data &d : kAllData) {
        // DCT-IV input with sum |in| <= 2^30: every word shifted down; the
        // second transform's input of another kind
        for (const int32_t n : {32, 64}) {
            const size_t size = static_cast<size_t>(n);
            Words in0 = words(size, d), in1 = words(size, kAllData[g_rng() % std::size(kAllData)]);
            for (auto &v : in0)
                v >>= n == 64 ? 7 : 6;
            for (auto &v : in1)
                v >>= n == 64 ? 7 : 6;
            CHECK(qmf_dct4x2, describe("n=%d data=%s", n, d.name),
                  {{in0, in1, Words(size), Words(size)}, {}},
                  [&](auto f, const Pointers &p) { f(p.w[0], p.w[1], p.w[2], p.w[3], n); });
        }
        for (const bool random : {false, true}) {
            // Analysis: any history; random windows within 2^27 a tap keep
            // the ten products of a fold below 2^63.
            Words window = table(kQmfWindow, 640);
            if (random) {
                for (auto &w : window)
                    w = kEdges.word() >> 4;
            }
            CHECK(qmf_analysis_fold, describe("data=%s random window=%d", d.name, random),
                  {{words(320, d), window, Words(32), Words(32)}, {}},
                  [&](auto f, const Pointers &p) { f(p.w[0], p.w[1], p.w[2], p.w[3]); });
            const Words rotation = q31_table(fxaac::sbr::kQmfAnalysisRotation[0], 64, random);
            CHECK(qmf_analysis_rotate, describe("data=%s random table=%d", d.name, random),
                  {{words(32, d), words(32, kRandom), rotation, Words(64)}, {}},
                  [&](auto f, const Pointers &p) { f(p.w[0], p.w[1], p.w[2], p.w[3]); });
            // Synthesis: every shift the decoder uses (30 to 43) and the
            // contract's ends, rows of any words, every ring position.
            const Words taps = q31_table(kQmfWindow, 640, random);
            for (const int32_t n : {64, 32}) {
                const size_t size = static_cast<size_t>(n);
                for (const int32_t shift : {30, 31, 32, 33, 35, 37, 40, 43, 1, 2, 62}) {
                    const int32_t head = static_cast<int32_t>(g_rng() % 9);
                    const Data &rows = g_rng() % 2 ? kRandom : kAllData[1];
                    CHECK(qmf_synthesis_window,
                          describe("n=%d shift=%d head=%d data=%s random window=%d", n, shift, head,
                                   d.name, random),
                          {{words(9 * 64, rows), words(size, d), words(size, d), taps, Words(size)},
                           {}},
                          [&](auto f, const Pointers &p) {
                              f(p.w[0], head, p.w[1], p.w[2], p.w[3], n, shift, p.w[4]);
                          });
                }
            }
        }
        // The synthesis input: any words, quiet ones (the largest gain) and
        // words about the clamp (2^27) and each exponent's threshold.
        for (const int32_t n : {64, 32}) {
            const size_t size = static_cast<size_t>(n);
            for (const int quiet : {0, 8, 16, 20, 23, 24, 25}) {
                Words in = words(2 * size, d);
                for (auto &v : in) {
                    v >>= quiet;
                    if (quiet <= 8 && g_rng() % 8 == 0) {
                        const int32_t edge = (1 << (g_rng() % 28)) +
                                             static_cast<int32_t>(g_rng() % 3) - 1;
                        v = g_rng() % 2 ? edge : -edge;
                    }
                }
                CHECK(qmf_synthesis_prepare, describe("n=%d data=%s >> %d", n, d.name, quiet),
                      {{in, Words(size), Words(size)}, {}},
                      [&](auto f, const Pointers &p) { return f(p.w[0], p.w[1], p.w[2], n); });
            }
        }
    }
}

// ---- Timing (--bench) ------------------------------------------------------

// Nanoseconds per call(f, buffers) on a fresh copy of in's word buffers, the
// copy's own time taken out; the best of several rounds.
template <class F, class Call>
double nanoseconds(F f, const Buffers &in, Call call)
{
    Buffers work = in;
    Pointers p;
    for (auto &v : work.w)
        p.w.push_back(v.data());
    for (auto &v : work.c)
        p.c.push_back(v.data());
    auto restore = [&] {
        for (size_t b = 0; b < in.w.size(); ++b) {
            std::memcpy(work.w[b].data(), in.w[b].data(), in.w[b].size() * sizeof(int32_t));
        }
        asm volatile("" ::: "memory");
    };
    using Clock = std::chrono::steady_clock;
    constexpr int kReps = 2000;
    double with_call = 1e300, copy_only = 1e300;
    for (int round = 0; round < 5; ++round) {
        const auto t0 = Clock::now();
        for (int i = 0; i < kReps; ++i)
            restore(), call(f, p);
        const auto t1 = Clock::now();
        for (int i = 0; i < kReps; ++i)
            restore();
        const auto t2 = Clock::now();
        with_call = std::min(with_call, std::chrono::duration<double, std::nano>(t1 - t0).count());
        copy_only = std::min(copy_only, std::chrono::duration<double, std::nano>(t2 - t1).count());
    }
    return std::max(with_call - copy_only, 0.0) / kReps;
}

// One row: the kernel's time per call in each version, and its speed-up over
// the first (portable) one.
template <class F, class Call>
void bench(const std::vector<Kernels> &all, F fxaac::KernelTable::*kernel, const char *name,
           const Buffers &in, Call call)
{
    std::printf("%-17s", name);
    double portable_ns = 0;
    for (const Kernels &k : all) {
        if (!(k.*kernel)) {
            std::printf(" %19s", "-");
            continue;
        }
        const double ns = nanoseconds(k.*kernel, in, call);
        if (&k == &all.front())
            portable_ns = ns;
        std::printf(" %8.0f ns (x%4.1f)", ns, ns > 0 ? portable_ns / ns : 0.0);
    }
    std::printf("\n");
}
#define BENCH(kernel, ...) bench(all, &fxaac::KernelTable::kernel, #kernel, __VA_ARGS__)

// Every kernel at the decoder's sizes on audio-like data and its own tables.
void bench_all(const std::vector<Kernels> &all)
{
    const Data audio = kAllData[1];
    std::printf("%-17s", "ns per call");
    for (const Kernels &k : all)
        std::printf(" %19s", k.isa);
    std::printf("\n");
    BENCH(radix4_stage, {{words(1024, audio), table(fxaac::enc_neon_w_512_word32, 768)}, {}},
          [](auto f, const Pointers &p) { f(p.w[1], p.w[0], 512, 512); });
    BENCH(radix4_stage8, {{words(1024, audio), table(fxaac::enc_neon_w_512_8_word32, 24)}, {}},
          [](auto f, const Pointers &p) { f(p.w[1], p.w[0], 512, 8); });
    BENCH(post_radix2,
          {{words(1024, audio), words(1024, audio), table(fxaac::digRevTable2, 64)}, {}},
          [](auto f, const Pointers &p) { f(p.w[1], p.w[0], p.w[2], 512); });
    BENCH(post_radix4, {{words(128, audio), words(128, audio), table(fxaac::digRevTable4, 8)}, {}},
          [](auto f, const Pointers &p) { f(p.w[1], p.w[0], p.w[2], 64); });
    const Buffers twiddle{
        {words(1024, audio), words(2048, audio)},
        {table(fxaac::cosine_array_2048, 512), table(fxaac::sine_array_2048, 512)}};
    BENCH(pre_twiddle, twiddle,
          [](auto f, const Pointers &p) { f(p.w[0], p.w[0] + 1023, p.w[1], p.c[0], p.c[1], 256); });
    BENCH(post_twiddle, twiddle,
          [](auto f, const Pointers &p) { f(p.w[1], p.w[0], p.c[0], p.c[1], 2048, 3); });
    const Buffers block{{words(2048, audio)}, {}};
    BENCH(block_magnitude, block, [](auto f, const Pointers &p) { return f(p.w[0], 2048); });
    BENCH(block_shift, block, [](auto f, const Pointers &p) { f(p.w[0], 3, 1024); });
    const Buffers window{{words(1024, audio), words(1024, audio)},
                         {table(fxaac::kbd_long_fixed, 1024)}};
    BENCH(window_rise, window, [](auto f, const Pointers &p) { f(p.w[0], p.c[0], p.w[1], 1024); });
    BENCH(window_fall, window,
          [](auto f, const Pointers &p) { f(p.w[0], p.c[0] + 1023, p.w[1], 1024); });
    BENCH(window_rise_add, window,
          [](auto f, const Pointers &p) { f(p.w[0], p.c[0], p.w[1], 1024); });
    BENCH(window_fall_add, window,
          [](auto f, const Pointers &p) { f(p.w[0], p.c[0] + 1023, p.w[1], 1024); });
    BENCH(add_saturate, {{words(1024, audio), words(1024, audio), words(1024, audio)}, {}},
          [](auto f, const Pointers &p) { f(p.w[0], p.w[1], p.w[2], 1024); });
    BENCH(pcm16_interleave, {{words(1024, audio)}, {Coefs(2048)}},
          [](auto f, const Pointers &p) { f(p.w[0], p.c[0], 1024); });
    BENCH(pcm24_interleave, {{words(1024, audio), words(2048, audio)}, {}},
          [](auto f, const Pointers &p) { f(p.w[0], p.w[1], 1024); });
    BENCH(radix4_stage_q29, {{words(1024, audio), table(fxaac::fft512_q29, 768)}, {}},
          [](auto f, const Pointers &p) { f(p.w[1], p.w[0], 512, 512); });
    const Buffers q31{{words(1024, audio), words(2048, audio), table(fxaac::imdct_cos_2048, 512),
                       table(fxaac::imdct_sin_2048, 512)},
                      {}};
    BENCH(pre_twiddle_q31, q31,
          [](auto f, const Pointers &p) { f(p.w[0], p.w[0] + 1023, p.w[1], p.w[2], p.w[3], 256); });
    BENCH(post_twiddle_q31, q31,
          [](auto f, const Pointers &p) { f(p.w[1], p.w[0], p.w[2], p.w[3], 2048, -3); });
    const Buffers window_q31{
        {words(1024, audio), words(1024, audio), table(fxaac::window_kbd_long_q31, 1024)}, {}};
    BENCH(window_rise_q31, window_q31,
          [](auto f, const Pointers &p) { f(p.w[0], p.w[2], p.w[1], 1024); });
    BENCH(window_fall_q31, window_q31,
          [](auto f, const Pointers &p) { f(p.w[0], p.w[2] + 1023, p.w[1], 1024); });
}

// ---- The level ---------------------------------------------------------------

// With FXAAC_CPU_LEVEL set (x86-64), the selected versions must be those of
// the level asked for, capped at the CPU's. Exits on a mismatch.
void check_level()
{
    const char *request = std::getenv("FXAAC_CPU_LEVEL");
    if (request == nullptr)
        return;
#if defined(FXAAC_KERNELS_X86)
    fxaac::KernelIsa asked;
    if (!fxaac::kernel_level_named(request, &asked)) {
        std::printf("checkdsp: FXAAC_CPU_LEVEL=%s: not portable, sse41 or avx2\n", request);
        std::exit(2);
    }
    const char *want = fxaac::kernel_isa_name(std::min(asked, fxaac::cpu_kernel_level()));
    if (std::strcmp(fxaac::kernel_isa(), want) != 0) {
        std::printf("checkdsp: FXAAC_CPU_LEVEL=%s selected %s, expected %s\n", request,
                    fxaac::kernel_isa(), want);
        std::exit(1);
    }
#else
    std::printf("checkdsp: FXAAC_CPU_LEVEL=%s ignored: the kernels are chosen when building\n",
                request);
#endif
}

}  // namespace

int main(int argc, char **argv)
{
    uint32_t seed = 20240601u;
    bool timing = false;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--seed") == 0 && i + 1 < argc) {
            seed = static_cast<uint32_t>(std::strtoul(argv[++i], nullptr, 0));
        } else if (std::strcmp(argv[i], "--bench") == 0) {
            timing = true;
        } else {
            std::printf("usage: checkdsp [--seed N] [--bench]\n");
            return 2;
        }
    }
    std::signal(SIGSEGV, on_crash);
    std::signal(SIGBUS, on_crash);
    g_rng.seed(seed);
    check_level();
    const std::vector<Kernels> all = under_test();
    std::printf("checkdsp: seed %u; selected kernels: %s; checking", seed, fxaac::kernel_isa());
    for (const Kernels &k : all)
        std::printf(" %s", k.isa);
    std::printf(" against c\n");
    for (const Kernels &k : all)
        check_fft(k), check_imdct(k), check_vectors(k), check_pcm(k), check_precise(k),
            check_noise(k), check_stereo(k), check_sbr_input(k), check_ps(k), check_qmf(k),
            check_hf_generation(k), check_dequantize(k), check_hf_adjustment(k);
    std::printf("checkdsp: %d calls, all identical to the portable kernels\n", g_calls);
    if (timing) {
        std::vector<Kernels> versions{portable()};
        versions.insert(versions.end(), all.begin(), all.end() - 1);  // not the selected ones
        bench_all(versions);
    }
    return 0;
}
