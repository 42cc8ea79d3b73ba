#include "Util/AppendFormat.h"

#include <gtest/gtest.h>

#include <cwchar>

namespace marrowfin::testing {
namespace {

[[gnu::format(printf, 2, 3)]] void AppendByList(std::string& text, const char* format, ...) {
  va_list args;
  va_start(args, format);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  AppendFormatList(text, format, args);
#pragma GCC diagnostic pop
  va_end(args);
}

TEST(AppendFormatTest, AppendsWhatPrintfWouldPrint) {
  std::string text = "before ";
  AppendFormat(text, "%s=%03d|%5.2f", "x", 7, 1.5);
  EXPECT_EQ("before x=007| 1.50", text);
  AppendFormat(text, "%c", '!');
  EXPECT_EQ("before x=007| 1.50!", text);
}

TEST(AppendFormatTest, AppendsNothingForAnEmptyPiece) {
  std::string text = "before";
  AppendFormat(text, "%s", "");
  EXPECT_EQ("before", text);
}

TEST(AppendFormatTest, PiecesAreWholeAtAnyLength) {
  for (const size_t length : {1u, 1022u, 1023u, 1024u, 1025u, 2047u, 2048u, 100000u}) {
    std::string piece(length, 'm');
    piece.front() = 'f';
    piece.back() = 'l';
    std::string text = "before ";
    AppendFormat(text, "%s", piece.c_str());
    EXPECT_EQ("before " + piece, text);
  }
}

TEST(AppendFormatTest, ListOfArgumentsGivesTheSame) {
  std::string text = "before ";
  AppendByList(text, "%d %s", 42, "end");
  EXPECT_EQ("before 42 end", text);
}

TEST(AppendFormatTest, ListOfArgumentsIsReadTwiceForALongPiece) {
  const std::string piece(5000, 'x');
  std::string text;
  AppendByList(text, "%d %s %d", 1, piece.c_str(), 2);
  EXPECT_EQ("1 " + piece + " 2", text);
}

TEST(AppendFormatTest, BytesOfZeroAreKept) {
  std::string text;
  AppendFormat(text, "a%cb", 0);
  EXPECT_EQ(std::string("a\0b", 3), text);
}

TEST(AppendFormatTest, PieceThatCannotBePrintedAppendsNothing) {
  // The C locale has no byte for this character.
  std::string text = "before";
  AppendFormat(text, "some %lc", static_cast<wint_t>(0x20AC));
  EXPECT_EQ("before", text);
}

}  // namespace
}  // namespace marrowfin::testing
