// Table data: flat or nested lists of numbers, and CG entries
// "normal ( mean, variance )" with a linear mean over continuous parents.
#include <cstring>

#include "formats/net_reader.h"
#include "runtime/error.h"

namespace orv {

namespace {

class TableDataParser {
 public:
  TableDataParser(ParseData &p, orv_table_s *t) : p_(p), t_(t), cg_(t->continuous_count > 0) {}

  void parse() {
    allocate();
    const std::size_t levels = t_->discrete_count;
    int t = p_.next();
    if (levels == 0) {
      if (t == kTokNumber && !cg_) {
        store_number(0, p_.number, false);
        return;
      }
      if (cg_ && t == kTokName && std::strcmp(p_.token_text, "normal") == 0) {
        p_.push_back(t);  // a single CG entry may stand without parentheses
        entry(0, false);
        return;
      }
      expect(t, '(');
      entry(0, false);
      expect(p_.next(), ')');
      return;
    }
    expect(t, '(');
    if (levels >= 2) {
      t = p_.next();
      p_.push_back(t);
      if (t == '(') {
        nested(0, 0, true);
        return;
      }
    }
    for (std::size_t i = 0; i < t_->size; ++i) entry(i, false);
    expect(p_.next(), ')');
  }

 private:
  void expect(int token, char c) {
    if (token == c) return;
    char message[] = "`?' expected";
    message[1] = c;
    p_.syntax_error(token, message);
  }

  void allocate() {
    try {
      _orv_allocate_data_arrays(t_);
    } catch (const std::bad_alloc &) {
      report_api_error(p_, orv_error_no_memory);
    }
    if (!cg_) return;
    for (std::size_t i = 0; i < t_->roles.size(); ++i) t_->roles[i] = i == 0 ? kRoleHead : kRoleTail;
    for (std::size_t c = 0; c < t_->size; ++c) t_->cg_data[c * t_->block_size + cg_matrix_index(0, 0)] = 1.0;
  }

  // One level of nested data; the opening parenthesis of the outermost level
  // has been read already.
  void nested(std::size_t depth, std::size_t base, bool opened) {
    if (!opened) expect(p_.next(), '(');
    const orv_node_s *n = t_->nodes[depth];
    const bool innermost = depth + 1 == t_->discrete_count;
    for (std::size_t s = 0; s < n->state_count; ++s) {
      const std::size_t index = base * n->state_count + s;
      if (innermost) {
        entry(index, true);
      } else {
        nested(depth + 1, index, false);
      }
    }
    expect(p_.next(), ')');
  }

  void entry(std::size_t index, bool nested_form) {
    if (cg_) {
      cg_entry(index);
      return;
    }
    if (p_.next() != kTokNumber) p_.syntax_error(kTokError, "number expected");
    store_number(index, p_.number, nested_form);
  }

  void store_number(std::size_t index, double value, bool nested_form) {
    const bool may_be_negative = t_->type == orv_table_utility || t_->type == orv_table_experience;
    if (value < 0 && !may_be_negative) {
      if (nested_form) {
        p_.warning("warning: negative value in probability potential");
      } else {
        p_.report("<number> must be nonnegative");
      }
    }
    t_->data[index] = value;
  }

  // Position of a continuous parent in the table's continuous part, or 0.
  std::size_t tail_position(const char *name) const {
    for (std::size_t i = 1; i < t_->continuous_count; ++i) {
      orv_node_s *n = t_->nodes[t_->discrete_count + i];
      if (n->name == name) return i;
    }
    return 0;
  }

  void cg_entry(std::size_t index) {
    double *block = t_->cg_data + index * t_->block_size;
    int t = p_.next();
    if (t != kTokName || std::strcmp(p_.token_text, "normal") != 0)
      p_.syntax_error(t, "the keyword `normal' was expected");
    expect(p_.next(), '(');
    double intercept = 0;
    Vector<double> coefficients(t_->continuous_count, 0.0);
    t = next_with(p_, get_expr_token);
    double sign = 1;
    if (t == '+' || t == '-') {
      sign = t == '-' ? -1 : 1;
      t = next_with(p_, get_expr_token);
    }
    for (;;) {
      double factor = 1;
      bool named = false;
      if (t == kTokNumber) {
        factor = p_.number;
        const int after = next_with(p_, get_expr_token);
        if (after == '*') {
          t = next_with(p_, get_expr_token);
          if (t != kTokName && t != kTokDottedName)
            p_.syntax_error(t, "<number> or <node name> expected in mean value expression");
          named = true;
        } else {
          p_.push_back(after);
        }
      } else if (t == kTokName || t == kTokDottedName) {
        named = true;
      } else {
        p_.syntax_error(t, "<number> or <node name> expected in mean value expression");
      }
      if (named) {
        const std::size_t i = tail_position(p_.token_text);
        if (i == 0) {
          String message = format_message("node `%s' is not part of the table", p_.token_text);
          p_.report(message.c_str());
        } else {
          coefficients[i] += sign * factor;
        }
      } else {
        intercept += sign * factor;
      }
      t = next_with(p_, get_expr_token);
      if (t == ',') break;
      if (t != '+' && t != '-') p_.syntax_error(t, "expected one of: ,+-");
      sign = t == '-' ? -1 : 1;
      t = next_with(p_, get_expr_token);
    }
    t = p_.next();
    if (t != kTokNumber) p_.syntax_error(t, "variance (a nonnegative <number>) expected");
    double variance = p_.number;
    if (variance < 0) p_.report("variance must be nonnegative");
    expect(p_.next(), ')');
    block[cg_vector_index(0)] = intercept;
    for (std::size_t i = 1; i < t_->continuous_count; ++i) block[cg_vector_index(i)] = coefficients[i];
    block[cg_matrix_index(0, 0)] = variance;
  }

  ParseData &p_;
  orv_table_s *t_;
  bool cg_;
};

}  // namespace

void parse_table_data(ParseData &p, orv_table_s *t) { TableDataParser(p, t).parse(); }

}  // namespace orv
