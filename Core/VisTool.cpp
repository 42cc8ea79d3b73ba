#include "Core/VisTool.h"

#include <algorithm>
#include <vector>

#include "Util/AppendFormat.h"
#include "Util/Assert.h"
#include "Util/ByteOrder.h"
#include "Util/SimOutput.h"

namespace {

// A payload is an array of words; of a length that is no multiple of 4 the last word holds the
// tail, whose bytes have no order of their own.
size_t WordsToHold(uint32 dataLength) { return (static_cast<size_t>(dataLength) + 3) / 4; }

}  // namespace

BinaryEvent::BinaryEvent() : type(0), cyc(0), tid(0), dataLength(0), data(nullptr) {}

BinaryEvent::~BinaryEvent() { delete[] data; }

File::FileStatus BinaryEvent::Write(File& f) {
  const uint32 fileType = HostToTrace(type);
  File::FileStatus status = f.Write(&fileType, sizeof(fileType));
  if (status != File::SUCCESS) {
    return status;
  }
  const Cycle fileCyc = HostToTrace(cyc);
  status = f.Write(&fileCyc, sizeof(fileCyc));
  if (status != File::SUCCESS) {
    return status;
  }
  const uint32 fileTid = HostToTrace(tid);
  status = f.Write(&fileTid, sizeof(fileTid));
  if (status != File::SUCCESS) {
    return status;
  }
  const uint32 fileLength = HostToTrace(dataLength);
  status = f.Write(&fileLength, sizeof(fileLength));
  if (status != File::SUCCESS) {
    return status;
  }
  std::vector<uint32> fileData(WordsToHold(dataLength));
  std::copy_n(reinterpret_cast<const char*>(data), dataLength,
              reinterpret_cast<char*>(fileData.data()));
  for (uint32 i = 0; i < dataLength / 4; ++i) {
    fileData[i] = HostToTrace(fileData[i]);
  }
  return f.Write(fileData.data(), dataLength);
}

File::FileStatus BinaryEvent::Read(File& f) {
  File::FileStatus status = f.Read(&type, sizeof(type));
  if (status != File::SUCCESS) {
    return status;
  }
  type = TraceToHost(type);
  status = f.Read(&cyc, sizeof(cyc));
  if (status != File::SUCCESS) {
    return status;
  }
  cyc = TraceToHost(cyc);
  status = f.Read(&tid, sizeof(tid));
  if (status != File::SUCCESS) {
    return status;
  }
  tid = TraceToHost(tid);
  status = f.Read(&dataLength, sizeof(dataLength));
  if (status != File::SUCCESS) {
    return status;
  }
  dataLength = TraceToHost(dataLength);
  delete[] data;
  data = nullptr;
  if (dataLength != 0) {
    data = new uint32[WordsToHold(dataLength)];
  }
  status = f.Read(data, dataLength);
  if (status != File::SUCCESS) {
    return status;
  }
  for (uint32 i = 0; i < dataLength / 4; ++i) {
    data[i] = TraceToHost(data[i]);
  }
  return status;
}

VisToolEvent::VisToolEvent(Cycle cyc, uint32 thread) : cyc(cyc), thread(thread) {
  JoinClass(VIS_TOOL_EVENT);
}

VisToolEvent::~VisToolEvent() = default;

void VisToolEvent::ToBinaryEvent(BinaryEvent& e) const {
  e.type = Class();
  e.cyc = cyc;
  e.tid = thread;
  e.dataLength = 0;
  delete[] e.data;
  e.data = nullptr;
}

void VisToolEvent::FromBinaryEvent(const BinaryEvent& e) {
  SIM_ASSERT(Class() == e.type);
  cyc = e.cyc;
  thread = e.tid;
}

LocationEvent::LocationEvent(Cycle cyc, uint32 thread, const Location& l)
    : VisToolEvent(cyc, thread), l(l) {
  JoinClass(LOCATION_EVENT);
}

LocationEvent::~LocationEvent() = default;

// The texts of LocationEvent, PEFire and MessageSend begin with that of VisToolEvent, which has
// none of its own to give: "UNDEFINED PRINT METHOD". It is asked for by name, since a virtual call
// would come back here. NetworkSwitchTransmission does without.
const char* LocationEvent::ToString(std::string& s) const {
  std::string location;
  s.clear();
  VisToolEvent::ToString(s);
  s += " LocationEvent ";
  s += l.ToString(location);
  return s.c_str();
}

void LocationEvent::ToBinaryEvent(BinaryEvent& e) const {
  VisToolEvent::ToBinaryEvent(e);
  e.dataLength = sizeof(uint32) * 2;
  e.data = new uint32[2]{l.column, l.row};
}

void LocationEvent::FromBinaryEvent(const BinaryEvent& e) {
  SIM_ASSERT(e.dataLength == sizeof(uint32) * 2);
  l.column = e.data[0];
  l.row = e.data[1];
  VisToolEvent::FromBinaryEvent(e);
}

PEFire::PEFire(Cycle cyc, uint32 thread, const Location& l) : LocationEvent(cyc, thread, l) {
  JoinClass(PE_FIRE);
}

PEFire::~PEFire() = default;

const char* PEFire::ToString(std::string& s) const {
  std::string location;
  s.clear();
  VisToolEvent::ToString(s);
  s += " PEFire ";
  s += l.ToString(location);
  return s.c_str();
}

NetworkSwitchTransmission::NetworkSwitchTransmission(Cycle cyc, uint32 thread, const Location& l)
    : LocationEvent(cyc, thread, l) {
  JoinClass(NETWORK_SWITCH_TRANSMISSION);
}

NetworkSwitchTransmission::~NetworkSwitchTransmission() = default;

const char* NetworkSwitchTransmission::ToString(std::string& s) const {
  std::string location;
  s = "NetworkSwitchTransmission ";
  s += l.ToString(location);
  return s.c_str();
}

MessageSend::MessageSend(Cycle cyc, uint32 thread, const Location& from, const Location& to)
    : VisToolEvent(cyc, thread), from(from), to(to) {
  JoinClass(MESSAGE_SEND);
}

MessageSend::~MessageSend() = default;

const char* MessageSend::ToString(std::string& s) const {
  std::string sender;
  std::string receiver;
  s.clear();
  VisToolEvent::ToString(s);
  AppendFormat(s, " MessageSend %s -> %s\n", from.ToString(sender), to.ToString(receiver));
  return s.c_str();
}

void MessageSend::ToBinaryEvent(BinaryEvent& e) const {
  VisToolEvent::ToBinaryEvent(e);
  e.dataLength = sizeof(uint32) * 4;
  e.data = new uint32[4]{from.column, from.row, to.column, to.row};
}

void MessageSend::FromBinaryEvent(const BinaryEvent& e) {
  SIM_ASSERT(e.dataLength == sizeof(uint32) * 4);
  from.column = e.data[0];
  from.row = e.data[1];
  to.column = e.data[2];
  to.row = e.data[3];
  VisToolEvent::FromBinaryEvent(e);
}

VisTool::VisTool() : Component("vis"), outFile(true), inFile(true) {
  AddOption(&outFilename, "-outFilename", "outFilename", "");
}

VisTool::~VisTool() = default;

void VisTool::InitializeForWrite() {
  if (outFilename.empty()) {
    return;
  }
  if (outFile.Open(outFilename, File::WRITE_FLAGS, File::DEFAULT_MODE) != File::SUCCESS) {
    SIM_CRASH("can't open trace file %s\n", outFilename.c_str());
  }
  SimOutput::Print("Opened tracefile  %s\n", outFilename.c_str());
}

void VisTool::InitializeForRead() {
  if (inFilename.empty()) {
    return;
  }
  if (inFile.Open(inFilename, File::READ_FLAGS, File::DEFAULT_MODE) != File::SUCCESS) {
    SIM_CRASH("can't open trace file %s\n", inFilename.c_str());
  }
  SimOutput::Print("Opened tracefile  %s\n", inFilename.c_str());
}

File::FileStatus VisTool::WriteEvent(VisToolEvent* event) {
  BinaryEvent record;
  event->ToBinaryEvent(record);
  delete event;
  return record.Write(outFile);
}

File::FileStatus VisTool::ReadEvent(VisToolEvent*& event) {
  BinaryEvent record;
  const File::FileStatus status = record.Read(inFile);
  event = nullptr;
  if (status != File::SUCCESS) {
    return status;
  }
  const Location origin(0, 0);
  switch (record.type) {
    case NETWORK_SWITCH_TRANSMISSION:
      event = new NetworkSwitchTransmission(0, 0, origin);
      break;
    case PE_FIRE:
      event = new PEFire(0, 0, origin);
      break;
    case MESSAGE_SEND:
      event = new MessageSend(0, 0, origin, origin);
      break;
    default:
      SIM_ASSERT(0);
  }
  event->FromBinaryEvent(record);
  return File::SUCCESS;
}

void VisTool::SkipTo(Cycle target) {
  bool reached = false;
  while (!reached) {
    VisToolEvent* event;
    if (ReadEvent(event) != File::SUCCESS) {
      return;
    }
    reached = event->cyc >= target;
    delete event;
  }
}
