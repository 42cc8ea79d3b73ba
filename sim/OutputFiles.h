#ifndef SIM_OUTPUTFILES_H
#define SIM_OUTPUTFILES_H

#include <string>
#include <vector>

namespace marrowfin::sim {

// The files that a run writes: found to be writable and apart from each other before any of them is
// touched, and then opened all or none.
//
// Calling order: Add() and Protect() for all; Fault(); Open(); Take().
class OutputFiles {
 public:
  OutputFiles() = default;
  OutputFiles(const OutputFiles&) = delete;
  OutputFiles& operator=(const OutputFiles&) = delete;

  // Closes what was opened and not taken.
  ~OutputFiles();

  // The file that option `option` names; none where `name` is empty. What is not to be opened is
  // only looked at: somebody else opens it later.
  void Add(const std::string& option, const std::string& name, bool isOpened = true);

  // A file that no output may be, because of `why`.
  void Protect(const std::string& name, const std::string& why);
  void Protect(int descriptor, const std::string& why);

  // What is wrong with the names; empty if nothing is. Touches nothing.
  std::string Fault() const;

  // Opens the files, making those that are not there, and empties them when all are open. Returns
  // what went wrong; then those that it made are gone again. Waits for the readers of named pipes.
  std::string Open();

  // The descriptor for an option, which is the caller's from then on; -1 where it names no file.
  int Take(const std::string& option);

 private:
  struct Output {
    std::string option;
    std::string name;
    bool isOpened;
    int descriptor;
    bool isNew;
  };

  // Something that outputs must not be.
  struct Taken {
    std::string name;  // empty for a descriptor
    int descriptor;
    std::string why;
  };

  std::string FaultOfOverlap(size_t index) const;
  static bool OpenOne(Output& output);
  void Undo();

  std::vector<Output> outputs;
  std::vector<Taken> taken;
};

}  // namespace marrowfin::sim

#endif
