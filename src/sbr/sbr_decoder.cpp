#include "sbr/sbr_decoder.h"

#include <algorithm>
#include <cstring>

#include "bitstream/bit_reader.h"
#include "dsp/kernels.h"
#include "filterbank/pcm_output.h"
#include "sbr/sbr_input.h"

namespace fxaac::sbr {

namespace {

constexpr int kCrcBits = 10;  // bs_sbr_crc_bits, kept, not verified
// A header that changes the tables restarts the HF adjuster; the chirp
// factors of the HF generator carry on by noise band, as the reference
// decoders keep them.
void restart_channel(SbrChannel *c) { hf_adjust_reset(&c->adjustment); }

void reset_deltas(SbrElement *e)
{
    reset_delta_history(&e->deltas[0]);
    reset_delta_history(&e->deltas[1]);
}

// Takes a header read from the stream: rebuilds the tables when they change.
int32_t take_header(SbrDecoder *d, int element, bool pair, const SbrHeader &h)
{
    SbrElement &e = d->element[element];
    const bool reset = !e.headerSeen || sbr_header_resets(e.header, h);
    const bool rebuild = reset || e.header.limiterBands != h.limiterBands;
    e.header = h;
    e.headerSeen = 1;
    if (!rebuild)
        return e.tablesValid ? 0 : kErrFrequencyTables;
    e.tablesValid = 0;
    if (int32_t rc = build_frequency_tables(h, d->sbrRate, &e.tables); rc < 0)
        return rc;
    if (e.tables.kx > kLowBands)  // the analysis bank gives 32 subbands
        return kErrFrequencyTables;
    e.tablesValid = 1;
    if (!reset)
        return 0;
    reset_deltas(&e);
    const int first = pair ? 0 : element;
    for (int c = first; c < first + (pair ? 2 : 1); c++)
        restart_channel(&d->channel[c]);
    return 0;
}

// Inputs that reach the analysis of a frame's last 8 slots (rows 32..39 of
// the work matrix, the next frame's rows 0..7): its last 544 samples, and a
// margin.
constexpr int kTailStart = FXAAC_FRAME_LENGTH - 576;

// x * 2^shift for a shift of either sign, rounding a right shift.
int32_t rescale(int32_t x, int shift)
{
    if (shift >= 0)
        return static_cast<int32_t>(static_cast<uint32_t>(x) << shift);
    return static_cast<int32_t>((static_cast<int64_t>(x) + (int64_t{1} << (-shift - 1))) >> -shift);
}

// The frame's block exponent: the largest left shift (up to kMaxBlockScale)
// that keeps every input sample of the frame, and of the last frame's tail
// that its first rows and the analysis history hold, within int32. The
// analysis bound |X| < 2^27 then still holds. Brings the history to it.
int take_block_scale(SbrChannel *c, const int32_t *time)
{
    const uint32_t head = sbr_input_peak(time, kTailStart);
    const uint32_t tail = sbr_input_peak(time + kTailStart, FXAAC_FRAME_LENGTH - kTailStart);
    const uint32_t peak = std::max({c->tailMax, head, tail});
    c->tailMax = tail;
    const int headroom = peak == 0 ? kMaxBlockScale
                                   : (peak >= 1u << 30 ? 0 : __builtin_clz(peak) - 1);
    const int scale = headroom < kMaxBlockScale ? headroom : kMaxBlockScale;
    const int shift = scale - c->scale;
    if (shift != 0) {
        for (int32_t &x : c->analysis.x)
            x = rescale(x, shift);
        for (auto &row : c->lowHistory)
            for (auto &v : row) {
                v[0] = rescale(v[0], shift);
                v[1] = rescale(v[1], shift);
            }
    }
    c->scale = static_cast<uint8_t>(scale);
    return scale;
}

// The channels' previous high band, for the first slots of this frame.
void keep_high_history(SbrChannel *c, const QmfRow *rows, int kx, int m, int rowEnd)
{
    const int first = kSlots + kHfAdj;  // row 34: slot 0 of the next frame
    const int n = rowEnd > first ? rowEnd - first : 0;
    for (int r = 0; r < n; r++)
        std::memcpy(c->highHistory[r][kx], rows[first + r][kx], sizeof(int32_t) * 2 * m);
    c->historyRows = static_cast<uint8_t>(n);
    c->prevKx = static_cast<uint8_t>(kx);
    c->prevM = static_cast<uint8_t>(m);
}

// The synthesis input of output slot l: the low band below kx (brought back
// from the block exponent), the high band from kx to kx + m (this frame's
// rows from slot 2 * t_E(0) on, the previous frame's before), zero above.
void compose_slot(const SbrChannel &c, const QmfRow *rows, int l, int kx, int m, int firstSlot,
                  int rowEnd, QmfRow out)
{
    const int row = l + kHfAdj;
    const bool early = l < firstSlot;
    const int lowEnd = early ? c.prevKx : kx;
    const int highEnd = early ? c.prevKx + c.prevM : kx + m;
    sbr_rescale_down(rows[row][0], out[0], 2 * lowEnd, c.scale);
    if (early && l < c.historyRows)
        std::memcpy(out[lowEnd], c.highHistory[l][lowEnd],
                    sizeof(int32_t) * 2 * (highEnd - lowEnd));
    else if (!early && row < rowEnd)
        std::memcpy(out[lowEnd], rows[row][lowEnd], sizeof(int32_t) * 2 * (highEnd - lowEnd));
    else
        std::memset(out[lowEnd], 0, sizeof(int32_t) * 2 * (highEnd - lowEnd));
    std::memset(out[highEnd], 0, sizeof(int32_t) * 2 * (kBands - highEnd));
}

// PCM of one slot's samples at their place in the interleaved output.
void write_slot(const PcmTarget &t, const int32_t *samples, int l, int n)
{
    const int32_t offset = l * n * t.channels;
    void *at = t.format == 2 ? static_cast<void *>(static_cast<int32_t *>(t.output) + offset)
                             : static_cast<void *>(static_cast<int16_t *>(t.output) + offset);
    myOutputToPCM(samples, at, t.channels, static_cast<int16_t>(t.format), 0, n, t.channel);
}

// One slot through the synthesis bank into its place in the output.
void synthesize(const SbrDecoder *d, QmfSynthesisState *bank, const QmfRow in, int32_t *samples,
                const PcmTarget &target, int l)
{
    if (d->downsampled)
        qmf_synthesis_slot_down(bank, in, samples);
    else
        qmf_synthesis_slot(bank, in, samples);
    write_slot(target, samples, l, d->downsampled ? kLowBands : kBands);
}

}  // namespace

void reset_channel(SbrChannel *c)
{
    std::memset(c, 0, sizeof *c);
    qmf_analysis_reset(&c->analysis);
    qmf_synthesis_reset(&c->synthesis);
    hf_generation_reset(&c->generation);
    hf_adjust_reset(&c->adjustment);
    c->prevKx = kLowBands;  // until SBR data comes: the whole core band, no high band
}

void init_decoder(SbrDecoder *d, int32_t sbrRate, bool downsampled)
{
    std::memset(d, 0, sizeof *d);
    d->sbrRate = sbrRate;
    d->downsampled = downsampled ? 1 : 0;
    for (SbrChannel &c : d->channel)
        reset_channel(&c);
    for (SbrElement &e : d->element)
        reset_deltas(&e);
}

int32_t read_element(SbrDecoder *d, SbrWork *w, int element, const uint8_t *ptr, int32_t bitPos,
                     int32_t bits, bool crc, bool pair, SbrExtension *ext)
{
    BitCursor r;
    init_bounded(&r, ptr, (bitPos + bits + 7) >> 3);
    skip_bits(&r, static_cast<uint32_t>(bitPos));
    const int32_t end = bitPos + bits;
    if (crc)
        skip_bits(&r, kCrcBits);
    if (read_bit(&r)) {
        SbrHeader h;
        if (int32_t rc = read_sbr_header(&r, end, &h); rc < 0)
            return rc;
        if (int32_t rc = take_header(d, element, pair, h); rc < 0)
            return rc;
    }
    SbrElement &e = d->element[element];
    if (!e.headerSeen || !e.tablesValid)
        return kErrNoHeader;
    if (ext != nullptr)
        ext->hasPs = false;
    if (int32_t rc = read_sbr_data(&r, end, e.header, e.tables, pair, &w->frame, ext); rc < 0) {
        reset_deltas(&e);
        return rc;
    }
    if (r.overrun || aac_get_processed_bits(&r) > end) {
        reset_deltas(&e);
        return kErrPayloadLength;
    }
    return resolve_deltas(e.tables, &w->frame, e.deltas);
}

void process_channel(SbrDecoder *d, SbrWork *w, int channel, int element, int frameCh, bool data,
                     const int32_t *time, const PcmTarget &target, PsStage *ps)
{
    SbrChannel &c = d->channel[channel];
    const SbrElement &e = d->element[element];
    QmfRow *rows = w->rows;
    const int scale = take_block_scale(&c, time);
    for (int r = 0; r < kHfGen; r++)
        std::memcpy(rows[r], c.lowHistory[r], sizeof c.lowHistory[r]);
    for (int s = 0; s < kSlots; s++) {
        int32_t in[kLowBands];
        sbr_input_scale(time + kLowBands * s, in, kLowBands, scale);
        qmf_analysis_slot(&c.analysis, in, rows[kHfGen + s]);
    }
    // The low band that the next frame's first rows hold: the subbands below
    // this frame's kx (X_Low ends there; a next frame with a higher kx finds
    // zeros above it, as the reference decoders do).
    const int lowEnd = e.tablesValid ? e.tables.kx : kLowBands;
    for (int r = 0; r < kHfGen; r++) {
        std::memcpy(c.lowHistory[r], rows[kSlots + r], sizeof(int32_t) * 2 * lowEnd);
        std::memset(c.lowHistory[r][lowEnd], 0, sizeof(int32_t) * 2 * (kLowBands - lowEnd));
    }

    int kx = kLowBands, m = 0, firstSlot = 0, rowEnd = 0;
    if (e.tablesValid) {
        kx = e.tables.kx;
        m = data ? e.tables.m : 0;
    }
    if (data) {
        const SbrChannelData &cd = w->frame.ch[frameCh];
        firstSlot = kRate * cd.grid.env[0];
        const int rowBegin = kHfAdj + firstSlot;
        rowEnd = kHfAdj + kRate * cd.grid.env[cd.grid.numEnv];
        // Subbands of the SBR range that no patch reaches (a last patch of
        // fewer than 3 subbands is dropped) hold no X_High: clear them.
        for (int r = rowBegin; r < rowEnd; r++)
            std::memset(rows[r][kx], 0, sizeof(int32_t) * 2 * m);
        hf_generate(&c.generation, e.tables, cd.invfMode, rowBegin, rowEnd, rows);
        if (hf_adjust(&c.adjustment, e.header, e.tables, w->frame, frameCh, rows, &w->adjust,
                      scale) < 0)
            rowEnd = 0;  // refused: no high band
    }

    QmfRow in, right, ahead;
    for (int l = 0; l < kSlots; l++) {
        compose_slot(c, rows, l, kx, m, firstSlot, rowEnd, in);
        if (ps != nullptr) {
            // The hybrid filters of the lowest bands look 6 slots ahead.
            compose_slot(c, rows, l + ps::kHybridDelay, kx, m, firstSlot, rowEnd, ahead);
            ps::ps_slot(ps->decoder, l, ahead, in, in, right);
            synthesize(d, ps->synthesis, right, w->slot, ps->right, l);
        }
        synthesize(d, &c.synthesis, in, w->slot, target, l);
    }
    keep_high_history(&c, rows, kx, m, rowEnd);
}

}  // namespace fxaac::sbr
