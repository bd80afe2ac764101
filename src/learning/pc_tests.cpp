// The G² tests of structure learning: weighted counts of the complete cases
// over a node set, the test of one pair of the set given the rest, and the
// marginal pass over all pairs.
#include <cmath>

#include "learning/pc.h"
#include "runtime/error.h"

namespace orv {

CaseColumns::CaseColumns(orv_domain_s *d) : cases_(d->number_of_cases), counts_(d->case_counts) {
  for (orv_node_s *n = d->first_node; n; n = n->next) nodes_.push_back(n);
}

JointCounts::JointCounts(const CaseColumns &columns, const std::uint32_t *members, std::size_t count) {
  std::size_t size = 1;
  for (std::size_t m = 0; m < count; ++m) {
    states_.push_back(columns.states(members[m]));
    size = size_multiply(size, states_.back());
  }
  if (size == kSizeSentinel) fail(orv_error_no_memory);
  counts_.assign(size, 0.0);
  const std::size_t cases = columns.cases();
  for (std::size_t i = 0; i < cases; ++i) {
    const double w = columns.weight(i);
    if (!(w > 0.0)) continue;
    std::size_t index = 0;
    bool complete = true;
    for (std::size_t m = 0; m < count && complete; ++m) {
      const int s = columns.state(members[m], i);
      complete = s >= 0;
      index = index * states_[m] + static_cast<std::size_t>(complete ? s : 0);
    }
    if (!complete) continue;
    counts_[index] += w;
    total_ += w;
  }
}

TestResult JointCounts::test(std::size_t a, std::size_t b) const {
  const std::size_t count = states_.size(), na = states_[a], nb = states_[b];
  // Counts of (rest, a, b): rest in member order, then a, then b.
  std::size_t rest = 1;
  for (std::size_t m = 0; m < count; ++m)
    if (m != a && m != b) rest *= states_[m];
  Vector<double> slices(rest * na * nb, 0.0);
  Vector<std::size_t> digits(count, 0);
  for (double n : counts_) {
    std::size_t z = 0;
    for (std::size_t m = 0; m < count; ++m)
      if (m != a && m != b) z = z * states_[m] + digits[m];
    slices[(z * na + digits[a]) * nb + digits[b]] += n;
    for (std::size_t m = count; m-- > 0;) {
      if (++digits[m] < states_[m]) break;
      digits[m] = 0;
    }
  }
  TestResult r;
  r.total = total_;
  Vector<double> row(na), column(nb);
  for (std::size_t z = 0; z < rest; ++z) {
    const double *slice = slices.data() + z * na * nb;
    double nz = 0.0;
    std::fill(row.begin(), row.end(), 0.0);
    std::fill(column.begin(), column.end(), 0.0);
    for (std::size_t x = 0; x < na; ++x)
      for (std::size_t y = 0; y < nb; ++y) {
        row[x] += slice[x * nb + y];
        column[y] += slice[x * nb + y];
        nz += slice[x * nb + y];
      }
    std::size_t rows = 0, columns = 0;
    for (double v : row) rows += v > 0.0;
    for (double v : column) columns += v > 0.0;
    if (rows < 2 || columns < 2) continue;
    r.df += static_cast<double>((rows - 1) * (columns - 1));
    for (std::size_t x = 0; x < na; ++x)
      for (std::size_t y = 0; y < nb; ++y) {
        const double n = slice[x * nb + y], e = row[x] * column[y] / nz;
        if (n > 0.0 && e > 0.0) r.g2 += 2.0 * n * std::log(n / e);
      }
  }
  if (r.g2 < 0.0) r.g2 = 0.0;
  if (r.df > 0.0) {
    r.p_value = _orv_chi_square_c(r.g2, r.df);
    if (r.p_value < 0.0) fail(orv_error_error);
  }
  return r;
}

namespace {

struct MarginalPass {
  const CaseColumns &columns;
  double level;
  Vector<PairRecord> &pairs;
  std::size_t workers;
};

// Worker w tests the pairs whose index is w modulo the number of workers.
void marginal_worker(void *context, std::size_t w) {
  MarginalPass &pass = *static_cast<MarginalPass *>(context);
  const std::size_t n = pass.columns.size();
  std::size_t p = 0;
  for (std::uint32_t i = 0; i < n; ++i)
    for (std::uint32_t j = i + 1; j < n; ++j, ++p) {
      if (p % pass.workers != w) continue;
      const std::uint32_t members[2] = {i, j};
      const TestResult r = SetTests(pass.columns, members, 2).test(0, 1);
      PairRecord &record = pass.pairs[p];
      record.strength = r.total > 0.0 ? r.g2 / (2.0 * r.total) : 0.0;
      record.dependent = r.p_value < pass.level ? 1 : 0;
    }
}

}  // namespace

void marginal_tests(const CaseColumns &columns, double level, Vector<PairRecord> &pairs, std::size_t workers) {
  MarginalPass pass{columns, level, pairs, workers};
  run_workers(workers, marginal_worker, &pass);
  // The empty set separates each marginally independent pair.
  for (PairRecord &record : pairs)
    if (record.dependent <= 0) record.separators.emplace_back();
}

}  // namespace orv
