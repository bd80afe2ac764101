/* Reads a network (NET, or BIF by its .bif extension), compiles it and
 * prints the beliefs of one node: consumer NETWORK NODE. */
#include <stdio.h>
#include <string.h>
#include "orvel.h"

static void print_message(size_t line, const char *message, void *data) {
  fprintf(stderr, "%s:%zu: %s\n", (const char *)data, line, message);
}

int main(int argc, char **argv) {
  if (argc != 3) {
    fprintf(stderr, "usage: consumer NETWORK NODE\n");
    return 2;
  }
  const size_t length = strlen(argv[1]);
  const int is_bif = length > 4 && strcmp(argv[1] + length - 4, ".bif") == 0;
  orv_domain_t d = is_bif ? orv_bif_parse_domain(argv[1], print_message, argv[1])
                          : orv_net_parse_domain(argv[1], print_message, argv[1]);
  if (!d || orv_domain_compile(d) != orv_error_none) {
    fprintf(stderr, "consumer: %s\n", orv_error_description(orv_error_code()));
    if (d) orv_domain_delete(d);
    return 1;
  }
  orv_node_t node = orv_domain_get_node_by_name(d, argv[2]);
  if (!node) {
    fprintf(stderr, "consumer: no node %s\n", argv[2]);
    orv_domain_delete(d);
    return 1;
  }
  for (size_t s = 0; s < orv_node_get_number_of_states(node); ++s)
    printf("P(%s=%s) = %.4f\n", argv[2], orv_node_get_state_label(node, s), orv_node_get_belief(node, s));
  orv_domain_delete(d);
  return 0;
}
