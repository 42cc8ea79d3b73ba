#ifndef TESTS_TRACE_SUPPORT_CHILD_H
#define TESTS_TRACE_SUPPORT_CHILD_H

#include <sys/types.h>

#include <functional>
#include <string>

namespace marrowfin::testing {

// A process that runs `body` and ends without the test program's clean-up. Whoever starts it waits
// for it.
pid_t StartChild(const std::function<void()>& body);

// Runs `body`, expectations and all, in a process of its own, for what a test could not undo: other
// users, limits, mounts. Expects that it ends by itself and that no expectation failed there.
void ExpectInChild(const std::function<void()>& body);

// Becomes a user without special rights, where the process has them: folders that refuse to be
// written to do so only for such a one.
void BecomeOrdinaryUser();

// Makes `folder`, as the calling process sees it from now on, the root of a file system that holds
// `bytes` bytes. Where neither root nor a user's own name space may mount one, the expectation that
// it worked fails.
void MountSmallDisk(const std::string& folder, size_t bytes);

// Writes to a file in `folder` until the disk is full.
void FillDisk(const std::string& folder);

}  // namespace marrowfin::testing

#endif
