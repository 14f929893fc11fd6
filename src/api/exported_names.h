// Every name that the library exports beyond the entry points of
// <fxaac/fxaac.h>, <fxaac/fxaac_latm.h> and the test driver, with C linkage:
// the parsers, tools, filterbank stages and fixed-point operations, each a
// one-line forwarder (exported_names.cpp) to the library's own function of
// the same name in namespace fxaac. The library never calls these; its code
// calls the namespace functions directly. tests/api/exported_symbols.txt
// lists them with the entry points and is checked against the built library.
#ifndef FXAAC_API_EXPORTED_NAMES_H
#define FXAAC_API_EXPORTED_NAMES_H

#include <cstdint>

#include <fxaac/fxaac.h>

#include "bitstream/audio_config.h"
#include "bitstream/bit_reader.h"
#include "bitstream/data_stream.h"
#include "bitstream/program_config.h"
#include "syntax/side_data.h"

FXAAC_EXTERN_C_BEGIN
// bitstream/adts.h
FXAAC_API int32_t can_decode_objType(int32_t objectType);
// bitstream/audio_config.h
FXAAC_API int32_t AudioSpecificConfig_AAC(const uint8_t *buffer, uint32_t *sampleRate,
                                          uint32_t *channelConfig, uint32_t *sfIndex,
                                          uint32_t *objectType, uint8_t *sectionResilience,
                                          uint8_t *scalefactorResilience,
                                          uint8_t *spectralResilience, uint8_t *frameLengthFlag);
// filterbank/fft.h
FXAAC_API void my_FFT(int32_t *in, int32_t *out, int32_t n);
FXAAC_API void iDSP_fft32x32_512(const int32_t *w, const int32_t *w8, int32_t n, int32_t *in,
                                 int32_t *out);
FXAAC_API void iDSP_fft32x32_64(const int32_t *w, int32_t n, int32_t *in, int32_t *out);
FXAAC_API void radix4Bfly_neon(const int32_t *w, int32_t *x, int32_t N, int32_t n);
FXAAC_API void radix4Bfly_neon_w8(const int32_t *w8, int32_t *x, int32_t N, int32_t n);
FXAAC_API void postRadixCompute2(int32_t *out, const int32_t *x, const int32_t *digRevTable,
                                 int32_t N);
FXAAC_API void postRadixCompute4(int32_t *out, const int32_t *x, const int32_t *digRevTable,
                                 int32_t N);
FXAAC_API void postradix2(int32_t *out, const int32_t *x, const int32_t *digRevTable, int32_t N);
FXAAC_API void postradix4(int32_t *out, const int32_t *x, const int32_t *digRevTable, int32_t N);
// filterbank/filter_bank.h
FXAAC_API void ifilter_bank(AacDecoder *instance, int32_t window_sequence, int32_t window_shape,
                            int32_t previous_shape, int32_t *spectrum, int32_t *overlap,
                            int32_t *sbr_out, int32_t *time, void *pcm_out, int32_t swap,
                            int32_t channels, int16_t format, int32_t channel, int32_t sbr_mode);
// filterbank/filter_bank_init.h
FXAAC_API void filter_bank_init(AacDecoder *instance);
// filterbank/imdct.h
FXAAC_API void IMDCT(AacDecoder *instance, int32_t *in, int32_t *out, int32_t N);
FXAAC_API void ipreTwiddle(AacDecoder *instance, const int32_t *in, int32_t N);
FXAAC_API void ipostTwiddle(AacDecoder *instance, int32_t *out, int32_t N, int32_t shift);
FXAAC_API int32_t maxArray(const int32_t *x, int32_t n);
FXAAC_API int32_t max_Array_c(const int32_t *x, int32_t n);
FXAAC_API void normalize30(int32_t *x, int32_t shift, int32_t n);
FXAAC_API void Normalize30_c(int32_t *x, int32_t shift, int32_t n);
FXAAC_API void preTwiddleCompute_c_neon(const int32_t *front, const int32_t *back, int32_t *out,
                                        const int16_t *cosine, const int16_t *sine, int32_t count);
FXAAC_API void preTwiddleCompute_c(const int32_t *front, const int32_t *back, int32_t *out,
                                   const int16_t *cosine, const int16_t *sine, int32_t count);
FXAAC_API void preTwiddleCompute(const int32_t *front, const int32_t *back, int32_t *out,
                                 const int16_t *cosine, const int16_t *sine, int32_t count);
FXAAC_API void postTwiddleCompute12_c_neon(int32_t *out, const int32_t *in, const int16_t *cosine,
                                           const int16_t *sine, int32_t N, int32_t shift);
FXAAC_API void postTwiddleCompute1_c(int32_t *out, const int32_t *in, const int16_t *cosine,
                                     const int16_t *sine, int32_t N, int32_t shift);
FXAAC_API void postTwiddleCompute2_c(int32_t *out, const int32_t *in, const int16_t *cosine,
                                     const int16_t *sine, int32_t N, int32_t shift);
FXAAC_API void postTwiddleCompute1(int32_t *out, const int32_t *in, const int16_t *cosine,
                                   const int16_t *sine, int32_t N, int32_t shift);
FXAAC_API void postTwiddleCompute2(int32_t *out, const int32_t *in, const int16_t *cosine,
                                   const int16_t *sine, int32_t N, int32_t shift);
// filterbank/pcm_output.h
FXAAC_API void *myOutputToPCM(const int32_t *samples, void *out, int32_t channels, int16_t format,
                              int32_t swap, int32_t count, int32_t channel);
FXAAC_API void *myOutputToPCM_noshift(const int32_t *samples, void *out, int32_t channels,
                                      int16_t format, int32_t swap, int32_t count, int32_t channel);
FXAAC_API void out16bit(const int32_t *in, int16_t *out, int32_t n);
FXAAC_API void out24bit(const int32_t *in, int32_t *out, int32_t n);
FXAAC_API void out16bit_noshift(const int32_t *in, int16_t *out, int32_t n);
FXAAC_API void out16bit_c(const int32_t *in, int16_t *out, int32_t n);
FXAAC_API void out16bit_noshift_c(const int32_t *in, int16_t *out, int32_t n);
FXAAC_API void out24bit_c(const int32_t *in, int32_t *out, int32_t n);
FXAAC_API void myPCMtoSBR(int32_t *out, const int32_t *samples, int32_t channels, int32_t count);
// fixedpoint/basic_ops.h
FXAAC_API int32_t mpy_32_16_r_AAC_DEC(int32_t k, int32_t x);
FXAAC_API int32_t mpy_32_16_r_ns(int32_t k, int32_t x);
FXAAC_API int32_t shift_dir_AAC_DEC(int32_t x, int32_t n);
FXAAC_API int16_t normalize_AAC_DEC(int32_t x);
FXAAC_API int16_t normalize_pos(int32_t x);
FXAAC_API int32_t L_add_AAC_DEC(int32_t a, int32_t b);
FXAAC_API int32_t L_sub_AAC_DEC(int32_t a, int32_t b);
FXAAC_API int32_t L_abs_AAC_DEC(int32_t a);
FXAAC_API int32_t L_shl_AAC_DEC(int32_t x, int32_t n);
FXAAC_API int32_t L_shr_AAC_DEC(int32_t x, int32_t n);
FXAAC_API int32_t L_shl_AAC_DEC_sat(int32_t x, int32_t n);
FXAAC_API int16_t negate(int32_t x);
FXAAC_API int16_t extract_h(int32_t x);
FXAAC_API int16_t extract_l(int32_t x);
FXAAC_API int32_t L_add_c(int32_t a, int32_t b);
FXAAC_API int32_t L_sub_c(int32_t a, int32_t b);
FXAAC_API int32_t L_ExtractFFT(int32_t x, int16_t *hi, int16_t *lo);
FXAAC_API int32_t modified_Mpy_32_16_FFT(int32_t hi, int32_t lo, int32_t n);
// fixedpoint/vector_ops.h
FXAAC_API void vmult1(const int32_t *x, const int16_t *w, int32_t *y, int n);
FXAAC_API void vmult2(const int32_t *x, const int16_t *w, int32_t *y, int n);
FXAAC_API void vmadd(const int32_t *x, const int16_t *w, int32_t *y, int n);
FXAAC_API void vmult2_short(const int32_t *x, const int16_t *w, int32_t *y, int n);
FXAAC_API void my_vqadd(const int32_t *x, const int32_t *y, int32_t *z, int n);
FXAAC_API void my_vcopy(const int32_t *src, int32_t *dst, int n);
FXAAC_API void my_vzero(int32_t *p, int n);
FXAAC_API void memcopy16_16(const int16_t *src, int16_t *dst, int n);
FXAAC_API void memcopy16_16_y_m(const int16_t *src, int16_t *dst, int n);
FXAAC_API void memcopy16_16_m_y(const int16_t *src, int16_t *dst, int n);
FXAAC_API void memcopy32_32(const int32_t *src, int32_t *dst, int n);
FXAAC_API void setzero32(int32_t *p, int n);
FXAAC_API int16_t findMin(const int16_t *x, int n);
FXAAC_API void my_vmult1(const int32_t *x, const int16_t *w, int32_t *y, int n);
FXAAC_API void my_vmult2(const int32_t *x, const int16_t *w, int32_t *y, int n);
FXAAC_API void my_vmadd(const int32_t *x, const int16_t *w, int32_t *y, int n);
FXAAC_API void my_vmult2_short(const int32_t *x, const int16_t *w, int32_t *y, int n);
FXAAC_API void vadd(const int32_t *x, const int32_t *y, int32_t *z, int n);
FXAAC_API void vcopy(const int32_t *src, int32_t *dst, int n);
FXAAC_API void vzero(int32_t *p, int n);
// syntax/ics_info.h
FXAAC_API int32_t window_grouping_info(ChannelStream *stream, int32_t sfIndex);
// tools/inverse_quantization.h
FXAAC_API void inverse_quantization(int32_t *dst, const int16_t *src);
FXAAC_API void invquantize(int32_t *dst, const int16_t *src);
FXAAC_API void apply_scalefactors(const ChannelStream *stream, int32_t *spectrum);
FXAAC_API void get_scale_factor_gain(int32_t sf, int32_t *values, int32_t count,
                                     const int16_t *mantissas);
FXAAC_API void dec_quant_to_spec(const ChannelStream *stream, int32_t *dst, const int32_t *src);
// tools/pns.h
FXAAC_API void pns_decode(const ChannelStream *stream, int32_t *spectrum, int32_t *seed);
FXAAC_API void random1init(int32_t seed, int32_t period);
FXAAC_API int32_t random1(void);
// tools/pulse.h
FXAAC_API void pulse_decode(const ChannelStream *stream, int16_t *quantised);
// tools/stereo.h
FXAAC_API void ms_decode(const ChannelStream *first, const ChannelStream *second,
                         int32_t *spectrumFirst, int32_t *spectrumSecond);
FXAAC_API void is_decode(const ChannelStream *first, const ChannelStream *second,
                         const int32_t *spectrumFirst, int32_t *spectrumSecond);
// tools/tns.h
FXAAC_API void tns_decode_frame(ChannelStream *stream, TnsInfo *tns, int32_t sfIndex,
                                int16_t objectType, int32_t *spectrum, int32_t *scratch);
FXAAC_API void tns_ar_filter_fixed(int32_t *line, int32_t size, int32_t step, const int16_t *lpc,
                                   int32_t order, int32_t shift, int32_t *scratch);
// bit reader parsers (the reader is the three-field BitReader)
FXAAC_API void pulse_data(PulseInfo *pulse, BitReader *reader);
FXAAC_API int32_t tns_data(const ChannelStream *stream, TnsInfo *tns, BitReader *reader);
FXAAC_API void ltp_data(const ChannelStream *stream, LtpInfo *ltp, BitReader *reader);
FXAAC_API int32_t section_data(ChannelStream *stream, BitReader *reader);
FXAAC_API int32_t scale_factor_data(ChannelStream *stream, BitReader *reader);
FXAAC_API int32_t spectral_data(const ChannelStream *stream, BitReader *reader, int16_t *quantised,
                                int16_t objectType);
FXAAC_API int32_t single_lfe_channel_element(AacDecoder *instance, ChannelElement *element,
                                             BitReader *reader, int16_t *const *quantised,
                                             int32_t sfIndex, int32_t objectType);
FXAAC_API int32_t channel_pair_element(ChannelElement *element, BitReader *reader,
                                       int16_t *quantised0, int16_t *quantised1, int32_t sfIndex,
                                       int32_t objectType);
FXAAC_API int32_t individual_channel_stream(ChannelElement *element, BitReader *reader,
                                            ChannelStream *stream, int32_t scaleFlag,
                                            int16_t *quantised, int32_t sfIndex,
                                            int32_t objectType);
FXAAC_API int32_t ics_info(ChannelStream *stream, BitReader *reader, int32_t commonWindow,
                           int32_t sfIndex, int32_t objectType);
FXAAC_API int32_t program_config_element(ProgramConfig *pce, BitReader *reader);
FXAAC_API int32_t find_sync_word(AdtsHeader *header, BitReader *reader);
FXAAC_API int32_t find_sync_word_once(AdtsHeader *header, BitReader *reader);
FXAAC_API int32_t adts_fixed_header(AdtsHeader *header, BitReader *reader);
FXAAC_API void adts_variable_header(AdtsHeader *header, BitReader *reader);
FXAAC_API void adts_error_check(AdtsHeader *header, BitReader *reader);
FXAAC_API void adts_header_error_check(AdtsHeader *header, BitReader *reader);
FXAAC_API int32_t adts_frame(AdtsHeader *header, BitReader *reader);
FXAAC_API int8_t GASpecificConfig(BitReader *reader, uint32_t *channelConfig, uint32_t objectType,
                                  uint8_t *sectionResilience, uint8_t *scalefactorResilience,
                                  uint8_t *spectralResilience, uint8_t *frameLengthFlag);
FXAAC_API int32_t get_adif_header(AdifHeader *adif, BitReader *reader);
FXAAC_API int32_t data_stream_element(BitReader *reader);
FXAAC_API int32_t dynamic_range_info(BitReader *reader, DrcInfo *drc);
FXAAC_API int32_t excluded_channels(BitReader *reader, DrcInfo *drc);
FXAAC_API void VorNexAACPlus_GetSbrBitStream(BitReader *reader);
FXAAC_EXTERN_C_END

#endif  // FXAAC_API_EXPORTED_NAMES_H
