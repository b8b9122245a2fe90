#pragma once

#include "database/ReplyPtr.h"
#include "database/TimeLimit.h"
#include "text/Descriptor.h"

#include <memory>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// A fault of the server; empty if there is none.
struct ServerFault {
    std::string text;    ///< includes the remedy
    std::string command; ///< the next command to type in a shell

    bool empty() const { return text.empty(); }
};

/// A connection to the configured server on which each reply comes in time, or the reason is known. The client
/// library's own connection has no limit for a whole exchange, raises SIGPIPE and keeps no error number.
class Inquiry {
public:
    explicit Inquiry(const TimeLimit& timeLimit);

    /// Connects and selects the configured database.
    ServerFault open() const;

    /// Sends one command and waits for its reply.
    ServerFault ask(const std::vector<std::string>& command, ReplyPtr* reply) const;

    /// The same in two steps, to send many commands at once.
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

/// Returns the command that a user types to ask the configured server. It contains `words` unchanged.
std::string serverCommand(const std::string& words);

/// Returns the text of an error reply; nothing for any other reply.
std::string errorOf(const ReplyPtr& reply);

} // namespace Kelvra::SCADA::Tool
