// The recorder in C++: the trace and its companion in step, whatever happens to either.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <bit>
#include <csignal>
#include <map>
#include <thread>

#include "tests/support/Files.h"
#include "tests/trace/support/Child.h"
#include "tests/trace/support/ReadEvents.h"
#include "trace/base/Record.h"
#include "trace/marrowfin_trace.h"
#include "trace/read/AboutFile.h"
#include "trace/read/NotesDecode.h"
#include "trace/read/NotesFile.h"
#include "trace/write/Recorder.h"

namespace marrowfin::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

// What is noted: of each attribute by name, the records and the values.
using Noted = std::map<std::string, std::vector<std::pair<uint64_t, uint64_t>>>;

// The notes of a trace, which must be about its records.
Noted NotedOf(const NotesFile& notes, const std::vector<Event>& events) {
  Noted noted;
  for (size_t number = 0; number < notes.Blocks().size(); ++number) {
    if (notes.Blocks()[number].kind != NotesBlockKind::NOTES) {
      continue;
    }
    Result<NotesBlock> block = notes.Notes(number);
    EXPECT_TRUE(block) << block.Why().Text();
    if (!block || block->first + block->count > events.size()) {
      ADD_FAILURE() << "notes of records that the trace does not have";
      break;
    }
    Fingerprint print;
    std::vector<uint64_t> cycles;
    for (uint64_t i = block->first; i < block->first + block->count; ++i) {
      print.Add(events[i].type, events[i].cycle, events[i].thread, events[i].at, events[i].to);
      cycles.push_back(events[i].cycle);
    }
    EXPECT_EQ(print.Value(), block->fingerprint);
    ResolveCycles(notes.Declarations(), cycles, *block);
    for (const NoteColumn& column : block->columns) {
      for (size_t i = 0; i < column.values.size(); ++i) {
        noted[notes.Declarations().attributes[column.attribute].name].emplace_back(
            block->first + column.positions[i], column.values[i]);
      }
    }
  }
  return noted;
}

// Whether a file of notes has more than its first bytes.
bool HasSome(const std::string& notes) {
  struct stat status;
  return stat(notes.c_str(), &status) == 0 && status.st_size > 50;
}

// A sink that takes so many bytes and then no more.
class SmallSink : public ByteSink {
 public:
  explicit SmallSink(size_t room) : room(room) {}

  Written Write(const uint8_t* bytes, size_t size) override {
    const size_t taken = std::min(size, room - kept.size());
    kept.insert(kept.end(), bytes, bytes + taken);
    return {taken, taken < size ? SystemFault("small", "cannot write", ENOSPC) : Fault()};
  }

  size_t room;
  std::string kept;
};

class CxxRecorderTest : public ::testing::Test {
 protected:
  std::unique_ptr<NotesFile> Notes() const {
    Result<std::unique_ptr<NotesFile>> notes = NotesFile::Open(name + ".notes");
    EXPECT_TRUE(notes) << notes.Why().Text();
    return notes ? std::move(notes).Take() : nullptr;
  }

  bool Exists(const std::string& suffix) const {
    return access((name + suffix).c_str(), F_OK) == 0;
  }

  TempDir folder;
  std::string name = folder.File("run.trace");
};

TEST_F(CxxRecorderTest, RecordsTheBytesOfTheRecorderInPlainC) {
  marrowfin_trace plain;
  ASSERT_EQ(0, marrowfin_trace_open(&plain, folder.File("plain").c_str()));
  marrowfin_trace_frame(&plain, 9);
  Recorder trace({.companion = false, .frame = 9});
  ASSERT_FALSE(trace.Open(name));
  for (uint32_t i = 0; i < 30000; ++i) {
    marrowfin_trace_fire(&plain, i, i % 7, i % 5, 2 * i);
    marrowfin_trace_switch(&plain, i, i % 7, 8, 16);
    marrowfin_trace_send(&plain, i, 3, 1, i, 2, i % 3);
    trace.Fire(i, i % 7, {2 * i, i % 5});
    trace.Transmit(i, i % 7, {16, 8});
    trace.Send(i, 3, {i, 1}, {i % 3, 2});
  }
  ASSERT_EQ(0, marrowfin_trace_close(&plain));
  ASSERT_FALSE(trace.Close());
  EXPECT_TRUE(ReadFile(folder.File("plain")) == ReadFile(name));
  EXPECT_EQ(90002U, trace.WholeRecords());
  EXPECT_EQ(ReadFile(name).size(), trace.WholeBytes());
}

TEST_F(CxxRecorderTest, TraceHasTheSameBytesWhateverIsNoted) {
  for (const bool packed : {false, true}) {
    std::string bytes[2];
    for (const bool companion : {false, true}) {
      Recorder trace({.companion = companion, .packed = packed, .frame = 1});
      ASSERT_FALSE(trace.Open(name));
      const NumberNote packet = trace.DeclareNumber("packet");
      const RecordsNote consumes = trace.DeclareRecords("consumes");
      const CounterHandle queue = trace.DeclareCounter("queue");
      for (uint32_t i = 0; i < 200000; ++i) {
        const RecordNumber sent = trace.Send(i / 3, i % 5, {i % 64, 2}, {3, i % 64});
        EXPECT_TRUE(trace.Note(packet, i));
        trace.Fire(i / 3, i % 5, {3, i % 64});
        EXPECT_TRUE(trace.Note(consumes, sent));
        trace.Count(queue, {1, 2}, i / 3, i % 11);
        if (i == 150000) {
          ASSERT_FALSE(trace.Flush());
        }
      }
      ASSERT_FALSE(trace.Close());
      bytes[companion ? 1 : 0] = ReadFile(name);
      EXPECT_EQ(companion, Exists(".notes"));
      EXPECT_EQ(companion, Exists(".about"));
    }
    EXPECT_TRUE(bytes[0] == bytes[1]) << "packed: " << packed;
    EXPECT_EQ(packed, bytes[0].size() < 4000000);
  }
}

TEST_F(CxxRecorderTest, NotesReadBackAreThoseThatWereRecorded) {
  Recorder trace;
  ASSERT_FALSE(trace.Open(name));
  const NameNote kind = trace.DeclareName("kind");
  const NamedValue kinds[] = {trace.DeclareValue(kind, "inject"), trace.DeclareValue(kind, "eject"),
                              trace.DeclareValue(kind, "wait")};
  const NumberNote packet = trace.DeclareNumber("packet", "flows");
  const CycleNote created = trace.DeclareCycle("created");
  const RealNote energy = trace.DeclareReal("energy", "pJ");
  const RecordsNote consumes = trace.DeclareRecords("consumes");
  Noted expected;
  uint64_t random = 1;
  const auto next = [&random] {
    return random = random * 6364136223846793005 + 1442695040888963407;
  };
  std::vector<RecordNumber> numbers;
  for (uint64_t i = 0; i < 150000; ++i) {
    const uint64_t cycle = 1000 + i / 4;
    numbers.push_back(i % 3 == 0   ? trace.Fire(cycle, 1, {2, 3})
                      : i % 3 == 1 ? trace.Transmit(cycle, 1, {8, 8})
                                   : trace.Send(cycle, 1, {2, 3}, {4, 5}));
    EXPECT_EQ(RecordNumber{i}, numbers.back());
    EXPECT_TRUE(trace.Note(kinds[i % 3]));
    expected["kind"].emplace_back(i, i % 3);
    if (next() >> 63) {
      EXPECT_TRUE(trace.Note(packet, next()));
      expected["packet"].emplace_back(i, random);
    }
    if (next() >> 62 == 0) {
      EXPECT_TRUE(trace.Note(created, cycle - i % 50));
      expected["created"].emplace_back(i, cycle - i % 50);
    }
    if (next() >> 60 == 0) {
      EXPECT_TRUE(trace.Note(energy, static_cast<double>(i) / 3));
      expected["energy"].emplace_back(i, std::bit_cast<uint64_t>(static_cast<double>(i) / 3));
    }
    for (uint64_t count = next() >> 62; count > 1 && i > 0; --count) {
      const uint64_t before = next() % i;
      EXPECT_TRUE(trace.Note(consumes, numbers[before]));
      expected["consumes"].emplace_back(i, before);
    }
  }
  ASSERT_FALSE(trace.Close());
  const std::unique_ptr<NotesFile> notes = Notes();
  ASSERT_NE(nullptr, notes);
  EXPECT_FALSE(notes->End());
  EXPECT_EQ(150000U, notes->Records());
  const NoteDeclarations& declared = notes->Declarations();
  EXPECT_EQ("wait", declared.attributes[0].names.at(2));
  EXPECT_EQ(NoteType::NUMBER, declared.attributes[1].type);
  EXPECT_EQ("flows", declared.attributes[1].unit);
  EXPECT_EQ("cycle", declared.attributes[2].unit);
  EXPECT_EQ(NoteType::REAL, declared.attributes[3].type);
  EXPECT_TRUE(expected == NotedOf(*notes, ReadEvents(name)));
}

TEST_F(CxxRecorderTest, SamplesReadBackAreThoseThatWereTaken) {
  Recorder trace;
  ASSERT_FALSE(trace.Open(name));
  const CounterHandle queue = trace.DeclareCounter("queue", "messages");
  const CounterHandle power = trace.DeclareCounter("power", "W");
  std::vector<CounterSample> expected;
  for (uint32_t i = 0; i < 100000; ++i) {
    const double value = i % 3 == 0 ? i * 0.1 : i;
    trace.Count(i % 2 == 0 ? queue : power, {i % 5, i % 7}, i, value);
    expected.push_back({i, i % 2, {i % 5, i % 7}, value});
  }
  trace.Count(CounterHandle(), {}, 1, 1);
  ASSERT_FALSE(trace.Close());
  const std::unique_ptr<NotesFile> notes = Notes();
  ASSERT_NE(nullptr, notes);
  std::vector<CounterSample> read;
  for (size_t number = 0; number < notes->Blocks().size(); ++number) {
    if (notes->Blocks()[number].kind == NotesBlockKind::SAMPLES) {
      const Result<std::vector<CounterSample>> samples = notes->Samples(number);
      ASSERT_TRUE(samples) << samples.Why().Text();
      read.insert(read.end(), samples->begin(), samples->end());
    }
  }
  EXPECT_TRUE(expected == read);
  EXPECT_EQ("W", notes->Declarations().counters[1].unit);
}

TEST_F(CxxRecorderTest, FrameStandsAroundTheRecordsAndThatOfNoneIsNone) {
  Recorder trace({.frame = 9});
  ASSERT_FALSE(trace.Open(name));
  ASSERT_FALSE(trace.Close());
  EXPECT_EQ("", ReadFile(name));
  ASSERT_FALSE(trace.Open(name));
  EXPECT_EQ(RecordNumber{1}, trace.Fire(5, 1, {3, 2}));
  EXPECT_EQ(RecordNumber{2}, trace.Fire(8, 1, {3, 2}));
  ASSERT_FALSE(trace.Close());
  EXPECT_THAT(ReadEvents(name),
              ElementsAre(Event{4, 5, 9, {0, 0}, {0, 0}}, Event{3, 5, 1, {3, 2}, {}},
                          Event{3, 8, 1, {3, 2}, {}}, Event{4, 9, 9, {}, {}}));
}

TEST_F(CxxRecorderTest, FlushHandsOverTheTraceItsNotesAndWhatItIsAbout) {
  Recorder trace;
  ASSERT_FALSE(trace.Open(name));
  const NumberNote packet = trace.DeclareNumber("packet");
  trace.Fire(1, 0, {0, 0});
  trace.Note(packet, 7);
  EXPECT_EQ("", ReadFile(name));
  EXPECT_FALSE(Exists(".about"));
  for (uint64_t i = 1; i <= 100; ++i) {
    ASSERT_FALSE(trace.Flush());
    EXPECT_EQ(i * 28, ReadFile(name).size());
    EXPECT_EQ(i, Notes()->Records());
    const Result<About> about = ReadAbout(name + ".about");
    ASSERT_TRUE(about) << about.Why().Text();
    EXPECT_EQ(std::min<uint64_t>(i, 64), about->printed);
    trace.Fire(1 + i, 0, {0, 0});
  }
  ASSERT_FALSE(trace.Close());
}

TEST_F(CxxRecorderTest, WhatIsRecordedIsHandedOverEarlyAndThenInPieces) {
  Recorder trace;
  ASSERT_FALSE(trace.Open(name));
  std::vector<std::pair<uint64_t, uint64_t>> steps;
  for (uint64_t i = 0; i < 200000; ++i) {
    trace.Fire(i, 0, {0, 0});
    if (steps.empty() || trace.WholeRecords() != steps.back().second) {
      steps.emplace_back(i + 1, trace.WholeRecords());
    }
    if (i == 64) {
      EXPECT_EQ(64U, Notes()->Records());
      EXPECT_EQ(64U, ReadAbout(name + ".about")->printed);
    }
  }
  EXPECT_EQ((std::pair<uint64_t, uint64_t>(65, 64)), steps[1]);
  ASSERT_FALSE(trace.Close());
  std::vector<uint64_t> firsts;
  const std::unique_ptr<NotesFile> notes = Notes();
  for (const NotesEntry& entry : notes->Blocks()) {
    if (entry.kind == NotesBlockKind::NOTES) {
      firsts.push_back(entry.low);
    }
  }
  EXPECT_THAT(firsts, ElementsAre(0, 64, 65600, 131136, 196672));
}

TEST_F(CxxRecorderTest, AboutFileTellsWhatWasDescribedLast) {
  Recorder trace;
  ASSERT_FALSE(trace.Open(name));
  About about;
  about.name = "first";
  about.array = AboutArray{ArrayShape({2, 1}, {1, 1}, {4, 3})};
  trace.Describe(about);
  trace.Fire(3, 2, {1, 1});
  ASSERT_FALSE(trace.Flush());
  const Result<About> first = ReadAbout(name + ".about");
  ASSERT_TRUE(first) << first.Why().Text();
  EXPECT_EQ("first", first->name);
  EXPECT_EQ(about.array, first->array);
  EXPECT_EQ(20U, first->date.size()) << "when the recording began: " << first->date;
  about.name = "second";
  about.date = "2026-11-22T01:00:00Z";
  trace.Describe(about);
  ASSERT_FALSE(trace.Close());
  const Result<About> second = ReadAbout(name + ".about");
  ASSERT_TRUE(second);
  EXPECT_EQ("second", second->name);
  EXPECT_EQ("2026-11-22T01:00:00Z", second->date);
  Fingerprint print;
  print.Add(FIRE_RECORD, 3, 2, {1, 1}, {});
  EXPECT_EQ(1U, second->printed);
  EXPECT_EQ(print.Value(), second->fingerprint);
}

TEST_F(CxxRecorderTest, NotesOfNoRecordAreRefused) {
  Recorder trace;
  ASSERT_FALSE(trace.Open(name));
  const NumberNote packet = trace.DeclareNumber("packet");
  const RecordsNote consumes = trace.DeclareRecords("consumes");
  EXPECT_FALSE(trace.Note(packet, 1)) << "there is no record";
  const RecordNumber first = trace.Fire(1, 0, {0, 0});
  EXPECT_FALSE(trace.Note(consumes, first)) << "no record consumes itself";
  EXPECT_TRUE(trace.Note(packet, 1));
  EXPECT_TRUE(trace.Note(NumberNote(), 5)) << "what was never declared is passed over";
  EXPECT_TRUE(trace.Note(NamedValue()));
  ASSERT_FALSE(trace.Flush());
  EXPECT_FALSE(trace.Note(packet, 2)) << "what is handed over takes no notes";
  ASSERT_FALSE(trace.Close());
  EXPECT_EQ((Noted{{"packet", {{0, 1}}}}), NotedOf(*Notes(), ReadEvents(name)));
}

TEST_F(CxxRecorderTest, LastRecordOfAPieceCanStillBeNoted) {
  Recorder trace;
  ASSERT_FALSE(trace.Open(name));
  const NumberNote packet = trace.DeclareNumber("packet");
  for (uint64_t i = 0; i < 70000; ++i) {
    trace.Fire(i, 0, {0, 0});
    ASSERT_TRUE(trace.Note(packet, i)) << i;
  }
  ASSERT_FALSE(trace.Close());
  EXPECT_EQ(70000U, NotedOf(*Notes(), ReadEvents(name))["packet"].size());
}

TEST_F(CxxRecorderTest, ManyNotesOfARecordEndAPieceEarly) {
  Recorder trace;
  ASSERT_FALSE(trace.Open(name));
  const RecordsNote consumes = trace.DeclareRecords("consumes");
  for (uint64_t i = 0; i < 20000; ++i) {
    trace.Fire(i, 0, {0, 0});
    for (uint64_t k = 0; k < 100 && k < i; ++k) {
      ASSERT_TRUE(trace.Note(consumes, RecordNumber{k}));
    }
  }
  EXPECT_GT(trace.WholeRecords(), 5000U);
  EXPECT_EQ(trace.WholeRecords(), Notes()->Records());
  ASSERT_FALSE(trace.Close());
  EXPECT_FALSE(Notes()->End());
}

TEST_F(CxxRecorderTest, WithoutACompanionWhatIsNotedIsPassedOver) {
  Recorder trace({.companion = false});
  ASSERT_FALSE(trace.Open(name));
  const NumberNote packet = trace.DeclareNumber("packet");
  const NameNote kind = trace.DeclareName("kind");
  const NamedValue wait = trace.DeclareValue(kind, "wait");
  trace.Describe({});
  trace.Fire(1, 0, {0, 0});
  EXPECT_TRUE(trace.Note(packet, 1));
  EXPECT_TRUE(trace.Note(wait));
  trace.Count(trace.DeclareCounter("queue"), {}, 1, 1);
  ASSERT_FALSE(trace.Close());
  EXPECT_EQ(28U, ReadFile(name).size());
  EXPECT_FALSE(Exists(".notes"));
  EXPECT_FALSE(Exists(".about"));
}

TEST_F(CxxRecorderTest, CompanionOfAnEarlierRunGoesWithItsTrace) {
  WriteFile(name + ".notes", "MFNOTES1");
  WriteFile(name + ".about", "format = 1\n");
  Recorder trace({.companion = false});
  ASSERT_FALSE(trace.Open(name));
  EXPECT_FALSE(Exists(".notes"));
  EXPECT_FALSE(Exists(".about"));
}

TEST_F(CxxRecorderTest, CompanionStaysWhereItsTraceCannotBeReplaced) {
  ASSERT_EQ(0, mkdir(name.c_str(), 0700));
  WriteFile(name + ".notes", "MFNOTES1");
  Recorder trace;
  EXPECT_EQ(name + ": cannot open: Is a directory", trace.Open(name).Text());
  EXPECT_TRUE(Exists(".notes"));
  trace.Fire(1, 0, {0, 0});
  EXPECT_EQ(name + ": cannot open: Is a directory", trace.Close().Text());
}

TEST_F(CxxRecorderTest, NamesThatAreTakenOrEmptyAndTooManyAttributesAreFailures) {
  Recorder trace;
  ASSERT_FALSE(trace.Open(name));
  trace.DeclareNumber("packet");
  trace.DeclareCycle("packet");
  EXPECT_THAT(trace.Close().Text(), HasSubstr("run.trace.notes: cannot declare `packet'"));
  ASSERT_FALSE(trace.Open(name));
  trace.DeclareCounter("");
  EXPECT_THAT(trace.Close().Text(), HasSubstr("run.trace.notes: cannot declare `'"));
  ASSERT_FALSE(trace.Open(name));
  for (uint32_t i = 0; i < NOTES_MOST_ATTRIBUTES; ++i) {
    trace.DeclareNumber("a" + std::to_string(i));
  }
  EXPECT_FALSE(trace.GetFault());
  trace.DeclareNumber("one too many");
  EXPECT_THAT(trace.Close().Text(), HasSubstr("cannot declare `one too many'"));
}

// Readers would refuse such texts with all that is declared beside them.
TEST_F(CxxRecorderTest, NamesAndUnitsThatAreNoUtf8AreMended) {
  Recorder trace;
  ASSERT_FALSE(trace.Open(name));
  const NameNote kind = trace.DeclareName("a\xff");
  trace.DeclareValue(kind, "b\xff");
  trace.DeclareNumber("number", "c\xff");
  trace.DeclareCounter("d\xff", "e\xff");
  trace.Fire(1, 0, {0, 0});
  ASSERT_FALSE(trace.Close());
  const Result<std::unique_ptr<NotesFile>> notes = NotesFile::Open(name + ".notes");
  ASSERT_TRUE(notes);
  EXPECT_FALSE((*notes)->End()) << (*notes)->End().Text();
  const NoteDeclarations& declared = (*notes)->Declarations();
  ASSERT_EQ(2U, declared.attributes.size());
  EXPECT_EQ("a\xef\xbf\xbd", declared.attributes[0].name);
  EXPECT_EQ("b\xef\xbf\xbd", declared.attributes[0].names.at(0));
  EXPECT_EQ("c\xef\xbf\xbd", declared.attributes[1].unit);
  ASSERT_EQ(1U, declared.counters.size());
  EXPECT_EQ("d\xef\xbf\xbd", declared.counters[0].name);
  EXPECT_EQ("e\xef\xbf\xbd", declared.counters[0].unit);
}

TEST_F(CxxRecorderTest, NamesThatOnlyMendingMakesEqualAndValuesWithoutANameAreFailures) {
  Recorder trace;
  ASSERT_FALSE(trace.Open(name));
  trace.DeclareNumber("a\xff");
  trace.DeclareNumber("a\xfe");
  EXPECT_THAT(trace.Close().Text(), HasSubstr("run.trace.notes: cannot declare `a"));
  ASSERT_FALSE(trace.Open(name));
  trace.DeclareValue(trace.DeclareName("kind"), "");
  trace.Fire(1, 0, {0, 0});
  EXPECT_THAT(trace.Close().Text(), HasSubstr("cannot declare `', a name that is empty"));
  EXPECT_EQ(28U, ReadFile(name).size()) << "the trace itself is recorded";
}

TEST_F(CxxRecorderTest, FirstFailureIsToldWithFileAndPlace) {
  Recorder trace({.companion = false});
  ASSERT_FALSE(trace.Open("/dev/full"));
  for (uint64_t i = 0; i < 100000; ++i) {
    trace.Fire(i, 0, {0, 0});
  }
  const std::string text =
      "/dev/full: cannot write at byte 0: No space left on device; 0 whole records were written";
  EXPECT_EQ(text, trace.Flush().Text());
  EXPECT_EQ(text, trace.Close().Text());
  EXPECT_EQ(text, trace.Close().Text());
}

TEST_F(CxxRecorderTest, NotesNeverRunAheadOfATraceThatCannotBeWritten) {
  SmallSink full(100 * 28 + 5);
  MemorySink notes;
  Recorder trace;
  trace.Attach(full, &notes, name);
  const NumberNote packet = trace.DeclareNumber("packet");
  for (uint64_t i = 0; i < 200000; ++i) {
    trace.Fire(i, 0, {0, 0});
    EXPECT_TRUE(trace.Note(packet, i));
  }
  EXPECT_EQ("small: cannot write: No space left on device", trace.Close().Text());
  EXPECT_EQ(100U, trace.WholeRecords());
  const Result<std::unique_ptr<NotesFile>> file = NotesFile::Open(MemoryFile(notes.Bytes(), "n"));
  ASSERT_TRUE(file) << file.Why().Text();
  EXPECT_EQ(64U, (*file)->Records());
}

TEST_F(CxxRecorderTest, CompanionThatCannotBeWrittenIsToldAndTheTraceIsWhole) {
  MemorySink whole;
  SmallSink notes(100);
  Recorder trace;
  trace.Attach(whole, &notes, name);
  const NumberNote packet = trace.DeclareNumber("packet");
  for (uint64_t i = 0; i < 1000; ++i) {
    trace.Fire(i, 0, {0, 0});
    trace.Note(packet, i * i);
  }
  EXPECT_EQ("small: cannot write: No space left on device", trace.Close().Text());
  EXPECT_EQ(28000U, whole.Bytes().size());

  ASSERT_EQ(0, mkdir((name + ".notes").c_str(), 0700));
  EXPECT_EQ(name + ".notes: cannot open: Is a directory", trace.Open(name).Text());
  ASSERT_EQ(0, rmdir((name + ".notes").c_str()));
  ASSERT_EQ(0, mkdir((name + ".about").c_str(), 0700));
  ASSERT_FALSE(trace.Open(name));
  trace.Fire(1, 0, {0, 0});
  EXPECT_THAT(trace.Close().Text(), HasSubstr("run.trace.about"));
  EXPECT_EQ(28U, ReadFile(name).size());
}

TEST_F(CxxRecorderTest, ReaderOfAFifoThatGoesAwayEndsTheRecordingAndNotTheRun) {
  ASSERT_EQ(0, mkfifo(name.c_str(), 0600));
  const int reader = open(name.c_str(), O_RDONLY | O_NONBLOCK);
  ASSERT_NE(-1, reader);
  Recorder trace;
  ASSERT_FALSE(trace.Open(name));
  close(reader);
  trace.Fire(1, 0, {0, 0});
  EXPECT_THAT(trace.Close().Text(), HasSubstr("run.trace: cannot write at byte 0: Broken pipe"));
  sigset_t signals;
  ASSERT_EQ(0, pthread_sigmask(SIG_BLOCK, nullptr, &signals));
  EXPECT_EQ(0, sigismember(&signals, SIGPIPE)) << "who handles the signal elsewhere still does";
  ASSERT_EQ(0, sigpending(&signals));
  EXPECT_EQ(0, sigismember(&signals, SIGPIPE));
  EXPECT_EQ(SIG_DFL, signal(SIGPIPE, SIG_DFL));
}

// Beyond it the system would end the process.
TEST_F(CxxRecorderTest, LimitOnTheSizeOfFilesEndsTheRecordingAndNotTheRun) {
  ExpectInChild([this] {
    const rlimit limit = {100'000, 100'000};
    ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &limit));
    Recorder trace;
    ASSERT_FALSE(trace.Open(name));
    for (uint64_t i = 0; i < 10'000; ++i) {
      trace.Fire(i, 0, {0, 0});
    }
    EXPECT_THAT(trace.Close().Text(), HasSubstr("run.trace: cannot write at byte 100000"));
    EXPECT_THAT(trace.Close().Text(), HasSubstr("File too large"));
    sigset_t signals;
    ASSERT_EQ(0, pthread_sigmask(SIG_BLOCK, nullptr, &signals));
    EXPECT_EQ(0, sigismember(&signals, SIGXFSZ)) << "who handles the signal elsewhere still does";
    ASSERT_EQ(0, sigpending(&signals));
    EXPECT_EQ(0, sigismember(&signals, SIGXFSZ));
  });
  EXPECT_EQ(100'000U, ReadFile(name).size());
}

TEST_F(CxxRecorderTest, ReaderOfAFifoNeverMeetsAPartOfARecord) {
  ASSERT_EQ(0, mkfifo(name.c_str(), 0600));
  size_t all = 0;
  size_t parts = 0;
  std::thread reader([&] {
    const int descriptor = open(name.c_str(), O_RDONLY);
    std::vector<uint8_t> bytes(28);
    ssize_t got;
    while ((got = read(descriptor, bytes.data(), bytes.size())) > 0) {
      parts += got != 28;
      all += static_cast<size_t>(got);
    }
    close(descriptor);
  });
  Recorder trace;
  ASSERT_FALSE(trace.Open(name));
  for (uint64_t i = 0; i < 50000; ++i) {
    trace.Fire(i, 0, {0, 0});
  }
  ASSERT_FALSE(trace.Close());
  reader.join();
  EXPECT_EQ(50000U * 28, all);
  EXPECT_EQ(0U, parts);
}

TEST_F(CxxRecorderTest, RunThatIsKilledLeavesNotesThatAgreeWithItsTrace) {
  size_t withNotes = 0;
  for (int round = 0; round < 200; ++round) {
    RemoveCompanion(name);
    unlink(name.c_str());
    const pid_t child = StartChild([this, round] {
      Recorder trace({.packed = round % 2 == 1});
      static_cast<void>(trace.Open(name));
      const NumberNote packet = trace.DeclareNumber("packet");
      const CycleNote created = trace.DeclareCycle("created");
      for (uint64_t i = 0;; ++i) {
        trace.Send(i, 0, {2, 1}, {4, 3});
        trace.Note(packet, 3 * i);
        trace.Note(created, i - 1);
      }
    });
    // Some at any moment, some once there are notes.
    while (round % 20 == 0 && !HasSome(name + ".notes")) {
      usleep(100);
    }
    usleep(static_cast<useconds_t>(500 + round * 97 % 10000));
    kill(child, SIGKILL);
    ASSERT_EQ(child, waitpid(child, nullptr, 0));
    if (!Exists(".notes")) {
      continue;
    }
    Result<std::unique_ptr<NotesFile>> notes = NotesFile::Open(name + ".notes");
    if (!notes) {
      EXPECT_EQ(Fault::CUT_NOTES, notes.Why().kind) << notes.Why().Text();
      continue;
    }
    const std::vector<Event> events = ReadEvents(name, Ending::ANY);
    size_t wrong = 0;
    for (uint64_t i = 0; i < events.size(); ++i) {
      wrong += events[i] != Event{SEND_RECORD, i, 0, {2, 1}, {4, 3}};
    }
    Noted noted = NotedOf(**notes, events);
    EXPECT_EQ((*notes)->Records(), noted["packet"].size());
    for (const auto& [record, value] : noted["packet"]) {
      wrong += 3 * record != value;
    }
    ASSERT_EQ(0U, wrong);
    withNotes += (*notes)->Records() > 0;
  }
  EXPECT_GT(withNotes, 0U);
}

}  // namespace
}  // namespace marrowfin::testing
