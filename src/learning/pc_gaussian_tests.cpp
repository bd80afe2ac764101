// The independence tests of structure learning that involve continuous
// nodes: a likelihood-ratio test between two regressions of a continuous
// node Y, with and without the other member X of the pair, given the rest of
// the set. The discrete members split the cases into slices, each with its
// own intercept; the continuous ones are regressors with slopes shared by
// all slices. A continuous X enters as one more regressor; a discrete X
// splits the slices further. The residual sums of squares come from the
// pooled within-slice cross-product matrix by the sweep operator.
#include <cmath>
#include <limits>

#include "learning/pc.h"
#include "runtime/error.h"

namespace orv {

namespace {

// Residual sum of squares of member y regressed on the members flagged in
// `regressors` (a pooled cross-product matrix of m x m). A regressor that is
// a linear function of those before it is skipped; `used` counts the others.
double residual_sum(Vector<double> w, std::size_t m, std::size_t y, const bool *regressors, std::size_t &used) {
  used = 0;
  for (std::size_t k = 0; k < m; ++k) {
    if (!regressors[k]) continue;
    const double pivot = w[k * m + k];
    if (!(pivot > 1e-10 * (1.0 + std::fabs(w[y * m + y])))) continue;
    ++used;
    for (std::size_t i = 0; i < m; ++i)
      for (std::size_t j = 0; j < m; ++j)
        if (i != k && j != k) w[i * m + j] -= w[i * m + k] * w[k * m + j] / pivot;
    for (std::size_t i = 0; i < m; ++i) w[i * m + k] = w[k * m + i] = 0.0;
  }
  return std::max(w[y * m + y], 0.0);
}

}  // namespace

GaussianMoments::GaussianMoments(const CaseColumns &columns, const std::uint32_t *members, std::size_t count) {
  std::size_t slices = 1;
  for (std::size_t m = 0; m < count; ++m) {
    Member member{members[m], columns.continuous(members[m]), 0, 0};
    if (member.continuous) {
      member.index = continuous_++;
    } else {  // index: the stride, set below once all are known
      member.states = columns.states(members[m]);
      slices = size_multiply(slices, member.states);
    }
    members_.push_back(member);
  }
  if (slices == kSizeSentinel) fail(orv_error_no_memory);
  // Row-major strides over the discrete members in member order.
  std::size_t stride = 1;
  for (std::size_t m = count; m-- > 0;)
    if (!members_[m].continuous) {
      members_[m].index = stride;
      stride *= members_[m].states;
    }
  const std::size_t c = continuous_;
  stride_ = 1 + c + c * c;
  moments_.assign(size_multiply(slices, stride_), 0.0);
  // Values are taken about the first complete case, which keeps the
  // cross products from cancelling when the means are large.
  Vector<double> origin(c, 0.0), v(c);
  bool have_origin = false;
  for (std::size_t i = 0; i < columns.cases(); ++i) {
    const double weight = columns.weight(i);
    if (!(weight > 0.0)) continue;
    std::size_t slice = 0;
    bool complete = true;
    for (const Member &member : members_) {
      if (member.continuous) {
        complete = columns.value(member.vertex, i, v[member.index]);
      } else {
        const int s = columns.state(member.vertex, i);
        complete = s >= 0;
        slice += member.index * static_cast<std::size_t>(complete ? s : 0);
      }
      if (!complete) break;
    }
    if (!complete) continue;
    if (!have_origin) {
      origin = v;
      have_origin = true;
    }
    for (std::size_t k = 0; k < c; ++k) v[k] -= origin[k];
    double *cell = moments_.data() + slice * stride_;
    cell[0] += weight;
    for (std::size_t k = 0; k < c; ++k) {
      cell[1 + k] += weight * v[k];
      for (std::size_t l = 0; l < c; ++l) cell[1 + c + k * c + l] += weight * v[k] * v[l];
    }
    total_ += weight;
  }
}

// Pools the centred cross products over the slices, where slices that differ
// only in the state of member `merged` (when discrete) are taken as one.
// Counts the slices with cases and adds (count - 1) of those above one to df.
Vector<double> GaussianMoments::pooled(std::size_t merged, std::size_t &occupied, double &df) const {
  const std::size_t c = continuous_;
  const std::size_t slices = moments_.size() / stride_;
  std::size_t step = 0, states = 1;
  if (merged < members_.size() && !members_[merged].continuous) {
    step = members_[merged].index;
    states = members_[merged].states;
  }
  Vector<double> w(c * c, 0.0), cell(stride_);
  occupied = 0;
  df = 0.0;
  for (std::size_t s = 0; s < slices; ++s) {
    if (step && (s / step) % states != 0) continue;  // visited from its first state
    std::fill(cell.begin(), cell.end(), 0.0);
    for (std::size_t x = 0; x < states; ++x) {
      const double *m = moments_.data() + (s + x * step) * stride_;
      for (std::size_t k = 0; k < stride_; ++k) cell[k] += m[k];
    }
    const double n = cell[0];
    if (!(n > 0.0)) continue;
    ++occupied;
    if (n > 1.0) df += n - 1.0;
    for (std::size_t k = 0; k < c; ++k)
      for (std::size_t l = 0; l < c; ++l) w[k * c + l] += cell[1 + c + k * c + l] - cell[1 + k] * cell[1 + l] / n;
  }
  return w;
}

TestResult GaussianMoments::test(std::size_t a, std::size_t b) const {
  // Y is a continuous member of the pair, X the other.
  if (!members_[b].continuous) std::swap(a, b);
  const Member &x = members_[a], &y = members_[b];
  const std::size_t c = continuous_;
  TestResult r;
  r.total = total_;
  bool flags[kMaxTestSet] = {};  // the regressors, by continuous index
  for (const Member &member : members_)
    if (member.continuous && &member != &x && &member != &y) flags[member.index] = true;
  std::size_t occupied = 0, occupied_without = 0, used = 0, used_without = 0;
  double df = 0.0, df_without = 0.0;
  double rss, rss_without;
  if (x.continuous) {
    const Vector<double> w = pooled(members_.size(), occupied, df);
    rss_without = residual_sum(w, c, y.index, flags, used_without);
    flags[x.index] = true;
    rss = residual_sum(w, c, y.index, flags, used);
  } else {
    rss = residual_sum(pooled(members_.size(), occupied, df), c, y.index, flags, used);
    rss_without = residual_sum(pooled(a, occupied_without, df_without), c, y.index, flags, used_without);
    used += occupied;
    used_without += occupied_without;
  }
  // Residual degrees of freedom: the cases of each slice of the discrete
  // part less one, less the other members and the pair.
  r.df = std::max(0.0, df - static_cast<double>(members_.size()));
  const std::size_t added = used > used_without ? used - used_without : 0;
  if (r.df <= 0.0 || added == 0 || !(rss_without > 0.0)) return r;
  if (!(rss > 0.0)) {
    r.g2 = std::numeric_limits<double>::infinity();
    r.p_value = 0.0;
    return r;
  }
  // The residual degrees of freedom stand in for the number of cases in the
  // likelihood ratio, which keeps the test honest on small samples.
  r.g2 = std::max(0.0, r.df * std::log(rss_without / rss));
  r.p_value = _orv_chi_square_c(r.g2, static_cast<double>(added));
  if (r.p_value < 0.0) fail(orv_error_error);
  return r;
}

SetTests::SetTests(const CaseColumns &columns, const std::uint32_t *members, std::size_t count) {
  for (std::size_t m = 0; m < count; ++m) mixed_ = mixed_ || columns.continuous(members[m]);
  for (std::size_t m = 0; m < count; ++m) discrete_[m] = !columns.continuous(members[m]);
  if (mixed_) moments_.emplace(columns, members, count);
  else counts_.emplace(columns, members, count);
}

bool SetTests::testable(std::size_t a, std::size_t b) const { return !(mixed_ && discrete_[a] && discrete_[b]); }

TestResult SetTests::test(std::size_t a, std::size_t b) const {
  return mixed_ ? moments_->test(a, b) : counts_->test(a, b);
}

}  // namespace orv
