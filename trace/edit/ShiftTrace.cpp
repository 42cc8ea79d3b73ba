#include "trace/edit/ShiftTrace.h"

#include <string>

#include "trace/base/Record.h"
#include "trace/edit/SampleFeed.h"

namespace marrowfin {
namespace {

uint32_t Moved(const std::vector<ThreadMove>& moves, uint32_t thread) {
  for (const ThreadMove& move : moves) {
    if (thread >= move.first && thread <= move.last) {
      return move.to + (thread - move.first);
    }
  }
  return thread;
}

std::optional<uint32_t> Moved(uint32_t coordinate, int64_t by) {
  const int64_t moved = int64_t{coordinate} + by;
  return moved < 0 || moved > int64_t{~uint32_t{0}} ? std::nullopt
                                                    : std::optional(static_cast<uint32_t>(moved));
}

std::optional<Place> Moved(Place place, int64_t columns, int64_t rows) {
  const std::optional<uint32_t> column = Moved(place.column, columns);
  const std::optional<uint32_t> row = Moved(place.row, rows);
  return column && row ? std::optional<Place>({*column, *row}) : std::nullopt;
}

// The other side of so many, where it is one of them.
std::optional<uint32_t> Mirrored(uint32_t coordinate, uint32_t count) {
  return coordinate < count ? std::optional(count - 1 - coordinate) : std::nullopt;
}

std::optional<Place> Mirrored(Place place, const Shift& shift, uint32_t columns, uint32_t rows) {
  const std::optional<uint32_t> column =
      shift.mirrorColumns ? Mirrored(place.column, columns) : place.column;
  const std::optional<uint32_t> row = shift.mirrorRows ? Mirrored(place.row, rows) : place.row;
  return column && row ? std::optional<Place>({*column, *row}) : std::nullopt;
}

std::optional<Place> MovedElement(Place place, const Shift& shift) {
  const auto told = shift.places.find(place);
  if (told != shift.places.end()) {
    return told->second;
  }
  const std::optional<Place> mirrored =
      Mirrored(place, shift, shift.shape.Columns(), shift.shape.Rows());
  return mirrored ? Moved(*mirrored, shift.columns, shift.rows) : std::nullopt;
}

std::optional<Place> MovedSwitch(Place place, const Shift& shift) {
  if (!shift.mirrorColumns && !shift.mirrorRows) {
    return Moved(place, shift.columns, shift.rows);
  }
  const ArrayShape& shape = shift.shape;
  if (!shape.HasSwitch(place)) {
    return std::nullopt;
  }
  const std::optional<Place> cluster =
      Mirrored(shape.ClusterOfSwitch(place), shift, shape.clusters.columns, shape.clusters.rows);
  return cluster ? Moved(shape.SwitchOf(*cluster), shift.columns, shift.rows) : std::nullopt;
}

class Shifter {
 public:
  Shifter(RecordFeed& feed, const NotesFile* notes, const Shift& shift, NewTrace& made,
          const ProgressCallback& progress)
      : feed(feed),
        notes(made.HasNotes() ? notes : nullptr),
        shift(shift),
        made(made),
        progress(progress),
        later(shift.later),
        earlier(shift.earlier) {}

  Result<ShiftAccount> Run() {
    if (notes != nullptr) {
      made.Declare(notes->Declarations());
    }
    while (feed.Next()) {
      if (Fault fault = AddBatch()) {
        return fault;
      }
      if (progress && !progress({feed.Done(), feed.All(), Progress::BYTES})) {
        return CancelledFault("");
      }
    }
    if (feed.GetFault() && !IsBreak(feed.GetFault())) {
      return feed.GetFault();
    }
    account.end = feed.GetFault();
    if (notes != nullptr) {
      AddSamples();
    }
    return made.GetFault() ? Result<ShiftAccount>(made.GetFault()) : account;
  }

 private:
  std::optional<uint64_t> Moved(uint64_t cycle) const {
    if (cycle < earlier || cycle - earlier > ~uint64_t{0} - later) {
      return std::nullopt;
    }
    return cycle - earlier + later;
  }

  Fault AddBatch() {
    const Columns& columns = feed.Batch();
    for (size_t i = 0; i < columns.size; ++i) {
      if (account.records == 0 && shift.firstCycle) {
        const uint64_t first = columns.cycle[i];
        later = *shift.firstCycle > first ? *shift.firstCycle - first : 0;
        earlier = *shift.firstCycle > first ? 0 : first - *shift.firstCycle;
      }
      if (Fault fault = Add(columns, i)) {
        return fault;
      }
      if (notes != nullptr) {
        Note(i);
      }
    }
    return made.GetFault();
  }

  Fault Add(const Columns& columns, size_t i) {
    const Columns::Tag tag = columns.tag[i];
    const bool isSend = tag.type == SEND_RECORD;
    const std::optional<uint64_t> cycle = Moved(columns.cycle[i]);
    const std::optional<Place> at = tag.type == SWITCH_RECORD ? MovedSwitch(columns.at[i], shift)
                                                              : MovedElement(columns.at[i], shift);
    const std::optional<Place> to = isSend ? MovedElement(columns.to[i], shift) : Place();
    if (!cycle) {
      return Refused("cycle " + std::to_string(columns.cycle[i]) + " has no place there",
                     "move it by less");
    }
    if (!at || !to) {
      const Place lost = at ? columns.to[i] : columns.at[i];
      return Refused("column " + std::to_string(lost.column) + ", row " + std::to_string(lost.row) +
                         " has no place there",
                     "move it by less, or give the counts of the array with -c, -d and -p");
    }
    if (account.records == 0) {
      account.firstCycle = *cycle;
    }
    ++account.records;
    account.lastCycle = *cycle;
    made.Add(tag.type, *cycle, marrowfin::Moved(shift.threads, tag.thread), *at, *to);
    return {};
  }

  Fault Refused(const std::string& reason, const std::string& remedy) const {
    Fault fault;
    fault.kind = Fault::OUT_OF_RANGE;
    fault.record = account.records;
    fault.reason = "record " + std::to_string(account.records) + ": " + reason;
    fault.remedy = remedy;
    return fault;
  }

  void Note(size_t i) {
    const auto values = feed.Notes();
    for (uint32_t attribute = 0; attribute < values.size(); ++attribute) {
      const bool isCycle = notes->Declarations().attributes[attribute].type == NoteType::CYCLE;
      for (const uint64_t value : values[attribute]->All(i)) {
        if (const std::optional<uint64_t> said = isCycle ? Moved(value) : value) {
          made.Note(attribute, *said);
        } else {
          ++account.lostValues;
        }
      }
    }
  }

  void AddSamples() {
    SampleFeed samples(*notes);
    while (samples.Next()) {
      CounterSample sample = samples.Sample();
      const std::optional<uint64_t> cycle = Moved(sample.cycle);
      const std::optional<Place> at = MovedElement(sample.at, shift);
      if (cycle && at) {
        sample.cycle = *cycle;
        sample.at = *at;
        made.Sample(sample);
      } else {
        ++account.lostValues;
      }
    }
    account.leftOut = samples.LeftOut();
  }

  RecordFeed& feed;
  const NotesFile* const notes;
  const Shift& shift;
  NewTrace& made;
  const ProgressCallback& progress;
  uint64_t later;
  uint64_t earlier;
  ShiftAccount account;
};

}  // namespace

Result<ShiftAccount> ShiftTrace(RecordFeed& feed, const NotesFile* notes, const Shift& shift,
                                NewTrace& made, const ProgressCallback& progress) {
  return Shifter(feed, notes, shift, made, progress).Run();
}

About ShiftedAbout(const About& about, const Shift& shift) {
  About moved = about;
  moved.threads.clear();
  for (const auto& [thread, told] : about.threads) {
    moved.threads.emplace(Moved(shift.threads, thread), told);
  }
  moved.places.clear();
  for (const auto& [place, name] : about.places) {
    if (const std::optional<Place> to = MovedElement(place, shift)) {
      moved.places.emplace(*to, name);
    }
  }
  if (!shift.places.empty() || shift.columns != 0 || shift.rows != 0) {
    moved.array.reset();
  }
  return moved;
}

}  // namespace marrowfin
