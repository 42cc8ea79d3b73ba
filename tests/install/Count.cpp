// Counts the records of a trace with the installed trace engine.
//
// usage: count FILE

#include <cstdio>
#include <utility>

#include "trace/read/OpenSource.h"
#include "trace/read/Reader.h"

int main(int argc, char** argv) {
  auto source = marrowfin::OpenSource(argc > 1 ? argv[1] : "");
  if (!source) {
    return 1;
  }
  marrowfin::Reader reader(std::move(source).Take(), argv[1]);
  marrowfin::Columns columns;
  while (reader.Next(columns)) {
  }
  printf("%d records\n", static_cast<int>(reader.Records()));
}
