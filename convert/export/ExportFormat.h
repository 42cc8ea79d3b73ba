#ifndef CONVERT_EXPORT_EXPORTFORMAT_H
#define CONVERT_EXPORT_EXPORTFORMAT_H

#include <memory>
#include <span>
#include <string>

#include "convert/export/EventLines.h"
#include "convert/export/Exporter.h"
#include "trace/write/ByteSink.h"

namespace marrowfin {

// Where an export goes. Both stay the caller's and outlive the exporter.
struct ExportTarget {
  ByteSink& sink;
  std::string file;  // a plain file that is empty and lies behind the sink; empty where none does
  std::string name;  // for messages
};

// A format of export. A new one is a source of its own in this folder and a line in the table in
// ExportFormats.cpp.
struct ExportFormat {
  const char* name;     // as users write it
  const char* ending;   // of names of such files
  const char* summary;  // a phrase
  bool needsFile;       // it is written here and there in the file, so it goes through no pipe
  bool needsArray;      // EventNaming::shape must be known
  bool needsOrder;      // cycles must not fall
  uint64_t mostCycle;   // that it has numbers for
  std::unique_ptr<Exporter> (*make)(const EventNaming& naming, const ExportTarget& target);
};

std::span<const ExportFormat> ExportFormats();

// The format that a file of that name is of; null where its ending tells none.
const ExportFormat* ExportFormatOf(const std::string& fileName);

}  // namespace marrowfin

#endif
