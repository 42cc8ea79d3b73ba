#ifndef TOOLS_PROGRAM_TRACEINPUT_H
#define TOOLS_PROGRAM_TRACEINPUT_H

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/program/Failure.h"
#include "tools/program/Subcommand.h"
#include "trace/base/ArrayShape.h"
#include "trace/index/Index.h"
#include "trace/read/OpenSource.h"
#include "trace/read/Reader.h"
#include "trace/read/Summary.h"

namespace marrowfin {

// What the subcommands that work on a trace share.

// The failure of a fault that was met while `trace` was indexed or its index asked: where it is the
// index that cannot be written, it is the output's.
Failure IndexingFailureOf(const Fault& fault, const std::string& trace);

// Opens what is read from front to back: a file or a FIFO, or standard input (STANDARD_STREAM).
[[nodiscard]] Result<std::unique_ptr<ByteSource>> OpenInput(const std::string& name);

// Reads a trace (plain, packed, or a FIFO) from front to back with a line of progress. A fault of
// the trace itself is put into summary.end and is no failure. `also`, if given, sees every batch.
MaybeFailure Summarize(const std::string& name, const ReadOptions& options, const Console& console,
                       Summary& summary, const std::function<void(const Columns&)>& also = {});

// A trace that can be read anywhere, with its index, which is built or extended where it has to be.
// A signal that ends the program meanwhile leaves nothing half written. Where no index can be kept
// every question has to read the whole trace: that is told on console.err and is no failure.
//
// What can only be read from front to back is copied first into a file without a name, which goes
// away with the trace, as does its index: what gzip or zstd packed, a pipe, standard input.
struct IndexedTrace {
  std::unique_ptr<TraceSource> file;
  bool isCopy = false;
  std::unique_ptr<Index> index;
  std::vector<std::unique_ptr<Index>> replaced;  // built anew since; kept for who refers to them
};
MaybeFailure OpenIndexed(const std::string& name, const Console& console, IndexedTrace& trace);

// The two halves of it, for who may do without the index.
MaybeFailure OpenUnindexed(const std::string& name, const Console& console, IndexedTrace& trace);
MaybeFailure IndexOpened(const Console& console, IndexedTrace& trace);

// As OpenIndexed, of the first `most` bytes alone, which are copied; of a packed trace, any part of
// which can be read, of all.
MaybeFailure OpenFrontIndexed(const std::string& name, uint64_t most, const Console& console,
                              IndexedTrace& trace);

// Whether it can be read from front to back only, and once: a pipe, a terminal, standard input.
bool IsStream(const std::string& name);

// A refusal where standard input, or a pipe, is to be several inputs.
MaybeFailure CheckReadOnce(const std::vector<std::string>& names);

// The same without a word about an index that cannot be kept, and what there would be to say.
MaybeFailure OpenIndexedQuietly(const std::string& name, const Console& console,
                                IndexedTrace& trace);
MaybeFailure WhyUnkept(const IndexedTrace& trace);

// Builds the index of an open trace anew.
[[nodiscard]] Fault RebuildIndex(const Console& console, IndexedTrace& trace);

// The way to ask an index: the answer of `question`, which takes no arguments and returns a Fault
// or a Result. Where the index turns out to be damaged, or to contradict its trace, it is built
// anew and asked again: `question` makes the readers that it asks with itself, since those of
// before know the old index. IndexingFailureOf makes a failure of what comes back.
inline Fault::Kind KindOf(const Fault& fault) { return fault.kind; }
template <class T>
Fault::Kind KindOf(const Result<T>& result) {
  return result.Why().kind;
}
template <class Question>
auto AskIndexed(const Console& console, IndexedTrace& trace, Question question)
    -> decltype(question()) {
  auto answer = question();
  if (KindOf(answer) == Fault::DAMAGED_INDEX) {
    if (Fault fault = RebuildIndex(console, trace)) {
      return fault;
    }
    answer = question();
  }
  return answer;
}

// That a place lies outside an array is the index's fault where that says that the array has them
// all, unless it was built anew for that already; other faults are handed on.
Fault BlameIndex(const Fault& fault, const IndexedTrace& trace, const ArrayShape& shape);

// Asks what depends on the array that the index tells; once more where that was built anew
// meanwhile, since it may have told an array that is not the trace's.
template <class Ask>
MaybeFailure AskByArray(const IndexedTrace& trace, Ask ask) {
  const size_t before = trace.replaced.size();
  MaybeFailure failure = ask();
  return trace.replaced.size() == before ? failure : ask();
}

// The failure of an answer that may lack what stood behind the place where the trace breaks off.
Failure CutShort(const Fault& end);

// The flags -c, -d and -p, any of which may be left out.
struct ShapeFlags {
  std::optional<uint32_t> clusters;
  std::optional<uint32_t> domains;
  std::optional<uint32_t> pes;

  void Declare(CLI::App& app);
  bool Given() const { return clusters || domains || pes; }

  // A refusal where what was given is larger than any array that can be shown.
  MaybeFailure Check() const;

  // What was given, the viewer's defaults for the rest.
  ArrayShape Shape() const;
};

}  // namespace marrowfin

#endif
