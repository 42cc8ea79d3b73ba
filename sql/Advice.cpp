#include "sql/Advice.h"

#include <algorithm>
#include <cctype>
#include <string_view>
#include <vector>

#include "trace/base/NearestWord.h"

namespace marrowfin {

namespace {

constexpr std::string_view NO_COLUMN = "no such column: ";
constexpr std::string_view NO_TABLE = "no such table: ";

std::string LowerCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

// Behind the last dot: of "f.cycle" the column.
std::string Unqualified(const std::string& name) {
  const size_t dot = name.rfind('.');
  return LowerCase(dot == std::string::npos ? name : name.substr(dot + 1));
}

bool HasColumn(const SqlSchema::Table& table, const std::string& name) {
  return std::any_of(table.columns.begin(), table.columns.end(),
                     [&](const auto& column) { return LowerCase(column.name) == name; });
}

std::string TablesWith(const std::string& column, const SqlSchema& schema) {
  std::string names;
  for (const SqlSchema::Table& table : schema.tables) {
    if (HasColumn(table, column)) {
      names += (names.empty() ? "" : ", ") + table.name;
    }
  }
  return names;
}

std::string Meant(const std::string& nearest) {
  return nearest.empty() ? "" : "'" + nearest + "' is meant perhaps";
}

std::string AdviceOnColumn(const std::string& name, const SqlSchema& schema) {
  const std::string tables = TablesWith(name, schema);
  if (!tables.empty()) {
    return "'" + name + "' is a column of " + tables;
  }
  std::vector<std::string> names;
  for (const SqlSchema::Table& table : schema.tables) {
    for (const SqlSchema::Column& column : table.columns) {
      names.push_back(column.name);
    }
  }
  return Meant(NearestWord(name, names));
}

std::string AdviceOnTable(const std::string& name, const SqlSchema& schema) {
  std::vector<std::string> names;
  std::string all;
  for (const SqlSchema::Table& table : schema.tables) {
    names.push_back(table.name);
    all += (all.empty() ? "" : ", ") + table.name;
  }
  const std::string meant = Meant(NearestWord(name, names));
  return meant.empty() ? "there are " + all : meant;
}

bool IsContinuation(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

}  // namespace

std::string PlaceInText(const std::string& text, size_t byte) {
  size_t line = 1;
  size_t column = 1;
  for (size_t i = 0; i < std::min(byte, text.size()); ++i) {
    if (text[i] == '\n') {
      ++line;
      column = 1;
    } else if (!IsContinuation(text[i])) {
      ++column;
    }
  }
  return "line " + std::to_string(line) + ", column " + std::to_string(column);
}

std::string AdviceOn(const std::string& message, const SqlSchema& schema) {
  if (message.starts_with(NO_COLUMN)) {
    return AdviceOnColumn(Unqualified(message.substr(NO_COLUMN.size())), schema);
  }
  if (message.starts_with(NO_TABLE)) {
    return AdviceOnTable(Unqualified(message.substr(NO_TABLE.size())), schema);
  }
  return "";
}

}  // namespace marrowfin
