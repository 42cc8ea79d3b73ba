#ifndef TRACE_WRITE_ABOUTTEXT_H
#define TRACE_WRITE_ABOUTTEXT_H

#include <string>

#include "trace/base/About.h"

namespace marrowfin {

// The text of an about file. The same facts give the same bytes. Control characters become spaces,
// and bytes that are no UTF-8 become U+FFFD: no text of TOML may hold them. Numbers that are none
// are left out. Threads: any number may call this at a time.
std::string AboutText(const About& about);

}  // namespace marrowfin

#endif
