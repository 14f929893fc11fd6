/* A program outside the project that uses the installed library: it decodes
 * a stream given on the command line and prints its rate, channel count and
 * number of decoded frames. */
#include <stdio.h>
#include <stdlib.h>

#include <fxaac/fxaac.h>

int main(int argc, char **argv)
{
    static AacDecoder dec;
    static DecoderWorkArea work;
    static int16_t pcm[FXAAC_MAX_CHANNELS * FXAAC_FRAME_LENGTH];
    if (argc != 2)
        return 2;
    FILE *f = fopen(argv[1], "rb");
    if (f == NULL)
        return 2;
    static uint8_t data[1 << 20];
    const long size = (long)fread(data, 1, sizeof data - 3, f); /* 3 bytes of padding */
    fclose(f);

    DecoderConfig config = {1};
    AACPlusDecoderInit(&dec, &work);
    const int32_t skip = AACPlusHeaderDecode(config, &dec, data);
    if (skip < 0)
        return 1;
    long pos = skip, frames = 0;
    while (pos < size) {
        FrameStatus st;
        const int32_t sbr = 0;
        AACPlusDecodeBuffer(&dec, data + pos, (int32_t)(size - pos), pcm, &st, &sbr);
        if (st.outputSamples > 0)
            frames++;
        else if (st.errorCode != 0 || st.bytesConsumed <= 0)
            break;
        pos += st.bytesConsumed;
    }
    printf("%d Hz, %d channels, %ld frames\n", (int)dec.sampleRate, (int)dec.channels, frames);
    return 0;
}
