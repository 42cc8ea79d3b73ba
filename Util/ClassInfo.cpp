#include "Util/ClassInfo.h"

ClassInfo::ClassInfo() : type(0), myClass(0) {}

unsigned long long ClassInfo::ClassBit(unsigned code) const { return 1ULL << code; }

void ClassInfo::JoinClass(unsigned code) {
  type |= ClassBit(code);
  myClass = code;
}

bool ClassInfo::IsA(unsigned code) const { return (type & ClassBit(code)) != 0; }

uint32 ClassInfo::Class() const { return myClass; }
