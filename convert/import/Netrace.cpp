#include "convert/import/Netrace.h"

#include <algorithm>
#include <deque>
#include <unordered_map>

#include "convert/import/Refusal.h"

namespace marrowfin {
namespace {

constexpr uint32_t MAGIC = 0x484A5455;
constexpr size_t NAME_SIZE = 30;
constexpr size_t HEADER = 72;
constexpr size_t REGION = 24;
constexpr size_t PACKET = 21;
constexpr uint32_t VERSION_1 = 0x3F800000;  // 1.0 as a float

// Packets that others wait for and that have not come yet; the oldest beyond go unnoted.
constexpr size_t MOST_WAITED_FOR = 65536;
constexpr size_t MOST_CAUSES = 256;  // that are noted of one

// All numbers of the format begin with their lowest byte.
template <class Number>
Number NumberAt(const uint8_t* bytes) {
  Number value = 0;
  for (size_t i = 0; i < sizeof(Number); ++i) {
    value = static_cast<Number>(value | static_cast<Number>(Number{bytes[i]} << (8 * i)));
  }
  return value;
}

struct PacketType {
  uint8_t code;
  const char* name;
  uint64_t bytes;
};

constexpr uint64_t REQUEST = 8;
constexpr uint64_t WITH_DATA = 72;
constexpr PacketType TYPES[] = {{1, "ReadReq", REQUEST},
                                {2, "ReadResp", WITH_DATA},
                                {3, "ReadRespWithInvalidate", WITH_DATA},
                                {6, "Writeback", WITH_DATA},
                                {13, "UpgradeReq", REQUEST},
                                {14, "UpgradeResp", REQUEST},
                                {15, "ReadExReq", REQUEST},
                                {16, "ReadExResp", WITH_DATA},
                                {27, "InvalidateReq", REQUEST},
                                {29, "DowngradeReq", REQUEST}};

const PacketType* TypeOf(uint8_t code) {
  const auto found = std::find_if(std::begin(TYPES), std::end(TYPES),
                                  [code](const PacketType& type) { return type.code == code; });
  return found == std::end(TYPES) ? nullptr : found;
}

constexpr const char* NODE_TYPES[] = {"L1 data", "L1 instruction", "L2", "memory controller"};

class NetraceStream : public EventStream {
 public:
  NetraceStream(InputBytes& input, const StreamOptions& options) : input(input), options(options) {}

  Fault Begin(NotesWriter* notes) override;
  Result<bool> Next(StreamEvent& event, uint64_t record) override;
  void Describe(About& about) const override;

 private:
  Fault Pass(uint64_t size, const char* what);
  void Declare(NotesWriter& notes);
  Result<bool> TakePacket();
  Result<bool> End() const;
  void Fill(StreamEvent& event);
  void NoteWaits(StreamEvent& event, uint64_t record);
  Place PlaceOf(uint8_t node) const { return {node % width, node / width}; }
  Fault CutAt(uint64_t offset, const char* within) const;

  InputBytes& input;
  const StreamOptions options;
  uint32_t nodes = 0;
  uint32_t width = 1;
  uint64_t packets = 0;  // that the header tells
  uint64_t begin = 0;    // of the packet that is at hand, a byte of the input
  uint8_t packet[PACKET] = {};
  std::vector<uint32_t> waiting;  // the packets that wait for it
  bool isNoted = false;
  std::array<bool, 256> typesMet = {};

  // By packets that have not come, the records that they wait for; and in which order they came up.
  std::unordered_map<uint32_t, std::vector<uint64_t>> waits;
  std::deque<uint32_t> order;

  enum Attribute { KIND, PACKET_NUMBER, SIZE, ADDRESS, FROM, TO, CONSUMES, ATTRIBUTES };
  uint32_t attributes[ATTRIBUTES] = {};
};

Fault NetraceStream::CutAt(uint64_t offset, const char* within) const {
  return input.Trouble()
             ? input.Trouble()
             : RefusalAt(input.Name(), offset, std::string("the recording ends within ") + within,
                         "copy it again from where it was recorded");
}

Fault NetraceStream::Pass(uint64_t size, const char* what) {
  uint8_t rest[256];
  while (size > 0) {
    const size_t part = static_cast<size_t>(std::min<uint64_t>(size, sizeof(rest)));
    if (input.Take(rest, part) != part) {
      return CutAt(input.Offset(), what);
    }
    size -= part;
  }
  return {};
}

Fault NetraceStream::Begin(NotesWriter* notes) {
  uint8_t header[HEADER];
  const size_t got = input.Take(header, HEADER);
  if (got >= sizeof(uint32_t) && NumberAt<uint32_t>(header) != MAGIC) {
    return RefusalAt(input.Name(), 0, "this is no Netrace recording",
                     "name the format that it has with --format");
  }
  if (got != HEADER) {
    return CutAt(got, "its header");
  }
  if (NumberAt<uint32_t>(header + 4) != VERSION_1) {
    return RefusalAt(input.Name(), 4, "the version is not 1.0", "record it with Netrace 1.0");
  }
  const uint8_t* const behindName = header + 8 + NAME_SIZE;
  nodes = behindName[0];
  packets = NumberAt<uint64_t>(behindName + 10);
  const uint32_t notesSize = NumberAt<uint32_t>(behindName + 18);
  const uint32_t regions = NumberAt<uint32_t>(behindName + 22);
  if (nodes == 0) {
    return RefusalAt(input.Name(), 8 + NAME_SIZE, "there are no nodes",
                     "this is no recording, or it is damaged here");
  }
  if (Fault fault = Pass(notesSize, "its notes")) {
    return fault;
  }
  if (Fault fault = Pass(uint64_t{regions} * REGION, "its list of regions")) {
    return fault;
  }
  while (width * width < nodes) {
    ++width;
  }
  width = options.width.value_or(width);
  if (notes != nullptr) {
    Declare(*notes);
  }
  return {};
}

void NetraceStream::Declare(NotesWriter& notes) {
  isNoted = true;
  attributes[KIND] = notes.Attribute(KIND_ATTRIBUTE, NoteType::NAME);
  for (const PacketType& type : TYPES) {
    notes.NameValue(attributes[KIND], type.code, type.name);
  }
  attributes[PACKET_NUMBER] = notes.Attribute(PACKET_ATTRIBUTE, NoteType::NUMBER);
  attributes[SIZE] = notes.Attribute(SIZE_ATTRIBUTE, NoteType::NUMBER, "bytes");
  attributes[ADDRESS] = notes.Attribute("address", NoteType::NUMBER);
  attributes[FROM] = notes.Attribute("from", NoteType::NAME);
  attributes[TO] = notes.Attribute("to", NoteType::NAME);
  for (const Attribute node : {FROM, TO}) {
    for (size_t type = 0; type < std::size(NODE_TYPES); ++type) {
      notes.NameValue(attributes[node], type, NODE_TYPES[type]);
    }
  }
  attributes[CONSUMES] = notes.Attribute(CONSUMES_ATTRIBUTE, NoteType::RECORDS);
}

// Reads a packet and the list of those that wait for it. False at the end.
Result<bool> NetraceStream::TakePacket() {
  begin = input.Offset();
  const size_t got = input.Take(packet, PACKET);
  if (got == 0) {
    return input.Trouble() ? Result<bool>(input.Trouble()) : End();
  }
  if (got != PACKET) {
    return CutAt(begin, "a packet");
  }
  waiting.resize(packet[PACKET - 1]);
  for (uint32_t& one : waiting) {
    uint8_t id[sizeof(uint32_t)];
    if (input.Take(id, sizeof(id)) != sizeof(id)) {
      return CutAt(begin, "a packet");
    }
    one = NumberAt<uint32_t>(id);
  }
  ++counts.read;
  return true;
}

Result<bool> NetraceStream::End() const {
  if (counts.read != packets) {
    return Refusal(input.Name(),
                   "there are " + std::to_string(counts.read) + " packets, and the header tells " +
                       std::to_string(packets),
                   "copy it again from where it was recorded");
  }
  if (Fault fault = WhyNothing()) {
    return fault;
  }
  return false;
}

Result<bool> NetraceStream::Next(StreamEvent& event, uint64_t record) {
  for (;;) {
    Result<bool> taken = TakePacket();
    if (!taken || !*taken) {
      return taken;
    }
    const uint8_t from = packet[17];
    const uint8_t to = packet[18];
    if (from < nodes && to < nodes) {
      Fill(event);
      NoteWaits(event, record);
      return true;
    }
    const uint8_t odd = from < nodes ? to : from;
    if (Fault fault =
            Skip(options, input, SKIP_ODD_VALUE, "byte " + std::to_string(begin),
                 "node " + std::to_string(odd) + " of " + std::to_string(nodes) + " nodes")) {
      return fault;
    }
  }
}

void NetraceStream::Fill(StreamEvent& event) {
  const uint8_t type = packet[16];
  typesMet[type] = true;
  event.type = SEND_RECORD;
  event.cycle = NumberAt<uint64_t>(packet);
  event.thread = type;
  event.at = PlaceOf(packet[17]);
  event.to = PlaceOf(packet[18]);
  event.notes.clear();
  if (!isNoted) {
    return;
  }
  event.notes.push_back({attributes[KIND], type});
  event.notes.push_back({attributes[PACKET_NUMBER], NumberAt<uint32_t>(packet + 8)});
  if (const PacketType* const known = TypeOf(type)) {
    event.notes.push_back({attributes[SIZE], known->bytes});
  }
  event.notes.push_back({attributes[ADDRESS], NumberAt<uint32_t>(packet + 12)});
  event.notes.push_back({attributes[FROM], uint64_t{packet[19]} >> 4});
  event.notes.push_back({attributes[TO], uint64_t{packet[19]} & 0xF});
}

void NetraceStream::NoteWaits(StreamEvent& event, uint64_t record) {
  if (!isNoted) {
    return;
  }
  const auto known = waits.find(NumberAt<uint32_t>(packet + 8));
  if (known != waits.end()) {
    for (const uint64_t cause : known->second) {
      event.notes.push_back({attributes[CONSUMES], cause});
    }
    waits.erase(known);
  }
  for (const uint32_t id : waiting) {
    const auto [wait, isNew] = waits.try_emplace(id);
    const bool isTold = !isNew && wait->second.back() == record;
    if (!isTold && wait->second.size() < MOST_CAUSES) {
      wait->second.push_back(record);
    }
    if (isNew) {
      order.push_back(id);
    }
  }
  // Some of these have come meanwhile.
  while (order.size() > MOST_WAITED_FOR) {
    waits.erase(order.front());
    order.pop_front();
  }
}

void NetraceStream::Describe(About& about) const {
  for (uint32_t type = 0; type < typesMet.size(); ++type) {
    if (typesMet[type]) {
      const PacketType* const known = TypeOf(static_cast<uint8_t>(type));
      about.threads[type] = {known != nullptr ? known->name : "type " + std::to_string(type),
                             "packet type"};
    }
  }
  about.array = AboutArray();
  about.array->shape =
      ArrayShape(PerAxis{1, 1}, PerAxis{1, 1}, PerAxis{width, (nodes + width - 1) / width});
  about.array->gaps = false;
}

}  // namespace

std::unique_ptr<EventStream> OpenNetrace(InputBytes& input, const StreamOptions& options) {
  return std::make_unique<NetraceStream>(input, options);
}

}  // namespace marrowfin
