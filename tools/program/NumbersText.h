#ifndef TOOLS_PROGRAM_NUMBERSTEXT_H
#define TOOLS_PROGRAM_NUMBERSTEXT_H

#include <string>

#include "measure/NumberTable.h"

namespace marrowfin {

// A table as comma-separated values below the names of its columns (RFC 4180, but that lines end
// with a line feed); what cannot be told is empty. Reals have as many digits as tell them from all
// others.
std::string NumbersCsv(const NumberTable& table);

// Facts and tables as one JSON object: each table is a list of objects, one a line.
std::string NumbersJson(const PlotNumbers& numbers);

}  // namespace marrowfin

#endif
