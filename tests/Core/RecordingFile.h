#ifndef TESTS_CORE_RECORDINGFILE_H
#define TESTS_CORE_RECORDINGFILE_H

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "Util/File.h"

// A file in memory that notes the size of every call and can fail one of them.
class RecordingFile : public File {
 public:
  explicit RecordingFile(std::string contents = "")
      : File(false), bytes(std::move(contents)), position(0), failingCall(0), failure(ERROR) {}

  FileStatus WriteN(const void* buf, unsigned long size, unsigned long count,
                    unsigned long* /*written*/) override {
    calls.push_back(size * count);
    if (calls.size() == failingCall) {
      return failure;
    }
    if (size * count != 0) {
      bytes.append(static_cast<const char*>(buf), size * count);
    }
    return SUCCESS;
  }

  FileStatus ReadN(void* buf, unsigned long size, unsigned long count,
                   unsigned long* /*got*/) override {
    calls.push_back(size * count);
    if (calls.size() == failingCall) {
      return failure;
    }
    const size_t length = std::min<size_t>(size * count, bytes.size() - position);
    if (length != 0) {
      memcpy(buf, bytes.data() + position, length);
    }
    position += length;
    return length < size * count ? END_OF_FILE : SUCCESS;
  }

  std::string bytes;
  size_t position;                   // of the next read
  std::vector<unsigned long> calls;  // bytes asked for by each call
  size_t failingCall;                // counted from 1; 0: none
  FileStatus failure;                // its status
};

#endif
