// Test helper: the SBR and PS tables as listed in data/sbr_ps_tables.txt, read
// at run time, independently of the generated tables. Codebooks by their name
// in the file (e.g. "sbr_t_env_1_5dB"), codewords as strings of '0' and '1'.
#ifndef FXAAC_TESTS_SBR_SBR_TABLES_DATA_H
#define FXAAC_TESTS_SBR_SBR_TABLES_DATA_H

#include <array>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#ifndef FXAAC_DATA_DIR
#error "FXAAC_DATA_DIR must name the folder of sbr_ps_tables.txt"
#endif

namespace fxaac_test {

struct SbrCodebook {
    int lav = 0;
    std::vector<std::string> codes;  // by codebook index
};

struct SbrPsTables {
    std::map<std::string, SbrCodebook> books;
    std::vector<double> qmf;                    // c[0..639]
    std::vector<std::array<double, 2>> noise;   // V(0..511): re, im
    std::vector<std::vector<int>> startOffset;  // [row][bs_start_freq]
};

// The tables of the data file; an empty record when it cannot be read.
inline const SbrPsTables &sbr_ps_tables()
{
    static const SbrPsTables tables = [] {
        SbrPsTables t;
        std::ifstream in(FXAAC_DATA_DIR "/sbr_ps_tables.txt");
        std::string line;
        while (std::getline(in, line)) {
            std::istringstream s(line);
            std::string kind;
            if (!(s >> kind) || kind[0] == '#')
                continue;
            if (kind == "huff") {
                std::string name;
                int entries = 0;
                s >> name >> entries >> t.books[name].lav;
                t.books[name].codes.resize(static_cast<size_t>(entries));
            } else if (kind == "hc") {
                std::string name, code;
                size_t index = 0;
                int length = 0;
                s >> name >> index >> length >> code;
                t.books[name].codes.at(index) = code;
            } else if (kind == "qmf") {
                size_t i = 0;
                double c = 0;
                s >> i >> c;
                t.qmf.resize(i + 1 > t.qmf.size() ? i + 1 : t.qmf.size());
                t.qmf[i] = c;
            } else if (kind == "noise") {
                size_t i = 0;
                double re = 0, im = 0;
                s >> i >> re >> im;
                t.noise.resize(i + 1 > t.noise.size() ? i + 1 : t.noise.size());
                t.noise[i] = {re, im};
            } else if (kind == "start_offset") {
                size_t row = 0;
                s >> row;
                t.startOffset.resize(row + 1 > t.startOffset.size() ? row + 1
                                                                    : t.startOffset.size());
                for (int v = 0; s >> v;)
                    t.startOffset[row].push_back(v);
            }
        }
        return t;
    }();
    return tables;
}

}  // namespace fxaac_test

#endif  // FXAAC_TESTS_SBR_SBR_TABLES_DATA_H
