#pragma once

#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Codec {

struct Limits {
    /// Limit of the engine's memory, in bytes.
    std::size_t memory = std::size_t{16} * 1024 * 1024;
    /// Limit of one result's JSON, in bytes.
    std::size_t output = std::size_t{64} * 1024;
    /// Limit of the nesting of arrays and objects in a result.
    std::size_t depth = 32;
};

struct Call {
    /// JSON texts in the engine's own format.
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

/// Reads a line of input. Throws BadRequest if it is not one of the contract's requests.
FirstRequest firstRequest(const std::string& line);
std::vector<Call> furtherRequest(const std::string& line);

} // namespace Kelvra::SCADA::Codec
