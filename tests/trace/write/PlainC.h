#ifndef TESTS_TRACE_WRITE_PLAINC_H
#define TESTS_TRACE_WRITE_PLAINC_H

#ifdef __cplusplus
extern "C" {
#endif

/* Writes a few records of every kind; compiled as C99. Returns 0, or the errno of a failure. */
int WriteInPlainC(const char* name);

#ifdef __cplusplus
}
#endif

#endif
