// Test helper: writers for the transport and configuration headers, so that
// tests can build inputs of every kind by hand.
#ifndef FXAAC_TESTS_HEADERS_H
#define FXAAC_TESTS_HEADERS_H

#include <vector>

#include "support/bit_writer.h"

namespace fxaac_test {

struct AdtsFields {
    int profile = 1;  // 1: AAC LC
    int sfIndex = 4;
    int channelConfig = 2;
    int frameLength = 100;  // aac_frame_length
    int rawBlocks = 0;      // number_of_raw_data_blocks_in_frame
    int protectionAbsent = 1;
    int fullness = 0x7FF;
};

// A complete ADTS header with its error-check words (position words and CRC
// are written as 0xAAAA, ..., 0xC3C3).
inline void write_adts(BitWriter &w, const AdtsFields &f)
{
    w.put(0xFFF, 12).put(1, 1).put(0, 2).put(f.protectionAbsent, 1);
    w.put(f.profile, 2).put(f.sfIndex, 4).put(0, 1).put(f.channelConfig, 3).put(0, 2);
    w.put(0, 2).put(f.frameLength, 13).put(f.fullness, 11).put(f.rawBlocks, 2);
    if (!f.protectionAbsent) {
        for (int i = 1; i <= f.rawBlocks; i++)
            w.put(0xAAAA, 16);
        w.put(0xC3C3, 16);
    }
}

struct PceFields {
    int objectType = 1;  // profile numbering: 1 is AAC LC
    int sfIndex = 4;
    std::vector<int> front = {}, side = {}, back = {};  // 1 per CPE, 0 per SCE
    int lfe = 0;
    int assocData = 0;
    int cc = 0;
    bool mixdowns = false;
    int commentBytes = 0;
};

inline void write_pce(BitWriter &w, const PceFields &f)
{
    w.put(0, 4).put(f.objectType, 2).put(f.sfIndex, 4);
    w.put(f.front.size(), 4).put(f.side.size(), 4).put(f.back.size(), 4);
    w.put(f.lfe, 2).put(f.assocData, 3).put(f.cc, 4);
    if (f.mixdowns)
        w.put(1, 1).put(3, 4).put(1, 1).put(5, 4).put(1, 1).put(2, 2).put(1, 1);
    else
        w.put(0, 3);
    for (const auto *list : {&f.front, &f.side, &f.back})
        for (int isCpe : *list)
            w.put(isCpe, 1).put(7, 4);
    for (int i = 0; i < f.lfe; i++)
        w.put(2, 4);
    for (int i = 0; i < f.assocData; i++)
        w.put(3, 4);
    for (int i = 0; i < f.cc; i++)
        w.put(0, 1).put(4, 4);
    w.align();
    w.put(f.commentBytes, 8);
    for (int i = 0; i < f.commentBytes; i++)
        w.put('c', 8);
}

// AudioSpecificConfig with GASpecificConfig for object types 2 and 17.
struct AscFields {
    int objectType = 2;
    int sfIndex = 4;
    int channelConfig = 2;
    int frameLengthFlag = 0;
    int dependsOnCoreCoder = 0;
    int extensionFlag = 0;
    int resilience = 0;  // three flags, 3 bits, for ER types with extensionFlag
    int epConfig = 0;
    const PceFields *pce = nullptr;  // written when channelConfig is 0
};

inline void write_asc(BitWriter &w, const AscFields &f)
{
    w.put(f.objectType, 5).put(f.sfIndex, 4).put(f.channelConfig, 4);
    w.put(f.frameLengthFlag, 1).put(f.dependsOnCoreCoder, 1);
    if (f.dependsOnCoreCoder)
        w.put(0x1234, 14);
    w.put(f.extensionFlag, 1);
    if (f.channelConfig == 0 && f.pce)
        write_pce(w, *f.pce);
    if (f.extensionFlag && f.objectType > 16)
        w.put(f.resilience, 3).put(0, 1);
    if (f.objectType == 17)
        w.put(f.epConfig, 2);
    w.align();
}

}  // namespace fxaac_test

#endif
