// What is counted of a run, where and when, and what caused what: held against the libraries that
// count it, and where that is short against the events themselves.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "explorer/core/KnownPieces.h"
#include "measure/CausalChain.h"
#include "measure/CausalCone.h"
#include "measure/CountRun.h"
#include "measure/PacketHistory.h"
#include "measure/RunMeasures.h"
#include "tests/explorer/core/AskedTrace.h"
#include "tests/trace/support/NotedTrace.h"
#include "tests/trace/support/Opened.h"
#include "tests/trace/support/RandomTrace.h"
#include "trace/ask/CounterOverTime.h"

namespace marrowfin::testing {
namespace {

using nlohmann::json;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

class RunAnswersTest : public ::testing::Test {
 protected:
  void Begin(const std::string& notes = "") {
    opened = std::make_unique<Opened>(Encode(events));
    std::vector<std::pair<std::string, std::string>> beside;
    if (!notes.empty()) {
      beside.emplace_back(".notes", notes);
    }
    asked = std::make_unique<AskedTrace>(Encode(events), beside, shape);
    asked->UntilReady();
  }

  ReadAnswer Ask(const json& question) const {
    ReadAnswer answer = asked->Ask(question);
    EXPECT_EQ(answer.Code(), "") << question.dump() << answer.head.dump();
    return answer;
  }

  static json InCycles(const char* ask, uint64_t first, uint64_t last) {
    return {{"ask", ask}, {"first", std::to_string(first)}, {"last", std::to_string(last)}};
  }

  RunCounts Counted(uint64_t first, uint64_t last) const {
    RunQuestion question;
    question.shape = shape;
    question.filter.firstCycle = first;
    question.filter.lastCycle = last;
    return std::move(CountRun(*opened->trace, opened->index.get(), question)).Take();
  }

  const ArrayShape shape = {2, 2, 4};
  std::mt19937 random{31};
  std::vector<Event> events = RandomEvents(random, Options());
  std::unique_ptr<Opened> opened;
  std::unique_ptr<AskedTrace> asked;

  static RandomTraceOptions Options() {
    RandomTraceOptions options;
    options.records = 3000;
    options.shape = {2, 2, 4};
    return options;
  }
};

TEST_F(RunAnswersTest, HeatIsWhatEachElementDidInTheRange) {
  Begin();
  for (const auto& [first, last] : {std::pair<uint64_t, uint64_t>(0, 100000), {100, 199}}) {
    std::vector<double> fires(shape.Elements());
    std::vector<double> receives(shape.Elements());
    std::vector<double> transmissions(shape.Switches());
    for (const Event& event : events) {
      if (event.cycle < first || event.cycle > last) {
        continue;
      }
      if (event.type == FIRE_RECORD) {
        ++fires[shape.ElementNumber(event.at)];
      } else if (event.type == SEND_RECORD) {
        ++receives[shape.ElementNumber(event.to)];
      } else {
        ++transmissions[shape.SwitchNumber(event.at)];
      }
    }
    for (const auto& [what, expected] :
         {std::pair("fires", &fires), {"receives", &receives}, {"transmissions", &transmissions}}) {
      json question = InCycles("heat", first, last);
      question["what"] = what;
      const ReadAnswer answer = Ask(question);
      EXPECT_EQ(answer.Of("count"), *expected) << what;
      EXPECT_EQ(answer.head["highest"], *std::max_element(expected->begin(), expected->end()));
      EXPECT_LE(answer.head["end"], answer.head["highest"]);
    }
  }
}

TEST_F(RunAnswersTest, IdleAreTheCyclesWithoutAFire) {
  Begin();
  json question = InCycles("heat", 100, 199);
  question["what"] = "idle";
  const ReadAnswer answer = Ask(question);
  for (size_t number = 0; number < shape.Elements(); ++number) {
    std::set<uint64_t> active;
    for (const Event& event : events) {
      if (event.type == FIRE_RECORD && event.cycle >= 100 && event.cycle <= 199 &&
          shape.ElementNumber(event.at) == number) {
        active.insert(event.cycle);
      }
    }
    EXPECT_EQ(answer.Of("count")[number], 100 - active.size()) << number;
  }
}

TEST_F(RunAnswersTest, LinksCarryWhatTheLibraryCounts) {
  Begin();
  const ReadAnswer answer = Ask(InCycles("links", 50, 449));
  const LinkMeasures links = LinksOf(Counted(50, 449), 400, 1);
  EXPECT_EQ(answer.head["mesh"]["columns"], links.loads.mesh.nodes.columns);
  EXPECT_EQ(answer.head["mesh"]["of"], "clusters");
  EXPECT_EQ(answer.head["links"], links.links);
  double highest = 0;
  for (size_t heading = 0; heading < HEADINGS; ++heading) {
    const std::vector<double> loads = answer.Of(HeadingName(static_cast<Heading>(heading)));
    ASSERT_EQ(loads.size(), links.loads.messages[heading].size());
    for (size_t i = 0; i < loads.size(); ++i) {
      EXPECT_DOUBLE_EQ(loads[i], static_cast<double>(links.loads.messages[heading][i]) / 400);
      highest = std::max(highest, loads[i]);
    }
  }
  EXPECT_EQ(answer.head["highest"], highest);
  EXPECT_DOUBLE_EQ(answer.head["end"], std::ceil(highest * 10) / 10);
  EXPECT_EQ(answer.head["fullest"][0]["load"], highest);
  uint64_t bars = 0;
  for (const json& bar : answer.head["histogram"]) {
    bars += bar.get<uint64_t>();
  }
  EXPECT_EQ(bars, links.links);
  EXPECT_THAT(answer.Of("passes"), ElementsAreArray(links.loads.passes));
}

TEST_F(RunAnswersTest, LanesAreTheEventsOfAPiece) {
  Begin();
  const Region cluster = Region::Cluster(shape, 1, 1);
  const std::vector<std::pair<json, std::function<bool(const Event&)>>> pieces = {
      {{{"pe", {3, 5}}},
       [](const Event& e) {
         return e.type == FIRE_RECORD && e.at == Place{3, 5};
       }},
      {{{"switch", {1, 0}}},
       [this](const Event& e) {
         return e.type == SWITCH_RECORD && shape.ClusterOfSwitch(e.at) == Place{1, 0};
       }},
      {{{"cluster", {1, 1}}},
       [&](const Event& e) { return e.type == FIRE_RECORD && cluster.Has(e.at); }}};
  for (const auto& [piece, holds] : pieces) {
    json question = InCycles("lane", 10, 609);
    question["piece"] = piece;
    question["bins"] = 60;
    const ReadAnswer answer = Ask(question);
    std::vector<double> counts(60);
    std::vector<std::array<int, 6>> threads(60);
    for (const Event& event : events) {
      if (holds(event) && event.cycle >= 10 && event.cycle <= 609) {
        ++counts[(event.cycle - 10) / 10];
        ++threads[(event.cycle - 10) / 10][event.thread % 6];
      }
    }
    EXPECT_EQ(answer.Of("count"), counts) << piece.dump();
    for (size_t bin = 0; bin < 60; ++bin) {
      const double thread = answer.Of("thread")[bin];
      EXPECT_EQ(thread == 255, counts[bin] == 0);
      if (thread != 255) {
        EXPECT_EQ(threads[bin][static_cast<size_t>(thread)],
                  *std::max_element(threads[bin].begin(), threads[bin].end()));
      }
    }
  }
}

TEST_F(RunAnswersTest, CountersAreThoseOfTheNotes) {
  const NotedEvents noted = RandomNotes(random, events);
  const std::string bytes = NotesBytes(noted, random, 200, true);
  Begin(bytes);
  const json counters = asked->Ask({{"ask", "trace"}}).head["counters"];
  ASSERT_FALSE(counters.empty());
  json question = InCycles("counter", 0, 399);
  question["counter"] = counters[0]["name"];
  question["bins"] = 20;
  const ReadAnswer answer = Ask(question);

  const std::unique_ptr<NotesFile> notes = OpenNotes(bytes);
  NotesOfTrace joined(*opened->trace, *opened->index, *notes);
  const std::unique_ptr<IndexStore> store = IndexInMemory();
  const auto index = Made(NotesIndex::Open(*opened->trace, *opened->index, joined, *store));
  CounterQuestion same;
  same.first = 0;
  same.last = 399;
  same.bins = 20;
  const Result<CounterBins> bins = CounterOverTime(*notes, *index, same);
  ASSERT_TRUE(bins);
  EXPECT_THAT(answer.Wide("first"), ElementsAreArray(bins->firsts));
  for (size_t i = 0; i < bins->spans.size(); ++i) {
    const CounterSpan& span = bins->spans[i];
    ASSERT_EQ(std::isnan(answer.Of("mean")[i]), span.cycles == 0);
    if (span.cycles > 0) {
      EXPECT_DOUBLE_EQ(answer.Of("mean")[i], span.sum / static_cast<double>(span.cycles));
      EXPECT_EQ(answer.Of("min")[i], span.low);
      EXPECT_EQ(answer.Of("max")[i], span.high);
    }
  }
  question["counter"] = "no such";
  EXPECT_EQ(asked->Ask(question).Code(), "not-there");
}

TEST_F(RunAnswersTest, KindsAreThoseOfTheLastFireOfEachElement) {
  const NotedEvents noted = RandomNotes(random, events);
  Begin(NotesBytes(noted, random, 100));
  const json names = asked->Ask({{"ask", "trace"}}).head["attributes"][KIND]["names"];
  for (const uint64_t cycle : {0U, 50U, 400U, 100000U}) {
    const ReadAnswer answer =
        Ask({{"ask", "kinds"}, {"reading", "natural"}, {"cycle", std::to_string(cycle)}});
    const std::vector<std::string> kinds = answer.head["kinds"];
    ASSERT_FALSE(kinds.empty());
    std::vector<double> expected(shape.Elements());
    for (size_t i = 0; i < events.size(); ++i) {
      if (events[i].type == FIRE_RECORD && events[i].cycle <= cycle) {
        double& code = expected[shape.ElementNumber(events[i].at)];
        code = 0;
        if (!noted.values[KIND][i].empty()) {
          const std::string value = std::to_string(noted.values[KIND][i][0]);
          const std::string name = names.value(value, value);
          const auto at = std::find(kinds.begin(), kinds.end(), name);
          code = at == kinds.end() ? 7 : static_cast<double>(1 + (at - kinds.begin()));
        }
      }
    }
    EXPECT_EQ(answer.Of("elements"), expected) << cycle;
  }
}

TEST_F(RunAnswersTest, WhatAPieceDoesInTheRunIsFoundOnceForAllMoments) {
  Begin();
  const PieceOfArray piece = {{AskedPiece::PE, {3, 2}}, shape};
  json question = {{"ask", "piece"}, {"piece", {{"pe", {3, 2}}}}, {"reading", "natural"}};
  question["cycle"] = "100";
  const json head = Ask(question).head;
  const auto known = asked->Status().view->Pieces().Get(piece, {}, []() {
    ADD_FAILURE() << "it is known";
    return Result<KnownPieces::Found>(CancelledFault(""));
  });
  ASSERT_TRUE(known);
  EXPECT_EQ(head["whole"]["sends"], (*known)->totals.sends);
  EXPECT_EQ(head["neighbours"].size(), (*known)->neighbours.size());
  question["cycle"] = "200";
  EXPECT_EQ(Ask(question).head["neighbours"], head["neighbours"]);
}

TEST_F(RunAnswersTest, APieceTellsWhatItShowsAndWhatIsAroundIt) {
  Begin();
  const uint64_t cycle = 300;
  const auto first = std::find_if(events.begin(), events.end(),
                                  [](const Event& e) { return e.type == FIRE_RECORD; });
  const Place at = first->at;
  const json head = Ask({{"ask", "piece"},
                         {"piece", {{"pe", {at.column, at.row}}}},
                         {"reading", "natural"},
                         {"cycle", std::to_string(cycle)}})
                        .head;
  std::vector<uint64_t> before;
  std::vector<uint64_t> after;
  uint64_t fires = 0;
  uint64_t sends = 0;
  uint64_t receives = 0;
  std::optional<uint64_t> touched;
  std::map<std::pair<bool, std::pair<uint32_t, uint32_t>>, uint64_t> traffic;
  for (size_t i = 0; i < events.size(); ++i) {
    const Event& e = events[i];
    const bool fired = e.type == FIRE_RECORD && e.at == at;
    const bool sent = e.type == SEND_RECORD && e.at == at;
    const bool got = e.type == SEND_RECORD && e.to == at;
    fires += fired;
    sends += sent;
    receives += got;
    if (sent != got) {
      const Place other = sent ? e.to : e.at;
      ++traffic[{sent, {other.column, other.row}}];
    }
    if (fired || sent || got) {
      (e.cycle <= cycle ? before : after).push_back(i);
    }
    if (fired && e.cycle <= cycle) {
      touched = i;
    }
  }
  before.erase(before.begin(), before.end() - std::min<std::ptrdiff_t>(5, before.size()));
  after.resize(std::min<size_t>(4, after.size()));
  before.insert(before.end(), after.begin(), after.end());
  std::vector<uint64_t> around;
  for (const json& event : head["around"]) {
    around.push_back(event["record"]);
  }
  EXPECT_EQ(around, before);
  EXPECT_EQ(head["whole"]["fires"], fires);
  EXPECT_EQ(head["whole"]["sends"], sends);
  EXPECT_EQ(head["whole"]["receives"], receives);
  ASSERT_TRUE(touched);
  EXPECT_EQ(head["touched"]["record"], *touched);
  EXPECT_EQ(head["touched"]["ago"], std::to_string(cycle - events[*touched].cycle));
  uint64_t least = ~uint64_t{0};
  for (const json& neighbour : head["neighbours"]) {
    const std::pair<uint32_t, uint32_t> place = neighbour["place"];
    const uint64_t messages = neighbour["messages"];
    EXPECT_EQ(messages, (traffic[{neighbour["direction"] == "to", place}]));
    EXPECT_LE(messages, least);
    least = messages;
  }
  EXPECT_EQ(head["neighbours"].size(), std::min<size_t>(16, traffic.size()));
}

TEST_F(RunAnswersTest, PiecesOfEveryKindAreTold) {
  Begin();
  for (const json& piece :
       {json{{"pe", {0, 0}}}, json{{"switch", {1, 1}}}, json{{"domain", {3, 3}}},
        json{{"cluster", {0, 1}}}, json{{"link", {0, 0, "right"}}}}) {
    for (const json& moment : {json{{"reading", "viewer"}, {"step", 200}},
                               json{{"reading", "natural"}, {"naturalStep", 0}}}) {
      json question = {{"ask", "piece"}, {"piece", piece}};
      question.update(moment);
      const json head = Ask(question).head;
      EXPECT_EQ(head["touched"].is_null(), moment["reading"] == "natural") << piece.dump();
    }
  }
}

TEST_F(RunAnswersTest, MeasuresAreThoseOfTheLibrary) {
  Begin();
  const json head = Ask(InCycles("measures", 100, 499)).head;
  const RunMeasures measures = MeasuresOf(Counted(100, 499));
  EXPECT_EQ(head["fires"], measures.fires);
  EXPECT_EQ(head["sends"], measures.sends);
  EXPECT_EQ(head["transmissions"], measures.transmissions);
  EXPECT_EQ(head["firesPerCycle"], measures.firesPerCycle);
  EXPECT_EQ(head["utilisation"], measures.utilisation);
  EXPECT_EQ(head["peakFires"], measures.peakFires);
  EXPECT_EQ(head["elements"]["never"], measures.elements.never);
  EXPECT_EQ(head["elements"]["imbalance"]["gini"], measures.elements.imbalance->gini);
  EXPECT_EQ(head["distance"]["mean"], measures.distances.Mean());
}

TEST_F(RunAnswersTest, PhasesFollowEachOtherFromTheFirstCycleToTheLast) {
  events.clear();
  for (uint32_t cycle = 0; cycle < 2000; ++cycle) {
    for (uint32_t i = 0; i < (cycle < 1000 ? 2U : 9U); ++i) {
      events.push_back({FIRE_RECORD, cycle, 0, {i, 0}, {}});
    }
  }
  Begin();
  const json phases = Ask({{"ask", "phases"}}).head["phases"];
  ASSERT_EQ(phases.size(), 2U);
  EXPECT_EQ(phases[0]["first"], "0");
  EXPECT_EQ(phases[0]["last"], "999");
  EXPECT_EQ(phases[1]["first"], "1000");
  EXPECT_EQ(phases[1]["last"], "1999");
}

TEST_F(RunAnswersTest, ChainsAndConesAreThoseOfTheLibrary) {
  Begin();
  CauseQuestion question;
  question.shape = shape;
  const Result<Causes> causes = FindCauses(*opened->trace, *opened->index, nullptr, question);
  ASSERT_TRUE(causes);
  for (int i = 0; i < 10; ++i) {
    const uint64_t record = random() % events.size();
    const Result<CausalChain> chain = FindChain(*causes, shape, record);
    const auto steps = StepsOf(*causes, *chain, record, 50);
    const ReadAnswer answer =
        Ask({{"ask", "why"}, {"record", record}, {"direction", "chain"}, {"most", 50}});
    EXPECT_EQ(answer.head["steps"], chain->Steps());
    EXPECT_EQ(answer.head["certain"], chain->IsCertain());
    EXPECT_EQ(answer.head["time"]["wait"], chain->time.wait);
    ASSERT_EQ(answer.Of("record").size(), steps->size());
    for (size_t row = 0; row < steps->size(); ++row) {
      EXPECT_EQ(answer.Of("record")[row], (*steps)[row].event.record);
      EXPECT_EQ(answer.Of("work")[row], (*steps)[row].since.work);
      EXPECT_EQ(answer.Of("travel")[row], (*steps)[row].since.travel);
      EXPECT_EQ(answer.Of("wait")[row], (*steps)[row].since.wait);
    }
    for (const bool back : {true, false}) {
      const Result<CausalCone> cone =
          FindCone(*causes, record, back ? ConeDirection::BACK : ConeDirection::FORWARD);
      const ReadAnswer told = Ask({{"ask", "why"},
                                   {"record", record},
                                   {"most", 20000},
                                   {"direction", back ? "back" : "forward"}});
      EXPECT_EQ(told.head["steps"], cone->Events());
      ASSERT_EQ(told.Of("record").size(), cone->records.Size());
      for (const double one : told.Of("record")) {
        EXPECT_TRUE(cone->records.Has(static_cast<uint64_t>(one)));
      }
    }
  }
  const ReadAnswer critical = Ask({{"ask", "why"}, {"direction", "critical"}});
  EXPECT_EQ(critical.head["record"], *causes->last);
  EXPECT_EQ(asked->Ask({{"ask", "why"}, {"record", 3000}, {"direction", "back"}}).Code(),
            "out-of-range");
}

TEST_F(RunAnswersTest, PacketsAreFollowedAsTheLibraryFollowsThem) {
  const NotedEvents noted = RandomNotes(random, events);
  const std::string bytes = NotesBytes(noted, random, 200);
  Begin(bytes);
  const std::unique_ptr<NotesFile> file = OpenNotes(bytes);
  NotesOfTrace notes(*opened->trace, *opened->index, *file);
  CauseQuestion question;
  question.shape = shape;
  const Result<Causes> causes = FindCauses(*opened->trace, *opened->index, &notes, question);
  ASSERT_TRUE(causes);
  int followed = 0;
  for (size_t i = 0; i < events.size() && followed < 10; i += 50) {
    if (noted.values[PACKET][i].empty()) {
      continue;
    }
    ++followed;
    const uint64_t packet = noted.values[PACKET][i][0];
    const Result<PacketHistory> history = FollowPacket(*causes, notes, packet);
    const ReadAnswer answer = Ask({{"ask", "packet"}, {"packet", std::to_string(packet)}});
    ASSERT_EQ(answer.Of("record").size(), history->steps.size());
    EXPECT_EQ(answer.head["waited"], history->waited);
    EXPECT_EQ(answer.head["cycles"], history->Cycles());
    for (size_t row = 0; row < history->steps.size(); ++row) {
      EXPECT_EQ(answer.Of("record")[row], history->steps[row].event.record);
      EXPECT_EQ(answer.Of("wait")[row], history->steps[row].wait);
    }
  }
  EXPECT_EQ(followed, 10);
  EXPECT_EQ(asked->Ask({{"ask", "packet"}, {"packet", "18446744073709551615"}}).Code(),
            "not-there");
}

TEST_F(RunAnswersTest, ThreadsAndKindsAreFoundByNumberAndName) {
  const NotedEvents noted = RandomNotes(random, events);
  Begin(NotesBytes(noted, random, 200));
  const json head = Ask({{"ask", "search"}, {"text", "3"}, {"most", 5}}).head;
  ASSERT_EQ(head["threads"].size(), 1U);
  EXPECT_EQ(head["threads"][0]["thread"], 3);
  const json names = asked->Ask({{"ask", "trace"}}).head["attributes"][KIND]["names"];
  const std::string name = names.begin().value();
  EXPECT_EQ(Ask({{"ask", "search"}, {"text", name}, {"most", 5}}).head["kinds"][0]["name"], name);
  EXPECT_EQ(Ask({{"ask", "search"}, {"text", "nothing of that name"}}).head["kinds"],
            json::array());
  EXPECT_GT(Ask({{"ask", "search"}, {"text", ""}, {"most", 9}}).head["kinds"].size(), 1U);
  EXPECT_EQ(Ask({{"ask", "search"}, {"text", ""}, {"most", 1}}).head["kinds"].size(), 1U);
}

TEST_F(RunAnswersTest, WhoeverDoesNotWantAnAnswerAnyMoreIsToldSo) {
  Begin();
  OpenTraces traces({asked->name});
  asked->Until([&] { return traces.Status()[0].state == TraceStatus::READY; });
  const Core core(traces, shape);
  const std::string question = json{
      {"protocol", 1},
      {"trace", traces.Status()[0].fingerprint},
      {"ask", "why"},
      {"direction", "critical"}}.dump();
  const auto answer = [&](bool cancelled) {
    return ReadAnswerBytes(
        core.Answer({reinterpret_cast<const uint8_t*>(question.data()), question.size()},
                    [&] { return cancelled; }));
  };
  EXPECT_EQ(answer(true).Code(), "cancelled");
  EXPECT_EQ(answer(false).Code(), "");
}

TEST_F(RunAnswersTest, WhoeverStopsWaitingWhileTheViewersStartIsLookedForIsToldSo) {
  events = RandomEvents(random, [] {
    RandomTraceOptions options = Options();
    options.records = 200000;
    return options;
  }());
  Begin();
  OpenTraces traces({asked->name});
  asked->Until([&] { return traces.Status()[0].state == TraceStatus::READY; });
  const Core core(traces, shape);
  const std::string question =
      json{{"protocol", 1}, {"trace", traces.Status()[0].fingerprint},
           {"ask", "when"}, {"reading", "viewer"},
           {"step", 3},     {"skipTo", std::to_string(events.back().cycle)}}
          .dump();
  const auto answer = [&](int patience) {
    return ReadAnswerBytes(
        core.Answer({reinterpret_cast<const uint8_t*>(question.data()), question.size()},
                    [&] { return patience-- <= 0; }));
  };
  EXPECT_EQ(answer(1).Code(), "cancelled");
}

}  // namespace
}  // namespace marrowfin::testing
