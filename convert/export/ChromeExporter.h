#ifndef CONVERT_EXPORT_CHROMEEXPORTER_H
#define CONVERT_EXPORT_CHROMEEXPORTER_H

#include <memory>

#include "convert/export/ExportFormat.h"

namespace marrowfin {

// The JSON that trace viewers of browsers open. A cycle is a nanosecond; each cluster is a process,
// each of its elements a thread and its switch thread 0. A fire, a transmission and both ends of a
// message are slices of a cycle, and an arrow joins the ends.
std::unique_ptr<Exporter> MakeChromeExporter(const EventNaming& naming, const ExportTarget& target);

}  // namespace marrowfin

#endif
