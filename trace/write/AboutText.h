#ifndef TRACE_WRITE_ABOUTTEXT_H
#define TRACE_WRITE_ABOUTTEXT_H

#include <string>

#include "trace/base/About.h"

namespace marrowfin {

// The text of an about file. The same facts give the same bytes. Control characters become spaces:
// no text of TOML may hold them.
std::string AboutText(const About& about);

}  // namespace marrowfin

#endif
