#ifndef TOOLS_PROGRAM_EVENTTEXT_H
#define TOOLS_PROGRAM_EVENTTEXT_H

#include <cstddef>
#include <string>
#include <vector>

#include "convert/export/EventLines.h"

namespace marrowfin {

// For people: columns that stand below each other, and the event in the words of states.
//
// Columns are as wide as what is known of the whole trace may ask for. What notes say is not known
// before it is read: a column of them grows with the longest value that was met.
class EventText : public EventLines {
 public:
  explicit EventText(const EventNaming& naming);

  void Meet(const NotedSelection& next) override;
  void Begin(std::string& out) override;
  void Add(const NotedSelection& from, size_t i, std::string& out) override;
  void Count(uint64_t events, std::string& out) override;

 private:
  struct Column {
    std::string title;
    size_t width;
    bool leftwards = false;  // numbers stand at the right edge, words at the left
  };

  void AddColumn(const std::string& title, size_t width, bool leftwards);
  void Put(const Column& column, const std::string& text, std::string& out) const;
  std::string ValueOf(const NoteAttribute& attribute, const NoteValues& values, size_t i) const;

  const EventNaming& naming;
  const bool namesThreads;
  std::vector<Column> columns;  // without the last, which has no width
  size_t firstNote = 0;         // of the columns
  std::string cell;
};

}  // namespace marrowfin

#endif
