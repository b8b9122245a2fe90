#pragma once

#include <scada/export.h>

#include <string>

namespace Kelvra {
namespace SCADA {

/// Installs users' definitions into the custom storage through the staging directory, and removes custom definitions.
/// Has no state; reads its directories from Env on every call. Installations and removals share one staging directory:
/// the host program must run them one at a time. Logs nothing. Every `err` may be null. Only the return value indicates
/// success: a successful installation may leave a text in `*err`. Registries keep the definitions that they have
/// cached.
class SCADA_EXPORT DefinitionsDeployment {
public:
    /// Installs all definitions of `srcDir`, or none if any of them fails the checks. Each name must start with
    /// "lora/", and each definition needs a decoder inside the source. Without `allowOverwrite`, the installation is
    /// also refused if one of the definitions is already installed and readable.
    /// On success returns true, also for a source without definitions. On failure returns false with the reason in
    /// `*err`. If the import itself fails, the definitions imported before the failure stay.
    /// The staging directory is emptied before and after the installation, also when an exception passes through, but
    /// not if it or the source is refused. Exceptions of the JSON library pass through (Json::RuntimeError, for a
    /// definition nested beyond the reader's limit).
    /// Do not pass a source inside the staging directory. A source that is the staging directory is refused, but the
    /// two paths are compared as text: a source inside it, or the directory itself with a "/" at its end, under another
    /// spelling or through a link, is not detected. Emptying the staging directory then erases the source, and the
    /// result is true, as for a source without definitions.
    /// REQUIRES: a custom directory that is not empty, because "" is treated as "/"; a staging path that satisfies
    /// FsNode::ensureCleanDir; no definitions with a leading dot in the staging directory, which would be installed
    /// too.
    bool deploy(const std::string& srcDir, bool allowOverwrite, std::string* err) const;

    /// Does the installation itself; deploy() calls it between the two emptyings of the staging directory.
    /// REQUIRES: the staging directory exists and is empty.
    bool deploy_impl(const std::string& srcDir, bool allowOverwrite, std::string* err) const;

    /// Removes one custom definition, as DefinitionsStorage::deleteOne does. The same exceptions pass through.
    bool deleteOne(const std::string& name, std::string* err) const;

    /// Empties the custom storage. Returns true even if that fails; never writes `*err`.
    bool deleteAll(std::string* err) const;
};

} // namespace SCADA
} // namespace Kelvra
