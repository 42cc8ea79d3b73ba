#ifndef EXPLORER_CORE_CORE_H
#define EXPLORER_CORE_CORE_H

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "explorer/core/AnswerBytes.h"
#include "explorer/core/OpenTraces.h"
#include "explorer/core/Refusal.h"
#include "trace/base/ArrayShape.h"

namespace marrowfin {

// Answers questions about traces: bytes in, bytes out, as docs/explorer-protocol.md lays them out.
// It knows nothing of how they travel, so that a server, a worker in a page or a test may carry
// them, and nothing of whoever asked before: each question says all that it needs.
//
// Any number of threads may ask.
class Core {
 public:
  // Whether nobody wants the answer any more; asked now and then while it is found.
  typedef std::function<bool()> Cancelled;

  // `shape` is the array of all traces, where whoever opened them told it. The traces must outlive
  // it.
  explicit Core(OpenTraces& traces, const std::optional<ArrayShape>& shape = {})
      : traces(traces), shape(shape) {}

  // The answer to a question, whatever bytes that is; a refusal is an answer too.
  std::vector<uint8_t> Answer(std::span<const uint8_t> question,
                              const Cancelled& cancelled = {}) const;

 private:
  MaybeRefusal Ask(std::span<const uint8_t> question, const Cancelled& cancelled,
                   AnswerBytes& answer) const;

  OpenTraces& traces;
  std::optional<ArrayShape> shape;
};

// The answer that `ask` makes; whatever it throws is refused, since a mistake in one answer must
// not end a server that has others to give.
std::vector<uint8_t> AnswerBy(const std::function<MaybeRefusal(AnswerBytes&)>& ask);

// The names of all questions, in alphabetical order.
std::vector<std::string> QuestionNames();

}  // namespace marrowfin

#endif
