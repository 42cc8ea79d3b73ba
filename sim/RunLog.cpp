#include "sim/RunLog.h"

#include <cerrno>
#include <cstring>

namespace marrowfin::sim {

RunLog::RunLog() : isOpen(false), file(false) {}

void RunLog::Attach(int descriptor, const std::string& fileName) {
  name = fileName;
  isOpen = file.SetFile(descriptor, "w") == File::SUCCESS;
  if (!isOpen) {
    error = name + ": " + strerror(errno);
  }
}

void RunLog::Link(Cycle now, unsigned long long id, const Component& from, const Component& to) {
  if (isOpen) {
    file.Print("link %llu %llu %s %s\n", now, id, from.theFullName.c_str(), to.theFullName.c_str());
  }
}

void RunLog::Send(Cycle now, OperandMessage& message, const Component& from, uint32 operation) {
  if (isOpen) {
    file.Print("send %llu %llu %s %s %u %llu %u %u\n", now, message.GetId(),
               from.theFullName.c_str(), pes[message.toPe]->theFullName.c_str(), message.thread,
               message.iteration, operation, message.toPort);
  }
}

void RunLog::Arrival(Cycle now, unsigned long long id, const Component& at, uint32 hops) {
  if (isOpen) {
    file.Print("arrive %llu %llu %s %u\n", now, id, at.theFullName.c_str(), hops);
  }
}

void RunLog::Start(Cycle now, const Component& at, uint32 operation, uint32 port, uint32 thread) {
  if (isOpen) {
    file.Print("start %llu %s %u 0 %u %u\n", now, at.theFullName.c_str(), thread, operation, port);
  }
}

void RunLog::Local(Cycle now, const Component& at, uint32 operation, uint32 port, uint32 thread,
                   Cycle iteration) {
  if (isOpen) {
    file.Print("local %llu %s %u %llu %u %u\n", now, at.theFullName.c_str(), thread, iteration,
               operation, port);
  }
}

void RunLog::Fire(Cycle now, const Component& at, uint32 number, const Operation& operation,
                  uint32 thread, Cycle iteration, const std::string& operands) {
  if (isOpen) {
    file.Print("fire %llu %s %u %llu %u %s %s\n", now, at.theFullName.c_str(), thread, iteration,
               number, NameOf(operation.opcode), operands.c_str());
  }
}

bool RunLog::Close() {
  if (!isOpen) {
    return error.empty();
  }
  isOpen = false;
  const bool isWhole = fflush(file.GetFILE()) == 0 && ferror(file.GetFILE()) == 0;
  const std::string reason = strerror(errno);
  if (!isWhole || file.Close() != File::SUCCESS) {
    error = name + ": " + (isWhole ? strerror(errno) : reason);
    return false;
  }
  return true;
}

}  // namespace marrowfin::sim
