#include "tests/Util/Fixtures.h"

#include <fcntl.h>
#include <unistd.h>

#include <fstream>

namespace marrowfin::testing {

ScratchDirectory::ScratchDirectory() : before(std::filesystem::current_path()) {
  std::filesystem::current_path(directory.Path());
}

ScratchDirectory::~ScratchDirectory() { std::filesystem::current_path(before); }

Redirected::Redirected(File& place) : place(place), before(place), stream(tmpfile()) {
  place = File(stream, false);
}

Redirected::~Redirected() {
  place = before;
  fclose(stream);
}

std::string Redirected::TextOf(FILE* stream) {
  fflush(stream);
  std::string text;
  char c;
  while (pread(fileno(stream), &c, 1, static_cast<off_t>(text.size())) == 1) {
    text += c;
  }
  return text;
}

std::vector<int> LinesWith(const std::string& source, const std::string& text) {
  std::ifstream stream(MARROWFIN_SOURCE_DIR "/" + source);
  std::vector<int> lines;
  std::string line;
  for (int number = 1; std::getline(stream, line); ++number) {
    if (line.find(text) != std::string::npos) {
      lines.push_back(number);
    }
  }
  return lines;
}

void JoinOutputWithError() {
  fflush(stdout);
  dup2(STDERR_FILENO, STDOUT_FILENO);
}

std::set<int> OpenDescriptors() {
  std::set<int> listed;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    listed.insert(std::stoi(entry.path().filename()));
  }
  // The listing had a descriptor of its own.
  std::erase_if(listed, [](int descriptor) { return fcntl(descriptor, F_GETFD) == -1; });
  return listed;
}

}  // namespace marrowfin::testing
