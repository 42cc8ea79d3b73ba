#include "tests/trace/support/ForgeIndex.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/support/Files.h"
#include "trace/index/Pack.h"

namespace marrowfin::testing {

void ForgeIndex(const std::string& file, const std::function<void(IndexTables&)>& change) {
  const std::string bytes = ReadFile(file);
  const auto* data = reinterpret_cast<const uint8_t*>(bytes.data());
  IndexSection directory;
  ASSERT_TRUE(DecodeFooter(data + bytes.size() - INDEX_FOOTER, directory));
  std::vector<uint8_t> raw;
  ASSERT_TRUE(Unpack({data + directory.offset, directory.packedSize}, directory.rawSize, raw));
  IndexTables tables;
  ASSERT_TRUE(DecodeDirectory(raw, directory.offset, tables));
  change(tables);
  raw = EncodeDirectory(tables);
  const std::vector<uint8_t> packed = Pack(raw);
  std::vector<uint8_t> forged(data, data + directory.offset);
  directory.packedSize = packed.size();
  directory.rawSize = raw.size();
  forged.insert(forged.end(), packed.begin(), packed.end());
  forged.resize(forged.size() + INDEX_FOOTER);
  EncodeFooter(directory, forged.data() + forged.size() - INDEX_FOOTER);
  WriteFile(file, std::string(forged.begin(), forged.end()));
}

}  // namespace marrowfin::testing
