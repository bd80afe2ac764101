// Saving and loading domains and class collections as KB files. A domain is
// stored as its binary network section (kb_nodes.cpp), its case data and its
// triangulation: the elimination order, and whether it was compiled. A
// compiled domain is recompiled on load with the stored order. A class
// collection is stored as its classes' network sections (kb_classes.cpp).
// Files of another format version are refused.
#include "formats/kb_structure.h"
#include "oobn/class.h"
#include "runtime/error.h"
#include "runtime/files.h"

namespace orv {

namespace {

// Per node holding case data: its position and, per case, 0 (not set), 1 and a
// state, or 2 and a value.
void write_cases(ByteWriter &w, orv_domain_s *d, const KbPositions &at) {
  const std::size_t n = orv_domain_get_number_of_cases(d);
  w.u64(n);
  w.u8(d->case_counts ? 1 : 0);
  if (d->case_counts)
    for (std::size_t i = 0; i < n; ++i) w.f64(d->case_counts[i]);
  std::size_t holders = 0;
  for (orv_node_s *x = d->first_node; x; x = x->next) holders += x->case_states || x->case_values;
  w.u64(n ? holders : 0);
  if (!n) return;
  for (orv_node_s *x = d->first_node; x; x = x->next) {
    if (!x->case_states && !x->case_values) continue;
    w.u32(at(x));
    for (std::size_t i = 0; i < n; ++i) {
      if (!orv_node_case_is_set(x, i)) {
        w.u8(0);
      } else if (x->is_discrete()) {
        w.u8(1);
        w.u64(static_cast<std::uint64_t>(orv_node_get_case_state(x, i)));
      } else {
        w.u8(2);
        w.f64(orv_node_get_case_value(x, i));
      }
    }
  }
}

void read_cases(ByteReader &r, orv_domain_s *d, const KbNodes &k) {
  const std::size_t n = r.count(0);
  const bool counts = r.u8() != 0;
  if (n > static_cast<std::size_t>(r.end - r.at)) fail(orv_error_bad_kb_format);
  check(orv_domain_set_number_of_cases(d, n) == orv_error_none);
  if (counts)
    for (std::size_t i = 0; i < n; ++i) {
      const double c = r.f64();
      if (orv_domain_set_case_count(d, i, c) != orv_error_none) fail(orv_error_bad_kb_format);
    }
  const std::size_t holders = r.count(1);
  for (std::size_t h = 0; h < holders; ++h) {
    orv_node_s *x = k.read(r);
    for (std::size_t i = 0; i < n; ++i) {
      const unsigned tag = r.u8();
      orv_status_t s = orv_error_none;
      if (tag == 1) {
        const std::uint64_t state = r.u64();
        s = x->is_discrete() ? orv_node_set_case_state(x, i, static_cast<std::size_t>(state)) : orv_error_usage;
      } else if (tag == 2) {
        const double v = r.f64();
        s = x->is_discrete() ? orv_error_usage : orv_node_set_case_value(x, i, v);
      } else if (tag != 0) {
        s = orv_error_usage;
      }
      if (s == orv_error_no_memory) fail(orv_error_no_memory);
      if (s != orv_error_none) fail(orv_error_bad_kb_format);
    }
  }
}

// 0: not triangulated; 1: triangulated; 2: compiled. Then the elimination order.
void write_triangulation(ByteWriter &w, orv_domain_s *d, const KbPositions &at) {
  if (!orv_domain_is_triangulated(d)) {
    w.u8(0);
    return;
  }
  w.u8(orv_domain_is_compiled(d) ? 2 : 1);
  orv_node_t *order = orv_domain_get_elimination_order(d);
  check(order != nullptr);
  std::size_t n = 0;
  while (order[n]) ++n;
  w.u64(n);
  for (std::size_t i = 0; i < n; ++i) w.u32(at(order[i]));
}

void read_triangulation(ByteReader &r, orv_domain_s *d, const KbNodes &k) {
  const unsigned state = r.u8();
  if (state == 0) return;
  if (state > 2) fail(orv_error_bad_kb_format);
  const std::size_t n = r.count(4);
  Vector<orv_node_t> order;
  order.reserve(n + 1);
  for (std::size_t i = 0; i < n; ++i) order.push_back(k.read(r));
  order.push_back(nullptr);
  // What was saved triangulated or compiled does so again: any failure but
  // memory means damage.
  orv_status_t s = orv_domain_triangulate_with_order(d, order.data());
  if (s == orv_error_none && state == 2) s = orv_domain_compile(d);
  if (s == orv_error_no_memory) fail(orv_error_no_memory);
  if (s != orv_error_none) fail(orv_error_bad_kb_format);
}

// Reads a model under the C locale (names are checked under it): what the
// file cannot build is damage; only memory and I/O fail as such.
template <class Body>
void read_model_bytes(const Bytes &model, Body &&body) {
  ByteReader r{model.data(), model.data() + model.size()};
  CLocale locale;
  try {
    body(r);
    if (!r.done()) kb_damage();
  } catch (const Failure &f) {
    fail(f.code == orv_error_no_memory || f.code == orv_error_io ? f.code : orv_error_bad_kb_format);
  }
}

Bytes domain_model(orv_domain_s *d) {
  CLocale locale;  // model expressions are printed under it
  ByteWriter w;
  const KbPositions at(d, nullptr);
  write_network(w, d, at);
  write_cases(w, d, at);
  write_triangulation(w, d, at);
  return std::move(w.bytes);
}

orv_domain_s *load_domain(const char *file_name, const char *password) {
  const Bytes model = read_kb_file(file_name, KbType::domain, password);
  Owned<orv_domain_s> d(make<orv_domain_s>());
  read_model_bytes(model, [&](ByteReader &r) {
    KbNodes k;
    read_network(r, d.get(), k);
    read_cases(r, d.get(), k);
    read_triangulation(r, d.get(), k);
  });
  d->file_name = file_name;
  return d.release();
}

orv_class_collection_s *load_collection(const char *file_name, const char *password) {
  const Bytes model = read_kb_file(file_name, KbType::class_collection, password);
  Owned<orv_class_collection_s> cc(make<orv_class_collection_s>());
  read_model_bytes(model, [&](ByteReader &r) { read_collection(r, cc.get()); });
  for (orv_class_s *c : cc->members) c->file_name = file_name;
  return cc.release();
}

}  // namespace

}  // namespace orv

using orv::guarded;
using orv::guarded_status;
using orv::usage;

extern "C" {

orv_status_t orv_domain_save_as_kb(orv_domain_t domain, const char *file_name, const char *password) {
  if (!orv::is_domain(domain) || domain->is_class() || !file_name) return usage(orv_error_usage);
  return guarded_status([&] {
    orv::String name(file_name);
    orv::write_kb_file(file_name, orv::KbType::domain, orv::domain_model(domain), password);
    domain->file_name.swap(name);
  });
}

orv_status_t orv_cc_save_as_kb(orv_class_collection_t cc, const char *file_name, const char *password) {
  if (!orv::is_collection(cc) || cc->members.empty() || !file_name) return usage(orv_error_usage);
  return guarded_status([&] {
    orv::ByteWriter w;
    {
      orv::CLocale locale;
      orv::write_collection(w, cc);
    }
    orv::Vector<orv::String> names(cc->members.size(), orv::String(file_name));
    orv::write_kb_file(file_name, orv::KbType::class_collection, w.bytes, password);
    for (std::size_t i = 0; i < names.size(); ++i) cc->members[i]->file_name.swap(names[i]);
  });
}

orv_domain_t orv_kb_load_domain(const char *file_name, const char *password) {
  if (!file_name) return usage<orv_domain_t>(nullptr);
  return guarded<orv_domain_t>(nullptr, [&] { return orv::load_domain(file_name, password); });
}

orv_class_collection_t orv_kb_load_class_collection(const char *file_name, const char *password) {
  if (!file_name) return usage<orv_class_collection_t>(nullptr);
  return guarded<orv_class_collection_t>(nullptr, [&] { return orv::load_collection(file_name, password); });
}

}  // extern "C"
