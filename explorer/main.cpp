#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include "explorer/server/Server.h"
#include "explorer/server/Token.h"
#include "tools/program/Completion.h"
#include "tools/program/ExitCode.h"
#include "tools/program/Failure.h"
#include "tools/program/Flags.h"
#include "tools/program/OutOfMemory.h"
#include "tools/program/ShellWord.h"
#include "tools/program/TerminalText.h"
#include "tools/program/TraceInput.h"
#include "trace/read/PositionedFile.h"

// Ahead of the constructors of static objects, which may be without memory as well.
[[gnu::constructor(101)]] static void BeforeAll() { marrowfin::EndCleanlyWithoutMemory(); }

namespace marrowfin {
namespace {

constexpr char footer[] =
    "Examples:\n"
    "  marrowfin-explorer run.trace\n"
    "  marrowfin-explorer run.trace other.trace --port 9000 --no-browser\n"
    "  ssh -L 8120:127.0.0.1:8120 machine marrowfin-explorer run.trace\n"
    "\n"
    "Prints a link and serves it until it is interrupted. The link has a token in it: whoever has\n"
    "not got it is not let in. A trace that is still being written is followed.\n"
    "\n"
    "Exit status: 0 it was asked to end, 1 a trace cannot be read, 2 command line refused,\n"
    "3 no address or no memory could be had.";

struct ExplorerFlags {
  ServerOptions server;
  ShapeFlags shape;
  std::string tokenFile;
  std::string completion;
  bool noBrowser = false;

  void Declare(CLI::App& app) {
    CLI::Option* const files =
        app.add_option("TRACE", server.files, "The traces: plain files, packed or not");
    AddCount(app, "--port", server.port, "Where to listen; if it is taken the next free one")
        ->capture_default_str();
    app.add_option("--listen", server.listen,
                   "An address instead of the loopback addresses: whoever reaches it and has the "
                   "link reads the traces");
    app.add_flag("--no-browser", noBrowser, "Open no browser");
    app.add_option("--token-file", tokenFile,
                   "Keep the token of the link in this file, so that links outlive the server");
    shape.Declare(app);
    CLI::Option* const shell =
        app.add_option("--completion", completion,
                       "Print what completes command lines of this program in bash or zsh")
            ->check(CLI::IsMember({"bash", "zsh"}));
    files->excludes(shell);
  }
};

std::string CompletionText(const CLI::App& app, const std::string& shell) {
  CompletedCommand program = CompletedCommandOf(app);
  program.maker = program.name + " --completion";
  return shell == "bash" ? BashCompletion(program) : ZshCompletion(program);
}

MaybeFailure CheckFiles(const std::vector<std::string>& files) {
  if (files.empty()) {
    return Failure{EXIT_USAGE, "no trace is named", "Name one or more: marrowfin-explorer --help"};
  }
  for (const std::string& file : files) {
    const Result<std::unique_ptr<PositionedFile>> opened = OpenPlainFile(file, PlainAccess::READ);
    if (!opened) {
      return FailureOf(opened.Why());
    }
  }
  return std::nullopt;
}

// A browser, where there is one and a screen for it. What it says is of no concern here.
void OpenBrowser(const std::string& link) {
  if (getenv("DISPLAY") == nullptr && getenv("WAYLAND_DISPLAY") == nullptr) {
    return;
  }
  std::string words[] = {"xdg-open", link};
  char* const arguments[] = {words[0].data(), words[1].data(), nullptr};
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    posix_spawn_file_actions_addopen(&actions, descriptor, "/dev/null", O_RDWR, 0);
  }
  posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);  // where it listens
  pid_t child = 0;
  const int failed = posix_spawnp(&child, words[0].c_str(), &actions, nullptr, arguments, environ);
  posix_spawn_file_actions_destroy(&actions);
  if (failed == 0) {
    std::thread([child] { waitpid(child, nullptr, 0); }).detach();
  }
}

// Connections are descriptors.
void AllowManyConnections() {
  constexpr rlim_t WANTED = 4096;
  struct rlimit limit;
  if (getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < WANTED) {
    limit.rlim_cur = limit.rlim_max < WANTED ? limit.rlim_max : WANTED;
    setrlimit(RLIMIT_NOFILE, &limit);
  }
}

// The command line once more, to be typed in a shell where this one was, without its port.
std::string RestartLine(const std::vector<std::string>& words) {
  std::string line = "marrowfin-explorer";
  for (size_t i = 0; i < words.size(); ++i) {
    if (words[i] == "--port") {
      ++i;
    } else if (!words[i].starts_with("--port=")) {
      line += " " + ShellWord(words[i]);
    }
  }
  return line;
}

MaybeFailure Explore(ExplorerFlags& flags) {
  if (MaybeFailure failure = flags.shape.Check()) {
    return failure;
  }
  if (flags.shape.Given()) {
    flags.server.shape = flags.shape.Shape();
  }
  if (MaybeFailure failure = CheckFiles(flags.server.files)) {
    return failure;
  }
  Result<std::string> token =
      flags.tokenFile.empty() ? RandomToken() : TokenInFile(flags.tokenFile);
  if (!token) {
    return FailureOf(token.Why());
  }
  flags.server.token = std::move(token).Take();
  flags.server.keepsToken = !flags.tokenFile.empty();
  AllowManyConnections();
  Result<std::unique_ptr<Server>> server = Server::Start(flags.server);
  if (!server) {
    Failure failure = FailureOf(server.Why());
    failure.code = EXIT_SYSTEM;
    return failure;
  }
  std::cout << (*server)->Link() << std::endl;
  if (!flags.noBrowser) {
    OpenBrowser((*server)->Link());
  }
  (*server)->Run();
  return std::nullopt;
}

void Report(const Failure& failure) {
  std::cerr << "marrowfin-explorer: " << LineFor(std::cerr, failure.reason) << "\n";
  if (!failure.remedy.empty()) {
    std::cerr << "  " << failure.remedy << "\n";
  }
}

int Main(int argc, char** argv) {
  CLI::App app("Shows any moment of any trace in the browser.", "marrowfin-explorer");
  ExplorerFlags flags;
  app.footer(footer);
  app.set_version_flag("--version", "marrowfin-explorer " MARROWFIN_VERSION);
  flags.Declare(app);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? EXIT_OK : EXIT_USAGE;
  }
  if (!flags.completion.empty()) {
    std::cout << CompletionText(app, flags.completion) << std::flush;
    return std::cout ? EXIT_OK : EXIT_SYSTEM;
  }
  flags.server.restart = RestartLine(std::vector<std::string>(argv + 1, argv + argc));
  if (const MaybeFailure failure = Explore(flags)) {
    Report(*failure);
    return failure->code;
  }
  return EXIT_OK;
}

}  // namespace
}  // namespace marrowfin

int main(int argc, char** argv) {
  // Whoever closes a connection, or a shell that reads the link no more, ends nothing here.
  std::signal(SIGPIPE, SIG_IGN);
  try {
    return marrowfin::Main(argc, argv);
  } catch (const std::exception& error) {
    fprintf(stderr, "marrowfin-explorer: %s\n", error.what());
    return marrowfin::EXIT_SYSTEM;
  }
}
