// The recorder in plain C beyond the bytes of its records: buffering, rings, failures, companions.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <bit>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <thread>

#include "tests/support/Files.h"
#include "tests/trace/support/Child.h"
#include "tests/trace/support/ReadEvents.h"
#include "trace/base/Fingerprint.h"
#include "trace/base/Utf8.h"
#include "trace/marrowfin_trace.h"
#include "trace/read/NotesDecode.h"
#include "trace/read/NotesFile.h"

namespace marrowfin::testing {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

class RecorderTest : public ::testing::Test {
 protected:
  std::vector<Event> Read() const { return ReadEvents(name); }

  std::vector<uint64_t> Cycles() const {
    std::vector<uint64_t> cycles;
    for (const Event& event : Read()) {
      cycles.push_back(event.cycle);
    }
    return cycles;
  }

  std::unique_ptr<NotesFile> Notes() const {
    Result<std::unique_ptr<NotesFile>> notes = NotesFile::Open(NotesFile::NameBeside(name));
    EXPECT_TRUE(notes) << notes.Why().Text();
    return notes ? std::move(notes).Take() : nullptr;
  }

  // All samples of the companion, as they stand.
  std::vector<CounterSample> Samples() const {
    std::vector<CounterSample> all;
    const std::unique_ptr<NotesFile> notes = Notes();
    for (size_t number = 0; notes && number < notes->Blocks().size(); ++number) {
      if (notes->Blocks()[number].kind == NotesBlockKind::SAMPLES) {
        const Result<std::vector<CounterSample>> samples = notes->Samples(number);
        EXPECT_TRUE(samples) << samples.Why().Text();
        all.insert(all.end(), samples->begin(), samples->end());
      }
    }
    return all;
  }

  // Opens a trace with a companion and the attributes that all know.
  void OpenWithCompanion() {
    ASSERT_EQ(0, marrowfin_trace_open(&trace, name.c_str()));
    ASSERT_EQ(0, marrowfin_trace_companion(&trace));
    kind = marrowfin_trace_attribute(&trace, "kind", MARROWFIN_TRACE_NAME, "");
    packet = marrowfin_trace_attribute(&trace, "packet", MARROWFIN_TRACE_NUMBER, "");
    created = marrowfin_trace_attribute(&trace, "created", MARROWFIN_TRACE_CYCLE, "cycle");
    consumes = marrowfin_trace_attribute(&trace, "consumes", MARROWFIN_TRACE_RECORDS, "");
    energy = marrowfin_trace_attribute(&trace, "energy", MARROWFIN_TRACE_REAL, "pJ");
  }

  TempDir folder;
  std::string name = folder.File("run.trace");
  marrowfin_trace trace;
  int kind = -1, packet = -1, created = -1, consumes = -1, energy = -1;
};

TEST_F(RecorderTest, FlushHandsOverWhatIsRecordedSoFar) {
  ASSERT_EQ(0, marrowfin_trace_open(&trace, name.c_str()));
  marrowfin_trace_fire(&trace, 1, 0, 0, 0);
  EXPECT_EQ("", ReadFile(name));
  ASSERT_EQ(0, marrowfin_trace_flush(&trace));
  EXPECT_EQ(28U, ReadFile(name).size());
  marrowfin_trace_fire(&trace, 2, 0, 0, 0);
  ASSERT_EQ(0, marrowfin_trace_close(&trace));
  EXPECT_THAT(Cycles(), ElementsAre(1, 2));
}

TEST_F(RecorderTest, WhatIsInTheFileAtAnyTimeIsWholeRecords) {
  ASSERT_EQ(0, marrowfin_trace_open(&trace, name.c_str()));
  uint64_t size = 0;
  for (uint64_t i = 0; i < 20000; ++i) {
    // Fires of 28 bytes and messages of 36 in a ratio that no power of two shares.
    if (i % 3 == 0) {
      marrowfin_trace_send(&trace, i, 0, 0, 0, 1, 1);
    } else {
      marrowfin_trace_fire(&trace, i, 0, 0, 0);
    }
    struct stat status;
    ASSERT_EQ(0, stat(name.c_str(), &status));
    if (static_cast<uint64_t>(status.st_size) != size) {
      size = static_cast<uint64_t>(status.st_size);
      const uint64_t triples = size / 92;
      const uint64_t rest = size % 92;
      ASSERT_TRUE(rest == 0 || rest == 36 || rest == 64) << triples << " and " << rest;
    }
  }
  EXPECT_GT(size, 0U);
  ASSERT_EQ(0, marrowfin_trace_close(&trace));
}

TEST_F(RecorderTest, ReaderOfAFifoNeverMeetsAPartOfARecord) {
  ASSERT_EQ(0, mkfifo(name.c_str(), 0600));
  std::vector<size_t> sizes;
  std::thread reader([&] {
    const int descriptor = open(name.c_str(), O_RDONLY);
    std::vector<uint8_t> bytes(28);
    ssize_t got;
    while ((got = read(descriptor, bytes.data(), bytes.size())) > 0) {
      sizes.push_back(static_cast<size_t>(got));
    }
    close(descriptor);
  });
  ASSERT_EQ(0, marrowfin_trace_open(&trace, name.c_str()));
  for (uint64_t i = 0; i < 50000; ++i) {
    marrowfin_trace_fire(&trace, i, 0, 0, 0);
  }
  ASSERT_EQ(0, marrowfin_trace_close(&trace));
  reader.join();
  size_t all = 0;
  for (const size_t size : sizes) {
    ASSERT_EQ(28U, size);
    all += size;
  }
  EXPECT_EQ(50000U * 28, all);
}

TEST_F(RecorderTest, ReaderOfAFifoThatGoesAwayEndsTheRecordingAndNotTheRun) {
  ASSERT_EQ(0, mkfifo(name.c_str(), 0600));
  const int reader = open(name.c_str(), O_RDONLY | O_NONBLOCK);
  ASSERT_NE(-1, reader);
  ASSERT_EQ(0, marrowfin_trace_open(&trace, name.c_str()));
  close(reader);
  marrowfin_trace_fire(&trace, 1, 0, 0, 0);
  EXPECT_EQ(EPIPE, marrowfin_trace_close(&trace));
  EXPECT_THAT(marrowfin_trace_message(&trace), HasSubstr("run.trace: cannot write at byte 0"));
  // Who handles the signal elsewhere still does.
  EXPECT_EQ(SIG_DFL, signal(SIGPIPE, SIG_DFL));
}

void Nap() { std::this_thread::sleep_for(std::chrono::milliseconds(1)); }

// Sends a thread so many signals that interrupt the calls that it waits in.
void Interrupt(pthread_t thread) {
  for (int i = 0; i < 20; ++i) {
    pthread_kill(thread, SIGUSR1);
    Nap();
  }
}

// Waits until nothing more fits into a pipe, or nobody writes into it any more.
void AwaitFull(int pipe, const std::atomic<bool>& isOver) {
  int held = 0;
  while (ioctl(pipe, FIONREAD, &held) == 0 && held + 4096 <= fcntl(pipe, F_GETPIPE_SZ) && !isOver) {
    Nap();
  }
}

// The bytes that come out of a pipe that does not block, until its writer has ended.
size_t ReadAll(int pipe, const std::atomic<bool>& isOver) {
  char bytes[4096];
  size_t all = 0;
  for (;;) {
    const bool wasOver = isOver;
    const ssize_t got = read(pipe, bytes, sizeof(bytes));
    if (got > 0) {
      all += static_cast<size_t>(got);
    } else if (wasOver) {
      return all;
    } else {
      Nap();
    }
  }
}

TEST_F(RecorderTest, SignalsThatInterruptTheWritingIntoAFifoEndNoRecording) {
  struct sigaction interrupts = {};
  interrupts.sa_handler = [](int) {};  // without SA_RESTART
  struct sigaction before;
  ASSERT_EQ(0, sigaction(SIGUSR1, &interrupts, &before));
  ASSERT_EQ(0, mkfifo(name.c_str(), 0600));
  std::atomic<bool> isOver = false;
  int closed = -1;
  std::thread writer([&] {
    marrowfin_trace_open(&trace, name.c_str());
    for (uint64_t i = 0; i < 20000; ++i) {
      marrowfin_trace_fire(&trace, i, 0, 0, 0);
    }
    closed = marrowfin_trace_close(&trace);
    isOver = true;
  });
  Interrupt(writer.native_handle());  // while it waits for a reader
  const int reader = open(name.c_str(), O_RDONLY | O_NONBLOCK);
  AwaitFull(reader, isOver);
  Interrupt(writer.native_handle());  // while it waits for room
  EXPECT_EQ(20000U * 28, ReadAll(reader, isOver));
  writer.join();
  close(reader);
  sigaction(SIGUSR1, &before, nullptr);
  EXPECT_EQ(0, closed) << marrowfin_trace_message(&trace);
}

TEST_F(RecorderTest, FailureIsToldWithFileAndPlaceAfterTheClosing) {
  ASSERT_EQ(0, marrowfin_trace_open(&trace, "/dev/full"));
  marrowfin_trace_fire(&trace, 1, 0, 0, 0);
  EXPECT_EQ(ENOSPC, marrowfin_trace_close(&trace));
  EXPECT_STREQ("/dev/full: cannot write at byte 0 (record 1): No space left on device",
               marrowfin_trace_message(&trace));
}

TEST_F(RecorderTest, FrameStandsAroundTheRecords) {
  ASSERT_EQ(0, marrowfin_trace_open(&trace, name.c_str()));
  ASSERT_EQ(0, marrowfin_trace_frame(&trace, 9));
  marrowfin_trace_fire(&trace, 5, 1, 2, 3);
  EXPECT_EQ(1U, marrowfin_trace_last(&trace));
  marrowfin_trace_fire(&trace, 8, 1, 2, 3);
  ASSERT_EQ(0, marrowfin_trace_close(&trace));
  EXPECT_THAT(Read(), ElementsAre(Event{4, 5, 9, {0, 0}, {0, 0}}, Event{3, 5, 1, {3, 2}, {}},
                                  Event{3, 8, 1, {3, 2}, {}}, Event{4, 9, 9, {0, 0}, {0, 0}}));
}

TEST_F(RecorderTest, FrameOfNoRecordsIsNone) {
  ASSERT_EQ(0, marrowfin_trace_open(&trace, name.c_str()));
  marrowfin_trace_frame(&trace, 9);
  ASSERT_EQ(0, marrowfin_trace_close(&trace));
  EXPECT_EQ("", ReadFile(name));
}

TEST_F(RecorderTest, RingWritesTheLastRecordsWhenItIsAsked) {
  ASSERT_EQ(0, marrowfin_trace_open(&trace, name.c_str()));
  ASSERT_EQ(0, marrowfin_trace_keep_last(&trace, 3, 0));
  for (uint64_t i = 0; i < 10; ++i) {
    marrowfin_trace_fire(&trace, i, 0, 0, 0);
  }
  ASSERT_EQ(0, marrowfin_trace_flush(&trace));
  EXPECT_EQ("", ReadFile(name));
  ASSERT_EQ(0, marrowfin_trace_dump(&trace));
  EXPECT_THAT(Cycles(), ElementsAre(7, 8, 9));
  marrowfin_trace_fire(&trace, 20, 0, 0, 0);
  ASSERT_EQ(0, marrowfin_trace_dump(&trace));
  marrowfin_trace_fire(&trace, 30, 0, 0, 0);
  ASSERT_EQ(0, marrowfin_trace_close(&trace));
  EXPECT_THAT(Cycles(), ElementsAre(7, 8, 9, 20));
}

TEST_F(RecorderTest, RingThatIsNotFullWritesAll) {
  ASSERT_EQ(0, marrowfin_trace_open(&trace, name.c_str()));
  ASSERT_EQ(0, marrowfin_trace_keep_last(&trace, 100, 0));
  marrowfin_trace_send(&trace, 4, 1, 2, 3, 4, 5);
  ASSERT_EQ(0, marrowfin_trace_dump(&trace));
  ASSERT_EQ(0, marrowfin_trace_close(&trace));
  EXPECT_THAT(Read(), ElementsAre(Event{4, 4, 1, {3, 2}, {5, 4}}));
}

TEST_F(RecorderTest, RingOfCyclesLeavesOlderOnesOut) {
  ASSERT_EQ(0, marrowfin_trace_open(&trace, name.c_str()));
  ASSERT_EQ(0, marrowfin_trace_keep_last(&trace, 100, 10));
  for (const uint64_t cycle : {1, 85, 90, 91, 99, 100}) {
    marrowfin_trace_fire(&trace, cycle, 0, 0, 0);
  }
  ASSERT_EQ(0, marrowfin_trace_dump(&trace));
  ASSERT_EQ(0, marrowfin_trace_close(&trace));
  EXPECT_THAT(Cycles(), ElementsAre(91, 99, 100));
}

TEST_F(RecorderTest, RingKeepsTheNotesOfItsRecordsUnderTheirNewNumbers) {
  OpenWithCompanion();
  const int queue = marrowfin_trace_counter(&trace, "queue", "messages");
  ASSERT_EQ(0, marrowfin_trace_frame(&trace, 9));
  ASSERT_EQ(0, marrowfin_trace_keep_last(&trace, 4, 0));
  for (uint64_t i = 0; i < 10; ++i) {
    marrowfin_trace_fire(&trace, i, 0, 0, 0);
    marrowfin_trace_note(&trace, packet, 100 + i);
    for (uint64_t back = 1; back <= 3 && back <= i; ++back) {
      EXPECT_EQ(0, marrowfin_trace_note(&trace, consumes, i - back));
    }
    marrowfin_trace_count(&trace, i, 1, 2, queue, static_cast<double>(i));
  }
  ASSERT_EQ(0, marrowfin_trace_dump(&trace));
  ASSERT_EQ(0, marrowfin_trace_close(&trace)) << marrowfin_trace_message(&trace);
  EXPECT_THAT(Cycles(), ElementsAre(6, 6, 7, 8, 9, 10));
  const std::unique_ptr<NotesFile> notes = Notes();
  ASSERT_NE(nullptr, notes);
  const Result<NotesBlock> block = notes->Notes(0);
  ASSERT_TRUE(block) << block.Why().Text();
  ASSERT_EQ(2U, block->columns.size());
  EXPECT_THAT(block->columns[0].positions, ElementsAre(1, 2, 3, 4));
  EXPECT_THAT(block->columns[0].values, ElementsAre(106, 107, 108, 109));
  // Record 6 is number 1 in the file; what it consumed is not there.
  EXPECT_THAT(block->columns[1].positions, ElementsAre(2, 3, 3, 4, 4, 4));
  EXPECT_THAT(block->columns[1].values, ElementsAre(1, 2, 1, 3, 2, 1));
}

TEST_F(RecorderTest, RingGivesARecordAllOfItsNotesOrNone) {
  OpenWithCompanion();
  ASSERT_EQ(0, marrowfin_trace_keep_last(&trace, 4, 0));
  const auto fire = [this](uint64_t cycle, uint64_t consumed) {
    marrowfin_trace_fire(&trace, cycle, 0, 0, 0);
    for (uint64_t i = 0; i < consumed; ++i) {
      EXPECT_EQ(0, marrowfin_trace_note(&trace, consumes, 0));
    }
  };
  // One note more than four records have room for: the first of record 1 has to go.
  fire(0, 0);
  fire(1, 2);
  fire(2, 4 * MARROWFIN_TRACE_HELD - 2);
  fire(3, 1);
  ASSERT_EQ(0, marrowfin_trace_dump(&trace));
  ASSERT_EQ(0, marrowfin_trace_close(&trace)) << marrowfin_trace_message(&trace);
  EXPECT_THAT(Cycles(), ElementsAre(0, 1, 2, 3));
  const Result<NotesBlock> block = Notes()->Notes(0);
  ASSERT_TRUE(block) << block.Why().Text();
  ASSERT_EQ(1U, block->columns.size());
  std::vector<uint32_t> expected(4 * MARROWFIN_TRACE_HELD - 2, 2);
  expected.push_back(3);
  EXPECT_EQ(expected, block->columns[0].positions);
}

TEST_F(RecorderTest, RingOfCyclesKeepsTheValuesOfCountersFromBeforeThem) {
  OpenWithCompanion();
  const int queue = marrowfin_trace_counter(&trace, "queue", "messages");
  ASSERT_EQ(0, marrowfin_trace_keep_last(&trace, 1000, 10));
  marrowfin_trace_count(&trace, 1, 0, 0, queue, 6);
  marrowfin_trace_count(&trace, 2, 0, 0, queue, 7);
  for (uint64_t i = 1; i <= 100; ++i) {
    marrowfin_trace_fire(&trace, i, 0, 0, 0);
  }
  marrowfin_trace_count(&trace, 95, 0, 0, queue, 8);
  ASSERT_EQ(0, marrowfin_trace_dump(&trace));
  ASSERT_EQ(0, marrowfin_trace_close(&trace)) << marrowfin_trace_message(&trace);
  EXPECT_THAT(Samples(),
              ElementsAre(CounterSample{2, 0, {0, 0}, 7}, CounterSample{95, 0, {0, 0}, 8}));
}

TEST_F(RecorderTest, RingKeepsTheValuesOfCountersWhoseSamplesItHasNoRoomFor) {
  OpenWithCompanion();
  const int queue = marrowfin_trace_counter(&trace, "queue", "messages");
  const int busy = marrowfin_trace_counter(&trace, "busy", "");
  ASSERT_EQ(0, marrowfin_trace_keep_last(&trace, 1, 0));
  for (uint32_t row = 0; row < 100; ++row) {
    marrowfin_trace_count(&trace, 1, row, 3, queue, row);
  }
  for (uint64_t i = 2; i < 1000; ++i) {
    marrowfin_trace_fire(&trace, i, 0, 0, 0);
    marrowfin_trace_count(&trace, i, 0, 0, busy, static_cast<double>(i));
  }
  ASSERT_EQ(0, marrowfin_trace_dump(&trace));
  marrowfin_trace_fire(&trace, 1000, 0, 0, 0);
  ASSERT_EQ(0, marrowfin_trace_dump(&trace));
  ASSERT_EQ(0, marrowfin_trace_close(&trace)) << marrowfin_trace_message(&trace);
  std::vector<CounterSample> samples = Samples();
  // Those of the first counter once, in any order; of the second one what was settled, and the
  // ring.
  EXPECT_EQ(100U + 1 + MARROWFIN_TRACE_HELD, samples.size());
  for (uint32_t row = 0; row < 100; ++row) {
    EXPECT_THAT(samples, Contains(CounterSample{1, 0, {3, row}, static_cast<double>(row)}));
  }
  EXPECT_EQ((CounterSample{999, 1, {0, 0}, 999}), samples.back());
}

TEST_F(RecorderTest, TraceHasTheSameBytesWithAndWithoutACompanion) {
  for (const bool with : {false, true}) {
    const std::string file = folder.File(with ? "with" : "without");
    ASSERT_EQ(0, marrowfin_trace_open(&trace, file.c_str()));
    if (with) {
      ASSERT_EQ(0, marrowfin_trace_companion(&trace));
      packet = marrowfin_trace_attribute(&trace, "packet", MARROWFIN_TRACE_NUMBER, "");
    }
    for (uint64_t i = 0; i < 20000; ++i) {
      marrowfin_trace_send(&trace, i / 3, static_cast<uint32_t>(i % 5), 1, 2, 3, 4);
      marrowfin_trace_note(&trace, packet, i);
    }
    ASSERT_EQ(0, marrowfin_trace_close(&trace));
  }
  EXPECT_EQ(ReadFile(folder.File("without")), ReadFile(folder.File("with")));
  EXPECT_FALSE(std::ifstream(folder.File("without.notes")).is_open());
}

TEST_F(RecorderTest, NotesReadBackAreThoseThatWereRecorded) {
  OpenWithCompanion();
  ASSERT_EQ(0, marrowfin_trace_value_name(&trace, kind, 7, "inject"));
  std::vector<std::vector<std::pair<uint64_t, uint64_t>>> expected(5);
  uint64_t random = 1;
  const auto next = [&random] {
    return random = random * 6364136223846793005 + 1442695040888963407;
  };
  uint64_t cycle = 0;
  for (uint64_t i = 0; i < 30000; ++i) {
    cycle += next() >> 62;
    marrowfin_trace_fire(&trace, cycle, 1, 2, 3);
    const auto note = [&](int attribute, uint64_t value) {
      EXPECT_EQ(0, marrowfin_trace_note(&trace, attribute, value));
      expected[static_cast<size_t>(attribute)].emplace_back(i, value);
    };
    note(kind, 7);  // all records have one
    if (next() >> 63) {
      note(packet, next());
    }
    if (next() >> 62 == 0) {
      note(created, next() >> 63 ? cycle - (next() >> 58) : next());
    }
    for (uint64_t count = next() >> 62; count > 1 && i > 0; --count) {
      note(consumes, next() % i);
    }
    if (next() >> 60 == 0) {
      const double value = static_cast<double>(next()) / 3;
      EXPECT_EQ(0, marrowfin_trace_note_real(&trace, energy, value));
      expected[static_cast<size_t>(energy)].emplace_back(i, std::bit_cast<uint64_t>(value));
    }
  }
  ASSERT_EQ(0, marrowfin_trace_close(&trace)) << marrowfin_trace_message(&trace);

  const std::unique_ptr<NotesFile> notes = Notes();
  ASSERT_NE(nullptr, notes);
  EXPECT_FALSE(notes->End());
  EXPECT_EQ("inject", notes->Declarations().attributes[static_cast<size_t>(kind)].names.at(7));
  EXPECT_EQ("pJ", notes->Declarations().attributes[static_cast<size_t>(energy)].unit);
  EXPECT_EQ(30000U, notes->Records());
  const std::vector<Event> events = Read();
  std::vector<std::vector<std::pair<uint64_t, uint64_t>>> read(5);
  for (size_t number = 0; number < notes->Blocks().size(); ++number) {
    Result<NotesBlock> block = notes->Notes(number);
    ASSERT_TRUE(block) << block.Why().Text();
    Fingerprint print;
    std::vector<uint64_t> cycles;
    for (uint64_t i = block->first; i < block->first + block->count; ++i) {
      print.Add(events[i].type, events[i].cycle, events[i].thread, events[i].at, events[i].to);
      cycles.push_back(events[i].cycle);
    }
    EXPECT_EQ(print.Value(), block->fingerprint);
    ResolveCycles(notes->Declarations(), cycles, *block);
    for (const NoteColumn& column : block->columns) {
      for (size_t i = 0; i < column.values.size(); ++i) {
        read[column.attribute].emplace_back(block->first + column.positions[i], column.values[i]);
      }
    }
  }
  EXPECT_EQ(expected, read);
}

TEST_F(RecorderTest, NotesOfTheDocumentsExampleAreThoseThatItShows) {
  ASSERT_EQ(0, marrowfin_trace_open(&trace, name.c_str()));
  ASSERT_EQ(0, marrowfin_trace_companion(&trace));
  kind = marrowfin_trace_attribute(&trace, "kind", MARROWFIN_TRACE_NAME, "");
  ASSERT_EQ(0, marrowfin_trace_value_name(&trace, kind, 0, "compute"));
  packet = marrowfin_trace_attribute(&trace, "packet", MARROWFIN_TRACE_NUMBER, "");
  marrowfin_trace_fire(&trace, 5, 1, 2, 7);
  marrowfin_trace_note(&trace, kind, 0);
  marrowfin_trace_note(&trace, packet, 40);
  marrowfin_trace_send(&trace, 6, 1, 2, 7, 1, 0);
  marrowfin_trace_note(&trace, packet, 40);
  ASSERT_EQ(0, marrowfin_trace_close(&trace));
  const std::string document = ReadFile(MARROWFIN_SOURCE_DIR "/docs/companion-format.md");
  const std::string mark = "```notes-bytes\n";
  const size_t from = document.find(mark) + mark.size();
  std::string shown;
  for (const char digit : document.substr(from, document.find("```", from) - from)) {
    if (digit != ' ' && digit != '\n') {
      shown += digit;
    }
  }
  std::string written;
  for (const char byte : ReadFile(name + ".notes")) {
    char digits[3];
    snprintf(digits, sizeof(digits), "%02x", static_cast<unsigned char>(byte));
    written += digits;
  }
  EXPECT_EQ(shown, written);
}

// Whoever follows a run keeps what was read.
TEST_F(RecorderTest, WhatStandsInTheNotesStaysAsItIs) {
  OpenWithCompanion();
  const int queue = marrowfin_trace_counter(&trace, "queue", "flits");
  std::string before;
  for (uint64_t i = 0; i < 30'000; ++i) {
    marrowfin_trace_fire(&trace, i, 0, 0, 0);
    marrowfin_trace_note(&trace, packet, i);
    marrowfin_trace_count(&trace, i, 0, 0, queue, 1);
    if (i % 5'000 == 100) {
      ASSERT_EQ(0, marrowfin_trace_flush(&trace));
      std::string now = ReadFile(name + ".notes");
      EXPECT_GT(now.size(), before.size());
      EXPECT_TRUE(now.starts_with(before));
      before = std::move(now);
    }
  }
  ASSERT_EQ(0, marrowfin_trace_close(&trace));
  EXPECT_TRUE(ReadFile(name + ".notes").starts_with(before));
}

TEST_F(RecorderTest, SecondValueOfAnAttributeReplacesTheFirst) {
  OpenWithCompanion();
  for (uint64_t cycle = 1; cycle <= 5; ++cycle) {
    marrowfin_trace_fire(&trace, cycle, 0, 0, 0);
    marrowfin_trace_note(&trace, packet, 1000 * cycle);
    marrowfin_trace_note(&trace, packet, cycle);
    marrowfin_trace_note(&trace, packet, 10 - cycle);
    if (cycle != 3) {
      marrowfin_trace_note(&trace, kind, 7);
      marrowfin_trace_note(&trace, kind, cycle);
    }
  }
  ASSERT_EQ(0, marrowfin_trace_close(&trace));
  const Result<NotesBlock> block = Notes()->Notes(0);
  ASSERT_TRUE(block);
  ASSERT_EQ(2U, block->columns.size());
  EXPECT_EQ(static_cast<uint32_t>(kind), block->columns[0].attribute);
  EXPECT_THAT(block->columns[0].positions, ElementsAre(0, 1, 3, 4));
  EXPECT_THAT(block->columns[0].values, ElementsAre(1, 2, 4, 5));
  EXPECT_THAT(block->columns[1].values, ElementsAre(9, 8, 7, 6, 5));
}

TEST_F(RecorderTest, AttributeThatIsDeclaredWithinABlockBeginsThere) {
  OpenWithCompanion();
  int late = -1;
  for (uint64_t cycle = 0; cycle < 10; ++cycle) {
    marrowfin_trace_fire(&trace, cycle, 0, 0, 0);
    if (cycle == 4) {
      late = marrowfin_trace_attribute(&trace, "late", MARROWFIN_TRACE_NUMBER, "");
    }
    if (cycle >= 4) {
      EXPECT_EQ(0, marrowfin_trace_note(&trace, late, cycle));
    }
  }
  ASSERT_EQ(0, marrowfin_trace_close(&trace));
  const Result<NotesBlock> block = Notes()->Notes(0);
  ASSERT_TRUE(block);
  ASSERT_EQ(1U, block->columns.size());
  EXPECT_THAT(block->columns[0].positions, ElementsAre(4, 5, 6, 7, 8, 9));
  EXPECT_THAT(block->columns[0].values, ElementsAre(4, 5, 6, 7, 8, 9));
}

TEST_F(RecorderTest, NotesWithoutARecordOrAnAttributeAreRefusedAndNoFailure) {
  OpenWithCompanion();
  EXPECT_EQ(EINVAL, marrowfin_trace_note(&trace, packet, 1));
  marrowfin_trace_fire(&trace, 1, 0, 0, 0);
  EXPECT_EQ(EINVAL, marrowfin_trace_note(&trace, 5, 1));
  EXPECT_EQ(EINVAL, marrowfin_trace_note(&trace, -1, 1));
  EXPECT_EQ(EINVAL, marrowfin_trace_note(&trace, consumes, 0)) << "an event consumes no later one";
  EXPECT_EQ(EINVAL, marrowfin_trace_count(&trace, 1, 0, 0, 0, 1.0));
  ASSERT_EQ(0, marrowfin_trace_flush(&trace));
  EXPECT_EQ(EINVAL, marrowfin_trace_note(&trace, packet, 1)) << "what is flushed takes no notes";
  EXPECT_EQ(0, marrowfin_trace_close(&trace));
}

TEST_F(RecorderTest, SamplesReadBackAreThoseThatWereTaken) {
  OpenWithCompanion();
  const int queue = marrowfin_trace_counter(&trace, "queue", "messages");
  const int power = marrowfin_trace_counter(&trace, "power", "W");
  std::vector<CounterSample> expected;
  for (uint32_t i = 0; i < 20000; ++i) {
    const double value = i % 3 == 0 ? i * 0.1 : -static_cast<double>(i);
    const int counter = i % 2 == 0 ? queue : power;
    ASSERT_EQ(0, marrowfin_trace_count(&trace, i * 10, i % 7, i % 5, counter, value));
    expected.push_back({i * 10, static_cast<uint32_t>(counter), {i % 5, i % 7}, value});
  }
  ASSERT_EQ(0, marrowfin_trace_close(&trace));
  const std::unique_ptr<NotesFile> notes = Notes();
  ASSERT_NE(nullptr, notes);
  std::vector<CounterSample> read;
  for (size_t number = 0; number < notes->Blocks().size(); ++number) {
    const Result<std::vector<CounterSample>> samples = notes->Samples(number);
    ASSERT_TRUE(samples) << samples.Why().Text();
    read.insert(read.end(), samples->begin(), samples->end());
    EXPECT_EQ(samples->front().cycle, notes->Blocks()[number].low);
    EXPECT_EQ(samples->back().cycle, notes->Blocks()[number].high);
  }
  EXPECT_EQ(expected, read);
  EXPECT_EQ("W", notes->Declarations().counters[static_cast<size_t>(power)].unit);
}

TEST_F(RecorderTest, AboutFileTellsWhatWasToldInTextThatNothingBreaks) {
  OpenWithCompanion();
  marrowfin_trace_about(&trace, "name", "a \"quoted\"\\ name\nin two lines");
  marrowfin_trace_cycle_ns(&trace, 1.25);
  const marrowfin_trace_array array = {2, 1, 1, 1, 8, 4, 0, 1, 0};
  marrowfin_trace_describe_array(&trace, &array);
  marrowfin_trace_name_thread(&trace, 3, "replies", "virtual channel");
  marrowfin_trace_name_place(&trace, 7, 6, "memory");
  marrowfin_trace_fire(&trace, 1, 2, 3, 4);
  ASSERT_EQ(0, marrowfin_trace_close(&trace));
  Fingerprint print;
  print.Add(FIRE_RECORD, 1, 2, {4, 3}, {});
  char digits[17];
  snprintf(digits, sizeof(digits), "%016llx", static_cast<unsigned long long>(print.Value()));
  EXPECT_EQ(
      "format = 1\n"
      "name = \"a \\\"quoted\\\"\\\\ name in two lines\"\n"
      "cycle_ns = 1.250000000e+00\n"
      "\n"
      "[trace]\n"
      "records = 1\n"
      "fingerprint = \"" +
          std::string(digits) +
          "\"\n"
          "\n"
          "[array]\n"
          "clusters = { columns = 2, rows = 1 }\n"
          "domains = { columns = 1, rows = 1 }\n"
          "pes = { columns = 8, rows = 4 }\n"
          "gaps = false\n"
          "wrap = { columns = true, rows = false }\n"
          "\n"
          "[[threads]]\n"
          "thread = 3\n"
          "name = \"replies\"\n"
          "meaning = \"virtual channel\"\n"
          "\n"
          "[[places]]\n"
          "column = 6\n"
          "row = 7\n"
          "name = \"memory\"\n",
      ReadFile(name + ".about"));
}

TEST_F(RecorderTest, TextsThatAreNoUtf8AreMendedAsTheLibraryMendsThem) {
  const std::string texts[] = {
      "caf\xE9/run",      "\xC3\xA9",         "\xC3",         "a\xE2\x82",    "\xE2\x82\xACz",
      "\xC0\xAFz",        "\xE0\x9F\xBF",     "\xED\xA0\x80", "\xED\x9F\xBF", "\xF0\x9F\x98\x80",
      "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xF5z",        "\x80\xFF"};
  for (const std::string& text : texts) {
    ASSERT_EQ(0, marrowfin_trace_open(&trace, name.c_str()));
    ASSERT_EQ(0, marrowfin_trace_companion(&trace));
    marrowfin_trace_about(&trace, "command", text.c_str());
    kind = marrowfin_trace_attribute(&trace, text.c_str(), MARROWFIN_TRACE_NAME, text.c_str());
    EXPECT_EQ(0, marrowfin_trace_value_name(&trace, kind, 3, text.c_str()));
    EXPECT_EQ(0, marrowfin_trace_counter(&trace, text.c_str(), text.c_str()));
    ASSERT_EQ(0, marrowfin_trace_close(&trace)) << marrowfin_trace_message(&trace);
    const std::unique_ptr<NotesFile> notes = Notes();
    ASSERT_NE(nullptr, notes);
    const std::string mended = AsUtf8(text);
    ASSERT_EQ(1U, notes->Declarations().attributes.size());
    EXPECT_EQ(mended, notes->Declarations().attributes[0].name);
    EXPECT_EQ(mended, notes->Declarations().attributes[0].unit);
    EXPECT_EQ(mended, notes->Declarations().attributes[0].names.at(3));
    ASSERT_EQ(1U, notes->Declarations().counters.size());
    EXPECT_EQ(mended, notes->Declarations().counters[0].name);
    EXPECT_THAT(ReadFile(name + ".about"), HasSubstr("command = \"" + mended + "\"\n"));
  }
}

TEST_F(RecorderTest, NamesThatAreEmptyOrTakenAreFailuresAndNotDeclared) {
  const auto attribute = [this](const char* called) {
    OpenWithCompanion();
    EXPECT_EQ(-1, marrowfin_trace_attribute(&trace, called, MARROWFIN_TRACE_NUMBER, ""));
  };
  const auto counter = [this](const char* called) {
    OpenWithCompanion();
    EXPECT_EQ(0, marrowfin_trace_counter(&trace, "caf\xE9", ""));
    EXPECT_EQ(1, marrowfin_trace_counter(&trace, "packet", ""))
        << "attributes have names of their own";
    EXPECT_EQ(-1, marrowfin_trace_counter(&trace, called, ""));
  };
  attribute("");
  EXPECT_EQ(EINVAL, marrowfin_trace_close(&trace));
  EXPECT_THAT(marrowfin_trace_message(&trace),
              HasSubstr("an attribute with a name that is empty or taken"));
  attribute("packet");
  EXPECT_EQ(EINVAL, marrowfin_trace_close(&trace));
  counter("");
  EXPECT_EQ(EINVAL, marrowfin_trace_close(&trace));
  counter("caf\xFF");  // the same when it is mended
  EXPECT_EQ(EINVAL, marrowfin_trace_close(&trace));
  EXPECT_THAT(marrowfin_trace_message(&trace),
              HasSubstr("a counter with a name that is empty or taken"));
}

TEST_F(RecorderTest, NamesOfValuesThatReadersRefuseAreRefusedAndNoFailure) {
  OpenWithCompanion();
  EXPECT_EQ(0, marrowfin_trace_value_name(&trace, kind, 1, "load"));
  EXPECT_EQ(0, marrowfin_trace_value_name(&trace, kind, 1, "load")) << "told again";
  EXPECT_EQ(EINVAL, marrowfin_trace_value_name(&trace, kind, 1, "store"));
  EXPECT_EQ(EINVAL, marrowfin_trace_value_name(&trace, kind, 2, ""));
  EXPECT_EQ(EINVAL, marrowfin_trace_value_name(&trace, packet, 1, "load")) << "of another type";
  EXPECT_EQ(EINVAL, marrowfin_trace_value_name(&trace, energy + 1, 1, "load"));
  EXPECT_EQ(EINVAL, marrowfin_trace_value_name(&trace, -1, 1, "load"));
  for (uint64_t value = 2; value < 3000; ++value) {
    ASSERT_EQ(0, marrowfin_trace_value_name(&trace, kind, value, std::to_string(value).c_str()));
  }
  ASSERT_EQ(0, marrowfin_trace_close(&trace)) << marrowfin_trace_message(&trace);
  const std::unique_ptr<NotesFile> notes = Notes();
  ASSERT_NE(nullptr, notes);
  const NoteAttribute& read = notes->Declarations().attributes[static_cast<size_t>(kind)];
  EXPECT_EQ(2999U, read.names.size());
  EXPECT_EQ("load", read.names.at(1));
  EXPECT_EQ("2999", read.names.at(2999));
}

TEST_F(RecorderTest, NamesOfValuesEndWhereReadersTakeNoMoreDeclarations) {
  OpenWithCompanion();
  const std::string large(1 << 20, 'x');
  uint64_t taken = 0;
  while (taken < 100 && marrowfin_trace_value_name(&trace, kind, taken, large.c_str()) == 0) {
    ++taken;
  }
  EXPECT_EQ(15U, taken);
  ASSERT_EQ(0, marrowfin_trace_close(&trace)) << marrowfin_trace_message(&trace);
  const std::unique_ptr<NotesFile> notes = Notes();
  ASSERT_NE(nullptr, notes);
  EXPECT_EQ(taken, notes->Declarations().attributes[static_cast<size_t>(kind)].names.size());
}

TEST_F(RecorderTest, MoreCountersThanReadersTakeAreAFailure) {
  OpenWithCompanion();
  for (int i = 0; i < MARROWFIN_TRACE_COUNTERS; ++i) {
    ASSERT_EQ(i, marrowfin_trace_counter(&trace, std::to_string(i).c_str(), ""));
  }
  EXPECT_EQ(-1, marrowfin_trace_counter(&trace, "one more", ""));
  EXPECT_EQ(EINVAL, marrowfin_trace_close(&trace));
  EXPECT_THAT(marrowfin_trace_message(&trace), HasSubstr("too many counters"));
}

TEST_F(RecorderTest, CompanionThatCannotBeWrittenIsNamed) {
  ASSERT_EQ(0, marrowfin_trace_open(&trace, name.c_str()));
  ASSERT_EQ(0, mkdir((name + ".notes").c_str(), 0700));
  EXPECT_EQ(EISDIR, marrowfin_trace_companion(&trace));
  EXPECT_EQ(EISDIR, marrowfin_trace_close(&trace));
  EXPECT_THAT(marrowfin_trace_message(&trace), HasSubstr("run.trace.notes: cannot open"));
}

TEST_F(RecorderTest, CompanionOfAnEarlierRunGoesWithItsTrace) {
  WriteFile(name + ".notes", "MFNOTES1");
  WriteFile(name + ".about", "format = 1\n");
  ASSERT_EQ(0, marrowfin_trace_open(&trace, name.c_str()));
  EXPECT_NE(0, access((name + ".notes").c_str(), F_OK));
  EXPECT_NE(0, access((name + ".about").c_str(), F_OK));
  ASSERT_EQ(0, marrowfin_trace_close(&trace));
}

TEST_F(RecorderTest, CompanionStaysWhereItsTraceCannotBeReplaced) {
  ASSERT_EQ(0, mkdir(name.c_str(), 0700));
  WriteFile(name + ".notes", "MFNOTES1");
  ASSERT_EQ(EISDIR, marrowfin_trace_open(&trace, name.c_str()));
  EXPECT_EQ(0, access((name + ".notes").c_str(), F_OK));
  EXPECT_EQ(EISDIR, marrowfin_trace_close(&trace));
}

// Beyond it the system would end the process.
TEST_F(RecorderTest, LimitOnTheSizeOfFilesEndsTheRecordingAndNotTheRun) {
  ExpectInChild([this] {
    const rlimit limit = {100'000, 100'000};
    ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &limit));
    OpenWithCompanion();
    for (uint64_t i = 0; i < 10'000; ++i) {
      marrowfin_trace_fire(&trace, i, 0, 0, 0);
    }
    EXPECT_EQ(EFBIG, marrowfin_trace_close(&trace));
    EXPECT_THAT(marrowfin_trace_message(&trace),
                HasSubstr("run.trace: cannot write at byte 65520"));
    EXPECT_EQ(SIG_DFL, signal(SIGXFSZ, SIG_DFL));
  });
  EXPECT_EQ(100'000U, ReadFile(name).size());
}

TEST_F(RecorderTest, LimitOnTheSizeOfFilesSparesARunWhoseAboutFileReachesIt) {
  ExpectInChild([this] {
    const rlimit limit = {500, 500};
    ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &limit));
    ASSERT_EQ(0, marrowfin_trace_open(&trace, name.c_str()));
    ASSERT_EQ(0, marrowfin_trace_companion(&trace));
    marrowfin_trace_about(&trace, "name", std::string(600, 'n').c_str());
    marrowfin_trace_fire(&trace, 1, 0, 0, 0);
    EXPECT_EQ(EFBIG, marrowfin_trace_close(&trace));
    EXPECT_THAT(marrowfin_trace_message(&trace), HasSubstr("run.trace.about: cannot write"));
  });
  EXPECT_EQ(28U, ReadFile(name).size());
}

TEST_F(RecorderTest, AbortDumpsTheRingAndThenEndsTheRun) {
  const pid_t child = StartChild([this] {
    OpenWithCompanion();
    marrowfin_trace_frame(&trace, 9);
    marrowfin_trace_keep_last(&trace, 100, 0);
    EXPECT_EQ(0, marrowfin_trace_dump_at_abort(&trace));
    EXPECT_EQ(0, marrowfin_trace_dump_at_abort(&trace)) << "once is enough";
    for (uint64_t i = 0; i < 1000; ++i) {
      marrowfin_trace_fire(&trace, i, 0, 0, 0);
      marrowfin_trace_note(&trace, packet, 2 * i);
    }
    EXPECT_EQ("", ReadFile(name));
    if (!::testing::Test::HasFailure()) {
      std::abort();
    }
  });
  int status = 0;
  ASSERT_EQ(child, waitpid(child, &status, 0));
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT) << status;
  std::vector<uint64_t> cycles = Cycles();
  ASSERT_EQ(102U, cycles.size()) << "a hundred and the frame";
  EXPECT_EQ(900U, cycles[1]);
  EXPECT_EQ(999U, cycles[100]);
  const std::unique_ptr<NotesFile> notes = Notes();
  EXPECT_FALSE(notes->End()) << notes->End().Text();
  EXPECT_EQ(102U, notes->Records());
  EXPECT_EQ(1800U, notes->Notes(0)->columns[0].values[0]);
}

TEST_F(RecorderTest, WhoHandledAbortsBeforeIsCalledBehindTheDump) {
  const pid_t child = StartChild([this] {
    signal(SIGABRT, [](int) { _exit(7); });
    ASSERT_EQ(0, marrowfin_trace_open(&trace, name.c_str()));
    marrowfin_trace second;
    ASSERT_EQ(0, marrowfin_trace_open(&second, folder.File("second.trace").c_str()));
    marrowfin_trace closed;
    ASSERT_EQ(0, marrowfin_trace_open(&closed, folder.File("closed.trace").c_str()));
    for (marrowfin_trace* each : {&trace, &closed, &second}) {
      marrowfin_trace_keep_last(each, 10, 0);
      EXPECT_EQ(0, marrowfin_trace_dump_at_abort(each));
      marrowfin_trace_fire(each, 1, 0, 0, 0);
    }
    EXPECT_EQ(0, marrowfin_trace_close(&closed));
    EXPECT_EQ(EBADF, marrowfin_trace_dump_at_abort(&closed));
    std::abort();
  });
  int status = 0;
  ASSERT_EQ(child, waitpid(child, &status, 0));
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 7) << status;
  EXPECT_EQ(28U, ReadFile(name).size());
  EXPECT_EQ(28U, ReadFile(folder.File("second.trace")).size());
  EXPECT_EQ("", ReadFile(folder.File("closed.trace")));
}

TEST_F(RecorderTest, RunThatIsKilledLeavesNotesThatAgreeWithItsTrace) {
  size_t withNotes = 0;
  for (int round = 0; round < 200; ++round) {
    unlink(name.c_str());
    unlink((name + ".notes").c_str());
    const pid_t child = StartChild([this] {
      OpenWithCompanion();
      for (uint64_t i = 0;; ++i) {
        marrowfin_trace_send(&trace, i, 0, 1, 2, 3, 4);
        marrowfin_trace_note(&trace, packet, 3 * i);
        marrowfin_trace_note(&trace, created, i - 1);
      }
    });
    // Some at any moment, some once there are notes: however slow this machine is.
    while (round % 20 == 0 && (access((name + ".notes").c_str(), F_OK) != 0 ||
                               ReadFile(name + ".notes").size() < 1000)) {
      usleep(100);
    }
    usleep(static_cast<useconds_t>(500 + round * 37 % 3000));
    kill(child, SIGKILL);
    ASSERT_EQ(child, waitpid(child, nullptr, 0));
    if (access((name + ".notes").c_str(), F_OK) != 0) {
      continue;
    }
    const std::vector<Event> events = ReadEvents(name, Ending::ANY);
    size_t wrong = 0;
    for (uint64_t i = 0; i < events.size(); ++i) {
      wrong += events[i] != Event{SEND_RECORD, i, 0, {2, 1}, {4, 3}};
    }
    ASSERT_EQ(0U, wrong);
    Result<std::unique_ptr<NotesFile>> notes = NotesFile::Open(name + ".notes");
    if (!notes) {
      EXPECT_EQ(Fault::CUT_NOTES, notes.Why().kind) << notes.Why().Text();
      continue;
    }
    EXPECT_LE((*notes)->Records(), events.size());
    withNotes += (*notes)->Records() > 0;
    for (size_t number = 0; number < (*notes)->Blocks().size(); ++number) {
      const Result<NotesBlock> block = (*notes)->Notes(number);
      ASSERT_TRUE(block) << block.Why().Text();
      Fingerprint print;
      for (uint64_t i = block->first; i < block->first + block->count; ++i) {
        print.Add(SEND_RECORD, i, 0, {2, 1}, {4, 3});
        EXPECT_EQ(3 * i, block->columns[0].values[i - block->first]);
      }
      EXPECT_EQ(print.Value(), block->fingerprint);
    }
  }
  EXPECT_GE(withNotes, 10U);
}

}  // namespace
}  // namespace marrowfin::testing
