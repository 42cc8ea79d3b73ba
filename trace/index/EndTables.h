#ifndef TRACE_INDEX_ENDTABLES_H
#define TRACE_INDEX_ENDTABLES_H

#include <string>

#include "trace/base/Fault.h"
#include "trace/index/IndexBuilder.h"
#include "trace/index/IndexTables.h"
#include "trace/index/IndexWriter.h"

namespace marrowfin {

// What an index knows of its trace besides its records.
struct IndexedFile {
  TraceMark mark;
  std::string name;
  Fault end;  // the fault that ended the reading, if any
};

// Ends a builder that was given all records: appends what is left of the sections and returns the
// tables, which are then to be committed.
IndexTables EndTables(IndexBuilder& builder, IndexWriter& writer, const IndexedFile& file);

// The end of a trace of which so much was indexed. Only faults in the trace itself end up here.
Fault EndOfIndexed(const std::string& name, const Summary& summary, const Fault& met);

}  // namespace marrowfin

#endif
