#include "measure/KeptCounts.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <string>

#include "measure/CountsBytes.h"
#include "measure/RunMeasures.h"
#include "tests/support/Files.h"
#include "tests/trace/support/Opened.h"
#include "tests/trace/support/RandomTrace.h"
#include "trace/base/Zstd.h"

namespace marrowfin::testing {
namespace {

// All that counts hold, as bytes.
std::vector<uint8_t> BytesOf(RunCounts counts) {
  CountsWriter writer;
  counts.Visit(writer);
  return writer.bytes.Take();
}

class KeptCountsTest : public ::testing::Test {
 protected:
  static std::string RandomTrace(unsigned seed) {
    std::mt19937 random(seed);
    RandomTraceOptions options;
    options.records = 4000;
    options.shape = {2, 2, 3};
    return Encode(RandomEvents(random, options));
  }

  void SetUp() override { question.shape = {2, 2, 3}; }

  // Counts, and whether the trace was read for it.
  RunCounts Count(bool read) {
    bool told = false;
    Result<RunCounts> counts = CountRunOnce(
        *opened.trace, *opened.index, store.get(), question,
        [&](const Progress&) { return told = true; }, 1);
    EXPECT_TRUE(counts) << counts.Why().Text();
    EXPECT_EQ(told, read);
    return std::move(counts).Take();
  }

  // What is kept as a file.
  std::string CountsName() const {
    const std::string name = opened.index->FileName();
    return name.substr(0, name.rfind(".mfindex")) + ".mfcounts";
  }

  Opened opened{RandomTrace(1)};
  std::unique_ptr<IndexStore> store = KeptCountsOf(*opened.trace, *opened.index);
  RunQuestion question;
};

TEST_F(KeptCountsTest, WhatWasCountedOnceIsKnownTheSecondTime) {
  const RunCounts counted = Count(true);
  const RunCounts kept = Count(false);
  EXPECT_EQ(BytesOf(kept), BytesOf(counted));
  EXPECT_EQ(kept.Places().Elements(), counted.Places().Elements());
  EXPECT_EQ(kept.Places().Outside(), counted.Places().Outside());
  EXPECT_EQ(kept.Times().Threads(), counted.Times().Threads());
  EXPECT_EQ(kept.Pulses().Peak(), counted.Pulses().Peak());
  EXPECT_EQ(kept.Traffic(), counted.Traffic());
  const RunMeasures a = MeasuresOf(kept);
  const RunMeasures b = MeasuresOf(counted);
  EXPECT_EQ(a.distances.Counts(), b.distances.Counts());
  EXPECT_EQ(a.links.mean, b.links.mean);
  EXPECT_EQ(a.utilisation, b.utilisation);
}

TEST_F(KeptCountsTest, AnotherArrayOrRoutingOrPartIsCounted) {
  Count(true);
  question.shape = {2, 2, 4};
  Count(true);
  Count(false);
  question.columnFirst = true;
  Count(true);
  question.wrapRows = true;
  Count(true);
  question.mostColumns = 100;
  Count(true);
  Count(false);
  question.filter.thread = 1;
  Count(true);
  Count(true);
}

TEST_F(KeptCountsTest, AnotherTraceOfTheSameNameIsCounted) {
  Count(true);
  WriteFile(opened.name, RandomTrace(2));
  opened.Reopen();
  EXPECT_EQ(BytesOf(Count(true)), BytesOf(*CountRun(*opened.trace, opened.index.get(), question)));
  Count(false);
}

TEST_F(KeptCountsTest, ShortTracesKeepNothing) {
  const Result<RunCounts> counts =
      CountRunOnce(*opened.trace, *opened.index, store.get(), question);
  ASSERT_TRUE(counts);
  EXPECT_TRUE(store->Find().empty());
}

TEST_F(KeptCountsTest, WhatIsDamagedIsCountedAgain) {
  const std::vector<uint8_t> sound = BytesOf(Count(true));
  const std::string file = ReadFile(CountsName());
  ASSERT_GT(file.size(), 100U);
  for (size_t at = 0; at < file.size(); at += 1 + file.size() / 60) {
    std::string damaged = file;
    damaged[at] = static_cast<char>(damaged[at] ^ 0x10);
    WriteFile(CountsName(), damaged);
    EXPECT_EQ(BytesOf(Count(true)), sound) << at;
    WriteFile(CountsName(), file.substr(0, at));
    EXPECT_EQ(BytesOf(Count(true)), sound) << "cut at " << at;
  }
  WriteFile(CountsName(), file + "x");
  Count(true);
  Count(false);
}

// Whose checksum holds, and which says what is not true.
class ForgedCountsTest : public KeptCountsTest {
 protected:
  void Forge(const std::function<void(std::vector<uint8_t>&)>& change) const {
    constexpr size_t HEADER = 16;
    const std::string file = ReadFile(CountsName());
    size_t size = 0;
    for (size_t i = 8; i < HEADER; ++i) {
      size = size << 8 | static_cast<uint8_t>(file[i]);
    }
    const auto* const packed = reinterpret_cast<const uint8_t*>(file.data()) + HEADER;
    std::vector<uint8_t> raw;
    ASSERT_TRUE(Unpack({packed, file.size() - HEADER}, size, raw));
    change(raw);
    const std::vector<uint8_t> repacked = Pack(raw);
    std::string forged = file.substr(0, 8);
    for (size_t i = 8; i-- > 0;) {
      forged += static_cast<char>(raw.size() >> (8 * i));
    }
    forged.append(repacked.begin(), repacked.end());
    WriteFile(CountsName(), forged);
  }
};

TEST_F(ForgedCountsTest, WhatContradictsTheIndexOrIsNoCountIsCountedAgainOrHarmsNobody) {
  const std::vector<uint8_t> sound = BytesOf(Count(true));
  const std::string file = ReadFile(CountsName());
  std::mt19937 random(7);
  for (int i = 0; i < 300; ++i) {
    WriteFile(CountsName(), file);
    Forge([&](std::vector<uint8_t>& raw) {
      for (int k = 0; k < 3; ++k) {
        raw[random() % raw.size()] = static_cast<uint8_t>(random());
      }
    });
    const std::optional<RunCounts> kept = FindKeptCounts(
        *store, *opened.index,
        {question.shape, false, false, false,
         TimeColumns::AtMost(opened.index->GetSummary().firstCycle,
                             opened.index->GetSummary().maxCycle, question.mostColumns)});
    if (kept) {
      EXPECT_EQ(kept->Records(), opened.index->GetSummary().records);
      MeasuresOf(*kept);  // numbers that nobody measured, and no worse
    }
  }
  WriteFile(CountsName(), file);
  Forge([](std::vector<uint8_t>& raw) { raw.push_back(0); });
  EXPECT_EQ(BytesOf(Count(true)), sound) << "more than there is";
  Forge([](std::vector<uint8_t>& raw) { raw.pop_back(); });
  EXPECT_EQ(BytesOf(Count(true)), sound) << "less than there is";
}

}  // namespace
}  // namespace marrowfin::testing
