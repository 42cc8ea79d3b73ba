#ifndef TRACE_READ_COMPANIONCHECK_H
#define TRACE_READ_COMPANIONCHECK_H

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "trace/base/About.h"
#include "trace/base/Fault.h"
#include "trace/base/Fingerprint.h"
#include "trace/base/NotesFormat.h"
#include "trace/read/Columns.h"
#include "trace/read/NotesFile.h"

namespace marrowfin {

// Compares all of a companion with its trace, whose records pass by once, from the first to the
// last: so the trace may be packed or come through a pipe. Reads each block of notes and samples
// and tells of everything that a reader would not believe. One thread at a time.
class CompanionCheck {
 public:
  // Looks for the companion that is packed with the trace of that name, or else lies beside it.
  // Every fault is told to `onFinding`.
  CompanionCheck(const std::string& trace, std::function<void(const Fault&)> onFinding);

  // Whether there are such files, good or bad.
  bool HasAbout() const { return hasAbout; }
  bool HasNotes() const { return hasNotes; }

  const std::string& AboutName() const { return aboutName; }
  const std::string& NotesName() const { return notesName; }

  // The next records of the trace.
  void Add(const Columns& records);

  // There are no more of them.
  void Finish();

  // What was found to be right.
  uint64_t NotedRecords() const { return notedRecords; }  // in blocks of notes
  uint64_t Samples() const { return samples; }

 private:
  void OpenAbout(const PositionedFile* packed);
  void OpenNotes(std::unique_ptr<PositionedFile> packed);
  void AddToPrint(const Columns& records, size_t row);
  void BeginBlocks(uint64_t record);
  void EndBlock();
  void CheckSamples(size_t number);
  void RefuseNotes(const std::string& reason);

  std::function<void(const Fault&)> onFinding;
  std::string aboutName;
  std::string notesName;
  bool hasAbout = false;
  bool hasNotes = false;
  std::optional<About> about;  // while it may be of this trace
  Fingerprint firstRecords;
  uint32_t printed = 0;
  std::unique_ptr<NotesFile> notes;  // while they may be of this trace
  size_t next = 0;                   // block that was not looked at yet
  std::optional<NotesBlock> block;   // whose records pass by
  Fingerprint print;                 // of those that have
  uint64_t notedRecords = 0;
  uint64_t samples = 0;
  std::map<std::tuple<uint32_t, uint32_t, uint32_t>, uint64_t> sampled;  // last cycle of each
};

}  // namespace marrowfin

#endif
