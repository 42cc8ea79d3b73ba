#ifndef TESTS_VIEWER_RECORDINGGL_H
#define TESTS_VIEWER_RECORDINGGL_H

#include <string>

namespace marrowfin::testing {

// RecordingGl.cpp defines every OpenGL function that the viewer uses, and no other: a further one
// in the pieces is a link error. Each hands a line of text, the call as C would write it, to this
// function, which whoever links it defines. Pointers are written as %p and doubles in 17 digits;
// behind a glDrawArrays stand the contents of the arrays at that time (see DrawCall).
void RecordCall(const std::string& call);

}  // namespace marrowfin::testing

#endif
