#include "convert/import/CsvRows.h"

#include "convert/import/Refusal.h"

namespace marrowfin {

void CsvRows::Refuse(const char* why) {
  if (!fault) {
    fault = Refusal(input.Name(), "line " + std::to_string(rowLine) + ": " + why,
                    "this is no table of comma-separated values, or it is damaged here");
  }
}

// One byte more; false where a row has too many of them.
bool CsvRows::Count() {
  if (++size > LONGEST_ROW) {
    Refuse("a row that does not end");
  }
  return !fault;
}

bool CsvRows::Next(std::vector<std::string>& fields) {
  size_t count = 0;
  while (!input.AtEnd() && (input.Current() == '\n' || input.Current() == '\r')) {
    line += input.Take() == '\n' ? 1 : 0;
  }
  if (fault || input.AtEnd()) {
    fault = fault ? fault : input.Trouble();
    return false;
  }
  rowLine = line;
  size = 0;
  for (bool more = true; more && !fault;) {
    if (count == MOST_FIELDS) {
      Refuse("a row of too many fields");
      break;
    }
    if (fields.size() <= count) {
      fields.emplace_back();
    }
    more = TakeField(fields[count++]);
  }
  fields.resize(count);
  fault = fault ? fault : input.Trouble();
  return !fault;
}

// Whether another field follows in the row.
bool CsvRows::TakeField(std::string& field) {
  field.clear();
  if (!input.AtEnd() && input.Current() == '"') {
    input.Take();
    TakeQuoted(field);
  }
  while (!input.AtEnd() && !fault) {
    const auto c = static_cast<char>(input.Take());
    if (c == ',') {
      return true;
    }
    if (c == '\n') {
      ++line;
      break;
    }
    if (c != '\r' || (!input.AtEnd() && input.Current() != '\n')) {
      field += c;
    }
    if (!Count()) {
      break;
    }
  }
  return false;
}

void CsvRows::TakeQuoted(std::string& field) {
  while (!input.AtEnd()) {
    const auto c = static_cast<char>(input.Take());
    if (c == '"' && (input.AtEnd() || input.Current() != '"')) {
      return;
    }
    if (c == '"') {
      input.Take();
    }
    line += c == '\n' ? 1 : 0;
    field += c;
    if (!Count()) {
      return;
    }
  }
  if (!input.Trouble()) {
    Refuse("a quoted field that does not end");
  }
}

}  // namespace marrowfin
