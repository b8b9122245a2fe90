#include "directories.h"
#include "inspect.h"

#include <scada/DefinitionsStorage.h>
#include <scada/Env.h>
#include <scada/FsNode.h>

namespace Kelvra::SCADA::Tool {

namespace {

bool isLorawan(const std::string& name) {
    return name.rfind("lora/", 0) == 0;
}

// The decoder must lie inside the source, both paths resolved; the library compares them as plain prefixes. Only in the
// LoRaWAN family must there be one.
void inspectDecoder(const std::string& srcDir, const std::string& name, const Definition& definition, Faults* faults) {
    if (definition.spec.decoderPath.empty()) {
        if (isLorawan(name))
            faults->push_back(
                {definition.file, "LoRaWAN decoder is not defined for [" + name + "] sensor definition."});
        return;
    }
    std::string source;
    std::string decoder;
    if (!FsNode(srcDir).realPath(&source))
        faults->push_back({srcDir, "Bad source directory."});
    else if (!FsNode(definition.spec.decoderPath).realPath(&decoder))
        faults->push_back({definition.file, "Invalid sensor definition [" + name + "]: no decoder file found."});
    else if (decoder.rfind(source, 0) != 0)
        faults->push_back({definition.file, "Invalid sensor definition [" + name + "]: bad decoder file location."});
    if (!isReadable(definition.spec.decoderPath))
        faults->push_back({definition.spec.decoderPath,
                           "File copying error while importing decoder for the [" + name + "] definition."});
}

} // namespace

Faults inspectSourceDirectory(const std::string& srcDir) {
    const std::string& staging = Env::inst().conf().getDfnStagingDir();
    Faults faults;
    if (staging == srcDir || staging == srcDir + "/")
        faults.push_back({srcDir, "The source directory should not be the same as the staging directory."});
    const FsNode::Mode mode = FsNode(srcDir).getMode();
    if (mode == FsNode::MODE_NONE)
        faults.push_back({srcDir, "No definition files provided."});
    else if ((mode & FsNode::MODE_DIR) == 0)
        faults.push_back({srcDir, "Source directory is not provided."});
    return faults;
}

Faults inspectSourceDefinition(const std::string& srcDir, const std::string& name) {
    Faults faults = inspectDefinition(srcDir, name);
    const Definition definition = readDefinition(srcDir, name);
    if (!isLorawan(name))
        faults.push_back({definition.file, "Only LoRaWAN sensors are currently supported."});
    // Without a document the file or its decoder has been found faulty already.
    if (!definition.spec.json.isNull())
        inspectDecoder(srcDir, name, definition, &faults);
    return faults;
}

Inspection inspectSource(const std::string& srcDir) {
    Inspection inspection;
    inspection.faults = inspectSourceDirectory(srcDir);
    if ((FsNode(srcDir).getMode() & FsNode::MODE_DIR) == 0)
        return inspection;
    std::set<std::string> names;
    DefinitionsStorage{srcDir}.findNames(&names);
    inspection.definitions = names.size();
    for (const std::string& name : names) {
        const Faults faults = inspectSourceDefinition(srcDir, name);
        inspection.faults.insert(inspection.faults.end(), faults.begin(), faults.end());
    }
    const Faults unlisted = inspectTree(srcDir, names, decodersOf(srcDir, names));
    inspection.faults.insert(inspection.faults.end(), unlisted.begin(), unlisted.end());
    return inspection;
}

} // namespace Kelvra::SCADA::Tool
