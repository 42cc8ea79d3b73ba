#include "convert/export/Otf2Archive.h"

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace marrowfin {
namespace {

OTF2_FlushType Flush(void*, OTF2_FileType, OTF2_LocationRef, void*, bool) { return OTF2_FLUSH; }

// What stands in front of a chunk, which begins where any type may.
struct alignas(std::max_align_t) Chunk {
  Chunk* next;
};

// What an error left as it was: closing it would write again and fall over. It is kept in sight of
// what looks for memory that nobody knows of any more.
struct {
  OTF2_Archive* archive = nullptr;
  OTF2_EvtWriter* events = nullptr;
  OTF2_GlobalDefWriter* definitions = nullptr;
} abandoned;

bool IsLackOfMemory(OTF2_ErrorCode result, int number) {
  return number == ENOMEM || result == OTF2_ERROR_ENOMEM || result == OTF2_ERROR_MEM_FAULT ||
         result == OTF2_ERROR_MEM_ALLOC_FAILED;
}

}  // namespace

Otf2Archive::Otf2Archive(const std::string& folder, const std::string& name)
    : name(name), toldBefore(OTF2_Error_RegisterCallback(NoteError, this)) {
  static constexpr OTF2_FlushCallbacks flushing = {Flush, nullptr};
  static constexpr OTF2_MemoryCallbacks memory = {Allocate, FreeAll};
  Try([&] {
    archive = OTF2_Archive_Open(folder.c_str(), NAME, OTF2_FILEMODE_WRITE, CHUNK, CHUNK,
                                OTF2_SUBSTRATE_POSIX, OTF2_COMPRESSION_NONE);
    return archive == nullptr ? OTF2_ERROR_FILE_CAN_NOT_OPEN : OTF2_SUCCESS;
  });
  Try([&] { return OTF2_Archive_SetFlushCallbacks(archive, &flushing, nullptr); });
  Try([&] { return OTF2_Archive_SetMemoryCallbacks(archive, &memory, this); });
  Try([&] { return OTF2_Archive_SetSerialCollectiveCallbacks(archive); });
  Try([&] { return OTF2_Archive_SetCreator(archive, "marrowfin-trace"); });
  Try([&] { return OTF2_Archive_OpenEvtFiles(archive); });
}

Otf2Archive::~Otf2Archive() {
  if (archive != nullptr && !broken) {
    const Fault met = fault;
    fault = {};
    try {
      CloseArchive();
    } catch (const std::bad_alloc&) {
      broken = true;
    }
    fault = met;
  }
  if (archive != nullptr) {
    abandoned = {archive, events, definitions};
  }
  OTF2_Error_RegisterCallback(toldBefore, nullptr);
}

void Otf2Archive::Check(OTF2_ErrorCode result) {
  if (result != OTF2_SUCCESS) {
    Note(result, 0);
  }
}

void Otf2Archive::Note(OTF2_ErrorCode result, int number) {
  if (fault) {
    return;
  }
  lacksMemory = IsLackOfMemory(result, number);
  if (number != 0) {
    fault = SystemFault(name, "cannot write", number);
  } else {
    fault.kind = Fault::SYSTEM;
    fault.file = name;
    fault.reason = std::string("cannot write: ") + OTF2_Error_GetDescription(result);
  }
  fault.remedy = "make room there, or choose another place";
}

void Otf2Archive::ThrowWhereMemoryLacks() {
  if (lacksMemory) {
    lacksMemory = false;
    throw std::bad_alloc();
  }
}

OTF2_ErrorCode Otf2Archive::NoteError(void* self, const char*, uint64_t, const char*,
                                      OTF2_ErrorCode result, const char*, va_list) {
  // Warnings are below.
  if (result > OTF2_SUCCESS) {
    auto* const archive = static_cast<Otf2Archive*>(self);
    archive->Note(result, errno);
    if (archive->isCalled) {
      longjmp(archive->afterError, 1);
    }
  }
  return result;
}

// Where there is none to have, the library writes what it has.
void* Otf2Archive::Allocate(void* self, OTF2_FileType, OTF2_LocationRef, void** chunks,
                            uint64_t size) {
  auto* const archive = static_cast<Otf2Archive*>(self);
  if (archive->chunksInUse == MOST_CHUNKS) {
    return nullptr;
  }
  auto* const chunk = static_cast<Chunk*>(malloc(sizeof(Chunk) + size));
  if (chunk == nullptr) {
    return nullptr;
  }
  ++archive->chunksInUse;
  chunk->next = static_cast<Chunk*>(*chunks);
  *chunks = chunk;
  return chunk + 1;
}

void Otf2Archive::FreeAll(void* self, OTF2_FileType, OTF2_LocationRef, void** chunks, bool) {
  while (*chunks != nullptr) {
    auto* const chunk = static_cast<Chunk*>(*chunks);
    *chunks = chunk->next;
    free(chunk);
    --static_cast<Otf2Archive*>(self)->chunksInUse;
  }
}

void Otf2Archive::Describe(const std::string& text) {
  Try([&] { return OTF2_Archive_SetDescription(archive, text.c_str()); });
}

void Otf2Archive::SetProperty(const std::string& key, const std::string& value) {
  Try([&] { return OTF2_Archive_SetProperty(archive, key.c_str(), value.c_str(), true); });
}

void Otf2Archive::BeginLocation() {
  Try([&] {
    events = OTF2_Archive_GetEvtWriter(archive, locations);
    return events == nullptr ? OTF2_ERROR_FILE_CAN_NOT_OPEN : OTF2_SUCCESS;
  });
}

void Otf2Archive::EndLocation() {
  Try([&] { return OTF2_Archive_CloseEvtWriter(archive, events); });
  ++locations;
}

// Readers want a file of definitions of its own for each location, though nothing is in it.
void Otf2Archive::BeginDefinitions() {
  Try([&] { return OTF2_Archive_CloseEvtFiles(archive); });
  Try([&] { return OTF2_Archive_OpenDefFiles(archive); });
  for (uint64_t location = 0; location < locations; ++location) {
    Try([&] {
      OTF2_DefWriter* const own = OTF2_Archive_GetDefWriter(archive, location);
      return own == nullptr ? OTF2_ERROR_FILE_CAN_NOT_OPEN
                            : OTF2_Archive_CloseDefWriter(archive, own);
    });
  }
  Try([&] { return OTF2_Archive_CloseDefFiles(archive); });
  Try([&] {
    definitions = OTF2_Archive_GetGlobalDefWriter(archive);
    return definitions == nullptr ? OTF2_ERROR_FILE_CAN_NOT_OPEN : OTF2_SUCCESS;
  });
}

void Otf2Archive::Close() {
  Try([&] { return OTF2_Archive_CloseGlobalDefWriter(archive, definitions); });
  CloseArchive();
}

void Otf2Archive::CloseArchive() {
  Try([this] {
    const OTF2_ErrorCode result = OTF2_Archive_Close(archive);
    archive = nullptr;
    return result;
  });
}

}  // namespace marrowfin
