#pragma once

#include "database/ReplyPtr.h"
#include "database/TimeLimit.h"
#include "text/Descriptor.h"

#include <memory>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// What is wrong with the server; empty when nothing is.
struct ServerFault {
    std::string text;    ///< with the remedy
    std::string command; ///< the next one to type in a shell

    bool empty() const { return text.empty(); }
};

/// A connection to the configured server on which each reply comes in time, or why it did not is known. The client
/// library's own connection has no limit for a whole exchange, raises SIGPIPE and keeps no error number.
class Inquiry {
public:
    explicit Inquiry(const TimeLimit& timeLimit);

    /// Connects and selects the configured database.
    ServerFault open() const;

    /// Sends one command and waits for its reply.
    ServerFault ask(const std::vector<std::string>& command, ReplyPtr* reply) const;

    /// The same in two steps, for many commands at once.
    void send(const std::vector<std::vector<std::string>>& commands) const;
    ServerFault receive(ReplyPtr* reply) const;

private:
    struct FreeReader {
        void operator()(redisReader* owned) const;
    };

    ServerFault connect() const;
    ServerFault select() const;
    ServerFault receiveBytes() const;

    std::string path;
    TimeLimit limit;
    Descriptor peer;
    std::unique_ptr<redisReader, FreeReader> reader;
};

/// Returns what a user types to ask the configured server. `words` are a part of it as they are.
std::string serverCommand(const std::string& words);

/// Returns the words of an error reply; nothing for any other.
std::string errorOf(const ReplyPtr& reply);

} // namespace Kelvra::SCADA::Tool
