#include "convert/export/AboutFacts.h"

#include <charconv>

#include "trace/base/ArrayShape.h"

namespace marrowfin {
namespace {

std::string RealText(double value) {
  char digits[64];
  return {digits, std::to_chars(digits, digits + sizeof(digits), value).ptr};
}

}  // namespace

void ForFacts(const EventNaming& naming,
              const std::function<void(const char* key, const std::string& value)>& take) {
  const auto say = [&](const char* key, const std::string& value) {
    if (!value.empty()) {
      take(key, value);
    }
  };
  if (const About* const about = naming.about) {
    say("name", about->name);
    say("command", about->command);
    say("date", about->date);
    say("tool", about->tool);
    say("cycle_ns", about->cycleNs ? RealText(*about->cycleNs) : "");
  }
  if (naming.shape) {
    const ArrayShape& shape = *naming.shape;
    take("clusters_columns", std::to_string(shape.clusters.columns));
    take("clusters_rows", std::to_string(shape.clusters.rows));
    take("domains_columns", std::to_string(shape.domains.columns));
    take("domains_rows", std::to_string(shape.domains.rows));
    take("pes_columns", std::to_string(shape.pes.columns));
    take("pes_rows", std::to_string(shape.pes.rows));
  }
}

}  // namespace marrowfin
