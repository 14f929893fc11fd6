#ifndef FXAAC_FILTERBANK_FILTER_BANK_INIT_H
#define FXAAC_FILTERBANK_FILTER_BANK_INIT_H

#include <fxaac/fxaac.h>

namespace fxaac {
// Points the instance's long and short window tables, indexed by
// window_shape (0 sine, 1 KBD), at the constant window halves.
void filter_bank_init(AacDecoder *instance);
}  // namespace fxaac

#endif  // FXAAC_FILTERBANK_FILTER_BANK_INIT_H
