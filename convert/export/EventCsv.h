#ifndef CONVERT_EXPORT_EVENTCSV_H
#define CONVERT_EXPORT_EVENTCSV_H

#include <cstdint>
#include <string>

#include "convert/export/EventLines.h"

namespace marrowfin {

// Comma-separated values, quoted where they have to be (RFC 4180, but that lines end with a line
// feed), below the names of the columns. What the run named has columns where it named anything,
// attributes of notes have their names; one that has the name of another column ends in "Note".
class EventCsv : public EventLines {
 public:
  explicit EventCsv(const EventNaming& naming);

  void Begin(std::string& out) override;
  void Add(const NotedSelection& from, size_t i, std::string& out) override;
  void AddFirst(const NotedSelection& from, size_t size, std::string& out) override;
  void Count(uint64_t events, std::string& out) override;

 private:
  const EventNaming& naming;
  const bool namesThreads;
  const bool namesPlaces;
  const bool isPlain;  // no names and no notes

  // The cycle that was written last: the events of a cycle follow each other.
  uint64_t lastCycle = 0;
  std::string lastCycleText;
};

}  // namespace marrowfin

#endif
