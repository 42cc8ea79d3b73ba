#ifndef CONVERT_EXPORT_LINESEXPORTER_H
#define CONVERT_EXPORT_LINESEXPORTER_H

#include <memory>

#include "convert/export/ExportFormat.h"

namespace marrowfin {

// A line for each event, as lists of events have them (EventLines).
std::unique_ptr<Exporter> MakeCsvExporter(const EventNaming& naming, const ExportTarget& target);
std::unique_ptr<Exporter> MakeJsonLinesExporter(const EventNaming& naming,
                                                const ExportTarget& target);

}  // namespace marrowfin

#endif
