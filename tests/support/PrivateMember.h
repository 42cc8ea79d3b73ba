#ifndef TESTS_SUPPORT_PRIVATEMEMBER_H
#define TESTS_SUPPORT_PRIVATEMEMBER_H

namespace marrowfin::testing {

// Proves that a member exists that nobody else may name: access is not checked where a template is
// instantiated by name. A test that only asks whether a member can be called is as happy when there
// is none.
//
//   template struct PrivateMember<&StatsPrinter::Output_help>;
template <auto MEMBER>
struct PrivateMember {};

}  // namespace marrowfin::testing

#endif
