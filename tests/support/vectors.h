// Test helper: the test vectors of tests/vectors and a whole-stream decode
// through either entry point.
#ifndef FXAAC_TESTS_VECTORS_H
#define FXAAC_TESTS_VECTORS_H

#include <cstdint>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include <fxaac/fxaac.h>

#include "support/instance.h"

#ifndef FXAAC_VECTOR_DIR
#error "FXAAC_VECTOR_DIR must name tests/vectors"
#endif

namespace fxaac_test {

struct Vector {
    std::string name, kind;
    int32_t fs = 0, chn = 0, hdrPrsnt = 1;
    std::vector<uint8_t> bytes;
};

inline std::vector<uint8_t> read_file(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// Every vector of the manifest.
inline std::vector<Vector> load_vectors()
{
    std::vector<Vector> all;
    std::ifstream manifest(FXAAC_VECTOR_DIR "/manifest.txt");
    std::string line;
    while (std::getline(manifest, line)) {
        if (line.empty() || line[0] == '#')
            continue;
        std::istringstream f(line);
        Vector v;
        f >> v.name >> v.kind >> v.fs >> v.chn >> v.hdrPrsnt;
        v.bytes = read_file(std::string(FXAAC_VECTOR_DIR "/") + v.name);
        all.push_back(std::move(v));
    }
    return all;
}

// A decoder set up for a vector, with its header consumed.
struct StreamDecoder : Instance {
    int32_t headerBytes = 0;

    explicit StreamDecoder(const Vector &v)
    {
        std::vector<uint8_t> padded = v.bytes;
        padded.resize(padded.size() + 16, 0);
        headerBytes = header(padded.data(), v.hdrPrsnt, v.fs, v.chn);
    }
};

// Decodes a whole stream with AACPlusDecode (with generous zero padding, as
// its callers must provide): the samples of every frame, and the number of
// frames that failed.
inline std::vector<int16_t> decode_unbounded(const Vector &v, int *failures = nullptr)
{
    StreamDecoder d(v);
    std::vector<uint8_t> data = v.bytes;
    data.resize(data.size() + 65536, 0);
    std::vector<int16_t> out, pcm(4096);
    size_t pos = d.headerBytes > 0 ? static_cast<size_t>(d.headerBytes) : 0;
    const int32_t sbr = 0;
    int failed = 0;
    while (pos < v.bytes.size()) {
        FrameStatus st;
        AACPlusDecode(d.dec.get(), data.data() + pos, pcm.data(), &st, &sbr);
        out.insert(out.end(), pcm.begin(), pcm.begin() + st.outputSamples);
        if (st.outputSamples == 0 && st.errorCode != 0)
            failed++;
        pos += st.bytesConsumed > 0 ? static_cast<size_t>(st.bytesConsumed) : 1;
    }
    if (failures)
        *failures = failed;
    return out;
}

}  // namespace fxaac_test

#endif
