#include "measure/CountGroups.h"

#include <algorithm>
#include <optional>
#include <unordered_map>
#include <utility>

#include "measure/CountPackets.h"
#include "measure/MessagePairs.h"
#include "measure/PacketFollower.h"
#include "trace/ask/BatchCursor.h"
#include "trace/ask/NoteMarks.h"

namespace marrowfin {
namespace {

uint64_t Apart(uint32_t a, uint32_t b) { return a < b ? b - a : a - b; }

// The group of an event under each of up to four groupings, 16 bits each.
class Sort {
 public:
  explicit Sort(uint64_t bits = 0) : bits(bits) {}

  void Set(size_t grouping, size_t group) { bits |= uint64_t{group} << (16 * grouping); }
  size_t Of(size_t grouping) const { return static_cast<size_t>(bits >> (16 * grouping) & 0xFFFF); }
  uint64_t Bits() const { return bits; }

 private:
  uint64_t bits;
};

// The groups of one grouping: first what has no value, then others, then those told apart.
class Grouping {
 public:
  explicit Grouping(std::string by) : by(std::move(by)), groups(FIRST) {}

  size_t GroupOf(uint64_t value) {
    if (value == lastValue && lastGroup != WITHOUT) {
      return lastGroup;
    }
    lastValue = value;
    lastGroup = Find(value);
    return lastGroup;
  }

  GroupTraffic& At(size_t group) { return groups[group]; }

  GroupedTraffic Take(const std::map<uint64_t, std::string>& names) {
    GroupedTraffic told;
    told.by = by;
    told.without = std::move(groups[WITHOUT]);
    told.others = std::move(groups[OTHERS]);
    told.groups.assign(std::make_move_iterator(groups.begin() + FIRST),
                       std::make_move_iterator(groups.end()));
    std::sort(told.groups.begin(), told.groups.end(),
              [](const GroupTraffic& a, const GroupTraffic& b) { return a.value < b.value; });
    for (GroupTraffic& group : told.groups) {
      const auto name = names.find(group.value);
      group.name = name == names.end() ? "" : name->second;
    }
    return told;
  }

  static constexpr size_t WITHOUT = 0;
  static constexpr size_t OTHERS = 1;

 private:
  static constexpr size_t FIRST = 2;

  size_t Find(uint64_t value) {
    const auto found = numbers.find(value);
    if (found != numbers.end()) {
      return found->second;
    }
    if (numbers.size() == GroupedTraffic::MOST_GROUPS) {
      return OTHERS;
    }
    numbers.emplace(value, groups.size());
    groups.emplace_back().value = value;
    return groups.size() - 1;
  }

  std::string by;
  std::vector<GroupTraffic> groups;
  std::unordered_map<uint64_t, size_t> numbers;

  // Of the event before: threads and kinds take turns in stretches.
  uint64_t lastValue = 0;
  size_t lastGroup = WITHOUT;
};

// A pass through the records.
class GroupCounter {
 public:
  GroupCounter(NotesOfTrace* notes, const GroupQuestion& question)
      : notes(notes), chosen(notes, question.conditions) {
    for (const std::string& by : question.by) {
      groupings.emplace_back(by);
      attributes.push_back(by == GroupQuestion::THREAD ? std::nullopt
                                                       : notes->Declarations().Attribute(by));
    }
    values.resize(groupings.size());
    if (notes != nullptr) {
      consumes = notes->Declarations().Attribute(CONSUMES_ATTRIBUTE);
    }
    if (question.packets) {
      follower.emplace(question.packetsAreThreads ? nullptr : notes, PacketCounts::Windows(0, 0));
    }
  }

  Fault Add(const Selection& found) {
    if (Fault fault = Read(found)) {
      return fault;
    }
    for (size_t i = 0; i < found.Size(); ++i) {
      Add(found, i);
    }
    return {};
  }

  std::vector<GroupedTraffic> Take() {
    std::vector<GroupedTraffic> all;
    for (size_t k = 0; k < groupings.size(); ++k) {
      all.push_back(groupings[k].Take(attributes[k]
                                          ? notes->Declarations().attributes[*attributes[k]].names
                                          : std::map<uint64_t, std::string>()));
    }
    return all;
  }

 private:
  // Whoever follows packets asks for some of the same attributes: of the same records, which makes
  // the same lists again.
  Fault Read(const Selection& found) {
    for (size_t k = 0; k < groupings.size(); ++k) {
      if (Fault fault = Read(found, attributes[k], values[k])) {
        return fault;
      }
    }
    if (Fault fault = Read(found, consumes, consumed)) {
      return fault;
    }
    if (Fault fault = chosen.Read(found)) {
      return fault;
    }
    return follower ? follower->Read(found) : Fault();
  }

  Fault Read(const Selection& found, std::optional<uint32_t> attribute, const NoteValues*& into) {
    into = nullptr;
    if (!attribute) {
      return {};
    }
    const Result<const NoteValues*> read = notes->Of(found, *attribute);
    if (!read) {
      return read.Why();
    }
    into = *read;
    return {};
  }

  void Add(const Selection& found, size_t i) {
    const size_t row = found.rows[i];
    const Columns& columns = *found.columns;
    const Columns::Tag tag = columns.tag[row];
    const Sort sort = chosen.Meet(i) ? SortOf(tag.thread, i) : Sort();
    if (chosen.Meet(i)) {
      Count(columns, row, sort);
    }
    if (consumed != nullptr) {
      Pair(tag.type, columns.cycle[row], found.Record(i), sort, i);
    }
    if (follower) {
      Follow(found, i, sort);
    }
  }

  void Count(const Columns& columns, size_t row, Sort sort) {
    const uint32_t type = columns.tag[row].type;
    for (size_t k = 0; k < groupings.size(); ++k) {
      GroupTraffic& group = groupings[k].At(sort.Of(k));
      group.fires += type == FIRE_RECORD ? 1 : 0;
      group.transmissions += type == SWITCH_RECORD ? 1 : 0;
      if (type == SEND_RECORD) {
        ++group.sends;
        group.distances.Add(Apart(columns.at[row].column, columns.to[row].column) +
                            Apart(columns.at[row].row, columns.to[row].row));
      }
    }
  }

  Sort SortOf(uint32_t thread, size_t i) {
    Sort sort;
    for (size_t k = 0; k < groupings.size(); ++k) {
      if (!attributes[k]) {
        sort.Set(k, groupings[k].GroupOf(thread));
      } else if (values[k]->Has(i)) {
        sort.Set(k, groupings[k].GroupOf(values[k]->Value(i)));
      }
    }
    return sort;
  }

  void Pair(uint32_t type, uint64_t cycle, uint64_t record, Sort sort, size_t i) {
    if (type == SEND_RECORD && chosen.Meet(i)) {
      messages.Send(record, cycle, sort);
    } else if (type == FIRE_RECORD) {
      messages.Fire(cycle, consumed->All(i), [&](uint64_t cycles, uint64_t, Sort sent) {
        for (size_t k = 0; k < groupings.size(); ++k) {
          groupings[k].At(sent.Of(k)).sendToFire.Add(cycles);
        }
      });
    }
  }

  void Follow(const Selection& found, size_t i, Sort sort) {
    arrived.clear();
    follower->Add(found, i, {sort.Bits(), chosen.Meet(i)}, arrived);
    for (const PacketLife& life : arrived) {
      for (size_t k = 0; k < groupings.size(); ++k) {
        groupings[k].At(Sort(life.entry.sort).Of(k)).latencies.Add(life.Latency());
      }
    }
  }

  NotesOfTrace* notes;
  NoteMarks chosen;
  std::vector<Grouping> groupings;
  std::vector<std::optional<uint32_t>> attributes;  // of each of them; none of threads
  std::vector<const NoteValues*> values;
  std::optional<uint32_t> consumes;
  const NoteValues* consumed = nullptr;
  MessagePairs<Sort> messages;
  std::optional<PacketFollower> follower;
  std::vector<PacketLife> arrived;
};

bool IsNamed(const NotesOfTrace* notes, const std::string& name) {
  if (notes == nullptr) {
    return false;
  }
  const std::optional<uint32_t> attribute = notes->Declarations().Attribute(name);
  return attribute && notes->Declarations().attributes[*attribute].type == NoteType::NAME;
}

Fault NoSuchGroups(const std::string& name, const TraceSource& trace, const NotesOfTrace* notes) {
  std::string named;
  for (const std::string& by : GroupingsOf(notes)) {
    named += (named.empty() ? "" : ", ") + by;
  }
  Fault fault;
  fault.kind = Fault::OUT_OF_RANGE;
  fault.file = trace.Name();
  fault.reason = "its events have no names of " + name;
  fault.remedy = "ask for one of these: " + named;
  return fault;
}

}  // namespace

void NameThreads(const About* about, std::vector<GroupedTraffic>& groups) {
  for (GroupedTraffic& grouped : groups) {
    if (grouped.by != GroupQuestion::THREAD || about == nullptr) {
      continue;
    }
    for (GroupTraffic& group : grouped.groups) {
      const auto found = about->threads.find(static_cast<uint32_t>(group.value));
      group.name = found == about->threads.end() ? "" : found->second.name;
    }
  }
}

ValueCounts SendToFireOf(const GroupedTraffic& grouped) {
  ValueCounts all = grouped.others.sendToFire;
  all.Add(grouped.without.sendToFire);
  for (const GroupTraffic& group : grouped.groups) {
    all.Add(group.sendToFire);
  }
  return all;
}

std::vector<std::string> GroupingsOf(const NotesOfTrace* notes) {
  std::vector<std::string> all = {GroupQuestion::THREAD};
  if (notes != nullptr) {
    for (const NoteAttribute& attribute : notes->Declarations().attributes) {
      if (attribute.type == NoteType::NAME && attribute.name != GroupQuestion::THREAD &&
          all.size() < GroupQuestion::MOST) {
        all.push_back(attribute.name);
      }
    }
  }
  return all;
}

Result<std::vector<GroupedTraffic>> CountGroups(const TraceSource& trace, const Index& index,
                                                NotesOfTrace* notes, const GroupQuestion& question,
                                                const ProgressCallback& progress) {
  for (const std::string& by : question.by) {
    if (by != GroupQuestion::THREAD && !IsNamed(notes, by)) {
      return NoSuchGroups(by, trace, notes);
    }
  }
  BatchCursor cursor(trace, index, question.filter, progress);
  GroupCounter counter(notes, question);
  Selection found;
  while (cursor.Next(found)) {
    if (Fault fault = counter.Add(found)) {
      return fault;
    }
  }
  if (Fault fault = cursor.GetFault()) {
    return fault;
  }
  return counter.Take();
}

}  // namespace marrowfin
