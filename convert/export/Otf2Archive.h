#ifndef CONVERT_EXPORT_OTF2ARCHIVE_H
#define CONVERT_EXPORT_OTF2ARCHIVE_H

#include <otf2/otf2.h>

#include <csetjmp>
#include <cstdarg>
#include <cstdint>
#include <string>

#include "trace/base/Fault.h"

namespace marrowfin {

// An archive of the OTF2 library that is written location by location, so that memory and open
// files are those of one. Calls do nothing behind the first fault, and throw std::bad_alloc where
// the library got no memory. Threads: one at a time in the whole program, since the library tells
// its errors without the archive that they are of.
class Otf2Archive {
 public:
  // What an archive has in its folder: the anchor file, which readers open, with this ending,
  // definitions and the folder of events.
  static constexpr char NAME[] = "traces";

  // `folder` is there and empty, `name` is for messages.
  Otf2Archive(const std::string& folder, const std::string& name);
  Otf2Archive(const Otf2Archive&) = delete;
  Otf2Archive& operator=(const Otf2Archive&) = delete;
  ~Otf2Archive();

  void Describe(const std::string& text);
  void SetProperty(const std::string& key, const std::string& value);

  // The events of a location come between these two. Locations are numbered from 0 on.
  void BeginLocation();
  void EndLocation();
  uint64_t Locations() const { return locations; }

  // Calls `call(writer)` with the writer of the location, which returns what the library returned.
  template <class Call>
  void Event(Call call) {
    Try([&] { return call(events); });
  }

  // Definitions come behind all locations.
  void BeginDefinitions();
  template <class Call>
  void Define(Call call) {
    Try([&] { return call(definitions); });
  }

  // Writes the rest.
  void Close();

  const Fault& GetFault() const { return fault; }

 private:
  // What the library gets to collect records in: so many chunks, each as small as it allows.
  static constexpr uint64_t CHUNK = OTF2_CHUNK_SIZE_MIN;
  static constexpr int MOST_CHUNKS = 4;

  // Calls the library. An error ends the call where it is noticed: what the library does behind
  // one, such as to write a second time from memory that it gave back, is not waited for.
  template <class Call>
  void Try(Call call) {
    if (fault) {
      return;
    }
    if (setjmp(afterError) == 0) {
      isCalled = true;
      Check(call());
    } else {
      broken = true;
    }
    isCalled = false;
    ThrowWhereMemoryLacks();
  }
  void ThrowWhereMemoryLacks();
  void CloseArchive();
  void Check(OTF2_ErrorCode result);
  void Note(OTF2_ErrorCode result, int number);

  static OTF2_ErrorCode NoteError(void* self, const char*, uint64_t, const char*,
                                  OTF2_ErrorCode result, const char*, va_list);
  static void* Allocate(void* self, OTF2_FileType, OTF2_LocationRef, void** chunks, uint64_t size);
  static void FreeAll(void* self, OTF2_FileType, OTF2_LocationRef, void** chunks, bool);

  const std::string name;
  Fault fault;
  bool broken = false;  // nothing can be asked of the library any more
  bool lacksMemory = false;
  bool isCalled = false;  // afterError can be gone to
  jmp_buf afterError;
  OTF2_ErrorCallback toldBefore;
  int chunksInUse = 0;
  OTF2_Archive* archive = nullptr;
  OTF2_EvtWriter* events = nullptr;
  OTF2_GlobalDefWriter* definitions = nullptr;
  uint64_t locations = 0;
};

}  // namespace marrowfin

#endif
