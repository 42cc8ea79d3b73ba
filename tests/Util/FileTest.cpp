#include "Util/File.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <functional>
#include <new>
#include <type_traits>

#include "tests/Util/Fixtures.h"
#include "tests/Util/SystemCalls.h"
#include "tests/Util/VirtualSlots.h"
#include "tests/support/Reports.h"

namespace marrowfin::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::Eq;
using ::testing::IsEmpty;
using ::testing::KilledBySignal;
using ::testing::StartsWith;

const int tmpFileCountAtStart = File::tmpFileCount;

std::string Call(const std::string& name, auto... arguments) {
  return SystemCalls::Call(name, arguments...);
}

// A File that shows its fields, and that outlives its own crash.
class BareFile : public File {
 public:
  using File::crashOnError;
  using File::fDes;
  using File::fFile;
  using File::File;
  using File::isTmpFile;
  using File::myErrno;
  using File::tmpFileName;

  void Crash() override {
    ++crashes;
    errorAtCrash = myErrno;
  }

  int crashes = 0;
  int errorAtCrash = 0;
};

// Closes a file at the end of a test that leaves it open.
class Closer {
 public:
  explicit Closer(File& file) : file(file) {}
  Closer(const Closer&) = delete;
  Closer& operator=(const Closer&) = delete;
  ~Closer() { file.Close(); }

 private:
  File& file;
};

class FileTest : public ::testing::Test {
 protected:
  FileTest() : file(false), umaskBefore(umask(0)) {}
  ~FileTest() override {
    if (file.fDes != -1) {
      file.Close();
    }
    umask(umaskBefore);
  }

  // Opens `file` at the start of a file that holds `bytes`.
  void Hold(const std::string& bytes) {
    WriteFile("data", bytes);
    ASSERT_EQ(File::SUCCESS, file.Open("data", O_RDWR, 0));
  }

  static mode_t PermissionsOf(const char* name) {
    struct stat status = {};
    EXPECT_EQ(0, stat(name, &status));
    return status.st_mode & 07777;
  }

  ScratchDirectory directory;
  BareFile file;

 private:
  mode_t umaskBefore;
};

// ---- Data

TEST(FileDataTest, StatusesAreErrorThenEndOfFileThenSuccess) {
  EXPECT_EQ(0, File::ERROR);
  EXPECT_EQ(1, File::END_OF_FILE);
  EXPECT_EQ(2, File::SUCCESS);
}

TEST(FileDataTest, FieldsHaveTheirWidthsAndOrder) {
  BareFile file(false);
  const File& base = file;
  static_assert(std::is_same_v<decltype(file.fDes), int>);
  static_assert(std::is_same_v<decltype(file.fFile), FILE*>);
  static_assert(std::is_same_v<decltype(file.myErrno), int>);
  static_assert(sizeof(file.crashOnError) == 4);
  static_assert(sizeof(file.isTmpFile) == 4);
  static_assert(std::is_same_v<decltype(file.tmpFileName), std::string>);
  EXPECT_EQ(8u, OffsetOf(&base, &file.fDes));
  EXPECT_EQ(16u, OffsetOf(&base, &file.fFile));
  EXPECT_EQ(24u, OffsetOf(&base, &file.myErrno));
  EXPECT_EQ(28u, OffsetOf(&base, &file.crashOnError));
  EXPECT_EQ(32u, OffsetOf(&base, &file.isTmpFile));
  EXPECT_EQ(40u, OffsetOf(&base, &file.tmpFileName));
  EXPECT_EQ(40u + sizeof(std::string), sizeof(File));
}

TEST(FileDataTest, FlagsAndDefaultModeAreThoseOfTheSystem) {
  static_assert(std::is_same_v<decltype(File::READ_WRITE_FLAGS), const int>);
  static_assert(std::is_same_v<decltype(File::WRITE_FLAGS), const int>);
  static_assert(std::is_same_v<decltype(File::READ_FLAGS), const int>);
  static_assert(std::is_same_v<decltype(File::DEFAULT_MODE), const unsigned short>);
  EXPECT_EQ(O_RDWR | O_CREAT, File::READ_WRITE_FLAGS);
  EXPECT_EQ(O_WRONLY | O_CREAT | O_TRUNC, File::WRITE_FLAGS);
  EXPECT_EQ(O_RDONLY, File::READ_FLAGS);
  EXPECT_EQ(0666, File::DEFAULT_MODE);
}

TEST(FileDataTest, NoTemporaryFileIsCountedAtTheStart) {
  static_assert(std::is_same_v<decltype(File::tmpFileCount), int>);
  EXPECT_EQ(0, tmpFileCountAtStart);
}

void ExpectStandardStream(const File& standard, FILE* stream, int descriptor) {
  BareFile copy(true);
  static_cast<File&>(copy) = standard;
  EXPECT_EQ(stream, copy.fFile);
  EXPECT_EQ(descriptor, copy.fDes);
  EXPECT_EQ(0, copy.crashOnError);
  EXPECT_EQ(0, copy.isTmpFile);
  EXPECT_EQ(0, copy.myErrno);
}

TEST(FileDataTest, StandardStreamsWrapThoseOfTheProcessAndDoNotCrash) {
  ExpectStandardStream(File::Stdout, stdout, STDOUT_FILENO);
  ExpectStandardStream(File::Stderr, stderr, STDERR_FILENO);
  ExpectStandardStream(File::Stdin, stdin, STDIN_FILENO);
}

TEST(FileDataTest, StandardStreamsAreBuiltInTheOrderOutputErrorInput) {
  // The program's two sets of streams, this one and that of the diagnostic output, are built before
  // main, in an order of the linker's choice.
  const std::vector<FILE*> asked = SystemCalls::FirstStreams();
  ASSERT_LE(7u, asked.size());
  const std::vector<FILE*> expected = {stdout, stderr, stdin};
  EXPECT_TRUE(std::equal(expected.begin(), expected.end(), asked.begin()) ||
              std::equal(expected.begin(), expected.end(), asked.begin() + 4));
}

class SlotFile : public File {
 public:
  explicit SlotFile(std::string& called) : File(false), called(called) {}
  ~SlotFile() override { called += "destructor "; }
  FileStatus WriteN(const void*, unsigned long, unsigned long, unsigned long*) override {
    called += "WriteN ";
    return END_OF_FILE;
  }
  FileStatus ReadN(void*, unsigned long, unsigned long, unsigned long*) override {
    called += "ReadN ";
    return ERROR;
  }
  FileStatus Rewind() override {
    called += "Rewind ";
    return SUCCESS;
  }
  void Crash() override { called += "Crash "; }

 private:
  std::string& called;
};

TEST(FileDataTest, VirtualOperationsKeepTheirSlots) {
  std::string called;
  alignas(SlotFile) unsigned char memory[sizeof(SlotFile)];
  File* file = new (memory) SlotFile(called);
  char byte = 0;
  EXPECT_EQ(File::END_OF_FILE,
            (CallSlot<File::FileStatus, const void*, unsigned long, unsigned long, unsigned long*>(
                file, 0, &byte, 1, 1, nullptr)));
  EXPECT_EQ(File::ERROR,
            (CallSlot<File::FileStatus, void*, unsigned long, unsigned long, unsigned long*>(
                file, 1, &byte, 1, 1, nullptr)));
  EXPECT_EQ(File::SUCCESS, CallSlot<File::FileStatus>(file, 2));
  CallSlot<void>(file, 3);
  CallSlot<void>(file, 4);
  EXPECT_EQ("WriteN ReadN Rewind Crash destructor ", called);
}

// ---- Construction, copying, destruction

TEST(FileConstructionTest, NewFileHasNoDescriptorAndNoStream) {
  for (const bool crashOnError : {false, true}) {
    BareFile file(crashOnError);
    EXPECT_EQ(-1, file.fDes);
    EXPECT_EQ(nullptr, file.fFile);
    EXPECT_EQ(0, file.myErrno);
    EXPECT_EQ(crashOnError ? 1 : 0, file.crashOnError);
    EXPECT_EQ(0, file.isTmpFile);
    EXPECT_EQ("", file.tmpFileName);
    EXPECT_FALSE(file.IsOpen());
    EXPECT_FALSE(file.IsTmpFile());
    EXPECT_EQ(-1, file.GetFD());
    EXPECT_EQ(nullptr, file.GetFILE());
  }
}

TEST(FileConstructionTest, FileOnAStreamUsesTheStreamsDescriptor) {
  ScratchStream stream;
  for (const bool crashOnError : {false, true}) {
    BareFile file(stream.Get(), crashOnError);
    EXPECT_EQ(stream.Get(), file.GetFILE());
    EXPECT_EQ(fileno(stream.Get()), file.GetFD());
    EXPECT_EQ(crashOnError ? 1 : 0, file.crashOnError);
    EXPECT_FALSE(file.IsTmpFile());
    EXPECT_EQ(0, file.myErrno);
    EXPECT_TRUE(file.IsOpen());
  }
}

TEST(FileConstructionTest, FileOnADescriptorHasAStreamOfTheGivenMode) {
  for (const bool crashOnError : {false, true}) {
    const int descriptor = open("/dev/null", O_WRONLY);
    SystemCalls calls;
    BareFile file(descriptor, "w", crashOnError);
    const Closer closer(file);
    EXPECT_EQ(descriptor, file.GetFD());
    ASSERT_NE(nullptr, file.GetFILE());
    EXPECT_EQ(descriptor, fileno(file.GetFILE()));
    EXPECT_EQ(crashOnError ? 1 : 0, file.crashOnError);
    EXPECT_FALSE(file.IsTmpFile());
    EXPECT_EQ(Call("fdopen", descriptor, "w"), calls.Made()[0]);
  }
}

TEST(FileConstructionTest, FailureToAttachNeverCrashesAndSetsTheFlagAllTheSame) {
  char bytes[4];
  FILE* memory = fmemopen(bytes, sizeof(bytes), "r");
  BareFile onStream(memory, true);
  EXPECT_FALSE(onStream.IsOpen());
  EXPECT_EQ(-1, onStream.GetFD());
  EXPECT_EQ(1, onStream.crashOnError);
  EXPECT_EQ(EBADF, onStream.myErrno);
  fclose(memory);

  BareFile onDescriptor(-1, "r", true);
  EXPECT_FALSE(onDescriptor.IsOpen());
  EXPECT_EQ(-1, onDescriptor.GetFD());
  EXPECT_EQ(1, onDescriptor.crashOnError);
  EXPECT_EQ(EBADF, onDescriptor.myErrno);
}

TEST(FileConstructionTest, FailureToAttachIsNotReportedOnStandardError) {
  EXPECT_EXIT(
      {
        File file(-1, "r", true);
        fprintf(stderr, "alive");
        _exit(0);
      },
      ::testing::ExitedWithCode(0), Eq("alive"));
}

TEST(FileConstructionTest, AttachingByTheOperationCrashesOnAFileThatIsCrashOnError) {
  BareFile file(true);
  EXPECT_EQ(File::ERROR, file.SetFile(-1, "r"));
  EXPECT_EQ(1, file.crashes);
}

TEST_F(FileTest, CopiesShareDescriptorAndStreamAndCopyAllFields) {
  file.OpenTmpFile("copied", File::READ_WRITE_FLAGS);
  file.myErrno = 77;
  file.crashOnError = 1;
  BareFile assigned(false);
  static_cast<File&>(assigned) = file;
  const BareFile copied(file);
  for (const BareFile& copy : {assigned, copied}) {
    EXPECT_EQ(file.fDes, copy.fDes);
    EXPECT_EQ(file.fFile, copy.fFile);
    EXPECT_EQ(77, copy.myErrno);
    EXPECT_EQ(1, copy.crashOnError);
    EXPECT_EQ(1, copy.isTmpFile);
    EXPECT_EQ(file.tmpFileName, copy.tmpFileName);
  }
}

TEST_F(FileTest, DestructorLeavesTheFileOpen) {
  Hold("x");
  { const File copy = file; }
  EXPECT_NE(-1, fcntl(file.GetFD(), F_GETFD));
  char c = 0;
  EXPECT_EQ(File::SUCCESS, file.Read(c));
}

TEST_F(FileTest, FilesAreEqualWhereTheyUseTheSameDescriptor) {
  Hold("x");
  const File same = file;
  EXPECT_TRUE(file == same);
  EXPECT_FALSE(file == File(false));
  EXPECT_TRUE(File(true) == File(false));
}

// ---- Open and SetFile

TEST_F(FileTest, OpenAttachesAStreamForReadingAndWriting) {
  SystemCalls calls;
  EXPECT_EQ(File::SUCCESS, file.Open("new", File::READ_WRITE_FLAGS, 0640));
  EXPECT_THAT(calls.Made(), ElementsAre(Call("open", "new", O_RDWR | O_CREAT, 0640),
                                        Call("fdopen", file.GetFD(), "r+")));
  EXPECT_TRUE(file.IsOpen());
  EXPECT_EQ(file.GetFD(), fileno(file.GetFILE()));
}

TEST_F(FileTest, OpenForReadingFallsBackToAStreamForReading) {
  WriteFile("data", "");
  SystemCalls calls;
  EXPECT_EQ(File::SUCCESS, file.Open("data", File::READ_FLAGS, 0));
  EXPECT_THAT(calls.Made(),
              ElementsAre(Call("open", "data", O_RDONLY, 0), Call("fdopen", file.GetFD(), "r+"),
                          Call("fdopen", file.GetFD(), "r")));
  EXPECT_TRUE(file.IsOpen());
}

TEST_F(FileTest, OpenForWritingFallsBackToAStreamForWriting) {
  SystemCalls calls;
  EXPECT_EQ(File::SUCCESS, file.Open("data", File::WRITE_FLAGS, 0600));
  EXPECT_THAT(calls.Made(),
              ElementsAre(Call("open", "data", O_WRONLY | O_CREAT | O_TRUNC, 0600),
                          Call("fdopen", file.GetFD(), "r+"), Call("fdopen", file.GetFD(), "r"),
                          Call("fdopen", file.GetFD(), "w")));
  EXPECT_TRUE(file.IsOpen());
}

TEST_F(FileTest, OpenTriesAnotherKindOfStreamOnlyWhereTheKindWasWrong) {
  WriteFile("data", "");
  {
    SystemCalls calls;
    calls.Fail("fdopen", {ENOMEM});
    EXPECT_EQ(File::ERROR, file.Open("data", File::READ_FLAGS, 0));
    EXPECT_EQ(2u, calls.Made().size());
  }
  EXPECT_EQ(ENOMEM, file.myErrno);
  EXPECT_FALSE(file.IsOpen());
  close(file.GetFD());
  {
    SystemCalls calls;
    calls.Fail("fdopen", {EINVAL, EMFILE});
    EXPECT_EQ(File::ERROR, file.Open("data", File::READ_FLAGS, 0));
    EXPECT_EQ(3u, calls.Made().size());
  }
  EXPECT_EQ(EMFILE, file.myErrno);
  EXPECT_FALSE(file.IsOpen());
}

TEST_F(FileTest, OpenWithoutAnyStreamFailsWithTheLastError) {
  SystemCalls calls;
  calls.Fail("fdopen", {EINVAL, EINVAL, ENFILE});
  EXPECT_EQ(File::ERROR, file.Open("data", File::WRITE_FLAGS, 0600));
  EXPECT_EQ(4u, calls.Made().size());
  EXPECT_EQ(ENFILE, file.myErrno);
  EXPECT_FALSE(file.IsOpen());
  EXPECT_NE(-1, file.GetFD());
}

TEST_F(FileTest, OpenByCharactersGivesThePermissionsAskedFor) {
  EXPECT_EQ(File::SUCCESS, file.Open("data", File::READ_WRITE_FLAGS, 0640));
  EXPECT_EQ(0640u, PermissionsOf("data"));
}

TEST_F(FileTest, OpenByStringIgnoresTheModeAndGivesTheDefault) {
  EXPECT_EQ(File::SUCCESS, file.Open(std::string("data"), File::READ_WRITE_FLAGS, 0600));
  EXPECT_EQ(0666u, PermissionsOf("data"));
}

TEST_F(FileTest, OpenByStringKeepsTheFlags) {
  SystemCalls calls;
  EXPECT_EQ(File::SUCCESS, file.Open(std::string("data"), O_WRONLY | O_CREAT | O_APPEND, 0));
  EXPECT_EQ(Call("open", "data", O_WRONLY | O_CREAT | O_APPEND, 0666), calls.Made()[0]);
}

TEST_F(FileTest, OpenOfAMissingFileFailsWithItsError) {
  EXPECT_EQ(File::ERROR, file.Open("missing", File::READ_FLAGS, 0));
  EXPECT_EQ(ENOENT, file.myErrno);
  EXPECT_EQ(-1, file.GetFD());
  EXPECT_FALSE(file.IsOpen());
}

TEST_F(FileTest, OpenOfAMissingFileIsTriedOnceAndGetsNoStream) {
  SystemCalls calls;
  EXPECT_EQ(File::ERROR, file.Open("missing", File::READ_FLAGS, 0));
  EXPECT_THAT(calls.Made(), ElementsAre(Call("open", "missing", O_RDONLY, 0)));
}

TEST_F(FileTest, OpenOfAMissingFileOnACrashOnErrorFilePrintsTheSystemsTextAndAborts) {
  EXPECT_EXIT(File(true).Open("missing", File::READ_FLAGS, 0), KilledBySignal(SIGABRT),
              Eq("No such file or directory\n"));
  EXPECT_EXIT(File(true).Open(std::string("missing"), File::READ_FLAGS, 0), KilledBySignal(SIGABRT),
              Eq("No such file or directory\n"));
}

TEST_F(FileTest, OpenForgetsAnEarlierError) {
  EXPECT_EQ(File::ERROR, file.Open("missing", File::READ_FLAGS, 0));
  Hold("x");
  EXPECT_EQ(0, file.myErrno);
}

TEST_F(FileTest, OpenWithWriteFlagsEmptiesTheFile) {
  WriteFile("data", "old text");
  EXPECT_EQ(File::SUCCESS, file.Open("data", File::WRITE_FLAGS, 0));
  EXPECT_EQ("", ReadFile("data"));
}

TEST_F(FileTest, SetFileOnAStreamThatHasNoDescriptorFailsAndKeepsTheStreamBefore) {
  Hold("x");
  FILE* before = file.GetFILE();
  char bytes[4];
  FILE* memory = fmemopen(bytes, sizeof(bytes), "r");
  EXPECT_EQ(File::ERROR, file.SetFile(memory));
  EXPECT_EQ(EBADF, file.myErrno);
  EXPECT_EQ(-1, file.GetFD());
  EXPECT_EQ(before, file.GetFILE());
  fclose(memory);
  EXPECT_EQ(File::SUCCESS, file.SetFile(before));
  EXPECT_EQ(0, file.myErrno);
  EXPECT_EQ(fileno(before), file.GetFD());
}

TEST_F(FileTest, SetFileOnADescriptorThatTakesNoStreamFailsAndKeepsTheDescriptorBefore) {
  Hold("x");
  FILE* before = file.GetFILE();
  const int descriptor = file.GetFD();
  EXPECT_EQ(File::ERROR, file.SetFile(-1, "r"));
  EXPECT_EQ(EBADF, file.myErrno);
  EXPECT_EQ(descriptor, file.GetFD());
  EXPECT_EQ(nullptr, file.GetFILE());
  EXPECT_EQ(File::SUCCESS, file.SetFile(before));
}

TEST_F(FileTest, SetFileOnADescriptorForgetsAnEarlierError) {
  file.myErrno = EIO;
  const int descriptor = open("/dev/null", O_RDONLY);
  EXPECT_EQ(File::SUCCESS, file.SetFile(descriptor, "r"));
  EXPECT_EQ(0, file.myErrno);
  EXPECT_EQ(descriptor, file.GetFD());
}

// ---- Failure rule

struct FailureCase {
  std::string name;
  int error;
  std::function<void(SystemCalls&)> prepare;
  std::function<File::FileStatus(BareFile&)> fail;
};

std::vector<FailureCase> FailureCases() {
  const auto failing = [](const std::string& call, int error) {
    return [=](SystemCalls& calls) { calls.Fail(call, {error}); };
  };
  static char byte;
  return {
      {"open", EACCES, failing("open", EACCES), [](File& f) { return f.Open("data", O_RDWR, 0); }},
      {"open by string", EROFS, failing("open", EROFS),
       [](File& f) { return f.Open(std::string("data"), O_RDWR, 0); }},
      {"attach on opening", EMFILE, failing("fdopen", EMFILE),
       [](File& f) { return f.Open("data", O_RDWR, 0); }},
      {"set stream", EBADF, failing("fileno", EBADF),
       [](File& f) { return f.SetFile(f.GetFILE()); }},
      {"set descriptor", ENOMEM, failing("fdopen", ENOMEM),
       [](File& f) { return f.SetFile(f.GetFD(), "r"); }},
      {"write", ENOSPC, failing("write", ENOSPC),
       [](File& f) { return f.WriteN(&byte, 1, 1, nullptr); }},
      {"read", EIO, failing("read", EIO), [](File& f) { return f.ReadN(&byte, 1, 1, nullptr); }},
      {"seek", EOVERFLOW, failing("lseek", EOVERFLOW), [](File& f) { return f.Seek(0, SEEK_SET); }},
      {"tell", ESPIPE, failing("lseek", ESPIPE),
       [](File& f) {
         long long position = 0;
         return f.Tell(position);
       }},
      {"rewind", EINVAL, failing("lseek", EINVAL), [](File& f) { return f.Rewind(); }},
      {"close of a stream", EDQUOT, failing("fclose", EDQUOT), [](File& f) { return f.Close(); }},
      {"close of a descriptor", EIO, failing("close", EIO),
       [](BareFile& f) {
         f.fFile = nullptr;
         return f.Close();
       }},
      {"time of day", EFAULT, failing("gettimeofday", EFAULT),
       [](File& f) { return f.OpenTmpFile("tmp", File::READ_WRITE_FLAGS); }},
      {"removal", EBUSY, failing("unlink", EBUSY),
       [](BareFile& f) {
         f.isTmpFile = 1;
         return f.DestroyTmpFile();
       }},
      {"read of another file", ENXIO, failing("read", ENXIO),
       [](File& f) {
         File source(false);
         return f.WriteFileContents(source, 1, nullptr);
       }},
  };
}

void CloseIfOpen(File file) {
  if (fcntl(file.GetFD(), F_GETFD) != -1) {
    file.Close();
  }
}

TEST_F(FileTest, EveryFailureOnAPlainFileKeepsTheErrorAndReturnsError) {
  for (const FailureCase& failure : FailureCases()) {
    SCOPED_TRACE(failure.name);
    WriteFile("data", "text");
    BareFile plain(false);
    ASSERT_EQ(File::SUCCESS, plain.Open("data", O_RDWR, 0));
    const File opened = plain;
    SystemCalls calls;
    failure.prepare(calls);
    EXPECT_EQ(File::ERROR, failure.fail(plain));
    EXPECT_EQ(failure.error, plain.myErrno);
    EXPECT_EQ(0, plain.crashes);
    CloseIfOpen(opened);
  }
}

TEST_F(FileTest, EveryFailureOnACrashOnErrorFileCallsTheVirtualCrashWithTheErrorKept) {
  for (const FailureCase& failure : FailureCases()) {
    SCOPED_TRACE(failure.name);
    WriteFile("data", "text");
    BareFile crashing(true);
    ASSERT_EQ(File::SUCCESS, crashing.Open("data", O_RDWR, 0));
    const File opened = crashing;
    SystemCalls calls;
    failure.prepare(calls);
    EXPECT_EQ(File::ERROR, failure.fail(crashing));
    EXPECT_EQ(1, crashing.crashes);
    EXPECT_EQ(failure.error, crashing.errorAtCrash);
    CloseIfOpen(opened);
  }
}

TEST_F(FileTest, CrashPrintsTheTextOfTheLastErrorAndAborts) {
  class Failed : public File {
   public:
    explicit Failed(int error) : File(false) { myErrno = error; }
  };
  EXPECT_EXIT(Failed(ENOSPC).Crash(), KilledBySignal(SIGABRT), Eq("No space left on device\n"));
  EXPECT_EXIT(Failed(0).Crash(), KilledBySignal(SIGABRT), Eq("Success\n"));
}

TEST_F(FileTest, EveryOperationThatMeetsNoFailureLeavesNoError) {
  WriteFile("other", "text");
  BareFile source(false);
  source.Open("other", O_RDWR, 0);
  Hold("text");
  char c = 'c';
  std::string s;
  long long position = 0;
  const std::vector<std::function<File::FileStatus()>> operations = {
      [&] { return file.SetFile(file.GetFILE()); },
      [&] { return file.WriteN(&c, 1, 1, nullptr); },
      [&] { return file.Write(&c, 1); },
      [&] { return file.Write(c); },
      [&] { return file.Write("words"); },
      [&] { return file.Rewind(); },
      [&] { return file.ReadN(&c, 1, 1, nullptr); },
      [&] { return file.Read(&c, 1); },
      [&] { return file.Read(c); },
      [&] { return file.Seek(0, SEEK_SET); },
      [&] { return file.Read(s, 'x'); },
      [&] { return file.Tell(position); },
      [&] { return file.WriteFileContents(source, 2, nullptr); },
      [&] { return file.Close(); },
      [&] { return file.Close(); },
      [&] { return file.OpenTmpFile("tmp", File::READ_WRITE_FLAGS); },
      [&] { return file.DestroyTmpFile(); },
  };
  for (size_t i = 0; i < operations.size(); ++i) {
    file.myErrno = EIO;
    EXPECT_NE(File::ERROR, operations[i]()) << "operation " << i;
    EXPECT_EQ(0, file.myErrno) << "operation " << i;
  }
  source.Close();
}

// ---- Write

TEST_F(FileTest, WriteNIsOneSystemCallOfAllItsItems) {
  Hold("");
  SystemCalls calls;
  unsigned long written = 0;
  EXPECT_EQ(File::SUCCESS, file.WriteN("abcdefgh", 3, 2, &written));
  EXPECT_THAT(calls.Made(), ElementsAre(Call("write", file.GetFD(), 6)));
  EXPECT_EQ(6u, written);
  EXPECT_EQ("abcdef", ReadFile("data"));
}

TEST_F(FileTest, WriteNNeedsNoPlaceForTheNumberOfBytes) {
  Hold("");
  EXPECT_EQ(File::SUCCESS, file.WriteN("abc", 1, 3, nullptr));
  EXPECT_EQ("abc", ReadFile("data"));
}

TEST_F(FileTest, WriteNOfFewerBytesThanAskedForSucceeds) {
  int ends[2];
  ASSERT_EQ(0, pipe2(ends, O_NONBLOCK));
  ASSERT_EQ(File::SUCCESS, file.SetFile(ends[1], "w"));
  const std::string bytes(8 << 20, 'x');
  unsigned long written = 0;
  EXPECT_EQ(File::SUCCESS, file.WriteN(bytes.data(), 1, bytes.size(), &written));
  EXPECT_LT(0u, written);
  EXPECT_GT(bytes.size(), written);
  unsigned long writtenByFailure = 77;
  EXPECT_EQ(File::ERROR, file.WriteN(bytes.data(), 1, bytes.size(), &writtenByFailure));
  EXPECT_EQ(EAGAIN, file.myErrno);
  EXPECT_EQ(77u, writtenByFailure);
  close(ends[0]);
}

// Notes what reaches the two operations that all others stand on.
class ForwardedFile : public File {
 public:
  using File::myErrno;

  ForwardedFile() : File(false) {}

  FileStatus WriteN(const void* buf, unsigned long size, unsigned long count,
                    unsigned long* written) override {
    bytes.assign(static_cast<const char*>(buf), size * count);
    Note(size, count, written);
    errno = ENOTTY;
    return status;
  }

  FileStatus ReadN(void* buf, unsigned long size, unsigned long count,
                   unsigned long* got) override {
    memset(buf, 'r', size * count);
    Note(size, count, got);
    if (got != nullptr) {
      *got = count;
    }
    return status;
  }

  void Note(unsigned long theSize, unsigned long theCount, unsigned long* theResult) {
    size = theSize;
    count = theCount;
    result = theResult;
  }

  FileStatus status = SUCCESS;
  std::string bytes;
  unsigned long size = 0;
  unsigned long count = 0;
  unsigned long* result = nullptr;
};

TEST(FileForwardingTest, WriteOfBytesIsWriteNOfItemsOfOneByte) {
  ForwardedFile file;
  unsigned long written = 0;
  for (const File::FileStatus status : {File::ERROR, File::END_OF_FILE, File::SUCCESS}) {
    file.status = status;
    EXPECT_EQ(status, file.Write("abcd", 3ul, &written));
    EXPECT_EQ("abc", file.bytes);
    EXPECT_EQ(1u, file.size);
    EXPECT_EQ(3u, file.count);
    EXPECT_EQ(&written, file.result);
  }
}

TEST(FileForwardingTest, WriteOfAStringIsWriteNOfOneItem) {
  ForwardedFile file;
  unsigned long unused = 0;
  file.result = &unused;
  const std::string text("ab\0cd", 5);
  for (const File::FileStatus status : {File::ERROR, File::SUCCESS}) {
    file.status = status;
    EXPECT_EQ(status, file.Write(text));
    EXPECT_EQ(text, file.bytes);
    EXPECT_EQ(5u, file.size);
    EXPECT_EQ(1u, file.count);
    EXPECT_EQ(nullptr, file.result);
  }
}

TEST(FileForwardingTest, WriteOfACharacterIsWriteNOfOneByte) {
  ForwardedFile file;
  unsigned long unused = 0;
  file.result = &unused;
  for (const File::FileStatus status : {File::ERROR, File::SUCCESS}) {
    file.status = status;
    EXPECT_EQ(status, file.Write('q'));
    EXPECT_EQ("q", file.bytes);
    EXPECT_EQ(1u, file.size);
    EXPECT_EQ(1u, file.count);
    EXPECT_EQ(nullptr, file.result);
  }
}

// ---- Read

TEST(FileForwardingTest, ReadOfBytesIsReadNOfItemsOfOneByte) {
  ForwardedFile file;
  char bytes[4] = {};
  unsigned long got = 0;
  for (const File::FileStatus status : {File::ERROR, File::END_OF_FILE, File::SUCCESS}) {
    file.status = status;
    EXPECT_EQ(status, file.Read(bytes, 3, &got));
    EXPECT_EQ(1u, file.size);
    EXPECT_EQ(3u, file.count);
    EXPECT_EQ(&got, file.result);
  }
  EXPECT_STREQ("rrr", bytes);
}

TEST(FileForwardingTest, ReadOfACharacterIsReadNOfOneByte) {
  ForwardedFile file;
  unsigned long unused = 0;
  file.result = &unused;
  for (const File::FileStatus status : {File::END_OF_FILE, File::SUCCESS}) {
    file.status = status;
    char c = 0;
    EXPECT_EQ(status, file.Read(c));
    EXPECT_EQ('r', c);
    EXPECT_EQ(1u, file.size);
    EXPECT_EQ(1u, file.count);
    EXPECT_EQ(nullptr, file.result);
  }
}

TEST_F(FileTest, ReadNIsOneSystemCallAndReportsItems) {
  Hold("0123456789ab");
  SystemCalls calls;
  char bytes[12] = {};
  unsigned long got = 0;
  EXPECT_EQ(File::SUCCESS, file.ReadN(bytes, 4, 2, &got));
  EXPECT_THAT(calls.Made(), ElementsAre(Call("read", file.GetFD(), 8)));
  EXPECT_EQ(2u, got);
  EXPECT_STREQ("01234567", bytes);
}

TEST_F(FileTest, ReadOfEightBytesThreeBeforeTheEndGivesThreeAndEndOfFile) {
  Hold("0123456789");
  ASSERT_EQ(File::SUCCESS, file.Seek(7, SEEK_SET));
  char bytes[8] = {};
  unsigned long got = 77;
  EXPECT_EQ(File::END_OF_FILE, file.ReadN(bytes, 1, 8, &got));
  EXPECT_EQ(3u, got);
  EXPECT_STREQ("789", bytes);
  EXPECT_EQ(File::END_OF_FILE, file.ReadN(bytes, 1, 8, &got));
  EXPECT_EQ(0u, got);
}

TEST_F(FileTest, ReadNCountsWholeItemsOnly) {
  Hold("0123456789a");
  char bytes[12];
  unsigned long got = 77;
  EXPECT_EQ(File::END_OF_FILE, file.ReadN(bytes, 4, 3, &got));
  EXPECT_EQ(2u, got);
}

TEST_F(FileTest, ReadOfNothingSucceeds) {
  Hold("x");
  char c = 0;
  unsigned long got = 77;
  EXPECT_EQ(File::SUCCESS, file.ReadN(&c, 1, 0, &got));
  EXPECT_EQ(0u, got);
  got = 77;
  EXPECT_EQ(File::SUCCESS, file.ReadN(&c, 0, 5, &got));
  EXPECT_EQ(0u, got);
  EXPECT_EQ(File::SUCCESS, file.ReadN(&c, 0, 5, nullptr));
  EXPECT_EQ(File::SUCCESS, file.Read(c));
  EXPECT_EQ('x', c);
}

TEST_F(FileTest, FailedReadLeavesTheNumberOfItemsAlone) {
  ASSERT_EQ(File::SUCCESS, file.Open("data", File::WRITE_FLAGS, 0600));
  char c = 'c';
  unsigned long got = 77;
  EXPECT_EQ(File::ERROR, file.ReadN(&c, 1, 1, &got));
  EXPECT_EQ(EBADF, file.myErrno);
  EXPECT_EQ(77u, got);
  EXPECT_EQ('c', c);
}

TEST_F(FileTest, LineReadKeepsTheDelimiterAndEndsWithTheStatusOfTheLastRead) {
  Hold("ab\ncd");
  std::string line = "old";
  EXPECT_EQ(File::SUCCESS, file.Read(line, '\n'));
  EXPECT_EQ("ab\n", line);
  EXPECT_EQ(File::END_OF_FILE, file.Read(line, '\n'));
  EXPECT_EQ("cd", line);
  EXPECT_EQ(File::END_OF_FILE, file.Read(line, '\n'));
  EXPECT_EQ("", line);
}

TEST_F(FileTest, LineReadStopsAtAnyDelimiter) {
  Hold(std::string("a\nb\0c", 5));
  std::string text;
  EXPECT_EQ(File::SUCCESS, file.Read(text, '\0'));
  EXPECT_EQ(std::string("a\nb\0", 4), text);
}

TEST_F(FileTest, LineReadThatFailsGivesErrorAndNothing) {
  ASSERT_EQ(File::SUCCESS, file.Open("data", File::WRITE_FLAGS, 0600));
  std::string text = "old";
  EXPECT_EQ(File::ERROR, file.Read(text, '\n'));
  EXPECT_EQ("", text);
}

TEST_F(FileTest, LineReadIsOneSystemCallAByte) {
  Hold("ab\ncd");
  SystemCalls calls;
  std::string line;
  file.Read(line, '\n');
  const std::string read = Call("read", file.GetFD(), 1);
  EXPECT_THAT(calls.Made(), ElementsAre(read, read, read));
}

// ---- Print

[[gnu::format(printf, 2, 3)]] int PrintByList(File& file, const char* format, ...) {
  va_list args;
  va_start(args, format);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  const int printed = file.Print(format, args);
#pragma GCC diagnostic pop
  va_end(args);
  return printed;
}

TEST(FilePrintTest, PrintsAsPrintfDoesAndReturnsTheNumberOfCharacters) {
  const ScratchStream stream;
  File file(stream.Get(), false);
  EXPECT_EQ(13, file.Print("%s=%04d 0x%x", "ten", 10, 255));
  EXPECT_EQ(1, file.Print("\n"));
  EXPECT_EQ("ten=0010 0xff\n", stream.Text());
}

TEST(FilePrintTest, LiteralZeroIsAnArgumentAndNoList) {
  const ScratchStream stream;
  File file(stream.Get(), false);
  EXPECT_EQ(1, file.Print("%d", 0));
  EXPECT_EQ(3, file.Print("%d,%d", 0, 1));
  EXPECT_EQ("00,1", stream.Text());
}

TEST(FilePrintTest, PrintsAListOfArguments) {
  const ScratchStream stream;
  File file(stream.Get(), false);
  EXPECT_EQ(7, PrintByList(file, "%s %d %c", "abc", 7, 'x'));
  EXPECT_EQ("abc 7 x", stream.Text());
}

TEST(FilePrintTest, PrintWithoutAStreamPrintsNothingAndIsNegative) {
  File file(false);
  EXPECT_EQ(-1, file.Print("%d", 1));
  EXPECT_EQ(-1, PrintByList(file, "%d", 1));
}

TEST(FilePrintTest, PrintOnAStreamThatIsNotForWritingIsNegative) {
  File file(false);
  ASSERT_EQ(File::SUCCESS, file.Open("/dev/null", File::READ_FLAGS, 0));
  EXPECT_GT(0, file.Print("text"));
  file.Close();
}

TEST_F(FileTest, PrintIsBufferedByTheStreamAndWriteIsNot) {
  Hold("");
  EXPECT_EQ(7, file.Print("printed"));
  EXPECT_EQ(File::SUCCESS, file.Write("written"));
  EXPECT_EQ("written", ReadFile("data"));
  EXPECT_EQ(File::SUCCESS, file.Close());
  EXPECT_EQ("writtenprinted", ReadFile("data"));
}

// ---- Seek, Tell, Rewind

TEST_F(FileTest, SeekMovesByTheLowBitsOfTheOffsetAsAnUnsignedNumber) {
  Hold("0123456789");
  const std::vector<std::pair<long long, long long>> offsets = {
      {0, 0},
      {7, 7},
      {2147483646, 2147483646},
      {-1, 4294967295},
      {-2147483648LL, 2147483648},
      {-4294967296LL, 0},
      {-4294967291LL, 5},
      {LLONG_MIN, 0},
      {LLONG_MIN + 3, 3},
  };
  for (const auto& [offset, low] : offsets) {
    SystemCalls calls;
    EXPECT_EQ(File::SUCCESS, file.Seek(offset, SEEK_SET)) << offset;
    EXPECT_THAT(calls.Made(), ElementsAre(Call("lseek", file.GetFD(), low, SEEK_SET)));
    EXPECT_EQ(low, lseek(file.GetFD(), 0, SEEK_CUR));
  }
}

TEST_F(FileTest, SeekHandsTheOriginOn) {
  Hold("0123456789");
  EXPECT_EQ(File::SUCCESS, file.Seek(4, SEEK_SET));
  EXPECT_EQ(File::SUCCESS, file.Seek(3, SEEK_CUR));
  char c = 0;
  EXPECT_EQ(File::SUCCESS, file.Read(c));
  EXPECT_EQ('7', c);
  EXPECT_EQ(File::SUCCESS, file.Seek(0, SEEK_END));
  EXPECT_EQ(File::END_OF_FILE, file.Read(c));
  EXPECT_EQ(File::ERROR, file.Seek(0, 99));
  EXPECT_EQ(EINVAL, file.myErrno);
}

TEST_F(FileTest, SeekBackFromHereGoesForwardByAlmostFourGigabytes) {
  Hold("0123456789");
  EXPECT_EQ(File::SUCCESS, file.Seek(4, SEEK_SET));
  EXPECT_EQ(File::SUCCESS, file.Seek(-2, SEEK_CUR));
  long long position = 0;
  EXPECT_EQ(File::SUCCESS, file.Tell(position));
  EXPECT_EQ(4294967298, position);
}

TEST_F(FileTest, SeekToTheLargestIntAborts) {
  Hold("");
  const auto report = AssertionReport("Util/File.cpp", "offset < INT_MAX");
  for (const long long offset : {2147483647LL, 2147483648LL, 4294967296LL, LLONG_MAX}) {
    EXPECT_EXIT(file.Seek(offset, SEEK_SET), KilledBySignal(SIGABRT), report);
  }
  EXPECT_EQ(File::SUCCESS, file.Seek(2147483646, SEEK_SET));
}

TEST_F(FileTest, SeekOnAPipeFails) {
  int ends[2];
  ASSERT_EQ(0, pipe(ends));
  ASSERT_EQ(File::SUCCESS, file.SetFile(ends[0], "r"));
  EXPECT_EQ(File::ERROR, file.Seek(0, SEEK_SET));
  EXPECT_EQ(ESPIPE, file.myErrno);
  close(ends[1]);
}

TEST_F(FileTest, TellGivesThePositionOfTheDescriptorWhateverErrnoWas) {
  Hold("0123456789");
  file.Seek(6, SEEK_SET);
  errno = EIO;
  long long position = 0;
  SystemCalls calls;
  EXPECT_EQ(File::SUCCESS, file.Tell(position));
  EXPECT_THAT(calls.Made(), ElementsAre(Call("lseek", file.GetFD(), 0, SEEK_CUR)));
  EXPECT_EQ(6, position);
}

TEST_F(FileTest, TellOnAPipeFails) {
  int ends[2];
  ASSERT_EQ(0, pipe(ends));
  ASSERT_EQ(File::SUCCESS, file.SetFile(ends[0], "r"));
  long long position = 0;
  EXPECT_EQ(File::ERROR, file.Tell(position));
  EXPECT_EQ(ESPIPE, file.myErrno);
  EXPECT_EQ(-1, position);
  close(ends[1]);
}

TEST_F(FileTest, RewindMovesToTheStart) {
  Hold("0123456789");
  file.Seek(6, SEEK_SET);
  SystemCalls calls;
  EXPECT_EQ(File::SUCCESS, file.Rewind());
  EXPECT_THAT(calls.Made(), ElementsAre(Call("lseek", file.GetFD(), 0, SEEK_SET)));
  char c = 0;
  EXPECT_EQ(File::SUCCESS, file.Read(c));
  EXPECT_EQ('0', c);
}

// ---- Close

TEST_F(FileTest, CloseTwiceOnAnOpenedFileSucceedsBothTimesAndClosesTheStreamOnce) {
  Hold("");
  FILE* stream = file.GetFILE();
  SystemCalls calls;
  EXPECT_EQ(File::SUCCESS, file.Close());
  EXPECT_EQ(File::SUCCESS, file.Close());
  EXPECT_THAT(calls.Made(), ElementsAre(Call("fclose", stream)));
}

TEST_F(FileTest, CloseOfAStreamLeavesItSetSoThatTheFileSeemsOpen) {
  Hold("");
  FILE* stream = file.GetFILE();
  const int descriptor = file.GetFD();
  EXPECT_EQ(File::SUCCESS, file.Close());
  EXPECT_TRUE(file.IsOpen());
  EXPECT_EQ(stream, file.GetFILE());
  EXPECT_EQ(-1, file.GetFD());
  EXPECT_EQ(-1, fcntl(descriptor, F_GETFD));
}

TEST_F(FileTest, CloseOfAFileWithoutDescriptorAndStreamSucceedsWithoutACall) {
  SystemCalls calls;
  EXPECT_EQ(File::SUCCESS, file.Close());
  EXPECT_THAT(calls.Made(), IsEmpty());
}

TEST_F(FileTest, CloseOfADescriptorWithoutStreamForgetsTheDescriptor) {
  file.fDes = open("/dev/null", O_RDONLY);
  const int descriptor = file.fDes;
  SystemCalls calls;
  EXPECT_EQ(File::SUCCESS, file.Close());
  EXPECT_THAT(calls.Made(), ElementsAre(Call("close", descriptor)));
  EXPECT_EQ(-1, file.GetFD());
  EXPECT_FALSE(file.IsOpen());
}

TEST_F(FileTest, FailedCloseOfADescriptorKeepsIt) {
  file.fDes = 1000000;
  EXPECT_EQ(File::ERROR, file.Close());
  EXPECT_EQ(EBADF, file.myErrno);
  EXPECT_EQ(1000000, file.GetFD());
  file.fDes = -1;
}

TEST_F(FileTest, CloseThatCannotEmptyTheBufferFailsAndIsNotTriedAgain) {
  ASSERT_EQ(File::SUCCESS, file.Open("/dev/full", O_RDWR, 0));
  EXPECT_EQ(4, file.Print("text"));
  FILE* stream = file.GetFILE();
  SystemCalls calls;
  EXPECT_EQ(File::ERROR, file.Close());
  EXPECT_EQ(ENOSPC, file.myErrno);
  EXPECT_EQ(File::SUCCESS, file.Close());
  EXPECT_EQ(0, file.myErrno);
  EXPECT_THAT(calls.Made(), ElementsAre(Call("fclose", stream)));
}

TEST_F(FileTest, CloseThatFailsOnACrashOnErrorFileAborts) {
  EXPECT_EXIT(
      {
        File full(true);
        full.Open("/dev/full", O_RDWR, 0);
        full.Print("text");
        full.Close();
      },
      KilledBySignal(SIGABRT), Eq("No space left on device\n"));
}

// ---- Temporary files

TEST_F(FileTest, TemporaryFileIsNamedByPrefixProcessSecondsAndCount) {
  SystemCalls calls;
  calls.SetTime(1163635200);
  const int count = File::tmpFileCount;
  const std::string start = "./stats" + std::to_string(getpid()) + "-1163635200-";
  EXPECT_EQ(File::SUCCESS, file.OpenTmpFile("./stats", File::READ_WRITE_FLAGS));
  EXPECT_EQ(start + std::to_string(count) + ".tmp", file.tmpFileName);
  EXPECT_EQ(count + 1, File::tmpFileCount);
  EXPECT_TRUE(file.IsTmpFile());
  EXPECT_THAT(calls.Made(),
              ElementsAre("gettimeofday()", Call("open", file.tmpFileName, O_RDWR | O_CREAT, 0666),
                          Call("fdopen", file.GetFD(), "r+")));
  EXPECT_EQ(0666u, PermissionsOf(file.tmpFileName.c_str()));
}

TEST_F(FileTest, SecondsOfATemporaryFileAreUnsigned) {
  SystemCalls calls;
  calls.SetTime(-1);
  EXPECT_EQ(File::SUCCESS, file.OpenTmpFile("x", File::READ_WRITE_FLAGS));
  EXPECT_THAT(file.tmpFileName,
              StartsWith("x" + std::to_string(getpid()) + "-18446744073709551615-"));
}

TEST_F(FileTest, TemporaryFilesOfOneSecondDifferByTheirCount) {
  SystemCalls calls;
  calls.SetTime(1163635200);
  const int count = File::tmpFileCount;
  BareFile other(false);
  EXPECT_EQ(File::SUCCESS, file.OpenTmpFile("t", File::READ_WRITE_FLAGS));
  EXPECT_EQ(File::SUCCESS, other.OpenTmpFile("t", File::READ_WRITE_FLAGS));
  const std::string start = "t" + std::to_string(getpid()) + "-1163635200-";
  EXPECT_EQ(start + std::to_string(count) + ".tmp", file.tmpFileName);
  EXPECT_EQ(start + std::to_string(count + 1) + ".tmp", other.tmpFileName);
  EXPECT_EQ(File::SUCCESS, other.DestroyTmpFile());
}

TEST_F(FileTest, TemporaryFileThatCannotBeOpenedIsCountedAndTemporaryAllTheSame) {
  const int count = File::tmpFileCount;
  EXPECT_EQ(File::ERROR, file.OpenTmpFile("missing/t", File::READ_WRITE_FLAGS));
  EXPECT_EQ(ENOENT, file.myErrno);
  EXPECT_EQ(count + 1, File::tmpFileCount);
  EXPECT_TRUE(file.IsTmpFile());
  EXPECT_THAT(file.tmpFileName, StartsWith("missing/t" + std::to_string(getpid()) + "-"));
}

TEST_F(FileTest, WithoutTheTimeOfDayThereIsNoTemporaryFile) {
  SystemCalls calls;
  calls.Fail("gettimeofday", {EFAULT});
  const int count = File::tmpFileCount;
  EXPECT_EQ(File::ERROR, file.OpenTmpFile("t", File::READ_WRITE_FLAGS));
  EXPECT_EQ(count, File::tmpFileCount);
  EXPECT_FALSE(file.IsTmpFile());
  EXPECT_EQ("", file.tmpFileName);
}

TEST_F(FileTest, DestroyTmpFileClosesAndRemovesTheFile) {
  ASSERT_EQ(File::SUCCESS, file.OpenTmpFile("t", File::READ_WRITE_FLAGS));
  FILE* stream = file.GetFILE();
  SystemCalls calls;
  EXPECT_EQ(File::SUCCESS, file.DestroyTmpFile());
  EXPECT_THAT(calls.Made(), ElementsAre(Call("fclose", stream), Call("unlink", file.tmpFileName)));
  EXPECT_FALSE(std::filesystem::exists(file.tmpFileName));
  EXPECT_FALSE(file.IsTmpFile());
  EXPECT_EQ(-1, file.GetFD());
}

TEST_F(FileTest, DestroyTmpFileThatCannotRemoveTheFileFailsAndKeepsItTemporary) {
  ASSERT_EQ(File::SUCCESS, file.OpenTmpFile("t", File::READ_WRITE_FLAGS));
  std::filesystem::remove(file.tmpFileName);
  EXPECT_EQ(File::ERROR, file.DestroyTmpFile());
  EXPECT_EQ(ENOENT, file.myErrno);
  EXPECT_TRUE(file.IsTmpFile());
  EXPECT_EQ(-1, file.GetFD());
}

TEST_F(FileTest, DestroyTmpFileThatCannotCloseLeavesTheFileAndReportsTheClose) {
  ASSERT_EQ(File::SUCCESS, file.OpenTmpFile("t", File::READ_WRITE_FLAGS));
  close(file.GetFD());
  SystemCalls calls;
  EXPECT_EQ(File::ERROR, file.DestroyTmpFile());
  EXPECT_EQ(1u, calls.Made().size());
  EXPECT_EQ(EBADF, file.myErrno);
  EXPECT_TRUE(std::filesystem::exists(file.tmpFileName));
  EXPECT_FALSE(file.IsTmpFile());
}

TEST_F(FileTest, DestroyTmpFileOfAnotherFileAborts) {
  Hold("");
  const auto report = AssertionReport("Util/File.cpp", "isTmpFile");
  EXPECT_EXIT(file.DestroyTmpFile(), KilledBySignal(SIGABRT), report);
  EXPECT_EXIT(
      {
        file.OpenTmpFile("t", File::READ_WRITE_FLAGS);
        file.DestroyTmpFile();
        file.DestroyTmpFile();
      },
      KilledBySignal(SIGABRT), report);
}

// ---- WriteFileContents

class FileContentsTest : public FileTest {
 protected:
  FileContentsTest() : source(false) {}
  ~FileContentsTest() override { source.Close(); }

  // Opens `source` at the start of a file of `size` bytes, and `file` on a new one.
  void Open(size_t size) {
    bytes.clear();
    for (size_t i = 0; i < size; ++i) {
      bytes += static_cast<char>('a' + i % 23);
    }
    WriteFile("source", bytes);
    ASSERT_EQ(File::SUCCESS, source.Open("source", O_RDWR, 0));
    Hold("");
  }

  std::string Copied() const { return ReadFile("data"); }

  BareFile source;
  std::string bytes;
};

TEST_F(FileContentsTest, CopiesInPiecesOf4096Bytes) {
  Open(9000);
  long long copied = -1;
  SystemCalls calls;
  EXPECT_EQ(File::SUCCESS, file.WriteFileContents(source, 8200, &copied));
  const int in = source.GetFD();
  const int out = file.GetFD();
  EXPECT_THAT(calls.Made(),
              ElementsAre(Call("read", in, 4096), Call("write", out, 4096), Call("read", in, 4096),
                          Call("write", out, 4096), Call("read", in, 8), Call("write", out, 8)));
  EXPECT_EQ(8200, copied);
  EXPECT_EQ(bytes.substr(0, 8200), Copied());
}

TEST_F(FileContentsTest, CopyOfExactlyTheRestSucceeds) {
  for (const size_t size : {1, 4095, 4096, 4097}) {
    Open(size);
    long long copied = -1;
    EXPECT_EQ(File::SUCCESS, file.WriteFileContents(source, static_cast<long long>(size), &copied));
    EXPECT_EQ(static_cast<long long>(size), copied);
    EXPECT_EQ(bytes, Copied());
    source.Close();
    file.Close();
  }
}

TEST_F(FileContentsTest, CopyStopsAtTheEndOfTheSourceWithEndOfFile) {
  Open(5000);
  long long copied = -1;
  SystemCalls calls;
  EXPECT_EQ(File::END_OF_FILE, file.WriteFileContents(source, 20000, &copied));
  EXPECT_EQ(4u, calls.Made().size());
  EXPECT_EQ(5000, copied);
  EXPECT_EQ(bytes, Copied());
}

TEST_F(FileContentsTest, CopyStartsAtThePositionOfTheSourceAndEndsBehindWhatWasCopied) {
  Open(10);
  source.Seek(3, SEEK_SET);
  EXPECT_EQ(File::SUCCESS, file.WriteFileContents(source, 4, nullptr));
  EXPECT_EQ(bytes.substr(3, 4), Copied());
  char c = 0;
  EXPECT_EQ(File::SUCCESS, source.Read(c));
  EXPECT_EQ(bytes[7], c);
}

TEST_F(FileContentsTest, OnlyTheLowBitsOfTheLengthCount) {
  Open(10);
  long long copied = -1;
  EXPECT_EQ(File::SUCCESS, file.WriteFileContents(source, (1LL << 32) + 5, &copied));
  EXPECT_EQ(5, copied);
  EXPECT_EQ(bytes.substr(0, 5), Copied());
}

TEST_F(FileContentsTest, NegativeLengthIsALargeOne) {
  Open(10);
  long long copied = -1;
  SystemCalls calls;
  EXPECT_EQ(File::END_OF_FILE, file.WriteFileContents(source, -1, &copied));
  EXPECT_EQ(Call("read", source.GetFD(), 4096), calls.Made()[0]);
  EXPECT_EQ(10, copied);
  EXPECT_EQ(bytes, Copied());
}

TEST_F(FileContentsTest, CopyOfNothingReadsNothingAndSucceeds) {
  Open(10);
  for (const long long length : {0LL, 1LL << 32}) {
    long long copied = -1;
    EXPECT_EQ(File::SUCCESS, file.WriteFileContents(source, length, &copied));
    EXPECT_EQ(0, copied);
  }
  EXPECT_EQ("", Copied());
}

TEST_F(FileContentsTest, FailedReadOfTheSourceIsAFailureOfThisFile) {
  Open(10);
  long long copied = 77;
  SystemCalls calls;
  calls.Fail("read", {EIO});
  EXPECT_EQ(File::ERROR, file.WriteFileContents(source, 10, &copied));
  EXPECT_EQ(EIO, source.myErrno);
  EXPECT_EQ(EIO, file.myErrno);
  EXPECT_EQ(77, copied);
  EXPECT_EQ(1u, calls.Made().size());
}

TEST_F(FileContentsTest, FailedReadOfTheSourceCrashesACrashOnErrorFile) {
  Open(10);
  EXPECT_EXIT(
      {
        SystemCalls calls;
        calls.Fail("read", {EIO});
        File crashing(true);
        crashing.WriteFileContents(source, 10, nullptr);
      },
      KilledBySignal(SIGABRT), Eq("Input/output error\n"));
}

TEST_F(FileContentsTest, FailedWriteIsAFailure) {
  Open(10);
  long long copied = 77;
  SystemCalls calls;
  calls.Fail("write", {ENOSPC});
  EXPECT_EQ(File::ERROR, file.WriteFileContents(source, 10, &copied));
  EXPECT_EQ(ENOSPC, file.myErrno);
  EXPECT_EQ(77, copied);
  EXPECT_EQ(2u, calls.Made().size());
}

TEST_F(FileContentsTest, CopyForgetsAnEarlierErrorWhateverTheOperationsBelowDo) {
  Open(10);
  ForwardedFile target;
  target.myErrno = EIO;
  EXPECT_EQ(File::SUCCESS, target.WriteFileContents(source, 10, nullptr));
  EXPECT_EQ(bytes, target.bytes);
  EXPECT_EQ(0, target.myErrno);
}

TEST_F(FileContentsTest, SourceThatReportsNoNumberOfBytesGivesNone) {
  class Silent : public File {
   public:
    Silent() : File(false) {}
    FileStatus ReadN(void*, unsigned long, unsigned long, unsigned long*) override {
      return END_OF_FILE;
    }
  };
  Hold("");
  Silent silent;
  long long copied = 77;
  EXPECT_EQ(File::END_OF_FILE, file.WriteFileContents(silent, 10, &copied));
  EXPECT_EQ(0, copied);
  EXPECT_EQ("", Copied());
}

TEST_F(FileContentsTest, WriteStatusThatIsNoSuccessIsAFailure) {
  Open(10);
  ForwardedFile target;
  target.status = File::END_OF_FILE;
  long long copied = 77;
  EXPECT_EQ(File::ERROR, target.WriteFileContents(source, 10, &copied));
  EXPECT_EQ(ENOTTY, target.myErrno);
  EXPECT_EQ(bytes, target.bytes);
  EXPECT_EQ(77, copied);
}

}  // namespace
}  // namespace marrowfin::testing
