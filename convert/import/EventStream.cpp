#include "convert/import/EventStream.h"

#include "convert/import/Refusal.h"

namespace marrowfin {

Fault EventStream::Skip(const StreamOptions& options, const InputBytes& input, SkipReason reason,
                        const std::string& place, const std::string& why) {
  Skipped& skipped = counts.skipped[reason];
  if (skipped.events == 0) {
    skipped.first = counts.read - 1;
    skipped.why = place + ": " + why;
  }
  ++skipped.events;
  ++allSkipped;
  if (!firstOdd) {
    firstOdd = Refusal(input.Name(), place + ": " + why,
                       "this is no such recording, or it is damaged here");
  }
  return options.strict ? firstOdd : Fault();
}

Fault EventStream::WhyNothing() const {
  return counts.read > 0 && allSkipped == counts.read ? firstOdd : Fault();
}

}  // namespace marrowfin
