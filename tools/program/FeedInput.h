#ifndef TOOLS_PROGRAM_FEEDINPUT_H
#define TOOLS_PROGRAM_FEEDINPUT_H

#include <memory>
#include <optional>
#include <string>

#include "tools/program/EditInput.h"
#include "trace/base/About.h"
#include "trace/base/ArrayShape.h"
#include "trace/edit/RecordFeed.h"
#include "trace/read/NotesFile.h"
#include "trace/read/Summary.h"

namespace marrowfin {

// A trace that is gone through from front to back, with its companion where it has one. One without
// is read as it comes and needs no index.
class FedTrace {
 public:
  // `companion` says whether it is wanted. Standard input has none.
  [[nodiscard]] MaybeFailure Open(const std::string& name, bool companion, const Console& console);

  // Begins, or begins again where an index turned out damaged, which standard input and pipes do
  // not. `summarizer` sees every batch.
  [[nodiscard]] Fault Begin(Summarizer& summarizer);

  RecordFeed& Feed() { return *feed; }
  const NotesFile* Notes() const { return edited ? edited->companion->Notes() : nullptr; }
  const About* GetAbout() const { return edited ? edited->companion->GetAbout() : nullptr; }
  bool HasCompanion() const { return Notes() != nullptr || GetAbout() != nullptr; }

  // What a viewer shows it as: what the run told, else the smallest array that holds it.
  std::optional<ArrayShape> View(const Summary& summary) const;

  // Whether what ended the feed is that the index is damaged or contradicts the trace.
  bool HasDamagedIndex() const;

  // Builds its index anew, as AskIndexed does.
  [[nodiscard]] Fault Rebuild(const Console& console);

  // Says what of its notes was not believed.
  void ReportNotes(const Console& console) const;

 private:
  std::string name;
  std::unique_ptr<ByteSource> source;   // of one without companion, until it begins
  std::unique_ptr<EditedTrace> edited;  // of one with companion
  std::unique_ptr<RecordFeed> feed;
};

}  // namespace marrowfin

#endif
