#pragma once

#include <scada/DefinitionSpec.h>
#include <scada/export.h>

#include <set>
#include <string>

namespace Kelvra {
namespace SCADA {

/// One storage directory: a definition named first/second/stem is its file DIR/first/second/stem.json.
/// An aggregate made on the spot for each operation, as in DefinitionsStorage{directory}; it caches and logs nothing.
/// Reading from several threads is safe; writers of one directory must be kept apart by the host program.
/// Every `error` may be null; texts are cut at 255 bytes and replace the previous content.
struct SCADA_EXPORT DefinitionsStorage {
    std::string dir; ///< the storage directory, used as given

    static const std::string JSON_PROPERTIES_SECTION; ///< "properties"
    static const std::string JSON_DECODER_SECTION;    ///< "decoder"

    /// Adds the name of every listed definition to `*names`, which is not cleared: regular files exactly two directory
    /// levels down that end in ".json". Symbolic links are neither descended nor listed. What cannot be read
    /// contributes nothing. REQUIRES: `names` is not null.
    void findNames(std::set<std::string>* names);

    /// Reads and checks the definition `name`; any path below the storage can be read, listed or not. On success
    /// returns true and fills `*spec` (unless null). On failure returns false and puts the reason into `*error`;
    /// `*spec` is then empty, except that a document whose only fault is a missing "properties" object stays in it
    /// with its decoder path. Exceptions of the JSON library (nesting beyond its limit) pass through.
    bool getSpec(const std::string& name, DefinitionSpec* spec, std::string* error);
};

} // namespace SCADA
} // namespace Kelvra
