// The generated SBR and PS tables against data/sbr_ps_tables.txt and the
// properties ISO/IEC 14496-3 gives them.
#include "sbr/sbr_tables.h"
#include "sbr/sbr_tables_data.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace fxaac::sbr;

// Walks the tree along code; returns the codebook index of the leaf reached
// after exactly code.size() bits, or -1 when the walk ends early or late.
int decode(const HuffmanTree &tree, const std::string &code)
{
    int node = 0;
    for (size_t i = 0; i < code.size(); ++i) {
        const int next = tree.nodes[node][code[i] == '1'];
        if (next < 0)
            return i + 1 == code.size() ? -(next + 1) : -1;
        node = next;
    }
    return -1;
}

TEST(SbrTables, EveryCodewordOfEveryBookDecodesToItsIndex)
{
    const std::vector<std::pair<const char *, const HuffmanTree *>> books = {
        {"sbr_t_env_1_5dB", &kSbrTEnv15},
        {"sbr_f_env_1_5dB", &kSbrFEnv15},
        {"sbr_t_env_bal_1_5dB", &kSbrTEnvBal15},
        {"sbr_f_env_bal_1_5dB", &kSbrFEnvBal15},
        {"sbr_t_env_3_0dB", &kSbrTEnv30},
        {"sbr_f_env_3_0dB", &kSbrFEnv30},
        {"sbr_t_env_bal_3_0dB", &kSbrTEnvBal30},
        {"sbr_f_env_bal_3_0dB", &kSbrFEnvBal30},
        {"sbr_t_noise_3_0dB", &kSbrTNoise30},
        {"sbr_t_noise_bal_3_0dB", &kSbrTNoiseBal30},
        {"ps_iid_def_f", &kPsIidDefF},
        {"ps_iid_def_t", &kPsIidDefT},
        {"ps_iid_fine_f", &kPsIidFineF},
        {"ps_iid_fine_t", &kPsIidFineT},
        {"ps_icc_f", &kPsIccF},
        {"ps_icc_t", &kPsIccT},
        {"ps_ipd_f", &kPsIpdF},
        {"ps_ipd_t", &kPsIpdT},
        {"ps_opd_f", &kPsOpdF},
        {"ps_opd_t", &kPsOpdT},
    };
    const auto &data = fxaac_test::sbr_ps_tables().books;
    ASSERT_EQ(data.size(), books.size()) << "data/sbr_ps_tables.txt not read";
    for (const auto &[name, tree] : books) {
        const auto &book = data.at(name);
        EXPECT_EQ(tree->lav, book.lav) << name;
        for (size_t index = 0; index < book.codes.size(); ++index)
            EXPECT_EQ(decode(*tree, book.codes[index]), static_cast<int>(index))
                << name << " codeword " << book.codes[index];
    }
}

// The prototype window is symmetric about tap 320, except that the taps
// 128, 256, 384 and 512 have the opposite sign of their mirror; its energy is
// 64 (sum of c^2).
TEST(SbrTables, QmfWindowSymmetryAndEnergy)
{
    EXPECT_EQ(kQmfWindow[0], 0);
    for (int i = 1; i < 640; ++i) {
        const int sign = i % 128 == 0 && i != 640 - i ? -1 : 1;
        EXPECT_EQ(kQmfWindow[i], sign * kQmfWindow[640 - i]) << "tap " << i;
    }
    double energy = 0;
    for (int32_t c : kQmfWindow)
        energy += static_cast<double>(c) * c;
    EXPECT_NEAR(energy / (1ull << 62), 64.0, 1e-6);
    const auto &qmf = fxaac_test::sbr_ps_tables().qmf;
    ASSERT_EQ(qmf.size(), 640u);
    for (int i = 0; i < 640; ++i)
        EXPECT_NEAR(kQmfWindow[i], qmf[i] * 2147483648.0, 0.5) << "tap " << i;
}

TEST(SbrTables, NoiseTableHasUnitMeanEnergy)
{
    double energy = 0;
    for (const auto &v : kSbrNoise)
        energy += static_cast<double>(v[0]) * v[0] + static_cast<double>(v[1]) * v[1];
    EXPECT_NEAR(energy / 512 / (1 << 30), 1.0, 0.01);
}

}  // namespace
