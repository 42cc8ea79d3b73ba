#ifndef CONVERT_EXPORT_PERFETTOEXPORTER_H
#define CONVERT_EXPORT_PERFETTOEXPORTER_H

#include <memory>

#include "convert/export/ExportFormat.h"

namespace marrowfin {

// The Protocol Buffers trace that ui.perfetto.dev opens. A cycle is a nanosecond. A track for each
// element stands below that of its domain, that below its cluster, and the switch beside the
// domains. A fire, a transmission and both ends of a message are slices of a cycle; a flow joins
// the ends. Counter tracks have the events by cycle and the counters of the companion.
std::unique_ptr<Exporter> MakePerfettoExporter(const EventNaming& naming,
                                               const ExportTarget& target);

}  // namespace marrowfin

#endif
