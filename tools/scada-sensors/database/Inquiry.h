#pragma once

#include "database/ReplyPtr.h"
#include "database/TimeLimit.h"
#include "text/Descriptor.h"

#include <cstddef>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// A fault of the server; empty if there is none.
struct ServerFault {
    std::string text;     ///< includes the remedy
    std::string command;  ///< the next command to type in a shell
    bool refused = false; ///< whether the server answers and refuses

    bool empty() const { return text.empty(); }
};

/// Commands in the form in which the server reads them.
class EncodedCommands {
public:
    template <typename Words> void add(const Words& words) {
        begin(words.size());
        for (const std::string_view word : words)
            addWord(word);
    }
    void add(std::initializer_list<std::string_view> words) { add<std::initializer_list<std::string_view>>(words); }
    bool empty() const { return bytes.empty(); }
    const std::string& text() const { return bytes; }

private:
    void begin(std::size_t words);
    void addWord(std::string_view word);

    std::string bytes;
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
    void send(const EncodedCommands& commands) const;
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
