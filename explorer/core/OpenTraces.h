#ifndef EXPLORER_CORE_OPENTRACES_H
#define EXPLORER_CORE_OPENTRACES_H

#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "explorer/core/FollowedTrace.h"
#include "explorer/core/Refusal.h"
#include "trace/base/ArrayShape.h"

namespace marrowfin {

// The traces that can be asked about. Any number of threads may ask; news come in threads of their
// own, one for each trace.
class OpenTraces {
 public:
  explicit OpenTraces(const std::vector<std::string>& files,
                      const FollowedTrace::NewsFunction& news = {},
                      FollowedTrace::Timing timing = {});
  OpenTraces(const OpenTraces&) = delete;
  OpenTraces& operator=(const OpenTraces&) = delete;

  // In the order in which they were given.
  std::vector<TraceStatus> Status() const;

  // What is known of a trace just now, or why nothing is: none was ever open under that
  // fingerprint, it is another one now, or nothing of it was read yet.
  std::variant<std::shared_ptr<TraceView>, Refusal> Find(const std::string& fingerprint) const;

  // Has the index of a view made anew, which turned out to be damaged.
  void RebuildIndex(const TraceView& of);

 private:
  std::vector<std::unique_ptr<FollowedTrace>> traces;
};

}  // namespace marrowfin

#endif
