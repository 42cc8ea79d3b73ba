#include "trace/edit/RecordFeed.h"

#include <utility>
#include <vector>

#include "trace/ask/BatchCursor.h"
#include "trace/ask/EventFilter.h"
#include "trace/read/Reader.h"

namespace marrowfin {
namespace {

class PlainFeed : public RecordFeed {
 public:
  PlainFeed(std::unique_ptr<ByteSource> source, const std::string& name)
      : reader(std::move(source), name, Options()), columns(std::make_unique<Columns>()) {}

  bool Next() override { return reader.Next(*columns); }
  const Columns& Batch() const override { return *columns; }
  std::span<const NoteValues* const> Notes() const override { return {}; }
  const Fault& GetFault() const override { return reader.GetFault(); }
  uint64_t Done() const override { return reader.Source().InputRead(); }
  uint64_t All() const override { return reader.Source().InputSize().value_or(0); }

 private:
  static ReadOptions Options() {
    ReadOptions options;
    options.ordered = false;
    return options;
  }

  Reader reader;
  std::unique_ptr<Columns> columns;
};

class NotedFeed : public RecordFeed {
 public:
  NotedFeed(const TraceSource& trace, const Index& index, NotesOfTrace& notes)
      : index(index), notes(notes), cursor(trace, index, EventFilter()) {}

  bool Next() override {
    if (!cursor.Next(found)) {
      fault = cursor.GetFault() ? cursor.GetFault() : index.GetSummary().end;
      return false;
    }
    values.clear();
    for (uint32_t attribute = 0; attribute < notes.Declarations().attributes.size(); ++attribute) {
      const Result<const NoteValues*> of = notes.Of(found, attribute);
      if (!of) {
        fault = of.Why();
        return false;
      }
      values.push_back(*of);
    }
    return true;
  }

  const Columns& Batch() const override { return *found.columns; }
  std::span<const NoteValues* const> Notes() const override { return values; }
  const Fault& GetFault() const override { return fault; }
  uint64_t Done() const override {
    return found.columns == nullptr ? 0 : found.columns->firstOffset + found.columns->Bytes();
  }
  uint64_t All() const override { return index.GetSummary().bytes; }

 private:
  const Index& index;
  NotesOfTrace& notes;
  BatchCursor cursor;
  Selection found;
  std::vector<const NoteValues*> values;
  Fault fault;
};

}  // namespace

std::unique_ptr<RecordFeed> FeedFrom(std::unique_ptr<ByteSource> source, const std::string& name) {
  return std::make_unique<PlainFeed>(std::move(source), name);
}

std::unique_ptr<RecordFeed> FeedFrom(const TraceSource& trace, const Index& index,
                                     NotesOfTrace& notes) {
  return std::make_unique<NotedFeed>(trace, index, notes);
}

bool IsBreak(const Fault& fault) {
  return fault.kind == Fault::CUT_RECORD || fault.kind == Fault::UNKNOWN_TYPE ||
         fault.kind == Fault::WRONG_LENGTH || fault.kind == Fault::DAMAGED_INPUT;
}

}  // namespace marrowfin
