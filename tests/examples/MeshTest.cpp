// The mesh against its own recording: what can be counted in trace and notes is what it says of
// itself.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>
#include <sstream>

#include "tests/support/Command.h"
#include "tests/support/Files.h"
#include "tests/trace/support/ReadEvents.h"
#include "trace/base/Fingerprint.h"
#include "trace/read/NotesDecode.h"
#include "trace/read/NotesFile.h"

namespace marrowfin::testing {
namespace {

using ::testing::HasSubstr;

typedef std::vector<std::string> Words;
typedef std::map<std::string, double> Results;

CommandResult RunMesh(const Words& arguments) {
  Words words = {MESH_NOC};
  words.insert(words.end(), arguments.begin(), arguments.end());
  return RunCommand(words);
}

Results ResultsOf(const Words& arguments) {
  const CommandResult run = RunMesh(arguments);
  EXPECT_EQ(0, run.exitStatus) << run.err;
  std::istringstream in(run.out);
  Results results;
  std::string name;
  for (double value = 0; in >> name >> value;) {
    results[name] = value;
  }
  EXPECT_EQ(9U, results.size()) << run.out;
  return results;
}

struct NotedEvent : Event {
  std::string kind = "";
  uint64_t packet = 0;
  uint64_t created = 0;
  uint64_t size = 0;
  std::vector<uint64_t> consumes = {};
};

void AddNote(const NoteAttribute& attribute, uint64_t value, NotedEvent& event) {
  if (attribute.name == KIND_ATTRIBUTE) {
    event.kind = attribute.names.at(value);
  } else if (attribute.name == PACKET_ATTRIBUTE) {
    event.packet = value;
  } else if (attribute.name == CREATED_ATTRIBUTE) {
    event.created = value;
  } else if (attribute.name == SIZE_ATTRIBUTE) {
    event.size = value;
  } else {
    event.consumes.push_back(value);
  }
}

void AddBlock(const NoteDeclarations& declarations, NotesBlock block,
              std::vector<NotedEvent>& events) {
  ASSERT_LE(block.first + block.count, events.size());
  Fingerprint print;
  std::vector<uint64_t> cycles;
  for (uint64_t i = block.first; i < block.first + block.count; ++i) {
    const NotedEvent& event = events[i];
    print.Add(event.type, event.cycle, event.thread, event.at, event.to);
    cycles.push_back(event.cycle);
  }
  ASSERT_EQ(print.Value(), block.fingerprint);
  ResolveCycles(declarations, cycles, block);
  for (const NoteColumn& column : block.columns) {
    for (size_t i = 0; i < column.values.size(); ++i) {
      AddNote(declarations.attributes[column.attribute], column.values[i],
              events[block.first + column.positions[i]]);
    }
  }
}

// The recording without its frame; `samples` are added to, if given.
std::vector<NotedEvent> Recorded(const std::string& name,
                                 std::vector<CounterSample>* samples = nullptr) {
  std::vector<NotedEvent> events;
  for (const Event& record : ReadEvents(name)) {
    events.push_back({record});
  }
  const Result<std::unique_ptr<NotesFile>> notes = NotesFile::Open(NotesFile::NameBeside(name));
  EXPECT_TRUE(notes) << notes.Why().Text();
  EXPECT_EQ(events.size(), (*notes)->Records());
  for (size_t number = 0; number < (*notes)->Blocks().size(); ++number) {
    if ((*notes)->Blocks()[number].kind == NotesBlockKind::NOTES) {
      Result<NotesBlock> block = (*notes)->Notes(number);
      EXPECT_TRUE(block) << block.Why().Text();
      AddBlock((*notes)->Declarations(), *block, events);
    } else if (samples != nullptr) {
      const Result<std::vector<CounterSample>> more = (*notes)->Samples(number);
      EXPECT_TRUE(more) << more.Why().Text();
      samples->insert(samples->end(), more->begin(), more->end());
    }
  }
  return events;
}

class MeshTest : public ::testing::TestWithParam<Words> {
 protected:
  TempDir folder;
  std::string name = folder.File("mesh.trace");
};

TEST_P(MeshTest, WhatTheRecordingCountsIsWhatTheSimulatorSays) {
  Words words = GetParam();
  const Results alone = ResultsOf(words);
  words.insert(words.end(), {"--trace", name});
  const Results results = ResultsOf(words);
  EXPECT_EQ(alone, results) << "recording changes nothing";

  const std::vector<NotedEvent> events = Recorded(name);
  ASSERT_GE(events.size(), 2U);
  uint64_t heads = 0;
  uint64_t ejected = 0;
  uint64_t latencySum = 0;
  uint64_t latencyMax = 0;
  uint64_t bytes = 0;
  uint64_t lastEjected = 0;
  std::map<uint64_t, uint64_t> injectedAt;
  for (size_t i = 1; i + 1 < events.size(); ++i) {
    const NotedEvent& event = events[i];
    EXPECT_LE(event.created, event.cycle);
    heads += event.kind == "head";
    if (event.kind == "inject") {
      EXPECT_TRUE(injectedAt.emplace(event.packet, event.cycle).second);
    }
    if (event.kind == "eject") {
      ++ejected;
      latencySum += event.cycle - event.created;
      latencyMax = std::max(latencyMax, event.cycle - event.created);
      bytes += event.size;
      lastEjected = event.cycle;
      ASSERT_EQ(1U, event.consumes.size());
      const NotedEvent& last = events[event.consumes[0]];
      EXPECT_EQ(event.packet, last.packet);
      EXPECT_EQ(event.at, last.to);
      EXPECT_LT(last.cycle, event.cycle);
    }
    if (event.type == SEND_RECORD) {
      const uint32_t columns = event.at.column > event.to.column
                                   ? event.at.column - event.to.column
                                   : event.to.column - event.at.column;
      const uint32_t rows =
          event.at.row > event.to.row ? event.at.row - event.to.row : event.to.row - event.at.row;
      ASSERT_EQ(1U, columns + rows) << "a link joins neighbours";
    }
  }
  EXPECT_EQ(results.at("packets"), static_cast<double>(ejected));
  EXPECT_EQ(results.at("packets"), static_cast<double>(injectedAt.size()));
  EXPECT_EQ(results.at("hops"), static_cast<double>(heads));
  EXPECT_EQ(results.at("latencySum"), static_cast<double>(latencySum));
  EXPECT_EQ(results.at("latencyMax"), static_cast<double>(latencyMax));
  EXPECT_EQ(results.at("flits") * 16, static_cast<double>(bytes));

  // It makes packets for the cycles that it is asked for, and ends when the last one has left.
  ASSERT_EQ("--cycles", GetParam()[0]);
  const uint64_t cycles = std::max<uint64_t>(std::stoull(GetParam()[1]), lastEjected + 1);
  EXPECT_EQ(results.at("cycles"), static_cast<double>(cycles));
  const auto size = std::find(words.begin(), words.end(), "--size");
  const double side = size == words.end() ? 8 : std::stod(*(size + 1));
  const auto expectMean = [&](const char* name, uint64_t sum, double of) {
    const double mean = static_cast<double>(sum) / of;
    EXPECT_NEAR(results.at(name), mean, mean * 1e-5) << name;  // it prints six digits
  };
  expectMean("hopsMean", heads, static_cast<double>(ejected));
  expectMean("latencyMean", latencySum, static_cast<double>(ejected));
  expectMean("flitsPerNodeAndCycle", bytes / 16, side * side * static_cast<double>(cycles));
}

TEST_P(MeshTest, LinkCarriesOneFlitACycleAndARouterHoldsWhatCameAndDidNotGo) {
  Words words = GetParam();
  words.insert(words.end(), {"--trace", name});
  ResultsOf(words);
  std::vector<CounterSample> samples;
  const std::vector<NotedEvent> events = Recorded(name, &samples);
  std::set<std::vector<uint64_t>> used;
  for (size_t i = 1; i + 1 < events.size(); ++i) {
    const NotedEvent& e = events[i];
    if (e.type == SEND_RECORD) {
      EXPECT_TRUE(used.insert({e.cycle, e.at.column, e.at.row, e.to.column, e.to.row}).second);
    }
  }
  // In the end nothing is left.
  std::map<std::pair<uint32_t, uint32_t>, double> occupancy;
  for (const CounterSample& sample : samples) {
    EXPECT_GE(sample.value, 0);
    occupancy[{sample.at.column, sample.at.row}] = sample.value;
  }
  EXPECT_FALSE(occupancy.empty());
  for (const auto& [place, flits] : occupancy) {
    EXPECT_EQ(0, flits) << place.first << ", " << place.second;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Runs, MeshTest,
    ::testing::Values(Words{"--cycles", "600"},
                      Words{"--cycles", "400", "--routing", "adaptive", "--rate", "0.1"},
                      Words{"--cycles", "600", "--traffic", "transpose", "--flits", "7"},
                      Words{"--cycles", "300", "--traffic", "hotspot", "--size", "5", "--depth",
                            "1"},
                      Words{"--cycles", "600", "--traffic", "neighbour", "--channels", "1"},
                      Words{"--cycles", "200", "--routing", "adaptive", "--channels", "2", "--rate",
                            "0.5", "--size", "4", "--seed", "7", "--flits", "1"}));

TEST_F(MeshTest, PacketThatMeetsNoOtherTakesItsHopsAndItsFlits) {
  // With so low a rate hardly ever two packets are on their way at a time.
  const Results results = ResultsOf({"--cycles", "3000", "--rate", "0.0001", "--flits", "5"});
  EXPECT_GT(results.at("packets"), 5);
  // A cycle for each link, one into the router of the source and one to the sink, and the flits
  // behind the head.
  EXPECT_NEAR(results.at("hopsMean") + 1 + 4, results.at("latencyMean"), 0.2);
}

TEST_F(MeshTest, ASlowLinkTakesAFlitEverySoManyCyclesAndNoOtherLinkIsSlow) {
  const Words words = {"--cycles", "600", "--rate", "0.04", "--trace", name};
  const auto waitsOfLinks = [&](Words more) {
    more.insert(more.begin(), words.begin(), words.end());
    ResultsOf(more);
    // From one flit to the next, the least, by link.
    std::map<std::vector<uint32_t>, uint64_t> before;
    std::map<std::vector<uint32_t>, uint64_t> least;
    const std::vector<NotedEvent> events = Recorded(name);
    for (size_t i = 1; i + 1 < events.size(); ++i) {
      const NotedEvent& e = events[i];
      const std::vector<uint32_t> link = {e.at.column, e.at.row, e.to.column, e.to.row};
      if (e.type != SEND_RECORD) {
        continue;
      }
      if (before.count(link) > 0) {
        const uint64_t wait = e.cycle - before[link];
        least[link] = least.count(link) > 0 ? std::min(least[link], wait) : wait;
      }
      before[link] = e.cycle;
    }
    return least;
  };
  const std::vector<uint32_t> slow = {3, 4, 4, 4};
  EXPECT_EQ(1U, waitsOfLinks({}).at(slow));
  for (const auto& [link, wait] : waitsOfLinks({"--slow-link", "5"})) {
    EXPECT_EQ(link == slow ? 5U : 1U, wait) << link[0] << ", " << link[1];
  }
}

TEST_F(MeshTest, AdaptiveRoutingTakesShortestWays) {
  const Results xy = ResultsOf({"--cycles", "500", "--traffic", "transpose"});
  const Results adaptive =
      ResultsOf({"--cycles", "500", "--traffic", "transpose", "--routing", "adaptive"});
  EXPECT_EQ(xy.at("hops"), adaptive.at("hops"));
  EXPECT_LT(adaptive.at("latencySum"), xy.at("latencySum"));
}

TEST_F(MeshTest, LastCyclesAreThoseOfTheWholeRecording) {
  ResultsOf({"--cycles", "500", "--trace", name});
  const std::vector<NotedEvent> all = Recorded(name);
  const std::string tail = folder.File("tail.trace");
  ResultsOf({"--cycles", "500", "--trace", tail, "--keep-last", "50"});
  const std::vector<NotedEvent> last = Recorded(tail);
  ASSERT_GT(last.size(), 100U);
  ASSERT_LT(last.size(), all.size());
  const uint64_t end = all[all.size() - 2].cycle;
  for (size_t i = 1; i + 1 < last.size(); ++i) {
    const NotedEvent& kept = last[last.size() - 1 - i];
    const NotedEvent& whole = all[all.size() - 1 - i];
    EXPECT_GT(kept.cycle + 50, end);
    EXPECT_EQ(std::tie(kept.cycle, kept.type, kept.packet, kept.kind, kept.created),
              std::tie(whole.cycle, whole.type, whole.packet, whole.kind, whole.created));
  }
}

TEST_F(MeshTest, TraceHasTheSameBytesWhateverIsNoted) {
  const auto record = [&](const char* notes) {
    const std::string trace = folder.File(notes);
    ResultsOf({"--cycles", "300", "--trace", trace, "--notes", notes});
    return ReadFile(trace);
  };
  const std::string bytes = record("all");
  EXPECT_EQ(bytes, record("packets"));
  EXPECT_EQ(bytes, record("none"));
  EXPECT_FALSE(std::filesystem::exists(folder.File("none.notes")));
  EXPECT_FALSE(std::filesystem::exists(folder.File("none.about")));
  const Result<std::unique_ptr<NotesFile>> notes = NotesFile::Open(folder.File("packets.notes"));
  ASSERT_TRUE(notes) << notes.Why().Text();
  std::vector<std::string> attributes;
  for (const NoteAttribute& attribute : (*notes)->Declarations().attributes) {
    attributes.push_back(attribute.name);
  }
  EXPECT_THAT(attributes, ::testing::ElementsAre("kind", "packet", "created"));
  EXPECT_TRUE((*notes)->Declarations().counters.empty());
}

TEST_F(MeshTest, WrongCommandLinesAreRefused) {
  for (const Words& words : {Words{"--size", "1"}, Words{"--rate", "2"}, Words{"--routing", "west"},
                             Words{"--depth"}, Words{"--routing", "adaptive", "--channels", "1"},
                             Words{"--notes", "some"}, Words{"more"}}) {
    const CommandResult run = RunMesh(words);
    EXPECT_EQ(2, run.exitStatus) << words[0];
    EXPECT_NE("", run.err);
  }
  EXPECT_EQ(0, RunMesh({"--help"}).exitStatus);
  EXPECT_THAT(RunMesh({"--version"}).out, HasSubstr("mesh_noc " MARROWFIN_VERSION));
}

TEST_F(MeshTest, NumbersAreDecimalWhateverTheyBeginWith) {
  const Words words = {"--size", "10", "--cycles", "50", "--seed", "11", "--rate", "0.05"};
  const Words zeros = {"--size", "0010", "--cycles=050", "--seed", "011", "--rate", "00.05"};
  EXPECT_EQ(ResultsOf(words), ResultsOf(zeros));
  EXPECT_EQ(2, RunMesh({"--size", "0x10"}).exitStatus);
  EXPECT_EQ(2, RunMesh({"--size", ""}).exitStatus);
  EXPECT_EQ(ResultsOf({"--cycles", "1", "--rate", "0"}),
            ResultsOf({"--cycles", "01", "--rate", "00"}));
  const std::string zero = folder.File("007");
  EXPECT_EQ(0, RunCommand({MESH_NOC, "--cycles", "9", "--trace", "007"}, {"", folder.Path(), {}})
                   .exitStatus);
  EXPECT_TRUE(std::filesystem::exists(zero)) << "a name is no number";
}

TEST_F(MeshTest, RecordingThatFailsIsToldAndTheResultsAreThere) {
  const CommandResult run = RunMesh({"--cycles", "50", "--trace", folder.File("no/such/trace")});
  EXPECT_EQ(1, run.exitStatus);
  EXPECT_THAT(run.out, HasSubstr("packets "));
  EXPECT_THAT(run.err, HasSubstr("no/such/trace: cannot open"));
}

TEST_F(MeshTest, CurveOfTheReadmeIsTheOneThatIsDrawnAndABadCallIsRefused) {
  const std::string script = MESH_NOC_SOURCES "/saturation";
  const CommandResult run = RunCommand({script, MESH_NOC, folder.File("curve.svg")});
  ASSERT_EQ(0, run.exitStatus) << run.err;
  const std::string picture = ReadFile(folder.File("curve.svg"));
  EXPECT_THAT(picture, HasSubstr("mean latency of a packet"));
  EXPECT_THAT(picture, HasSubstr("transpose, adaptive"));
  EXPECT_THAT(ReadFile(MESH_NOC_SOURCES "/README.md"), HasSubstr("images/mesh-saturation.svg)"));
  EXPECT_TRUE(picture == ReadFile(MESH_NOC_SOURCES "/../../docs/images/mesh-saturation.svg"))
      << "draw it again as the README says";
  EXPECT_EQ(2, RunCommand({script, "no-such-program", folder.File("none.svg")}).exitStatus);
}

// What stands between ```KIND and ``` in a document, of each such block.
Words Blocks(const std::string& document, const std::string& kind) {
  Words blocks;
  const std::string start = "```" + kind + "\n";
  for (size_t at = document.find(start); at != std::string::npos; at = document.find(start, at)) {
    at += start.size();
    blocks.push_back(document.substr(at, document.find("```", at) - at));
  }
  return blocks;
}

std::string Replaced(std::string text, const std::string& what, const std::string& by) {
  for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size())) {
    text.replace(at, what.size(), by);
  }
  return text;
}

TEST_F(MeshTest, CommandsOfTheReadmeTellWhatItSaysOfAPacket) {
  const std::string document = ReadFile(MESH_NOC_SOURCES "/README.md");
  const Words commands = Blocks(document, "sh");
  const Words texts = Blocks(document, "text");
  ASSERT_EQ(2U, commands.size());
  ASSERT_EQ(1U, texts.size());
  const auto run = [&](std::string script) {
    script = script.substr(0, script.find("build/release/bin/marrowfin "));
    script = Replaced(script, "build/release/bin/marrowfin-trace", MARROWFIN_TRACE);
    script = Replaced(script, "build/release/bin/mesh_noc", MESH_NOC);
    return RunCommand({"sh", "-c", script}, {"", folder.Path(), {}});
  };
  EXPECT_EQ(0, run(commands[0]).exitStatus);
  const CommandResult told = run(commands[1]);
  EXPECT_EQ("", told.err);
  EXPECT_EQ(texts[0], told.out);
}

TEST_F(MeshTest, SimulatorHasAtMostFiveHundredLinesOfCode) {
  const CommandResult run = RunCommand({"bash", "-c",
                                        "cat " MESH_NOC_SOURCES "/*.h " MESH_NOC_SOURCES
                                        "/*.cpp | grep -cvE '^[[:space:]]*(//.*)?$'"});
  EXPECT_LE(std::stoi(run.out), 500);
}

}  // namespace
}  // namespace marrowfin::testing
