// orv_domain_compile: triangulation when needed, then the quantitative phase,
// with the domain returned to its previous state on failure.
#include "compile/compile.h"
#include "compile/junction_forest.h"
#include "expr/table_generation.h"
#include "runtime/error.h"
#include "tables/node_table.h"

namespace orv {
namespace {

// A decision given no policy gets the uniform one before it is compiled in.
void give_decisions_policies(orv_domain_s *d) {
  for (orv_node_s *n = d->first_node; n; n = n->next)
    if (n->category == orv_category_decision && n->is_discrete() && !n->table && node_can_have_table(n)) node_table(n);
}

bool compilable(const orv_domain_s *d) {
  return is_domain(d) && !d->is_class() && d->discrete_count + d->continuous_count > 0 && !domain_is_compiled(d);
}

}  // namespace
}  // namespace orv

extern "C" {

orv_status_t orv_domain_compile(orv_domain_t domain) {
  if (!orv::compilable(domain)) return orv::usage(orv_error_usage);
  return orv::guarded_status([&] {
    orv::generate_domain_tables(domain);
    const bool triangulate_here = !orv::junction_forest(domain);
    if (triangulate_here) {
      orv::give_decisions_policies(domain);
      const orv_status_t status = orv_domain_triangulate(domain, orv_tm_best_greedy);
      if (status != orv_error_none) orv::fail(static_cast<orv_error_t>(status));
    }
    try {
      orv::compile_quantitatively(domain);
    } catch (...) {
      // A triangulation made by this call goes again; the user's stays.
      if (triangulate_here) orv::uncompile(domain);
      throw;
    }
  });
}

int orv_domain_is_compiled(orv_domain_t domain) {
  if (!orv::is_domain(domain)) return orv::usage(-1);
  return orv::guarded<int>(-1, [&] { return orv::domain_is_compiled(domain) ? 1 : 0; });
}

int orv_domain_is_triangulated(orv_domain_t domain) {
  if (!orv::is_domain(domain)) return orv::usage(-1);
  orv::set_error(orv_error_none);
  return orv::junction_forest(domain) ? 1 : 0;
}

orv_status_t orv_domain_uncompile(orv_domain_t domain) {
  if (!orv::is_domain(domain) || domain->is_class()) return orv::usage(orv_error_usage);
  orv::set_error(orv_error_none);
  orv::uncompile(domain);
  return orv_error_none;
}

}  // extern "C"
