#include "trace/read/CompanionFiles.h"

#include <sys/stat.h>

#include <utility>

#include "trace/read/AboutFile.h"
#include "trace/read/NotesFile.h"

namespace marrowfin {

namespace {

bool IsPlainFile(const std::string& name) {
  struct stat status;
  return stat(name.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

Result<std::unique_ptr<PositionedFile>> OpenIfThere(const std::string& name) {
  if (!IsPlainFile(name)) {
    return std::unique_ptr<PositionedFile>();
  }
  return OpenPlainFile(name, PlainAccess::READ);
}

}  // namespace

Result<std::shared_ptr<const MfzFile>> OpenPackedFile(const std::string& name) {
  if (!IsPlainFile(name)) {
    return std::shared_ptr<const MfzFile>();
  }
  Result<std::unique_ptr<PositionedFile>> file = OpenPlainFile(name, PlainAccess::READ);
  if (!file) {
    return file.Why();
  }
  const Result<bool> isPacked = IsMfz(**file);
  if (!isPacked) {
    return isPacked.Why();
  }
  if (!*isPacked) {
    return std::shared_ptr<const MfzFile>();
  }
  return MfzFile::Open(std::move(file).Take());
}

Result<CompanionFiles> CompanionFilesOf(const std::string& trace) {
  CompanionFiles files;
  const Result<std::shared_ptr<const MfzFile>> packed = OpenPackedFile(trace);
  if (!packed) {
    return packed.Why();
  }
  if (*packed != nullptr) {
    files.about = MfzPart(*packed, MfzStream::ABOUT);
    files.notes = MfzPart(*packed, MfzStream::NOTES);
  }
  if (files.about == nullptr) {
    Result<std::unique_ptr<PositionedFile>> about = OpenIfThere(AboutBeside(trace));
    if (!about) {
      return about.Why();
    }
    files.about = std::move(about).Take();
  }
  if (files.notes == nullptr) {
    Result<std::unique_ptr<PositionedFile>> notes = OpenIfThere(NotesFile::NameBeside(trace));
    if (!notes) {
      return notes.Why();
    }
    files.notes = std::move(notes).Take();
  }
  return files;
}

}  // namespace marrowfin
