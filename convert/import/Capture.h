#ifndef CONVERT_IMPORT_CAPTURE_H
#define CONVERT_IMPORT_CAPTURE_H

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace marrowfin {

// What an importer makes of a recording, whatever its format: events on the tiles of one or more
// devices, and an account of what became of each event of the input.

// Limits that no recorded machine comes near, so that a damaged or hostile input is refused before
// it asks for memory or disk.
constexpr uint32_t highestCoordinate = 255;
constexpr uint32_t highestDevice = 65535;
constexpr size_t mostProcessors = 1024;
constexpr size_t longestName = 64;  // bytes

// What an event of the input was.
enum EventKind : uint8_t {
  KIND_ZONE,       // a kernel zone begins or ends
  KIND_BARRIER,    // the processor waits until transfers have ended
  KIND_FLUSH,      // the processor waits until transfers have left
  KIND_WAIT,       // the processor waits for a semaphore
  KIND_SETUP,      // transfers that come later are prepared
  KIND_READ,       // data comes from the far tile
  KIND_WRITE,      // data goes to the far tile
  KIND_MULTICAST,  // data goes to every tile of a rectangle
  KIND_SEMAPHORE,  // a semaphore of the far tile is changed
  KIND_FABRIC,     // data goes to a tile of another device
  KIND_COUNT
};

// Why an event of the input became no record.
enum SkipReason : uint8_t {
  SKIP_UNKNOWN_TYPE,
  SKIP_UNKNOWN_PHASE,
  SKIP_NO_DESTINATION,
  SKIP_UNKNOWN_DEVICE,
  SKIP_ODD_VALUE,   // a field holds what no field of its name is known to hold
  SKIP_INCOMPLETE,  // a field is missing that such an event needs
  SKIP_COUNT
};

// A name for programs (in JSON) and a line for people.
struct Label {
  const char* name;
  const char* text;
};
extern const std::array<Label, KIND_COUNT> kindLabels;
extern const std::array<Label, SKIP_COUNT> skipLabels;

// What the notes beside a trace call events of each kind.
extern const std::array<const char*, KIND_COUNT> kindNotes;

// Which end of a zone or a wait an event is.
enum EventPhase : uint8_t { PHASE_NONE, PHASE_BEGIN, PHASE_END };

// What events of a capture are called, each name once. A capture with more names than there are
// numbers leaves the others out: NONE stands for those, and for no name.
class NameTable {
 public:
  static constexpr uint16_t NONE = 0xFFFF;

  uint16_t NumberOf(const std::string& name);
  const std::vector<std::string>& Names() const { return names; }

 private:
  std::vector<std::string> names;
  std::map<std::string, uint16_t> numbers;
};

struct Tile {
  uint16_t column;
  uint16_t row;
};

// Where an event does not say how many bytes it moves, and on which channel.
constexpr uint64_t noBytes = ~uint64_t{0};
constexpr uint8_t noChannel = 0xFF;

// One event that becomes records.
struct CaptureEvent {
  uint64_t time;       // on the recording's clock, in cycles
  uint64_t number;     // of the event in the input, from 0
  uint64_t bytes;      // that are moved, to each of the far tiles
  uint32_t device;     // of `tile`
  uint32_t farDevice;  // of `first` and `last`
  uint16_t processor;  // index into Capture::processors
  EventKind kind;
  Tile tile;   // where the event was recorded
  Tile first;  // the far tiles: the rectangle from `first` to `last`, both included
  Tile last;
  uint16_t name;       // of the event, in Capture::names
  uint16_t network;    // in Capture::networks
  uint16_t operation;  // in Capture::operations
  uint8_t channel;     // virtual channel
  EventPhase phase;
};

struct Processor {
  std::string name;
  uint64_t events;  // of the input that it recorded, converted or not, but for odd ones
};

struct Skipped {
  uint64_t events = 0;
  uint64_t first = 0;  // number of the first one in the input
  std::string why;     // what is wrong with that one, where the reason alone does not tell
};

struct Capture {
  uint64_t eventsRead = 0;
  std::array<Skipped, SKIP_COUNT> skipped;
  std::vector<CaptureEvent> events;   // eventsRead less all skipped, in the order of the input
  std::vector<Processor> processors;  // those of all events but odd ones; its index is its thread
  NameTable names;                    // what the recorder calls events and zones
  NameTable networks;
  NameTable operations;  // of the program that ran
};

// Whether events of this kind become messages; the others become fires of their tile.
inline bool IsMessage(EventKind kind) { return kind >= KIND_READ; }

// Number of records that the event becomes.
uint64_t RecordsOf(const CaptureEvent& event);

// Numbers the threads: each name that stands in `fixed` keeps its place there, used or not, and the
// others follow in alphabetical order, so that a thread means the same in every import.
void NumberThreads(Capture& capture, const std::vector<std::string>& fixed);

}  // namespace marrowfin

#endif
