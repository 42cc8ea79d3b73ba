#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "Core/VisTool.h"
#include "tests/support/Reports.h"

namespace {

using marrowfin::testing::AssertionReport;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::KilledBySignal;
using ::testing::StartsWith;

std::vector<uint32> WordsOf(const BinaryEvent& record) {
  return {record.data, record.data + record.dataLength / 4};
}

void Fill(BinaryEvent& record, uint32 type, const std::vector<uint32>& words) {
  record.type = type;
  record.cyc = 0x100000002;
  record.tid = 3;
  record.dataLength = static_cast<uint32>(4 * words.size());
  record.data = new uint32[words.size()];
  std::copy(words.begin(), words.end(), record.data);
}

std::string TextOf(const Printable& printable) {
  std::string s;
  return printable.ToString(s);
}

// Class codes.

TEST(EventClassTest, EveryClassHasItsCodeAndOneBitPerLevel) {
  const Location l(0, 0);
  const VisToolEvent event(0, 0);
  const LocationEvent location(0, 0, l);
  const NetworkSwitchTransmission transmission(0, 0, l);
  const PEFire fire(0, 0, l);
  const MessageSend send(0, 0, l, l);
  EXPECT_EQ(0u, event.Class());
  EXPECT_EQ(0x1u, event.type);
  EXPECT_EQ(1u, location.Class());
  EXPECT_EQ(0x3u, location.type);
  EXPECT_EQ(2u, transmission.Class());
  EXPECT_EQ(0x7u, transmission.type);
  EXPECT_EQ(3u, fire.Class());
  EXPECT_EQ(0xBu, fire.type);
  EXPECT_EQ(4u, send.Class());
  EXPECT_EQ(0x11u, send.type);
}

TEST(EventClassTest, EveryEventIsAnEventAndOnlySomeAreLocationEvents) {
  const Location l(0, 0);
  const NetworkSwitchTransmission transmission(0, 0, l);
  const PEFire fire(0, 0, l);
  const MessageSend send(0, 0, l, l);
  for (const VisToolEvent* event : std::vector<const VisToolEvent*>{&transmission, &fire, &send}) {
    EXPECT_TRUE(event->IsA(VIS_TOOL_EVENT));
  }
  EXPECT_TRUE(fire.IsA(LOCATION_EVENT));
  EXPECT_TRUE(transmission.IsA(LOCATION_EVENT));
  EXPECT_FALSE(send.IsA(LOCATION_EVENT));
  EXPECT_FALSE(fire.IsA(NETWORK_SWITCH_TRANSMISSION));
  EXPECT_FALSE(transmission.IsA(PE_FIRE));
  EXPECT_TRUE(send.IsA(MESSAGE_SEND));
}

// Construction.

TEST(EventTest, TheConstructorsTakeCycleThreadAndLocations) {
  const Location here(5, 6);
  const Location there(7, 8);
  const VisToolEvent event(1, 2);
  EXPECT_EQ(1u, event.cyc);
  EXPECT_EQ(2u, event.thread);
  const LocationEvent location(3, 4, here);
  EXPECT_EQ(3u, location.cyc);
  EXPECT_EQ(4u, location.thread);
  EXPECT_EQ(here, location.l);
  const PEFire fire(9, 10, here);
  EXPECT_EQ(9u, fire.cyc);
  EXPECT_EQ(10u, fire.thread);
  EXPECT_EQ(here, fire.l);
  const NetworkSwitchTransmission transmission(11, 12, there);
  EXPECT_EQ(11u, transmission.cyc);
  EXPECT_EQ(12u, transmission.thread);
  EXPECT_EQ(there, transmission.l);
  const MessageSend send(13, 14, here, there);
  EXPECT_EQ(13u, send.cyc);
  EXPECT_EQ(14u, send.thread);
  EXPECT_EQ(here, send.from);
  EXPECT_EQ(there, send.to);
}

TEST(EventTest, CyclesAreSixtyFourBitsWide) {
  EXPECT_EQ(0xFFFFFFFFFFFFFFFFu, VisToolEvent(0xFFFFFFFFFFFFFFFF, 0).cyc);
}

// To a record.

TEST(EventTest, TheBaseEventMakesARecordWithoutPayload) {
  BinaryEvent record;
  Fill(record, 9, {1, 2});
  VisToolEvent(0x100000002, 3).ToBinaryEvent(record);
  EXPECT_EQ(0u, record.type);
  EXPECT_EQ(0x100000002u, record.cyc);
  EXPECT_EQ(3u, record.tid);
  EXPECT_EQ(0u, record.dataLength);
  EXPECT_EQ(nullptr, record.data);
}

TEST(EventTest, ALocationEventWritesColumnThenRow) {
  BinaryEvent record;
  LocationEvent(1, 2, Location(20, 30)).ToBinaryEvent(record);
  EXPECT_EQ(1u, record.type);
  EXPECT_EQ(1u, record.cyc);
  EXPECT_EQ(2u, record.tid);
  EXPECT_EQ(8u, record.dataLength);
  EXPECT_THAT(WordsOf(record), ElementsAre(30, 20));
}

TEST(EventTest, AFireWritesItsCodeAndColumnThenRow) {
  BinaryEvent record;
  PEFire(5, 1, Location(2, 7)).ToBinaryEvent(record);
  EXPECT_EQ(3u, record.type);
  EXPECT_EQ(5u, record.cyc);
  EXPECT_EQ(1u, record.tid);
  EXPECT_EQ(8u, record.dataLength);
  EXPECT_THAT(WordsOf(record), ElementsAre(7, 2));
}

TEST(EventTest, ATransmissionWritesItsCodeAndColumnThenRow) {
  BinaryEvent record;
  NetworkSwitchTransmission(6, 2, Location(4, 12)).ToBinaryEvent(record);
  EXPECT_EQ(2u, record.type);
  EXPECT_EQ(6u, record.cyc);
  EXPECT_EQ(2u, record.tid);
  EXPECT_EQ(8u, record.dataLength);
  EXPECT_THAT(WordsOf(record), ElementsAre(12, 4));
}

TEST(EventTest, AMessageWritesSenderThenReceiverColumnsFirst) {
  BinaryEvent record;
  MessageSend(7, 8, Location(1, 2), Location(3, 4)).ToBinaryEvent(record);
  EXPECT_EQ(4u, record.type);
  EXPECT_EQ(7u, record.cyc);
  EXPECT_EQ(8u, record.tid);
  EXPECT_EQ(16u, record.dataLength);
  EXPECT_THAT(WordsOf(record), ElementsAre(2, 1, 4, 3));
}

TEST(EventTest, AMessageToItsOwnSenderStillWritesAllFourWords) {
  BinaryEvent record;
  MessageSend(0, 0, Location(1, 2), Location(1, 2)).ToBinaryEvent(record);
  EXPECT_EQ(16u, record.dataLength);
  EXPECT_THAT(WordsOf(record), ElementsAre(2, 1, 2, 1));
}

TEST(EventTest, ThePayloadIsANewArrayOfTheRecord) {
  const PEFire fire(5, 1, Location(2, 7));
  BinaryEvent first;
  BinaryEvent second;
  fire.ToBinaryEvent(first);
  fire.ToBinaryEvent(second);
  EXPECT_NE(first.data, second.data);
  second.data[0] = 99;
  EXPECT_EQ(7u, first.data[0]);
  EXPECT_EQ(7u, fire.l.column);
}

// From a record.

TEST(EventTest, TheBaseEventTakesCycleAndThread) {
  BinaryEvent record;
  Fill(record, 0, {});
  VisToolEvent event(0, 0);
  event.FromBinaryEvent(record);
  EXPECT_EQ(0x100000002u, event.cyc);
  EXPECT_EQ(3u, event.thread);
}

TEST(EventTest, ALocationEventTakesColumnThenRow) {
  BinaryEvent record;
  Fill(record, 1, {30, 20});
  LocationEvent event(0, 0, Location(0, 0));
  event.FromBinaryEvent(record);
  EXPECT_EQ(0x100000002u, event.cyc);
  EXPECT_EQ(3u, event.thread);
  EXPECT_EQ(30u, event.l.column);
  EXPECT_EQ(20u, event.l.row);
}

TEST(EventTest, AMessageTakesSenderThenReceiverColumnsFirst) {
  BinaryEvent record;
  Fill(record, 4, {10, 20, 30, 40});
  MessageSend event(0, 0, Location(0, 0), Location(0, 0));
  event.FromBinaryEvent(record);
  EXPECT_EQ(0x100000002u, event.cyc);
  EXPECT_EQ(3u, event.thread);
  EXPECT_EQ(Location(20, 10), event.from);
  EXPECT_EQ(Location(40, 30), event.to);
}

TEST(EventTest, TheRecordKeepsItsPayload) {
  BinaryEvent record;
  Fill(record, 3, {30, 20});
  const uint32* data = record.data;
  {
    PEFire event(0, 0, Location(0, 0));
    event.FromBinaryEvent(record);
    event.l.column = 1;
  }
  EXPECT_EQ(data, record.data);
  EXPECT_THAT(WordsOf(record), ElementsAre(30, 20));
}

TEST(EventTest, AllBitsOfRowsAndColumnsSurviveTheRoundTrip) {
  const Location from(65536, 4294967295U);
  const Location to(0x80000001, 70000);
  BinaryEvent send;
  MessageSend(0xFFFFFFFFFFFFFFFF, 4294967295U, from, to).ToBinaryEvent(send);
  MessageSend sendBack(0, 0, Location(0, 0), Location(0, 0));
  sendBack.FromBinaryEvent(send);
  EXPECT_EQ(0xFFFFFFFFFFFFFFFFu, sendBack.cyc);
  EXPECT_EQ(4294967295U, sendBack.thread);
  EXPECT_EQ(from, sendBack.from);
  EXPECT_EQ(to, sendBack.to);

  BinaryEvent fire;
  PEFire(0, 0, to).ToBinaryEvent(fire);
  PEFire fireBack(0, 0, Location(0, 0));
  fireBack.FromBinaryEvent(fire);
  EXPECT_EQ(to, fireBack.l);
}

// Failed checks.

TEST(EventDeathTest, ALocationRecordOfAnotherLengthFailsTheLengthCheck) {
  for (uint32 length : {0U, 4U, 7U, 9U, 12U, 16U}) {
    for (int type : {1, 2, 3}) {
      BinaryEvent record;
      Fill(record, type, {1, 2, 3, 4});
      record.dataLength = length;
      std::unique_ptr<LocationEvent> event;
      event.reset(type == 1   ? new LocationEvent(0, 0, Location(0, 0))
                  : type == 2 ? new NetworkSwitchTransmission(0, 0, Location(0, 0))
                              : static_cast<LocationEvent*>(new PEFire(0, 0, Location(0, 0))));
      EXPECT_EXIT(event->FromBinaryEvent(record), KilledBySignal(SIGABRT),
                  AssertionReport("Core/VisTool.cpp", "e.dataLength == sizeof(uint32) * 2"));
    }
  }
}

TEST(EventDeathTest, AMessageRecordOfAnotherLengthFailsTheLengthCheck) {
  for (uint32 length : {0U, 8U, 12U, 15U, 17U, 20U}) {
    BinaryEvent record;
    Fill(record, 4, {1, 2, 3, 4, 5});
    record.dataLength = length;
    MessageSend event(0, 0, Location(0, 0), Location(0, 0));
    EXPECT_EXIT(event.FromBinaryEvent(record), KilledBySignal(SIGABRT),
                AssertionReport("Core/VisTool.cpp", "e.dataLength == sizeof(uint32) * 4"));
  }
}

TEST(EventDeathTest, ARecordOfAnotherTypeFailsTheClassCheck) {
  const auto report = AssertionReport("Core/VisTool.cpp", "Class() == e.type");
  BinaryEvent empty;
  Fill(empty, 1, {});
  VisToolEvent event(0, 0);
  EXPECT_EXIT(event.FromBinaryEvent(empty), KilledBySignal(SIGABRT), report);
  BinaryEvent location;
  Fill(location, 2, {1, 2});
  PEFire fire(0, 0, Location(0, 0));
  EXPECT_EXIT(fire.FromBinaryEvent(location), KilledBySignal(SIGABRT), report);
  BinaryEvent message;
  Fill(message, 3, {1, 2, 3, 4});
  MessageSend send(0, 0, Location(0, 0), Location(0, 0));
  EXPECT_EXIT(send.FromBinaryEvent(message), KilledBySignal(SIGABRT), report);
}

// Reads a record into an event and, when that aborts, tells on standard error what the event has
// become by then.
class Autopsy {
 public:
  static void OfLocation(LocationEvent* event, const BinaryEvent& record) {
    location = event;
    Read(event, record);
  }
  static void OfMessage(MessageSend* event, const BinaryEvent& record) {
    message = event;
    Read(event, record);
  }

 private:
  static void Read(VisToolEvent* event, const BinaryEvent& record) {
    signal(SIGABRT, [](int) {
      const VisToolEvent* event = message;
      if (message != nullptr) {
        fprintf(stderr, "from %u %u to %u %u ", message->from.column, message->from.row,
                message->to.column, message->to.row);
      } else {
        event = location;
        fprintf(stderr, "at %u %u ", location->l.column, location->l.row);
      }
      fprintf(stderr, "cycle %llu thread %u", event->cyc, event->thread);
    });
    event->FromBinaryEvent(record);
  }

  static LocationEvent* location;
  static MessageSend* message;
};

LocationEvent* Autopsy::location = nullptr;
MessageSend* Autopsy::message = nullptr;

TEST(EventDeathTest, AWrongLengthChangesNoField) {
  BinaryEvent record;
  Fill(record, 3, {1, 2, 3});
  PEFire fire(10, 11, Location(12, 13));
  EXPECT_EXIT(Autopsy::OfLocation(&fire, record), KilledBySignal(SIGABRT),
              EndsWith("* 2'\nat 13 12 cycle 10 thread 11"));
  record.type = 4;
  MessageSend send(10, 11, Location(12, 13), Location(14, 15));
  EXPECT_EXIT(Autopsy::OfMessage(&send, record), KilledBySignal(SIGABRT),
              EndsWith("* 4'\nfrom 13 12 to 15 14 cycle 10 thread 11"));
}

TEST(EventDeathTest, AWrongTypeIsFoundAfterTheLocationsAreCopiedAndBeforeTheRest) {
  BinaryEvent location;
  Fill(location, 2, {30, 20});
  PEFire fire(10, 11, Location(12, 13));
  EXPECT_EXIT(Autopsy::OfLocation(&fire, location), KilledBySignal(SIGABRT),
              EndsWith("`Class() == e.type'\nat 30 20 cycle 10 thread 11"));
  BinaryEvent message;
  Fill(message, 2, {30, 20, 50, 40});
  MessageSend send(10, 11, Location(12, 13), Location(14, 15));
  EXPECT_EXIT(Autopsy::OfMessage(&send, message), KilledBySignal(SIGABRT),
              EndsWith("`Class() == e.type'\nfrom 30 20 to 50 40 cycle 10 thread 11"));
}

// Texts.

TEST(EventTextTest, TheBaseEventHasNoTextOfItsOwn) {
  std::string s = "before ";
  EXPECT_STREQ("before UNDEFINED PRINT METHOD", VisToolEvent(1, 2).ToString(s));
}

TEST(EventTextTest, ALocationEventBuildsOnTheBaseText) {
  EXPECT_EQ("UNDEFINED PRINT METHOD LocationEvent (   30,    20)",
            TextOf(LocationEvent(1, 2, Location(20, 30))));
}

TEST(EventTextTest, AFireBuildsOnTheBaseText) {
  EXPECT_EQ("UNDEFINED PRINT METHOD PEFire (    7,     2)", TextOf(PEFire(5, 1, Location(2, 7))));
}

TEST(EventTextTest, ATransmissionHasNoBaseText) {
  EXPECT_EQ("NetworkSwitchTransmission (   12,     4)",
            TextOf(NetworkSwitchTransmission(6, 2, Location(4, 12))));
}

TEST(EventTextTest, AMessageBuildsOnTheBaseTextAndEndsItsLine) {
  EXPECT_EQ("UNDEFINED PRINT METHOD MessageSend (    2,     1) -> (    4,     3)\n",
            TextOf(MessageSend(7, 8, Location(1, 2), Location(3, 4))));
}

TEST(EventTextTest, EveryTextReplacesWhatTheStringHeldAndIsTheStringsOwn) {
  const Location l(0, 0);
  const LocationEvent location(0, 0, l);
  const PEFire fire(0, 0, l);
  const NetworkSwitchTransmission transmission(0, 0, l);
  const MessageSend send(0, 0, l, l);
  for (const Printable* event :
       std::vector<const Printable*>{&location, &fire, &transmission, &send}) {
    std::string s = "before";
    const char* text = event->ToString(s);
    EXPECT_EQ(text, s.c_str());
    EXPECT_EQ(TextOf(*event), s);
    EXPECT_THAT(s, ::testing::Not(StartsWith("before")));
  }
}

TEST(EventTextTest, TheLargestNumbersFitIntoTheText) {
  const Location far(4294967295U, 4294967295U);
  EXPECT_EQ(
      "UNDEFINED PRINT METHOD MessageSend (4294967295, 4294967295) -> "
      "(4294967295, 4294967295)\n",
      TextOf(MessageSend(0, 0, far, far)));
}

// A text that a subclass might give the base event would not change those of the events above: they
// name the base's operation outright.
TEST(EventTextTest, TheBaseTextIsNotAskedOfTheObject) {
  struct Named : LocationEvent {
    using LocationEvent::LocationEvent;
    using LocationEvent::ToString;
    const char* ToString(std::string& s) const override { return (s = "named").c_str(); }
  };
  const Named named(0, 0, Location(1, 2));
  std::string s;
  EXPECT_STREQ("UNDEFINED PRINT METHOD LocationEvent (    2,     1)",
               named.LocationEvent::ToString(s));
}

}  // namespace
