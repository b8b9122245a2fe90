#pragma once

#include "device/GenerationPaths.h"
#include "device/History.h"
#include "device/InstalledFiles.h"
#include "install/PrivateDirectory.h"

#include <functional>
#include <memory>
#include <string>

namespace Kelvra::SCADA::Tool {

// An operation makes the next generation of the custom storage beside the present one and puts it in its place in one
// step. Where that step is not possible it saves the present state and writes in place. All this requires the lock and
// throws std::runtime_error when it cannot be done.

/// What was found of an operation that was ended before its end.
enum class Leftovers {
    NONE,
    DISCARDED,   ///< it had changed nothing; what it had made is removed
    FINISHED,    ///< its generation is in place; the former one is the previous one now
    INTERRUPTED, ///< it was writing in place: recoverBack() or recoverForward() is needed, nothing has been done
};

/// Brings an operation that was killed to its end, or removes what it has left.
Leftovers settle(const GenerationPaths& paths);

/// Brings the custom storage back to the state before the interrupted operation.
void recoverBack(const GenerationPaths& paths);

/// Completes the interrupted operation. Returns why the history could not be written, or nothing.
std::string recoverForward(const GenerationPaths& paths);

/// Whether the custom storage has nothing that belongs to a generation.
bool isEmpty(const GenerationPaths& paths);

/// The generation that an operation makes. While it lives, Env names it as the custom storage, so that the library
/// works on it. Unless it is put in place, it is removed at the end of this object's life.
class NextGeneration {
public:
    /// What it has at first.
    enum class Start {
        COPY, ///< all that the custom storage has
        EMPTY ///< nothing
    };
    explicit NextGeneration(Start start = Start::COPY);
    /// Makes a copy of another generation.
    explicit NextGeneration(const std::string& source);
    ~NextGeneration();
    NextGeneration(const NextGeneration&) = delete;
    NextGeneration& operator=(const NextGeneration&) = delete;

    /// Takes the files of a definition out of the copy, so that they can be written: they are those of the present
    /// generation, too.
    void makeRoomFor(const std::string& name) const;

    /// Keeps the default definition that a definition of this generation hides, so that a later one can be compared
    /// with it. Returns its hash; nothing when it cannot be read.
    std::string keepDefault(const std::string& name, const InstalledFiles& installed) const;

    /// Puts the generation in the place of the custom storage. Calls `begin` before the first change. When it throws,
    /// nothing has been changed unless isInterrupted(). Returns why the history could not be written, or nothing.
    std::string putInPlace(const HistoryEntry& entry, const std::function<void()>& begin);

private:
    NextGeneration(const std::string& source, Start start);
    void restoreEnv() const;

    GenerationPaths places;
    std::string configured;
    std::unique_ptr<PrivateDirectory>
        work;         ///< with a new name, so that a program of a killed operation cannot reach it
    std::string tree; ///< the generation in it
};

} // namespace Kelvra::SCADA::Tool
