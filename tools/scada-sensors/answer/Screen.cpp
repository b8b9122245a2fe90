#include "answer/Screen.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>

namespace Kelvra::SCADA::Tool {

namespace {

constexpr const char* BOLD = "\x1b[1m";
constexpr const char* RED = "\x1b[31m";
constexpr const char* YELLOW = "\x1b[33m";
constexpr const char* CYAN = "\x1b[36m";
constexpr const char* PLAIN = "\x1b[0m";

std::string variable(const char* name) {
    const char* value = std::getenv(name); // NOLINT(concurrency-mt-unsafe)
    return value == nullptr ? "" : value;
}

bool areColoursWanted() {
    const std::string terminal = variable("TERM");
    // Counts even if it is empty: a user who sets it does not want colours.
    const bool refused = std::getenv("NO_COLOR") != nullptr; // NOLINT(concurrency-mt-unsafe)
    return !refused && !terminal.empty() && terminal != "dumb";
}

const char* colourOf(const std::string& word) {
    if (word == "error" || word == "fault")
        return RED;
    if (word == "warning")
        return YELLOW;
    return word == "note" ? CYAN : nullptr;
}

} // namespace

std::string Screen::heading(const std::string& text) const {
    return hasColours ? BOLD + text + PLAIN : text;
}

std::string Screen::mark(const std::string& word) const {
    const char* colour = hasColours ? colourOf(word) : nullptr;
    return colour == nullptr ? word : colour + word + PLAIN;
}

Screen standardOutput() {
    Screen screen;
    if (isatty(STDOUT_FILENO) == 0)
        return screen;
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0)
        screen.width = size.ws_col;
    screen.hasColours = areColoursWanted();
    return screen;
}

} // namespace Kelvra::SCADA::Tool
