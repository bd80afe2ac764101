// The BIF writer: one "variable" block per node and one "probability" block
// per table, rows by parent configuration, numbers in the shortest form that
// reads back to the same double.
#include <cassert>
#include <cctype>
#include <cstdlib>
#include <cstring>

#include "formats/net_writer.h"
#include "model/domain.h"
#include "model/node.h"
#include "model/node_ops.h"
#include "runtime/error.h"
#include "tables/table.h"

namespace orv {
namespace {

void put_number(NetOutput &out, double value) {
  char text[40];
  for (int precision = 15; precision <= 17; ++precision) {
    std::snprintf(text, sizeof text, "%.*G", precision, value);
    if (std::strtod(text, nullptr) == value) break;
  }
  out.put(text);
}

// A label as a plain word when the reader takes it as one, else quoted.
void put_label(NetOutput &out, const char *label) {
  bool plain = *label != '\0' && label[0] != '/';
  for (const char *c = label; *c && plain; ++c)
    plain = !std::isspace(static_cast<unsigned char>(*c)) && std::strchr("{}()[],;|\"\\", *c) == nullptr;
  if (plain) {
    out.put(label);
    return;
  }
  out.put_char('"');
  for (const char *c = label; *c; ++c) {
    if (*c == '"' || *c == '\\') out.put_char('\\');
    out.put_char(*c);
  }
  out.put_char('"');
}

void write_variable(NetOutput &out, orv_node_s *n) {
  out.format("variable %s {\n  type discrete [ %zu ] { ", node_name(n), n->state_count);
  for (std::size_t s = 0; s < n->state_count; ++s) {
    if (s) out.put(", ");
    const char *label = orv_node_get_state_label(n, s);
    if (label && *label) {
      put_label(out, label);
    } else {
      out.format("s%zu", s);
    }
  }
  out.put(" };\n");
  int x = 0, y = 0;
  if (orv_node_get_position(n, &x, &y) == orv_error_none && (x != 0 || y != 0))
    out.format("  property \"position = (%d, %d)\";\n", x, y);
  out.put("}\n");
}

void write_state(NetOutput &out, orv_node_s *n, std::size_t s) {
  const char *label = orv_node_get_state_label(n, s);
  if (label && *label) {
    put_label(out, label);
  } else {
    out.format("s%zu", s);
  }
}

// Stride of node n in table t (row-major, last node fastest).
std::size_t stride_of(const orv_table_s *t, const orv_node_s *n) {
  std::size_t stride = 1;
  for (std::size_t k = t->discrete_count; k-- > 0;) {
    if (t->nodes[k] == n) return stride;
    stride *= t->nodes[k]->state_count;
  }
  assert(false);
  return 0;
}

// Rows by configuration of the parents in table order, which is the order
// the reader gives the table back.
void write_probability(NetOutput &out, orv_node_s *n, orv_table_s *t) {
  _orv_allocate_data_arrays(t);
  Vector<orv_node_s *> parents;
  for (std::size_t i = 0; i < t->discrete_count; ++i)
    if (t->nodes[i] != n) parents.push_back(t->nodes[i]);
  out.format("probability ( %s", node_name(n));
  for (std::size_t i = 0; i < parents.size(); ++i) out.format("%s%s", i ? ", " : " | ", node_name(parents[i]));
  out.put(" ) {\n");
  const std::size_t states = n->state_count, child_stride = stride_of(t, n);
  Vector<std::size_t> config(parents.size(), 0), stride(parents.size(), 0);
  for (std::size_t i = 0; i < parents.size(); ++i) stride[i] = stride_of(t, parents[i]);
  std::size_t base = 0;
  for (std::size_t r = 0, rows = t->size / states; r < rows; ++r) {
    if (parents.empty()) {
      out.put("  table ");
    } else {
      out.put("  (");
      for (std::size_t i = 0; i < parents.size(); ++i) {
        if (i) out.put(", ");
        write_state(out, parents[i], config[i]);
      }
      out.put(") ");
    }
    for (std::size_t s = 0; s < states; ++s) {
      if (s) out.put(", ");
      put_number(out, t->data[base + s * child_stride]);
    }
    out.put(";\n");
    for (std::size_t k = parents.size(); k-- > 0;) {
      base += stride[k];
      if (++config[k] < parents[k]->state_count) break;
      base -= stride[k] * config[k];
      config[k] = 0;
    }
  }
  out.put("}\n");
}

bool writable_as_bif(const orv_domain_s *d) {
  for (const orv_node_s *n = d->first_node; n; n = n->next)
    if (n->category != orv_category_chance || n->kind != orv_kind_discrete) return false;
  return true;
}

void write_domain_bif(NetOutput &out, orv_domain_s *d) {
  out.put("network unknown {\n}\n");
  for (orv_node_s *n = d->first_node; n; n = n->next) write_variable(out, n);
  for (orv_node_s *n = d->first_node; n; n = n->next)
    if (n->table) write_probability(out, n, n->table);
}

bool bif_arguments_ok(orv_domain_t d) { return is_domain(d) && !d->is_class() && writable_as_bif(d); }

}  // namespace
}  // namespace orv

using orv::guarded;
using orv::guarded_status;
using orv::usage;

extern "C" {

char *orv_domain_to_bif_string(orv_domain_t domain) {
  if (!orv::bif_arguments_ok(domain)) return usage<char *>(nullptr);
  return guarded<char *>(nullptr, [&] { return orv::domain_text(domain, false, orv::write_domain_bif); });
}

orv_status_t orv_domain_save_as_bif(orv_domain_t domain, const char *file_name) {
  if (!orv::bif_arguments_ok(domain) || !file_name) return usage(orv_error_usage);
  return guarded_status([&] { orv::save_domain_file(domain, file_name, false, orv::write_domain_bif); });
}

}  // extern "C"
