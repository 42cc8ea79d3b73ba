#ifndef FUZZ_EXPLOREDRUN_H
#define FUZZ_EXPLOREDRUN_H

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "explorer/core/Core.h"
#include "explorer/core/OpenTraces.h"
#include "fuzz/Fuzz.h"
#include "trace/write/Recorder.h"

namespace marrowfin::fuzz {

// A small run with a companion that is open in an explorer's core: fires, messages and
// transmissions of a few threads, kinds, packets and a counter.
class ExploredRun {
 public:
  ExploredRun() {
    Record();
    traces = std::make_unique<OpenTraces>(std::vector{folder.File("t.trace")},
                                          FollowedTrace::NewsFunction(),
                                          FollowedTrace::Timing{std::chrono::hours(1), {}});
    while (!IsReady()) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    core = std::make_unique<Core>(*traces);
  }

  OpenTraces& Traces() { return *traces; }
  const Core& GetCore() const { return *core; }
  std::string Name() const { return traces->Status()[0].fingerprint; }

 private:
  bool IsReady() const {
    const TraceStatus status = traces->Status()[0];
    return status.state == TraceStatus::READY && status.view && !status.view->NotesAreComing();
  }

  void Record() const {
    Recorder recorder;
    Require(!recorder.Open(folder.File("t.trace")), "a recording");
    const NameNote kind = recorder.DeclareName("kind");
    const NamedValue kinds[] = {recorder.DeclareValue(kind, "add"),
                                recorder.DeclareValue(kind, "wait")};
    const NumberNote packet = recorder.DeclareNumber("packet");
    const CounterHandle load = recorder.DeclareCounter("load");
    About about;
    about.array = AboutArray{ArrayShape({2, 1}, {2, 2}, {4, 4}), true, true, false};
    about.places[{1, 1}] = "memory";
    about.threads[1] = {"requests", "class"};
    recorder.Describe(about);
    for (uint32_t i = 0; i < 200; ++i) {
      const Place at = {i * 7 % 16, i * 5 % 8};
      recorder.Fire(i / 3, i % 5, at);
      recorder.Note(kinds[i % 2]);
      recorder.Send(i / 3, i % 5, at, {i % 16, i % 8});
      recorder.Note(packet, i % 9);
      if (i % 4 == 0) {
        recorder.Transmit(i / 3, i % 5, {i % 8 / 4 * 8, 0});
        recorder.Count(load, at, i / 3, i % 7);
      }
    }
    Require(!recorder.Close(), "a whole recording");
  }

  TempFolder folder;
  std::unique_ptr<OpenTraces> traces;
  std::unique_ptr<Core> core;
};

}  // namespace marrowfin::fuzz

#endif
