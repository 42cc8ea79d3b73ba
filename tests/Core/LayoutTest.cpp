// What code compiled apart relies on: slots of virtual operations, order of bases and of fields.

#include <gtest/gtest.h>

#include <cstddef>
#include <new>
#include <string>
#include <type_traits>
#include <vector>

#include "Core/Component.h"
#include "Core/VisTool.h"
#include "tests/support/VirtualSlots.h"

namespace {

using marrowfin::testing::CallVirtualSlot;
using marrowfin::testing::VirtualSlot;

// The offset of a base or a field in an object.
template <class Object, class Part>
ptrdiff_t OffsetOf(const Object& object, const Part& part) {
  return reinterpret_cast<const char*>(&part) - reinterpret_cast<const char*>(&object);
}

template <class Base, class Object>
ptrdiff_t OffsetOfBase(const Object& object) {
  return OffsetOf(object, static_cast<const Base&>(object));
}

// Whether the destructor of a class derived from Base stands in the slot of the table that begins
// at `offset` in the object.
template <class Base>
bool DestructorStandsIn(size_t slot, size_t offset = 0) {
  static bool destroyed;
  struct Noted : Base {
    using Base::Base;
    ~Noted() override { destroyed = true; }
  };
  // Never given back, since nothing but the slot destroys the object.
  alignas(Noted) static char storage[sizeof(Noted)];
  Noted* object;
  if constexpr (std::is_base_of_v<Component, Base>) {
    object = ::new (static_cast<void*>(storage)) Noted("");
  } else if constexpr (std::is_base_of_v<VisToolEvent, Base>) {
    object = ::new (static_cast<void*>(storage)) Noted(0, 0);
  } else {
    object = ::new (static_cast<void*>(storage)) Noted;
  }
  destroyed = false;
  CallVirtualSlot(reinterpret_cast<char*>(object) + offset, slot);
  return destroyed;
}

template <class Class>
using TextOperation = const char* (Class::*)(std::string&) const;

const uint32 WORD = sizeof(void*);

TEST(LayoutTest, APrintableHoldsNothingButItsVirtualOperations) {
  static_assert(sizeof(Printable) == sizeof(void*));
  EXPECT_EQ(0u, VirtualSlot(static_cast<const char* (Printable::*)()>(&Printable::ToString)));
  EXPECT_EQ(1u, VirtualSlot(static_cast<TextOperation<Printable>>(&Printable::ToString)));
  EXPECT_EQ(2u, VirtualSlot(&Printable::Print));
  EXPECT_TRUE(DestructorStandsIn<Printable>(3));
}

TEST(LayoutTest, AnEventIsAPrintableThenAClassInfoThenItsFields) {
  const VisToolEvent event(0, 0);
  EXPECT_EQ(0, OffsetOfBase<Printable>(event));
  EXPECT_EQ(WORD, OffsetOfBase<ClassInfo>(event));
  EXPECT_EQ(WORD, OffsetOf(event, event.type));
  EXPECT_EQ(WORD + 8, OffsetOf(event, event.myClass));
  EXPECT_EQ(WORD + 16, OffsetOf(event, event.cyc));
  EXPECT_EQ(WORD + 24, OffsetOf(event, event.thread));
  static_assert(!std::is_polymorphic_v<ClassInfo>);
}

TEST(LayoutTest, TheRecordConversionsOfAnEventFollowItsDestructor) {
  EXPECT_EQ(0u, VirtualSlot(static_cast<const char* (VisToolEvent::*)()>(&VisToolEvent::ToString)));
  EXPECT_EQ(1u, VirtualSlot(static_cast<TextOperation<VisToolEvent>>(&VisToolEvent::ToString)));
  EXPECT_EQ(2u, VirtualSlot(&VisToolEvent::Print));
  EXPECT_TRUE(DestructorStandsIn<VisToolEvent>(3));
  EXPECT_EQ(5u, VirtualSlot(&VisToolEvent::ToBinaryEvent));
  EXPECT_EQ(6u, VirtualSlot(&VisToolEvent::FromBinaryEvent));
}

TEST(LayoutTest, TheEventClassesKeepTheSlotsOfTheirBase) {
  EXPECT_EQ(1u, VirtualSlot(static_cast<TextOperation<LocationEvent>>(&LocationEvent::ToString)));
  EXPECT_EQ(5u, VirtualSlot(&LocationEvent::ToBinaryEvent));
  EXPECT_EQ(6u, VirtualSlot(&LocationEvent::FromBinaryEvent));
  EXPECT_EQ(1u, VirtualSlot(static_cast<TextOperation<PEFire>>(&PEFire::ToString)));
  EXPECT_EQ(1u, VirtualSlot(static_cast<TextOperation<NetworkSwitchTransmission>>(
                    &NetworkSwitchTransmission::ToString)));
  EXPECT_EQ(1u, VirtualSlot(static_cast<TextOperation<MessageSend>>(&MessageSend::ToString)));
  EXPECT_EQ(5u, VirtualSlot(&MessageSend::ToBinaryEvent));
  EXPECT_EQ(6u, VirtualSlot(&MessageSend::FromBinaryEvent));
}

TEST(LayoutTest, TheLocationsOfEventsFollowTheFieldsOfTheirBase) {
  const Location l(0, 0);
  const LocationEvent location(0, 0, l);
  const MessageSend send(0, 0, l, l);
  EXPECT_EQ(WORD + 32, OffsetOf(location, location.l));
  EXPECT_EQ(WORD + 32, OffsetOf(send, send.from));
  EXPECT_EQ(static_cast<ptrdiff_t>(WORD + 32 + sizeof(Location)), OffsetOf(send, send.to));
  static_assert(sizeof(PEFire) == sizeof(LocationEvent));
  static_assert(sizeof(NetworkSwitchTransmission) == sizeof(LocationEvent));
  static_assert(std::is_same_v<void (LocationEvent::*)(BinaryEvent&) const,
                               decltype(&PEFire::ToBinaryEvent)>);
  static_assert(std::is_same_v<void (LocationEvent::*)(const BinaryEvent&),
                               decltype(&NetworkSwitchTransmission::FromBinaryEvent)>);
}

TEST(LayoutTest, AComponentIsAParserThenAContainerThenItsFields) {
  const Component component("");
  EXPECT_EQ(0, OffsetOfBase<CommandLineParser>(component));
  EXPECT_EQ(static_cast<ptrdiff_t>(sizeof(CommandLineParser)),
            OffsetOfBase<StatsContainer>(component));
  const ptrdiff_t start = sizeof(CommandLineParser) + sizeof(StatsContainer);
  const ptrdiff_t text = sizeof(std::string);
  EXPECT_EQ(start, OffsetOf(component, component.theName));
  EXPECT_EQ(start + text, OffsetOf(component, component.theFullName));
  EXPECT_EQ(start + 2 * text, OffsetOf(component, component.theDomain));
  EXPECT_EQ(start + 2 * text + 8, OffsetOf(component, component.inDomain));
  EXPECT_EQ(start + 2 * text + 16, OffsetOf(component, component.theParent));
  EXPECT_EQ(start + 2 * text + 24, OffsetOf(component, component.theChildren));
  EXPECT_EQ(start + 2 * text + 48, OffsetOf(component, component.theReceivers));
  static_assert(sizeof(Component::inDomain) == 4);
}

TEST(LayoutTest, TheOperationsOfAComponentFollowThoseOfTheParser) {
  EXPECT_EQ(0u, VirtualSlot(&Component::GetUsageString));
  EXPECT_TRUE(DestructorStandsIn<Component>(1));
  EXPECT_EQ(3u, VirtualSlot(&Component::ReceiveMessage));
  EXPECT_EQ(4u, VirtualSlot(&Component::DoFinalize));
  EXPECT_EQ(5u, VirtualSlot(&Component::IsClocked));
  static_assert(std::is_same_v<bool (Component::*)(), decltype(&Component::IsClocked)>);
}

TEST(LayoutTest, AContainerHasComputeThenItsDestructor) {
  EXPECT_EQ(0u, VirtualSlot(&StatsContainer::Compute));
  EXPECT_TRUE(DestructorStandsIn<StatsContainer>(1));
  // The same through a component's second base.
  EXPECT_EQ(0u, VirtualSlot(&Component::Compute));
  EXPECT_TRUE(DestructorStandsIn<Component>(1, sizeof(CommandLineParser)));
}

TEST(LayoutTest, AContainerHasItsStatisticsThenItsContainers) {
  const StatsContainer container;
  EXPECT_EQ(WORD, OffsetOf(container, container.stats));
  EXPECT_EQ(WORD + 24, OffsetOf(container, container.subContainers));
}

TEST(LayoutTest, AStatisticIsAPlainRecordInOrder) {
  static_assert(!std::is_polymorphic_v<StatsContainer::Stat>);
  const StatsContainer::Stat stat(StatsContainer::FLOAT, "", "", nullptr);
  const ptrdiff_t text = sizeof(std::string);
  EXPECT_EQ(0, OffsetOf(stat, stat.type));
  EXPECT_EQ(8, OffsetOf(stat, stat.name));
  EXPECT_EQ(8 + text, OffsetOf(stat, stat.fullName));
  EXPECT_EQ(8 + 2 * text, OffsetOf(stat, stat.description));
  EXPECT_EQ(8 + 3 * text, OffsetOf(stat, stat.storage));
}

TEST(LayoutTest, AnOutputHandlerAddsOutputToTheOperationsOfTheParser) {
  static_assert(std::is_abstract_v<StatsOutputHandler>);
  static_assert(std::is_base_of_v<CommandLineParser, StatsOutputHandler>);
  EXPECT_EQ(0u, VirtualSlot(&StatsOutputHandler::GetUsageString));
  EXPECT_EQ(3u, VirtualSlot(&StatsOutputHandler::Output));
  EXPECT_EQ(3u, VirtualSlot(&StatsPrinter::Output));
  EXPECT_TRUE(DestructorStandsIn<StatsPrinter>(1));
}

TEST(LayoutTest, APrinterHasItsFileThenItsName) {
  const StatsPrinter printer;
  EXPECT_EQ(static_cast<ptrdiff_t>(sizeof(CommandLineParser)),
            OffsetOf(printer, printer.outputFile));
  EXPECT_EQ(static_cast<ptrdiff_t>(sizeof(CommandLineParser) + sizeof(File)),
            OffsetOf(printer, printer.outputFileName));
}

struct OpenMessage : Message {
  using Message::Buffer;
  using Message::holders;
};

TEST(LayoutTest, AMessageIsAPrintableWithItsFieldsInOrder) {
  const OpenMessage message;
  EXPECT_EQ(0, OffsetOfBase<Printable>(message));
  EXPECT_EQ(WORD, OffsetOf(message, message.Buffer));
  EXPECT_EQ(WORD + 8, OffsetOf(message, message.holders));
  EXPECT_EQ(WORD + 16, OffsetOf(message, message.src));
  EXPECT_EQ(WORD + 24, OffsetOf(message, message.dst));
  EXPECT_EQ(WORD + 32, OffsetOf(message, message.MessageId));
  static_assert(std::is_same_v<int, decltype(OpenMessage::holders)>);
  static_assert(std::is_same_v<unsigned long long, decltype(Message::MessageId)>);
  EXPECT_EQ(5u, VirtualSlot(&Message::Clone));
  EXPECT_TRUE(DestructorStandsIn<Message>(3));
}

// What a copy would share with its original is bound to the original's own variables.
template <class Class>
constexpr bool CAN_BE_COPIED =
    std::is_copy_constructible_v<Class> || std::is_copy_assignable_v<Class> ||
    std::is_move_constructible_v<Class> || std::is_move_assignable_v<Class>;

TEST(LayoutTest, WhatKeepsARegistryCannotBeCopied) {
  static_assert(!CAN_BE_COPIED<CommandLineParser>);
  static_assert(!CAN_BE_COPIED<StatsContainer>);
  static_assert(!CAN_BE_COPIED<StatsPrinter>);
  static_assert(!CAN_BE_COPIED<Component>);
  static_assert(!CAN_BE_COPIED<VisTool>);
  static_assert(!CAN_BE_COPIED<MessageBuffer>);
  static_assert(std::is_default_constructible_v<CommandLineParser>);
  static_assert(std::is_default_constructible_v<StatsContainer>);
  static_assert(std::is_constructible_v<Component, const char*>);
}

TEST(LayoutTest, TheEntriesOfARegistryAndOtherValuesCanBeCopied) {
  static_assert(CAN_BE_COPIED<CommandLineParser::Option>);
  static_assert(CAN_BE_COPIED<CommandLine>);
  static_assert(CAN_BE_COPIED<StatsContainer::Stat>);
  static_assert(CAN_BE_COPIED<Histogram>);
  static_assert(CAN_BE_COPIED<File>);
  static_assert(CAN_BE_COPIED<Message>);
  static_assert(CAN_BE_COPIED<PEFire>);
}

}  // namespace
