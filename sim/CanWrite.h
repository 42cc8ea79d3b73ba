#ifndef SIM_CANWRITE_H
#define SIM_CANWRITE_H

#include <string>

namespace marrowfin::sim {

// Whether output can be written to `name`, which is made if it is not there but never emptied;
// errno says why not.
bool CanWrite(const std::string& name);

}  // namespace marrowfin::sim

#endif
