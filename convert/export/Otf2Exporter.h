#ifndef CONVERT_EXPORT_OTF2EXPORTER_H
#define CONVERT_EXPORT_OTF2EXPORTER_H

#include <memory>
#include <string>

#include "convert/export/ExportFormat.h"

namespace marrowfin {

// An archive in the Open Trace Format 2: a location for each element and switch that does anything,
// below its domain and its cluster; regions for what it does, messages from location to location,
// notes as attributes, counters as metrics. docs/toolbox.md has it all.
std::unique_ptr<Exporter> MakeOtf2Exporter(const EventNaming& naming, const ExportTarget& target);

// Whether a folder holds such an archive as MakeOtf2Exporter makes and nothing else.
bool IsOtf2Archive(const std::string& folder);

}  // namespace marrowfin

#endif
