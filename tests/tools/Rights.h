#ifndef TESTS_TOOLS_RIGHTS_H
#define TESTS_TOOLS_RIGHTS_H

#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace marrowfin {

// Leaves the programs that this process starts with no more rights than permissions give them: root
// may read and write everything otherwise. A program gets what is inherited as well as what its
// bounds allow, and sandboxes let rights be inherited.
inline void GiveUpRights() {
  if (geteuid() != 0) {
    return;
  }
  __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct sets[_LINUX_CAPABILITY_U32S_3] = {};
  ASSERT_EQ(0, syscall(SYS_capget, &header, sets));
  for (const int right : {CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH}) {
    sets[CAP_TO_INDEX(right)].inheritable &= ~CAP_TO_MASK(right);
    EXPECT_EQ(0, prctl(PR_CAPBSET_DROP, right));
  }
  EXPECT_EQ(0, syscall(SYS_capset, &header, sets));
}

}  // namespace marrowfin

#endif
