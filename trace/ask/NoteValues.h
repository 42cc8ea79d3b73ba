#ifndef TRACE_ASK_NOTEVALUES_H
#define TRACE_ASK_NOTEVALUES_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace marrowfin {

// The values of one attribute beside some records: mostly one or none of each, of the type RECORDS
// any number. Reals stand as their bits.
//
// One list with a place for each record was preferred to a column with holes: it is the same for
// all types, and whoever counts values touches no others. Threads: a value, which one thread writes
// or any number read.
class NoteValues {
 public:
  // How many records there are.
  size_t Size() const { return known.size(); }

  // Whether the notes of record i are believed, or it has none; else it has no values here, and
  // nobody knows whether it has any.
  bool IsKnown(size_t i) const { return known[i] != 0; }

  bool Has(size_t i) const { return begins[i + 1] != begins[i]; }

  // The value of record i, which must have one; of several the first.
  uint64_t Value(size_t i) const { return values[begins[i]]; }

  std::span<const uint64_t> All(size_t i) const {
    return std::span(values).subspan(begins[i], begins[i + 1] - begins[i]);
  }

  void Clear() {
    begins.assign(1, 0);
    values.clear();
    known.clear();
  }

  // Adds a value to the record that is added next.
  void Put(uint64_t value) { values.push_back(value); }

  // Adds records of which something is known and which have one value each.
  template <class ValueOf>
  void AddSingles(size_t count, ValueOf valueOf) {
    const size_t record = known.size();
    const size_t value = values.size();
    known.resize(record + count, 1);
    begins.resize(record + count + 1);
    values.resize(value + count);
    for (size_t i = 0; i < count; ++i) {
      values[value + i] = valueOf(i);
      begins[record + i + 1] = static_cast<uint32_t>(value + i + 1);
    }
  }

  // Adds a record with the values that were put.
  void Add(bool isKnown) {
    begins.push_back(static_cast<uint32_t>(values.size()));
    known.push_back(isKnown ? 1 : 0);
  }

 private:
  std::vector<uint32_t> begins = {0};  // in `values`, of each record, and the end of the last
  std::vector<uint64_t> values;
  std::vector<uint8_t> known;
};

}  // namespace marrowfin

#endif
