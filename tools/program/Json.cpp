#include "tools/program/Json.h"

#include <nlohmann/json.hpp>

namespace marrowfin {

std::string JsonText(const nlohmann::json& json, int indent) {
  return json.dump(indent, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
}

nlohmann::json AsJson(PerAxis counts) {
  return {{"columns", counts.columns}, {"rows", counts.rows}};
}

nlohmann::json LevelsAsJson(const ArrayShape& shape) {
  return {{"clusters", AsJson(shape.clusters)},
          {"domains", AsJson(shape.domains)},
          {"pes", AsJson(shape.pes)}};
}

nlohmann::json AsJson(const Fault& fault) {
  return {{"kind", FaultName(fault.kind)},
          {"record", fault.record},
          {"offset", fault.offset},
          {"reason", fault.reason},
          {"remedy", fault.remedy}};
}

}  // namespace marrowfin
