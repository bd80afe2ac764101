/* A first program: build a two-node network, compile, enter evidence, read a belief. */
#include <stdio.h>
#include "orvel.h"

int main(void) {
  orv_domain_t d = orv_new_domain();
  orv_node_t rain = orv_domain_new_node(d, orv_category_chance, orv_kind_discrete);
  orv_node_t grass = orv_domain_new_node(d, orv_category_chance, orv_kind_discrete);
  orv_node_set_name(rain, "Rain");
  orv_node_set_name(grass, "WetGrass");
  orv_node_set_number_of_states(rain, 2);  /* states 0 = yes, 1 = no */
  orv_node_set_number_of_states(grass, 2);
  orv_node_add_parent(grass, rain);

  double *p_rain = orv_table_get_data(orv_node_get_table(rain));
  p_rain[0] = 0.2, p_rain[1] = 0.8;
  double *p_grass = orv_table_get_data(orv_node_get_table(grass));  /* (Rain, WetGrass), last fastest */
  p_grass[0] = 0.9, p_grass[1] = 0.1, p_grass[2] = 0.1, p_grass[3] = 0.9;

  if (orv_domain_compile(d) != orv_error_none) return 1;
  orv_node_select_state(grass, 0);                       /* the grass is wet */
  orv_domain_propagate(d, orv_equilibrium_sum, orv_mode_normal);
  printf("P(Rain | WetGrass) = %.4f\n", orv_node_get_belief(rain, 0));  /* 0.6923 */
  if (orv_error_code() != orv_error_none) printf("%s\n", orv_error_description(orv_error_code()));
  orv_domain_delete(d);
  return 0;
}
