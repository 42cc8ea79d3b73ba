#ifndef UTIL_INITORDER_H
#define UTIL_INITORDER_H

// When the library's static objects are made, within each program or shared library that they are
// linked into: before those of the user, whose constructors may print, fail the run and register
// callbacks. Without an order of its own a static library's objects come after all objects that
// stand before it on the linker's command line. Within one source the order is that of the source.
//
// 101 is the first place that is not the implementation's own.
#define INIT_OUTPUT 101      // standard streams, the Files of SimOutput, the lists of the verdict
#define INIT_STATISTICS 102  // what stands on them

#endif
