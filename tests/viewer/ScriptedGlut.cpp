// A GLUT for preloading into the viewer. It opens no window: every GLUT and OpenGL call becomes a
// line of a log, and the main loop plays a script and then returns.
//
// Environment:
//   MARROWFIN_GLUT_LOG     the file to write. A line is written at once, so that it outlives an
//                          abort of the program.
//   MARROWFIN_GLUT_SCRIPT  the lines to play. Each callback made is announced as "> WORD", and as
//                          "> WORD is not set" where the program registered none:
//     idle [N]                           N idle calls (1 where N is left out)
//     turn [N]                           N turns of the loop: an idle call and, where a redisplay
//                                        was requested, a display
//     display | reshape W H | mouse BUTTON STATE X Y
//     abort-display                      from now on a SIGABRT displays once more before it ends
//                                        the program: shows what the last, unfinished step did

#include <GL/glut.h>
#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>

#include "tests/viewer/RecordingGl.h"

namespace {

using marrowfin::testing::RecordCall;

void (*displayCallback)() = nullptr;
void (*reshapeCallback)(int, int) = nullptr;
void (*mouseCallback)(int, int, int, int) = nullptr;
void (*idleCallback)() = nullptr;
bool redisplayPosted = false;

[[noreturn]] void Refuse(const std::string& problem) {
  fprintf(stderr, "scripted GLUT: %s\n", problem.c_str());
  _exit(99);
}

const char* Setting(const char* name) {
  const char* value = getenv(name);
  if (value == nullptr) {
    Refuse(std::string(name) + " is not set");
  }
  return value;
}

template <class Callback, class... Arguments>
void Call(const std::string& name, Callback callback, Arguments... arguments) {
  RecordCall("> " + name + (callback == nullptr ? " is not set" : ""));
  if (callback != nullptr) {
    callback(arguments...);
  }
}

void Display() {
  redisplayPosted = false;
  Call("display", displayCallback);
}

void DisplayOnAbort(int /*signal*/) { Display(); }

void Turn() {
  Call("idle", idleCallback);
  if (redisplayPosted) {
    Display();
  }
}

void PlayLine(std::istringstream& line) {
  std::string word;
  line >> word;
  int a = 0;
  int b = 0;
  int c = 0;
  int d = 0;
  const bool counted = word == "idle" || word == "turn";
  if (counted && !(line >> a)) {
    a = 1;
  }
  for (int i = 0; counted && i < a; ++i) {
    word == "idle" ? Call(word, idleCallback) : Turn();
  }
  if (word == "display") {
    Display();
  } else if (word == "reshape" && line >> a >> b) {
    Call(word, reshapeCallback, a, b);
  } else if (word == "mouse" && line >> a >> b >> c >> d) {
    Call(word, mouseCallback, a, b, c, d);
  } else if (word == "abort-display") {
    signal(SIGABRT, DisplayOnAbort);
  } else if (!counted) {
    Refuse("can't play " + line.str());
  }
}

// A program that never comes to its end is a failure, not a test that hangs.
[[gnu::constructor]] void LimitTime() { alarm(100); }

}  // namespace

void marrowfin::testing::RecordCall(const std::string& call) {
  static const int log =
      open(Setting("MARROWFIN_GLUT_LOG"), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  const std::string line = call + "\n";
  if (write(log, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
    Refuse("can't write the log");
  }
}

void glutInit(int* argc, char** argv) {
  std::string call = "glutInit(" + std::to_string(*argc) + ":";
  for (int i = 0; argv[i] != nullptr; ++i) {
    call += std::string(" ") + argv[i];
  }
  RecordCall(call + ")");
}

void glutInitDisplayMode(unsigned int mode) {
  RecordCall("glutInitDisplayMode(" + std::to_string(mode) + ")");
}

void glutInitWindowSize(int width, int height) {
  RecordCall("glutInitWindowSize(" + std::to_string(width) + ", " + std::to_string(height) + ")");
}

void glutInitWindowPosition(int x, int y) {
  RecordCall("glutInitWindowPosition(" + std::to_string(x) + ", " + std::to_string(y) + ")");
}

int glutCreateWindow(const char* title) {
  RecordCall("glutCreateWindow(" + std::string(title) + ")");
  return 1;
}

void glutIdleFunc(void (*callback)()) {
  RecordCall(callback == nullptr ? "glutIdleFunc(null)" : "glutIdleFunc(set)");
  idleCallback = callback;
}

void glutDisplayFunc(void (*callback)()) {
  RecordCall(callback == nullptr ? "glutDisplayFunc(null)" : "glutDisplayFunc(set)");
  displayCallback = callback;
}

void glutReshapeFunc(void (*callback)(int, int)) {
  RecordCall(callback == nullptr ? "glutReshapeFunc(null)" : "glutReshapeFunc(set)");
  reshapeCallback = callback;
}

void glutMouseFunc(void (*callback)(int, int, int, int)) {
  RecordCall(callback == nullptr ? "glutMouseFunc(null)" : "glutMouseFunc(set)");
  mouseCallback = callback;
}

void glutPostRedisplay() {
  RecordCall("glutPostRedisplay()");
  redisplayPosted = true;
}

void glutSwapBuffers() { RecordCall("glutSwapBuffers()"); }

void glutMainLoop() {
  RecordCall("glutMainLoop()");
  std::istringstream script(Setting("MARROWFIN_GLUT_SCRIPT"));
  std::string text;
  while (std::getline(script, text)) {
    std::istringstream line(text);
    PlayLine(line);
  }
  RecordCall("> end");
}
