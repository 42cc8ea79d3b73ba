#ifndef UTIL_FILE_H
#define UTIL_FILE_H

#include <cstdarg>
#include <cstdio>
#include <string>
#include <type_traits>

// One open file: a descriptor, and a standard I/O stream on the same descriptor.
//
// Write and Read are one system call each on the descriptor; Print goes through the stream's
// buffer, so the two kinds of output on one File are not ordered with respect to each other.
//
// Every operation reports a FileStatus. One that meets a failure of the system keeps its errno; on
// a File that is crash-on-error it then prints the system's error text and aborts, on any other it
// returns ERROR. A File is not closed by its destructor: copies share the descriptor and the
// stream.
//
// The order of the virtual operations and of the fields is fixed.
class File {
  // Whether an argument of this type is what a va_list turns into when it is passed on. A va_list
  // parameter decays, so the type is taken from a function that has one.
  template <class Result, class List>
  static List ParameterOf(Result (*)(FILE*, const char*, List));
  template <class Argument>
  static constexpr bool IsArgumentList = std::is_same_v<Argument, decltype(ParameterOf(&vfprintf))>;

 public:
  enum FileStatus { ERROR = 0, END_OF_FILE = 1, SUCCESS = 2 };

  static const int READ_WRITE_FLAGS;         // read and write, create
  static const int WRITE_FLAGS;              // write only, create, truncate
  static const int READ_FLAGS;               // read only
  static const unsigned short DEFAULT_MODE;  // 0666, before the process's umask
  static int tmpFileCount;                   // temporary files made by this process

  // The process's standard streams; none is crash-on-error.
  static File Stdout;
  static File Stderr;
  static File Stdin;

  // No file yet.
  explicit File(bool crashOnError);

  // On an open stream or descriptor, whose `mode` is as for fdopen. The flag takes effect after the
  // attaching, so a failure to attach shows only in IsOpen().
  File(FILE* stream, bool crashOnError);
  File(int fd, const char* mode, bool crashOnError);

  File(const File& other) = default;
  File& operator=(const File& other) = default;

  // Opens `name` with the flags of open(2) and the permissions `mode`.
  FileStatus Open(const char* name, int flags, unsigned short mode);

  // The same, but always with the permissions 0666: `mode` is ignored.
  FileStatus Open(const std::string& name, int flags, unsigned short mode);

  // Attaches to an open stream or descriptor.
  FileStatus SetFile(FILE* stream);
  FileStatus SetFile(int fd, const char* mode);

  // One write of size * count bytes. `written`, if given, receives the number of bytes written. A
  // short write is a SUCCESS: callers that care compare `written`.
  virtual FileStatus WriteN(const void* buf, unsigned long size, unsigned long count,
                            unsigned long* written);

  // One read of size * count bytes; fewer bytes than that are an END_OF_FILE. `got`, if given,
  // receives the number of whole items of `size` bytes (WriteN reports bytes).
  virtual FileStatus ReadN(void* buf, unsigned long size, unsigned long count, unsigned long* got);

  // Moves to the start of the file.
  virtual FileStatus Rewind();

  // Prints the text of the last failure to standard error and aborts.
  virtual void Crash();

  virtual ~File();

  FileStatus Write(const void* buf, unsigned long n, unsigned long* written = nullptr);
  FileStatus Write(const std::string& s);
  FileStatus Write(char c);

  FileStatus Read(void* buf, unsigned long n, unsigned long* got = nullptr);
  FileStatus Read(char& c);

  // Replaces `s` by what stands up to and including the next `delimiter`, or by what is left of the
  // file, with the status of the last read. One system call a byte.
  FileStatus Read(std::string& s, char delimiter);

  // printf to the stream; returns the number of characters, or a negative number where nothing
  // could be printed.
  [[gnu::format(printf, 2, 3)]] int Print(const char* format, ...);

  // The same with a list of arguments. It takes a va_list and nothing that merely converts to one:
  // a literal 0 is a null pointer too, and Print("%d", 0) must stay the form above.
  template <class List, std::enable_if_t<IsArgumentList<List>, int> = 0>
  int Print(const char* format, List args) {
    return PrintList(format, args);
  }

  // Moves as lseek does, but only the low 32 bits of `offset` count, as an unsigned number: a
  // negative offset is a large positive one. Asserts offset < INT_MAX.
  FileStatus Seek(long long offset, int whence);

  // The position of the descriptor.
  FileStatus Tell(long long& pos);

  // Closes the file. After a File with a stream was closed, IsOpen() stays true and a further Close
  // does nothing and succeeds.
  FileStatus Close();

  bool IsOpen();
  FILE* GetFILE();
  int GetFD();
  bool IsTmpFile();

  // Whether both use the same descriptor.
  bool operator==(const File& other) const;

  // Opens a new file whose name is `prefix`, the process id, the seconds of the time of day and the
  // number of temporary files made before: PREFIX4711-1163635200-0.tmp.
  FileStatus OpenTmpFile(const char* prefix, int flags);

  // Closes and removes the file that OpenTmpFile made; asserts that it was. Where the file cannot
  // be removed the result is ERROR and it still counts as temporary.
  FileStatus DestroyTmpFile();

  // Copies up to `length` bytes (its low 32 bits) from the position of `source` to this file.
  // `copied`, if given, receives their number. The result is the status of the last read.
  FileStatus WriteFileContents(File& source, long long length, long long* copied);

 protected:
  int fDes;          // -1 when there is none
  FILE* fFile;       // null when there is none
  int myErrno;       // of the last failure; 0 after an operation that met none
  int crashOnError;  // a boolean, 32 bits wide
  int isTmpFile;     // a boolean, 32 bits wide
  std::string tmpFileName;

 private:
  // Keeps errno, then crashes or returns ERROR.
  FileStatus Fail();

  [[gnu::format(printf, 2, 0)]] int PrintList(const char* format, va_list args);
};

#endif
