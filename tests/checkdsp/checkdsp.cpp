// checkdsp: every SIMD version of the decoder's kernels (src/dsp/kernels.h)
// that this build has and this CPU runs, and the selected versions, against
// the portable versions on the same inputs: seeded random words, small
// (audio-like) words, edge values (0, +-1, the 32-bit bounds, the
// saturation and clipping thresholds), constant full-scale blocks, the
// decoder's tables and random ones, at the sizes the decoder uses plus odd
// and short sizes for the pairs rule and the tails.
//
// Each call runs twice on copies of its buffers placed between inaccessible
// pages, flush against the page before and then against the page after, so
// that touching anything outside the buffers crashes. Whole buffers are
// compared, elements a kernel must leave alone included. The first mismatch
// is printed (kernel, ISA, case, buffer and index, expected, got) and the
// program exits with status 1.
#include <sys/mman.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "dsp/kernels.h"
#include "filterbank/transform_tables.h"
#include "filterbank/window_tables.h"

namespace {

using Words = std::vector<int32_t>;
using Coefs = std::vector<int16_t>;
constexpr int32_t kMin = INT32_MIN, kMax = INT32_MAX;

// ---- The versions under test -------------------------------------------

#define FXAAC_FIELD(isa, ret, name, params, args) ret(*name) params = nullptr;
struct Kernels {
  const char *isa;
  FXAAC_KERNEL_LIST(FXAAC_FIELD, )
};

#define FXAAC_SET(isa, ret, name, params, args) k.name = fxaac::name##_##isa;
#define FXAAC_SET_SELECTED(isa, ret, name, params, args) k.name = fxaac::name;

Kernels portable() {
  Kernels k{"c"};
  FXAAC_KERNEL_LIST(FXAAC_SET, c)
  return k;
}

std::vector<Kernels> under_test() {
  std::vector<Kernels> all;
#if defined(FXAAC_KERNELS_X86)
  __builtin_cpu_init();
  if (__builtin_cpu_supports("sse4.1")) {
    Kernels k{"sse41"};
    FXAAC_KERNEL_LIST(FXAAC_SET, sse41)
    all.push_back(k);
  }
  if (__builtin_cpu_supports("avx2")) {
    Kernels k{"avx2"};  // the kernels that have an AVX2 version
    k.radix4_stage = fxaac::radix4_stage_avx2;
    k.radix4_stage8 = fxaac::radix4_stage8_avx2;
    k.pre_twiddle = fxaac::pre_twiddle_avx2;
    k.post_twiddle = fxaac::post_twiddle_avx2;
    k.block_magnitude = fxaac::block_magnitude_avx2;
    k.block_shift = fxaac::block_shift_avx2;
    k.window_rise = fxaac::window_rise_avx2;
    k.window_fall = fxaac::window_fall_avx2;
    k.window_rise_add = fxaac::window_rise_add_avx2;
    k.window_fall_add = fxaac::window_fall_add_avx2;
    k.add_saturate = fxaac::add_saturate_avx2;
    k.pcm16_interleave = fxaac::pcm16_interleave_avx2;
    k.pcm24_interleave = fxaac::pcm24_interleave_avx2;
    all.push_back(k);
  }
#endif
#if defined(FXAAC_KERNELS_NEON) && defined(__ARM_NEON)
  {
    Kernels k{"neon"};
    FXAAC_KERNEL_LIST(FXAAC_SET, neon)
    all.push_back(k);
  }
#endif
  Kernels k{"selected"};
  FXAAC_KERNEL_LIST(FXAAC_SET_SELECTED, )
  all.push_back(k);
  return all;
}

// ---- Buffers between inaccessible pages --------------------------------

char g_running[256];  // what runs, for the crash report

void on_crash(int) {
  static const char kPrefix[] = "checkdsp: CRASH (access outside the buffers) in ";
  if (write(1, kPrefix, sizeof kPrefix - 1) > 0 && write(1, g_running, strlen(g_running)) > 0) {
    if (write(1, "\n", 1) < 0) _exit(1);
  }
  _exit(1);
}

template <class T>
class Guarded {
 public:
  Guarded(const std::vector<T> &init, bool at_end) {
    const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t bytes = init.size() * sizeof(T);
    span_ = (bytes + page - 1) / page * page + 2 * page;
    base_ = static_cast<char *>(
        mmap(nullptr, span_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    if (base_ == MAP_FAILED || mprotect(base_, page, PROT_NONE) != 0 ||
        mprotect(base_ + span_ - page, page, PROT_NONE) != 0) {
      std::perror("checkdsp: mmap");
      std::exit(2);
    }
    data_ = reinterpret_cast<T *>(at_end ? base_ + span_ - page - bytes : base_ + page);
    if (bytes != 0) std::memcpy(data_, init.data(), bytes);
  }
  ~Guarded() { munmap(base_, span_); }
  Guarded(const Guarded &) = delete;
  Guarded &operator=(const Guarded &) = delete;
  T *data() const { return data_; }

 private:
  char *base_;
  size_t span_;
  T *data_;
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

template <class T>
bool same(const std::vector<T> &expected, const T *got, const char *kind, size_t buffer) {
  for (size_t i = 0; i < expected.size(); ++i) {
    if (expected[i] != got[i]) {
      std::printf("checkdsp: MISMATCH %s: %s buffer %zu, index %zu: expected %lld, got %lld\n",
                  g_running, kind, buffer, i, static_cast<long long>(expected[i]),
                  static_cast<long long>(got[i]));
      return false;
    }
  }
  return true;
}

// Runs call (kernels, pointers) -> result with the portable kernels on the
// buffers, then with k on guarded copies, and compares results and buffers.
template <class Call>
bool check(const Kernels &k, const char *kernel, const std::string &what, const Buffers &in,
           Call call) {
  Buffers expected = in;
  Pointers ref;
  for (auto &v : expected.w) ref.w.push_back(v.data());
  for (auto &v : expected.c) ref.c.push_back(v.data());
  const int64_t expected_result = call(portable(), ref);
  std::snprintf(g_running, sizeof g_running, "kernel %s, isa %s, case %s", kernel, k.isa,
                what.c_str());
  for (bool at_end : {false, true}) {
    std::vector<std::unique_ptr<Guarded<int32_t>>> words;
    std::vector<std::unique_ptr<Guarded<int16_t>>> coefs;
    Pointers p;
    for (auto &v : in.w) p.w.push_back(words.emplace_back(new Guarded<int32_t>(v, at_end))->data());
    for (auto &v : in.c) p.c.push_back(coefs.emplace_back(new Guarded<int16_t>(v, at_end))->data());
    const int64_t result = call(k, p);
    ++g_calls;
    if (result != expected_result) {
      std::printf("checkdsp: MISMATCH %s: result: expected %lld, got %lld\n", g_running,
                  static_cast<long long>(expected_result), static_cast<long long>(result));
      return false;
    }
    for (size_t b = 0; b < in.w.size(); ++b) {
      if (!same(expected.w[b], p.w[b], "word", b)) return false;
    }
    for (size_t b = 0; b < in.c.size(); ++b) {
      if (!same(expected.c[b], p.c[b], "coefficient", b)) return false;
    }
  }
  return true;
}

// ---- Inputs ----------------------------------------------------------------

enum class Data { kRandom, kAudio, kEdges, kSparse, kZeros, kMin, kMax };
constexpr Data kAllData[] = {Data::kRandom, Data::kAudio, Data::kEdges, Data::kSparse,
                             Data::kZeros,  Data::kMin,   Data::kMax};
const char *name(Data d) {
  static const char *const names[] = {"random", "audio", "edges", "sparse", "zeros", "min", "max"};
  return names[static_cast<int>(d)];
}

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

int32_t word(Data d) {
  switch (d) {
    case Data::kRandom:
      return static_cast<int32_t>(g_rng());
    case Data::kAudio:
      return static_cast<int32_t>(g_rng()) >> (7 + g_rng() % 20);
    case Data::kEdges:
      return g_rng() % 2 ? kEdgeValues[g_rng() % std::size(kEdgeValues)]
                         : static_cast<int32_t>(g_rng());
    case Data::kSparse:  // zeros and bounds: sums and differences stay bounds
      return g_rng() % 2 ? 0 : (g_rng() % 2 ? kMin : kMax);
    case Data::kZeros:
      return 0;
    case Data::kMin:
      return kMin;
    case Data::kMax:
      return kMax;
  }
  return 0;
}

Words words(size_t n, Data d) {
  Words v(n);
  for (auto &x : v) x = word(d);
  return v;
}

// Random coefficients with the extremes mixed in.
Coefs coefs(size_t n) {
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
std::string describe(const char *format, Args... args) {
  char s[160];
  std::snprintf(s, sizeof s, format, args...);
  return s;
}

// ---- The kernels' cases ---------------------------------------------------

// FFT twiddle words: the decoder's; random Q15 values in the high half;
// random words; random words with many -2^31 (the only value whose
// product, with p = -2^31, saturates).
enum class Twiddle { kTable, kHighHalf, kAny, kWithMin };
Words twiddles(const int32_t *t, size_t n, Twiddle kind) {
  if (kind == Twiddle::kTable) return table(t, n);
  Words v(n);
  for (auto &w : v) {
    w = kind == Twiddle::kHighHalf ? static_cast<int32_t>(static_cast<uint32_t>(coefs(1)[0]) << 16)
                                   : word(Data::kEdges);
    if (w == kMin) w = kMin + 1;
  }
  if (kind == Twiddle::kWithMin) {
    for (size_t i = 0; i < n; i += 1 + g_rng() % 4) v[i] = kMin;
  }
  return v;
}
const char *name(Twiddle t) {
  static const char *const names[] = {"table", "high-half", "any", "with-min"};
  return names[static_cast<int>(t)];
}

bool check_fft(const Kernels &k) {
  using fxaac::enc_neon_w_512_word32;
  using fxaac::enc_neon_w_64_word32;
  struct Stage {
    int32_t N, n;
    const int32_t *w;
  };
  // The decoder's stages, and stage counts that leave a block or a pair of
  // blocks over for eight-lane steps.
  const Stage stages[] = {
      {512, 512, enc_neon_w_512_word32},      {512, 128, enc_neon_w_512_word32 + 768},
      {512, 32, enc_neon_w_512_word32 + 960}, {64, 64, enc_neon_w_64_word32},
      {64, 16, enc_neon_w_64_word32 + 96},    {48, 16, enc_neon_w_64_word32 + 96},
      {96, 32, enc_neon_w_512_word32 + 960}};
  for (const Twiddle tw : {Twiddle::kTable, Twiddle::kHighHalf, Twiddle::kAny, Twiddle::kWithMin}) {
    for (const Data d : kAllData) {
      if (k.radix4_stage) {
        for (const Stage &s : stages) {
          const Buffers in{{words(2 * s.N, d), twiddles(s.w, 6 * s.n / 4, tw)}, {}};
          if (!check(k, "radix4_stage",
                     describe("N=%d n=%d data=%s twiddles=%s", s.N, s.n, name(d), name(tw)), in,
                     [&](const Kernels &v, const Pointers &p) {
                       v.radix4_stage(p.w[1], p.w[0], s.N, s.n);
                       return int64_t{0};
                     })) {
            return false;
          }
        }
      }
      if (k.radix4_stage8) {
        for (const int32_t N : {512, 48, 16}) {
          const Buffers in{{words(2 * N, d), twiddles(fxaac::enc_neon_w_512_8_word32, 24, tw)}, {}};
          if (!check(k, "radix4_stage8", describe("N=%d data=%s twiddles=%s", N, name(d), name(tw)),
                     in, [&](const Kernels &v, const Pointers &p) {
                       v.radix4_stage8(p.w[1], p.w[0], N, 8);
                       return int64_t{0};
                     })) {
            return false;
          }
        }
      }
    }
  }
  for (const Data d : kAllData) {
    if (k.post_radix2) {
      const Buffers in{{words(1024, d), words(1024, Data::kRandom), table(fxaac::digRevTable2, 64)},
                       {}};
      if (!check(k, "post_radix2", describe("N=512 data=%s", name(d)), in,
                 [](const Kernels &v, const Pointers &p) {
                   v.post_radix2(p.w[1], p.w[0], p.w[2], 512);
                   return int64_t{0};
                 })) {
        return false;
      }
    }
    if (k.post_radix4) {
      const Buffers in{{words(128, d), words(128, Data::kRandom), table(fxaac::digRevTable4, 8)},
                       {}};
      if (!check(k, "post_radix4", describe("N=64 data=%s", name(d)), in,
                 [](const Kernels &v, const Pointers &p) {
                   v.post_radix4(p.w[1], p.w[0], p.w[2], 64);
                   return int64_t{0};
                 })) {
        return false;
      }
    }
  }
  return true;
}

bool check_imdct(const Kernels &k) {
  struct Size {
    int32_t N;
    const int16_t *cosine, *sine;
  };
  // The two transforms, and sizes that are not whole eight-lane steps.
  const Size sizes[] = {{2048, fxaac::cosine_array_2048, fxaac::sine_array_2048},
                        {256, fxaac::cosine_array_256, fxaac::sine_array_256},
                        {96, fxaac::cosine_array_256, fxaac::sine_array_256},
                        {32, fxaac::cosine_array_256, fxaac::sine_array_256}};
  const int32_t shifts[] = {-12, -7,  -2,  -1,  0,   1,   5,   19,   31,  32,
                            40,  256, 300, -30, -31, -32, -40, -256, -300};
  for (const Size &s : sizes) {
    const size_t M = static_cast<size_t>(s.N / 4);
    for (const bool own_tables : {false, true}) {
      for (const Data d : kAllData) {
        const Coefs cs = own_tables ? coefs(M) : table(s.cosine, M);
        const Coefs sn = own_tables ? coefs(M) : table(s.sine, M);
        const char *tables = own_tables ? "random" : "decoder";
        if (k.pre_twiddle) {
          const Buffers in{{words(s.N / 2, d), words(s.N / 2, Data::kRandom)}, {cs, sn}};
          if (!check(k, "pre_twiddle", describe("N=%d data=%s tables=%s", s.N, name(d), tables), in,
                     [&](const Kernels &v, const Pointers &p) {
                       v.pre_twiddle(p.w[0], p.w[0] + s.N / 2 - 1, p.w[1], p.c[0], p.c[1], s.N / 8);
                       return int64_t{0};
                     })) {
            return false;
          }
        }
        for (const int32_t shift : shifts) {
          if (!k.post_twiddle) break;
          const Buffers in{{words(s.N / 2, d), words(s.N, Data::kRandom)}, {cs, sn}};
          if (!check(k, "post_twiddle",
                     describe("N=%d shift=%d data=%s tables=%s", s.N, shift, name(d), tables), in,
                     [&](const Kernels &v, const Pointers &p) {
                       v.post_twiddle(p.w[1], p.w[0], p.c[0], p.c[1], s.N, shift);
                       return int64_t{0};
                     })) {
            return false;
          }
        }
      }
    }
  }
  const int32_t shifts_in[] = {-21, -10, -1,  0,   1,   3,   10,   31,   32,
                               40,  255, 256, -31, -32, -40, -256, kMin, kMax};
  for (const int32_t n : {2048, 1024, 256, 128, 2047, 1023, 255, 127, 34, 17, 16, 15, 3, 2, 1, 0}) {
    for (const Data d : kAllData) {
      const Buffers in{{words(static_cast<size_t>(n), d)}, {}};
      // Also a single -2^31 (saturated magnitude 2^31 - 1) among the
      // values measured.
      Buffers one = in;
      if (n >= 2) one.w[0][g_rng() % static_cast<uint32_t>(n / 2)] = kMin;
      for (const Buffers *b : {&in, static_cast<const Buffers *>(&one)}) {
        if (k.block_magnitude &&
            !check(k, "block_magnitude",
                   describe("n=%d data=%s%s", n, name(d), b == &in ? "" : " one -2^31"), *b,
                   [&](const Kernels &v, const Pointers &p) {
                     return int64_t{v.block_magnitude(p.w[0], n)};
                   })) {
          return false;
        }
      }
      for (const int32_t shift : shifts_in) {
        if (k.block_shift &&
            !check(k, "block_shift", describe("n=%d shift=%d data=%s", n, shift, name(d)), in,
                   [&](const Kernels &v, const Pointers &p) {
                     v.block_shift(p.w[0], shift, n);
                     return int64_t{0};
                   })) {
          return false;
        }
      }
    }
  }
  return true;
}

// The window lengths and the pairs rule's odd and short counts.
constexpr int kCounts[] = {1024, 128, 1023, 127, 17, 16, 15, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0};

bool check_vectors(const Kernels &k) {
  for (const int n : kCounts) {
    const size_t size = static_cast<size_t>(n);
    const Coefs window = n == 1024  ? table(fxaac::kbd_long_fixed, 1024)
                         : n == 128 ? table(fxaac::dec_sin_short_fixed, 128)
                                    : coefs(size);
    for (const Data d : kAllData) {
      struct Window {
        const char *name;
        void (*Kernels::*kernel)(const int32_t *, const int16_t *, int32_t *, int);
        bool falling;
      };
      const Window kinds[] = {{"window_rise", &Kernels::window_rise, false},
                              {"window_fall", &Kernels::window_fall, true},
                              {"window_rise_add", &Kernels::window_rise_add, false},
                              {"window_fall_add", &Kernels::window_fall_add, true}};
      for (const Window &wk : kinds) {
        if (!(k.*wk.kernel)) continue;
        const Buffers in{{words(size, d), words(size, Data::kEdges)}, {n == 0 ? coefs(1) : window}};
        const int last = n == 0 ? 0 : n - 1;  // the falling kernels' first coefficient
        auto call = [&](bool in_place) {
          return [&, in_place](const Kernels &v, const Pointers &p) {
            int32_t *y = in_place ? p.w[0] : p.w[1];
            (v.*wk.kernel)(p.w[0], wk.falling ? p.c[0] + last : p.c[0], y, n);
            return int64_t{0};
          };
        };
        if (!check(k, wk.name, describe("n=%d data=%s", n, name(d)), in, call(false)) ||
            !check(k, wk.name, describe("n=%d data=%s in place", n, name(d)), in, call(true))) {
          return false;
        }
      }
      if (k.add_saturate) {
        // Sums around the bounds: y close to the distance of x from a bound.
        Words y = words(size, Data::kEdges);
        const Words x = words(size, d);
        for (size_t i = 0; i < size; i += 3) {
          y[i] = static_cast<int32_t>((x[i] < 0 ? int64_t{kMin} : int64_t{kMax}) - x[i] +
                                      static_cast<int32_t>(g_rng() % 5) - 2);
        }
        const Buffers in{{x, y, words(size, Data::kRandom)}, {}};
        for (const int out : {2, 1}) {
          if (!check(k, "add_saturate",
                     describe("n=%d data=%s into %s", n, name(d), out == 1 ? "y" : "z"), in,
                     [&](const Kernels &v, const Pointers &p) {
                       v.add_saturate(p.w[0], p.w[1], p.w[out], n);
                       return int64_t{0};
                     })) {
            return false;
          }
        }
      }
    }
  }
  return true;
}

bool check_pcm(const Kernels &k) {
  for (const int n : kCounts) {
    const size_t size = static_cast<size_t>(n);
    for (const Data d : kAllData) {
      for (const int slot : {0, 1}) {
        // Output of exactly 2n elements (channel slot 0 or 1); the other
        // channel's elements hold values that must survive.
        Coefs cells(2 * size);
        for (auto &c : cells) c = static_cast<int16_t>(g_rng());
        const Buffers in16{{words(size, d)}, {cells}};
        const Buffers in24{{words(size, d), words(2 * size, Data::kRandom)}, {}};
        const std::string what = describe("n=%d slot=%d data=%s", n, slot, name(d));
        if (n == 0 && slot == 1) continue;  // no room for the slot
        if (k.pcm16_interleave &&
            !check(k, "pcm16_interleave", what, in16, [&](const Kernels &v, const Pointers &p) {
              v.pcm16_interleave(p.w[0], p.c[0] + slot, n);
              return int64_t{0};
            })) {
          return false;
        }
        if (k.pcm24_interleave &&
            !check(k, "pcm24_interleave", what, in24, [&](const Kernels &v, const Pointers &p) {
              v.pcm24_interleave(p.w[0], p.w[1] + slot, n);
              return int64_t{0};
            })) {
          return false;
        }
      }
    }
  }
  return true;
}

}  // namespace

int main() {
  std::signal(SIGSEGV, on_crash);
  std::signal(SIGBUS, on_crash);
  const std::vector<Kernels> all = under_test();
  std::printf("checkdsp: selected kernels: %s; checking", fxaac::kernel_isa());
  for (const Kernels &k : all) std::printf(" %s", k.isa);
  std::printf(" against c\n");
  for (const Kernels &k : all) {
    if (!check_fft(k) || !check_imdct(k) || !check_vectors(k) || !check_pcm(k)) return 1;
  }
  std::printf("checkdsp: %d calls, all identical to the portable kernels\n", g_calls);
  return 0;
}
