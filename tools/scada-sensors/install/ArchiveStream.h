#pragma once

#include <zlib.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace Kelvra::SCADA::Tool {

/// The bytes of an archive, unpacked if they are packed with gzip. It keeps what is needed to check afterwards whether
/// the archive is complete: the reader of the entries accepts less as an end.
class ArchiveStream {
public:
    /// Reads `descriptor` from its present position.
    explicit ArchiveStream(int descriptor);
    ~ArchiveStream();
    ArchiveStream(const ArchiveStream&) = delete;
    ArchiveStream& operator=(const ArchiveStream&) = delete;

    /// Reads on. Returns nothing at the end, and after a failure. The bytes are valid until the next call.
    std::string_view next();

    /// Returns why reading has failed, or nothing.
    const std::string& failure() const { return reason; }
    /// Returns how many bytes have been read, counted before or after they were unpacked, whichever number is larger.
    std::uint64_t size() const { return delivered > packed ? delivered : packed; }

    /// Returns how many bytes next() has returned in all.
    std::uint64_t position() const { return delivered; }
    /// Whether the bytes from `start` on are zero in the last result of next(), as after the entries of a tar.
    bool isZeroFrom(std::uint64_t start) const;
    /// Returns the number of entries that the directory at the end of a zip states, at most 65,535, or -1 without such
    /// a directory. REQUIRES: everything has been read.
    int entriesOfZip() const;

private:
    std::string_view readRaw();
    std::string_view unpack();
    void startUnpacking();

    int in;
    std::string raw;
    std::string unpacked;
    std::string tail;      ///< the last bytes of the stream, where a zip has its directory
    std::string_view last; ///< the last result of next()
    z_stream packing{};
    std::string_view waiting; ///< bytes that have been read but not unpacked
    std::string reason;
    std::uint64_t packed = 0;
    std::uint64_t delivered = 0;
    bool isPacked = false;
    bool isBegun = false;
    bool isWithin = false; ///< within a member of gzip that has not ended
};

} // namespace Kelvra::SCADA::Tool
