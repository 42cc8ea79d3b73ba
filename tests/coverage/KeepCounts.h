#ifndef TESTS_COVERAGE_KEEPCOUNTS_H
#define TESTS_COVERAGE_KEEPCOUNTS_H

// Writes what was counted since the last time.
void WriteCounts();

#endif
