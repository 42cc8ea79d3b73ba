#ifndef TRACE_BASE_UNNAMEDFILE_H
#define TRACE_BASE_UNNAMEDFILE_H

#include <string>

namespace marrowfin {

// The folder for files that nobody is to find: $TMPDIR, else /tmp.
std::string TemporaryFolder();

// A descriptor of a new file in the folder that has no name, for reading and writing: it goes away
// with its last descriptor, however the process ends. -1 with errno where there can be none.
// Threads: any number may call it at a time.
int OpenUnnamedFile(const std::string& folder);

}  // namespace marrowfin

#endif
