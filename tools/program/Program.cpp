#include "tools/program/Program.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstring>
#include <new>
#include <ostream>
#include <stdexcept>

#include "tools/program/DescriptorBuffer.h"
#include "tools/program/OutOfMemory.h"
#include "tools/program/Report.h"
#include "tools/program/Subcommands.h"
#include "trace/base/NearestWord.h"

namespace marrowfin {
namespace {

const char programFooter[] =
    "Examples:\n"
    "  marrowfin-trace info run.trace\n"
    "  marrowfin-trace check run.trace -c 4 -d 2 -p 4\n"
    "  marrowfin-trace state run.trace --step 100\n"
    "  marrowfin-trace render run.trace --step 100 -o a.png\n"
    "  marrowfin-trace import --format tt-npe capture.json -o capture.trace\n"
    "  marrowfin-trace import --help\n"
    "\n"
    "Exit status:\n"
    "  0  all went well\n"
    "  1  an input file cannot be read, or what it holds is refused\n"
    "  2  the command line is refused; nothing was read or written\n"
    "  3  the output cannot be written, or memory ran out\n"
    "Subcommands that answer yes or no by their status say so in their own --help.";

// Made at the start: when memory has run out, nothing can be.
const Failure outOfMemory = {EXIT_SYSTEM, OUT_OF_MEMORY, OUT_OF_MEMORY_REMEDY};

// Results that nobody could read are no success.
MaybeFailure FlushResults(const Console& console) {
  console.out.flush();
  if (console.out) {
    return std::nullopt;
  }
  const auto* const bytes = dynamic_cast<const DescriptorBuffer*>(console.out.rdbuf());
  const bool isKnown = bytes != nullptr && bytes->Error() != 0;
  return Failure{EXIT_SYSTEM,
                 std::string("standard output: cannot write") +
                     (isKnown ? std::string(": ") + strerror(bytes->Error()) : ""),
                 "Send it to a place with free space; files named on the command line are done."};
}

int Run(const Action& action, const Console& console) {
  MaybeFailure failure = action(console);
  if (!failure || IsAnswerNo(failure)) {
    const MaybeFailure unread = FlushResults(console);
    failure = unread ? unread : failure;
  }
  if (IsAnswerNo(failure)) {
    return failure->code;
  }
  if (failure) {
    Report(*failure, console);
    return failure->code;
  }
  return EXIT_OK;
}

// Prints help and version where they were asked for, and what is wrong where something is.
int Refuse(const CLI::App& app, const CLI::ParseError& error, const Console& console) {
  if (app.exit(error, console.out, console.err) != 0) {
    return EXIT_USAGE;
  }
  const MaybeFailure failure = FlushResults(console);
  return failure ? failure->code : EXIT_OK;
}

// The word at `at`, which is no entry of a table and no flag.
MaybeFailure CheckWord(const std::vector<std::string>& arguments, size_t at,
                       const std::vector<const Subcommand*>& table, const char* what,
                       const std::string& lister) {
  std::vector<std::string> names;
  for (const Subcommand* entry : table) {
    names.push_back(entry->name);
  }
  if (arguments.size() <= at || arguments[at].starts_with("-") ||
      std::find(names.begin(), names.end(), arguments[at]) != names.end()) {
    return std::nullopt;
  }
  const std::string nearest = NearestWord(arguments[at], names);
  return Failure{EXIT_USAGE, arguments[at] + ": no such " + what,
                 nearest.empty() ? lister + " --help lists them." : "Is " + nearest + " meant?"};
}

// A first word that is no subcommand, or a second that is no kind of it.
MaybeFailure CheckSubcommand(const std::vector<std::string>& arguments) {
  if (MaybeFailure failure = CheckWord(arguments, 0, Subcommands(), "subcommand", PROGRAM_NAME)) {
    return failure;
  }
  for (const Subcommand* subcommand : Subcommands()) {
    if (subcommand->kinds != nullptr && !arguments.empty() && arguments[0] == subcommand->name) {
      const std::string path = std::string(PROGRAM_NAME) + " " + subcommand->name;
      return CheckWord(arguments, 1, subcommand->kinds(), subcommand->name, path);
    }
  }
  return std::nullopt;
}

// Which subcommands and kinds get their flags.
using IsWanted = std::function<bool(const std::string& name)>;

// Declares what a table lists below `app`; what is then parsed goes to `chosen`.
void Declare(CLI::App& app, const std::vector<const Subcommand*>& table, Action& chosen,
             const IsWanted& isWanted) {
  app.require_subcommand(1);
  for (const Subcommand* entry : table) {
    CLI::App* const sub = app.add_subcommand(entry->name, entry->summary);
    sub->footer(entry->footer);
    if (!isWanted(entry->name)) {
      continue;
    }
    if (entry->kinds != nullptr) {
      Declare(*sub, entry->kinds(), chosen, isWanted);
    } else {
      sub->callback([&chosen, action = entry->configure(*sub)] { chosen = action; });
    }
  }
}

constexpr char description[] = "Works on the traces that marrowfin replays.";

void DeclareProgram(CLI::App& app, Action& chosen, const IsWanted& isWanted) {
  app.footer(programFooter);
  app.set_version_flag("--version", std::string(PROGRAM_NAME) + " " MARROWFIN_VERSION);
  Declare(app, Subcommands(), chosen, isWanted);
}

// Parses and runs.
int ParseAndRun(const std::vector<std::string>& arguments, const Console& console) {
  CLI::App app(description, PROGRAM_NAME);
  Action chosen;
  if (const MaybeFailure failure = CheckSubcommand(arguments)) {
    Report(*failure, console);
    return failure->code;
  }
  // A subcommand is entered by its name alone, and the flags of all take longer to declare than
  // many a question to answer.
  DeclareProgram(app, chosen, [&](const std::string& name) {
    return std::find(arguments.begin(), arguments.end(), name) != arguments.end();
  });
  try {
    // CLI11 takes the words from the last to the first.
    app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
  } catch (const CLI::ParseError& error) {
    return Refuse(app, error, console);
  }
  return Run(chosen, console);
}

}  // namespace

CompletedCommand CompletedProgram() {
  CLI::App app(description, PROGRAM_NAME);
  Action chosen;
  DeclareProgram(app, chosen, [](const std::string&) { return true; });
  return CompletedCommandOf(app);
}

int RunProgram(const std::vector<std::string>& arguments, const Console& console) {
  try {
    return ParseAndRun(arguments, console);
  } catch (const std::bad_alloc&) {
  } catch (const std::length_error&) {
    // What containers say of a size that no memory has.
  }
  Report(outOfMemory, console);
  return outOfMemory.code;
}

}  // namespace marrowfin
