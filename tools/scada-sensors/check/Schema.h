#pragma once

#include "check/rules.h"

#include <json/value.h>

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// A place in a document that does not fit its schema.
struct SchemaFault {
    std::vector<std::string> path; ///< the names and indices that lead to the value
    const Rule* rule;
    std::string text;
};

/// A JSON Schema of the kind that we write: it knows the keywords of our schemas and no others, and a reference leads
/// to "#/$defs/NAME". Its judgement takes time in proportion to the document.
class Schema {
public:
    /// Throws std::logic_error if it does not understand the whole schema.
    explicit Schema(const std::string& text);
    ~Schema();
    Schema(const Schema&) = delete;
    Schema& operator=(const Schema&) = delete;

    /// Returns the places that do not fit, at most so many. One member of the document can be left out.
    std::vector<SchemaFault> faultsOf(const Json::Value& document, std::size_t most,
                                      const std::string& without = "") const;

    class Pattern;
    struct Node;

private:
    std::map<std::string, std::unique_ptr<Node>> definitions;
    std::unique_ptr<Node> root;
};

} // namespace Kelvra::SCADA::Tool
