// What stands beside a trace, found or told.

#include "trace/read/Companion.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/trace/support/NotedTrace.h"
#include "trace/marrowfin_trace.h"

namespace marrowfin::testing {
namespace {

using ::testing::HasSubstr;

class CompanionTest : public ::testing::Test {
 protected:
  // A trace with both files beside it.
  void Record(uint64_t records, uint64_t firstCycle = 0) {
    marrowfin_trace trace;
    marrowfin_trace_open(&trace, name.c_str());
    marrowfin_trace_companion(&trace);
    const int packet = marrowfin_trace_attribute(&trace, "packet", MARROWFIN_TRACE_NUMBER, "");
    for (uint64_t i = 0; i < records; ++i) {
      marrowfin_trace_fire(&trace, firstCycle + i, 0, 0, 0);
      marrowfin_trace_note(&trace, packet, i);
    }
    ASSERT_EQ(0, marrowfin_trace_close(&trace));
  }

  std::unique_ptr<PositionedFile> InMemory(const std::string& suffix) {
    const std::string bytes = ReadFile(name + suffix);
    return MemoryFile(std::vector<uint8_t>(bytes.begin(), bytes.end()), "memory" + suffix);
  }

  TempDir folder;
  const std::string name = folder.File("run.trace");
};

TEST_F(CompanionTest, BothFilesAreFoundBesideTheTrace) {
  Record(300);
  const Companion companion = Companion::Beside(*OpenTrace(name));
  ASSERT_NE(nullptr, companion.GetAbout());
  ASSERT_NE(nullptr, companion.Notes());
  EXPECT_EQ(300U, companion.Notes()->Records());
  EXPECT_TRUE(IsFine(companion.WhyNoAbout()));
  EXPECT_TRUE(IsFine(companion.WhyNoNotes()));
}

TEST_F(CompanionTest, WhatIsMissingIsNoFault) {
  WriteFile(name, Encode({Event()}));
  const Companion companion = Companion::Beside(*OpenTrace(name));
  EXPECT_EQ(nullptr, companion.GetAbout());
  EXPECT_EQ(nullptr, companion.Notes());
  EXPECT_TRUE(IsFine(companion.WhyNoAbout()));
  EXPECT_TRUE(IsFine(companion.WhyNoNotes()));
}

TEST_F(CompanionTest, CompanionOfAnotherTraceIsToldAndNotBelieved) {
  Record(300);
  const std::string about = ReadFile(name + ".about");
  const std::string notes = ReadFile(name + ".notes");
  Record(300, 1);
  WriteFile(name + ".about", about);
  WriteFile(name + ".notes", notes);
  const Companion companion = Companion::Beside(*OpenTrace(name));
  EXPECT_EQ(nullptr, companion.GetAbout());
  EXPECT_EQ(nullptr, companion.Notes());
  EXPECT_EQ(Fault::OTHER_TRACE, companion.WhyNoAbout().kind);
  EXPECT_EQ(Fault::OTHER_TRACE, companion.WhyNoNotes().kind);
  EXPECT_THAT(companion.WhyNoNotes().Text(), HasSubstr("run.trace.notes: "));
}

TEST_F(CompanionTest, NotesOfALongerTraceAreNotBelieved) {
  Record(300);
  WriteFile(name, ReadFile(name).substr(0, 299 * 28));
  const Companion companion = Companion::Beside(*OpenTrace(name));
  EXPECT_EQ(nullptr, companion.Notes());
  EXPECT_EQ(Fault::OTHER_TRACE, companion.WhyNoNotes().kind);
  EXPECT_NE(nullptr, companion.GetAbout());  // which knows the first records alone
}

TEST_F(CompanionTest, DamageIsToldAndTheOtherFileIsBelieved) {
  Record(300);
  WriteFile(name + ".about", "format = 1\nname = 3\n");
  Companion companion = Companion::Beside(*OpenTrace(name));
  EXPECT_EQ(nullptr, companion.GetAbout());
  EXPECT_EQ(Fault::DAMAGED_NOTES, companion.WhyNoAbout().kind);
  EXPECT_NE(nullptr, companion.Notes());
  Record(300);
  WriteFile(name + ".notes", "these are no notes");
  companion = Companion::Beside(*OpenTrace(name));
  EXPECT_NE(nullptr, companion.GetAbout());
  EXPECT_EQ(nullptr, companion.Notes());
  EXPECT_EQ(Fault::DAMAGED_NOTES, companion.WhyNoNotes().kind);
}

TEST_F(CompanionTest, WhatCannotBeReadIsTold) {
  Record(3);
  std::filesystem::remove(name + ".notes");
  std::filesystem::create_directory(name + ".notes");
  const Companion companion = Companion::Beside(*OpenTrace(name));
  EXPECT_EQ(nullptr, companion.Notes());
  EXPECT_EQ(Fault::SYSTEM, companion.WhyNoNotes().kind);
}

TEST_F(CompanionTest, FilesInMemoryDoWithoutAFileSystem) {
  Record(300);
  const std::unique_ptr<TraceSource> trace = Made(TraceSource::Over(InMemory("")));
  const Companion companion = Companion::Of(*trace, InMemory(".about"), InMemory(".notes"));
  ASSERT_NE(nullptr, companion.GetAbout());
  ASSERT_NE(nullptr, companion.Notes());
  EXPECT_EQ(300U, companion.Notes()->Records());
  const Companion none = Companion::Of(*trace, nullptr, nullptr);
  EXPECT_EQ(nullptr, none.GetAbout());
  EXPECT_EQ(nullptr, none.Notes());
  EXPECT_TRUE(IsFine(none.WhyNoNotes()));
}

TEST_F(CompanionTest, RunThatGoesOnIsFollowed) {
  Record(300);
  const std::string trace = ReadFile(name);
  const std::string about = ReadFile(name + ".about");
  const std::string notes = ReadFile(name + ".notes");
  for (const char* suffix : {".about", ".notes"}) {
    std::filesystem::remove(name + suffix);
  }
  Companion companion = Companion::Beside(*OpenTrace(name));
  EXPECT_EQ(nullptr, companion.Notes());
  WriteFile(name + ".about", about);
  WriteFile(name + ".notes", notes.substr(0, notes.size() - 60));
  companion.Follow(*OpenTrace(name));
  EXPECT_NE(nullptr, companion.GetAbout());
  const NotesFile* const begun = companion.Notes();
  ASSERT_NE(nullptr, begun);
  EXPECT_EQ(Fault::CUT_NOTES, begun->End().kind);
  WriteFile(name + ".notes", notes);
  companion.Follow(*OpenTrace(name));
  EXPECT_EQ(begun, companion.Notes());
  EXPECT_TRUE(IsFine(begun->End()));
  std::filesystem::remove(name + ".notes");
  companion.Follow(*OpenTrace(name));
  EXPECT_EQ(nullptr, companion.Notes());
  EXPECT_TRUE(IsFine(companion.WhyNoNotes()));
}

TEST_F(CompanionTest, WhatWasGivenStaysWhateverStandsBesideTheTrace) {
  Record(300);
  Companion companion = Companion::Of(*OpenTrace(name), nullptr, nullptr);
  companion.Follow(*OpenTrace(name));
  EXPECT_EQ(nullptr, companion.GetAbout());
  EXPECT_EQ(nullptr, companion.Notes());
}

}  // namespace
}  // namespace marrowfin::testing
