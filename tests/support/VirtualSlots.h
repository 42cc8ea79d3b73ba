#ifndef TESTS_SUPPORT_VIRTUALSLOTS_H
#define TESTS_SUPPORT_VIRTUALSLOTS_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <type_traits>

namespace marrowfin::testing {

// The slot of a virtual operation in the table of the class (or of the base) that the pointer's
// type names, as the Itanium C++ ABI on x86-64 encodes it: one more than the byte offset in the
// table. Throws std::invalid_argument for an operation that is not virtual.
template <class Operation>
size_t VirtualSlot(Operation operation) {
  static_assert(std::is_member_function_pointer_v<Operation>);
  uintptr_t word;
  memcpy(&word, &operation, sizeof(word));
  // Odd, and far below any address of code.
  if (word % 2 == 0 || word > 4096) {
    throw std::invalid_argument("not a virtual operation");
  }
  return (word - 1) / sizeof(void*);
}

// Calls what stands in a slot of the object's first table, as an operation without arguments: this
// is how a test finds the destructor, of which there is no pointer. A destructor takes two slots;
// the first one destroys the object and leaves its storage alone.
inline void CallVirtualSlot(void* object, size_t slot) {
  using Operation = void (*)(void*);
  Operation* table;
  memcpy(&table, object, sizeof(table));
  table[slot](object);
}

}  // namespace marrowfin::testing

#endif
