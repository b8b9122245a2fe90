// Runs the fuzz target on files, and on the files in directories, without libFuzzer.

#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <vector>

// NOLINTNEXTLINE(readability-redundant-declaration): a unit of clang-tidy holds the definition, too
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

namespace fs = std::filesystem;

void replayFile(const fs::path& path) {
    // For a finding, the last line of the output names the input.
    std::printf("%s\n", path.c_str());
    std::fflush(stdout);
    std::ifstream file(path, std::ios::binary);
    if (!file.is_open())
        throw std::runtime_error(path.string() + ": cannot be opened");
    const std::vector<char> bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}

int replay(const fs::path& path) {
    if (!fs::is_directory(path)) {
        replayFile(path);
        return 1;
    }
    int count = 0;
    for (const fs::directory_entry& entry : fs::directory_iterator(path))
        count += replay(entry.path());
    if (count == 0)
        throw std::runtime_error(path.string() + ": holds no file");
    return count;
}

} // namespace

int main(int argc, char** argv) {
    try {
        int count = 0;
        for (int i = 1; i < argc; ++i)
            count += replay(argv[i]);
        std::printf("%d inputs\n", count);
        return count > 0 ? 0 : 1;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "%s\n", e.what());
        return 1;
    }
}
