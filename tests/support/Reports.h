#ifndef TESTS_SUPPORT_REPORTS_H
#define TESTS_SUPPORT_REPORTS_H

#include <gmock/gmock.h>

#include <string>

namespace marrowfin::testing {

// Matchers for the whole standard error of a program that ended through a check or a crash. `file`
// is the path that must be reported, such as "Core/VisTool.cpp". The reported line is looked up in
// that source: the check or the crash must stand there.

// "FILE:LINE: failed assertion `EXPRESSION'" and a line feed.
::testing::Matcher<const std::string&> AssertionReport(const std::string& file,
                                                       const std::string& expression);

// "CRASH[FILE:LINE]:  " and `message`, whose final line feed is to be given.
::testing::Matcher<const std::string&> CrashReport(const std::string& file,
                                                   const std::string& message);

}  // namespace marrowfin::testing

#endif
