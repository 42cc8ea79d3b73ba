#ifndef CONVERT_EXPORT_JSONWORDS_H
#define CONVERT_EXPORT_JSONWORDS_H

#include <cstddef>
#include <string>

#include "convert/export/EventLines.h"

namespace marrowfin {

// A text as JSON, in its quotes; bytes that are no UTF-8 are replaced.
void AppendJsonText(const std::string& text, std::string& out);

// What notes tell of the i-th event of a selection, an object by the names of the attributes: names
// of values where they have one, lists of earlier records, and null for reals that JSON has no
// words for.
void AppendJsonNotes(const EventNaming& naming, const NotedSelection& from, size_t i,
                     std::string& out);

}  // namespace marrowfin

#endif
