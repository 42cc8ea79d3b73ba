#ifndef EXAMPLES_SYSTOLIC_MATMUL_TRACE_H
#define EXAMPLES_SYSTOLIC_MATMUL_TRACE_H

#include "Core/VisTool.h"

namespace marrowfin::systolic {

// The trace of the run, where one is wanted: events happen in the current cycle of its domain, and
// without -outFilename they are not even made.
class Trace : public VisTool {
 public:
  void Fire(uint32 thread, const Location& pe) {
    if (outFile.IsOpen()) {
      WriteEvent(new PEFire(theDomain->GetCurrentCycle(), thread, pe));
    }
  }
  void Send(uint32 thread, const Location& from, const Location& to) {
    if (outFile.IsOpen()) {
      WriteEvent(new MessageSend(theDomain->GetCurrentCycle(), thread, from, to));
    }
  }
  void Transmit(uint32 thread, const Location& networkSwitch) {
    if (outFile.IsOpen()) {
      WriteEvent(
          new NetworkSwitchTransmission(theDomain->GetCurrentCycle(), thread, networkSwitch));
    }
  }
};

}  // namespace marrowfin::systolic

#endif
