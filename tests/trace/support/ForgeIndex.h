#ifndef TESTS_TRACE_SUPPORT_FORGEINDEX_H
#define TESTS_TRACE_SUPPORT_FORGEINDEX_H

#include <functional>
#include <string>

#include "trace/index/IndexFormat.h"

namespace marrowfin::testing {

// Lets `change` rewrite the directory of an index file and seals it again, so that its checksums
// hold whatever it says.
void ForgeIndex(const std::string& file, const std::function<void(IndexTables&)>& change);

}  // namespace marrowfin::testing

#endif
