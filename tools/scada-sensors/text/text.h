#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Kelvra::SCADA::Tool {

/// Returns "1 fault", "2 faults" and so on.
std::string counted(std::size_t count, const std::string& noun);

/// Returns the start of a text, at most so many bytes. Does not cut a letter apart.
std::string shortened(const std::string& text, std::size_t longest);

/// Returns a word as it is typed in a shell, in quotes if it needs them.
std::string shellWord(const std::string& word);

bool startsWith(std::string_view text, std::string_view prefix);
bool endsWith(std::string_view text, std::string_view suffix);

} // namespace Kelvra::SCADA::Tool
