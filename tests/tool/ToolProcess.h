#pragma once

#include <sys/types.h>

#include <string>
#include <utility>
#include <vector>

namespace Kelvra::SCADA::Test {

/// The properties of the terminal that the tool can ask for.
struct Terminal {
    unsigned short columns = 0; ///< 0: it does not say
    /// Variables of the tool's environment with their values; null takes one away.
    std::vector<std::pair<const char*, const char*>> environment = {};
};

/// A run of the host tool on its own terminal, in parallel to the test. The terminal is read only after the run has
/// ended, so the output must not exceed the terminal's buffer.
class ToolProcess {
public:
    explicit ToolProcess(const std::vector<std::string>& arguments, const Terminal& wanted = Terminal());
    /// Kills the tool if it is still running.
    ~ToolProcess();
    ToolProcess(const ToolProcess&) = delete;
    ToolProcess& operator=(const ToolProcess&) = delete;

    /// Types on the terminal.
    void type(const std::string& text) const;
    bool hasEnded();
    void kill() const;
    void send(int signal) const;
    /// Waits for the end. Returns the exit status, or 128 plus the number of the signal that ended it.
    int wait();
    /// Returns the text on the terminal, with "\r\n" as "\n". REQUIRES: the run has ended.
    std::string screen() const;

private:
    bool collect(int options);

    pid_t child;
    int terminal = -1;
    int status = -1;
};

void pauseBriefly();

/// Returns whether the condition becomes true within 20 seconds.
template <typename Condition> bool becomesTrue(Condition condition) {
    constexpr int PAUSES = 2000;
    for (int left = PAUSES; left > 0; --left) {
        if (condition())
            return true;
        pauseBriefly();
    }
    return false;
}

} // namespace Kelvra::SCADA::Test
