#include "sbr/sbr_deltas.h"

#include "sbr/sbr_syntax.h"

namespace fxaac::sbr {

namespace {

constexpr int kMaxLevel[2] = {127, 63};   // E at 1.5 and 3 dB
constexpr int kMaxBalance[2] = {48, 24};  // 2 * panOffset
constexpr int kMaxNoiseLevel = 30;
constexpr int kMaxNoiseBalance = 24;

int band_count(const FrequencyTables &t, int res) { return res ? t.nHigh : t.nLow; }

// The band of the other resolution's envelope that band k of resolution res
// refers to; -1 when the tables have no such band.
int matching_band(const FrequencyTables &t, int res, int prevRes, int k)
{
    if (res == prevRes)
        return k;
    if (res == 0) {
        for (int i = 0; i < t.nHigh; i++) {
            if (t.high[i] == t.low[k])
                return i;
        }
        return -1;
    }
    for (int i = 0; i < t.nLow; i++) {
        if (t.low[i] <= t.high[k] && t.high[k] < t.low[i + 1])
            return i;
    }
    return -1;
}

// The envelopes of one channel, each code counted scale times; every value
// must lie in 0..maxValue.
int32_t resolve_envelopes(const FrequencyTables &t, int scale, int maxValue,
                          const SbrDeltaHistory &h, SbrChannelData *c)
{
    const int16_t *prev = h.envelope;
    int prevRes = h.freqRes;
    bool havePrev = h.valid != 0;
    for (int l = 0; l < c->grid.numEnv; l++) {
        int res = c->grid.freqRes[l];
        int16_t *e = c->envelope[l];
        if (c->dfEnv[l] && !havePrev)
            return kSbrNoHistory;
        int sum = 0;
        for (int k = 0; k < band_count(t, res); k++) {
            int value;
            if (c->dfEnv[l] == 0) {
                sum += scale * e[k];
                value = sum;
            } else {
                int i = matching_band(t, res, prevRes, k);
                if (i < 0)
                    return kSbrBadTables;
                value = prev[i] + scale * e[k];
            }
            if (value < 0 || value > maxValue)
                return kSbrRange;
            e[k] = static_cast<int16_t>(value);
        }
        prev = e;
        prevRes = res;
        havePrev = true;
    }
    return kSbrOk;
}

int32_t resolve_noise(const FrequencyTables &t, int scale, int maxValue, const SbrDeltaHistory &h,
                      SbrChannelData *c)
{
    const int16_t *prev = h.valid ? h.noiseFloor : nullptr;
    for (int q = 0; q < c->grid.numNoise; q++) {
        int16_t *n = c->noiseFloor[q];
        if (c->dfNoise[q] && prev == nullptr)
            return kSbrNoHistory;
        int sum = 0;
        for (int k = 0; k < t.nNoise; k++) {
            int value;
            if (c->dfNoise[q] == 0) {
                sum += scale * n[k];
                value = sum;
            } else {
                value = prev[k] + scale * n[k];
            }
            if (value < 0 || value > maxValue)
                return kSbrRange;
            n[k] = static_cast<int16_t>(value);
        }
        prev = n;
    }
    return kSbrOk;
}

int32_t resolve_channel(const FrequencyTables &t, bool balance, const SbrDeltaHistory &h,
                        SbrChannelData *c)
{
    int scale = balance ? 2 : 1;
    int amp = c->ampRes ? 1 : 0;
    int32_t err = resolve_envelopes(t, scale, balance ? kMaxBalance[amp] : kMaxLevel[amp], h, c);
    if (err != kSbrOk)
        return err;
    return resolve_noise(t, scale, balance ? kMaxNoiseBalance : kMaxNoiseLevel, h, c);
}

void keep_last(const FrequencyTables &t, const SbrChannelData &c, SbrDeltaHistory *h)
{
    int lastEnv = c.grid.numEnv - 1;
    h->freqRes = c.grid.freqRes[lastEnv];
    for (int k = 0; k < band_count(t, h->freqRes); k++)
        h->envelope[k] = c.envelope[lastEnv][k];
    for (int k = 0; k < t.nNoise; k++)
        h->noiseFloor[k] = c.noiseFloor[c.grid.numNoise - 1][k];
    h->valid = 1;
}

}  // namespace

int32_t resolve_deltas(const FrequencyTables &t, SbrFrameData *f, SbrDeltaHistory hist[2])
{
    int channels = f->channels == 2 ? 2 : 1;
    int32_t err = sbr_tables_fit(t) ? kSbrOk : kSbrBadTables;
    for (int ch = 0; ch < channels && err == kSbrOk; ch++)
        err = resolve_channel(t, f->coupling && ch == 1, hist[ch], &f->ch[ch]);
    for (int ch = 0; ch < channels; ch++) {
        if (err == kSbrOk)
            keep_last(t, f->ch[ch], &hist[ch]);
        else
            reset_delta_history(&hist[ch]);
    }
    return err;
}

}  // namespace fxaac::sbr
