#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tests/support/Command.h"
#include "tests/support/Files.h"

namespace marrowfin::testing {
namespace {

TEST(GalleryTest, ThePicturesOfTheDocumentAreThoseThatTheScriptDraws) {
  const TempDir folder;
  const CommandResult drawn =
      RunCommand({MARROWFIN_SOURCE_DIR "/scripts/draw-gallery", MARROWFIN_PROGRAMS, folder.Path()});
  ASSERT_EQ(drawn.exitStatus, 0) << drawn.err;
  const std::string page = ReadFile(MARROWFIN_SOURCE_DIR "/docs/gallery.md");
  size_t pictures = 0;
  for (const auto& entry :
       std::filesystem::directory_iterator(MARROWFIN_SOURCE_DIR "/docs/images/gallery")) {
    const std::string name = entry.path().filename();
    EXPECT_NE(page.find("(images/gallery/" + name + ")"), std::string::npos) << name;
    ASSERT_TRUE(std::filesystem::exists(folder.File(name))) << name << " is drawn by nobody";
    EXPECT_TRUE(ReadFile(entry.path()) == ReadFile(folder.File(name))) << name;
    ++pictures;
  }
  EXPECT_GE(pictures, 4U);
}

}  // namespace
}  // namespace marrowfin::testing
