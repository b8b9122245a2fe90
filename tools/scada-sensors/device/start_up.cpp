#include "device/start_up.h"

#include "text/text.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

namespace {

constexpr const char* SEARCH_PATH = "/usr/sbin:/usr/bin:/sbin:/bin";

// Variables that shells read before or while they run a line, for every shell that may be /bin/sh.
bool isObeyedByShells(const std::string& name) {
    for (const char* obeyed : {"ENV", "BASH_ENV", "IFS", "CDPATH", "SHELLOPTS", "BASHOPTS"}) {
        if (name == obeyed)
            return true;
    }
    return startsWith(name, "BASH_FUNC_");
}

} // namespace

// A read from a descriptor that is open for writing fails, and vice versa, so that nothing seems to succeed.
void openStandardDescriptors() {
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(descriptor, F_GETFD) < 0)
            open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
}

void ignoreWriteSignals() {
    (void)std::signal(SIGPIPE, SIG_IGN);
    (void)std::signal(SIGXFSZ, SIG_IGN);
}

void fixEnvironment() {
    std::vector<std::string> obeyed;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        const std::string text = *variable;
        const std::string name = text.substr(0, text.find('='));
        if (isObeyedByShells(name))
            obeyed.push_back(name);
    }
    for (const std::string& name : obeyed)
        unsetenv(name.c_str());     // NOLINT(concurrency-mt-unsafe)
    setenv("PATH", SEARCH_PATH, 1); // NOLINT(concurrency-mt-unsafe)
}

void fixUmask() {
    umask(S_IWGRP | S_IWOTH);
}

} // namespace Kelvra::SCADA::Tool
