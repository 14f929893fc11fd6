// The exported names of exported_names.h, each forwarding to the library's
// function of the same name. The parsers take the caller's three-field
// BitReader: they run on an unbounded cursor at its position, which is then
// stored back.
#include "api/exported_names.h"

#include <type_traits>

#include "bitstream/adts.h"
#include "bitstream/audio_config.h"
#include "bitstream/data_stream.h"
#include "bitstream/program_config.h"
#include "decoder/fill_element.h"
#include "filterbank/fft.h"
#include "filterbank/filter_bank.h"
#include "filterbank/filter_bank_init.h"
#include "filterbank/imdct.h"
#include "filterbank/pcm_output.h"
#include "fixedpoint/basic_ops.h"
#include "fixedpoint/vector_ops.h"
#include "syntax/channel_element.h"
#include "syntax/ics_info.h"
#include "syntax/section_data.h"
#include "syntax/side_data.h"
#include "syntax/spectral_data.h"
#include "tools/inverse_quantization.h"
#include "tools/pns.h"
#include "tools/pulse.h"
#include "tools/stereo.h"
#include "tools/tns.h"

namespace {

// Runs parse on a cursor at the reader's position and moves the reader on.
template <typename Parse>
auto through(BitReader *reader, Parse parse)
{
    BitCursor cursor = fxaac::cursor_of(reader);
    if constexpr (std::is_void_v<decltype(parse(&cursor))>) {
        parse(&cursor);
        fxaac::store_cursor(reader, cursor);
    } else {
        auto result = parse(&cursor);
        fxaac::store_cursor(reader, cursor);
        return result;
    }
}

}  // namespace

extern "C" {

// bitstream/adts.h

int32_t can_decode_objType(int32_t objectType) { return fxaac::can_decode_objType(objectType); }

// bitstream/audio_config.h

int32_t AudioSpecificConfig_AAC(const uint8_t *buffer, uint32_t *sampleRate,
                                uint32_t *channelConfig, uint32_t *sfIndex, uint32_t *objectType,
                                uint8_t *sectionResilience, uint8_t *scalefactorResilience,
                                uint8_t *spectralResilience, uint8_t *frameLengthFlag)
{
    return fxaac::AudioSpecificConfig_AAC(buffer, sampleRate, channelConfig, sfIndex, objectType,
                                          sectionResilience, scalefactorResilience,
                                          spectralResilience, frameLengthFlag);
}

// filterbank/fft.h

void my_FFT(int32_t *in, int32_t *out, int32_t n) { fxaac::my_FFT(in, out, n); }

void iDSP_fft32x32_512(const int32_t *w, const int32_t *w8, int32_t n, int32_t *in, int32_t *out)
{
    fxaac::iDSP_fft32x32_512(w, w8, n, in, out);
}

void iDSP_fft32x32_64(const int32_t *w, int32_t n, int32_t *in, int32_t *out)
{
    fxaac::iDSP_fft32x32_64(w, n, in, out);
}

void radix4Bfly_neon(const int32_t *w, int32_t *x, int32_t N, int32_t n)
{
    fxaac::radix4Bfly_neon(w, x, N, n);
}

void radix4Bfly_neon_w8(const int32_t *w8, int32_t *x, int32_t N, int32_t n)
{
    fxaac::radix4Bfly_neon_w8(w8, x, N, n);
}

void postRadixCompute2(int32_t *out, const int32_t *x, const int32_t *digRevTable, int32_t N)
{
    fxaac::postRadixCompute2(out, x, digRevTable, N);
}

void postRadixCompute4(int32_t *out, const int32_t *x, const int32_t *digRevTable, int32_t N)
{
    fxaac::postRadixCompute4(out, x, digRevTable, N);
}

void postradix2(int32_t *out, const int32_t *x, const int32_t *digRevTable, int32_t N)
{
    fxaac::postradix2(out, x, digRevTable, N);
}

void postradix4(int32_t *out, const int32_t *x, const int32_t *digRevTable, int32_t N)
{
    fxaac::postradix4(out, x, digRevTable, N);
}

// filterbank/filter_bank.h

void ifilter_bank(AacDecoder *instance, int32_t window_sequence, int32_t window_shape,
                  int32_t previous_shape, int32_t *spectrum, int32_t *overlap, int32_t *sbr_out,
                  int32_t *time, void *pcm_out, int32_t swap, int32_t channels, int16_t format,
                  int32_t channel, int32_t sbr_mode)
{
    fxaac::ifilter_bank(instance, window_sequence, window_shape, previous_shape, spectrum, overlap,
                        sbr_out, time, pcm_out, swap, channels, format, channel, sbr_mode);
}

// filterbank/filter_bank_init.h

void filter_bank_init(AacDecoder *instance) { fxaac::filter_bank_init(instance); }

// filterbank/imdct.h

void IMDCT(AacDecoder *instance, int32_t *in, int32_t *out, int32_t N)
{
    fxaac::IMDCT(instance, in, out, N);
}

void ipreTwiddle(AacDecoder *instance, const int32_t *in, int32_t N)
{
    fxaac::ipreTwiddle(instance, in, N);
}

void ipostTwiddle(AacDecoder *instance, int32_t *out, int32_t N, int32_t shift)
{
    fxaac::ipostTwiddle(instance, out, N, shift);
}

int32_t maxArray(const int32_t *x, int32_t n) { return fxaac::maxArray(x, n); }

int32_t max_Array_c(const int32_t *x, int32_t n) { return fxaac::max_Array_c(x, n); }

void normalize30(int32_t *x, int32_t shift, int32_t n) { fxaac::normalize30(x, shift, n); }

void Normalize30_c(int32_t *x, int32_t shift, int32_t n) { fxaac::Normalize30_c(x, shift, n); }

void preTwiddleCompute_c_neon(const int32_t *front, const int32_t *back, int32_t *out,
                              const int16_t *cosine, const int16_t *sine, int32_t count)
{
    fxaac::preTwiddleCompute_c_neon(front, back, out, cosine, sine, count);
}

void preTwiddleCompute_c(const int32_t *front, const int32_t *back, int32_t *out,
                         const int16_t *cosine, const int16_t *sine, int32_t count)
{
    fxaac::preTwiddleCompute_c(front, back, out, cosine, sine, count);
}

void preTwiddleCompute(const int32_t *front, const int32_t *back, int32_t *out,
                       const int16_t *cosine, const int16_t *sine, int32_t count)
{
    fxaac::preTwiddleCompute(front, back, out, cosine, sine, count);
}

void postTwiddleCompute12_c_neon(int32_t *out, const int32_t *in, const int16_t *cosine,
                                 const int16_t *sine, int32_t N, int32_t shift)
{
    fxaac::postTwiddleCompute12_c_neon(out, in, cosine, sine, N, shift);
}

void postTwiddleCompute1_c(int32_t *out, const int32_t *in, const int16_t *cosine,
                           const int16_t *sine, int32_t N, int32_t shift)
{
    fxaac::postTwiddleCompute1_c(out, in, cosine, sine, N, shift);
}

void postTwiddleCompute2_c(int32_t *out, const int32_t *in, const int16_t *cosine,
                           const int16_t *sine, int32_t N, int32_t shift)
{
    fxaac::postTwiddleCompute2_c(out, in, cosine, sine, N, shift);
}

void postTwiddleCompute1(int32_t *out, const int32_t *in, const int16_t *cosine,
                         const int16_t *sine, int32_t N, int32_t shift)
{
    fxaac::postTwiddleCompute1(out, in, cosine, sine, N, shift);
}

void postTwiddleCompute2(int32_t *out, const int32_t *in, const int16_t *cosine,
                         const int16_t *sine, int32_t N, int32_t shift)
{
    fxaac::postTwiddleCompute2(out, in, cosine, sine, N, shift);
}

// filterbank/pcm_output.h

void *myOutputToPCM(const int32_t *samples, void *out, int32_t channels, int16_t format,
                    int32_t swap, int32_t count, int32_t channel)
{
    return fxaac::myOutputToPCM(samples, out, channels, format, swap, count, channel);
}

void *myOutputToPCM_noshift(const int32_t *samples, void *out, int32_t channels, int16_t format,
                            int32_t swap, int32_t count, int32_t channel)
{
    return fxaac::myOutputToPCM_noshift(samples, out, channels, format, swap, count, channel);
}

void out16bit(const int32_t *in, int16_t *out, int32_t n) { fxaac::out16bit(in, out, n); }

void out24bit(const int32_t *in, int32_t *out, int32_t n) { fxaac::out24bit(in, out, n); }

void out16bit_noshift(const int32_t *in, int16_t *out, int32_t n)
{
    fxaac::out16bit_noshift(in, out, n);
}

void out16bit_c(const int32_t *in, int16_t *out, int32_t n) { fxaac::out16bit_c(in, out, n); }

void out16bit_noshift_c(const int32_t *in, int16_t *out, int32_t n)
{
    fxaac::out16bit_noshift_c(in, out, n);
}

void out24bit_c(const int32_t *in, int32_t *out, int32_t n) { fxaac::out24bit_c(in, out, n); }

void myPCMtoSBR(int32_t *out, const int32_t *samples, int32_t channels, int32_t count)
{
    fxaac::myPCMtoSBR(out, samples, channels, count);
}

// fixedpoint/basic_ops.h

int32_t mpy_32_16_r_AAC_DEC(int32_t k, int32_t x) { return fxaac::mpy_32_16_r_AAC_DEC(k, x); }

int32_t mpy_32_16_r_ns(int32_t k, int32_t x) { return fxaac::mpy_32_16_r_ns(k, x); }

int32_t shift_dir_AAC_DEC(int32_t x, int32_t n) { return fxaac::shift_dir_AAC_DEC(x, n); }

int16_t normalize_AAC_DEC(int32_t x) { return fxaac::normalize_AAC_DEC(x); }

int16_t normalize_pos(int32_t x) { return fxaac::normalize_pos(x); }

int32_t L_add_AAC_DEC(int32_t a, int32_t b) { return fxaac::L_add_AAC_DEC(a, b); }

int32_t L_sub_AAC_DEC(int32_t a, int32_t b) { return fxaac::L_sub_AAC_DEC(a, b); }

int32_t L_abs_AAC_DEC(int32_t a) { return fxaac::L_abs_AAC_DEC(a); }

int32_t L_shl_AAC_DEC(int32_t x, int32_t n) { return fxaac::L_shl_AAC_DEC(x, n); }

int32_t L_shr_AAC_DEC(int32_t x, int32_t n) { return fxaac::L_shr_AAC_DEC(x, n); }

int32_t L_shl_AAC_DEC_sat(int32_t x, int32_t n) { return fxaac::L_shl_AAC_DEC_sat(x, n); }

int16_t negate(int32_t x) { return fxaac::negate(x); }

int16_t extract_h(int32_t x) { return fxaac::extract_h(x); }

int16_t extract_l(int32_t x) { return fxaac::extract_l(x); }

int32_t L_add_c(int32_t a, int32_t b) { return fxaac::L_add_c(a, b); }

int32_t L_sub_c(int32_t a, int32_t b) { return fxaac::L_sub_c(a, b); }

int32_t L_ExtractFFT(int32_t x, int16_t *hi, int16_t *lo) { return fxaac::L_ExtractFFT(x, hi, lo); }

int32_t modified_Mpy_32_16_FFT(int32_t hi, int32_t lo, int32_t n)
{
    return fxaac::modified_Mpy_32_16_FFT(hi, lo, n);
}

// fixedpoint/vector_ops.h

void vmult1(const int32_t *x, const int16_t *w, int32_t *y, int n) { fxaac::vmult1(x, w, y, n); }

void vmult2(const int32_t *x, const int16_t *w, int32_t *y, int n) { fxaac::vmult2(x, w, y, n); }

void vmadd(const int32_t *x, const int16_t *w, int32_t *y, int n) { fxaac::vmadd(x, w, y, n); }

void vmult2_short(const int32_t *x, const int16_t *w, int32_t *y, int n)
{
    fxaac::vmult2_short(x, w, y, n);
}

void my_vqadd(const int32_t *x, const int32_t *y, int32_t *z, int n)
{
    fxaac::my_vqadd(x, y, z, n);
}

void my_vcopy(const int32_t *src, int32_t *dst, int n) { fxaac::my_vcopy(src, dst, n); }

void my_vzero(int32_t *p, int n) { fxaac::my_vzero(p, n); }

void memcopy16_16(const int16_t *src, int16_t *dst, int n) { fxaac::memcopy16_16(src, dst, n); }

void memcopy16_16_y_m(const int16_t *src, int16_t *dst, int n)
{
    fxaac::memcopy16_16_y_m(src, dst, n);
}

void memcopy16_16_m_y(const int16_t *src, int16_t *dst, int n)
{
    fxaac::memcopy16_16_m_y(src, dst, n);
}

void memcopy32_32(const int32_t *src, int32_t *dst, int n) { fxaac::memcopy32_32(src, dst, n); }

void setzero32(int32_t *p, int n) { fxaac::setzero32(p, n); }

int16_t findMin(const int16_t *x, int n) { return fxaac::findMin(x, n); }

void my_vmult1(const int32_t *x, const int16_t *w, int32_t *y, int n)
{
    fxaac::my_vmult1(x, w, y, n);
}

void my_vmult2(const int32_t *x, const int16_t *w, int32_t *y, int n)
{
    fxaac::my_vmult2(x, w, y, n);
}

void my_vmadd(const int32_t *x, const int16_t *w, int32_t *y, int n)
{
    fxaac::my_vmadd(x, w, y, n);
}

void my_vmult2_short(const int32_t *x, const int16_t *w, int32_t *y, int n)
{
    fxaac::my_vmult2_short(x, w, y, n);
}

void vadd(const int32_t *x, const int32_t *y, int32_t *z, int n) { fxaac::vadd(x, y, z, n); }

void vcopy(const int32_t *src, int32_t *dst, int n) { fxaac::vcopy(src, dst, n); }

void vzero(int32_t *p, int n) { fxaac::vzero(p, n); }

// syntax/ics_info.h

int32_t window_grouping_info(ChannelStream *stream, int32_t sfIndex)
{
    return fxaac::window_grouping_info(stream, sfIndex);
}

// tools/inverse_quantization.h

void inverse_quantization(int32_t *dst, const int16_t *src)
{
    fxaac::inverse_quantization(dst, src);
}

void invquantize(int32_t *dst, const int16_t *src) { fxaac::invquantize(dst, src); }

void apply_scalefactors(const ChannelStream *stream, int32_t *spectrum)
{
    fxaac::apply_scalefactors(stream, spectrum);
}

void get_scale_factor_gain(int32_t sf, int32_t *values, int32_t count, const int16_t *mantissas)
{
    fxaac::get_scale_factor_gain(sf, values, count, mantissas);
}

void dec_quant_to_spec(const ChannelStream *stream, int32_t *dst, const int32_t *src)
{
    fxaac::dec_quant_to_spec(stream, dst, src);
}

// tools/pns.h

void pns_decode(const ChannelStream *stream, int32_t *spectrum, int32_t *seed)
{
    fxaac::pns_decode(stream, spectrum, seed);
}

void random1init(int32_t seed, int32_t period) { fxaac::random1init(seed, period); }

int32_t random1(void) { return fxaac::random1(); }

// tools/pulse.h

void pulse_decode(const ChannelStream *stream, int16_t *quantised)
{
    fxaac::pulse_decode(stream, quantised);
}

// tools/stereo.h

void ms_decode(const ChannelStream *first, const ChannelStream *second, int32_t *spectrumFirst,
               int32_t *spectrumSecond)
{
    fxaac::ms_decode(first, second, spectrumFirst, spectrumSecond);
}

void is_decode(const ChannelStream *first, const ChannelStream *second,
               const int32_t *spectrumFirst, int32_t *spectrumSecond)
{
    fxaac::is_decode(first, second, spectrumFirst, spectrumSecond);
}

// tools/tns.h

void tns_decode_frame(ChannelStream *stream, TnsInfo *tns, int32_t sfIndex, int16_t objectType,
                      int32_t *spectrum, int32_t *scratch)
{
    fxaac::tns_decode_frame(stream, tns, sfIndex, objectType, spectrum, scratch);
}

void tns_ar_filter_fixed(int32_t *line, int32_t size, int32_t step, const int16_t *lpc,
                         int32_t order, int32_t shift, int32_t *scratch)
{
    fxaac::tns_ar_filter_fixed(line, size, step, lpc, order, shift, scratch);
}

// bit reader parsers

void pulse_data(PulseInfo *pulse, BitReader *reader)
{
    through(reader, [&](BitCursor *c) { return fxaac::pulse_data(pulse, c); });
}

int32_t tns_data(const ChannelStream *stream, TnsInfo *tns, BitReader *reader)
{
    return through(reader, [&](BitCursor *c) { return fxaac::tns_data(stream, tns, c); });
}

void ltp_data(const ChannelStream *stream, LtpInfo *ltp, BitReader *reader)
{
    through(reader, [&](BitCursor *c) { return fxaac::ltp_data(stream, ltp, c); });
}

int32_t section_data(ChannelStream *stream, BitReader *reader)
{
    return through(reader, [&](BitCursor *c) { return fxaac::section_data(stream, c); });
}

int32_t scale_factor_data(ChannelStream *stream, BitReader *reader)
{
    return through(reader, [&](BitCursor *c) { return fxaac::scale_factor_data(stream, c); });
}

int32_t spectral_data(const ChannelStream *stream, BitReader *reader, int16_t *quantised,
                      int16_t objectType)
{
    return through(reader, [&](BitCursor *c) {
        return fxaac::spectral_data(stream, c, quantised, objectType);
    });
}

int32_t single_lfe_channel_element(AacDecoder *instance, ChannelElement *element, BitReader *reader,
                                   int16_t *const *quantised, int32_t sfIndex, int32_t objectType)
{
    return through(reader, [&](BitCursor *c) {
        return fxaac::single_lfe_channel_element(instance, element, c, quantised, sfIndex,
                                                 objectType);
    });
}

int32_t channel_pair_element(ChannelElement *element, BitReader *reader, int16_t *quantised0,
                             int16_t *quantised1, int32_t sfIndex, int32_t objectType)
{
    return through(reader, [&](BitCursor *c) {
        return fxaac::channel_pair_element(element, c, quantised0, quantised1, sfIndex, objectType);
    });
}

int32_t individual_channel_stream(ChannelElement *element, BitReader *reader, ChannelStream *stream,
                                  int32_t scaleFlag, int16_t *quantised, int32_t sfIndex,
                                  int32_t objectType)
{
    return through(reader, [&](BitCursor *c) {
        return fxaac::individual_channel_stream(element, c, stream, scaleFlag, quantised, sfIndex,
                                                objectType);
    });
}

int32_t ics_info(ChannelStream *stream, BitReader *reader, int32_t commonWindow, int32_t sfIndex,
                 int32_t objectType)
{
    return through(reader, [&](BitCursor *c) {
        return fxaac::ics_info(stream, c, commonWindow, sfIndex, objectType);
    });
}

int32_t program_config_element(ProgramConfig *pce, BitReader *reader)
{
    return through(reader, [&](BitCursor *c) { return fxaac::program_config_element(pce, c); });
}

int32_t find_sync_word(AdtsHeader *header, BitReader *reader)
{
    return through(reader, [&](BitCursor *c) { return fxaac::find_sync_word(header, c); });
}

int32_t find_sync_word_once(AdtsHeader *header, BitReader *reader)
{
    return through(reader, [&](BitCursor *c) { return fxaac::find_sync_word_once(header, c); });
}

int32_t adts_fixed_header(AdtsHeader *header, BitReader *reader)
{
    return through(reader, [&](BitCursor *c) { return fxaac::adts_fixed_header(header, c); });
}

void adts_variable_header(AdtsHeader *header, BitReader *reader)
{
    through(reader, [&](BitCursor *c) { return fxaac::adts_variable_header(header, c); });
}

void adts_error_check(AdtsHeader *header, BitReader *reader)
{
    through(reader, [&](BitCursor *c) { return fxaac::adts_error_check(header, c); });
}

void adts_header_error_check(AdtsHeader *header, BitReader *reader)
{
    through(reader, [&](BitCursor *c) { return fxaac::adts_header_error_check(header, c); });
}

int32_t adts_frame(AdtsHeader *header, BitReader *reader)
{
    return through(reader, [&](BitCursor *c) { return fxaac::adts_frame(header, c); });
}

int8_t GASpecificConfig(BitReader *reader, uint32_t *channelConfig, uint32_t objectType,
                        uint8_t *sectionResilience, uint8_t *scalefactorResilience,
                        uint8_t *spectralResilience, uint8_t *frameLengthFlag)
{
    return through(reader, [&](BitCursor *c) {
        return fxaac::GASpecificConfig(c, channelConfig, objectType, sectionResilience,
                                       scalefactorResilience, spectralResilience, frameLengthFlag);
    });
}

int32_t get_adif_header(AdifHeader *adif, BitReader *reader)
{
    return through(reader, [&](BitCursor *c) { return fxaac::get_adif_header(adif, c); });
}

int32_t data_stream_element(BitReader *reader)
{
    return through(reader, [&](BitCursor *c) { return fxaac::data_stream_element(c); });
}

int32_t dynamic_range_info(BitReader *reader, DrcInfo *drc)
{
    return through(reader, [&](BitCursor *c) { return fxaac::dynamic_range_info(c, drc); });
}

int32_t excluded_channels(BitReader *reader, DrcInfo *drc)
{
    return through(reader, [&](BitCursor *c) { return fxaac::excluded_channels(c, drc); });
}

void VorNexAACPlus_GetSbrBitStream(BitReader *reader)
{
    through(reader, [&](BitCursor *c) { return fxaac::VorNexAACPlus_GetSbrBitStream(c); });
}

}  // extern "C"
