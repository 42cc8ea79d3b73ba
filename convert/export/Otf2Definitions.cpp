#include "convert/export/Otf2Definitions.h"

#include <bit>
#include <cmath>

#include "convert/export/EventWords.h"

namespace marrowfin {
namespace {

constexpr uint64_t NANOSECOND = 1'000'000'000;  // so many a second

constexpr uint32_t ARRAY_NODE = 0;
constexpr uint32_t ALL_LOCATIONS = 0;  // groups
constexpr uint32_t ALL_RANKS = 1;

// Ticks a second, each of which is a cycle: as many as the run said that there are, or else as if
// one took a nanosecond.
uint64_t CyclesASecond(const About* about) {
  if (about == nullptr || !about->cycleNs) {
    return NANOSECOND;
  }
  const double cycles = std::round(static_cast<double>(NANOSECOND) / *about->cycleNs);
  return cycles >= 1 && cycles < 1e18 ? static_cast<uint64_t>(cycles) : NANOSECOND;
}

}  // namespace

Otf2Definitions::Otf2Definitions(const EventNaming& naming) : naming(naming) {
  Text("");  // is number 0, as readers of missing texts expect
  if (naming.about != nullptr) {
    for (const auto& [thread, said] : naming.about->threads) {
      if (!said.name.empty()) {
        threadNames[thread] = Text(OnOneLine(said.name));
      }
    }
  }
  for (const NoteAttribute& attribute : Attributes(naming)) {
    notes.emplace_back();
    auto& names = noteNames.emplace_back();
    for (const auto& [value, name] : attribute.names) {
      names[value] = Text(name);
    }
  }
}

bool Otf2Definitions::IsUnnamed(uint32_t attribute, uint64_t value) const {
  return Attributes(naming)[attribute].type == NoteType::NAME &&
         !noteNames[attribute].contains(value);
}

void Otf2Definitions::Meet(uint32_t attribute, size_t index, uint64_t value) {
  NoteNumbers& of = notes[attribute];
  of.most = std::max(of.most, index + 1);
  of.unnamed = of.unnamed || IsUnnamed(attribute, value);
}

void Otf2Definitions::NumberAttributes() {
  uint32_t next = OWN_ATTRIBUTES;
  for (NoteNumbers& of : notes) {
    of.first = next;
    next += static_cast<uint32_t>(of.most) + (of.unnamed ? 1 : 0);
  }
}

void Otf2Definitions::Add(uint32_t attribute, size_t index, uint64_t value,
                          OTF2_AttributeList* to) const {
  const NoteNumbers& of = notes[attribute];
  const uint32_t number = of.first + static_cast<uint32_t>(index);
  const NoteType type = Attributes(naming)[attribute].type;
  if (type == NoteType::REAL) {
    OTF2_AttributeList_AddDouble(to, number, std::bit_cast<double>(value));
  } else if (type != NoteType::NAME) {
    OTF2_AttributeList_AddUint64(to, number, value);
  } else if (const auto name = noteNames[attribute].find(value);
             name != noteNames[attribute].end()) {
    OTF2_AttributeList_AddStringRef(to, number, name->second);
  } else {
    OTF2_AttributeList_AddUint64(to, of.first + static_cast<uint32_t>(of.most), value);
  }
}

void Otf2Definitions::AddRecord(uint64_t record, OTF2_AttributeList* to) const {
  OTF2_AttributeList_AddUint64(to, RECORD, record);
}

void Otf2Definitions::AddThread(uint32_t thread, OTF2_AttributeList* to) const {
  OTF2_AttributeList_AddUint32(to, THREAD, thread);
  if (const auto name = threadNames.find(thread); name != threadNames.end()) {
    OTF2_AttributeList_AddStringRef(to, THREAD_NAME, name->second);
  }
}

uint32_t Otf2Definitions::Text(const std::string& text) {
  const auto [entry, isNew] = textNumbers.try_emplace(text, static_cast<uint32_t>(texts.size()));
  if (isNew) {
    texts.push_back(text);
  }
  return entry->second;
}

// A text stands before what refers to it.
uint32_t Otf2Definitions::WrittenText(const std::string& text, Otf2Archive& archive) {
  const uint32_t number = Text(text);
  WriteTexts(archive);
  return number;
}

void Otf2Definitions::WriteTexts(Otf2Archive& archive) {
  for (; textsWritten < texts.size(); ++textsWritten) {
    archive.Define([this](auto* writer) {
      return OTF2_GlobalDefWriter_WriteString(writer, static_cast<uint32_t>(textsWritten),
                                              texts[textsWritten].c_str());
    });
  }
}

void Otf2Definitions::Write(const Content& content, Otf2Archive& archive) {
  WriteClock(content, archive);
  WriteTexts(archive);
  WriteAttributes(archive);
  WriteRegions(archive);
  WriteLocations(content, archive);
  WriteMessages(content, archive);
  WriteMetrics(archive);
}

// An event ends a cycle behind its own.
void Otf2Definitions::WriteClock(const Content& content, Otf2Archive& archive) const {
  const uint64_t first = std::min(content.firstCycle, content.lastCycle);
  archive.Define([&](auto* writer) {
    return OTF2_GlobalDefWriter_WriteClockProperties(writer, CyclesASecond(naming.about), first,
                                                     content.lastCycle - first + 1,
                                                     OTF2_UNDEFINED_TIMESTAMP);
  });
}

void Otf2Definitions::WriteAttribute(uint32_t number, const std::string& name,
                                     const std::string& unit, OTF2_Type type,
                                     Otf2Archive& archive) {
  const uint32_t title = WrittenText(name, archive);
  const uint32_t description = WrittenText(unit, archive);
  archive.Define([&](auto* writer) {
    return OTF2_GlobalDefWriter_WriteAttribute(writer, number, title, description, type);
  });
}

void Otf2Definitions::WriteAttributes(Otf2Archive& archive) {
  WriteAttribute(RECORD, "record", "", OTF2_TYPE_UINT64, archive);
  WriteAttribute(THREAD, "thread", "", OTF2_TYPE_UINT32, archive);
  WriteAttribute(THREAD_NAME, "thread name", "", OTF2_TYPE_STRING, archive);
  for (size_t a = 0; a < notes.size(); ++a) {
    const NoteAttribute& said = Attributes(naming)[a];
    const OTF2_Type type = said.type == NoteType::REAL   ? OTF2_TYPE_DOUBLE
                           : said.type == NoteType::NAME ? OTF2_TYPE_STRING
                                                         : OTF2_TYPE_UINT64;
    uint32_t number = notes[a].first;
    for (size_t index = 0; index < notes[a].most; ++index) {
      const std::string name = index == 0 ? said.name : said.name + " " + std::to_string(index + 1);
      WriteAttribute(number++, name, said.unit, type, archive);
    }
    if (notes[a].unnamed) {
      WriteAttribute(number, said.name + " number", said.unit, OTF2_TYPE_UINT64, archive);
    }
  }
}

void Otf2Definitions::WriteRegions(Otf2Archive& archive) {
  constexpr struct {
    otf2::Region number;
    const char* name;
    OTF2_RegionRole_enum role;
  } REGIONS[] = {{otf2::FIRE, "fire", OTF2_REGION_ROLE_FUNCTION},
                 {otf2::SEND, "send", OTF2_REGION_ROLE_POINT2POINT},
                 {otf2::RECEIVE, "receive", OTF2_REGION_ROLE_POINT2POINT},
                 {otf2::TRANSMIT, "switch", OTF2_REGION_ROLE_DATA_TRANSFER}};
  for (const auto& region : REGIONS) {
    const uint32_t name = WrittenText(region.name, archive);
    const uint32_t none = Text("");
    archive.Define([&](auto* writer) {
      return OTF2_GlobalDefWriter_WriteRegion(
          writer, region.number, name, name, none, static_cast<OTF2_RegionRole>(region.role),
          OTF2_PARADIGM_HARDWARE, OTF2_REGION_FLAG_NONE, none, 0, 0);
    });
  }
}

uint32_t Otf2Definitions::WriteNode(const std::string& name, const char* what, uint32_t parent,
                                    Otf2Archive& archive) {
  const uint32_t title = WrittenText(name, archive);
  const uint32_t kind = WrittenText(what, archive);
  archive.Define([&](auto* writer) {
    return OTF2_GlobalDefWriter_WriteSystemTreeNode(writer, nodes, title, kind, parent);
  });
  return nodes++;
}

uint32_t Otf2Definitions::WriteGroup(const std::string& name, uint32_t parent,
                                     Otf2Archive& archive) {
  const uint32_t title = WrittenText(name, archive);
  archive.Define([&](auto* writer) {
    return OTF2_GlobalDefWriter_WriteLocationGroup(writer, groups, title,
                                                   OTF2_LOCATION_GROUP_TYPE_PROCESS, parent,
                                                   OTF2_UNDEFINED_LOCATION_GROUP);
  });
  return groups++;
}

uint32_t Otf2Definitions::NodeOfCluster(size_t cluster, const Tracks& tracks,
                                        Otf2Archive& archive) {
  const auto [entry, isNew] = clusterNodes.try_emplace(cluster, 0);
  if (isNew) {
    entry->second = WriteNode(tracks.NameOfCluster(cluster), "cluster", ARRAY_NODE, archive);
  }
  return entry->second;
}

// Elements are grouped by their domains; a switch is a group of its own beside those.
uint32_t Otf2Definitions::GroupOf(size_t line, const Tracks& tracks, Otf2Archive& archive) {
  const std::optional<size_t> cluster = tracks.ClusterOf(line);
  if (!cluster) {
    return WriteGroup(tracks.NameOf(line), ARRAY_NODE, archive);
  }
  const uint32_t node = NodeOfCluster(*cluster, tracks, archive);
  if (!tracks.IsElement(line)) {
    return WriteGroup(tracks.NameOf(line), node, archive);
  }
  const size_t domain = tracks.DomainOf(line);
  const auto [entry, isNew] = domainGroups.try_emplace(domain, 0);
  if (isNew) {
    entry->second = WriteGroup(tracks.NameOfDomain(domain), node, archive);
  }
  return entry->second;
}

void Otf2Definitions::WriteLocations(const Content& content, Otf2Archive& archive) {
  WriteNode("array", "array", OTF2_UNDEFINED_SYSTEM_TREE_NODE, archive);
  archive.Define([](auto* writer) {
    return OTF2_GlobalDefWriter_WriteSystemTreeNodeDomain(writer, ARRAY_NODE,
                                                          OTF2_SYSTEM_TREE_DOMAIN_MACHINE);
  });
  for (size_t number = 0; number < content.locations.size(); ++number) {
    const Location& location = content.locations[number];
    const uint32_t group = GroupOf(location.line, content.tracks, archive);
    const bool isSwitch = content.tracks.IsSwitch(location.line);
    std::string name = content.tracks.NameOf(location.line);
    if (isSwitch) {
      name += " of " + content.tracks.NameOfCluster(*content.tracks.ClusterOf(location.line));
    }
    const uint32_t title = WrittenText(name, archive);
    archive.Define([&](auto* writer) {
      return OTF2_GlobalDefWriter_WriteLocation(
          writer, number, title, OTF2_LOCATION_TYPE_CPU_THREAD, location.events, group);
    });
  }
}

// Ends of messages are told by their ranks, which are the numbers of locations: switches, which
// send none, come last.
void Otf2Definitions::WriteMessages(const Content& content, Otf2Archive& archive) {
  std::vector<uint64_t> members;
  for (size_t number = 0; number < content.locations.size(); ++number) {
    if (!content.tracks.IsSwitch(content.locations[number].line)) {
      members.push_back(number);
    }
  }
  const uint32_t name = WrittenText("messages", archive);
  const auto write = [&](uint32_t group, OTF2_GroupType_enum type) {
    archive.Define([&](auto* writer) {
      return OTF2_GlobalDefWriter_WriteGroup(writer, group, name, static_cast<OTF2_GroupType>(type),
                                             OTF2_PARADIGM_MPI, OTF2_GROUP_FLAG_NONE,
                                             static_cast<uint32_t>(members.size()), members.data());
    });
  };
  write(ALL_LOCATIONS, OTF2_GROUP_TYPE_COMM_LOCATIONS);
  write(ALL_RANKS, OTF2_GROUP_TYPE_COMM_GROUP);
  archive.Define([&](auto* writer) {
    return OTF2_GlobalDefWriter_WriteComm(writer, otf2::MESSAGES, name, ALL_RANKS,
                                          OTF2_UNDEFINED_COMM, OTF2_COMM_FLAG_NONE);
  });
  WriteGrid(content, archive);
}

// Where elements are.
void Otf2Definitions::WriteGrid(const Content& content, Otf2Archive& archive) {
  constexpr OTF2_CartDimensionRef AXES[] = {0, 1};
  const ArrayShape& shape = content.tracks.Shape();
  const auto writeAxis = [&](uint32_t axis, const char* what, uint32_t size) {
    const uint32_t name = WrittenText(what, archive);
    archive.Define([&](auto* writer) {
      return OTF2_GlobalDefWriter_WriteCartDimension(writer, AXES[axis], name, size,
                                                     OTF2_CART_PERIODIC_FALSE);
    });
  };
  writeAxis(0, "column", shape.Columns());
  writeAxis(1, "row", shape.Rows());
  const uint32_t name = WrittenText("array", archive);
  archive.Define([&](auto* writer) {
    return OTF2_GlobalDefWriter_WriteCartTopology(writer, 0, name, otf2::MESSAGES, 2, AXES);
  });
  for (size_t number = 0; number < content.locations.size(); ++number) {
    const size_t line = content.locations[number].line;
    if (content.tracks.IsElement(line)) {
      const Place at = content.tracks.ElementOf(line);
      const uint32_t coordinates[] = {at.column, at.row};
      archive.Define([&](auto* writer) {
        return OTF2_GlobalDefWriter_WriteCartCoordinate(writer, 0, static_cast<uint32_t>(number), 2,
                                                        coordinates);
      });
    }
  }
}

// The class of a counter has its number, and so has the one member of it.
void Otf2Definitions::WriteMetrics(Otf2Archive& archive) {
  if (naming.notes == nullptr) {
    return;
  }
  for (uint32_t number = 0; number < naming.notes->counters.size(); ++number) {
    const NoteCounter& counter = naming.notes->counters[number];
    const uint32_t name = WrittenText(counter.name, archive);
    const uint32_t unit = WrittenText(counter.unit, archive);
    const uint32_t none = Text("");
    archive.Define([&](auto* writer) {
      return OTF2_GlobalDefWriter_WriteMetricMember(
          writer, number, name, none, OTF2_METRIC_TYPE_OTHER, OTF2_METRIC_ABSOLUTE_NEXT,
          OTF2_TYPE_DOUBLE, OTF2_BASE_DECIMAL, 0, unit);
    });
    archive.Define([&](auto* writer) {
      return OTF2_GlobalDefWriter_WriteMetricClass(
          writer, number, 1, &number, OTF2_METRIC_ASYNCHRONOUS, OTF2_RECORDER_KIND_CPU);
    });
  }
}

}  // namespace marrowfin
