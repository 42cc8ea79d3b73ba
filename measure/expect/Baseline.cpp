#include "measure/expect/Baseline.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <nlohmann/json.hpp>
#include <vector>

#include "trace/read/PositionedFile.h"

namespace marrowfin {
namespace {

using Json = nlohmann::json;

constexpr uint64_t LARGEST = 16 << 20;  // bytes
constexpr int MOST_DEEP = 6;            // more than what `stats` prints

Fault Refused(const std::string& name, const std::string& reason) {
  Fault fault;
  fault.kind = Fault::REFUSED_INPUT;
  fault.file = name;
  fault.reason = reason;
  fault.remedy = "make it anew with --update-baseline";
  return fault;
}

// Numbers at any depth, by the names that lead there with full stops between.
void Flatten(const Json& json, const std::string& path, int deep, Baseline::Numbers& numbers) {
  for (const auto& [key, value] : json.items()) {
    const std::string name = path.empty() ? key : path + "." + key;
    if (value.is_number()) {
      numbers[name] = value.get<double>();
    } else if (value.is_object() && deep < MOST_DEEP) {
      Flatten(value, name, deep + 1, numbers);
    }
  }
}

Result<Json> ParseJson(std::string_view text, const std::string& name) {
  try {
    return Json::parse(text);
  } catch (const Json::parse_error& error) {
    const size_t at = std::min<size_t>(error.byte, text.size());
    const auto line =
        std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(at), '\n');
    return Refused(name, "line " + std::to_string(line + 1) + ": this is no JSON");
  } catch (const Json::exception&) {
    return Refused(name, "a number in it is too large");
  }
}

Json AsJson(double number) {
  constexpr double EXACT = 9007199254740992;  // 2^53
  return number == std::floor(number) && std::abs(number) < EXACT
             ? Json(static_cast<int64_t>(number))
             : Json(number);
}

}  // namespace

Result<Baseline> Baseline::Parse(std::string_view text, const std::string& name) {
  const Result<Json> json = ParseJson(text, name);
  if (!json) {
    return json.Why();
  }
  Baseline baseline;
  if (!json->is_object()) {
    return Refused(name, "this is no object of numbers");
  }
  const auto rules = json->find("rules");
  if (rules == json->end()) {
    Flatten(*json, "", 0, baseline.ofAll);
    if (baseline.ofAll.count("firesPerCycle") == 0 && baseline.ofAll.count("causes.told") == 0) {
      return Refused(name, "this is neither a baseline nor what stats --json or why --json prints");
    }
    return baseline;
  }
  if (!rules->is_object()) {
    return Refused(name, "rules is no object");
  }
  for (const auto& [rule, numbers] : rules->items()) {
    if (!numbers.is_object()) {
      return Refused(name, "what stands for a rule is no object of numbers");
    }
    Numbers& into = baseline.rules[rule];
    for (const auto& [measure, number] : numbers.items()) {
      if (!number.is_number()) {
        return Refused(name, "what stands for a measure is no number");
      }
      into[measure] = number.get<double>();
    }
  }
  return baseline;
}

Result<Baseline> Baseline::Read(const std::string& name) {
  const Result<std::unique_ptr<PositionedFile>> file = OpenPlainFile(name, PlainAccess::READ);
  if (!file) {
    Fault fault = file.Why();
    fault.remedy = "make it with --update-baseline";
    return fault;
  }
  if ((*file)->Size() > LARGEST) {
    return Refused(name, "this is larger than 16 MiB, as no baseline is");
  }
  std::vector<uint8_t> bytes(static_cast<size_t>((*file)->Size()));
  if (!bytes.empty()) {
    if (Fault fault = (*file)->ReadAt(0, bytes.size(), bytes.data())) {
      return fault;
    }
  }
  return Parse({reinterpret_cast<const char*>(bytes.data()), bytes.size()}, name);
}

const Baseline::Numbers* Baseline::Of(const std::string& rule) const {
  const auto found = rules.find(rule);
  if (found != rules.end()) {
    return &found->second;
  }
  return ofAll.empty() ? nullptr : &ofAll;
}

void Baseline::Set(const std::string& rule, const Numbers& numbers) {
  ofAll.clear();
  rules[rule] = numbers;
}

std::string Baseline::Text() const {
  Json json = {{"format", 1}, {"rules", Json::object()}};
  for (const auto& [rule, numbers] : rules) {
    Json& into = json["rules"][rule] = Json::object();
    for (const auto& [measure, number] : numbers) {
      into[measure] = AsJson(number);
    }
  }
  return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace marrowfin
