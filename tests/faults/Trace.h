#pragma once

#include <sys/types.h>

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Test {

/// A change that the tool, or a program that it has started, has made below a directory. In a trace it has its fields
/// in this order, each ended by a zero byte, and the bytes of the content behind their number: whether anything had
/// been said, the kind, and then, for "entry" a path, mode, owner and group; for "rename", "exchange" and "link" two
/// paths; for "remove", "sync" and "syncfs" one.
struct Change {
    bool hasSaid = false; ///< whether the tool had begun with its answer
    std::string kind;
    std::string path; ///< relative to the directory
    std::string other;
    mode_t mode = 0;
    uid_t owner = 0;
    gid_t group = 0;
    std::string content; ///< of a file, or the target of a link
};

/// Throws std::runtime_error when the file is no trace.
std::vector<Change> readTrace(const std::string& file, const std::string& directory);

/// What has become of data that had not been synced when the power was cut.
enum class Unsynced { LOST, KEPT, HALF, ZEROED };

/// A model of what a disk has below a directory: changes of names and attributes come to it in their order, data only
/// when they have been synced.
class ModelOfDisk {
public:
    /// As the directory is now, all of it synced.
    explicit ModelOfDisk(const std::string& directory);

    /// Throws std::runtime_error when the change cannot be made.
    void apply(const Change& change);

    /// Makes the directory what is found after a power cut at this point.
    void layAfterCut(const std::string& directory, Unsynced unsynced) const;

private:
    struct Node;
    using NodePointer = std::shared_ptr<Node>;
    struct Node {
        mode_t mode = 0;
        uid_t owner = 0;
        gid_t group = 0;
        std::string content;
        bool isSynced = true;
        std::map<std::string, NodePointer> entries;
    };
    using Laid = std::map<const Node*, std::string>;

    static NodePointer read(const std::string& path, std::map<ino_t, NodePointer>* seen);
    static void lay(const Node& node, const std::string& path, Unsynced unsynced, Laid* laid);
    static void syncAll(Node* node);

    NodePointer& slot(const std::string& path);
    void change(const Change& change);

    NodePointer root;
};

} // namespace Kelvra::SCADA::Test
