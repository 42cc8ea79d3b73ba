#include "Util/CommandLineParser.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <regex.h>

#include <csignal>
#include <cstdlib>
#include <new>
#include <type_traits>

#include "tests/Util/Fixtures.h"
#include "tests/Util/SystemCalls.h"
#include "tests/Util/VirtualSlots.h"
#include "tests/support/Reports.h"

namespace marrowfin::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::KilledBySignal;

typedef CommandLineParser Parser;
typedef CommandLineParser::Option Option;

CommandLine Words(const std::vector<std::string>& words) {
  CommandLine line(0, nullptr);
  line.executableName = "prog";
  for (const std::string& word : words) {
    line.args.push_back(CommandLine::Arg(word.c_str()));
  }
  return line;
}

std::vector<std::string> NamesOf(const std::vector<Option>& options) {
  std::vector<std::string> names;
  for (const Option& option : options) {
    names.push_back(option.GetName());
  }
  return names;
}

// ---- Data

TEST(ParserDataTest, ModesAreStrictNotStrictAndInvalid) {
  EXPECT_EQ(0, Parser::MODE_STRICT);
  EXPECT_EQ(1, Parser::MODE_NOT_STRICT);
  EXPECT_EQ(2, Parser::MODE_INVALID);
}

TEST(ParserDataTest, FieldsHaveTheirTypesAndOrder) {
  const Parser parser;
  static_assert(std::is_same_v<decltype(parser.options), std::vector<Option>>);
  static_assert(std::is_same_v<decltype(parser.subParsers), std::vector<Parser*>>);
  EXPECT_EQ(8u, OffsetOf(&parser, &parser.options));
  EXPECT_EQ(32u, OffsetOf(&parser, &parser.subParsers));
  EXPECT_EQ(56u, OffsetOf(&parser, &parser.stopOption));
  EXPECT_EQ(56u + sizeof(std::string), OffsetOf(&parser, &parser.loadFileOption));
  EXPECT_EQ(56u + 2 * sizeof(std::string), sizeof(Parser));
}

TEST(ParserDataTest, NewParserIsEmptyAndHasTheTwoSpecialWords) {
  const Parser parser;
  EXPECT_THAT(parser.options, IsEmpty());
  EXPECT_THAT(parser.subParsers, IsEmpty());
  EXPECT_EQ("--", parser.stopOption);
  EXPECT_EQ("-cmdLineFile", parser.loadFileOption);
}

class SlotParser : public Parser {
 public:
  explicit SlotParser(std::string& called) : called(called) {}
  ~SlotParser() override { called += "destructor "; }
  const char* GetUsageString(std::string& buf) override {
    called += "GetUsageString ";
    return buf.c_str();
  }

 private:
  std::string& called;
};

TEST(ParserDataTest, VirtualOperationsKeepTheirSlots) {
  std::string called;
  std::string text = "text";
  alignas(SlotParser) unsigned char memory[sizeof(SlotParser)];
  Parser* parser = new (memory) SlotParser(called);
  EXPECT_STREQ("text", (CallSlot<const char*, std::string*>(parser, 0, &text)));
  CallSlot<void>(parser, 1);
  EXPECT_EQ("GetUsageString destructor ", called);
}

TEST(ParserDataTest, SubParsersAreNotOwned) {
  Parser child;
  {
    Parser parent;
    parent.AddParser(&child);
  }
  EXPECT_EQ("--", child.stopOption);
}

// ---- Registration

// Registers a variable without a default and with one.
template <class T>
void ExpectRegistered(Parser::OptionType type, T before, T defaultValue) {
  Parser parser;
  T kept = before;
  T given = before;
  parser.AddOption(&kept, "-kept", "keeps its value");
  parser.AddOption(&given, "given", "gets a value", defaultValue);
  EXPECT_EQ(before, kept);
  EXPECT_EQ(defaultValue, given);
  ASSERT_EQ(2u, parser.options.size());
  EXPECT_EQ(type, parser.options[0].type);
  EXPECT_EQ("-kept", parser.options[0].name);
  EXPECT_EQ("-kept", parser.options[0].fullName);
  EXPECT_EQ("keeps its value", parser.options[0].description);
  EXPECT_EQ(&kept, parser.options[0].storage);
  EXPECT_EQ(type, parser.options[1].type);
  EXPECT_EQ("given", parser.options[1].name);
  EXPECT_EQ("given", parser.options[1].fullName);
  EXPECT_EQ("gets a value", parser.options[1].description);
  EXPECT_EQ(&given, parser.options[1].storage);
}

TEST(ParserRegistrationTest, EveryTypeOfVariableHasItsOptionType) {
  char a[] = "a";
  char b[] = "b";
  ExpectRegistered<signed char>(Parser::INT8, 1, 2);
  ExpectRegistered<unsigned char>(Parser::UINT8, 1, 2);
  ExpectRegistered<unsigned int>(Parser::UINT32, 1, 2);
  ExpectRegistered<int>(Parser::INT32, 1, 2);
  ExpectRegistered<unsigned long long>(Parser::UINT64, 1, 2);
  ExpectRegistered<long long>(Parser::INT64, 1, 2);
  ExpectRegistered<double>(Parser::DOUBLE, 1, 2);
  ExpectRegistered<float>(Parser::FLOAT, 1, 2);
  ExpectRegistered<std::string>(Parser::STRING, "1", "2");
  ExpectRegistered<char*>(Parser::CSTRING, a, b);
  ExpectRegistered<bool>(Parser::BOOL, false, true);
}

TEST(ParserRegistrationTest, EveryTypeOfListHasItsOptionType) {
  char a[] = "a";
  char b[] = "b";
  ExpectRegistered<std::vector<signed char>>(Parser::VECTOR_OF_INT8, {1}, {2, 3});
  ExpectRegistered<std::vector<unsigned char>>(Parser::VECTOR_OF_UINT8, {1}, {2, 3});
  ExpectRegistered<std::vector<unsigned int>>(Parser::VECTOR_OF_UINT32, {1}, {2, 3});
  ExpectRegistered<std::vector<int>>(Parser::VECTOR_OF_INT32, {1}, {2, 3});
  ExpectRegistered<std::vector<unsigned long long>>(Parser::VECTOR_OF_UINT64, {1}, {2, 3});
  ExpectRegistered<std::vector<long long>>(Parser::VECTOR_OF_INT64, {1}, {2, 3});
  ExpectRegistered<std::vector<double>>(Parser::VECTOR_OF_DOUBLE, {1}, {2, 3});
  ExpectRegistered<std::vector<float>>(Parser::VECTOR_OF_FLOAT, {1}, {2, 3});
  ExpectRegistered<std::vector<std::string>>(Parser::VECTOR_OF_STRING, {"1"}, {"2", "3"});
  ExpectRegistered<std::vector<char*>>(Parser::VECTOR_OF_CSTRING, {a}, {a, b});
  ExpectRegistered<std::vector<bool>>(Parser::VECTOR_OF_BOOL, {false}, {true, false});
}

// Whether a variable can be registered, without a default or with one.
template <class T>
concept CanBeRegistered = requires(Parser parser, T* variable) {
  parser.AddOption(variable, "-x", "");
};
template <class T, class Default = T>
concept CanBeRegisteredWithADefault = requires(Parser parser, T* variable, Default defaultValue) {
  parser.AddOption(variable, "-x", "", defaultValue);
};

template <class... Types>
constexpr bool AnyCanBeRegistered() {
  return ((CanBeRegistered<Types> || CanBeRegisteredWithADefault<Types>) || ...);
}

TEST(ParserRegistrationTest, NoOtherTypeOfVariableCompiles) {
  static_assert(CanBeRegistered<int> && CanBeRegisteredWithADefault<int>);
  static_assert(CanBeRegistered<std::vector<int>>);
  static_assert(CanBeRegisteredWithADefault<std::vector<int>>);
  static_assert(!CanBeRegisteredWithADefault<int, std::string>);
  static_assert(!CanBeRegisteredWithADefault<std::vector<int>, int>);
  enum Number : int { ZERO };
  static_assert(!AnyCanBeRegistered<std::vector<std::vector<int>>, std::vector<std::vector<bool>>,
                                    std::vector<std::vector<std::string>>>());
  static_assert(!AnyCanBeRegistered<char, short, unsigned short, long, unsigned long, long double,
                                    Number, void*, int*, const char*, std::string*>());
  static_assert(!AnyCanBeRegistered<const int, volatile int, const std::string,
                                    const std::vector<int>, std::vector<long>, std::vector<char>,
                                    std::vector<const char*>, std::vector<int*>, Option>());
}

TEST(ParserRegistrationTest, VariableOfADerivedTypeIsTakenForWhatItIs) {
  struct Text : std::string {};
  struct Numbers : std::vector<int> {};
  Text text;
  Numbers numbers;
  Parser parser;
  parser.AddOption(&text, "-t", "", "abc");
  parser.AddOption(&numbers, "-n", "", {4, 5});
  EXPECT_EQ(Parser::STRING, parser.options[0].type);
  EXPECT_EQ(Parser::VECTOR_OF_INT32, parser.options[1].type);
  EXPECT_EQ("abc", text);
  EXPECT_THAT(numbers, ElementsAre(4, 5));
}

TEST(ParserRegistrationTest, DefaultMayBeOfAnyTypeThatConverts) {
  Parser parser;
  unsigned long long number = 1;
  std::string text;
  std::vector<int> list;
  parser.AddOption(&number, "-n", "", 0);
  parser.AddOption(&text, "-t", "", "abc");
  parser.AddOption(&list, "-l", "", {4, 5});
  EXPECT_EQ(0u, number);
  EXPECT_EQ("abc", text);
  EXPECT_THAT(list, ElementsAre(4, 5));
}

TEST(ParserRegistrationTest, OptionsStandInOrderOfRegistration) {
  Parser parser;
  int n = 0;
  parser.AddOption(&n, "-b", "");
  parser.AddOption(&n, "-a", "");
  parser.AddOption(&n, "-b", "");
  EXPECT_THAT(NamesOf(parser.options), ElementsAre("-b", "-a", "-b"));
}

TEST(ParserRegistrationTest, SubParsersStandInOrderOfAdding) {
  Parser parser;
  Parser first;
  Parser second;
  parser.AddParser(&second);
  parser.AddParser(&first);
  EXPECT_THAT(parser.subParsers, ElementsAre(&second, &first));
}

TEST(ParserRegistrationTest, ListGivenOnTheCommandLineGrowsBehindItsDefault) {
  Parser parser;
  std::vector<int> list;
  parser.AddOption(&list, "-l", "", {5});
  CommandLine line = Words({"-l", "1,2", "-l", "3"});
  EXPECT_TRUE(parser.ParseCommandLine(&line, Parser::MODE_STRICT));
  EXPECT_THAT(list, ElementsAre(5, 1, 2, 3));
}

// ---- Names

TEST(ParserNameTest, PrefixStandsBetweenADashAndTheBareName) {
  Parser parser;
  int n = 0;
  parser.AddOption(&n, "-verbose", "");
  parser.AddOption(&n, "quiet", "");
  parser.AddOption(&n, "--twice", "");
  parser.AddOption(&n, "-", "");
  parser.AddOption(&n, "", "");
  parser.AddPrefix("top/cpu0/");
  EXPECT_THAT(NamesOf(parser.options), ElementsAre("-top/cpu0/verbose", "-top/cpu0/quiet",
                                                   "-top/cpu0/-twice", "-top/cpu0/", "-top/cpu0/"));
  EXPECT_EQ("-verbose", parser.options[0].name);
  EXPECT_EQ("quiet", parser.options[1].name);
}

TEST(ParserNameTest, PrefixesDoNotPileUp) {
  Parser parser;
  int n = 0;
  parser.AddOption(&n, "-verbose", "");
  parser.AddPrefix("a/");
  parser.AddPrefix("b/");
  EXPECT_THAT(NamesOf(parser.options), ElementsAre("-b/verbose"));
}

TEST(ParserNameTest, EmptyPrefixStillGivesADash) {
  Parser parser;
  int n = 0;
  parser.AddOption(&n, "quiet", "");
  parser.AddPrefix("");
  EXPECT_THAT(NamesOf(parser.options), ElementsAre("-quiet"));
}

TEST(ParserNameTest, OptionsOfSubParsersKeepTheirNames) {
  Parser parent;
  Parser child;
  int n = 0;
  parent.AddParser(&child);
  child.AddOption(&n, "-c", "");
  parent.AddPrefix("top/");
  EXPECT_THAT(NamesOf(child.options), ElementsAre("-c"));
}

TEST(ParserNameTest, NameWithoutADashGetsNoneWhereThereIsNoPrefix) {
  Parser parser;
  int n = 0;
  parser.AddOption(&n, "quiet", "");
  CommandLine dashed = Words({"-quiet", "5"});
  EXPECT_FALSE(parser.CheckCommandLine(&dashed));
  CommandLine bare = Words({"quiet", "5"});
  EXPECT_TRUE(parser.ParseCommandLine(&bare, Parser::MODE_NOT_STRICT));
  EXPECT_EQ(5, n);
}

// ---- A tree of parsers

// top with the options -a and -b; below it cpu0 and cpu1, each with -verbose; below cpu0 cache with
// -size.
class ParserTreeTest : public ::testing::Test {
 protected:
  ParserTreeTest() {
    top.AddOption(&a, "-a", "the a", 0);
    top.AddOption(&b, "-b", "the b", "");
    cpu0.AddOption(&verbose0, "-verbose", "says more", false);
    cache.AddOption(&size, "size", "in bytes", {});
    cpu1.AddOption(&verbose1, "-verbose", "says more", false);
    top.AddParser(&cpu0);
    top.AddParser(&cpu1);
    cpu0.AddParser(&cache);
    cpu0.AddPrefix("top/cpu0/");
    cache.AddPrefix("top/cpu0/cache/");
    cpu1.AddPrefix("top/cpu1/");
  }

  bool Parse(const std::vector<std::string>& words, Parser::CmdLineParseMode mode) {
    CommandLine line = Words(words);
    const Redirected standardError(File::Stderr);
    const bool result = top.ParseCommandLine(&line, mode);
    reported = standardError.Text();
    return result;
  }

  bool ParseStrict(const std::vector<std::string>& words) {
    return Parse(words, Parser::MODE_STRICT);
  }

  std::vector<Option> AllOptions() {
    std::vector<Option> all;
    top.CollectAllOptions(all);
    return all;
  }

  int a = 0;
  std::string b;
  bool verbose0 = false;
  bool verbose1 = false;
  std::vector<unsigned int> size;
  Parser top;
  Parser cpu0;
  Parser cpu1;
  Parser cache;
  std::string reported;  // on standard error, by the last Parse
};

TEST_F(ParserTreeTest, AllOptionsAreCollectedDepthFirstBehindWhatTheListHolds) {
  std::vector<Option> all = {Option(Parser::INT32, "-before", "", nullptr)};
  top.CollectAllOptions(all);
  EXPECT_THAT(NamesOf(all), ElementsAre("-before", "-a", "-b", "-top/cpu0/verbose",
                                        "-top/cpu0/cache/size", "-top/cpu1/verbose"));
  top.AddParser(&cache);
  all.clear();
  top.CollectAllOptions(all);
  EXPECT_THAT(NamesOf(all), ElementsAre("-a", "-b", "-top/cpu0/verbose", "-top/cpu0/cache/size",
                                        "-top/cpu1/verbose", "-top/cpu0/cache/size"));
}

TEST_F(ParserTreeTest, CollectedCopiesSetTheRealVariables) {
  std::vector<Option> all = AllOptions();
  EXPECT_TRUE(all[0].Parse(std::string("7")));
  EXPECT_EQ(7, a);
}

TEST_F(ParserTreeTest, FullNameMatchesItsOption) {
  EXPECT_TRUE(ParseStrict({"-a", "3", "-top/cpu1/verbose", "true", "-top/cpu0/cache/size", "4,5"}));
  EXPECT_EQ(3, a);
  EXPECT_FALSE(verbose0);
  EXPECT_TRUE(verbose1);
  EXPECT_THAT(size, ElementsAre(4, 5));
  EXPECT_EQ("", reported);
}

TEST_F(ParserTreeTest, OneWordSetsAllOptionsThatItMatches) {
  EXPECT_TRUE(ParseStrict({"-.*/verbose", "true"}));
  EXPECT_TRUE(verbose0);
  EXPECT_TRUE(verbose1);
  EXPECT_EQ(0, a);
}

TEST_F(ParserTreeTest, PatternForEverythingSetsEveryOptionFromOneWord) {
  verbose0 = true;
  EXPECT_TRUE(ParseStrict({"-.*", "1"}));
  EXPECT_EQ(1, a);
  EXPECT_EQ("1", b);
  EXPECT_FALSE(verbose0);
  EXPECT_FALSE(verbose1);
  EXPECT_THAT(size, ElementsAre(1));
}

TEST_F(ParserTreeTest, LaterWordsWinAndListsGrow) {
  EXPECT_TRUE(ParseStrict({"-a", "1", "-.*size", "1", "-a", "2", "-.*size", "2"}));
  EXPECT_EQ(2, a);
  EXPECT_THAT(size, ElementsAre(1, 2));
}

TEST_F(ParserTreeTest, OptionsOfOneVariableAreSetInOrderOfCollecting) {
  cpu1.AddOption(&size, "-sizes", "");
  cpu1.AddPrefix("top/cpu1/");
  std::vector<int> numbers;
  Parser sub;
  sub.AddOption(&numbers, "-x", "");
  top.AddOption(&numbers, "-x", "");
  top.AddParser(&sub);
  EXPECT_TRUE(ParseStrict({"-x", "1,2"}));
  EXPECT_THAT(numbers, ElementsAre(1, 2, 1, 2));
}

TEST_F(ParserTreeTest, ParsingOnASubParserKnowsOnlyItsOwnTree) {
  CommandLine line = Words({"-a", "3", "-.*verbose", "true", "-.*size", "4"});
  EXPECT_TRUE(cpu0.ParseCommandLine(&line, Parser::MODE_NOT_STRICT));
  EXPECT_EQ(0, a);
  EXPECT_TRUE(verbose0);
  EXPECT_FALSE(verbose1);
  EXPECT_THAT(size, ElementsAre(4));
}

// ---- An option file for a tree

TEST_F(ParserTreeTest, LoadFileWordSetsOptionsOfTheWholeTree) {
  const ScratchDirectory directory;
  WriteFile("-cmdLineFile", "-a 3\n-.*/verbose true\n-top/cpu0/cache/size 4,5\n");
  EXPECT_TRUE(ParseStrict({"-top/cpu0/cache/size", "1", "-cmdLineFile", "-b", "-b", "after"}));
  EXPECT_EQ(3, a);
  EXPECT_EQ("after", b);
  EXPECT_TRUE(verbose0);
  EXPECT_TRUE(verbose1);
  EXPECT_THAT(size, ElementsAre(1, 4, 5));
  EXPECT_EQ("", reported);
}

TEST_F(ParserTreeTest, OptionFileOfASubParserKnowsOnlyItsOwnTree) {
  const ScratchDirectory directory;
  WriteFile("-cmdLineFile", "-.*/verbose true\n-a 3\n");
  CommandLine line = Words({"-cmdLineFile", ""});
  EXPECT_TRUE(cpu0.ParseCommandLine(&line, Parser::MODE_NOT_STRICT));
  EXPECT_TRUE(verbose0);
  EXPECT_FALSE(verbose1);
  EXPECT_EQ(0, a);
}

// ---- Strictness

TEST_F(ParserTreeTest, UnknownFirstWordIsReportedNearTheBeginning) {
  EXPECT_FALSE(ParseStrict({"-zz", "1"}));
  EXPECT_EQ("Illegal option: -zz near <begining of line or so>\n", reported);
}

TEST_F(ParserTreeTest, UnknownThirdWordIsReportedNearTheFirst) {
  EXPECT_FALSE(ParseStrict({"-a", "1", "-zz", "2"}));
  EXPECT_EQ("Illegal option: -zz near -a\n", reported);
  EXPECT_EQ(1, a);
}

TEST_F(ParserTreeTest, UnknownFifthWordIsReportedNearTheThird) {
  EXPECT_FALSE(ParseStrict({"-a", "1", "-b", "2", "-zz", "3"}));
  EXPECT_EQ("Illegal option: -zz near -b\n", reported);
}

TEST_F(ParserTreeTest, AllUnknownWordsAreReportedAndTheRestIsParsed) {
  EXPECT_FALSE(ParseStrict({"-zz", "1", "-yy", "2", "-a", "3"}));
  EXPECT_EQ(
      "Illegal option: -zz near <begining of line or so>\n"
      "Illegal option: -yy near -zz\n",
      reported);
  EXPECT_EQ(3, a);
}

TEST_F(ParserTreeTest, UnknownWordsAreSkippedWithTheirValuesWhereNotStrict) {
  for (const Parser::CmdLineParseMode mode : {Parser::MODE_NOT_STRICT, Parser::MODE_INVALID}) {
    a = 0;
    EXPECT_TRUE(Parse({"-zz", "-a", "-yy", "-b", "-a", "3"}, mode));
    EXPECT_EQ("", reported);
    EXPECT_EQ(3, a);
    EXPECT_EQ("", b);
  }
}

TEST_F(ParserTreeTest, EmptyCommandLineIsFine) {
  EXPECT_TRUE(ParseStrict({}));
  EXPECT_TRUE(Parse({}, Parser::MODE_NOT_STRICT));
}

TEST_F(ParserTreeTest, OptionInTheLastPlaceReadsAnEmptyValue) {
  a = 5;
  b = "old";
  EXPECT_TRUE(ParseStrict({"-a"}));
  EXPECT_EQ(0, a);
  EXPECT_TRUE(ParseStrict({"-a", "1", "-b"}));
  EXPECT_EQ("", b);
  EXPECT_TRUE(ParseStrict({"-.*size"}));
  EXPECT_THAT(size, ElementsAre(0));
}

// ---- Stop word

TEST_F(ParserTreeTest, ParsingStopsAtTheStopWord) {
  EXPECT_TRUE(ParseStrict({"-a", "1", "--", "-a", "2", "-zz"}));
  EXPECT_EQ(1, a);
  EXPECT_EQ("", reported);
}

TEST_F(ParserTreeTest, StopWordInThePlaceOfAValueDoesNotStop) {
  EXPECT_TRUE(ParseStrict({"-b", "--", "-a", "2"}));
  EXPECT_EQ("--", b);
  EXPECT_EQ(2, a);
}

TEST_F(ParserTreeTest, StopWordCanBeReplaced) {
  top.SetStopOption("stop");
  EXPECT_EQ("stop", top.stopOption);
  EXPECT_TRUE(ParseStrict({"-a", "1", "stop", "-a", "2"}));
  EXPECT_EQ(1, a);
  EXPECT_FALSE(ParseStrict({"--", "3"}));
  EXPECT_EQ("Illegal option: -- near <begining of line or so>\n", reported);
}

// Takes the words of an argument vector and releases it.
std::vector<std::string> Taken(char** argv) {
  std::vector<std::string> words;
  for (size_t i = 0; argv[i] != nullptr; ++i) {
    words.push_back(argv[i]);
    free(argv[i]);
  }
  delete[] argv;
  return words;
}

std::vector<std::string> Unparsed(Parser& parser, const std::vector<std::string>& words) {
  CommandLine line = Words(words);
  return Taken(parser.GetUnparsedArgv(&line));
}

TEST_F(ParserTreeTest, WordsAfterTheStopWordAreLeftForOthers) {
  const std::vector<std::string> words = {"-a", "1", "--", "-a", "2", "-b", "taken"};
  for (const Parser::CmdLineParseMode mode : {Parser::MODE_STRICT, Parser::MODE_NOT_STRICT}) {
    a = 0;
    EXPECT_TRUE(Parse(words, mode));
    EXPECT_EQ(1, a);
    EXPECT_EQ("", b);
  }
  EXPECT_THAT(Unparsed(top, words), ElementsAre("-a", "2", "-b", "taken"));
}

TEST_F(ParserTreeTest, PairThatIsTriedInFrontOfTheStopWordIsNotLeft) {
  EXPECT_TRUE(Parse({"a", "b", "--", "c", "d"}, Parser::MODE_NOT_STRICT));
  EXPECT_THAT(Unparsed(top, {"a", "b", "--", "c", "d"}), ElementsAre("c", "d"));
}

TEST_F(ParserTreeTest, StopWordInThePlaceOfAValueCountsForTheWordsLeft) {
  EXPECT_THAT(Unparsed(top, {"-b", "--", "-a", "2"}), ElementsAre("-a", "2"));
}

TEST_F(ParserTreeTest, SecondStopWordIsOneOfTheWordsLeft) {
  EXPECT_THAT(Unparsed(top, {"--", "x", "--", "y"}), ElementsAre("x", "--", "y"));
}

TEST_F(ParserTreeTest, NothingIsLeftWithoutAStopWord) {
  EXPECT_THAT(Unparsed(top, {"-a", "1"}), IsEmpty());
  EXPECT_THAT(Unparsed(top, {"-a", "--"}), IsEmpty());
  EXPECT_THAT(Unparsed(top, {}), IsEmpty());
}

TEST_F(ParserTreeTest, WordsLeftAreCountedFromAStopWordOfOnesOwn) {
  top.SetStopOption("stop");
  EXPECT_THAT(Unparsed(top, {"--", "x", "stop", "y"}), ElementsAre("y"));
}

TEST_F(ParserTreeTest, WordsLeftAreCopies) {
  CommandLine line = Words({"--", "x"});
  char** argv = top.GetUnparsedArgv(&line);
  EXPECT_NE(line[1].c_str(), argv[0]);
  line[1] = "changed";
  EXPECT_THAT(Taken(argv), ElementsAre("x"));
}

TEST_F(ParserTreeTest, WordsLeftHaveRoomForAllWordsAndTheNullPointer) {
  CommandLine line = Words({"--", "x", "y"});
  SystemCalls calls;
  char** argv = top.GetUnparsedArgv(&line);
  EXPECT_THAT(calls.Made(),
              ElementsAre(SystemCalls::Call("new[]", 4 * sizeof(char*)),
                          SystemCalls::Call("strdup", "x"), SystemCalls::Call("strdup", "y")));
  Taken(argv);
}

// ---- Patterns

bool MatchesName(const std::string& pattern, const std::string& fullName) {
  Option option(Parser::INT32, "-registered", "", nullptr);
  option.fullName = fullName;
  return Parser().Matches(pattern, option);
}

TEST(ParserPatternTest, PatternMustCoverTheWholeFullName) {
  EXPECT_TRUE(MatchesName("-top/cpu0/verbose", "-top/cpu0/verbose"));
  EXPECT_FALSE(MatchesName("-top/cpu0/verbose", "-top/cpu0/verbose2"));
  EXPECT_FALSE(MatchesName("-top/cpu0/verbose", "x-top/cpu0/verbose"));
  EXPECT_FALSE(MatchesName("b", "abc"));
  EXPECT_FALSE(MatchesName("-registered", "-top/registered"));
}

TEST(ParserPatternTest, PatternsAreBasicRegularExpressions) {
  EXPECT_TRUE(MatchesName("-a.c", "-abc"));
  EXPECT_TRUE(MatchesName("-.*/verbose", "-top/cpu0/verbose"));
  EXPECT_TRUE(MatchesName("-[ab]*", "-abba"));
  EXPECT_TRUE(MatchesName("-\\(ab\\)*", "-abab"));
  EXPECT_TRUE(MatchesName("-\\(ab\\)\\1", "-abab"));
  EXPECT_TRUE(MatchesName("^-a$", "-a"));
  EXPECT_TRUE(MatchesName("-a+", "-a+"));
  EXPECT_FALSE(MatchesName("-a+", "-aa"));
  EXPECT_FALSE(MatchesName("-(a|b)", "-a"));
  EXPECT_TRUE(MatchesName("-\\.", "-."));
  EXPECT_FALSE(MatchesName("-\\.", "-x"));
}

TEST(ParserPatternTest, PatternsAreCaseSensitive) {
  EXPECT_FALSE(MatchesName("-Verbose", "-verbose"));
}

TEST(ParserPatternTest, FirstMatchCounts) {
  // The leftmost match stops in the middle of the name although a later one ends with it.
  EXPECT_FALSE(MatchesName("ab*", "abcab"));
  EXPECT_TRUE(MatchesName("", ""));
  EXPECT_FALSE(MatchesName("", "-a"));
}

TEST(ParserPatternTest, EveryComparisonReleasesItsCompiledPattern) {
  SystemCalls calls;
  MatchesName("-a", "-a");
  MatchesName("-a", "-b");
  EXPECT_THAT(calls.Made(),
              ElementsAre(SystemCalls::Call("regfree"), SystemCalls::Call("regfree")));
}

TEST(ParserPatternTest, PatternIsTheWordItself) {
  const std::string word = "-a.*[b]\\";
  EXPECT_EQ(word, Parser().MunchPattern(word));
  EXPECT_EQ("", Parser().MunchPattern(""));
}

// The report of a word that is no pattern.
auto FaultyPattern(const char* pattern) {
  regex_t compiled;
  const int error = regcomp(&compiled, pattern, 0);
  char text[128];
  regerror(error, &compiled, text, sizeof(text));
  return CrashReport("Util/CommandLineParser.cpp",
                     "Faulty pattern: " + std::to_string(error) + " " + text + "\n");
}

TEST(ParserPatternTest, FaultyPatternEndsTheProgram) {
  for (const char* pattern : {"-a[", "\\(", "a\\"}) {
    EXPECT_EXIT(MatchesName(pattern, "-a"), KilledBySignal(SIGABRT), FaultyPattern(pattern));
  }
}

void PrintFirstCallAndLeave(int) {
  fprintf(stderr, "%s", SystemCalls::Current()->Made().front().c_str());
  exit(7);
}

TEST(ParserPatternTest, TextOfAFaultHasRoomFor128Characters) {
  EXPECT_EXIT(
      {
        signal(SIGABRT, PrintFirstCallAndLeave);
        SystemCalls calls;
        MatchesName("-a[", "-a");
      },
      ::testing::ExitedWithCode(7), ::testing::EndsWith(SystemCalls::Call("regerror", 128)));
}

TEST_F(ParserTreeTest, FaultyWordOnTheCommandLineEndsTheProgram) {
  CommandLine line = Words({"-a[", "1"});
  EXPECT_EXIT(top.ParseCommandLine(&line, Parser::MODE_NOT_STRICT), KilledBySignal(SIGABRT),
              FaultyPattern("-a["));
}

// ---- Applying

TEST_F(ParserTreeTest, ApplyingAWordSetsAllMatchesFromTheNextWord) {
  std::vector<Option> all = AllOptions();
  CommandLine line = Words({"-a", "-.*verbose", "true", "x"});
  EXPECT_TRUE(top.DoMatches(&line, 1, all));
  EXPECT_TRUE(verbose0);
  EXPECT_TRUE(verbose1);
  EXPECT_EQ(0, a);
  EXPECT_FALSE(top.DoMatches(&line, 3, all));
}

TEST_F(ParserTreeTest, ApplyingAKeySetsAllMatchesFromTheValue) {
  std::vector<Option> all = AllOptions();
  EXPECT_TRUE(top.DoMatches("-.*verbose", "true", all));
  EXPECT_TRUE(verbose0);
  EXPECT_TRUE(verbose1);
  EXPECT_FALSE(top.DoMatches("-zz", "true", all));
}

TEST_F(ParserTreeTest, MatchOfTheFirstOptionIsNotForgottenAtTheLast) {
  std::vector<Option> all = AllOptions();
  CommandLine line = Words({"-a", "4"});
  EXPECT_TRUE(top.DoMatches(&line, 0, all));
  EXPECT_TRUE(top.DoMatches("-a", "5", all));
  EXPECT_EQ(5, a);
}

// ---- Checking

bool Checks(Parser& parser, const std::vector<std::string>& words) {
  CommandLine line = Words(words);
  return parser.CheckCommandLine(&line);
}

TEST_F(ParserTreeTest, CheckFindsEveryWordKnownAndSetsNothing) {
  EXPECT_TRUE(Checks(top, {}));
  EXPECT_TRUE(Checks(top, {"-a", "1", "-.*verbose", "true"}));
  EXPECT_EQ(0, a);
  EXPECT_FALSE(verbose0);
}

TEST_F(ParserTreeTest, CheckFailsAtAnUnknownWord) {
  EXPECT_FALSE(Checks(top, {"-zz", "1"}));
  EXPECT_FALSE(Checks(top, {"-a", "1", "-zz", "1"}));
  EXPECT_FALSE(Checks(top, {"-zz", "1", "-a", "1"}));
}

TEST_F(ParserTreeTest, CheckFailsAtAMissingValue) {
  EXPECT_FALSE(Checks(top, {"-a"}));
  EXPECT_FALSE(Checks(top, {"-a", "1", "-b"}));
}

TEST_F(ParserTreeTest, CheckEndsAtTheStopWord) {
  EXPECT_TRUE(Checks(top, {"-a", "1", "--", "-zz"}));
  EXPECT_TRUE(Checks(top, {"--"}));
  EXPECT_FALSE(Checks(top, {"-b", "--", "-zz", "1"}));
}

TEST_F(ParserTreeTest, CheckKnowsTheLoadFileWordAndReadsNoFile) {
  EXPECT_TRUE(Checks(top, {"-cmdLineFile", "x", "-a", "1"}));
  EXPECT_FALSE(Checks(top, {"-cmdLineFile"}));
}

// ---- Usage and settings

const char* const usage =
    "-a:  the a\n"
    "-b:  the b\n"
    "-top/cpu0/verbose:  says more\n"
    "-top/cpu0/cache/size:  in bytes\n"
    "-top/cpu1/verbose:  says more\n";

TEST_F(ParserTreeTest, UsageHasALineForEveryOptionOfTheTree) {
  std::string text = "old";
  const char* characters = top.GetUsageString(text);
  EXPECT_EQ(text.c_str(), characters);
  EXPECT_EQ(usage, text);
}

TEST_F(ParserTreeTest, UsageIsPrintedUnderItsHeading) {
  const ScratchStream stream;
  File file(stream.Get(), false);
  top.PrintUsage(file);
  EXPECT_EQ("Usage:  \n" + std::string(usage) + "\n", stream.Text());
}

TEST(ParserUsageTest, UsageOfNoOptionsIsTheHeading) {
  const ScratchStream stream;
  File file(stream.Get(), false);
  Parser().PrintUsage(file);
  EXPECT_EQ("Usage:  \n\n", stream.Text());
}

class OwnUsage : public Parser {
 public:
  const char* GetUsageString(std::string& buf) override {
    buf += "own usage %d\n";
    return buf.c_str();
  }
};

TEST_F(ParserTreeTest, SubclassMayReplaceItsPartOfTheUsage) {
  OwnUsage own;
  cpu0.AddParser(&own);
  const ScratchStream stream;
  File file(stream.Get(), false);
  top.PrintUsage(file);
  EXPECT_EQ(
      "Usage:  \n"
      "-a:  the a\n"
      "-b:  the b\n"
      "-top/cpu0/verbose:  says more\n"
      "-top/cpu0/cache/size:  in bytes\n"
      "own usage %d\n"
      "-top/cpu1/verbose:  says more\n"
      "\n",
      stream.Text());
}

TEST(ParserUsageTest, SubclassMayReplaceTheWholeUsage) {
  const ScratchStream stream;
  File file(stream.Get(), false);
  OwnUsage().PrintUsage(file);
  EXPECT_EQ("Usage:  \nown usage %d\n\n", stream.Text());
}

TEST_F(ParserTreeTest, SettingsHaveALineForEveryOptionOfTheTree) {
  EXPECT_TRUE(ParseStrict({"-a", "3", "-b", "100%d", "-.*cpu1.*", "true"}));
  const ScratchStream stream;
  File file(stream.Get(), false);
  top.PrintOptionsAndValues(file);
  EXPECT_EQ(
      "-a 3\n"
      "-b \"100%d\"\n"
      "-top/cpu0/verbose false\n"
      "-top/cpu0/cache/size <empty>\n"
      "-top/cpu1/verbose true\n",
      stream.Text());
}

}  // namespace
}  // namespace marrowfin::testing
