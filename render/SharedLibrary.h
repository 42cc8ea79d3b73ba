#ifndef RENDER_SHAREDLIBRARY_H
#define RENDER_SHAREDLIBRARY_H

#include <dlfcn.h>

namespace marrowfin {

// A library that is looked for when it is needed. It stays loaded to the end of the process, since
// drivers leave threads and handlers behind.
class SharedLibrary {
 public:
  explicit SharedLibrary(const char* name) : handle(dlopen(name, RTLD_NOW | RTLD_LOCAL)) {}

  explicit operator bool() const { return handle != nullptr; }

  // Null where the library has none of this name.
  template <class Function>
  Function* Find(const char* name) const {
    return reinterpret_cast<Function*>(dlsym(handle, name));
  }

 private:
  void* handle;
};

}  // namespace marrowfin

#endif
