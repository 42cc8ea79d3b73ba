#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cfloat>
#include <climits>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <new>
#include <type_traits>

#include "Util/CommandLineParser.h"
#include "tests/Util/Fixtures.h"
#include "tests/Util/VirtualSlots.h"

namespace marrowfin::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::Eq;
using ::testing::KilledBySignal;

typedef CommandLineParser Parser;
typedef CommandLineParser::Option Option;
typedef CommandLineParser::OptionType OptionType;

// Pointers to characters that the library copied belong to the test.
void Release(char* characters) { free(characters); }
void Release(std::vector<char*>& list) {
  for (char* characters : list) {
    free(characters);
  }
}
template <class T>
void Release(const T&) {}

// The value after an option of the type has parsed the word over `before`.
template <class T>
T Parsed(OptionType type, const std::string& word, T before = T()) {
  T value = before;
  Option option(type, "-name", "a description", &value);
  EXPECT_TRUE(option.Parse(word)) << word;
  return value;
}

// The items that a word appends to an empty list.
template <class T>
std::vector<T> ParsedList(OptionType type, const std::string& word) {
  return Parsed<std::vector<T>>(type, word);
}

// What an option named "-name" prints.
template <class T>
std::string Printed(OptionType type, T value) {
  const Option option(type, "-name", "a description", &value);
  std::string text = "old";
  const char* characters = option.ToString(text);
  EXPECT_EQ(text.c_str(), characters);
  return text;
}

template <class T>
std::string PrintedList(OptionType type, std::initializer_list<T> list) {
  return Printed(type, std::vector<T>(list));
}

// ---- Data
// ----------------------------------------------------------------------------------------

TEST(OptionDataTest, TypeCodesAreFixed) {
  EXPECT_EQ(0, Parser::INVALID);
  EXPECT_EQ(1, Parser::INT8);
  EXPECT_EQ(2, Parser::VECTOR_OF_INT8);
  EXPECT_EQ(3, Parser::UINT8);
  EXPECT_EQ(4, Parser::VECTOR_OF_UINT8);
  EXPECT_EQ(5, Parser::UINT32);
  EXPECT_EQ(6, Parser::VECTOR_OF_UINT32);
  EXPECT_EQ(7, Parser::INT32);
  EXPECT_EQ(8, Parser::VECTOR_OF_INT32);
  EXPECT_EQ(9, Parser::UINT64);
  EXPECT_EQ(10, Parser::VECTOR_OF_UINT64);
  EXPECT_EQ(11, Parser::INT64);
  EXPECT_EQ(12, Parser::VECTOR_OF_INT64);
  EXPECT_EQ(13, Parser::DOUBLE);
  EXPECT_EQ(14, Parser::VECTOR_OF_DOUBLE);
  EXPECT_EQ(15, Parser::FLOAT);
  EXPECT_EQ(16, Parser::VECTOR_OF_FLOAT);
  EXPECT_EQ(17, Parser::STRING);
  EXPECT_EQ(18, Parser::VECTOR_OF_STRING);
  EXPECT_EQ(19, Parser::CSTRING);
  EXPECT_EQ(20, Parser::VECTOR_OF_CSTRING);
  EXPECT_EQ(21, Parser::BOOL);
  EXPECT_EQ(22, Parser::VECTOR_OF_BOOL);
}

TEST(OptionDataTest, FieldsHaveTheirTypesAndOrder) {
  const Option option;
  static_assert(std::is_base_of_v<Printable, Option>);
  static_assert(sizeof(option.type) == 4);
  static_assert(std::is_same_v<decltype(option.type), OptionType>);
  static_assert(std::is_same_v<decltype(option.storage), void*>);
  EXPECT_EQ(8u, OffsetOf(&option, &option.type));
  EXPECT_EQ(16u, OffsetOf(&option, &option.name));
  EXPECT_EQ(16u + sizeof(std::string), OffsetOf(&option, &option.fullName));
  EXPECT_EQ(16u + 2 * sizeof(std::string), OffsetOf(&option, &option.description));
  EXPECT_EQ(16u + 3 * sizeof(std::string), OffsetOf(&option, &option.storage));
  EXPECT_EQ(24u + 3 * sizeof(std::string), sizeof(Option));
}

TEST(OptionDataTest, EmptyOptionIsInvalidAndHasNoVariable) {
  const Option option;
  EXPECT_EQ(Parser::INVALID, option.type);
  EXPECT_EQ(nullptr, option.storage);
  EXPECT_EQ("", option.name);
  EXPECT_EQ("", option.fullName);
  EXPECT_EQ("", option.description);
}

TEST(OptionDataTest, NewOptionHasItsNameTwiceAndDoesNotTouchTheVariable) {
  int value = 77;
  const Option option(Parser::INT32, "-verbose", "how much to say", &value);
  EXPECT_EQ(Parser::INT32, option.type);
  EXPECT_EQ("-verbose", option.name);
  EXPECT_EQ("-verbose", option.fullName);
  EXPECT_EQ("how much to say", option.description);
  EXPECT_EQ(&value, option.storage);
  EXPECT_EQ(77, value);
}

TEST(OptionDataTest, NothingIsValidatedWhenAnOptionIsMade) {
  const Option option(static_cast<OptionType>(99), "", "", nullptr);
  EXPECT_EQ(99, option.type);
}

TEST(OptionDataTest, NameIsACopyOfTheFullName) {
  Option option(Parser::INT32, "-verbose", "", nullptr);
  option.fullName = "-top/verbose";
  static_assert(std::is_same_v<decltype(option.GetName()), std::string>);
  EXPECT_EQ("-top/verbose", option.GetName());
  EXPECT_EQ("-verbose", option.name);
}

TEST(OptionDataTest, CopiesShareTheVariable) {
  int value = 0;
  Option option(Parser::INT32, "-n", "text", &value);
  option.fullName = "-top/n";
  Option copy(option);
  Option assigned;
  assigned = option;
  for (Option* each : {&copy, &assigned}) {
    EXPECT_EQ(Parser::INT32, each->type);
    EXPECT_EQ("-n", each->name);
    EXPECT_EQ("-top/n", each->fullName);
    EXPECT_EQ("text", each->description);
    EXPECT_EQ(&value, each->storage);
  }
  copy.Parse(std::string("5"));
  EXPECT_EQ(5, value);
}

TEST(OptionDataTest, TextIsInTheSlotOfThePrintable) {
  int value = 3;
  Option option(Parser::INT32, "-n", "", &value);
  Printable* base = &option;
  std::string text;
  EXPECT_STREQ("-n 3", (CallSlot<const char*, std::string*>(base, 1, &text)));
  EXPECT_STREQ("-n 3", base->ToString());
}

// ---- Parsing of one value
// ------------------------------------------------------------------------

TEST(OptionParseTest, BaseOfIntegersFollowsTheirPrefix) {
  EXPECT_EQ(16, Parsed<int>(Parser::INT32, "0x10"));
  EXPECT_EQ(255, Parsed<int>(Parser::INT32, "0XfF"));
  EXPECT_EQ(8, Parsed<int>(Parser::INT32, "010"));
  EXPECT_EQ(10, Parsed<int>(Parser::INT32, "10"));
  EXPECT_EQ(16, Parsed<signed char>(Parser::INT8, "0x10"));
  EXPECT_EQ(8, Parsed<signed char>(Parser::INT8, "010"));
  EXPECT_EQ(16u, Parsed<unsigned char>(Parser::UINT8, "0x10"));
  EXPECT_EQ(8u, Parsed<unsigned char>(Parser::UINT8, "010"));
  EXPECT_EQ(16u, Parsed<unsigned int>(Parser::UINT32, "0x10"));
  EXPECT_EQ(8u, Parsed<unsigned int>(Parser::UINT32, "010"));
  EXPECT_EQ(16u, Parsed<unsigned long long>(Parser::UINT64, "0x10"));
  EXPECT_EQ(8u, Parsed<unsigned long long>(Parser::UINT64, "010"));
  EXPECT_EQ(16, Parsed<long long>(Parser::INT64, "0x10"));
  EXPECT_EQ(8, Parsed<long long>(Parser::INT64, "010"));
}

TEST(OptionParseTest, ReadingStopsAtTheFirstCharacterThatDoesNotFit) {
  EXPECT_EQ(12, Parsed<int>(Parser::INT32, "12abc"));
  EXPECT_EQ(-12, Parsed<int>(Parser::INT32, "  -12.9"));
  EXPECT_EQ(7, Parsed<int>(Parser::INT32, "+7"));
  EXPECT_EQ(2.5, Parsed<double>(Parser::DOUBLE, " 2.5xyz"));
  EXPECT_EQ(2.5f, Parsed<float>(Parser::FLOAT, " 2.5xyz"));
}

TEST(OptionParseTest, WordWithoutDigitsGivesZero) {
  EXPECT_EQ(0, Parsed<int>(Parser::INT32, "abc", 5));
  EXPECT_EQ(0, Parsed<signed char>(Parser::INT8, "", 5));
  EXPECT_EQ(0u, Parsed<unsigned char>(Parser::UINT8, "x", 5));
  EXPECT_EQ(0u, Parsed<unsigned int>(Parser::UINT32, "-", 5));
  EXPECT_EQ(0u, Parsed<unsigned long long>(Parser::UINT64, "", 5));
  EXPECT_EQ(0, Parsed<long long>(Parser::INT64, "", 5));
  EXPECT_EQ(0.0, Parsed<double>(Parser::DOUBLE, "abc", 5));
  EXPECT_EQ(0.0f, Parsed<float>(Parser::FLOAT, "", 5));
}

TEST(OptionParseTest, SignedBytesAreCutToTheirLowBits) {
  EXPECT_EQ(-128, Parsed<signed char>(Parser::INT8, "-128"));
  EXPECT_EQ(127, Parsed<signed char>(Parser::INT8, "127"));
  EXPECT_EQ(44, Parsed<signed char>(Parser::INT8, "300"));
  EXPECT_EQ(-56, Parsed<signed char>(Parser::INT8, "200"));
}

TEST(OptionParseTest, UnsignedBytesAreCutToTheirLowBits) {
  EXPECT_EQ(44u, Parsed<unsigned char>(Parser::UINT8, "300"));
  EXPECT_EQ(255u, Parsed<unsigned char>(Parser::UINT8, "-1"));
  EXPECT_EQ(200u, Parsed<unsigned char>(Parser::UINT8, "200"));
}

TEST(OptionParseTest, WordsAreCutToTheirLowBits) {
  EXPECT_EQ(4294967295u, Parsed<unsigned int>(Parser::UINT32, "-1"));
  EXPECT_EQ(4294967295u, Parsed<unsigned int>(Parser::UINT32, "4294967295"));
  EXPECT_EQ(1u, Parsed<unsigned int>(Parser::UINT32, "4294967297"));
  EXPECT_EQ(INT_MIN, Parsed<int>(Parser::INT32, "-2147483648"));
  EXPECT_EQ(INT_MIN, Parsed<int>(Parser::INT32, "2147483648"));
  EXPECT_EQ(7, Parsed<int>(Parser::INT32, "4294967303"));
}

TEST(OptionParseTest, LongWordsHoldAll64Bits) {
  EXPECT_EQ(ULLONG_MAX, Parsed<unsigned long long>(Parser::UINT64, "18446744073709551615"));
  EXPECT_EQ(ULLONG_MAX, Parsed<unsigned long long>(Parser::UINT64, "-1"));
  EXPECT_EQ(LLONG_MIN, Parsed<long long>(Parser::INT64, "-9223372036854775808"));
  EXPECT_EQ(LLONG_MAX, Parsed<long long>(Parser::INT64, "9223372036854775807"));
}

TEST(OptionParseTest, NumbersBeyond64BitsSaturateThereAndAreThenCut) {
  // Signed conversions stop at 2^63 - 1, unsigned ones go on.
  const std::string above = "9223372036854775808";
  EXPECT_EQ(-1, Parsed<signed char>(Parser::INT8, above));
  EXPECT_EQ(-1, Parsed<int>(Parser::INT32, above));
  EXPECT_EQ(LLONG_MAX, Parsed<long long>(Parser::INT64, above));
  EXPECT_EQ(0u, Parsed<unsigned char>(Parser::UINT8, above));
  EXPECT_EQ(0u, Parsed<unsigned int>(Parser::UINT32, above));
  EXPECT_EQ(9223372036854775808ull, Parsed<unsigned long long>(Parser::UINT64, above));
  EXPECT_EQ(LLONG_MIN, Parsed<long long>(Parser::INT64, "-9223372036854775809"));
  EXPECT_EQ(0, Parsed<int>(Parser::INT32, "-9223372036854775809", 5));
  EXPECT_EQ(ULLONG_MAX, Parsed<unsigned long long>(Parser::UINT64, "18446744073709551616"));
  EXPECT_EQ(4294967295u, Parsed<unsigned int>(Parser::UINT32, "18446744073709551616"));
  EXPECT_EQ(255u, Parsed<unsigned char>(Parser::UINT8, "18446744073709551616"));
}

TEST(OptionParseTest, FloatingPointIsReadInDoublePrecision) {
  EXPECT_EQ(0.1, Parsed<double>(Parser::DOUBLE, "0.1"));
  EXPECT_EQ(-1500.0, Parsed<double>(Parser::DOUBLE, "-1.5e3"));
  EXPECT_EQ(16.0, Parsed<double>(Parser::DOUBLE, "0x1p4"));
  EXPECT_EQ(HUGE_VAL, Parsed<double>(Parser::DOUBLE, "1e999"));
  EXPECT_EQ(0.5f, Parsed<float>(Parser::FLOAT, "0.5"));
  EXPECT_EQ(HUGE_VALF, Parsed<float>(Parser::FLOAT, "inf"));
}

TEST(OptionParseTest, FloatIsNarrowedFromTheDouble) {
  // A little above the middle of two floats: the double is the middle itself, and rounds to even.
  const std::string word = "1.00000005960464477539062500000001";
  EXPECT_NE(1.0f, strtof(word.c_str(), nullptr));
  EXPECT_EQ(1.0f, Parsed<float>(Parser::FLOAT, word));
}

TEST(OptionParseTest, StringIsTheWordAsItStands) {
  EXPECT_EQ("a b,c\"d", Parsed<std::string>(Parser::STRING, "a b,c\"d", "old"));
  EXPECT_EQ("", Parsed<std::string>(Parser::STRING, "", "old"));
}

TEST(OptionParseTest, CharactersAreAFreshCopyAndTheOldOnesAreLeftAlone) {
  std::string word = "first";
  char* value = nullptr;
  Option option(Parser::CSTRING, "-n", "", &value);
  EXPECT_TRUE(option.Parse(word));
  char* first = value;
  EXPECT_TRUE(option.Parse(std::string("second")));
  char* second = value;
  EXPECT_NE(first, second);
  EXPECT_STREQ("first", first);
  EXPECT_STREQ("second", second);
  free(first);
  free(second);
}

TEST(OptionParseTest, BoolIsTrueForTheWordTrueInAnyCase) {
  for (const char* word : {"true", "TRUE", "True", "tRuE"}) {
    EXPECT_TRUE(Parsed<bool>(Parser::BOOL, word, false)) << word;
  }
  for (const char* word : {"1", "yes", "on", "", "tru", "truer", " true", "false", "2"}) {
    EXPECT_FALSE(Parsed<bool>(Parser::BOOL, word, true)) << word;
  }
}

TEST(OptionParseTest, ItemIsStoredByTheStaticOperation) {
  int number = 0;
  EXPECT_TRUE(Option::ParseItem("12", Parser::INT32, &number));
  EXPECT_EQ(12, number);
  std::string text;
  EXPECT_TRUE(Option::ParseItem("12", Parser::STRING, &text));
  EXPECT_EQ("12", text);
}

// ---- Parsing of lists
// ----------------------------------------------------------------------------

TEST(OptionListTest, EveryTypeOfListTakesItsItemsBetweenTheCommas) {
  EXPECT_THAT(ParsedList<signed char>(Parser::VECTOR_OF_INT8, "-1,0x10,300"),
              ElementsAre(-1, 16, 44));
  EXPECT_THAT(ParsedList<unsigned char>(Parser::VECTOR_OF_UINT8, "-1,010,300"),
              ElementsAre(255, 8, 44));
  EXPECT_THAT(ParsedList<unsigned int>(Parser::VECTOR_OF_UINT32, "-1,2"),
              ElementsAre(4294967295u, 2u));
  EXPECT_THAT(ParsedList<int>(Parser::VECTOR_OF_INT32, "-1,2147483648"), ElementsAre(-1, INT_MIN));
  EXPECT_THAT(ParsedList<unsigned long long>(Parser::VECTOR_OF_UINT64, "-1,9223372036854775808"),
              ElementsAre(ULLONG_MAX, 9223372036854775808ull));
  EXPECT_THAT(ParsedList<long long>(Parser::VECTOR_OF_INT64, "-1,9223372036854775808"),
              ElementsAre(-1, LLONG_MAX));
  EXPECT_THAT(ParsedList<double>(Parser::VECTOR_OF_DOUBLE, "0.1,-2e3"), ElementsAre(0.1, -2000.0));
  EXPECT_THAT(ParsedList<float>(Parser::VECTOR_OF_FLOAT, "0.1,-2e3"), ElementsAre(0.1f, -2000.0f));
  EXPECT_THAT(ParsedList<std::string>(Parser::VECTOR_OF_STRING, "a,bc"), ElementsAre("a", "bc"));
  EXPECT_THAT(ParsedList<bool>(Parser::VECTOR_OF_BOOL, "true,1,TRUE,false"),
              ElementsAre(true, false, true, false));
}

TEST(OptionListTest, ListOfCharactersHoldsFreshCopies) {
  std::vector<char*> list = ParsedList<char*>(Parser::VECTOR_OF_CSTRING, "a,bc,");
  ASSERT_EQ(3u, list.size());
  EXPECT_STREQ("a", list[0]);
  EXPECT_STREQ("bc", list[1]);
  EXPECT_STREQ("", list[2]);
  Release(list);
}

TEST(OptionListTest, ItemsAreAppendedToWhatTheListHolds) {
  std::vector<int> list = {5};
  Option option(Parser::VECTOR_OF_INT32, "-n", "", &list);
  EXPECT_TRUE(option.Parse(std::string("1,2")));
  EXPECT_THAT(list, ElementsAre(5, 1, 2));
  EXPECT_TRUE(option.Parse(std::string("3")));
  EXPECT_THAT(list, ElementsAre(5, 1, 2, 3));
}

TEST(OptionListTest, BlanksOfAnItemStay) {
  EXPECT_THAT(ParsedList<std::string>(Parser::VECTOR_OF_STRING, "a, b ,\"c"),
              ElementsAre("a", " b ", "\"c"));
}

TEST(OptionListTest, EmptyItemsAreItems) {
  EXPECT_THAT(ParsedList<int>(Parser::VECTOR_OF_INT32, "1,,2"), ElementsAre(1, 0, 2));
  EXPECT_THAT(ParsedList<int>(Parser::VECTOR_OF_INT32, ",1,"), ElementsAre(0, 1, 0));
  EXPECT_THAT(ParsedList<std::string>(Parser::VECTOR_OF_STRING, ","), ElementsAre("", ""));
  EXPECT_THAT(ParsedList<bool>(Parser::VECTOR_OF_BOOL, "true,,true"),
              ElementsAre(true, false, true));
}

TEST(OptionListTest, EmptyWordAppendsExactlyOneItem) {
  EXPECT_THAT(ParsedList<int>(Parser::VECTOR_OF_INT32, ""), ElementsAre(0));
  EXPECT_THAT(ParsedList<bool>(Parser::VECTOR_OF_BOOL, ""), ElementsAre(false));
  EXPECT_THAT(ParsedList<std::string>(Parser::VECTOR_OF_STRING, ""), ElementsAre(""));
}

TEST(OptionListTest, ListIsFilledByTheStaticOperation) {
  std::vector<double> list;
  EXPECT_TRUE(Option::ParseList("1.5,2", Parser::VECTOR_OF_DOUBLE, &list));
  EXPECT_THAT(list, ElementsAre(1.5, 2.0));
}

// ---- Values of a command line
// --------------------------------------------------------------------

CommandLine Words(std::vector<std::string> words) {
  CommandLine line(0, nullptr);
  for (const std::string& word : words) {
    line.args.push_back(CommandLine::Arg(word.c_str()));
  }
  return line;
}

TEST(OptionCommandLineTest, ValueIsTheWordAfterTheOptionsOwn) {
  CommandLine line = Words({"1", "2", "3"});
  int value = 0;
  Option option(Parser::INT32, "-n", "", &value);
  EXPECT_TRUE(option.Parse(&line, 0));
  EXPECT_EQ(2, value);
  EXPECT_TRUE(option.Parse(&line, 1));
  EXPECT_EQ(3, value);
}

TEST(OptionCommandLineTest, MissingWordReadsAsAnEmptyOne) {
  CommandLine line = Words({"-n", "5"});
  std::string value = "old";
  Option option(Parser::STRING, "-n", "", &value);
  EXPECT_TRUE(option.Parse(&line, 1));
  EXPECT_EQ("", value);
}

TEST(OptionCommandLineTest, BoolTakesAWordAsWell) {
  CommandLine line = Words({"-n", "True"});
  bool value = false;
  Option option(Parser::BOOL, "-n", "", &value);
  EXPECT_TRUE(option.Parse(&line, 0));
  EXPECT_TRUE(value);
}

template <class T>
T ParsedFromLine(OptionType type, const std::string& word) {
  CommandLine line = Words({"-n", word});
  T value = T();
  EXPECT_TRUE(Option(type, "-n", "", &value).Parse(&line, 0));
  return value;
}

TEST(OptionCommandLineTest, EveryTypeCanBeParsed) {
  EXPECT_EQ(-3, ParsedFromLine<signed char>(Parser::INT8, "-3"));
  EXPECT_EQ(3, ParsedFromLine<unsigned char>(Parser::UINT8, "3"));
  EXPECT_EQ(3u, ParsedFromLine<unsigned int>(Parser::UINT32, "3"));
  EXPECT_EQ(-3, ParsedFromLine<int>(Parser::INT32, "-3"));
  EXPECT_EQ(3u, ParsedFromLine<unsigned long long>(Parser::UINT64, "3"));
  EXPECT_EQ(-3, ParsedFromLine<long long>(Parser::INT64, "-3"));
  EXPECT_EQ(0.5, ParsedFromLine<double>(Parser::DOUBLE, ".5"));
  EXPECT_EQ(0.5f, ParsedFromLine<float>(Parser::FLOAT, ".5"));
  EXPECT_EQ("3", ParsedFromLine<std::string>(Parser::STRING, "3"));
  EXPECT_TRUE(ParsedFromLine<bool>(Parser::BOOL, "true"));
  char* characters = ParsedFromLine<char*>(Parser::CSTRING, "3");
  EXPECT_STREQ("3", characters);
  Release(characters);
}

TEST(OptionCommandLineTest, EveryTypeOfListCanBeParsed) {
  EXPECT_THAT(ParsedFromLine<std::vector<signed char>>(Parser::VECTOR_OF_INT8, "3"),
              ElementsAre(3));
  EXPECT_THAT(ParsedFromLine<std::vector<unsigned char>>(Parser::VECTOR_OF_UINT8, "3"),
              ElementsAre(3));
  EXPECT_THAT(ParsedFromLine<std::vector<unsigned int>>(Parser::VECTOR_OF_UINT32, "3"),
              ElementsAre(3));
  EXPECT_THAT(ParsedFromLine<std::vector<int>>(Parser::VECTOR_OF_INT32, "3"), ElementsAre(3));
  EXPECT_THAT(ParsedFromLine<std::vector<unsigned long long>>(Parser::VECTOR_OF_UINT64, "3"),
              ElementsAre(3));
  EXPECT_THAT(ParsedFromLine<std::vector<long long>>(Parser::VECTOR_OF_INT64, "3"), ElementsAre(3));
  EXPECT_THAT(ParsedFromLine<std::vector<double>>(Parser::VECTOR_OF_DOUBLE, "3"), ElementsAre(3.0));
  EXPECT_THAT(ParsedFromLine<std::vector<float>>(Parser::VECTOR_OF_FLOAT, "3"), ElementsAre(3.0f));
  EXPECT_THAT(ParsedFromLine<std::vector<std::string>>(Parser::VECTOR_OF_STRING, "3"),
              ElementsAre("3"));
  EXPECT_THAT(ParsedFromLine<std::vector<bool>>(Parser::VECTOR_OF_BOOL, "true"), ElementsAre(true));
  auto characters = ParsedFromLine<std::vector<char*>>(Parser::VECTOR_OF_CSTRING, "3");
  ASSERT_EQ(1u, characters.size());
  EXPECT_STREQ("3", characters[0]);
  Release(characters);
}

// ---- Printing
// ------------------------------------------------------------------------------------

TEST(OptionPrintTest, EveryTypePrintsItsNameABlankAndItsValue) {
  char characters[] = "a \"b\"";
  EXPECT_EQ("-name -128", Printed<signed char>(Parser::INT8, -128));
  EXPECT_EQ("-name 255", Printed<unsigned char>(Parser::UINT8, 255));
  EXPECT_EQ("-name 4294967295", Printed<unsigned int>(Parser::UINT32, 4294967295u));
  EXPECT_EQ("-name -2147483648", Printed<int>(Parser::INT32, INT_MIN));
  EXPECT_EQ("-name 12345678901", Printed<unsigned long long>(Parser::UINT64, 12345678901ull));
  EXPECT_EQ("-name 12345678901", Printed<long long>(Parser::INT64, 12345678901ll));
  EXPECT_EQ("-name -0.333333", Printed<double>(Parser::DOUBLE, -1.0 / 3));
  EXPECT_EQ("-name 0.500000", Printed<float>(Parser::FLOAT, 0.5f));
  EXPECT_EQ("-name 0.100000", Printed<float>(Parser::FLOAT, 0.1f));
  EXPECT_EQ("-name \"abc\"", Printed<std::string>(Parser::STRING, "abc"));
  EXPECT_EQ("-name \"a\"b\"", Printed<std::string>(Parser::STRING, "a\"b"));
  EXPECT_EQ("-name a \"b\"", Printed<char*>(Parser::CSTRING, characters));
  EXPECT_EQ("-name true", Printed<bool>(Parser::BOOL, true));
  EXPECT_EQ("-name false", Printed<bool>(Parser::BOOL, false));
}

TEST(OptionPrintTest, FormatsOfTheTwo64BitTypesAreCrossed) {
  EXPECT_EQ("-name -1", Printed<unsigned long long>(Parser::UINT64, ULLONG_MAX));
  EXPECT_EQ("-name -9223372036854775808", Printed<unsigned long long>(Parser::UINT64, 1ull << 63));
  EXPECT_EQ("-name 18446744073709551615", Printed<long long>(Parser::INT64, -1));
  EXPECT_EQ("-name -1,1",
            PrintedList<unsigned long long>(Parser::VECTOR_OF_UINT64, {ULLONG_MAX, 1}));
  EXPECT_EQ("-name 18446744073709551615,1",
            PrintedList<long long>(Parser::VECTOR_OF_INT64, {-1, 1}));
}

TEST(OptionPrintTest, EveryTypeOfListPrintsItsElementsWithCommasBetween) {
  char a[] = "a";
  char bc[] = "b c";
  EXPECT_EQ("-name -128,2,3", PrintedList<signed char>(Parser::VECTOR_OF_INT8, {-128, 2, 3}));
  EXPECT_EQ("-name 255,2", PrintedList<unsigned char>(Parser::VECTOR_OF_UINT8, {255, 2}));
  EXPECT_EQ("-name 4294967295,2",
            PrintedList<unsigned int>(Parser::VECTOR_OF_UINT32, {4294967295u, 2u}));
  EXPECT_EQ("-name -1,2,3", PrintedList<int>(Parser::VECTOR_OF_INT32, {-1, 2, 3}));
  EXPECT_EQ("-name 0.500000,-2.000000", PrintedList(Parser::VECTOR_OF_DOUBLE, {0.5, -2.0}));
  EXPECT_EQ("-name 0.500000,-2.000000", PrintedList(Parser::VECTOR_OF_FLOAT, {0.5f, -2.0f}));
  EXPECT_EQ("-name \"a\",\"b c\"",
            PrintedList<std::string>(Parser::VECTOR_OF_STRING, {"a", "b c"}));
  EXPECT_EQ("-name a,b c", PrintedList<char*>(Parser::VECTOR_OF_CSTRING, {a, bc}));
  EXPECT_EQ("-name true,false,true", PrintedList(Parser::VECTOR_OF_BOOL, {true, false, true}));
}

TEST(OptionPrintTest, ListOfOneElementHasNoComma) {
  EXPECT_EQ("-name 7", PrintedList<int>(Parser::VECTOR_OF_INT32, {7}));
  EXPECT_EQ("-name \"\"", PrintedList<std::string>(Parser::VECTOR_OF_STRING, {""}));
}

TEST(OptionPrintTest, EmptyListSaysSo) {
  EXPECT_EQ("-name <empty>", PrintedList<signed char>(Parser::VECTOR_OF_INT8, {}));
  EXPECT_EQ("-name <empty>", PrintedList<unsigned char>(Parser::VECTOR_OF_UINT8, {}));
  EXPECT_EQ("-name <empty>", PrintedList<unsigned int>(Parser::VECTOR_OF_UINT32, {}));
  EXPECT_EQ("-name <empty>", PrintedList<int>(Parser::VECTOR_OF_INT32, {}));
  EXPECT_EQ("-name <empty>", PrintedList<unsigned long long>(Parser::VECTOR_OF_UINT64, {}));
  EXPECT_EQ("-name <empty>", PrintedList<long long>(Parser::VECTOR_OF_INT64, {}));
  EXPECT_EQ("-name <empty>", PrintedList<double>(Parser::VECTOR_OF_DOUBLE, {}));
  EXPECT_EQ("-name <empty>", PrintedList<float>(Parser::VECTOR_OF_FLOAT, {}));
  EXPECT_EQ("-name <empty>", PrintedList<std::string>(Parser::VECTOR_OF_STRING, {}));
  EXPECT_EQ("-name <empty>", PrintedList<char*>(Parser::VECTOR_OF_CSTRING, {}));
  EXPECT_EQ("-name <empty>", PrintedList<bool>(Parser::VECTOR_OF_BOOL, {}));
}

TEST(OptionPrintTest, FullNameIsPrintedAndNotTheRegisteredOne) {
  int value = 1;
  std::vector<int> list = {1, 2, 3};
  Option option(Parser::INT32, "-n", "", &value);
  Option listOption(Parser::VECTOR_OF_INT32, "-sizes", "", &list);
  option.fullName = "-top/n";
  listOption.fullName = "-top/sizes";
  std::string text;
  EXPECT_STREQ("-top/n 1", option.ToString(text));
  EXPECT_STREQ("-top/sizes 1,2,3", listOption.ToString(text));
}

TEST(OptionPrintTest, PiecesLongerThanABufferArePrintedWhole) {
  std::string longName(2000, 'n');
  std::string longText(5000, 't');
  const Option option(Parser::STRING, longName.c_str(), "", &longText);
  std::string text;
  option.ToString(text);
  EXPECT_EQ(longName + " \"" + longText + "\"", text);

  std::vector<std::string> list = {longText, "s", longText};
  const Option listOption(Parser::VECTOR_OF_STRING, longName.c_str(), "", &list);
  listOption.ToString(text);
  EXPECT_EQ(longName + " \"" + longText + "\",\"s\",\"" + longText + "\"", text);

  char* characters = longText.data();
  const Option characterOption(Parser::CSTRING, "-n", "", &characters);
  characterOption.ToString(text);
  EXPECT_EQ("-n " + longText, text);
}

TEST(OptionPrintTest, PercentSignsAreNoDirectives) {
  std::string value = "%d%n";
  const Option option(Parser::STRING, "-%s", "", &value);
  std::string text;
  EXPECT_STREQ("-%s \"%d%n\"", option.ToString(text));
}

TEST(OptionPrintTest, QuotesArePrintedButNeverRead) {
  EXPECT_EQ("\"abc\"", Parsed<std::string>(Parser::STRING, "\"abc\""));
}

// ---- Illegal types
// -------------------------------------------------------------------------------

// Every operation reports from a line of its own.
class IllegalTypeTest : public ::testing::Test {
 protected:
  enum Operation { PARSE_WORD, PARSE_STRING, PARSE_ITEM, PARSE_LIST, TO_STRING };

  static std::string Report(Operation operation) {
    const std::string source = "Util/CommandLineParser.cpp";
    const std::vector<int> lines = LinesWith(source, "SIM_CRASH(\"Illegal ");
    EXPECT_EQ(5u, lines.size());
    return "CRASH[" + source + ":" + std::to_string(lines.at(operation)) +
           "]:  " + (operation == TO_STRING ? "Illegal option type.\n" : "Illegal Type\n");
  }

  static constexpr OptionType outside[] = {Parser::INVALID, static_cast<OptionType>(23),
                                           static_cast<OptionType>(-1),
                                           static_cast<OptionType>(24)};
};

TEST_F(IllegalTypeTest, EndsTheProgramWhenAValueIsTakenFromTheCommandLine) {
  CommandLine line = Words({"-n", "1"});
  for (const OptionType type : outside) {
    EXPECT_EXIT(Option(type, "-n", "", nullptr).Parse(&line, 0), KilledBySignal(SIGABRT),
                Eq(Report(PARSE_WORD)));
  }
}

TEST_F(IllegalTypeTest, EndsTheProgramWhenAStringIsParsed) {
  for (const OptionType type : outside) {
    EXPECT_EXIT(Option(type, "-n", "", nullptr).Parse(std::string("1")), KilledBySignal(SIGABRT),
                Eq(Report(PARSE_STRING)));
  }
}

TEST_F(IllegalTypeTest, EndsTheProgramWhenAnItemIsParsed) {
  for (const OptionType type : outside) {
    EXPECT_EXIT(Option::ParseItem("1", type, nullptr), KilledBySignal(SIGABRT),
                Eq(Report(PARSE_ITEM)));
  }
}

TEST_F(IllegalTypeTest, EndsTheProgramWhenAListIsParsed) {
  for (const OptionType type : outside) {
    EXPECT_EXIT(Option::ParseList("1", type, nullptr), KilledBySignal(SIGABRT),
                Eq(Report(PARSE_LIST)));
  }
}

TEST_F(IllegalTypeTest, ListTypeIsNoneForAnItem) {
  for (int type = Parser::VECTOR_OF_INT8; type <= Parser::VECTOR_OF_BOOL; type += 2) {
    EXPECT_EXIT(Option::ParseItem("1", static_cast<OptionType>(type), nullptr),
                KilledBySignal(SIGABRT), Eq(Report(PARSE_ITEM)));
  }
}

TEST_F(IllegalTypeTest, ScalarTypeIsNoneForAList) {
  for (int type = Parser::INT8; type <= Parser::BOOL; type += 2) {
    EXPECT_EXIT(Option::ParseList("1", static_cast<OptionType>(type), nullptr),
                KilledBySignal(SIGABRT), Eq(Report(PARSE_LIST)));
  }
}

TEST_F(IllegalTypeTest, EndsTheProgramWhenTheOptionIsPrinted) {
  std::string text;
  for (const OptionType type : outside) {
    EXPECT_EXIT(Option(type, "-n", "", nullptr).ToString(text), KilledBySignal(SIGABRT),
                Eq(Report(TO_STRING)));
  }
}

}  // namespace
}  // namespace marrowfin::testing
