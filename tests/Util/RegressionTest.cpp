#include "Util/Regression.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <csetjmp>
#include <csignal>
#include <cstdio>
#include <new>
#include <type_traits>

#include "Util/Assert.h"
#include "Util/File.h"
#include "Util/SimOutput.h"
#include "tests/Util/Fixtures.h"
#include "tests/Util/SystemCalls.h"
#include "tests/Util/VirtualSlots.h"

namespace marrowfin::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::Eq;
using ::testing::ExitedWithCode;
using ::testing::IsEmpty;

const Regression::State stateAtStart = Regression::success;
const size_t callbacksAtStart = Regression::crashCalls.size();
const std::string reasonAtStart = Regression::reason;

// Writes its name to standard error.
class Named final : public StatelessCallback {
 public:
  explicit Named(const char* name) : name(name) {}
  void operator()() override { fprintf(stderr, "%s\n", name); }

 private:
  const char* name;
};

// Does anything.
class Doing final : public StatelessCallback {
 public:
  explicit Doing(void (*action)()) : action(action) {}
  void operator()() override { action(); }

 private:
  void (*action)();
};

// Starts every test from a fresh verdict and puts back what there was.
class RegressionTest : public ::testing::Test {
 protected:
  RegressionTest()
      : success(Regression::success),
        reason(Regression::reason),
        crashCalls(Regression::crashCalls) {
    Regression::success = Regression::UNKNOWN;
    Regression::reason.clear();
    Regression::crashCalls.clear();
  }

  ~RegressionTest() override {
    Regression::success = success;
    Regression::reason = reason;
    Regression::crashCalls = crashCalls;
  }

  static std::string Verdict() {
    const Redirected out(SimOutput::out);
    Regression::PrintSuccess();
    return out.Text();
  }

  Named first{"first"};
  Named second{"second"};
  Named third{"third"};

 private:
  Regression::State success;
  std::string reason;
  std::vector<StatelessCallback*> crashCalls;
};

// ---- Data

TEST(RegressionDataTest, StatesAreFailureThenSuccessThenUnknown) {
  EXPECT_EQ(0, Regression::FAILURE);
  EXPECT_EQ(1, Regression::SUCCESS);
  EXPECT_EQ(2, Regression::UNKNOWN);
  static_assert(std::is_same_v<std::underlying_type_t<Regression::State>, int>);
  static_assert(sizeof(Regression::success) == 4);
}

TEST(RegressionDataTest, VerdictStartsUnknownWithoutReasonsAndCallbacks) {
  EXPECT_EQ(Regression::UNKNOWN, stateAtStart);
  EXPECT_EQ(0u, callbacksAtStart);
  EXPECT_EQ("", reasonAtStart);
}

TEST(RegressionDataTest, CallOfACallbackIsItsOnlyVirtualOperation) {
  static_assert(std::is_abstract_v<StatelessCallback>);
  static_assert(!std::has_virtual_destructor_v<StatelessCallback>);
  static_assert(std::is_copy_constructible_v<Named> && std::is_copy_assignable_v<Named>);
  static bool called = false;
  called = false;
  Doing callback([] { called = true; });
  StatelessCallback* base = &callback;
  CallSlot<void>(base, 0);
  EXPECT_TRUE(called);
  EXPECT_EQ(sizeof(void*), sizeof(StatelessCallback));
}

// ---- Verdict

TEST_F(RegressionTest, InitializeTakesTheThreeSignalsOverInOrderWithEmptyMaskAndNoFlags) {
  EXPECT_EXIT(
      {
        SystemCalls calls;
        Regression::Initialize();
        for (const std::string& call : calls.Made()) {
          fprintf(stderr, "%s\n", call.c_str());
        }
        exit(0);
      },
      ExitedWithCode(0), Eq([] {
        const void* handler = reinterpret_cast<void*>(PrintRegressionStateAndExit);
        return SystemCalls::Call("sigaction", SIGABRT, handler, 0, 0) + "\n" +
               SystemCalls::Call("sigaction", SIGINT, handler, 0, 0) + "\n" +
               SystemCalls::Call("sigaction", SIGSEGV, handler, 0, 0) + "\n";
      }()));
}

// Initialize without its lasting effect on this process.
void InitializeVerdict() {
  SystemCalls calls;
  calls.Fail("sigaction", {EPERM, EPERM, EPERM});
  Regression::Initialize();
}

TEST_F(RegressionTest, InitializeMakesEveryStateASuccess) {
  for (const Regression::State state :
       {Regression::FAILURE, Regression::SUCCESS, Regression::UNKNOWN}) {
    Regression::success = state;
    Regression::reason = "old\n";
    InitializeVerdict();
    EXPECT_EQ(Regression::SUCCESS, Regression::success);
    EXPECT_EQ("old\n", Regression::reason);
  }
}

TEST_F(RegressionTest, RunThatWasInitializedAndNeverFailedPasses) {
  InitializeVerdict();
  EXPECT_EQ("Regression PASSED\n", Verdict());
}

TEST_F(RegressionTest, SucceedTurnsOnlyTheUnknownIntoSuccess) {
  Regression::Succeed();
  EXPECT_EQ(Regression::SUCCESS, Regression::success);
  Regression::Succeed();
  EXPECT_EQ(Regression::SUCCESS, Regression::success);
  Regression::success = Regression::FAILURE;
  Regression::Succeed();
  EXPECT_EQ(Regression::FAILURE, Regression::success);
}

TEST_F(RegressionTest, FailMarksEveryStateFailed) {
  for (const Regression::State state :
       {Regression::FAILURE, Regression::SUCCESS, Regression::UNKNOWN}) {
    Regression::success = state;
    Regression::Fail("reason");
    EXPECT_EQ(Regression::FAILURE, Regression::success);
  }
}

TEST_F(RegressionTest, FailKeepsAStateThatIsNoneOfTheThree) {
  Regression::success = static_cast<Regression::State>(3);
  Regression::Fail("reason");
  EXPECT_EQ(3, Regression::success);
}

TEST_F(RegressionTest, FailWithoutAReasonFailsTheRunAndAddsNone) {
  Regression::Fail(nullptr);
  EXPECT_EQ(Regression::FAILURE, Regression::success);
  EXPECT_EQ("", Regression::reason);
  EXPECT_EQ("Regression FAILED: \n", Verdict());
}

TEST_F(RegressionTest, FailWithAnEmptyReasonFailsTheRunAndAddsNone) {
  const char* empty = "";
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  Regression::Fail(empty);
#pragma GCC diagnostic pop
  EXPECT_EQ(Regression::FAILURE, Regression::success);
  EXPECT_EQ("", Regression::reason);
}

TEST_F(RegressionTest, FailingTwiceKeepsBothReasonsEachWithALineFeed) {
  Regression::Fail("x=%d", 3);
  Regression::Fail("x=%d", 3);
  EXPECT_EQ("x=3\nx=3\n", Regression::reason);
  EXPECT_EQ("Regression FAILED: x=3\nx=3\n\n", Verdict());
}

TEST_F(RegressionTest, ReasonWhoseTextIsEmptyStillGetsItsLineFeed) {
  Regression::Fail("%s", "");
  EXPECT_EQ("\n", Regression::reason);
}

TEST_F(RegressionTest, ReasonOf999CharactersIsWholeAndALongerOneCut) {
  const std::string longest(999, 'x');
  Regression::Fail("%s", longest.c_str());
  EXPECT_EQ(longest + "\n", Regression::reason);
  Regression::reason.clear();
  Regression::Fail("%sy", longest.c_str());
  EXPECT_EQ(longest + "\n", Regression::reason);
}

TEST_F(RegressionTest, VerdictIsPrintedToOrdinaryOutput) {
  const Redirected err(SimOutput::err);
  EXPECT_EQ("Regression UNKNOWN\n", Verdict());
  Regression::Succeed();
  EXPECT_EQ("Regression PASSED\n", Verdict());
  Regression::Fail("100%% %s", "sure");
  EXPECT_EQ("Regression FAILED: 100% sure\n\n", Verdict());
  EXPECT_EQ("", err.Text());
}

TEST_F(RegressionTest, PercentSignsOfAReasonAreNoDirectivesOfTheVerdict) {
  Regression::Fail("%s", "%d%n");
  EXPECT_EQ("Regression FAILED: %d%n\n\n", Verdict());
}

TEST_F(RegressionTest, StateThatIsNoneOfTheThreePrintsNothing) {
  for (const int state : {-1, 3}) {
    Regression::success = static_cast<Regression::State>(state);
    EXPECT_EQ("", Verdict());
  }
}

// ---- Callbacks

TEST_F(RegressionTest, CallbacksAreKeptInOrderOfRegistrationWithDuplicates) {
  Regression::AddCrashCallback(&second);
  Regression::AddCrashCallback(&first);
  Regression::AddCrashCallback(&second);
  EXPECT_THAT(Regression::crashCalls, ElementsAre(&second, &first, &second));
}

TEST_F(RegressionTest, CancelRemovesTheCallback) {
  Regression::crashCalls = {&first, &second, &third};
  Regression::CancelCrashCallback(&second);
  EXPECT_THAT(Regression::crashCalls, ElementsAre(&first, &third));
  Regression::CancelCrashCallback(&first);
  Regression::CancelCrashCallback(&third);
  EXPECT_THAT(Regression::crashCalls, IsEmpty());
}

TEST_F(RegressionTest, CancelOfACallbackThatWasNeverAddedChangesNothing) {
  Regression::CancelCrashCallback(&third);
  EXPECT_THAT(Regression::crashCalls, IsEmpty());
  Regression::crashCalls = {&first, &second};
  Regression::CancelCrashCallback(&third);
  EXPECT_THAT(Regression::crashCalls, ElementsAre(&first, &second));
}

TEST_F(RegressionTest, CancelDoesNotCorrectLaterPositionsAfterARemoval) {
  Named cb{"cb"};
  Regression::crashCalls = {&first, &cb, &cb, &second};
  Regression::CancelCrashCallback(&cb);
  EXPECT_THAT(Regression::crashCalls, ElementsAre(&first, &cb));

  Regression::crashCalls = {&cb, &first, &cb, &second, &third};
  Regression::CancelCrashCallback(&cb);
  EXPECT_THAT(Regression::crashCalls, ElementsAre(&first, &cb, &third));
}

TEST_F(RegressionTest, CancelErasesNothingPastTheEnd) {
  Named cb{"cb"};
  Regression::crashCalls = {&cb, &cb};
  Regression::CancelCrashCallback(&cb);
  EXPECT_THAT(Regression::crashCalls, ElementsAre(&cb));

  Regression::crashCalls = {&first, &cb, &cb};
  Regression::CancelCrashCallback(&cb);
  EXPECT_THAT(Regression::crashCalls, ElementsAre(&first, &cb));

  Regression::crashCalls = {&cb, &cb, &cb, &cb};
  Regression::CancelCrashCallback(&cb);
  EXPECT_THAT(Regression::crashCalls, ElementsAre(&cb, &cb));
}

// ---- Fatal signals

// The texts of these tests are in the order of time: standard output is joined with standard error,
// and written when the process exits.
class CrashTest : public RegressionTest {
 protected:
  // In the process that is to end. Sanitizers handle faults that other programs leave to the
  // system.
  static void Start() {
    JoinOutputWithError();
    for (const int fault : {SIGBUS, SIGFPE, SIGILL}) {
      signal(fault, SIG_DFL);
    }
    Regression::Initialize();
  }
};

TEST_F(CrashTest, HandlerNamesTheSignalPrintsTheVerdictAndExitsWithStatusOne) {
  const std::vector<std::pair<int, std::string>> names = {{SIGINT, "SIGINT"},
                                                          {SIGABRT, "SIGABRT"},
                                                          {SIGSEGV, "SIGSEGV"},
                                                          {SIGTERM, "UNKNOWN SIGNAL"},
                                                          {0, "UNKNOWN SIGNAL"}};
  for (const auto& [number, name] : names) {
    EXPECT_EXIT(
        {
          JoinOutputWithError();
          PrintRegressionStateAndExit(number);
        },
        ExitedWithCode(1), Eq("Regression FAILED: " + name + "\n\n"));
  }
}

TEST_F(CrashTest, EverySignalTakenOverEndsInTheHandler) {
  EXPECT_EXIT((Start(), abort()), ExitedWithCode(1), Eq("Regression FAILED: SIGABRT\n\n"));
  EXPECT_EXIT((Start(), raise(SIGINT)), ExitedWithCode(1), Eq("Regression FAILED: SIGINT\n\n"));
  EXPECT_EXIT((Start(), raise(SIGSEGV)), ExitedWithCode(1), Eq("Regression FAILED: SIGSEGV\n\n"));
}

TEST_F(CrashTest, OtherSignalsAreLeftAlone) {
  EXPECT_EXIT((Start(), raise(SIGTERM)), ::testing::KilledBySignal(SIGTERM), Eq(""));
}

TEST_F(CrashTest, CallbacksRunInOrderOfRegistrationBeforeTheVerdict) {
  Regression::crashCalls = {&second, &first, &second, &third};
  EXPECT_EXIT((Start(), abort()), ExitedWithCode(1),
              Eq("second\nfirst\nsecond\nthird\nRegression FAILED: SIGABRT\n\n"));
}

TEST_F(CrashTest, ReasonsFromBeforeComeBeforeTheSignal) {
  EXPECT_EXIT((Start(), Regression::Fail("early"), abort()), ExitedWithCode(1),
              Eq("Regression FAILED: early\nSIGABRT\n\n"));
}

TEST_F(CrashTest, CrashPrintsItsLineRunsTheCallbacksAndReportsTheAbort) {
  Regression::crashCalls = {&first};
  EXPECT_EXIT((Start(), SimOutput::_Crash(true, "G", 1, "end")), ExitedWithCode(1),
              Eq("CRASH[G:1]:  end\nfirst\nRegression FAILED: SIGABRT\n\n"));
}

TEST_F(CrashTest, FailedCheckEndsInTheHandler) {
  EXPECT_EXIT((Start(), AssertionFailed("a.cpp", 1, "b")), ExitedWithCode(1),
              Eq("a.cpp:1: failed assertion `b'\nRegression FAILED: SIGABRT\n\n"));
}

TEST_F(CrashTest, FailureOfACrashOnErrorFileEndsInTheHandler) {
  EXPECT_EXIT((Start(), File(true).Open("/missing/file", File::READ_FLAGS, 0)), ExitedWithCode(1),
              Eq("No such file or directory\nRegression FAILED: SIGABRT\n\n"));
}

TEST_F(CrashTest, FatalSignalWhileTheHandlerRunsDoesNothing) {
  Doing interrupted([] {
    raise(SIGINT);
    raise(SIGINT);
    raise(SIGSEGV);
    PrintRegressionStateAndExit(SIGINT);
  });
  Regression::crashCalls = {&first, &interrupted, &second};
  EXPECT_EXIT((Start(), abort()), ExitedWithCode(1),
              Eq("first\nsecond\nRegression FAILED: SIGABRT\n\n"));
}

TEST_F(CrashTest, SignalThatIsSentWithinACallbackLetsItGoOn) {
  Doing interrupted([] {
    for (const int number : {SIGSEGV, SIGINT, SIGABRT}) {
      raise(number);
      kill(getpid(), number);
    }
    fprintf(stderr, "went on\n");
  });
  Regression::crashCalls = {&interrupted, &second};
  for (const auto& [number, name] : {std::pair{SIGABRT, "SIGABRT"}, {SIGSEGV, "SIGSEGV"}}) {
    EXPECT_EXIT((Start(), alarm(30), raise(number)), ExitedWithCode(1),
                Eq("went on\nsecond\nRegression FAILED: " + std::string(name) + "\n\n"));
  }
}

// A page that must not be touched: the access is a fault of the machine and of no sanitizer.
void Touch() {
  void* page = mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  *static_cast<volatile char*>(page) = 1;
}

// The faults as the machine brings them about.
void ReadBeyondAFile() {
  FILE* empty = tmpfile();
  void* page = mmap(nullptr, 4096, PROT_READ, MAP_PRIVATE, fileno(empty), 0);
  static_cast<void>(*static_cast<volatile char*>(page));
}

void Trap() { __builtin_trap(); }

void DivideByZero() {
#if defined(__x86_64__)
  asm volatile("xor %%edx, %%edx; mov $1, %%eax; xor %%ecx, %%ecx; div %%ecx" ::
                   : "eax", "ecx", "edx");
#else
  FAIL() << "how does this machine divide by zero?";
#endif
}

struct MachineFault {
  const char* name;
  void (*bringAbout)();
};

// The address of a function is another one in every process and would be part of the test's name.
void PrintTo(const MachineFault& fault, std::ostream* out) { *out << fault.name; }

class FaultTest : public CrashTest, public ::testing::WithParamInterface<MachineFault> {};

INSTANTIATE_TEST_SUITE_P(Faults, FaultTest,
                         ::testing::Values(MachineFault{"Touch", Touch},
                                           MachineFault{"ReadBeyondAFile", ReadBeyondAFile},
                                           MachineFault{"Trap", Trap},
                                           MachineFault{"DivideByZero", DivideByZero}));

TEST_P(FaultTest, WithinACallbackLetsTheNextOnesRunAndTheVerdictCome) {
  Doing faulting(GetParam().bringAbout);
  Regression::crashCalls = {&first, &faulting, &second, &faulting, &faulting, &third};
  for (const auto& [number, name] : {std::pair{SIGABRT, "SIGABRT"}, {SIGSEGV, "SIGSEGV"}}) {
    EXPECT_EXIT((Start(), alarm(30), raise(number)), ExitedWithCode(1),
                Eq("first\nsecond\nthird\nRegression FAILED: " + std::string(name) + "\n\n"));
  }
}

TEST_P(FaultTest, WithinADestructorAtTheExitKeepsTheVerdict) {
  static void (*fault)() = nullptr;
  fault = GetParam().bringAbout;
  EXPECT_EXIT((Start(), alarm(30), atexit([] { fault(); }), abort()), ExitedWithCode(1),
              Eq("Regression FAILED: SIGABRT\n\n"));
}

TEST_F(CrashTest, FaultOfTheProgramAndThenOfEveryCallbackEndsAllTheSame) {
  Doing faulting(Touch);
  Regression::crashCalls = {&faulting, &faulting, &faulting};
  EXPECT_EXIT((Start(), alarm(30), Touch()), ExitedWithCode(1),
              Eq("Regression FAILED: SIGSEGV\n\n"));
}

TEST_F(CrashTest, OtherFaultsThatAreSentWithinACallbackKeepTheirEffect) {
  Doing raising([] { raise(SIGFPE); });
  Regression::crashCalls = {&raising};
  EXPECT_EXIT((Start(), abort()), ::testing::KilledBySignal(SIGFPE), Eq(""));
}

TEST_F(CrashTest, FaultsThatTheProgramHandlesItselfStayItsOwnWithinACallback) {
  static sigjmp_buf back;
  Doing surviving([] {
    if (sigsetjmp(back, 1) == 0) {
      ReadBeyondAFile();
    }
    fprintf(stderr, "survived\n");
  });
  Doing raising([] {
    raise(SIGFPE);
    fprintf(stderr, "went on\n");
  });
  Regression::crashCalls = {&surviving, &raising};
  const auto crash = [] {
    signal(SIGBUS, [](int) { siglongjmp(back, 1); });
    signal(SIGFPE, SIG_IGN);
    abort();
  };
  EXPECT_EXIT((Start(), alarm(30), crash()), ExitedWithCode(1),
              Eq("survived\nwent on\nRegression FAILED: SIGABRT\n\n"));
}

TEST_F(CrashTest, CallbackThatCancelsItselfDoesNotHideTheNextOne) {
  static StatelessCallback* itself = nullptr;
  Doing cancelling([] {
    fprintf(stderr, "cancelling\n");
    Regression::CancelCrashCallback(itself);
  });
  itself = &cancelling;
  Regression::crashCalls = {&first, &cancelling, &second, &third};
  EXPECT_EXIT((Start(), abort()), ExitedWithCode(1),
              Eq("first\ncancelling\nsecond\nthird\nRegression FAILED: SIGABRT\n\n"));
}

TEST_F(CrashTest, CallbackMayCancelTheOneBeforeItAndTheOneBehindIt) {
  static std::vector<StatelessCallback*> others;
  Doing cancelling([] {
    for (StatelessCallback* other : others) {
      Regression::CancelCrashCallback(other);
    }
  });
  others = {&first, &second};
  Regression::crashCalls = {&first, &cancelling, &second, &third};
  EXPECT_EXIT((Start(), abort()), ExitedWithCode(1),
              Eq("first\nthird\nRegression FAILED: SIGABRT\n\n"));
}

TEST_F(CrashTest, CallbackMayRegisterAnotherOne) {
  static Named late("late");
  Doing registering([] { Regression::AddCrashCallback(&late); });
  Regression::crashCalls = {&registering, &first};
  EXPECT_EXIT((Start(), abort()), ExitedWithCode(1),
              Eq("first\nlate\nRegression FAILED: SIGABRT\n\n"));
}

}  // namespace
}  // namespace marrowfin::testing
