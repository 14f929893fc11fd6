// One decoder of the in-process peer benchmark: set up for a stream (not
// timed), then fed one ADTS frame per call (the decode call, timed).
#ifndef FXAAC_BENCH_PEER_DECODER_H
#define FXAAC_BENCH_PEER_DECODER_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace fxaac_peers {

// An ADTS stream in memory, split into its frames (header included). The
// bytes are followed by 64 zero bytes: libavcodec may read that far past a
// packet.
struct Stream {
    std::vector<uint8_t> bytes;
    std::vector<uint32_t> offsets;  // start of frame i; offsets[frames] = end of the data
    size_t frames() const { return offsets.size() - 1; }
    const uint8_t *frame(size_t i) const { return bytes.data() + offsets[i]; }
    int32_t frame_bytes(size_t i) const
    {
        return static_cast<int32_t>(offsets[i + 1] - offsets[i]);
    }
};

// What one decode call gave.
struct FrameOutput {
    int32_t samples = 0;  // per channel; 0: none (delay or error)
    int32_t rate = 0;     // Hz
    int32_t channels = 0;
    bool error = false;
};

class PeerDecoder {
public:
    virtual ~PeerDecoder() = default;
    virtual std::string name() const = 0;
    // The library call that decodes a frame, and the output format.
    virtual std::string entry() const = 0;
    // Prepares a fresh decoder for the stream; false (with *error) on failure.
    virtual bool open(const Stream &s, std::string *error) = 0;
    // Decodes frame i of the stream given to open.
    virtual FrameOutput decode(const Stream &s, size_t i) = 0;
    virtual void close() = 0;
};

// The decoders this program was built with, fxaac first.
std::vector<std::unique_ptr<PeerDecoder>> make_decoders();

std::unique_ptr<PeerDecoder> make_fxaac_decoder(bool precise);
std::unique_ptr<PeerDecoder> make_avcodec_decoder(const char *codec);
std::unique_ptr<PeerDecoder> make_faad_decoder();

}  // namespace fxaac_peers

#endif
