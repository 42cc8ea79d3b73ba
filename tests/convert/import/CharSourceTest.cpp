#include "convert/import/CharSource.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <utility>

#include "tests/support/Files.h"

namespace marrowfin {
namespace {

class CharSourceTest : public ::testing::Test {
 protected:
  CharSourceTest()
      : path(folder.File("in")), source([this](const Progress& now) {
          reports.emplace_back(now.done, now.all);
          return reports.size() < most;
        }) {}

  void Open(const std::string& text) {
    testing::WriteFile(path, text);
    ASSERT_FALSE(source.Open(path));
  }

  // Takes `count` characters.
  std::string Take(size_t count) {
    std::string taken;
    for (CharIterator next(&source); taken.size() < count && next != CharIterator(); ++next) {
      taken += *next;
    }
    return taken;
  }

  testing::TempDir folder;
  std::string path;
  std::vector<std::pair<uint64_t, uint64_t>> reports;
  size_t most = 1000;  // after so many reports a stop is asked for
  CharSource source;
};

TEST_F(CharSourceTest, AllCharactersComeInOrderWhateverTheirNumber) {
  std::string text;
  for (int i = 0; i < 100000; ++i) {
    text += std::to_string(i);
  }
  text.resize(300 * 1024);
  Open(text);
  EXPECT_TRUE(text == Take(text.size() + 1));
  EXPECT_TRUE(source.AtEnd());
  EXPECT_FALSE(source.Trouble());
}

TEST_F(CharSourceTest, AnEmptyInputIsAtItsEnd) {
  Open("");
  EXPECT_TRUE(source.AtEnd());
  EXPECT_EQ(0u, source.TokenStart());
}

TEST_F(CharSourceTest, ATokenBeginsBehindBlanksCommasAndColons) {
  Open(" \t\r\n,:12 3");
  Take(6);
  EXPECT_FALSE(source.TokenBegun());
  EXPECT_EQ(6u, source.TokenStart());
  Take(2);
  EXPECT_TRUE(source.TokenBegun());
  EXPECT_EQ(6u, source.TokenStart());
  source.EndToken();
  EXPECT_EQ(8u, source.TokenStart());
  Take(2);
  EXPECT_EQ(9u, source.TokenStart());
}

TEST_F(CharSourceTest, OffsetsGoOnFromChunkToChunk) {
  const std::string blanks(262144 + 1000, ' ');
  Open(blanks + "x");
  Take(blanks.size() + 1);
  EXPECT_EQ(blanks.size(), source.TokenStart());
}

TEST_F(CharSourceTest, ProgressIsToldOfEveryChunkAndTheSizeOfTheFile) {
  Open(std::string(300000, ' '));
  Take(300001);
  ASSERT_GT(reports.size(), 2u);
  uint64_t last = 0;
  for (const auto& [done, all] : reports) {
    EXPECT_LE(last, done);
    EXPECT_LE(done, last + 262144);
    EXPECT_EQ(300000u, all);
    last = done;
  }
  EXPECT_EQ(300000u, last);
}

TEST_F(CharSourceTest, ARequestToStopEndsTheInputAndIsAFault) {
  most = 2;
  Open(std::string(600000, ' '));
  EXPECT_GT(600000u, Take(600000).size());
  EXPECT_EQ(Fault::CANCELLED, source.Trouble().kind);
  EXPECT_EQ(2u, reports.size());
}

TEST_F(CharSourceTest, ATokenMayHaveTheLongestLengthButNoMore) {
  const std::string longest(CharSource::longestToken, 'x');
  Open(longest + longest + "x");
  EXPECT_EQ(longest.size(), Take(longest.size()).size());
  source.EndToken();
  EXPECT_EQ(longest.size(), Take(longest.size()).size());
  EXPECT_FALSE(source.AtEnd());
  EXPECT_EQ(1u, Take(1).size());
  EXPECT_TRUE(source.AtEnd());
  ASSERT_TRUE(source.Trouble());
  EXPECT_EQ(path + ": byte 1048576: more than 1048576 bytes without an end of the value",
            source.Trouble().Text().substr(0, source.Trouble().Text().find(';')));
}

}  // namespace
}  // namespace marrowfin
