#include "trace/index/PackedSink.h"

#include <algorithm>
#include <span>
#include <utility>
#include <vector>

#include "trace/base/Fingerprint.h"
#include "trace/index/EndTables.h"
#include "trace/index/IndexBuilder.h"
#include "trace/index/IndexStore.h"
#include "trace/index/IndexWriter.h"
#include "trace/index/SameTrace.h"
#include "trace/read/Decode.h"
#include "trace/read/MalformedRecord.h"
#include "trace/read/NotesFile.h"
#include "trace/write/MfzWriter.h"

namespace marrowfin {

namespace {

// The index of what is written, in a file without a name until all of it is there: so its bytes
// take no memory, and stand in the same order each time.
struct GrowingIndex {
  explicit GrowingIndex(std::unique_ptr<IndexDraft> draft)
      : writer(std::move(draft)),
        builder([this](std::span<const uint8_t> raw) { return writer.Append(raw); }) {}

  IndexWriter writer;
  IndexBuilder builder;  // uses the writer, also while it goes
};

// Where no file can be had, memory does as well.
std::unique_ptr<IndexDraft> DraftOfIndex() {
  Result<std::unique_ptr<IndexDraft>> draft = IndexWithoutName()->Create();
  if (!draft) {
    draft = IndexInMemory()->Create();
  }
  return std::move(draft).Take();
}

// Notes, as far as they are to be written behind records.
class NotesToCome {
 public:
  explicit NotesToCome(const PositionedFile& file) : size(file.Size()) {
    Result<std::unique_ptr<NotesFile>> opened = NotesFile::Open(std::make_unique<Borrowed>(file));
    if (opened) {
      notes = std::move(opened).Take();
    }
  }

  // The byte up to which notes are of the first `records` records: that of the first block that is
  // not. Samples go with the block of notes before them.
  uint64_t EndOf(uint64_t records) {
    if (notes == nullptr) {
      return 0;  // what are no notes comes at the end
    }
    const auto blocks = notes->Blocks();
    while (next < blocks.size() &&
           (blocks[next].kind != NotesBlockKind::NOTES || blocks[next].high <= records)) {
      ++next;
    }
    return next < blocks.size() ? blocks[next].offset : size;
  }

 private:
  // A file that belongs to somebody else.
  class Borrowed : public PositionedFile {
   public:
    explicit Borrowed(const PositionedFile& file)
        : PositionedFile(file.Name(), file.Identity()), file(file) {}
    Result<FileIdentity> Now() const override { return file.Now(); }
    Fault ReadAt(uint64_t offset, size_t length, uint8_t* out) const override {
      return file.ReadAt(offset, length, out);
    }

   private:
    const PositionedFile& file;
  };

  std::unique_ptr<NotesFile> notes;
  uint64_t size;
  size_t next = 0;
};

}  // namespace

struct PackedSink::Work {
  Work(ByteSink& below, const std::string& name, const PackedSinkOptions& options)
      : name(name), writer(below, options.level) {
    if (options.index) {
      index = std::make_unique<GrowingIndex>(DraftOfIndex());
    }
  }

  void Take(std::span<const uint8_t> bytes);
  size_t TakeRecords(std::span<const uint8_t> bytes);
  void TakeBatch();
  void AddToPrint();
  void TakeRest(bool atEnd);
  void Carry(MfzStream stream, const PositionedFile& file, uint64_t from, uint64_t until);
  void WriteNotes(uint64_t until);
  void KeepEdges(std::span<const uint8_t> bytes);
  void EndIndex();

  const std::string name;
  MfzWriter writer;
  std::unique_ptr<GrowingIndex> index;
  std::unique_ptr<PositionedFile> about;
  std::unique_ptr<PositionedFile> notes;
  std::unique_ptr<NotesToCome> notesToCome;  // in these
  uint64_t notesWritten = 0;

  std::vector<uint8_t> left;  // bytes that are no whole record yet or, behind a fault, none at all
  Columns columns;            // a batch that grows
  uint32_t printed = 0;
  Fingerprint print;  // of the first records
  uint64_t records = 0;
  uint64_t rawBytes = 0;
  Fault end;    // the malformed record, behind which bytes are bytes
  Fault fault;  // of what is packed with the trace
  std::vector<uint8_t> first;
  std::vector<uint8_t> last;
};

PackedSink::PackedSink(ByteSink& below, const std::string& name, const PackedSinkOptions& options)
    : work(std::make_unique<Work>(below, name, options)) {}

PackedSink::~PackedSink() = default;

void PackedSink::EncloseNotes(std::unique_ptr<PositionedFile> notes) {
  work->notes = std::move(notes);
  work->notesToCome = work->notes ? std::make_unique<NotesToCome>(*work->notes) : nullptr;
}

void PackedSink::EncloseAbout(std::unique_ptr<PositionedFile> about) {
  work->about = std::move(about);
}

void PackedSink::Recognise(About& about) const {
  about.printed = work->printed;
  about.fingerprint = work->print.Value();
}

uint64_t PackedSink::RawBytes() const { return work->rawBytes; }
uint64_t PackedSink::PackedBytes() const { return work->writer.PackedBytes(); }
uint64_t PackedSink::Records() const { return work->records; }
size_t PackedSink::Blocks() const { return work->writer.Blocks(); }

void PackedSink::Work::KeepEdges(std::span<const uint8_t> bytes) {
  const size_t missing = static_cast<size_t>(TRACE_EDGE) - first.size();
  const std::span<const uint8_t> head = bytes.first(std::min(missing, bytes.size()));
  first.insert(first.end(), head.begin(), head.end());
  if (bytes.size() >= TRACE_EDGE) {
    last.clear();
    bytes = bytes.last(static_cast<size_t>(TRACE_EDGE));
  }
  last.insert(last.end(), bytes.begin(), bytes.end());
  if (last.size() > TRACE_EDGE) {
    last.erase(last.begin(), last.end() - static_cast<ptrdiff_t>(TRACE_EDGE));
  }
}

void PackedSink::Work::AddToPrint() {
  for (size_t i = 0; i < columns.size && printed < About::MOST_PRINTED; ++i, ++printed) {
    print.Add(columns.tag[i].type, columns.cycle[i], columns.tag[i].thread, columns.at[i],
              columns.to[i]);
  }
}

// The batch goes to the index first: at the end of a block of records it has all of them.
void PackedSink::Work::TakeBatch() {
  if (columns.size == 0) {
    return;
  }
  if (index) {
    index->builder.Add(columns);
  }
  bool ended = false;
  AddToPrint();
  for (size_t i = 0; i < columns.size; ++i) {
    ended = writer.Record(columns.tag[i].type - SWITCH_RECORD, columns.cycle[i],
                          columns.tag[i].thread, columns.at[i], columns.to[i]) ||
            ended;
  }
  records += columns.size;
  columns.Clear();
  if (ended) {
    WriteNotes(notesToCome ? notesToCome->EndOf(records) : 0);
  }
}

// Batches are as long as they get, so that the segments of the index end where blocks do.
// Returns the bytes that they took.
size_t PackedSink::Work::TakeRecords(std::span<const uint8_t> bytes) {
  const uint8_t* next = bytes.data();
  const uint8_t* const stop = bytes.data() + bytes.size();
  for (const uint8_t* before = nullptr; next != before;) {
    before = next;
    next = DecodeBest(next, stop, columns);
    if (columns.size == Columns::CAPACITY) {
      TakeBatch();
    }
  }
  return static_cast<size_t>(next - bytes.data());
}

// A record that is cut between two writes is completed first, so that all others are decoded where
// they lie.
void PackedSink::Work::Take(std::span<const uint8_t> bytes) {
  if (!end && !left.empty()) {
    const size_t before = left.size();
    const std::span<const uint8_t> more = bytes.first(std::min(bytes.size(), LARGE_RECORD));
    left.insert(left.end(), more.begin(), more.end());
    const size_t taken = TakeRecords(left);
    if (taken < before) {
      bytes = bytes.subspan(more.size());
    } else {
      bytes = bytes.subspan(taken - before);
      left.clear();
    }
  }
  if (!end && left.empty()) {
    bytes = bytes.subspan(TakeRecords(bytes));
  }
  left.insert(left.end(), bytes.begin(), bytes.end());
  TakeRest(false);
}

// What is left is no record, or the beginning of one.
void PackedSink::Work::TakeRest(bool atEnd) {
  if (!end && (left.size() >= LARGE_RECORD || (atEnd && !left.empty()))) {
    end = MalformedRecord(left.data(), left.data() + left.size());
    TakeBatch();
    writer.EndBlock();
  }
  if (end && (left.size() >= MFZ_PIECE || atEnd)) {
    writer.Bytes(MfzStream::TRACE, MfzCoding::BYTES, left);
    left.clear();
  }
}

// What is packed already is carried as it is.
void PackedSink::Work::Carry(MfzStream stream, const PositionedFile& file, uint64_t from,
                             uint64_t until) {
  std::vector<uint8_t> piece;
  while (from < until && !fault) {
    piece.resize(static_cast<size_t>(std::min<uint64_t>(MFZ_PIECE, until - from)));
    fault = file.ReadAt(from, piece.size(), piece.data());
    if (!fault) {
      writer.Bytes(stream, MfzCoding::PLAIN, piece);
    }
    from += piece.size();
  }
}

void PackedSink::Work::WriteNotes(uint64_t until) {
  if (until > notesWritten) {
    Carry(MfzStream::NOTES, *notes, notesWritten, until);
    notesWritten = until;
  }
}

ByteSink::Written PackedSink::Write(const uint8_t* bytes, size_t size) {
  Work& state = *work;
  state.KeepEdges({bytes, size});
  state.rawBytes += size;
  state.Take({bytes, size});
  const Fault& fault = state.writer.GetFault() ? state.writer.GetFault() : state.fault;
  return fault ? Written{0, fault} : Written{size, {}};
}

void PackedSink::Work::EndIndex() {
  TraceMark mark;
  mark.size = rawBytes;
  mark.modified = mark.changed = writer.Content();
  mark.edges = EdgeSum(first, last);
  const IndexTables tables = EndTables(index->builder, index->writer, {mark, name, end});
  Result<std::unique_ptr<PositionedFile>> file = index->writer.Commit(tables);
  fault = file.Why();
  if (file) {
    Carry(MfzStream::INDEX, **file, 0, (*file)->Size());
  }
}

Fault PackedSink::End() {
  Work& state = *work;
  state.TakeRest(true);
  state.TakeBatch();
  state.writer.EndBlock();
  if (state.index && !state.fault) {
    state.EndIndex();
  }
  if (state.notes) {
    state.WriteNotes(state.notes->Size());
  }
  if (state.about && !state.fault) {
    std::vector<uint8_t> text(static_cast<size_t>(state.about->Size()));
    state.fault = state.about->ReadAt(0, text.size(), text.data());
    state.writer.Bytes(MfzStream::ABOUT, MfzCoding::BYTES, text);
  }
  return state.fault ? state.fault : state.writer.End();
}

}  // namespace marrowfin
