#include "render/report/PdfPrinter.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string_view>
#include <system_error>
#include <thread>
#include <vector>

namespace marrowfin {
namespace {

constexpr char PROGRAM[] = "chromium";

Fault PrinterFault(const std::string& reason) {
  Fault fault;
  fault.kind = Fault::SYSTEM;
  fault.file = PROGRAM;
  fault.reason = reason;
  return fault;
}

// A folder that goes with all that is in it.
class Folder {
 public:
  Folder() {
    std::error_code error;
    const std::filesystem::path place = std::filesystem::temp_directory_path(error);
    name = ((error ? "/tmp" : place) / "marrowfin-report-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
      name.clear();
    }
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  ~Folder() {
    if (!name.empty()) {
      std::error_code ignored;
      std::filesystem::remove_all(name, ignored);
    }
  }

  bool IsThere() const { return !name.empty(); }
  std::string File(const std::string& file) const { return name + "/" + file; }

 private:
  std::string name;
};

// A file as browsers name it.
std::string UrlOf(const std::string& file) {
  constexpr std::string_view PLAIN =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~/";
  constexpr std::string_view DIGITS = "0123456789ABCDEF";
  std::string url = "file://";
  for (const char character : file) {
    const auto byte = static_cast<unsigned char>(character);
    if (PLAIN.find(character) != std::string_view::npos) {
      url += character;
    } else {
      url += {'%', DIGITS[byte >> 4], DIGITS[byte & 15]};
    }
  }
  return url;
}

std::vector<std::string> Command(const Folder& folder) {
  std::vector<std::string> words = {PROGRAM,
                                    "--headless",
                                    "--disable-gpu",
                                    "--disable-extensions",
                                    "--no-first-run",
                                    "--user-data-dir=" + folder.File("profile"),
                                    "--no-pdf-header-footer",
                                    "--print-to-pdf=" + folder.File("page.pdf"),
                                    UrlOf(folder.File("page.html"))};
  // It refuses to be run by root inside its own sandbox; the page is ours and fetches nothing.
  if (geteuid() == 0) {
    words.insert(words.begin() + 1, "--no-sandbox");
  }
  return words;
}

// A process that writes what it says to `complaints`, out of reach of the keys that interrupt:
// whoever is interrupted here ends it, and all that it started.
class Child {
 public:
  ~Child() {
    if (process != -1) {
      kill(-process, SIGKILL);
      Wait(0);
    }
  }

  Fault Start(const std::vector<std::string>& words, const std::string& complaints) {
    std::vector<char*> arguments;
    for (const std::string& word : words) {
      arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, complaints.c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
    const int error =
        posix_spawnp(&process, PROGRAM, &actions, &attributes, arguments.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (error == 0) {
      return {};
    }
    process = -1;
    Fault fault = SystemFault(PROGRAM, "cannot start", error);
    fault.remedy = "install chromium, which makes the PDF, or print the HTML page in a browser";
    return fault;
  }

  bool HasEnded() { return process == -1 || Wait(WNOHANG); }
  bool HasSucceeded() const { return status == 0; }

 private:
  bool Wait(int options) {
    pid_t ended = 0;
    do {
      ended = waitpid(process, &status, options);
    } while (ended == -1 && errno == EINTR);
    if (ended == 0) {
      return false;
    }
    process = -1;
    return true;
  }

  pid_t process = -1;
  int status = -1;
};

std::string ReadAll(const std::string& name) {
  std::ifstream file(name, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

// What it says of its end among much that says nothing: what was fatal, else the last line.
std::string ComplaintIn(const std::string& text) {
  std::istringstream lines(text);
  std::string last;
  for (std::string line; std::getline(lines, line);) {
    if (line.find(":FATAL:") != std::string::npos) {
      return line;
    }
    last = line.empty() ? last : line;
  }
  return last.empty() ? "ended without a word" : last;
}

Fault WriteText(const std::string& text, ByteSink& sink) {
  return sink.Write(reinterpret_cast<const uint8_t*>(text.data()), text.size()).fault;
}

}  // namespace

std::string WithoutDates(std::string pdf) {
  for (const std::string_view date : {"/CreationDate (D:", "/ModDate (D:"}) {
    const size_t begin = pdf.find(date);
    const size_t end = begin == std::string::npos ? begin : pdf.find(')', begin);
    if (end != std::string::npos) {
      std::fill(pdf.begin() + static_cast<std::ptrdiff_t>(begin),
                pdf.begin() + static_cast<std::ptrdiff_t>(end) + 1, ' ');
    }
  }
  return pdf;
}

Fault PrintPdf(const std::string& html, ByteSink& sink, const std::function<bool()>& goOn) {
  const Folder folder;
  if (!folder.IsThere()) {
    return SystemFault(PROGRAM, "cannot make a temporary folder", errno);
  }
  {
    std::ofstream page(folder.File("page.html"), std::ios::binary);
    page << html;
    if (!page.flush()) {
      return SystemFault(folder.File("page.html"), "cannot write", errno);
    }
  }
  Child child;
  if (Fault fault = child.Start(Command(folder), folder.File("complaints"))) {
    return fault;
  }
  while (!child.HasEnded()) {
    if (goOn && !goOn()) {
      return CancelledFault(PROGRAM);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  const std::string pdf = ReadAll(folder.File("page.pdf"));
  if (!child.HasSucceeded() || !pdf.starts_with("%PDF-")) {
    return PrinterFault(ComplaintIn(ReadAll(folder.File("complaints"))));
  }
  return WriteText(WithoutDates(pdf), sink);
}

}  // namespace marrowfin
