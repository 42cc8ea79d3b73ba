#ifndef TOOLS_PROGRAM_COMPANIONTEXT_H
#define TOOLS_PROGRAM_COMPANIONTEXT_H

#include <iosfwd>
#include <nlohmann/json_fwd.hpp>

#include "trace/read/Companion.h"
#include "trace/read/Summary.h"

namespace marrowfin {

// What stands beside a trace, as far as it is believed: from whom, and what it can tell. Nothing
// where there is none.
void PrintBeside(const Companion& companion, const Summary& summary, std::ostream& out);

// The same as an object; null where there is none. Of what is not believed it has the faults.
nlohmann::json BesideAsJson(const Companion& companion);

}  // namespace marrowfin

#endif
