#ifndef FXAAC_FILTERBANK_FILTER_BANK_INIT_H
#define FXAAC_FILTERBANK_FILTER_BANK_INIT_H

#include <fxaac/fxaac.h>

FXAAC_EXTERN_C_BEGIN
// Points the instance's long and short window tables, indexed by
// window_shape (0 sine, 1 KBD), at the constant window halves.
FXAAC_API void filter_bank_init(AacDecoder *instance);
FXAAC_EXTERN_C_END

#endif  // FXAAC_FILTERBANK_FILTER_BANK_INIT_H
