#ifndef CONVERT_EXPORT_HDF5EXPORTER_H
#define CONVERT_EXPORT_HDF5EXPORTER_H

#include <memory>

#include "convert/export/ExportFormat.h"

namespace marrowfin {

// Columns in HDF5, for NumPy, MATLAB and Julia: `events/cycle`, `events/thread`, ..., one row an
// event; `notes/NAME/record` and `notes/NAME/value` for each attribute, `samples/...` for counters.
// docs/toolbox.md has them all.
std::unique_ptr<Exporter> MakeHdf5Exporter(const EventNaming& naming, const ExportTarget& target);

}  // namespace marrowfin

#endif
