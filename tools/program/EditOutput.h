#ifndef TOOLS_PROGRAM_EDITOUTPUT_H
#define TOOLS_PROGRAM_EDITOUTPUT_H

#include <CLI/CLI.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/program/Failure.h"
#include "tools/program/NotedOutput.h"
#include "tools/program/Subcommand.h"
#include "trace/base/About.h"
#include "trace/base/ArrayShape.h"
#include "trace/edit/NewTrace.h"

namespace marrowfin {

// The flags of a subcommand that makes a trace of traces.
struct EditFlags : NotedOutputFlags {
  std::string output;
  bool json = false;

  void Declare(CLI::App& app);

  // The same but for -o, of a subcommand that makes several traces.
  void DeclareHow(CLI::App& app);
};

// Refuses an output that is one of the inputs, or lies beside one as its companion or its index,
// and one that is there unless --force is given.
[[nodiscard]] MaybeFailure CheckEditOutput(const EditFlags& flags, const std::string& output,
                                           const std::vector<std::string>& inputs);

// A trace that was made, for an account of it.
struct EditAccount {
  std::string output;
  std::vector<std::string> inputs;
  uint64_t records = 0;
  uint64_t bytes = 0;
  std::optional<uint64_t> firstCycle;  // nothing of one without records
  std::optional<uint64_t> lastCycle;
  bool companion = false;
  bool packed = false;
  std::optional<ArrayShape> shape;  // that shows it
};

// The trace that is made, and its companion: all there whole, or none of it.
class EditOutput {
 public:
  // As NotedOutput::Open.
  [[nodiscard]] MaybeFailure Open(const std::string& name, bool companion, bool pack);

  NewTrace& Made() { return *made; }

  // What there is to tell of it as far as it knows: the cycles and the array are the caller's.
  EditAccount Account(const std::vector<std::string>& inputs);

  // Ends it. `about` is what is told of the run; null where nothing is.
  [[nodiscard]] MaybeFailure Commit(const About* about);

 private:
  std::string name;
  NotedOutput output;
  std::optional<NewTrace> made;
};

// Says what was made: a line, or as JSON an object; several of them when it was several.
void TellEdited(const std::vector<EditAccount>& accounts, bool asJson, const Console& console);

}  // namespace marrowfin

#endif
