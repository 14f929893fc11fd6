#include "byte_source.h"

#include <sys/types.h>

#include <cstring>

namespace fxaac_cli {

namespace {

bool inside(uint64_t offset, size_t n, uint64_t size)
{
    return offset <= size && n <= size - offset;
}

}  // namespace

bool MemorySource::read(uint64_t offset, void *dst, size_t n)
{
    if (!inside(offset, n, bytes_.size()))
        return false;
    if (n > 0)
        std::memcpy(dst, bytes_.data() + offset, n);
    return true;
}

bool FileSource::read(uint64_t offset, void *dst, size_t n)
{
    if (!inside(offset, n, size_))
        return false;
    if (offset > static_cast<uint64_t>(INT64_MAX) ||
        fseeko(file_, static_cast<off_t>(offset), SEEK_SET) != 0)
        return false;
    return std::fread(dst, 1, n, file_) == n;
}

}  // namespace fxaac_cli
