// A binary min-heap of vertices that knows each vertex's position, so a
// vertex whose score changed can be sifted or removed in O(log n). "Better"
// is a strict preference; equal vertices keep the sift order: sift-up moves a
// vertex only while it is strictly better than its parent, sift-down takes
// the right child unless the left one is strictly better.
#pragma once

#include <cstddef>

#include "compile/fragment.h"

namespace orv {

template <class Better>
class VertexHeap {
 public:
  // Room for vertices 0..n-1; allocates, so it may throw bad_alloc.
  VertexHeap(std::size_t n, Better better) : better_(better), items_(1, 0), position_(n, 0) {
    items_.reserve(n + 1);
  }

  bool empty() const { return items_.size() == 1; }
  std::size_t size() const { return items_.size() - 1; }
  bool contains(Vertex v) const { return position_[v] != 0; }
  Vertex top() const { return items_[1]; }

  void push(Vertex v) {
    items_.push_back(v);  // room reserved for every vertex: never reallocates
    position_[v] = size();
    sift_up(size());
  }

  Vertex pop() {
    const Vertex v = items_[1];
    remove(v);
    return v;
  }

  void remove(Vertex v) {
    const std::size_t at = position_[v];
    const Vertex last = items_.back();
    items_.pop_back();
    position_[v] = 0;
    if (last == v) return;
    items_[at] = last;
    position_[last] = at;
    update(last);
  }

  // Restores the order after v's scores changed. Only v's may have changed
  // since the last sift: change and update one vertex at a time.
  void update(Vertex v) {
    if (!contains(v)) return;
    sift_down(sift_up(position_[v]));
  }

 private:
  std::size_t sift_up(std::size_t at) {
    const Vertex v = items_[at];
    while (at > 1 && better_(v, items_[at / 2])) {
      place(items_[at / 2], at);
      at /= 2;
    }
    place(v, at);
    return at;
  }

  void sift_down(std::size_t at) {
    const Vertex v = items_[at];
    const std::size_t n = size();
    for (;;) {
      std::size_t child = 2 * at;
      if (child > n) break;
      if (child + 1 <= n && !better_(items_[child], items_[child + 1])) ++child;
      if (!better_(items_[child], v)) break;
      place(items_[child], at);
      at = child;
    }
    place(v, at);
  }

  void place(Vertex v, std::size_t at) {
    items_[at] = v;
    position_[v] = at;
  }

  Better better_;
  VertexList items_;                  // 1-based; items_[0] unused
  Vector<std::size_t> position_;      // 0 when not in the heap
};

}  // namespace orv
