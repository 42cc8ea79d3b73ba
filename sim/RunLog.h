#ifndef SIM_RUNLOG_H
#define SIM_RUNLOG_H

#include <string>
#include <vector>

#include "Core/Component.h"
#include "Util/File.h"
#include "sim/Graph.h"
#include "sim/Messages.h"

namespace marrowfin::sim {

// The simulator's own log: what a trace does not tell, one line each, for tests and for analysis.
// docs/simulator.md describes the lines. A log that is not open takes no notice of anything.
class RunLog {
 public:
  RunLog();

  // Writes to an open file, which is the log's from then on; `fileName` is for messages.
  void Attach(int descriptor, const std::string& fileName);
  bool IsOpen() const { return isOpen; }

  // Tells the log the processing elements, in the order of their numbers.
  void SetPes(const std::vector<const Component*>& processingElements) { pes = processingElements; }

  // A message on a link, an operand message on its way out and at its end.
  void Link(Cycle now, unsigned long long id, const Component& from, const Component& to);
  void Send(Cycle now, OperandMessage& message, const Component& from, uint32 operation);
  void Arrival(Cycle now, unsigned long long id, const Component& at, uint32 hops);

  // Operands that need no message: those of the start and those computed on the same element.
  void Start(Cycle now, const Component& at, uint32 operation, uint32 port, uint32 thread);
  void Local(Cycle now, const Component& at, uint32 operation, uint32 port, uint32 thread,
             Cycle iteration);

  // A fire, with the sources of its operands: messages, "start", "local" and "constant".
  void Fire(Cycle now, const Component& at, uint32 number, const Operation& operation,
            uint32 thread, Cycle iteration, const std::string& operands);

  // Whether some of the log could not be written. What is buffered has not been tried yet.
  bool HasFailed() { return isOpen && ferror(file.GetFILE()) != 0; }

  // Writes what is left. False where any of the log could not be written.
  bool Close();

  const std::string& Error() const { return error; }

 private:
  bool isOpen;
  File file;
  std::string name;
  std::string error;
  std::vector<const Component*> pes;
};

}  // namespace marrowfin::sim

#endif
