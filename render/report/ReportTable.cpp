#include "render/report/ReportTable.h"

#include <algorithm>

#include "measure/NumberText.h"
#include "render/report/HtmlText.h"

namespace marrowfin {
namespace {

std::string Cell(const char* element, const std::string& scope, const ReportColumn& column,
                 const std::string& text) {
  const std::string scopes = scope.empty() ? "" : " scope=\"" + scope + "\"";
  return std::string("<") + element + scopes + (column.number ? " class=\"number\"" : "") + ">" +
         HtmlEscaped(text) + "</" + element + ">";
}

// A single row more takes no more room than the words that tell of it.
size_t RowsOf(size_t wanted, size_t rows) { return rows > wanted + 1 ? wanted : rows; }

size_t RowsAtOnce(const ReportTable& table) { return RowsOf(table.atOnce, table.rows.size()); }

size_t RowsOnPaper(const ReportTable& table) { return RowsOf(table.onPaper, RowsAtOnce(table)); }

// What a table lacks of all rows, and where they are.
std::string Note(const ReportTable& table, size_t rows, const std::string& where) {
  if (table.all <= rows) {
    return "";
  }
  return "<p class=\"note" + where + "\">The first " + CountText(rows) + " of " +
         CountText(table.all) +
         (table.others.empty() ? "" : "; all: <code>" + HtmlEscaped(table.others) + "</code>") +
         "</p>\n";
}

std::string Head(const ReportTable& table) {
  std::string html = "<thead><tr>";
  for (const ReportColumn& column : table.columns) {
    html += Cell("th", "col", column, column.name);
  }
  return html + "</tr></thead>\n";
}

std::string Rows(const ReportTable& table, size_t first, size_t last) {
  std::string html = "<tbody>\n";
  for (size_t row = first; row < last; ++row) {
    html += row < RowsOnPaper(table) ? "<tr>" : "<tr class=\"screen\">";
    for (size_t i = 0; i < table.columns.size(); ++i) {
      html += i == 0 ? Cell("th", "row", table.columns[i], table.rows[row][i])
                     : Cell("td", "", table.columns[i], table.rows[row][i]);
    }
    html += "</tr>\n";
  }
  return html + "</tbody>\n";
}

std::string Part(const ReportTable& table, const std::string& caption, size_t first, size_t last) {
  return "<table>\n<caption>" + HtmlEscaped(caption) + "</caption>\n" + Head(table) +
         Rows(table, first, last) + "</table>\n";
}

}  // namespace

std::string TableHtml(const ReportTable& table) {
  if (table.rows.empty()) {
    return "";
  }
  const size_t rows = table.rows.size();
  const size_t seen = RowsAtOnce(table);
  std::string html = "<div class=\"numbers" + std::string(table.sortable ? " sortable" : "") +
                     (table.onPaper == 0 ? " screen" : "") + "\" id=\"" + table.name + "\">\n" +
                     Part(table, table.caption, 0, seen);
  if (seen < rows) {
    html += "<details><summary>" + CountText(rows - seen) + " more rows</summary>\n" +
            Part(table, table.caption + ", continued", seen, rows) + "</details>\n";
  }
  return html + Note(table, rows, " screen") + Note(table, RowsOnPaper(table), " paper") +
         "</div>\n";
}

}  // namespace marrowfin
