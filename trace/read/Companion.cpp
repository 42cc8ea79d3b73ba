#include "trace/read/Companion.h"

#include <algorithm>
#include <filesystem>
#include <string>
#include <utility>

#include "trace/base/Fingerprint.h"
#include "trace/read/AboutFile.h"
#include "trace/read/Columns.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

namespace {

// What is packed with a trace or, where there is no such thing, a file beside it; null where there
// is none.
Result<std::unique_ptr<PositionedFile>> OpenIfThere(const TraceSource& trace, Enclosure what,
                                                    const std::string& name) {
  if (std::unique_ptr<PositionedFile> enclosed = trace.File().Enclosed(what)) {
    return enclosed;
  }
  std::error_code error;
  if (!std::filesystem::exists(name, error) && !error) {
    return std::unique_ptr<PositionedFile>();
  }
  return OpenPlainFile(name, PlainAccess::READ);
}

bool HasGrown(const TraceSource& trace) {
  const Result<FileIdentity> now = trace.File().Now();
  return now && now->size > trace.Size();
}

// Whether the first block of notes is of the first records of the trace; nothing is known where it
// begins later, cannot be read, or is ahead of the trace, which grows.
Fault CompareFirstBlock(const NotesFile& notes, const TraceSource& trace) {
  const auto entries = notes.Blocks();
  const auto first = std::find_if(entries.begin(), entries.end(), [](const NotesEntry& entry) {
    return entry.kind == NotesBlockKind::NOTES;
  });
  if (first == entries.end() || first->low != 0) {
    return {};
  }
  const Result<NotesBlock> block = notes.Notes(static_cast<size_t>(first - entries.begin()));
  if (!block) {
    return {};
  }
  Fingerprint print;
  const auto columns = std::make_unique<Columns>();
  uint64_t record = 0;
  for (uint64_t offset = 0; record < block->count; offset += columns->Bytes()) {
    if (offset >= trace.Size() || !trace.Decode(offset, trace.Size(), *columns)) {
      return HasGrown(trace)
                 ? Fault()
                 : notes.OtherTrace(*first, "notes of records that the trace does not have");
    }
    for (size_t i = 0; i < columns->size && record < block->count; ++i, ++record) {
      print.Add(columns->tag[i].type, columns->cycle[i], columns->tag[i].thread, columns->at[i],
                columns->to[i]);
    }
  }
  return print.Value() == block->fingerprint ? Fault()
                                             : notes.OtherTrace(*first, "notes of another trace");
}

}  // namespace

Companion Companion::Beside(const TraceSource& trace) {
  Companion companion;
  companion.inFiles = true;
  companion.Follow(trace);
  return companion;
}

Companion Companion::Of(const TraceSource& trace, std::unique_ptr<PositionedFile> about,
                        std::unique_ptr<PositionedFile> notes) {
  Companion companion;
  companion.TakeAbout(trace, std::move(about));
  companion.TakeNotes(trace, std::move(notes));
  return companion;
}

void Companion::Follow(const TraceSource& trace) {
  if (!inFiles) {
    return;
  }
  TakeAbout(trace, OpenIfThere(trace, Enclosure::ABOUT, AboutBeside(trace.Name())));
  if (notes == nullptr || notes->Follow()) {
    TakeNotes(trace, OpenIfThere(trace, Enclosure::NOTES, NotesFile::NameBeside(trace.Name())));
  }
}

void Companion::TakeAbout(const TraceSource& trace, Result<std::unique_ptr<PositionedFile>> file) {
  about.reset();
  noAbout = file.Why();
  if (!file || *file == nullptr) {
    return;
  }
  Result<About> read = ReadAbout(**file);
  noAbout = read ? CheckIsAbout(*read, trace, (*file)->Name()) : read.Why();
  if (!noAbout) {
    about = std::move(read).Take();
  }
}

void Companion::TakeNotes(const TraceSource& trace, Result<std::unique_ptr<PositionedFile>> file) {
  notes.reset();
  noNotes = file.Why();
  if (!file || *file == nullptr) {
    return;
  }
  Result<std::unique_ptr<NotesFile>> opened = NotesFile::Open(std::move(file).Take());
  noNotes = opened ? CompareFirstBlock(**opened, trace) : opened.Why();
  if (!noNotes) {
    notes = std::move(opened).Take();
  }
}

}  // namespace marrowfin
