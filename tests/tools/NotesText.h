#ifndef TESTS_TOOLS_NOTESTEXT_H
#define TESTS_TOOLS_NOTESTEXT_H

#include <string>
#include <vector>

namespace marrowfin {

// What the notes beside a trace tell of each of its records, as "kind=barrier size=64", in the
// order of the attributes; an empty text for a record of which they tell nothing.
//
// Throws std::runtime_error where notes are missing, damaged, do not reach to the last record or
// are not about this trace.
std::vector<std::string> NotesBeside(const std::string& trace);

// How many of them have `note` among theirs.
size_t CountNoted(const std::vector<std::string>& records, const std::string& note);

}  // namespace marrowfin

#endif
