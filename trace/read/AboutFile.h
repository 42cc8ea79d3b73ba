#ifndef TRACE_READ_ABOUTFILE_H
#define TRACE_READ_ABOUTFILE_H

#include <string>
#include <string_view>

#include "trace/base/About.h"
#include "trace/base/Fault.h"
#include "trace/base/Result.h"

namespace marrowfin {

class PositionedFile;
class TraceSource;

// The name of the about file beside a trace.
inline std::string AboutBeside(const std::string& trace) { return trace + ".about"; }

// Reads an about file. DAMAGED_NOTES, with the line, where it is no TOML, is of a later format, or
// holds something of a wrong type or out of range; keys that nobody knows are passed over. SYSTEM
// where it cannot be read. Threads: any number may call these at a time.
[[nodiscard]] Result<About> ReadAbout(const std::string& name);
[[nodiscard]] Result<About> ReadAbout(const PositionedFile& file);

// The same of a text; `name` is for messages.
[[nodiscard]] Result<About> ParseAbout(std::string_view text, const std::string& name);

// OTHER_TRACE where the first records of the trace are not those that `about` knows; `name` is that
// of the about file.
[[nodiscard]] Fault CheckIsAbout(const About& about, const TraceSource& trace,
                                 const std::string& name);

// That fault.
Fault OtherAbout(const std::string& name);

}  // namespace marrowfin

#endif
