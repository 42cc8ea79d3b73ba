#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
#include <string>

#include "tools/program/Completion.h"
#include "tools/program/Program.h"
#include "tools/program/Subcommands.h"
#include "tools/program/TextOutput.h"

namespace marrowfin {
namespace {

constexpr char completionFooter[] =
    "Examples:\n"
    "  marrowfin-trace completion bash -o marrowfin-trace.bash\n"
    "  marrowfin-trace completion zsh -o _marrowfin-trace\n"
    "\n"
    "The installed package has both in the folders where the shells look for them. Elsewhere, in\n"
    "~/.bashrc: source <(marrowfin-trace completion bash); for zsh, _marrowfin-trace in a folder "
    "of\n"
    "fpath.\n"
    "\n"
    "Exit status: 0 done, 2 command line refused, 3 the output cannot be written.";

struct CompletionFlags {
  std::string shell;
  std::optional<std::string> output;
  bool force = false;
};

MaybeFailure Complete(const CompletionFlags& flags, const Console& console) {
  if (MaybeFailure failure = CheckTextOutput(flags.output, flags.force, {})) {
    return failure;
  }
  TextOutput output(console);
  if (MaybeFailure failure = output.Open(flags.output)) {
    return failure;
  }
  const CompletedCommand program = CompletedProgram();
  output.Text() = flags.shell == "bash" ? BashCompletion(program) : ZshCompletion(program);
  return output.Commit();
}

Action ConfigureCompletion(CLI::App& app) {
  const auto flags = std::make_shared<CompletionFlags>();
  app.add_option("SHELL", flags->shell, "bash or zsh")
      ->required()
      ->check(CLI::IsMember({"bash", "zsh"}));
  AddTextOutput(app, flags->output, flags->force);
  return [flags](const Console& console) { return Complete(*flags, console); };
}

}  // namespace

extern const Subcommand completionSubcommand = {
    "completion", "Print what completes command lines of this program in bash or zsh",
    completionFooter, ConfigureCompletion};

}  // namespace marrowfin
