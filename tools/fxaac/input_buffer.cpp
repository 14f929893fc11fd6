#include "input_buffer.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace fxaac_cli {

uint64_t regular_file_size(FILE *file)
{
    struct stat st;
    if (fstat(fileno(file), &st) != 0 || !S_ISREG(st.st_mode) || st.st_size < 0)
        return 0;
    return static_cast<uint64_t>(st.st_size);
}

bool is_regular(FILE *file)
{
    struct stat st;
    return fstat(fileno(file), &st) == 0 && S_ISREG(st.st_mode);
}

bool InputBuffer::fill(size_t want)
{
    if (avail() >= want || eof_)
        return true;
    if (pos_ > 0) {
        std::memmove(buf_.data(), buf_.data() + pos_, avail());
        end_ -= pos_;
        pos_ = 0;
    }
    while (avail() < want && !eof_) {
        if (buf_.size() < end_ + kInputChunk)
            buf_.resize(end_ + kInputChunk);
        const size_t got = std::fread(buf_.data() + end_, 1, kInputChunk, file_);
        end_ += got;
        if (got < kInputChunk) {
            if (std::ferror(file_)) {
                error_ = std::string("cannot read the input: ") + std::strerror(errno);
                return false;
            }
            eof_ = true;
        }
    }
    return true;
}

void InputBuffer::consume(size_t n)
{
    n = std::min(n, avail());
    pos_ += n;
    offset_ += n;
}

bool InputBuffer::skip(uint64_t n)
{
    while (n > 0) {
        if (!fill(1) || avail() == 0)
            return false;
        const size_t k = static_cast<size_t>(std::min<uint64_t>(n, avail()));
        consume(k);
        n -= k;
    }
    return true;
}

bool InputBuffer::take_rest(std::vector<uint8_t> *out)
{
    while (!eof_)
        if (!fill(avail() + kInputChunk))
            return false;
    out->assign(data(), data() + avail());
    return true;
}

}  // namespace fxaac_cli
