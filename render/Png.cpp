#include "render/Png.h"

#include <png.h>

#include <array>
#include <csetjmp>
#include <cstdio>
#include <string>

namespace marrowfin {
namespace {

// Most pictures are of few flat colours: above this level time grows and files hardly shrink.
constexpr int COMPRESSION_LEVEL = 6;

// What the library calls back with. It gives up by a jump, so nothing between WriteAll and these
// functions may hold what a destructor has to release.
struct Job {
  const Picture& picture;
  ByteSink& sink;
  Fault fault;                       // of the sink
  std::array<char, 80> reason = {};  // of the library, whose text need not outlast the jump
};

[[noreturn]] void GiveUp(png_structp png, png_const_charp reason) {
  Job& job = *static_cast<Job*>(png_get_error_ptr(png));
  snprintf(job.reason.data(), job.reason.size(), "%s", reason);
  png_longjmp(png, 1);
}

void Ignore(png_structp /*png*/, png_const_charp /*warning*/) {}

void Write(png_structp png, png_bytep bytes, png_size_t size) {
  Job& job = *static_cast<Job*>(png_get_io_ptr(png));
  job.fault = job.sink.Write(bytes, size).fault;
  if (job.fault) {
    png_error(png, "cannot write");
  }
}

void Flush(png_structp /*png*/) {}

void WriteAll(png_structp png, png_infop info, const Job& job) {
  const PictureSize size = job.picture.size;
  // Its limits are meant for what is read.
  png_set_user_limits(png, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
  png_set_IHDR(png, info, size.width, size.height, 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_set_compression_level(png, COMPRESSION_LEVEL);
  // Rows that are like the one above, as those of squares are, become zeros.
  png_set_filter(png, PNG_FILTER_TYPE_BASE, PNG_FILTER_UP);
  png_write_info(png, info);
  const size_t stride = Picture::CHANNELS * size.width;
  for (size_t row = 0; row < size.height; ++row) {
    png_write_row(png, job.picture.pixels.data() + row * stride);
  }
  png_write_end(png, nullptr);
}

// False where the library gave up.
bool Tried(png_structp png, png_infop info, const Job& job) {
  if (setjmp(png_jmpbuf(png)) != 0) {
    return false;
  }
  WriteAll(png, info, job);
  return true;
}

// Nothing but memory is ever missing: what a picture can be, a file of it can.
Fault NotWritten(const std::string& reason) {
  Fault fault;
  fault.kind = Fault::SYSTEM;
  fault.file = "picture";
  fault.reason = "cannot write as PNG: " + reason;
  fault.remedy = "give a smaller size, or use a larger machine";
  return fault;
}

}  // namespace

Fault WritePng(const Picture& picture, ByteSink& sink) {
  Job job = {picture, sink, {}, {}};
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &job, GiveUp, Ignore);
  png_infop info = png == nullptr ? nullptr : png_create_info_struct(png);
  if (info == nullptr) {
    png_destroy_write_struct(&png, nullptr);
    return NotWritten("out of memory");
  }
  png_set_write_fn(png, &job, Write, Flush);
  const bool done = Tried(png, info, job);
  png_destroy_write_struct(&png, &info);
  if (done || job.fault) {
    return job.fault;
  }
  return NotWritten(job.reason.data());
}

}  // namespace marrowfin
