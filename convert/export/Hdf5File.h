#ifndef CONVERT_EXPORT_HDF5FILE_H
#define CONVERT_EXPORT_HDF5FILE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "trace/base/Fault.h"

namespace marrowfin {

class Hdf5Column;

// A file of columns, groups and attributes. Calls do nothing behind the first fault. HDF5's own
// types are kept out of this header. Threads: one at a time in the whole program, as HDF5 wants it.
class Hdf5File {
 public:
  // `file` is written anew, `name` is for messages.
  Hdf5File(const std::string& file, const std::string& name);
  Hdf5File(const Hdf5File&) = delete;
  Hdf5File& operator=(const Hdf5File&) = delete;
  ~Hdf5File();

  void MakeGroup(const std::string& path);

  // A text as an attribute of the group or column at `path`.
  void Say(const std::string& path, const char* key, const std::string& value);

  // Texts as a column.
  void PutTexts(const std::string& path, const std::vector<std::string>& texts);

  // Closes the file, all columns of which must be finished.
  void Close();

  const Fault& GetFault() const { return fault; }

 private:
  friend class Hdf5Column;

  // True for what HDF5 returns where all is well.
  bool Check(int64_t result);

  std::string name;
  int64_t id = -1;
  Fault fault;
};

// A column of numbers that grows, in chunks that are packed each by itself (shuffled, then
// deflated: the filters that every reader has).
class Hdf5Column {
 public:
  enum Type { NUMBER8, NUMBER32, NUMBER64, REAL };

  Hdf5Column(Hdf5File& file, const std::string& path, Type type);
  Hdf5Column(const Hdf5Column&) = delete;
  Hdf5Column& operator=(const Hdf5Column&) = delete;
  ~Hdf5Column();

  // Reals as their bits.
  void Add(uint64_t value) {
    values.push_back(value);
    if (values.size() == CHUNK) {
      Write();
    }
  }

  // Writes the rest.
  void Finish();

 private:
  static constexpr size_t CHUNK = 1 << 15;

  void Write();

  Hdf5File& file;
  int64_t id = -1;
  const Type type;
  uint64_t written = 0;
  std::vector<uint64_t> values;
};

}  // namespace marrowfin

#endif
