// EGL/egl.h declares functions that are not linked with: their types are all that is used of it.
#include <EGL/egl.h>
#include <EGL/eglext.h>

#include <array>
#include <cstring>
#include <memory>
#include <string>

#include "render/OffscreenContext.h"
#include "render/SharedLibrary.h"

namespace marrowfin {
namespace {

// The functions of EGL that are called, without the egl that all begin with.
struct Egl {
  decltype(eglBindAPI)* BindAPI = nullptr;
  decltype(eglChooseConfig)* ChooseConfig = nullptr;
  decltype(eglCreateContext)* CreateContext = nullptr;
  decltype(eglCreatePbufferSurface)* CreatePbufferSurface = nullptr;
  decltype(eglDestroyContext)* DestroyContext = nullptr;
  decltype(eglDestroySurface)* DestroySurface = nullptr;
  decltype(eglGetConfigAttrib)* GetConfigAttrib = nullptr;
  decltype(eglGetProcAddress)* GetProcAddress = nullptr;
  decltype(eglInitialize)* Initialize = nullptr;
  decltype(eglMakeCurrent)* MakeCurrent = nullptr;
  bool whole = false;

  Egl() {
    const SharedLibrary library("libEGL.so.1");
    whole = static_cast<bool>(library);
    const auto fill = [&]<class Function>(Function*& function, const char* name) {
      function = whole ? library.Find<Function>(name) : nullptr;
      whole = function != nullptr;
    };
    fill(BindAPI, "eglBindAPI");
    fill(ChooseConfig, "eglChooseConfig");
    fill(CreateContext, "eglCreateContext");
    fill(CreatePbufferSurface, "eglCreatePbufferSurface");
    fill(DestroyContext, "eglDestroyContext");
    fill(DestroySurface, "eglDestroySurface");
    fill(GetConfigAttrib, "eglGetConfigAttrib");
    fill(GetProcAddress, "eglGetProcAddress");
    fill(Initialize, "eglInitialize");
    fill(MakeCurrent, "eglMakeCurrent");
  }

  template <class Pointer>
  Pointer Extension(const char* name) const {
    return reinterpret_cast<Pointer>(GetProcAddress(name));
  }
};

const Egl& TheEgl() {
  static const Egl egl;
  return egl;
}

bool HasWord(const char* words, const char* word) {
  const std::string all = std::string(" ") + (words == nullptr ? "" : words) + " ";
  return all.find(std::string(" ") + word + " ") != std::string::npos;
}

// The display of the software rasterizer, whatever else the machine has.
EGLDisplay SoftwareDisplay(PFNEGLGETPLATFORMDISPLAYEXTPROC getDisplay) {
  const Egl& egl = TheEgl();
  const auto queryDevices = egl.Extension<PFNEGLQUERYDEVICESEXTPROC>("eglQueryDevicesEXT");
  const auto queryString = egl.Extension<PFNEGLQUERYDEVICESTRINGEXTPROC>("eglQueryDeviceStringEXT");
  std::array<EGLDeviceEXT, 64> devices = {};
  EGLint count = 0;
  if (queryDevices == nullptr || queryString == nullptr ||
      queryDevices(devices.size(), devices.data(), &count) == EGL_FALSE) {
    return EGL_NO_DISPLAY;
  }
  for (EGLint i = 0; i < count; ++i) {
    if (HasWord(queryString(devices[i], EGL_EXTENSIONS), "EGL_MESA_device_software")) {
      return getDisplay(EGL_PLATFORM_DEVICE_EXT, devices[i], nullptr);
    }
  }
  return EGL_NO_DISPLAY;
}

// The one display of the process. It stays open to its end: to close it would end every context of
// the process that draws by it.
class Display {
 public:
  static const Display& Get() {
    static const Display display;
    return display;
  }

  EGLDisplay Handle() const { return handle; }

 private:
  Display() {
    const auto getDisplay =
        TheEgl().Extension<PFNEGLGETPLATFORMDISPLAYEXTPROC>("eglGetPlatformDisplayEXT");
    if (getDisplay == nullptr) {
      return;
    }
    handle = SoftwareDisplay(getDisplay);
    if (!Initialize()) {
      handle = getDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
      Initialize();
    }
  }

  bool Initialize() {
    if (handle != EGL_NO_DISPLAY && TheEgl().Initialize(handle, nullptr, nullptr) == EGL_FALSE) {
      handle = EGL_NO_DISPLAY;
    }
    return handle != EGL_NO_DISPLAY;
  }

  EGLDisplay handle = EGL_NO_DISPLAY;
};

class EglContext : public OffscreenContext {
 public:
  explicit EglContext(PictureSize size) : OffscreenContext(size) {}

  ~EglContext() override {
    const Egl& egl = TheEgl();
    if (LetGo()) {
      egl.MakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    }
    if (context != EGL_NO_CONTEXT) {
      egl.DestroyContext(display, context);
    }
    if (surface != EGL_NO_SURFACE) {
      egl.DestroySurface(display, surface);
    }
  }

 private:
  const char* Name() const override { return "EGL"; }

  Fault Create() override {
    const Egl& egl = TheEgl();
    const std::string remedy = "install Mesa's EGL or OSMesa";
    if (!egl.whole) {
      return DrawingFault("there is no EGL (libEGL.so.1)", remedy);
    }
    display = Display::Get().Handle();
    if (display == EGL_NO_DISPLAY || egl.BindAPI(EGL_OPENGL_API) == EGL_FALSE || !ChooseConfig()) {
      return DrawingFault("EGL draws nothing without a screen", remedy);
    }
    if (!CreateSurface()) {
      return DrawingFault("EGL has no room for " + std::to_string(Size().width) + " by " +
                              std::to_string(Size().height) + " pixels",
                          "ask for a smaller picture");
    }
    context = egl.CreateContext(display, config, EGL_NO_CONTEXT, nullptr);
    const auto find = [&](const char* name) {
      return reinterpret_cast<void*>(egl.GetProcAddress(name));
    };
    if (context == EGL_NO_CONTEXT || !FindFunctions(find, functions)) {
      return DrawingFault("EGL makes no context", remedy);
    }
    return {};
  }

  // One with bytes for channels, as a window has, and nothing else: those with more come first.
  bool ChooseConfig() {
    const Egl& egl = TheEgl();
    const EGLint wanted[] = {EGL_SURFACE_TYPE,
                             EGL_PBUFFER_BIT,
                             EGL_RENDERABLE_TYPE,
                             EGL_OPENGL_BIT,
                             EGL_RED_SIZE,
                             8,
                             EGL_GREEN_SIZE,
                             8,
                             EGL_BLUE_SIZE,
                             8,
                             EGL_SAMPLES,
                             0,
                             EGL_NONE};
    std::array<EGLConfig, 256> configs = {};
    EGLint count = 0;
    if (egl.ChooseConfig(display, wanted, configs.data(), configs.size(), &count) == EGL_FALSE) {
      return false;
    }
    for (EGLint i = 0; i < count; ++i) {
      if (Has(configs[i], EGL_RED_SIZE, 8) && Has(configs[i], EGL_GREEN_SIZE, 8) &&
          Has(configs[i], EGL_BLUE_SIZE, 8)) {
        config = configs[i];
        return true;
      }
    }
    return false;
  }

  bool Has(EGLConfig of, EGLint attribute, EGLint value) const {
    EGLint found = 0;
    return TheEgl().GetConfigAttrib(display, of, attribute, &found) == EGL_TRUE && found == value;
  }

  bool CreateSurface() {
    const EGLint attributes[] = {EGL_WIDTH, static_cast<EGLint>(Size().width), EGL_HEIGHT,
                                 static_cast<EGLint>(Size().height), EGL_NONE};
    surface = TheEgl().CreatePbufferSurface(display, config, attributes);
    return surface != EGL_NO_SURFACE;
  }

  bool Bind() override {
    const Egl& egl = TheEgl();
    // Which of the interfaces of EGL is meant is a state of the thread.
    return egl.BindAPI(EGL_OPENGL_API) == EGL_TRUE &&
           egl.MakeCurrent(display, surface, surface, context) == EGL_TRUE;
  }

  EGLDisplay display = EGL_NO_DISPLAY;
  EGLConfig config = nullptr;
  EGLSurface surface = EGL_NO_SURFACE;
  EGLContext context = EGL_NO_CONTEXT;
};

}  // namespace

std::unique_ptr<OffscreenContext> NewEglContext(PictureSize size) {
  return std::make_unique<EglContext>(size);
}

}  // namespace marrowfin
