#ifndef TOOLS_PROGRAM_TEXTOUTPUT_H
#define TOOLS_PROGRAM_TEXTOUTPUT_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "tools/program/Failure.h"
#include "tools/program/Output.h"
#include "tools/program/Subcommand.h"

namespace CLI {
class App;
}

namespace marrowfin {

// The flags -o and --force of a text, which is printed unless a file is given.
void AddTextOutput(CLI::App& app, std::optional<std::string>& output, bool& force);

// Refuses, with EXIT_USAGE, an output that is one of the traces that are read, or stands beside
// one, and one that is there already unless it was forced.
[[nodiscard]] MaybeFailure CheckTextOutput(const std::optional<std::string>& output, bool force,
                                           const std::vector<std::string>& traces);

// Where a long text goes that is made piece by piece: standard output, or a file that is there
// whole or not at all.
class TextOutput {
 public:
  // `console` outlives it.
  explicit TextOutput(const Console& console) : console(console) {}

  // Begins the file, or the text on standard output where no path is given.
  [[nodiscard]] MaybeFailure Open(const std::optional<std::string>& path);

  // To which the text is appended.
  std::string& Text() { return text; }

  // To be called now and then; writes what has come where that is a piece worth writing.
  [[nodiscard]] MaybeFailure Pass() { return text.size() < PIECE ? std::nullopt : Write(); }
  [[nodiscard]] MaybeFailure Write();

  // False where standard output takes nothing more; the program says so at its end.
  bool IsTaken() const;

  // Writes the rest, and ends the file.
  [[nodiscard]] MaybeFailure Commit();

 private:
  static constexpr size_t PIECE = 1 << 16;

  const Console& console;
  std::optional<Output> file;
  std::string text;
};

}  // namespace marrowfin

#endif
