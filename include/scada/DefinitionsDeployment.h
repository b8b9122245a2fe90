#pragma once

#include <scada/export.h>

#include <string>

namespace Kelvra {
namespace SCADA {

/// Installs users' definitions into the custom storage through the staging directory, and removes custom definitions.
/// Holds nothing; reads its directories from Env on every call. All installations and removals share one staging
/// directory: the host program runs them one at a time. Logs nothing. Every `err` may be null; the result alone tells
/// success, for a successful installation may leave a text behind. Registries keep what they have cached.
class SCADA_EXPORT DefinitionsDeployment {
public:
    /// Installs all definitions of `srcDir`, each under "lora/" with a decoder inside the source; when one fails the
    /// checks, none. Without `allowOverwrite`, definitions that are installed already and can be read are refused. On
    /// success returns true, also for a source without definitions. On failure returns false with the reason in `*err`;
    /// what was imported before a failure of the import itself stays. The staging directory is emptied before and, also
    /// when an exception passes through, afterwards, unless it or the source is refused. Exceptions of the JSON library
    /// (Json::RuntimeError, on a definition nested beyond the reader's limit) pass through.
    /// The source is compared with the staging path as a text, and only without a "/" at its end: a source that lies in
    /// the staging directory, or is that directory under another spelling or through a link, is erased by the emptying;
    /// the result is then true, as for a source without definitions.
    /// REQUIRES: a custom directory that is not empty, since "" is taken for "/"; a staging path as
    /// FsNode::ensureCleanDir demands it, and no definitions with a leading dot there, which would be installed too.
    bool deploy(const std::string& srcDir, bool allowOverwrite, std::string* err) const;

    /// The body of an installation, between the two emptyings of the staging directory.
    /// REQUIRES: the staging directory exists and is empty.
    bool deploy_impl(const std::string& srcDir, bool allowOverwrite, std::string* err) const;

    /// Removes one custom definition, as DefinitionsStorage::deleteOne does; the same exceptions pass through.
    bool deleteOne(const std::string& name, std::string* err) const;

    /// Empties the custom storage. Returns true even when that fails; `err` is never written.
    bool deleteAll(std::string* err) const;
};

} // namespace SCADA
} // namespace Kelvra
