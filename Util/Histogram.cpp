#include "Util/Histogram.h"

#include <climits>

#include "Util/AppendFormat.h"

Histogram::Histogram() { Reset(); }

void Histogram::Increment(unsigned int bucket, int count) {
  if (bucket >= data.size()) {
    data.resize(static_cast<size_t>(bucket) + 1);
  }
  const unsigned long long items = static_cast<unsigned long long>(count);
  data[bucket] += items;
  itemCount += items;
  sum += bucket * items;
  if (data[bucket] != 0 && bucket < smallestActiveBucket) {
    smallestActiveBucket = bucket;
  }
}

float Histogram::Mean() {
  return itemCount == 0
             ? 0
             : static_cast<float>(static_cast<double>(sum) / static_cast<double>(itemCount));
}

void Histogram::Reset() {
  smallestActiveBucket = UINT_MAX;
  sum = 0;
  itemCount = 0;
  data.clear();
}

const char* Histogram::ToString(std::string& buf) const {
  buf.clear();
  unsigned long long cdfSum = 0;
  for (size_t b = smallestActiveBucket; b < data.size(); ++b) {
    cdfSum += data[b];
    const double items = static_cast<double>(itemCount);
    AppendFormat(buf, "%9u[%9llu %5.3f %9llu %5.3f]\t", static_cast<uint32>(b), data[b],
                 static_cast<double>(data[b]) / items, cdfSum, static_cast<double>(cdfSum) / items);
  }
  return buf.c_str();
}
