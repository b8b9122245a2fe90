#pragma once

#include "check/rules.h"
#include "text/json_file.h"

#include <json/value.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// The place of a finding.
struct Place {
    Place(std::string path, Position where = {}, std::optional<Json::ArrayIndex> ofElement = std::nullopt)
        : file(std::move(path)), position(where), element(ofElement) {}

    std::string file; ///< or a directory, or the subject of the text
    Position position;
    std::optional<Json::ArrayIndex> element; ///< its index in the managed-sensors list
};

/// A fault or a remark at one place. Its rule gives the severity and the remedy.
struct Finding {
    Finding(const Rule& itsRule, Place itsPlace, std::string itsText, std::string ofDefinition = "")
        : rule(&itsRule), place(std::move(itsPlace)), text(std::move(itsText)), definition(std::move(ofDefinition)) {}

    const Rule* rule;
    Place place;
    std::string text;
    std::string definition; ///< the definition of a source that it concerns, if any
};

using Findings = std::vector<Finding>;

/// Returns how many findings are errors.
std::size_t errorCount(const Findings& findings);

/// Returns how many findings are errors or warnings.
std::size_t faultCount(const Findings& findings);

/// The examination of a source ends after so many findings.
constexpr std::size_t MOST_FINDINGS = 1000;

/// Returns the finding that reports this.
Finding tooManyFindings(const std::string& source);

/// Whether an examination must end: a few findings may be as long as many.
bool areTooMany(const Findings& findings);

void append(const Findings& more, Findings* findings);

} // namespace Kelvra::SCADA::Tool
