#include "tools/program/FeedInput.h"

#include <sys/stat.h>

#include <utility>

#include "tools/program/CompanionInput.h"
#include "tools/program/Output.h"
#include "trace/read/CompanionFiles.h"
#include "trace/read/FittingShapes.h"

namespace marrowfin {
namespace {

bool IsPlainFile(const std::string& name) {
  struct stat status;
  return name != STANDARD_STREAM && stat(name.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

// Beside it, or packed with it. What cannot be looked at is told by who opens it.
bool MayHaveCompanion(const std::string& name) {
  if (!IsPlainFile(name)) {
    return false;
  }
  const Result<CompanionFiles> files = CompanionFilesOf(name);
  return !files || files->about != nullptr || files->notes != nullptr;
}

// What is no plain file was used up.
Result<std::unique_ptr<ByteSource>> OpenAgain(const std::string& name) {
  if (!IsPlainFile(name)) {
    Fault fault = SystemFault(name, "cannot read again", ESPIPE);
    fault.remedy = "the index of another trace was damaged and is whole now: run this once more";
    return fault;
  }
  return OpenInput(name);
}

// Adds what a feed tells to a summary.
class SummarizedFeed : public RecordFeed {
 public:
  SummarizedFeed(std::unique_ptr<RecordFeed> feed, Summarizer& summarizer)
      : feed(std::move(feed)), summarizer(summarizer) {}

  bool Next() override {
    const bool more = feed->Next();
    if (more) {
      summarizer.Add(feed->Batch());
    }
    return more;
  }
  const Columns& Batch() const override { return feed->Batch(); }
  std::span<const NoteValues* const> Notes() const override { return feed->Notes(); }
  const Fault& GetFault() const override { return feed->GetFault(); }
  uint64_t Done() const override { return feed->Done(); }
  uint64_t All() const override { return feed->All(); }

 private:
  std::unique_ptr<RecordFeed> feed;
  Summarizer& summarizer;
};

}  // namespace

MaybeFailure FedTrace::Open(const std::string& path, bool companion, const Console& console) {
  name = path;
  if (companion && MayHaveCompanion(name)) {
    edited = std::make_unique<EditedTrace>();
    if (MaybeFailure failure = OpenIndexed(name, console, edited->trace)) {
      return failure;
    }
    OpenItsCompanion(console, *edited);
    return std::nullopt;
  }
  Result<std::unique_ptr<ByteSource>> opened = OpenInput(name);
  if (!opened) {
    return FailureOf(opened.Why());
  }
  source = std::move(opened).Take();
  return std::nullopt;
}

Fault FedTrace::Begin(Summarizer& summarizer) {
  std::unique_ptr<RecordFeed> plain;
  if (edited != nullptr && Notes() != nullptr) {
    edited->notes = std::make_unique<JoinedNotes>(edited->trace, *Notes());
    plain = FeedFrom(*edited->trace.file, *edited->trace.index, *edited->Notes());
  } else if (edited != nullptr) {
    const TraceSource& trace = *edited->trace.file;
    plain = FeedFrom(PieceSource(trace.File(), 0, trace.Size()), name);
  } else {
    if (source == nullptr) {
      Result<std::unique_ptr<ByteSource>> again = OpenAgain(name);
      if (!again) {
        return again.Why();
      }
      source = std::move(again).Take();
    }
    plain = FeedFrom(std::move(source), name);
  }
  feed = std::make_unique<SummarizedFeed>(std::move(plain), summarizer);
  return {};
}

std::optional<ArrayShape> FedTrace::View(const Summary& summary) const {
  const std::optional<ArrayShape> told =
      edited != nullptr ? ToldView(*edited->companion, summary) : std::nullopt;
  return told ? told : SuggestShape(summary);
}

bool FedTrace::HasDamagedIndex() const {
  return feed != nullptr && feed->GetFault().kind == Fault::DAMAGED_INDEX;
}

Fault FedTrace::Rebuild(const Console& console) {
  return edited != nullptr ? RebuildIndex(console, edited->trace) : Fault();
}

void FedTrace::ReportNotes(const Console& console) const {
  if (edited != nullptr && edited->Notes() != nullptr) {
    ReportRefused(edited->Notes()->Refused(), console);
  }
}

}  // namespace marrowfin
