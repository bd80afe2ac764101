#include "runtime/files.h"

#include <clocale>

#include "runtime/allocate.h"
#include "runtime/error.h"

namespace orv {

std::FILE *_orv_open_file(const char *name, const char *mode) {
  std::FILE *file = fopen64(name, mode);
  set_error(file ? orv_error_none : orv_error_io);
  return file;
}

orv_status_t flush_log(std::FILE *log) {
  const orv_error_t code = (log && std::fflush(log) != 0) ? orv_error_io : orv_error_none;
  set_error(code);
  return code;
}

char *_orv_select_C_locale() {
  const char *current = std::setlocale(LC_ALL, nullptr);
  if (!current) {
    set_error(orv_error_locale);
    return nullptr;
  }
  char *saved = _orv_allocate_string(current);
  if (!saved) return nullptr;
  if (!std::setlocale(LC_ALL, "C")) {
    _orv_free(saved);
    set_error(orv_error_locale);
    return nullptr;
  }
  return saved;
}

void _orv_restore_locale(char *saved) {
  if (!saved) return;
  std::setlocale(LC_ALL, saved);
  _orv_free(saved);
}

CLocale::CLocale() : saved_(_orv_select_C_locale()) {
  if (!saved_) fail(error_code());
}

CLocale::~CLocale() { _orv_restore_locale(saved_); }

}  // namespace orv
