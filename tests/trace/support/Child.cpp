#include "tests/trace/support/Child.h"

#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "tests/support/Files.h"

namespace marrowfin::testing {

pid_t StartChild(const std::function<void()>& body) {
  fflush(nullptr);
  const pid_t child = fork();
  if (child != 0) {
    return child;
  }
  body();
  fflush(nullptr);
  _exit(::testing::Test::HasFailure() ? 1 : 0);
}

void ExpectInChild(const std::function<void()>& body) {
  const pid_t child = StartChild(body);
  ASSERT_NE(child, -1);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status)) << "ended by signal " << WTERMSIG(status);
  EXPECT_EQ(WEXITSTATUS(status), 0) << "an expectation failed in the child, see above";
}

void BecomeOrdinaryUser() {
  constexpr uid_t NOBODY = 65534;
  if (geteuid() == 0) {
    ASSERT_EQ(setgroups(0, nullptr), 0);
    ASSERT_EQ(setresgid(NOBODY, NOBODY, NOBODY), 0);
    ASSERT_EQ(setresuid(NOBODY, NOBODY, NOBODY), 0);
  }
}

void MountSmallDisk(const std::string& folder, size_t bytes) {
  const uid_t user = geteuid();
  const gid_t group = getegid();
  if (unshare(CLONE_NEWNS) == -1) {
    ASSERT_EQ(unshare(CLONE_NEWUSER | CLONE_NEWNS), 0) << strerror(errno);
    WriteFile("/proc/self/setgroups", "deny");
    WriteFile("/proc/self/uid_map", "0 " + std::to_string(user) + " 1");
    WriteFile("/proc/self/gid_map", "0 " + std::to_string(group) + " 1");
  }
  // What is mounted here must not appear outside.
  ASSERT_EQ(mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr), 0) << strerror(errno);
  const std::string size = "size=" + std::to_string(bytes);
  ASSERT_EQ(mount("none", folder.c_str(), "tmpfs", 0, size.c_str()), 0) << strerror(errno);
}

void FillDisk(const std::string& folder) {
  const std::string name = folder + "/filler";
  const int file = open(name.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  ASSERT_NE(file, -1) << strerror(errno);
  const std::string block(4096, 'x');
  ssize_t put = 0;
  while (put != -1) {
    put = write(file, block.data(), block.size());
  }
  EXPECT_EQ(errno, ENOSPC);
  close(file);
}

}  // namespace marrowfin::testing
