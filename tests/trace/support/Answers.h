#ifndef TESTS_TRACE_SUPPORT_ANSWERS_H
#define TESTS_TRACE_SUPPORT_ANSWERS_H

#include <cstdint>
#include <string>

#include "trace/base/ArrayShape.h"
#include "trace/index/Index.h"
#include "trace/read/TraceSource.h"

namespace marrowfin::testing {

// What a trace and its index answer to questions of every kind, chosen by `seed`, as lines of text:
// two indexes of the same trace must give the same text. A fault is a line like any other answer.
// `questions` is how many of each kind are asked.
std::string Answers(const TraceSource& trace, const Index& index, const ArrayShape& shape,
                    uint32_t seed, int questions = 6);

// The answers of an index that is built anew, in a folder of its own.
std::string FreshAnswers(const TraceSource& trace, const ArrayShape& shape, uint32_t seed,
                         int questions = 6);

}  // namespace marrowfin::testing

#endif
