// GL/osmesa.h declares functions that are not linked with: their types are all that is used of it.
#include <GL/osmesa.h>

#include <vector>

#include "render/OffscreenContext.h"
#include "render/SharedLibrary.h"

namespace marrowfin {
namespace {

struct Osmesa {
  decltype(OSMesaCreateContextExt)* create = nullptr;
  decltype(OSMesaDestroyContext)* destroy = nullptr;
  decltype(OSMesaMakeCurrent)* makeCurrent = nullptr;
  decltype(OSMesaGetProcAddress)* find = nullptr;
  bool whole = false;

  Osmesa() {
    const SharedLibrary library("libOSMesa.so.8");
    whole = static_cast<bool>(library);
    const auto fill = [&]<class Function>(Function*& function, const char* name) {
      function = whole ? library.Find<Function>(name) : nullptr;
      whole = function != nullptr;
    };
    fill(create, "OSMesaCreateContextExt");
    fill(destroy, "OSMesaDestroyContext");
    fill(makeCurrent, "OSMesaMakeCurrent");
    fill(find, "OSMesaGetProcAddress");
  }
};

const Osmesa& TheOsmesa() {
  static const Osmesa osmesa;
  return osmesa;
}

class OsmesaContext : public OffscreenContext {
 public:
  explicit OsmesaContext(PictureSize size) : OffscreenContext(size), pixels(4 * size.Pixels()) {}

  ~OsmesaContext() override {
    LetGo();
    if (context != nullptr) {
      TheOsmesa().destroy(context);
    }
  }

 private:
  const char* Name() const override { return "OSMesa"; }

  Fault Create() override {
    const Osmesa& osmesa = TheOsmesa();
    if (!osmesa.whole) {
      return DrawingFault("there is no OSMesa (libOSMesa.so.8)", "install Mesa's EGL or OSMesa");
    }
    context = osmesa.create(OSMESA_RGBA, 0, 0, 0, nullptr);
    const auto find = [&](const char* name) { return reinterpret_cast<void*>(osmesa.find(name)); };
    if (context == nullptr || !FindFunctions(find, functions)) {
      return DrawingFault("OSMesa makes no context", "install another version of it");
    }
    return {};
  }

  bool Bind() override {
    return TheOsmesa().makeCurrent(context, pixels.data(), GL_UNSIGNED_BYTE,
                                   static_cast<GLsizei>(Size().width),
                                   static_cast<GLsizei>(Size().height)) != GL_FALSE;
  }

  OSMesaContext context = nullptr;
  std::vector<GLubyte> pixels;  // red, green, blue and alpha of each
};

}  // namespace

std::unique_ptr<OffscreenContext> NewOsmesaContext(PictureSize size) {
  return std::make_unique<OsmesaContext>(size);
}

}  // namespace marrowfin
