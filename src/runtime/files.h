// File opening and the C-locale switch around locale-sensitive text work.
#pragma once

#include <cstdio>

#include "orvel.h"

namespace orv {

// Opens with large-file support; sets io and returns null on failure.
std::FILE *_orv_open_file(const char *name, const char *mode);

// Flushes a log stream if set; sets and returns io when that fails.
orv_status_t flush_log(std::FILE *log);

// Saves the current locale and selects "C". Returns the saved name (pass it to
// _orv_restore_locale), or null with `locale` or `no_memory` set.
char *_orv_select_C_locale();
void _orv_restore_locale(char *saved);

// RAII form: throws Failure when the C locale cannot be selected.
class CLocale {
 public:
  CLocale();
  ~CLocale();
  CLocale(const CLocale &) = delete;
  CLocale &operator=(const CLocale &) = delete;

 private:
  char *saved_;
};

}  // namespace orv
