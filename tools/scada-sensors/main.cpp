#include "answer/Answer.h"
#include "commands/CommandLine.h"
#include "device/start_up.h"
#include "text/filled.h"

#include <exception>
#include <new>

using namespace Kelvra::SCADA::Tool;

int main(int argc, char** argv) {
    openStandardDescriptors();
    ignoreWriteSignals();
    fixEnvironment();
    fixUmask();
    try {
        return static_cast<int>(CommandLine().run(argc, argv));
    } catch (const std::bad_alloc&) {
        writeMessage(filled("not enough memory"));
        return static_cast<int>(ExitCode::FAILED);
    } catch (const std::exception& e) {
        writeMessage(e.what());
        return static_cast<int>(ExitCode::FAILED);
    }
}
