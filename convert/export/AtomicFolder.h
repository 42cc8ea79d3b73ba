#ifndef CONVERT_EXPORT_ATOMICFOLDER_H
#define CONVERT_EXPORT_ATOMICFOLDER_H

#include <functional>
#include <string>

#include "trace/base/Fault.h"

namespace marrowfin {

// A folder of files that is there whole or not at all, as an AtomicFile is.
//
// What is put there is put into a temporary folder beside it, which takes its name when all is on
// the disk. The temporary goes with this object. A process that is killed leaves it: it is named
// after the folder (FOLDER.mfpart-XXXXXX) and locked while it is filled, and whoever next makes a
// folder of that name and finds it unlocked removes it. Threads: one at a time.
class AtomicFolder {
 public:
  AtomicFolder() = default;
  AtomicFolder(const AtomicFolder&) = delete;
  AtomicFolder& operator=(const AtomicFolder&) = delete;
  ~AtomicFolder();

  // Whether a folder that is there may go for another.
  typedef std::function<bool(const std::string& folder)> MayReplace;

  // Begins the folder `path`.
  [[nodiscard]] Fault Open(const std::string& path, const MayReplace& mayReplace);

  // The temporary.
  const std::string& Path() const { return temporary; }

  // Ends the folder: it is on the disk and has its name when this succeeds.
  [[nodiscard]] Fault Commit();

 private:
  bool MakeTemporary();
  bool Lock();
  Fault Refused(const char* action) const;
  bool TakeName() const;
  bool Replace() const;

  std::string path;       // as the caller gave it
  std::string target;     // with links followed
  std::string temporary;  // empty where there is none
  int descriptor = -1;    // of the temporary, which holds its lock
  MayReplace mayReplace;
};

}  // namespace marrowfin

#endif
