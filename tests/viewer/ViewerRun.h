#ifndef TESTS_VIEWER_VIEWERRUN_H
#define TESTS_VIEWER_VIEWERRUN_H

#include <string>
#include <vector>

#include "tests/support/Command.h"
#include "tests/viewer/Drawing.h"

namespace marrowfin::testing {

// One run of the built viewer with the scripted GLUT (ScriptedGlut.cpp) in place of the real one.
struct Replay {
  std::string options;                        // the words after the program's name, split at blanks
  std::string trace;                          // in the text form of TraceBytes
  std::string script;                         // what GLUT does
  std::string traceName = "trace";            // in the working directory of the run
  std::vector<std::string> words = {};        // further words, which may hold blanks or be empty
  std::vector<std::string> environment = {};  // "NAME=VALUE"
  std::string program = MARROWFIN_PROGRAM;
};

struct ViewerRun {
  CommandResult result;
  std::vector<std::string> calls;  // the log; each pointer reads as POINTER
};

ViewerRun RunViewer(const Replay& replay);

// The calls made in answer to each announcement that begins with `announcement`, such as "> idle".
std::vector<std::vector<std::string>> CallsAfter(const ViewerRun& run,
                                                 const std::string& announcement);

// What each display of the run drew, in order.
std::vector<std::vector<Drawing>> Displays(const ViewerRun& run);

// The options of the array that most tests use: one cluster of one domain, two elements wide.
inline const std::string smallArray = "-c 1 -d 1 -p 2 -f trace";

// The standard error of a run with the small array, after what building the array writes.
std::string ErrorsAfterStart(const ViewerRun& run);

// One display of the small array, taken apart. Throws std::invalid_argument unless it holds exactly
// the array's pieces, in order, and then messages.
struct Picture {
  explicit Picture(const std::vector<Drawing>& drawings);

  Color Element(size_t column, size_t row) const { return elements.at(2 * column + row); }

  std::vector<Color> elements;  // by columns: (0, 0), (column 0, row 1), (column 1, row 0), (1, 1)
  Color networkSwitch;
  std::vector<Drawing> messages;
};

std::vector<Picture> Pictures(const ViewerRun& run);

// The four lines of a message between elements of the small array, in `color`.
Drawing Message(const Color& color, int fromColumn, int fromRow, int toColumn, int toRow);

}  // namespace marrowfin::testing

#endif
