#pragma once

#include <zlib.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace Kelvra::SCADA::Tool {

/// The bytes of an archive, unpacked where they are packed with gzip. It keeps what is needed to see afterwards whether
/// the archive is whole: the reader of the entries takes less than that for an end.
class ArchiveStream {
public:
    /// `descriptor` is read from where it stands.
    explicit ArchiveStream(int descriptor);
    ~ArchiveStream();
    ArchiveStream(const ArchiveStream&) = delete;
    ArchiveStream& operator=(const ArchiveStream&) = delete;

    /// Reads on. Returns nothing at the end, and after a failure. The bytes are valid until the next call.
    std::string_view next();

    /// Returns why reading has failed, or nothing.
    const std::string& failure() const { return reason; }
    /// Returns how many bytes have been read, before they were unpacked or after, whichever are more.
    std::uint64_t size() const { return delivered > packed ? delivered : packed; }

    /// Returns how many bytes next() has returned in all.
    std::uint64_t position() const { return delivered; }
    /// Whether the bytes from `start` on are zero, as behind the entries of a tar, in what next() has returned last.
    bool isZeroFrom(std::uint64_t start) const;
    /// Returns how many entries the directory at the end of a zip tells, at most 65,535, or -1 where there is none.
    /// REQUIRES: everything has been read.
    int entriesOfZip() const;

private:
    std::string_view readRaw();
    std::string_view unpack();
    void startUnpacking();

    int in;
    std::string raw;
    std::string unpacked;
    std::string tail;      ///< the last bytes of the stream, where a zip has its directory
    std::string_view last; ///< what next() has returned
    z_stream packing{};
    std::string_view waiting; ///< bytes that have been read and not unpacked
    std::string reason;
    std::uint64_t packed = 0;
    std::uint64_t delivered = 0;
    bool isPacked = false;
    bool isBegun = false;
    bool isWithin = false; ///< within a member of gzip, which has not come to its end
};

} // namespace Kelvra::SCADA::Tool
