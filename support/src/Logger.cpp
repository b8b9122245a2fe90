#include <kelvra/Logger.h>
#include <kelvra/LoggerControl.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <mutex>
#include <string>

#include <unistd.h>

namespace Kelvra::Logger {

namespace {

constexpr int WARNING = 1;
const char HEX_DIGITS[] = "0123456789abcdef";

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

void appendEscaped(std::string& line, const std::string& text) {
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '\n')
            line += "\\n";
        else if (c == '\r')
            line += "\\r";
        else if (c == '\t')
            line += "\\t";
        else if (byte < 0x20 || byte == 0x7f)
            (line += "\\x") += {HEX_DIGITS[byte >> 4U], HEX_DIGITS[byte & 0xfU]};
        else
            line += c;
    }
}

/// One write per line keeps the lines of other processes apart; the lock keeps those of our threads apart even where
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
