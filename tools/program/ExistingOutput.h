#ifndef TOOLS_PROGRAM_EXISTINGOUTPUT_H
#define TOOLS_PROGRAM_EXISTINGOUTPUT_H

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "tools/program/Failure.h"

namespace marrowfin {

// The flag --force, without which an output that is there stays as it is.
void AddForce(CLI::App& app, bool& force);

// Refuses, with EXIT_USAGE, an output that is a plain file already, unless it was forced. What is
// written as it comes (devices, pipes, standard output) holds nothing that could be lost.
[[nodiscard]] MaybeFailure CheckNotThere(const std::string& output, bool force);

// A trace that is to be written and what lies, or would lie, beside it. That of a trace that is
// written without a companion, or packed with it, goes: it would be taken for the new trace's own.
std::vector<std::string> FilesOfTrace(const std::string& output);

// CheckNotThere of all of them.
[[nodiscard]] MaybeFailure CheckTraceNotThere(const std::string& output, bool force);

}  // namespace marrowfin

#endif
