#ifndef CONVERT_EXPORT_EVENTJSONLINES_H
#define CONVERT_EXPORT_EVENTJSONLINES_H

#include <cstdint>
#include <string>

#include "convert/export/EventLines.h"

namespace marrowfin {

// A JSON object a line for each event; what notes tell of it is an object in it.
class EventJsonLines : public EventLines {
 public:
  explicit EventJsonLines(const EventNaming& naming);

  void Begin(std::string&) override {}
  void Add(const NotedSelection& from, size_t i, std::string& out) override;
  void AddFirst(const NotedSelection& from, size_t size, std::string& out) override;
  void Count(uint64_t events, std::string& out) override;

 private:
  const EventNaming& naming;
  const bool isPlain;  // no names and no notes

  // The cycle that was written last: the events of a cycle follow each other.
  uint64_t lastCycle = 0;
  std::string lastCycleText;
};

}  // namespace marrowfin

#endif
