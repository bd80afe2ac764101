// Saving and loading domains and class collections as KB files. A domain is
// stored as exact NET text without its discrete tables, those tables as
// binary doubles (read straight into the tables the reader keeps for them),
// its case data and its triangulation: the elimination order, and whether it
// was compiled. A compiled domain is recompiled on load with the stored
// order. A class collection is stored as exact NET text.
#include <cstring>

#include "formats/kb_stream.h"
#include "formats/net_parse.h"
#include "formats/net_reader.h"
#include "formats/parse_driver.h"
#include "formats/net_writer.h"
#include "oobn/class.h"
#include "runtime/error.h"
#include "tables/node_table.h"
#include "tables/table.h"

namespace orv {

namespace {

void put_text(ByteWriter &w, const char *text) {
  const std::size_t n = std::strlen(text);
  w.u64(n);
  w.run(text, n);
}

String get_text(ByteReader &r) {
  const std::size_t n = r.count(1);
  const unsigned char *p = r.run(n);
  if (std::memchr(p, 0, n)) fail(orv_error_bad_kb_format);
  return String(reinterpret_cast<const char *>(p), n);
}

// Frees text made by the NET writer.
struct OwnedText {
  char *text;
  ~OwnedText() { _orv_free(text); }
};

// Per node holding case data: its name and, per case, 0 (not set), 1 and a
// state, or 2 and a value.
void write_cases(ByteWriter &w, orv_domain_s *d) {
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
    put_text(w, x->name.c_str());
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

orv_node_s *node_named(orv_domain_s *d, ByteReader &r) {
  String name = get_text(r);
  orv_node_s *x = orv_domain_get_node_by_name(d, name.c_str());
  if (!x) fail(orv_error_bad_kb_format);
  return x;
}

void read_cases(ByteReader &r, orv_domain_s *d) {
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
  for (std::size_t k = 0; k < holders; ++k) {
    orv_node_s *x = node_named(d, r);
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

// 0: not triangulated; 1: triangulated; 2: compiled. Then the elimination order by name.
void write_triangulation(ByteWriter &w, orv_domain_s *d) {
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
  for (std::size_t i = 0; i < n; ++i) put_text(w, order[i]->name.c_str());
}

void read_triangulation(ByteReader &r, orv_domain_s *d) {
  const unsigned state = r.u8();
  if (state == 0) return;
  if (state > 2) fail(orv_error_bad_kb_format);
  const std::size_t n = r.count(1);
  Vector<orv_node_t> order;
  order.reserve(n + 1);
  for (std::size_t i = 0; i < n; ++i) order.push_back(node_named(d, r));
  order.push_back(nullptr);
  // What was saved triangulated or compiled does so again: any failure but
  // memory means damage.
  orv_status_t s = orv_domain_triangulate_with_order(d, order.data());
  if (s == orv_error_none && state == 2) s = orv_domain_compile(d);
  if (s == orv_error_no_memory) fail(orv_error_no_memory);
  if (s != orv_error_none) fail(orv_error_bad_kb_format);
}

// Fails with the load's own code: text that passed the checks but does not
// parse is a damaged file, not a parse error of the caller's.
void check_model(bool ok) {
  if (ok) return;
  const orv_error_t e = error_code();
  fail(e == orv_error_no_memory || e == orv_error_io ? e : orv_error_bad_kb_format);
}

// The parsers take text that does not look like NET as a file name: refuse it.
void check_net_text(const String &text) {
  const int is_text = _orv_string_is_net_description(text.c_str());
  check(is_text >= 0);
  if (!is_text) fail(orv_error_bad_kb_format);
}

void write_structure(NetOutput &out, orv_domain_s *d) {
  out.table_data = false;
  write_domain_net(out, d);
}

bool in_binary(const orv_node_s *n) {
  return n->category != orv_category_instance && !is_output_clone(n) && stored_in_binary(n);
}

// The tables the text leaves out: their count, then per table the node's
// position in the chain, the size and the entries. (Reading the text drops
// such tables; they are made again over the same nodes.)
void write_tables(ByteWriter &w, orv_domain_s *d) {
  std::size_t count = 0;
  for (orv_node_s *n = d->first_node; n; n = n->next) count += in_binary(n);
  w.u64(count);
  std::size_t position = 0;
  for (orv_node_s *n = d->first_node; n; n = n->next, ++position) {
    if (!in_binary(n)) continue;
    w.u64(position);
    w.u64(n->table->size);
    w.f64s(n->table->data, n->table->size);
  }
}

// The structure text, keeping the tables whose data follows in binary.
void parse_structure(ParseData &p, orv_domain_s *d) {
  p.get_token = get_new_token;
  NetReader reader(p, d);
  reader.keep_unfilled_tables = true;
  reader.parse_body();
}

// What the reader does at its end for tables that received no data: such a
// table stays, filled, for a node with learning tables, else it goes.
void settle_unfilled_tables(orv_domain_s *d) {
  for (orv_node_s *n = d->first_node; n; n = n->next) {
    orv_table_s *t = n->table;
    if (!t || t->data) continue;
    if (n->experience || n->fading) {
      _orv_allocate_data_arrays(t);
    } else {
      n->table = nullptr;
      _orv_free_table(t);
    }
  }
}

void read_tables(ByteReader &r, orv_domain_s *d) {
  Vector<orv_node_s *> chain;
  for (orv_node_s *n = d->first_node; n; n = n->next) chain.push_back(n);
  const std::size_t count = r.count(16);
  std::size_t next = 0;
  for (std::size_t k = 0; k < count; ++k) {
    const std::uint64_t position = r.u64();
    if (position < next || position >= chain.size()) fail(orv_error_bad_kb_format);
    next = static_cast<std::size_t>(position) + 1;
    orv_node_s *n = chain[position];
    if (n->category == orv_category_instance || n->model || !node_can_have_table(n)) fail(orv_error_bad_kb_format);
    orv_table_s *t = node_table(n);
    if (r.u64() != t->size || t->continuous_count != 0) fail(orv_error_bad_kb_format);
    _orv_allocate_data_arrays(t, false);
    r.f64s(t->data, t->size);
    n->table_valid = false;  // checked again before compiling, as after parsing
  }
}

Bytes domain_model(orv_domain_s *d) {
  ByteWriter w;
  OwnedText text{domain_text(d, true, write_structure)};
  put_text(w, text.text);
  write_tables(w, d);
  write_cases(w, d);
  write_triangulation(w, d);
  return std::move(w.bytes);
}

orv_domain_s *load_domain(const char *file_name, const char *password) {
  Bytes model = read_kb_file(file_name, KbType::domain, password);
  ByteReader r{model.data(), model.data() + model.size()};
  String text = get_text(r);
  check_net_text(text);
  orv_domain_s *raw = nullptr;
  try {
    raw = run_parse(nullptr, text.c_str(), parse_structure, nullptr, nullptr);
  } catch (const Failure &f) {
    set_error(f.code);
  }
  check_model(raw != nullptr);
  struct Deleter {
    orv_domain_s *d;
    ~Deleter() { if (d) orv_domain_delete(d); }
  } owner{raw};
  read_tables(r, raw);
  settle_unfilled_tables(raw);
  read_cases(r, raw);
  read_triangulation(r, raw);
  if (!r.done()) fail(orv_error_bad_kb_format);
  raw->file_name = file_name;
  owner.d = nullptr;
  return raw;
}

orv_class_collection_s *load_collection(const char *file_name, const char *password) {
  Bytes model = read_kb_file(file_name, KbType::class_collection, password);
  ByteReader r{model.data(), model.data() + model.size()};
  String text = get_text(r);
  if (!r.done()) fail(orv_error_bad_kb_format);
  check_net_text(text);
  orv_class_collection_s *raw = orv_new_class_collection();
  check(raw != nullptr);
  struct Deleter {
    orv_class_collection_s *cc;
    ~Deleter() { if (cc) orv_cc_delete(cc); }
  } owner{raw};
  check_model(orv_net_parse_classes(text.c_str(), raw, nullptr, nullptr, nullptr) == orv_error_none);
  if (raw->members.empty()) fail(orv_error_bad_kb_format);
  for (orv_class_s *c : raw->members) c->file_name = file_name;
  owner.cc = nullptr;
  return raw;
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
    orv::OwnedText text{orv::domain_text(cc->members[0], true, orv::write_collection_net)};
    orv::put_text(w, text.text);
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
