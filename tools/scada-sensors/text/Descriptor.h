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

/// Opens a regular file for reading. Anything else is not waited for, as a FIFO would make a reader wait. When it is
/// not open, puts the reason into `*failure` (unless null).
Descriptor openRegularFile(const std::string& file, std::string* failure = nullptr);

/// Reads a regular file whole into `*text`. Returns the reason when it cannot be read, and nothing on success.
std::string readRegularFile(const std::string& file, std::string* text);

/// Writes `size` bytes to a descriptor. Returns the error number when it cannot, and 0 on success.
int writeWhole(int descriptor, const char* data, std::size_t size);

/// Returns the system's words for an error number.
std::string reasonOf(int error);

} // namespace Kelvra::SCADA::Tool
