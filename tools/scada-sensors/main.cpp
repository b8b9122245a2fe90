#include "answer/Answer.h"
#include "commands/CommandLine.h"
#include "device/startUp.h"

#include <exception>

using namespace Kelvra::SCADA::Tool;

int main(int argc, char** argv) {
    openStandardDescriptors();
    ignoreWriteSignals();
    fixEnvironment();
    fixUmask();
    try {
        return static_cast<int>(CommandLine().run(argc, argv));
    } catch (const std::exception& e) {
        writeMessage(e.what());
        return static_cast<int>(ExitCode::FAILED);
    }
}
