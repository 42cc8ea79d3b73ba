#ifndef TESTS_EXPLORER_CORE_ASKEDTRACE_H
#define TESTS_EXPLORER_CORE_ASKEDTRACE_H

#include <functional>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "explorer/core/Core.h"
#include "explorer/core/OpenTraces.h"
#include "tests/explorer/core/ReadAnswer.h"
#include "tests/support/Files.h"
#include "trace/base/ArrayShape.h"

namespace marrowfin::testing {

// A trace in a file of its own that is open in a core.
class AskedTrace {
 public:
  // `beside` are files beside it: the ends of their names, and their bytes.
  explicit AskedTrace(const std::string& bytes,
                      const std::vector<std::pair<std::string, std::string>>& beside = {},
                      const std::optional<ArrayShape>& shape = {});

  // The answer to a question; the protocol and the trace are added where they are not there.
  ReadAnswer Ask(nlohmann::json question) const;

  // The same of bytes as they are.
  ReadAnswer AskBytes(const std::string& bytes) const;

  TraceStatus Status() const { return traces->Status().at(0); }

  // Waits until something holds; fails where it does not within a minute.
  void Until(const std::function<bool()>& holds) const;
  void UntilReady() const;

  // The news so far.
  std::vector<TraceNews> News() const;

  TempDir folder;
  std::string name = folder.File("t.trace");

 private:
  mutable std::mutex mutex;
  std::vector<TraceNews> news;
  std::unique_ptr<OpenTraces> traces;
  std::unique_ptr<Core> core;
};

// {"clusters":[..],"domains":[..],"pes":[..]}.
nlohmann::json ShapeJson(const ArrayShape& shape);

}  // namespace marrowfin::testing

#endif
