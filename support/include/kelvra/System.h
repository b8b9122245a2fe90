#pragma once

#include <string>
#include <vector>

namespace Kelvra {
/// How the library runs programs.
namespace System {

/// Runs a command line through the shell, wildcards expanded, and returns after it has ended, with what it printed in
/// `output`. Any thread may call.
int cmd(const std::string& commandLine, std::string& output);

/// Runs a program, found by PATH, with these arguments and no shell, and returns after it has ended, with what it
/// printed in `output`. Any thread may call.
int execute(const std::string& program, const std::vector<std::string>& arguments, std::string& output);

} // namespace System
} // namespace Kelvra
