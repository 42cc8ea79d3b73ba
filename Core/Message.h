#ifndef CORE_MESSAGE_H
#define CORE_MESSAGE_H

#include <cstddef>
#include <cstdio>
#include <deque>
#include <new>
#include <string>

#include "Core/StatsContainer.h"
#include "Util/Printable.h"
#include "Util/Types.h"

class Component;
class MessageBuffer;

// What components send to each other; subclasses add the contents.
//
// A message is made with `new` and counts its holders: whoever keeps it Takes it and Releases it
// later, and the last Release destroys it. A message that nobody took is destroyed by its first
// Release, so a receiver that only looks at a message ends with Release.
//
// Storage comes from a pool with one free list per size; it is given back to the pool and never to
// the system, since a simulation's need stays near its peak. Messages of four kilobytes and more,
// and those with an alignment of their own above that of any fundamental type, come from the system
// and go back to it. Not for use by several threads. The order of the virtual operations and of the
// fields is fixed.
class Message : public Printable {
 public:
  Message();

  // A copy has its own identifier, no holders and no buffer; sender and receiver are the same.
  Message(const Message& other);
  Message& operator=(const Message& other);
  ~Message() override;

  static void* operator new(size_t size);
  static void operator delete(void* storage, size_t size);

  // For subclasses that are aligned more strictly than the pool: storage of their own.
  static void* operator new(size_t size, std::align_val_t alignment);
  static void operator delete(void* storage, size_t size, std::align_val_t alignment);

  // Unique among the messages of the run, counted from 1.
  unsigned long long GetId();

  // A new message of the same class with the same contents. Subclasses override it.
  virtual Message* Clone();

  // "Message ID from SENDER to RECEIVER" with the full names of the components, "-" for none.
  using Printable::ToString;
  const char* ToString(std::string& s) const override;

  static void Take(Message* message);
  static void Release(Message* message);

  // Writes the counters below, one per line.
  static void DumpStatus(FILE* stream);

  // Messages that are taken from the system at a time.
  static const uint32 ALLOC_BLOCK_SIZE;

  static unsigned long long newCalled;
  static unsigned long long deleteCalled;
  static unsigned long long MessageIdToken;  // the identifier that the next message gets
  static unsigned long long allocated;       // messages for which storage was taken from the system
  static unsigned long long inUse;           // messages that exist now
  static unsigned long long maxInUse;        // the most that existed at a time

  // The counters as statistics named messages/newCalled and so on; whoever wants them in the report
  // adds this container to the tree.
  static StatsContainer stats;

 protected:
  friend class MessageBuffer;

  MessageBuffer* Buffer;  // where the message is queued, null where it is not
  int holders;            // how many times it is taken

 public:
  Component* src;  // the sender, set by Component::SendMessage
  Component* dst;  // the receiver, likewise
  unsigned long long MessageId;

 private:
  struct FreeStorage;

  // One list per multiple of the alignment, up to the largest pooled size. Plain data: static
  // messages may be destroyed after everything else.
  static const size_t POOLED_SIZES = 256;
  static FreeStorage* freeLists[POOLED_SIZES];
};

// A bounded queue of messages, first in, first out. It holds what it queues: Push takes a message,
// and Pop hands that hold over to the caller. A message may wait in one buffer at a time.
class MessageBuffer {
 public:
  // `capacity` is the number of messages that fit; 0 means any number.
  explicit MessageBuffer(size_t capacity = 0);
  MessageBuffer(const MessageBuffer&) = delete;
  MessageBuffer& operator=(const MessageBuffer&) = delete;

  // Releases the messages that are left.
  ~MessageBuffer();

  // Appends the message; false, with nothing done, where the buffer is full. The message must not
  // be waiting, here or elsewhere (asserted).
  bool Push(Message* message);

  // Removes the front message; the caller releases it. Null where there is none.
  Message* Pop();

  // The front message, which stays; null where there is none.
  Message* Front() const;

  size_t Size() const;
  size_t Capacity() const;
  bool IsEmpty() const;
  bool IsFull() const;

 private:
  size_t capacity;
  std::deque<Message*> messages;
};

#endif
