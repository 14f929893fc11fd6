// The SBR decoder of one stream (ISO/IEC 14496-3 4.6.18): up to two SBR
// elements (one channel pair, or two single channels) over up to two
// channels. A frame goes through it element by element: read_element parses
// the element's payload (header, tables, data), then process_channel runs
// each of its channels from the core's samples to the output.
#ifndef FXAAC_SBR_SBR_DECODER_H
#define FXAAC_SBR_SBR_DECODER_H

#include <cstdint>

#include "ps/ps_decoder.h"
#include "sbr/frequency_tables.h"
#include "sbr/hf_adjustment.h"
#include "sbr/hf_generation.h"
#include "sbr/qmf.h"
#include "sbr/sbr_deltas.h"
#include "sbr/sbr_syntax.h"
#include "sbr/sbr_types.h"

namespace fxaac::sbr {

// Why an element's payload is refused, beside the codes of the tables and
// the syntax.
constexpr int32_t kErrNoHeader = -30;         // data before any usable header
constexpr int32_t kErrPayloadLength = -31;    // the data run past the fill element's payload
constexpr int32_t kErrFrequencyTables = -32;  // the header's tables were refused

// Rows of the previous frame's high band that reach into this frame: its
// last envelope may end up to 3 time slots (6 rows) past the frame.
constexpr int kHighHistoryRows = 2 * (kMaxBorder - kTimeSlots);

// One channel's state from frame to frame.
struct SbrChannel {
    QmfAnalysisState analysis;
    QmfSynthesisState synthesis;
    int32_t lowHistory[kHfGen][kLowBands][2];          // rows 32..39, bands < 32
    int32_t highHistory[kHighHistoryRows][kBands][2];  // rows 34..39, bands kx'..kx'+M'-1
    HfGenState generation;
    HfAdjustState adjustment;
    uint8_t prevKx;  // SBR range of the frame before: the bands of highHistory
    uint8_t prevM;
    uint8_t historyRows;  // rows of highHistory that hold samples (0..6)
    uint8_t scale;        // block exponent of analysis and lowHistory (0..kMaxBlockScale)
    uint32_t tailMax;     // largest |input| of the last frame's last 576 samples
};

// One SBR element's header and the tables it gives.
struct SbrElement {
    SbrHeader header;
    FrequencyTables tables;
    SbrDeltaHistory deltas[2];  // per channel of the element: the last frame's values
    uint8_t headerSeen;         // a header was read (the element can be decoded)
    uint8_t tablesValid;        // the header's tables are usable
    uint8_t reset;              // the tables changed: the channels' state restarts
    uint8_t reserved;
};

struct SbrDecoder {
    int32_t sbrRate;      // Hz: twice the core rate
    int32_t downsampled;  // 1: 32-band synthesis at the core rate
    SbrElement element[2];
    SbrChannel channel[2];  // last: a mono stream may lend the second to other state
};

// Work memory of one frame call, shared by the channels in turn.
struct SbrWork {
    QmfRow rows[kRows];
    SbrFrameData frame;  // the element being decoded
    HfAdjustWork adjust;
    int32_t slot[kBands];  // one slot's output samples
};

// Where a channel's samples go: PCM of the core decoder's formats.
struct PcmTarget {
    void *output;
    int32_t channels;
    int32_t channel;
    int32_t format;  // 2: 24-bit in 32-bit words, else 16-bit
};

void init_decoder(SbrDecoder *d, int32_t sbrRate, bool downsampled);

// One channel's state as init_decoder leaves it.
void reset_channel(SbrChannel *c);

// Reads one element's sbr_extension_data (bits long at bitPos of ptr; crc:
// the fill element's type carries bs_sbr_crc_bits) into w->frame. pair: the
// element is a channel pair. ext (or nullptr) tells where parametric stereo
// data lies. Returns 0, or a negative code when the payload is refused
// (w->frame is then not to be used; the element's state stays consistent).
int32_t read_element(SbrDecoder *d, SbrWork *w, int element, const uint8_t *ptr, int32_t bitPos,
                     int32_t bits, bool crc, bool pair, SbrExtension *ext);

// Parametric stereo on a mono element: the decoder, the right channel's
// synthesis bank and where its samples go.
struct PsStage {
    ps::PsDecoder *decoder;
    QmfSynthesisState *synthesis;
    PcmTarget right;
};

// One channel's frame: QMF analysis of the core's 1024 samples (hand-off
// format), HF generation and adjustment from w->frame's channel frameCh when
// data is true, synthesis into target (2048 samples, or 1024 downsampled).
// With ps, target is the left channel and ps->right the right one.
void process_channel(SbrDecoder *d, SbrWork *w, int channel, int element, int frameCh, bool data,
                     const int32_t *time, const PcmTarget &target, PsStage *ps);

}  // namespace fxaac::sbr

#endif  // FXAAC_SBR_SBR_DECODER_H
