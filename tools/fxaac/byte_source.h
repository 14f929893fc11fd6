// Random access to the bytes of an input: a seekable file, or the whole
// input held in memory when it comes from a pipe.
#ifndef FXAAC_CLI_BYTE_SOURCE_H
#define FXAAC_CLI_BYTE_SOURCE_H

#include <cstdint>
#include <cstdio>
#include <vector>

namespace fxaac_cli {

class ByteSource {
public:
    virtual ~ByteSource() = default;
    // Total length in bytes.
    virtual uint64_t size() const = 0;
    // Copies n bytes from offset into dst. False when the range is not wholly
    // inside the source or the read fails.
    virtual bool read(uint64_t offset, void *dst, size_t n) = 0;
};

class MemorySource final : public ByteSource {
public:
    explicit MemorySource(std::vector<uint8_t> bytes) : bytes_(std::move(bytes)) {}
    uint64_t size() const override { return bytes_.size(); }
    bool read(uint64_t offset, void *dst, size_t n) override;

private:
    std::vector<uint8_t> bytes_;
};

// A regular file; the FILE stays owned by the caller.
class FileSource final : public ByteSource {
public:
    FileSource(FILE *file, uint64_t size) : file_(file), size_(size) {}
    uint64_t size() const override { return size_; }
    bool read(uint64_t offset, void *dst, size_t n) override;

private:
    FILE *file_;
    uint64_t size_;
};

}  // namespace fxaac_cli

#endif  // FXAAC_CLI_BYTE_SOURCE_H
