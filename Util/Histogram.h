#ifndef UTIL_HISTOGRAM_H
#define UTIL_HISTOGRAM_H

#include <string>
#include <vector>

#include "Util/Printable.h"
#include "Util/Types.h"

// Counts of recorded values, one bucket a value. The order of the fields is fixed.
class Histogram : public Printable {
 public:
  Histogram();

  // Records the value `bucket` `count` times. Memory follows the largest bucket.
  void Increment(unsigned int bucket, int count);

  // The average of the recorded values; 0 where there are none.
  float Mean();

  // Forgets everything recorded.
  void Reset();

  // For every bucket from the first active one: "BUCKET[COUNT SHARE RUNNING-TOTAL RUNNING-SHARE]"
  // and a tab.
  using Printable::ToString;
  const char* ToString(std::string& buf) const override;

  uint32 smallestActiveBucket;           // the first bucket printed; above all while there is none
  unsigned long long sum;                // of the recorded values
  unsigned long long itemCount;          // number of recorded values
  std::vector<unsigned long long> data;  // count of each bucket
};

#endif
