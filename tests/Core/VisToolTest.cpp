#include "Core/VisTool.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "tests/support/Files.h"
#include "tests/support/Reports.h"
#include "tests/support/TraceText.h"

namespace {

using marrowfin::testing::AssertionReport;
using marrowfin::testing::CrashReport;
using marrowfin::testing::ReadFile;
using marrowfin::testing::TempDir;
using marrowfin::testing::TraceBytes;
using marrowfin::testing::WriteFile;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::KilledBySignal;

// A directory with one trace, its reader and its writer.
class VisToolTest : public ::testing::Test {
 protected:
  ~VisToolTest() override {
    tool.inFile.Close();
    tool.outFile.Close();
  }

  std::string Path() const { return dir.File("trace"); }

  // Makes the trace, of text or of bytes, and opens it.
  void Open(const std::string& text) { OpenBytes(TraceBytes(text)); }
  void OpenBytes(const std::string& bytes) {
    WriteFile(Path(), bytes);
    tool.inFile.Close();
    tool.inFilename = Path();
    tool.InitializeForRead();
  }

  void OpenForWriting() {
    tool.outFilename = Path();
    tool.InitializeForWrite();
  }

  // The next event, null at the end; the status must fit.
  std::unique_ptr<VisToolEvent> Next() {
    VisToolEvent* event = nullptr;
    const File::FileStatus status = tool.ReadEvent(event);
    EXPECT_EQ(event == nullptr ? File::END_OF_FILE : File::SUCCESS, status);
    return std::unique_ptr<VisToolEvent>(event);
  }

  // The cycles of the events that are left.
  std::vector<Cycle> CyclesLeft() {
    std::vector<Cycle> cycles;
    while (const auto event = Next()) {
      cycles.push_back(event->cyc);
    }
    return cycles;
  }

  TempDir dir;
  VisTool tool;
};

using VisToolDeathTest = VisToolTest;

// Construction and the option.

TEST_F(VisToolTest, ANewToolIsTheComponentVisWithoutFiles) {
  static_assert(std::is_base_of_v<Component, VisTool>);
  EXPECT_EQ("vis", tool.theName);
  EXPECT_EQ("", tool.outFilename);
  EXPECT_EQ("", tool.inFilename);
  EXPECT_FALSE(tool.outFile.IsOpen());
  EXPECT_FALSE(tool.inFile.IsOpen());
}

TEST_F(VisToolTest, TheFieldsStandInOrder) {
  EXPECT_LT(static_cast<void*>(&tool.theReceivers), static_cast<void*>(&tool.outFilename));
  EXPECT_LT(static_cast<void*>(&tool.outFilename), static_cast<void*>(&tool.outFile));
  EXPECT_LT(static_cast<void*>(&tool.outFile), static_cast<void*>(&tool.inFilename));
  EXPECT_LT(static_cast<void*>(&tool.inFilename), static_cast<void*>(&tool.inFile));
}

TEST_F(VisToolTest, TheOnlyOptionNamesTheTraceToWrite) {
  std::string usage;
  EXPECT_STREQ("-outFilename:  outFilename\n", tool.GetUsageString(usage));
  ASSERT_EQ(1u, tool.options.size());
  EXPECT_EQ(CommandLineParser::STRING, tool.options[0].type);
  EXPECT_EQ(&tool.outFilename, tool.options[0].storage);
}

TEST_F(VisToolTest, TheCommandLineSetsTheNameOfTheTraceToWrite) {
  std::vector<std::string> words = {"program", "-outFilename", "some.trace"};
  std::vector<char*> argv = {words[0].data(), words[1].data(), words[2].data(), nullptr};
  CommandLine commandLine(3, argv.data());
  EXPECT_TRUE(tool.ParseCommandLine(&commandLine, CommandLineParser::MODE_STRICT));
  EXPECT_EQ("some.trace", tool.outFilename);
  EXPECT_EQ("", tool.inFilename);
}

TEST_F(VisToolTest, AToolInATreeFindsItsOptionByPattern) {
  Component root("top");
  root.AddChild(&tool);
  tool.theFullName = "top/vis";
  tool.FixUpCommandLineOptions();
  std::vector<std::string> words = {"program", "-.*outFilename", "some.trace"};
  std::vector<char*> argv = {words[0].data(), words[1].data(), words[2].data(), nullptr};
  CommandLine commandLine(3, argv.data());
  EXPECT_TRUE(root.ParseCommandLine(&commandLine, CommandLineParser::MODE_STRICT));
  EXPECT_EQ("some.trace", tool.outFilename);
}

// Opening.

TEST_F(VisToolTest, WithoutAnOutputNameNothingIsOpenedOrPrinted) {
  ::testing::internal::CaptureStdout();
  ::testing::internal::CaptureStderr();
  tool.InitializeForWrite();
  EXPECT_EQ("", ::testing::internal::GetCapturedStdout());
  EXPECT_EQ("", ::testing::internal::GetCapturedStderr());
  EXPECT_FALSE(tool.outFile.IsOpen());
}

TEST_F(VisToolTest, WithoutAnInputNameNothingIsOpenedOrPrinted) {
  ::testing::internal::CaptureStdout();
  ::testing::internal::CaptureStderr();
  tool.InitializeForRead();
  EXPECT_EQ("", ::testing::internal::GetCapturedStdout());
  EXPECT_EQ("", ::testing::internal::GetCapturedStderr());
  EXPECT_FALSE(tool.inFile.IsOpen());
}

TEST_F(VisToolTest, OpeningForWritingTellsTheNameOnStandardOutputBehindTwoBlanks) {
  ::testing::internal::CaptureStdout();
  ::testing::internal::CaptureStderr();
  OpenForWriting();
  EXPECT_EQ("Opened tracefile  " + Path() + "\n", ::testing::internal::GetCapturedStdout());
  EXPECT_EQ("", ::testing::internal::GetCapturedStderr());
  EXPECT_FALSE(tool.inFile.IsOpen());
}

TEST_F(VisToolTest, OpeningForReadingTellsTheNameOnStandardOutputBehindTwoBlanks) {
  ::testing::internal::CaptureStdout();
  ::testing::internal::CaptureStderr();
  Open("");
  EXPECT_EQ("Opened tracefile  " + Path() + "\n", ::testing::internal::GetCapturedStdout());
  EXPECT_EQ("", ::testing::internal::GetCapturedStderr());
  EXPECT_FALSE(tool.outFile.IsOpen());
}

TEST_F(VisToolTest, TheOutputIsCreatedWriteOnlyForAllLessTheUmask) {
  const mode_t before = umask(027);
  OpenForWriting();
  umask(before);
  struct stat status;
  ASSERT_EQ(0, stat(Path().c_str(), &status));
  EXPECT_EQ(0640u, status.st_mode & 0777u);
  EXPECT_EQ(O_WRONLY, fcntl(tool.outFile.GetFD(), F_GETFL) & O_ACCMODE);
}

TEST_F(VisToolTest, TheOutputReplacesWhatTheFileHeld) {
  WriteFile(Path(), "what was there before");
  OpenForWriting();
  EXPECT_EQ("", ReadFile(Path()));
}

TEST_F(VisToolTest, TheInputIsOpenedReadOnlyAndKept) {
  Open("fire 1 2 3 4");
  EXPECT_EQ(O_RDONLY, fcntl(tool.inFile.GetFD(), F_GETFL) & O_ACCMODE);
  EXPECT_EQ(TraceBytes("fire 1 2 3 4"), ReadFile(Path()));
}

TEST_F(VisToolDeathTest, AnOutputThatCannotBeOpenedEndsTheProgramWithTheSystemsText) {
  tool.outFilename = dir.File("none/trace");
  EXPECT_EXIT(tool.InitializeForWrite(), KilledBySignal(SIGABRT),
              ::testing::Eq("No such file or directory\n"));
}

TEST_F(VisToolDeathTest, AnInputThatCannotBeOpenedEndsTheProgramWithTheSystemsText) {
  tool.inFilename = dir.File("none");
  EXPECT_EXIT(tool.InitializeForRead(), KilledBySignal(SIGABRT),
              ::testing::Eq("No such file or directory\n"));
  EXPECT_FALSE(std::filesystem::exists(dir.File("none")));
}

TEST_F(VisToolDeathTest, AFileThatDoesNotCrashByItselfIsReportedByTheTool) {
  tool.outFile = File(false);
  tool.outFilename = dir.File("none/out");
  EXPECT_EXIT(
      tool.InitializeForWrite(), KilledBySignal(SIGABRT),
      CrashReport("Core/VisTool.cpp", "can't open trace file " + dir.File("none/out") + "\n"));
  tool.inFile = File(false);
  tool.inFilename = dir.File("none/in");
  EXPECT_EXIT(
      tool.InitializeForRead(), KilledBySignal(SIGABRT),
      CrashReport("Core/VisTool.cpp", "can't open trace file " + dir.File("none/in") + "\n"));
}

// Writing.

TEST_F(VisToolTest, EventsAreWrittenInOrderAndWithoutABuffer) {
  OpenForWriting();
  EXPECT_EQ(File::SUCCESS, tool.WriteEvent(new PEFire(5, 1, Location(2, 7))));
  EXPECT_EQ(TraceBytes("fire 5 1 7 2"), ReadFile(Path()));
  EXPECT_EQ(File::SUCCESS, tool.WriteEvent(new NetworkSwitchTransmission(6, 2, Location(4, 12))));
  EXPECT_EQ(File::SUCCESS, tool.WriteEvent(new MessageSend(3, 0, Location(1, 2), Location(3, 4))));
  EXPECT_EQ(TraceBytes("fire 5 1 7 2\nswitch 6 2 12 4\nsend 3 0 2 1 4 3"), ReadFile(Path()));
}

TEST_F(VisToolTest, EventsOfTheBaseClassesAreWrittenToo) {
  OpenForWriting();
  EXPECT_EQ(File::SUCCESS, tool.WriteEvent(new VisToolEvent(8, 9)));
  EXPECT_EQ(File::SUCCESS, tool.WriteEvent(new LocationEvent(10, 11, Location(1, 2))));
  EXPECT_EQ(TraceBytes("raw 0 8 9 0\nraw 1 10 11 8 00000002 00000001"), ReadFile(Path()));
}

// Notes what the trace held when the event was converted and when it was destroyed.
struct WatchedFire : PEFire {
  WatchedFire(const std::string& path, std::vector<std::string>* notes)
      : PEFire(5, 1, Location(2, 7)), path(path), notes(notes) {}
  ~WatchedFire() override { Note("destroyed"); }
  void ToBinaryEvent(BinaryEvent& e) const override {
    EXPECT_EQ(nullptr, e.data);
    PEFire::ToBinaryEvent(e);
    Note("converted");
  }
  void Note(const std::string& what) const {
    notes->push_back(what + " at " + std::to_string(ReadFile(path).size()));
  }
  std::string path;
  std::vector<std::string>* notes;
};

TEST_F(VisToolTest, AnEventIsConvertedThenDestroyedBeforeAnythingIsWritten) {
  OpenForWriting();
  std::vector<std::string> notes;
  tool.WriteEvent(new WatchedFire(Path(), &notes));
  EXPECT_THAT(notes, ElementsAre("converted at 0", "destroyed at 0"));
  EXPECT_EQ(TraceBytes("fire 5 1 7 2"), ReadFile(Path()));
}

TEST_F(VisToolTest, AFailedWriteIsReturnedAndTheEventIsDestroyedAllTheSame) {
  OpenForWriting();
  tool.outFile.Close();
  tool.outFile = File(false);
  std::vector<std::string> notes;
  EXPECT_EQ(File::ERROR, tool.WriteEvent(new WatchedFire(Path(), &notes)));
  EXPECT_THAT(notes, ElementsAre("converted at 0", "destroyed at 0"));
}

TEST_F(VisToolDeathTest, WritingWithoutAnOpenTraceEndsTheProgramWithTheSystemsText) {
  EXPECT_EXIT(tool.WriteEvent(new PEFire(0, 0, Location(0, 0))), KilledBySignal(SIGABRT),
              ::testing::Eq("Bad file descriptor\n"));
}

// Reading.

TEST_F(VisToolTest, AFireIsReadAsAFire) {
  Open("fire 4294967296 1 7 2");
  const auto event = Next();
  ASSERT_NE(nullptr, event);
  EXPECT_TRUE(typeid(*event) == typeid(PEFire));
  EXPECT_EQ(4294967296u, event->cyc);
  EXPECT_EQ(1u, event->thread);
  EXPECT_EQ(Location(2, 7), static_cast<const PEFire&>(*event).l);
}

TEST_F(VisToolTest, ATransmissionIsReadAsATransmission) {
  Open("switch 6 2 12 4");
  const auto event = Next();
  ASSERT_NE(nullptr, event);
  EXPECT_TRUE(typeid(*event) == typeid(NetworkSwitchTransmission));
  EXPECT_EQ(6u, event->cyc);
  EXPECT_EQ(2u, event->thread);
  EXPECT_EQ(Location(4, 12), static_cast<const NetworkSwitchTransmission&>(*event).l);
}

TEST_F(VisToolTest, AMessageIsReadAsAMessage) {
  Open("send 7 8 2 1 4 3");
  const auto event = Next();
  ASSERT_NE(nullptr, event);
  EXPECT_TRUE(typeid(*event) == typeid(MessageSend));
  EXPECT_EQ(7u, event->cyc);
  EXPECT_EQ(8u, event->thread);
  EXPECT_EQ(Location(1, 2), static_cast<const MessageSend&>(*event).from);
  EXPECT_EQ(Location(3, 4), static_cast<const MessageSend&>(*event).to);
}

TEST_F(VisToolTest, EventsAreReadInTheOrderOfTheFileWhateverTheirCycles) {
  Open("fire 9 0 0 0\nsend 3 0 0 0 0 0\nswitch 5 0 0 0\nfire 3 0 0 0");
  EXPECT_THAT(CyclesLeft(), ElementsAre(9, 3, 5, 3));
}

TEST_F(VisToolTest, WhatIsWrittenIsReadBack) {
  OpenForWriting();
  for (uint32 i = 0; i < 100; ++i) {
    tool.WriteEvent(new MessageSend(i, ~i, Location(i, i + 1), Location(i + 2, ~i)));
  }
  VisTool reader;
  reader.inFilename = Path();
  reader.InitializeForRead();
  for (uint32 i = 0; i < 100; ++i) {
    VisToolEvent* event = nullptr;
    ASSERT_EQ(File::SUCCESS, reader.ReadEvent(event));
    const std::unique_ptr<MessageSend> send(dynamic_cast<MessageSend*>(event));
    ASSERT_NE(nullptr, send);
    EXPECT_EQ(i, send->cyc);
    EXPECT_EQ(~i, send->thread);
    EXPECT_EQ(Location(i, i + 1), send->from);
    EXPECT_EQ(Location(i + 2, ~i), send->to);
  }
  reader.inFile.Close();
}

TEST_F(VisToolTest, AnEmptyTraceIsAtItsEnd) {
  Open("");
  int placeholder;
  VisToolEvent* event = reinterpret_cast<VisToolEvent*>(&placeholder);
  EXPECT_EQ(File::END_OF_FILE, tool.ReadEvent(event));
  EXPECT_EQ(nullptr, event);
}

TEST_F(VisToolTest, TheEndIsReportedAgainAndAgain) {
  Open("fire 1 0 0 0");
  EXPECT_NE(nullptr, Next());
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(nullptr, Next());
  }
}

TEST_F(VisToolTest, CutAtAnyByteATraceKeepsEveryWholeRecordBefore) {
  const std::string first = TraceBytes("fire 1 0 0 0");
  const std::string second = TraceBytes("send 2 0 0 0 0 0");
  const std::string third = TraceBytes("switch 3 0 0 0");
  const std::string all = first + second + third;
  for (size_t size = 0; size <= all.size(); ++size) {
    const size_t whole = size == all.size()                     ? 3
                         : size >= first.size() + second.size() ? 2
                         : size >= first.size()                 ? 1
                                                                : 0;
    OpenBytes(all.substr(0, size));
    EXPECT_EQ(whole, CyclesLeft().size()) << "cut at byte " << size;
    EXPECT_EQ(nullptr, Next());
  }
}

TEST_F(VisToolTest, ALastRecordWithoutItsFinalWordIsDropped) {
  const std::string bytes = TraceBytes("fire 1 0 0 0\nfire 2 0 0 0");
  OpenBytes(bytes.substr(0, bytes.size() - 4));
  EXPECT_THAT(CyclesLeft(), ElementsAre(1));
}

TEST_F(VisToolTest, AReadThatFailsIsReturnedWithoutAnEvent) {
  tool.inFile = File(false);
  int placeholder;
  VisToolEvent* event = reinterpret_cast<VisToolEvent*>(&placeholder);
  EXPECT_EQ(File::ERROR, tool.ReadEvent(event));
  EXPECT_EQ(nullptr, event);
}

TEST_F(VisToolDeathTest, AReadThatFailsEndsTheProgramWithTheSystemsText) {
  VisToolEvent* event = nullptr;
  EXPECT_EXIT(tool.ReadEvent(event), KilledBySignal(SIGABRT),
              ::testing::Eq("Bad file descriptor\n"));
  tool.inFilename = dir.Path();
  tool.InitializeForRead();
  EXPECT_EXIT(tool.ReadEvent(event), KilledBySignal(SIGABRT), ::testing::Eq("Is a directory\n"));
}

TEST_F(VisToolDeathTest, ARecordOfAnUnknownTypeFailsACheck) {
  for (const char* type : {"0", "1", "5", "6", "258", "50331648", "4294967295"}) {
    for (const char* payload : {" 0 0 8 00000000 00000000", " 0 0 0"}) {
      Open(std::string("raw ") + type + payload);
      VisToolEvent* event = nullptr;
      EXPECT_EXIT(tool.ReadEvent(event), KilledBySignal(SIGABRT),
                  AssertionReport("Core/VisTool.cpp", "0"));
    }
  }
}

TEST_F(VisToolDeathTest, APlainLocationEventThatAWriterWroteIsRefused) {
  OpenForWriting();
  tool.WriteEvent(new LocationEvent(1, 2, Location(3, 4)));
  tool.inFilename = Path();
  tool.InitializeForRead();
  VisToolEvent* event = nullptr;
  EXPECT_EXIT(tool.ReadEvent(event), KilledBySignal(SIGABRT),
              AssertionReport("Core/VisTool.cpp", "0"));
}

TEST_F(VisToolDeathTest, AMessageOfEightBytesFailsTheLengthCheck) {
  Open("raw 4 0 0 8 00000000 00000000");
  VisToolEvent* event = nullptr;
  EXPECT_EXIT(tool.ReadEvent(event), KilledBySignal(SIGABRT),
              AssertionReport("Core/VisTool.cpp", "e.dataLength == sizeof(uint32) * 4"));
}

TEST_F(VisToolDeathTest, ALocationRecordOfAnotherLengthFailsTheLengthCheck) {
  for (const char* record :
       {"raw 3 0 0 12 00000000 00000000 00000000", "raw 2 0 0 4 00000000", "raw 2 0 0 0"}) {
    Open(record);
    VisToolEvent* event = nullptr;
    EXPECT_EXIT(tool.ReadEvent(event), KilledBySignal(SIGABRT),
                AssertionReport("Core/VisTool.cpp", "e.dataLength == sizeof(uint32) * 2"));
  }
}

// Skipping.

TEST_F(VisToolTest, SkippingToCycleZeroDiscardsExactlyTheFirstRecord) {
  Open("fire 0 0 0 0\nfire 0 1 0 0\nfire 1 0 0 0");
  tool.SkipTo(0);
  EXPECT_EQ(1u, Next()->thread);
  EXPECT_THAT(CyclesLeft(), ElementsAre(1));
}

TEST_F(VisToolTest, SkippingDiscardsAllBeforeTheTargetAndTheFirstEventAtIt) {
  Open("fire 1 0 0 0\nswitch 4 0 0 0\nsend 5 0 0 0 0 0\nfire 5 1 0 0\nfire 6 0 0 0");
  tool.SkipTo(5);
  const auto event = Next();
  EXPECT_EQ(5u, event->cyc);
  EXPECT_EQ(1u, event->thread);
  EXPECT_THAT(CyclesLeft(), ElementsAre(6));
}

TEST_F(VisToolTest, SkippingDiscardsTheFirstEventAfterTheTargetWhereNoneIsAtIt) {
  Open("fire 4 0 0 0\nfire 7 0 0 0\nfire 8 0 0 0\nfire 9 0 0 0");
  tool.SkipTo(5);
  EXPECT_THAT(CyclesLeft(), ElementsAre(8, 9));
}

TEST_F(VisToolTest, SkippingTwiceGoesOnFromThePlaceReached) {
  Open("fire 1 0 0 0\nfire 2 0 0 0\nfire 3 0 0 0\nfire 4 0 0 0");
  tool.SkipTo(2);
  tool.SkipTo(2);
  EXPECT_THAT(CyclesLeft(), ElementsAre(4));
}

TEST_F(VisToolTest, SkippingPastTheLastCycleReadsToTheEndAndReturns) {
  Open("fire 1 0 0 0\nfire 2 0 0 0");
  tool.SkipTo(3);
  EXPECT_EQ(nullptr, Next());
}

TEST_F(VisToolTest, SkippingInAnEmptyTraceReturns) {
  Open("");
  tool.SkipTo(0);
  EXPECT_EQ(nullptr, Next());
}

TEST_F(VisToolTest, SkippingEndsAtAReadThatFails) {
  tool.inFile = File(false);
  tool.SkipTo(0);
  EXPECT_FALSE(tool.inFile.IsOpen());
}

TEST_F(VisToolTest, SkippingComparesAllSixtyFourBitsUnsigned) {
  Open("fire 4294967295 0 0 0\nfire 4294967296 0 0 0\nfire 4294967297 0 0 0");
  tool.SkipTo(4294967296);
  EXPECT_THAT(CyclesLeft(), ElementsAre(4294967297));
  Open("fire 9223372036854775808 0 0 0\nfire 9223372036854775809 0 0 0");
  tool.SkipTo(1);
  EXPECT_THAT(CyclesLeft(), ElementsAre(9223372036854775809U));
  Open("fire 1 0 0 0\nfire 18446744073709551614 0 0 0");
  tool.SkipTo(18446744073709551615U);
  EXPECT_THAT(CyclesLeft(), IsEmpty());
}

// The files.

TEST_F(VisToolTest, DestroyingAToolClosesNoFile) {
  auto other = std::make_unique<VisTool>();
  other->outFilename = Path();
  other->InitializeForWrite();
  File copy = other->outFile;
  other.reset();
  EXPECT_NE(-1, fcntl(copy.GetFD(), F_GETFD));
  copy.Close();
}

// A socket that keeps the borders of messages shows every call of the system: a write is a message,
// and a read takes at most one.
class Packets {
 public:
  Packets() { EXPECT_EQ(0, socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends)); }
  ~Packets() { close(ends[1]); }
  int Near() const { return ends[0]; }  // for the File that closes it
  int Far() const { return ends[1]; }

 private:
  int ends[2];
};

TEST_F(VisToolTest, ARecordIsWrittenInFiveSystemCalls) {
  const Packets packets;
  tool.outFile.SetFile(packets.Near(), "w");
  tool.WriteEvent(new PEFire(5, 1, Location(2, 7)));
  tool.WriteEvent(new MessageSend(5, 1, Location(2, 7), Location(3, 8)));
  tool.outFile.Close();
  std::vector<ssize_t> sizes;
  std::string bytes;
  char packet[64];
  ssize_t size;
  while ((size = read(packets.Far(), packet, sizeof(packet))) > 0) {
    sizes.push_back(size);
    bytes.append(packet, size);
  }
  EXPECT_THAT(sizes, ElementsAre(4, 8, 4, 4, 8, 4, 8, 4, 4, 16));
  EXPECT_EQ(TraceBytes("fire 5 1 7 2\nsend 5 1 7 2 8 3"), bytes);
}

TEST_F(VisToolTest, ARecordIsReadInFiveSystemCalls) {
  const Packets packets;
  const std::string bytes = TraceBytes("send 5 1 7 2 8 3");
  size_t start = 0;
  for (size_t size : {4, 8, 4, 4, 16}) {
    ASSERT_EQ(static_cast<ssize_t>(size), write(packets.Far(), bytes.data() + start, size));
    start += size;
  }
  tool.inFile.SetFile(packets.Near(), "r");
  const auto event = Next();
  ASSERT_NE(nullptr, event);
  EXPECT_EQ(5u, event->cyc);
  EXPECT_EQ(Location(2, 7), static_cast<const MessageSend&>(*event).from);
  EXPECT_EQ(Location(3, 8), static_cast<const MessageSend&>(*event).to);
}

}  // namespace
