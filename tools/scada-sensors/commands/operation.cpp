#include "commands/operation.h"

#include "answer/printable.h"
#include "commands/finding_text.h"
#include "device/GenerationPaths.h"
#include "install/OperationLock.h"
#include "install/copy_blockers.h"
#include "install/safe_directories.h"
#include "text/filled.h"

#include <exception>
#include <new>
#include <utility>

namespace Kelvra::SCADA::Tool {

namespace {

std::string adviceFor(const GenerationPaths& paths) {
    if (isInterrupted(paths))
        return filled("the custom storage is neither in the old nor in the new state; run: scada-sensors recover");
    if (isUnfinished(paths))
        return filled("the new state is in place; to finish the operation, run: scada-sensors recover");
    return filled("nothing has been changed");
}

} // namespace

std::optional<ExitCode> refuseUnsafe(const Answer& answer) {
    const Findings unsafe = unsafeDirectories(nullptr);
    if (unsafe.empty())
        return std::nullopt;
    return failedFor(unsafe, ExitCode::REFUSED, answer, Json::Value(), "");
}

std::optional<ExitCode> refuseUncopiable(const std::vector<std::string>& copied, const Answer& answer) {
    Findings findings;
    for (const std::string& directory : copied)
        append(copyBlockers(directory), &findings);
    if (findings.empty())
        return std::nullopt;
    return failedFor(findings, ExitCode::REFUSED, answer, Json::Value(), "");
}

ExitCode withLock(const Answer& answer, const std::function<ExitCode()>& work) {
    const OperationLock lock;
    if (!lock.failure().empty())
        return answer.failed(lock.isBusy() ? ExitCode::BUSY : ExitCode::FAILED, lock.failure());
    try {
        return work();
    } catch (const std::bad_alloc&) {
        throw; // said as everywhere else
    } catch (const std::exception& e) {
        return failedOperation(e.what(), Json::Value(), "", answer);
    }
}

ExitCode failedOperation(const std::string& error, Json::Value result, const std::string& text, const Answer& answer) {
    const std::string advice = adviceFor(GenerationPaths::ofDevice());
    result["advice"] = advice;
    return answer.failedWith(ExitCode::FAILED, error, "scada-sensors: " + printable(error) + "\n    " + advice + "\n",
                             result, text);
}

ExitCode answerInterrupted(const Answer& answer) {
    return answer.failed(ExitCode::REFUSED, filled("an operation was interrupted; run: scada-sensors recover"));
}

} // namespace Kelvra::SCADA::Tool
