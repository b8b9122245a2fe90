#include "install/ArchiveStream.h"

#include "install/Libarchive.h"
#include "text/Descriptor.h"
#include "text/filled.h"
#include "text/text.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <stdexcept>

namespace Kelvra::SCADA::Tool {

namespace {

constexpr std::string_view GZIP_MAGIC = "\x1f\x8b";
// The largest window, with the header and checksum of gzip.
constexpr int GZIP_WINDOW = 15 + 16;

constexpr std::string_view ZIP_END = "PK\5\6";
constexpr std::size_t ZIP_END_SIZE = 22;
constexpr std::size_t ZIP_COUNT_AT = 10;
constexpr std::size_t ZIP_LONGEST_COMMENT = 65535;

bool isZero(std::string_view bytes) {
    return bytes.find_first_not_of('\0') == std::string_view::npos;
}

} // namespace

ArchiveStream::ArchiveStream(int descriptor) : in(descriptor), raw(CHUNK, '\0') {}

ArchiveStream::~ArchiveStream() {
    if (isPacked)
        libarchive().inflateEnd(&packing);
}

std::string_view ArchiveStream::readRaw() {
    ssize_t count = 0;
    do
        count = read(in, raw.data(), raw.size());
    while (count < 0 && errno == EINTR);
    if (count < 0)
        reason = reasonOf(errno);
    packed += static_cast<std::uint64_t>(std::max<ssize_t>(count, 0));
    return std::string_view(raw).substr(0, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
}

void ArchiveStream::startUnpacking() {
    if (libarchive().inflateInit2_(&packing, GZIP_WINDOW, ZLIB_VERSION, sizeof packing) != Z_OK)
        throw std::bad_alloc();
    isPacked = true;
    isWithin = true;
    unpacked.resize(CHUNK);
}

// The reader of archives can unpack gzip as well, but does not check checksums.
std::string_view ArchiveStream::unpack() {
    // Packed bytes without any content could go on for ever.
    constexpr int MOST_EMPTY_PIECES = 16;
    for (int pieces = 0; pieces <= MOST_EMPTY_PIECES;) {
        if (waiting.empty()) {
            waiting = readRaw();
            ++pieces;
        }
        if (waiting.empty()) {
            if (isWithin && reason.empty())
                reason = filled("it is damaged or incomplete");
            return {};
        }
        if (!isWithin && libarchive().inflateReset(&packing) == Z_OK)
            isWithin = true;
        packing.next_in =
            const_cast<Bytef*>(reinterpret_cast<const Bytef*>(waiting.data())); // NOLINT(*-const-cast): it only reads
        packing.avail_in = static_cast<uInt>(waiting.size());
        packing.next_out = reinterpret_cast<Bytef*>(unpacked.data());
        packing.avail_out = static_cast<uInt>(unpacked.size());
        const int status = libarchive().inflate(&packing, Z_NO_FLUSH);
        waiting.remove_prefix(waiting.size() - packing.avail_in);
        if (status != Z_OK && status != Z_STREAM_END && status != Z_BUF_ERROR) {
            reason = filled("it is damaged or incomplete");
            return {};
        }
        isWithin = status != Z_STREAM_END;
        const std::size_t count = unpacked.size() - packing.avail_out;
        if (count != 0)
            return std::string_view(unpacked).substr(0, count);
    }
    reason = filled("it is damaged or incomplete");
    return {};
}

std::string_view ArchiveStream::next() {
    if (!reason.empty())
        return last = {};
    if (!isBegun) {
        isBegun = true;
        waiting = readRaw();
        if (startsWith(std::string(waiting.substr(0, GZIP_MAGIC.size())), std::string(GZIP_MAGIC)))
            startUnpacking();
        last = isPacked ? unpack() : waiting;
    } else {
        last = isPacked ? unpack() : readRaw();
    }
    delivered += last.size();
    tail.append(last);
    constexpr std::size_t KEPT = ZIP_END_SIZE + ZIP_LONGEST_COMMENT;
    if (tail.size() > KEPT)
        tail.erase(0, tail.size() - KEPT);
    return last;
}

bool ArchiveStream::isZeroFrom(std::uint64_t start) const {
    const std::uint64_t before = delivered - last.size();
    const std::uint64_t skipped = start > before ? start - before : 0;
    return isZero(last.substr(static_cast<std::size_t>(std::min<std::uint64_t>(skipped, last.size()))));
}

int ArchiveStream::entriesOfZip() const {
    const std::size_t at = tail.rfind(ZIP_END);
    if (at == std::string::npos || tail.size() - at < ZIP_END_SIZE)
        return -1;
    const auto low = static_cast<unsigned char>(tail[at + ZIP_COUNT_AT]);
    const auto high = static_cast<unsigned char>(tail[at + ZIP_COUNT_AT + 1]);
    return (high << CHAR_BIT) + low;
}

} // namespace Kelvra::SCADA::Tool
