#include "tools/program/QueryLines.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <set>
#include <vector>

#include "convert/export/CsvField.h"
#include "convert/export/EventWords.h"
#include "tools/program/Json.h"

namespace marrowfin {

namespace {

// As many digits as tell it from all others, and always the look of a real.
std::string RealText(double value) {
  char digits[64];
  std::string text(digits, std::to_chars(digits, digits + sizeof(digits), value).ptr);
  if (text.find_first_not_of("-0123456789") == std::string::npos) {
    text += ".0";
  }
  return text;
}

std::string HexText(std::string_view bytes) {
  constexpr char DIGITS[] = "0123456789abcdef";
  std::string text;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    text += DIGITS[byte >> 4];
    text += DIGITS[byte & 15];
  }
  return text;
}

// A value in words; bytes as SQL writes them.
struct InWords {
  const char* nothing;

  std::string operator()(std::monostate) const { return nothing; }
  std::string operator()(int64_t value) const { return std::to_string(value); }
  std::string operator()(double value) const { return RealText(value); }
  std::string operator()(std::string_view text) const { return std::string(text); }
  std::string operator()(SqlBytes value) const { return "x'" + HexText(value.bytes) + "'"; }
};

// JSON of a value; reals that it has no words for are null.
struct InJson {
  std::string operator()(std::monostate) const { return "null"; }
  std::string operator()(int64_t value) const { return std::to_string(value); }
  std::string operator()(double value) const {
    return std::isfinite(value) ? RealText(value) : "null";
  }
  std::string operator()(std::string_view text) const {
    std::string json = JsonText(std::string(text), -1);
    json.pop_back();
    return json;
  }
  std::string operator()(SqlBytes value) const { return "\"" + HexText(value.bytes) + "\""; }
};

bool IsNumber(const SqlCell& cell) {
  return std::holds_alternative<int64_t>(cell) || std::holds_alternative<double>(cell);
}

// Characters, of which one may take several bytes.
size_t CharactersOf(const std::string& text) {
  return static_cast<size_t>(std::count_if(text.begin(), text.end(), [](char c) {
    return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
  }));
}

// Columns below their names, numbers at the right edge. The first rows tell how wide they are: all
// of them cannot be waited for.
class TextLines : public QueryLines {
 public:
  void Begin(std::span<const std::string> names, std::string& out) override {
    out += begun ? "\n" : "";
    begun = true;
    columns.assign(names.size(), {});
    areWidthsKnown = false;
    AddRow({names.begin(), names.end()}, out);
  }

  void Add(std::span<const SqlCell> cells, std::string& out) override {
    std::vector<std::string> row;
    for (size_t i = 0; i < cells.size(); ++i) {
      row.push_back(OnOneLine(std::visit(InWords{"-"}, cells[i])));
      columns[i].isText = columns[i].isText || !(IsNumber(cells[i]) || cells[i].index() == 0);
    }
    AddRow(std::move(row), out);
  }

  void End(std::string& out) override { Settle(out); }

 private:
  static constexpr size_t FIRST_ROWS = 1000;

  struct ColumnWidth {
    size_t width = 0;
    bool isText = false;
  };

  // With the names.
  void AddRow(std::vector<std::string> row, std::string& out) {
    if (areWidthsKnown) {
      Append(row, out);
      return;
    }
    for (size_t i = 0; i < row.size(); ++i) {
      columns[i].width = std::max(columns[i].width, CharactersOf(row[i]));
    }
    rows.push_back(std::move(row));
    if (rows.size() > FIRST_ROWS) {
      Settle(out);
    }
  }

  void Settle(std::string& out) {
    areWidthsKnown = true;
    for (const std::vector<std::string>& row : rows) {
      Append(row, out);
    }
    rows.clear();
  }

  void Append(const std::vector<std::string>& row, std::string& out) const {
    for (size_t i = 0; i < row.size(); ++i) {
      const bool isLast = i + 1 == row.size();
      const size_t length = CharactersOf(row[i]);
      const std::string blanks(columns[i].width > length ? columns[i].width - length : 0, ' ');
      out += columns[i].isText ? row[i] + (isLast ? "" : blanks) : blanks + row[i];
      out += isLast ? "\n" : "  ";
    }
  }

  bool begun = false;
  bool areWidthsKnown = false;
  std::vector<ColumnWidth> columns;
  std::vector<std::vector<std::string>> rows;  // that wait until widths are known
};

class CsvRows : public QueryLines {
 public:
  void Begin(std::span<const std::string> names, std::string& out) override {
    out += begun ? "\n" : "";
    begun = true;
    for (size_t i = 0; i < names.size(); ++i) {
      out += i == 0 ? "" : ",";
      AppendCsvField(names[i], out);
    }
    out += '\n';
  }

  void Add(std::span<const SqlCell> cells, std::string& out) override {
    for (size_t i = 0; i < cells.size(); ++i) {
      out += i == 0 ? "" : ",";
      AppendCsvField(std::visit(InWords{""}, cells[i]), out);
    }
    out += '\n';
  }

  void End(std::string& /*out*/) override {}

 private:
  bool begun = false;
};

// Objects by the names of the columns: a line each, or with brackets and commas a list of them.
class JsonRows : public QueryLines {
 public:
  explicit JsonRows(bool isList) : isList(isList) {}

  // No name comes twice in an object.
  void Begin(std::span<const std::string> names, std::string& out) override {
    keys.clear();
    std::set<std::string> taken;
    for (const std::string& name : names) {
      std::string key = name;
      for (int i = 2; !taken.insert(key).second; ++i) {
        key = name + ":" + std::to_string(i);
      }
      keys.push_back(InJson()(key) + ":");
    }
    rows = 0;
    out += isList ? "[" : "";
  }

  void Add(std::span<const SqlCell> cells, std::string& out) override {
    out += isList ? (rows == 0 ? "\n" : ",\n") : "";
    ++rows;
    for (size_t i = 0; i < cells.size(); ++i) {
      out += (i == 0 ? "{" : ",") + keys[i] + std::visit(InJson(), cells[i]);
    }
    out += isList ? "}" : "}\n";
  }

  void End(std::string& out) override { out += isList ? "\n]\n" : ""; }

 private:
  const bool isList;
  std::vector<std::string> keys;
  uint64_t rows = 0;
};

}  // namespace

std::unique_ptr<QueryLines> MakeQueryLines(QueryFormat format) {
  switch (format) {
    case QueryFormat::CSV:
      return std::make_unique<CsvRows>();
    case QueryFormat::JSON:
      return std::make_unique<JsonRows>(true);
    case QueryFormat::JSON_LINES:
      return std::make_unique<JsonRows>(false);
    default:
      return std::make_unique<TextLines>();
  }
}

}  // namespace marrowfin
