#include "render/OffscreenContext.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace marrowfin {
namespace {

const GLubyte* TextOf(GLenum name) {
  static const GLubyte unknown[] = "unknown";
  const GLubyte* const text = glGetString(name);
  return text == nullptr ? unknown : text;
}

std::string StringOf(GLenum name) { return reinterpret_cast<const char*>(TextOf(name)); }

// "4.5 (Compatibility Profile) Mesa 22.3.6" names the library at its end.
std::string Library() {
  const std::string version = StringOf(GL_VERSION);
  const size_t bracket = version.rfind(") ");
  return bracket == std::string::npos ? "OpenGL " + version : version.substr(bracket + 2);
}

}  // namespace

Fault DrawingFault(const std::string& reason, const std::string& remedy) {
  Fault fault;
  fault.kind = Fault::SYSTEM;
  fault.file = "OpenGL";
  fault.reason = reason;
  fault.remedy = remedy;
  return fault;
}

OffscreenContext::~OffscreenContext() = default;

Result<std::unique_ptr<OffscreenContext>> OffscreenContext::Open(PictureSize size, Way way) {
  if (way == BY_OSMESA) {
    return Try(NewOsmesaContext(size));
  }
  auto byEgl = Try(NewEglContext(size));
  if (byEgl || way == BY_EGL) {
    return byEgl;
  }
  auto byOsmesa = Try(NewOsmesaContext(size));
  if (byOsmesa) {
    return byOsmesa;
  }
  Fault fault = byOsmesa.Why();
  fault.reason = byEgl.Why().reason + ", and " + fault.reason;
  return fault;
}

Result<std::unique_ptr<OffscreenContext>> OffscreenContext::Try(
    std::unique_ptr<OffscreenContext> context) {
  if (Fault fault = context->Create()) {
    return fault;
  }
  if (Fault fault = context->MakeCurrent()) {
    return fault;
  }
  if (Fault fault = context->Check()) {
    return fault;
  }
  context->drawer = StringOf(GL_RENDERER) + ", " + Library() + ", by " + context->Name();
  return context;
}

// A surface may be as large as asked for while OpenGL draws on a part of it only.
Fault OffscreenContext::Check() {
  GLint most[2] = {0, 0};
  glGetIntegerv(GL_MAX_VIEWPORT_DIMS, most);
  if (static_cast<int64_t>(size.width) > most[0] || static_cast<int64_t>(size.height) > most[1]) {
    return DrawingFault("it draws at most " + std::to_string(most[0]) + " by " +
                            std::to_string(most[1]) + " pixels, not " + std::to_string(size.width) +
                            " by " + std::to_string(size.height),
                        "ask for a smaller picture");
  }
  return {};
}

bool OffscreenContext::LetGo() const {
  const bool current = CurrentFunctions() == &functions;
  if (current) {
    SetCurrentFunctions(nullptr);
  }
  return current;
}

Fault OffscreenContext::MakeCurrent() {
  SetCurrentFunctions(&functions);
  if (!Bind()) {
    SetCurrentFunctions(nullptr);
    return DrawingFault(std::string(Name()) + " does not hand over what it draws on", "");
  }
  return {};
}

void OffscreenContext::Read(std::vector<Pixel>& bottomUp) const {
  bottomUp.resize(size.Pixels());
  glPixelStorei(GL_PACK_ALIGNMENT, 4);
  // Of four bytes: OpenGL hands over three at a tenth of the speed.
  glReadPixels(0, 0, static_cast<GLsizei>(size.width), static_cast<GLsizei>(size.height), GL_RGBA,
               GL_UNSIGNED_BYTE, bottomUp.data());
}

Picture OffscreenContext::Read() const {
  std::vector<Pixel> pixels;
  Read(pixels);
  for (size_t low = 0, high = size.height; low + 1 < high; ++low) {
    --high;
    std::swap_ranges(pixels.data() + low * size.width, pixels.data() + (low + 1) * size.width,
                     pixels.data() + high * size.width);
  }
  return PictureOf(size, pixels);
}

}  // namespace marrowfin
