// Test helper: writes an individual_channel_stream from a description of its
// sections, choosing random scale factors and spectral values, and records
// what a correct parser must read back.
#ifndef FXAAC_TESTS_ICS_WRITER_H
#define FXAAC_TESTS_ICS_WRITER_H

#include <memory>
#include <random>
#include <vector>

#include <fxaac/fxaac.h>

#include "support/standard_tables.h"

namespace fxaac_test {

struct Section {
    int cb;
    int bands;
};

struct IcsDescription {
    int sfIndex = 4;
    int windowSequence = 0;  // 2: eight short windows
    int windowShape = 1;
    int grouping = 0;  // scale_factor_grouping, short windows
    int globalGain = 100;
    std::vector<std::vector<Section>> groups;  // sections per window group
    std::vector<int> forcedEscapes;            // codebook 11 magnitudes to include
    bool sideFlags = true;                     // write pulse/TNS/gain control flags as 0
};

struct IcsExpectation {
    int maxSfb = 0;
    std::vector<int> groupLength;
    std::vector<int> sfbCb;         // g * maxSfb + b
    std::vector<int> scaleFactors;  // g * maxSfb + b
    std::vector<int16_t> quantised = std::vector<int16_t>(FXAAC_FRAME_LENGTH, 0);
    size_t bits = 0;
};

inline std::vector<int> group_lengths(const IcsDescription &d)
{
    if (d.windowSequence != 2)
        return {1};
    std::vector<int> g = {1};
    for (int i = 6; i >= 0; i--) {
        if ((d.grouping >> i) & 1)
            g.back()++;
        else
            g.push_back(1);
    }
    return g;
}

inline void put_section_length(BitWriter &w, int len, bool isShort)
{
    const int bits = isShort ? 3 : 5;
    const int escape = (1 << bits) - 1;
    for (; len >= escape; len -= escape)
        w.put(static_cast<uint32_t>(escape), bits);
    w.put(static_cast<uint32_t>(len), bits);
}

// Random quantised values for one codeword of codebook cb.
inline void random_codeword(std::mt19937 &rng, int cb, int *v)
{
    const Codebook &b = spectral_book(cb);
    for (int k = 0; k < b.dim; k++) {
        int lav = cb == 11 ? 15 : b.lav;
        int m = static_cast<int>(rng() % static_cast<unsigned>(lav + 1));
        v[k] = (rng() & 1) ? -m : m;
    }
}

// Writes global_gain, ics_info, sections, scale factors, zero side flags and
// the spectrum.
inline IcsExpectation write_ics(BitWriter &w, const IcsDescription &d, unsigned seed,
                                bool withIcsInfo = true)
{
    std::mt19937 rng(seed);
    IcsExpectation e;
    e.groupLength = group_lengths(d);
    const bool isShort = d.windowSequence == 2;
    for (const Section &s : d.groups.at(0))
        e.maxSfb += s.bands;
    const auto &swb = isShort ? standard().swbShort.at(d.sfIndex)
                              : standard().swbLong.at(d.sfIndex);

    w.put(static_cast<uint32_t>(d.globalGain), 8);
    if (withIcsInfo) {
        w.put(0, 1)
            .put(static_cast<uint32_t>(d.windowSequence), 2)
            .put(static_cast<uint32_t>(d.windowShape), 1);
        if (isShort)
            w.put(static_cast<uint32_t>(e.maxSfb), 4).put(static_cast<uint32_t>(d.grouping), 7);
        else
            w.put(static_cast<uint32_t>(e.maxSfb), 6).put(0, 1);
    }

    const size_t groups = e.groupLength.size();
    e.sfbCb.assign(groups * static_cast<size_t>(e.maxSfb), 0);
    e.scaleFactors.assign(groups * static_cast<size_t>(e.maxSfb), 0);
    for (size_t g = 0; g < groups; g++) {
        int band = 0;
        for (const Section &s : d.groups.at(g)) {
            w.put(static_cast<uint32_t>(s.cb), 4);
            put_section_length(w, s.bands, isShort);
            for (int b = 0; b < s.bands; b++)
                e.sfbCb[g * static_cast<size_t>(e.maxSfb) + static_cast<size_t>(band++)] = s.cb;
        }
    }

    int sf = d.globalGain, noise = d.globalGain - 90, is = 0;
    bool firstNoise = true;
    for (size_t x = 0; x < e.sfbCb.size(); x++) {
        int cb = e.sfbCb[x];
        if (cb == 0)
            continue;
        int diff = static_cast<int>(rng() % 121) - 60;
        if (cb == 13 && firstNoise) {
            int raw = 200 + static_cast<int>(rng() % 100);
            w.put(static_cast<uint32_t>(raw), 9);
            noise += raw - 256;
            firstNoise = false;
            e.scaleFactors[x] = noise;
            continue;
        }
        if (cb <= 11 && sf + diff < 0)
            diff = -diff;
        put_scale_factor_difference(w, diff);
        int &acc = cb <= 11 ? sf : cb == 13 ? noise : is;
        acc += diff;
        e.scaleFactors[x] = acc;
    }
    if (d.sideFlags)
        w.put(0, 3);  // no pulse, TNS or gain control data

    std::vector<int> escapes = d.forcedEscapes;
    int windowsBefore = 0;
    for (size_t g = 0; g < groups; g++) {
        int pos = 128 * windowsBefore;
        int band = 0;
        for (const Section &s : d.groups.at(g)) {
            int width = e.groupLength[g] *
                        (swb[static_cast<size_t>(band + s.bands)] - swb[static_cast<size_t>(band)]);
            band += s.bands;
            if (s.cb == 0 || s.cb > 11) {
                pos += width;
                continue;
            }
            const int dim = spectral_book(s.cb).dim;
            for (int done = 0; done < width; done += dim) {
                int v[4];
                random_codeword(rng, s.cb, v);
                if (s.cb == 11 && !escapes.empty()) {
                    v[0] = escapes.back() * ((rng() & 1) ? 1 : -1);
                    escapes.pop_back();
                }
                put_spectral(w, s.cb, v);
                for (int k = 0; k < dim; k++)
                    e.quantised[static_cast<size_t>(pos + done + k)] = static_cast<int16_t>(v[k]);
            }
            pos += width;
        }
        windowsBefore += e.groupLength[g];
    }
    e.bits = w.bit_count();
    return e;
}

// A cleared element record with its section arrays, as the frame driver
// prepares it.
struct ParseTarget {
    std::unique_ptr<ChannelElement> element = std::make_unique<ChannelElement>();
    uint8_t sections[2][3][FXAAC_MAX_SECTIONS] = {};
    std::vector<int16_t> quantised[2] = {std::vector<int16_t>(FXAAC_FRAME_LENGTH, 0x5555),
                                         std::vector<int16_t>(FXAAC_FRAME_LENGTH, 0x5555)};
    ParseTarget()
    {
        *element = ChannelElement{};
        for (int s = 0; s < 2; s++) {
            element->stream[s].sect_cb = sections[s][0];
            element->stream[s].sect_start = sections[s][1];
            element->stream[s].sect_end = sections[s][2];
        }
    }
    int16_t *buffers[2] = {quantised[0].data(), quantised[1].data()};
};

}  // namespace fxaac_test

#endif
