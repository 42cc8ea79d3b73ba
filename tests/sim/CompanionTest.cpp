// What the simulator tells beside its trace: from trace and companion alone its own statistics are
// computed again, and what caused what agrees with its log.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <filesystem>
#include <map>
#include <set>
#include <sstream>

#include "tests/sim/Rig.h"
#include "tests/support/Files.h"
#include "trace/base/Fingerprint.h"
#include "trace/base/Record.h"
#include "trace/read/AboutFile.h"
#include "trace/read/NotesDecode.h"
#include "trace/read/NotesFile.h"
#include "trace/read/OpenSource.h"
#include "trace/read/Reader.h"
#include "trace/read/TraceSource.h"

namespace marrowfin::sim::testing {

using ::testing::HasSubstr;
using ::testing::StartsWith;

// A record with its notes.
struct Noted {
  uint32_t type;
  uint64_t cycle;
  uint32_t thread;
  Place at;
  Place to;
  std::map<std::string, uint64_t> notes;                 // those of which it has one
  std::map<std::string, std::vector<uint64_t>> records;  // the others
};

struct Recorded {
  std::vector<Noted> events;
  std::vector<CounterSample> samples;
  NoteDeclarations declared;

  // The name of the value of an attribute, which the event must have.
  const std::string& Name(const Noted& event, const std::string& attribute) const {
    return declared.attributes[*declared.Attribute(attribute)].names.at(event.notes.at(attribute));
  }
};

std::vector<Noted> ReadEvents(const std::string& name) {
  std::vector<Noted> events;
  Result<std::unique_ptr<ByteSource>> source = OpenSource(name);
  EXPECT_TRUE(source) << source.Why().Text();
  Reader reader(std::move(source).Take(), name);
  Columns columns;
  while (reader.Next(columns)) {
    for (size_t i = 0; i < columns.size; ++i) {
      events.push_back({columns.tag[i].type,
                        columns.cycle[i],
                        columns.tag[i].thread,
                        columns.at[i],
                        columns.to[i],
                        {},
                        {}});
    }
  }
  return events;
}

void AddNotes(const NotesFile& notes, size_t number, std::vector<Noted>& events) {
  Result<NotesBlock> read = notes.Notes(number);
  ASSERT_TRUE(read) << read.Why().Text();
  NotesBlock& block = *read;
  ASSERT_LE(block.first + block.count, events.size());
  Fingerprint print;
  std::vector<uint64_t> cycles;
  for (uint64_t i = block.first; i < block.first + block.count; ++i) {
    print.Add(events[i].type, events[i].cycle, events[i].thread, events[i].at, events[i].to);
    cycles.push_back(events[i].cycle);
  }
  EXPECT_EQ(print.Value(), block.fingerprint);
  ResolveCycles(notes.Declarations(), cycles, block);
  for (const NoteColumn& column : block.columns) {
    const NoteAttribute& attribute = notes.Declarations().attributes[column.attribute];
    for (size_t i = 0; i < column.values.size(); ++i) {
      Noted& event = events[block.first + column.positions[i]];
      if (attribute.type == NoteType::RECORDS) {
        event.records[attribute.name].push_back(column.values[i]);
      } else {
        event.notes[attribute.name] = column.values[i];
      }
    }
  }
}

Recorded ReadRecorded(const std::string& name) {
  Recorded recorded;
  recorded.events = ReadEvents(name);
  Result<std::unique_ptr<NotesFile>> notes = NotesFile::Open(name + ".notes");
  if (!notes) {
    ADD_FAILURE() << notes.Why().Text();
    return recorded;
  }
  recorded.declared = (*notes)->Declarations();
  for (size_t number = 0; number < (*notes)->Blocks().size(); ++number) {
    if ((*notes)->Blocks()[number].kind == NotesBlockKind::NOTES) {
      AddNotes(**notes, number, recorded.events);
    } else if ((*notes)->Blocks()[number].kind == NotesBlockKind::SAMPLES) {
      const Result<std::vector<CounterSample>> samples = (*notes)->Samples(number);
      EXPECT_TRUE(samples) << samples.Why().Text();
      recorded.samples.insert(recorded.samples.end(), samples->begin(), samples->end());
    }
  }
  return recorded;
}

// The lines of a log, each a kind and its words.
std::vector<std::vector<std::string>> LinesOf(const std::string& log) {
  std::vector<std::vector<std::string>> lines;
  std::istringstream text(log);
  for (std::string line; std::getline(text, line);) {
    std::istringstream words(line);
    lines.emplace_back();
    for (std::string word; words >> word;) {
      lines.back().push_back(word);
    }
  }
  return lines;
}

// The values of a counter at the ends of cycles, only where they change.
typedef std::map<Cycle, int> Steps;

Steps StepsOf(const Recorded& recorded, const std::string& counter, Place at) {
  Steps steps;
  for (const CounterSample& sample : recorded.samples) {
    if (sample.counter == *recorded.declared.Counter(counter) && sample.at == at) {
      steps[sample.cycle] = static_cast<int>(sample.value);
    }
  }
  return steps;
}

// What changes make of 0, from cycle 0 on.
Steps StepsOf(const Steps& changes) {
  Steps steps = {{0, 0}};
  int value = 0;
  for (const auto& [cycle, change] : changes) {
    value += change;
    if (change != 0) {
      steps[cycle] = value;
    }
  }
  return steps;
}

class CompanionTest : public ::testing::TestWithParam<const char*> {
 protected:
  static constexpr uint32 CLUSTERS = 3;
  static constexpr Shape SHAPE = {CLUSTERS, 2, 2};

  CommandResult Run(const std::vector<std::string>& more = {}) const {
    std::vector<std::string> words = ArrayWords(SHAPE.clusters, SHAPE.domains, SHAPE.pes);
    words.insert(words.end(), {"-program", GetParam(), "-size", "9", "-sweeps", "3", "-threads",
                               "3", "-rounds", "2", "-placement", "random", "-outFilename", Trace(),
                               "-array/operandBuffer", "4096"});
    words.insert(words.end(), more.begin(), more.end());
    return RunSimulator(words);
  }

  std::string Trace() const { return directory.File("run.trace"); }

  TempDir directory;
};

INSTANTIATE_TEST_SUITE_P(Every, CompanionTest,
                         ::testing::Values("matmul", "spmv", "fft", "sort", "stencil", "reduce"),
                         [](const auto& parameter) { return std::string(parameter.param); });

unsigned long long Statistic(const std::string& report, const std::string& name) {
  return std::stoull(StatisticIn(report, name));
}

TEST_P(CompanionTest, TraceHasTheSameBytesWithAndWithout) {
  ASSERT_EQ(0, Run().exitStatus);
  const std::string with = ReadFile(Trace());
  ASSERT_EQ(0, Run({"-companion", "false"}).exitStatus);
  EXPECT_TRUE(with == ReadFile(Trace()));
}

TEST_P(CompanionTest, StatisticsCanBeComputedAgain) {
  const CommandResult run = Run();
  ASSERT_EQ(0, run.exitStatus) << run.err;
  const Recorded recorded = ReadRecorded(Trace());
  std::map<std::string, unsigned long long> opcodes;
  std::map<std::string, unsigned long long> kinds;
  std::map<std::pair<uint32_t, uint32_t>, unsigned long long> transmissions;
  std::vector<int> consumed(recorded.events.size());
  for (const Noted& event : recorded.events) {
    ++kinds[recorded.Name(event, "kind")];
    if (event.type == FIRE_RECORD) {
      ++opcodes[recorded.Name(event, "opcode")];
    } else if (event.type == SWITCH_RECORD) {
      ++transmissions[{event.at.column, event.at.row}];
    }
    const auto consumes = event.records.find("consumes");
    if (consumes == event.records.end()) {
      continue;
    }
    EXPECT_EQ(FIRE_RECORD, event.type);
    for (const uint64_t record : consumes->second) {
      const Noted& send = recorded.events.at(record);
      EXPECT_EQ(SEND_RECORD, send.type);
      EXPECT_EQ(event.at, send.to);
      EXPECT_EQ(event.thread, send.thread);
      EXPECT_LT(send.cycle, event.cycle);
      ++consumed[record];
    }
  }
  for (size_t i = 0; i < consumed.size(); ++i) {
    ASSERT_EQ(recorded.events[i].type == SEND_RECORD ? 1 : 0, consumed[i]) << "record " << i;
  }
  unsigned long long loads = 0;
  unsigned long long stores = 0;
  for (uint32 cluster = 0; cluster < SHAPE.ClusterCount(); ++cluster) {
    const std::string unit =
        "array/c" + std::to_string(cluster % CLUSTERS) + "_" + std::to_string(cluster / CLUSTERS);
    loads += Statistic(run.out, unit + "/memory/loads");
    stores += Statistic(run.out, unit + "/memory/stores");
    const Location place = SHAPE.SwitchLocation(cluster);
    const std::pair<uint32_t, uint32_t> at(place.column, place.row);
    EXPECT_EQ(Statistic(run.out, unit + "/switch/transmissions"), transmissions[at]) << unit;
  }
  const auto total =
      static_cast<unsigned long long>(std::count(consumed.begin(), consumed.end(), 1));
  EXPECT_EQ(Statistic(run.out, "array/messages"), total);
  EXPECT_EQ(Statistic(run.out, "array/fires"),
            kinds["compute"] + kinds["control"] + kinds["memory"]);
  EXPECT_EQ(loads, opcodes["load"]);
  EXPECT_EQ(stores, opcodes["store"]);
  EXPECT_EQ(loads + stores, kinds["memory"]);
  EXPECT_EQ(opcodes["select"] + opcodes["steer"] + opcodes["loop"], kinds["control"]);
  EXPECT_GT(total, 0U);
}

TEST_P(CompanionTest, EachMessageIsKnownFromTheFireThatMadeItToTheOneThatUsedIt) {
  ASSERT_EQ(0, Run().exitStatus);
  const Recorded recorded = ReadRecorded(Trace());
  std::map<uint64_t, uint64_t> sendOf;  // of each packet
  std::map<uint64_t, uint32> hops;
  for (uint64_t i = 0; i < recorded.events.size(); ++i) {
    const Noted& event = recorded.events[i];
    if (event.type == SEND_RECORD) {
      EXPECT_EQ("operand", recorded.Name(event, "kind"));
      EXPECT_EQ(8U, event.notes.at("size"));
      EXPECT_TRUE(sendOf.emplace(event.notes.at("packet"), i).second);
      const std::vector<uint64_t>& producers = event.records.at("produced_by");
      ASSERT_EQ(1U, producers.size());
      const Noted& producer = recorded.events[producers[0]];
      EXPECT_EQ(FIRE_RECORD, producer.type);
      EXPECT_EQ(event.at, producer.at);
      EXPECT_EQ(event.thread, producer.thread);
      EXPECT_EQ(event.notes.at("created"), producer.cycle);
    } else if (event.type == SWITCH_RECORD) {
      EXPECT_EQ("operand", recorded.Name(event, "kind"));
      const Noted& send = recorded.events[sendOf.at(event.notes.at("packet"))];
      EXPECT_EQ(send.notes.at("created"), event.notes.at("created"));
      EXPECT_EQ(send.thread, event.thread);
      ++hops[event.notes.at("packet")];
    }
  }
  const auto domainAt = [](Place place) {
    return SHAPE.DomainOf(place.row * SHAPE.Side() + place.column);
  };
  for (const auto& [packet, record] : sendOf) {
    const Noted& send = recorded.events[record];
    EXPECT_EQ(SHAPE.Hops(domainAt(send.at), domainAt(send.to)), hops[packet]);
  }
}

TEST_P(CompanionTest, FiresAreThoseOfTheLogAndUsedWhatItSays) {
  const std::string log = directory.File("log");
  ASSERT_EQ(0, Run({"-logFilename", log}).exitStatus);
  const Recorded recorded = ReadRecorded(Trace());
  size_t next = 0;
  for (const std::vector<std::string>& words : LinesOf(ReadFile(log))) {
    if (words[0] != "fire") {
      continue;
    }
    while (next < recorded.events.size() && recorded.events[next].type != FIRE_RECORD) {
      ++next;
    }
    ASSERT_LT(next, recorded.events.size());
    const Noted& fire = recorded.events[next++];
    EXPECT_EQ(words[1], std::to_string(fire.cycle));
    EXPECT_EQ(words[3], std::to_string(fire.thread));
    EXPECT_EQ(words[4], std::to_string(fire.notes.at("iteration")));
    EXPECT_EQ(words[5], std::to_string(fire.notes.at("operation")));
    EXPECT_EQ(words[6], recorded.Name(fire, "opcode"));
    std::set<std::string> used;
    size_t local = 0;
    std::istringstream operands(words[7]);
    for (std::string operand; std::getline(operands, operand, ',');) {
      local += operand == "local";
      if (isdigit(operand[0]) != 0) {
        used.insert(operand);
      }
    }
    std::set<std::string> consumed;
    const auto consumes = fire.records.find("consumes");
    if (consumes != fire.records.end()) {
      for (const uint64_t record : consumes->second) {
        consumed.insert(std::to_string(recorded.events[record].notes.at("packet")));
      }
    }
    EXPECT_EQ(used, consumed);
    const auto producers = fire.records.find("produced_by");
    ASSERT_EQ(local, producers == fire.records.end() ? 0 : producers->second.size());
    for (size_t i = 0; i < local; ++i) {
      const Noted& producer = recorded.events[producers->second[i]];
      EXPECT_EQ(FIRE_RECORD, producer.type);
      EXPECT_EQ(fire.at, producer.at);
      EXPECT_LT(producer.cycle, fire.cycle);
    }
  }
}

TEST_P(CompanionTest, QueuesHoldWhatTheLogSaysThatWaited) {
  constexpr Cycle SWITCH_LATENCY = 3;
  constexpr Cycle DOMAIN_LATENCY = 2;
  constexpr Cycle MEMORY_LATENCY = 4;
  const std::string log = directory.File("log");
  ASSERT_EQ(0, Run({"-logFilename", log, "-array/switchLinkLatency", "3",
                    "-array/domainLinkLatency", "2", "-array/memoryPorts", "1"})
                   .exitStatus);
  const Recorded recorded = ReadRecorded(Trace());
  std::map<std::string, Steps> changes;  // of each unit's queue, by cycle
  const auto endsWith = [](const std::string& name, const std::string& end) {
    return name.size() > end.size() && name.compare(name.size() - end.size(), end.size(), end) == 0;
  };
  for (const std::vector<std::string>& words : LinesOf(ReadFile(log))) {
    if (words[0] != "link") {
      continue;
    }
    const Cycle now = std::stoull(words[1]);
    const std::string& from = words[3];
    const std::string& to = words[4];
    if (endsWith(to, "/switch")) {
      ++changes[to][now + (endsWith(from, "/switch") ? SWITCH_LATENCY : DOMAIN_LATENCY)];
    }
    if (endsWith(from, "/switch")) {
      --changes[from][now];
    }
    if (endsWith(to, "/memory")) {
      ++changes[to][now + 1];
    }
    if (endsWith(from, "/memory")) {
      --changes[from][now - MEMORY_LATENCY];
    }
  }
  int most = 0;
  for (uint32 cluster = 0; cluster < SHAPE.ClusterCount(); ++cluster) {
    const std::string unit =
        "array/c" + std::to_string(cluster % CLUSTERS) + "_" + std::to_string(cluster / CLUSTERS);
    const Location location = SHAPE.SwitchLocation(cluster);
    const Place place = {location.column, location.row};
    const Steps inSwitch = StepsOf(recorded, "switch_queue", place);
    EXPECT_EQ(StepsOf(changes[unit + "/switch"]), inSwitch) << unit;
    EXPECT_EQ(StepsOf(changes[unit + "/memory"]), StepsOf(recorded, "memory_queue", place)) << unit;
    for (const auto& [cycle, value] : inSwitch) {
      most = std::max(most, value);
    }
  }
  EXPECT_GT(most, 0) << "no message ever waited, so nothing was compared";
}

TEST_P(CompanionTest, AboutFileTellsTheArrayItsThreadsAndWhatWasPlacedWhere) {
  const CommandResult run = Run();
  const Result<About> read = ReadAbout(Trace() + ".about");
  ASSERT_TRUE(read) << read.Why().Text();
  const About& about = *read;
  const Result<std::unique_ptr<TraceSource>> trace = TraceSource::Open(Trace());
  ASSERT_TRUE(trace) << trace.Why().Text();
  EXPECT_FALSE(CheckIsAbout(about, **trace, "about"));
  EXPECT_EQ(GetParam(), about.name);
  EXPECT_THAT(about.tool, StartsWith("marrowfin-sim "));
  EXPECT_THAT(about.command, HasSubstr(std::string(" -program ") + GetParam() + " "));
  EXPECT_EQ(ArrayShape(SHAPE.clusters, SHAPE.domains, SHAPE.pes), about.array->shape);
  EXPECT_TRUE(about.array->gaps);
  EXPECT_EQ((AboutLinks{"xy", 8, 2, 1}), *about.links);
  EXPECT_EQ((AboutSwitches{SHAPE.DomainsPerCluster(), {}, 0}), *about.switches);
  EXPECT_EQ(3U, about.threads.size());
  EXPECT_EQ((AboutThread{std::string(GetParam()) + " 2", "thread"}), about.threads.at(2));
  // Each operation fires somewhere, and its place says that it is there.
  const Recorded recorded = ReadRecorded(Trace());
  std::map<std::pair<uint32_t, uint32_t>, std::map<std::string, std::set<uint64_t>>> fired;
  for (const Noted& event : recorded.events) {
    if (event.type == FIRE_RECORD) {
      fired[{event.at.column, event.at.row}][recorded.Name(event, "opcode")].insert(
          event.notes.at("operation"));
    }
  }
  for (const auto& [at, opcodes] : fired) {
    const std::string& name = about.places.at({at.first, at.second});
    for (const auto& [opcode, operations] : opcodes) {
      EXPECT_THAT(", " + name + ",",
                  HasSubstr(", " + std::to_string(operations.size()) + " " + opcode + ","));
    }
  }
}

// What a child of the test prints is of no interest.
void SayNothing() {
  if (freopen("/dev/null", "w", stdout) == nullptr) {
    _exit(1);
  }
}

class CompanionFilesTest : public ::testing::Test {
 protected:
  CommandResult Run(const std::vector<std::string>& more) const {
    std::vector<std::string> words = {"-program", "reduce", "-size", "8", "-outFilename", trace};
    words.insert(words.end(), more.begin(), more.end());
    return RunSimulator(words);
  }

  bool Exists(const std::string& suffix) const { return std::filesystem::exists(trace + suffix); }

  TempDir directory;
  std::string trace = directory.File("run.trace");
};

TEST_F(CompanionFilesTest, OneOfAnEarlierRunGoesWithItsTrace) {
  ASSERT_EQ(0, Run({}).exitStatus);
  EXPECT_TRUE(Exists(".notes") && Exists(".about"));
  ASSERT_EQ(0, Run({"-companion", "false"}).exitStatus);
  EXPECT_FALSE(Exists(".notes") || Exists(".about"));
}

TEST_F(CompanionFilesTest, NothingLiesBesideAPipe) {
  ASSERT_EQ(0, mkfifo(trace.c_str(), 0600));
  const pid_t reader = fork();
  if (reader == 0) {
    SayNothing();
    execlp("wc", "wc", "-c", trace.c_str(), nullptr);
    _exit(1);
  }
  EXPECT_EQ(0, Run({}).exitStatus);
  kill(reader, SIGTERM);
  waitpid(reader, nullptr, 0);
  EXPECT_FALSE(Exists(".notes") || Exists(".about"));
}

TEST_F(CompanionFilesTest, WhatCannotBeWrittenIsToldBeforeAnyFileIsTouched) {
  for (const char* suffix : {".notes", ".about"}) {
    ASSERT_EQ(0, mkdir((trace + suffix).c_str(), 0700));
    const CommandResult run = Run({});
    EXPECT_EQ(2, run.exitStatus);
    EXPECT_EQ("marrowfin-sim: " + trace + suffix +
                  ": Is a directory; -companion false records without it\n",
              run.err);
    EXPECT_FALSE(Exists(""));
    ASSERT_EQ(0, rmdir((trace + suffix).c_str()));
  }
  const CommandResult run = Run({"-logFilename", trace + ".notes"});
  EXPECT_EQ(2, run.exitStatus);
  EXPECT_THAT(run.err, HasSubstr("cannot go to the same file"));
}

TEST_F(CompanionFilesTest, OneThatCannotBeWrittenFailsTheRunAtItsEndWithItsWholeTrace) {
  ASSERT_EQ(0, Run({"-companion", "false"}).exitStatus);
  const std::string whole = ReadFile(trace);
  // The about file, which tells the command, is larger than the limit, and the trace is not.
  ASSERT_LT(whole.size(), 4096U);
  const CommandResult run =
      RunCommand({"bash", "-c",
                  "(ulimit -f 4; " MARROWFIN_SIM
                  " -program reduce $(printf -- '-size 8 %.0s' {1..600}) -outFilename " +
                      trace + ") | cat; exit ${PIPESTATUS[0]}"});
  EXPECT_EQ(1, run.exitStatus);
  EXPECT_THAT(run.err, HasSubstr("run.trace.about: cannot write: File too large"));
  EXPECT_THAT(run.out, HasSubstr("STATISTICS DONE\nRegression FAILED: "));
  EXPECT_TRUE(whole == ReadFile(trace));
}

TEST_F(CompanionFilesTest, OnAFullDiskNotesAreOfNoMoreRecordsThanItsTraceHas) {
  const std::string disk = directory.File("disk");
  const std::string copy = directory.File("copy");
  const CommandResult run =
      RunCommand({"unshare", "--user", "--map-root-user", "--mount", "bash", "-c",
                  "mkdir " + disk + " && mount -t tmpfs -o size=3m none " + disk +
                      " && " MARROWFIN_SIM " -outFilename " + disk +
                      "/t; status=$?; for f in '' .notes .about; do cp " + disk + "/t$f " + copy +
                      "$f; done; umount " + disk + "; exit $status"});
  EXPECT_EQ(1, run.exitStatus);
  EXPECT_THAT(run.err, HasSubstr("/t: cannot write: No space left on device; it holds "));
  size_t noted = 0;
  for (const Noted& event : ReadRecorded(copy).events) {
    noted += event.notes.count("kind");
  }
  EXPECT_GT(noted, 0U);
}

TEST_F(CompanionFilesTest, NotesOfARunThatWasKilledAgreeWithItsTrace) {
  size_t noted = 0;
  for (int run = 0; run < 10; ++run) {
    const pid_t child = fork();
    if (child == 0) {
      SayNothing();
      execl(MARROWFIN_SIM, MARROWFIN_SIM, "-rounds", "1000000", "-outFilename", trace.c_str(),
            "-statistics/outputFileName", "/dev/null", nullptr);
      _exit(1);
    }
    while (!Exists(".notes") || std::filesystem::file_size(trace + ".notes") < 100) {
      usleep(100);
    }
    usleep(static_cast<useconds_t>(run * 20011 % 70000));
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    for (const Noted& event : ReadRecorded(trace).events) {
      noted += event.notes.count("kind");
    }
    std::filesystem::remove(trace);
    std::filesystem::remove(trace + ".notes");
  }
  EXPECT_GT(noted, 0U);
}

}  // namespace marrowfin::sim::testing
