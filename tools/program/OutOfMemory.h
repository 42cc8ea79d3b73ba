#ifndef TOOLS_PROGRAM_OUTOFMEMORY_H
#define TOOLS_PROGRAM_OUTOFMEMORY_H

namespace marrowfin {

// What programs say when memory has run out, and with which remedy.
constexpr char OUT_OF_MEMORY[] = "out of memory";
constexpr char OUT_OF_MEMORY_REMEDY[] = "Use a smaller input or a larger machine.";

// From now on memory that runs out where no exception can be caught (before main, in a destructor,
// in a thread) ends the process with these words and EXIT_SYSTEM and leaves no temporary behind.
// Needs no memory itself. Call it before anything else.
void EndCleanlyWithoutMemory();

}  // namespace marrowfin

#endif
