// Brute-force CG oracle: enumeration of discrete configurations, linear
// Gaussian recursion and rank-one conditioning on each observation.
#include "support/cg_oracle.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace orv::test {

namespace {

std::string number(double v) {
  char buffer[40];
  std::snprintf(buffer, sizeof buffer, "%.17g", v);
  return buffer;
}

std::size_t discrete_parent_configs(const CgNetwork &net, const CgNode &n) {
  std::size_t count = 1;
  for (std::size_t p : n.parents)
    if (!net.nodes[p].continuous) count *= net.nodes[p].states;
  return count;
}

// Row-major index over the node's discrete parents of a full configuration.
std::size_t parent_index(const CgNetwork &net, const CgNode &n, const std::vector<std::size_t> &config) {
  std::size_t index = 0;
  for (std::size_t p : n.parents)
    if (!net.nodes[p].continuous) index = index * net.nodes[p].states + config[p];
  return index;
}

// The next configuration of the discrete nodes, the last fastest; false
// after the last one.
bool advance(const CgNetwork &net, std::vector<std::size_t> &config) {
  for (std::size_t k = config.size(); k-- > 0;) {
    if (net.nodes[k].continuous) continue;
    if (++config[k] < net.nodes[k].states) return true;
    config[k] = 0;
  }
  return false;
}

}  // namespace

std::string CgNetwork::net_text() const {
  std::string text = "net\n{\n}\n";
  for (const CgNode &n : nodes) {
    if (n.continuous) {
      text += "continuous node " + n.name + "\n{\n}\n";
      continue;
    }
    text += "node " + n.name + "\n{\n    states = (";
    for (std::size_t s = 0; s < n.states; ++s) text += " \"s" + std::to_string(s) + "\"";
    text += " );\n}\n";
  }
  for (const CgNode &n : nodes) {
    text += "potential (" + n.name;
    if (!n.parents.empty()) text += " |";
    for (std::size_t p : n.parents) text += " " + nodes[p].name;
    text += ")\n{\n    data = ";
    const std::size_t configs = discrete_parent_configs(*this, n);
    if (!n.continuous) {
      text += "(";
      for (double v : n.values) text += " " + number(v);
      text += " );\n}\n";
      continue;
    }
    std::vector<std::size_t> tails;
    for (std::size_t p : n.parents)
      if (nodes[p].continuous) tails.push_back(p);
    const std::size_t stride = 2 + tails.size();
    const bool bare = configs == 1 && n.parents.empty();
    if (!bare) text += "(";
    for (std::size_t c = 0; c < configs; ++c) {
      const double *v = n.values.data() + c * stride;
      text += " normal ( " + number(v[0]);
      for (std::size_t k = 0; k < tails.size(); ++k)
        text += (v[2 + k] < 0 ? " - " : " + ") + number(std::fabs(v[2 + k])) + " * " + nodes[tails[k]].name;
      text += ", " + number(v[1]) + " )";
    }
    text += bare ? ";\n}\n" : " );\n}\n";
  }
  return text;
}

CgNetwork random_cg_network(std::mt19937 &rng, std::size_t discrete, std::size_t continuous) {
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  CgNetwork net;
  for (std::size_t i = 0; i < discrete + continuous; ++i) {
    CgNode n;
    n.continuous = i >= discrete;
    n.name = (n.continuous ? "X" : "D") + std::to_string(i);
    n.states = n.continuous ? 1 : 2 + rng() % 2;
    std::vector<std::size_t> discrete_parents, continuous_parents;
    for (std::size_t j = 0; j < i; ++j) {
      if (discrete_parents.size() + continuous_parents.size() >= 3 || unit(rng) > 0.45) continue;
      if (net.nodes[j].continuous) {
        if (n.continuous) continuous_parents.push_back(j);
      } else {
        discrete_parents.push_back(j);
      }
    }
    n.parents = discrete_parents;
    n.parents.insert(n.parents.end(), continuous_parents.begin(), continuous_parents.end());
    const std::size_t configs = discrete_parent_configs(net, n);
    for (std::size_t c = 0; c < configs; ++c) {
      if (!n.continuous) {
        std::vector<double> row(n.states);
        double total = 0.0;
        for (double &p : row) total += p = 0.05 + unit(rng);
        for (double p : row) n.values.push_back(p / total);
        continue;
      }
      n.values.push_back(-3.0 + 6.0 * unit(rng));
      n.values.push_back(0.2 + 2.0 * unit(rng));
      for (std::size_t k = 0; k < continuous_parents.size(); ++k) n.values.push_back(-1.5 + 3.0 * unit(rng));
    }
    net.nodes.push_back(n);
  }
  return net;
}

CgPosterior brute_force_posterior(const CgNetwork &net, const CgEvidence &e) {
  const std::size_t n = net.nodes.size();
  CgPosterior r;
  r.beliefs.resize(n);
  r.mean.assign(n, 0.0);
  r.variance.assign(n, 0.0);
  for (std::size_t i = 0; i < n; ++i)
    if (!net.nodes[i].continuous) r.beliefs[i].assign(net.nodes[i].states, 0.0);
  struct Component {
    double log_weight;
    std::vector<std::size_t> config;
    std::vector<double> mean, cov;
  };
  std::vector<Component> components;
  std::vector<std::size_t> config(n, 0);
  for (;;) {
    double log_weight = 0.0;
    bool possible = true;
    std::vector<double> mu(n, 0.0), cov(n * n, 0.0);
    for (std::size_t i = 0; i < n && possible; ++i) {
      const CgNode &node = net.nodes[i];
      const std::size_t pc = parent_index(net, node, config);
      if (!node.continuous) {
        if (e.state[i] >= 0 && static_cast<std::size_t>(e.state[i]) != config[i]) possible = false;
        log_weight += std::log(node.values[pc * node.states + config[i]]);
        continue;
      }
      std::vector<std::size_t> tails;
      for (std::size_t p : node.parents)
        if (net.nodes[p].continuous) tails.push_back(p);
      const double *v = node.values.data() + pc * (2 + tails.size());
      mu[i] = v[0];
      for (std::size_t k = 0; k < tails.size(); ++k) mu[i] += v[2 + k] * mu[tails[k]];
      for (std::size_t j = 0; j < i; ++j) {
        double s = 0.0;
        for (std::size_t k = 0; k < tails.size(); ++k) s += v[2 + k] * cov[tails[k] * n + j];
        cov[i * n + j] = cov[j * n + i] = s;
      }
      double s = v[1];
      for (std::size_t k = 0; k < tails.size(); ++k) s += v[2 + k] * cov[i * n + tails[k]];
      cov[i * n + i] = s;
    }
    for (std::size_t o = 0; o < n && possible; ++o) {
      if (!net.nodes[o].continuous || !e.observed[o]) continue;
      const double var = cov[o * n + o], d = e.value[o] - mu[o];
      log_weight += -0.5 * d * d / var - 0.5 * std::log(2.0 * M_PI * var);
      std::vector<double> column(n);
      for (std::size_t i = 0; i < n; ++i) column[i] = cov[i * n + o];
      for (std::size_t i = 0; i < n; ++i) {
        mu[i] += column[i] * d / var;
        for (std::size_t j = 0; j < n; ++j) cov[i * n + j] -= column[i] * column[j] / var;
      }
    }
    if (possible) components.push_back({log_weight, config, mu, cov});
    if (!advance(net, config)) break;
  }
  if (components.empty()) {
    r.possible = false;
    return r;
  }
  double top = -HUGE_VAL;
  for (const Component &c : components) top = std::max(top, c.log_weight);
  double total = 0.0;
  for (const Component &c : components) total += std::exp(c.log_weight - top);
  r.log_constant = top + std::log(total);
  for (const Component &c : components) {
    const double w = std::exp(c.log_weight - top) / total;
    for (std::size_t i = 0; i < n; ++i) {
      if (net.nodes[i].continuous) {
        r.mean[i] += w * c.mean[i];
      } else {
        r.beliefs[i][c.config[i]] += w;
      }
    }
  }
  for (const Component &c : components) {
    const double w = std::exp(c.log_weight - top) / total;
    for (std::size_t i = 0; i < n; ++i)
      if (net.nodes[i].continuous) {
        const double d = c.mean[i] - r.mean[i];
        r.variance[i] += w * (c.cov[i * n + i] + d * d);
      }
  }
  for (std::size_t i = 0; i < n; ++i)
    if (net.nodes[i].continuous && e.observed[i]) r.variance[i] = 0.0;
  return r;
}

}  // namespace orv::test
