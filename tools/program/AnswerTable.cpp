#include "tools/program/AnswerTable.h"

#include <algorithm>
#include <charconv>
#include <nlohmann/json.hpp>
#include <utility>

#include "convert/export/CsvField.h"
#include "convert/export/EventWords.h"
#include "measure/NumberText.h"

namespace marrowfin {

namespace {

typedef AnswerTable::Cell Cell;

bool IsText(const Cell& cell) { return std::holds_alternative<std::string>(cell); }

// What a cell holds, or `nothing`; reals are told by `real`.
template <class Real>
std::string CellText(const Cell& cell, const std::string& nothing, Real real) {
  if (const auto* const text = std::get_if<std::string>(&cell)) {
    return *text;
  }
  if (const auto* const number = std::get_if<uint64_t>(&cell)) {
    return std::to_string(*number);
  }
  const auto* const value = std::get_if<double>(&cell);
  return value != nullptr ? real(*value) : nothing;
}

std::string AllDigits(double value) {
  char digits[64];
  return {digits, std::to_chars(digits, digits + sizeof(digits), value).ptr};
}

std::string ForPeople(const Cell& cell) { return OnOneLine(CellText(cell, "-", ThreeDigits)); }

// Characters, of which one may take several bytes.
size_t WidthOf(const std::string& text) {
  return static_cast<size_t>(std::count_if(text.begin(), text.end(), [](char c) {
    return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
  }));
}

// A column of a table that is read by people.
struct Column {
  bool isText = false;
  size_t width = 0;

  void Append(const std::string& cell, bool isLast, std::string& out) const {
    const std::string blanks(width - WidthOf(cell), ' ');
    out += isText ? cell + (isLast ? "" : blanks) : blanks + cell;
    out += isLast ? "\n" : "  ";
  }
};

std::vector<Column> ColumnsOf(const AnswerTable& table) {
  std::vector<Column> columns;
  for (size_t i = 0; i < table.titles.size(); ++i) {
    Column column = {false, WidthOf(table.titles[i])};
    for (const std::vector<Cell>& row : table.rows) {
      column.isText = column.isText || IsText(row[i]);
      column.width = std::max(column.width, WidthOf(ForPeople(row[i])));
    }
    columns.push_back(column);
  }
  return columns;
}

nlohmann::json AsJson(const Cell& cell) {
  return std::visit(
      [](const auto& value) -> nlohmann::json {
        if constexpr (std::is_same_v<std::decay_t<decltype(value)>, std::monostate>) {
          return nullptr;
        } else {
          return value;
        }
      },
      cell);
}

}  // namespace

std::string TableText(const AnswerTable& table) {
  const std::vector<Column> columns = ColumnsOf(table);
  std::string text;
  for (size_t i = 0; i < columns.size(); ++i) {
    columns[i].Append(table.titles[i], i + 1 == columns.size(), text);
  }
  for (const std::vector<Cell>& row : table.rows) {
    for (size_t i = 0; i < columns.size(); ++i) {
      columns[i].Append(ForPeople(row[i]), i + 1 == columns.size(), text);
    }
  }
  return text;
}

std::string TableCsv(const AnswerTable& table) {
  std::string text;
  for (const std::string& title : table.titles) {
    text += (text.empty() ? "" : ",") + title;
  }
  text += '\n';
  for (const std::vector<Cell>& row : table.rows) {
    for (size_t i = 0; i < row.size(); ++i) {
      text += i == 0 ? "" : ",";
      AppendCsvField(CellText(row[i], "", AllDigits), text);
    }
    text += '\n';
  }
  return text;
}

nlohmann::json TableJson(const AnswerTable& table) {
  nlohmann::json rows = nlohmann::json::array();
  for (const std::vector<Cell>& row : table.rows) {
    // One that becomes an object by its first field cannot be taken apart where memory runs out
    // then.
    nlohmann::json object = nlohmann::json::object();
    for (size_t i = 0; i < row.size(); ++i) {
      object[table.titles[i]] = AsJson(row[i]);
    }
    rows.push_back(std::move(object));
  }
  return rows;
}

}  // namespace marrowfin
