#include "convert/import/NamedEvent.h"

#include <gtest/gtest.h>

#include <string>

namespace marrowfin {
namespace {

TEST(NamedEventTest, AsManyNamesAreKeptAsACompanionMayHave) {
  constexpr uint32_t MOST = 65536;
  FoundNames names;
  for (uint32_t i = 0; i <= MOST; ++i) {
    names.AddThread(i, "t" + std::to_string(i));
    names.AddPlace({i % 1024, i / 1024}, "p" + std::to_string(i));
  }
  About about;
  names.Describe(about);
  EXPECT_EQ(about.threads.size(), MOST);
  EXPECT_EQ(about.threads.at(MOST - 1).name, "t65535");
  EXPECT_EQ(about.places.size(), MOST);
  EXPECT_EQ(about.places.at({1023, 63}), "p65535");
}

TEST(NamedEventTest, NamesThatAreEmptyOrTooLongAreNone) {
  FoundNames names;
  names.AddThread(1, "");
  names.AddThread(2, std::string(257, 'x'));
  names.AddThread(3, std::string(256, 'x'));
  About about;
  names.Describe(about);
  EXPECT_EQ(about.threads.size(), 1U);
  EXPECT_TRUE(about.threads.contains(3));
}

}  // namespace
}  // namespace marrowfin
