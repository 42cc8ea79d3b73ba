// Notes written by the library: read back equal, and the same as the recorder in plain C writes.

#include "trace/write/NotesWriter.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/support/Files.h"
#include "trace/marrowfin_trace.h"
#include "trace/read/NotesDecode.h"
#include "trace/read/NotesFile.h"

namespace marrowfin::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

std::unique_ptr<NotesFile> Opened(const std::vector<uint8_t>& bytes) {
  Result<std::unique_ptr<NotesFile>> notes = NotesFile::Open(MemoryFile(bytes, "t.notes"));
  EXPECT_TRUE(notes) << notes.Why().Text();
  return std::move(notes).Take();
}

TEST(NotesWriterTest, WritesTheBytesOfTheRecorderInPlainC) {
  TempDir folder;
  const std::string name = folder.File("run.trace");
  MemorySink sink;
  NotesWriter writer(sink, NotesPacking::NONE);
  marrowfin_trace trace;
  marrowfin_trace_open(&trace, name.c_str());
  marrowfin_trace_companion(&trace);
  const uint32_t types = 5;
  for (uint32_t type = 1; type <= types; ++type) {
    const std::string text = "a" + std::to_string(type);
    writer.Attribute(text, static_cast<NoteType>(type), "u");
    marrowfin_trace_attribute(&trace, text.c_str(), static_cast<marrowfin_trace_type>(type), "u");
  }
  writer.NameValue(3, 1, "one");
  marrowfin_trace_value_name(&trace, 3, 1, "one");
  const uint32_t counter = writer.Counter("queue", "flits");
  marrowfin_trace_counter(&trace, "queue", "flits");
  uint64_t random = 1;
  const auto next = [&random] {
    return random = random * 6364136223846793005 + 1442695040888963407;
  };
  for (uint64_t i = 0; i < 5000; ++i) {
    const uint32_t place = static_cast<uint32_t>(next() >> 60);
    marrowfin_trace_send(&trace, i, 3, place, 2, 1, place);
    writer.Record(SEND_RECORD, i, 3, {2, place}, {place, 1});
    for (uint32_t attribute = 0; attribute < types; ++attribute) {
      const uint64_t value = next() >> (next() >> 58);
      if (next() >> 63) {
        EXPECT_EQ(writer.Note(attribute, value),
                  marrowfin_trace_note(&trace, static_cast<int>(attribute), value) == 0);
      }
    }
    const double value = next() >> 63 ? static_cast<double>(next() >> 50) : 0.1 * place;
    writer.Sample({i, counter, {place, 7}, value});
    marrowfin_trace_count(&trace, i, 7, place, static_cast<int>(counter), value);
    if (i % 1000 == 999) {
      EXPECT_FALSE(writer.Flush());
      EXPECT_EQ(0, marrowfin_trace_flush(&trace));
    }
  }
  EXPECT_FALSE(writer.Close());
  ASSERT_EQ(0, marrowfin_trace_close(&trace));
  const std::string plain = ReadFile(name + ".notes");
  EXPECT_TRUE(plain == std::string(sink.Bytes().begin(), sink.Bytes().end()));
  EXPECT_EQ(sink.Bytes().size(), writer.Size());
}

TEST(NotesWriterTest, PackedNotesAreReadBackAndAreSmaller) {
  size_t sizes[2] = {};
  for (const NotesPacking packing : {NotesPacking::NONE, NotesPacking::ZSTD}) {
    MemorySink sink;
    NotesWriter writer(sink, packing);
    const uint32_t packet = writer.Attribute(PACKET_ATTRIBUTE, NoteType::NUMBER);
    const uint32_t created = writer.Attribute(CREATED_ATTRIBUTE, NoteType::CYCLE);
    for (uint64_t i = 0; i < 200000; ++i) {
      writer.Record(FIRE_RECORD, i, 0, {}, {});
      EXPECT_TRUE(writer.Note(packet, i / 4));
      EXPECT_TRUE(writer.Note(created, i - i % 17));
    }
    EXPECT_FALSE(writer.Close());
    sizes[static_cast<size_t>(packing)] = sink.Bytes().size();
    const std::unique_ptr<NotesFile> notes = Opened(sink.Bytes());
    EXPECT_EQ(200000U, notes->Records());
    for (size_t number = 0; number < notes->Blocks().size(); ++number) {
      Result<NotesBlock> block = notes->Notes(number);
      ASSERT_TRUE(block) << block.Why().Text();
      std::vector<uint64_t> cycles;
      for (uint64_t i = block->first; i < block->first + block->count; ++i) {
        cycles.push_back(i);
      }
      ResolveCycles(notes->Declarations(), cycles, *block);
      for (size_t i = 0; i < block->count; ++i) {
        const uint64_t record = block->first + i;
        ASSERT_EQ(record / 4, block->columns[0].values[i]);
        ASSERT_EQ(record - record % 17, block->columns[1].values[i]);
      }
    }
  }
  EXPECT_LT(sizes[1], sizes[0]);
}

TEST(NotesWriterTest, BlockIsEndedBeforeItIsLargerThanAnyMayBe) {
  MemorySink sink;
  NotesWriter writer(sink);
  const uint32_t consumes = writer.Attribute(CONSUMES_ATTRIBUTE, NoteType::RECORDS);
  for (uint64_t i = 0; i < 20000; ++i) {
    writer.Record(FIRE_RECORD, i, 0, {}, {});
    for (uint64_t k = 0; k < 100 && i > 0; ++k) {
      EXPECT_TRUE(writer.Note(consumes, k % i));
    }
  }
  EXPECT_FALSE(writer.Close());
  const std::unique_ptr<NotesFile> notes = Opened(sink.Bytes());
  EXPECT_FALSE(notes->End());
  uint64_t values = 0;
  for (size_t number = 0; number < notes->Blocks().size(); ++number) {
    const Result<NotesBlock> block = notes->Notes(number);
    ASSERT_TRUE(block) << block.Why().Text();
    values += block->columns.empty() ? 0 : block->columns[0].values.size();
  }
  EXPECT_EQ(19999U * 100, values);
}

TEST(NotesWriterTest, NotesOfNoRecordAreRefused) {
  MemorySink sink;
  NotesWriter writer(sink);
  const uint32_t packet = writer.Attribute(PACKET_ATTRIBUTE, NoteType::NUMBER);
  const uint32_t consumes = writer.Attribute(CONSUMES_ATTRIBUTE, NoteType::RECORDS);
  EXPECT_FALSE(writer.Note(packet, uint64_t{1}));
  writer.Record(FIRE_RECORD, 0, 0, {}, {});
  EXPECT_FALSE(writer.Note(consumes, uint64_t{0}));
  EXPECT_TRUE(writer.Note(packet, uint64_t{1}));
  EXPECT_TRUE(writer.Note(packet, uint64_t{2}));
  EXPECT_FALSE(writer.Flush());
  EXPECT_FALSE(writer.Note(packet, uint64_t{3}));
  EXPECT_FALSE(writer.Close());
  const Result<NotesBlock> block = Opened(sink.Bytes())->Notes(0);
  ASSERT_TRUE(block);
  EXPECT_THAT(block->columns[0].values, ElementsAre(2));
}

TEST(NotesWriterTest, FullDiskIsKept) {
  const int descriptor = open("/dev/full", O_WRONLY);
  DescriptorSink sink(descriptor, "/dev/full");
  NotesWriter writer(sink);
  writer.Record(FIRE_RECORD, 0, 0, {}, {});
  EXPECT_THAT(writer.Flush().Text(), HasSubstr("No space left on device"));
  EXPECT_THAT(writer.Close().Text(), HasSubstr("No space left on device"));
  close(descriptor);
}

}  // namespace
}  // namespace marrowfin::testing
