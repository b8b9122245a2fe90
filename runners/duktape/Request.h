#pragma once

#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Codec {

struct Limits {
    /// Bytes that the engine may take.
    std::size_t memory = std::size_t{16} * 1024 * 1024;
    /// Bytes of one result's JSON.
    std::size_t output = std::size_t{64} * 1024;
    /// How deep arrays and objects of a result may be nested.
    std::size_t depth = 32;
};

struct Call {
    /// JSON texts, as the engine reads them.
    std::string port, bytes;
    /// Milliseconds since 1970.
    std::optional<double> recvTime;
};

struct FirstRequest {
    std::string decoder;
    Limits limits;
    std::vector<Call> calls;
};

class BadRequest : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Reads a line of input. Throws BadRequest when it is none of the contract's requests.
FirstRequest firstRequest(const std::string& line);
std::vector<Call> furtherRequest(const std::string& line);

} // namespace Kelvra::SCADA::Codec
