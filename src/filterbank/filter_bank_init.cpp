#include "filterbank/filter_bank_init.h"

#include "filterbank/window_tables.h"

void fxaac::filter_bank_init(AacDecoder *instance)
{
    instance->longWindow[0] = fxaac::dec_sin_long_fixed;
    instance->longWindow[1] = fxaac::kbd_long_fixed;
    instance->shortWindow[0] = fxaac::dec_sin_short_fixed;
    instance->shortWindow[1] = fxaac::kbd_short_fixed;
}
