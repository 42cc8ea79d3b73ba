#ifndef TRACE_EDIT_RECORDFEED_H
#define TRACE_EDIT_RECORDFEED_H

#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "trace/ask/NoteValues.h"
#include "trace/ask/NotesOfTrace.h"
#include "trace/base/Fault.h"
#include "trace/index/Index.h"
#include "trace/read/ByteSource.h"
#include "trace/read/Columns.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// All records of a trace from front to back, batch by batch, and what is noted of them. Threads:
// one at a time.
class RecordFeed {
 public:
  virtual ~RecordFeed() = default;

  // Replaces the batch by the next one; false at the end, and where a fault was met.
  [[nodiscard]] virtual bool Next() = 0;

  // What there is of the batch, good until the next one: the records, and of each attribute that is
  // declared the values of all of them; nothing where there are no notes.
  virtual const Columns& Batch() const = 0;
  virtual std::span<const NoteValues* const> Notes() const = 0;

  // The fault that ended the reading, if any. All records before it were told.
  virtual const Fault& GetFault() const = 0;

  // Bytes that were read so far, and how many there are, 0 where that is not known.
  virtual uint64_t Done() const = 0;
  virtual uint64_t All() const = 0;
};

// Of a trace that is read from front to back, without notes. Cycles may fall.
std::unique_ptr<RecordFeed> FeedFrom(std::unique_ptr<ByteSource> source, const std::string& name);

// Of a trace with notes, all of which outlive the feed.
std::unique_ptr<RecordFeed> FeedFrom(const TraceSource& trace, const Index& index,
                                     NotesOfTrace& notes);

// Whether a fault of a feed is that the trace breaks off there: what comes before is whole.
bool IsBreak(const Fault& fault);

}  // namespace marrowfin

#endif
