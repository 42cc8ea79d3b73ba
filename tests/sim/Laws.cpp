#include "tests/sim/Laws.h"

#include <cstdio>
#include <map>
#include <set>
#include <sstream>
#include <tuple>

namespace marrowfin::sim::testing {

namespace {

unsigned long long Number(const std::string& bytes, size_t offset, size_t size) {
  unsigned long long number = 0;
  for (size_t i = 0; i < size; ++i) {
    number = number * 256 + static_cast<unsigned char>(bytes.at(offset + i));
  }
  return number;
}

struct RawRecord {
  unsigned long long type;
  unsigned long long cycle;
  std::vector<uint32> words;
};

// Stops at the first record that is not whole; `offset` is then where it begins.
std::vector<RawRecord> ReadRecords(const std::string& trace, size_t& offset) {
  std::vector<RawRecord> records;
  for (offset = 0; offset + 20 <= trace.size();) {
    RawRecord record = {Number(trace, offset, 4), Number(trace, offset + 4, 8), {}};
    const size_t length = Number(trace, offset + 16, 4);
    if (offset + 20 + length > trace.size()) {
      break;
    }
    for (size_t word = 0; word < length / 4; ++word) {
      record.words.push_back(static_cast<uint32>(Number(trace, offset + 20 + 4 * word, 4)));
    }
    records.push_back(record);
    offset += 20 + length;
  }
  return records;
}

bool IsPe(const Shape& shape, uint32 column, uint32 row) {
  return column < shape.Side() && row < shape.Side();
}

// Where the viewer files switches: four past the first position of a cluster along both axes.
bool IsSwitch(const Shape& shape, uint32 column, uint32 row) {
  const uint32 side = shape.ClusterSide();
  return column >= 4 && row >= 4 && (column - 4) % side == 0 && (row - 4) % side == 0 &&
         IsPe(shape, column - 4, row - 4);
}

bool IsKnownPlace(const Shape& shape, const RawRecord& record) {
  const std::vector<uint32>& words = record.words;
  switch (record.type) {
    case 2:
      return words.size() == 2 && IsSwitch(shape, words[0], words[1]);
    case 3:
      return words.size() == 2 && IsPe(shape, words[0], words[1]);
    case 4:
      return words.size() == 4 && IsPe(shape, words[0], words[1]) &&
             IsPe(shape, words[2], words[3]);
    default:
      return false;
  }
}

// The numbers behind the letters of a name: 3 and 2 for pe3_2.
std::pair<uint32, uint32> NumbersIn(const std::string& name) {
  unsigned x = 0;
  unsigned y = 0;
  const size_t start = name.find_first_of("0123456789");
  sscanf(name.c_str() + start, "%u_%u", &x, &y);
  return {x, y};
}

// A unit by its name, such as array/c0_1/d1_0/pe3_2: the cluster and the domain that it lies in.
struct UnitPlace {
  std::pair<uint32, uint32> cluster;
  std::pair<uint32, uint32> domain;

  explicit UnitPlace(const std::string& name) {
    std::istringstream parts(name);
    std::string part;
    std::getline(parts, part, '/');
    std::getline(parts, part, '/');
    cluster = NumbersIn(part);
    if (std::getline(parts, part, '/') && part[0] == 'd') {
      domain = NumbersIn(part);
    }
  }
};

uint32 Distance(uint32 a, uint32 b) { return a < b ? b - a : a - b; }

uint32 RoutingDistance(const std::string& fromPe, const std::string& toPe) {
  const UnitPlace from(fromPe);
  const UnitPlace to(toPe);
  if (from.cluster == to.cluster && from.domain == to.domain) {
    return 0;
  }
  return 1 + Distance(from.cluster.first, to.cluster.first) +
         Distance(from.cluster.second, to.cluster.second);
}

bool IsSwitchName(const std::string& name) {
  return name.size() > 7 && name.compare(name.size() - 7, 7, "/switch") == 0;
}

bool IsPeName(const std::string& name) { return name.compare(name.rfind('/') + 1, 2, "pe") == 0; }

// The links between the units of the network, by the names of their ends.
class Links {
 public:
  explicit Links(const Settings& settings) : settings(settings) {}

  Cycle Latency(const std::string& from, const std::string& to) const {
    return KindOf(from, to).latency;
  }

  // Spends a credit; false where there is none. A processing element takes all that comes.
  bool Spend(const std::string& from, const std::string& to, Cycle now) {
    Credits& credits = spent[{from, to}];
    std::erase_if(credits.returning, [&](Cycle back) { return back <= now; });
    ++credits.used;
    const LinkSettings& kind = KindOf(from, to);
    return IsPeName(to) ||
           credits.used + credits.returning.size() <= kind.queue + 2 * kind.latency - 1;
  }

  // Sends a credit back, whose message goes on at `now`.
  void GiveBack(const std::string& from, const std::string& to, Cycle now) {
    Credits& credits = spent[{from, to}];
    --credits.used;
    credits.returning.push_back(now + Latency(from, to));
  }

 private:
  struct Credits {
    size_t used = 0;  // by messages that are under way or wait
    std::vector<Cycle> returning;
  };

  const LinkSettings& KindOf(const std::string& from, const std::string& to) const {
    if (IsSwitchName(from) && IsSwitchName(to)) {
      return settings.switchLink;
    }
    return IsSwitchName(from) || IsSwitchName(to) ? settings.domainLink : settings.peLink;
  }

  const Settings& settings;
  std::map<std::pair<std::string, std::string>, Credits> spent;
};

// What an operand is for.
typedef std::tuple<std::string, uint32, uint32, uint32, unsigned long long> Use;

class LogReader {
 public:
  LogReader(const Graph& graph, const Settings& settings) : graph(graph), links(settings) {}

  std::vector<std::string> Read(const std::string& log) {
    std::istringstream lines(log);
    std::string line;
    while (std::getline(lines, line)) {
      std::istringstream words(line);
      std::string kind;
      words >> kind >> cycle;
      Require(cycle >= lastCycle, "cycles fall: " + line);
      lastCycle = cycle;
      ReadLine(kind, words);
      Require(!words.fail(), "not understood: " + line);
    }
    for (const auto& [id, message] : messages) {
      Require(message.isConsumed, "message " + std::to_string(id) + " was not consumed");
    }
    Require(others.empty(), "operands of the start or of the own element are left over");
    return broken;
  }

 private:
  struct SentMessage {
    std::string from;
    std::string to;
    Use use;
    std::string at;       // the unit that has it
    std::string last;     // the unit that it came from by a link; empty at its start
    Cycle enteredAt = 0;  // that link
    uint32 hops = 0;
    bool isArrived = false;
    bool isConsumed = false;
  };

  void Require(bool holds, const std::string& what) {
    if (!holds && broken.size() < 20) {
      broken.push_back(what);
    }
  }

  void ReadLine(const std::string& kind, std::istringstream& words) {
    if (kind == "send") {
      ReadSend(words);
    } else if (kind == "link") {
      ReadLink(words);
    } else if (kind == "arrive") {
      ReadArrival(words);
    } else if (kind == "fire") {
      ReadFire(words);
    } else if (kind == "start" || kind == "local") {
      ReadOther(kind, words);
    } else {
      Require(false, "no such line: " + kind);
    }
  }

  Use ReadUse(const std::string& pe, std::istringstream& words) {
    uint32 thread = 0;
    unsigned long long iteration = 0;
    uint32 operation = 0;
    uint32 port = 0;
    words >> thread >> iteration >> operation >> port;
    return {pe, operation, port, thread, iteration};
  }

  void ReadSend(std::istringstream& words) {
    unsigned long long id;
    SentMessage message;
    words >> id >> message.from >> message.to;
    message.use = ReadUse(message.to, words);
    message.at = message.from;
    Require(messages.emplace(id, message).second, "message sent twice");
  }

  void ReadLink(std::istringstream& words) {
    unsigned long long id;
    std::string from;
    std::string to;
    words >> id >> from >> to;
    Require(lastUse[{from, to}] < cycle, "two messages in one cycle from " + from + " to " + to);
    lastUse[{from, to}] = cycle;
    const auto found = messages.find(id);
    if (found == messages.end()) {
      Require(from.find("/memory") != std::string::npos || to.find("/memory") != std::string::npos,
              "a message on a link was not sent");
      return;
    }
    Require(found->second.at == from, "a message leaves a unit that it did not reach");
    LeaveLink(found->second);
    Require(links.Spend(from, to, cycle), "a link is used without a credit");
    found->second.last = from;
    found->second.enteredAt = cycle;
    found->second.at = to;
    found->second.hops += IsSwitchName(from);
  }

  // The message goes on from the end of the link that it came by.
  void LeaveLink(const SentMessage& message) {
    if (!message.last.empty()) {
      Require(cycle - message.enteredAt >= links.Latency(message.last, message.at),
              "a message is faster than its link");
      links.GiveBack(message.last, message.at, cycle);
    }
  }

  void ReadArrival(std::istringstream& words) {
    unsigned long long id;
    std::string at;
    uint32 hops;
    words >> id >> at >> hops;
    const auto found = messages.find(id);
    if (found == messages.end()) {
      Require(false, "an arrival without a send");
      return;
    }
    SentMessage& message = found->second;
    Require(!message.isArrived, "a message arrived twice");
    message.isArrived = true;
    LeaveLink(message);
    Require(at == message.to && at == message.at, "a message arrived elsewhere");
    Require(hops == RoutingDistance(message.from, message.to) && hops == message.hops,
            "hops are not the routing distance");
  }

  void ReadOther(const std::string& kind, std::istringstream& words) {
    std::string at;
    words >> at;
    others.emplace(kind, ReadUse(at, words));
  }

  void ReadFire(std::istringstream& words) {
    std::string at;
    uint32 thread;
    unsigned long long iteration;
    uint32 number;
    std::string name;
    std::string operands;
    words >> at >> thread >> iteration >> number >> name >> operands;
    Require(lastFire[at] < cycle, at + " fired twice in a cycle");
    lastFire[at] = cycle;
    Require(fired.emplace(number, thread, iteration).second, "an operation fired twice");
    const Operation& operation = graph.Operations().at(number);
    Require(name == NameOf(operation.opcode), "the log calls an operation by another name");
    std::istringstream sources(operands);
    for (uint32 port = 0; port < Operation::PORTS; ++port) {
      if (operation.operands[port].kind != Operand::ABSENT) {
        std::string source;
        std::getline(sources, source, ',');
        Consume(source, operation.operands[port].kind, {at, number, port, thread, iteration});
      }
    }
    Require(sources.peek() == std::istringstream::traits_type::eof(), "too many operands");
  }

  void Consume(const std::string& source, Operand::Kind kind, const Use& use) {
    if (kind == Operand::CONSTANT) {
      Require(source == "constant", "a constant came from elsewhere");
      return;
    }
    if (source == "start" || source == "local") {
      Require(others.erase({source, use}) == 1, "an operand of the own element was not there");
      return;
    }
    const auto found = messages.find(strtoull(source.c_str(), nullptr, 10));
    if (found == messages.end()) {
      Require(false, "a fire consumed what is no message");
      return;
    }
    Require(found->second.isArrived && !found->second.isConsumed && found->second.use == use,
            "a fire consumed message " + source + " wrongly");
    found->second.isConsumed = true;
  }

  const Graph& graph;
  Links links;
  unsigned long long cycle = 0;
  unsigned long long lastCycle = 0;
  std::map<unsigned long long, SentMessage> messages;
  std::set<std::pair<std::string, Use>> others;  // operands that came without a message
  std::map<std::pair<std::string, std::string>, unsigned long long> lastUse;
  std::map<std::string, unsigned long long> lastFire;
  std::set<std::tuple<uint32, uint32, unsigned long long>> fired;
  std::vector<std::string> broken;
};

}  // namespace

std::vector<std::string> BrokenTraceLaws(const std::string& trace, const Shape& shape) {
  std::vector<std::string> broken;
  size_t end;
  unsigned long long cycle = 0;
  for (const RawRecord& record : ReadRecords(trace, end)) {
    if (record.cycle < cycle) {
      broken.push_back("cycles fall");
    }
    if (!IsKnownPlace(shape, record)) {
      broken.push_back("an event lies where nothing is");
    }
    cycle = record.cycle;
  }
  if (end != trace.size()) {
    broken.push_back("a record is cut");
  }
  return broken;
}

std::vector<size_t> RecordCounts(const std::string& trace) {
  std::vector<size_t> counts(5);
  size_t end;
  for (const RawRecord& record : ReadRecords(trace, end)) {
    ++counts.at(record.type);
  }
  return counts;
}

std::vector<std::string> BrokenLogLaws(const std::string& log, const Graph& graph,
                                       const Settings& settings) {
  return LogReader(graph, settings).Read(log);
}

}  // namespace marrowfin::sim::testing
