#include <scada/DefinitionsDeployment.h>

#include "config/format_message.h"
#include "definitions/error_texts.h"

#include <scada/DefinitionsStorage.h>
#include <scada/Env.h>
#include <scada/FsNode.h>

#include <algorithm>
#include <iterator>
#include <list>
#include <set>

namespace Kelvra::SCADA {

namespace {

using Names = std::set<std::string>;

constexpr const char* LORA_FAMILY = "lora/";

bool startsWith(const std::string& text, const std::string& prefix) {
    return text.compare(0, prefix.size(), prefix) == 0;
}

std::string stagingDir() {
    return Env::inst().conf().getDfnStagingDir();
}

std::string customDir() {
    return Env::inst().conf().getDfnCustomDir();
}

// A place for a diagnostic build to print the sets; this one prints nothing.
void traceNames(const char* /*title*/, const Names& /*names*/) {}

Names listNames(const std::string& dir, const char* title) {
    Names names;
    DefinitionsStorage{dir}.findNames(&names);
    traceNames(title, names);
    return names;
}

Names stagedNames() {
    return listNames(stagingDir(), "Definitions in the staging directory");
}

// Compares the resolved paths as text: a decoder in a directory whose name merely begins like the source's passes.
bool isDecoderInSource(const std::string& name, const std::string& source, const std::string& decoderPath,
                       std::string* err) {
    std::string decoder;
    if (!FsNode(decoderPath).realPath(&decoder)) {
        formatMessage(err, ErrorText::NO_DECODER_FILE, name.c_str());
        return false;
    }
    if (!startsWith(decoder, source)) {
        formatMessage(err, "Invalid sensor definition [%s]: bad decoder file location.", name.c_str());
        return false;
    }
    return true;
}

bool stageOne(const std::string& srcDir, const std::string& source, const std::string& name, std::string* err) {
    DefinitionSpec spec;
    if (!DefinitionsStorage{srcDir}.getSpec(name, &spec, err))
        return false;
    if (startsWith(name, LORA_FAMILY) && spec.decoderPath.empty()) {
        formatMessage(err, "LoRaWAN decoder is not defined for [%s] sensor definition.", name.c_str());
        return false;
    }
    return isDecoderInSource(name, source, spec.decoderPath, err) &&
           DefinitionsStorage{stagingDir()}.importSpec(name, spec, err);
}

// Validates the source's definitions and copies them into the staging directory.
bool stageAll(const std::string& srcDir, const Names& names, std::string* err) {
    const auto isStray = [](const std::string& name) { return !startsWith(name, LORA_FAMILY); };
    if (std::any_of(names.begin(), names.end(), isStray)) {
        formatMessage(err, "Only LoRaWAN sensors are currently supported.");
        return false;
    }
    std::string source;
    if (!FsNode(srcDir).realPath(&source)) {
        formatMessage(err, "Bad source directory.");
        return false;
    }
    return std::all_of(names.begin(), names.end(),
                       [&](const std::string& name) { return stageOne(srcDir, source, name, err); });
}

// An installed definition that cannot be read is not a conflict; its reason still stays in `*err`.
bool hasNoConflict(std::string* err) {
    const Names custom = listNames(customDir(), "Definitions in the secondary storage");
    const Names staged = stagedNames();
    std::list<std::string> conflicts;
    std::set_intersection(custom.begin(), custom.end(), staged.begin(), staged.end(), std::back_inserter(conflicts));
    conflicts.remove_if([&](const std::string& name) {
        DefinitionSpec spec;
        return !DefinitionsStorage{customDir()}.getSpec(name, &spec, err);
    });
    if (conflicts.empty())
        return true;
    if (conflicts.size() == 1)
        formatMessage(err,
                      "Sensor definition [%s] is already installed. Please remove the custom sensor definition, or "
                      "enable \"Allow Overwrite\" to replace it.",
                      conflicts.front().c_str());
    else
        formatMessage(err,
                      "Sensor definitions [%s], [%s] are already installed. Please remove the custom sensor "
                      "definitions, or enable \"Allow Overwrite\" to replace them.",
                      conflicts.front().c_str(), std::next(conflicts.begin())->c_str());
    return false;
}

// Installs the definitions of the staging directory: each of them has already been written and read back once.
bool importStaged(std::string* err) {
    for (const std::string& name : stagedNames()) {
        DefinitionSpec spec;
        if (!DefinitionsStorage{stagingDir()}.getSpec(name, &spec, err))
            continue;
        if (!DefinitionsStorage{customDir()}.importSpec(name, spec, err))
            return false;
    }
    return true;
}

// If memory has run out, nothing more can be done; the next installation empties the directory first.
void emptyAfterException(const std::string& staging) noexcept {
    try {
        FsNode::ensureCleanDir(staging);
    } catch (...) { // NOLINT(bugprone-empty-catch)
    }
}

} // namespace

bool DefinitionsDeployment::deploy(const std::string& srcDir, bool allowOverwrite, std::string* err) const {
    const std::string staging = stagingDir();
    // One-sided: a source with a trailing "/" and a staging path without one are not recognised as the same.
    if (staging == srcDir || staging == srcDir + "/") {
        formatMessage(err, "The source directory should not be the same as the staging directory.");
        return false;
    }
    const FsNode::Mode mode = FsNode(srcDir).getMode();
    if (mode == FsNode::MODE_NONE) {
        formatMessage(err, "No definition files provided.");
        return false;
    }
    if ((mode & FsNode::MODE_DIR) == 0) {
        formatMessage(err, "Source directory is not provided.");
        return false;
    }
    try {
        if (!FsNode::ensureCleanDir(staging)) {
            formatMessage(err, "Failed to cleanup the staging directory.");
            return false;
        }
        const bool installed = deploy_impl(srcDir, allowOverwrite, err);
        FsNode::ensureCleanDir(staging);
        return installed;
    } catch (...) {
        emptyAfterException(staging);
        throw;
    }
}

// NOLINTBEGIN(readability-convert-member-functions-to-static): the signatures are given

bool DefinitionsDeployment::deploy_impl(const std::string& srcDir, bool allowOverwrite, std::string* err) const {
    const Names names = listNames(srcDir, "Definitions in the source directory");
    if (names.empty())
        return true;
    return stageAll(srcDir, names, err) && (allowOverwrite || hasNoConflict(err)) && importStaged(err);
}

bool DefinitionsDeployment::deleteOne(const std::string& name, std::string* err) const {
    return DefinitionsStorage{customDir()}.deleteOne(name, err);
}

bool DefinitionsDeployment::deleteAll(std::string* /*err*/) const {
    return DefinitionsStorage{customDir()}.deleteAll();
}

// NOLINTEND(readability-convert-member-functions-to-static)

} // namespace Kelvra::SCADA
