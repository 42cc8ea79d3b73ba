#ifndef CORE_VISTOOL_H
#define CORE_VISTOOL_H

#include <string>

#include "Core/Component.h"
#include "Marrowfin/Location.h"
#include "Util/ClassInfo.h"
#include "Util/File.h"
#include "Util/Printable.h"
#include "Util/Types.h"

// The class codes of events, which are also the types of their records.
enum VisToolEventCode {
  VIS_TOOL_EVENT = 0,
  LOCATION_EVENT = 1,
  NETWORK_SWITCH_TRANSMISSION = 2,
  PE_FIRE = 3,
  MESSAGE_SEND = 4
};

// The order of the bases, of the virtual operations and of the fields is fixed in all classes
// below.

// One record of a trace: 20 bytes and the payload, all numbers most significant byte first.
struct BinaryEvent {
  BinaryEvent();
  BinaryEvent(const BinaryEvent&) = delete;
  BinaryEvent& operator=(const BinaryEvent&) = delete;
  ~BinaryEvent();

  // Moves the record between memory and a file, five calls of the File a record, and stops at the
  // first one that is no SUCCESS. A record that the file cuts short reads as END_OF_FILE.
  File::FileStatus Write(File& f);
  File::FileStatus Read(File& f);

  uint32 type;        // class code of the event
  Cycle cyc;          // its cycle
  uint32 tid;         // its thread
  uint32 dataLength;  // bytes of the payload
  uint32* data;       // the payload, words in the byte order of the host; owned
};

// Something that happened in the array at a cycle, on behalf of a thread.
class VisToolEvent : public Printable, public ClassInfo {
 public:
  VisToolEvent(Cycle cyc, uint32 thread);
  ~VisToolEvent() override;

  // Fills `e` from the event. The payload is a new array that belongs to `e`.
  virtual void ToBinaryEvent(BinaryEvent& e) const;

  // Fills the event from a record of its own class; a wrong type or payload length is a failed
  // assertion. `e` keeps its payload.
  virtual void FromBinaryEvent(const BinaryEvent& e);

  Cycle cyc;
  uint32 thread;
};

// An event at one location. Payload: column, row.
class LocationEvent : public VisToolEvent {
 public:
  LocationEvent(Cycle cyc, uint32 thread, const Location& l);
  ~LocationEvent() override;

  using Printable::ToString;
  const char* ToString(std::string& s) const override;
  void ToBinaryEvent(BinaryEvent& e) const override;
  void FromBinaryEvent(const BinaryEvent& e) override;

  Location l;
};

// The processing element at `l` fired.
class PEFire : public LocationEvent {
 public:
  PEFire(Cycle cyc, uint32 thread, const Location& l);
  ~PEFire() override;

  using Printable::ToString;
  const char* ToString(std::string& s) const override;
};

// The network switch at `l` transmitted.
class NetworkSwitchTransmission : public LocationEvent {
 public:
  NetworkSwitchTransmission(Cycle cyc, uint32 thread, const Location& l);
  ~NetworkSwitchTransmission() override;

  using Printable::ToString;
  const char* ToString(std::string& s) const override;
};

// A message was sent. Payload: column and row of the sender, column and row of the receiver.
class MessageSend : public VisToolEvent {
 public:
  MessageSend(Cycle cyc, uint32 thread, const Location& from, const Location& to);
  ~MessageSend() override;

  using Printable::ToString;
  const char* ToString(std::string& s) const override;
  void ToBinaryEvent(BinaryEvent& e) const override;
  void FromBinaryEvent(const BinaryEvent& e) override;

  Location from;
  Location to;
};

// Writes and reads traces.
//
// A writer constructs the tool, lets the option -outFilename name the file, calls
// InitializeForWrite and then WriteEvent per event. A reader sets inFilename, calls
// InitializeForRead and then ReadEvent or SkipTo. Both files are crash-on-error: a failure of the
// system ends the program with its text.
class VisTool : public Component {
 public:
  VisTool();
  ~VisTool() override;

  // Opens outFilename and prints "Opened tracefile  NAME" to standard output; does nothing where
  // the name is empty.
  void InitializeForWrite();

  // The same for inFilename.
  void InitializeForRead();

  // Writes the event and destroys it. The output trace must be open.
  File::FileStatus WriteEvent(VisToolEvent* event);

  // Reads the next event, which belongs to the caller; null unless the result is SUCCESS. A record
  // of a type other than 2, 3 and 4 is a failed assertion.
  File::FileStatus ReadEvent(VisToolEvent*& event);

  // Discards all events before cycle `target` and also the first one at or after it.
  void SkipTo(Cycle target);

  std::string outFilename;  // empty: no trace is written
  File outFile;
  std::string inFilename;  // empty: no trace is read
  File inFile;
};

#endif
