#include "convert/export/CsvField.h"

namespace marrowfin {

void AppendCsvField(const std::string& field, std::string& out) {
  if (field.find_first_of(",\"\r\n") == std::string::npos) {
    out += field;
    return;
  }
  out += '"';
  for (const char c : field) {
    out.append(c == '"' ? 2 : 1, c);
  }
  out += '"';
}

}  // namespace marrowfin
