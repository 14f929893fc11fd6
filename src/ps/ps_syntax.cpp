#include "ps/ps_syntax.h"

#include <cstring>

#include "ps/ps_layout.h"
#include "sbr/sbr_syntax.h"
#include "sbr/sbr_tables.h"

namespace fxaac::ps {

namespace {

using sbr::HuffmanTree;

constexpr uint8_t kParBands[6] = {10, 20, 34, 10, 20, 34};  // by iid_mode / icc_mode
constexpr uint8_t kPhaseBandsOf[6] = {5, 11, 17, 5, 11, 17};
constexpr uint8_t kFixEnvelopes[4] = {0, 1, 2, 4};  // by num_env_idx, frame_class 0
constexpr int kModes = 6;
constexpr int kEscapeCount = 15;  // ps_extension's cnt: 15 and an 8-bit escape

// The value of a previous envelope with `from` bands on band b of `to`:
// 10 and 20 bands by pairs, 34 through the mapping of the 20 onto the 34
// (the first 34-band of a 20-band stands for it).
int carried(const int8_t *prev, int from, int to, int b)
{
    if (from == to)
        return prev[b];
    const auto as20 = [&](int b20) {
        if (from == 10)
            return prev[b20 / 2];
        if (from == 20)
            return prev[b20];
        int k = 0;
        while (kPar20To34[k] < b20)
            k++;
        return prev[k];
    };
    if (to == 34)
        return as20(kPar20To34[b]);
    return to == 10 ? as20(2 * b) : as20(b);
}

// The parameter bands whose first ones the phase bands are.
int par_count(int phaseBands) { return phaseBands == 5 ? 10 : phaseBands == 11 ? 20 : 34; }

// One envelope of a parameter: dt and the Huffman-coded deltas, resolved
// against the previous envelope (prev, prevBands bands; none: zeros).
// Phases wrap modulo 8; other values must stay within lo..hi.
bool read_values(BitCursor *r, const HuffmanTree &timeBook, const HuffmanTree &freqBook, int bands,
                 const int8_t *prev, int prevBands, int lo, int hi, bool phase, int8_t *out)
{
    const bool dt = read_bit(r) != 0;
    int v = 0;
    for (int b = 0; b < bands; b++) {
        const int delta = sbr::read_huffman_delta(r, dt ? timeBook : freqBook);
        if (dt && prevBands == 0)
            v = delta;
        else if (dt && phase)
            v = carried(prev, par_count(prevBands), par_count(bands), b) + delta;
        else if (dt)
            v = carried(prev, prevBands, bands, b) + delta;
        else
            v = (b > 0 ? v : 0) + delta;
        if (phase)
            v &= kPhaseSteps - 1;
        else if (v < lo || v > hi)
            return false;
        out[b] = static_cast<int8_t>(v);
    }
    return true;
}

int32_t read_header(BitCursor *r, PsSyntaxState *t)
{
    t->enableIid = static_cast<uint8_t>(read_bit(r));
    if (t->enableIid)
        t->iidMode = static_cast<uint8_t>(read_bits(r, 3));
    t->enableIcc = static_cast<uint8_t>(read_bit(r));
    if (t->enableIcc)
        t->iccMode = static_cast<uint8_t>(read_bits(r, 3));
    t->enableExt = static_cast<uint8_t>(read_bit(r));
    t->headerSeen = 1;
    if ((t->enableIid && t->iidMode >= kModes) || (t->enableIcc && t->iccMode >= kModes))
        return kPsReservedMode;
    return 0;
}

// The envelopes and their borders; a variable grid that ends before the
// last slot gets one more envelope up to it (its values: the last ones).
int32_t read_grid(BitCursor *r, PsFrame *f, bool *appended)
{
    const bool variable = read_bit(r) != 0;
    const int idx = static_cast<int>(read_bits(r, 2));
    const int n = variable ? idx + 1 : kFixEnvelopes[idx];
    f->numEnv = static_cast<uint8_t>(n);
    *appended = false;
    for (int e = 0; e < n; e++) {
        const int border = variable ? static_cast<int>(read_bits(r, 5)) : (e + 1) * kSlots / n - 1;
        if (e > 0 && border <= f->border[e - 1])
            return kPsBorderOrder;
        f->border[e] = static_cast<uint8_t>(border);
    }
    if (n > 0 && f->border[n - 1] < kSlots - 1) {
        f->border[n] = kSlots - 1;
        *appended = true;
    }
    return 0;
}

// iid_data() and icc_data() of every envelope.
bool read_levels(BitCursor *r, const PsSyntaxState &t, PsFrame *f)
{
    const bool fine = t.iidMode >= 3;
    const HuffmanTree &iidT = fine ? sbr::kPsIidFineT : sbr::kPsIidDefT;
    const HuffmanTree &iidF = fine ? sbr::kPsIidFineF : sbr::kPsIidDefF;
    const int iidMax = fine ? kIidFineMax : kIidNormalMax;
    for (int e = 0; t.enableIid && e < f->numEnv; e++) {
        const bool first = e == 0;
        if (!read_values(r, iidT, iidF, f->iidBands, first ? t.iid : f->iid[e - 1],
                         first ? t.iidBands : f->iidBands, -iidMax, iidMax, false, f->iid[e]))
            return false;
    }
    for (int e = 0; t.enableIcc && e < f->numEnv; e++) {
        const bool first = e == 0;
        if (!read_values(r, sbr::kPsIccT, sbr::kPsIccF, f->iccBands, first ? t.icc : f->icc[e - 1],
                         first ? t.iccBands : f->iccBands, 0, kIccMax, false, f->icc[e]))
            return false;
    }
    return true;
}

// ps_extension() with ps_extension_id 0: ipd/opd data of every envelope.
bool read_phases(BitCursor *r, const PsSyntaxState &t, PsFrame *f)
{
    if (!read_bit(r))  // enable_ipdopd
        return true;
    f->phaseBands = kPhaseBandsOf[t.iidMode < kModes ? t.iidMode : 0];
    for (int e = 0; e < f->numEnv; e++) {
        const bool first = e == 0;
        const int prevBands = first ? t.phaseBands : f->phaseBands;
        if (!read_values(r, sbr::kPsIpdT, sbr::kPsIpdF, f->phaseBands,
                         first ? t.ipd : f->ipd[e - 1], prevBands, 0, 0, true, f->ipd[e]) ||
            !read_values(r, sbr::kPsOpdT, sbr::kPsOpdF, f->phaseBands,
                         first ? t.opd : f->opd[e - 1], prevBands, 0, 0, true, f->opd[e]))
            return false;
    }
    skip_bits(r, 1);  // reserved_ps
    return true;
}

// The counted extension bytes: ps_extension()s while more than 7 bits are
// left; an id other than 0 takes the rest.
int32_t read_extension(BitCursor *r, int32_t endBit, const PsSyntaxState &t, PsFrame *f)
{
    int32_t bytes = static_cast<int32_t>(read_bits(r, 4));
    if (bytes == kEscapeCount)
        bytes += static_cast<int32_t>(read_bits(r, 8));
    const int32_t end = aac_get_processed_bits(r) + 8 * bytes;
    if (end > endBit)
        return kPsOverrun;
    while (end - aac_get_processed_bits(r) > 7) {
        const uint32_t id = read_bits(r, 2);
        if (id != 0)
            break;
        if (!read_phases(r, t, f))
            return kPsRange;
        if (aac_get_processed_bits(r) > end)
            return kPsOverrun;
    }
    const int32_t left = end - aac_get_processed_bits(r);
    if (left > 0)
        skip_bits(r, static_cast<uint32_t>(left));
    return 0;
}

// The band counts of the frame; a disabled parameter takes the other's.
void set_bands(const PsSyntaxState &t, PsFrame *f)
{
    const int iid = t.enableIid ? kParBands[t.iidMode] : 0;
    const int icc = t.enableIcc ? kParBands[t.iccMode] : 0;
    f->iidBands = static_cast<uint8_t>(iid ? iid : icc ? icc : 20);
    f->iccBands = static_cast<uint8_t>(icc ? icc : f->iidBands);
    f->fineIid = t.enableIid && t.iidMode >= 3;
    f->mixingB = t.enableIcc && t.iccMode >= 3;
    f->bands34 = iid == 34 || icc == 34;
    f->phaseBands = 0;
}

// What the next frame's time deltas start from: the last envelope.
void keep_last(const PsFrame &f, PsSyntaxState *t)
{
    const int e = f.numEnv - 1;
    std::memcpy(t->iid, f.iid[e], sizeof t->iid);
    std::memcpy(t->icc, f.icc[e], sizeof t->icc);
    std::memcpy(t->ipd, f.ipd[e], sizeof t->ipd);
    std::memcpy(t->opd, f.opd[e], sizeof t->opd);
    t->iidBands = f.iidBands;
    t->iccBands = f.iccBands;
    t->phaseBands = f.phaseBands ? f.phaseBands : t->phaseBands;
}

}  // namespace

void reset_ps_syntax(PsSyntaxState *s) { std::memset(s, 0, sizeof *s); }

int32_t read_ps_data(BitCursor *r, int32_t endBit, PsSyntaxState *s, PsFrame *f)
{
    PsSyntaxState t = *s;
    std::memset(f, 0, sizeof *f);
    int32_t rc = read_bit(r) ? read_header(r, &t) : 0;
    if (rc == 0 && !t.headerSeen)
        rc = kPsNoHeader;
    bool appended = false;
    if (rc == 0)
        rc = read_grid(r, f, &appended);
    if (rc < 0)
        return rc;
    set_bands(t, f);
    if (!read_levels(r, t, f))
        return kPsRange;
    if (t.enableExt && (rc = read_extension(r, endBit, t, f)) < 0)
        return rc;
    if (r->overrun || aac_get_processed_bits(r) > endBit)
        return kPsOverrun;
    if (appended) {
        const int last = f->numEnv - 1;
        std::memcpy(f->iid[last + 1], f->iid[last], sizeof f->iid[0]);
        std::memcpy(f->icc[last + 1], f->icc[last], sizeof f->icc[0]);
        std::memcpy(f->ipd[last + 1], f->ipd[last], sizeof f->ipd[0]);
        std::memcpy(f->opd[last + 1], f->opd[last], sizeof f->opd[0]);
        f->numEnv++;
    }
    if (f->numEnv > 0)
        keep_last(*f, &t);
    *s = t;
    return 0;
}

}  // namespace fxaac::ps
