// Test helper: the standard's Huffman codebooks and band tables, read from
// data/aac_tables.txt, and an encoder for scale factor differences and
// spectral values built on them. Tests use it to write streams the way an
// encoder does, independently of the decoder's packed tables.
#ifndef FXAAC_TESTS_STANDARD_TABLES_H
#define FXAAC_TESTS_STANDARD_TABLES_H

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "support/bit_writer.h"

#ifndef FXAAC_DATA_DIR
#error "FXAAC_DATA_DIR must name the folder of aac_tables.txt"
#endif

namespace fxaac_test {

struct Codeword {
    int length;
    uint32_t code;
    int index;                // position in the standard's table
    std::vector<int> values;  // decoded values (spectral codebooks)
};

struct Codebook {
    int dim = 1;
    bool isSigned = true;
    int lav = 0;
    int mod = 0;
    int offset = 0;
    std::vector<Codeword> words;  // by index
};

struct StandardTables {
    std::map<std::string, Codebook> books;              // "sf", "cb1" .. "cb11"
    std::map<int, std::vector<int>> swbLong, swbShort;  // offsets by sampling index
};

inline StandardTables load_standard_tables()
{
    StandardTables t;
    std::ifstream in(FXAAC_DATA_DIR "/aac_tables.txt");
    if (!in.good())
        std::abort();
    std::string line, kind;
    while (std::getline(in, line)) {
        std::istringstream f(line);
        if (!(f >> kind) || kind[0] == '#')
            continue;
        if (kind == "book") {
            std::string name;
            int entries, isSigned;
            Codebook &b = t.books[(f >> name, name)];
            f >> entries >> b.dim >> isSigned >> b.lav >> b.mod >> b.offset;
            b.isSigned = isSigned != 0;
        } else if (kind == "swb_long" || kind == "swb_short") {
            int sfi, rate, numSwb;
            f >> sfi >> rate >> numSwb;
            auto &offsets = (kind == "swb_long" ? t.swbLong : t.swbShort)[sfi];
            for (int x; f >> x;)
                offsets.push_back(x);
        } else {
            Codeword w;
            std::string hex;
            f >> w.index >> w.length >> hex;
            w.code = static_cast<uint32_t>(std::stoul(hex, nullptr, 16));
            for (int v; f >> v;)
                w.values.push_back(v);
            t.books[kind].words.push_back(w);
        }
    }
    return t;
}

inline const StandardTables &standard()
{
    static const StandardTables tables = load_standard_tables();
    return tables;
}

inline const Codebook &spectral_book(int cb)
{
    return standard().books.at("cb" + std::to_string(cb));
}

// Writes a scale factor difference (-60 to 60).
inline void put_scale_factor_difference(BitWriter &w, int d)
{
    const Codeword &c = standard().books.at("sf").words.at(static_cast<size_t>(d + 60));
    w.put(c.code, c.length);
}

// Writes an escape sequence for a magnitude of 16 to 8191 (or beyond, with a
// prefix of more than 8 ones, to build invalid streams).
inline void put_escape(BitWriter &w, int magnitude)
{
    int n = 0;
    while ((2 << (n + 4)) <= magnitude)
        n++;
    w.put((1u << n) - 1, n).put(0, 1).put(static_cast<uint32_t>(magnitude - (1 << (n + 4))), n + 4);
}

// Writes one codeword of spectral codebook cb for `dim` signed values; for
// codebook 11 magnitudes of 16 and more are sent as escapes.
inline void put_spectral(BitWriter &w, int cb, const int *v)
{
    const Codebook &b = spectral_book(cb);
    int index = 0;
    for (int k = 0; k < b.dim; k++) {
        int m = b.isSigned ? v[k] : std::abs(v[k]);
        if (cb == 11 && m > 16)
            m = 16;
        index = index * b.mod + m + b.offset;
    }
    const Codeword &c = b.words.at(static_cast<size_t>(index));
    w.put(c.code, c.length);
    if (b.isSigned)
        return;
    for (int k = 0; k < b.dim; k++)
        if (v[k] != 0)
            w.put(v[k] < 0, 1);
    if (cb == 11)
        for (int k = 0; k < b.dim; k++)
            if (std::abs(v[k]) >= 16)
                put_escape(w, std::abs(v[k]));
}

}  // namespace fxaac_test

#endif
