#include "syntax/side_data.h"

#include "syntax/ics_info.h"

using namespace fxaac;

namespace {

// Field widths of tns_data by window length.
struct TnsWidths {
    uint32_t nFilt, length, order;
};
constexpr TnsWidths kTnsLong = {2, 6, 5};
constexpr TnsWidths kTnsShort = {1, 4, 3};

enum LtpField {
    kLtpBands = 0,
    kLtpLag = 3,
    kLtpCoef = 4,
    kShortUsed = 5,
    kShortLagPresent = 13,
    kShortLag = 21,
    kLongUsed = 29
};

}  // namespace

void fxaac::pulse_data(PulseInfo *pulse, BitCursor *reader)
{
    pulse->number_pulse = static_cast<int8_t>(read_bits(reader, 2));
    pulse->pulse_start_sfb = static_cast<uint8_t>(read_bits(reader, 6));
    for (int p = 0; p <= pulse->number_pulse; p++) {
        pulse->pulse_offset[p] = static_cast<uint8_t>(read_bits(reader, 5));
        pulse->pulse_amp[p] = static_cast<uint8_t>(read_bits(reader, 4));
    }
}

int32_t fxaac::tns_data(const ChannelStream *stream, TnsInfo *tns, BitCursor *reader)
{
    const TnsWidths &bits = stream->window_sequence == kEightShort ? kTnsShort : kTnsLong;
    for (int w = 0; w < stream->num_windows; w++) {
        tns->n_filt[w] = static_cast<uint8_t>(read_bits(reader, bits.nFilt));
        if (tns->n_filt[w] == 0)
            continue;
        tns->coef_res[w] = static_cast<uint8_t>(read_bits(reader, 1));
        const uint32_t base = tns->coef_res[w] ? 4 : 3;
        for (int f = 0; f < tns->n_filt[w]; f++) {
            tns->length[w][f] = static_cast<uint8_t>(read_bits(reader, bits.length));
            const int order = static_cast<int>(read_bits(reader, bits.order));
            if (order > FXAAC_TNS_COEF_SLOTS)
                return FXAAC_ERR_TNS_ORDER;
            tns->order[w][f] = static_cast<uint8_t>(order);
            if (order == 0)
                continue;
            tns->direction[w][f] = static_cast<uint8_t>(read_bits(reader, 1));
            tns->coef_compress[w][f] = static_cast<uint8_t>(read_bits(reader, 1));
            const uint32_t width = base - tns->coef_compress[w][f];
            for (int i = 0; i < order; i++)
                tns->coef[w][FXAAC_TNS_COEF_SLOTS * f + i] = static_cast<uint8_t>(
                    read_bits(reader, width));
        }
    }
    return FXAAC_OK;
}

void fxaac::ltp_data(const ChannelStream *stream, LtpInfo *ltp, BitCursor *reader)
{
    ltp->field[kLtpLag] = static_cast<uint16_t>(read_bits(reader, 11));
    ltp->field[kLtpCoef] = static_cast<uint16_t>(read_bits(reader, 3));
    if (stream->window_sequence == kEightShort) {
        for (int w = 0; w < stream->num_windows && w < 8; w++) {
            ltp->field[kShortUsed + w] = static_cast<uint16_t>(read_bits(reader, 1));
            if (!ltp->field[kShortUsed + w])
                continue;
            ltp->field[kShortLagPresent + w] = static_cast<uint16_t>(read_bits(reader, 1));
            if (ltp->field[kShortLagPresent + w])
                ltp->field[kShortLag + w] = static_cast<uint16_t>(read_bits(reader, 4));
        }
        return;
    }
    const int bands = stream->max_sfb < kLtpMaxBands ? stream->max_sfb : kLtpMaxBands;
    ltp->field[kLtpBands] = static_cast<uint16_t>(bands < 0 ? 0 : bands);
    for (int b = 0; b < bands; b++)
        ltp->field[kLongUsed + b] = static_cast<uint16_t>(read_bits(reader, 1));
}
