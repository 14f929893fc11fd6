// The bounded entry point: streaming in pieces of any size, exactly-sized
// buffers, and damaged streams of every kind.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>

#include "support/vectors.h"

using namespace fxaac_test;

namespace {

struct Fed {
    std::vector<int16_t> samples;
    int frames = 0;
    int failures = 0;
    size_t leftover = 0;
};

// Feeds the stream after its header in chunks of 1 to maxChunk bytes; every
// call sees a heap copy of exactly the bytes it is given, so that an
// AddressSanitizer build reports any read past them.
Fed decode_in_pieces(const Vector &v, size_t maxChunk, unsigned seed)
{
    StreamDecoder d(v);
    std::mt19937 rng(seed);
    size_t next = d.headerBytes > 0 ? static_cast<size_t>(d.headerBytes) : 0;
    std::vector<uint8_t> pending;
    std::vector<int16_t> pcm(4096);
    const int32_t sbr = 0;
    Fed fed;
    for (int guard = 0; guard < 1000000; guard++) {
        std::unique_ptr<uint8_t[]> exact(new uint8_t[pending.size() + 1]);
        std::copy(pending.begin(), pending.end(), exact.get());
        FrameStatus st;
        AACPlusDecodeBuffer(d.dec.get(), exact.get(), static_cast<int32_t>(pending.size()),
                            pcm.data(), &st, &sbr);
        if (st.errorCode == FXAAC_ERR_NEED_MORE_INPUT) {
            EXPECT_EQ(st.bytesConsumed, 0);
            if (next >= v.bytes.size())
                break;
            size_t n = std::min(v.bytes.size() - next, 1 + rng() % maxChunk);
            pending.insert(pending.end(), v.bytes.begin() + static_cast<long>(next),
                           v.bytes.begin() + static_cast<long>(next + n));
            next += n;
            continue;
        }
        EXPECT_LE(static_cast<size_t>(st.bytesConsumed), pending.size());
        fed.samples.insert(fed.samples.end(), pcm.begin(), pcm.begin() + st.outputSamples);
        fed.frames++;
        fed.failures += st.outputSamples == 0 && st.errorCode != 0;
        pending.erase(pending.begin(), pending.begin() + std::max(st.bytesConsumed, 1));
    }
    fed.leftover = pending.size() + (v.bytes.size() - next);
    return fed;
}

}  // namespace

TEST(BoundedDecode, PiecesOfAnySizeDecodeLikeTheWholeStream)
{
    int checked = 0;
    for (const Vector &v : load_vectors()) {
        if (v.bytes.size() > 60000)
            continue;  // the smaller half keeps the test quick under emulation
        int failures = 0;
        std::vector<int16_t> whole = decode_unbounded(v, &failures);
        ASSERT_EQ(failures, 0) << v.name;
        for (size_t maxChunk : {size_t{1}, size_t{7}, size_t{300}, size_t{5000}}) {
            Fed fed = decode_in_pieces(v, maxChunk, static_cast<unsigned>(maxChunk));
            EXPECT_EQ(fed.samples, whole) << v.name << " in pieces up to " << maxChunk;
            EXPECT_EQ(fed.failures, 0) << v.name;
            EXPECT_EQ(fed.leftover, 0u) << v.name;
        }
        checked++;
    }
    EXPECT_GE(checked, 10);
}

TEST(BoundedDecode, DamagedStreamsNeverBreakTheDecoder)
{
    std::mt19937 rng(2024);
    for (const Vector &v : load_vectors()) {
        if (v.bytes.size() > 60000)
            continue;
        for (int damage = 0; damage < 4; damage++) {
            Vector bad = v;
            auto &b = bad.bytes;
            const size_t start = 64 + rng() % (b.size() / 2);
            switch (damage) {
            case 0:  // scattered bit flips
                for (int i = 0; i < 40; i++)
                    b[start + rng() % (b.size() - start)] ^= static_cast<uint8_t>(1u
                                                                                  << (rng() % 8));
                break;
            case 1:  // a burst of random bytes
                for (size_t i = start; i < std::min(b.size(), start + 200); i++)
                    b[i] = static_cast<uint8_t>(rng());
                break;
            case 2:  // fake sync words followed by junk
                for (size_t i = start; i + 2 < b.size(); i += 97) {
                    b[i] = 0xFF;
                    b[i + 1] = 0xF1;
                }
                break;
            default:  // cut off in the middle of a frame
                b.resize(start);
                break;
            }
            Fed fed = decode_in_pieces(bad, 4096, static_cast<unsigned>(damage));
            int failures = 0;
            std::vector<int16_t> unbounded = decode_unbounded(bad, &failures);
            // Damage before the end of an ADTS stream is decoded through.
            if (v.kind == "adts" && damage < 3) {
                EXPECT_GT(fed.samples.size(), 0u) << v.name << " damage " << damage;
            }
            if (damage == 3) {
                EXPECT_LT(fed.leftover, v.bytes.size()) << v.name;
            }
            (void)unbounded;
        }
    }
}

TEST(BoundedDecode, NeedMoreInputLeavesTheInstanceAsItWas)
{
    for (const Vector &v : load_vectors()) {
        if (v.name != "chord_48k_s.aac" && v.name != "voice_16k_m.raw")
            continue;
        StreamDecoder d(v);
        const size_t start = d.headerBytes > 0 ? static_cast<size_t>(d.headerBytes) : 0;
        auto before = std::make_unique<AacDecoder>(*d.dec);
        std::vector<int16_t> pcm(4096);
        const int32_t sbr = 0;
        FrameStatus st;
        for (int32_t n : {0, 1, 5, 40}) {
            std::unique_ptr<uint8_t[]> exact(new uint8_t[static_cast<size_t>(n) + 1]);
            std::copy_n(v.bytes.begin() + static_cast<long>(start), n, exact.get());
            AACPlusDecodeBuffer(d.dec.get(), exact.get(), n, pcm.data(), &st, &sbr);
            EXPECT_EQ(st.errorCode, FXAAC_ERR_NEED_MORE_INPUT) << v.name << " " << n;
            EXPECT_EQ(st.bytesConsumed, 0);
            EXPECT_EQ(std::memcmp(before.get(), d.dec.get(), sizeof(AacDecoder)), 0) << v.name;
        }
    }
}
