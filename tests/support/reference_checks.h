// Checks of a domain against the independent reference results (JSON):
// beliefs (means and variances for continuous nodes) and entering a case's
// evidence (state labels, or values for continuous nodes).
#pragma once

#include <string>

#include "orvel.h"
#include "support/json.h"

namespace orv::test {

// 1e-9 relative to the value, absolute below 1.
double reference_tolerance(double value);

// Every node of `marginals`: its beliefs, or its mean and variance.
void expect_reference_marginals(orv_domain_t d, const Json &marginals, const std::string &what);

// Selects the labelled state of each node of `evidence`, or enters its value.
void enter_reference_evidence(orv_domain_t d, const Json &evidence, const std::string &what);

}  // namespace orv::test
