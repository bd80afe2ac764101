// Public entry points of the NET reader, the format sniffers and the
// string-literal decoder.
#include <cstring>

#include "formats/net_parse.h"
#include "formats/net_reader.h"
#include "model/node.h"
#include "runtime/error.h"
#include "runtime/files.h"

namespace orv {

void legacy_adapter(size_t location, const char *message, void *data);

namespace {

// Runs one parse of a domain from a stream or a text; null on failure with
// the first cause as the error code.
orv_domain_s *parse_domain(std::FILE *stream, const char *text, orv_error_handler_t handler, void *data) {
  CLocale locale;
  ParseData p(stream, text, handler, data);
  Owned<orv_domain_s> d(make<orv_domain_s>());
  p.domain = d.get();
  orv_error_t code = orv_error_none;
  try {
    try {
      if (starts_like_old_format(p)) {
        p.get_token = get_old_token;
        parse_old_net(p, d.get());
      } else {
        p.get_token = get_new_token;
        NetReader(p, d.get()).parse_body();
      }
    } catch (const std::bad_alloc &) {
      p.fatal("out-of-memory", orv_error_no_memory);
    } catch (const Failure &f) {
      report_api_error(p, f.code);
    }
  } catch (const ParseAbort &abort) {
    code = abort.code;
  }
  if (code == orv_error_none && p.error_count > 0) code = orv_error_parse;
  if (code != orv_error_none) fail(code);
  _orv_reverse_node_and_table_lists(d.get());
  set_error(orv_error_none);
  return d.release();
}

orv_domain_s *parse_file(const char *name, orv_error_handler_t handler, void *data) {
  String file_name(name);
  std::FILE *file = _orv_open_file(name, "r");
  if (!file) fail(orv_error_io);
  Owned<orv_domain_s> d;
  try {
    d.reset(parse_domain(file, nullptr, handler, data));
  } catch (...) {
    std::fclose(file);
    throw;
  }
  const bool read_failed = std::ferror(file) != 0;  // e.g. a directory reads as an early end
  if (std::fclose(file) != 0 || read_failed) fail(orv_error_io);
  d->file_name.swap(file_name);
  return d.release();
}

}  // namespace

int _orv_string_is_net_description(const char *text) {
  char *saved = _orv_select_C_locale();
  if (!saved) return -1;
  int result = 0;
  try {
    ParseData p(nullptr, text, nullptr, nullptr);
    p.silent = true;
    p.get_token = get_new_token;
    int t = p.next();
    if (t == kTokName && std::strcmp(p.token_text, "net") == 0) {
      result = p.next() == '{';
    } else if (t == kTokName && std::strcmp(p.token_text, "class") == 0) {
      result = p.next() == kTokName && p.next() == '{';
    }
    set_error(orv_error_none);
  } catch (const ParseAbort &abort) {
    result = abort.code == orv_error_no_memory ? -1 : 0;
    set_error(abort.code == orv_error_no_memory ? orv_error_no_memory : orv_error_none);
  }
  _orv_restore_locale(saved);
  return result;
}

char *_orv_remove_escapes(const char *text) {
  char *saved = _orv_select_C_locale();
  if (!saved) return nullptr;
  char *result = nullptr;
  try {
    ParseData p(nullptr, text, nullptr, nullptr);
    p.silent = true;
    p.syntax_code = orv_error_syntax;
    p.get_token = get_new_token;
    if (p.next() == kTokString) {
      const String decoded(p.token_text);
      if (p.next() == kTokEnd) {
        result = _orv_allocate_string(decoded.c_str());
      } else {
        set_error(orv_error_syntax);
      }
    } else {
      set_error(orv_error_syntax);
    }
  } catch (const ParseAbort &abort) {
    set_error(abort.code);
  } catch (const std::bad_alloc &) {
    set_error(orv_error_no_memory);
  }
  _orv_restore_locale(saved);
  return result;
}

}  // namespace orv

using orv::guarded;
using orv::usage;

extern "C" {

orv_domain_t orv_net_parse_domain(const char *argument, orv_error_handler_t handler, void *data) {
  if (!argument) return usage<orv_domain_t>(nullptr);
  orv::set_error(orv_error_none);
  const int is_text = orv::_orv_string_is_net_description(argument);
  if (is_text < 0) return nullptr;
  return guarded<orv_domain_t>(nullptr, [&] {
    return is_text ? orv::parse_domain(nullptr, argument, handler, data) : orv::parse_file(argument, handler, data);
  });
}

orv_domain_t orv_net_parse(FILE *stream, orv_legacy_error_handler_t handler) {
  if (!stream) return usage<orv_domain_t>(nullptr);
  return guarded<orv_domain_t>(nullptr, [&] {
    return handler ? orv::parse_domain(stream, nullptr, orv::legacy_adapter, reinterpret_cast<void *>(handler))
                   : orv::parse_domain(stream, nullptr, nullptr, nullptr);
  });
}

orv_domain_t orv_net_parse_from_string(const char *text, orv_legacy_error_handler_t handler) {
  if (!text) return usage<orv_domain_t>(nullptr);
  return guarded<orv_domain_t>(nullptr, [&] {
    return handler ? orv::parse_domain(nullptr, text, orv::legacy_adapter, reinterpret_cast<void *>(handler))
                   : orv::parse_domain(nullptr, text, nullptr, nullptr);
  });
}

}  // extern "C"
