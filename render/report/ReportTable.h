#ifndef RENDER_REPORT_REPORTTABLE_H
#define RENDER_REPORT_REPORTTABLE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace marrowfin {

// A column of a table of a report.
struct ReportColumn {
  std::string name;
  bool number = false;  // stands to the right
};

// A table of a report. The first cell of a row tells what the row is of.
struct ReportTable {
  // Rows that are seen at once; the others are behind a word that opens them. On paper, which
  // nobody opens, there are fewer.
  static constexpr size_t AT_ONCE = 10;
  static constexpr size_t ON_PAPER = 5;

  // Rows of the page; of more it says how many there are. An array may have a million places.
  static constexpr size_t MOST_ROWS = 100;

  std::string name;     // of its elements: letters, digits and hyphens, once in a page
  std::string caption;  // what it tells
  std::vector<ReportColumn> columns;
  std::vector<std::vector<std::string>> rows;  // the first MOST_ROWS of all
  uint64_t all = 0;                            // rows that there are
  std::string others;                          // what tells the rest: words behind "the others: "
  size_t atOnce = AT_ONCE;                     // rows that are seen before it is opened
  size_t onPaper = ON_PAPER;                   // rows of its print; 0 for none of it
  bool sortable = true;                        // whether its order means nothing that would be lost
};

// The table in HTML; nothing of one without rows. Rows that are folded away are in a table of their
// own, so that they are read as one with its own head.
std::string TableHtml(const ReportTable& table);

}  // namespace marrowfin

#endif
