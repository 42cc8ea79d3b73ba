#ifndef CONVERT_EXPORT_EXPORTFORMAT_H
#define CONVERT_EXPORT_EXPORTFORMAT_H

#include <memory>
#include <span>
#include <string>

#include "convert/export/EventLines.h"
#include "convert/export/Exporter.h"
#include "trace/write/ByteSink.h"

namespace marrowfin {

// Where an export goes. All stays the caller's and outlives the exporter.
struct ExportTarget {
  ByteSink* sink;    // null where the output is a folder
  std::string file;  // a plain file that is empty and lies behind the sink, or a folder that is
                     // empty; no name where there is neither
  std::string name;  // for messages
};

// What an export is written to.
enum class ExportPlace {
  STREAM,
  FILE,    // here and there in it, so it goes through no pipe
  FOLDER,  // of files
};

// A format of export. A new one is a source of its own in this folder and a line in the table in
// ExportFormats.cpp.
struct ExportFormat {
  const char* name;     // as users write it
  const char* ending;   // of names of such files
  const char* summary;  // a phrase
  ExportPlace place;
  bool needsArray;     // EventNaming::shape must be known
  bool needsOrder;     // cycles must not fall
  uint64_t mostCycle;  // that it has numbers for
  std::unique_ptr<Exporter> (*make)(const EventNaming& naming, const ExportTarget& target);

  // Whether a folder holds an output of the format and nothing else; null where that is a file.
  bool (*isOwn)(const std::string& folder) = nullptr;
};

std::span<const ExportFormat> ExportFormats();

// The format that a file of that name is of; null where its ending tells none.
const ExportFormat* ExportFormatOf(const std::string& fileName);

}  // namespace marrowfin

#endif
