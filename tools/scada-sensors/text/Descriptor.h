#pragma once

#include <cstddef>
#include <string>

namespace Kelvra::SCADA::Tool {

/// Owns a file descriptor.
class Descriptor {
public:
    explicit Descriptor(int opened = -1) : descriptor(opened) {}
    ~Descriptor();
    Descriptor(Descriptor&& other) noexcept;
    Descriptor& operator=(Descriptor&& other) noexcept;

    bool isOpen() const { return descriptor >= 0; }
    int number() const { return descriptor; }

private:
    int descriptor;
};

/// How many bytes of a file are read or written at once.
constexpr std::size_t CHUNK = 65536;

/// Opens a regular file for reading. Never waits for another kind of file, as a reader of a FIFO would. On failure,
/// returns a descriptor that is not open and puts the reason into `*failure` (unless null).
Descriptor openRegularFile(const std::string& file, std::string* failure = nullptr);

/// Reads a whole regular file into `*text`. Returns the reason if it cannot be read, and nothing on success.
std::string readRegularFile(const std::string& file, std::string* text);

/// Writes `size` bytes to a descriptor. Returns the error number if that fails, and 0 on success.
int writeWhole(int descriptor, const char* data, std::size_t size);

/// Returns the system's text for an error number.
std::string reasonOf(int error);

} // namespace Kelvra::SCADA::Tool
