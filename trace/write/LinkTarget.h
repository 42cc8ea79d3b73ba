#ifndef TRACE_WRITE_LINKTARGET_H
#define TRACE_WRITE_LINKTARGET_H

#include <string>

namespace marrowfin {

// Where a file of that name would be made or opened: the name that is left when all links in its
// last place are followed, whether there is such a file yet or not. Of links that lead in a circle
// one of them. Touches nothing; any number of threads.
std::string LinkTarget(const std::string& name);

}  // namespace marrowfin

#endif
