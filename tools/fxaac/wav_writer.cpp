#include "wav_writer.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>

namespace fxaac_cli {

namespace {

constexpr uint32_t kRiffRest = 36;  // header bytes after the RIFF size field
constexpr uint16_t kFormatPcm = 1;

void le16(uint8_t *p, uint32_t v)
{
    p[0] = static_cast<uint8_t>(v);
    p[1] = static_cast<uint8_t>(v >> 8);
}

void le32(uint8_t *p, uint32_t v)
{
    le16(p, v & 0xffff);
    le16(p + 2, v >> 16);
}

bool regular_file(FILE *file)
{
    struct stat st;
    return fstat(fileno(file), &st) == 0 && S_ISREG(st.st_mode);
}

}  // namespace

WavWriter::WavWriter(FILE *file, int bits) : file_(file), bits_(bits), seekable_(regular_file(file))
{}

void WavWriter::header(uint8_t *h, int32_t rate, int32_t channels, int bits, uint32_t dataBytes)
{
    const uint32_t blockAlign = static_cast<uint32_t>(channels) * static_cast<uint32_t>(bits / 8);
    std::memcpy(h, "RIFF", 4);
    // The RIFF size counts the pad byte that follows a data chunk of odd length.
    le32(h + 4, dataBytes > kUnknownSize - kRiffRest - 1 ? kUnknownSize
                                                         : dataBytes + kRiffRest + (dataBytes & 1));
    std::memcpy(h + 8, "WAVEfmt ", 8);
    le32(h + 16, 16);
    le16(h + 20, kFormatPcm);
    le16(h + 22, static_cast<uint32_t>(channels));
    le32(h + 24, static_cast<uint32_t>(rate));
    le32(h + 28, static_cast<uint32_t>(rate) * blockAlign);
    le16(h + 32, blockAlign);
    le16(h + 34, static_cast<uint32_t>(bits));
    std::memcpy(h + 36, "data", 4);
    le32(h + 40, dataBytes);
}

bool WavWriter::put(const uint8_t *bytes, size_t n)
{
    if (n > 0 && std::fwrite(bytes, 1, n, file_) != n) {
        error_ = std::string("write failed: ") + std::strerror(errno);
        return false;
    }
    return true;
}

bool WavWriter::begin(int32_t rate, int32_t channels)
{
    rate_ = rate;
    channels_ = channels;
    uint8_t h[kHeaderBytes];
    header(h, rate, channels, bits_, kUnknownSize);
    return put(h, sizeof h);
}

bool WavWriter::write(const void *samples, int32_t count)
{
    if (count <= 0)
        return true;
    const size_t n = static_cast<size_t>(count);
    if (bits_ == 24) {
        bytes_.resize(3 * n);
        const int32_t *s = static_cast<const int32_t *>(samples);
        for (size_t i = 0; i < n; i++) {
            const uint32_t v = static_cast<uint32_t>(s[i]);
            bytes_[3 * i] = static_cast<uint8_t>(v);
            bytes_[3 * i + 1] = static_cast<uint8_t>(v >> 8);
            bytes_[3 * i + 2] = static_cast<uint8_t>(v >> 16);
        }
    } else {
        bytes_.resize(2 * n);
        const int16_t *s = static_cast<const int16_t *>(samples);
        for (size_t i = 0; i < n; i++)
            le16(&bytes_[2 * i], static_cast<uint16_t>(s[i]));
    }
    dataBytes_ += bytes_.size();
    return put(bytes_.data(), bytes_.size());
}

bool WavWriter::finish()
{
    // A RIFF chunk of odd length is followed by a pad byte.
    if (dataBytes_ & 1) {
        const uint8_t pad = 0;
        if (!put(&pad, 1))
            return false;
    }
    if (std::fflush(file_) != 0) {
        error_ = std::string("write failed: ") + std::strerror(errno);
        return false;
    }
    if (!seekable_ || dataBytes_ > kUnknownSize - kRiffRest - 1)
        return true;  // a pipe, or more than a WAV file can count: placeholders stay
    uint8_t h[kHeaderBytes];
    header(h, rate_, channels_, bits_, static_cast<uint32_t>(dataBytes_));
    if (fseeko(file_, 0, SEEK_SET) != 0 || !put(h, sizeof h) || std::fflush(file_) != 0) {
        error_ = std::string("cannot write the final WAV header: ") + std::strerror(errno);
        return false;
    }
    sizesWritten_ = true;
    return true;
}

WavSink::~WavSink()
{
    if (file_ != nullptr && file_ != stdout)
        std::fclose(file_);
}

bool WavSink::begin(int32_t rate, int32_t channels)
{
    if (path_ == "-") {
        file_ = stdout;
    } else {
        file_ = std::fopen(path_.c_str(), "wb");
        if (file_ == nullptr) {
            error_ = "cannot create '" + path_ + "': " + std::strerror(errno);
            return false;
        }
    }
    if (file_ == nullptr) {
        error_ = "standard output is closed";
        return false;
    }
    writer_.reset(new WavWriter(file_, bits_));
    return check(writer_->begin(rate, channels));
}

bool WavSink::write(const void *samples, int32_t count)
{
    return check(writer_->write(samples, count));
}

bool WavSink::finish()
{
    if (!writer_)
        return true;
    bool ok = check(writer_->finish());
    if (file_ != stdout) {
        if (std::fclose(file_) != 0 && ok) {
            error_ = "cannot close '" + path_ + "': " + std::strerror(errno);
            ok = false;
        }
        file_ = nullptr;
    }
    return ok;
}

bool WavSink::check(bool ok)
{
    if (!ok)
        error_ = (path_ == "-" ? "standard output" : "'" + path_ + "'") + ": " + writer_->error();
    return ok;
}

}  // namespace fxaac_cli
