// The project of the document that uses the installed package.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/sim/Laws.h"
#include "tests/support/Command.h"
#include "tests/support/Files.h"

namespace marrowfin::testing {

using sim::testing::BrokenTraceLaws;
using sim::testing::RecordCounts;
using ::testing::IsEmpty;

// The first block of code of a language in a document.
std::string Block(const std::string& document, const std::string& language) {
  const std::string start = "\n```" + language + "\n";
  const size_t at = document.find(start) + start.size();
  return document.substr(at, document.find("\n```\n", at) + 1 - at);
}

TEST(PackageTest, TheProjectOfTheDocumentBuildsWithTheInstalledPackageAndRecords) {
  const TempDir directory;
  const std::string document = ReadFile(MARROWFIN_SOURCE_DIR "/docs/instrument-your-simulator.md");
  WriteFile(directory.File("CMakeLists.txt"), Block(document, "cmake"));
  WriteFile(directory.File("main.cpp"), Block(document, "cpp"));
  WriteFile(directory.File("my-simulator.c"), Block(document, "c"));
  CommandOptions options;
  options.directory = directory.Path();
  options.environment = {"CXXFLAGS=" MARROWFIN_FLAGS};
  const CommandResult result =
      RunCommand({"bash", "-e", "-c",
                  "cmake --install " MARROWFIN_BUILD_DIR " --prefix $PWD/installed >/dev/null\n"
                  "cmake -S . -B build -G Ninja -DCMAKE_PREFIX_PATH=$PWD/installed\n"
                  "cmake --build build\n"
                  "build/my-simulator ring.trace\n"
                  "cc -std=c99 -I installed/include my-simulator.c -o in-c\n"
                  "./in-c c.trace"},
                 options);
  ASSERT_EQ(0, result.exitStatus) << result.out << result.err;
  EXPECT_THAT(BrokenTraceLaws(ReadFile(directory.File("ring.trace")), {1, 1, 2}), IsEmpty());
  EXPECT_EQ(400U, RecordCounts(ReadFile(directory.File("ring.trace")))[3]);
  EXPECT_EQ(100U, RecordCounts(ReadFile(directory.File("c.trace")))[2]);
}

}  // namespace marrowfin::testing
