#ifndef TRACE_ASK_FADE_H
#define TRACE_ASK_FADE_H

#include <cstdint>

namespace marrowfin {

// The colours that the viewer shows (viewer/ArchPiece.h, of which the engine knows nothing: a test
// holds the two together), as functions of how many steps ago a piece was touched. All of them come
// to rest after a few steps, so they are looked up and not stepped through. Threads: values, and
// functions that any number may call at a time.
struct Color {
  uint8_t red = 0;
  uint8_t green = 0;
  uint8_t blue = 0;

  friend bool operator==(const Color&, const Color&) = default;
};

// A processing element that an event of `thread` touched `age` steps ago. Its red fades and comes
// to rest at age ELEMENT_REST; green and blue stay.
constexpr unsigned ELEMENT_REST = 4;
Color ElementColor(uint32_t thread, uint64_t age);

// One that nothing has touched in `steps` steps: black that turns grey.
Color UntouchedElementColor(uint64_t steps);

// The same of a switch, which fades to white until age SWITCH_REST.
constexpr unsigned SWITCH_REST = 8;
Color SwitchColor(uint32_t thread, uint64_t age);
Color UntouchedSwitchColor(uint64_t steps);

// A message that was sent `age` steps ago; it is shown at ages 0 to LAST_MESSAGE_AGE.
constexpr uint64_t LAST_MESSAGE_AGE = 11;
Color MessageColor(uint64_t age);

}  // namespace marrowfin

#endif
