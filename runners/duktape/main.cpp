// Runs one decoder for the host tool: docs/codec-runner.md.

#include "duktape/Engine.h"
#include "duktape/request.h"
#include "duktape/walls.h"

#include <duktape.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <new>
#include <optional>
#include <string>

namespace {

using namespace Kelvra::SCADA::Codec;

enum ExitStatus { DONE = 0, CANNOT_WRITE = 1, BAD_REQUEST = 2, OUT_OF_MEMORY = 3 };

bool writeAll(int descriptor, const std::string& text) {
    for (std::size_t done = 0; done < text.size();) {
        const ssize_t count = write(descriptor, text.data() + done, text.size() - done);
        if (count < 0 && errno != EINTR)
            return false;
        done += count < 0 ? 0 : static_cast<std::size_t>(count);
    }
    return true;
}

class Lines {
public:
    /// Returns nothing at the end of input. The last line may lack its line end.
    std::optional<std::string> next() {
        std::size_t end = 0;
        while ((end = pending.find('\n', searched)) == std::string::npos) {
            searched = pending.size();
            if (!readMore())
                return lastLine();
        }
        std::string line = pending.substr(0, end);
        pending.erase(0, end + 1);
        searched = 0;
        return line;
    }

private:
    bool readMore() {
        std::array<char, 16384> buffer{};
        ssize_t count = 0;
        do
            count = read(STDIN_FILENO, buffer.data(), buffer.size());
        while (count < 0 && errno == EINTR);
        if (count > 0)
            pending.append(buffer.data(), static_cast<std::size_t>(count));
        return count > 0;
    }

    std::optional<std::string> lastLine() {
        if (pending.empty())
            return std::nullopt;
        std::string line;
        line.swap(pending);
        searched = 0;
        return line;
    }

    std::string pending;
    std::size_t searched = 0;
};

std::string engineName() {
    return "duktape " + std::to_string(DUK_VERSION / 10000) + "." + std::to_string(DUK_VERSION / 100 % 100) + "." +
           std::to_string(DUK_VERSION % 100);
}

std::string resultsOf(Engine& engine, const std::vector<Call>& calls) {
    std::string results = R"("results":[)";
    if (engine.canCall())
        for (std::size_t at = 0; at < calls.size(); ++at)
            results += (at > 0 ? "," : "") + engine.call(calls[at]);
    return results + "]";
}

int serve() {
    // A host may start the program before it has the decoder, so that this preparation costs no time later.
    Lines lines;
    Engine engine;
    SystemCallFilter filter;
    std::optional<std::string> line = lines.next();
    if (!line)
        return DONE;
    const FirstRequest first = firstRequest(*line);
    boundAddressSpace(first.limits.memory);
    engine.setLimits(first.limits);
    const bool filtered = filter.load();
    std::string answer = R"({"version":1,"engine":")" + engineName() + (filtered ? "\"," : R"(","filter":false,)");
    answer += engine.load(first.decoder);
    answer += "," + resultsOf(engine, first.calls) + "}\n";
    while (writeAll(STDOUT_FILENO, answer)) {
        line = lines.next();
        if (!line)
            return DONE;
        answer = "{" + resultsOf(engine, furtherRequest(*line)) + "}\n";
    }
    return CANNOT_WRITE;
}

int guarded() {
    try {
        return serve();
    } catch (const BadRequest& error) {
        writeAll(STDERR_FILENO, std::string("codec-runner-duktape: ") + error.what() + "\n");
        return BAD_REQUEST;
    } catch (const std::bad_alloc&) {
        return OUT_OF_MEMORY;
    }
}

} // namespace

// Ends without clean-up, which would need system calls that are no longer allowed.
int main() {
    restrictProcess();
    _exit(guarded());
}
