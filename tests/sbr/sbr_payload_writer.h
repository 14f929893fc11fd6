// Test helper: an encoder of the SBR payload syntax (sbr_header(), sbr_data()
// of ISO/IEC 14496-3 4.4.2.8) from a model of a frame in absolute values.
// Its codewords come from data/sbr_ps_tables.txt (sbr_tables_data.h), not
// from the library's decoding trees. It writes what the model says, valid or
// not: a model with borders out of order gives a payload with those borders.
#ifndef FXAAC_TESTS_SBR_SBR_PAYLOAD_WRITER_H
#define FXAAC_TESTS_SBR_SBR_PAYLOAD_WRITER_H

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "sbr/sbr_types.h"
#include "sbr/sbr_tables_data.h"

namespace fxaac_test {

class BitWriter {
public:
    void put(uint32_t value, int bits)
    {
        if (bits < 32 && value >> bits != 0)
            ADD_FAILURE() << value << " does not fit in " << bits << " bits";
        for (int i = bits - 1; i >= 0; i--)
            put_bit((value >> i) & 1);
    }
    void put_code(const std::string &code)
    {
        for (char c : code)
            put_bit(c == '1');
    }
    int bits() const { return count_; }
    const std::vector<uint8_t> &bytes() const { return bytes_; }

private:
    void put_bit(uint32_t b)
    {
        if (count_ % 8 == 0)
            bytes_.push_back(0);
        bytes_.back() |= static_cast<uint8_t>(b << (7 - count_ % 8));
        count_++;
    }
    std::vector<uint8_t> bytes_;
    int count_ = 0;
};

// One channel in absolute terms: the borders t_E, resolutions and values
// E(k,l), Q(k,l) as the decoder must give them back (balance values of a
// coupled pair's second channel doubled, as the decoder keeps them).
struct SbrChannelModel {
    int frameClass = 0;
    std::vector<int> borders;  // t_E: L_E + 1 values
    int numRelLead = 0;        // VARVAR: how many inner borders count from the start
    int pointer = 0;           // bs_pointer (variable classes)
    std::vector<int> freqRes;  // per envelope
    int ampRes = 0;            // in force: 0 for FIXFIX with one envelope
    std::vector<int> dfEnv, dfNoise;
    std::vector<int> invf;
    std::vector<std::vector<int>> env, noise;
    bool addHarmonicFlag = false;
    std::vector<int> addHarmonic;

    int num_env() const { return static_cast<int>(borders.size()) - 1; }
    int num_noise() const { return num_env() > 1 ? 2 : 1; }
};

struct SbrFrameModel {
    bool pair = false, coupling = false, dataExtra = false;
    SbrChannelModel ch[2];
    int extensionBytes = -1;  // bs_extension_size (with escape); -1: no extended data
    int extensionId = 0;
    std::vector<int> extensionBits;  // what follows bs_extension_id, one bit each
};

// The previous frame's last envelope and noise floor of one channel, for
// time deltas.
struct WriterHistory {
    bool valid = false;
    int freqRes = 0;
    std::vector<int> env, noise;
};

inline const SbrCodebook &book(const std::string &name) { return sbr_ps_tables().books.at(name); }

// The envelope books by [ampRes][balance][0 time, 1 frequency] and the noise
// books by [balance][0 time, 1 frequency].
inline const SbrCodebook &env_book(int ampRes, bool balance, bool time)
{
    std::string name = std::string(time ? "sbr_t_env" : "sbr_f_env") + (balance ? "_bal" : "") +
                       (ampRes ? "_3_0dB" : "_1_5dB");
    return book(name);
}

inline const SbrCodebook &noise_book(bool balance, bool time)
{
    if (time)
        return book(balance ? "sbr_t_noise_bal_3_0dB" : "sbr_t_noise_3_0dB");
    return book(balance ? "sbr_f_env_bal_3_0dB" : "sbr_f_env_3_0dB");
}

// The band of the previous envelope (resolution prevRes) under band k of an
// envelope of resolution res, by f_TableLow's construction from f_TableHigh
// (low band k >= 1 starts at high band 2k - (N_high mod 2)).
inline int previous_band(int res, int prevRes, int k, int nHigh)
{
    if (res == prevRes)
        return k;
    if (res == 0)
        return k == 0 ? 0 : 2 * k - (nHigh & 1);
    return (k + (nHigh & 1)) / 2;
}

inline void write_delta(BitWriter *w, const SbrCodebook &b, int delta)
{
    int index = delta + b.lav;
    if (index < 0 || index >= static_cast<int>(b.codes.size())) {
        ADD_FAILURE() << "delta " << delta << " outside the codebook";
        index = b.lav;
    }
    w->put_code(b.codes[static_cast<size_t>(index)]);
}

inline void write_header(BitWriter *w, const fxaac::sbr::SbrHeader &h, bool extra1, bool extra2)
{
    w->put(h.ampRes, 1);
    w->put(h.startFreq, 4);
    w->put(h.stopFreq, 4);
    w->put(h.xoverBand, 3);
    w->put(0, 2);
    w->put(extra1, 1);
    w->put(extra2, 1);
    if (extra1) {
        w->put(h.freqScale, 2);
        w->put(h.alterScale, 1);
        w->put(h.noiseBands, 2);
    }
    if (extra2) {
        w->put(h.limiterBands, 2);
        w->put(h.limiterGains, 2);
        w->put(h.interpolFreq, 1);
        w->put(h.smoothingMode, 1);
    }
}

inline int ceil_log2(int n)
{
    int bits = 0;
    while ((1 << bits) < n)
        bits++;
    return bits;
}

// sbr_grid(): the fields that give back the model's borders.
inline void write_grid(BitWriter *w, const SbrChannelModel &c)
{
    const std::vector<int> &b = c.borders;
    int numEnv = c.num_env();
    w->put(static_cast<uint32_t>(c.frameClass), 2);
    if (c.frameClass == fxaac::sbr::kFixFix) {
        w->put(static_cast<uint32_t>(ceil_log2(numEnv)), 2);
        w->put(static_cast<uint32_t>(c.freqRes[0]), 1);
        return;
    }
    bool varLead = c.frameClass == fxaac::sbr::kVarFix || c.frameClass == fxaac::sbr::kVarVar;
    bool varTrail = c.frameClass == fxaac::sbr::kFixVar || c.frameClass == fxaac::sbr::kVarVar;
    int numLead = c.frameClass == fxaac::sbr::kVarVar ? c.numRelLead : (varLead ? numEnv - 1 : 0);
    int numTrail = numEnv - 1 - numLead;
    if (varLead)
        w->put(static_cast<uint32_t>(b[0]), 2);
    if (varTrail)
        w->put(static_cast<uint32_t>(b[numEnv] - fxaac::sbr::kTimeSlots), 2);
    if (varLead)
        w->put(static_cast<uint32_t>(numLead), 2);
    if (varTrail)
        w->put(static_cast<uint32_t>(numTrail), 2);
    for (int i = 0; i < numLead; i++)
        w->put(static_cast<uint32_t>((b[i + 1] - b[i] - 2) / 2), 2);
    for (int i = 0; i < numTrail; i++)
        w->put(static_cast<uint32_t>((b[numEnv - i] - b[numEnv - i - 1] - 2) / 2), 2);
    w->put(static_cast<uint32_t>(c.pointer), ceil_log2(numEnv + 1));
    for (int l = 0; l < numEnv; l++) {
        int env = c.frameClass == fxaac::sbr::kFixVar ? numEnv - 1 - l : l;
        w->put(static_cast<uint32_t>(c.freqRes[env]), 1);
    }
}

inline void write_dtdf(BitWriter *w, const SbrChannelModel &c)
{
    for (int l = 0; l < c.num_env(); l++)
        w->put(static_cast<uint32_t>(c.dfEnv[l]), 1);
    for (int q = 0; q < c.num_noise(); q++)
        w->put(static_cast<uint32_t>(c.dfNoise[q]), 1);
}

inline void write_invf(BitWriter *w, const SbrChannelModel &c)
{
    for (int mode : c.invf)
        w->put(static_cast<uint32_t>(mode), 2);
}

// sbr_envelope(): the model's values as deltas, against hist for the first
// time-coded envelope.
inline void write_envelope(BitWriter *w, const SbrChannelModel &c, bool balance,
                           const fxaac::sbr::FrequencyTables &t, const WriterHistory &hist)
{
    int scale = balance ? 2 : 1;
    int startBits = 7 - c.ampRes - (balance ? 1 : 0);
    const std::vector<int> *prev = &hist.env;
    int prevRes = hist.freqRes;
    for (int l = 0; l < c.num_env(); l++) {
        const std::vector<int> &e = c.env[static_cast<size_t>(l)];
        const SbrCodebook &b = env_book(c.ampRes, balance, c.dfEnv[l] != 0);
        for (size_t k = 0; k < e.size(); k++) {
            if (c.dfEnv[l] == 0 && k == 0)
                w->put(static_cast<uint32_t>(e[0] / scale), startBits);
            else if (c.dfEnv[l] == 0)
                write_delta(w, b, (e[k] - e[k - 1]) / scale);
            else
                write_delta(w, b,
                            (e[k] - (*prev)[static_cast<size_t>(previous_band(
                                        c.freqRes[l], prevRes, static_cast<int>(k), t.nHigh))]) /
                                scale);
        }
        prev = &e;
        prevRes = c.freqRes[l];
    }
}

inline void write_noise(BitWriter *w, const SbrChannelModel &c, bool balance,
                        const WriterHistory &hist)
{
    int scale = balance ? 2 : 1;
    const std::vector<int> *prev = &hist.noise;
    for (int q = 0; q < c.num_noise(); q++) {
        const std::vector<int> &n = c.noise[static_cast<size_t>(q)];
        const SbrCodebook &b = noise_book(balance, c.dfNoise[q] != 0);
        for (size_t k = 0; k < n.size(); k++) {
            if (c.dfNoise[q] == 0 && k == 0)
                w->put(static_cast<uint32_t>(n[0] / scale), 5);
            else if (c.dfNoise[q] == 0)
                write_delta(w, b, (n[k] - n[k - 1]) / scale);
            else
                write_delta(w, b, (n[k] - (*prev)[k]) / scale);
        }
        prev = &n;
    }
}

inline void write_harmonics(BitWriter *w, const SbrChannelModel &c)
{
    w->put(c.addHarmonicFlag, 1);
    if (c.addHarmonicFlag) {
        for (int flag : c.addHarmonic)
            w->put(static_cast<uint32_t>(flag), 1);
    }
}

inline void write_extended_data(BitWriter *w, const SbrFrameModel &f)
{
    w->put(f.extensionBytes >= 0, 1);
    if (f.extensionBytes < 0)
        return;
    w->put(static_cast<uint32_t>(f.extensionBytes < 15 ? f.extensionBytes : 15), 4);
    if (f.extensionBytes >= 15)
        w->put(static_cast<uint32_t>(f.extensionBytes - 15), 8);
    if (f.extensionBytes == 0)
        return;
    w->put(static_cast<uint32_t>(f.extensionId), 2);
    for (int bit : f.extensionBits)
        w->put(static_cast<uint32_t>(bit), 1);
}

// sbr_data() of the model; hist[ch] holds what time deltas refer to.
inline void write_sbr_data(BitWriter *w, const SbrFrameModel &f,
                           const fxaac::sbr::FrequencyTables &t, const WriterHistory hist[2])
{
    const SbrChannelModel *c = f.ch;
    w->put(f.dataExtra, 1);
    if (f.dataExtra)
        w->put(0x5a & (f.pair ? 0xff : 0xf), f.pair ? 8 : 4);
    if (!f.pair) {
        write_grid(w, c[0]);
        write_dtdf(w, c[0]);
        write_invf(w, c[0]);
        write_envelope(w, c[0], false, t, hist[0]);
        write_noise(w, c[0], false, hist[0]);
        write_harmonics(w, c[0]);
    } else if (f.coupling) {
        w->put(1, 1);
        write_grid(w, c[0]);
        write_dtdf(w, c[0]);
        write_dtdf(w, c[1]);
        write_invf(w, c[0]);
        write_envelope(w, c[0], false, t, hist[0]);
        write_noise(w, c[0], false, hist[0]);
        write_envelope(w, c[1], true, t, hist[1]);
        write_noise(w, c[1], true, hist[1]);
        write_harmonics(w, c[0]);
        write_harmonics(w, c[1]);
    } else {
        w->put(0, 1);
        write_grid(w, c[0]);
        write_grid(w, c[1]);
        write_dtdf(w, c[0]);
        write_dtdf(w, c[1]);
        write_invf(w, c[0]);
        write_invf(w, c[1]);
        write_envelope(w, c[0], false, t, hist[0]);
        write_envelope(w, c[1], false, t, hist[1]);
        write_noise(w, c[0], false, hist[0]);
        write_noise(w, c[1], false, hist[1]);
        write_harmonics(w, c[0]);
        write_harmonics(w, c[1]);
    }
    write_extended_data(w, f);
}

}  // namespace fxaac_test

#endif  // FXAAC_TESTS_SBR_SBR_PAYLOAD_WRITER_H
