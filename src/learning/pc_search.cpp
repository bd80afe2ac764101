// The conditional independence tests with sets of one, two and three nodes.
// Each size is one pass over a snapshot of the dependence graph taken when
// the pass starts, so the tests made and their outcomes do not depend on the
// number of workers or their timing. Results are cached per node set: one
// count of the cases serves every pair of the set.
#include <algorithm>
#include <array>
#include <map>

#include "learning/pc.h"
#include "runtime/error.h"

namespace orv {

namespace {

constexpr std::size_t kMaxSet = kMaxTestSet;
constexpr std::size_t kMaxPairs = kMaxSet * (kMaxSet - 1) / 2;
using SetKey = std::array<std::uint32_t, kMaxSet>;           // sorted, padded with kNoVertex

// Outcome per pair of members (in pair order): -1 not tested, 0 dependent,
// 1 independent.
struct CacheEntry {
  std::array<signed char, kMaxPairs> outcome;
  bool done = false;
};
using Cache = std::map<SetKey, CacheEntry, std::less<SetKey>, Allocator<std::pair<const SetKey, CacheEntry>>>;

std::size_t member_pair(std::size_t a, std::size_t b, std::size_t size) { return pair_index(a, b, size); }

struct ListedPair {
  std::size_t p;
  std::uint32_t x, y;
};

struct Search {
  const CaseColumns &columns;
  double level;
  Vector<PairRecord> &pairs;
  std::size_t n;
  std::size_t k = 0;
  bool primary = false;            // only the strongest candidate of each pair
  Vector<unsigned char> adjacent;  // n x n snapshot of the dependence graph
  Vector<unsigned char> needs;     // per pair, at the start of the pass
  Vector<ListedPair> list;         // pairs to test, by decreasing strength
  std::size_t cursor = 0;
  Cache cache;
  OptionalMutex &mutex;

  bool adj(std::size_t x, std::size_t y) const { return adjacent[x * n + y] != 0; }
  double strength(std::size_t x, std::size_t y) const { return pairs[pair_index(x, y, n)].strength; }

  // The set is a valid conditioning set for members a, b: the rest has k
  // members, each adjacent to a or b, and the pair still needs testing.
  bool scheduled(const SetKey &set, std::size_t size, std::size_t a, std::size_t b) const {
    if (!needs[pair_index(set[a], set[b], n)]) return false;
    for (std::size_t m = 0; m < size; ++m)
      if (m != a && m != b && !adj(set[m], set[a]) && !adj(set[m], set[b])) return false;
    return true;
  }

  // Counts the cases over the set and tests every scheduled pair.
  CacheEntry compute(const SetKey &set, std::size_t size) const {
    CacheEntry entry;
    entry.outcome.fill(-1);
    entry.done = true;
    const SetTests tests(columns, set.data(), size);
    for (std::size_t a = 0; a < size; ++a)
      for (std::size_t b = a + 1; b < size; ++b)
        if (tests.testable(a, b) && scheduled(set, size, a, b))
          entry.outcome[member_pair(a, b, size)] = tests.test(a, b).p_value < level ? 0 : 1;
    return entry;
  }

  // Whether x and y are independent given s (under the mutex on entry and
  // on return; released while counting).
  bool independent_given(std::uint32_t x, std::uint32_t y, const Vector<std::uint32_t> &s) {
    SetKey set;
    set.fill(kNoVertex);
    const std::size_t size = s.size() + 2;
    set[0] = x;
    set[1] = y;
    std::copy(s.begin(), s.end(), set.begin() + 2);
    for (std::size_t i = 1; i < size; ++i)  // insertion sort of at most five
      for (std::size_t j = i; j > 0 && set[j - 1] > set[j]; --j) std::swap(set[j - 1], set[j]);
    const std::size_t a = static_cast<std::size_t>(std::find(set.begin(), set.end(), x) - set.begin());
    const std::size_t b = static_cast<std::size_t>(std::find(set.begin(), set.end(), y) - set.begin());
    auto found = cache.find(set);
    if (found == cache.end() || !found->second.done) {
      mutex.unlock();
      CacheEntry entry;
      try {
        entry = compute(set, size);
      } catch (...) {
        mutex.lock();
        throw;
      }
      mutex.lock();
      found = cache.try_emplace(set, entry).first;
      if (!found->second.done) found->second = entry;
    }
    return found->second.outcome[member_pair(std::min(a, b), std::max(a, b), size)] == 1;
  }

  // Candidates for (x, y): others adjacent to x or y, by decreasing strength;
  // only discrete ones for a discrete pair.
  Vector<std::uint32_t> candidates(std::uint32_t x, std::uint32_t y) const {
    Vector<std::uint32_t> c;
    const bool discrete_pair = !columns.continuous(x) && !columns.continuous(y);
    for (std::uint32_t z = 0; z < n; ++z)
      if (z != x && z != y && (adj(z, x) || adj(z, y)) && !(discrete_pair && columns.continuous(z))) c.push_back(z);
    std::stable_sort(c.begin(), c.end(), [&](std::uint32_t u, std::uint32_t v) {
      return strength(u, x) + strength(u, y) > strength(v, x) + strength(v, y);
    });
    return c;
  }

  // Tries the k-subsets of the candidates in combination order until one
  // separates the pair.
  void test_pair(std::uint32_t x, std::uint32_t y) {
    const Vector<std::uint32_t> c = candidates(x, y);
    if (c.size() < k) return;
    Vector<std::size_t> pick(k);
    for (std::size_t i = 0; i < k; ++i) pick[i] = i;
    Vector<std::uint32_t> s(k);
    for (;;) {
      bool touches = false;
      for (std::size_t i = 0; i < k; ++i) {
        s[i] = c[pick[i]];
        touches = touches || adj(s[i], x) || adj(s[i], y);
      }
      if (touches && independent_given(x, y, s)) return;
      if (primary) return;
      std::size_t i = k;
      while (i > 0 && pick[i - 1] == c.size() - k + i - 1) --i;
      if (i == 0) return;
      ++pick[i - 1];
      for (std::size_t j = i; j < k; ++j) pick[j] = pick[j - 1] + 1;
    }
  }

  void work() {
    mutex.lock();
    try {
      while (cursor < list.size()) {
        const ListedPair listed = list[cursor++];
        PairRecord &record = pairs[listed.p];
        if (record.claimed) continue;
        record.claimed = 1;
        test_pair(listed.x, listed.y);
      }
    } catch (...) {
      mutex.unlock();
      throw;
    }
    mutex.unlock();
  }
};

void search_worker(void *context, std::size_t) { static_cast<Search *>(context)->work(); }

}  // namespace

void conditional_tests(const CaseColumns &columns, double level, Vector<PairRecord> &pairs, std::size_t workers,
                       bool npc) {
  const std::size_t n = columns.size();
  OptionalMutex mutex(workers > 1);
  Search search{columns, level, pairs, n, 0, false, {}, {}, {}, 0, {}, mutex};
  search.adjacent.assign(n * n, 0);
  search.needs.assign(pairs.size(), 0);
  // The primary pass tests each pair given its strongest candidate alone,
  // which separates most pairs before the full passes enumerate sets.
  struct Pass {
    std::size_t k;
    bool primary;
  };
  constexpr Pass kPasses[] = {{1, true}, {1, false}, {2, false}, {3, false}};
  for (const Pass &pass : kPasses) {
    if (pass.primary && npc) continue;
    search.k = pass.k;
    search.primary = pass.primary;
    search.list.clear();
    for (std::size_t x = 0; x < n; ++x)
      for (std::size_t y = x + 1; y < n; ++y) {
        const std::size_t p = pair_index(x, y, n);
        search.adjacent[x * n + y] = search.adjacent[y * n + x] = pairs[p].dependent > 0;
        search.needs[p] = pairs[p].needs_testing();
        pairs[p].claimed = 0;
        if (search.needs[p])
          search.list.push_back(ListedPair{p, static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(y)});
      }
    if (search.list.empty()) break;
    std::stable_sort(search.list.begin(), search.list.end(),
                     [&](const ListedPair &u, const ListedPair &v) { return pairs[u.p].strength > pairs[v.p].strength; });
    search.cursor = 0;
    run_workers(workers, search_worker, &search);
    // A pair found independent by any set of this size is removed.
    for (const auto &[set, entry] : search.cache) {
      if (set[search.k + 1] == kNoVertex || (search.k + 2 < kMaxSet && set[search.k + 2] != kNoVertex)) continue;
      const std::size_t size = search.k + 2;
      for (std::size_t a = 0; a < size; ++a)
        for (std::size_t b = a + 1; b < size; ++b)
          if (entry.outcome[member_pair(a, b, size)] == 1) pairs[pair_index(set[a], set[b], n)].dependent = 0;
    }
  }
  // Every independence found records the rest of its set as a separator.
  for (const auto &[set, entry] : search.cache) {
    std::size_t size = 0;
    while (size < kMaxSet && set[size] != kNoVertex) ++size;
    for (std::size_t a = 0; a < size; ++a)
      for (std::size_t b = a + 1; b < size; ++b) {
        if (entry.outcome[member_pair(a, b, size)] != 1) continue;
        Vector<std::uint32_t> rest;
        for (std::size_t m = 0; m < size; ++m)
          if (m != a && m != b) rest.push_back(set[m]);
        pairs[pair_index(set[a], set[b], n)].separators.push_back(std::move(rest));
      }
  }
}

}  // namespace orv

