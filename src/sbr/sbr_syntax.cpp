#include "sbr/sbr_syntax.h"

#include "sbr/sbr_tables.h"

namespace fxaac::sbr {

namespace {

constexpr int kMaxRelBorders = 3;       // bs_num_rel_0 / _1 are 2-bit counts
constexpr int kMaxFixFixEnvelopes = 4;  // 2^tmp, tmp = 3 (8 envelopes) is refused
constexpr int kMaxCodeLength = 20;      // longest SBR codeword (sbr_tables.h)

// The border fields of sbr_grid() before they become t_E.
struct GridFields {
    int absLead, absTrail;  // absBordLead, absBordTrail
    int numRelLead, numRelTrail;
    int relLead[kMaxEnvelopes], relTrail[kMaxRelBorders];
    int pointer;  // bs_pointer, 0 for FIXFIX
};

// bs_num_rel borders of 2 * tmp + 2 time slots each.
void read_rel_borders(BitCursor *r, int count, int *rel)
{
    for (int i = 0; i < count; i++)
        rel[i] = 2 * static_cast<int>(read_bits(r, 2)) + 2;
}

// Bits of bs_pointer: ceil(log2(L_E + 1)), L_E >= 1.
int pointer_bits(int numEnv) { return 32 - __builtin_clz(static_cast<uint32_t>(numEnv)); }

// The variable classes' fields after bs_frame_class (4.4.2.8, sbr_grid()).
// Returns L_E, or kSbrEnvelopeCount before reading more than 5 envelopes.
int read_var_fields(BitCursor *r, int cls, GridFields *g, uint8_t *freqRes)
{
    int varLead = (cls == kVarFix || cls == kVarVar) ? static_cast<int>(read_bits(r, 2)) : 0;
    int varTrail = (cls == kFixVar || cls == kVarVar) ? static_cast<int>(read_bits(r, 2)) : 0;
    g->numRelLead = (cls == kVarFix || cls == kVarVar) ? static_cast<int>(read_bits(r, 2)) : 0;
    g->numRelTrail = (cls == kFixVar || cls == kVarVar) ? static_cast<int>(read_bits(r, 2)) : 0;
    int numEnv = g->numRelLead + g->numRelTrail + 1;
    if (numEnv > kMaxEnvelopes)
        return kSbrEnvelopeCount;
    g->absLead = varLead;
    g->absTrail = kTimeSlots + varTrail;
    read_rel_borders(r, g->numRelLead, g->relLead);
    read_rel_borders(r, g->numRelTrail, g->relTrail);
    g->pointer = static_cast<int>(read_bits(r, static_cast<uint32_t>(pointer_bits(numEnv))));
    // FIXVAR sends the resolutions from the last envelope back.
    for (int l = 0; l < numEnv; l++) {
        int slot = cls == kFixVar ? numEnv - 1 - l : l;
        freqRes[slot] = static_cast<uint8_t>(read_bit(r));
    }
    return numEnv;
}

// t_E from the fields (4.6.18.3.3): leading borders count forward from
// absBordLead, trailing ones back from absBordTrail.
int32_t set_env_borders(const GridFields &g, int numEnv, SbrGrid *grid)
{
    int t[kMaxEnvelopes + 1];
    t[0] = g.absLead;
    t[numEnv] = g.absTrail;
    for (int l = 1; l <= g.numRelLead; l++)
        t[l] = t[l - 1] + g.relLead[l - 1];
    for (int l = numEnv - 1; l > g.numRelLead; l--)
        t[l] = t[l + 1] - g.relTrail[numEnv - 1 - l];
    for (int l = 0; l < numEnv; l++) {
        if (t[l] >= t[l + 1])
            return kSbrBorderOrder;
    }
    if (t[numEnv] > kMaxBorder)  // absBordTrail <= 16 + 3 holds by its field; kept as the invariant
        return kSbrBorderOrder;
    for (int l = 0; l <= numEnv; l++)
        grid->env[l] = static_cast<uint8_t>(t[l]);
    return kSbrOk;
}

// l_A and t_Q from bs_pointer by the frame class (4.6.18.3.3). l_A may be
// L_E: the transient starts where the next frame begins. With bs_pointer =
// L_E + 1 the middle noise border falls on an outer one and one noise floor
// spans no time slot.
int32_t set_pointer_and_noise(int cls, int pointer, SbrGrid *grid)
{
    int numEnv = grid->numEnv;
    if (pointer > numEnv + 1)
        return kSbrPointer;
    int transient = -1;
    int middle = numEnv / 2;  // FIXFIX
    if (cls == kVarFix) {
        transient = pointer > 1 ? pointer - 1 : -1;
        middle = pointer == 0 ? 1 : (pointer == 1 ? numEnv - 1 : pointer - 1);
    } else if (cls == kFixVar || cls == kVarVar) {
        transient = pointer > 0 ? numEnv + 1 - pointer : -1;
        middle = pointer > 1 ? numEnv + 1 - pointer : numEnv - 1;
    }
    grid->pointer = static_cast<int8_t>(transient);
    grid->numNoise = static_cast<uint8_t>(numEnv > 1 ? 2 : 1);
    grid->noise[0] = grid->env[0];
    if (numEnv > 1)
        grid->noise[1] = grid->env[middle];
    grid->noise[grid->numNoise] = grid->env[numEnv];
    return kSbrOk;
}

// sbr_grid(): the class, L_E, the borders and resolutions; ampRes is the
// header's, forced to 1.5 dB for a FIXFIX frame of one envelope.
int32_t read_grid(BitCursor *r, uint8_t headerAmpRes, SbrChannelData *c)
{
    SbrGrid *grid = &c->grid;
    int cls = static_cast<int>(read_bits(r, 2));
    grid->frameClass = static_cast<uint8_t>(cls);
    c->ampRes = headerAmpRes;
    GridFields g{};
    int numEnv;
    if (cls == kFixFix) {
        numEnv = 1 << read_bits(r, 2);
        if (numEnv > kMaxFixFixEnvelopes)
            return kSbrEnvelopeCount;
        uint8_t res = static_cast<uint8_t>(read_bit(r));
        for (int l = 0; l < numEnv; l++)
            grid->freqRes[l] = res;
        if (numEnv == 1)
            c->ampRes = 0;
        // Equal envelopes: NINT(numTimeSlots / L_E), exact for 1, 2 and 4.
        g.absLead = 0;
        g.absTrail = kTimeSlots;
        g.numRelLead = numEnv - 1;
        for (int l = 0; l < g.numRelLead; l++)
            g.relLead[l] = kTimeSlots / numEnv;
    } else {
        numEnv = read_var_fields(r, cls, &g, grid->freqRes);
        if (numEnv < 0)
            return numEnv;
    }
    grid->numEnv = static_cast<uint8_t>(numEnv);
    int32_t err = set_env_borders(g, numEnv, grid);
    if (err != kSbrOk)
        return err;
    return set_pointer_and_noise(cls, g.pointer, grid);
}

// sbr_dtdf(): one direction flag per envelope and per noise floor.
void read_dtdf(BitCursor *r, SbrChannelData *c)
{
    for (int l = 0; l < c->grid.numEnv; l++)
        c->dfEnv[l] = static_cast<uint8_t>(read_bit(r));
    for (int q = 0; q < c->grid.numNoise; q++)
        c->dfNoise[q] = static_cast<uint8_t>(read_bit(r));
}

void read_invf(BitCursor *r, int numNoiseBands, SbrChannelData *c)
{
    for (int k = 0; k < numNoiseBands; k++)
        c->invfMode[k] = static_cast<uint8_t>(read_bits(r, 2));
}

// sbr_envelope(): codebooks by the channel's ampRes and whether it carries
// the balance of a coupled pair; start values of 7 bits (6 at 3 dB), one
// less for balance.
void read_envelope(BitCursor *r, const FrequencyTables &t, bool balance, SbrChannelData *c)
{
    static const HuffmanTree *const kBooks[2][2][2] = {
        // [ampRes][balance][0 time, 1 frequency]
        {{&kSbrTEnv15, &kSbrFEnv15}, {&kSbrTEnvBal15, &kSbrFEnvBal15}},
        {{&kSbrTEnv30, &kSbrFEnv30}, {&kSbrTEnvBal30, &kSbrFEnvBal30}},
    };
    const int amp = c->ampRes ? 1 : 0;
    const HuffmanTree &timeBook = *kBooks[amp][balance][0];
    const HuffmanTree &freqBook = *kBooks[amp][balance][1];
    const uint32_t startBits = static_cast<uint32_t>(kEnvStartBits - amp - (balance ? 1 : 0));
    for (int l = 0; l < c->grid.numEnv; l++) {
        int bands = c->grid.freqRes[l] ? t.nHigh : t.nLow;
        int16_t *e = c->envelope[l];
        int k = 0;
        if (c->dfEnv[l] == 0)
            e[k++] = static_cast<int16_t>(read_bits(r, startBits));
        for (; k < bands; k++)
            e[k] = static_cast<int16_t>(read_huffman_delta(r, c->dfEnv[l] ? timeBook : freqBook));
    }
}

// sbr_noise(): 5-bit start values for level and balance alike; frequency
// deltas with the 3 dB envelope books.
void read_noise(BitCursor *r, const FrequencyTables &t, bool balance, SbrChannelData *c)
{
    const HuffmanTree &timeBook = balance ? kSbrTNoiseBal30 : kSbrTNoise30;
    const HuffmanTree &freqBook = balance ? kSbrFEnvBal30 : kSbrFEnv30;
    for (int q = 0; q < c->grid.numNoise; q++) {
        int16_t *n = c->noiseFloor[q];
        int k = 0;
        if (c->dfNoise[q] == 0)
            n[k++] = static_cast<int16_t>(read_bits(r, kNoiseStartBits));
        for (; k < t.nNoise; k++)
            n[k] = static_cast<int16_t>(read_huffman_delta(r, c->dfNoise[q] ? timeBook : freqBook));
    }
}

// bs_add_harmonic_flag and sbr_sinusoidal_coding(): one flag per f_TableHigh
// band, all 0 without the flag.
void read_harmonics(BitCursor *r, const FrequencyTables &t, SbrChannelData *c)
{
    c->addHarmonicFlag = static_cast<uint8_t>(read_bit(r));
    for (int k = 0; k < kMaxHighBands; k++)
        c->addHarmonic[k] = 0;
    if (c->addHarmonicFlag) {
        for (int k = 0; k < t.nHigh; k++)
            c->addHarmonic[k] = static_cast<uint8_t>(read_bit(r));
    }
}

// bs_extended_data: bs_extension_size bytes (15 + bs_esc_count when 15).
// Each extension other than parametric stereo takes all remaining bits, and
// ps_data() is parsed elsewhere, so the first bs_extension_id decides.
int32_t skip_extended_data(BitCursor *r, int32_t endBit, SbrExtension *ext)
{
    if (!read_bit(r))
        return kSbrOk;
    int32_t bytes = static_cast<int32_t>(read_bits(r, 4));
    if (bytes == 15)
        bytes += static_cast<int32_t>(read_bits(r, 8));
    int32_t bitsLeft = 8 * bytes;
    if (r->overrun || r->bitsConsumed > endBit || bitsLeft > endBit - r->bitsConsumed)
        return kSbrOverrun;
    if (bitsLeft > 7) {
        int id = static_cast<int>(read_bits(r, 2));
        bitsLeft -= 2;
        if (id == kExtensionIdPs && ext != nullptr) {
            ext->hasPs = true;
            ext->psBits = bitsLeft;
            ext->psCursor = *r;
        }
    }
    skip_bits(r, static_cast<uint32_t>(bitsLeft));
    return kSbrOk;
}

int32_t read_channel_pair(BitCursor *r, const SbrHeader &h, const FrequencyTables &t,
                          SbrFrameData *f)
{
    if (read_bit(r))
        skip_bits(r, 8);  // bs_data_extra: two bs_reserved
    SbrChannelData *c = f->ch;
    f->coupling = static_cast<uint8_t>(read_bit(r));
    int32_t err = read_grid(r, h.ampRes, &c[0]);
    if (err != kSbrOk)
        return err;
    if (f->coupling) {
        c[1].grid = c[0].grid;
        c[1].ampRes = c[0].ampRes;
    } else if ((err = read_grid(r, c[0].ampRes, &c[1])) != kSbrOk) {
        return err;
    } else {
        // bs_amp_res is one variable of the element: a FIXFIX grid of one
        // envelope in either channel sets it to 0 before both channels'
        // envelopes are read.
        c[0].ampRes = c[1].ampRes;
    }
    read_dtdf(r, &c[0]);
    read_dtdf(r, &c[1]);
    read_invf(r, t.nNoise, &c[0]);
    if (f->coupling) {
        for (int k = 0; k < kMaxNoiseBands; k++)
            c[1].invfMode[k] = c[0].invfMode[k];
        read_envelope(r, t, false, &c[0]);
        read_noise(r, t, false, &c[0]);
        read_envelope(r, t, true, &c[1]);
        read_noise(r, t, true, &c[1]);
    } else {
        read_invf(r, t.nNoise, &c[1]);
        read_envelope(r, t, false, &c[0]);
        read_envelope(r, t, false, &c[1]);
        read_noise(r, t, false, &c[0]);
        read_noise(r, t, false, &c[1]);
    }
    read_harmonics(r, t, &c[0]);
    read_harmonics(r, t, &c[1]);
    return kSbrOk;
}

int32_t read_single_channel(BitCursor *r, const SbrHeader &h, const FrequencyTables &t,
                            SbrFrameData *f)
{
    if (read_bit(r))
        skip_bits(r, 4);  // bs_data_extra: bs_reserved
    f->coupling = 0;
    SbrChannelData *c = &f->ch[0];
    int32_t err = read_grid(r, h.ampRes, c);
    if (err != kSbrOk)
        return err;
    read_dtdf(r, c);
    read_invf(r, t.nNoise, c);
    read_envelope(r, t, false, c);
    read_noise(r, t, false, c);
    read_harmonics(r, t, c);
    return kSbrOk;
}

bool past(const BitCursor *r, int32_t endBit) { return r->overrun || r->bitsConsumed > endBit; }

}  // namespace

// Past the cursor's end the bits read as zeros, which still reach a leaf
// within the longest codeword (the caller checks the position afterwards).
int read_huffman_delta(BitCursor *r, const HuffmanTree &tree)
{
    int node = 0;
    for (int i = 0; i < kMaxCodeLength; i++) {
        int next = tree.nodes[node][read_bit(r)];
        if (next < 0)
            return -(next + 1) - tree.lav;
        node = next;
    }
    return 0;  // not reached: every code of the books is complete
}

int32_t read_sbr_header(BitCursor *r, int32_t endBit, SbrHeader *h)
{
    h->ampRes = static_cast<uint8_t>(read_bit(r));
    h->startFreq = static_cast<uint8_t>(read_bits(r, 4));
    h->stopFreq = static_cast<uint8_t>(read_bits(r, 4));
    h->xoverBand = static_cast<uint8_t>(read_bits(r, 3));
    skip_bits(r, 2);  // bs_reserved
    bool extra1 = read_bit(r) != 0;
    bool extra2 = read_bit(r) != 0;
    h->freqScale = 2;
    h->alterScale = 1;
    h->noiseBands = 2;
    if (extra1) {
        h->freqScale = static_cast<uint8_t>(read_bits(r, 2));
        h->alterScale = static_cast<uint8_t>(read_bit(r));
        h->noiseBands = static_cast<uint8_t>(read_bits(r, 2));
    }
    h->limiterBands = 2;
    h->limiterGains = 2;
    h->interpolFreq = 1;
    h->smoothingMode = 1;
    if (extra2) {
        h->limiterBands = static_cast<uint8_t>(read_bits(r, 2));
        h->limiterGains = static_cast<uint8_t>(read_bits(r, 2));
        h->interpolFreq = static_cast<uint8_t>(read_bit(r));
        h->smoothingMode = static_cast<uint8_t>(read_bit(r));
    }
    h->reserved = 0;
    return past(r, endBit) ? kSbrOverrun : kSbrOk;
}

bool sbr_tables_fit(const FrequencyTables &t)
{
    return t.nHigh >= 1 && t.nHigh <= kMaxHighBands && t.nLow >= 1 && t.nLow <= kMaxLowBands &&
           t.nNoise >= 1 && t.nNoise <= kMaxNoiseBands;
}

bool sbr_header_resets(const SbrHeader &prev, const SbrHeader &next)
{
    return prev.startFreq != next.startFreq || prev.stopFreq != next.stopFreq ||
           prev.freqScale != next.freqScale || prev.alterScale != next.alterScale ||
           prev.xoverBand != next.xoverBand || prev.noiseBands != next.noiseBands;
}

int32_t read_sbr_data(BitCursor *r, int32_t endBit, const SbrHeader &h, const FrequencyTables &t,
                      bool pair, SbrFrameData *f, SbrExtension *ext)
{
    if (ext != nullptr)
        ext->hasPs = false;
    if (!sbr_tables_fit(t))
        return kSbrBadTables;
    f->channels = static_cast<uint8_t>(pair ? 2 : 1);
    int32_t err = pair ? read_channel_pair(r, h, t, f) : read_single_channel(r, h, t, f);
    if (err == kSbrOk && past(r, endBit))
        err = kSbrOverrun;
    if (err == kSbrOk)
        err = skip_extended_data(r, endBit, ext);
    if (err == kSbrOk && past(r, endBit))
        err = kSbrOverrun;
    if (err != kSbrOk && ext != nullptr)
        ext->hasPs = false;
    return err;
}

}  // namespace fxaac::sbr
