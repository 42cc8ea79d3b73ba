#ifndef RENDER_OFFSCREENCONTEXT_H
#define RENDER_OFFSCREENCONTEXT_H

#include <memory>
#include <string>
#include <vector>

#include "render/OpenGl.h"
#include "render/Picture.h"
#include "trace/base/Result.h"

namespace marrowfin {

// Where OpenGL draws without a window, on a surface that behaves as a window does.
//
// Of the ways to have one, the first that works is taken: EGL on the software rasterizer, whose
// pictures are the same on every machine; EGL without a screen on whatever there is; and OSMesa,
// which needs nothing of the system. A framebuffer object on any context was rejected: it stands
// upside down to a window, and lines between two rows of pixels fall on the other one.
//
// A context is used by one thread at a time.
class OffscreenContext {
 public:
  enum Way { ANY_WAY, BY_EGL, BY_OSMESA };

  // Faults: nothing on this machine draws, or nothing draws as many pixels.
  static Result<std::unique_ptr<OffscreenContext>> Open(PictureSize size, Way way = ANY_WAY);

  OffscreenContext(const OffscreenContext&) = delete;
  OffscreenContext& operator=(const OffscreenContext&) = delete;
  virtual ~OffscreenContext();

  // From now on this thread draws here.
  [[nodiscard]] Fault MakeCurrent();

  PictureSize Size() const { return size; }

  // What draws and by which way: "llvmpipe (LLVM 15.0.6, 256 bits), Mesa 22.3.6, by EGL".
  const std::string& Drawer() const { return drawer; }

  // What was drawn so far, the lowest row first. The context must be current.
  void Read(std::vector<Pixel>& bottomUp) const;

  // The same as a picture.
  Picture Read() const;

 protected:
  explicit OffscreenContext(PictureSize size) : size(size) {}

  // To be called at the end of each way: where this thread draws here, it draws nowhere then.
  // Whether it did.
  bool LetGo() const;

  GlFunctions functions;

 private:
  // What a way does by itself; its name is for messages.
  virtual const char* Name() const = 0;
  virtual Fault Create() = 0;
  virtual bool Bind() = 0;

  static Result<std::unique_ptr<OffscreenContext>> Try(std::unique_ptr<OffscreenContext> context);
  Fault Check();

  PictureSize size;
  std::string drawer;
};

// A context by each way, not yet created.
std::unique_ptr<OffscreenContext> NewEglContext(PictureSize size);
std::unique_ptr<OffscreenContext> NewOsmesaContext(PictureSize size);

// The fault of something that OpenGL does not do.
Fault DrawingFault(const std::string& reason, const std::string& remedy);

}  // namespace marrowfin

#endif
