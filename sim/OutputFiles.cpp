#include "sim/OutputFiles.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <utility>

#include "Util/File.h"
#include "sim/FileIdentity.h"
#include "trace/write/LinkTarget.h"

namespace marrowfin::sim {

namespace {

// The error number that making a file of this name would end with; 0 for none.
int WhyNotMakeable(const std::string& name) {
  const std::filesystem::path target = LinkTarget(name);
  const std::string folder = target.has_parent_path() ? target.parent_path().string() : ".";
  struct stat status;
  if (stat(folder.c_str(), &status) != 0) {
    return errno;
  }
  if (!target.has_filename()) {
    return EISDIR;
  }
  return faccessat(AT_FDCWD, folder.c_str(), W_OK | X_OK, AT_EACCESS) == 0 ? 0 : errno;
}

// The error number that writing to this name would end with; 0 for none. Makes and empties nothing.
int WhyNotWritable(const std::string& name) {
  struct stat status;
  if (stat(name.c_str(), &status) != 0) {
    return errno == ENOENT ? WhyNotMakeable(name) : errno;
  }
  if (S_ISDIR(status.st_mode)) {
    return EISDIR;
  }
  // A pipe is not opened to find out: its reader would take the end of the attempt for the end of
  // the output.
  if (!S_ISREG(status.st_mode)) {
    return faccessat(AT_FDCWD, name.c_str(), W_OK, AT_EACCESS) == 0 ? 0 : errno;
  }
  const int probe = open(name.c_str(), O_WRONLY | O_CLOEXEC);
  if (probe == -1) {
    return errno;
  }
  close(probe);
  return 0;
}

bool IsRegular(int descriptor) {
  struct stat status;
  return fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

std::string FaultOfName(const std::string& name) {
  const int error = WhyNotWritable(name);
  return error == 0 ? "" : name + ": " + strerror(error);
}

}  // namespace

OutputFiles::~OutputFiles() {
  for (const Output& output : outputs) {
    if (output.descriptor != -1) {
      close(output.descriptor);
    }
  }
}

void OutputFiles::Add(const std::string& option, const std::string& name, bool isOpened) {
  if (!name.empty()) {
    outputs.push_back({option, name, isOpened, -1, false});
  }
}

void OutputFiles::Protect(const std::string& name, const std::string& why) {
  taken.push_back({name, -1, why});
}

void OutputFiles::Protect(int descriptor, const std::string& why) {
  taken.push_back({"", descriptor, why});
}

std::string OutputFiles::Fault() const {
  for (const Output& output : outputs) {
    std::string fault = FaultOfName(output.name);
    if (!fault.empty()) {
      return fault;
    }
  }
  for (size_t index = 0; index < outputs.size(); ++index) {
    std::string fault = FaultOfOverlap(index);
    if (!fault.empty()) {
      return fault;
    }
  }
  return "";
}

std::string OutputFiles::FaultOfOverlap(size_t index) const {
  const Output& output = outputs[index];
  const auto identity = IdentityOf(output.name);
  if (!identity) {
    return "";
  }
  for (const Taken& other : taken) {
    if (identity == (other.name.empty() ? IdentityOf(other.descriptor) : IdentityOf(other.name))) {
      return output.option + " cannot go to " + output.name + ": " + other.why;
    }
  }
  for (size_t before = 0; before < index; ++before) {
    if (identity == IdentityOf(outputs[before].name)) {
      return outputs[before].option + " and " + output.option +
             " cannot go to the same file: " + outputs[before].name + " is " + output.name;
    }
  }
  return "";
}

std::string OutputFiles::Open() {
  for (Output& output : outputs) {
    if (output.isOpened && !OpenOne(output)) {
      const std::string fault = output.name + ": " + strerror(errno);
      Undo();
      return fault;
    }
  }
  for (const Output& output : outputs) {
    if (output.descriptor != -1 && IsRegular(output.descriptor) &&
        ftruncate(output.descriptor, 0) != 0) {
      const std::string fault = output.name + ": " + strerror(errno);
      Undo();
      return fault;
    }
  }
  return "";
}

// Opens without emptying, and finds out whether the file was there.
bool OutputFiles::OpenOne(Output& output) {
  const auto tryWith = [&](int flags) {
    return open(output.name.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | flags, File::DEFAULT_MODE);
  };
  output.descriptor = tryWith(O_EXCL);
  output.isNew = output.descriptor != -1;
  if (!output.isNew && errno == EEXIST) {
    output.descriptor = tryWith(0);
  }
  return output.descriptor != -1;
}

void OutputFiles::Undo() {
  for (const Output& output : outputs) {
    if (output.isNew) {
      unlink(output.name.c_str());
    }
  }
}

int OutputFiles::Take(const std::string& option) {
  for (Output& output : outputs) {
    if (output.option == option) {
      return std::exchange(output.descriptor, -1);
    }
  }
  return -1;
}

}  // namespace marrowfin::sim
