// Packed traces that were damaged: what is damaged is named, and all else can be read.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "tests/trace/support/Opened.h"
#include "tests/trace/support/PackedBytes.h"
#include "tests/trace/support/RandomTrace.h"
#include "trace/base/MfzFormat.h"
#include "trace/index/IndexStore.h"
#include "trace/read/MfzFile.h"
#include "trace/read/Unpack.h"

namespace marrowfin::testing {
namespace {

using ::testing::HasSubstr;

class DamagedMfzTest : public ::testing::Test {
 protected:
  static constexpr size_t RECORDS = 4 * MFZ_BLOCK_RECORDS + 1000;

  DamagedMfzTest() {
    std::mt19937 random(1);
    RandomTraceOptions options;
    options.records = RECORDS;
    options.perCycle = 30;
    raw = Encode(RandomEvents(random, options));
    packed = PackedBytes(raw);
    whole = Open(packed);
  }

  static std::shared_ptr<const MfzFile> Open(const std::string& bytes) {
    auto file = MfzFile::Open(FileOf(bytes));
    EXPECT_TRUE(IsFine(file.Why()));
    return file ? std::move(file).Take() : nullptr;
  }

  // Reads each block of the trace by itself; those that come out are what they were. Returns the
  // faults of the others.
  std::vector<Fault> ReadBlocks(const std::string& bytes) {
    const std::shared_ptr<const MfzFile> file = Open(bytes);
    const auto part = MfzPart(file, MfzStream::TRACE);
    std::vector<Fault> faults;
    for (const MfzSection& section : whole->Sections(MfzStream::TRACE)) {
      std::string out(section.rawSize, '\0');
      // Where the end is missing there is one byte more than there is, and nothing else tells of
      // it.
      const uint64_t end = std::min(section.End(), part->Size());
      const size_t there = static_cast<size_t>(end - std::min(section.begin, end));
      const Fault fault =
          part->ReadAt(section.begin, there, reinterpret_cast<uint8_t*>(out.data()));
      if (fault) {
        faults.push_back(fault);
      } else {
        EXPECT_TRUE(out == raw.substr(static_cast<size_t>(section.begin), section.rawSize));
      }
    }
    return faults;
  }

  uint64_t DirectoryAt() const {
    const auto* const end = reinterpret_cast<const uint8_t*>(packed.data()) + packed.size();
    return *DecodeMfzFooter(end - MFZ_FOOTER);
  }

  std::string Damaged(uint64_t at) const {
    std::string bytes = packed;
    bytes[static_cast<size_t>(at)] = static_cast<char>(bytes[static_cast<size_t>(at)] ^ 0x5a);
    return bytes;
  }

  std::string raw;
  std::string packed;
  std::shared_ptr<const MfzFile> whole;
};

TEST_F(DamagedMfzTest, WhatIsWholeIsRead) {
  EXPECT_TRUE(whole->IsWhole());
  EXPECT_EQ(whole->Sections(MfzStream::TRACE).size(), 5U);
  EXPECT_TRUE(ReadBlocks(packed).empty());
}

TEST_F(DamagedMfzTest, ADamagedBlockIsNamedAndTheOthersAreRead) {
  std::mt19937 random(2);
  size_t number = 0;
  for (const MfzSection& section : whole->Sections(MfzStream::TRACE)) {
    for (int i = 0; i < 3; ++i) {
      const std::vector<Fault> faults =
          ReadBlocks(Damaged(section.offset + MFZ_HEAD + random() % section.size));
      ASSERT_EQ(faults.size(), 1U);
      EXPECT_EQ(faults[0].kind, Fault::DAMAGED_INPUT);
      EXPECT_EQ(faults[0].offset, section.begin);
      EXPECT_EQ(faults[0].record, section.firstRecord);
      EXPECT_THAT(faults[0].reason, HasSubstr("block " + std::to_string(number) +
                                              " of the packed trace is damaged: " + "records " +
                                              std::to_string(section.firstRecord) + " to "));
    }
    ++number;
  }
}

// The directory tells where blocks lie, so that their heads are not needed to read them.
TEST_F(DamagedMfzTest, ADamagedHeadTakesNothingAway) {
  for (const MfzSection& section : whole->Sections(MfzStream::TRACE)) {
    for (size_t i = 0; i < MFZ_HEAD; i += 9) {
      EXPECT_TRUE(ReadBlocks(Damaged(section.offset + i)).empty());
    }
  }
}

TEST_F(DamagedMfzTest, ADamagedDirectoryTakesNothingAway) {
  for (uint64_t at = DirectoryAt(); at < packed.size(); at += 7) {
    EXPECT_TRUE(ReadBlocks(Damaged(at)).empty()) << at;
  }
}

TEST_F(DamagedMfzTest, WithoutDirectoryADamagedHeadTakesItsBlockAlone) {
  size_t number = 0;
  for (const MfzSection& section : whole->Sections(MfzStream::TRACE)) {
    for (size_t i = 0; i < MFZ_HEAD; i += 9) {
      std::string bytes = Damaged(section.offset + i);
      bytes.back() = 'x';
      EXPECT_TRUE(ReadBlocks(bytes).empty()) << "a directory is found by its head, too";
      char& inDirectory = bytes[static_cast<size_t>(DirectoryAt() + MFZ_HEAD + 9)];
      inDirectory = static_cast<char>(inDirectory ^ 1);
      const std::vector<Fault> faults = ReadBlocks(bytes);
      ASSERT_EQ(faults.size(), 1U) << number << " " << i;
      EXPECT_EQ(faults[0].kind, Fault::DAMAGED_INPUT);
      EXPECT_EQ(faults[0].offset, section.begin);
      EXPECT_THAT(faults[0].reason, HasSubstr("the packed trace"));
    }
    ++number;
  }
}

TEST_F(DamagedMfzTest, WhatIsCutAnywhereIsReadUpToThere) {
  std::mt19937 random(3);
  for (int i = 0; i < 20; ++i) {
    const size_t length = sizeof(MFZ_MAGIC) + random() % (packed.size() - sizeof(MFZ_MAGIC));
    const std::string cut = packed.substr(0, length);
    size_t kept = 0;
    for (const MfzSection& section : whole->Sections(MfzStream::TRACE)) {
      kept += section.offset + MFZ_HEAD + section.size <= length ? 1 : 0;
    }
    EXPECT_EQ(ReadBlocks(cut).size(), 5 - kept);
    const std::shared_ptr<const MfzFile> file = Open(cut);
    const auto part = MfzPart(file, MfzStream::TRACE);
    std::string all(static_cast<size_t>(part->Size()), '\0');
    const Fault fault = part->ReadAt(0, all.size(), reinterpret_cast<uint8_t*>(all.data()));
    EXPECT_EQ(static_cast<bool>(fault), !file->IsWhole());
    EXPECT_TRUE(file->IsWhole() || fault.kind == Fault::DAMAGED_INPUT) << fault.Text();
  }
}

// As of a trace that is cut, or holds what is none: all questions are answered up to there.
TEST_F(DamagedMfzTest, WhatIsCutOrDamagedAnywhereIsIndexedUpToThere) {
  for (const MfzSection& section : whole->Sections(MfzStream::TRACE)) {
    const std::string damaged = Damaged(section.offset + MFZ_HEAD + section.size / 2);
    for (const std::string& bytes :
         {packed.substr(0, static_cast<size_t>(section.offset)), damaged}) {
      const std::unique_ptr<TraceSource> trace = Made(
          TraceSource::Over(MemoryFile(std::vector<uint8_t>(bytes.begin(), bytes.end()), "t.mfz")));
      const std::unique_ptr<IndexStore> store = IndexInMemory();
      const std::unique_ptr<Index> index = Made(Index::Open(*trace, *store));
      ASSERT_NE(index, nullptr) << section.begin;
      EXPECT_EQ(index->GetSummary().records, section.firstRecord);
      EXPECT_EQ(index->GetSummary().end.kind, Fault::DAMAGED_INPUT);
    }
  }
}

TEST_F(DamagedMfzTest, WhatHoldsMoreThanOnePieceTwiceCountsOnce) {
  const size_t end = static_cast<size_t>(whole->Sections(MfzStream::TRACE)[2].offset);
  const std::string body = packed.substr(sizeof(MFZ_MAGIC), end - sizeof(MFZ_MAGIC));
  const std::string twice = packed.substr(0, end) + body;
  const auto file = Open(twice);
  EXPECT_EQ(file->Sections(MfzStream::TRACE).size(), 2U);
}

TEST_F(DamagedMfzTest, FromFrontToBackAllBeforeTheDamageIsRead) {
  const MfzSection third = whole->Sections(MfzStream::TRACE)[2];
  for (const uint64_t at : {third.offset + 3, third.offset + MFZ_HEAD + 50}) {
    const std::string bytes = Damaged(at);
    const auto source = UnpackMfz(
        MemorySource(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()), "t.mfz");
    std::string out;
    std::vector<uint8_t> block(100000);
    Result<size_t> got = source->Read(block.data(), block.size());
    for (; got && *got > 0; got = source->Read(block.data(), block.size())) {
      out.append(block.begin(), block.begin() + static_cast<ptrdiff_t>(*got));
    }
    EXPECT_EQ(got.Why().kind, Fault::DAMAGED_INPUT);
    EXPECT_EQ(got.Why().file, "t.mfz");
    EXPECT_TRUE(out == raw.substr(0, static_cast<size_t>(third.begin)));
  }
}

TEST_F(DamagedMfzTest, OfAPipeThatEndsEarlyOrGoesOnThatIsTold) {
  for (const std::string& bytes : {packed.substr(0, packed.size() - 1), packed.substr(0, 1000),
                                   packed.substr(0, 6), packed + "x"}) {
    const auto source = UnpackMfz(
        MemorySource(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()), "t.mfz");
    std::vector<uint8_t> block(100000);
    Result<size_t> got = source->Read(block.data(), block.size());
    while (got && *got > 0) {
      got = source->Read(block.data(), block.size());
    }
    EXPECT_EQ(got.Why().kind, Fault::DAMAGED_INPUT);
  }
}

TEST_F(DamagedMfzTest, AnotherVersionIsRefused) {
  std::string bytes = packed;
  bytes[7] = 2;
  const auto file = MfzFile::Open(FileOf(bytes));
  EXPECT_THAT(file.Why().reason, HasSubstr("another version"));
  bytes[6] = 2;
  EXPECT_THAT(MfzFile::Open(FileOf(bytes)).Why().reason, HasSubstr("is none"));
}

// Whatever is said of sizes and places, nothing is believed that cannot be.
TEST_F(DamagedMfzTest, HeadsThatAnybodyMadeUpAreTakenOrRefused) {
  std::mt19937 random(4);
  for (int i = 0; i < 700; ++i) {
    MfzSection section = whole->Sections(MfzStream::TRACE)[1];
    const uint32_t number = random() >> random() % 32;
    switch (random() % 7) {
      case 0:
        section.begin = UINT64_MAX - number;
        break;
      case 1:
        section.rawSize = number;
        break;
      case 2:
        section.size = number;
        break;
      case 3:
        section.records = number;
        break;
      case 4:
        section.coding = static_cast<MfzCoding>(number % 5);
        break;
      case 5:
        section.stream = static_cast<MfzStream>(number % 7);
        break;
      default:
        section.checksum = number;
        break;
    }
    std::string bytes = packed;
    EncodeMfzHead(section, reinterpret_cast<uint8_t*>(bytes.data()) + section.offset);
    bytes.back() = 'x';
    const auto file = MfzFile::Open(FileOf(bytes));
    ASSERT_TRUE(file);
    for (const MfzSection& found : (*file)->Sections(MfzStream::TRACE)) {
      ASSERT_LE(found.offset + MFZ_HEAD + found.size, bytes.size());
      ASSERT_LE(found.rawSize, MFZ_LARGEST_RAW);
    }
  }
}

TEST_F(DamagedMfzTest, ADamagedPackedIndexIsBuiltAnew) {
  std::string bytes = packed;
  const auto sections = whole->Sections(MfzStream::INDEX);
  ASSERT_FALSE(sections.empty());
  for (const MfzSection& section : sections) {
    for (uint32_t i = 0; i < section.size; i += 7) {
      bytes[static_cast<size_t>(section.offset + MFZ_HEAD + i)] ^= 0x10;
    }
  }
  TempDir folder;
  WriteFile(folder.File("t.mfz"), bytes);
  const auto trace = Made(TraceSource::Open(folder.File("t.mfz")));
  const auto index = OpenIndex(*trace);
  EXPECT_EQ(index->GetSummary().records, RECORDS);
  EXPECT_TRUE(IsFine(index->CheckSections()));
}

}  // namespace
}  // namespace marrowfin::testing
