#include "convert/import/TtNpe.h"

#include <algorithm>
#include <bitset>
#include <limits>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "convert/import/Refusal.h"

namespace marrowfin {
namespace {

using Json = nlohmann::json;

constexpr int64_t highestNumber = std::numeric_limits<int64_t>::max();

// A device that the event does not name: its low bits are the place of the event's run in
// CaptureReader::runs.
constexpr uint32_t unresolved = 0x80000000u;

constexpr int64_t noRun = -1;

// Deeper nesting than any field of a capture has.
constexpr unsigned deepest = 64;

enum Field {
  PROC,
  TYPE,
  ZONE,
  ZONE_PHASE,
  TIMESTAMP,
  SX,
  SY,
  DX,
  DY,
  MCAST_START_X,
  MCAST_START_Y,
  MCAST_END_X,
  MCAST_END_Y,
  SRC_DEVICE_ID,
  DST_DEVICE_ID,
  RUN_HOST_ID,
  NOC,
  VC,
  NUM_BYTES,
  OP_NAME,
  FIELD_COUNT  // also: a field that means nothing here
};

// What a field may hold. Names have a longest length, numbers lie from `lowest` to `highest`. No
// record depends on fields for the notes: where one holds anything else, there is no note.
struct FieldRule {
  std::string_view name;
  bool isName;
  bool forNotes;
  int64_t lowest;
  int64_t highest;
};

constexpr FieldRule Name(std::string_view name) { return {name, true, false, 0, 0}; }
constexpr FieldRule Number(std::string_view name, int64_t lowest, int64_t highest) {
  return {name, false, false, lowest, highest};
}
constexpr FieldRule NotedName(std::string_view name) { return {name, true, true, 0, 0}; }
constexpr FieldRule NotedNumber(std::string_view name, int64_t highest) {
  return {name, false, true, 0, highest};
}

// In the order of Field.
constexpr std::array<FieldRule, FIELD_COUNT> fieldRules = {{
    Name("proc"),
    Name("type"),
    Name("zone"),
    Name("zone_phase"),
    Number("timestamp", 0, highestNumber),
    Number("sx", 0, highestCoordinate),
    Number("sy", 0, highestCoordinate),
    Number("dx", -1, highestCoordinate),  // -1: the event has no far tile
    Number("dy", -1, highestCoordinate),
    Number("mcast_start_x", 0, highestCoordinate),
    Number("mcast_start_y", 0, highestCoordinate),
    Number("mcast_end_x", 0, highestCoordinate),
    Number("mcast_end_y", 0, highestCoordinate),
    Number("src_device_id", 0, highestDevice),
    Number("dst_device_id", 0, highestDevice),
    Number("run_host_id", 0, highestNumber),
    NotedName("noc"),
    NotedNumber("vc", noChannel - 1),
    NotedNumber("num_bytes", highestNumber),
    NotedName("op_name"),
}};

Field FieldOf(std::string_view name) {
  const auto rule = std::find_if(fieldRules.begin(), fieldRules.end(),
                                 [name](const FieldRule& r) { return r.name == name; });
  return static_cast<Field>(rule - fieldRules.begin());
}

bool StartsWith(std::string_view text, std::string_view start) {
  return text.substr(0, start.size()) == start;
}

bool Contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

bool EndsWith(std::string_view text, std::string_view end) {
  return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

// Whether `type` is `family` or a member of it: READ, READ_SET_STATE, but not READY.
bool IsOf(std::string_view type, std::string_view family) {
  return StartsWith(type, family) && (type.size() == family.size() || type[family.size()] == '_');
}

// Events by which nothing moves: the processor waits, or tells its network interface about
// transfers to come.
std::optional<EventKind> StillKindOf(std::string_view type) {
  if (Contains(type, "_BARRIER")) {
    return KIND_BARRIER;
  }
  if (Contains(type, "_FLUSH")) {
    return KIND_FLUSH;
  }
  if (IsOf(type, "SEMAPHORE_WAIT")) {
    return KIND_WAIT;
  }
  if (EndsWith(type, "_SET_STATE") || EndsWith(type, "_SET_TRID") || type == "SEMAPHORE_SET") {
    return KIND_SETUP;
  }
  return std::nullopt;
}

// New members of the families come with every version of the recorder, so names are not listed.
std::optional<EventKind> KindOf(std::string_view type) {
  static constexpr std::pair<std::string_view, EventKind> families[] = {
      {"READ", KIND_READ},
      {"WRITE", KIND_WRITE},
      {"SEMAPHORE", KIND_SEMAPHORE},
      {"FABRIC", KIND_FABRIC}};
  for (const auto& [family, kind] : families) {
    if (IsOf(type, family)) {
      return StillKindOf(type).value_or(Contains(type, "_MULTICAST") ? KIND_MULTICAST : kind);
    }
  }
  return std::nullopt;
}

EventPhase PhaseOfZone(std::string_view phase) {
  return phase == "begin" || phase == "ZONE_START" ? PHASE_BEGIN
         : phase == "end" || phase == "ZONE_END"   ? PHASE_END
                                                   : PHASE_NONE;
}

EventPhase PhaseOfWait(std::string_view type) {
  return EndsWith(type, "_START") ? PHASE_BEGIN : EndsWith(type, "_END") ? PHASE_END : PHASE_NONE;
}

// An event while its fields come in.
struct Draft {
  std::bitset<FIELD_COUNT> given;
  std::bitset<FIELD_COUNT> odd;  // of those for the notes
  std::array<int64_t, FIELD_COUNT> numbers;
  std::array<std::string, FIELD_COUNT> names;
  uint64_t start;  // offset of its first byte

  // What is wrong with it, if anything is: why it is skipped, and the fault that it is for those
  // who want no such event.
  SkipReason oddness;
  std::string what;
  Fault fault;
};

// Follows the parser through the text, and keeps an event when its object ends.
//
// A list of objects as a tree of values would take some twenty times the memory of the events.
class CaptureReader : public nlohmann::json_sax<Json> {
 public:
  CaptureReader(CharSource& source, const ReadingOptions& options)
      : source(source), strict(options.strict), depth(0), field(FIELD_COUNT) {}

  // After a parse that returned false.
  const Fault& Why() const { return fault; }

  // After one that succeeded: the capture, or the fault of its first event where all are odd.
  Result<Capture> Finish();

  bool null() override { return Other("null"); }
  bool boolean(bool) override { return Other("true or false"); }
  bool number_float(number_float_t, const string_t& digits) override;
  bool number_integer(number_integer_t value) override { return TakeNumber(value); }
  bool number_unsigned(number_unsigned_t value) override;
  bool string(string_t& value) override { return TakeName(value); }
  bool binary(binary_t&) override { return Other("binary"); }
  bool start_object(size_t) override;
  bool key(string_t& name) override;
  bool end_object() override;
  bool start_array(size_t) override;
  bool end_array() override;
  bool parse_error(size_t position, const std::string& token,
                   const nlohmann::detail::exception& error) override;

 private:
  // Depth of what is open: the list is 1, an event 2, the value of one of its fields 3.
  static constexpr unsigned inNothing = 0, inList = 1, inEvent = 2;

  bool Refuse(uint64_t byte, const std::string& path, const std::string& reason,
              const std::string& remedy);
  bool Doubt(SkipReason oddness, uint64_t byte, Field doubted, const std::string& reason,
             const std::string& remedy);
  bool DoubtValue(const std::string& reason, const std::string& remedy);
  bool DoubtEvent(Field missing, const std::string& why);
  bool Other(const char* what);
  bool Begin(const char* what);
  bool WrongPlace(const char* what);
  bool WantsNumber() const {
    return depth == inEvent && field != FIELD_COUNT && !fieldRules[field].isName;
  }
  bool TakeNumber(int64_t value);
  bool DoubtRange(const std::string& digits);
  bool TakeName(const std::string& value);
  bool Ended();

  std::string EventPath() const {
    return std::string("[").append(std::to_string(capture.eventsRead)).append("]");
  }
  bool Has(Field f) const { return draft.given[f] && !draft.odd[f]; }
  uint16_t Coordinate(Field f) const { return static_cast<uint16_t>(draft.numbers[f]); }

  bool FinishEvent();
  bool FinishWhole();
  bool CheckWhole();
  bool CheckPair(Field a, Field b, const char* why);
  bool Count(uint16_t& processor);
  std::optional<EventKind> Kind(SkipReason& reason) const;
  bool HasDestination(EventKind kind) const;
  void Convert(EventKind kind, uint16_t processor);
  void SetDevices(CaptureEvent& event);
  void SetFarTiles(CaptureEvent& event) const;
  void SetNotes(CaptureEvent& event);
  uint16_t NumberOf(Field f, NameTable& table) const;
  void Skip(SkipReason reason, uint64_t number, const std::string& why = "");
  void ResolveDevices();
  std::optional<uint32_t> Resolve(uint32_t device) const;

  CharSource& source;
  Capture capture;
  bool strict;
  Fault fault;     // that ended the reading
  Fault firstOdd;  // of the first odd event
  unsigned depth;
  Field field;  // whose value comes next
  Draft draft;
  std::map<std::string, uint16_t> processors;
  std::map<int64_t, uint32_t> runs;           // run_host_id -> place
  std::map<uint32_t, uint32_t> runDevices;    // place -> device, or `unresolved` for several
  std::map<uint32_t, bool> recordingDevices;  // that events were recorded on
};

// Text of the input as it may stand in a message: in quotes, short and printable.
std::string Shown(const std::string& text) {
  constexpr size_t most = 80;
  const std::string part = text.substr(0, most) + (text.size() > most ? "..." : "");
  return Json(part).dump(-1, ' ', true, Json::error_handler_t::replace);
}

bool CaptureReader::Refuse(uint64_t byte, const std::string& path, const std::string& reason,
                           const std::string& remedy) {
  fault = RefusalAt(source.Path(), byte, path + (path.empty() ? "" : ": ") + reason, remedy);
  return false;
}

// Something that is wrong with the event that is read, of which the first counts. False where that
// ends the reading.
bool CaptureReader::Doubt(SkipReason oddness, uint64_t byte, Field doubted,
                          const std::string& reason, const std::string& remedy) {
  const std::string name(fieldRules[doubted].name);
  const Fault found =
      RefusalAt(source.Path(), byte, EventPath() + "." + name + ": " + reason, remedy);
  if (strict) {
    fault = found;
  } else if (!draft.fault) {
    draft.oddness = oddness;
    draft.what = name + " " + reason;
    draft.fault = found;
  }
  return !strict;
}

bool CaptureReader::DoubtValue(const std::string& reason, const std::string& remedy) {
  if (fieldRules[field].forNotes) {
    draft.odd.set(field);
    return Ended();
  }
  return Doubt(SKIP_ODD_VALUE, source.TokenStart(), field, reason, remedy) && Ended();
}

bool CaptureReader::DoubtEvent(Field missing, const std::string& why) {
  return Doubt(SKIP_INCOMPLETE, draft.start, missing, "is missing " + why,
               "add it to the event that begins at this byte, or remove the event");
}

bool CaptureReader::Ended() {
  source.EndToken();
  return true;
}

// A value where the list or an event has to stand.
bool CaptureReader::WrongPlace(const char* what) {
  if (depth == inNothing) {
    return Refuse(source.TokenStart(), "", std::string("the file holds ") + what + ", not a list",
                  "a capture is one JSON list of events: [{...}, {...}]");
  }
  return Refuse(source.TokenStart(), EventPath(), std::string("is ") + what + ", not an object",
                "every member of the list has to be an event: {\"proc\": ..., ...}");
}

// A value of a kind that no known field has.
bool CaptureReader::Other(const char* what) {
  if (depth < inEvent) {
    return WrongPlace(what);
  }
  if (depth == inEvent && field != FIELD_COUNT) {
    const char* const wanted = fieldRules[field].isName ? "a text" : "a whole number";
    return DoubtValue(std::string("is ") + what + ", must be " + wanted,
                      "correct the value, or record the capture again");
  }
  return Ended();
}

// A list or an object at a place where it is a value.
bool CaptureReader::Begin(const char* what) {
  if (depth == deepest) {
    return Refuse(source.TokenStart(), EventPath(),
                  "is nested more than " + std::to_string(deepest) + " deep",
                  "events are flat: record the capture again");
  }
  if (!Other(what)) {
    return false;
  }
  ++depth;
  return true;
}

bool CaptureReader::TakeNumber(int64_t value) {
  if (!WantsNumber()) {
    return Other("a number");
  }
  if (value < fieldRules[field].lowest || value > fieldRules[field].highest) {
    return DoubtRange(std::to_string(value));
  }
  draft.numbers[field] = value;
  return Ended();
}

bool CaptureReader::DoubtRange(const std::string& digits) {
  constexpr size_t most = 40;
  const FieldRule& rule = fieldRules[field];
  return DoubtValue("is " + digits.substr(0, most) + (digits.size() > most ? "..." : "") +
                        ", must lie from " + std::to_string(rule.lowest) + " to " +
                        std::to_string(rule.highest),
                    "correct the value, or record the capture again");
}

bool CaptureReader::number_unsigned(number_unsigned_t value) {
  if (value > static_cast<uint64_t>(highestNumber) && WantsNumber()) {
    return DoubtRange(std::to_string(value));
  }
  return TakeNumber(static_cast<int64_t>(value));
}

// Whole numbers beyond 64 bits come as floating-point ones too.
bool CaptureReader::number_float(number_float_t, const string_t& digits) {
  if (digits.find_first_of(".eE") != std::string::npos) {
    return Other("a number with a point or an exponent");
  }
  return WantsNumber() ? DoubtRange(digits) : Other("a number");
}

bool CaptureReader::TakeName(const std::string& value) {
  if (depth != inEvent || field == FIELD_COUNT || !fieldRules[field].isName) {
    return Other("a text");
  }
  if (value.empty() || value.size() > longestName) {
    return DoubtValue("is a text of " + std::to_string(value.size()) + " bytes, must have 1 to " +
                          std::to_string(longestName),
                      "correct the value, or record the capture again");
  }
  draft.names[field] = value;
  return Ended();
}

bool CaptureReader::start_array(size_t) {
  if (depth != inNothing) {
    return Begin("a list");
  }
  ++depth;
  return Ended();
}

bool CaptureReader::end_array() {
  --depth;
  return Ended();
}

bool CaptureReader::start_object(size_t) {
  if (depth != inList) {
    return Begin("an object");
  }
  ++depth;
  draft.given.reset();
  draft.odd.reset();
  draft.start = source.TokenStart();
  draft.fault = Fault();
  return Ended();
}

bool CaptureReader::key(string_t& name) {
  if (depth == inEvent) {
    field = FieldOf(name);
    if (field != FIELD_COUNT && draft.given[field]) {
      return DoubtValue("is given twice in one event", "remove one of the two");
    }
    if (field != FIELD_COUNT) {
      draft.given.set(field);
    }
  }
  return Ended();
}

bool CaptureReader::end_object() {
  --depth;
  return (depth != inList || FinishEvent()) && Ended();
}

// "[json.exception.parse_error.101] parse error at line 1, column 2: syntax error ..."
std::string Complaint(const nlohmann::detail::exception& error) {
  const std::string text = error.what();
  const size_t colon = text.find(": ");
  return colon == std::string::npos ? text : text.substr(colon + 2);
}

bool CaptureReader::parse_error(size_t position, const std::string& token,
                                const nlohmann::detail::exception& error) {
  if (source.Trouble()) {
    fault = source.Trouble();
    return false;
  }
  const bool isTooLarge = dynamic_cast<const Json::out_of_range*>(&error) != nullptr;
  if (isTooLarge && WantsNumber() && !fieldRules[field].forNotes) {
    // No parser reads on behind it.
    strict = true;
    return DoubtRange(token);
  }
  // The parser's count includes the character that it stumbled over.
  const uint64_t byte = source.TokenBegun() ? source.TokenStart() : position - 1;
  return Refuse(byte, depth == inNothing ? "" : EventPath(),
                isTooLarge ? "no number is as large as " + Shown(token)
                           : "not JSON: " + Shown(Complaint(error)),
                "the file is cut or damaged here, or it is no capture: record it again");
}

// Both or neither.
bool CaptureReader::CheckPair(Field a, Field b, const char* why) {
  return Has(a) == Has(b) || DoubtEvent(Has(a) ? b : a, why);
}

bool CaptureReader::CheckWhole() {
  for (const Field needed : {PROC, TIMESTAMP, SX, SY}) {
    if (!Has(needed)) {
      return DoubtEvent(needed, "(every event needs it)");
    }
  }
  if (!Has(TYPE) && !Has(ZONE)) {
    return DoubtEvent(TYPE, "(an event has a \"type\" or a \"zone\")");
  }
  if (!Has(TYPE) && !Has(ZONE_PHASE)) {
    return DoubtEvent(ZONE_PHASE, "(a zone needs it)");
  }
  if (Has(DST_DEVICE_ID) && !Has(SRC_DEVICE_ID)) {
    return DoubtEvent(SRC_DEVICE_ID, "(\"dst_device_id\" needs it)");
  }
  if (!CheckPair(DX, DY, "(\"dx\" and \"dy\" go together)")) {
    return false;
  }
  if (Has(DX) && (draft.numbers[DX] == -1) != (draft.numbers[DY] == -1)) {
    return Doubt(SKIP_ODD_VALUE, draft.start, draft.numbers[DX] == -1 ? DX : DY,
                 "is -1 (no far tile) where the other coordinate is not",
                 "correct the event that begins at this byte");
  }
  return CheckPair(MCAST_START_X, MCAST_START_Y, "(a multicast has four corners)") &&
         CheckPair(MCAST_START_X, MCAST_END_X, "(a multicast has four corners)") &&
         CheckPair(MCAST_START_X, MCAST_END_Y, "(a multicast has four corners)");
}

// Gives the event's processor its place.
bool CaptureReader::Count(uint16_t& processor) {
  const auto [place, isNew] =
      processors.try_emplace(draft.names[PROC], static_cast<uint16_t>(processors.size()));
  if (isNew && processors.size() > mostProcessors) {
    return Refuse(draft.start, EventPath() + ".proc",
                  "is one more name than the " + std::to_string(mostProcessors) +
                      " processors that a capture may have",
                  "split the capture");
  }
  if (isNew) {
    capture.processors.push_back({draft.names[PROC], 0});
  }
  processor = place->second;
  ++capture.processors[processor].events;
  return true;
}

// Which kind the event is of, or else why it is of none.
std::optional<EventKind> CaptureReader::Kind(SkipReason& reason) const {
  if (Has(TYPE)) {
    const std::optional<EventKind> kind = KindOf(draft.names[TYPE]);
    reason = kind ? SKIP_NO_DESTINATION : SKIP_UNKNOWN_TYPE;
    return kind && HasDestination(*kind) ? kind : std::nullopt;
  }
  reason = SKIP_UNKNOWN_PHASE;
  return PhaseOfZone(draft.names[ZONE_PHASE]) != PHASE_NONE ? std::optional(KIND_ZONE)
                                                            : std::nullopt;
}

bool CaptureReader::HasDestination(EventKind kind) const {
  if (kind == KIND_MULTICAST) {
    return Has(MCAST_START_X);
  }
  if (kind == KIND_FABRIC && !Has(DST_DEVICE_ID)) {
    return false;
  }
  return !IsMessage(kind) || (Has(DX) && draft.numbers[DX] != -1);
}

bool CaptureReader::FinishEvent() {
  if (!draft.fault && !CheckWhole()) {
    return false;
  }
  if (draft.fault) {
    firstOdd = firstOdd ? firstOdd : draft.fault;
    Skip(draft.oddness, capture.eventsRead, draft.what);
  } else if (!FinishWhole()) {
    return false;
  }
  ++capture.eventsRead;
  return true;
}

bool CaptureReader::FinishWhole() {
  uint16_t processor = 0;
  if (!Count(processor)) {
    return false;
  }
  SkipReason reason;
  if (const std::optional<EventKind> kind = Kind(reason)) {
    Convert(*kind, processor);
  } else {
    Skip(reason, capture.eventsRead);
  }
  return true;
}

void CaptureReader::Skip(SkipReason reason, uint64_t number, const std::string& why) {
  Skipped& skipped = capture.skipped[reason];
  if (skipped.events == 0 || number < skipped.first) {
    skipped.first = number;
    skipped.why = why;
  }
  ++skipped.events;
}

void CaptureReader::Convert(EventKind kind, uint16_t processor) {
  CaptureEvent event = {};
  event.time = static_cast<uint64_t>(draft.numbers[TIMESTAMP]);
  event.number = capture.eventsRead;
  event.processor = processor;
  event.kind = kind;
  event.tile = {Coordinate(SX), Coordinate(SY)};
  SetDevices(event);
  SetFarTiles(event);
  SetNotes(event);
  capture.events.push_back(event);
}

void CaptureReader::SetDevices(CaptureEvent& event) {
  const int64_t run = Has(RUN_HOST_ID) ? draft.numbers[RUN_HOST_ID] : noRun;
  const uint32_t place = runs.try_emplace(run, static_cast<uint32_t>(runs.size())).first->second;
  if (!Has(SRC_DEVICE_ID)) {
    event.device = unresolved | place;
    event.farDevice = event.device;
    return;
  }
  event.device = static_cast<uint32_t>(draft.numbers[SRC_DEVICE_ID]);
  event.farDevice =
      Has(DST_DEVICE_ID) ? static_cast<uint32_t>(draft.numbers[DST_DEVICE_ID]) : event.device;
  recordingDevices[event.device] = true;
  if (run == noRun) {
    return;
  }
  const auto [known, isNew] = runDevices.try_emplace(place, event.device);
  if (!isNew && known->second != event.device) {
    known->second = unresolved;
  }
}

void CaptureReader::SetFarTiles(CaptureEvent& event) const {
  if (event.kind == KIND_MULTICAST) {
    // One of the two networks runs from the far corner to the near one.
    const auto [left, right] = std::minmax({Coordinate(MCAST_START_X), Coordinate(MCAST_END_X)});
    const auto [low, high] = std::minmax({Coordinate(MCAST_START_Y), Coordinate(MCAST_END_Y)});
    event.first = {left, low};
    event.last = {right, high};
  } else if (IsMessage(event.kind)) {
    event.first = {Coordinate(DX), Coordinate(DY)};
    event.last = event.first;
  }
}

// What the notes beside the trace tell of an event.
void CaptureReader::SetNotes(CaptureEvent& event) {
  const bool isZone = event.kind == KIND_ZONE;
  event.name = capture.names.NumberOf(draft.names[isZone ? ZONE : TYPE]);
  event.phase = isZone                  ? PhaseOfZone(draft.names[ZONE_PHASE])
                : IsMessage(event.kind) ? PHASE_NONE
                                        : PhaseOfWait(draft.names[TYPE]);
  event.network = NumberOf(NOC, capture.networks);
  event.operation = NumberOf(OP_NAME, capture.operations);
  event.channel = Has(VC) ? static_cast<uint8_t>(draft.numbers[VC]) : noChannel;
  event.bytes = Has(NUM_BYTES) ? static_cast<uint64_t>(draft.numbers[NUM_BYTES]) : noBytes;
}

uint16_t CaptureReader::NumberOf(Field f, NameTable& table) const {
  return Has(f) ? table.NumberOf(draft.names[f]) : NameTable::NONE;
}

// The device of an event: the one it names, or else the one that other events of its run name, or
// else the only one there is.
std::optional<uint32_t> CaptureReader::Resolve(uint32_t device) const {
  if ((device & unresolved) == 0) {
    return device;
  }
  const auto known = runDevices.find(device & ~unresolved);
  if (known != runDevices.end() && known->second != unresolved) {
    return known->second;
  }
  if (recordingDevices.empty()) {
    return 0;
  }
  return recordingDevices.size() == 1 ? std::optional(recordingDevices.begin()->first)
                                      : std::nullopt;
}

void CaptureReader::ResolveDevices() {
  const auto isLost = [this](CaptureEvent& event) {
    const std::optional<uint32_t> device = Resolve(event.device);
    if (!device) {
      Skip(SKIP_UNKNOWN_DEVICE, event.number);
      return true;
    }
    event.device = *device;
    // An event that does not name its device does not name the far one either.
    event.farDevice = (event.farDevice & unresolved) == 0 ? event.farDevice : *device;
    return false;
  };
  std::erase_if(capture.events, isLost);
}

// A list of which nothing is an event that is known is no capture, whatever else it may be.
Result<Capture> CaptureReader::Finish() {
  const uint64_t odd =
      capture.skipped[SKIP_ODD_VALUE].events + capture.skipped[SKIP_INCOMPLETE].events;
  if (firstOdd && odd == capture.eventsRead) {
    return firstOdd;
  }
  ResolveDevices();
  NumberThreads(capture, {"BRISC", "NCRISC"});
  return std::move(capture);
}

}  // namespace

Result<Capture> ReadTtNpe(CharSource& source, const ReadingOptions& options) {
  CaptureReader reader(source, options);
  if (!Json::sax_parse(CharIterator(&source), CharIterator(), &reader)) {
    return reader.Why();
  }
  if (source.Trouble()) {
    return source.Trouble();
  }
  return reader.Finish();
}

}  // namespace marrowfin
