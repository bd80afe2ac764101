// Decomposition of a graph by clique minimal separators into prime
// components (Lex M minimal elimination ordering plus candidate separators).
#pragma once

#include "compile/fragment.h"
#include "runtime/arena.h"

namespace orv {

// Lex M numbering: number[v] in 1..n (n numbered first), and for every vertex
// the vertices numbered before it that reached it, when those are pairwise
// adjacent in g (has_candidates[v] == 0 when they are not). The lists live
// in the arena given to the search.
struct LexMNumbering {
  explicit LexMNumbering(Arena &arena)
      : number(ArenaAllocator<std::size_t>(arena)), candidates(ArenaAllocator<ArenaVector<Vertex>>(arena)),
        has_candidates(ArenaAllocator<unsigned char>(arena)) {}
  ArenaVector<std::size_t> number;
  ArenaVector<ArenaVector<Vertex>> candidates;
  ArenaVector<unsigned char> has_candidates;
};
LexMNumbering lex_m_numbering(const Fragment &g, Arena &arena);

// The prime components as sorted vertex lists, in extraction order. Every
// vertex and every edge of g lies in at least one component.
Vector<VertexList> find_prime_components(const Fragment &g);

}  // namespace orv
