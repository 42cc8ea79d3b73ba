#ifndef TRACE_ASK_NOTESINDEX_H
#define TRACE_ASK_NOTESINDEX_H

#include <cstdint>
#include <memory>
#include <string>

#include "trace/ask/NotesOfTrace.h"
#include "trace/base/Fault.h"
#include "trace/base/Progress.h"
#include "trace/base/Result.h"
#include "trace/index/CounterTable.h"
#include "trace/index/Index.h"
#include "trace/index/IndexStore.h"
#include "trace/index/NoteTables.h"
#include "trace/read/PositionedFile.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

enum class Likeness;

// What an index knows of the notes of a trace, so that a question needs few of them: between what
// the values of each block lie, how many records have which kind over time, and counters over time
// in cells. It is of one trace and one notes file, as they are: where they grew, what came is taken
// up, and an index of others is made anew.
//
// Making it reads all notes and the trace, and compares each block with its records: who has an
// index knows that the notes are of the trace. Memory follows the number of blocks, of which each
// has some ten thousand records or samples, and is bounded in all else.
//
// Any number of threads may ask, but Follow needs it for itself.
class NotesIndex {
 public:
  // The index of the notes in the file that it is kept in, beside them or in the cache folder; made
  // where there is none, extended and kept again where notes and trace grew. `progress` is told
  // bytes of the notes and may stop it. OTHER_TRACE where they are not of this trace. Where a block
  // is damaged the index leaves it out, is not kept, and `notes` tells. Where there is no room for
  // it, or `index` tells of a part of the trace, it is not kept either, which is no fault.
  //
  // `notes` use it from then on (NotesOfTrace::Know): the index must outlive them.
  [[nodiscard]] static Result<std::unique_ptr<NotesIndex>> Open(
      const TraceSource& trace, const Index& index, NotesOfTrace& notes,
      const ProgressCallback& progress = {});

  // The same of an index that is kept in `store`.
  [[nodiscard]] static Result<std::unique_ptr<NotesIndex>> Open(
      const TraceSource& trace, const Index& index, NotesOfTrace& notes, IndexStore& store,
      const ProgressCallback& progress = {});

  // Makes it anew, whatever there is: for one that is damaged.
  [[nodiscard]] static Result<std::unique_ptr<NotesIndex>> Rebuild(
      const TraceSource& trace, const Index& index, NotesOfTrace& notes, IndexStore& store,
      const ProgressCallback& progress = {});

  NotesIndex(const NotesIndex&) = delete;
  NotesIndex& operator=(const NotesIndex&) = delete;

  // Takes up the blocks that came since, after trace, index and notes were followed. What is taken
  // up is not kept.
  [[nodiscard]] Fault Follow(const TraceSource& trace, const Index& index, NotesOfTrace& notes,
                             const ProgressCallback& progress = {});

  const NoteTables& Tables() const { return tables; }

  // A counter over time; an empty one where it has no samples. DAMAGED_INDEX where the file of the
  // index is damaged.
  [[nodiscard]] Result<CounterSeries> Series(const CounterKey& key) const;

  // The places at which a counter has samples, in no particular order.
  std::vector<Place> PlacesOf(uint32_t counter) const;

  // Why nothing is known of counters: no fault where it is. Behind a block of samples that is
  // damaged nobody knows what they have.
  const Fault& WhyNoCounters() const { return noCounters; }

  // How many blocks of the notes it has taken up, of those of NotesFile::Blocks.
  size_t Entries() const { return tables.entries.size(); }

  // Whether it lies in a file, from which it is opened next time.
  bool IsKept() const { return file != nullptr; }

  Fault Damaged(const std::string& reason) const;

 private:
  NotesIndex() = default;

  static Result<std::unique_ptr<NotesIndex>> Load(const TraceSource& trace, const TraceMark& mark,
                                                  const NotesFile& notes,
                                                  std::unique_ptr<PositionedFile> file);
  static Result<std::unique_ptr<NotesIndex>> Extend(std::unique_ptr<NotesIndex> grown,
                                                    const TraceSource& trace, const Index& index,
                                                    const TraceMark& mark, NotesOfTrace& notes,
                                                    IndexStore& store,
                                                    const ProgressCallback& progress);
  Likeness LikenessTo(const TraceSource& trace, const TraceMark& mark,
                      const NotesFile& notes) const;
  Fault LoadCounters();
  Result<std::vector<uint8_t>> Section(const IndexSection& section) const;
  Fault TakeUp(const TraceSource& trace, const Index& index, NotesOfTrace& notes,
               const ProgressCallback& progress);
  Result<bool> TakeNotes(const TraceSource& trace, const Index& index, NotesOfTrace& notes);
  void TakeSamples(const NotesFile& notes, size_t number);
  void Keep(const TraceMark& mark, const NotesFile& notes, IndexStore& store);

  NoteTables tables;
  std::unique_ptr<CounterTable> counters;  // all of them, where they are not in the file
  Fault noCounters;
  bool whole = true;  // all blocks were taken up, and none was damaged
  std::unique_ptr<PositionedFile> file;
};

}  // namespace marrowfin

#endif
