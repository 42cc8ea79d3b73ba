#ifndef TESTS_MEASURE_CAUSESFIXTURE_H
#define TESTS_MEASURE_CAUSESFIXTURE_H

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "measure/FindCauses.h"
#include "tests/support/Files.h"
#include "tests/trace/support/Opened.h"
#include "trace/read/Companion.h"
#include "trace/write/Recorder.h"

namespace marrowfin::testing {

typedef std::vector<uint64_t> Numbers;

// A run that is recorded by a test, with what it says of causes.
class RecordedRun {
 public:
  RecordedRun() {
    EXPECT_FALSE(recorder.Open(name));
    consumes = recorder.DeclareRecords(CONSUMES_ATTRIBUTE);
    producedBy = recorder.DeclareRecords(PRODUCED_BY_ATTRIBUTE);
  }

  // Opens what was recorded.
  void End() {
    ASSERT_FALSE(recorder.Close());
    Open(name);
  }

  // Opens a trace that lies in a file already.
  void Open(const std::string& file) {
    trace = OpenTrace(file);
    index = OpenIndex(*trace);
    companion = Companion::Beside(*trace);
    if (companion->Notes() != nullptr) {
      notes.emplace(*trace, *index, *companion->Notes());
    }
  }

  Result<Causes> Find(const CauseQuestion& question, bool told = true) {
    return FindCauses(*trace, *index, told && notes ? &*notes : nullptr, question);
  }

  TempDir folder;
  std::string name = folder.File("run.trace");
  Recorder recorder;
  RecordsNote consumes;
  RecordsNote producedBy;
  std::unique_ptr<TraceSource> trace;
  std::unique_ptr<Index> index;
  std::optional<Companion> companion;
  std::optional<NotesOfTrace> notes;
};

// What caused each record.
inline std::vector<Numbers> AllOf(const Causes& causes) {
  std::vector<Numbers> all;
  CausalGraph::Reader reader(causes.graph);
  for (uint64_t record = 0; record < causes.graph.Records(); ++record) {
    const CausalGraph::Node node = reader.Read(record);
    all.emplace_back(node.causes.begin(), node.causes.end());
  }
  return all;
}

// An array of one domain, where ways are distances.
inline CauseQuestion Flat(uint32_t side) {
  CauseQuestion question;
  question.shape = ArrayShape(1, 1, side);
  return question;
}

}  // namespace marrowfin::testing

#endif
