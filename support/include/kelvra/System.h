#pragma once

#include <string>
#include <vector>

namespace Kelvra {
/// The functions by which the library runs programs.
namespace System {

/// Runs a command line through the shell, which expands wildcards, and returns when it has ended. `output` is what it
/// printed. Any thread may call.
int cmd(const std::string& commandLine, std::string& output);

/// Runs a program, found by PATH, with these arguments and without a shell, and returns when it has ended. `output` is
/// what it printed. Any thread may call.
int execute(const std::string& program, const std::vector<std::string>& arguments, std::string& output);

} // namespace System
} // namespace Kelvra
