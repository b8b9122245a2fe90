#pragma once

#include <scada/DefinitionSpec.h>
#include <scada/export.h>

#include <set>
#include <string>

namespace Kelvra {
namespace SCADA {

/// One storage directory. The definition first/second/stem is the file DIR/first/second/stem.json.
/// An aggregate, created on the spot for each operation: DefinitionsStorage{directory}. It caches and logs nothing.
/// Any thread may call findNames and getSpec; the host program must not let two writers of one directory overlap.
/// Every `error` may be null; a text replaces the previous content and is cut at 255 bytes.
/// If `dir` is empty, getSpec finds nothing, but findNames lists, importSpec writes and deleteOne removes below "/".
struct SCADA_EXPORT DefinitionsStorage {
    std::string dir; ///< the storage directory, used as given

    static const std::string JSON_PROPERTIES_SECTION; ///< "properties"
    static const std::string JSON_DECODER_SECTION;    ///< "decoder"

    /// Adds the name of every listed definition to `*names`, without clearing it first. Listed are regular files
    /// exactly two directory levels down whose names end in ".json". Symbolic links are neither followed nor listed.
    /// Directories that cannot be read are skipped. REQUIRES: `names` is not null.
    void findNames(std::set<std::string>* names);

    /// Reads and checks the definition `name`, listed or not. The name becomes part of the path unchanged, including
    /// any "../": check names from outside before the call. On success returns true and fills `*spec` (unless null).
    /// On failure returns false and puts the reason into `*error`; `*spec` is then empty, with one exception: if the
    /// only fault is a missing "properties" object, it holds the document and its decoder path.
    /// Exceptions of the JSON library pass through (Json::RuntimeError, for nesting beyond its limit). Reading a
    /// document nested to that limit takes about 540 KiB of the calling thread's stack, 330 KiB on 32-bit Arm. The JSON
    /// reader takes the decimal point of fractions from the C++ global locale.
    bool getSpec(const std::string& name, DefinitionSpec* spec, std::string* error);

    /// Writes a definition under `name`, copies its decoder next to it as STEM-decoder, whatever its former name, and
    /// reads both back. In `name`, "\" separates like "/". Returns whether the definition is then listed and valid; an
    /// older file that could not be overwritten also counts. On failure puts the reason into `*error`; files already
    /// written stay. If the document is not an object but has a decoder, the JSON library throws. Exceptions of reading
    /// back pass through, as those of getSpec do.
    bool importSpec(const std::string& name, const DefinitionSpec& spec, std::string* error);

    /// Removes a listed definition, and its decoder if that is in this storage. On failure returns false with the
    /// reason in `*error`; the text says so if the decoder has already been removed. Exceptions of getSpec pass
    /// through; nothing has been removed then.
    bool deleteOne(const std::string& name, std::string* error);

    /// Empties the directory like FsNode::ensureCleanDir, with the same requirement. Returns true even on failure.
    bool deleteAll();
};

} // namespace SCADA
} // namespace Kelvra
