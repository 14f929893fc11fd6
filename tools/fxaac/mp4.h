// Just enough of the ISO base media file format (ISO/IEC 14496-12) and the
// MP4 file format (ISO/IEC 14496-14) to find the first AAC audio track of a
// file and walk its access units. Everything read from the file is treated as
// untrusted: every box, descriptor and table is checked against the bytes
// that contain it before it is used. The gapless span (mp4_trim and the
// texts) is computed in mp4_gapless.cpp.
#ifndef FXAAC_CLI_MP4_H
#define FXAAC_CLI_MP4_H

#include <cstdint>
#include <string>
#include <vector>

#include "byte_source.h"

namespace fxaac_cli {

// True when the first bytes look like an ISO base media file: an 'ftyp' box
// first, or one of the other top-level boxes that may open such a file.
bool looks_like_mp4(const uint8_t *data, size_t n);

struct Mp4ChunkRun {
    uint32_t firstChunk;  // 1-based, as in the sample-to-chunk box
    uint32_t samplesPerChunk;
};

// One entry of an edit list ('elst'): mediaTime -1 marks an empty edit.
struct Mp4Edit {
    uint64_t segmentDuration;  // movie timescale
    int64_t mediaTime;         // media timescale
};

// The gapless fields of an iTunes 'iTunSMPB' tag, in samples.
struct Mp4ItunSmpb {
    bool present = false;
    uint32_t priming = 0;
    uint32_t padding = 0;
    uint64_t length = 0;  // of the original audio
};

struct Mp4Track {
    uint32_t number = 0;                       // position among the file's tracks, from 1
    uint32_t trackId = 0;                      // track_ID of the track header
    uint32_t trackCount = 0;                   // tracks in the file
    uint8_t objectTypeIndication = 0;          // of the DecoderConfigDescriptor
    std::vector<uint8_t> audioSpecificConfig;  // the DecoderSpecificInfo
    uint32_t timescale = 0;                    // media header
    uint32_t movieTimescale = 0;               // movie header
    bool hasEditList = false;
    std::vector<Mp4Edit> edits;
    Mp4ItunSmpb itunSmpb;
    bool movieCut = false;       // the 'moov' box runs past the end of the file
    uint16_t entryChannels = 0;  // channelcount of the sample entry
    uint32_t entryRate = 0;      // samplerate of the sample entry, Hz
    // Sample tables.
    uint32_t sampleCount = 0;
    uint32_t constantSampleSize = 0;    // non-zero: every sample has this size
    std::vector<uint32_t> sampleSizes;  // else one size per sample
    std::vector<Mp4ChunkRun> chunkRuns;
    std::vector<uint64_t> chunkOffsets;
};

// Finds the first track whose handler is 'soun' and whose first sample entry
// is 'mp4a' carrying AAC (MPEG-4 Audio, or MPEG-2 AAC). Returns false with a
// message in *error when the file cannot be read as MP4 or holds no such
// track. *skipped receives one line per track passed over.
bool mp4_find_aac_track(ByteSource &source, Mp4Track *track, std::vector<std::string> *skipped,
                        std::string *error);

// Which decoded samples (per channel, counted from the first sample of the
// first access unit) form the presentation: [skip, end).
struct Mp4Trim {
    uint64_t skip = 0;
    uint64_t end = UINT64_MAX;  // UINT64_MAX: to the end of the track
    bool fromEditList = false;
    bool fromItunSmpb = false;
};

// The span that a player keeps, as ffmpeg computes it: the access units that
// the edit list's span overlaps are kept whole (frameLength samples each),
// less the samples in front of the edit's media time. An 'iTunSMPB' priming
// of 1 to 16383 samples replaces that count, measured from the start of the
// track, though never below the start of the first access unit kept. The
// tag's padding and the end of the edit do not cut inside an access unit.
Mp4Trim mp4_trim(const Mp4Track &track, int32_t sampleRate, uint32_t frameLength);

// The edit list and iTunSMPB tag in words, for fxaac info ("" when absent).
std::string mp4_edit_list_text(const Mp4Track &track, int32_t sampleRate);
std::string mp4_itun_smpb_text(const Mp4Track &track);

struct Mp4Sample {
    uint64_t offset;
    uint32_t size;
};

// Walks the samples of a track in decoding order through its sample-to-chunk
// and chunk offset tables.
class Mp4SampleCursor {
public:
    explicit Mp4SampleCursor(const Mp4Track &track) : track_(track) {}
    // Next sample; false at the end, or when the tables stop short of the
    // sample count (error() then tells so).
    bool next(Mp4Sample *sample);
    uint32_t index() const { return sample_; }  // samples returned so far
    const std::string &error() const { return error_; }

private:
    const Mp4Track &track_;
    uint32_t sample_ = 0;   // samples returned
    uint32_t chunk_ = 0;    // 0-based chunk of the next sample
    uint32_t inChunk_ = 0;  // samples of chunk_ already returned
    uint32_t run_ = 0;      // chunk run that holds chunk_
    uint64_t offset_ = 0;   // file offset of the next sample in chunk_
    std::string error_;
};

}  // namespace fxaac_cli

#endif  // FXAAC_CLI_MP4_H
