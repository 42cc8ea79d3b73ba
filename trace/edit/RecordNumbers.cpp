#include "trace/edit/RecordNumbers.h"

#include <unistd.h>

#include <algorithm>

#include "trace/edit/ScratchFile.h"

namespace marrowfin {

RecordNumbers::~RecordNumbers() {
  if (descriptor != -1) {
    close(descriptor);
  }
}

Fault RecordNumbers::Open() {
  if (descriptor != -1) {
    return {};
  }
  const Result<int> opened = OpenScratchFile();
  if (!opened) {
    return opened.Why();
  }
  descriptor = *opened;
  return {};
}

Fault RecordNumbers::WriteBack(Page& page) {
  if (!page.changed) {
    return {};
  }
  if (Fault fault = Open()) {
    return fault;
  }
  page.changed = false;
  const size_t size = page.values.size() * sizeof(uint64_t);
  return WriteScratch(descriptor, page.number * size, page.values.data(), size);
}

Result<RecordNumbers::Page*> RecordNumbers::Load(uint64_t number) {
  Page& page = pages[static_cast<size_t>(number % PAGES)];
  if (page.number == number) {
    return &page;
  }
  if (Fault fault = WriteBack(page)) {
    return fault;
  }
  page.values.assign(PAGE_NUMBERS, 0);
  page.number = number;
  if (descriptor != -1) {
    const size_t size = PAGE_NUMBERS * sizeof(uint64_t);
    if (Fault fault = ReadScratch(descriptor, number * size, page.values.data(), size)) {
      page.number = NO_PAGE;
      return fault;
    }
  }
  return &page;
}

Fault RecordNumbers::Put(uint64_t from, uint64_t to) {
  const Result<Page*> page = Load(from / PAGE_NUMBERS);
  if (!page) {
    return page.Why();
  }
  (*page)->values[static_cast<size_t>(from % PAGE_NUMBERS)] = to + 1;
  (*page)->changed = true;
  return {};
}

Result<std::optional<uint64_t>> RecordNumbers::Of(uint64_t from) {
  const Result<Page*> page = Load(from / PAGE_NUMBERS);
  if (!page) {
    return page.Why();
  }
  const uint64_t value = (*page)->values[static_cast<size_t>(from % PAGE_NUMBERS)];
  return value == 0 ? std::optional<uint64_t>() : std::optional(value - 1);
}

}  // namespace marrowfin
