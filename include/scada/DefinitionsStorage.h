#pragma once

#include <scada/DefinitionSpec.h>
#include <scada/export.h>

#include <set>
#include <string>

namespace Kelvra {
namespace SCADA {

/// One storage directory: a definition named first/second/stem is its file DIR/first/second/stem.json.
/// An aggregate made on the spot for each operation, as in DefinitionsStorage{directory}; it caches and logs nothing.
/// Any thread may call findNames and getSpec; the host program keeps writers of one directory apart.
/// Every `error` may be null; texts are cut at 255 bytes and replace the previous content.
/// With an empty `dir` getSpec finds nothing, while findNames lists, importSpec writes and deleteOne removes below "/".
struct SCADA_EXPORT DefinitionsStorage {
    std::string dir; ///< the storage directory, used as given

    static const std::string JSON_PROPERTIES_SECTION; ///< "properties"
    static const std::string JSON_DECODER_SECTION;    ///< "decoder"

    /// Adds the name of every listed definition to `*names`, which is not cleared: regular files exactly two directory
    /// levels down that end in ".json". Symbolic links are neither descended nor listed. What cannot be read
    /// contributes nothing. REQUIRES: `names` is not null.
    void findNames(std::set<std::string>* names);

    /// Reads and checks the definition `name`, listed or not. The name is put into the path as it is, "../" included:
    /// check names that come from outside first. On success returns true and fills `*spec` (unless null). On failure
    /// returns false and puts the reason into `*error`;
    /// `*spec` is then empty, except that a document whose only fault is a missing "properties" object stays in it
    /// with its decoder path. Exceptions of the JSON library (Json::RuntimeError, on nesting beyond its limit) pass
    /// through. A document nested to that limit takes about 540 KiB of the calling thread's stack, 330 KiB on 32-bit
    /// Arm. The JSON reader takes the decimal point of fractions from the C++ global locale.
    bool getSpec(const std::string& name, DefinitionSpec* spec, std::string* error);

    /// Writes a definition under `name` and copies its decoder beside it as STEM-decoder, whatever it was called, then
    /// reads both back. Here "\" separates like "/". Returns whether the definition is listed and reads back valid; an
    /// older file that could not be overwritten counts as well. On failure puts the reason into `*error`; what had been
    /// written stays. A document that is no object and comes with a decoder makes the JSON library throw; exceptions of
    /// the reading back pass through as those of getSpec.
    bool importSpec(const std::string& name, const DefinitionSpec& spec, std::string* error);

    /// Removes a listed definition, and its decoder when that lies in this storage. On failure returns false with the
    /// reason, which says so when the decoder has already gone, in `*error`. Exceptions of getSpec pass through;
    /// nothing has been removed then.
    bool deleteOne(const std::string& name, std::string* error);

    /// Empties the directory, as FsNode::ensureCleanDir does and with its requirement. Returns true even on failure.
    bool deleteAll();
};

} // namespace SCADA
} // namespace Kelvra
