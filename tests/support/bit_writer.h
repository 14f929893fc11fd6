// Test helper: builds bitstreams field by field, most significant bit first,
// the way an encoder writes them.
#ifndef FXAAC_TESTS_BIT_WRITER_H
#define FXAAC_TESTS_BIT_WRITER_H

#include <cstdint>
#include <string>
#include <vector>

namespace fxaac_test {

class BitWriter {
public:
    // Appends the n low bits of value (n from 0 to 32).
    BitWriter &put(uint32_t value, int n)
    {
        for (int i = n - 1; i >= 0; i--)
            put_bit((value >> i) & 1);
        return *this;
    }
    BitWriter &bytes(const std::string &s)
    {
        for (unsigned char c : s)
            put(c, 8);
        return *this;
    }
    BitWriter &align()
    {
        while (bits_ % 8)
            put_bit(0);
        return *this;
    }
    size_t bit_count() const { return bits_; }
    // The bytes written so far (last byte zero-padded) plus `padding` zero
    // bytes, since the decoder may look 3 bytes past the data.
    std::vector<uint8_t> data(size_t padding = 4) const
    {
        std::vector<uint8_t> out = buf_;
        out.resize(out.size() + padding, 0);
        return out;
    }

private:
    void put_bit(uint32_t b)
    {
        if (bits_ % 8 == 0)
            buf_.push_back(0);
        if (b)
            buf_.back() |= static_cast<uint8_t>(0x80 >> (bits_ % 8));
        bits_++;
    }
    std::vector<uint8_t> buf_;
    size_t bits_ = 0;
};

}  // namespace fxaac_test

#endif
