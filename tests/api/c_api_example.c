/* A C caller: sets up an instance in its own memory and decodes the header of
 * an ADTS stream and of an AudioSpecificConfig. */
#include <stdio.h>
#include <stdlib.h>

#include <fxaac/fxaac.h>

static int check(int ok, const char *what)
{
    if (!ok)
        fprintf(stderr, "c_api_example: %s\n", what);
    return ok ? 0 : 1;
}

int main(void)
{
    /* One ADTS header: AAC LC, 48 kHz, stereo, 7-byte frame; padding after it. */
    static const uint8_t adts[12] = {0xFF, 0xF1, 0x4C, 0x80, 0x00, 0xFF, 0xFC};
    /* AudioSpecificConfig: AAC LC, 44.1 kHz, stereo. */
    static const uint8_t asc[6] = {0x12, 0x10};
    DecoderConfig config = {1, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    AacDecoder *dec = malloc(sizeof *dec);
    DecoderWorkArea *work = malloc(sizeof *work);
    int failures = 0;
    if (!dec || !work)
        return 2;

    AACPlusDecoderInit(dec, work);
    failures += check(dec->sampleRate == 22050 && dec->channels == 2, "init defaults");
    failures += check(AACPlusHeaderDecode(config, dec, adts) == FXAAC_OK, "ADTS header");
    failures += check(dec->isAdts == 1 && dec->sampleRate == 48000 && dec->channels == 2 &&
                          dec->objectType == 1,
                      "ADTS parameters");

    AACPlusDecoderInit(dec, work);
    failures += check(AACPlusHeaderDecode(config, dec, asc) == 2, "config length");
    failures += check(dec->hasConfig == 1 && dec->sampleRate == 44100, "config parameters");
    failures += check(sample_rate_index(44100) == 4, "rate class");

    free(work);
    free(dec);
    if (failures == 0)
        printf("c_api_example: ok\n");
    return failures == 0 ? 0 : 1;
}
