// Table data in NET text: one parenthesised level per discrete node, a row
// comment naming each parent configuration, CG entries as normal (mean, variance).
#include <cfloat>
#include <cmath>
#include <cstring>

#include "formats/net_writer.h"
#include "model/node.h"
#include "model/node_ops.h"
#include "runtime/error.h"

namespace orv {

void write_state_value(NetOutput &out, double value) {
  if (value >= DBL_MAX) {
    out.put("infinity");
  } else if (value <= -DBL_MAX) {
    out.put("-infinity");
  } else {
    out.format("%.8G", value);
  }
}

bool table_fits_on_one_line(const orv_table_s *t) {
  return t->nodes.empty() || (t->type == orv_table_probability && t->discrete_count == 1 &&
                              t->continuous_count == 0);
}

namespace {

// A state's name in a row comment.
void write_state_identification(NetOutput &out, orv_node_s *n, std::size_t state) {
  const char *label = orv_node_get_state_label(n, state);
  if (label && *label && std::strchr(label, '\n') == nullptr) {
    out.put(label);
    return;
  }
  const bool has_values = !n->state_values.empty();
  if (n->subtype == orv_subtype_interval && has_values) {
    out.put("interval(");
    write_state_value(out, n->state_values[state]);
    out.put(",");
    write_state_value(out, n->state_values[state + 1]);
    out.put(")");
  } else if (n->subtype == orv_subtype_boolean) {
    out.put(state == 0 ? "false" : "true");
  } else if (n->subtype == orv_subtype_number && has_values) {
    write_state_value(out, n->state_values[state]);
  } else {
    out.format("<%zu>", state);
  }
}

class TableWriter {
 public:
  TableWriter(NetOutput &out, orv_table_s *t, const NetLayout &layout)
      : out_(out), t_(t), layout_(layout), config_(t->discrete_count, 0) {
    const bool plain_probability = t->type == orv_table_probability && t->continuous_count == 0;
    comment_count_ = plain_probability && t->discrete_count > 0 ? t->discrete_count - 1 : t->discrete_count;
    always_comment_ = !plain_probability;
  }

  void write() {
    if (t_->discrete_count == 0 && t_->continuous_count > 0) {
      value(0);  // a single CG entry stands bare
    } else if (t_->discrete_count == 0) {
      out_.put("( ");
      value(0);
      out_.put(" )");
    } else {
      level(0, 0);
    }
    out_.put(";");
    if (comment_count_ > 0) row_comment();
    out_.put("\n");
  }

 private:
  void level(std::size_t depth, std::size_t base) {
    const orv_node_s *n = t_->nodes[depth];
    const bool innermost = depth + 1 == t_->discrete_count;
    out_.put("(");
    for (std::size_t s = 0; s < n->state_count; ++s) {
      if (s > 0 && (!innermost || always_comment_)) {
        row_comment();
        out_.put("\n");
        out_.put(layout_.tabs);
        for (std::size_t i = 0; i < depth; ++i) out_.put(" ");
      }
      config_[depth] = s;
      const std::size_t index = base * n->state_count + s;
      if (innermost) {
        out_.put(" ");
        value(index);
      } else {
        level(depth + 1, index);
      }
    }
    if (innermost) out_.put(" ");
    out_.put(")");
  }

  void row_comment() {
    out_.put("\t%");
    for (std::size_t i = 0; i < comment_count_; ++i) {
      orv_node_s *n = t_->nodes[i];
      out_.put("  ");
      out_.put(node_name(n));
      out_.put("=");
      write_state_identification(out_, n, config_[i]);
    }
  }

  void value(std::size_t index) {
    if (t_->continuous_count == 0) {
      out_.format("%G", t_->data[index]);
      return;
    }
    const double *block = t_->cg_data + index * t_->block_size;
    out_.put("normal ( ");
    bool written = false;
    if (block[cg_vector_index(0)] != 0) {
      out_.format("%.8G", block[cg_vector_index(0)]);
      written = true;
    }
    for (std::size_t i = 1; i < t_->continuous_count; ++i) {
      const double beta = block[cg_vector_index(i)];
      if (beta == 0) continue;
      if (beta > 0) {
        if (written) out_.put(" + ");
      } else {
        out_.put(written ? " - " : "-");
      }
      if (std::fabs(beta) != 1) {
        out_.format("%.8G", std::fabs(beta));
        out_.put(" * ");
      }
      out_.put(node_name(t_->nodes[t_->discrete_count + i]));
      written = true;
    }
    if (!written) out_.put("0");
    out_.put(", ");
    out_.format("%.8G", block[cg_matrix_index(0, 0)]);
    out_.put(" )");
  }

  NetOutput &out_;
  orv_table_s *t_;
  const NetLayout &layout_;
  Vector<std::size_t> config_;
  std::size_t comment_count_ = 0;
  bool always_comment_ = false;
};

}  // namespace

void write_table(NetOutput &out, orv_table_s *t, const NetLayout &layout) {
  _orv_allocate_data_arrays(t);
  TableWriter(out, t, layout).write();
}

}  // namespace orv
