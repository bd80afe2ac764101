// Class files: a sequence of "class NAME { ... }" blocks read into a class
// collection, with instance declarations, input and output lists, and the
// class loader for classes that are named but not yet known.
#include <cstring>

#include "formats/net_parse.h"
#include "formats/net_reader.h"
#include "model/node_ops.h"
#include "oobn/class.h"
#include "runtime/error.h"
#include "runtime/files.h"

namespace orv {

namespace {

[[noreturn]] void not_found(ParseData &p, const char *format, const char *a, const char *b) {
  String message = format_message(format, a, b);
  p.syntax_error(0, message.c_str());
}

orv_node_s *find_in(orv_domain_s *d, const char *name) { return d->names.find(d->first_node, d->node_count, name); }

}  // namespace

orv_node_s *find_named_node(ParseData &p, orv_domain_s *d, const char *name) {
  if (!d->is_class()) {
    orv_node_s *n = find_in(d, name);
    if (!n) not_found(p, "node `%s' not found%s", name, "");
    return n;
  }
  orv_class_s *c = as_class(d);
  const char *dot = std::strchr(name, '.');
  if (!dot) {
    orv_node_s *n = find_in(c, name);
    if (!n) not_found(p, "class `%s' has no node named `%s'", c->name.c_str(), name);
    return n;
  }
  const String instance_name(name, static_cast<std::size_t>(dot - name));
  const char *rest = dot + 1;
  orv_node_s *i = find_in(c, instance_name.c_str());
  if (!i) not_found(p, "class `%s' has no node named `%s'", c->name.c_str(), instance_name.c_str());
  if (i->category != orv_category_instance)
    not_found(p, "node `%s' is not an instance node in class `%s'", instance_name.c_str(), c->name.c_str());
  orv_class_s *k = i->instance_class;
  orv_node_s *o = find_in(k, rest);
  if (!o) not_found(p, "class `%s' has no node named `%s'", k->name.c_str(), rest);
  const long pos = k->outputs.index_of(o);
  if (pos < 0) not_found(p, "node `%s' is not an output node in class `%s'", rest, k->name.c_str());
  return i->output_clones[static_cast<std::size_t>(pos)];
}

namespace {

struct PendingBinding {
  orv_node_s *instance;
  String formal;
  String actual;
};

class ClassReader {
 public:
  ClassReader(ParseData &p, orv_class_collection_s *cc, orv_class_loader_t loader, void *data)
      : p_(p), cc_(cc), loader_(loader), data_(data) {}

  void parse_all() {
    for (;;) {
      const int t = p_.next();
      if (t == kTokEnd) return;
      if (t != kTokName || std::strcmp(p_.token_text, "class") != 0) p_.syntax_error(t, "expected `class' keyword");
      parse_class();
    }
  }

 private:
  void parse_class() {
    const int t = p_.next();
    if (t != kTokName) p_.syntax_error(t, "class name expected");
    if (find_class(cc_, p_.token_text)) {
      String message = format_message("a class with name `%s' already exists", p_.token_text);
      p_.fatal(message.c_str(), orv_error_twice);
    }
    String name(p_.token_text);
    orv_class_s *c = new_class(cc_);
    c->name.swap(name);
    NetReader r(p_, c);
    r.expect(p_.next(), '{');
    Vector<String> inputs, outputs;
    bool have_inputs = false, have_outputs = false;
    AttributeQueue attributes;
    bindings_.clear();
    for (;;) {
      const int k = p_.next();
      if (k == '}') break;
      if (k != kTokName) p_.syntax_error(k, "unexpected token");
      const String word = r.take_token_text();
      if (r.parse_declaration(word)) continue;
      if (word == "instance") {
        parse_instance(r, c);
      } else if (word == "temporal") {
        parse_temporal(r);
      } else if (word == "class") {
        p_.syntax_error(k, "nested classes are not permitted");
      } else {
        r.expect(p_.next(), '=');
        if (word == "inputs" || word == "outputs") {
          bool &seen = word == "inputs" ? have_inputs : have_outputs;
          if (seen) {
            String message = format_message("attribute `%s' defined twice", word.c_str());
            p_.report(message.c_str());
          }
          seen = true;
          parse_name_list(r, word == "inputs" ? inputs : outputs);
        } else {
          r.parse_block_attribute(word, attributes);
        }
        r.expect(p_.next(), ';');
      }
    }
    r.flush_attributes(nullptr, attributes);
    r.handle_incomplete_tables();
    if (p_.error_count > 0) return;
    declare(r, c, inputs, orv_node_add_to_inputs);
    declare(r, c, outputs, orv_node_add_to_outputs);
    for (const PendingBinding &b : bindings_) bind(r, c, b);
    _orv_reverse_node_and_table_lists(c);
  }

  void parse_name_list(NetReader &r, Vector<String> &names) {
    r.expect(p_.next(), '(');
    names.clear();
    for (;;) {
      const int t = p_.next();
      if (t == ')') return;
      if (t != kTokName && t != kTokDottedName) p_.syntax_error(t, "node name or `)' expected");
      names.push_back(r.take_token_text());
    }
  }

  void declare(NetReader &r, orv_class_s *c, const Vector<String> &names, orv_status_t (*add)(orv_node_t)) {
    for (const String &name : names) r.call(add(find_named_node(p_, c, name.c_str())));
  }

  void bind(NetReader &r, orv_class_s *c, const PendingBinding &b) {
    orv_class_s *k = b.instance->instance_class;
    orv_node_s *formal = find_in(k, b.formal.c_str());
    if (!formal) not_found(p_, "class `%s' does not have a node named `%s'", k->name.c_str(), b.formal.c_str());
    r.call(orv_node_set_input(b.instance, formal, find_named_node(p_, c, b.actual.c_str())));
  }

  orv_class_s *instantiated_class(const char *name) {
    orv_class_s *k = find_class(cc_, name);
    if (!k && loader_) {
      const String wanted(name);
      loader_(wanted.c_str(), cc_, data_);
      k = find_class(cc_, wanted.c_str());
      if (!k) {
        String message = format_message("loading class `%s' failed", wanted.c_str());
        p_.fatal(message.c_str(), orv_error_parse);
      }
    } else if (!k) {
      String message = format_message("loading class `%s' failed", name);
      p_.fatal(message.c_str(), orv_error_parse);
    }
    return k;
  }

  String expect_name(NetReader &r) {
    const int t = p_.next();
    if (t != kTokName) p_.syntax_error(t, "name expected");
    return r.take_token_text();
  }

  void parse_instance(NetReader &r, orv_class_s *c) {
    const String name = expect_name(r);
    r.expect(p_.next(), ':');
    const String class_name = expect_name(r);
    orv_class_s *k = instantiated_class(class_name.c_str());
    if (find_in(c, name.c_str())) {
      String message = format_message("a node named `%s' already exists", name.c_str());
      p_.fatal(message.c_str(), orv_error_twice);
    }
    orv_node_s *instance = nullptr;
    try {
      instance = new_instance(c, k);
    } catch (const Failure &f) {
      if (f.code != orv_error_cyclic_instance_hierarchy) throw;
      String message = format_message("adding class instance `%s' creates a cycle in the instance hierarchy", name.c_str());
      p_.fatal(message.c_str(), f.code);
    }
    r.call(orv_node_set_name(instance, name.c_str()));
    parse_bindings(r, instance);
    parse_fields(r, instance);
  }

  // "(" [ FORMAL = ACTUAL {, ...} ] [ ; CLONE = OUTPUT {, ...} ] ")"
  void parse_bindings(NetReader &r, orv_node_s *instance) {
    r.expect(p_.next(), '(');
    int t = p_.next();
    if (t == kTokName) {
      for (;;) {
        PendingBinding b{instance, r.take_token_text(), String()};
        r.expect(p_.next(), '=');
        t = p_.next();
        if (t != kTokName && t != kTokDottedName) p_.syntax_error(t, "name expected");
        b.actual = r.take_token_text();
        bindings_.push_back(std::move(b));
        t = p_.next();
        if (t != ',') break;
        t = p_.next();
        if (t != kTokName) p_.syntax_error(t, "name expected");
      }
      if (t != ';' && t != ')') p_.syntax_error(t, "`,', `;', or `)' expected");
    } else if (t != ';' && t != ')') {
      p_.syntax_error(t, "name, `;', or `)' expected");
    }
    if (t == ')') return;
    t = p_.next();
    if (t == ')') return;
    if (t != kTokName) p_.syntax_error(t, "name or `)' expected");
    for (;;) {
      const String clone = r.take_token_text();
      r.expect(p_.next(), '=');
      const String output = expect_name(r);
      name_output_clone(instance, clone, output);
      t = p_.next();
      if (t == ')') return;
      if (t != ',') p_.syntax_error(t, "`,' or `)' expected");
      t = p_.next();
      if (t != kTokName) p_.syntax_error(t, "name expected");
    }
  }

  void name_output_clone(orv_node_s *instance, const String &clone, const String &output) {
    orv_class_s *k = instance->instance_class;
    orv_node_s *o = find_in(k, output.c_str());
    if (!o) not_found(p_, "class `%s' does not have a node named `%s'", k->name.c_str(), output.c_str());
    const long pos = k->outputs.index_of(o);
    if (pos < 0) not_found(p_, "node `%s' is not an output node in class `%s'", output.c_str(), k->name.c_str());
    const orv_status_t named = orv_node_set_name(instance->output_clones[static_cast<std::size_t>(pos)], clone.c_str());
    if (named == orv_error_twice) {
      String message = format_message("a node with name `%s' already exists", clone.c_str());
      p_.fatal(message.c_str(), orv_error_twice);
    }
    if (named != orv_error_none) report_api_error(p_, static_cast<orv_error_t>(named));
  }

  // "{" label, position and user attributes "}"
  void parse_fields(NetReader &r, orv_node_s *n) {
    r.expect(p_.next(), '{');
    AttributeQueue attributes;
    for (;;) {
      const int f = p_.next();
      if (f == '}') break;
      if (f != kTokName) p_.syntax_error(f, "`}' or an attribute name expected");
      const String field = r.take_token_text();
      r.expect(p_.next(), '=');
      if (field == "label") {
        if (p_.next() != kTokString) p_.syntax_error(kTokError, "string expected");
        r.call(orv_node_set_label(n, p_.token_text));
      } else if (field == "position") {
        r.parse_position(n);
      } else {
        r.queue_attribute(field, attributes);
      }
      r.expect(p_.next(), ';');
    }
    r.flush_attributes(n, attributes);
  }

  // Time-sliced classes are not supported yet: a temporal clone can never be made.
  void parse_temporal(NetReader &r) {
    expect_name(r);
    r.expect(p_.next(), ':');
    const String master = expect_name(r);
    String message = format_message("invalid creation of a temporal clone of `%s'", master.c_str());
    p_.fatal(message.c_str(), orv_error_parse);
  }

  ParseData &p_;
  orv_class_collection_s *cc_;
  orv_class_loader_t loader_;
  void *data_;
  Vector<PendingBinding> bindings_;
};

// Deletes the classes from position `first` on, newest (the users) first.
void remove_classes_from(orv_class_collection_s *cc, std::size_t first) noexcept {
  while (cc->members.size() > first) {
    orv_class_s *c = cc->members.back();
    cc->members.pop_back();
    for (orv_node_t i : c->instances) i->instance_class = nullptr;
    free_class(c);
  }
  if (cc->members.empty()) Vector<orv_class_s *>().swap(cc->members);
}

// Parses into the collection; on failure every class added since `first`
// (including those the loader added) is deleted again, newest first.
void parse_classes(std::FILE *stream, const char *text, orv_class_collection_s *cc, orv_class_loader_t loader,
                   orv_error_handler_t handler, void *data) {
  const std::size_t first = cc->members.size();
  orv_error_t code = orv_error_none;
  {
    CLocale locale;
    ParseData p(stream, text, handler, data);
    p.get_token = get_new_token;
    code = run_parse(p, [&] { ClassReader(p, cc, loader, data).parse_all(); });
  }
  if (code == orv_error_none) return;
  remove_classes_from(cc, first);
  fail(code);
}

void parse_class_file(const char *name, orv_class_collection_s *cc, orv_class_loader_t loader,
                      orv_error_handler_t handler, void *data) {
  String file_name(name);
  std::FILE *file = _orv_open_file(name, "r");
  if (!file) fail(orv_error_io);
  const std::size_t first = cc->members.size();
  try {
    parse_classes(file, nullptr, cc, loader, handler, data);
  } catch (...) {
    std::fclose(file);
    throw;
  }
  const bool read_failed = std::ferror(file) != 0;
  if (std::fclose(file) != 0 || read_failed) {
    remove_classes_from(cc, first);
    fail(orv_error_io);
  }
  for (std::size_t i = first; i < cc->members.size(); ++i)
    if (cc->members[i]->file_name.empty()) cc->members[i]->file_name = file_name;
}

}  // namespace

}  // namespace orv

extern "C" {

orv_status_t orv_net_parse_classes(const char *argument, orv_class_collection_t cc, orv_class_loader_t loader,
                                   orv_error_handler_t handler, void *data) {
  if (!argument || !orv::is_collection(cc)) return orv::usage(orv_error_usage);
  orv::set_error(orv_error_none);
  const int is_text = orv::_orv_string_is_net_description(argument);
  if (is_text < 0) return orv::error_code();
  return orv::guarded_status([&] {
    if (is_text) {
      orv::parse_classes(nullptr, argument, cc, loader, handler, data);
    } else {
      orv::parse_class_file(argument, cc, loader, handler, data);
    }
  });
}

}  // extern "C"
