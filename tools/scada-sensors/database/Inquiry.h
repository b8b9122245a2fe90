#pragma once

#include "database/ReplyPtr.h"
#include "database/TimeLimit.h"
#include "text/Descriptor.h"

#include <memory>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// A connection to the configured server on which each reply comes in time, or why it did not is known. The client
/// library's own connection has no limit for a whole exchange, raises SIGPIPE and keeps no error number. Each function
/// that returns a text returns what is wrong with the remedy, or nothing.
class Inquiry {
public:
    explicit Inquiry(const TimeLimit& timeLimit);

    /// Connects and selects the configured database.
    std::string open() const;

    /// Sends one command and waits for its reply.
    std::string ask(const std::vector<std::string>& command, ReplyPtr* reply) const;

    /// The same in two steps, for many commands at once.
    void send(const std::vector<std::string>& command) const;
    std::string receive(ReplyPtr* reply) const;

private:
    struct FreeReader {
        void operator()(redisReader* owned) const;
    };

    std::string connect() const;
    std::string select() const;
    std::string receiveBytes() const;

    std::string path;
    TimeLimit limit;
    Descriptor peer;
    std::unique_ptr<redisReader, FreeReader> reader;
};

/// Returns the words of an error reply; nothing for any other.
std::string errorOf(const ReplyPtr& reply);

} // namespace Kelvra::SCADA::Tool
