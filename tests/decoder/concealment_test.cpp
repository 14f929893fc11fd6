// Concealment of a lost frame: the fade-out's shape, silence after it, and a
// stream that continues undisturbed one frame after the loss.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "support/vectors.h"

using namespace fxaac_test;

namespace {

constexpr int N = FXAAC_FRAME_LENGTH;

// The frames of an ADTS vector decoded one by one; frame `lost` (if any) is
// skipped and concealed. Samples are 16-bit, or 24-bit in 32-bit words.
template <typename Sample>
std::vector<std::vector<Sample>> decode_frames(const Vector &v, int lost, int count)
{
    StreamDecoder d(v);
    if (sizeof(Sample) == 4) {
        d->pcmFormat = 2;
    }
    std::vector<std::vector<Sample>> frames;
    std::vector<Sample> pcm(2 * N);
    size_t pos = 0;
    const int32_t sbr = 0;
    while (pos < v.bytes.size() && static_cast<int>(frames.size()) < count) {
        FrameStatus st;
        AACPlusDecodeBuffer(d.dec.get(), v.bytes.data() + pos,
                            static_cast<int32_t>(v.bytes.size() - pos), pcm.data(), &st, &sbr);
        pos += static_cast<size_t>(std::max(st.bytesConsumed, 1));
        if (static_cast<int>(frames.size()) == lost) {
            EXPECT_EQ(AACPlusConcealFrame(d.dec.get(), pcm.data(), &st), v.chn * N);
            EXPECT_EQ(st.outputSamples, v.chn * N);
        }
        frames.emplace_back(pcm.begin(), pcm.begin() + st.outputSamples);
    }
    return frames;
}

template <typename Sample>
int peak(const std::vector<Sample> &x, size_t from, size_t to)
{
    int m = 0;
    for (size_t i = from; i < to && i < x.size(); i++)
        m = std::max(m, std::abs(static_cast<int>(x[i])));
    return m;
}

const Vector &castanets()
{
    static const std::vector<Vector> all = load_vectors();
    for (const Vector &v : all)
        if (v.name == "castanets_44k_s.aac")
            return v;
    std::abort();
}

}  // namespace

TEST(Concealment, NothingBeforeTheFirstFrame)
{
    Instance d;
    std::vector<int16_t> pcm(2 * N, 0x2A2A);
    FrameStatus st = {1, 2, 3, {4, 5}};
    EXPECT_EQ(AACPlusConcealFrame(d.dec.get(), pcm.data(), &st), 0);
    EXPECT_TRUE(st.bytesConsumed == 0 && st.errorCode == 0 && st.outputSamples == 0);
    EXPECT_EQ(pcm[0], 0x2A2A);
}

// A constant overlap shows the fade itself: from full gain down to zero,
// never rising, in both formats and both channel counts; the call after it
// is silent.
TEST(Concealment, FadeFallsMonotonicallyThenSilence)
{
    for (int32_t format : {1, 2}) {
        for (int32_t channels : {1, 2}) {
            Instance d;
            d->pcmFormat = format;
            d->lastChannels = channels;
            d->rawBlocksLeft = 3;
            for (int k = 0; k < channels; k++)
                std::fill_n(d->overlap[k], N,
                            (k ? -1 : 1) * (1 << 23));  // half of full scale
            std::vector<int32_t> words(2 * N);
            FrameStatus st;
            ASSERT_EQ(AACPlusConcealFrame(d.dec.get(), words.data(), &st), channels * N);
            EXPECT_EQ(d->rawBlocksLeft, 0);
            const int half = format == 2 ? 1 << 22 : 1 << 14;
            for (int k = 0; k < channels; k++) {
                auto at = [&](int i) {
                    const int idx = i * channels + k;
                    return format == 2 ? words[idx]
                                       : reinterpret_cast<const int16_t *>(words.data())[idx];
                };
                const int sign = k ? -1 : 1;
                EXPECT_EQ(sign * at(0), half) << format << "/" << channels;
                EXPECT_LE(sign * at(N - 1), half / 512 + 1);
                for (int i = 1; i < N; i++)
                    ASSERT_LE(sign * at(i), sign * at(i - 1)) << "sample " << i;
                EXPECT_NEAR(sign * at(N / 2), half / 2, 1);
            }
            std::fill(words.begin(), words.end(), 7);
            ASSERT_EQ(AACPlusConcealFrame(d.dec.get(), words.data(), &st), channels * N);
            const size_t bytes = static_cast<size_t>(channels * N * (format == 2 ? 4 : 2));
            const auto *b = reinterpret_cast<const uint8_t *>(words.data());
            EXPECT_TRUE(std::all_of(b, b + bytes, [](uint8_t x) { return x == 0; }));
        }
    }
}

// A real stream with frame 20 lost: the concealed frame starts where the lost
// frame would have started (no click) and ends near silence, the next frame
// rises from silence, and from the frame after it the samples are those of
// the undamaged decode.
template <typename Sample>
void check_lost_frame()
{
    const Vector &v = castanets();
    const int lost = 20, count = 40;
    auto ref = decode_frames<Sample>(v, -1, count);
    auto got = decode_frames<Sample>(v, lost, count);
    ASSERT_EQ(got.size(), ref.size());
    for (int f = 0; f < lost; f++)
        ASSERT_EQ(got[f], ref[f]) << "frame " << f;
    const int lsb = sizeof(Sample) == 4 ? 256 : 1;  // one 16-bit step
    const std::vector<Sample> &c = got[lost];
    const int level = peak(ref[lost - 1], 0, ref[lost - 1].size());
    ASSERT_GT(level, 1000 * lsb);
    for (int i = 0; i < 2 * 8; i++)  // the first eight sample pairs
        EXPECT_NEAR(c[i], ref[lost][i], level / 20) << "sample " << i;
    EXPECT_LE(peak(c, c.size() - 64, c.size()), level / 20);
    EXPECT_LE(peak(got[lost + 1], 0, 16), level / 20);
    for (int f = lost + 2; f < count; f++)
        ASSERT_EQ(got[f], ref[f]) << "frame " << f;
}

TEST(Concealment, StreamContinuesAfterTheLostFrame16) { check_lost_frame<int16_t>(); }

TEST(Concealment, StreamContinuesAfterTheLostFrame24) { check_lost_frame<int32_t>(); }
