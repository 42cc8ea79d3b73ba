#ifndef TOOLS_PROGRAM_DESCRIPTORBUFFER_H
#define TOOLS_PROGRAM_DESCRIPTORBUFFER_H

#include <array>
#include <streambuf>

namespace marrowfin {

// A stream buffer that writes to a descriptor and knows why that failed, which streams do not tell.
// Nothing is written behind a failure. The descriptor stays open.
class DescriptorBuffer : public std::streambuf {
 public:
  explicit DescriptorBuffer(int descriptor);
  DescriptorBuffer(const DescriptorBuffer&) = delete;
  DescriptorBuffer& operator=(const DescriptorBuffer&) = delete;
  ~DescriptorBuffer() override { sync(); }

  // The errno of the write that failed, or 0.
  int Error() const { return error; }

 protected:
  int_type overflow(int_type c) override;
  int sync() override;

 private:
  const int descriptor;
  int error = 0;
  std::array<char, 1 << 16> bytes;
};

}  // namespace marrowfin

#endif
