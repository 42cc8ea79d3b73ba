#ifndef TRACE_WRITE_TEMPORARYNAME_H
#define TRACE_WRITE_TEMPORARYNAME_H

#include <functional>
#include <string>

namespace marrowfin {

// What is written, a file or a folder, lies under a temporary name beside the one that it will have
// until it is whole. Any number of threads.

// A temporary name for `target`, another one each time where the system has chance to give.
std::string TemporaryName(const std::string& target);

// Calls back with every name that is a temporary one of `target` and is there, of whichever
// process.
void ForEachTemporary(const std::string& target,
                      const std::function<void(const std::string& name)>& found);

// A new name survives a loss of power once the folder that it is in is on the disk. Not every file
// system lets a folder be synchronised; what has the name is safe by then.
void SyncNames(const std::string& target);

}  // namespace marrowfin

#endif
