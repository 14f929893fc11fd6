// Words for the decoder's status codes and for the audio object types.
#ifndef FXAAC_CLI_STATUS_TEXT_H
#define FXAAC_CLI_STATUS_TEXT_H

#include <cstdint>

// What a status code of the library (FxaacStatus) means, in a short phrase;
// "unknown status" for codes the library does not define.
const char *fxaac_status_text(int32_t status);

// Name of an MPEG-4 audio object type (ISO/IEC 14496-3 1.5.1.1), e.g.
// "AAC LC"; nullptr when it has none here.
const char *fxaac_object_type_name(int32_t audioObjectType);

#endif  // FXAAC_CLI_STATUS_TEXT_H
