#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cfloat>
#include <climits>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <tuple>
#include <type_traits>

#include "Util/CommandLineParser.h"
#include "tests/Util/Fixtures.h"
#include "tests/Util/SystemCalls.h"
#include "tests/Util/VirtualSlots.h"

namespace marrowfin::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::Eq;
using ::testing::KilledBySignal;

typedef CommandLineParser Parser;
typedef CommandLineParser::Option Option;
typedef CommandLineParser::OptionType OptionType;

// What stands in a variable before a value is parsed into it: nothing that a test expects there.
template <class T>
T Other(const T& expected) {
  return expected == 0 ? 1 : 0;
}
template <>
std::string Other(const std::string& expected) {
  return expected + "old";
}
template <>
bool Other(const bool& expected) {
  return !expected;
}

// The option stores the value of the word.
template <class T>
void ExpectParsed(OptionType type, const std::string& word, T expected) {
  T value = Other(expected);
  EXPECT_TRUE(Option(type, "-name", "a description", &value).Parse(word));
  EXPECT_EQ(expected, value) << "type " << type << ", word " << word;
}

// The option appends these items to an empty list.
template <class T>
void ExpectListParsed(OptionType type, const std::string& word, std::vector<T> expected) {
  std::vector<T> value;
  EXPECT_TRUE(Option(type, "-name", "a description", &value).Parse(word));
  EXPECT_TRUE(expected == value) << "type " << type << ", word " << word;
}

// An option named "-name" prints itself so.
template <class T>
void ExpectPrinted(OptionType type, T value, const std::string& expected) {
  std::string text = "old";
  const char* characters = Option(type, "-name", "a description", &value).ToString(text);
  EXPECT_EQ(expected, text) << "type " << type;
  EXPECT_EQ(text.c_str(), characters);
}

template <class T>
void ExpectListPrinted(OptionType type, std::vector<T> list, const std::string& expected) {
  ExpectPrinted(type, list, expected);
}

// ---- Data

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

TEST(OptionParseTest, BaseOfIntegersFollowsTheirPrefix) {
  ExpectParsed<int>(Parser::INT32, "0x10", 16);
  ExpectParsed<int>(Parser::INT32, "0XfF", 255);
  ExpectParsed<int>(Parser::INT32, "010", 8);
  ExpectParsed<int>(Parser::INT32, "10", 10);
  ExpectParsed<signed char>(Parser::INT8, "0x10", 16);
  ExpectParsed<signed char>(Parser::INT8, "010", 8);
  ExpectParsed<unsigned char>(Parser::UINT8, "0x10", 16u);
  ExpectParsed<unsigned char>(Parser::UINT8, "010", 8u);
  ExpectParsed<unsigned int>(Parser::UINT32, "0x10", 16u);
  ExpectParsed<unsigned int>(Parser::UINT32, "010", 8u);
  ExpectParsed<unsigned long long>(Parser::UINT64, "0x10", 16u);
  ExpectParsed<unsigned long long>(Parser::UINT64, "010", 8u);
  ExpectParsed<long long>(Parser::INT64, "0x10", 16);
  ExpectParsed<long long>(Parser::INT64, "010", 8);
}

TEST(OptionParseTest, ReadingStopsAtTheFirstCharacterThatDoesNotFit) {
  ExpectParsed<int>(Parser::INT32, "12abc", 12);
  ExpectParsed<int>(Parser::INT32, "  -12.9", -12);
  ExpectParsed<int>(Parser::INT32, "+7", 7);
  ExpectParsed<double>(Parser::DOUBLE, " 2.5xyz", 2.5);
  ExpectParsed<float>(Parser::FLOAT, " 2.5xyz", 2.5f);
}

TEST(OptionParseTest, WordWithoutDigitsGivesZero) {
  ExpectParsed<int>(Parser::INT32, "abc", 0);
  ExpectParsed<signed char>(Parser::INT8, "", 0);
  ExpectParsed<unsigned char>(Parser::UINT8, "x", 0u);
  ExpectParsed<unsigned int>(Parser::UINT32, "-", 0u);
  ExpectParsed<unsigned long long>(Parser::UINT64, "", 0u);
  ExpectParsed<long long>(Parser::INT64, "", 0);
  ExpectParsed<double>(Parser::DOUBLE, "abc", 0.0);
  ExpectParsed<float>(Parser::FLOAT, "", 0.0f);
}

TEST(OptionParseTest, SignedBytesAreCutToTheirLowBits) {
  ExpectParsed<signed char>(Parser::INT8, "-128", -128);
  ExpectParsed<signed char>(Parser::INT8, "127", 127);
  ExpectParsed<signed char>(Parser::INT8, "300", 44);
  ExpectParsed<signed char>(Parser::INT8, "200", -56);
}

TEST(OptionParseTest, UnsignedBytesAreCutToTheirLowBits) {
  ExpectParsed<unsigned char>(Parser::UINT8, "300", 44u);
  ExpectParsed<unsigned char>(Parser::UINT8, "-1", 255u);
  ExpectParsed<unsigned char>(Parser::UINT8, "200", 200u);
}

TEST(OptionParseTest, WordsAreCutToTheirLowBits) {
  ExpectParsed<unsigned int>(Parser::UINT32, "-1", 4294967295u);
  ExpectParsed<unsigned int>(Parser::UINT32, "4294967295", 4294967295u);
  ExpectParsed<unsigned int>(Parser::UINT32, "4294967297", 1u);
  ExpectParsed<int>(Parser::INT32, "-2147483648", INT_MIN);
  ExpectParsed<int>(Parser::INT32, "2147483648", INT_MIN);
  ExpectParsed<int>(Parser::INT32, "4294967303", 7);
}

TEST(OptionParseTest, LongWordsHoldAll64Bits) {
  ExpectParsed<unsigned long long>(Parser::UINT64, "18446744073709551615", ULLONG_MAX);
  ExpectParsed<unsigned long long>(Parser::UINT64, "-1", ULLONG_MAX);
  ExpectParsed<long long>(Parser::INT64, "-9223372036854775808", LLONG_MIN);
  ExpectParsed<long long>(Parser::INT64, "9223372036854775807", LLONG_MAX);
}

TEST(OptionParseTest, NumbersBeyond64BitsSaturateThereAndAreThenCut) {
  // Signed conversions stop at 2^63 - 1, unsigned ones go on.
  const std::string above = "9223372036854775808";
  ExpectParsed<signed char>(Parser::INT8, above, -1);
  ExpectParsed<int>(Parser::INT32, above, -1);
  ExpectParsed<long long>(Parser::INT64, above, LLONG_MAX);
  ExpectParsed<unsigned char>(Parser::UINT8, above, 0u);
  ExpectParsed<unsigned int>(Parser::UINT32, above, 0u);
  ExpectParsed<unsigned long long>(Parser::UINT64, above, 9223372036854775808ull);
  ExpectParsed<long long>(Parser::INT64, "-9223372036854775809", LLONG_MIN);
  ExpectParsed<int>(Parser::INT32, "-9223372036854775809", 0);
  ExpectParsed<unsigned long long>(Parser::UINT64, "18446744073709551616", ULLONG_MAX);
  ExpectParsed<unsigned int>(Parser::UINT32, "18446744073709551616", 4294967295u);
  ExpectParsed<unsigned char>(Parser::UINT8, "18446744073709551616", 255u);
}

TEST(OptionParseTest, FloatingPointIsReadInDoublePrecision) {
  ExpectParsed<double>(Parser::DOUBLE, "0.1", 0.1);
  ExpectParsed<double>(Parser::DOUBLE, "-1.5e3", -1500.0);
  ExpectParsed<double>(Parser::DOUBLE, "0x1p4", 16.0);
  ExpectParsed<double>(Parser::DOUBLE, "1e999", HUGE_VAL);
  ExpectParsed<float>(Parser::FLOAT, "0.5", 0.5f);
  ExpectParsed<float>(Parser::FLOAT, "inf", HUGE_VALF);
}

TEST(OptionParseTest, FloatIsNarrowedFromTheDouble) {
  // A little above the middle of two floats: the double is the middle itself, and rounds to even.
  const std::string word = "1.00000005960464477539062500000001";
  EXPECT_NE(1.0f, strtof(word.c_str(), nullptr));
  ExpectParsed<float>(Parser::FLOAT, word, 1.0f);
}

TEST(OptionParseTest, StringIsTheWordAsItStands) {
  ExpectParsed<std::string>(Parser::STRING, "a b,c\"d", "a b,c\"d");
  ExpectParsed<std::string>(Parser::STRING, "", "");
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

TEST(OptionParseTest, OnlyCharactersAreCopiedToTheHeapByTheLibrary) {
  std::string text;
  char* characters = nullptr;
  SystemCalls calls;
  EXPECT_TRUE(Option(Parser::STRING, "-n", "", &text).Parse(std::string("text")));
  EXPECT_TRUE(calls.Made().empty());
  EXPECT_TRUE(Option(Parser::CSTRING, "-n", "", &characters).Parse(std::string("word")));
  EXPECT_THAT(calls.Made(), ElementsAre(SystemCalls::Call("strdup", "word")));
  free(characters);
}

TEST(OptionParseTest, BoolIsTrueForTheWordTrueInAnyCase) {
  for (const char* word : {"true", "TRUE", "True", "tRuE"}) {
    ExpectParsed(Parser::BOOL, word, true);
  }
  for (const char* word : {"1", "yes", "on", "", "tru", "truer", " true", "false", "2"}) {
    ExpectParsed(Parser::BOOL, word, false);
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

TEST(OptionListTest, EveryTypeOfListTakesItsItemsBetweenTheCommas) {
  ExpectListParsed<signed char>(Parser::VECTOR_OF_INT8, "-1,0x10,300", {-1, 16, 44});
  ExpectListParsed<unsigned char>(Parser::VECTOR_OF_UINT8, "-1,010,300", {255, 8, 44});
  ExpectListParsed<unsigned int>(Parser::VECTOR_OF_UINT32, "-1,2", {4294967295u, 2u});
  ExpectListParsed<int>(Parser::VECTOR_OF_INT32, "-1,2147483648", {-1, INT_MIN});
  ExpectListParsed<unsigned long long>(Parser::VECTOR_OF_UINT64, "-1,9223372036854775808",
                                       {ULLONG_MAX, 9223372036854775808ull});
  ExpectListParsed<long long>(Parser::VECTOR_OF_INT64, "-1,9223372036854775808", {-1, LLONG_MAX});
  ExpectListParsed<double>(Parser::VECTOR_OF_DOUBLE, "0.1,-2e3", {0.1, -2000.0});
  ExpectListParsed<float>(Parser::VECTOR_OF_FLOAT, "0.1,-2e3", {0.1f, -2000.0f});
  ExpectListParsed<std::string>(Parser::VECTOR_OF_STRING, "a,bc", {"a", "bc"});
  ExpectListParsed<bool>(Parser::VECTOR_OF_BOOL, "true,1,TRUE,false", {true, false, true, false});
}

TEST(OptionListTest, ListOfCharactersHoldsFreshCopies) {
  std::vector<char*> list;
  Option option(Parser::VECTOR_OF_CSTRING, "-n", "", &list);
  EXPECT_TRUE(option.Parse(std::string("a,bc,")));
  ASSERT_EQ(3u, list.size());
  EXPECT_STREQ("a", list[0]);
  EXPECT_STREQ("bc", list[1]);
  EXPECT_STREQ("", list[2]);
  for (char* characters : list) {
    free(characters);
  }
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
  ExpectListParsed<std::string>(Parser::VECTOR_OF_STRING, "a, b ,\"c", {"a", " b ", "\"c"});
}

TEST(OptionListTest, EmptyItemsAreItems) {
  ExpectListParsed<int>(Parser::VECTOR_OF_INT32, "1,,2", {1, 0, 2});
  ExpectListParsed<int>(Parser::VECTOR_OF_INT32, ",1,", {0, 1, 0});
  ExpectListParsed<std::string>(Parser::VECTOR_OF_STRING, ",", {"", ""});
  ExpectListParsed<bool>(Parser::VECTOR_OF_BOOL, "true,,true", {true, false, true});
}

TEST(OptionListTest, EmptyWordAppendsExactlyOneItem) {
  ExpectListParsed<int>(Parser::VECTOR_OF_INT32, "", {0});
  ExpectListParsed<bool>(Parser::VECTOR_OF_BOOL, "", {false});
  ExpectListParsed<std::string>(Parser::VECTOR_OF_STRING, "", {""});
}

TEST(OptionListTest, ListIsFilledByTheStaticOperation) {
  std::vector<double> list;
  EXPECT_TRUE(Option::ParseList("1.5,2", Parser::VECTOR_OF_DOUBLE, &list));
  EXPECT_THAT(list, ElementsAre(1.5, 2.0));
}

// ---- Values of a command line

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

// The option takes the value from the second word of a command line.
template <class T>
void ExpectParsedFromLine(OptionType type, const char* word, T expected) {
  CommandLine line = Words({"-n", word});
  T value = T();
  EXPECT_TRUE(Option(type, "-n", "", &value).Parse(&line, 0));
  EXPECT_TRUE(expected == value) << "type " << type << ", word " << word;
}

TEST(OptionCommandLineTest, EveryTypeCanBeParsed) {
  ExpectParsedFromLine<signed char>(Parser::INT8, "-3", -3);
  ExpectParsedFromLine<unsigned char>(Parser::UINT8, "3", 3);
  ExpectParsedFromLine<unsigned int>(Parser::UINT32, "3", 3u);
  ExpectParsedFromLine<int>(Parser::INT32, "-3", -3);
  ExpectParsedFromLine<unsigned long long>(Parser::UINT64, "3", 3u);
  ExpectParsedFromLine<long long>(Parser::INT64, "-3", -3);
  ExpectParsedFromLine<double>(Parser::DOUBLE, ".5", 0.5);
  ExpectParsedFromLine<float>(Parser::FLOAT, ".5", 0.5f);
  ExpectParsedFromLine<std::string>(Parser::STRING, "3", "3");
  ExpectParsedFromLine<bool>(Parser::BOOL, "true", true);
  CommandLine line = Words({"-n", "3"});
  char* characters = nullptr;
  EXPECT_TRUE(Option(Parser::CSTRING, "-n", "", &characters).Parse(&line, 0));
  EXPECT_STREQ("3", characters);
  free(characters);
}

TEST(OptionCommandLineTest, EveryTypeOfListCanBeParsed) {
  ExpectParsedFromLine<std::vector<signed char>>(Parser::VECTOR_OF_INT8, "3", {3});
  ExpectParsedFromLine<std::vector<unsigned char>>(Parser::VECTOR_OF_UINT8, "3", {3});
  ExpectParsedFromLine<std::vector<unsigned int>>(Parser::VECTOR_OF_UINT32, "3", {3});
  ExpectParsedFromLine<std::vector<int>>(Parser::VECTOR_OF_INT32, "3", {3});
  ExpectParsedFromLine<std::vector<unsigned long long>>(Parser::VECTOR_OF_UINT64, "3", {3});
  ExpectParsedFromLine<std::vector<long long>>(Parser::VECTOR_OF_INT64, "3", {3});
  ExpectParsedFromLine<std::vector<double>>(Parser::VECTOR_OF_DOUBLE, "3", {3.0});
  ExpectParsedFromLine<std::vector<float>>(Parser::VECTOR_OF_FLOAT, "3", {3.0f});
  ExpectParsedFromLine<std::vector<std::string>>(Parser::VECTOR_OF_STRING, "3", {"3"});
  ExpectParsedFromLine<std::vector<bool>>(Parser::VECTOR_OF_BOOL, "true", {true});
  CommandLine line = Words({"-n", "3"});
  std::vector<char*> characters;
  EXPECT_TRUE(Option(Parser::VECTOR_OF_CSTRING, "-n", "", &characters).Parse(&line, 0));
  ASSERT_EQ(1u, characters.size());
  EXPECT_STREQ("3", characters[0]);
  free(characters[0]);
}

// ---- Printing

TEST(OptionPrintTest, EveryTypePrintsItsNameABlankAndItsValue) {
  char characters[] = "a \"b\"";
  ExpectPrinted<signed char>(Parser::INT8, -128, "-name -128");
  ExpectPrinted<unsigned char>(Parser::UINT8, 255, "-name 255");
  ExpectPrinted<unsigned int>(Parser::UINT32, 4294967295u, "-name 4294967295");
  ExpectPrinted<int>(Parser::INT32, INT_MIN, "-name -2147483648");
  ExpectPrinted<unsigned long long>(Parser::UINT64, 12345678901ull, "-name 12345678901");
  ExpectPrinted<long long>(Parser::INT64, 12345678901ll, "-name 12345678901");
  ExpectPrinted<double>(Parser::DOUBLE, -1.0 / 3, "-name -0.333333");
  ExpectPrinted<float>(Parser::FLOAT, 0.5f, "-name 0.500000");
  ExpectPrinted<float>(Parser::FLOAT, 0.1f, "-name 0.100000");
  ExpectPrinted<std::string>(Parser::STRING, "abc", "-name \"abc\"");
  ExpectPrinted<std::string>(Parser::STRING, "a\"b", "-name \"a\"b\"");
  ExpectPrinted<char*>(Parser::CSTRING, characters, "-name a \"b\"");
  ExpectPrinted<bool>(Parser::BOOL, true, "-name true");
  ExpectPrinted<bool>(Parser::BOOL, false, "-name false");
}

TEST(OptionPrintTest, FormatsOfTheTwo64BitTypesAreCrossed) {
  ExpectPrinted<unsigned long long>(Parser::UINT64, ULLONG_MAX, "-name -1");
  ExpectPrinted<unsigned long long>(Parser::UINT64, 1ull << 63, "-name -9223372036854775808");
  ExpectPrinted<long long>(Parser::INT64, -1, "-name 18446744073709551615");
  ExpectListPrinted<unsigned long long>(Parser::VECTOR_OF_UINT64, {ULLONG_MAX, 1}, "-name -1,1");
  ExpectListPrinted<long long>(Parser::VECTOR_OF_INT64, {-1, 1}, "-name 18446744073709551615,1");
}

TEST(OptionPrintTest, EveryTypeOfListPrintsItsElementsWithCommasBetween) {
  char a[] = "a";
  char bc[] = "b c";
  ExpectListPrinted<signed char>(Parser::VECTOR_OF_INT8, {-128, 2, 3}, "-name -128,2,3");
  ExpectListPrinted<unsigned char>(Parser::VECTOR_OF_UINT8, {255, 2}, "-name 255,2");
  ExpectListPrinted<unsigned int>(Parser::VECTOR_OF_UINT32, {4294967295u, 2u},
                                  "-name 4294967295,2");
  ExpectListPrinted<int>(Parser::VECTOR_OF_INT32, {-1, 2, 3}, "-name -1,2,3");
  ExpectListPrinted<double>(Parser::VECTOR_OF_DOUBLE, {0.5, -2.0}, "-name 0.500000,-2.000000");
  ExpectListPrinted<float>(Parser::VECTOR_OF_FLOAT, {0.5f, -2.0f}, "-name 0.500000,-2.000000");
  ExpectListPrinted<std::string>(Parser::VECTOR_OF_STRING, {"a", "b c"}, "-name \"a\",\"b c\"");
  ExpectListPrinted<char*>(Parser::VECTOR_OF_CSTRING, {a, bc}, "-name a,b c");
  ExpectListPrinted<bool>(Parser::VECTOR_OF_BOOL, {true, false, true}, "-name true,false,true");
}

TEST(OptionPrintTest, ListOfOneElementHasNoComma) {
  ExpectListPrinted<int>(Parser::VECTOR_OF_INT32, {7}, "-name 7");
  ExpectListPrinted<std::string>(Parser::VECTOR_OF_STRING, {""}, "-name \"\"");
}

TEST(OptionPrintTest, EmptyListSaysSo) {
  ExpectListPrinted<signed char>(Parser::VECTOR_OF_INT8, {}, "-name <empty>");
  ExpectListPrinted<unsigned char>(Parser::VECTOR_OF_UINT8, {}, "-name <empty>");
  ExpectListPrinted<unsigned int>(Parser::VECTOR_OF_UINT32, {}, "-name <empty>");
  ExpectListPrinted<int>(Parser::VECTOR_OF_INT32, {}, "-name <empty>");
  ExpectListPrinted<unsigned long long>(Parser::VECTOR_OF_UINT64, {}, "-name <empty>");
  ExpectListPrinted<long long>(Parser::VECTOR_OF_INT64, {}, "-name <empty>");
  ExpectListPrinted<double>(Parser::VECTOR_OF_DOUBLE, {}, "-name <empty>");
  ExpectListPrinted<float>(Parser::VECTOR_OF_FLOAT, {}, "-name <empty>");
  ExpectListPrinted<std::string>(Parser::VECTOR_OF_STRING, {}, "-name <empty>");
  ExpectListPrinted<char*>(Parser::VECTOR_OF_CSTRING, {}, "-name <empty>");
  ExpectListPrinted<bool>(Parser::VECTOR_OF_BOOL, {}, "-name <empty>");
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

TEST(OptionPrintTest, NameEndsAtANullCharacterAsPrintfTakesIt) {
  int value = 1;
  std::vector<int> list = {2, 3};
  for (const auto& [type, variable, expected] :
       {std::tuple<Parser::OptionType, void*, const char*>{Parser::INT32, &value, "-x 1"},
        {Parser::VECTOR_OF_INT32, &list, "-x 2,3"}}) {
    Option option(type, "-x", "", variable);
    option.fullName = std::string("-x\0y", 4);
    std::string text;
    option.ToString(text);
    EXPECT_EQ(expected, text);
  }
}

TEST(OptionPrintTest, QuotesArePrintedButNeverRead) {
  ExpectParsed<std::string>(Parser::STRING, "\"abc\"", "\"abc\"");
}

// ---- Illegal types

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
