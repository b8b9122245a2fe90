#include "answer/Answer.h"
#include "commands/CommandLine.h"

#include <fcntl.h>
#include <unistd.h>

#include <exception>

using namespace Kelvra::SCADA::Tool;

namespace {

// A descriptor that is closed at the start would become the first file or socket that is opened, and messages would
// go there. Reading what is open for writing fails, and the other way round: nothing is taken for done.
void openStandardDescriptors() {
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(descriptor, F_GETFD) < 0)
            open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
}

} // namespace

int main(int argc, char** argv) {
    openStandardDescriptors();
    try {
        return static_cast<int>(CommandLine().run(argc, argv));
    } catch (const std::exception& e) {
        writeMessage(e.what());
        return static_cast<int>(ExitCode::FAILED);
    }
}
