#ifndef MEASURE_EXPECT_LIMITS_H
#define MEASURE_EXPECT_LIMITS_H

#include <optional>
#include <string>

namespace marrowfin {

// Between what a number has to be; where an end is missing there is none.
struct Limits {
  std::optional<double> least;
  std::optional<double> most;
  bool aboveLeast = false;  // that end itself is not enough
  bool belowMost = false;   // or too much

  // How far a number is beyond the end that it is furthest beyond; 0 and less where it is beyond
  // none, or on an end that does not belong to what is wanted.
  double Excess(double value) const;

  bool Hold(double value) const;

  // Whether no number is between them.
  bool AreEmpty() const;

  // What both leave.
  void Narrow(const Limits& other);

  friend bool operator==(const Limits&, const Limits&) = default;
};

// What a rule asks of a number, before it is known what a baseline says of it. Shares are of the
// baseline's number.
struct Bound {
  Limits limits;      // as they stand
  Limits ofBaseline;  // as shares: at_most = "105 %" is 1.05
  std::optional<double> equals;
  std::optional<double> within;       // of `equals`, or of the baseline
  std::optional<double> withinShare;  // the same as a share of it; the wider of both counts

  bool NeedsBaseline() const { return ofBaseline.least || ofBaseline.most; }
  bool IsWithin() const { return within || withinShare; }

  // What is wanted, given what the baseline says of the number, if anything.
  Limits For(const std::optional<double>& baseline) const;
};

// A number as in rules: "0.8", "1234567", "1.5e+20". `digits` is the most that count; 0 for as many
// as tell it from every other number.
std::string PlainNumber(double value, int digits = 6);

// "at most 6", "above 2", "0.8 to 1.2", "exactly 4", "anything".
std::string LimitsText(const Limits& limits, int digits = 6);

}  // namespace marrowfin

#endif
