#pragma once

#include <sys/types.h>

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Test {

/// A change below a directory by the tool, or by a program that it started. A trace has its fields in this order, each
/// ended by a zero byte, and then the bytes of the content after their number: whether the tool had given an answer,
/// the kind, and then, for "entry" a path, mode, owner and group; for "rename", "exchange" and "link" two paths; for
/// "remove", "sync" and "syncfs" one path.
struct Change {
    bool hasSaid = false; ///< whether the tool had begun its answer
    std::string kind;
    std::string path; ///< relative to the directory
    std::string other;
    mode_t mode = 0;
    uid_t owner = 0;
    gid_t group = 0;
    std::string content; ///< of a file, or the target of a link
};

/// Throws std::runtime_error if the file is not a trace.
std::vector<Change> readTrace(const std::string& file, const std::string& directory);

/// The fate of data that had not been synced at the power cut.
enum class Unsynced { LOST, KEPT, HALF, ZEROED };

/// A model of a disk's content below a directory: changes of names and attributes reach it in their order, data only
/// when they have been synced.
class ModelOfDisk {
public:
    /// Starts with the present content of the directory, all of it synced.
    explicit ModelOfDisk(const std::string& directory);

    /// Throws std::runtime_error if the change is impossible.
    void apply(const Change& one);

    /// Gives the directory the content found after a power cut at this point.
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
