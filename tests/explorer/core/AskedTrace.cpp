#include "tests/explorer/core/AskedTrace.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace marrowfin::testing {

using std::chrono::milliseconds;

AskedTrace::AskedTrace(const std::string& bytes,
                       const std::vector<std::pair<std::string, std::string>>& beside,
                       const std::optional<ArrayShape>& shape) {
  WriteFile(name, bytes);
  for (const auto& [ending, its] : beside) {
    WriteFile(name + ending, its);
  }
  const auto note = [this](const TraceNews& item) {
    const std::lock_guard lock(mutex);
    news.push_back(item);
  };
  traces = std::make_unique<OpenTraces>(std::vector{name}, note,
                                        FollowedTrace::Timing{milliseconds(10), milliseconds(5)});
  core = std::make_unique<Core>(*traces, shape);
}

ReadAnswer AskedTrace::Ask(nlohmann::json question) const {
  if (!question.contains("protocol")) {
    question["protocol"] = 1;
  }
  if (!question.contains("trace")) {
    question["trace"] = Status().fingerprint;
  }
  return AskBytes(question.dump());
}

ReadAnswer AskedTrace::AskBytes(const std::string& bytes) const {
  return ReadAnswerBytes(
      core->Answer({reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()}));
}

void AskedTrace::Until(const std::function<bool()>& holds) const {
  const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
  while (!holds()) {
    ASSERT_LT(std::chrono::steady_clock::now(), end) << "it does not happen";
    std::this_thread::sleep_for(milliseconds(1));
  }
}

void AskedTrace::UntilReady() const {
  Until([this] {
    const TraceStatus status = Status();
    return status.state == TraceStatus::READY && status.view && !status.view->NotesAreComing();
  });
}

std::vector<TraceNews> AskedTrace::News() const {
  const std::lock_guard lock(mutex);
  return news;
}

nlohmann::json ShapeJson(const ArrayShape& shape) {
  const auto pair = [](PerAxis counts) { return nlohmann::json{counts.columns, counts.rows}; };
  return {{"clusters", pair(shape.clusters)},
          {"domains", pair(shape.domains)},
          {"pes", pair(shape.pes)}};
}

}  // namespace marrowfin::testing
