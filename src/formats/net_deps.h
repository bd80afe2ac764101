// Operations of the network model that the NET reader and writer call.
#pragma once

#include "orvel.h"

extern "C" {
orv_status_t orv_node_set_number_of_states(orv_node_t node, size_t count);
const char *orv_node_get_state_label(orv_node_t node, size_t state);
orv_status_t orv_node_set_state_label(orv_node_t node, size_t state, const char *label);
orv_status_t orv_node_set_state_value(orv_node_t node, size_t state, double value);
orv_status_t orv_node_set_attribute(orv_node_t node, const char *key, const char *value);
orv_status_t orv_domain_set_attribute(orv_domain_t domain, const char *key, const char *value);
orv_attribute_t orv_domain_get_first_attribute(orv_domain_t domain);
orv_attribute_t orv_node_get_first_attribute(orv_node_t node);
orv_attribute_t orv_attribute_get_next(orv_attribute_t attribute);
const char *orv_attribute_get_key(orv_attribute_t attribute);
const char *orv_attribute_get_value(orv_attribute_t attribute);
orv_table_t orv_node_get_table(orv_node_t node);
size_t orv_node_get_number_of_states(orv_node_t node);
double orv_node_get_state_value(orv_node_t node, size_t state);
orv_status_t orv_node_add_parent(orv_node_t child, orv_node_t parent);
}
