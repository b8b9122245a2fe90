#include <kelvra/Logger.h>
#include <kelvra/LoggerControl.h>

#include <terminal/Character.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <string>

#include <unistd.h>

namespace Kelvra::Logger {

namespace {

constexpr int WARNING = 1;
const char LINE_CHARACTERS[] = "\n\r\t";
const char LINE_LETTERS[] = "nrt";

std::atomic<int> currentLevel{WARNING};
std::mutex writing;

bool printableNow(int level) {
    return level >= 0 && level <= currentLevel.load(std::memory_order_relaxed);
}

__attribute__((format(printf, 1, 0))) std::string formatted(const char* format, va_list measured, va_list printed) {
    const int length = std::vsnprintf(nullptr, 0, format, measured);
    if (length < 0)
        return format;
    std::string text(static_cast<std::size_t>(length) + 1, '\0');
    static_cast<void>(std::vsnprintf(text.data(), text.size(), format, printed));
    text.pop_back();
    return text;
}

/// A message quotes foreign names and values: they must not start a line of their own or control the terminal.
void appendEscaped(std::string& line, const std::string& text) {
    for (std::size_t at = 0; at < text.size();) {
        const char* const found = std::strchr(LINE_CHARACTERS, text[at]);
        if (found == nullptr || *found == '\0') {
            at = Terminal::appendShown(line, text, at);
        } else {
            (line += '\\') += LINE_LETTERS[found - LINE_CHARACTERS];
            ++at;
        }
    }
}

/// One write per line keeps lines of several processes apart. The lock keeps the lines of our own threads apart even if
/// a pipe takes a long line in pieces.
void writeLine(const std::string& line) {
    const std::lock_guard<std::mutex> lock(writing);
    std::size_t done = 0;
    while (done < line.size()) {
        const ssize_t count = ::write(STDERR_FILENO, line.data() + done, line.size() - done);
        if (count >= 0)
            done += static_cast<std::size_t>(count);
        else if (errno != EINTR)
            return;
    }
}

} // namespace

namespace PrintLevel {
int ERROR_LEVEL = 0;
int WARNING_LEVEL = WARNING;
int DEBUG_LEVEL = 2;
int TRACE_LEVEL = 3;

const char* ERROR_LABEL = "ERROR";
const char* WARNING_LABEL = "WARNING";
const char* DEBUG_LABEL = "DEBUG";
const char* TRACE_LABEL = "TRACE";
} // namespace PrintLevel

void setLevel(int level) {
    currentLevel.store(level, std::memory_order_relaxed);
}

int getLevel() {
    return currentLevel.load(std::memory_order_relaxed);
}

bool isPrintable(int level) {
    return printableNow(level);
}

// NOLINTNEXTLINE(cert-dcl50-cpp): the signature is given
void printfGeneric(int level, const char* label, const char* format, ...) {
    if (!printableNow(level))
        return;
    const int callersError = errno;
    va_list measured;
    va_list printed;
    va_start(measured, format);
    va_start(printed, format);
    const std::string text = formatted(format, measured, printed);
    va_end(printed);
    va_end(measured);
    std::string line;
    appendEscaped(line, label != nullptr ? label : "");
    line += ": ";
    appendEscaped(line, text);
    line += '\n';
    writeLine(line);
    errno = callersError;
}

} // namespace Kelvra::Logger
