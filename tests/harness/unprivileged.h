#pragma once

#include <functional>
#include <string>

namespace Kelvra::SCADA::Test {

/// Runs `body` in a child process to which file permissions apply, because it is not root. `tree` and its content are
/// given to that user. Returns whether `body` returned true; the child's messages go to stderr.
bool runUnprivileged(const std::string& tree, const std::function<bool()>& body);

} // namespace Kelvra::SCADA::Test
