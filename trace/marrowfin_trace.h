/* Records traces for the viewer from any simulator: one header of plain C99, also for C++.
 *
 *     struct marrowfin_trace trace;
 *     marrowfin_trace_open(&trace, "run.trace");
 *     marrowfin_trace_fire(&trace, cycle, thread, row, column);
 *     marrowfin_trace_send(&trace, cycle, thread, from_row, from_column, to_row, to_column);
 *     if (marrowfin_trace_close(&trace) != 0) {
 *       fprintf(stderr, "%s\n", marrowfin_trace_message(&trace));
 *     }
 *
 * Rows and columns are positions in the array, counted from 0; row 0 is at the bottom of the
 * picture. Cycles must not fall from one record to the next. The viewer uses up the first record of
 * a trace when it starts, and ends before it shows the last cycle: marrowfin_trace_frame puts
 * records there that draw nothing.
 *
 * Every function that returns an int returns 0, or the errno of the first failure of this trace: it
 * is enough to look at what marrowfin_trace_close returns. After a failure nothing more is written,
 * and the simulator goes on as if nothing were recorded: nothing here ends it, neither a reader of
 * a FIFO that goes away nor a limit on the size of files, whose signals are set aside while
 * something is written. What is buffered is written in whole records, so that a reader at the other
 * end of a FIFO, and whoever opens the trace of a run that was killed, finds whole records but for
 * the last one at most.
 *
 * A trace belongs to one thread at a time. Signals that interrupt a write do it no harm.
 *
 * What a trace cannot say (to which packet an event belongs, how full a buffer is) goes into a
 * companion beside it, "run.trace.notes" and "run.trace.about": see marrowfin_trace_companion.
 */
#ifndef MARROWFIN_TRACE_H
#define MARROWFIN_TRACE_H

#include <errno.h>
#include <signal.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Plain C knows no other casts, and no other copies of bytes.
 * NOLINTBEGIN(cppcoreguidelines-pro-type-cstyle-cast,google-readability-casting)
 * NOLINTBEGIN(bugprone-not-null-terminated-result,modernize-redundant-void-arg) */

/* The viewer looks for the switch of a cluster this many rows and this many columns from the first
 * position of the cluster, whatever the cluster's size. */
#define MARROWFIN_TRACE_SWITCH_OFFSET 4

/* Attributes and counters that a companion has at most. */
#define MARROWFIN_TRACE_ATTRIBUTES 32
#define MARROWFIN_TRACE_COUNTERS 65536

/* What the value of an attribute is. */
enum marrowfin_trace_type {
  MARROWFIN_TRACE_NUMBER = 1, /* unsigned, 64 bits */
  MARROWFIN_TRACE_REAL = 2,   /* double */
  MARROWFIN_TRACE_CYCLE = 3,  /* a cycle, mostly before that of the event */
  MARROWFIN_TRACE_NAME = 4,   /* a number that has a name: see marrowfin_trace_value_name */
  MARROWFIN_TRACE_RECORDS = 5 /* numbers of earlier records, any number of them */
};

/* ------------------------------------------------------------------------------------------------
 * What the functions below share. Nothing of it is for users but `records` and `error`.
 */

/* Parts of the about file: each but the last one is told once. The first four are its plain texts,
 * tables stand behind all that is in none. */
enum marrowfin_trace_part {
  MARROWFIN_TRACE_ABOUT_CYCLE_NS = 4,
  MARROWFIN_TRACE_ABOUT_ARRAY,
  MARROWFIN_TRACE_ABOUT_LINKS,
  MARROWFIN_TRACE_ABOUT_LINK_MESSAGES,
  MARROWFIN_TRACE_ABOUT_SWITCHES,
  MARROWFIN_TRACE_ABOUT_LISTS,
  MARROWFIN_TRACE_PARTS
};

/* Bytes that grow. */
struct marrowfin_trace_bytes {
  unsigned char* data;
  size_t size;
  size_t room;
};

/* The values of an attribute in the block of notes that is being filled, as they will stand in it.
 */
struct marrowfin_trace_column {
  int type;
  struct marrowfin_trace_bytes values;
  struct marrowfin_trace_bytes positions; /* of the records that have them; empty while all do */
  uint32_t size;                          /* how many values */
  uint32_t last_position;
  size_t last_begin; /* byte at which the last value begins */
  uint64_t last;     /* and what it is */
  uint64_t before;   /* and the one before it */
};

/* A block of the notes file, for the table at its end. */
struct marrowfin_trace_block {
  int kind;
  uint64_t offset;
  uint64_t low;  /* first record, or lowest cycle */
  uint64_t high; /* number of records, or highest cycle */
};

/* A sample of a counter. */
struct marrowfin_trace_sample {
  uint64_t cycle;
  uint32_t counter;
  uint32_t row;
  uint32_t column;
  double value;
};

/* A name that is declared, or the name of a value: which and what, as their fingerprints. */
struct marrowfin_trace_named {
  uint64_t key; /* 0 where the place is free */
  uint64_t name;
};

/* A note that a ring keeps. */
struct marrowfin_trace_held {
  uint64_t record;
  uint32_t attribute;
  uint64_t value;
};

struct marrowfin_trace {
  uint64_t records; /* handed over so far, those that a ring has forgotten included */
  int error;        /* errno of the first failure, or 0 */

  char message[512]; /* of the first failure */
  char* name;
  FILE* stream;                        /* of the trace; null while none is open */
  struct marrowfin_trace_bytes buffer; /* whole records that are not written yet */
  size_t limit;                        /* bytes of them at most */
  int is_pipe;
  uint64_t written;    /* bytes that the system took */
  uint64_t appended;   /* records put into the buffer */
  uint64_t last_cycle; /* of the last of them */
  int framed;          /* see marrowfin_trace_frame */
  uint32_t frame_thread;

  /* The companion. */
  FILE* notes; /* null where there is none */
  uint64_t notes_written;
  int declared_attributes;
  int declared_counters;
  struct marrowfin_trace_column columns[MARROWFIN_TRACE_ATTRIBUTES];
  struct marrowfin_trace_bytes declarations; /* that are not written yet */
  uint64_t declared_bytes;                   /* of all of them */
  struct marrowfin_trace_named* named;       /* what is declared: a table by hash, half full */
  size_t named_count;
  size_t named_room;                 /* a power of two */
  struct marrowfin_trace_bytes body; /* of the block that is being made */
  struct marrowfin_trace_bytes part; /* of a column of it */
  uint64_t block_first;
  uint32_t block_records;
  uint64_t block_print;
  size_t block_values; /* in all columns */
  struct marrowfin_trace_sample* samples;
  uint32_t sample_count;
  struct marrowfin_trace_block* blocks;
  size_t block_count;
  size_t block_room;
  uint32_t crc_tables[8][256];
  struct marrowfin_trace_bytes about[MARROWFIN_TRACE_PARTS]; /* see marrowfin_trace_part */
  int about_changed;
  uint64_t first_print; /* of the first records */
  uint32_t first_records;

  /* The ring. What it keeps is found at its number modulo the room. */
  uint64_t ring_room;   /* records, 0 where everything is written at once */
  uint64_t ring_cycles; /* of which it writes those of the last cycles, so many; 0 for all */
  uint64_t ring_first;  /* the oldest record in it */
  uint32_t* ring;       /* slots: type, cycle in halves, thread, places */
  uint64_t held_room;   /* notes, and samples */
  uint64_t held_end;
  uint64_t held_whole; /* the first record that lacks none of its notes */
  struct marrowfin_trace_held* held;
  uint64_t held_samples_end;
  struct marrowfin_trace_sample* held_samples;
  struct marrowfin_trace_sample* settled; /* the last samples of what went, a table by hash */
  size_t settled_count;
  size_t settled_room; /* a power of two */

  /* Those that are dumped at an abort: the list that it is in, and the next one there. */
  struct marrowfin_trace** at_abort;
  struct marrowfin_trace* next_at_abort;
};

enum {
  MARROWFIN_TRACE_BUFFER = 65536,      /* bytes that are written at a time */
  MARROWFIN_TRACE_ATOMIC = 4096,       /* and into a pipe, whose reader then gets them at once */
  MARROWFIN_TRACE_BLOCK = 8192,        /* records or samples of a block of notes */
  MARROWFIN_TRACE_VALUES = 524288,     /* values of a block; twice as many fit into one */
  MARROWFIN_TRACE_WORDS = 8,           /* numbers of 32 bits in a slot of a ring */
  MARROWFIN_TRACE_PRINTED = 64,        /* records by which a companion knows its trace */
  MARROWFIN_TRACE_HELD = 8,            /* notes and samples that a ring keeps, for each record */
  MARROWFIN_TRACE_DECLARED = 16777216, /* bytes of declarations at most */
  MARROWFIN_TRACE_DECLARATIONS = 1,
  MARROWFIN_TRACE_NOTES = 2,
  MARROWFIN_TRACE_SAMPLES = 3,
  MARROWFIN_TRACE_TABLE = 4
};

/* Keeps the first failure, with the file and the place in it. */
static inline int marrowfin_trace_fail(struct marrowfin_trace* trace, const char* suffix,
                                       const char* act, uint64_t offset, int error) {
  if (trace->error == 0) {
    trace->error = error != 0 ? error : EIO;
    snprintf(trace->message, sizeof(trace->message), "%s%s: %s at byte %llu (record %llu): %s",
             trace->name != NULL ? trace->name : "trace", suffix, act, (unsigned long long)offset,
             (unsigned long long)trace->records, strerror(trace->error));
  }
  return trace->error;
}

/* Makes room for `more` bytes; a failure of the trace where there is none. */
static inline int marrowfin_trace_reserve(struct marrowfin_trace* trace,
                                          struct marrowfin_trace_bytes* bytes, size_t more) {
  if (bytes->room - bytes->size < more) {
    const size_t room = 2 * bytes->room + more;
    unsigned char* data = (unsigned char*)realloc(bytes->data, room);
    if (data == NULL) {
      return marrowfin_trace_fail(trace, "", "no memory", trace->written, ENOMEM);
    }
    bytes->data = data;
    bytes->room = room;
  }
  return 0;
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

/* The same, without a loop: records are put together by these. */
static inline unsigned char* marrowfin_trace_put32(unsigned char* bytes, uint32_t value) {
  bytes[0] = (unsigned char)(value >> 24);
  bytes[1] = (unsigned char)(value >> 16);
  bytes[2] = (unsigned char)(value >> 8);
  bytes[3] = (unsigned char)value;
  return bytes + 4;
}

/* Seven bits a byte, the lowest first; at most 10 bytes. Whether there are one or two of them, as
 * mostly, no processor can foresee, so these take the same steps: two are there to be written. */
static inline unsigned char* marrowfin_trace_put_varint(unsigned char* bytes, uint64_t value) {
  if (value < 0x4000) {
    const unsigned more = value >= 0x80;
    bytes[0] = (unsigned char)(value | more << 7);
    bytes[1] = (unsigned char)(value >> 7);
    return bytes + 1 + more;
  }
  while (value >= 0x80) {
    *bytes++ = (unsigned char)(value | 0x80);
    value >>= 7;
  }
  *bytes++ = (unsigned char)value;
  return bytes;
}

static inline uint64_t marrowfin_trace_signed(uint64_t difference) {
  return difference << 1 ^ (uint64_t)(-(int64_t)(difference >> 63));
}

static inline int marrowfin_trace_add_varint(struct marrowfin_trace* trace,
                                             struct marrowfin_trace_bytes* bytes, uint64_t value) {
  if (marrowfin_trace_reserve(trace, bytes, 10) != 0) {
    return trace->error;
  }
  bytes->size =
      (size_t)(marrowfin_trace_put_varint(bytes->data + bytes->size, value) - bytes->data);
  return 0;
}

static inline int marrowfin_trace_add_bytes(struct marrowfin_trace* trace,
                                            struct marrowfin_trace_bytes* bytes, const void* data,
                                            size_t size) {
  if (size == 0) {
    return trace->error;
  }
  if (marrowfin_trace_reserve(trace, bytes, size) != 0) {
    return trace->error;
  }
  memcpy(bytes->data + bytes->size, data, size);
  bytes->size += size;
  return 0;
}

/* How many bytes the character of UTF-8 has with which a text begins that is not empty; 0 where it
 * begins with none. */
static inline size_t marrowfin_trace_character(const char* text) {
  const unsigned char* bytes = (const unsigned char*)text;
  const unsigned char lead = bytes[0];
  const size_t more = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : 1;
  size_t i;
  if (lead < 0x80) {
    return 1;
  }
  if (lead < 0xC2 || lead > 0xF4) {
    return 0;
  }
  for (i = 1; i <= more; ++i) {
    if ((bytes[i] & 0xC0) != 0x80) { /* also the end of the text */
      return 0;
    }
  }
  /* Longer than need be, halves of pairs, and what is above U+10FFFF. */
  if ((lead == 0xE0 && bytes[1] < 0xA0) || (lead == 0xED && bytes[1] >= 0xA0) ||
      (lead == 0xF0 && bytes[1] < 0x90) || (lead == 0xF4 && bytes[1] >= 0x90)) {
    return 0;
  }
  return more + 1;
}

/* Adds a text as UTF-8: U+FFFD, which stands for a character that is missing, for each byte that is
 * part of none. Readers refuse files with others. */
static inline int marrowfin_trace_add_utf8(struct marrowfin_trace* trace,
                                           struct marrowfin_trace_bytes* bytes, const char* text) {
  while (*text != '\0') {
    const size_t size = marrowfin_trace_character(text);
    if (size == 0) {
      marrowfin_trace_add_bytes(trace, bytes, "\xEF\xBF\xBD", 3);
      ++text;
    } else {
      marrowfin_trace_add_bytes(trace, bytes, text, size);
      text += size;
    }
  }
  return trace->error;
}

/* Adds a text as UTF-8, behind its size. */
static inline int marrowfin_trace_add_text(struct marrowfin_trace* trace,
                                           struct marrowfin_trace_bytes* bytes, const char* text) {
  const char* at = text;
  size_t size = 0;
  while (*at != '\0') {
    const size_t character = marrowfin_trace_character(at);
    size += character == 0 ? 3 : character;
    at += character == 0 ? 1 : character;
  }
  marrowfin_trace_add_varint(trace, bytes, size);
  return marrowfin_trace_add_utf8(trace, bytes, text);
}

static inline int marrowfin_trace_add_string(struct marrowfin_trace* trace,
                                             struct marrowfin_trace_bytes* bytes,
                                             const char* text) {
  return marrowfin_trace_add_bytes(trace, bytes, text, strlen(text));
}

/* The same as fwrite of bytes, but for signals that interrupt it: they are the simulator's business
 * and end no recording. Returns how many bytes the system took; errno says why not all. */
static inline size_t marrowfin_trace_write_all(FILE* stream, const unsigned char* data,
                                               size_t size) {
  size_t done = 0;
  while (done < size) {
    errno = 0;
    done += fwrite(data + done, 1, size - done, stream);
    if (done < size) {
      if (errno != EINTR) {
        break;
      }
      clearerr(stream);
    }
  }
  return done;
}

/* Opens a file for writing, however often a signal interrupts the wait for the reader of a FIFO. */
static inline FILE* marrowfin_trace_create(const char* name) {
  FILE* stream;
  do {
    errno = 0;
    stream = fopen(name, "wb");
  } while (stream == NULL && errno == EINTR);
  return stream;
}

/* What writing sets aside for as long as it takes: signals that would end the host instead of being
 * failures. */
struct marrowfin_trace_signals {
  void (*pipe)(int); /* a reader that has gone away */
  void (*size)(int); /* a file that has reached the limit on the size of files */
};

static inline void marrowfin_trace_hold_signals(const struct marrowfin_trace* trace,
                                                struct marrowfin_trace_signals* before) {
  before->pipe = SIG_ERR;
  before->size = SIG_ERR;
#ifdef SIGPIPE
  if (trace->is_pipe) {
    before->pipe = signal(SIGPIPE, SIG_IGN);
  }
#else
  (void)trace;
#endif
#ifdef SIGXFSZ
  before->size = signal(SIGXFSZ, SIG_IGN);
#endif
}

static inline void marrowfin_trace_release_signals(const struct marrowfin_trace_signals* before) {
#ifdef SIGPIPE
  if (before->pipe != SIG_ERR) {
    signal(SIGPIPE, before->pipe);
  }
#endif
#ifdef SIGXFSZ
  if (before->size != SIG_ERR) {
    signal(SIGXFSZ, before->size);
  }
#endif
}

/* Writes without a buffer in between. What the system does not take is a failure, and never the end
 * of the program. */
static inline int marrowfin_trace_write(struct marrowfin_trace* trace, FILE* stream,
                                        const char* suffix, const unsigned char* data, size_t size,
                                        uint64_t* written) {
  struct marrowfin_trace_signals before;
  size_t done;
  marrowfin_trace_hold_signals(trace, &before);
  done = marrowfin_trace_write_all(stream, data, size);
  if (done != size) {
    marrowfin_trace_fail(trace, suffix, "cannot write", *written, errno);
  }
  *written += done;
  marrowfin_trace_release_signals(&before);
  return trace->error;
}

static inline int marrowfin_trace_write_buffer(struct marrowfin_trace* trace);

/* ------------------------------------------------------------------------------------------------
 * The notes file. docs/companion-format.md lays it out.
 */

static inline uint64_t marrowfin_trace_mix(uint64_t print, uint64_t word) {
  print ^= word;
  return (print << 29 | print >> 35) * UINT64_C(0x9E3779B97F4A7C15);
}

#define MARROWFIN_TRACE_NO_PRINT UINT64_C(0xCBF29CE484222325)

/* Eight bytes at a time: table n tells what a byte makes of the sum with n bytes behind it. */
static inline uint32_t marrowfin_trace_crc(const struct marrowfin_trace* trace, uint32_t crc,
                                           const unsigned char* data, size_t size) {
  const uint32_t(*tables)[256] = trace->crc_tables;
  crc = ~crc;
  for (; size >= 8; data += 8, size -= 8) {
    crc ^= (uint32_t)data[0] | (uint32_t)data[1] << 8 | (uint32_t)data[2] << 16 |
           (uint32_t)data[3] << 24;
    crc = tables[7][crc & 0xFF] ^ tables[6][crc >> 8 & 0xFF] ^ tables[5][crc >> 16 & 0xFF] ^
          tables[4][crc >> 24] ^ tables[3][data[4]] ^ tables[2][data[5]] ^ tables[1][data[6]] ^
          tables[0][data[7]];
  }
  for (; size > 0; ++data, --size) {
    crc = tables[0][(crc ^ *data) & 0xFF] ^ crc >> 8;
  }
  return ~crc;
}

static inline void marrowfin_trace_make_crc_tables(struct marrowfin_trace* trace) {
  uint32_t i;
  int bit;
  int behind;
  for (i = 0; i < 256; ++i) {
    uint32_t crc = i;
    for (bit = 0; bit < 8; ++bit) {
      crc = (crc & 1) != 0 ? UINT32_C(0xEDB88320) ^ crc >> 1 : crc >> 1;
    }
    trace->crc_tables[0][i] = crc;
  }
  for (i = 0; i < 256; ++i) {
    for (behind = 1; behind < 8; ++behind) {
      const uint32_t crc = trace->crc_tables[behind - 1][i];
      trace->crc_tables[behind][i] = trace->crc_tables[0][crc & 0xFF] ^ crc >> 8;
    }
  }
}

static inline int marrowfin_trace_write_block(struct marrowfin_trace* trace, int kind,
                                              struct marrowfin_trace_bytes* body) {
  unsigned char head[16];
  uint32_t crc;
  if (trace->error != 0 || trace->notes == NULL) {
    return trace->error;
  }
  memset(head, 0, sizeof(head));
  head[0] = (unsigned char)kind;
  marrowfin_trace_put32(head + 4, (uint32_t)body->size);
  marrowfin_trace_put32(head + 8, (uint32_t)body->size);
  crc = marrowfin_trace_crc(trace, 0, head, 12);
  crc = marrowfin_trace_crc(trace, crc, body->data, body->size);
  marrowfin_trace_put32(head + 12, crc);
  marrowfin_trace_write(trace, trace->notes, ".notes", head, sizeof(head), &trace->notes_written);
  if (trace->error == 0) {
    marrowfin_trace_write(trace, trace->notes, ".notes", body->data, body->size,
                          &trace->notes_written);
  }
  return trace->error;
}

static inline void marrowfin_trace_list_block(struct marrowfin_trace* trace, int kind, uint64_t low,
                                              uint64_t high) {
  struct marrowfin_trace_block* block;
  if (trace->block_count == trace->block_room) {
    const size_t room = 2 * trace->block_room + 64;
    block = (struct marrowfin_trace_block*)realloc(trace->blocks, room * sizeof(*block));
    if (block == NULL) {
      marrowfin_trace_fail(trace, ".notes", "no memory", trace->notes_written, ENOMEM);
      return;
    }
    trace->blocks = block;
    trace->block_room = room;
  }
  block = &trace->blocks[trace->block_count++];
  block->kind = kind;
  block->offset = trace->notes_written;
  block->low = low;
  block->high = high;
}

static inline int marrowfin_trace_write_declarations(struct marrowfin_trace* trace) {
  if (trace->declarations.size > 0) {
    marrowfin_trace_list_block(trace, MARROWFIN_TRACE_DECLARATIONS, 0, 0);
    marrowfin_trace_write_block(trace, MARROWFIN_TRACE_DECLARATIONS, &trace->declarations);
    trace->declarations.size = 0;
  }
  return trace->error;
}

/* Adds the next value of a column. The block has been counted up to its record, whose cycle is the
 * last one. */
static inline int marrowfin_trace_add_value(struct marrowfin_trace* trace,
                                            struct marrowfin_trace_column* column, uint64_t value) {
  struct marrowfin_trace_bytes* bytes = &column->values;
  unsigned char* end;
  if (bytes->room - bytes->size < 10 && marrowfin_trace_reserve(trace, bytes, 10) != 0) {
    return trace->error;
  }
  column->last_begin = bytes->size;
  end = bytes->data + bytes->size;
  switch (column->type) {
    case MARROWFIN_TRACE_REAL:
      end = marrowfin_trace_put(end, value, 8);
      break;
    case MARROWFIN_TRACE_CYCLE:
      end = marrowfin_trace_put_varint(end, marrowfin_trace_signed(trace->last_cycle - value));
      break;
    case MARROWFIN_TRACE_RECORDS:
      end = marrowfin_trace_put_varint(end, trace->block_first + column->last_position - value);
      break;
    default:
      end = marrowfin_trace_put_varint(end, marrowfin_trace_signed(value - column->last));
      column->before = column->last;
      column->last = value;
      break;
  }
  bytes->size = (size_t)(end - bytes->data);
  return 0;
}

/* The positions of a column all of whose records so far had values, as they stand in a block: from
 * now on they do not follow from its size. */
static inline int marrowfin_trace_begin_positions(struct marrowfin_trace* trace,
                                                  struct marrowfin_trace_column* column) {
  struct marrowfin_trace_bytes* bytes = &column->positions;
  if (marrowfin_trace_reserve(trace, bytes, (size_t)column->size + 1) != 0) {
    return trace->error;
  }
  memset(bytes->data, 1, column->size);
  bytes->size = column->size;
  if (column->size > 0) {
    bytes->data[0] = 0;
  }
  return 0;
}

/* Counts a value of the record at a position of the block. */
static inline int marrowfin_trace_add_position(struct marrowfin_trace* trace,
                                               struct marrowfin_trace_column* column,
                                               uint32_t position) {
  const uint32_t before = column->size > 0 ? column->last_position : 0;
  if (column->positions.size == 0 && position != column->size &&
      marrowfin_trace_begin_positions(trace, column) != 0) {
    return trace->error;
  }
  if (column->positions.size > 0 || position != column->size) {
    marrowfin_trace_add_varint(trace, &column->positions, position - before);
  }
  column->last_position = position;
  ++column->size;
  return trace->error;
}

/* Adds a column to the body of a block, and empties it. */
static inline void marrowfin_trace_add_column(struct marrowfin_trace* trace, int attribute) {
  struct marrowfin_trace_column* column = &trace->columns[attribute];
  struct marrowfin_trace_bytes* part = &trace->part;
  const int of_all = column->type != MARROWFIN_TRACE_RECORDS && column->positions.size == 0 &&
                     column->size == trace->block_records;
  part->size = 0;
  marrowfin_trace_add_varint(trace, part, of_all ? 0 : column->size);
  if (!of_all) {
    if (column->positions.size == 0) {
      marrowfin_trace_begin_positions(trace, column);
    }
    marrowfin_trace_add_bytes(trace, part, column->positions.data, column->positions.size);
  }
  marrowfin_trace_add_varint(trace, &trace->body, (uint64_t)attribute);
  marrowfin_trace_add_varint(trace, &trace->body, part->size + column->values.size);
  marrowfin_trace_add_bytes(trace, &trace->body, part->data, part->size);
  marrowfin_trace_add_bytes(trace, &trace->body, column->values.data, column->values.size);
  column->values.size = 0;
  column->positions.size = 0;
  column->size = 0;
  column->last = 0;
}

/* Ends the block of notes that is being filled. The records that it is about are written before, so
 * that notes never tell of records that the trace does not have. */
static inline int marrowfin_trace_write_notes(struct marrowfin_trace* trace) {
  unsigned char print[8];
  int attribute;
  int used = 0;
  if (trace->notes == NULL || trace->error != 0) {
    return trace->error;
  }
  if (marrowfin_trace_write_buffer(trace) != 0 || marrowfin_trace_write_declarations(trace) != 0 ||
      trace->block_records == 0) {
    return trace->error;
  }
  for (attribute = 0; attribute < trace->declared_attributes; ++attribute) {
    used += trace->columns[attribute].size > 0;
  }
  trace->body.size = 0;
  marrowfin_trace_add_varint(trace, &trace->body, trace->block_first);
  marrowfin_trace_add_varint(trace, &trace->body, trace->block_records);
  marrowfin_trace_put(print, trace->block_print, 8);
  marrowfin_trace_add_bytes(trace, &trace->body, print, 8);
  marrowfin_trace_add_varint(trace, &trace->body, (uint64_t)used);
  for (attribute = 0; attribute < trace->declared_attributes; ++attribute) {
    if (trace->columns[attribute].size > 0) {
      marrowfin_trace_add_column(trace, attribute);
    }
  }
  marrowfin_trace_list_block(trace, MARROWFIN_TRACE_NOTES, trace->block_first,
                             trace->block_records);
  marrowfin_trace_write_block(trace, MARROWFIN_TRACE_NOTES, &trace->body);
  trace->block_first += trace->block_records;
  trace->block_records = 0;
  trace->block_values = 0;
  trace->block_print = MARROWFIN_TRACE_NO_PRINT;
  return trace->error;
}

/* A value as it stands in a block of samples: a whole number, or all bits. */
static inline void marrowfin_trace_add_sample_value(struct marrowfin_trace* trace, double value) {
  unsigned char bytes[11];
  unsigned char* end = bytes + 1;
  uint64_t bits;
  const double largest = 9007199254740992.0; /* 2^53 */
  if (value >= -largest && value <= largest && (double)(int64_t)value == value) {
    bytes[0] = 0;
    end = marrowfin_trace_put_varint(end, marrowfin_trace_signed((uint64_t)(int64_t)value));
  } else {
    bytes[0] = 1;
    memcpy(&bits, &value, sizeof(bits));
    end = marrowfin_trace_put(end, bits, 8);
  }
  marrowfin_trace_add_bytes(trace, &trace->body, bytes, (size_t)(end - bytes));
}

static inline int marrowfin_trace_write_samples(struct marrowfin_trace* trace) {
  uint64_t low = UINT64_MAX;
  uint64_t high = 0;
  uint64_t before = 0;
  uint32_t i;
  if (trace->notes == NULL || trace->error != 0 || trace->sample_count == 0 ||
      marrowfin_trace_write_declarations(trace) != 0) {
    return trace->error;
  }
  trace->body.size = 0;
  marrowfin_trace_add_varint(trace, &trace->body, trace->sample_count);
  for (i = 0; i < trace->sample_count; ++i) {
    const uint64_t cycle = trace->samples[i].cycle;
    low = cycle < low ? cycle : low;
    high = cycle > high ? cycle : high;
    marrowfin_trace_add_varint(trace, &trace->body, marrowfin_trace_signed(cycle - before));
    before = cycle;
  }
  for (i = 0; i < trace->sample_count; ++i) {
    marrowfin_trace_add_varint(trace, &trace->body, trace->samples[i].counter);
  }
  for (i = 0, before = 0; i < trace->sample_count; ++i) {
    marrowfin_trace_add_varint(trace, &trace->body,
                               marrowfin_trace_signed(trace->samples[i].column - before));
    before = trace->samples[i].column;
  }
  for (i = 0, before = 0; i < trace->sample_count; ++i) {
    marrowfin_trace_add_varint(trace, &trace->body,
                               marrowfin_trace_signed(trace->samples[i].row - before));
    before = trace->samples[i].row;
  }
  for (i = 0; i < trace->sample_count; ++i) {
    marrowfin_trace_add_sample_value(trace, trace->samples[i].value);
  }
  marrowfin_trace_list_block(trace, MARROWFIN_TRACE_SAMPLES, low, high);
  trace->sample_count = 0;
  return marrowfin_trace_write_block(trace, MARROWFIN_TRACE_SAMPLES, &trace->body);
}

static inline int marrowfin_trace_write_table(struct marrowfin_trace* trace) {
  unsigned char end[16];
  uint64_t offset = 0;
  uint64_t first = 0;
  size_t i;
  if (trace->notes == NULL || trace->error != 0) {
    return trace->error;
  }
  trace->body.size = 0;
  marrowfin_trace_add_varint(trace, &trace->body, trace->block_count);
  for (i = 0; i < trace->block_count; ++i) {
    const struct marrowfin_trace_block* block = &trace->blocks[i];
    const unsigned char kind = (unsigned char)block->kind;
    marrowfin_trace_add_bytes(trace, &trace->body, &kind, 1);
    marrowfin_trace_add_varint(trace, &trace->body, block->offset - offset);
    offset = block->offset;
    if (block->kind == MARROWFIN_TRACE_NOTES) {
      marrowfin_trace_add_varint(trace, &trace->body, block->low - first);
      marrowfin_trace_add_varint(trace, &trace->body, block->high);
      first = block->low;
    } else if (block->kind == MARROWFIN_TRACE_SAMPLES) {
      marrowfin_trace_add_varint(trace, &trace->body, block->low);
      marrowfin_trace_add_varint(trace, &trace->body, block->high - block->low);
    }
  }
  marrowfin_trace_put(end, trace->notes_written, 8);
  memcpy(end + 8, "MFNOTESE", 8);
  marrowfin_trace_add_bytes(trace, &trace->body, end, sizeof(end));
  return marrowfin_trace_write_block(trace, MARROWFIN_TRACE_TABLE, &trace->body);
}

/* ------------------------------------------------------------------------------------------------
 * The about file.
 */

/* A string of TOML. Controls that no such string may hold become spaces. */
static inline void marrowfin_trace_add_quoted(struct marrowfin_trace* trace,
                                              struct marrowfin_trace_bytes* bytes,
                                              const char* text) {
  marrowfin_trace_add_string(trace, bytes, "\"");
  while (*text != '\0') {
    const size_t size = marrowfin_trace_character(text);
    if (size == 0) {
      marrowfin_trace_add_string(trace, bytes, "\xEF\xBF\xBD");
    } else if ((unsigned char)*text < 0x20 || *text == 0x7F) {
      marrowfin_trace_add_string(trace, bytes, " ");
    } else {
      if (*text == '"' || *text == '\\') {
        marrowfin_trace_add_string(trace, bytes, "\\");
      }
      marrowfin_trace_add_bytes(trace, bytes, text, size);
    }
    text += size == 0 ? 1 : size;
  }
  marrowfin_trace_add_string(trace, bytes, "\"");
}

/* A file name of this trace's with something behind it; the caller frees it. */
static inline char* marrowfin_trace_beside(struct marrowfin_trace* trace, const char* suffix) {
  const size_t size = strlen(trace->name) + strlen(suffix) + 1;
  char* name = (char*)malloc(size);
  if (name == NULL) {
    marrowfin_trace_fail(trace, suffix, "no memory", 0, ENOMEM);
    return NULL;
  }
  snprintf(name, size, "%s%s", trace->name, suffix);
  return name;
}

static inline void marrowfin_trace_write_lines(const struct marrowfin_trace_bytes* lines,
                                               FILE* stream) {
  if (lines->size > 0) {
    fwrite(lines->data, 1, lines->size, stream);
  }
}

/* Writes the about file to a temporary, which then takes its name. */
static inline int marrowfin_trace_write_about(struct marrowfin_trace* trace) {
  struct marrowfin_trace_signals before;
  char* name;
  char* temporary;
  FILE* stream;
  int i;
  int failed;
  if (trace->notes == NULL || trace->error != 0 || !trace->about_changed) {
    return trace->error;
  }
  marrowfin_trace_hold_signals(trace, &before);
  name = marrowfin_trace_beside(trace, ".about");
  temporary = marrowfin_trace_beside(trace, ".about.part");
  if (name != NULL && temporary != NULL) {
    errno = 0;
    stream = fopen(temporary, "wb");
    failed = stream == NULL;
    if (stream != NULL) {
      fprintf(stream, "format = 1\n");
      for (i = 0; i < MARROWFIN_TRACE_ABOUT_ARRAY; ++i) {
        marrowfin_trace_write_lines(&trace->about[i], stream);
      }
      fprintf(stream, "\n[trace]\nrecords = %u\nfingerprint = \"%08lx%08lx\"\n",
              (unsigned)trace->first_records, (unsigned long)(trace->first_print >> 32),
              (unsigned long)(trace->first_print & 0xFFFFFFFF));
      for (; i < MARROWFIN_TRACE_PARTS; ++i) {
        if (i == MARROWFIN_TRACE_ABOUT_LINKS && trace->about[i].size + trace->about[i + 1].size) {
          fprintf(stream, "\n[links]\n"); /* a table that two functions tell */
        }
        marrowfin_trace_write_lines(&trace->about[i], stream);
      }
      failed = ferror(stream) != 0;
      failed = fclose(stream) != 0 || failed;
      failed = failed || rename(temporary, name) != 0;
      if (failed) {
        marrowfin_trace_fail(trace, ".about", "cannot write", 0, errno);
        remove(temporary);
      }
    } else {
      marrowfin_trace_fail(trace, ".about.part", "cannot create", 0, errno);
    }
    trace->about_changed = 0;
  }
  free(name);
  free(temporary);
  marrowfin_trace_release_signals(&before);
  return trace->error;
}

/* What is buffered, and then what the companion says of the trace as a whole: it never knows of
 * records that the trace does not have. */
static inline int marrowfin_trace_write_buffer(struct marrowfin_trace* trace) {
  if (trace->error == 0 && trace->buffer.size > 0) {
    marrowfin_trace_write(trace, trace->stream, "", trace->buffer.data, trace->buffer.size,
                          &trace->written);
    trace->buffer.size = 0;
  }
  return marrowfin_trace_write_about(trace);
}

/* ------------------------------------------------------------------------------------------------
 * Records.
 */

static inline uint64_t marrowfin_trace_print(uint64_t print, uint32_t type, uint64_t cycle,
                                             uint32_t thread, const uint32_t* places) {
  print = marrowfin_trace_mix(print, cycle);
  print = marrowfin_trace_mix(print, (uint64_t)type << 32 | thread);
  print = marrowfin_trace_mix(print, (uint64_t)places[0] << 32 | places[1]);
  return type == 4 ? marrowfin_trace_mix(print, (uint64_t)places[2] << 32 | places[3]) : print;
}

/* Makes room in the block of notes for one more record, and counts it. */
static inline int marrowfin_trace_count_record(struct marrowfin_trace* trace, uint32_t type,
                                               uint64_t cycle, uint32_t thread,
                                               const uint32_t* places) {
  if ((trace->block_records == MARROWFIN_TRACE_BLOCK ||
       trace->block_values >= MARROWFIN_TRACE_VALUES) &&
      marrowfin_trace_write_notes(trace) != 0) {
    return trace->error;
  }
  ++trace->block_records;
  trace->block_print = marrowfin_trace_print(trace->block_print, type, cycle, thread, places);
  if (trace->first_records < MARROWFIN_TRACE_PRINTED) {
    ++trace->first_records;
    trace->first_print = marrowfin_trace_print(trace->first_print, type, cycle, thread, places);
    trace->about_changed = 1;
  }
  return trace->error;
}

/* Puts a record behind what is buffered. `places` are two numbers, or four for type 4. */
static inline int marrowfin_trace_append(struct marrowfin_trace* trace, uint32_t type,
                                         uint64_t cycle, uint32_t thread, const uint32_t* places) {
  const int count = type == 4 ? 4 : 2;
  unsigned char* end;
  int i;
  if (trace->buffer.size + 36 > trace->limit && marrowfin_trace_write_buffer(trace) != 0) {
    return trace->error;
  }
  if (trace->notes != NULL &&
      marrowfin_trace_count_record(trace, type, cycle, thread, places) != 0) {
    return trace->error;
  }
  end = trace->buffer.data + trace->buffer.size;
  end = marrowfin_trace_put32(end, type);
  end = marrowfin_trace_put32(end, (uint32_t)(cycle >> 32));
  end = marrowfin_trace_put32(end, (uint32_t)cycle);
  end = marrowfin_trace_put32(end, thread);
  end = marrowfin_trace_put32(end, (uint32_t)(4 * count));
  for (i = 0; i < count; ++i) {
    end = marrowfin_trace_put32(end, places[i]);
  }
  trace->buffer.size = (size_t)(end - trace->buffer.data);
  trace->last_cycle = cycle;
  ++trace->appended;
  return 0;
}

/* The same, behind the first record of the frame where there is one. */
static inline int marrowfin_trace_append_framed(struct marrowfin_trace* trace, uint32_t type,
                                                uint64_t cycle, uint32_t thread,
                                                const uint32_t* places) {
  const uint32_t corner[4] = {0, 0, 0, 0};
  if (trace->framed && trace->appended == 0 &&
      marrowfin_trace_append(trace, 4, cycle, trace->frame_thread, corner) != 0) {
    return trace->error;
  }
  return marrowfin_trace_append(trace, type, cycle, thread, places);
}

/* Keeps a record in the ring, in the place of the oldest one where it is full. */
static inline void marrowfin_trace_keep(struct marrowfin_trace* trace, uint32_t type,
                                        uint64_t cycle, uint32_t thread, const uint32_t* places) {
  uint32_t* slot = trace->ring + trace->records % trace->ring_room * MARROWFIN_TRACE_WORDS;
  slot[0] = type;
  slot[1] = (uint32_t)(cycle >> 32);
  slot[2] = (uint32_t)cycle;
  slot[3] = thread;
  memcpy(slot + 4, places, (type == 4 ? 4 : 2) * sizeof(*places));
  if (trace->records - trace->ring_first == trace->ring_room) {
    ++trace->ring_first;
  }
}

static inline int marrowfin_trace_record(struct marrowfin_trace* trace, uint32_t type,
                                         uint64_t cycle, uint32_t thread, const uint32_t* places) {
  if (trace->stream == NULL || trace->error != 0) {
    return trace->error != 0 ? trace->error : EBADF;
  }
  if (trace->ring_room != 0) {
    marrowfin_trace_keep(trace, type, cycle, thread, places);
    ++trace->records;
    return 0;
  }
  if (marrowfin_trace_append_framed(trace, type, cycle, thread, places) == 0) {
    trace->records = trace->appended;
  }
  return trace->error;
}

/* The processing element at a position fired on behalf of a thread. */
static inline int marrowfin_trace_fire(struct marrowfin_trace* trace, uint64_t cycle,
                                       uint32_t thread, uint32_t row, uint32_t column) {
  const uint32_t places[2] = {column, row};
  return marrowfin_trace_record(trace, 3, cycle, thread, places);
}

/* The switch of the cluster whose first position is (row, column) transmitted. */
static inline int marrowfin_trace_switch(struct marrowfin_trace* trace, uint64_t cycle,
                                         uint32_t thread, uint32_t row, uint32_t column) {
  const uint32_t places[2] = {column + MARROWFIN_TRACE_SWITCH_OFFSET,
                              row + MARROWFIN_TRACE_SWITCH_OFFSET};
  return marrowfin_trace_record(trace, 2, cycle, thread, places);
}

/* A message was sent from one processing element to another. */
static inline int marrowfin_trace_send(struct marrowfin_trace* trace, uint64_t cycle,
                                       uint32_t thread, uint32_t from_row, uint32_t from_column,
                                       uint32_t to_row, uint32_t to_column) {
  const uint32_t places[4] = {from_column, from_row, to_column, to_row};
  return marrowfin_trace_record(trace, 4, cycle, thread, places);
}

/* The number of the last record, by which a note of type RECORDS on a later one names it. There
 * must be one. */
static inline uint64_t marrowfin_trace_last(const struct marrowfin_trace* trace) {
  return trace->records - 1;
}

/* ------------------------------------------------------------------------------------------------
 * Opening and closing.
 */

/* Removes a file beside the trace. */
static inline void marrowfin_trace_remove_beside(struct marrowfin_trace* trace,
                                                 const char* suffix) {
  char* name = marrowfin_trace_beside(trace, suffix);
  if (name != NULL) {
    remove(name);
    free(name);
  }
}

/* Empties or makes the file; the companion of the trace that it held goes with it. `trace` need not
 * be initialised. */
static inline int marrowfin_trace_open(struct marrowfin_trace* trace, const char* name) {
  memset(trace, 0, sizeof(*trace));
  trace->name = (char*)malloc(strlen(name) + 1);
  if (trace->name == NULL) {
    return marrowfin_trace_fail(trace, "", "no memory", 0, ENOMEM);
  }
  memcpy(trace->name, name, strlen(name) + 1);
  trace->stream = marrowfin_trace_create(name);
  if (trace->stream == NULL) {
    return marrowfin_trace_fail(trace, "", "cannot open", 0, errno);
  }
  marrowfin_trace_remove_beside(trace, ".notes");
  marrowfin_trace_remove_beside(trace, ".about");
  /* The records are buffered here, whole. */
  setvbuf(trace->stream, NULL, _IONBF, 0);
  trace->is_pipe = ftell(trace->stream) == -1L;
  trace->limit = trace->is_pipe ? MARROWFIN_TRACE_ATOMIC : MARROWFIN_TRACE_BUFFER;
  return marrowfin_trace_reserve(trace, &trace->buffer, MARROWFIN_TRACE_BUFFER);
}

/* Puts a record before all others and, when the trace is closed, one behind them: messages from the
 * first position of the array to itself, on behalf of `thread`, which draw nothing. The viewer uses
 * up the one and ends at the other, and so shows every record between them. Call it before the
 * first record. */
static inline int marrowfin_trace_frame(struct marrowfin_trace* trace, uint32_t thread) {
  trace->framed = 1;
  trace->frame_thread = thread;
  return trace->error;
}

/* Keeps the last `records` records, and their notes, in memory instead of writing all, until
 * marrowfin_trace_dump or marrowfin_trace_dump_at_abort asks for them: a run of hours leaves what
 * came before the failure that ends it. Of these, a dump writes those of the last `cycles` cycles,
 * or all where it is 0. There is room for MARROWFIN_TRACE_HELD notes a record on average; where
 * there are more, the oldest records have no notes. Counters have at all times the values that they
 * were told to have, however long ago. Takes 32 bytes a record, and with a companion some 500. Call
 * it before the first record. */
static inline int marrowfin_trace_keep_last(struct marrowfin_trace* trace, uint64_t records,
                                            uint64_t cycles) {
  const uint64_t most = SIZE_MAX / sizeof(struct marrowfin_trace_sample) / MARROWFIN_TRACE_HELD;
  if (trace->error != 0 || records == 0) {
    return trace->error != 0 ? trace->error : EINVAL;
  }
  if (records <= most) {
    trace->ring = (uint32_t*)malloc((size_t)records * MARROWFIN_TRACE_WORDS * sizeof(uint32_t));
  }
  if (trace->ring == NULL) {
    return marrowfin_trace_fail(trace, "", "no memory for the ring", 0, ENOMEM);
  }
  trace->ring_room = records;
  trace->ring_cycles = cycles;
  return 0;
}

static inline int marrowfin_trace_dump(struct marrowfin_trace* trace);

/* Hands all that is recorded to the system, in whole records, and with it its notes: the last
 * event takes no more of them. Does not ask for what a ring keeps. */
static inline int marrowfin_trace_flush(struct marrowfin_trace* trace) {
  if (trace->stream == NULL || trace->error != 0) {
    return trace->error != 0 ? trace->error : EBADF;
  }
  marrowfin_trace_write_buffer(trace);
  marrowfin_trace_write_notes(trace);
  return marrowfin_trace_write_samples(trace);
}

/* What went wrong first, with file and place; empty where nothing did. Good until the next opening,
 * also after the closing. */
static inline const char* marrowfin_trace_message(const struct marrowfin_trace* trace) {
  return trace->message;
}

static inline void marrowfin_trace_free(struct marrowfin_trace* trace) {
  int i;
  for (i = 0; i < MARROWFIN_TRACE_ATTRIBUTES; ++i) {
    free(trace->columns[i].values.data);
    free(trace->columns[i].positions.data);
    memset(&trace->columns[i], 0, sizeof(trace->columns[i]));
  }
  for (i = 0; i < MARROWFIN_TRACE_PARTS; ++i) {
    free(trace->about[i].data);
    memset(&trace->about[i], 0, sizeof(trace->about[i]));
  }
  free(trace->buffer.data);
  free(trace->declarations.data);
  free(trace->named);
  free(trace->body.data);
  free(trace->part.data);
  free(trace->samples);
  free(trace->blocks);
  free(trace->ring);
  free(trace->held);
  free(trace->held_samples);
  free(trace->settled);
  free(trace->name);
  trace->buffer.data = NULL;
  trace->declarations.data = NULL;
  trace->named = NULL;
  trace->body.data = NULL;
  trace->part.data = NULL;
  trace->samples = NULL;
  trace->blocks = NULL;
  trace->ring = NULL;
  trace->held = NULL;
  trace->held_samples = NULL;
  trace->settled = NULL;
  trace->name = NULL;
}

static inline void marrowfin_trace_close_stream(struct marrowfin_trace* trace, FILE** stream,
                                                const char* suffix) {
  if (*stream != NULL) {
    errno = 0;
    if (fclose(*stream) != 0) {
      marrowfin_trace_fail(trace, suffix, "cannot close", trace->written, errno);
    }
    *stream = NULL;
  }
}

/* Takes a trace out of the list of those that are dumped at an abort. */
static inline void marrowfin_trace_leave_aborts(struct marrowfin_trace* trace) {
  struct marrowfin_trace** at = trace->at_abort;
  while (at != NULL && *at != NULL && *at != trace) {
    at = &(*at)->next_at_abort;
  }
  if (at != NULL && *at == trace) {
    *at = trace->next_at_abort;
  }
  trace->at_abort = NULL;
}

/* Writes what is buffered and closes the files. What a ring keeps and nobody asked for is
 * forgotten. Closing a trace that is not open does no harm. */
static inline int marrowfin_trace_close(struct marrowfin_trace* trace) {
  const uint32_t corner[4] = {0, 0, 0, 0};
  marrowfin_trace_leave_aborts(trace);
  if (trace->stream == NULL) {
    marrowfin_trace_free(trace);
    return trace->error;
  }
  if (trace->framed && trace->appended > 0 && trace->error == 0) {
    marrowfin_trace_append(trace, 4, trace->last_cycle + 1, trace->frame_thread, corner);
    if (trace->ring_room == 0) {
      trace->records = trace->appended;
    }
  }
  marrowfin_trace_flush(trace);
  marrowfin_trace_write_about(trace);
  marrowfin_trace_write_table(trace);
  marrowfin_trace_close_stream(trace, &trace->stream, "");
  marrowfin_trace_close_stream(trace, &trace->notes, ".notes");
  marrowfin_trace_free(trace);
  return trace->error;
}

/* ------------------------------------------------------------------------------------------------
 * The companion: what a trace cannot say, in files beside it. The trace has the same bytes with and
 * without.
 */

/* Begins a companion: NAME.notes and NAME.about. Call it once, before the first record and before
 * anything that is told below. */
static inline int marrowfin_trace_companion(struct marrowfin_trace* trace) {
  char* name;
  if (trace->stream == NULL || trace->error != 0) {
    return trace->error != 0 ? trace->error : EBADF;
  }
  name = marrowfin_trace_beside(trace, ".notes");
  if (name == NULL) {
    return trace->error;
  }
  trace->notes = marrowfin_trace_create(name);
  free(name);
  if (trace->notes == NULL) {
    return marrowfin_trace_fail(trace, ".notes", "cannot open", 0, errno);
  }
  setvbuf(trace->notes, NULL, _IONBF, 0);
  marrowfin_trace_make_crc_tables(trace);
  trace->block_print = MARROWFIN_TRACE_NO_PRINT;
  trace->first_print = MARROWFIN_TRACE_NO_PRINT;
  trace->about_changed = 1;
  trace->samples =
      (struct marrowfin_trace_sample*)malloc(MARROWFIN_TRACE_BLOCK * sizeof(*trace->samples));
  if (trace->samples == NULL) {
    return marrowfin_trace_fail(trace, ".notes", "no memory", 0, ENOMEM);
  }
  return marrowfin_trace_write(trace, trace->notes, ".notes", (const unsigned char*)"MFNOTES1", 8,
                               &trace->notes_written);
}

/* A part of the about file, empty, for what is told now: readers refuse a text that tells a key
 * twice. */
static inline struct marrowfin_trace_bytes* marrowfin_trace_tell(struct marrowfin_trace* trace,
                                                                 int part) {
  trace->about[part].size = 0;
  trace->about_changed = 1;
  return &trace->about[part];
}

/* Says what the run was: `key` is "name", "command", "date" or "tool"; EINVAL, which is no failure,
 * for any other. Of this and of what else is told once a trace, up to its switches, what is told
 * last holds. */
static inline int marrowfin_trace_about(struct marrowfin_trace* trace, const char* key,
                                        const char* text) {
  static const char* const keys[] = {"name", "command", "date", "tool"};
  struct marrowfin_trace_bytes* bytes;
  int part = 0;
  while (part < MARROWFIN_TRACE_ABOUT_CYCLE_NS && strcmp(key, keys[part]) != 0) {
    ++part;
  }
  if (part == MARROWFIN_TRACE_ABOUT_CYCLE_NS) {
    return trace->error != 0 ? trace->error : EINVAL;
  }
  bytes = marrowfin_trace_tell(trace, part);
  marrowfin_trace_add_string(trace, bytes, key);
  marrowfin_trace_add_string(trace, bytes, " = ");
  marrowfin_trace_add_quoted(trace, bytes, text);
  return marrowfin_trace_add_string(trace, bytes, "\n");
}

static inline int marrowfin_trace_add_real(struct marrowfin_trace* trace,
                                           struct marrowfin_trace_bytes* bytes, const char* key,
                                           double value) {
  char text[64];
  char* comma;
  snprintf(text, sizeof(text), "%s = %.9e\n", key, value);
  comma = strchr(text, ',');
  if (comma != NULL) {
    *comma = '.'; /* as the host's locale has it */
  }
  return marrowfin_trace_add_string(trace, bytes, text);
}

/* The nanoseconds that a cycle takes; EINVAL, which is no failure, for what is no time. */
static inline int marrowfin_trace_cycle_ns(struct marrowfin_trace* trace, double nanoseconds) {
  if (!(nanoseconds > 0) || nanoseconds - nanoseconds != 0) {
    return trace->error != 0 ? trace->error : EINVAL;
  }
  return marrowfin_trace_add_real(
      trace, marrowfin_trace_tell(trace, MARROWFIN_TRACE_ABOUT_CYCLE_NS), "cycle_ns", nanoseconds);
}

/* Says that the run begins now. */
static inline int marrowfin_trace_date(struct marrowfin_trace* trace) {
  char text[32] = "";
  const time_t now = time(NULL);
  const struct tm* utc = gmtime(&now);
  if (utc != NULL) {
    strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%SZ", utc);
  }
  return marrowfin_trace_about(trace, "date", text);
}

/* How the array is built. All counts are at least 1, and there are fewer than 2^31 columns and rows
 * in all: EINVAL, which is no failure, where that is not so. */
struct marrowfin_trace_array {
  uint32_t cluster_columns, cluster_rows; /* of the array, in clusters */
  uint32_t domain_columns, domain_rows;   /* of a cluster, in domains */
  uint32_t pe_columns, pe_rows;           /* of a domain, in processing elements */
  int gaps;                               /* whether pictures set clusters and domains apart */
  int wrap_columns, wrap_rows;            /* whether links join the last to the first */
};

static inline int marrowfin_trace_fits(uint32_t clusters, uint32_t domains, uint32_t pes) {
  const uint64_t most = (uint64_t)1 << 31;
  return clusters > 0 && domains > 0 && pes > 0 && clusters < most &&
         (uint64_t)clusters * domains < most && (uint64_t)clusters * domains * pes < most;
}

static inline int marrowfin_trace_describe_array(struct marrowfin_trace* trace,
                                                 const struct marrowfin_trace_array* array) {
  char text[512];
  if (!marrowfin_trace_fits(array->cluster_columns, array->domain_columns, array->pe_columns) ||
      !marrowfin_trace_fits(array->cluster_rows, array->domain_rows, array->pe_rows)) {
    return trace->error != 0 ? trace->error : EINVAL;
  }
  snprintf(text, sizeof(text),
           "\n[array]\nclusters = { columns = %lu, rows = %lu }\n"
           "domains = { columns = %lu, rows = %lu }\npes = { columns = %lu, rows = %lu }\n"
           "gaps = %s\nwrap = { columns = %s, rows = %s }\n",
           (unsigned long)array->cluster_columns, (unsigned long)array->cluster_rows,
           (unsigned long)array->domain_columns, (unsigned long)array->domain_rows,
           (unsigned long)array->pe_columns, (unsigned long)array->pe_rows,
           array->gaps ? "true" : "false", array->wrap_columns ? "true" : "false",
           array->wrap_rows ? "true" : "false");
  return marrowfin_trace_add_string(trace, marrowfin_trace_tell(trace, MARROWFIN_TRACE_ABOUT_ARRAY),
                                    text);
}

/* What link load is computed with: "xy", "yx", or "" for a routing that nobody computes; bytes that
 * a link takes a cycle; cycles a hop. */
static inline int marrowfin_trace_describe_links(struct marrowfin_trace* trace, const char* routing,
                                                 uint32_t bytes_per_cycle, uint32_t latency) {
  char text[96];
  struct marrowfin_trace_bytes* bytes = marrowfin_trace_tell(trace, MARROWFIN_TRACE_ABOUT_LINKS);
  marrowfin_trace_add_string(trace, bytes, "routing = ");
  marrowfin_trace_add_quoted(trace, bytes, routing);
  snprintf(text, sizeof(text), "\nbytes_per_cycle = %lu.0\nlatency = %lu.0\n",
           (unsigned long)bytes_per_cycle, (unsigned long)latency);
  return marrowfin_trace_add_string(trace, bytes, text);
}

/* Whether loads can be told of what takes so many messages a cycle. */
static inline int marrowfin_trace_is_rate(double messages) {
  return messages >= 1e-6 && messages <= 1e9;
}

/* How many messages a link takes a cycle, which is 1 unless it is told; EINVAL, which is no
 * failure, below 1e-6 and above 1e9. */
static inline int marrowfin_trace_describe_link_messages(struct marrowfin_trace* trace,
                                                         double messages_per_cycle) {
  if (!marrowfin_trace_is_rate(messages_per_cycle)) {
    return trace->error != 0 ? trace->error : EINVAL;
  }
  return marrowfin_trace_add_real(trace,
                                  marrowfin_trace_tell(trace, MARROWFIN_TRACE_ABOUT_LINK_MESSAGES),
                                  "messages_per_cycle", messages_per_cycle);
}

/* What the load of switches is computed with: the ways out of a switch beside its links to other
 * switches, each of which takes as much as a link, or 0 where that is not to be told; messages that
 * a switch passes on a cycle at most, or 0 where only its ways out are a bound; cycles that a
 * message takes through a switch. EINVAL, which is no failure, for a latency that is negative or no
 * number, and for messages below 1e-6 and above 1e9. */
static inline int marrowfin_trace_describe_switches(struct marrowfin_trace* trace, uint32_t ports,
                                                    double messages_per_cycle, double latency) {
  struct marrowfin_trace_bytes* bytes;
  char text[32];
  if (!(latency >= 0) || latency - latency != 0 ||
      (messages_per_cycle != 0 && !marrowfin_trace_is_rate(messages_per_cycle))) {
    return trace->error != 0 ? trace->error : EINVAL;
  }
  bytes = marrowfin_trace_tell(trace, MARROWFIN_TRACE_ABOUT_SWITCHES);
  marrowfin_trace_add_string(trace, bytes, "\n[switches]\n");
  if (ports != 0) {
    snprintf(text, sizeof(text), "ports = %lu\n", (unsigned long)ports);
    marrowfin_trace_add_string(trace, bytes, text);
  }
  if (messages_per_cycle != 0) {
    marrowfin_trace_add_real(trace, bytes, "messages_per_cycle", messages_per_cycle);
  }
  return marrowfin_trace_add_real(trace, bytes, "latency", latency);
}

/* Names a thread; `meaning` says what threads stand for: "virtual channel", "class", ... */
static inline int marrowfin_trace_name_thread(struct marrowfin_trace* trace, uint32_t thread,
                                              const char* name, const char* meaning) {
  char text[64];
  struct marrowfin_trace_bytes* bytes = &trace->about[MARROWFIN_TRACE_ABOUT_LISTS];
  snprintf(text, sizeof(text), "\n[[threads]]\nthread = %lu\nname = ", (unsigned long)thread);
  marrowfin_trace_add_string(trace, bytes, text);
  marrowfin_trace_add_quoted(trace, bytes, name);
  marrowfin_trace_add_string(trace, bytes, "\nmeaning = ");
  marrowfin_trace_add_quoted(trace, bytes, meaning);
  trace->about_changed = 1;
  return marrowfin_trace_add_string(trace, bytes, "\n");
}

/* Names a position of the array. */
static inline int marrowfin_trace_name_place(struct marrowfin_trace* trace, uint32_t row,
                                             uint32_t column, const char* name) {
  char text[96];
  struct marrowfin_trace_bytes* bytes = &trace->about[MARROWFIN_TRACE_ABOUT_LISTS];
  snprintf(text, sizeof(text),
           "\n[[places]]\ncolumn = %lu\nrow = %lu\nname = ", (unsigned long)column,
           (unsigned long)row);
  marrowfin_trace_add_string(trace, bytes, text);
  marrowfin_trace_add_quoted(trace, bytes, name);
  trace->about_changed = 1;
  return marrowfin_trace_add_string(trace, bytes, "\n");
}

/* A number for a kind of name, two numbers of it and a text, as UTF-8 has it; never 0. */
static inline uint64_t marrowfin_trace_name_print(struct marrowfin_trace* trace, uint64_t kind,
                                                  uint64_t owner, uint64_t value,
                                                  const char* text) {
  uint64_t print = MARROWFIN_TRACE_NO_PRINT;
  size_t i;
  trace->part.size = 0;
  marrowfin_trace_add_utf8(trace, &trace->part, text);
  print = marrowfin_trace_mix(print, kind);
  print = marrowfin_trace_mix(print, owner);
  print = marrowfin_trace_mix(print, value);
  for (i = 0; i < trace->part.size; ++i) {
    print = marrowfin_trace_mix(print, trace->part.data[i]);
  }
  print ^= print >> 32;
  return print != 0 ? print : 1;
}

/* The place of a key in the table of names, or the free one where it belongs. */
static inline struct marrowfin_trace_named* marrowfin_trace_find_named(
    struct marrowfin_trace_named* named, size_t room, uint64_t key) {
  size_t at = (size_t)key & (room - 1);
  while (named[at].key != 0 && named[at].key != key) {
    at = (at + 1) & (room - 1);
  }
  return &named[at];
}

/* Keeps the table of names half empty. */
static inline int marrowfin_trace_grow_named(struct marrowfin_trace* trace) {
  const size_t room = trace->named_room == 0 ? 64 : 2 * trace->named_room;
  struct marrowfin_trace_named* named;
  size_t i;
  if (2 * trace->named_count < trace->named_room) {
    return 0;
  }
  named = (struct marrowfin_trace_named*)calloc(room, sizeof(*named));
  if (named == NULL) {
    return marrowfin_trace_fail(trace, ".notes", "no memory", trace->notes_written, ENOMEM);
  }
  for (i = 0; i < trace->named_room; ++i) {
    if (trace->named[i].key != 0) {
      *marrowfin_trace_find_named(named, room, trace->named[i].key) = trace->named[i];
    }
  }
  free(trace->named);
  trace->named = named;
  trace->named_room = room;
  return 0;
}

/* Where a name stands or belongs in the table; null where there is no memory. */
static inline struct marrowfin_trace_named* marrowfin_trace_named(struct marrowfin_trace* trace,
                                                                  uint64_t key) {
  return marrowfin_trace_grow_named(trace) == 0
             ? marrowfin_trace_find_named(trace->named, trace->named_room, key)
             : NULL;
}

/* Ends an entry of declarations, which was put together in `part`, and takes its name. EINVAL,
 * which is no failure, where all declarations together were more than readers take. */
static inline int marrowfin_trace_declare(struct marrowfin_trace* trace,
                                          struct marrowfin_trace_named* named, uint64_t key,
                                          uint64_t name) {
  const uint64_t most = 10; /* bytes of the size of an entry */
  if (trace->error != 0) {
    return trace->error;
  }
  if (trace->declared_bytes + trace->part.size + most > MARROWFIN_TRACE_DECLARED) {
    return EINVAL;
  }
  named->key = key;
  named->name = name;
  ++trace->named_count;
  trace->declared_bytes += trace->part.size + most;
  marrowfin_trace_add_varint(trace, &trace->declarations, trace->part.size);
  return marrowfin_trace_add_bytes(trace, &trace->declarations, trace->part.data, trace->part.size);
}

static inline int marrowfin_trace_refuse(struct marrowfin_trace* trace, const char* why) {
  marrowfin_trace_fail(trace, ".notes", why, trace->notes_written, EINVAL);
  return -1;
}

/* Makes room for the values of an attribute. */
static inline int marrowfin_trace_make_column(struct marrowfin_trace* trace, int attribute,
                                              enum marrowfin_trace_type type) {
  struct marrowfin_trace_column* column = &trace->columns[attribute];
  column->type = type;
  return marrowfin_trace_reserve(trace, &column->values, 2 * MARROWFIN_TRACE_BLOCK);
}

/* Declares an attribute that events may have; returns its number, or -1 after a failure: a name
 * that is empty or taken is one, and so is a 33rd attribute. The unit may be "". Names and units
 * are UTF-8; other bytes are replaced. Names that readers know: "kind" (type NAME), "packet"
 * (NUMBER), "created" (CYCLE), "size" (NUMBER, bytes), "consumes" (RECORDS: the sends that a fire
 * consumed).
 */
static inline int marrowfin_trace_attribute(struct marrowfin_trace* trace, const char* name,
                                            enum marrowfin_trace_type type, const char* unit) {
  const int attribute = trace->declared_attributes;
  struct marrowfin_trace_named* named;
  uint64_t key;
  if (trace->notes == NULL || trace->error != 0) {
    return -1;
  }
  if (attribute == MARROWFIN_TRACE_ATTRIBUTES) {
    return marrowfin_trace_refuse(trace, "too many attributes");
  }
  key = marrowfin_trace_name_print(trace, 1, 0, 0, name);
  named = marrowfin_trace_named(trace, key);
  if (named == NULL) {
    return -1;
  }
  if (*name == '\0' || named->key != 0) {
    return marrowfin_trace_refuse(trace, "an attribute with a name that is empty or taken");
  }
  if (marrowfin_trace_make_column(trace, attribute, type) != 0) {
    return -1;
  }
  trace->part.size = 0;
  marrowfin_trace_add_varint(trace, &trace->part, 1);
  marrowfin_trace_add_varint(trace, &trace->part, (uint64_t)attribute);
  marrowfin_trace_add_varint(trace, &trace->part, (uint64_t)type);
  marrowfin_trace_add_text(trace, &trace->part, name);
  marrowfin_trace_add_text(trace, &trace->part, unit);
  if (marrowfin_trace_declare(trace, named, key, 0) != 0) {
    return marrowfin_trace_refuse(trace, "too many declarations");
  }
  return trace->declared_attributes++;
}

/* Names a value of an attribute of type NAME. EINVAL, which is no failure of the trace, where there
 * is no such attribute, the name is empty, the value has another name already, or the declarations
 * of the companion are 16 MiB. */
static inline int marrowfin_trace_value_name(struct marrowfin_trace* trace, int attribute,
                                             uint64_t value, const char* name) {
  struct marrowfin_trace_named* named;
  uint64_t key;
  uint64_t print;
  if (trace->notes == NULL || trace->error != 0) {
    return trace->error;
  }
  if (attribute < 0 || attribute >= trace->declared_attributes || *name == '\0' ||
      trace->columns[attribute].type != MARROWFIN_TRACE_NAME) {
    return EINVAL;
  }
  key = marrowfin_trace_name_print(trace, 2, (uint64_t)attribute, value, "");
  print = marrowfin_trace_name_print(trace, 0, 0, 0, name);
  named = marrowfin_trace_named(trace, key);
  if (named == NULL || named->key != 0) {
    return named == NULL ? trace->error : named->name == print ? 0 : EINVAL;
  }
  trace->part.size = 0;
  marrowfin_trace_add_varint(trace, &trace->part, 2);
  marrowfin_trace_add_varint(trace, &trace->part, (uint64_t)attribute);
  marrowfin_trace_add_varint(trace, &trace->part, value);
  marrowfin_trace_add_text(trace, &trace->part, name);
  return marrowfin_trace_declare(trace, named, key, print);
}

/* Puts a note on the record that was appended last. */
static inline int marrowfin_trace_put_note(struct marrowfin_trace* trace, uint32_t attribute,
                                           uint64_t value) {
  struct marrowfin_trace_column* column = &trace->columns[attribute];
  const uint32_t position = trace->block_records - 1;
  if (column->type != MARROWFIN_TRACE_RECORDS && column->size > 0 &&
      column->last_position == position) {
    column->values.size = column->last_begin;
    column->last = column->before;
    return marrowfin_trace_add_value(trace, column, value);
  }
  if (trace->block_values == 2 * MARROWFIN_TRACE_VALUES) {
    return EINVAL;
  }
  ++trace->block_values;
  if (marrowfin_trace_add_position(trace, column, position) != 0) {
    return trace->error;
  }
  return marrowfin_trace_add_value(trace, column, value);
}

/* The same for what most notes are: a number or a cycle, of an attribute that all records of the
 * block have. Whether it was one: nothing is done otherwise. */
static inline int marrowfin_trace_put_usual(struct marrowfin_trace* trace,
                                            struct marrowfin_trace_column* column, uint64_t value) {
  struct marrowfin_trace_bytes* bytes = &column->values;
  const int is_cycle = column->type == MARROWFIN_TRACE_CYCLE;
  if (column->size + 1 != trace->block_records || column->positions.size != 0 ||
      bytes->room - bytes->size < 10 || trace->block_values == 2 * MARROWFIN_TRACE_VALUES ||
      column->type == MARROWFIN_TRACE_REAL || column->type == MARROWFIN_TRACE_RECORDS) {
    return 0;
  }
  ++trace->block_values;
  column->last_position = column->size++;
  column->last_begin = bytes->size;
  bytes->size = (size_t)(marrowfin_trace_put_varint(
                             bytes->data + bytes->size,
                             marrowfin_trace_signed(is_cycle ? trace->last_cycle - value
                                                             : value - column->last)) -
                         bytes->data);
  column->before = column->last;
  column->last = value;
  return 1;
}

/* Makes room for what a ring keeps of the companion. */
static inline int marrowfin_trace_make_held(struct marrowfin_trace* trace) {
  const size_t room = (size_t)trace->ring_room * MARROWFIN_TRACE_HELD;
  trace->held = (struct marrowfin_trace_held*)malloc(room * sizeof(*trace->held));
  trace->held_samples = (struct marrowfin_trace_sample*)malloc(room * sizeof(*trace->held_samples));
  trace->held_room = room;
  if (trace->held == NULL || trace->held_samples == NULL) {
    return marrowfin_trace_fail(trace, ".notes", "no memory for the ring", 0, ENOMEM);
  }
  return 0;
}

/* Gives the last event a value of an attribute; a second value of one attribute replaces the first,
 * but for those of type RECORDS, of which an event has any number. EINVAL, which is no failure of
 * the trace, where there is no such attribute or no last event: also right after a flush; and for
 * more than half a million values of one. */
static inline int marrowfin_trace_note(struct marrowfin_trace* trace, int attribute,
                                       uint64_t value) {
  if (trace->notes == NULL || trace->error != 0) {
    return trace->error;
  }
  if (attribute < 0 || attribute >= trace->declared_attributes || trace->records == 0 ||
      (trace->ring_room == 0 && trace->block_records == 0) ||
      (trace->columns[attribute].type == MARROWFIN_TRACE_RECORDS && value >= trace->records - 1)) {
    return EINVAL;
  }
  if (trace->ring_room == 0) {
    return marrowfin_trace_put_usual(trace, &trace->columns[attribute], value)
               ? 0
               : marrowfin_trace_put_note(trace, (uint32_t)attribute, value);
  }
  if (trace->held == NULL && marrowfin_trace_make_held(trace) != 0) {
    return trace->error;
  }
  {
    struct marrowfin_trace_held* held = &trace->held[trace->held_end % trace->held_room];
    if (trace->held_end++ >= trace->held_room) {
      trace->held_whole = held->record + 1;
    }
    held->record = trace->records - 1;
    held->attribute = (uint32_t)attribute;
    held->value = value;
  }
  return 0;
}

/* The same for an attribute of type REAL. */
static inline int marrowfin_trace_note_real(struct marrowfin_trace* trace, int attribute,
                                            double value) {
  uint64_t bits;
  memcpy(&bits, &value, sizeof(bits));
  return marrowfin_trace_note(trace, attribute, bits);
}

/* Declares a counter: something that has a value at places of the array at all times, such as the
 * messages in a queue. Returns its number, or -1 after a failure: a name that is empty or taken is
 * one, and so are more than MARROWFIN_TRACE_COUNTERS. */
static inline int marrowfin_trace_counter(struct marrowfin_trace* trace, const char* name,
                                          const char* unit) {
  struct marrowfin_trace_named* named;
  uint64_t key;
  if (trace->notes == NULL || trace->error != 0) {
    return -1;
  }
  if (trace->declared_counters == MARROWFIN_TRACE_COUNTERS) {
    return marrowfin_trace_refuse(trace, "too many counters");
  }
  key = marrowfin_trace_name_print(trace, 3, 0, 0, name);
  named = marrowfin_trace_named(trace, key);
  if (named == NULL) {
    return -1;
  }
  if (*name == '\0' || named->key != 0) {
    return marrowfin_trace_refuse(trace, "a counter with a name that is empty or taken");
  }
  trace->part.size = 0;
  marrowfin_trace_add_varint(trace, &trace->part, 3);
  marrowfin_trace_add_varint(trace, &trace->part, (uint64_t)trace->declared_counters);
  marrowfin_trace_add_text(trace, &trace->part, name);
  marrowfin_trace_add_text(trace, &trace->part, unit);
  if (marrowfin_trace_declare(trace, named, key, 0) != 0) {
    return marrowfin_trace_refuse(trace, "too many declarations");
  }
  return trace->declared_counters++;
}

static inline int marrowfin_trace_put_sample(struct marrowfin_trace* trace,
                                             const struct marrowfin_trace_sample* sample) {
  if (trace->sample_count == MARROWFIN_TRACE_BLOCK && marrowfin_trace_write_samples(trace) != 0) {
    return trace->error;
  }
  trace->samples[trace->sample_count++] = *sample;
  return 0;
}

/* The place of a counter and a position in the table of settled samples, or the free one where they
 * belong. */
static inline struct marrowfin_trace_sample* marrowfin_trace_find_settled(
    struct marrowfin_trace_sample* settled, size_t room,
    const struct marrowfin_trace_sample* sample) {
  uint64_t print = marrowfin_trace_mix(sample->counter, (uint64_t)sample->row << 32);
  size_t at;
  print = marrowfin_trace_mix(print, sample->column);
  at = (size_t)(print ^ print >> 32) & (room - 1);
  while (settled[at].counter < MARROWFIN_TRACE_COUNTERS &&
         (settled[at].counter != sample->counter || settled[at].row != sample->row ||
          settled[at].column != sample->column)) {
    at = (at + 1) & (room - 1);
  }
  return &settled[at];
}

/* Keeps the table of settled samples half empty. */
static inline int marrowfin_trace_grow_settled(struct marrowfin_trace* trace) {
  const size_t room = trace->settled_room == 0 ? 64 : 2 * trace->settled_room;
  struct marrowfin_trace_sample* settled;
  size_t i;
  if (2 * trace->settled_count < trace->settled_room) {
    return 0;
  }
  settled = (struct marrowfin_trace_sample*)malloc(room * sizeof(*settled));
  if (settled == NULL) {
    return marrowfin_trace_fail(trace, ".notes", "no memory for the ring", 0, ENOMEM);
  }
  for (i = 0; i < room; ++i) {
    settled[i].counter = MARROWFIN_TRACE_COUNTERS; /* free */
  }
  for (i = 0; i < trace->settled_room; ++i) {
    if (trace->settled[i].counter < MARROWFIN_TRACE_COUNTERS) {
      *marrowfin_trace_find_settled(settled, room, &trace->settled[i]) = trace->settled[i];
    }
  }
  free(trace->settled);
  trace->settled = settled;
  trace->settled_room = room;
  return 0;
}

/* Remembers of a sample that leaves the ring what holds until the next one of its counter and
 * place: of what never changes within the ring, nothing else is known. */
static inline int marrowfin_trace_settle(struct marrowfin_trace* trace,
                                         const struct marrowfin_trace_sample* sample) {
  struct marrowfin_trace_sample* place;
  if (marrowfin_trace_grow_settled(trace) != 0) {
    return trace->error;
  }
  place = marrowfin_trace_find_settled(trace->settled, trace->settled_room, sample);
  trace->settled_count += place->counter == MARROWFIN_TRACE_COUNTERS;
  *place = *sample;
  return 0;
}

/* From `cycle` on, `counter` has `value` at a position, until its next sample there. Only changes
 * need to be told. EINVAL where there is no such counter. */
static inline int marrowfin_trace_count(struct marrowfin_trace* trace, uint64_t cycle, uint32_t row,
                                        uint32_t column, int counter, double value) {
  struct marrowfin_trace_sample sample;
  if (trace->notes == NULL || trace->error != 0) {
    return trace->error;
  }
  if (counter < 0 || counter >= trace->declared_counters) {
    return EINVAL;
  }
  sample.cycle = cycle;
  sample.counter = (uint32_t)counter;
  sample.row = row;
  sample.column = column;
  sample.value = value;
  if (trace->ring_room == 0) {
    return marrowfin_trace_put_sample(trace, &sample);
  }
  if (trace->held == NULL && marrowfin_trace_make_held(trace) != 0) {
    return trace->error;
  }
  {
    struct marrowfin_trace_sample* held =
        &trace->held_samples[trace->held_samples_end % trace->held_room];
    if (trace->held_samples_end++ >= trace->held_room) {
      marrowfin_trace_settle(trace, held);
    }
    *held = sample;
  }
  return trace->error;
}

/* ------------------------------------------------------------------------------------------------
 * The ring.
 */

static inline uint64_t marrowfin_trace_slot_cycle(const uint32_t* slot) {
  return (uint64_t)slot[1] << 32 | slot[2];
}

/* The oldest of `end` numbers of which a ring with `room` places still knows. */
static inline uint64_t marrowfin_trace_oldest(uint64_t end, uint64_t room) {
  return end > room ? end - room : 0;
}

/* Puts the notes of record `record` on what was appended last, from note number `note` on; returns
 * the number behind them. Records have other numbers in the file: `shift` is the difference. What
 * an event consumed before `first` is not in the file. A record some of whose notes had to go gets
 * none: a part of what it consumed would read as all of it. */
static inline uint64_t marrowfin_trace_dump_notes(struct marrowfin_trace* trace, uint64_t record,
                                                  uint64_t note, uint64_t first, uint64_t shift) {
  for (; note < trace->held_end; ++note) {
    const struct marrowfin_trace_held* held = &trace->held[note % trace->held_room];
    if (held->record > record) {
      break;
    }
    if (held->record == record && record >= trace->held_whole) {
      if (trace->columns[held->attribute].type != MARROWFIN_TRACE_RECORDS) {
        marrowfin_trace_put_note(trace, held->attribute, held->value);
      } else if (held->value >= first) {
        marrowfin_trace_put_note(trace, held->attribute, held->value + shift);
      }
    }
  }
  return note;
}

/* Writes the samples that the ring keeps from cycle `from` on, behind the last one before of each
 * counter and place. */
static inline void marrowfin_trace_dump_samples(struct marrowfin_trace* trace, uint64_t from) {
  const uint64_t oldest = marrowfin_trace_oldest(trace->held_samples_end, trace->held_room);
  uint64_t sample;
  size_t i;
  for (sample = oldest; sample < trace->held_samples_end && trace->error == 0; ++sample) {
    const struct marrowfin_trace_sample* held = &trace->held_samples[sample % trace->held_room];
    if (held->cycle < from) {
      marrowfin_trace_settle(trace, held);
    }
  }
  for (i = 0; i < trace->settled_room && trace->error == 0; ++i) {
    if (trace->settled[i].counter < MARROWFIN_TRACE_COUNTERS) {
      marrowfin_trace_put_sample(trace, &trace->settled[i]);
      trace->settled[i].counter = MARROWFIN_TRACE_COUNTERS;
    }
  }
  trace->settled_count = 0;
  for (sample = oldest; sample < trace->held_samples_end && trace->error == 0; ++sample) {
    const struct marrowfin_trace_sample* held = &trace->held_samples[sample % trace->held_room];
    if (held->cycle >= from) {
      marrowfin_trace_put_sample(trace, held);
    }
  }
  trace->held_samples_end = 0;
}

/* Writes what the ring keeps, and empties it; records that follow go into it again. For a failed
 * assertion, a deadlock, the end of the run: whatever makes the last records worth having. Where
 * nothing is kept in a ring, it is a flush. */
static inline int marrowfin_trace_dump(struct marrowfin_trace* trace) {
  uint64_t from = 0;
  uint64_t record;
  uint64_t note = marrowfin_trace_oldest(trace->held_end, trace->held_room);
  uint64_t first;
  uint64_t shift = 0;
  if (trace->stream == NULL || trace->error != 0 || trace->ring_room == 0) {
    return marrowfin_trace_flush(trace);
  }
  if (trace->records > trace->ring_first && trace->ring_cycles != 0) {
    const uint64_t last = marrowfin_trace_slot_cycle(
        trace->ring + (trace->records - 1) % trace->ring_room * MARROWFIN_TRACE_WORDS);
    from = last >= trace->ring_cycles ? last - trace->ring_cycles + 1 : 0;
  }
  first = trace->records;
  for (record = trace->ring_first; record < trace->records && trace->error == 0; ++record) {
    const uint32_t* slot = trace->ring + record % trace->ring_room * MARROWFIN_TRACE_WORDS;
    const uint64_t cycle = marrowfin_trace_slot_cycle(slot);
    if (cycle < from) {
      continue;
    }
    if (marrowfin_trace_append_framed(trace, slot[0], cycle, slot[3], slot + 4) == 0 &&
        trace->notes != NULL && trace->held != NULL) {
      if (first == trace->records) {
        first = record;
        shift = trace->appended - 1 - record;
      }
      note = marrowfin_trace_dump_notes(trace, record, note, first, shift);
    }
  }
  marrowfin_trace_dump_samples(trace, from);
  trace->ring_first = trace->records;
  trace->held_end = 0;
  return marrowfin_trace_flush(trace);
}

/* The first of the traces that are dumped at an abort, and what was to happen there before. */
struct marrowfin_trace_aborts {
  struct marrowfin_trace* first;
  void (*before)(int);
};

static inline struct marrowfin_trace_aborts* marrowfin_trace_aborts(void) {
  static struct marrowfin_trace_aborts aborts = {NULL, SIG_DFL};
  return &aborts;
}

static inline void marrowfin_trace_aborted(int number) {
  struct marrowfin_trace_aborts* const aborts = marrowfin_trace_aborts();
  signal(number, aborts->before); /* also of an abort in here */
  while (aborts->first != NULL) {
    struct marrowfin_trace* const trace = aborts->first;
    marrowfin_trace_leave_aborts(trace);
    marrowfin_trace_dump(trace);
    marrowfin_trace_close(trace);
  }
  raise(number);
}

/* Has an abort, by which failed assertions end a program, dump what the ring keeps and close the
 * trace before anything else happens: the last cycles before the assertion, wherever that stands.
 * For simulators of one thread. Whoever handles SIGABRT by signal() calls that before, and is
 * called behind it. Until the trace is closed. */
static inline int marrowfin_trace_dump_at_abort(struct marrowfin_trace* trace) {
  struct marrowfin_trace_aborts* const aborts = marrowfin_trace_aborts();
  void (*before)(int);
  if (trace->stream == NULL || trace->error != 0 || trace->at_abort != NULL) {
    return trace->stream == NULL && trace->error == 0 ? EBADF : trace->error;
  }
  before = signal(SIGABRT, marrowfin_trace_aborted);
  if (before == SIG_ERR) {
    return marrowfin_trace_fail(trace, "", "no signal of an abort", trace->written, errno);
  }
  if (before != marrowfin_trace_aborted) {
    aborts->before = before;
  }
  trace->at_abort = &aborts->first;
  trace->next_at_abort = aborts->first;
  aborts->first = trace;
  return 0;
}

/* NOLINTEND(bugprone-not-null-terminated-result,modernize-redundant-void-arg)
 * NOLINTEND(cppcoreguidelines-pro-type-cstyle-cast,google-readability-casting) */

#ifdef __cplusplus
}
#endif

#endif
