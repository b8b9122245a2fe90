#include "install/Preflight.h"

#include "check/schema_rules.h"
#include "check/source_rules.h"
#include "check/storage_rules.h"
#include "check/tree_rules.h"
#include "codec/codec_rules.h"
#include "install/copy_blockers.h"
#include "install/export_archive.h"
#include "install/free_space.h"
#include "install/import_blockers.h"
#include "install/safe_directories.h"
#include "text/digest.h"
#include "text/filled.h"
#include "text/library_texts.h"

#include <scada/Env.h>
#include <scada/SensorDefinitions.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <set>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace Kelvra::SCADA::Tool {

namespace {

// For queries, properties that are not objects do not exist.
std::vector<PropertyChange> changedProperties(const Json::Value& former, const Json::Value& planned) {
    std::vector<PropertyChange> changes;
    for (const std::string& property : former.isObject() ? former.getMemberNames() : Json::Value::Members()) {
        if (!former[property].isObject())
            continue;
        if (!planned.isMember(property) || !planned[property].isObject()) {
            changes.push_back({property, "", {}, {}});
            continue;
        }
        for (const char* member : {"type", "unit"}) {
            if (former[property][member] != planned[property][member])
                changes.push_back({property, member, former[property][member], planned[property][member]});
        }
    }
    return changes;
}

bool isSameSize(const std::string& one, const std::string& other) {
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(one, error);
    return !error && std::filesystem::file_size(other, error) == size && !error;
}

class Examination {
public:
    Examination(const InstallRequest& asked, const Intake& taken, Device& examined, const OnReplacement& told)
        : request(asked), intake(taken), device(examined), onReplacement(told), source(taken.copy().dir),
          decoders(asked.codec) {}

    Preflight run() {
        requireListing();
        Findings ofDefinitions;
        for (const std::string& name : source.names()) {
            append(examineDefinition(source.load(name)), &ofDefinitions);
            if (areTooMany(ofDefinitions))
                return ended(std::move(ofDefinitions));
        }
        append(checkInterruption(), &result.findings);
        append(space.shortage(), &result.findings);
        const bool changes = !source.names().empty() && !result.isUnchanged();
        if (changes)
            append(stagingBlockers(), &result.findings);
        append(ofDefinitions, &result.findings);
        append(decoders.missingRunner(), &result.findings);
        append(examineTree(), &result.findings);
        append(intake.unreadable(result.findings), &result.findings);
        append(examineListOfSource(), &result.findings);
        if (changes)
            append(untold(copyBlockers(Env::inst().conf().getDfnCustomDir())), &result.findings);
        if (areTooMany(result.findings))
            return ended(std::move(result.findings));
        return std::move(result);
    }

private:
    // If memory is short, the library lists too little and reports nothing. The copy has not changed meanwhile.
    void requireListing() const {
        if (DefinitionDirectory(intake.copy().dir).names() != source.names())
            throw std::runtime_error(filled("the source cannot be listed: there may not be enough memory"));
    }

    Preflight ended(Findings findings) {
        if (findings.size() > MOST_FINDINGS)
            findings.erase(findings.begin() + MOST_FINDINGS, findings.end());
        findings.push_back(tooManyFindings(intake.copy().dir));
        result.findings = std::move(findings);
        return std::move(result);
    }

    // A reason that prevents the writing of a definition is reported with that definition.
    Findings untold(Findings findings) const {
        std::set<std::string> told;
        for (const Finding& finding : result.findings)
            told.insert(finding.place.file);
        findings.erase(std::remove_if(findings.begin(), findings.end(),
                                      [&told](const Finding& one) { return told.count(one.place.file) != 0; }),
                       findings.end());
        return findings;
    }

    // A source at the wrong level explains every file that is not listed.
    Findings examineTree() {
        Findings findings = checkTree(source, intake.copy().special, MOST_FINDINGS + 1);
        if (!source.names().empty())
            return findings;
        const Findings level = checkSourceLevel(intake.copy(), findings);
        if (!level.empty())
            findings.erase(std::remove_if(findings.begin(), findings.end(),
                                          [](const Finding& one) { return one.rule->severity != Severity::ERROR; }),
                           findings.end());
        append(level, &findings);
        return findings;
    }

    // Comes after the definitions, because it asks for their verdicts.
    Findings examineListOfSource() {
        if (request.withList)
            return examineList(intake.copy(), source.names(), device.storages(), &result.list.emplace());
        if (!hasList(intake.copy()))
            return {};
        return {{Rules::SOURCE_LIST_LEFT,
                 {intake.copy().dir + "/" + EXPORTED_LIST},
                 filled("The managed-sensors list of the source is left out.")}};
    }

    Findings examineDefinition(const Definition& definition) {
        PlannedDefinition planned;
        planned.name = definition.name;
        planned.decoderPath = definition.verdict.decoderPath;
        DefinitionPlaces places(definition.file);
        Findings findings = checkSourceDefinition(intake.copy(), definition, &places);
        planned.refused = errorCount(findings) != 0;
        append(examineContent(definition, planned.refused, &places), &findings);
        const std::optional<std::string> document = documentToInstall(definition);
        if (document) {
            planned.wanted.document = digestOf(*document);
            if (!survivesImport(*document))
                findings.push_back({Rules::SOURCE_NOT_UTF8,
                                    {definition.file},
                                    filled("The members are not UTF-8 and do not survive an installation."),
                                    definition.name});
        }
        const Findings ofFormer = examineFormer(definition, &planned);
        // Definitions that are installed already are not written.
        if (planned.effect != Effect::UNCHANGED) {
            space.add(definition, document);
            append(blockers.of(definition.name), &findings);
        }
        append(ofFormer, &findings);
        planned.refused = errorCount(findings) != 0;
        result.definitions.push_back(planned);
        return findings;
    }

    // The decoder of a refused definition is not run.
    Findings examineContent(const Definition& definition, bool refused, DefinitionPlaces* places) {
        Findings findings = refused ? checkSchema(definition, ExamplesJudge::SCHEMA, places)
                                    : checkSchemaAndDecoder(definition, &decoders, places);
        for (Finding& finding : findings)
            finding.definition = definition.name;
        return findings;
    }

    // Compares it with the definition of the same name that is now in force.
    Findings examineFormer(const Definition& definition, PlannedDefinition* planned) {
        Storages& storages = device.storages();
        const std::string& name = definition.name;
        planned->hidesDefault = storages.of(STORAGE_DEFAULT).lists(name);
        if (!storages.lists(name))
            return {};
        const bool custom = storages.decidingFor(name) == STORAGE_CUSTOM;
        const Definition former = storages.directoryFor(name).load(name);
        const std::string& section = SensorDefinitions::JSON_PROPERTIES_SECTION;
        if (former.verdict.valid && definition.verdict.valid)
            planned->changes = changedProperties(former.document[section], definition.document[section]);
        planned->effect = custom ? Effect::REPLACES : Effect::HIDES;
        if (custom)
            planned->former = installedFiles(name);
        if (custom && isInstalled(planned, former.verdict))
            planned->effect = Effect::UNCHANGED;
        else if (onReplacement && !planned->refused)
            onReplacement(former, definition, intake.copy());
        return planned->effect == Effect::REPLACES ? judgeFormer(former) : Findings();
    }

    Findings judgeFormer(const Definition& former) const {
        const std::string& name = former.name;
        Findings findings;
        if (!former.verdict.valid)
            findings.push_back({Rules::INSTALL_REPLACES_BROKEN, {former.file}, former.verdict.state, name});
        else if (!request.allowOverwrite)
            findings.push_back({Rules::INSTALL_ALREADY_INSTALLED,
                                {former.file},
                                filled(LibraryText::ALREADY_INSTALLED, {name}),
                                name});
        return findings;
    }

    // Reads the source's decoder only if it may be the same: it may be very long.
    static bool isInstalled(PlannedDefinition* planned, const Verdict& former) {
        const std::string installed = installedDecoder(planned->name);
        if (!former.valid || former.decoderPath != installed || planned->wanted.document != planned->former->document ||
            !isSameSize(planned->decoderPath, installed))
            return false;
        planned->wanted.decoder = digestOfFile(planned->decoderPath);
        return planned->wanted == *planned->former;
    }

    const InstallRequest& request;
    const Intake& intake;
    Device& device;
    const OnReplacement& onReplacement;
    DefinitionDirectory source;
    CodecCheck decoders;
    SpaceNeeds space;
    ImportBlockers blockers;
    Preflight result;
};

} // namespace

const char* wordOf(Effect effect) {
    switch (effect) {
    case Effect::NEW:
        return "new";
    case Effect::REPLACES:
        return "replaces";
    case Effect::HIDES:
        return "hides";
    case Effect::UNCHANGED:
        break;
    }
    return "unchanged";
}

const char* wordsFor(Effect effect) {
    if (effect == Effect::REPLACES)
        return "replaces the custom definition";
    return effect == Effect::HIDES ? "hides the default definition" : wordOf(effect);
}

bool Preflight::isRefused() const {
    return errorCount(findings) != 0;
}

bool Preflight::isUnchanged() const {
    return !definitions.empty() && std::all_of(definitions.begin(), definitions.end(),
                                               [](const auto& planned) { return planned.effect == Effect::UNCHANGED; });
}

// Faulty directories would be the cause of everything that follows.
Findings checkDirectories(const std::string& source) {
    const bool archive = isArchive(source);
    const Findings findings = unsafeDirectories(archive ? nullptr : &source);
    return findings.empty() && !archive ? checkSourceDirectory(source) : findings;
}

Preflight examine(const InstallRequest& request, Device& device, const OnReplacement& onReplacement) {
    Preflight preflight;
    preflight.findings = checkDirectories(request.source);
    if (!preflight.findings.empty())
        return preflight;
    return examine(request, std::make_unique<Intake>(request.source, request.limits), device, onReplacement);
}

Preflight examine(const InstallRequest& request, std::unique_ptr<Intake> intake, Device& device,
                  const OnReplacement& onReplacement) {
    Preflight preflight;
    if (intake->refusals().empty())
        preflight = Examination(request, *intake, device, onReplacement).run();
    else
        preflight.findings = intake->refusals();
    // The user knows the source, not its copy.
    for (Finding& finding : preflight.findings)
        finding.place.file = intake->copy().pathInSource(finding.place.file);
    preflight.intake = std::move(intake);
    return preflight;
}

} // namespace Kelvra::SCADA::Tool
