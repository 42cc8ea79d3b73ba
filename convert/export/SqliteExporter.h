#ifndef CONVERT_EXPORT_SQLITEEXPORTER_H
#define CONVERT_EXPORT_SQLITEEXPORTER_H

#include <memory>

#include "convert/export/ExportFormat.h"

namespace marrowfin {

// A SQLite database: tables `events` (with a column for each attribute of the notes), `pes`,
// `counters`, `thread_names` and `about`; views `fires`, `sends`, `switches`, `threads`, `activity`
// and `notes`; indexes by cycle, by thread and by place. Numbers from 2^63 on, which SQLite has
// not, become reals.
std::unique_ptr<Exporter> MakeSqliteExporter(const EventNaming& naming, const ExportTarget& target);

}  // namespace marrowfin

#endif
