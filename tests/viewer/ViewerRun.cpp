#include "tests/viewer/ViewerRun.h"

#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <stdexcept>

#include "tests/support/Files.h"
#include "tests/support/TraceText.h"

namespace marrowfin::testing {

namespace {

std::vector<std::string> WordsOf(const Replay& replay) {
  std::vector<std::string> words = {replay.program};
  std::istringstream options(replay.options);
  std::string word;
  while (options >> word) {
    words.push_back(word);
  }
  words.insert(words.end(), replay.words.begin(), replay.words.end());
  return words;
}

// The sanitizer's library wants to be loaded first unless it is told otherwise.
std::string SanitizerOptions() {
  const char* ours = getenv("ASAN_OPTIONS");
  return "ASAN_OPTIONS=" + std::string(ours == nullptr ? "" : ours) + ":verify_asan_link_order=0";
}

std::string WithoutAddress(const std::string& call) {
  const size_t address = call.find("0x");
  return address == std::string::npos
             ? call
             : call.substr(0, address) + "POINTER" + call.substr(call.find(')', address));
}

// The log of a run that ended before its first call does not exist.
std::vector<std::string> ReadLog(const std::string& path) {
  std::vector<std::string> calls;
  if (std::filesystem::exists(path)) {
    std::istringstream log(ReadFile(path));
    std::string line;
    while (std::getline(log, line)) {
      calls.push_back(WithoutAddress(line));
    }
  }
  return calls;
}

void Require(bool condition, const std::string& what) {
  if (!condition) {
    throw std::invalid_argument("not a picture of the small array: " + what);
  }
}

Color OnlyColor(const Drawing& drawing, const std::string& mode, const Vertex& corner,
                size_t vertices) {
  const Drawing expected = DrawnIn(drawing.colors.at(0), mode, drawing.vertices);
  Require(drawing == expected, DrawCall(drawing));
  Require(drawing.vertices[0] == corner && drawing.vertices.size() == vertices, DrawCall(drawing));
  return drawing.colors[0];
}

}  // namespace

ViewerRun RunViewer(const Replay& replay) {
  const TempDir work;
  const TempDir logs;
  WriteFile(work.File(replay.traceName), TraceBytes(replay.trace));
  CommandOptions options;
  options.directory = work.Path();
  options.environment = replay.environment;
  options.environment.push_back("LD_PRELOAD=" MARROWFIN_SCRIPTED_GLUT);
  options.environment.push_back("MARROWFIN_GLUT_LOG=" + logs.File("calls"));
  options.environment.push_back("MARROWFIN_GLUT_SCRIPT=" + replay.script);
  options.environment.push_back(SanitizerOptions());
  ViewerRun run;
  run.result = RunCommand(WordsOf(replay), options);
  run.calls = ReadLog(logs.File("calls"));
  return run;
}

std::vector<std::vector<std::string>> CallsAfter(const ViewerRun& run,
                                                 const std::string& announcement) {
  std::vector<std::vector<std::string>> answers;
  bool wanted = false;
  for (const std::string& call : run.calls) {
    if (call.starts_with(">")) {
      wanted = call.starts_with(announcement);
      if (wanted) {
        answers.emplace_back();
      }
    } else if (wanted) {
      answers.back().push_back(call);
    }
  }
  return answers;
}

std::vector<std::vector<Drawing>> Displays(const ViewerRun& run) {
  std::vector<std::vector<Drawing>> displays;
  for (const std::vector<std::string>& calls : CallsAfter(run, "> display")) {
    displays.emplace_back();
    for (const std::string& call : calls) {
      if (call.starts_with("glDrawArrays")) {
        displays.back().push_back(ParseDrawCall(call));
      }
    }
  }
  return displays;
}

std::string ErrorsAfterStart(const ViewerRun& run) {
  const std::string start = "0 0\n";
  if (!run.result.err.starts_with(start)) {
    throw std::invalid_argument("no start of the small array: " + run.result.err);
  }
  return run.result.err.substr(start.size());
}

Picture::Picture(const std::vector<Drawing>& drawings) {
  Require(drawings.size() >= 6, "too few pieces");
  const Color outline = OnlyColor(drawings[0], "GL_LINE_LOOP", {18, 18, 0}, 4);
  Require(outline == Color{0, 0, 0}, "the outline is not black");
  for (int i = 0; i < 4; ++i) {
    const Vertex corner = {20 + 8 * (i / 2), 20 + 8 * (i % 2), 0};
    elements.push_back(OnlyColor(drawings[static_cast<size_t>(i) + 1], "GL_QUADS", corner, 24));
  }
  networkSwitch = OnlyColor(drawings[5], "GL_QUADS", {38, 38, 0}, 4);
  messages.assign(drawings.begin() + 6, drawings.end());
}

std::vector<Picture> Pictures(const ViewerRun& run) {
  std::vector<Picture> pictures;
  for (const std::vector<Drawing>& drawings : Displays(run)) {
    pictures.emplace_back(drawings);
  }
  return pictures;
}

Drawing Message(const Color& color, int fromColumn, int fromRow, int toColumn, int toRow) {
  const Vertex from = {20 + 8 * fromColumn, 20 + 8 * fromRow, 0};
  const Vertex to = {20 + 8 * toColumn, 20 + 8 * toRow, 0};
  std::vector<Vertex> vertices;
  for (int dy = 0; dy < 2; ++dy) {
    for (int dx = 0; dx < 2; ++dx) {
      vertices.push_back({from.x + dx, from.y + dy, 0});
      vertices.push_back({to.x + dx, to.y + dy, 0});
    }
  }
  return DrawnIn(color, "GL_LINES", vertices);
}

}  // namespace marrowfin::testing
