// Causes that the simulator tells, against a plain reading of its notes; and how well they are
// guessed where it tells nothing.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <unordered_map>

#include "measure/CausalChain.h"
#include "measure/RunBounds.h"
#include "tests/measure/CausesFixture.h"
#include "tests/support/Command.h"
#include "trace/ask/NotedCursor.h"

namespace marrowfin::testing {
namespace {

typedef std::vector<std::string> Words;

// What the notes say of a record, looked up one by one.
struct Told {
  TraceEvent event;
  std::set<uint64_t> consumes;
  std::set<uint64_t> producedBy;
  std::optional<uint64_t> packet;
};

class SimulatedRun : public RecordedRun {
 public:
  explicit SimulatedRun(const Words& options) {
    EXPECT_FALSE(recorder.Close());
    const std::string file = folder.File("simulated.trace");
    Words words = {MARROWFIN_SIM, "-outFilename", file};
    words.insert(words.end(), options.begin(), options.end());
    const CommandResult result = RunCommand(words);
    EXPECT_EQ(result.exitStatus, 0) << result.err;
    Open(file);
    const About* const about = companion->GetAbout();
    EXPECT_NE(about, nullptr);
    question.shape = about->array->shape;
    ReadNotes();
  }

  CauseQuestion question;
  std::vector<Told> told;

 private:
  void ReadNotes() {
    NotedCursor cursor(*trace, *index, *notes, {});
    const NoteDeclarations& declarations = notes->Declarations();
    Selection found;
    while (cursor.Next(found)) {
      const size_t before = told.size();
      for (size_t i = 0; i < found.Size(); ++i) {
        told.push_back({found.Event(i), {}, {}, {}});
      }
      for (const char* name : {"consumes", "produced_by", "packet"}) {
        const Result<const NoteValues*> values = notes->Of(found, *declarations.Attribute(name));
        ASSERT_TRUE(values);
        for (size_t i = 0; i < found.Size(); ++i) {
          Told& record = told[before + i];
          for (const uint64_t value : (*values)->All(i)) {
            if (name == std::string("packet")) {
              record.packet = value;
            } else {
              (name == std::string("consumes") ? record.consumes : record.producedBy).insert(value);
            }
          }
        }
      }
    }
    ASSERT_FALSE(cursor.GetFault());
  }
};

class SimulatorTest : public ::testing::TestWithParam<Words> {};

TEST_P(SimulatorTest, EveryCauseIsThatWhichTheRunTells) {
  SimulatedRun run(GetParam());
  const Result<Causes> causes = run.Find(run.question);
  ASSERT_TRUE(causes) << causes.Why().Text();
  EXPECT_TRUE(causes->counts.AreCertain());
  EXPECT_EQ(causes->counts.contradicting, 0U);
  EXPECT_EQ(causes->counts.unused, 0U) << "the run ended by itself";
  const std::vector<Numbers> all = AllOf(*causes);
  ASSERT_EQ(all.size(), run.told.size());
  std::map<uint64_t, uint64_t> lastOf;  // record by packet
  for (uint64_t record = 0; record < all.size(); ++record) {
    const Told& told = run.told[record];
    std::set<uint64_t> wanted = told.producedBy;
    for (const uint64_t message : told.consumes) {
      wanted.insert(lastOf.at(*run.told[message].packet));
    }
    if (told.event.type == SWITCH_RECORD) {
      wanted.insert(lastOf.at(*told.packet));
    }
    ASSERT_EQ(all[record], Numbers(wanted.begin(), wanted.end())) << "record " << record;
    if (told.packet) {
      lastOf[*told.packet] = record;
    }
  }
}

// How many pairs of a message and the fire that used it are guessed right.
struct Guesses {
  uint64_t right = 0;
  uint64_t guessed = 0;
  uint64_t told = 0;

  double Share() const {
    const uint64_t pairs = guessed + told - right;
    return pairs == 0 ? 1 : static_cast<double>(right) / static_cast<double>(pairs);
  }
};

class Guessing {
 public:
  Guessing(const SimulatedRun& run, const std::vector<Numbers>& guesses) {
    std::map<std::pair<uint32_t, uint32_t>, std::set<uint64_t>> waiting;  // by element
    for (uint64_t record = 0; record < guesses.size(); ++record) {
      const Told& told = run.told[record];
      if (told.event.type == SEND_RECORD) {
        waiting[{told.event.to.column, told.event.to.row}].insert(record);
      }
      if (told.event.type != FIRE_RECORD) {
        continue;
      }
      std::set<uint64_t>& there = waiting[{told.event.at.column, told.event.at.row}];
      Guesses now;
      for (const uint64_t guess : guesses[record]) {
        now.guessed += run.told[guess].event.type == SEND_RECORD ? 1 : 0;
        now.right += told.consumes.count(guess);
      }
      now.told = told.consumes.size();
      Add(all, now);
      if (there.size() <= 1) {
        Add(single, now);
      }
      for (const uint64_t message : told.consumes) {
        there.erase(message);
      }
    }
  }

  Guesses all;
  Guesses single;  // where no more than one message waited at the element

 private:
  static void Add(Guesses& sum, const Guesses& more) {
    sum.right += more.right;
    sum.guessed += more.guessed;
    sum.told += more.told;
  }
};

TEST_P(SimulatorTest, WithoutNotesNearlyAllPairsAreGuessedRight) {
  SimulatedRun run(GetParam());
  const Result<Causes> causes = run.Find(run.question, false);
  ASSERT_TRUE(causes) << causes.Why().Text();
  const Guessing guessing(run, AllOf(*causes));
  printf(
      "%-8s %6llu pairs, guessed right: %6.2f %%; where at most one message waits, %5llu: %6.2f "
      "%%\n",
      GetParam()[1].c_str(), static_cast<unsigned long long>(guessing.all.told),
      guessing.all.Share() * 100, static_cast<unsigned long long>(guessing.single.told),
      guessing.single.Share() * 100);
  EXPECT_GE(guessing.single.Share(), 0.95);
  EXPECT_GE(guessing.all.Share(), 0.75);
  RecordProperty("pairsGuessedRight", std::to_string(guessing.all.Share()));
}

INSTANTIATE_TEST_SUITE_P(Programs, SimulatorTest,
                         ::testing::Values(Words{"-program", "matmul", "-size", "8"},
                                           Words{"-program", "spmv", "-size", "24"},
                                           Words{"-program", "fft", "-size", "32"},
                                           Words{"-program", "sort", "-size", "32"},
                                           Words{"-program", "stencil", "-size", "10", "-sweeps",
                                                 "5"},
                                           Words{"-program", "reduce", "-size", "128"}));

TEST(CausesOfSimulatorTest, WhereManyOperationsShareAnElementGuessesAreWorse) {
  SimulatedRun run({"-program", "stencil", "-size", "10", "-sweeps", "4", "-array/clusters", "2",
                    "-array/operandBuffer", "256", "-threads", "2"});
  const Result<Causes> causes = run.Find(run.question, false);
  ASSERT_TRUE(causes) << causes.Why().Text();
  const Guessing guessing(run, AllOf(*causes));
  printf("crowded  guessed right: %6.2f %%; where at most one message waits: %6.2f %%\n",
         guessing.all.Share() * 100, guessing.single.Share() * 100);
  EXPECT_LT(guessing.all.Share(), 0.7) << "or the document is wrong";
  EXPECT_GT(guessing.all.Share(), 0.2);
}

// What is said of a slow network must hold for any quicker one.
TEST(CausesOfSimulatorTest, NoQuickerNetworkEndsBeforeTheBoundForFreeMessages) {
  const Words common = {"-program", "spmv", "-size", "16", "-threads", "2", "-array/clusters", "2"};
  Words slow = common;
  slow.insert(slow.end(), {"-array/.*LinkLatency", "6"});
  Words quick = common;
  quick.insert(quick.end(), {"-array/.*LinkLatency", "1"});
  SimulatedRun slowRun(slow);
  SimulatedRun quickRun(quick);
  const Result<Causes> causes = slowRun.Find(slowRun.question);
  ASSERT_TRUE(causes);
  const Result<RunBounds> bounds = FindBounds(*causes);
  ASSERT_TRUE(bounds);
  const uint64_t quickEnd = quickRun.told.back().event.cycle;
  EXPECT_LE(bounds->freeMessages, quickEnd);
  EXPECT_LT(quickEnd, bounds->end) << "or the network does not matter";
  EXPECT_GT(bounds->freeMessages, 10U) << "or the bound says nothing";
}

TEST(CausesOfSimulatorTest, TheCriticalPathFillsTheRunAndPassesSwitches) {
  SimulatedRun run({"-program", "sort", "-size", "16", "-placement", "random"});
  const Result<Causes> causes = run.Find(run.question);
  ASSERT_TRUE(causes);
  const Result<CausalChain> chain = FindChain(*causes, run.question.shape, *causes->last);
  ASSERT_TRUE(chain);
  EXPECT_TRUE(chain->IsCertain());
  EXPECT_LE(chain->firstTime, 8U) << "operations begin as soon as their element can";
  EXPECT_EQ(chain->lastTime, run.told.back().event.cycle);
  EXPECT_EQ(chain->time.Sum(), chain->lastTime - chain->firstTime);
  EXPECT_GT(chain->transmissions, chain->messages);
  EXPECT_FALSE(OfKind(chain->places, true).empty());
  EXPECT_GT(chain->time.travel, 0U);
}

}  // namespace
}  // namespace marrowfin::testing
