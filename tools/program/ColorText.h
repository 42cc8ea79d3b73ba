#ifndef TOOLS_PROGRAM_COLORTEXT_H
#define TOOLS_PROGRAM_COLORTEXT_H

#include <cstdio>
#include <string>

#include "trace/ask/Fade.h"

namespace marrowfin {

// "#rrggbb".
inline std::string ColorText(Color color) {
  char text[8];
  std::snprintf(text, sizeof(text), "#%02x%02x%02x", color.red, color.green, color.blue);
  return text;
}

}  // namespace marrowfin

#endif
