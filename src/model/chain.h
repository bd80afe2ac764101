// The domain's record chains (nodes, tables, controls): singly linked, newest
// first, each record numbered by its place in creation order.
#pragma once

#include <cstddef>

namespace orv {

// Takes `record` out of the chain at `*first` and counts it out of `count`.
// The records before it are newer and each moves down by one, so the numbers
// stay consecutive.
template <class Record>
void unlink_and_renumber(Record **first, std::size_t &count, Record *record) noexcept {
  Record **link = first;
  while (*link != record) {
    --(*link)->number;
    link = &(*link)->next;
  }
  *link = record->next;
  --count;
}

// Reverses the order of the chain at `*first` (numbers untouched).
template <class Record>
void reverse_chain(Record **first) noexcept {
  Record *reversed = nullptr;
  for (Record *r = *first; r;) {
    Record *next = r->next;
    r->next = reversed;
    reversed = r;
    r = next;
  }
  *first = reversed;
}

}  // namespace orv
