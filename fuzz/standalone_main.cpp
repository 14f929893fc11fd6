// A main() for the fuzz targets without libFuzzer (any compiler): runs the
// target once on every file named on the command line, and on every file of
// every directory named there. Built with sanitizers, it replays the inputs
// kept under fuzz/regressions/ as a plain test program.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace {

int replay(const std::filesystem::path &path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        std::fprintf(stderr, "cannot read %s\n", path.c_str());
        return 1;
    }
    std::vector<uint8_t> bytes{std::istreambuf_iterator<char>(in),
                               std::istreambuf_iterator<char>()};
    std::printf("replaying %s (%zu bytes)\n", path.c_str(), bytes.size());
    std::fflush(stdout);
    // An exactly sized heap copy, as libFuzzer gives its inputs.
    std::unique_ptr<uint8_t[]> exact(new uint8_t[bytes.size()]);
    std::copy(bytes.begin(), bytes.end(), exact.get());
    LLVMFuzzerTestOneInput(exact.get(), bytes.size());
    return 0;
}

}  // namespace

int main(int argc, char **argv)
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s FILE_OR_DIR...\n", argv[0]);
        return 2;
    }
    int failures = 0, inputs = 0;
    for (int i = 1; i < argc; i++) {
        std::filesystem::path arg(argv[i]);
        std::error_code ec;
        if (std::filesystem::is_directory(arg, ec)) {
            std::vector<std::filesystem::path> files;
            for (const auto &entry : std::filesystem::directory_iterator(arg))
                if (entry.is_regular_file())
                    files.push_back(entry.path());
            std::sort(files.begin(), files.end());
            for (const auto &f : files) {
                failures += replay(f);
                inputs++;
            }
        } else {
            failures += replay(arg);
            inputs++;
        }
    }
    std::printf("%d inputs replayed\n", inputs);
    return failures == 0 ? 0 : 1;
}
