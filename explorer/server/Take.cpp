#include "explorer/server/Take.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <thread>
#include <utility>

namespace marrowfin {
namespace {

// A folder of its own for what the program writes.
struct Folder {
  Folder() {
    std::error_code error;
    path = (std::filesystem::temp_directory_path(error) / "marrowfin-take-XXXXXX").string();
    made = !error && mkdtemp(path.data()) != nullptr;
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  ~Folder() {
    std::error_code ignored;
    if (made) {
      std::filesystem::remove_all(path, ignored);
    }
  }
  std::string path;
  bool made = false;
};

std::string TextOf(const std::string& file) {
  constexpr size_t MOST = 4096;
  std::string text(MOST, '\0');
  const int descriptor = open(file.c_str(), O_RDONLY | O_CLOEXEC);
  const ssize_t got = descriptor == -1 ? 0 : read(descriptor, text.data(), MOST);
  if (descriptor != -1) {
    close(descriptor);
  }
  text.resize(got > 0 ? static_cast<size_t>(got) : 0);
  return text;
}

// Starts the program; -1 where that cannot be done.
pid_t Start(const std::vector<std::string>& words, const std::string& out,
            const std::string& errors) {
  std::vector<std::string> copies = words;
  std::vector<char*> arguments;
  for (std::string& word : copies) {
    arguments.push_back(word.data());
  }
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, out.c_str(), O_WRONLY | O_CREAT, 0600);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errors.c_str(), O_WRONLY | O_CREAT,
                                   0600);
  posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);  // connections
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t usual;
  sigemptyset(&usual);
  sigaddset(&usual, SIGPIPE);
  posix_spawnattr_setsigdefault(&attributes, &usual);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
  pid_t child = -1;
  const int failed =
      posix_spawnp(&child, arguments[0], &actions, &attributes, arguments.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  return failed == 0 ? child : -1;
}

// The status with which it ended; -1 where a signal ended it.
int WaitFor(pid_t child, const std::function<bool()>& cancelled) {
  bool asked = false;
  for (;;) {
    int status = 0;
    const pid_t ended = waitpid(child, &status, WNOHANG);
    if (ended != 0) {
      return ended == child && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    if (!asked && cancelled && cancelled()) {
      asked = true;
      kill(child, SIGTERM);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

// Whether a line of CSV is of a message of that sender, and to that receiver.
bool IsOfMessage(std::string_view line, const TakeCommand& command) {
  constexpr size_t FIRST = 4;  // behind record, cycle, thread and type
  std::vector<std::string_view> fields;
  for (size_t at = 0; at <= line.size() && fields.size() < FIRST + 4;) {
    const size_t end = std::min(line.find(',', at), line.size());
    fields.push_back(line.substr(at, end - at));
    at = end + 1;
  }
  const auto isAt = [&](size_t field, const std::optional<Place>& place) {
    return !place || (fields[field] == std::to_string(place->column) &&
                      fields[field + 1] == std::to_string(place->row));
  };
  return fields.size() == FIRST + 4 && isAt(FIRST, command.from) && isAt(FIRST + 2, command.to);
}

// The line of names, and the lines of messages that are asked for.
bool KeepMessages(const std::string& from, const std::string& to, const TakeCommand& command) {
  std::ifstream in(from, std::ios::binary);
  std::ofstream out(to, std::ios::binary);
  std::string line;
  for (bool first = true; std::getline(in, line); first = false) {
    if (first || IsOfMessage(line, command)) {
      out << line << '\n';
    }
  }
  out.close();
  return out.good();
}

}  // namespace

UnnamedResult::~UnnamedResult() {
  if (descriptor != -1) {
    close(descriptor);
  }
}

int UnnamedResult::Take() { return std::exchange(descriptor, -1); }

TakeResult RunTake(const std::string& program, const TakeCommand& command,
                   const std::function<bool()>& cancelled) {
  const Folder folder;
  if (!folder.made) {
    return {nullptr, "there is no room for it in " + folder.path};
  }
  const std::string result = folder.path + "/result" + command.ending;
  const std::string errors = folder.path + "/errors";
  std::vector<std::string> words = {program};
  words.insert(words.end(), command.words.begin(), command.words.end());
  if (!command.prints) {
    words.insert(words.end(), {"-o", result});
  }
  const pid_t child = Start(words, command.prints ? result : "/dev/null", errors);
  const int status = child == -1 ? -1 : WaitFor(child, cancelled);
  const int descriptor = open(result.c_str(), O_RDONLY | O_CLOEXEC);
  struct stat made = {};
  const bool empty = descriptor == -1 || fstat(descriptor, &made) != 0 || made.st_size == 0;
  // What breaks off before all that was asked for is told, and is there.
  if (empty || (status != 0 && status != 1)) {
    if (descriptor != -1) {
      close(descriptor);
    }
    const std::string said = TextOf(errors);
    return {nullptr, child == -1 ? "there is no " + program : said.empty() ? "it was ended" : said};
  }
  const auto whole = std::make_shared<UnnamedResult>(descriptor);
  if (!command.from && !command.to) {
    return {whole, ""};
  }
  const std::string chosen = folder.path + "/chosen" + command.ending;
  return KeepMessages(result, chosen, command)
             ? TakeResult{std::make_shared<UnnamedResult>(
                              open(chosen.c_str(), O_RDONLY | O_CLOEXEC)),
                          ""}
             : TakeResult{nullptr, "there is no room for it in " + folder.path};
}

std::string TakeProgram() {
  std::error_code error;
  const std::filesystem::path own = std::filesystem::read_symlink("/proc/self/exe", error);
  const std::filesystem::path beside = own.parent_path() / "marrowfin-trace";
  return !error && std::filesystem::exists(beside, error) ? beside.string() : "marrowfin-trace";
}

}  // namespace marrowfin
