// Words for the decoder's status codes, the audio object types and the
// channel configurations, and for the inputs refused for them.
#ifndef FXAAC_CLI_STATUS_TEXT_H
#define FXAAC_CLI_STATUS_TEXT_H

#include <cstdint>
#include <string>

// What a status code of the library (FxaacStatus) means, in a short phrase;
// "unknown status" for codes the library does not define.
const char *fxaac_status_text(int32_t status);

// Name of an MPEG-4 audio object type (ISO/IEC 14496-3 1.5.1.1), e.g.
// "AAC LC"; nullptr when it has none here.
const char *fxaac_object_type_name(int32_t audioObjectType);

// "audio object type 5 (SBR, HE-AAC) is not supported: ...".
std::string fxaac_unsupported_type_text(int32_t audioObjectType);

// A channel configuration (ISO/IEC 14496-3 1.6.3.4) of more than two
// channels, in words, with why it is refused.
std::string fxaac_too_many_channels_text(int channelConfiguration);

#endif  // FXAAC_CLI_STATUS_TEXT_H
