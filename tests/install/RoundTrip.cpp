// A simulator of someone else's, as small as it can be: it writes a trace through the installed
// library, reads it back and says whether it is the same.
//
// usage: round_trip -vis/outFilename FILE

#include <cstdio>
#include <string>

#include "Core/VisTool.h"
#include "Marrowfin/Location.h"
#include "Util/CommandLine.h"
#include "Util/Regression.h"
#include "Util/SimOutput.h"

namespace {

const Location NEAR(1, 2);
const Location FAR(3, 4);

void Write(VisTool& tool) {
  tool.InitializeForWrite();
  tool.WriteEvent(new PEFire(10, 5, NEAR));
  tool.WriteEvent(new NetworkSwitchTransmission(11, 6, FAR));
  tool.WriteEvent(new MessageSend(12, 7, NEAR, FAR));
  tool.outFile.Close();
}

void Expect(bool truth, const char* what) {
  if (!truth) {
    Regression::Fail("%s", what);
  }
}

template <class Event>
Event* ReadAs(VisTool& tool, Cycle cycle, uint32 thread) {
  VisToolEvent* event = nullptr;
  Expect(tool.ReadEvent(event) == File::SUCCESS, "an event is missing");
  auto* const expected = dynamic_cast<Event*>(event);
  Expect(expected != nullptr, "an event has another class");
  Expect(event != nullptr && event->cyc == cycle && event->thread == thread, "wrong cycle, thread");
  return expected;
}

void Read(VisTool& tool, const std::string& name) {
  tool.inFilename = name;
  tool.InitializeForRead();
  const auto* const fire = ReadAs<PEFire>(tool, 10, 5);
  const auto* const transmission = ReadAs<NetworkSwitchTransmission>(tool, 11, 6);
  const auto* const send = ReadAs<MessageSend>(tool, 12, 7);
  Expect(fire != nullptr && fire->l == NEAR, "wrong place of the fire");
  Expect(transmission != nullptr && transmission->l == FAR, "wrong place of the transmission");
  Expect(send != nullptr && send->from == NEAR && send->to == FAR, "wrong places of the message");
  VisToolEvent* behind = nullptr;
  Expect(tool.ReadEvent(behind) == File::END_OF_FILE, "there is more than was written");
  delete fire;
  delete transmission;
  delete send;
}

}  // namespace

int main(int argc, char** argv) {
  Regression::Initialize();
  VisTool tool;
  tool.theFullName = tool.theName;
  tool.FixUpCommandLineOptions();
  CommandLine commandLine(argc, argv);
  Expect(tool.ParseCommandLine(&commandLine, CommandLineParser::MODE_STRICT), "unknown option");
  Expect(!tool.outFilename.empty(), "no name for the trace");
  Write(tool);
  Read(tool, tool.outFilename);
  Regression::PrintSuccess();
  return Regression::success == Regression::SUCCESS ? 0 : 1;
}
