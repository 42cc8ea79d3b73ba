#ifndef CONVERT_EXPORT_OTF2DEFINITIONS_H
#define CONVERT_EXPORT_OTF2DEFINITIONS_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "convert/export/EventLines.h"
#include "convert/export/Otf2Archive.h"
#include "convert/export/Tracks.h"

namespace marrowfin {

// Numbers of definitions that events refer to.
namespace otf2 {
enum Region : uint32_t { FIRE, SEND, RECEIVE, TRANSMIT };
constexpr uint32_t MESSAGES = 0;  // the communicator
}  // namespace otf2

// What the definitions of an OTF2 archive tell of a trace: texts, attributes, regions, the array,
// its locations and counters. Threads: one at a time.
class Otf2Definitions {
 public:
  // Values of a list that become attributes of an event; the format has a bound for records.
  static constexpr size_t MOST_VALUES = 256;

  explicit Otf2Definitions(const EventNaming& naming);

  // A value of an attribute of the notes, the index-th of its list, will be told.
  void Meet(uint32_t attribute, size_t index, uint64_t value);

  // The same is told to be added to an event.
  void Add(uint32_t attribute, size_t index, uint64_t value, OTF2_AttributeList* to) const;

  // The record and its thread.
  void AddRecord(uint64_t record, OTF2_AttributeList* to) const;
  void AddThread(uint32_t thread, OTF2_AttributeList* to) const;

  // All values that will be told were met.
  void NumberAttributes();

  // A location of the archive.
  struct Location {
    size_t line = 0;  // of the tracks
    uint64_t events = 0;
  };

  // What the archive is about.
  struct Content {
    const Tracks& tracks;
    const std::vector<Location>& locations;  // lines ascend
    uint64_t firstCycle = 0;
    uint64_t lastCycle = 0;  // that an event has
  };
  void Write(const Content& content, Otf2Archive& archive);

 private:
  // Attributes that stand before those of the notes.
  enum OwnAttribute : uint32_t { RECORD, THREAD, THREAD_NAME, OWN_ATTRIBUTES };

  // What the notes call one thing is several attributes here.
  struct NoteNumbers {
    size_t most = 0;       // values of one event
    bool unnamed = false;  // values of a NAME that have no name
    uint32_t first = 0;    // attribute
  };

  bool IsUnnamed(uint32_t attribute, uint64_t value) const;
  uint32_t Text(const std::string& text);
  uint32_t WrittenText(const std::string& text, Otf2Archive& archive);
  void WriteTexts(Otf2Archive& archive);
  void WriteClock(const Content& content, Otf2Archive& archive) const;
  void WriteAttributes(Otf2Archive& archive);
  void WriteAttribute(uint32_t number, const std::string& name, const std::string& unit,
                      OTF2_Type type, Otf2Archive& archive);
  void WriteRegions(Otf2Archive& archive);
  void WriteLocations(const Content& content, Otf2Archive& archive);
  uint32_t WriteNode(const std::string& name, const char* what, uint32_t parent,
                     Otf2Archive& archive);
  uint32_t WriteGroup(const std::string& name, uint32_t parent, Otf2Archive& archive);
  uint32_t NodeOfCluster(size_t cluster, const Tracks& tracks, Otf2Archive& archive);
  uint32_t GroupOf(size_t line, const Tracks& tracks, Otf2Archive& archive);
  void WriteMessages(const Content& content, Otf2Archive& archive);
  void WriteGrid(const Content& content, Otf2Archive& archive);
  void WriteMetrics(Otf2Archive& archive);

  const EventNaming& naming;
  std::vector<std::string> texts;  // by number
  std::unordered_map<std::string, uint32_t> textNumbers;
  size_t textsWritten = 0;
  std::map<uint32_t, uint32_t> threadNames;             // texts by thread
  std::vector<NoteNumbers> notes;                       // by attribute of the notes
  std::vector<std::map<uint64_t, uint32_t>> noteNames;  // texts by value, by attribute likewise
  uint32_t nodes = 0;
  uint32_t groups = 0;
  std::map<size_t, uint32_t> clusterNodes;
  std::map<size_t, uint32_t> domainGroups;
};

}  // namespace marrowfin

#endif
