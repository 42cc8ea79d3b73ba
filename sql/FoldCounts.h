#ifndef SQL_FOLDCOUNTS_H
#define SQL_FOLDCOUNTS_H

#include <optional>
#include <string>

namespace marrowfin {

// Another statement with the same answer, where one counts the events of each place and the index
// knows those counts: SQLite hands no table the question how many, and telling it every event costs
// a hundred times the counting. It is
//
//   select ITEMS from fires|sends|switches [where CONDITIONS] group by col, row, ... [REST]
//
// where CONDITIONS compare cycle and columns of the place with whole numbers, and all else are
// columns of the place, count(*), numbers and arithmetic. Nothing for any other statement, which is
// answered row by row. The names of the columns are the same but where an item is more than
// count(*) and has no name of its own. Threads: any number may call it at a time.
std::optional<std::string> FoldedCounts(const std::string& statement);

}  // namespace marrowfin

#endif
