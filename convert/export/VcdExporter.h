#ifndef CONVERT_EXPORT_VCDEXPORTER_H
#define CONVERT_EXPORT_VCDEXPORTER_H

#include <memory>

#include "convert/export/ExportFormat.h"

namespace marrowfin {

// A value change dump, which viewers of waveforms open. A cycle is a nanosecond. An element that
// does anything has signals `fire`, `send` and `receive` in its scope below its domain and cluster,
// a switch `transmit`: each is 1 in the cycles in which that happens. How many events there are of
// each type in a cycle stands beside the clusters.
std::unique_ptr<Exporter> MakeVcdExporter(const EventNaming& naming, const ExportTarget& target);

}  // namespace marrowfin

#endif
