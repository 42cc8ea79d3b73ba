#ifndef TRACE_WRITE_RECORDER_H
#define TRACE_WRITE_RECORDER_H

#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "trace/base/About.h"
#include "trace/base/Fault.h"
#include "trace/base/Fingerprint.h"
#include "trace/base/Place.h"
#include "trace/write/ByteSink.h"
#include "trace/write/NoteHandles.h"
#include "trace/write/NotesWriter.h"
#include "trace/write/Writer.h"
#include "trace/write/ZstdSink.h"

namespace marrowfin {

class FileSink;

struct RecorderOptions {
  // Whether NAME.notes and NAME.about are written beside the trace NAME. Without, all that is
  // declared, noted and counted is passed over, so that a simulator need not ask at each event.
  bool companion = true;

  // Whether the trace is packed by zstd (ZstdSink): what a Reader takes as it is, and a viewer
  // unpacked. Notes always are packed.
  bool packed = false;
  int level = 1;  // of zstd, 1 (quick) to 19 (small)

  // The thread of two records that draw nothing (messages from the first position to itself), one
  // before all others and one, a cycle later, behind them. The viewer uses up the first record of a
  // trace and ends before it shows its last cycle: so it shows all that lies between.
  std::optional<uint32_t> frame = {};
};

// Removes the companion that lies beside a trace, before another trace takes that name.
void RemoveCompanion(const std::string& trace);

// Records a simulator's run: the trace, and beside it what a trace cannot say, in step with it.
//
//     marrowfin::Recorder trace;
//     if (marrowfin::Fault fault = trace.Open("run.trace")) ...
//     const marrowfin::NameNote kind = trace.DeclareName("kind");
//     const marrowfin::NamedValue request = trace.DeclareValue(kind, "request");
//     trace.Send(cycle, thread, from, to);
//     trace.Note(request);
//     if (marrowfin::Fault fault = trace.Close()) ...
//
// Cycles must not fall from one record to the next. The trace has the same bytes whatever is noted;
// a packed one has the same bytes unpacked, and packed as well, unless records have more than eight
// notes each on average.
//
// What is recorded is handed over in pieces: after the first 64 records and then after every
// 65,536, each time the records, then what is noted of them. A run that is killed leaves whole
// records, but for the last one at most, and notes of these and no others. A failure of the trace
// ends the recording, one of the companion ends the companion, and none the simulator, not even a
// reader of a FIFO that goes away; Close tells the first one. One thread at a time.
class Recorder {
 public:
  explicit Recorder(const RecorderOptions& options = {});
  Recorder(const Recorder&) = delete;
  Recorder& operator=(const Recorder&) = delete;

  // Closes. Who wants to know whether that went well calls Close before.
  ~Recorder();

  // Creates the trace `name`, or empties it, and begins its companion. A companion that is there
  // already was that of the trace that is gone, and goes with it. Closes what was open.
  [[nodiscard]] Fault Open(const std::string& name);

  // The same into sinks, which stay the caller's and outlive the recording: the notes into `notes`,
  // or no companion where it is null. The about file stands beside the trace `name`, and what lay
  // there is left to the caller (RemoveCompanion).
  void Attach(ByteSink& trace, ByteSink* notes, const std::string& name);

  // Declares attributes that records may have, each before it is noted, under names that differ and
  // are not empty. At most NOTES_MOST_ATTRIBUTES; a failure of the recording otherwise. Texts are
  // UTF-8, and U+FFFD takes the place of bytes that are not, here and below. The names that readers
  // know, with their types, are in docs/companion-format.md.
  NumberNote DeclareNumber(std::string_view name, std::string_view unit = "");
  RealNote DeclareReal(std::string_view name, std::string_view unit = "");
  CycleNote DeclareCycle(std::string_view name);
  NameNote DeclareName(std::string_view name);
  RecordsNote DeclareRecords(std::string_view name);

  // Declares a value of an attribute: the next one, from 0 on. An empty name is a failure of
  // the recording.
  NamedValue DeclareValue(NameNote attribute, std::string_view name);

  // Declares a counter. At most NOTES_MOST_COUNTERS, under names as above.
  CounterHandle DeclareCounter(std::string_view name, std::string_view unit = "");

  // Says what the run is, any number of times; the last one counts, from the next hand-over on. The
  // recorder itself tells by which records the trace is known and, where `about.date` is empty,
  // when the recording began.
  void Describe(const About& about);

  // The processing element at `at` fired.
  RecordNumber Fire(uint64_t cycle, uint32_t thread, Place at);

  // The switch of the cluster whose first position is `cluster` transmitted. The recorder knows
  // where records have the switch (FIRST_SWITCH).
  RecordNumber Transmit(uint64_t cycle, uint32_t thread, Place cluster);

  // A message was sent.
  RecordNumber Send(uint64_t cycle, uint32_t thread, Place from, Place to);

  // Notes something of the last record. A second value of one attribute replaces the first, but for
  // RecordsNote, of which a record has any number. False where nothing could be noted: there is no
  // record, or none since the last flush, or a RecordsNote is of no earlier one, or a record has a
  // million of them. Without a companion, or after a failure, nothing is noted and it is true.
  bool Note(NumberNote attribute, uint64_t value) { return NoteBits(attribute.number, value); }
  bool Note(RealNote attribute, double value);
  bool Note(CycleNote attribute, uint64_t cycle) { return NoteBits(attribute.number, cycle); }
  bool Note(NamedValue value) { return NoteBits(value.attribute, value.value); }
  bool Note(RecordsNote attribute, RecordNumber record) {
    return NoteBits(attribute.number, static_cast<uint64_t>(record));
  }

  // From `cycle` on the counter has `value` at a place, until its next sample there: only changes
  // need to be told. Cycles of one counter and place must not fall.
  void Count(CounterHandle counter, Place at, uint64_t cycle, double value);

  // Hands over all that is recorded: the trace, then its notes. The last record takes no more of
  // them. The first failure, if there was one.
  [[nodiscard]] Fault Flush();

  // Hands over, and closes. The first failure, with the file, the byte and how many records the
  // trace has. Closing what is not open tells of the recording before.
  [[nodiscard]] Fault Close();

  // The first failure so far. What is buffered has not been tried yet.
  const Fault& GetFault() const { return fault ? fault : writer.GetFault(); }

  // The first failure of the trace itself so far, whatever became of the companion before.
  const Fault& GetTraceFault() const { return traceFault ? traceFault : writer.GetFault(); }

  // Handed over by the simulator so far, the first record of the frame included.
  uint64_t Records() const { return records; }

  // Those that are in the trace for certain, and their bytes before packing.
  uint64_t WholeRecords() const { return writer.WholeRecords(); }
  uint64_t WholeBytes() const { return writer.WholeBytes(); }

 private:
  static constexpr uint64_t PIECE = 65536;  // records; as many as a block of notes has at most

  template <NoteType TYPE>
  NoteHandle<TYPE> Declare(std::string_view text, std::string_view unit);
  bool CanDeclare(const std::set<std::string, std::less<>>& names, std::string_view name,
                  size_t most);
  void Refuse(std::string_view name, const char* reason);
  void Begin(ByteSink& trace, ByteSink* notesSink);
  void Take(uint32_t type, uint64_t cycle, uint32_t thread, Place at, Place to);
  void FillPiece(uint64_t cycle);
  void HandOver();
  void EndFrame();
  void WriteAbout();
  bool NoteBits(uint32_t attribute, uint64_t value);
  void Keep(const Fault& failure);
  void KeepOfTrace(const Fault& failure);

  RecorderOptions options;
  std::unique_ptr<FileSink> traceFile;  // null where sinks were given
  std::unique_ptr<FileSink> notesFile;
  std::optional<ZstdSink> packer;
  Writer writer;
  std::optional<NotesWriter> notes;  // none where there is no companion, and after a failure
  std::string traceName;
  About about;
  bool isAboutNew = false;  // since it was written
  Fingerprint firstPrint;   // of the first records, by which the trace is known
  std::set<std::string, std::less<>> attributes;
  std::set<std::string, std::less<>> counters;
  std::vector<uint64_t> values;  // that attributes have under a name
  uint64_t records = 0;
  uint64_t pieceEnd = 0;  // the record at which what came before is handed over
  uint64_t lastCycle = 0;
  bool isOpen = false;
  Fault fault;
  Fault traceFault;
};

}  // namespace marrowfin

#endif
