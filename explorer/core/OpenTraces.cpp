#include "explorer/core/OpenTraces.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <optional>

namespace marrowfin {
namespace {

Refusal ReplacedRefusal(const TraceStatus& status) {
  return {Refusal::CHANGED,
          "the file holds another trace now",
          status.file,
          {},
          "open the one that is there now"};
}

std::variant<std::shared_ptr<TraceView>, Refusal> ViewOf(const TraceStatus& status) {
  if (status.view) {
    return status.view;
  }
  if (status.state == TraceStatus::FAILED) {
    return RefusalOf(status.failure);
  }
  return Refusal{Refusal::NOT_INDEXED_YET,
                 "nothing of the trace was read yet",
                 status.file,
                 {},
                 "ask again in a moment"};
}

}  // namespace

OpenTraces::OpenTraces(const std::vector<std::string>& files,
                       const FollowedTrace::NewsFunction& news, FollowedTrace::Timing timing) {
  std::map<std::string, uint64_t> namesakes;
  for (const std::string& file : files) {
    const uint64_t number = namesakes[std::filesystem::path(file).filename()]++;
    traces.push_back(std::make_unique<FollowedTrace>(file, number, news, timing));
  }
}

std::vector<TraceStatus> OpenTraces::Status() const {
  std::vector<TraceStatus> all;
  for (const auto& trace : traces) {
    all.push_back(trace->Status());
  }
  return all;
}

std::variant<std::shared_ptr<TraceView>, Refusal> OpenTraces::Find(
    const std::string& fingerprint) const {
  std::optional<Refusal> replaced;
  for (const TraceStatus& status : Status()) {
    if (!fingerprint.empty() && status.fingerprint == fingerprint) {
      return ViewOf(status);
    }
    if (std::find(status.was.begin(), status.was.end(), fingerprint) != status.was.end()) {
      replaced = ReplacedRefusal(status);
    }
  }
  return replaced.value_or(Refusal{Refusal::NO_SUCH_TRACE,
                                   "no trace of that fingerprint is open here",
                                   {},
                                   {},
                                   "ask for the status, which lists those that are"});
}

void OpenTraces::RebuildIndex(const TraceView& of) {
  for (const auto& trace : traces) {
    trace->RebuildIndex(of);
  }
}

}  // namespace marrowfin
