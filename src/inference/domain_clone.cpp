// orv_domain_clone: an independent copy of a domain. The copy is built fully
// off to the side (nodes, links, tables, models, chain blocks, evidence), then
// triangulated, compiled and propagated the way the original was, so that both
// give the same results; any failure frees the copy and leaves the original alone.
#include "compile/compile.h"
#include "compile/compiled_domain.h"
#include "compile/triangulate.h"
#include "expr/model.h"
#include "inference/evidence.h"
#include "inference/propagation.h"
#include "model/attributes.h"
#include "model/chain_blocks.h"
#include "model/node_ops.h"
#include "runtime/error.h"

namespace orv {
namespace {

class DomainCopy {
 public:
  explicit DomainCopy(orv_domain_s *original) : from_(original), to_(make<orv_domain_s>()) {}

  orv_domain_s *run() {
    copy_settings();
    copy_nodes();
    copy_links();
    for (orv_node_s *n : originals_) copy_quantitative_part(n);
    copy_chain_blocks();
    if (junction_forest(from_)) rebuild_inference_state();
    else for (orv_node_s *n : originals_) _orv_node_copy_evidence(counterpart(n), n);
    return to_.release();
  }

 private:
  orv_node_s *counterpart(const orv_node_s *n) const { return copies_[n->number - 1]; }

  NodeList mapped(const NodeList &nodes) const {
    NodeList result;
    result.reserve(nodes.size());
    for (orv_node_t n : nodes) result.push_back(counterpart(n));
    return result;
  }

  void copy_settings() {
    orv_domain_s *d = to_.get();
    d->node_width = from_->node_width;
    d->node_height = from_->node_height;
    d->grain_size = from_->grain_size;
    d->concurrency_level = from_->concurrency_level;
    d->em_concurrency_level = from_->em_concurrency_level;
    d->significance_level = from_->significance_level;
    d->random = from_->random;
    d->file_name = from_->file_name;
    d->attributes = copy_attribute_list(from_->attributes);
  }

  // Oldest first, so that every copy gets its original's number.
  void copy_nodes() {
    if (from_->instance_count > 0) fail(orv_error_usage);  // instances belong to classes
    originals_.assign(from_->node_count, nullptr);
    copies_.assign(from_->node_count, nullptr);
    for (orv_node_s *n = from_->first_node; n; n = n->next) originals_[n->number - 1] = n;
    for (orv_node_s *n : originals_) {
      orv_node_s *c = _orv_domain_new_node(to_.get(), n->category, n->kind, n->subtype, false);
      copies_[n->number - 1] = c;
      c->name = n->name;
      copy_node_description(c, n);
    }
    to_->initial_triangulation = mapped(from_->initial_triangulation);
  }

  void copy_links() {
    for (orv_node_s *n : originals_) {
      NodeList parents = mapped(n->parents), children = mapped(n->children);
      orv_node_s *c = counterpart(n);
      c->parents.swap(parents);
      c->children.swap(children);
      for (const EdgeConstraintRecord &r : n->edge_constraints)
        c->edge_constraints.push_back(EdgeConstraintRecord{counterpart(r.other), r.code});
    }
  }

  // An unchained copy of t in the new domain over the counterparts of its nodes.
  orv_table_s *copy_table(const orv_table_s *t, orv_node_s *owner) const {
    if (!t) return nullptr;
    Owned<orv_table_s> copy(_orv_clone_table(t, false));
    NodeList nodes = mapped(copy->nodes);
    copy->nodes.swap(nodes);
    copy->domain = to_.get();
    copy->node = owner;
    return copy.release();
  }

  void copy_quantitative_part(orv_node_s *n) {
    orv_node_s *c = counterpart(n);
    for (auto [from, to] : {std::pair{n->table, &c->table}, std::pair{n->experience, &c->experience},
                            std::pair{n->fading, &c->fading}}) {
      *to = copy_table(from, c);
      if (*to) chain_table(*to);
    }
    if (n->model) {
      NodeList nodes = mapped(n->model->nodes);
      orv_model_s *m = new_model(c, nodes.c_list());
      m->samples_per_interval = n->model->samples_per_interval;
      m->table_supplied = n->model->table_supplied;
      m->table_generated = n->model->table_generated;
      for (std::size_t i = 0; i < n->model->expressions.size(); ++i)
        if (n->model->expressions[i]) set_model_expression(m, i, copy_expression(n->model->expressions[i]));
    }
  }

  orv_expression_s *copy_expression(const orv_expression_s *e) const {
    const auto map = [](const orv_node_s *n, const void *self) {
      return static_cast<const DomainCopy *>(self)->counterpart(n);
    };
    return clone_expression(e, map, this);
  }

  void copy_chain_blocks() {
    Vector<ChainBlock *> blocks;
    for (ChainBlock *b = from_->first_chain_block; b; b = b->next) blocks.push_back(b);
    for (auto b = blocks.rbegin(); b != blocks.rend(); ++b) {
      ChainBlock *copy = _orv_new_chain_block(to_.get());
      NodeList members = mapped((*b)->members);
      copy->members.swap(members);
      for (orv_node_t m : copy->members) m->chain_block = copy;
      copy->potentials.reserve((*b)->potentials.size());
      for (const orv_table_s *t : (*b)->potentials) {
        copy->potentials.push_back(copy_table(t, nullptr));
        chain_table(copy->potentials.back());
      }
    }
  }

  // Enters what the original propagated, triangulates by the original's
  // elimination order, compiles and propagates as the original's trees were,
  // then enters the original's unpropagated evidence on top.
  void rebuild_inference_state() {
    CompiledDomain *state = compiled_domain(from_);
    list_elimination_order(*state);
    Vector<orv_node_t> order;
    for (orv_node_t n : state->elimination_order) order.push_back(n ? counterpart(n) : nullptr);
    for (orv_node_s *n : originals_) enter_propagated_evidence(counterpart(n), n);
    triangulate_with_order(to_.get(), order.data());
    if (!domain_is_compiled(from_)) {
      for (orv_node_s *n : originals_) _orv_node_copy_evidence(counterpart(n), n);
      return;
    }
    compile_quantitatively(to_.get());
    for (const auto &tree : junction_forest(from_)->tree_store) {
      if (tree->nodes.empty()) continue;
      orv_junction_tree_s *copy = counterpart(tree->nodes[0])->junction_tree;
      if (tree->equilibrium == orv_equilibrium_none)
        reset_tree(copy, tree->mode);
      else if (tree->equilibrium != copy->equilibrium || tree->mode != copy->mode)
        make_consistent(copy, tree->equilibrium, tree->mode, nullptr);
    }
    for (orv_node_s *n : originals_) {
      orv_node_s *c = counterpart(n);
      if (evidence_to_propagate(n)) {
        _orv_node_copy_evidence(c, n);
      } else if (n->value_evidence) {
        c->value_evidence = true;
        c->entered_value = n->entered_value;
      }
    }
  }

  static void enter_propagated_evidence(orv_node_s *to, const orv_node_s *from) {
    if (from->is_continuous()) {
      if (from->cg_propagated) enter_continuous_value(to, from->cg_propagated_value);
    } else if (from->propagated_state >= 0) {
      select_state(to, static_cast<std::size_t>(from->propagated_state));
    } else if (from->propagated_state == kFindingVector) {
      for (std::size_t s = 0; s < from->state_count; ++s) enter_finding(to, s, propagated_weight(from, s));
    }
  }

  orv_domain_s *from_;
  Owned<orv_domain_s> to_;
  Vector<orv_node_s *> originals_;  // by number - 1
  Vector<orv_node_s *> copies_;
};

}  // namespace
}  // namespace orv

extern "C" {

orv_domain_t orv_domain_clone(orv_domain_t domain) {
  if (!orv::is_domain(domain) || domain->is_class()) return orv::usage<orv_domain_t>(nullptr);
  return orv::guarded<orv_domain_t>(nullptr, [&] { return orv::DomainCopy(domain).run(); });
}

}  // extern "C"
