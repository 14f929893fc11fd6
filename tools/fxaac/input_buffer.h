// The input, read in chunks into a buffer that holds the unconsumed bytes
// and grows when a frame needs more; and what kind of file the input is.
#ifndef FXAAC_CLI_INPUT_BUFFER_H
#define FXAAC_CLI_INPUT_BUFFER_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace fxaac_cli {

constexpr size_t kInputChunk = 64 * 1024;  // bytes read from the input at a time

// Size of a regular file; 0 for other inputs (pipes, terminals).
uint64_t regular_file_size(FILE *file);
bool is_regular(FILE *file);

class InputBuffer {
public:
    explicit InputBuffer(FILE *file) : file_(file) {}
    const uint8_t *data() const { return buf_.data() + pos_; }
    size_t avail() const { return end_ - pos_; }
    bool at_eof() const { return eof_; }
    uint64_t offset() const { return offset_; }  // input position of data()
    const std::string &error() const { return error_; }

    // Reads until want bytes are held or the input ends; false on a read error.
    bool fill(size_t want);
    void consume(size_t n);
    // Drops n bytes; false when the input ends first.
    bool skip(uint64_t n);
    // Everything not yet consumed, to the end of the input.
    bool take_rest(std::vector<uint8_t> *out);

private:
    FILE *file_;
    std::vector<uint8_t> buf_;
    size_t pos_ = 0;
    size_t end_ = 0;
    uint64_t offset_ = 0;
    bool eof_ = false;
    std::string error_;
};

}  // namespace fxaac_cli

#endif  // FXAAC_CLI_INPUT_BUFFER_H
