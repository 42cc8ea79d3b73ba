#include "convert/export/Hdf5File.h"

#include <hdf5.h>

#include <cerrno>

namespace marrowfin {
namespace {

static_assert(sizeof(hid_t) == sizeof(int64_t));

// Packs as much as is worth its time.
constexpr unsigned DEFLATE_LEVEL = 4;

// Owns one of HDF5's handles.
class Handle {
 public:
  Handle(hid_t id, herr_t (*close)(hid_t)) : id(id), close(close) {}
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  ~Handle() {
    if (id >= 0) {
      close(id);
    }
  }

  hid_t Get() const { return id; }

 private:
  hid_t id;
  herr_t (*close)(hid_t);
};

// The library tells errors by what its calls return, not on standard error; and where a file could
// not be written it does not try again at the end of the program, which it would never reach.
void Quieten() {
  static const bool once = [] {
    H5dont_atexit();
    return H5Eset_auto2(H5E_DEFAULT, nullptr, nullptr) >= 0;
  }();
  static_cast<void>(once);
}

hid_t InMemory(Hdf5Column::Type type) {
  return type == Hdf5Column::REAL ? H5T_NATIVE_DOUBLE : H5T_NATIVE_UINT64;
}

// The same bytes on every machine.
hid_t InFile(Hdf5Column::Type type) {
  switch (type) {
    case Hdf5Column::NUMBER8:
      return H5T_STD_U8LE;
    case Hdf5Column::NUMBER32:
      return H5T_STD_U32LE;
    case Hdf5Column::NUMBER64:
      return H5T_STD_U64LE;
    case Hdf5Column::REAL:
      break;
  }
  return H5T_IEEE_F64LE;
}

// How something in a file is made: without the time, so that the same events give the same bytes.
hid_t Timeless(hid_t kind) {
  const hid_t creation = H5Pcreate(kind);
  H5Pset_obj_track_times(creation, false);
  return creation;
}

// Texts of any length in UTF-8.
hid_t TextType() {
  const hid_t type = H5Tcopy(H5T_C_S1);
  H5Tset_size(type, H5T_VARIABLE);
  H5Tset_cset(type, H5T_CSET_UTF8);
  return type;
}

}  // namespace

// The file is locked already, by whoever made it.
Hdf5File::Hdf5File(const std::string& file, const std::string& name) : name(name) {
  Quieten();
  const Handle access(H5Pcreate(H5P_FILE_ACCESS), H5Pclose);
  const Handle creation(Timeless(H5P_FILE_CREATE), H5Pclose);
  if (Check(H5Pset_file_locking(access.Get(), false, true)) &&
      Check(H5Pset_fclose_degree(access.Get(), H5F_CLOSE_STRONG)) &&
      Check(H5Pset_link_creation_order(creation.Get(),
                                       H5P_CRT_ORDER_TRACKED | H5P_CRT_ORDER_INDEXED))) {
    id = H5Fcreate(file.c_str(), H5F_ACC_TRUNC, creation.Get(), access.Get());
    Check(id);
  }
}

Hdf5File::~Hdf5File() {
  if (id >= 0) {
    H5Fclose(id);
  }
}

bool Hdf5File::Check(int64_t result) {
  if (result >= 0 || fault) {
    return !fault;
  }
  if (errno != 0) {
    fault = SystemFault(name, "cannot write", errno);
  } else {
    fault.kind = Fault::SYSTEM;
    fault.file = name;
    fault.reason = "cannot write";
  }
  fault.remedy = "make room there, or choose another place";
  return false;
}

void Hdf5File::MakeGroup(const std::string& path) {
  if (!fault) {
    const Handle creation(Timeless(H5P_GROUP_CREATE), H5Pclose);
    const Handle group(H5Gcreate2(id, path.c_str(), H5P_DEFAULT, creation.Get(), H5P_DEFAULT),
                       H5Gclose);
    Check(group.Get());
  }
}

void Hdf5File::Say(const std::string& path, const char* key, const std::string& value) {
  if (fault) {
    return;
  }
  const Handle type(TextType(), H5Tclose);
  const Handle one(H5Screate(H5S_SCALAR), H5Sclose);
  const Handle said(H5Acreate_by_name(id, path.c_str(), key, type.Get(), one.Get(), H5P_DEFAULT,
                                      H5P_DEFAULT, H5P_DEFAULT),
                    H5Aclose);
  const char* const text = value.c_str();
  if (Check(said.Get())) {
    Check(H5Awrite(said.Get(), type.Get(), &text));
  }
}

void Hdf5File::PutTexts(const std::string& path, const std::vector<std::string>& texts) {
  if (fault) {
    return;
  }
  std::vector<const char*> pointers;
  for (const std::string& text : texts) {
    pointers.push_back(text.c_str());
  }
  const hsize_t size = texts.size();
  const Handle type(TextType(), H5Tclose);
  const Handle space(H5Screate_simple(1, &size, nullptr), H5Sclose);
  const Handle creation(Timeless(H5P_DATASET_CREATE), H5Pclose);
  const Handle column(H5Dcreate2(id, path.c_str(), type.Get(), space.Get(), H5P_DEFAULT,
                                 creation.Get(), H5P_DEFAULT),
                      H5Dclose);
  if (Check(column.Get()) && size > 0) {
    Check(H5Dwrite(column.Get(), type.Get(), H5S_ALL, H5S_ALL, H5P_DEFAULT, pointers.data()));
  }
}

void Hdf5File::Close() {
  if (!fault) {
    errno = 0;
    const hid_t closed = id;
    id = -1;
    Check(H5Fclose(closed));
  }
}

Hdf5Column::Hdf5Column(Hdf5File& file, const std::string& path, Type type)
    : file(file), type(type) {
  if (file.fault) {
    return;
  }
  values.reserve(CHUNK);
  const hsize_t size = 0;
  const hsize_t most = H5S_UNLIMITED;
  const hsize_t chunk = CHUNK;
  const Handle space(H5Screate_simple(1, &size, &most), H5Sclose);
  const Handle creation(Timeless(H5P_DATASET_CREATE), H5Pclose);
  if (file.Check(H5Pset_chunk(creation.Get(), 1, &chunk)) &&
      file.Check(H5Pset_shuffle(creation.Get())) &&
      file.Check(H5Pset_deflate(creation.Get(), DEFLATE_LEVEL))) {
    id = H5Dcreate2(file.id, path.c_str(), InFile(type), space.Get(), H5P_DEFAULT, creation.Get(),
                    H5P_DEFAULT);
    file.Check(id);
  }
}

Hdf5Column::~Hdf5Column() {
  if (id >= 0) {
    H5Dclose(id);
  }
}

void Hdf5Column::Write() {
  if (!file.fault && !values.empty()) {
    errno = 0;
    const hsize_t count = values.size();
    const hsize_t from = written;
    const hsize_t size = written + count;
    if (!file.Check(H5Dset_extent(id, &size))) {
      return;
    }
    const Handle space(H5Dget_space(id), H5Sclose);
    const Handle memory(H5Screate_simple(1, &count, nullptr), H5Sclose);
    if (file.Check(
            H5Sselect_hyperslab(space.Get(), H5S_SELECT_SET, &from, nullptr, &count, nullptr)) &&
        file.Check(
            H5Dwrite(id, InMemory(type), memory.Get(), space.Get(), H5P_DEFAULT, values.data()))) {
      written = size;
    }
  }
  values.clear();
}

void Hdf5Column::Finish() {
  Write();
  if (id >= 0) {
    const hid_t closed = id;
    id = -1;
    file.Check(H5Dclose(closed));
  }
}

}  // namespace marrowfin
