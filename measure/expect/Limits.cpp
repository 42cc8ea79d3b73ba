#include "measure/expect/Limits.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

namespace marrowfin {
namespace {

Limits Around(double centre, double distance) { return {centre - distance, centre + distance}; }

// The limits that shares of a number are; of one below zero a larger share is the lower number.
Limits SharesOf(const Limits& shares, double number) {
  Limits limits = shares;
  for (std::optional<double>* const end : {&limits.least, &limits.most}) {
    if (*end) {
      **end *= number;
    }
  }
  if (number < 0) {
    std::swap(limits.least, limits.most);
    std::swap(limits.aboveLeast, limits.belowMost);
  }
  return limits;
}

}  // namespace

double Limits::Excess(double value) const {
  double excess = -std::numeric_limits<double>::infinity();
  if (least) {
    excess = std::max(excess, *least - value);
  }
  if (most) {
    excess = std::max(excess, value - *most);
  }
  return excess;
}

bool Limits::Hold(double value) const {
  const bool enough = !least || (aboveLeast ? value > *least : value >= *least);
  const bool notTooMuch = !most || (belowMost ? value < *most : value <= *most);
  return enough && notTooMuch;
}

bool Limits::AreEmpty() const {
  return least && most && (*least > *most || (*least == *most && (aboveLeast || belowMost)));
}

void Limits::Narrow(const Limits& other) {
  if (other.least && (!least || *other.least >= *least)) {
    aboveLeast = other.aboveLeast || (least == other.least && aboveLeast);
    least = other.least;
  }
  if (other.most && (!most || *other.most <= *most)) {
    belowMost = other.belowMost || (most == other.most && belowMost);
    most = other.most;
  }
}

Limits Bound::For(const std::optional<double>& baseline) const {
  Limits wanted = limits;
  const std::optional<double> centre = equals ? equals : IsWithin() ? baseline : std::nullopt;
  if (centre) {
    const double share = withinShare.value_or(0) * std::abs(*centre);
    wanted.Narrow(Around(*centre, std::max(within.value_or(0), share)));
  }
  if (baseline) {
    wanted.Narrow(SharesOf(ofBaseline, *baseline));
  }
  return wanted;
}

std::string PlainNumber(double value, int digits) {
  constexpr double EXACT = 9007199254740992;  // 2^53: whole numbers below are told as they are
  char text[64];
  std::to_chars_result end = {};
  if (value == std::floor(value) && std::abs(value) < EXACT) {
    end = std::to_chars(text, text + sizeof(text), static_cast<int64_t>(value));
  } else if (digits == 0) {
    end = std::to_chars(text, text + sizeof(text), value);
  } else {
    end = std::to_chars(text, text + sizeof(text), value, std::chars_format::general, digits);
  }
  return {text, end.ptr};
}

std::string LimitsText(const Limits& limits, int digits) {
  const auto number = [&](double end) { return PlainNumber(end, digits); };
  if (limits.least && limits.most) {
    if (*limits.least == *limits.most) {
      return "exactly " + number(*limits.least);
    }
    return (limits.aboveLeast ? "above " : "") + number(*limits.least) + " to " +
           (limits.belowMost ? "below " : "") + number(*limits.most);
  }
  if (limits.least) {
    return (limits.aboveLeast ? "above " : "at least ") + number(*limits.least);
  }
  if (limits.most) {
    return (limits.belowMost ? "below " : "at most ") + number(*limits.most);
  }
  return "anything";
}

}  // namespace marrowfin
