#include "Util/Printable.h"

#include <gtest/gtest.h>

#include <new>
#include <thread>

#include "tests/Util/Fixtures.h"
#include "tests/Util/VirtualSlots.h"

namespace marrowfin::testing {
namespace {

// Replaces what the string held, as most of the system's classes do.
class Replacing : public Printable {
 public:
  explicit Replacing(const std::string& text) : text(text) {}
  using Printable::ToString;
  const char* ToString(std::string& s) const override {
    s = text;
    return s.c_str();
  }

 private:
  std::string text;
};

TEST(PrintableTest, DefaultAppendsThatThereIsNoText) {
  const Printable printable;
  std::string text = "before ";
  const char* characters = printable.ToString(text);
  EXPECT_EQ("before UNDEFINED PRINT METHOD", text);
  EXPECT_EQ(text.c_str(), characters);
}

TEST(PrintableTest, TextWithoutAStringToPutItInIsTheSameAndNotPiledUp) {
  Printable printable;
  EXPECT_STREQ("UNDEFINED PRINT METHOD", printable.ToString());
  EXPECT_STREQ("UNDEFINED PRINT METHOD", printable.ToString());
  Replacing replacing("text");
  Printable& base = replacing;
  EXPECT_STREQ("text", base.ToString());
}

TEST(PrintableTest, TextWithoutAStringIsGoodUntilTheNextCallOfTheThread) {
  Replacing mine("mine");
  const char* text = mine.ToString();
  std::thread([] {
    Replacing other("other");
    EXPECT_STREQ("other", other.ToString());
  }).join();
  EXPECT_STREQ("mine", text);
}

TEST(PrintableTest, PrintWritesTheText) {
  const ScratchStream stream;
  Replacing replacing("one line\n");
  replacing.Print(stream.Get());
  Printable().Print(stream.Get());
  EXPECT_EQ("one line\nUNDEFINED PRINT METHOD", stream.Text());
}

TEST(PrintableTest, PrintTakesTheTextForAFormat) {
  const ScratchStream stream;
  Replacing replacing("100%%, 7%% %%d");
  replacing.Print(stream.Get());
  EXPECT_EQ("100%, 7% %d", stream.Text());
}

class SlotPrintable : public Printable {
 public:
  explicit SlotPrintable(std::string& called) : called(called) {}
  ~SlotPrintable() override { called += "destructor "; }
  const char* ToString() override {
    called += "ToString() ";
    return "a";
  }
  const char* ToString(std::string& s) const override {
    called += "ToString(s) ";
    return s.c_str();
  }
  void Print(FILE*) override { called += "Print "; }

 private:
  std::string& called;
};

TEST(PrintableTest, VirtualOperationsKeepTheirSlots) {
  std::string called;
  std::string text = "b";
  alignas(SlotPrintable) unsigned char memory[sizeof(SlotPrintable)];
  Printable* printable = new (memory) SlotPrintable(called);
  EXPECT_STREQ("a", CallSlot<const char*>(printable, 0));
  EXPECT_STREQ("b", (CallSlot<const char*, std::string*>(printable, 1, &text)));
  CallSlot<void, FILE*>(printable, 2, nullptr);
  CallSlot<void>(printable, 3);
  EXPECT_EQ("ToString() ToString(s) Print destructor ", called);
}

TEST(PrintableTest, HoldsNothingButItsVirtualOperations) {
  EXPECT_EQ(sizeof(void*), sizeof(Printable));
}

}  // namespace
}  // namespace marrowfin::testing
