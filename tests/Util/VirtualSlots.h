#ifndef TESTS_UTIL_VIRTUALSLOTS_H
#define TESTS_UTIL_VIRTUALSLOTS_H

#include <cstddef>
#include <cstring>

namespace marrowfin::testing {

// Calls the function in a slot of the virtual table of `object`, as code does that was compiled
// against the order of the class's declarations. `object` is polymorphic from its first byte on.
//
// A slot holds one function in the order of declaration; a destructor takes two slots, of which the
// second releases the memory as well.
template <class Result, class... Arguments>
Result CallSlot(void* object, size_t slot, Arguments... arguments) {
  Result (**table)(void*, Arguments...);
  memcpy(&table, object, sizeof(table));
  return table[slot](object, arguments...);
}

// The distance of a field from the start of its object, in bytes.
inline size_t OffsetOf(const void* object, const void* field) {
  return static_cast<size_t>(static_cast<const char*>(field) - static_cast<const char*>(object));
}

}  // namespace marrowfin::testing

#endif
