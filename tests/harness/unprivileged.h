#pragma once

#include <functional>
#include <string>

namespace Kelvra::SCADA::Test {

/// Runs `body` in a child process for which file permissions hold: one that is not root. `tree`, and what is in it, is
/// given to that user. Returns whether `body` returned true; the child's messages go to stderr.
bool runUnprivileged(const std::string& tree, const std::function<bool()>& body);

} // namespace Kelvra::SCADA::Test
