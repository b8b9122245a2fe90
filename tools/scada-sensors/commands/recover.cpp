#include "commands/Command.h"
#include "commands/apart.h"
#include "commands/operation.h"
#include "install/generations.h"
#include "text/filled.h"

#include <CLI/CLI.hpp>

#include <memory>
#include <optional>
#include <string>

namespace Kelvra::SCADA::Tool {

namespace {

ExitCode answerDone(const char* word, const std::string& text, const SignalGuard& guard, const Answer& answer) {
    Json::Value result(Json::objectValue);
    result["recovery"] = word;
    tellSignal(guard, answer, &result);
    return answer.done(result, text + "\n");
}

ExitCode answerNothing(const SignalGuard& guard, const Answer& answer) {
    return answerDone("nothing", filled("nothing to recover"), guard, answer);
}

ExitCode recoverInterrupted(const GenerationPaths& paths, bool forward, const SignalGuard& guard,
                            const Answer& answer) {
    if (!forward) {
        recoverBack(paths);
        return answerDone("back", filled("the interrupted operation has been undone"), guard, answer);
    }
    const std::string note = recoverForward(paths);
    if (!note.empty())
        answer.note(note);
    return answerDone("forward", filled("the interrupted operation has been completed"), guard, answer);
}

ExitCode recoverLocked(bool forward, SignalGuard& guard, const Answer& answer) {
    const GenerationPaths paths = GenerationPaths::ofDevice();
    guard.begin();
    switch (settle(paths)) {
    case Leftovers::INTERRUPTED:
        return recoverInterrupted(paths, forward, guard, answer);
    case Leftovers::FINISHED:
        return answerDone("finished", filled("an operation had put its state in place and has been finished"), guard,
                          answer);
    case Leftovers::DISCARDED:
        return answerDone("discarded", filled("an operation had changed nothing; what it left has been removed"), guard,
                          answer);
    case Leftovers::NONE:
        break;
    }
    return answerNothing(guard, answer);
}

// The lock would create files, and directories above them, at any path.
ExitCode recover(bool forward, SignalGuard& guard, const Answer& answer) {
    if (const std::optional<ExitCode> refused = refuseUnsafe(answer))
        return *refused;
    if (isAbsent(GenerationPaths::ofDevice()))
        return answerNothing(guard, answer);
    return withLock(answer, [&] { return recoverLocked(forward, guard, answer); });
}

} // namespace

Run declareRecover(CLI::App& app) {
    const auto forward = std::make_shared<bool>(false);
    app.add_flag("--forward", *forward, "Complete the interrupted operation instead of undoing it");
    return [forward](const Answer& answer) {
        return runApart(answer, [&](SignalGuard& guard) { return recover(*forward, guard, answer); });
    };
}

} // namespace Kelvra::SCADA::Tool
