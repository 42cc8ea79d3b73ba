#ifndef SIM_FIFO_H
#define SIM_FIFO_H

#include <cstddef>
#include <vector>

namespace marrowfin::sim {

// A queue for plain values that costs nothing while it is empty. std::deque takes half a kilobyte
// even then, and an array has thousands of queues of which few are ever used.
template <class T>
class Fifo {
 public:
  bool IsEmpty() const { return first == items.size(); }
  size_t Size() const { return items.size() - first; }
  const T& Front() const { return items[first]; }
  void Push(const T& item) { items.push_back(item); }

  void Pop() {
    ++first;
    // What was popped is given up once it is the larger part, so that a queue which never runs
    // empty stays as short as its longest moment.
    if (first * 2 > items.size()) {
      items.erase(items.begin(), items.begin() + static_cast<std::ptrdiff_t>(first));
      first = 0;
    }
  }

 private:
  std::vector<T> items;
  size_t first = 0;
};

}  // namespace marrowfin::sim

#endif
