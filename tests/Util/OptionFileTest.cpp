// Option files, and the word of the command line that reads one.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <stdexcept>

#include "Util/CommandLineParser.h"
#include "tests/Util/Fixtures.h"
#include "tests/Util/SystemCalls.h"
#include "tests/support/Reports.h"

namespace marrowfin::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::Eq;
using ::testing::KilledBySignal;

typedef CommandLineParser Parser;

class OptionFileTest : public ::testing::Test {
 protected:
  OptionFileTest() {
    parser.AddOption(&x, "-x", "", 0);
    parser.AddOption(&y, "-y", "", "");
    parser.CollectAllOptions(all);
  }

  // Applies a file of this text.
  bool Apply(const std::string& text, Parser::CmdLineParseMode mode = Parser::MODE_STRICT) {
    WriteFile("settings", text);
    return parser.ParseFile("settings", all, mode);
  }

  // Parses a command line of these words.
  bool Parse(const std::vector<std::string>& words, Parser::CmdLineParseMode mode) {
    CommandLine line(0, nullptr);
    for (const std::string& word : words) {
      line.args.push_back(CommandLine::Arg(word.c_str()));
    }
    const Redirected standardError(File::Stderr);
    const bool result = parser.ParseCommandLine(&line, mode);
    reported = standardError.Text();
    return result;
  }

  // The report of a file that cannot be opened.
  static auto CannotOpen(const std::string& name) {
    return CrashReport("Util/CommandLineParser.cpp", "Can't open cmdline file " + name + "\n");
  }

  ScratchDirectory directory;
  int x = 0;
  std::string y;
  Parser parser;
  std::vector<Parser::Option> all;
  std::string reported;  // on standard error, by the last Parse
};

// ---- Lines

TEST_F(OptionFileTest, EveryLineIsAnOptionWordAndAValueWord) {
  EXPECT_TRUE(Apply("-x 3\n-y text\n"));
  EXPECT_EQ(3, x);
  EXPECT_EQ("text", y);
}

TEST_F(OptionFileTest, EmptyFileIsFine) {
  EXPECT_TRUE(Apply(""));
  EXPECT_EQ(0, x);
}

TEST_F(OptionFileTest, WordsAreSeparatedByAnyOfTheSixSpaces) {
  for (const std::string space : {"\f", "\r", "\t", "\v", " ", " \t\v\f\r "}) {
    x = 0;
    y = "";
    EXPECT_TRUE(Apply(space + "-x" + space + "3" + space + "\n" + "-y" + space + "a\n"));
    EXPECT_EQ(3, x);
    EXPECT_EQ("a", y);
  }
}

TEST_F(OptionFileTest, OtherCharactersBelongToWords) {
  EXPECT_TRUE(Apply("-y \x01\"a\\ b\"\n"));
  EXPECT_EQ("\x01\"a\\", y);
}

TEST_F(OptionFileTest, WordsAfterTheSecondAreIgnored) {
  EXPECT_TRUE(Apply("-y one two three\n-x 1 -y\n"));
  EXPECT_EQ("one", y);
  EXPECT_EQ(1, x);
}

TEST_F(OptionFileTest, ValueMayEndWithTheLine) {
  EXPECT_TRUE(Apply("-y one\n"));
  EXPECT_EQ("one", y);
  EXPECT_TRUE(Apply("-y two \n"));
  EXPECT_EQ("two", y);
}

TEST_F(OptionFileTest, OptionWordIsAPattern) {
  EXPECT_TRUE(Apply("-. 12\n"));
  EXPECT_EQ(12, x);
  EXPECT_EQ("12", y);
}

TEST_F(OptionFileTest, QuotesAreNeverStripped) {
  EXPECT_TRUE(Apply("-y \"abc\"\n"));
  EXPECT_EQ("\"abc\"", y);
}

TEST_F(OptionFileTest, ThereAreNoComments) {
  EXPECT_FALSE(Apply("# comment\n"));
  EXPECT_TRUE(Apply("# comment\n", Parser::MODE_NOT_STRICT));
  int hash = 0;
  parser.AddOption(&hash, "#", "");
  all.clear();
  parser.CollectAllOptions(all);
  EXPECT_TRUE(Apply("# 4\n"));
  EXPECT_EQ(4, hash);
}

TEST_F(OptionFileTest, FilesDoNotNest) {
  WriteFile("-cmdLineFile", "-x 5\n");
  EXPECT_FALSE(Apply("-cmdLineFile -cmdLineFile\n"));
  EXPECT_TRUE(Apply("-cmdLineFile -cmdLineFile\n", Parser::MODE_NOT_STRICT));
  EXPECT_EQ(0, x);
}

TEST_F(OptionFileTest, LastLineWithoutItsLineFeedIsNotApplied) {
  EXPECT_TRUE(Apply("-x 3\n-x 4"));
  EXPECT_EQ(3, x);
  EXPECT_TRUE(Apply("-zz 4"));
}

TEST_F(OptionFileTest, BlankLineIsOutOfRange) {
  for (const char* text : {"\n", "   \t\n", "-x 3\n\n-x 4\n"}) {
    EXPECT_THROW(Apply(text), std::out_of_range);
    EXPECT_THROW(Apply(text, Parser::MODE_NOT_STRICT), std::out_of_range);
  }
  EXPECT_EQ(3, x);
}

TEST_F(OptionFileTest, LineOfOneWordIsOutOfRange) {
  for (const char* text : {"-x\n", "  -x  \n"}) {
    EXPECT_THROW(Apply(text), std::out_of_range);
  }
}

TEST_F(OptionFileTest, BlankLineEndsTheProgram) {
  WriteFile("settings", "\n");
  EXPECT_EXIT(
      {
        std::set_terminate([] {
          try {
            throw;
          } catch (const std::out_of_range&) {
            fprintf(stderr, "out of range");
          }
          _exit(3);
        });
        [this]() noexcept { parser.ParseFile("settings", all, Parser::MODE_STRICT); }();
      },
      ::testing::ExitedWithCode(3), Eq("out of range"));
}

// ---- Strictness

TEST_F(OptionFileTest, FirstUnmatchedLineEndsTheReadingWhereStrict) {
  EXPECT_FALSE(Apply("-x 1\n-zz 2\n-x 3\n"));
  EXPECT_EQ(1, x);
}

TEST_F(OptionFileTest, UnmatchedLinesAreIgnoredWhereNotStrict) {
  for (const Parser::CmdLineParseMode mode : {Parser::MODE_NOT_STRICT, Parser::MODE_INVALID}) {
    x = 0;
    EXPECT_TRUE(Apply("-x 1\n-zz 2\n-x 3\n-yy 4\n", mode));
    EXPECT_EQ(3, x);
  }
}

TEST_F(OptionFileTest, FaultyPatternEndsTheProgram) {
  EXPECT_EXIT(Apply("-a[ 1\n"), KilledBySignal(SIGABRT), ::testing::HasSubstr("Faulty pattern: "));
}

// ---- Opening

TEST_F(OptionFileTest, FileIsProbedAndThenOpenedForReadingAndWriting) {
  WriteFile("settings", "");
  SystemCalls calls;
  EXPECT_TRUE(parser.ParseFile("settings", all, Parser::MODE_STRICT));
  std::vector<std::string> opens;
  for (const std::string& call : calls.Made()) {
    if (call.starts_with("open")) {
      opens.push_back(call);
    }
  }
  EXPECT_THAT(opens, ElementsAre(SystemCalls::Call("open", "settings", O_RDWR, 0),
                                 SystemCalls::Call("open", "settings", O_RDWR | O_CREAT, 0666)));
}

TEST_F(OptionFileTest, MissingFileEndsTheProgramAndIsNotCreated) {
  EXPECT_EXIT(parser.ParseFile("settings", all, Parser::MODE_STRICT), KilledBySignal(SIGABRT),
              CannotOpen("settings"));
  EXPECT_FALSE(std::filesystem::exists("settings"));
}

TEST_F(OptionFileTest, DirectoryEndsTheProgram) {
  std::filesystem::create_directory("settings");
  EXPECT_EXIT(parser.ParseFile("settings", all, Parser::MODE_STRICT), KilledBySignal(SIGABRT),
              CannotOpen("settings"));
}

TEST_F(OptionFileTest, FileBelowAMissingDirectoryEndsTheProgram) {
  EXPECT_EXIT(parser.ParseFile("missing/settings", all, Parser::MODE_NOT_STRICT),
              KilledBySignal(SIGABRT), CannotOpen("missing/settings"));
}

TEST_F(OptionFileTest, FileThatMustNotBeWrittenEndsTheProgram) {
  // The system's answer is made up: it never gives it to the superuser.
  WriteFile("settings", "-x 3\n");
  EXPECT_EXIT(
      {
        SystemCalls calls;
        calls.Fail("open", {EACCES});
        parser.ParseFile("settings", all, Parser::MODE_STRICT);
      },
      KilledBySignal(SIGABRT), CannotOpen("settings"));
}

TEST_F(OptionFileTest, FileThatGoesAfterTheProbeCrashesOnItsError) {
  WriteFile("settings", "-x 3\n");
  EXPECT_EXIT(
      {
        SystemCalls calls;
        calls.Fail("open", {0, ENOENT});
        parser.ParseFile("settings", all, Parser::MODE_STRICT);
      },
      KilledBySignal(SIGABRT), Eq("No such file or directory\n"));
}

TEST_F(OptionFileTest, FailedReadCrashesOnItsError) {
  WriteFile("settings", "-x 3\n");
  EXPECT_EXIT(
      {
        SystemCalls calls;
        calls.Fail("read", {0, 0, EIO});
        parser.ParseFile("settings", all, Parser::MODE_STRICT);
      },
      KilledBySignal(SIGABRT), Eq("Input/output error\n"));
}

TEST_F(OptionFileTest, DescriptorIsClosedAfterReading) {
  const std::set<int> before = OpenDescriptors();
  EXPECT_TRUE(Apply("-x 3\n"));
  EXPECT_EQ(before, OpenDescriptors());
  EXPECT_FALSE(Apply("-zz 3\n"));
  EXPECT_EQ(before, OpenDescriptors());
}

TEST_F(OptionFileTest, FileIsLeftAsItWas) {
  EXPECT_TRUE(Apply("-x 3\n-y a"));
  EXPECT_EQ("-x 3\n-y a", ReadFile("settings"));
}

// ---- The load-file word

TEST_F(OptionFileTest, LoadFileWordIsItselfTheNameOfTheFileAndItsValueIsSkipped) {
  WriteFile("-cmdLineFile", "-x 3\n");
  WriteFile("settings", "-x 4\n");
  EXPECT_TRUE(Parse({"-cmdLineFile", "settings", "-y", "a"}, Parser::MODE_STRICT));
  EXPECT_EQ(3, x);
  EXPECT_EQ("a", y);
}

TEST_F(OptionFileTest, WordAfterTheLoadFileWordIsNotEvenAnOption) {
  WriteFile("-cmdLineFile", "");
  EXPECT_TRUE(Parse({"-cmdLineFile", "-x", "-y", "a"}, Parser::MODE_STRICT));
  EXPECT_EQ(0, x);
  EXPECT_EQ("a", y);
}

TEST_F(OptionFileTest, LoadFileWordMayStandLast) {
  WriteFile("-cmdLineFile", "-x 3\n");
  EXPECT_TRUE(Parse({"-y", "a", "-cmdLineFile"}, Parser::MODE_STRICT));
  EXPECT_EQ(3, x);
}

TEST_F(OptionFileTest, LoadFileWordInThePlaceOfAValueIsAValue) {
  EXPECT_TRUE(Parse({"-y", "-cmdLineFile"}, Parser::MODE_STRICT));
  EXPECT_EQ("-cmdLineFile", y);
}

TEST_F(OptionFileTest, LoadFileWordCanBeReplaced) {
  parser.loadFileOption = "settings";
  WriteFile("settings", "-x 4\n");
  EXPECT_TRUE(Parse({"settings", "anything"}, Parser::MODE_STRICT));
  EXPECT_EQ(4, x);
}

TEST_F(OptionFileTest, LaterWordsWinOverTheFileAndTheFileOverEarlierOnes) {
  WriteFile("-cmdLineFile", "-x 3\n-y file\n");
  EXPECT_TRUE(Parse({"-x", "1", "-cmdLineFile", "", "-y", "line"}, Parser::MODE_STRICT));
  EXPECT_EQ(3, x);
  EXPECT_EQ("line", y);
}

TEST_F(OptionFileTest, MissingFileOfTheLoadFileWordEndsTheProgramNamingTheWord) {
  WriteFile("settings", "-x 4\n");
  EXPECT_EXIT(Parse({"-cmdLineFile", "settings"}, Parser::MODE_NOT_STRICT), KilledBySignal(SIGABRT),
              CannotOpen("-cmdLineFile"));
}

TEST_F(OptionFileTest, UnmatchedLineMakesTheLoadFileWordIllegalWhereStrict) {
  WriteFile("-cmdLineFile", "-zz 3\n");
  EXPECT_FALSE(Parse({"-cmdLineFile", "", "-x", "1"}, Parser::MODE_STRICT));
  EXPECT_EQ("Illegal option: -cmdLineFile near <begining of line or so>\n", reported);
  EXPECT_EQ(1, x);
  EXPECT_FALSE(Parse({"-x", "2", "-cmdLineFile", ""}, Parser::MODE_STRICT));
  EXPECT_EQ("Illegal option: -cmdLineFile near -x\n", reported);
}

TEST_F(OptionFileTest, UnmatchedLineIsIgnoredWhereNotStrict) {
  WriteFile("-cmdLineFile", "-zz 3\n-x 4\n");
  EXPECT_TRUE(Parse({"-cmdLineFile", ""}, Parser::MODE_NOT_STRICT));
  EXPECT_EQ("", reported);
  EXPECT_EQ(4, x);
}

}  // namespace
}  // namespace marrowfin::testing
