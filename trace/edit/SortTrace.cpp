#include "trace/edit/SortTrace.h"

#include <unistd.h>

#include <algorithm>
#include <memory>
#include <mutex>
#include <span>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "trace/edit/MergeOrder.h"
#include "trace/edit/NotedRecords.h"
#include "trace/edit/RunReader.h"
#include "trace/edit/SampleFeed.h"
#include "trace/edit/ScratchFile.h"
#include "trace/edit/SortRun.h"

namespace marrowfin {
namespace {

// A file without a name, closed with this object.
class Scratch {
 public:
  Scratch() = default;
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;
  ~Scratch() {
    if (descriptor != -1) {
      close(descriptor);
    }
  }

  Fault Open() {
    const Result<int> opened = OpenScratchFile();
    descriptor = opened ? *opened : -1;
    return opened.Why();
  }

  int Descriptor() const { return descriptor; }
  void Swap(Scratch& other) { std::swap(descriptor, other.descriptor); }

 private:
  int descriptor = -1;
};

// Appends records to a scratch file, as a SortRun writes them.
class RunWriter {
 public:
  RunWriter(int descriptor, uint64_t offset, bool noted)
      : descriptor(descriptor), noted(noted), run{offset, 0} {
    piece.reserve(2 * PIECE);
  }

  Fault Add(const RunReader& from) {
    Append(&from.Record(), sizeof(SortedRecord));
    if (noted) {
      Append(&from.Tail(), sizeof(NotedTail));
      Append(from.Notes().data(), from.Notes().size_bytes());
    }
    return piece.size() < PIECE ? Fault() : Flush();
  }

  Fault Flush() {
    Fault fault = WriteScratch(descriptor, run.offset + run.bytes, piece.data(), piece.size());
    run.bytes += piece.size();
    piece.clear();
    return fault;
  }

  const StoredRun& Run() const { return run; }

 private:
  static constexpr size_t PIECE = 1 << 20;

  void Append(const void* bytes, size_t size) {
    const auto* from = static_cast<const uint8_t*>(bytes);
    piece.insert(piece.end(), from, from + size);
  }

  int descriptor;
  bool noted;
  StoredRun run;
  std::vector<uint8_t> piece;
};

class Sorter {
 public:
  Sorter(RecordFeed& feed, const NotesFile* notes, const SortOptions& options, NewTrace& made,
         const ProgressCallback& progress)
      : feed(feed),
        noted(notes != nullptr && made.HasNotes()),
        notes(noted ? notes : nullptr),
        memory(std::max(options.memory, SortOptions::LEAST_MEMORY)),
        threads(std::max<size_t>(options.threads, 1)),
        made(made),
        records(noted ? &notes->Declarations() : nullptr, made),
        progress(progress) {}

  Result<SortAccount> Sort() {
    if (noted) {
      made.Declare(notes->Declarations());
    }
    Fault fault = SortAll();
    if (!fault && noted) {
      SampleFeed samples(*notes);
      while (samples.Next()) {
        made.Sample(samples.Sample());
      }
      account.leftOut = samples.LeftOut();
      fault = made.GetFault();
    }
    return fault ? Result<SortAccount>(fault) : account;
  }

 private:
  // What one thread puts in order at a time; the rest of the memory is for merging and writing.
  size_t RunMemory() const { return memory / 8 * 7 / threads; }

  Fault SortAll() {
    auto run = std::make_unique<SortRun>(RunMemory(), noted);
    more = run->Fill(feed, 0);
    if (!more) {
      const Fault met = CheckEnd();
      return met ? met : AddWhole(*run);
    }
    if (Fault fault = file.Open()) {
      return fault;
    }
    if (Fault fault = PutAside(std::move(run))) {
      return fault;
    }
    return MergeAll();
  }

  // A trace that breaks off is sorted up to there.
  Fault CheckEnd() {
    const Fault& end = feed.GetFault();
    if (IsBreak(end)) {
      account.end = end;
    }
    return account.end ? Fault() : end;
  }

  // All of the trace fits into memory.
  Fault AddWhole(SortRun& run) {
    run.Sort();
    account.runs = 1;
    for (size_t i = 0; i < run.Size(); ++i) {
      if (Fault fault = noted ? Add(run.Record(i), run.Tail(i).number, run.Notes(i))
                              : Add(run.Record(i), 0, {})) {
        return fault;
      }
      if (i % TOLD == 0 && !Tell(feed.Done())) {
        return CancelledFault("");
      }
    }
    return made.GetFault();
  }

  Fault Add(const SortedRecord& record, uint64_t number, std::span<const NotedValue> values) {
    if (account.records == 0) {
      account.firstCycle = record.cycle;
    }
    ++account.records;
    account.lastCycle = record.cycle;
    return records.Add(record, number, values);
  }

  // Sorts the first run, which is filled, and all others, by several threads.
  Fault PutAside(std::unique_ptr<SortRun> filled) {
    numbered = filled->Size();
    stored.emplace_back();
    std::vector<std::unique_ptr<SortRun>> runs;
    for (size_t i = 1; i < threads; ++i) {
      runs.push_back(std::make_unique<SortRun>(RunMemory(), noted));
    }
    std::vector<std::thread> others;
    for (auto& run : runs) {
      try {
        others.emplace_back([this, &run] { PutAsideInTurn(*run, false); });
      } catch (const std::system_error&) {
        break;  // this thread does it all
      }
    }
    PutAsideOne(*filled, 0);
    PutAsideInTurn(*filled, true);
    for (std::thread& other : others) {
      other.join();
    }
    if (stopped) {
      return CancelledFault("");
    }
    return fault ? fault : CheckEnd();
  }

  // Takes runs from the feed as long as there are any. Only the thread that asked for the sorting
  // tells how far it is.
  void PutAsideInTurn(SortRun& run, bool tells) {
    for (;;) {
      size_t number = 0;
      {
        const std::lock_guard<std::mutex> lock(mutex);
        if (!more || fault || (tells && !Tell(feed.Done()))) {
          return;
        }
        more = run.Fill(feed, numbered);
        numbered += run.Size();
        number = stored.size();
        stored.emplace_back();
      }
      PutAsideOne(run, number);
    }
  }

  void PutAsideOne(SortRun& run, size_t number) {
    run.Sort();
    StoredRun place = {0, run.Bytes()};
    {
      const std::lock_guard<std::mutex> lock(mutex);
      place.offset = reserved;
      reserved += place.bytes;
      stored[number] = place;
    }
    if (Fault met = run.Write(file.Descriptor(), place.offset)) {
      const std::lock_guard<std::mutex> lock(mutex);
      fault = met;
    }
  }

  // How many runs are merged at once, each through a buffer of its own.
  size_t MostMerged() const { return std::max<size_t>(2, memory / 2 / BUFFER); }

  Fault MergeAll() {
    account.runs = stored.size();
    while (stored.size() > MostMerged()) {
      if (Fault met = MergeGroups()) {
        return met;
      }
    }
    uint64_t bytes = 0;
    uint64_t left = 0;
    return Merge(file.Descriptor(), stored, [&](const RunReader& from) -> Fault {
      bytes += sizeof(SortedRecord);
      if (left-- == 0) {
        left = TOLD;
        if (!Tell(feed.All() + bytes)) {
          return CancelledFault("");
        }
      }
      return noted ? Add(from.Record(), from.Tail().number, from.Notes())
                   : Add(from.Record(), 0, {});
    });
  }

  // Makes fewer runs of those there are, each of some that follow each other.
  Fault MergeGroups() {
    Scratch to;
    if (Fault met = to.Open()) {
      return met;
    }
    std::vector<StoredRun> merged;
    uint64_t offset = 0;
    for (size_t begin = 0; begin < stored.size(); begin += MostMerged()) {
      const size_t count = std::min(MostMerged(), stored.size() - begin);
      RunWriter writer(to.Descriptor(), offset, noted);
      Fault met = Merge(file.Descriptor(), std::span(stored).subspan(begin, count),
                        [&](const RunReader& from) { return writer.Add(from); });
      if (!met) {
        met = writer.Flush();
      }
      if (met) {
        return met;
      }
      merged.push_back(writer.Run());
      offset += writer.Run().bytes;
    }
    stored = std::move(merged);
    file.Swap(to);
    return {};
  }

  template <class Take>
  Fault Merge(int descriptor, std::span<const StoredRun> runs, Take take) {
    const size_t buffer = std::clamp<size_t>(memory / 2 / runs.size(), BUFFER, 4 << 20);
    std::vector<std::unique_ptr<RunReader>> readers;
    MergeOrder order(runs.size());
    for (size_t i = 0; i < runs.size(); ++i) {
      readers.push_back(std::make_unique<RunReader>(descriptor, runs[i], noted, buffer));
      if (readers[i]->Next()) {
        order.First(i, readers[i]->Record().cycle);
      }
      if (readers[i]->GetFault()) {
        return readers[i]->GetFault();
      }
    }
    for (order.Begin(); order.HasNext();) {
      RunReader& from = *readers[order.Winner()];
      if (Fault met = take(from)) {
        return met;
      }
      if (from.Next()) {
        order.Next(from.Record().cycle);
        continue;
      }
      if (from.GetFault()) {
        return from.GetFault();
      }
      order.End();
    }
    return made.GetFault();
  }

  bool Tell(uint64_t done) {
    stopped = stopped || (progress && !progress({done, 2 * feed.All(), Progress::BYTES}));
    return !stopped;
  }

  static constexpr size_t BUFFER = 256 << 10;
  static constexpr uint64_t TOLD = 1 << 16;  // records between two tellings

  RecordFeed& feed;
  const bool noted;
  const NotesFile* const notes;
  const size_t memory;
  const size_t threads;
  NewTrace& made;
  NotedRecords records;
  const ProgressCallback& progress;
  SortAccount account;
  Scratch file;
  bool stopped = false;

  std::mutex mutex;  // guards the feed and what follows
  bool more = true;
  uint64_t numbered = 0;  // records that were taken from the feed
  uint64_t reserved = 0;  // bytes of the file
  std::vector<StoredRun> stored;
  Fault fault;
};

}  // namespace

Result<SortAccount> SortTrace(RecordFeed& feed, const NotesFile* notes, const SortOptions& options,
                              NewTrace& made, const ProgressCallback& progress) {
  return Sorter(feed, notes, options, made, progress).Sort();
}

}  // namespace marrowfin
