#include "Workspace.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <unistd.h>

namespace Kelvra::SCADA::Fuzz {

Workspace::Workspace() : TempDir(access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp") {}

void writeFile(const std::string& path, const std::uint8_t* bytes, std::size_t size) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char*>(bytes), static_cast<std::streamsize>(size));
    file.close();
    require(file.good(), "a written file");
}

void require(bool condition, const char* what) {
    if (condition)
        return;
    std::fprintf(stderr, "does not hold: %s\n", what);
    std::abort();
}

} // namespace Kelvra::SCADA::Fuzz
