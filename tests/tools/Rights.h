#ifndef TESTS_TOOLS_RIGHTS_H
#define TESTS_TOOLS_RIGHTS_H

#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace marrowfin {

// Leaves the programs that this process starts with no more rights than permissions give them: root
// may read and write everything otherwise.
inline void GiveUpRights() {
  if (geteuid() == 0) {
    EXPECT_EQ(0, prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE));
    EXPECT_EQ(0, prctl(PR_CAPBSET_DROP, CAP_DAC_READ_SEARCH));
  }
}

}  // namespace marrowfin

#endif
