#include "tools/program/SetFact.h"

#include <charconv>
#include <cmath>
#include <optional>
#include <string_view>

namespace marrowfin {

namespace {

constexpr char REMEDY[] =
    "Say KEY=VALUE, where KEY is name, command, date, tool, cycle_ns, thread.N or place.C,R.";

Failure Refused(const std::string& fact, const char* why) {
  return {EXIT_USAGE, "--set " + fact + ": " + why, REMEDY};
}

// The number that takes all of the text.
template <class Number>
std::optional<Number> NumberOf(std::string_view text) {
  Number number = 0;
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && rest == end ? std::optional(number) : std::nullopt;
}

// What follows `prefix` in a key that begins so.
std::optional<std::string_view> Behind(std::string_view key, std::string_view prefix) {
  return key.substr(0, prefix.size()) == prefix ? std::optional(key.substr(prefix.size()))
                                                : std::nullopt;
}

std::string* TextOf(std::string_view key, About& about) {
  return key == "name"      ? &about.name
         : key == "command" ? &about.command
         : key == "date"    ? &about.date
         : key == "tool"    ? &about.tool
                            : nullptr;
}

bool NamePlace(std::string_view place, const std::string& name, About& about) {
  const size_t comma = place.find(',');
  const auto column = NumberOf<uint32_t>(place.substr(0, comma));
  const auto row = comma == place.npos ? std::nullopt : NumberOf<uint32_t>(place.substr(comma + 1));
  if (!column || !row) {
    return false;
  }
  about.places[{*column, *row}] = name;
  return true;
}

}  // namespace

MaybeFailure SetFact(const std::string& fact, About& about) {
  const size_t equals = fact.find('=');
  if (equals == fact.npos) {
    return Refused(fact, "is no KEY=VALUE");
  }
  const std::string key = fact.substr(0, equals);
  const std::string value = fact.substr(equals + 1);
  if (std::string* const text = TextOf(key, about)) {
    *text = value;
    return std::nullopt;
  }
  if (key == "cycle_ns") {
    about.cycleNs = NumberOf<double>(value);
    const bool isGood = about.cycleNs && std::isfinite(*about.cycleNs) && *about.cycleNs > 0;
    return isGood ? MaybeFailure() : Refused(fact, "is no number above 0");
  }
  if (const auto number = Behind(key, "thread.")) {
    const auto thread = NumberOf<uint32_t>(*number);
    if (thread) {
      about.threads[*thread].name = value;
    }
    return thread ? MaybeFailure() : Refused(fact, "names no thread");
  }
  if (const auto place = Behind(key, "place.")) {
    return NamePlace(*place, value, about) ? MaybeFailure() : Refused(fact, "names no place");
  }
  return Refused(fact, "is a fact that nobody knows");
}

}  // namespace marrowfin
