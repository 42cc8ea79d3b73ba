#include "tools/program/NumbersText.h"

#include <charconv>
#include <cmath>
#include <nlohmann/json.hpp>

#include "tools/program/Json.h"

namespace marrowfin {
namespace {

std::string RealText(double value) {
  char digits[64];
  return {digits, std::to_chars(digits, digits + sizeof(digits), value).ptr};
}

std::string Quoted(const std::string& text) {
  if (text.find_first_of(",\"\r\n") == std::string::npos) {
    return text;
  }
  std::string quoted = "\"";
  for (const char c : text) {
    quoted += c == '"' ? "\"\"" : std::string(1, c);
  }
  return quoted + "\"";
}

std::string CsvText(const NumberCell& cell) {
  if (const auto* const count = std::get_if<uint64_t>(&cell)) {
    return std::to_string(*count);
  }
  if (const auto* const real = std::get_if<double>(&cell)) {
    return std::isfinite(*real) ? RealText(*real) : "";
  }
  const auto* const text = std::get_if<std::string>(&cell);
  return text != nullptr ? Quoted(*text) : "";
}

// Within a line.
std::string JsonOf(const NumberCell& cell) {
  const auto inLine = [](const nlohmann::json& value) {
    std::string text = JsonText(value, -1);
    text.pop_back();
    return text;
  };
  if (const auto* const text = std::get_if<std::string>(&cell)) {
    return inLine(*text);
  }
  const std::string number = CsvText(cell);
  return number.empty() ? "null" : number;
}

void AddTable(const NumberTable& table, std::string& out) {
  out += "  " + JsonOf(table.name) + ": [";
  std::vector<std::string> names;
  for (const std::string& name : table.columns) {
    names.push_back(JsonOf(name) + ": ");
  }
  for (size_t row = 0, cell = 0; row < table.Rows(); ++row) {
    out += row == 0 ? "\n    {" : ",\n    {";
    for (size_t column = 0; column < names.size(); ++column, ++cell) {
      out += (column == 0 ? "" : ", ") + names[column] + JsonOf(table.cells[cell]);
    }
    out += '}';
  }
  out += table.Rows() == 0 ? "]" : "\n  ]";
}

}  // namespace

std::string NumbersCsv(const NumberTable& table) {
  std::string out;
  for (const std::string& name : table.columns) {
    out += (out.empty() ? "" : ",") + Quoted(name);
  }
  for (size_t cell = 0; cell < table.cells.size(); ++cell) {
    out += cell % table.columns.size() == 0 ? '\n' : ',';
    out += CsvText(table.cells[cell]);
  }
  return out + "\n";
}

std::string NumbersJson(const PlotNumbers& numbers) {
  std::string out = "{\n";
  for (const auto& [name, value] : numbers.facts) {
    out += "  " + JsonOf(name) + ": " + JsonOf(value) + ",\n";
  }
  for (const NumberTable& table : numbers.tables) {
    AddTable(table, out);
    out += ",\n";
  }
  out.erase(out.size() - 2);
  return out + "\n}\n";
}

}  // namespace marrowfin
