#include "device/DefinitionDirectory.h"

#include "device/image.h"
#include "device/paths.h"
#include "text/Descriptor.h"
#include "text/filled.h"
#include "text/json_file.h"
#include "text/remove_tree.h"

#include <kelvra/Text.h>
#include <scada/DefinitionsStorage.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace Kelvra::SCADA::Tool {

namespace {

namespace fs = std::filesystem;

Definition judged(const std::string& dir, const std::string& name) {
    Definition definition;
    definition.name = name;
    definition.file = definitionFile(dir, name);
    DefinitionSpec spec;
    try {
        definition.verdict.valid = DefinitionsStorage{dir}.getSpec(name, &spec, &definition.verdict.state);
    } catch (const Json::Exception& e) {
        definition.verdict.abandoned = true;
        definition.verdict.state = e.what();
    }
    if (definition.verdict.valid)
        definition.verdict.state = "ok";
    definition.verdict.decoderPath = std::move(spec.decoderPath);
    definition.document = std::move(spec.json);
    return definition;
}

// Returns the path of the decoder that a definition names, whether it exists or not; nothing if it names none.
std::string namedDecoder(const Definition& definition) {
    if (definition.verdict.valid || !definition.verdict.decoderPath.empty())
        return definition.verdict.decoderPath;
    const JsonFile json(definition.file);
    if (!json.root().isObject())
        return "";
    const Json::Value& member = json.root()[DefinitionsStorage::JSON_DECODER_SECTION];
    const std::string decoder = member.isString() ? Text::trim(member.asString()) : "";
    const bool isNamed = !decoder.empty() && decoder.find("../") == std::string::npos;
    return isNamed ? fs::path(definition.file).parent_path().string() + "/" + decoder : "";
}

/// A temporary directory.
class Stand {
public:
    Stand() {
        dir = fs::temp_directory_path().string() + "/scada-image-XXXXXX";
        if (mkdtemp(dir.data()) == nullptr)
            throw std::runtime_error(
                filled("cannot make a directory in [%s]: %s", {fs::path(dir).parent_path().string(), reasonOf(errno)}));
    }
    ~Stand() { removeTree(dir); }
    Stand(const Stand&) = delete;
    Stand& operator=(const Stand&) = delete;

    const std::string& path() const { return dir; }
    void write(const std::string& relative, const std::string& text) const {
        fs::create_directories(fs::path(dir + "/" + relative).parent_path());
        std::ofstream file(dir + "/" + relative, std::ios::binary);
        file << text;
        file.close();
        if (!file.good())
            throw std::runtime_error(filled("cannot write in [%s], where definitions of an image are judged", {dir}));
    }

private:
    std::string dir;
};

// The library would follow a link to the files of this device. It therefore judges the definition in another directory,
// where the decoder is a file if the link leads to one in the image.
Definition judgedInImage(const std::string& dir, const std::string& name) {
    Definition definition = judged(dir, name);
    const std::string decoder = namedDecoder(definition);
    const std::string place = inImage(decoder);
    std::string text;
    if (decoder.empty() || place == fs::path(decoder).lexically_normal().string() ||
        !readRegularFile(definition.file, &text).empty())
        return definition;
    const Stand stand;
    stand.write(definitionFile("", name).substr(1), text);
    std::error_code error;
    if (fs::is_regular_file(fs::symlink_status(place, error)))
        stand.write(decoder.substr(dir.size() + 1), "");
    Definition shown = judged(stand.path(), name);
    shown.file = definition.file;
    if (!shown.verdict.decoderPath.empty())
        shown.verdict.decoderPath = place;
    return shown;
}

} // namespace

Definition readDefinition(const std::string& dir, const std::string& name) {
    return isImage() ? judgedInImage(dir, name) : judged(dir, name);
}

DefinitionDirectory::DefinitionDirectory(std::string path) : dir(std::move(path)) {
    // With an empty path, the root directory would be listed.
    if (!dir.empty())
        DefinitionsStorage{dir}.findNames(&listed);
}

Definition DefinitionDirectory::load(const std::string& name) {
    if (verdicts.count(name) != 0)
        throw std::logic_error("the definition [" + name + "] is read twice");
    Definition definition = readDefinition(dir, name);
    verdicts.emplace(name, definition.verdict);
    return definition;
}

const Verdict& DefinitionDirectory::verdict(const std::string& name) {
    const auto known = verdicts.find(name);
    if (known != verdicts.end())
        return known->second;
    load(name);
    return verdicts.at(name);
}

} // namespace Kelvra::SCADA::Tool
