/* Writes traces for the viewer from any simulator: one header of plain C99, also for C++.
 *
 *     struct marrowfin_trace trace;
 *     if (marrowfin_trace_open(&trace, "run.trace") != 0) { ... }
 *     marrowfin_trace_fire(&trace, cycle, thread, row, column);
 *     if (marrowfin_trace_close(&trace) != 0) { ... }
 *
 * Rows and columns are positions in the array, counted from 0. Cycles must not fall from one record
 * to the next. The viewer uses up the first record of a trace when it starts.
 *
 * Every function returns 0, or the errno of the first failure of this trace: it is enough to look
 * at what marrowfin_trace_close returns. After a failure nothing more is written. Records are
 * buffered, so what lies in the file is complete only once it is closed. Not for use by several
 * threads.
 */
#ifndef MARROWFIN_TRACE_H
#define MARROWFIN_TRACE_H

#include <errno.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The viewer looks for the switch of a cluster this many rows and this many columns from the first
 * position of the cluster, whatever the cluster's size. */
#define MARROWFIN_TRACE_SWITCH_OFFSET 4

/* A trace that is written. `records` may be read, the rest is the functions' own. */
struct marrowfin_trace {
  FILE* stream;     /* null while no file is open */
  int error;        /* errno of the first failure, or 0 */
  uint64_t records; /* handed over so far */
};

/* Empties or makes the file. `trace` need not be initialised. */
static inline int marrowfin_trace_open(struct marrowfin_trace* trace, const char* name) {
  trace->records = 0;
  trace->error = 0;
  trace->stream = fopen(name, "wb");
  if (trace->stream == NULL) {
    trace->error = errno;
  }
  return trace->error;
}

/* Puts the lowest 8 * size bits of `value` at `bytes`, the highest byte first; returns what follows
 * them. */
static inline unsigned char* marrowfin_trace_put(unsigned char* bytes, uint64_t value, int size) {
  int i;
  for (i = size - 1; i >= 0; --i) {
    *bytes++ = (unsigned char)(value >> (8 * i));
  }
  return bytes;
}

/* Writes a record with a payload of `count` words, at most 4. */
static inline int marrowfin_trace_record(struct marrowfin_trace* trace, uint32_t type,
                                         uint64_t cycle, uint32_t thread, const uint32_t* words,
                                         int count) {
  unsigned char record[36];
  unsigned char* end = record;
  int i;
  if (trace->stream == NULL || trace->error != 0) {
    return trace->error != 0 ? trace->error : EBADF;
  }
  end = marrowfin_trace_put(end, type, 4);
  end = marrowfin_trace_put(end, cycle, 8);
  end = marrowfin_trace_put(end, thread, 4);
  end = marrowfin_trace_put(end, (uint64_t)(4 * count), 4);
  for (i = 0; i < count; ++i) {
    end = marrowfin_trace_put(end, words[i], 4);
  }
  if (fwrite(record, (size_t)(end - record), 1, trace->stream) != 1) {
    trace->error = errno;
    return trace->error;
  }
  ++trace->records;
  return 0;
}

/* The processing element at a position fired on behalf of a thread. */
static inline int marrowfin_trace_fire(struct marrowfin_trace* trace, uint64_t cycle,
                                       uint32_t thread, uint32_t row, uint32_t column) {
  uint32_t words[2];
  words[0] = column;
  words[1] = row;
  return marrowfin_trace_record(trace, 3, cycle, thread, words, 2);
}

/* The switch of the cluster whose first position is (row, column) transmitted. */
static inline int marrowfin_trace_switch(struct marrowfin_trace* trace, uint64_t cycle,
                                         uint32_t thread, uint32_t row, uint32_t column) {
  uint32_t words[2];
  words[0] = column + MARROWFIN_TRACE_SWITCH_OFFSET;
  words[1] = row + MARROWFIN_TRACE_SWITCH_OFFSET;
  return marrowfin_trace_record(trace, 2, cycle, thread, words, 2);
}

/* A message was sent from one processing element to another. */
static inline int marrowfin_trace_send(struct marrowfin_trace* trace, uint64_t cycle,
                                       uint32_t thread, uint32_t from_row, uint32_t from_column,
                                       uint32_t to_row, uint32_t to_column) {
  uint32_t words[4];
  words[0] = from_column;
  words[1] = from_row;
  words[2] = to_column;
  words[3] = to_row;
  return marrowfin_trace_record(trace, 4, cycle, thread, words, 4);
}

/* Writes what is buffered and closes the file. Closing a trace that is not open does no harm. */
static inline int marrowfin_trace_close(struct marrowfin_trace* trace) {
  if (trace->stream != NULL && fclose(trace->stream) != 0 && trace->error == 0) {
    trace->error = errno;
  }
  trace->stream = NULL;
  return trace->error;
}

#ifdef __cplusplus
}
#endif

#endif
