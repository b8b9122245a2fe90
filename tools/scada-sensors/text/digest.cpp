#include "text/digest.h"

#include "text/Descriptor.h"

#include <sha2.h>

#include <unistd.h>

#include <array>
#include <cerrno>

namespace Kelvra::SCADA::Tool {

namespace {

std::string finished(SHA2_CTX* context) {
    std::array<char, SHA256_DIGEST_STRING_LENGTH> digits{};
    return SHA256End(context, digits.data());
}

} // namespace

std::string digestOf(const std::string& text) {
    SHA2_CTX context;
    SHA256Init(&context);
    SHA256Update(&context, reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
    return finished(&context);
}

std::string digestOfFile(const std::string& file) {
    const Descriptor opened = openRegularFile(file);
    if (!opened.isOpen())
        return "";
    SHA2_CTX context;
    SHA256Init(&context);
    std::array<std::uint8_t, 65536> chunk;
    for (;;) {
        const ssize_t count = read(opened.number(), chunk.data(), chunk.size());
        if (count > 0)
            SHA256Update(&context, chunk.data(), static_cast<std::size_t>(count));
        else if (count == 0)
            return finished(&context);
        else if (errno != EINTR)
            return "";
    }
}

} // namespace Kelvra::SCADA::Tool
