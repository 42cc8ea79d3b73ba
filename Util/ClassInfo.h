#ifndef UTIL_CLASSINFO_H
#define UTIL_CLASSINFO_H

#include "Util/Types.h"

// A run-time class tag: the set of classes that an object is, and the most derived of them.
//
// Every class of a hierarchy has a fixed small code (0 to 63) and joins it in its constructor,
// after its base has joined its own; the code of an event is also the type of its record in a
// trace. The order of the fields is fixed.
class ClassInfo {
 public:
  ClassInfo();

  // The mask with only bit `code` set. `code` is at most 63.
  unsigned long long ClassBit(unsigned code) const;

  // Adds `code` to the classes that the object is, and makes it the most derived one.
  void JoinClass(unsigned code);

  // Whether the object is of class `code` or derived from it.
  bool IsA(unsigned code) const;

  // The code of the most derived class.
  uint32 Class() const;

  unsigned long long type;  // one bit for every class that the object is
  uint32 myClass;           // code of the most derived class
};

#endif
