#ifndef UTIL_TYPES_H
#define UTIL_TYPES_H

typedef unsigned int uint32;

// A cycle number of the simulation, counted from 0.
typedef unsigned long long Cycle;

static_assert(sizeof(uint32) == 4, "records and options store 32-bit words");
static_assert(sizeof(Cycle) == 8, "records store 64-bit cycles");

#endif
