// The SBR payload readers and the delta decoding against the test's own
// encoder of the syntax (sbr_payload_writer.h): random frames over every
// syntax path read back exactly, hand-written grids give the borders of
// ISO/IEC 14496-3 4.6.18.3.3, and damaged payloads fail with their error,
// reading nothing outside their bytes.
#include "sbr/sbr_deltas.h"
#include "sbr/sbr_syntax.h"
#include "sbr/sbr_payload_writer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

using namespace fxaac::sbr;
using fxaac::init_bounded;
using fxaac_test::BitWriter;
using fxaac_test::SbrChannelModel;
using fxaac_test::SbrFrameModel;
using fxaac_test::WriterHistory;

// Frequency tables with the given f_TableHigh edges; f_TableLow by its
// construction (every second edge, the first kept), noise bands spread
// over it (the syntax needs only their count).
FrequencyTables make_tables(const std::vector<int> &high, int nNoise)
{
    FrequencyTables t{};
    int nHigh = static_cast<int>(high.size()) - 1;
    t.nHigh = static_cast<uint8_t>(nHigh);
    t.nLow = static_cast<uint8_t>((nHigh + 1) / 2);
    t.nNoise = static_cast<uint8_t>(nNoise);
    t.kx = static_cast<uint8_t>(high[0]);
    t.k2 = static_cast<uint8_t>(high[static_cast<size_t>(nHigh)]);
    t.m = static_cast<uint8_t>(t.k2 - t.kx);
    for (int k = 0; k <= nHigh; k++)
        t.high[k] = static_cast<uint8_t>(high[static_cast<size_t>(k)]);
    for (int k = 0; k <= t.nLow; k++)
        t.low[k] = t.high[k == 0 ? 0 : 2 * k - (nHigh & 1)];
    for (int q = 0; q <= nNoise; q++)
        t.noise[q] = t.low[q * t.nLow / nNoise];
    return t;
}

// Tables of realistic shapes: even and odd N_high, the largest (48 bands of
// one subband, 5 noise bands) and a tiny one.
std::vector<FrequencyTables> test_tables()
{
    std::vector<int> widest;
    for (int k = 16; k <= 64; k++)
        widest.push_back(k);
    return {
        make_tables({16, 18, 20, 22, 24, 26, 28, 30, 32, 35, 38, 41, 44, 48, 52, 56, 61}, 3),
        make_tables({20, 22, 24, 26, 29, 32, 35, 39, 43, 48, 53, 59}, 2),
        make_tables(widest, 5),
        make_tables({40, 44, 50, 60}, 1),
    };
}

// The range of values and the start-value bits of sbr_envelope() and
// sbr_noise(), by resolution and balance.
int max_env(int ampRes, bool balance) { return balance ? (ampRes ? 24 : 48) : (ampRes ? 63 : 127); }
int max_noise(bool balance) { return balance ? 24 : 30; }

// What the generator knows of a channel's previous frame.
struct GenHistory {
    WriterHistory w;
    int ampRes = 0;
    bool balance = false;
};

// Random valid frames over every syntax path.
class FrameGenerator {
public:
    explicit FrameGenerator(uint32_t seed) : rng_(seed) {}

    int uni(int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng_); }
    bool chance(int percent) { return uni(0, 99) < percent; }

    void grid(SbrChannelModel *c, int headerAmpRes)
    {
        c->frameClass = uni(0, 3);
        c->ampRes = headerAmpRes;
        c->pointer = 0;
        c->numRelLead = 0;
        if (c->frameClass == kFixFix) {
            static const std::vector<int> kFixed[3] = {{0, 16}, {0, 8, 16}, {0, 4, 8, 12, 16}};
            c->borders = kFixed[uni(0, 2)];
            c->freqRes.assign(static_cast<size_t>(c->num_env()), uni(0, 1));
            if (c->num_env() == 1)
                c->ampRes = 0;
            return;
        }
        bool varLead = c->frameClass != kFixVar, varTrail = c->frameClass != kVarFix;
        for (;;) {
            int lead = varLead ? uni(0, 3) : 0, trail = kTimeSlots + (varTrail ? uni(0, 3) : 0);
            int nLead = varLead ? uni(0, 3) : 0, nTrail = varTrail ? uni(0, 3) : 0;
            if (nLead + nTrail + 1 > kMaxEnvelopes)
                continue;
            std::vector<int> front = {lead}, back = {trail};
            for (int i = 0; i < nLead; i++)
                front.push_back(front.back() + 2 * uni(1, 4));
            for (int i = 0; i < nTrail; i++)
                back.insert(back.begin(), back.front() - 2 * uni(1, 4));
            front.insert(front.end(), back.begin(), back.end());
            if (std::adjacent_find(front.begin(), front.end(), std::greater_equal<int>()) !=
                front.end())
                continue;
            c->borders = front;
            c->numRelLead = nLead;
            break;
        }
        int pointerMax = (1 << fxaac_test::ceil_log2(c->num_env() + 1)) - 1;
        c->pointer = uni(0, std::min(c->num_env() + 1, pointerMax));
        c->freqRes.clear();
        for (int l = 0; l < c->num_env(); l++)
            c->freqRes.push_back(uni(0, 1));
    }

    // One delta's worth of change from base, kept in 0..maxValue and within
    // the codebook; small steps half of the time, the whole book otherwise.
    int step(int base, int scale, int maxValue, int lav)
    {
        int lo = std::max(-lav, -(base / scale)), hi = std::min(lav, (maxValue - base) / scale);
        if (chance(50)) {
            lo = std::max(lo, -3);
            hi = std::min(hi, 3);
        }
        return base + scale * uni(lo, hi);
    }

    void values(SbrChannelModel *c, const FrequencyTables &t, bool balance, const GenHistory &h)
    {
        bool historyFits = h.w.valid && h.ampRes == c->ampRes && h.balance == balance;
        int scale = balance ? 2 : 1, maxE = max_env(c->ampRes, balance);
        c->dfEnv.clear();
        c->env.clear();
        const std::vector<int> *prev = &h.w.env;
        int prevRes = h.w.freqRes;
        for (int l = 0; l < c->num_env(); l++) {
            int res = c->freqRes[static_cast<size_t>(l)];
            bool time = (l > 0 || historyFits) && chance(50);
            int startMax = std::min((1 << (7 - c->ampRes - balance)) - 1, maxE / scale);
            int lav = fxaac_test::env_book(c->ampRes, balance, time).lav;
            std::vector<int> e;
            for (int k = 0; k < (res ? t.nHigh : t.nLow); k++) {
                if (!time && k == 0) {
                    e.push_back(scale * uni(0, startMax));
                    continue;
                }
                int base = time ? (*prev)[static_cast<size_t>(
                                      fxaac_test::previous_band(res, prevRes, k, t.nHigh))]
                                : e.back();
                e.push_back(step(base, scale, maxE, lav));
            }
            c->dfEnv.push_back(time);
            c->env.push_back(e);
            prev = &c->env.back();
            prevRes = res;
        }
        c->dfNoise.clear();
        c->noise.clear();
        for (int q = 0; q < c->num_noise(); q++) {
            bool time = (q > 0 || historyFits) && chance(50);
            int lav = fxaac_test::noise_book(balance, time).lav;
            std::vector<int> n;
            for (int k = 0; k < t.nNoise; k++) {
                if (!time && k == 0)
                    n.push_back(scale * uni(0, max_noise(balance) / scale));
                else
                    n.push_back(step(time ? (q ? c->noise[0] : h.w.noise)[static_cast<size_t>(k)]
                                          : n.back(),
                                     scale, max_noise(balance), lav));
            }
            c->dfNoise.push_back(time);
            c->noise.push_back(n);
        }
    }

    void extras(SbrChannelModel *c, const FrequencyTables &t)
    {
        c->addHarmonicFlag = chance(30);
        c->addHarmonic.clear();
        for (int k = 0; c->addHarmonicFlag && k < t.nHigh; k++)
            c->addHarmonic.push_back(uni(0, 1));
    }

    void invf(SbrChannelModel *c, const FrequencyTables &t)
    {
        c->invf.clear();
        for (int k = 0; k < t.nNoise; k++)
            c->invf.push_back(uni(0, 3));
    }

    SbrFrameModel frame(const FrequencyTables &t, int headerAmpRes, bool pair,
                        const GenHistory hist[2])
    {
        SbrFrameModel f;
        f.pair = pair;
        f.coupling = pair && chance(50);
        f.dataExtra = chance(10);
        grid(&f.ch[0], headerAmpRes);
        invf(&f.ch[0], t);
        if (f.coupling) {
            f.ch[1] = f.ch[0];
        } else if (pair) {
            grid(&f.ch[1], f.ch[0].ampRes);   // bs_amp_res as the first grid left it
            f.ch[0].ampRes = f.ch[1].ampRes;  // one value for both channels' envelopes
            invf(&f.ch[1], t);
        }
        for (int ch = 0; ch < (pair ? 2 : 1); ch++) {
            values(&f.ch[ch], t, f.coupling && ch == 1, hist[ch]);
            extras(&f.ch[ch], t);
        }
        if (chance(30)) {
            f.extensionBytes = chance(25) ? uni(15, 40) : uni(0, 14);
            f.extensionId = uni(0, 3);
            for (int i = 0; i < 8 * f.extensionBytes - 2; i++)
                f.extensionBits.push_back(uni(0, 1));
        }
        return f;
    }

private:
    std::mt19937 rng_;
};

void remember(const SbrFrameModel &f, GenHistory hist[2])
{
    for (int ch = 0; ch < (f.pair ? 2 : 1); ch++) {
        const SbrChannelModel &c = f.ch[ch];
        hist[ch].w = {true, c.freqRes.back(), c.env.back(), c.noise.back()};
        hist[ch].ampRes = c.ampRes;
        hist[ch].balance = f.coupling && ch == 1;
    }
}

void expect_channel(const SbrChannelModel &m, const SbrChannelData &c, const FrequencyTables &t)
{
    const SbrGrid &g = c.grid;
    ASSERT_EQ(g.frameClass, m.frameClass);
    ASSERT_EQ(g.numEnv, m.num_env());
    ASSERT_EQ(g.numNoise, m.num_noise());
    EXPECT_EQ(c.ampRes, m.ampRes);
    EXPECT_EQ(std::vector<int>(g.env, g.env + g.numEnv + 1), m.borders);
    EXPECT_EQ(std::vector<int>(g.freqRes, g.freqRes + g.numEnv), m.freqRes);
    EXPECT_EQ(g.noise[0], g.env[0]);
    EXPECT_EQ(g.noise[g.numNoise], g.env[g.numEnv]);
    EXPECT_EQ(std::vector<int>(c.invfMode, c.invfMode + t.nNoise), m.invf);
    for (int l = 0; l < g.numEnv; l++) {
        const int16_t *e = c.envelope[l];
        EXPECT_EQ(std::vector<int>(e, e + (g.freqRes[l] ? t.nHigh : t.nLow)), m.env[l])
            << "envelope " << l;
        EXPECT_EQ(c.dfEnv[l], m.dfEnv[l]);
    }
    for (int q = 0; q < g.numNoise; q++) {
        EXPECT_EQ(std::vector<int>(c.noiseFloor[q], c.noiseFloor[q] + t.nNoise), m.noise[q])
            << "noise floor " << q;
    }
    EXPECT_EQ(c.addHarmonicFlag, m.addHarmonicFlag);
    std::vector<int> harmonics(c.addHarmonic, c.addHarmonic + t.nHigh);
    EXPECT_EQ(harmonics, m.addHarmonicFlag ? m.addHarmonic : std::vector<int>(t.nHigh, 0));
}

// Long runs of random frames per table and element kind, with headers
// (changing bs_amp_res) between them; every frame reads back exactly, every
// bit accounted for.
TEST(SbrSyntax, RandomFramesReadBackOverEverySyntaxPath)
{
    FrameGenerator gen(14);
    std::vector<FrequencyTables> tables = test_tables();
    for (const FrequencyTables &t : tables) {
        for (bool pair : {false, true}) {
            SCOPED_TRACE(testing::Message() << "N_high " << int(t.nHigh) << " pair " << pair);
            GenHistory genHist[2];
            SbrDeltaHistory hist[2];
            reset_delta_history(&hist[0]);
            reset_delta_history(&hist[1]);
            SbrHeader header{};
            for (int frame = 0; frame < 400; frame++) {
                SCOPED_TRACE(testing::Message() << "frame " << frame);
                BitWriter w;
                bool sendHeader = frame == 0 || gen.chance(15);
                w.put(sendHeader, 1);
                SbrHeader sent = header;
                bool extra1 = gen.chance(50), extra2 = gen.chance(50);
                if (sendHeader) {
                    sent = {static_cast<uint8_t>(gen.uni(0, 1)), 5, 9, 0, 2, 1, 2, 2, 2, 1, 1, 0};
                    if (extra2) {
                        sent.limiterBands = static_cast<uint8_t>(gen.uni(0, 3));
                        sent.limiterGains = static_cast<uint8_t>(gen.uni(0, 3));
                        sent.interpolFreq = static_cast<uint8_t>(gen.uni(0, 1));
                        sent.smoothingMode = static_cast<uint8_t>(gen.uni(0, 1));
                    }
                    fxaac_test::write_header(&w, sent, extra1, extra2);
                }
                WriterHistory wh[2] = {genHist[0].w, genHist[1].w};
                SbrFrameModel model = gen.frame(t, sent.ampRes, pair, genHist);
                fxaac_test::write_sbr_data(&w, model, t, wh);

                BitCursor r;
                init_bounded(&r, w.bytes().data(), static_cast<int32_t>(w.bytes().size()));
                if (fxaac::read_bit(&r)) {
                    ASSERT_EQ(read_sbr_header(&r, w.bits(), &header), kSbrOk);
                    EXPECT_EQ(0, std::memcmp(&header, &sent, sizeof header));
                }
                SbrFrameData f{};
                SbrExtension ext{};
                ASSERT_EQ(read_sbr_data(&r, w.bits(), header, t, pair, &f, &ext), kSbrOk);
                EXPECT_EQ(r.bitsConsumed, w.bits());
                ASSERT_EQ(resolve_deltas(t, &f, hist), kSbrOk);
                ASSERT_EQ(f.channels, pair ? 2 : 1);
                EXPECT_EQ(f.coupling, model.coupling);
                for (int ch = 0; ch < f.channels; ch++)
                    expect_channel(model.ch[ch], f.ch[ch], t);
                bool ps = model.extensionBytes > 0 && model.extensionId == kExtensionIdPs;
                ASSERT_EQ(ext.hasPs, ps);
                if (ps) {
                    EXPECT_EQ(ext.psBits, 8 * model.extensionBytes - 2);
                    for (int i = 0; i < std::min(16, ext.psBits); i++)
                        EXPECT_EQ(fxaac::read_bit(&ext.psCursor), uint32_t(model.extensionBits[i]));
                }
                remember(model, genHist);
            }
        }
    }
}

// Reads the header flag, header and data of one payload and resolves it;
// returns the first error.
const FrequencyTables &tables0()
{
    static const FrequencyTables t = test_tables()[0];
    return t;
}

// Without a header in the payload, the header in force has ampRes.
int32_t decode(const uint8_t *bytes, int32_t size, int32_t endBit, bool pair,
               SbrDeltaHistory hist[2], SbrFrameData *f, int ampRes = 0)
{
    BitCursor r;
    init_bounded(&r, bytes, size);
    SbrHeader h{};
    h.ampRes = static_cast<uint8_t>(ampRes);
    if (fxaac::read_bit(&r)) {
        int32_t err = read_sbr_header(&r, endBit, &h);
        if (err != kSbrOk)
            return err;
    }
    int32_t err = read_sbr_data(&r, endBit, h, tables0(), pair, f, nullptr);
    return err != kSbrOk ? err : resolve_deltas(tables0(), f, hist);
}

// A channel with borders b, df coded, values v everywhere.
SbrChannelModel channel(int cls, std::vector<int> borders, int numRelLead, int pointer, int value)
{
    const FrequencyTables &t = tables0();
    SbrChannelModel c;
    c.frameClass = cls;
    c.borders = borders;
    c.numRelLead = numRelLead;
    c.pointer = pointer;
    c.freqRes.assign(static_cast<size_t>(c.num_env()), 1);
    c.dfEnv.assign(static_cast<size_t>(c.num_env()), 0);
    c.dfNoise.assign(static_cast<size_t>(c.num_noise()), 0);
    c.invf.assign(t.nNoise, 1);
    c.env.assign(static_cast<size_t>(c.num_env()), std::vector<int>(t.nHigh, value));
    c.noise.assign(static_cast<size_t>(c.num_noise()), std::vector<int>(t.nNoise, 4));
    return c;
}

std::vector<uint8_t> payload(const SbrFrameModel &f, int *bits,
                             const WriterHistory hist[2] = nullptr)
{
    WriterHistory none[2];
    BitWriter w;
    w.put(0, 1);
    fxaac_test::write_sbr_data(&w, f, tables0(), hist ? hist : none);
    *bits = w.bits();
    return w.bytes();
}

int32_t decode_model(const SbrFrameModel &f, SbrDeltaHistory hist[2], SbrFrameData *out = nullptr,
                     const WriterHistory wh[2] = nullptr)
{
    int bits = 0;
    std::vector<uint8_t> bytes = payload(f, &bits, wh);
    SbrFrameData local{};
    return decode(bytes.data(), static_cast<int32_t>(bytes.size()), bits, f.pair, hist,
                  out ? out : &local, f.ch[0].ampRes);
}

SbrFrameModel single(const SbrChannelModel &c)
{
    SbrFrameModel f;
    f.ch[0] = c;
    return f;
}

// Field order and border arithmetic pinned by literal bits: VARVAR with
// absBordLead 1, absBordTrail 18, one leading border of 4 slots and trailing
// ones of 2 then 6 slots (counted back from the end), bs_pointer 2.
TEST(SbrSyntax, GridFieldsFromLiteralBits)
{
    BitWriter w;
    w.put(0, 1);        // bs_data_extra
    w.put(kVarVar, 2);  // bs_frame_class
    w.put(1, 2);        // bs_var_bord_0
    w.put(2, 2);        // bs_var_bord_1
    w.put(1, 2);        // bs_num_rel_0
    w.put(2, 2);        // bs_num_rel_1
    w.put(1, 2);        // bs_rel_bord_0: 4
    w.put(0, 2);        // bs_rel_bord_1: 2, then 6
    w.put(2, 2);
    w.put(2, 3);       // bs_pointer: ceil(log2(5)) bits
    w.put(0b1011, 4);  // bs_freq_res per envelope
    BitCursor r;
    init_bounded(&r, w.bytes().data(), static_cast<int32_t>(w.bytes().size()));
    SbrFrameData f{};
    read_sbr_data(&r, 1 << 20, SbrHeader{}, test_tables()[0], false, &f, nullptr);
    const SbrGrid &g = f.ch[0].grid;
    ASSERT_EQ(g.numEnv, 4);
    EXPECT_EQ(std::vector<int>(g.env, g.env + 5), (std::vector<int>{1, 5, 10, 16, 18}));
    EXPECT_EQ(std::vector<int>(g.freqRes, g.freqRes + 4), (std::vector<int>{1, 0, 1, 1}));
    EXPECT_EQ(g.pointer, 3);
    EXPECT_EQ(std::vector<int>(g.noise, g.noise + 3), (std::vector<int>{1, 16, 18}));

    // FIXVAR sends the resolutions last envelope first.
    BitWriter v;
    v.put(0, 1);
    v.put(kFixVar, 2);
    v.put(3, 2);     // bs_var_bord_1: trailing border 19
    v.put(1, 2);     // one relative border
    v.put(3, 2);     // of 8 slots
    v.put(0, 2);     // bs_pointer
    v.put(0b10, 2);  // bs_freq_res of envelope 1, then 0
    init_bounded(&r, v.bytes().data(), static_cast<int32_t>(v.bytes().size()));
    read_sbr_data(&r, 1 << 20, SbrHeader{}, test_tables()[0], false, &f, nullptr);
    EXPECT_EQ(std::vector<int>(g.env, g.env + 3), (std::vector<int>{0, 11, 19}));
    EXPECT_EQ(g.freqRes[0], 0);
    EXPECT_EQ(g.freqRes[1], 1);
    EXPECT_EQ(g.pointer, -1);
}

// l_A and the middle noise border by frame class and bs_pointer.
TEST(SbrSyntax, TransientAndNoiseBordersFollowThePointer)
{
    struct Case {
        int cls;
        std::vector<int> borders;
        int pointer, transient, middle;
    };
    const std::vector<int> four = {0, 4, 8, 12, 16}, three = {0, 6, 10, 16};
    const Case cases[] = {
        {kFixFix, four, 0, -1, 8},
        {kVarFix, three, 0, -1, 6},
        {kVarFix, three, 1, -1, 10},
        {kVarFix, three, 2, 1, 6},
        {kVarFix, three, 3, 2, 10},
        {kVarFix, {0, 8, 16}, 3, 2, 16},  // L_E + 1: an empty second noise floor
        {kFixVar, three, 0, -1, 10},
        {kFixVar, three, 1, 3, 10},  // transient at the next frame's start
        {kFixVar, three, 2, 2, 10},
        {kFixVar, three, 3, 1, 6},
        {kFixVar, {0, 8, 16}, 3, 0, 0},
        {kVarVar, four, 5, 0, 0},
        {kVarVar, four, 2, 3, 12},
        {kFixVar, {0, 16}, 1, 1, -1},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << "class " << c.cls << " pointer " << c.pointer);
        SbrDeltaHistory hist[2] = {};
        SbrFrameData f{};
        int lead = c.cls == kVarVar ? 2 : 0;
        ASSERT_EQ(decode_model(single(channel(c.cls, c.borders, lead, c.pointer, 20)), hist, &f),
                  kSbrOk);
        const SbrGrid &g = f.ch[0].grid;
        EXPECT_EQ(g.pointer, c.transient);
        if (c.middle < 0) {
            EXPECT_EQ(g.numNoise, 1);
        } else {
            ASSERT_EQ(g.numNoise, 2);
            EXPECT_EQ(g.noise[1], c.middle);
        }
    }
}

TEST(SbrSyntax, HeaderDefaultsAndWhatResets)
{
    const SbrHeader full = {1, 13, 14, 7, 1, 0, 3, 1, 3, 0, 0, 0};
    struct Case {
        bool extra1, extra2;
        SbrHeader expect;
        int bits;
    };
    const Case cases[] = {
        {false, false, {1, 13, 14, 7, 2, 1, 2, 2, 2, 1, 1, 0}, 16},
        {true, false, {1, 13, 14, 7, 1, 0, 3, 2, 2, 1, 1, 0}, 21},
        {false, true, {1, 13, 14, 7, 2, 1, 2, 1, 3, 0, 0, 0}, 22},
        {true, true, full, 27},
    };
    for (const Case &c : cases) {
        BitWriter w;
        fxaac_test::write_header(&w, full, c.extra1, c.extra2);
        ASSERT_EQ(w.bits(), c.bits);
        BitCursor r;
        init_bounded(&r, w.bytes().data(), static_cast<int32_t>(w.bytes().size()));
        SbrHeader h;
        std::memset(&h, 0xee, sizeof h);
        ASSERT_EQ(read_sbr_header(&r, w.bits(), &h), kSbrOk);
        EXPECT_EQ(0, std::memcmp(&h, &c.expect, sizeof h));
        EXPECT_EQ(r.bitsConsumed, w.bits());
        init_bounded(&r, w.bytes().data(), static_cast<int32_t>(w.bytes().size()));
        EXPECT_EQ(read_sbr_header(&r, w.bits() - 1, &h), kSbrOverrun);
    }
    // Fields that change the frequency tables reset; amplitude resolution and
    // the limiter, interpolation and smoothing settings do not.
    for (int field = 0; field < 11; field++) {
        SbrHeader changed = full;
        reinterpret_cast<uint8_t *>(&changed)[field] ^= 1;
        bool tables = field >= 1 && field <= 6;
        EXPECT_EQ(sbr_header_resets(full, changed), tables) << "field " << field;
    }
}

// Every refused payload, each with the code that names it.
TEST(SbrSyntax, DamagedGridsAreRefused)
{
    struct Case {
        const char *what;
        SbrChannelModel c;
        int32_t expect;
    };
    const Case cases[] = {
        {"FIXFIX of 8 envelopes", channel(kFixFix, {0, 2, 4, 6, 8, 10, 12, 14, 16}, 0, 0, 9),
         kSbrEnvelopeCount},
        {"VARVAR of 6 envelopes", channel(kVarVar, {0, 2, 4, 6, 8, 10, 16}, 3, 0, 9),
         kSbrEnvelopeCount},
        {"VARVAR of 7 envelopes", channel(kVarVar, {0, 2, 4, 6, 10, 12, 14, 16}, 3, 0, 9),
         kSbrEnvelopeCount},
        {"leading borders past the trailing one", channel(kVarFix, {3, 11, 19, 16}, 0, 0, 9),
         kSbrBorderOrder},
        {"leading and trailing borders cross", channel(kVarVar, {2, 10, 8, 16}, 1, 0, 9),
         kSbrBorderOrder},
        {"leading and trailing borders meet", channel(kVarVar, {2, 10, 10, 18}, 1, 0, 9),
         kSbrBorderOrder},
        {"pointer L_E + 2 of 4 envelopes", channel(kFixVar, {0, 4, 8, 12, 16}, 0, 6, 9),
         kSbrPointer},
        {"pointer L_E + 2 of 5 envelopes", channel(kVarVar, {0, 2, 4, 6, 8, 16}, 2, 7, 9),
         kSbrPointer},
    };
    for (const Case &c : cases) {
        SbrDeltaHistory hist[2] = {};
        EXPECT_EQ(decode_model(single(c.c), hist), c.expect) << c.what;
    }
    // The largest valid ones.
    SbrDeltaHistory hist[2] = {};
    EXPECT_EQ(decode_model(single(channel(kVarVar, {3, 5, 7, 9, 17, 19}, 2, 6, 9)), hist), kSbrOk);
    EXPECT_EQ(decode_model(single(channel(kFixVar, {0, 4, 8, 12, 16}, 0, 5, 9)), hist), kSbrOk);

    // Tables beyond the records are refused before reading.
    FrequencyTables t = tables0();
    for (int nHigh : {0, kMaxHighBands + 1}) {
        t.nHigh = static_cast<uint8_t>(nHigh);
        uint8_t zeros[64] = {};
        BitCursor r;
        init_bounded(&r, zeros, sizeof zeros);
        SbrFrameData f{};
        EXPECT_EQ(read_sbr_data(&r, 512, SbrHeader{}, t, false, &f, nullptr), kSbrBadTables);
        EXPECT_EQ(resolve_deltas(t, &f, hist), kSbrBadTables);
    }
}

// Values that leave their ranges, for level and balance, envelope and noise,
// in frequency and in time.
TEST(SbrSyntax, DeltasLeavingTheirRangesAreRefused)
{
    struct Case {
        const char *what;
        int ampRes;  // 1: FIXFIX of two envelopes at 3 dB, 0: one at 1.5 dB
        bool balanceEnv;
        int first, second;  // the first two bands of the envelope under test
        bool noise;
        int32_t expect;
    };
    const Case cases[] = {
        {"level 1.5 dB top", 0, false, 120, 127, false, kSbrOk},
        {"level 1.5 dB above", 0, false, 120, 128, false, kSbrRange},
        {"level below 0", 0, false, 3, -1, false, kSbrRange},
        {"level 3 dB top", 1, false, 60, 63, false, kSbrOk},
        {"level 3 dB above", 1, false, 60, 64, false, kSbrRange},
        {"balance 1.5 dB top", 0, true, 40, 48, false, kSbrOk},
        {"balance 1.5 dB above", 0, true, 40, 50, false, kSbrRange},
        {"balance 1.5 dB start above", 0, true, 50, 50, false, kSbrRange},
        {"balance 3 dB top", 1, true, 20, 24, false, kSbrOk},
        {"balance 3 dB above", 1, true, 20, 26, false, kSbrRange},
        {"balance below 0", 1, true, 2, -2, false, kSbrRange},
        {"noise top", 0, false, 30, 30, true, kSbrOk},
        {"noise start above", 0, false, 31, 30, true, kSbrRange},
        {"noise above", 0, false, 28, 31, true, kSbrRange},
        {"noise balance top", 0, true, 24, 24, true, kSbrOk},
        {"noise balance start above", 0, true, 26, 24, true, kSbrRange},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        SbrFrameModel f;
        f.pair = f.coupling = c.balanceEnv;
        SbrChannelModel ch = c.ampRes ? channel(kFixFix, {0, 8, 16}, 0, 0, 10)
                                      : channel(kFixFix, {0, 16}, 0, 0, 10);
        ch.ampRes = c.ampRes;
        f.ch[0] = f.ch[1] = ch;
        SbrChannelModel &tested = f.ch[c.balanceEnv ? 1 : 0];
        std::vector<int> &v = c.noise ? tested.noise[0] : tested.env[0];
        std::fill(v.begin(), v.end(), c.second);
        v[0] = c.first;
        for (int time = 0; time < 2; time++) {
            // In time: the same values as deltas against a previous frame of
            // c.first everywhere, through the first envelope.
            WriterHistory wh[2];
            SbrDeltaHistory hist[2] = {};
            SbrChannelModel &tc = tested;
            if (time) {
                if (c.first > max_env(c.ampRes, c.balanceEnv) ||
                    (c.noise && c.first > max_noise(c.balanceEnv)))
                    continue;  // that previous frame itself is refused
                SbrFrameModel prev = f;
                int channels = f.pair ? 2 : 1;
                for (int ch = 0; ch < channels; ch++) {
                    for (auto &e : prev.ch[ch].env)
                        std::fill(e.begin(), e.end(), ch == 1 && c.balanceEnv ? 12 : 10);
                    for (auto &n : prev.ch[ch].noise)
                        std::fill(n.begin(), n.end(), 4);
                }
                std::vector<int> &pv = c.noise ? prev.ch[c.balanceEnv].noise.back()
                                               : prev.ch[c.balanceEnv].env.back();
                std::fill(pv.begin(), pv.end(), c.first);
                ASSERT_EQ(decode_model(prev, hist), kSbrOk);
                for (int ch = 0; ch < channels; ch++)
                    wh[ch] = {true, 1, prev.ch[ch].env.back(), prev.ch[ch].noise.back()};
                (c.noise ? tc.dfNoise : tc.dfEnv)[0] = 1;
            }
            EXPECT_EQ(decode_model(f, hist, nullptr, wh), c.expect) << "time " << time;
        }
    }
}

// Time deltas need a previous frame: none at the start, none after an error
// (the history is reset), and frequency deltas start afresh.
TEST(SbrSyntax, TimeDeltasNeedAHistory)
{
    SbrChannelModel df = channel(kFixFix, {0, 8, 16}, 0, 0, 30);
    SbrChannelModel dt = df;
    dt.dfEnv = {1, 0};
    SbrChannelModel dtNoise = df;
    dtNoise.dfNoise = {1, 1};
    SbrChannelModel bad = df;
    std::fill(bad.env[1].begin(), bad.env[1].end(), 100);
    bad.env[1][1] = 160;
    WriterHistory wh[2] = {{true, 1, df.env[1], df.noise[1]}, {}};

    SbrDeltaHistory hist[2] = {};
    EXPECT_EQ(decode_model(single(dt), hist, nullptr, wh), kSbrNoHistory);
    EXPECT_EQ(decode_model(single(dtNoise), hist, nullptr, wh), kSbrNoHistory);
    EXPECT_EQ(decode_model(single(df), hist), kSbrOk);
    EXPECT_EQ(decode_model(single(dt), hist, nullptr, wh), kSbrOk);
    EXPECT_EQ(decode_model(single(dtNoise), hist, nullptr, wh), kSbrOk);
    EXPECT_EQ(decode_model(single(bad), hist), kSbrRange);
    EXPECT_EQ(hist[0].valid, 0);
    EXPECT_EQ(decode_model(single(dt), hist, nullptr, wh), kSbrNoHistory);
    EXPECT_EQ(decode_model(single(df), hist), kSbrOk);

    // A pair refused in its second channel forgets both.
    SbrFrameModel pair;
    pair.pair = true;
    pair.ch[0] = df;
    pair.ch[1] = bad;
    EXPECT_EQ(decode_model(pair, hist), kSbrRange);
    EXPECT_EQ(hist[0].valid, 0);
    EXPECT_EQ(hist[1].valid, 0);
}

// Valid payloads cut at every bit: given the cut as their end, or given a
// buffer of only the bytes before the cut, they fail and read nothing past
// their bytes (the buffers are allocated to size, for the sanitizers).
TEST(SbrSyntax, TruncatedPayloadsFailWithoutReadingPast)
{
    FrameGenerator gen(7);
    const FrequencyTables &t = tables0();
    int tested = 0;
    for (int n = 0; n < 24; n++) {
        GenHistory none[2];
        SbrFrameModel f = gen.frame(t, n & 1, n % 3 != 0, none);
        if (n % 4 == 0) {
            f.extensionBytes = 3;
            f.extensionId = kExtensionIdPs;
            f.extensionBits.assign(22, 1);
        }
        BitWriter w;
        w.put(n & 1, 1);
        if (n & 1)
            fxaac_test::write_header(&w, SbrHeader{1, 5, 9, 0, 2, 1, 2, 2, 2, 1, 1, 0}, true, true);
        WriterHistory wh[2];
        fxaac_test::write_sbr_data(&w, f, t, wh);
        const int total = w.bits();
        SbrDeltaHistory hist[2] = {};
        SbrFrameData out{};
        ASSERT_EQ(decode(w.bytes().data(), static_cast<int32_t>(w.bytes().size()), total, f.pair,
                         hist, &out),
                  kSbrOk);
        for (int cut = 0; cut < total; cut++) {
            SCOPED_TRACE(testing::Message() << "payload " << n << " cut at " << cut);
            EXPECT_NE(decode(w.bytes().data(), static_cast<int32_t>(w.bytes().size()), cut, f.pair,
                             hist, &out),
                      kSbrOk);
            int32_t bytes = cut / 8;
            if (8 * bytes >= total)
                continue;
            std::unique_ptr<uint8_t[]> copy(new uint8_t[bytes > 0 ? bytes : 1]);
            std::copy(w.bytes().begin(), w.bytes().begin() + bytes, copy.get());
            EXPECT_NE(decode(copy.get(), bytes, total, f.pair, hist, &out), kSbrOk);
            tested++;
        }
    }
    EXPECT_GT(tested, 1000);
}

}  // namespace

// Random bytes as payloads, with the history carried across them: every
// result is one of the named codes, and what is accepted holds the records'
// invariants.
TEST(SbrSyntax, RandomBytesKeepTheRecordsValid)
{
    std::mt19937 rng(3);
    const std::vector<FrequencyTables> tables = test_tables();
    int accepted = 0;
    for (int n = 0; n < 20000; n++) {
        const FrequencyTables &t = tables[static_cast<size_t>(n) % tables.size()];
        SbrDeltaHistory hist[2] = {};
        std::vector<uint8_t> bytes(std::uniform_int_distribution<size_t>(1, 64)(rng));
        for (uint8_t &b : bytes)
            b = static_cast<uint8_t>(rng());
        std::unique_ptr<uint8_t[]> exact(new uint8_t[bytes.size()]);
        std::copy(bytes.begin(), bytes.end(), exact.get());
        BitCursor r;
        init_bounded(&r, exact.get(), static_cast<int32_t>(bytes.size()));
        SbrHeader h{};
        h.ampRes = static_cast<uint8_t>(n & 1);
        SbrFrameData f{};
        bool pair = (n & 2) != 0;
        int32_t err = read_sbr_data(&r, static_cast<int32_t>(8 * bytes.size()), h, t, pair, &f,
                                    nullptr);
        if (err == kSbrOk)
            err = resolve_deltas(t, &f, hist);
        ASSERT_TRUE(err <= kSbrOk && err >= kSbrNoHistory) << err;
        if (err != kSbrOk)
            continue;
        accepted++;
        for (int ch = 0; ch < f.channels; ch++) {
            const SbrChannelData &c = f.ch[ch];
            const SbrGrid &g = c.grid;
            ASSERT_TRUE(g.numEnv >= 1 && g.numEnv <= kMaxEnvelopes);
            ASSERT_EQ(g.numNoise, g.numEnv > 1 ? 2 : 1);
            for (int l = 0; l < g.numEnv; l++)
                ASSERT_LT(g.env[l], g.env[l + 1]);
            ASSERT_LE(g.env[g.numEnv], kMaxBorder);
            ASSERT_TRUE(g.noise[0] <= g.noise[1] && g.noise[1] <= g.noise[g.numNoise]);
            ASSERT_TRUE(g.pointer >= -1 && g.pointer <= g.numEnv);
            bool balance = f.coupling && ch == 1;
            for (int l = 0; l < g.numEnv; l++) {
                for (int k = 0; k < (g.freqRes[l] ? t.nHigh : t.nLow); k++)
                    ASSERT_TRUE(c.envelope[l][k] >= 0 &&
                                c.envelope[l][k] <= max_env(c.ampRes, balance));
            }
            for (int q = 0; q < g.numNoise; q++) {
                for (int k = 0; k < t.nNoise; k++)
                    ASSERT_TRUE(c.noiseFloor[q][k] >= 0 &&
                                c.noiseFloor[q][k] <= max_noise(balance));
            }
        }
    }
    EXPECT_GT(accepted, 100);
}
