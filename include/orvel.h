/* Orvel: exact inference in Bayesian networks, influence diagrams and LIMIDs.
 *
 * The one public header of liborvel. Plain C11, extern "C". Every function
 * sets the calling thread's error code on entry (orv_error_usage for bad
 * arguments, otherwise 0) and leaves it 0 on success; failures return the
 * documented failure value and leave the first cause in orv_error_code(). */
#ifndef ORVEL_H
#define ORVEL_H

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define ORV_API __attribute__((visibility("default")))
#else
#define ORV_API
#endif

/* ======================================================================
 * Handles: opaque records owned by the library.
 * ====================================================================== */
typedef struct orv_domain_s *orv_domain_t;
typedef struct orv_node_s *orv_node_t;
typedef struct orv_table_s *orv_table_t;
typedef struct orv_clique_s *orv_clique_t;
typedef struct orv_junction_tree_s *orv_junction_tree_t;
typedef struct orv_class_s *orv_class_t;
typedef struct orv_class_collection_s *orv_class_collection_t;
typedef struct orv_model_s *orv_model_t;
typedef struct orv_expression_s *orv_expression_t;
typedef struct orv_attribute_s *orv_attribute_t;
typedef struct orv_data_set_s *orv_data_set_t;

/* A null-terminated array of nodes, owned by the object that returned it. */
typedef orv_node_t *orv_node_list_t;

/* ======================================================================
 * Enumerations. The numeric values are fixed: they cross the Java binding.
 * ====================================================================== */
typedef enum {
  orv_error_none = 0,
  orv_error_usage = 1,
  orv_error_io = 2,
  orv_error_no_memory = 3,
  orv_error_cg_limids_not_supported = 4,
  orv_error_twice = 5,
  orv_error_invalid_name = 6,
  orv_error_cyclic_network = 7,
  orv_error_cyclic_functional_dependency = 8,
  orv_error_functional_dependency = 9,
  orv_error_size_too_large = 10,
  orv_error_fast_retraction = 11,
  orv_error_rounding = 12,
  orv_error_bad_kb_password = 13,
  orv_error_bad_kb_version = 14,
  orv_error_bad_kb_type = 15,
  orv_error_bad_kb_format = 16,
  orv_error_not_compiled = 17,
  orv_error_invalid_probability_potential = 18,
  orv_error_chain_graph = 19,
  orv_error_enumeration = 20,
  orv_error_no_equilibrium = 21,
  orv_error_low_density = 22,
  orv_error_zero_variance = 23,
  orv_error_inconsistency_or_underflow = 24,
  orv_error_overflow = 25,
  orv_error_cg_evidence_incorporated = 26,
  orv_error_normalization = 27,
  orv_error_compressed = 28,
  orv_error_table_too_large = 29,
  orv_error_invalid_evidence = 30,
  orv_error_case_state_too_large = 31,
  orv_error_no_value = 32,
  orv_error_parse = 33,
  orv_error_invalid_expression = 34,
  orv_error_syntax = 35,
  orv_error_division_by_zero = 36,
  orv_error_inappropriate_arguments = 37,
  orv_error_computation_failed = 38,
  orv_error_insufficient_state_range = 39,
  orv_error_invalid_state_values = 40,
  orv_error_cyclic_instance_hierarchy = 41,
  orv_error_illegal_binding = 42,
  orv_error_locale = 43,
  orv_error_invalid_license = 44,
  orv_error_expired_license = 45,
  orv_error_demo = 46,
  orv_error_jni = 47,
  orv_error_error = 48
} orv_error_t;

/* The status returned by status functions: the error code, 0 on success. */
typedef int orv_status_t;

typedef enum {
  orv_category_error = 0,
  orv_category_function = 5,
  orv_category_instance = 6,
  orv_category_chance = 7,
  orv_category_decision = 8,
  orv_category_utility = 9
} orv_category_t;

typedef enum {
  orv_kind_other = -1,
  orv_kind_discrete = 0,
  orv_kind_continuous = 1,
  orv_kind_error = 2
} orv_kind_t;

typedef enum {
  orv_subtype_error = 0,
  orv_subtype_label = 30,
  orv_subtype_boolean = 31,
  orv_subtype_number = 32,
  orv_subtype_interval = 33
} orv_subtype_t;

typedef enum {
  orv_table_probability = 0,
  orv_table_utility = 1,
  orv_table_experience = 2,
  orv_table_fading = 3
} orv_table_type_t;

typedef enum {
  orv_equilibrium_none = 10,
  orv_equilibrium_sum = 11,
  orv_equilibrium_max = 12
} orv_equilibrium_t;

typedef enum {
  orv_mode_normal = 20,
  orv_mode_fast_retraction = 21
} orv_evidence_mode_t;

typedef enum {
  orv_tm_clique_size = 15,
  orv_tm_clique_weight = 16,
  orv_tm_fill_in_size = 17,
  orv_tm_fill_in_weight = 18,
  orv_tm_total_weight = 19,
  orv_tm_best_greedy = 20
} orv_triangulation_method_t;

typedef enum {
  orv_constraint_none = 100,
  orv_constraint_edge_required = 101,
  orv_constraint_forward_edge_required = 102,
  orv_constraint_backward_edge_required = 103,
  orv_constraint_edge_forbidden = 104,
  orv_constraint_forward_edge_forbidden = 105,
  orv_constraint_backward_edge_forbidden = 106,
  orv_constraint_error = 107
} orv_edge_constraint_t;

typedef enum {
  orv_op_Normal = 60,
  orv_op_LogNormal = 61,
  orv_op_Beta = 62,
  orv_op_Gamma = 63,
  orv_op_Exponential = 64,
  orv_op_Weibull = 65,
  orv_op_Uniform = 66,
  orv_op_Triangular = 67,
  orv_op_PERT = 68,
  orv_op_Binomial = 69,
  orv_op_Poisson = 70,
  orv_op_NegativeBinomial = 71,
  orv_op_Geometric = 72,
  orv_op_Distribution = 73,
  orv_op_NoisyOR = 74,
  orv_op_truncate = 75,
  orv_op_aggregate = 76,
  orv_op_probability = 77,
  orv_op_variance = 78,
  orv_op_quantile = 79,
  orv_op_min = 80,
  orv_op_max = 81,
  orv_op_log = 82,
  orv_op_log2 = 83,
  orv_op_log10 = 84,
  orv_op_exp = 85,
  orv_op_sin = 86,
  orv_op_cos = 87,
  orv_op_tan = 88,
  orv_op_sinh = 89,
  orv_op_cosh = 90,
  orv_op_tanh = 91,
  orv_op_sqrt = 92,
  orv_op_abs = 93,
  orv_op_floor = 94,
  orv_op_ceil = 95,
  orv_op_mod = 96,
  orv_op_if = 97,
  orv_op_and = 98,
  orv_op_or = 99,
  orv_op_not = 100,
  orv_op_add = 101,
  orv_op_subtract = 102,
  orv_op_multiply = 103,
  orv_op_divide = 104,
  orv_op_power = 105,
  orv_op_negate = 106,
  orv_op_state_index = 107,
  orv_op_equals = 108,
  orv_op_less_than = 109,
  orv_op_greater_than = 110,
  orv_op_not_equals = 111,
  orv_op_less_than_or_equals = 112,
  orv_op_greater_than_or_equals = 113,
  orv_op_number = 114,
  orv_op_label = 115,
  orv_op_node = 116,
  orv_op_boolean = 117,
  orv_op_error = 118
} orv_operator_t;

/* ======================================================================
 * Error status
 * ====================================================================== */
/* The calling thread's error code from its most recent API call. */
ORV_API orv_error_t orv_error_code(void);
/* Short name of a code ("usage"), or "no_such_error". Static text. */
ORV_API const char *orv_error_name(orv_error_t code);
/* Description of a code, or "No such error.". Static text. */
ORV_API const char *orv_error_description(orv_error_t code);

/* ======================================================================
 * Utilities
 * ====================================================================== */
/* Processor time used so far, in clock ticks (CLOCKS_PER_SEC per second). */
ORV_API long orv_get_clock(void);
/* The largest finite double: the value that stands for an unbounded end of
 * an interval. */
ORV_API double orv_infinity(void);
/* The text with its escape sequences (as in NET strings: \n, \", \x41,
 * \101, ...) replaced by the characters they stand for, in a new string the
 * caller frees with free(). Errors: usage, syntax (a bare double quote or a
 * bad escape), no_memory, locale. */
ORV_API char *orv_remove_escape_sequences(const char *text);
/* Lists of handles built by the caller: room for count (>= 1) entries, all
 * NULL; the caller stores the items and the terminating NULL, passes the list
 * and frees it with orv_list_delete. Indexes are not checked against the
 * length. Errors: usage (NULL list, count 0), no_memory. */
ORV_API void **orv_new_list(size_t count);
ORV_API void *orv_list_get_item(void **list, size_t index);
ORV_API orv_status_t orv_list_set_item(void **list, size_t index, void *item);
ORV_API orv_status_t orv_list_delete(void **list);

/* ======================================================================
 * Domain
 * ====================================================================== */
/* Creates an empty domain; the caller deletes it with orv_domain_delete. */
ORV_API orv_domain_t orv_new_domain(void);
/* Frees the domain and everything it owns. Errors: usage. */
ORV_API orv_status_t orv_domain_delete(orv_domain_t domain);
/* Sets (or clears with NULL) the log stream; the caller owns the stream. */
ORV_API orv_status_t orv_domain_set_log_file(orv_domain_t domain, FILE *log_file);
/* Newest node of the chain, or NULL (error 0) for an empty domain. */
ORV_API orv_node_t orv_domain_get_first_node(orv_domain_t domain);
/* The node named name, or NULL (error 0 when absent). */
ORV_API orv_node_t orv_domain_get_node_by_name(orv_domain_t domain, const char *name);
/* Default node size for layout. Getter refuses NULL or identical outputs. */
ORV_API orv_status_t orv_domain_set_node_size(orv_domain_t domain, size_t width, size_t height);
ORV_API orv_status_t orv_domain_get_node_size(orv_domain_t domain, size_t *width, size_t *height);
/* Number of chance (decision, utility, instance) nodes; (size_t)-1 with
 * usage for a null domain. */
ORV_API size_t orv_domain_get_number_of_chance_nodes(orv_domain_t domain);
ORV_API size_t orv_domain_get_number_of_decision_nodes(orv_domain_t domain);
ORV_API size_t orv_domain_get_number_of_utility_nodes(orv_domain_t domain);
ORV_API size_t orv_domain_get_number_of_instance_nodes(orv_domain_t domain);
/* The file the domain was read from or last saved to, or NULL (error 0) when
 * none. Owned by the domain, valid until the next read or save. */
ORV_API const char *orv_domain_get_file_name(orv_domain_t domain);
/* An independent copy of the domain: its nodes (names, numbers and order
 * kept), links, chain blocks, tables, models, attributes, settings, file name
 * and entered evidence. A triangulated domain gives a copy triangulated by
 * the same elimination order, a compiled one a compiled copy propagated as
 * the original was, so both give the same beliefs. User data and the log
 * stream are not copied. The caller deletes the copy. Errors: usage (null,
 * class), no_memory, and the codes of compilation and propagation. */
ORV_API orv_domain_t orv_domain_clone(orv_domain_t domain);
/* The domain's random number generator (seeded with 310952 at creation):
 * reseeding, uniform deviates in [0, 1) and normal deviates of the given mean
 * and variance (>= 0, finite). Failure: -1.0 with usage. */
ORV_API orv_status_t orv_domain_seed_random(orv_domain_t domain, unsigned int seed);
ORV_API double orv_domain_get_uniform_deviate(orv_domain_t domain);
ORV_API double orv_domain_get_normal_deviate(orv_domain_t domain, double mean, double variance);

/* ======================================================================
 * Node
 * ====================================================================== */
/* New node of the given category and kind. Errors: usage,
 * cg_limids_not_supported, cyclic_functional_dependency, no_memory. */
ORV_API orv_node_t orv_domain_new_node(orv_domain_t domain, orv_category_t category, orv_kind_t kind);
/* Copy of a node (no name) with the same parents. Errors: usage, no_memory. */
ORV_API orv_node_t orv_node_clone(orv_node_t node);
/* Deletes the node; later nodes are renumbered. Errors: usage. */
ORV_API orv_status_t orv_node_delete(orv_node_t node);
ORV_API orv_category_t orv_node_get_category(orv_node_t node);
ORV_API orv_kind_t orv_node_get_kind(orv_node_t node);
ORV_API orv_subtype_t orv_node_get_subtype(orv_node_t node);
/* The domain (or class record) that owns the node. */
ORV_API orv_domain_t orv_node_get_domain(orv_node_t node);
/* The owning domain, or NULL (error 0) for a node of a class. */
ORV_API orv_domain_t orv_node_get_home_domain(orv_node_t node);
/* The owning class, or NULL (error 0) for a node of a domain. */
ORV_API orv_class_t orv_node_get_home_class(orv_node_t node);
/* Chance <-> decision for discrete nodes. Errors: usage,
 * cg_limids_not_supported, cyclic_functional_dependency. */
ORV_API orv_status_t orv_node_set_category(orv_node_t node, orv_category_t category);
ORV_API orv_status_t orv_node_set_subtype(orv_node_t node, orv_subtype_t subtype);
/* Sets category and subtype of a discrete node together, with the checks of
 * both setters; a refusal changes neither. */
ORV_API orv_status_t orv_node_set_discrete_type(orv_node_t node, orv_category_t category,
                                                orv_subtype_t subtype);
/* The next (older) node of the domain's chain, or NULL. */
ORV_API orv_node_t orv_node_get_next(orv_node_t node);
/* Names: a C identifier (dotted segments allowed in domains). Errors:
 * usage, twice, invalid_name, no_memory. */
ORV_API orv_status_t orv_node_set_name(orv_node_t node, const char *name);
/* The node's name; generated ("C4", ...) on first request. Owned by the node. */
ORV_API const char *orv_node_get_name(orv_node_t node);
ORV_API orv_status_t orv_node_set_label(orv_node_t node, const char *label);
/* The label, or "" when none is set. Owned by the node. */
ORV_API const char *orv_node_get_label(orv_node_t node);
ORV_API orv_status_t orv_node_set_position(orv_node_t node, int x, int y);
ORV_API orv_status_t orv_node_get_position(orv_node_t node, int *x, int *y);
/* Parents (discrete first) and children: owned by the node, valid until
 * the links of the node change. */
ORV_API orv_node_t *orv_node_get_parents(orv_node_t node);
ORV_API orv_node_t *orv_node_get_children(orv_node_t node);
/* The node, then its ancestors (descendants) breadth-first. Owned by the
 * node and overwritten by the next such call on it. */
ORV_API orv_node_t *orv_node_get_ancestors(orv_node_t node);
ORV_API orv_node_t *orv_node_get_descendants(orv_node_t node);

/* ======================================================================
 * Tables
 * ====================================================================== */
/* The node's table over its family (discrete parents, the node itself except
 * for utility nodes, continuous parents; a function node's table holds the
 * node alone), created on first request. Owned by the node. Errors: usage
 * (other-kind nodes except utilities, copies of class nodes), no_memory. */
ORV_API orv_table_t orv_node_get_table(orv_node_t node);
/* 1 when the node has a table (discrete and continuous nodes, utility
 * nodes; not copies of class nodes), 0 otherwise; -1 with usage. */
ORV_API int orv_node_has_table(orv_node_t node);
/* The table's nodes, discrete first. Owned by the table; valid until its
 * nodes change. Errors: usage. */
ORV_API orv_node_t *orv_table_get_nodes(orv_table_t table);
/* The discrete entries (row-major, last node fastest), allocated on first
 * request. Owned by the table. Errors: usage, no_memory. */
ORV_API double *orv_table_get_data(orv_table_t table);
/* Number of discrete configurations; (size_t)-1 with size_too_large when
 * it overflows. Errors: usage, size_too_large. */
ORV_API size_t orv_table_get_size(orv_table_t table);
/* Number of CG entries (size times block size). Errors: usage, size_too_large. */
ORV_API size_t orv_table_get_cg_size(orv_table_t table);
/* Index of a configuration (one state per discrete node); (size_t)-1 with
 * usage for a state out of range. */
ORV_API size_t orv_table_get_index_from_configuration(orv_table_t table, const size_t *configuration);
/* Fills one state per discrete node. Errors: usage (index >= size). */
ORV_API orv_status_t orv_table_get_configuration_from_index(orv_table_t table, size_t *configuration,
                                                            size_t index);
/* Mean, covariance and variance of continuous head nodes in the CG block of
 * configuration index; -1.0 with usage when index >= size, the table has
 * tail nodes, or a node is not a continuous head node of the table. */
ORV_API double orv_table_get_mean(orv_table_t table, size_t index, orv_node_t node);
ORV_API double orv_table_get_covariance(orv_table_t table, size_t index, orv_node_t node1,
                                        orv_node_t node2);
ORV_API double orv_table_get_variance(orv_table_t table, size_t index, orv_node_t node);
/* Position in a CG block of continuous node i's mean, i(i + 3)/2, and of the
 * covariance of nodes i and j (symmetric). (size_t)-1 with usage when i or j
 * is not a continuous position of the table. */
ORV_API size_t orv_cg_vector_index(orv_table_t table, size_t i);
ORV_API size_t orv_cg_matrix_index(orv_table_t table, size_t i, size_t j);
/* Number of continuous nodes with role tail. Errors: usage. */
ORV_API size_t orv_cg_tail_count(orv_table_t table);
/* Permutes the table's nodes to order (same nodes, discrete first; a node's
 * own table keeps its owner in place), moving the data along; the node's
 * experience and fading tables follow. Errors: usage, no_memory. */
ORV_API orv_status_t orv_table_reorder_nodes(orv_table_t table, orv_node_t *order);
/* Frees a table that is not in its domain's chain, and detaches and frees
 * experience and fading tables; node and clique tables stay. Errors: usage. */
ORV_API orv_status_t orv_table_delete(orv_table_t table);
/* Entry index of the discrete data (allocated on first request); -1.0 with
 * usage when index >= size. Errors: usage, no_memory. */
ORV_API double orv_table_get_data_item(orv_table_t table, size_t index);
/* Writers of discrete entries: one entry, every entry, or count entries
 * copied from data into positions start.. (usage when start >= size or
 * count > size - start). A node's own table is marked as changed, so the
 * next propagation reloads its junction tree. Errors: usage, no_memory. */
ORV_API orv_status_t orv_table_set_data_item(orv_table_t table, size_t index, double value);
ORV_API orv_status_t orv_table_set_all_data_items(orv_table_t table, double value);
ORV_API orv_status_t orv_table_set_data(orv_table_t table, const double *data, size_t start, size_t count);
/* Table algebra on tables of one domain without continuous nodes; other's
 * nodes must all be nodes of table (any order). Multiply combines other into
 * table entry by entry (a utility table adds instead); divide divides table
 * by other (x/0 gives 0; utility tables are refused). A node's own table is
 * marked as changed. Errors: usage, no_memory (table unchanged). */
ORV_API orv_status_t orv_table_multiply(orv_table_t table, orv_table_t other);
ORV_API orv_status_t orv_table_divide(orv_table_t table, orv_table_t other);
/* The sum-marginal of a table without continuous nodes onto distinct nodes of
 * it (in the given order), as a new table the caller frees with
 * orv_table_delete. Errors: usage, no_memory. */
ORV_API orv_table_t orv_table_get_marginal(orv_table_t table, orv_node_t *nodes);
/* Sets table to the sum-marginal of source onto table's nodes (source holds
 * every node of table, in any order: with the same nodes this copies source
 * into table's layout). Both of one domain, without continuous nodes, and
 * both utility tables or neither. A node's own table is marked as changed.
 * Errors: usage, no_memory (table unchanged). */
ORV_API orv_status_t orv_table_update(orv_table_t table, orv_table_t source);
/* The conditional Gaussian of a continuous chance node given configuration i
 * of its discrete parents: mean alpha + sum of beta * parent over the
 * continuous parents, variance gamma (>= 0). Stored in the node's table
 * (created on first use), which is marked as changed by the setters.
 * Errors: usage (other nodes, i >= number of parent configurations, parent
 * not a continuous parent, negative gamma), no_memory; getters give -1.0. */
ORV_API orv_status_t orv_node_set_alpha(orv_node_t node, double alpha, size_t i);
ORV_API double orv_node_get_alpha(orv_node_t node, size_t i);
ORV_API orv_status_t orv_node_set_beta(orv_node_t node, double beta, orv_node_t parent, size_t i);
ORV_API double orv_node_get_beta(orv_node_t node, orv_node_t parent, size_t i);
ORV_API orv_status_t orv_node_set_gamma(orv_node_t node, double gamma, size_t i);
ORV_API double orv_node_get_gamma(orv_node_t node, size_t i);

/* ======================================================================
 * States, labels and state values
 * ====================================================================== */
/* Number of states of a discrete node; (size_t)-1 with usage otherwise. */
ORV_API size_t orv_node_get_number_of_states(orv_node_t node);
/* Changes the number of states (>= 1) of a discrete node; every table that
 * involves the node keeps the entries of the kept states, new states get the
 * table's initial entries. Boolean nodes keep 2 states. Errors: usage,
 * no_memory (nothing changed). */
ORV_API orv_status_t orv_node_set_number_of_states(orv_node_t node, size_t count);
/* The state's label, or the default ("false"/"true" for boolean nodes, else
 * ""). Owned by the node. NULL with usage for a bad node or state. */
ORV_API const char *orv_node_get_state_label(orv_node_t node, size_t state);
/* Copies label as the state's label. Errors: usage, no_memory. */
ORV_API orv_status_t orv_node_set_state_label(orv_node_t node, size_t state, const char *label);
/* The only state whose label (or default label) is label; -1 when none or
 * several states have it. Errors: usage. */
ORV_API long orv_node_get_state_index_from_label(orv_node_t node, const char *label);
/* State values: number nodes take states 0..count-1, interval nodes the
 * boundaries 0..count (entry i and i+1 bound state i; the most negative and
 * the largest finite doubles stand for minus and plus infinity). Errors:
 * usage, no_memory. */
ORV_API orv_status_t orv_node_set_state_value(orv_node_t node, size_t state, double value);
/* The stored value; -1.0 (interval ends: the infinite bounds) when none is
 * set; -1.0 with usage for a bad node or state. */
ORV_API double orv_node_get_state_value(orv_node_t node, size_t state);
/* The state holding value (number nodes: within a relative 1e-6; interval
 * nodes: the interval that starts at or contains it), or -1. Errors: usage
 * (no values on a number node, invalid values on an interval node). */
ORV_API long orv_node_get_state_index_from_value(orv_node_t node, double value);
/* Reorders the states of a label node to a NULL-terminated list of all its
 * labels; every table involving the node is permuted along. Errors: usage,
 * no_memory. */
ORV_API orv_status_t orv_node_reorder_states(orv_node_t node, const char *const *order);
/* Refines an interval node: every interval of positive width is split at
 * its midpoint (an infinite end interval one width of its finite neighbour,
 * or 1, from its finite end; (-inf, inf) at 0); point intervals stay whole.
 * The node's own table splits each interval's probability evenly between the
 * halves; tables that the node conditions (children, utilities, policies)
 * copy each column to both halves; experience counts split evenly. Models
 * with the node among their model nodes copy each expression to both halves;
 * models that mention the node are regenerated before next use. Labels are
 * removed, evidence on the node is cleared, a case state of a split interval
 * becomes missing, and the domain is uncompiled. Errors: usage (not an
 * interval node with valid state values, 16384 states or more, a class node
 * or a temporal clone), no_memory (nothing changed). */
ORV_API orv_status_t orv_node_double_number_of_intervals(orv_node_t node);
/* Coarsens an interval node: intervals 2k and 2k+1 merge (an odd last one
 * stays alone), undoing orv_node_double_number_of_intervals exactly. The
 * node's own table and experience counts add the merged entries, tables the
 * node conditions average the two columns, models keep the expression of
 * the first interval of each pair; labels, evidence and the compiled state
 * as for doubling, case states follow the merge. Errors: usage (as for
 * doubling, or fewer than 2 states), no_memory (nothing changed). */
ORV_API orv_status_t orv_node_halve_number_of_intervals(orv_node_t node);

/* ======================================================================
 * Attributes and user data
 * ====================================================================== */
/* User data: one pointer per object that the library stores and returns but
 * never interprets or frees. Setters: usage for a null object. Getters:
 * NULL with usage for a null object. */
ORV_API orv_status_t orv_domain_set_user_data(orv_domain_t domain, void *data);
ORV_API void *orv_domain_get_user_data(orv_domain_t domain);
ORV_API orv_status_t orv_node_set_user_data(orv_node_t node, void *data);
ORV_API void *orv_node_get_user_data(orv_node_t node);
ORV_API orv_status_t orv_table_set_user_data(orv_table_t table, void *data);
ORV_API void *orv_table_get_user_data(orv_table_t table);
ORV_API orv_status_t orv_clique_set_user_data(orv_clique_t clique, void *data);
ORV_API void *orv_clique_get_user_data(orv_clique_t clique);
ORV_API orv_status_t orv_jt_set_user_data(orv_junction_tree_t tree, void *data);
ORV_API void *orv_jt_get_user_data(orv_junction_tree_t tree);
ORV_API orv_status_t orv_model_set_user_data(orv_model_t model, void *data);
ORV_API void *orv_model_get_user_data(orv_model_t model);
/* Attributes: the key must be a name without dots (invalid_name); value is
 * copied, replacing the value of an existing key in place; a new key goes to
 * the front of the list; a NULL value deletes the key (no error if absent).
 * Errors: usage, invalid_name, no_memory (list unchanged). */
ORV_API orv_status_t orv_domain_set_attribute(orv_domain_t domain, const char *key, const char *value);
ORV_API orv_status_t orv_node_set_attribute(orv_node_t node, const char *key, const char *value);
/* The value of key, or NULL (error 0) when absent. Owned by the attribute and
 * valid until it changes. Errors: usage. */
ORV_API const char *orv_domain_get_attribute(orv_domain_t domain, const char *key);
ORV_API const char *orv_node_get_attribute(orv_node_t node, const char *key);
/* Iteration, most recently added key first; NULL (error 0) at the end. */
ORV_API orv_attribute_t orv_domain_get_first_attribute(orv_domain_t domain);
ORV_API orv_attribute_t orv_node_get_first_attribute(orv_node_t node);
ORV_API orv_attribute_t orv_attribute_get_next(orv_attribute_t attribute);
/* Key and value, owned by the attribute. Errors: usage. */
ORV_API const char *orv_attribute_get_key(orv_attribute_t attribute);
ORV_API const char *orv_attribute_get_value(orv_attribute_t attribute);

/* ======================================================================
 * Links and graph checks
 * ====================================================================== */
/* Makes parent a parent of child; the child's tables gain the parent's
 * dimension (existing entries repeat for each of its states). Errors: usage
 * (different domains, already a parent, utility parent or continuous parent
 * of a non-function node, instance nodes), cyclic_network,
 * cyclic_functional_dependency, functional_dependency, no_memory. */
ORV_API orv_status_t orv_node_add_parent(orv_node_t child, orv_node_t parent);
/* Removes the link; the child's tables keep the slice for the parent's state
 * 0. Errors: usage (not a parent). */
ORV_API orv_status_t orv_node_remove_parent(orv_node_t child, orv_node_t parent);
/* As orv_node_remove_parent, keeping the slice for the given state of a
 * discrete parent. Errors: usage (not a discrete parent, state too large). */
ORV_API orv_status_t orv_node_remove_discrete_parent(orv_node_t child, orv_node_t parent, size_t state);
/* Replaces old_parent by a compatible new_parent (same category, kind and
 * states) in the child's lists and tables; table data are kept. Errors:
 * usage, cyclic_network, cyclic_functional_dependency, functional_dependency,
 * no_memory. */
ORV_API orv_status_t orv_node_switch_parent(orv_node_t child, orv_node_t old_parent, orv_node_t new_parent);
/* Reverses the link between two chance nodes of the same kind, discrete or
 * continuous (either may be the parent), rewriting both tables so the joint
 * distribution is kept; both nodes end with the union of their parents.
 * Table handles stay valid; experience and fading tables of both nodes are
 * deleted. Errors: usage (no link, other categories or kinds, chain-block
 * members), cyclic_network, invalid_probability_potential, no_memory. */
ORV_API orv_status_t orv_node_reverse_edge(orv_node_t node1, orv_node_t node2);

/* ======================================================================
 * Controls, table operations and concurrency settings
 * ====================================================================== */
/* Least work (in table-entry operations) worth a thread of its own; default
 * 10000. Errors: usage (null domain, size 0: the old value stays). */
ORV_API orv_status_t orv_domain_set_grain_size(orv_domain_t domain, size_t size);
/* The grain size, or (size_t)-1 with usage for a null domain. */
ORV_API size_t orv_domain_get_grain_size(orv_domain_t domain);
/* Most threads one table operation may use; default 1 (no threads).
 * Errors: usage (null domain, level 0: the old value stays). */
ORV_API orv_status_t orv_domain_set_concurrency_level(orv_domain_t domain, size_t level);
/* The concurrency level, or (size_t)-1 with usage for a null domain. */
ORV_API size_t orv_domain_get_concurrency_level(orv_domain_t domain);
/* Most worker threads of EM learning; default 1. Errors: usage (null
 * domain, level 0: the old value stays). */
ORV_API orv_status_t orv_domain_set_em_concurrency_level(orv_domain_t domain, size_t level);
/* The EM concurrency level, or (size_t)-1 with usage for a null domain. */
ORV_API size_t orv_domain_get_em_concurrency_level(orv_domain_t domain);

/* ======================================================================
 * Expressions
 * ====================================================================== */
/* Error handler of the parsers: called for every error and warning with the
 * location (line number for files and streams, character offset for text in
 * memory), the message and the caller's data. */
typedef void (*orv_error_handler_t)(size_t location, const char *message, void *data);
/* The legacy two-argument handler form. */
typedef void (*orv_legacy_error_handler_t)(int location, const char *message);
/* Leaf expressions; the caller owns the result (orv_expression_delete).
 * Errors: usage (NULL label), no_memory. */
ORV_API orv_expression_t orv_number_make_expression(double number);
ORV_API orv_expression_t orv_boolean_make_expression(int value);
ORV_API orv_expression_t orv_label_make_expression(const char *label);
ORV_API orv_expression_t orv_node_make_expression(orv_node_t node);
/* Composite of operator op (60..113) over a NULL-terminated operand array.
 * The array is copied; the operands become shared parts of the result.
 * Errors: usage, invalid_expression (arity or types), no_memory. */
ORV_API orv_expression_t orv_make_composite_expression(orv_operator_t op, orv_expression_t *operands);
/* 1 for a composite, 0 for a leaf, -1 with usage for a bad handle. */
ORV_API int orv_expression_is_composite(orv_expression_t expression);
ORV_API orv_operator_t orv_expression_get_operator(orv_expression_t expression);
/* Operands of a composite (NULL-terminated, owned by the expression). */
ORV_API orv_expression_t *orv_expression_get_operands(orv_expression_t expression);
/* Payloads of leaves; usage when asked for the wrong kind. */
ORV_API orv_node_t orv_expression_get_node(orv_expression_t expression);
ORV_API double orv_expression_get_number(orv_expression_t expression);
ORV_API const char *orv_expression_get_label(orv_expression_t expression);
ORV_API int orv_expression_get_boolean(orv_expression_t expression);
/* Deep copy, rebuilt and checked again. Errors: usage, no_memory. */
ORV_API orv_expression_t orv_expression_clone(orv_expression_t expression);
/* Frees the expression unless it is an operand of a composite. */
ORV_API orv_status_t orv_expression_delete(orv_expression_t expression);
/* Text form; the caller frees it with free(). Errors: usage, no_memory, locale. */
ORV_API char *orv_expression_to_string(orv_expression_t expression);
/* Parses an expression naming nodes of the domain (class). Errors: usage,
 * syntax, invalid_expression, no_memory, locale; messages go to handler. */
ORV_API orv_expression_t orv_domain_string_to_expression(orv_domain_t domain, const char *text,
                                                        orv_error_handler_t handler, void *data);
ORV_API orv_expression_t orv_class_string_to_expression(orv_class_t class_, const char *text,
                                                       orv_error_handler_t handler, void *data);
/* As above, in the domain of the model's node. */
ORV_API orv_expression_t orv_string_parse_expression(const char *text, orv_model_t model,
                                                    orv_error_handler_t handler, void *data);
/* As above with a legacy two-argument handler. */
ORV_API orv_expression_t orv_string_to_expression(const char *text, orv_domain_t domain,
                                                 orv_legacy_error_handler_t handler);

/* Models: one expression per configuration of the model nodes (discrete
 * parents of the node). A new model replaces the node's old one; the model
 * belongs to the node. Errors: usage, size_too_large, no_memory. */
ORV_API orv_model_t orv_node_new_model(orv_node_t node, orv_node_t *model_nodes);
/* The node's model, or NULL (error 0) when it has none. */
ORV_API orv_model_t orv_node_get_model(orv_node_t node);
ORV_API orv_status_t orv_model_delete(orv_model_t model);
/* The model nodes, owned by the model. */
ORV_API orv_node_t *orv_model_get_nodes(orv_model_t model);
/* Number of configurations (expressions) of the model. */
ORV_API size_t orv_model_get_size(orv_model_t model);
/* Stores a copy of expression (NULL clears) at index; the caller keeps its
 * own. Errors: usage, invalid_expression, no_memory. */
ORV_API orv_status_t orv_model_set_expression(orv_model_t model, size_t index, orv_expression_t expression);
/* Parses text as an expression over the nodes of the model's domain and
 * stores it at index (the old one is deleted). Errors: usage, syntax,
 * invalid_expression, no_memory, locale; messages go to handler. */
ORV_API orv_status_t orv_model_set_expression_from_string(orv_model_t model, size_t index, const char *text,
                                                          orv_error_handler_t handler, void *data);
/* The expression at index (owned by the model), or NULL (error 0). */
ORV_API orv_expression_t orv_model_get_expression(orv_model_t model, size_t index);
/* Samples per interval used by table generation (default 25, at least 1). */
ORV_API orv_status_t orv_model_set_number_of_samples_per_interval(orv_model_t model, size_t count);
ORV_API size_t orv_model_get_number_of_samples_per_interval(orv_model_t model);

/* Table generation. A model's expressions are distributions (discrete chance
 * nodes), values (utility nodes) or numbers, labels and booleans (a
 * deterministic choice of state). Parameter forms: Normal(mu, variance),
 * LogNormal(mu, variance [, shift]), Beta(alpha, beta [, a, b]) on [a, b],
 * Gamma(shape, scale [, shift]), Exponential(rate [, shift]),
 * Weibull(shape, scale [, shift]), Uniform(a, b), Triangular(a, mode, b),
 * PERT(a, mode, b [, gamma]), Binomial(n, p), Poisson(mean),
 * NegativeBinomial(r, p), Geometric(p). An interval node receives the mass
 * of each interval; mass outside every interval is dropped and the column
 * renormalised. Interval parents that an expression mentions are sampled at
 * the model's samples per interval and the columns averaged. A continuous
 * chance node takes Normal(mean, variance) with the mean linear in its
 * continuous parents (+, -, and * or / by terms without them; if on other
 * values): intercept, regression coefficients and variance of each
 * configuration's CG block; sampled parents average the mean terms and add
 * the spread of the intercepts to the variance.
 * Errors: usage (no model, a node kind without tables), invalid_expression
 * (a missing expression, bad parameters, no mass on any state; with a log
 * set, a line names the node and the parent configuration), no_memory. A
 * failure leaves every table as it was. */
ORV_API orv_status_t orv_node_generate_table(orv_node_t node);
/* Generates the table of every node whose model is not up to date (a table
 * read together with its model counts as up to date until the model or a
 * node it depends on changes). All or nothing. Compilation does this too. */
ORV_API orv_status_t orv_domain_generate_tables(orv_domain_t domain);
/* 1 when the owner's table was generated from the model (or read with it)
 * and nothing it depends on changed since; 0 otherwise and on error. */
ORV_API int orv_model_table_is_generated(orv_model_t model);
/* The value of a real-valued function node's expression under the current
 * beliefs and evidence (probability, variance and quantile of other nodes
 * included). Errors: usage, not_compiled, invalid_expression; -1.0 then. */
ORV_API double orv_node_get_value(orv_node_t node);
/* The probability-quantile (0 < probability < 1) of a numbered or interval
 * node's beliefs (interval nodes interpolate linearly inside the interval)
 * or of a continuous node's mixture. Errors: usage, not_compiled,
 * invalid_expression (state values missing); -1.0 then. */
ORV_API double orv_node_get_quantile(orv_node_t node, double probability);

/* ======================================================================
 * NET language: reading and writing
 * ====================================================================== */
/* Parses a domain from NET text or, when the argument does not begin like
 * NET text, from the file of that name. The caller deletes the domain.
 * Errors: usage, io, parse (with messages to handler), no_memory, locale and
 * the codes of failed API calls. */
ORV_API orv_domain_t orv_net_parse_domain(const char *file_name_or_text, orv_error_handler_t handler,
                                         void *data);
/* Parses a domain from an open stream (locations are line numbers). */
ORV_API orv_domain_t orv_net_parse(FILE *stream, orv_legacy_error_handler_t handler);
/* Parses a domain from NET text (locations are character offsets). */
ORV_API orv_domain_t orv_net_parse_from_string(const char *text, orv_legacy_error_handler_t handler);
/* Writes the domain as NET text onto the stream. Errors: usage, io, locale. */
ORV_API orv_status_t orv_domain_write_net(orv_domain_t domain, FILE *stream);
/* The domain as NET text; the caller frees it with free(). NULL on failure. */
ORV_API char *orv_domain_to_net_string(orv_domain_t domain);
/* Writes the domain into the file and records the file name in the domain.
 * Errors: usage, io, no_memory, locale. */
ORV_API orv_status_t orv_domain_save_as_net(orv_domain_t domain, const char *file_name);
/* Experience and fading tables of chance nodes (over the discrete parents),
 * created on first request and owned by the node. Errors: usage, no_memory. */
ORV_API orv_table_t orv_node_get_experience_table(orv_node_t node);
ORV_API int orv_node_has_experience_table(orv_node_t node);
ORV_API orv_table_t orv_node_get_fading_table(orv_node_t node);
ORV_API int orv_node_has_fading_table(orv_node_t node);

/* ======================================================================
 * Exact NET writing and the BIF, XMLBIF and UAI formats
 * ====================================================================== */
/* As orv_domain_to_net_string and orv_domain_save_as_net, but every number
 * is written with 17 significant digits ("%.17G"), so that reading the text
 * back gives bit-identical tables. Errors: as the plain forms. */
ORV_API char *orv_domain_to_net_string_exact(orv_domain_t domain);
ORV_API orv_status_t orv_domain_save_as_net_exact(orv_domain_t domain, const char *file_name);

/* ======================================================================
 * KB files: binary save and load
 * ====================================================================== */
/* A KB file is a gzip stream: bytes 7D 00, a format version byte, a type
 * byte (domain or class collection), byte-order and width bytes, then the
 * model: the network's structure, models, learning tables and attributes
 * (exact NET text) and its discrete tables as binary doubles, so that every
 * number reads back bit for bit, and for a domain its case data and
 * triangulation (elimination order). Evidence is not saved. A compiled
 * domain is saved as compiled and recompiled on load with its elimination
 * order (beliefs equal up to rounding in the last bits). With a password
 * (else NULL) the model is compressed and sealed: an Argon2id key from the
 * password and a random salt in the file, and authenticated
 * XChaCha20-Poly1305, so nothing of the model can be read or altered without
 * the password.
 * Saves the domain (records the file name). Errors: usage, io, no_memory. */
ORV_API orv_status_t orv_domain_save_as_kb(orv_domain_t domain, const char *file_name, const char *password);
/* Saves every class of a non-empty collection. Errors: usage, io, no_memory. */
ORV_API orv_status_t orv_cc_save_as_kb(orv_class_collection_t cc, const char *file_name, const char *password);
/* Loads a domain (the caller deletes it); NULL on failure. The password may
 * be NULL for an unprotected file. Errors: usage, io, no_memory,
 * bad_kb_format (not a KB file, truncated or damaged), bad_kb_version,
 * bad_kb_type (a class collection), bad_kb_password (missing or wrong, or
 * the sealed part was altered). */
ORV_API orv_domain_t orv_kb_load_domain(const char *file_name, const char *password);
/* Loads a class collection (the caller deletes it); errors as
 * orv_kb_load_domain (bad_kb_type for a domain). */
ORV_API orv_class_collection_t orv_kb_load_class_collection(const char *file_name, const char *password);
/* Parse a domain of discrete chance nodes from BIF, from XMLBIF (decision
 * and utility variables included) or from a UAI BAYES network (variables
 * named X0, X1, ... with states 0, 1, ...). The argument is the text itself
 * when it begins like such text ("network"/"variable" for BIF, "<" for
 * XMLBIF, "BAYES"/"MARKOV" for UAI), else a file name. Messages go to the
 * handler as for orv_net_parse_domain (line numbers for files, character
 * offsets for text). The caller deletes the domain. Errors: usage, io,
 * parse, twice, invalid_name, cyclic_network, size_too_large, no_memory,
 * locale. */
ORV_API orv_domain_t orv_bif_parse_domain(const char *file_name_or_text, orv_error_handler_t handler,
                                         void *data);
ORV_API orv_domain_t orv_xmlbif_parse_domain(const char *file_name_or_text, orv_error_handler_t handler,
                                            void *data);
ORV_API orv_domain_t orv_uai_parse_domain(const char *file_name_or_text, orv_error_handler_t handler,
                                         void *data);
/* The domain as BIF text (numbers in the shortest form that reads back
 * exactly); the caller frees it with free(). Only discrete chance nodes can
 * be written: any other node gives usage. Errors: usage, no_memory, locale. */
ORV_API char *orv_domain_to_bif_string(orv_domain_t domain);
/* Writes the domain as BIF into the file and records the file name in the
 * domain. Errors: usage (as above), io, no_memory, locale. */
ORV_API orv_status_t orv_domain_save_as_bif(orv_domain_t domain, const char *file_name);

/* ======================================================================
 * Case data and EM learning
 * ====================================================================== */
/* Resizes the case store to n cases; new cases have nothing set and weight
 * 1. Errors: usage, no_memory (store unchanged), demo. */
ORV_API orv_status_t orv_domain_set_number_of_cases(orv_domain_t domain, size_t n);
/* Appends an empty case; its index, or (size_t)-1 on failure (usage,
 * no_memory, demo). */
ORV_API size_t orv_domain_new_case(orv_domain_t domain);
/* Number of cases, or (size_t)-1 with usage. */
ORV_API size_t orv_domain_get_number_of_cases(orv_domain_t domain);
/* Weight of a case (>= 0; 0 makes it inactive in EM). Errors: usage,
 * no_memory. */
ORV_API orv_status_t orv_domain_set_case_count(orv_domain_t domain, size_t case_index, double count);
/* The weight of a case (1.0 when no weight was set); -1.0 with usage. */
ORV_API double orv_domain_get_case_count(orv_domain_t domain, size_t case_index);
/* The state of a discrete chance node in a case. Errors: usage (state out
 * of range), case_state_too_large (state >= 32768), no_memory. */
ORV_API orv_status_t orv_node_set_case_state(orv_node_t node, size_t case_index, size_t state);
/* The stored state, or -1 when not set (and with usage on error). */
ORV_API long orv_node_get_case_state(orv_node_t node, size_t case_index);
/* The value of a continuous chance node in a case. Errors: usage, no_memory. */
ORV_API orv_status_t orv_node_set_case_value(orv_node_t node, size_t case_index, double value);
/* The stored value; -1.0 with usage on error, no_value when not set. */
ORV_API double orv_node_get_case_value(orv_node_t node, size_t case_index);
/* Marks a chance node's item of a case missing. Errors: usage. */
ORV_API orv_status_t orv_node_unset_case(orv_node_t node, size_t case_index);
/* 1 when the chance node's item of the case is set, 0 when not, -1 (usage). */
ORV_API int orv_node_case_is_set(orv_node_t node, size_t case_index);
/* Enters a case as evidence: each chance node gets its stored state or
 * value, or loses its findings when the item is missing. Nothing is
 * propagated. Errors: usage. */
ORV_API orv_status_t orv_domain_enter_case(orv_domain_t domain, size_t case_index);

/* Called after each EM iteration with its log-likelihood and number (from
 * 1); returning 0 stops EM after that iteration. */
typedef int (*orv_em_progress_handler_t)(double log_likelihood, size_t iteration, void *data);
/* Learns the tables of the nodes with experience tables by EM from the case
 * data, experience counts acting as prior; experience is updated. The domain
 * must be compiled, in sum/normal equilibrium with nothing propagated and no
 * table changes pending. Continuous nodes learn intercept, regression
 * coefficients and variance per configuration of their discrete parents
 * (a default CG table first gets the mean and variance of its case values);
 * their experience counts act as that many earlier cases.
 * Errors: usage, not_compiled, functional_dependency, io (log), no_memory,
 * inconsistency_or_underflow, overflow; discrete tables then hold the last
 * completed M-step, CG tables are restored. */
ORV_API orv_status_t orv_domain_learn_tables(orv_domain_t domain);
/* The same EM on a domain made by orv_class_create_domain, learning the
 * tables of the class nodes: the counts of every runtime copy of a class
 * node are summed into one table per class node, with the class node's
 * experience as prior; the learned tables and experience are written into
 * the class nodes and their runtime copies. Errors as
 * orv_domain_learn_tables; usage also when no node has a source list. */
ORV_API orv_status_t orv_domain_learn_class_tables(orv_domain_t domain);
/* EM convergence: stop when |L - L_prev| <= |L| * tolerance (t >= 0). */
ORV_API orv_status_t orv_domain_set_log_likelihood_tolerance(orv_domain_t domain, double tolerance);
ORV_API double orv_domain_get_log_likelihood_tolerance(orv_domain_t domain);
/* Most EM iterations (0 = no limit). Getter: (size_t)-1 with usage. */
ORV_API orv_status_t orv_domain_set_max_number_of_em_iterations(orv_domain_t domain, size_t count);
ORV_API size_t orv_domain_get_max_number_of_em_iterations(orv_domain_t domain);
/* Sets (or clears with NULL) the EM progress handler. Errors: usage. */
ORV_API orv_status_t _orv_domain_set_progress_handler(orv_domain_t domain, orv_em_progress_handler_t handler,
                                                      void *data);
/* Log-likelihood of the case data under the current tables (0.0 without
 * cases); AIC = L - k; BIC = L - (k/2) ln M, with k free parameters and M the
 * total case weight. 1.0 on error: usage (BIC: M <= 0; table changes not
 * propagated), not_compiled, functional_dependency, no_memory,
 * inconsistency_or_underflow. */
ORV_API double orv_domain_get_log_likelihood(orv_domain_t domain);
ORV_API double orv_domain_get_AIC(orv_domain_t domain);
ORV_API double orv_domain_get_BIC(orv_domain_t domain);

/* ======================================================================
 * Structure learning
 * ====================================================================== */
/* Constrains the edge between A and B for structure learning (codes 100 to
 * 106, seen from A); B stores the mirrored code, 100 deletes both records.
 * Errors: usage (null node, A = B, different domains, bad code), no_memory. */
ORV_API orv_status_t orv_node_set_edge_constraint(orv_node_t a, orv_node_t b, orv_edge_constraint_t constraint);
/* The constraint from A towards B (100 when none); orv_constraint_error
 * with usage under the setter's argument rules. */
ORV_API orv_edge_constraint_t orv_node_get_edge_constraint(orv_node_t a, orv_node_t b);
/* Significance level of the independence tests, 0 < level < 1 (default
 * 0.05). Errors: usage. */
ORV_API orv_status_t orv_domain_set_significance_level(orv_domain_t domain, double level);
/* The significance level, or -1.0 with usage. */
ORV_API double orv_domain_get_significance_level(orv_domain_t domain);
/* Learns links from the case data by independence tests and orientation
 * rules under the edge constraints and replaces the domain's links (which
 * must be none) by them; EM can then learn their tables. Every node must be
 * a chance node without parents, and cases must be present. Pairs of
 * discrete nodes are tested by G² on counts; pairs with a continuous node by
 * a likelihood ratio of linear regressions within the discrete
 * configurations, and a discrete-continuous edge always points to the
 * continuous node. Tests run on the concurrency level's threads. Errors: usage, io (log, or thread
 * setup), no_memory; on failure the domain has no links. */
ORV_API orv_status_t orv_domain_learn_structure(orv_domain_t domain);

/* ======================================================================
 * Case files and case data files
 * ====================================================================== */
/* Retracts all findings, then enters the findings of a case file (lines
 * NODE: FINDING). Errors: usage, io, parse, no_memory, locale. */
ORV_API orv_status_t orv_domain_parse_case(orv_domain_t domain, const char *file_name,
                                           orv_error_handler_t handler, void *data);
/* Writes the entered findings of the domain as a case file. Errors: usage,
 * io, locale. */
ORV_API orv_status_t orv_domain_save_case(orv_domain_t domain, const char *file_name);
/* Appends the cases of a case data file to the case store. Every counted
 * error is reported with its line; a failed read leaves the case store as it
 * was. Errors: usage, io, parse, no_memory, locale, case_state_too_large. */
ORV_API orv_status_t orv_domain_parse_cases(orv_domain_t domain, const char *file_name,
                                            orv_error_handler_t handler, void *data);
/* Reads a file of node names into a new null-terminated list that the
 * caller frees with free(). Errors: usage, io, parse, no_memory, locale. */
ORV_API orv_node_t *orv_domain_parse_nodes(orv_domain_t domain, const char *file_name,
                                           orv_error_handler_t handler, void *data);
/* Writes cases (all, or the indices listed up to -1) of the given nodes as a
 * case data file: with a count column when include_counts is 1, else each
 * case repeated count times (counts must be whole). Errors: usage, io,
 * locale. */
ORV_API orv_status_t orv_domain_save_cases(orv_domain_t domain, const char *file_name, orv_node_t *nodes,
                                           const long *cases, int include_counts, const char *separator,
                                           const char *missing_data);

/* ======================================================================
 * Data sets: rows and columns of text cells
 * ====================================================================== */
/* A data set is a table of cells, each a string or missing (absent); a
 * missing cell and an empty string are distinct. Columns have names. Cell
 * and name strings returned are owned by the data set and stay valid until
 * the data set is next changed or deleted. Rows and columns are numbered
 * from 0. Every function gives usage (and changes nothing) for a null or
 * deleted data set or a row or column index out of range. */
/* A new empty data set; the caller deletes it with orv_ds_delete.
 * Errors: no_memory. */
ORV_API orv_data_set_t orv_new_data_set(void);
ORV_API orv_status_t orv_ds_delete(orv_data_set_t data_set);
/* Appends a row of missing cells, or a column of missing cells with a copy
 * of name; returns its index, (size_t)-1 on failure (usage, no_memory). */
ORV_API size_t orv_ds_new_row(orv_data_set_t data_set);
ORV_API size_t orv_ds_new_column(orv_data_set_t data_set, const char *name);
/* Removes a row (column); later ones move up (left). Errors: usage. */
ORV_API orv_status_t orv_ds_delete_row(orv_data_set_t data_set, size_t row);
ORV_API orv_status_t orv_ds_delete_column(orv_data_set_t data_set, size_t column);
/* Moves a row (column) to new_index, shifting those between. Errors: usage. */
ORV_API orv_status_t orv_ds_move_row(orv_data_set_t data_set, size_t row, size_t new_index);
ORV_API orv_status_t orv_ds_move_column(orv_data_set_t data_set, size_t column, size_t new_index);
/* Appends a copy of a column under a new name (NULL: the same name);
 * returns its index, (size_t)-1 on failure (usage, no_memory). */
ORV_API size_t orv_ds_copy_column(orv_data_set_t data_set, size_t column, const char *name);
/* Column names (new columns made by orv_ds_set_data_item are named "").
 * Errors: usage (NULL name), no_memory. */
ORV_API orv_status_t orv_ds_set_column_name(orv_data_set_t data_set, size_t column, const char *name);
ORV_API const char *orv_ds_get_column_name(orv_data_set_t data_set, size_t column);
/* Sizes; (size_t)-1 with usage for a bad data set. */
ORV_API size_t orv_ds_get_number_of_rows(orv_data_set_t data_set);
ORV_API size_t orv_ds_get_number_of_columns(orv_data_set_t data_set);
/* Stores a copy of data (NULL: missing) in a cell; rows and columns up to
 * the given ones are created when needed. Errors: usage, no_memory. */
ORV_API orv_status_t orv_ds_set_data_item(orv_data_set_t data_set, size_t row, size_t column,
                                          const char *data);
/* The cell's text, or NULL with error 0 when the cell is missing. */
ORV_API const char *orv_ds_get_data_item(orv_data_set_t data_set, size_t row, size_t column);
/* A cell is a number when its whole text (surrounding white space aside)
 * reads as a finite number in the C locale. */
/* Each row's cell of the column as a number, missing_value for a missing or
 * non-numeric cell: a new array of one entry per row that the caller frees
 * with free() (NULL with error 0 for a data set without rows). Errors:
 * usage, no_memory. */
ORV_API double *orv_ds_get_numbers(orv_data_set_t data_set, size_t column, double missing_value);
/* The distinct texts of the column (missing cells left out) in byte order,
 * null-terminated, owned by the data set. Errors: usage, no_memory. */
ORV_API const char **orv_ds_get_distinct_values(orv_data_set_t data_set, size_t column);
/* Number of cells of the column equal to value (NULL counts missing cells);
 * (size_t)-1 with usage. */
ORV_API size_t orv_ds_count_data(orv_data_set_t data_set, size_t column, const char *value);
/* The first row at or after start whose cell of the column equals value
 * (NULL: missing), or (size_t)-1 with error 0 when none does (with usage
 * on bad arguments; start may equal the number of rows). */
ORV_API size_t orv_ds_find_row(orv_data_set_t data_set, size_t column, const char *value, size_t start);
/* Replaces every cell of the column equal to old_value by new_value (NULL
 * stands for missing on both sides); returns the number of cells replaced,
 * (size_t)-1 on failure (usage, no_memory; nothing changed). */
ORV_API size_t orv_ds_replace_values(orv_data_set_t data_set, size_t column, const char *old_value,
                                     const char *new_value);
/* Moves the column's cells down by shift rows (up when negative): cells
 * moved past either end are dropped, vacated cells become missing; the
 * number of rows stays. For lagged copies of a series. Errors: usage. */
ORV_API orv_status_t orv_ds_shift_column_data(orv_data_set_t data_set, size_t column, long shift);
/* 1 when every cell of the column is missing (also with no rows), else 0;
 * -1 with usage. */
ORV_API int orv_ds_column_is_empty(orv_data_set_t data_set, size_t column);
/* 1 when the column has a present cell and every present cell is a number
 * (intervals: an interval label as orv_ds_apply_discretization writes
 * them), else 0; -1 with usage. */
ORV_API int orv_ds_column_data_are_numbers(orv_data_set_t data_set, size_t column);
ORV_API int orv_ds_column_data_are_intervals(orv_data_set_t data_set, size_t column);
/* Stable sorts of the rows by a column, ascending (ascending 1) or
 * descending (0): by the bytes of the text, or by numeric value. Missing
 * cells (and non-numeric cells in the numeric sort) come last in their
 * original order. Errors: usage, no_memory (nothing changed). */
ORV_API orv_status_t orv_ds_sort_rows(orv_data_set_t data_set, size_t column, int ascending);
ORV_API orv_status_t orv_ds_sort_rows_numerically(orv_data_set_t data_set, size_t column, int ascending);
/* Statistics of the numbers of a column; missing cells are skipped, any
 * other non-numeric cell gives usage. Computed in one pass with updates of
 * the centred moments that stay exact under large offsets. Mean (n >= 1);
 * sample variance, sum of squared deviations over n - 1 (n >= 2); skewness
 * m3 / m2^(3/2) and excess kurtosis m4 / m2^2 - 3, both the population
 * (moment) estimators with mk the k-th central moment over n (n >= 2 and
 * values not all equal). -1.0 on failure (usage, no_memory). */
ORV_API double orv_ds_compute_mean(orv_data_set_t data_set, size_t column);
ORV_API double orv_ds_compute_variance(orv_data_set_t data_set, size_t column);
ORV_API double orv_ds_compute_skewness(orv_data_set_t data_set, size_t column);
ORV_API double orv_ds_compute_kurtosis(orv_data_set_t data_set, size_t column);
/* Forecast errors of a forecast column against an actual column over the
 * rows where both cells are present (each must then be a number): mean
 * absolute error; mean absolute percentage error, 100/n sum |a - f| / |a|
 * (division_by_zero when an actual value is 0); mean absolute scaled error,
 * the MAE over the mean absolute difference a[t] - a[t - period] of the
 * actual series (rows with both present; period >= 1, division_by_zero when
 * that scale is 0). -1.0 on failure (usage when no row qualifies). */
ORV_API double orv_ds_compute_mean_absolute_error(orv_data_set_t data_set, size_t actual, size_t forecast);
ORV_API double orv_ds_compute_mean_absolute_percentage_error(orv_data_set_t data_set, size_t actual,
                                                             size_t forecast);
ORV_API double orv_ds_compute_mean_absolute_scaled_error(orv_data_set_t data_set, size_t actual,
                                                         size_t forecast, size_t period);
/* Discretization of a numeric column into intervals [b[i], b[i+1]) given by
 * boundaries b[0] < b[1] < ... < b[k], where b[0] and b[k] are minus and plus
 * orv_infinity(): the form of an interval node's state values. */
typedef enum {
  orv_discretization_equal_width = 0,
  orv_discretization_equal_frequency = 1
} orv_discretization_t;
/* Boundaries for count intervals of equal width over [min, max] of the
 * column, or with (about) equal numbers of values (cuts halfway between
 * neighbouring values; tied values stay together, so fewer intervals may
 * result). Missing cells are skipped, other non-numeric cells give usage.
 * Returns a new array of *intervals + 1 boundaries that the caller frees
 * with free(). Errors: usage (count 0, no numbers), no_memory. */
ORV_API double *orv_ds_discretize_column(orv_data_set_t data_set, size_t column,
                                         orv_discretization_t method, size_t count, size_t *intervals);
/* Supervised boundaries: the recursive minimum-description-length split by
 * class entropy against the class column (rows with a missing value or
 * class are skipped); one interval when no cut pays for itself. Result as
 * orv_ds_discretize_column. Errors: usage, no_memory. */
ORV_API double *orv_ds_compute_iem_intervals(orv_data_set_t data_set, size_t column, size_t class_column,
                                             size_t *intervals);
/* Replaces each number of the column by the label of its interval,
 * "[lower;upper)" with "-inf"/"inf" for the infinite ends (for example
 * "(-inf;2.5)", "[2.5;7)", "[7;inf)"); boundaries as above, intervals >= 1.
 * Missing cells stay; other non-numeric cells give usage (nothing changed).
 * Errors: usage, no_memory. */
ORV_API orv_status_t orv_ds_apply_discretization(orv_data_set_t data_set, size_t column,
                                                 const double *boundaries, size_t intervals);
/* Reads delimiter-separated text (the argument is the text when it contains
 * a newline, else a file name) into a new data set: a header row of column
 * names, then one row per line; quoted fields may hold the delimiter and
 * doubled quotes; an empty unquoted field is missing, an empty quoted one
 * the empty string. The delimiter is a code 1-255, not '"' and no white
 * space other than tab and space. Messages go to handler (line numbers for
 * files, character offsets for text). The caller deletes the result.
 * Errors: usage, io, parse, no_memory, locale. */
ORV_API orv_data_set_t orv_csv_parse_data_set(const char *file_name_or_text, int delimiter,
                                              orv_error_handler_t handler, void *data);
/* The same with the choice made by the caller: is_file 1 for a file name,
 * 0 for text. */
ORV_API orv_data_set_t _orv_parse_data_set(int is_file, const char *source, int delimiter,
                                           orv_error_handler_t handler, void *data);
/* Writes the data set as delimiter-separated text that the reader gets
 * back unchanged: names, then rows; a missing cell is written as nothing,
 * a cell that is empty, has white space at an end or holds a quote or the
 * delimiter is quoted. Errors: usage, io, locale. The string form is
 * allocated; the caller frees it with free() (NULL on failure: usage,
 * no_memory). */
ORV_API orv_status_t orv_ds_save(orv_data_set_t data_set, const char *file_name, int delimiter);
ORV_API char *orv_ds_to_csv_string(orv_data_set_t data_set, int delimiter);
/* Appends count rows of the data set from first_row on as new cases of the
 * domain: a column whose name is a discrete or continuous chance node feeds
 * that node (other columns are ignored); a cell names a state or value as in
 * a case data file (a state label, false/true, "#" index, or a number for
 * CG, numbered and interval nodes), and a label may also be written as its
 * bare text; an interval label as written by orv_ds_apply_discretization
 * names the state with exactly those bounds. Missing cells, "*" and "?"
 * leave the item unset. Errors: usage (also for a cell that names no
 * state; the case store is then unchanged), no_memory, demo. */
ORV_API orv_status_t orv_domain_add_cases(orv_domain_t domain, orv_data_set_t data_set, size_t first_row,
                                          size_t count);

/* ======================================================================
 * Compilation: moralization and triangulation
 * ====================================================================== */
/* Moralizes and triangulates the domain with method 15-20, leaving its
 * cliques and elimination order. Method 19 (total weight) minimises the sum
 * of the clique weights exactly for every prime component within the
 * separator limits below, and otherwise by many seeded randomized greedy
 * runs; it is never worse than best greedy (20) and deterministic. Errors:
 * usage (null, class, no discrete or continuous node, already triangulated,
 * bad method), io (log), no_memory, cyclic_functional_dependency and
 * invalid_expression (as orv_domain_compile); on failure the domain stays
 * untriangulated. */
ORV_API orv_status_t orv_domain_triangulate(orv_domain_t domain, orv_triangulation_method_t method);
/* Method 19 searches a prime component exactly only when it has at most
 * this many minimal separators (default 10000; 0 = no limit, which also
 * lifts the bound on the time of the search). Errors: usage. */
ORV_API orv_status_t orv_domain_set_max_number_of_separators(orv_domain_t domain, size_t count);
/* The separator count limit of method 19; (size_t)-1 with usage. */
ORV_API size_t orv_domain_get_max_number_of_separators(orv_domain_t domain);
/* Method 19 searches a prime component exactly only when none of its minimal
 * separators has more members than this (default 0 = no limit). Errors: usage. */
ORV_API orv_status_t orv_domain_set_max_separator_size(orv_domain_t domain, size_t size);
/* The separator size limit of method 19; (size_t)-1 with usage. */
ORV_API size_t orv_domain_get_max_separator_size(orv_domain_t domain);
/* Triangulates by eliminating the nodes in the given null-terminated order
 * (every discrete and continuous node once, continuous ones first). Errors:
 * usage, enumeration (invalid order), io, no_memory. */
ORV_API orv_status_t orv_domain_triangulate_with_order(orv_domain_t domain, orv_node_t *order);
/* The discrete and continuous nodes in elimination order, null-terminated;
 * owned by the domain until it is uncompiled. Errors: usage (not
 * triangulated), enumeration (inconsistent positions), no_memory. */
ORV_API orv_node_t *orv_domain_get_elimination_order(orv_domain_t domain);
/* Stores a copy of a null-terminated list of distinct discrete or continuous
 * nodes of the domain as the vertex order of the minimal-separator method
 * (method 19); NULL clears it. The list survives uncompiling and loses
 * nodes that are deleted. Errors: usage, no_memory (old list kept). */
ORV_API orv_status_t orv_domain_set_initial_triangulation(orv_domain_t domain, orv_node_t *order);
/* The node's neighbours in the moral graph (marriages and necessary fill-ins
 * included), null-terminated; owned by the domain while it stays
 * triangulated. Errors: usage (not triangulated, or a node of neither kind). */
ORV_API orv_node_t *orv_node_get_moral_neighbors(orv_node_t node);
/* Compiles the domain: triangulates it with the best greedy method unless a
 * junction forest exists, then allocates the clique and separator tables and
 * propagates (sum, normal). On failure the domain is as it was (a forest
 * the user made stays). A discrete function node with a model is determined
 * by its parents: its potential is derived at each propagation from the
 * parents' posterior (see orv_node_get_belief); the nodes its model reads
 * must lie in other junction trees. Errors:
 * usage (null, class, no discrete or continuous node, already compiled), io,
 * no_memory, inconsistency_or_underflow, overflow, invalid_expression (also a
 * discrete function node's model using a continuous node),
 * cyclic_functional_dependency (such a model reading a node of its own
 * junction tree, as in a LIMID's single tree, or trees depending on each
 * other in a cycle; with a log set, a line names the node). */
ORV_API orv_status_t orv_domain_compile(orv_domain_t domain);
/* 1 when compiled, 0 otherwise; -1 with usage for a null domain. */
ORV_API int orv_domain_is_compiled(orv_domain_t domain);
/* 1 when triangulated (a junction forest exists, compiled or not), else 0;
 * -1 with usage for a null domain. */
ORV_API int orv_domain_is_triangulated(orv_domain_t domain);
/* Discards the junction forest, its tables and the triangulation; entered
 * evidence stays. Does nothing for a domain that is not triangulated.
 * Errors: usage (null, class). */
ORV_API orv_status_t orv_domain_uncompile(orv_domain_t domain);

/* ======================================================================
 * Junction forest: cliques and junction trees
 * ====================================================================== */
/* Cliques of a triangulated domain, newest first; NULL at the end or when
 * the domain is not triangulated. Owned by the domain. Errors: usage. */
ORV_API orv_clique_t orv_domain_get_first_clique(orv_domain_t domain);
ORV_API orv_clique_t orv_clique_get_next(orv_clique_t clique);
/* Number of cliques (0 when not triangulated); (size_t)-1 with usage. */
ORV_API size_t orv_domain_get_number_of_cliques(orv_domain_t domain);
/* The junction tree holding the clique. Errors: usage. */
ORV_API orv_junction_tree_t orv_clique_get_junction_tree(orv_clique_t clique);
/* Members (discrete first), owned by the clique. Errors: usage. */
ORV_API orv_node_list_t orv_clique_get_members(orv_clique_t clique);
ORV_API size_t orv_clique_get_number_of_members(orv_clique_t clique);
/* Null-terminated neighbour cliques, owned by the clique. Errors: usage. */
ORV_API orv_clique_t *orv_clique_get_neighbors(orv_clique_t clique);
ORV_API size_t orv_clique_get_number_of_neighbors(orv_clique_t clique);
/* The clique's tables (utility: NULL without utility nodes); owned by the
 * clique. Errors: usage, not_compiled. */
ORV_API orv_table_t orv_clique_get_probability_table(orv_clique_t clique);
ORV_API orv_table_t orv_clique_get_utility_table(orv_clique_t clique);
/* Junction trees in creation order; NULL at the end. Errors: usage. */
ORV_API orv_junction_tree_t orv_domain_get_first_junction_tree(orv_domain_t domain);
ORV_API orv_junction_tree_t orv_jt_get_next(orv_junction_tree_t tree);
/* Root clique; null-terminated member cliques owned by the tree. Errors: usage. */
ORV_API orv_clique_t orv_jt_get_root(orv_junction_tree_t tree);
ORV_API orv_clique_t *orv_jt_get_cliques(orv_junction_tree_t tree);
/* The tree holding the node. Errors: usage, not_compiled (not triangulated). */
ORV_API orv_junction_tree_t orv_node_get_junction_tree(orv_node_t node);
/* The clique that holds the node's beliefs and evidence: the clique whose
 * conflict (orv_clique_get_conflict) covers the node's evidence. Errors:
 * usage (node of neither kind), not_compiled (not triangulated). */
ORV_API orv_clique_t orv_node_get_conflict_clique(orv_node_t node);
/* Sum of the clique and separator table sizes (doubled with utility tables),
 * and the same over CG sizes. Errors: usage, size_too_large. */
ORV_API size_t orv_jt_get_total_size(orv_junction_tree_t tree);
ORV_API size_t orv_jt_get_total_cg_size(orv_junction_tree_t tree);
/* What compiling the triangulated (not yet compiled) domain will allocate,
 * computed from its cliques and separators without allocating tables: the
 * number of clique table entries and of separator table entries (utility
 * tables included) and the bytes of all table data and propagation buffers.
 * Any output pointer may be NULL. Errors: usage (null, class, not
 * triangulated or already compiled), size_too_large (a sum overflows). */
ORV_API orv_status_t orv_domain_estimate_compilation(orv_domain_t domain, size_t *clique_entries,
                                                     size_t *separator_entries, size_t *bytes);


/* ======================================================================
 * Evidence
 * ====================================================================== */
/* Hard evidence on a state of a discrete node. Errors: usage. */
ORV_API orv_status_t orv_node_select_state(orv_node_t node, size_t state);
/* Sets one entry (0 <= value < DBL_MAX) of the node's finding vector; the
 * state code is reclassified (-1 none, k hard, -2 vector). Errors: usage,
 * no_memory. */
ORV_API orv_status_t orv_node_enter_finding(orv_node_t node, size_t state, double value);
/* A value: observed for a continuous node; for a numbered or interval node
 * it selects the matching state. Errors: usage (no matching state). */
ORV_API orv_status_t orv_node_enter_value(orv_node_t node, double value);
/* Removes the evidence of a node, or of every node. Errors: usage. */
ORV_API orv_status_t orv_node_retract_findings(orv_node_t node);
ORV_API orv_status_t orv_domain_retract_findings(orv_domain_t domain);
/* The entered state code: -1 no evidence, -2 a finding vector, else the
 * state. -1 with usage on error. */
ORV_API long orv_node_get_selected_state(orv_node_t node);
/* The weight of a state under the entered evidence; -1.0 with usage. */
ORV_API double orv_node_get_entered_finding(orv_node_t node, size_t state);
/* Propagated counterparts. Errors: usage, not_compiled, no_equilibrium. */
ORV_API double orv_node_get_propagated_finding(orv_node_t node, size_t state);
ORV_API long orv_node_get_propagated_state(orv_node_t node);
/* The value given by orv_node_enter_value; -1.0 with usage when none. */
ORV_API double orv_node_get_entered_value(orv_node_t node);
/* The propagated value. Errors: usage, not_compiled, no_equilibrium. */
ORV_API double orv_node_get_propagated_value(orv_node_t node);
/* Predicates: 1/0, or -1 with the error set (usage; not_compiled and
 * no_equilibrium for the propagated ones). */
ORV_API int orv_node_evidence_is_entered(orv_node_t node);
ORV_API int orv_node_likelihood_is_entered(orv_node_t node);
ORV_API int orv_node_evidence_is_propagated(orv_node_t node);
ORV_API int orv_node_likelihood_is_propagated(orv_node_t node);
ORV_API int orv_node_evidence_to_propagate(orv_node_t node);
/* Tree and domain predicates (not_compiled when not compiled). */
ORV_API int orv_domain_evidence_to_propagate(orv_domain_t domain);
ORV_API int orv_jt_evidence_to_propagate(orv_junction_tree_t tree);
ORV_API int orv_domain_evidence_is_propagated(orv_domain_t domain);
ORV_API int orv_jt_evidence_is_propagated(orv_junction_tree_t tree);
ORV_API int orv_domain_likelihood_is_propagated(orv_domain_t domain);
ORV_API int orv_jt_likelihood_is_propagated(orv_junction_tree_t tree);
ORV_API int orv_domain_cg_evidence_is_propagated(orv_domain_t domain);
ORV_API int orv_jt_cg_evidence_is_propagated(orv_junction_tree_t tree);


/* ======================================================================
 * Propagation
 * ====================================================================== */
/* Brings every junction tree into sum or max equilibrium with the entered
 * evidence, in normal or fast-retraction mode. A tree holding discrete
 * function nodes with models is propagated after the trees holding what
 * their models read, and reloaded when their derived potentials changed. On
 * failure every tree is reset. Errors: usage, not_compiled, invalid_evidence,
 * inconsistency_or_underflow, overflow, fast_retraction, invalid_expression
 * (a function node's model), no_memory. */
ORV_API orv_status_t orv_domain_propagate(orv_domain_t domain, orv_equilibrium_t equilibrium,
                                          orv_evidence_mode_t mode);
/* The same for one tree (after the trees its derived potentials depend on);
 * the clique variant makes the clique the root. */
ORV_API orv_status_t orv_jt_propagate(orv_junction_tree_t tree, orv_equilibrium_t equilibrium,
                                      orv_evidence_mode_t mode);
ORV_API orv_status_t orv_clique_propagate(orv_clique_t clique, orv_equilibrium_t equilibrium,
                                          orv_evidence_mode_t mode);
/* Predicates on the stored equilibrium and mode: 1/0, -1 on error
 * (usage, not_compiled). */
ORV_API int orv_domain_equilibrium_is(orv_domain_t domain, orv_equilibrium_t equilibrium);
ORV_API int orv_jt_equilibrium_is(orv_junction_tree_t tree, orv_equilibrium_t equilibrium);
ORV_API int orv_domain_evidence_mode_is(orv_domain_t domain, orv_evidence_mode_t mode);
ORV_API int orv_jt_evidence_mode_is(orv_junction_tree_t tree, orv_evidence_mode_t mode);
/* The probability of the evidence (product over the trees of the constants
 * accumulated over incremental propagations) and its logarithm (the log
 * form returns 1.0 on error). Errors: usage, not_compiled, no_equilibrium. */
ORV_API double orv_domain_get_normalization_constant(orv_domain_t domain);
ORV_API double orv_domain_get_log_normalization_constant(orv_domain_t domain);
/* Reloads every tree from the node potentials: no evidence incorporated.
 * Errors: usage, not_compiled, no_memory. */
ORV_API orv_status_t orv_domain_reset_inference_engine(orv_domain_t domain);
/* Reset, then retract all findings. Errors: usage, not_compiled, no_memory. */
ORV_API orv_status_t orv_domain_initialize(orv_domain_t domain);
/* Conflict measures (-1.0 on error). Errors: usage (decision nodes, max
 * equilibrium), not_compiled, no_equilibrium, cg_evidence_incorporated. */
ORV_API double orv_domain_get_conflict(orv_domain_t domain);
ORV_API double orv_jt_get_conflict(orv_junction_tree_t tree);
ORV_API double orv_clique_get_conflict(orv_clique_t clique);
/* 1 when a node table changed since the last propagation, else 0; -1 on
 * error (usage, not_compiled). */
ORV_API int orv_domain_tables_to_propagate(orv_domain_t domain);
ORV_API int orv_jt_tables_to_propagate(orv_junction_tree_t tree);
/* Tells propagation that the node's table was changed, so that the next
 * propagation reloads the node's junction tree (for a discrete function node
 * of a compiled domain: its model changed; its potential is derived anew).
 * Errors: usage. */
ORV_API orv_status_t orv_node_touch_table(orv_node_t node);
/* Keeps a copy of the initial sum/normal equilibrium so that resets reload
 * from memory. Errors: usage (decision nodes, evidence propagated, other
 * equilibrium), not_compiled, no_memory. */
ORV_API orv_status_t orv_domain_save_to_memory(orv_domain_t domain);


/* ======================================================================
 * Beliefs and query results
 * ====================================================================== */
/* The belief of a state of a discrete node (exactly 1/0 for hard evidence
 * propagated in normal mode). A discrete function node F with a model
 * (F = f(parents), one expression value or distribution per configuration)
 * has prior P(F = s) = sum over the parents' configurations c of
 * P(c | evidence) P_model(F = s | c), with the parents' joint posterior taken
 * from their own junction trees (parents in different trees independent) and
 * real-valued function parents entering by their value. The dependence is
 * one way: evidence on F or below it changes F's tree only, never the
 * beliefs of F's parents. Errors: usage, not_compiled, no_equilibrium. */
ORV_API double orv_node_get_belief(orv_node_t node, size_t state);
/* Expected utility: of a utility node (the state is ignored); of a decision
 * option, the expected total utility when the decision takes that option in
 * every parent configuration and every other decision follows its policy
 * (defined also for options the policy never takes; sum/normal required);
 * of a state of a chance node, the expected total utility given that state
 * (0 for a state of probability 0). Errors: usage (no utility nodes),
 * not_compiled, no_equilibrium, no_memory. */
ORV_API double orv_node_get_expected_utility(orv_node_t node, size_t state);
/* Expected utilities of a decision per row of its policy (a configuration of
 * its parents, in the order of orv_node_get_table): utilities (caller-owned,
 * as many entries as the policy table) receives, for each row and option,
 * the expected total utility when the decision takes that option in that
 * configuration and every other decision follows its policy, 0 where the
 * configuration has probability 0; row_probabilities (caller-owned, one
 * entry per row, may be NULL) the probability of each configuration given
 * the evidence. Requires sum/normal. Errors: usage (not a decision, utilities
 * NULL, no utility nodes, not sum/normal), not_compiled, no_equilibrium,
 * no_memory. */
ORV_API orv_status_t orv_node_get_decision_utilities(orv_node_t node, double *utilities,
                                                     double *row_probabilities);
/* The overall expected utility under the current policies: the sum of the
 * utility nodes' expected utilities. Errors: usage (not sum/normal),
 * not_compiled, no_equilibrium. */
ORV_API double orv_domain_get_expected_utility(orv_domain_t domain);
/* Variance, smallest and largest value of a utility node's utility over the
 * configurations of its parents that have positive probability. Errors:
 * usage (not a utility node, not sum/normal), not_compiled, no_equilibrium. */
ORV_API double orv_node_get_variance_of_utility(orv_node_t node);
ORV_API double orv_node_get_min_utility(orv_node_t node);
ORV_API double orv_node_get_max_utility(orv_node_t node);
/* -sum p ln p over the beliefs. Errors: usage (not sum/normal), not_compiled,
 * no_equilibrium. */
ORV_API double orv_node_get_entropy(orv_node_t node);
/* Mean and variance of a continuous node (of the mixture of Gaussians that
 * is its marginal; the value and 0 when it is observed). Errors: usage,
 * not_compiled, no_equilibrium. */
ORV_API double orv_node_get_mean(orv_node_t node);
ORV_API double orv_node_get_variance(orv_node_t node);
/* The marginal of a continuous node as a mixture: a new table over the
 * discrete nodes of the node's clique followed by the node, where data[i]
 * is the weight of discrete configuration i (row-major, last discrete node
 * fastest; the weights sum to 1) and orv_table_get_mean/get_variance (table,
 * i, node) give that component's mean and variance. The caller frees it with
 * orv_table_delete. Errors: usage, not_compiled, no_equilibrium, no_memory. */
ORV_API orv_table_t orv_node_get_distribution(orv_node_t node);
/* The probability that the continuous node of a mixture table (as from
 * orv_node_get_distribution: discrete nodes followed by the one continuous
 * node) lies in [x, y]: the weight-normalised sum of the components' normal
 * masses (a zero variance is a point mass). Pass the most negative and the
 * largest double for infinite ends. Errors: usage (not such a table, x > y
 * or NaN, negative or all-zero weights); -1.0 then. */
ORV_API double orv_table_compute_probability_of_interval(orv_table_t table, double x, double y);
/* The joint marginal of distinct discrete nodes (in the given order), as a
 * new table that the caller frees with orv_table_delete. Errors: usage (also
 * for max equilibrium or fast retraction with evidence), not_compiled,
 * no_equilibrium, no_memory. */
ORV_API orv_table_t orv_domain_get_marginal(orv_domain_t domain, orv_node_t *nodes);
/* Mutual information (natural logarithm) of two nodes. Discrete nodes: from
 * their joint marginal. With a continuous node the Gaussian form from
 * variances and covariances: -ln(1 - rho^2)/2 for two continuous nodes,
 * ln(Var X / sum_d P(d) Var(X | d))/2 for continuous X and discrete D; such
 * nodes must share a clique. Errors: as orv_domain_get_marginal, and usage
 * for continuous nodes without a common clique. */
ORV_API double orv_node_get_mutual_information(orv_node_t node, orv_node_t other);
/* Writes the beliefs (and expected utilities) of every node, or of one node,
 * to the domain's log; nothing without a log. Errors: usage, not_compiled,
 * no_equilibrium, io. */
ORV_API orv_status_t orv_domain_report_beliefs(orv_domain_t domain);
ORV_API orv_status_t orv_node_report_beliefs(orv_node_t node);
/* Targeted query: the joint posterior of distinct discrete chance or function
 * nodes (in the given order; an empty list gives the one-entry table) under
 * the evidence entered now, propagated or not, compiled or not, computed on
 * the part of the network that bears on them. Returns a new table that the
 * caller frees with orv_table_delete; stores ln P(evidence) of all entered
 * evidence in *log_pe when log_pe is not null (without it, only evidence that
 * bears on the nodes is checked for being possible). Tables of models that
 * are not up to date are generated first (as compilation does); otherwise
 * the domain, its compiled state and its evidence stay untouched. Domains
 * with decision, utility or continuous nodes or undirected links are
 * answered by compiling and propagating a copy of the domain (with the
 * current policies of a LIMID). Errors: usage, inconsistency_or_underflow
 * (impossible evidence), invalid_expression (table generation),
 * size_too_large, no_memory, and those of compilation for such domains. */
ORV_API orv_table_t orv_domain_query_marginal(orv_domain_t domain, orv_node_t *nodes, double *log_pe);
/* Targeted beliefs of many nodes at once, sharing the work: for each listed
 * node in order, its number of states entries are written to beliefs
 * (consecutively). log_pe as orv_domain_query_marginal. Errors: as
 * orv_domain_query_marginal. */
ORV_API orv_status_t orv_domain_query_beliefs(orv_domain_t domain, orv_node_t *nodes, double *beliefs,
                                              double *log_pe);


/* ======================================================================
 * Decisions (influence diagrams and LIMIDs)
 * ====================================================================== */
/* The decisions of a compiled domain in the order policy updating visits
 * them (a decision after every decision below it; decisions unrelated to
 * each other in domain node order), per junction tree. Null-terminated,
 * owned by the domain, valid until it is uncompiled. Errors: usage,
 * not_compiled, no_memory. */
ORV_API orv_node_t *orv_domain_get_decision_order(orv_domain_t domain);
/* Single policy updating: each unmade decision (no evidence, more than one
 * option) in turn gets, for every parent configuration, all its mass on the
 * options of maximal expected utility (others held fixed), until a pass over
 * the decision order changes nothing; the domain is then propagated under the
 * new policies. Requires sum equilibrium, normal mode, all evidence
 * propagated and no table touched. Does nothing without utility nodes.
 * Errors: usage, not_compiled, invalid_evidence, no_memory,
 * inconsistency_or_underflow, overflow; on failure the policies are as they
 * were. */
ORV_API orv_status_t orv_domain_update_policies(orv_domain_t domain);
/* The requisite parents of a decision: those still linked to it in the
 * minimal reduction of the diagram, where an informational link is dropped
 * when its parent is d-separated from the utility nodes below the decision
 * given the decision and its other parents (repeated over all decisions
 * until nothing changes). The requisite ancestors: the decision's ancestors
 * in that reduction. Owned by the node, overwritten by the next such call or
 * orv_node_get_ancestors/descendants on it. Errors: usage (not a decision),
 * no_memory. */
ORV_API orv_node_t *orv_node_get_requisite_parents(orv_node_t node);
ORV_API orv_node_t *orv_node_get_requisite_ancestors(orv_node_t node);


/* ======================================================================
 * Classes and class collections
 * ====================================================================== */
/* Called by orv_net_parse_classes when an instance names a class that is not
 * in the collection; it may add the class (e.g. by parsing "<name>.net"). */
typedef void (*orv_class_loader_t)(const char *name, orv_class_collection_t cc, void *data);

/* A new empty collection; the caller deletes it with orv_cc_delete.
 * Errors: no_memory. */
ORV_API orv_class_collection_t orv_new_class_collection(void);
/* Deletes every member class and the collection. Errors: usage. */
ORV_API orv_status_t orv_cc_delete(orv_class_collection_t cc);
/* A new empty class named "Class<k>" (the first free k), owned by the
 * collection. Errors: usage, no_memory. */
ORV_API orv_class_t orv_cc_new_class(orv_class_collection_t cc);
/* The members, NULL-terminated, in creation order; owned by the collection,
 * valid until a class is added or deleted. Errors: usage, no_memory. */
ORV_API orv_class_t *orv_cc_get_members(orv_class_collection_t cc);
/* The member with that name, or NULL (error 0 when absent). Errors: usage. */
ORV_API orv_class_t orv_cc_get_class_by_name(orv_class_collection_t cc, const char *name);
/* Turns a domain into a new class of the collection: its nodes, links,
 * tables, attributes and node size move over and the domain is deleted.
 * Returns the class. Errors: usage (instances, junction forest aside: a domain
 * with CG evidence is fine), invalid_name (dotted node names), no_memory (the
 * domain is left as it was). */
ORV_API orv_class_t orv_cc_add_domain(orv_class_collection_t cc, orv_domain_t domain);
/* Moves every class of other into cc, leaving other empty.
 * Errors: usage (same collection), twice (a name in both; nothing moves),
 * no_memory. */
ORV_API orv_status_t orv_cc_add_classes(orv_class_collection_t cc, orv_class_collection_t other);
ORV_API orv_status_t orv_cc_set_user_data(orv_class_collection_t cc, void *data);
ORV_API void *orv_cc_get_user_data(orv_class_collection_t cc);

/* Deletes a class. Errors: usage (instances of it exist). */
ORV_API orv_status_t orv_class_delete(orv_class_t class_);
/* Names follow the node name rule without dots and are unique in the
 * collection. Errors: usage, invalid_name, twice, no_memory. */
ORV_API orv_status_t orv_class_set_name(orv_class_t class_, const char *name);
ORV_API const char *orv_class_get_name(orv_class_t class_);
ORV_API orv_class_collection_t orv_class_get_class_collection(orv_class_t class_);
ORV_API orv_status_t orv_class_set_user_data(orv_class_t class_, void *data);
ORV_API void *orv_class_get_user_data(orv_class_t class_);
/* The domain operations on the nodes, layout and attributes of a class. */
ORV_API orv_node_t orv_class_new_node(orv_class_t class_, orv_category_t category, orv_kind_t kind);
ORV_API orv_node_t orv_class_get_first_node(orv_class_t class_);
ORV_API orv_node_t orv_class_get_node_by_name(orv_class_t class_, const char *name);
ORV_API orv_status_t orv_class_set_node_size(orv_class_t class_, size_t width, size_t height);
ORV_API orv_status_t orv_class_get_node_size(orv_class_t class_, size_t *width, size_t *height);
ORV_API orv_status_t orv_class_set_log_file(orv_class_t class_, FILE *log_file);
ORV_API orv_status_t orv_class_set_attribute(orv_class_t class_, const char *key, const char *value);
ORV_API const char *orv_class_get_attribute(orv_class_t class_, const char *key);
ORV_API orv_attribute_t orv_class_get_first_attribute(orv_class_t class_);

/* A new instance node of `instantiated` in class_, with one output clone per
 * output of that class. Errors: usage (other collection),
 * cyclic_instance_hierarchy, no_memory. */
ORV_API orv_node_t orv_class_new_instance(orv_class_t class_, orv_class_t instantiated);
/* The class an instance node instantiates. Errors: usage. */
ORV_API orv_class_t orv_node_get_instance_class(orv_node_t instance);
/* The instance nodes (in any class) of this class; owned by the class. */
ORV_API orv_node_t *orv_class_get_instances(orv_class_t class_);
/* Input and output declarations: a node of a class that is not an instance
 * node or output clone, not already declared the other way; inputs have no
 * parents. Removing an input unbinds it everywhere; removing an output
 * deletes its clones in every instance. Errors: usage, no_memory. */
ORV_API orv_status_t orv_node_add_to_inputs(orv_node_t node);
ORV_API orv_status_t orv_node_remove_from_inputs(orv_node_t node);
ORV_API orv_status_t orv_node_add_to_outputs(orv_node_t node);
ORV_API orv_status_t orv_node_remove_from_outputs(orv_node_t node);
/* Declared inputs and outputs in declaration order; owned by the class. */
ORV_API orv_node_t *orv_class_get_inputs(orv_class_t class_);
ORV_API orv_node_t *orv_class_get_outputs(orv_class_t class_);
/* Binds input `formal` of the instance's class to `actual`, a node of the
 * instance's home class of the same category and kind (states are checked by
 * unfolding). Errors: usage, no_memory. */
ORV_API orv_status_t orv_node_set_input(orv_node_t instance, orv_node_t formal, orv_node_t actual);
ORV_API orv_status_t orv_node_unset_input(orv_node_t instance, orv_node_t formal);
/* The actual node bound to formal, or NULL (error 0) when unbound. */
ORV_API orv_node_t orv_node_get_input(orv_node_t instance, orv_node_t formal);
/* The output clone of `output` in this instance. Errors: usage. */
ORV_API orv_node_t orv_node_get_output(orv_node_t instance, orv_node_t output);
/* All output clones of the instance, in the order of the class's outputs. */
ORV_API orv_node_t *orv_node_get_outputs(orv_node_t instance);
/* The master output node and the instance node of an output clone. */
ORV_API orv_node_t orv_node_get_master(orv_node_t clone);
ORV_API orv_node_t orv_node_get_instance(orv_node_t clone);
/* Replaces the instantiated class, matching inputs and outputs by name; the
 * instance is unchanged on failure. Errors: usage, cyclic_instance_hierarchy,
 * no_memory. */
ORV_API orv_status_t orv_node_substitute_class(orv_node_t instance, orv_class_t new_class);
/* Unfolds the class into a new domain (owned by the caller) whose nodes are
 * named by their instance path ("I.J.X"). Errors: usage,
 * cg_limids_not_supported, cyclic_functional_dependency, illegal_binding,
 * demo, no_memory; no domain is left on failure. */
ORV_API orv_domain_t orv_class_create_domain(orv_class_t class_);
/* The source list of a node of an unfolded domain: the instance nodes from
 * the top class down, then the class node; owned by the node. A node of a
 * domain not made by unfolding has an empty list. Errors: usage. */
ORV_API orv_node_t *orv_node_get_source(orv_node_t node);
/* Empties the source lists of all nodes of the domain (they refer to class
 * nodes, so release them before changing the classes). Errors: usage. */
ORV_API orv_status_t orv_domain_delete_source_lists(orv_domain_t domain);

/* Reads classes from a file or NET text into the collection; a class named
 * by an instance but absent is asked of the loader. Messages go to handler.
 * On failure no class of this call remains. Errors: usage, io, parse,
 * no_memory, locale. */
ORV_API orv_status_t orv_net_parse_classes(const char *argument, orv_class_collection_t cc,
                                           orv_class_loader_t loader, orv_error_handler_t handler,
                                           void *data);
/* NET text of one class or of a collection (used classes before their
 * users); the caller frees the text with free(). Errors: usage (a collection
 * without classes), no_memory, locale. */
ORV_API char *orv_class_to_net_string(orv_class_t class_);
ORV_API char *orv_cc_to_net_string(orv_class_collection_t cc);
/* Writes the file and records its name in the class (every class of the
 * collection). Errors: usage, io, no_memory, locale. */
ORV_API orv_status_t orv_class_save_as_net(orv_class_t class_, const char *file_name);
ORV_API orv_status_t orv_cc_save_as_net(orv_class_collection_t cc, const char *file_name);


#ifdef __cplusplus
}
#endif

#endif /* ORVEL_H */
