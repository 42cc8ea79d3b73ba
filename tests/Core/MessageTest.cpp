#include "Core/Message.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Core/Component.h"
#include "tests/Core/Capture.h"
#include "tests/support/Reports.h"

namespace {

using marrowfin::testing::AssertionReport;
using ::testing::ElementsAre;

std::vector<unsigned long long> Counters() {
  return {Message::newCalled, Message::deleteCalled, Message::allocated, Message::inUse,
          Message::maxInUse};
}

// Made before the library's own objects where the linker puts them behind this file's.
const std::vector<unsigned long long> atFirst = Counters();
Message* const earliest = new Message;
const std::vector<unsigned long long> afterOne = Counters();
const size_t statisticsAtFirst = Message::stats.stats.size();

TEST(MessageTest, TheCountersBeginAtZero) {
  EXPECT_THAT(atFirst, ElementsAre(0, 0, 0, 0, 0));
  EXPECT_THAT(afterOne, ElementsAre(1, 0, 64, 1, 1));
}

TEST(MessageTest, TheStatisticsAreThereForTheProgramsStaticObjects) {
  EXPECT_EQ(5u, statisticsAtFirst);
}

TEST(MessageTest, AMessageMadeBeforeTheStatisticsIsCounted) {
  EXPECT_EQ(1u, earliest->GetId());
  EXPECT_EQ(Message::inUse, Message::newCalled - Message::deleteCalled);
  EXPECT_GE(Message::maxInUse, Message::inUse);
  EXPECT_GE(Message::allocated, Message::inUse);
}

// A message of exactly SIZE bytes; every test uses sizes of its own, since the pool stays.
template <size_t SIZE>
struct Sized : Message {
  char contents[SIZE - sizeof(Message)];
};

template <class Type>
std::vector<Type*> Make(size_t count) {
  std::vector<Type*> messages;
  for (size_t i = 0; i < count; ++i) {
    messages.push_back(new Type);
  }
  return messages;
}

template <class Type>
void Destroy(const std::vector<Type*>& messages) {
  for (Type* message : messages) {
    delete message;
  }
}

// The pool.

TEST(MessagePoolTest, StorageIsTakenABlockOfMessagesAtATime) {
  using Type = Sized<112>;
  EXPECT_EQ(64u, Message::ALLOC_BLOCK_SIZE);
  const unsigned long long before = Message::allocated;
  std::vector<Type*> messages = Make<Type>(1);
  EXPECT_EQ(before + 64, Message::allocated);
  for (int i = 1; i < 64; ++i) {
    messages.push_back(new Type);
  }
  EXPECT_EQ(before + 64, Message::allocated);
  messages.push_back(new Type);
  EXPECT_EQ(before + 128, Message::allocated);
  Destroy(messages);
  EXPECT_EQ(before + 128, Message::allocated);
}

TEST(MessagePoolTest, MessagesMadeOneAfterAnotherLieOneAfterAnother) {
  using Type = Sized<144>;
  const std::vector<Type*> messages = Make<Type>(64);
  for (size_t i = 1; i < messages.size(); ++i) {
    EXPECT_EQ(144, reinterpret_cast<char*>(messages[i]) - reinterpret_cast<char*>(messages[i - 1]));
  }
  Destroy(messages);
}

TEST(MessagePoolTest, ASizeIsRoundedUpToTheAlignment) {
  using Type = Sized<168>;
  const std::vector<Type*> messages = Make<Type>(2);
  EXPECT_EQ(176, reinterpret_cast<char*>(messages[1]) - reinterpret_cast<char*>(messages[0]));
  Destroy(messages);
}

TEST(MessagePoolTest, EveryMessageHasStorageOfItsOwnAlignedForAnything) {
  using Type = Sized<200>;
  const std::vector<Type*> messages = Make<Type>(200);
  for (size_t i = 0; i < messages.size(); ++i) {
    EXPECT_EQ(0u, reinterpret_cast<uintptr_t>(messages[i]) % alignof(std::max_align_t));
    memset(messages[i]->contents, static_cast<int>(i), sizeof(messages[i]->contents));
  }
  for (size_t i = 0; i < messages.size(); ++i) {
    for (char c : messages[i]->contents) {
      ASSERT_EQ(static_cast<char>(i), c);
    }
  }
  Destroy(messages);
}

TEST(MessagePoolTest, TheStorageGivenBackLastIsUsedFirst) {
  using Type = Sized<208>;
  const std::vector<Type*> messages = Make<Type>(3);
  Destroy(messages);
  const std::vector<Type*> again = Make<Type>(3);
  EXPECT_THAT(again, ElementsAre(messages[2], messages[1], messages[0]));
  Destroy(again);
}

TEST(MessagePoolTest, StorageIsUsedAgainHoweverManyMessagesComeAndGo) {
  using Type = Sized<224>;
  const unsigned long long before = Message::allocated;
  for (int i = 0; i < 1000; ++i) {
    Destroy(Make<Type>(64));
  }
  EXPECT_EQ(before + 64, Message::allocated);
}

TEST(MessagePoolTest, SizesOfOneUnitShareTheirStorageAndOthersDoNot) {
  auto* small = new Sized<248>;
  void* storage = small;
  delete small;
  auto* large = new Sized<264>;
  EXPECT_NE(storage, static_cast<void*>(large));
  auto* same = new Sized<256>;
  EXPECT_EQ(storage, static_cast<void*>(same));
  delete large;
  delete same;
}

TEST(MessagePoolTest, AMessageDestroyedAsItsBaseGoesBackToItsOwnList) {
  auto* message = new Sized<288>;
  void* storage = message;
  delete static_cast<Message*>(message);
  auto* again = new Sized<288>;
  EXPECT_EQ(storage, static_cast<void*>(again));
  delete again;
}

TEST(MessagePoolTest, TheLargestPooledMessageHasFourKilobytesLessOneUnit) {
  const unsigned long long before = Message::allocated;
  delete new Sized<4080>;
  EXPECT_EQ(before + 64, Message::allocated);
  auto* message = new Sized<4072>;
  EXPECT_EQ(before + 64, Message::allocated);
  delete message;
}

TEST(MessagePoolTest, AnEvenLargerMessageIsTakenFromTheSystemAndGivenBack) {
  const unsigned long long before = Message::allocated;
  auto* first = new Sized<4088>;
  EXPECT_EQ(before + 1, Message::allocated);
  auto* second = new Sized<100000>;
  EXPECT_EQ(before + 2, Message::allocated);
  memset(first->contents, 1, sizeof(first->contents));
  memset(second->contents, 1, sizeof(second->contents));
  delete first;
  EXPECT_EQ(before + 1, Message::allocated);
  delete second;
  EXPECT_EQ(before, Message::allocated);
}

TEST(MessagePoolTest, AByteMoreThanFitsIntoAUnitTakesAnother) {
  const unsigned long long before = Message::allocated;
  void* storage = Message::operator new(4081);
  EXPECT_EQ(before + 1, Message::allocated);
  Message::operator delete(storage, 4081);
  EXPECT_EQ(before, Message::allocated);
}

// A message that wants more than the pool's alignment, pooled by its size or not.
template <size_t ALIGNMENT, size_t SIZE>
struct alignas(ALIGNMENT) Aligned : Message {
  char contents[SIZE];
};

template <class Type>
void ExpectAligned() {
  const unsigned long long made = Message::newCalled;
  const unsigned long long allocated = Message::allocated;
  std::vector<Type*> messages = Make<Type>(5);
  EXPECT_EQ(made + 5, Message::newCalled);
  EXPECT_EQ(allocated + 5, Message::allocated);
  for (Type* message : messages) {
    EXPECT_EQ(0u, reinterpret_cast<uintptr_t>(message) % alignof(Type));
    memset(message->contents, 1, sizeof(message->contents));
  }
  const unsigned long long destroyed = Message::deleteCalled;
  const unsigned long long inUse = Message::inUse;
  for (Type* message : messages) {
    Message::Release(message);
  }
  EXPECT_EQ(destroyed + 5, Message::deleteCalled);
  EXPECT_EQ(inUse - 5, Message::inUse);
  EXPECT_EQ(allocated, Message::allocated);
}

TEST(MessagePoolTest, AMessageWithAnAlignmentOfItsOwnHasIt) {
  ExpectAligned<Aligned<32, 8>>();
  ExpectAligned<Aligned<64, 100>>();
  ExpectAligned<Aligned<4096, 10000>>();
}

TEST(MessagePoolTest, AMessageWithThePoolsAlignmentComesFromThePool) {
  using Type = Aligned<alignof(std::max_align_t), 250>;
  const unsigned long long before = Message::allocated;
  delete new Type;
  EXPECT_EQ(before + 64, Message::allocated);
}

TEST(MessagePoolTest, GivingBackNothingWithAnAlignmentIsNotCounted) {
  const unsigned long long destroyed = Message::deleteCalled;
  Message::operator delete (nullptr, sizeof(Message), std::align_val_t{64});
  EXPECT_EQ(destroyed, Message::deleteCalled);
}

// The counters.

TEST(MessageTest, MakingAndDestroyingIsCounted) {
  const unsigned long long made = Message::newCalled;
  const unsigned long long destroyed = Message::deleteCalled;
  const unsigned long long inUse = Message::inUse;
  auto* pooled = new Message;
  auto* large = new Sized<5000>;
  EXPECT_EQ(made + 2, Message::newCalled);
  EXPECT_EQ(destroyed, Message::deleteCalled);
  EXPECT_EQ(inUse + 2, Message::inUse);
  delete pooled;
  EXPECT_EQ(destroyed + 1, Message::deleteCalled);
  EXPECT_EQ(inUse + 1, Message::inUse);
  delete large;
  EXPECT_EQ(made + 2, Message::newCalled);
  EXPECT_EQ(destroyed + 2, Message::deleteCalled);
  EXPECT_EQ(inUse, Message::inUse);
}

TEST(MessageTest, TheMostMessagesAtATimeAreRemembered) {
  Destroy(Make<Message>(500));
  const unsigned long long most = Message::maxInUse;
  EXPECT_EQ(Message::inUse + 500, most);
  Destroy(Make<Message>(400));
  EXPECT_EQ(most, Message::maxInUse);
  Destroy(Make<Message>(501));
  EXPECT_EQ(most + 1, Message::maxInUse);
}

TEST(MessageTest, AMessageThatWasNotMadeWithNewIsNotCounted) {
  const unsigned long long made = Message::newCalled;
  const unsigned long long destroyed = Message::deleteCalled;
  { const Message message; }
  EXPECT_EQ(made, Message::newCalled);
  EXPECT_EQ(destroyed, Message::deleteCalled);
}

TEST(MessageTest, GivingBackNothingIsNotCounted) {
  const unsigned long long destroyed = Message::deleteCalled;
  const unsigned long long inUse = Message::inUse;
  Message::operator delete(nullptr, sizeof(Message));
  EXPECT_EQ(destroyed, Message::deleteCalled);
  EXPECT_EQ(inUse, Message::inUse);
}

// Sets the counters to what a test wants to see, for its duration.
class FakeCounters {
 public:
  FakeCounters() : saved(Counters()) { Set({101, 102, 103, 104, 105}); }
  ~FakeCounters() { Set(saved); }

 private:
  static void Set(const std::vector<unsigned long long>& values) {
    Message::newCalled = values[0];
    Message::deleteCalled = values[1];
    Message::allocated = values[2];
    Message::inUse = values[3];
    Message::maxInUse = values[4];
  }
  std::vector<unsigned long long> saved;
};

TEST(MessageTest, TheStatusShowsTheCounters) {
  const FakeCounters counters;
  EXPECT_EQ(
      "Messages made:      101\n"
      "Messages destroyed: 102\n"
      "Messages in use:    104 (at most 105)\n"
      "Messages allocated: 103\n",
      WrittenBy(Message::DumpStatus));
}

TEST(MessageTest, TheCountersAreStatistics) {
  const FakeCounters counters;
  std::vector<std::pair<std::string, unsigned long long>> read;
  for (const StatsContainer::Stat& stat : Message::stats.stats) {
    EXPECT_EQ(StatsContainer::COUNTER, stat.type);
    read.emplace_back(stat.GetName() + ": " + stat.description,
                      *static_cast<const unsigned long long*>(stat.storage));
  }
  using Pair = std::pair<std::string, unsigned long long>;
  EXPECT_THAT(read,
              ElementsAre(Pair("messages/newCalled: messages made", 101),
                          Pair("messages/deleteCalled: messages destroyed", 102),
                          Pair("messages/allocated: messages for which storage was taken", 103),
                          Pair("messages/inUse: messages that exist", 104),
                          Pair("messages/maxInUse: most messages that existed at a time", 105)));
}

// Identity, copies and text.

TEST(MessageTest, IdentifiersAreUniqueAndCountUp) {
  const unsigned long long next = Message::MessageIdToken;
  Message first;
  Message second;
  EXPECT_EQ(next, first.GetId());
  EXPECT_EQ(next, first.MessageId);
  EXPECT_EQ(next + 1, second.GetId());
  EXPECT_EQ(next + 2, Message::MessageIdToken);
}

struct OpenMessage : Message {
  using Message::Buffer;
  using Message::holders;
};

TEST(MessageTest, ANewMessageHasNeitherEndsNorHoldersNorABuffer) {
  const OpenMessage message;
  EXPECT_EQ(nullptr, message.src);
  EXPECT_EQ(nullptr, message.dst);
  EXPECT_EQ(0, message.holders);
  EXPECT_EQ(nullptr, message.Buffer);
}

class MessageCopyTest : public ::testing::Test {
 protected:
  MessageCopyTest() : from("from"), to("to"), message(new OpenMessage) {
    message->src = &from;
    message->dst = &to;
    Message::Take(message);
    buffer.Push(message);
  }
  ~MessageCopyTest() override { Message::Release(message); }

  Component from;
  Component to;
  OpenMessage* message;
  MessageBuffer buffer;
};

TEST_F(MessageCopyTest, ACopyHasTheSameEndsButNoHoldersNoBufferAndItsOwnIdentifier) {
  const unsigned long long next = Message::MessageIdToken;
  const OpenMessage copy(*message);
  EXPECT_EQ(&from, copy.src);
  EXPECT_EQ(&to, copy.dst);
  EXPECT_EQ(0, copy.holders);
  EXPECT_EQ(nullptr, copy.Buffer);
  EXPECT_EQ(next, copy.MessageId);
  EXPECT_EQ(next + 1, Message::MessageIdToken);
  EXPECT_EQ(2, message->holders);
  EXPECT_EQ(&buffer, message->Buffer);
}

TEST_F(MessageCopyTest, AssignmentTakesTheEndsAndKeepsTheIdentity) {
  OpenMessage target;
  const unsigned long long id = target.GetId();
  EXPECT_EQ(&target, &(target = *message));
  EXPECT_EQ(&from, target.src);
  EXPECT_EQ(&to, target.dst);
  EXPECT_EQ(0, target.holders);
  EXPECT_EQ(nullptr, target.Buffer);
  EXPECT_EQ(id, target.GetId());
  *message = OpenMessage();
  EXPECT_EQ(nullptr, message->src);
  EXPECT_EQ(2, message->holders);
  EXPECT_EQ(&buffer, message->Buffer);
}

TEST_F(MessageCopyTest, ACloneIsANewMessageWithTheSameEnds) {
  const unsigned long long next = Message::MessageIdToken;
  Message* clone = message->Clone();
  EXPECT_NE(clone, message);
  EXPECT_EQ(&from, clone->src);
  EXPECT_EQ(&to, clone->dst);
  EXPECT_EQ(next, clone->GetId());
  Message::Release(clone);
}

TEST(MessageTest, AClonesClassIsThatOfTheSubclass) {
  struct Flit : Message {
    Message* Clone() override { return new Flit(*this); }
    int word = 0;
  };
  Flit flit;
  flit.word = 42;
  const std::unique_ptr<Message> clone(static_cast<Message&>(flit).Clone());
  ASSERT_NE(nullptr, dynamic_cast<Flit*>(clone.get()));
  EXPECT_EQ(42, static_cast<Flit&>(*clone).word);
}

TEST(MessageTest, TheTextNamesIdentifierSenderAndReceiver) {
  Component from("a");
  Component to("b");
  from.theFullName = "top/a";
  to.theFullName = "top/b";
  Message message;
  message.MessageId = 18446744073709551615U;
  std::string s = "before";
  EXPECT_STREQ("Message 18446744073709551615 from - to -", message.ToString(s));
  message.src = &from;
  EXPECT_STREQ("Message 18446744073709551615 from top/a to -", message.ToString(s));
  message.dst = &to;
  const char* text = message.ToString(s);
  EXPECT_EQ("Message 18446744073709551615 from top/a to top/b", s);
  EXPECT_EQ(text, s.c_str());
}

// Holders.

struct CountedMessage : Message {
  ~CountedMessage() override { ++destroyed; }
  static int destroyed;
};
int CountedMessage::destroyed = 0;

class HolderTest : public ::testing::Test {
 protected:
  HolderTest() { CountedMessage::destroyed = 0; }
};

TEST_F(HolderTest, TheLastReleaseDestroysTheMessage) {
  auto* message = new CountedMessage;
  Message::Take(message);
  Message::Take(message);
  Message::Take(message);
  Message::Release(message);
  Message::Release(message);
  EXPECT_EQ(0, CountedMessage::destroyed);
  Message::Release(message);
  EXPECT_EQ(1, CountedMessage::destroyed);
}

TEST_F(HolderTest, AMessageThatNobodyTookIsDestroyedByItsFirstRelease) {
  Message::Release(new CountedMessage);
  EXPECT_EQ(1, CountedMessage::destroyed);
}

// Buffers.

using MessageBufferTest = HolderTest;

TEST_F(MessageBufferTest, MessagesComeOutInTheOrderInWhichTheyWentIn) {
  MessageBuffer buffer;
  std::vector<Message*> messages = Make<Message>(3);
  for (Message* message : messages) {
    EXPECT_TRUE(buffer.Push(message));
  }
  for (Message* message : messages) {
    EXPECT_EQ(message, buffer.Front());
    EXPECT_EQ(message, buffer.Pop());
    Message::Release(message);
  }
  EXPECT_EQ(nullptr, buffer.Front());
  EXPECT_EQ(nullptr, buffer.Pop());
}

TEST_F(MessageBufferTest, TheSizeCountsWhatIsQueued) {
  MessageBuffer buffer(2);
  EXPECT_EQ(2u, buffer.Capacity());
  EXPECT_EQ(0u, buffer.Size());
  EXPECT_TRUE(buffer.IsEmpty());
  EXPECT_FALSE(buffer.IsFull());
  buffer.Push(new Message);
  EXPECT_EQ(1u, buffer.Size());
  EXPECT_FALSE(buffer.IsEmpty());
  EXPECT_FALSE(buffer.IsFull());
  buffer.Push(new Message);
  EXPECT_EQ(2u, buffer.Size());
  EXPECT_TRUE(buffer.IsFull());
  Message::Release(buffer.Pop());
  EXPECT_EQ(1u, buffer.Size());
  EXPECT_FALSE(buffer.IsFull());
}

TEST_F(MessageBufferTest, AFullBufferTakesNothing) {
  MessageBuffer buffer(1);
  auto* first = new CountedMessage;
  auto* second = new OpenMessage;
  EXPECT_TRUE(buffer.Push(first));
  EXPECT_FALSE(buffer.Push(second));
  EXPECT_EQ(1u, buffer.Size());
  EXPECT_EQ(first, buffer.Front());
  EXPECT_EQ(0, second->holders);
  EXPECT_EQ(nullptr, second->Buffer);
  Message::Release(second);
}

TEST_F(MessageBufferTest, AMessageThatWaitsCannotBeQueuedAgainHereOrElsewhere) {
  MessageBuffer buffer;
  MessageBuffer other;
  MessageBuffer full(1);
  full.Push(new Message);
  auto* message = new Message;
  buffer.Push(message);
  for (MessageBuffer* again : {&buffer, &other, &full}) {
    EXPECT_EXIT(again->Push(message), ::testing::KilledBySignal(SIGABRT),
                AssertionReport("Core/Message.cpp", "message->Buffer == nullptr"));
  }
  buffer.Pop();
  EXPECT_TRUE(other.Push(message));
}

TEST_F(MessageBufferTest, ABufferWithoutACapacityIsNeverFull) {
  MessageBuffer buffer;
  EXPECT_EQ(0u, buffer.Capacity());
  EXPECT_FALSE(buffer.IsFull());
  for (int i = 0; i < 1000; ++i) {
    EXPECT_TRUE(buffer.Push(new CountedMessage));
  }
  EXPECT_FALSE(buffer.IsFull());
  EXPECT_EQ(1000u, buffer.Size());
}

TEST_F(MessageBufferTest, ABufferHoldsWhatItQueuesAndHandsTheHoldOver) {
  MessageBuffer buffer;
  auto* message = new OpenMessage;
  buffer.Push(message);
  EXPECT_EQ(1, message->holders);
  EXPECT_EQ(&buffer, message->Buffer);
  buffer.Front();
  EXPECT_EQ(1, message->holders);
  buffer.Pop();
  EXPECT_EQ(1, message->holders);
  EXPECT_EQ(nullptr, message->Buffer);
  Message::Release(message);
}

TEST_F(MessageBufferTest, DestroyingABufferReleasesWhatIsLeft) {
  auto* kept = new CountedMessage;
  Message::Take(kept);
  {
    MessageBuffer buffer;
    buffer.Push(new CountedMessage);
    buffer.Push(kept);
    buffer.Push(new CountedMessage);
  }
  EXPECT_EQ(2, CountedMessage::destroyed);
  Message::Release(kept);
  EXPECT_EQ(3, CountedMessage::destroyed);
}

}  // namespace
