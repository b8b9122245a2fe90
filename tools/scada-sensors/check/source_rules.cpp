#include "check/source_rules.h"

#include "check/definition_rules.h"
#include "device/paths.h"
#include "text/filled.h"
#include "text/library_texts.h"
#include "text/text.h"

#include <kelvra/Text.h>
#include <scada/DefinitionsStorage.h>
#include <scada/FsNode.h>

#include <filesystem>
#include <set>
#include <system_error>
#include <vector>

namespace Kelvra::SCADA::Tool {

namespace {

namespace fs = std::filesystem;

constexpr const char* FAMILY = "lora";
constexpr std::size_t LONGEST_FILE_NAME = 255;
constexpr std::size_t LEVELS = 3; // family, maker, file

bool isInFamily(const std::string& name) {
    return startsWith(name, std::string(FAMILY) + "/");
}

Findings checkDecoder(const SourceCopy& source, const Definition& definition, DefinitionPlaces* places) {
    const std::string& decoderPath = definition.verdict.decoderPath;
    const auto place = [&] {
        return Place{definition.file, places->json().positionOfMember(DefinitionsStorage::JSON_DECODER_SECTION)};
    };
    if (decoderPath.empty()) {
        if (!isInFamily(definition.name))
            return {};
        return {{Rules::SOURCE_NO_DECODER, place(), filled(LibraryText::DECODER_NOT_DEFINED, {definition.name})}};
    }
    Findings findings;
    if (source.leadsOutside(decoderPath))
        findings.push_back(
            {Rules::SOURCE_DECODER_OUTSIDE, place(), filled(LibraryText::DECODER_OUTSIDE_SOURCE, {definition.name})});
    const std::string oversize = source.oversize(decoderPath);
    if (!oversize.empty())
        findings.push_back({Rules::SOURCE_TOO_LARGE, {decoderPath}, oversize});
    if (decoderPath.find('\0') != std::string::npos || !isReadable(decoderPath))
        findings.push_back({Rules::SOURCE_DECODER_UNREADABLE,
                            {decoderPath},
                            filled(LibraryText::DECODER_NOT_COPIED, {definition.name})});
    return findings;
}

// An import also cuts a name at a "\", and gives the decoder a longer name than the definition's own. The definition
// names it in JSON, and a lookup trims the name that it reads there.
Findings checkName(const Definition& definition) {
    const std::string decoder = importedDecoderName(definition.name);
    const auto bad = [&definition](const std::string& text) {
        return Findings{{Rules::SOURCE_BAD_NAME, {definition.file}, text}};
    };
    if (decoder.find('\\') != std::string::npos)
        return bad(filled(LibraryText::FILE_NOT_COPIED, {definition.name}));
    if (decoder.size() > LONGEST_FILE_NAME)
        return bad(filled(LibraryText::DECODER_NOT_COPIED, {definition.name}));
    if (Text::trim(decoder) != decoder || !survivesJson(decoder))
        return bad(filled(LibraryText::NO_DECODER_FILE, {definition.name}));
    return {};
}

std::string joined(const std::set<std::string>& words, const std::string& separator) {
    std::string text;
    for (const std::string& word : words)
        text += (text.empty() ? "" : separator) + word;
    return text;
}

// Returns the directory that should have been the source, from the path of a definition in it; nothing if no component
// is the family.
std::string rightLevelFor(const fs::path& definitionPath) {
    const std::vector<fs::path> parts(definitionPath.begin(), definitionPath.end());
    if (parts.size() <= LEVELS || parts[parts.size() - LEVELS] != FAMILY)
        return "";
    return definitionPath.parent_path().parent_path().parent_path().string();
}

} // namespace

Findings checkSourceDirectory(const std::string& srcDir) {
    const FsNode::Mode mode = FsNode(srcDir).getMode();
    if (mode == FsNode::MODE_NONE)
        return {{Rules::SOURCE_MISSING, {srcDir}, filled(LibraryText::SOURCE_MISSING)}};
    std::error_code error;
    if (!fs::is_directory(srcDir, error))
        return {{Rules::SOURCE_NOT_A_DIRECTORY, {srcDir}, filled(LibraryText::SOURCE_NOT_A_DIRECTORY)}};
    return {};
}

Findings checkSourceDefinition(const SourceCopy& source, const Definition& definition, DefinitionPlaces* places) {
    Findings findings = checkDefinition(definition, places);
    if (!isInFamily(definition.name))
        findings.push_back({Rules::SOURCE_NOT_LORAWAN, {definition.file}, filled(LibraryText::LORAWAN_ONLY)});
    // Without a document, the file or its decoder is known to be faulty already.
    if (!definition.document.isNull())
        append(checkDecoder(source, definition, places), &findings);
    append(checkName(definition), &findings);
    for (Finding& finding : findings)
        finding.definition = definition.name;
    return findings;
}

Findings checkSourceLevel(const SourceCopy& source, const Findings& tree) {
    std::set<std::string> sources;
    std::string stray;
    for (const Finding& finding : tree) {
        const std::string& file = finding.place.file;
        if (finding.rule->severity == Severity::WARNING)
            stray = source.pathInSource(file);
        if (finding.rule != &Rules::TREE_WRONG_LEVEL || !endsWith(file, ".json"))
            continue;
        // A directory of an archive cannot be installed instead.
        const std::string right = source.archive ? "" : rightLevelFor(canonicalPath(source.pathInSource(file)));
        if (!right.empty())
            sources.insert("[" + right + "]");
    }
    if (stray.empty())
        return {};
    if (sources.empty())
        return {{Rules::SOURCE_WRONG_LEVEL,
                 {source.dir},
                 filled("There is no definition at lora/MAKER/MODEL.json, but [%s] looks like one.", {stray})}};
    return {{Rules::SOURCE_WRONG_LEVEL,
             {source.dir},
             filled("The definitions are at another level. Install %s instead.", {joined(sources, " or ")})}};
}

} // namespace Kelvra::SCADA::Tool
