#include "trace/index/EndTables.h"

namespace marrowfin {

Fault EndOfIndexed(const std::string& name, const Summary& summary, const Fault& met) {
  // A reader that met no fault still says how far it came.
  Fault end = met ? met : Fault();
  end.file = name;
  if (met) {
    end.record = summary.records;
    end.offset = summary.bytes;
  }
  return end;
}

IndexTables EndTables(IndexBuilder& builder, IndexWriter& writer, const IndexedFile& file) {
  builder.Finish();
  IndexTables tables = builder.TakeTables();
  tables.trace = file.mark;
  tables.times = writer.Append(builder.Times().Encode());
  tables.furtherTimes = writer.Append(builder.FurtherTimes().Encode());
  tables.summary.end = EndOfIndexed(file.name, tables.summary, file.end);
  return tables;
}

}  // namespace marrowfin
