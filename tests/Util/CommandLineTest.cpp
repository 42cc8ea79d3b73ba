#include "Util/CommandLine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <type_traits>

#include "tests/Util/SystemCalls.h"
#include "tests/Util/VirtualSlots.h"

namespace marrowfin::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;

CommandLine Started(std::vector<std::string> words) {
  std::vector<char*> argv;
  for (std::string& word : words) {
    argv.push_back(word.data());
  }
  argv.push_back(nullptr);
  return CommandLine(static_cast<int>(words.size()), argv.data());
}

std::vector<std::string> WordsOf(char** argv) {
  std::vector<std::string> words;
  for (; *argv != nullptr; ++argv) {
    words.push_back(*argv);
  }
  return words;
}

typedef std::vector<std::string> Words;

TEST(CommandLineTest, FieldsHaveTheirTypesAndOrder) {
  const CommandLine line(0, nullptr);
  static_assert(std::is_base_of_v<Printable, CommandLine>);
  static_assert(std::is_same_v<decltype(line.executableName), std::string>);
  static_assert(std::is_same_v<decltype(line.args), std::vector<CommandLine::Arg>>);
  static_assert(std::is_same_v<decltype(line.c_args), char**>);
  static_assert(sizeof(CommandLine::Arg) == sizeof(std::string));
  static_assert(std::is_copy_constructible_v<CommandLine::Arg>);
  EXPECT_EQ(8u, OffsetOf(&line, &line.executableName));
  EXPECT_EQ(8u + sizeof(std::string), OffsetOf(&line, &line.args));
  EXPECT_EQ(32u + sizeof(std::string), OffsetOf(&line, &line.c_args));
  EXPECT_EQ(40u + sizeof(std::string), sizeof(CommandLine));
}

TEST(CommandLineTest, FirstItemIsTheProgramsNameAndTheRestAreTheWords) {
  CommandLine line = Started({"prog", "-a", "1", ""});
  EXPECT_EQ("prog", line.executableName);
  EXPECT_EQ(3u, line.size());
  static_assert(std::is_same_v<decltype(line.size()), unsigned int>);
  EXPECT_EQ("-a", line[0]);
  EXPECT_EQ("1", line[1]);
  EXPECT_EQ("", line[2]);
  EXPECT_EQ("-a", line.args[0].arg);
}

TEST(CommandLineTest, ProgramWithoutArgumentsHasNoWords) {
  CommandLine line = Started({"prog"});
  EXPECT_EQ(0u, line.size());
  EXPECT_EQ(Words(), WordsOf(line.GetArgv()));
}

TEST(CommandLineTest, EmptyArgumentVectorGivesAnEmptyName) {
  CommandLine line = Started({});
  EXPECT_EQ("", line.executableName);
  EXPECT_EQ(0u, line.size());
}

TEST(CommandLineTest, WordsAreCopies) {
  char word[] = "word";
  char name[] = "prog";
  char* argv[] = {name, word, nullptr};
  CommandLine line(2, argv);
  word[0] = 'W';
  name[0] = 'P';
  EXPECT_EQ("word", line[0]);
  EXPECT_EQ("prog", line.executableName);
}

TEST(CommandLineTest, WordCanBeChangedInPlace) {
  CommandLine line = Started({"prog", "a", "b"});
  line[1] = "changed";
  EXPECT_EQ("changed", line.args[1].arg);
  EXPECT_EQ(Words({"a", "changed"}), WordsOf(line.GetArgv()));
}

TEST(CommandLineTest, ArgumentVectorHoldsTheWordsAndANullPointer) {
  CommandLine line = Started({"prog", "a", "b", "c"});
  EXPECT_EQ(Words({"a", "b", "c"}), WordsOf(line.c_args));
  char** argv = line.GetArgv();
  EXPECT_EQ(line.c_args, argv);
  EXPECT_EQ(Words({"a", "b", "c"}), WordsOf(argv));
  EXPECT_EQ(line[0].c_str(), argv[0]);
}

TEST(CommandLineTest, ArgumentVectorHasRoomForTheWordsAndTheNullPointerAndReplacesTheOneBefore) {
  CommandLine line = Started({"prog", "a", "b", "c"});
  SystemCalls calls;
  line.GetArgv();
  EXPECT_THAT(calls.Made(), UnorderedElementsAre(SystemCalls::Call("delete[]"),
                                                 SystemCalls::Call("new[]", 4 * sizeof(char*))));
}

TEST(CommandLineTest, ArgumentVectorGoesWithTheCommandLine) {
  auto line = std::make_unique<CommandLine>(Started({"prog", "a"}));
  SystemCalls calls;
  line.reset();
  EXPECT_THAT(calls.Made(), ElementsAre(SystemCalls::Call("delete[]")));
}

TEST(CommandLineTest, EraseRemovesOneWord) {
  CommandLine line = Started({"prog", "a", "b", "c"});
  line.erase(1);
  EXPECT_EQ(Words({"a", "c"}), WordsOf(line.c_args));
  EXPECT_EQ(2u, line.size());
  line.erase(0);
  EXPECT_EQ(Words({"c"}), WordsOf(line.c_args));
  line.erase(0);
  EXPECT_EQ(Words(), WordsOf(line.c_args));
}

TEST(CommandLineTest, EraseWhereThereIsNoWordDoesNothing) {
  CommandLine line = Started({"prog", "a", "b"});
  line.erase(2);
  line.erase(4000000000u);
  EXPECT_EQ(Words({"a", "b"}), WordsOf(line.GetArgv()));
}

TEST(CommandLineTest, TextIsTheNameAndTheWordsWithBlanksBetween) {
  const CommandLine line = Started({"prog", "-a", "1 2"});
  std::string text = "old";
  const char* characters = line.ToString(text);
  EXPECT_EQ(text.c_str(), characters);
  EXPECT_EQ("prog -a 1 2", text);
  const CommandLine bare = Started({"prog"});
  bare.ToString(text);
  EXPECT_EQ("prog", text);
}

TEST(CommandLineTest, TextThroughTheBaseIsTheSame) {
  CommandLine line = Started({"prog", "a"});
  Printable& base = line;
  EXPECT_STREQ("prog a", base.ToString());
}

TEST(CommandLineTest, CopyHasWordsOfItsOwn) {
  auto line = std::make_unique<CommandLine>(Started({"prog", "a", "b"}));
  CommandLine copy(*line);
  EXPECT_NE(line->c_args, copy.c_args);
  (*line)[0] = "changed";
  line.reset();
  EXPECT_EQ("prog", copy.executableName);
  EXPECT_EQ(Words({"a", "b"}), WordsOf(copy.c_args));
  EXPECT_EQ(copy[0].c_str(), copy.c_args[0]);
}

TEST(CommandLineTest, AssignmentReplacesEverythingByCopies) {
  auto line = std::make_unique<CommandLine>(Started({"prog", "a", "b"}));
  CommandLine assigned = Started({"other", "x", "y", "z"});
  EXPECT_EQ(&assigned, &(assigned = *line));
  line.reset();
  EXPECT_EQ("prog", assigned.executableName);
  EXPECT_EQ(Words({"a", "b"}), WordsOf(assigned.c_args));
  EXPECT_EQ(assigned[0].c_str(), assigned.c_args[0]);
}

TEST(CommandLineTest, AssignmentToItselfChangesNothing) {
  CommandLine line = Started({"prog", "a", "b"});
  CommandLine& same = line;
  line = same;
  EXPECT_EQ("prog", line.executableName);
  EXPECT_EQ(Words({"a", "b"}), WordsOf(line.c_args));
}

}  // namespace
}  // namespace marrowfin::testing
