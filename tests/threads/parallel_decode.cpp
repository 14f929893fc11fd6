// Instances share nothing: eight threads decode every test vector at once,
// each thread its own streams through its own instance (16-bit and 24-bit
// output), all starting together so that the first calls, and the kernel
// selection they trigger, race too. Each output must equal, byte for byte,
// a decode of the same stream alone on one thread afterwards. Built with
// ThreadSanitizer (the tsan preset) it also shows that no memory is shared
// without synchronisation.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <latch>
#include <string>
#include <thread>
#include <vector>

#include "support/vectors.h"

using namespace fxaac_test;

namespace {

constexpr int kThreads = 8;

// One decode job: a stream and an output format.
struct Job {
    const Vector *vector;
    bool wide;  // 24-bit samples in 32-bit words, else 16-bit
    std::vector<uint8_t> output;
};

// The whole stream through AACPlusDecodeBuffer: the bytes of every frame's
// samples, in order.
std::vector<uint8_t> decode(const Vector &v, bool wide)
{
    StreamDecoder d(v);
    if (wide)
        d->pcmFormat = 2;
    std::vector<uint8_t> out;
    std::vector<int32_t> pcm(FXAAC_MAX_CHANNELS * FXAAC_FRAME_LENGTH);
    const size_t sample_bytes = wide ? 4 : 2;
    size_t pos = d.headerBytes > 0 ? static_cast<size_t>(d.headerBytes) : 0;
    const int32_t sbr = 0;
    while (pos < v.bytes.size()) {
        FrameStatus st;
        AACPlusDecodeBuffer(d.dec.get(), v.bytes.data() + pos,
                            static_cast<int32_t>(v.bytes.size() - pos), pcm.data(), &st, &sbr);
        const auto *bytes = reinterpret_cast<const uint8_t *>(pcm.data());
        out.insert(out.end(), bytes, bytes + static_cast<size_t>(st.outputSamples) * sample_bytes);
        if (st.bytesConsumed <= 0)
            break;  // the rest is an incomplete frame
        pos += static_cast<size_t>(st.bytesConsumed);
    }
    return out;
}

}  // namespace

int main()
{
    const std::vector<Vector> vectors = load_vectors();
    if (vectors.empty()) {
        std::printf("parallel_decode: no vectors in %s\n", FXAAC_VECTOR_DIR);
        return 1;
    }
    std::vector<Job> jobs;
    for (const Vector &v : vectors) {
        for (const bool wide : {false, true})
            jobs.push_back({&v, wide, {}});
    }

    // Thread t takes jobs t, t + 8, ...: at any time the threads decode
    // different streams, each through its own instance.
    std::latch start(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; t++) {
        threads.emplace_back([&, t] {
            start.arrive_and_wait();
            for (size_t j = static_cast<size_t>(t); j < jobs.size(); j += kThreads)
                jobs[j].output = decode(*jobs[j].vector, jobs[j].wide);
        });
    }
    for (std::thread &thread : threads)
        thread.join();

    int failures = 0;
    size_t total = 0;
    for (const Job &job : jobs) {
        const std::vector<uint8_t> alone = decode(*job.vector, job.wide);
        const char *format = job.wide ? "24-bit" : "16-bit";
        total += alone.size();
        if (alone.empty()) {
            std::printf("parallel_decode: %s (%s): no output\n", job.vector->name.c_str(), format);
            failures++;
        } else if (job.output != alone) {
            size_t i = 0;
            while (i < alone.size() && i < job.output.size() && alone[i] == job.output[i])
                i++;
            std::printf("parallel_decode: %s (%s): %zu bytes on a thread, %zu alone, first "
                        "difference at byte %zu\n",
                        job.vector->name.c_str(), format, job.output.size(), alone.size(), i);
            failures++;
        }
    }
    std::printf("parallel_decode: %zu decodes on %d threads, %zu bytes of samples, %d differ from "
                "a decode alone\n",
                jobs.size(), kThreads, total, failures);
    return failures == 0 ? 0 : 1;
}
