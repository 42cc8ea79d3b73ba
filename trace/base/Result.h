#ifndef TRACE_BASE_RESULT_H
#define TRACE_BASE_RESULT_H

#include <memory>
#include <optional>
#include <utility>

#include "trace/base/Fault.h"

namespace marrowfin {

// What a call made, or why it made nothing: never both, so that no caller can use a value that is
// none, and no fault of an earlier call is taken for that of a later one.
//
// `if (!result) return result.Why();` hands a fault on; `*result`, `result->` and
// `std::move(result).Take()` reach the value, which must be there.
//
// The fault lies elsewhere: a result that holds none is hardly larger than its value, which counts
// where a call is made for each batch of records. Threads: a value, which one thread writes or any
// number read.
template <class T>
class [[nodiscard]] Result {
 public:
  Result(T value) : value(std::move(value)) {}
  Result(Fault fault) : fault(std::make_unique<Fault>(std::move(fault))) {}

  explicit operator bool() const { return value.has_value(); }

  T& operator*() & { return *value; }
  const T& operator*() const& { return *value; }
  T* operator->() { return &*value; }
  const T* operator->() const { return &*value; }
  T Take() && { return std::move(*value); }

  // The fault; an empty one where there is a value.
  Fault Why() const { return fault ? *fault : Fault(); }

 private:
  std::optional<T> value;
  std::unique_ptr<Fault> fault;
};

}  // namespace marrowfin

#endif
