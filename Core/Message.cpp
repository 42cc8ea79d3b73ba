#include "Core/Message.h"

#include <algorithm>
#include <new>

#include "Core/Component.h"
#include "Util/AppendFormat.h"
#include "Util/Assert.h"
#include "Util/InitOrder.h"

const uint32 Message::ALLOC_BLOCK_SIZE = 64;
unsigned long long Message::newCalled = 0;
unsigned long long Message::deleteCalled = 0;
unsigned long long Message::MessageIdToken = 1;
unsigned long long Message::allocated = 0;
unsigned long long Message::inUse = 0;
unsigned long long Message::maxInUse = 0;

struct Message::FreeStorage {
  FreeStorage* next;
};

Message::FreeStorage* Message::freeLists[Message::POOLED_SIZES];

namespace {

constexpr size_t UNIT = alignof(std::max_align_t);

// The number of units that a message of `size` bytes takes.
size_t Units(size_t size) { return (size + UNIT - 1) / UNIT; }

void CountNew() {
  ++Message::newCalled;
  ++Message::inUse;
  Message::maxInUse = std::max(Message::maxInUse, Message::inUse);
}

void CountDelete() {
  ++Message::deleteCalled;
  --Message::inUse;
}

const char* NameOf(const Component* component) {
  return component == nullptr ? "-" : component->theFullName.c_str();
}

}  // namespace

[[gnu::init_priority(INIT_STATISTICS)]] StatsContainer Message::stats;

namespace {

// The counters keep their values: messages may be made before this.
struct RegisterCounters {
  RegisterCounters() {
    Add(Message::newCalled, "newCalled", "messages made");
    Add(Message::deleteCalled, "deleteCalled", "messages destroyed");
    Add(Message::allocated, "allocated", "messages for which storage was taken");
    Add(Message::inUse, "inUse", "messages that exist");
    Add(Message::maxInUse, "maxInUse", "most messages that existed at a time");
    Message::stats.AddPrefix("messages/");
  }

  static void Add(unsigned long long& counter, const char* name, const char* description) {
    Message::stats.AddStat(&counter, name, description, counter);
  }
};

[[gnu::init_priority(INIT_STATISTICS)]] const RegisterCounters registerCounters;

}  // namespace

Message::Message()
    : Buffer(nullptr), holders(0), src(nullptr), dst(nullptr), MessageId(MessageIdToken++) {}

Message::Message(const Message& other)
    : Printable(other),
      Buffer(nullptr),
      holders(0),
      src(other.src),
      dst(other.dst),
      MessageId(MessageIdToken++) {}

Message& Message::operator=(const Message& other) {
  src = other.src;
  dst = other.dst;
  return *this;
}

Message::~Message() = default;

void* Message::operator new(size_t size) {
  const size_t units = Units(size);
  void* storage;
  if (units >= POOLED_SIZES) {
    storage = ::operator new(size);
    ++allocated;
  } else {
    FreeStorage*& freeList = freeLists[units];
    if (freeList == nullptr) {
      char* block = static_cast<char*>(::operator new(units* UNIT* ALLOC_BLOCK_SIZE));
      allocated += ALLOC_BLOCK_SIZE;
      // Last to first, so that messages made one after another lie one after another.
      for (uint32 i = ALLOC_BLOCK_SIZE; i-- > 0;) {
        freeList = new (block + i * units * UNIT) FreeStorage{freeList};
      }
    }
    storage = freeList;
    freeList = freeList->next;
  }
  CountNew();
  return storage;
}

void* Message::operator new(size_t size, std::align_val_t alignment) {
  void* storage = ::operator new(size, alignment);
  ++allocated;
  CountNew();
  return storage;
}

void Message::operator delete(void* storage, size_t size) {
  if (storage == nullptr) {
    return;
  }
  CountDelete();
  const size_t units = Units(size);
  if (units >= POOLED_SIZES) {
    ::operator delete(storage);
    --allocated;
  } else {
    freeLists[units] = new (storage) FreeStorage{freeLists[units]};
  }
}

void Message::operator delete(void* storage, size_t /*size*/, std::align_val_t alignment) {
  if (storage == nullptr) {
    return;
  }
  CountDelete();
  ::operator delete(storage, alignment);
  --allocated;
}

unsigned long long Message::GetId() { return MessageId; }

Message* Message::Clone() { return new Message(*this); }

const char* Message::ToString(std::string& s) const {
  s.clear();
  AppendFormat(s, "Message %llu from %s to %s", MessageId, NameOf(src), NameOf(dst));
  return s.c_str();
}

void Message::Take(Message* message) { ++message->holders; }

void Message::Release(Message* message) {
  --message->holders;
  if (message->holders <= 0) {
    delete message;
  }
}

void Message::DumpStatus(FILE* stream) {
  fprintf(stream, "Messages made:      %llu\n", newCalled);
  fprintf(stream, "Messages destroyed: %llu\n", deleteCalled);
  fprintf(stream, "Messages in use:    %llu (at most %llu)\n", inUse, maxInUse);
  fprintf(stream, "Messages allocated: %llu\n", allocated);
}

MessageBuffer::MessageBuffer(size_t capacity) : capacity(capacity) {}

MessageBuffer::~MessageBuffer() {
  while (Message* message = Pop()) {
    Message::Release(message);
  }
}

bool MessageBuffer::Push(Message* message) {
  SIM_ASSERT(message->Buffer == nullptr);
  if (IsFull()) {
    return false;
  }
  Message::Take(message);
  message->Buffer = this;
  messages.push_back(message);
  return true;
}

Message* MessageBuffer::Pop() {
  if (messages.empty()) {
    return nullptr;
  }
  Message* message = messages.front();
  messages.pop_front();
  message->Buffer = nullptr;
  return message;
}

Message* MessageBuffer::Front() const { return messages.empty() ? nullptr : messages.front(); }

size_t MessageBuffer::Size() const { return messages.size(); }

size_t MessageBuffer::Capacity() const { return capacity; }

bool MessageBuffer::IsEmpty() const { return messages.empty(); }

bool MessageBuffer::IsFull() const { return capacity != 0 && messages.size() >= capacity; }
