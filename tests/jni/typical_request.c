/* The typical request through the C API, for comparison with the Java
 * binding: usage: typical_request NET [node=label ...] [-- node=label ...]...
 * Prints the prior beliefs of every node, then those of each case (cases are
 * separated by --), as the bits of each double in hex. */
#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include "orvel.h"

static void print_beliefs(orv_domain_t d) {
  for (orv_node_t n = orv_domain_get_first_node(d); n; n = orv_node_get_next(n)) {
    size_t count = orv_node_get_number_of_states(n);
    for (size_t s = 0; s < count; s++) {
      double b = orv_node_get_belief(n, s);
      uint64_t bits;
      memcpy(&bits, &b, sizeof bits);
      printf("%s %zu %016llx\n", orv_node_get_name(n), s, (unsigned long long)bits);
    }
  }
}

static int enter(orv_domain_t d, const char *pair) {
  char name[256];
  const char *eq = strchr(pair, '=');
  if (!eq || (size_t)(eq - pair) >= sizeof name) return 1;
  memcpy(name, pair, (size_t)(eq - pair));
  name[eq - pair] = 0;
  orv_node_t n = orv_domain_get_node_by_name(d, name);
  long state = n ? orv_node_get_state_index_from_label(n, eq + 1) : -1;
  return state < 0 || orv_node_select_state(n, (size_t)state) != 0;
}

int main(int argc, char **argv) {
  if (argc < 2) return 2;
  orv_domain_t d = orv_net_parse_domain(argv[1], NULL, NULL);
  if (!d || orv_domain_compile(d) != 0) return 1;
  print_beliefs(d);
  for (int i = 2; i < argc;) {
    orv_domain_retract_findings(d);
    for (; i < argc && strcmp(argv[i], "--") != 0; i++)
      if (enter(d, argv[i])) return 1;
    i++;
    if (orv_domain_propagate(d, orv_equilibrium_sum, orv_mode_normal) != 0) return 1;
    printf("case\n");
    print_beliefs(d);
  }
  orv_domain_delete(d);
  return 0;
}
