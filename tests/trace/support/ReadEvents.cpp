#include "tests/trace/support/ReadEvents.h"

#include <gtest/gtest.h>

#include <utility>

#include "tests/trace/support/Opened.h"
#include "trace/read/Reader.h"

namespace marrowfin::testing {

std::vector<Event> ReadEvents(const std::string& name, Ending ending) {
  std::vector<Event> events;
  std::unique_ptr<ByteSource> source = OpenInput(name);
  if (source == nullptr) {
    return events;
  }
  Reader reader(std::move(source), name);
  Columns columns;
  while (reader.Next(columns)) {
    for (size_t i = 0; i < columns.size; ++i) {
      events.push_back({columns.tag[i].type, columns.cycle[i], columns.tag[i].thread, columns.at[i],
                        columns.to[i]});
    }
  }
  EXPECT_TRUE(ending == Ending::ANY || IsFine(reader.GetFault()));
  return events;
}

}  // namespace marrowfin::testing
