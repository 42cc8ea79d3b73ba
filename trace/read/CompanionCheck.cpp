#include "trace/read/CompanionCheck.h"

#include <filesystem>
#include <utility>

#include "trace/read/AboutFile.h"
#include "trace/read/CompanionFiles.h"

namespace marrowfin {

namespace {

bool IsThere(const std::string& name) {
  std::error_code error;
  return std::filesystem::exists(name, error) || error;
}

}  // namespace

CompanionCheck::CompanionCheck(const std::string& trace,
                               std::function<void(const Fault&)> onFinding)
    : onFinding(std::move(onFinding)),
      aboutName(AboutBeside(trace)),
      notesName(NotesFile::NameBeside(trace)) {
  std::unique_ptr<PositionedFile> packedAbout;
  std::unique_ptr<PositionedFile> packedNotes;
  // Where it cannot be opened, whoever reads the trace tells why.
  if (const Result<std::shared_ptr<const MfzFile>> packed = OpenPackedFile(trace);
      packed && *packed != nullptr) {
    packedAbout = MfzPart(*packed, MfzStream::ABOUT);
    packedNotes = MfzPart(*packed, MfzStream::NOTES);
  }
  hasAbout = packedAbout != nullptr || IsThere(aboutName);
  hasNotes = packedNotes != nullptr || IsThere(notesName);
  if (hasAbout) {
    OpenAbout(packedAbout.get());
  }
  if (hasNotes) {
    OpenNotes(std::move(packedNotes));
  }
}

void CompanionCheck::OpenAbout(const PositionedFile* packed) {
  Result<About> read = packed != nullptr ? ReadAbout(*packed) : ReadAbout(aboutName);
  if (read) {
    about = std::move(read).Take();
  } else {
    onFinding(read.Why());
  }
}

void CompanionCheck::OpenNotes(std::unique_ptr<PositionedFile> packed) {
  Result<std::unique_ptr<NotesFile>> opened =
      packed != nullptr ? NotesFile::Open(std::move(packed)) : NotesFile::Open(notesName);
  if (!opened) {
    onFinding(opened.Why());
    return;
  }
  notes = std::move(opened).Take();
}

void CompanionCheck::AddToPrint(const Columns& records, size_t row) {
  const auto add = [&](Fingerprint& to) {
    to.Add(records.tag[row].type, records.cycle[row], records.tag[row].thread, records.at[row],
           records.to[row]);
  };
  if (about && printed < about->printed) {
    add(firstRecords);
    ++printed;
  }
  if (block) {
    add(print);
  }
}

void CompanionCheck::Add(const Columns& records) {
  for (size_t row = 0; row < records.size; ++row) {
    BeginBlocks(records.firstRecord + row);
    AddToPrint(records, row);
    if (block && records.firstRecord + row + 1 == block->first + block->count) {
      EndBlock();
    }
  }
}

// Goes through the blocks up to that which begins with a record, if one does.
void CompanionCheck::BeginBlocks(uint64_t record) {
  while (notes != nullptr && !block && next < notes->Blocks().size()) {
    const NotesEntry& entry = notes->Blocks()[next];
    if (entry.kind == NotesBlockKind::NOTES && entry.low > record) {
      return;
    }
    ++next;
    if (entry.kind == NotesBlockKind::SAMPLES) {
      CheckSamples(next - 1);
    } else if (Result<NotesBlock> read = notes->Notes(next - 1)) {
      block = std::move(read).Take();
      print = Fingerprint();
    } else {
      onFinding(read.Why());
    }
  }
}

void CompanionCheck::EndBlock() {
  const bool same = print.Value() == block->fingerprint;
  notedRecords += same ? block->count : 0;
  block.reset();
  if (!same) {
    RefuseNotes("notes of another trace");
  }
}

// Where one block is of another trace all of them are.
void CompanionCheck::RefuseNotes(const std::string& reason) {
  onFinding(notes->OtherTrace(notes->Blocks()[next - 1], reason));
  notes.reset();
}

void CompanionCheck::CheckSamples(size_t number) {
  const Result<std::vector<CounterSample>> read = notes->Samples(number);
  if (!read) {
    onFinding(read.Why());
    return;
  }
  for (const CounterSample& sample : *read) {
    uint64_t& last = sampled[{sample.counter, sample.at.column, sample.at.row}];
    if (sample.cycle < last) {
      onFinding(notes->Damaged(notes->Blocks()[number].offset,
                               "a sample is of an earlier cycle than the one before it",
                               "what its counter was at its place is not known"));
      return;
    }
    last = sample.cycle;
  }
  samples += read->size();
}

void CompanionCheck::Finish() {
  if (about && (printed < about->printed || firstRecords.Value() != about->fingerprint)) {
    onFinding(OtherAbout(aboutName));
  }
  BeginBlocks(UINT64_MAX);
  if (notes != nullptr && block) {
    RefuseNotes("notes of records that the trace does not have");
  }
  if (notes != nullptr && notes->End()) {
    onFinding(notes->End());
  }
}

}  // namespace marrowfin
