#ifndef EXPLORER_CORE_FOLLOWEDTRACE_H
#define EXPLORER_CORE_FOLLOWEDTRACE_H

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "explorer/core/TraceView.h"
#include "trace/base/Fault.h"
#include "trace/base/Progress.h"
#include "trace/read/PositionedFile.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

class IndexStore;

// What became of a trace that is followed.
struct TraceNews {
  enum Kind { INDEXING, INDEXED, GROWN, CHANGED, TRUNCATED, FAILED, NOTES };

  Kind kind = INDEXING;
  std::string fingerprint;  // as it was known before
  std::string now;          // as it is known from now on
  Progress progress;        // of INDEXING
  uint64_t records = 0;     // that can be asked about now
};

// What is known of a trace just now.
struct TraceStatus {
  enum State { INDEXING, READY, FAILED };

  std::string file;
  std::string fingerprint;       // empty where the file was never read
  std::vector<std::string> was;  // fingerprints of what stood in the file before
  State state = INDEXING;
  Progress progress;  // of INDEXING, in bytes
  Fault failure;      // of FAILED
  std::shared_ptr<TraceView> view;
};

// A trace that is indexed while questions about it are answered, and followed from then on: one
// that grows is indexed further, one that was replaced or became shorter is another trace, which is
// indexed anew. All of it happens in a thread of its own.
//
// It is known by a fingerprint of its first records and of the name of its file, which stays the
// same when it grows, and when another process opens it.
//
// Any number of threads may ask. `news` is called in the thread that follows, also before the
// constructor has returned; what it throws is a failure of the trace.
class FollowedTrace {
 public:
  typedef std::function<void(const TraceNews&)> NewsFunction;

  struct Timing {
    std::chrono::milliseconds look{1000};    // between looks at the file
    std::chrono::milliseconds publish{250};  // between views while it is indexed
  };

  // `namesake` tells apart files of one name in several folders, whose runs may begin alike.
  FollowedTrace(const std::string& file, uint64_t namesake, NewsFunction news, Timing timing);
  FollowedTrace(const FollowedTrace&) = delete;
  FollowedTrace& operator=(const FollowedTrace&) = delete;
  ~FollowedTrace();

  TraceStatus Status() const;

  // Has the index of a view made anew, which turned out to be damaged. False where there is another
  // view by now.
  bool RebuildIndex(const TraceView& of);

 private:
  struct Open;

  void Follow();
  void Guard(const std::function<void()>& work);
  bool WaitForNextLook();
  bool OpenFile();
  void IndexOpened(const Index* grown, bool anew = false);
  Result<std::unique_ptr<Index>> MakeIndex(IndexStore& store, const Index* grown);
  std::unique_ptr<Index> Kept(IndexStore& store, std::unique_ptr<Index>& grown) const;
  void LookAtFile();
  void Grow(const FileIdentity& now);
  void Replace(TraceNews::Kind kind);

  void Publish(std::unique_ptr<Index> index, bool whole);
  void SetProgress(const Progress& progress);
  void Fail(const Fault& fault);
  void SetName();
  void Tell(TraceNews::Kind kind, const std::string& before);
  std::string Fingerprint() const;
  bool TakeRebuild();

  const uint64_t namesake;
  const NewsFunction news;
  const Timing timing;

  mutable std::mutex mutex;
  std::condition_variable wake;
  TraceStatus status;
  bool rebuild = false;
  std::atomic<bool> stop = false;

  std::unique_ptr<Open> opened;  // of the thread that follows
  std::thread thread;
};

}  // namespace marrowfin

#endif
