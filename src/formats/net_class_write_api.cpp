// NET text of classes and class collections: one class, or every class of a
// collection with each class after the classes it instantiates.
#include "formats/net_writer.h"
#include "oobn/class.h"
#include "runtime/error.h"
#include "runtime/files.h"

namespace orv {

// Members ordered so that used classes come before their users: repeatedly
// the first class, in collection order, all of whose used classes are done.
Vector<orv_class_s *> dependency_order(orv_class_collection_s *cc) {
  const std::size_t n = cc->members.size();
  Vector<std::size_t> pending(n, 0);
  for (std::size_t i = 0; i < n; ++i)
    for (orv_node_s *x = cc->members[i]->first_node; x; x = x->next)
      if (x->category == orv_category_instance) ++pending[i];
  Vector<orv_class_s *> order;
  order.reserve(n);
  Vector<bool> done(n, false);
  while (order.size() < n) {
    std::size_t next = n;
    for (std::size_t i = 0; i < n && next == n; ++i)
      if (!done[i] && pending[i] == 0) next = i;
    if (next == n) fail(orv_error_error);  // cycles are refused when instances are made
    orv_class_s *c = cc->members[next];
    done[next] = true;
    order.push_back(c);
    for (orv_node_t user : c->instances)
      for (std::size_t i = 0; i < n; ++i)
        if (cc->members[i] == user->owner) --pending[i];
  }
  return order;
}

void write_collection_net(NetOutput &out, orv_domain_s *d) {
  orv_class_collection_s *cc = as_class(d)->collection;
  bool first = true;
  for (orv_class_s *c : dependency_order(cc)) {
    if (!first) out.put("\n");
    first = false;
    write_class_net(out, c);
  }
}

}  // namespace orv

using orv::guarded;
using orv::guarded_status;
using orv::usage;

extern "C" {

char *orv_class_to_net_string(orv_class_t c) {
  if (!orv::is_class(c)) return usage<char *>(nullptr);
  return guarded<char *>(nullptr, [&] { return orv::domain_text(c, false, orv::write_class_net); });
}

orv_status_t orv_class_save_as_net(orv_class_t c, const char *file_name) {
  if (!orv::is_class(c) || !file_name) return usage(orv_error_usage);
  return guarded_status([&] { orv::save_domain_file(c, file_name, false, orv::write_class_net); });
}

// The collection is written through its first member.
char *orv_cc_to_net_string(orv_class_collection_t cc) {
  if (!orv::is_collection(cc) || cc->members.empty()) return usage<char *>(nullptr);
  return guarded<char *>(nullptr, [&] { return orv::domain_text(cc->members[0], false, orv::write_collection_net); });
}

orv_status_t orv_cc_save_as_net(orv_class_collection_t cc, const char *file_name) {
  if (!orv::is_collection(cc) || cc->members.empty() || !file_name) return usage(orv_error_usage);
  return guarded_status([&] {
    orv::save_domain_file(cc->members[0], file_name, false, orv::write_collection_net);
    for (orv_class_s *c : cc->members) c->file_name = cc->members[0]->file_name;
  });
}

}  // extern "C"
