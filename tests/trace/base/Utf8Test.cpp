#include "trace/base/Utf8.h"

#include <gtest/gtest.h>

namespace marrowfin::testing {
namespace {

TEST(Utf8Test, CharactersOfEveryLengthAreUtf8) {
  for (const std::string text :
       {"", "a", "\x7f", "\xc2\x80", "\xdf\xbf", "\xe0\xa0\x80", "\xed\x9f\xbf", "\xee\x80\x80",
        "\xef\xbf\xbf", "\xf0\x90\x80\x80", "\xf4\x8f\xbf\xbf", "z\xc3\xa4\xf0\x9f\x90\x9fz"}) {
    EXPECT_TRUE(IsUtf8(text)) << text;
    EXPECT_EQ(text, AsUtf8(text));
  }
}

TEST(Utf8Test, BytesThatArePartOfNoCharacterAreTold) {
  for (const std::string text :
       {"\x80", "\xc0\x80", "\xc1\xbf", "\xc3", "\xc3(", "\xe0\x9f\xbf", "\xed\xa0\x80", "\xe4\xb8",
        "\xf0\x8f\xbf\xbf", "\xf0\x9f\x90", "\xf4\x90\x80\x80", "\xf5\x80\x80\x80", "a\xff"}) {
    EXPECT_FALSE(IsUtf8(text)) << text;
    EXPECT_TRUE(IsUtf8(AsUtf8(text))) << text;
  }
}

TEST(Utf8Test, WhatStandsAroundSuchBytesIsKept) {
  EXPECT_EQ("a\xef\xbf\xbd(\xef\xbf\xbd\xc3\xa4", AsUtf8("a\xc3(\xff\xc3\xa4"));
}

}  // namespace
}  // namespace marrowfin::testing
