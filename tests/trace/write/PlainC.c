#include "tests/trace/write/PlainC.h"

#include "trace/marrowfin_trace.h"

int WriteInPlainC(const char* name) {
  struct marrowfin_trace trace;
  if (marrowfin_trace_open(&trace, name) != 0) {
    return trace.error;
  }
  marrowfin_trace_fire(&trace, 0, 0, 0, 0);
  marrowfin_trace_fire(&trace, 5, 1, 2, 7);
  marrowfin_trace_switch(&trace, 0x0102030405060708, 0xFFFFFFFF, 8, 16);
  marrowfin_trace_send(&trace, 0xFFFFFFFFFFFFFFFF, 0x01020304, 1, 2, 0xFFFFFFFF, 0x80000000);
  return marrowfin_trace_close(&trace);
}
