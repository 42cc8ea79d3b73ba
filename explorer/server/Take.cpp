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
#include <map>
#include <system_error>
#include <thread>
#include <utility>

namespace marrowfin {
namespace {

typedef std::map<std::string, std::string> Parameters;

// Names and values of a query, of few and plain letters: nothing here needs any other.
std::optional<Parameters> Split(std::string_view query) {
  constexpr size_t LONGEST = 64;
  Parameters parameters;
  while (!query.empty()) {
    const size_t end = query.find('&');
    const std::string_view pair = query.substr(0, end);
    query = end == std::string_view::npos ? std::string_view() : query.substr(end + 1);
    const size_t mark = pair.find('=');
    if (mark == std::string_view::npos || pair.size() > LONGEST) {
      return std::nullopt;
    }
    const std::string name(pair.substr(0, mark));
    if (!parameters.emplace(name, pair.substr(mark + 1)).second) {
      return std::nullopt;
    }
  }
  return parameters;
}

bool IsNumber(const std::string& text) {
  return !text.empty() && text.size() <= 20 &&
         text.find_first_not_of("0123456789") == std::string::npos;
}

// Builds a command out of parameters, each of which is used or makes it none.
class Builder {
 public:
  Builder(Parameters parameters, const std::string& file)
      : parameters(std::move(parameters)), file(file) {}

  std::optional<TakeCommand> Build() {
    Take("trace");
    const std::string what = Take("what");
    if (what == "render" || what == "film") {
      AddRender(what == "film");
    } else if (what == "plot") {
      AddPlot();
    } else if (what == "events") {
      AddEvents();
    } else if (what == "report" || what == "stats") {
      AddPage(what);
    } else {
      good = false;
    }
    AddShape();
    return good && parameters.empty() ? std::optional(command) : std::nullopt;
  }

 private:
  // A parameter, which then counts as used; empty where it is not there.
  std::string Take(const std::string& name) {
    const auto found = parameters.find(name);
    if (found == parameters.end()) {
      return "";
    }
    std::string value = std::move(found->second);
    parameters.erase(found);
    return value;
  }

  void Add(std::vector<std::string> words) {
    command.words.insert(command.words.end(), words.begin(), words.end());
  }

  void AddNumber(const std::string& name, const std::string& flag) {
    const std::string value = Take(name);
    if (!value.empty()) {
      good = good && IsNumber(value);
      Add({flag, value});
    }
  }

  // One of some words; the first of them where nothing is said.
  std::string TakeWord(const std::string& name, const std::vector<std::string>& words) {
    const std::string value = Take(name);
    if (value.empty()) {
      return words[0];
    }
    good = good && std::find(words.begin(), words.end(), value) != words.end();
    return value;
  }

  void Begin(const std::vector<std::string>& words, const std::string& type,
             const std::string& ending) {
    Add(words);
    Add({file.starts_with("-") ? "./" + file : file});  // no option of the program's
    command.type = type;
    command.ending = ending;
  }

  void AddShape() {
    AddNumber("clusters", "-c");
    AddNumber("domains", "-d");
    AddNumber("pes", "-p");
  }

  void AddCycles() {
    const std::string first = Take("first");
    const std::string last = Take("last");
    if (!first.empty() || !last.empty()) {
      good = good && IsNumber(first) && IsNumber(last);
      Add({"--cycles", first + ":" + last});
    }
  }

  void AddTheme() { Add({"--theme", TakeWord("theme", {"light", "dark", "print"})}); }

  void AddSize() {
    const std::string width = Take("width");
    const std::string height = Take("height");
    if (!width.empty() || !height.empty()) {
      good = good && IsNumber(width) && IsNumber(height);
      Add({"--size", width + "x" + height});
    }
  }

  void AddRender(bool film) {
    Begin({"render"}, film ? "video/mp4" : "image/png", film ? ".mp4" : ".png");
    const bool natural = TakeWord("reading", {"viewer", "natural"}) == "natural";
    if (natural) {
      Add({"--natural", "--theme", TakeWord("theme", {"light", "dark"})});
    }
    AddNumber("step", "--step");
    AddNumber("cycle", "--cycle");
    AddNumber("skipTo", "-F");
    if (film) {
      AddNumber("from", "--from");
      AddNumber("to", "--to");
      AddNumber("fps", "--fps");
      if (natural) {
        Add({"--cycles"});
      }
    }
    AddSize();
  }

  void AddPlot() {
    const std::string kind = TakeWord("kind", {"heat", "links", "threads", "spacetime", "timeline",
                                               "histogram", "latency", "why"});
    const std::string format = TakeWord("format", {"png", "svg", "pdf"});
    const std::string type = format == "svg"   ? "image/svg+xml"
                             : format == "pdf" ? "application/pdf"
                                               : "image/png";
    Begin({"plot", kind}, type, "." + format);
    AddCycles();
    AddTheme();
  }

  void AddEvents() {
    Begin({"events"}, "text/csv; charset=utf-8", ".csv");
    Add({"--format", "csv"});
    AddCycles();
    AddNumber("thread", "--thread");
    AddNumber("packet", "--packet");
    const std::string region = Take("region");
    if (!region.empty()) {
      good = good && region.find_first_not_of("0123456789,:clusterdomain") == std::string::npos;
      Add({"--region", region});
    }
    const std::string types = Take("types");
    if (!types.empty()) {
      good = good && types.find_first_not_of("firesendwtch,") == std::string::npos;
      Add({"--type", types});
    }
  }

  void AddPage(const std::string& what) {
    const bool page = what == "report";
    Begin({what}, page ? "text/html; charset=utf-8" : "application/json", page ? ".html" : ".json");
    AddCycles();
    if (page) {
      AddTheme();
    } else {
      Add({"--json"});
    }
  }

  Parameters parameters;
  const std::string file;
  TakeCommand command;
  bool good = true;
};

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

}  // namespace

std::optional<TakeCommand> ParseTake(std::string_view query, const std::string& file) {
  std::optional<Parameters> parameters = Split(query);
  return parameters ? Builder(std::move(*parameters), file).Build() : std::nullopt;
}

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
  const bool prints = command.words[0] == "stats";
  std::vector<std::string> words = {program};
  words.insert(words.end(), command.words.begin(), command.words.end());
  if (!prints) {
    words.insert(words.end(), {"-o", result});
  }
  const pid_t child = Start(words, prints ? result : "/dev/null", errors);
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
  return {std::make_shared<UnnamedResult>(descriptor), ""};
}

std::string TakeProgram() {
  std::error_code error;
  const std::filesystem::path own = std::filesystem::read_symlink("/proc/self/exe", error);
  const std::filesystem::path beside = own.parent_path() / "marrowfin-trace";
  return !error && std::filesystem::exists(beside, error) ? beside.string() : "marrowfin-trace";
}

}  // namespace marrowfin
