#ifndef CONVERT_EXPORT_CSVFIELD_H
#define CONVERT_EXPORT_CSVFIELD_H

#include <string>

namespace marrowfin {

// A field of CSV, in quotes where it has to be.
void AppendCsvField(const std::string& field, std::string& out);

}  // namespace marrowfin

#endif
