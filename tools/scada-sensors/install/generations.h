#pragma once

#include "device/GenerationPaths.h"
#include "device/InstalledFiles.h"
#include "device/history.h"
#include "install/PrivateDirectory.h"

#include <functional>
#include <map>
#include <memory>
#include <string>

namespace Kelvra::SCADA::Tool {

// An operation makes the next generation of the custom storage beside the present one and puts it in its place in one
// step. If that step is not possible, it saves the present state and writes in place. All these functions require the
// lock and throw std::runtime_error on failure.

/// The state that an interrupted operation has left.
enum class Leftovers {
    NONE,
    DISCARDED,   ///< it had changed nothing; its files are removed
    FINISHED,    ///< its generation is in place; the former one is now the previous one
    INTERRUPTED, ///< it was writing in place: recoverBack() or recoverForward() is needed; nothing has been done
};

/// Completes an operation that was killed, or removes its leftovers.
Leftovers settle(const GenerationPaths& paths);

/// Brings the custom storage back to the state before the interrupted operation.
void recoverBack(const GenerationPaths& paths);

/// Completes the interrupted operation. Returns why the history could not be written, or nothing.
std::string recoverForward(const GenerationPaths& paths);

/// Whether the custom storage contains nothing that belongs to a generation.
bool isEmpty(const GenerationPaths& paths);

/// Remembers anew what the custom definitions hide that are installed again without a change, given by name and files.
/// Does nothing after an interrupted operation. Returns why the history could not be written, or nothing.
std::string renewDefaults(const std::map<std::string, InstalledFiles>& definitions);

/// The generation that an operation makes. While it lives, Env names it as the custom storage, so that the library
/// works on it. Unless it is put in place, it is removed at the end of this object's life.
class NextGeneration {
public:
    /// Its initial content.
    enum class Start {
        COPY, ///< everything in the custom storage
        EMPTY ///< nothing
    };
    explicit NextGeneration(Start start = Start::COPY);
    /// Makes a copy of another generation.
    explicit NextGeneration(const std::string& source);
    ~NextGeneration();
    NextGeneration(const NextGeneration&) = delete;
    NextGeneration& operator=(const NextGeneration&) = delete;

    /// Removes the files of a definition from the copy before they are written anew, because the present generation has
    /// the same files.
    void makeRoomFor(const std::string& name) const;

    /// Keeps the default definition that a definition of this generation hides, so that a later one can be compared
    /// with it. Returns its hash; nothing if it cannot be read.
    std::string keepDefault(const std::string& name, const InstalledFiles& installed) const;

    /// Puts the generation in the place of the custom storage. Calls `begin` before the first change. If this function
    /// throws, nothing has been changed unless isInterrupted(). Returns why the history could not be written, or
    /// nothing.
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
