// A packed trace as a whole: the bytes come back, and all that reads traces reads it as they are.

#include "trace/index/PackedSink.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <random>

#include "tests/support/Files.h"
#include "tests/trace/support/Opened.h"
#include "tests/trace/support/PackedBytes.h"
#include "tests/trace/support/RandomTrace.h"
#include "trace/index/IndexStore.h"
#include "trace/read/Companion.h"
#include "trace/read/MfzFile.h"
#include "trace/read/Reader.h"
#include "trace/read/UnpackedTrace.h"
#include "trace/write/AboutText.h"
#include "trace/write/Recorder.h"
#include "trace/write/Writer.h"

namespace marrowfin::testing {
namespace {

std::string ReadAll(const PositionedFile& file) {
  std::string bytes(static_cast<size_t>(file.Size()), '\0');
  EXPECT_TRUE(IsFine(file.ReadAt(0, bytes.size(), reinterpret_cast<uint8_t*>(bytes.data()))));
  return bytes;
}

std::string ReadAll(ByteSource& source, size_t piece) {
  std::string bytes;
  std::vector<uint8_t> block(piece);
  for (;;) {
    const Result<size_t> got = source.Read(block.data(), block.size());
    EXPECT_TRUE(IsFine(got.Why()));
    if (!got || *got == 0) {
      return bytes;
    }
    bytes.append(block.begin(), block.begin() + static_cast<ptrdiff_t>(*got));
  }
}

std::unique_ptr<PositionedFile> PartOf(const std::string& packed, MfzStream stream) {
  auto file = MfzFile::Open(FileOf(packed));
  EXPECT_TRUE(IsFine(file.Why()));
  return file ? MfzPart(std::move(file).Take(), stream) : nullptr;
}

class PackedSinkTest : public ::testing::Test {
 protected:
  std::string RandomTrace(size_t records) {
    RandomTraceOptions options;
    options.records = records;
    options.perCycle = 20;
    return Encode(RandomEvents(random, options));
  }

  std::string RandomBytes(size_t size) {
    std::string bytes(size, '\0');
    for (char& byte : bytes) {
      byte = static_cast<char>(random());
    }
    return bytes;
  }

  // Both ways, in place and from front to back.
  void ExpectSame(const std::string& raw, size_t piece) {
    const std::string packed = PackedBytes(raw, {}, {}, piece);
    EXPECT_EQ(ReadAll(*PartOf(packed, MfzStream::TRACE)), raw);
    WriteFile(folder.File("t.mfz"), packed);
    EXPECT_EQ(ReadAll(*OpenInput(folder.File("t.mfz")), 1 + piece % 1000), raw);
  }

  std::mt19937 random{1};
  TempDir folder;
};

TEST_F(PackedSinkTest, AnyBytesComeBack) {
  for (int i = 0; i < 40; ++i) {
    SCOPED_TRACE(i);
    const std::string trace = RandomTrace(random() % 3000);
    const std::string raws[] = {trace,
                                RandomBytes(random() % 5000),
                                trace + RandomBytes(random() % 100),
                                trace.substr(0, random() % (trace.size() + 1)),
                                trace + std::string(random() % 60, '\0') + trace,
                                PackedBytes(trace)};
    ExpectSame(raws[i % 6], 1 + random() % 700);
  }
}

TEST_F(PackedSinkTest, BytesOfManyBlocksComeBack) {
  ExpectSame(RandomTrace(3 * MFZ_BLOCK_RECORDS), 100000);
  ExpectSame(RandomTrace(2 * MFZ_BLOCK_RECORDS + 1) + RandomBytes(3 << 20), 1 << 18);
}

TEST_F(PackedSinkTest, EmptyTracesComeBack) { ExpectSame("", 1); }

TEST_F(PackedSinkTest, PiecesInWhichBytesComeLeaveNoMark) {
  const std::string raw = RandomTrace(MFZ_BLOCK_RECORDS + 700) + "tail";
  const std::string packed = PackedBytes(raw);
  for (const size_t piece : {size_t{1} << 10, size_t{27}, size_t{12345}}) {
    EXPECT_TRUE(PackedBytes(raw, {}, {}, piece) == packed) << piece;
  }
}

TEST_F(PackedSinkTest, AWriterWritesThroughIt) {
  const std::vector<Event> events = RandomEvents(random, {.records = 5000});
  MemorySink out;
  PackedSink sink(out, "t");
  Writer writer;
  writer.Attach(sink);
  for (const Event& event : events) {
    if (event.type == FIRE_RECORD) {
      writer.Fire(event.cycle, event.thread, event.at);
    } else if (event.type == SWITCH_RECORD) {
      writer.Switch(event.cycle, event.thread, event.at);
    } else {
      writer.Send(event.cycle, event.thread, event.at, event.to);
    }
  }
  ASSERT_TRUE(IsFine(writer.Close()));
  ASSERT_TRUE(IsFine(sink.End()));
  EXPECT_EQ(sink.Records(), events.size());
  EXPECT_EQ(sink.PackedBytes(), out.Bytes().size());
  EXPECT_EQ(sink.RawBytes(), Encode(events).size());
  const std::string packed(out.Bytes().begin(), out.Bytes().end());
  EXPECT_EQ(ReadAll(*PartOf(packed, MfzStream::TRACE)), Encode(events));
}

TEST_F(PackedSinkTest, TheSinkBelowThatFailsIsTold) {
  struct Full : ByteSink {
    Written Write(const uint8_t*, size_t) override { return {0, SystemFault("full", "fill", 28)}; }
  } full;
  PackedSink sink(full, "t");
  const std::string raw = RandomTrace(10);
  static_cast<void>(sink.Write(reinterpret_cast<const uint8_t*>(raw.data()), raw.size()));
  EXPECT_EQ(sink.End().file, "full");
}

TEST_F(PackedSinkTest, RecordsAreDecodedWhereverTheyAre) {
  const std::string raw = RandomTrace(2 * MFZ_BLOCK_RECORDS + 300);
  const auto plain = Made(TraceSource::Over(FileOf(raw)));
  const auto packed = Made(TraceSource::Over(FileOf(PackedBytes(raw))));
  ASSERT_EQ(packed->Size(), plain->Size());
  auto one = std::make_unique<Columns>();
  auto other = std::make_unique<Columns>();
  uint64_t offset = 0;
  size_t batches = 0;
  while (offset < plain->Size()) {
    const auto next = packed->Decode(offset, packed->Size(), *other);
    ASSERT_TRUE(IsFine(next.Why()));
    const auto expected = plain->Decode(offset, plain->Size(), *one);
    ASSERT_TRUE(expected);
    ASSERT_EQ(*next, *expected);
    ASSERT_EQ(one->size, other->size);
    for (size_t i = 0; i < one->size; ++i) {
      ASSERT_EQ(one->cycle[i], other->cycle[i]);
      ASSERT_EQ(one->at[i], other->at[i]);
      ASSERT_EQ(one->to[i], other->to[i]);
    }
    offset = *next;
    ++batches;
  }
  EXPECT_GT(batches, raw.size() / LARGE_RECORD / Columns::CAPACITY);
}

TEST_F(PackedSinkTest, BytesAreCopiedFromAnyPlace) {
  const std::string raw = RandomTrace(MFZ_BLOCK_RECORDS + 300) + RandomBytes(200);
  const auto file = PartOf(PackedBytes(raw), MfzStream::TRACE);
  for (int i = 0; i < 200; ++i) {
    const size_t begin = random() % raw.size();
    std::string bytes(random() % (raw.size() - begin + 1) % 3000, '\0');
    ASSERT_TRUE(
        IsFine(file->ReadAt(begin, bytes.size(), reinterpret_cast<uint8_t*>(bytes.data()))));
    ASSERT_EQ(bytes, raw.substr(begin, bytes.size()));
  }
  uint8_t byte;
  EXPECT_EQ(file->ReadAt(raw.size(), 1, &byte).kind, Fault::CHANGED);
  EXPECT_EQ(file->ReadAt(raw.size() + 1, 0, &byte).kind, Fault::CHANGED);
}

TEST_F(PackedSinkTest, WhatBreaksOffIsToldAsOfTheTraceItself) {
  const std::string trace = RandomTrace(900);
  std::string unknown = RandomTrace(1);
  unknown[3] = 9;
  for (const std::string& end : {std::string("\0\0\0\3\1", 5), unknown, RandomBytes(100)}) {
    const auto plain = Made(TraceSource::Over(FileOf(trace + end)));
    const auto packed = Made(TraceSource::Over(FileOf(PackedBytes(trace + end))));
    const std::unique_ptr<IndexStore> store = IndexInMemory();
    const std::unique_ptr<IndexStore> other = IndexInMemory();
    const Fault expected = Made(Index::Open(*plain, *store))->GetSummary().end;
    const Fault found = Made(Index::Open(*packed, *other))->GetSummary().end;
    EXPECT_NE(expected.kind, Fault::NONE);
    EXPECT_EQ(found.kind, expected.kind);
    EXPECT_EQ(found.reason, expected.reason);
    EXPECT_EQ(found.offset, expected.offset);
    EXPECT_EQ(found.record, expected.record);
  }
}

// The index that is packed with the trace is the one that would be built of it.
TEST_F(PackedSinkTest, ThePackedIndexIsThatOfTheTrace) {
  RandomTraceOptions options = ManyKeyframes();
  const std::string raw = Encode(RandomEvents(random, options));
  WriteFile(folder.File("t.trace"), raw);
  WriteFile(folder.File("t.mfz"), PackedBytes(raw));
  const auto plain = Made(TraceSource::Open(folder.File("t.trace")));
  const auto packed = Made(TraceSource::Open(folder.File("t.mfz")));
  const auto index = OpenIndex(*plain);
  const auto enclosed = Made(Index::Open(*packed, [](const Progress&) -> bool {
    ADD_FAILURE();
    return true;
  }));
  EXPECT_FALSE(std::filesystem::exists(folder.File("t.mfz.mfindex")));
  EXPECT_EQ(enclosed->GetSummary().records, index->GetSummary().records);
  EXPECT_EQ(enclosed->GetSummary().threads, index->GetSummary().threads);
  EXPECT_EQ(enclosed->Boundaries().size(), index->Boundaries().size());
  EXPECT_GT(enclosed->Boundaries().size(), 3U);
  EXPECT_TRUE(IsFine(enclosed->CheckSections()));
  const auto times = enclosed->Times();
  ASSERT_TRUE(times);
  EXPECT_EQ((*times)->Encode(), (*index->Times())->Encode());
}

TEST_F(PackedSinkTest, ACopyOfAPackedTraceKeepsItsIndex) {
  WriteFile(folder.File("t.mfz"), PackedBytes(RandomTrace(2000)));
  std::filesystem::copy_file(folder.File("t.mfz"), folder.File("u.mfz"));
  std::filesystem::last_write_time(
      folder.File("u.mfz"),
      std::filesystem::file_time_type::clock::now() - std::chrono::hours(1000));
  const auto trace = Made(TraceSource::Open(folder.File("u.mfz")));
  OpenIndex(*trace, [](const Progress&) -> bool {
    ADD_FAILURE();
    return true;
  });
  EXPECT_FALSE(std::filesystem::exists(folder.File("u.mfz.mfindex")));
}

TEST_F(PackedSinkTest, WithoutAnIndexOneIsBuiltBesideIt) {
  PackedSinkOptions options;
  options.index = false;
  WriteFile(folder.File("t.mfz"), PackedBytes(RandomTrace(2000), options));
  const auto trace = Made(TraceSource::Open(folder.File("t.mfz")));
  EXPECT_EQ(OpenIndex(*trace)->GetSummary().records, 2000U);
  EXPECT_TRUE(std::filesystem::exists(folder.File("t.mfz.mfindex")));
}

TEST_F(PackedSinkTest, APackedTraceThatIsWrittenAnewMeanwhileIsTold) {
  WriteFile(folder.File("t.mfz"), PackedBytes(RandomTrace(2000)));
  const auto trace = Made(TraceSource::Open(folder.File("t.mfz")));
  EXPECT_TRUE(IsFine(trace->CheckUnchanged()));
  EXPECT_TRUE(trace->IsUntouched());
  WriteFile(folder.File("t.mfz"), PackedBytes(RandomTrace(3000)));
  EXPECT_EQ(trace->CheckUnchanged().kind, Fault::CHANGED);
  EXPECT_FALSE(trace->IsUntouched());
  WriteFile(folder.File("t.mfz"), "");
  EXPECT_EQ(trace->CheckUnchanged().kind, Fault::CHANGED);
}

TEST_F(PackedSinkTest, APackedTraceIsOpenedWithoutBeingUnpackedFirst) {
  const std::string raw = RandomTrace(2000);
  WriteFile(folder.File("t.mfz"), PackedBytes(raw));
  const auto opened = OpenUnpacked(folder.File("t.mfz"));
  ASSERT_TRUE(opened);
  EXPECT_FALSE(opened->packed);
  EXPECT_EQ(opened->trace->Size(), raw.size());
}

TEST_F(PackedSinkTest, TheCompanionIsPackedWithItsTrace) {
  Recorder recorder;
  ASSERT_TRUE(IsFine(recorder.Open(folder.File("t.trace"))));
  About about;
  about.name = "a run";
  recorder.Describe(about);
  const NumberNote packet = recorder.DeclareNumber("packet");
  for (uint32_t i = 0; i < 150000; ++i) {
    recorder.Fire(i / 3, i % 5, {i % 32, i / 32 % 32});
    recorder.Note(packet, i % 1000);
  }
  ASSERT_TRUE(IsFine(recorder.Close()));
  const std::string notes = ReadFile(folder.File("t.trace.notes"));
  const std::string text = ReadFile(folder.File("t.trace.about"));
  const std::string packed = PackedBytes(ReadFile(folder.File("t.trace")), {}, {text, notes});
  EXPECT_EQ(ReadAll(*PartOf(packed, MfzStream::ABOUT)), text);
  EXPECT_EQ(ReadAll(*PartOf(packed, MfzStream::NOTES)), notes);
  WriteFile(folder.File("alone.mfz"), packed);
  const auto trace = Made(TraceSource::Open(folder.File("alone.mfz")));
  const Companion companion = Companion::Beside(*trace);
  ASSERT_NE(companion.GetAbout(), nullptr) << companion.WhyNoAbout().Text();
  EXPECT_EQ(companion.GetAbout()->name, "a run");
  ASSERT_NE(companion.Notes(), nullptr) << companion.WhyNoNotes().Text();
  EXPECT_EQ(companion.Notes()->Records(), 150000U);
}

// Whoever reads from front to back has the notes of records not long behind them.
TEST_F(PackedSinkTest, NotesFollowTheRecordsThatTheyAreAbout) {
  Recorder recorder;
  ASSERT_TRUE(IsFine(recorder.Open(folder.File("t.trace"))));
  const NumberNote packet = recorder.DeclareNumber("packet");
  for (uint32_t i = 0; i < 300000; ++i) {
    recorder.Fire(i / 3, 0, {i % 32, 0});
    recorder.Note(packet, i);
  }
  ASSERT_TRUE(IsFine(recorder.Close()));
  auto file = MfzFile::Open(FileOf(PackedBytes(ReadFile(folder.File("t.trace")), {},
                                               {"", ReadFile(folder.File("t.trace.notes"))})));
  ASSERT_TRUE(file);
  const auto trace = (*file)->Sections(MfzStream::TRACE);
  const auto notes = (*file)->Sections(MfzStream::NOTES);
  ASSERT_GT(notes.size(), 3U);
  EXPECT_LT(notes[0].offset, trace[trace.size() / 2].offset);
  EXPECT_LT(notes[notes.size() / 2].offset, trace.back().offset);
}

TEST_F(PackedSinkTest, NotesThatAreNoneAreCarriedAsTheyAre) {
  const std::string packed = PackedBytes(RandomTrace(100), {}, {"no TOML \1", "no notes"});
  EXPECT_EQ(ReadAll(*PartOf(packed, MfzStream::NOTES)), "no notes");
  EXPECT_EQ(ReadAll(*PartOf(packed, MfzStream::ABOUT)), "no TOML \1");
}

TEST_F(PackedSinkTest, WhatIsNotPackedWithItIsNotThere) {
  const std::string packed = PackedBytes(RandomTrace(100));
  EXPECT_EQ(PartOf(packed, MfzStream::NOTES), nullptr);
  EXPECT_EQ(PartOf(packed, MfzStream::ABOUT), nullptr);
  EXPECT_NE(PartOf(packed, MfzStream::INDEX), nullptr);
}

}  // namespace
}  // namespace marrowfin::testing
